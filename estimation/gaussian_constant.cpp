// The constants of Gaussians that the scoring functions take.
#include "core/constants.h"
#include "core/contract.h"
#include "core/rounding.h"
#include "estimation/element_loops.h"
#include "estimation/logarithms.h"
#include "zelsr/core/vector.h"
#include "zelsr/estimation/update.h"

namespace zelsr {
namespace {

SrStatus sum_ln(const float* src, int32_t len, float* sum) { return zelsSumLn_32f(src, len, sum); }
SrStatus sum_ln(const double* src, int32_t len, double* sum) { return zelsSumLn_64f(src, len, sum); }

constexpr auto kReciprocals = [](auto constant, auto sum) { return constant - sum; };
constexpr auto kVariances = [](auto constant, auto sum) { return constant + sum; };

// Out of line, so that all of its arithmetic happens while the default environment is set.
template <class T, class Join>
[[gnu::noinline]] SrStatus gaussian_constant(const T* array, int32_t len, T* gconst, Join join)
{
    T sum;
    const SrStatus status = sum_ln(array, len, &sum);
    if (status == SrWarnLnZeroArg)
        store_one(gconst, static_cast<T>(zelConstantOfINF_32f));
    else if (status == SrWarnLnNegArg)
        store_one(gconst, static_cast<T>(zelConstantOfNAN_32f));
    else
        store_one(gconst, join(static_cast<T>(len * kLnTwoPi), sum));
    return status;
}

inline __m128 val(__m128 log_weight, __m128 gconst) { return log_weight - gconst * repeat(0.5F); }
inline __m128d val(__m128d log_weight, __m128d gconst) { return log_weight - gconst * repeat(0.5); }
inline __m128i val(__m128i log_weight, __m128i gconst)
{
    return _mm_sub_epi32(log_weight, _mm_srai_epi32(gconst, 1));  // the half floors, the difference wraps: wanted
}

template <class T>
SrStatus constant_terms(const T* log_weight, const T* gconst, T* dst, int32_t len)
{
    auto op = [](auto w, auto g) { return val(w, g); };
    elementwise_in_order(op, dst, len, log_weight, gconst);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsUpdateGConst_32f(const float* inv_var, int32_t len, float* gconst)
{
    if (SrStatus failed = first_failure(non_null(inv_var, gconst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return gaussian_constant(inv_var, len, gconst, kReciprocals);
}

SrStatus zelsUpdateGConst_64f(const double* inv_var, int32_t len, double* gconst)
{
    if (SrStatus failed = first_failure(non_null(inv_var, gconst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return gaussian_constant(inv_var, len, gconst, kReciprocals);
}

SrStatus zelsUpdateGConst_DirectVar_32f(const float* var, int32_t len, float* gconst)
{
    if (SrStatus failed = first_failure(non_null(var, gconst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return gaussian_constant(var, len, gconst, kVariances);
}

SrStatus zelsUpdateGConst_DirectVar_64f(const double* var, int32_t len, double* gconst)
{
    if (SrStatus failed = first_failure(non_null(var, gconst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return gaussian_constant(var, len, gconst, kVariances);
}

SrStatus zelsOutProbPreCalc_32f(const float* log_weight, const float* gconst, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(log_weight, gconst, dst), positive(len))) return failed;
    return constant_terms(log_weight, gconst, dst, len);
}

SrStatus zelsOutProbPreCalc_64f(const double* log_weight, const double* gconst, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(log_weight, gconst, dst), positive(len))) return failed;
    return constant_terms(log_weight, gconst, dst, len);
}

SrStatus zelsOutProbPreCalc_32s(const int32_t* log_weight, const int32_t* gconst, int32_t* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(log_weight, gconst, dst), positive(len))) return failed;
    return constant_terms(log_weight, gconst, dst, len);
}

SrStatus zelsOutProbPreCalc_32f_I(const float* log_weight, float* gconst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(log_weight, gconst), positive(len))) return failed;
    return constant_terms(log_weight, gconst, gconst, len);
}

SrStatus zelsOutProbPreCalc_64f_I(const double* log_weight, double* gconst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(log_weight, gconst), positive(len))) return failed;
    return constant_terms(log_weight, gconst, gconst, len);
}

SrStatus zelsOutProbPreCalc_32s_I(const int32_t* log_weight, int32_t* gconst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(log_weight, gconst), positive(len))) return failed;
    return constant_terms(log_weight, gconst, gconst, len);
}
