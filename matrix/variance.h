// Variances of columns around a mean that is known, and the way of a truncated variance to 16 bits.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/contract.h"
#include "core/fixed_point.h"
#include "matrix/columns.h"

namespace zelsr {

constexpr SrStatus at_least_two(int32_t height) { return require(height >= 2, SrErrSize); }

// var = (start + x[0]^2 + x[1]^2 + ...) * reciprocal, where start(n), of the n-th register, is -n * mean^2.
template <class Group, class Rows, class Start>
[[gnu::always_inline]] inline void put_variances(const Group& group, const Rows& rows, int32_t height,
                                                 const Start& start, float reciprocal, float* var)
{
    Squares squares[Group::kCount];
    for_each_index<Group::kCount>([&](auto n) { squares[n].sum = start(n); });
    take_rows(group, rows, height, squares);
    for_each_index<Group::kCount>([&](auto n) { group.put(var, squares[n].sum * _mm_set1_ps(reciprocal), n); });
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
