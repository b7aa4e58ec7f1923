// Correlation coefficients of 16-bit signals.
#include <gtest/gtest.h>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "support/operation.h"
#include "support/reference/pitch.h"
#include "zelsr/signal.h"

namespace zelsr::test {
namespace {

using reference::Samples;

constexpr float kTiny = 1.1754944e-38F;

Samples noise(int len, int16_t low = -32768, int16_t high = 32767)
{
    return uniform_vector<int16_t>(len, low, high);
}

// call(a, b, length, coefficient) between guard pages.
template <class Call>
testing::AssertionResult correlates(float expected, const Samples& a, const Samples& b, Call call,
                                    Placement place_a = {}, Placement place_b = {}, Placement place = {})
{
    Guarded<int16_t> first(a, place_a), second(b, place_b);
    Guarded<float> result(1, place);
    first.take_snapshot();
    second.take_snapshot();
    const SrStatus status = call(first.data(), second.data(), static_cast<int32_t>(a.size()), result.data());
    if (auto right = status_is(SrOk, status); !right) return right;
    if (!first.as_snapshot() || !second.as_snapshot() || !result.intact())
        return testing::AssertionFailure() << "something but the result was written";
    return same_value(expected, result.get(0));
}

// ---- Whole ---------------------------------------------------------------------------------------------------

TEST(CrossCorrCoeff, EveryLengthAndAddress)
{
    at_every_place<3>(lengths(32), {2, 2, 4}, [](int len, const std::array<Placement, 3>& at) {
        const Samples a = noise(len), b = noise(len);
        return correlates(reference::correlation(a, b), a, b, zelsCrossCorrCoeff_16s32f, at[0], at[1], at[2]);
    });
}

TEST(CrossCorrCoeff, ExtremesAndLongSignals)
{
    for (int len : {1, 2, 31, 1000, thin_effort() ? 3001 : 100001}) {
        const Samples lowest(static_cast<std::size_t>(len), -32768), highest(static_cast<std::size_t>(len), 32767);
        EXPECT_TRUE(correlates(1, lowest, lowest, zelsCrossCorrCoeff_16s32f));
        EXPECT_TRUE(
            correlates(reference::correlation(lowest, highest), lowest, highest, zelsCrossCorrCoeff_16s32f));
        const Samples a = noise(len), b = noise(len);
        EXPECT_TRUE(correlates(reference::correlation(a, b), a, b, zelsCrossCorrCoeff_16s32f));
    }
}

TEST(CrossCorrCoeff, ByValue)
{
    EXPECT_TRUE(correlates(1, {1, 2, 3}, {2, 4, 6}, zelsCrossCorrCoeff_16s32f));
    EXPECT_TRUE(correlates(-1, {3, 4}, {-3, -4}, zelsCrossCorrCoeff_16s32f));
    EXPECT_TRUE(correlates(0, {3, 4}, {-4, 3}, zelsCrossCorrCoeff_16s32f));
    EXPECT_TRUE(correlates(0.6F, {3, 4}, {1, 0}, zelsCrossCorrCoeff_16s32f));
    EXPECT_TRUE(correlates(0, {0, 0, 0}, {1, 2, 3}, zelsCrossCorrCoeff_16s32f));
    EXPECT_TRUE(correlates(0, {1, 2, 3}, {0, 0, 0}, zelsCrossCorrCoeff_16s32f));
}

// The roots and the quotient are in double: in single precision some of these would be one unit off.
TEST(CrossCorrCoeff, TheQuotientIsInDouble)
{
    bool differs = false;
    for (int i = 0; i < 200; ++i) {
        const Samples a = noise(3, -50, 50), b = noise(3, 1, 60);
        const float expected = reference::correlation(a, b);
        const float aa = reference::sum_of_products(a, a, 3), bb = reference::sum_of_products(b, b, 3);
        if (aa > 0) differs |= expected != reference::sum_of_products(a, b, 3) / (std::sqrt(aa) * std::sqrt(bb));
        ASSERT_TRUE(correlates(expected, a, b, zelsCrossCorrCoeff_16s32f));
    }
    EXPECT_TRUE(differs);
}

// ---- With an energy that is given -----------------------------------------------------------------------------

auto partial(float energy)
{
    return [energy](const int16_t* a, const int16_t* b, int32_t len, float* coeff) {
        return zelsCrossCorrCoeffPartial_16s32f(a, b, len, energy, coeff);
    };
}

TEST(CrossCorrCoeffPartial, EveryLengthAndAddress)
{
    at_every_place<3>(lengths(32), {2, 2, 4}, [](int len, const std::array<Placement, 3>& at) {
        const Samples a = noise(len), b = noise(len);
        const float energy = uniform(1.0F, 1e9F);
        return correlates(reference::partial_correlation(a, b, energy), a, b, partial(energy), at[0], at[1],
                          at[2]);
    });
}

TEST(CrossCorrCoeffPartial, EnergiesOfEveryKind)
{
    const float infinity = std::numeric_limits<float>::infinity();
    const Samples a = {100, -7, 3000}, b = {99, 5, 2500};
    for (float energy : {1.0F, 4.0F, kTiny, -1.0F, -1e30F, 3e38F, infinity, -infinity, 1e-44F})
        EXPECT_TRUE(correlates(reference::partial_correlation(a, b, energy), a, b, partial(energy))) << energy;
    EXPECT_TRUE(correlates(0, a, b, partial(infinity)));
    // A negative energy has no root.
    EXPECT_TRUE(correlates(std::numeric_limits<float>::quiet_NaN(), a, b, partial(-1)));
}

TEST(CrossCorrCoeffPartial, EnergiesUpToTheSmallestNormalGiveZero)
{
    const Samples one = {1}, two = {2};
    EXPECT_TRUE(correlates(0, one, one, partial(kTiny)));
    EXPECT_TRUE(correlates(0, one, one, partial(-kTiny)));
    const float above = std::nextafter(kTiny, 1.0F);
    EXPECT_TRUE(correlates(static_cast<float>(1 / std::sqrt(double{above})), one, one, partial(above)));
    EXPECT_TRUE(correlates(0, two, two, partial(kTiny / 4)));
    EXPECT_TRUE(correlates(static_cast<float>(1 / std::sqrt(double{kTiny / 2})), one, two, partial(kTiny / 2)));
    EXPECT_TRUE(correlates(0, one, {0}, partial(5)));
}

struct PartialArguments {
    const int16_t *a, *b;
    int32_t len;
    float energy;
    float* coeff;
};

TEST(CrossCorrCoeffPartial, NullThenSizeThenEnergy)
{
    const Samples signal(8, 3);
    Guarded<float> result(1);
    for (float energy : {0.0F, -0.0F, std::numeric_limits<float>::quiet_NaN()})
        expect_check_order<PartialArguments>(
            {signal.data(), signal.data(), 8, 1, result.data()},
            {{"null a", SrErrNullPtr, [](PartialArguments& p) { p.a = nullptr; }},
             {"null b", SrErrNullPtr, [](PartialArguments& p) { p.b = nullptr; }},
             {"null result", SrErrNullPtr, [](PartialArguments& p) { p.coeff = nullptr; }},
             {"length 0", SrErrSize, [](PartialArguments& p) { p.len = 0; }},
             {"lowest length", SrErrSize, [](PartialArguments& p) { p.len = INT32_MIN; }},
             {"energy", SrErrRange, [energy](PartialArguments& p) { p.energy = energy; }}},
            [](const PartialArguments& p) {
                return zelsCrossCorrCoeffPartial_16s32f(p.a, p.b, p.len, p.energy, p.coeff);
            },
            {&result});
}

// ---- Growing windows ------------------------------------------------------------------------------------------

testing::AssertionResult decimates(const std::vector<float>& expected, const Samples& a, const Samples& b,
                                   int longest, int shortest, int decimation, Placement place_a = {},
                                   Placement place_b = {}, Placement place = {})
{
    Guarded<int16_t> first(a, place_a), second(b, place_b);
    Guarded<float> result(expected.size(), place);
    first.take_snapshot();
    second.take_snapshot();
    const SrStatus status =
        zelsCrossCorrCoeffDecim_16s32f(first.data(), second.data(), longest, shortest, result.data(), decimation);
    if (auto right = status_is(SrOk, status); !right) return right;
    if (!first.as_snapshot() || !second.as_snapshot() || !result.intact())
        return testing::AssertionFailure() << "something but the results was written";
    return same_values(expected, result.values());
}

TEST(CrossCorrCoeffDecim, EveryLengthAndDecimation)
{
    Cycle<Placement> places_a(placements(2)), places_b(placements(2)), places(placements(4));
    places_b.next();
    for (int longest = 1; longest <= 40; ++longest)
        for (int shortest = 1; shortest <= longest; shortest += 1 + longest / 12)
            for (int decimation : {1, 2, 3, 4, 5, 7, 8, 16, 39, 41, INT32_MAX}) {
                const Samples a = noise(longest), b = noise(longest);
                ASSERT_TRUE(decimates(reference::decimated_correlations(a, b, longest, shortest, decimation), a, b,
                                      longest, shortest, decimation, places_a.next(), places_b.next(),
                                      places.next()))
                    << longest << ", " << shortest << ", " << decimation;
            }
}

// Far beyond 24 bits: the order in which the energies are rounded shows.
TEST(CrossCorrCoeffDecim, LongWindows)
{
    for (int decimation : {1, 2, 3, 4, 8}) {
        const Samples a = noise(900), b = noise(900);
        EXPECT_TRUE(
            decimates(reference::decimated_correlations(a, b, 900, 500, decimation), a, b, 900, 500, decimation));
        const Samples lowest(900, -32768);
        EXPECT_TRUE(decimates(reference::decimated_correlations(lowest, lowest, 900, 1, decimation), lowest,
                              lowest, 900, 1, decimation));
    }
}

TEST(CrossCorrCoeffDecim, ByValue)
{
    // Windows: {4} and {1}; {3, 4} and {1, 2}; {2, 3, 4} and {1, 2, 3}.
    const auto one = [](double ab, double aa, double bb) {
        return static_cast<float>(ab / (std::sqrt(aa) * std::sqrt(bb)));
    };
    EXPECT_TRUE(decimates({1, one(11, 25, 5), one(20, 29, 14)}, {2, 3, 4}, {1, 2, 3}, 3, 1, 1));
    // Every second sample: {7} and {1}; {5, 7} and {1, 3}.
    EXPECT_TRUE(decimates({1, one(26, 74, 10)}, {4, 5, 6, 7}, {1, 2, 3, 4}, 4, 1, 2));
    EXPECT_TRUE(decimates({one(28, 50, 16)}, {1, 7}, {0, 4}, 2, 2, 1));
}

TEST(CrossCorrCoeffDecim, EqualLengthsGiveOneValue)
{
    const Samples a = noise(17), b = noise(17);
    EXPECT_TRUE(decimates({reference::decimated_correlations(a, b, 17, 17, 1).front()}, a, b, 17, 17, 1));
    EXPECT_EQ(reference::decimated_correlations(a, b, 17, 17, 1).size(), 1u);
}

TEST(CrossCorrCoeffDecim, SilenceGivesZeros)
{
    EXPECT_TRUE(decimates({0, 0, 0}, {0, 0, 0}, {1, 2, 3}, 3, 1, 1));
    EXPECT_TRUE(decimates({0, 0, 0}, {1, 2, 3}, {0, 0, 0}, 3, 1, 1));
}

struct DecimArguments {
    const int16_t *a, *b;
    int32_t longest, shortest;
    float* coeff;
    int32_t decimation;
};

TEST(CrossCorrCoeffDecim, NullThenSizes)
{
    const Samples signal(8, 3);
    Guarded<float> result(8);
    expect_check_order<DecimArguments>(
        {signal.data(), signal.data(), 8, 4, result.data(), 1},
        {{"null a", SrErrNullPtr, [](DecimArguments& d) { d.a = nullptr; }},
         {"null b", SrErrNullPtr, [](DecimArguments& d) { d.b = nullptr; }},
         {"null result", SrErrNullPtr, [](DecimArguments& d) { d.coeff = nullptr; }},
         {"shortest 0", SrErrSize, [](DecimArguments& d) { d.shortest = 0; }},
         {"lowest shortest", SrErrSize, [](DecimArguments& d) { d.shortest = INT32_MIN; }},
         {"longest below shortest", SrErrSize, [](DecimArguments& d) { d.longest = 3; }},
         {"lowest longest", SrErrSize, [](DecimArguments& d) { d.longest = INT32_MIN; }},
         {"decimation 0", SrErrSize, [](DecimArguments& d) { d.decimation = 0; }},
         {"decimation -1", SrErrSize, [](DecimArguments& d) { d.decimation = -1; }}},
        [](const DecimArguments& d) {
            return zelsCrossCorrCoeffDecim_16s32f(d.a, d.b, d.longest, d.shortest, d.coeff, d.decimation);
        },
        {&result});
}

// ---- Between two lags ------------------------------------------------------------------------------------------

// The results' own rounding, from double, may differ by one unit where the products' association does.
testing::AssertionResult interpolates(const Samples& a, const Samples& b, Placement place_a = {},
                                      Placement place_b = {}, Placement place = {})
{
    const auto expected = reference::interpolated_correlation(a, b);
    Guarded<int16_t> first(a, place_a), second(b, place_b);
    Guarded<float> beta(1, place), coeff(1, place);
    coeff.take_snapshot();
    const SrStatus status = zelsCrossCorrCoeffInterpolation_16s32f(
        first.data(), second.data(), static_cast<int32_t>(a.size()), beta.data(), coeff.data());
    if (auto right = status_is(expected.status, status); !right) return right;
    if (!beta.intact() || !coeff.intact())
        return testing::AssertionFailure() << "a byte beside the results was written";
    if (!expected.has_coefficient && !coeff.as_snapshot())
        return testing::AssertionFailure() << "a coefficient was written";
    if (auto right = same_value(expected.beta, beta.get(0)); !right) return right;
    return expected.has_coefficient ? same_value(expected.coefficient, coeff.get(0)) : testing::AssertionSuccess();
}

TEST(CrossCorrCoeffInterpolation, EveryLengthAndAddress)
{
    int inside = 0, outside = 0;
    at_every_place<3>(lengths(32), {2, 2, 4}, [&](int len, const std::array<Placement, 3>& at) {
        const Samples b = noise(len + 1, -3000, 3000);
        Samples a(static_cast<std::size_t>(len));
        const bool near = uniform(0, 1) == 1;
        for (std::size_t i = 0; i < a.size(); ++i)
            a[i] =
                static_cast<int16_t>(near ? (3 * b[i] + b[i + 1]) / 4 + uniform(-100, 100) : uniform(-3000, 3000));
        (reference::interpolated_correlation(a, b).has_coefficient ? inside : outside) += 1;
        return interpolates(a, b, at[0], at[1], at[2]);
    });
    EXPECT_GT(inside, 100);
    EXPECT_GT(outside, 20);
}

TEST(CrossCorrCoeffInterpolation, ExtremesAndLongSignals)
{
    for (int len : {1, 2, 33, 1000, 20001}) {
        const auto n = static_cast<std::size_t>(len);
        EXPECT_TRUE(interpolates(Samples(n, -32768), Samples(n + 1, -32768)));
        EXPECT_TRUE(interpolates(Samples(n, 32767), Samples(n + 1, -32768)));
        const Samples a = noise(len), b = noise(len + 1);
        EXPECT_TRUE(interpolates(a, b));
        Samples same(b.begin(), b.end() - 1), next(b.begin() + 1, b.end());
        EXPECT_TRUE(interpolates(same, b));
        EXPECT_TRUE(interpolates(next, b));
    }
}

struct Interpolation {
    SrStatus status;
    float beta = -77, coeff = -77;
};
Interpolation interpolation(const Samples& a, const Samples& b)
{
    Interpolation result;
    result.status = zelsCrossCorrCoeffInterpolation_16s32f(a.data(), b.data(), static_cast<int32_t>(a.size()),
                                                           &result.beta, &result.coeff);
    return result;
}

TEST(CrossCorrCoeffInterpolation, ByValue)
{
    // a is b: no lag, correlation 1.
    Interpolation r = interpolation({1, 0, 0}, {1, 0, 0, 0});
    EXPECT_EQ(r.status, SrWarnDivByZero);  // c11 = c01 = p1 = 0
    EXPECT_EQ(r.beta, 0);
    EXPECT_EQ(r.coeff, 1);
    // In the middle: c00 = c11 = 1, c01 = 0, p0 = p1 = 1; D = 2, beta = 1/2, v = 2 * (1/4 + 1/4).
    r = interpolation({1, 1}, {1, 0, 1});
    EXPECT_EQ(r.status, SrOk);
    EXPECT_EQ(r.beta, 0.5F);
    EXPECT_EQ(r.coeff, 1);
    // a is b: p1 c00 - p0 c01 = 0, beta = 0 and the coefficient 1.
    r = interpolation({0, 2}, {0, 2, 1});
    EXPECT_EQ(r.status, SrOk);
    EXPECT_EQ(r.beta, 0);
    EXPECT_EQ(r.coeff, 1);
    // a is b one later: beta 1 is outside.
    r = interpolation({2, 1}, {0, 2, 1});
    EXPECT_EQ(r.status, SrOk);
    EXPECT_EQ(r.beta, 1);
    EXPECT_EQ(r.coeff, -77);
}

TEST(CrossCorrCoeffInterpolation, SilenceWarnsAndGivesTheProduct)
{
    for (const auto& [a, b] :
         {std::pair<Samples, Samples>{{0, 0}, {1, 2, 3}}, {{1, 2}, {0, 0, 0}}, {{0}, {0, 0}}}) {
        const Interpolation r = interpolation(a, b);
        EXPECT_EQ(r.status, SrWarnDivByZero);
        EXPECT_EQ(r.beta, 0);
        EXPECT_EQ(r.coeff, 0);
    }
    // The product is not normalised: wanted.
    const Interpolation r = interpolation({300}, {200, 0});
    EXPECT_EQ(r.status, SrWarnDivByZero);
    EXPECT_EQ(r.coeff, 60000);
}

TEST(CrossCorrCoeffInterpolation, BetaOutsideLeavesTheCoefficient)
{
    int below = 0, above = 0;
    for (int i = 0; i < 300; ++i) {
        const Samples a = noise(4, -20, 20), b = noise(5, -20, 20);
        const auto expected = reference::interpolated_correlation(a, b);
        ASSERT_TRUE(interpolates(a, b));
        below += !expected.has_coefficient && expected.beta < 0;
        above += !expected.has_coefficient && expected.beta >= 1;
    }
    EXPECT_GT(below, 0);
    EXPECT_GT(above, 0);
}

// A beta just below 1 that is 1 as a single is inside: the test is on the double.
TEST(CrossCorrCoeffInterpolation, TheRangeIsThatOfTheDouble)
{
    // b = (u, v) two near-orthogonal directions; a nearly the second: beta = 1 - 2^-26 or so.
    // c00 = c11 = s, c01 = 0: beta = p1 / (p0 + p1).
    const Samples b = {16384, 0, 16384};  // b[i] = (16384, 0), b[i+1] = (0, 16384)
    const Samples a = {0, 32767};
    EXPECT_EQ(interpolation(a, b).beta, 1);
    EXPECT_EQ(interpolation(a, b).coeff, -77);
    // p0 = 1, p1 = 3 * 32767^2: 1 - beta = 3.1e-10.
    const Samples fine_b = {1, 0, 32767, 0, 32767, 0, 32767, 0}, fine_a = {1, 32767, 0, 32767, 0, 32767, 0};
    const auto expected = reference::interpolated_correlation(fine_a, fine_b);
    const Interpolation r = interpolation(fine_a, fine_b);
    EXPECT_EQ(r.beta, expected.beta);
    EXPECT_EQ(r.coeff, expected.has_coefficient ? expected.coefficient : -77.0F);
}

struct InterpolationArguments {
    const int16_t *a, *b;
    int32_t len;
    float *beta, *coeff;
};

TEST(CrossCorrCoeffInterpolation, NullThenSize)
{
    const Samples signal(9, 3);
    Guarded<float> beta(1), coeff(1);
    expect_check_order<InterpolationArguments>(
        {signal.data(), signal.data(), 8, beta.data(), coeff.data()},
        {{"null a", SrErrNullPtr, [](InterpolationArguments& p) { p.a = nullptr; }},
         {"null b", SrErrNullPtr, [](InterpolationArguments& p) { p.b = nullptr; }},
         {"null beta", SrErrNullPtr, [](InterpolationArguments& p) { p.beta = nullptr; }},
         {"null coefficient", SrErrNullPtr, [](InterpolationArguments& p) { p.coeff = nullptr; }},
         {"length 0", SrErrSize, [](InterpolationArguments& p) { p.len = 0; }},
         {"lowest length", SrErrSize, [](InterpolationArguments& p) { p.len = INT32_MIN; }}},
        [](const InterpolationArguments& p) {
            return zelsCrossCorrCoeffInterpolation_16s32f(p.a, p.b, p.len, p.beta, p.coeff);
        },
        {&beta, &coeff});
}

TEST(CrossCorrCoeff, NullThenSize)
{
    const Samples signal(8, 3);
    Guarded<float> result(1);
    expect_check_order<PartialArguments>(
        {signal.data(), signal.data(), 8, 1, result.data()},
        {{"null a", SrErrNullPtr, [](PartialArguments& p) { p.a = nullptr; }},
         {"null b", SrErrNullPtr, [](PartialArguments& p) { p.b = nullptr; }},
         {"null result", SrErrNullPtr, [](PartialArguments& p) { p.coeff = nullptr; }},
         {"length 0", SrErrSize, [](PartialArguments& p) { p.len = 0; }},
         {"lowest length", SrErrSize, [](PartialArguments& p) { p.len = INT32_MIN; }}},
        [](const PartialArguments& p) { return zelsCrossCorrCoeff_16s32f(p.a, p.b, p.len, p.coeff); }, {&result});
}

#ifdef __i386__
TEST(OddStack, CorrelationsWorkFromEveryStack)
{
    const Samples a = noise(67, -3000, 3000), b = noise(68, -3000, 3000);
    const Samples same_length(b.begin(), b.end() - 1);
    for (int misalign : {0, 4, 8, 12}) {
        float coeff = 0;
        EXPECT_EQ(call_misaligned(zelsCrossCorrCoeff_16s32f, misalign, a.data(), b.data(), 67, &coeff), SrOk);
        EXPECT_EQ(coeff, reference::correlation(a, same_length));
        EXPECT_EQ(
            call_misaligned(zelsCrossCorrCoeffPartial_16s32f, misalign, a.data(), b.data(), 67, 5e8F, &coeff),
            SrOk);
        EXPECT_EQ(coeff, reference::partial_correlation(a, same_length, 5e8F));
        std::vector<float> some(20);
        EXPECT_EQ(
            call_misaligned(zelsCrossCorrCoeffDecim_16s32f, misalign, a.data(), b.data(), 67, 50, some.data(), 1),
            SrOk);
        EXPECT_EQ(some[17], reference::decimated_correlations(a, same_length, 67, 50, 1)[17]);
        float beta = 0;
        EXPECT_EQ(call_misaligned(zelsCrossCorrCoeffInterpolation_16s32f, misalign, a.data(), b.data(), 67, &beta,
                                  &coeff),
                  SrOk);
        EXPECT_EQ(beta, reference::interpolated_correlation(a, b).beta);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
