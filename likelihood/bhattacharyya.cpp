// Bhattacharyya distances.
#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "core/constants.h"
#include "core/contract.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "likelihood/four_doubles.h"
#include "likelihood/score_single.h"
#include "zelsr/core/vector.h"
#include "zelsr/likelihood/distance.h"

namespace zelsr {
namespace {

struct TwoGaussians {
    const float *mean1, *var1, *mean2, *var2;

    TwoGaussians from(std::ptrdiff_t k) const { return {mean1 + k, var1 + k, mean2 + k, var2 + k}; }
};

// What of the variances goes under the logarithm.

// (v1 + v2)^2 / (v1 v2) = 2 + r + 1 / r with r = v2 / v1, by estimates of both reciprocals, without refinement.
struct EstimatedRatio {
    __m128 operator()(__m128 v1, __m128 v2) const
    {
        const __m128 r = _mm_rcp_ps(v1) * v2;
        return (_mm_set1_ps(2.0F) + r) + _mm_rcp_ps(r);
    }
};
struct Ratio {
    template <class Lanes>
    Lanes operator()(Lanes v1, Lanes v2) const
    {
        const Lanes sum = v1 + v2;
        return sum * sum / (v1 * v2);
    }
};
struct VarianceSum {
    template <class Lanes>
    Lanes operator()(Lanes v1, Lanes v2) const
    {
        return v1 + v2;
    }
};

// Element k's (m1 - m2)^2 / (v1 + v2), and its factor.
template <class Load, class Factor, class TakeFactor>
[[gnu::always_inline]] inline auto term_at(const TwoGaussians& g, std::ptrdiff_t k, Load load, Factor factor,
                                           TakeFactor take)
{
    const auto v1 = load.lanes(g.var1 + k), v2 = load.lanes(g.var2 + k);
    const auto d = load.lanes(g.mean1 + k) - load.lanes(g.mean2 + k);
    take(factor(v1, v2));
    return d * d / (v1 + v2);
}

// Sums of terms; the factors whose logarithms are to be summed go to an array.

// Single precision: a factor for each element.
template <class Factor>
float sum_terms(const TwoGaussians& g, int32_t len, float* factors, Factor factor)
{
    __m128 sum = _mm_setzero_ps();
    int32_t k = 0;
    for (const int32_t whole = len & -4; k < whole; k += 4)
        sum = sum + term_at(g, k, Unaligned{}, factor, [&](__m128 lanes) { Unaligned::put(factors + k, lanes); });
    float joined = join_pairs(sum);
    for (; k < len; ++k)
        joined = joined + _mm_cvtss_f32(term_at(g, k, EveryLane{}, factor, [&](__m128 lanes) {
                     store_one(factors + k, _mm_cvtss_f32(lanes));
                 }));
    return joined;
}

// Double precision: the product of four elements' factors; those of elements behind the last four join the last
// product, which is 1 where there was none.
template <class Factor>
double sum_terms(const TwoGaussians& g, int32_t len, double* products, Factor factor)
{
    products[0] = 1.0;
    double* const last = products + std::max(len / 4 - 1, 0);
    FourDoubles sum{};
    int32_t k = 0;
    for (const int32_t whole = len & -4; k < whole; k += 4)
        sum = sum + term_at(g, k, FourWidened{}, factor, [&](const FourDoubles& lanes) {
                  const __m128d pairs = lanes.low * lanes.high;
                  products[k / 4] = _mm_cvtsd_f64(_mm_mul_sd(pairs, _mm_unpackhi_pd(pairs, pairs)));
              });
    double joined = join_pairs(sum);
    for (; k < len; ++k)
        joined = joined + term_at(g, k, WidenedOne{}, factor, [&](double one) { *last = *last * one; });
    return joined;
}

int32_t factors_of(int32_t len, float) { return len; }
int32_t factors_of(int32_t len, double) { return std::max(len / 4, 1); }
void sum_ln(const float* src, int32_t len, float* result) { zelsSumLn_32f(src, len, result); }
void sum_ln(const double* src, int32_t len, double* result) { zelsSumLn_64f(src, len, result); }

template <class T>
struct Sums {
    T terms = 0;
    T logarithms = 0;
};

// Work memory that is refused has no status: wanted. The work then goes on by blocks of what the stack holds.
template <class T, class Factor>
Sums<T> sums_of(const TwoGaussians& g, int32_t len, Factor factor)
{
    constexpr int32_t kBlock = 512;
    const Scratch<T> scratch(std::is_same_v<T, float> ? len : len / 4 + 1);
    T fixed[std::is_same_v<T, float> ? kBlock : kBlock / 4];
    T* const factors = scratch ? scratch.data() : fixed;
    const int32_t block = scratch ? len : kBlock;
    Sums<T> sums;
    for (std::ptrdiff_t k = 0; k < len; k += block) {
        const auto count = static_cast<int32_t>(std::min<std::ptrdiff_t>(block, len - k));
        sums.terms += sum_terms(g.from(k), count, factors, factor);
        T logarithms;
        sum_ln(factors, factors_of(count, T{}), &logarithms);
        sums.logarithms += logarithms;
    }
    return sums;
}

// The lanes of four positions that are not above zero, all arrays together.
template <class Load>
SrStatus status_at(const TwoGaussians& g, std::ptrdiff_t k, Load load)
{
    const __m128 zero = _mm_setzero_ps();
    const __m128 values[4] = {load.lanes(g.mean1 + k), load.lanes(g.var1 + k), load.lanes(g.mean2 + k),
                              load.lanes(g.var2 + k)};
    const auto any = [&values](auto holds) {
        return _mm_movemask_ps(_mm_or_ps(_mm_or_ps(holds(values[0]), holds(values[1])),
                                         _mm_or_ps(holds(values[2]), holds(values[3])))) != 0;
    };
    if (!any([zero](__m128 x) { return _mm_cmple_ps(x, zero); })) [[likely]]
        return SrOk;
    return any([zero](__m128 x) { return _mm_cmplt_ps(x, zero); }) ? SrWarnLnNegArg : SrWarnLnZeroArg;
}

// Means are tested like variances, and only the first four positions that do not pass are looked at: wanted.
SrStatus status_of(const TwoGaussians& g, int32_t len)
{
    SrStatus status = SrOk;
    int32_t k = 0;
    for (const int32_t whole = len & -4; k < whole && status == SrOk; k += 4)
        status = status_at(g, k, Unaligned{});
    for (; k < len && status == SrOk; ++k) status = status_at(g, k, EveryLane{});
    return status;
}

// The result that a warning stands for.
void store_special(SrStatus warning, float* result)
{
    store_one(result, warning == SrWarnLnNegArg ? zelConstantOfNAN_32f : zelConstantOfINF_32f);
}
void store_special(SrStatus warning, double* result)
{
    store_one(result, warning == SrWarnLnNegArg ? zelConstantOfNAN_64f : zelConstantOfINF_64f);
}

template <class T, class Factor>
SrStatus distance_by_ratios(const TwoGaussians& g, int32_t len, T* result, Factor factor)
{
    if (const SrStatus warning = status_of(g, len); warning != SrOk) {
        store_special(warning, result);
        return warning;
    }
    constexpr double kLn4 = 1.386294;  // six decimals: wanted
    const Sums<T> sums = sums_of<T>(g, len, factor);
    const double logarithms = double{sums.logarithms} * 0.5 - len * kLn4 * 0.5;
    store_one(result, static_cast<T>(logarithms * 0.5 + double{sums.terms} * 0.25));
    return SrOk;
}

template <class T>
SrStatus distance_by_given_logarithms(const TwoGaussians& g, int32_t len, T* result, float sum_ln_var1,
                                      float sum_ln_var2)
{
    if (const SrStatus warning = status_of(g, len); warning != SrOk) {
        store_special(warning, result);
        return warning;
    }
    constexpr double kLn2 = 0.693147;  // six decimals: wanted
    const Sums<T> sums = sums_of<T>(g, len, VarianceSum{});
    const double logarithms = (double{sums.logarithms} - len * kLn2) * 0.5;
    const double given = (double{sum_ln_var1} + double{sum_ln_var2}) * 0.25;
    store_one(result, static_cast<T>(logarithms - given + double{sums.terms} * 0.25));
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsBhatDist_32f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                          int32_t len, float* result)
{
    if (SrStatus failed = first_failure(non_null(mean1, var1, mean2, var2, result), positive(len))) return failed;
    return distance_by_ratios({mean1, var1, mean2, var2}, len, result, EstimatedRatio{});
}

SrStatus zelsBhatDist_32f64f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                             int32_t len, double* result)
{
    if (SrStatus failed = first_failure(non_null(mean1, var1, mean2, var2, result), positive(len))) return failed;
    return distance_by_ratios({mean1, var1, mean2, var2}, len, result, Ratio{});
}

SrStatus zelsBhatDistSLog_32f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                              int32_t len, float* result, float sum_ln_var1, float sum_ln_var2)
{
    if (SrStatus failed = first_failure(non_null(mean1, var1, mean2, var2, result), positive(len))) return failed;
    return distance_by_given_logarithms({mean1, var1, mean2, var2}, len, result, sum_ln_var1, sum_ln_var2);
}

SrStatus zelsBhatDistSLog_32f64f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                                 int32_t len, double* result, float sum_ln_var1, float sum_ln_var2)
{
    if (SrStatus failed = first_failure(non_null(mean1, var1, mean2, var2, result), positive(len))) return failed;
    return distance_by_given_logarithms({mean1, var1, mean2, var2}, len, result, sum_ln_var1, sum_ln_var2);
}
