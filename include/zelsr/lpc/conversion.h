/* Conversions among the parameters of a linear prediction filter. */
#ifndef ZELSR_LPC_CONVERSION_H
#define ZELSR_LPC_CONVERSION_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup lp_conversion Conversions of prediction parameters
 *
 * Coefficients a stand for A(z) = 1 + a[0] z^-1 + ... + a[len-1] z^-len, the leading 1 not stored. The reflection
 * coefficient k[m] is minus the last coefficient of the filter of order m + 1.
 *
 * 16-bit forms: an integer v stands for v * 2^sf, on input and on output (so that sf = -15 is Q15), where a member
 * does not say otherwise. Results are rounded, unless a member says otherwise, to nearest with ties to even, and
 * saturated; NaN gives 32767.
 *
 * Checks: null arrays ::SrErrNullPtr; len below 1 ::SrErrSize; then what a member says. ::SrErrMemAlloc if the
 * allocator refuses, with nothing written.
 *
 * Recursions run in single precision, in the caller's floating-point environment; the 16-bit forms, the spectra
 * and the reflection measures set the default environment for their time.
 *
 * No array needs alignment; the result does not depend on it. Results must not overlap the input but where a group
 * says so.
 *
 * Thread rules: no state. The members that warn of a zero denominator (::SrWarnDivByZero) tell it from the data,
 * and clear the calling thread's floating-point status flags where they met one.
 * @{ */

/** @name Cepstrum
 * The cepstrum of 1 / A(z), without its zeroth value, for n = 0 ... len-1:
 *
 *     c[n] = 0 - (S / (n+1) + a[n]),   S = sum over j = 1 ... n of (n-j+1) a[j-1] c[n-j]
 *     a[n] = 0 - (S / (n+1) + c[n]),   S = sum over j = 1 ... n of (n-j+1) c[n-j] a[j-1]
 *
 * each product from left to right, the sum in rising j. Lengths 4 to 21 multiply S by the rounded 1 / (n+1), the
 * others divide. 16-bit forms take no memory from the allocator below length 22, the others none at all.
 * @{ */
/** Cepstrum, single precision. */
SrStatus zelsLPToCepstrum_32f(const float* a, float* cepstrum, int32_t len);
/** Cepstrum, 16-bit: rounded to nearest, halves away from zero, not saturated: the low 16 bits are stored. */
SrStatus zelsLPToCepstrum_16s_Sfs(const int16_t* a, int16_t* cepstrum, int32_t len, int32_t sf);
/** Coefficients, single precision. */
SrStatus zelsCepstrumToLP_32f(const float* cepstrum, float* a, int32_t len);
/** Coefficients, 16-bit. (n-j+1) c[n-j] is an integer product that wraps at 32 bits, rounded to single and then
 * scaled. */
SrStatus zelsCepstrumToLP_16s_Sfs(const int16_t* cepstrum, int16_t* a, int32_t len, int32_t sf);
/** @} */

/** @name Reflection coefficients
 * Step-down, for m = len-1 ... 0, and step-up, for i = 0 ... len-1:
 *
 *     k[m] = 0 - a[m],   a[j] = (a[m-j-1] k[m] + a[j]) * (1 / (1 - k[m]^2))   for j = 0 ... m-1
 *     a[j] = a[j] - a[i-j-1] k[i]   for j = 0 ... i-1,   a[i] = 0 - k[i]
 *
 * all from the old values. No memory is asked for below length 16 (16-bit: 22).
 * @{ */
/** Step-down, single precision. A k[m] of 1 or -1 exactly ends it: ::SrErrLpToReflection; the results above m are
 * written, the others not. */
SrStatus zelsLPToReflection_32f(const float* a, float* k, int32_t len);
/** Step-down, 16-bit: rounded to nearest, halves away from zero, not saturated: the low 16 bits are stored. A k[m]
 * of 1 or -1 goes unreported (::SrOk, wanted): it and the results below it are 0. */
SrStatus zelsLPToReflection_16s_Sfs(const int16_t* a, int16_t* k, int32_t len, int32_t sf);
/** Step-up, single precision. */
SrStatus zelsReflectionToLP_32f(const float* k, float* a, int32_t len);
/** Step-up, 16-bit. */
SrStatus zelsReflectionToLP_16s_Sfs(const int16_t* k, int16_t* a, int32_t len, int32_t sf);
/** @} */

/** @name Spectrum
 * The amplitude envelope at N / 2 bins, N = 2^(fft_order + 1), of which the bin N / 2 is left out:
 *
 *     spectrum[b] = 1 / |X[b]|,   X the FFT of 0, a[0], ..., a[len-1], 0, ..., with val subtracted from X[0] alone
 *
 * There is no leading 1 in this: for the envelope 1 / |A| of a filter pass 1, a[0], ..., a[order-1], len is
 * order + 1 and val 0: the magnitude is that of z^-1 A(z).
 *
 * A further check: len at or above N ::SrErrSize; then the status of zelsFFTInitAlloc_R_32f() (::SrErrFftOrder).
 * The transform is prepared anew in every call. Magnitudes as zelsMagnitude_32fc(). The reciprocal up to fft_order
 * 2 is a division; beyond, the processor's estimate r with one Newton step, r * (2 - x r) (relative error below
 * 2^-21; a subnormal x gives minus infinity, an infinite one NaN: wanted). spectrum may be a.
 *
 * A magnitude of 0 gives 2139095040 (the bits of infinity as a number: wanted) up to fft_order 2, infinity beyond;
 * the result is ::SrWarnDivByZero.
 * @{ */
/** Single precision. */
SrStatus zelsLPToSpectrum_32f(const float* a, int32_t len, float* spectrum, int32_t fft_order, float val);
/** 16-bit: a and val as they stand; the results times 2^-sf. The reciprocal is the Newton one throughout. */
SrStatus zelsLPToSpectrum_16s_Sfs(const int16_t* a, int32_t len, int16_t* spectrum, int32_t fft_order, int32_t val,
                                  int32_t sf);
/** @} */

/** @name Reflection measures
 * Element by element; a quotient x / d is x * (r * (2 - d * r)), r the processor's estimate of 1 / d: relative
 * error below 2^-21, and no better where d is 1. Where d is 0 the result is ::SrWarnDivByZero. A destination may
 * be a source.
 *
 * 16-bit forms: src_sf is the source's own scale: v stands for v * 2^-src_sf; results are multiplied by 2^-sf. No
 * memory is asked for up to 100 elements.
 * @{ */
/** Area ratios, (1 - k) / (1 + k); infinity for a k of -1. */
SrStatus zelsReflectionToAR_32f(const float* k, float* dst, int32_t len);
/** Area ratios, 16-bit, with one = 2^src_sf: (one - k) / (one + k); 32767 where one + k is 0. */
SrStatus zelsReflectionToAR_16s_Sfs(const int16_t* k, int32_t src_sf, int16_t* dst, int32_t len, int32_t sf);
/** Log area ratios, ln((1 - c) / (1 + c)) with c = k limited to -thresh ... thresh; a NaN stays NaN. A further
 * check: thresh not above 0 or not below 1 ::SrErrRange. The status is that of zelsLn_32f_I(). */
SrStatus zelsReflectionToLAR_32f(const float* k, float* dst, int32_t len, float thresh);
/** Log area ratios, 16-bit: truncated toward zero (wanted) and saturated. */
SrStatus zelsReflectionToLAR_16s_Sfs(const int16_t* k, int32_t src_sf, int16_t* dst, int32_t len, float thresh,
                                     int32_t sf);
/** Areas: the running product P of (1 - k) / (1 + k), up to the first k of -1. From that element on: a k within -1
 * ... 1 gives infinity if P is above 0 and minus infinity if not, but a k of 1 fills the rest with NaN, itself
 * included; any other k gives infinity if P is below 0 and minus infinity if not. P is then the value just
 * written. */
SrStatus zelsReflectionToTrueAR_32f(const float* k, float* dst, int32_t len);
/** Areas, 16-bit, with one = 2^src_sf for 1. P * 2^-sf is truncated toward zero and saturated; 32767 and -32768
 * stand for the infinities (P is then 1 or -1), 0 for NaN. */
SrStatus zelsReflectionToTrueAR_16s_Sfs(const int16_t* k, int32_t src_sf, int16_t* dst, int32_t len, int32_t sf);
/** Tilt of magnitudes, (|k1| - |k2|) / (|k1| + |k2|); NaN where both are 0. */
SrStatus zelsReflectionToAbsTilt_32f(const float* k1, const float* k2, float* dst, int32_t len);
/** Tilt of magnitudes, 16-bit: the integers as they stand; 0 where both are 0. */
SrStatus zelsReflectionToAbsTilt_16s_Sfs(const int16_t* k1, const int16_t* k2, int16_t* dst, int32_t len,
                                         int32_t sf);
/** Tilt, (|k1| - |k2|) / (k1 + k2): a signed sum below the line, wanted; NaN where it is 0. */
SrStatus zelsReflectionToTilt_32f(const float* k1, const float* k2, float* dst, int32_t len);
/** Tilt, 16-bit: the integers as they stand; 0 where the sum is 0. */
SrStatus zelsReflectionToTilt_16s_Sfs(const int16_t* k1, const int16_t* k2, int16_t* dst, int32_t len, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
