#include "denoise/raw.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "common/failure.h"

namespace zelsr::examples {

std::span<const float> RawInput::read_all(std::size_t samples)
{
    const std::size_t frame = 2 * static_cast<std::size_t>(channels_);
    integers_.resize(samples * static_cast<std::size_t>(channels_));
    auto* const bytes = reinterpret_cast<char*>(integers_.data());
    std::size_t filled = rest_;
    while (filled < frame) {
        const ssize_t got = read(STDIN_FILENO, bytes + filled, integers_.size() * 2 - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw Failure("cannot be read: " + system_error_text());
        if (got == 0 && filled > 0) throw Failure("ends within a sample");
        if (got == 0) return {};
        filled += static_cast<std::size_t>(got);
    }
    const std::size_t whole = filled / frame;
    position_ += static_cast<std::int64_t>(whole);
    floats_.resize(whole * static_cast<std::size_t>(channels_));
    std::transform(integers_.begin(), integers_.begin() + static_cast<std::ptrdiff_t>(floats_.size()),
                   floats_.begin(), [](std::int16_t sample) { return static_cast<float>(sample) / 32768; });
    rest_ = filled - whole * frame;
    std::memmove(bytes, bytes + whole * frame, rest_);
    return floats_;
}

void RawOutput::write(std::span<const float> interleaved)
{
    integers_.resize(interleaved.size());
    for (std::size_t i = 0; i < interleaved.size(); ++i) {
        const float value = std::nearbyint(interleaved[i] * 32768);
        const float held = std::clamp(value, -32768.0F, 32767.0F);
        if (held != value) ++limited_;
        integers_[i] = static_cast<std::int16_t>(held);
    }
    write(std::span<const std::int16_t>(integers_));
}

void RawOutput::write(std::span<const std::int16_t> interleaved)
{
    const auto* bytes = reinterpret_cast<const char*>(interleaved.data());
    for (std::size_t done = 0; done < interleaved.size_bytes();) {
        const ssize_t put = ::write(STDOUT_FILENO, bytes + done, interleaved.size_bytes() - done);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) throw Failure("cannot write standard output: " + system_error_text());
        done += static_cast<std::size_t>(put);
    }
}

}  // namespace zelsr::examples
