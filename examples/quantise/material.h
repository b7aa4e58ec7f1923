// What codebooks are trained on and measured with.
#pragma once

#include <cstdint>
#include <vector>

#include "common/feature_kind.h"
#include "quantise/coding.h"

namespace zelsr::examples {

// The columns of all rows of some files.
struct Survey {
    std::int64_t rows = 0;
    std::vector<double> variances;
};

Survey survey(const FileNames& files, const FeatureKind& kind);

// Of rows that were surveyed, all or, evenly spaced among them, `most`.
FeatureMatrix<float> rows_of(const FileNames& files, const FeatureKind& kind, const Survey& found,
                             std::int32_t most);

// 1 over the variance of each column; 0 for one that does not change.
std::vector<float> inverse_variances(const Survey& found);

// What coding the rows of the files takes from them.
Distortion distortion_of(const Book& book, const FileNames& files);

}  // namespace zelsr::examples
