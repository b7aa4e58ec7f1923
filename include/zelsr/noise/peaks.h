/* Peaks of a sequence. */
#ifndef ZELSR_NOISE_PEAKS_H
#define ZELSR_NOISE_PEAKS_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup peaks Peaks
 *
 * Flags, bytes, 1 at a peak and 0 elsewhere: where a smoothed sequence has risen for run steps and falls for run
 * steps then.
 *
 * y(i) is the mean of src[j] for the j from i - half_width to i + half_width that exist; with a half_width of 0,
 * src itself. A rise is a row of steps with y(i) < y(i+1), a fall one with y(i+1) < y(i).
 *
 * - A fall at the beginning flags element 0 if it has run steps or more, or if the whole sequence falls.
 * - A top p with u steps of rise before it and f steps of fall behind it is flagged if u >= min(p, run), and f >=
 * run or, from p = len - run on, f >= len - 1 - p.
 * - The last element, if the sequence rises to it, is flagged if u >= min(len - 1, run).
 * - A step between equal values ends the rise: the count of u starts again from 0 (from 1 behind a fall). So a top
 *   of two equal values is lost unless little is asked of it: wanted.
 * - If the first step to not fall is the last one, the last element is flagged if src[len-1] > src[len-2] and run
 * is 1, with the values as they are even where others are smoothed: wanted.
 * - One element is a peak. With a half_width of len - 1 or more there are none.
 *
 * No array needs alignment. Nothing is allocated. Thread rules: no state.
 *
 * Checks, in this order: null ::SrErrNullPtr; len below 1 or above 65535 ::SrErrLengthBound; run below 1 or above
 * 127, half_width below 0 or above 127 ::SrErrSize.
 * @{ */

/** Single precision, in the default floating-point environment. y is a sum in double precision, in the order of
 * the elements, divided in double and rounded to single. a and b are equal where
 * |max(a, b) * 0.000001| >= |a - b|, in double precision. */
SrStatus zelsFindPeaks_32f8u(const float* src, uint8_t* flags, int32_t len, int32_t run, int32_t half_width);
/** Integers: y is the exact mean truncated toward zero, and values are equal where they are the same. */
SrStatus zelsFindPeaks_32s8u(const int32_t* src, uint8_t* flags, int32_t len, int32_t run, int32_t half_width);

/** @} */

ZELSR_END_DECLARATIONS

#endif
