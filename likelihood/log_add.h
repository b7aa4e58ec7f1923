// One addition in the log domain, ln(e^a + e^b), in the arithmetic of each hint.
//
// With hi the larger operand and d = -|a - b|: below the cut the result is hi raised to the floor; else hi + P(t),
// P and t = d - bound by the interval that d lies in. NaN lies in no interval's way: it comes out.
#pragma once

#include "core/simd.h"
#include "likelihood/log_add_tables.h"

namespace zelsr {

// The single-precision domain: -ln(4.5e6) is the cut.
inline constexpr float kLogZero_32f = -4.5e6F;
inline constexpr double kLogCut_32f = -15.3195879547406;
inline constexpr double kUpperBound_32f = -2.55;
inline constexpr double kLowerBound_32f = -6.8;
// The double-precision domain: -ln(1e10) is the cut, and the floor holds for a result below -9e9.
inline constexpr double kLogZero_64f = -1e10;
inline constexpr double kLogZeroTest_64f = -9e9;
inline constexpr double kLogCut_64f = -23.0258509299405;
inline constexpr double kUpperBound_64f = -3.5;
inline constexpr double kLowerBound_64f = -9.0;

namespace detail {

inline __m128 choose(__m128 mask, __m128 yes, __m128 no)
{
    return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no));
}
inline __m128d choose(__m128d mask, __m128d yes, __m128d no)
{
    return _mm_or_pd(_mm_and_pd(mask, yes), _mm_andnot_pd(mask, no));
}
inline __m128 minus_abs(__m128 v) { return _mm_or_ps(v, _mm_set1_ps(-0.0F)); }
inline __m128d minus_abs(__m128d v) { return _mm_or_pd(v, _mm_set1_pd(-0.0)); }

// Where each lane's difference lies.
struct Intervals_32f {
    __m128 hi;
    __m128 t;
    __m128 below_cut;
    std::size_t entry;

    Intervals_32f(__m128 a, __m128 b)
    {
        const __m128 upper = _mm_set1_ps(static_cast<float>(kUpperBound_32f));
        const __m128 lower = _mm_set1_ps(static_cast<float>(kLowerBound_32f));
        hi = _mm_max_ps(a, b);
        const __m128 d = minus_abs(a - b);
        const __m128 in_upper = _mm_cmple_ps(d, upper);
        const __m128 in_lower = _mm_cmple_ps(d, lower);
        below_cut = _mm_cmplt_ps(d, _mm_set1_ps(static_cast<float>(kLogCut_32f)));
        t = d - choose(in_lower, lower, _mm_and_ps(in_upper, upper));
        entry = lane_entry(_mm_movemask_ps(in_upper), _mm_movemask_ps(in_lower));
    }
    bool all_below_cut() const { return _mm_movemask_ps(below_cut) == 15; }
    __m128 with_floor(__m128 sum) const
    {
        return choose(below_cut, _mm_max_ps(hi, _mm_set1_ps(kLogZero_32f)), sum);
    }
};

// Even and odd powers of t apart: hi + A(t^2), t * B(t^2), over Terms coefficients.
inline __m128d even_and_odd(const std::array<std::array<double, 4>, 11>& coefficients, std::size_t lane, __m128d t,
                            __m128d hi)
{
    const auto c = [&](std::size_t term) { return Aligned::two(coefficients[term].data() + lane); };
    const __m128d s = t * t;
    __m128d a = c(0);
    __m128d b = c(1);
    for_each_index<4>([&](auto i) {
        a = a * s + c(2 * i + 2);
        b = b * s + c(2 * i + 3);
    });
    a = a * s + c(10);
    return (hi + a) + t * b;
}

}  // namespace detail

// Hint 0: comparisons, d and t in single, the polynomial in double.
struct AccurateLogAdd {
    static __m128 add(__m128 a, __m128 b)
    {
        const detail::Intervals_32f at(a, b);
        if (at.all_below_cut()) return at.with_floor(at.hi);
        const auto& coefficients = kFastLanes_64f[at.entry];
        const __m128d low = detail::even_and_odd(coefficients, 0, _mm_cvtps_pd(at.t), _mm_cvtps_pd(at.hi));
        const __m128d high = detail::even_and_odd(coefficients, 2, _mm_cvtps_pd(_mm_movehl_ps(at.t, at.t)),
                                                  _mm_cvtps_pd(_mm_movehl_ps(at.hi, at.hi)));
        return at.with_floor(_mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high)));
    }
};

// Hint 1: all in single, Horner's rule.
struct FastLogAdd {
    static __m128 add(__m128 a, __m128 b)
    {
        const detail::Intervals_32f at(a, b);
        if (at.all_below_cut()) return at.with_floor(at.hi);
        const auto& coefficients = kFastLanes_32f[at.entry];
        __m128 sum = Aligned::four(coefficients[0].data());
        for_each_index<10>([&](auto i) { sum = sum * at.t + Aligned::four(coefficients[i + 1].data()); });
        return at.with_floor(at.hi + sum);
    }
};

// Hint 2: one pair in extended precision, with the bounds in double.
inline float add_logs_extended(float a, float b)
{
    using Extended = long double;
    const Extended hi = a > b ? a : b;
    const Extended d = -__builtin_fabsl(static_cast<Extended>(a) - static_cast<Extended>(b));
    if (d < Extended{kLogCut_32f}) return hi < Extended{kLogZero_32f} ? kLogZero_32f : static_cast<float>(hi);
    const std::size_t interval = static_cast<std::size_t>(d <= Extended{kUpperBound_32f}) +
                                 static_cast<std::size_t>(d <= Extended{kLowerBound_32f});
    constexpr Extended bounds[3] = {0, kUpperBound_32f, kLowerBound_32f};
    const Extended t = d - bounds[interval];
    const auto& c = kFastPolynomials[interval];
    const Extended s = t * t;
    Extended even = c[0];
    Extended odd = c[1];
    for (std::size_t i = 2; i < 10; i += 2) {
        even = even * s + c[i];
        odd = odd * s + c[i + 1];
    }
    even = even * s;
    return static_cast<float>((even + c[10]) + (t * odd + hi));
}

// The double-precision domain.
struct DoubleLogAdd {
    static __m128d add(__m128d a, __m128d b)
    {
        const __m128d upper = _mm_set1_pd(kUpperBound_64f);
        const __m128d lower = _mm_set1_pd(kLowerBound_64f);
        const __m128d hi = _mm_max_pd(a, b);
        const __m128d d = detail::minus_abs(a - b);
        const __m128d below_cut = _mm_cmplt_pd(d, _mm_set1_pd(kLogCut_64f));
        const __m128d floored =
            detail::choose(_mm_cmplt_pd(hi, _mm_set1_pd(kLogZeroTest_64f)), _mm_set1_pd(kLogZero_64f), hi);
        if (_mm_movemask_pd(below_cut) == 3) return floored;
        const __m128d in_upper = _mm_cmple_pd(d, upper);
        const __m128d in_lower = _mm_cmple_pd(d, lower);
        const __m128d t = d - detail::choose(in_lower, lower, _mm_and_pd(in_upper, upper));
        const auto& coefficients =
            kFullLanes_64f[lane_entry(_mm_movemask_pd(in_upper), _mm_movemask_pd(in_lower))];
        const auto c = [&](std::size_t term) { return Aligned::two(coefficients[term].data()); };
        const __m128d s = t * t;
        __m128d odd = c(0);
        __m128d even = c(1);
        for_each_index<10>([&](auto i) {
            odd = odd * s + c(2 * i + 2);
            even = even * s + c(2 * i + 3);
        });
        return detail::choose(below_cut, floored, (hi + t * odd) + even);
    }
};

// A vector of logarithms into another, element by element; the last ones as a register with zeros beyond the end.
template <class Sum>
void add_logs(const float* src, float* srcdst, int32_t len)
{
    int32_t i = 0;
    for (; i + 4 <= len; i += 4)
        Unaligned::put(srcdst + i, Sum::add(Unaligned::four(src + i), Unaligned::four(srcdst + i)));
    if (i < len) {
        const FirstLanes load{len - i};
        store_first(srcdst + i, Sum::add(load.lanes(src + i), load.lanes(srcdst + i)), len - i);
    }
}
inline void add_logs(const double* src, double* srcdst, int32_t len)
{
    int32_t i = 0;
    for (; i + 2 <= len; i += 2)
        Unaligned::put(srcdst + i, DoubleLogAdd::add(Unaligned::two(src + i), Unaligned::two(srcdst + i)));
    if (i < len)
        store_first(srcdst + i, DoubleLogAdd::add(OneLane::lanes(src + i), OneLane::lanes(srcdst + i)), 1);
}

// ln(sum of e^x[i]) by successive additions.

template <class Sum, class Lanes, class T>
Lanes fold_serially(Lanes sum, const T* x, int32_t count)
{
    for (int32_t i = 0; i < count; ++i) sum = Sum::add(sum, OneLane::lanes(x + i));
    return sum;
}

// Up to seven elements one after the other; from eight in four lanes, which are then folded, upper half onto
// lower; the rest one after the other.
inline float sum_logs(const float* x, int32_t len)
{
    if (len < 8) return _mm_cvtss_f32(fold_serially<FastLogAdd>(OneLane::lanes(x), x + 1, len - 1));
    __m128 sum = Unaligned::four(x);
    int32_t i = 4;
    for (; i + 4 <= len; i += 4) sum = FastLogAdd::add(sum, Unaligned::four(x + i));
    sum = FastLogAdd::add(sum, _mm_movehl_ps(sum, sum));
    sum = FastLogAdd::add(sum, next_lane(sum));
    return _mm_cvtss_f32(fold_serially<FastLogAdd>(sum, x + i, len - i));
}
// Up to four elements one after the other; beyond, in two lanes, which are then folded.
inline double sum_logs(const double* x, int32_t len)
{
    if (len <= 4) return _mm_cvtsd_f64(fold_serially<DoubleLogAdd>(OneLane::lanes(x), x + 1, len - 1));
    __m128d sum = Unaligned::two(x);
    int32_t i = 2;
    for (; i + 2 <= len; i += 2) sum = DoubleLogAdd::add(sum, Unaligned::two(x + i));
    sum = DoubleLogAdd::add(sum, _mm_unpackhi_pd(sum, sum));
    return _mm_cvtsd_f64(fold_serially<DoubleLogAdd>(sum, x + i, len - i));
}

}  // namespace zelsr
