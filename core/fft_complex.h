// The complex FFT of 2^m values between interleaved arrays at any address and aligned work memory, in which
// four real parts and four imaginary parts alternate ("blocks").
//
// Decimation in time. The first pass gathers its inputs so that the work memory holds them in bit-reversed
// order, and does the butterflies of the 4 (m even) or 8 (m odd) values that are then neighbours; each further
// pass joins four neighbouring sub-transforms of L values into one, with the twiddles W^j, W^2j, W^3j,
// W = exp(-2 pi i / 4L).
//
// The inverse transform is the forward one with real and imaginary parts exchanged on the way in and out.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

namespace zelsr::fft {

enum class Direction { Forward, Inverse };

constexpr float kHalfRoot = 0.70710678118654752440F;

template <int Lanes>
struct Register;
template <>
struct Register<1> {
    using Type = float;
    static float splat(float value) { return value; }
};
template <>
struct Register<4> {
    using Type = __m128;
    static __m128 splat(float value) { return _mm_set1_ps(value); }
};

// A complex number in each lane.
template <int Lanes>
struct Complex {
    typename Register<Lanes>::Type re;
    typename Register<Lanes>::Type im;
};
using Complex1 = Complex<1>;
using Complex4 = Complex<4>;

template <int L>
inline Complex<L> operator+(Complex<L> a, Complex<L> b)
{
    return {a.re + b.re, a.im + b.im};
}
template <int L>
inline Complex<L> operator-(Complex<L> a, Complex<L> b)
{
    return {a.re - b.re, a.im - b.im};
}
template <int L>
inline Complex<L> operator*(Complex<L> a, Complex<L> b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
// a - i b
template <int L>
inline Complex<L> minus_i(Complex<L> a, Complex<L> b)
{
    return {a.re + b.im, a.im - b.re};
}
// a + i b
template <int L>
inline Complex<L> plus_i(Complex<L> a, Complex<L> b)
{
    return {a.re - b.im, a.im + b.re};
}

// Values 0, 2, 4, ... of the floats at p are real parts; four complex values.
template <Direction D>
inline Complex4 load_interleaved(const float* p)
{
    const __m128 low = Unaligned::four(p), high = Unaligned::four(p + 4);
    const __m128 even = _mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0));
    const __m128 odd = _mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1));
    return D == Direction::Forward ? Complex4{even, odd} : Complex4{odd, even};
}
template <Direction D>
inline void store_interleaved(float* p, Complex4 z)
{
    if (D == Direction::Inverse) z = {z.im, z.re};
    Unaligned::put(p, _mm_unpacklo_ps(z.re, z.im));
    Unaligned::put(p + 4, _mm_unpackhi_ps(z.re, z.im));
}

// Keeps the compiler from reading memory again at each use: loads, not arithmetic, would be the limit.
inline __m128 in_register(__m128 v)
{
    asm("" : "+x"(v));
    return v;
}
inline Complex4 load_block(const float* p)
{
    return {in_register(Aligned::four(p)), in_register(Aligned::four(p + 4))};
}
inline Complex4 load_twiddles(const float* p) { return {Aligned::four(p), Aligned::four(p + 4)}; }
inline void store_block(float* p, Complex4 z)
{
    Aligned::put(p, z.re);
    Aligned::put(p + 4, z.im);
}

// Values that the first pass joins: 4 or 8, by the parity of m.
constexpr int32_t first_radix(int32_t m) { return m % 2 == 0 ? 4 : 8; }

// In floats from the start of the twiddle table: those of the pass that joins sub-transforms of L values. They
// are L/4 groups of three blocks: W^2j, W^j, W^3j, j from 4g to 4g + 3.
constexpr std::size_t twiddles_of_pass(int32_t m, std::size_t sub)
{
    return 2 * (sub - static_cast<std::size_t>(first_radix(m)));
}

// Entries of the reversal table, orders 5 and above: where the first pass puts its results for the group of four
// neighbouring inputs with that number, in floats from the start of the work memory.
constexpr std::size_t reversal_entries(int32_t m) { return (std::size_t{1} << m) / 32; }

struct Plan {
    int32_t m;
    const int32_t* reversal;
    const float* twiddles;
};

// src, interleaved and in order, to work, in blocks and in order. 2^m values, m from 3 to 17.
void transform_to_blocks(const float* src, float* work, const Plan& plan);

// src, interleaved and in order, to dst, interleaved and in order, times factor; src may be dst.
void transform_inverse(const float* src, float* dst, float* work, const Plan& plan, float factor);

// data, interleaved and in bit-reversed order, to itself in order, times factor; the plan's reversal is not used.
template <Direction D>
void transform_reversed(float* data, float* work, const Plan& plan, float factor);

}  // namespace zelsr::fft
