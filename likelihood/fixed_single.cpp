// Scores of one 16-bit vector.
#include <algorithm>
#include <limits>

#include "core/contract.h"
#include "core/convert.h"
#include "core/fixed_point.h"
#include "core/scratch.h"
#include "likelihood/fixed_score_single.h"
#include "likelihood/score_single.h"
#include "zelsr/core/convert.h"
#include "zelsr/core/vector.h"
#include "zelsr/likelihood/fixed.h"

namespace zelsr {
namespace {

// Rounded to nearest, limited to -2^31 to 2^31; what stands at the upper limit converts to -2147483648: wanted.
template <class Model>
[[gnu::noinline]] void round_score(const int16_t* feature, Model model, int32_t len, int32_t val, int32_t sf,
                                   int32_t* result)
{
    const __m128 sum = _mm_set_ss(sum_one(feature, model, len));
    const __m128 score = _mm_set_ss(static_cast<float>(val)) - over_shifted_power(sum, plus_one(sf));
    const __m128 limited = _mm_min_ps(_mm_max_ps(score, _mm_set1_ps(-0x1p31F)), _mm_set1_ps(0x1p31F));
    store_one(result, _mm_cvtss_si32(limited));
}
template <class Model>
void score_one_to_integer(const int16_t* feature, Model model, int32_t len, int32_t val, int32_t sf,
                          int32_t* result)
{
    const DefaultFloatEnvironment environment;
    round_score(feature, model, len, val, sf, result);
}

// Under an sf below 0 the low form of one vector is the plain sum of one vector.
float score_one_low_scaled(const int16_t* feature, FixedInverse model, int32_t len, float val, int32_t sf)
{
    float score;
    if (sf >= 0)
        score_low_scaled(as_row(feature, model), len, 1, constant(val), sf, store(&score));
    else
        score = val - sum_one(feature, model, len) * shifted_one(plus_one(sf));
    return score;
}

// The same, truncated toward zero; integers under any other sf.
[[gnu::noinline]] void truncate_score(const int16_t* feature, FixedInverse model, int32_t len, int32_t val,
                                      int32_t sf, int32_t* result)
{
    const float scaled = sum_one(feature, model, len) * shifted_one(plus_one(sf));
    store_one(result, _mm_cvttss_si32(_mm_set_ss(static_cast<float>(val) - scaled)));
}
void score_one_low_to_integer(const int16_t* feature, FixedInverse model, int32_t len, int32_t val, int32_t sf,
                              int32_t* result)
{
    if (sf >= 0) return score_low_to_integers(as_row(feature, model), len, 1, constant(val), sf, store(result));
    const DefaultFloatEnvironment environment;
    truncate_score(feature, model, len, val, sf, result);
}
void score_one_low_to_integer(const int16_t* feature, FixedUnit model, int32_t len, int32_t val, int32_t sf,
                              int32_t* result)
{
    score_low_to_integers(as_row(feature, model), len, 1, constant(val), sf, store(result));
}

// Single-precision reciprocals of the variances; the status tells of a zero among them, which is scored all the
// same.
SrStatus reciprocals(const int16_t* var, float* converted, float* reciprocal, int32_t len)
{
    convert_16s32f(var, converted, len);
    zelsSet_32f(1.0F, reciprocal, len);
    return zelsDiv_32f_I(converted, reciprocal, len);
}

// The scale is 2^-sf here, and the half comes first.
SrStatus score_direct_scaled(const int16_t* feature, const int16_t* mean, const int16_t* var, int32_t len,
                             float* result, float val, int32_t sf)
{
    const Scratch<float> scratch(int64_t{len} * 2 + 16);
    if (!scratch) return SrErrMemAlloc;
    float* const reciprocal = scratch.data() + len;
    const SrStatus status = reciprocals(var, scratch.data(), reciprocal, len);
    const float sum = sum_one(feature, mean, reciprocal, len);
    store_one(result, val - (0.5F * sum) * GetScale_32s32f(sf));
    return status;
}

[[gnu::noinline]] SrStatus score_direct_in_single(const int16_t* feature, const int16_t* mean, const int16_t* var,
                                                  int32_t len, float* work, float* sum)
{
    // Arrays on 16-byte boundaries, so that the sum is that of the aligned kernel.
    const std::ptrdiff_t rounded = (static_cast<std::ptrdiff_t>(len) + 7) & ~std::ptrdiff_t{7};
    float* const x = work;
    float* const m = x + rounded;
    float* const v = m + rounded;
    float* const reciprocal = v + rounded;
    convert_16s32f(feature, x, len);
    convert_16s32f(mean, m, len);
    const SrStatus status = reciprocals(var, v, reciprocal, len);
    const InverseVariance term{static_cast<const float*>(m), static_cast<const float*>(reciprocal)};
    const float* vector = x;
    *sum = -join_pairs(sixteen_by_sixteen<Aligned>(vector, term, len, register_tail<Aligned>(vector, term, len)));
    return status;
}

// val - S / 2^(sf+1), the quotient rounded to an integer, the difference saturated.
SrStatus score_direct_to_integer(const int16_t* feature, const int16_t* mean, const int16_t* var, int32_t len,
                                 int32_t* result, int32_t val, int32_t sf)
{
    const Scratch<float> scratch(int64_t{len} * 5 + 80);
    if (!scratch) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float sum;
    const SrStatus status = score_direct_in_single(feature, mean, var, len, scratch.data(), &sum);
    int32_t quotient;
    convert_32f32s(&sum, &quotient, 1, Rounding::Nearest,
                   std::min(sf, std::numeric_limits<int32_t>::max() - 1) + 1);
    store_one(result, saturated<int32_t>(int64_t{val} - quotient));
    return status;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLogGaussSingle_Scaled_16s32f(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                          int32_t len, float* result, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    store_one(result, score_one_scaled(feature, FixedInverse{mean, inv_var}, len, val, sf));
    return SrOk;
}

SrStatus zelsLogGaussSingle_16s32s_Sfs(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                       int32_t len, int32_t* result, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    score_one_to_integer(feature, FixedInverse{mean, inv_var}, len, val, sf, result);
    return SrOk;
}

SrStatus zelsLogGaussSingle_IdVarScaled_16s32f(const int16_t* feature, const int16_t* mean, int32_t len,
                                               float* result, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, result), positive(len))) return failed;
    store_one(result, score_one_scaled(feature, FixedUnit{mean}, len, val, sf));
    return SrOk;
}

SrStatus zelsLogGaussSingle_IdVar_16s32s_Sfs(const int16_t* feature, const int16_t* mean, int32_t len,
                                             int32_t* result, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, result), positive(len))) return failed;
    score_one_to_integer(feature, FixedUnit{mean}, len, val, sf, result);
    return SrOk;
}

SrStatus zelsLogGaussSingle_DirectVarScaled_16s32f(const int16_t* feature, const int16_t* mean, const int16_t* var,
                                                   int32_t len, float* result, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, var, result), positive(len))) return failed;
    return score_direct_scaled(feature, mean, var, len, result, val, sf);
}

SrStatus zelsLogGaussSingle_DirectVar_16s32s_Sfs(const int16_t* feature, const int16_t* mean, const int16_t* var,
                                                 int32_t len, int32_t* result, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, var, result), positive(len))) return failed;
    return score_direct_to_integer(feature, mean, var, len, result, val, sf);
}

SrStatus zelsLogGaussSingle_Low_16s32s_Sfs(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                           int32_t len, int32_t* result, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    score_one_low_to_integer(feature, FixedInverse{mean, inv_var}, len, val, sf, result);
    return SrOk;
}

SrStatus zelsLogGaussSingle_LowScaled_16s32f(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                             int32_t len, float* result, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    store_one(result, score_one_low_scaled(feature, FixedInverse{mean, inv_var}, len, val, sf));
    return SrOk;
}

SrStatus zelsLogGaussSingle_IdVarLow_16s32s_Sfs(const int16_t* feature, const int16_t* mean, int32_t len,
                                                int32_t* result, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, result), positive(len))) return failed;
    score_one_low_to_integer(feature, FixedUnit{mean}, len, val, sf, result);
    return SrOk;
}

SrStatus zelsLogGaussSingle_IdVarLowScaled_16s32f(const int16_t* feature, const int16_t* mean, int32_t len,
                                                  float* result, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, result), positive(len))) return failed;
    store_one(result, score_one_low_scaled(feature, FixedUnit{mean}, len, val, sf));
    return SrOk;
}
