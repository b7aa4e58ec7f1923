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

}  // namespace
}  // namespace zelsr::test::fixed
