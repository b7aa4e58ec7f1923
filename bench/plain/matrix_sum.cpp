#include "plain/matrix_sum.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace zelsr::bench::plain {

namespace {

template <class T>
T rounded(double sum, double scale)
{
    return static_cast<T>(std::nearbyint(
        std::clamp<double>(sum * scale, std::numeric_limits<T>::min(), std::numeric_limits<T>::max())));
}

}  // namespace

template <class T, class Sum>
void column_sums(const T* src, int step, int height, Sum* dst, int width)
{
    for (int c = 0; c < width; ++c) dst[c] = 0;
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) dst[c] += static_cast<Sum>(src[r * step + c]);
}
template void column_sums(const float*, int, int, float*, int);
template void column_sums(const double*, int, int, double*, int);
template void column_sums(const std::int16_t*, int, int, float*, int);

template <class T, class Sum>
void row_sums(const T* src, int width, int step, Sum* dst, int height)
{
    for (int r = 0; r < height; ++r) {
        Sum sum = 0;
        for (int c = 0; c < width; ++c) sum += static_cast<Sum>(src[r * step + c]);
        dst[r] = sum;
    }
}
template void row_sums(const float*, int, int, float*, int);
template void row_sums(const double*, int, int, double*, int);
template void row_sums(const std::int16_t*, int, int, float*, int);

template <class T>
void subtract_row(const T* vector, int width, T* srcdst, int step, int height)
{
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) {
            T& x = srcdst[r * step + c];
            if constexpr (std::is_same_v<T, std::int16_t>)
                x = static_cast<T>(std::clamp(x - vector[c], -32768, 32767));
            else
                x -= vector[c];
        }
}
template void subtract_row(const float*, int, float*, int, int);
template void subtract_row(const std::int16_t*, int, std::int16_t*, int, int);

void copy_columns(const float* src, int step, float* dst, const std::int32_t* index, int count, int height)
{
    for (int r = 0; r < height; ++r)
        for (int j = 0; j < count; ++j) dst[r * count + j] = src[r * step + index[j]];
}

void matrix_vector(const float* matrix, int step, const float* vector, int width, float* dst, int height)
{
    for (int r = 0; r < height; ++r) {
        float sum = 0;
        for (int c = 0; c < width; ++c) sum += matrix[r * step + c] * vector[c];
        dst[r] = sum;
    }
}

void matrix_vector(const std::int16_t* matrix, int step, const std::int16_t* vector, int width, std::int16_t* dst,
                   int height, int sf)
{
    for (int r = 0; r < height; ++r) {
        std::int64_t sum = 0;
        for (int c = 0; c < width; ++c) sum += matrix[r * step + c] * vector[c];
        dst[r] = static_cast<std::int16_t>(std::clamp<std::int64_t>(sum >> sf, -32768, 32767));
    }
}

void matrix_vector(const std::int32_t* matrix, int step, const std::int32_t* vector, int width, std::int32_t* dst,
                   int height, int sf)
{
    const double scale = std::ldexp(1.0, -sf);
    for (int r = 0; r < height; ++r) {
        double sum = 0;
        for (int c = 0; c < width; ++c)
            sum += static_cast<double>(matrix[r * step + c]) * static_cast<double>(vector[c]);
        dst[r] = rounded<std::int32_t>(sum, scale);
    }
}

void vector_matrix(const float* vector, const float* matrix, int step, int height, float* dst, int width)
{
    for (int c = 0; c < width; ++c) dst[c] = 0;
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) dst[c] += vector[r] * matrix[r * step + c];
}

template <class T>
void vector_matrix(const T* vector, const T* matrix, int step, int height, T* dst, int width, int sf)
{
    const double scale = std::ldexp(1.0, -sf);
    std::vector<double> sums(static_cast<std::size_t>(width));
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c)
            sums[static_cast<std::size_t>(c)] +=
                static_cast<double>(vector[r]) * static_cast<double>(matrix[r * step + c]);
    for (int c = 0; c < width; ++c) dst[c] = rounded<T>(sums[static_cast<std::size_t>(c)], scale);
}
template void vector_matrix(const std::int16_t*, const std::int16_t*, int, int, std::int16_t*, int, int);
template void vector_matrix(const std::int32_t*, const std::int32_t*, int, int, std::int32_t*, int, int);

}  // namespace zelsr::bench::plain
