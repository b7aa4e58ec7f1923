// Spoken words as sequences of feature vectors, and how far two of them are apart when time is warped.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "common/feature_kind.h"
#include "common/mfcc.h"

namespace zelsr::examples {

template <class T>
struct Sequence {
    std::int32_t width = 0;
    std::vector<T> values;  // row after row
    std::int32_t rows() const { return width == 0 ? 0 : static_cast<std::int32_t>(values.size()) / width; }
};

// A value v is kept as the integer nearest to v 2^bits, so that +-128 can be told apart; in bytes as
// 128 + v 2^bits, from -8 up to 8.
constexpr int kSequenceBits = 8, kByteBits = 4;

// A word's features as sequences are compared: the rows in which somebody speaks, with a little of what is beside
// them; each column with mean 0 and variance 1 over these rows, so that voice, level and channel count less;
// deltas counting for more. Kept in 16 bits.
Sequence<std::int16_t> sequence_of(const FeatureMatrix<float>& features, const FeatureKind& kind);

// The same values in another arithmetic: float (exactly), std::int16_t, or std::uint8_t (rounded).
template <class T>
Sequence<T> converted(const Sequence<std::int16_t>& sequence);

// How paths are found: how many frames the ends may be apart, and by how much a path may be behind the best one
// before it is given up, in units of a frame's distance.
struct Warping {
    int band = 15;
    double beam = 10;
};

// The least sum of distances along a warped path, a frame of the longer sequence; none if one is more than twice
// as long as the other, or nearly. T: float, std::int16_t, std::uint8_t.
template <class T>
std::optional<double> distance(const Sequence<T>& a, const Sequence<T>& b, const Warping& warping);

}  // namespace zelsr::examples
