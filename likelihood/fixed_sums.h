// Sums of weighted squared differences of 16-bit data.
//
// In whole groups of eight elements differences saturate to 16 bits; behind them, in the tail, they are exact:
// this difference is wanted. Alignment changes nothing but the speed of a load, so there is one kernel for all
// data.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/row_end.h"
#include "core/rows.h"
#include "core/simd.h"

namespace zelsr {

inline __m128 low_singles(__m128i v) { return _mm_cvtepi32_ps(low_16s32s(v)); }
inline __m128 high_singles(__m128i v) { return _mm_cvtepi32_ps(high_16s32s(v)); }

// Exact differences of the lower and of the upper four elements, in single precision.
inline __m128 low_difference(__m128i x, __m128i m)
{
    return _mm_cvtepi32_ps(_mm_sub_epi32(low_16s32s(x), low_16s32s(m)));
}
inline __m128 high_difference(__m128i x, __m128i m)
{
    return _mm_cvtepi32_ps(_mm_sub_epi32(high_16s32s(x), high_16s32s(m)));
}

// Sums of two neighbouring squares each, in single precision. Two squares of -32768 make 2^31, the one sum that
// comes out of the pair multiplication as a negative number.
inline __m128 pairs_of_squares(__m128i d)
{
    return _mm_andnot_ps(_mm_set1_ps(-0.0F), _mm_cvtepi32_ps(_mm_madd_epi16(d, d)));
}

// (lane 0 + lane 2) + (lane 1 + lane 3), of register n in lane n.
inline __m128 join_halves_each(const __m128 (&v)[4])
{
    const __m128 first = _mm_unpacklo_ps(v[0], v[1]) + _mm_unpackhi_ps(v[0], v[1]);
    const __m128 second = _mm_unpacklo_ps(v[2], v[3]) + _mm_unpackhi_ps(v[2], v[3]);
    return _mm_movelh_ps(first, second) + _mm_movehl_ps(second, first);
}
inline __m128i join_each(const __m128i (&v)[4])
{
    const __m128i first = _mm_add_epi32(_mm_unpacklo_epi32(v[0], v[1]), _mm_unpackhi_epi32(v[0], v[1]));
    const __m128i second = _mm_add_epi32(_mm_unpacklo_epi32(v[2], v[3]), _mm_unpackhi_epi32(v[2], v[3]));
    return _mm_add_epi32(_mm_unpacklo_epi64(first, second), _mm_unpackhi_epi64(first, second));
}

// Variances of 16-bit data: the weights of eight elements as integers and as singles.

struct FixedInverse {
    static constexpr bool kWeighted = true;

    const int16_t* mean;
    const int16_t* inv_var;
};
struct FixedUnit {
    static constexpr bool kWeighted = false;

    const int16_t* mean;
};

struct EightOfModel {
    __m128i mean;
    __m128i weight;
};
template <class LoadEight>
[[gnu::always_inline]] inline EightOfModel eight_of(FixedInverse model, LoadEight load)
{
    return {load(model.mean), load(model.inv_var)};
}
template <class LoadEight>
[[gnu::always_inline]] inline EightOfModel eight_of(FixedUnit model, LoadEight load)
{
    return {load(model.mean), _mm_set1_epi16(1)};
}

// What is scored: N rows together, each a vector against a model; rows beyond the last repeat it.
//
// each(load, f) calls f(n, x, model) for the N rows with eight elements of the vector and of the model, as load
// takes them from the start of a row.

template <class Rows, class Variance>
struct FixedFrames {
    using Model = Variance;

    Rows frames;
    Model model;

    FixedFrames from(int32_t r) const { return {frames.from(r), model}; }

    template <int N>
    struct Group {
        const int16_t* x[N];
        Model model;

        template <class LoadEight, class F>
        [[gnu::always_inline]] void each(LoadEight load, F f) const
        {
            const EightOfModel eight = eight_of(model, load);
            for_each_index<N>([&](auto n) __attribute__((always_inline)) { f(n, load(x[n]), eight); });
        }
    };
    template <int N>
    [[gnu::always_inline]] Group<N> group(int32_t r, int32_t last) const
    {
        Group<N> group{{}, model};
        for_each_index<N>([&](auto n) { group.x[n] = frames[std::min(r + n, last)]; });
        return group;
    }
};
template <class Rows, class Model>
FixedFrames(Rows, Model) -> FixedFrames<Rows, Model>;

template <class Rows>
struct FixedGaussians {
    const int16_t* frame;
    Rows mean;
    Rows inv_var;

    using Model = FixedInverse;

    FixedGaussians from(int32_t j) const { return {frame, mean.from(j), inv_var.from(j)}; }

    template <int N>
    struct Group {
        const int16_t* x;
        FixedInverse models[N];

        template <class LoadEight, class F>
        [[gnu::always_inline]] void each(LoadEight load, F f) const
        {
            const __m128i eight_of_x = load(x);
            for_each_index<N>([&](auto n)
                                  __attribute__((always_inline)) { f(n, eight_of_x, eight_of(models[n], load)); });
        }
    };
    template <int N>
    [[gnu::always_inline]] Group<N> group(int32_t j, int32_t last) const
    {
        Group<N> group{frame, {}};
        for_each_index<N>([&](auto n) {
            const int32_t row = std::min(j + n, last);
            group.models[n] = {mean[row], inv_var[row]};
        });
        return group;
    }
};
template <class Rows>
FixedGaussians(const int16_t*, Rows, Rows) -> FixedGaussians<Rows>;

// Sums of four rows, one a lane, in the arithmetic of each kind of score. take() adds a whole group of eight;
// finish() adds the tail and joins the lanes.

// Products in single precision into four lanes a row; the tail goes to lane 0 element by element.
template <bool Weighted>
struct SquaresInSingle {
    __m128 sum[4] = {};

    template <class N>
    [[gnu::always_inline]] void take(N n, __m128i x, const EightOfModel& model)
    {
        const __m128i d = _mm_subs_epi16(x, model.mean);
        __m128 low = low_singles(d), high = high_singles(d);
        low = low * low;
        high = high * high;
        if constexpr (Weighted) {
            low = low * low_singles(model.weight);
            high = high * high_singles(model.weight);
        }
        sum[n] = (sum[n] + low) + high;
    }
    template <class Group, class LoadTail>
    [[gnu::always_inline]] __m128 finish(const Group& group, LoadTail load, int32_t left)
    {
        if (left == 0) return join_halves_each(sum);
        __m128 low[4], high[4];
        group.each(
            load, [&](auto n, __m128i x, const EightOfModel& model) __attribute__((always_inline)) {
                const __m128 d_low = low_difference(x, model.mean), d_high = high_difference(x, model.mean);
                low[n] = d_low * d_low;
                high[n] = d_high * d_high;
                if constexpr (Weighted) {
                    low[n] = low[n] * low_singles(model.weight);
                    high[n] = high[n] * high_singles(model.weight);
                }
            });
        // A row a lane from here on; elements beyond the end add zero.
        _MM_TRANSPOSE4_PS(sum[0], sum[1], sum[2], sum[3]);
        _MM_TRANSPOSE4_PS(low[0], low[1], low[2], low[3]);
        for_each_index<4>([&](auto i) { sum[0] = sum[0] + low[i]; });
        if (left > 4) {
            _MM_TRANSPOSE4_PS(high[0], high[1], high[2], high[3]);
            for_each_index<3>([&](auto i) { sum[0] = sum[0] + high[i]; });
        }
        return (sum[0] + sum[2]) + (sum[1] + sum[3]);
    }
};

// Unit variances: exact sums of two squares, each converted once, into four lanes a row; the tail goes to lane 0
// element by element.
struct PairsInSingle {
    __m128 sum[4] = {};

    template <class N>
    [[gnu::always_inline]] void take(N n, __m128i x, const EightOfModel& model)
    {
        sum[n] = sum[n] + pairs_of_squares(_mm_subs_epi16(x, model.mean));
    }
    template <class Group, class LoadTail>
    [[gnu::always_inline]] __m128 finish(const Group& group, LoadTail load, int32_t left)
    {
        SquaresInSingle<false> squares;
        for_each_index<4>([&](auto n) { squares.sum[n] = sum[n]; });
        return squares.finish(group, load, left);
    }
};

// Unit variances, low form: exact sums of two squares, each converted once and subtracted; four elements behind
// the groups go to lanes 0 and 1, two more and a last one to lane 0.
struct NegativePairsInSingle {
    __m128 sum[4] = {};

    template <class N>
    [[gnu::always_inline]] void take(N n, __m128i x, const EightOfModel& model)
    {
        sum[n] = sum[n] - pairs_of_squares(_mm_subs_epi16(x, model.mean));
    }
    template <class Group, class LoadTail>
    [[gnu::always_inline]] __m128 finish(const Group& group, LoadTail load, int32_t left)
    {
        if (left == 0) return join_halves_each(sum);
        __m128 pairs[4], last[4];
        group.each(
            load, [&](auto n, __m128i x, const EightOfModel& model) __attribute__((always_inline)) {
                pairs[n] = pairs_of_squares(_mm_subs_epi16(x, model.mean));
                const __m128 low = low_difference(x, model.mean), high = high_difference(x, model.mean);
                last[n] = left == 1   ? low
                          : left == 3 ? _mm_movehl_ps(low, low)
                          : left == 5 ? high
                                      : _mm_movehl_ps(high, high);
                last[n] = last[n] * last[n];
            });
        // A row a lane from here on.
        _MM_TRANSPOSE4_PS(sum[0], sum[1], sum[2], sum[3]);
        _MM_TRANSPOSE4_PS(pairs[0], pairs[1], pairs[2], pairs[3]);
        _MM_TRANSPOSE4_PS(last[0], last[1], last[2], last[3]);
        if (left >= 4) {
            sum[0] = sum[0] - pairs[0];
            sum[1] = sum[1] - pairs[1];
        }
        if ((left & 2) != 0) sum[0] = sum[0] - (left >= 4 ? pairs[2] : pairs[0]);
        if ((left & 1) != 0) sum[0] = sum[0] - last[0];
        return (sum[0] + sum[2]) + (sum[1] + sum[3]);
    }
};

// The shifts that bring the sums of high and low halves to 2^(-sf-1). A shift to the right rounds down, so it
// belongs to each lane by itself; one to the left may follow the addition of the lanes.
struct LowShifts {
    __m128i high_left, high_right, low_left, low_right;

    // sf at or above 0. Above 15 the low halves are shifted by 15, not by sf: wanted.
    static LowShifts down(int32_t sf)
    {
        return {count(std::max(15 - sf, 0)), count(std::max(sf - 15, 0)), count(0), count(std::min(sf, 15))};
    }
    // sf below 0.
    static LowShifts up(int32_t sf)
    {
        const auto by = static_cast<int32_t>(std::min<int64_t>(-int64_t{sf}, 64));
        return {count(15 + by), count(0), count(by), count(0)};
    }

    __m128i high_lanes(__m128i high) const { return _mm_sra_epi32(high, high_right); }
    __m128i low_lanes(__m128i low) const { return _mm_sra_epi32(low, low_right); }
    __m128i sum(__m128i high, __m128i low) const
    {
        return _mm_add_epi32(_mm_sll_epi32(high, high_left), _mm_sll_epi32(low, low_left));
    }

  private:
    static __m128i count(int32_t by) { return _mm_cvtsi32_si128(by); }
};

// d^2 = 65536 H + 2 L and a lost bit; sums of H p and of L p in integers that wrap, brought to scale by shifts
// that round down. Behind the groups of eight every pair is shifted by itself, and a last odd element has an exact
// difference.
struct HalvesInIntegers {
    LowShifts shifts;
    __m128i high[4] = {};
    __m128i low[4] = {};

    template <class N>
    [[gnu::always_inline]] void take(N n, __m128i x, const EightOfModel& model)
    {
        const __m128i d = _mm_subs_epi16(x, model.mean);
        high[n] = _mm_sub_epi32(high[n], weighted_high(d, model));
        low[n] = _mm_sub_epi32(low[n], weighted_low(d, model));
    }
    template <class Group, class LoadTail>
    [[gnu::always_inline]] __m128i finish(const Group& group, LoadTail load, int32_t left)
    {
        for_each_index<4>([&](auto n) {
            high[n] = shifts.high_lanes(high[n]);
            low[n] = shifts.low_lanes(low[n]);
        });
        if (left == 0) return shifts.sum(join_each(high), join_each(low));
        const __m128i index = _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
        const __m128i in_pair = _mm_cmplt_epi16(index, _mm_set1_epi16(static_cast<int16_t>(left & ~1)));
        __m128i last_x[4], last_mean[4], last_weight[4];
        const __m128i last_first =
            _mm_set1_epi32(static_cast<int32_t>(0x80800000U) + (2 * left - 1) * 256 + 2 * left - 2);
        group.each(
            load, [&](auto n, __m128i x, const EightOfModel& model) __attribute__((always_inline)) {
                const __m128i d = _mm_and_si128(_mm_subs_epi16(x, model.mean), in_pair);
                high[n] = _mm_sub_epi32(high[n], shifts.high_lanes(weighted_high(d, model)));
                low[n] = _mm_sub_epi32(low[n], shifts.low_lanes(weighted_low(d, model)));
                last_x[n] = _mm_shuffle_epi8(x, last_first);
                last_mean[n] = _mm_shuffle_epi8(model.mean, last_first);
                last_weight[n] = _mm_shuffle_epi8(model.weight, last_first);
            });
        const __m128i pairs = shifts.sum(join_each(high), join_each(low));
        if (left % 2 == 0) return pairs;
        return _mm_sub_epi32(pairs, exact(row_a_lane(last_x), row_a_lane(last_mean), row_a_lane(last_weight)));
    }

  private:
    static __m128i weighted_high(__m128i d, const EightOfModel& model)
    {
        return _mm_madd_epi16(_mm_mulhi_epi16(d, d), model.weight);
    }
    static __m128i weighted_low(__m128i d, const EightOfModel& model)
    {
        return _mm_madd_epi16(_mm_srli_epi16(_mm_mullo_epi16(d, d), 1), model.weight);
    }
    static __m128i row_a_lane(const __m128i (&v)[4])
    {
        return _mm_unpacklo_epi64(_mm_unpacklo_epi32(v[0], v[1]), _mm_unpacklo_epi32(v[2], v[3]));
    }
    // The terms of 16-bit elements that stand in the lower halves of the lanes. The square of a difference fills
    // all 32 bits without a sign.
    __m128i exact(__m128i x, __m128i mean, __m128i weight) const
    {
        const __m128i x_32 = _mm_srai_epi32(_mm_slli_epi32(x, 16), 16);
        const __m128i mean_32 = _mm_srai_epi32(_mm_slli_epi32(mean, 16), 16);
        const __m128i magnitude = _mm_abs_epi32(_mm_sub_epi32(x_32, mean_32));
        const __m128i square_high = _mm_mulhi_epu16(magnitude, magnitude);
        const __m128i square_low = _mm_srli_epi16(_mm_mullo_epi16(magnitude, magnitude), 1);
        // The pair multiplication takes a high half above 32767 for itself less 65536.
        const __m128i negative = _mm_srai_epi32(_mm_slli_epi32(square_high, 16), 31);
        const __m128i high_term = _mm_add_epi32(_mm_madd_epi16(square_high, weight),
                                                _mm_and_si128(negative, _mm_slli_epi32(weight, 16)));
        return shifts.sum(shifts.high_lanes(high_term), shifts.low_lanes(_mm_madd_epi16(square_low, weight)));
    }
};

// finish(r, sums, count) takes the sums of rows r to r + count - 1 in the first lanes.
template <class Sum, class Scored, class Finish>
inline void sum_fixed_rows(Scored scored, int32_t width, int32_t height, Sum empty, Finish finish)
{
    const int32_t left = width % 8;
    const int32_t whole = width - left;
    const FixedRowEnd load_tail(width);
    for (int32_t r = 0; r < height;) {
        const auto group = scored.template group<4>(r, height - 1);
        const int32_t count = std::min(height - r, int32_t{4});
        Sum sum = empty;
        for (int32_t k = 0; k < whole; k += 8)
            group.each([k](const int16_t* row) { return Unaligned::bytes(row + k); },
                       [&](auto n, __m128i x, const EightOfModel& model) { sum.take(n, x, model); });
        finish(r, sum.finish(group, load_tail, left), count);
        r += count;
    }
}

}  // namespace zelsr
