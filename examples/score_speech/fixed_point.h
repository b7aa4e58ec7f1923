// Features and mixtures in 16 bits, in formats found from the data.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "common/aligned.h"
#include "score_speech/features.h"
#include "score_speech/mixture.h"

namespace zelsr::examples {

// How the 16-bit forms work out a score: the squares exact and the rest in single precision, or all in 32 bits.
enum class Arithmetic { kPlain, kLow };

// A value v is kept as the integer nearest to v 2^bits.
struct FixedFormat {
    float centre;        // of the features' range, taken off features and means: only their differences count
    int feature_bits;    // of features and means
    int precision_bits;  // of reciprocal variances

    // A sum of squared differences times reciprocal variances is 2^scale_factor too large.
    int scale_factor() const { return 2 * feature_bits + precision_bits; }
};

FixedFormat format_for(Arithmetic arithmetic, const FeatureRows& features, const Mixture& pause,
                       const Mixture& speech);

// Elements from row to row: a multiple of 8 keeps rows of 16-bit elements on 16-byte boundaries.
constexpr int kFixedRowStep = (kBands + 7) / 8 * 8;

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
    FixedMixture(const Mixture& mixture, const FixedFormat& format);

    // Log likelihoods of all rows, which are in the same format.
    void score(Arithmetic arithmetic, const FixedRows& rows, std::span<float> scores) const;

  private:
    int components_, scale_factor_;
    AlignedShorts means_, inverse_variances_;  // a row a component
    std::vector<float> constants_;
};

}  // namespace zelsr::examples
