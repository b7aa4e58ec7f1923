// Areas: running products of area ratios, and what follows a closed section.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/reflection_measures.h"
#include "zelsr/lpc/conversion.h"

namespace zelsr::test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Quotients are 2^-21 near, and a product gathers their errors.
constexpr double kQuotient = 0x1p-21;

testing::AssertionResult are_areas(const std::vector<float>& k, Arrangement at = Arrangement(2))
{
    const reference::TrueAreaRatios right = reference::true_area_ratios({k.begin(), k.end()});
    Guarded<float> source(k, at[0]), dst(k.size(), at[1]);
    source.take_snapshot();
    const SrStatus status = zelsReflectionToTrueAR_32f(source.data(), dst.data(), static_cast<int32_t>(k.size()));
    testing::AssertionResult result = status_is(right.status, status);
    if (result && !(source.as_snapshot() && dst.intact()))
        result = testing::AssertionFailure() << "written beside the results";
    for (std::size_t i = 0; result && i < k.size(); ++i) {
        const double expected = right.ratios[i], actual = dst.get(i);
        const bool near = std::isfinite(expected)
                              ? std::abs(actual - expected) <= std::abs(expected) * kQuotient * double(i + 1)
                              : same(expected, actual);
        if (!near)
            result = testing::AssertionFailure() << "element " << i << ": " << actual << " for " << expected;
    }
    if (result) return result;
    return testing::AssertionFailure() << "length " << k.size() << ", " << describe(at) << ": "
                                       << result.message();
}

TEST(TrueArea, IsTheRunningProductAtEveryLengthAndAddress)
{
    for (int length : lengths(12))
        for (const Arrangement& at : arrangements(2, sizeof(float)))
            ASSERT_TRUE(are_areas(uniform_vector(length, -0.8F, 0.8F), at));
}

TEST(TrueArea, ByValue)
{
    EXPECT_TRUE(are_areas({0.5F, -1, 0.25F, 1, 0}));
    float dst[5];
    const float k[] = {0.5F, -1, 0.25F, 1, 0};
    ASSERT_EQ(zelsReflectionToTrueAR_32f(k, dst, 5), SrWarnDivByZero);
    EXPECT_NEAR(dst[0], 1.0 / 3, kQuotient);
    EXPECT_EQ(dst[1], kInfinity);
    EXPECT_EQ(dst[2], kInfinity);
    EXPECT_TRUE(std::isnan(dst[3]) && std::isnan(dst[4]));
    // Before a closed section a k of one is an area of zero, which counts as not above zero behind it.
    const float open[] = {1, 0.5F, -1, 0.5F};
    ASSERT_EQ(zelsReflectionToTrueAR_32f(open, dst, 4), SrWarnDivByZero);
    EXPECT_EQ(dst[0], 0.0F);
    EXPECT_EQ(dst[1], 0.0F);
    EXPECT_EQ(dst[2], -kInfinity);
    EXPECT_EQ(dst[3], -kInfinity);
    // Outside of -1 to 1 the sign turns.
    const float outside[] = {-1, 2, 0.5F, -3, kInfinity};
    ASSERT_EQ(zelsReflectionToTrueAR_32f(outside, dst, 5), SrWarnDivByZero);
    EXPECT_EQ(dst[0], kInfinity);
    EXPECT_EQ(dst[1], -kInfinity);
    EXPECT_EQ(dst[2], -kInfinity);
    EXPECT_EQ(dst[3], kInfinity);
    EXPECT_EQ(dst[4], -kInfinity);
}

// The first closed section and a k of one anywhere, in short and in long vectors.
TEST(TrueArea, EverySpecialPlace)
{
    for (int length : lengths(9))
        for (int closed = 0; closed < length; ++closed)
            for (int one = 0; one < length; ++one) {
                std::vector<float> k = uniform_vector(length, -0.8F, 0.8F);
                k[static_cast<std::size_t>(one)] = 1;
                k[static_cast<std::size_t>(closed)] = -1;
                ASSERT_TRUE(are_areas(k)) << "closed " << closed << ", one " << one;
            }
}

TEST(TrueArea, EverySequenceOfSpecialValues)
{
    for (float near : {std::nextafter(-1.0F, 0.0F), std::nextafter(-1.0F, -2.0F), std::nextafter(1.0F, 2.0F)})
        EXPECT_TRUE(are_areas({near, -0.5F, -1, near})) << "not a closed section";
    // Eleven of them neither overflow nor underflow.
    const std::vector<float> special = {-1, 1, 2, -2, 0, 0.5F, kInfinity, -0.999F, 1.001F};
    for (int turn = 0; turn < (thin_effort() ? 200 : 5000); ++turn) {
        std::vector<float> k(uniform<std::size_t>(1, 11));
        for (float& x : k) x = special[generator()() % special.size()];
        // An infinite k makes an undefined product before the closed section; there only finite ones.
        for (float& x : k) {
            if (x == -1) break;
            if (std::isinf(x)) x = 3;
        }
        ASSERT_TRUE(are_areas(k));
    }
}

// NaN is not within -1 to 1; an undefined product is not above and not below zero.
TEST(TrueArea, NotANumber)
{
    const float behind[] = {-1, kNaN, kNaN, 0.5F};
    float dst[4];
    ASSERT_EQ(zelsReflectionToTrueAR_32f(behind, dst, 4), SrWarnDivByZero);
    EXPECT_EQ(dst[0], kInfinity);
    EXPECT_EQ(dst[1], -kInfinity);
    EXPECT_EQ(dst[2], kInfinity);
    EXPECT_EQ(dst[3], kInfinity);
    const float before[] = {0.5F, kNaN, 0.5F, -1};
    ASSERT_EQ(zelsReflectionToTrueAR_32f(before, dst, 4), SrWarnDivByZero);
    EXPECT_NEAR(dst[0], 1.0 / 3, kQuotient);
    EXPECT_TRUE(std::isnan(dst[1]) && std::isnan(dst[2]));
    EXPECT_EQ(dst[3], -kInfinity);
}

TEST(TrueArea, MayWorkInPlace)
{
    for (float closed : {0.5F, -1.0F}) {
        std::vector<float> k = uniform_vector(21, -0.8F, 0.8F), dst(21);
        k[13] = closed;
        const SrStatus status = zelsReflectionToTrueAR_32f(k.data(), dst.data(), 21);
        EXPECT_EQ(zelsReflectionToTrueAR_32f(k.data(), k.data(), 21), status);
        EXPECT_TRUE(same_values(dst, k));
    }
}

// --- 16 bits ---

// P * 2^-sf truncated toward zero and saturated; the tail's infinities are the limits, its NaN is 0.
testing::AssertionResult are_fixed_areas(const std::vector<int16_t>& k, int32_t src_sf, int32_t sf,
                                         Arrangement at = Arrangement(2))
{
    const reference::TrueAreaRatios right =
        reference::true_area_ratios({k.begin(), k.end()}, std::ldexp(1.0, src_sf));
    Guarded<int16_t> source(k, at[0]), dst(k.size(), at[1]);
    source.take_snapshot();
    const SrStatus status =
        zelsReflectionToTrueAR_16s_Sfs(source.data(), src_sf, dst.data(), static_cast<int32_t>(k.size()), sf);
    testing::AssertionResult result = status_is(right.status, status);
    if (result && !(source.as_snapshot() && dst.intact()))
        result = testing::AssertionFailure() << "written beside the results";
    for (std::size_t i = 0; result && i < k.size(); ++i) {
        const double expected = right.ratios[i];
        double low = 0, high = 0;
        if (std::isinf(expected)) {
            low = high = expected > 0 ? 32767 : -32768;
        } else if (!std::isnan(expected)) {
            const double error = std::abs(expected) * kQuotient * double(i + 1);
            low = std::clamp(std::trunc(std::ldexp(expected - error, -sf)), -32768.0, 32767.0);
            high = std::clamp(std::trunc(std::ldexp(expected + error, -sf)), -32768.0, 32767.0);
        }
        if (!(low <= dst.get(i) && dst.get(i) <= high))
            result = testing::AssertionFailure() << "element " << i << ": " << dst.get(i) << " for " << expected;
    }
    if (result) return result;
    return testing::AssertionFailure() << "length " << k.size() << ", sf " << sf << ", " << describe(at) << ": "
                                       << result.message();
}

TEST(TrueAreaFixed, IsTheRunningProductTruncated)
{
    for (int length : lengths(12))
        for (const Arrangement& at : arrangements(2, sizeof(int16_t))) {
            const int32_t src_sf = uniform(12, 17);
            const auto bound = static_cast<int16_t>(std::min(32767.0, 0.8 * std::ldexp(1.0, src_sf)));
            ASSERT_TRUE(are_fixed_areas(uniform_vector<int16_t>(length, static_cast<int16_t>(-bound), bound),
                                        src_sf, uniform(-10, -4), at));
        }
    const std::vector<int16_t> k = uniform_vector<int16_t>(9, -12000, 12000);
    for (int32_t sf : scale_factors())
        if (sf > -100 && sf < 100) {
            ASSERT_TRUE(are_fixed_areas(k, 14, sf));
        }
}

TEST(TrueAreaFixed, ByValue)
{
    const int16_t k[] = {-8192, -16384, 4096, 16384, 0};  // -0.5, -1, 0.25, 1, 0
    int16_t dst[5];
    ASSERT_EQ(zelsReflectionToTrueAR_16s_Sfs(k, 14, dst, 5, -3), SrWarnDivByZero);
    EXPECT_TRUE(dst[0] == 24 || dst[0] == 23) << "3, as near as quotients are";
    EXPECT_EQ(dst[1], 32767);
    EXPECT_EQ(dst[2], 32767);
    EXPECT_EQ(dst[3], 0);
    EXPECT_EQ(dst[4], 0);
    const int16_t ratio[] = {-11000, 16385};  // 27384 / 5384 = 5.086; then -1 / 32769 of it
    ASSERT_EQ(zelsReflectionToTrueAR_16s_Sfs(ratio, 14, dst, 1, -2), SrOk);
    EXPECT_EQ(dst[0], 20) << "20.34 truncated";
    ASSERT_EQ(zelsReflectionToTrueAR_16s_Sfs(ratio, 14, dst, 2, -20), SrOk);
    EXPECT_EQ(dst[0], 32767) << "saturated, but multiplied on as it is";
    EXPECT_EQ(dst[1], -162) << "-162.8 truncated toward zero";
    // The tail's sign, behind a negative product.
    const int16_t tail[] = {20000, -16384, 100, 20000, 20000, 16384, 5};
    int16_t seven[7];
    ASSERT_EQ(zelsReflectionToTrueAR_16s_Sfs(tail, 14, seven, 7, 0), SrWarnDivByZero);
    EXPECT_EQ(std::vector<int16_t>(seven, seven + 7),
              (std::vector<int16_t>{0, -32768, -32768, 32767, -32768, 0, 0}));
    // The limits do not depend on sf.
    ASSERT_EQ(zelsReflectionToTrueAR_16s_Sfs(tail, 14, seven, 7, 20), SrWarnDivByZero);
    EXPECT_EQ(seven[3], 32767);
}

TEST(TrueAreaFixed, EverySequenceOfSpecialValues)
{
    const std::vector<int16_t> special = {-16384, 16384, 20000, -20000, 0, 8192, 32767, -32768};
    for (int turn = 0; turn < (thin_effort() ? 200 : 5000); ++turn) {
        std::vector<int16_t> k(uniform<std::size_t>(1, 16));
        for (int16_t& x : k) x = special[generator()() % special.size()];
        ASSERT_TRUE(are_fixed_areas(k, 14, -4));
    }
}

TEST(TrueArea, PointersAreCheckedBeforeLength)
{
    expect_checks_of_a_reduction<float, float>(
        [](const float* k, int32_t len, float* dst) { return zelsReflectionToTrueAR_32f(k, dst, len); });
    expect_checks_of_a_reduction<int16_t, int16_t>([](const int16_t* k, int32_t len, int16_t* dst) {
        return zelsReflectionToTrueAR_16s_Sfs(k, 15, dst, len, -10);
    });
}

TEST(TrueAreaFixed, TakesNoMemoryUpToLength100)
{
    for (int length : {1, 100, 101, 1000}) {
        const std::vector<int16_t> k = uniform_vector<int16_t>(length, -100, 100);
        Guarded<int16_t> dst(k.size());
        const auto call = [&] { return zelsReflectionToTrueAR_16s_Sfs(k.data(), 15, dst.data(), length, -10); };
        {
            AllocatorWatch watch;
            EXPECT_EQ(call(), SrOk);
            EXPECT_EQ(watch.requests() == 0, length <= 100) << length;
            EXPECT_EQ(watch.live(), 0);
        }
        if (length > 100) expect_survives_refusals(call, {&dst});
    }
}

TEST(TrueArea, InEveryEnvironment)
{
    const std::vector<int16_t> k16 = uniform_vector<int16_t>(29, -20000, 20000);
    std::vector<float> k(29), right(29), dst(29);
    for (std::size_t i = 0; i < 29; ++i) k[i] = static_cast<float>(k16[i]) / 32768;
    std::vector<int16_t> right16(29), dst16(29);
    ASSERT_EQ(zelsReflectionToTrueAR_32f(k.data(), right.data(), 29), SrOk);
    ASSERT_EQ(zelsReflectionToTrueAR_16s_Sfs(k16.data(), 15, right16.data(), 29, -8), SrOk);
    under_each_environment([&] { zelsReflectionToTrueAR_32f(k.data(), dst.data(), 29); },
                           [&](const std::string& setting) { EXPECT_EQ(right, dst) << setting; });
    under_each_environment([&] { zelsReflectionToTrueAR_16s_Sfs(k16.data(), 15, dst16.data(), 29, -8); },
                           [&](const std::string& setting) { EXPECT_EQ(right16, dst16) << setting; });
}

#ifdef __i386__
TEST(TrueArea, RunsOnAnyStack)
{
    const std::vector<float> k = uniform_vector(29, -0.8F, 0.8F);
    std::vector<float> right(29), dst(29);
    ASSERT_EQ(zelsReflectionToTrueAR_32f(k.data(), right.data(), 29), SrOk);
    for (int misalign : {0, 4, 8, 12}) {
        EXPECT_EQ(call_misaligned(zelsReflectionToTrueAR_32f, misalign, k.data(), dst.data(), 29), SrOk);
        EXPECT_EQ(right, dst);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
