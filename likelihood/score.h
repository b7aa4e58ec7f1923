// The arithmetic of every Gaussian score: terms, and sums of terms over a vector.
//
// The partial sums and the order in which they are joined are contract: they fix the bits. How many vectors a
// kernel takes together is not.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "core/simd.h"

namespace zelsr {

// Terms: what one element adds to the sum. at(k, load) loads the model's elements from index k on, the way their
// neighbours are loaded, and gives the function of x, so that several frames can share one load.

template <class T>
struct InverseVariance {  // (x - m)^2 * p
    const T* mean;
    const T* inv_var;

    template <class Load>
    [[gnu::always_inline]] auto at(int32_t k, Load load) const
    {
        return [m = load.lanes(mean + k), p = load.lanes(inv_var + k)](auto x) {
            const auto d = x - m;
            return d * d * p;
        };
    }
};
template <class T>
InverseVariance(const T*, const T*) -> InverseVariance<T>;

template <class T>
struct UnitVariance {  // (x - m)^2
    const T* mean;

    template <class Load>
    [[gnu::always_inline]] auto at(int32_t k, Load load) const
    {
        return [m = load.lanes(mean + k)](auto x) {
            const auto d = x - m;
            return d * d;
        };
    }
};
template <class T>
UnitVariance(const T*) -> UnitVariance<T>;

// Whether a partial sum takes its terms with their sign or against it. Only the sign of a zero result tells the
// difference.
struct Added {
    template <class Lanes>
    static Lanes join(Lanes sum, Lanes term)
    {
        return sum + term;
    }
};
struct Subtracted {
    template <class Lanes>
    static Lanes join(Lanes sum, Lanes term)
    {
        return sum - term;
    }
};

// N vectors to be scored together, each by one Gaussian: each_term(k, load, f) calls f(n, term) with the terms of
// their elements from index k on.

// N frames against one Gaussian.
template <int N, class T, class Term>
struct FrameGroup {
    static constexpr int kSize = N;
    using Element = T;

    const T* x[N];
    Term term;

    template <class Load, class F>
    [[gnu::always_inline]] void each_term(int32_t k, Load load, F f) const
    {
        const auto term_of = term.at(k, load);
        for_each_index<N>([&](auto n) { f(n, term_of(load.lanes(x[n] + k))); });
    }
};

// One frame against N Gaussians.
template <int N, class T>
struct GaussianGroup {
    static constexpr int kSize = N;
    using Element = T;

    const T* x;
    const T* mean[N];
    const T* inv_var[N];

    template <class Load, class F>
    [[gnu::always_inline]] void each_term(int32_t k, Load load, F f) const
    {
        const auto lanes = load.lanes(x + k);
        for_each_index<N>([&](auto n) { f(n, InverseVariance{mean[n], inv_var[n]}.at(k, load)(lanes)); });
    }
};

// What is scored: group<N>(r, last) is the group of rows r to r + N - 1, with row last in the places beyond it.
template <class Rows, class Term>
struct FramesAgainstOne {
    using T = typename Rows::Element;

    Rows frames;
    Term term;

    template <int N>
    [[gnu::always_inline]] FrameGroup<N, T, Term> group(int32_t r, int32_t last) const
    {
        FrameGroup<N, T, Term> group{{}, term};
        for_each_index<N>([&](auto n) { group.x[n] = frames[std::min(r + n, last)]; });
        return group;
    }
};
template <class Rows, class Term>
FramesAgainstOne(Rows, Term) -> FramesAgainstOne<Rows, Term>;

template <class Rows>
struct OneAgainstGaussians {
    using T = typename Rows::Element;

    const T* frame;
    Rows mean;
    Rows inv_var;

    template <int N>
    [[gnu::always_inline]] GaussianGroup<N, T> group(int32_t r, int32_t last) const
    {
        GaussianGroup<N, T> group{frame, {}, {}};
        for_each_index<N>([&](auto n) {
            group.mean[n] = mean[std::min(r + n, last)];
            group.inv_var[n] = inv_var[std::min(r + n, last)];
        });
        return group;
    }
};
template <class T, class Rows>
OneAgainstGaussians(const T*, Rows, Rows) -> OneAgainstGaussians<Rows>;

// Adds the terms of all whole registers of a group, register after register, to its partial sums. A loop unrolled
// for the common widths of 36 and 40 was measured a third slower: the compiler then keeps the whole model in
// registers that it does not have.
template <class Sign, class Load, class Lanes, int N, class Group>
[[gnu::always_inline]] inline void add_registers(Lanes (&sum)[N], const Group& group, int32_t width)
{
    constexpr int32_t kStep = kLanes<typename Group::Element>;
    const int32_t whole = width & -kStep;
    for (int32_t k = 0; k < whole; k += kStep)
        group.each_term(k, Load{}, [&](auto n, Lanes term) { sum[n] = Sign::join(sum[n], term); });
}

// What is left of a row behind its whole registers goes to one of three places. Lanes beyond the end add zero.

// The terms of the last elements, in the first lanes.
template <int N, class Group>
[[gnu::always_inline]] inline void end_terms(__m128 (&terms)[N], const Group& group, int32_t width)
{
    const int32_t k = width & -4;
    const auto keep = [&](auto n, __m128 term) { terms[n] = term; };
    if (k == 0)
        group.each_term(k, FirstLanes{width}, keep);
    else
        group.each_term(k, LongRowEnd(width - k), keep);
}

// Into the lanes, as one register, before they are joined.
template <class Sign>
struct MaskedTail {
    template <int N, class Group>
    [[gnu::always_inline]] static __m128 join(__m128 (&sum)[N], const Group& group, int32_t width)
    {
        if (width % 4 != 0) {
            __m128 terms[N];
            end_terms(terms, group, width);
            for_each_index<N>([&](auto n) { sum[n] = Sign::join(sum[n], terms[n]); });
        }
        return join_each(sum);
    }
};

// One at a time to the joined sum.
template <class Sign>
struct SerialTail {
    template <int N, class Group>
    [[gnu::always_inline]] static __m128 join(__m128 (&sum)[N], const Group& group, int32_t width)
    {
        __m128 joined = join_each(sum);
        if (width % 4 != 0) {
            __m128 terms[N];
            end_terms(terms, group, width);
            if constexpr (N == 4) {  // register i then holds element i of every row
                _MM_TRANSPOSE4_PS(terms[0], terms[1], terms[2], terms[3]);
                for_each_index<3>([&](auto i) { joined = Sign::join(joined, terms[i]); });
            } else {
                for (int i = 0; i < 3; ++i, terms[0] = next_lane(terms[0])) joined = Sign::join(joined, terms[0]);
            }
        }
        return joined;
    }
};

// One at a time into lane 0, before the lanes are joined.
template <class Sign>
struct LaneZeroTail {
    template <int N, class Group>
    [[gnu::always_inline]] static __m128 join(__m128 (&sum)[N], const Group& group, int32_t width)
    {
        if (const int32_t left = width % 4; left != 0) {
            __m128 terms[N];
            end_terms(terms, group, width);
            for (int32_t i = 0; i < left; ++i)
                for_each_index<N>([&](auto n) {
                    sum[n] = _mm_move_ss(sum[n], Sign::join(sum[n], terms[n]));
                    terms[n] = next_lane(terms[n]);
                });
        }
        return join_each(sum);
    }
    template <int N, class Group>
    [[gnu::always_inline]] static __m128d join(__m128d (&sum)[N], const Group& group, int32_t width)
    {
        if (width % 2 != 0)
            group.each_term(width - 1, OneLane{},
                            [&](auto n, __m128d term) { sum[n] = Sign::join(sum[n], term); });
        return join_each(sum);
    }
};

// Sums of rows first to last - 1, a group at a time; finish(r, sums, count) takes those of rows r to r + count - 1
// in the first lanes. A single last row does not fill a group. No index passes last, which may be 2^31 - 1.
template <class Sign, class Load, class Tail, class Scored, class Finish>
[[gnu::always_inline]] inline void sum_each(const Scored& scored, int32_t first, int32_t last, int32_t width,
                                            Finish finish)
{
    constexpr int kTogether = kLanes<typename Scored::T>;
    const auto take = [&]<int N>(std::integral_constant<int, N>, int32_t r, int32_t count) {
        const auto group = scored.template group<N>(r, last - 1);
        LanesOf<typename Scored::T> sum[N] = {};
        add_registers<Sign, Load>(sum, group, width);
        finish(r, Tail::join(sum, group, width), count);
    };
    int32_t r = first;
    for (int32_t count; last - r > 1; r += count) {
        count = std::min(last - r, int32_t{kTogether});
        take(std::integral_constant<int, kTogether>{}, r, count);
    }
    if (last - r == 1) take(std::integral_constant<int, 1>{}, r, 1);
}

// Reductions: what happens to the finished scores of rows r to r + count - 1.

template <class T>
struct Store {
    T* score;

    void operator()(int32_t r, LanesOf<T> scores, int32_t count) const { store_first(score + r, scores, count); }
};
template <class T>
Store(T*) -> Store<T>;

// The old value stays unless the score is greater: on equality, and where either is NaN.
struct KeepMax_32f {
    float* best;

    void operator()(int32_t r, __m128 scores, int32_t count) const
    {
        store_first(best + r, _mm_max_ps(scores, load_first(best + r, count)), count);
    }
};
struct KeepMax_64f {
    double* best;

    void operator()(int32_t r, __m128d scores, int32_t count) const
    {
        store_first(best + r, _mm_max_pd(scores, load_first(best + r, count)), count);
    }
};
inline KeepMax_32f keep_max(float* best) { return {best}; }
inline KeepMax_64f keep_max(double* best) { return {best}; }

}  // namespace zelsr
