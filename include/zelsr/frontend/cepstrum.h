/* Liftered cepstra from the logarithms of filter-bank outputs. */
#ifndef ZELSR_FRONTEND_CEPSTRUM_H
#define ZELSR_FRONTEND_CEPSTRUM_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup cepstrum Cosine transform with lifter
 *
 * With n = len_dct inputs and c = len_cep coefficients, c at most n:
 *
 *     dst[k - 1] = lifter[k] * sum over j = 0 ... n-1 of src[j] * cos(pi k (j + 1/2) / n),   k = 1 ... c
 *     dst[c]     = lifter[0] * sum over j of src[j],                        with the zeroth coefficient (C0)
 *
 * There is no normalising factor: any scale is in the multipliers. A record holds the cosines, rounded to single,
 * and the multipliers:
 *
 * | form    | lifter[0]           | lifter[k], k = 1 ... c            | results |
 * |---------|---------------------|-----------------------------------|---------|
 * | plain   | val, not used       | (1 + L/2 sin(pi k / L)) * val     | c       |
 * | `C0`    | val0                | (1 + L/2 sin(pi k / L)) * val     | c + 1   |
 * | `Mul`   | 0, not used         | mul[k - 1]                        | c       |
 * | `MulC0` | mul[c - 1]          | mul[k - 1]                        | c + 1   |
 *
 * In `MulC0` the last multiplier serves coefficient c and C0 both: wanted. Sine and sum are formed in double and
 * rounded to single, the product with val is single.
 *
 * GetSize then Init with the caller's memory, or InitAlloc; then any number of transforms; then, for a record that
 * InitAlloc made, Free. Init lays the record at the first byte of the memory, which is the record from then on and
 * must not be moved; neither it nor any array needs alignment, and the result does not depend on it.
 *
 * Sums are formed in single precision, from zero on. Coefficients by groups of four: four partial sums each, of
 * the inputs j modulo 4; those behind the last whole four are added to the first partial sum one after the other;
 * then (0 + 1) + (2 + 3). The last c modulo 4 coefficients: eight partial sums, of the inputs j modulo 8, joined
 * into four (0 + 4 and so on); those behind the last whole eight are added to the first of the four; then
 * (0 + 1) + (2 + 3). C0: in sequence. The 16-bit forms convert each input to single, sum as above, and round the
 * results times 2^-sf to nearest with ties to even, saturated; they always round so, whatever the caller's
 * rounding mode.
 *
 * Checks: null pointers ::SrErrNullPtr; then, in GetSize, Init and InitAlloc, len_dct, len_cep or lifter below 1,
 * or len_dct below len_cep, ::SrErrSize.
 *
 * Sizes in bytes on i386, R = len_dct rounded up to a multiple of 8; on x86-64 a record takes 4 more for each of
 * its pointers (two; 16s: three) and for each of len_cep + 1 rows:
 *
 * | member                              | size |
 * |-------------------------------------|------|
 * | `32f`                               | 4 c + 92 + 4 (c R + c + R + 8) |
 * | `16s`                               | 8 c + 132 + 4 (c R + c + R + 8) |
 * | zelsDCTLifterGetSize_MulC0_16s()    | 8 c + 100 + 4 (c + 1) + 32 (c + 1) + 4 n (c + 1) + 32 |
 *
 * A size of more than an int32 counts is reported as 2147483647; Init then gives ::SrErrMemAlloc.
 *
 * Thread rules: threads may share a record of single precision. A transform writes to the 16-bit record's work
 * memory, so that it serves one thread at a time.
 * @{ */

/** A prepared transform of single-precision data. */
typedef struct ZelDCTLifterState_32f ZelDCTLifterState_32f;
/** A prepared transform of integers into 16-bit results. */
typedef struct ZelDCTLifterState_16s ZelDCTLifterState_16s;

/** @name Size of a record's memory
 * One size for all forms of a type, but for zelsDCTLifterGetSize_MulC0_16s(), which also refuses a len_dct above
 * 8192 (::SrErrSize).
 * @{ */
/** Plain, single precision. */
SrStatus zelsDCTLifterGetSize_32f(int32_t len_dct, int32_t len_cep, int32_t* size);
/** With C0, single precision. */
SrStatus zelsDCTLifterGetSize_C0_32f(int32_t len_dct, int32_t len_cep, int32_t* size);
/** With the caller's multipliers, single precision. */
SrStatus zelsDCTLifterGetSize_Mul_32f(int32_t len_dct, int32_t len_cep, int32_t* size);
/** With the caller's multipliers and C0, single precision. */
SrStatus zelsDCTLifterGetSize_MulC0_32f(int32_t len_dct, int32_t len_cep, int32_t* size);
/** Plain, 16-bit. */
SrStatus zelsDCTLifterGetSize_16s(int32_t len_dct, int32_t len_cep, int32_t* size);
/** With C0, 16-bit. */
SrStatus zelsDCTLifterGetSize_C0_16s(int32_t len_dct, int32_t len_cep, int32_t* size);
/** With the caller's multipliers, 16-bit. */
SrStatus zelsDCTLifterGetSize_Mul_16s(int32_t len_dct, int32_t len_cep, int32_t* size);
/** With the caller's multipliers and C0, 16-bit: a rule of its own. */
SrStatus zelsDCTLifterGetSize_MulC0_16s(int32_t len_dct, int32_t len_cep, int32_t* size);
/** @} */

/** @name Records in the caller's memory
 * @{ */
/** Plain, single precision; lifter is L. */
SrStatus zelsDCTLifterInit_32f(ZelDCTLifterState_32f* memory, int32_t len_dct, int32_t len_cep, int32_t lifter,
                               float val);
/** With C0, single precision. */
SrStatus zelsDCTLifterInit_C0_32f(ZelDCTLifterState_32f* memory, int32_t len_dct, int32_t len_cep, int32_t lifter,
                                  float val, float val0);
/** With the caller's len_cep multipliers, single precision. */
SrStatus zelsDCTLifterInit_Mul_32f(ZelDCTLifterState_32f* memory, int32_t len_dct, const float* mul,
                                   int32_t len_cep);
/** With the caller's len_cep multipliers and C0, single precision. */
SrStatus zelsDCTLifterInit_MulC0_32f(ZelDCTLifterState_32f* memory, int32_t len_dct, const float* mul,
                                     int32_t len_cep);
/** Plain, 16-bit; lifter is L. */
SrStatus zelsDCTLifterInit_16s(ZelDCTLifterState_16s* memory, int32_t len_dct, int32_t len_cep, int32_t lifter,
                               float val);
/** With C0, 16-bit. */
SrStatus zelsDCTLifterInit_C0_16s(ZelDCTLifterState_16s* memory, int32_t len_dct, int32_t len_cep, int32_t lifter,
                                  float val, float val0);
/** With the caller's len_cep multipliers, 16-bit. */
SrStatus zelsDCTLifterInit_Mul_16s(ZelDCTLifterState_16s* memory, int32_t len_dct, const float* mul,
                                   int32_t len_cep);
/** With the caller's len_cep multipliers and C0, 16-bit. */
SrStatus zelsDCTLifterInit_MulC0_16s(ZelDCTLifterState_16s* memory, int32_t len_dct, const float* mul,
                                     int32_t len_cep);
/** @} */

/** @name Records from the allocator
 * The record, the multipliers, the rows and (16-bit) the work memory are blocks of their own. If one of the first
 * three is refused: ::SrErrMemAlloc, *state is set nevertheless and nothing is released; where it is not null,
 * Free takes it. Refused work memory goes unnoticed here: wanted; such a record's transforms give ::SrErrMemAlloc.
 * @{ */
/** Plain, single precision; lifter is L. */
SrStatus zelsDCTLifterInitAlloc_32f(ZelDCTLifterState_32f** state, int32_t len_dct, int32_t len_cep,
                                    int32_t lifter, float val);
/** With C0, single precision. */
SrStatus zelsDCTLifterInitAlloc_C0_32f(ZelDCTLifterState_32f** state, int32_t len_dct, int32_t len_cep,
                                       int32_t lifter, float val, float val0);
/** With the caller's len_cep multipliers, single precision. */
SrStatus zelsDCTLifterInitAlloc_Mul_32f(ZelDCTLifterState_32f** state, int32_t len_dct, const float* mul,
                                        int32_t len_cep);
/** With the caller's len_cep multipliers and C0, single precision. */
SrStatus zelsDCTLifterInitAlloc_MulC0_32f(ZelDCTLifterState_32f** state, int32_t len_dct, const float* mul,
                                          int32_t len_cep);
/** Plain, 16-bit; lifter is L. */
SrStatus zelsDCTLifterInitAlloc_16s(ZelDCTLifterState_16s** state, int32_t len_dct, int32_t len_cep,
                                    int32_t lifter, float val);
/** With C0, 16-bit. */
SrStatus zelsDCTLifterInitAlloc_C0_16s(ZelDCTLifterState_16s** state, int32_t len_dct, int32_t len_cep,
                                       int32_t lifter, float val, float val0);
/** With the caller's len_cep multipliers, 16-bit. */
SrStatus zelsDCTLifterInitAlloc_Mul_16s(ZelDCTLifterState_16s** state, int32_t len_dct, const float* mul,
                                        int32_t len_cep);
/** With the caller's len_cep multipliers and C0, 16-bit. */
SrStatus zelsDCTLifterInitAlloc_MulC0_16s(ZelDCTLifterState_16s** state, int32_t len_dct, const float* mul,
                                          int32_t len_cep);
/** Releases a record that InitAlloc made, finished or not. */
SrStatus zelsDCTLifterFree_32f(ZelDCTLifterState_32f* state);
/** Releases a record that InitAlloc made, finished or not. */
SrStatus zelsDCTLifterFree_16s(ZelDCTLifterState_16s* state);
/** @} */

/** @name Transforms
 * len_dct values into len_cep, or len_cep + 1 with C0, which comes last.
 * @{ */
/** Single precision, in the caller's rounding mode. src and dst must not overlap. */
SrStatus zelsDCTLifter_32f(const float* src, float* dst, const ZelDCTLifterState_32f* state);
/** 16-bit integers; dst may be src. */
SrStatus zelsDCTLifter_16s_Sfs(const int16_t* src, int16_t* dst, const ZelDCTLifterState_16s* state, int32_t sf);
/** 32-bit integers, rounded to single on their way in, through the same record. */
SrStatus zelsDCTLifter_32s16s_Sfs(const int32_t* src, int16_t* dst, const ZelDCTLifterState_16s* state,
                                  int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
