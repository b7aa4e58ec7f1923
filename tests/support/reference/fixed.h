// Scores on 16-bit data, element by element:
//
//   score = val - 2^(-sf) / 2 * S,  S = sum over k of (x[k] - m[k])^2 * p[k]
//
// in plain scalars and 32-bit words that wrap. Where the order of a single-precision sum is open the reference
// says how far two orders can lie apart, which is nothing as long as every order is exact.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

#include "support/reference/convert.h"
#include "support/reference/fixed_point.h"
#include "support/reference/gauss.h"
#include "zelsr/core/convert.h"

namespace zelsr::test::reference::fixed {

// One vector against one Gaussian; p is null where all variances are one.
struct Operands {
    const std::int16_t *x, *m, *p;
    int n;

    int whole_groups() const { return n - n % 8; }
    std::int64_t difference(int k) const { return std::int64_t{x[k]} - m[k]; }
    std::int64_t saturated_difference(int k) const { return saturate<std::int16_t>(difference(k)); }
};

enum class Arithmetic { Plain, Low };
// The kernels of one vector, and those of many frames or Gaussians.
enum class Kernel { Vector, Rows };

struct Form {
    Arithmetic arithmetic;
    Kernel kernel;
    bool integer;  // result and constant
};

// A result: a single or an integer, as the form says. not_fixed: how far another order of sums may lead away;
// an integer result is then a real number that has not been made whole.
struct Score {
    double value;
    double not_fixed = 0;
};

// --- sums in single precision ---

struct Sum {
    float value;
    double not_fixed = 0;
};

// Exact while every partial sum is: all terms are multiples of a power of two, and their magnitudes sum up to at
// most 2^24 times that. Else any two orders of n additions lie within n * eps of the magnitudes' sum.
inline Sum sum_in_any_order(const std::vector<float>& terms)
{
    std::int64_t bits = 0, sum = 0, magnitude = 0;
    for (float term : terms) {
        const auto whole = static_cast<std::int64_t>(term);  // all terms are integers below 2^48
        bits |= whole;
        sum += whole;
        magnitude += std::abs(whole);
    }
    const std::int64_t unit = bits & -bits;
    if (static_cast<double>(magnitude) <= 0x1p24 * static_cast<double>(unit)) return {static_cast<float>(sum)};
    return {static_cast<float>(sum), static_cast<double>(terms.size()) * 0x1p-23 * static_cast<double>(magnitude)};
}

// (x - m)^2 exact and then rounded to single, times p. Differences saturate in whole groups of eight only.
inline float plain_term(const Operands& o, int k)
{
    const std::int64_t d = k < o.whole_groups() ? o.saturated_difference(k) : o.difference(k);
    const auto square = static_cast<float>(d * d);
    return o.p == nullptr ? square : square * static_cast<float>(o.p[k]);
}

// One vector: a group of eight is joined, upper half onto lower, and added; the others one by one. Term: of an
// element's place.
template <class Term>
float plain_vector_sum(int n, Term term)
{
    float sum = 0;
    int k = 0;
    for (; k + 8 <= n; k += 8) {
        Lanes lanes{};
        for (int i = 0; i < 4; ++i) {
            const float lower = term(k + i), upper = term(k + i + 4);
            lanes[static_cast<std::size_t>(i)] = lower + upper;
        }
        sum += join_halves(lanes);
    }
    for (; k < n; ++k) sum += term(k);
    return sum;
}

// Many rows: four lanes for each, in an order that is open.
inline Sum plain_rows_sum(const Operands& o)
{
    std::vector<float> terms;
    for (int k = 0; k < o.n; ++k) terms.push_back(plain_term(o, k));
    return sum_in_any_order(terms);
}

inline Sum plain_sum(const Operands& o, Kernel kernel)
{
    if (kernel == Kernel::Rows) return plain_rows_sum(o);
    return {plain_vector_sum(o.n, [&](int k) { return plain_term(o, k); })};
}

// The exact sum of squares of one vector with unit variances: its low 32 bits with their sign. Its differences
// saturate throughout.
inline float wrapped_sum_of_squares(const Operands& o)
{
    std::uint32_t sum = 0;
    for (int k = 0; k < o.n; ++k) {
        const std::int64_t d = o.saturated_difference(k);
        sum += static_cast<std::uint32_t>(d * d);
    }
    return static_cast<float>(static_cast<std::int32_t>(sum));
}

// Unit variances where pairs of squares are added as integers: pairs up to paired elements, then one by one.
inline std::vector<float> pair_terms(const Operands& o, int paired)
{
    std::vector<float> terms;
    for (int k = 0; k < paired; k += 2) {
        const std::int64_t d0 = o.saturated_difference(k), d1 = o.saturated_difference(k + 1);
        terms.push_back(static_cast<float>(d0 * d0 + d1 * d1));
    }
    for (int k = paired; k < o.n; ++k) terms.push_back(static_cast<float>(o.difference(k) * o.difference(k)));
    return terms;
}

// Low arithmetic, unit variances, single result: pairs throughout but for an odd last element, subtracted. Pair i
// goes to lane i modulo 4 in whole groups of eight; where the others go is open.
inline Sum minus_low_sum_of_squares(const Operands& o)
{
    const std::vector<float> terms = pair_terms(o, o.n - o.n % 2);
    if (o.n % 8 != 0) {
        const Sum sum = sum_in_any_order(terms);
        return {0 - sum.value, sum.not_fixed};
    }
    Lanes lanes{};
    for (std::size_t i = 0; i < terms.size(); ++i) lanes[i % 4] -= terms[i];
    return {join_halves(lanes)};
}

// --- scores from sums in single precision ---

// The integer 1 shifted left by steps, which the processor counts modulo 32: by 31 it is -2^31.
inline float power_by_shift(std::int64_t steps)
{
    return static_cast<float>(static_cast<std::int32_t>(1U << (static_cast<std::uint64_t>(steps) & 31)));
}

inline Score to_integer(Score real, Kernel kernel)
{
    if (real.not_fixed != 0) return {real.value, real.not_fixed + 1};
    const auto r = static_cast<float>(real.value);
    if (kernel == Kernel::Vector) return {double(to_32_bits(std::clamp(r, -2147483648.0F, 2147483648.0F), 1))};
    return {double(to_32_bits(r, 0))};
}

// val + sum * factor, factor a power of two. A single's half unit is 2^-24 of it: one for the product and one for
// the sum in either of two orders.
inline Score plus_scaled(float val, const Sum& sum, float factor)
{
    const float scaled = times(sum.value, factor);
    const float score = val + scaled;
    if (sum.not_fixed == 0 || std::isinf(scaled)) return {score};
    return {score, sum.not_fixed * std::abs(double{factor}) +
                       0x1p-22 * (std::abs(double{val}) + std::abs(double{scaled}) +
                                  sum.not_fixed * std::abs(double{factor}))};
}

inline Score minus_scaled(float val, const Sum& sum, float factor)
{
    return plus_scaled(val, {-sum.value, sum.not_fixed}, factor);
}

inline Score plain_score(const Form& form, const Operands& o, double val, std::int32_t sf)
{
    const std::int64_t e = std::int64_t{sf} + 1;
    if (form.integer) {
        const float power = power_by_shift(std::abs(e));
        const Score r =
            minus_scaled(static_cast<float>(val), plain_sum(o, form.kernel), e > 0 ? 1 / power : power);
        return to_integer(r, form.kernel);
    }
    const auto factor = multiplier<float>(static_cast<std::int32_t>(std::clamp<std::int64_t>(e, -200, 200)));
    Sum sum;
    if (o.p != nullptr)
        sum = plain_sum(o, form.kernel);
    else if (form.kernel == Kernel::Vector)
        sum = {wrapped_sum_of_squares(o)};
    else
        sum = sum_in_any_order(pair_terms(o, o.whole_groups()));
    return minus_scaled(static_cast<float>(val), sum, factor);
}

// --- low arithmetic in integers ---

using Word = std::uint32_t;

inline Word shifted_left(Word x, std::int64_t steps) { return steps > 31 ? 0 : x << steps; }
inline Word shifted_right(Word x, std::int64_t steps)
{
    return static_cast<Word>(static_cast<std::int32_t>(x) >> std::min<std::int64_t>(steps, 31));
}
inline Word scaled_high(Word x, std::int64_t sf)
{
    return sf > 15 ? shifted_right(x, sf - 15) : shifted_left(x, 15 - sf);
}
inline Word scaled_low(Word x, std::int64_t sf)
{
    return sf < 0 ? shifted_left(x, -sf) : shifted_right(x, sf > 15 ? 15 : sf);
}

// The square in two parts, 65536 * high + 2 * low and the lost bit, each times p.
struct Parts {
    Word high = 0, low = 0;
    void add(std::int64_t d, std::int64_t p)
    {
        high += static_cast<Word>((d * d >> 16) * p);
        low += static_cast<Word>(((d * d & 0xffff) >> 1) * p);
    }
    void subtract(std::int64_t d, std::int64_t p)
    {
        high -= static_cast<Word>((d * d >> 16) * p);
        low -= static_cast<Word>(((d * d & 0xffff) >> 1) * p);
    }
    Word scaled(std::int64_t sf) const { return scaled_high(high, sf) + scaled_low(low, sf); }
};

// Minus S * 2^(-sf-1). Whole groups of eight: pair i of a group goes to lane i, each lane is shifted once. The
// last pairs and the last element are shifted by themselves and subtracted: both right shifts round down.
inline Word low_total(const Operands& o, std::int64_t sf)
{
    const auto p = [&](int k) { return o.p == nullptr ? std::int64_t{1} : std::int64_t{o.p[k]}; };
    std::array<Parts, 4> lanes;
    int k = 0;
    for (; k < o.whole_groups(); ++k) lanes[k / 2 % 4].subtract(o.saturated_difference(k), p(k));
    Word total = 0;
    for (const Parts& lane : lanes) total += lane.scaled(sf);
    for (; k + 2 <= o.n; k += 2) {
        Parts pair;
        pair.add(o.saturated_difference(k), p(k));
        pair.add(o.saturated_difference(k + 1), p(k + 1));
        total -= pair.scaled(sf);
    }
    if (k == o.n) return total;
    if (sf < 0) {
        const auto square = static_cast<Word>(o.difference(k) * o.difference(k));
        return total - shifted_left(square >> 1, -sf);
    }
    Parts last;
    last.add(o.difference(k), p(k));
    return total - last.scaled(sf);
}

inline Score low_score(const Form& form, const Operands& o, double val, std::int32_t sf)
{
    if (o.p == nullptr && !form.integer) {
        const std::int64_t e = std::int64_t{sf} + 1;
        const float power = power_by_shift(std::abs(e));
        return plus_scaled(static_cast<float>(val), minus_low_sum_of_squares(o), e > 0 ? 1 / power : power);
    }
    if (o.p != nullptr && sf < 0) {
        const Score r = minus_scaled(static_cast<float>(val), plain_sum(o, form.kernel),
                                     power_by_shift(-std::int64_t{sf} - 1));
        return form.integer ? to_integer(r, Kernel::Rows) : r;  // truncated for one vector too
    }
    const auto total = static_cast<std::int32_t>(low_total(o, sf));
    if (!form.integer) return {static_cast<float>(val) + static_cast<float>(total)};
    return {double(
        static_cast<std::int32_t>(static_cast<Word>(static_cast<std::int32_t>(val)) + static_cast<Word>(total)))};
}

inline Score score(const Form& form, const Operands& o, double val, std::int32_t sf)
{
    return form.arithmetic == Arithmetic::Plain ? plain_score(form, o, val, sf) : low_score(form, o, val, sf);
}

// --- variances instead of their reciprocals, which are rounded to single ---

inline float direct_variance_score(const Operands& o, float val, std::int32_t sf)
{
    const float sum = plain_vector_sum(o.n, [&](int k) {
        return plain_term({o.x, o.m, nullptr, o.n}, k) * (1.0F / static_cast<float>(o.p[k]));
    });
    return val - times(0.5F * sum, multiplier<float>(std::clamp(sf, -200, 200)));
}

// The sum of floating-point scores, of differences in single precision. In which of that sum's two orders its tail
// comes is open.
inline std::int32_t direct_variance_integer_score(const Operands& o, std::int32_t val, std::int32_t sf,
                                                  bool tail_by_lanes)
{
    const auto n = static_cast<std::size_t>(o.n);
    std::vector<float> x(n), m(n), p(n);
    for (std::size_t k = 0; k < n; ++k) {
        x[k] = o.x[k];
        m[k] = o.m[k];
        p[k] = 1.0F / static_cast<float>(o.p[k]);
    }
    const InverseVariance<float, float> term{m.data(), p.data()};
    const float sum = -join_pairs(minus_sum_single_32f(x.data(), term, o.n, tail_by_lanes));
    std::int32_t scaled = 0;
    // Above 200 the multiplier is zero whatever the sum.
    zelsConvert_32f32s_Sfs(&sum, &scaled, 1, 1, std::min(sf, 200) + 1);
    return saturate<std::int32_t>(std::int64_t{val} - scaled);
}

// --- what becomes of a score ---

// The larger of a running value and a score. Integers are compared as singles, and what wins is truncated.
inline Score larger(bool integer, double before, const Score& score)
{
    if (!integer) return {score.value > before ? score.value : before, score.not_fixed};
    const auto old = static_cast<float>(before), found = static_cast<float>(score.value);
    // A score of 2^31 or more has become -2^31 before it is compared.
    if (score.not_fixed != 0 && score.value - score.not_fixed >= 0x1p31) return {double(to_32_bits(old, 0))};
    const float best = found > old ? found : old;
    if (score.not_fixed != 0) return {best, score.not_fixed + std::abs(score.value) * 0x1p-24};
    return {double(to_32_bits(best, 0))};
}

}  // namespace zelsr::test::reference::fixed
