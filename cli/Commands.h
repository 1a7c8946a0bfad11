// The commands of kestrabel-tag. Each takes the arguments after its name and returns the
// process exit status: 0 all files done, 1 some file failed, 2 usage error.
#pragma once

#include "Report.h"

#include <string>
#include <vector>

namespace kestrabel::cli {

using Args = std::vector<std::string>;

struct Command {
    const char *name;
    const char *summary;
    int (*run)(const Args &args);
    const char *help;
};

int runShow(const Args &args);
int runSet(const Args &args);

extern const char kShowHelp[];
extern const char kSetHelp[];

// Every command in the order --help lists them.
const std::vector<Command> &commands();

// Opens path and reads every data ID that answers into a report.
FileReport collectReport(const std::string &path, bool audioInfo);

// Prints "kestrabel-tag: MESSAGE" to standard error.
void printError(const std::string &message);
int usageError(const std::string &command, const std::string &message);

} // namespace kestrabel::cli
