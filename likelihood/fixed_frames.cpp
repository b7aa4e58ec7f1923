// Scores of many 16-bit frames against one Gaussian.
#include "core/contract.h"
#include "likelihood/fixed_scores.h"
#include "zelsr/likelihood/fixed.h"

using namespace zelsr;

SrStatus zelsLogGauss_Scaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                       const int16_t* inv_var, int32_t width, float* score, int32_t height,
                                       float val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_scaled(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, height, constant(val), sf,
                 store(score));
    return SrOk;
}

SrStatus zelsLogGauss_Scaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                        int32_t width, float* score, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_scaled(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, height, constant(val), sf,
                 store(score));
    return SrOk;
}

SrStatus zelsLogGauss_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                   const int16_t* inv_var, int32_t width, int32_t* score, int32_t height,
                                   int32_t val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_to_integers(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, height, constant(val),
                      sf, store(score));
    return SrOk;
}

SrStatus zelsLogGauss_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                    int32_t width, int32_t* score, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_to_integers(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, height, constant(val), sf,
                      store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVarScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                            int32_t width, float* score, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, score), positive(width, height)))
        return failed;
    score_scaled(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, height, constant(val), sf,
                 store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVarScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                             float* score, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, score), positive(width, height))) return failed;
    score_scaled(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, height, constant(val), sf, store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVar_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean, int32_t width,
                                         int32_t* score, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, score), positive(width, height)))
        return failed;
    score_to_integers(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, height, constant(val), sf,
                      store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVar_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                          int32_t* score, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, score), positive(width, height))) return failed;
    score_to_integers(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, height, constant(val), sf,
                      store(score));
    return SrOk;
}

SrStatus zelsLogGauss_Low_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                    const int16_t* inv_var, int32_t width, float* score, int32_t height, float val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_low_scaled(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, height, constant(val),
                     0, store(score));
    return SrOk;
}

SrStatus zelsLogGauss_Low_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                     int32_t width, float* score, int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_low_scaled(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, height, constant(val), 0,
                     store(score));
    return SrOk;
}

SrStatus zelsLogGauss_Low_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                       const int16_t* inv_var, int32_t width, int32_t* score, int32_t height,
                                       int32_t val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_low_to_integers(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, height,
                          constant(val), sf, store(score));
    return SrOk;
}

SrStatus zelsLogGauss_Low_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                        int32_t width, int32_t* score, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_low_to_integers(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, height, constant(val),
                          sf, store(score));
    return SrOk;
}

SrStatus zelsLogGauss_LowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                          const int16_t* inv_var, int32_t width, float* score, int32_t height,
                                          float val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_low_scaled(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, height, constant(val),
                     sf, store(score));
    return SrOk;
}

SrStatus zelsLogGauss_LowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                           const int16_t* inv_var, int32_t width, float* score, int32_t height,
                                           float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, score), positive(width, height)))
        return failed;
    score_low_scaled(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, height, constant(val), sf,
                     store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVarLow_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean, int32_t width,
                                         float* score, int32_t height, float val)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, score), positive(width, height)))
        return failed;
    score_low_scaled(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, height, constant(val), 0,
                     store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVarLow_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                          float* score, int32_t height, float val)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, score), positive(width, height))) return failed;
    score_low_scaled(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, height, constant(val), 0, store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVarLow_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                            int32_t width, int32_t* score, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, score), positive(width, height)))
        return failed;
    score_low_to_integers(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, height, constant(val), sf,
                          store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVarLow_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                             int32_t* score, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, score), positive(width, height))) return failed;
    score_low_to_integers(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, height, constant(val), sf,
                          store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVarLowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                               int32_t width, float* score, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, score), positive(width, height)))
        return failed;
    score_low_scaled(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, height, constant(val), sf,
                     store(score));
    return SrOk;
}

SrStatus zelsLogGauss_IdVarLowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                                float* score, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, score), positive(width, height))) return failed;
    score_low_scaled(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, height, constant(val), sf,
                     store(score));
    return SrOk;
}
