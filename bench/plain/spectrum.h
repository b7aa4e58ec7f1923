// The distributed front-end's spectra as a user would write them: aurora_spectrum_bench.cpp.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

// Power at half the resolution, of n values in Perm format.
void smooth(const float* src, float* dst, int n);
void smooth(const std::int16_t* src, std::int16_t* dst, int n);
void smooth(const std::int32_t* src, std::int32_t* dst, int n, int sf);
void smooth(const std::int32_t* src, std::int64_t* dst, int n, int sf);

// The noise spectrum, in single precision with divisions; times `scale` and truncated.
void update_noise(const float* a, const float* b, float* dst, int len);
void update_noise(const std::int16_t* a, const std::int16_t* b, std::int16_t* dst, int len, float scale);
void update_noise(const std::int32_t* a, const std::int32_t* b, std::int32_t* dst, int len, float scale);

void wiener_gain(const float* power, const float* noise, const float* denoised, float* gain, int len);
void wiener_gain(const std::int16_t* power, const std::int16_t* noise, const std::int16_t* denoised,
                 std::int16_t* gain, int len);

}  // namespace zelsr::bench::plain
