#include "recognise/fixed_scorer.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

// How far features lie beyond the means, in standard deviations of a column: what is further out counts as this
// far.
constexpr float kBeyondMeans = 4;
constexpr float kLargest = 1e30f;  // of means and reciprocal variances on the columns' scale

// Calls use(mixture, component, mean, precision) for every Gaussian of the model, with the last two in single
// precision on the columns' common scale.
template <class Use>
void for_gaussians(const Model& model, const std::vector<float>& centres, const std::vector<float>& factors,
                   Use use)
{
    const auto width = static_cast<std::int32_t>(centres.size());
    std::vector<float> mean(centres.size()), precision(centres.size());
    for (const Mixture& mixture : model.states)
        for (std::int32_t c = 0; c < mixture.components(); ++c) {
            std::copy_n(mixture.mean(c), width, mean.data());
            require(zelsNormalizeColumn_32f_D2(mean.data(), width, 1, centres.data(), factors.data(), width),
                    "zelsNormalizeColumn_32f_D2");
            for (std::size_t k = 0; k < precision.size(); ++k)
                precision[k] = static_cast<float>(mixture.inverse_variance(c)[k]) / (factors[k] * factors[k]);
            use(mixture, c, mean, precision);
        }
}

}  // namespace

FixedScorer::FixedScorer(Arithmetic arithmetic, const Model& model)
    : arithmetic_(arithmetic), blocks_(model.state_count(), model.components(), model.kind.width)
{
    const auto width = static_cast<std::size_t>(model.kind.width);
    std::vector<double> sums(width), squares(width);
    double count = 0;
    for (const Mixture& mixture : model.states)
        for (std::int32_t c = 0; c < mixture.components(); ++c) {
            count += 1;
            for (std::size_t k = 0; k < width; ++k) {
                const double mean = mixture.mean(c)[k];
                sums[k] += mean;
                squares[k] += mean * mean + 1 / mixture.inverse_variance(c)[k];
            }
        }
    double log_factors = 0;
    for (std::size_t k = 0; k < width; ++k) {
        const double centre = sums[k] / count;
        centres_.push_back(static_cast<float>(centre));
        factors_.push_back(static_cast<float>(1 / std::sqrt(squares[k] / count - centre * centre)));
        log_factors += std::log(factors_[k]);
    }

    Range values{0, 0}, precisions{0, 0};
    for_gaussians(model, centres_, factors_,
                  [&](const Mixture&, std::int32_t, const auto& mean, const auto& precision) {
                      values.widen(range_of(mean));
                      if (precisions.highest == 0) precisions = range_of(precision);
                      precisions.widen(range_of(precision));
                  });
    values.widen({values.lowest - kBeyondMeans, values.highest + kBeyondMeans});
    // A parameter out of all range leaves nothing of the others; of NaN, too, no comparison holds.
    const bool fits = precisions.lowest > 0 && precisions.highest < kLargest && values.lowest > -kLargest &&
                      values.highest < kLargest && std::isfinite(log_factors);
    if (!fits) throw Failure("the means and variances are too far apart for 16 bits");
    format_ = format_for(arithmetic, values, precisions, model.kind.width);

    std::vector<float> rounded(width);
    std::int32_t state = -1;
    for_gaussians(model, centres_, factors_,
                  [&](const Mixture& mixture, std::int32_t c, const auto& mean, const auto& precision) {
                      if (c == 0) ++state;
                      to_fixed(mean, format_, blocks_.mean(state, c));
                      precisions_to_fixed(precision, format_, blocks_.precision(state, c), rounded.data());
                      blocks_.constant(state, c) =
                          constant_of(mixture.weight(c), rounded) + static_cast<float>(log_factors);
                  });
}

void FixedScorer::score(const FeatureMatrix<float>& features, ScoreMatrix& scores) const
{
    scores.resize(features.rows(), blocks_.states);
    FeatureMatrix<float> scaled(blocks_.width);
    scaled.append({features.row(0), features.rows(), features.step()});
    require(zelsNormalizeColumn_32f_D2(scaled.row(0), scaled.step(), scaled.rows(), centres_.data(),
                                       factors_.data(), blocks_.width),
            "zelsNormalizeColumn_32f_D2");
    const AlignedShorts frame = blocks_.empty_frame();
    const int scale_factor = format_.scale_factor();
    const auto score_rows = [&](auto first, auto more, const char* name) {
        for (std::int32_t t = 0; t < features.rows(); ++t) {
            to_fixed({scaled.row(t), static_cast<std::size_t>(blocks_.width)}, format_, frame.get());
            blocks_.score(
                frame.get(), scores[t], [&](auto... arguments) { return first(arguments..., scale_factor); },
                [&](auto... arguments) { return more(arguments..., scale_factor); }, name);
        }
    };
    if (arithmetic_ == Arithmetic::kPlain)
        score_rows(zelsLogGaussMultiMix_Scaled_16s32f_D2, zelsLogGaussAddMultiMix_Scaled_16s32f_D2,
                   "zelsLogGaussAddMultiMix_Scaled_16s32f_D2");
    else
        score_rows(zelsLogGaussMultiMix_LowScaled_16s32f_D2, zelsLogGaussAddMultiMix_LowScaled_16s32f_D2,
                   "zelsLogGaussAddMultiMix_LowScaled_16s32f_D2");
}

}  // namespace zelsr::examples
