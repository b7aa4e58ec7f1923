// Running maximum of Gaussian scores, over frames and over Gaussians.
//
// Narrow frames take the kernels of the wide ones here, unlike plain scores; from height 1000 double-precision
// forms keep the order of sums that they have below.
#include "core/contract.h"
#include "core/rows.h"
#include "likelihood/score_frames.h"
#include "likelihood/score_multimix.h"
#include "zelsr/likelihood/mixture.h"

using namespace zelsr;

SrStatus zelsLogGaussMax_32f_D2(const float* frames, int32_t step, const float* mean, const float* inv_var,
                                int32_t width, float* best, int32_t height, float val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_frames_of_any_width(Block{frames, step}, InverseVariance{mean, inv_var}, width, height, val,
                              keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_32f_D2L(const float* const* frames, const float* mean, const float* inv_var,
                                 int32_t width, float* best, int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_frames_of_any_width(RowList{frames}, InverseVariance{mean, inv_var}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_64f_D2(const double* frames, int32_t step, const double* mean, const double* inv_var,
                                int32_t width, double* best, int32_t height, double val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_frames(Block{frames, step}, InverseVariance{mean, inv_var}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_64f_D2L(const double* const* frames, const double* mean, const double* inv_var,
                                 int32_t width, double* best, int32_t height, double val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_frames_in_double(RowList{frames}, InverseVariance{mean, inv_var}, width, height,
                           DoubledConstant_64f(val), keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_32f_D2(const float* frames, int32_t step, const float* mean, int32_t width,
                                      float* best, int32_t height, float val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, best), positive(width, height)))
        return failed;
    score_frames_of_any_width(Block{frames, step}, UnitVariance{mean}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_32f_D2L(const float* const* frames, const float* mean, int32_t width, float* best,
                                       int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, best), positive(width, height))) return failed;
    score_frames_of_any_width(RowList{frames}, UnitVariance{mean}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_64f_D2(const double* frames, int32_t step, const double* mean, int32_t width,
                                      double* best, int32_t height, double val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, best), positive(width, height)))
        return failed;
    score_frames(Block{frames, step}, UnitVariance{mean}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_64f_D2L(const double* const* frames, const double* mean, int32_t width,
                                       double* best, int32_t height, double val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, best), positive(width, height))) return failed;
    score_frames_in_double(RowList{frames}, UnitVariance{mean}, width, height, DoubledConstant_64f(val),
                           keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_32f_D2(const float* mean, const float* inv_var, int32_t step,
                                        const float* feature, int32_t width, const float* val, float* best,
                                        int32_t height)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, best),
                                        positive(width, height)))
        return failed;
    score_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_32f_D2L(const float* const* mean, const float* const* inv_var,
                                         const float* feature, int32_t width, const float* val, float* best,
                                         int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height)))
        return failed;
    score_gaussians(feature, RowList{mean}, RowList{inv_var}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_64f_D2(const double* mean, const double* inv_var, int32_t step,
                                        const double* feature, int32_t width, const double* val, double* best,
                                        int32_t height)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, best),
                                        positive(width, height)))
        return failed;
    score_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, val, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_64f_D2L(const double* const* mean, const double* const* inv_var,
                                         const double* feature, int32_t width, const double* val, double* best,
                                         int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height)))
        return failed;
    score_gaussians(feature, RowList{mean}, RowList{inv_var}, width, height, val, keep_max(best));
    return SrOk;
}
