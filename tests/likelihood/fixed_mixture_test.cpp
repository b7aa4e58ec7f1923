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

}  // namespace
}  // namespace zelsr::test::fixed
