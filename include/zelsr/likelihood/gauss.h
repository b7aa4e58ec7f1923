/* Log densities of diagonal-covariance Gaussians in floating point. */
#ifndef ZELSR_LIKELIHOOD_GAUSS_H
#define ZELSR_LIKELIHOOD_GAUSS_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup gauss Gaussian log densities
 *
 * score = val - 0.5 * sum over k of (x[k] - m[k])^2 * p[k]
 *
 * for a feature vector x, a mean vector m, multipliers p and the Gaussian's constant val (log weight less half
 * of n ln(2 pi) - sum of ln p). What p is stands in the name:
 * - no tag: inv_var holds the reciprocals of the variances;
 * - IdVar: every variance is one, there is no array and no multiplication;
 * - DirectVar: var holds the variances, the term is divided by them.
 *
 * Types: 32f single precision throughout; 64f double; 32f64f single-precision data with double-precision
 * differences, products and sums, val and result.
 *
 * Checks, in this order: width above step ::SrErrStride (D2 forms only); any null pointer ::SrErrNullPtr (of a
 * row list only the list itself is tested); width (len), height below 1 ::SrErrSize.
 *
 * Infinities and NaN flow through the arithmetic; the sign of a variance is not looked at. Steps count
 * elements. Arrays, rows and lists may lie on any byte address; arrays and rows on 16-byte boundaries, with a
 * step that is a multiple of 4, run fastest.
 *
 * Order of the sums in single precision: elements with the same index modulo 4 share a partial sum (of one
 * vector two, for alternate groups of eight). Where the elements behind the last whole group go depends on the
 * alignment in zelsLogGaussSingle_32f, zelsLogGaussSingle_DirectVar_32f and, from width 4 on, in the members for
 * many frames (zelsLogGauss_IdVar_32f_D2L at every width): there the score's last places may depend on it. Every
 * other member gives the same bits at every alignment, and every member the same bits for a frame or a component
 * whatever it is scored together with.
 *
 * Thread rules: no state.
 * @{ */

/** @name One vector, one Gaussian
 * feature, mean, inv_var (var) of len elements; *result receives the score.
 * @{ */
/** Reciprocal variances, single precision. */
SrStatus zelsLogGaussSingle_32f(const float* feature, const float* mean, const float* inv_var, int32_t len,
                                float* result, float val);
/** Reciprocal variances, double precision. */
SrStatus zelsLogGaussSingle_64f(const double* feature, const double* mean, const double* inv_var, int32_t len,
                                double* result, double val);
/** Reciprocal variances, single-precision data, double-precision sums. */
SrStatus zelsLogGaussSingle_32f64f(const float* feature, const float* mean, const float* inv_var, int32_t len,
                                   double* result, double val);
/** Unit variances, single precision. */
SrStatus zelsLogGaussSingle_IdVar_32f(const float* feature, const float* mean, int32_t len, float* result,
                                      float val);
/** Unit variances, double precision. */
SrStatus zelsLogGaussSingle_IdVar_64f(const double* feature, const double* mean, int32_t len, double* result,
                                      double val);
/** Unit variances, single-precision data, double-precision sums. */
SrStatus zelsLogGaussSingle_IdVar_32f64f(const float* feature, const float* mean, int32_t len, double* result,
                                         double val);
/** Forms the reciprocals in scratch memory (::SrErrMemAlloc if refused) and multiplies by them. A zero variance
 * gives ::SrWarnDivByZero, and the score of the infinite reciprocal is written all the same. */
SrStatus zelsLogGaussSingle_DirectVar_32f(const float* feature, const float* mean, const float* var, int32_t len,
                                          float* result, float val);
/** Divides every term. A zero variance has no status of its own. */
SrStatus zelsLogGaussSingle_DirectVar_64f(const double* feature, const double* mean, const double* var,
                                          int32_t len, double* result, double val);
/** Divides every term, one after the other. A zero variance ends the work with ::SrWarnDivByZero and leaves the
 * result unwritten. */
SrStatus zelsLogGaussSingle_DirectVar_32f64f(const float* feature, const float* mean, const float* var,
                                             int32_t len, double* result, double val);
/** @} */

/** @name Many frames, one Gaussian
 * frames: a block of height rows of width elements, or a list of height row pointers; score[r] receives the
 * score of row r.
 * @{ */
/** A block of frames, reciprocal variances, single precision. */
SrStatus zelsLogGauss_32f_D2(const float* frames, int32_t step, const float* mean, const float* inv_var,
                             int32_t width, float* score, int32_t height, float val);
/** A list of frames, reciprocal variances, single precision. */
SrStatus zelsLogGauss_32f_D2L(const float* const* frames, const float* mean, const float* inv_var, int32_t width,
                              float* score, int32_t height, float val);
/** A block of frames, reciprocal variances, double precision. */
SrStatus zelsLogGauss_64f_D2(const double* frames, int32_t step, const double* mean, const double* inv_var,
                             int32_t width, double* score, int32_t height, double val);
/** A list of frames, reciprocal variances, double precision. */
SrStatus zelsLogGauss_64f_D2L(const double* const* frames, const double* mean, const double* inv_var,
                              int32_t width, double* score, int32_t height, double val);
/** A block of frames, unit variances, single precision. */
SrStatus zelsLogGauss_IdVar_32f_D2(const float* frames, int32_t step, const float* mean, int32_t width,
                                   float* score, int32_t height, float val);
/** A list of frames, unit variances, single precision. */
SrStatus zelsLogGauss_IdVar_32f_D2L(const float* const* frames, const float* mean, int32_t width, float* score,
                                    int32_t height, float val);
/** A block of frames, unit variances, double precision. */
SrStatus zelsLogGauss_IdVar_64f_D2(const double* frames, int32_t step, const double* mean, int32_t width,
                                   double* score, int32_t height, double val);
/** A list of frames, unit variances, double precision. */
SrStatus zelsLogGauss_IdVar_64f_D2L(const double* const* frames, const double* mean, int32_t width,
                                    double* score, int32_t height, double val);
/** @} */

/** @name One vector, many Gaussians
 * mean, inv_var: blocks of height rows of width elements that share a step, or lists of height row pointers;
 * value[j] holds the constant of component j on entry and its score on return.
 * @{ */
/** Blocks of Gaussians, single precision. */
SrStatus zelsLogGaussMultiMix_32f_D2(const float* mean, const float* inv_var, int32_t step, const float* feature,
                                     int32_t width, float* value, int32_t height);
/** Lists of Gaussians, single precision. */
SrStatus zelsLogGaussMultiMix_32f_D2L(const float* const* mean, const float* const* inv_var,
                                      const float* feature, int32_t width, float* value, int32_t height);
/** Blocks of Gaussians, double precision. */
SrStatus zelsLogGaussMultiMix_64f_D2(const double* mean, const double* inv_var, int32_t step,
                                     const double* feature, int32_t width, double* value, int32_t height);
/** Lists of Gaussians, double precision. */
SrStatus zelsLogGaussMultiMix_64f_D2L(const double* const* mean, const double* const* inv_var,
                                      const double* feature, int32_t width, double* value, int32_t height);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
