// Prediction coefficients into reflection coefficients and back.
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

constexpr float kHeld = -77.25F;

std::vector<float> reflection_of(const std::vector<float>& a)
{
    std::vector<float> k(a.size());
    EXPECT_EQ(zelsLPToReflection_32f(a.data(), k.data(), static_cast<int32_t>(a.size())), SrOk);
    return k;
}
std::vector<float> lp_of(const std::vector<float>& k)
{
    std::vector<float> a(k.size());
    EXPECT_EQ(zelsReflectionToLP_32f(k.data(), a.data(), static_cast<int32_t>(k.size())), SrOk);
    return a;
}

TEST(StepDown, IsTheRecursionBitByBit)
{
    at_every_place<2>(lengths(18), {4, 4}, [](int length, const std::array<Placement, 2>& places) {
        const std::vector<float> a = stable_filter(length);
        return maps(a, reference::lp_to_reflection(a).k, zelsLPToReflection_32f, places[0], places[1]);
    });
    const std::vector<float> a = stable_filter(300, 0.5);
    EXPECT_TRUE(maps(a, reference::lp_to_reflection(a).k, zelsLPToReflection_32f));
}

TEST(StepUp, IsTheRecursionBitByBit)
{
    at_every_place<2>(lengths(18), {4, 4}, [](int length, const std::array<Placement, 2>& places) {
        const std::vector<float> k = uniform_vector(length, -0.95F, 0.95F);
        return maps(k, reference::reflection_to_lp(k), zelsReflectionToLP_32f, places[0], places[1]);
    });
    const std::vector<float> k = uniform_vector(300, -0.3F, 0.3F);
    EXPECT_TRUE(maps(k, reference::reflection_to_lp(k), zelsReflectionToLP_32f));
}

TEST(StepDown, ByValue)
{
    EXPECT_EQ(reflection_of({0.5F}), std::vector<float>{-0.5F});
    EXPECT_TRUE(same_value(0.0F, reflection_of({0.0F})[0]));
    EXPECT_TRUE(same_value(0.0F, reflection_of({-0.0F})[0])) << "zero less minus zero";
    // a = 0.75, 0.5: k[1] = -0.5, a[0] = 0.75 (1 - 0.5) / 0.75
    EXPECT_EQ(reflection_of({0.75F, 0.5F}), (std::vector<float>{-0.375F * (1 / 0.75F), -0.5F}));
}

TEST(StepUp, ByValue)
{
    EXPECT_EQ(lp_of({0.5F}), std::vector<float>{-0.5F});
    EXPECT_TRUE(same_value(0.0F, lp_of({0.0F})[0]));
    EXPECT_EQ(lp_of({0.5F, 0.25F}), (std::vector<float>{-0.5F + 0.5F * 0.25F, -0.25F}));
    // Unit coefficients are no failure upwards.
    EXPECT_EQ(lp_of({1, 1, -1}), (std::vector<float>{-1, -1, 1}));
}

// What is above the unit coefficient is written, it and what is below it is not.
TEST(StepDown, AUnitCoefficientEndsIt)
{
    for (int length = 1; length <= 40; ++length)
        for (int at = 0; at < length; ++at)
            for (float unit : {1.0F, -1.0F}) {
                // Zeros above leave the coefficients as they are.
                std::vector<float> a(static_cast<std::size_t>(length), 0.0F);
                a[static_cast<std::size_t>(at)] = unit;
                if (at > 0) a[0] = 0.25F;
                Guarded<float> k(std::vector<float>(a.size(), kHeld));
                AllocatorWatch watch;
                ASSERT_EQ(zelsLPToReflection_32f(a.data(), k.data(), length), SrErrLpToReflection);
                EXPECT_EQ(watch.live(), 0);
                EXPECT_TRUE(k.intact());
                for (int i = 0; i < length; ++i)
                    ASSERT_EQ(k.get(static_cast<std::size_t>(i)), i > at ? 0.0F : kHeld)
                        << i << ", unit at " << at;
            }
}

TEST(StepDown, OnlyAnExactUnitFails)
{
    for (float near : {0.99999F, std::nextafter(1.0F, 0.0F), std::nextafter(1.0F, 2.0F), 1.5F, -30.0F})
        for (int length : {1, 2, 20}) {
            std::vector<float> a(static_cast<std::size_t>(length), 0.0F);
            a.back() = near;
            EXPECT_TRUE(maps(a, reference::lp_to_reflection(a).k, zelsLPToReflection_32f)) << near;
        }
    // Reached on the way: k[1] = -0.5, k[0] = -(a[0] (1 - 0.5) / 0.75)
    std::vector<float> k = {kHeld, kHeld};
    const std::vector<float> a = {1.5F, 0.5F};
    ASSERT_EQ(reference::lp_to_reflection(a).status, SrErrLpToReflection);
    EXPECT_EQ(zelsLPToReflection_32f(a.data(), k.data(), 2), SrErrLpToReflection);
    EXPECT_EQ(k, (std::vector<float>{kHeld, -0.5F}));
}

TEST(StepDown, SpecialValues)
{
    const std::vector<float> special = special_values<float>();
    for (int turn = 0; turn < (thin_effort() ? 100 : 3000); ++turn) {
        std::vector<float> x = uniform_vector(uniform(1, 20), -2.0F, 2.0F);
        for (float& value : x)
            if (generator()() % 6 == 0) value = special[generator()() % special.size()];
        const reference::StepDown right = reference::lp_to_reflection(x);
        std::vector<float> expected = right.k;
        for (std::size_t i = 0; i < expected.size() - right.written; ++i) expected[i] = kHeld;
        std::vector<float> k(x.size(), kHeld);
        ASSERT_EQ(zelsLPToReflection_32f(x.data(), k.data(), static_cast<int32_t>(x.size())), right.status);
        ASSERT_TRUE(same_values(expected, k));
        ASSERT_TRUE(maps(x, reference::reflection_to_lp(x), zelsReflectionToLP_32f));
    }
}

// Every order, both ways round.
TEST(StepDown, UndoesStepUp)
{
    for (int length = 1; length <= 40; ++length)
        for (int turn = 0; turn < 20; ++turn) {
            const std::vector<float> k = to_singles(random_reflection(length, 0.7));
            const std::vector<float> a = lp_of(k);
            EXPECT_TRUE(near_values(k, reflection_of(a), 3e-4)) << length;
            double largest = 1;
            for (float value : a) largest = std::max<double>(largest, std::abs(value));
            EXPECT_TRUE(near_values(a, lp_of(reflection_of(a)), 3e-4 * largest)) << length;
        }
}

// --- 16 bits ---

template <class Call>
auto with_scale(Call call, int32_t sf)
{
    return [=](const int16_t* src, int16_t* dst, int32_t length) { return call(src, dst, length, sf); };
}

// A failure of the single form stays hidden (wanted): what it did not write is zero.
std::vector<int16_t> fixed_reflection(const std::vector<int16_t>& a, int32_t sf)
{
    return reference::half_away(reference::lp_to_reflection(reference::scaled_singles(a, -sf)).k, sf);
}
std::vector<int16_t> fixed_lp(const std::vector<int16_t>& k, int32_t sf)
{
    return reference::nearest(reference::reflection_to_lp(reference::scaled_singles(k, -sf)), sf);
}

std::vector<int16_t> filter_16s(int length, int32_t sf)
{
    std::vector<int16_t> all;
    for (float a : stable_filter(length, 0.7))
        all.push_back(static_cast<int16_t>(std::clamp(std::round(std::ldexp(a, -sf)), -32768.0F, 32767.0F)));
    return all;
}

TEST(StepDownFixed, IsTheRecursionBetweenConversions)
{
    at_every_place<2>(lengths(24), {2, 2}, [](int length, const std::array<Placement, 2>& places) {
        const int32_t sf = uniform(-12, -8);
        const std::vector<int16_t> a = filter_16s(length, sf);
        return maps(a, fixed_reflection(a, sf), with_scale(zelsLPToReflection_16s_Sfs, sf), places[0], places[1]);
    });
}

TEST(StepUpFixed, IsTheRecursionBetweenConversions)
{
    at_every_place<2>(lengths(24), {2, 2}, [](int length, const std::array<Placement, 2>& places) {
        const int32_t sf = uniform(-15, -8);
        const std::vector<int16_t> k = filter_16s(length, sf);
        return maps(k, fixed_lp(k, sf), with_scale(zelsReflectionToLP_16s_Sfs, sf), places[0], places[1]);
    });
    for (int32_t sf : scale_factors()) {
        if (sf < -140 || sf > 127) continue;  // infinite and zero multipliers
        const std::vector<int16_t> k = uniform_vector<int16_t>(5, -20, 20);
        EXPECT_TRUE(maps(k, fixed_lp(k, sf), with_scale(zelsReflectionToLP_16s_Sfs, sf))) << sf;
        if (sf <= 8) {
            EXPECT_TRUE(maps(k, fixed_reflection(k, sf), with_scale(zelsLPToReflection_16s_Sfs, sf))) << sf;
        }
    }
}

TEST(StepUpFixed, ByValue)
{
    int16_t a[2];
    const int16_t k[] = {8, 4};  // 1/2 and 1/4 in Q4: -6/16 and -4/16
    ASSERT_EQ(zelsReflectionToLP_16s_Sfs(k, a, 2, -4), SrOk);
    EXPECT_EQ(a[0], -6);
    EXPECT_EQ(a[1], -4);
    const int16_t lowest[] = {-32768};
    ASSERT_EQ(zelsReflectionToLP_16s_Sfs(lowest, a, 1, -15), SrOk);
    EXPECT_EQ(a[0], 32767) << "saturated";
    const int16_t odd[] = {4, 2};  // -4 + 4 * 2 / 16 = -3.5
    ASSERT_EQ(zelsReflectionToLP_16s_Sfs(odd, a, 2, -4), SrOk);
    EXPECT_EQ(a[0], -4);
    const int16_t other[] = {3, 8};  // -3 + 1.5
    ASSERT_EQ(zelsReflectionToLP_16s_Sfs(other, a, 2, -4), SrOk);
    EXPECT_EQ(a[0], -2);
    const int16_t third[] = {5, 8};  // -5 + 2.5
    ASSERT_EQ(zelsReflectionToLP_16s_Sfs(third, a, 2, -4), SrOk);
    EXPECT_EQ(a[0], -2) << "a half to even";
}

TEST(StepDownFixed, ByValue)
{
    int16_t k[2];
    const int16_t lowest[] = {-32768};
    ASSERT_EQ(zelsLPToReflection_16s_Sfs(lowest, k, 1, -14), SrOk);
    EXPECT_EQ(k[0], -32768) << "2 in Q14 is not saturated: it keeps its low bits";
    // a[1] = 1/4 in Q2: k[1] = -1/4, k[0] = -(a[0] - a[0] / 4) / (15 / 16) = -0.8 a[0]
    const int16_t a[] = {3, 1};  // -0.6 = -2.4 in Q2
    ASSERT_EQ(zelsLPToReflection_16s_Sfs(a, k, 2, -2), SrOk);
    EXPECT_EQ(k[1], -1);
    EXPECT_EQ(k[0], -2);
    const int16_t wide[] = {30000, 2};  // k[0] = -30000 (1 - 2) / (1 - 4) = -10000
    ASSERT_EQ(zelsLPToReflection_16s_Sfs(wide, k, 2, 0), SrOk);
    EXPECT_EQ(k[0], -10000);
    // 0 is 2^-3 away from a half: a[0] = 5, a[1] = 3: k[0] = -5 (1 - 3) / (1 - 9) = -1.25
    const int16_t few[] = {10, 3};  // -2.5
    ASSERT_EQ(zelsLPToReflection_16s_Sfs(few, k, 2, 0), SrOk);
    EXPECT_EQ(k[0], -3) << "a half away from zero";
    const int16_t opposite[] = {-10, 3};
    ASSERT_EQ(zelsLPToReflection_16s_Sfs(opposite, k, 2, 0), SrOk);
    EXPECT_EQ(k[0], 3);
}

TEST(StepDownFixed, AUnitCoefficientGoesUnreported)
{
    for (int length : {1, 2, 15, 16, 21, 22, 40}) {
        std::vector<int16_t> a(static_cast<std::size_t>(length), 0), k(a.size(), 77);
        a[0] = 100;
        a.back() = -4096;
        EXPECT_EQ(zelsLPToReflection_16s_Sfs(a.data(), k.data(), length, -12), SrOk);
        EXPECT_EQ(k, std::vector<int16_t>(a.size(), 0));
        if (length < 3) continue;
        a.back() = 8;
        a[1] = 4096;
        for (std::size_t i = 2; i + 1 < a.size(); ++i) a[i] = 0;
        EXPECT_EQ(zelsLPToReflection_16s_Sfs(a.data(), k.data(), length, -12), SrOk);
        EXPECT_EQ(k, fixed_reflection(a, -12));
        EXPECT_EQ(k.back(), -8);
    }
}

TEST(StepDownFixed, AnyValues)
{
    for (int turn = 0; turn < (thin_effort() ? 50 : 1000); ++turn) {
        const std::vector<int16_t> x = uniform_vector<int16_t>(uniform(1, 25), -20000, 20000);
        const int32_t sf = uniform(-16, -13);
        ASSERT_TRUE(maps(x, fixed_lp(x, sf), with_scale(zelsReflectionToLP_16s_Sfs, sf))) << sf;
        ASSERT_TRUE(maps(x, fixed_reflection(x, sf), with_scale(zelsLPToReflection_16s_Sfs, sf))) << sf;
    }
}

TEST(StepDownFixed, InEveryEnvironment)
{
    for (int length : {3, 12, 30}) {
        const std::vector<int16_t> x = filter_16s(length, -12);
        const std::vector<int16_t> reflection = fixed_reflection(x, -12), lp = fixed_lp(x, -12);
        std::vector<int16_t> result(x.size());
        under_each_environment([&] { zelsLPToReflection_16s_Sfs(x.data(), result.data(), length, -12); },
                               [&](const std::string& setting) { EXPECT_EQ(reflection, result) << setting; });
        under_each_environment([&] { zelsReflectionToLP_16s_Sfs(x.data(), result.data(), length, -12); },
                               [&](const std::string& setting) { EXPECT_EQ(lp, result) << setting; });
    }
}

// --- checks and memory ---

TEST(StepDown, PointersAreCheckedBeforeLength)
{
    expect_checks_of_a_reduction<float, float>(
        [](const float* a, int32_t len, float* k) { return zelsLPToReflection_32f(a, k, len); });
    expect_checks_of_a_reduction<float, float>(
        [](const float* k, int32_t len, float* a) { return zelsReflectionToLP_32f(k, a, len); });
    expect_checks_of_a_reduction<int16_t, int16_t>(
        [](const int16_t* a, int32_t len, int16_t* k) { return zelsLPToReflection_16s_Sfs(a, k, len, -12); });
    expect_checks_of_a_reduction<int16_t, int16_t>(
        [](const int16_t* k, int32_t len, int16_t* a) { return zelsReflectionToLP_16s_Sfs(k, a, len, -12); });
}

TEST(StepDown, TakesNoMemoryBelowLength16)
{
    for (int length : {1, 4, 15}) {
        const std::vector<float> x = stable_filter(length, 0.5);
        const std::vector<int16_t> x16 = filter_16s(length, -12);
        std::vector<float> y(x.size());
        std::vector<int16_t> y16(x.size());
        AllocatorWatch watch;
        EXPECT_EQ(zelsLPToReflection_32f(x.data(), y.data(), length), SrOk);
        EXPECT_EQ(zelsReflectionToLP_32f(x.data(), y.data(), length), SrOk);
        EXPECT_EQ(zelsLPToReflection_16s_Sfs(x16.data(), y16.data(), length, -12), SrOk);
        EXPECT_EQ(zelsReflectionToLP_16s_Sfs(x16.data(), y16.data(), length, -12), SrOk);
        EXPECT_EQ(watch.requests(), 0) << length;
    }
}

TEST(StepDown, SurvivesRefusedMemory)
{
    for (int length : {16, 22, 100}) {
        const std::vector<float> x = stable_filter(length, 0.5);
        const std::vector<int16_t> x16 = filter_16s(length, -12);
        const auto survives = [](auto call, auto held, std::size_t count) {
            using T = decltype(held);
            for (int refused = 1;; ++refused) {
                Guarded<T> y(std::vector<T>(count, held));
                AllocatorWatch watch(refused);
                const SrStatus status = call(y.data());
                EXPECT_EQ(watch.live(), 0);
                EXPECT_TRUE(y.intact());
                if (watch.requests() < refused) return;
                EXPECT_EQ(status, SrErrMemAlloc);
                EXPECT_EQ(y.values(), std::vector<T>(count, held)) << refused;
            }
        };
        survives([&](float* y) { return zelsLPToReflection_32f(x.data(), y, length); }, kHeld, x.size());
        survives([&](float* y) { return zelsReflectionToLP_32f(x.data(), y, length); }, kHeld, x.size());
        survives([&](int16_t* y) { return zelsLPToReflection_16s_Sfs(x16.data(), y, length, -12); }, int16_t{7},
                 x.size());
        survives([&](int16_t* y) { return zelsReflectionToLP_16s_Sfs(x16.data(), y, length, -12); }, int16_t{7},
                 x.size());
    }
}

#ifdef __i386__
TEST(StepDown, RunsOnAnyStack)
{
    for (int length : {12, 30}) {
        const std::vector<int16_t> x16 = filter_16s(length, -12);
        const std::vector<float> x = reference::scaled_singles(x16, 12);
        for (int misalign : {0, 4, 8, 12}) {
            std::vector<float> y(x.size());
            std::vector<int16_t> y16(x.size());
            EXPECT_EQ(call_misaligned(zelsLPToReflection_32f, misalign, x.data(), y.data(), length), SrOk);
            EXPECT_TRUE(same_values(reference::lp_to_reflection(x).k, y));
            EXPECT_EQ(call_misaligned(zelsReflectionToLP_32f, misalign, x.data(), y.data(), length), SrOk);
            EXPECT_TRUE(same_values(reference::reflection_to_lp(x), y));
            EXPECT_EQ(call_misaligned(zelsLPToReflection_16s_Sfs, misalign, x16.data(), y16.data(), length, -12),
                      SrOk);
            EXPECT_EQ(fixed_reflection(x16, -12), y16);
            EXPECT_EQ(call_misaligned(zelsReflectionToLP_16s_Sfs, misalign, x16.data(), y16.data(), length, -12),
                      SrOk);
            EXPECT_EQ(fixed_lp(x16, -12), y16);
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
