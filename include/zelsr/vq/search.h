/* Searches in codebooks: the codewords that are nearest to feature vectors. */
#ifndef ZELSR_VQ_SEARCH_H
#define ZELSR_VQ_SEARCH_H

#include "zelsr/types.h"
#include "zelsr/vq/codebook.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup search Codebook searches
 *
 * A feature vector becomes the index of its nearest codeword, by d(x, c) = sum over k of (x[k] - c[k])^2 weight[k]
 * in single precision, element after element; 16-bit values are converted first, which is exact. How the search
 * goes depends on the kind of the codebook and on whether its weights are all 1:
 *
 * - full, weights of 1: every codeword; the lowest index of those at the shortest distance. A NaN distance never
 *   wins, unless it is that of codeword 0, which then stays.
 * - full, weighted: every codeword in order; one replaces the best only where it is nearer by more than a
 *   millionth. A NaN distance always replaces the best, and is always replaced.
 * - full, with a table of cells (width 1 or 2): the same comparison, among the candidates of the vector's cell. A
 *   vector below the grid takes the candidates of its lower edge; one above it, or NaN, those of the upper edge.
 *   16-bit vectors lie 0.001 of a cell further up.
 * - tree, weights of 1: at each node the nearest of four vectors, the children's children (a leaf stands for its
 *   own two), tells the side to go, ties to the left. From the leaf the search walks to its first listed neighbour
 *   that is nearer, and from there on, until none is.
 * - tree, weighted: the same on scores -d / 2 from zelsLogGauss_32f_D2L() and zelsLogGaussSingle_32f(). Left only
 *   where one of the two on the left is nearer than both on the right by more than a millionth: ties go to the
 *   right. The walk moves past a ten-thousandth only. 16-bit scores are those of zelsLogGauss_16s32s_D2LSfs() and
 *   zelsLogGaussSingle_16s32s_Sfs() with as many places shifted out as the width has bits.
 *
 * A tree's answer need not be the nearest codeword. In the second and third search a NaN distance replaces every
 * other, and where none is below the largest single, index -1 results, at the distance of the largest single. A
 * codebook of another kind, which only
 * zelsCdbkInit_L2_*() makes, yields nothing: no index, no distance, ::SrOk.
 *
 * Up to width 128 nothing is allocated; beyond, one block a call: ::SrErrMemAlloc where it is refused, before
 * anything is written. ::SrErrGeneric where a score fails, which leaves the results partly written. No array needs
 * alignment.
 *
 * Thread rules: zelsVQ_*() and zelsVQDist_*() only read the codebook. The Single forms write its workspace:
 * threads may not share a codebook under them.
 * @{ */

/** @name Nearest codeword of each row
 * index[r] for height rows of src, step elements apart. Dist forms: distance[r], the square root of d to that
 * codeword. Checks, in this order: null pointers ::SrErrNullPtr; step or height below 1 ::SrErrSize; step below
 * the width ::SrErrSize.
 * @{ */
SrStatus zelsVQ_32f(const float* src, int32_t step, int32_t* index, int32_t height,
                    const ZelCdbkState_32f* state); /**< Single precision. */
SrStatus zelsVQ_16s(const int16_t* src, int32_t step, int32_t* index, int32_t height,
                    const ZelCdbkState_16s* state); /**< 16-bit rows. */
/** Single precision, with distances. */
SrStatus zelsVQDist_32f(const float* src, int32_t step, int32_t* index, float* distance, int32_t height,
                        const ZelCdbkState_32f* state);
/** 16-bit rows; distances times 2^-sf, rounded to nearest and saturated. In a weighted tree the score of the leaf
 * where a walk begins is not scaled here, those of its neighbours are. */
SrStatus zelsVQDist_16s32s_Sfs(const int16_t* src, int32_t step, int32_t* index, int32_t* distance, int32_t height,
                               const ZelCdbkState_16s* state, int32_t sf);
/** @} */

/** @name The nearest codewords of one vector
 * The wanted codewords of smallest d, nearest first and of equal ones the lowest index first, by the distances to
 * all codewords whatever the kind. In the workspace each codeword taken is left at the largest single. Checks, in
 * this order: null pointers ::SrErrNullPtr; wanted below 1 or above the number of codewords ::SrErrSize.
 * @{ */
SrStatus zelsVQSingle_Sort_32f(const float* src, int32_t* index, ZelCdbkState_32f* state,
                               int32_t wanted); /**< Single precision. */
SrStatus zelsVQSingle_Sort_16s(const int16_t* src, int32_t* index, ZelCdbkState_16s* state,
                               int32_t wanted); /**< A 16-bit vector. */
/** Single precision, with distances. */
SrStatus zelsVQDistSingle_Sort_32f(const float* src, int32_t* index, float* distance, ZelCdbkState_32f* state,
                                   int32_t wanted);
/** A 16-bit vector; distances times 2^-sf, rounded to nearest and saturated. */
SrStatus zelsVQDistSingle_Sort_16s32s_Sfs(const int16_t* src, int32_t* index, int32_t* distance,
                                          ZelCdbkState_16s* state, int32_t wanted, int32_t sf);
/** @} */

/** @name All codewords near one vector
 * The codewords whose d does not pass (r r) (factor factor) by more than a millionth, nearest first as above. r is
 * the distance that zelsVQDist_*() reports for the vector, so that in a tree codewords nearer than r may be among
 * them. *found receives their number; behind it nothing is written, so that index and distance need no more places
 * than that, and never more than there are codewords. Where the search yields nothing, *found is 0.
 *
 * Checks, in this order: null pointers ::SrErrNullPtr; factor not at least 1 (or NaN) ::SrErrBadArg.
 * @{ */
SrStatus zelsVQSingle_Thresh_32f(const float* src, int32_t* index, ZelCdbkState_32f* state, float factor,
                                 int32_t* found); /**< Single precision. */
SrStatus zelsVQSingle_Thresh_16s(const int16_t* src, int32_t* index, ZelCdbkState_16s* state, float factor,
                                 int32_t* found); /**< A 16-bit vector; r as of zelsVQ_16s(), unrounded. */
/** Single precision, with distances. */
SrStatus zelsVQDistSingle_Thresh_32f(const float* src, int32_t* index, float* distance, ZelCdbkState_32f* state,
                                     float factor, int32_t* found);
/** A 16-bit vector. r is the integer i from zelsVQDist_16s32s_Sfs(), times 2^sf. Listed are the codewords whose
 * own distance, times 2^-sf, rounded and saturated, is at most i factor, truncated and saturated. The first
 * codeword beyond the bound is looked at, too, and ends the list. */
SrStatus zelsVQDistSingle_Thresh_16s32s_Sfs(const int16_t* src, int32_t* index, int32_t* distance,
                                            ZelCdbkState_16s* state, float factor, int32_t* found, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
