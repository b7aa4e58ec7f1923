/* Products of a matrix and a vector. */
#ifndef ZELSR_MATRIX_PRODUCTS_H
#define ZELSR_MATRIX_PRODUCTS_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup matrix_products Products of a matrix and a vector
 *
 * MatVecMul: dst[r] = sum over c of m[r][c] * vector[c], vector of width, dst of height elements.
 * VecMatMul: dst[c] = sum over r of vector[r] * m[r][c], vector of height, dst of width elements.
 *
 * The matrix has height rows of width elements: a block (D2; step counts elements, words between width and step
 * are not read) or a list of height row pointers (D2L).
 *
 * Checks, in this order: any null pointer ::SrErrNullPtr (of a row list only the list itself is tested); width,
 * height below 1 ::SrErrSize; width above step ::SrErrStride (D2 forms only).
 *
 * 32f: products and sums in single precision, in the caller's rounding mode.
 * - MatVecMul: four partial sums from zero, each of every fourth element in order, joined as (0 + 1) + (2 + 3).
 * - VecMatMul: from zero, one row after the other.
 *
 * 16s, 16s32s (16-bit data, results of 16 and of 32 bits), scaling and overflow: the sum is exact for every
 * length. The two products differ in rounding, which is wanted:
 * - MatVecMul: an sf above 0 shifts the sum right, which rounds toward minus infinity (by 64 or more: 0 or -1); an
 * sf below 0 shifts it left. The result saturates, whatever the size of sf. Integers throughout.
 * - VecMatMul: the sum becomes a double, is multiplied by 2^-sf, rounded to nearest with ties to even and
 * saturated.
 *
 * 32s: elements become doubles, whose products are added in double; the sum is multiplied by 2^-sf, rounded to
 * nearest with ties to even and saturated.
 * - MatVecMul: over whole stretches of four elements, one partial sum takes the even ones and one the odd ones in
 *   order, a third the up to three elements left over; they are joined as (even + odd) + third.
 * - VecMatMul: from zero, one row after the other.
 *
 * 2^-sf in double is infinite for an sf of -1024 or below, where a sum of zero gives the largest value, and zero
 * above 1074. Integer results do not depend on the caller's floating-point environment. Every member gives the
 * same bits at every alignment, and for a row or column whatever stands beside it. Infinities and NaN flow through
 * the arithmetic.
 *
 * dst does not overlap the sources. Arrays, rows and lists may lie on any byte address; those on 16-byte
 * boundaries, with a step that keeps rows there, run fastest.
 *
 * Thread rules: no state.
 * @{ */

/** @name Matrix times vector
 * @{ */
/** A block, single precision. */
SrStatus zelsMatVecMul_32f_D2(const float* matrix, int32_t step, const float* vector, int32_t width, float* dst,
                              int32_t height);
/** A list, single precision. */
SrStatus zelsMatVecMul_32f_D2L(const float* const* matrix, const float* vector, int32_t width, float* dst,
                               int32_t height);
/** A block, 16-bit integers, shifted right by sf. */
SrStatus zelsMatVecMul_16s_D2Sfs(const int16_t* matrix, int32_t step, const int16_t* vector, int32_t width,
                                 int16_t* dst, int32_t height, int32_t sf);
/** A list, 16-bit integers, shifted right by sf. */
SrStatus zelsMatVecMul_16s_D2LSfs(const int16_t* const* matrix, const int16_t* vector, int32_t width, int16_t* dst,
                                  int32_t height, int32_t sf);
/** A block, 16-bit data, 32-bit results, shifted right by sf. */
SrStatus zelsMatVecMul_16s32s_D2Sfs(const int16_t* matrix, int32_t step, const int16_t* vector, int32_t width,
                                    int32_t* dst, int32_t height, int32_t sf);
/** A list, 16-bit data, 32-bit results, shifted right by sf. */
SrStatus zelsMatVecMul_16s32s_D2LSfs(const int16_t* const* matrix, const int16_t* vector, int32_t width,
                                     int32_t* dst, int32_t height, int32_t sf);
/** A block, 32-bit integers, sums in double. */
SrStatus zelsMatVecMul_32s_D2Sfs(const int32_t* matrix, int32_t step, const int32_t* vector, int32_t width,
                                 int32_t* dst, int32_t height, int32_t sf);
/** A list, 32-bit integers, sums in double. */
SrStatus zelsMatVecMul_32s_D2LSfs(const int32_t* const* matrix, const int32_t* vector, int32_t width, int32_t* dst,
                                  int32_t height, int32_t sf);
/** @} */

/** @name Vector times matrix
 * @{ */
/** A block, single precision. */
SrStatus zelsVecMatMul_32f_D2(const float* vector, const float* matrix, int32_t step, int32_t height, float* dst,
                              int32_t width);
/** A list, single precision. */
SrStatus zelsVecMatMul_32f_D2L(const float* vector, const float* const* matrix, int32_t height, float* dst,
                               int32_t width);
/** A block, 16-bit integers, rounded to nearest. */
SrStatus zelsVecMatMul_16s_D2Sfs(const int16_t* vector, const int16_t* matrix, int32_t step, int32_t height,
                                 int16_t* dst, int32_t width, int32_t sf);
/** A list, 16-bit integers, rounded to nearest. */
SrStatus zelsVecMatMul_16s_D2LSfs(const int16_t* vector, const int16_t* const* matrix, int32_t height,
                                  int16_t* dst, int32_t width, int32_t sf);
/** A block, 16-bit data, 32-bit results, rounded to nearest. */
SrStatus zelsVecMatMul_16s32s_D2Sfs(const int16_t* vector, const int16_t* matrix, int32_t step, int32_t height,
                                    int32_t* dst, int32_t width, int32_t sf);
/** A list, 16-bit data, 32-bit results, rounded to nearest. */
SrStatus zelsVecMatMul_16s32s_D2LSfs(const int16_t* vector, const int16_t* const* matrix, int32_t height,
                                     int32_t* dst, int32_t width, int32_t sf);
/** A block, 32-bit integers, sums in double. */
SrStatus zelsVecMatMul_32s_D2Sfs(const int32_t* vector, const int32_t* matrix, int32_t step, int32_t height,
                                 int32_t* dst, int32_t width, int32_t sf);
/** A list, 32-bit integers, sums in double. */
SrStatus zelsVecMatMul_32s_D2LSfs(const int32_t* vector, const int32_t* const* matrix, int32_t height,
                                  int32_t* dst, int32_t width, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
