// Wiener gains per bin, from decision-directed a-priori ratios.
#include "core/contract.h"
#include "core/elementwise.h"
#include "core/groups.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/aurora/spectrum.h"

namespace zelsr {
namespace {

// A NaN takes the second operand of both maxima: 0 for the difference, the floor for the ratio.
inline __m128 wiener_gain(__m128 power, __m128 noise, __m128 denoised)
{
    const __m128 one = _mm_set1_ps(1.0F), floor = _mm_set1_ps(0.07943282F);
    const __m128 q = _mm_rcp_ps(noise);
    const __m128 surplus = _mm_max_ps(power - noise, _mm_setzero_ps());
    const __m128 e = (_mm_set1_ps(0.98F) * denoised + _mm_set1_ps(0.02F) * surplus) * q;
    const __m128 g = e / (e + one);
    const __m128 f = _mm_max_ps(g * (power * q), floor);
    return f / (f + one);
}

// 16-bit gains take 64-bit integers, all of which stay below 2^49: lanes of doubles hold them exactly, in the
// default rounding mode.

// The next whole number downwards, below 2^50: of an integer times 2^-k the shift to the right by k.
inline __m128d rounded_down(__m128d x)
{
    const __m128d shifter = _mm_set1_pd(0x1.8p52), nearest = (x + shifter) - shifter;
    return nearest - _mm_and_pd(_mm_cmpgt_pd(nearest, x), _mm_set1_pd(1.0));
}

// Whole numbers' quotient, truncated to 32 bits: with a numerator below 2^53 it never rounds up to the next
// integer.
inline __m128i truncated_quotient(__m128d numerator, __m128d denominator)
{
    return _mm_cvttpd_epi32(numerator / denominator);
}

// The gains in Q14 of two bins, in the low lanes, `inverse` being 16384 / noise; of a noise of 0 anything. 82 and
// 4014 are 0.02 and 0.98 in Q12, 1301 is 0.0794 in Q14.
inline __m128i wiener_gains(__m128d power, __m128d noise, __m128d denoised, __m128d inverse)
{
    const __m128d one = _mm_set1_pd(16384.0), down = _mm_set1_pd(1 / 16384.0);
    const __m128d surplus = _mm_max_pd(power - noise, _mm_setzero_pd());
    const __m128d s = _mm_set1_pd(82.0) * surplus + _mm_set1_pd(4014.0) * denoised;
    const __m128d t = rounded_down(s * inverse * down), below = t + _mm_set1_pd(4096.0);
    const __m128d nonzero = _mm_cmpneq_pd(below, _mm_setzero_pd());
    const __m128d g = _mm_and_pd(nonzero, _mm_cvtepi32_pd(truncated_quotient(t * one, below)));
    const __m128d x = _mm_max_pd(rounded_down(power * g * down) * inverse, _mm_set1_pd(1301.0));
    const __m128d lower_7 = _mm_set1_pd(128.0);
    return truncated_quotient(x * lower_7, rounded_down(x * _mm_set1_pd(1 / 128.0)) + lower_7);
}

[[gnu::noinline]] void gains_16s(const int16_t* power, const int16_t* noise, const int16_t* denoised,
                                 int16_t* gain, int32_t len)
{
    const auto four =
        [](int16_t * to, const int16_t* p, const int16_t* n, const int16_t* d) __attribute__((always_inline))
    {
        const __m128i floored = _mm_set1_epi32(1206);
        const auto load = [](const int16_t* from) {
            return low_16s32s(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
        };
        const auto lower = [](__m128i x) { return _mm_cvtepi32_pd(x); };
        const auto upper = [](__m128i x) { return _mm_cvtepi32_pd(_mm_unpackhi_epi64(x, x)); };
        const __m128i frame = load(p), background = load(n), before = load(d);
        // Its numerator is below 2^24, so that single precision does.
        const __m128i inverse = _mm_cvttps_epi32(_mm_set1_ps(16384.0F) / _mm_cvtepi32_ps(background));
        const __m128i low = wiener_gains(lower(frame), lower(background), lower(before), lower(inverse));
        const __m128i high = wiener_gains(upper(frame), upper(background), upper(before), upper(inverse));
        const __m128i none = _mm_cmpeq_epi32(background, _mm_setzero_si128());
        const __m128i gains = choose(none, floored, _mm_unpacklo_epi64(low, high));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packs_epi32(gains, gains));
    };
    in_groups<4>(len, gain, four, power, noise, denoised);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsWienerFilterDesign_Aurora_32f(const float* power, const float* noise, const float* denoised,
                                           float* gain, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(power, noise, denoised, gain), positive(len))) return failed;
    auto design = [](__m128 p, __m128 n, __m128 d) __attribute__((always_inline)) { return wiener_gain(p, n, d); };
    elementwise(design, gain, len, power, noise, denoised);
    return SrOk;
}

SrStatus zelsWienerFilterDesign_Aurora_16s(const int16_t* power, const int16_t* noise, const int16_t* denoised,
                                           int16_t* gain, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(power, noise, denoised, gain), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    gains_16s(power, noise, denoised, gain, len);
    return SrOk;
}
