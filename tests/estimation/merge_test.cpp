// Gaussians merged and compared: bits equal to the statement's, and variances that have no logarithm.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "estimation/vector_suite.h"
#include "support/reference/gaussian_pairs.h"
#include "zelsr/estimation/mixture.h"

namespace zelsr::test::estimation {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr float kInfinity_32f = std::numeric_limits<float>::infinity();
constexpr float kNan_32f = std::numeric_limits<float>::quiet_NaN();

// ---- The table --------------------------------------------------------------------------------------------

std::vector<Scalars> weights()
{
    return {{0.5, 0.5, 0, 0}, {3, 0.1, 0, 0},       {1, 2, 0, 0},         {0, 0, 0, 0},  {1, -0.5, 0, 0},
            {1, kNan, 0, 0},  {1e-30, 1e-35, 0, 0}, {kInfinity, 1, 0, 0}, {2, -3, 0, 0}, {0.1, 0.7, 0, 0}};
}
std::vector<Scalars> weights_and_constants()
{
    return {{0.5, 71.3, 0.5, 64.8}, {3, -12.5, 0.1, 100}, {1, 0, 2, 0},         {0, 1, 0, 1},
            {1, 30, -0.5, 40},      {1, 30, kNan, 1},     {1, kInfinity, 2, 3}, {0.1, 7, 0.7, 1e-3}};
}

template <class T>
void append_pair(std::vector<Tested>& all, Member<T> m, Checks checks = Checks::SizeFirst)
{
    m.checks = checks;
    m.rounding = Rounding::Own;
    // The sign of a variance that is not a number, by which sums of logarithms judge it, is the processor's
    // affair.
    m.status_of_nan_is_free = true;
    append(all, std::move(m));
}

std::vector<Tested> members()
{
    using namespace reference;
    std::vector<Tested> all;
    auto merge_32f =
        member<float>("zelsGaussianMerge_32f", "ivivoor", zelsGaussianMerge_32f, gaussian_merge_32f, weights());
    merge_32f.tolerance = 0;
    append_pair(all, merge_32f);
    append_pair(all, member<double>("zelsGaussianMerge_64f", "ivivoor", zelsGaussianMerge_64f, gaussian_merge_64f,
                                    weights()));
    append_pair(all, member<float>("zelsGaussianDist_32f", "ivivr", zelsGaussianDist_32f, gaussian_dist,
                                   weights_and_constants()));
    append_pair(all, member<double>("zelsGaussianDist_64f", "ivivr", zelsGaussianDist_64f, gaussian_dist,
                                    weights_and_constants()));
    return all;
}
INSTANTIATE_TEST_SUITE_P(Merge, OnVectors, testing::ValuesIn(members()), tested_name);

// ---- Merging by value -----------------------------------------------------------------------------------------

template <class T>
struct Pair {
    std::vector<T> mean1, var1, mean2, var2;
};

template <class T>
struct Merged {
    SrStatus status;
    std::vector<T> mean, var;
    T gconst;
};

SrStatus merge(const Pair<float>& p, float* mean, float* var, float* gconst, float w1, float w2)
{
    return zelsGaussianMerge_32f(p.mean1.data(), p.var1.data(), p.mean2.data(), p.var2.data(), mean, var,
                                 static_cast<int32_t>(p.mean1.size()), gconst, w1, w2);
}
SrStatus merge(const Pair<double>& p, double* mean, double* var, double* gconst, double w1, double w2)
{
    return zelsGaussianMerge_64f(p.mean1.data(), p.var1.data(), p.mean2.data(), p.var2.data(), mean, var,
                                 static_cast<int32_t>(p.mean1.size()), gconst, w1, w2);
}
template <class T>
Merged<T> merged(const Pair<T>& p, T w1, T w2)
{
    Merged<T> m{SrErrUnknown, std::vector<T>(p.mean1.size(), 77), std::vector<T>(p.mean1.size(), 77), 77};
    m.status = merge(p, m.mean.data(), m.var.data(), &m.gconst, w1, w2);
    return m;
}

template <class T>
struct Distance {
    SrStatus status;
    T value;
};
Distance<float> distance(const Pair<float>& p, float w1, float g1, float w2, float g2)
{
    Distance<float> d{SrErrUnknown, 77};
    d.status = zelsGaussianDist_32f(p.mean1.data(), p.var1.data(), p.mean2.data(), p.var2.data(),
                                    static_cast<int32_t>(p.mean1.size()), &d.value, w1, g1, w2, g2);
    return d;
}
Distance<double> distance(const Pair<double>& p, double w1, double g1, double w2, double g2)
{
    Distance<double> d{SrErrUnknown, 77};
    d.status = zelsGaussianDist_64f(p.mean1.data(), p.var1.data(), p.mean2.data(), p.var2.data(),
                                    static_cast<int32_t>(p.mean1.size()), &d.value, w1, g1, w2, g2);
    return d;
}

template <class T>
class PairTest : public testing::Test {};
struct TypeName {
    template <class T>
    static std::string GetName(int)
    {
        return sizeof(T) == 4 ? "32f" : "64f";
    }
};
TYPED_TEST_SUITE(PairTest, decltype(testing::Types<float, double>{}), TypeName);

TYPED_TEST(PairTest, TwoIdenticalGaussiansMergeIntoThemselves)
{
    using T = TypeParam;
    const Pair<T> p{{1, -2, 0.5}, {4, 0.25, 1}, {1, -2, 0.5}, {4, 0.25, 1}};
    const Merged<T> m = merged<T>(p, 0.5, 0.5);
    EXPECT_EQ(m.status, SrOk);
    EXPECT_EQ(m.mean, p.mean1);
    EXPECT_EQ(m.var, p.var1);
    EXPECT_EQ(m.gconst, static_cast<T>(3 * 1.8378770664093)) << "the logarithms of 4, 1/4 and 1 cancel";
}

// Constant less sum: not the constant of a Gaussian with these variances, and wanted.
TYPED_TEST(PairTest, TheConstantTakesTheSumOfLogarithmsOff)
{
    using T = TypeParam;
    const Merged<T> m = merged<T>({{1}, {3}, {3}, {5}}, 1, 3);
    EXPECT_EQ(m.mean[0], T(2.5));
    EXPECT_EQ(m.var[0], T(5.25));  // ((1 + 3) + 3 (9 + 5)) / 4 - 6.25
    EXPECT_NEAR(m.gconst, 1.8378770664093 - std::log(5.25), 1e-6);
}

TYPED_TEST(PairTest, DistanceByValue)
{
    using T = TypeParam;
    const Distance<T> d = distance(Pair<T>{{1}, {3}, {3}, {5}}, 1, 7, 3, 11);
    EXPECT_EQ(d.status, SrOk);
    EXPECT_NEAR(d.value, 40 - 4 * (1.8378770664093 - std::log(5.25)), 1e-5);
}

// One element of merged variance zero, below zero or NaN, at each place.
template <class T>
Pair<T> spoilt_pair(std::size_t count, std::size_t at, T var)
{
    Pair<T> p{std::vector<T>(count, 2), std::vector<T>(count, 1), std::vector<T>(count, 2),
              std::vector<T>(count, 1)};
    p.var1[at] = p.var2[at] = var;
    return p;
}

TEST(Merge, SingleStopsBehindTheFirstElementWithoutALogarithm)
{
    const std::pair<float, SrStatus> kinds[] = {
        {0.0F, SrWarnLnZeroArg}, {-0.0F, SrWarnLnZeroArg}, {-1.0F, SrWarnLnNegArg}, {kNan_32f, SrWarnLnZeroArg}};
    for (std::size_t count : {1, 4, 9, 20})
        for (std::size_t at = 0; at < count; ++at)
            for (const auto& [var, status] : kinds) {
                const Merged<float> m = merged<float>(spoilt_pair(count, at, var), 1, 1);
                EXPECT_EQ(m.status, status);
                EXPECT_TRUE(same_value(status == SrWarnLnZeroArg ? kInfinity_32f : kNan_32f, m.gconst));
                std::vector<float> mean(count, 77), variances(count, 77);
                std::fill_n(mean.begin(), at + 1, 2.0F);
                std::fill_n(variances.begin(), at, 1.0F);
                variances[at] = var == 0 ? 0.0F : var;  // 4 + -0 is 4, and 4 - 4 zero
                EXPECT_TRUE(same_values(mean, m.mean));
                EXPECT_TRUE(same_values(variances, m.var));
            }
}

// The variance that decides is the one in double: too small for a single, it still has a logarithm.
TEST(Merge, SingleJudgesTheVarianceBeforeItIsRounded)
{
    for (std::size_t count : {1, 2, 5})
        for (std::size_t at = 0; at < count; ++at) {
            const std::vector<float> zeros(count, 0);
            Pair<float> p{zeros, std::vector<float>(count, 0), zeros, std::vector<float>(count, 1)};
            p.var1[at] = 0x1p-140F;
            p.var2[at] = 0;
            std::vector<float> variances(count, 1);
            variances[at] = 0;
            const Merged<float> m = merged<float>(p, 0x1p-100F, 1);
            EXPECT_EQ(m.status, SrOk);
            EXPECT_EQ(m.var, variances);
            EXPECT_NEAR(m.gconst, static_cast<double>(count) * 1.8378770664093 + 240 * std::log(2.0), 1e-4);
        }
}

TEST(Merge, DoubleStoresAllElementsAndGivesTheWarningOfTheSum)
{
    for (std::size_t count : {1, 4, 9, 20, 600})
        for (std::size_t at = 0; at < count; at += 1 + count / 20)
            for (const auto& [var, status] : {std::pair{0.0, SrWarnLnZeroArg}, {-1.0, SrWarnLnNegArg}}) {
                const Merged<double> m = merged<double>(spoilt_pair(count, at, var), 1, 1);
                EXPECT_EQ(m.status, status);
                EXPECT_TRUE(same_value(status == SrWarnLnZeroArg ? kInfinity : kNan, m.gconst));
                EXPECT_EQ(m.mean, std::vector<double>(count, 2));
                std::vector<double> variances(count, 1);
                variances[at] = var;
                EXPECT_EQ(m.var, variances);
            }
}

TEST(Merge, InfinityIsAnOrdinaryVariance)
{
    EXPECT_EQ(merged<float>({{0}, {kInfinity_32f}, {0}, {1}}, 1, 1).gconst, -kInfinity_32f);
    const Merged<double> m = merged<double>({{0}, {kInfinity}, {0}, {1}}, 1, 1);
    EXPECT_EQ(m.status, SrOk);
    EXPECT_EQ(m.gconst, -kInfinity);
}

TYPED_TEST(PairTest, TheDistanceOfAVarianceWithoutALogarithm)
{
    using T = TypeParam;
    constexpr T infinity = std::numeric_limits<T>::infinity(), nan = std::numeric_limits<T>::quiet_NaN();
    for (std::size_t count : {1, 5, 12, 13, 14, 30})
        for (std::size_t at = 0; at < count; ++at) {
            const Distance<T> zero = distance(spoilt_pair<T>(count, at, 0), 1, 2, 1, 2);
            EXPECT_EQ(zero.status, SrWarnLnZeroArg);
            EXPECT_EQ(zero.value, infinity);
            const Distance<T> negative = distance(spoilt_pair<T>(count, at, -1), 1, 2, 1, 2);
            EXPECT_EQ(negative.status, SrWarnLnNegArg);
            EXPECT_TRUE(std::isnan(negative.value));
            if (count == 1) continue;
            Pair<T> both = spoilt_pair<T>(count, at, 0);
            both.var1[(at + 1) % count] = both.var2[(at + 1) % count] = -1;
            EXPECT_EQ(distance(both, 1, 2, 1, 2).status, at + 1 < count ? SrWarnLnZeroArg : SrWarnLnNegArg);
            Pair<T> not_a_number = spoilt_pair<T>(count, at, nan);
            EXPECT_TRUE(std::isnan(distance(not_a_number, 1, 2, 1, 2).value));
        }
}

TYPED_TEST(PairTest, ANotANumberEndsTheSumOfTheDistance)
{
    using T = TypeParam;
    for (std::size_t zero : {4, 550, 1100}) {
        Pair<T> p = spoilt_pair<T>(1200, zero, 0);
        p.var1[3] = std::numeric_limits<T>::quiet_NaN();
        const Distance<T> d = distance(p, 1, 2, 1, 2);
        EXPECT_TRUE(std::isnan(d.value)) << zero;
        EXPECT_NE(d.status, SrWarnLnZeroArg) << zero;
    }
}

// By the sums of logarithms a zero with its sign set is negative; one logarithm at a time it is a zero.
TYPED_TEST(PairTest, AMinusZeroVarianceIsNegativeFrom13ElementsOn)
{
    using T = TypeParam;
    for (std::size_t count : {12, 13}) {
        // (0 * 2 + 0 * -3) / -1 is -0.
        const std::vector<T> zeros(count, 0);
        const Distance<T> d = distance(Pair<T>{zeros, zeros, zeros, zeros}, 2, 1, -3, 1);
        EXPECT_EQ(d.status, count == 12 ? SrWarnLnZeroArg : SrWarnLnNegArg);
        EXPECT_TRUE(same_value(
            count == 12 ? std::numeric_limits<T>::infinity() : std::numeric_limits<T>::quiet_NaN(), d.value));
    }
}

TYPED_TEST(PairTest, TheTwoWaysToSumAgree)
{
    using T = TypeParam;
    Pair<T> p{uniform_vector<T>(12, -3, 3), uniform_vector<T>(12, T(0.1), 5), uniform_vector<T>(12, -3, 3),
              uniform_vector<T>(12, T(0.1), 5)};
    const Distance<T> twelve = distance(p, 1, 20, 2, 30);
    for (auto* values : {&p.mean1, &p.mean2}) values->push_back(0);
    for (auto* values : {&p.var1, &p.var2}) values->push_back(1);
    const Distance<T> thirteen = distance(p, 1, 20, 2, 30);
    EXPECT_NEAR(thirteen.value, twelve.value - 3 * 1.8378770664093, sizeof(T) == 4 ? 1e-4 : 1e-12);
}

}  // namespace
}  // namespace zelsr::test::estimation
