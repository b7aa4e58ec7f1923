#include "score_speech/fixed_point.h"

#include <zelsr.h>

#include <array>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

Range range_of_bands(const float* row) { return range_of({row, kBands}); }

// Of features and means: the mean of a component that no frame has drawn yet may lie outside the features.
Range values_of(const FeatureRows& features, const BandMixture& pause, const BandMixture& speech)
{
    Range range = range_of_bands(features.row(0));
    for (std::int64_t r = 1; r < features.count(); ++r) range.widen(range_of_bands(features.row(r)));
    for (const BandMixture* mixture : {&pause, &speech})
        for (int j = 0; j < mixture->components(); ++j) range.widen(range_of_bands(mixture->mean(j)));
    return range;
}

Range precisions_of(const BandMixture& pause, const BandMixture& speech)
{
    Range range = range_of_bands(pause.inverse_variance(0));
    for (const BandMixture* mixture : {&pause, &speech})
        for (int j = 0; j < mixture->components(); ++j) range.widen(range_of_bands(mixture->inverse_variance(j)));
    return range;
}

}  // namespace

FixedFormat format_for(Arithmetic arithmetic, const FeatureRows& features, const BandMixture& pause,
                       const BandMixture& speech)
{
    return format_for(arithmetic, values_of(features, pause, speech), precisions_of(pause, speech), kBands);
}

FixedRows::FixedRows(const FeatureRows& features, const FixedFormat& format)
    : count_(features.count()), rows_(aligned_shorts(count_ * kFixedRowStep))
{
    for (std::int64_t r = 0; r < count_; ++r)
        to_fixed({features.row(r), kBands}, format, rows_.get() + r * kFixedRowStep);
}

FixedMixture::FixedMixture(const BandMixture& mixture, const FixedFormat& format)
    : components_(mixture.components()),
      scale_factor_(format.scale_factor()),
      means_(aligned_shorts(components_ * kFixedRowStep)),
      inverse_variances_(aligned_shorts(components_ * kFixedRowStep))
{
    for (int j = 0; j < components_; ++j) {
        // The constant belongs to the variances as they are now, so that the component is still a density.
        std::array<float, kBands> rounded;
        to_fixed({mixture.mean(j), kBands}, format, means_.get() + j * kFixedRowStep);
        precisions_to_fixed({mixture.inverse_variance(j), kBands}, format,
                            inverse_variances_.get() + j * kFixedRowStep, rounded.data());
        constants_.push_back(constant_of(mixture.weight(j), rounded));
    }
}

void FixedMixture::score(Arithmetic arithmetic, const FixedRows& rows, std::span<float> scores) const
{
    const bool low = arithmetic == Arithmetic::kLow;
    const auto mixture_score =
        low ? zelsLogGaussMixture_LowScaled_16s32f_D2 : zelsLogGaussMixture_Scaled_16s32f_D2;
    const char* name = low ? "zelsLogGaussMixture_LowScaled_16s32f_D2" : "zelsLogGaussMixture_Scaled_16s32f_D2";
    for (std::int64_t r = 0; r < rows.count(); ++r)
        require(mixture_score(rows.row(r), means_.get(), inverse_variances_.get(), components_, kFixedRowStep,
                              kBands, constants_.data(), &scores[static_cast<std::size_t>(r)], scale_factor_),
                name);
}

}  // namespace zelsr::examples
