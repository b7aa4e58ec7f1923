// The distributed front-end's bands as a user would write them: aurora_bands_bench.cpp.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

// len samples, 2 * count sums: taps, and taps with alternating signs.
void split_bands(const float* src, float* low, float* high, int len, const float* taps, int tap_count);
void split_bands(const std::int16_t* src, std::int16_t* low, std::int16_t* high, int len, const std::int16_t* taps,
                 int tap_count, int sf);

// 80 samples from 96, by 17 taps.
void residual(const float* src, float* dst, const float* taps);
void residual(const std::int16_t* src, std::int16_t* dst, const std::int16_t* taps, int sf);

// 200 samples, weighted.
void wave_processing(const float* src, float* dst);

void blind_equalization(const float* reference, float* cepstrum, float* bias, int len, float log_energy);

// Three codes from spectra of 65 and 129 values.
void high_band(const float* a, const float* p, const float* q, float* dst);

}  // namespace zelsr::bench::plain
