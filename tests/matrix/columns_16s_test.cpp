// Means and variances of columns of 16-bit data.
#include "matrix/columns_suite.h"
#include "support/reference/statistics.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr::test::columns {
namespace {

using Column = std::vector<int16_t>;
using Short = Member<int16_t>;
using Wide = Member<int16_t, int32_t, int32_t>;
using Mixed = Member<int16_t, int16_t, int32_t>;

constexpr Traits kMean{.mean_out = true, .scratch = true, .scratch_columns = 1};
constexpr Traits kVar{
    .mean_in = true, .variance = true, .sf = true, .min_height = 2, .scratch = true, .scratch_columns = 1};
constexpr Traits kMeanVar{.mean_out = true,
                          .variance = true,
                          .sf = true,
                          .min_height = 2,
                          .checks = Checks::NullSizeStride,
                          .scratch = true,
                          .scratch_columns = 2};
constexpr Traits kInDouble{
    .mean_out = true, .variance = true, .sf = true, .min_height = 2, .checks = Checks::NullSizeStride};
constexpr Traits kInDoubleNoScale{
    .mean_out = true, .variance = true, .min_height = 2, .checks = Checks::NullSizeStride};

template <auto Function>
Short short_member(const char* name, const Traits& traits)
{
    return {name, traits, [](const Arguments<int16_t, int16_t, int16_t>& a) { return shaped(Function, a); },
            [traits](const Column& x, const Column&, int16_t mean, int32_t sf,
                     bool on_16) -> std::pair<int16_t, int16_t> {
                if (!traits.variance)
                    return {on_16 ? reference::mean_16s(x) : reference::plain_mean_16s(x), int16_t{0}};
                if (!traits.mean_out)
                    return {mean, on_16 ? reference::var_16s(x, mean, sf) : reference::plain_var_16s(x, mean, sf)};
                return on_16 ? reference::mean_var_16s(x, sf) : reference::plain_mean_var_16s(x, sf);
            }};
}
template <class M, auto Function>
Member<int16_t, M, int32_t> double_member(const char* name, const Traits& traits)
{
    return {name, traits, [](const Arguments<int16_t, M, int32_t>& a) { return shaped(Function, a); },
            [](const Column& x, const Column&, M, int32_t sf, bool) { return reference::mean_var_32s<M>(x, sf); }};
}

const Short kShort[] = {
    short_member<zelsMeanColumn_16s_D2>("zelsMeanColumn_16s_D2", kMean),
    short_member<zelsMeanColumn_16s_D2L>("zelsMeanColumn_16s_D2L", kMean),
    short_member<zelsVarColumn_16s_D2Sfs>("zelsVarColumn_16s_D2Sfs", kVar),
    short_member<zelsVarColumn_16s_D2LSfs>("zelsVarColumn_16s_D2LSfs", kVar),
    short_member<zelsMeanVarColumn_16s_D2Sfs>("zelsMeanVarColumn_16s_D2Sfs", kMeanVar),
    short_member<zelsMeanVarColumn_16s_D2LSfs>("zelsMeanVarColumn_16s_D2LSfs", kMeanVar),
};
const Wide kWide[] = {
    double_member<int32_t, zelsMeanVarColumn_16s32s_D2Sfs>("zelsMeanVarColumn_16s32s_D2Sfs", kInDouble),
    double_member<int32_t, zelsMeanVarColumn_16s32s_D2LSfs>("zelsMeanVarColumn_16s32s_D2LSfs", kInDouble),
};
const Mixed kMixed[] = {
    double_member<int16_t, zelsMeanVarColumn_16s16s32s_D2>("zelsMeanVarColumn_16s16s32s_D2", kInDoubleNoScale),
    double_member<int16_t, zelsMeanVarColumn_16s16s32s_D2L>("zelsMeanVarColumn_16s16s32s_D2L", kInDoubleNoScale),
};

class Columns_16s : public Columns<int16_t, int16_t, int16_t> {};
class Columns_16s32s : public Columns<int16_t, int32_t, int32_t> {};
class Columns_16s16s32s : public Columns<int16_t, int16_t, int32_t> {};
ZELSR_TEST_COLUMNS(Columns_16s);
ZELSR_TEST_COLUMNS(Columns_16s32s);
ZELSR_TEST_COLUMNS(Columns_16s16s32s);
INSTANTIATE_TEST_SUITE_P(Fixed, Columns_16s, testing::ValuesIn(kShort),
                         member_name<testing::TestParamInfo<Short>>);
INSTANTIATE_TEST_SUITE_P(Fixed, Columns_16s32s, testing::ValuesIn(kWide),
                         member_name<testing::TestParamInfo<Wide>>);
INSTANTIATE_TEST_SUITE_P(Fixed, Columns_16s16s32s, testing::ValuesIn(kMixed),
                         member_name<testing::TestParamInfo<Mixed>>);

// --- scale factors ---

std::vector<int32_t> every_scale_factor()
{
    std::vector<int32_t> all;
    for (int32_t sf = -70; sf <= 70; ++sf) all.push_back(sf);
    all.insert(all.end(), {126, 127, 128, 149, 150, 1022, 1023, 1074, 1075, INT32_MAX});
    all.insert(all.end(), {-126, -127, -128, -1022, -1023, -1024, -1025, INT32_MIN});
    return all;
}

// Both paths of the list forms: rows on 16 bytes and off them.
TEST_P(Columns_16s, EveryScaleFactor)
{
    for (int32_t sf : every_scale_factor())
        for (int misalign : {0, 2})
            for (Values kind : {Values::Small, Values::Wide, Values::Special}) {
                Layout layout;
                layout.row_misalign = {misalign};
                layout.block.misalign = misalign;
                auto p = random_problem(m, kind, 9, 5, sf);
                ASSERT_TRUE(runs(m, p, layout));
            }
}
TEST_P(Columns_16s32s, EveryScaleFactor)
{
    for (int32_t sf : every_scale_factor())
        for (Values kind : {Values::Small, Values::Wide, Values::Special})
            ASSERT_TRUE(runs(m, random_problem(m, kind, 9, 7, sf)));
}

// --- sums beyond 24 bits ---

TEST_P(Columns_16s, ManyRows)
{
    for (int height : thin_effort() ? std::vector<int>{255} : std::vector<int>{255, 600, 3001})
        for (int misalign : {0, 2})
            for (Values kind : {Values::Wide, Values::Special}) {
                auto p = random_problem(m, kind, 9, height, 14);
                if (kind == Values::Wide)
                    for (auto& row : p.rows)
                        for (int16_t& x : row) x = static_cast<int16_t>(x / 4 + 24000);
                Layout layout;
                layout.row_misalign = {misalign};
                layout.block.misalign = misalign;
                ASSERT_TRUE(runs(m, p, layout));
            }
}
// Large values near each other: a variance is what the roundings of single precision leave of the sums.
TEST_P(Columns_16s, NearlyConstantColumns)
{
    for (int height = 2; height <= 30; ++height)
        for (int misalign : {0, 2}) {
            auto p = random_problem(m, Values::Wide, 11, height, height % 3 - 1);
            for (auto& row : p.rows) row = uniform_vector<int16_t>(11, 30000, 30030);
            p.mean = uniform_vector<int16_t>(11, 30000, 30030);
            Layout layout;
            layout.row_misalign = {misalign};
            layout.block.misalign = misalign;
            ASSERT_TRUE(runs(m, p, layout));
        }
}
TEST_P(Columns_16s16s32s, ManyRows)
{
    for (int height : thin_effort() ? std::vector<int>{600} : std::vector<int>{600, 3001})
        for (Values kind : {Values::Wide, Values::Special})
            ASSERT_TRUE(runs(m, random_problem(m, kind, 9, height)));
}

// Rows enough for every intermediate sum of 32 bits to overflow; all of them are one row.
TEST(Columns_16s, ExactSumsOverVeryManyRows)
{
    constexpr int kHeight = 200001;
    for (int16_t x : {int16_t{-32768}, int16_t{32767}})
        for (int misalign : {0, 2}) {
            const Guarded<int16_t> row(std::vector<int16_t>(9, x), {misalign});
            const std::vector<const int16_t*> list(kHeight, row.data());
            const std::vector<int16_t> mean_in(9, 0);
            std::vector<int16_t> mean(9), var(9);
            std::vector<int32_t> wide_mean(9), wide_var(9);
            EXPECT_EQ(
                zelsMeanVarColumn_16s32s_D2LSfs(list.data(), kHeight, wide_mean.data(), wide_var.data(), 9, 0),
                SrOk);
            EXPECT_EQ(wide_mean, std::vector<int32_t>(9, x));
            EXPECT_EQ(wide_var, std::vector<int32_t>(9, 0));
            if (misalign == 0) continue;  // single precision gives out
            EXPECT_EQ(zelsMeanColumn_16s_D2L(list.data(), kHeight, mean.data(), 9), SrOk);
            EXPECT_NEAR(mean[0], x, 1);
            EXPECT_EQ(mean, std::vector<int16_t>(9, reference::plain_mean_16s(Column(kHeight, x))));
            EXPECT_EQ(zelsVarColumn_16s_D2LSfs(list.data(), kHeight, mean_in.data(), var.data(), 9, 16), SrOk);
            EXPECT_NEAR(var[0], 16384, 1);
            EXPECT_EQ(var, std::vector<int16_t>(9, reference::plain_var_16s(Column(kHeight, x), 0, 16)));
            EXPECT_EQ(zelsMeanVarColumn_16s_D2LSfs(list.data(), kHeight, mean.data(), var.data(), 9, 10), SrOk);
            const auto [expected_mean, expected_var] = reference::plain_mean_var_16s(Column(kHeight, x), 10);
            EXPECT_EQ(mean, std::vector<int16_t>(9, expected_mean));
            EXPECT_EQ(var, std::vector<int16_t>(9, expected_var));
        }
}

// --- by hand ---

// Rows of the values at any address modulo 16, for one call.
template <class Call>
auto on_rows(const std::vector<std::vector<int16_t>>& rows, int misalign, Call call)
{
    const GuardedRows<int16_t> guarded(rows, {misalign});
    return call(guarded.list());
}

// Rounding to even on aligned rows, truncation on others: wanted.
TEST(MeanColumn_16s_D2L, TheTwoPathsRoundDifferently)
{
    for (auto [first, second, aligned, plain] : {std::array<int, 4>{1, 2, 2, 1},
                                                 {2, 3, 2, 2},
                                                 {-1, -2, -2, -1},
                                                 {-2, -3, -2, -2},
                                                 {0, 1, 0, 0},
                                                 {32767, 32766, 32766, 32766},
                                                 {-32768, -32767, -32768, -32767}})
        for (int misalign : {0, 2, 1}) {
            int16_t mean = 99;
            const std::vector<std::vector<int16_t>> rows = {{static_cast<int16_t>(first)},
                                                            {static_cast<int16_t>(second)}};
            EXPECT_EQ(
                on_rows(rows, misalign, [&](auto list) { return zelsMeanColumn_16s_D2L(list, 2, &mean, 1); }),
                SrOk);
            EXPECT_EQ(mean, misalign == 0 ? aligned : plain) << first << ", " << second;
        }
}

// The block form rounds to nearest at every address.
TEST(MeanColumn_16s_D2, RoundsToEvenAtEveryAddress)
{
    for (int misalign : {0, 2, 1}) {
        Guarded<int16_t> block(std::vector<int16_t>{1, 2}, {misalign});
        int16_t mean = 99;
        EXPECT_EQ(zelsMeanColumn_16s_D2(block.data(), 2, 1, &mean, 1), SrOk);
        EXPECT_EQ(mean, 2);
    }
}

// The variance of {v, -v} is 2 v^2.
TEST(VarColumn_16s_D2LSfs, ThePlainPathTruncatesShiftsDownAndSaturates)
{
    struct Example {
        int16_t first, second, mean;
        int32_t sf;
        int16_t aligned, plain;
    };
    for (const Example& e : std::initializer_list<Example>{{1, -1, 0, 0, 2, 2},
                                                           {1, -1, 0, 2, 0, 0},   // 0.5
                                                           {2, 1, 0, 1, 2, 2},    // 2.5
                                                           {3, 1, 0, 2, 2, 2},    // 2.5
                                                           {2, -2, 0, 4, 0, 0},   // 0.5
                                                           {3, -3, 0, 2, 4, 4},   // 4.5
                                                           {1, 1, 2, 2, -2, -2},  // -6 / 4 = -1.5
                                                           {1, 1, 2, 3, -1, -1},  // -0.75
                                                           {1, 1, 2, 5, 0, -1},   // -6 / 32: toward -infinity
                                                           {300, -300, 0, 0, 32767, 32767},
                                                           {0, 0, 300, 0, -32768, -32768},
                                                           {0, 0, 300, 100, 0, -1},
                                                           {1, -1, 0, -13, 16384, 16384},
                                                           {1, -1, 0, -14, 32767, 32767},
                                                           {1, 1, 2, -40, -32768, -32768},
                                                           {1, -1, 0, -61, 32767, 32767},
                                                           {1, -1, 0, -62, 32767, -32768},  // 2^63
                                                           {1, -1, 0, -63, 32767, 0},       // 2^64
                                                           {3, 1, 0, -62, 32767, -32768},   // 10 * 2^62
                                                           {3, 1, 0, -63, 32767, 0}})
        for (int misalign : {0, 2}) {
            int16_t var = 99;
            EXPECT_EQ(
                on_rows({{e.first}, {e.second}}, misalign,
                        [&](auto list) { return zelsVarColumn_16s_D2LSfs(list, 2, &e.mean, &var, 1, e.sf); }),
                SrOk);
            EXPECT_EQ(var, misalign == 0 ? e.aligned : e.plain) << e.first << ", " << e.second << ", sf " << e.sf;
        }
}

// Integers keep what single precision loses: 2 rows of 32767 about a mean of 32767, whose squares need 30 bits.
TEST(VarColumn_16s_D2LSfs, ThePlainPathSumsInIntegers)
{
    const int16_t mean = 32765;
    int16_t var[2];
    for (int misalign : {0, 2})
        EXPECT_EQ(
            on_rows({{32767}, {32763}}, misalign,
                    [&](auto list) { return zelsVarColumn_16s_D2LSfs(list, 2, &mean, &var[misalign / 2], 1, 0); }),
            SrOk);
    EXPECT_NE(var[0], 8) << "single precision";
    EXPECT_EQ(var[1], 8);
}

// Only the mean's output is limited and truncated; the variance comes from the mean as it was.
TEST(MeanVarColumn_16s_D2LSfs, ThePlainPath)
{
    int16_t mean, var;
    const auto call = [&](int16_t a, int16_t b, int misalign, int32_t sf) {
        return on_rows({{a}, {b}}, misalign,
                       [&](auto list) { return zelsMeanVarColumn_16s_D2LSfs(list, 2, &mean, &var, 1, sf); });
    };
    EXPECT_EQ(call(1, 2, 2, 0), SrOk);
    EXPECT_EQ(mean, 1);
    EXPECT_EQ(var, 0);
    EXPECT_EQ(call(1, 2, 0, 0), SrOk);
    EXPECT_EQ(mean, 2);
    EXPECT_EQ(var, 0);  // 0.5, to even
    EXPECT_EQ(call(-4, -1, 2, 0), SrOk);
    EXPECT_EQ(mean, -2);
    EXPECT_EQ(var, 4);  // 4.5
    EXPECT_EQ(call(-4, -1, 2, 1), SrOk);
    EXPECT_EQ(var, 2);
    EXPECT_EQ(call(-4, -1, 2, -3), SrOk);
    EXPECT_EQ(var, 32);  // truncated before the shift
    EXPECT_EQ(call(-4, -1, 0, -3), SrOk);
    EXPECT_EQ(var, 36);  // scaled before the rounding
    EXPECT_EQ(call(300, -300, 2, 0), SrOk);
    EXPECT_EQ(var, 32767);
}

TEST(MeanVarColumn_16s16s32s, TheLowestValueSquares)
{
    const int16_t block[] = {-32768, -32768, -32768, 32767, -32768, 0};
    int16_t mean[2];
    int32_t var[2];
    EXPECT_EQ(zelsMeanVarColumn_16s16s32s_D2(block, 3, 2, mean, var, 2), SrOk);
    EXPECT_EQ(mean[0], -32768);
    EXPECT_EQ(var[0], 0);
    EXPECT_EQ(mean[1], 0);
    EXPECT_EQ(var[1], 1073709056);  // (2^30 + 32767^2 - 1/3) / 2
}

// An infinite scale leaves zero no number, which ends at the upper limit.
TEST(MeanVarColumn_16s32s, AVarianceOfZeroUnderAnInfiniteScale)
{
    const int16_t block[] = {5, 5};
    int32_t mean, var;
    for (int32_t sf : {-1023, -1024, INT32_MIN}) {
        EXPECT_EQ(zelsMeanVarColumn_16s32s_D2Sfs(block, 2, 1, &mean, &var, 1, sf), SrOk);
        EXPECT_EQ(var, sf == -1023 ? 0 : INT32_MAX);
    }
}

// The widest variance of 16-bit data, 65535^2 / 2, still fits; ties go to even.
TEST(MeanVarColumn_16s32s, RoundsToEvenAndSaturates)
{
    const int16_t block[] = {-32768, 1, 0, 32767, 2, 5};
    int32_t mean[3], var[3];
    EXPECT_EQ(zelsMeanVarColumn_16s32s_D2Sfs(block, 2, 3, mean, var, 3, 0), SrOk);
    EXPECT_EQ(mean[0], 0);          // -0.5
    EXPECT_EQ(mean[1], 2);          // 1.5
    EXPECT_EQ(mean[2], 2);          // 2.5
    EXPECT_EQ(var[0], 2147418112);  // 65535^2 / 2
    EXPECT_EQ(var[1], 0);           // 0.5
    EXPECT_EQ(var[2], 12);          // 12.5
    EXPECT_EQ(zelsMeanVarColumn_16s32s_D2Sfs(block, 2, 3, mean, var, 3, -1), SrOk);
    EXPECT_EQ(mean[2], 2) << "the mean takes no scale";
    EXPECT_EQ(var[0], INT32_MAX);
    EXPECT_EQ(var[1], 1);
    EXPECT_EQ(var[2], 25);
    EXPECT_EQ(zelsMeanVarColumn_16s32s_D2Sfs(block, 2, 3, mean, var, 3, -2000), SrOk);
    EXPECT_EQ(var[0], INT32_MAX);
    EXPECT_EQ(zelsMeanVarColumn_16s32s_D2Sfs(block, 2, 3, mean, var, 3, 2000), SrOk);
    EXPECT_EQ(var[0], 0);
}

}  // namespace
}  // namespace zelsr::test::columns
