/* Linear prediction coefficients from samples or from autocorrelations. */
#ifndef ZELSR_LPC_PREDICTION_H
#define ZELSR_LPC_PREDICTION_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup prediction Linear prediction analysis
 *
 * A filter of some order is kept as its coefficients a[0] ... a[order-1]; the leading 1 is not stored. Two signs
 * are in use:
 *
 * | form        | meaning | members |
 * |-------------|---------|---------|
 * | denominator | A(z) = 1 + a[0] z^-1 + ... + a[order-1] z^-order | zelsDurbin_*, zelsLinearPrediction_Auto_* |
 * | predictor   | x[n] is predicted as sum of a[k] x[n-1-k] | zelsLinearPredictionNeg_Auto_*,
 * zelsLinearPrediction_Cov_* |
 *
 * All arithmetic is single precision. The 16-bit forms convert their input as it stands, run the form of single
 * precision and round its result times 2^-sf to nearest with ties to even, saturated; they do so in the default
 * floating-point environment, the others in the caller's.
 *
 * Checks: null arrays ::SrErrNullPtr; then sizes ::SrErrSize. ::SrErrMemAlloc if the allocator refuses, with
 * nothing written: none is asked for below order 64 (zelsDurbin_*), order 63 (zelsLinearPrediction_Auto_32f() and
 * Neg), with fewer than 64 samples besides (their 16-bit forms), below order 1024 (zelsSchur_*);
 * zelsLinearPrediction_Cov_* always asks.
 *
 * Results must not overlap the input. No array needs alignment.
 *
 * Thread rules: no state.
 * @{ */

/** @name From autocorrelations
 * acorr holds the order + 1 lags r[0] ... r[order]. Checks: null acorr or result, then order below 1, and only
 * then null error (::SrErrNullPtr).
 *
 * zelsDurbin_*, the recursion of Levinson and Durbin: k = r[1] / r[0], E = r[0] (1 - k^2), a[0] = -k; then for
 * i = 2 ... order
 *
 *     s = r[i] + sum over j = 1 ... i-1 of r[i-j] a[j-1]
 *     k = s / E,   E = E (1 - k^2),   a[j-1] = a[j-1] - a[i-j-1] k for j = 1 ... i-1,   a[i-1] = -k
 *
 * The sum runs from r[i] on in rising j up to i = 12. Beyond, with t = i - j: the last (i - 1) modulo 8 products
 * of rising t are added to r[i]; the others, t - 1 modulo 8, in eight partial sums p, joined as
 * ((p0+p4) + (p1+p5)) + ((p2+p6) + (p3+p7)), which is added to that.
 *
 * Where r[0] or an E is not above 0 (a NaN is not): ::SrErrDurbin, error is not written, and a holds the i - 1
 * coefficients of the last finished order; in orders 9 to 12 a failure at i = 2, 3 or 4 has stored a[i-1] as well.
 *
 * zelsSchur_*, the recursion of Schur for the reflection coefficients, with u[p] = r[p], v[p] = r[p]: for
 * m = 1 ... order
 *
 *     k[m-1] = (0 - v[m]) / u[0]
 *     v[m+p] = k u[p] + v[m+p] and u[p] = k v[m+p] + u[p], from the old values, p from 0 on
 *
 * and the error is k v + u in the last step. These k have the sign of a filter's last coefficients: they are minus
 * what zelsLPToReflection_32f() gives. u counts order elements. Nothing is tested: a zero u[0] gives
 * infinities or NaN, and ::SrOk.
 * @{ */
/** Denominator form of a and the prediction error, single precision. */
SrStatus zelsDurbin_32f(const float* acorr, float* a, int32_t order, float* error);
/** 16-bit autocorrelation and coefficients; the error is not scaled. On ::SrErrDurbin nothing is written. */
SrStatus zelsDurbin_16s_Sfs(const int16_t* acorr, int16_t* a, int32_t order, float* error, int32_t sf);
/** Reflection coefficients k and the prediction error, single precision. */
SrStatus zelsSchur_32f(const float* acorr, float* k, int32_t order, float* error);
/** 16-bit autocorrelation and reflection coefficients; the error is not scaled. */
SrStatus zelsSchur_16s_Sfs(const int16_t* acorr, int16_t* k, int32_t order, float* error, int32_t sf);
/** @} */

/** @name From samples, autocorrelation method
 * The order + 1 lags by zelsAutoCorr_32f(), not windowed and not normalised; then zelsDurbin_32f(), whose status
 * is the result. Sizes: len, order below 1, or order above len.
 * @{ */
/** Denominator form, single precision. */
SrStatus zelsLinearPrediction_Auto_32f(const float* src, int32_t len, float* a, int32_t order);
/** Denominator form, 16-bit. On ::SrErrDurbin nothing is written. */
SrStatus zelsLinearPrediction_Auto_16s_Sfs(const int16_t* src, int32_t len, int16_t* a, int32_t order, int32_t sf);
/** Predictor form, single precision: every element of a becomes 0 - a[k], also after ::SrErrDurbin, whatever it
 * holds then. */
SrStatus zelsLinearPredictionNeg_Auto_32f(const float* src, int32_t len, float* a, int32_t order);
/** Predictor form, 16-bit. On ::SrErrDurbin nothing is written. */
SrStatus zelsLinearPredictionNeg_Auto_16s_Sfs(const int16_t* src, int32_t len, int16_t* a, int32_t order,
                                              int32_t sf);
/** @} */

/** @name From samples, covariance method
 * The solution of phi a = p, with
 *
 *     p[k]      = sum over n = 0 ... len-k-1 of x[n] x[n+k],                k = 1 ... order
 *     phi(i, c) = sum over n = 0 ... len-i-1 of x[n] x[n+i-c],    c = 1 ... i, phi symmetric
 *
 * p as zelsAutoCorr_32f() sums; phi is summed in double in rising n and rounded once. Then in single precision, by
 * phi = L D L^T without pivoting, for r = 1 ... order and c = 1 ... r-1:
 *
 *     L(r,c) = (phi(r,c) - sum over k < c of w[k] L(c,k)) / D[c],   w[c] = L(r,c) D[c]
 *     D[r]   = phi(r,r) - sum over k < r of w[k] L(r,k)
 *     y[i]   = p[i] - sum over j < i of L(i,j) y[j]
 *     a[i]   = y[i] / D[i] - sum over j > i of L(j,i) a[j]
 *
 * each sum formed on its own, in rising index up to 11 products, beyond that as in zelsDurbin_32f(). A singular
 * phi gives infinities or NaN, and ::SrOk. Sizes: len, order below 1, or order above len.
 * @{ */
/** Predictor form, single precision. */
SrStatus zelsLinearPrediction_Cov_32f(const float* src, int32_t len, float* a, int32_t order);
/** Predictor form, 16-bit. Its own two blocks refused, nothing is written; refused one of the form of single
 * precision, a is zero (wanted). */
SrStatus zelsLinearPrediction_Cov_16s_Sfs(const int16_t* src, int32_t len, int16_t* a, int32_t order, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
