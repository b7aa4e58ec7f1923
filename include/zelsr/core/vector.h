/* Elementary operations on one-dimensional arrays. */
#ifndef ZELSR_CORE_VECTOR_H
#define ZELSR_CORE_VECTOR_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup vector Elementary vector operations
 *
 * Arrays hold len elements. Checks, in this order: any null pointer gives ::SrErrNullPtr, len below 1 gives
 * ::SrErrSize; a member says so where it has a further check or a warning. No array needs alignment, not even
 * to the size of its elements, and the result does not depend on it; arrays on 16-byte boundaries are the
 * fastest. A destination may be one of its sources (the same address); other overlaps are undefined unless
 * the member says otherwise.
 *
 * Plain floating-point operations take the caller's rounding mode. Integer results, logarithms, square roots
 * of magnitudes and sums in extended precision do not depend on it, nor on unmasked exceptions.
 *
 * An integer result under a scale factor sf is the exact value times 2^-sf, rounded to nearest with ties to
 * even and saturated to its type, unless the member says otherwise.
 *
 * Thread rules: no state; any number of threads at once on arrays that do not overlap.
 * @{ */

/** @name Copy and fill
 * Move bytes: no value is looked at, so every NaN keeps its bits.
 * @{ */
SrStatus zelsCopy_8u(const uint8_t* src, uint8_t* dst, int32_t len);    /**< dst[i] = src[i]; no overlap at all. */
SrStatus zelsCopy_16s(const int16_t* src, int16_t* dst, int32_t len);   /**< As zelsCopy_8u(). */
SrStatus zelsCopy_32s(const int32_t* src, int32_t* dst, int32_t len);   /**< As zelsCopy_8u(). */
SrStatus zelsCopy_32f(const float* src, float* dst, int32_t len);       /**< As zelsCopy_8u(). */
SrStatus zelsCopy_64f(const double* src, double* dst, int32_t len);     /**< As zelsCopy_8u(). */
SrStatus zelsMove_32f(const float* src, float* dst, int32_t len);       /**< As a copy; arrays may overlap. */
SrStatus zelsSet_8u(uint8_t value, uint8_t* dst, int32_t len);          /**< dst[i] = value. */
SrStatus zelsSet_16s(int16_t value, int16_t* dst, int32_t len);         /**< dst[i] = value. */
SrStatus zelsSet_32s(int32_t value, int32_t* dst, int32_t len);         /**< dst[i] = value. */
SrStatus zelsSet_32f(float value, float* dst, int32_t len);             /**< dst[i] = value. */
SrStatus zelsSet_64f(double value, double* dst, int32_t len);           /**< dst[i] = value. */
SrStatus zelsZero_8u(uint8_t* dst, int32_t len);                        /**< All bits zero. */
SrStatus zelsZero_16s(int16_t* dst, int32_t len);                       /**< All bits zero. */
SrStatus zelsZero_32f(float* dst, int32_t len);                         /**< All bits zero. */
SrStatus zelsZero_64f(double* dst, int32_t len);                        /**< All bits zero. */
/** @} */

/** @name Arithmetic
 * @{ */
SrStatus zelsAbs_64f(const double* src, double* dst, int32_t len);      /**< Clears the sign bit. */
SrStatus zelsAdd_32f_I(const float* src, float* srcdst, int32_t len);   /**< srcdst[i] += src[i] */
SrStatus zelsAdd_64f_I(const double* src, double* srcdst, int32_t len); /**< srcdst[i] += src[i] */
SrStatus zelsSub_32f_I(const float* src, float* srcdst, int32_t len);   /**< srcdst[i] -= src[i] */
SrStatus zelsSub_64f_I(const double* src, double* srcdst, int32_t len); /**< srcdst[i] -= src[i] */
/** dst[i] = first[i] * second[i] */
SrStatus zelsMul_32f(const float* first, const float* second, float* dst, int32_t len);
/** dst[i] = first[i] * second[i] * 2^-sf.
 *
 * An sf above 30 gives zeros. A negative sf saturates the product to 16 bits, shifts it left and saturates
 * again; below -15, a product that is not zero gives 32767 or -32768 by its sign. */
SrStatus zelsMul_16s_Sfs(const int16_t* first, const int16_t* second, int16_t* dst, int32_t len, int32_t sf);
/** dst[i] = src[i] + value. A value that is neither below nor above zero (NaN too) makes it a copy. */
SrStatus zelsAddC_32f(const float* src, float value, float* dst, int32_t len);
/** dst[i] = src[i] * value. A value of 1 copies, a value of 0 (of either sign) stores zeros, whatever the
 * source holds; NaN multiplies. */
SrStatus zelsMulC_32f(const float* src, float value, float* dst, int32_t len);
SrStatus zelsMulC_64f(const double* src, double value, double* dst, int32_t len); /**< As zelsMulC_32f(). */
SrStatus zelsMulC_32f_I(float value, float* srcdst, int32_t len);                 /**< As zelsMulC_32f(), in place. */
SrStatus zelsMulC_64f_I(double value, double* srcdst, int32_t len);               /**< As zelsMulC_32f(), in place. */
/** zelsMulC_32f() with 1 / value. Checks: null, length, then a value that is zero or NaN gives
 * ::SrErrDivByZero. An infinite value stores zeros. */
SrStatus zelsDivC_32f(const float* src, float value, float* dst, int32_t len);
SrStatus zelsDivC_64f(const double* src, double value, double* dst, int32_t len); /**< As zelsDivC_32f(). */
SrStatus zelsDivC_32f_I(float value, float* srcdst, int32_t len);                 /**< As zelsDivC_32f(), in place. */
SrStatus zelsDivC_64f_I(double value, double* srcdst, int32_t len);               /**< As zelsDivC_32f(), in place. */
/** dst[i] = dividend[i] / divisor[i]. A zero divisor stores the IEEE quotient (infinity or NaN), goes on, and
 * the result is ::SrWarnDivByZero. */
SrStatus zelsDiv_32f(const float* divisor, const float* dividend, float* dst, int32_t len);
SrStatus zelsDiv_64f(const double* divisor, const double* dividend, double* dst, int32_t len); /**< As zelsDiv_32f(). */
SrStatus zelsDiv_32f_I(const float* divisor, float* srcdst, int32_t len); /**< As zelsDiv_32f(), srcdst the dividend. */
/** srcdst[i] = sqrt(srcdst[i]), correctly rounded. An element below zero stores NaN and gives
 * ::SrWarnSqrtNegArg; -0 and NaN are not below zero and stay. */
SrStatus zelsSqrt_64f_I(double* srcdst, int32_t len);
/** dst[i] = sqrt(s), s = re^2 + im^2 in single precision.
 *
 * The root comes from the processor's reciprocal root estimate and one Newton step: its relative error is below
 * 2^-21, and its last bits may differ between makes of processor. An s that is zero, subnormal, infinite or NaN
 * takes the exact root, so (0, 0) gives 0. s overflows to infinity for magnitudes from 2^64 on and loses
 * precision below 2^-63. */
SrStatus zelsMagnitude_32fc(const Zel32fc* src, float* dst, int32_t len);
/** dst[i] = sqrt(re^2 + im^2) * 2^-sf, formed in double. An sf above 32 gives zeros, below -30 it gives
 * 2147483647 for every pair but (0, 0). */
SrStatus zelsMagnitude_32sc_Sfs(const Zel32sc* src, int32_t* dst, int32_t len, int32_t sf);
/** @} */

/** @name Logarithms
 * @{ */
/** srcdst[i] = ln(srcdst[i]), within 0.87 units in the last place for every positive single, subnormal ones
 * included; the same bits on every processor. ln(1) is +0, infinity stays.
 *
 * +0 gives minus infinity (::SrWarnLnZeroArg); a set sign bit, -0 and negative NaN included, gives NaN
 * (::SrWarnLnNegArg); a positive NaN stays and sets no status. The status is that of the first such element. */
SrStatus zelsLn_32f_I(float* srcdst, int32_t len);
/** dst[i] = ln(src[i]) * 2^-sf.
 *
 * For sf at or above 0 the integer nearest to the logarithm (0 to 21, exact) is shifted right by sf: rounding comes
 * before scaling. For sf below 0 the element is rounded to single, its logarithm is that of zelsLn_32f_I(), and the
 * scaled value is saturated and rounded to nearest; ln(1) stays 0 under every sf. An element below 1 stores
 * -2147483648, and the first such element sets ::SrWarnLnZeroArg or ::SrWarnLnNegArg. */
SrStatus zelsLn_32s_Sfs(const int32_t* src, int32_t* dst, int32_t len, int32_t sf);
SrStatus zelsLn_32s_ISfs(int32_t* srcdst, int32_t len, int32_t sf); /**< As zelsLn_32s_Sfs(), in place. */
/** *result = sum of ln(src[i]), formed in double.
 *
 * Blocks of 512 elements take one logarithm each, of the product of their mantissas: the error stays near
 * 2^-53 (len + |sum|), and the last bits are those of the C library's log. Subnormal elements count with their
 * true logarithm, infinity gives infinity.
 *
 * The first special element in order ends the work: +0 stores plus infinity, as it stands
 * (::SrWarnLnZeroArg); a set sign bit stores NaN (::SrWarnLnNegArg); a positive NaN stores NaN (::SrOk). */
SrStatus zelsSumLn_32f(const float* src, int32_t len, float* result);
SrStatus zelsSumLn_64f(const double* src, int32_t len, double* result); /**< As zelsSumLn_32f(). */
/** @} */

/** @name Sums and dot products
 * @{ */
/** *result = sum of first[i] * second[i], products and sum in single precision.
 *
 * The order of the floating-point additions depends on len alone: partial sums, one a vector lane, each of every
 * 16th element (32f) or every 8th (64f, 32f64f), then the rest, then the join of the lanes. */
SrStatus zelsDotProd_32f(const float* first, const float* second, int32_t len, float* result);
SrStatus zelsDotProd_64f(const double* first, const double* second, int32_t len, double* result); /**< In double. */
/** Products (exact) and sum in double. */
SrStatus zelsDotProd_32f64f(const float* first, const float* second, int32_t len, double* result);
/** The exact integer sum, for every len. */
SrStatus zelsDotProd_16s64s(const int16_t* first, const int16_t* second, int32_t len, int64_t* result);
/** The exact integer sum, rounded once to single, by the caller's rounding mode. */
SrStatus zelsDotProd_16s32f(const int16_t* first, const int16_t* second, int32_t len, float* result);
/** *result = sum of src[i], rounded once to single.
 *
 * hint 1 is fast: sums in single over blocks of 32768 elements, their totals added in extended precision (a
 * source that is not on a 4-byte boundary is added one by one in extended precision). Every other hint is
 * accurate: eight sums in extended precision, each of every eighth element, joined in pairs, then the rest. */
SrStatus zelsSum_32f(const float* src, int32_t len, float* result, int32_t hint);
/** *result = sum of src[i] * 2^-sf; the sum is exact, sf may be any number. */
SrStatus zelsSum_16s32s_Sfs(const int16_t* src, int32_t len, int32_t* result, int32_t sf);
/** *result = sum of src[i] * 2^-sf; the sum is exact, sf is limited to -31 to 63. */
SrStatus zelsSum_32s_Sfs(const int32_t* src, int32_t len, int32_t* result, int32_t sf);
/** @} */

/** @name Extremes
 * With NaN in the data the results are undefined (an index lies within the array all the same). Zeros of
 * both signs are equal: either may be the extreme.
 * @{ */
SrStatus zelsMax_32f(const float* src, int32_t len, float* result);   /**< The largest element. */
SrStatus zelsMax_64f(const double* src, int32_t len, double* result); /**< The largest element. */
SrStatus zelsMin_32f(const float* src, int32_t len, float* result);   /**< The smallest element. */
SrStatus zelsMin_64f(const double* src, int32_t len, double* result); /**< The smallest element. */
/** Both extremes. */
SrStatus zelsMinMax_32f(const float* src, int32_t len, float* lowest, float* highest);
/** The largest element and the first index that holds it: *value = src[*index]. A null index is allowed:
 * zelsMax_32f(). */
SrStatus zelsMaxIndx_32f(const float* src, int32_t len, float* value, int32_t* index);
SrStatus zelsMaxIndx_64f(const double* src, int32_t len, double* value, int32_t* index); /**< As zelsMaxIndx_32f(). */
/** The smallest element and the first index that holds it. A null index is allowed: zelsMin_32f(). */
SrStatus zelsMinIndx_32f(const float* src, int32_t len, float* value, int32_t* index);
/** srcdst[i] = the larger of src[i] and srcdst[i]; of equal ones srcdst[i] stays. */
SrStatus zelsMaxEvery_32f_I(const float* src, float* srcdst, int32_t len);
SrStatus zelsMinEvery_32f_I(const float* src, float* srcdst, int32_t len);     /**< The smaller of the two. */
SrStatus zelsMinEvery_32s_I(const int32_t* src, int32_t* srcdst, int32_t len); /**< The smaller of the two. */
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
