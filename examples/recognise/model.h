// Words as left-to-right states, each of which is a mixture of Gaussians.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/feature_kind.h"
#include "common/mixture.h"
#include "recognise/normalise.h"

namespace zelsr::examples {

// States first to first + states - 1 of a model, passed from the first to the last, none left out.
struct Chain {
    std::int32_t first = 0, states = 0;
    std::int32_t last() const { return first + states - 1; }
};

struct Word {
    std::string name;
    Chain chain;
};

constexpr std::int32_t kMostStates = 1 << 16;

// What training makes and recognition needs. A path through it is silence that may be left out, a word (or words,
// with silence between them or none), and silence that may be left out.
struct Model {
    FeatureKind kind;
    Normalisation normalisation = Normalisation::None;
    Chain silence;
    std::vector<Word> words;      // by name
    std::vector<Mixture> states;  // those of silence and of all words
    // Logarithms of the probabilities to stay in a state for another frame and to leave it.
    std::vector<double> stay, leave;
    // Added for every word of a connected path: below zero, so that a word is not taken for several short ones.
    double word_penalty = 0;
    // What is recognised with less confidence is refused; without it nothing is.
    std::optional<double> threshold;

    std::int32_t state_count() const { return static_cast<std::int32_t>(states.size()); }
    std::int32_t components() const;  // of the richest state

    std::string text() const;
    // Reads what text() wrote; the last line holds a hash of what stands before it. Throws Failure with the line.
    static Model parse(std::string_view text);
    // Whether a text begins as those of such models do.
    static bool begins(std::string_view text);
};

}  // namespace zelsr::examples
