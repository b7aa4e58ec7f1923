// Variances from second moments: which elements round how.
#include <gtest/gtest.h>

#include <limits>

#include "estimation/vector_suite.h"
#include "support/operation.h"
#include "support/reference/interpolation.h"
#include "zelsr/estimation/interpolation.h"

namespace zelsr::test::estimation {
namespace {

// ---- The table --------------------------------------------------------------------------------------------

std::vector<Scalars> factors()
{
    return {{0.1, 0.7, 0, 0}, {1, 1, 0, 0},       {3, -1, 0, 0},      {1.0 / 3, 1.0 / 7, 0, 0},
            {0, 1e10, 0, 0},  {1e-8, 1e-5, 0, 0}, {-2.5, 0.001, 0, 0}};
}

std::vector<Tested> members()
{
    std::vector<Tested> all;
    auto m = member<float>("zelsNewVar_32f", "iio", zelsNewVar_32f, reference::new_var_32f, factors());
    m.overlap = Overlap::InOrder;
    append(all, m);
    m = member<float>("zelsNewVar_32f_I", "ib", zelsNewVar_32f_I, reference::new_var_32f_in_place, factors());
    m.overlap = Overlap::InOrder;
    append(all, m);
    return all;
}
INSTANTIATE_TEST_SUITE_P(NewVar, OnVectors, testing::ValuesIn(members()), tested_name);

SrStatus new_var_32s_reference(const Arguments& a)
{
    return call_with(a.sources_on_16_bytes ? reference::new_var_32s_rounded : reference::new_var_32s_truncated, a);
}
SrStatus new_var_32s_in_place_reference(Arguments a)
{
    a.pointer[2] = a.pointer[1];
    return new_var_32s_reference(a);
}

std::vector<Tested> scaled_members()
{
    std::vector<Tested> all;
    const std::vector<int32_t> some = {0,  1,   -1,  3,   9,   17,  31,   40,   63,
                                       -9, -20, 127, 128, 149, 150, -128, -140, 200};
    Member<int32_t> m = member<int32_t>("zelsNewVar_32s_Sfs", "iio", zelsNewVar_32s_Sfs,
                                        reference::new_var_32s_rounded, factors());
    m.reference = new_var_32s_reference;
    m.rounding = Rounding::Own;
    m.scale_factors = some;
    append(all, m);
    m.name = "zelsNewVar_32s_ISfs";
    m.roles = "ib";
    m.call = [](const Arguments& a) { return call_with(zelsNewVar_32s_ISfs, a); };
    m.reference = new_var_32s_in_place_reference;
    append(all, m);
    return all;
}
INSTANTIATE_TEST_SUITE_P(Scaled, OnVectors, testing::ValuesIn(scaled_members()), tested_name);

// ---- Variances by value
// -----------------------------------------------------------------------------------------

TEST(NewVar, ByValue)
{
    const std::vector<float> mean = {1, 2, 3, 4, 5}, square = {3, 9, 20, 33, 51};
    std::vector<float> dst(5), in_place = square;
    EXPECT_EQ(zelsNewVar_32f(mean.data(), square.data(), dst.data(), 5, 2, 0.5F), SrOk);
    EXPECT_EQ(dst, (std::vector<float>{0.5F, 0.5F, 1, 0.5F, 0.5F}));
    EXPECT_EQ(zelsNewVar_32f_I(mean.data(), in_place.data(), 5, 2, 0.5F), SrOk);
    EXPECT_EQ(in_place, dst);
}

// Which of the two a call takes shows in its results: it must not be mended.
TEST(NewVar, IntegersRoundWhereBothSourcesAreAlignedAndTruncateElsewhere)
{
    const std::vector<int32_t> mean(6, 0), square = {3, 5, 7, -3, -5, -7};
    const std::vector<int32_t> rounded = {2, 2, 4, -2, -2, -4}, truncated = {1, 2, 3, -1, -2, -3};
    for (int mean_off : {0, 4, 8, 1})
        for (int square_off : {0, 4, 8, 1})
            for (int dst_off : {0, 4, 1}) {
                const Guarded<int32_t> m(mean, {mean_off}), q(square, {square_off});
                Guarded<int32_t> dst(6, {dst_off}), in_place(square, {square_off});
                const auto& expected = mean_off == 0 && square_off == 0 ? rounded : truncated;
                EXPECT_EQ(zelsNewVar_32s_Sfs(m.data(), q.data(), dst.data(), 6, 1, 1, 1), SrOk);
                EXPECT_EQ(dst.values(), expected) << mean_off << " " << square_off << " " << dst_off;
                EXPECT_EQ(zelsNewVar_32s_ISfs(m.data(), in_place.data(), 6, 1, 1, 1), SrOk);
                EXPECT_EQ(in_place.values(), expected) << mean_off << " " << square_off;
            }
}

TEST(NewVar, IntegersSaturate)
{
    const std::vector<int32_t> mean(5, 0), square = {INT32_MAX, INT32_MIN, 1 << 30, -(1 << 30), 1};
    const std::vector<int32_t> expected = {INT32_MAX, INT32_MIN, INT32_MAX, INT32_MIN, 4};
    for (int misalign : {0, 4}) {
        const Guarded<int32_t> m(mean, {misalign}), q(square, {misalign});
        Guarded<int32_t> dst(5);
        for (int32_t sf : {0, -1, 1}) {
            const float b = sf == 0 ? 4 : sf < 0 ? 2 : 8;
            EXPECT_EQ(zelsNewVar_32s_Sfs(m.data(), q.data(), dst.data(), 5, 1, b, sf), SrOk);
            EXPECT_EQ(dst.values(), expected) << misalign << " " << sf;
        }
    }
}

// Zero times an infinite scale is a NaN with its sign set.
TEST(NewVar, IntegersOfNoValueGoByTheSign)
{
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<int32_t> mean(9, 3), square(9, 9);
    for (int misalign : {0, 4}) {
        const Guarded<int32_t> m(mean, {misalign}), q(square, {misalign});
        Guarded<int32_t> dst(9);
        EXPECT_EQ(zelsNewVar_32s_Sfs(m.data(), q.data(), dst.data(), 9, 1, 1, -200), SrOk);
        EXPECT_EQ(dst.values(), std::vector<int32_t>(9, INT32_MIN)) << misalign;
        EXPECT_EQ(zelsNewVar_32s_Sfs(m.data(), q.data(), dst.data(), 9, nan, 1, 0), SrOk);
        EXPECT_EQ(dst.values(), std::vector<int32_t>(9, INT32_MAX)) << misalign;
        EXPECT_EQ(zelsNewVar_32s_Sfs(m.data(), q.data(), dst.data(), 9, -nan, 1, 0), SrOk);
        EXPECT_EQ(dst.values(), std::vector<int32_t>(9, INT32_MIN)) << misalign;
    }
}

TEST(NewVar, EveryScaleFactor)
{
    const std::vector<int32_t> mean = {0, 1, -40000, 1 << 20, 3}, square = {1, -1, INT32_MAX, INT32_MIN, 12345};
    for (int32_t sf : scale_factors())
        for (int misalign : {0, 4}) {
            const Guarded<int32_t> m(mean, {misalign}), q(square, {misalign});
            Guarded<int32_t> dst(5, {misalign});
            std::vector<int32_t> expected(5);
            (misalign == 0 ? reference::new_var_32s_rounded : reference::new_var_32s_truncated)(
                mean.data(), square.data(), expected.data(), 5, 0.5F, 1.75F, sf);
            EXPECT_EQ(zelsNewVar_32s_Sfs(m.data(), q.data(), dst.data(), 5, 0.5F, 1.75F, sf), SrOk);
            EXPECT_EQ(dst.values(), expected) << misalign << " " << sf;
        }
}

}  // namespace
}  // namespace zelsr::test::estimation
