// Prediction coefficients into cepstra and back.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "lpc/filters.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/lp_conversion.h"
#include "zelsr/lpc/conversion.h"

namespace zelsr::test {
namespace {

std::vector<float> lp_of(const std::vector<float>& c)
{
    std::vector<float> a(c.size());
    EXPECT_EQ(zelsCepstrumToLP_32f(c.data(), a.data(), static_cast<int32_t>(c.size())), SrOk);
    return a;
}
std::vector<float> cepstrum_of(const std::vector<float>& a)
{
    std::vector<float> c(a.size());
    EXPECT_EQ(zelsLPToCepstrum_32f(a.data(), c.data(), static_cast<int32_t>(a.size())), SrOk);
    return c;
}

TEST(Cepstrum, IsTheRecursionBitByBit)
{
    at_every_place<2>(lengths(24), {4, 4}, [](int length, const std::array<Placement, 2>& places) {
        const std::vector<float> a = stable_filter(length);
        return maps(a, reference::lp_to_cepstrum(a), zelsLPToCepstrum_32f, places[0], places[1]);
    });
    for (int length : {200, 1000}) {
        const std::vector<float> a = uniform_vector(length, -0.01F, 0.01F);
        EXPECT_TRUE(maps(a, reference::lp_to_cepstrum(a), zelsLPToCepstrum_32f));
    }
}

TEST(Cepstrum, BackIsTheRecursionBitByBit)
{
    at_every_place<2>(lengths(24), {4, 4}, [](int length, const std::array<Placement, 2>& places) {
        const std::vector<float> c = uniform_vector(length, -0.5F, 0.5F);
        return maps(c, reference::cepstrum_to_lp(c), zelsCepstrumToLP_32f, places[0], places[1]);
    });
    for (int length : {200, 1000}) {
        const std::vector<float> c = uniform_vector(length, -0.01F, 0.01F);
        EXPECT_TRUE(maps(c, reference::cepstrum_to_lp(c), zelsCepstrumToLP_32f));
    }
}

TEST(Cepstrum, SpecialValues)
{
    const std::vector<float> special = special_values<float>();
    for (int turn = 0; turn < (thin_effort() ? 100 : 2000); ++turn) {
        std::vector<float> x = uniform_vector(uniform(1, 26), -1.0F, 1.0F);
        for (float& value : x)
            if (generator()() % 6 == 0) value = special[generator()() % special.size()];
        ASSERT_TRUE(maps(x, reference::lp_to_cepstrum(x), zelsLPToCepstrum_32f));
        ASSERT_TRUE(maps(x, reference::cepstrum_to_lp(x), zelsCepstrumToLP_32f));
    }
}

TEST(Cepstrum, ByValue)
{
    EXPECT_EQ(cepstrum_of({0.5F}), std::vector<float>{-0.5F});
    EXPECT_EQ(lp_of({0.5F}), std::vector<float>{-0.5F});
    EXPECT_TRUE(same_value(0.0F, cepstrum_of({0.0F})[0])) << "zero less zero";
    // The cepstrum of 1 / (1 - b z^-1) is b^n / n.
    std::vector<float> a(30, 0.0F);
    a[0] = -0.5F;
    const std::vector<float> c = cepstrum_of(a);
    for (int n = 1; n <= 30; ++n) EXPECT_NEAR(c[static_cast<std::size_t>(n - 1)], std::pow(0.5, n) / n, 1e-8) << n;
    EXPECT_TRUE(near_values(a, lp_of(c), 1e-7));
    // a[1] = -(c[1] + c[0] a[0] / 2): the weight is the cepstrum's.
    EXPECT_EQ(cepstrum_of({2, 3}), (std::vector<float>{-2, -1}));
    EXPECT_EQ(lp_of({-2, -1}), (std::vector<float>{2, 3}));
    EXPECT_EQ(cepstrum_of({2, 3, 5}), (std::vector<float>{-2, -1, -((1 * 3 * -2.0F + 2 * 2 * -1.0F) / 3 + 5)}));
}

// A sum times the rounded 1 / 3 is not always its third. From p, q, 0, ... come -p, p * p / 2 - q, ...
TEST(Cepstrum, Lengths4To21MultiplyByRoundedReciprocals)
{
    const float p = -5.5F, q = -0.5F;
    for (int length : {3, 4, 5, 20, 21, 22, 23}) {
        std::vector<float> x(static_cast<std::size_t>(length), 0.0F);
        x[0] = p;
        x[1] = q;
        const bool table = length >= 4 && length <= 21;
        const float sum = 2 * p * (p * p / 2 - q) - q * p, back = p * (p * p / 2 - q) - 2 * q * p;
        ASSERT_NE(sum / 3.0F, sum * (1.0F / 3.0F)) << sum;
        ASSERT_NE(back / 3.0F, back * (1.0F / 3.0F)) << back;
        EXPECT_EQ(cepstrum_of(x)[2], -(table ? sum * (1.0F / 3.0F) : sum / 3.0F)) << length;
        EXPECT_EQ(lp_of(x)[2], -(table ? back * (1.0F / 3.0F) : back / 3.0F)) << length;
    }
}

TEST(Cepstrum, RoundTripReturnsAStableFilter)
{
    for (int length = 1; length <= 40; ++length)
        for (int turn = 0; turn < 20; ++turn) {
            const std::vector<float> a = stable_filter(length, 0.8);
            float largest = 1;
            for (float value : a) largest = std::max(largest, std::abs(value));
            EXPECT_TRUE(near_values(a, lp_of(cepstrum_of(a)), 4e-6 * largest * length)) << length;
        }
}

// --- 16 bits ---

template <class Call>
auto with_scale(Call call, int32_t sf)
{
    return [=](const int16_t* src, int16_t* dst, int32_t length) { return call(src, dst, length, sf); };
}

std::vector<int16_t> filter_16s(int length, int32_t sf)
{
    std::vector<int16_t> all;
    for (float a : stable_filter(length, 0.7))
        all.push_back(static_cast<int16_t>(std::clamp(std::round(std::ldexp(a, -sf)), -32768.0F, 32767.0F)));
    return all;
}

std::vector<int16_t> fixed_cepstrum(const std::vector<int16_t>& a, int32_t sf)
{
    return reference::half_away(reference::lp_to_cepstrum(reference::scaled_singles(a, -sf)), sf);
}
std::vector<int16_t> fixed_lp(const std::vector<int16_t>& c, int32_t sf)
{
    return reference::nearest(reference::cepstrum_to_lp(reference::scaled_singles(c, -sf)), sf);
}

TEST(CepstrumFixed, IsTheRecursionBetweenConversions)
{
    at_every_place<2>(lengths(24), {2, 2}, [](int length, const std::array<Placement, 2>& places) {
        const int32_t sf = uniform(-13, -8);
        const std::vector<int16_t> x = filter_16s(length, sf);
        testing::AssertionResult right =
            maps(x, fixed_cepstrum(x, sf), with_scale(zelsLPToCepstrum_16s_Sfs, sf), places[0], places[1]);
        if (!right) return right;
        return maps(x, fixed_lp(x, sf), with_scale(zelsCepstrumToLP_16s_Sfs, sf), places[0], places[1]);
    });
}

// The input times 2^sf, the result times 2^-sf.
TEST(CepstrumFixed, EveryScaleFactor)
{
    for (int32_t sf : scale_factors()) {
        if (sf < -140 || sf > 127) continue;  // infinite and zero multipliers: not a number, which no cast defines
        const std::vector<int16_t> x = uniform_vector<int16_t>(5, -20, 20);
        if (sf <= 8) {
            EXPECT_TRUE(maps(x, fixed_cepstrum(x, sf), with_scale(zelsLPToCepstrum_16s_Sfs, sf))) << sf;
        }
        EXPECT_TRUE(maps(x, fixed_lp(x, sf), with_scale(zelsCepstrumToLP_16s_Sfs, sf))) << sf;
    }
}

// 8 in Q4 is 1/2: c[1] = -(a[0] c[0] / 2) = a[0]^2 / 2 = 1/8 = 2 in Q4.
TEST(CepstrumFixed, ByValue)
{
    int16_t result[2];
    const int16_t half[] = {8, 0};
    ASSERT_EQ(zelsLPToCepstrum_16s_Sfs(half, result, 2, -4), SrOk);
    EXPECT_EQ(result[0], -8);
    EXPECT_EQ(result[1], 2);
    ASSERT_EQ(zelsCepstrumToLP_16s_Sfs(half, result, 2, -4), SrOk);
    EXPECT_EQ(result[0], -8);
    EXPECT_EQ(result[1], 2);
    // 1.5 and 2.5 are halves: away from zero one way, to even the other way.
    const int16_t halves[] = {1, 2};  // c = -1, -(-1 / 2 + 2) = -1.5 as integers
    ASSERT_EQ(zelsLPToCepstrum_16s_Sfs(halves, result, 2, 0), SrOk);
    EXPECT_EQ(result[1], -2);
    const int16_t other[] = {1, 3};  // -2.5
    ASSERT_EQ(zelsLPToCepstrum_16s_Sfs(other, result, 2, 0), SrOk);
    EXPECT_EQ(result[1], -3) << "away from zero";
    ASSERT_EQ(zelsCepstrumToLP_16s_Sfs(other, result, 2, 0), SrOk);
    EXPECT_EQ(result[1], -2) << "to even";
    const int16_t negative[] = {1, -2};  // 2.5
    ASSERT_EQ(zelsLPToCepstrum_16s_Sfs(negative, result, 2, 0), SrOk);
    EXPECT_EQ(result[1], 3);
    ASSERT_EQ(zelsCepstrumToLP_16s_Sfs(negative, result, 2, 0), SrOk);
    EXPECT_EQ(result[1], 2);
}

// Cepstra lose their high bits, coefficients saturate: both are wanted.
TEST(CepstrumFixed, LowestWrapsOneWayAndSaturatesTheOther)
{
    int16_t result[2];
    const int16_t lowest[] = {-32768, 0};
    ASSERT_EQ(zelsLPToCepstrum_16s_Sfs(lowest, result, 1, 0), SrOk);
    EXPECT_EQ(result[0], -32768) << "32768 has these bits";
    ASSERT_EQ(zelsCepstrumToLP_16s_Sfs(lowest, result, 1, 0), SrOk);
    EXPECT_EQ(result[0], 32767);
    const int16_t wide[] = {400, 3};  // c[1] = 80000 - 3
    ASSERT_EQ(zelsLPToCepstrum_16s_Sfs(wide, result, 2, 0), SrOk);
    EXPECT_EQ(result[1], static_cast<int16_t>(79997 - 65536));
    ASSERT_EQ(zelsCepstrumToLP_16s_Sfs(wide, result, 2, 0), SrOk);
    EXPECT_EQ(result[1], 32767);
}

TEST(CepstrumFixed, AnyValues)
{
    for (int turn = 0; turn < (thin_effort() ? 50 : 1000); ++turn) {
        const std::vector<int16_t> x = uniform_vector<int16_t>(uniform(1, 25), INT16_MIN, INT16_MAX);
        const int32_t sf = uniform(-16, -13);
        ASSERT_TRUE(maps(x, fixed_lp(x, sf), with_scale(zelsCepstrumToLP_16s_Sfs, sf))) << sf;
        const std::vector<int16_t> few(x.begin(), x.begin() + std::min<std::ptrdiff_t>(3, std::ssize(x)));
        ASSERT_TRUE(maps(few, fixed_cepstrum(few, sf), with_scale(zelsLPToCepstrum_16s_Sfs, sf))) << sf;
    }
}

TEST(CepstrumFixed, InEveryEnvironment)
{
    for (int length : {3, 12, 30}) {
        const std::vector<int16_t> x = filter_16s(length, -12);
        const std::vector<int16_t> cepstrum = fixed_cepstrum(x, -12), lp = fixed_lp(x, -12);
        std::vector<int16_t> result(x.size());
        under_each_environment([&] { zelsLPToCepstrum_16s_Sfs(x.data(), result.data(), length, -12); },
                               [&](const std::string& setting) { EXPECT_EQ(cepstrum, result) << setting; });
        under_each_environment([&] { zelsCepstrumToLP_16s_Sfs(x.data(), result.data(), length, -12); },
                               [&](const std::string& setting) { EXPECT_EQ(lp, result) << setting; });
    }
}

// --- checks and memory ---

TEST(Cepstrum, PointersAreCheckedBeforeLength)
{
    expect_checks_of_a_reduction<float, float>(
        [](const float* a, int32_t len, float* c) { return zelsLPToCepstrum_32f(a, c, len); });
    expect_checks_of_a_reduction<float, float>(
        [](const float* c, int32_t len, float* a) { return zelsCepstrumToLP_32f(c, a, len); });
    expect_checks_of_a_reduction<int16_t, int16_t>(
        [](const int16_t* a, int32_t len, int16_t* c) { return zelsLPToCepstrum_16s_Sfs(a, c, len, -12); });
    expect_checks_of_a_reduction<int16_t, int16_t>(
        [](const int16_t* c, int32_t len, int16_t* a) { return zelsCepstrumToLP_16s_Sfs(c, a, len, -12); });
}

TEST(Cepstrum, TakesNoMemoryBelowLength22)
{
    for (int length : {1, 4, 21, 22, 23, 100}) {
        const std::vector<float> x = uniform_vector(length, -0.1F, 0.1F);
        const std::vector<int16_t> x16(x.size(), 1);
        std::vector<float> y(x.size());
        std::vector<int16_t> y16(x.size());
        AllocatorWatch watch;
        EXPECT_EQ(zelsLPToCepstrum_16s_Sfs(x16.data(), y16.data(), length, -10), SrOk);
        EXPECT_EQ(watch.requests() == 0, length < 22) << length;
        const int before = watch.requests();
        EXPECT_EQ(zelsCepstrumToLP_16s_Sfs(x16.data(), y16.data(), length, -10), SrOk);
        EXPECT_EQ(watch.requests() == before, length < 22) << length;
        if (length < 22) {
            EXPECT_EQ(zelsLPToCepstrum_32f(x.data(), y.data(), length), SrOk);
            EXPECT_EQ(zelsCepstrumToLP_32f(x.data(), y.data(), length), SrOk);
            EXPECT_EQ(watch.requests(), 0);
        }
        EXPECT_EQ(watch.live(), 0);
    }
}

TEST(CepstrumFixed, SurvivesRefusedMemory)
{
    const std::vector<int16_t> x = filter_16s(30, -12);
    Guarded<int16_t> y(30);
    expect_survives_refusals([&] { return zelsLPToCepstrum_16s_Sfs(x.data(), y.data(), 30, -12); }, {&y});
    expect_survives_refusals([&] { return zelsCepstrumToLP_16s_Sfs(x.data(), y.data(), 30, -12); }, {&y});
}

#ifdef __i386__
TEST(Cepstrum, RunsOnAnyStack)
{
    for (int length : {12, 30}) {
        const std::vector<int16_t> x16 = filter_16s(length, -12);
        const std::vector<float> x = reference::scaled_singles(x16, 12);
        for (int misalign : {0, 4, 8, 12}) {
            std::vector<float> y(x.size());
            std::vector<int16_t> y16(x.size());
            EXPECT_EQ(call_misaligned(zelsLPToCepstrum_32f, misalign, x.data(), y.data(), length), SrOk);
            EXPECT_TRUE(same_values(reference::lp_to_cepstrum(x), y));
            EXPECT_EQ(call_misaligned(zelsCepstrumToLP_32f, misalign, x.data(), y.data(), length), SrOk);
            EXPECT_TRUE(same_values(reference::cepstrum_to_lp(x), y));
            EXPECT_EQ(call_misaligned(zelsLPToCepstrum_16s_Sfs, misalign, x16.data(), y16.data(), length, -12),
                      SrOk);
            EXPECT_EQ(fixed_cepstrum(x16, -12), y16);
            EXPECT_EQ(call_misaligned(zelsCepstrumToLP_16s_Sfs, misalign, x16.data(), y16.data(), length, -12),
                      SrOk);
            EXPECT_EQ(fixed_lp(x16, -12), y16);
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
