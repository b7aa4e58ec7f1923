// Wiener gains per bin, from decision-directed a-priori ratios.
#include <algorithm>

#include "core/contract.h"
#include "core/elementwise.h"
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

// The integer quotient, toward zero; 0 for a zero denominator. Numerators stay below 2^49, where the quotient in
// double never rounds up to the next integer; quotients fit 32 bits.
inline int32_t quotient(int64_t numerator, int64_t denominator)
{
    if (denominator == 0) return 0;
    const double ratio = static_cast<double>(numerator) / static_cast<double>(denominator);
    return _mm_cvttsd_si32(_mm_set_sd(ratio));
}

// In Q14. 82 and 4014 are 0.02 and 0.98 in Q12, 1301 is 0.0794 in Q14.
inline int16_t wiener_gain(int32_t power, int32_t noise, int32_t denoised)
{
    constexpr int16_t floored = 1206;
    constexpr int64_t floor = 1301;
    if (noise == 0) return floored;
    const int64_t inverse = quotient(16384, noise), surplus = std::max(power - noise, 0);
    const int64_t t = ((82 * surplus + 4014 * int64_t{denoised}) * inverse) >> 14;
    const int64_t g = quotient(t * 16384, t + 4096);
    const int64_t x = std::max(((power * g) >> 14) * inverse, floor);
    return static_cast<int16_t>(quotient(x * 128, (x >> 7) + 128));
}

[[gnu::noinline]] void gains_16s(const int16_t* power, const int16_t* noise, const int16_t* denoised,
                                 int16_t* gain, int32_t len)
{
    for (int32_t i = 0; i < len; ++i)
        store_one(gain + i, wiener_gain(load_one(power + i), load_one(noise + i), load_one(denoised + i)));
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
