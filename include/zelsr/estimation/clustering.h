/* Statistics of decision-tree clustering of states. */
#ifndef ZELSR_ESTIMATION_CLUSTERING_H
#define ZELSR_ESTIMATION_CLUSTERING_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup clustering Decision-tree clustering
 *
 * A cluster of states has an occupancy g, the sum s[i] of its means and the sum q[i] of its second moments, both
 * weighted with the occupancies. Its log likelihood under one Gaussian tells whether a question of the tree is
 * worth asking. Arrays hold len elements.
 *
 * Checks, in this order: any null pointer gives ::SrErrNullPtr, len below 1 ::SrErrSize; a member says so where it
 * has a further one. A destination may be one of its sources (the same address). No array needs alignment, and the
 * result does not depend on it.
 *
 * Thread rules: no state.
 * @{ */

/** @name Statistics of one state
 * s[i] = mean[i] * occupancy and q[i] = (variance + mean[i]^2) * occupancy. They are stored, not added, in spite
 * of the name: the caller adds the members of a cluster. In the caller's rounding mode.
 * @{ */
SrStatus zelsDcsClustLAccumulate_32f(const float* mean, const float* inv_var, float* s, float* q, int32_t len,
                                     float occupancy); /**< Variance 1 / inv_var[i]. */
SrStatus zelsDcsClustLAccumulate_64f(const double* mean, const double* inv_var, double* s, double* q, int32_t len,
                                     double occupancy); /**< Variance 1 / inv_var[i]. */
SrStatus zelsDcsClustLAccumulate_DirectVar_32f(const float* mean, const float* var, float* s, float* q,
                                               int32_t len, float occupancy); /**< Variance var[i]. */
SrStatus zelsDcsClustLAccumulate_DirectVar_64f(const double* mean, const double* var, double* s, double* q,
                                               int32_t len, double occupancy); /**< Variance var[i]. */
/** @} */

/** @name Log likelihood of a cluster
 * Under the Gaussian that fits it best: with g the occupancy,
 * *result = g / 2 * (len * (2 ln g - 1 - ln 2 pi) - sum over i of ln(g * q[i] - s[i]^2)), in double precision.
 *
 * A further check, behind the others: an occupancy that is not at or above zero (NaN too) gives ::SrErrNegValue.
 * An occupancy of exactly zero gives the warning ::SrWarnZeroCount, and *result is -1e10.
 *
 * Where g * q[i] - s[i]^2 is negative, *result is NaN, with ::SrWarnLnNegArg; else, where it is zero, minus
 * infinity, with ::SrWarnLnZeroArg. The logarithms are summed as in zelsSumLn_64f(). Does not depend on the
 * caller's rounding mode.
 * @{ */
SrStatus zelsDcsClustLCompute_32f64f(const float* s, const float* q, int32_t len, double* result,
                                     float occupancy); /**< Statistics in single precision. */
SrStatus zelsDcsClustLCompute_64f(const double* s, const double* q, int32_t len, double* result,
                                  double occupancy); /**< Statistics in double precision. */
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
