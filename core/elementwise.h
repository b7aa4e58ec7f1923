// Element-by-element loops over arrays at any byte address: dst[i] = op(src[i], ...).
//
// An operation is written once, over a whole register. OneElement elements in front of the destination's first
// 16-byte boundary and behind the last whole register run through it too, repeated in every lane, so that they
// give the same bits and raise no exception that their element does not raise.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"
#include "zelsr/types.h"

namespace zelsr {

// The complex elements that belong to one register of results, two in each half.
struct ComplexLanes_32f {
    __m128 low, high;
};
struct ComplexLanes_32s {
    __m128i low, high;
};

inline __m128 repeat(float x) { return _mm_set1_ps(x); }
inline __m128d repeat(double x) { return _mm_set1_pd(x); }
inline __m128i repeat(int32_t x) { return _mm_set1_epi32(x); }

// A complex element's parts, without a look at the element itself, which may lie on any address.
inline const float* parts(const Zel32fc* p) { return reinterpret_cast<const float*>(p); }
inline const int32_t* parts(const Zel32sc* p) { return reinterpret_cast<const int32_t*>(p); }

// A register's worth of elements.
struct FullRegister {
    static __m128 of(const float* p) { return Unaligned::four(p); }
    static __m128d of(const double* p) { return Unaligned::two(p); }
    static __m128i of(const int32_t* p) { return Unaligned::bytes(p); }
    static ComplexLanes_32f of(const Zel32fc* p) { return {of(parts(p)), of(parts(p) + 4)}; }
    static ComplexLanes_32s of(const Zel32sc* p) { return {of(parts(p)), of(parts(p) + 4)}; }
    static void put(float* p, __m128 v) { Unaligned::put(p, v); }
    static void put(double* p, __m128d v) { Unaligned::put(p, v); }
    static void put(int32_t* p, __m128i v) { Unaligned::put(p, v); }
};

// Two elements of a register that holds four, in both halves.
struct TwoElements {
    static __m128 of(const float* p) { return _mm_castsi128_ps(eight_bytes(p)); }
    static __m128i of(const int32_t* p) { return eight_bytes(p); }
    static ComplexLanes_32f of(const Zel32fc* p)
    {
        const __m128 both = FullRegister::of(parts(p));
        return {both, both};
    }
    static ComplexLanes_32s of(const Zel32sc* p)
    {
        const __m128i both = FullRegister::of(parts(p));
        return {both, both};
    }
    static void put(float* p, __m128 v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_castps_si128(v)); }
    static void put(int32_t* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }

  private:
    static __m128i eight_bytes(const void* p)
    {
        const __m128i v = _mm_loadl_epi64(static_cast<const __m128i*>(p));
        return _mm_unpacklo_epi64(v, v);
    }
};

// One element, in every lane.
struct OneElement {
    static __m128 of(const float* p) { return repeat(load_one(p)); }
    static __m128d of(const double* p) { return repeat(load_one(p)); }
    static __m128i of(const int32_t* p) { return repeat(load_one(p)); }
    static ComplexLanes_32f of(const Zel32fc* p)
    {
        const __m128 one = TwoElements::of(parts(p));
        return {one, one};
    }
    static ComplexLanes_32s of(const Zel32sc* p)
    {
        const __m128i one = TwoElements::of(parts(p));
        return {one, one};
    }
    static void put(float* p, __m128 v) { store_one(p, _mm_cvtss_f32(v)); }
    static void put(double* p, __m128d v) { store_one(p, _mm_cvtsd_f64(v)); }
    static void put(int32_t* p, __m128i v) { store_one(p, _mm_cvtsi128_si32(v)); }
};

// Elements in front of the first one on a 16-byte boundary; 0 where none ever lies on one.
template <class T>
int32_t elements_to_boundary(const T* array)
{
    const auto gap = static_cast<int32_t>(-reinterpret_cast<std::uintptr_t>(array) % 16);
    constexpr auto size = static_cast<int32_t>(sizeof(T));
    return gap % size == 0 ? gap / size : 0;
}

// dst[i] = op(src[i]...) for i from 0 to len - 1, in this order: results are stored before the next elements are
// loaded, so that dst may start at the address of a source whose elements are as large or larger. op takes and
// returns registers; it may keep state that does not mind an element that it meets several times (a mask of what
// there was), which stays in registers since everything is inlined.
template <class T, class Op, class... Source>
[[gnu::always_inline]] inline void elementwise(Op& op, T* dst, int32_t len, const Source*... src)
{
    constexpr int32_t lanes = kLanes<T>;
    const auto advance = [&](int32_t count) {
        dst += count;
        ((src += count), ...);
        len -= count;
    };
    if (len >= 8 * lanes)  // in shorter arrays a head costs more than aligned stores bring
        for (int32_t head = elements_to_boundary(dst); head > 0; --head) {
            OneElement::put(dst, op(OneElement::of(src)...));
            advance(1);
        }
    const int32_t whole = len - len % (4 * lanes);
    for (std::ptrdiff_t i = 0; i < whole; i += 4 * lanes) {
        FullRegister::put(dst + i, op(FullRegister::of(src + i)...));
        FullRegister::put(dst + i + lanes, op(FullRegister::of(src + i + lanes)...));
        FullRegister::put(dst + i + 2 * lanes, op(FullRegister::of(src + i + 2 * lanes)...));
        FullRegister::put(dst + i + 3 * lanes, op(FullRegister::of(src + i + 3 * lanes)...));
    }
    advance(whole);
    while (len >= lanes) {
        FullRegister::put(dst, op(FullRegister::of(src)...));
        advance(lanes);
    }
    if constexpr (lanes == 4)
        if (len >= 2) {
            TwoElements::put(dst, op(TwoElements::of(src)...));
            advance(2);
        }
    if (len > 0) OneElement::put(dst, op(OneElement::of(src)...));
}

}  // namespace zelsr
