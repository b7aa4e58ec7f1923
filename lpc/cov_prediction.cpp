// Linear prediction by the covariance method.
#include <algorithm>

#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "lpc/products.h"
#include "zelsr/core/fft.h"
#include "zelsr/lpc/prediction.h"

namespace zelsr {
namespace {

SrStatus order_within(int32_t order, int32_t len) { return require(order <= len, SrErrSize); }

// A lower triangle, packed row by row; row r, from 0 on, has r + 1 elements.
constexpr int64_t triangle_size(int64_t order) { return order * (order + 1) / 2; }
float* row_of(float* triangle, int32_t r) { return triangle + triangle_size(r); }

// sums[l] = sum of x[n] x[lag + l + n] in double, in rising n below count, for l below 2 Registers.
template <int Registers>
void sum_lags(const float* x, int32_t lag, int32_t count, double* sums)
{
    const float* shifted = x + lag;
    __m128d sum[Registers] = {};
    for (std::ptrdiff_t n = 0; n < count; ++n) {
        const __m128d value = _mm_set1_pd(load_one(x + n));
        for_each_index<Registers>([&](auto r) __attribute__((always_inline)) {
            const __m128i pair = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(shifted + n + 2 * r));
            sum[r] = sum[r] + value * _mm_cvtps_pd(_mm_castsi128_ps(pair));
        });
    }
    for_each_index<Registers>([&](auto r) { Unaligned::put(sums + 2 * r, sum[r]); });
}
double sum_lag(const float* x, int32_t lag, int32_t count)
{
    double sum = 0;
    for (std::ptrdiff_t n = 0; n < count; ++n) sum += double{load_one(x + n)} * double{load_one(x + lag + n)};
    return sum;
}

// phi(i, c) = sum over n < len - i of x[n] x[n + i - c]. All rows are the same running sums, one a lag, taken up
// to another n: first over the samples that all rows have, then sample by sample, with a row and a lag less each.
void covariances(const float* x, int32_t len, int32_t order, double* sums, float* triangle)
{
    const int32_t common = len - order;
    int32_t lag = 0;
    for (; lag <= order - 8; lag += 8) sum_lags<4>(x, lag, common, sums + lag);
    for (; lag <= order - 2; lag += 2) sum_lags<1>(x, lag, common, sums + lag);
    if (lag < order) sums[lag] = sum_lag(x, lag, common);

    for (int32_t i = order; i >= 1; --i) {
        float* row = row_of(triangle, i - 1);
        for (int32_t l = 0; l < i; ++l) row[i - 1 - l] = static_cast<float>(sums[l]);
        const float* newest = x + (len - i);
        for (int32_t l = 0; l < i - 1; ++l) sums[l] += double{load_one(newest)} * double{load_one(newest + l)};
    }
}

// phi = L D L^T in place: L below the diagonal, D apart.
void factorise(float* triangle, int32_t order, float* diagonal, float* w)
{
    for (int32_t r = 0; r < order; ++r) {
        float* row = row_of(triangle, r);
        for (int32_t c = 0; c < r; ++c) {
            row[c] = (row[c] - sum_of_products(w, row_of(triangle, c), c)) / diagonal[c];
            w[c] = row[c] * diagonal[c];
        }
        diagonal[r] = row[r] - sum_of_products(w, row, r);
    }
}

// y of L y = p, in place.
void solve_forwards(float* triangle, int32_t order, float* p)
{
    for (int32_t i = 1; i < order; ++i) p[i] = p[i] - sum_of_products(row_of(triangle, i), p, i);
}

// a of L^T a = y / D.
void solve_backwards(float* triangle, int32_t order, const float* y, const float* diagonal, float* column,
                     float* a)
{
    for (int32_t i = order - 1; i >= 0; --i) {
        for (int32_t j = i + 1; j < order; ++j) column[j] = row_of(triangle, j)[i];
        store_one(a + i, y[i] / diagonal[i] - sum_of_products(column + i + 1, a + i + 1, order - 1 - i));
    }
}

// The sums in double and the triangle, then p from p[0] on, D and a row of products.
constexpr int64_t work_size(int64_t order) { return 2 * order + triangle_size(order) + 3 * order + 1; }

[[gnu::noinline]] SrStatus predict(const float* src, int32_t len, float* a, int32_t order, float* work)
{
    auto* sums = reinterpret_cast<double*>(work);
    float *triangle = work + 2 * std::int64_t{order}, *p = triangle + triangle_size(order);
    float *diagonal = p + order + 1, *w = diagonal + order;
    if (SrStatus failed = zelsAutoCorr_32f(src, len, p, order + 1)) return failed;
    covariances(src, len, order, sums, triangle);
    factorise(triangle, order, diagonal, w);
    solve_forwards(triangle, order, p + 1);
    solve_backwards(triangle, order, p + 1, diagonal, w, a);
    return SrOk;
}

SrStatus predict_with_scratch(const float* src, int32_t len, float* a, int32_t order)
{
    const Scratch<float> work(work_size(order));
    if (!work) return SrErrMemAlloc;
    return predict(src, len, a, order, work.data());
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLinearPrediction_Cov_32f(const float* src, int32_t len, float* a, int32_t order)
{
    if (SrStatus failed = first_failure(non_null(src, a), positive(len, order), order_within(order, len)))
        return failed;
    return predict_with_scratch(src, len, a, order);
}

// The result is converted after a failure, too, when it is zero: wanted.
SrStatus zelsLinearPrediction_Cov_16s_Sfs(const int16_t* src, int32_t len, int16_t* a, int32_t order, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, a), positive(len, order), order_within(order, len)))
        return failed;
    const Scratch<float> samples(len), coefficients(order);
    if (!samples || !coefficients) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    convert_16s32f(src, samples.data(), len);
    std::fill_n(coefficients.data(), order, 0.0F);
    const SrStatus status = predict_with_scratch(samples.data(), len, coefficients.data(), order);
    convert_32f16s(coefficients.data(), a, order, Rounding::Nearest, sf);
    return status;
}
