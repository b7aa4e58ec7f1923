#include "recognise/selecting_scorer.h"

#include <algorithm>
#include <cmath>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

// A frame that belongs to a Gaussian is at a squared distance of `width` from it, in standard deviations, on
// average. One for which it is not listed counts as this many times as far.
constexpr float kFallbackDistance = 4;

}  // namespace

SelectingScorer::SelectingScorer(const Model& model, const SelectionOptions& options)
    : width_(model.kind.width), step_(row_step<float>(width_))
{
    std::int32_t count = 0;
    for (const Mixture& mixture : model.states) {
        states_.push_back({count, mixture.components(), 0});
        count += mixture.components();
    }
    means_ = aligned_floats(static_cast<std::int64_t>(count) * step_);
    precisions_ = aligned_floats(static_cast<std::int64_t>(count) * step_);
    std::vector<float> weights(static_cast<std::size_t>(width_));
    for (std::size_t s = 0; s < states_.size(); ++s) {
        State& state = states_[s];
        const Mixture& mixture = model.states[s];
        for (std::int32_t c = 0; c < state.components; ++c) {
            const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(state.first + c) * step_;
            std::copy_n(mixture.mean(c), width_, means_.get() + row);
            std::copy_n(mixture.inverse_variance(c), width_, precisions_.get() + row);
            require(zelsAdd_32f_I(precisions_.get() + row, weights.data(), width_), "zelsAdd_32f_I");
            constants_.push_back(static_cast<float>(mixture.constant(c)));
        }
        const float highest = *std::max_element(constants_.end() - state.components, constants_.end());
        state.fallback = highest - 0.5f * kFallbackDistance * static_cast<float>(width_);
    }
    require(zelsMulC_32f_I(1 / static_cast<float>(count), weights.data(), width_), "zelsMulC_32f_I");
    make_lists(weights, options);
}

void SelectingScorer::make_lists(const std::vector<float>& weights, const SelectionOptions& options)
{
    const auto count = static_cast<std::int32_t>(constants_.size());
    ZelCdbkState_32f* book = nullptr;
    require(zelsCdbkInitAlloc_WgtL2_32f(&book, means_.get(), weights.data(), width_, step_, count,
                                        std::min(options.codewords, count), SrCdbkTreePopulation),
            "zelsCdbkInitAlloc_WgtL2_32f");
    book_.reset(book);
    std::int32_t codewords = 0;
    require(zelsGetCdbkSize_32f(book_.get(), &codewords), "zelsGetCdbkSize_32f");
    const AlignedFloats centres = aligned_floats(static_cast<std::int64_t>(codewords) * step_);
    require(zelsGetCodebook_32f(book_.get(), centres.get(), step_), "zelsGetCodebook_32f");

    row_bytes_ = (count + 7) / 8;
    bits_.assign(static_cast<std::size_t>(codewords) * static_cast<std::size_t>(row_bytes_), 0);
    for (std::int32_t w = 0; w < codewords; ++w)
        rows_.push_back(bits_.data() + static_cast<std::ptrdiff_t>(w) * row_bytes_);

    // Those under which the codeword is likeliest: a wide Gaussian further away may matter more than a narrow one.
    const auto listed =
        std::clamp(static_cast<std::int32_t>(std::lround(options.share * count)), std::int32_t{1}, count);
    std::vector<float> scores;
    std::vector<std::int32_t> indices, counts;
    for (std::int32_t w = 0; w < codewords; ++w) {
        scores = constants_;
        require(zelsLogGaussMultiMix_32f_D2(means_.get(), precisions_.get(), step_,
                                            centres.get() + static_cast<std::ptrdiff_t>(w) * step_, width_,
                                            scores.data(), count),
                "zelsLogGaussMultiMix_32f_D2");
        float least = 0;
        require(zelsNthMaxElement_32f(scores.data(), count, listed - 1, &least), "zelsNthMaxElement_32f");
        const std::size_t before = indices.size();
        for (std::int32_t j = 0; j < count; ++j)
            if (scores[static_cast<std::size_t>(j)] >= least) indices.push_back(j);
        counts.push_back(static_cast<std::int32_t>(indices.size() - before));
    }
    require(
        zelsFillShortlist_RowVar_1u(indices.data(), counts.data(), count, rows_.data(), codewords, row_bytes_, 0),
        "zelsFillShortlist_RowVar_1u");
}

void SelectingScorer::score(const FeatureMatrix<float>& features, ScoreMatrix& scores) const
{
    const std::int32_t frames = features.rows();
    scores.resize(frames, static_cast<std::int32_t>(states_.size()));
    std::vector<std::int32_t> codewords(static_cast<std::size_t>(frames));
    require(zelsVQ_32f(features.row(0), features.step(), codewords.data(), frames, book_.get()), "zelsVQ_32f");

    std::vector<std::uint8_t> table;
    std::vector<float> column(static_cast<std::size_t>(frames));
    for (std::size_t s = 0; s < states_.size(); ++s) {
        const State& state = states_[s];
        const auto offset = static_cast<std::ptrdiff_t>(state.first) * step_;
        table.resize(static_cast<std::size_t>(frames) * static_cast<std::size_t>((state.components + 7) / 8));
        require(zelsBuildSignTable_8u1u(codewords.data(), 1, rows_.data(), static_cast<std::int32_t>(rows_.size()),
                                        row_bytes_, state.first, table.data(), frames, state.components),
                "zelsBuildSignTable_8u1u");
        require(
            zelsLogGaussMixture_Select_32f_D2(features.row(0), means_.get() + offset, precisions_.get() + offset,
                                              step_, width_, constants_.data() + state.first, table.data(),
                                              state.components, column.data(), frames, state.fallback),
            "zelsLogGaussMixture_Select_32f_D2");
        for (std::int32_t t = 0; t < frames; ++t) scores[t][s] = column[static_cast<std::size_t>(t)];
    }
}

}  // namespace zelsr::examples
