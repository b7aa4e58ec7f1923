// Steps of model estimation, as a user's own loops.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

void update_mean(const float* acc, float* mean, int len, float occupancy);
void update_mean(const double* acc, double* mean, int len, double occupancy);
// Whether some variance was above its floor.
bool update_var(const float* mean_acc, const float* square_acc, const float* floor, float* var, int len,
                float occupancy);
void update_weight(const float* acc, float* weight, int len, float* sum, float occupancy, float floor);
double gaussian_constant(const float* inv_var, int len);
void weighted_sum(const std::int16_t* first, const std::int16_t* second, std::int16_t* dst, int len, float weight1,
                  float weight2);
void new_var(const std::int32_t* mean, const std::int32_t* square, std::int32_t* dst, int len, float a, float b,
             int sf);
void split(float* mean1, const float* var1, float* mean2, float* var2, int len, float factor);
double merge_distance(const float* mean1, const float* var1, const float* mean2, const float* var2, int len,
                      float weight1, float gconst1, float weight2, float gconst2);
double cluster_likelihood(const float* s, const float* q, int len, float occupancy);

// The upper triangle, row by row, and its mirror image.
template <class T>
void covariance(const T* frames, int step, int height, const T* mean, double* dst, int width, double factor);

}  // namespace zelsr::bench::plain
