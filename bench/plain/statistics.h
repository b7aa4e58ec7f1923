// Column statistics and normalisation as a user would write them: matrix_statistics_bench.cpp and
// matrix_normalize_bench.cpp.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

// Blocks of height rows of width elements, step elements apart.
void column_means(const float* src, int height, int step, float* mean, int width);
void column_means(const std::int16_t* src, int height, int step, std::int16_t* mean, int width);
void column_variances(const float* src, int height, int step, const float* mean, float* var, int width);
void column_moments(const float* src, int height, int step, float* mean, float* var, int width);
void column_moments(const std::int16_t* src, int height, int step, std::int32_t* mean, std::int32_t* var,
                    int width);
template <class T>
void weighted_moments(const T* src, int step, const T* weights, int height, T* mean, T* var, int width);
template <class T>
void column_sums(const T* src, int step, int height, float* sum, float* squares, int width);
template <class T>
void accumulate_deviations(const T* src, const T* mean, T* mean_acc, T* var_acc, int len, T weight);

void normalize_columns(float* srcdst, int step, int height, const float* mean, const float* factor, int width);
void normalize_columns(std::int16_t* srcdst, int step, int height, const std::int16_t* mean,
                       const std::int16_t* factor, int width, int sf);
void reciprocal_roots(float* srcdst, int len, float floor);
void subtract_mean(std::int16_t* srcdst, int len);
void into_range(const float* src, float* dst, int len, float low, float high, float range);
void into_range(const std::int16_t* src, std::uint8_t* dst, int len, float low, float high, float range);
void unit_curve(const float* src, float* dst, int len);
void unit_curve(const std::int16_t* src, int q, std::int16_t* dst, int len, int sf);

}  // namespace zelsr::bench::plain
