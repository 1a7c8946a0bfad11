// A one-line progress bar on standard error, redrawn in place. It is drawn only when standard
// error is a terminal and the run is long enough to be worth watching.
#pragma once

#include <cstddef>
#include <string>

namespace kestrabel::cli {

class ProgressBar {
public:
    // Fewer files than this finish before a bar would be read.
    static constexpr size_t kMinimumFiles = 8;

    ProgressBar(size_t total, bool enabled);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    // Whether a bar for total files would be drawn on this process's standard error.
    static bool wanted(size_t total);

    bool enabled() const { return enabled_; }
    void update(size_t done);
    // Removes the bar so that a message can be printed; the next update draws it again.
    void clear();

    // The bar's text for a width in columns, without the leading carriage return.
    static std::string render(size_t done, size_t total, size_t width);

private:
    size_t total_;
    bool enabled_;
    bool drawn_ = false;
    size_t lastDone_ = 0;
};

} // namespace kestrabel::cli
