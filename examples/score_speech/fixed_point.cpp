#include "score_speech/fixed_point.h"

#include <zelsr.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr int32_t kNearest = 1;
constexpr double kLargest = std::numeric_limits<std::int16_t>::max();

// Low arithmetic takes squares apart into 65536 H + 2 L with L up to 32767, and each of its four 32-bit lanes adds
// up L p of two elements in every eight. That sum must stay below 2^31.
constexpr double kLargestLowPrecision = 0x7fffffff / 32767.0 / (2 * ((kBands + 7) / 8));
// Its shifts hold for scale factors up to this.
constexpr int kMostLowScale = 15;
// What the smallest reciprocal variance becomes, at least: it is then within an eighth of its value.
constexpr double kLeastLowPrecision = 4;

struct Range {
    float lowest, highest;
};

Range range_of(const float* row)
{
    Range range{};
    require(zelsMinMax_32f(row, kBands, &range.lowest, &range.highest), "zelsMinMax_32f");
    return range;
}

void widen(Range& range, Range other)
{
    range = {std::min(range.lowest, other.lowest), std::max(range.highest, other.highest)};
}

// Of features and means: the mean of a component that no frame has drawn yet may lie outside the features.
Range values_of(const FeatureRows& features, const Mixture& pause, const Mixture& speech)
{
    Range range = range_of(features.row(0));
    for (std::int64_t r = 1; r < features.count(); ++r) widen(range, range_of(features.row(r)));
    for (const Mixture* mixture : {&pause, &speech})
        for (int j = 0; j < mixture->components(); ++j) widen(range, range_of(mixture->mean(j)));
    return range;
}

Range precisions_of(const Mixture& pause, const Mixture& speech)
{
    Range range = range_of(pause.inverse_variance(0));
    for (const Mixture* mixture : {&pause, &speech})
        for (int j = 0; j < mixture->components(); ++j) widen(range, range_of(mixture->inverse_variance(j)));
    return range;
}

// The most bits behind the point with which value does not pass limit.
int bits_within(double value, double limit) { return static_cast<int>(std::floor(std::log2(limit / value))); }

void to_fixed(const float* row, float centre, int bits, std::int16_t* fixed)
{
    std::array<float, kBands> centred;
    require(zelsAddC_32f(row, -centre, centred.data(), kBands), "zelsAddC_32f");
    require(zelsConvert_32f16s_Sfs(centred.data(), fixed, kBands, kNearest, -bits), "zelsConvert_32f16s_Sfs");
}

}  // namespace

// The width of the range bounds every difference: none saturates.
FixedFormat format_for(Arithmetic arithmetic, const FeatureRows& features, const Mixture& pause,
                       const Mixture& speech)
{
    const Range range = values_of(features, pause, speech), precisions = precisions_of(pause, speech);
    FixedFormat format{(range.lowest + range.highest) / 2, bits_within(range.highest - range.lowest, kLargest),
                       bits_within(precisions.highest, kLargest)};
    if (arithmetic == Arithmetic::kLow) {
        const int least = static_cast<int>(std::ceil(std::log2(kLeastLowPrecision / precisions.lowest)));
        format.precision_bits = std::min(least, bits_within(precisions.highest, kLargestLowPrecision));
        format.feature_bits = std::min(format.feature_bits, (kMostLowScale - format.precision_bits) / 2);
    }
    return format;
}

FixedRows::FixedRows(const FeatureRows& features, const FixedFormat& format)
    : count_(features.count()), rows_(aligned_shorts(count_ * kFixedRowStep))
{
    for (std::int64_t r = 0; r < count_; ++r)
        to_fixed(features.row(r), format.centre, format.feature_bits, rows_.get() + r * kFixedRowStep);
}

FixedMixture::FixedMixture(const Mixture& mixture, const FixedFormat& format)
    : components_(mixture.components()),
      scale_factor_(format.scale_factor()),
      means_(aligned_shorts(components_ * kFixedRowStep)),
      inverse_variances_(aligned_shorts(components_ * kFixedRowStep))
{
    for (int j = 0; j < components_; ++j) {
        std::int16_t* precisions = inverse_variances_.get() + j * kFixedRowStep;
        to_fixed(mixture.mean(j), format.centre, format.feature_bits, means_.get() + j * kFixedRowStep);
        to_fixed(mixture.inverse_variance(j), 0, format.precision_bits, precisions);
        // The constant belongs to the variances as they are now, so that the component is still a density.
        std::array<float, kBands> rounded;
        for (int b = 0; b < kBands; ++b) precisions[b] = std::max<std::int16_t>(precisions[b], 1);
        require(zelsConvert_16s32f_Sfs(precisions, rounded.data(), kBands, format.precision_bits),
                "zelsConvert_16s32f_Sfs");
        constants_.push_back(constant_of(mixture.weight(j), rounded.data()));
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
