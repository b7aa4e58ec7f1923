/* Arithmetic on natural logarithms. */
#ifndef ZELSR_LIKELIHOOD_LOG_ADD_H
#define ZELSR_LIKELIHOOD_LOG_ADD_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup log_add Log-domain arithmetic
 *
 * Sums and differences of probabilities that are kept as natural logarithms. ln(1 + e^d) is one approximation by
 * piecewise polynomials, shared by all mixture reductions: within 3e-7 in the single-precision domain, within
 * 1e-12 in the double-precision domain.
 *
 * A probability of practically zero has a finite logarithm: -4.5e6 in the single-precision domain (32f, 32s, 16s),
 * -1e10 in the double-precision domain (64f). One addition, of terms a and b with the larger hi and the difference
 * d = -|a - b|:
 * - d below the cut (-ln 4.5e6 = -15.3195879547406; -ln 1e10 = -23.0258509299405): hi, raised to the floor
 *   (-4.5e6 for a hi below it; -1e10 for a hi below -9e9);
 * - else hi + P(d), with no floor: two terms at or below the floor give hi + ln 2.
 *
 * Sfs forms: an integer v stands for v * 2^-sf.
 *
 * Checks, in this order: len below 1 ::SrErrSize, then null ::SrErrNullPtr (zelsScaleLM_*: null first); a member
 * says so where it has another. NaN operands give NaN. No array needs alignment.
 *
 * Thread rules: no state.
 * @{ */

/** @name Addition
 * srcdst[i] = ln(e^src[i] + e^srcdst[i]).
 *
 * hint, for the single-precision domain: 0 accurate (the polynomial in double), 1 fast (in single), 2 scalar (in
 * extended precision, from the last element to the first). Any other hint adds nothing: ::SrOk, srcdst as it was,
 * but for the integer forms, whose srcdst makes its way to single precision and back.
 * @{ */
/** Single precision. */
SrStatus zelsLogAdd_32f(const float* src, float* srcdst, int32_t len, int32_t hint);
/** Double precision; hints 0, 1 and 2 are the same. */
SrStatus zelsLogAdd_64f(const double* src, double* srcdst, int32_t len, int32_t hint);
/** 32-bit integers: the single-precision result over 2^-sf, truncated toward zero and saturated. */
SrStatus zelsLogAdd_32s_Sfs(const int32_t* src, int32_t* srcdst, int32_t len, int32_t sf, int32_t hint);
/** 16-bit integers, as zelsLogAdd_32s_Sfs(). */
SrStatus zelsLogAdd_16s_Sfs(const int16_t* src, int16_t* srcdst, int32_t len, int32_t sf, int32_t hint);
/** @} */

/** @name Subtraction
 * srcdst[i] = ln(e^src[i] - e^srcdst[i]), by the C library's exp and log.
 *
 * A further check, behind null: any srcdst[i] not below its src[i] (a NaN difference passes) gives ::SrErrRange, and
 * nothing is written. A difference below the cut gives src[i], raised to the floor; one so small that 1 - e^d is at
 * most 1.0057e-37 (2.45e-308) gives the floor.
 * @{ */
/** Single precision; exp and log in double. */
SrStatus zelsLogSub_32f(const float* src, float* srcdst, int32_t len);
/** Double precision. */
SrStatus zelsLogSub_64f(const double* src, double* srcdst, int32_t len);
/** 32-bit integers. Only the difference is scaled by 2^-sf: the logarithm and the floor are added in the integer's
 * own units. Truncated toward zero. The check takes the difference modulo 2^32. */
SrStatus zelsLogSub_32s_Sfs(const int32_t* src, int32_t* srcdst, int32_t len, int32_t sf);
/** 16-bit integers, as zelsLogSub_32s_Sfs(); the low 16 bits of the result are stored, so that the floor wraps. */
SrStatus zelsLogSub_16s_Sfs(const int16_t* src, int16_t* srcdst, int32_t len, int32_t sf);
/** @} */

/** @name Sum of a vector
 * *result = ln(sum over i of e^src[i]), by successive additions: up to a few elements one after the other; beyond,
 * in four (double: two) running sums that are added in the end. One element is its own sum, with no floor.
 * @{ */
/** Single precision, with the fast addition. */
SrStatus zelsLogSum_32f(const float* src, float* result, int32_t len);
/** Double precision. */
SrStatus zelsLogSum_64f(const double* src, double* result, int32_t len);
/** 32-bit integers: the single-precision sum over 2^-sf, truncated toward zero and saturated. */
SrStatus zelsLogSum_32s_Sfs(const int32_t* src, int32_t* result, int32_t len, int32_t sf);
/** 16-bit integers, as zelsLogSum_32s_Sfs(). */
SrStatus zelsLogSum_16s_Sfs(const int16_t* src, int16_t* result, int32_t len, int32_t sf);
/** @} */

/** @name Language-model scaling
 * dst[i] = max(src[i], floor) * multiplier + addend. Checks: null, then len.
 * @{ */
/** Single precision. */
SrStatus zelsScaleLM_32f(const float* src, float* dst, int32_t len, float floor, float multiplier, float addend);
/** Integers; the addition wraps at 32 bits. */
SrStatus zelsScaleLM_16s32s(const int16_t* src, int32_t* dst, int32_t len, int16_t floor, int16_t multiplier,
                            int32_t addend);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
