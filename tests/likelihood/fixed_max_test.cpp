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

}  // namespace
}  // namespace zelsr::test::fixed
