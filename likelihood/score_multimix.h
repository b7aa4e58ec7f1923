// Scores of one frame against many Gaussians, handed to a reduction.
#pragma once

#include "core/rows.h"
#include "likelihood/score.h"

namespace zelsr {

inline __m128 half(__m128 v) { return v * _mm_set1_ps(0.5F); }
inline __m128d half(__m128d v) { return v * _mm_set1_pd(0.5); }

// c + 0.5 * -S, of a negative sum
struct PlainConstants {
    template <class Lanes>
    static Lanes score(Lanes constants, Lanes negative_sums)
    {
        return constants + half(negative_sums);
    }
};

// (2 c + -S) * 0.5: the same bits unless 2 c overflows or S is subnormal.
struct DoubledConstants {
    template <class Lanes>
    static Lanes score(Lanes constants, Lanes negative_sums)
    {
        return half(constants + constants + negative_sums);
    }
};

// Score j is constant[j] - 0.5 S[j]. Four partial sums (two in double) take a component's terms; the last
// elements go to the first of them, in both kernels. The step of a block must be a multiple of 4 for the aligned
// kernel in double too, but for the members that add in the log domain: this is wanted.
//
// From 1000 components the double-precision forms might go one component after the other; the partial sums of
// that path are another association of the same double-precision sum, so there is one kernel for all heights.
template <class Constants = PlainConstants, class T, class Rows, class Reduce>
void score_gaussians(const T* frame, Rows mean, Rows inv_var, int32_t width, int32_t height, const T* constant,
                     Reduce reduce, std::ptrdiff_t step_multiple = 4)
{
    const OneAgainstGaussians scored{frame, mean, inv_var};
    const auto finish = [constant, reduce](int32_t j, LanesOf<T> negative_sums, int32_t count) {
        reduce(j, Constants::score(load_first(constant + j, count), negative_sums), count);
    };
    if (is_aligned(frame) && mean.on_16_bytes(height, step_multiple) && inv_var.on_16_bytes(height, step_multiple))
        sum_each<Subtracted, Aligned, LaneZeroTail<Subtracted>>(scored, 0, height, width, finish);
    else
        sum_each<Subtracted, Unaligned, LaneZeroTail<Subtracted>>(scored, 0, height, width, finish);
}

}  // namespace zelsr
