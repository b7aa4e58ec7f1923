// From labelled features to a model of words.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "common/mfcc.h"
#include "recognise/model.h"

namespace zelsr::examples {

// One spoken word, with some silence before and behind it.
struct Example {
    std::string word;
    FeatureMatrix<float> features;
};

Example copy_of(const Example& example);

struct TrainingOptions {
    int components = 4;         // of a state's mixture, as far as its frames go
    int most_rounds = 8;        // of alignment and re-estimation, at each number of components
    double gain = 0.05;         // a round that adds less to the log likelihood a frame is the last one
    double frames_a_state = 5;  // a word gets as many states as its mean length holds such parts,
    int fewest_states = 4, most_states = 16;  // within these bounds
    int silence_states = 3;
    double floor_share = 0.05;  // least variances, as a part of those of all frames
    Normalisation normalisation = Normalisation::Mean;
    int level_column = -1;  // a column that grows with the sound's level; -1: that of the kind, if it is
                            // known, else every word is taken to have 0.1 s of silence at both ends
    double word_penalty = -20;
    int threads = 0;  // 0: as many as there are processors. The model is the same to the last bit.
    std::function<void(double)> progress;  // called with the part that is done, from 0 to 1
};

// Throws Failure: no examples, a width that is not the kind's, a word all of whose examples are shorter than its
// states.
Model train(const FeatureKind& kind, std::span<const Example> examples, const TrainingOptions& options);

}  // namespace zelsr::examples
