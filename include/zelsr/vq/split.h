/* Vectors quantised in parts, by a codebook each. */
#ifndef ZELSR_VQ_SPLIT_H
#define ZELSR_VQ_SPLIT_H

#include "zelsr/types.h"
#include "zelsr/vq/codebook.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup split Split searches
 *
 * Each row is cut into consecutive parts, as wide as the codewords of consecutive codebooks, and part i becomes
 * the index of its nearest codeword in codebook i. The search is that of zelsVQ_32f() and zelsVQ_16s(), by each
 * codebook's own kind.
 *
 * Indices go to a destination row, one a codebook: 16s and 8u store the low bits of each in an element of its own;
 * the part of a codebook that cannot be searched leaves its element as it is. 1u packs them: row r starts at bit
 * r dst_step of the array, bits counted from the top of each byte down. Each index takes the index bits of its
 * codebook (see ZelCdbkState_32f), highest first, without gaps; a part that cannot be searched gives zeros. The
 * bytes that the height dst_step bits touch, and one whole byte for the last bits, are cleared before.
 *
 * Checks, in this order: null arrays ::SrErrNullPtr; steps, height or count below 1 ::SrErrSize; 16s and 8u: count
 * above dst_step ::SrErrSize; then codebook by codebook null ::SrErrNullPtr and, in 8u forms, more than 256
 * codewords ::SrErrSize; the sum of the widths above src_step ::SrErrSize; 1u: the sum of the index bits above
 * dst_step ::SrErrSize.
 *
 * Memory: one block a call where a codebook is wider than 128; 1u: one for height count 32-bit indices.
 * ::SrErrMemAlloc where one is refused, before anything is written. ::SrErrGeneric where a score of a weighted
 * tree fails, which leaves the destination partly written. A codebook from zelsCdbkInit_L2_32f() has no defined
 * index bits. No array needs alignment.
 *
 * Thread rules: codebooks are only read.
 * @{ */

/** Single-precision rows, 16-bit indices. */
SrStatus zelsSplitVQ_32f16s(const float* src, int32_t src_step, int16_t* dst, int32_t dst_step, int32_t height,
                            const ZelCdbkState_32f* const* states, int32_t count);
/** Single-precision rows, a byte an index. */
SrStatus zelsSplitVQ_32f8u(const float* src, int32_t src_step, uint8_t* dst, int32_t dst_step, int32_t height,
                           const ZelCdbkState_32f* const* states, int32_t count);
/** Single-precision rows, packed indices; dst_step in bits. */
SrStatus zelsSplitVQ_32f1u(const float* src, int32_t src_step, uint8_t* dst, int32_t dst_step, int32_t height,
                           const ZelCdbkState_32f* const* states, int32_t count);
/** 16-bit rows, 16-bit indices. */
SrStatus zelsSplitVQ_16s16s(const int16_t* src, int32_t src_step, int16_t* dst, int32_t dst_step, int32_t height,
                            const ZelCdbkState_16s* const* states, int32_t count);
/** 16-bit rows, a byte an index. */
SrStatus zelsSplitVQ_16s8u(const int16_t* src, int32_t src_step, uint8_t* dst, int32_t dst_step, int32_t height,
                           const ZelCdbkState_16s* const* states, int32_t count);
/** 16-bit rows, packed indices; dst_step in bits. */
SrStatus zelsSplitVQ_16s1u(const int16_t* src, int32_t src_step, uint8_t* dst, int32_t dst_step, int32_t height,
                           const ZelCdbkState_16s* const* states, int32_t count);

/** @} */

ZELSR_END_DECLARATIONS

#endif
