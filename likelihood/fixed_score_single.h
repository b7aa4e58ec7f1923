// Scores of one 16-bit vector against one Gaussian, where their order of sums differs from that of rows.
#pragma once

#include "core/rounding.h"
#include "core/scale.h"
#include "likelihood/fixed_scores.h"

namespace zelsr {

// The products of every eight elements are joined by themselves, (lower + upper four), then halves, and added to
// one sum, which also takes the elements behind the groups. weights(k) gives eight reciprocal variances in single
// precision, weight(k) one.
template <class Weights, class Weight>
inline float sum_by_eights(const int16_t* x, const int16_t* mean, int32_t len, Weights weights, Weight weight)
{
    const auto group = [=](int32_t k) {
        const __m128i d = _mm_subs_epi16(Unaligned::bytes(x + k), Unaligned::bytes(mean + k));
        const __m128 low = low_singles(d), high = high_singles(d);
        return weights(k, low * low, high * high);
    };
    float sum = 0;
    int32_t k = 0;
    for (; k <= len - 32; k += 32) {
        const __m128 groups[4] = {group(k), group(k + 8), group(k + 16), group(k + 24)};
        __m128 joined = join_halves_each(groups);
        for_each_index<4>([&](auto) {
            sum = sum + _mm_cvtss_f32(joined);
            joined = next_lane(joined);
        });
    }
    for (; k <= len - 8; k += 8) sum = sum + join_halves(group(k));
    for (; k < len; ++k) {
        const auto d = static_cast<float>(load_one(x + k) - load_one(mean + k));
        sum = sum + weight(k, d * d);
    }
    return sum;
}

inline float sum_one(const int16_t* x, FixedInverse model, int32_t len)
{
    const int16_t* p = model.inv_var;
    return sum_by_eights(
        x, model.mean, len,
        [p](int32_t k, __m128 low, __m128 high) {
            const __m128i eight = Unaligned::bytes(p + k);
            return low * low_singles(eight) + high * high_singles(eight);
        },
        [p](int32_t k, float square) { return square * static_cast<float>(load_one(p + k)); });
}
inline float sum_one(const int16_t* x, FixedUnit model, int32_t len)
{
    return sum_by_eights(
        x, model.mean, len, [](int32_t, __m128 low, __m128 high) { return low + high; },
        [](int32_t, float square) { return square; });
}
// Reciprocals in single precision.
inline float sum_one(const int16_t* x, const int16_t* mean, const float* reciprocal, int32_t len)
{
    return sum_by_eights(
        x, mean, len,
        [reciprocal](int32_t k, __m128 low, __m128 high) {
            return low * Unaligned::four(reciprocal + k) + high * Unaligned::four(reciprocal + k + 4);
        },
        [reciprocal](int32_t k, float square) { return square * reciprocal[k]; });
}

// The sum of squares modulo 2^32, as a signed integer; all differences saturate. Wanted: it wraps at 2^31.
inline int32_t wrapping_sum_of_squares(const int16_t* x, const int16_t* mean, int32_t len)
{
    __m128i sums = _mm_setzero_si128();
    const auto take = [&sums](__m128i a, __m128i b) {
        const __m128i d = _mm_subs_epi16(a, b);
        sums = _mm_add_epi32(sums, _mm_madd_epi16(d, d));
    };
    int32_t k = 0;
    for (; k <= len - 8; k += 8) take(Unaligned::bytes(x + k), Unaligned::bytes(mean + k));
    if (k < len) {
        const FixedRowEnd load(len);
        take(load(x), load(mean));
    }
    sums = _mm_hadd_epi32(sums, sums);
    return _mm_cvtsi128_si32(_mm_hadd_epi32(sums, sums));
}

inline float score_one_scaled(const int16_t* x, FixedInverse model, int32_t len, float val, int32_t sf)
{
    return val - sum_one(x, model, len) * half_scale(sf);
}
inline float score_one_scaled(const int16_t* x, FixedUnit model, int32_t len, float val, int32_t sf)
{
    const auto sum = static_cast<float>(wrapping_sum_of_squares(x, model.mean, len));
    return val - sum * half_scale(sf);
}

// The low forms of one vector have the arithmetic of rows, but for weighted sums under an sf below 0.
template <class Model>
FixedFrames<Block<int16_t>, Model> as_row(const int16_t* x, Model model)
{
    return {Block<int16_t>{x, 0}, model};
}
inline float score_one_low_scaled(const int16_t* x, FixedUnit model, int32_t len, float val, int32_t sf)
{
    float score;
    score_low_scaled(as_row(x, model), len, 1, constant(val), sf, store(&score));
    return score;
}

}  // namespace zelsr
