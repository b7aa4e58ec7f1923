// Sums, as they are stated.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "support/reference/fixed_point.h"

namespace zelsr::test::reference {

template <class T>
std::int64_t exact_sum(const std::vector<T>& values)
{
    std::int64_t sum = 0;
    for (T x : values) sum += x;
    return sum;
}

// sum * 2^-sf, rounded and saturated. Beyond 63 the rounded result is that of 63, beyond -63 every sum but 0 has
// reached its end.
inline std::int32_t scaled_sum(std::int64_t sum, std::int32_t sf)
{
    if (sf < 0) return shift_left_saturated<std::int32_t>(sum, -std::max(sf, -63));
    return saturate<std::int32_t>(shift_right_rounded(sum, std::min(sf, 63)));
}

// One element after another.
inline long double sequential_sum(const std::vector<float>& values)
{
    long double sum = 0;
    for (float x : values) sum += static_cast<long double>(x);
    return sum;
}

// Eight sums, each of every eighth element, joined in pairs; then the elements beyond the last eight.
inline long double eightfold_sum(const std::vector<float>& values)
{
    std::array<long double, 8> part{};
    const std::size_t body = values.size() / 8 * 8;
    for (std::size_t i = 0; i < body; ++i) part[i % 8] += static_cast<long double>(values[i]);
    long double sum = ((part[0] + part[1]) + (part[2] + part[3])) + ((part[4] + part[5]) + (part[6] + part[7]));
    for (std::size_t i = body; i < values.size(); ++i) sum += static_cast<long double>(values[i]);
    return sum;
}

inline long double sum_of_magnitudes(const std::vector<float>& values)
{
    long double sum = 0;
    for (float x : values) sum += std::abs(static_cast<long double>(x));
    return sum;
}

}  // namespace zelsr::test::reference
