// Loops over elements that the shared one (core/elementwise.h) does not have: several results an element, and
// arrays that overlap.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/elementwise.h"

namespace zelsr {

inline __m128 less(__m128 x, __m128 y) { return _mm_cmplt_ps(x, y); }
inline __m128d less(__m128d x, __m128d y) { return _mm_cmplt_pd(x, y); }
inline __m128 either(__m128 x, __m128 y) { return _mm_or_ps(x, y); }
inline __m128d either(__m128d x, __m128d y) { return _mm_or_pd(x, y); }
inline bool any(__m128 mask) { return _mm_movemask_ps(mask) != 0; }
inline bool any(__m128d mask) { return _mm_movemask_pd(mask) != 0; }

// x where floor is strictly below it, else (NaN too) floor.
inline __m128 floored(__m128 x, __m128 floor) { return _mm_max_ps(x, floor); }
inline __m128d floored(__m128d x, __m128d floor) { return _mm_max_pd(x, floor); }

// A store to dst changes elements of src that come later.
template <class T>
bool begins_inside(const T* dst, const T* src, int32_t len)
{
    const auto distance = reinterpret_cast<std::uintptr_t>(dst) - reinterpret_cast<std::uintptr_t>(src);
    return distance > 0 && distance < static_cast<std::uintptr_t>(len) * sizeof(T);
}

// elementwise(), but also where dst begins inside a source each element is stored before the next is loaded.
template <class T, class Op, class... Source>
[[gnu::always_inline]] inline void elementwise_in_order(Op& op, T* dst, int32_t len, const Source*... src)
{
    if ((... || begins_inside(dst, src, len))) [[unlikely]] {
        for (std::ptrdiff_t i = 0; i < len; ++i) OneElement::put(dst + i, op(OneElement::of(src + i)...));
        return;
    }
    elementwise(op, dst, len, src...);
}

// step(FullRegister{}, i) for each whole register of T's from element 0 on, then step(OneElement{}, i) for each
// element behind them. step loads and stores by its first argument (core/elementwise.h).
template <class T, class Step>
[[gnu::always_inline]] inline void each_register(int32_t len, const Step& step)
{
    std::ptrdiff_t i = 0;
    for (; i <= len - kLanes<T>; i += kLanes<T>) step(FullRegister{}, i);
    for (; i < len; ++i) step(OneElement{}, i);
}

// step(OneElement{}, i) for each element.
template <class Step>
void each_element(int32_t len, const Step& step)
{
    for (std::ptrdiff_t i = 0; i < len; ++i) step(OneElement{}, i);
}

}  // namespace zelsr
