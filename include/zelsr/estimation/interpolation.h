/* Parameters between those of two models. */
#ifndef ZELSR_ESTIMATION_INTERPOLATION_H
#define ZELSR_ESTIMATION_INTERPOLATION_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup interpolation Model interpolation
 *
 * Arrays hold len elements. Checks, in this order: any null pointer gives ::SrErrNullPtr, len below 1 ::SrErrSize.
 *
 * A destination may be one of its sources (the same address). Where a destination of a 64f member or of
 * zelsNewVar_32f() begins inside one of its sources, each element is stored before the next is read; in other
 * members such overlaps are undefined. No array needs alignment, and the result does not depend on it, but for the
 * integer forms of zelsNewVar_*.
 *
 * Floating-point results take the caller's rounding mode, integer results do not depend on it.
 *
 * Thread rules: no state.
 * @{ */

/** @name Weighted means
 * dst[i] = (first[i] * weight1 + second[i] * weight2) / (weight1 + weight2), as first[i] * (weight1 * r) +
 * second[i] * (weight2 * r) with r = 1 / (weight1 + weight2). The half forms take a first source that already
 * holds a sum multiplied by its weight: first[i] * r + second[i] * (weight2 * r).
 *
 * Weights whose sum is neither below nor above zero (NaN too) give the warning ::SrWarnDivByZero and, by the sign
 * of t = first[i] * weight1 + second[i] * weight2 in either form, plus or minus infinity; NaN for a t of zero or
 * NaN.
 *
 * 16s: in single precision, limited to -32768 to 32767, then truncated toward zero; a NaN gives 32767. Without a
 * sum of weights 32767 for t above zero, -32768 below, else 0.
 * @{ */
SrStatus zelsWeightedSum_32f(const float* first, const float* second, float* dst, int32_t len, float weight1,
                             float weight2); /**< Single precision. */
SrStatus zelsWeightedSum_64f(const double* first, const double* second, double* dst, int32_t len, double weight1,
                             double weight2); /**< Double precision. */
SrStatus zelsWeightedSum_16s(const int16_t* first, const int16_t* second, int16_t* dst, int32_t len, float weight1,
                             float weight2); /**< Integers. */
/** The first source weighted already. */
SrStatus zelsWeightedSumHalf_32f(const float* first, const float* second, float* dst, int32_t len, float weight1,
                                 float weight2);
/** The first source weighted already. */
SrStatus zelsWeightedSumHalf_64f(const double* first, const double* second, double* dst, int32_t len,
                                 double weight1, double weight2);
/** The first source weighted already. */
SrStatus zelsWeightedSumHalf_16s(const int16_t* first, const int16_t* second, int16_t* dst, int32_t len,
                                 float weight1, float weight2);
/** @} */

/** @name Variances from second moments
 * (square[i] - mean[i]^2 * a) * b.
 * @{ */
/** In single precision. The one to three elements behind the last whole four, and every element where dst begins
 * inside a source: the square in single, the rest in double with one rounding at the store. */
SrStatus zelsNewVar_32f(const float* mean, const float* square, float* dst, int32_t len, float a, float b);
/** As zelsNewVar_32f(), in place. */
SrStatus zelsNewVar_32f_I(const float* mean, float* square, int32_t len, float a, float b);
/** In single precision, times 2^-sf and saturated (multipliers and NaN as in zelsConvert_32f32s_Sfs()). mean and
 * square both on 16-byte boundaries: rounded to nearest with ties to even; else truncated toward zero. */
SrStatus zelsNewVar_32s_Sfs(const int32_t* mean, const int32_t* square, int32_t* dst, int32_t len, float a,
                            float b, int32_t sf);
/** As zelsNewVar_32s_Sfs(), in place. */
SrStatus zelsNewVar_32s_ISfs(const int32_t* mean, int32_t* square, int32_t len, float a, float b, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
