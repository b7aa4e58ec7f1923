// Running maximum of the scores of 16-bit frames.
#include "core/contract.h"
#include "likelihood/fixed_scores.h"
#include "zelsr/likelihood/fixed.h"

using namespace zelsr;

SrStatus zelsLogGaussMax_Scaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                          const int16_t* inv_var, int32_t width, float* best, int32_t height,
                                          float val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_scaled(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, height, constant(val), sf,
                 keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_Scaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                           const int16_t* inv_var, int32_t width, float* best, int32_t height,
                                           float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_scaled(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, height, constant(val), sf,
                 keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                      const int16_t* inv_var, int32_t width, int32_t* best, int32_t height,
                                      int32_t val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_to_integers(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, height, constant(val),
                      sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                       int32_t width, int32_t* best, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_to_integers(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, height, constant(val), sf,
                      keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVarScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                               int32_t width, float* best, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, best), positive(width, height)))
        return failed;
    score_scaled(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, height, constant(val), sf,
                 keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVarScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                                float* best, int32_t height, float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, best), positive(width, height))) return failed;
    score_scaled(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, height, constant(val), sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                            int32_t width, int32_t* best, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, best), positive(width, height)))
        return failed;
    score_to_integers(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, height, constant(val), sf,
                      keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVar_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                             int32_t* best, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, best), positive(width, height))) return failed;
    score_to_integers(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, height, constant(val), sf,
                      keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_Low_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                          const int16_t* inv_var, int32_t width, int32_t* best, int32_t height,
                                          int32_t val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_low_to_integers(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, height,
                          constant(val), sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_Low_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean,
                                           const int16_t* inv_var, int32_t width, int32_t* best, int32_t height,
                                           int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_low_to_integers(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, height, constant(val),
                          sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_LowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                             const int16_t* inv_var, int32_t width, float* best, int32_t height,
                                             float val, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_low_scaled(FixedFrames{Block{frames, step}, FixedInverse{mean, inv_var}}, width, height, constant(val),
                     sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_LowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                              const int16_t* inv_var, int32_t width, float* best, int32_t height,
                                              float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, best), positive(width, height)))
        return failed;
    score_low_scaled(FixedFrames{RowList{frames}, FixedInverse{mean, inv_var}}, width, height, constant(val), sf,
                     keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVarLow_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                               int32_t width, int32_t* best, int32_t height, int32_t val,
                                               int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, best), positive(width, height)))
        return failed;
    score_low_to_integers(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, height, constant(val), sf,
                          keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVarLow_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                                int32_t* best, int32_t height, int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, best), positive(width, height))) return failed;
    score_low_to_integers(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, height, constant(val), sf,
                          keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVarLowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                                  int32_t width, float* best, int32_t height, float val,
                                                  int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, best), positive(width, height)))
        return failed;
    score_low_scaled(FixedFrames{Block{frames, step}, FixedUnit{mean}}, width, height, constant(val), sf,
                     keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMax_IdVarLowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                                   int32_t width, float* best, int32_t height, float val,
                                                   int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, best), positive(width, height))) return failed;
    score_low_scaled(FixedFrames{RowList{frames}, FixedUnit{mean}}, width, height, constant(val), sf,
                     keep_max(best));
    return SrOk;
}
