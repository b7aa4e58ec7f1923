// When to say "not recognised".
#pragma once

#include <span>
#include <vector>

#include "recognise/evaluation.h"
#include "recognise/material.h"

namespace zelsr::examples {

// The confidence that all but `refused`, a part from 0 to 1, of the confidences reach.
double threshold_of(std::span<const double> confidences, double refused);

// What became of recordings that were held back from training.
struct HeldOut {
    std::vector<double> confidences;  // of words that came out right
    Tally words;
};

// Trains on all speakers but every folds-th one and recognises these, in folds turns: what is held back is as
// strange to the model as a stranger's words will be. With one speaker alone, every folds-th recording.
HeldOut cross_validate(const FeatureKind& kind, const Material& material, const TrainingOptions& options,
                       int folds);

}  // namespace zelsr::examples
