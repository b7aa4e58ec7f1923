#include "common/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace zelsr::examples {
namespace {

constexpr double kLongFile = 60;

}  // namespace

Progress::Progress(std::string what, double total)
    : what_(std::move(what)), total_(total), terminal_(isatty(STDERR_FILENO) != 0)
{}

void Progress::at(double seconds)
{
    if (!terminal_ && std::max(total_, seconds) < kLongFile) return;
    // A log wants few updates: every tenth of the file; a terminal every hundredth. Unknown length: every minute.
    const double steps = total_ > 0 ? (terminal_ ? 100 : 10) * seconds / total_ : seconds / kLongFile;
    const auto step = static_cast<std::int64_t>(steps);
    if (step == last_step_) return;
    last_step_ = step;
    shown_ = true;
    if (total_ > 0)
        std::fprintf(stderr, "\r%s: %.0f of %.0f s (%.0f %%)", what_.c_str(), seconds, total_,
                     std::min(100.0, 100 * seconds / total_));
    else
        std::fprintf(stderr, "\r%s: %.0f s", what_.c_str(), seconds);
    std::fflush(stderr);
}

Progress::~Progress()
{
    if (shown_) std::fputs(terminal_ ? "\r\033[K" : "\n", stderr);
}

}  // namespace zelsr::examples
