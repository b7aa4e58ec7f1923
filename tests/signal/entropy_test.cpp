// Entropies.
#include <gtest/gtest.h>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "support/operation.h"
#include "support/reference/pitch.h"
#include "zelsr/signal.h"

namespace zelsr::test {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// The constant for ln 2 is off by 2.8e-8 of it at most, a logarithm and the result by half a unit of a single each
// or a little more.
testing::AssertionResult near_entropy(const reference::Entropy& expected, float actual)
{
    const long double tolerance = 0x1.8p-23L * (expected.magnitude + std::abs(expected.sum));
    const long double error = std::abs(static_cast<long double>(actual) - expected.sum);
    if (error <= tolerance) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "expected " << static_cast<double>(expected.sum) << ", got " << actual;
}

TEST(Entropy_32f, EveryLengthAndAddress)
{
    at_every_place<2>(lengths(16), {4, 4}, [](int len, const std::array<Placement, 2>& at) {
        const auto x = uniform_vector(len, 0.0F, 1.0F);
        return reduces<float, float>(
            x, zelsEntropy_32f, [&](float result) { return near_entropy(reference::entropy(x), result); }, at[0],
            at[1]);
    });
}

TEST(Entropy_32f, LongArrays)
{
    for (int len : {100, 1000, 30000})
        for (float high : {0.01F, 3.0F, 1e20F}) {
            const auto x = uniform_vector(len, 0.0F, high);
            float result = kNan;
            EXPECT_EQ(zelsEntropy_32f(x.data(), len, &result), SrOk);
            EXPECT_TRUE(near_entropy(reference::entropy(x), result)) << len << ", up to " << high;
        }
}

struct Outcome {
    SrStatus status;
    float value;
};
Outcome entropy(const std::vector<float>& x)
{
    Outcome result{SrErrUnknown, 77};
    result.status = zelsEntropy_32f(x.data(), static_cast<int32_t>(x.size()), &result.value);
    return result;
}

// A sum of x log2(x), without a change of sign.
TEST(Entropy_32f, ByValue)
{
    EXPECT_EQ(entropy({0.5F, 0.5F}).value, -1);
    EXPECT_EQ(entropy({0.5F, 0.5F}).status, SrOk);
    EXPECT_NEAR(entropy({0.25F, 0.25F, 0.25F, 0.25F}).value, -2, 3e-7);
    EXPECT_NEAR(entropy({8}).value, 24, 2e-6);
    EXPECT_EQ(entropy({1}).value, 0);
    EXPECT_NEAR(entropy({0.5F, 0, -0.0F, 0.5F, 0}).value, -1, 1e-7);
    EXPECT_EQ(entropy({0, 0, -0.0F}).value, 0);
    EXPECT_EQ(entropy({0, 0, -0.0F}).status, SrOk);
    EXPECT_NEAR(entropy({0x1p-149F}).value, -149 * 0x1p-149, 0x1p-148);
    EXPECT_EQ(entropy({std::numeric_limits<float>::infinity()}).value, std::numeric_limits<float>::infinity());
}

TEST(Entropy_32f, NegativeElementsAndNotANumberEndTheRunAtEveryPosition)
{
    for (float bad : {-1.0F, -0x1p-149F, -std::numeric_limits<float>::infinity(), kNan, -kNan})
        for (int len : {1, 2, 4, 7, 8, 9, 17, 35})
            for (int at = 0; at < len; ++at) {
                auto x = uniform_vector(len, 0.0F, 1.0F);
                x[static_cast<std::size_t>(at)] = bad;
                const Outcome result = entropy(x);
                ASSERT_EQ(result.status, SrWarnLnNegArg) << bad << " at " << at << " of " << len;
                ASSERT_TRUE(std::isnan(result.value)) << bad << " at " << at << " of " << len;
            }
}

TEST(Entropy_32f, NullThenSize) { expect_checks_of_a_reduction<float, float>(zelsEntropy_32f); }

// ---- 16 bits ------------------------------------------------------------------------------------------------

struct Entropy16s {
    int32_t src_sf, sf;
    SrStatus operator()(const int16_t* src, int32_t len, int32_t* result) const
    {
        return zelsEntropy_16s32s_Sfs(src, src_sf, len, result, sf);
    }
};

// Truncated: the exact value lies from the result on to one further from zero, give or take the sum's own error.
testing::AssertionResult truncates_to(const reference::Entropy& sum, int32_t sf, int32_t actual)
{
    const long double scale = std::ldexp(1.0L, -sf), exact = sum.sum * scale;
    const long double error = 0x1p-22L * (sum.magnitude + std::abs(sum.sum)) * scale;
    const auto end = [](long double x) -> long double {
        return std::clamp(std::trunc(x), -2147483648.0L, 2147483647.0L);
    };
    if (actual >= end(exact - error) && actual <= end(exact + error)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "expected " << static_cast<double>(exact) << ", got " << actual;
}

TEST(Entropy_16s32s, EveryLengthAndAddress)
{
    Cycle<int32_t> source_scales({15, 10, 0, 3, -2}), scales({-8, 0, -12, 3, 8});
    at_every_place<2>(lengths(16), {2, 4}, [&](int len, const std::array<Placement, 2>& at) {
        const auto x = uniform_vector<int16_t>(len, 0, 32767);
        const Entropy16s call{source_scales.next(), scales.next()};
        const auto expected = reference::entropy(x, std::ldexp(1.0L, -call.src_sf));
        return reduces<int16_t, int32_t>(
            x, call, [&](int32_t result) { return truncates_to(expected, call.sf, result); }, at[0], at[1]);
    });
}

int32_t entropy(const reference::Samples& x, int32_t src_sf, int32_t sf)
{
    int32_t result = 77;
    EXPECT_EQ(zelsEntropy_16s32s_Sfs(x.data(), src_sf, static_cast<int32_t>(x.size()), &result, sf), SrOk);
    return result;
}

TEST(Entropy_16s32s, EveryPairOfScaleFactors)
{
    const reference::Samples x = {1, 5, 200, 32767, 0, 3};
    for (int32_t src_sf : {-40, -31, -30, -16, -15, -1, 0, 1, 8, 15, 16, 30, 31, 32, 33, 40, 60, 63, 64, 65, 100})
        for (int32_t sf : {-100, -63, -32, -31, -30, -8, 0, 1, 8, 31, 32, 64, 100})
            EXPECT_TRUE(truncates_to(reference::entropy(x, std::ldexp(1.0L, -src_sf)), sf, entropy(x, src_sf, sf)))
                << "source scale " << src_sf << ", sf " << sf;
}

TEST(Entropy_16s32s, ByValue)
{
    EXPECT_NEAR(entropy({16384, 16384}, 15, -10), -1024, 1);  // halves
    EXPECT_NEAR(entropy({8192, 8192, 8192, 8192}, 15, -20), -2 << 20, 1);
    EXPECT_EQ(entropy({1, 0, 1}, 0, -20), 0);
    EXPECT_EQ(entropy({3}, 0, 0), 4);    // 4.75
    EXPECT_EQ(entropy({3}, 0, 1), 2);    // 2.38
    EXPECT_EQ(entropy({3}, 0, -1), 9);   // 9.51
    EXPECT_EQ(entropy({3}, 2, -2), -1);  // 0.75 log2(0.75) * 4 = -1.245
    EXPECT_EQ(entropy({3}, 2, -3), -2);  // -2.49
    EXPECT_EQ(entropy({3}, -1, 0), 15);  // 6 log2(6) = 15.51
}

TEST(Entropy_16s32s, Saturates)
{
    EXPECT_EQ(entropy({32767}, 0, -20), INT32_MAX);
    EXPECT_EQ(entropy({32767}, 0, -200), INT32_MAX);
    EXPECT_EQ(entropy({16384}, 15, -33), INT32_MIN);
    EXPECT_EQ(entropy({16384}, 15, -200), INT32_MIN);
    EXPECT_EQ(entropy({32767}, 0, 200), 0);
    EXPECT_EQ(entropy({32767}, 0, INT32_MAX), 0);
}

TEST(Entropy_16s32s, ANegativeElementReturnsAtOnceAndWritesNothing)
{
    for (int16_t bad : {-1, -32768})
        for (int len : {1, 2, 7, 8, 9, 17, 35})
            for (int at = 0; at < len; ++at) {
                auto x = uniform_vector<int16_t>(len, 0, 32767);
                x[static_cast<std::size_t>(at)] = bad;
                Guarded<int32_t> result(1);
                result.take_snapshot();
                ASSERT_EQ(zelsEntropy_16s32s_Sfs(x.data(), 15, len, result.data(), -8), SrWarnLnNegArg);
                ASSERT_TRUE(result.as_snapshot());
            }
}

TEST(Entropy_16s32s, NullThenSize) { expect_checks_of_a_reduction<int16_t, int32_t>(Entropy16s{15, -8}); }

TEST(Entropy, DoesNotDependOnTheEnvironment)
{
    const auto x = uniform_vector<int16_t>(67, 0, 32767);
    const auto y = uniform_vector(67, 0.0F, 1.0F);
    const int32_t expected = entropy(x, 15, -20);
    const float expected_single = entropy(y).value;
    int32_t result = 0;
    float single = 0;
    under_each_environment(
        [&] {
            zelsEntropy_16s32s_Sfs(x.data(), 15, 67, &result, -20);
            zelsEntropy_32f(y.data(), 67, &single);
        },
        [&](const std::string& setting) {
            EXPECT_EQ(result, expected) << setting;
            EXPECT_EQ(single, expected_single) << setting;
            result = 0;
            single = 0;
        });
}

#ifdef __i386__
TEST(OddStack, EntropiesWorkFromEveryStack)
{
    const auto x = uniform_vector<int16_t>(67, 0, 32767);
    const auto y = uniform_vector(67, 0.0F, 1.0F);
    for (int misalign : {0, 4, 8, 12}) {
        int32_t result = 0;
        EXPECT_EQ(call_misaligned(zelsEntropy_16s32s_Sfs, misalign, x.data(), 15, 67, &result, -20), SrOk);
        EXPECT_EQ(result, entropy(x, 15, -20));
        float single = 0;
        EXPECT_EQ(call_misaligned(zelsEntropy_32f, misalign, y.data(), 67, &single), SrOk);
        EXPECT_EQ(single, entropy(y).value);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
