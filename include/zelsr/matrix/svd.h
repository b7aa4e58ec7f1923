/* Singular value decomposition, and the column and row steps it is made of. */
#ifndef ZELSR_MATRIX_SVD_H
#define ZELSR_MATRIX_SVD_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup svd Singular value decomposition
 *
 * A = U diag(w) V-transpose for a matrix A of height rows and width columns, in double precision, by the method of
 * Golub and Reinsch (Numerische Mathematik 14, 1970): Householder reduction to a bidiagonal matrix, then QR
 * iterations with implicit shifts. Householder vectors are scaled by their sum of absolute values, hypotenuses are
 * formed without overflow, and an off-diagonal element is zero when it does not change the norm of the bidiagonal
 * matrix by an addition.
 *
 * Shapes: U height x width, in the place of A in the `_I` forms; w width; V (not transposed) width x width. Where
 * height is below width, width - height of the singular values are 0 but for rounding, with columns of zeros in U.
 * In the `D2` forms A, U and V have the same step; the forms that are not `_I` copy height * step elements of A
 * into U, padding included. In the `D2L` forms the lists of A and U have height rows, that of V has width rows.
 *
 * Range: any finite matrix. One whose greatest element is not between 2^-400 and 2^400 is decomposed in units of a
 * power of two, which changes no digit. A column or row whose elements then average below the smallest normal
 * number counts as zeros. A singular value beyond the largest number is infinite.
 *
 * The singular values of zelsSVD_*() stand in no order; those of zelsSVDSort_*() go down, the columns of U and V
 * with them.
 *
 * iterations: the most that the counter of QR sweeps, which starts at 1 for every singular value, may reach; 30
 * does for ordinary matrices. With 1 only a matrix whose values need no sweep is decomposed.
 *
 * Checks: any null pointer ::SrErrNullPtr; height, width or iterations below 1, or (`D2`) width above step,
 * ::SrErrSize. Nothing is written then. ::SrErrMemAlloc: work memory (seven rows of width elements; sorting takes
 * one and a half more, after the decomposition) was refused; U holds the source and nothing else is written where
 * the first was, the unsorted decomposition where the second was. ::SrErrSvdConverge: a value used up the limit;
 * U, w and V hold the state reached, unsorted.
 *
 * Not-a-number or an infinity anywhere in A gives ::SrErrSvdConverge or a result without meaning. No array needs
 * alignment; the result does not depend on it, nor on the layout. The caller's rounding mode holds. Thread rules:
 * no state; calls on different arrays may run together.
 * @{ */

/** As the group says, source and U apart. */
SrStatus zelsSVD_64f_D2(const double* src, double* u, int32_t height, double* w, double* v, int32_t width,
                        int32_t step, int32_t iterations);
/** In place: A in, U out. */
SrStatus zelsSVD_64f_D2_I(double* srcdst, int32_t height, double* w, double* v, int32_t width, int32_t step,
                          int32_t iterations);
/** zelsSVD_64f_D2() on lists of rows. */
SrStatus zelsSVD_64f_D2L(const double* const* src, double* const* u, int32_t height, double* w, double* const* v,
                         int32_t width, int32_t iterations);
/** zelsSVD_64f_D2_I() on lists of rows. */
SrStatus zelsSVD_64f_D2L_I(double* const* srcdst, int32_t height, double* w, double* const* v, int32_t width,
                           int32_t iterations);

/** zelsSVD_64f_D2(), then singular values in decreasing order; of equal ones the first found comes first. */
SrStatus zelsSVDSort_64f_D2(const double* src, double* u, int32_t height, double* w, double* v, int32_t width,
                            int32_t step, int32_t iterations);
/** As zelsSVDSort_64f_D2(), in place. */
SrStatus zelsSVDSort_64f_D2_I(double* srcdst, int32_t height, double* w, double* v, int32_t width, int32_t step,
                              int32_t iterations);
/** As zelsSVDSort_64f_D2(), on lists of rows. */
SrStatus zelsSVDSort_64f_D2L(const double* const* src, double* const* u, int32_t height, double* w,
                             double* const* v, int32_t width, int32_t iterations);
/** As zelsSVDSort_64f_D2(), in place, on lists of rows. */
SrStatus zelsSVDSort_64f_D2L_I(double* const* srcdst, int32_t height, double* w, double* const* v, int32_t width,
                               int32_t iterations);

/** @} */

/** @defgroup svd_columns Steps on columns and rows in double precision
 *
 * The list holds height rows of width elements. A column is told by its index, a run of rows by the index of its
 * first row; the run goes to the last row. Sums take four elements in one expression: sum + (((e[0] + e[1]) +
 * e[2]) + e[3]), then those left over one by one.
 *
 * Checks: any null pointer ::SrErrNullPtr; a size below 1, or an index outside the matrix, ::SrErrSize. Nothing is
 * written then. No array needs alignment; the result does not depend on it. Thread rules: no state.
 * @{ */

/** *result = sum over r from first_row of |src[r][column]|. */
SrStatus zelsSumColumnAbs_64f_D2L(const double* const* src, int32_t width, int32_t height, double* result,
                                  int32_t column, int32_t first_row);
/** srcdst[r][column] *= factor for r from first_row; *result = the sum of squares of the new values. */
SrStatus zelsSumColumnSqr_64f_D2L(double* const* srcdst, int32_t width, int32_t height, double* result,
                                  int32_t column, int32_t first_row, double factor);
/** *result = sum over r from first_row of src[r][first_column] * src[r][second_column]. */
SrStatus zelsDotProdColumn_64f_D2L(const double* const* src, int32_t width, int32_t height, double* result,
                                   int32_t first_column, int32_t second_column, int32_t first_row);
/** srcdst[r][dst_column] += factor * srcdst[r][src_column] for r from first_row. */
SrStatus zelsAddMulColumn_64f_D2L(double* const* srcdst, int32_t width, int32_t height, int32_t src_column,
                                  int32_t dst_column, int32_t first_row, double factor);
/** srcdst[r][column] *= factor for r from first_row. */
SrStatus zelsMulColumn_64f_D2L(double* const* srcdst, int32_t width, int32_t height, int32_t column,
                               int32_t first_row, double factor);
/** Rotates all rows in a plane: with y = b[r], z = a[r] of columns a and b, b[r] = c y + s z, a[r] = z c - y s. */
SrStatus zelsQRTransColumn_64f_D2L(double* const* srcdst, int32_t width, int32_t height, int32_t column_a,
                                   int32_t column_b, double c, double s);
/** *result = sum of |src[i]|. */
SrStatus zelsSumRowAbs_64f(const double* src, int32_t len, double* result);
/** srcdst[i] *= factor; *result = the sum of squares of the new values. */
SrStatus zelsSumRowSqr_64f(double* srcdst, int32_t len, double* result, double factor);
/** srcdst[i] += factor * src[i]. */
SrStatus zelsAddMulRow_64f(const double* src, double* srcdst, int32_t len, double factor);

/** @} */

ZELSR_END_DECLARATIONS

#endif
