// Gaussians split in two.
#include <gtest/gtest.h>

#include <limits>

#include "estimation/vector_suite.h"
#include "support/reference/gaussian_pairs.h"
#include "zelsr/estimation/mixture.h"

namespace zelsr::test::estimation {
namespace {

std::vector<Tested> members()
{
    const std::vector<Scalars> factors = {{0.2},
                                          {0},
                                          {-0.0},
                                          {-1.5},
                                          {1e-3},
                                          {1e30},
                                          {std::numeric_limits<double>::infinity()},
                                          {std::numeric_limits<double>::quiet_NaN()}};
    std::vector<Tested> all;
    // The two precisions check in different orders, and are to.
    auto single =
        member<float>("zelsGaussianSplit_32f", "bvoo", zelsGaussianSplit_32f, reference::gaussian_split, factors);
    single.checks = Checks::SizeFirst;
    append(all, single);
    append(all, member<double>("zelsGaussianSplit_64f", "bvoo", zelsGaussianSplit_64f, reference::gaussian_split,
                               factors));
    return all;
}
INSTANTIATE_TEST_SUITE_P(Split, OnVectors, testing::ValuesIn(members()), tested_name);

TEST(Split, MovesTheMeansApartByAShareOfTheDeviation)
{
    std::vector<float> mean1 = {1, -2}, var1 = {4, 0.25F}, mean2(2), var2(2);
    EXPECT_EQ(zelsGaussianSplit_32f(mean1.data(), var1.data(), mean2.data(), var2.data(), 2, 0.5F), SrOk);
    EXPECT_EQ(mean1, (std::vector<float>{2, -1.75F}));
    EXPECT_EQ(mean2, (std::vector<float>{0, -2.25F}));
    EXPECT_EQ(var2, var1);
}

TEST(Split, AFactorOfZeroCopies)
{
    std::vector<double> mean1 = {1, -2, 3}, var1 = {4, 9, 2}, mean2(3), var2(3);
    const std::vector<double> old = mean1;
    EXPECT_EQ(zelsGaussianSplit_64f(mean1.data(), var1.data(), mean2.data(), var2.data(), 3, 0), SrOk);
    EXPECT_EQ(mean1, old);
    EXPECT_EQ(mean2, old);
    EXPECT_EQ(var2, var1);
}

}  // namespace
}  // namespace zelsr::test::estimation
