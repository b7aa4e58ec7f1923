// Products of a matrix and a vector, one element of the result at a time, as they are stated. Those with integer
// results run in the default rounding mode.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/reference/convert.h"
#include "support/reference/fixed_point.h"
#include "support/reference/row_column.h"

namespace zelsr::test::reference {

inline std::int64_t exact_product(const std::vector<std::int16_t>& a, const std::vector<std::int16_t>& b)
{
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += std::int64_t{a[i]} * b[i];
    return sum;
}

// sum * 2^-sf, rounded toward minus infinity and saturated.
template <class R>
R floored(std::int64_t sum, std::int32_t sf)
{
    if (sf >= 64) return sum < 0 ? R(-1) : R(0);
    if (sf >= 0) return saturate<R>(sum >> sf);
    return shift_left_saturated<R>(sum, -std::max(sf, -63));
}

// x * 2^-sf, clamped and rounded to nearest with ties to even; NaN, from zero times infinity, gives the largest.
template <class R>
R scaled_to(double x, std::int32_t sf)
{
    constexpr double kLow = std::numeric_limits<R>::min(), kHigh = std::numeric_limits<R>::max();
    const double y = x * multiplier<double>(sf);
    return static_cast<R>(std::nearbyint(std::max(kLow, limited(y, kHigh))));
}

template <class R, class T>
R one_product(T a, T b)
{
    return static_cast<R>(a) * static_cast<R>(b);
}

// One element after another.
template <class R, class T>
R sequential_product(const std::vector<T>& a, const std::vector<T>& b)
{
    R sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += one_product<R>(a[i], b[i]);
    return sum;
}

// Four partial sums, each of every fourth element.
inline float row_product(const std::vector<float>& a, const std::vector<float>& b)
{
    Partial<float> partial;
    for (std::size_t i = 0; i < a.size(); ++i) partial.sums[i % 4] += one_product<float>(a[i], b[i]);
    return partial.joined();
}

// Three partial sums: the even and the odd elements of stretches of four, and those left over.
inline double row_product(const std::vector<std::int32_t>& a, const std::vector<std::int32_t>& b)
{
    double even = 0, odd = 0, left_over = 0;
    const std::size_t body = a.size() / 4 * 4;
    for (std::size_t i = 0; i < a.size(); ++i) {
        double& sum = i >= body ? left_over : i % 2 == 0 ? even : odd;
        sum += one_product<double>(a[i], b[i]);
    }
    return (even + odd) + left_over;
}

}  // namespace zelsr::test::reference
