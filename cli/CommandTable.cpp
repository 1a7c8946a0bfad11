// The table of commands and the error lines every command prints, apart from main() so that the
// argument walk can be run in-process (the fuzz target of the command line does).
#include "Commands.h"

#include <cstdio>

namespace kestrabel::cli {

const std::vector<Command> &commands()
{
    static const std::vector<Command> table = {
        {"show", "print the values of files", runShow, kShowHelp},
        {"get", "print one value of files, for scripts", runGet, kGetHelp},
        {"set", "change values and save", runSet, kSetHelp},
        {"copy", "copy the values of one file into others", runCopy, kCopyHelp},
        {"rename", "rename files after their values", runRename, kRenameHelp},
        {"from-name", "set values from the file names", runFromName, kFromNameHelp},
#ifdef KESTRABEL_CLI_OBJECTS
        {"export", "write the tags as a property list", runExport, kExportHelp},
        {"import", "apply an exported property list and save", runImport, kImportHelp},
        {"artwork", "write the cover art into an image file", runArtwork, kArtworkHelp},
#endif
#ifdef KESTRABEL_CLI_PLAYER
        {"now", "show the music player's current track", runNow, kNowHelp},
#endif
    };
    return table;
}

void printError(const std::string &message)
{
    std::string line = "kestrabel-tag: " + message + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

int usageError(const std::string &command, const std::string &message)
{
    printError(command + ": " + message);
    std::fprintf(stderr, "Try 'kestrabel-tag %s --help'.\n", command.c_str());
    return 2;
}

} // namespace kestrabel::cli
