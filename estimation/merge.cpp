// The Gaussian that two Gaussians merge into, and what is lost by merging.
#include <algorithm>
#include <cmath>

#include "core/constants.h"
#include "core/contract.h"
#include "core/rounding.h"
#include "estimation/element_loops.h"
#include "estimation/logarithms.h"
#include "zelsr/core/vector.h"
#include "zelsr/estimation/mixture.h"

namespace zelsr {
namespace {

template <class T>
struct Pair {
    const T *mean1, *var1, *mean2, *var2;
    double weight1, weight2;

    double weight() const { return weight1 + weight2; }
};

struct Moments {
    __m128d mean, var;
};

// (w1 m1 + w2 m2) / W and ((m1^2 + v1) w1 + (m2^2 + v2) w2) / W - m^2, of the elements from i on.
template <class Width, class T>
[[gnu::always_inline]] inline Moments merged(Width width, const Pair<T>& pair, std::ptrdiff_t i)
{
    const __m128d m1 = in_double(width, pair.mean1 + i), v1 = in_double(width, pair.var1 + i);
    const __m128d m2 = in_double(width, pair.mean2 + i), v2 = in_double(width, pair.var2 + i);
    const __m128d w1 = repeat(pair.weight1), w2 = repeat(pair.weight2), weight = repeat(pair.weight());
    const __m128d mean = (w1 * m1 + w2 * m2) / weight;
    return {mean, ((m1 * m1 + v1) * w1 + (m2 * m2 + v2) * w2) / weight - mean * mean};
}

// Merges the elements from first to first + count - 1 up to the first variance that is not above zero, that one
// included. Answers how many variances above zero it met; vars keeps them all, and the other one.
int32_t merge_while_above_zero(const Pair<float>& pair, std::ptrdiff_t first, int32_t count, float* mean,
                               float* var, double* vars)
{
    int32_t k = 0;
    for (; k + 2 <= count; k += 2) {
        const Moments m = merged(FullRegister{}, pair, first + k);
        if (_mm_movemask_pd(less(_mm_setzero_pd(), m.var)) != 0x3) break;
        put_rounded(FullRegister{}, mean + first + k, m.mean);
        put_rounded(FullRegister{}, var + first + k, m.var);
        FullRegister::put(vars + k, m.var);
    }
    for (; k < count; ++k) {
        const Moments m = merged(OneElement{}, pair, first + k);
        put_rounded(OneElement{}, mean + first + k, m.mean);
        put_rounded(OneElement{}, var + first + k, m.var);
        OneElement::put(vars + k, m.var);
        if (!(vars[k] > 0)) break;
    }
    return k;
}

// The kernels stay out of line, so that all of their arithmetic happens while the default environment is set.

[[gnu::noinline]] SrStatus merge(const Pair<float>& pair, float* mean, float* var, int32_t len, float* gconst)
{
    double vars[kLogBlock], sum = 0.0;
    for (std::ptrdiff_t i = 0; i < len; i += kLogBlock) {
        const auto count = static_cast<int32_t>(std::min<std::ptrdiff_t>(kLogBlock, len - i));
        if (const int32_t good = merge_while_above_zero(pair, i, count, mean, var, vars); good < count) {
            const bool negative = vars[good] < 0;  // NaN counts as zero: wanted
            store_one(gconst, negative ? zelConstantOfNAN_32f : zelConstantOfINF_32f);
            return negative ? SrWarnLnNegArg : SrWarnLnZeroArg;
        }
        double sum_of_block;
        zelsSumLn_64f(vars, count, &sum_of_block);
        sum += sum_of_block;
    }
    store_one(gconst, static_cast<float>(len * kLnTwoPi - sum));
    return SrOk;
}

[[gnu::noinline]] SrStatus merge(const Pair<double>& pair, double* mean, double* var, int32_t len, double* gconst)
{
    each_register<double>(
        len, [&](auto width, std::ptrdiff_t i) __attribute__((always_inline)) {
            const Moments m = merged(width, pair, i);
            width.put(mean + i, m.mean);
            width.put(var + i, m.var);
        });
    double sum;
    const SrStatus status = zelsSumLn_64f(var, len, &sum);
    // Variances take the sign of reciprocal ones here; wanted, as is the bare sum beside a warning.
    store_one(gconst, status == SrOk ? len * kLnTwoPi - sum : sum);
    return status;
}

SrStatus sum_ln_in_order(const double* x, int32_t len, double* sum)
{
    *sum = 0.0;
    for (int32_t i = 0; i < len; ++i) {
        if (x[i] == 0) return SrWarnLnZeroArg;
        if (x[i] < 0) return SrWarnLnNegArg;
        *sum += std::log(x[i]);
    }
    return SrOk;
}

// The sum of the logarithms of the merged variances, or the status of the first that ends it.
template <class T>
SrStatus sum_ln_of_merged(const Pair<T>& pair, int32_t len, double* sum)
{
    constexpr int32_t few = 13;  // below, one logarithm after the other
    double vars[kLogBlock];
    *sum = 0.0;
    for (std::ptrdiff_t i = 0; i < len && !std::isnan(*sum); i += kLogBlock) {
        const auto count = static_cast<int32_t>(std::min<std::ptrdiff_t>(kLogBlock, len - i));
        each_register<double>(
            count, [&](auto width, std::ptrdiff_t k)
                       __attribute__((always_inline)) { width.put(vars + k, merged(width, pair, i + k).var); });
        double of_block;
        const SrStatus status =
            len < few ? sum_ln_in_order(vars, count, &of_block) : zelsSumLn_64f(vars, count, &of_block);
        if (status != SrOk) return status;
        *sum += of_block;
    }
    return SrOk;
}

template <class T>
[[gnu::noinline]] SrStatus measure(const Pair<T>& pair, int32_t len, T* distance, double gconst1, double gconst2)
{
    double sum;
    const SrStatus status = sum_ln_of_merged(pair, len, &sum);
    if (status == SrWarnLnZeroArg)
        store_one(distance, static_cast<T>(zelConstantOfINF_64f));
    else if (status == SrWarnLnNegArg)
        store_one(distance, static_cast<T>(zelConstantOfNAN_64f));
    else
        store_one(distance, static_cast<T>((pair.weight1 * gconst1 + pair.weight2 * gconst2) -
                                           pair.weight() * (len * kLnTwoPi - sum)));
    return status;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsGaussianMerge_32f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                               float* mean, float* var, int32_t len, float* gconst, float weight1, float weight2)
{
    if (SrStatus failed = first_failure(positive(len), non_null(mean1, var1, mean2, var2, mean, var, gconst)))
        return failed;
    const DefaultFloatEnvironment environment;
    return merge(Pair<float>{mean1, var1, mean2, var2, weight1, weight2}, mean, var, len, gconst);
}

SrStatus zelsGaussianMerge_64f(const double* mean1, const double* var1, const double* mean2, const double* var2,
                               double* mean, double* var, int32_t len, double* gconst, double weight1,
                               double weight2)
{
    if (SrStatus failed = first_failure(positive(len), non_null(mean1, var1, mean2, var2, mean, var, gconst)))
        return failed;
    const DefaultFloatEnvironment environment;
    return merge(Pair<double>{mean1, var1, mean2, var2, weight1, weight2}, mean, var, len, gconst);
}

SrStatus zelsGaussianDist_32f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                              int32_t len, float* distance, float weight1, float gconst1, float weight2,
                              float gconst2)
{
    if (SrStatus failed = first_failure(positive(len), non_null(mean1, var1, mean2, var2, distance)))
        return failed;
    const DefaultFloatEnvironment environment;
    return measure(Pair<float>{mean1, var1, mean2, var2, weight1, weight2}, len, distance, gconst1, gconst2);
}

SrStatus zelsGaussianDist_64f(const double* mean1, const double* var1, const double* mean2, const double* var2,
                              int32_t len, double* distance, double weight1, double gconst1, double weight2,
                              double gconst2)
{
    if (SrStatus failed = first_failure(positive(len), non_null(mean1, var1, mean2, var2, distance)))
        return failed;
    const DefaultFloatEnvironment environment;
    return measure(Pair<double>{mean1, var1, mean2, var2, weight1, weight2}, len, distance, gconst1, gconst2);
}
