// The man page and the shell completions, made from the commands' help texts and the data-ID
// table at build time, so they cannot fall behind the program.
#pragma once

#include <string>
#include <vector>

namespace kestrabel::cli {

struct HelpOption {
    std::vector<std::string> names; // "-t", "--tag"
    std::string value;              // "NAME=VALUE", or empty for a flag
};

// The options a help text lists: every line that starts with two to four blanks and "-", up
// to the first run of two blanks.
std::vector<HelpOption> helpOptions(const std::string &help);

std::string manPage(const std::string &mainHelp);
std::string bashCompletion();
std::string zshCompletion();

// kestrabel-tag --generate man|bash|zsh
int runGenerate(const std::string &what, const std::string &mainHelp);

} // namespace kestrabel::cli
