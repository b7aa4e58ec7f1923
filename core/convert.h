// Conversions between element types: the arithmetic of the public zelsConvert_* calls, for single registers and
// for whole arrays.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace zelsr {

enum class Rounding { TowardZero, Nearest };

// Registers. These work in the environment as it is: Nearest means the processor's rounding, so they belong
// under a DefaultFloatEnvironment.

template <Rounding R>
inline __m128i to_32s(__m128 x)
{
    return R == Rounding::Nearest ? _mm_cvtps_epi32(x) : _mm_cvttps_epi32(x);
}
// Two integers in the low lanes, zeros above.
template <Rounding R>
inline __m128i to_32s(__m128d x)
{
    return R == Rounding::Nearest ? _mm_cvtpd_epi32(x) : _mm_cvttpd_epi32(x);
}

// Saturated, in lanes of 32 bits that _mm_packs_epi32 brings to 16: what the processor gives for large negative
// values, -2147483648, saturates there too. NaN gives 32767, because the minimum is its second operand then.
template <Rounding R>
inline __m128i limited_to_16s(__m128 x)
{
    return to_32s<R>(_mm_min_ps(x, _mm_set1_ps(32767.0F)));
}

// Saturated. Every value outside the range converts to -2147483648; those whose bits lie above the largest single
// below 2^31 (2^31 and more, infinity, NaN with a clear sign bit) are complemented. A NaN with a set sign bit
// stays at -2147483648: wanted.
template <Rounding R>
inline __m128i saturated_32s(__m128 x)
{
    const __m128i too_large = _mm_cmpgt_epi32(_mm_castps_si128(x), _mm_set1_epi32(0x4effffff));
    return _mm_xor_si128(to_32s<R>(x), too_large);
}

// Saturated, in the low lanes; NaN gives 2147483647.
template <Rounding R>
inline __m128i saturated_32s(__m128d x)
{
    return to_32s<R>(_mm_min_pd(x, _mm_set1_pd(2147483647.0)));
}

// Arrays at any byte address. Source and destination may be the same array where their elements have the same
// size.

// In the caller's environment. The forms with sf multiply by 2^-sf, sf limited to -112 to 126 (16s32f), -96 to 126
// (32s32f), -1008 to 1022 (16s64f).
void convert_8u32f(const uint8_t* src, float* dst, int32_t len);
void convert_16s32f(const int16_t* src, float* dst, int32_t len);
void convert_32s32f(const int32_t* src, float* dst, int32_t len);
void convert_64f32f(const double* src, float* dst, int32_t len);
void convert_16s32f(const int16_t* src, float* dst, int32_t len, int32_t sf);
void convert_32s32f(const int32_t* src, float* dst, int32_t len, int32_t sf);
void convert_16s64f(const int16_t* src, double* dst, int32_t len, int32_t sf);

// In the default environment, which they set for their time: x times 2^-sf, in the source's precision, where the
// multiplier is 0 or infinite beyond the range of the type.
void convert_32f16s(const float* src, int16_t* dst, int32_t len, Rounding rounding, int32_t sf);
void convert_32f32s(const float* src, int32_t* dst, int32_t len, Rounding rounding, int32_t sf);
void convert_64f32s(const double* src, int32_t* dst, int32_t len, Rounding rounding, int32_t sf);

// Integers throughout; sf limited to -15 to 31.
void convert_32s16s(const int32_t* src, int16_t* dst, int32_t len, int32_t sf);

}  // namespace zelsr
