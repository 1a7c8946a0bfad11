// The man page and shell completions made by 'kestrabel-tag --generate': run in the real
// shells and formatters, and checked against every command and option the help texts list.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using namespace kestrabel::test;

namespace {

std::string generated(const std::string &what, const TempDir &dir)
{
    std::string text;
    EXPECT_EQ(runCommand(shellQuote(cliPath()) + " --generate " + what, &text), 0);
    writeFile(dir.file(what), text);
    return dir.file(what);
}

std::vector<std::string> linesOf(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// The commands 'kestrabel-tag --help' lists, and each one's options from its own help.
std::vector<std::pair<std::string, std::vector<std::string>>> commandsAndOptions()
{
    std::string help;
    runCommand(shellQuote(cliPath()) + " --help", &help);
    std::vector<std::pair<std::string, std::vector<std::string>>> out;
    bool inList = false;
    for (const std::string &line : linesOf(help)) {
        if (line == "Commands:") {
            inList = true;
        } else if (inList && line.rfind("  ", 0) == 0) {
            std::string name = line.substr(2, line.find(' ', 2) - 2);
            std::string commandHelp;
            runCommand(shellQuote(cliPath()) + " help " + name, &commandHelp);
            std::vector<std::string> options;
            for (const std::string &optionLine : linesOf(commandHelp)) {
                size_t start = optionLine.find_first_not_of(' ');
                if (start == 0 || start > 4 || start == std::string::npos || optionLine[start] != '-')
                    continue;
                std::istringstream words(optionLine.substr(start, optionLine.find("  ", start) - start));
                for (std::string word; words >> word;)
                    if (word[0] == '-')
                        options.push_back(word.back() == ',' ? word.substr(0, word.size() - 1) : word);
            }
            out.emplace_back(name, options);
        } else if (inList) {
            break;
        }
    }
    return out;
}

// What the bash completion offers for the words (the last one being completed).
std::string bashCompletes(const std::string &script, const std::string &words)
{
    std::string output;
    runCommand("bash -c 'source \"$0\"; COMP_WORDS=(" + words + "); COMP_CWORD=$((${#COMP_WORDS[@]}-1)); _kestrabel_tag; "
               "printf \"%s \" \"${COMPREPLY[@]}\"' " + shellQuote(script),
               &output);
    while (!output.empty() && output.back() == ' ')
        output.pop_back();
    return output;
}

TEST(GeneratedDocs, BashCompletes)
{
    TempDir dir;
    std::string script = generated("bash", dir);
    struct Row {
        const char *words, *expected;
    };
    const Row rows[] = {
        {"kestrabel-tag fr", "from-name"},
        {"kestrabel-tag set -t TrackN", "TrackNumber="},
        {"kestrabel-tag copy --only Title,Alb", "Title,Album"},
        {"kestrabel-tag get BWFOriginatorR", "BWFOriginatorReference"},
        {"kestrabel-tag rename --dr", "--dry-run"},
        {"kestrabel-tag rename --to x", ""},
    };
    for (const Row &row : rows)
        EXPECT_EQ(bashCompletes(script, row.words), row.expected) << row.words;
    auto commands = commandsAndOptions();
    ASSERT_GE(commands.size(), 6u);
    for (const auto &[command, options] : commands) {
        std::string offered = " " + bashCompletes(script, "kestrabel-tag " + command + " -") + " ";
        for (const std::string &option : options)
            EXPECT_NE(offered.find(" " + option + " "), std::string::npos) << command << " " << option << ":" << offered;
        EXPECT_NE(bashCompletes(script, "kestrabel-tag " + command.substr(0, 3)).find(command), std::string::npos) << command;
        // Every command on files takes the classic rules; "now" works on the player's track.
        EXPECT_TRUE(command == "now" || std::find(options.begin(), options.end(), "--classic") != options.end()) << command;
    }
}

TEST(GeneratedDocs, ZshScriptParses)
{
    if (!haveTool("zsh"))
        GTEST_SKIP() << "zsh is not installed";
    TempDir dir;
    std::string script = generated("zsh", dir);
    std::string output;
    EXPECT_EQ(runCommand("zsh -n " + shellQuote(script), &output, true), 0) << output;
    std::vector<uint8_t> bytes = readFile(script);
    std::string text(bytes.begin(), bytes.end());
    for (const auto &[command, options] : commandsAndOptions()) {
        EXPECT_NE(text.find("'" + command + ":"), std::string::npos) << command;
        for (const std::string &option : options)
            EXPECT_NE(text.find(" " + option), std::string::npos) << command << " " << option;
    }
}

TEST(GeneratedDocs, ManPageFormatsCleanlyAndHasEveryCommand)
{
    if (!haveTool("groff"))
        GTEST_SKIP() << "groff is not installed";
    TempDir dir;
    std::string page = generated("man", dir);
    std::string output;
    EXPECT_EQ(runCommand("groff -man -Tutf8 -ww -z " + shellQuote(page), &output, true), 0);
    EXPECT_EQ(output, "") << "groff warnings";
    ASSERT_EQ(runCommand("groff -man -Tutf8 -P-cbou " + shellQuote(page), &output), 0);
    for (const auto &[command, options] : commandsAndOptions()) {
        EXPECT_NE(output.find("usage: kestrabel-tag " + command + " "), std::string::npos) << command;
        for (const std::string &option : options)
            EXPECT_NE(output.find(option), std::string::npos) << command << " " << option;
    }
    EXPECT_EQ(runCommand(shellQuote(cliPath()) + " --generate nonsense", &output, true), 2);
}

} // namespace
