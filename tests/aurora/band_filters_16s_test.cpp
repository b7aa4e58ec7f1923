// Scale factors and extremes of the 16-bit band filters.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "aurora/band_filters.h"
#include "support/environment.h"

namespace zelsr::test {
namespace {

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

}  // namespace
}  // namespace zelsr::test
