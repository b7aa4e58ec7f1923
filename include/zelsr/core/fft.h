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
 * A record holds the tables of one order and one flag: GetSize then Init with the caller's memory, or
 * InitAlloc alone; then any number of transforms; then Free. The hint is stored and has no effect. Source and
 * destination of a transform may be the same array. No array needs alignment; 16-byte boundaries are the
 * fastest. Work memory of zelsFFTGetBufSize_R_32f() bytes may be passed; with null the transform takes its own
 * from the allocator where it needs any (::SrErrMemAlloc if refused, before any write).
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
 * (0: none is needed).
 *
 * Checks: order outside 0 to 30 ::SrErrFftOrder; null ::SrErrNullPtr; flag ::SrErrFftFlag. */
SrStatus zelsFFTGetSize_R_32f(int32_t order, int32_t flag, int32_t hint, int32_t* record_size,
                              int32_t* setup_size, int32_t* work_size);
/** Lays a record into memory of the caller's.
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

/** As zelsFFTGetSize_R_32f(), for the 16-bit record. */
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
 * ties to even and saturated. The transform itself runs in single precision. */
SrStatus zelsFFTFwd_RToCCS_16s32s_Sfs(const int16_t* src, int32_t* dst, const ZelFFTState_R_16s32s* state,
                                      int32_t sf, uint8_t* work);

/** dst[k] = sum over i of src[i] src[i + k] for k from 0 to lags - 1, not normalised; zero for k at or beyond
 * len.
 *
 * Direct sums if the smaller of len and lags is below 856, an FFT of at least twice len beyond. Checks: null
 * pointers, then len or lags below 1. ::SrErrMemAlloc if the allocator refuses, with dst unwritten. */
SrStatus zelsAutoCorr_32f(const float* src, int32_t len, float* dst, int32_t lags);
/** srcdst = src * conj(srcdst), element by element, for two spectra of len values in Pack format. Checks: null
 * pointers, then len below 1. */
SrStatus zelsMulPackConj_32f_I(const float* src, float* srcdst, int32_t len);

/** @} */

ZELSR_END_DECLARATIONS

#endif
