// Where in an utterance somebody speaks, by level.
#pragma once

#include <cstdint>

#include "common/feature_kind.h"
#include "common/mfcc.h"

namespace zelsr::examples {

// Rows first to end - 1.
struct RowRange {
    std::int32_t first = 0, end = 0;
    std::int32_t rows() const { return end - first; }
};

// The column of these features that grows with the level, c0 or the log energy; -1 if there is none.
int level_column(const FeatureKind& kind);

// From the first row on whose level lies above `share` of the way from the quiet rows' (a tenth of all is quieter)
// to the loudest one's, to the last such row; never empty unless the features are. column -1: all rows.
RowRange speech_range(const FeatureMatrix<float>& features, int column, float share);

}  // namespace zelsr::examples
