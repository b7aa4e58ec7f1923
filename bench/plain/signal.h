// Resampling, time warping and elementwise functions, as a user would write them.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

// One dot product with a row of taps for each phase; rows as the fixed engine has them. Returns the number of
// results.
int polyphase(const float* src, int len, const float* rows, int row_len, int half, int in_rate, int out_rate,
              float* dst);
// A table of step entries a sample, with linear interpolation, factor from 1 on.
int interpolate(const float* src, int len, const float* table, int table_len, int step, double factor, float* dst);

// The least sum of Euclidean distances over steps of 0, 1 and 2 columns, within 1 : 2 slopes; work has 2 * n
// values.
float warp(const float* a, int n, const float* b, int m, int width, float* work);

void exp_neg_sqr(const float* src, float* dst, int len);
void sinc(const float* src, float* dst, int len);
float entropy(const float* src, int len);
void reciprocal_distances(const float* marks, float* dst, int len);

}  // namespace zelsr::bench::plain
