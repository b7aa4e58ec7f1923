#include "score_speech/segments.h"

#include <zelsr.h>

#include <algorithm>
#include <array>
#include <numbers>
#include <numeric>
#include <string>
#include <utility>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

using Labels = std::vector<std::uint8_t>;
enum : std::uint8_t { kPause = 0, kSpeech = 1, kUnsure = 2 };

constexpr int kMostRounds = 12;
constexpr std::int64_t kFewestFramesAComponent = 8;
constexpr double kSpeechBegins = 0.3;
constexpr double kLeastLevelDifference = 6;  // dB; two halves of steady noise are nearer than that
constexpr double kDecibelANeper = 20 * std::numbers::log10e;

std::vector<float> levels_of(const FeatureRows& features)
{
    constexpr int32_t kFastSum = 1;
    std::vector<float> levels(static_cast<std::size_t>(features.count()));
    for (std::int64_t r = 0; r < features.count(); ++r) {
        float sum = 0;
        require(zelsSum_32f(features.row(r), kBands, &sum, kFastSum), "zelsSum_32f");
        levels[static_cast<std::size_t>(r)] = sum / kBands;
    }
    return levels;
}

// The first guess. The sorted levels are cut where both parts vary least within themselves, which is the largest
// n1 n2 (mean1 - mean2)^2; speech begins a part of the way up from the quiet part's mean to the loud part's, so
// that weak consonants do not start out among the pauses.
Labels split_by_level(const std::vector<float>& levels)
{
    std::vector<float> sorted = levels;
    std::sort(sorted.begin(), sorted.end());
    const double all = std::accumulate(sorted.begin(), sorted.end(), 0.0);
    const auto count = static_cast<double>(sorted.size());

    double best = 0, below = 0, threshold = sorted.back();
    for (std::size_t i = 1; i < sorted.size(); ++i) {
        below += sorted[i - 1];
        const auto quiet = static_cast<double>(i);
        const double quiet_mean = below / quiet, loud_mean = (all - below) / (count - quiet);
        const double gain = quiet * (count - quiet) * (loud_mean - quiet_mean) * (loud_mean - quiet_mean);
        if (gain <= best) continue;
        best = gain;
        threshold = quiet_mean + kSpeechBegins * (loud_mean - quiet_mean);
    }
    Labels labels(levels.size());
    for (std::size_t i = 0; i < levels.size(); ++i) labels[i] = levels[i] > threshold ? kSpeech : kPause;
    return labels;
}

bool enough_for(int components, const Labels& labels)
{
    const std::int64_t needed = kFewestFramesAComponent * components;
    return std::count(labels.begin(), labels.end(), kPause) >= needed &&
           std::count(labels.begin(), labels.end(), kSpeech) >= needed;
}

// The path with the largest sum of scores less the penalties of its switches (Viterbi, two states).
Labels best_path(const std::vector<float>& pause, const std::vector<float>& speech, double switch_penalty)
{
    const std::size_t count = pause.size();
    std::vector<std::array<std::uint8_t, 2>> came_from(count);
    std::array<double, 2> total{};
    for (std::size_t i = 0; i < count; ++i) {
        const std::array<double, 2> before = total;
        const std::array<float, 2> here{pause[i], speech[i]};
        for (std::uint8_t state : {kPause, kSpeech}) {
            const auto other = static_cast<std::uint8_t>(1 - state);
            const bool switches = before[other] - switch_penalty > before[state];
            came_from[i][state] = switches ? other : state;
            total[state] = (switches ? before[other] - switch_penalty : before[state]) + here[state];
        }
    }
    Labels labels(count);
    std::uint8_t state = total[kSpeech] > total[kPause] ? kSpeech : kPause;
    for (std::size_t i = count; i-- > 0;) {
        labels[i] = state;
        state = came_from[i][state];
    }
    return labels;
}

std::vector<Segment> segments_of(const Labels& labels, const std::vector<float>& pause,
                                 const std::vector<float>& speech)
{
    std::vector<Segment> segments;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        if (labels[i] == kPause) continue;
        const auto frame = static_cast<std::int64_t>(i);
        if (i == 0 || labels[i - 1] == kPause) segments.push_back({frame, frame, 0});
        segments.back().end = frame + 1;
        segments.back().mean_difference += static_cast<double>(speech[i]) - pause[i];
    }
    for (Segment& segment : segments) segment.mean_difference /= static_cast<double>(segment.end - segment.first);
    return segments;
}

// The labels of the frames that score higher under the model of their own label. The path bridges the silence
// before a plosive: one Gaussian hardly feels that, but a mixture for speech would give the silence a component.
Labels sure_of(Labels labels, const Scoring& scoring)
{
    for (std::size_t i = 0; i < labels.size(); ++i)
        if ((labels[i] == kSpeech) != (scoring.speech[i] > scoring.pause[i])) labels[i] = kUnsure;
    return labels;
}

void score_with_models(const FeatureRows& features, Scoring& scoring)
{
    scoring.models->pause.score(features, scoring.pause);
    scoring.models->speech.score(features, scoring.speech);
    ++scoring.rounds;
}

// The largest difference in a band, in decibels.
double highest_above(const float* speech_mean, const float* pause_mean)
{
    float highest = speech_mean[0] - pause_mean[0];
    for (int b = 1; b < kBands; ++b) highest = std::max(highest, speech_mean[b] - pause_mean[b]);
    return highest * kDecibelANeper;
}

// Rounds of training one Gaussian a class and relabelling, until the labels stay.
void train_gaussians(const FeatureRows& features, double switch_penalty, const BandValues& variances,
                     Labels& labels, Scoring& scoring)
{
    for (bool settled = false; !settled && scoring.rounds < kMostRounds;) {
        scoring.models = Models{BandMixture(rows_labelled(features, labels, kPause), variances),
                                BandMixture(rows_labelled(features, labels, kSpeech), variances)};
        score_with_models(features, scoring);
        scoring.level_difference = highest_above(scoring.models->speech.mean(0), scoring.models->pause.mean(0));

        Labels path = best_path(scoring.pause, scoring.speech, switch_penalty);
        settled = path == labels || !enough_for(1, path);
        labels = std::move(path);
    }
    scoring.told_apart = scoring.level_difference >= kLeastLevelDifference;
}

void check_enough_for(int components, const Labels& labels)
{
    for (const auto& [label, name] : {std::pair{kPause, "pauses"}, std::pair{kSpeech, "speech"}}) {
        const std::int64_t frames = std::count(labels.begin(), labels.end(), label);
        if (frames >= kFewestFramesAComponent * components) continue;
        const std::int64_t allowed = std::max<std::int64_t>(frames / kFewestFramesAComponent, 1);
        throw Failure("too short for " + std::to_string(components) + " components: " + std::to_string(frames) +
                      " clear frames of " + name + " allow " + std::to_string(allowed));
    }
}

// Mixtures grow out of the Gaussians, in one round: relabelling by models this flexible does not settle, but hands
// more and more of the pauses to speech.
void train_mixtures(const FeatureRows& features, double switch_penalty, int components, Labels& labels,
                    Scoring& scoring)
{
    const Labels sure = sure_of(labels, scoring);
    check_enough_for(components, sure);
    scoring.models->pause.grow(rows_labelled(features, sure, kPause), components);
    scoring.models->speech.grow(rows_labelled(features, sure, kSpeech), components);
    score_with_models(features, scoring);
    labels = best_path(scoring.pause, scoring.speech, switch_penalty);
}

}  // namespace

Scoring score(const FeatureRows& features, double switch_penalty, int components)
{
    const RowList all = all_rows(features);
    const BandValues variances = variances_of(all);
    Labels labels = split_by_level(levels_of(features));
    Scoring scoring;
    scoring.speech.resize(labels.size());
    scoring.pause.resize(labels.size());

    if (!enough_for(1, labels)) {
        // Nothing to tell apart: one model for all.
        BandMixture(all, variances).score(features, scoring.pause);
        scoring.speech = scoring.pause;
        return scoring;
    }

    train_gaussians(features, switch_penalty, variances, labels, scoring);
    if (scoring.told_apart && components > 1)
        train_mixtures(features, switch_penalty, components, labels, scoring);
    if (scoring.told_apart) scoring.segments = segments_of(labels, scoring.pause, scoring.speech);
    return scoring;
}

std::vector<Segment> segments_by(const std::vector<float>& pause, const std::vector<float>& speech,
                                 double switch_penalty)
{
    return segments_of(best_path(pause, speech, switch_penalty), pause, speech);
}

}  // namespace zelsr::examples
