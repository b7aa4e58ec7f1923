// Gaussian log densities of one frame against many Gaussians.
#include "core/contract.h"
#include "core/rows.h"
#include "likelihood/score_multimix.h"
#include "zelsr/likelihood/gauss.h"

using namespace zelsr;

SrStatus zelsLogGaussMultiMix_32f_D2(const float* mean, const float* inv_var, int32_t step, const float* feature,
                                     int32_t width, float* value, int32_t height)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, value, Store{value});
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_32f_D2L(const float* const* mean, const float* const* inv_var, const float* feature,
                                      int32_t width, float* value, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_gaussians(feature, RowList{mean}, RowList{inv_var}, width, height, value, Store{value});
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_64f_D2(const double* mean, const double* inv_var, int32_t step,
                                     const double* feature, int32_t width, double* value, int32_t height)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, value, Store{value});
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_64f_D2L(const double* const* mean, const double* const* inv_var,
                                      const double* feature, int32_t width, double* value, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_gaussians(feature, RowList{mean}, RowList{inv_var}, width, height, value, Store{value});
    return SrOk;
}
