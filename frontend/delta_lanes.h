// What the delta families share: the columns of a row register by register, and the arithmetic of 16-bit deltas.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/elementwise.h"
#include "core/simd.h"

namespace zelsr {

// The first N 16-bit elements of a register, zeros in the others. A 16-bit counterpart of FullRegister and its
// kin.
template <int N>
struct FirstElements {
    static constexpr int count = N;

    static __m128i of(const int16_t* p)
    {
        if constexpr (N == 8) return Unaligned::bytes(p);
        if constexpr (N == 4) return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        if constexpr (N == 2) return _mm_cvtsi32_si128(load_one(reinterpret_cast<const int32_t*>(p)));
        if constexpr (N == 1) return _mm_cvtsi32_si128(static_cast<uint16_t>(load_one(p)));
    }
    static void put(int16_t* p, __m128i v)
    {
        if constexpr (N == 8) Unaligned::put(p, v);
        if constexpr (N == 4) _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
        if constexpr (N == 2) store_one(reinterpret_cast<int32_t*>(p), _mm_cvtsi128_si32(v));
        if constexpr (N == 1) store_one(p, static_cast<int16_t>(_mm_cvtsi128_si32(v)));
    }
};

inline __m128i repeat(int16_t x) { return _mm_set1_epi16(x); }

// The columns of a row: f(part, c) for whole registers, then for halves, quarters ... of one. No element passes
// twice, so that a load never spans two stores that are still under way.
template <class F>
[[gnu::always_inline]] inline void for_columns(const float*, int32_t width, F f)
{
    std::ptrdiff_t c = 0;
    for (; c + 4 <= width; c += 4) f(FullRegister{}, c);
    if (width & 2) f(TwoElements{}, c);
    if (width & 1) f(OneElement{}, std::ptrdiff_t{width} - 1);
}
template <class F>
[[gnu::always_inline]] inline void for_columns(const int16_t*, int32_t width, F f)
{
    std::ptrdiff_t c = 0;
    for (; c + 8 <= width; c += 8) f(FirstElements<8>{}, c);
    if (width & 4) f(FirstElements<4>{}, c);
    if (width & 2) f(FirstElements<2>{}, c + (width & 4));
    if (width & 1) f(FirstElements<1>{}, std::ptrdiff_t{width} - 1);
}

// Eight integers of 32 bits.
struct Wide {
    __m128i low, high;
};

// Eight products of 16-bit integers.
inline Wide products(__m128i x, __m128i y)
{
    const __m128i low = _mm_mullo_epi16(x, y), high = _mm_mulhi_epi16(x, y);
    return {_mm_unpacklo_epi16(low, high), _mm_unpackhi_epi16(low, high)};
}

// (x + 2 y) * m modulo 2^32: pairs of x and y times (m, m), and times (0, m), since 2 m may not fit in 16 bits.
inline __m128i weighted_pairs(__m128i xy, __m128i mm)
{
    const __m128i zero_m = _mm_and_si128(mm, _mm_set1_epi32(static_cast<int32_t>(0xffff0000)));
    return _mm_add_epi32(_mm_madd_epi16(xy, mm), _mm_madd_epi16(xy, zero_m));
}
inline Wide weighted_products(__m128i x, __m128i y, __m128i m)
{
    return {weighted_pairs(_mm_unpacklo_epi16(x, y), _mm_unpacklo_epi16(m, m)),
            weighted_pairs(_mm_unpackhi_epi16(x, y), _mm_unpackhi_epi16(m, m))};
}

// Modulo 2^32.
inline __m128i low_products(__m128i x, __m128i y)
{
    const __m128i even = _mm_mul_epu32(x, y);
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(x, 32), _mm_srli_epi64(y, 32));
    return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, 0x08), _mm_shuffle_epi32(odd, 0x08));
}
// Eight integers of 32 bits times eight of 16, modulo 2^32.
inline Wide low_products(const Wide& x, __m128i y)
{
    return {low_products(x.low, low_16s32s(y)), low_products(x.high, high_16s32s(y))};
}

// To 16 bits under a scale factor: shifted without rounding, then saturated. Shifts by 32 and more leave the sign
// (down) or nothing (up).
struct ShiftDown {
    __m128i count;

    __m128i operator()(const Wide& x) const
    {
        return _mm_packs_epi32(_mm_sra_epi32(x.low, count), _mm_sra_epi32(x.high, count));
    }
};
struct ShiftUp {  // modulo 2^32
    __m128i count;

    __m128i operator()(const Wide& x) const
    {
        return _mm_packs_epi32(_mm_sll_epi32(x.low, count), _mm_sll_epi32(x.high, count));
    }
};

// kernel(shift), by sf.
template <class Kernel>
inline void with_shift(int32_t sf, const Kernel& kernel)
{
    if (sf >= 0)
        kernel(ShiftDown{_mm_cvtsi32_si128(sf)});
    else
        kernel(ShiftUp{_mm_cvtsi32_si128(static_cast<int32_t>(0 - static_cast<uint32_t>(sf)))});
}

// The arithmetic of a window: differences across it, and the result times a multiplier.
struct SingleArithmetic {
    static __m128 product(__m128 x, __m128 multiplier) { return x * multiplier; }
    static __m128 difference(__m128 next, __m128 previous) { return next - previous; }
    static __m128 one_neighbour(__m128 d1, __m128 multiplier) { return d1 * multiplier; }
    static __m128 two_neighbours(__m128 d1, __m128 d2, __m128 multiplier) { return (d1 + d2 + d2) * multiplier; }
};

// Differences modulo 2^16, the window's value times the multiplier modulo 2^32: wanted.
template <class Shift>
struct FixedArithmetic {
    Shift shift;

    __m128i product(__m128i x, __m128i multiplier) const { return shift(products(x, multiplier)); }
    static __m128i difference(__m128i next, __m128i previous) { return _mm_sub_epi16(next, previous); }
    __m128i one_neighbour(__m128i d1, __m128i multiplier) const { return product(d1, multiplier); }
    __m128i two_neighbours(__m128i d1, __m128i d2, __m128i multiplier) const
    {
        return shift(weighted_products(d1, d2, multiplier));
    }
};

}  // namespace zelsr
