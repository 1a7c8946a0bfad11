// One file changed by a command: opened as set opens it, its write options settled before any
// change, then saved, or, on a dry run, what would change appended to the output instead.
#pragma once

#include "Batch.h"
#include "Values.h"

#include <string>
#include <vector>

namespace kestrabel::cli {

// --dry-run, for every command that changes files.
struct DryRun {
    bool on = false;
    // Takes --dry-run and -n.
    bool take(const std::string &arg);
};

// Opens a file only to read it, as show does: a damaged tag still gives what can be read; the
// audio stream is scanned only when audioInfo is asked for.
MediaFileStatus openToRead(const std::string &path, const BatchOptions &batch, bool audioInfo, MediaFileRef *ref);

// What a dry run compares: every value that can be written.
std::vector<Entry> valuesForDryRun(MediaFileRef ref);
// The dry run's report of one file, its values taken before the changes and read again now.
std::string dryRunReport(const std::string &path, MediaFileRef ref, const std::vector<Entry> &before);

class FileEdit {
public:
    FileEdit(const std::string &path, const DryRun &dryRun);
    ~FileEdit();
    FileEdit(const FileEdit &) = delete;
    FileEdit &operator=(const FileEdit &) = delete;

    // Opens the file with the command's batch options; a failure is added to *result.
    bool open(const BatchOptions &batch, JobResult *result);
    MediaFileRef ref() const { return ref_; }
    // Saves when any value changed (a file whose values stay as they are is not rewritten); on
    // a dry run reports instead. A failure is added to *result.
    bool finish(JobResult *result);

private:
    std::string path_;
    DryRun dryRun_;
    MediaFileRef ref_ = nullptr;
    MediaFileFlags writeFlags_ = 0;
    std::vector<Entry> before_;
};

} // namespace kestrabel::cli
