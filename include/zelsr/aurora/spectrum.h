/* The distributed front-end's spectra: smoothing, noise, Wiener gains, taps. */
#ifndef ZELSR_AURORA_SPECTRUM_H
#define ZELSR_AURORA_SPECTRUM_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup aurora_spectrum Spectra of the distributed front-end
 *
 * The steps of noise reduction in the frequency domain, one array a call; what is kept from frame to frame is the
 * caller's: the FFT's output in Perm format, 256 values -> a smoothed power spectrum of 65 bins -> the noise
 * spectrum -> a gain per bin -> (mel bank, inverse transform) ten values -> an impulse response of 17 taps.
 *
 * Spectra hold power, above zero; other values are taken through the same steps. No array needs alignment. Thread
 * rules: no state.
 * @{ */

/** @name Smoothed power spectrum
 * At half the resolution: out of the n values x of a spectrum in Perm format (R[0], R[n/2], R[1], I[1], ...), n a
 * multiple of 4, come n/4 + 1 values:
 *
 *     dst[0]   = (x[0]^2 + x[2]^2 + x[3]^2) / 2
 *     dst[i]   = (x[4i]^2 + x[4i+1]^2 + x[4i+2]^2 + x[4i+3]^2) / 2     i = 1 ... n/4 - 1
 *     dst[n/4] = x[1]^2, at half the sample rate: not halved
 *
 * The arrays do not overlap. Checks, in this order: null ::SrErrNullPtr; n below 1 or no multiple of 4
 * ::SrErrSize.
 * @{ */
/** Single precision, in the caller's floating-point environment. dst[0] adds from the left, dst[i] as
 * (x[4i]^2 + x[4i+1]^2) + (x[4i+2]^2 + x[4i+3]^2), then comes the product with 0.5. */
SrStatus zelsSmoothedPowerSpectrumAurora_32f(const float* src, float* dst, int32_t n);
/** Unscaled and saturated. Each square is halved, its fraction dropped, before it is added in 32 bits: of four
 * values -32768 the sum wraps, and becomes -32768. */
SrStatus zelsSmoothedPowerSpectrumAurora_16s(const int16_t* src, int16_t* dst, int32_t n);
/** Times 2^-sf. dst[0]: squares in 64 bits, each halved, the sum shifted (right: rounded down) and saturated.
 * dst[i]: the sum in double, in the order of 32f, times 2^(-sf-1), converted by the caller's rounding mode (by
 * default to the nearest, ties to even) with no saturation: what is out of range becomes -2147483648, and so does
 * a sum of zero for an sf below -1024, whose multiplier is infinite. dst[n/4]: the low 32 bits of x[1]^2 as a
 * signed number, shifted and saturated as dst[0]: it wraps from |x[1]| = 46341 on. */
SrStatus zelsSmoothedPowerSpectrumAurora_32s_Sfs(const int32_t* src, int32_t* dst, int32_t n, int32_t sf);
/** Times 2^-sf, in 64 bits throughout, where the sum and the shift to the left wrap: squares, each halved, are
 * added, the sum is shifted (right: rounded down). dst[n/4] as in zelsSmoothedPowerSpectrumAurora_32s_Sfs(), not
 * saturated. */
SrStatus zelsSmoothedPowerSpectrumAurora_32s64s_Sfs(const int32_t* src, int64_t* dst, int32_t n, int32_t sf);
/** @} */

/** @name Noise spectrum
 * Of the spectra a (of the frame) and b (of the noise so far):
 *
 *     dst = b * (0.9 + 0.1 * (a / (a + b)) * (b / (0.1 * a + b) + 1))
 *
 * dst may be one of the sources. Checks: null ::SrErrNullPtr; len below 1 ::SrErrSize.
 * @{ */
/** Single precision, rounded toward zero whatever the caller's rounding mode, with the processor's 12-bit
 * estimates of both reciprocals. 0 wherever a + b or 0.1 * a + b is 0, and wherever the default not-a-number
 * (0xffc00000) comes out: of infinite elements, for example. Another not-a-number passes. Sums that are subnormal
 * have an infinite reciprocal. */
SrStatus zelsNoiseSpectrumUpdate_Aurora_32f(const float* a, const float* b, float* dst, int32_t len);
/** Times 2^-sf, saturated: in single precision, with divisions, whatever the caller's rounding mode. With
 * r = a / (a + b), t = 0.1 * a + b: y = b * (0.1 * r * (b / t + 1) + 0.9) * 2^-sf, from left to right, truncated;
 * 0 where a + b, as integers, is 0, and where |t| is below 1. A not-a-number (b = 0 under an infinite 2^-sf, from
 * -128 down) becomes -32768. */
SrStatus zelsNoiseSpectrumUpdate_Aurora_16s_Sfs(const int16_t* a, const int16_t* b, int16_t* dst, int32_t len,
                                                int32_t sf);
/** The same steps. The integer sum that is tested wraps at 32 bits; that of r is a sum of singles. What is out of
 * range becomes -2147483648 on either side, and so does a not-a-number. */
SrStatus zelsNoiseSpectrumUpdate_Aurora_32s_Sfs(const int32_t* a, const int32_t* b, int32_t* dst, int32_t len,
                                                int32_t sf);
/** @} */

/** @name Wiener gain
 * Per bin, of the frame's power P, the noise N and the denoised power D of the frame before:
 *
 *     e = (0.98 * D + 0.02 * max(P - N, 0)) / N              a-priori ratio
 *     f = max(e / (e + 1) * (P / N), 0.07943282)             -22 dB as a ratio of amplitudes
 *     gain = f / (f + 1)
 *
 * The spectra count as they stand: of amplitudes, which the distributed front-end takes here, the floor is -22 dB,
 * of power it is -11 dB.
 *
 * The gain may be one of the sources. Checks: null ::SrErrNullPtr; len below 1 ::SrErrSize.
 * @{ */
/** Single precision, in the caller's floating-point environment. Products with q, the processor's 12-bit estimate
 * of 1 / N, stand for both divisions by N: f = e / (e + 1) * (P * q). A not-a-number counts as the floor, so that
 * N = 0 gives 0.07943282 / 1.07943282. */
SrStatus zelsWienerFilterDesign_Aurora_32f(const float* power, const float* noise, const float* denoised,
                                           float* gain, int32_t len);
/** The gain in Q14. Integers in 64 bits, divisions truncate, shifts round down: 1206, the floor, for N = 0, else
 * with R = 16384 / N, d = P - N or 0, M = (82 * d + 4014 * D) * R, T = M >> 14:
 *
 *     G = (T << 14) / (T + 4096), 0 if T is -4096;   x = max(((P * G) >> 14) * R, 1301)
 *     gain = (x << 7) / ((x >> 7) + 128) */
SrStatus zelsWienerFilterDesign_Aurora_16s(const int16_t* power, const int16_t* noise, const int16_t* denoised,
                                           int16_t* gain, int32_t len);
/** @} */

/** @name Taps
 * The ten values of a table become 17 taps around taps[8], the upper side shifted by one place:
 *
 *     taps[8] = table[0];   taps[8 - k] = table[k], taps[8 + k] = table[k + 1] for k = 1 ... 8
 *
 * so that table[1] and table[9] come once, at taps[7] and taps[16]. The arrays do not overlap. Checks: null
 * ::SrErrNullPtr.
 * @{ */
/** 10 singles to 17; every bit is copied. */
SrStatus zelsTabsCalculation_Aurora_32f(const float* table, float* taps);
/** 10 16-bit integers to 17. */
SrStatus zelsTabsCalculation_Aurora_16s(const int16_t* table, int16_t* taps);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
