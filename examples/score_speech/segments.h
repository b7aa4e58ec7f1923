// Finds the stretches of speech in a file by two mixtures of Gaussians trained on the file itself.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "score_speech/features.h"
#include "score_speech/mixture.h"

namespace zelsr::examples {

// What a change between speech and pause costs, in units of the log score. The bands of a frame are not
// independent, so that scores differ by hundreds: this bridges the silence before a plosive and drops clicks.
constexpr double kDefaultSwitchPenalty = 400;

struct Segment {
    std::int64_t first, end;  // frames, end not included
    double mean_difference;   // speech score less pause score, over its frames
};

struct Models {
    BandMixture pause, speech;
};

struct Scoring {
    std::vector<float> speech, pause;  // log scores, one a frame
    std::vector<Segment> segments;
    int rounds = 0;                // of training
    double level_difference = 0;   // dB, between the two models
    bool told_apart = false;       // if not, there are no segments
    std::optional<Models> models;  // that gave the scores; none if there is but one level
};

// Two Gaussians first; where they tell speech from pauses, mixtures of `components` Gaussians grow out of them.
// Throws Failure if speech or pauses have too few frames for that.
Scoring score(const FeatureRows& features, double switch_penalty, int components);

// The segments along the best path through the scores.
std::vector<Segment> segments_by(const std::vector<float>& pause, const std::vector<float>& speech,
                                 double switch_penalty);

}  // namespace zelsr::examples
