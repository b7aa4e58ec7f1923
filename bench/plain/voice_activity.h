// Voice activity as a user would write it: aurora_voice_activity_bench.cpp.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

// A stream of frames of 25 bands and 64 samples, one decision a frame.
void voice_activity(const float* bands, const float* samples, std::int32_t* decisions, int frames);
void voice_activity(const std::int16_t* bands, const std::int16_t* samples, std::int32_t* decisions, int frames);

}  // namespace zelsr::bench::plain
