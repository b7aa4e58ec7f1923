// The amplitude envelope of a prediction filter.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include "lpc/filters.h"
#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/convert.h"
#include "zelsr/lpc/conversion.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kInfinitysBits = 2139095040.0F;  // as a number

// |X| of the bins 0 to 2^fft_order - 1, X[b] = sum of a[i] exp(-2 pi i b (i + 1) / N), val taken from X[0] alone.
std::vector<double> magnitudes(const std::vector<float>& a, int fft_order, double val)
{
    const int bins = 1 << fft_order;
    std::vector<double> all;
    for (int b = 0; b < bins; ++b) {
        std::complex<double> sum = b == 0 ? -val : 0;
        for (std::size_t i = 0; i < a.size(); ++i) {
            const auto turns = static_cast<std::int64_t>(i + 1) * b % (2 * bins);
            sum += std::polar(static_cast<double>(a[i]), -std::numbers::pi * static_cast<double>(turns) / bins);
        }
        all.push_back(std::abs(sum));
    }
    return all;
}

// Every length that a short transform takes, some of a long one's.
std::vector<int> lengths_of(int fft_order)
{
    std::vector<int> all;
    const int n = 2 << fft_order;
    for (int length = 1; length < n; length += fft_order < 4 ? 1 : n / 5) all.push_back(length);
    all.push_back(n - 1);
    return all;
}

// What the transform's and the reciprocal's errors make of 1 / x.
testing::AssertionResult near_reciprocals(const std::vector<double>& x, const std::vector<float>& actual,
                                          double sum_of_magnitudes)
{
    for (std::size_t b = 0; b < x.size(); ++b) {
        const double right = 1 / x[b];
        const double relative = 0x1p-20 + 1e-6 * sum_of_magnitudes / x[b];
        if (!(std::abs(actual[b] - right) <= right * relative))
            return testing::AssertionFailure() << "bin " << b << ": " << actual[b] << " for " << right;
    }
    return testing::AssertionSuccess();
}

double sum_of_magnitudes(const std::vector<float>& a)
{
    double sum = 1;
    for (float x : a) sum += std::abs(x);
    return sum;
}

TEST(LPSpectrum, IsTheReciprocalMagnitudeAtEveryLengthAndAddress)
{
    for (int fft_order = 0; fft_order <= 8; ++fft_order)
        for (int length : lengths_of(fft_order)) {
            const std::vector<float> a = uniform_vector(length, 0.1F, 1.0F);
            const std::vector<double> right = magnitudes(a, fft_order, -1);
            for (const Arrangement& at : arrangements(2, sizeof(float))) {
                Guarded<float> source(a, at[0]), dst(std::size_t{1} << fft_order, at[1]);
                source.take_snapshot();
                ASSERT_EQ(zelsLPToSpectrum_32f(source.data(), length, dst.data(), fft_order, -1), SrOk)
                    << length << ", order " << fft_order;
                ASSERT_TRUE(near_reciprocals(right, dst.values(), sum_of_magnitudes(a)))
                    << length << ", order " << fft_order << ", " << describe(at);
                ASSERT_TRUE(source.as_snapshot() && dst.intact());
            }
        }
}

TEST(LPSpectrum, LargeOrders)
{
    for (int fft_order : {9, 11}) {
        const std::vector<float> a = stable_filter(16);
        std::vector<float> dst(std::size_t{1} << fft_order);
        ASSERT_EQ(zelsLPToSpectrum_32f(a.data(), 16, dst.data(), fft_order, -1), SrOk);
        EXPECT_TRUE(near_reciprocals(magnitudes(a, fft_order, -1), dst, sum_of_magnitudes(a)));
    }
}

// The constant term is not there, and val concerns the first bin only: wanted.
TEST(LPSpectrum, ByValue)
{
    const float a[] = {0.5F};
    float dst[8];
    ASSERT_EQ(zelsLPToSpectrum_32f(a, 1, dst, 2, -1), SrOk);
    EXPECT_EQ(dst[0], 1 / 1.5F) << "0.5 - -1";
    for (int b = 1; b < 4; ++b) EXPECT_NEAR(dst[b], 2, 1e-5) << "not that of 1 + 0.5 z^-1";
    ASSERT_EQ(zelsLPToSpectrum_32f(a, 1, dst, 0, 0.25F), SrOk);
    EXPECT_NEAR(dst[0], 4, 1e-5);
    ASSERT_EQ(zelsLPToSpectrum_32f(a, 1, dst, 3, 4), SrOk);
    EXPECT_NEAR(dst[0], 1 / 3.5, 1e-6) << "a magnitude, of a value below zero";
}

// Zero magnitudes: a number up to order 2, infinity beyond. Both wanted.
TEST(LPSpectrum, ZeroMagnitudes)
{
    for (int fft_order = 0; fft_order <= 8; ++fft_order) {
        const std::size_t bins = std::size_t{1} << fft_order;
        const float edge = fft_order <= 2 ? kInfinitysBits : kInfinity;
        std::vector<float> dst(bins), silence(1, 0.0F), one(1, 0.5F);
        EXPECT_EQ(zelsLPToSpectrum_32f(silence.data(), 1, dst.data(), fft_order, 0), SrWarnDivByZero);
        EXPECT_EQ(dst, std::vector<float>(bins, edge)) << fft_order;
        EXPECT_EQ(zelsLPToSpectrum_32f(one.data(), 1, dst.data(), fft_order, 0.5F), SrWarnDivByZero);
        EXPECT_EQ(dst[0], edge) << "in the first bin alone";
        for (std::size_t b = 1; b < bins; ++b) EXPECT_NEAR(dst[b], 2, 1e-5);
        EXPECT_EQ(zelsLPToSpectrum_32f(silence.data(), 1, dst.data(), fft_order, -2),
                  fft_order == 0 ? SrOk : SrWarnDivByZero);
        EXPECT_NEAR(dst[0], 0.5, 1e-6);
        for (std::size_t b = 1; b < bins; ++b) EXPECT_EQ(dst[b], edge);
    }
}

TEST(LPSpectrum, MayWorkInPlace)
{
    for (int fft_order : {3, 6, 8}) {
        std::vector<float> a = uniform_vector(1 << fft_order, 0.1F, 1.0F), dst(a.size());
        const int length = static_cast<int>(a.size());
        ASSERT_EQ(zelsLPToSpectrum_32f(a.data(), length, dst.data(), fft_order, -1), SrOk);
        ASSERT_EQ(zelsLPToSpectrum_32f(a.data(), length, a.data(), fft_order, -1), SrOk);
        EXPECT_EQ(dst, a);
    }
}

TEST(LPSpectrum, LengthIsBelowTheTransforms)
{
    for (int fft_order = 0; fft_order <= 9; ++fft_order) {
        const int n = 2 << fft_order;
        const std::vector<float> a = uniform_vector(n, 0.1F, 1.0F);
        const std::vector<int16_t> a16(a.size(), 3);
        std::vector<float> dst(std::size_t{1} << fft_order);
        std::vector<int16_t> dst16(dst.size());
        EXPECT_EQ(zelsLPToSpectrum_32f(a.data(), n, dst.data(), fft_order, -1), SrErrSize);
        EXPECT_EQ(zelsLPToSpectrum_32f(a.data(), n - 1, dst.data(), fft_order, -1), SrOk);
        EXPECT_EQ(zelsLPToSpectrum_16s_Sfs(a16.data(), n, dst16.data(), fft_order, -1, 0), SrErrSize);
        EXPECT_GE(zelsLPToSpectrum_16s_Sfs(a16.data(), n - 1, dst16.data(), fft_order, -1, 0), SrOk);
    }
}

// --- checks and memory ---

template <class T>
struct Arguments {
    const T* a;
    int32_t len;
    T* dst;
    int32_t fft_order;
};
template <class T>
void expect_checks(SrStatus (*call)(const Arguments<T>&))
{
    using A = Arguments<T>;
    const Guarded<T> a(std::vector<T>(40, T(1)));
    Guarded<T> dst(64);
    AllocatorWatch watch;
    // An order that no transform has is found last, where none is begun with any length.
    expect_check_order<A>({a.data(), 40, dst.data(), 6},
                          {{"null source", SrErrNullPtr, [](A& x) { x.a = nullptr; }},
                           {"null result", SrErrNullPtr, [](A& x) { x.dst = nullptr; }},
                           {"length 0", SrErrSize, [](A& x) { x.len = 0; }},
                           {"lowest length", SrErrSize, [](A& x) { x.len = INT32_MIN; }},
                           {"length of the transform", SrErrSize, [](A& x) { x.len = 128; }},
                           {"order -1", SrErrSize, [](A& x) { x.fft_order = -1; }},
                           {"order -2", SrErrSize, [](A& x) { x.fft_order = -2; }},
                           {"lowest order", SrErrSize, [](A& x) { x.fft_order = INT32_MIN; }}},
                          call, {&dst});
    for (int32_t order : {30, 31, 32, 62, 63, 64, INT32_MAX}) {
        dst.take_snapshot();
        EXPECT_EQ(call({a.data(), 40, dst.data(), order}), SrErrFftOrder) << order;
        EXPECT_TRUE(dst.as_snapshot());
    }
    EXPECT_EQ(watch.requests(), 0);
}

TEST(LPSpectrum, PointersAreCheckedBeforeSizesBeforeTheTransform)
{
    expect_checks<float>(
        [](const Arguments<float>& x) { return zelsLPToSpectrum_32f(x.a, x.len, x.dst, x.fft_order, -1); });
    expect_checks<int16_t>([](const Arguments<int16_t>& x) {
        return zelsLPToSpectrum_16s_Sfs(x.a, x.len, x.dst, x.fft_order, -1, 0);
    });
}

// A plan is made in every call.
TEST(LPSpectrum, SurvivesRefusedMemory)
{
    const std::vector<float> a = stable_filter(10);
    const std::vector<int16_t> a16 = uniform_vector<int16_t>(10, 1, 30);
    for (int fft_order : {0, 2, 3, 6, 7, 9}) {
        Guarded<float> dst(std::size_t{1} << fft_order);
        Guarded<int16_t> dst16(std::size_t{1} << fft_order);
        const int length = fft_order < 3 ? 1 : 10;
        const auto survives = [](auto call, auto& result) {
            for (int refused = 1;; ++refused) {
                result.take_snapshot();
                AllocatorWatch watch(refused);
                const SrStatus status = call();
                EXPECT_EQ(watch.live(), 0);
                EXPECT_TRUE(result.intact());
                if (watch.requests() < refused) {
                    EXPECT_GE(refused, 2);
                    EXPECT_GE(status, 0);
                    return refused - 1;
                }
                EXPECT_EQ(status, SrErrMemAlloc);
                EXPECT_TRUE(result.as_snapshot()) << "block " << refused;
            }
        };
        survives([&] { return zelsLPToSpectrum_32f(a.data(), length, dst.data(), fft_order, -1); }, dst);
        survives([&] { return zelsLPToSpectrum_16s_Sfs(a16.data(), length, dst16.data(), fft_order, -1, -4); },
                 dst16);
    }
}

// --- 16 bits ---

TEST(LPSpectrumFixed, IsTheReciprocalMagnitudeRounded)
{
    for (int fft_order = 0; fft_order <= 8; ++fft_order)
        for (int length : lengths_of(fft_order)) {
            // The integers as they stand, and one that keeps all magnitudes away from zero.
            std::vector<int16_t> a = uniform_vector<int16_t>(length, -10, 10);
            a[0] = static_cast<int16_t>(11 * length);
            const int32_t sf = uniform(-16, -8);
            const std::vector<float> singles = to_singles(a);
            const std::vector<double> x = magnitudes(singles, fft_order, -3);
            const double sum = sum_of_magnitudes(singles);
            for (const Arrangement& at : arrangements(2, sizeof(int16_t))) {
                Guarded<int16_t> source(a, at[0]), dst(std::size_t{1} << fft_order, at[1]);
                source.take_snapshot();
                ASSERT_EQ(zelsLPToSpectrum_16s_Sfs(source.data(), length, dst.data(), fft_order, -3, sf), SrOk);
                for (std::size_t b = 0; b < x.size(); ++b) {
                    const double right = std::min(std::ldexp(1 / x[b], -sf), 32767.0);
                    const double relative = 0x1p-20 + 1e-6 * sum / x[b];
                    ASSERT_LE(std::abs(dst.get(b) - right), 0.5 + right * relative)
                        << "bin " << b << ", length " << length << ", order " << fft_order << ", sf " << sf;
                }
                ASSERT_TRUE(source.as_snapshot() && dst.intact());
            }
        }
}

TEST(LPSpectrumFixed, ByValue)
{
    const int16_t a[] = {3};
    int16_t dst[4];
    ASSERT_EQ(zelsLPToSpectrum_16s_Sfs(a, 1, dst, 1, -1, -10), SrOk);
    EXPECT_EQ(dst[0], 256) << "1 / (3 - -1)";
    EXPECT_EQ(dst[1], 341) << "1 / 3 = 341.33";
    ASSERT_EQ(zelsLPToSpectrum_16s_Sfs(a, 1, dst, 1, -1, -20), SrOk);
    EXPECT_EQ(dst[0], 32767) << "saturated";
}

// Infinite at every order, so saturated whatever sf says.
TEST(LPSpectrumFixed, ZeroMagnitudes)
{
    const int16_t silence[] = {0}, one[] = {7};
    for (int fft_order = 0; fft_order <= 7; ++fft_order)
        for (int32_t sf : {-3, 0, 12, 31}) {
            std::vector<int16_t> dst(std::size_t{1} << fft_order);
            EXPECT_EQ(zelsLPToSpectrum_16s_Sfs(silence, 1, dst.data(), fft_order, 0, sf), SrWarnDivByZero);
            EXPECT_EQ(dst, std::vector<int16_t>(dst.size(), 32767)) << fft_order << ", sf " << sf;
            EXPECT_EQ(zelsLPToSpectrum_16s_Sfs(one, 1, dst.data(), fft_order, 7, sf), SrWarnDivByZero);
            EXPECT_EQ(dst[0], 32767);
        }
}

TEST(LPSpectrum, FlagsOfTheCallerWarnOfNothing)
{
    if (under_valgrind()) return;  // its processor keeps no flags
    const float a[] = {0.5F};
    const int16_t a16[] = {7};
    float dst[8];
    int16_t dst16[8];
    for (int fft_order : {1, 3}) {
        std::feraiseexcept(FE_INVALID | FE_DIVBYZERO);
        EXPECT_EQ(zelsLPToSpectrum_32f(a, 1, dst, fft_order, -1), SrOk);
        EXPECT_EQ(zelsLPToSpectrum_16s_Sfs(a16, 1, dst16, fft_order, -1, 0), SrOk);
        EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO), FE_INVALID | FE_DIVBYZERO);
        EXPECT_EQ(zelsLPToSpectrum_32f(a, 1, dst, fft_order, 0.5F), SrWarnDivByZero);
        if (fft_order == 3) {
            EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0) << "cleared: wanted";
        }
        std::feraiseexcept(FE_OVERFLOW);
        EXPECT_EQ(zelsLPToSpectrum_16s_Sfs(a16, 1, dst16, fft_order, 7, 0), SrWarnDivByZero);
        EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0);
    }
    std::feclearexcept(FE_ALL_EXCEPT);
}

TEST(LPSpectrum, InEveryEnvironment)
{
    const std::vector<float> a = stable_filter(10);
    const std::vector<int16_t> a16 = uniform_vector<int16_t>(10, 1, 30);
    for (int fft_order : {2, 4, 8}) {
        const int length = fft_order == 2 ? 5 : 10;
        const std::size_t bins = std::size_t{1} << fft_order;
        std::vector<float> right(bins), dst(bins);
        std::vector<int16_t> right16(bins), dst16(bins);
        ASSERT_EQ(zelsLPToSpectrum_32f(a.data(), length, right.data(), fft_order, -1), SrOk);
        ASSERT_EQ(zelsLPToSpectrum_16s_Sfs(a16.data(), length, right16.data(), fft_order, -1, -10), SrOk);
        under_each_environment([&] { zelsLPToSpectrum_32f(a.data(), length, dst.data(), fft_order, -1); },
                               [&](const std::string& setting) { EXPECT_EQ(right, dst) << setting; });
        under_each_environment(
            [&] { zelsLPToSpectrum_16s_Sfs(a16.data(), length, dst16.data(), fft_order, -1, -10); },
            [&](const std::string& setting) { EXPECT_EQ(right16, dst16) << setting; });
    }
}

#ifdef __i386__
TEST(LPSpectrum, RunsOnAnyStack)
{
    const std::vector<float> a = stable_filter(10);
    const std::vector<int16_t> a16 = uniform_vector<int16_t>(10, 1, 30);
    std::vector<float> right(64), dst(64);
    std::vector<int16_t> right16(64), dst16(64);
    ASSERT_EQ(zelsLPToSpectrum_32f(a.data(), 10, right.data(), 6, -1), SrOk);
    ASSERT_EQ(zelsLPToSpectrum_16s_Sfs(a16.data(), 10, right16.data(), 6, -1, -10), SrOk);
    for (int misalign : {0, 4, 8, 12}) {
        EXPECT_EQ(call_misaligned(zelsLPToSpectrum_32f, misalign, a.data(), 10, dst.data(), 6, -1.0F), SrOk);
        EXPECT_EQ(right, dst);
        EXPECT_EQ(call_misaligned(zelsLPToSpectrum_16s_Sfs, misalign, a16.data(), 10, dst16.data(), 6, -1, -10),
                  SrOk);
        EXPECT_EQ(right16, dst16);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
