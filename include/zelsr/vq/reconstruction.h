/* Vectors from the indices of codewords. */
#ifndef ZELSR_VQ_RECONSTRUCTION_H
#define ZELSR_VQ_RECONSTRUCTION_H

#include "zelsr/types.h"
#include "zelsr/vq/codebook.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup reconstruction Reconstruction
 *
 * Codewords by their indices, one behind the other. The first type in a name is that of the indices, the second
 * that of the codewords. Nothing is allocated. No array needs alignment; source and destination may not overlap.
 *
 * Thread rules: no state; codebooks are only read.
 * @{ */

/** @name Rows, from codebooks
 * Row r of dst is codeword src[r][0] of the first codebook, then codeword src[r][1] of the second, and so on. 1u:
 * rows start src_step bits apart and hold as many bits of each index as its codebook says, as zelsSplitVQ_32f1u()
 * packs them, up to 16 of each. What lies between the rows of dst is not written.
 *
 * @warning Indices are not tested: one that is not below its codebook's count reads outside the codebook.
 *
 * Checks, in this order: null arrays ::SrErrNullPtr; steps, height or count below 1 ::SrErrSize; not 1u: count
 * above src_step ::SrErrSize; then codebook by codebook null ::SrErrNullPtr and, in 8u forms, more than 256
 * codewords ::SrErrSize; the sum of the widths above dst_step ::SrErrSize; 1u: the sum of the index bits above
 * src_step ::SrErrSize.
 * @{ */
/** 16-bit indices, single-precision codewords. */
SrStatus zelsFormVectorVQ_16s32f(const int16_t* src, int32_t src_step, float* dst, int32_t dst_step,
                                 int32_t height, const ZelCdbkState_32f* const* states, int32_t count);
/** A byte an index, single-precision codewords. */
SrStatus zelsFormVectorVQ_8u32f(const uint8_t* src, int32_t src_step, float* dst, int32_t dst_step, int32_t height,
                                const ZelCdbkState_32f* const* states, int32_t count);
/** Packed indices, single-precision codewords; src_step in bits. */
SrStatus zelsFormVectorVQ_1u32f(const uint8_t* src, int32_t src_step, float* dst, int32_t dst_step, int32_t height,
                                const ZelCdbkState_32f* const* states, int32_t count);
/** 16-bit indices, 16-bit codewords. */
SrStatus zelsFormVectorVQ_16s16s(const int16_t* src, int32_t src_step, int16_t* dst, int32_t dst_step,
                                 int32_t height, const ZelCdbkState_16s* const* states, int32_t count);
/** A byte an index, 16-bit codewords. */
SrStatus zelsFormVectorVQ_8u16s(const uint8_t* src, int32_t src_step, int16_t* dst, int32_t dst_step,
                                int32_t height, const ZelCdbkState_16s* const* states, int32_t count);
/** Packed indices, 16-bit codewords; src_step in bits. */
SrStatus zelsFormVectorVQ_1u16s(const uint8_t* src, int32_t src_step, int16_t* dst, int32_t dst_step,
                                int32_t height, const ZelCdbkState_16s* const* states, int32_t count);
/** @} */

/** @name One vector, from arrays of codewords
 * Codeword index[i] is the widths[i] elements from codebooks[i][index[i] steps[i]] on; it goes behind codeword
 * i - 1.
 *
 * Checks, in this order: null pointers ::SrErrNullPtr; count below 1 ::SrErrSize; then any widths[i] or steps[i]
 * below 1, or index[i] below 0 or not below lengths[i], ::SrErrSize.
 * @{ */
/** Byte indices, 16-bit codewords. */
SrStatus zelsFormVector_8u16s(const uint8_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                              const int32_t* widths, const int32_t* steps, int32_t count, int16_t* dst);
/** 16-bit indices and codewords. */
SrStatus zelsFormVector_16s16s(const int16_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                               const int32_t* widths, const int32_t* steps, int32_t count, int16_t* dst);
/** Byte indices, single-precision codewords. */
SrStatus zelsFormVector_8u32f(const uint8_t* index, const float* const* codebooks, const int32_t* lengths,
                              const int32_t* widths, const int32_t* steps, int32_t count, float* dst);
/** 16-bit indices, single-precision codewords. */
SrStatus zelsFormVector_16s32f(const int16_t* index, const float* const* codebooks, const int32_t* lengths,
                               const int32_t* widths, const int32_t* steps, int32_t count, float* dst);
/** @} */

/** @name One vector, from arrays of codewords of two or four elements
 * Codewords of 2 (2i) or 4 (4i) elements, without gaps. Codeword i goes to dst[2 i] (dst[4 i]) for i below len / 2
 * (len / 4); the rest of dst, where len is no multiple of 2 (4), is not written.
 *
 * Checks, in this order: null pointers ::SrErrNullPtr; len below 1 ::SrErrSize; any index[i] below 0 or not below
 * lengths[i] ::SrErrSize, but zelsFormVector_2i_16s32f() takes an index equal to its length.
 * @{ */
/** Byte indices, 16-bit codewords of two. */
SrStatus zelsFormVector_2i_8u16s(const uint8_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                                 int16_t* dst, int32_t len);
/** 16-bit indices, 16-bit codewords of two. */
SrStatus zelsFormVector_2i_16s16s(const int16_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                                  int16_t* dst, int32_t len);
/** Byte indices, single-precision codewords of two. */
SrStatus zelsFormVector_2i_8u32f(const uint8_t* index, const float* const* codebooks, const int32_t* lengths,
                                 float* dst, int32_t len);
/** 16-bit indices, single-precision codewords of two. Index lengths[i], one behind the last codeword, is taken and
 * read. */
SrStatus zelsFormVector_2i_16s32f(const int16_t* index, const float* const* codebooks, const int32_t* lengths,
                                  float* dst, int32_t len);
/** Byte indices, 16-bit codewords of four. */
SrStatus zelsFormVector_4i_8u16s(const uint8_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                                 int16_t* dst, int32_t len);
/** 16-bit indices, 16-bit codewords of four. */
SrStatus zelsFormVector_4i_16s16s(const int16_t* index, const int16_t* const* codebooks, const int32_t* lengths,
                                  int16_t* dst, int32_t len);
/** Byte indices, single-precision codewords of four. */
SrStatus zelsFormVector_4i_8u32f(const uint8_t* index, const float* const* codebooks, const int32_t* lengths,
                                 float* dst, int32_t len);
/** 16-bit indices, single-precision codewords of four. */
SrStatus zelsFormVector_4i_16s32f(const int16_t* index, const float* const* codebooks, const int32_t* lengths,
                                  float* dst, int32_t len);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
