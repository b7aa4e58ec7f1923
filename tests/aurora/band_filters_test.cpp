// The split into two bands and the filter of 17 taps.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "aurora/band_filters.h"
#include "support/arrangements.h"
#include "support/hooks.h"

namespace zelsr::test {
namespace {

template <class T>
class BandFilters : public testing::Test {};
struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "16s";
    }
};
using Types = testing::Types<float, int16_t>;
TYPED_TEST_SUITE(BandFilters, Types, Names);

TYPED_TEST(BandFilters, SplitAtEveryLengthAndAddress)
{
    using T = TypeParam;
    constexpr T kFull = T(32767);
    Cycle<std::size_t> taps({1, 2, 3, 4, 5, 7, 8, 9, 11, 12, 13, 15, 16, 17, 20, 23, 24, 25, 118});
    at_every_place<4>(lengths(16), {sizeof(T), sizeof(T), sizeof(T), sizeof(T)},
                      [&](int len, const std::array<Placement, 4>& at) {
                          const std::size_t count = taps.next();
                          return splits(samples<T>(len, count, -kFull, kFull), len,
                                        uniform_vector<T>(static_cast<int>(count), -kFull, kFull), 16, at);
                      });
}

TYPED_TEST(BandFilters, SplitAtEveryLengthAndNumberOfTaps)
{
    using T = TypeParam;
    for (int len = 1; len <= (thin_effort() ? 10 : 24); ++len)
        for (std::size_t count = 1; count <= 40; ++count)
            ASSERT_TRUE(splits(samples<T>(len, count, T(-1000), T(1000)), len,
                               uniform_vector<T>(static_cast<int>(count), T(-1000), T(1000)), 9))
                << "length " << len << ", taps " << count;
    ASSERT_TRUE(
        splits(samples<T>(999, 300, T(-1000), T(1000)), 999, uniform_vector<T>(300, T(-1000), T(1000)), 12));
}

// Products and sums of small whole numbers are exact in any order.
TYPED_TEST(BandFilters, SplitIsExactOnWholeNumbers)
{
    using T = TypeParam;
    for (std::size_t count = 1; count <= 33; ++count) {
        std::vector<T> x, taps;
        for (std::size_t i = 0; i < 48 + count - 2; ++i) x.push_back(static_cast<T>(uniform(-20, 20)));
        for (std::size_t i = 0; i < count; ++i) taps.push_back(static_cast<T>(uniform(-9, 9)));
        std::vector<T> low(24), high(24);
        ASSERT_EQ(
            low_high(Direct{}, x.data(), low.data(), high.data(), 48, taps.data(), static_cast<int32_t>(count), 0),
            SrOk);
        const auto bands = reference::low_high(x, 48, taps);
        for (std::size_t m = 0; m < 24; ++m) {
            ASSERT_EQ(static_cast<double>(low[m]), static_cast<double>(bands.low[m]))
                << count << " taps, low " << m;
            ASSERT_EQ(static_cast<double>(high[m]), static_cast<double>(bands.high[m]))
                << count << " taps, high " << m;
        }
    }
}

TYPED_TEST(BandFilters, OneTapTakesEverySecondSample)
{
    using T = TypeParam;
    std::vector<T> low(4), high(4);
    const std::vector<T> x = {1, 100, 2, 100, 3, 100, 4}, tap = {7};
    ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 8, tap.data(), 1, 0), SrOk);
    EXPECT_EQ(low, (std::vector<T>{7, 14, 21, 28}));
    EXPECT_EQ(high, (std::vector<T>{-7, 14, -21, 28}));
}

// The first tap's sign is minus for outputs of even position, plus for odd ones, and the others alternate from it.
TYPED_TEST(BandFilters, SignsOfTheHighBandAlternateFromOutputToOutput)
{
    using T = TypeParam;
    std::vector<T> low(2), high(2);
    const std::vector<T> x = {1, 1, 1, 1, 1}, taps = {1, 10, 100};
    ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 4, taps.data(), 3, 0), SrOk);
    EXPECT_EQ(low, (std::vector<T>{111, 111}));
    EXPECT_EQ(high, (std::vector<T>{-91, 91}));
}

TYPED_TEST(BandFilters, SourceOfOneSampleGivesNothing)
{
    using T = TypeParam;
    for (std::size_t count : {1u, 2u, 8u, 17u}) {
        const Guarded<T> nothing(0, {0, Edge::Back});
        Guarded<T> low(1), high(1);
        low.take_snapshot();
        high.take_snapshot();
        const std::vector<T> taps(count, T(1));
        EXPECT_EQ(low_high(Direct{}, nothing.data(), low.data(), high.data(), 1, taps.data(),
                           static_cast<int32_t>(count), 0),
                  SrOk);
        EXPECT_TRUE(low.as_snapshot() && high.as_snapshot());
    }
}

TYPED_TEST(BandFilters, OddLengthDropsItsLastSample)
{
    using T = TypeParam;
    for (int len : {3, 5, 7, 9, 17})
        ASSERT_TRUE(splits(samples<T>(len, 18, T(-99), T(99)), len, uniform_vector<T>(18, T(-9), T(9)))) << len;
}

// --- residual filter ---

TYPED_TEST(BandFilters, ResidualAtEveryAddress)
{
    using T = TypeParam;
    constexpr T kFull = T(32767);
    for (int turn = 0; turn < (thin_effort() ? 1 : 5); ++turn)
        at_every_place<3>({80}, {sizeof(T), sizeof(T), sizeof(T)}, [&](int, const std::array<Placement, 3>& at) {
            return filters(uniform_vector<T>(96, -kFull, kFull), uniform_vector<T>(17, -kFull, kFull), 15 + turn,
                           at);
        });
}

// Each tap by itself: the result is the source, moved by the tap's place and not turned round.
TYPED_TEST(BandFilters, ResidualTapsRunWithTheSamples)
{
    using T = TypeParam;
    std::vector<T> x, y(80);
    for (int i = 0; i < 96; ++i) x.push_back(static_cast<T>(100 + i));
    for (std::size_t j = 0; j < 17; ++j) {
        std::vector<T> taps(17, T(0));
        taps[j] = T(3);
        ASSERT_EQ(residual(Direct{}, x.data(), y.data(), taps.data(), 0), SrOk);
        for (std::size_t n = 0; n < 80; ++n) ASSERT_EQ(y[n], static_cast<T>(3 * x[n + j])) << j << ", " << n;
    }
}

TYPED_TEST(BandFilters, ResidualIsExactOnWholeNumbers)
{
    using T = TypeParam;
    for (int turn = 0; turn < 20; ++turn) {
        std::vector<T> x, taps, y(80);
        for (int i = 0; i < 96; ++i) x.push_back(static_cast<T>(uniform(-90, 90)));
        for (int i = 0; i < 17; ++i) taps.push_back(static_cast<T>(uniform(-20, 20)));
        ASSERT_EQ(residual(Direct{}, x.data(), y.data(), taps.data(), 0), SrOk);
        const auto sums = reference::residual(x, taps);
        for (std::size_t n = 0; n < 80; ++n)
            ASSERT_EQ(static_cast<double>(y[n]), static_cast<double>(sums[n])) << n;
    }
}

// --- special values of the singles: a sample reaches the outputs that take it and no other ---

TEST(BandFilters_32f, NotANumberReachesItsOutputsOnly)
{
    for (std::size_t bad = 0; bad < 39; ++bad) {
        std::vector<float> x(39, 1.0F), taps(17, 0.5F), low(12), high(12);
        x[bad] = std::numeric_limits<float>::quiet_NaN();
        ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 24, taps.data(), 17, 0), SrOk);
        for (std::size_t m = 0; m < 12; ++m) {
            const bool reached = 2 * m <= bad && bad <= 2 * m + 16;
            ASSERT_EQ(std::isnan(low[m]), reached) << bad << ", " << m;
            ASSERT_EQ(std::isnan(high[m]), reached) << bad << ", " << m;
        }
    }
    for (std::size_t bad = 0; bad < 96; ++bad) {
        std::vector<float> x(96, 1.0F), taps(17, 0.5F), y(80);
        x[bad] = std::numeric_limits<float>::infinity();
        ASSERT_EQ(residual(Direct{}, x.data(), y.data(), taps.data(), 0), SrOk);
        for (std::size_t n = 0; n < 80; ++n) ASSERT_EQ(std::isinf(y[n]), n <= bad && bad <= n + 16);
    }
}

// --- checks, memory, stack ---

template <class T>
struct SplitArguments {
    const T* src;
    T* low;
    T* high;
    int32_t len;
    const T* taps;
    int32_t count;
};

TYPED_TEST(BandFilters, SplitChecksSourceAndTapsThenTheirNumberThenBandsThenLength)
{
    using T = TypeParam;
    using A = SplitArguments<T>;
    const Guarded<T> source(std::vector<T>(40, T(1))), taps(std::vector<T>(10, T(1)));
    Guarded<T> low(16), high(16);
    expect_check_order<A>(
        {source.data(), low.data(), high.data(), 32, taps.data(), 10},
        {{"null source", SrErrNullPtr, [](A& a) { a.src = nullptr; }},
         {"null taps", SrErrNullPtr, [](A& a) { a.taps = nullptr; }},
         {"no taps", SrErrSize, [](A& a) { a.count = 0; }},
         {"-1 taps", SrErrSize, [](A& a) { a.count = -1; }},
         {"fewest taps", SrErrSize, [](A& a) { a.count = INT32_MIN; }},
         {"null low band", SrErrNullPtr, [](A& a) { a.low = nullptr; }},
         {"null high band", SrErrNullPtr, [](A& a) { a.high = nullptr; }},
         {"length 0", SrErrSize, [](A& a) { a.len = 0; }},
         {"length -1", SrErrSize, [](A& a) { a.len = -1; }},
         {"least length", SrErrSize, [](A& a) { a.len = INT32_MIN; }}},
        [](const A& a) { return low_high(Direct{}, a.src, a.low, a.high, a.len, a.taps, a.count, 0); },
        {&low, &high});
}

template <class T>
struct ResidualArguments {
    const T* src;
    T* dst;
    const T* taps;
};

TYPED_TEST(BandFilters, ResidualChecksItsPointers)
{
    using T = TypeParam;
    using A = ResidualArguments<T>;
    const Guarded<T> source(std::vector<T>(96, T(1))), taps(std::vector<T>(17, T(1)));
    Guarded<T> result(80);
    expect_check_order<A>({source.data(), result.data(), taps.data()},
                          {{"null source", SrErrNullPtr, [](A& a) { a.src = nullptr; }},
                           {"null result", SrErrNullPtr, [](A& a) { a.dst = nullptr; }},
                           {"null taps", SrErrNullPtr, [](A& a) { a.taps = nullptr; }}},
                          [](const A& a) { return residual(Direct{}, a.src, a.dst, a.taps, 0); }, {&result});
}

TYPED_TEST(BandFilters, TakeNoMemory)
{
    using T = TypeParam;
    const std::vector<T> x(1000, T(1)), taps(118, T(1));
    std::vector<T> low(400), high(400);
    const AllocatorWatch watch;
    EXPECT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 800, taps.data(), 118, 0), SrOk);
    EXPECT_EQ(residual(Direct{}, x.data(), low.data(), taps.data(), 0), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __i386__
TYPED_TEST(BandFilters, RunOnAnyStack)
{
    using T = TypeParam;
    const std::vector<T> x = uniform_vector<T>(96, T(-99), T(99)), taps = uniform_vector<T>(17, T(-9), T(9));
    for (int misalign : {0, 4, 8, 12}) {
        const OnOddStack how{misalign};
        std::vector<T> low(40), high(40), y(80);
        EXPECT_EQ(low_high(how, x.data(), low.data(), high.data(), 80, taps.data(), 17, 2), SrOk);
        EXPECT_EQ(residual(how, x.data(), y.data(), taps.data(), 2), SrOk);
        const auto bands = reference::low_high(x, 80, taps);
        EXPECT_TRUE(right(bands.low, low, 2));
        EXPECT_TRUE(right(bands.high, high, 2));
        EXPECT_TRUE(right(reference::residual(x, taps), y, 2));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
