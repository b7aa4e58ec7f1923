#include "denoise/settings.h"

#include <cmath>
#include <numbers>

namespace zelsr::examples {

FrameShape::FrameShape(int sample_rate) : rate(sample_rate), order(0)
{
    constexpr std::int64_t kLeastMilliseconds = 32;
    while (1000 * (std::int64_t{1} << order) < kLeastMilliseconds * rate) ++order;
}

double FrameShape::per_shift(double factor_of_8_ms) const
{
    return std::pow(factor_of_8_ms, 125.0 * shift() / rate);
}

std::vector<double> root_hann(int length)
{
    std::vector<double> window(static_cast<std::size_t>(length));
    for (std::size_t i = 0; i < window.size(); ++i)
        window[i] = std::sin(std::numbers::pi * (static_cast<double>(i) + 0.5) / length);
    return window;
}

EstimatorRate estimator_rate(const FrameShape& shape)
{
    constexpr int kMostKnown = 48000;
    EstimatorRate seen{shape.rate, shape.shift()};
    while (seen.rate > kMostKnown) seen = {seen.rate / 2, seen.shift / 2};
    return seen;
}

}  // namespace zelsr::examples
