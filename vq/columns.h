// One row against many centroids: the centroids lie in groups of four, element k of the four side by side, so that
// each lane sums one distance in the order of its elements. four_distances.h takes codewords as they lie, for
// several rows at once; here a row comes alone and the centroids stay, so that they are laid out once for all
// rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "core/simd.h"
#include "vq/distance.h"

namespace zelsr::vq {

constexpr int64_t whole_groups(int64_t count) { return (count + 3) / 4; }

struct Columns {
    float* first;  // on 16 bytes
    int32_t width;

    static int64_t elements(int64_t count, int64_t width) { return 4 * whole_groups(count) * width; }

    // Centroid i becomes this one. Whether it was another before.
    template <class T>
    bool set(int32_t i, const T* centroid)
    {
        float* column = first + std::ptrdiff_t{i / 4} * 4 * width + i % 4;
        bool other = false;
        for (int32_t k = 0; k < width; ++k) {
            const auto value = static_cast<float>(centroid[k]);
            other |= column[4 * std::ptrdiff_t{k}] != value;
            column[4 * std::ptrdiff_t{k}] = value;
        }
        return other;
    }
};

namespace detail {

// Some groups together, so that their sums hide each other's latency.
template <int Groups>
void group_distances(const float* x, const float* weights, const float* columns, std::ptrdiff_t width, float* out)
{
    __m128 sums[Groups] = {};
    for (std::ptrdiff_t k = 0; k < width; ++k) {
        const __m128 element = EveryLane::lanes(x + k), weight = EveryLane::lanes(weights + k);
        for_each_index<Groups>([&](auto n) __attribute__((always_inline)) {
            const __m128 d = Aligned::four(columns + (n * width + k) * 4) - element;
            sums[n] += d * d * weight;
        });
    }
    for_each_index<Groups>([&](auto n) __attribute__((always_inline)) { Aligned::put(out + 4 * n, sums[n]); });
}

}  // namespace detail

// out[i] = the distance of x from centroid i, for whole groups: out has room for them, on 16 bytes.
inline void distances_from(const float* x, const float* weights, const Columns& columns, int32_t count, float* out)
{
    const std::ptrdiff_t width = columns.width, step = 4 * width;
    const float* group = columns.first;
    auto left = static_cast<int32_t>(whole_groups(count));
    for (; left >= 4; left -= 4, group += 4 * step, out += 16)
        detail::group_distances<4>(x, weights, group, width, out);
    if (left >= 2) {
        detail::group_distances<2>(x, weights, group, width, out);
        left -= 2, group += 2 * step, out += 8;
    }
    if (left == 1) detail::group_distances<1>(x, weights, group, width, out);
}

// The nearest of several distances with the margin of comparisons, the first of equal ones; otherwise where none
// is below the largest single.
inline int32_t nearest_of(const float* distances, int32_t count, int32_t otherwise)
{
    float best = kLargest;
    int32_t nearest = otherwise;
    for (int32_t i = 0; i < count; i += 4) {
        // What is not below the best without the margin is not with it; a NaN is.
        const __m128 below = _mm_cmpnge_ps(Aligned::four(distances + i), _mm_set1_ps(best));
        if (_mm_movemask_ps(below) == 0) continue;
        for (int32_t j = i; j < i + 4 && j < count; ++j)
            if (Own_Correct_Less_32f(distances[j], best)) {
                best = distances[j];
                nearest = j;
            }
    }
    return nearest;
}

// The least of several distances, a NaN if there is one among them; those behind the last are overwritten up to
// the end of the group.
inline float least_of(float* distances, int32_t count)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const auto groups = static_cast<int32_t>(whole_groups(count));
    for (int32_t i = count; i < 4 * groups; ++i) distances[i] = infinity;
    __m128 least = _mm_set1_ps(infinity), unordered = _mm_setzero_ps();
    for (int32_t i = 0; i < groups; ++i) {
        const __m128 four = Aligned::four(distances + 4 * i);
        least = _mm_min_ps(least, four);
        unordered = _mm_or_ps(unordered, _mm_cmpunord_ps(four, four));
    }
    if (_mm_movemask_ps(unordered) != 0) return std::numeric_limits<float>::quiet_NaN();
    least = _mm_min_ps(least, _mm_movehl_ps(least, least));
    return _mm_cvtss_f32(_mm_min_ss(least, _mm_shuffle_ps(least, least, 1)));
}

}  // namespace zelsr::vq
