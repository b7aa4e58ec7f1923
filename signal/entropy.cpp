// Sums of x log2 x.
#include <cstddef>

#include "core/constants.h"
#include "core/contract.h"
#include "core/convert.h"
#include "core/logarithm.h"
#include "core/rounding.h"
#include "core/scale.h"
#include "core/simd.h"
#include "zelsr/signal/functions.h"

namespace zelsr {
namespace {

constexpr double kLn2 = 0.6931472F;

// The sum of x ln x over four lanes a step, in two sums of each parity.
class SumXLnX {
  public:
    // x in the lanes: what is not above 0 adds nothing.
    void add(__m128 x)
    {
        const __m128 above = _mm_cmpgt_ps(x, _mm_setzero_ps());
        const __m128 y = choose(above, x, _mm_set1_ps(1));  // whose logarithm is 0
        const __m128 logarithm = ln(y);
        low_ += _mm_cvtps_pd(y) * _mm_cvtps_pd(logarithm);
        high_ += _mm_cvtps_pd(_mm_movehl_ps(y, y)) * _mm_cvtps_pd(_mm_movehl_ps(logarithm, logarithm));
    }
    double total() const { return join(low_ + high_); }

  private:
    __m128d low_ = _mm_setzero_pd(), high_ = _mm_setzero_pd();
};

// Some lane is negative or not a number.
inline bool refused(__m128 x) { return _mm_movemask_ps(_mm_cmpge_ps(x, _mm_setzero_ps())) != 15; }

[[gnu::noinline]] SrStatus entropy(const float* src, int32_t len, float* result)
{
    const auto refuse = [=] {
        store_one(result, zelConstantOfNAN_32f);
        return SrWarnLnNegArg;
    };
    SumXLnX sum;
    std::ptrdiff_t i = 0;
    for (; i <= len - 4; i += 4) {
        const __m128 x = Unaligned::four(src + i);
        if (refused(x)) return refuse();
        sum.add(x);
    }
    for (; i < len; ++i) {
        const __m128 x = OneLane::lanes(src + i);
        if (refused(x)) return refuse();
        sum.add(x);
    }
    store_one(result, static_cast<float>(sum.total() / kLn2));
    return SrOk;
}

// Four integers; the sign of none is lost in single precision.
inline __m128 four(const int16_t* p)
{
    return _mm_cvtepi32_ps(low_16s32s(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}

[[gnu::noinline]] SrStatus entropy(const int16_t* src, float scale, int32_t len, int32_t* result,
                                   double result_scale)
{
    const __m128 multiplier = _mm_set1_ps(scale);
    SumXLnX sum;
    std::ptrdiff_t i = 0;
    for (; i <= len - 4; i += 4) {
        const __m128 x = four(src + i);
        if (refused(x)) return SrWarnLnNegArg;  // without a result: wanted
        sum.add(x * multiplier);
    }
    for (; i < len; ++i) {
        const __m128 x = _mm_set_ss(load_one(src + i));
        if (refused(x)) return SrWarnLnNegArg;
        sum.add(x * multiplier);
    }
    const __m128d scaled = _mm_set_sd(result_scale * sum.total() / kLn2);
    store_one(result, _mm_cvtsi128_si32(saturated_32s<Rounding::TowardZero>(scaled)));
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsEntropy_32f(const float* src, int32_t len, float* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return entropy(src, len, result);
}

SrStatus zelsEntropy_16s32s_Sfs(const int16_t* src, int32_t src_sf, int32_t len, int32_t* result, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return entropy(src, GetScale_32s32f(src_sf), len, result, GetScale_32s64f(sf));
}
