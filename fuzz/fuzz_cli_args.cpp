// The command line: the argument walk every command shares (-r, -j, --classic, "--", values
// after options) and the %{NAME} templates of show --format, rename and from-name, parsed,
// expanded and matched against file names. The input is split at NUL bytes into arguments;
// the first names the command. Nothing here opens a file.
#include "Batch.h"
#include "Template.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using namespace kestrabel::cli;

namespace {

// The shapes of the commands' own options: a value after the option, or none.
OptionMatch ownOption(const Args &args, const std::string &arg, size_t &i, std::vector<std::string> *templates, std::string *error)
{
    static const char *const kWithValue[] = {"-t", "--remove", "--artwork", "-o", "--output", "--format", "--template"};
    static const char *const kFlags[] = {"--json", "--dry-run", "--no-audio-info", "--id3v2.3", "--id3v2.4", "--force"};
    if (std::find(std::begin(kFlags), std::end(kFlags), arg) != std::end(kFlags))
        return OptionMatch::Taken;
    if (std::find(std::begin(kWithValue), std::end(kWithValue), arg) == std::end(kWithValue))
        return OptionMatch::NotMine;
    std::string value;
    if (!takeValue(args, i, &value)) {
        *error = arg + " needs a value";
        return OptionMatch::Error;
    }
    if (arg == "-t")
        MediaFileFindDataID(value.substr(0, value.find('=')).c_str());
    else
        templates->push_back(value);
    return OptionMatch::Taken;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // Help texts go to standard output on every -h; the sanitizers' reports go to standard error.
    return std::freopen("/dev/null", "w", stdout) ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Args args(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0)
            args.emplace_back();
        else
            args.back() += static_cast<char>(data[i]);
    }
    const std::string name = args.front();
    args.erase(args.begin());
    const Command *command = &commands().front();
    for (const Command &candidate : commands())
        if (name == candidate.name)
            command = &candidate;

    BatchOptions batch;
    std::vector<std::string> operands, templates;
    const int parsed = parseCommandLine(command->name, command->help, args, &batch, &operands,
                                        [&](const std::string &arg, size_t &i, std::string *error) {
                                            return ownOption(args, arg, i, &templates, error);
                                        });
    if (parsed != -1)
        return 0;
    for (const std::string &text : templates) {
        std::string error;
        std::optional<Template> parsedTemplate = Template::parse(text, &error);
        if (!parsedTemplate)
            continue;
        parsedTemplate->expand([](const TemplateField &field) { return std::optional<std::string>(field.name); });
        for (const std::string &operand : operands)
            parsedTemplate->match(operand.substr(0, 256));
    }
    return 0;
}
