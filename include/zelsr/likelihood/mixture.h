/* Gaussian mixtures in floating point: running maximum, running log addition, whole mixtures. */
#ifndef ZELSR_LIKELIHOOD_MIXTURE_H
#define ZELSR_LIKELIHOOD_MIXTURE_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup mixture Mixture reductions
 *
 * The scores of @ref gauss, reduced. A state's log likelihood is the log of the sum of its components' weighted
 * densities, or, in the Viterbi approximation, the largest of them.
 *
 * - Max, Add: many frames, one Gaussian. best[r] or sum[r] carries the running value of frame r from one
 *   component's call to the next.
 * - MaxMultiMix, AddMultiMix: one frame, many Gaussians, with constants val[j]. best[j] or sum[j] carries the
 *   running value of Gaussian j from call to call.
 * - Mixture: one frame, all components of one mixture, one result.
 *
 * The caller sets the running values before the first call. Checks, in this order: width above step ::SrErrStride
 * (D2 forms only), any null pointer ::SrErrNullPtr (of a row list only the list itself is tested), width or height
 * below 1 ::SrErrSize; the Mixture forms test null first, then stride, then size.
 *
 * Infinities and NaN flow through the arithmetic of the scores. Arrays on 16-byte boundaries with a step that is a
 * multiple of 4 run fastest. No call allocates.
 *
 * Thread rules: no state.
 * @{ */

/** @name Running maximum over frames
 * best[r] = the larger of best[r] and the score of frame r; it stays where the score is not greater (or NaN).
 * @{ */
/** Block of frames, reciprocal variances, single precision. */
SrStatus zelsLogGaussMax_32f_D2(const float* frames, int32_t step, const float* mean, const float* inv_var,
                                int32_t width, float* best, int32_t height, float val);
/** List of frames, reciprocal variances, single precision. */
SrStatus zelsLogGaussMax_32f_D2L(const float* const* frames, const float* mean, const float* inv_var,
                                 int32_t width, float* best, int32_t height, float val);
/** Block of frames, reciprocal variances, double precision. */
SrStatus zelsLogGaussMax_64f_D2(const double* frames, int32_t step, const double* mean, const double* inv_var,
                                int32_t width, double* best, int32_t height, double val);
/** List of frames, reciprocal variances, double precision. */
SrStatus zelsLogGaussMax_64f_D2L(const double* const* frames, const double* mean, const double* inv_var,
                                 int32_t width, double* best, int32_t height, double val);
/** Block of frames, unit variances, single precision. */
SrStatus zelsLogGaussMax_IdVar_32f_D2(const float* frames, int32_t step, const float* mean, int32_t width,
                                      float* best, int32_t height, float val);
/** List of frames, unit variances, single precision. */
SrStatus zelsLogGaussMax_IdVar_32f_D2L(const float* const* frames, const float* mean, int32_t width, float* best,
                                       int32_t height, float val);
/** Block of frames, unit variances, double precision. */
SrStatus zelsLogGaussMax_IdVar_64f_D2(const double* frames, int32_t step, const double* mean, int32_t width,
                                      double* best, int32_t height, double val);
/** List of frames, unit variances, double precision. */
SrStatus zelsLogGaussMax_IdVar_64f_D2L(const double* const* frames, const double* mean, int32_t width,
                                       double* best, int32_t height, double val);
/** @} */

/** @name Running log addition over frames
 * sum[r] = ln(e^sum[r] + e^score of frame r), by the accurate addition of @ref log_add. In single precision blocks
 * of fewer than 4 columns (D2 forms) add in double, one frame after the other.
 * @{ */
/** Block of frames, reciprocal variances, single precision. */
SrStatus zelsLogGaussAdd_32f_D2(const float* frames, int32_t step, const float* mean, const float* inv_var,
                                int32_t width, float* sum, int32_t height, float val);
/** List of frames, reciprocal variances, single precision. */
SrStatus zelsLogGaussAdd_32f_D2L(const float* const* frames, const float* mean, const float* inv_var,
                                 int32_t width, float* sum, int32_t height, float val);
/** Block of frames, reciprocal variances, double precision. */
SrStatus zelsLogGaussAdd_64f_D2(const double* frames, int32_t step, const double* mean, const double* inv_var,
                                int32_t width, double* sum, int32_t height, double val);
/** List of frames, reciprocal variances, double precision. */
SrStatus zelsLogGaussAdd_64f_D2L(const double* const* frames, const double* mean, const double* inv_var,
                                 int32_t width, double* sum, int32_t height, double val);
/** Block of frames, unit variances, single precision. */
SrStatus zelsLogGaussAdd_IdVar_32f_D2(const float* frames, int32_t step, const float* mean, int32_t width,
                                      float* sum, int32_t height, float val);
/** List of frames, unit variances, single precision. */
SrStatus zelsLogGaussAdd_IdVar_32f_D2L(const float* const* frames, const float* mean, int32_t width, float* sum,
                                       int32_t height, float val);
/** Block of frames, unit variances, double precision. */
SrStatus zelsLogGaussAdd_IdVar_64f_D2(const double* frames, int32_t step, const double* mean, int32_t width,
                                      double* sum, int32_t height, double val);
/** List of frames, unit variances, double precision. */
SrStatus zelsLogGaussAdd_IdVar_64f_D2L(const double* const* frames, const double* mean, int32_t width, double* sum,
                                       int32_t height, double val);
/** @} */

/** @name Running maximum over Gaussians
 * best[j] = the larger of best[j] and the score of Gaussian j with constant val[j].
 * @{ */
/** Blocks of Gaussians, single precision. */
SrStatus zelsLogGaussMaxMultiMix_32f_D2(const float* mean, const float* inv_var, int32_t step,
                                        const float* feature, int32_t width, const float* val, float* best,
                                        int32_t height);
/** Lists of Gaussians, single precision. */
SrStatus zelsLogGaussMaxMultiMix_32f_D2L(const float* const* mean, const float* const* inv_var,
                                         const float* feature, int32_t width, const float* val, float* best,
                                         int32_t height);
/** Blocks of Gaussians, double precision. */
SrStatus zelsLogGaussMaxMultiMix_64f_D2(const double* mean, const double* inv_var, int32_t step,
                                        const double* feature, int32_t width, const double* val, double* best,
                                        int32_t height);
/** Lists of Gaussians, double precision. */
SrStatus zelsLogGaussMaxMultiMix_64f_D2L(const double* const* mean, const double* const* inv_var,
                                         const double* feature, int32_t width, const double* val, double* best,
                                         int32_t height);
/** @} */

/** @name Running log addition over Gaussians
 * sum[j] = ln(e^sum[j] + e^score of Gaussian j with constant val[j]).
 * @{ */
/** Blocks of Gaussians, single precision. */
SrStatus zelsLogGaussAddMultiMix_32f_D2(const float* mean, const float* inv_var, int32_t step,
                                        const float* feature, int32_t width, const float* val, float* sum,
                                        int32_t height);
/** Lists of Gaussians, single precision. */
SrStatus zelsLogGaussAddMultiMix_32f_D2L(const float* const* mean, const float* const* inv_var,
                                         const float* feature, int32_t width, const float* val, float* sum,
                                         int32_t height);
/** Blocks of Gaussians, double precision. */
SrStatus zelsLogGaussAddMultiMix_64f_D2(const double* mean, const double* inv_var, int32_t step,
                                        const double* feature, int32_t width, const double* val, double* sum,
                                        int32_t height);
/** Lists of Gaussians, double precision. */
SrStatus zelsLogGaussAddMultiMix_64f_D2L(const double* const* mean, const double* const* inv_var,
                                         const double* feature, int32_t width, const double* val, double* sum,
                                         int32_t height);
/** @} */

/** @name Whole mixtures
 * *result = ln(sum over j of e^score of component j with constant val[j]). Note that height stands before step and
 * width.
 *
 * Components go in blocks of 100: the scores of a block are summed as by zelsLogSum_32f() or zelsLogSum_64f(),
 * from the second block on with the running value as the first element. A mixture of one component is its score.
 * @{ */
/** Block of components, reciprocal variances, single precision. */
SrStatus zelsLogGaussMixture_32f_D2(const float* feature, const float* mean, const float* inv_var, int32_t height,
                                    int32_t step, int32_t width, const float* val, float* result);
/** List of components, reciprocal variances, single precision. */
SrStatus zelsLogGaussMixture_32f_D2L(const float* feature, const float* const* mean, const float* const* inv_var,
                                     int32_t height, int32_t width, const float* val, float* result);
/** Block of components, reciprocal variances, double precision. */
SrStatus zelsLogGaussMixture_64f_D2(const double* feature, const double* mean, const double* inv_var,
                                    int32_t height, int32_t step, int32_t width, const double* val,
                                    double* result);
/** List of components, reciprocal variances, double precision. */
SrStatus zelsLogGaussMixture_64f_D2L(const double* feature, const double* const* mean,
                                     const double* const* inv_var, int32_t height, int32_t width,
                                     const double* val, double* result);
/** Block of components, unit variances, single precision. Components join one
 * after the other, in double, rounded to single after each. */
SrStatus zelsLogGaussMixture_IdVar_32f_D2(const float* feature, const float* mean, int32_t height, int32_t step,
                                          int32_t width, const float* val, float* result);
/** List of components, unit variances, single precision. */
SrStatus zelsLogGaussMixture_IdVar_32f_D2L(const float* feature, const float* const* mean, int32_t height,
                                           int32_t width, const float* val, float* result);
/** Block of components, unit variances, double precision. */
SrStatus zelsLogGaussMixture_IdVar_64f_D2(const double* feature, const double* mean, int32_t height, int32_t step,
                                          int32_t width, const double* val, double* result);
/** List of components, unit variances, double precision. */
SrStatus zelsLogGaussMixture_IdVar_64f_D2L(const double* feature, const double* const* mean, int32_t height,
                                           int32_t width, const double* val, double* result);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
