// One vector against one Gaussian, 16-bit data.
#include "likelihood/fixed_suite.h"

namespace zelsr::test::fixed {
namespace {

const Member kMembers[] = {
    {"zelsLogGaussSingle_Scaled_16s32f", call<zelsLogGaussSingle_Scaled_16s32f>},
    {"zelsLogGaussSingle_16s32s_Sfs", call<zelsLogGaussSingle_16s32s_Sfs>},
    {"zelsLogGaussSingle_IdVarScaled_16s32f", call<zelsLogGaussSingle_IdVarScaled_16s32f>},
    {"zelsLogGaussSingle_IdVar_16s32s_Sfs", call<zelsLogGaussSingle_IdVar_16s32s_Sfs>},
    {"zelsLogGaussSingle_LowScaled_16s32f", call<zelsLogGaussSingle_LowScaled_16s32f>},
    {"zelsLogGaussSingle_Low_16s32s_Sfs", call<zelsLogGaussSingle_Low_16s32s_Sfs>},
    {"zelsLogGaussSingle_IdVarLowScaled_16s32f", call<zelsLogGaussSingle_IdVarLowScaled_16s32f>},
    {"zelsLogGaussSingle_IdVarLow_16s32s_Sfs", call<zelsLogGaussSingle_IdVarLow_16s32s_Sfs>},
};
INSTANTIATE_TEST_SUITE_P(Vectors, FixedScores, testing::ValuesIn(kMembers), member_name);

// Eight equal elements but for one, and behind them one more.
struct Vectors9 {
    int16_t x[9] = {}, m[9] = {}, p[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
};

TEST(FixedSingle, DifferencesSaturateInGroupsOfEightOnly)
{
    Vectors9 v;
    float result = 0;
    v.x[3] = INT16_MAX;
    v.m[3] = INT16_MIN;
    for (int32_t len : {8, 9}) {  // sf -1: the scale is 1
        EXPECT_EQ(zelsLogGaussSingle_Scaled_16s32f(v.x, v.m, v.p, len, &result, 0, -1), SrOk);
        EXPECT_EQ(result, -1073676289.0F);
    }
    EXPECT_EQ(zelsLogGaussSingle_Scaled_16s32f(v.x, v.m, v.p, 4, &result, 0, -1), SrOk);
    EXPECT_EQ(result, -4294836225.0F);
    std::swap(v.x[3], v.x[8]);
    std::swap(v.m[3], v.m[8]);
    EXPECT_EQ(zelsLogGaussSingle_Scaled_16s32f(v.x, v.m, v.p, 9, &result, 0, -1), SrOk);
    EXPECT_EQ(result, -4294836225.0F);
    EXPECT_EQ(zelsLogGaussSingle_IdVarScaled_16s32f(v.x, v.m, 9, &result, 0, -1), SrOk);
    EXPECT_EQ(result, -1073676289.0F) << "saturated behind the group too";
}

TEST(FixedSingle, UnitVariancesWrapAt2To31)
{
    Vectors9 v;
    float result = 0;
    v.x[0] = v.x[1] = INT16_MIN;  // two squares of 2^30
    EXPECT_EQ(zelsLogGaussSingle_IdVarScaled_16s32f(v.x, v.m, 8, &result, 5, 3), SrOk);
    EXPECT_EQ(result, 5.0F + 0x1p31F / 16);
    v.x[2] = v.x[3] = INT16_MIN;
    EXPECT_EQ(zelsLogGaussSingle_IdVarScaled_16s32f(v.x, v.m, 8, &result, 5, 3), SrOk);
    EXPECT_EQ(result, 5.0F);
}

TEST(FixedSingle, IntegersAreRoundedToEvenAndLimited)
{
    const int16_t x = 1, m = 0;
    int32_t result = 0;
    for (auto [p, expected] : {std::pair{1, 0}, {2, 0}, {3, -1}, {6, -2}, {10, -2}, {14, -4}}) {
        const auto inv_var = static_cast<int16_t>(p);
        EXPECT_EQ(zelsLogGaussSingle_16s32s_Sfs(&x, &m, &inv_var, 1, &result, 0, 1), SrOk);
        EXPECT_EQ(result, expected) << p << " / 4";
    }
    const int16_t far = INT16_MAX, one = 1, minus = -1;
    EXPECT_EQ(zelsLogGaussSingle_16s32s_Sfs(&far, &m, &one, 1, &result, 0, -6), SrOk);
    EXPECT_EQ(result, INT32_MIN);
    EXPECT_EQ(zelsLogGaussSingle_16s32s_Sfs(&far, &m, &minus, 1, &result, 0, -6), SrOk);
    EXPECT_EQ(result, INT32_MIN) << "what the upper limit converts to";
    EXPECT_EQ(zelsLogGaussSingle_16s32s_Sfs(&m, &m, &one, 1, &result, INT32_MAX, 0), SrOk);
    EXPECT_EQ(result, INT32_MIN) << "2147483647 is 2^31 as a single";
}

TEST(FixedSingle, PowerOfTheScaleIsAShiftModulo32)
{
    const int16_t x = 3, m = 0, p = 1;
    int32_t result = 0;
    for (auto [sf, expected] : {std::pair{31, 100 - 9},
                                {-33, 100 - 9},
                                {32, 96},
                                {-34, 100 - 18},
                                {0, 96},
                                {30, 100},
                                {INT32_MAX, 100 - 9}}) {
        EXPECT_EQ(zelsLogGaussSingle_16s32s_Sfs(&x, &m, &p, 1, &result, 100, sf), SrOk);
        EXPECT_EQ(result, expected) << "sf " << sf;  // 95.5 goes to 96
    }
}

TEST(FixedSingle, SingleResultsTakeAnyScaleFactor)
{
    const int16_t x = 3, m = 0, p = 1;
    float result = 0;
    for (int32_t sf : {149, 150, 200, INT32_MAX - 1, INT32_MAX}) {
        EXPECT_EQ(zelsLogGaussSingle_Scaled_16s32f(&x, &m, &p, 1, &result, 7, sf), SrOk);
        EXPECT_EQ(result, 7) << "sf " << sf;
        EXPECT_EQ(zelsLogGaussSingle_IdVarScaled_16s32f(&x, &m, 1, &result, 7, sf), SrOk);
        EXPECT_EQ(result, 7) << "sf " << sf;
    }
    EXPECT_EQ(zelsLogGaussSingle_Scaled_16s32f(&x, &m, &p, 1, &result, 7, 30), SrOk);
    EXPECT_EQ(result, 7.0F - 9 * 0x1p-31F);
    for (int32_t sf : {-129, -200, INT32_MIN}) {
        EXPECT_EQ(zelsLogGaussSingle_Scaled_16s32f(&x, &m, &p, 1, &result, 7, sf), SrOk);
        EXPECT_EQ(result, -HUGE_VALF);
        EXPECT_EQ(zelsLogGaussSingle_Scaled_16s32f(&x, &x, &p, 1, &result, 7, sf), SrOk);
        EXPECT_TRUE(std::isnan(result)) << "no sum times infinity";
    }
}

TEST(FixedSingle, LowShiftsChangeAbove15)
{
    Vectors9 v;
    int32_t result = 0;
    v.p[0] = v.p[8] = 3;
    // The square of 256 has a high part of 1 and no low part: a group's sum of -3, or 3 behind it, is shifted.
    for (auto [sf, group, last] : {std::tuple{14, -6, -6}, {15, -3, -3}, {16, -2, -1}, {17, -1, 0}, {40, -1, 0}}) {
        v.x[0] = 256;
        EXPECT_EQ(zelsLogGaussSingle_Low_16s32s_Sfs(v.x, v.m, v.p, 8, &result, 0, sf), SrOk);
        EXPECT_EQ(result, group) << "sf " << sf;
        EXPECT_EQ(zelsLogGaussSingle_Low_16s32s_Sfs(v.x, v.m, v.p, 1, &result, 0, sf), SrOk);
        EXPECT_EQ(result, last) << "sf " << sf;
    }
    // The square of 255 has a low part of 32512 only: shifted by 15 from there on.
    v.x[0] = 255;
    for (auto [sf, group] : {std::pair{14, -6}, {15, -3}, {16, -3}, {17, -3}, {40, -3}}) {
        EXPECT_EQ(zelsLogGaussSingle_Low_16s32s_Sfs(v.x, v.m, v.p, 8, &result, 0, sf), SrOk);
        EXPECT_EQ(result, group) << "sf " << sf;
    }
}

TEST(FixedSingle, LowPathsBelowZero)
{
    Vectors9 v;
    int32_t result = 0;
    float single = 0;
    v.x[0] = 3;  // the square is 9; its low part is 4 and loses a bit
    EXPECT_EQ(zelsLogGaussSingle_Low_16s32s_Sfs(v.x, v.m, v.p, 8, &result, 0, 0), SrOk);
    EXPECT_EQ(result, -4);
    EXPECT_EQ(zelsLogGaussSingle_Low_16s32s_Sfs(v.x, v.m, v.p, 8, &result, 0, -1), SrOk);
    EXPECT_EQ(result, -9) << "in single precision";
    EXPECT_EQ(zelsLogGaussSingle_LowScaled_16s32f(v.x, v.m, v.p, 8, &single, 0, -2), SrOk);
    EXPECT_EQ(single, -18);
    for (int32_t len : {1, 2, 4, 8}) {
        EXPECT_EQ(zelsLogGaussSingle_IdVarLow_16s32s_Sfs(v.x, v.m, len, &result, 0, -1), SrOk);
        EXPECT_EQ(result, -8) << "in integers";
        EXPECT_EQ(zelsLogGaussSingle_IdVarLowScaled_16s32f(v.x, v.m, len, &single, 0, -1), SrOk);
        EXPECT_EQ(single, -9);
        EXPECT_EQ(zelsLogGaussSingle_IdVarLowScaled_16s32f(v.x, v.m, len, &single, 0, 0), SrOk);
        EXPECT_EQ(single, -4.5F);
    }
    EXPECT_EQ(zelsLogGaussSingle_Low_16s32s_Sfs(v.x, v.m, v.p, 8, &result, 0, -33), SrOk);
    EXPECT_EQ(result, -9) << "the shift by 32 is one by 0";
    for (int32_t sf : {-32, INT32_MIN}) {
        EXPECT_EQ(zelsLogGaussSingle_LowScaled_16s32f(v.x, v.m, v.p, 8, &single, 0, sf), SrOk);
        EXPECT_EQ(single, 9 * 0x1p31F) << "1 shifted by 31 is negative";
    }
}

TEST(FixedSingle, LowSumsWrapWithoutAStatus)
{
    Vectors9 v;
    int32_t result = 0;
    for (int k = 0; k < 8; ++k) {
        v.x[k] = 256;
        v.p[k] = 16384;
    }
    EXPECT_EQ(zelsLogGaussSingle_Low_16s32s_Sfs(v.x, v.m, v.p, 8, &result, 77, 0), SrOk);
    EXPECT_EQ(result, 77) << "2^32 less";
    v.p[0] = 16383;
    EXPECT_EQ(zelsLogGaussSingle_Low_16s32s_Sfs(v.x, v.m, v.p, 8, &result, INT32_MAX, 0), SrOk);
    EXPECT_EQ(result, INT32_MIN + 32767) << "val is added wrapping";
}

}  // namespace
}  // namespace zelsr::test::fixed
