// Distances of vectors to Gaussians and of Gaussians to each other, and order statistics, element by element.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/reference/fixed.h"
#include "support/reference/fixed_point.h"
#include "support/reference/gauss.h"

namespace zelsr::test::reference {

// --- Mahalanobis: sum over k of (x[k] - m[k])^2 * p[k], term(k) being an addend ---

template <class Sum>
using FourLanes = std::array<Sum, 4>;

template <class Sum>
Sum joined(const FourLanes<Sum>& v)
{
    return (v[0] + v[1]) + (v[2] + v[3]);
}

// All arrays on 16 bytes: groups of 8 go alternately to A and B, by lanes; what is left after them goes to A.
template <class Sum, class Term>
Sum aligned_distance(int n, Term term)
{
    FourLanes<Sum> a{}, b{};
    for (int k = 0; k < n; ++k) {
        FourLanes<Sum>& into = k < n - n % 8 && k / 8 % 2 == 1 ? b : a;
        into[static_cast<std::size_t>(k % 4)] += term(k);
    }
    return joined<Sum>({a[0] + b[0], a[1] + b[1], a[2] + b[2], a[3] + b[3]});
}

// Elsewhere: up to 10 elements one by one; beyond, a sum for each index modulo 8, and the rest one by one.
template <class Sum, class Term>
Sum plain_distance(int n, Term term)
{
    Sum sum = 0;
    int k = 0;
    if (n > 10) {
        FourLanes<Sum> lower{}, upper{};
        for (; k < n - n % 8; ++k) (k % 8 < 4 ? lower : upper)[static_cast<std::size_t>(k % 4)] += term(k);
        sum = joined<Sum>({lower[0] + upper[0], lower[1] + upper[1], lower[2] + upper[2], lower[3] + upper[3]});
    }
    for (; k < n; ++k) sum += term(k);
    return sum;
}

template <class Sum, class Term>
Sum distance(int n, bool aligned, Term term)
{
    return aligned ? aligned_distance<Sum>(n, term) : plain_distance<Sum>(n, term);
}

// A frame of many: below 4 elements one by one; else as a score's sum.
inline float frame_distance(int width, bool aligned, const float* x, const InverseVariance<float>& term)
{
    if (width >= 4) return frame_sum_32f(x, term, width, aligned);
    float sum = 0;
    for (int k = 0; k < width; ++k) sum += term(x, k);
    return sum;
}
// Double precision: even and odd elements.
inline double frame_distance(int width, bool /*aligned*/, const double* x, const InverseVariance<double>& term)
{
    double lanes[2] = {0, 0};
    for (int k = 0; k < width; ++k) lanes[k % 2] += term(x, k);
    return lanes[0] + lanes[1];
}
// A Gaussian of many: the elements beyond the last four go to lane 0.
inline float component_distance(int width, const float* x, const InverseVariance<float>& term)
{
    Lanes lanes{};
    for (int k = 0; k < width; ++k) lanes[k < width - width % 4 ? k % 4 : 0] += term(x, k);
    return join_pairs(lanes);
}

// 16-bit data. Aligned: the sum of the scores. Elsewhere differences are exact.
inline float distance_16s(const fixed::Operands& o, bool aligned)
{
    if (aligned) return fixed::plain_vector_sum(o.n, [&](int k) { return fixed::plain_term(o, k); });
    return plain_distance<float>(o.n, [&](int k) {
        const std::int64_t d = o.difference(k);
        return static_cast<float>(d * d) * static_cast<float>(o.p[k]);
    });
}

// times 2^-sf, saturated. Aligned: the single rounded to nearest; elsewhere the exact sum, rounded down.
inline std::int32_t scaled_distance_16s(const fixed::Operands& o, bool aligned, std::int32_t sf)
{
    if (aligned) {
        const int steps = std::clamp(sf, -500, 500);
        const double scaled = std::ldexp(static_cast<double>(distance_16s(o, true)), -steps);
        return static_cast<std::int32_t>(std::nearbyint(std::clamp(scaled, -2147483648.0, 2147483647.0)));
    }
    std::int64_t sum = 0;
    for (int k = 0; k < o.n; ++k) sum += o.difference(k) * o.difference(k) * o.p[k];
    if (sf >= 0) return saturate<std::int32_t>(sum >> std::min(sf, 63));
    return shift_left_saturated<std::int32_t>(sum, -std::max(sf, -64));
}

// --- Bhattacharyya ---

struct Gaussians {
    std::vector<float> mean1, var1, mean2, var2;
    std::size_t size() const { return mean1.size(); }
};

enum class Positive { Yes, Zero, Negative };

// Four positions of all arrays at a time, then one at a time: the first ones with a value not above zero decide, a
// value below zero before one that is zero.
inline Positive all_positive(const Gaussians& g)
{
    const std::size_t n = g.size(), groups = n - n % 4;
    for (std::size_t first = 0; first < n;) {
        const std::size_t last = first + (first < groups ? 4 : 1);
        bool zero = false, negative = false;
        for (const std::vector<float>* array : {&g.mean1, &g.var1, &g.mean2, &g.var2})
            for (std::size_t k = first; k < last; ++k) {
                zero = zero || (*array)[k] == 0;
                negative = negative || (*array)[k] < 0;
            }
        if (negative) return Positive::Negative;
        if (zero) return Positive::Zero;
        first = last;
    }
    return Positive::Yes;
}

// The processor's 12-bit estimate.
inline float estimated_reciprocal(float x) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(x))); }

// The terms of a distance in extended precision. magnitude: what rounding errors scale with.
struct BhattacharyyaTerms {
    long double of_means = 0;    // sum of (m1 - m2)^2 / (v1 + v2)
    long double logarithms = 0;  // sum of the logarithms that the form takes
    long double magnitude = 0;
};

enum class Ratio { Exact, Estimated, SumOfVariances };

inline BhattacharyyaTerms bhattacharyya_terms(const Gaussians& g, Ratio ratio)
{
    BhattacharyyaTerms t;
    for (std::size_t k = 0; k < g.size(); ++k) {
        const long double d = static_cast<long double>(g.mean1[k]) - g.mean2[k], a = g.var1[k], b = g.var2[k];
        t.of_means += d * d / (a + b);
        long double w = a + b;
        if (ratio == Ratio::Exact) w = (a + b) * (a + b) / (a * b);
        if (ratio == Ratio::Estimated) {
            const float r = estimated_reciprocal(g.var1[k]) * g.var2[k];
            w = 2.0F + r + estimated_reciprocal(r);
        }
        t.logarithms += std::log(w);
        t.magnitude += d * d / (a + b) + std::abs(std::log(w)) + 1;
    }
    return t;
}

// With ln 4 and ln 2 as the constants that the library takes for them.
inline long double bhattacharyya(const BhattacharyyaTerms& t, std::size_t n)
{
    const auto count = static_cast<long double>(n);
    return (t.logarithms * 0.5L - count * static_cast<long double>(1.386294) * 0.5L) * 0.5L + t.of_means * 0.25L;
}
inline long double bhattacharyya_with_logarithms(const BhattacharyyaTerms& t, std::size_t n, float sum1,
                                                 float sum2)
{
    const auto count = static_cast<long double>(n);
    return (t.logarithms - count * static_cast<long double>(0.693147)) * 0.5L -
           (static_cast<long double>(sum1) + sum2) * 0.25L + t.of_means * 0.25L;
}

}  // namespace zelsr::test::reference
