// What the picture shows of a sound: a bounded number of columns, whatever its length.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "common/columns.h"

namespace zelsr::examples {

struct Extremes {
    float lowest, highest;
    void join(const Extremes& other);
};

struct SpectrumColumn {
    static constexpr std::size_t kRows = 128;
    std::array<float, kRows> power;  // sums over the column's frames, the lowest frequency first
    std::int64_t frames;
    void join(const SpectrumColumn& other);
};

class Overview {
  public:
    // The spectrogram reaches to half the rate, or to highest_hz if that is less.
    Overview(int rate, double highest_hz);

    void add_samples(std::span<const float> samples);
    void add_spectrum(std::span<const float> magnitudes);  // bins from 0 to half the rate

    const HalvingColumns<Extremes>& wave() const { return wave_; }
    const HalvingColumns<SpectrumColumn>& spectra() const { return spectra_; }
    double highest_hz() const { return highest_hz_; }

  private:
    HalvingColumns<Extremes> wave_{4096};
    HalvingColumns<SpectrumColumn> spectra_{2048};
    double highest_hz_;
    double part_shown_;  // of the bins
};

}  // namespace zelsr::examples
