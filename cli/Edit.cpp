#include "Edit.h"

#include "Commands.h"
#include "Output.h"

namespace kestrabel::cli {

bool DryRun::take(const std::string &arg)
{
    if (arg != "--dry-run" && arg != "-n")
        return false;
    on = true;
    return true;
}

MediaFileStatus openToRead(const std::string &path, const BatchOptions &batch, bool audioInfo, MediaFileRef *ref)
{
    return MediaFileOpen(path.c_str(), ref,
                         kMediaFileFlagIgnoreTagErrors | batch.profileFlags() | (audioInfo ? 0 : kMediaFileFlagSkipMPEGInfo));
}

std::vector<Entry> valuesForDryRun(MediaFileRef ref)
{
    std::vector<Entry> values;
    collectValues(ref, false, &values);
    // Statistics of the tag (its size, its frame count) are no values a user changes.
    std::erase_if(values, [](const Entry &entry) { return entry.info->readOnly; });
    return values;
}

std::string dryRunReport(const std::string &path, MediaFileRef ref, const std::vector<Entry> &before)
{
    return changesAsText(path, changedValues(before, valuesForDryRun(ref)));
}

FileEdit::FileEdit(const std::string &path, const DryRun &dryRun) : path_(path), dryRun_(dryRun)
{
}

FileEdit::~FileEdit()
{
    if (ref_)
        MediaFileClose(ref_);
}

bool FileEdit::open(const BatchOptions &batch, JobResult *result)
{
    // The flags set opens with: a file without any tag, or with a damaged one, still takes
    // new values.
    MediaFileStatus status = MediaFileOpen(path_.c_str(), &ref_,
                                           kMediaFileFlagIgnoreTagErrors | kMediaFileFlagSkipMPEGInfo | batch.profileFlags());
    if (status != kMediaFileNoErr) {
        ref_ = nullptr;
        addError(result, path_ + ": cannot open: " + openFailureText(path_, status));
        return false;
    }
    writeFlags_ = defaultWriteFlags(ref_) | batch.profileFlags();
    before_ = valuesForDryRun(ref_);
    return true;
}

bool FileEdit::finish(JobResult *result)
{
    std::vector<ValueChange> changes = changedValues(before_, valuesForDryRun(ref_));
    if (dryRun_.on) {
        result->out += changesAsText(path_, changes);
        return true;
    }
    if (changes.empty())
        return true;
    MediaFileStatus status = MediaFileUpdate(ref_, writeFlags_);
    if (status != kMediaFileNoErr) {
        addError(result, path_ + ": cannot save: " + statusText(status));
        return false;
    }
    return true;
}

} // namespace kestrabel::cli
