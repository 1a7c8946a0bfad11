// The command-line part of the benchmark (--only cli): whole processes, as users meet them.
#pragma once

#include <filesystem>

namespace kestrabel::bench {

struct CliOptions {
    std::filesystem::path corpus;
    int count;
    int bigMegabytes;
};

void cliBenchmark(const CliOptions &options);

} // namespace kestrabel::bench
