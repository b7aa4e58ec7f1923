/* The fixed filter banks of the distributed front-end. */
#ifndef ZELSR_FRONTEND_AURORA_BANK_H
#define ZELSR_FRONTEND_AURORA_BANK_H

#include "zelsr/frontend/filter_bank.h"
#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup aurora_bank Aurora filter banks
 *
 * Two banks for 8 kHz and an FFT length of 128 (65 bins), with mel_mul 2595 and mel_div 700; ready at once, used
 * and released like every bank of @ref filter_bank.
 *
 * - Low: 25 filters from 1 Hz to 4000 Hz. Centres 0, 0, 1, 2, 3, 4, 5, 7, 8, 10, 12, 14, 16, 18, 20, 23, 26, 29,
 *   32, 36, 39, 44, 48, 53, 58, 64, 64. The first and the last filter are half triangles with their peaks at bins
 *   0 and 64; the weights of a filter have the sum 1.
 * - High: 3 filters from 80 Hz to 4000 Hz. Centres 1, 8, 19, 37, 64. The peak weight is 1.
 *
 * Left weights are (b - c[i-1]) / (c[i] - c[i-1]), right ones 1 - (b - c[i]) / (c[i+1] - c[i]).
 *
 * Checks: null ::SrErrNullPtr. InitAlloc forms allocate, for zelsFBankFree_*(); with a refused allocation they
 * give ::SrErrMemAlloc and free nothing: *bank is what there was of the bank by then, or null. Init forms build in
 * memory of the caller's, of the size that GetSize tells, which may lie on any address.
 * @{ */

/** @name Low bank
 * @{ */
SrStatus zelsMelFBankInitAllocLow_Aurora_32f(ZelFBankState** bank); /**< Weights in single precision. */
SrStatus zelsMelFBankInitAllocLow_Aurora_16s(ZelFBankState** bank); /**< Weights in Q14. */
SrStatus zelsMelFBankGetSizeLow_Aurora_32f(int32_t* size);          /**< Bytes for the Init form. */
SrStatus zelsMelFBankGetSizeLow_Aurora_16s(int32_t* size);          /**< Bytes for the Init form. */
SrStatus zelsMelFBankInitLow_Aurora_32f(ZelFBankState* bank);       /**< In the caller's memory. */
SrStatus zelsMelFBankInitLow_Aurora_16s(ZelFBankState* bank);       /**< In the caller's memory. */
/** @} */

/** @name High bank
 * @{ */
SrStatus zelsMelFBankInitAllocHigh_Aurora_32f(ZelFBankState** bank); /**< Weights in single precision. */
SrStatus zelsMelFBankInitAllocHigh_Aurora_16s(ZelFBankState** bank); /**< Weights in Q14. */
SrStatus zelsMelFBankGetSizeHigh_Aurora_32f(int32_t* size);          /**< Bytes for the Init form. */
SrStatus zelsMelFBankGetSizeHigh_Aurora_16s(int32_t* size);          /**< Bytes for the Init form. */
SrStatus zelsMelFBankInitHigh_Aurora_32f(ZelFBankState* bank);       /**< In the caller's memory. */
SrStatus zelsMelFBankInitHigh_Aurora_16s(ZelFBankState* bank);       /**< In the caller's memory. */
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
