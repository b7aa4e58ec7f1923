// Wiener gains per bin, with their floor.
#include <gtest/gtest.h>

#include <xmmintrin.h>

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

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kFloor = 0.07943282F / (0.07943282F + 1.0F);

template <class T>
std::vector<T> gains(const Spectra<T, 3>& of)
{
    std::vector<T> all;
    for (std::size_t i = 0; i < of[0].size(); ++i)
        all.push_back(reference::wiener_design(of[0][i], of[1][i], of[2][i]));
    return all;
}
testing::AssertionResult designs(const Spectra<float, 3>& of, const std::array<Placement, 4>& places = {})
{
    return bins(of, zelsWienerFilterDesign_Aurora_32f, equal_to(gains(of)), places);
}
testing::AssertionResult designs(const Spectra<int16_t, 3>& of, const std::array<Placement, 4>& places = {})
{
    return bins(of, zelsWienerFilterDesign_Aurora_16s, equal_to(gains(of)), places);
}

// Powers around one level each bin, so that gains from the floor to 1 occur.
Spectra<float, 3> powers(int count)
{
    Spectra<float, 3> of;
    for (int i = 0; i < count; ++i) {
        const float level = std::exp2(uniform(-30.0F, 30.0F));
        for (std::vector<float>& spectrum : of) spectrum.push_back(level * std::exp2(uniform(-6.0F, 6.0F)));
    }
    return of;
}
Spectra<int16_t, 3> short_powers(int count)
{
    const std::vector<int16_t> special = special_values<int16_t>();
    Spectra<int16_t, 3> of;
    for (int i = 0; i < count; ++i)
        for (std::vector<int16_t>& spectrum : of)
            spectrum.push_back(generator()() % 8 == 0
                                   ? special[generator()() % special.size()]
                                   : static_cast<int16_t>(uniform(-32768, 32767) >> uniform(0, 15)));
    return of;
}

TEST(WienerDesign, SinglesAtEveryLengthAndAddress)
{
    at_every_place<4>(lengths(16), {4, 4, 4, 4},
                      [](int length, const std::array<Placement, 4>& at) { return designs(powers(length), at); });
}

TEST(WienerDesign, ShortIntegersAtEveryLengthAndAddress)
{
    at_every_place<4>(lengths(8), {2, 2, 2, 2}, [](int length, const std::array<Placement, 4>& at) {
        return designs(short_powers(length), at);
    });
}

template <class T, class Call>
void expect_may_replace_a_source(const Spectra<T, 3>& of, Call call)
{
    for (std::size_t replaced = 0; replaced < 3; ++replaced) {
        Spectra<T, 3> x = of;
        ASSERT_EQ(
            call(x[0].data(), x[1].data(), x[2].data(), x[replaced].data(), static_cast<int32_t>(x[0].size())),
            SrOk);
        EXPECT_TRUE(same_values(gains(of), x[replaced])) << replaced;
    }
}

TEST(WienerDesign, MayReplaceASource)
{
    expect_may_replace_a_source(powers(47), zelsWienerFilterDesign_Aurora_32f);
    expect_may_replace_a_source(short_powers(47), zelsWienerFilterDesign_Aurora_16s);
}

TEST(WienerDesign, LongSpectra)
{
    EXPECT_TRUE(designs(powers(65537)));
    EXPECT_TRUE(designs(short_powers(65537)));
}

// Within the error of the reciprocal's estimate, 1.5 * 2^-12, which enters the gain twice.
TEST(WienerDesign, SinglesAreNearTheTrueQuotient)
{
    const Spectra<float, 3> of = powers(2000);
    const auto near = [&](const std::vector<float>& actual) -> testing::AssertionResult {
        for (std::size_t i = 0; i < actual.size(); ++i) {
            const double p = of[0][i], n = of[1][i], d = of[2][i];
            const double e = (0.98 * d + 0.02 * std::max(p - n, 0.0)) / n;
            const double f = std::max(e / (e + 1) * p / n, 0.07943282), gain = f / (f + 1);
            if (!(std::abs(actual[i] / gain - 1) < 2 * 1.6 / 4096))
                return testing::AssertionFailure()
                       << p << " " << n << " " << d << ": " << actual[i] << ", not " << gain;
        }
        return testing::AssertionSuccess();
    };
    EXPECT_TRUE(bins(of, zelsWienerFilterDesign_Aurora_32f, near));
}

// All triples; at this many bins both wide and single steps meet them.
TEST(WienerDesign, SpecialSingles)
{
    std::vector<float> special = special_values<float>();
    for (float x : {2.0F, 100.0F, 1e-30F, 1e30F, 1e38F, 1e-38F}) special.push_back(x);
    Spectra<float, 3> of;
    for (float p : special)
        for (float n : special)
            for (float d : special) {
                of[0].push_back(p);
                of[1].push_back(n);
                of[2].push_back(d);
            }
    EXPECT_TRUE(designs(of));
    for (std::size_t first = 0; first < of[0].size(); first += 3) {
        Spectra<float, 3> few;
        for (std::size_t s = 0; s < 3; ++s)
            few[s] = window(of[s], static_cast<int>(first),
                            static_cast<int>(std::min<std::size_t>(3, of[s].size() - first)));
        ASSERT_TRUE(designs(few));
    }
}

TEST(WienerDesign, SinglesByValue)
{
    // No noise, no power, a not-a-number: the floor.
    const Spectra<float, 3> of = {{{0, 1, 0, 1, 1, kNaN, 1, 1, 1, 1, kInfinity, 0, 1, -4},
                                   {0, 0, 1, 1, 1, 1, kNaN, 1, kInfinity, -1, 1, kInfinity, 1, 1},
                                   {0, 1, 1, 0, 0.01F, 1, 1, kNaN, 1, 1, 1, 1, kInfinity, 1}}};
    EXPECT_TRUE(bins(of, zelsWienerFilterDesign_Aurora_32f, equal_to(std::vector<float>(14, kFloor))));
    const auto above = [](const std::vector<float>& h) {
        return testing::AssertionResult(h[0] > 0.9999F && h[0] <= 1 && h[1] > 0.3309F && h[1] < 0.3312F &&
                                        h[2] > 0.985F && h[2] < 0.986F);
    };
    // (98 / 99) * 100, 0.98 / 1.98, 0.68 = 0.02 * 34 above a noise of 1.
    EXPECT_TRUE(bins(Spectra<float, 3>{{{1e6F, 1, 100}, {1, 1, 1}, {1e6F, 1, 0.2F}}},
                     zelsWienerFilterDesign_Aurora_32f, above));
}

// Kept: a gain that overflows gives a not-a-number, for infinity over infinity.
TEST(WienerDesign, OverflowingGainIsNotANumber)
{
    for (int length : {1, 4, 8, 13})
        EXPECT_TRUE(bins(Spectra<float, 3>{std::vector<float>(static_cast<std::size_t>(length), 1e30F),
                                           std::vector<float>(static_cast<std::size_t>(length), 1e-9F),
                                           std::vector<float>(static_cast<std::size_t>(length), 0.0F)},
                         zelsWienerFilterDesign_Aurora_32f,
                         equal_to(std::vector<float>(static_cast<std::size_t>(length), kNaN))));
}

TEST(WienerDesign, SinglesNeverFallBelowTheFloor)
{
    const Spectra<float, 3> of = powers(5000);
    EXPECT_TRUE(bins(of, zelsWienerFilterDesign_Aurora_32f, [](const std::vector<float>& gain) {
        for (float g : gain)
            if (!(g >= kFloor && g <= 1)) return testing::AssertionFailure() << g;
        return testing::AssertionSuccess();
    }));
}

// --- short integers ---

TEST(WienerDesign, NoNoiseGivesTheFloor)
{
    Spectra<int16_t, 3> of;
    for (int16_t p : special_values<int16_t>())
        for (int16_t d : special_values<int16_t>()) {
            of[0].push_back(p);
            of[1].push_back(0);
            of[2].push_back(d);
        }
    EXPECT_TRUE(bins(of, zelsWienerFilterDesign_Aurora_16s, equal_to(std::vector<int16_t>(of[0].size(), 1206))));
}

TEST(WienerDesign, ShortIntegersByValue)
{
    // R = 16384 / 1, S = 4014 * 1: T = 4014, G = 4014 * 16384 / 8110 = 8109, x = (8109 >> 14) * R = 0: the floor.
    // P = 100, N = 100, D = 100: R = 163, S = 401400, M = 65428200, T = 3993, G = 65421312 / 8089 = 8087,
    // x = 49 * 163 = 7987, H = 1022336 / 190 = 5380.
    // P = 32767, N = 1, D = 0: R = 16384, S = 2686812, T = S, G = 44020727808 / 2690908 = 16359,
    // x = 32717 * 16384 = 536035328, H = (x << 7) / (4187776 + 128) = 16383.
    EXPECT_TRUE(bins(Spectra<int16_t, 3>{{{1, 100, 32767}, {1, 100, 1}, {1, 100, 0}}},
                     zelsWienerFilterDesign_Aurora_16s, equal_to(std::vector<int16_t>{1206, 5380, 16383})));
}

// d * 82 * R >> 14 or 4014 * D * R >> 14 at -4096: a division by zero counts as 0, which leaves the floor.
TEST(WienerDesign, DivisionByZeroGivesTheFloor)
{
    Spectra<int16_t, 3> of;
    for (int n = 1; n <= 16384; ++n)
        for (int32_t rise : {0, 1, 2, 5, 11, 23, 41}) {
            const int64_t r = 16384 / n;
            // D for which (82 * rise + 4014 * D) * R lies in the 2^14 numbers from -4096 * 2^14 on.
            const int64_t d = (-4096 * 16384 / r - 82 * rise) / 4014;
            for (int64_t near = d - 1; near <= d + 1; ++near)
                if (near >= INT16_MIN && n + rise <= INT16_MAX && ((82 * rise + 4014 * near) * r) >> 14 == -4096) {
                    // Without a rise any power will do; a negative one would bring a negative ratio above the
                    // floor.
                    of[0].push_back(static_cast<int16_t>(rise == 0 ? -n : n + rise));
                    of[1].push_back(static_cast<int16_t>(n));
                    of[2].push_back(static_cast<int16_t>(near));
                }
        }
    ASSERT_FALSE(of[0].empty());
    EXPECT_TRUE(bins(of, zelsWienerFilterDesign_Aurora_16s, equal_to(std::vector<int16_t>(of[0].size(), 1206))));
    EXPECT_TRUE(designs(of));
}

// Negative denominators just beside a division by zero make the largest intermediate values.
TEST(WienerDesign, NegativeShortIntegers)
{
    Spectra<int16_t, 3> of;
    const std::vector<int16_t> special = special_values<int16_t>();
    for (int n : {1, -1, 2, 3, 7, 100, 163, -163, 16384, 16385, -16384, 32767, -32768})
        for (int d = -4200; d <= 60; d += 3)
            for (int16_t p : special) {
                of[0].push_back(p);
                of[1].push_back(static_cast<int16_t>(n));
                of[2].push_back(static_cast<int16_t>(d));
            }
    EXPECT_TRUE(designs(of));
}

TEST(WienerDesign, ShortIntegersAllThePowers)
{
    for (int n : {1, 2, 50, 1000, -1, 30000})
        for (int16_t d : {int16_t{0}, int16_t{3}, int16_t{400}, int16_t{-2}}) {
            Spectra<int16_t, 3> of;
            for (int p = -32768; p <= 32767; p += 7) {
                of[0].push_back(static_cast<int16_t>(p));
                of[1].push_back(static_cast<int16_t>(n));
                of[2].push_back(d);
            }
            ASSERT_TRUE(designs(of)) << n << " " << d;
        }
}

// --- checks and environment ---

template <class T, class Call>
void expect_checks(Call call)
{
    struct Arguments {
        const T *power, *noise, *denoised;
        T* gain;
        int32_t len;
    };
    const Guarded<T> power(std::vector<T>(20, T(1))), noise(std::vector<T>(20, T(1))),
        denoised(std::vector<T>(20, T(1)));
    Guarded<T> gain(20);
    const AllocatorWatch watch;
    expect_check_order<Arguments>(
        {power.data(), noise.data(), denoised.data(), gain.data(), 20},
        {{"null power", SrErrNullPtr, [](Arguments& a) { a.power = nullptr; }},
         {"null noise", SrErrNullPtr, [](Arguments& a) { a.noise = nullptr; }},
         {"null denoised", SrErrNullPtr, [](Arguments& a) { a.denoised = nullptr; }},
         {"null gain", SrErrNullPtr, [](Arguments& a) { a.gain = nullptr; }},
         {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
         {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
         {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
        [&](const Arguments& a) { return call(a.power, a.noise, a.denoised, a.gain, a.len); }, {&gain});
    EXPECT_EQ(call(power.data(), noise.data(), denoised.data(), gain.data(), 20), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

TEST(WienerDesign, ChecksNullThenLength)
{
    expect_checks<float>(zelsWienerFilterDesign_Aurora_32f);
    expect_checks<int16_t>(zelsWienerFilterDesign_Aurora_16s);
}

TEST(WienerDesign, IntegersAreTheSameInEachEnvironment)
{
    const Spectra<int16_t, 3> of = short_powers(67);
    std::vector<int16_t> out(67);
    under_each_environment(
        [&] { zelsWienerFilterDesign_Aurora_16s(of[0].data(), of[1].data(), of[2].data(), out.data(), 67); },
        [&](const std::string& setting) {
            EXPECT_TRUE(same_values(gains(of), out)) << setting;
            out.assign(67, -1);
        });
}

TEST(WienerDesign, SinglesTakeTheRoundingMode)
{
    if (under_valgrind()) return;  // it always rounds to nearest
    const std::vector<float> zeros(13);
    for (unsigned mode : {_MM_ROUND_NEAREST, _MM_ROUND_UP, _MM_ROUND_DOWN, _MM_ROUND_TOWARD_ZERO}) {
        std::vector<float> out(13);
        _MM_SET_ROUNDING_MODE(mode);
        zelsWienerFilterDesign_Aurora_32f(zeros.data(), zeros.data(), zeros.data(), out.data(), 13);
        const volatile float floor = 0.07943282F;
        const volatile float above = floor + 1.0F;
        const volatile float gain = floor / above;
        _MM_SET_ROUNDING_MODE(_MM_ROUND_NEAREST);
        EXPECT_TRUE(same_values(std::vector<float>(13, float{gain}), out)) << mode;
    }
}

#ifdef __i386__
TEST(WienerDesign, RunsOnAnyStack)
{
    const Spectra<int16_t, 3> x = short_powers(67);
    const Spectra<float, 3> y = powers(67);
    std::vector<int16_t> out(67);
    std::vector<float> singles(67);
    for (int misalign : {0, 4, 8, 12}) {
        EXPECT_EQ(call_misaligned(zelsWienerFilterDesign_Aurora_16s, misalign, x[0].data(), x[1].data(),
                                  x[2].data(), out.data(), 67),
                  SrOk);
        EXPECT_EQ(call_misaligned(zelsWienerFilterDesign_Aurora_32f, misalign, y[0].data(), y[1].data(),
                                  y[2].data(), singles.data(), 67),
                  SrOk);
        EXPECT_TRUE(same_values(gains(x), out));
        EXPECT_TRUE(same_values(gains(y), singles));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
