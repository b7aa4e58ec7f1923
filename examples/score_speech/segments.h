// Finds the stretches of speech in a file by two Gaussians trained on the file itself.
#pragma once

#include <cstdint>
#include <vector>

#include "score_speech/features.h"

namespace zelsr::examples {

// What a change between speech and pause costs, in units of the log score. The bands of a frame are not
// independent, so that scores differ by hundreds: this bridges the silence before a plosive and drops clicks.
constexpr double kDefaultSwitchPenalty = 400;

struct Segment {
    std::int64_t first, end;  // frames, end not included
    double mean_difference;   // speech score less pause score, over its frames
};

struct Scoring {
    std::vector<float> speech, pause;  // log scores, one a frame
    std::vector<Segment> segments;
    int rounds = 0;               // of training
    double level_difference = 0;  // dB, between the two models
    bool told_apart = false;      // if not, there are no segments
};

Scoring score(const FeatureRows& features, double switch_penalty);

}  // namespace zelsr::examples
