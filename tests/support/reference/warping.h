// Dynamic time warping, cell by cell as it is stated: every row of the table in full, columns outside the active
// range marked as such.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/reference/convert.h"

namespace zelsr::test::reference {

using Sequence = std::vector<std::vector<float>>;

inline constexpr float kLargestSingle = std::numeric_limits<float>::max();

// Whole groups of eight in four partial sums, the elements behind them one by one.
inline float euclidean_distance(const std::vector<float>& x, const std::vector<float>& y)
{
    float partial[4] = {};
    const std::size_t whole = x.size() / 8 * 8;
    const auto square = [&](std::size_t k) { return (x[k] - y[k]) * (x[k] - y[k]); };
    for (std::size_t k = 0; k < whole; ++k) partial[k % 4] += square(k);
    float sum = (partial[0] + partial[1]) + (partial[2] + partial[3]);
    for (std::size_t k = whole; k < x.size(); ++k) sum += square(k);
    return std::sqrt(sum);
}

// The columns of the band in row t, for a table of m rows by n columns, m at or above n.
struct Band {
    std::int64_t low, high;
};

inline Band warping_band(std::int64_t n, std::int64_t m, std::int64_t delta, std::int64_t t)
{
    Band band;
    band.high = 3 * t < 2 * n - m ? delta + 2 * t : n + delta + ((t - m - 1) >> 1);
    band.high = std::min(band.high, n - 1);
    band.low = 3 * t > 2 * (2 * m - n) - 2 ? n - delta + 2 * (t - m) + 1 : t / 2 - delta;
    band.low = std::max(band.low, std::int64_t{0});
    return band;
}

// What the search did, for tests that want to know that a case is the case they mean.
struct Warping {
    float distance = kLargestSingle;
    bool emptied = false;                         // the active range ran empty
    int cut_left = 0, cut_right = 0;              // cells that the beam took away
    std::int64_t last_first = 0, last_count = 0;  // active range of the last row
};

// delta from 0 on.
inline Warping warp(const Sequence& a, const Sequence& b, std::int32_t delta, float beam)
{
    const bool a_is_shorter = a.size() < b.size();
    const Sequence& shorter = a_is_shorter ? a : b;
    const Sequence& longer = a_is_shorter ? b : a;
    const auto n = static_cast<std::int64_t>(shorter.size()), m = static_cast<std::int64_t>(longer.size());
    const std::int64_t reach = delta < n ? delta : n - 1;
    const float margin = (beam > 0 ? beam : 0.0F) + 1.1920929e-7F;

    Warping result;
    const auto distance = [&](std::int64_t t, std::int64_t j) {
        return euclidean_distance(longer[static_cast<std::size_t>(t)], shorter[static_cast<std::size_t>(j)]);
    };
    std::vector<float> before(static_cast<std::size_t>(n)), now = before;
    std::int64_t first = 0, count = reach + 1;
    for (std::int64_t j = 0; j < count; ++j) before[static_cast<std::size_t>(j)] = distance(0, j);
    for (std::int64_t t = 1; t < m; ++t) {
        const Band band = warping_band(n, m, reach, t);
        const std::int64_t old_first = first, old_end = first + count;
        count = std::min(band.high - first + 1, count + 2);
        for (std::int64_t j = first; j < first + count; ++j) {
            float least = std::numeric_limits<float>::infinity();
            for (std::int64_t from = j - 2; from <= j; ++from)
                if (from >= old_first && from < old_end)
                    least = std::min(least, before[static_cast<std::size_t>(from)]);
            now[static_cast<std::size_t>(j)] = distance(t, j) + least;
        }
        if (first < band.low) {
            count -= band.low - first;
            first = band.low;
        }
        float best = kLargestSingle;
        for (std::int64_t j = first; j < first + count; ++j)
            best = std::min(best, now[static_cast<std::size_t>(j)]);
        result.distance = best;
        if (best >= kLargestSingle) {
            result.emptied = true;
            return result;
        }
        const float limit = best + margin;
        while (count > 1 && now[static_cast<std::size_t>(first + count - 1)] > limit) {
            --count;
            ++result.cut_right;
        }
        while (count > 1 && now[static_cast<std::size_t>(first)] > limit) {
            ++first;
            --count;
            ++result.cut_left;
        }
        std::swap(before, now);
        result.last_first = first;
        result.last_count = count;
    }
    return result;
}

// The integer forms' result.
inline std::int32_t warped_to_32s(float distance, std::int32_t sf)
{
    return single_to_32s(distance, multiplier<float>(sf), 1);
}

}  // namespace zelsr::test::reference
