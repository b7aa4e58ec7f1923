/* Dynamic time warping of two sequences of feature vectors. */
#ifndef ZELSR_SIGNAL_WARPING_H
#define ZELSR_SIGNAL_WARPING_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup warping Dynamic time warping
 *
 * The least sum of distances along a path through the frames of two sequences. Let S be the shorter one, of n
 * frames (with equal heights: b), T the longer one, of m frames, and
 *
 *     d(t, j) = sqrt(sum over k of (T[t][k] - S[j][k])^2)
 *     D(0, j) = d(0, j),                                          j = 0 ... delta
 *     D(t, j) = d(t, j) + min(D(t-1, j), D(t-1, j-1), D(t-1, j-2))
 *
 * so that a step may stay on a frame of S or skip one. *distance is the minimum over the columns that are active
 * in the last row, whether the path has reached the end of S or not: wanted.
 *
 * Which columns are active: at first 0 ... delta. Each row begins where the one before it began, and ends at most
 * two columns behind it. Then the band of slopes between 1/2 and 2 cuts it to lo(t) ... hi(t), with integer
 * quotients (the shift rounds down, t / 2 truncates):
 *
 *     hi(t) = delta + 2 t                          if 3 t < 2 n - m,         else n + delta + ((t - m - 1) >> 1)
 *     lo(t) = n - delta + 2 (t - m) + 1            if 3 t > 2 (2 m - n) - 2, else t / 2 - delta
 *
 * limited to n - 1 and 0. Last, the beam takes columns from the right end, then from the left one, as long as
 * their D is above best + (beam + 1.1920929e-7), where best is the row's minimum; one column always stays.
 *
 * delta at or above n counts as n - 1; one below 0 leaves no column at all. beam not above 0 counts as 0. Where no
 * active column has a path of a sum below the largest single, the search ends and *distance is that single,
 * 3.4028235e38; so it is for two sequences of one frame each, which are not looked at. A distance that is infinite
 * or not a number bars its column for paths.
 *
 * Everything is formed in single precision. Sum of a distance: four partial sums take the elements modulo 4 of
 * whole groups of eight, in order; (0 + 1) + (2 + 3); then the elements behind the whole groups, one after the
 * other.
 *
 * Sfs forms: the elements are converted to single, the distance times 2^-sf is rounded to nearest with ties to
 * even and saturated. The largest single is scaled like any other result: from sf = 97 on it does not saturate.
 *
 * Checks: null ::SrErrNullPtr; a height or width below 1, or a step below the width, ::SrErrSize. For refused
 * work memory ::SrErrMemAlloc, with *distance as it was; single-precision forms ask for some only if
 * 2 ((n + 8) & ~3) + 2 ((m + 3) & ~3) is above 512.
 *
 * D2: both blocks have the same step. No array needs alignment. Thread rules: no state.
 * @{ */

/** Single precision, row lists. */
SrStatus zelsDTW_L2_32f_D2L(const float* const* a, int32_t height_a, const float* const* b, int32_t height_b,
                            int32_t width, float* distance, int32_t delta, float beam);
/** Single precision, blocks. */
SrStatus zelsDTW_L2_32f_D2(const float* a, int32_t height_a, const float* b, int32_t height_b, int32_t width,
                           int32_t step, float* distance, int32_t delta, float beam);
/** 8-bit, row lists. */
SrStatus zelsDTW_L2_8u32s_D2LSfs(const uint8_t* const* a, int32_t height_a, const uint8_t* const* b,
                                 int32_t height_b, int32_t width, int32_t* distance, int32_t delta, float beam,
                                 int32_t sf);
/** 8-bit, blocks. */
SrStatus zelsDTW_L2_8u32s_D2Sfs(const uint8_t* a, int32_t height_a, const uint8_t* b, int32_t height_b,
                                int32_t width, int32_t step, int32_t* distance, int32_t delta, float beam,
                                int32_t sf);
/** 16-bit, row lists. */
SrStatus zelsDTW_L2Low_16s32s_D2LSfs(const int16_t* const* a, int32_t height_a, const int16_t* const* b,
                                     int32_t height_b, int32_t width, int32_t* distance, int32_t delta, float beam,
                                     int32_t sf);
/** 16-bit, blocks. */
SrStatus zelsDTW_L2Low_16s32s_D2Sfs(const int16_t* a, int32_t height_a, const int16_t* b, int32_t height_b,
                                    int32_t width, int32_t step, int32_t* distance, int32_t delta, float beam,
                                    int32_t sf);

/** @} */

ZELSR_END_DECLARATIONS

#endif
