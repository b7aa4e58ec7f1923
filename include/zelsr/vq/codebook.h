/* Codebooks: building, sizes, contents, release. */
#ifndef ZELSR_VQ_CODEBOOK_H
#define ZELSR_VQ_CODEBOOK_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup codebook Codebooks
 *
 * A codebook is a set of vectors of one width, the codewords, against which feature vectors are quantised. It is
 * made of height training rows, step elements apart, in one of three kinds. The distance of two vectors is
 *
 *     d(a, b) = sum over k of (a[k] - b[k])^2 weight[k],
 *
 * in single precision, element after element; the L2 forms have weights of 1.
 *
 * ::SrCdbkFull keeps every row as a codeword. In one and two dimensions, from 11 rows on, it gets a table of the
 * codewords near each cell of a grid, where such cells are short enough to speed up the search.
 *
 * The tree kinds split the rows top-down into size clusters, whose centroids are the codewords. The cluster to
 * split next is the one of largest radius (::SrCdbkTreeRadius), or the most populous one that has a radius
 * (::SrCdbkTreePopulation). The nearer half of its rows goes to the new cluster; then up to 20 passes of k-means
 * over all rows and all clusters follow, until no row moves and the total distance stands still. Growth ends early
 * where no cluster can be split: the status is ::SrWarnCdbkSize, and zelsGetCdbkSize_*() tells how many codewords
 * there are. Comparisons of distances leave a margin of one millionth.
 *
 * Training runs in the default floating-point environment, whatever the caller's. A training pass costs height
 * times those clusters that the pass before has moved. Rows and weights need no alignment.
 *
 * Statuses of their own: ::SrErrCdbkKind an invalid kind; ::SrWarnCdbkSize a valid codebook of another size than
 * was asked for; ::SrErrUnknown in zelsCdbkFree_*() only.
 *
 * Thread rules: threads may share a codebook, but not under the searches of single vectors for several
 * candidates, which write its workspace.
 * @{ */

/** What a codebook is made of, and so how it is searched. */
typedef int32_t SrCdbkKind;
enum {
    SrCdbkFull = 1,          /**< Every training row, without structure. */
    SrCdbkTreeRadius = 2,    /**< A binary tree of clusters, grown where the radius is largest. */
    SrCdbkTreePopulation = 3 /**< A binary tree of clusters, grown where the population is largest. */
};

/** A codebook of single-precision codewords. On i386 the record is
 *
 * | byte | field                                                                             |
 * |------|-----------------------------------------------------------------------------------|
 * | 0    | greatest depth of a leaf, the root's being 1; without a tree the last index       |
 * | 4    | number of codewords                                                               |
 * | 8    | width                                                                             |
 * | 12   | elements from one codeword to the next                                            |
 * | 16   | kind                                                                              |
 * | 20   | address of the codewords                                                          |
 * | 24   | address of the tree's root, or null                                               |
 * | 28   | bit 0: there is a table of a grid's cells; bit 1: not all weights are 1           |
 * | 32   | address of the weights                                                            |
 * | 36   | address of the table, or null                                                     |
 * | 40   | bits of an index: those of the last index                                         |
 * | 44   | address of the workspace, one single a codeword                                   |
 *
 * On x86-64 addresses take 8 bytes, without gaps. */
typedef struct ZelCdbkState_32f ZelCdbkState_32f;
/** A codebook of 16-bit codewords and weights. The record is that of ZelCdbkState_32f. */
typedef struct ZelCdbkState_16s ZelCdbkState_16s;

/** @name In the caller's memory
 * All rows as codewords, with weights of 1: neither tree nor table, and no weights of the caller's. Nothing is
 * allocated, and nothing is to be freed. Codewords lie width elements apart where the width is 1, 2 or 4,
 * otherwise step elements, rounded up to a multiple of 8. The memory may lie on any address, is the codebook
 * itself and must not be moved.
 *
 * Checks, in this order: kind 2 or 3 ::SrErrCdbkKind; null pointers ::SrErrNullPtr; width, step, height or size
 * below 1, width above step, size above 16383 or unlike height ::SrErrSize. Other values of kind are stored as
 * they are: only ::SrCdbkFull can be searched. More bytes than an int32 counts give ::SrErrMemAlloc.
 * @{ */
/** Bytes for zelsCdbkInit_L2_16s(): 2 width + 4 size + 2 size times the distance of two codewords, and 176 (196 on
 * x86-64); 2147483647 for more than an int32 counts. */
SrStatus zelsCdbkGetSize_16s(int32_t width, int32_t step, int32_t height, int32_t size, SrCdbkKind kind,
                             int32_t* bytes);
/** Bytes for zelsCdbkInit_L2_32f(): 4 width + 4 size + 4 size times the distance of two codewords, and 144 (164 on
 * x86-64); 2147483647 for more than an int32 counts. */
SrStatus zelsCdbkGetSize_32f(int32_t width, int32_t step, int32_t height, int32_t size, SrCdbkKind kind,
                             int32_t* bytes);
SrStatus zelsCdbkInit_L2_16s(ZelCdbkState_16s* state, const int16_t* src, int32_t width, int32_t step,
                             int32_t height, int32_t size, SrCdbkKind kind); /**< 16-bit rows. */
/** Single-precision rows. The bits of an index are not set: searches that pack indices into bits need a codebook
 * from an InitAlloc function. */
SrStatus zelsCdbkInit_L2_32f(ZelCdbkState_32f* state, const float* src, int32_t width, int32_t step,
                             int32_t height, int32_t size, SrCdbkKind kind);
/** @} */

/** @name In the allocator's memory
 * Of each kind, for zelsCdbkFree_*(). ::SrCdbkFull has height codewords, even more than 16383, and
 * ::SrWarnCdbkSize if size is another.
 *
 * Checks, in this order: L2 forms: width below 1 ::SrErrSize, weights of 1 refused ::SrErrMemAlloc; null rows or
 * weights ::SrErrNullPtr (the address of the codebook's pointer is not tested); width, step, height or size below
 * 1, width above step, size above 16383 or above height ::SrErrSize; a weight below 0 or not a number
 * ::SrErrBadArg; refused memory ::SrErrMemAlloc; kind ::SrErrCdbkKind. A tree whose halves cannot be told
 * apart gives ::SrErrBadArg. Without a codebook *state is not written, and everything is released.
 *
 * In 16 bits distances are single precision on the values as they are; centroids are means in double precision,
 * rounded to nearest, and distances are those to the rounded ones. The centroids of inner nodes are truncated.
 * @{ */
SrStatus zelsCdbkInitAlloc_L2_16s(ZelCdbkState_16s** state, const int16_t* src, int32_t width, int32_t step,
                                  int32_t height, int32_t size, SrCdbkKind kind); /**< 16-bit rows. */
SrStatus zelsCdbkInitAlloc_L2_32f(ZelCdbkState_32f** state, const float* src, int32_t width, int32_t step,
                                  int32_t height, int32_t size, SrCdbkKind kind); /**< Single precision. */
/** 16-bit rows, with width weights. */
SrStatus zelsCdbkInitAlloc_WgtL2_16s(ZelCdbkState_16s** state, const int16_t* src, const int16_t* weights,
                                     int32_t width, int32_t step, int32_t height, int32_t size, SrCdbkKind kind);
/** Single-precision rows, with width weights. */
SrStatus zelsCdbkInitAlloc_WgtL2_32f(ZelCdbkState_32f** state, const float* src, const float* weights,
                                     int32_t width, int32_t step, int32_t height, int32_t size, SrCdbkKind kind);

/** Releases a codebook from an InitAlloc function. Null, or a codebook without codewords, gives ::SrErrNullPtr; a
 * kind other than 1, 2, 3 ::SrErrUnknown, with nothing released. */
SrStatus zelsCdbkFree_16s(ZelCdbkState_16s* state);
SrStatus zelsCdbkFree_32f(ZelCdbkState_32f* state); /**< As zelsCdbkFree_16s(). */
/** @} */

/** @name Contents
 * @{ */
/** The number of codewords. Null gives ::SrErrNullPtr. */
SrStatus zelsGetCdbkSize_16s(const ZelCdbkState_16s* state, int32_t* size);
SrStatus zelsGetCdbkSize_32f(const ZelCdbkState_32f* state, int32_t* size); /**< As zelsGetCdbkSize_16s(). */
/** Copies the codewords to rows step elements apart. Null gives ::SrErrNullPtr; step below 1 or below the width
 * ::SrErrSize. */
SrStatus zelsGetCodebook_16s(const ZelCdbkState_16s* state, int16_t* dst, int32_t step);
SrStatus zelsGetCodebook_32f(const ZelCdbkState_32f* state, float* dst, int32_t step); /**< Single precision. */
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
