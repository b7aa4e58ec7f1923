// Running log additions over frames, 16-bit data.
#include "likelihood/fixed_suite.h"

namespace zelsr::test::fixed {
namespace {

const Member kMembers[] = {
    {"zelsLogGaussAdd_Scaled_16s32f_D2", call<zelsLogGaussAdd_Scaled_16s32f_D2>},
    {"zelsLogGaussAdd_Scaled_16s32f_D2L", call<zelsLogGaussAdd_Scaled_16s32f_D2L>},
    {"zelsLogGaussAdd_IdVarScaled_16s32f_D2", call<zelsLogGaussAdd_IdVarScaled_16s32f_D2>},
    {"zelsLogGaussAdd_IdVarScaled_16s32f_D2L", call<zelsLogGaussAdd_IdVarScaled_16s32f_D2L>},
    {"zelsLogGaussAdd_LowScaled_16s32f_D2", call<zelsLogGaussAdd_LowScaled_16s32f_D2>},
    {"zelsLogGaussAdd_LowScaled_16s32f_D2L", call<zelsLogGaussAdd_LowScaled_16s32f_D2L>},
    {"zelsLogGaussAdd_IdVarLowScaled_16s32f_D2", call<zelsLogGaussAdd_IdVarLowScaled_16s32f_D2>},
    {"zelsLogGaussAdd_IdVarLowScaled_16s32f_D2L", call<zelsLogGaussAdd_IdVarLowScaled_16s32f_D2L>},
};
INSTANTIATE_TEST_SUITE_P(FrameSums, FixedScores, testing::ValuesIn(kMembers), member_name);

}  // namespace
}  // namespace zelsr::test::fixed
