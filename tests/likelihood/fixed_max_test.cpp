// Running maxima over frames, 16-bit data.
#include "likelihood/fixed_suite.h"

namespace zelsr::test::fixed {
namespace {

const Member kMembers[] = {
    {"zelsLogGaussMax_Scaled_16s32f_D2", call<zelsLogGaussMax_Scaled_16s32f_D2>},
    {"zelsLogGaussMax_Scaled_16s32f_D2L", call<zelsLogGaussMax_Scaled_16s32f_D2L>},
    {"zelsLogGaussMax_16s32s_D2Sfs", call<zelsLogGaussMax_16s32s_D2Sfs>},
    {"zelsLogGaussMax_16s32s_D2LSfs", call<zelsLogGaussMax_16s32s_D2LSfs>},
    {"zelsLogGaussMax_IdVarScaled_16s32f_D2", call<zelsLogGaussMax_IdVarScaled_16s32f_D2>},
    {"zelsLogGaussMax_IdVarScaled_16s32f_D2L", call<zelsLogGaussMax_IdVarScaled_16s32f_D2L>},
    {"zelsLogGaussMax_IdVar_16s32s_D2Sfs", call<zelsLogGaussMax_IdVar_16s32s_D2Sfs>},
    {"zelsLogGaussMax_IdVar_16s32s_D2LSfs", call<zelsLogGaussMax_IdVar_16s32s_D2LSfs>},
    {"zelsLogGaussMax_LowScaled_16s32f_D2", call<zelsLogGaussMax_LowScaled_16s32f_D2>},
    {"zelsLogGaussMax_LowScaled_16s32f_D2L", call<zelsLogGaussMax_LowScaled_16s32f_D2L>},
    {"zelsLogGaussMax_Low_16s32s_D2Sfs", call<zelsLogGaussMax_Low_16s32s_D2Sfs>},
    {"zelsLogGaussMax_Low_16s32s_D2LSfs", call<zelsLogGaussMax_Low_16s32s_D2LSfs>},
    {"zelsLogGaussMax_IdVarLowScaled_16s32f_D2", call<zelsLogGaussMax_IdVarLowScaled_16s32f_D2>},
    {"zelsLogGaussMax_IdVarLowScaled_16s32f_D2L", call<zelsLogGaussMax_IdVarLowScaled_16s32f_D2L>},
    {"zelsLogGaussMax_IdVarLow_16s32s_D2Sfs", call<zelsLogGaussMax_IdVarLow_16s32s_D2Sfs>},
    {"zelsLogGaussMax_IdVarLow_16s32s_D2LSfs", call<zelsLogGaussMax_IdVarLow_16s32s_D2LSfs>},
};
INSTANTIATE_TEST_SUITE_P(FrameMaxima, FixedScores, testing::ValuesIn(kMembers), member_name);

TEST(FixedMaxima, AnIntegerIsAsExactAsASingle)
{
    const int16_t x = 1, m = 0, p = 1;
    for (auto [before, after] : {std::pair{16777217, 16777216},
                                 {16777219, 16777220},
                                 {2147483520, 2147483520},
                                 {2147483519, 2147483520},
                                 {-5, -4},
                                 {-4, -4},
                                 {-3, -3},
                                 {0, 0}}) {
        int32_t best = before;
        EXPECT_EQ(zelsLogGaussMax_16s32s_D2Sfs(&x, 1, &m, &p, 1, &best, 1, -3, -1), SrOk);  // the score is -4
        EXPECT_EQ(best, after) << before;
        best = before;
        EXPECT_EQ(zelsLogGaussMax_IdVar_16s32s_D2Sfs(&x, 1, &m, 1, &best, 1, -3, -1), SrOk);
        EXPECT_EQ(best, after) << before;
        best = before;
        EXPECT_EQ(zelsLogGaussMax_Low_16s32s_D2Sfs(&x, 1, &m, &p, 1, &best, 1, -4, 0), SrOk);  // loses the square
        EXPECT_EQ(best, after) << before;
    }
    int32_t best = 0;
    EXPECT_EQ(zelsLogGaussMax_Low_16s32s_D2Sfs(&x, 1, &m, &p, 1, &best, 1, 16777217, 0), SrOk);
    EXPECT_EQ(best, 16777216) << "the score too";
}

TEST(FixedMaxima, AScoreThatIsNotANumberChangesNothing)
{
    const int16_t x = 1, m = 0, p = 1;
    for (float before : special_values<float>()) {
        float best = before;
        EXPECT_EQ(zelsLogGaussMax_Scaled_16s32f_D2(&x, 1, &m, &p, 1, &best, 1, NAN, 0), SrOk);
        EXPECT_TRUE(same_value(before, best));
        EXPECT_EQ(zelsLogGaussMax_LowScaled_16s32f_D2(&x, 1, &m, &p, 1, &best, 1, NAN, 0), SrOk);
        EXPECT_TRUE(same_value(before, best));
    }
}

}  // namespace
}  // namespace zelsr::test::fixed
