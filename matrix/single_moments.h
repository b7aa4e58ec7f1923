// Means of columns and variances around known means in single precision, and the way of a truncated variance to 16
// bits.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/contract.h"
#include "core/fixed_point.h"
#include "matrix/column_groups.h"

namespace zelsr {

constexpr SrStatus at_least_two(int32_t height) { return require(height >= 2, SrErrSize); }

// mean = sum * reciprocal
template <class Rows>
[[gnu::always_inline]] inline void put_means(const Rows& rows, int32_t height, float reciprocal, float* mean,
                                             int32_t width)
{
    sum_down<Sum, float>(rows, height, width, FromZero<Sum>{}, [=](const auto& columns, const Sum& kept) {
        columns.put(mean, kept.sum * _mm_set1_ps(reciprocal));
    });
}

// var = (start + x[0]^2 + x[1]^2 + ...) * reciprocal, where start(m), of a register of means, is -n * mean^2.
template <class Rows, class Mean, class Start>
[[gnu::always_inline]] inline void put_variances(const Rows& rows, int32_t height, const Mean* mean,
                                                 const Start& start, float reciprocal, float* var, int32_t width)
{
    sum_down<Squares, float>(
        rows, height, width, [=](const auto& columns) { return Squares{start(columns.lanes(mean))}; },
        [=](const auto& columns, const Squares& kept) { columns.put(var, kept.sum * _mm_set1_ps(reciprocal)); });
}

// In single precision throughout, as 16-bit data have them.
template <class Rows>
[[gnu::always_inline]] inline void put_means_in_single(const Rows& rows, int32_t height, float* mean,
                                                       int32_t width)
{
    put_means(rows, height, 1.0F / static_cast<float>(height), mean, width);
}
template <class Rows, class Mean>
[[gnu::always_inline]] inline void put_variances_in_single(const Rows& rows, int32_t height, const Mean* mean,
                                                           float* var, int32_t width)
{
    const __m128 minus_n = _mm_set1_ps(-static_cast<float>(height));
    const auto start = [=](__m128 m) { return minus_n * (m * m); };
    put_variances(rows, height, mean, start, 1.0F / static_cast<float>(height - 1), var, width);
}

// Truncated toward zero; shifted right by sf, rounding toward minus infinity, or left by -sf, where high bits drop
// out: wanted. Saturated in the end.
inline int16_t truncated_shifted_16s(float variance, int32_t sf)
{
    const auto whole = static_cast<int64_t>(variance);
    if (sf >= 0) return saturated<int16_t>(whole >> std::min(sf, 63));
    return saturated<int16_t>(sf < -63 ? 0 : static_cast<int64_t>(static_cast<uint64_t>(whole) << -sf));
}

}  // namespace zelsr
