/* Distances of vectors to Gaussians, and of Gaussians to each other. */
#ifndef ZELSR_LIKELIHOOD_DISTANCE_H
#define ZELSR_LIKELIHOOD_DISTANCE_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup mahalanobis Mahalanobis distances
 *
 * distance = sum over k of (x[k] - m[k])^2 * p[k]
 *
 * for a vector x, a mean m and reciprocals p of variances: the sum of @ref gauss and @ref fixed, with neither the
 * factor 0.5 nor a constant.
 *
 * Checks, in this order: width above step ::SrErrStride (D2 forms only); any null pointer ::SrErrNullPtr (of a
 * row list only the list itself is tested); width (len), height below 1 ::SrErrSize.
 *
 * Infinities and NaN flow through the arithmetic. Steps count elements. Arrays, rows and lists may lie on any byte
 * address; on 16-byte boundaries, with a step that is a multiple of 4 (8 for 16-bit data), they run fastest.
 *
 * Thread rules: no state.
 * @{ */

/** @name One vector
 * feature, mean, inv_var of len elements; *result receives the distance.
 *
 * Order of the sums, with all three arrays on 16-byte boundaries: that of zelsLogGaussSingle_32f() (floating
 * point; in double precision too, on four partial sums where it has four lanes) and of
 * zelsLogGaussSingle_16s32s_Sfs() (16-bit data). Elsewhere: up to 10 elements one after the other; beyond,
 * elements with the same index modulo 8 share a partial sum, those of the lower and of the upper four indices are
 * added pairwise, and these four s as (s0 + s1) + (s2 + s3); up to 7 elements behind the last eight follow one
 * after the other.
 * @{ */
/** Single precision. */
SrStatus zelsMahDistSingle_32f(const float* feature, const float* mean, const float* inv_var, int32_t len,
                               float* result);
/** Double precision. */
SrStatus zelsMahDistSingle_64f(const double* feature, const double* mean, const double* inv_var, int32_t len,
                               double* result);
/** Single-precision data, every value widened before the arithmetic. */
SrStatus zelsMahDistSingle_32f64f(const float* feature, const float* mean, const float* inv_var, int32_t len,
                                  double* result);
/** 16-bit data, squares rounded to single precision, products and sum in single precision. On 16-byte boundaries
 * the differences saturate to 16 bits in whole groups of eight elements; behind them, and elsewhere, they are
 * exact. */
SrStatus zelsMahDistSingle_16s32f(const int16_t* feature, const int16_t* mean, const int16_t* inv_var, int32_t len,
                                  float* result);
/** The distance times 2^-sf, saturated. On 16-byte boundaries the sum of zelsMahDistSingle_16s32f(), rounded to
 * nearest; elsewhere an exact 64-bit integer sum, rounded down. */
SrStatus zelsMahDistSingle_16s32s_Sfs(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                      int32_t len, int32_t* result, int32_t sf);
/** @} */

/** @name Many vectors, one Gaussian
 * frames: a block of height rows of width elements, or a list of height row pointers; distance[r] receives that
 * of row r. Order of the sums: that of zelsLogGauss_32f_D2() and zelsLogGauss_64f_D2(), widths below 4 included.
 * zelsMahDist_64f_D2() runs fastest where the step is the width rounded up to a multiple of 4, and no more.
 * @{ */
/** A block of vectors, single precision. */
SrStatus zelsMahDist_32f_D2(const float* frames, int32_t step, const float* mean, const float* inv_var,
                            int32_t width, float* distance, int32_t height);
/** A list of vectors, single precision. */
SrStatus zelsMahDist_32f_D2L(const float* const* frames, const float* mean, const float* inv_var, int32_t width,
                             float* distance, int32_t height);
/** A block of vectors, double precision. */
SrStatus zelsMahDist_64f_D2(const double* frames, int32_t step, const double* mean, const double* inv_var,
                            int32_t width, double* distance, int32_t height);
/** A list of vectors, double precision. */
SrStatus zelsMahDist_64f_D2L(const double* const* frames, const double* mean, const double* inv_var, int32_t width,
                             double* distance, int32_t height);
/** @} */

/** @name One vector, many Gaussians
 * mean, inv_var: blocks of height rows of width elements that share a step, or lists of height row pointers;
 * distance[j] receives that to Gaussian j. Order of the sums: that of zelsLogGaussMultiMix_32f_D2() and
 * zelsLogGaussMultiMix_64f_D2().
 * @{ */
/** Blocks of Gaussians, single precision. */
SrStatus zelsMahDistMultiMix_32f_D2(const float* mean, const float* inv_var, int32_t step, const float* feature,
                                    int32_t width, float* distance, int32_t height);
/** Lists of Gaussians, single precision. */
SrStatus zelsMahDistMultiMix_32f_D2L(const float* const* mean, const float* const* inv_var, const float* feature,
                                     int32_t width, float* distance, int32_t height);
/** Blocks of Gaussians, double precision. */
SrStatus zelsMahDistMultiMix_64f_D2(const double* mean, const double* inv_var, int32_t step, const double* feature,
                                    int32_t width, double* distance, int32_t height);
/** Lists of Gaussians, double precision. */
SrStatus zelsMahDistMultiMix_64f_D2L(const double* const* mean, const double* const* inv_var,
                                     const double* feature, int32_t width, double* distance, int32_t height);
/** @} */

/** @} */

/** @defgroup bhattacharyya Bhattacharyya distances
 *
 * Of two Gaussians with means m1, m2 and variances v1, v2 (not their reciprocals) of len elements:
 *
 * distance = sum over k of (m1 - m2)^2 / (v1 + v2) / 4 + ln((v1 + v2)^2 / (4 v1 v2)) / 4
 *
 * Means as well as variances must be above zero. They are tested first, four positions of all four arrays at a
 * time, the last len modulo 4 positions one at a time. The first positions with a value that is zero or below end
 * the work: with a value below zero the result is NaN and the status ::SrWarnLnNegArg, else the result is plus
 * infinity and the status ::SrWarnLnZeroArg (-0 is zero). What stands behind them is not seen. NaN passes the test
 * and makes the result NaN.
 *
 * Checks, in this order: null ::SrErrNullPtr, len below 1 ::SrErrSize. Work memory comes from the allocator; where
 * it is refused the work goes on in smaller steps, with the same result but for its rounding: there is no status
 * for it. No array needs alignment. Thread rules: no state.
 *
 * ln 4 is taken as 1.386294 and ln 2 as 0.693147: identical Gaussians are 9e-8 len apart.
 * @{ */
/** Single precision, with the processor's 12-bit estimates of reciprocals in place of two divisions: the relative
 * error of an element's (v1 + v2)^2 / (v1 v2) is up to 2^-10. A subnormal variance, or one from 2^126 on, may make
 * the result infinite. */
SrStatus zelsBhatDist_32f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                          int32_t len, float* result);
/** Single-precision data, true divisions and sums in double precision. One logarithm is taken of the product of
 * four elements' ratios (up to seven at the end): beyond 2^1024 the result is plus infinity. */
SrStatus zelsBhatDist_32f64f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                             int32_t len, double* result);
/** Single precision, without the logarithms of v1 and v2: the caller gives their sums. */
SrStatus zelsBhatDistSLog_32f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                              int32_t len, float* result, float sum_ln_var1, float sum_ln_var2);
/** The same in double precision, of single-precision data and sums. */
SrStatus zelsBhatDistSLog_32f64f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                                 int32_t len, double* result, float sum_ln_var1, float sum_ln_var2);
/** @} */

ZELSR_END_DECLARATIONS

#endif
