/* Banks of triangular filters over a spectrum. */
#ifndef ZELSR_FRONTEND_FILTER_BANK_H
#define ZELSR_FRONTEND_FILTER_BANK_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup filter_bank Filter banks
 *
 * Filter i, from 1 to filters, is a triangle over the bins of a spectrum: it rises from centre c[i-1] to c[i] and
 * falls to c[i+1],
 *
 *     dst[i-1] = sum over b = c[i-1] .. c[i]   of src[b] left[i-1][b - c[i-1]]
 *              + sum over b = c[i]+1 .. c[i+1] of src[b] right[i-1][b - c[i] - 1].
 *
 * The bins run from 0 to N/2, N the FFT length: fft_len raised to a power of two, at least 2. Its logarithm, at
 * least 1, is told in *fft_order. The mel scale is natural-logarithmic with two constants,
 *
 *     mel(f) = mel_mul ln(1 + f / mel_div),   f(mel) = mel_div (exp(mel / mel_mul) - 1),
 *
 * so that centres depend on mel_div alone.
 *
 * A bank is built by a constructor, is ready once it has its centres, and keeps no state between evaluations.
 * InitAlloc makes it in the allocator's memory, for zelsFBankFree_*(); Init builds it in memory of the caller's,
 * which must hold what GetSize told, may lie on any address, is the bank itself and must not be moved.
 *
 * 32f banks have weights in single precision; weights of 16s banks are integers in Q14, 16384 for 1, truncated. A
 * bank belongs to the functions of its own type. Spectra and results need no alignment.
 *
 * Construction runs in extended precision between singles, whatever the caller's rounding mode: mel and frequency
 * grids, centres before rounding, ln and 1 - exp are stored as singles; ln and exp are the C library's, in double.
 *
 * Statuses of their own: ::SrErrFBankCenters no centres yet, or no valid ladder of centres; ::SrErrFBankFlag an
 * illegal flag word; ::SrErrFBankFreq a frequency outside its range.
 *
 * Thread rules: evaluation only reads the bank, so that threads may share it, unless it has ::FBankInputSignal, whose
 * spectrum is kept in the bank: such a bank serves one thread at a time.
 * @{ */

/** Flag word of a bank: one of the two weight modes, with ::FBankInputSignal or without (1, 2, 5, 6). */
typedef int32_t FBankFlag;
enum {
    FBankWeightsMel = 1,  /**< Triangles in the mel domain, centres truncated toward zero. */
    FBankWeightsFreq = 2, /**< Triangles over bin indices, centres rounded to nearest. */
    FBankInputSignal = 4  /**< Evaluation takes N samples; the filters see the magnitude of their spectrum. */
};

/** A filter bank. On i386 the record lies at the bank's start as
 *
 * | bytes | field |
 * |-------|-------|
 * | 0     | centres: filters + 2 int32, and one more equal to the last |
 * | 4, 8  | rows of left and of right weights (single, or int32 in Q14), row r for filter r + 1 |
 * | 12    | flag word; 1 in an empty bank |
 * | 16    | FFT length N |
 * | 20    | its logarithm; unset in empty and Aurora banks |
 * | 24    | filters |
 * | 28    | filters spaced linearly; all of them in a pure mel bank |
 * | 32    | mel_mul; 0 in an empty bank |
 * | 36    | mel_div; 1 in an empty bank |
 * | 40    | ready, one byte: 0 until the centres are set |
 * | 44    | FFT record, or null |
 * | 48    | spectrum of N + 2 elements, or null |
 * | 52    | 16s banks only: 14, the fraction bits of a weight |
 *
 * On x86-64 pointers grow. Rows have N/2 elements and lie on 32-byte boundaries; left rows begin three elements
 * behind one, so that their element 1 lies on 16 bytes, and hold one more. */
typedef struct ZelFBankState ZelFBankState;

/** @name The mel scale
 * Element by element, computed in double. Checks: null pointers ::SrErrNullPtr; len below 1, mel_mul or mel_div at
 * or below 0 ::SrErrSize (NaN passes). src may be dst.
 * @{ */
/** dst[i] = mel_div (exp(src[i] / mel_mul) - 1). */
SrStatus zelsMelToLinear_32f(const float* src, float* dst, int32_t len, float mel_mul, float mel_div);
/** dst[i] = mel_mul ln(1 + src[i] / mel_div). */
SrStatus zelsLinearToMel_32f(const float* src, float* dst, int32_t len, float mel_mul, float mel_div);
/** @} */

/** @name Mel banks
 * filters + 2 centres with equal distances in mel from low_freq to high_freq (Hz).
 *
 * Weights by bin indices (::FBankWeightsFreq): left (b - c[i-1] + 1) / (c[i] - c[i-1] + 1), right
 * (c[i+1] + 1 - b) / (c[i+1] - c[i] + 1). By mel (::FBankWeightsMel): left
 * (mel(b) - mel[i-1]) / (mel[i] - mel[i-1]), the first of them 0, right
 * (mel[i+1] - mel(b)) / (mel[i+1] - mel[i]); since the centres are truncated, these are not confined to 0 .. 1.
 *
 * Checks, in this order: null bank or order ::SrErrNullPtr; fft_len or filters below 1, sample_rate or low_freq at
 * or below 0 ::SrErrSize (NaN passes); high_freq below low_freq, half the sample rate below high_freq (or a NaN
 * among the three) ::SrErrFBankFreq; flag ::SrErrFBankFlag. A bank larger than an int32 counts gives ::SrErrMemAlloc.
 *
 * InitAlloc with a refused allocation gives ::SrErrMemAlloc and frees nothing: *bank is what there was of the bank
 * by then, for zelsFBankFree_*(), or null.
 * @{ */
SrStatus zelsMelFBankInitAlloc_32f(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                                   float low_freq, float high_freq, int32_t filters, float mel_mul, float mel_div,
                                   int32_t flag); /**< Weights in single precision. */
SrStatus zelsMelFBankInitAlloc_16s(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                                   float low_freq, float high_freq, int32_t filters, float mel_mul, float mel_div,
                                   int32_t flag); /**< Weights in Q14. */
/** Bytes for zelsMelFBankInit_32f(): 84 on i386 (record and alignment), the records' sizes of the FFT and 4 N +
 * 136 with ::FBankInputSignal, 12 filters + 124, and the tables of filters + 2 rows and 64 bytes; 2147483647 for
 * more than an int32 counts.
 *
 * Checks: null ::SrErrNullPtr; fft_len or filters below 1 ::SrErrSize; flag ::SrErrFBankFlag. */
SrStatus zelsMelFBankGetSize_32f(int32_t fft_len, int32_t filters, int32_t flag, int32_t* size);
/** As zelsMelFBankGetSize_32f(), for zelsMelFBankInit_16s(): from 88 on. */
SrStatus zelsMelFBankGetSize_16s(int32_t fft_len, int32_t filters, int32_t flag, int32_t* size);
SrStatus zelsMelFBankInit_32f(ZelFBankState* bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                              float low_freq, float high_freq, int32_t filters, float mel_mul, float mel_div,
                              int32_t flag); /**< In the caller's memory. */
SrStatus zelsMelFBankInit_16s(ZelFBankState* bank, int32_t* fft_order, int32_t fft_len, float sample_rate,
                              float low_freq, float high_freq, int32_t filters, float mel_mul, float mel_div,
                              int32_t flag); /**< In the caller's memory. */
/** @} */

/** @name Mixed banks
 * Filters 1 to linear are spaced linearly from low_freq to lin_freq, the others in mel from lin_freq to high_freq;
 * with linear = filters all are spaced linearly from low_freq to lin_freq.
 *
 * By bin indices the weights are those of the mel banks. By mel, with every negative weight raised to 0: filters
 * before the last linear one, and all if linear = filters, are triangles between the logarithms of their own
 * frequencies, the first left weight computed like the others; the last linear filter before mel ones has on its
 * right (c[i+1] - mel(b)) / (c[i+1] - c[i]), a mel value subtracted from a bin index; the mel filters have the
 * weights by bin indices.
 *
 * Checks, in this order: fft_len or filters below 1, sample_rate or low_freq at or below 0, linear below 1 or
 * above filters ::SrErrSize (NaN passes); lin_freq below low_freq or high_freq below lin_freq, half the
 * sample rate below high_freq (or a NaN among the four) ::SrErrFBankFreq; flag ::SrErrFBankFlag. Null pointers are
 * not tested. ::SrErrMemAlloc as for mel banks.
 * @{ */
SrStatus zelsMelLinFBankInitAlloc_32f(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len,
                                      float sample_rate, float low_freq, float high_freq, int32_t filters,
                                      float lin_freq, int32_t linear, float mel_mul, float mel_div,
                                      int32_t flag); /**< Weights in single precision. */
SrStatus zelsMelLinFBankInitAlloc_16s(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len,
                                      float sample_rate, float low_freq, float high_freq, int32_t filters,
                                      float lin_freq, int32_t linear, float mel_mul, float mel_div,
                                      int32_t flag); /**< Weights in Q14. */
/** @} */

/** @name Empty banks
 * Without centres and with weights of 0: zelsFBankSetCenters_*() makes one ready, then zelsFBankSetCoeffs_*()
 * fills it filter by filter. Its flag word is ::FBankWeightsMel, whatever flag is: with ::FBankInputSignal an FFT
 * record and a spectrum are made, but evaluation never takes a signal.
 *
 * Checks: fft_len or filters below 1 ::SrErrSize. Neither null pointers nor the flag are tested. ::SrErrMemAlloc
 * as for mel banks.
 * @{ */
SrStatus zelsEmptyFBankInitAlloc_32f(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, int32_t filters,
                                     int32_t flag); /**< Weights in single precision. */
SrStatus zelsEmptyFBankInitAlloc_16s(ZelFBankState** bank, int32_t* fft_order, int32_t fft_len, int32_t filters,
                                     int32_t flag); /**< Weights in Q14. */
/** @} */

/** @name Evaluation
 * src holds the bins up to the last centre, or N samples where the bank has ::FBankInputSignal; dst takes one
 * value a filter. Only bins between the first and the last centre are read; a bin outside 0 .. N/2, which the
 * last filter's untested centre or a NaN among the constructor's arguments may name, counts nothing.
 *
 * Checks: null src, dst, bank or centres ::SrErrNullPtr; a bank that is not ready ::SrErrFBankCenters. With
 * ::FBankInputSignal the transform may need work memory: ::SrErrMemAlloc, with dst unwritten.
 * @{ */
/** In single precision. A filter has eight partial sums, all 0 but the first, which begins with the bin c[i-1].
 * The bins c[i-1]+1 .. c[i], then the bins c[i]+1 .. c[i+1], join them: whole groups of eight by lane, what is
 * left one after the other in lane 0. In the end lane j + 4 is added to lane j, then (0 + 1) + (2 + 3).
 *
 * With ::FBankInputSignal the filters see the magnitudes of zelsFFTFwd_RToCCS_32f(), not their squares. */
SrStatus zelsEvalFBank_32f(const float* src, float* dst, const ZelFBankState* bank);
/** 16-bit results: exact sums in 64 bits, shifted right by 14 + sf, rounding down (left if that is below 0), and
 * saturated. With ::FBankInputSignal the magnitudes are 32-bit integers, 64 times the spectrum, which the shift
 * takes back, and each product is taken modulo 2^32, as a signed number. */
SrStatus zelsEvalFBank_16s_Sfs(const int16_t* src, int16_t* dst, const ZelFBankState* bank, int32_t sf);
/** As zelsEvalFBank_16s_Sfs(), with 32-bit results, and whole products with ::FBankInputSignal too. */
SrStatus zelsEvalFBank_16s32s_Sfs(const int16_t* src, int32_t* dst, const ZelFBankState* bank, int32_t sf);
/** @} */

/** @name Centres
 * filters + 2 bin indices. A ladder is refused if the first is below 0, if c[i], i from 1 to filters - 1, is below
 * c[i-1] or above c[i+1], or if the last is above N/2. The last filter's own centre is not held against the last
 * entry.
 * @{ */
/** Checks: null ::SrErrNullPtr; a bank that is not ready, or whose ladder would be refused ::SrErrFBankCenters. */
SrStatus zelsFBankGetCenters_32f(const ZelFBankState* bank, int32_t* centers);
SrStatus zelsFBankGetCenters_16s(const ZelFBankState* bank, int32_t* centers); /**< The same. */
/** Makes the bank ready; its weights stay. Checks: null ::SrErrNullPtr; the ladder ::SrErrFBankCenters. */
SrStatus zelsFBankSetCenters_32f(ZelFBankState* bank, const int32_t* centers);
SrStatus zelsFBankSetCenters_16s(ZelFBankState* bank, const int32_t* centers); /**< The same. */
/** @} */

/** @name Weights of a filter
 * coeffs holds the c[i] - c[i-1] + 1 left weights and, behind them, the c[i+1] - c[i] right ones, as singles in
 * both families. Checks: null ::SrErrNullPtr; a bank that is not ready ::SrErrFBankCenters; filter below 1 or
 * above filters (Get: above filters + 1) ::SrErrSize. Behind the last filter Get finds c[i] - c[i-1] + 1 left
 * weights, which constructors leave at 0, and no right ones.
 * @{ */
SrStatus zelsFBankGetCoeffs_32f(const ZelFBankState* bank, int32_t filter, float* coeffs); /**< As they are. */
SrStatus zelsFBankGetCoeffs_16s(const ZelFBankState* bank, int32_t filter, float* coeffs); /**< Over 16384. */
SrStatus zelsFBankSetCoeffs_32f(ZelFBankState* bank, int32_t filter, const float* coeffs); /**< As they are. */
/** Times 16384, truncated toward zero and saturated to 32 bits. */
SrStatus zelsFBankSetCoeffs_16s(ZelFBankState* bank, int32_t filter, const float* coeffs);
/** @} */

/** Releases a bank from an InitAlloc function. Null gives ::SrErrNullPtr. */
SrStatus zelsFBankFree_32f(ZelFBankState* bank);
/** Releases a bank from an InitAlloc function. Null gives ::SrErrNullPtr. */
SrStatus zelsFBankFree_16s(ZelFBankState* bank);

/** @name Padding
 * Copies src to the start of dst and clears the rest, as an FFT's input wants it. Checks: null ::SrErrNullPtr; a
 * length below 1, or dst_len below src_len ::SrErrSize.
 * @{ */
SrStatus zelsCopyWithPadding_16s(const int16_t* src, int32_t src_len, int16_t* dst,
                                 int32_t dst_len); /**< 16-bit integers. */
SrStatus zelsCopyWithPadding_32f(const float* src, int32_t src_len, float* dst,
                                 int32_t dst_len); /**< Single precision. */
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
