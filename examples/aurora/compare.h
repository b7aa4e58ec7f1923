// A word recogniser's accuracy in noise with the front-end's features beside plain cepstra's.
#pragma once

#include <string>
#include <vector>

#include "common/noise.h"
#include "recognise/normalise.h"

namespace zelsr::examples {

struct Comparison {
    std::string folder;  // as examples/recognise/make_words leaves it: train and test, a folder a word
    std::vector<NoiseKind> noises = {NoiseKind::White, NoiseKind::Pink, NoiseKind::Babble};
    std::vector<double> ratios = {20, 10, 5, 0};  // of speech to noise, in dB
    Normalisation normalisation = Normalisation::Mean;
    int threads = 0;
};

// Trains on the clean words of FOLDER/train, a model for each kind of features, with the same options; prints the
// part of the words of FOLDER/test that each recognises, clean and under noise that no training has seen.
void compare(const Comparison& comparison);

}  // namespace zelsr::examples
