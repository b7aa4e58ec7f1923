/* Time derivatives of feature vectors. */
#ifndef ZELSR_FRONTEND_DELTA_H
#define ZELSR_FRONTEND_DELTA_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup delta Delta coefficients
 *
 * Appends the derivatives of feature vectors over time: the delta d of the static values s, and in the DeltaDelta
 * forms the second derivative a.
 *
 *     Win1:  d[t] = s[t+1] - s[t-1]
 *     Win2:  d[t] = (s[t+1] - s[t-1]) + 2 (s[t+2] - s[t-2])
 *
 * times val (val1), or times a multiplier of its column; a from d likewise, times val2.
 *
 * No array needs alignment; the result does not depend on it. No source may overlap a destination. Thread rules:
 * no state.
 * @{ */

/** Bits of the mode of the block forms. */
enum {
    DeltaFirstBlock = 1, /**< This block begins the utterance: its first h rows prime the window. */
    DeltaLastBlock = 2   /**< This block ends the utterance: the rows still open are closed. */
};

/** @name Block forms
 * A stream of frames, block by block. src holds height frames of width values one after the other; a row of dst,
 * step elements apart, receives static values in columns 0 ... width-1, deltas in width ... 2 width-1, second
 * derivatives in 2 width ... 3 width-1. What a block needs of the one before it stays in the rows of dst: h of
 * them, the history.
 *
 * | family                                                 | h |
 * |--------------------------------------------------------|---|
 * | `Delta_Win1`, `DeltaMul_Win1`                          | 2 |
 * | `Delta_Win2`, `DeltaMul_Win2`                          | 4 |
 * | `DeltaDelta_Win1`, `DeltaDeltaMul_Win1`                | 3 |
 * | `DeltaDelta_Win2`, `DeltaDeltaMul_Win2`                | 6 |
 * | `Aurora`                                               | 8 |
 *
 * With ::DeltaFirstBlock the first h frames become static rows 0 ... h-1, and R = height - h more follow; without
 * it, rows 0 ... h-1 are the history, and R = height. Each of the R frames becomes the next static row and
 * completes the derivatives of one row. ::DeltaLastBlock completes those of all rows. A block therefore ends with
 * h + R static rows; the next one's dst is R rows further on. Any division of a stream into blocks gives the bits
 * of one call. A height of 0 with ::DeltaLastBlock only closes (src must not be null even then). Width, step and
 * multipliers must stay the same while a stream is open.
 *
 * At both ends of an utterance, a row index before its first row stands for the first, one behind its last for the
 * last: d[0] = (s[1] - s[0]) + 2 (s[2] - s[0]) in Win2.
 *
 * In `Mul` forms mul[0 ... width-1] multiplies the source into the static columns, mul[width ... 2 width-1] the
 * delta, mul[2 width ... 3 width-1] the second derivative.
 *
 * Single precision: (s[t+1] - s[t-1]) * val; ((s[t+1] - s[t-1]) + e + e) * val with e = s[t+2] - s[t-2], added in
 * that order; a from the stored deltas.
 *
 * 16 bits: each difference is taken modulo 2^16, the window's value times val modulo 2^32; then sf above zero
 * shifts right, rounding down, sf below zero shifts left modulo 2^32 (all bits go at 32 and more), and the result
 * saturates to 16 bits. a from the stored deltas, under the same sf. Static values are copied; in `Mul` forms they
 * are products under the same rules.
 *
 * Checks, in this order: null pointers ::SrErrNullPtr; width below 1 or height below 0 ::SrErrSize; height 0
 * without ::DeltaLastBlock ::SrErrSize; step below 2 width (DeltaDelta: 3 width) ::SrErrStride; ::DeltaFirstBlock
 * with height below h ::SrErrSize.
 * @{ */
/** Delta of one neighbour, single precision. */
SrStatus zelsDelta_Win1_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height,
                               float val, int32_t mode);
/** Delta of two neighbours, single precision. */
SrStatus zelsDelta_Win2_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height,
                               float val, int32_t mode);
/** Delta and second derivative of one neighbour, single precision. */
SrStatus zelsDeltaDelta_Win1_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height,
                                    float val1, float val2, int32_t mode);
/** Delta and second derivative of two neighbours, single precision. */
SrStatus zelsDeltaDelta_Win2_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height,
                                    float val1, float val2, int32_t mode);
/** Delta of one neighbour, 16-bit. */
SrStatus zelsDelta_Win1_16s_D2Sfs(const int16_t* src, int32_t width, int16_t* dst, int32_t step, int32_t height,
                                  int16_t val, int32_t mode, int32_t sf);
/** Delta of two neighbours, 16-bit. */
SrStatus zelsDelta_Win2_16s_D2Sfs(const int16_t* src, int32_t width, int16_t* dst, int32_t step, int32_t height,
                                  int16_t val, int32_t mode, int32_t sf);
/** Delta and second derivative of one neighbour, 16-bit. */
SrStatus zelsDeltaDelta_Win1_16s_D2Sfs(const int16_t* src, int32_t width, int16_t* dst, int32_t step,
                                       int32_t height, int16_t val1, int16_t val2, int32_t mode, int32_t sf);
/** Delta and second derivative of two neighbours, 16-bit. */
SrStatus zelsDeltaDelta_Win2_16s_D2Sfs(const int16_t* src, int32_t width, int16_t* dst, int32_t step,
                                       int32_t height, int16_t val1, int16_t val2, int32_t mode, int32_t sf);

/** zelsDelta_Win1_32f_D2() with a multiplier for each of 2 width columns. */
SrStatus zelsDeltaMul_Win1_32f_D2(const float* src, const float* mul, int32_t width, float* dst, int32_t step,
                                  int32_t height, int32_t mode);
/** zelsDelta_Win2_32f_D2() with a multiplier for each of 2 width columns. */
SrStatus zelsDeltaMul_Win2_32f_D2(const float* src, const float* mul, int32_t width, float* dst, int32_t step,
                                  int32_t height, int32_t mode);
/** zelsDeltaDelta_Win1_32f_D2() with a multiplier for each of 3 width columns. */
SrStatus zelsDeltaDeltaMul_Win1_32f_D2(const float* src, const float* mul, int32_t width, float* dst, int32_t step,
                                       int32_t height, int32_t mode);
/** zelsDeltaDelta_Win2_32f_D2() with a multiplier for each of 3 width columns. */
SrStatus zelsDeltaDeltaMul_Win2_32f_D2(const float* src, const float* mul, int32_t width, float* dst, int32_t step,
                                       int32_t height, int32_t mode);
/** zelsDelta_Win1_16s_D2Sfs() with a multiplier for each of 2 width columns. */
SrStatus zelsDeltaMul_Win1_16s_D2Sfs(const int16_t* src, const int16_t* mul, int32_t width, int16_t* dst,
                                     int32_t step, int32_t height, int32_t mode, int32_t sf);
/** zelsDelta_Win2_16s_D2Sfs() with a multiplier for each of 2 width columns. */
SrStatus zelsDeltaMul_Win2_16s_D2Sfs(const int16_t* src, const int16_t* mul, int32_t width, int16_t* dst,
                                     int32_t step, int32_t height, int32_t mode, int32_t sf);
/** zelsDeltaDelta_Win1_16s_D2Sfs() with a multiplier for each of 3 width columns. */
SrStatus zelsDeltaDeltaMul_Win1_16s_D2Sfs(const int16_t* src, const int16_t* mul, int32_t width, int16_t* dst,
                                          int32_t step, int32_t height, int32_t mode, int32_t sf);
/** zelsDeltaDelta_Win2_16s_D2Sfs() with a multiplier for each of 3 width columns. */
SrStatus zelsDeltaDeltaMul_Win2_16s_D2Sfs(const int16_t* src, const int16_t* mul, int32_t width, int16_t* dst,
                                          int32_t step, int32_t height, int32_t mode, int32_t sf);
/** @} */

/** @name Aurora
 * The block form of the distributed front-end: frames of 14 values (c1 ... c12, c0, log energy) into rows of 39
 * columns (13 static, 13 delta, 13 second derivative), h = 8. Static columns 0 ... 11 copy the source; column 12
 * is (c0 * 0.6) / 23 + logE * 0.4. Both derivatives are sums over the static rows t-4 ... t+4, in this order, from
 * the first product on:
 *
 * | row    | -4 | -3    | -2        | -1        | 0         | +1        | +2        | +3   | +4 |
 * |--------|----|-------|-----------|-----------|-----------|-----------|-----------|------|----|
 * | delta  | -1 | -0.75 | -0.5      | -0.25     |           | 0.25      | 0.5       | 0.75 | 1  |
 * | second | 1  | 0.25  | -0.285714 | -0.607143 | -0.714286 | -0.607143 | -0.285714 | 0.25 | 1  |
 *
 * In `Mul` forms mul[column] multiplies every value of its column, mul[12] the sum.
 *
 * 16 bits: all sums of the stored static values. s = sf modulo 32, so that nothing is ever shifted left. Static
 * column 12 and the second derivative are formed in single precision (multiplier included), truncated toward zero,
 * saturated to 32 bits, shifted right by s, rounding down, saturated to 16 bits. The other static columns: the
 * value, or its product, shifted right by s and saturated. The delta: 4 times its sum, which is an integer, times
 * the multiplier modulo 2^32, shifted right by (sf + 2) modulo 32, saturated. All in the default floating-point
 * environment, whatever the caller's.
 *
 * Checks, in this order: null pointers ::SrErrNullPtr; height below 0, or 0 without ::DeltaLastBlock, ::SrErrSize;
 * step below 39 ::SrErrStride; ::DeltaFirstBlock with height below 8 ::SrErrSize.
 * @{ */
/** Single precision. */
SrStatus zelsDeltaDelta_Aurora_32f_D2(const float* src, float* dst, int32_t step, int32_t height, int32_t mode);
/** Single precision with 39 multipliers. */
SrStatus zelsDeltaDeltaMul_Aurora_32f_D2(const float* src, const float* mul, float* dst, int32_t step,
                                         int32_t height, int32_t mode);
/** 16-bit. */
SrStatus zelsDeltaDelta_Aurora_16s_D2Sfs(const int16_t* src, int16_t* dst, int32_t step, int32_t height,
                                         int32_t mode, int32_t sf);
/** 16-bit with 39 multipliers. */
SrStatus zelsDeltaDeltaMul_Aurora_16s_D2Sfs(const int16_t* src, const int16_t* mul, int16_t* dst, int32_t step,
                                            int32_t height, int32_t mode, int32_t sf);
/** @} */

/** @name Whole-buffer forms
 * The delta of any window W = win_size over a whole utterance, in place: x are columns offset ... offset+width-1
 * of height rows, and columns offset+width ... offset+2 width-1 receive
 *
 *     d[t] = val * sum over k = 1 ... W of k * (x[t+k] - x[t-k])
 *
 * In the first W rows x[0] stands for x[t-k], for every k; in the last W rows the last x for x[t+k], for every k:
 * these ends are not those of the block forms, wanted. Single precision throughout, from zero on, k rising. 16
 * bits: each difference modulo 2^16, sum and product with val modulo 2^32, then shifted and saturated as in the
 * block forms. In `Mul` forms mul[width + column] takes the place of val; mul[0 ... width-1] is not read.
 *
 * Checks, in this order: null pointers ::SrErrNullPtr; height, width or win_size below 1, offset below 0, or
 * height below 2 win_size ::SrErrSize; step below offset + 2 width ::SrErrStride.
 * @{ */
/** Single precision. */
SrStatus zelsEvalDelta_32f_D2(float* srcdst, int32_t height, int32_t step, int32_t width, int32_t offset,
                              int32_t win_size, float val);
/** 16-bit. */
SrStatus zelsEvalDelta_16s_D2Sfs(int16_t* srcdst, int32_t height, int32_t step, int32_t width, int32_t offset,
                                 int32_t win_size, int16_t val, int32_t sf);
/** Single precision, a multiplier for each column. */
SrStatus zelsEvalDeltaMul_32f_D2(float* srcdst, int32_t height, int32_t step, const float* mul, int32_t width,
                                 int32_t offset, int32_t win_size);
/** 16-bit, a multiplier for each column. */
SrStatus zelsEvalDeltaMul_16s_D2Sfs(int16_t* srcdst, int32_t height, int32_t step, const int16_t* mul,
                                    int32_t width, int32_t offset, int32_t win_size, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
