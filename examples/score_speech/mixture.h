// Mixtures of Gaussians with diagonal covariance over feature rows.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "score_speech/features.h"

namespace zelsr::examples {

using BandValues = std::array<double, kBands>;
using RowList = std::vector<const float*>;

RowList all_rows(const FeatureRows& features);
RowList rows_labelled(const FeatureRows& features, std::span<const std::uint8_t> labels, std::uint8_t wanted);

BandValues variances_of(const RowList& rows);

class BandMixture {
  public:
    // One Gaussian, trained on the rows, of which there is at least one. No variance falls below a part of
    // file_variances, then or later: a class that holds nothing but digital silence stays a density.
    BandMixture(const RowList& rows, const BandValues& file_variances);

    // Splits components in two, the heaviest first, until there are that many. After each turn, which splits all
    // or as many as are missing, weights, means and variances are re-estimated on the rows.
    void grow(const RowList& rows, int components);

    // Log likelihoods of all rows.
    void score(const FeatureRows& features, std::span<float> scores) const;

    int components() const { return static_cast<int>(components_.size()); }
    double weight(int j) const { return components_[static_cast<std::size_t>(j)].weight; }
    const float* mean(int j) const { return means_.get() + j * kRowStep; }
    const float* inverse_variance(int j) const { return inverse_variances_.get() + j * kRowStep; }

  private:
    struct Component {
        double weight;
        BandValues mean, variance;
    };

    void split_heaviest(int most);
    void refine(const RowList& rows);
    double reestimate(const RowList& rows);
    void make_tables();

    BandValues least_variances_;
    std::vector<Component> components_;
    // The same as the library takes it: a row a component.
    AlignedFloats means_, inverse_variances_;
    std::vector<float> constants_;
};

}  // namespace zelsr::examples
