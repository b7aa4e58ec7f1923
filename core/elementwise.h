// Element-by-element loops over arrays at any byte address: dst[i] = op(src[i], ...).
//
// An operation is written once, over a whole register. Single elements in front of the destination's first
// 16-byte boundary and behind the last whole register run through it too, repeated in every lane, so that they
// give the same bits and raise no exception that their element does not raise.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/rows.h"
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
inline ComplexLanes_32f repeat(Zel32fc x)
{
    const __m128 pair = _mm_setr_ps(x.re, x.im, x.re, x.im);
    return {pair, pair};
}
inline ComplexLanes_32s repeat(Zel32sc x)
{
    const __m128i pair = _mm_setr_epi32(x.re, x.im, x.re, x.im);
    return {pair, pair};
}

template <class Load>
inline __m128 load(const float* p)
{
    return Load::four(p);
}
template <class Load>
inline __m128d load(const double* p)
{
    return Load::two(p);
}
template <class Load>
inline __m128i load(const int32_t* p)
{
    return Load::bytes(p);
}
template <class Load>
inline ComplexLanes_32f load(const Zel32fc* p)
{
    const auto* parts = reinterpret_cast<const float*>(p);
    return {Load::four(parts), Load::four(parts + 4)};
}
template <class Load>
inline ComplexLanes_32s load(const Zel32sc* p)
{
    return {Load::bytes(p), Load::bytes(p + 2)};
}

inline float first_lane(__m128 v) { return _mm_cvtss_f32(v); }
inline double first_lane(__m128d v) { return _mm_cvtsd_f64(v); }
inline int32_t first_lane(__m128i v) { return _mm_cvtsi128_si32(v); }

template <class T>
inline constexpr int32_t kLanes = static_cast<int32_t>(16 / sizeof(T));

// Elements in front of the first one on a 16-byte boundary, at most len; 0 where none ever lies on one.
template <class T>
int32_t elements_to_boundary(const T* array, int32_t len)
{
    const auto gap = static_cast<int32_t>(-reinterpret_cast<std::uintptr_t>(array) % 16);
    constexpr auto size = static_cast<int32_t>(sizeof(T));
    return gap % size == 0 ? std::min(gap / size, len) : 0;
}

namespace detail {

template <class T, class Op, class... Source>
inline void one_element(Op& op, std::ptrdiff_t i, T* dst, const Source*... src)
{
    store_one(dst + i, first_lane(op(repeat(load_one(src + i))...)));
}

template <class Load, class T, class Op, class... Source>
inline void one_register(Op& op, std::ptrdiff_t i, T* dst, const Source*... src)
{
    Load::put(dst + i, op(load<Load>(src + i)...));
}

// All whole registers from element i on; the number of elements that are done.
template <class Load, class T, class Op, class... Source>
inline std::ptrdiff_t whole_registers(Op& op, std::ptrdiff_t i, std::ptrdiff_t len, T* dst, const Source*... src)
{
    constexpr std::ptrdiff_t step = kLanes<T>;
    for (; i <= len - 4 * step; i += 4 * step) {
        one_register<Load>(op, i, dst, src...);
        one_register<Load>(op, i + step, dst, src...);
        one_register<Load>(op, i + 2 * step, dst, src...);
        one_register<Load>(op, i + 3 * step, dst, src...);
    }
    for (; i <= len - step; i += step) one_register<Load>(op, i, dst, src...);
    return i;
}

}  // namespace detail

// dst[i] = op(src[i]...) for i from 0 to len - 1, in this order: each register is stored before the next one is
// loaded, so that dst may start at the address of a source whose elements are as large or larger. op takes and
// returns registers; it may keep state (a mask of what it met), in which a repeated element counts once or
// several times.
template <class T, class Op, class... Source>
inline void elementwise(Op& op, T* dst, int32_t len, const Source*... src)
{
    std::ptrdiff_t i = 0;
    for (const int32_t head = elements_to_boundary(dst, len); i < head; ++i)
        detail::one_element(op, i, dst, src...);
    if (all_aligned(dst + i, (src + i)...))
        i = detail::whole_registers<Aligned>(op, i, len, dst, src...);
    else
        i = detail::whole_registers<Unaligned>(op, i, len, dst, src...);
    for (; i < len; ++i) detail::one_element(op, i, dst, src...);
}

}  // namespace zelsr
