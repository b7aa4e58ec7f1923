// Weighted means of two vectors, with and without a sum of weights.
#include <gtest/gtest.h>

#include <limits>

#include "estimation/vector_suite.h"
#include "support/reference/interpolation.h"
#include "zelsr/estimation/interpolation.h"

namespace zelsr::test::estimation {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr float kInfinity_32f = std::numeric_limits<float>::infinity();
constexpr float kNan_32f = std::numeric_limits<float>::quiet_NaN();

// ---- The table --------------------------------------------------------------------------------------------

std::vector<Scalars> weights()
{
    return {{0.3, 0.7, 0, 0},
            {3, 5, 0, 0},
            {1, -1, 0, 0},
            {-2, -3.5, 0, 0},
            {1, -0.99, 0, 0},
            {0, 0, 0, 0},
            {-0.0, -0.0, 0, 0},
            {kNan, 1, 0, 0},
            {1, -kNan, 0, 0},
            {kInfinity, 1, 0, 0},
            {kInfinity, -kInfinity, 0, 0},
            {-kInfinity, 2, 0, 0},
            {1e-30, 1e-38, 0, 0},
            {-5, 5, 0, 0},
            {100, 0, 0, 0}};
}
template <class T>
void append_weighted(std::vector<Tested>& all, Member<T> m, Overlap overlap, Rounding rounding = Rounding::Callers)
{
    m.overlap = overlap;
    m.rounding = rounding;
    append(all, std::move(m));
}

std::vector<Tested> members()
{
    using namespace reference;
    std::vector<Tested> all;
    append_weighted(all,
                    member<float>("zelsWeightedSum_32f", "iio", zelsWeightedSum_32f,
                                  weighted_sum<false, float, float>, weights()),
                    Overlap::Undefined);
    append_weighted(all,
                    member<double>("zelsWeightedSum_64f", "iio", zelsWeightedSum_64f,
                                   weighted_sum<false, double, double>, weights()),
                    Overlap::InOrder);
    append_weighted(all,
                    member<int16_t>("zelsWeightedSum_16s", "iio", zelsWeightedSum_16s,
                                    weighted_sum<false, int16_t, float>, weights()),
                    Overlap::Undefined, Rounding::Own);
    append_weighted(all,
                    member<float>("zelsWeightedSumHalf_32f", "iio", zelsWeightedSumHalf_32f,
                                  weighted_sum<true, float, float>, weights()),
                    Overlap::Undefined);
    append_weighted(all,
                    member<double>("zelsWeightedSumHalf_64f", "iio", zelsWeightedSumHalf_64f,
                                   weighted_sum<true, double, double>, weights()),
                    Overlap::InOrder);
    append_weighted(all,
                    member<int16_t>("zelsWeightedSumHalf_16s", "iio", zelsWeightedSumHalf_16s,
                                    weighted_sum<true, int16_t, float>, weights()),
                    Overlap::Undefined, Rounding::Own);
    return all;
}
INSTANTIATE_TEST_SUITE_P(WeightedSum, OnVectors, testing::ValuesIn(members()), tested_name);

// ---- Weighted means by value ----------------------------------------------------------------------------------

TEST(WeightedSum, IsTheWeightedMean)
{
    const std::vector<float> a = {1, 2}, b = {5, -6};
    std::vector<float> dst(2);
    EXPECT_EQ(zelsWeightedSum_32f(a.data(), b.data(), dst.data(), 2, 3, 1), SrOk);
    EXPECT_EQ(dst, (std::vector<float>{2, 0}));
    const std::vector<float> weighted = {3, 6};
    EXPECT_EQ(zelsWeightedSumHalf_32f(weighted.data(), b.data(), dst.data(), 2, 3, 1), SrOk);
    EXPECT_EQ(dst, (std::vector<float>{2, 0}));
}

template <class T>
std::vector<T> repeated(const std::vector<T>& values, std::size_t count)
{
    std::vector<T> all;
    while (all.size() < count) all.push_back(values[all.size() % values.size()]);
    return all;
}

template <class T>
void expect_infinities_without_a_sum(SrStatus (*function)(const T*, const T*, T*, int32_t, T, T))
{
    constexpr T infinity = std::numeric_limits<T>::infinity(), nan = std::numeric_limits<T>::quiet_NaN();
    for (std::size_t count : {std::size_t{4}, std::size_t{40}}) {
        const std::vector<T> a = repeated<T>({3, 1, 2, nan}, count), b = repeated<T>({1, 3, 2, 1}, count);
        std::vector<T> dst(count);
        const auto len = static_cast<int32_t>(count);
        EXPECT_EQ(function(a.data(), b.data(), dst.data(), len, 1, -1), SrWarnDivByZero);
        EXPECT_TRUE(same_values(repeated<T>({infinity, -infinity, nan, nan}, count), dst));
        EXPECT_EQ(function(a.data(), b.data(), dst.data(), len, 1, nan), SrWarnDivByZero);
        EXPECT_TRUE(same_values(std::vector<T>(count, nan), dst));
        EXPECT_EQ(function(a.data(), b.data(), dst.data(), len, 0, 0), SrWarnDivByZero);
        EXPECT_TRUE(same_values(std::vector<T>(count, nan), dst));
    }
}

TEST(WeightedSum, WithoutASumOfWeightsTheSignDecides)
{
    expect_infinities_without_a_sum(zelsWeightedSum_32f);
    expect_infinities_without_a_sum(zelsWeightedSum_64f);
    expect_infinities_without_a_sum(zelsWeightedSumHalf_32f);
    expect_infinities_without_a_sum(zelsWeightedSumHalf_64f);
    for (auto function : {zelsWeightedSum_16s, zelsWeightedSumHalf_16s})
        for (std::size_t count : {std::size_t{3}, std::size_t{24}}) {
            const std::vector<int16_t> a = repeated<int16_t>({3, 1, 2}, count),
                                       b = repeated<int16_t>({1, 3, 2}, count);
            std::vector<int16_t> dst(count);
            const auto len = static_cast<int32_t>(count);
            EXPECT_EQ(function(a.data(), b.data(), dst.data(), len, 1, -1), SrWarnDivByZero);
            EXPECT_EQ(dst, repeated<int16_t>({32767, -32768, 0}, count));
            EXPECT_EQ(function(a.data(), b.data(), dst.data(), len, kNan_32f, 1), SrWarnDivByZero);
            EXPECT_EQ(dst, std::vector<int16_t>(count, 0));
        }
}

TEST(WeightedSum, IntegersAreLimitedThenTruncated)
{
    for (std::size_t count : {std::size_t{6}, std::size_t{24}}) {
        const std::vector<int16_t> a = repeated<int16_t>({7, -7, 32767, -32768, 1, -1}, count),
                                   b = repeated<int16_t>({0, 0, -32768, 32767, 0, 0}, count);
        std::vector<int16_t> dst(count);
        const auto len = static_cast<int32_t>(count);
        EXPECT_EQ(zelsWeightedSum_16s(a.data(), b.data(), dst.data(), len, 1, 1), SrOk);
        EXPECT_EQ(dst, repeated<int16_t>({3, -3, 0, 0, 0, 0}, count));
        EXPECT_EQ(zelsWeightedSum_16s(a.data(), b.data(), dst.data(), len, 3, -2), SrOk);
        EXPECT_EQ(dst, repeated<int16_t>({21, -21, 32767, -32768, 3, -3}, count));
    }
}

// Infinite weights: 1 / infinity is zero, and infinity times zero not a number.
TEST(WeightedSum, IntegersOfNoValueAreTheLargest)
{
    const std::vector<int16_t> a(9, 5);
    std::vector<int16_t> dst(9);
    EXPECT_EQ(zelsWeightedSum_16s(a.data(), a.data(), dst.data(), 9, kInfinity_32f, 1), SrOk);
    EXPECT_EQ(dst, std::vector<int16_t>(9, 32767));
}

}  // namespace
}  // namespace zelsr::test::estimation
