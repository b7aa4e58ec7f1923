/* Gaussian scores on 16-bit features, means and variances. */
#ifndef ZELSR_LIKELIHOOD_FIXED_H
#define ZELSR_LIKELIHOOD_FIXED_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup fixed Fixed-point Gaussian scores
 *
 * score = val - 2^(-sf) / 2 * sum over k of (x[k] - m[k])^2 * p[k]
 *
 * on 16-bit integers x, m and p (reciprocal variances; none in IdVar forms; variances in DirectVar forms). The
 * library knows only the integers: sf must absorb the formats of all three. It acts on the sum, val is added
 * unscaled. Families and argument orders are those of @ref gauss and @ref mixture, with sf as the last argument.
 *
 * Two arithmetics:
 * - plain: the square of a difference is exact; products, sum and scaling run in single precision. Differences
 *   saturate to 16 bits in whole groups of eight elements and are exact behind them.
 *   Scaled forms (16s32f): val - S * 2^-(sf+1) in single precision. Sfs forms (16s32s): 2^|sf+1| is an integer
 *   shift of 1, counted modulo 32, by which S is divided (sf + 1 above 0) or multiplied; the result is rounded to
 *   nearest and limited for one vector, truncated toward zero and not limited for frames and Gaussians
 *   (-2147483648 where it does not fit).
 * - Low: for sf at or above 0 a 32-bit integer sum with the scale folded into shifts that round down; it wraps
 *   without any status, so the caller chooses a format whose sums fit. For sf below 0 the plain sum is multiplied
 *   by 2^(-sf-1), formed by the shift of the Sfs forms; an integer result is truncated. Low_16s32f forms have no
 *   sf: it is 0. IdVarLowScaled forms sum pairs of squares in single precision and divide or multiply by the shift
 *   of the Sfs forms; IdVarLow Sfs forms stay in integers at every sf.
 *
 * 32s running maxima are compared in single precision, so that an entry above 2^24 loses low bits even if it
 * stays.
 *
 * Checks, in this order: width above step ::SrErrStride (D2 forms only), any null pointer ::SrErrNullPtr, width
 * (len) or height below 1 ::SrErrSize. zelsLogGaussMaxMultiMix_Scaled_16s32f_D2() and
 * zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2() test null, size, stride.
 *
 * Steps count elements. Arrays on 16-byte boundaries with a step that is a multiple of 8 run fastest.
 *
 * Thread rules: no state.
 * @{ */

/** @name One vector, one Gaussian
 * *result receives the score. DirectVar forms take their scratch from the allocator (::SrErrMemAlloc if refused);
 * a zero variance gives ::SrWarnDivByZero, and the result is written all the same. DirectVar Sfs: val minus the
 * sum over 2^(sf+1), rounded to nearest, saturated.
 * @{ */
/** Reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussSingle_Scaled_16s32f(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                          int32_t len, float* result, float val, int32_t sf);
/** Reciprocal variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussSingle_16s32s_Sfs(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                       int32_t len, int32_t* result, int32_t val, int32_t sf);
/** Unit variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussSingle_IdVarScaled_16s32f(const int16_t* feature, const int16_t* mean, int32_t len,
                                               float* result, float val, int32_t sf);
/** Unit variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussSingle_IdVar_16s32s_Sfs(const int16_t* feature, const int16_t* mean, int32_t len,
                                             int32_t* result, int32_t val, int32_t sf);
/** Variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussSingle_DirectVarScaled_16s32f(const int16_t* feature, const int16_t* mean, const int16_t* var,
                                                   int32_t len, float* result, float val, int32_t sf);
/** Variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussSingle_DirectVar_16s32s_Sfs(const int16_t* feature, const int16_t* mean, const int16_t* var,
                                                 int32_t len, int32_t* result, int32_t val, int32_t sf);
/** Reciprocal variances, low arithmetic, integer result. */
SrStatus zelsLogGaussSingle_Low_16s32s_Sfs(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                           int32_t len, int32_t* result, int32_t val, int32_t sf);
/** Reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussSingle_LowScaled_16s32f(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                             int32_t len, float* result, float val, int32_t sf);
/** Unit variances, low arithmetic, integer result. */
SrStatus zelsLogGaussSingle_IdVarLow_16s32s_Sfs(const int16_t* feature, const int16_t* mean, int32_t len,
                                                int32_t* result, int32_t val, int32_t sf);
/** Unit variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussSingle_IdVarLowScaled_16s32f(const int16_t* feature, const int16_t* mean, int32_t len,
                                                  float* result, float val, int32_t sf);
/** @} */

/** @name Many frames, one Gaussian
 * score[r] receives the score of frame r.
 * @{ */
/** Block of frames, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGauss_Scaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                       const int16_t* inv_var, int32_t width, float* score, int32_t height,
                                       float val, int32_t sf);
/** List of frames, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGauss_Scaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                        int32_t width, float* score, int32_t height, float val, int32_t sf);
/** Block of frames, reciprocal variances, plain arithmetic, integer result. */
SrStatus zelsLogGauss_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                   const int16_t* inv_var, int32_t width, int32_t* score, int32_t height,
                                   int32_t val, int32_t sf);
/** List of frames, reciprocal variances, plain arithmetic, integer result. */
SrStatus zelsLogGauss_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                    int32_t width, int32_t* score, int32_t height, int32_t val, int32_t sf);
/** Block of frames, unit variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGauss_IdVarScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                            int32_t width, float* score, int32_t height, float val, int32_t sf);
/** List of frames, unit variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGauss_IdVarScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                             float* score, int32_t height, float val, int32_t sf);
/** Block of frames, unit variances, plain arithmetic, integer result. */
SrStatus zelsLogGauss_IdVar_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean, int32_t width,
                                         int32_t* score, int32_t height, int32_t val, int32_t sf);
/** List of frames, unit variances, plain arithmetic, integer result. */
SrStatus zelsLogGauss_IdVar_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                          int32_t* score, int32_t height, int32_t val, int32_t sf);
/** Block of frames, reciprocal variances, low arithmetic, single-precision result with sf 0. */
SrStatus zelsLogGauss_Low_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                    const int16_t* inv_var, int32_t width, float* score, int32_t height,
                                    float val);
/** List of frames, reciprocal variances, low arithmetic, single-precision result with sf 0. */
SrStatus zelsLogGauss_Low_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                     int32_t width, float* score, int32_t height, float val);
/** Block of frames, reciprocal variances, low arithmetic, integer result. */
SrStatus zelsLogGauss_Low_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                       const int16_t* inv_var, int32_t width, int32_t* score, int32_t height,
                                       int32_t val, int32_t sf);
/** List of frames, reciprocal variances, low arithmetic, integer result. */
SrStatus zelsLogGauss_Low_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                        int32_t width, int32_t* score, int32_t height, int32_t val, int32_t sf);
/** Block of frames, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGauss_LowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                          const int16_t* inv_var, int32_t width, float* score, int32_t height,
                                          float val, int32_t sf);
/** List of frames, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGauss_LowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                           const int16_t* inv_var, int32_t width, float* score, int32_t height,
                                           float val, int32_t sf);
/** Block of frames, unit variances, low arithmetic, single-precision result with sf 0. */
SrStatus zelsLogGauss_IdVarLow_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean, int32_t width,
                                         float* score, int32_t height, float val);
/** List of frames, unit variances, low arithmetic, single-precision result with sf 0. */
SrStatus zelsLogGauss_IdVarLow_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                          float* score, int32_t height, float val);
/** Block of frames, unit variances, low arithmetic, integer result. */
SrStatus zelsLogGauss_IdVarLow_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                            int32_t width, int32_t* score, int32_t height, int32_t val,
                                            int32_t sf);
/** List of frames, unit variances, low arithmetic, integer result. */
SrStatus zelsLogGauss_IdVarLow_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                             int32_t* score, int32_t height, int32_t val, int32_t sf);
/** Block of frames, unit variances, low arithmetic, single-precision result. */
SrStatus zelsLogGauss_IdVarLowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                               int32_t width, float* score, int32_t height, float val, int32_t sf);
/** List of frames, unit variances, low arithmetic, single-precision result. */
SrStatus zelsLogGauss_IdVarLowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                                float* score, int32_t height, float val, int32_t sf);
/** @} */

/** @name Running maximum over frames
 * best[r] = the larger of best[r] and the score of frame r.
 * @{ */
/** Block of frames, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMax_Scaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                          const int16_t* inv_var, int32_t width, float* best, int32_t height,
                                          float val, int32_t sf);
/** List of frames, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMax_Scaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                           const int16_t* inv_var, int32_t width, float* best, int32_t height,
                                           float val, int32_t sf);
/** Block of frames, reciprocal variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussMax_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                      const int16_t* inv_var, int32_t width, int32_t* best, int32_t height,
                                      int32_t val, int32_t sf);
/** List of frames, reciprocal variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussMax_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, const int16_t* inv_var,
                                       int32_t width, int32_t* best, int32_t height, int32_t val, int32_t sf);
/** Block of frames, unit variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMax_IdVarScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                               int32_t width, float* best, int32_t height, float val, int32_t sf);
/** List of frames, unit variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMax_IdVarScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                                float* best, int32_t height, float val, int32_t sf);
/** Block of frames, unit variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussMax_IdVar_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                            int32_t width, int32_t* best, int32_t height, int32_t val, int32_t sf);
/** List of frames, unit variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussMax_IdVar_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                             int32_t* best, int32_t height, int32_t val, int32_t sf);
/** Block of frames, reciprocal variances, low arithmetic, integer result. */
SrStatus zelsLogGaussMax_Low_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                          const int16_t* inv_var, int32_t width, int32_t* best, int32_t height,
                                          int32_t val, int32_t sf);
/** List of frames, reciprocal variances, low arithmetic, integer result. */
SrStatus zelsLogGaussMax_Low_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean,
                                           const int16_t* inv_var, int32_t width, int32_t* best, int32_t height,
                                           int32_t val, int32_t sf);
/** Block of frames, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMax_LowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                             const int16_t* inv_var, int32_t width, float* best, int32_t height,
                                             float val, int32_t sf);
/** List of frames, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMax_LowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                              const int16_t* inv_var, int32_t width, float* best, int32_t height,
                                              float val, int32_t sf);
/** Block of frames, unit variances, low arithmetic, integer result. */
SrStatus zelsLogGaussMax_IdVarLow_16s32s_D2Sfs(const int16_t* frames, int32_t step, const int16_t* mean,
                                               int32_t width, int32_t* best, int32_t height, int32_t val,
                                               int32_t sf);
/** List of frames, unit variances, low arithmetic, integer result. */
SrStatus zelsLogGaussMax_IdVarLow_16s32s_D2LSfs(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                                int32_t* best, int32_t height, int32_t val, int32_t sf);
/** Block of frames, unit variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMax_IdVarLowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                                  int32_t width, float* best, int32_t height, float val,
                                                  int32_t sf);
/** List of frames, unit variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMax_IdVarLowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                                   int32_t width, float* best, int32_t height, float val,
                                                   int32_t sf);
/** @} */

/** @name Running log addition over frames
 * sum[r] = ln(e^sum[r] + e^score of frame r), by the accurate addition, but for two aligned kernels with the fast
 * one: zelsLogGaussAdd_IdVarScaled_16s32f_D2() with frames and mean on 16-byte boundaries, a step that is a
 * multiple of 8 and a width of 4 or more; zelsLogGaussAdd_Scaled_16s32f_D2L() in blocks of 128 frames whose rows,
 * with mean, inv_var and the block of sums, lie on 16-byte boundaries.
 * @{ */
/** Block of frames, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussAdd_Scaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                          const int16_t* inv_var, int32_t width, float* sum, int32_t height,
                                          float val, int32_t sf);
/** List of frames, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussAdd_Scaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                           const int16_t* inv_var, int32_t width, float* sum, int32_t height,
                                           float val, int32_t sf);
/** Block of frames, unit variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussAdd_IdVarScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                               int32_t width, float* sum, int32_t height, float val, int32_t sf);
/** List of frames, unit variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussAdd_IdVarScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean, int32_t width,
                                                float* sum, int32_t height, float val, int32_t sf);
/** Block of frames, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussAdd_LowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                             const int16_t* inv_var, int32_t width, float* sum, int32_t height,
                                             float val, int32_t sf);
/** List of frames, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussAdd_LowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                              const int16_t* inv_var, int32_t width, float* sum, int32_t height,
                                              float val, int32_t sf);
/** Block of frames, unit variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussAdd_IdVarLowScaled_16s32f_D2(const int16_t* frames, int32_t step, const int16_t* mean,
                                                  int32_t width, float* sum, int32_t height, float val,
                                                  int32_t sf);
/** List of frames, unit variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussAdd_IdVarLowScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* mean,
                                                   int32_t width, float* sum, int32_t height, float val,
                                                   int32_t sf);
/** @} */

/** @name One vector, many Gaussians
 * value[j] holds the constant of component j on entry and its score on return.
 * @{ */
/** Block of Gaussians, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMultiMix_Scaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                               const int16_t* feature, int32_t width, float* value, int32_t height,
                                               int32_t sf);
/** List of Gaussians, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMultiMix_Scaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                const int16_t* feature, int32_t width, float* value,
                                                int32_t height, int32_t sf);
/** Block of Gaussians, reciprocal variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussMultiMix_16s32s_D2Sfs(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                           const int16_t* feature, int32_t width, int32_t* value, int32_t height,
                                           int32_t sf);
/** List of Gaussians, reciprocal variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussMultiMix_16s32s_D2LSfs(const int16_t* const* mean, const int16_t* const* inv_var,
                                            const int16_t* feature, int32_t width, int32_t* value, int32_t height,
                                            int32_t sf);
/** Block of Gaussians, reciprocal variances, low arithmetic, single-precision result with sf 0. */
SrStatus zelsLogGaussMultiMix_Low_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                            const int16_t* feature, int32_t width, float* value, int32_t height);
/** List of Gaussians, reciprocal variances, low arithmetic, single-precision result with sf 0. */
SrStatus zelsLogGaussMultiMix_Low_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                             const int16_t* feature, int32_t width, float* value, int32_t height);
/** Block of Gaussians, reciprocal variances, low arithmetic, integer result. */
SrStatus zelsLogGaussMultiMix_Low_16s32s_D2Sfs(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                               const int16_t* feature, int32_t width, int32_t* value,
                                               int32_t height, int32_t sf);
/** List of Gaussians, reciprocal variances, low arithmetic, integer result. */
SrStatus zelsLogGaussMultiMix_Low_16s32s_D2LSfs(const int16_t* const* mean, const int16_t* const* inv_var,
                                                const int16_t* feature, int32_t width, int32_t* value,
                                                int32_t height, int32_t sf);
/** Block of Gaussians, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMultiMix_LowScaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                  const int16_t* feature, int32_t width, float* value,
                                                  int32_t height, int32_t sf);
/** List of Gaussians, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMultiMix_LowScaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                   const int16_t* feature, int32_t width, float* value,
                                                   int32_t height, int32_t sf);
/** @} */

/** @name Running maximum over Gaussians
 * best[j] = the larger of best[j] and the score of Gaussian j with constant val[j].
 * @{ */
/** Block of Gaussians, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMaxMultiMix_Scaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                  const int16_t* feature, int32_t width, const float* val,
                                                  float* best, int32_t height, int32_t sf);
/** List of Gaussians, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMaxMultiMix_Scaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                   const int16_t* feature, int32_t width, const float* val,
                                                   float* best, int32_t height, int32_t sf);
/** Block of Gaussians, reciprocal variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussMaxMultiMix_16s32s_D2Sfs(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                              const int16_t* feature, int32_t width, const int32_t* val,
                                              int32_t* best, int32_t height, int32_t sf);
/** List of Gaussians, reciprocal variances, plain arithmetic, integer result. */
SrStatus zelsLogGaussMaxMultiMix_16s32s_D2LSfs(const int16_t* const* mean, const int16_t* const* inv_var,
                                               const int16_t* feature, int32_t width, const int32_t* val,
                                               int32_t* best, int32_t height, int32_t sf);
/** Block of Gaussians, reciprocal variances, low arithmetic, integer result. */
SrStatus zelsLogGaussMaxMultiMix_Low_16s32s_D2Sfs(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                  const int16_t* feature, int32_t width, const int32_t* val,
                                                  int32_t* best, int32_t height, int32_t sf);
/** List of Gaussians, reciprocal variances, low arithmetic, integer result. */
SrStatus zelsLogGaussMaxMultiMix_Low_16s32s_D2LSfs(const int16_t* const* mean, const int16_t* const* inv_var,
                                                   const int16_t* feature, int32_t width, const int32_t* val,
                                                   int32_t* best, int32_t height, int32_t sf);
/** Block of Gaussians, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                     const int16_t* feature, int32_t width, const float* val,
                                                     float* best, int32_t height, int32_t sf);
/** List of Gaussians, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                      const int16_t* feature, int32_t width, const float* val,
                                                      float* best, int32_t height, int32_t sf);
/** @} */

/** @name Running log addition over Gaussians
 * sum[j] = ln(e^sum[j] + e^score of Gaussian j with constant val[j]), by the accurate addition.
 * @{ */
/** Block of Gaussians, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussAddMultiMix_Scaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                  const int16_t* feature, int32_t width, const float* val,
                                                  float* sum, int32_t height, int32_t sf);
/** List of Gaussians, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussAddMultiMix_Scaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                   const int16_t* feature, int32_t width, const float* val,
                                                   float* sum, int32_t height, int32_t sf);
/** Block of Gaussians, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussAddMultiMix_LowScaled_16s32f_D2(const int16_t* mean, const int16_t* inv_var, int32_t step,
                                                     const int16_t* feature, int32_t width, const float* val,
                                                     float* sum, int32_t height, int32_t sf);
/** List of Gaussians, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussAddMultiMix_LowScaled_16s32f_D2L(const int16_t* const* mean, const int16_t* const* inv_var,
                                                      const int16_t* feature, int32_t width, const float* val,
                                                      float* sum, int32_t height, int32_t sf);
/** @} */

/** @name Whole mixtures
 * *result = ln(sum over j of e^score of component j with constant val[j]), in blocks as in @ref mixture.
 * IdVarScaled forms use the arithmetic of one vector, whose sum of squares wraps at 2^31.
 * @{ */
/** Block of components, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMixture_Scaled_16s32f_D2(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                              int32_t height, int32_t step, int32_t width, const float* val,
                                              float* result, int32_t sf);
/** List of components, reciprocal variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMixture_Scaled_16s32f_D2L(const int16_t* feature, const int16_t* const* mean,
                                               const int16_t* const* inv_var, int32_t height, int32_t width,
                                               const float* val, float* result, int32_t sf);
/** Block of components, unit variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMixture_IdVarScaled_16s32f_D2(const int16_t* feature, const int16_t* mean, int32_t height,
                                                   int32_t step, int32_t width, const float* val, float* result,
                                                   int32_t sf);
/** List of components, unit variances, plain arithmetic, single-precision result. */
SrStatus zelsLogGaussMixture_IdVarScaled_16s32f_D2L(const int16_t* feature, const int16_t* const* mean,
                                                    int32_t height, int32_t width, const float* val, float* result,
                                                    int32_t sf);
/** Block of components, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMixture_LowScaled_16s32f_D2(const int16_t* feature, const int16_t* mean,
                                                 const int16_t* inv_var, int32_t height, int32_t step,
                                                 int32_t width, const float* val, float* result, int32_t sf);
/** List of components, reciprocal variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMixture_LowScaled_16s32f_D2L(const int16_t* feature, const int16_t* const* mean,
                                                  const int16_t* const* inv_var, int32_t height, int32_t width,
                                                  const float* val, float* result, int32_t sf);
/** Block of components, unit variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMixture_IdVarLowScaled_16s32f_D2(const int16_t* feature, const int16_t* mean, int32_t height,
                                                      int32_t step, int32_t width, const float* val, float* result,
                                                      int32_t sf);
/** List of components, unit variances, low arithmetic, single-precision result. */
SrStatus zelsLogGaussMixture_IdVarLowScaled_16s32f_D2L(const int16_t* feature, const int16_t* const* mean,
                                                       int32_t height, int32_t width, const float* val,
                                                       float* result, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
