#include "common/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace zelsr::examples {
namespace {

constexpr double kLong = 60;  // units

}  // namespace

Progress::Progress(std::string what, double total, std::string unit)
    : what_(std::move(what)), unit_(std::move(unit)), total_(total), terminal_(isatty(STDERR_FILENO) != 0)
{}

void Progress::at(double done)
{
    if (!terminal_ && std::max(total_, done) < kLong) return;
    // A log wants few updates: every tenth; a terminal every hundredth. Unknown length: every 60 units.
    const double steps = total_ > 0 ? (terminal_ ? 100 : 10) * done / total_ : done / kLong;
    const auto step = static_cast<std::int64_t>(steps);
    if (step == last_step_) return;
    last_step_ = step;
    shown_ = true;
    if (total_ > 0 && unit_ == "%")
        std::fprintf(stderr, "\r%s: %.0f %%", what_.c_str(), std::min(100.0, 100 * done / total_));
    else if (total_ > 0)
        std::fprintf(stderr, "\r%s: %.0f of %.0f %s (%.0f %%)", what_.c_str(), done, total_, unit_.c_str(),
                     std::min(100.0, 100 * done / total_));
    else
        std::fprintf(stderr, "\r%s: %.0f %s", what_.c_str(), done, unit_.c_str());
    std::fflush(stderr);
}

Progress::~Progress()
{
    if (shown_) std::fputs(terminal_ ? "\r\033[K" : "\n", stderr);
}

}  // namespace zelsr::examples
