#include "recognise/scorer.h"

#include <zelsr.h>

#include <algorithm>

#include "recognise/component_blocks.h"
#include "recognise/fixed_scorer.h"
#include "recognise/selecting_scorer.h"

namespace zelsr::examples {

void ScoreMatrix::resize(std::int32_t frames, std::int32_t states)
{
    frames_ = frames;
    states_ = states;
    step_ = row_step<float>(states);
    const std::int64_t size = static_cast<std::int64_t>(frames) * step_;
    if (size <= capacity_) return;
    data_ = aligned_floats(size);
    capacity_ = size;
}

const std::vector<std::string>& scorer_names()
{
    static const std::vector<std::string> names = {"float", "16bit", "16bit-low", "selection"};
    return names;
}

std::int32_t most_components(std::span<const Mixture* const> states)
{
    std::int32_t most = 0;
    for (const Mixture* state : states) most = std::max(most, state->components());
    return most;
}

std::vector<const Mixture*> pointers_to(std::span<const Mixture> states)
{
    std::vector<const Mixture*> pointers;
    for (const Mixture& state : states) pointers.push_back(&state);
    return pointers;
}

FloatScorer::FloatScorer(std::span<const Mixture* const> states)
    : blocks_(static_cast<std::int32_t>(states.size()), most_components(states), states[0]->width())
{
    for (std::int32_t s = 0; s < blocks_.states; ++s) {
        const Mixture& mixture = *states[static_cast<std::size_t>(s)];
        for (std::int32_t c = 0; c < mixture.components(); ++c) {
            std::copy_n(mixture.mean(c), blocks_.width, blocks_.mean(s, c));
            std::copy_n(mixture.inverse_variance(c), blocks_.width, blocks_.precision(s, c));
            blocks_.constant(s, c) = static_cast<float>(mixture.constant(c));
        }
    }
}

void FloatScorer::score(const FeatureMatrix<float>& features, ScoreMatrix& scores) const
{
    scores.resize(features.rows(), blocks_.states);
    const AlignedFloats frame = blocks_.empty_frame();
    for (std::int32_t t = 0; t < features.rows(); ++t) {
        std::copy_n(features.row(t), blocks_.width, frame.get());
        blocks_.score(frame.get(), scores[t], zelsLogGaussMultiMix_32f_D2, zelsLogGaussAddMultiMix_32f_D2,
                      "zelsLogGaussAddMultiMix_32f_D2");
    }
}

std::unique_ptr<Scorer> make_scorer(ScorerKind kind, const Model& model)
{
    switch (kind) {
        case ScorerKind::Float:
            return std::make_unique<FloatScorer>(pointers_to(model.states));
        case ScorerKind::Fixed:
            return std::make_unique<FixedScorer>(Arithmetic::kPlain, model);
        case ScorerKind::FixedLow:
            return std::make_unique<FixedScorer>(Arithmetic::kLow, model);
        case ScorerKind::Selecting:
            return std::make_unique<SelectingScorer>(model);
    }
    return nullptr;
}

}  // namespace zelsr::examples
