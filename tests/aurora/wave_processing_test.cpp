// Weights that raise the part of each pitch period with its energy.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/aurora_bands.h"
#include "zelsr/aurora/bands.h"

namespace zelsr::test {
namespace {

using reference::Weight;

template <class How>
SrStatus wave(How how, const float* src, float* dst)
{
    return how(zelsWaveProcessing_Aurora_32f, src, dst);
}
template <class How>
SrStatus wave(How how, const int16_t* src, int16_t* dst)
{
    return how(zelsWaveProcessing_Aurora_16s, src, dst);
}

template <class T>
class Wave : public testing::Test {};
struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "16s";
    }
};
using Types = testing::Types<float, int16_t>;
TYPED_TEST_SUITE(Wave, Types, Names);

template <class T>
testing::AssertionResult weighs(const std::vector<T>& x, Placement from = {}, Placement to = {})
{
    return maps(
        x, reference::wave_processing(x), [](const T* src, T* dst, int32_t) { return wave(Direct{}, src, dst); },
        from, to);
}

// Pulses of random sizes over noise, so that the peaks of a frame lie anywhere.
template <class T>
std::vector<T> random_frame()
{
    const double noise = std::exp2(uniform(0.0, 12.0));
    std::vector<T> x;
    for (int i = 0; i < 200; ++i) x.push_back(static_cast<T>(uniform(-noise, noise)));
    for (int pulses = uniform(0, 12); pulses > 0; --pulses)
        x[static_cast<std::size_t>(uniform(0, 199))] = static_cast<T>(uniform(-32768.0, 32767.0));
    return x;
}

TYPED_TEST(Wave, RandomFrames)
{
    using T = TypeParam;
    for (int turn = 0; turn < (thin_effort() ? 100 : 3000); ++turn) ASSERT_TRUE(weighs(random_frame<T>()));
    for (int turn = 0; turn < (thin_effort() ? 20 : 300); ++turn)
        ASSERT_TRUE(weighs(uniform_vector<T>(200, T(-32768), T(32767))));
}

TYPED_TEST(Wave, EveryAddress)
{
    using T = TypeParam;
    at_every_place<2>({200, 200}, {sizeof(T), sizeof(T)}, [](int, const std::array<Placement, 2>& at) {
        return weighs(random_frame<T>(), at[0], at[1]);
    });
}

TYPED_TEST(Wave, MayReplaceItsSource)
{
    using T = TypeParam;
    for (int turn = 0; turn < 50; ++turn)
        for (int misalign : {0, static_cast<int>(sizeof(T))}) {
            const std::vector<T> x = random_frame<T>();
            ASSERT_TRUE(maps_onto_itself(x, reference::wave_processing(x),
                                         [](const T* src, T* dst, int32_t) { return wave(Direct{}, src, dst); },
                                         {misalign}));
        }
}

// One pulse of energy decides the main peak; few values of equal size make ties.
TYPED_TEST(Wave, MainPeakAnywhere)
{
    using T = TypeParam;
    for (std::size_t at = 0; at < 200; ++at) {
        std::vector<T> x(200, T(0));
        x[at] = T(1000);
        ASSERT_TRUE(weighs(x)) << at;
        for (std::size_t second = 0; second < 200; second += thin_effort() ? 37 : 3) {
            x[second] = T(500);
            ASSERT_TRUE(weighs(x)) << at << ", " << second;
            x[second] = second == at ? T(1000) : T(0);
        }
    }
}

TYPED_TEST(Wave, FramesWithManyEqualSums)
{
    using T = TypeParam;
    for (int turn = 0; turn < (thin_effort() ? 50 : 1000); ++turn) {
        std::vector<T> x;
        const int rare = uniform(1, 40);
        for (int i = 0; i < 200; ++i) x.push_back(static_cast<T>(uniform(0, rare) == 0 ? uniform(-2, 2) : 0));
        ASSERT_TRUE(weighs(x));
    }
}

// Weights as a text: - low, + high, 1.
std::string weights_of(const std::vector<Weight>& w)
{
    std::string text;
    for (Weight one : w) text += one == Weight::Low ? '-' : one == Weight::High ? '+' : '1';
    return text;
}

std::string run(const char* sign, int count)
{
    std::string text;
    for (int i = 0; i < count; ++i) text += sign;
    return text;
}

// All energies of a constant frame are 0: x^2 - x x. So the main peak is 0 and the others follow it
// at 25, 50, ..., 175, and the weights can be read off.
TEST(WaveValues, ConstantFrameHasAFixedGridOfPeaks)
{
    const std::vector<float> x(200, 1.0F);
    std::vector<float> y(200);
    ASSERT_EQ(wave(Direct{}, x.data(), y.data()), SrOk);
    std::string expected = run("+", 15) + "11";  // from 0 to 16, 0.8 * 25 = 20
    for (int peak = 25; peak < 175; peak += 25)
        expected += run("-", peak - 5 - static_cast<int>(expected.size())) + "11" + run("+", 18) + "11";
    expected += run("-", 3) + "11" + run("+", 18) + "11";  // 175: high from 171 to 190
    expected += run("-", 200 - static_cast<int>(expected.size()));
    ASSERT_EQ(expected.size(), 200u);
    std::string got;
    for (float v : y) got += v == 0.8F ? '-' : v == 1.2F ? '+' : v == 1.0F ? '1' : '?';
    EXPECT_EQ(got, expected);
    EXPECT_EQ(weights_of(reference::weights_of_wave(x)), expected);

    // In integers the reach is 25 * 27 / 32 = 21.
    const std::vector<int16_t> xs(200, 32);
    std::vector<int16_t> ys(200);
    ASSERT_EQ(wave(Direct{}, xs.data(), ys.data()), SrOk);
    expected = run("+", 16) + "11";
    for (int peak = 25; peak <= 175; peak += 25)
        expected += run("-", peak - 5 - static_cast<int>(expected.size())) + "11" + run("+", 19) + "11";
    expected += run("-", 200 - static_cast<int>(expected.size()));
    got.clear();
    for (int16_t v : ys) got += v == 27 ? '-' : v == 38 ? '+' : v == 32 ? '1' : '?';
    EXPECT_EQ(got, expected);
    EXPECT_EQ(weights_of(reference::weights_of_wave(xs)), expected);
}

TEST(WaveValues, SilenceStaysSilent)
{
    const std::vector<float> x(200, 0.0F);
    std::vector<float> y(200, 1.0F);
    ASSERT_EQ(wave(Direct{}, x.data(), y.data()), SrOk);
    EXPECT_TRUE(same_values(x, y));
    const std::vector<int16_t> xs(200, 0);
    std::vector<int16_t> ys(200, 1);
    ASSERT_EQ(wave(Direct{}, xs.data(), ys.data()), SrOk);
    EXPECT_EQ(xs, ys);
}

// A pulse at the last sample: nothing is searched behind it, and the peaks run downwards from the first of the
// largest sums. Its energy of 100 counts five times in the last sum.
TYPED_TEST(Wave, LastSampleAsMainPeak)
{
    using T = TypeParam;
    std::vector<T> x(200, T(0));
    x[199] = T(10);
    const auto s = reference::smoothed(reference::energies(x));
    ASSERT_EQ(reference::largest(s, 0, 200), 199);
    // Below it all are 0, and the first of a search's 55 wins: 199 - 79, 120 - 79, 41 - 41.
    EXPECT_EQ(reference::wave_peaks(s), (std::vector<int>{0, 41, 120, 199}));
    EXPECT_TRUE(weighs(x));
}

// Peaks of c below 121 look 25 to 79 further, the others to the end of the frame.
TYPED_TEST(Wave, EdgesOfTheSearches)
{
    using T = TypeParam;
    for (int main : {0, 1, 24, 25, 26, 27, 50, 78, 79, 80, 119, 120, 121, 122, 149, 150, 173, 174, 175, 176, 199})
        for (int distance : {-81, -80, -79, -78, -77, -26, -25, -24, -23, 23, 24, 25, 26, 77, 78, 79, 80, 81}) {
            if (main + distance < 0 || main + distance > 199) continue;
            std::vector<T> x(200, T(0));
            x[static_cast<std::size_t>(main)] = T(2000);
            x[static_cast<std::size_t>(main + distance)] = T(1000);
            ASSERT_TRUE(weighs(x)) << main << ", " << distance;
        }
}

// Peaks at all distances from 25 to 79 give every reach, and 16-bit ones another than 0.8.
TYPED_TEST(Wave, EveryDistance)
{
    using T = TypeParam;
    for (int distance = 25; distance <= 79; ++distance)
        for (int first = 5; first < 30; first += 6) {
            std::vector<T> x;
            for (int i = 0; i < 200; ++i) x.push_back(static_cast<T>(i % 2 == 0 ? 20 : 21));
            for (int at = first; at < 200; at += distance) x[static_cast<std::size_t>(at)] = T(5000 - at);
            ASSERT_TRUE(weighs(x)) << first << ", " << distance;
        }
}

// --- the types' own ---

TEST(WaveValues, IntegerEnergiesWrapInTheirSums)
{
    // Alternating extremes: an energy is 2^31 - 2^15 at most, nine of them wrap.
    std::vector<int16_t> x;
    for (int i = 0; i < 200; ++i) x.push_back(i % 2 == 0 ? INT16_MIN : INT16_MAX);
    ASSERT_TRUE(weighs(x));
    const auto s = reference::smoothed(reference::energies(x));
    EXPECT_TRUE(std::any_of(s.begin(), s.end(), [](int32_t v) { return v < 0; }));
    for (int turn = 0; turn < (thin_effort() ? 20 : 300); ++turn) {
        for (int16_t& v : x) v = uniform(0, 1) == 0 ? INT16_MIN : uniform(0, 1) == 0 ? INT16_MAX : int16_t(0);
        ASSERT_TRUE(weighs(x));
    }
}

// Products with 27, 38 and 32 in Q5: halves to even, saturated.
TEST(WaveValues, IntegerProductsRoundAndSaturate)
{
    std::vector<int16_t> x(200);
    for (int turn = 0; turn < 20; ++turn) {
        for (int16_t& v : x) v = static_cast<int16_t>(16 * uniform(-2048, 2047));
        ASSERT_TRUE(weighs(x)) << "halves";
    }
    // A constant frame keeps its grid of peaks: sample 0 is high, 20 low on the way down to the next transition.
    std::vector<int16_t> y(200);
    for (auto [value, high, low] : {std::array<int, 3>{32767, 32767, 27647},
                                    {-32768, -32768, -27648},
                                    {16, 19, 14},
                                    {48, 57, 40},
                                    {-16, -19, -14},
                                    {27593, 32767, 23282},
                                    {1, 1, 1}}) {
        x.assign(200, static_cast<int16_t>(value));
        ASSERT_EQ(wave(Direct{}, x.data(), y.data()), SrOk);
        EXPECT_EQ(y[0], high) << value;
        EXPECT_EQ(y[199], low) << value;
    }
}

TEST(WaveValues, SinglesOfAllMagnitudes)
{
    for (int exponent : {-149, -126, -80, -64, -60, -20, 20, 60, 63, 64, 100, 127})
        for (int turn = 0; turn < 10; ++turn) {
            std::vector<float> x = random_frame<float>();
            for (float& v : x) v = std::ldexp(v, exponent - 15);
            std::vector<float> y(200);
            ASSERT_EQ(wave(Direct{}, x.data(), y.data()), SrOk);
            if (exponent <= 60) {
                ASSERT_TRUE(same_values(reference::wave_processing(x), y)) << exponent;
            }
        }
}

// Which peaks a frame with infinite or undefined energies has is open; that each sample takes one of the weights,
// and nothing beside the frame is touched, is not.
TEST(WaveValues, FramesThatAreNoNumbersStayInTheirBounds)
{
    for (int turn = 0; turn < (thin_effort() ? 20 : 400); ++turn) {
        std::vector<float> x = random_frame<float>();
        if (turn % 2 == 0)
            for (float& v : x) v = random_bits_float();
        for (int bad = turn % 7; bad > 0; --bad)
            x[static_cast<std::size_t>(uniform(0, 199))] = special_values<float>()[generator()() % 16];
        if (turn == 1) x.assign(200, std::numeric_limits<float>::quiet_NaN());
        if (turn == 3) x.assign(200, std::numeric_limits<float>::infinity());
        if (turn == 5) x.assign(200, 1e30F);
        Guarded<float> source(x), result(200);
        ASSERT_EQ(wave(Direct{}, source.data(), result.data()), SrOk);
        ASSERT_TRUE(result.intact());
        for (std::size_t i = 0; i < 200; ++i) {
            const float y = result.get(i);
            ASSERT_TRUE(same(y, x[i] * 0.8F) || same(y, x[i] * 1.2F) || same(y, x[i])) << i << ": " << x[i];
        }
    }
}

// --- checks, memory, environment, stack ---

TYPED_TEST(Wave, ChecksItsPointers)
{
    using T = TypeParam;
    struct Arguments {
        const T* src;
        T* dst;
    };
    const Guarded<T> source(std::vector<T>(200, T(1)));
    Guarded<T> result(200);
    expect_check_order<Arguments>({source.data(), result.data()},
                                  {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                                   {"null result", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }}},
                                  [](const Arguments& a) { return wave(Direct{}, a.src, a.dst); }, {&result});
}

TYPED_TEST(Wave, TakesNoMemory)
{
    const std::vector<TypeParam> x = random_frame<TypeParam>();
    std::vector<TypeParam> y(200);
    const AllocatorWatch watch;
    EXPECT_EQ(wave(Direct{}, x.data(), y.data()), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

TEST(WaveValues, IntegersAreTheSameInEachEnvironment)
{
    const std::vector<int16_t> x = random_frame<int16_t>(), expected = reference::wave_processing(x);
    std::vector<int16_t> y(200);
    under_each_environment([&] { wave(Direct{}, x.data(), y.data()); },
                           [&](const std::string& setting) {
                               EXPECT_TRUE(same_values(expected, y)) << setting;
                               y.assign(200, -1);
                           });
}

#ifdef __i386__
TYPED_TEST(Wave, RunsOnAnyStack)
{
    using T = TypeParam;
    const std::vector<T> x = random_frame<T>();
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<T> y(200);
        EXPECT_EQ(wave(OnOddStack{misalign}, x.data(), y.data()), SrOk);
        EXPECT_TRUE(same_values(reference::wave_processing(x), y));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
