// Sums of products in single precision.
#pragma once

#include "core/simd.h"

namespace zelsr {

// Below this many products they are added one after the other.
constexpr int32_t kFewestInPartialSums = 12;

// start, then the last count modulo 8 products one by one, then the joined partial sums of the others.
inline float add_in_partial_sums(float start, const float* x, const float* y, int32_t count)
{
    const int32_t whole = count & ~7;
    __m128 low = Unaligned::four(x) * Unaligned::four(y), high = Unaligned::four(x + 4) * Unaligned::four(y + 4);
    for (int32_t i = 8; i < whole; i += 8) {
        low = low + Unaligned::four(x + i) * Unaligned::four(y + i);
        high = high + Unaligned::four(x + i + 4) * Unaligned::four(y + i + 4);
    }
    for (int32_t i = whole; i < count; ++i) start += load_one(x + i) * load_one(y + i);
    return start + join_pairs(low + high);
}

// In rising index, or in partial sums where they are many.
inline float sum_of_products(const float* x, const float* y, int32_t count)
{
    if (count >= kFewestInPartialSums) return add_in_partial_sums(0, x, y, count);
    float sum = 0;
    for (int32_t i = 0; i < count; ++i) sum += load_one(x + i) * load_one(y + i);
    return sum;
}

}  // namespace zelsr
