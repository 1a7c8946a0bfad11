// Running a command over many files: -r/--recursive and -j N, a pool of workers with one
// handle each, results printed in the order of the files, and the progress bar.
#pragma once

#include "Commands.h"

#include <functional>
#include <string>
#include <vector>

namespace kestrabel::cli {

struct BatchOptions {
    bool recursive = false;
    unsigned jobs = 1;
    bool classic = false; // --classic: the exact classic rules, without the interop profile

    // Added to every open and update of a file command.
    MediaFileFlags profileFlags() const { return classic ? 0 : kMediaFileFlagInterop; }
};

enum class OptionMatch { NotMine, Taken, Error };

// Takes -r, --recursive, -j N, -jN, --jobs N, --jobs=N and --classic at args[i], moving i past a
// value.
OptionMatch takeBatchOption(const Args &args, size_t &i, BatchOptions *options, std::string *error);

// A command's own options: Taken (consumed, i moved past any value), NotMine (an unknown
// option) or Error (a usage error described in *error; an empty description means the handler
// has already reported the problem itself).
using OwnOption = std::function<OptionMatch(const std::string &arg, size_t &i, std::string *error)>;

// The argument walk every command shares: -r/-j, "--", -h/--help and the operands are handled
// here, every other option goes to own. Returns -1 when the command should run, otherwise the
// exit status to return (0 after printing help, 2 after a usage error).
int parseCommandLine(const char *command, const char *help, const Args &args, BatchOptions *batch,
                     std::vector<std::string> *operands, const OwnOption &own);

// The value after the option at args[i] ("-o FILE"), moving i onto it; false at the end or
// when the value is empty.
bool takeValue(const Args &args, size_t &i, std::string *out);

struct JobResult {
    std::string out; // to standard output
    std::string err; // complete lines to standard error
    bool failed = false;
};

// Appends "kestrabel-tag: message\n" to result.err and marks it failed.
void addError(JobResult *result, const std::string &message);

// Expands the FILE arguments, runs job(path, index) for each file on options.jobs workers and
// hands every result, in file order, to emit on the calling thread (by default out and err are
// printed). Returns the exit status: 0, or 1 when a folder could not be read or a job failed.
using Job = std::function<JobResult(const std::string &path, size_t index)>;
using Emit = std::function<void(const std::string &path, size_t index, JobResult &result)>;
int runBatch(const std::vector<std::string> &arguments, const BatchOptions &options, const Job &job,
             const Emit &emit = {});

// The saves of one command run, held for one commit at its end (MediaFileUpdateInGroup): all
// new files flushed together instead of one fsync each, with the same crash safety.
class HeldSaves {
public:
    HeldSaves();
    ~HeldSaves();
    HeldSaves(const HeldSaves &) = delete;
    HeldSaves &operator=(const HeldSaves &) = delete;
    MediaFileStatus update(MediaFileRef ref, MediaFileFlags flags);
    // Commits, prints "kestrabel-tag: PATH: cannot save: STATUS" for each save that failed, and
    // returns status, or 1 when one failed and status was 0.
    int commit(int status);

private:
    MediaFileSaveGroupRef group_ = nullptr;
};

// The files runBatch would work on, and whether every folder could be read; for commands that
// need the list before starting (an archive written at the end).
std::vector<std::string> batchFiles(const std::vector<std::string> &arguments, const BatchOptions &options,
                                    bool *folderErrors);
int runBatchOnFiles(const std::vector<std::string> &files, const BatchOptions &options, const Job &job,
                    const Emit &emit = {});

} // namespace kestrabel::cli
