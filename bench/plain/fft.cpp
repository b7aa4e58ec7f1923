#include <cmath>
#include <utility>

#include "plain/plain.h"

namespace zelsr::bench::plain {

void fill_roots(Complex* roots, int n)
{
    for (int k = 0; k < n / 2; ++k) {
        const double angle = -2 * M_PI * k / n;
        roots[k] = {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))};
    }
}

// Radix 2, decimation in time: bit reversal, then log2(n) passes of butterflies. The roots are those of
// n * root_step.
static void transform(Complex* x, int n, const Complex* roots, int root_step, float sign)
{
    for (int i = 1, j = 0; i < n; ++i) {
        int bit = n >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) std::swap(x[i], x[j]);
    }
    for (int half = 1; half < n; half *= 2)
        for (int start = 0; start < n; start += 2 * half)
            for (int k = 0; k < half; ++k) {
                const Complex w = roots[k * (n / (2 * half)) * root_step];
                const float im = sign * w.im;
                Complex& a = x[start + k];
                Complex& b = x[start + k + half];
                const Complex t{b.re * w.re - b.im * im, b.re * im + b.im * w.re};
                b = {a.re - t.re, a.im - t.im};
                a = {a.re + t.re, a.im + t.im};
            }
}

// N real values as N / 2 complex ones: X[k] = E[k] + w^k O[k], with E and O from the transform of the pairs.
void real_to_ccs(const float* src, Complex* dst, const Complex* roots, int order)
{
    const int half = 1 << (order - 1);
    for (int i = 0; i < half; ++i) dst[i] = {src[2 * i], src[2 * i + 1]};
    transform(dst, half, roots, 2, 1.0F);
    const Complex first = dst[0];
    for (int k = 1; k <= half / 2; ++k) {
        const Complex a = dst[k], b = dst[half - k], w = roots[k];
        const Complex even{(a.re + b.re) / 2, (a.im - b.im) / 2}, odd{(a.im + b.im) / 2, (b.re - a.re) / 2};
        const Complex turned{odd.re * w.re - odd.im * w.im, odd.re * w.im + odd.im * w.re};
        dst[k] = {even.re + turned.re, even.im + turned.im};
        dst[half - k] = {even.re - turned.re, turned.im - even.im};
    }
    dst[0] = {first.re + first.im, 0};
    dst[half] = {first.re - first.im, 0};
}

void ccs_to_real(const Complex* src, float* dst, Complex* work, const Complex* roots, int order)
{
    const int half = 1 << (order - 1);
    for (int k = 0; k < half; ++k) {
        const Complex a = src[k], b = src[half - k], w = roots[k];
        const Complex even{a.re + b.re, a.im - b.im}, odd{a.re - b.re, a.im + b.im};
        const Complex turned{odd.re * w.re + odd.im * w.im, odd.im * w.re - odd.re * w.im};
        work[k] = {even.re - turned.im, even.im + turned.re};
    }
    transform(work, half, roots, 2, -1.0F);
    for (int i = 0; i < half; ++i) {
        dst[2 * i] = work[i].re;
        dst[2 * i + 1] = work[i].im;
    }
}

void multiply_conjugate_pack(const float* src, float* srcdst, int len)
{
    srcdst[0] = src[0] * srcdst[0];
    for (int i = 1; i + 1 < len; i += 2) {
        const float re = src[i] * srcdst[i] + src[i + 1] * srcdst[i + 1];
        const float im = src[i + 1] * srcdst[i] - src[i] * srcdst[i + 1];
        srcdst[i] = re;
        srcdst[i + 1] = im;
    }
    if (len % 2 == 0) srcdst[len - 1] = src[len - 1] * srcdst[len - 1];
}

void correlate(const float* src, int len, float* dst, int lags)
{
    for (int k = 0; k < lags; ++k) {
        float sum = 0;
        for (int i = 0; i + k < len; ++i) sum += src[i] * src[i + k];
        dst[k] = sum;
    }
}

}  // namespace zelsr::bench::plain
