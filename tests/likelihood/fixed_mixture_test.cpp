// Whole mixtures, 16-bit data.
#include "likelihood/fixed_suite.h"

namespace zelsr::test::fixed {
namespace {

const Member kMembers[] = {
    {"zelsLogGaussMixture_Scaled_16s32f_D2", call<zelsLogGaussMixture_Scaled_16s32f_D2>},
    {"zelsLogGaussMixture_Scaled_16s32f_D2L", call<zelsLogGaussMixture_Scaled_16s32f_D2L>},
    {"zelsLogGaussMixture_IdVarScaled_16s32f_D2", call<zelsLogGaussMixture_IdVarScaled_16s32f_D2>},
    {"zelsLogGaussMixture_IdVarScaled_16s32f_D2L", call<zelsLogGaussMixture_IdVarScaled_16s32f_D2L>},
    {"zelsLogGaussMixture_LowScaled_16s32f_D2", call<zelsLogGaussMixture_LowScaled_16s32f_D2>},
    {"zelsLogGaussMixture_LowScaled_16s32f_D2L", call<zelsLogGaussMixture_LowScaled_16s32f_D2L>},
    {"zelsLogGaussMixture_IdVarLowScaled_16s32f_D2", call<zelsLogGaussMixture_IdVarLowScaled_16s32f_D2>},
    {"zelsLogGaussMixture_IdVarLowScaled_16s32f_D2L", call<zelsLogGaussMixture_IdVarLowScaled_16s32f_D2L>},
};
INSTANTIATE_TEST_SUITE_P(Mixtures, FixedScores, testing::ValuesIn(kMembers), member_name);

TEST(FixedMixtures, OneComponentIsItsScoreWithoutAFloor)
{
    for (const Member& m : kMembers)
        for (int width : {3, 8})
            for (double val : {-6e6, -1e30, 2.5}) {
                Problem p = random_problem(m, Values::Small, width, 1, 2);
                p.rows.assign(1, p.vector);
                p.vals = {val};
                const Trial trial(m, p);
                ASSERT_EQ(m.call(trial.arguments()), SrOk);
                EXPECT_EQ(from_word(m, trial.result.get(0)), static_cast<float>(val)) << m.name;
            }
}

// As one vector does: the squares' sum has 32 bits.
TEST(FixedMixtures, UnitVariancesWrapAt2To31)
{
    const int16_t x[8] = {INT16_MIN, INT16_MIN, INT16_MIN, INT16_MIN}, m[8] = {};
    const int16_t* const rows[] = {m};
    const float val = 3;
    for (int32_t width : {2, 4, 8}) {
        float result = 0;
        const float expected = width == 2 ? val + 0x1p31F / 16 : val;
        EXPECT_EQ(zelsLogGaussMixture_IdVarScaled_16s32f_D2(x, m, 1, width, width, &val, &result, 3), SrOk);
        EXPECT_EQ(result, expected) << "width " << width;
        EXPECT_EQ(zelsLogGaussMixture_IdVarScaled_16s32f_D2L(x, rows, 1, width, &val, &result, 3), SrOk);
        EXPECT_EQ(result, expected) << "width " << width;
    }
}

}  // namespace
}  // namespace zelsr::test::fixed
