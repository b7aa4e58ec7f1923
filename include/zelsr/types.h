/* Element types, statuses and records that every family shares. */
#ifndef ZELSR_TYPES_H
#define ZELSR_TYPES_H

#include <stddef.h>
#include <stdint.h>

/* Declarations between these two have C linkage and are visible outside the library. */
#ifdef __cplusplus
#define ZELSR_BEGIN_DECLARATIONS _Pragma("GCC visibility push(default)") extern "C" {
#define ZELSR_END_DECLARATIONS \
    }                          \
    _Pragma("GCC visibility pop")
#else
#define ZELSR_BEGIN_DECLARATIONS _Pragma("GCC visibility push(default)")
#define ZELSR_END_DECLARATIONS _Pragma("GCC visibility pop")
#endif

/** @defgroup types Statuses and types
 * @{ */

/** The result of a public function: zero success, below zero an error, above zero a warning.
 *
 * An error of the argument checks means that nothing was written; an error met while computing leaves the results
 * partly written. A warning means that the function ran to its end, that its outputs are filled, and that some
 * input met a mathematical edge whose defined special value stands in the output; where one writes nothing, the
 * function says so. */
typedef int32_t SrStatus;

/** All values of SrStatus. */
enum {
    SrOk = 0,                   /**< Success. */
    SrWarnSqrtNegArg = 3,       /**< Square root of a negative element. */
    SrWarnInvZero = 4,          /**< No reciprocal was formed, or a range is empty. */
    SrWarnDivByZero = 6,        /**< Division by zero in an element. */
    SrWarnLnZeroArg = 7,        /**< Logarithm of zero. */
    SrWarnLnNegArg = 8,         /**< Logarithm of a negative number. */
    SrWarnAllFloored = 11,      /**< Every element of the result fell to the given floor. */
    SrWarnZeroCount = 16,       /**< An occupancy count is not above the smallest normal number; nothing is written. */
    SrWarnCdbkSize = 31,        /**< A codebook holds another number of codewords than was asked for. */
    SrErrGeneric = -2,          /**< A search's own scoring or conversion failed. */
    SrErrBadArg = -5,           /**< An argument outside its domain. */
    SrErrSize = -6,             /**< A length, count, height or width outside its bounds. */
    SrErrRange = -7,            /**< A value outside the interval in which the operation is defined. */
    SrErrNullPtr = -8,          /**< A required pointer is null. */
    SrErrMemAlloc = -9,         /**< The allocator refused scratch memory or a state record. */
    SrErrDivByZero = -10,       /**< A divisor constant that is zero or not a number. */
    SrErrFftOrder = -15,        /**< FFT order outside 0 to 30. */
    SrErrFftFlag = -16,         /**< FFT normalisation flag other than 1, 2, 4, 8. */
    SrErrContext = -17,         /**< A state record without the identifying value of its kind. */
    SrErrStride = -37,          /**< A row step smaller than the row length, of a bit table in bytes. */
    SrErrSvdConverge = -65,     /**< The singular value decomposition did not converge. */
    SrErrCdbkKind = -66,        /**< A codebook kind that the function does not build. */
    SrErrNegValue = -67,        /**< An occupancy count that is negative or not a number. */
    SrErrFBankCenters = -69,    /**< A filter bank without valid centres, or refused centres. */
    SrErrFBankFlag = -70,       /**< An illegal filter bank flag word. */
    SrErrFBankFreq = -71,       /**< A filter bank frequency outside its range. */
    SrErrLpToLsp = -114,        /**< Not all roots of the line spectral pairs were found. */
    SrErrLspToLp = -115,        /**< Line spectral values that are no ordered sequence in their range. */
    SrErrLpToReflection = -116, /**< A reflection step would divide by zero. */
    SrErrDurbin = -117,         /**< The prediction error is not positive at some order. */
    SrErrLengthBound = -119,    /**< A length or lag beyond the limit of the noise and peak functions. */
    SrErrUnknown = -9999        /**< A codebook record whose selection hint is unknown. */
};

/** Code 32fc: a complex number in single precision. */
typedef struct {
    float re; /**< Real part. */
    float im; /**< Imaginary part. */
} Zel32fc;

/** Code 32sc: a complex number of 32-bit signed integers. */
typedef struct {
    int32_t re; /**< Real part. */
    int32_t im; /**< Imaginary part. */
} Zel32sc;

/** @} */

#endif
