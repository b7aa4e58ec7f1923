// Scaling of integers by powers of two, rounded to nearest with ties to even, and saturation.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace zelsr::test::reference {

template <class T>
T saturate(std::int64_t x)
{
    return static_cast<T>(
        std::clamp<std::int64_t>(x, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

// x * 2^-sf, sf from 0 to 63.
inline std::int64_t shift_right_rounded(std::int64_t x, int sf)
{
    if (sf == 0) return x;
    const std::int64_t below = x >> sf;
    const std::uint64_t rest = static_cast<std::uint64_t>(x) & ((std::uint64_t{1} << sf) - 1);
    const std::uint64_t half = std::uint64_t{1} << (sf - 1);
    return below + (rest > half || (rest == half && (below & 1) != 0));
}

// x * 2^steps, saturated; steps from 0 on.
template <class T>
T shift_left_saturated(std::int64_t x, int steps)
{
    T result = saturate<T>(x);
    for (int step = 0; step < steps; ++step) result = saturate<T>(std::int64_t{result} * 2);
    return result;
}

}  // namespace zelsr::test::reference
