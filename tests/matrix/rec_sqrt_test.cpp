// Reciprocal square roots under a floor.
#include <gtest/gtest.h>

#include "support/arrangements.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/normalize.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr::test {
namespace {

// Every element took the floor.
template <class T, class Takes>
SrStatus expected_status(const std::vector<T>& x, Takes takes_floor)
{
    return std::all_of(x.begin(), x.end(), takes_floor) ? SrWarnInvZero : SrOk;
}

// --- 32f ---

testing::AssertionResult roots_32f(const std::vector<float>& x, float floor, Placement place = {})
{
    std::vector<float> expected;
    for (float v : x) expected.push_back(floor < v ? reference::reciprocal_root(v) : floor);
    return maps_onto_itself(
        x, expected, [=](float* array, float*, int32_t len) { return zelsRecSqrt_32f(array, len, floor); }, place,
        expected_status(x, [=](float v) { return !(floor < v); }));
}

TEST(RecSqrt_32f, EveryLengthAndPlacement)
{
    at_every_place<1>(lengths(16), {4}, [](int length, const auto& places) {
        return roots_32f(uniform_vector(length, -1.0F, 9.0F), 0.75F, places[0]);
    });
    for (int length : {255, 1000}) EXPECT_TRUE(roots_32f(uniform_vector(length, -1.0F, 9.0F), 0.75F));
}

TEST(RecSqrt_32f, SpecialValues)
{
    std::vector<float> x = special_values<float>();
    for (float v : {1e-30F, 1e30F, 0x1p-125F, 3.0F, std::nextafter(1.0F, 2.0F), std::nextafter(1.0F, 0.0F)})
        x.push_back(v);
    for (float floor : {1.0F, 1e-38F, 1e-45F, 0x1p127F, std::numeric_limits<float>::infinity(), 2.5F})
        for (int misalign : {0, 4, 3}) {
            EXPECT_TRUE(roots_32f(x, floor, {misalign})) << floor;
            for (float v : x) EXPECT_TRUE(roots_32f({v}, floor, {misalign})) << floor << ", of " << v;
        }
}

TEST(RecSqrt_32f, IsWithinTwoToTheMinus21)
{
    for (int exponent = -120; exponent <= 120; exponent += thin_effort() ? 31 : 3) {
        std::vector<float> x = uniform_vector(203, std::ldexp(1.0F, exponent), std::ldexp(1.0F, exponent + 2));
        const std::vector<float> before = x;
        EXPECT_EQ(zelsRecSqrt_32f(x.data(), 203, 1e-38F), SrOk);
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double exact = 1.0 / std::sqrt(static_cast<double>(before[i]));
            EXPECT_NEAR(x[i] / exact, 1.0, 0x1p-21) << before[i];
        }
    }
}

TEST(RecSqrt_32f, AllAtTheFloorWarnsAndIsComplete)
{
    for (int length : {1, 3, 4, 5, 17}) {
        std::vector<float> ones(static_cast<std::size_t>(length), 1.0F);
        EXPECT_EQ(zelsRecSqrt_32f(ones.data(), length, 1.0F), SrWarnInvZero);
        EXPECT_EQ(ones, std::vector<float>(static_cast<std::size_t>(length), 1.0F));
        std::vector<float> nans(static_cast<std::size_t>(length), NAN);
        EXPECT_EQ(zelsRecSqrt_32f(nans.data(), length, 0.5F), SrWarnInvZero);
        EXPECT_EQ(nans, std::vector<float>(static_cast<std::size_t>(length), 0.5F));
        for (int position = 0; position < length; ++position) {
            std::vector<float> one_above(static_cast<std::size_t>(length), -3.0F);
            one_above[static_cast<std::size_t>(position)] = 4.0F;
            EXPECT_EQ(zelsRecSqrt_32f(one_above.data(), length, 1.0F), SrOk) << position << " of " << length;
        }
    }
}

TEST(RecSqrt_32f, PointerThenLengthThenFloorAreChecked)
{
    struct A {
        float* x;
        int32_t len;
        float floor;
    };
    Guarded<float> x(std::vector<float>(9, 4.0F));
    for (int32_t length : {0, -1, INT32_MIN})
        for (float floor : {0.0F, -0.0F, -1.0F, -HUGE_VALF, NAN})
            expect_check_order<A>({x.data(), 9, 1.0F},
                                  {{"null", SrErrNullPtr, [](A& a) { a.x = nullptr; }},
                                   {"length", SrErrSize, [=](A& a) { a.len = length; }},
                                   {"floor", SrErrBadArg, [=](A& a) { a.floor = floor; }}},
                                  [](const A& a) { return zelsRecSqrt_32f(a.x, a.len, a.floor); }, {&x});
    expect_reads_nothing_below_length_one<float>(
        [](float* nothing, int32_t len) { return zelsRecSqrt_32f(nothing, len, 1.0F); });
}

// --- 32s ---

// On 16 bytes one arithmetic, off them another: wanted.
testing::AssertionResult roots_32s(const std::vector<int32_t>& x, int32_t floor, int32_t sf, Placement place = {},
                                   int stack = 0)
{
    const bool aligned = place.misalign == 0;
    std::vector<int32_t> expected;
    for (int32_t v : x)
        expected.push_back(aligned ? reference::aligned_rec_sqrt_32s(v, floor, sf)
                                   : reference::plain_rec_sqrt_32s(v, floor, sf));
    const SrStatus status = expected_status(
        x, [=](int32_t v) { return aligned ? !(static_cast<float>(floor) < static_cast<float>(v)) : v < floor; });
    static_cast<void>(stack);
    return maps_onto_itself(
        x, expected,
        [=](int32_t* array, int32_t*, int32_t len) {
#ifdef __i386__
            return call_misaligned(zelsRecSqrt_32s_Sfs, stack, array, len, floor, sf);
#else
            return zelsRecSqrt_32s_Sfs(array, len, floor, sf);
#endif
        },
        place, status);
}

testing::AssertionResult roots_32s16s(const std::vector<int32_t>& x, int32_t floor, int32_t sf,
                                      Placement source = {}, Placement result = {})
{
    std::vector<int16_t> expected;
    for (int32_t v : x) expected.push_back(reference::rec_sqrt_32s16s(v, floor, sf));
    return maps(
        x, expected,
        [=](const int32_t* src, int16_t* dst, int32_t len) {
            return zelsRecSqrt_32s16s_Sfs(src, dst, len, floor, sf);
        },
        source, result, expected_status(x, [=](int32_t v) { return v < floor; }));
}

std::vector<int32_t> integers(int count)
{
    std::vector<int32_t> x = uniform_vector<int32_t>(count, -5, 100);
    for (int32_t& v : x)
        if (generator()() % 3 == 0) v = uniform<int32_t>(INT32_MIN, INT32_MAX);
    return x;
}

TEST(RecSqrt_32s_Sfs, EveryLengthAndPlacement)
{
    Cycle sfs(std::vector<int32_t>{-10, 0, -15, -31, 2});
    at_every_place<1>(lengths(16), {4}, [&](int length, const auto& places) {
        return roots_32s(integers(length), 9, sfs.next(), places[0]);
    });
}

TEST(RecSqrt_32s_Sfs, EveryScaleFactor)
{
    for (int32_t sf : scale_factors())
        for (int32_t floor : {1, 9, 1 << 20, INT32_MAX})
            for (int misalign : {0, 4}) ASSERT_TRUE(roots_32s(integers(11), floor, sf, {misalign})) << sf;
}

// A floor and an element that only 32 bits tell apart are the same in single precision, which the aligned path
// compares in.
TEST(RecSqrt_32s_Sfs, NeighboursOfTheFloor)
{
    for (int32_t floor : {1, 2, 1000, 16777215, 16777216, 16777217, 16777219, INT32_MAX - 64, INT32_MAX})
        for (int misalign : {0, 4, 1})
            for (int32_t away = -3; away <= 3; ++away) {
                if (int64_t{floor} + away > INT32_MAX) continue;
                EXPECT_TRUE(roots_32s({floor + away}, floor, -20, {misalign})) << floor << " + " << away;
                EXPECT_TRUE(roots_32s({floor + away, 5, floor - 2}, floor, -20, {misalign}));
            }
}

TEST(RecSqrt_32s_Sfs, OnlyTheAlignedPathSaturates)
{
    for (int misalign : {0, 4, 2}) {
        Guarded<int32_t> x(std::vector<int32_t>{1, 0, -7, 1, 1}, {misalign});
        EXPECT_EQ(zelsRecSqrt_32s_Sfs(x.data(), 5, 2, -31), SrWarnInvZero);
        EXPECT_EQ(x.values(), std::vector<int32_t>(5, misalign == 0 ? INT32_MAX : INT32_MIN));
    }
}

TEST(RecSqrt_32s_Sfs, AnElementEqualToTheFloor)
{
    for (int misalign : {0, 4}) {
        Guarded<int32_t> x(std::vector<int32_t>{4, 3}, {misalign});
        EXPECT_EQ(zelsRecSqrt_32s_Sfs(x.data(), 2, 4, -4), misalign == 0 ? SrWarnInvZero : SrOk);
        EXPECT_EQ(x.get(1), 64);
        if (misalign == 0)
            EXPECT_EQ(x.get(0), 64) << "the floor";
        else
            EXPECT_TRUE(x.get(0) == 7 || x.get(0) == 8) << "the root, truncated: " << x.get(0);
    }
}

TEST(RecSqrt_32s_Sfs, PointerThenLengthThenFloorAreChecked)
{
    struct A {
        int32_t* x;
        int32_t len, floor;
    };
    for (int misalign : {0, 4}) {
        Guarded<int32_t> x(std::vector<int32_t>(9, 4), {misalign});
        for (int32_t bad : {0, -1, INT32_MIN})
            expect_check_order<A>({x.data(), 9, 1},
                                  {{"null", SrErrNullPtr, [](A& a) { a.x = nullptr; }},
                                   {"length", SrErrSize, [=](A& a) { a.len = bad; }},
                                   {"floor", SrErrBadArg, [=](A& a) { a.floor = bad; }}},
                                  [](const A& a) { return zelsRecSqrt_32s_Sfs(a.x, a.len, a.floor, 1); }, {&x});
    }
    expect_reads_nothing_below_length_one<int32_t>(
        [](int32_t* nothing, int32_t len) { return zelsRecSqrt_32s_Sfs(nothing, len, 1, 0); });
}

// --- 32s16s ---

TEST(RecSqrt_32s16s_Sfs, EveryLengthAndPlacement)
{
    Cycle sfs(std::vector<int32_t>{-10, 0, -15, -31, 2});
    at_every_place<2>(lengths(16), {4, 2}, [&](int length, const auto& places) {
        return roots_32s16s(integers(length), 9, sfs.next(), places[0], places[1]);
    });
}

TEST(RecSqrt_32s16s_Sfs, EveryScaleFactorAndFloor)
{
    for (int32_t sf : scale_factors())
        for (int32_t floor : {1, 9, 16777217, INT32_MAX}) ASSERT_TRUE(roots_32s16s(integers(11), floor, sf)) << sf;
    for (int32_t floor : {1, 2, 16777216, 16777217, INT32_MAX})
        EXPECT_TRUE(roots_32s16s({floor, floor - 1, floor - 2}, floor, -10)) << floor;
}

TEST(RecSqrt_32s16s_Sfs, SaturatesAndWarns)
{
    const std::vector<int32_t> x = {1, 1, 0, -5};
    Guarded<int16_t> y(4);
    EXPECT_EQ(zelsRecSqrt_32s16s_Sfs(x.data(), y.data(), 4, 2, -14), SrWarnInvZero);
    EXPECT_EQ(y.values(), std::vector<int16_t>(4, 32767));
    EXPECT_EQ(zelsRecSqrt_32s16s_Sfs(x.data(), y.data(), 4, 2, -13), SrWarnInvZero);
    EXPECT_EQ(y.values(), std::vector<int16_t>(4, 16384));
    EXPECT_EQ(zelsRecSqrt_32s16s_Sfs(x.data(), y.data(), 4, 1, -20), SrOk);
    EXPECT_EQ(y.get(0), 32767);
}

TEST(RecSqrt_32s16s_Sfs, PointersThenLengthThenFloorAreChecked)
{
    struct A {
        const int32_t* x;
        int16_t* y;
        int32_t len, floor;
    };
    Guarded<int32_t> x(std::vector<int32_t>(9, 4));
    Guarded<int16_t> y(9);
    for (int32_t bad : {0, -1, INT32_MIN})
        expect_check_order<A>({x.data(), y.data(), 9, 1},
                              {{"null source", SrErrNullPtr, [](A& a) { a.x = nullptr; }},
                               {"null result", SrErrNullPtr, [](A& a) { a.y = nullptr; }},
                               {"length", SrErrSize, [=](A& a) { a.len = bad; }},
                               {"floor", SrErrBadArg, [=](A& a) { a.floor = bad; }}},
                              [](const A& a) { return zelsRecSqrt_32s16s_Sfs(a.x, a.y, a.len, a.floor, 1); },
                              {&x, &y});
    expect_reads_nothing_below_length_one<int32_t>(
        [&](const int32_t* nothing, int32_t len) { return zelsRecSqrt_32s16s_Sfs(nothing, y.data(), len, 1, 0); });
}

// --- all ---

TEST(RecSqrt, AllocatesNothingAndIntegersAreTheSameInEachEnvironment)
{
    const std::vector<int32_t> x = integers(37);
    Guarded<int32_t> aligned(x), plain(x, {4});
    Guarded<int16_t> narrow(37);
    std::vector<int32_t> expected_aligned, expected_plain;
    std::vector<int16_t> expected_narrow;
    for (int32_t v : x) {
        expected_aligned.push_back(reference::aligned_rec_sqrt_32s(v, 7, -11));
        expected_plain.push_back(reference::plain_rec_sqrt_32s(v, 7, -11));
        expected_narrow.push_back(reference::rec_sqrt_32s16s(v, 7, -11));
    }
    AllocatorWatch watch;
    under_each_environment(
        [&] {
            zelsRecSqrt_32s_Sfs(aligned.data(), 37, 7, -11);
            zelsRecSqrt_32s_Sfs(plain.data(), 37, 7, -11);
            zelsRecSqrt_32s16s_Sfs(x.data(), narrow.data(), 37, 7, -11);
        },
        [&](const std::string& setting) {
            EXPECT_TRUE(same_values(expected_aligned, aligned.values())) << setting;
            EXPECT_TRUE(same_values(expected_plain, plain.values())) << setting;
            EXPECT_TRUE(same_values(expected_narrow, narrow.values())) << setting;
            aligned.fill(x);
            plain.fill(x);
        });
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __i386__
TEST(RecSqrt, RunsOnAnyStack)
{
    for (int stack : {0, 4, 8, 12})
        for (int misalign : {0, 4}) {
            EXPECT_TRUE(roots_32s(integers(23), 9, -12, {misalign}, stack)) << stack;
            Guarded<float> x(std::vector<float>(11, 4.0F), {misalign});
            EXPECT_EQ(call_misaligned(zelsRecSqrt_32f, stack, x.data(), 11, 1.0F), SrOk);
            EXPECT_EQ(x.get(10), reference::reciprocal_root(4.0F));
            const std::vector<int32_t> y(11, 9);
            std::vector<int16_t> z(11);
            EXPECT_EQ(call_misaligned(zelsRecSqrt_32s16s_Sfs, stack, y.data(), z.data(), 11, 1, -10), SrOk);
            EXPECT_EQ(z[10], reference::rec_sqrt_32s16s(9, 1, -10));
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
