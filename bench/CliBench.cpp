#include "CliBench.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace kestrabel::bench {

namespace {

const char *const kKinds[] = {"mp3-v23", "mp3-v24", "m4a", "flac", "ogg", "wav-bext", "aiff"};

struct Run {
    double seconds = 0;
    double cpuSeconds = 0; // user and system time of the process
    long peakKilobytes = 0;
    bool ok = false;
};

// One whole process, its output thrown away, timed from fork to exit.
Run run(const std::vector<std::string> &arguments)
{
    std::vector<char *> argv;
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    auto start = Clock::now();
    pid_t child = fork();
    if (child == 0) {
        int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    wait4(child, &status, 0, &usage);
    Run result;
    result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    result.cpuSeconds = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    result.peakKilobytes = usage.ru_maxrss;
    result.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return result;
}

// Processor time rather than wall time: on a machine whose few cores other work shares, the
// wall time of a short process says more about its neighbours than about it.
double bestCpu(int passes, const std::vector<std::string> &arguments)
{
    double seconds = 1e99;
    for (int pass = 0; pass < passes; ++pass)
        seconds = std::min(seconds, run(arguments).cpuSeconds);
    return std::max(seconds, 1e-6);
}

std::vector<std::string> filesIn(const fs::path &folder, size_t limit)
{
    std::vector<std::string> files;
    for (const auto &entry : fs::directory_iterator(folder))
        if (entry.is_regular_file())
            files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    if (files.size() > limit)
        files.resize(limit);
    return files;
}

std::vector<std::string> with(std::vector<std::string> command, const std::vector<std::string> &files)
{
    command.insert(command.end(), files.begin(), files.end());
    return command;
}

void readRows(const CliOptions &options)
{
    std::printf("## kestrabel-tag show --json against a TagLib reader, whole processes (files per processor second, best of 3)\n\n");
    std::printf("| kind | files | kestrabel-tag | TagLib reader | ratio |\n|---|---|---|---|---|\n");
    for (size_t limit : {size_t(options.count), size_t(300)}) {
        for (const char *kind : kKinds) {
            auto files = filesIn(options.corpus / kind, limit);
            double ours = bestCpu(3, with({KESTRABEL_TAG, "show", "--json"}, files));
            double theirs = bestCpu(3, with({KESTRABEL_TAGLIB_TOOL, "read"}, files));
            std::printf("| %s | %zu | %.0f | %.0f | %.2f× |\n", kind, files.size(), files.size() / ours, files.size() / theirs,
                        theirs / ours);
            std::fflush(stdout);
        }
    }
}

// The cost of a process before its first file: one file read, the version alone, and the
// floor of fork and exec on this machine.
void startUpRows(const CliOptions &options)
{
    const int runs = 300;
    std::string file = filesIn(options.corpus / "mp3-v24", 1).front();
    auto mean = [&](const std::vector<std::string> &command, double *cpu) {
        double total = 0, processor = 0;
        for (int i = 0; i < runs; ++i) {
            Run result = run(command);
            total += result.seconds;
            processor += result.cpuSeconds;
        }
        *cpu = processor / runs * 1000;
        return total / runs * 1000;
    };
    double cpu[4];
    double floor = mean({"/bin/true"}, &cpu[0]);
    double version = mean({KESTRABEL_TAG, "--version"}, &cpu[1]);
    double ours = mean({KESTRABEL_TAG, "show", "--json", file}, &cpu[2]);
    double theirs = mean({KESTRABEL_TAGLIB_TOOL, "read", file}, &cpu[3]);
    std::printf("\n## Start-up (milliseconds per process, mean of %d: wall time, and processor time in brackets)\n\n", runs);
    std::printf("| /bin/true | kestrabel-tag --version | kestrabel-tag show --json, one file | TagLib reader, one file | "
                "start-up (version − true) |\n|---|---|---|---|---|\n");
    std::printf("| %.2f (%.2f) | %.2f (%.2f) | %.2f (%.2f) | %.2f (%.2f) | %.2f (%.2f) |\n", floor, cpu[0], version, cpu[1], ours, cpu[2],
                theirs, cpu[3], version - floor, cpu[1] - cpu[0]);
    std::fflush(stdout);
}

// A growing save of up to 1000 files in one run: kestrabel-tag set (new files flushed together,
// then renamed) against TagLib saving each file in place.
void batchSaveRows(const CliOptions &options)
{
    std::printf("\n## A growing save of every file in one run (seconds for the folder)\n\n");
    std::printf("| kind | files | kestrabel-tag set | TagLib | ratio |\n|---|---|---|---|---|\n");
    fs::path scratch = fs::temp_directory_path() / "kestrabel-bench-batch";
    const std::string comment(3000, 'c');
    for (const char *kind : kKinds) {
        double seconds[2];
        size_t count = 0;
        for (int side = 0; side < 2; ++side) {
            fs::remove_all(scratch);
            fs::create_directories(scratch);
            auto originals = filesIn(options.corpus / kind, 1000);
            for (const std::string &file : originals)
                fs::copy_file(file, scratch / fs::path(file).filename());
            auto files = filesIn(scratch, 1000);
            count = files.size();
            ::sync();
            Run result = side == 0 ? run(with({KESTRABEL_TAG, "set", "-t", "Comment=" + comment}, files))
                                   : run(with({KESTRABEL_TAGLIB_TOOL, "set-comment", comment}, files));
            seconds[side] = result.ok ? result.seconds : -1;
        }
        std::printf("| %s | %zu | %.3f | %.3f | %.2f× |\n", kind, count, seconds[0], seconds[1], seconds[1] / seconds[0]);
        std::fflush(stdout);
    }
    fs::remove_all(scratch);
}

bool shell(const std::string &command) { return std::system(command.c_str()) == 0; }


// A comment added to a big MP3 (its tag grows from nothing): on ext4, and on a loop-mounted
// XFS image with reflink, where the new file can share the audio with the old one.
void bigFileRows(const CliOptions &options)
{
    const uint64_t bytes = uint64_t(options.bigMegabytes) << 20;
    std::printf("\n## A growing save of a %d MB MP3 (seconds, peak resident MB)\n\n", options.bigMegabytes);
    std::printf("| file system | kestrabel-tag set | TagLib |\n|---|---|---|\n");
    const std::string comment = "Comment=" + std::string(3000, 'c');
    auto rows = [&](const char *name, const fs::path &folder, const char *copy) {
        fs::path original = folder / "big.mp3", work = folder / "work.mp3";
        writeBigMp3(original, bytes);
        std::printf("| %s |", name);
        for (int side = 0; side < 2; ++side) {
            fs::remove(work);
            if (!shell(std::string(copy) + " " + original.string() + " " + work.string()))
                std::exit(1);
            ::sync();
            Run result = side == 0 ? run({KESTRABEL_TAG, "set", "-t", comment, work.string()})
                                   : run({KESTRABEL_TAGLIB_TOOL, "set-comment", std::string(3000, 'c'), work.string()});
            std::printf(" %.3f s, %.1f MB%s |", result.seconds, result.peakKilobytes / 1024.0, result.ok ? "" : " (failed)");
        }
        std::printf("\n");
        std::fflush(stdout);
        fs::remove(work);
        fs::remove(original);
    };
    fs::path ext = fs::temp_directory_path() / "kestrabel-bench-big";
    fs::create_directories(ext);
    rows("ext4 (the temporary folder)", ext, "cp");
    fs::remove_all(ext);
    if (geteuid() != 0) {
        std::printf("| XFS with reflink | skipped: mounting the image needs root | |\n");
        return;
    }
    fs::path image = fs::temp_directory_path() / "kestrabel-bench-xfs.img", mount = fs::temp_directory_path() / "kestrabel-bench-xfs";
    fs::create_directories(mount);
    const std::string size = std::to_string(options.bigMegabytes * 2 + 1024) + "M";
    if (!shell("truncate -s " + size + " " + image.string() + " && mkfs.xfs -q -f -m reflink=1 " + image.string() +
               " && mount -o loop " + image.string() + " " + mount.string())) {
        std::printf("| XFS with reflink | skipped: the image could not be made or mounted | |\n");
        fs::remove(image);
        return;
    }
    rows("XFS with reflink (loop image)", mount, "cp --reflink=always");
    shell("umount " + mount.string());
    fs::remove(image);
    fs::remove(mount);
}

} // namespace

void writeBigMp3(const fs::path &path, uint64_t bytes)
{
    fs::path seed = fs::temp_directory_path() / "kestrabel-bench-seed.mp3";
    if (!shell("ffmpeg -v error -y -f lavfi -i anoisesrc=d=20:r=44100 -c:a libmp3lame -b:a 320k -write_xing 0 -id3v2_version 0 " +
               seed.string()))
        std::exit(1);
    std::ifstream in(seed, std::ios::binary);
    std::vector<char> frames((std::istreambuf_iterator<char>(in)), {});
    std::ofstream out(path, std::ios::binary);
    for (uint64_t written = 0; written < bytes; written += frames.size())
        out.write(frames.data(), static_cast<std::streamsize>(frames.size()));
    fs::remove(seed);
}

void cliBenchmark(const CliOptions &options)
{
    readRows(options);
    startUpRows(options);
    if (!options.saves)
        return;
    batchSaveRows(options);
    bigFileRows(options);
}

} // namespace kestrabel::bench
