/* A filter bank in integer arithmetic. */
#ifndef ZELSR_FRONTEND_INTEGER_BANK_H
#define ZELSR_FRONTEND_INTEGER_BANK_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup integer_bank Filter bank in integers
 *
 * The mel bank of @ref filter_bank with triangles over bin indices, integers throughout: frequencies in Hz, mel
 * constants in Q15, logarithms in Q22, weights in Q30. ln and exp are computed bit by bit, so that a bank is the
 * same everywhere, to the bit. fft_len, from 32 to 8192, is raised to a power of two N; its logarithm is told.
 *
 * Weights: left ((b - c[i-1] + 1) 2^30) / (c[i] - c[i-1] + 1), right
 * ((c[i+1] + 1 - b) 2^30) / (c[i+1] - c[i] + 1), rounded down. Frequencies beyond half the sample rate put centres
 * beyond N/2: bins there count nothing.
 *
 * Thread rules: evaluation only reads the bank.
 * @{ */

/** A bank in memory of the caller's, which may lie on any address and must not be moved. On i386 the record at its
 * start has: centres, left and right rows (pointers), flag word (2), filters, N/2 + 1. There is no Free. */
typedef struct ZelFBankState_32s ZelFBankState_32s;

/** Bytes for zelsMelFBankInit_32s(), with n filters, h = N/2 and t = 4 n + 8: 4 n + 160 + 18 t + 8 h (n + 2).
 *
 * Checks, in this order: null ::SrErrNullPtr; filters below 1, fft_len below 32 or above 8192 ::SrErrSize; a flag
 * other than 2 (::FBankWeightsFreq) ::SrErrFBankFlag; filters above N/2 ::SrErrSize. */
SrStatus zelsMelFBankGetSize_32s(int32_t fft_len, int32_t filters, int32_t flag, int32_t* size);
/** Builds a bank. mel_mul and mel_div are in Q15. low_freq may be 0.
 *
 * Checks, in this order: null ::SrErrNullPtr; filters or high_freq below 1, fft_len below 32 or above 8192
 * ::SrErrSize; a flag other than 2 ::SrErrFBankFlag; sample_rate below 1 or above 48000, low_freq below 0
 * ::SrErrSize; high_freq not above low_freq, or above 24000 ::SrErrFBankFreq; mel_div below 0x80001 or from
 * 0x10000000 on, mel_mul below 0x80001 or from 0x40000000 on ::SrErrBadArg; then, with *fft_order written, filters
 * above N/2 + 1 ::SrErrSize. The memory for filters = N/2 + 1, which GetSize refuses, follows its formula. */
SrStatus zelsMelFBankInit_32s(ZelFBankState_32s* bank, int32_t* fft_order, int32_t fft_len, int32_t sample_rate,
                              int32_t low_freq, int32_t high_freq, int32_t filters, int32_t mel_mul,
                              int32_t mel_div, int32_t flag);
/** dst[i-1] = the sum over the filter's bins of weight * src[b], times 2^-sf.
 *
 * Each product, in 64 bits, is shifted right by 8 before it joins the sum, which is in Q22. A positive sf shifts
 * the sum right, a negative one left, where a sum from 2^(63 + sf) on becomes 2^63 - 1. The result is the sum over
 * 2^22, halves rounded up; above 2147483647 it is limited, below -2147483648 its low 32 bits are stored. A shift
 * right rounds down.
 *
 * Checks: null ::SrErrNullPtr; sf outside -31 to 31 ::SrErrBadArg. */
SrStatus zelsEvalFBank_32s_Sfs(const int32_t* src, int32_t* dst, const ZelFBankState_32s* bank, int32_t sf);

/** @} */

ZELSR_END_DECLARATIONS

#endif
