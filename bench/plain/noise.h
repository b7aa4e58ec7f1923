// Noise tracking as a user would write it: noise_bench.cpp.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

// One frame of the estimator, factors for 8 ms, in single precision; in Q31 with double precision.
struct Mcra {
    float *presence, *smoothed, *minimum, *next_minimum;
};
void track(const float* power, const Mcra& state, float* noise, int bins, bool new_window);
struct McraQ31 {
    std::int32_t *presence, *smoothed, *minimum, *next_minimum;
    std::int32_t ad, ap, as;
};
void track(const std::int32_t* power, const McraQ31& state, std::int32_t* noise, int bins, bool new_window);

// The gain by its formula, with Bessel functions; x / (1 + x), in single precision and in Q15 to Q31.
void ephraim_malah(const float* gain, const float* snr, float* filter, int len);
void wiener(const float* snr, float* filter, int len);
void wiener(const std::int32_t* snr, std::int32_t* filter, int len);

// The greatest measure.
float least_squares(const float* src, int len, int greatest, int least);
float best_comb(const float* src, int len, int greatest, int least);

// Elements greater than all those up to `run` around them.
void peaks(const float* src, std::uint8_t* flags, int len, int run);

}  // namespace zelsr::bench::plain
