#include "codec/bands.h"

#include <zelsr.h>

#include <cmath>
#include <numbers>

#include "common/failure.h"

namespace zelsr::examples {

Bands::Bands()
{
    // Low-pass filters are sines over their argument under a Hamming window; a band is the difference of two.
    std::array<float, kTaps> below{};
    for (std::size_t b = 0; b < kBands; ++b) {
        const float edge = 2 * kEdges[b + 1] / kRate;  // 1: all frequencies
        std::array<float, kTaps>& taps = taps_[b];
        for (int i = 0; i < kTaps; ++i)
            taps[static_cast<std::size_t>(i)] =
                static_cast<float>(std::numbers::pi) * edge * static_cast<float>(i - kReach);
        require(zelsSinC_32f_I(taps.data(), kTaps), "zelsSinC_32f_I");
        for (int i = 0; i < kTaps; ++i) {
            const auto t = static_cast<std::size_t>(i);
            const double window = 0.54 + 0.46 * std::cos(std::numbers::pi * (i - kReach) / (kReach + 1));
            taps[t] *= edge * static_cast<float>(window);
        }
        const std::array<float, kTaps> whole = taps;
        require(zelsSub_32f_I(below.data(), taps.data(), kTaps), "zelsSub_32f_I");
        below = whole;
    }
}

float Bands::filtered(int band, const float* sample) const
{
    float sum = 0;
    require(zelsDotProd_32f(taps(band), sample - kReach, kTaps, &sum), "zelsDotProd_32f");
    return sum;
}

}  // namespace zelsr::examples
