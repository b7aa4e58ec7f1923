// Statistics of decision-tree clustering, and the log likelihood of a cluster.
#include <algorithm>
#include <cmath>

#include "core/constants.h"
#include "core/contract.h"
#include "core/rounding.h"
#include "estimation/element_loops.h"
#include "estimation/logarithms.h"
#include "estimation/occupancy.h"
#include "zelsr/core/vector.h"
#include "zelsr/estimation/clustering.h"

namespace zelsr {
namespace {

inline __m128 reciprocal(__m128 x) { return repeat(1.0F) / x; }
inline __m128d reciprocal(__m128d x) { return repeat(1.0) / x; }

constexpr auto kReciprocals = [](auto inv_var) { return reciprocal(inv_var); };
constexpr auto kVariances = [](auto var) { return var; };

template <class T, class Variance>
SrStatus accumulate(const T* mean, const T* array, Variance variance, T* s, T* q, int32_t len, T occupancy)
{
    const auto count = repeat(occupancy);
    each_register<T>(
        len, [=](auto width, std::ptrdiff_t i) __attribute__((always_inline)) {
            const auto m = width.of(mean + i);
            const auto var = variance(width.of(array + i));
            width.put(s + i, m * count);
            width.put(q + i, (var + m * m) * count);
        });
    return SrOk;
}

// Out of line, so that all of its arithmetic happens while the default environment is set.
template <class T>
[[gnu::noinline]] SrStatus log_likelihood(const T* s, const T* q, int32_t len, double* result, double occupancy)
{
    constexpr double exact_ln_two_pi = 1.8378770664093456;  // not the literal of the other functions: wanted
    const __m128d zero = _mm_setzero_pd(), one = repeat(1.0), count = repeat(occupancy);
    __m128d zeros_met = zero, negatives_met = zero;
    double variances[kLogBlock], sum = 0.0;

    if (occupancy == 0) {
        store_one(result, -1e10);  // written beside this warning: wanted
        return SrWarnZeroCount;
    }
    for (std::ptrdiff_t i = 0; i < len; i += kLogBlock) {
        const auto block = static_cast<int32_t>(std::min<std::ptrdiff_t>(kLogBlock, len - i));
        each_register<double>(
            block, [&](auto width, std::ptrdiff_t k) __attribute__((always_inline)) {
                const __m128d sums = in_double(width, s + i + k);
                const __m128d t = in_double(width, q + i + k) * count - sums * sums;
                const __m128d is_zero = _mm_cmpeq_pd(t, zero);
                zeros_met = either(zeros_met, is_zero);
                negatives_met = either(negatives_met, less(t, zero));
                width.put(variances + k, choose(is_zero, one, t));  // ln 1 leaves the sum as it is
            });
        if (any(negatives_met)) {
            store_one(result, zelConstantOfNAN_64f);
            return SrWarnLnNegArg;
        }
        double sum_of_block;
        zelsSumLn_64f(variances, block, &sum_of_block);  // NaN if one of them is; no other warning is left
        sum += sum_of_block;
    }
    if (any(zeros_met)) {
        store_one(result, zelConstantOfINF_NEG_64f);
        return SrWarnLnZeroArg;
    }
    const double ln_count = std::log(occupancy);
    const double constant = len * ((ln_count - 1.0 - exact_ln_two_pi) + ln_count);
    store_one(result, (0.5 * occupancy) * (constant - sum));
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsDcsClustLAccumulate_32f(const float* mean, const float* inv_var, float* s, float* q, int32_t len,
                                     float occupancy)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, s, q), positive(len))) return failed;
    return accumulate(mean, inv_var, kReciprocals, s, q, len, occupancy);
}

SrStatus zelsDcsClustLAccumulate_64f(const double* mean, const double* inv_var, double* s, double* q, int32_t len,
                                     double occupancy)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, s, q), positive(len))) return failed;
    return accumulate(mean, inv_var, kReciprocals, s, q, len, occupancy);
}

SrStatus zelsDcsClustLAccumulate_DirectVar_32f(const float* mean, const float* var, float* s, float* q,
                                               int32_t len, float occupancy)
{
    if (SrStatus failed = first_failure(non_null(mean, var, s, q), positive(len))) return failed;
    return accumulate(mean, var, kVariances, s, q, len, occupancy);
}

SrStatus zelsDcsClustLAccumulate_DirectVar_64f(const double* mean, const double* var, double* s, double* q,
                                               int32_t len, double occupancy)
{
    if (SrStatus failed = first_failure(non_null(mean, var, s, q), positive(len))) return failed;
    return accumulate(mean, var, kVariances, s, q, len, occupancy);
}

SrStatus zelsDcsClustLCompute_32f64f(const float* s, const float* q, int32_t len, double* result, float occupancy)
{
    if (SrStatus failed = first_failure(non_null(s, q, result), positive(len), not_negative(occupancy)))
        return failed;
    const DefaultFloatEnvironment environment;
    return log_likelihood(s, q, len, result, static_cast<double>(occupancy));
}

SrStatus zelsDcsClustLCompute_64f(const double* s, const double* q, int32_t len, double* result, double occupancy)
{
    if (SrStatus failed = first_failure(non_null(s, q, result), positive(len), not_negative(occupancy)))
        return failed;
    const DefaultFloatEnvironment environment;
    return log_likelihood(s, q, len, result, occupancy);
}
