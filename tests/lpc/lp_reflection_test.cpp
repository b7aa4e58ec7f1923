// Prediction coefficients into reflection coefficients and back.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "lpc/filters.h"
#include "support/bits.h"
#include "support/effort.h"
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

// A failure of the single form stays hidden (wanted): what it did not write is zero.
std::vector<int16_t> fixed_reflection(const std::vector<int16_t>& a, int32_t sf)
{
    return reference::half_away(reference::lp_to_reflection(reference::scaled_singles(a, -sf)).k, sf);
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

}  // namespace
}  // namespace zelsr::test
