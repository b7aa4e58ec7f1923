// Four lanes in double precision, for sums that are told for four lanes.
#pragma once

#include <cstdint>

#include "core/simd.h"

namespace zelsr {

struct FourDoubles {
    __m128d low{}, high{};

    [[gnu::always_inline]] friend FourDoubles operator+(FourDoubles a, FourDoubles b)
    {
        return {a.low + b.low, a.high + b.high};
    }
    [[gnu::always_inline]] friend FourDoubles operator-(FourDoubles a, FourDoubles b)
    {
        return {a.low - b.low, a.high - b.high};
    }
    [[gnu::always_inline]] friend FourDoubles operator*(FourDoubles a, FourDoubles b)
    {
        return {a.low * b.low, a.high * b.high};
    }
    [[gnu::always_inline]] friend FourDoubles operator/(FourDoubles a, FourDoubles b)
    {
        return {a.low / b.low, a.high / b.high};
    }
};

[[gnu::always_inline]] inline FourDoubles widened(__m128 v)
{
    return {_mm_cvtps_pd(v), _mm_cvtps_pd(_mm_movehl_ps(v, v))};
}

// (lane 0 + lane 1) + (lane 2 + lane 3)
inline double join_pairs(FourDoubles v) { return join(v.low) + join(v.high); }
// (lane 0 + lane 2) + (lane 1 + lane 3)
inline double join_halves(FourDoubles v) { return join(v.low + v.high); }

// Loads of four elements of either precision.
struct FourWidened {
    [[gnu::always_inline]] static FourDoubles lanes(const double* p)
    {
        return {Unaligned::two(p), Unaligned::two(p + 2)};
    }
    [[gnu::always_inline]] static FourDoubles lanes(const float* p) { return widened(Unaligned::four(p)); }
};

// The first count (1 to 3) elements in their lanes, zeros in the others.
struct FirstWidened {
    int count;

    [[gnu::always_inline]] FourDoubles lanes(const double* p) const
    {
        if (count == 1) return {OneLane::lanes(p), _mm_setzero_pd()};
        return {Unaligned::two(p), count == 2 ? _mm_setzero_pd() : OneLane::lanes(p + 2)};
    }
    [[gnu::always_inline]] FourDoubles lanes(const float* p) const { return widened(FirstLanes{count}.lanes(p)); }
};

}  // namespace zelsr
