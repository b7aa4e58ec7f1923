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

inline __m128 minus_abs(__m128 v) { return _mm_or_ps(v, _mm_set1_ps(-0.0F)); }
inline __m128d minus_abs(__m128d v) { return _mm_or_pd(v, _mm_set1_pd(-0.0)); }

// Where each lane's difference lies.
struct Difference_32f {
    __m128 hi, d, below_cut, in_upper, in_lower;

    [[gnu::always_inline]] Difference_32f(__m128 a, __m128 b)
        : hi(_mm_max_ps(a, b)),
          d(minus_abs(a - b)),
          below_cut(_mm_cmplt_ps(d, _mm_set1_ps(static_cast<float>(kLogCut_32f)))),
          in_upper(_mm_cmple_ps(d, _mm_set1_ps(static_cast<float>(kUpperBound_32f)))),
          in_lower(_mm_cmple_ps(d, _mm_set1_ps(static_cast<float>(kLowerBound_32f))))
    {}
};
[[gnu::always_inline]] inline __m128 with_floor(__m128 hi, __m128 below_cut, __m128 sum)
{
    return choose(below_cut, _mm_max_ps(hi, _mm_set1_ps(kLogZero_32f)), sum);
}

// Two Horner chains in t^2 for each of N registers abreast: first takes a register's terms 0, 2, ..., second terms
// 1, 3, ...; steps more of each after the first one. term(n, i): term i in the lanes of register n.
template <int Steps, int N, class Term>
[[gnu::always_inline]] inline void alternate_terms(const __m128d (&t)[N], Term term, __m128d (&first)[N],
                                                   __m128d (&second)[N])
{
    __m128d s[N];
    for_each_index<N>([&](auto n) __attribute__((always_inline)) {
        s[n] = t[n] * t[n];
        first[n] = term(n, 0);
        second[n] = term(n, 1);
    });
    for_each_index<Steps>([&](auto i) __attribute__((always_inline)) {
        for_each_index<N>([&](auto n) __attribute__((always_inline)) {
            first[n] = first[n] * s[n] + term(n, 2 * i + 2);
            second[n] = second[n] * s[n] + term(n, 2 * i + 3);
            fix_order(first[n], second[n]);
        });
    });
}

}  // namespace detail

// Each log addition takes N registers abreast: Horner's chains are up to ten multiplications and additions deep,
// and one register's alone leave the processor waiting. The compiler would put the loads and shuffles of all terms
// first and spill them; hence the fixed order.

// Hint 0: comparisons, d and t in single, the polynomial in double, even and odd powers of t apart.
struct AccurateLogAdd {
    static constexpr int kAbreast = 3;

    static __m128 add(__m128 a, __m128 b)
    {
        __m128 sum[1] = {b};
        add<1>({a}, sum);
        return sum[0];
    }

    template <int N>
    [[gnu::always_inline]] static void add(const __m128 (&a)[N], __m128 (&b)[N])
    {
        const __m128 upper = _mm_set1_ps(static_cast<float>(kUpperBound_32f));
        const __m128 lower = _mm_set1_ps(static_cast<float>(kLowerBound_32f));
        __m128 hi[N], below_cut[N];
        __m128d t[2 * N], even[2 * N], odd[2 * N];
        const double* terms[N];
        for_each_index<N>([&](auto n) __attribute__((always_inline)) {
            const detail::Difference_32f at(a[n], b[n]);
            hi[n] = at.hi;
            below_cut[n] = at.below_cut;
            const __m128 four_t = at.d - choose(at.in_lower, lower, _mm_and_ps(at.in_upper, upper));
            t[2 * n] = _mm_cvtps_pd(four_t);
            t[2 * n + 1] = _mm_cvtps_pd(_mm_movehl_ps(four_t, four_t));
            const std::size_t entry = lane_entry(_mm_movemask_ps(at.in_upper), _mm_movemask_ps(at.in_lower));
            terms[n] = kFastLanes_64f[entry][0].data();
        });
        const auto term = [&](auto half, int i) __attribute__((always_inline))
        {
            return Aligned::two(terms[half / 2] + 4 * i + half % 2 * 2);
        };
        detail::alternate_terms<4>(t, term, even, odd);
        for_each_index<N>([&](auto n) __attribute__((always_inline)) {
            const auto sum = [&](auto half, __m128d hi_half) __attribute__((always_inline))
            {
                return _mm_cvtpd_ps((hi_half + (even[half] * (t[half] * t[half]) + term(half, 10))) +
                                    t[half] * odd[half]);
            };
            const __m128 low = sum(std::integral_constant<int, 2 * n>{}, _mm_cvtps_pd(hi[n]));
            const __m128 high =
                sum(std::integral_constant<int, 2 * n + 1>{}, _mm_cvtps_pd(_mm_movehl_ps(hi[n], hi[n])));
            b[n] = detail::with_floor(hi[n], below_cut[n], _mm_movelh_ps(low, high));
        });
    }
};

// Hint 1: all in single, Horner's rule.
//
// A shuffle of bytes picks each lane's coefficient out of a term's three.
struct FastLogAdd {
    static constexpr int kAbreast = 4;

    static __m128 add(__m128 a, __m128 b)
    {
        __m128 sum[1] = {b};
        add<1>({a}, sum);
        return sum[0];
    }

    template <int N>
    [[gnu::always_inline]] static void add(const __m128 (&a)[N], __m128 (&b)[N])
    {
        const __m128 next = _mm_castsi128_ps(_mm_set1_epi8(4));
        __m128 hi[N], below_cut[N], t[N], sum[N];
        __m128i interval[N];
        for_each_index<N>([&](auto n) __attribute__((always_inline)) {
            const detail::Difference_32f at(a[n], b[n]);
            hi[n] = at.hi;
            below_cut[n] = at.below_cut;
            const __m128i at_or_below = _mm_add_epi8(_mm_castps_si128(_mm_and_ps(at.in_upper, next)),
                                                     _mm_castps_si128(_mm_and_ps(at.in_lower, next)));
            interval[n] = _mm_add_epi8(at_or_below, _mm_set1_epi32(0x03020100));
            t[n] = at.d - of_interval(kFastBounds, interval[n]);
            sum[n] = of_interval(kFastTerms[0], interval[n]);
        });
        for_each_index<10>([&](auto i) __attribute__((always_inline)) {
            for_each_index<N>([&](auto n) __attribute__((always_inline)) {
                sum[n] = sum[n] * t[n] + of_interval(kFastTerms[i + 1], interval[n]);
                fix_order(sum[n], interval[n]);
            });
        });
        for_each_index<N>([&](auto n) __attribute__((always_inline)) {
            b[n] = detail::with_floor(hi[n], below_cut[n], hi[n] + sum[n]);
        });
    }

  private:
    // A term's coefficients (or the bounds), an interval a lane; the fourth is not used.
    using OfIntervals = std::array<float, 4>;
    alignas(16) static constexpr OfIntervals kFastBounds = {0, static_cast<float>(kUpperBound_32f),
                                                            static_cast<float>(kLowerBound_32f), 0};
    alignas(16) static constexpr std::array<OfIntervals, 11> kFastTerms = [] {
        std::array<OfIntervals, 11> terms{};
        for (std::size_t i = 0; i < terms.size(); ++i)
            for (std::size_t interval = 0; interval < 3; ++interval)
                terms[i][interval] = static_cast<float>(kFastPolynomials[interval][i]);
        return terms;
    }();
    static __m128 of_interval(const OfIntervals& each, __m128i interval)
    {
        return _mm_castsi128_ps(_mm_shuffle_epi8(_mm_castps_si128(Aligned::four(each.data())), interval));
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
    static constexpr int kAbreast = 5;

    static __m128d add(__m128d a, __m128d b)
    {
        __m128d sum[1] = {b};
        add<1>({a}, sum);
        return sum[0];
    }

    template <int N>
    [[gnu::always_inline]] static void add(const __m128d (&a)[N], __m128d (&b)[N])
    {
        const __m128d upper = _mm_set1_pd(kUpperBound_64f);
        const __m128d lower = _mm_set1_pd(kLowerBound_64f);
        __m128d hi[N], below_cut[N], t[N], odd[N], even[N];
        const double* terms[N];
        for_each_index<N>([&](auto n) __attribute__((always_inline)) {
            hi[n] = _mm_max_pd(a[n], b[n]);
            const __m128d d = detail::minus_abs(a[n] - b[n]);
            below_cut[n] = _mm_cmplt_pd(d, _mm_set1_pd(kLogCut_64f));
            const __m128d in_upper = _mm_cmple_pd(d, upper);
            const __m128d in_lower = _mm_cmple_pd(d, lower);
            t[n] = d - choose(in_lower, lower, _mm_and_pd(in_upper, upper));
            const std::size_t entry = lane_entry(_mm_movemask_pd(in_upper), _mm_movemask_pd(in_lower));
            terms[n] = kFullLanes_64f[entry][0].data();
        });
        detail::alternate_terms<10>(
            t, [&](auto n, int i) __attribute__((always_inline)) { return Aligned::two(terms[n] + 2 * i); }, odd,
            even);
        for_each_index<N>([&](auto n) __attribute__((always_inline)) {
            const __m128d floored =
                choose(_mm_cmplt_pd(hi[n], _mm_set1_pd(kLogZeroTest_64f)), _mm_set1_pd(kLogZero_64f), hi[n]);
            b[n] = choose(below_cut[n], floored, (hi[n] + t[n] * odd[n]) + even[n]);
        });
    }
};

// A vector of logarithms into another, element by element; the last ones as a register with zeros beyond the end.
template <class Sum, class T>
void add_logs(const T* src, T* srcdst, int32_t len)
{
    using Lanes = LanesOf<T>;
    constexpr int lanes = kLanes<T>;
    constexpr int abreast = Sum::kAbreast;
    int32_t i = 0;
    for (; len - i >= lanes * abreast; i += lanes * abreast) {
        Lanes a[abreast], b[abreast];
        for_each_index<abreast>([&](auto n) {
            a[n] = Unaligned::lanes(src + i + lanes * n);
            b[n] = Unaligned::lanes(srcdst + i + lanes * n);
        });
        Sum::add(a, b);
        for_each_index<abreast>([&](auto n) { Unaligned::put(srcdst + i + lanes * n, b[n]); });
    }
    for (; len - i >= lanes; i += lanes)
        Unaligned::put(srcdst + i, Sum::add(Unaligned::lanes(src + i), Unaligned::lanes(srcdst + i)));
    if (i < len) {
        const FirstLanes load{len - i};
        store_first(srcdst + i, Sum::add(load.lanes(src + i), load.lanes(srcdst + i)), len - i);
    }
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
