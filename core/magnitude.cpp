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
// Newton step, s*y * (3 - s*y*y) / 2. s * y is formed first, since y * y is subnormal for large s.
//
// Where the estimate is 0 or infinite, that is for zero, subnormal and infinite s, the step ends in minus
// infinity or in the NaN of an invalid operation, whose sign bit is set: those lanes take the exact root.
__m128 root(__m128 s)
{
    const __m128 y = _mm_rsqrt_ps(s);
    const __m128 sy = s * y;
    const __m128 estimated = sy * (repeat(1.5F) - repeat(0.5F) * sy * y);
    if (_mm_movemask_ps(estimated) == 0) return estimated;
    return choose(_mm_srai_epi32(_mm_castps_si128(estimated), 31), _mm_sqrt_ps(s), estimated);
}

[[gnu::noinline]] void magnitudes(const Zel32fc* src, float* dst, int32_t len)
{
    auto magnitude = [](ComplexLanes_32f z) {
        const __m128 re = _mm_shuffle_ps(z.low, z.high, 0x88), im = _mm_shuffle_ps(z.low, z.high, 0xdd);
        return root(re * re + im * im);
    };
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
