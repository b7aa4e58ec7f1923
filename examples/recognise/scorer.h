// The log likelihoods of frames under all states of a model, in one of several arithmetics.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/aligned.h"
#include "common/mfcc.h"
#include "recognise/model.h"

namespace zelsr::examples {

// A row a frame, a column a state.
class ScoreMatrix {
  public:
    ScoreMatrix() = default;
    ScoreMatrix(std::int32_t frames, std::int32_t states) { resize(frames, states); }
    void resize(std::int32_t frames, std::int32_t states);

    std::int32_t frames() const { return frames_; }
    std::int32_t states() const { return states_; }
    float* operator[](std::int32_t frame) { return data_.get() + static_cast<std::ptrdiff_t>(frame) * step_; }
    const float* operator[](std::int32_t frame) const
    {
        return data_.get() + static_cast<std::ptrdiff_t>(frame) * step_;
    }

  private:
    std::int32_t frames_ = 0, states_ = 0, step_ = 0;
    std::int64_t capacity_ = 0;
    AlignedFloats data_;
};

enum class ScorerKind { Float, Fixed, FixedLow, Selecting };

// As the command line and tables call them: "float", "16bit", "16bit-low", "selection".
const std::vector<std::string>& scorer_names();

class Scorer {
  public:
    virtual ~Scorer() = default;
    // features: normalised as the model asks for. scores gets their size.
    virtual void score(const FeatureMatrix<float>& features, ScoreMatrix& scores) const = 0;
};

// Keeps what it needs of the model.
std::unique_ptr<Scorer> make_scorer(ScorerKind kind, const Model& model);

}  // namespace zelsr::examples
