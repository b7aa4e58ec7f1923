/* Correlation of signals and candidates of the fundamental frequency. */
#ifndef ZELSR_SIGNAL_PITCH_H
#define ZELSR_SIGNAL_PITCH_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup pitch Pitch and correlation
 *
 * Checks: null ::SrErrNullPtr, then a length below 1 ::SrErrSize; then what a member says. No array needs
 * alignment. Thread rules: no state.
 * @{ */

/** @name Correlation coefficients
 * a.b / (sqrt(a.a) sqrt(b.b)), the quotient in double, stored as a single; 0 where |a.a * b.b| is not above
 * 1.1754944e-38. Dot products are exact; those of zelsCrossCorrCoeff_16s32f() and
 * zelsCrossCorrCoeffPartial_16s32f() are rounded to single as by zelsDotProd_16s32f().
 * @{ */
/** One coefficient. */
SrStatus zelsCrossCorrCoeff_16s32f(const int16_t* a, const int16_t* b, int32_t len, float* coeff);
/** The energy a.a is given: one that is neither above nor below 0 gives ::SrErrRange, the last check. */
SrStatus zelsCrossCorrCoeffPartial_16s32f(const int16_t* a, const int16_t* b, int32_t len, float energy_a,
                                          float* coeff);
/** One coefficient for each window length on a decimated grid: the window grows to the left in a and to the right
 * in b. With off = max_len - min_len and the step dec, for k = 0 ... off / dec:
 *
 *     coeff[k] correlates a[off - k dec + i] and b[i],   i = 0, dec, 2 dec, ... below min_len + k dec
 *
 * The sum of products is exact. The energies grow in single precision: a square is rounded to single and added to
 * the sum so far, first those of k = 0 with rising i, then one of each signal for every k.
 *
 * min_len or dec below 1, or max_len below min_len, gives ::SrErrSize. a and b have max_len values. */
SrStatus zelsCrossCorrCoeffDecim_16s32f(const int16_t* a, const int16_t* b, int32_t max_len, int32_t min_len,
                                        float* coeff, int32_t dec);
/** The fraction of a lag between b and b one sample later that correlates best with a, and the coefficient there.
 *
 *     c00 = sum b[i]^2,   c11 = sum b[i+1]^2,   c01 = sum b[i] b[i+1],   e = sum a[i]^2,
 *     p0 = sum a[i] b[i],   p1 = sum a[i] b[i+1],   i = 0 ... len - 1
 *     D = (c11 - c01) p0 + (c00 - c01) p1
 *     *beta = (p1 c00 - p0 c01) / D,   q = 1 - beta
 *     *coeff = (q p0 + beta p1) / sqrt(v),   v = e (c00 q q + 2 beta q c01 + beta beta c11)
 *
 * The sums are exact, and rounded to double; the rest is in double, the results are rounded to single. A D of 0
 * gives *beta = 0, *coeff = p0 and ::SrWarnDivByZero. A beta (as a double) outside 0 <= beta < 1 is stored, *coeff
 * stays as it was, and the status is ::SrOk: wanted. A v of 0 gives *coeff = p0. b has len + 1 values. */
SrStatus zelsCrossCorrCoeffInterpolation_16s32f(const int16_t* a, const int16_t* b, int32_t len, float* beta,
                                                float* coeff);
/** @} */

/** @name Frequencies from pitch marks
 * dst[n] = 1 / (marks[n] - marks[n-1]), with marks[-1] = 0. The reciprocal is the processor's estimate r with one
 * Newton step, r (2 - d r): of relative error below 2^-21, minus infinity for a subnormal d, NaN for an infinite
 * one. Where neighbours are equal the status is ::SrWarnDivByZero; all elements are written. Source and
 * destination do not overlap.
 * @{ */
/** Single precision; positive infinity for equal neighbours. */
SrStatus zelsPitchmarkToF0Cand_32f(const float* marks, float* dst, int32_t len);
/** 16-bit: the reciprocal in single precision times 2^-sf, rounded to nearest with ties to even, saturated; 0 for
 * equal neighbours. */
SrStatus zelsPitchmarkToF0Cand_16s_Sfs(const int16_t* marks, int16_t* dst, int32_t len, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
