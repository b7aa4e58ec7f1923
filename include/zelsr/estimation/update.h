/* Means, variances, weights and constants of Gaussians from accumulated counts. */
#ifndef ZELSR_ESTIMATION_UPDATE_H
#define ZELSR_ESTIMATION_UPDATE_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup update Re-estimation
 *
 * Counting leaves, for each Gaussian, occupancies (sums of posterior probabilities) and sums of features and of
 * their squares, weighted with these. They become means, variances and weights here, under floors, and then the
 * constants that the scoring functions take. Arrays hold len elements.
 *
 * Checks, in this order: any null pointer gives ::SrErrNullPtr, len below 1 ::SrErrSize; zelsUpdateMean_*,
 * zelsUpdateVar_* and zelsUpdateWeight_* then give ::SrErrNegValue for an occupancy that is not at or above zero
 * (NaN too), and the warning ::SrWarnZeroCount, with nothing written, for one that is not above the smallest
 * normal number of its type. Of two occupancies both pass the first test before either takes the second.
 *
 * A destination may be one of its sources (the same address). Where a destination of a 64f member or of
 * zelsOutProbPreCalc_* begins inside one of its sources, each element is stored before the next is read; in other
 * members such overlaps are undefined. No array needs alignment, and the result does not depend on it.
 *
 * Floating-point members take the caller's rounding mode; zelsUpdateGConst_* do not depend on it.
 *
 * Thread rules: no state.
 * @{ */

/** @name Means
 * mean[i] += acc[i] / occupancy, acc being the weighted sum of the features' distances from the old mean.
 * @{ */
/** mean[i] + acc[i] * (1 / occupancy), in single precision. */
SrStatus zelsUpdateMean_32f(const float* acc, float* mean, int32_t len, float occupancy);
/** acc[i] / occupancy + mean[i]. */
SrStatus zelsUpdateMean_64f(const double* acc, double* mean, int32_t len, double occupancy);
/** @} */

/** @name Variances
 * v = square_acc[i] / square_occupancy - m^2 with m = mean_acc[i] / mean_occupancy. var[i] is v where floor[i] is
 * strictly below it, else (NaN too) floor[i]. ::SrWarnAllFloored if no element was above its floor; the results
 * are written all the same.
 * @{ */
/** In single precision, with the reciprocals of the occupancies. The floored elements are counted in singles: no
 * warning where a single does not hold len exactly (above 2^24), nor for any len above 2^26. */
SrStatus zelsUpdateVar_32f(const float* mean_acc, const float* square_acc, const float* floor, float* var,
                           int32_t len, float mean_occupancy, float square_occupancy);
/** True divisions. */
SrStatus zelsUpdateVar_64f(const double* mean_acc, const double* square_acc, const double* floor, double* var,
                           int32_t len, double mean_occupancy, double square_occupancy);
/** @} */

/** @name Weights
 * w = acc[i] * (1 / occupancy). weight[i] is w where floor is strictly below it, else (NaN too) floor; *sum is the
 * sum of weight[i], which the caller divides by. ::SrWarnAllFloored as in zelsUpdateVar_*.
 * @{ */
/** Four partial sums: the elements from i modulo 4 = 0 on each, those behind the last four in the first;
 * (0 + 1) + (2 + 3). */
SrStatus zelsUpdateWeight_32f(const float* acc, float* weight, int32_t len, float* sum, float occupancy,
                              float floor);
/** Two partial sums, even and odd elements, the last of an odd number in the first; one sum in order where weight
 * begins inside acc. */
SrStatus zelsUpdateWeight_64f(const double* acc, double* weight, int32_t len, double* sum, double occupancy,
                              double floor);
/** @} */

/** @name Gaussian constants
 * *gconst = len * ln(2 pi) + the sum of the logarithms of the variances, with 1.8378770664093 for ln(2 pi) and the
 * sum of zelsSumLn_*. Where that meets a zero, *gconst is plus infinity and the status ::SrWarnLnZeroArg; where it
 * meets a negative element (-0 too), NaN and ::SrWarnLnNegArg; the first such element decides.
 * @{ */
/** Of reciprocal variances: the sum is subtracted. */
SrStatus zelsUpdateGConst_32f(const float* inv_var, int32_t len, float* gconst);
/** Of reciprocal variances: the sum is subtracted. */
SrStatus zelsUpdateGConst_64f(const double* inv_var, int32_t len, double* gconst);
/** Of variances. */
SrStatus zelsUpdateGConst_DirectVar_32f(const float* var, int32_t len, float* gconst);
/** Of variances. */
SrStatus zelsUpdateGConst_DirectVar_64f(const double* var, int32_t len, double* gconst);
/** @} */

/** @name Constant term of a score
 * log_weight[i] - gconst[i] / 2, which the scoring functions take as val.
 * @{ */
SrStatus zelsOutProbPreCalc_32f(const float* log_weight, const float* gconst, float* dst,
                                int32_t len); /**< Single precision. */
SrStatus zelsOutProbPreCalc_64f(const double* log_weight, const double* gconst, double* dst,
                                int32_t len); /**< Double precision. */
/** Integers: the half is rounded down (-3 gives -2), the difference wraps at 32 bits. */
SrStatus zelsOutProbPreCalc_32s(const int32_t* log_weight, const int32_t* gconst, int32_t* dst, int32_t len);
/** In place. */
SrStatus zelsOutProbPreCalc_32f_I(const float* log_weight, float* gconst, int32_t len);
/** In place. */
SrStatus zelsOutProbPreCalc_64f_I(const double* log_weight, double* gconst, int32_t len);
/** In place, as zelsOutProbPreCalc_32s(). */
SrStatus zelsOutProbPreCalc_32s_I(const int32_t* log_weight, int32_t* gconst, int32_t len);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
