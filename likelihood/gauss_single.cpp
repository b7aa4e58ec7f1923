// Gaussian log density of one vector.
#include "core/contract.h"
#include "core/scratch.h"
#include "likelihood/score_single.h"
#include "zelsr/core/vector.h"
#include "zelsr/likelihood/gauss.h"

namespace zelsr {
namespace {

struct DirectVariance {  // (x - m)^2 / v
    const double* mean;
    const double* var;

    template <class Load>
    auto at(int32_t k, Load load) const
    {
        return [m = load.lanes(mean + k), v = load.lanes(var + k)](auto x) {
            const auto d = x - m;
            return d * d / v;
        };
    }
};

double score_direct(const double* feature, const double* mean, const double* var, int32_t len, double val)
{
    const DirectVariance term{mean, var};
    return all_aligned(feature, mean, var) ? score_one_even_odd<Aligned>(feature, term, len, val)
                                           : score_one_even_odd<Unaligned>(feature, term, len, val);
}

// The reciprocals of the variances come first, so that the score is that of zelsLogGaussSingle_32f. A zero
// variance is wanted to be scored all the same.
SrStatus score_by_reciprocals(const float* feature, const float* mean, const float* var, int32_t len,
                              float* result, float val)
{
    constexpr int32_t kSlack = 32;
    const Scratch<float> reciprocal(int64_t{len} + kSlack);
    if (!reciprocal) return SrErrMemAlloc;
    zelsSet_32f(1.0F, reciprocal.data(), len);
    const SrStatus status = zelsDiv_32f(var, reciprocal.data(), reciprocal.data(), len);
    store_one(result, score_one(feature, InverseVariance{mean, reciprocal.data()}, len, val));
    return status;
}

// One element after the other; unlike the single-precision form, a zero variance ends the work and leaves the
// result unwritten, which is wanted.
SrStatus score_by_divisions(const float* feature, const float* mean, const float* var, int32_t len, double* result,
                            double val)
{
    double sum = 0;
    for (int32_t k = 0; k < len; ++k) {
        const double v = widened(var + k);
        if (v == 0) return SrWarnDivByZero;
        const double d = widened(feature + k) - widened(mean + k);
        sum = sum + d * d / v;
    }
    store_one(result, val - 0.5 * sum);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLogGaussSingle_32f(const float* feature, const float* mean, const float* inv_var, int32_t len,
                                float* result, float val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    store_one(result, score_one(feature, InverseVariance{mean, inv_var}, len, val));
    return SrOk;
}

SrStatus zelsLogGaussSingle_64f(const double* feature, const double* mean, const double* inv_var, int32_t len,
                                double* result, double val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    store_one(result, score_one_in_double(feature, InverseVariance{mean, inv_var}, len, val));
    return SrOk;
}

SrStatus zelsLogGaussSingle_32f64f(const float* feature, const float* mean, const float* inv_var, int32_t len,
                                   double* result, double val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    store_one(result, score_one_in_double(feature, InverseVariance{mean, inv_var}, len, val));
    return SrOk;
}

SrStatus zelsLogGaussSingle_IdVar_32f(const float* feature, const float* mean, int32_t len, float* result,
                                      float val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, result), positive(len))) return failed;
    store_one(result, score_one(feature, UnitVariance{mean}, len, val));
    return SrOk;
}

SrStatus zelsLogGaussSingle_IdVar_64f(const double* feature, const double* mean, int32_t len, double* result,
                                      double val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, result), positive(len))) return failed;
    store_one(result, score_one(feature, UnitVariance{mean}, len, val));
    return SrOk;
}

SrStatus zelsLogGaussSingle_IdVar_32f64f(const float* feature, const float* mean, int32_t len, double* result,
                                         double val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, result), positive(len))) return failed;
    store_one(result, score_one_in_double(feature, UnitVariance{mean}, len, val));
    return SrOk;
}

SrStatus zelsLogGaussSingle_DirectVar_32f(const float* feature, const float* mean, const float* var, int32_t len,
                                          float* result, float val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, var, result), positive(len))) return failed;
    return score_by_reciprocals(feature, mean, var, len, result, val);
}

SrStatus zelsLogGaussSingle_DirectVar_64f(const double* feature, const double* mean, const double* var,
                                          int32_t len, double* result, double val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, var, result), positive(len))) return failed;
    store_one(result, score_direct(feature, mean, var, len, val));
    return SrOk;
}

SrStatus zelsLogGaussSingle_DirectVar_32f64f(const float* feature, const float* mean, const float* var,
                                             int32_t len, double* result, double val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, var, result), positive(len))) return failed;
    return score_by_divisions(feature, mean, var, len, result, val);
}
