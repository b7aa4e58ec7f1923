/* Gaussians that are split in two, merged into one and compared. */
#ifndef ZELSR_ESTIMATION_MIXTURE_H
#define ZELSR_ESTIMATION_MIXTURE_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup gaussian_pairs Splitting and merging of Gaussians
 *
 * A Gaussian is a mean vector and a vector of variances (not of their reciprocals), of len elements each. The
 * Gaussian that two of them merge into, with weights w1 and w2 and W = w1 + w2, has
 * - the mean m = (w1 * m1 + w2 * m2) / W,
 * - the variance v = ((m1^2 + v1) * w1 + (m2^2 + v2) * w2) / W - m^2,
 *
 * in double precision for every type.
 *
 * Checks, in this order: len below 1 gives ::SrErrSize, then any null pointer ::SrErrNullPtr; in
 * zelsGaussianSplit_64f() null comes first. No function takes memory. A destination may be one of its sources (the
 * same address). No array needs alignment, and the result does not depend on it.
 *
 * Splitting takes the caller's rounding mode, merging and the distance do not depend on it.
 *
 * Thread rules: no state.
 * @{ */

/** @name Split
 * Moves the means apart by t = factor * sqrt(var1[i]): mean2[i] is the old mean1[i] - t, mean1[i] becomes the old
 * mean1[i] + t, and var2[i] = var1[i].
 * @{ */
SrStatus zelsGaussianSplit_32f(float* mean1, const float* var1, float* mean2, float* var2, int32_t len,
                               float factor); /**< Single precision. */
SrStatus zelsGaussianSplit_64f(double* mean1, const double* var1, double* mean2, double* var2, int32_t len,
                               double factor); /**< Double precision; null is checked before len. */
/** @} */

/** @name Merge
 * Stores m and v, and *gconst = len * 1.8378770664093 - the sum of ln v. That is the sign of
 * zelsUpdateGConst_32f() on reciprocal variances, although v is a variance: it stays like this.
 * @{ */
/** Stores element by element in single precision up to the first v that has no logarithm, that one included, and
 * returns: a v that is neither below nor above zero (NaN too) makes *gconst plus infinity, with ::SrWarnLnZeroArg;
 * one below zero NaN, with ::SrWarnLnNegArg. The logarithms are summed as in zelsSumLn_64f(). */
SrStatus zelsGaussianMerge_32f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                               float* mean, float* var, int32_t len, float* gconst, float weight1, float weight2);
/** Stores all elements. Where zelsSumLn_64f() of the variances gives a warning, that warning, and its sum in
 * *gconst: plus infinity for zero, NaN for a negative variance. */
SrStatus zelsGaussianMerge_64f(const double* mean1, const double* var1, const double* mean2, const double* var2,
                               double* mean, double* var, int32_t len, double* gconst, double weight1,
                               double weight2);
/** @} */

/** @name Distance
 * The log likelihood that is lost when two Gaussians with Gaussian constants gconst1 and gconst2 merge:
 * *distance = (w1 * gconst1 + w2 * gconst2) - W * (len * 1.8378770664093 - the sum of ln v). The first v that is
 * zero makes it plus infinity, with ::SrWarnLnZeroArg, one below zero NaN, with ::SrWarnLnNegArg.
 *
 * Fewer than 13 logarithms are taken and added one at a time, in order; from 13 on they are the sum of
 * zelsSumLn_64f(), by whose rules -0 and a NaN with a set sign bit are negative.
 * @{ */
SrStatus zelsGaussianDist_32f(const float* mean1, const float* var1, const float* mean2, const float* var2,
                              int32_t len, float* distance, float weight1, float gconst1, float weight2,
                              float gconst2); /**< Computed in double, rounded to single. */
SrStatus zelsGaussianDist_64f(const double* mean1, const double* var1, const double* mean2, const double* var2,
                              int32_t len, double* distance, double weight1, double gconst1, double weight2,
                              double gconst2); /**< Double precision. */
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
