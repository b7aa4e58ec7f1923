// Weighted means and variances of columns.
#include "matrix/columns_suite.h"
#include "support/reference/statistics.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr::test::columns {
namespace {

constexpr Traits kMean{.weights = true, .mean_out = true, .checks = Checks::NullStrideSize};
constexpr Traits kVar{.weights = true, .mean_in = true, .variance = true, .checks = Checks::NullStrideSize};
constexpr Traits kMeanVar{.weights = true, .mean_out = true, .variance = true, .checks = Checks::NullStrideSize};

template <class T, auto Function>
Member<T> member(const char* name, const Traits& traits)
{
    using Values = std::vector<T>;
    return {name, traits, [](const Arguments<T, T, T>& a) { return shaped(Function, a); },
            [traits](const Values& x, const Values& w, T mean, int32_t, bool) -> std::pair<T, T> {
                if (traits.mean_out) mean = reference::weighted_sum(x, w, false);
                if (!traits.variance) return {mean, T(0)};
                return {mean, reference::weighted_sum(x, w, true) - mean * mean};
            }};
}

const Member<float> kMembers_32f[] = {
    member<float, zelsWeightedMeanColumn_32f_D2>("zelsWeightedMeanColumn_32f_D2", kMean),
    member<float, zelsWeightedMeanColumn_32f_D2L>("zelsWeightedMeanColumn_32f_D2L", kMean),
    member<float, zelsWeightedVarColumn_32f_D2>("zelsWeightedVarColumn_32f_D2", kVar),
    member<float, zelsWeightedVarColumn_32f_D2L>("zelsWeightedVarColumn_32f_D2L", kVar),
    member<float, zelsWeightedMeanVarColumn_32f_D2>("zelsWeightedMeanVarColumn_32f_D2", kMeanVar),
    member<float, zelsWeightedMeanVarColumn_32f_D2L>("zelsWeightedMeanVarColumn_32f_D2L", kMeanVar),
};
const Member<double> kMembers_64f[] = {
    member<double, zelsWeightedMeanColumn_64f_D2>("zelsWeightedMeanColumn_64f_D2", kMean),
    member<double, zelsWeightedMeanColumn_64f_D2L>("zelsWeightedMeanColumn_64f_D2L", kMean),
    member<double, zelsWeightedVarColumn_64f_D2>("zelsWeightedVarColumn_64f_D2", kVar),
    member<double, zelsWeightedVarColumn_64f_D2L>("zelsWeightedVarColumn_64f_D2L", kVar),
    member<double, zelsWeightedMeanVarColumn_64f_D2>("zelsWeightedMeanVarColumn_64f_D2", kMeanVar),
    member<double, zelsWeightedMeanVarColumn_64f_D2L>("zelsWeightedMeanVarColumn_64f_D2L", kMeanVar),
};

class WeightedColumns_32f : public Columns<float, float, float> {};
class WeightedColumns_64f : public Columns<double, double, double> {};
ZELSR_TEST_COLUMNS(WeightedColumns_32f);
ZELSR_TEST_COLUMNS(WeightedColumns_64f);
INSTANTIATE_TEST_SUITE_P(Weighted, WeightedColumns_32f, testing::ValuesIn(kMembers_32f),
                         member_name<testing::TestParamInfo<Member<float>>>);
INSTANTIATE_TEST_SUITE_P(Weighted, WeightedColumns_64f, testing::ValuesIn(kMembers_64f),
                         member_name<testing::TestParamInfo<Member<double>>>);

// Rounds of four rows and what remains of them.
TEST_P(WeightedColumns_32f, EveryHeight)
{
    for (int height = 1; height <= 40; ++height)
        for (int width : {1, 4, 7, 12})
            ASSERT_TRUE(runs(m, random_problem(m, Values::Wide, width, height), random_layout(width)));
}
TEST_P(WeightedColumns_64f, EveryHeight)
{
    for (int height = 1; height <= 40; ++height)
        for (int width : {1, 4, 7, 12})
            ASSERT_TRUE(runs(m, random_problem(m, Values::Wide, width, height), random_layout(width)));
}

TEST(WeightedMeanColumn, WeightsAreUsedAsTheyCome)
{
    const float block[] = {1, 2, 3, 4}, weights[] = {2, 3};
    float mean[2], var[2];
    EXPECT_EQ(zelsWeightedMeanColumn_32f_D2(block, 2, weights, 2, mean, 2), SrOk);
    EXPECT_EQ(mean[0], 11);
    EXPECT_EQ(mean[1], 16);
    EXPECT_EQ(zelsWeightedMeanVarColumn_32f_D2(block, 2, weights, 2, mean, var, 2), SrOk);
    EXPECT_EQ(var[0], 29 - 121);
    EXPECT_EQ(var[1], 56 - 256);
}

// The partial sums are joined before the remaining rows come in: in single precision 2^24 + 1 is lost, but
// 2^24 - 2^24 + 1 is not.
TEST(WeightedMeanColumn, TheRemainingRowsComeLast)
{
    const float block[] = {0x1p24F, -0x1p24F, -0x1p24F, 0x1p24F, 1, 1, 1}, weights[] = {1, 1, 1, 1, 1, 1, 1};
    for (int height = 4; height <= 7; ++height) {
        float mean;
        EXPECT_EQ(zelsWeightedMeanColumn_32f_D2(block, 1, weights, height, &mean, 1), SrOk);
        EXPECT_EQ(mean, static_cast<float>(height - 4));
    }
}

}  // namespace
}  // namespace zelsr::test::columns
