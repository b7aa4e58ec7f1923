// What is taken off an utterance's features before they are scored.
#pragma once

#include <string>
#include <vector>

#include "common/mfcc.h"

namespace zelsr::examples {

// Over all rows of the utterance, column by column: the mean; the mean, and the standard deviation becomes 1.
enum class Normalisation { None, Mean, MeanAndVariance };

const std::vector<std::string>& normalisation_names();

void normalise(FeatureMatrix<float>& features, Normalisation normalisation);

}  // namespace zelsr::examples
