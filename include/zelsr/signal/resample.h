/* Sampling-rate conversion by windowed sines. */
#ifndef ZELSR_SIGNAL_RESAMPLE_H
#define ZELSR_SIGNAL_RESAMPLE_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup resample Polyphase resampling
 *
 * A signal is convolved with a Kaiser-windowed sine quotient, the prototype:
 *
 *     h[0] = rollf,   h[i] = sin(i rollf pi / P) / (i pi / P) * I0(alpha sqrt(1 - (i / (L-1))^2)) / I0(alpha)
 *
 * for i = 1 ... L - 1, in double; rollf, the edge of the passband, is above 0 and at most 1, alpha at least 1
 * (above some 700 the window overflows). Then all of it is divided by h[0] + 2 (h[P] + h[2P] + ...), so that a
 * constant comes out as itself.
 *
 * Two engines. The continuous one (`ZelResampleState`) interpolates between the entries of one long table: any
 * factor, which may change with every call. The fixed one (`ZelResampleFixedState`) has a row of taps for every
 * phase of one rational factor: one dot product a sample.
 *
 * Time and history are the caller's. *time is a position in source samples, index 0 at src. A call goes on from
 * *time until it reaches len + (*time truncated), so that len samples are consumed; *time then stands at the first
 * position behind, where the next call continues without a jump: either with the same src, or with src moved on
 * and *time less by as much. *count receives the number of samples in dst, at most len * factor + 1, and factor
 * more for a negative *time. A *time that is not below the end (NaN too) gives a *count of 0. Samples before and
 * behind are read as far as the filter reaches (below); the caller keeps them there. A negative *time points
 * before src.
 *
 * hint 2 selects the accurate form, any other value the fast form. What that means:
 *
 * | engine          | fast                              | accurate                       |
 * |-----------------|-----------------------------------|--------------------------------|
 * | continuous, 32f | taps in single, sums in double    | the same                       |
 * | continuous, 16s | taps in 16 bits, sums in double   | taps in single, sums in double |
 * | fixed, 32f      | sums as zelsDotProd_32f()         | sums as zelsDotProd_32f64f()   |
 * | fixed, 16s      | taps in 16 bits, sums in integers | taps in single                 |
 *
 * (fixed, 16s, accurate: products are rounded to single, summed in double, the sum is rounded to single.)
 *
 * 16-bit results are limited to 16 bits and rounded half away from zero. They do not depend on the caller's
 * rounding mode, nor do the tables.
 *
 * norm multiplies all results. No array, nor the memory of a record, needs alignment. Thread rules: threads may
 * share a record.
 * @{ */

/** Table of the continuous engine. */
typedef struct ZelResampleState ZelResampleState;
/** Rows of the fixed engine. */
typedef struct ZelResampleFixedState ZelResampleFixedState;

/** @name Continuous engine: records
 * A prototype of P = n_step and L = window * 0.5 * n_step (in single precision, truncated) + 1 entries, followed
 * by a copy of the last one: window is its width in source samples.
 *
 * Checks: null ::SrErrNullPtr; n_step below 1 ::SrErrSize; ::SrErrBadArg unless window is at least 2 / n_step (in
 * double), rollf and alpha are in their ranges, and L is at most 0xFFFFFFE. Refused memory ::SrErrMemAlloc; *state
 * is written last.
 * @{ */
/** Taps in single precision, for zelsResamplePolyphase_32f(). */
SrStatus zelsResamplePolyphaseInitAlloc_32f(ZelResampleState** state, float window, int32_t n_step, float rollf,
                                            float alpha, int32_t hint);
/** For zelsResamplePolyphase_16s(). Fast: M being the largest |h|, taps are h * 16383 / M rounded half away from
 * zero, and results are multiplied by M / 16383. If the prototype's work memory is refused there, the status is
 * ::SrErrNullPtr: wanted. Accurate: taps in single precision. */
SrStatus zelsResamplePolyphaseInitAlloc_16s(ZelResampleState** state, float window, int32_t n_step, float rollf,
                                            float alpha, int32_t hint);
/** Releases a record. Null ::SrErrNullPtr. */
SrStatus zelsResamplePolyphaseFree_32f(ZelResampleState* state);
/** As zelsResamplePolyphaseFree_32f(). */
SrStatus zelsResamplePolyphaseFree_16s(ZelResampleState* state);
/** @} */

/** @name Continuous engine: processing
 * Per result, with t = *time, i = t rounded down and f = t - i, in double:
 *
 * - factor below 1: p = factor f n_step; for j = 0, 1, ... while p < L - 1e-5: acc += h(p) x[i - j], then p grows
 *   by factor n_step; the same from p = (1 - f) factor n_step on with x[i + 1 + j]. Here h(p) = h[k] (1 - r) +
 *   h[k+1] r, where k is p truncated and r = p - k. The result is acc * norm * factor * scale.
 * - factor from 1 on: p = n_step f, k is 1e-5 + p truncated, r = p - k; for k, k + n_step, ... below L:
 *   acc += (h[k] (1 - r) + h[k+1] r) x[i - j]; the same from p = (1 - f) n_step on with x[i + 1 + j]. The result
 *   is acc * (scale * norm).
 *
 * Then t grows by 1 / factor; a t that is too large to grow ends the call. The filter reaches L / n_step samples
 * (factor below 1: divided by factor) to either side.
 *
 * Checks: null ::SrErrNullPtr; len below 1, or factor not above 0, ::SrErrSize.
 * @{ */
/** Single precision. */
SrStatus zelsResamplePolyphase_32f(const ZelResampleState* state, const float* src, int32_t len, float* dst,
                                   double factor, float norm, double* time, int32_t* count);
/** 16-bit. */
SrStatus zelsResamplePolyphase_16s(const ZelResampleState* state, const int16_t* src, int32_t len, int16_t* dst,
                                   double factor, float norm, double* time, int32_t* count);
/** @} */

/** @name Fixed engine: records
 * in_rate and out_rate are first divided by their greatest common divisor; out_rate / in_rate is the factor, and
 * there are out_rate rows. half = ((len + 3) & ~3) / 2, and a row has (len + 4) & ~3 elements. Row p serves the
 * results that lie p / out_rate behind a source sample i: its element half - 1 - j is the tap of x[i - j], at the
 * distance j + p / out_rate; its element half + j that of x[i + 1 + j]. Row 0: element half is the tap of x[i],
 * elements half - j and half + j those of x[i - j] and x[i + j].
 *
 * The taps at distance i / out_rate are h[i] of a prototype of P = max(in_rate, out_rate), and
 * L = (1e-5 + (2 half * min(factor, 1) in single precision)) * 0.5 * P (truncated) + 1; elements 0 and 2 half of
 * row 0 are its last entry.
 *
 * Unless len is a multiple of 4, a row has but 2 half elements: element 2 half of row 0 then lies at the head of
 * row 1, whose own element it is: wanted. Only where there is no row 1 is it left out.
 *
 * Steps between source samples are kept in 16 bits: an in_rate / out_rate of 65536 or more wraps.
 *
 * Checks: null ::SrErrNullPtr; in_rate, out_rate or len below 1 ::SrErrSize; then as the member says.
 *
 * Size in bytes on i386, R being the elements of all rows:
 * 28 + 16 (ceil(out_rate / 8) + ceil((out_rate + 1) / 4)) + 4 R; 16s: 32 + ... + 2 R. On x86-64 the head takes 8
 * more and a row pointer 8 bytes.
 * @{ */
/** Rows in single precision. rollf or alpha out of range, or more than 0x7FFFFFFE bytes, ::SrErrBadArg; for
 * refused memory ::SrErrMemAlloc; *state is written last. */
SrStatus zelsResamplePolyphaseFixedInitAlloc_32f(ZelResampleFixedState** state, int32_t in_rate, int32_t out_rate,
                                                 int32_t len, float rollf, float alpha, int32_t hint);
/** As zelsResamplePolyphaseFixedInitAlloc_32f(). Fast: 16-bit rows of h * 16384, rounded half away from zero, and
 * results are multiplied by 2^-14. Accurate: rows in single precision. */
SrStatus zelsResamplePolyphaseFixedInitAlloc_16s(ZelResampleFixedState** state, int32_t in_rate, int32_t out_rate,
                                                 int32_t len, float rollf, float alpha, int32_t hint);
/** Releases a record of InitAlloc. Null ::SrErrNullPtr. */
SrStatus zelsResamplePolyphaseFixedFree_32f(ZelResampleFixedState* state);
/** As zelsResamplePolyphaseFixedFree_32f(). */
SrStatus zelsResamplePolyphaseFixedFree_16s(ZelResampleFixedState* state);

/** Bytes of a record in the caller's memory, elements of a row, number of rows. More than 0x7FFFFFFE bytes
 * ::SrErrSize. */
SrStatus zelsResamplePolyphaseFixedGetSize_32f(int32_t in_rate, int32_t out_rate, int32_t len, int32_t* size,
                                               int32_t* row_len, int32_t* row_count);
/** The same for 16-bit rows; a hint other than 1 ::SrErrBadArg. */
SrStatus zelsResamplePolyphaseFixedGetSize_16s(int32_t in_rate, int32_t out_rate, int32_t len, int32_t* size,
                                               int32_t* row_len, int32_t* row_count, int32_t hint);
/** Makes a record without taps in the caller's memory, which is the record from then on and must not be moved;
 * rows are filled by zelsResamplePolyphaseSetFixedFilter_32f(). More than 0x7FFFFFFE bytes ::SrErrSize. */
SrStatus zelsResamplePolyphaseFixedInit_32f(ZelResampleFixedState* memory, int32_t in_rate, int32_t out_rate,
                                            int32_t len, int32_t hint);
/** The same for 16-bit rows, whose results are multiplied by 2^-14; a hint other than 1 ::SrErrBadArg. */
SrStatus zelsResamplePolyphaseFixedInit_16s(ZelResampleFixedState* memory, int32_t in_rate, int32_t out_rate,
                                            int32_t len, int32_t hint);
/** @} */

/** @name Fixed engine: rows
 * Copies min(2 half + 4, row_step) elements of each row, row r at rows[r * row_step]; or, where row_step is
 * 2 half + 4, row_count * row_step elements as one block. Nothing is copied from or to what lies behind the last
 * row: a row_count above out_rate counts as out_rate. Rows are set in order, so that what goes beyond a row is
 * replaced by the next one.
 *
 * The form is that of the rows' type: 32f for an accurate 16-bit record. Checks: null ::SrErrNullPtr; row_step or
 * row_count below 1 ::SrErrSize.
 * @{ */
/** Sets rows in single precision. */
SrStatus zelsResamplePolyphaseSetFixedFilter_32f(ZelResampleFixedState* state, const float* rows, int32_t row_step,
                                                 int32_t row_count);
/** Sets 16-bit rows. */
SrStatus zelsResamplePolyphaseSetFixedFilter_16s(ZelResampleFixedState* state, const int16_t* rows,
                                                 int32_t row_step, int32_t row_count);
/** Gets rows in single precision. */
SrStatus zelsResamplePolyphaseGetFixedFilter_32f(const ZelResampleFixedState* state, float* rows, int32_t row_step,
                                                 int32_t row_count);
/** Gets 16-bit rows. */
SrStatus zelsResamplePolyphaseGetFixedFilter_16s(const ZelResampleFixedState* state, int16_t* rows,
                                                 int32_t row_step, int32_t row_count);
/** @} */

/** @name Fixed engine: processing
 * With i = *time rounded down, f = *time - i and phase0 = out_rate f + 0.5 truncated, position begins at
 * i * out_rate + phase0 and grows by in_rate a result until it reaches (len + (*time truncated)) * out_rate. With p = position
 * modulo out_rate, a result is the dot product of row p and of 2 half samples, 2 half + 1 for p = 0, times
 * min(factor, 1) * scale * norm in double, rounded once. In the end *time is f + (position - phase0) / out_rate.
 * The first sample of a row lies at index position / out_rate - half + 1, for p = 0 one before.
 *
 * A *time outside -2^31 ... 2^31 gives a *count of 0. Checks: null ::SrErrNullPtr; len below 1 ::SrErrSize.
 * @{ */
/** Single precision. */
SrStatus zelsResamplePolyphaseFixed_32f(const ZelResampleFixedState* state, const float* src, int32_t len,
                                        float* dst, float norm, double* time, int32_t* count);
/** 16-bit. */
SrStatus zelsResamplePolyphaseFixed_16s(const ZelResampleFixedState* state, const int16_t* src, int32_t len,
                                        int16_t* dst, float norm, double* time, int32_t* count);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
