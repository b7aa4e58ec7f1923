// Scores of one vector against one Gaussian, in the order of sums that each type and variance keeps.
#pragma once

#include "core/rows.h"
#include "likelihood/score.h"

namespace zelsr {

// Two partial sums of four lanes, each as Load gives them, take a vector: of every 16 elements the first eight go
// to A, the others to B, four by four; eight left over go to A. The rest goes to A by the tail.
template <class Load, class Sign = Subtracted, class T, class Term, class Tail>
inline auto sixteen_by_sixteen(const T* x, Term term, int32_t len, Tail tail)
{
    const auto term_at = [x, term](int32_t k) { return term.at(k, Load{})(Load::lanes(x + k)); };
    decltype(term_at(0)) a{};
    decltype(term_at(0)) b{};
    const int32_t whole = len & -16;
    int32_t k = 0;
    for (; k < whole; k += 16) {
        a = Sign::join(a, term_at(k));
        b = Sign::join(b, term_at(k + 8));
        a = Sign::join(a, term_at(k + 4));
        b = Sign::join(b, term_at(k + 12));
    }
    if (len - k >= 8) {
        a = Sign::join(a, term_at(k));
        a = Sign::join(a, term_at(k + 4));
        k += 8;
    }
    tail(a, k);
    return a + b;
}

// Up to seven elements, one at a time into lane 0.
template <class Term>
inline auto lane_zero_tail(const float* x, Term term, int32_t len)
{
    return [=](__m128& a, int32_t k) {
        for (; k < len; ++k) a = a - term.at(k, OneLane{})(OneLane::lanes(x + k));
    };
}

// A whole register, then up to three elements as one with zeros beyond the end.
template <class Load, class Sign = Subtracted, class First = FirstLanes, class T, class Term>
inline auto register_tail(const T* x, Term term, int32_t len)
{
    return [=](auto& a, int32_t k) {
        if (len - k >= 4) {
            a = Sign::join(a, term.at(k, Load{})(Load::lanes(x + k)));
            k += 4;
        }
        if (k < len) {
            const First load{len - k};
            a = Sign::join(a, term.at(k, load)(load.lanes(x + k)));
        }
    };
}

// 0.5 * (2 val - S). The two kernels differ in their tails, and so in which partial sum takes the last elements.
inline float score_one(const float* x, InverseVariance<float> term, int32_t len, float val)
{
    const __m128 sum = all_aligned(x, term.mean, term.inv_var)
                           ? sixteen_by_sixteen<Aligned>(x, term, len, register_tail<Aligned>(x, term, len))
                           : sixteen_by_sixteen<Unaligned>(x, term, len, lane_zero_tail(x, term, len));
    return (join_pairs(sum) + 2 * val) * 0.5F;
}
inline float score_one(const float* x, UnitVariance<float> term, int32_t len, float val)
{
    const __m128 sum = all_aligned(x, term.mean)
                           ? sixteen_by_sixteen<Aligned>(x, term, len, lane_zero_tail(x, term, len))
                           : sixteen_by_sixteen<Unaligned>(x, term, len, lane_zero_tail(x, term, len));
    return (join_halves(sum) + 2 * val) * 0.5F;
}

// One element or two neighbours, as double.
inline __m128d widened_pair(const double* p) { return Unaligned::two(p); }
inline __m128d widened_pair(const float* p)
{
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
template <class T>
double widened(const T* p)
{
    return static_cast<double>(load_one(p));
}

// How data of either precision are loaded for sums in double.
struct WidenedPair {
    template <class T>
    static __m128d lanes(const T* p)
    {
        return widened_pair(p);
    }
};
struct WidenedOne {
    template <class T>
    static double lanes(const T* p)
    {
        return widened(p);
    }
};

// val - 0.5 * S in double: up to eight elements one after the other; beyond, four partial sums of the elements
// with the same index modulo 4, eight elements to a pass, then the rest one after the other.
template <class T, class Term>
inline double score_one_in_double(const T* x, Term term, int32_t len, double val)
{
    const auto pair_at = [x, term](int32_t k) { return term.at(k, WidenedPair{})(WidenedPair::lanes(x + k)); };
    double sum = 0;
    int32_t k = 0;
    if (len > 8) {
        __m128d even_pair = _mm_setzero_pd();
        __m128d odd_pair = _mm_setzero_pd();
        for (const int32_t whole = len & -8; k < whole; k += 8) {
            even_pair = even_pair + pair_at(k);
            odd_pair = odd_pair + pair_at(k + 2);
            even_pair = even_pair + pair_at(k + 4);
            odd_pair = odd_pair + pair_at(k + 6);
        }
        sum = join(even_pair + odd_pair);
    }
    for (; k < len; ++k) sum = sum + term.at(k, WidenedOne{})(WidenedOne::lanes(x + k));
    return val - 0.5 * sum;
}

// val - 0.5 * S in double with one partial sum for the even and one for the odd elements.
template <class Load, class Term>
inline double score_one_even_odd(const double* x, Term term, int32_t len, double val)
{
    const int32_t whole = len & -2;
    __m128d sums = _mm_setzero_pd();
    int32_t k = 0;
    for (; k < whole; k += 2) sums = sums + term.at(k, Load{})(Load::lanes(x + k));
    double even = _mm_cvtsd_f64(sums);
    const double odd = _mm_cvtsd_f64(_mm_unpackhi_pd(sums, sums));
    if (k < len) even = even + term.at(k, WidenedOne{})(WidenedOne::lanes(x + k));
    return val - 0.5 * (odd + even);
}

// A long vector goes to two partial sums, a short one to the plain order.
inline double score_one(const double* x, UnitVariance<double> term, int32_t len, double val)
{
    if (len <= 54) return score_one_in_double(x, term, len, val);
    return all_aligned(x, term.mean) ? score_one_even_odd<Aligned>(x, term, len, val)
                                     : score_one_even_odd<Unaligned>(x, term, len, val);
}

}  // namespace zelsr
