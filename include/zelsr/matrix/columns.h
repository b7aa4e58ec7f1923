/* Subtraction of a vector from every row; copies of columns. */
#ifndef ZELSR_MATRIX_COLUMNS_H
#define ZELSR_MATRIX_COLUMNS_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup matrix_columns Subtraction and copies
 *
 * Matrices are blocks of rows (D2; a step counts elements, words between width and step are neither read nor
 * written) or lists of row pointers (D2L). Of a list only the list itself is tested for null. Arrays, rows and
 * lists may lie on any byte address.
 *
 * Thread rules: no state.
 * @{ */

/** @name A vector subtracted from every row
 * x[r][c] = x[r][c] - vector[c], in place, for height rows of width elements.
 *
 * 32f in single precision, in the caller's rounding mode; 16s saturated. The vector does not overlap the rows.
 *
 * Checks, in this order: any null pointer ::SrErrNullPtr; width, height below 1 ::SrErrSize; width above step
 * ::SrErrStride (D2 forms only).
 * @{ */
/** A block, single precision. */
SrStatus zelsSubRow_32f_D2(const float* vector, int32_t width, float* srcdst, int32_t step, int32_t height);
/** A list, single precision. */
SrStatus zelsSubRow_32f_D2L(const float* vector, float* const* srcdst, int32_t width, int32_t height);
/** A block, 16-bit integers, saturated. */
SrStatus zelsSubRow_16s_D2(const int16_t* vector, int32_t width, int16_t* srcdst, int32_t step, int32_t height);
/** A list, 16-bit integers, saturated. */
SrStatus zelsSubRow_16s_D2L(const int16_t* vector, int16_t* const* srcdst, int32_t width, int32_t height);
/** @} */

/** @name Copies of all columns
 * Copies height rows of width elements. Source rows lie densely one after the other, destination rows at the step.
 * Every bit is kept, of NaN too. Where a source row overlaps its destination row, its elements are copied one by
 * one in increasing order.
 *
 * Checks, in this order: any null pointer ::SrErrNullPtr; width, height below 1 ::SrErrSize; width above step
 * ::SrErrStride.
 * @{ */
/** Single precision. */
SrStatus zelsCopyColumn_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height);
/** 16-bit integers. */
SrStatus zelsCopyColumn_16s_D2(const int16_t* src, int32_t width, int16_t* dst, int32_t step, int32_t height);
/** @} */

/** @name Copies of selected columns
 * dst[r][j] = src[r][index[j]] for j below count, r below height. Row by row, each in increasing j; every bit is
 * kept.
 *
 * Checks of a D2 form, in this order: any null pointer ::SrErrNullPtr; src_width below 1 ::SrErrSize; src_width
 * above src_step ::SrErrStride; count below 1 ::SrErrSize; count above dst_step ::SrErrStride; height below 1
 * ::SrErrSize. Those of a D2L form: any null pointer ::SrErrNullPtr; src_width, count, height below 1 ::SrErrSize.
 *
 * index[j] is tested while the first row is copied: one below 0 or not below src_width gives ::SrErrSize when the
 * elements before j of the first destination row have been written. This is the one check of the library that
 * writes before it fails.
 * @{ */
/** A block, single precision. */
SrStatus zelsCopyColumn_Indirect_32f_D2(const float* src, int32_t src_width, int32_t src_step, float* dst,
                                        const int32_t* index, int32_t count, int32_t dst_step, int32_t height);
/** A list, single precision. */
SrStatus zelsCopyColumn_Indirect_32f_D2L(const float* const* src, int32_t src_width, float* const* dst,
                                         const int32_t* index, int32_t count, int32_t height);
/** A block, double precision. */
SrStatus zelsCopyColumn_Indirect_64f_D2(const double* src, int32_t src_width, int32_t src_step, double* dst,
                                        const int32_t* index, int32_t count, int32_t dst_step, int32_t height);
/** A list, double precision. */
SrStatus zelsCopyColumn_Indirect_64f_D2L(const double* const* src, int32_t src_width, double* const* dst,
                                         const int32_t* index, int32_t count, int32_t height);
/** A block, 16-bit integers. */
SrStatus zelsCopyColumn_Indirect_16s_D2(const int16_t* src, int32_t src_width, int32_t src_step, int16_t* dst,
                                        const int32_t* index, int32_t count, int32_t dst_step, int32_t height);
/** A list, 16-bit integers. */
SrStatus zelsCopyColumn_Indirect_16s_D2L(const int16_t* const* src, int32_t src_width, int16_t* const* dst,
                                         const int32_t* index, int32_t count, int32_t height);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
