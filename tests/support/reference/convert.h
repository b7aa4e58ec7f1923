// Conversions of one element, as they are stated. They run in the default rounding mode.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "support/reference/fixed_point.h"

namespace zelsr::test::reference {

// x * 2^-sf, sf limited to low..high: a power of two and no further rounding.
template <class Result, class Source>
Result scaled(Source x, std::int32_t sf, std::int32_t low, std::int32_t high)
{
    return std::ldexp(static_cast<Result>(x), -std::clamp(sf, low, high));
}

// 2^-sf, from 1 by halving or doubling: 0 below the subnormals, infinity above the largest.
template <class T>
T multiplier(std::int32_t sf)
{
    T value = 1;
    for (std::int64_t step = sf; step > 0 && value != 0; --step) value *= T(0.5);
    for (std::int64_t step = sf; step < 0 && !std::isinf(value); ++step) value *= T(2);
    return value;
}

// As the processor converts: what does not fit, NaN too, gives -2147483648.
template <class T>
std::int32_t to_32_bits(T x, std::int32_t rounding)
{
    const T whole = rounding == 0 ? std::trunc(x) : std::nearbyint(x);
    return whole >= T(-2147483648.0) && whole < T(2147483648.0) ? static_cast<std::int32_t>(whole) : INT32_MIN;
}

// x * factor, where sf 0 does not multiply. Zero times infinity is the processor's own NaN: its sign is set.
template <class T>
T times(T x, T factor)
{
    if (factor == T(1)) return x;
    if ((std::isinf(x) && factor == 0) || (x == 0 && std::isinf(factor)))
        return -std::numeric_limits<T>::quiet_NaN();
    return x * factor;
}

// The smaller of x and limit; limit for NaN.
template <class T>
T limited(T x, T limit)
{
    return x < limit ? x : limit;
}

inline std::int16_t single_to_16s(float x, float factor, std::int32_t rounding)
{
    return saturate<std::int16_t>(to_32_bits(limited(times(x, factor), 32767.0F), rounding));
}

inline std::int32_t single_to_32s(float x, float factor, std::int32_t rounding)
{
    const float y = times(x, factor);
    const std::int32_t converted = to_32_bits(y, rounding);
    const auto largest_below = std::bit_cast<std::int32_t>(2147483520.0F);
    return std::bit_cast<std::int32_t>(y) > largest_below ? ~converted : converted;
}

inline std::int32_t double_to_32s(double x, double factor, std::int32_t rounding)
{
    return to_32_bits(limited(times(x, factor), 2147483647.0), rounding);
}

inline std::int16_t narrowed(std::int32_t x, std::int32_t sf)
{
    if (sf < 0) return shift_left_saturated<std::int16_t>(x, -std::max(sf, -15));
    return saturate<std::int16_t>(shift_right_rounded(x, std::min(sf, 31)));
}

}  // namespace zelsr::test::reference
