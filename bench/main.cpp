// kestrabel-bench: reading and writing speed against TagLib and mutagen, on a corpus it makes
// itself. Prints a Markdown report; see bench/README.md.
#include <kestrabel/MediaFile.h>
#include "CliBench.h"
#include "PeerTagLib.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

struct Options {
    fs::path corpus = "/tmp/kestrabel-bench-corpus";
    int count = 1000;
    int bigMegabytes = 200;
    bool mutagen = true;
    // Which parts run: reading, title writes, the cover on a big file.
    bool reads = true, titles = true, big = true, cli = true;
    bool cliSaves = true; // --only cli-reads: the show --json and start-up rows alone
    fs::path sourceDir = KESTRABEL_BENCH_SOURCE_DIR;
};

const char *const kKinds[] = {"mp3-v23", "mp3-v24", "m4a", "flac", "ogg", "wav-bext", "aiff"};

uint64_t kestrabelReadAll(const std::string &path)
{
    MediaFileRef ref = nullptr;
    if (MediaFileOpen(path.c_str(), &ref, kMediaFileFlagIgnoreTagErrors) != 0)
        return 0;
    uint64_t sum = 0;
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfoAt(i);
        switch (info->valueType) {
        case 'I': {
            int32_t value = 0;
            if (MediaFileGetInteger(ref, info->dataID, &value) == 0)
                sum += static_cast<uint32_t>(value);
            break;
        }
        case 'S':
        case 'P': {
            char *text = nullptr;
            if (MediaFileGetString(ref, info->dataID, &text) == 0) {
                sum += std::strlen(text);
                std::free(text);
            }
            break;
        }
        case 'D': {
            void *bytes = nullptr;
            size_t length = 0;
            if (MediaFileGetData(ref, info->dataID, &bytes, &length) == 0) {
                sum += length;
                std::free(bytes);
            }
            break;
        }
        default:
            break;
        }
    }
    MediaFileClose(ref);
    return sum;
}

// --interop: our saves follow the profile kestrabel-tag uses by default.
MediaFileFlags gProfileFlags = 0;

bool kestrabelSetTitle(const std::string &path, const std::string &title, MediaFileFlags saveFlags)
{
    MediaFileRef ref = nullptr;
    if (MediaFileOpen(path.c_str(), &ref, kMediaFileFlagSkipMPEGInfo | kMediaFileFlagIgnoreTagErrors | gProfileFlags) != 0)
        return false;
    bool ok = MediaFileSetString(ref, kMediaFileDataIDTitle, title.c_str()) == 0 &&
              MediaFileUpdate(ref, kMediaFileFlagKeepTagVersion | saveFlags) == 0;
    MediaFileClose(ref);
    return ok;
}

bool kestrabelAddCover(const std::string &path, const std::vector<uint8_t> &jpeg, MediaFileFlags saveFlags)
{
    MediaFileRef ref = nullptr;
    if (MediaFileOpen(path.c_str(), &ref, kMediaFileFlagSkipMPEGInfo | kMediaFileFlagIgnoreTagErrors | gProfileFlags) != 0)
        return false;
    bool ok = MediaFileSetData(ref, kMediaFileDataIDArtwork, jpeg.data(), jpeg.size()) == 0 &&
              MediaFileUpdate(ref, kMediaFileFlagKeepTagVersion | kMediaFileFlagID3v23 | saveFlags) == 0;
    MediaFileClose(ref);
    return ok;
}

std::vector<std::string> filesIn(const fs::path &folder)
{
    std::vector<std::string> files;
    for (const auto &entry : fs::directory_iterator(folder))
        if (entry.is_regular_file())
            files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

// Best of three passes, in seconds; the checksum keeps the work from being optimised away.
double timeBest(const std::vector<std::string> &files, const std::function<uint64_t(const std::string &)> &work, uint64_t *checksum)
{
    double best = 1e99;
    for (int pass = 0; pass < 3; ++pass) {
        uint64_t sum = 0;
        auto start = Clock::now();
        for (const std::string &file : files)
            sum += work(file);
        best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
        *checksum = sum;
    }
    return best;
}

double mutagenSeconds(const std::vector<std::string> &files, const Options &options)
{
    std::string command = "/usr/bin/python3 " + (options.sourceDir / "mutagen_read.py").string();
    double best = 1e99;
    for (int pass = 0; pass < 3; ++pass) {
        FILE *pipe = popen((command + " > /tmp/kestrabel-bench-mutagen.out").c_str(), "w");
        if (!pipe)
            return -1;
        for (const std::string &file : files)
            std::fprintf(pipe, "%s\n", file.c_str());
        if (pclose(pipe) != 0)
            return -1;
        std::ifstream in("/tmp/kestrabel-bench-mutagen.out");
        int count = 0;
        double seconds = -1;
        in >> count >> seconds;
        if (seconds > 0)
            best = std::min(best, seconds);
    }
    return best;
}

struct ChildResult {
    bool ok = false;
    double seconds = 0;
    long peakKilobytes = 0;
};

// Writes every dirty page back before a timed run, so that no run pays for the writeback of
// the copies made for the one before it.
void settle() { ::sync(); }

// Runs work in a child process so that its peak memory is its own.
ChildResult inChild(const std::function<bool()> &work)
{
    auto start = Clock::now();
    pid_t child = fork();
    if (child == 0)
        _exit(work() ? 0 : 1);
    int status = 0;
    struct rusage usage {};
    wait4(child, &status, 0, &usage);
    ChildResult result;
    result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    result.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    result.peakKilobytes = usage.ru_maxrss;
    return result;
}

void ensureCorpus(const Options &options)
{
    // A corpus made earlier for another --count is made again, so the figures say what they claim.
    bool complete = std::all_of(std::begin(kKinds), std::end(kKinds), [&](const char *kind) {
        fs::path folder = options.corpus / kind;
        return fs::is_directory(folder) &&
               std::distance(fs::directory_iterator(folder), fs::directory_iterator()) == options.count;
    });
    if (complete)
        return;
    for (const char *kind : kKinds)
        fs::remove_all(options.corpus / kind); // only what we made: --corpus may name a folder with other things in it
    std::fprintf(stderr, "bench: generating %d files per kind in %s (once)\n", options.count, options.corpus.c_str());
    std::string command = "/usr/bin/python3 " + (options.sourceDir / "make_corpus.py").string() + " " + options.corpus.string() + " " +
                          std::to_string(options.count);
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "bench: corpus generation failed\n");
        std::exit(1);
    }
}

void readBenchmark(const Options &options)
{
    std::printf("## Reading every value (files per second, best of 3)\n\n");
    std::printf("| kind | files | Kestrabel | TagLib | mutagen | vs TagLib | vs mutagen |\n|---|---|---|---|---|---|---|\n");
    for (const char *kind : kKinds) {
        auto files = filesIn(options.corpus / kind);
        uint64_t ours = 0, theirs = 0;
        double kestrabel = timeBest(files, kestrabelReadAll, &ours);
        double taglib = timeBest(files, kestrabel::bench::tagLibReadAll, &theirs);
        double mutagen = options.mutagen ? mutagenSeconds(files, options) : -1;
        auto rate = [&](double seconds) { return seconds > 0 ? files.size() / seconds : 0.0; };
        char mutagenRate[32] = "-", mutagenRatio[32] = "-";
        if (mutagen > 0) {
            std::snprintf(mutagenRate, sizeof mutagenRate, "%.0f", rate(mutagen));
            std::snprintf(mutagenRatio, sizeof mutagenRatio, "%.1f×", mutagen / kestrabel);
        }
        std::printf("| %s | %zu | %.0f | %.0f | %s | %.2f× | %s |\n", kind, files.size(), rate(kestrabel), rate(taglib), mutagenRate,
                    taglib / kestrabel, mutagenRatio);
        if (ours == 0)
            std::fprintf(stderr, "bench: %s: Kestrabel read nothing — is the handler missing?\n", kind);
        std::fflush(stdout);
    }
}

// Our saves run twice: by default (a new file, fsync, rename) and with kMediaFileFlagInPlace,
// which moves the audio inside the file as TagLib does.
void writeBenchmark(const Options &options)
{
    std::printf("\n## Changing the title of every file (seconds for the whole folder)\n\n");
    std::printf("| kind | change | Kestrabel | Kestrabel in place | TagLib | ratio | ratio in place |\n|---|---|---|---|---|---|---|\n");
    fs::path scratch = fs::temp_directory_path() / "kestrabel-bench-writes";
    for (const char *kind : kKinds) {
        for (bool grow : {false, true}) {
            double seconds[3];
            for (int side = 0; side < 3; ++side) {
                fs::remove_all(scratch);
                fs::copy(options.corpus / kind, scratch);
                auto files = filesIn(scratch);
                settle();
                auto start = Clock::now();
                int index = 0;
                for (const std::string &file : files) {
                    std::string title = "Benchmark Title NUMBER " + std::to_string(index++);
                    if (grow)
                        title += std::string(3000, 'x');
                    if (side == 2)
                        kestrabel::bench::tagLibSetTitle(file, title);
                    else
                        kestrabelSetTitle(file, title, side == 1 ? kMediaFileFlagInPlace : 0);
                }
                seconds[side] = std::chrono::duration<double>(Clock::now() - start).count();
            }
            std::printf("| %s | %s | %.3f | %.3f | %.3f | %.2f× | %.2f× |\n", kind, grow ? "grows" : "same length", seconds[0],
                        seconds[1], seconds[2], seconds[2] / seconds[0], seconds[2] / seconds[1]);
            std::fflush(stdout);
        }
    }
    fs::remove_all(scratch);
}

void writeBigFile(const fs::path &path, const std::string &kind, uint64_t bytes, const Options &options)
{
    if (kind == "wav") {
        std::ofstream out(path, std::ios::binary);
        auto le32 = [&](uint32_t v) { out.put(char(v)).put(char(v >> 8)).put(char(v >> 16)).put(char(v >> 24)); };
        auto le16 = [&](uint16_t v) { out.put(char(v)).put(char(v >> 8)); };
        uint32_t dataSize = static_cast<uint32_t>(std::min<uint64_t>(bytes, 0xFFFFFF00u));
        out.write("RIFF", 4);
        le32(36 + dataSize);
        out.write("WAVEfmt ", 8);
        le32(16), le16(1), le16(2), le32(44100), le32(44100 * 4), le16(4), le16(16);
        out.write("data", 4);
        le32(dataSize);
        std::vector<char> block(1 << 20, 0);
        for (uint64_t written = 0; written < dataSize; written += block.size())
            out.write(block.data(), static_cast<std::streamsize>(std::min<uint64_t>(block.size(), dataSize - written)));
        return;
    }
    kestrabel::bench::writeBigMp3(path, bytes);
}

void bigFileBenchmark(const Options &options)
{
    std::printf("\n## Adding a 256 KB cover to a %d MB file (seconds, peak resident MB)\n\n", options.bigMegabytes);
    std::printf("| kind | Kestrabel | Kestrabel in place | TagLib |\n|---|---|---|---|\n");
    std::vector<uint8_t> cover(256 * 1024);
    cover[0] = 0xFF, cover[1] = 0xD8, cover[2] = 0xFF;
    for (size_t i = 3; i < cover.size(); ++i)
        cover[i] = static_cast<uint8_t>(i * 2654435761u >> 24);
    fs::path folder = fs::temp_directory_path() / "kestrabel-bench-big";
    fs::create_directories(folder);
    for (std::string kind : {"mp3", "wav"}) {
        fs::path original = folder / ("big." + kind);
        writeBigFile(original, kind, uint64_t(options.bigMegabytes) << 20, options);
        std::printf("| %s |", kind.c_str());
        for (int side = 0; side < 3; ++side) {
            fs::path work = folder / ("work." + kind);
            fs::copy_file(original, work, fs::copy_options::overwrite_existing);
            std::string path = work.string();
            settle();
            ChildResult result = inChild([&] {
                return side == 2 ? kestrabel::bench::tagLibAddCover(path, cover)
                                 : kestrabelAddCover(path, cover, side == 1 ? kMediaFileFlagInPlace : 0);
            });
            std::printf(" %.3f s, %.1f MB%s |", result.seconds, result.peakKilobytes / 1024.0, result.ok ? "" : " (failed)");
            fs::remove(work);
        }
        std::printf("\n");
        std::fflush(stdout);
        fs::remove(original);
    }
    fs::remove_all(folder);
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    bool onlyApplied = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
        if (arg == "--corpus")
            options.corpus = next();
        else if (arg == "--count")
            options.count = std::atoi(next().c_str());
        else if (arg == "--big-mb")
            options.bigMegabytes = std::atoi(next().c_str());
        else if (arg == "--no-mutagen")
            options.mutagen = false;
        else if (arg == "--interop")
            gProfileFlags = kMediaFileFlagInterop;
        else if (arg == "--only") {
            std::string part = next();
            if (!onlyApplied)
                options.reads = options.titles = options.big = options.cli = false, onlyApplied = true;
            if (part == "cli-reads")
                part = "cli", options.cliSaves = false;
            bool *chosen = part == "reads" ? &options.reads : part == "titles" ? &options.titles : part == "big" ? &options.big
                                                                                                            : part == "cli" ? &options.cli : nullptr;
            if (!chosen) {
                std::fprintf(stderr, "kestrabel-bench: unknown part '%s' (reads, titles, big, cli, cli-reads)\n", part.c_str());
                return 2;
            }
            *chosen = true;
        }
        else {
            std::printf("usage: kestrabel-bench [--corpus DIR] [--count N] [--big-mb MB] [--no-mutagen] [--interop] [--only reads|titles|big|cli|cli-reads]...\n\n"
                        "Generates a corpus of N tagged files per kind (once, in DIR; default %s, 1000 files),\n"
                        "then reports reading and writing speed against TagLib and mutagen in Markdown.\n",
                        options.corpus.c_str());
            return arg == "-h" || arg == "--help" ? 0 : 2;
        }
    }
    ensureCorpus(options);
    std::printf("# Kestrabel benchmark\n\n");
    if (options.reads)
        readBenchmark(options);
    if (options.titles)
        writeBenchmark(options);
    if (options.big)
        bigFileBenchmark(options);
    if (options.cli)
        kestrabel::bench::cliBenchmark({options.corpus, options.count, options.bigMegabytes, options.cliSaves});
    return 0;
}
