/* Sums over the rows and columns of a matrix. */
#ifndef ZELSR_MATRIX_SUMS_H
#define ZELSR_MATRIX_SUMS_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup matrix_sums Sums of rows and columns
 *
 * SumColumn: dst[c] = sum over r of x[r][c], width results. SumRow: dst[r] = sum over c of x[r][c], height
 * results. AddAllRowSum: acc[c] += sum over r of x[r][c]. AddNRows: the sum of selected rows.
 *
 * The matrix has height rows of width elements: a block (D2; step counts elements, words between width and step
 * are neither read nor written) or a list of height row pointers (D2L).
 *
 * Types: 32f and 64f add in their own type. 16s32f: each element becomes a single, which are added in single.
 * 16s32s: the sum in single of 16s32f, times 2^-sf, rounded to nearest with ties to even and saturated: above 2^24
 * it has the accuracy of single precision, which is wanted.
 *
 * Checks, in this order: any null pointer ::SrErrNullPtr (of a row list only the list itself is tested); width,
 * height below 1 ::SrErrSize; width above step ::SrErrStride (D2 forms only). zelsAddNRows_32f_D2() has its own.
 *
 * Order of the additions, the same at every alignment and for every row or column, whatever stands beside it:
 * - SumColumn: from zero, pairs of rows: s = s + (x[0] + x[1]), s + (x[2] + x[3]) ..., then the row left over.
 * - SumRow: four partial sums (64f: two) from zero, over whole stretches of eight elements (64f: four) in order.
 *   32f, 64f: sum n takes every fourth (second) element from n on; they are joined as (0 + 1) + (2 + 3), then come
 *   the elements left over, one by one. 16s: sum n takes x[2n] + x[2n + 1] of each stretch, whose last one is
 *   filled up with zeros; they are joined in the same way.
 * - AddAllRowSum and AddNRows: one row after the other onto what stands there.
 *
 * Infinities and NaN flow through the arithmetic. 32s results do not depend on the caller's floating-point
 * environment, the others take its rounding mode. Destinations do not overlap sources. Arrays, rows and lists may
 * lie on any byte address; those on 16-byte boundaries, with a step that keeps rows there, run fastest.
 *
 * Thread rules: no state.
 * @{ */

/** @name Down the columns
 * dst of width elements.
 * @{ */
/** A block, single precision. */
SrStatus zelsSumColumn_32f_D2(const float* src, int32_t step, int32_t height, float* dst, int32_t width);
/** A list, single precision. */
SrStatus zelsSumColumn_32f_D2L(const float* const* src, int32_t height, float* dst, int32_t width);
/** A block, double precision. */
SrStatus zelsSumColumn_64f_D2(const double* src, int32_t step, int32_t height, double* dst, int32_t width);
/** A list, double precision. */
SrStatus zelsSumColumn_64f_D2L(const double* const* src, int32_t height, double* dst, int32_t width);
/** A block, 16-bit data, sums in single. */
SrStatus zelsSumColumn_16s32f_D2(const int16_t* src, int32_t step, int32_t height, float* dst, int32_t width);
/** A list, 16-bit data, sums in single. */
SrStatus zelsSumColumn_16s32f_D2L(const int16_t* const* src, int32_t height, float* dst, int32_t width);
/** A block, 16-bit data, sums in single converted to integers times 2^-sf. */
SrStatus zelsSumColumn_16s32s_D2Sfs(const int16_t* src, int32_t step, int32_t height, int32_t* dst, int32_t width,
                                    int32_t sf);
/** A list, 16-bit data, sums in single converted to integers times 2^-sf. */
SrStatus zelsSumColumn_16s32s_D2LSfs(const int16_t* const* src, int32_t height, int32_t* dst, int32_t width,
                                     int32_t sf);
/** @} */

/** @name Along the rows
 * dst of height elements.
 * @{ */
/** A block, single precision. */
SrStatus zelsSumRow_32f_D2(const float* src, int32_t width, int32_t step, float* dst, int32_t height);
/** A list, single precision. */
SrStatus zelsSumRow_32f_D2L(const float* const* src, int32_t width, float* dst, int32_t height);
/** A block, double precision. */
SrStatus zelsSumRow_64f_D2(const double* src, int32_t width, int32_t step, double* dst, int32_t height);
/** A list, double precision. */
SrStatus zelsSumRow_64f_D2L(const double* const* src, int32_t width, double* dst, int32_t height);
/** A block, 16-bit data, sums in single. */
SrStatus zelsSumRow_16s32f_D2(const int16_t* src, int32_t width, int32_t step, float* dst, int32_t height);
/** A list, 16-bit data, sums in single. */
SrStatus zelsSumRow_16s32f_D2L(const int16_t* const* src, int32_t width, float* dst, int32_t height);
/** A block, 16-bit data, sums in single converted to integers times 2^-sf. */
SrStatus zelsSumRow_16s32s_D2Sfs(const int16_t* src, int32_t width, int32_t step, int32_t* dst, int32_t height,
                                 int32_t sf);
/** A list, 16-bit data, sums in single converted to integers times 2^-sf. */
SrStatus zelsSumRow_16s32s_D2LSfs(const int16_t* const* src, int32_t width, int32_t* dst, int32_t height,
                                  int32_t sf);
/** @} */

/** @name Onto an accumulator
 * acc of width elements, in and out: its prior value stays part of the result.
 * @{ */
/** A block. */
SrStatus zelsAddAllRowSum_32f_D2(const float* src, int32_t step, int32_t height, float* acc, int32_t width);
/** A list. */
SrStatus zelsAddAllRowSum_32f_D2L(const float* const* src, int32_t height, float* acc, int32_t width);
/** @} */

/** @name Selected rows
 * @{ */
/** dst[c] = initial + sum over i of src[first[i] + second[i]][offset + c], for c from 0 to width - 1.
 *
 * src: a block of height rows; first, second: count elements each, whose sum (in 32 bits, wrapping) is a row's
 * index. Checks, in this order: null of src, first, second, dst ::SrErrNullPtr; count, height, width below 1 or
 * offset below 0 ::SrErrSize; step below offset + width ::SrErrStride; any index below 0 or not below height
 * ::SrErrSize. Nothing is written when one fails. */
SrStatus zelsAddNRows_32f_D2(const float* src, int32_t height, int32_t offset, int32_t step, const int32_t* first,
                             const uint16_t* second, int32_t count, float* dst, int32_t width, float initial);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
