// Scores of one 16-bit frame against many Gaussians, and their running maximum.
#include "core/contract.h"
#include "likelihood/fixed_scores.h"
#include "zelsr/likelihood/fixed.h"

using namespace zelsr;

SrStatus zelsLogGaussMultiMix_Scaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                               const int16_t* feature, int32_t width, float* value, int32_t height,
                                               int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_scaled(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, height,
                 constant(static_cast<const float*>(value)), sf, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_Scaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                const int16_t* feature, int32_t width, float* value,
                                                int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_scaled(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, height,
                 constant(static_cast<const float*>(value)), sf, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_16s32s_D2Sfs(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                           const int16_t* feature, int32_t width, int32_t* value, int32_t height,
                                           int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_to_integers(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, height,
                      constant(static_cast<const int32_t*>(value)), sf, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_16s32s_D2LSfs(const int16_t* const* mean, const int16_t* const* inv_var,
                                            const int16_t* feature, int32_t width, int32_t* value, int32_t height,
                                            int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_to_integers(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, height,
                      constant(static_cast<const int32_t*>(value)), sf, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_Low_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                            const int16_t* feature, int32_t width, float* value, int32_t height)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_low_scaled(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, height,
                     constant(static_cast<const float*>(value)), 0, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_Low_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                             const int16_t* feature, int32_t width, float* value, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_low_scaled(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, height,
                     constant(static_cast<const float*>(value)), 0, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_Low_16s32s_D2Sfs(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                               const int16_t* feature, int32_t width, int32_t* value,
                                               int32_t height, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_low_to_integers(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, height,
                          constant(static_cast<const int32_t*>(value)), sf, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_Low_16s32s_D2LSfs(const int16_t* const* mean, const int16_t* const* inv_var,
                                                const int16_t* feature, int32_t width, int32_t* value,
                                                int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_low_to_integers(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, height,
                          constant(static_cast<const int32_t*>(value)), sf, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_LowScaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                  const int16_t* feature, int32_t width, float* value,
                                                  int32_t height, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_low_scaled(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, height,
                     constant(static_cast<const float*>(value)), sf, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMultiMix_LowScaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                   const int16_t* feature, int32_t width, float* value,
                                                   int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, value), positive(width, height)))
        return failed;
    score_low_scaled(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, height,
                     constant(static_cast<const float*>(value)), sf, store(value));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_Scaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                  const int16_t* feature, int32_t width, const float* val,
                                                  float* best, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height),
                                        stride(width, step)))
        return failed;
    score_scaled(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, height, constant(val),
                 sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_Scaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                   const int16_t* feature, int32_t width, const float* val,
                                                   float* best, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height)))
        return failed;
    score_scaled(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, height, constant(val), sf,
                 keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_16s32s_D2Sfs(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                              const int16_t* feature, int32_t width, const int32_t* val,
                                              int32_t* best, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, best),
                                        positive(width, height)))
        return failed;
    score_to_integers(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, height,
                      constant(val), sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_16s32s_D2LSfs(const int16_t* const* mean, const int16_t* const* inv_var,
                                               const int16_t* feature, int32_t width, const int32_t* val,
                                               int32_t* best, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height)))
        return failed;
    score_to_integers(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, height, constant(val), sf,
                      keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_Low_16s32s_D2Sfs(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                  const int16_t* feature, int32_t width, const int32_t* val,
                                                  int32_t* best, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, val, best),
                                        positive(width, height)))
        return failed;
    score_low_to_integers(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, height,
                          constant(val), sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_Low_16s32s_D2LSfs(const int16_t* const* mean, const int16_t* const* inv_var,
                                                   const int16_t* feature, int32_t width, const int32_t* val,
                                                   int32_t* best, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height)))
        return failed;
    score_low_to_integers(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, height, constant(val),
                          sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                     const int16_t* feature, int32_t width, const float* val,
                                                     float* best, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height),
                                        stride(width, step)))
        return failed;
    score_low_scaled(FixedGaussians{feature, Block{mean, step}, Block{inv_var, step}}, width, height,
                     constant(val), sf, keep_max(best));
    return SrOk;
}

SrStatus zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                      const int16_t* feature, int32_t width, const float* val,
                                                      float* best, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, val, best), positive(width, height)))
        return failed;
    score_low_scaled(FixedGaussians{feature, RowList{mean}, RowList{inv_var}}, width, height, constant(val), sf,
                     keep_max(best));
    return SrOk;
}
