// The smooth unit curve.
#include <gtest/gtest.h>

#include "support/arrangements.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/normalize.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr::test {
namespace {

// --- single precision ---

std::vector<float> mixed(int count)
{
    std::vector<float> x = uniform_vector(count, -0.5F, 2.5F);
    static const std::vector<float> special = special_values<float>();
    for (float& v : x)
        if (generator()() % 5 == 0) v = special[generator()() % special.size()];
    return x;
}

testing::AssertionResult curves(const std::vector<float>& x, Placement source = {}, Placement result = {})
{
    std::vector<float> expected;
    for (float v : x) expected.push_back(reference::unit_curve(v));
    return maps(x, expected, zelsUnitCurve_32f, source, result);
}
testing::AssertionResult curves_in_place(const std::vector<float>& x, Placement place = {})
{
    std::vector<float> expected;
    for (float v : x) expected.push_back(reference::unit_curve_in_place(v));
    return maps_onto_itself(
        x, expected, [](float* array, float*, int32_t len) { return zelsUnitCurve_32f_I(array, len); }, place);
}

TEST(UnitCurve_32f, EveryLengthAndPlacement)
{
    at_every_place<2>(lengths(16), {4, 4},
                      [](int length, const auto& places) { return curves(mixed(length), places[0], places[1]); });
    at_every_place<1>(lengths(16), {4},
                      [](int length, const auto& places) { return curves_in_place(mixed(length), places[0]); });
}

TEST(UnitCurve_32f, AtTheJointsAndEverywhere)
{
    std::vector<float> x = special_values<float>();
    for (float joint : {0.0F, 1.0F, 2.0F}) {
        float below = joint, above = joint;
        for (int i = 0; i < 5; ++i) {
            x.push_back(below);
            x.push_back(above);
            below = std::nextafter(below, -9.0F);
            above = std::nextafter(above, 9.0F);
        }
    }
    for (int i = 0; i <= 3000; ++i) x.push_back(static_cast<float>(i) * 0.0007123F);
    for (int misalign : {0, 4, 3}) {
        EXPECT_TRUE(curves(x, {misalign}));
        EXPECT_TRUE(curves(x, {}, {misalign}));
        EXPECT_TRUE(curves_in_place(x, {misalign}));
    }
}

// The third piece is written in two ways, which round differently: wanted.
TEST(UnitCurve_32f, ByHand)
{
    std::vector<float> x = {0.5F, 1.5F, 3.0F, -1.0F, NAN, 1.0F, 2.0F}, y(7);
    EXPECT_EQ(zelsUnitCurve_32f(x.data(), y.data(), 7), SrOk);
    EXPECT_EQ(y, (std::vector<float>{0.25F, 1.75F, 2.0F, 0.0F, 0.0F, 1.0F, 2.0F}));
    EXPECT_EQ(zelsUnitCurve_32f_I(x.data(), 7), SrOk);
    EXPECT_EQ(x, y);
    int differ = 0;
    for (int i = 0; i < 100; ++i) {
        const float v = uniform(1.0F, 2.0F);
        float in_place = v, other;
        zelsUnitCurve_32f(&v, &other, 1);
        zelsUnitCurve_32f_I(&in_place, 1);
        differ += other != in_place;
    }
    EXPECT_GT(differ, 5);
}

// --- 16 bits ---

testing::AssertionResult curves_16s(const std::vector<int16_t>& x, int q, int32_t sf, Placement source = {},
                                    Placement result = {})
{
    std::vector<int16_t> expected;
    for (int16_t v : x) expected.push_back(q < 0 || q >= 15 ? int16_t{0} : reference::unit_curve_16s(v, q, sf));
    if (auto right = maps(
            x, expected,
            [=](const int16_t* src, int16_t* dst, int32_t len) {
                return zelsUnitCurve_16s_Sfs(src, q, dst, len, sf);
            },
            source, result);
        !right)
        return right << " q " << q << ", sf " << sf;
    if (auto right = maps_onto_itself(
            x, expected,
            [=](int16_t* array, int16_t*, int32_t len) { return zelsUnitCurve_16s_ISfs(array, q, len, sf); },
            source);
        !right)
        return right << " in place, q " << q << ", sf " << sf;
    return testing::AssertionSuccess();
}

TEST(UnitCurve_16s, EveryLengthAndPlacement)
{
    Cycle qs(std::vector<int>{0, 7, 14, 12, 3, 15, -1}), sfs(std::vector<int32_t>{0, -2, -15, 3});
    at_every_place<2>(lengths(16), {2, 2}, [&](int length, const auto& places) {
        return curves_16s(uniform_vector<int16_t>(length, -100, 32767), qs.next(), sfs.next(), places[0],
                          places[1]);
    });
}

// Every q with every scale factor, at every joint of the pieces.
TEST(UnitCurve_16s, EveryQAndScaleFactor)
{
    std::vector<int32_t> sfs = {INT32_MIN,      INT32_MIN + 27, INT32_MIN + 28,
                                INT32_MIN + 29, INT32_MAX,      INT32_MAX - 28};
    for (int32_t sf = -64; sf <= 36; ++sf) sfs.push_back(sf);
    for (int q = -2; q <= 17; ++q) {
        std::vector<int16_t> x = special_values<int16_t>();
        for (int joint : {0, 1 << std::clamp(q, 0, 16), 2 << std::clamp(q, 0, 16), 3 << std::clamp(q, 0, 16)})
            for (int near = -2; near <= 2; ++near)
                x.push_back(static_cast<int16_t>(std::clamp(joint + near, -32768, 32767)));
        for (int i = 0; i < 10; ++i) x.push_back(uniform<int16_t>(0, 32767));
        for (int32_t sf : sfs) ASSERT_TRUE(curves_16s(x, q, sf));
    }
    for (int q : {INT32_MIN, INT32_MAX, 31, 32, -16}) ASSERT_TRUE(curves_16s({1, 2, 3, -4, 5}, q, 0));
}

TEST(UnitCurve_16s, ByHand)
{
    // x in Q8: 0.5, 1.5, 3 and -1; the curve in Q16, then in Q8.
    std::vector<int16_t> x = {128, 384, 768, -256}, y(4);
    EXPECT_EQ(zelsUnitCurve_16s_Sfs(x.data(), 8, y.data(), 4, -8), SrOk);
    EXPECT_EQ(y, (std::vector<int16_t>{64, 448, 512, 0}));
    EXPECT_EQ(zelsUnitCurve_16s_Sfs(x.data(), 8, y.data(), 4, 0), SrOk);
    EXPECT_EQ(y, (std::vector<int16_t>{0, 1, 2, 0}));  // truncated
    EXPECT_EQ(zelsUnitCurve_16s_Sfs(x.data(), 8, y.data(), 4, -16), SrOk);
    EXPECT_EQ(y, (std::vector<int16_t>{16384, 32767, 32767, 0}));
    EXPECT_EQ(zelsUnitCurve_16s_ISfs(x.data(), 15, 4, 0), SrOk);
    EXPECT_EQ(x, (std::vector<int16_t>{0, 0, 0, 0}));
}

// --- all ---

TEST(UnitCurve, PointersThenLengthAreChecked)
{
    struct A {
        const float* src;
        float* dst;
        const int16_t* src16;
        int16_t* dst16;
        int32_t len;
        int q;
    };
    const std::vector<float> src(9, 4.0F);
    const std::vector<int16_t> src16(9, 4);
    Guarded<float> dst(9);
    Guarded<int16_t> dst16(9);
    const std::vector<std::function<SrStatus(const A&)>> two = {
        [](const A& a) { return zelsUnitCurve_32f(a.src, a.dst, a.len); },
        [](const A& a) { return zelsUnitCurve_16s_Sfs(a.src16, a.q, a.dst16, a.len, 0); }};
    const std::vector<std::function<SrStatus(const A&)>> one = {
        [](const A& a) { return zelsUnitCurve_32f_I(a.dst, a.len); },
        [](const A& a) { return zelsUnitCurve_16s_ISfs(a.dst16, a.q, a.len, 0); }};
    for (int q : {3, -1, 15})  // an unfit q makes zeros, but only behind the checks
        for (int32_t length : {0, -1, INT32_MIN}) {
            const A good{src.data(), dst.data(), src16.data(), dst16.data(), 9, q};
            const Fault<A> source = {"source", SrErrNullPtr, [](A& a) {
                                         a.src = nullptr;
                                         a.src16 = nullptr;
                                     }};
            const Fault<A> result = {"result", SrErrNullPtr, [](A& a) {
                                         a.dst = nullptr;
                                         a.dst16 = nullptr;
                                     }};
            const Fault<A> size = {"length", SrErrSize, [=](A& a) { a.len = length; }};
            for (const auto& call : two) expect_check_order<A>(good, {source, result, size}, call, {&dst, &dst16});
            for (const auto& call : one) expect_check_order<A>(good, {result, size}, call, {&dst, &dst16});
        }
    expect_reads_nothing_below_length_one<float>(
        [&](const float* nothing, int32_t len) { return zelsUnitCurve_32f(nothing, dst.data(), len); });
    expect_reads_nothing_below_length_one<int16_t>(
        [&](int16_t* nothing, int32_t len) { return zelsUnitCurve_16s_ISfs(nothing, 3, len, 0); });
}

TEST(UnitCurve, AllocatesNothingAndKeepsTheEnvironment)
{
    const std::vector<float> src = {0.5F, 1.5F, 3.0F, -1.0F, 0.25F, 1.25F, 0.0F};  // exact in every mode
    const std::vector<int16_t> src16 = uniform_vector<int16_t>(19, -100, 1100);
    std::vector<float> dst(7);
    std::vector<int16_t> dst16(19), expected16;
    for (int16_t v : src16) expected16.push_back(reference::unit_curve_16s(v, 9, -9));
    AllocatorWatch watch;
    under_each_environment(
        [&] {
            zelsUnitCurve_32f(src.data(), dst.data(), 7);
            zelsUnitCurve_16s_Sfs(src16.data(), 9, dst16.data(), 19, -9);
        },
        [&](const std::string& setting) {
            EXPECT_EQ(dst, (std::vector<float>{0.25F, 1.75F, 2.0F, 0.0F, 0.0625F, 1.4375F, 0.0F})) << setting;
            EXPECT_TRUE(same_values(expected16, dst16)) << setting;
        });
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __i386__
TEST(UnitCurve, RunsOnAnyStack)
{
    for (int stack : {0, 4, 8, 12}) {
        std::vector<float> x(11, 1.5F), y(11);
        EXPECT_EQ(call_misaligned(zelsUnitCurve_32f, stack, static_cast<const float*>(x.data()), y.data(), 11),
                  SrOk);
        EXPECT_EQ(call_misaligned(zelsUnitCurve_32f_I, stack, x.data(), 11), SrOk);
        EXPECT_EQ(y, std::vector<float>(11, 1.75F));
        EXPECT_EQ(x, y);
        std::vector<int16_t> z(19, 384);
        EXPECT_EQ(call_misaligned(zelsUnitCurve_16s_ISfs, stack, z.data(), 8, 19, -8), SrOk);
        EXPECT_EQ(z, std::vector<int16_t>(19, 448));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
