#include "Batch.h"
#include "Commands.h"
#include "Output.h"
#include "Sha256.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace kestrabel::cli {

const char kShowHelp[] = R"(usage: kestrabel-tag show [--json] [--no-audio-info] [-r] [-j N] FILE...

Prints every value each FILE carries, in data-ID order, with its display name.
Integers are printed as numbers, texts as they are, byte values (artwork, volume
adjustment) as their kind and length.

  --json            one JSON object per file per line (JSON Lines):
                    {"path": ..., "kind": "MP3", "audio": {...}, "status": 0,
                    "values": {...}}; "audio" has codec, durationMs,
                    sampleRate, channels, bitsPerSample and bitRate (kbit/s).
                    keys are data-ID constant names; byte values give their length
                    and SHA-256. A file that fails gives {"path", "status", "error"}.
  --no-audio-info   do not read the audio stream's headers (no "Audio:" line
                    or "audio" object, no bit rate, sample rate, channels or
                    play time); faster on large files.
  -r, --recursive   go through folders: every media file below them, in name
                    order; files of no media kind are skipped.
  -j, --jobs N      read N files at once (0: one per processor core); the
                    output keeps the order of the files.

Exit status: 0 when every file opened, 1 when any failed, 2 for a usage error.
)";

namespace {

bool isAudioInfo(MediaFileDataID id)
{
    return id == kMediaFileDataIDBitRate || id == kMediaFileDataIDChannels || id == kMediaFileDataIDSampleRate ||
           id == kMediaFileDataIDPlayTime;
}

} // namespace

FileReport collectReport(const std::string &path, bool audioInfo)
{
    FileReport report;
    report.path = path;
    MediaFileRef ref = nullptr;
    // A file with a damaged or missing tag still shows what can be read from it.
    MediaFileFlags flags = kMediaFileFlagIgnoreTagErrors | (audioInfo ? 0 : kMediaFileFlagSkipMPEGInfo);
    report.status = MediaFileOpen(path.c_str(), &ref, flags);
    if (report.status != kMediaFileNoErr) {
        report.error = statusText(report.status);
        return report;
    }
    MediaFileGetType(ref, &report.kind);
    char *kindName = nullptr;
    if (MediaFileGetString(ref, kMediaFileDataIDKind, &kindName) == kMediaFileNoErr) {
        report.kindName = kindName;
        std::free(kindName);
    }
    if (audioInfo) {
        MediaFileAudioProperties audio{};
        audio.structSize = sizeof audio;
        if (MediaFileGetAudioProperties(ref, &audio) == kMediaFileNoErr)
            report.audio = audio;
    }
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfoAt(i);
        if (!audioInfo && isAudioInfo(info->dataID))
            continue;
        switch (info->valueType) {
        case 'I': {
            int32_t value = 0;
            if (MediaFileGetInteger(ref, info->dataID, &value) == kMediaFileNoErr)
                report.entries.push_back({info, value});
            break;
        }
        case 'S':
        case 'P': {
            char *text = nullptr;
            if (MediaFileGetString(ref, info->dataID, &text) == kMediaFileNoErr) {
                report.entries.push_back({info, std::string(text)});
                std::free(text);
            }
            break;
        }
        case 'D': {
            void *bytes = nullptr;
            size_t length = 0;
            if (MediaFileGetData(ref, info->dataID, &bytes, &length) == kMediaFileNoErr) {
                std::unique_ptr<void, decltype(&std::free)> owner(bytes, &std::free);
                auto *data = static_cast<const uint8_t *>(bytes);
                report.entries.push_back({info, ByteValue{length, sha256Hex({data, length}), describeBytes(data, length)}});
            }
            break;
        }
        default:
            break;
        }
    }
    MediaFileClose(ref);
    return report;
}

int runShow(const Args &args)
{
    bool json = false, audioInfo = true;
    BatchOptions batch;
    std::vector<std::string> files;
    int parsed = parseCommandLine("show", kShowHelp, args, &batch, &files, [&](const std::string &arg, size_t &, std::string *) {
        if (arg == "--json")
            json = true;
        else if (arg == "--no-audio-info")
            audioInfo = false;
        else
            return OptionMatch::NotMine;
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (files.empty())
        return usageError("show", "no FILE given");
    auto job = [&](const std::string &path, size_t) {
        FileReport report = collectReport(path, audioInfo);
        JobResult result;
        result.failed = report.status != kMediaFileNoErr;
        if (json)
            result.out = reportAsJson(report) + "\n";
        else if (result.failed)
            result.err = "kestrabel-tag: " + path + ": " + report.error + "\n";
        else
            result.out = reportAsText(report);
        return result;
    };
    bool firstText = true;
    auto emit = [&](const std::string &, size_t, JobResult &result) {
        if (!json && !result.out.empty()) {
            if (!firstText)
                result.out = "\n" + result.out;
            firstText = false;
        }
        std::fwrite(result.out.data(), 1, result.out.size(), stdout);
        std::fflush(stdout);
        std::fwrite(result.err.data(), 1, result.err.size(), stderr);
    };
    return runBatch(files, batch, job, emit);
}

} // namespace kestrabel::cli
