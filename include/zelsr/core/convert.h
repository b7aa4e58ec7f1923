/* Conversions between element types. */
#ifndef ZELSR_CORE_CONVERT_H
#define ZELSR_CORE_CONVERT_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup convert Conversions
 *
 * dst[i] = src[i] in another type, times 2^-sf where a scale factor is given. Checks, in this order: null
 * pointers give ::SrErrNullPtr, len below 1 ::SrErrSize. No array needs alignment. Source and destination may
 * be the same address where their elements have the same size.
 *
 * Scaling and overflow: results that do not fit saturate; what NaN becomes stands with each member. None
 * depends on the caller's rounding mode, but zelsConvert_32s32f(), zelsConvert_32s32f_Sfs() and
 * zelsConvert_64f32f(), which round by it. Exceptions that the caller has unmasked do not fire in
 * the conversions to integers.
 *
 * Thread rules: no state.
 * @{ */

/** @name To floating point
 * @{ */
SrStatus zelsConvert_8u32f(const uint8_t* src, float* dst, int32_t len);  /**< Exact. */
SrStatus zelsConvert_16s32f(const int16_t* src, float* dst, int32_t len); /**< Exact. */
SrStatus zelsConvert_32s32f(const int32_t* src, float* dst, int32_t len); /**< Rounded above 24 bits. */
SrStatus zelsConvert_64f32f(const double* src, float* dst, int32_t len);  /**< Rounded; overflow gives infinity. */
/** Exact: times 2^-sf, sf limited to -112 to 126. */
SrStatus zelsConvert_16s32f_Sfs(const int16_t* src, float* dst, int32_t len, int32_t sf);
/** Rounded above 24 bits, then times 2^-sf, sf limited to -96 to 126. */
SrStatus zelsConvert_32s32f_Sfs(const int32_t* src, float* dst, int32_t len, int32_t sf);
/** Exact: times 2^-sf, sf limited to -1008 to 1022. */
SrStatus zelsConvert_16s64f_Sfs(const int16_t* src, double* dst, int32_t len, int32_t sf);
/** @} */

/** @name To integers
 * rounding 0 truncates toward zero, every other value rounds to nearest with ties to even. The multiplier
 * 2^-sf is formed in the source's precision by repeated halving or doubling, so it may be 0 (above 149 or 1074)
 * or infinite (from -128 or -1024 down). Zero times an infinite multiplier, or infinity times a zero one, is a NaN
 * with a set sign bit.
 * @{ */
/** NaN gives 32767. */
SrStatus zelsConvert_32f16s_Sfs(const float* src, int16_t* dst, int32_t len, int32_t rounding, int32_t sf);
/** NaN gives 2147483647, with a set sign bit -2147483648. */
SrStatus zelsConvert_32f32s_Sfs(const float* src, int32_t* dst, int32_t len, int32_t rounding, int32_t sf);
/** NaN gives 2147483647. */
SrStatus zelsConvert_64f32s_Sfs(const double* src, int32_t* dst, int32_t len, int32_t rounding, int32_t sf);
/** Rounded to nearest with ties to even; sf is limited to -15 to 31. */
SrStatus zelsConvert_32s16s_Sfs(const int32_t* src, int16_t* dst, int32_t len, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
