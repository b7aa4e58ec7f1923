// Statistics of clusters, and the log likelihoods that come out of them.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "estimation/vector_suite.h"
#include "support/reference/clustering.h"
#include "zelsr/estimation/clustering.h"

namespace zelsr::test::estimation {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// ---- The table --------------------------------------------------------------------------------------------

std::vector<Tested> members()
{
    using namespace reference;
    const std::vector<Scalars> occupancies = {{3.7}, {0}, {-2}, {1e-3}, {1e6}, {kNan}, {kInfinity}};
    std::vector<Tested> all;
    append(all, member<float>("zelsDcsClustLAccumulate_32f", "ivoo", zelsDcsClustLAccumulate_32f,
                              accumulate<float, false>, occupancies));
    append(all, member<double>("zelsDcsClustLAccumulate_64f", "ivoo", zelsDcsClustLAccumulate_64f,
                               accumulate<double, false>, occupancies));
    append(all, member<float>("zelsDcsClustLAccumulate_DirectVar_32f", "ivoo",
                              zelsDcsClustLAccumulate_DirectVar_32f, accumulate<float, true>, occupancies));
    append(all, member<double>("zelsDcsClustLAccumulate_DirectVar_64f", "ivoo",
                               zelsDcsClustLAccumulate_DirectVar_64f, accumulate<double, true>, occupancies));

    // Large counts, since the second moment of a cluster is never below its squared sum; others, since it may be.
    const std::vector<Scalars> counts = {{1e7}, {3.3e6}, {5e8},  {100},       {1e4},    {0},  {-0.0},
                                         {-1},  {kNan},  {1e-3}, {kInfinity}, {1.25e7}, {4e6}};
    // A likelihood is a difference of two sums, here of less than a hundredfold its size; logarithms may be
    // joined.
    constexpr double kTolerance = 100 * 0x1p-53;
    auto single = member<float, double>("zelsDcsClustLCompute_32f64f", "ivr", zelsDcsClustLCompute_32f64f,
                                        cluster_likelihood<float>, counts);
    single.rounding = Rounding::Own;
    single.tolerance = kTolerance;
    append(all, single);
    auto doubles = member<double>("zelsDcsClustLCompute_64f", "ivr", zelsDcsClustLCompute_64f,
                                  cluster_likelihood<double>, counts);
    doubles.rounding = Rounding::Own;
    doubles.tolerance = kTolerance;
    append(all, doubles);
    return all;
}
INSTANTIATE_TEST_SUITE_P(Clustering, OnVectors, testing::ValuesIn(members()), tested_name);

// ---- Statistics by value --------------------------------------------------------------------------------------

TEST(ClusterStatistics, AreStoredAndNotAdded)
{
    const std::vector<float> mean = {1, -2}, inv_var = {0.25F, 2};
    std::vector<float> s = {100, 100}, q = {100, 100};
    EXPECT_EQ(zelsDcsClustLAccumulate_32f(mean.data(), inv_var.data(), s.data(), q.data(), 2, 3), SrOk);
    EXPECT_EQ(s, (std::vector<float>{3, -6}));
    EXPECT_EQ(q, (std::vector<float>{15, 13.5F}));
    EXPECT_EQ(zelsDcsClustLAccumulate_DirectVar_32f(mean.data(), inv_var.data(), s.data(), q.data(), 2, 3), SrOk);
    EXPECT_EQ(s, (std::vector<float>{3, -6}));
    EXPECT_EQ(q, (std::vector<float>{3.75F, 18}));
}

TEST(ClusterStatistics, ReciprocalsOfExtremesAreTrueOnes)
{
    const float infinity = std::numeric_limits<float>::infinity();
    for (std::size_t misalign : {0, 4}) {
        const Guarded<float> mean(std::vector<float>(16, 0), {static_cast<int>(misalign)});
        Guarded<float> p(16, {static_cast<int>(misalign)}), s(16, {static_cast<int>(misalign)}),
            q(16, {static_cast<int>(misalign)});
        for (const auto& [value, reciprocal] : {std::pair{0.0F, infinity},
                                                {-0.0F, -infinity},
                                                {infinity, 0.0F},
                                                {0x1p-149F, infinity},
                                                {0x1p-128F, infinity},
                                                {0x1p127F, 0x1p-127F}}) {
            p.fill(std::vector<float>(16, value));
            EXPECT_EQ(zelsDcsClustLAccumulate_32f(mean.data(), p.data(), s.data(), q.data(), 16, 1), SrOk);
            EXPECT_TRUE(same_values(std::vector<float>(16, reciprocal), q.values())) << value;
        }
    }
}

// ---- Likelihoods by value -------------------------------------------------------------------------------------

double likelihood(const std::vector<double>& s, const std::vector<double>& q, double g, SrStatus expected)
{
    double result = 77, of_singles = 77;
    const std::vector<float> s_32f(s.begin(), s.end()), q_32f(q.begin(), q.end());
    const auto len = static_cast<int32_t>(s.size());
    EXPECT_EQ(zelsDcsClustLCompute_64f(s.data(), q.data(), len, &result, g), expected);
    EXPECT_EQ(zelsDcsClustLCompute_32f64f(s_32f.data(), q_32f.data(), len, &of_singles, static_cast<float>(g)),
              expected);
    EXPECT_TRUE(same_value(result, of_singles)) << "of numbers that singles hold";
    return result;
}

TEST(ClusterLikelihood, IsThatOfTheBestGaussian)
{
    // Four vectors of mean 2 and -1, second moments 5 and 4: variances 1 and 3.
    const double pi = 3.14159265358979323846;
    EXPECT_NEAR(likelihood({8, -4}, {20, 16}, 4, SrOk),
                -0.5 * 4 * (2 * std::log(2 * pi) + std::log(1.0) + std::log(3.0) + 2), 1e-12);
}

// This constant is the double nearest to ln(2 pi), which the other functions do not use.
TEST(ClusterLikelihood, TheConstantIsTheNearestDouble)
{
    const std::vector<double> s(100000, 0), q(100000, 1);
    EXPECT_EQ(likelihood(s, q, 1, SrOk), 0.5 * (100000 * (-1.0 - 1.8378770664093456)));
}

TEST(ClusterLikelihood, ACountOfZeroIsWrittenAndWarned)
{
    EXPECT_EQ(likelihood({1, 2}, {3, 4}, 0, SrWarnZeroCount), -1e10);
    EXPECT_EQ(likelihood({1, 2}, {3, 4}, -0.0, SrWarnZeroCount), -1e10);
    EXPECT_EQ(likelihood({kNan}, {-1}, 0, SrWarnZeroCount), -1e10);
    // Only zero itself: other counts, however small, are counts.
    EXPECT_NEAR(likelihood({0}, {1}, 0x1p-149, SrOk), 0, 1e-40);
}

TEST(ClusterLikelihood, NegativeTermsWinOverZeros)
{
    EXPECT_EQ(likelihood({2, 1}, {4, 9}, 1, SrWarnLnZeroArg), -kInfinity);
    EXPECT_EQ(likelihood({1, 2}, {9, 4}, 1, SrWarnLnZeroArg), -kInfinity);
    EXPECT_TRUE(std::isnan(likelihood({1, 2}, {9, 3}, 1, SrWarnLnNegArg)));
    EXPECT_TRUE(std::isnan(likelihood({2, 2}, {4, 3}, 1, SrWarnLnNegArg)));
    EXPECT_TRUE(std::isnan(likelihood({2, 2}, {3, 4}, 1, SrWarnLnNegArg)));
    for (std::size_t zero = 0; zero < 20; ++zero)
        for (std::size_t negative = 0; negative < 20; ++negative) {
            std::vector<double> s(20, 1), q(20, 5);
            q[zero] = 1;
            EXPECT_EQ(likelihood(s, q, 1, SrWarnLnZeroArg), -kInfinity);
            q[negative] = 0.5;
            EXPECT_TRUE(std::isnan(likelihood(s, q, 1, SrWarnLnNegArg)));
        }
}

// Neither zero nor below it: a term among the others.
TEST(ClusterLikelihood, NotANumber)
{
    EXPECT_TRUE(std::isnan(likelihood({kNan, 1}, {2, 2}, 1, SrOk)));
    EXPECT_TRUE(std::isnan(likelihood({1, 1}, {-kNan, 2}, 1, SrOk)));
    EXPECT_EQ(likelihood({kNan, 1}, {2, 1}, 1, SrWarnLnZeroArg), -kInfinity);
    EXPECT_TRUE(std::isnan(likelihood({kNan, 1}, {2, 0}, 1, SrWarnLnNegArg)));
}

struct Likelihood {
    const double* s;
    int32_t len;
    double* result;
    double g;
};

TEST(ClusterLikelihood, TheCountIsCheckedLast)
{
    using F = Fault<Likelihood>;
    const Guarded<double> s(std::vector<double>(4, 1)), q(std::vector<double>(4, 5));
    const Guarded<float> s_32f(std::vector<float>(4, 1)), q_32f(std::vector<float>(4, 5));
    Guarded<double> result(1);
    std::vector<F> faults = {{"null", SrErrNullPtr, [](Likelihood& a) { a.s = nullptr; }},
                             {"null result", SrErrNullPtr, [](Likelihood& a) { a.result = nullptr; }},
                             {"length", SrErrSize, [](Likelihood& a) { a.len = 0; }}};
    for (double g : {-1.0, -0x1p-149, kNan, -kNan, -kInfinity})
        faults.push_back({"count", SrErrNegValue, [g](Likelihood& a) { a.g = g; }});
    const Likelihood good{s.data(), 4, result.data(), 2};
    expect_check_order<Likelihood>(
        good, faults,
        [&](const Likelihood& a) { return zelsDcsClustLCompute_64f(a.s, q.data(), a.len, a.result, a.g); },
        {&result});
    expect_check_order<Likelihood>(good, faults,
                                   [&](const Likelihood& a) {
                                       return zelsDcsClustLCompute_32f64f(a.s == nullptr ? nullptr : s_32f.data(),
                                                                          q_32f.data(), a.len, a.result,
                                                                          static_cast<float>(a.g));
                                   },
                                   {&result});
}

}  // namespace
}  // namespace zelsr::test::estimation
