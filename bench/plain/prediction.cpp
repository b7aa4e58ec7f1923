#include "plain/prediction.h"

#include <algorithm>
#include <cmath>

namespace zelsr::bench::plain {
namespace {

void extend(float* a, int order, float k)
{
    for (int j = 0; j < (order + 1) / 2; ++j) {
        const float low = a[j], high = a[order - 1 - j];
        a[j] = low - high * k;
        a[order - 1 - j] = high - low * k;
    }
}

float series(const float* c, int m, float x)
{
    if (m == 1) return 2 * x + c[1];
    float prev = 1, cur = 2 * x + c[1];
    for (int j = 2; j < m; ++j) {
        const float next = 2 * x * cur - prev + c[j];
        prev = cur;
        cur = next;
    }
    return c[m] * 0.5F - prev + cur * x;
}

}  // namespace

float durbin(const float* acorr, float* a, int order)
{
    float error = acorr[0];
    for (int i = 1; i <= order; ++i) {
        float sum = acorr[i];
        for (int j = 1; j < i; ++j) sum += acorr[i - j] * a[j - 1];
        const float k = sum / error;
        extend(a, i - 1, k);
        a[i - 1] = -k;
        error *= 1 - k * k;
    }
    return error;
}

void predict(const float* src, int len, float* a, int order)
{
    float acorr[most_coefficients + 1];
    for (int lag = 0; lag <= order; ++lag) {
        acorr[lag] = 0;
        for (int n = 0; n < len - lag; ++n) acorr[lag] += src[n] * src[n + lag];
    }
    durbin(acorr, a, order);
}

void predict_covariance(const float* src, int len, float* a, int order)
{
    static thread_local float phi[most_coefficients][most_coefficients];
    float p[most_coefficients], diagonal[most_coefficients];
    for (int i = 0; i < order; ++i) {
        p[i] = 0;
        for (int n = 0; n < len - i - 1; ++n) p[i] += src[n] * src[n + i + 1];
        for (int c = 0; c <= i; ++c) {
            double sum = 0;
            for (int n = 0; n < len - i - 1; ++n) sum += static_cast<double>(src[n]) * src[n + i - c];
            phi[i][c] = static_cast<float>(sum);
        }
    }
    for (int r = 0; r < order; ++r) {
        for (int c = 0; c < r; ++c) {
            float sum = phi[r][c];
            for (int k = 0; k < c; ++k) sum -= phi[r][k] * phi[c][k] * diagonal[k];
            phi[r][c] = sum / diagonal[c];
        }
        diagonal[r] = phi[r][r];
        for (int k = 0; k < r; ++k) diagonal[r] -= phi[r][k] * phi[r][k] * diagonal[k];
    }
    for (int i = 0; i < order; ++i)
        for (int j = 0; j < i; ++j) p[i] -= phi[i][j] * p[j];
    for (int i = order - 1; i >= 0; --i) {
        a[i] = p[i] / diagonal[i];
        for (int j = i + 1; j < order; ++j) a[i] -= phi[j][i] * a[j];
    }
}

void step_down(const float* a, float* k, int order)
{
    float old[most_coefficients], next[most_coefficients];
    std::copy_n(a, order, old);
    for (int m = order - 1; m >= 0; --m) {
        k[m] = -old[m];
        const float scale = 1 / (1 - k[m] * k[m]);
        for (int j = 0; j < m; ++j) next[j] = (old[m - j - 1] * k[m] + old[j]) * scale;
        std::copy_n(next, m, old);
    }
}

void step_up(const float* k, float* a, int order)
{
    for (int i = 0; i < order; ++i) {
        extend(a, i, k[i]);
        a[i] = -k[i];
    }
}

void cepstrum(const float* a, float* c, int order)
{
    for (int n = 0; n < order; ++n) {
        float sum = 0;
        for (int j = 1; j <= n; ++j) sum += static_cast<float>(n - j + 1) * a[j - 1] * c[n - j];
        c[n] = -(sum / static_cast<float>(n + 1) + a[n]);
    }
}

void from_cepstrum(const float* c, float* a, int order)
{
    for (int n = 0; n < order; ++n) {
        float sum = 0;
        for (int j = 1; j <= n; ++j) sum += static_cast<float>(n - j + 1) * c[n - j] * a[j - 1];
        a[n] = -(sum / static_cast<float>(n + 1) + c[n]);
    }
}

int line_spectrum(const float* a, float* lsp, int order, int cells, int halvings)
{
    if (order < 2) return 0;
    float g[2][most_coefficients / 2 + 1];
    const int m = order / 2;
    g[0][0] = g[1][0] = 1;
    for (int i = 1; i <= m; ++i) {
        g[0][i] = a[i - 1] + a[order - i] - g[0][i - 1];
        g[1][i] = a[i - 1] - a[order - i] + g[1][i - 1];
    }
    int count = 0;
    const float* c = g[0];
    float xa = 1, fa = series(c, m, xa);
    for (int i = 1; i <= cells && count < order;) {
        float xb = i == cells ? -1 : 1 - 2.0F / static_cast<float>(cells) * static_cast<float>(i);
        float fb = series(c, m, xb);
        if (fa * fb > 0) {
            xa = xb;
            fa = fb;
            ++i;
            continue;
        }
        for (int round = 0; round < halvings; ++round) {
            const float x = (xa + xb) / 2, f = series(c, m, x);
            if (fb * f > 0) {
                xb = x;
                fb = f;
            } else {
                xa = x;
                fa = f;
            }
        }
        const float root = xb - (xa - xb) * fb / (fa - fb);
        lsp[count++] = root;
        c = g[count % 2];
        xa = root;
        fa = series(c, m, xa);
    }
    return count;
}

void from_line_spectrum(const float* lsp, float* a, int order)
{
    float g[2][most_coefficients / 2 + 1];
    const int m = order / 2;
    for (int which = 0; which < 2; ++which) {
        float* p = g[which];
        p[0] = 1;
        p[1] = -2 * lsp[which];
        for (int k = 2; k <= m; ++k) {
            const float b = -2 * lsp[2 * (k - 1) + which];
            p[k] = p[k - 1] * b + p[k - 2] * 2;
            for (int j = k - 1; j >= 2; --j) p[j] += p[j - 1] * b + p[j - 2];
            p[1] += b;
        }
    }
    for (int i = m; i >= 1; --i) {
        g[0][i] += g[0][i - 1];
        g[1][i] -= g[1][i - 1];
    }
    for (int i = 1; i <= m; ++i) {
        a[i - 1] = (g[0][i] + g[1][i]) * 0.5F;
        a[order - i] = (g[0][i] - g[1][i]) * 0.5F;
    }
}

void log_area_ratios(const float* k, float* dst, int len, float limit)
{
    for (int i = 0; i < len; ++i) {
        const float c = std::clamp(k[i], -limit, limit);
        dst[i] = std::log((1 - c) / (1 + c));
    }
}

}  // namespace zelsr::bench::plain
