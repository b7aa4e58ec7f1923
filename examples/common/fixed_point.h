// Features and Gaussians in 16 bits, in formats found from their ranges.
#pragma once

#include <cstdint>
#include <span>

namespace zelsr::examples {

// How the 16-bit forms work out a score: the squares exact and the rest in single precision, or all in 32 bits.
enum class Arithmetic { kPlain, kLow };

struct Range {
    float lowest, highest;
    void widen(Range other);
};

Range range_of(std::span<const float> values);

// A value v is kept as the integer nearest to v 2^bits.
struct FixedFormat {
    float centre;        // of the features' range, taken off features and means: only their differences count
    int feature_bits;    // of features and means
    int precision_bits;  // of reciprocal variances

    // A sum of squared differences times reciprocal variances is 2^scale_factor too large.
    int scale_factor() const { return 2 * feature_bits + precision_bits; }
};

// For rows of `width` values. No difference of two features or means within their range saturates.
FixedFormat format_for(Arithmetic arithmetic, Range features_and_means, Range precisions, int width);

// The elements from row to row: a multiple of 8 keeps rows of 16-bit elements on 16-byte boundaries.
constexpr int fixed_row_step(int width) { return (width + 7) / 8 * 8; }

// Features or a mean.
void to_fixed(std::span<const float> row, const FixedFormat& format, std::int16_t* fixed);

// Reciprocal variances, 1 at least. rounded: what they are now, for the constant that belongs to them.
void precisions_to_fixed(std::span<const float> precisions, const FixedFormat& format, std::int16_t* fixed,
                         float* rounded);

// The constant of a weighted Gaussian's log score: ln weight - (n ln 2 pi + sum of ln variances) / 2.
float constant_of(double weight, std::span<const float> precisions);

}  // namespace zelsr::examples
