// Features and mixtures of a file in 16 bits, in formats found from them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "common/aligned.h"
#include "common/fixed_point.h"
#include "score_speech/features.h"
#include "score_speech/mixture.h"

namespace zelsr::examples {

FixedFormat format_for(Arithmetic arithmetic, const FeatureRows& features, const BandMixture& pause,
                       const BandMixture& speech);

constexpr int kFixedRowStep = fixed_row_step(kBands);

class FixedRows {
  public:
    FixedRows(const FeatureRows& features, const FixedFormat& format);

    std::int64_t count() const { return count_; }
    const std::int16_t* row(std::int64_t index) const { return rows_.get() + index * kFixedRowStep; }

  private:
    std::int64_t count_;
    AlignedShorts rows_;
};

class FixedMixture {
  public:
    FixedMixture(const BandMixture& mixture, const FixedFormat& format);

    // Log likelihoods of all rows, which are in the same format.
    void score(Arithmetic arithmetic, const FixedRows& rows, std::span<float> scores) const;

  private:
    int components_, scale_factor_;
    AlignedShorts means_, inverse_variances_;  // a row a component
    std::vector<float> constants_;
};

}  // namespace zelsr::examples
