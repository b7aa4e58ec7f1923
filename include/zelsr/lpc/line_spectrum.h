/* Line spectral pairs. */
#ifndef ZELSR_LPC_LINE_SPECTRUM_H
#define ZELSR_LPC_LINE_SPECTRUM_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup line_spectrum Line spectral pairs
 *
 * A prediction polynomial as the roots of its symmetric and of its antisymmetric part on the unit circle. A root
 * at the angle w is kept as its cosine; those of a stable filter lie between 1 and -1 in falling order, one of the
 * symmetric part G1 first, then in turns.
 *
 * The sign of a depends on the parity of order, in both directions:
 *
 * | order | polynomial | roots of G1, G2 |
 * |-------|------------|-----------------|
 * | even  | A(z) = 1 + a[0] z^-1 + ... | m1 = m2 = order / 2 |
 * | odd   | A(z) = 1 - a[0] z^-1 - ... | m1 = (order + 1) / 2, m2 = (order - 1) / 2 |
 *
 * All arithmetic is single precision, in the caller's floating-point environment; the 16-bit forms run in the
 * default one. The result must not overlap the source. No array needs alignment.
 *
 * Thread rules: no state.
 * @{ */

/** @name Roots of a polynomial
 * The roots are sought as changes of sign over a grid of n_int cells from 1 down to -1, each refined by n_div
 * halvings and closed with one secant step. An even number of roots of one polynomial in a
 * cell goes unnoticed. lsp holds *n_roots values; where those are fewer than order: ::SrErrLpToLsp,
 * and the values behind them are as they were.
 *
 * G1, G2, c[0] = 1, as coefficients of a Chebyshev series:
 *
 *     even: G1[i] = a[i-1] - G1[i-1] + a[order-i],    G2[i] = a[i-1] + G2[i-1] - a[order-i]
 *     odd:  G1[i] = 0 - a[i-1] - a[order-i], G1[m1] = -2 a[m1-1];  G2[1] = a[order-1] - a[0],
 *           G2[i] = G2[i-2] + a[order-i] - a[i-1]
 *     F(x) = c[m] * 0.5 - prev + cur * x, prev = 1, cur = c[1] + y with y = 2 x, then for j = 2 ... m-1
 *            (prev, cur) = (cur, y * cur - prev + c[j]);  2 x + c[1] for m = 1
 *
 * Nodes: 1 - i d with d = 2 / n_int for i from 0 to 3, then node i = node i-4 - 4 d; node n_int is -1. From the
 * left point (x, F(x)), at first node 0, the next node is taken if the product of the two F is above 0, and is the
 * right end of a bracket if not (0 and NaN are not). A bracket is refined, then
 *
 *     root = xb - (xa - xb) * fb / (fa - fb)
 *
 * and becomes the left point, of the other polynomial, before the same node.
 *
 * Nodes are looked at four together as long as i + 5 is below n_int, i the index of the last one passed; after a
 * root four are taken anew, of which the first is the node before which the root lies. A bracket that four of them
 * show is refined in (n_div + 1) / 2 rounds of the points xa - step, xa - 2 step, xa - 3 step, with step a quarter
 * of the bracket at first and a quarter of itself from round to round; those before the change of sign move the
 * left end, the next one is the right end, which stays where there is none. The remaining nodes are looked at
 * singly, and a bracket is refined by n_div halvings at (xa + xb) * 0.5, where a point whose F times fb is above 0
 * moves the right end and any other the left one.
 *
 * Checks: null ::SrErrNullPtr; n_int, n_div, order below 1, or order above n_int ::SrErrSize. ::SrErrMemAlloc if
 * the allocator refuses, with nothing written: none is asked for while n_int + order is at most 240.
 * @{ */
/** Single precision. */
SrStatus zelsLPToLSP_32f(const float* a, float* lsp, int32_t order, int32_t* n_roots, int32_t n_int,
                         int32_t n_div);
/** 16-bit: a times 2^-src_sf; each root times 2^-sf, rounded to nearest, halves away from zero, of which the low
 * 16 bits are stored: a root of 1 in Q15 (sf -15) wraps to -32768. */
SrStatus zelsLPToLSP_16s_Sfs(const int16_t* a, int32_t src_sf, int16_t* lsp, int32_t order, int32_t* n_roots,
                             int32_t n_int, int32_t n_div, int32_t sf);
/** @} */

/** @name Polynomial from roots
 * G1 from lsp[0], lsp[2], ..., G2 from lsp[1], lsp[3], ..., each from p[0] = 1, p[1] = -2 x0 by the other roots
 * x1, x2, ..., with b = -2 x(k-1), k = 2 ... m:
 *
 *     p[k] = p[k-1] * b + p[k-2] * 2,   p[j] = p[j-1] * b + p[j] + p[j-2] for j = k-1 ... 2,   p[1] = p[1] + b
 *
 * and a from both by the sums that undo those above.
 *
 * The products of the first factors, whose roots lie close together, are large and leave rounding errors behind: a
 * of stable filters is off by some 1e-6 at order 8, 1e-5 at order 12, 1e-4 at order 16, and from order 28 on of
 * little use.
 *
 * ::SrErrMemAlloc if the allocator refuses, with nothing written: none is asked for up to order 58.
 * @{ */
/** Single precision. Checks: null ::SrErrNullPtr; order below 1 ::SrErrSize; ::SrErrLspToLp where lsp[0] is at or
 * above 1, an lsp[i] is not at or above lsp[i+1], or the last is not above -1. Equal neighbours pass. */
SrStatus zelsLSPToLP_32f(const float* lsp, float* a, int32_t order);
/** 16-bit: lsp times 2^-src_sf; a times 2^-sf, rounded to nearest with ties to even and saturated. Checks: null
 * ::SrErrNullPtr; order or src_sf below 1 ::SrErrSize; with one = 2^src_sf, ::SrErrLspToLp where lsp[0] is above
 * one, an lsp[i] is below lsp[i+1], or the last is below -one. The ends themselves pass here. */
SrStatus zelsLSPToLP_16s_Sfs(const int16_t* lsp, int32_t src_sf, int16_t* a, int32_t order, int32_t sf);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
