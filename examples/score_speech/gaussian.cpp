#include "score_speech/gaussian.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr double kLeastPart = 0.05;      // of the file's variance in the band
constexpr double kLeastVariance = 0.01;  // nepers squared; the bands of steady noise have some 0.1

struct Moments {
    BandValues mean{}, variance{};
};

// Two passes: the differences from the mean are small beside the mean.
template <class Wanted>
Moments moments_of(const FeatureRows& features, Wanted wanted)
{
    Moments moments;
    std::int64_t count = 0;
    for (std::int64_t r = 0; r < features.count(); ++r) {
        if (!wanted(r)) continue;
        ++count;
        for (std::size_t b = 0; b < kBands; ++b) moments.mean[b] += features.row(r)[b];
    }
    for (double& mean : moments.mean) mean /= static_cast<double>(count);
    for (std::int64_t r = 0; r < features.count(); ++r) {
        if (!wanted(r)) continue;
        for (std::size_t b = 0; b < kBands; ++b) {
            const double difference = features.row(r)[b] - moments.mean[b];
            moments.variance[b] += difference * difference;
        }
    }
    for (double& variance : moments.variance) variance /= static_cast<double>(count);
    return moments;
}

}  // namespace

BandValues variances_of(const FeatureRows& features)
{
    return moments_of(features, [](std::int64_t) { return true; }).variance;
}

Gaussian::Gaussian(const FeatureRows& features, std::span<const std::uint8_t> labels, std::uint8_t wanted,
                   const BandValues& file_variances)
    : mean_(aligned_floats(kRowStep)), inverse_variance_(aligned_floats(kRowStep))
{
    const Moments moments =
        moments_of(features, [&](std::int64_t r) { return labels[static_cast<std::size_t>(r)] == wanted; });
    for (std::size_t b = 0; b < kBands; ++b) {
        const double least = std::max(kLeastVariance, kLeastPart * file_variances[b]);
        mean_[b] = static_cast<float>(moments.mean[b]);
        inverse_variance_[b] = static_cast<float>(1 / std::max(moments.variance[b], least));
    }
    float log_precision = 0;  // -sum of ln variances
    require(zelsSumLn_32f(inverse_variance_.get(), kBands, &log_precision), "zelsSumLn_32f");
    constant_ = 0.5f * (log_precision - kBands * std::log(2 * std::numbers::pi_v<float>));
}

void Gaussian::score(const FeatureRows& features, std::span<float> scores) const
{
    float* next = scores.data();
    for (const FeatureRows::Block& block : features.blocks()) {
        require(zelsLogGauss_32f_D2(block.first, kRowStep, mean_.get(), inverse_variance_.get(), kBands, next,
                                    block.rows, constant_),
                "zelsLogGauss_32f_D2");
        next += block.rows;
    }
}

double Gaussian::highest_above(const Gaussian& other) const
{
    float highest = mean_[0] - other.mean_[0];
    for (int b = 1; b < kBands; ++b) highest = std::max(highest, mean_[b] - other.mean_[b]);
    return highest;
}

}  // namespace zelsr::examples
