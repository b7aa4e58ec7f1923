#include "plain/distance.h"

#include <cmath>
#include <cstddef>

namespace zelsr::bench::plain {

template <class T, class Sum>
Sum mahalanobis(const T* feature, const T* mean, const T* inv_var, int len)
{
    Sum sum = 0;
    for (int k = 0; k < len; ++k) {
        const Sum difference = static_cast<Sum>(feature[k]) - static_cast<Sum>(mean[k]);
        sum += difference * difference * static_cast<Sum>(inv_var[k]);
    }
    return sum;
}
template float mahalanobis(const float*, const float*, const float*, int);
template double mahalanobis(const float*, const float*, const float*, int);
template double mahalanobis(const double*, const double*, const double*, int);
template float mahalanobis(const std::int16_t*, const std::int16_t*, const std::int16_t*, int);

template <class T>
void mahalanobis_frames(const T* frames, int step, const T* mean, const T* inv_var, int width, T* distance,
                        int height)
{
    for (int r = 0; r < height; ++r)
        distance[r] = mahalanobis<T, T>(frames + static_cast<std::ptrdiff_t>(r) * step, mean, inv_var, width);
}
template void mahalanobis_frames(const float*, int, const float*, const float*, int, float*, int);
template void mahalanobis_frames(const double*, int, const double*, const double*, int, double*, int);

std::int32_t mahalanobis(const std::int16_t* feature, const std::int16_t* mean, const std::int16_t* inv_var,
                         int len, int sf)
{
    std::int64_t sum = 0;
    for (int k = 0; k < len; ++k) {
        const std::int64_t difference = feature[k] - mean[k];
        sum += difference * difference * inv_var[k];
    }
    return static_cast<std::int32_t>(sum >> sf);
}

template <class T>
T bhattacharyya(const float* mean1, const float* var1, const float* mean2, const float* var2, int len)
{
    T sum = 0;
    for (int k = 0; k < len; ++k) {
        const T v1 = var1[k], v2 = var2[k], d = T(mean1[k]) - T(mean2[k]);
        sum += d * d / (v1 + v2) + std::log((v1 + v2) * (v1 + v2) / (4 * v1 * v2));
    }
    return sum / 4;
}
template float bhattacharyya<float>(const float*, const float*, const float*, const float*, int);
template double bhattacharyya<double>(const float*, const float*, const float*, const float*, int);

template <class T>
T bhattacharyya(const float* mean1, const float* var1, const float* mean2, const float* var2, int len,
                float sum_ln_var1, float sum_ln_var2)
{
    T sum = 0;
    for (int k = 0; k < len; ++k) {
        const T v1 = var1[k], v2 = var2[k], d = T(mean1[k]) - T(mean2[k]);
        sum += d * d / (v1 + v2) + 2 * std::log((v1 + v2) / 2);
    }
    return (sum - sum_ln_var1 - sum_ln_var2) / 4;
}
template float bhattacharyya<float>(const float*, const float*, const float*, const float*, int, float, float);
template double bhattacharyya<double>(const float*, const float*, const float*, const float*, int, float, float);

template <class T>
T block_diagonal(const T* feature, const T* mean, const T* rows, int size, int blocks, T val)
{
    T sum = 0;
    for (int b = 0; b < blocks; ++b, feature += size, mean += size)
        for (int r = 0; r < size; ++r, rows += size) {
            T along = 0;
            for (int c = 0; c < size; ++c) along += (feature[c] - mean[c]) * rows[c];
            sum += along * (feature[r] - mean[r]);
        }
    return val - T(0.5) * sum;
}
template float block_diagonal(const float*, const float*, const float*, int, int, float);
template double block_diagonal(const double*, const double*, const double*, int, int, double);

float block_diagonal(const std::int16_t* feature, const std::int16_t* mean, const std::int16_t* rows, int size,
                     int blocks, float val, int sf)
{
    float sum = 0;
    for (int b = 0; b < blocks; ++b, feature += size, mean += size)
        for (int r = 0; r < size; ++r, rows += size) {
            float along = 0;
            for (int c = 0; c < size; ++c) along += static_cast<float>((feature[c] - mean[c]) * rows[c]);
            sum += along * static_cast<float>(feature[r] - mean[r]);
        }
    return val - 0.5F * std::ldexp(sum, -sf);
}

}  // namespace zelsr::bench::plain
