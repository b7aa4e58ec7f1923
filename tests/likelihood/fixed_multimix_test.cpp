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

TEST(FixedGaussians, TwoMaximaTestTheStepLast)
{
    const int16_t a[8] = {};
    const float val = 0;
    float best = 0;
    const int32_t val_32s = 0;
    int32_t best_32s = 0;
    EXPECT_EQ(zelsLogGaussMaxMultiMix_Scaled_16s32f_D2(nullptr, a, 4, a, 8, &val, &best, 1, 0), SrErrNullPtr);
    EXPECT_EQ(zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2(a, a, 4, a, 8, nullptr, &best, 1, 0), SrErrNullPtr);
    EXPECT_EQ(zelsLogGaussMaxMultiMix_Scaled_16s32f_D2(a, a, 4, a, 8, &val, &best, 0, 0), SrErrSize);
    EXPECT_EQ(zelsLogGaussMaxMultiMix_LowScaled_16s32f_D2(a, a, 4, a, 8, &val, &best, 0, 0), SrErrSize);
    EXPECT_EQ(zelsLogGaussMaxMultiMix_Scaled_16s32f_D2(a, a, 4, a, 8, &val, &best, 1, 0), SrErrStride);
    EXPECT_EQ(zelsLogGaussMaxMultiMix_16s32s_D2Sfs(nullptr, a, 4, a, 8, &val_32s, &best_32s, 0, 0), SrErrStride);
    EXPECT_EQ(zelsLogGaussMaxMultiMix_Low_16s32s_D2Sfs(nullptr, a, 4, a, 8, &val_32s, &best_32s, 0, 0),
              SrErrStride);
}

TEST(FixedGaussians, FormsWithoutAScaleFactorAreThoseWith0)
{
    for (int width : widths()) {
        const Problem p = random_problem(kMembers[0], Values::Wide, width, 5, 0);
        const Vector mean = as_block(p.rows, static_cast<std::size_t>(width)),
                     inv_var = as_block(p.row_variances, static_cast<std::size_t>(width));
        std::vector<const int16_t*> mean_list, inv_var_list;
        for (const Vector& row : p.rows) mean_list.push_back(row.data());
        for (const Vector& row : p.row_variances) inv_var_list.push_back(row.data());
        const int16_t* x = p.vector.data();
        std::vector<float> without(p.vals.begin(), p.vals.end()), list = without, with = without;
        EXPECT_EQ(
            zelsLogGaussMultiMix_Low_16s32f_D2(mean.data(), inv_var.data(), width, x, width, without.data(), 5),
            SrOk);
        EXPECT_EQ(
            zelsLogGaussMultiMix_Low_16s32f_D2L(mean_list.data(), inv_var_list.data(), x, width, list.data(), 5),
            SrOk);
        EXPECT_EQ(zelsLogGaussMultiMix_LowScaled_16s32f_D2(mean.data(), inv_var.data(), width, x, width,
                                                           with.data(), 5, 0),
                  SrOk);
        EXPECT_TRUE(same_values(with, without)) << "width " << width;
        EXPECT_TRUE(same_values(with, list)) << "width " << width;
    }
}

}  // namespace
}  // namespace zelsr::test::fixed
