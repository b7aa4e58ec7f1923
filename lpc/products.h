// Sums of products in single precision.
#pragma once

#include "core/simd.h"

namespace zelsr {

inline __m128 reversed(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3)); }

// Keeps the loop that calls it a loop over single elements. Where such a loop reads what a loop before it has just
// stored, registers of several elements would wait for the stores to leave the processor's buffer.
inline void one_by_one(float& x) { asm("" : "+x"(x)); }

// Below this many products they are added one after the other.
constexpr int32_t kFewestInPartialSums = 12;

// How the second factors lie: upwards from an address on, or downwards from before it.
struct Forward {
    const float* first;

    __m128 four(int32_t i) const { return Unaligned::four(first + i); }
    float one(int32_t i) const { return load_one(first + i); }
};
struct Reversed {
    const float* end;

    __m128 four(int32_t i) const { return reversed(Unaligned::four(end - i - 4)); }
    float one(int32_t i) const { return load_one(end - i - 1); }
};

// start, then the last count modulo 8 products one by one, then the joined partial sums of the others.
template <class Factors>
inline float add_in_partial_sums(float start, const float* x, Factors y, int32_t count)
{
    const int32_t whole = count & ~7;
    __m128 low = Unaligned::four(x) * y.four(0), high = Unaligned::four(x + 4) * y.four(4);
    for (int32_t i = 8; i < whole; i += 8) {
        low = low + Unaligned::four(x + i) * y.four(i);
        high = high + Unaligned::four(x + i + 4) * y.four(i + 4);
    }
    for (int32_t i = whole; i < count; ++i) start += load_one(x + i) * y.one(i);
    return start + join_pairs(low + high);
}

// In rising index, or in partial sums where they are many.
inline float sum_of_products(const float* x, const float* y, int32_t count)
{
    if (count >= kFewestInPartialSums) return add_in_partial_sums(0, x, Forward{y}, count);
    float sum = 0;
    for (int32_t i = 0; i < count; ++i) sum += load_one(x + i) * load_one(y + i);
    return sum;
}

}  // namespace zelsr
