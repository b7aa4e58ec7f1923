#include <algorithm>

#include "plain/log_add.h"
#include "plain/plain.h"

namespace zelsr::bench::plain {

template <class T, class Sum>
Sum log_gauss(const T* feature, const T* mean, const T* inv_var, int len, Sum val)
{
    Sum sum = 0;
    for (int k = 0; k < len; ++k) {
        const Sum difference = static_cast<Sum>(feature[k]) - static_cast<Sum>(mean[k]);
        sum += difference * difference * static_cast<Sum>(inv_var[k]);
    }
    return val - Sum(0.5) * sum;
}
template float log_gauss(const float*, const float*, const float*, int, float);
template double log_gauss(const float*, const float*, const float*, int, double);
template double log_gauss(const double*, const double*, const double*, int, double);

template <class T>
void log_gauss_frames(const T* frames, int step, const T* mean, const T* inv_var, int width, T* score, int height,
                      T val)
{
    for (int r = 0; r < height; ++r)
        score[r] = log_gauss(frames + static_cast<std::ptrdiff_t>(r) * step, mean, inv_var, width, val);
}
template void log_gauss_frames(const float*, int, const float*, const float*, int, float*, int, float);
template void log_gauss_frames(const double*, int, const double*, const double*, int, double*, int, double);

template <class T>
void log_gauss_components(const T* mean, const T* inv_var, int step, const T* feature, int width, T* value,
                          int height)
{
    for (int j = 0; j < height; ++j) {
        const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(j) * step;
        value[j] = log_gauss(feature, mean + first, inv_var + first, width, value[j]);
    }
}
template void log_gauss_components(const float*, const float*, int, const float*, int, float*, int);
template void log_gauss_components(const double*, const double*, int, const double*, int, double*, int);

template <class T>
T log_gauss_unit(const T* feature, const T* mean, int len, T val)
{
    T sum = 0;
    for (int k = 0; k < len; ++k) sum += (feature[k] - mean[k]) * (feature[k] - mean[k]);
    return val - T(0.5) * sum;
}
template float log_gauss_unit(const float*, const float*, int, float);

template <class T>
void log_gauss_unit_frames(const T* frames, int step, const T* mean, int width, T* score, int height, T val)
{
    for (int r = 0; r < height; ++r)
        score[r] = log_gauss_unit(frames + static_cast<std::ptrdiff_t>(r) * step, mean, width, val);
}
template void log_gauss_unit_frames(const float*, int, const float*, int, float*, int, float);

template <class T>
T log_gauss_variance(const T* feature, const T* mean, const T* var, int len, T val)
{
    T sum = 0;
    for (int k = 0; k < len; ++k) sum += (feature[k] - mean[k]) * (feature[k] - mean[k]) / var[k];
    return val - T(0.5) * sum;
}
template float log_gauss_variance(const float*, const float*, const float*, int, float);
template double log_gauss_variance(const double*, const double*, const double*, int, double);

void log_gauss_max_frames(const float* frames, int step, const float* mean, const float* inv_var, int width,
                          float* best, int height, float val)
{
    for (int r = 0; r < height; ++r)
        best[r] = std::max(best[r],
                           log_gauss(frames + static_cast<std::ptrdiff_t>(r) * step, mean, inv_var, width, val));
}

void log_gauss_add_frames(const float* frames, int step, const float* mean, const float* inv_var, int width,
                          float* sum, int height, float val)
{
    for (int r = 0; r < height; ++r)
        sum[r] = log_added(sum[r],
                           log_gauss(frames + static_cast<std::ptrdiff_t>(r) * step, mean, inv_var, width, val));
}

float log_gauss_mixture(const float* feature, const float* mean, const float* inv_var, int components, int step,
                        int width, const float* val)
{
    float sum = log_gauss(feature, mean, inv_var, width, val[0]);
    for (int j = 1; j < components; ++j) {
        const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(j) * step;
        sum = log_added(sum, log_gauss(feature, mean + first, inv_var + first, width, val[j]));
    }
    return sum;
}

// Every frame has a component.
void log_gauss_selected(const float* frames, const float* mean, const float* inv_var, int step, int width,
                        const float* val, const std::uint8_t* table, int components, float* sum, int height)
{
    for (int r = 0; r < height; ++r) {
        const float* frame = frames + static_cast<std::ptrdiff_t>(r) * step;
        const std::uint8_t* bits = table + static_cast<std::ptrdiff_t>(r) * ((components + 7) / 8);
        bool started = false;
        for (int j = 0; j < components; ++j) {
            if (!(bits[j / 8] & 128 >> j % 8)) continue;
            const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(j) * step;
            const float score = log_gauss(frame, mean + first, inv_var + first, width, val[j]);
            sum[r] = started ? log_added(sum[r], score) : score;
            started = true;
        }
    }
}

}  // namespace zelsr::bench::plain
