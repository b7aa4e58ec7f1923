// A Gaussian with diagonal covariance over feature rows.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "score_speech/features.h"

namespace zelsr::examples {

using BandValues = std::array<double, kBands>;

BandValues variances_of(const FeatureRows& features);  // over all rows

class Gaussian {
  public:
    // Trained on the rows whose label is `wanted`, of which there is at least one. No variance falls below a part
    // of file_variances: a class that holds nothing but digital silence stays a density.
    Gaussian(const FeatureRows& features, std::span<const std::uint8_t> labels, std::uint8_t wanted,
             const BandValues& file_variances);

    // Log densities of all rows.
    void score(const FeatureRows& features, std::span<float> scores) const;

    // The largest difference of the means in a band, in nepers.
    double highest_above(const Gaussian& other) const;

  private:
    AlignedFloats mean_, inverse_variance_;
    float constant_ = 0;  // -0.5 (n ln 2 pi + sum of ln variances)
};

}  // namespace zelsr::examples
