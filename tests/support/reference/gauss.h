// Scores of diagonal-covariance Gaussians, element by element, in the order of sums that the library promises:
//
//   score = val - 0.5 * S,  S = sum over k of term(k)
//
// Everything is scalar arithmetic in the stated precision, so that bits can be compared. aligned says which of a
// family's two kernels is meant, where their tails differ; which pointers decide it stands with each family.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace zelsr::test::reference {

// What one element adds to S. In: the data's type; Sum: the type of every step of the arithmetic.

template <class In, class Sum = In>
struct InverseVariance {
    const In *mean, *inv_var;
    Sum operator()(const In* x, int k) const
    {
        const Sum d = static_cast<Sum>(x[k]) - static_cast<Sum>(mean[k]);
        return d * d * static_cast<Sum>(inv_var[k]);
    }
};
template <class In>
InverseVariance(const In*, const In*) -> InverseVariance<In>;

template <class In, class Sum = In>
struct UnitVariance {
    const In* mean;
    Sum operator()(const In* x, int k) const
    {
        const Sum d = static_cast<Sum>(x[k]) - static_cast<Sum>(mean[k]);
        return d * d;
    }
};
template <class In>
UnitVariance(const In*) -> UnitVariance<In>;

template <class In, class Sum = In>
struct DirectVariance {
    const In *mean, *var;
    Sum operator()(const In* x, int k) const
    {
        const Sum d = static_cast<Sum>(x[k]) - static_cast<Sum>(mean[k]);
        return d * d / static_cast<Sum>(var[k]);
    }
};
template <class In>
DirectVariance(const In*, const In*) -> DirectVariance<In>;

using Lanes = std::array<float, 4>;

inline float join_pairs(const Lanes& v) { return (v[0] + v[1]) + (v[2] + v[3]); }
inline float join_halves(const Lanes& v) { return (v[0] + v[2]) + (v[1] + v[3]); }

// --- one vector, single precision ---

// Minus S in four lanes. Groups of 8 elements go alternately to the accumulators A and B, element k to lane k
// modulo 4, beginning with A; terms are subtracted. What is left after them goes to A, either lane by lane or
// one element after the other into lane 0.
template <class In, class Term>
Lanes minus_sum_single_32f(const In* x, const Term& term, int n, bool tail_by_lanes)
{
    Lanes a{}, b{};
    int k = 0;
    for (; k + 8 <= n; k += 8) {
        Lanes& into = k / 8 % 2 == 0 ? a : b;
        for (int i = 0; i < 8; ++i) into[i % 4] -= term(x, k + i);
    }
    for (; k < n; ++k) a[tail_by_lanes ? k % 4 : 0] -= term(x, k);
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2], a[3] + b[3]};
}

// With inverse variances: the aligned kernel's tail goes by lanes, the general kernel's to lane 0.
template <class In>
float score_single_32f(const In* x, const InverseVariance<In, float>& term, int n, float val, bool aligned)
{
    return (join_pairs(minus_sum_single_32f(x, term, n, aligned)) + 2.0F * val) * 0.5F;
}

// With unit variances: both kernels' tails go to lane 0, and the last lanes are joined otherwise.
template <class In>
float score_single_32f(const In* x, const UnitVariance<In, float>& term, int n, float val, bool /*aligned*/)
{
    return (join_halves(minus_sum_single_32f(x, term, n, false)) + 2.0F * val) * 0.5F;
}

inline float score_single_32f(const float* feature, const float* mean, const float* inv_var, int n, float val,
                              bool aligned)
{
    return score_single_32f(feature, InverseVariance{mean, inv_var}, n, val, aligned);
}
inline float score_single_32f(const float* feature, const float* mean, int n, float val, bool aligned)
{
    return score_single_32f(feature, UnitVariance{mean}, n, val, aligned);
}

// --- one vector, double precision ---

// One element after the other.
template <class In, class Term>
double score_serial_64f(const In* x, const Term& term, int n, double val)
{
    double sum = 0;
    for (int k = 0; k < n; ++k) sum += term(x, k);
    return val - 0.5 * sum;
}

// Beyond eight elements: whole groups of eight into four sums by their index modulo 4, then the rest.
template <class In, class Term>
double score_four_sums_64f(const In* x, const Term& term, int n, double val)
{
    if (n <= 8) return score_serial_64f(x, term, n, val);
    double sums[4] = {0, 0, 0, 0};
    int k = 0;
    for (; k < n - n % 8; ++k) sums[k % 4] += term(x, k);
    double sum = (sums[0] + sums[2]) + (sums[1] + sums[3]);
    for (; k < n; ++k) sum += term(x, k);
    return val - 0.5 * sum;
}

// Even and odd element positions apart.
template <class In, class Term>
double score_even_odd_64f(const In* x, const Term& term, int n, double val)
{
    double sum[2] = {0, 0};
    for (int k = 0; k < n; ++k) sum[k % 2] += term(x, k);
    return val - 0.5 * (sum[1] + sum[0]);
}

// --- a frame of many ---

// S of a frame: four lanes over the whole groups of four; the last 1 to 3 elements by lanes in the aligned
// kernel, behind the joined lanes in the general one.
template <class In, class Term>
float frame_sum_32f(const In* x, const Term& term, int width, bool aligned)
{
    Lanes lanes{};
    int k = 0;
    for (; k < width - width % 4; ++k) lanes[k % 4] += term(x, k);
    if (aligned)
        for (; k < width; ++k) lanes[k % 4] += term(x, k);
    float sum = join_pairs(lanes);
    for (; k < width; ++k) sum += term(x, k);
    return sum;
}

template <class In, class Term>
float frame_score_32f(const In* x, const Term& term, int width, float val, bool aligned)
{
    return (2.0F * val - frame_sum_32f(x, term, width, aligned)) * 0.5F;
}

// The loop that most members take for widths below 4: the terms leave 2 * val one after the other.
template <class In, class Term>
float narrow_frame_score_32f(const In* x, const Term& term, int width, float val)
{
    float score = 2.0F * val;
    for (int k = 0; k < width; ++k) score -= term(x, k);
    return score * 0.5F;
}

// Two lanes, element k in lane k modulo 2; the terms are subtracted and the negative sum is added.
template <class In, class Term>
double frame_score_64f(const In* x, const Term& term, int width, double val)
{
    double lanes[2] = {0, 0};
    for (int k = 0; k < width; ++k) lanes[k % 2] -= term(x, k);
    return val + 0.5 * (lanes[0] + lanes[1]);
}

// --- a component of many ---

// Four lanes, the last 1 to 3 elements in lane 0, in both kernels; the terms are subtracted and the negative sum
// is added.
template <class In, class Term>
float component_score_32f(const In* x, const Term& term, int width, float value)
{
    Lanes lanes{};
    for (int k = 0; k < width; ++k) lanes[k < width - width % 4 ? k % 4 : 0] -= term(x, k);
    return value + 0.5F * join_pairs(lanes);
}

// --- tolerance where the order of a double-precision sum is free ---

// Any two orders of n + 1 additions of the terms and val lie within n * eps * (|val| + sum |term|) of each other
// (each is within half of that of the exact sum); three more eps are for the halving and the sum with val, the
// smallest subnormals for the halving of a subnormal sum.
template <class In, class Term>
double any_order_tolerance_64f(const In* x, const Term& term, int n, double val)
{
    double magnitude = std::abs(val);
    for (int k = 0; k < n; ++k) magnitude += std::abs(static_cast<double>(term(x, k)));
    using Limits = std::numeric_limits<double>;
    return (n + 3) * Limits::epsilon() * magnitude + 2 * Limits::denorm_min();
}

}  // namespace zelsr::test::reference
