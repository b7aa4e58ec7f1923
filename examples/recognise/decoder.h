// The best paths through words of states, by the scores of frames under the states.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "recognise/model.h"
#include "recognise/scorer.h"

namespace zelsr::examples {

constexpr std::int32_t kSilence = -1;

// The frames from first up to end in one word (by its place in the model's list), or in kSilence.
struct Segment {
    std::int32_t word = kSilence, first = 0, end = 0;
};

// The best path of one sequence of words.
struct Path {
    std::vector<std::int32_t> words;
    double score = 0;  // log likelihoods of the frames, transitions and penalties
    std::vector<Segment> segments;
    std::vector<std::int32_t> states;  // of every frame, as the model counts them
    std::vector<float> frame_scores;   // of every frame, under its state
};

struct DecodingOptions {
    bool connected = false;  // one word or more, else one
    int hypotheses = 1;      // paths of different sequences of words
};

// What the decoder needs of a model: its states' order and transitions.
struct Network {
    Chain silence;
    std::vector<Chain> words;
    std::vector<float> stay, leave;
    double word_penalty = 0;  // on connected paths

    explicit Network(const Model& model);
    Network() = default;
};

// The best paths, best first; of equal scores the one whose words stand earlier in the list. None if the frames
// are fewer than the shortest word has states, or if no path has a finite score.
std::vector<Path> decode(const Network& network, const ScoreMatrix& scores, const DecodingOptions& options);

// The best way through chains in the given order, for the frames from first up to end: appends every frame's
// state. All chains are passed; with optional_ends the first and the last may be left out. Returns the score;
// minus infinity, with nothing appended, if there are too few frames.
double align(const Network& network, std::span<const Chain> chains, bool optional_ends, const ScoreMatrix& scores,
             std::int32_t first, std::int32_t end, std::vector<std::int32_t>& states);

}  // namespace zelsr::examples
