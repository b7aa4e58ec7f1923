/* The distributed front-end's steps behind its noise reduction: two bands, filtering, waveform weights, cepstra
 * freed from bias, codes of the high band. */
#ifndef ZELSR_AURORA_BANDS_H
#define ZELSR_AURORA_BANDS_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup aurora_bands Bands of the distributed front-end
 *
 * No array needs alignment. Nothing is allocated. Thread rules: no state; histories and biases are the caller's.
 * @{ */

/** @name Split into a low and a high band
 * A pair of filters that halves the rate. With len rounded down to an even number, for m from 0 to len / 2 - 1:
 *
 * low[m]  = sum over k of taps[k] src[2 m + k]
 *
 * high[m] = sum over k of (-1)^(k + m + 1) taps[k] src[2 m + k]
 *
 * The whole pattern of signs changes from one m to the next: wanted. src holds len + tap_count - 2 values (of the
 * even len); a len of 1 has no results.
 *
 * Checks, in this order: null src or taps ::SrErrNullPtr; tap_count below 1 ::SrErrSize; null low or high
 * ::SrErrNullPtr; len below 1 ::SrErrSize.
 * @{ */
/** In single precision: the products of every fourth tap, in order, make a lane; low is (lane 0 + lane 1) +
 * (lane 2 + lane 3), high for an odd m (lane 0 - lane 1) + (lane 2 - lane 3), for an even m the negative of this.
 */
SrStatus zelsLowHighFilter_Aurora_32f(const float* src, float* low, float* high, int32_t len, const float* taps,
                                      int32_t tap_count);
/** Exact sums (up to 2^23 taps), times 2^-sf, rounded to nearest even and saturated. sf may be any number. */
SrStatus zelsLowHighFilter_Aurora_16s_Sfs(const int16_t* src, int16_t* low, int16_t* high, int32_t len,
                                          const int16_t* taps, int32_t tap_count, int32_t sf);
/** @} */

/** @name Residual filter
 * dst[n] = sum over j from 0 to 16 of taps[j] src[n + j], for n from 0 to 79: 96 values of src, 17 taps, which are
 * not reversed.
 *
 * Checks: null ::SrErrNullPtr.
 * @{ */
/** In single precision, in the order of the taps. */
SrStatus zelsResidualFilter_Aurora_32f(const float* src, float* dst, const float* taps);
/** The products of taps 0 and 1, 2 and 3, up to 14 and 15 are added in 32 bits, where 2^31, the sum of two
 * products of -32768 and -32768, wraps: wanted. All else is exact, then times 2^-sf, rounded to nearest even and
 * saturated. sf may be any number. */
SrStatus zelsResidualFilter_Aurora_16s_Sfs(const int16_t* src, int16_t* dst, const int16_t* taps, int32_t sf);
/** @} */

/** @name Wave processing
 * Raises the part of each pitch period that begins just before its peak of energy, and lowers the rest: dst[i] =
 * src[i] w[i], for a frame of 200 samples. dst may be src.
 *
 * - Energies e[i] = |x[i]^2 - x[i-1] x[i+1]|, with x[-1] = x[0] and x[200] = x[199]; s[i] is the sum of e[i-4] to
 *   e[i+4], with the end values repeated: s[0] = 5 e[0] + e[1] + ... + e[4], s[i] = s[i-1] - e[i-5] + e[i+4].
 * - Peaks: the largest s; then, while the peak found last, c, lies below 175, the largest from c + 25 to c + 79
 *   (to 199 for a c of 121 or more); then from the first peak downwards, while c lies above 25, the largest from
 *   max(c - 79, 0) to c - 25. The first of equals wins everywhere.
 * - Weights are low at first. For each peak A and the next one B, in ascending order, with reach = 0.8 (B - A)
 *   truncated, they are high from a = max(A - 4, 0) to b - 1, b = A + reach - 4; then 1 at a - 1 and a (for an a
 *   above 0), and at b - 1 and b. The last peak takes the reach of the one before it, b is at most 200, and at 200
 *   there is no transition.
 *
 * Checks: null ::SrErrNullPtr.
 * @{ */
/** In single precision; weights 0.8 and 1.2. */
SrStatus zelsWaveProcessing_Aurora_32f(const float* src, float* dst);
/** In 32-bit integers, sums wrap. Weights in Q5: 27 and 38, and 32 for 1; products are rounded to nearest even and
 * saturated. The reach is 27/32 of the distance, not 0.8: wanted. */
SrStatus zelsWaveProcessing_Aurora_16s(const int16_t* src, int16_t* dst);
/** @} */

/** @name Blind equalisation
 * Takes a slowly learning bias from a frame's cepstrum. For each i:
 *
 * t = cepstrum[i] - bias[i]; cepstrum[i] = t; bias[i] = (t - reference[i]) * step + bias[i]
 *
 * Checks, in this order: null ::SrErrNullPtr; len below 1 ::SrErrSize.
 * @{ */
/** step = min(max(log_energy - 3.296875, 0), 1) * 0.0087890625; a log energy that is not a number gives 0. */
SrStatus zelsBlindEqualization_Aurora_32f(const float* reference, float* cepstrum, float* bias, int32_t len,
                                          float log_energy);
/** The log energy is in Q6: step = min(max(log_energy - 211, 0), 64) * 9 / 65536, its product truncated downward.
 * Cepstrum and bias are saturated; the bias learns from the t before that: wanted. */
SrStatus zelsBlindEqualization_Aurora_16s(const int16_t* reference, int16_t* cepstrum, int16_t* bias, int32_t len,
                                          int32_t log_energy);
/** @} */

/** @name High-band coding
 * Codes three bands of a spectrum q, of at least 129 values, against three of a spectrum p, of at least 65, and
 * three low-band values a.
 *
 * With f(v) = ln v, or -10 where v is not above e^-10, P1 = p[33] + ... + p[38], P2 = p[39] + ... + p[48],
 * P3 = p[49] + ... + p[64], and A1 = f(half of q[66] + ... + q[76]), A2 of q[78] to q[96], A3 of q[98] to q[128]
 * (q[77] and q[97] stay out of every band: wanted):
 *
 * dst[j] = 0.1 (A1 - (f(P1) - f(a[j]))) + 0.2 (A2 - (f(P2) - f(a[j]))) + 0.7 (A3 - (f(P3) - f(a[j])))
 *
 * dst may be a. Checks: null ::SrErrNullPtr.
 * @{ */
/** In single precision, in the default floating-point environment; P1 and P2 are added in order, the other sums
 * are those of zelsSum_32f(), logarithms those of zelsLn_32f_I(). */
SrStatus zelsHighBandCoding_Aurora_32f(const float* a, const float* p, const float* q, float* dst);
/** In Q7: the logarithms of zelsLn_32s_Sfs(), -1280 for values below 1. Sums are saturated, those of q divided by
 * 8 and rounded to nearest even first; 177, ln 4, makes up for that. Factors are 102, 205 and 717 in Q10, each
 * product truncated downward.
 *
 * The result is shifted right by sf + 7 (by 31 at most). Below -7 it is shifted left by 39 + sf modulo 32, not by
 * -(sf + 7), and wraps: wanted. */
SrStatus zelsHighBandCoding_Aurora_32s_Sfs(const int32_t* a, const int32_t* p, const int32_t* q, int32_t* dst,
                                           int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
