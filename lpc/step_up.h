// The coefficients of a filter whose order rises step by step.
#pragma once

#include "lpc/products.h"

namespace zelsr {

// to[j] = a[j] - a[order-1-j] k for j below order; then last stands behind them. The two ends of a make one
// another's new values, so that to may be a. Registers pay from some length on only: what one step stores the next
// one loads across two stores. to may lie on any byte address.
inline void step_up(const float* a, float* to, int32_t order, float k, float last)
{
    constexpr int32_t kFewestInRegisters = 48;
    int32_t low = 0, high = order;
    if (order >= kFewestInRegisters) {
        const __m128 factor = _mm_set1_ps(k);
        for (; high - low >= 8; low += 4, high -= 4) {
            const __m128 left = Unaligned::four(a + low), right = reversed(Unaligned::four(a + high - 4));
            Unaligned::put(to + low, left - right * factor);
            Unaligned::put(to + high - 4, reversed(right - left * factor));
        }
    }
    for (; high - low >= 2; ++low, --high) {
        float left = a[low];
        const float right = a[high - 1];
        one_by_one(left);
        store_one(to + low, left - right * k);
        store_one(to + high - 1, right - left * k);
    }
    if (low < high) store_one(to + low, a[low] - a[low] * k);
    store_one(to + order, last);
}

}  // namespace zelsr
