// The period of a sequence by comb sums.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "noise/periodicity_members.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();

template <class Member>
class Comb : public testing::Test {};
using Members = testing::Types<Comb_32f, Comb_32s16s>;
TYPED_TEST_SUITE(Comb, Members, PeriodicityNames);

TYPED_TEST(Comb, LongestSearch)
{
    const auto x = sequence_for<TypeParam>(4096);
    ASSERT_TRUE(finds_period<TypeParam>(x, thin_effort() ? 60 : 300, 1));
    ASSERT_TRUE(finds_period<TypeParam>(x, 4095, thin_effort() ? 4080 : 4000));
}

// --- by value ---

TYPED_TEST(Comb, ByValue)
{
    using T = typename TypeParam::T;
    using Measure = typename TypeParam::Measure;
    const auto share = [](int part, int total) {
        return std::is_same_v<T, float>
                   ? static_cast<Measure>(static_cast<float>(part) / static_cast<float>(total))
                   : static_cast<Measure>(part * 32768 / total);
    };
    // A period of 3 has all of 8 + 8 + 8; a third of it, truncated in integers, still beats a single 7.
    const std::vector<T> x = {1, 8, 0, 1, 8, 1, 0, 8, 1};
    const auto found = search<TypeParam>(x, 4, 2);
    EXPECT_EQ(found.status, SrOk);
    EXPECT_EQ(found.period, 3);
    EXPECT_EQ(found.measure, share(24, 28));
    // All means are alike: the first period's first phase stays, with six of ten terms at most.
    const std::vector<T> flat(20, T(16));
    const auto even = search<TypeParam>(flat, 14, 2);
    ASSERT_TRUE(finds_period<TypeParam>(flat, 14, 2));
    EXPECT_GE(even.period, 2);
    // Three terms, then two: the third of an integer is truncated, a half is not.
    const auto thirds = search<TypeParam>(std::vector<T>(6, T(16)), 3, 2);
    const bool single = std::is_same_v<T, float>;
    EXPECT_EQ(thirds.period, single ? 2 : 3);
    EXPECT_EQ(thirds.measure, single ? share(3, 6) : share(2, 6));
}

TYPED_TEST(Comb, SixTermsAtMost)
{
    using T = typename TypeParam::T;
    for (int terms = 1; terms <= 10; ++terms) {
        std::vector<T> x(24, T(0));
        for (int i = 0; i < terms; ++i) x[static_cast<std::size_t>(2 * i)] = T(600);
        ASSERT_TRUE(finds_period<TypeParam>(x, 3, 2)) << terms;
        const auto found = search<TypeParam>(x, 3, 2);
        if (terms < 6 || !std::is_same_v<T, float>) continue;
        EXPECT_EQ(static_cast<float>(found.measure), 6.0F / static_cast<float>(terms));
    }
}

TYPED_TEST(Comb, SilenceHasNoPeriod)
{
    using T = typename TypeParam::T;
    for (int length : {3, 50, 4096}) {
        const auto found = search<TypeParam>(std::vector<T>(static_cast<std::size_t>(length), T(0)), 2, 1);
        EXPECT_EQ(found.status, SrOk);
        EXPECT_TRUE(same_value(typename TypeParam::Measure(0), found.measure));
        EXPECT_EQ(found.period, 0);
    }
}

TYPED_TEST(Comb, ANegativeElementIsRefused)
{
    using T = typename TypeParam::T;
    std::vector<T> bad = {T(-1), std::numeric_limits<T>::lowest()};
    if constexpr (std::is_same_v<T, float>)
        for (float x : {-1e-45F, kNaN, -kNaN, -kInfinity}) bad.push_back(x);
    for (T value : bad)
        for (int length : {3, 8, 17, 40})
            for (int misalign : {0, 4})
                for (int at = 0; at < length; ++at) {
                    Guarded<T> x(std::vector<T>(static_cast<std::size_t>(length), T(4)), {misalign});
                    x.set(static_cast<std::size_t>(at), value);
                    Guarded<typename TypeParam::Measure> measure(1);
                    Guarded<int32_t> period(1);
                    measure.take_snapshot();
                    period.take_snapshot();
                    ASSERT_EQ(TypeParam::kCall(x.data(), length, measure.data(), period.data(), 2, 1), SrErrRange);
                    ASSERT_TRUE(measure.as_snapshot() && period.as_snapshot()) << at << " of " << length;
                    ASSERT_EQ(TypeParam::kCall(x.data(), length, measure.data(), period.data(), length, 1),
                              SrErrLengthBound)
                        << "the length is tested before";
                }
}

TEST(CombValues, SpecialSingles)
{
    // Minus zero is not negative.
    std::vector<float> x(30, -0.0F);
    EXPECT_EQ(search<Comb_32f>(x, 5, 2).status, SrOk);
    EXPECT_TRUE(same_value(0.0F, search<Comb_32f>(x, 5, 2).measure));
    x[7] = 1e-45F;
    ASSERT_TRUE(finds_period<Comb_32f>(x, 25, 2));
    // An infinite total counts as none: wanted.
    x[3] = kInfinity;
    const auto found = search<Comb_32f>(x, 5, 2);
    EXPECT_EQ(found.status, SrOk);
    EXPECT_TRUE(same_value(0.0F, found.measure));
    EXPECT_EQ(found.period, 0);
    // Comb sums overflow in single precision, the total does not.
    const float largest = std::numeric_limits<float>::max();
    ASSERT_TRUE(finds_period<Comb_32f>(std::vector<float>(30, largest), 5, 2));
    EXPECT_EQ(search<Comb_32f>(std::vector<float>(30, largest), 5, 2).measure, kInfinity);
    ASSERT_TRUE(finds_period<Comb_32f>(std::vector<float>(30, largest), 29, 20));
    for (int turn = 0; turn < 100; ++turn) {
        std::vector<float> y;
        for (int i = 0; i < 40; ++i) y.push_back(std::exp2(uniform(-149.0F, 127.9F)));
        ASSERT_TRUE(finds_period<Comb_32f>(y, uniform(3, 39), uniform(1, 2)));
    }
}

TEST(CombValues, LargeIntegers)
{
    for (int length : {3, 6, 100, 4096})
        ASSERT_TRUE(finds_period<Comb_32s16s>(std::vector<int32_t>(static_cast<std::size_t>(length), INT32_MAX),
                                              std::min(length - 1, 40), 1));
    for (int turn = 0; turn < 100; ++turn) {
        std::vector<int32_t> x;
        for (int i = 0; i < 60; ++i)
            x.push_back(static_cast<int32_t>((generator()() & 0x7fffffff) >> uniform(0, 31)));
        ASSERT_TRUE(finds_period<Comb_32s16s>(x, uniform(3, 59), uniform(1, 2)));
    }
    // All of it under one comb: 1.0 is limited.
    std::vector<int32_t> pulses(12, 0);
    pulses[2] = pulses[7] = 1000;
    const auto found = search<Comb_32s16s>(pulses, 5, 4);
    EXPECT_EQ(found.measure, 32767);
    EXPECT_EQ(found.period, 5);
    // No mean is above zero.
    std::vector<int32_t> tiny(12, 0);
    tiny[3] = 1;
    const auto none = search<Comb_32s16s>(tiny, 5, 2);
    EXPECT_EQ(none.status, SrOk);
    EXPECT_EQ(none.measure, 0);
    EXPECT_EQ(none.period, 0);
}

}  // namespace
}  // namespace zelsr::test
