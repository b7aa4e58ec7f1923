// Log likelihood of one 16-bit frame under a whole mixture.
#include "core/contract.h"
#include "likelihood/fixed_blocks.h"
#include "likelihood/fixed_score_single.h"
#include "likelihood/mixture_sum.h"
#include "zelsr/likelihood/fixed.h"

namespace zelsr {
namespace {

// Unit variances are scored one component after the other, in the arithmetic of one vector.

template <class Rows>
auto one_scaled_scores(const int16_t* feature, Rows mean, int32_t width, const float* val, int32_t sf)
{
    return [=](int32_t first, int32_t count, float* to) {
        for (int32_t j = 0; j < count; ++j)
            to[j] = score_one_scaled(feature, FixedUnit{mean[first + j]}, width, load_one(val + first + j), sf);
    };
}

template <class Rows>
auto one_low_scores(const int16_t* feature, Rows mean, int32_t width, const float* val, int32_t sf)
{
    return [=](int32_t first, int32_t count, float* to) {
        for (int32_t j = 0; j < count; ++j)
            to[j] =
                score_one_low_scaled(feature, FixedUnit{mean[first + j]}, width, load_one(val + first + j), sf);
    };
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLogGaussMixture_Scaled_16s32f_D2(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                              int32_t height, int32_t step, int32_t width, const float* val,
                                              float* result, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(feature, mean, inv_var, val, result),
                                        positive(width, height)))
        return failed;
    store_one(result,
              sum_components<float>(
                  scaled_scores(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, val, sf),
                  height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_Scaled_16s32f_D2L(const int16_t* feature, const int16_t* const* mean,
                                               const int16_t* const* inv_var, int32_t height, int32_t width,
                                               const float* val, float* result, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, val, result), positive(width, height)))
        return failed;
    store_one(result, sum_components<float>(
                          scaled_scores(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, val, sf),
                          height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_IdVarScaled_16s32f_D2(const int16_t* feature, const int16_t* mean, int32_t height,
                                                   int32_t step, int32_t width, const float* val, float* result,
                                                   int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(feature, mean, val, result), positive(width, height)))
        return failed;
    store_one(result,
              sum_components<float>(one_scaled_scores(feature, Block{mean, step}, width, val, sf), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_IdVarScaled_16s32f_D2L(const int16_t* feature, const int16_t* const* mean,
                                                    int32_t height, int32_t width, const float* val, float* result,
                                                    int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, val, result), positive(width, height)))
        return failed;
    store_one(result, sum_components<float>(one_scaled_scores(feature, RowList{mean}, width, val, sf), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_LowScaled_16s32f_D2(const int16_t* feature, const int16_t* mean,
                                                 const int16_t* inv_var, int32_t height, int32_t step,
                                                 int32_t width, const float* val, float* result, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(feature, mean, inv_var, val, result),
                                        positive(width, height)))
        return failed;
    store_one(
        result,
        sum_components<float>(
            low_scores(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, val, sf), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_LowScaled_16s32f_D2L(const int16_t* feature, const int16_t* const* mean,
                                                  const int16_t* const* inv_var, int32_t height, int32_t width,
                                                  const float* val, float* result, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, val, result), positive(width, height)))
        return failed;
    store_one(result,
              sum_components<float>(
                  low_scores(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, val, sf), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_IdVarLowScaled_16s32f_D2(const int16_t* feature, const int16_t* mean, int32_t height,
                                                      int32_t step, int32_t width, const float* val, float* result,
                                                      int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(feature, mean, val, result), positive(width, height)))
        return failed;
    store_one(result, sum_components<float>(one_low_scores(feature, Block{mean, step}, width, val, sf), height));
    return SrOk;
}

SrStatus zelsLogGaussMixture_IdVarLowScaled_16s32f_D2L(const int16_t* feature, const int16_t* const* mean,
                                                       int32_t height, int32_t width, const float* val,
                                                       float* result, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, val, result), positive(width, height)))
        return failed;
    store_one(result, sum_components<float>(one_low_scores(feature, RowList{mean}, width, val, sf), height));
    return SrOk;
}
