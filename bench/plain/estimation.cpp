#include "plain/estimation.h"

#include <algorithm>
#include <cmath>

namespace zelsr::bench::plain {

namespace {

constexpr double ln_two_pi = 1.8378770664093;

template <class T>
void add_average(const T* acc, T* mean, int len, T occupancy)
{
    for (int i = 0; i < len; ++i) mean[i] += acc[i] / occupancy;
}

}  // namespace

void update_mean(const float* acc, float* mean, int len, float occupancy)
{
    add_average(acc, mean, len, occupancy);
}
void update_mean(const double* acc, double* mean, int len, double occupancy)
{
    add_average(acc, mean, len, occupancy);
}

bool update_var(const float* mean_acc, const float* square_acc, const float* floor, float* var, int len,
                float occupancy)
{
    const float r = 1 / occupancy;
    int above = 0;
    for (int i = 0; i < len; ++i) {
        const float m = mean_acc[i] * r, v = square_acc[i] * r - m * m;
        above += floor[i] < v;
        var[i] = floor[i] < v ? v : floor[i];
    }
    return above != 0;
}

void update_weight(const float* acc, float* weight, int len, float* sum, float occupancy, float floor)
{
    const float r = 1 / occupancy;
    *sum = 0;
    for (int i = 0; i < len; ++i) *sum += weight[i] = std::max(floor, acc[i] * r);
}

double gaussian_constant(const float* inv_var, int len)
{
    double sum = 0;
    for (int i = 0; i < len; ++i) sum += std::log(static_cast<double>(inv_var[i]));
    return len * ln_two_pi - sum;
}

void weighted_sum(const std::int16_t* first, const std::int16_t* second, std::int16_t* dst, int len, float weight1,
                  float weight2)
{
    const float r = 1 / (weight1 + weight2);
    weight1 *= r;
    weight2 *= r;
    for (int i = 0; i < len; ++i)
        dst[i] =
            static_cast<std::int16_t>(std::clamp(first[i] * weight1 + second[i] * weight2, -32768.0F, 32767.0F));
}

void new_var(const std::int32_t* mean, const std::int32_t* square, std::int32_t* dst, int len, float a, float b,
             int sf)
{
    const float scale = std::ldexp(1.0F, -sf);
    for (int i = 0; i < len; ++i) {
        const auto m = static_cast<float>(mean[i]);
        const float v = (static_cast<float>(square[i]) - m * m * a) * b * scale;
        dst[i] = static_cast<std::int32_t>(std::nearbyint(std::clamp<double>(v, INT32_MIN, INT32_MAX)));
    }
}

void split(float* mean1, const float* var1, float* mean2, float* var2, int len, float factor)
{
    for (int i = 0; i < len; ++i) {
        const float mean = mean1[i], apart = factor * std::sqrt(var1[i]);
        var2[i] = var1[i];
        mean1[i] = mean + apart;
        mean2[i] = mean - apart;
    }
}

double merge_distance(const float* mean1, const float* var1, const float* mean2, const float* var2, int len,
                      float weight1, float gconst1, float weight2, float gconst2)
{
    const double w1 = weight1, w2 = weight2, weight = w1 + w2;
    double sum = 0;
    for (int i = 0; i < len; ++i) {
        const double m1 = mean1[i], m2 = mean2[i], m = (w1 * m1 + w2 * m2) / weight;
        sum += std::log(((m1 * m1 + var1[i]) * w1 + (m2 * m2 + var2[i]) * w2) / weight - m * m);
    }
    return w1 * gconst1 + w2 * gconst2 - weight * (len * ln_two_pi - sum);
}

double cluster_likelihood(const float* s, const float* q, int len, float occupancy)
{
    const double g = occupancy;
    double sum = 0;
    for (int i = 0; i < len; ++i) {
        const double mean_sum = s[i];
        sum += std::log(q[i] * g - mean_sum * mean_sum);
    }
    return g / 2 * (len * (2 * std::log(g) - 1 - 1.8378770664093456) - sum);
}

template <class T>
void covariance(const T* frames, int step, int height, const T* mean, double* dst, int width, double factor)
{
    for (int r = 0; r < height; ++r) {
        const T* x = frames + r * step;
        for (int i = 0; i < width; ++i) {
            const double xi = x[i];
            for (int j = i; j < width; ++j)
                dst[i * width + j] += (xi - mean[j]) * (x[j] - static_cast<double>(mean[j])) * factor;
        }
    }
    for (int i = 0; i < width; ++i)
        for (int j = 0; j < i; ++j) dst[i * width + j] = dst[j * width + i];
}
template void covariance(const float*, int, int, const float*, double*, int, double);
template void covariance(const std::int16_t*, int, int, const std::int16_t*, double*, int, double);

}  // namespace zelsr::bench::plain
