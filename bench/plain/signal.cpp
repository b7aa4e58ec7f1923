#include "plain/signal.h"

#include <algorithm>
#include <cmath>

namespace zelsr::bench::plain {

int polyphase(const float* src, int len, const float* rows, int row_len, int half, int in_rate, int out_rate,
              float* dst)
{
    const float scale = std::min(static_cast<float>(out_rate) / static_cast<float>(in_rate), 1.0F);
    int written = 0;
    for (int position = 0; position < len * out_rate; position += in_rate, ++written) {
        const int i = position / out_rate, p = position % out_rate, taps = 2 * half + (p == 0);
        const float* x = src + i - half + (p == 0 ? 0 : 1);
        float sum = 0;
        for (int k = 0; k < taps; ++k) sum += x[k] * rows[p * row_len + k];
        dst[written] = sum * scale;
    }
    return written;
}

int interpolate(const float* src, int len, const float* table, int table_len, int step, double factor, float* dst)
{
    int written = 0;
    for (double t = 0; t < len; t += 1 / factor) {
        const int i = static_cast<int>(t);
        double sum = 0;
        const auto side = [&](double distance, const float* x, int direction) {
            const double place = distance * step;
            const int first = static_cast<int>(place);
            const double rest = place - first;
            for (int k = first; k < table_len; k += step, x += direction)
                sum += (table[k] * (1 - rest) + table[k + 1] * rest) * *x;
        };
        side(t - i, src + i, -1);
        side(1 - (t - i), src + i + 1, 1);
        dst[written++] = static_cast<float>(sum);
    }
    return written;
}

float warp(const float* a, int n, const float* b, int m, int width, float* work)
{
    float *before = work, *now = work + n;
    for (int t = 0; t < m; ++t) {
        for (int j = 0; j < n; ++j) {
            float sum = 0;
            for (int k = 0; k < width; ++k) {
                const float difference = a[j * width + k] - b[t * width + k];
                sum += difference * difference;
            }
            float least = t == 0 ? 0 : before[j];
            if (t > 0 && j > 0) least = std::min(least, before[j - 1]);
            if (t > 0 && j > 1) least = std::min(least, before[j - 2]);
            now[j] = std::sqrt(sum) + least;
        }
        std::swap(before, now);
    }
    return *std::min_element(before, before + n);
}

void exp_neg_sqr(const float* src, float* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = std::exp(-src[i] * src[i]);
}

void sinc(const float* src, float* dst, int len)
{
    for (int i = 0; i < len; ++i)
        dst[i] = src[i] == 0 ? 1 : static_cast<float>(std::sin(static_cast<double>(src[i]))) / src[i];
}

float entropy(const float* src, int len)
{
    double sum = 0;
    for (int i = 0; i < len; ++i)
        if (src[i] > 0) sum += src[i] * std::log2(src[i]);
    return static_cast<float>(sum);
}

void reciprocal_distances(const float* marks, float* dst, int len)
{
    dst[0] = 1 / marks[0];
    for (int i = 1; i < len; ++i) dst[i] = 1 / (marks[i] - marks[i - 1]);
}

}  // namespace zelsr::bench::plain
