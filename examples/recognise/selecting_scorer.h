// A model's states with a choice of Gaussians for every frame.
#pragma once

#include <vector>

#include "common/aligned.h"
#include "recognise/codebook.h"
#include "recognise/scorer.h"

namespace zelsr::examples {

struct SelectionOptions {
    std::int32_t codewords = 64;  // of the codebook of all means
    double share = 0.3;           // of the Gaussians, that a codeword lists: those under which it is likeliest
};

// A frame is scored under the Gaussians that its codeword lists, and a state that has none among them gets a score
// of its own that is as low as a frame far from it would have. Distances are weighted by the columns' mean
// precisions.
class SelectingScorer : public Scorer {
  public:
    explicit SelectingScorer(const Model& model, const SelectionOptions& options = {});
    void score(const FeatureMatrix<float>& features, ScoreMatrix& scores) const override;

  private:
    struct State {
        std::int32_t first, components;  // among all Gaussians
        float fallback;
    };
    void make_lists(const std::vector<float>& weights, const SelectionOptions& options);

    std::int32_t width_, step_;
    std::vector<State> states_;
    // A row a Gaussian, state after state.
    AlignedFloats means_, precisions_;
    std::vector<float> constants_;
    Codebook book_;
    // A row a codeword, a bit a Gaussian.
    std::vector<std::uint8_t> bits_;
    std::vector<std::uint8_t*> rows_;
    std::int32_t row_bytes_ = 0;
};

}  // namespace zelsr::examples
