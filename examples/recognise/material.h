// Recordings on their way to a recogniser: with noise added if wanted, as features.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/mfcc.h"
#include "common/noise.h"
#include "recognise/folder.h"
#include "recognise/training.h"

namespace zelsr::examples {

struct NoiseAt {
    NoiseKind kind;
    double snr_db;
};

// Babble is made of the recordings themselves, all of one rate: they are dealt out to sixteen speakers.
Voices voices_of(std::span<const Recording> recordings);

void add_noise(Recording& recording, const NoiseAt& noise, const Voices& voices, std::uint32_t seed);
// Each recording gets noise of its own, the same in every run.
void add_noise(std::vector<Recording>& recordings, const NoiseAt& noise, int threads);

// Throws Failure, which begins with the recording's path, if it is too short.
FeatureMatrix<float> features_of(const Recording& recording, const MfccOptions& options);
std::vector<Example> examples_of(std::span<const Recording> recordings, const MfccOptions& options, int threads);

// The kind of the features of recordings at this rate. Filters that are to end at the highest frequency there is
// end below it by the part `warp`, so that it is there in warped recordings, too.
FeatureKind kind_of_sound(MfccOptions options, int rate, double warp);
// Throws Failure if a recording has another rate than the kind.
void check_rate(const Recording& recording, const FeatureKind& kind);

// What training is done on.
struct Material {
    std::vector<Example> examples;
    std::vector<std::size_t> recordings;  // which one each example is of; the first ones, in order, as it is
    std::vector<std::string> speakers;    // of each recording
};

// How recordings are multiplied for training, for other voices and places than theirs.
struct Variety {
    // Above 0: each recording also as if it had been played faster and more slowly by that part, which changes its
    // frequencies and with them the speaker's size.
    double warp = 0;
    bool noise = false;  // each of these also with noise: white, pink or babble at 5, 10, 15 or 20 dB in turn
};

Material training_material(std::span<const Recording> recordings, const FeatureKind& kind, const Variety& variety,
                           int threads);

// Who speaks in a file: its name up to the last '_'.
std::string speaker_of(const std::string& path);

}  // namespace zelsr::examples
