// One vector against many Gaussians: scores, running maxima and running log additions, 16-bit data.
#include "likelihood/fixed_suite.h"

namespace zelsr::test::fixed {
namespace {

const Member kMembers[] = {
    {"zelsLogGaussMultiMix_Scaled_16s32f_D2", call<zelsLogGaussMultiMix_Scaled_16s32f_D2>},
    {"zelsLogGaussMultiMix_Scaled_16s32f_D2L", call<zelsLogGaussMultiMix_Scaled_16s32f_D2L>},
    {"zelsLogGaussMultiMix_16s32s_D2Sfs", call<zelsLogGaussMultiMix_16s32s_D2Sfs>},
    {"zelsLogGaussMultiMix_16s32s_D2LSfs", call<zelsLogGaussMultiMix_16s32s_D2LSfs>},
    {"zelsLogGaussMultiMix_Low_16s32f_D2", call<zelsLogGaussMultiMix_Low_16s32f_D2>},
    {"zelsLogGaussMultiMix_Low_16s32f_D2L", call<zelsLogGaussMultiMix_Low_16s32f_D2L>},
    {"zelsLogGaussMultiMix_LowScaled_16s32f_D2", call<zelsLogGaussMultiMix_LowScaled_16s32f_D2>},
    {"zelsLogGaussMultiMix_LowScaled_16s32f_D2L", call<zelsLogGaussMultiMix_LowScaled_16s32f_D2L>},
    {"zelsLogGaussMultiMix_Low_16s32s_D2Sfs", call<zelsLogGaussMultiMix_Low_16s32s_D2Sfs>},
    {"zelsLogGaussMultiMix_Low_16s32s_D2LSfs", call<zelsLogGaussMultiMix_Low_16s32s_D2LSfs>},
    {"zelsLogGaussMaxMultiMix_Scaled_16s32f_D2", call<zelsLogGaussMaxMultiMix_Scaled_16s32f_D2>},
    {"zelsLogGaussMaxMultiMix_Scaled_16s32f_D2L", call<zelsLogGaussMaxMultiMix_Scaled_16s32f_D2L>},
    {"zelsLogGaussMaxMultiMix_16s32s_D2Sfs", call<zelsLogGaussMaxMultiMix_16s32s_D2Sfs>},
    {"zelsLogGaussMaxMultiMix_16s32s_D2LSfs", call<zelsLogGaussMaxMultiMix_16s32s_D2LSfs>},
    {"zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2", call<zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2>},
    {"zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2L", call<zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2L>},
    {"zelsLogGaussMaxMultiMix_Low_16s32s_D2Sfs", call<zelsLogGaussMaxMultiMix_Low_16s32s_D2Sfs>},
    {"zelsLogGaussMaxMultiMix_Low_16s32s_D2LSfs", call<zelsLogGaussMaxMultiMix_Low_16s32s_D2LSfs>},
    {"zelsLogGaussAddMultiMix_Scaled_16s32f_D2", call<zelsLogGaussAddMultiMix_Scaled_16s32f_D2>},
    {"zelsLogGaussAddMultiMix_Scaled_16s32f_D2L", call<zelsLogGaussAddMultiMix_Scaled_16s32f_D2L>},
    {"zelsLogGaussAddMultiMix_LowScaled_16s32f_D2", call<zelsLogGaussAddMultiMix_LowScaled_16s32f_D2>},
    {"zelsLogGaussAddMultiMix_LowScaled_16s32f_D2L", call<zelsLogGaussAddMultiMix_LowScaled_16s32f_D2L>},
};
INSTANTIATE_TEST_SUITE_P(Gaussians, FixedScores, testing::ValuesIn(kMembers), member_name);

}  // namespace
}  // namespace zelsr::test::fixed
