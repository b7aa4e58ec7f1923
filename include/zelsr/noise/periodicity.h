/* The period of a sequence. */
#ifndef ZELSR_NOISE_PERIODICITY_H
#define ZELSR_NOISE_PERIODICITY_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup periodicity Periodicity
 *
 * Periods P from least to greatest are tried in this order, and for each the phases k from 0 to P - 1, whose terms
 * are x[k], x[k + P], x[k + 2P], ... In the formulas s is the sum of a phase's terms and c their number.
 *
 * No array needs alignment. Nothing is allocated. Thread rules: no state.
 * @{ */

/** @name By least squares
 * How much of the energy E = sum x^2 a sequence of period P explains, corrected for the number of phases:
 *
 *     A = sum over k of s^2 / c,   B = sum over k of (sum of the terms' squares) / c,   r = (A - B) / (E - B)
 *
 * Only where both differences are positive. *measure is the greatest r and *period its first P; 0 and 0 if there
 * is none.
 *
 * Checks, in this order: null ::SrErrNullPtr; least below 6, or greatest not above least ::SrErrRange; len not
 * above greatest, or above 1024, or above 16 * least ::SrErrLengthBound.
 * @{ */
/** Single precision, in the default floating-point environment. Sums, differences and quotient are in double
 * precision, in order, with the singles 1 / c and 1 / sqrt(c) as factors: A adds (s * (1 / sqrt(c)))^2. r is
 * rounded to single before it is compared. */
SrStatus zelsPeriodicityLSPE_32f(const float* src, int32_t len, float* measure, int32_t* period, int32_t greatest,
                                 int32_t least);
/** 16-bit, *measure in Q15. E is shifted right by the t bits that bring it below 2^31, squares by as many; s, the
 * sums of shifted squares, A and B have 32 bits. With h = t >> 1, g = t - h and W = (2^30 / sqrt(c), truncated) *
 * s, A adds (W >> (g + 30)) * (W >> (h + 30)), and B adds ((2^30 / c, truncated) * the squares) >> 30. Differences
 * below 1 are not positive. r = ((A - B) << 15) / (E - B), limited to 32767. */
SrStatus zelsPeriodicityLSPE_16s(const int16_t* src, int32_t len, int16_t* measure, int32_t* period,
                                 int32_t greatest, int32_t least);
/** @} */

/** @name By comb sums
 * Of sequences without negative elements, such as spectra or envelopes: the share of the total S = sum x that lies
 * under the best comb. A phase has its first six terms at most. The first of the combs whose mean s / c is
 * greatest, and above 0, gives *period and *measure = s / S; if S is 0 or there is no such comb, both are 0.
 *
 * Checks, in this order: null ::SrErrNullPtr; least below 1, or greatest not above least ::SrErrRange; len not
 * above greatest, or above 4096 ::SrErrLengthBound; an element below 0 or not a number ::SrErrRange.
 * @{ */
/** Single precision, in the default floating-point environment. s is summed in single precision in order, and its
 * mean is s times the single 1 / c; S is summed in double, and s / S divided in double. An infinite S counts as 0:
 * wanted, |S| <= |max(0, S)| * 0.000001. */
SrStatus zelsPeriodicity_32f(const float* src, int32_t len, float* measure, int32_t* period, int32_t greatest,
                             int32_t least);
/** Integers, *measure in Q15. S is shifted right by the t bits that bring it below 2^31. The mean is
 * (s * (2^30 / c, truncated)) >> 30; *measure = ((s >> t) << 15) / S, limited to 32767. */
SrStatus zelsPeriodicity_32s16s(const int32_t* src, int32_t len, int16_t* measure, int32_t* period,
                                int32_t greatest, int32_t least);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
