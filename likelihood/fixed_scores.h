// Scores on 16-bit data: a sum, its scale, the constant, handed to a reduction.
#pragma once

#include "core/rounding.h"
#include "core/scale.h"
#include "likelihood/fixed_sums.h"
#include "likelihood/score.h"

namespace zelsr {

// sf + 1, for an integer shift, which counts modulo 32.
inline int32_t plus_one(int32_t sf) { return static_cast<int32_t>(static_cast<uint32_t>(sf) + 1); }

// 2^-(sf+1); zero for every sf above 148.
inline float half_scale(int32_t sf) { return GetScale_32s32f(std::min(sf, 149) + 1); }

// 2^|exponent| as the processor shifts an integer 1: the count is taken modulo 32, and 2^31 is negative. Wanted.
inline float shifted_one(int32_t exponent)
{
    const auto magnitude = exponent < 0 ? 0U - static_cast<uint32_t>(exponent) : static_cast<uint32_t>(exponent);
    return static_cast<float>(static_cast<int32_t>(1U << (magnitude & 31)));
}

// S / 2^e for an exponent above 0, else S * 2^-e.
inline __m128 over_shifted_power(__m128 sum, int32_t exponent)
{
    const __m128 power = _mm_set1_ps(shifted_one(exponent));
    return exponent > 0 ? sum / power : sum * power;
}

inline __m128i load_first(const int32_t* from, int32_t count)
{
    return _mm_castps_si128(load_first(reinterpret_cast<const float*>(from), count));
}

// Constants: one for all rows, or one a row.

struct CommonVal_32f {
    __m128 val;

    explicit CommonVal_32f(float v) : val(_mm_set1_ps(v)) {}
    __m128 at(int32_t /*r*/, int32_t /*count*/) const { return val; }
};
struct CommonVal_32s {
    __m128i val;

    explicit CommonVal_32s(int32_t v) : val(_mm_set1_epi32(v)) {}
    __m128i at(int32_t /*r*/, int32_t /*count*/) const { return val; }
};
struct ValOfRow_32f {
    const float* val;

    __m128 at(int32_t r, int32_t count) const { return load_first(val + r, count); }
};
struct ValOfRow_32s {
    const int32_t* val;

    __m128i at(int32_t r, int32_t count) const { return load_first(val + r, count); }
};
inline CommonVal_32f constant(float val) { return CommonVal_32f(val); }
inline CommonVal_32s constant(int32_t val) { return CommonVal_32s(val); }
inline ValOfRow_32f constant(const float* val) { return {val}; }
inline ValOfRow_32s constant(const int32_t* val) { return {val}; }

// Reductions of integer scores.

inline void store_first(int32_t* to, __m128i v, int32_t count)
{
    if (count == 4) return Unaligned::put(to, v);
    for (int32_t i = 0; i < count; ++i, v = _mm_srli_si128(v, 4)) store_one(to + i, _mm_cvtsi128_si32(v));
}

struct Store_32s {
    int32_t* score;

    void operator()(int32_t r, __m128i scores, int32_t count) const { store_first(score + r, scores, count); }
};
// Compared in single precision and truncated, so that an old entry above 2^24 loses low bits even if it stays:
// wanted.
struct KeepMax_32s {
    int32_t* best;

    void operator()(int32_t r, __m128i scores, int32_t count) const
    {
        const __m128 old = _mm_cvtepi32_ps(load_first(best + r, count));
        store_first(best + r, _mm_cvttps_epi32(_mm_max_ps(_mm_cvtepi32_ps(scores), old)), count);
    }
};
inline Store_32s store(int32_t* score) { return {score}; }
inline Store<float> store(float* score) { return {score}; }
inline KeepMax_32s keep_max(int32_t* best) { return {best}; }

// The four arithmetics. Each takes any of the layouts, constants and reductions.

// Scaled: val - S * 2^-(sf+1). Unit variances sum exact pairs of squares.
template <class Scored, class Constant, class Reduce>
void score_scaled(Scored scored, int32_t width, int32_t height, Constant val, int32_t sf, Reduce reduce)
{
    using Sum = std::conditional_t<Scored::Model::kWeighted, SquaresInSingle<true>, PairsInSingle>;
    const __m128 scale = _mm_set1_ps(half_scale(sf));
    sum_fixed_rows(scored, width, height, Sum{}, [=](int32_t r, __m128 sums, int32_t count) {
        reduce(r, val.at(r, count) - sums * scale, count);
    });
}

// Single-precision sums of products under a power of two that an integer shift forms.
template <class Scored, class Finish>
void sum_in_single(Scored scored, int32_t width, int32_t height, int32_t exponent, Finish finish)
{
    sum_fixed_rows(
        scored, width, height, SquaresInSingle<Scored::Model::kWeighted>{},
        [=](int32_t r, __m128 sums, int32_t count) { finish(r, over_shifted_power(sums, exponent), count); });
}

// Sfs: truncated toward zero, not limited.
template <class Scored, class Constant, class Reduce>
[[gnu::noinline]] void score_to_integers_here(Scored scored, int32_t width, int32_t height, Constant val,
                                              int32_t sf, Reduce reduce)
{
    sum_in_single(scored, width, height, plus_one(sf), [=](int32_t r, __m128 scaled, int32_t count) {
        reduce(r, _mm_cvttps_epi32(_mm_cvtepi32_ps(val.at(r, count)) - scaled), count);
    });
}
template <class Scored, class Constant, class Reduce>
void score_to_integers(Scored scored, int32_t width, int32_t height, Constant val, int32_t sf, Reduce reduce)
{
    const DefaultFloatEnvironment environment;
    score_to_integers_here(scored, width, height, val, sf, reduce);
}

// LowScaled.
template <class Scored, class Constant, class Reduce>
void score_low_scaled(Scored scored, int32_t width, int32_t height, Constant val, int32_t sf, Reduce reduce)
{
    if constexpr (!Scored::Model::kWeighted) {
        sum_fixed_rows(scored, width, height, NegativePairsInSingle{}, [=](int32_t r, __m128 sums, int32_t count) {
            reduce(r, val.at(r, count) + over_shifted_power(sums, plus_one(sf)), count);
        });
    } else if (sf >= 0) {
        sum_fixed_rows(scored, width, height, HalvesInIntegers{LowShifts::down(sf)},
                       [=](int32_t r, __m128i sums, int32_t count) {
                           reduce(r, val.at(r, count) + _mm_cvtepi32_ps(sums), count);
                       });
    } else {
        sum_in_single(scored, width, height, plus_one(sf), [=](int32_t r, __m128 scaled, int32_t count) {
            reduce(r, val.at(r, count) - scaled, count);
        });
    }
}

// Low Sfs: integers, whose additions wrap; but for weighted sums under an sf below 0, which are plain. A running
// maximum goes through single precision, hence the environment.
template <class Scored, class Constant, class Reduce>
void score_low_to_integers(Scored scored, int32_t width, int32_t height, Constant val, int32_t sf, Reduce reduce)
{
    if (Scored::Model::kWeighted && sf < 0) return score_to_integers(scored, width, height, val, sf, reduce);
    const DefaultFloatEnvironment environment;
    const LowShifts shifts = sf >= 0 ? LowShifts::down(sf) : LowShifts::up(sf);
    sum_fixed_rows(scored, width, height, HalvesInIntegers{shifts}, [=](int32_t r, __m128i sums, int32_t count) {
        reduce(r, _mm_add_epi32(val.at(r, count), sums), count);
    });
}

}  // namespace zelsr
