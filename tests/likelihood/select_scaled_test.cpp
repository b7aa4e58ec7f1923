// Mixtures of selected components on 16-bit data: scale factors, saturation, the whole range.
#include <gtest/gtest.h>

#include <cmath>

#include "likelihood/select_members.h"

namespace zelsr::test::select {
namespace {

template <class M>
class LogGaussMixtureSelectScaled : public testing::Test {};
using ScaledMembers = testing::Types<SelectScaled_16s32f_D2, SelectScaled_16s32f_D2L, SelectIdVarScaled_16s32f_D2,
                                     SelectIdVarScaled_16s32f_D2L>;
struct ScaledMemberNames {
    template <class M>
    static std::string GetName(int i)
    {
        return MemberNames::GetName<M>(i + 4);
    }
};
TYPED_TEST_SUITE(LogGaussMixtureSelectScaled, ScaledMembers, ScaledMemberNames);

struct Shape {
    int components, height;
};
constexpr Shape kShapes[] = {{1, 1}, {4, 3}, {8, 21}, {9, 1}, {9, 2}, {20, 19}, {20, 20}, {21, 2}};

TYPED_TEST(LogGaussMixtureSelectScaled, EveryScaleFactor)
{
    int round = 0;
    for (Shape s : kShapes)
        for (int32_t sf : scale_factors()) {
            if (sf == INT32_MAX) continue;  // its successor is not a number of 32 bits
            auto p = random_problem<int16_t>(round++ % 11 + 1, s.components, s.height, 128);
            p.sf = sf;
            ASSERT_TRUE(sums<TypeParam>(p)) << s.components << " components, " << s.height << " frames, sf " << sf;
        }
}

// Differences saturate in whole groups of eight elements and not behind them, but for unit variances, where they
// saturate throughout.
TYPED_TEST(LogGaussMixtureSelectScaled, DifferencesSaturateInGroupsOfEight)
{
    for (Shape s : kShapes)
        for (int width : {1, 2, 7, 8, 9, 15, 16, 17, 24, 31, 33})
            for (int k = 0; k < width; ++k) {
                if (thin_effort() && k % 8 != 0 && k != width - 1) continue;
                auto p = random_problem<int16_t>(width, s.components, s.height, 256);
                const auto n = static_cast<std::size_t>(k);
                for (auto* rows : {&p.frames, &p.mean})
                    for (auto& row : *rows) row.assign(row.size(), 0);
                for (auto& row : p.frames) row[n] = k % 2 == 0 ? 32767 : -32768;
                for (auto& row : p.mean) row[n] = k % 2 == 0 ? -32768 : 32767;
                for (auto& row : p.inv_var) row.assign(row.size(), 1);
                p.val.assign(p.val.size(), 0);
                p.sf = 20;
                // One component has a score to tell by value.
                std::fill(p.table.begin(), p.table.end(), uint8_t{0});
                for (int i = 0; i < s.height; ++i) p.select(i, s.components - 1);
                const bool saturates = k < width / 8 * 8 || !TypeParam::kVariances;
                const std::int64_t d = !saturates ? 65535 : k % 2 == 0 ? 32767 : 32768;
                const float expected = -std::ldexp(static_cast<float>(d * d), -21);
                ASSERT_TRUE(same_values(std::vector<float>(static_cast<std::size_t>(s.height), expected),
                                        plain_call<TypeParam>(p)))
                    << s.components << " components, " << s.height << " frames, element " << k << " of " << width;
            }
}

// With unit variances a vector's sum of squares is counted in 32 bits.
TEST(LogGaussMixtureSelectScaled, SumsOfSquaresWrapWithUnitVariances)
{
    const int16_t frame[2] = {32767, 32767}, mean[2] = {-1, -1};  // saturated differences: 2 * 32767^2
    const int16_t far[2] = {-32768, -32768};
    const int16_t *frame_list[] = {frame, frame}, *mean_list[] = {mean}, *far_list[] = {far};
    const float val[] = {1};
    const uint8_t table[] = {0x80, 0x80};
    float sum[2];
    EXPECT_EQ(
        zelsLogGaussMixture_SelectIdVarScaled_16s32f_D2L(frame_list, mean_list, 2, val, table, 1, sum, 2, 0, 0),
        SrOk);
    EXPECT_EQ(sum[1], 1 - static_cast<float>(2 * 32767 * 32767) / 2);
    EXPECT_EQ(
        zelsLogGaussMixture_SelectIdVarScaled_16s32f_D2L(far_list, frame_list, 2, val, table, 1, sum, 1, 0, 0),
        SrOk);
    EXPECT_EQ(sum[0], 1 + 0x1p30F);  // 2 * 32768^2 is -2^31
}

// The whole range of all three: to the bit where one vector's order of sums holds, else within any order's.
TYPED_TEST(LogGaussMixtureSelectScaled, WholeRange)
{
    for (Shape s : kShapes)
        for (int width : {1, 7, 8, 15, 16, 31, 32, 33, 40, 100})
            for (int32_t sf : {44, 47, 20, -3}) {
                Problem<int16_t> p = random_problem<int16_t>(width, s.components, s.height, 128);
                for (auto* rows : {&p.frames, &p.mean, &p.inv_var})
                    for (auto& row : *rows) row = uniform_vector<int16_t>(width, INT16_MIN, INT16_MAX);
                p.sf = sf;
                if (!TypeParam::fast(s.components, s.height)) {
                    ASSERT_TRUE(sums<TypeParam>(p))
                        << s.components << " components, width " << width << ", sf " << sf;
                    continue;
                }
                const std::vector<float> result = plain_call<TypeParam>(p);
                for (int i = 0; i < s.height; ++i) {
                    std::vector<reference::RealScore> scores;
                    for (int j = 0; j < s.components; ++j) {
                        const auto n = static_cast<std::size_t>(j);
                        if (p.selected(i, j))
                            scores.push_back(reference::real_score(p.frames[static_cast<std::size_t>(i)].data(),
                                                                   p.mean[n].data(), p.inv_var[n].data(), width,
                                                                   p.val[n], sf));
                    }
                    if (scores.empty()) continue;
                    const reference::RealScore sum = reference::real_sum(scores);
                    if (sum.value < -4e6) continue;  // near log zero the order of additions counts
                    ASSERT_NEAR(sum.value, result[static_cast<std::size_t>(i)], sum.tolerance)
                        << s.components << " components, width " << width << ", sf " << sf;
                }
            }
}

}  // namespace
}  // namespace zelsr::test::select
