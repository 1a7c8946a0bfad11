#include "Batch.h"
#include "Commands.h"
#include "Output.h"
#include "Template.h"
#include "Values.h"

#include <cstdio>
#include <optional>

namespace kestrabel::cli {

const char kShowHelp[] = R"(usage: kestrabel-tag show [--json | --format TEMPLATE] [--no-audio-info] [-r] [-j N] FILE...

Prints every value each FILE carries, in data-ID order, with its display name.
Integers are printed as numbers, texts as they are, byte values (artwork, volume
adjustment) as their kind and length. Line breaks and other control characters in
a value are printed as \n, \t, \xHH.

  --json            one JSON object per file per line (JSON Lines):
                    {"path": ..., "kind": "MP3", "audio": {...}, "status": 0,
                    "values": {...}}; "audio" has codec, durationMs,
                    sampleRate, channels, bitsPerSample and bitRate (kbit/s);
                    keys of "values" are data-ID constant names; byte values
                    give their length and SHA-256. A file that fails gives
                    {"path", "status", "error"}; one whose tag could not be
                    read whole has a "warnings" list.
                    A name that is not valid UTF-8 shows U+FFFD in "path" for
                    the bytes that are not; "path_bytes" then holds the name's
                    exact bytes as lower-case hex ("path_bytes": "6ae92e6d7033").
  --format TEMPLATE one line per file: TEMPLATE with each %{NAME} replaced by
                    the file's value of that data ID (empty when it has none),
                    %{path} by its path and %{kind} by its kind; %{NAME:02}
                    pads to two digits, %% is a percent sign. Example:
                    --format '%{Track Number:02}. %{Artist} - %{Title}'
  --no-audio-info   do not read the audio stream's headers (no "Audio:" line
                    or "audio" object, no bit rate, sample rate, channels or
                    play time); faster on large files.
  -r, --recursive   go through folders: every media file below them, in name
                    order; files of no media kind are skipped.
  -j, --jobs N      read N files at once (0: one per processor core); the
                    output keeps the order of the files.
  --classic         the classic rules, without the interop profile

Exit status: 0 when every file opened, 1 when any failed, 2 for a usage error.
)";

FileReport collectReport(const std::string &path, bool audioInfo, MediaFileFlags profile)
{
    FileReport report;
    report.path = path;
    MediaFileRef ref = nullptr;
    // A file with a damaged or missing tag still shows what can be read from it.
    MediaFileFlags flags = kMediaFileFlagIgnoreTagErrors | profile | (audioInfo ? 0 : kMediaFileFlagSkipMPEGInfo);
    report.status = MediaFileOpen(path.c_str(), &ref, flags);
    if (report.status != kMediaFileNoErr) {
        report.cause = openFailureCause(path, report.status);
        report.error = openFailureText(path, report.status);
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
    if (MediaFileStatus ignored = MediaFileGetIgnoredTagError(ref))
        report.warnings.push_back(partialTagText(ignored));
    collectValues(ref, audioInfo, &report.entries);
    MediaFileClose(ref);
    return report;
}

int runShow(const Args &args)
{
    bool json = false, audioInfo = true;
    std::optional<Template> format;
    BatchOptions batch;
    std::vector<std::string> files;
    int parsed = parseCommandLine("show", kShowHelp, args, &batch, &files, [&](const std::string &arg, size_t &i, std::string *error) {
        if (arg == "--json") {
            json = true;
        } else if (arg == "--format") {
            std::string text;
            if (!takeValue(args, i, &text)) {
                *error = "--format needs a TEMPLATE";
                return OptionMatch::Error;
            }
            if (!(format = Template::parse(text, error)))
                return OptionMatch::Error;
        } else if (arg == "--no-audio-info") {
            audioInfo = false;
        } else {
            return OptionMatch::NotMine;
        }
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (files.empty())
        return usageError("show", "no FILE given");
    if (json && format)
        return usageError("show", "--json and --format exclude each other");
    auto job = [&](const std::string &path, size_t) {
        FileReport report = collectReport(path, audioInfo, batch.profileFlags());
        JobResult result;
        result.failed = report.status != kMediaFileNoErr;
        if (json)
            result.out = reportAsJson(report) + "\n";
        else if (result.failed)
            result.err = "kestrabel-tag: " + path + ": " + report.error + "\n";
        else if (format)
            result.out = reportAsLine(report, *format);
        else
            result.out = reportAsText(report);
        return result;
    };
    bool firstText = true;
    auto emit = [&](const std::string &, size_t, JobResult &result) {
        if (!json && !format && !result.out.empty()) {
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
