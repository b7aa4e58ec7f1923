// Many frames against one Gaussian, 16-bit data.
#include "likelihood/fixed_suite.h"

namespace zelsr::test::fixed {
namespace {

const Member kMembers[] = {
    {"zelsLogGauss_Scaled_16s32f_D2", call<zelsLogGauss_Scaled_16s32f_D2>},
    {"zelsLogGauss_Scaled_16s32f_D2L", call<zelsLogGauss_Scaled_16s32f_D2L>},
    {"zelsLogGauss_16s32s_D2Sfs", call<zelsLogGauss_16s32s_D2Sfs>},
    {"zelsLogGauss_16s32s_D2LSfs", call<zelsLogGauss_16s32s_D2LSfs>},
    {"zelsLogGauss_IdVarScaled_16s32f_D2", call<zelsLogGauss_IdVarScaled_16s32f_D2>},
    {"zelsLogGauss_IdVarScaled_16s32f_D2L", call<zelsLogGauss_IdVarScaled_16s32f_D2L>},
    {"zelsLogGauss_IdVar_16s32s_D2Sfs", call<zelsLogGauss_IdVar_16s32s_D2Sfs>},
    {"zelsLogGauss_IdVar_16s32s_D2LSfs", call<zelsLogGauss_IdVar_16s32s_D2LSfs>},
    {"zelsLogGauss_Low_16s32f_D2", call<zelsLogGauss_Low_16s32f_D2>},
    {"zelsLogGauss_Low_16s32f_D2L", call<zelsLogGauss_Low_16s32f_D2L>},
    {"zelsLogGauss_LowScaled_16s32f_D2", call<zelsLogGauss_LowScaled_16s32f_D2>},
    {"zelsLogGauss_LowScaled_16s32f_D2L", call<zelsLogGauss_LowScaled_16s32f_D2L>},
    {"zelsLogGauss_Low_16s32s_D2Sfs", call<zelsLogGauss_Low_16s32s_D2Sfs>},
    {"zelsLogGauss_Low_16s32s_D2LSfs", call<zelsLogGauss_Low_16s32s_D2LSfs>},
    {"zelsLogGauss_IdVarLow_16s32f_D2", call<zelsLogGauss_IdVarLow_16s32f_D2>},
    {"zelsLogGauss_IdVarLow_16s32f_D2L", call<zelsLogGauss_IdVarLow_16s32f_D2L>},
    {"zelsLogGauss_IdVarLowScaled_16s32f_D2", call<zelsLogGauss_IdVarLowScaled_16s32f_D2>},
    {"zelsLogGauss_IdVarLowScaled_16s32f_D2L", call<zelsLogGauss_IdVarLowScaled_16s32f_D2L>},
    {"zelsLogGauss_IdVarLow_16s32s_D2Sfs", call<zelsLogGauss_IdVarLow_16s32s_D2Sfs>},
    {"zelsLogGauss_IdVarLow_16s32s_D2LSfs", call<zelsLogGauss_IdVarLow_16s32s_D2LSfs>},
};
INSTANTIATE_TEST_SUITE_P(Frames, FixedScores, testing::ValuesIn(kMembers), member_name);

// Rows of 16 elements, alike but for one element of the second.
struct Rows16 {
    int16_t x[2 * 16] = {}, m[16] = {}, p[16];
    float single[2] = {};
    int32_t whole[2] = {};
    Rows16() { std::fill(p, p + 16, int16_t{1}); }
};

TEST(FixedFrames, DifferencesSaturateInGroupsOfEightOnly)
{
    for (int32_t k = 0; k < 15; ++k)
        for (int32_t width : {k + 1, 15, 16}) {
            Rows16 r;
            r.x[16 + k] = INT16_MAX;
            r.m[k] = INT16_MIN;
            r.x[k] = INT16_MIN;
            const float expected = k < width - width % 8 ? -1073676289.0F : -4294836225.0F;
            EXPECT_EQ(zelsLogGauss_Scaled_16s32f_D2(r.x, 16, r.m, r.p, width, r.single, 2, 0, -1), SrOk);
            EXPECT_EQ(r.single[0], 0);
            EXPECT_EQ(r.single[1], expected) << "element " << k << " of " << width;
            EXPECT_EQ(zelsLogGauss_IdVarScaled_16s32f_D2(r.x, 16, r.m, width, r.single, 2, 0, -1), SrOk);
            EXPECT_EQ(r.single[1], expected) << "element " << k << " of " << width;
            EXPECT_EQ(zelsLogGauss_16s32s_D2Sfs(r.x, 16, r.m, r.p, width, r.whole, 2, 0, 1), SrOk);
            EXPECT_EQ(static_cast<float>(r.whole[1]), expected / 4);
        }
}

// Unlike the form for one vector.
TEST(FixedFrames, UnitVariancesDoNotWrap)
{
    Rows16 r;
    for (int k : {0, 1}) r.x[k] = INT16_MIN;
    EXPECT_EQ(zelsLogGauss_IdVarScaled_16s32f_D2(r.x, 16, r.m, 8, r.single, 2, 0, -1), SrOk);
    EXPECT_EQ(r.single[0], -0x1p31F) << "one pair's squares, 2^31 in all";
    for (int k : {2, 4}) r.x[k] = INT16_MIN;
    EXPECT_EQ(zelsLogGauss_IdVarScaled_16s32f_D2(r.x, 16, r.m, 8, r.single, 2, 0, -1), SrOk);
    EXPECT_EQ(r.single[0], -0x1p32F);
    for (int k : {3, 5, 6, 7}) r.x[k] = INT16_MAX;
    EXPECT_EQ(zelsLogGauss_IdVarScaled_16s32f_D2(r.x, 16, r.m, 8, r.single, 2, 0, -1), SrOk);
    EXPECT_NEAR(r.single[0], -0x1p33F, 0x1p20F);
}

// Where the form for one vector rounds, so that the two may differ by one; and with no limit.
TEST(FixedFrames, IntegersAreTruncated)
{
    Rows16 r;
    r.x[0] = 1;
    for (auto [p, expected] : {std::pair{1, 0}, {2, 0}, {3, 0}, {4, -1}, {6, -1}, {7, -1}, {8, -2}}) {
        r.p[0] = static_cast<int16_t>(p);
        EXPECT_EQ(zelsLogGauss_16s32s_D2Sfs(r.x, 16, r.m, r.p, 8, r.whole, 1, 0, 1), SrOk);
        EXPECT_EQ(r.whole[0], expected) << p << " / 4";
        r.p[0] = static_cast<int16_t>(-p);
        EXPECT_EQ(zelsLogGauss_16s32s_D2Sfs(r.x, 16, r.m, r.p, 8, r.whole, 1, 0, 1), SrOk);
        EXPECT_EQ(r.whole[0], -expected) << -p << " / 4";
    }
    r.x[0] = INT16_MAX;
    for (int p : {1, -1}) {
        r.p[0] = static_cast<int16_t>(p);
        EXPECT_EQ(zelsLogGauss_16s32s_D2Sfs(r.x, 16, r.m, r.p, 8, r.whole, 1, 0, -6), SrOk);
        EXPECT_EQ(r.whole[0], INT32_MIN) << "does not fit";
    }
}

TEST(FixedFrames, FormsWithoutAScaleFactorAreThoseWith0)
{
    for (int width : widths()) {
        const Problem p = random_problem(kMembers[0], Values::Wide, width, 5, 0);
        const Vector block = as_block(p.rows, static_cast<std::size_t>(width));
        std::vector<const int16_t*> list;
        for (const Vector& row : p.rows) list.push_back(row.data());
        const int16_t *m = p.vector.data(), *v = p.variance.data();
        std::vector<float> without(5), with(5);
        EXPECT_EQ(zelsLogGauss_Low_16s32f_D2(block.data(), width, m, v, width, without.data(), 5, 3), SrOk);
        EXPECT_EQ(zelsLogGauss_LowScaled_16s32f_D2(block.data(), width, m, v, width, with.data(), 5, 3, 0), SrOk);
        EXPECT_TRUE(same_values(with, without)) << "width " << width;
        EXPECT_EQ(zelsLogGauss_Low_16s32f_D2L(list.data(), m, v, width, without.data(), 5, 3), SrOk);
        EXPECT_TRUE(same_values(with, without)) << "width " << width;
        EXPECT_EQ(zelsLogGauss_IdVarLow_16s32f_D2(block.data(), width, m, width, without.data(), 5, 3), SrOk);
        EXPECT_EQ(zelsLogGauss_IdVarLowScaled_16s32f_D2(block.data(), width, m, width, with.data(), 5, 3, 0),
                  SrOk);
        EXPECT_TRUE(same_values(with, without)) << "width " << width;
        EXPECT_EQ(zelsLogGauss_IdVarLow_16s32f_D2L(list.data(), m, width, without.data(), 5, 3), SrOk);
        EXPECT_TRUE(same_values(with, without)) << "width " << width;
    }
}

// In a pair and alone a frame's score has the same bits.
TEST(FixedFrames, ScoreAFrameInItsPairAsAlone)
{
    for (const Member& m : kMembers)
        for (int width : {3, 8, 13, 24, 39}) {
            const Problem all = random_problem(m, Values::Wide, width, 5, 4);
            const Trial together(m, all);
            ASSERT_EQ(m.call(together.arguments()), SrOk);
            for (std::size_t r = 0; r < 5; ++r) {
                Problem one = all;
                one.rows = {all.rows[r]};
                const Trial alone(m, one);
                ASSERT_EQ(m.call(alone.arguments()), SrOk);
                ASSERT_TRUE(same_value(from_word(m, alone.result.get(0)), from_word(m, together.result.get(r))))
                    << m.name << ", width " << width << ", frame " << r;
            }
        }
}

}  // namespace
}  // namespace zelsr::test::fixed
