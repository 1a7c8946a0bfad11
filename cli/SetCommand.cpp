#include "ArtworkInput.h"
#include "Batch.h"
#include "Commands.h"
#include "Edit.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace kestrabel::cli {

const char kSetHelp[] = R"(usage: kestrabel-tag set [-t NAME=VALUE]... [--remove NAME]... [--artwork IMAGE]
                         [write options] [--dry-run] [-r] [-j N] FILE...

Changes values in each FILE and saves it in the file's own tag format.

  -t, --tag NAME=VALUE   set a value. NAME is a data-ID constant name
                         (kMediaFileDataIDTitle), its short form (Title) or its
                         display name ("Track Number"), in any case. Integer IDs
                         take a number from 0 to 2147483647; "7/12" for Track
                         Number stores 7. Cover Art and the other artwork IDs
                         take an image only.
  --remove NAME          remove a value: every field, frame or item that holds
                         it goes. MP3 and MP4 keep a number and its total in one
                         field: removing Track Number removes Total Tracks too,
                         removing Total Tracks keeps the number.
  --force                save a file whose tag could not be read whole, although
                         what could not be read is lost (refused without it).
  --artwork IMAGE        store the image file as the cover art, as JPEG: other
                         image formats (PNG, GIF, BMP, TIFF, WebP) are converted.
  -n, --dry-run          print, per file, each value that would change
                         (old -> new) and write nothing.
  -r, --recursive        go through folders: every media file below them, in
                         name order; files of no media kind are skipped.
  -j, --jobs N           save N files at once (0: one per processor core).
  --classic              the classic rules, without the interop profile

Write options (MP3; other kinds ignore them). By default the tag versions the file
already has are kept, and an MP3 without an ID3v2 tag gets ID3v2.3.
  --id3v2.2, --id3v2.3, --id3v2.4   write the ID3v2 tag in this version
  --id3v1, --id3v1.1                also write an ID3v1.0 / ID3v1.1 tag
  --strip-other                     remove the tag kinds that are not written
  --no-padding                      do not pad the ID3v2 tag
  --preserve-dates                  keep the file's access and modification times
  --in-place                        move the audio inside the file instead of
                                    writing a new file beside it and renaming it

An error names the file, the NAME and the status; the other files are still done.
Exit status: 0 when every file was saved, 1 when any failed, 2 for a usage error.
)";

namespace {

struct Change {
    const MediaFileDataIDInfo *info;
    bool remove;
    std::string value;
    int32_t number = 0; // the value of an integer ID, checked when the command line is read
};

bool isArtworkID(MediaFileDataID id)
{
    return id == kMediaFileDataIDArtwork || id == kMediaFileDataIDArtworkBack || id == kMediaFileDataIDArtworkMisc;
}

// Digits only, within 0 to 2^31 - 1; Track and Disk Number also take "7/12", which stores 7 as it
// always has. Anything else is refused before a file is touched: a wrapped or truncated
// number would be stored without a word.
bool parseIntegerValue(const Change &change, int32_t *out)
{
    const std::string &text = change.value;
    const bool pair = change.info->dataID == kMediaFileDataIDTrackNumber || change.info->dataID == kMediaFileDataIDDiskNumber;
    auto digits = [](std::string_view part) {
        return !part.empty() && part.size() <= 10 && part.find_first_not_of("0123456789") == std::string_view::npos;
    };
    const size_t slash = pair ? text.find('/') : std::string::npos;
    std::string_view number(text.data(), slash == std::string::npos ? text.size() : slash);
    if (!digits(number) || (slash != std::string::npos && !digits(std::string_view(text).substr(slash + 1))))
        return false;
    const uint64_t value = std::stoull(std::string(number));
    if (value > uint64_t(INT32_MAX))
        return false;
    *out = static_cast<int32_t>(value);
    return true;
}

MediaFileStatus applyChange(MediaFileRef ref, const Change &change)
{
    MediaFileDataID id = change.info->dataID;
    if (change.remove)
        return MediaFileRemoveValue(ref, id);
    switch (change.info->valueType) {
    case 'I':
        // Through the integer setter, which every integer ID has (Season and File Kind have no
        // text form).
        return MediaFileSetInteger(ref, id, change.number);
    case 'D':
        return MediaFileSetData(ref, id, change.value.data(), change.value.size());
    default:
        return MediaFileSetString(ref, id, change.value.c_str());
    }
}

// A handler may take a value it has no place for without a word (a FLAC file without a picture
// block takes no cover art); asking for it back tells.
bool stored(MediaFileRef ref, const Change &change)
{
    MediaFileDataID id = change.info->dataID;
    if (change.remove)
        return true;
    switch (change.info->valueType) {
    case 'I':
        // Compilation 0 and the like remove what they set.
        return change.number == 0 || MediaFileGetInteger(ref, id, nullptr) == kMediaFileNoErr;
    case 'D':
        return MediaFileGetData(ref, id, nullptr, nullptr) == kMediaFileNoErr;
    default:
        return change.value.empty() || MediaFileGetString(ref, id, nullptr) == kMediaFileNoErr;
    }
}

// Whether the file already has an ID3v2 tag, told from what the handle reports: with an
// ID3v1 tag the MetaData Size exceeds its 128 bytes only when there is an ID3v2 tag too;
// without one, every frame the handle holds came from an ID3v2 tag.
bool hasID3v2Tag(MediaFileRef ref)
{
    int32_t size = 0;
    MediaFileStatus status = MediaFileGetInteger(ref, kMediaFileDataIDMetaDataSize, &size);
    if (status == kMediaFileNoErr)
        return size > 128;
    int32_t frames = 0;
    return status == kMediaFileErrNoTag && MediaFileGetInteger(ref, kMediaFileDataIDTagFrameCount, &frames) == kMediaFileNoErr &&
           frames > 0;
}

} // namespace

MediaFileFlags defaultWriteFlags(MediaFileRef ref)
{
    MediaFileType kind = kMediaFileTypeUnsupported;
    MediaFileGetType(ref, &kind);
    MediaFileFlags flags = kMediaFileFlagKeepTagVersion;
    if (kind == kMediaFileTypeMP3 && !hasID3v2Tag(ref))
        flags |= kMediaFileFlagID3v23;
    return flags;
}

int runSet(const Args &args)
{
    std::vector<Change> changes;
    std::vector<std::string> files;
    MediaFileFlags flags = kMediaFileFlagKeepTagVersion;
    bool versionChosen = false;
    DryRun dryRun;
    bool force = false;
    BatchOptions batch;
    // A data ID that can be changed, by any of its names; an error names why not.
    auto writableID = [](const std::string &name, std::string *error) -> const MediaFileDataIDInfo * {
        const MediaFileDataIDInfo *info = MediaFileFindDataID(name.c_str());
        if (!info)
            *error = "unknown data ID '" + name + "'";
        else if (info->readOnly)
            *error = std::string(info->constantName) + " is read-only";
        return info && !info->readOnly ? info : nullptr;
    };
    int parsed = parseCommandLine("set", kSetHelp, args, &batch, &files, [&](const std::string &arg, size_t &i, std::string *error) {
        std::string value;
        if (arg == "-t" || arg == "--tag") {
            if (!takeValue(args, i, &value)) {
                *error = arg + " needs NAME=VALUE";
                return OptionMatch::Error;
            }
            size_t equals = value.find('=');
            if (equals == std::string::npos) {
                *error = "'" + value + "' is not NAME=VALUE";
                return OptionMatch::Error;
            }
            const MediaFileDataIDInfo *info = writableID(value.substr(0, equals), error);
            if (!info)
                return OptionMatch::Error;
            Change change{info, false, value.substr(equals + 1)};
            if (info->valueType == 'I' && !parseIntegerValue(change, &change.number)) {
                *error = "'" + change.value + "' is not a number from 0 to 2147483647 for " + info->constantName;
                return OptionMatch::Error;
            }
            if (isArtworkID(info->dataID)) {
                if (MediaFileStatus status = checkArtworkBytes(change.value)) {
                    *error = std::string(info->constantName) + " takes an image (or use --artwork IMAGE): " + statusText(status);
                    return OptionMatch::Error;
                }
            }
            changes.push_back(std::move(change));
        } else if (arg == "--remove") {
            if (!takeValue(args, i, &value)) {
                *error = "--remove needs NAME";
                return OptionMatch::Error;
            }
            const MediaFileDataIDInfo *info = writableID(value, error);
            if (!info)
                return OptionMatch::Error;
            changes.push_back({info, true, {}});
        } else if (arg == "--artwork") {
            if (!takeValue(args, i, &value)) {
                *error = "--artwork needs IMAGE";
                return OptionMatch::Error;
            }
            std::vector<uint8_t> bytes;
            if (MediaFileStatus status = readArtworkImage(value, &bytes)) {
                printError(value + ": cannot read the image: " + statusText(status));
                return OptionMatch::Error; // reported; no usage hint for a bad image
            }
            changes.push_back({MediaFileGetDataIDInfo(kMediaFileDataIDArtwork), false, std::string(bytes.begin(), bytes.end())});
        } else if (arg == "--id3v2.2" || arg == "--id3v2.3" || arg == "--id3v2.4") {
            flags &= ~(kMediaFileFlagKeepTagVersion | kMediaFileFlagID3v22 | kMediaFileFlagID3v23 | kMediaFileFlagID3v24);
            flags |= arg == "--id3v2.2" ? kMediaFileFlagID3v22 : arg == "--id3v2.3" ? kMediaFileFlagID3v23 : kMediaFileFlagID3v24;
            versionChosen = true;
        } else if (arg == "--id3v1") {
            flags |= kMediaFileFlagID3v1;
        } else if (arg == "--id3v1.1") {
            flags |= kMediaFileFlagID3v11;
        } else if (arg == "--strip-other") {
            flags |= kMediaFileFlagID3StripOther;
        } else if (arg == "--no-padding") {
            flags |= kMediaFileFlagID3NoPadding;
        } else if (arg == "--preserve-dates") {
            flags |= kMediaFileFlagPreserveDates;
        } else if (arg == "--in-place") {
            flags |= kMediaFileFlagInPlace;
        } else if (arg == "--force") {
            force = true;
        } else if (dryRun.take(arg)) {
        } else {
            return OptionMatch::NotMine;
        }
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (files.empty())
        return usageError("set", "no FILE given");
    if (changes.empty())
        return usageError("set", "nothing to change (use -t, --remove or --artwork)");

    HeldSaves held;
    auto job = [&](const std::string &path, size_t) {
        JobResult result;
        MediaFileRef ref = nullptr;
        // A file without any tag, or with a damaged one, still takes new values, as it does in
        // the application.
        MediaFileStatus status = MediaFileOpen(path.c_str(), &ref,
                                               kMediaFileFlagIgnoreTagErrors | kMediaFileFlagSkipMPEGInfo | batch.profileFlags());
        if (status != kMediaFileNoErr) {
            addError(&result, path + ": cannot open: " + openFailureText(path, status));
            return result;
        }
        if (MediaFileStatus ignored = MediaFileGetIgnoredTagError(ref); ignored && !force) {
            addError(&result, path + ": not saved: " + partialTagText(ignored) + " (--force saves anyway)");
            MediaFileClose(ref);
            return result;
        }
        MediaFileFlags fileFlags = flags | batch.profileFlags();
        MediaFileType kind = kMediaFileTypeUnsupported;
        MediaFileGetType(ref, &kind);
        // Kept versions stay as they are; an MP3 that has no ID3v2 tag yet gets the most widely
        // read version. Asked before the changes, which add frames.
        if (kind == kMediaFileTypeMP3 && !versionChosen && !hasID3v2Tag(ref))
            fileFlags |= kMediaFileFlagID3v23;
        bool failed = false;
        std::vector<Entry> before;
        if (dryRun.on)
            before = valuesForDryRun(ref);
        for (const Change &change : changes) {
            status = applyChange(ref, change);
            if (status == kMediaFileNoErr && !stored(ref, change)) {
                addError(&result, path + ": " + change.info->constantName + ": not stored: this file has no place for it: " +
                                      statusText(kMediaFileErrUnsupported));
                failed = true;
            } else if (status != kMediaFileNoErr) {
                addError(&result, path + ": " + change.info->constantName + ": " + statusText(status));
                failed = true;
            }
        }
        if (!failed && dryRun.on) {
            result.out = dryRunReport(path, ref, before);
        } else if (!failed) {
            status = held.update(ref, fileFlags);
            if (status != kMediaFileNoErr) {
                addError(&result, path + ": cannot save: " + statusText(status));
                failed = true;
            }
        }
        MediaFileClose(ref);
        return result;
    };
    return held.commit(runBatch(files, batch, job));
}

} // namespace kestrabel::cli
