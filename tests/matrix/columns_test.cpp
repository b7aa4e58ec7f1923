// Means and variances of columns in single precision.
#include "matrix/columns_suite.h"
#include "support/reference/statistics.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr::test::columns {
namespace {

using FloatMember = Member<float, float, float>;
using Column = std::vector<float>;

constexpr Traits kMean{.mean_out = true};
constexpr Traits kVar{.mean_in = true, .variance = true, .min_height = 2};
constexpr Traits kMeanVar{.mean_out = true, .variance = true, .min_height = 2, .checks = Checks::NullSizeStride};

template <auto Function>
FloatMember member(const char* name, const Traits& traits)
{
    return {name, traits, [](const Arguments<float, float, float>& a) { return shaped(Function, a); },
            [traits](const Column& x, const Column&, float mean, int32_t, bool) -> std::pair<float, float> {
                if (!traits.variance) return {reference::mean_32f(x), 0};
                if (!traits.mean_out) return {mean, reference::var_32f(x, mean)};
                return reference::mean_var_32f(x);
            }};
}

const FloatMember kMembers[] = {
    member<zelsMeanColumn_32f_D2>("zelsMeanColumn_32f_D2", kMean),
    member<zelsMeanColumn_32f_D2L>("zelsMeanColumn_32f_D2L", kMean),
    member<zelsVarColumn_32f_D2>("zelsVarColumn_32f_D2", kVar),
    member<zelsVarColumn_32f_D2L>("zelsVarColumn_32f_D2L", kVar),
    member<zelsMeanVarColumn_32f_D2>("zelsMeanVarColumn_32f_D2", kMeanVar),
    member<zelsMeanVarColumn_32f_D2L>("zelsMeanVarColumn_32f_D2L", kMeanVar),
};

class ColumnStatistics : public Columns<float, float, float> {};
ZELSR_TEST_COLUMNS(ColumnStatistics);
INSTANTIATE_TEST_SUITE_P(SinglePrecision, ColumnStatistics, testing::ValuesIn(kMembers),
                         member_name<testing::TestParamInfo<FloatMember>>);

TEST_P(ColumnStatistics, ManyRows)
{
    for (int height : {99, 100, 1000, 1003})
        for (int misalign : {0, 4}) {
            Layout layout;
            layout.beyond_width = 3;
            layout.block.misalign = misalign;
            layout.row_misalign = {misalign};
            ASSERT_TRUE(runs(m, random_problem(m, Values::Wide, 13, height), layout));
        }
}

// A variance may be negative, infinite or not a number; nothing is tested.
TEST_P(ColumnStatistics, HugeAndTinyValues)
{
    for (int exponent : {-76, -70, 60, 63, 126})
        for (int width : {3, 8})
            for (int misalign : {0, 4}) {
                auto p = random_problem(m, Values::Wide, width, 5);
                for (auto& row : p.rows)
                    for (float& x : row) x = std::ldexp(x, exponent);
                for (float& x : p.mean) x = std::ldexp(x, exponent);
                Layout layout;
                layout.block.misalign = misalign;
                layout.row_misalign = {misalign};
                layout.beyond_width = 1;
                ASSERT_TRUE(runs(m, p, layout)) << "2^" << exponent;
            }
}

TEST(MeanColumn_32f, OneRowIsCopied)
{
    const std::vector<float> row = {1.5F, -2.25F, 3e38F, 1e-45F, 7.0F};
    std::vector<float> mean(5);
    EXPECT_EQ(zelsMeanColumn_32f_D2(row.data(), 1, 5, mean.data(), 5), SrOk);
    EXPECT_TRUE(same_values(row, mean));
    const float* list[] = {row.data()};
    mean.assign(5, 0);
    EXPECT_EQ(zelsMeanColumn_32f_D2L(list, 1, mean.data(), 5), SrOk);
    EXPECT_TRUE(same_values(row, mean));
}

// 1/3 in double rounds to the single that 1.0F/3.0F gives too; 1/n of other counts is tested by the reference.
TEST(MeanVarColumn_32f, ByHand)
{
    const float block[] = {1, 10, 2, 20, 6, 60};
    float mean[2], var[2];
    EXPECT_EQ(zelsMeanVarColumn_32f_D2(block, 3, 2, mean, var, 2), SrOk);
    EXPECT_FLOAT_EQ(mean[0], 3);
    EXPECT_FLOAT_EQ(mean[1], 30);
    EXPECT_FLOAT_EQ(var[0], 7);
    EXPECT_FLOAT_EQ(var[1], 700);
    const float means[] = {3, 30};
    EXPECT_EQ(zelsVarColumn_32f_D2(block, 3, 2, means, var, 2), SrOk);
    EXPECT_EQ(var[0], 7);
    EXPECT_EQ(var[1], 700);
}

// The one-pass formula, kept: a mean that does not fit makes a variance below zero.
TEST(VarColumn_32f, AMeanThatDoesNotFitGivesANegativeVariance)
{
    const float block[] = {1, 1, 1}, mean[] = {2};
    float var[1];
    EXPECT_EQ(zelsVarColumn_32f_D2(block, 3, 1, mean, var, 1), SrOk);
    EXPECT_EQ(var[0], -4.5F);
}

TEST(ColumnStatistics_32f, OrdersOfChecksDiffer)
{
    float out[4] = {};
    EXPECT_EQ(zelsMeanColumn_32f_D2(nullptr, 2, 3, out, 4), SrErrStride);
    EXPECT_EQ(zelsVarColumn_32f_D2(nullptr, 2, 3, out, out, 4), SrErrStride);
    EXPECT_EQ(zelsMeanVarColumn_32f_D2(nullptr, 2, 3, out, out, 4), SrErrNullPtr);
    EXPECT_EQ(zelsMeanVarColumn_32f_D2(out, 1, 3, out, out, 4), SrErrSize);
    EXPECT_EQ(zelsVarColumn_32f_D2(out, 1, 4, out, out, 4), SrErrSize);
}

}  // namespace
}  // namespace zelsr::test::columns
