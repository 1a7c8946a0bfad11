// Saves held for one commit. A save that writes a new file beside the original normally
// flushes it and renames it over the original at once; an fsync per file is what makes a batch
// of growing saves slow. Inside a group the new files are only written; the commit then
// flushes them all with one syncfs per file system, renames each over its original and
// flushes each folder once. Until its rename an original is untouched, and a rename comes only
// after the new file is on the disk, so a crash still leaves each file old or new.
#pragma once

#include <kestrabel/MediaFile.h>

#include <mutex>
#include <string>
#include <vector>

namespace kestrabel::util {

class SaveGroup {
public:
    struct Failure {
        std::string label;
        MediaFileStatus status;
    };

    SaveGroup() = default;
    SaveGroup(const SaveGroup &) = delete;
    SaveGroup &operator=(const SaveGroup &) = delete;
    // Removes the new files of a group that was never committed; the originals stay.
    ~SaveGroup();

    // Takes a complete, closed new file for target; label names the file in failures.
    void hold(std::string label, std::string target, std::string tempPath);
    // Flushes, renames and flushes the folders; the failures in the order of hold. The group is
    // empty afterwards.
    std::vector<Failure> commit();

private:
    struct Held {
        std::string label;
        std::string target;
        std::string tempPath;
    };
    std::mutex mutex_;
    std::vector<Held> held_;
};

// While one lives on a thread, the saves of that thread that write a new file hand it to the
// group instead of flushing and renaming it.
class HoldSaves {
public:
    HoldSaves(SaveGroup &group, std::string label);
    ~HoldSaves();
    HoldSaves(const HoldSaves &) = delete;
    HoldSaves &operator=(const HoldSaves &) = delete;
    // Whether a save was handed over.
    bool held() const { return held_; }

private:
    friend void holdNewFile(const std::string &target, const std::string &tempPath);
    SaveGroup &group_;
    std::string label_;
    bool held_ = false;
};

// Whether a group takes this thread's new files; then the saver closes a complete new file and
// hands it over with holdNewFile instead of flushing and renaming it.
bool holdingSaves();
void holdNewFile(const std::string &target, const std::string &tempPath);

} // namespace kestrabel::util
