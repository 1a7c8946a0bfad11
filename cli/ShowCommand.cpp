#include "Commands.h"
#include "Output.h"
#include "Sha256.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace kestrabel::cli {

const char kShowHelp[] = R"(usage: kestrabel-tag show [--json] [--no-audio-info] FILE...

Prints every value each FILE carries, in data-ID order, with its display name.
Integers are printed as numbers, texts as they are, byte values (artwork, volume
adjustment) as their kind and length.

  --json            one JSON object per file per line (JSON Lines):
                    {"path": ..., "kind": "MP3", "status": 0, "values": {...}}
                    keys are data-ID constant names; byte values give their length
                    and SHA-256. A file that fails gives {"path", "status", "error"}.
  --no-audio-info   do not scan the audio stream (no bit rate, sample rate,
                    channels or play time); faster on large files.

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
    report.status = MediaFileOpen(path.c_str(), &ref, audioInfo ? 0 : kMediaFileFlagSkipMPEGInfo);
    if (report.status != kMediaFileNoErr) {
        report.error = statusText(report.status);
        return report;
    }
    MediaFileGetType(ref, &report.kind);
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
    std::vector<std::string> files;
    bool optionsDone = false;
    for (const std::string &arg : args) {
        if (!optionsDone && arg == "--") {
            optionsDone = true;
        } else if (!optionsDone && arg == "--json") {
            json = true;
        } else if (!optionsDone && arg == "--no-audio-info") {
            audioInfo = false;
        } else if (!optionsDone && (arg == "-h" || arg == "--help")) {
            std::fputs(kShowHelp, stdout);
            return 0;
        } else if (!optionsDone && arg.size() > 1 && arg[0] == '-') {
            return usageError("show", "unknown option " + arg);
        } else {
            files.push_back(arg);
        }
    }
    if (files.empty())
        return usageError("show", "no FILE given");
    int exitStatus = 0;
    bool firstText = true;
    for (const std::string &path : files) {
        FileReport report = collectReport(path, audioInfo);
        if (report.status != kMediaFileNoErr)
            exitStatus = 1;
        if (json) {
            std::string line = reportAsJson(report) + "\n";
            std::fwrite(line.data(), 1, line.size(), stdout);
        } else if (report.status != kMediaFileNoErr) {
            std::fflush(stdout);
            printError(path + ": " + report.error);
        } else {
            std::string text = (firstText ? "" : "\n") + reportAsText(report);
            firstText = false;
            std::fwrite(text.data(), 1, text.size(), stdout);
        }
    }
    return exitStatus;
}

} // namespace kestrabel::cli
