// Gaussian log densities of many frames against one Gaussian.
#include "core/contract.h"
#include "core/rows.h"
#include "likelihood/score_frames.h"
#include "zelsr/likelihood/gauss.h"

using namespace zelsr;

SrStatus zelsLogGauss_32f_D2(const float* frames, int32_t step, const float* mean, const float* inv_var,
                             int32_t width, float* score, int32_t height, float val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_frames(Block{frames, step}, InverseVariance{mean, inv_var}, width, height, val, Store{score});
    return SrOk;
}

SrStatus zelsLogGauss_32f_D2L(const float* const* frames, const float* mean, const float* inv_var, int32_t width,
                              float* score, int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_frames(RowList{frames}, InverseVariance{mean, inv_var}, width, height, val, Store{score});
    return SrOk;
}

SrStatus zelsLogGauss_64f_D2(const double* frames, int32_t step, const double* mean, const double* inv_var,
                             int32_t width, double* score, int32_t height, double val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_frames(Block{frames, step}, InverseVariance{mean, inv_var}, width, height, val, Store{score});
    return SrOk;
}

SrStatus zelsLogGauss_64f_D2L(const double* const* frames, const double* mean, const double* inv_var,
                              int32_t width, double* score, int32_t height, double val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_frames(RowList{frames}, InverseVariance{mean, inv_var}, width, height, val, Store{score});
    return SrOk;
}

SrStatus zelsLogGauss_IdVar_32f_D2(const float* frames, int32_t step, const float* mean, int32_t width,
                                   float* score, int32_t height, float val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, score), positive(width, height)))
        return failed;
    score_frames(Block{frames, step}, UnitVariance{mean}, width, height, val, Store{score});
    return SrOk;
}

SrStatus zelsLogGauss_IdVar_32f_D2L(const float* const* frames, const float* mean, int32_t width, float* score,
                                    int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, score), positive(width, height))) return failed;
    score_frames_of_any_width(RowList{frames}, UnitVariance{mean}, width, height, val, Store{score});
    return SrOk;
}

SrStatus zelsLogGauss_IdVar_64f_D2(const double* frames, int32_t step, const double* mean, int32_t width,
                                   double* score, int32_t height, double val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, score), positive(width, height)))
        return failed;
    score_frames(Block{frames, step}, UnitVariance{mean}, width, height, val, Store{score});
    return SrOk;
}

SrStatus zelsLogGauss_IdVar_64f_D2L(const double* const* frames, const double* mean, int32_t width, double* score,
                                    int32_t height, double val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, score), positive(width, height))) return failed;
    score_frames(RowList{frames}, UnitVariance{mean}, width, height, val, Store{score});
    return SrOk;
}
