#include "Batch.h"

#include "FileWalker.h"
#include "Progress.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

namespace kestrabel::cli {

namespace {

constexpr unsigned kMaxJobs = 64;

bool parseJobs(const std::string &text, unsigned *out)
{
    if (text.empty() || text.size() > 3 || !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return false;
    unsigned value = unsigned(std::stoul(text));
    if (value == 0)
        value = std::max(1u, std::thread::hardware_concurrency());
    if (value > kMaxJobs)
        return false;
    *out = value;
    return true;
}

void printResult(JobResult &result)
{
    if (!result.out.empty()) {
        std::fwrite(result.out.data(), 1, result.out.size(), stdout);
        std::fflush(stdout);
    }
    if (!result.err.empty()) {
        std::fwrite(result.err.data(), 1, result.err.size(), stderr);
        std::fflush(stderr);
    }
}

JobResult runGuarded(const Job &job, const std::string &path, size_t index)
{
    try {
        return job(path, index);
    } catch (const std::exception &e) {
        JobResult result;
        addError(&result, path + ": " + e.what());
        return result;
    }
}

} // namespace

OptionMatch takeBatchOption(const Args &args, size_t &i, BatchOptions *options, std::string *error)
{
    const std::string &arg = args[i];
    if (arg == "-r" || arg == "--recursive") {
        options->recursive = true;
        return OptionMatch::Taken;
    }
    if (arg == "--classic") {
        options->classic = true;
        return OptionMatch::Taken;
    }
    std::string value;
    if (arg == "-j" || arg == "--jobs") {
        if (i + 1 >= args.size()) {
            *error = arg + " needs a number";
            return OptionMatch::Error;
        }
        value = args[++i];
    } else if (arg.rfind("--jobs=", 0) == 0) {
        value = arg.substr(7);
    } else if (arg.size() > 2 && arg.rfind("-j", 0) == 0) {
        value = arg.substr(2);
    } else {
        return OptionMatch::NotMine;
    }
    if (!parseJobs(value, &options->jobs)) {
        *error = "'" + value + "' is not a number of jobs from 0 to " + std::to_string(kMaxJobs);
        return OptionMatch::Error;
    }
    return OptionMatch::Taken;
}

int parseCommandLine(const char *command, const char *help, const Args &args, BatchOptions *batch,
                     std::vector<std::string> *operands, const OwnOption &own)
{
    bool optionsDone = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &arg = args[i];
        if (optionsDone || arg.empty() || arg[0] != '-' || arg == "-") {
            operands->push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsDone = true;
            continue;
        }
        if (arg == "-h" || arg == "--help") {
            std::fputs(help, stdout);
            return 0;
        }
        std::string error;
        OptionMatch match = takeBatchOption(args, i, batch, &error);
        if (match == OptionMatch::NotMine)
            match = own(arg, i, &error);
        if (match == OptionMatch::NotMine)
            return usageError(command, "unknown option " + arg);
        if (match == OptionMatch::Error)
            return error.empty() ? 2 : usageError(command, error);
    }
    return -1;
}

bool takeValue(const Args &args, size_t &i, std::string *out)
{
    if (i + 1 >= args.size() || args[i + 1].empty())
        return false;
    *out = args[++i];
    return true;
}

// Here rather than in main.cpp, for the Qt part's commands use them too.
void printError(const std::string &message)
{
    std::string line = "kestrabel-tag: " + message + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

int usageError(const std::string &command, const std::string &message)
{
    printError(command + ": " + message);
    std::fprintf(stderr, "Try 'kestrabel-tag %s --help'.\n", command.c_str());
    return 2;
}

void addError(JobResult *result, const std::string &message)
{
    result->err += "kestrabel-tag: " + message + "\n";
    result->failed = true;
}

HeldSaves::HeldSaves()
{
    if (MediaFileSaveGroupCreate(&group_) != kMediaFileNoErr)
        group_ = nullptr;
}

HeldSaves::~HeldSaves() { commit(0); }

MediaFileStatus HeldSaves::update(MediaFileRef ref, MediaFileFlags flags)
{
    return group_ ? MediaFileUpdateInGroup(ref, flags, group_) : MediaFileUpdate(ref, flags);
}

int HeldSaves::commit(int status)
{
    if (!group_)
        return status;
    auto report = [](const char *path, MediaFileStatus failure, void *) {
        printError(std::string(path) + ": cannot save: " + statusText(failure));
    };
    MediaFileStatus failed = MediaFileSaveGroupCommit(group_, report, nullptr);
    group_ = nullptr;
    return failed && status == 0 ? 1 : status;
}

std::vector<std::string> batchFiles(const std::vector<std::string> &arguments, const BatchOptions &options,
                                    bool *folderErrors)
{
    FileList list = expandFileArguments(arguments, options.recursive);
    for (const std::string &message : list.errors)
        printError(message);
    *folderErrors = !list.errors.empty();
    return distinctFiles(std::move(list));
}

int runBatch(const std::vector<std::string> &arguments, const BatchOptions &options, const Job &job, const Emit &emit)
{
    bool folderErrors = false;
    std::vector<std::string> files = batchFiles(arguments, options, &folderErrors);
    int status = runBatchOnFiles(files, options, job, emit);
    return folderErrors ? 1 : status;
}

int runBatchOnFiles(const std::vector<std::string> &files, const BatchOptions &options, const Job &job, const Emit &emit)
{
    const size_t count = files.size();
    ProgressBar bar(count, ProgressBar::wanted(count));
    bool failed = false;
    auto deliver = [&](size_t index, JobResult &result) {
        bar.clear();
        failed = failed || result.failed;
        if (emit)
            emit(files[index], index, result);
        else
            printResult(result);
    };

    unsigned workers = std::min<size_t>(options.jobs, count);
    if (workers <= 1) {
        for (size_t i = 0; i < count; ++i) {
            bar.update(i);
            JobResult result = runGuarded(job, files[i], i);
            deliver(i, result);
        }
        bar.update(count);
        bar.clear();
        return failed ? 1 : 0;
    }

    std::mutex mutex;
    std::condition_variable ready;
    std::vector<std::optional<JobResult>> results(count);
    std::atomic<size_t> next{0};
    size_t finished = 0;
    std::vector<std::thread> threads;
    threads.reserve(workers);
    for (unsigned w = 0; w < workers; ++w) {
        threads.emplace_back([&] {
            for (size_t i = next++; i < count; i = next++) {
                JobResult result = runGuarded(job, files[i], i);
                std::lock_guard lock(mutex);
                results[i] = std::move(result);
                ++finished;
                ready.notify_one();
            }
        });
    }
    size_t printed = 0;
    bar.update(0);
    while (printed < count) {
        std::unique_lock lock(mutex);
        size_t seen = finished;
        ready.wait(lock, [&] { return finished != seen || results[printed].has_value(); });
        std::vector<std::pair<size_t, JobResult>> batch;
        while (printed < count && results[printed]) {
            batch.emplace_back(printed, std::move(*results[printed]));
            results[printed].reset();
            ++printed;
        }
        size_t done = finished;
        lock.unlock();
        for (auto &[index, result] : batch)
            deliver(index, result);
        bar.update(done);
    }
    for (std::thread &thread : threads)
        thread.join();
    bar.clear();
    return failed ? 1 : 0;
}

} // namespace kestrabel::cli
