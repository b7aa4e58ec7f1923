#include "score_speech/segments.h"

#include <zelsr.h>

#include <algorithm>
#include <array>
#include <numbers>
#include <numeric>

#include "common/failure.h"
#include "score_speech/gaussian.h"

namespace zelsr::examples {
namespace {

using Labels = std::vector<std::uint8_t>;
enum : std::uint8_t { kPause = 0, kSpeech = 1 };

constexpr int kMostRounds = 12;
constexpr std::int64_t kFewestFramesAClass = 8;
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

bool both_present(const Labels& labels)
{
    const std::int64_t speech = std::count(labels.begin(), labels.end(), kSpeech);
    return std::min(speech, static_cast<std::int64_t>(labels.size()) - speech) >= kFewestFramesAClass;
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

std::vector<Segment> segments_of(const Labels& labels, const Scoring& scoring)
{
    std::vector<Segment> segments;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        if (labels[i] == kPause) continue;
        const auto frame = static_cast<std::int64_t>(i);
        if (i == 0 || labels[i - 1] == kPause) segments.push_back({frame, frame, 0});
        segments.back().end = frame + 1;
        segments.back().mean_difference += static_cast<double>(scoring.speech[i]) - scoring.pause[i];
    }
    for (Segment& segment : segments) segment.mean_difference /= static_cast<double>(segment.end - segment.first);
    return segments;
}

}  // namespace

Scoring score(const FeatureRows& features, double switch_penalty)
{
    const BandValues variances = variances_of(features);
    Labels labels = split_by_level(levels_of(features));
    Scoring scoring;
    scoring.speech.resize(labels.size());
    scoring.pause.resize(labels.size());

    if (!both_present(labels)) {
        // Nothing to tell apart: one model for all.
        std::fill(labels.begin(), labels.end(), kPause);
        Gaussian(features, labels, kPause, variances).score(features, scoring.pause);
        scoring.speech = scoring.pause;
        return scoring;
    }

    for (bool settled = false; !settled && scoring.rounds < kMostRounds;) {
        const Gaussian pause(features, labels, kPause, variances);
        const Gaussian speech(features, labels, kSpeech, variances);
        pause.score(features, scoring.pause);
        speech.score(features, scoring.speech);
        scoring.level_difference = speech.highest_above(pause) * kDecibelANeper;
        ++scoring.rounds;

        Labels path = best_path(scoring.pause, scoring.speech, switch_penalty);
        settled = path == labels || !both_present(path);
        labels = std::move(path);
    }
    scoring.told_apart = scoring.level_difference >= kLeastLevelDifference;
    if (scoring.told_apart) scoring.segments = segments_of(labels, scoring);
    return scoring;
}

}  // namespace zelsr::examples
