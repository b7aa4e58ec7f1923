/* Real FFT of a power-of-two length, and autocorrelation. */
#ifndef ZELSR_CORE_FFT_H
#define ZELSR_CORE_FFT_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup fft Real FFT and autocorrelation
 *
 * Forward: X[k] = sum over n of x[n] exp(-2 pi i n k / N); inverse: x[n] = sum over k of X[k] exp(2 pi i n k / N),
 * N = 2^order, order 0 to 30, with the factor of the normalisation flag:
 *
 * | flag | forward    | inverse    |
 * |------|------------|------------|
 * | 1    | 1/N        | 1          |
 * | 2    | 1          | 1/N        |
 * | 4    | 1/sqrt(N)  | 1/sqrt(N)  |
 * | 8    | 1          | 1          |
 *
 * Spectra of a real signal, R[k] and I[k] the parts of X[k]:
 *
 * | format | elements | layout |
 * |--------|----------|--------|
 * | CCS    | N + 2    | R[0], 0, R[1], I[1], ..., R[N/2-1], I[N/2-1], R[N/2], 0 |
 * | Pack   | N        | R[0], R[1], I[1], ..., R[N/2-1], I[N/2-1], R[N/2] |
 * | Perm   | N        | R[0], R[N/2], R[1], I[1], ..., R[N/2-1], I[N/2-1] |
 *
 * For N = 1, Pack and Perm are R[0], CCS is R[0], 0.
 *
 * The inverse is divided by nothing beyond its flag's factor: with flag 8, inverse after forward gives N times
 * the signal.
 *
 * A record holds the tables of one order and one flag: GetSize then Init with the caller's memory, or
 * InitAlloc alone; then any number of transforms; then Free. The hint is stored and has no effect. Source and
 * destination of a transform may be the same array, with the same result to the bit; other overlaps are
 * undefined. No array, record or buffer needs alignment; the result does not depend on it. Work memory of the size
 * that GetSize tells may be passed (zelsFFTGetBufSize_R_32f() tells it from the record); with null the transform
 * takes its own from the allocator where it needs any (::SrErrMemAlloc if refused, before any write).
 *
 * Accuracy: the root mean square error, relative to that of the exact spectrum, is about 4e-8 times the square
 * root of the order (1.2e-7 at order 10, 1.9e-7 at order 24), forward and inverse each; the largest error of a
 * spectrum stays below some 1.5e-6 of its root mean square. Arithmetic is single precision throughout, in the
 * caller's rounding mode (to nearest in the 16-bit form, always); records are the same whatever that mode. i386 and x86-64 give the same bits. (Above order 10 the tables come from the C
 * library's sin and cos in double, rounded to single; up to order 10 from constants.)
 *
 * Sizes in bytes on i386, m = order - 1, each division rounding down; on x86-64 a record takes 32 more, 4 for
 * each of the eight pointers in its head:
 *
 * | size   | order 0 to 3 | order 4 to 18 |
 * |--------|--------------|---------------|
 * | record | 112          | (8 2^m + 39) / 32 * 32 + (2^m + 35) / 32 * 32 + (2 N + 31) / 32 * 64 + 128 |
 * | set-up | 0            | 0 up to order 10, then (N + 35) / 32 * 32 + 32 |
 * | work   | 0            | (8 2^m + 31) / 32 * 32 + 32 |
 *
 * Above order 18 the set-up size follows the same rule, a record takes some 4 N bytes (at most 9 percent more),
 * and the work memory at most 1 MiB and 32 bytes. A record of order 29 or 30 takes more than an int32 counts:
 * GetSize reports 2147483647, Init gives ::SrErrMemAlloc after its other checks, with the identity cleared, and
 * only zelsFFTInitAlloc_R_32f() of x86-64 makes such a record.
 *
 * Checks of the transforms, in this order: null record ::SrErrNullPtr, a record of another kind or a released
 * one ::SrErrContext, null source or destination ::SrErrNullPtr.
 *
 * Thread rules: a transform only reads its record, so that threads may share it, each with work memory of its
 * own or null.
 * @{ */

/** A prepared transform of single-precision data. */
typedef struct ZelFFTState_R_32f ZelFFTState_R_32f;
/** A prepared transform of 16-bit data into 32-bit spectra. */
typedef struct ZelFFTState_R_16s32s ZelFFTState_R_16s32s;

/** Bytes for the record, for the set-up buffer (0: none is needed) and for the work memory of a transform
 * (0: none is needed). They leave room for aligning inside.
 *
 * Checks: order outside 0 to 30 ::SrErrFftOrder; null ::SrErrNullPtr; flag ::SrErrFftFlag. */
SrStatus zelsFFTGetSize_R_32f(int32_t order, int32_t flag, int32_t hint, int32_t* record_size,
                              int32_t* setup_size, int32_t* work_size);
/** Lays a record into memory of the caller's, from its first byte on. The memory must not be moved afterwards.
 *
 * Checks: null state ::SrErrNullPtr; order ::SrErrFftOrder; null memory ::SrErrNullPtr; then, with the record's
 * identity cleared, flag ::SrErrFftFlag and, for orders 11 and above, null setup ::SrErrNullPtr. The set-up
 * buffer is free again after the call. */
SrStatus zelsFFTInit_R_32f(ZelFFTState_R_32f** state, int32_t order, int32_t flag, int32_t hint, uint8_t* memory,
                           uint8_t* setup);
/** Allocates and prepares a record, for zelsFFTFree_R_32f(). Checks: null state ::SrErrNullPtr, then those of
 * zelsFFTGetSize_R_32f(); ::SrErrMemAlloc if the allocator refuses. */
SrStatus zelsFFTInitAlloc_R_32f(ZelFFTState_R_32f** state, int32_t order, int32_t flag, int32_t hint);
/** Clears the record's identity, and releases the record if InitAlloc made it. */
SrStatus zelsFFTFree_R_32f(ZelFFTState_R_32f* state);
/** Bytes of work memory for a transform; 0 if it needs none. Checks: null ::SrErrNullPtr, identity
 * ::SrErrContext, null size ::SrErrNullPtr. */
SrStatus zelsFFTGetBufSize_R_32f(const ZelFFTState_R_32f* state, int32_t* size);

/** Forward transform of N values into N + 2 values in CCS format. */
SrStatus zelsFFTFwd_RToCCS_32f(const float* src, float* dst, const ZelFFTState_R_32f* state, uint8_t* work);
/** Forward transform of N values into Pack format. */
SrStatus zelsFFTFwd_RToPack_32f(const float* src, float* dst, const ZelFFTState_R_32f* state, uint8_t* work);
/** Forward transform of N values into Perm format. */
SrStatus zelsFFTFwd_RToPerm_32f(const float* src, float* dst, const ZelFFTState_R_32f* state, uint8_t* work);
/** Inverse transform of a spectrum in Pack format into N values. */
SrStatus zelsFFTInv_PackToR_32f(const float* src, float* dst, const ZelFFTState_R_32f* state, uint8_t* work);

/** As zelsFFTGetSize_R_32f(), for the 16-bit record: 64 bytes more of record on both targets; 32 more of set-up
 * buffer and of work memory where the other record needs any; and 4 N + 8 more of work memory. Orders 29 and 30
 * cannot be made. */
SrStatus zelsFFTGetSize_R_16s32s(int32_t order, int32_t flag, int32_t hint, int32_t* record_size,
                                 int32_t* setup_size, int32_t* work_size);
/** As zelsFFTInit_R_32f(), for the 16-bit record. */
SrStatus zelsFFTInit_R_16s32s(ZelFFTState_R_16s32s** state, int32_t order, int32_t flag, int32_t hint,
                              uint8_t* memory, uint8_t* setup);
/** As zelsFFTInitAlloc_R_32f(), for the 16-bit record. */
SrStatus zelsFFTInitAlloc_R_16s32s(ZelFFTState_R_16s32s** state, int32_t order, int32_t flag, int32_t hint);
/** As zelsFFTFree_R_32f(), for the 16-bit record. */
SrStatus zelsFFTFree_R_16s32s(ZelFFTState_R_16s32s* state);
/** Forward transform of N 16-bit values into N + 2 values in CCS format, times 2^-sf, rounded to nearest with
 * ties to even and saturated. The transform itself runs in single precision, so that a result has its accuracy:
 * values above 2^24 are not exact to the last unit. */
SrStatus zelsFFTFwd_RToCCS_16s32s_Sfs(const int16_t* src, int32_t* dst, const ZelFFTState_R_16s32s* state,
                                      int32_t sf, uint8_t* work);

/** dst[k] = sum over i of src[i] src[i + k] for k from 0 to lags - 1, not normalised; zero for k at or beyond
 * len. src and dst must not overlap.
 *
 * Direct sums if the smaller of len and lags is below 856, else the FFT of at least twice len values; a len above
 * 2^29 gives ::SrErrFftOrder there. Direct sums are formed in blocks of 512 products, so that their rounding error
 * grows slowly with len (1e-6 of dst[0] at 2^18 values); through the FFT the error is some 3e-7 of dst[0] for
 * every lag. Checks: null pointers, then len or lags below 1. ::SrErrMemAlloc if the allocator refuses, with dst
 * unwritten; direct sums need no memory. */
SrStatus zelsAutoCorr_32f(const float* src, int32_t len, float* dst, int32_t lags);
/** srcdst = src * conj(srcdst), element by element, for two spectra of len values in Pack format, whose first
 * and (of an even len) last values are real; src may be srcdst. Checks: null pointers, then len below 1. */
SrStatus zelsMulPackConj_32f_I(const float* src, float* srcdst, int32_t len);

/** @} */

ZELSR_END_DECLARATIONS

#endif
