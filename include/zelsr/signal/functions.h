/* Entropy, the bell curve and the sine quotient. */
#ifndef ZELSR_SIGNAL_FUNCTIONS_H
#define ZELSR_SIGNAL_FUNCTIONS_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup functions Entropy and elementwise functions
 *
 * Checks: null ::SrErrNullPtr, then len below 1 ::SrErrSize. No array needs alignment; no result depends on the
 * caller's rounding mode. Thread rules: no state.
 * @{ */

/** @name Entropy
 * *result = (sum over the x above 0 of x ln x) / 0.6931472, without a change of sign: minus the entropy in bits
 * where x are probabilities. The logarithm is that of zelsLn_32f_I(), products and sum are formed in double.
 *
 * A negative element gives ::SrWarnLnNegArg at once.
 * @{ */
/** Single precision. A negative element or NaN makes *result NaN. */
SrStatus zelsEntropy_32f(const float* src, int32_t len, float* result);
/** Integers: x stands for y = x * 2^-src_sf, rounded to single; a y that is rounded to 0 adds nothing. The result
 * times 2^-sf is truncated toward zero and saturated (an infinite multiplier, of sf at or below -1024, makes a sum
 * of zero the largest value). A negative element leaves *result as it was. */
SrStatus zelsEntropy_16s32s_Sfs(const int16_t* src, int32_t src_sf, int32_t len, int32_t* result, int32_t sf);
/** @} */

/** @name Exponential of the negative square
 * dst[i] = exp(-x[i]^2), where the square is rounded to the source's precision; 32f64f widens first. Off by less
 * than one unit in the last place of the result's type. Overlapping arrays are worked through element after
 * element, in order.
 * @{ */
SrStatus zelsExpNegSqr_32f(const float* src, float* dst, int32_t len);     /**< Single precision. */
SrStatus zelsExpNegSqr_32f64f(const float* src, double* dst, int32_t len); /**< Single to double. */
SrStatus zelsExpNegSqr_64f(const double* src, double* dst, int32_t len);   /**< Double precision. */
SrStatus zelsExpNegSqr_32f_I(float* srcdst, int32_t len);                  /**< Single precision, in place. */
SrStatus zelsExpNegSqr_64f_I(double* srcdst, int32_t len);                 /**< Double precision, in place. */
/** @} */

/** @name Sine quotient
 * dst[i] = sin(x[i]) / x[i], without a factor of pi; 1 for an x of 0. The sine is formed in double; single
 * precision rounds it to single before it divides, 32f64f does all in double. Overlapping arrays are worked
 * through element after element, in order.
 * @{ */
SrStatus zelsSinC_32f(const float* src, float* dst, int32_t len);     /**< Single precision. */
SrStatus zelsSinC_32f64f(const float* src, double* dst, int32_t len); /**< Single to double. */
SrStatus zelsSinC_64f(const double* src, double* dst, int32_t len);   /**< Double precision. */
SrStatus zelsSinC_32f_I(float* srcdst, int32_t len);                  /**< Single precision, in place. */
SrStatus zelsSinC_64f_I(double* srcdst, int32_t len);                 /**< Double precision, in place. */
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
