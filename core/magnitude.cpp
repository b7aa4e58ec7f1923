// Magnitudes of complex elements.
#include <algorithm>
#include <limits>

#include "core/contract.h"
#include "core/elementwise.h"
#include "core/rounding.h"
#include "core/scale.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

// sqrt(s) = s * y with y = 1 / sqrt(s): the processor's estimate of y (relative error up to 1.5 * 2^-12) and one
// Newton step, s*y * (3 - s*y*y) / 2, whose relative error stays below 2^-21. s * y is formed first, since y * y
// is subnormal for large s. Sums for which the estimate or the step fails (zero, subnormal, infinity, NaN) take
// the exact root.
__m128 root(__m128 s)
{
    constexpr int32_t lowest_normal = 0x00800000, infinity = 0x7f800000;
    // As unsigned numbers, lowest_normal <= bits < infinity; the offset moves the comparison to signed ones.
    const __m128i from_lowest = _mm_sub_epi32(_mm_castps_si128(s), repeat(lowest_normal + INT32_MIN));
    const __m128i in_range = _mm_cmplt_epi32(from_lowest, repeat(INT32_MIN + (infinity - lowest_normal)));
    const __m128 y = _mm_rsqrt_ps(s);
    const __m128 sy = s * y;
    const __m128 estimated = sy * (repeat(1.5F) - repeat(0.5F) * sy * y);
    if (_mm_movemask_epi8(in_range) == 0xffff) return estimated;
    const __m128 mask = _mm_castsi128_ps(in_range);
    return _mm_or_ps(_mm_and_ps(mask, estimated), _mm_andnot_ps(mask, _mm_sqrt_ps(s)));
}

[[gnu::noinline]] void magnitudes(const Zel32fc* src, float* dst, int32_t len)
{
    auto magnitude = [](ComplexLanes_32f z) { return root(_mm_hadd_ps(z.low * z.low, z.high * z.high)); };
    elementwise(magnitude, dst, len, src);
}

// The magnitudes of two elements.
__m128d magnitudes_64f(__m128i pairs)
{
    const __m128d first = _mm_cvtepi32_pd(pairs), second = _mm_cvtepi32_pd(_mm_unpackhi_epi64(pairs, pairs));
    return _mm_sqrt_pd(_mm_hadd_pd(first * first, second * second));
}

[[gnu::noinline]] void magnitudes(const Zel32sc* src, int32_t* dst, int32_t len, double scale)
{
    const __m128d factor = _mm_set1_pd(scale), highest = _mm_set1_pd(std::numeric_limits<int32_t>::max());
    auto magnitude = [=](ComplexLanes_32s z) {
        const __m128d low = _mm_min_pd(magnitudes_64f(z.low) * factor, highest);
        const __m128d high = _mm_min_pd(magnitudes_64f(z.high) * factor, highest);
        return _mm_unpacklo_epi64(_mm_cvtpd_epi32(low), _mm_cvtpd_epi32(high));
    };
    elementwise(magnitude, dst, len, src);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsMagnitude_32fc(const Zel32fc* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    magnitudes(src, dst, len);
    return SrOk;
}

SrStatus zelsMagnitude_32sc_Sfs(const Zel32sc* src, int32_t* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    // A magnitude is 0 or lies from 1 to 2^31.5: from 2^31 on the scale saturates all but 0, at 2^-33 it clears
    // all.
    const double scale = GetScale_32s64f(std::clamp(sf, -31, 33));
    const DefaultFloatEnvironment environment;
    magnitudes(src, dst, len, scale);
    return SrOk;
}
