// Peaks of a sequence.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/periodicity.h"
#include "zelsr/noise/peaks.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();
using Flags = std::vector<uint8_t>;

SrStatus find(const float* x, uint8_t* flags, int32_t len, int32_t run, int32_t half)
{
    return zelsFindPeaks_32f8u(x, flags, len, run, half);
}
SrStatus find(const int32_t* x, uint8_t* flags, int32_t len, int32_t run, int32_t half)
{
    return zelsFindPeaks_32s8u(x, flags, len, run, half);
}

template <class T>
class Peaks : public testing::Test {};
struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "32s";
    }
};
using Types = testing::Types<float, int32_t>;
TYPED_TEST_SUITE(Peaks, Types, Names);

template <class T>
testing::AssertionResult finds(const std::vector<T>& x, int run, int half, const Flags& expected,
                               Placement at_source = {}, Placement at_flags = {})
{
    auto right = maps(
        x, expected, [&](const T* src, uint8_t* flags, int32_t len) { return find(src, flags, len, run, half); },
        at_source, at_flags);
    if (right) return right;
    std::string sequence;
    for (std::size_t i = 0; i < x.size() && i < 40; ++i) sequence += " " + std::to_string(x[i]);
    return right << ", run " << run << ", half width " << half << ", of" << sequence;
}
template <class T>
testing::AssertionResult finds_peaks(const std::vector<T>& x, int run, int half, Placement at_source = {},
                                     Placement at_flags = {})
{
    return finds(x, run, half, reference::peaks(x, run, half), at_source, at_flags);
}

// Long rises and falls, plateaus, or steps at random.
template <class T>
std::vector<T> sequence(int length)
{
    std::vector<T> x;
    T value = T(uniform(-20, 20));
    int direction = 1;
    const int turns = uniform(1, 12), steps = uniform(1, 3);
    for (int i = 0; i < length; ++i) {
        x.push_back(value);
        if (generator()() % static_cast<unsigned>(turns) == 0) direction = uniform(-1, 1);
        value = T(value + T(direction * uniform(steps == 1 ? 1 : 0, steps)));
    }
    return x;
}

TYPED_TEST(Peaks, EverySmallSequence)
{
    using T = TypeParam;
    for (int length = 1; length <= (thin_effort() ? 4 : 6); ++length) {
        int count = 1;
        for (int i = 0; i < length; ++i) count *= 4;
        for (int code = 0; code < count; ++code) {
            std::vector<T> x;
            for (int rest = code, i = 0; i < length; ++i, rest /= 4) x.push_back(T(3 * (rest % 4)));
            for (int run : {1, 2, 3, 7})
                for (int half : {0, 1, 2}) {
                    Flags flags(x.size(), 9);
                    ASSERT_EQ(find(x.data(), flags.data(), length, run, half), SrOk);
                    if (reference::peaks(x, run, half) == flags) continue;
                    ASSERT_TRUE(finds_peaks(x, run, half));
                }
        }
    }
}

TYPED_TEST(Peaks, EveryLengthAndAddress)
{
    using T = TypeParam;
    at_every_place<2>(lengths(32), {4, 1}, [](int length, const std::array<Placement, 2>& at) {
        return finds_peaks(sequence<T>(length), uniform(1, 4), uniform(0, 4), at[0], at[1]);
    });
}

TYPED_TEST(Peaks, RandomSequences)
{
    using T = TypeParam;
    for (int turn = 0; turn < (thin_effort() ? 100 : 4000); ++turn) {
        const int half = turn % 3 == 0 ? 0 : uniform(0, 20);
        ASSERT_TRUE(finds_peaks(sequence<T>(uniform(1, 300)), uniform(1, 6), half));
    }
}

TYPED_TEST(Peaks, EveryHalfWidthAndRun)
{
    using T = TypeParam;
    for (int length : {2, 3, 10, 126, 127, 128, 129, 300}) {
        const std::vector<T> x = uniform_vector<T>(length, T(-1000), T(1000)), y = sequence<T>(length);
        for (int k = 0; k <= 127; ++k) {
            ASSERT_TRUE(finds_peaks(x, 1, k));
            ASSERT_TRUE(finds_peaks(y, 1 + k % 4, k));
            ASSERT_TRUE(finds_peaks(y, std::max(k, 1), 0));
            ASSERT_TRUE(finds_peaks(y, std::max(k, 1), 3));
        }
    }
}

TYPED_TEST(Peaks, LongestSequence)
{
    using T = TypeParam;
    ASSERT_TRUE(finds_peaks(sequence<T>(65535), 3, 5));
    ASSERT_TRUE(finds_peaks(sequence<T>(65535), 1, 127));
    const std::vector<T> flat(65535, T(1));
    ASSERT_TRUE(finds(flat, 1, 0, Flags(65535, 0)));
}

// --- by value ---

TYPED_TEST(Peaks, OneElementIsAPeak)
{
    for (int half : {0, 1, 127})
        for (int run : {1, 127}) EXPECT_TRUE(finds(std::vector<TypeParam>{TypeParam(-5)}, run, half, {1}));
}

// Whatever the run is.
TYPED_TEST(Peaks, AFallingSequenceHasItsFirst)
{
    for (int length : {2, 3, 9}) {
        std::vector<TypeParam> x;
        for (int i = 0; i < length; ++i) x.push_back(TypeParam(-i));
        Flags expected(x.size(), 0);
        expected[0] = 1;
        for (int run : {1, 5, 127}) EXPECT_TRUE(finds(x, run, 0, expected));
    }
}

TYPED_TEST(Peaks, ARisingSequenceHasItsLast)
{
    using T = TypeParam;
    for (int length : {3, 4, 9}) {
        std::vector<T> x;
        for (int i = 0; i < length; ++i) x.push_back(T(i));
        Flags expected(x.size(), 0);
        expected.back() = 1;
        for (int run : {1, 2, 8, 127}) EXPECT_TRUE(finds(x, run, 0, expected));
    }
    EXPECT_TRUE(finds(std::vector<T>{1, 2}, 1, 0, {0, 1}));
    EXPECT_TRUE(finds(std::vector<T>{1, 2}, 2, 0, {0, 0})) << "only a run of 1 does for two elements: wanted";
    EXPECT_TRUE(finds(std::vector<T>{5, 4, 3, 9}, 1, 0, {1, 0, 0, 1}));
    EXPECT_TRUE(finds(std::vector<T>{5, 4, 3, 9}, 2, 0, {1, 0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{5, 4, 3, 9}, 3, 0, {0, 0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{5, 5}, 1, 0, {0, 0}));
}

// A smoothed sequence whose first step to not fall is the last one.
TYPED_TEST(Peaks, RawValuesDecideAtTheEndOfALeadingFall)
{
    using T = TypeParam;
    EXPECT_TRUE(finds(std::vector<T>{9, 6, 3, 3}, 1, 1, {1, 0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{30, 10, 0, 2}, 1, 1, {1, 0, 0, 0})) << "20, 13, 4, 1: all falls";
    EXPECT_TRUE(finds(std::vector<T>{30, 12, 3, 0, 9}, 1, 1, {1, 0, 0, 0, 1})) << "21, 15, 5, 4, 4.5";
    EXPECT_TRUE(finds(std::vector<T>{30, 12, 3, 6, 3}, 1, 1, {1, 0, 0, 0, 0})) << "21, 15, 7, 4, 4.5, but 3 < 6";
    EXPECT_TRUE(finds(std::vector<T>{30, 12, 3, 0, 9}, 2, 1, {1, 0, 0, 0, 0}));
}

TYPED_TEST(Peaks, RunsOnBothSides)
{
    using T = TypeParam;
    const std::vector<T> x = {0, 1, 2, 3, 2, 1, 0, 5, 0, 1, 2, 1};
    EXPECT_TRUE(finds(x, 1, 0, {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0}));
    EXPECT_TRUE(finds(x, 2, 0, {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0})) << "a fall to the end is long enough";
    EXPECT_TRUE(finds(x, 3, 0, {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(finds(x, 4, 0, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TYPED_TEST(Peaks, PlateausStartTheRiseAgain)
{
    using T = TypeParam;
    EXPECT_TRUE(finds(std::vector<T>{0, 1, 2, 2, 1, 0}, 1, 0, {0, 0, 0, 0, 0, 0})) << "the top is lost: wanted";
    EXPECT_TRUE(finds(std::vector<T>{0, 1, 2, 2, 3, 2, 1}, 1, 0, {0, 0, 0, 0, 1, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{0, 1, 2, 2, 3, 2, 1}, 2, 0, {0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{0, 1, 2, 2, 3, 4, 2, 1}, 2, 0, {0, 0, 0, 0, 0, 1, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{0, 3, 3}, 1, 0, {0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{3, 3, 3, 3}, 1, 0, {0, 0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{3, 3, 2}, 1, 0, {0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{3, 2, 2, 1, 3}, 1, 0, {1, 0, 0, 0, 1}));
}

TYPED_TEST(Peaks, WideSmoothingLeavesNone)
{
    using T = TypeParam;
    EXPECT_TRUE(finds(std::vector<T>{0, 9, 0, 9, 0}, 1, 4, {0, 0, 0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{0, 9, 0, 9, 0}, 1, 127, {0, 0, 0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{9, 1}, 1, 1, {0, 0}));
    EXPECT_TRUE(finds(std::vector<T>{0, 0, 60, 0, 0}, 1, 3, {1, 0, 0, 0, 1})) << "15, 12, 12, 12, 15";
    EXPECT_TRUE(finds(std::vector<T>{0, 3, 9, 3, 0}, 1, 1, {0, 0, 1, 0, 0})) << "1.5, 4, 5, 4, 1.5";
}

TEST(PeaksValues, MeansOfIntegersAreTruncatedTowardZero)
{
    // -1 / 2 and 1 / 2 are 0: the smoothed sequence is flat in the middle.
    EXPECT_TRUE(finds_peaks(std::vector<int32_t>{-1, 0, 1, 0, -1, 0, 2, 0}, 1, 1));
    // Sums beyond 32 bits.
    std::vector<int32_t> x(300, INT32_MAX);
    x[150] = INT32_MIN;
    ASSERT_TRUE(finds_peaks(x, 1, 127));
    for (int turn = 0; turn < 50; ++turn) {
        std::vector<int32_t> y;
        for (int i = 0; i < 200; ++i) y.push_back(static_cast<int32_t>(generator()()));
        ASSERT_TRUE(finds_peaks(y, uniform(1, 3), uniform(0, 127)));
    }
    const std::vector<int32_t> special = special_values<int32_t>();
    for (int turn = 0; turn < 300; ++turn) {
        std::vector<int32_t> y;
        for (int i = 0; i < 20; ++i) y.push_back(special[generator()() % special.size()]);
        ASSERT_TRUE(finds_peaks(y, uniform(1, 3), uniform(0, 3)));
    }
}

// Singles a millionth apart are equal to the tests of plateaus, and not to those of rises and falls.
TEST(PeaksValues, SinglesAreEqualWithinAMillionth)
{
    const float one = 1.0F, next = std::nextafter(1.0F, 2.0F);
    EXPECT_TRUE(finds(std::vector<float>{0, one, next, one, 0}, 1, 0, {0, 0, 0, 0, 0}))
        << "equal to its neighbour";
    EXPECT_TRUE(finds(std::vector<float>{0, one, one + 2e-6F, one, 0}, 1, 0, {0, 0, 1, 0, 0}));
    EXPECT_TRUE(finds(std::vector<float>{-2, -1, std::nextafter(-1.0F, 0.0F), -1, -2}, 1, 0, {0, 0, 0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<float>{0, 1e-45F, 0}, 1, 0, {0, 1, 0}));
    // The first step behind a fall is a rise of its own only if it is no plateau.
    EXPECT_TRUE(finds_peaks(std::vector<float>{3, 1, next, 2, 1, 0}, 2, 0));
    EXPECT_TRUE(finds_peaks(std::vector<float>{3, 1, 1.5F, 2, 1, 0}, 2, 0));
    for (int turn = 0; turn < (thin_effort() ? 100 : 3000); ++turn) {
        std::vector<float> x;
        for (int i = 0; i < 30; ++i)
            x.push_back(uniform(0, 3) == 0 ? 1.0F : 1.0F + 2.5e-7F * float(uniform(0, 9)));
        const float sign = turn % 2 == 0 ? 1.0F : -1.0F;
        for (float& v : x) v *= sign * (turn % 3 == 0 ? 1.0F : 12345.678F);
        ASSERT_TRUE(finds_peaks(x, uniform(1, 3), turn % 4 == 0 ? 1 : 0));
    }
}

// The comparison is made in double precision, where the millionth of a small single is no subnormal. Down there
// every single that has a whole number of units of the last place for its millionth is tried, and its neighbours.
TEST(PeaksValues, TheMillionthIsOfDoublePrecision)
{
    int different = 0;
    for (int exponent = -125; exponent <= -110; ++exponent)
        for (int units = 9; units <= 16; ++units) {
            auto a = static_cast<float>(std::ldexp(units * 0x1p-23 / 0.000001, exponent));
            for (int i = 0; i < 40; ++i) a = std::nextafter(a, 0.0F);
            for (int i = 0; i < 80; ++i, a = std::nextafter(a, 1.0F)) {
                const auto b = static_cast<float>(a - std::ldexp(units * 0x1p-23, exponent));
                const bool in_single = std::abs(a * 0.000001F) >= std::abs(a - b);
                if (reference::about_equal(a, b) != in_single) ++different;
                ASSERT_TRUE(finds_peaks(std::vector<float>{0, b, a, b, 0}, 1, 0));
            }
        }
    EXPECT_GT(different, 0);
}

// Means are rounded once from double precision.
TEST(PeaksValues, MeansOfSingles)
{
    for (int turn = 0; turn < (thin_effort() ? 50 : 1000); ++turn) {
        std::vector<float> x = uniform_vector<float>(uniform(3, 100), 0.9999F, 1.0001F);
        ASSERT_TRUE(finds_peaks(x, 1, uniform(1, 20)));
        for (float& v : x) v = static_cast<float>(uniform(-3, 3));
        ASSERT_TRUE(finds_peaks(x, uniform(1, 2), uniform(1, 4)));
    }
    const float largest = std::numeric_limits<float>::max();
    EXPECT_TRUE(finds(std::vector<float>{0, largest, largest, largest, largest, largest, 0}, 1, 2,
                      reference::peaks(std::vector<float>{0, 1, 1, 1, 1, 1, 0}, 1, 2)))
        << "no overflow";
}

TEST(PeaksValues, SpecialSingles)
{
    const std::vector<float> special = special_values<float>();
    for (int turn = 0; turn < (thin_effort() ? 100 : 3000); ++turn) {
        std::vector<float> x;
        const int length = uniform(1, 25);
        for (int i = 0; i < length; ++i)
            x.push_back(turn % 3 == 0 ? float(uniform(0, 9)) : special[generator()() % special.size()]);
        if (turn % 3 == 0) x[generator()() % x.size()] = turn % 2 == 0 ? kNaN : kInfinity;
        ASSERT_TRUE(finds_peaks(x, uniform(1, 3), 0));
    }
    // Infinity is as good as equal to what is beside it: no rise.
    EXPECT_TRUE(finds(std::vector<float>{0, kInfinity, 0}, 1, 0, {0, 0, 0}));
    EXPECT_TRUE(finds(std::vector<float>{0, 1, kInfinity, 0}, 1, 0, {0, 0, 0, 0}));
}

// --- checks and surroundings ---

TYPED_TEST(Peaks, ChecksNullThenLengthThenRunAndWidth)
{
    using T = TypeParam;
    struct Arguments {
        const T* src;
        uint8_t* flags;
        int32_t len, run, half;
    };
    const Guarded<T> src(std::vector<T>(20, T(1)));
    Guarded<uint8_t> flags(20);
    std::vector<Fault<Arguments>> faults = {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                                            {"null flags", SrErrNullPtr, [](Arguments& a) { a.flags = nullptr; }}};
    for (int32_t bad : {0, INT32_MIN, 65536, INT32_MAX})
        faults.push_back({"length", SrErrLengthBound, [=](Arguments& a) { a.len = bad; }});
    for (int32_t bad : {0, 128, INT32_MIN})
        faults.push_back({"run", SrErrSize, [=](Arguments& a) { a.run = bad; }});
    for (int32_t bad : {-1, 128, INT32_MAX})
        faults.push_back({"half width", SrErrSize, [=](Arguments& a) { a.half = bad; }});
    expect_check_order<Arguments>({src.data(), flags.data(), 20, 1, 0}, faults,
                                  [](const Arguments& a) { return find(a.src, a.flags, a.len, a.run, a.half); },
                                  {&flags});
    EXPECT_EQ(find(src.data(), flags.data(), 1, 128, 0), SrErrSize) << "one element makes no difference";
    EXPECT_EQ(find(src.data(), flags.data(), 20, 127, 127), SrOk);
}

TYPED_TEST(Peaks, TakesNoMemory)
{
    const std::vector<TypeParam> x = sequence<TypeParam>(3000);
    Flags flags(3000);
    const AllocatorWatch watch;
    for (int half : {0, 127}) EXPECT_EQ(find(x.data(), flags.data(), 3000, 2, half), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

TYPED_TEST(Peaks, IsTheSameInEachEnvironment)
{
    for (int half : {0, 5}) {
        const std::vector<TypeParam> x = uniform_vector<TypeParam>(300, TypeParam(-100), TypeParam(100));
        Flags flags(300);
        under_each_environment([&] { find(x.data(), flags.data(), 300, 1, half); },
                               [&](const std::string& setting) {
                                   EXPECT_EQ(reference::peaks(x, 1, half), flags) << setting;
                                   flags.assign(300, 9);
                               });
    }
}

#ifdef __i386__
TEST(PeaksStack, RunsOnAnyStack)
{
    const std::vector<float> x = sequence<float>(100);
    const std::vector<int32_t> y = sequence<int32_t>(100);
    Flags flags(100);
    for (int misalign : {0, 4, 8, 12})
        for (int half : {0, 3}) {
            EXPECT_EQ(call_misaligned(zelsFindPeaks_32f8u, misalign, x.data(), flags.data(), 100, 2, half), SrOk);
            EXPECT_EQ(reference::peaks(x, 2, half), flags);
            EXPECT_EQ(call_misaligned(zelsFindPeaks_32s8u, misalign, y.data(), flags.data(), 100, 2, half), SrOk);
            EXPECT_EQ(reference::peaks(y, 2, half), flags);
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
