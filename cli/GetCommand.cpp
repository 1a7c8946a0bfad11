#include "Batch.h"
#include "Commands.h"
#include "Edit.h"
#include "Output.h"
#include "Values.h"

namespace kestrabel::cli {

const char kGetHelp[] = R"(usage: kestrabel-tag get [--json] [-r] [-j N] NAME FILE...

Prints one value of each FILE, one line per file, and nothing else: for scripts.
NAME is a data-ID name as 'kestrabel-tag names' lists them (Title, "Track Number",
kMediaFileDataIDAlbum). Line breaks and other control characters in a value are
printed as \n, \t, \xHH; byte values (artwork) as their kind and length.

  --json            one JSON object per file per line, with the exact value:
                    {"path": ..., "status": 0, "value": ...}; a byte value gives
                    {"length", "sha256"}; a file that lacks the value or fails
                    gives {"path", "status", "error"}.
  -r, --recursive   go through folders: every media file below them, in name
                    order; files of no media kind are skipped.
  -j, --jobs N      read N files at once (0: one per processor core); the
                    output keeps the order of the files.
  --classic         the classic rules, without the interop profile

Exit status: 0 when every file has the value, 1 when any lacks it or fails, 2 for
a usage error.
)";

int runGet(const Args &args)
{
    bool json = false;
    BatchOptions batch;
    std::vector<std::string> operands;
    int parsed = parseCommandLine("get", kGetHelp, args, &batch, &operands, [&](const std::string &arg, size_t &, std::string *) {
        if (arg != "--json")
            return OptionMatch::NotMine;
        json = true;
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (operands.empty())
        return usageError("get", "no NAME given");
    const MediaFileDataIDInfo *info = MediaFileFindDataID(operands.front().c_str());
    if (!info)
        return usageError("get", "unknown data ID '" + operands.front() + "'");
    if (operands.size() < 2)
        return usageError("get", "no FILE given");
    std::vector<std::string> files(operands.begin() + 1, operands.end());
    const bool audio = info->dataID == kMediaFileDataIDBitRate || info->dataID == kMediaFileDataIDChannels ||
                       info->dataID == kMediaFileDataIDSampleRate || info->dataID == kMediaFileDataIDPlayTime;

    auto job = [&](const std::string &path, size_t) {
        JobResult result;
        MediaFileRef ref = nullptr;
        MediaFileStatus status = openToRead(path, batch, audio, &ref);
        Value value;
        const bool opened = status == kMediaFileNoErr;
        if (opened) {
            status = readValue(ref, info, &value);
            MediaFileClose(ref);
        }
        std::string context = opened ? info->constantName : "cannot open";
        if (json) {
            result.out = valueAsJsonLine(path, status, context, opened ? std::string() : openFailureCause(path, status), value) + "\n";
            result.failed = status != kMediaFileNoErr;
        } else if (status != kMediaFileNoErr) {
            addError(&result, path + ": " + context + ": " + (opened ? statusText(status) : openFailureText(path, status)));
        } else {
            result.out = escapeText(valueText(value)) + "\n";
        }
        return result;
    };
    return runBatch(files, batch, job);
}

} // namespace kestrabel::cli
