// What the functions of Gaussians' logarithms share: elements in double precision, and ln(2 pi).
#pragma once

#include "core/elementwise.h"

namespace zelsr {

// ln(2 pi), to the digits that results are defined with.
inline constexpr double kLnTwoPi = 1.8378770664093;

// Values in double precision are kept by blocks, whose logarithms are summed at once. zelsSumLn_64f() works by
// blocks of this size too, so that its sum of the whole has the bits of the blocks' sums, added up.
inline constexpr int32_t kLogBlock = 512;

// Elements as a register of doubles: two (FullRegister), or one in both lanes (OneElement).
inline __m128d in_double(FullRegister, const float* p)
{
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline __m128d in_double(OneElement, const float* p) { return repeat(static_cast<double>(load_one(p))); }
template <class Width>
__m128d in_double(Width width, const double* p)
{
    return width.of(p);
}

// The other way, rounded to the type.
inline void put_rounded(FullRegister, float* p, __m128d v)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_castps_si128(_mm_cvtpd_ps(v)));
}
inline void put_rounded(OneElement, float* p, __m128d v) { store_one(p, _mm_cvtss_f32(_mm_cvtpd_ps(v))); }
template <class Width>
void put_rounded(Width width, double* p, __m128d v)
{
    width.put(p, v);
}

}  // namespace zelsr
