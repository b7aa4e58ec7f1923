// The fixed routines of orders 0 to 3: no tables, no work memory. Forward from values to the Perm layout, inverse
// from Pack to values; the source may be the destination.
#pragma once

#include "core/fft_complex.h"
#include "core/simd.h"

namespace zelsr::fft {

template <int N>
struct Values {
    float v[N];
};

template <int N>
inline Values<N> load_values(const float* src)
{
    Values<N> x;
    for (int i = 0; i < N; ++i) x.v[i] = load_one(src + i);
    return x;
}
template <bool Scaled, int N>
inline void store_values(float* dst, Values<N> x, float scale)
{
    for (int i = 0; i < N; ++i) store_one(dst + i, Scaled ? x.v[i] * scale : x.v[i]);
}

inline Values<1> spectrum(Values<1> x) { return x; }
inline Values<2> spectrum(Values<2> x) { return {x.v[0] + x.v[1], x.v[0] - x.v[1]}; }
inline Values<4> spectrum(Values<4> x)
{
    const auto& v = x.v;
    return {v[0] + v[1] + v[2] + v[3], v[0] + v[2] - v[1] - v[3], v[0] - v[2], v[3] - v[1]};
}

// The spectra of the even and of the odd values, joined with exp(-2 pi i k / 8).
inline Values<8> spectrum(Values<8> x)
{
    const auto& v = x.v;
    const Values<4> even = spectrum(Values<4>{v[0], v[2], v[4], v[6]});
    const Values<4> odd = spectrum(Values<4>{v[1], v[3], v[5], v[7]});
    const float re = (odd.v[2] + odd.v[3]) * kHalfRoot, im = (odd.v[3] - odd.v[2]) * kHalfRoot;
    return {even.v[0] + odd.v[0], even.v[0] - odd.v[0], even.v[2] + re, even.v[3] + im, even.v[1], -odd.v[1],
            even.v[2] - re,       im - even.v[3]};
}

// From the Perm layout, not divided by N.
inline Values<1> signal(Values<1> s) { return s; }
inline Values<2> signal(Values<2> s) { return {s.v[0] + s.v[1], s.v[0] - s.v[1]}; }
inline Values<4> signal(Values<4> s)
{
    const float sum = s.v[0] + s.v[1], diff = s.v[0] - s.v[1], re = 2 * s.v[2], im = 2 * s.v[3];
    return {sum + re, diff - im, sum - re, diff + im};
}
inline Values<8> signal(Values<8> s)
{
    const auto& v = s.v;
    const float re = v[2] - v[6], im = v[3] + v[7];
    const Values<4> even = signal(Values<4>{v[0] + v[1], 2 * v[4], v[2] + v[6], v[3] - v[7]});
    const Values<4> odd = signal(Values<4>{v[0] - v[1], -2 * v[5], (re - im) * kHalfRoot, (re + im) * kHalfRoot});
    return {even.v[0], odd.v[0], even.v[1], odd.v[1], even.v[2], odd.v[2], even.v[3], odd.v[3]};
}

template <int N>
inline Values<N> pack_to_perm(Values<N> s)
{
    Values<N> perm = s;
    if constexpr (N > 2) {
        perm.v[1] = s.v[N - 1];
        for (int i = 2; i < N; ++i) perm.v[i] = s.v[i - 1];
    }
    return perm;
}

using SmallTransform = void (*)(const float* src, float* dst, float scale);

template <int N, bool Scaled>
void small_forward(const float* src, float* dst, float scale)
{
    store_values<Scaled>(dst, spectrum(load_values<N>(src)), scale);
}
template <int N, bool Scaled>
void small_inverse(const float* src, float* dst, float scale)
{
    store_values<Scaled>(dst, signal(pack_to_perm(load_values<N>(src))), scale);
}

// By scaling and order.
inline constexpr SmallTransform kSmallForward[2][4] = {
    {small_forward<1, false>, small_forward<2, false>, small_forward<4, false>, small_forward<8, false>},
    {small_forward<1, true>, small_forward<2, true>, small_forward<4, true>, small_forward<8, true>}};
inline constexpr SmallTransform kSmallInverse[2][4] = {
    {small_inverse<1, false>, small_inverse<2, false>, small_inverse<4, false>, small_inverse<8, false>},
    {small_inverse<1, true>, small_inverse<2, true>, small_inverse<4, true>, small_inverse<8, true>}};

}  // namespace zelsr::fft
