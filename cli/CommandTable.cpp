// The table of commands, apart from main() so that the argument walk can be run in-process (the
// fuzz target of the command line does).
#include "Commands.h"

namespace kestrabel::cli {

// The commands that do not need Qt, found without loading the Qt part.
const std::vector<Command> &coreCommands()
{
    static const std::vector<Command> table = {
        {"show", "print the values of files", runShow, kShowHelp},
        {"get", "print one value of files, for scripts", runGet, kGetHelp},
        {"set", "change values and save", runSet, kSetHelp},
        {"copy", "copy the values of one file into others", runCopy, kCopyHelp},
        {"rename", "rename files after their values", runRename, kRenameHelp},
        {"from-name", "set values from the file names", runFromName, kFromNameHelp},
    };
    return table;
}

#ifndef KESTRABEL_CLI_OBJECTS
const std::vector<Command> &commands() { return coreCommands(); }
#endif

} // namespace kestrabel::cli
