/* Energies, the offset of a signal, changes of its sign. */
#ifndef ZELSR_FRONTEND_ENERGY_H
#define ZELSR_FRONTEND_ENERGY_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup energy Energy, offset and sign-change measures
 *
 * No array needs alignment. Thread rules: no state.
 * @{ */

/** @name Normalised energy
 * A track of log energies against its maximum M, in place: the height elements column[i * step],
 *
 *     x' = 1 - (M - max(x, M - floor_drop)) * scale,   floor_drop = silence_floor * 0.230259
 *
 * (silence_floor in decibels, ln 10 / 10 nepers each). M is found in the column, NaN elements left aside; in the
 * `RT` forms (real time) it is given. A NaN element counts as the floor.
 *
 * In 16 bits, unit stands for 1. Plain form: the formula in single precision, limited to 16 bits, truncated toward
 * zero. It is used for a scale of 1.001 and more, and in zelsNormEnergy_16s() for a height below 11 too. Fast
 * form, in all other cases: the floor M - floor_drop is rounded half away from zero and saturated, Q = 1024 *
 * scale is truncated (its low 16 bits count); then, each step saturated to 16 bits,
 *
 *     e = M - max(x, floor),   p = e * Q >> 10,   x' = unit - p
 *
 * for all rows but the last height modulo 4, which take the plain form with the rounded floor. The two may differ
 * by rounding.
 *
 * Checks: null ::SrErrNullPtr; step or height below 1 ::SrErrSize.
 * @{ */
/** Single precision. */
SrStatus zelsNormEnergy_32f(float* column, int32_t step, int32_t height, float silence_floor, float scale);
/** 16-bit. Above a height of 1024, ::SrErrMemAlloc if the allocator refuses work memory, with the column as it
 * was. */
SrStatus zelsNormEnergy_16s(int16_t* column, int32_t step, int32_t height, int16_t silence_floor, int16_t unit,
                            float scale);
/** Single precision, the maximum given. */
SrStatus zelsNormEnergy_RT_32f(float* column, int32_t step, int32_t height, float silence_floor, float max_energy,
                               float scale);
/** 16-bit, the maximum given. */
SrStatus zelsNormEnergy_RT_16s(int16_t* column, int32_t step, int32_t height, int16_t silence_floor,
                               int16_t max_energy, int16_t unit, float scale);
/** @} */

/** @name Offset compensation
 * The first-order filter y[n] = x[n] - x[n-1] + val * y[n-1], block by block. *last_input is x[-1] and receives
 * the last x of the block; last_output is y[-1], for the next block the last result of this one.
 *
 * Single precision: y[0] = (last_output * val + x[0]) - *last_input, y[n] = val * y[n-1] + (x[n] - x[n-1]).
 *
 * 16 bits, in single precision: y[0] as above, limited to 16 bits and truncated toward zero; then
 * y[n] = (x[n] - x[n-1]) + y[n-1] * val, from the stored y[n-1], limited and rounded half away from zero. The
 * first sample is treated differently from the others: wanted.
 *
 * Checks: null pointers ::SrErrNullPtr; len below 1 ::SrErrSize.
 * @{ */
/** Single precision. */
SrStatus zelsCompensateOffset_32f(const float* src, float* dst, int32_t len, float* last_input, float last_output,
                                  float val);
/** Single precision, in place. */
SrStatus zelsCompensateOffset_32f_I(float* srcdst, int32_t len, float* last_input, float last_output, float val);
/** 16-bit. For a val from -1 to 1, integers from y[1] on: Q = 4096 * val, truncated, and
 * y[n] = (y[n-1] * Q >> 12, its low 16 bits) + (x[n] - x[n-1], saturated), saturated. So this form and the one in
 * place may differ by rounding: wanted. src and dst must not overlap. */
SrStatus zelsCompensateOffset_16s(const int16_t* src, int16_t* dst, int32_t len, int16_t* last_input,
                                  int16_t last_output, float val);
/** 16-bit, in place; in single precision for every val. */
SrStatus zelsCompensateOffset_16s_I(int16_t* srcdst, int32_t len, int16_t* last_input, int16_t last_output,
                                    float val);
/** 16-bit integers throughout, val / 2^15 the factor: x[n] - x[n-1] + val * y[n-1] / 2^15, exact, rounded down; up
 * if it is negative and val * y[n-1] no multiple of 2^15, which is toward zero; saturated. The first sample is as
 * the others.
 *
 * Further checks: len above 65535 ::SrErrSize, then a negative val ::SrErrBadArg. */
SrStatus zelsCompensateOffsetQ15_16s(const int16_t* src, int16_t* dst, int32_t len, int16_t* last_input,
                                     int16_t last_output, int16_t val);
/** As zelsCompensateOffsetQ15_16s(), in place. */
SrStatus zelsCompensateOffsetQ15_16s_I(int16_t* srcdst, int32_t len, int16_t* last_input, int16_t last_output,
                                       int16_t val);
/** @} */

/** @name Sign changes
 * Of the len - 1 pairs of neighbours; one sample has none.
 *
 * Checks: null pointers ::SrErrNullPtr; len below 1 ::SrErrSize.
 * @{ */
/** Pairs whose product is negative: a zero counts for nothing. */
SrStatus zelsSignChangeRate_16s(const int16_t* src, int32_t len, int32_t* count);
/** Pairs whose product, in single precision, is not at or above zero: NaN counts, a product that underflows does
 * not. */
SrStatus zelsSignChangeRate_32f(const float* src, int32_t len, float* count);
/** Pairs whose sign bits differ; zeros count by theirs. */
SrStatus zelsSignChangeRateXor_32f(const float* src, int32_t len, int32_t* count);
/** Half the sum of |sgn(x[n+1]) - sgn(x[n])|, sgn 0 for a zero: a passage through zero counts one half a side; an
 * odd sum's half is dropped. */
SrStatus zelsSignChangeRate_Count0_16s(const int16_t* src, int32_t len, int32_t* count);
/** Half the sum of |sgn(x[n+1]) - sgn(x[n])|, sgn 0 for a zero of either sign and for NaN. */
SrStatus zelsSignChangeRate_Count0_32f(const float* src, int32_t len, float* count);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
