/* Order statistics. */
#ifndef ZELSR_LIKELIHOOD_ORDER_H
#define ZELSR_LIKELIHOOD_ORDER_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup order Order statistics
 *
 * *result receives the element of rank n: 0 gives the largest, len - 1 the smallest; equal elements take a rank
 * each. It is found by partition, in time proportional to len for data in random order.
 *
 * Checks, in this order: null ::SrErrNullPtr, len below 1 ::SrErrSize, n outside 0 to len - 1 ::SrErrBadArg, work
 * memory of len elements refused ::SrErrMemAlloc. Among NaN the result is some element of src. src is only read,
 * and needs no alignment. Thread rules: no state.
 * @{ */
/** 32-bit integers. */
SrStatus zelsNthMaxElement_32s(const int32_t* src, int32_t len, int32_t n, int32_t* result);
/** Single precision. */
SrStatus zelsNthMaxElement_32f(const float* src, int32_t len, int32_t n, float* result);
/** Double precision. */
SrStatus zelsNthMaxElement_64f(const double* src, int32_t len, int32_t n, double* result);
/** @} */

ZELSR_END_DECLARATIONS

#endif
