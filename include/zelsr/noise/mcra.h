/* A running estimate of the noise in a spectrum. */
#ifndef ZELSR_NOISE_MCRA_H
#define ZELSR_NOISE_MCRA_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup mcra Noise estimate (minima controlled recursive averaging)
 *
 * Of each frame's power spectrum P, with B = n / 2 + 1 bins for an FFT of n points, the estimator keeps a smoothed
 * spectrum S and its minimum Smin over one to two windows of about a second. A bin that stands well above its
 * minimum counts as speech; the noise estimate N of a bin follows the input the less, the higher its presence of
 * speech p. In the first frame S = Smin = Stmp = N = P and p = 0; in the others, for each bin,
 *
 *     S = S * as + (1 - as) * P
 *     every L frames:  Smin = min(S, Stmp), Stmp = S;   else Smin = min(Smin, S), Stmp = min(Stmp, S)
 *     p = ap * p, and + (1 - ap) if S > 5 * Smin
 *     a = ad + (1 - ad) * p
 *     N = a * N + (1 - a) * P
 *
 * A frame in which the count of frames is L takes the first line for the minima; the count, 0 at first, is then
 * set to 0. Every frame ends by raising it by 1. So the first frame counts.
 *
 * The factors are given for 8 ms and follow the frame shift h (samples), with t = 125 h / sample_rate:
 * ad = 0.7^t, as = 0.8^t, ap = 0.2^t. The 32s forms take them from a cubic series, in Q31 (signed 32 bits, which
 * wrap): they are good for frame shifts of up to some 16 ms, and mean little beyond.
 *
 * Window in single precision: the truncation of x * 125, x = rate * 0.008 / h. It differs with the constructor,
 * wanted: zelsAltInitMCRA_32f() divides singles by h; zelsInitMCRA_32f() divides in double precision by the
 * largest power of two not above n / 2, so that its window is longer where n / 2 is none. t has n / 2 itself
 * there.
 *
 * Fixed point: all divisions and shifts right of what is not negative truncate, those of negative values round
 * down; order = bits of n / 2; ln 0.7, ln 0.8 and ln 0.2 / 8 in Q31 are -765953610, -479197128, -432030200.
 *
 *     Init:     c1 = (17179869 * rate >> 16 >> (order - 1)) + 1,   AltInit: c1 = (17179869 * rate / h >> 16) + 1
 *     L  = 125 * c1 >> 15,   e = (125 * h << 15) / rate,   y = e * ln >> 31
 *     q2 = y * y >> 15 >> 1,   q3 = (q2 * y >> 15) * 715827883 >> 31
 *     factor = (q2 + y + 32768 + q3) << 16, modulo 2^32;   for ap three times r = r * r >> 31
 *
 * The frame shift is stored and used for these constants only.
 *
 * Thread rules: a state serves one stream, one thread at a time.
 * @{ */

/** State of an estimator, in memory of the caller's. It holds addresses of its own block, which may lie on any
 * address and must not be moved. There is no Free.
 *
 * A record of 32-bit fields (addresses grow on x86-64): sample rate, n, order (number of halvings that bring n / 2
 * to 0), a reserved field that is left as it is, frame shift, L, count of frames, first (1 until the first
 * update), ad, ap, as, delta (5, in 32s in Q15), the addresses of p, S, Smin, Stmp. These arrays follow it in this
 * order, B elements each. */
typedef struct ZelMcraState_32f ZelMcraState_32f;
/** As ZelMcraState_32f, factors and p in Q31. */
typedef struct ZelMcraState_32s ZelMcraState_32s;

/** @name Bytes of a state
 * 68 + 4 * (4 * (n / 2) + 4), the same for both types; 16 more on x86-64.
 *
 * Checks: null ::SrErrNullPtr; fft_len below 8 or above 8192 ::SrErrSize.
 * @{ */
/** Single precision. */
SrStatus zelsGetSizeMCRA_32f(int32_t fft_len, int32_t* size);
/** Fixed point. */
SrStatus zelsGetSizeMCRA_32s(int32_t fft_len, int32_t* size);
/** @} */

/** @name Construction
 * A state that is built again starts anew.
 *
 * Checks, in this order: null ::SrErrNullPtr; sample_rate below 8000 or above 48000, or frame_shift below 1 or
 * above fft_len / 2 ::SrErrRange; fft_len below 8 or above 8192 ::SrErrSize.
 * @{ */
/** Single precision, frame shift fft_len / 2. */
SrStatus zelsInitMCRA_32f(int32_t sample_rate, int32_t fft_len, ZelMcraState_32f* state);
/** Fixed point, frame shift fft_len / 2. */
SrStatus zelsInitMCRA_32s(int32_t sample_rate, int32_t fft_len, ZelMcraState_32s* state);
/** Single precision. */
SrStatus zelsAltInitMCRA_32f(int32_t sample_rate, int32_t fft_len, int32_t frame_shift, ZelMcraState_32f* state);
/** Fixed point. */
SrStatus zelsAltInitMCRA_32s(int32_t sample_rate, int32_t fft_len, int32_t frame_shift, ZelMcraState_32s* state);
/** @} */

/** @name One frame
 * power and noise have B elements. noise receives the estimate and has to hold the last frame's; what it holds
 * before the first frame does not count. power may be noise.
 *
 * Checks: null ::SrErrNullPtr. A state is not checked any further.
 * @{ */
/** Single precision, in the caller's floating-point environment. */
SrStatus zelsUpdateNoisePSDMCRA_32f_I(const float* power, ZelMcraState_32f* state, float* noise);
/** Fixed point. S = (S * as + P * (0x7fffffff - as)) >> 31 in 64 bits, of which the low 32 are stored; then in
 * double precision, c = 2^-31, f = 0x7fffffff, results rounded to nearest (ties to even) and saturated:
 *
 *     q = p * ap * c, and + (f - ap) if min(Smin * 5, f) < S;   p = q, rounded
 *     a = ad + q * (f - ad) * c
 *     N = a * N * c + (f - a) * P * c
 *
 * f - ap, f - ad and 0x7fffffff - as are differences of 32 bits, which wrap for a factor below zero. */
SrStatus zelsUpdateNoisePSDMCRA_32s_I(const int32_t* power, ZelMcraState_32s* state, int32_t* noise);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
