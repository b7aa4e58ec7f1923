/* Values brought to a common scale. */
#ifndef ZELSR_MATRIX_NORMALIZE_H
#define ZELSR_MATRIX_NORMALIZE_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup normalize Normalisation
 *
 * Columns of a matrix brought to zero mean and unit variance, vectors mapped into a range or freed of their mean,
 * inverse standard deviations, and a smooth unit curve.
 *
 * Checks: each group states their order. A null pointer gives ::SrErrNullPtr, a length, width or height below 1
 * ::SrErrSize, a width above the step ::SrErrStride, a value outside its domain (NaN too) ::SrErrBadArg. No member
 * takes memory. Arrays, rows and lists may lie on any byte address, and the result does not depend on it, but for
 * zelsRecSqrt_32s_Sfs().
 *
 * Floating-point results take the caller's rounding mode, integer results do not depend on it.
 *
 * Thread rules: no state.
 * @{ */

/** @name Reciprocal square roots under a floor
 * x becomes 1 / sqrt(x) where it lies above the floor, elsewhere (NaN too) the floor itself. Checks: null, len, a
 * floor that is not above zero. ::SrWarnInvZero if every element took the floor; the results are written all the
 * same.
 *
 * The root comes from the processor's estimate r (12 bits) and one Newton step, in single precision: its relative
 * error is below 2^-21, and its last bits may differ between makes of processor.
 * @{ */
/** (3 - x * r * r) * (r * 0.5) for x above floor. The step does not converge at the ends of the type: infinity
 * gives NaN, a subnormal x minus infinity. */
SrStatus zelsRecSqrt_32f(float* srcdst, int32_t len, float floor);
/** On a 16-byte boundary: as zelsRecSqrt_32f() of x and floor in single precision, times 2^-sf, rounded to nearest
 * and saturated; an x equal to the floor stores the floor. Elsewhere: r * (x * r * r - 3) * -0.5 for x at or above
 * the floor, times 2^-sf, truncated toward zero; 2^31 and more wraps to -2147483648. */
SrStatus zelsRecSqrt_32s_Sfs(int32_t* srcdst, int32_t len, int32_t floor, int32_t sf);
/** r * (x * r * r - 3) * -0.5 for x at or above the floor, times 2^-sf, saturated and truncated toward zero, on
 * every address. */
SrStatus zelsRecSqrt_32s16s_Sfs(const int32_t* src, int16_t* dst, int32_t len, int32_t floor, int32_t sf);
/** @} */

/** @name Zero mean
 * @{ */
/** Subtracts the mean in place: with t = 2 * sum / len, truncated toward zero, and d = 2 x - t, an element becomes
 * (d - 1) >> 1 for a d below zero, (d + 1) >> 1 for any other, limited to -32767 and 32767. An odd d rounds away
 * from zero, an even one below zero comes out one lower than d / 2. Checks: len, null. */
SrStatus zelsZeroMean_16s(int16_t* srcdst, int32_t len);
/** @} */

/** @name Columns
 * x[r][c] becomes (x[r][c] - mean[c]) * factor[c], in place. Checks: null (of a row list only the list itself),
 * width or height below 1, width above step (D2 forms only).
 * @{ */
/** A block, in single precision. */
SrStatus zelsNormalizeColumn_32f_D2(float* srcdst, int32_t step, int32_t height, const float* mean,
                                    const float* factor, int32_t width);
/** A list, in single precision. */
SrStatus zelsNormalizeColumn_32f_D2L(float* const* rows, int32_t height, const float* mean, const float* factor,
                                     int32_t width);
/** A block of integers: the product of 32 bits, shifted right by sf (rounding toward minus infinity) or left by
 * -sf in 32 bits (high bits drop out), then saturated. The shift counts modulo 32. */
SrStatus zelsNormalizeColumn_16s_D2Sfs(int16_t* srcdst, int32_t step, int32_t height, const int16_t* mean,
                                       const int16_t* factor, int32_t width, int32_t sf);
/** A list of integers, as zelsNormalizeColumn_16s_D2Sfs(). */
SrStatus zelsNormalizeColumn_16s_D2LSfs(int16_t* const* rows, int32_t height, const int16_t* mean,
                                        const int16_t* factor, int32_t width, int32_t sf);
/** @} */

/** @name In range
 * Maps the part of a vector's span between two fractions of it to 0 to range. With w = highest - lowest:
 * - top = high * w + lowest, bottom = w * low + lowest, slope = range / (high * w - w * low);
 * - dst[i] = max(min(src[i], top) - bottom, 0) * slope.
 *
 * All of it in single precision. A NaN element counts as top, a difference that is not a number as 0. Integer
 * results are rounded to nearest with ties to even and saturated to 16 bits; 8-bit ones are limited to 0 to 255
 * behind that. An empty span (highest equal to lowest) stores zeros, does not read the source and gives
 * ::SrWarnInvZero.
 *
 * Checks: null, len, then ::SrErrBadArg unless 0 <= low < high <= 1 and range >= 0.
 * @{ */
/** Lowest and highest are those of the source. NaN elements are passed over, but for the first: then the span is
 * empty. */
SrStatus zelsNormalizeInRange_32f(const float* src, float* dst, int32_t len, float low, float high, float range);
/** As zelsNormalizeInRange_32f(). */
SrStatus zelsNormalizeInRange_32f16s(const float* src, int16_t* dst, int32_t len, float low, float high,
                                     int16_t range);
/** As zelsNormalizeInRange_32f(). */
SrStatus zelsNormalizeInRange_32f8u(const float* src, uint8_t* dst, int32_t len, float low, float high,
                                    uint8_t range);
/** As zelsNormalizeInRange_32f(). */
SrStatus zelsNormalizeInRange_16s(const int16_t* src, int16_t* dst, int32_t len, float low, float high,
                                  int16_t range);
/** As zelsNormalizeInRange_32f(). */
SrStatus zelsNormalizeInRange_16s8u(const int16_t* src, uint8_t* dst, int32_t len, float low, float high,
                                    uint8_t range);
/** As zelsNormalizeInRange_32f(), in place. */
SrStatus zelsNormalizeInRange_32f_I(float* srcdst, int32_t len, float low, float high, float range);
/** As zelsNormalizeInRange_32f(), in place. */
SrStatus zelsNormalizeInRange_16s_I(int16_t* srcdst, int32_t len, float low, float high, int16_t range);
/** The caller's lowest and highest; highest below lowest gives ::SrErrBadArg too. */
SrStatus zelsNormalizeInRangeMinMax_32f(const float* src, float* dst, int32_t len, float lowest, float highest,
                                        float low, float high, float range);
/** As zelsNormalizeInRangeMinMax_32f(). */
SrStatus zelsNormalizeInRangeMinMax_32f16s(const float* src, int16_t* dst, int32_t len, float lowest,
                                           float highest, float low, float high, int16_t range);
/** As zelsNormalizeInRangeMinMax_32f(). */
SrStatus zelsNormalizeInRangeMinMax_32f8u(const float* src, uint8_t* dst, int32_t len, float lowest, float highest,
                                          float low, float high, uint8_t range);
/** As zelsNormalizeInRangeMinMax_32f(). */
SrStatus zelsNormalizeInRangeMinMax_16s(const int16_t* src, int16_t* dst, int32_t len, int16_t lowest,
                                        int16_t highest, float low, float high, int16_t range);
/** As zelsNormalizeInRangeMinMax_32f(). */
SrStatus zelsNormalizeInRangeMinMax_16s8u(const int16_t* src, uint8_t* dst, int32_t len, int16_t lowest,
                                          int16_t highest, float low, float high, uint8_t range);
/** As zelsNormalizeInRangeMinMax_32f(), in place. */
SrStatus zelsNormalizeInRangeMinMax_32f_I(float* srcdst, int32_t len, float lowest, float highest, float low,
                                          float high, float range);
/** As zelsNormalizeInRangeMinMax_32f(), in place. */
SrStatus zelsNormalizeInRangeMinMax_16s_I(int16_t* srcdst, int32_t len, int16_t lowest, int16_t highest, float low,
                                          float high, int16_t range);
/** @} */

/** @name Unit curve
 * 0 for an x below 0 (NaN too), x^2 up to 1, 2 - (2 - x)^2 up to 2, 2 above. Checks: null, len.
 * @{ */
/** The third piece as 4 * x - x * x - 2. */
SrStatus zelsUnitCurve_32f(const float* src, float* dst, int32_t len);
/** The third piece as 2 - (2 - x) * (2 - x). */
SrStatus zelsUnitCurve_32f_I(float* srcdst, int32_t len);
/** Integers: x has q fraction bits, the curve 2 q, in 32 bits; it is shifted right by sf + 2 q (toward zero), or
 * left by the negated count in 32 bits (high bits drop out), limited above to 32767, and its low 16 bits are
 * stored. A shift above 31 leaves 0. A q below 0 or above 14 stores zeros. */
SrStatus zelsUnitCurve_16s_Sfs(const int16_t* src, int32_t q, int16_t* dst, int32_t len, int32_t sf);
/** As zelsUnitCurve_16s_Sfs(), in place. */
SrStatus zelsUnitCurve_16s_ISfs(int16_t* srcdst, int32_t q, int32_t len, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
