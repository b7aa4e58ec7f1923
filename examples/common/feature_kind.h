// What rows of features are, as a model of them keeps it: so that it is used on no others.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "common/feature_source.h"
#include "common/fields.h"
#include "common/file_names.h"

namespace zelsr::examples {

constexpr std::int32_t kMostWidth = 4096;

// Rows of sound files at one rate, by mfcc, or whatever feature files hold.
struct FeatureKind {
    bool from_sound = false;
    MfccOptions mfcc;        // with the rate, if from_sound
    std::int32_t width = 0;  // of a row
};

// What the features of these files are: those of the first sound file's rate, or of feature files alone. Throws
// Failure.
FeatureKind kind_of(const FileNames& files, const MfccOptions& options);

// Throws Failure if the source's rows are others; model: what to call that which they were to fit.
void check_features(const FeatureSource& source, const FeatureKind& kind, const std::string& model);

// Lines of text: rate and options, or "features given"; then the width.
std::string text_of(const FeatureKind& kind);
// Reads them.
FeatureKind read_kind(FieldReader& reader);

using RowConsumer = std::function<void(const RowBlock<float>&)>;
// Called with a file's place in the list when its rows are through.
using FileConsumer = std::function<void(std::size_t)>;

// Hands on the rows of every file in turn, and shows progress if there are many and `shown`. Throws Failure, which
// begins with the file's name, for one that cannot be read or whose features are not the model's.
void read_all(const FileNames& files, const FeatureKind& kind, const std::string& model, const std::string& what,
              bool shown, const RowConsumer& rows, const FileConsumer& done);

}  // namespace zelsr::examples
