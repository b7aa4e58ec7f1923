// Power spectra at half the resolution, out of packed spectra.
#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <limits>
#include <string>
#include <vector>

#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/aurora_spectrum.h"
#include "zelsr/aurora/spectrum.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();

auto to_32s(int32_t sf)
{
    return [sf](const int32_t* x, int32_t* out, int32_t n) {
        return zelsSmoothedPowerSpectrumAurora_32s_Sfs(x, out, n, sf);
    };
}
auto to_64s(int32_t sf)
{
    return [sf](const int32_t* x, int64_t* out, int32_t n) {
        return zelsSmoothedPowerSpectrumAurora_32s64s_Sfs(x, out, n, sf);
    };
}

std::vector<int> sizes()
{
    std::vector<int> all;
    for (int m : lengths(8)) all.push_back(4 * m);
    return all;
}
template <class T>
std::vector<T> integers(int count)
{
    const std::vector<T> special = special_values<T>();
    std::vector<T> x;
    for (int i = 0; i < count; ++i)
        x.push_back(generator()() % 8 == 0
                        ? special[generator()() % special.size()]
                        : static_cast<T>(uniform(std::numeric_limits<T>::min(), std::numeric_limits<T>::max()) >>
                                         uniform(0, int{8 * sizeof(T)} - 1)));
    return x;
}
std::vector<float> singles(int count)
{
    const std::vector<float> special = special_values<float>();
    std::vector<float> x;
    for (int i = 0; i < count; ++i)
        x.push_back(generator()() % 16 == 0 ? special[generator()() % special.size()]
                                            : uniform(-1.0F, 1.0F) * std::exp2(uniform(-20.0F, 20.0F)));
    return x;
}

TEST(SmoothedSpectrum, SinglesAtEverySizeAndAddress)
{
    at_every_place<2>(sizes(), {4, 4}, [&](int n, const std::array<Placement, 2>& at) {
        const std::vector<float> x = singles(n);
        return maps(x, reference::smoothed(x), zelsSmoothedPowerSpectrumAurora_32f, at[0], at[1]);
    });
}

TEST(SmoothedSpectrum, ShortIntegersAtEverySizeAndAddress)
{
    at_every_place<2>(sizes(), {2, 2}, [&](int n, const std::array<Placement, 2>& at) {
        const std::vector<int16_t> x = integers<int16_t>(n);
        return maps(x, reference::smoothed(x), zelsSmoothedPowerSpectrumAurora_16s, at[0], at[1]);
    });
}

TEST(SmoothedSpectrum, IntegersAtEverySizeAndAddress)
{
    at_every_place<2>(sizes(), {4, 4}, [&](int n, const std::array<Placement, 2>& at) {
        const std::vector<int32_t> x = integers<int32_t>(n);
        const int32_t sf = uniform(-4, 40);
        return maps(x, reference::smoothed_32s(x, sf), to_32s(sf), at[0], at[1]);
    });
}

TEST(SmoothedSpectrum, LongIntegersAtEverySizeAndAddress)
{
    at_every_place<2>(sizes(), {4, 8}, [&](int n, const std::array<Placement, 2>& at) {
        const std::vector<int32_t> x = integers<int32_t>(n);
        const int32_t sf = uniform(-40, 40);
        return maps(x, reference::smoothed_64s(x, sf), to_64s(sf), at[0], at[1]);
    });
}

TEST(SmoothedSpectrum, LongSpectra)
{
    for (int n : {256, 512, 65536}) {
        const std::vector<float> x = singles(n);
        EXPECT_TRUE(maps(x, reference::smoothed(x), zelsSmoothedPowerSpectrumAurora_32f));
        const std::vector<int16_t> y = integers<int16_t>(n);
        EXPECT_TRUE(maps(y, reference::smoothed(y), zelsSmoothedPowerSpectrumAurora_16s));
        const std::vector<int32_t> z = integers<int32_t>(n);
        EXPECT_TRUE(maps(z, reference::smoothed_32s(z, 20), to_32s(20)));
        EXPECT_TRUE(maps(z, reference::smoothed_64s(z, -3), to_64s(-3)));
    }
}

TEST(SmoothedSpectrum, EveryScaleFactor)
{
    for (int32_t sf : scale_factors()) {
        std::vector<int32_t> x = integers<int32_t>(24);
        x[1] = uniform(-70000, 70000);
        ASSERT_TRUE(maps(x, reference::smoothed_32s(x, sf), to_32s(sf))) << sf;
        ASSERT_TRUE(maps(x, reference::smoothed_64s(x, sf), to_64s(sf))) << sf;
    }
}

// --- by value ---

// The Nyquist value has weight 1, all others have 1/2.
TEST(SmoothedSpectrum, SmallestSize)
{
    EXPECT_TRUE(
        maps(std::vector<float>{1, 3, 4, 5}, std::vector<float>{21, 9}, zelsSmoothedPowerSpectrumAurora_32f));
    EXPECT_TRUE(
        maps(std::vector<int16_t>{1, 3, 4, 5}, std::vector<int16_t>{20, 9}, zelsSmoothedPowerSpectrumAurora_16s));
    EXPECT_TRUE(maps(std::vector<int32_t>{1, 3, 4, 5}, std::vector<int32_t>{20, 9}, to_32s(0)));
    EXPECT_TRUE(maps(std::vector<int32_t>{1, 3, 4, 5}, std::vector<int64_t>{20, 9}, to_64s(0)));
}

TEST(SmoothedSpectrum, SinglesByValue)
{
    EXPECT_TRUE(maps(std::vector<float>{2, 3, 4, 6, 1, 2, 3, 4}, std::vector<float>{28, 15, 9},
                     zelsSmoothedPowerSpectrumAurora_32f));
    EXPECT_TRUE(maps(std::vector<float>{1e20F, -0.0F, 0, 0, -kInfinity, 0, 0, 1, kNaN, 1, 1, 1},
                     std::vector<float>{kInfinity, kInfinity, kNaN, 0}, zelsSmoothedPowerSpectrumAurora_32f));
    // Each order of the sum shows: 2^24 swallows one 1, not two.
    EXPECT_TRUE(maps(std::vector<float>{4096, 0, 1, 1, 4096, 1, 1, 1, 1, 1, 1, 4096},
                     std::vector<float>{8388608, 8388609, 8388609, 0}, zelsSmoothedPowerSpectrumAurora_32f));
    EXPECT_TRUE(maps(std::vector<float>{1, 0, 1, 4096, 1, 4096, 1, 1}, std::vector<float>{8388609, 8388609, 0},
                     zelsSmoothedPowerSpectrumAurora_32f));
}

// Every square is halved for itself, its fraction dropped: four ones give 0, not 2.
TEST(SmoothedSpectrum, ShortIntegersDropEveryHalf)
{
    EXPECT_TRUE(maps(std::vector<int16_t>{1, 1, -1, 1, 1, -1, 1, 1, 3, 3, 3, 3}, std::vector<int16_t>{0, 0, 16, 1},
                     zelsSmoothedPowerSpectrumAurora_16s));
}

TEST(SmoothedSpectrum, ShortIntegersSaturate)
{
    EXPECT_TRUE(maps(std::vector<int16_t>{0, 181, 0, 255, 256, 0, 0, 0, 181, 181, 0, 0, 255, 22, 4, 2},
                     std::vector<int16_t>{32512, 32767, 32760, 32764, 32761},
                     zelsSmoothedPowerSpectrumAurora_16s));
    EXPECT_TRUE(maps(std::vector<int16_t>{-32768, 182, -32768, -32768, 0, 0, -32768, -32768},
                     std::vector<int16_t>{32767, 32767, 32767}, zelsSmoothedPowerSpectrumAurora_16s));
    EXPECT_TRUE(maps(std::vector<int16_t>{32767, -32768, 0, 0}, std::vector<int16_t>{32767, 32767},
                     zelsSmoothedPowerSpectrumAurora_16s));
}

// Kept: four lowest integers wrap to the lowest result; one of them a step nearer to zero and it saturates
// upwards.
TEST(SmoothedSpectrum, FourLowestShortIntegersTurnNegative)
{
    for (int m : {2, 3, 4, 5, 8, 9, 17}) {
        std::vector<int16_t> x(static_cast<std::size_t>(4 * m), -32768),
            y(static_cast<std::size_t>(m) + 1, -32768);
        y.front() = y.back() = 32767;
        EXPECT_TRUE(maps(x, y, zelsSmoothedPowerSpectrumAurora_16s));
        for (std::size_t at = 4; at < x.size(); ++at) {
            std::vector<int16_t> nearer = x, all = y;
            nearer[at] = at % 2 == 0 ? -32767 : 32767;
            all[at / 4] = 32767;
            ASSERT_TRUE(maps(nearer, all, zelsSmoothedPowerSpectrumAurora_16s)) << at;
        }
    }
}

// Bin 0 halves every square by a shift; the bins between are rounded once, to nearest even.
TEST(SmoothedSpectrum, IntegersRoundOnlyInTheMiddle)
{
    EXPECT_TRUE(maps(std::vector<int32_t>{1, 1, 1, 1, 1, 0, 0, 0, 1, 1, 1, 0, 1, 1, 1, 1, 2, 1, 0, 0},
                     std::vector<int32_t>{0, 0, 2, 2, 2, 1}, to_32s(0)));
    EXPECT_TRUE(maps(std::vector<int32_t>{1, 1, 1, 1, 1, 0, 0, 0, 1, 1, 1, 0, 1, 1, 1, 1, 2, 1, 0, 0},
                     std::vector<int64_t>{0, 0, 0, 0, 2, 1}, to_64s(0)));
    EXPECT_TRUE(maps(std::vector<int32_t>{3, 3, 3, 3, 2, 0, 0, 0, 2, 1, 1, 0, 2, 2, 1, 1},
                     std::vector<int32_t>{6, 1, 2, 2, 4}, to_32s(1)));
    EXPECT_TRUE(maps(std::vector<int32_t>{3, 3, 3, 3, 2, 0, 0, 0, 2, 1, 1, 0, 2, 2, 1, 1},
                     std::vector<int64_t>{6, 1, 1, 2, 4}, to_64s(1)));
    EXPECT_TRUE(maps(std::vector<int32_t>{3, 3, 3, 3, 2, 1, 0, 0}, std::vector<int32_t>{48, 10, 36}, to_32s(-2)));
    EXPECT_TRUE(maps(std::vector<int32_t>{3, 3, 3, 3, 2, 1, 0, 0}, std::vector<int64_t>{48, 8, 36}, to_64s(-2)));
}

// Kept: bin 0 saturates, a bin between gives the lowest integer for whatever does not fit.
TEST(SmoothedSpectrum, IntegersBeyondTheRange)
{
    const int32_t low = INT32_MIN, high = INT32_MAX;
    EXPECT_TRUE(maps(std::vector<int32_t>{65536, 0, 0, 0, 65536, 0, 0, 0, 65535, 361, 23, 6},
                     std::vector<int32_t>{high, low, high - 91, 0}, to_32s(0)));
    EXPECT_TRUE(maps(std::vector<int32_t>{65536, 0, 0, 0, 65536, 0, 0, 0},
                     std::vector<int32_t>{1 << 30, 1 << 30, 0}, to_32s(1)));
    EXPECT_TRUE(maps(std::vector<int32_t>{low, 0, low, low, low, low, low, low, high, high, high, high},
                     std::vector<int32_t>{high, low, low, 0}, to_32s(31)));
    EXPECT_TRUE(maps(std::vector<int32_t>{low, 0, low, low, low, low, low, low},
                     std::vector<int32_t>{3 << 28, 1 << 30, 0}, to_32s(33)));
    EXPECT_TRUE(maps(std::vector<int32_t>{low, 0, low, low, 1, 1, 1, 1}, std::vector<int64_t>{3LL << 61, 0, 0},
                     to_64s(0)));
    // Kept: 2^63 wraps.
    EXPECT_TRUE(maps(std::vector<int32_t>{0, 0, 0, 0, low, low, low, low, low, low, low, 2},
                     std::vector<int64_t>{0, INT64_MIN, (3LL << 61) + 2, 0}, to_64s(0)));
}

// Kept: the Nyquist square keeps its low 32 bits as a signed value.
TEST(SmoothedSpectrum, NyquistSquareWraps)
{
    const auto nyquist = [](int32_t x, int32_t sf, int32_t expected, int64_t expected_64) {
        for (int32_t value : {x, -x}) {
            EXPECT_TRUE(maps(std::vector<int32_t>{0, value, 0, 0}, std::vector<int32_t>{0, expected}, to_32s(sf)));
            EXPECT_TRUE(
                maps(std::vector<int32_t>{0, value, 0, 0}, std::vector<int64_t>{0, expected_64}, to_64s(sf)));
        }
    };
    nyquist(46340, 0, 2147395600, 2147395600);
    nyquist(46341, 0, -2147479015, -2147479015);
    nyquist(46341, 1, -1073739508, -1073739508);  // rounded down
    nyquist(65536, 0, 0, 0);
    nyquist(65537, 0, 131073, 131073);
    nyquist(46340, -1, INT32_MAX, 4294791200);
    nyquist(46341, -1, INT32_MIN, -4294958030);
    nyquist(46341, 31, -1, -1);
    nyquist(46341, 63, -1, -1);
    nyquist(INT32_MAX, 0, 1, 1);
    nyquist(3, -63, INT32_MAX, INT64_MIN);
    nyquist(3, -64, INT32_MAX, 0);
    nyquist(46341, -64, INT32_MIN, 0);
    nyquist(46341, INT32_MAX, -1, -1);
    nyquist(0, INT32_MIN, 0, 0);
    nyquist(INT32_MIN + 1, -30, 1 << 30, 1 << 30);
}

// --- checks and environment ---

template <class T, class Result, class Call>
void expect_checks(Call call)
{
    struct Arguments {
        const T* spectrum;
        Result* smoothed;
        int32_t n;
    };
    const Guarded<T> spectrum(std::vector<T>(32, T(1)));
    Guarded<Result> smoothed(9);
    std::vector<Fault<Arguments>> faults = {
        {"null spectrum", SrErrNullPtr, [](Arguments& a) { a.spectrum = nullptr; }},
        {"null result", SrErrNullPtr, [](Arguments& a) { a.smoothed = nullptr; }}};
    for (int32_t bad : {0, -1, -4, INT32_MIN, 1, 2, 3, 6, 29, INT32_MAX})
        faults.push_back({"size " + std::to_string(bad), SrErrSize, [=](Arguments& a) { a.n = bad; }});
    const AllocatorWatch watch;
    expect_check_order<Arguments>({spectrum.data(), smoothed.data(), 32}, faults,
                                  [&](const Arguments& a) { return call(a.spectrum, a.smoothed, a.n); },
                                  {&smoothed});
    EXPECT_EQ(watch.requests(), 0);
}

TEST(SmoothedSpectrum, ChecksNullThenSize)
{
    expect_checks<float, float>(zelsSmoothedPowerSpectrumAurora_32f);
    expect_checks<int16_t, int16_t>(zelsSmoothedPowerSpectrumAurora_16s);
    for (int32_t sf : {0, 5, -5, 1000, INT32_MIN, INT32_MAX}) {
        expect_checks<int32_t, int32_t>(to_32s(sf));
        expect_checks<int32_t, int64_t>(to_64s(sf));
    }
}

TEST(SmoothedSpectrum, IntegersAreTheSameInEachEnvironment)
{
    const std::vector<int16_t> x = integers<int16_t>(68);
    const std::vector<int32_t> y = integers<int32_t>(68);
    std::vector<int16_t> out(18);
    std::vector<int64_t> out_64(18);
    under_each_environment(
        [&] {
            zelsSmoothedPowerSpectrumAurora_16s(x.data(), out.data(), 68);
            zelsSmoothedPowerSpectrumAurora_32s64s_Sfs(y.data(), out_64.data(), 68, 2);
        },
        [&](const std::string& setting) {
            EXPECT_TRUE(same_values(reference::smoothed(x), out)) << setting;
            EXPECT_TRUE(same_values(reference::smoothed_64s(y, 2), out_64)) << setting;
            out.assign(18, -1);
            out_64.assign(18, -1);
        });
}

TEST(SmoothedSpectrum, SinglesTakeTheRoundingMode)
{
    if (under_valgrind()) return;  // it always rounds to nearest
    std::vector<float> x;
    for (int i = 0; i < 9; ++i) x.insert(x.end(), {1, 1 + 0x1p-23F, 0x1p-12F, 0});
    for (unsigned mode : {_MM_ROUND_NEAREST, _MM_ROUND_UP, _MM_ROUND_DOWN, _MM_ROUND_TOWARD_ZERO}) {
        std::vector<float> out(10);
        const bool up = mode == _MM_ROUND_UP;
        _MM_SET_ROUNDING_MODE(mode);
        zelsSmoothedPowerSpectrumAurora_32f(x.data(), out.data(), 36);
        _MM_SET_ROUNDING_MODE(_MM_ROUND_NEAREST);
        std::vector<float> expected(10, up ? 1 + 0x1.8p-22F : 1 + 0x1p-23F);
        expected.front() = up ? 0.5F + 0x1p-24F : 0.5F;
        expected.back() = up ? 1 + 0x1.8p-22F : 1 + 0x1p-22F;
        EXPECT_TRUE(same_values(expected, out)) << mode;
    }
}

// Kept: the bins between take the caller's rounding mode, the ends are always rounded down.
TEST(SmoothedSpectrum, MiddleTakesTheRoundingMode)
{
    struct Mode {
        unsigned mode;
        std::vector<int32_t> halves;  // 1/2, 3/2, 5/2
    };
    for (const Mode& of : {Mode{_MM_ROUND_NEAREST, {0, 2, 2}}, Mode{_MM_ROUND_UP, {1, 2, 3}},
                           Mode{_MM_ROUND_DOWN, {0, 1, 2}}, Mode{_MM_ROUND_TOWARD_ZERO, {0, 1, 2}}})
        for (int m : {4, 10}) {
            std::vector<int32_t> x = {3, 3, 0, 0}, expected = {4};
            for (int i = 1; i < m; ++i) {
                const int part = (i - 1) % 3;
                x.insert(x.end(), {1 + part / 2, part == 1, part != 0, 0});
                expected.push_back(of.halves[static_cast<std::size_t>(part)]);
            }
            expected.push_back(9);
            _MM_SET_ROUNDING_MODE(of.mode);
            std::vector<int32_t> out(expected.size());
            const SrStatus status = zelsSmoothedPowerSpectrumAurora_32s_Sfs(x.data(), out.data(), 4 * m, 0);
            const unsigned kept = _MM_GET_ROUNDING_MODE();
            _MM_SET_ROUNDING_MODE(_MM_ROUND_NEAREST);
            EXPECT_EQ(status, SrOk);
            EXPECT_EQ(kept, of.mode);
            EXPECT_TRUE(same_values(expected, out)) << of.mode;
        }
}

#ifdef __i386__
TEST(SmoothedSpectrum, RunsOnAnyStack)
{
    const std::vector<float> x = singles(68);
    const std::vector<int16_t> y = integers<int16_t>(68);
    const std::vector<int32_t> z = integers<int32_t>(68);
    std::vector<float> out_x(18);
    std::vector<int16_t> out_y(18);
    std::vector<int32_t> out_z(18);
    std::vector<int64_t> out_64(18);
    for (int misalign : {0, 4, 8, 12}) {
        EXPECT_EQ(call_misaligned(zelsSmoothedPowerSpectrumAurora_32f, misalign, x.data(), out_x.data(), 68),
                  SrOk);
        EXPECT_EQ(call_misaligned(zelsSmoothedPowerSpectrumAurora_16s, misalign, y.data(), out_y.data(), 68),
                  SrOk);
        EXPECT_EQ(
            call_misaligned(zelsSmoothedPowerSpectrumAurora_32s_Sfs, misalign, z.data(), out_z.data(), 68, 9),
            SrOk);
        EXPECT_EQ(
            call_misaligned(zelsSmoothedPowerSpectrumAurora_32s64s_Sfs, misalign, z.data(), out_64.data(), 68, 9),
            SrOk);
        EXPECT_TRUE(same_values(reference::smoothed(x), out_x));
        EXPECT_TRUE(same_values(reference::smoothed(y), out_y));
        EXPECT_TRUE(same_values(reference::smoothed_32s(z, 9), out_z));
        EXPECT_TRUE(same_values(reference::smoothed_64s(z, 9), out_64));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
