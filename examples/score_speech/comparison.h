// What 16 bits change: the same models scored in floating point and in fixed point.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "score_speech/features.h"
#include "score_speech/fixed_point.h"
#include "score_speech/segments.h"

namespace zelsr::examples {

struct FixedResult {
    Arithmetic arithmetic;
    FixedFormat format;
    double frames_alike;                   // part of the frames that score higher under the same model as in float
    std::size_t segments_alike, segments;  // that begin and end at the same frames, of those of the longer list
    double seconds_a_frame;                // to score it under both models
};

struct Comparison {
    double float_seconds_a_frame;
    std::vector<FixedResult> results;
};

// scoring has models.
Comparison compare(const FeatureRows& features, const Scoring& scoring, double switch_penalty,
                   const std::vector<Arithmetic>& arithmetics);

std::string table_of(const Comparison& comparison);

}  // namespace zelsr::examples
