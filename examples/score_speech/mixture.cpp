#include "score_speech/mixture.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>

#include "common/failure.h"
#include "common/fixed_point.h"

namespace zelsr::examples {
namespace {

constexpr double kLeastPart = 0.05;      // of the file's variance in the band
constexpr double kLeastVariance = 0.01;  // nepers squared; the bands of steady noise have some 0.1

constexpr double kSplit = 0.5;       // how far the halves of a component move apart, each, in standard deviations
constexpr int kMostSteps = 10;       // of re-estimation in a row
constexpr double kLeastGain = 0.01;  // nepers a frame; a step that gains less is the last
constexpr float kLeastLogShare = -14;  // a component's smaller share of a frame, 1e-6, does not count
// Fewer frames than this tell no variances: the component keeps what it has. Its weight stays that of a frame.
constexpr double kFewestFrames = 4;

struct Moments {
    BandValues mean{}, variance{};
};

// Two passes: the differences from the mean are small beside the mean.
Moments moments_of(const RowList& rows)
{
    Moments moments;
    const auto count = static_cast<double>(rows.size());
    for (const float* row : rows)
        for (std::size_t b = 0; b < kBands; ++b) moments.mean[b] += row[b];
    for (double& mean : moments.mean) mean /= count;
    for (const float* row : rows) {
        for (std::size_t b = 0; b < kBands; ++b) {
            const double difference = row[b] - moments.mean[b];
            moments.variance[b] += difference * difference;
        }
    }
    for (double& variance : moments.variance) variance /= count;
    return moments;
}

// What one step of re-estimation gathers for a component. Differences from the old mean, so that one pass does.
struct Gathered {
    double frames = 0;
    BandValues difference{}, square{};

    void add(const float* row, double share, const BandValues& old_mean)
    {
        frames += share;
        for (std::size_t b = 0; b < kBands; ++b) {
            const double d = row[b] - old_mean[b];
            difference[b] += share * d;
            square[b] += share * d * d;
        }
    }
};

}  // namespace

RowList all_rows(const FeatureRows& features)
{
    RowList rows;
    for (std::int64_t r = 0; r < features.count(); ++r) rows.push_back(features.row(r));
    return rows;
}

RowList rows_labelled(const FeatureRows& features, std::span<const std::uint8_t> labels, std::uint8_t wanted)
{
    RowList rows;
    for (std::size_t r = 0; r < labels.size(); ++r)
        if (labels[r] == wanted) rows.push_back(features.row(static_cast<std::int64_t>(r)));
    return rows;
}

BandValues variances_of(const RowList& rows) { return moments_of(rows).variance; }

BandMixture::BandMixture(const RowList& rows, const BandValues& file_variances)
{
    const Moments moments = moments_of(rows);
    components_.push_back({1, moments.mean, moments.variance});
    for (std::size_t b = 0; b < kBands; ++b) {
        least_variances_[b] = std::max(kLeastVariance, kLeastPart * file_variances[b]);
        double& variance = components_[0].variance[b];
        variance = std::max(variance, least_variances_[b]);
    }
    make_tables();
}

void BandMixture::grow(const RowList& rows, int components)
{
    while (this->components() < components) {
        split_heaviest(components - this->components());
        refine(rows);
    }
}

void BandMixture::split_heaviest(int most)
{
    std::stable_sort(components_.begin(), components_.end(),
                     [](const Component& a, const Component& b) { return a.weight > b.weight; });
    for (std::size_t j = 0, count = std::min(components_.size(), static_cast<std::size_t>(most)); j < count; ++j) {
        components_[j].weight /= 2;
        Component other = components_[j];
        for (std::size_t b = 0; b < kBands; ++b) {
            const double shift = kSplit * std::sqrt(other.variance[b]);
            components_[j].mean[b] -= shift;
            other.mean[b] += shift;
        }
        components_.push_back(other);
    }
    make_tables();
}

void BandMixture::refine(const RowList& rows)
{
    double last = reestimate(rows);
    for (int step = 1; step < kMostSteps; ++step) {
        const double likelihood = reestimate(rows);
        if (likelihood - last < kLeastGain) break;
        last = likelihood;
    }
}

// One step of expectation and maximisation. Returns the mean log likelihood of a row under the mixture as it was.
double BandMixture::reestimate(const RowList& rows)
{
    constexpr std::size_t kRowsAtOnce = 256;
    constexpr int32_t kAccurate = 0;
    std::vector<Gathered> gathered(components_.size());
    std::vector<float> scores(components_.size() * kRowsAtOnce), totals(kRowsAtOnce);
    double likelihood = 0;
    for (std::size_t first = 0; first < rows.size(); first += kRowsAtOnce) {
        const auto count = static_cast<int32_t>(std::min(kRowsAtOnce, rows.size() - first));
        for (int j = 0; j < components(); ++j) {
            float* score = &scores[static_cast<std::size_t>(j) * kRowsAtOnce];
            require(zelsLogGauss_32f_D2L(&rows[first], mean(j), inverse_variance(j), kBands, score, count,
                                         constants_[static_cast<std::size_t>(j)]),
                    "zelsLogGauss_32f_D2L");
            if (j == 0)
                require(zelsCopy_32f(score, totals.data(), count), "zelsCopy_32f");
            else
                require(zelsLogAdd_32f(score, totals.data(), count, kAccurate), "zelsLogAdd_32f");
        }
        for (int32_t r = 0; r < count; ++r) likelihood += totals[static_cast<std::size_t>(r)];

        for (std::size_t j = 0; j < components_.size(); ++j) {
            float* log_share = &scores[j * kRowsAtOnce];
            require(zelsSub_32f_I(totals.data(), log_share, count), "zelsSub_32f_I");
            for (int32_t r = 0; r < count; ++r)
                if (log_share[r] > kLeastLogShare)
                    gathered[j].add(rows[first + static_cast<std::size_t>(r)], std::exp(log_share[r]),
                                    components_[j].mean);
        }
    }

    double frames = 0;
    for (std::size_t j = 0; j < components_.size(); ++j) {
        Component& component = components_[j];
        const Gathered& sums = gathered[j];
        component.weight = std::max(sums.frames, 1.0);
        frames += component.weight;
        if (sums.frames < kFewestFrames) continue;
        for (std::size_t b = 0; b < kBands; ++b) {
            const double shift = sums.difference[b] / sums.frames;
            component.mean[b] += shift;
            component.variance[b] = std::max(sums.square[b] / sums.frames - shift * shift, least_variances_[b]);
        }
    }
    for (Component& component : components_) component.weight /= frames;
    make_tables();
    return likelihood / static_cast<double>(rows.size());
}

void BandMixture::make_tables()
{
    means_ = aligned_floats(components() * kRowStep);
    inverse_variances_ = aligned_floats(components() * kRowStep);
    constants_.clear();
    for (int j = 0; j < components(); ++j) {
        const Component& component = components_[static_cast<std::size_t>(j)];
        for (std::size_t b = 0; b < kBands; ++b) {
            means_[static_cast<std::size_t>(j) * kRowStep + b] = static_cast<float>(component.mean[b]);
            inverse_variances_[static_cast<std::size_t>(j) * kRowStep + b] =
                static_cast<float>(1 / component.variance[b]);
        }
        constants_.push_back(constant_of(component.weight, {inverse_variance(j), kBands}));
    }
}

void BandMixture::score(const FeatureRows& features, std::span<float> scores) const
{
    float* next = scores.data();
    for (const FeatureRows::Block& block : features.blocks()) {
        if (components() == 1) {  // many frames in one call
            require(zelsLogGauss_32f_D2(block.first, kRowStep, mean(0), inverse_variance(0), kBands, next,
                                        block.rows, constants_[0]),
                    "zelsLogGauss_32f_D2");
            next += block.rows;
            continue;
        }
        for (std::int32_t r = 0; r < block.rows; ++r)
            require(zelsLogGaussMixture_32f_D2(block.first + r * kRowStep, means_.get(), inverse_variances_.get(),
                                               components(), kRowStep, kBands, constants_.data(), next++),
                    "zelsLogGaussMixture_32f_D2");
    }
}

}  // namespace zelsr::examples
