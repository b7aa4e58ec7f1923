// The steps of a frame's cepstra that no other family has, as a user would write them.
#pragma once

namespace zelsr::bench::plain {

// dst[i] = (src[i] - emphasis * src[i-1]) * window[i]
void emphasise_and_window(const float* src, const float* window, float emphasis, float* dst, int len);

// Filter f weighs the bins first[f] ... first[f+1] - 1 of a list of bins and weights; below 1 its output is 1.
struct Filters {
    const int *first, *bins;
    const float* weights;
    int count;
};
void filter(const float* magnitudes, const Filters& filters, float* dst);

// Row 6 of seven rows receives the static values, row 4 its deltas, row 2 its accelerations.
void append_derivatives(const float* statics, int width, float* rows, int step, float val);

}  // namespace zelsr::bench::plain
