#include "score_speech/comparison.h"

#include <algorithm>
#include <chrono>
#include <limits>

#include "common/text.h"

namespace zelsr::examples {
namespace {

// The fastest of some passes over all frames: what else the machine does makes a pass slower, never faster.
template <class Pass>
double seconds_of(Pass pass)
{
    using Clock = std::chrono::steady_clock;
    constexpr int kFewestPasses = 5;
    constexpr double kLongEnough = 0.01;
    double fastest = std::numeric_limits<double>::max(), all = 0;
    for (int passes = 0; passes < kFewestPasses || all < kLongEnough; ++passes) {
        const auto start = Clock::now();
        pass();
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        fastest = std::min(fastest, seconds);
        all += seconds;
    }
    return fastest;
}

double frames_alike(const Scoring& scoring, const std::vector<float>& pause, const std::vector<float>& speech)
{
    std::size_t alike = 0;
    for (std::size_t i = 0; i < pause.size(); ++i)
        alike += (speech[i] > pause[i]) == (scoring.speech[i] > scoring.pause[i]);
    return static_cast<double>(alike) / static_cast<double>(pause.size());
}

std::size_t segments_alike(const std::vector<Segment>& ours, const std::vector<Segment>& theirs)
{
    return static_cast<std::size_t>(std::count_if(ours.begin(), ours.end(), [&](const Segment& one) {
        return std::any_of(theirs.begin(), theirs.end(),
                           [&](const Segment& other) { return one.first == other.first && one.end == other.end; });
    }));
}

FixedResult result_of(Arithmetic arithmetic, const FeatureRows& features, const Scoring& scoring,
                      double switch_penalty)
{
    const Models& models = *scoring.models;
    const FixedFormat format = format_for(arithmetic, features, models.pause, models.speech);
    const FixedRows rows(features, format);
    const FixedMixture pause_model(models.pause, format), speech_model(models.speech, format);
    std::vector<float> pause(scoring.pause.size()), speech(scoring.speech.size());
    const double seconds = seconds_of([&] {
        pause_model.score(arithmetic, rows, pause);
        speech_model.score(arithmetic, rows, speech);
    });
    const std::vector<Segment> segments = segments_by(pause, speech, switch_penalty);
    return {arithmetic,
            format,
            frames_alike(scoring, pause, speech),
            segments_alike(scoring.segments, segments),
            std::max(scoring.segments.size(), segments.size()),
            seconds / static_cast<double>(rows.count())};
}

// Q and the bits behind the binary point.
std::string q_format(int bits) { return std::string(1, 'Q').append(std::to_string(bits)); }

std::string microseconds(double seconds) { return padded(fixed(1e6 * seconds, 3) + " us", 15); }

}  // namespace

Comparison compare(const FeatureRows& features, const Scoring& scoring, double switch_penalty,
                   const std::vector<Arithmetic>& arithmetics)
{
    const Models& models = *scoring.models;
    std::vector<float> scores(scoring.pause.size());
    const double seconds = seconds_of([&] {
        models.pause.score(features, scores);
        models.speech.score(features, scores);
    });
    Comparison comparison{seconds / static_cast<double>(features.count()), {}};
    for (const Arithmetic arithmetic : arithmetics)
        comparison.results.push_back(result_of(arithmetic, features, scoring, switch_penalty));
    return comparison;
}

std::string table_of(const Comparison& comparison)
{
    std::string out =
        "  arithmetic   features   precisions   sf   frames alike   segments alike   time a frame\n"
        "  float" +
        padded("", 66) + microseconds(comparison.float_seconds_a_frame) + "\n";
    for (const FixedResult& result : comparison.results) {
        const std::string segments =
            std::to_string(result.segments_alike) + " of " + std::to_string(result.segments);
        out += "  " + padded(result.arithmetic == Arithmetic::kLow ? "low" : "plain", -10) +
               padded(q_format(result.format.feature_bits), 11) +
               padded(q_format(result.format.precision_bits), 13) +
               padded(std::to_string(result.format.scale_factor()), 5) +
               padded(fixed(100 * result.frames_alike, 2) + " %", 15) + padded(segments, 17) +
               microseconds(result.seconds_a_frame) + "\n";
    }
    return out;
}

}  // namespace zelsr::examples
