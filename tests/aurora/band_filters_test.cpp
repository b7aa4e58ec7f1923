// The split into two bands and the filter of 17 taps.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/arrangements.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/aurora_bands.h"
#include "zelsr/aurora/bands.h"

namespace zelsr::test {
namespace {

template <class How>
SrStatus low_high(How how, const float* src, float* low, float* high, int32_t len, const float* taps,
                  int32_t count, int32_t)
{
    return how(zelsLowHighFilter_Aurora_32f, src, low, high, len, taps, count);
}
template <class How>
SrStatus low_high(How how, const int16_t* src, int16_t* low, int16_t* high, int32_t len, const int16_t* taps,
                  int32_t count, int32_t sf)
{
    return how(zelsLowHighFilter_Aurora_16s_Sfs, src, low, high, len, taps, count, sf);
}
template <class How>
SrStatus residual(How how, const float* src, float* dst, const float* taps, int32_t)
{
    return how(zelsResidualFilter_Aurora_32f, src, dst, taps);
}
template <class How>
SrStatus residual(How how, const int16_t* src, int16_t* dst, const int16_t* taps, int32_t sf)
{
    return how(zelsResidualFilter_Aurora_16s_Sfs, src, dst, taps, sf);
}

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

testing::AssertionResult right(const std::vector<float>& sums, const std::vector<float>& results, int32_t)
{
    return same_values(sums, results);
}
testing::AssertionResult right(const std::vector<double>& sums, const std::vector<int16_t>& results, int32_t sf)
{
    return same_values(reference::scaled_to_16s(sums, sf), results);
}

template <class T>
testing::AssertionResult splits(const std::vector<T>& x, int len, const std::vector<T>& taps, int32_t sf = 0,
                                const std::array<Placement, 4>& at = {})
{
    const std::size_t outputs = static_cast<std::size_t>(len / 2);
    Guarded<T> source(x, at[0]), low(outputs, at[1]), high(outputs, at[2]), weights(taps, at[3]);
    source.take_snapshot();
    weights.take_snapshot();
    if (auto ok = status_is(SrOk, low_high(Direct{}, source.data(), low.data(), high.data(), len, weights.data(),
                                           static_cast<int32_t>(taps.size()), sf));
        !ok)
        return ok;
    if (!(source.as_snapshot() && weights.as_snapshot() && low.intact() && high.intact()))
        return testing::AssertionFailure() << "written beside the bands";
    const auto bands = reference::low_high(x, len, taps);
    if (auto ok = right(bands.low, low.values(), sf); !ok) return ok << ", low";
    if (auto ok = right(bands.high, high.values(), sf); !ok) return ok << ", high";
    return testing::AssertionSuccess();
}

// What the source must hold: for one tap the last element of the even length is not read.
template <class T>
std::vector<T> samples(int len, std::size_t taps, T low, T high)
{
    return uniform_vector(std::max(0, len / 2 * 2 + static_cast<int>(taps) - 2), low, high);
}

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

template <class T>
testing::AssertionResult filters(const std::vector<T>& x, const std::vector<T>& taps, int32_t sf = 0,
                                 const std::array<Placement, 3>& at = {})
{
    Guarded<T> source(x, at[0]), result(80, at[1]), weights(taps, at[2]);
    source.take_snapshot();
    weights.take_snapshot();
    if (auto ok = status_is(SrOk, residual(Direct{}, source.data(), result.data(), weights.data(), sf)); !ok)
        return ok;
    if (!(source.as_snapshot() && weights.as_snapshot() && result.intact()))
        return testing::AssertionFailure() << "written beside the result";
    return right(reference::residual(x, taps), result.values(), sf);
}

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

// --- scale factors and extremes of the 16-bit forms ---

TEST(BandFilters_16s, EveryScaleFactor)
{
    for (int32_t sf : scale_factors()) {
        const int16_t full = sf < 0 ? 3 : 32767;
        ASSERT_TRUE(splits(samples<int16_t>(14, 11, int16_t(-full), full), 14,
                           uniform_vector<int16_t>(11, int16_t(-full), full), sf))
            << sf;
        ASSERT_TRUE(filters(uniform_vector<int16_t>(96, int16_t(-full), full),
                            uniform_vector<int16_t>(17, int16_t(-full), full), sf))
            << sf;
    }
}

TEST(BandFilters_16s, OnlyZeroDoesNotSaturateUnderALargeFactor)
{
    std::vector<int16_t> x(96, 1), taps(17, 1), low(5), high(5), y(80);
    for (int32_t sf : {-128, -129, -150, -1000, -1023, -1024, -1025, -1087, -2000, -INT32_MAX, INT32_MIN}) {
        ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 10, taps.data(), 17, sf), SrOk);
        EXPECT_EQ(low, std::vector<int16_t>(5, 32767)) << sf;
        EXPECT_EQ(high, (std::vector<int16_t>{-32768, 32767, -32768, 32767, -32768})) << sf;
        ASSERT_EQ(residual(Direct{}, x.data(), y.data(), taps.data(), sf), SrOk);
        EXPECT_EQ(y, std::vector<int16_t>(80, 32767)) << sf;
        // Nothing stays nothing.
        const std::vector<int16_t> zeros(17, 0);
        ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 10, zeros.data(), 17, sf), SrOk);
        EXPECT_EQ(low, std::vector<int16_t>(5, 0)) << sf;
        EXPECT_EQ(high, low) << sf;
        ASSERT_EQ(residual(Direct{}, x.data(), y.data(), zeros.data(), sf), SrOk);
        EXPECT_EQ(y, std::vector<int16_t>(80, 0)) << sf;
    }
}

// Halves go to the even neighbour, at both signs.
TEST(BandFilters_16s, HalvesGoToTheEvenNeighbour)
{
    const std::vector<int16_t> x = {1, 0, 3, 0, 5, 0, 7, 0, -1, 0, -3, 0, -5}, tap = {2};
    std::vector<int16_t> low(7), high(7);
    ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 14, tap.data(), 1, 2), SrOk);
    EXPECT_EQ(low, (std::vector<int16_t>{0, 2, 2, 4, 0, -2, -2}));
    EXPECT_EQ(high, (std::vector<int16_t>{0, 2, -2, 4, 0, -2, 2}));
    std::vector<int16_t> source(96, 0), taps(17, 0), y(80);
    for (std::size_t i = 0; i < 80; ++i) source[i] = static_cast<int16_t>(static_cast<int>(i) - 40);
    taps[0] = 2;
    ASSERT_EQ(residual(Direct{}, source.data(), y.data(), taps.data(), 2), SrOk);
    for (int i = 0; i < 80; ++i) EXPECT_EQ(y[static_cast<std::size_t>(i)], std::nearbyint((i - 40) / 2.0)) << i;
}

// The split's sums are of single products, which 32 bits hold: no two of them meet in 32 bits.
TEST(BandFilters_16s, SplitOfTheExtremesDoesNotWrap)
{
    for (std::size_t count : {1u, 2u, 3u, 4u, 5u, 8u, 12u, 16u, 17u, 118u}) {
        const std::vector<int16_t> x(20 + count - 2, INT16_MIN), taps(count, INT16_MIN);
        for (int32_t sf : {0, 15, 16, 17, 20, 22, 30}) ASSERT_TRUE(splits(x, 20, taps, sf)) << count << ", " << sf;
        std::vector<int16_t> turning = taps;
        for (std::size_t k = 1; k < count; k += 2) turning[k] = INT16_MAX;
        ASSERT_TRUE(splits(x, 20, turning, 20)) << count;
    }
    std::vector<int16_t> x(18, INT16_MIN), taps(2, INT16_MIN), low(9), high(9);
    ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 18, taps.data(), 2, 17), SrOk);
    EXPECT_EQ(low, std::vector<int16_t>(9, 16384)) << "2^31 / 2^17";
}

// Equal taps whose products with -32768 come to just below and to just above 2^31 after any number of them.
TEST(BandFilters_16s, SumsAroundTheLimitsOf32Bits)
{
    const auto x = [](std::size_t count) { return std::vector<int16_t>(18 + count, INT16_MIN); };
    for (int terms = 1; terms <= 17; ++terms)
        for (int limit : {65535, 65536})
            for (int sign : {1, -1}) {
                const int magnitude = std::min((limit + terms - 1) / terms, sign > 0 ? 32767 : 32768);
                const auto tap = static_cast<int16_t>(sign * magnitude);
                for (std::size_t count : {5u, 7u, 8u, 9u, 15u, 16u, 17u, 23u, 31u, 40u, 63u, 72u, 135u, 139u})
                    for (int32_t sf : {16, 20}) {
                        ASSERT_TRUE(splits(x(count), 20, std::vector<int16_t>(count, tap), sf)) << count;
                        std::vector<int16_t> turning(count, tap);
                        for (std::size_t k = 1; k < count; k += 2) turning[k] = static_cast<int16_t>(-(tap + 1));
                        ASSERT_TRUE(splits(x(count), 20, turning, sf)) << count;
                    }
                std::vector<int16_t> taps(17, 0);
                for (int j = 0; j < terms; ++j) taps[static_cast<std::size_t>(j)] = tap;
                ASSERT_TRUE(filters(std::vector<int16_t>(96, INT16_MIN), taps, 17)) << terms;
            }
    for (int last : {3855, 3856}) {
        std::vector<int16_t> taps(17, -3855);
        taps[16] = static_cast<int16_t>(-last);
        for (int32_t sf : {14, 15, 16, 17})
            ASSERT_TRUE(filters(std::vector<int16_t>(96, INT16_MIN), taps, sf)) << last;
    }
}

// Two products of -32768 by itself make 2^31, which a pair's 32 bits turn into -2^31, as it is wanted.
TEST(BandFilters_16s, ResidualPairsWrap)
{
    std::vector<int16_t> x(96, INT16_MIN), taps(17, 0), y(80);
    taps[0] = taps[1] = INT16_MIN;
    ASSERT_EQ(residual(Direct{}, x.data(), y.data(), taps.data(), 17), SrOk);
    EXPECT_EQ(y, std::vector<int16_t>(80, -16384));
    taps[0] = 0, taps[2] = INT16_MIN;
    ASSERT_EQ(residual(Direct{}, x.data(), y.data(), taps.data(), 17), SrOk);
    EXPECT_EQ(y, std::vector<int16_t>(80, 16384)) << "taps 1 and 2 lie in two pairs";
    taps[1] = taps[2] = 0, taps[15] = taps[16] = INT16_MIN;
    ASSERT_EQ(residual(Direct{}, x.data(), y.data(), taps.data(), 17), SrOk);
    EXPECT_EQ(y, std::vector<int16_t>(80, 16384)) << "tap 16 has no other";
    for (int32_t sf : {0, 14, 15, 17, 19, 20, 35})
        ASSERT_TRUE(filters(x, std::vector<int16_t>(17, INT16_MIN), sf)) << sf;
    for (int turn = 0; turn < 200; ++turn) {
        for (int16_t& tap : taps) tap = uniform(0, 3) == 0 ? INT16_MAX : INT16_MIN;
        for (int16_t& sample : x) sample = uniform(0, 3) == 0 ? INT16_MAX : INT16_MIN;
        ASSERT_TRUE(filters(x, taps, 19));
    }
}

TEST(BandFilters_16s, LimitsByValue)
{
    std::vector<int16_t> low(2), high(2);
    const std::vector<int16_t> x = {32767, 0, -32768}, tap = {1}, two = {2}, minus = {-1};
    ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 4, tap.data(), 1, 0), SrOk);
    EXPECT_EQ(low, (std::vector<int16_t>{32767, -32768}));
    EXPECT_EQ(high, (std::vector<int16_t>{-32767, -32768}));
    ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 4, two.data(), 1, 0), SrOk);
    EXPECT_EQ(low, (std::vector<int16_t>{32767, -32768}));
    EXPECT_EQ(high, (std::vector<int16_t>{-32768, -32768}));
    ASSERT_EQ(low_high(Direct{}, x.data(), low.data(), high.data(), 4, minus.data(), 1, 0), SrOk);
    EXPECT_EQ(low, (std::vector<int16_t>{-32767, 32767}));
    EXPECT_EQ(high, (std::vector<int16_t>{32767, 32767}));
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

// --- checks, memory, environment, stack ---

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

TEST(BandFilters_16s, AreTheSameInEachEnvironment)
{
    const auto x = uniform_vector<int16_t>(96, -32768, 32767), taps = uniform_vector<int16_t>(17, -32768, 32767);
    const auto bands = reference::low_high(x, 80, taps);
    const auto expected_low = reference::scaled_to_16s(bands.low, 18);
    const auto expected_high = reference::scaled_to_16s(bands.high, 18);
    const auto expected = reference::scaled_to_16s(reference::residual(x, taps), 18);
    std::vector<int16_t> low(40), high(40), y(80);
    under_each_environment(
        [&] {
            low_high(Direct{}, x.data(), low.data(), high.data(), 80, taps.data(), 17, 18);
            residual(Direct{}, x.data(), y.data(), taps.data(), 18);
        },
        [&](const std::string& setting) {
            EXPECT_TRUE(same_values(expected_low, low)) << setting;
            EXPECT_TRUE(same_values(expected_high, high)) << setting;
            EXPECT_TRUE(same_values(expected, y)) << setting;
            low.assign(40, -1), high.assign(40, -1), y.assign(80, -1);
        });
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
