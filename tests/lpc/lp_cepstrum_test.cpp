// Prediction coefficients into cepstra and back.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "lpc/filters.h"
#include "support/bits.h"
#include "support/effort.h"
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

}  // namespace
}  // namespace zelsr::test
