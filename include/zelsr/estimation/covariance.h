/* Full covariance matrices, accumulated over frames. */
#ifndef ZELSR_ESTIMATION_COVARIANCE_H
#define ZELSR_ESTIMATION_COVARIANCE_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup covariance Covariance accumulation
 *
 * Adds the scatter of height frames x[r] of width elements to the symmetric matrix dst[i][j] of doubles:
 * - S = sum over r, in order, of (x[r][i] - mean[j]) * (x[r][j] - mean[j]), for j at or above i,
 * - dst[i][j] = S * factor + dst[i][j], and dst[j][i] takes the same value, whatever it was.
 *
 * Both differences are from the mean of column j, that of x[r][i] too: it stays like this. All of it is in double
 * precision and the caller's rounding mode.
 *
 * Large jobs on aligned arrays subtract the frames from dst[i][j] one at a time, as ((mean[j] - x[r][i]) *
 * (x[r][j] - mean[j])) * factor, which rounds differently. They are those where frames, mean and dst lie on
 * 16-byte boundaries and both steps are multiples of 4 (D2L: where mean and every row of both lists lie on 16-byte
 * boundaries), from the size that the member states on.
 *
 * D2 forms take blocks with steps in elements, D2L forms lists of row pointers: height frames, width rows of dst.
 * Checks, in this order: any null pointer gives ::SrErrNullPtr (of a list only the list itself is tested), height
 * or width below 1 ::SrErrSize, a width above either step ::SrErrStride (D2 only). No array, row or list needs
 * alignment. dst must not overlap the frames.
 *
 * Thread rules: no state.
 * @{ */
/** Large from step * height = 140000 on. */
SrStatus zelsAccCovarianceMatrix_32f64f_D2(const float* frames, int32_t step, int32_t height, const float* mean,
                                           double* dst, int32_t width, int32_t dst_step, double factor);
/** Large from height * width = 134000 on. */
SrStatus zelsAccCovarianceMatrix_32f64f_D2L(const float* const* frames, int32_t height, const float* mean,
                                            double* const* dst, int32_t width, double factor);
/** Large from step * height = 270000 on. */
SrStatus zelsAccCovarianceMatrix_16s64f_D2(const int16_t* frames, int32_t step, int32_t height,
                                           const int16_t* mean, double* dst, int32_t width, int32_t dst_step,
                                           double factor);
/** Large from height * width = 260000 on. */
SrStatus zelsAccCovarianceMatrix_16s64f_D2L(const int16_t* const* frames, int32_t height, const int16_t* mean,
                                            double* const* dst, int32_t width, double factor);
/** @} */

ZELSR_END_DECLARATIONS

#endif
