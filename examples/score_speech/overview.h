// What the picture shows of a sound: a bounded number of columns, whatever its length.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "common/columns.h"
#include "common/spectrogram.h"

namespace zelsr::examples {

struct Extremes {
    float lowest, highest;
    void join(const Extremes& other);
};

class Overview {
  public:
    // The spectrogram reaches to half the rate, or to highest_hz if that is less.
    Overview(int rate, double highest_hz);

    void add_samples(std::span<const float> samples);
    void add_spectrum(std::span<const float> magnitudes);  // bins from 0 to half the rate

    const HalvingColumns<Extremes>& wave() const { return wave_; }
    const SpectrogramColumns& spectra() const { return spectra_; }

  private:
    HalvingColumns<Extremes> wave_{4096};
    SpectrogramColumns spectra_;
    std::vector<float> power_;  // of a frame
};

}  // namespace zelsr::examples
