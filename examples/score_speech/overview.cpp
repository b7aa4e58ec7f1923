#include "score_speech/overview.h"

#include <zelsr/core/vector.h>

#include <algorithm>

#include "common/failure.h"

namespace zelsr::examples {

void Extremes::join(const Extremes& other)
{
    lowest = std::min(lowest, other.lowest);
    highest = std::max(highest, other.highest);
}

Overview::Overview(int rate, double highest_hz) : spectra_(rate, highest_hz) {}

void Overview::add_samples(std::span<const float> samples)
{
    for (float sample : samples) wave_.add({sample, sample});
}

void Overview::add_spectrum(std::span<const float> magnitudes)
{
    power_.resize(magnitudes.size());
    require(zelsMul_32f(magnitudes.data(), magnitudes.data(), power_.data(),
                        static_cast<std::int32_t>(magnitudes.size())),
            "zelsMul_32f");
    spectra_.add(power_);
}

}  // namespace zelsr::examples
