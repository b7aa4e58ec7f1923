// Log likelihood of one frame under a whole mixture.
#include <algorithm>

#include "core/contract.h"
#include "core/rows.h"
#include "likelihood/log_add_plain.h"
#include "likelihood/mixture_sum.h"
#include "likelihood/score_multimix.h"
#include "likelihood/score_single.h"
#include "zelsr/likelihood/mixture.h"

namespace zelsr {
namespace {

// The scores of components first to first + count - 1.

template <class T, class Rows>
auto scores(const T* feature, Rows mean, Rows inv_var, int32_t width, const T* val)
{
    return [=](int32_t first, int32_t count, T* to) {
        score_gaussians(feature, mean.from(first), inv_var.from(first), width, count, val + first, Store{to});
    };
}

template <class T, class Rows>
auto unit_variance_scores(const T* feature, Rows mean, int32_t width, const T* val)
{
    return [=](int32_t first, int32_t count, T* to) {
        for (int32_t j = 0; j < count; ++j)
            to[j] = score_one(feature, UnitVariance{mean[first + j]}, width, load_one(val + first + j));
    };
}

// Unlike its brothers this one joins the components one after the other, in double; a score's terms are subtracted
// from the doubled constant in the order of the elements.
float fold_one_by_one(const float* feature, Block<float> mean, int32_t width, int32_t height, const float* val)
{
    float sum = 0;
    for (int32_t j = 0; j < height; ++j) {
        const float* m = mean[j];
        float score = 2 * load_one(val + j);
        for (int32_t k = 0; k < width; ++k) {
            const float d = load_one(feature + k) - load_one(m + k);
            score = score - d * d;
        }
        score = score * 0.5F;
        sum = j == 0 ? score
                     : static_cast<float>(
                           add_logs_plain<SingleLogDomain>(static_cast<double>(sum), static_cast<double>(score)));
    }
    return sum;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLogGaussMixture_32f_D2(const float* feature, const float* mean, const float* inv_var, int32_t height,
                                    int32_t step, int32_t width, const float* val, float* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, val, result), stride(width, step),
                                        positive(width, height)))
        return failed;
    store_one(result,
              sum_components<float>(scores(feature, Block{mean, step}, Block{inv_var, step}, width, val), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_32f_D2L(const float* feature, const float* const* mean, const float* const* inv_var,
                                     int32_t height, int32_t width, const float* val, float* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, val, result), positive(width, height)))
        return failed;
    store_one(result, sum_components<float>(scores(feature, RowList{mean}, RowList{inv_var}, width, val), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_64f_D2(const double* feature, const double* mean, const double* inv_var,
                                    int32_t height, int32_t step, int32_t width, const double* val, double* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, val, result), stride(width, step),
                                        positive(width, height)))
        return failed;
    store_one(result, sum_components<double>(scores(feature, Block{mean, step}, Block{inv_var, step}, width, val),
                                             height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_64f_D2L(const double* feature, const double* const* mean,
                                     const double* const* inv_var, int32_t height, int32_t width,
                                     const double* val, double* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, val, result), positive(width, height)))
        return failed;
    store_one(result,
              sum_components<double>(scores(feature, RowList{mean}, RowList{inv_var}, width, val), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_IdVar_32f_D2(const float* feature, const float* mean, int32_t height, int32_t step,
                                          int32_t width, const float* val, float* result)
{
    if (SrStatus failed =
            first_failure(non_null(feature, mean, val, result), stride(width, step), positive(width, height)))
        return failed;
    store_one(result, fold_one_by_one(feature, Block{mean, step}, width, height, val));
    return SrOk;
}

SrStatus zelsLogGaussMixture_IdVar_32f_D2L(const float* feature, const float* const* mean, int32_t height,
                                           int32_t width, const float* val, float* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, val, result), positive(width, height)))
        return failed;
    store_one(result, sum_components<float>(unit_variance_scores(feature, RowList{mean}, width, val), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_IdVar_64f_D2(const double* feature, const double* mean, int32_t height, int32_t step,
                                          int32_t width, const double* val, double* result)
{
    if (SrStatus failed =
            first_failure(non_null(feature, mean, val, result), stride(width, step), positive(width, height)))
        return failed;
    store_one(result,
              sum_components<double>(unit_variance_scores(feature, Block{mean, step}, width, val), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_IdVar_64f_D2L(const double* feature, const double* const* mean, int32_t height,
                                           int32_t width, const double* val, double* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, val, result), positive(width, height)))
        return failed;
    store_one(result, sum_components<double>(unit_variance_scores(feature, RowList{mean}, width, val), height));
    return SrOk;
}
