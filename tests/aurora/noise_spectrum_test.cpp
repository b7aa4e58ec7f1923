// Updates of the noise spectrum.
#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <bit>
#include <limits>
#include <string>
#include <vector>

#include "aurora/bins.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/reference/aurora_spectrum.h"
#include "zelsr/aurora/spectrum.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kLargest = std::numeric_limits<float>::max();

auto to_16s(int32_t sf)
{
    return [sf](const int16_t* a, const int16_t* b, int16_t* dst, int32_t len) {
        return zelsNoiseSpectrumUpdate_Aurora_16s_Sfs(a, b, dst, len, sf);
    };
}
auto to_32s(int32_t sf)
{
    return [sf](const int32_t* a, const int32_t* b, int32_t* dst, int32_t len) {
        return zelsNoiseSpectrumUpdate_Aurora_32s_Sfs(a, b, dst, len, sf);
    };
}
template <class T>
std::vector<T> updates(const Spectra<T, 2>& of, int32_t sf)
{
    std::vector<T> all;
    for (std::size_t i = 0; i < of[0].size(); ++i) all.push_back(reference::noise(of[0][i], of[1][i], sf));
    return all;
}
// One function's two integer forms, by type.
testing::AssertionResult updates_as_stated(const Spectra<int16_t, 2>& of, int32_t sf,
                                           const std::array<Placement, 3>& places = {})
{
    return bins(of, to_16s(sf), equal_to(updates(of, sf)), places);
}
testing::AssertionResult updates_as_stated(const Spectra<int32_t, 2>& of, int32_t sf,
                                           const std::array<Placement, 3>& places = {})
{
    return bins(of, to_32s(sf), equal_to(updates(of, sf)), places);
}

// Singles, within the error of two estimated reciprocals; the exact zeros exactly.
auto within_the_band(const Spectra<float, 2>& of)
{
    return [of](const std::vector<float>& actual) -> testing::AssertionResult {
        for (std::size_t i = 0; i < actual.size(); ++i) {
            const reference::NoiseBand band = reference::noise(of[0][i], of[1][i]);
            if (!(std::abs(static_cast<double>(actual[i]) - band.value) <= band.tolerance))
                return testing::AssertionFailure()
                       << "element " << i << " of " << of[0][i] << " and " << of[1][i] << ": " << actual[i]
                       << ", expected " << band.value << " within " << band.tolerance;
        }
        return testing::AssertionSuccess();
    };
}

Spectra<float, 2> powers(int count)
{
    Spectra<float, 2> of;
    for (int i = 0; i < count; ++i) {
        const float level = std::exp2(uniform(-60.0F, 60.0F));
        of[0].push_back(level * std::exp2(uniform(-9.0F, 9.0F)));
        of[1].push_back(level * std::exp2(uniform(-9.0F, 9.0F)));
        switch (generator()() % 8) {
            case 0:
                of[0].back() = -of[1].back();
                break;
            case 1:
                of[0].back() = 0;
                break;
            case 2:
                of[1].back() = 0;
                break;
            case 3:
                of[0].back() *= -1;
                break;
            default:
                break;
        }
    }
    return of;
}
template <class T>
Spectra<T, 2> integers(int count)
{
    const std::vector<T> special = special_values<T>();
    Spectra<T, 2> of;
    for (int i = 0; i < count; ++i) {
        for (std::vector<T>& x : of)
            x.push_back(generator()() % 10 == 0 ? special[generator()() % special.size()]
                                                : static_cast<T>(uniform(std::numeric_limits<T>::min(),
                                                                         std::numeric_limits<T>::max()) >>
                                                                 uniform(0, int{8 * sizeof(T)} - 1)));
        if (generator()() % 16 == 0 && of[1].back() != std::numeric_limits<T>::min())
            of[0].back() = static_cast<T>(-of[1].back());
    }
    return of;
}

TEST(NoiseSpectrum, SinglesAtEveryLengthAndAddress)
{
    at_every_place<3>(lengths(8), {4, 4, 4}, [](int length, const std::array<Placement, 3>& at) {
        const Spectra<float, 2> of = powers(length);
        return bins(of, zelsNoiseSpectrumUpdate_Aurora_32f, within_the_band(of), at);
    });
}

TEST(NoiseSpectrum, ShortIntegersAtEveryLengthAndAddress)
{
    at_every_place<3>(lengths(8), {2, 2, 2}, [](int length, const std::array<Placement, 3>& at) {
        return updates_as_stated(integers<int16_t>(length), uniform(-6, 6), at);
    });
}

TEST(NoiseSpectrum, IntegersAtEveryLengthAndAddress)
{
    at_every_place<3>(lengths(8), {4, 4, 4}, [](int length, const std::array<Placement, 3>& at) {
        return updates_as_stated(integers<int32_t>(length), uniform(-6, 6), at);
    });
}

TEST(NoiseSpectrum, LongSpectra)
{
    const Spectra<float, 2> of = powers(65537);
    EXPECT_TRUE(bins(of, zelsNoiseSpectrumUpdate_Aurora_32f, within_the_band(of)));
    EXPECT_TRUE(updates_as_stated(integers<int16_t>(65537), 0));
    EXPECT_TRUE(updates_as_stated(integers<int32_t>(65537), 0));
}

TEST(NoiseSpectrum, EveryScaleFactor)
{
    for (int32_t sf : scale_factors()) {
        ASSERT_TRUE(updates_as_stated(integers<int16_t>(40), sf)) << sf;
        ASSERT_TRUE(updates_as_stated(integers<int32_t>(40), sf)) << sf;
    }
}

TEST(NoiseSpectrum, EveryPairOfSpecialIntegers)
{
    Spectra<int16_t, 2> of;
    Spectra<int32_t, 2> of_32s;
    for (int32_t a : special_values<int32_t>())
        for (int32_t b : special_values<int32_t>()) {
            of_32s[0].push_back(a);
            of_32s[1].push_back(b);
            of[0].push_back(static_cast<int16_t>(a >> 16));
            of[1].push_back(static_cast<int16_t>(b >> 16));
        }
    for (int a = -45; a <= 45; ++a)
        for (int b = -45; b <= 45; ++b) {
            of[0].push_back(static_cast<int16_t>(a));
            of[1].push_back(static_cast<int16_t>(b));
            of_32s[0].push_back(a);
            of_32s[1].push_back(b);
        }
    for (int32_t sf : {0, 1, -1, -5, -10, -128, 150}) {
        EXPECT_TRUE(updates_as_stated(of, sf)) << sf;
        EXPECT_TRUE(updates_as_stated(of_32s, sf)) << sf;
    }
}

template <class T, class Call, class Accept>
void expect_may_replace_a_source(const Spectra<T, 2>& of, Call call, Accept accept)
{
    for (std::size_t replaced = 0; replaced < 2; ++replaced) {
        Spectra<T, 2> x = of;
        ASSERT_EQ(call(x[0].data(), x[1].data(), x[replaced].data(), static_cast<int32_t>(x[0].size())), SrOk);
        EXPECT_TRUE(accept(x[replaced])) << replaced;
    }
}

TEST(NoiseSpectrum, MayReplaceASource)
{
    const Spectra<float, 2> of = powers(47);
    expect_may_replace_a_source(of, zelsNoiseSpectrumUpdate_Aurora_32f, within_the_band(of));
    const Spectra<int16_t, 2> x = integers<int16_t>(47);
    expect_may_replace_a_source(x, to_16s(0), equal_to(updates(x, 0)));
    const Spectra<int32_t, 2> y = integers<int32_t>(47);
    expect_may_replace_a_source(y, to_32s(0), equal_to(updates(y, 0)));
}

// --- singles by value ---

// Whatever else lies in the register, and in the single bins behind it.
void expect_bin(float a, float b, std::vector<float> any_of)
{
    for (int length : {1, 2, 4, 7, 8, 13})
        for (int at = 0; at < length; ++at) {
            const auto size = static_cast<std::size_t>(length), i = static_cast<std::size_t>(at);
            Spectra<float, 2> of = {std::vector<float>(size, 3.0F), std::vector<float>(size, 5.0F)};
            of[0][i] = a;
            of[1][i] = b;
            EXPECT_TRUE(bins(of, zelsNoiseSpectrumUpdate_Aurora_32f, [&](const std::vector<float>& out) {
                bool found = false;
                for (float value : any_of) found = found || same(value, out[i]);
                for (std::size_t other = 0; other < size; ++other)
                    found = found && (other == i || std::abs(out[other] - 4.8644F) < 0.002F);
                if (found) return testing::AssertionSuccess();
                return testing::AssertionFailure() << a << " and " << b << " gave " << out[i];
            }));
        }
}

TEST(NoiseSpectrum, ZeroSumsGiveZero)
{
    for (float x : {0.0F, 1.0F, -1.0F, 1e-45F, 1e-30F, 1e30F, kLargest, 0.7F}) {
        expect_bin(x, -x, {0.0F});
        expect_bin(-x, x, {0.0F});
    }
    // 0.1 a as a single, rounded toward zero.
    for (float a : {1.0F, 10.0F, 1e10F, -1.0F}) {
        const float tenth = std::nextafter(0.1F * a, 0.0F);
        for (float b : {tenth, 0.1F * a})
            EXPECT_TRUE(bins(Spectra<float, 2>{{{a}, {-b}}}, zelsNoiseSpectrumUpdate_Aurora_32f,
                             within_the_band({{{a}, {-b}}})));
    }
    expect_bin(1.0F, -0.1F, {0.0F});
    expect_bin(-1.0F, 0.1F, {0.0F});
}

// The default not-a-number, 0xffc00000, gives 0 wherever it comes from; another one passes.
TEST(NoiseSpectrum, OnlyTheDefaultNotANumberGivesZero)
{
    const float default_nan = std::bit_cast<float>(0xffc00000u), nan = std::bit_cast<float>(0x7fc00000u);
    expect_bin(kInfinity, 1, {0.0F});
    expect_bin(1, kInfinity, {0.0F});
    expect_bin(kInfinity, kInfinity, {0.0F});
    expect_bin(-kInfinity, kInfinity, {0.0F});
    expect_bin(kInfinity, -kInfinity, {0.0F});
    expect_bin(-kInfinity, 1, {0.0F});
    expect_bin(default_nan, 1, {0.0F});
    expect_bin(1, default_nan, {0.0F});
    expect_bin(nan, 1, {nan});
    expect_bin(1, nan, {nan});
    expect_bin(std::bit_cast<float>(0xffc00001u), 1, {nan});
    expect_bin(1, std::bit_cast<float>(0x7fc12345u), {nan});
}

TEST(NoiseSpectrum, SubnormalSumsHaveAnInfiniteReciprocal)
{
    const volatile float subnormal = 1e-40F;
    _MM_SET_ROUNDING_MODE(_MM_ROUND_TOWARD_ZERO);
    const volatile float estimate = reference::estimate(subnormal);
    _MM_SET_ROUNDING_MODE(_MM_ROUND_NEAREST);
    if (!std::isinf(estimate)) return;  // an emulator's estimate is a quotient in this mode
    expect_bin(1e-40F, 1e-40F, {kInfinity});
    expect_bin(0.0F, 1e-40F, {0.0F});
}

// Both estimates' errors together, through the share that they have in the result.
TEST(NoiseSpectrum, PositiveSinglesAreNearTheTrueUpdate)
{
    Spectra<float, 2> of;
    for (int i = 0; i < 20000; ++i) {
        of[0].push_back(std::exp2(uniform(-20.0F, 20.0F)));
        of[1].push_back(std::exp2(uniform(-20.0F, 20.0F)));
    }
    EXPECT_TRUE(bins(of, zelsNoiseSpectrumUpdate_Aurora_32f, [&](const std::vector<float>& out) {
        for (std::size_t i = 0; i < out.size(); ++i) {
            const double a = of[0][i], b = of[1][i],
                         truth = b * (0.9 + 0.1 * (a / (a + b)) * (b / (0.1 * a + b) + 1));
            if (!(std::abs(out[i] / truth - 1) < 1e-4)) return testing::AssertionFailure() << a << " and " << b;
        }
        return testing::AssertionSuccess();
    }));
}

// Without a the estimates play no part: b * 0.9, towards zero.
TEST(NoiseSpectrum, SinglesAreRoundedTowardZero)
{
    if (under_valgrind()) return;  // it always rounds to nearest
    Spectra<float, 2> of;
    std::vector<float> expected;
    bool shows = false;
    for (int i = 0; i < 1000; ++i) {
        const float b = uniform(-1.0F, 1.0F) * std::exp2(uniform(-60.0F, 60.0F));
        const float nearest = b * 0.9F;
        const double exact = static_cast<double>(b) * static_cast<double>(0.9F);
        const bool away = std::abs(static_cast<double>(nearest)) > std::abs(exact);
        shows = shows || away;
        of[0].push_back(0);
        of[1].push_back(b);
        expected.push_back(away ? std::nextafter(nearest, 0.0F) : nearest);
    }
    EXPECT_TRUE(shows);
    EXPECT_TRUE(bins(of, zelsNoiseSpectrumUpdate_Aurora_32f, equal_to(expected)));
    for (unsigned mode : {_MM_ROUND_UP, _MM_ROUND_DOWN, _MM_ROUND_TOWARD_ZERO}) {
        _MM_SET_ROUNDING_MODE(mode);
        const auto right = bins(of, zelsNoiseSpectrumUpdate_Aurora_32f, equal_to(expected));
        const unsigned kept = _MM_GET_ROUNDING_MODE();
        _MM_SET_ROUNDING_MODE(_MM_ROUND_NEAREST);
        EXPECT_TRUE(right) << mode;
        EXPECT_EQ(kept, mode);
    }
}

// --- integers by value ---

TEST(NoiseSpectrum, IntegersByValue)
{
    // 100 * (0.9 + 0.1 * 0.5 * (1 / 1.1 + 1)) = 99.545...
    EXPECT_TRUE(bins(Spectra<int16_t, 2>{{{100, 0, 100, 0, -100, 1000}, {100, 100, 0, 0, -100, 10}}}, to_16s(0),
                     equal_to(std::vector<int16_t>{99, 90, 0, 0, -99, 10})));
    EXPECT_TRUE(bins(Spectra<int32_t, 2>{{{100, 0, 100, 0, -100, 1000}, {100, 100, 0, 0, -100, 10}}}, to_32s(0),
                     equal_to(std::vector<int32_t>{99, 90, 0, 0, -99, 10})));
    EXPECT_TRUE(
        bins(Spectra<int16_t, 2>{{{100, 100}, {100, -100}}}, to_16s(-4), equal_to(std::vector<int16_t>{1592, 0})));
    EXPECT_TRUE(
        bins(Spectra<int32_t, 2>{{{100, 100}, {100, -100}}}, to_32s(3), equal_to(std::vector<int32_t>{12, 0})));
}

TEST(NoiseSpectrum, SmallSecondSumGivesZero)
{
    // 0.1 a + b: 0.9 and -0.9 count as zero, 1 and -1 do not.
    EXPECT_TRUE(bins(
        Spectra<int16_t, 2>{{{9, -9, 10, 1, -1, 11, -11, 30}, {0, 0, 0, 1, -1, -1, 1, -2}}}, to_16s(-8),
        equal_to(updates(Spectra<int16_t, 2>{{{0, 0, 10, 1, -1, 0, 0, 30}, {0, 0, 0, 1, -1, 0, 0, -2}}}, -8))));
    const auto one = [](int32_t a, int32_t b) { return reference::noise(a, b, 0); };
    EXPECT_EQ(one(11, -1), 0);
    EXPECT_NE(one(-21, 4), 0);
}

TEST(NoiseSpectrum, ShortIntegersSaturate)
{
    EXPECT_TRUE(bins(Spectra<int16_t, 2>{{{32767, 32767, -32768}, {32767, 32767, -32768}}}, to_16s(-1),
                     equal_to(std::vector<int16_t>{32767, 32767, -32768})));
    EXPECT_TRUE(bins(Spectra<int16_t, 2>{{{1, -1, 5}, {1, -1, 0}}}, to_16s(-128),
                     equal_to(std::vector<int16_t>{32767, -32768, 0})));
    // Zero times an infinite scale is not a number, which counts as the lowest.
    EXPECT_TRUE(bins(Spectra<int16_t, 2>{{{100}, {0}}}, to_16s(-128), equal_to(std::vector<int16_t>{-32768})));
    EXPECT_TRUE(bins(Spectra<int16_t, 2>{{{100}, {0}}}, to_16s(-127), equal_to(std::vector<int16_t>{0})));
}

// Kept: what is too high becomes the lowest integer, as what is too low.
TEST(NoiseSpectrum, IntegersTooHighTurnIntoTheLowest)
{
    const int32_t low = INT32_MIN, high = INT32_MAX;
    EXPECT_TRUE(bins(
        Spectra<int32_t, 2>{{{high, 1 << 30, -(1 << 30), 1, -1, 0}, {high, 1 << 30, -(1 << 30), 1, -1, high}}},
        to_32s(-1), equal_to(std::vector<int32_t>{low, 2137722368, -2137722368, 1, -1, low})));
    EXPECT_TRUE(bins(Spectra<int32_t, 2>{{{1, -1, 5, 100}, {1, -1, 0, 0}}}, to_32s(-128),
                     equal_to(std::vector<int32_t>{low, low, 0, low})));
}

// Kept: the tested sum wraps; the one that divides is a sum of singles, and may be zero where the other is not.
TEST(NoiseSpectrum, SumsOfLargeIntegers)
{
    const int32_t low = INT32_MIN;
    EXPECT_TRUE(bins(Spectra<int32_t, 2>{{{low, low, 16777217}, {low, low + 1, -16777216}}}, to_32s(0),
                     equal_to(std::vector<int32_t>{0, -2137722368, low})));
}

// --- checks and environment ---

template <class T, class Call>
void expect_checks(Call call)
{
    struct Arguments {
        const T *a, *b;
        T* dst;
        int32_t len;
    };
    const Guarded<T> a(std::vector<T>(20, T(1))), b(std::vector<T>(20, T(1)));
    Guarded<T> dst(20);
    const AllocatorWatch watch;
    expect_check_order<Arguments>({a.data(), b.data(), dst.data(), 20},
                                  {{"null a", SrErrNullPtr, [](Arguments& x) { x.a = nullptr; }},
                                   {"null b", SrErrNullPtr, [](Arguments& x) { x.b = nullptr; }},
                                   {"null result", SrErrNullPtr, [](Arguments& x) { x.dst = nullptr; }},
                                   {"length 0", SrErrSize, [](Arguments& x) { x.len = 0; }},
                                   {"length -1", SrErrSize, [](Arguments& x) { x.len = -1; }},
                                   {"lowest length", SrErrSize, [](Arguments& x) { x.len = INT32_MIN; }}},
                                  [&](const Arguments& x) { return call(x.a, x.b, x.dst, x.len); }, {&dst});
    EXPECT_EQ(call(a.data(), b.data(), dst.data(), 20), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

TEST(NoiseSpectrum, ChecksNullThenLength)
{
    expect_checks<float>(zelsNoiseSpectrumUpdate_Aurora_32f);
    for (int32_t sf : {0, -1000, INT32_MIN, INT32_MAX}) {
        expect_checks<int16_t>(to_16s(sf));
        expect_checks<int32_t>(to_32s(sf));
    }
}

TEST(NoiseSpectrum, IsTheSameInEachEnvironment)
{
    const Spectra<int16_t, 2> x = integers<int16_t>(67);
    const Spectra<int32_t, 2> y = integers<int32_t>(67);
    const Spectra<float, 2> z = powers(67);
    std::vector<int16_t> out_x(67);
    std::vector<int32_t> out_y(67);
    std::vector<float> out_z(67), expected_z(67);
    zelsNoiseSpectrumUpdate_Aurora_32f(z[0].data(), z[1].data(), expected_z.data(), 67);
    under_each_environment(
        [&] {
            zelsNoiseSpectrumUpdate_Aurora_16s_Sfs(x[0].data(), x[1].data(), out_x.data(), 67, 1);
            zelsNoiseSpectrumUpdate_Aurora_32s_Sfs(y[0].data(), y[1].data(), out_y.data(), 67, 1);
            zelsNoiseSpectrumUpdate_Aurora_32f(z[0].data(), z[1].data(), out_z.data(), 67);
        },
        [&](const std::string& setting) {
            EXPECT_TRUE(same_values(updates(x, 1), out_x)) << setting;
            EXPECT_TRUE(same_values(updates(y, 1), out_y)) << setting;
            EXPECT_TRUE(same_values(expected_z, out_z)) << setting;
            out_x.assign(67, -1);
            out_y.assign(67, -1);
            out_z.assign(67, -1e30F);
        });
}

#ifdef __i386__
TEST(NoiseSpectrum, RunsOnAnyStack)
{
    const Spectra<int16_t, 2> x = integers<int16_t>(67);
    const Spectra<int32_t, 2> y = integers<int32_t>(67);
    const Spectra<float, 2> z = powers(67);
    std::vector<int16_t> out_x(67);
    std::vector<int32_t> out_y(67);
    std::vector<float> out_z(67);
    for (int misalign : {0, 4, 8, 12}) {
        EXPECT_EQ(call_misaligned(zelsNoiseSpectrumUpdate_Aurora_16s_Sfs, misalign, x[0].data(), x[1].data(),
                                  out_x.data(), 67, -1),
                  SrOk);
        EXPECT_EQ(call_misaligned(zelsNoiseSpectrumUpdate_Aurora_32s_Sfs, misalign, y[0].data(), y[1].data(),
                                  out_y.data(), 67, -1),
                  SrOk);
        EXPECT_EQ(call_misaligned(zelsNoiseSpectrumUpdate_Aurora_32f, misalign, z[0].data(), z[1].data(),
                                  out_z.data(), 67),
                  SrOk);
        EXPECT_TRUE(same_values(updates(x, -1), out_x));
        EXPECT_TRUE(same_values(updates(y, -1), out_y));
        EXPECT_TRUE(within_the_band(z)(out_z));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
