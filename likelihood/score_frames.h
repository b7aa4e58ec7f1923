// Scores of many frames against one Gaussian, handed to a reduction.
#pragma once

#include "core/rows.h"
#include "likelihood/score.h"

namespace zelsr {

// The model's arrays, for the test of their alignment.
template <class T>
bool model_aligned(InverseVariance<T> term)
{
    return all_aligned(term.mean, term.inv_var);
}
template <class T>
bool model_aligned(UnitVariance<T> term)
{
    return all_aligned(term.mean);
}

// (2 val - S) * 0.5
struct DoubledConstant {
    __m128 twice_val;

    explicit DoubledConstant(float val) : twice_val(_mm_set1_ps(2 * val)) {}
    __m128 operator()(__m128 sum) const { return (twice_val - sum) * _mm_set1_ps(0.5F); }
};

// val + 0.5 * -S, of a negative sum
struct PlainConstant {
    __m128d val;

    explicit PlainConstant(double constant) : val(_mm_set1_pd(constant)) {}
    __m128d operator()(__m128d negative_sum) const { return val + _mm_set1_pd(0.5) * negative_sum; }
};

// (2 val + -S) * 0.5, of a negative sum
struct DoubledConstant_64f {
    __m128d twice_val;

    explicit DoubledConstant_64f(double val) : twice_val(_mm_set1_pd(2 * val)) {}
    __m128d operator()(__m128d negative_sum) const { return (twice_val + negative_sum) * _mm_set1_pd(0.5); }
};

template <class Load, class Tail, class Rows, class Term, class Reduce>
inline void score_by_registers(Rows frames, Term term, int32_t width, int32_t height, float val, Reduce reduce)
{
    sum_each<Added, Load, Tail>(FramesAgainstOne{frames, term}, 0, height, width,
                                [constant = DoubledConstant(val), reduce](int32_t r, __m128 sums, int32_t count) {
                                    reduce(r, constant(sums), count);
                                });
}

// Single precision: both kernels hold four partial sums of a frame. The aligned one adds the last 1 to 3 elements
// to them as one masked group, the general one adds them to the joined sum one at a time.
template <class Rows, class Term, class Reduce>
void score_frames_of_any_width(Rows frames, Term term, int32_t width, int32_t height, float val, Reduce reduce)
{
    if (model_aligned(term) && frames.on_16_bytes(height))
        score_by_registers<Aligned, MaskedTail<Added>>(frames, term, width, height, val, reduce);
    else
        score_by_registers<Unaligned, SerialTail<Added>>(frames, term, width, height, val, reduce);
}

// Frames of one to three elements: the terms are subtracted from 2 val in the order of the elements.
template <class Rows, class Term, class Reduce>
void score_narrow_frames(Rows frames, Term term, int32_t width, int32_t height, float val, Reduce reduce)
{
    for (int32_t r = 0; r < height; ++r) {
        const float* x = frames[r];
        __m128 score = _mm_set_ss(2 * val);
        for (int32_t k = 0; k < width; ++k) score = score - term.at(k, OneLane{})(OneLane::lanes(x + k));
        reduce(r, score * _mm_set_ss(0.5F), 1);
    }
}

template <class Rows, class Term, class Reduce>
void score_frames(Rows frames, Term term, int32_t width, int32_t height, float val, Reduce reduce)
{
    if (width < 4)
        score_narrow_frames(frames, term, width, height, val, reduce);
    else
        score_frames_of_any_width(frames, term, width, height, val, reduce);
}

// Double precision: two partial sums of a frame; an odd last element goes to the first. The step must be a
// multiple of 4 for the aligned kernel, although 2 would keep rows on 16 bytes: this is wanted.
template <class Constant, class Rows, class Term, class Reduce>
void score_frames_in_double(Rows frames, Term term, int32_t width, int32_t height, Constant constant,
                            Reduce reduce)
{
    const FramesAgainstOne scored{frames, term};
    const auto finish = [constant, reduce](int32_t r, __m128d sums, int32_t count) {
        reduce(r, constant(sums), count);
    };
    if (model_aligned(term) && frames.on_16_bytes(height, 4))
        sum_each<Subtracted, Aligned, LaneZeroTail<Subtracted>>(scored, 0, height, width, finish);
    else
        sum_each<Subtracted, Unaligned, LaneZeroTail<Subtracted>>(scored, 0, height, width, finish);
}

template <class Rows, class Term, class Reduce>
void score_frames(Rows frames, Term term, int32_t width, int32_t height, double val, Reduce reduce)
{
    score_frames_in_double(frames, term, width, height, PlainConstant(val), reduce);
}

}  // namespace zelsr
