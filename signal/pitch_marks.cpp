// Frequencies from pitch marks.
#include <algorithm>

#include "core/constants.h"
#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/signal/pitch.h"

namespace zelsr {
namespace {

constexpr int32_t kBlock = 128;

// 1 / d for the distances d of neighbouring marks, by the estimate r and one Newton step: r (2 - d r). Equal marks
// give at_zero; any() tells whether there were any. (Two infinite marks are equal as well, though their distance
// is not a number.)
class Reciprocal {
  public:
    explicit Reciprocal(float at_zero) : at_zero_(_mm_set1_ps(at_zero)) {}
    __m128 operator()(__m128 mark, __m128 before)
    {
        const __m128 d = mark - before, r = _mm_rcp_ps(d);
        const __m128 equal = _mm_cmpeq_ps(mark, before);
        met_ = _mm_or_ps(met_, equal);
        return choose(equal, at_zero_, r * (_mm_set1_ps(2) - d * r));
    }
    SrStatus status() const { return _mm_movemask_ps(met_) != 0 ? SrWarnDivByZero : SrOk; }

  private:
    __m128 at_zero_, met_ = _mm_setzero_ps();
};

// The first mark's neighbour is before. Inlined, so that what there was stays in registers.
[[gnu::always_inline]] inline void reciprocals(const float* marks, float before, float* dst, int32_t len,
                                               Reciprocal& reciprocal)
{
    store_one(dst, _mm_cvtss_f32(reciprocal(repeat(load_one(marks)), repeat(before))));
    if (len > 1) elementwise(reciprocal, dst + 1, len - 1, marks + 1, marks);
}

[[gnu::noinline]] SrStatus frequencies(const float* marks, float* dst, int32_t len)
{
    Reciprocal reciprocal(zelConstantOfINF_32f);
    reciprocals(marks, 0, dst, len, reciprocal);
    return reciprocal.status();
}

// From a multiplier of 2^127 on all but zero saturates; a larger one would be infinite and turn zero into NaN.
[[gnu::noinline]] SrStatus frequencies(const int16_t* marks, int16_t* dst, int32_t len, int32_t sf)
{
    alignas(16) float mark[kBlock], frequency[kBlock];
    Reciprocal reciprocal(0);
    float before = 0;
    for (int32_t n = 0; n < len; n += std::min(kBlock, len - n)) {
        const int32_t count = std::min(kBlock, len - n);
        convert_16s32f(marks + n, mark, count);
        reciprocals(mark, before, frequency, count, reciprocal);
        convert_32f16s(frequency, dst + n, count, Rounding::Nearest, std::max(sf, -127));
        before = mark[count - 1];
    }
    return reciprocal.status();
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsPitchmarkToF0Cand_32f(const float* marks, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(marks, dst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return frequencies(marks, dst, len);
}

SrStatus zelsPitchmarkToF0Cand_16s_Sfs(const int16_t* marks, int16_t* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(marks, dst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return frequencies(marks, dst, len, sf);
}
