// The natural logarithm of four singles.
#pragma once

#include "core/simd.h"

namespace zelsr {

namespace detail {

// The constants of ln_of_normal, each in four lanes.
struct LnConstants {
    alignas(16) float one[4], half[4], ln2_high[4], ln2_low[4], even[4][4], odd[4][4];
};
inline constexpr LnConstants kLn = [] {
    LnConstants c{};
    constexpr float even[] = {0x1.555506p-2F, 0x1.99d022p-3F, 0x1.1ed75cp-3F, 0x1.1e65eep-3F};
    constexpr float odd[] = {-0x1.fffefp-3F, -0x1.559deep-3F, -0x1.f30e0cp-4F, -0x1.080baap-3F};
    for (int lane = 0; lane < 4; ++lane) {
        c.one[lane] = 1.0F;
        c.half[lane] = 0.5F;
        c.ln2_high[lane] = 0x1.62e4p-1F;
        c.ln2_low[lane] = 0x1.7f7d1cp-20F;
        for (int i = 0; i < 4; ++i) {
            c.even[i][lane] = even[i];
            c.odd[i][lane] = odd[i];
        }
    }
    return c;
}();

// ln(x) + exponent * ln 2 for positive normal x, given by its bits.
//
// x = 2^k (1 + f) with 1 + f from 2/3 up to 4/3, and
//   ln x = k ln2_high + f + (k ln2_low - f^2 / 2 + f^3 q(f)),
// where q is the minimax fit, of relative error 2^-27 to the whole, to (ln(1+f) - f + f^2/2) / f^3. k ln2_high is
// exact, and what its sum with f rounds away joins the small terms. The order of the operations fixes the bits.
inline __m128 ln_of_normal(__m128i bits, __m128i exponent)
{
    const LnConstants& c = *opaque(&kLn);
    const auto all = [](const float* lanes) { return _mm_load_ps(lanes); };

    const __m128i from_two_thirds = _mm_sub_epi32(bits, _mm_set1_epi32(0x3f2aaaab));
    const __m128i power = _mm_srai_epi32(from_two_thirds, 23);
    const __m128i mantissa = _mm_sub_epi32(bits, _mm_slli_epi32(power, 23));
    const __m128 f = _mm_castsi128_ps(mantissa) - all(c.one);
    const __m128 k = _mm_cvtepi32_ps(_mm_add_epi32(power, exponent));

    const __m128 f2 = f * f;
    const __m128 even = ((all(c.even[3]) * f2 + all(c.even[2])) * f2 + all(c.even[1])) * f2 + all(c.even[0]);
    const __m128 odd = ((all(c.odd[3]) * f2 + all(c.odd[2])) * f2 + all(c.odd[1])) * f2 + all(c.odd[0]);
    const __m128 q = odd * f + even;

    const __m128 high = k * all(c.ln2_high);
    const __m128 sum = high + f;
    const __m128 rounded_away = f - (sum - high);
    const __m128 small = (k * all(c.ln2_low) - all(c.half) * f2) + rounded_away;
    return sum + (f2 * f * q + small);
}

// ln of four singles of which some are not positive normal numbers.
__m128 ln_of_any(__m128 x);

}  // namespace detail

// ln of every single: minus infinity for +0, NaN for a set sign bit (-0 included); infinity and positive NaN stay.
// Belongs under a DefaultFloatEnvironment.
inline __m128 ln(__m128 x)
{
    const __m128i bits = _mm_castps_si128(x);
    const __m128i normal = _mm_andnot_si128(_mm_cmpgt_epi32(bits, _mm_set1_epi32(0x7f7fffff)),
                                            _mm_cmpgt_epi32(bits, _mm_set1_epi32(0x007fffff)));
    if (_mm_movemask_epi8(normal) != 0xffff) [[unlikely]]
        return detail::ln_of_any(x);
    return detail::ln_of_normal(bits, _mm_setzero_si128());
}

}  // namespace zelsr
