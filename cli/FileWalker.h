// Turns the FILE arguments of a command into the list of files to work on.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace kestrabel::cli {

struct FileList {
    std::vector<std::string> files;
    std::vector<std::string> errors; // complete messages, one per folder that could not be read
    // Beside each file, its device and inode where the look-up that told it from a folder
    // found them; distinctFiles then need not look the file up again.
    struct Identity {
        bool known = false;
        dev_t device = 0;
        ino_t inode = 0;
    };
    std::vector<Identity> identities;
};

// Files are kept as given (a missing one fails later, when it is opened). A folder is refused
// without recursive; with it, every media file below it is taken in name order, and files of
// no media kind are skipped without a word. Symbolic links to folders are not followed.
FileList expandFileArguments(const std::vector<std::string> &arguments, bool recursive);

// Keeps the first of names that reach the same file (the same device and inode, through
// links, "..", overlapping folders or a name given twice), so that no file is worked on twice
// and no two workers ever save one file. Names that cannot be looked up are kept; they fail
// when they are opened.
std::vector<std::string> distinctFiles(FileList list);

// Whether kind detection makes the file a kind that opens.
bool isMediaFile(const std::string &path);

} // namespace kestrabel::cli
