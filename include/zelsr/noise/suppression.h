/* Gains of noise suppressors. */
#ifndef ZELSR_NOISE_SUPPRESSION_H
#define ZELSR_NOISE_SUPPRESSION_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup suppression Suppression gains
 *
 * Gains per frequency bin, out of signal-to-noise ratios. In fixed point a gain is in Q31, a ratio in Q15.
 *
 * No array needs alignment; the result may be one of the sources. Thread rules: no state.
 * @{ */

/** @name Ephraim-Malah suppressor
 * The amplitude estimator of minimum mean square error, from a Wiener gain q and an a-posteriori ratio r:
 *
 *     filter = q * g(q * r),   g(v) = sqrt(pi) / (2 sqrt(v)) * exp(-v / 2) * ((1 + v) I0(v / 2) + v I1(v / 2))
 *
 * with r limited to 100. g comes from integers, with x = v in Q22, truncated: below 129 from a table of g rounded
 * to whole numbers (at x = 0: 2147483647), above it from a quadratic for each power of two, in Q22.
 *
 * From x = 129 on the relative error of g is below 8e-3. Below, the table rounds g to whole numbers and x
 * truncates.
 *
 * Checks, in this order: null ::SrErrNullPtr; len below 1 or above 65535 ::SrErrLengthBound; a gain below 0 or
 * above 1, or not a number ::SrErrRange, with nothing written.
 * @{ */
/** Single precision, in the default floating-point environment. r is limited to 3.1e-05 ... 100, a NaN to 100; x
 * is the truncation of the single q * r times 2^22. filter = q * (g as a single), in single precision. */
SrStatus zelsFilterUpdateEMNS_32f(const float* wiener_gain, const float* snr, float* filter, int32_t len);
/** Fixed point, in 64 bits: an r below 2 becomes 1, one above 3276800 becomes 3276800; x = (q * r) >> 24;
 * filter = q * g for x < 129, (q * g) >> 22 above, limited to 0x7fffffff. */
SrStatus zelsFilterUpdateEMNS_32s(const int32_t* wiener_gain, const int32_t* snr, int32_t* filter, int32_t len);
/** @} */

/** @name Wiener filter
 * filter = x / (1 + x), x the a-priori ratio. A negative x counts as 0, and gives ::SrErrBadArg with the whole
 * filter written.
 *
 * Checks: null ::SrErrNullPtr; len below 1 or above 65535 ::SrErrLengthBound.
 * @{ */
/** Single precision, in the caller's floating-point environment. -0 is not negative. The smallest element is that
 * of zelsMin_32f(), the quotient that of zelsDiv_32f(). ::SrErrMemAlloc if the allocator refuses one of two
 * blocks, with nothing written. */
SrStatus zelsFilterUpdateWiener_32f(const float* snr, float* filter, int32_t len);
/** Fixed point: x is truncated to steps of 1/16 below 4, of 4 below 64, of 64 below 512, to 512 below 1024; from
 * 1024 on filter is 0x7fffffff. Between, it is the truncated quotient at the step. */
SrStatus zelsFilterUpdateWiener_32s(const int32_t* snr, int32_t* filter, int32_t len);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
