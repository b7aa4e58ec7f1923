// Gaussian selection, bit by bit: tables of bits, and scores of the components that a table selects.
//
// Bit b of a row is bit 7 - b % 8 of its byte b / 8.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/reference/fixed.h"
#include "support/reference/gauss.h"
#include "support/reference/log_add.h"

namespace zelsr::test::reference {

using Bytes = std::vector<std::uint8_t>;
using Groups = std::vector<std::vector<std::int32_t>>;  // indices, a group for each row or column

// --- tables of bits ---

inline std::size_t bytes_of(int bits) { return (static_cast<std::size_t>(bits) + 7) / 8; }

inline std::uint8_t mask_of(int b) { return static_cast<std::uint8_t>(128 >> b % 8); }
inline bool bit(const std::uint8_t* row, int b) { return (row[b / 8] & mask_of(b)) != 0; }
inline bool bit(const Bytes& row, int b) { return bit(row.data(), b); }
inline void set_bit(std::uint8_t* row, int b) { row[b / 8] = static_cast<std::uint8_t>(row[b / 8] | mask_of(b)); }
inline void invert_bit(Bytes& row, int b)
{
    auto& byte = row[static_cast<std::size_t>(b / 8)];
    byte = static_cast<std::uint8_t>(byte ^ mask_of(b));
}

// Packed rows: each the union of a window of the table rows in its group.
inline Bytes sign_table(const Groups& groups, const std::vector<Bytes>& table, int offset, int width)
{
    const std::size_t row_bytes = bytes_of(width);
    Bytes result(groups.size() * row_bytes, 0);
    for (std::size_t r = 0; r < groups.size(); ++r)
        for (std::int32_t t : groups[r])
            for (int c = 0; c < width; ++c)
                if (bit(table[static_cast<std::size_t>(t)], offset + c)) set_bit(&result[r * row_bytes], c);
    return result;
}

// Groups of several sizes: of row r count only as many indices as its group has, all from the start of the list,
// and any bit that they have in the window sets the row's first bit.
inline Bytes first_bit_table(const Groups& groups, const std::vector<Bytes>& table, int offset, int width)
{
    std::vector<std::int32_t> list;
    for (const auto& group : groups) list.insert(list.end(), group.begin(), group.end());
    const std::size_t row_bytes = bytes_of(width);
    Bytes result(groups.size() * row_bytes, 0);
    for (std::size_t r = 0; r < groups.size(); ++r)
        for (std::size_t i = 0; i < groups[r].size(); ++i)
            for (int c = 0; c < width; ++c)
                if (bit(table[static_cast<std::size_t>(list[i])], offset + c)) set_bit(&result[r * row_bytes], 0);
    return result;
}

// Group r holds places in row r.
inline void invert_in_rows(const Groups& groups, std::vector<Bytes>& rows, int offset)
{
    for (std::size_t r = 0; r < groups.size(); ++r)
        for (std::int32_t t : groups[r]) invert_bit(rows[r], offset + t);
}

// Group c holds rows whose place c is meant.
inline void invert_in_columns(const Groups& groups, std::vector<Bytes>& rows, int offset)
{
    for (std::size_t c = 0; c < groups.size(); ++c)
        for (std::int32_t t : groups[c])
            invert_bit(rows[static_cast<std::size_t>(t)], offset + static_cast<int>(c));
}

// --- scores of selected components ---

// One frame, component after component: the first score as it is, then ln(e^s + e^d) by add(s, d). selected(j) and
// score(j) tell of component j. Counter is the type that counts the scores: one of 16 bits takes 65536 of them for
// none.
template <class Counter, class Selected, class Score, class Add>
float selected_sum(int components, Selected selected, Score score, float fallback, Add add)
{
    Counter counter = 0;
    float sum = -4.5e6F;
    for (int j = 0; j < components; ++j) {
        if (!selected(j)) continue;
        const float s = score(j);
        sum = counter == 0 ? s : add(s, sum);
        ++counter;
    }
    return counter == 0 ? fallback : sum;
}

// A score in double precision, and how far a score in single precision may lie from it, whatever the order of its
// sum: a term is rounded three times, the sum at most width times, the score at most four times, each by at most
// 2^-24 of the magnitudes' sum.
struct RealScore {
    double value, tolerance;
};

inline RealScore real_score(double magnitude_of_val, double half_sum, double value, int width)
{
    return {value, (width + 7) * 0x1p-24 * (magnitude_of_val + 2 * half_sum)};
}

inline RealScore real_score(const float* x, const float* m, const float* p, int width, float val)
{
    double sum = 0;
    for (int k = 0; k < width; ++k) sum += (double{x[k]} - m[k]) * (double{x[k]} - m[k]) * p[k];
    return real_score(std::abs(double{val}), sum / 2, val - sum / 2, width);
}

// Differences saturate in whole groups of eight only.
inline RealScore real_score(const std::int16_t* x, const std::int16_t* m, const std::int16_t* p, int width,
                            float val, std::int32_t sf)
{
    const fixed::Operands operands{x, m, p, width};
    double sum = 0, magnitude = 0;
    for (int k = 0; k < width; ++k) {
        const std::int64_t d =
            k < operands.whole_groups() ? operands.saturated_difference(k) : operands.difference(k);
        sum += static_cast<double>(d * d) * p[k];
        magnitude += static_cast<double>(d * d) * std::abs(p[k]);
    }
    return real_score(std::abs(double{val}), std::ldexp(magnitude, -sf - 1), val - std::ldexp(sum, -sf - 1),
                      width);
}

// An addition in single precision beside ln(e^a + e^b): what the cut leaves out, up to 2.23e-7, is more than its
// polynomial in single precision errs by anywhere above the cut; then the result is rounded.
inline constexpr double kFastAddition = 2.25e-7;

// The logarithm of the sum of some scores, and how far sums by additions in single precision, in any order, may
// lie from it. A sum of logarithms moves no further than the logarithm that moves furthest.
inline RealScore real_sum(const std::vector<RealScore>& scores)
{
    RealScore sum = scores.front();
    double largest = std::abs(sum.value);
    for (std::size_t i = 1; i < scores.size(); ++i) {
        const double hi = std::max(sum.value, scores[i].value), lo = std::min(sum.value, scores[i].value);
        sum.value = hi + std::log1p(std::exp(lo - hi));
        sum.tolerance = std::max(sum.tolerance, scores[i].tolerance);
        largest = std::max(largest, std::abs(scores[i].value));
    }
    const auto additions = static_cast<double>(scores.size() - 1);
    sum.tolerance += additions * (kFastAddition + 0x1p-24 * (largest + additions));
    return sum;
}

}  // namespace zelsr::test::reference
