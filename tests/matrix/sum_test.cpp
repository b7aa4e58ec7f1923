// Sums down columns and along rows.
#include "matrix/matrix_suite.h"
#include "support/reference/convert.h"
#include "support/reference/row_column.h"
#include "zelsr/matrix.h"

namespace zelsr::test::matrix {
namespace {

template <class Source, class Result>
Result expected_column_sum(const Problem<Source>& p, std::size_t column)
{
    return reference::column_sum<Result>(p.rows, column);
}
template <class Source, class Result>
Result expected_row_sum(const Problem<Source>& p, std::size_t row)
{
    if constexpr (std::is_floating_point_v<Source>)
        return reference::row_sum<Result>(p.rows[row]);
    else
        return reference::row_sum(p.rows[row]);
}

int32_t scaled(float sum, int32_t sf)
{
    return reference::single_to_32s(sum, reference::multiplier<float>(sf), 1);
}

int32_t expected_scaled_column_sum(const Problem<int16_t>& p, std::size_t column)
{
    return scaled(reference::column_sum<float>(p.rows, column), p.sf);
}
int32_t expected_scaled_row_sum(const Problem<int16_t>& p, std::size_t row)
{
    return scaled(reference::row_sum(p.rows[row]), p.sf);
}

struct Sum32f {
    static constexpr const char* kName = "32f";
    using Source = float;
    using Result = float;
    static std::vector<Member<Source, Result>> members()
    {
        return {
            {"zelsSumColumn_32f_D2", sum_column<zelsSumColumn_32f_D2>, true, false, expected_column_sum},
            {"zelsSumColumn_32f_D2L", sum_column_list<zelsSumColumn_32f_D2L>, true, false, expected_column_sum},
            {"zelsSumRow_32f_D2", sum_row<zelsSumRow_32f_D2>, false, false, expected_row_sum},
            {"zelsSumRow_32f_D2L", sum_row_list<zelsSumRow_32f_D2L>, false, false, expected_row_sum},
        };
    }
};
struct Sum64f {
    static constexpr const char* kName = "64f";
    using Source = double;
    using Result = double;
    static std::vector<Member<Source, Result>> members()
    {
        return {
            {"zelsSumColumn_64f_D2", sum_column<zelsSumColumn_64f_D2>, true, false, expected_column_sum},
            {"zelsSumColumn_64f_D2L", sum_column_list<zelsSumColumn_64f_D2L>, true, false, expected_column_sum},
            {"zelsSumRow_64f_D2", sum_row<zelsSumRow_64f_D2>, false, false, expected_row_sum},
            {"zelsSumRow_64f_D2L", sum_row_list<zelsSumRow_64f_D2L>, false, false, expected_row_sum},
        };
    }
};
struct Sum16s32f {
    static constexpr const char* kName = "16s32f";
    using Source = int16_t;
    using Result = float;
    static std::vector<Member<Source, Result>> members()
    {
        return {
            {"zelsSumColumn_16s32f_D2", sum_column<zelsSumColumn_16s32f_D2>, true, false, expected_column_sum},
            {"zelsSumColumn_16s32f_D2L", sum_column_list<zelsSumColumn_16s32f_D2L>, true, false,
             expected_column_sum},
            {"zelsSumRow_16s32f_D2", sum_row<zelsSumRow_16s32f_D2>, false, false, expected_row_sum},
            {"zelsSumRow_16s32f_D2L", sum_row_list<zelsSumRow_16s32f_D2L>, false, false, expected_row_sum},
        };
    }
};
struct Sum16s32s {
    static constexpr const char* kName = "16s32s";
    using Source = int16_t;
    using Result = int32_t;
    static std::vector<Member<Source, Result>> members()
    {
        return {
            {"zelsSumColumn_16s32s_D2Sfs", sum_column<zelsSumColumn_16s32s_D2Sfs>, true, false,
             expected_scaled_column_sum},
            {"zelsSumColumn_16s32s_D2LSfs", sum_column_list<zelsSumColumn_16s32s_D2LSfs>, true, false,
             expected_scaled_column_sum},
            {"zelsSumRow_16s32s_D2Sfs", sum_row<zelsSumRow_16s32s_D2Sfs>, false, false, expected_scaled_row_sum},
            {"zelsSumRow_16s32s_D2LSfs", sum_row_list<zelsSumRow_16s32s_D2LSfs>, false, false,
             expected_scaled_row_sum},
        };
    }
};
using Families = testing::Types<Sum32f, Sum64f, Sum16s32f, Sum16s32s>;
INSTANTIATE_TYPED_TEST_SUITE_P(Sums, MatrixFamily, Families, FamilyNames);

TEST(SumColumn, OfOneRowIsTheRow)
{
    const float row[] = {1.5F, -2, 1e30F, -1e-40F, std::numeric_limits<float>::infinity()};
    float sum[5];
    ASSERT_EQ(zelsSumColumn_32f_D2(row, 5, 1, sum, 5), SrOk);
    EXPECT_TRUE(same_values(std::vector<float>(row, row + 5), std::vector<float>(sum, sum + 5)));
}

TEST(SumColumn, SumsStartFromZero)
{
    const float row[] = {-0.0F, -0.0F};
    float sum[2];
    for (int32_t height : {1, 2}) {
        ASSERT_EQ(zelsSumColumn_32f_D2(row, 1, height, sum, 1), SrOk);
        EXPECT_TRUE(same_value(0.0F, sum[0])) << height;
        ASSERT_EQ(zelsSumRow_32f_D2(row, height, 2, sum, 1), SrOk);
        EXPECT_TRUE(same_value(0.0F, sum[0])) << height;
    }
}

// Wanted: two rows come together before they meet the sum, so that a third is not lost beside a large one.
TEST(SumColumn, AddsRowsInPairs)
{
    const float large = 0x1p24F;
    float sum = 0;
    const float one_by_one[] = {large, 0, 1, 1}, pair_apart[] = {large, 1, 1, 0};
    ASSERT_EQ(zelsSumColumn_32f_D2(one_by_one, 1, 4, &sum, 1), SrOk);
    EXPECT_EQ(sum, large + 2);
    ASSERT_EQ(zelsSumColumn_32f_D2(pair_apart, 1, 4, &sum, 1), SrOk);
    EXPECT_EQ(sum, large);
}

// Behind the last eight elements each element is added to the sum of those before it.
TEST(SumRow, LastElementsJoinOneByOne)
{
    for (int width = 1; width <= 47; ++width)
        for (int i = 0; i < (thin_effort() ? 2 : 20); ++i) {
            const std::vector<float> row = random_values<float>(Values::Wide, static_cast<std::size_t>(width));
            const int body = width / 8 * 8;
            float expected = 0, sum = 0;
            if (body > 0) {
                ASSERT_EQ(zelsSumRow_32f_D2(row.data(), body, body, &expected, 1), SrOk);
            }
            for (int c = body; c < width; ++c) expected += row[static_cast<std::size_t>(c)];
            ASSERT_EQ(zelsSumRow_32f_D2(row.data(), width, width, &sum, 1), SrOk);
            ASSERT_TRUE(same_value(expected, sum)) << "width " << width;
        }
}

// Every fourth element meets one sum of four: with large values of both signs in one of them, the others keep
// their small ones.
TEST(SumRow, FourSumsRunAlongTheRow)
{
    for (std::size_t lane = 0; lane < 4; ++lane) {
        std::vector<float> row(32, 1.0F);
        for (std::size_t c = lane; c < row.size(); c += 4) row[c] = c / 4 % 4 < 2 ? 0x1p40F : -0x1p40F;
        float sum = 0;
        ASSERT_EQ(zelsSumRow_32f_D2(row.data(), 32, 32, &sum, 1), SrOk);
        EXPECT_EQ(sum, 24) << "lane " << lane;
    }
}

// Wanted: integer sums have the accuracy of single precision, also where 32 bits would hold the exact one.
TEST(SumScaled, IntegersAreRoundedToSinglePrecision)
{
    const int kCount = 1001;  // 1001 times 32767 is odd and above 2^24
    const std::vector<int16_t> values(kCount, INT16_MAX);
    int32_t sum = 0;
    ASSERT_EQ(zelsSumColumn_16s32s_D2Sfs(values.data(), 1, kCount, &sum, 1, 0), SrOk);
    EXPECT_NE(sum, kCount * 32767);
    EXPECT_NEAR(sum, kCount * 32767, 2000);
    ASSERT_EQ(zelsSumRow_16s32s_D2Sfs(values.data(), kCount, kCount, &sum, 1, 0), SrOk);
    EXPECT_NE(sum, kCount * 32767);
    EXPECT_NEAR(sum, kCount * 32767, 2000);
}

// The sums in single, which are rounded above 2^24, do not take the caller's rounding mode either.
TEST(SumScaled, LargeSumsAreTheSameInEachEnvironment)
{
    const int kCount = 4001;
    const std::vector<int16_t> values = uniform_vector<int16_t>(kCount, 32000, INT16_MAX);
    Problem<int16_t> row{{values}, {}, 0}, column;
    for (int16_t x : values) column.rows.push_back({x});
    for (const auto& m : Sum16s32s::members()) {
        const Problem<int16_t>& p = m.result_is_row ? column : row;
        const Trial trial(m, p);
        const auto arguments = trial.arguments();
        SrStatus status = SrErrUnknown;
        under_each_environment([&] { status = m.call(arguments); },
                               [&](const std::string& setting) { EXPECT_TRUE(trial.right(status)) << setting; });
    }
}

TEST(SumScaled, TiesGoToTheEvenInteger)
{
    for (const auto& [value, expected] :
         {std::pair<int16_t, int32_t>{1, 0}, {3, 2}, {5, 2}, {7, 4}, {-1, 0}, {-3, -2}, {-5, -2}}) {
        int32_t sum = 99;
        ASSERT_EQ(zelsSumColumn_16s32s_D2Sfs(&value, 1, 1, &sum, 1, 1), SrOk);
        EXPECT_EQ(sum, expected) << value;
        ASSERT_EQ(zelsSumRow_16s32s_D2Sfs(&value, 1, 1, &sum, 1, 1), SrOk);
        EXPECT_EQ(sum, expected) << value;
    }
}

TEST(SumScaled, Saturates)
{
    const std::vector<int16_t> high(70000, INT16_MAX), low(70000, INT16_MIN);
    int32_t sum = 0;
    ASSERT_EQ(zelsSumColumn_16s32s_D2Sfs(high.data(), 1, 70000, &sum, 1, 0), SrOk);
    EXPECT_EQ(sum, INT32_MAX);
    ASSERT_EQ(zelsSumRow_16s32s_D2Sfs(low.data(), 70000, 70000, &sum, 1, 0), SrOk);
    EXPECT_EQ(sum, INT32_MIN);
    ASSERT_EQ(zelsSumRow_16s32s_D2Sfs(high.data(), 1, 1, &sum, 1, INT32_MIN), SrOk);
    EXPECT_EQ(sum, INT32_MAX);
    ASSERT_EQ(zelsSumRow_16s32s_D2Sfs(high.data(), 70000, 70000, &sum, 1, 150), SrOk);
    EXPECT_EQ(sum, 0);
}

}  // namespace
}  // namespace zelsr::test::matrix
