#include "Generate.h"

#include "Commands.h"

#include <cstdint>
#include <cstdio>
#include <set>
#include <sstream>
#include <string_view>

namespace kestrabel::cli {

namespace {

// What the value of an option is, by the name its help gives it.
enum class ValueKind { None, Name, NameEquals, File, Other };

struct ValueName {
    std::string_view value;
    ValueKind kind;
};

// The value names the help texts use; any other (N, TEMPLATE, PLAYER) completes to nothing.
constexpr ValueName kValueNames[] = {
    {"NAME=VALUE", ValueKind::NameEquals}, {"NAME", ValueKind::Name}, {"NAME,...", ValueKind::Name},
    {"IMAGE", ValueKind::File},            {"FILE", ValueKind::File}, {"PLIST", ValueKind::File},
    {"OUT", ValueKind::File},              {"OUT.plist", ValueKind::File},
};

ValueKind valueKind(const std::string &value)
{
    if (value.empty())
        return ValueKind::None;
    for (const ValueName &name : kValueNames)
        if (name.value == value)
            return name.kind;
    return ValueKind::Other;
}

// The names a completion offers: the short form of every data ID that has a value.
std::vector<std::string> completionNames()
{
    static constexpr std::string_view kPrefix = "kMediaFileDataID";
    std::vector<std::string> names;
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfoAt(i);
        if (info->valueType != '-')
            names.push_back(std::string(info->constantName).substr(kPrefix.size()));
    }
    return names;
}

std::string joined(const std::vector<std::string> &words, const char *separator = " ")
{
    std::string out;
    for (const std::string &word : words)
        out += (out.empty() ? "" : separator) + word;
    return out;
}

std::vector<std::string> optionNames(const Command &command)
{
    std::vector<std::string> names = {"--help"};
    for (const HelpOption &option : helpOptions(command.help))
        names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

// Every option that takes a value of the kind, over all commands, as the label of a case arm
// in both shells ('' when there is none, which matches no option).
std::string valueOptions(ValueKind kind)
{
    std::set<std::string> names;
    for (const Command &command : commands())
        for (const HelpOption &option : helpOptions(command.help))
            if (valueKind(option.value) == kind)
                names.insert(option.names.begin(), option.names.end());
    return names.empty() ? "''" : joined({names.begin(), names.end()}, "|");
}

// A text inside single quotes in both shells.
std::string quoted(const std::string &text)
{
    std::string out = "'";
    for (char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// Text for a roff page: escapes, and characters beyond ASCII as \[uXXXX], which every
// troff reads whatever the input encoding.
std::string roff(const std::string &text)
{
    std::string out;
    bool lineStart = true;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (lineStart && (c == '.' || c == '\''))
            out += "\\&";
        lineStart = c == '\n';
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else if (c < 0x80) {
            out += char(c);
        } else {
            int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : 1;
            uint32_t code = c & (0x3F >> extra);
            for (int k = 0; k < extra && i + 1 < text.size(); ++k)
                code = code << 6 | (static_cast<unsigned char>(text[++i]) & 0x3F);
            char escaped[16];
            std::snprintf(escaped, sizeof escaped, "\\[u%04X]", code);
            out += escaped;
        }
    }
    return out;
}

} // namespace

std::vector<HelpOption> helpOptions(const std::string &help)
{
    // Deeper lines that start with "-" continue a description (an example command line).
    constexpr size_t kOptionIndent = 4;
    std::vector<HelpOption> options;
    std::istringstream lines(help);
    std::string line;
    while (std::getline(lines, line)) {
        size_t start = line.find_first_not_of(' ');
        if (start == std::string::npos || start == 0 || start > kOptionIndent || line[start] != '-')
            continue;
        size_t end = line.find("  ", start);
        std::istringstream words(line.substr(start, end == std::string::npos ? std::string::npos : end - start));
        HelpOption option;
        std::string word;
        while (words >> word) {
            if (word.back() == ',')
                word.pop_back();
            if (word[0] == '-')
                option.names.push_back(word);
            else
                option.value = word;
        }
        options.push_back(std::move(option));
    }
    return options;
}

std::string manPage(const std::string &mainHelp)
{
    std::string out = ".TH KESTRABEL-TAG 1 \"\" \"kestrabel-tag " KESTRABEL_VERSION "\" \"User Commands\"\n"
                      ".SH NAME\nkestrabel-tag \\- read and write the tags of music files\n"
                      ".SH SYNOPSIS\n.B kestrabel-tag\n.I COMMAND\n[\\fIOPTIONS\\fR] \\fIFILE\\fR...\n"
                      ".SH DESCRIPTION\n.nf\n" +
                      roff(mainHelp.substr(mainHelp.find("\n\n") + 2)) + ".fi\n.SH COMMANDS\n";
    for (const Command &command : commands())
        out += ".SS " + roff(command.name) + "\n.nf\n" + roff(command.help) + ".fi\n";
    out += ".SS names\nLists every data ID: its number, constant name, display name and value type.\n"
           ".SH EXIT STATUS\n0 when every file was done, 1 when any failed, 2 for a usage error.\n";
    return out;
}

std::string bashCompletion()
{
    std::string commandNames = "names help";
    std::string optionCases;
    for (const Command &command : commands()) {
        commandNames += std::string(" ") + command.name;
        optionCases += std::string("        ") + command.name + ") options='" + joined(optionNames(command)) + "' ;;\n";
    }
    return "# bash completion for kestrabel-tag; made by 'kestrabel-tag --generate bash'.\n"
           "_kestrabel_tag()\n{\n"
           "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
           "    local names='" + joined(completionNames()) + "'\n"
           "    if ((COMP_CWORD == 1)); then\n"
           "        COMPREPLY=($(compgen -W '" + commandNames + " --help --version' -- \"$cur\"))\n"
           "        return\n    fi\n"
           "    local command=${COMP_WORDS[1]} options=''\n"
           "    case $prev in\n"
           "    " + valueOptions(ValueKind::NameEquals) + ")\n"
           "        compopt -o nospace 2>/dev/null\n"
           "        COMPREPLY=($(compgen -S = -W \"$names\" -- \"$cur\"))\n"
           "        return ;;\n"
           "    " + valueOptions(ValueKind::Name) + ")\n"
           "        local done=''\n"
           "        [[ $cur == *,* ]] && done=${cur%,*},\n"
           "        COMPREPLY=($(compgen -P \"$done\" -W \"$names\" -- \"${cur##*,}\"))\n"
           "        return ;;\n"
           "    " + valueOptions(ValueKind::File) + ")\n"
           "        COMPREPLY=($(compgen -f -- \"$cur\"))\n"
           "        return ;;\n"
           "    " + valueOptions(ValueKind::Other) + ")\n"
           "        return ;;\n"
           "    esac\n"
           "    if [[ $cur == -* ]]; then\n"
           "        case $command in\n" + optionCases +
           "        esac\n"
           "        COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
           "        return\n    fi\n"
           "    if [[ $command == get ]] && ((COMP_CWORD == 2)); then\n"
           "        COMPREPLY=($(compgen -W \"$names\" -- \"$cur\"))\n"
           "        return\n    fi\n"
           "    COMPREPLY=($(compgen -f -- \"$cur\"))\n"
           "}\n"
           "complete -o filenames -o bashdefault -F _kestrabel_tag kestrabel-tag\n";
}

std::string zshCompletion()
{
    std::string commandList = "        'names:list the data IDs'\n        'help:explain a command'\n";
    std::string optionCases;
    for (const Command &command : commands()) {
        commandList += "        " + quoted(std::string(command.name) + ":" + command.summary) + "\n";
        optionCases += std::string("        ") + command.name + ") compadd -- " + joined(optionNames(command)) + " ;;\n";
    }
    return "#compdef kestrabel-tag\n# zsh completion for kestrabel-tag; made by 'kestrabel-tag --generate zsh'.\n"
           "local -a commands names\n"
           "commands=(\n" + commandList + ")\n"
           "names=(" + joined(completionNames()) + ")\n"
           "if ((CURRENT == 2)); then\n"
           "    _describe -t commands command commands\n"
           "    return\n"
           "fi\n"
           "case $words[CURRENT-1] in\n"
           "    " + valueOptions(ValueKind::NameEquals) + ")\n"
           "        compadd -S = -a names\n"
           "        return ;;\n"
           "    " + valueOptions(ValueKind::Name) + ")\n"
           "        _values -s , 'data ID' $names\n"
           "        return ;;\n"
           "    " + valueOptions(ValueKind::File) + ")\n"
           "        _files\n"
           "        return ;;\n"
           "    " + valueOptions(ValueKind::Other) + ")\n"
           "        return ;;\n"
           "esac\n"
           "if [[ $PREFIX == -* ]]; then\n"
           "    case $words[2] in\n" + optionCases +
           "    esac\n"
           "    return\n"
           "fi\n"
           "if [[ $words[2] == get ]] && ((CURRENT == 3)); then\n"
           "    compadd -a names\n"
           "    return\n"
           "fi\n"
           "_files\n";
}

int runGenerate(const std::string &what, const std::string &mainHelp)
{
    std::string text = what == "man" ? manPage(mainHelp) : what == "bash" ? bashCompletion() : what == "zsh" ? zshCompletion() : "";
    if (text.empty()) {
        printError("--generate takes man, bash or zsh");
        return 2;
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

} // namespace kestrabel::cli
