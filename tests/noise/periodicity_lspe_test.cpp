// The period of a sequence by least squares.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "noise/periodicity_members.h"

namespace zelsr::test {
namespace {

template <class Member>
class Lspe : public testing::Test {};
using Members = testing::Types<Lspe_32f, Lspe_16s>;
TYPED_TEST_SUITE(Lspe, Members, PeriodicityNames);

TYPED_TEST(Lspe, LongestSearch) { ASSERT_TRUE(finds_period<TypeParam>(sequence_for<TypeParam>(1024), 1023, 64)); }

TYPED_TEST(Lspe, FindsAPulsesPeriod)
{
    using T = typename TypeParam::T;
    for (int period : {6, 7, 10, 13}) {
        std::vector<T> x(90, T(0));
        for (std::size_t i = 0; i < x.size(); i += static_cast<std::size_t>(period)) x[i] = T(1000);
        const auto found = search<TypeParam>(x, 13, 6);
        EXPECT_EQ(found.status, SrOk);
        // Two periods explain as much, and truncated integers may prefer them.
        EXPECT_EQ(found.period % period, 0) << found.period;
        if (std::is_same_v<T, float>) {
            EXPECT_EQ(found.period, period);
            EXPECT_NEAR(found.measure, 1, 1e-5);
        } else {
            EXPECT_GT(found.measure, 32000);
        }
    }
}

TYPED_TEST(Lspe, SilenceHasNoPeriod)
{
    using T = typename TypeParam::T;
    const auto found = search<TypeParam>(std::vector<T>(60, T(0)), 20, 6);
    EXPECT_EQ(found.status, SrOk);
    EXPECT_EQ(found.measure, 0);
    EXPECT_EQ(found.period, 0);
    // One pulse is as unexplained by any period as the rest: both differences are 0.
    std::vector<T> pulse(60, T(0));
    pulse[31] = T(5);
    ASSERT_TRUE(finds_period<TypeParam>(pulse, 20, 6));
}

// Each period explains all of it, but for the rounding of the factors, which decides.
TYPED_TEST(Lspe, Constants)
{
    using T = typename TypeParam::T;
    for (T value : {T(1), T(-1), T(100), T(-100), T(32767), T(-32767), T(3)})
        for (int length : {8, 30, 60, 95, 96, 255, 512, 1023, 1024}) {
            const int least = std::max(6, (length + 15) / 16);
            ASSERT_TRUE(finds_period<TypeParam>(std::vector<T>(static_cast<std::size_t>(length), value),
                                                std::min(length - 1, 3 * least), least));
        }
}

TEST(LspeValues, FirstOfEqualPeriodsStays)
{
    // Period 6, and so 12 too.
    std::vector<int16_t> x;
    for (int i = 0; i < 96; ++i) x.push_back(static_cast<int16_t>(i % 6 == 0 ? 4096 : 0));
    const auto found = search<Lspe_16s>(x, 20, 6);
    EXPECT_EQ(found.period, 6);
    ASSERT_TRUE(finds_period<Lspe_16s>(x, 20, 6));
}

TEST(LspeValues, LoudIntegers)
{
    // Energies about every power of two, up to the loudest.
    for (int turn = 0; turn < (thin_effort() ? 20 : 200); ++turn) {
        const int length = turn % 2 == 0 ? uniform(1000, 1024) : uniform(100, 600);
        const auto loudest = static_cast<int16_t>(uniform(20000, 32767));
        std::vector<int16_t> x;
        for (int i = 0; i < length; ++i)
            x.push_back(static_cast<int16_t>(turn % 4 < 2 ? (generator()() % 2 == 0 ? loudest : -loudest - 1)
                                                          : -loudest - (i % 7 == 0)));
        const int least = std::max(64, length / 5), greatest = std::min(length - 1, least + 8);
        ASSERT_TRUE(finds_period<Lspe_16s>(x, greatest, least)) << loudest;
    }
    for (int length : {1023, 1024, 512, 511, 100})
        for (int least : {64, 100, 200, 300}) {
            if (least + 5 >= length) continue;
            ASSERT_TRUE(finds_period<Lspe_16s>(std::vector<int16_t>(static_cast<std::size_t>(length), INT16_MIN),
                                               std::min(length - 1, least + 60), least));
        }
}

TEST(LspeValues, SinglesOfEverySize)
{
    for (float size : {1e-30F, 1e-22F, 1e-10F, 1e10F, 1e19F, 1e30F, 3e38F}) {
        std::vector<float> x;
        for (int i = 0; i < 96; ++i) x.push_back(size * (i % 8 == 0 ? 1.0F : uniform(-0.3F, 0.3F)));
        ASSERT_TRUE(finds_period<Lspe_32f>(x, 20, 6));
        EXPECT_EQ(search<Lspe_32f>(x, 10, 6).period, 8);
    }
}

// No difference of sums is above zero then.
TEST(LspeValues, NotANumberHasNoPeriod)
{
    for (float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                      -std::numeric_limits<float>::infinity()})
        for (std::size_t at : {0u, 30u, 59u}) {
            std::vector<float> x = uniform_vector<float>(60, -1.0F, 1.0F);
            x[at] = bad;
            const auto found = search<Lspe_32f>(x, 20, 6);
            EXPECT_EQ(found.status, SrOk);
            EXPECT_TRUE(same_value(0.0F, found.measure));
            EXPECT_EQ(found.period, 0);
        }
}

TYPED_TEST(Lspe, ShortestPeriodIsASixteenthOfTheLength)
{
    using T = typename TypeParam::T;
    const std::vector<T> x(97, T(1));
    typename TypeParam::Measure measure;
    int32_t period;
    EXPECT_EQ(TypeParam::kCall(x.data(), 96, &measure, &period, 20, 6), SrOk);
    EXPECT_EQ(TypeParam::kCall(x.data(), 97, &measure, &period, 20, 6), SrErrLengthBound);
}

}  // namespace
}  // namespace zelsr::test
