#include "plain/feature.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace zelsr::bench::plain {
namespace {

float window(float next, float previous, float next2, float previous2, float val)
{
    return ((next - previous) + 2 * (next2 - previous2)) * val;
}

std::int16_t to_16s(int x) { return static_cast<std::int16_t>(std::clamp(x, -32768, 32767)); }

std::int16_t window(std::int16_t next, std::int16_t previous, std::int16_t next2, std::int16_t previous2,
                    std::int16_t val, int sf)
{
    const auto d1 = static_cast<std::int16_t>(next - previous), d2 = static_cast<std::int16_t>(next2 - previous2);
    return to_16s((d1 + 2 * d2) * val >> sf);
}

// Rows before the first and behind the last are the nearest one.
int row(int t, int height) { return std::clamp(t, 0, height - 1); }

int sign(auto x) { return (x > 0) - (x < 0); }

float joint_energy(float c0, float log_energy) { return c0 * 0.6F / 23 + log_energy * 0.4F; }

}  // namespace

template <class T>
void lifted_cosines(const T* src, const float* cosines, const float* lifter, int len_dct, int len_cep, float* dst)
{
    for (int k = 0; k < len_cep; ++k) {
        float sum = 0;
        for (int j = 0; j < len_dct; ++j) sum += static_cast<float>(src[j]) * cosines[k * len_dct + j];
        dst[k] = sum * lifter[k];
    }
}
template void lifted_cosines(const float*, const float*, const float*, int, int, float*);
template void lifted_cosines(const std::int16_t*, const float*, const float*, int, int, float*);

void delta(const float* src, int width, float* dst, int step, int height, float val)
{
    for (int t = 0; t < height; ++t)
        for (int c = 0; c < width; ++c) dst[t * step + c] = src[t * width + c];
    for (int t = 0; t < height; ++t) {
        const float *next = dst + row(t + 1, height) * step, *previous = dst + row(t - 1, height) * step;
        for (int c = 0; c < width; ++c) dst[t * step + width + c] = (next[c] - previous[c]) * val;
    }
}

void delta(const std::int16_t* src, int width, std::int16_t* dst, int step, int height, std::int16_t val, int sf)
{
    for (int t = 0; t < height; ++t)
        for (int c = 0; c < width; ++c) dst[t * step + c] = src[t * width + c];
    for (int t = 0; t < height; ++t) {
        const std::int16_t *next = dst + row(t + 1, height) * step, *previous = dst + row(t - 1, height) * step;
        for (int c = 0; c < width; ++c)
            dst[t * step + width + c] = to_16s(static_cast<std::int16_t>(next[c] - previous[c]) * val >> sf);
    }
}

void delta_delta(const float* src, int width, float* dst, int step, int height, float val1, float val2)
{
    for (int t = 0; t < height; ++t)
        for (int c = 0; c < width; ++c) dst[t * step + c] = src[t * width + c];
    for (int order = 0; order < 2; ++order)
        for (int t = 0; t < height; ++t) {
            const float* from = dst + order * width;
            const float *n1 = from + row(t + 1, height) * step, *p1 = from + row(t - 1, height) * step;
            const float *n2 = from + row(t + 2, height) * step, *p2 = from + row(t - 2, height) * step;
            float* to = dst + t * step + (order + 1) * width;
            for (int c = 0; c < width; ++c) to[c] = window(n1[c], p1[c], n2[c], p2[c], order == 0 ? val1 : val2);
        }
}

void delta_delta(const std::int16_t* src, int width, std::int16_t* dst, int step, int height, std::int16_t val1,
                 std::int16_t val2, int sf)
{
    for (int t = 0; t < height; ++t)
        for (int c = 0; c < width; ++c) dst[t * step + c] = src[t * width + c];
    for (int order = 0; order < 2; ++order)
        for (int t = 0; t < height; ++t) {
            const std::int16_t* from = dst + order * width;
            const std::int16_t *n1 = from + row(t + 1, height) * step, *p1 = from + row(t - 1, height) * step;
            const std::int16_t *n2 = from + row(t + 2, height) * step, *p2 = from + row(t - 2, height) * step;
            std::int16_t* to = dst + t * step + (order + 1) * width;
            for (int c = 0; c < width; ++c)
                to[c] = window(n1[c], p1[c], n2[c], p2[c], order == 0 ? val1 : val2, sf);
        }
}

void delta_mul(const float* src, const float* mul, int width, float* dst, int step, int height)
{
    for (int t = 0; t < height; ++t)
        for (int c = 0; c < width; ++c) dst[t * step + c] = src[t * width + c] * mul[c];
    for (int t = 0; t < height; ++t) {
        const float *next = dst + row(t + 1, height) * step, *previous = dst + row(t - 1, height) * step;
        for (int c = 0; c < width; ++c) dst[t * step + width + c] = (next[c] - previous[c]) * mul[width + c];
    }
}

void eval_delta(float* srcdst, int height, int step, int width, int window_size, float val)
{
    for (int t = 0; t < height; ++t)
        for (int c = 0; c < width; ++c) {
            float sum = 0;
            for (int k = 1; k <= window_size; ++k) {
                const int next = t >= height - window_size ? height - 1 : t + k;
                const int previous = t < window_size ? 0 : t - k;
                sum += static_cast<float>(k) * (srcdst[next * step + c] - srcdst[previous * step + c]);
            }
            srcdst[t * step + width + c] = sum * val;
        }
}

void aurora(const float* src, float* dst, int step, int height)
{
    const float taps[2][9] = {{-1, -0.75F, -0.5F, -0.25F, 0, 0.25F, 0.5F, 0.75F, 1},
                              {1, 0.25F, -0.285714F, -0.607143F, -0.714286F, -0.607143F, -0.285714F, 0.25F, 1}};
    for (int t = 0; t < height; ++t) {
        for (int c = 0; c < 12; ++c) dst[t * step + c] = src[t * 14 + c];
        dst[t * step + 12] = joint_energy(src[t * 14 + 12], src[t * 14 + 13]);
    }
    for (int t = 0; t < height; ++t)
        for (int order = 0; order < 2; ++order)
            for (int c = 0; c < 13; ++c) {
                float sum = 0;
                for (int k = 0; k < 9; ++k) sum += taps[order][k] * dst[row(t + k - 4, height) * step + c];
                dst[t * step + 13 * (order + 1) + c] = sum;
            }
}

void normalise_energy(float* column, int step, int height, float silence_floor, float scale)
{
    float highest = column[0];
    for (int r = 1; r < height; ++r) highest = std::max(highest, column[r * step]);
    const float floor = highest - silence_floor * 0.230259F;
    for (int r = 0; r < height; ++r) column[r * step] = 1 - (highest - std::max(column[r * step], floor)) * scale;
}

void normalise_energy(std::int16_t* column, int step, int height, std::int16_t silence_floor, std::int16_t unit,
                      float scale)
{
    std::int16_t highest = column[0];
    for (int r = 1; r < height; ++r) highest = std::max(highest, column[r * step]);
    const float floor = highest - silence_floor * 0.230259F;
    for (int r = 0; r < height; ++r) {
        const float x = unit - (highest - std::max<float>(column[r * step], floor)) * scale;
        column[r * step] = static_cast<std::int16_t>(std::clamp(x, -32768.0F, 32767.0F));
    }
}

float compensate(const float* src, float* dst, int len, float val)
{
    float x = 0, y = 0;
    for (int n = 0; n < len; ++n) {
        y = val * y + (src[n] - x);
        dst[n] = y;
        x = src[n];
    }
    return x;
}

void compensate(const std::int16_t* src, std::int16_t* dst, int len, float val)
{
    int x = 0, y = 0;
    for (int n = 0; n < len; ++n) {
        const float sum = static_cast<float>(src[n] - x) + static_cast<float>(y) * val;
        y = static_cast<int>(std::round(std::clamp(sum, -32768.0F, 32767.0F)));
        dst[n] = static_cast<std::int16_t>(y);
        x = src[n];
    }
}

void compensate_q12(const std::int16_t* src, std::int16_t* dst, int len, float val)
{
    const int q12 = static_cast<int>(4096 * val);
    int x = 0, y = 0;
    for (int n = 0; n < len; ++n) {
        y = to_16s((y * q12 >> 12) + to_16s(src[n] - x));
        dst[n] = static_cast<std::int16_t>(y);
        x = src[n];
    }
}

void compensate_q15(const std::int16_t* src, std::int16_t* dst, int len, std::int16_t val)
{
    int x = 0, y = 0;
    for (int n = 0; n < len; ++n) {
        const std::int64_t sum = (src[n] - x) * std::int64_t{32768} + y * val;
        y = to_16s(static_cast<int>(sum / 32768));
        dst[n] = static_cast<std::int16_t>(y);
        x = src[n];
    }
}

int sign_changes(const std::int16_t* src, int len)
{
    int count = 0;
    for (int n = 0; n + 1 < len; ++n) count += src[n] * src[n + 1] < 0;
    return count;
}

float sign_changes(const float* src, int len)
{
    int count = 0;
    for (int n = 0; n + 1 < len; ++n) count += !(src[n] * src[n + 1] >= 0);
    return static_cast<float>(count);
}

int sign_bit_changes(const float* src, int len)
{
    int count = 0;
    for (int n = 0; n + 1 < len; ++n) count += std::signbit(src[n]) != std::signbit(src[n + 1]);
    return count;
}

float sign_distance(const float* src, int len)
{
    int sum = 0;
    for (int n = 0; n + 1 < len; ++n) sum += std::abs(sign(src[n + 1]) - sign(src[n]));
    return static_cast<float>(sum) * 0.5F;
}

}  // namespace zelsr::bench::plain
