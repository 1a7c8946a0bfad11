#include "Batch.h"
#include "Commands.h"
#include "Edit.h"
#include "Values.h"

#include <algorithm>

namespace kestrabel::cli {

const char kCopyHelp[] = R"(usage: kestrabel-tag copy [--only NAME,...] [--except NAME,...] [--overwrite]
                          [--dry-run] [-r] [-j N] SOURCE TARGET...

Copies the values of SOURCE into each TARGET and saves it with the default write
options of 'set'. Every value the target's kind can hold is copied, the cover art
and other byte values as their bytes (not re-encoded); values the target's kind
has no place for are left out without a word.

  --only NAME,...      copy only these values (data-ID names as 'kestrabel-tag
                       names' lists them, separated by commas)
  --except NAME,...    copy every value but these
  --overwrite          replace values the target already has. Without it only
                       values the target lacks (an empty text, a number 0, no
                       cover art) are filled in.
  -n, --dry-run        print, per target, each value that would change
                       (old -> new) and write nothing
  -r, --recursive      go through folders: every media file below them, in name
                       order; files of no media kind are skipped
  -j, --jobs N         save N files at once (0: one per processor core)
  --classic            the classic rules, without the interop profile

Exit status: 0 when every target was saved, 1 when any failed, 2 for a usage error.
)";

namespace {

struct SourceValue {
    const MediaFileDataIDInfo *info;
    Value value;
    std::string bytes; // the raw bytes of a byte value
};

// A comma-separated list of data-ID names, each one that can be written.
bool parseNames(const std::string &list, std::vector<const MediaFileDataIDInfo *> *out, std::string *error)
{
    size_t start = 0;
    while (start <= list.size()) {
        size_t comma = std::min(list.find(',', start), list.size());
        std::string name = list.substr(start, comma - start);
        const MediaFileDataIDInfo *info = MediaFileFindDataID(name.c_str());
        if (!info) {
            *error = "unknown data ID '" + name + "'";
            return false;
        }
        if (info->readOnly || info->valueType == 'P' || info->valueType == '-') {
            *error = std::string(info->constantName) + " cannot be copied: it is read-only";
            return false;
        }
        out->push_back(info);
        start = comma + 1;
    }
    return true;
}

bool targetHas(MediaFileRef ref, const MediaFileDataIDInfo *info)
{
    Value value;
    if (readValue(ref, info, &value) != kMediaFileNoErr)
        return false;
    if (const auto *number = std::get_if<int32_t>(&value))
        return *number != 0;
    if (const auto *text = std::get_if<std::string>(&value))
        return !text->empty();
    return std::get<ByteValue>(value).length > 0;
}

MediaFileStatus writeValue(MediaFileRef ref, const SourceValue &source)
{
    MediaFileDataID id = source.info->dataID;
    if (const auto *number = std::get_if<int32_t>(&source.value))
        return MediaFileSetInteger(ref, id, *number);
    if (const auto *text = std::get_if<std::string>(&source.value))
        return MediaFileSetString(ref, id, text->c_str());
    return MediaFileSetData(ref, id, source.bytes.data(), source.bytes.size());
}

} // namespace

int runCopy(const Args &args)
{
    bool overwrite = false;
    DryRun dryRun;
    std::vector<const MediaFileDataIDInfo *> only, except;
    bool onlyGiven = false;
    BatchOptions batch;
    std::vector<std::string> operands;
    int parsed = parseCommandLine("copy", kCopyHelp, args, &batch, &operands, [&](const std::string &arg, size_t &i, std::string *error) {
        if (arg == "--overwrite") {
            overwrite = true;
        } else if (dryRun.take(arg)) {
        } else if (arg == "--only" || arg == "--except") {
            std::string list;
            if (!takeValue(args, i, &list)) {
                *error = arg + " needs NAME,...";
                return OptionMatch::Error;
            }
            onlyGiven = onlyGiven || arg == "--only";
            if (!parseNames(list, arg == "--only" ? &only : &except, error))
                return OptionMatch::Error;
        } else {
            return OptionMatch::NotMine;
        }
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (operands.empty())
        return usageError("copy", "no SOURCE given");
    if (operands.size() < 2)
        return usageError("copy", "no TARGET given");

    const std::string &sourcePath = operands.front();
    MediaFileRef sourceRef = nullptr;
    if (MediaFileStatus status = openToRead(sourcePath, batch, false, &sourceRef)) {
        printError(sourcePath + ": cannot open: " + openFailureText(sourcePath, status));
        return 1;
    }
    std::vector<SourceValue> values;
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfoAt(i);
        if (info->readOnly || info->valueType == 'P' || info->valueType == '-')
            continue;
        auto listed = [info](const std::vector<const MediaFileDataIDInfo *> &list) {
            return std::find(list.begin(), list.end(), info) != list.end();
        };
        if ((onlyGiven && !listed(only)) || listed(except))
            continue;
        SourceValue value{info, {}, {}};
        if (readValue(sourceRef, info, &value.value, &value.bytes) != kMediaFileNoErr)
            continue;
        // An empty text never erases, as with import.
        if (const auto *text = std::get_if<std::string>(&value.value); text && text->empty())
            continue;
        values.push_back(std::move(value));
    }
    MediaFileClose(sourceRef);
    // Where a kind keeps one picture (ID3 in the classic rules), the one written last stays:
    // let that be the front cover.
    std::stable_partition(values.begin(), values.end(), [](const SourceValue &value) { return value.info->dataID != kMediaFileDataIDArtwork; });

    std::vector<std::string> targets(operands.begin() + 1, operands.end());
    auto job = [&](const std::string &path, size_t) {
        JobResult result;
        FileEdit edit(path, dryRun);
        if (!edit.open(batch, &result))
            return result;
        // Decided before anything is written: a picture just written would otherwise count as
        // the cover art the target already has.
        std::vector<const SourceValue *> wanted;
        for (const SourceValue &value : values)
            if (overwrite || !targetHas(edit.ref(), value.info))
                wanted.push_back(&value);
        size_t unsupported = 0;
        for (const SourceValue *value : wanted) {
            MediaFileStatus status = writeValue(edit.ref(), *value);
            // A value the target's kind has no place for is not copied.
            if (status == kMediaFileErrUnsupported)
                ++unsupported;
            else if (status != kMediaFileNoErr)
                addError(&result, path + ": " + value->info->constantName + ": " + statusText(status));
        }
        // A kind without tags (an image, a movie) would otherwise pass for a successful copy.
        if (unsupported > 0 && unsupported == wanted.size())
            addError(&result, path + ": its kind holds none of the values: " + statusText(kMediaFileErrUnsupported));
        if (!result.failed)
            edit.finish(&result);
        return result;
    };
    return runBatch(targets, batch, job);
}

} // namespace kestrabel::cli
