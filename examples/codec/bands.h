// Five bands that add up to the signal: 0 to 500 Hz, to 1, 2, 3 and 4 kHz.
#pragma once

#include <array>

#include "codec/frame.h"

namespace zelsr::examples {

class Bands {
  public:
    static constexpr int kReach = 32;  // samples to either side
    static constexpr int kTaps = 2 * kReach + 1;
    static constexpr std::array<float, kBands + 1> kEdges{0, 500, 1000, 2000, 3000, 4000};  // Hz

    Bands();
    // Symmetric taps; kTaps of them.
    const float* taps(int band) const { return taps_[static_cast<std::size_t>(band)].data(); }
    // The band's value at *sample, of which kReach samples on either side are there.
    float filtered(int band, const float* sample) const;

  private:
    std::array<std::array<float, kTaps>, kBands> taps_;
};

}  // namespace zelsr::examples
