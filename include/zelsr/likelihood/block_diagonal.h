/* Gaussian scores with block-diagonal covariance. */
#ifndef ZELSR_LIKELIHOOD_BLOCK_DIAGONAL_H
#define ZELSR_LIKELIHOOD_BLOCK_DIAGONAL_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup block_diagonal Block-diagonal covariance
 *
 * score = val - 0.5 * sum over blocks b of d_b' A_b d_b,  d = x - m
 *
 * for a feature vector x and a mean m whose elements fall into groups, each with a full inverse covariance matrix
 * A_b. Every element of A_b enters the sum: no symmetry is assumed.
 *
 * Thread rules: no state. A record may be shared by any number of scoring calls.
 * @{ */

/** Inverse covariance matrices of 16-bit integers. */
typedef struct BlockDMatrix_16s BlockDMatrix_16s;
/** Inverse covariance matrices in single precision. */
typedef struct BlockDMatrix_32f BlockDMatrix_32f;
/** Inverse covariance matrices in double precision. */
typedef struct BlockDMatrix_64f BlockDMatrix_64f;

/** @name Making and releasing a record
 * rows: one pointer for each row of the whole matrix, block after block, to as many elements as its block's size;
 * they are copied. The record keeps the number of blocks and the sum of their sizes in 16 bits: of larger numbers
 * it keeps the low 16 bits, without a status.
 *
 * Memory: one block, of the square of every block's row bytes (rounded up to 16) and the lists.
 *
 * Checks, in this order: any null pointer ::SrErrNullPtr; block_count below 1, then any size below 1, ::SrErrSize;
 * memory refused, or more of it than a count of bytes can say, ::SrErrMemAlloc. *record stays as it was then.
 * @{ */
/** 16-bit integers. */
SrStatus zelsBlockDMatrixInitAlloc_16s(BlockDMatrix_16s** record, const int16_t* const* rows, const int32_t* sizes,
                                       int32_t block_count);
/** Single precision. */
SrStatus zelsBlockDMatrixInitAlloc_32f(BlockDMatrix_32f** record, const float* const* rows, const int32_t* sizes,
                                       int32_t block_count);
/** Double precision. */
SrStatus zelsBlockDMatrixInitAlloc_64f(BlockDMatrix_64f** record, const double* const* rows, const int32_t* sizes,
                                       int32_t block_count);
/** Releases a record of 16-bit integers; null gives ::SrErrNullPtr. */
SrStatus zelsBlockDMatrixFree_16s(BlockDMatrix_16s* record);
/** Releases a record in single precision; null gives ::SrErrNullPtr. */
SrStatus zelsBlockDMatrixFree_32f(BlockDMatrix_32f* record);
/** Releases a record in double precision; null gives ::SrErrNullPtr. */
SrStatus zelsBlockDMatrixFree_64f(BlockDMatrix_64f* record);
/** @} */

/** @name Scores of one vector
 * feature, mean of len elements, record of the same number of rows; *result receives the score.
 *
 * Checks, in this order: any null pointer ::SrErrNullPtr; len below 1 or not the sum of the block sizes
 * ::SrErrSize; work memory, which from len 112 on comes from the allocator, refused ::SrErrMemAlloc. No array
 * needs alignment; the result does not depend on it.
 *
 * 16-bit data: differences saturate to 16 bits, but for the last len modulo 4, which wrap. Products of a row are
 * exact; their sums and what follows are in single precision, scaled by 2^-sf. sf acts on the sum, val is added
 * unscaled.
 * @{ */
/** Single precision. */
SrStatus zelsLogGaussSingle_BlockDVar_32f(const float* feature, const float* mean, const BlockDMatrix_32f* record,
                                          int32_t len, float* result, float val);
/** Double precision. */
SrStatus zelsLogGaussSingle_BlockDVar_64f(const double* feature, const double* mean,
                                          const BlockDMatrix_64f* record, int32_t len, double* result, double val);
/** Differences and sums along rows in single precision, products with the row's difference and their sum in
 * double. */
SrStatus zelsLogGaussSingle_BlockDVar_32f64f(const float* feature, const float* mean,
                                             const BlockDMatrix_32f* record, int32_t len, double* result,
                                             double val);
/** 16-bit data, single-precision result. */
SrStatus zelsLogGaussSingle_BlockDVarScaled_16s32f(const int16_t* feature, const int16_t* mean,
                                                   const BlockDMatrix_16s* record, int32_t len, float* result,
                                                   float val, int32_t sf);
/** 16-bit data, integer result: truncated toward zero and saturated. */
SrStatus zelsLogGaussSingle_BlockDVar_16s32s_Sfs(const int16_t* feature, const int16_t* mean,
                                                 const BlockDMatrix_16s* record, int32_t len, int32_t* result,
                                                 int32_t val, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
