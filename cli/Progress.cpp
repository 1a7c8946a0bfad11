#include "Progress.h"

#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace kestrabel::cli {
namespace {

size_t terminalWidth()
{
    struct winsize size {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}

} // namespace

ProgressBar::ProgressBar(size_t total, bool enabled) : total_(total), enabled_(enabled) {}

ProgressBar::~ProgressBar() { clear(); }

bool ProgressBar::wanted(size_t total) { return total > kMinimumFiles && isatty(STDERR_FILENO); }

std::string ProgressBar::render(size_t done, size_t total, size_t width)
{
    std::string counter = " " + std::to_string(done) + "/" + std::to_string(total) + " files";
    // Keep one column free: writing the last column makes some terminals wrap.
    size_t barWidth = width > counter.size() + 4 ? width - counter.size() - 3 : 0;
    if (barWidth > 50)
        barWidth = 50;
    size_t filled = total ? barWidth * done / total : barWidth;
    std::string text = "[";
    text.append(filled, '#');
    text.append(barWidth - filled, ' ');
    text += "]";
    return text + counter;
}

void ProgressBar::update(size_t done)
{
    if (!enabled_)
        return;
    lastDone_ = done;
    std::string line = "\r" + render(done, total_, terminalWidth());
    std::fflush(stdout);
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
    drawn_ = true;
}

void ProgressBar::clear()
{
    if (!enabled_ || !drawn_)
        return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    drawn_ = false;
}

} // namespace kestrabel::cli
