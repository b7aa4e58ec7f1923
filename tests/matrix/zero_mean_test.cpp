// Removal of a frame's mean.
#include <gtest/gtest.h>

#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/normalize.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr::test {
namespace {

testing::AssertionResult removes_mean(const std::vector<int16_t>& x, Placement place = {})
{
    return maps_onto_itself(
        x, reference::zero_mean(x),
        [](int16_t* array, int16_t*, int32_t len) { return zelsZeroMean_16s(array, len); }, place);
}

// Across 49, from which on the division is one of doubles.
TEST(ZeroMean_16s, EveryLengthAndPlacement)
{
    std::vector<int> all = lengths(16);
    for (int length : {46, 47, 48, 49, 50, 51, 55, 56, 57, 63, 64, 65, 100, 257}) all.push_back(length);
    at_every_place<1>(all, {2}, [](int length, const auto& places) {
        const auto low = uniform<int16_t>(-32768, 0);
        return removes_mean(uniform_vector<int16_t>(length, low, static_cast<int16_t>(low + 32767)), places[0]);
    });
}

// Every quotient 2 * sum / length near a whole number, on both sides of zero and in both kinds of division.
TEST(ZeroMean_16s, TheMeanIsTruncatedTowardZero)
{
    for (int length : {1, 2, 3, 7, 16, 47, 48, 49, 50, 64, 99})
        for (int sum = -2 * length; sum <= 2 * length; ++sum)
            for (int base : {0, 1000, -1000}) {
                std::vector<int16_t> x(static_cast<std::size_t>(length), static_cast<int16_t>(base));
                x[static_cast<std::size_t>(length / 2)] = static_cast<int16_t>(base + sum);
                ASSERT_TRUE(removes_mean(x)) << "sum " << sum << ", base " << base;
            }
}

TEST(ZeroMean_16s, Extremes)
{
    for (int length : {1, 2, 3, 8, 9, 31, 47, 48, 49, 50, 64, 1000, 100003})
        for (int kind = 0; kind < 6; ++kind) {
            std::vector<int16_t> x(static_cast<std::size_t>(length));
            for (std::size_t i = 0; i < x.size(); ++i) {
                const bool first = kind % 3 == 0 || (kind % 3 == 1 ? i % 2 == 0 : i == 0);
                x[i] = (kind < 3) == first ? int16_t{32767} : int16_t{-32768};
            }
            ASSERT_TRUE(removes_mean(x)) << length << ", kind " << kind;
        }
}

// The lower limit is -32767, and an even d below zero comes out one lower than d / 2: wanted.
TEST(ZeroMean_16s, ByHand)
{
    const auto of = [](std::vector<int16_t> x) {
        EXPECT_EQ(zelsZeroMean_16s(x.data(), static_cast<int32_t>(x.size())), SrOk);
        return x;
    };
    using V = std::vector<int16_t>;
    EXPECT_EQ(of({-2, 2}), (V{-3, 2}));
    EXPECT_EQ(of({-1, 1}), (V{-2, 1}));
    EXPECT_EQ(of({0, 1}), (V{-1, 1}));       // t 1, d -1 and 1
    EXPECT_EQ(of({0, -1}), (V{1, -1}));      // t -1
    EXPECT_EQ(of({0, 0, 1}), (V{0, 0, 1}));  // t 0, d 0, 0, 2: 3 >> 1
    EXPECT_EQ(of({5}), (V{0}));
    EXPECT_EQ(of({-32768}), (V{0}));
    EXPECT_EQ(of({32767, -32768, -32768, -32768}), (V{32767, -16385, -16385, -16385}));
    EXPECT_EQ(of({-32768, 32767, 32767, 32767}), (V{-32767, 16384, 16384, 16384}));
    EXPECT_EQ(of(V(100, 7)), V(100, 0));
    EXPECT_EQ(of(V(100, -7)), V(100, 0));
}

TEST(ZeroMean_16s, LengthThenPointerAreChecked)
{
    struct A {
        int16_t* x;
        int32_t len;
    };
    Guarded<int16_t> x(std::vector<int16_t>(9, 4));
    for (int32_t length : {0, -1, INT32_MIN})
        expect_check_order<A>({x.data(), 9},
                              {{"length", SrErrSize, [=](A& a) { a.len = length; }},
                               {"null", SrErrNullPtr, [](A& a) { a.x = nullptr; }}},
                              [](const A& a) { return zelsZeroMean_16s(a.x, a.len); }, {&x});
    expect_reads_nothing_below_length_one<int16_t>(
        [](int16_t* nothing, int32_t len) { return zelsZeroMean_16s(nothing, len); });
}

TEST(ZeroMean_16s, AllocatesNothingAndIsTheSameInEachEnvironment)
{
    AllocatorWatch watch;
    for (int length : {31, 83}) {
        const std::vector<int16_t> x = uniform_vector<int16_t>(length, -3000, 30000);
        std::vector<int16_t> y = x;
        const std::vector<int16_t> expected = reference::zero_mean(x);
        under_each_environment([&] { zelsZeroMean_16s(y.data(), length); },
                               [&](const std::string& setting) {
                                   EXPECT_TRUE(same_values(expected, y)) << setting;
                                   y = x;
                               });
    }
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __i386__
TEST(ZeroMean_16s, RunsOnAnyStack)
{
    for (int stack : {0, 4, 8, 12})
        for (int misalign : {0, 4})
            for (int length : {31, 83}) {
                const std::vector<int16_t> x = uniform_vector<int16_t>(length, -3000, 30000);
                Guarded<int16_t> y(x, {misalign});
                EXPECT_EQ(call_misaligned(zelsZeroMean_16s, stack, y.data(), length), SrOk);
                EXPECT_TRUE(same_values(reference::zero_mean(x), y.values()));
            }
}
#endif

}  // namespace
}  // namespace zelsr::test
