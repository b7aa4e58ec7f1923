// Codebooks of the library that release themselves, and what training takes from them.
#pragma once

#include <zelsr.h>

#include <memory>
#include <span>

#include "common/mfcc.h"
#include "common/mixture.h"

namespace zelsr::examples {

struct CodebookRelease {
    void operator()(ZelCdbkState_32f* book) const { zelsCdbkFree_32f(book); }
};
using Codebook = std::unique_ptr<ZelCdbkState_32f, CodebookRelease>;

// The centres of clusters of the rows, `most` or, where they cannot be told apart, fewer. Distances count in
// standard deviations of the columns.
DoubleRows cluster_centres(const FeatureMatrix<float>& rows, std::span<const double> variances, std::int32_t most);

}  // namespace zelsr::examples
