#include "plain/statistics.h"

#include <algorithm>
#include <cmath>

namespace zelsr::bench::plain {

// Row by row into the results: what compilers turn into vector instructions.

void column_means(const float* src, int height, int step, float* mean, int width)
{
    std::fill_n(mean, width, 0.0F);
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) mean[c] += src[r * step + c];
    for (int c = 0; c < width; ++c) mean[c] /= static_cast<float>(height);
}

void column_means(const std::int16_t* src, int height, int step, std::int16_t* mean, int width)
{
    for (int c = 0; c < width; ++c) {
        float sum = 0;
        for (int r = 0; r < height; ++r) sum += src[r * step + c];
        mean[c] = static_cast<std::int16_t>(std::lrint(sum / static_cast<float>(height)));
    }
}

void column_variances(const float* src, int height, int step, const float* mean, float* var, int width)
{
    for (int c = 0; c < width; ++c) var[c] = -static_cast<float>(height) * mean[c] * mean[c];
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) var[c] += src[r * step + c] * src[r * step + c];
    for (int c = 0; c < width; ++c) var[c] /= static_cast<float>(height - 1);
}

void column_moments(const float* src, int height, int step, float* mean, float* var, int width)
{
    column_sums(src, step, height, mean, var, width);
    const auto n = static_cast<float>(height);
    for (int c = 0; c < width; ++c) {
        mean[c] /= n;
        var[c] = (var[c] - n * mean[c] * mean[c]) / (n - 1);
    }
}

void column_moments(const std::int16_t* src, int height, int step, std::int32_t* mean, std::int32_t* var,
                    int width)
{
    for (int c = 0; c < width; ++c) {
        double sum = 0, squares = 0;
        for (int r = 0; r < height; ++r) {
            const double x = src[r * step + c];
            sum += x;
            squares += x * x;
        }
        const double m = sum / height;
        mean[c] = static_cast<std::int32_t>(std::lrint(m));
        var[c] = static_cast<std::int32_t>(std::lrint((squares - m * m * height) / (height - 1)));
    }
}

template <class T>
void weighted_moments(const T* src, int step, const T* weights, int height, T* mean, T* var, int width)
{
    std::fill_n(mean, width, T(0));
    std::fill_n(var, width, T(0));
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) {
            const T x = src[r * step + c];
            mean[c] += weights[r] * x;
            var[c] += weights[r] * x * x;
        }
    for (int c = 0; c < width; ++c) var[c] -= mean[c] * mean[c];
}
template void weighted_moments(const float*, int, const float*, int, float*, float*, int);
template void weighted_moments(const double*, int, const double*, int, double*, double*, int);

template <class T>
void column_sums(const T* src, int step, int height, float* sum, float* squares, int width)
{
    std::fill_n(sum, width, 0.0F);
    std::fill_n(squares, width, 0.0F);
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) {
            const auto x = static_cast<float>(src[r * step + c]);
            sum[c] += x;
            squares[c] += x * x;
        }
}
template void column_sums(const float*, int, int, float*, float*, int);
template void column_sums(const std::int16_t*, int, int, float*, float*, int);

template <class T>
void accumulate_deviations(const T* src, const T* mean, T* mean_acc, T* var_acc, int len, T weight)
{
    for (int i = 0; i < len; ++i) {
        const T d = src[i] - mean[i], e = d * weight;
        mean_acc[i] += e;
        var_acc[i] += d * e;
    }
}
template void accumulate_deviations(const float*, const float*, float*, float*, int, float);
template void accumulate_deviations(const double*, const double*, double*, double*, int, double);

void normalize_columns(float* srcdst, int step, int height, const float* mean, const float* factor, int width)
{
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) srcdst[r * step + c] = (srcdst[r * step + c] - mean[c]) * factor[c];
}

void normalize_columns(std::int16_t* srcdst, int step, int height, const std::int16_t* mean,
                       const std::int16_t* factor, int width, int sf)
{
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) {
            const int product = (srcdst[r * step + c] - mean[c]) * factor[c] >> sf;
            srcdst[r * step + c] = static_cast<std::int16_t>(std::clamp(product, -32768, 32767));
        }
}

void reciprocal_roots(float* srcdst, int len, float floor)
{
    for (int i = 0; i < len; ++i) srcdst[i] = floor < srcdst[i] ? 1 / std::sqrt(srcdst[i]) : floor;
}

void subtract_mean(std::int16_t* srcdst, int len)
{
    std::int64_t sum = 0;
    for (int i = 0; i < len; ++i) sum += srcdst[i];
    const int twice_mean = static_cast<int>(2 * sum / len);
    for (int i = 0; i < len; ++i) {
        const int d = 2 * srcdst[i] - twice_mean;
        srcdst[i] = static_cast<std::int16_t>(std::clamp((d + (d < 0 ? -1 : 1)) >> 1, -32767, 32767));
    }
}

namespace {

struct Mapping {
    float top, bottom, slope;

    Mapping(float lowest, float highest, float low, float high, float range)
        : top(high * (highest - lowest) + lowest),
          bottom(low * (highest - lowest) + lowest),
          slope(range / (top - bottom))
    {}
    float operator()(float x) const { return std::max((x < top ? x : top) - bottom, 0.0F) * slope; }
};

}  // namespace

void into_range(const float* src, float* dst, int len, float low, float high, float range)
{
    float lowest = src[0], highest = src[0];
    for (int i = 1; i < len; ++i) {
        lowest = src[i] < lowest ? src[i] : lowest;
        highest = src[i] > highest ? src[i] : highest;
    }
    const Mapping map(lowest, highest, low, high, range);
    for (int i = 0; i < len; ++i) dst[i] = map(src[i]);
}

void into_range(const std::int16_t* src, std::uint8_t* dst, int len, float low, float high, float range)
{
    const auto [lowest, highest] = std::minmax_element(src, src + len);
    const Mapping map(*lowest, *highest, low, high, range);
    for (int i = 0; i < len; ++i) dst[i] = static_cast<std::uint8_t>(std::min(std::lrint(map(src[i])), 255L));
}

void unit_curve(const float* src, float* dst, int len)
{
    for (int i = 0; i < len; ++i) {
        const float x = src[i] > 0 ? (src[i] < 2 ? src[i] : 2) : 0;
        dst[i] = x < 1 ? x * x : 2 - (2 - x) * (2 - x);
    }
}

void unit_curve(const std::int16_t* src, int q, std::int16_t* dst, int len, int sf)
{
    const int one = 1 << q, two = 2 << q;
    for (int i = 0; i < len; ++i) {
        const int x = std::clamp<int>(src[i], 0, two);
        const int v = x < one ? x * x : (two << q) - (two - x) * (two - x);
        dst[i] = static_cast<std::int16_t>(std::min(v >> (sf + 2 * q), 32767));
    }
}

}  // namespace zelsr::bench::plain
