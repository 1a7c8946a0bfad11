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
int runGet(const Args &args);
int runCopy(const Args &args);
int runRename(const Args &args);
int runFromName(const Args &args);

extern const char kShowHelp[];
extern const char kSetHelp[];
extern const char kGetHelp[];
extern const char kCopyHelp[];
extern const char kRenameHelp[];
extern const char kFromNameHelp[];

// The commands built on the object layer (Qt); absent from the tag-library-only build.
#ifdef KESTRABEL_CLI_OBJECTS
int runExport(const Args &args);
int runImport(const Args &args);
int runArtwork(const Args &args);

extern const char kExportHelp[];

// Keeps Qt's and its image plug-ins' own messages off the terminal.
void installQtMessageFilter();
extern const char kImportHelp[];
extern const char kArtworkHelp[];
#endif

// The music player's current track through the player bridge (Qt D-Bus); GUI builds only.
#ifdef KESTRABEL_CLI_PLAYER
int runNow(const Args &args);
extern const char kNowHelp[];
#endif

// The write options set uses when none are given: keep the tag versions the file has, and give
// an MP3 without an ID3v2 tag ID3v2.3. Asked before values are changed.
MediaFileFlags defaultWriteFlags(MediaFileRef ref);

// Every command in the order --help lists them.
const std::vector<Command> &commands();
// The commands built into the program itself, without the Qt part.
const std::vector<Command> &coreCommands();

// Opens path and reads every data ID that answers into a report.
FileReport collectReport(const std::string &path, bool audioInfo, MediaFileFlags profile = kMediaFileFlagInterop);

// Prints "kestrabel-tag: MESSAGE" to standard error.
void printError(const std::string &message);
int usageError(const std::string &command, const std::string &message);

} // namespace kestrabel::cli
