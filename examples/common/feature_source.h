// Feature rows, part by part, from sound files and from the files that examples/features writes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/mfcc.h"

namespace zelsr::examples {

class FeatureSource {
  public:
    virtual ~FeatureSource() = default;
    virtual int width() const = 0;
    virtual int rate() const { return 0; }  // samples a second, of a sound file
    // The next rows, which stay until the next call; none at the end. Throws Failure.
    virtual RowBlock<float> read() = 0;
    virtual double done() const = 0;  // the part of the file that was read, about; 0 if unknown
};

// True for names that end with .npy, .htk, .mfc or .fea (and .csv, which open_features() refuses in words).
bool names_feature_file(const std::string& path);

// A feature file: .npy with a matrix of 32- or 64-bit floats, a row a frame; HTK parameter files, compressed or
// not. Any other name: a sound file, whose features are those of options with the file's own rate. Throws Failure,
// here or in read(), if the file is missing, no such file, cut short, or holds a value that is no finite number.
std::unique_ptr<FeatureSource> open_features(const std::string& path, const MfccOptions& options);

}  // namespace zelsr::examples
