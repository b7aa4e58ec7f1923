/* Gaussian selection: bit tables that say which components count, and mixture scores restricted by them. */
#ifndef ZELSR_LIKELIHOOD_SELECT_H
#define ZELSR_LIKELIHOOD_SELECT_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup select Gaussian selection
 *
 * Scoring only a short list of a large model's components for every frame. A codebook of the model's means gives
 * each codeword a list of near components (the shortlist, a bit table with a row a codeword); the rows of a
 * frame's nearest codewords are united into the frame's row of the sign table; the Select forms score the mixture
 * over the components whose bits are set.
 *
 * Bits: bit b of a row lies in byte b / 8 under the mask 128 >> b % 8: the first bit is the top bit of the first
 * byte. A row of w bits takes (w + 7) / 8 bytes. Rows stand behind each other in one block, or wherever a list of
 * row pointers says; the pointers of a list of bit rows are not tested.
 *
 * Thread rules: no state.
 * @{ */

/** @name Shortlists: inverting bits
 * Every index inverts one bit: the caller clears the rows before the first call, and an index that stands twice
 * cancels itself. The first bit of a row that belongs to the list is bit offset; row_bytes is the length of a row
 * in bytes. Counts and indices are 32-bit; groups follow each other in the list.
 *
 * Checks, in this order: any null pointer ::SrErrNullPtr; height, width, row_bytes or count below 1 or offset
 * below 0 ::SrErrSize; row_bytes below (offset + width + 7) / 8 ::SrErrStride; an index below 0 or beyond the end
 * ::SrErrBadArg. The entries of an array of counts (below 1: ::SrErrSize) are tested before the stride in
 * zelsFillShortlist_RowVar_1u(), after it in zelsFillShortlist_ColumnVar_1u(). A failed check changes no bit.
 * @{ */
/** Row r of height: bit offset + t for each of its count indices t, 0 to width - 1. */
SrStatus zelsFillShortlist_Row_1u(const int32_t* indices, int32_t width, int32_t count, uint8_t* const* rows,
                                  int32_t height, int32_t row_bytes, int32_t offset);
/** Row r of height: bit offset + t for each of its counts[r] indices t, 0 to width - 1. */
SrStatus zelsFillShortlist_RowVar_1u(const int32_t* indices, const int32_t* counts, int32_t width,
                                     uint8_t* const* rows, int32_t height, int32_t row_bytes, int32_t offset);
/** Column c of width: bit offset + c of row t for each of its count indices t, 0 to height - 1. */
SrStatus zelsFillShortlist_Column_1u(const int32_t* indices, int32_t count, uint8_t* const* rows, int32_t height,
                                     int32_t row_bytes, int32_t offset, int32_t width);
/** Column c of width: bit offset + c of row t for each of its counts[c] indices t, 0 to height - 1. */
SrStatus zelsFillShortlist_ColumnVar_1u(const int32_t* indices, const int32_t* counts, uint8_t* const* rows,
                                        int32_t height, int32_t row_bytes, int32_t offset, int32_t width);
/** @} */

/** @name Sign tables: uniting rows
 * table: table_height rows of row_bytes bytes, of which bits offset to offset + width - 1 are used. dst: one block
 * of height rows of width bits, written whole; the bits behind the last column of a row are 0.
 *
 * Checks, in this order: any null pointer ::SrErrNullPtr; count, table_height, row_bytes, width or height below 1,
 * offset below 0 ::SrErrSize; row_bytes below (offset + width + 7) / 8 ::SrErrStride; an entry of counts below 1
 * ::SrErrSize; an index outside 0 to table_height - 1 ::SrErrBadArg. A failed check leaves dst as it was.
 * @{ */
/** Row r of dst is the union of the rows that the r-th group of count indices names. */
SrStatus zelsBuildSignTable_8u1u(const int32_t* indices, int32_t count, const uint8_t* const* table,
                                 int32_t table_height, int32_t row_bytes, int32_t offset, uint8_t* dst,
                                 int32_t height, int32_t width);
/** Not the union: the first bit of row r of dst is 1 if any used bit of the rows is set that the first counts[r]
 * indices name, counted from the start of the list for every r; all other bits are 0. As many indices are tested
 * as the counts add up to, and the list must hold them, though fewer are used. */
SrStatus zelsBuildSignTable_Var_8u1u(const int32_t* indices, const int32_t* counts, const uint8_t* const* table,
                                     int32_t table_height, int32_t row_bytes, int32_t offset, uint8_t* dst,
                                     int32_t height, int32_t width);
/** @} */

/** @name Mixtures of selected components
 * sum[i] = ln(sum over the selected components j of e^score of frame i under component j with constant val[j]),
 * for height frames; a frame without a selected component receives fallback. Scores are those of @ref gauss and of
 * the plain arithmetic of @ref fixed; one selected component is its score exactly.
 *
 * table: one packed block with a row a frame, (components + 7) / 8 bytes each; bit j says that component j is
 * scored. Bits behind the last component are not looked at.
 *
 * Two arithmetics:
 * - Blocks of frames with variances, from 9 components and 2 frames on: scores in the arithmetic of the forms for
 *   many Gaussians, log additions by the fast hint of zelsLogAdd_32f(), in the order of the components. For at
 *   most 20 components and 20 frames (Scaled: fewer than 20 frames) the work memory comes from the allocator
 *   (::SrErrMemAlloc if refused, nothing written); otherwise nothing is allocated.
 * - Everything else: scores in the arithmetic of one vector and one Gaussian, log additions by the accurate hint,
 *   in the order of the components. Counters of the scored components, 16 bits a frame, come from the allocator
 *   (::SrErrMemAlloc if refused, nothing written). A counter wraps: the score after 65536 others replaces their
 *   sum, and a frame whose count is a multiple of 65536 receives fallback.
 *
 * The forms differ by rounding only.
 *
 * Checks, in this order: any null pointer ::SrErrNullPtr; width, components or height below 1 ::SrErrSize; D2:
 * width above step ::SrErrStride; D2L: a null entry of any of the lists ::SrErrNullPtr.
 *
 * D2: one step, in elements, for frames, means and variances. Arrays on 16-byte boundaries with a step that is a
 * multiple of 4 (Scaled: 8) run fastest. The D2 forms with variances are the fast ones.
 * @{ */
/** Block of frames, reciprocal variances, single precision. */
SrStatus zelsLogGaussMixture_Select_32f_D2(const float* frames, const float* mean, const float* inv_var,
                                           int32_t step, int32_t width, const float* val, const uint8_t* table,
                                           int32_t components, float* sum, int32_t height, float fallback);
/** List of frames, reciprocal variances, single precision. */
SrStatus zelsLogGaussMixture_Select_32f_D2L(const float* const* frames, const float* const* mean,
                                            const float* const* inv_var, int32_t width, const float* val,
                                            const uint8_t* table, int32_t components, float* sum, int32_t height,
                                            float fallback);
/** Block of frames, unit variances, single precision. */
SrStatus zelsLogGaussMixture_SelectIdVar_32f_D2(const float* frames, const float* mean, int32_t step,
                                                int32_t width, const float* val, const uint8_t* table,
                                                int32_t components, float* sum, int32_t height, float fallback);
/** List of frames, unit variances, single precision. */
SrStatus zelsLogGaussMixture_SelectIdVar_32f_D2L(const float* const* frames, const float* const* mean,
                                                 int32_t width, const float* val, const uint8_t* table,
                                                 int32_t components, float* sum, int32_t height, float fallback);
/** Block of frames, reciprocal variances, 16-bit data, single-precision result. */
SrStatus zelsLogGaussMixture_SelectScaled_16s32f_D2(const int16_t* frames, const int16_t* mean,
                                                    const int16_t* inv_var, int32_t step, int32_t width,
                                                    const float* val, const uint8_t* table, int32_t components,
                                                    float* sum, int32_t height, float fallback, int32_t sf);
/** List of frames, reciprocal variances, 16-bit data, single-precision result. */
SrStatus zelsLogGaussMixture_SelectScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* const* mean,
                                                     const int16_t* const* inv_var, int32_t width,
                                                     const float* val, const uint8_t* table, int32_t components,
                                                     float* sum, int32_t height, float fallback, int32_t sf);
/** Block of frames, unit variances, 16-bit data, single-precision result. */
SrStatus zelsLogGaussMixture_SelectIdVarScaled_16s32f_D2(const int16_t* frames, const int16_t* mean, int32_t step,
                                                         int32_t width, const float* val, const uint8_t* table,
                                                         int32_t components, float* sum, int32_t height,
                                                         float fallback, int32_t sf);
/** List of frames, unit variances, 16-bit data, single-precision result. */
SrStatus zelsLogGaussMixture_SelectIdVarScaled_16s32f_D2L(const int16_t* const* frames, const int16_t* const* mean,
                                                          int32_t width, const float* val, const uint8_t* table,
                                                          int32_t components, float* sum, int32_t height,
                                                          float fallback, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
