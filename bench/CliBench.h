// The command-line part of the benchmark (--only cli): whole processes, as users meet them.
#pragma once

#include <cstdint>
#include <filesystem>

namespace kestrabel::bench {

struct CliOptions {
    std::filesystem::path corpus;
    int count;
    int bigMegabytes;
    bool saves = true;
};

void cliBenchmark(const CliOptions &options);

// A tagless MP3 of about bytes bytes: a short encoded stream repeated (MPEG frames can follow one
// another indefinitely).
void writeBigMp3(const std::filesystem::path &path, uint64_t bytes);

} // namespace kestrabel::bench
