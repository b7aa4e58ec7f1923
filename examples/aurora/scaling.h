// What the 16-bit forms share: powers of two that keep numbers in few bits.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "aurora/shape.h"

namespace zelsr::examples {

constexpr int kWindowBits = 15;

inline std::int16_t to_q15(double value)
{
    return static_cast<std::int16_t>(std::lround(std::min(32767.0, std::ldexp(value, kWindowBits))));
}

// The bits of a number that is not negative.
inline int width_of(std::int64_t value)
{
    return static_cast<int>(std::bit_width(static_cast<std::uint64_t>(value)));
}

// So many bits are free above the largest of the frame's samples.
inline int free_bits(const std::int16_t* frame)
{
    std::int32_t peak = 0;
    for (int n = 0; n < kFrame; ++n) peak = std::max(peak, std::abs(std::int32_t{frame[n]}));
    return 15 - std::min(15, width_of(peak));
}

// Times 2^-down, rounded; a negative one shifts up.
inline std::int64_t shifted(std::int64_t value, int down)
{
    return down > 0 ? (value + (std::int64_t{1} << (down - 1))) >> down : value << -down;
}

}  // namespace zelsr::examples
