// Distances, order statistics and block-diagonal scores, as a user's own loops.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

template <class T, class Sum>
Sum mahalanobis(const T* feature, const T* mean, const T* inv_var, int len);
template <class T>
void mahalanobis_frames(const T* frames, int step, const T* mean, const T* inv_var, int width, T* distance,
                        int height);
// sum * 2^-sf of an exact sum, rounded down.
std::int32_t mahalanobis(const std::int16_t* feature, const std::int16_t* mean, const std::int16_t* inv_var,
                         int len, int sf);
template <class T>
T bhattacharyya(const float* mean1, const float* var1, const float* mean2, const float* var2, int len);
template <class T>
T bhattacharyya(const float* mean1, const float* var1, const float* mean2, const float* var2, int len,
                float sum_ln_var1, float sum_ln_var2);

// rows: of `blocks` blocks of one size, one after the other. sf scales sums of integers.
template <class T>
T block_diagonal(const T* feature, const T* mean, const T* rows, int size, int blocks, T val);
float block_diagonal(const std::int16_t* feature, const std::int16_t* mean, const std::int16_t* rows, int size,
                     int blocks, float val, int sf);

}  // namespace zelsr::bench::plain
