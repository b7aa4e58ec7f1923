// A mixture of Gaussians with diagonal covariances, and its steps of growth and re-estimation.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/aligned.h"
#include "common/feature_kind.h"

namespace zelsr::examples {

struct Statistics;

constexpr std::int32_t kMostComponents = 16384;

// Rows of doubles on the library's boundaries; what is behind a row's end is zero.
class DoubleRows {
  public:
    DoubleRows(std::int32_t rows, std::int32_t width);
    DoubleRows(const DoubleRows& other);
    DoubleRows(DoubleRows&&) = default;
    DoubleRows& operator=(DoubleRows&&) = default;

    double* operator[](std::int32_t r) { return data_.get() + static_cast<std::ptrdiff_t>(r) * step_; }
    const double* operator[](std::int32_t r) const { return data_.get() + static_cast<std::ptrdiff_t>(r) * step_; }
    std::int32_t step() const { return step_; }
    std::int32_t rows() const { return rows_; }
    std::int32_t size() const { return rows_ * step_; }  // doubles, those behind the rows' ends too

  private:
    std::int32_t rows_, step_;
    AlignedArray<double> data_;
};

class Mixture {
  public:
    // One component with mean 0 and variance 1, and next to no floor: what the first statistics are gathered
    // under.
    explicit Mixture(const FeatureKind& kind);
    // A component around each of the given means, all of one weight and with the same variances, none of which
    // falls below its floor, from now on.
    Mixture(const FeatureKind& kind, const DoubleRows& means, std::span<const double> variances,
            std::span<const double> floors);
    // Reads what text() wrote. Throws Failure.
    static Mixture parse(std::string_view text);

    std::string text() const;

    // The lines of the parameters alone, for a text of several mixtures of one kind.
    std::string parameters() const;
    static Mixture read_parameters(FieldReader& reader, const FeatureKind& kind);

    const FeatureKind& kind() const { return kind_; }
    std::int32_t width() const { return kind_.width; }
    std::int32_t components() const { return static_cast<std::int32_t>(weights_.size()); }

    // Component j in the scoring functions' terms.
    const double* mean(std::int32_t j) const { return means_[j]; }
    const double* inverse_variance(std::int32_t j) const { return inverse_variances_[j]; }
    double constant(std::int32_t j) const { return constants_[static_cast<std::size_t>(j)]; }
    double weight(std::int32_t j) const { return weights_[static_cast<std::size_t>(j)]; }

    // ln p(row)
    double log_likelihood(const double* row) const;

    // Re-estimates every parameter from statistics that were gathered under this mixture. Their log likelihood is
    // that of the mixture as it was; that of the new one, on the same rows, is not below it.
    void update(const Statistics& statistics);
    // No variance falls below share times those of the only component, from now on.
    void set_floors(double share);
    // The heaviest components become two each, until there are so many, at most twice as many as there are.
    void split(std::int32_t components);

  private:
    Mixture(const FeatureKind& kind, std::int32_t components);
    void make_tables();

    FeatureKind kind_;
    std::vector<double> floors_;  // of the variances
    std::vector<double> weights_;
    DoubleRows means_, variances_;

    // From these: reciprocals, and ln weight - (width ln 2 pi + sum of ln variance) / 2.
    DoubleRows inverse_variances_;
    std::vector<double> constants_;
};

}  // namespace zelsr::examples
