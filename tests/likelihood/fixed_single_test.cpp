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

}  // namespace
}  // namespace zelsr::test::fixed
