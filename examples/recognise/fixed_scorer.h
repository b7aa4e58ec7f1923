// A model's states in 16 bits.
#pragma once

#include <vector>

#include "common/fixed_point.h"
#include "recognise/component_blocks.h"
#include "recognise/scorer.h"

namespace zelsr::examples {

// A model's columns have ranges of their own, some fifty times wider than others, and the library one format for
// all columns of a row. Therefore features and means are put on one scale first: less the mean of all means, over
// the standard deviation of what the model expects, column by column. Scores stay those of the features as they
// were.
class FixedScorer : public Scorer {
  public:
    FixedScorer(Arithmetic arithmetic, const Model& model);
    void score(const FeatureMatrix<float>& features, ScoreMatrix& scores) const override;

    const FixedFormat& format() const { return format_; }

  private:
    Arithmetic arithmetic_;
    std::vector<float> centres_, factors_;  // a column's: (value - centre) * factor
    FixedFormat format_{};
    ComponentBlocks<std::int16_t> blocks_;
};

}  // namespace zelsr::examples
