/* Means, variances and sums of the columns of a matrix. */
#ifndef ZELSR_MATRIX_STATISTICS_H
#define ZELSR_MATRIX_STATISTICS_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup statistics Column statistics
 *
 * A row is a vector, a column is a dimension: n rows (height) of width elements x[r][c]. D2 forms take a block of
 * rows with a step in elements, D2L forms a list of height row pointers. Results and means have width elements,
 * weights height.
 *
 * Checks: each group states their order; the D2L forms keep it without the step. A null pointer gives
 * ::SrErrNullPtr (of a row list only the list itself is tested), a width below 1 or a height below the least
 * ::SrErrSize, a width above the step ::SrErrStride. A variance has no check: it is stored as it comes, negative
 * or not a number.
 *
 * Sums start at +0 and run down the rows in their order; products of several factors are formed from left to
 * right. Floating-point members take the caller's rounding mode, members with an integer result do not depend on
 * it. Arrays, rows and lists may lie on any byte address. The result does not depend on where they lie, but for
 * the row lists of zelsMeanColumn_16s_D2L(), zelsVarColumn_16s_D2LSfs() and zelsMeanVarColumn_16s_D2LSfs().
 *
 * sf: an integer result is the exact value times 2^-sf, rounded to nearest with ties to even and saturated, unless
 * the member says otherwise.
 *
 * Thread rules: no state.
 * @{ */

/** @name Means
 * mean[c] = sum over r of x[r][c] / n. Checks: width above step, null, width or height below 1.
 * @{ */
/** In single precision: the sum times 1 / n, which is formed in double and rounded to single. */
SrStatus zelsMeanColumn_32f_D2(const float* src, int32_t height, int32_t step, float* mean, int32_t width);
/** As zelsMeanColumn_32f_D2(). */
SrStatus zelsMeanColumn_32f_D2L(const float* const* rows, int32_t height, float* mean, int32_t width);
/** Sum, 1 / n and their product in single precision, rounded to nearest. Takes scratch memory of width + 8
 * singles, whose refusal gives ::SrErrMemAlloc. */
SrStatus zelsMeanColumn_16s_D2(const int16_t* src, int32_t height, int32_t step, int16_t* mean, int32_t width);
/** Rows that all lie on 16-byte boundaries: as zelsMeanColumn_16s_D2(). If any does not: the exact sum, rounded to
 * single, times 1 / n in single, truncated toward zero; no scratch memory. */
SrStatus zelsMeanColumn_16s_D2L(const int16_t* const* rows, int32_t height, int16_t* mean, int32_t width);
/** @} */

/** @name Variances around a given mean
 * var[c] = (sum over r of x[r][c]^2 - n mean[c]^2) / (n - 1), which is below zero for a mean that does not fit the
 * data. Checks: width above step, null, width below 1 or height below 2.
 * @{ */
/** In single precision: (-n * mean[c] * mean[c] + x[0][c]^2 + x[1][c]^2 ...) times 1 / (n - 1), which is formed in
 * double and rounded to single. */
SrStatus zelsVarColumn_32f_D2(const float* src, int32_t height, int32_t step, const float* mean, float* var,
                              int32_t width);
/** As zelsVarColumn_32f_D2(). */
SrStatus zelsVarColumn_32f_D2L(const float* const* rows, int32_t height, const float* mean, float* var,
                               int32_t width);
/** In single precision throughout: (-n * (mean[c]^2) + x[0][c]^2 + ...) times 1 / (n - 1). Takes scratch memory of
 * width + 8 singles, whose refusal gives ::SrErrMemAlloc. */
SrStatus zelsVarColumn_16s_D2Sfs(const int16_t* src, int32_t height, int32_t step, const int16_t* mean,
                                 int16_t* var, int32_t width, int32_t sf);
/** Rows that all lie on 16-byte boundaries: as zelsVarColumn_16s_D2Sfs(). If any does not: the exact difference of
 * sums, rounded to single, times 1 / (n - 1) in single, truncated toward zero to 64 bits; shifted right by sf
 * (rounding toward minus infinity) or left by -sf in 64 bits (high bits drop out); then saturated. A right shift
 * above 63 leaves 0 or -1, a left shift above 63 leaves 0. No scratch memory. */
SrStatus zelsVarColumn_16s_D2LSfs(const int16_t* const* rows, int32_t height, const int16_t* mean, int16_t* var,
                                  int32_t width, int32_t sf);
/** @} */

/** @name Means and variances
 * From the sums s of x and q of x^2, in one pass: mean = s / n, var = (q - n mean^2) / (n - 1). Checks: null,
 * width below 1 or height below 2, width above step.
 * @{ */
/** In single precision: mean = s * (1 / n), var = (q - n * mean * mean) * (1 / (n - 1)), the reciprocals formed in
 * double and rounded to single. */
SrStatus zelsMeanVarColumn_32f_D2(const float* src, int32_t height, int32_t step, float* mean, float* var,
                                  int32_t width);
/** As zelsMeanVarColumn_32f_D2(). */
SrStatus zelsMeanVarColumn_32f_D2L(const float* const* rows, int32_t height, float* mean, float* var,
                                   int32_t width);
/** In single precision throughout: mean = s * (1 / n) stays unrounded for var = (-n * (mean^2) + x[0][c]^2 + ...)
 * * (1 / (n - 1)). sf scales the variance alone. Takes scratch memory of 2 width + 16 singles, whose refusal gives
 * ::SrErrMemAlloc. */
SrStatus zelsMeanVarColumn_16s_D2Sfs(const int16_t* src, int32_t height, int32_t step, int16_t* mean, int16_t* var,
                                     int32_t width, int32_t sf);
/** Rows that all lie on 16-byte boundaries: as zelsMeanVarColumn_16s_D2Sfs(). If any does not: s exact and rounded
 * to single, q in single; mean = s * (1 / n), stored limited to 16 bits and truncated toward zero; var = (q - mean
 * * mean * n) * (1 / (n - 1)), truncated, shifted and saturated as in zelsVarColumn_16s_D2LSfs(). No scratch
 * memory. */
SrStatus zelsMeanVarColumn_16s_D2LSfs(const int16_t* const* rows, int32_t height, int16_t* mean, int16_t* var,
                                      int32_t width, int32_t sf);
/** In double, from exact sums: mean = s * (1 / n), var = (q - mean * mean * n) * (1 / (n - 1) * 2^-sf). */
SrStatus zelsMeanVarColumn_16s32s_D2Sfs(const int16_t* src, int32_t height, int32_t step, int32_t* mean,
                                        int32_t* var, int32_t width, int32_t sf);
/** As zelsMeanVarColumn_16s32s_D2Sfs(). */
SrStatus zelsMeanVarColumn_16s32s_D2LSfs(const int16_t* const* rows, int32_t height, int32_t* mean, int32_t* var,
                                         int32_t width, int32_t sf);
/** As zelsMeanVarColumn_16s32s_D2Sfs() with an sf of 0. */
SrStatus zelsMeanVarColumn_16s16s32s_D2(const int16_t* src, int32_t height, int32_t step, int16_t* mean,
                                        int32_t* var, int32_t width);
/** As zelsMeanVarColumn_16s16s32s_D2(). */
SrStatus zelsMeanVarColumn_16s16s32s_D2L(const int16_t* const* rows, int32_t height, int16_t* mean, int32_t* var,
                                         int32_t width);
/** @} */

/** @name Weighted statistics
 * mean[c] = sum over r of w[r] x[r][c]; var[c] = sum over r of w[r] x[r][c]^2 - mean[c]^2. The caller has
 * normalised the weights: nothing is divided by their sum. Checks: null, width above step, width or height
 * below 1.
 *
 * In the type of the data. Two sums run over the rows by fours, one over the even and one over the odd ones; they
 * are joined, and the last 0 to 3 rows are added one by one.
 * @{ */
/** Means. */
SrStatus zelsWeightedMeanColumn_32f_D2(const float* src, int32_t step, const float* weights, int32_t height,
                                       float* mean, int32_t width);
/** Means. */
SrStatus zelsWeightedMeanColumn_32f_D2L(const float* const* rows, const float* weights, int32_t height,
                                        float* mean, int32_t width);
/** Means. */
SrStatus zelsWeightedMeanColumn_64f_D2(const double* src, int32_t step, const double* weights, int32_t height,
                                       double* mean, int32_t width);
/** Means. */
SrStatus zelsWeightedMeanColumn_64f_D2L(const double* const* rows, const double* weights, int32_t height,
                                        double* mean, int32_t width);
/** Variances around given means. */
SrStatus zelsWeightedVarColumn_32f_D2(const float* src, int32_t step, const float* weights, int32_t height,
                                      const float* mean, float* var, int32_t width);
/** Variances around given means. */
SrStatus zelsWeightedVarColumn_32f_D2L(const float* const* rows, const float* weights, int32_t height,
                                       const float* mean, float* var, int32_t width);
/** Variances around given means. */
SrStatus zelsWeightedVarColumn_64f_D2(const double* src, int32_t step, const double* weights, int32_t height,
                                      const double* mean, double* var, int32_t width);
/** Variances around given means. */
SrStatus zelsWeightedVarColumn_64f_D2L(const double* const* rows, const double* weights, int32_t height,
                                       const double* mean, double* var, int32_t width);
/** Means, and variances around them. */
SrStatus zelsWeightedMeanVarColumn_32f_D2(const float* src, int32_t step, const float* weights, int32_t height,
                                          float* mean, float* var, int32_t width);
/** Means, and variances around them. */
SrStatus zelsWeightedMeanVarColumn_32f_D2L(const float* const* rows, const float* weights, int32_t height,
                                           float* mean, float* var, int32_t width);
/** Means, and variances around them. */
SrStatus zelsWeightedMeanVarColumn_64f_D2(const double* src, int32_t step, const double* weights, int32_t height,
                                          double* mean, double* var, int32_t width);
/** Means, and variances around them. */
SrStatus zelsWeightedMeanVarColumn_64f_D2L(const double* const* rows, const double* weights, int32_t height,
                                           double* mean, double* var, int32_t width);
/** @} */

/** @name Sums of elements and of their squares
 * sum[c] = sum over r of x[r][c], squares[c] = sum over r of x[r][c]^2, in single precision; nothing is divided.
 * In-place forms go on from the totals that both arrays hold. Checks: width above step, null, width or height
 * below 1.
 * @{ */
/** Sums from zero. */
SrStatus zelsSumMeanVar_32f(const float* src, int32_t step, int32_t height, float* sum, float* squares,
                            int32_t width);
/** Adds to the totals. */
SrStatus zelsSumMeanVar_32f_I(const float* src, int32_t step, int32_t height, float* sum, float* squares,
                              int32_t width);
/** Elements become singles before they are squared. */
SrStatus zelsSumMeanVar_16s32f(const int16_t* src, int32_t step, int32_t height, float* sum, float* squares,
                               int32_t width);
/** As zelsSumMeanVar_16s32f(), added to the totals. */
SrStatus zelsSumMeanVar_16s32f_I(const int16_t* src, int32_t step, int32_t height, float* sum, float* squares,
                                 int32_t width);
/** As zelsSumMeanVar_16s32f(), both sums rounded under sf. */
SrStatus zelsSumMeanVar_16s32s_Sfs(const int16_t* src, int32_t step, int32_t height, int32_t* sum,
                                   int32_t* squares, int32_t width, int32_t sf);
/** Totals become singles, the rows are added, and the whole is rounded under sf: with an sf other than zero the
 * old totals are scaled again at each call. */
SrStatus zelsSumMeanVar_16s32s_ISfs(const int16_t* src, int32_t step, int32_t height, int32_t* sum,
                                    int32_t* squares, int32_t width, int32_t sf);
/** @} */

/** @name Accumulation of weighted deviations
 * With d = src[i] - mean[i] and e = d * weight: mean_acc[i] += e, var_acc[i] += d * e. Checks: null, len below 1.
 * @{ */
/** In single precision. */
SrStatus zelsMeanVarAcc_32f(const float* src, const float* mean, float* mean_acc, float* var_acc, int32_t len,
                            float weight);
/** In double precision. */
SrStatus zelsMeanVarAcc_64f(const double* src, const double* mean, double* mean_acc, double* var_acc, int32_t len,
                            double weight);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
