// The members that take variances instead of their reciprocals: what a zero variance does, and whose division
// it is.
#include <gtest/gtest.h>

#include <limits>

#include "support/bits.h"
#include "support/effort.h"
#include "support/hooks.h"
#include "support/reference/gauss.h"
#include "zelsr/likelihood/gauss.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct ZeroVariance : testing::Test {
    static constexpr int kLen = 21;
    std::vector<float> x = uniform_vector<float>(kLen, -3, 3), m = uniform_vector<float>(kLen, 4, 6),
                       v = uniform_vector<float>(kLen, 0.1F, 4);
    Guarded<float> single{std::vector<float>{-7.5F}};
    Guarded<double> wide{std::vector<double>{-7.5}};

    SrStatus score_single()
    {
        return zelsLogGaussSingle_DirectVar_32f(x.data(), m.data(), v.data(), kLen, single.data(), 1);
    }
    SrStatus score_wide()
    {
        return zelsLogGaussSingle_DirectVar_32f64f(x.data(), m.data(), v.data(), kLen, wide.data(), 1);
    }
};

TEST_F(ZeroVariance, SinglePrecisionWarnsAndWritesTheInfiniteScore)
{
    for (std::size_t k = 0; k < kLen; ++k) {
        const float former = v[k];
        v[k] = 0.0F;
        EXPECT_EQ(score_single(), SrWarnDivByZero);
        EXPECT_EQ(single.get(0), -kInfinity) << k;
        v[k] = -0.0F;  // its reciprocal is minus infinity
        EXPECT_EQ(score_single(), SrWarnDivByZero);
        EXPECT_EQ(single.get(0), kInfinity) << k;
        v[k] = former;
    }
    EXPECT_TRUE(single.intact());
}

TEST_F(ZeroVariance, SinglePrecisionWritesNotANumberWhereTheDifferenceIsZeroToo)
{
    v[3] = 0.0F;
    x[3] = m[3];  // 0 * infinity
    EXPECT_EQ(score_single(), SrWarnDivByZero);
    EXPECT_TRUE(std::isnan(single.get(0)));
}

TEST_F(ZeroVariance, WideResultIsLeftAlone)
{
    for (std::size_t k = 0; k < kLen; ++k)
        for (float zero : {0.0F, -0.0F}) {
            const float former = v[k];
            v[k] = zero;
            wide.take_snapshot();
            EXPECT_EQ(score_wide(), SrWarnDivByZero);
            EXPECT_TRUE(wide.as_snapshot()) << k;
            v[k] = former;
        }
    EXPECT_EQ(score_wide(), SrOk);
}

TEST_F(ZeroVariance, WideFormWarnsWhateverIsDivided)
{
    v[5] = 0.0F;
    for (float feature : {m[5], kInfinity, std::numeric_limits<float>::quiet_NaN()}) {
        x[5] = feature;
        wide.take_snapshot();
        EXPECT_EQ(score_wide(), SrWarnDivByZero);
        EXPECT_TRUE(wide.as_snapshot());
    }
}

// The sum is not a number before the zero is met: the zero is looked for all the same.
TEST_F(ZeroVariance, IsFoundBehindNotANumber)
{
    x[0] = std::numeric_limits<float>::quiet_NaN();
    v[kLen - 1] = 0.0F;
    EXPECT_EQ(score_single(), SrWarnDivByZero);
    EXPECT_TRUE(std::isnan(single.get(0)));
    EXPECT_EQ(score_wide(), SrWarnDivByZero);
    EXPECT_EQ(wide.get(0), -7.5);
}

TEST_F(ZeroVariance, DoublePrecisionHasNoStatusForIt)
{
    const std::vector<double> x64(x.begin(), x.end()), m64(m.begin(), m.end());
    for (std::size_t k = 0; k < kLen; ++k)
        for (double zero : {0.0, -0.0}) {
            std::vector<double> v64(v.begin(), v.end());
            v64[k] = zero;
            EXPECT_EQ(zelsLogGaussSingle_DirectVar_64f(x64.data(), m64.data(), v64.data(), kLen, wide.data(), 1),
                      SrOk);
            EXPECT_EQ(wide.get(0), std::signbit(zero) ? HUGE_VAL : -HUGE_VAL) << k;
            EXPECT_EQ(zelsLogGaussSingle_DirectVar_64f(m64.data(), m64.data(), v64.data(), kLen, wide.data(), 1),
                      SrOk);
            EXPECT_TRUE(std::isnan(wide.get(0))) << k;
        }
}

TEST_F(ZeroVariance, SubnormalNegativeAndNotANumberAreNoZero)
{
    for (float odd :
         {std::numeric_limits<float>::denorm_min(), -2.0F, std::numeric_limits<float>::quiet_NaN(), kInfinity}) {
        v[7] = odd;
        EXPECT_EQ(score_single(), SrOk) << odd;
        wide.set(0, -7.5);
        EXPECT_EQ(score_wide(), SrOk) << odd;
        EXPECT_NE(wide.get(0), -7.5) << odd;
    }
}

// A reciprocal rounded to single precision is multiplied in one form, the term is divided in the others.
TEST(DirectVariance, OnlySinglePrecisionFormsTheReciprocal)
{
    const float x = 3, m = 0, v = 7;
    float single = 0;
    double wide = 0;
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_32f(&x, &m, &v, 1, &single, 0), SrOk);
    EXPECT_EQ(single, -0.5F * (9.0F * (1.0F / 7.0F)));
    EXPECT_NE(9.0F * (1.0F / 7.0F), 9.0F / 7.0F);
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_32f64f(&x, &m, &v, 1, &wide, 0), SrOk);
    EXPECT_EQ(wide, -0.5 * (9.0 / 7.0));
    const double x64 = 3, m64 = 0, v64 = 7;
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_64f(&x64, &m64, &v64, 1, &wide, 0), SrOk);
    EXPECT_EQ(wide, -0.5 * (9.0 / 7.0));
    EXPECT_NE(9.0 * (1.0 / 7.0), 9.0 / 7.0);
}

struct Memory : testing::TestWithParam<int> {
    int len = GetParam();
    std::vector<float> x = uniform_vector<float>(len, -3, 3), m = uniform_vector<float>(len, -3, 3),
                       v = uniform_vector<float>(len, 0.1F, 4);
    Guarded<float> result{1};
};

TEST_P(Memory, RefusedScratchWritesNothing)
{
    expect_survives_refusals(
        [this] { return zelsLogGaussSingle_DirectVar_32f(x.data(), m.data(), v.data(), len, result.data(), 1); },
        {&result});
}

TEST_P(Memory, ScratchIsOneBlockReleasedOnAWarningToo)
{
    AllocatorWatch watch;
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_32f(x.data(), m.data(), v.data(), len, result.data(), 1), SrOk);
    const std::size_t lead = 32 + sizeof(void*);
    EXPECT_EQ(watch.sizes(),
              std::vector<std::size_t>{(static_cast<std::size_t>(len) + 32) * sizeof(float) + lead});
    EXPECT_EQ(watch.live(), 0);
    v.back() = 0;
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_32f(x.data(), m.data(), v.data(), len, result.data(), 1),
              SrWarnDivByZero);
    EXPECT_EQ(watch.live(), 0);
}

TEST_P(Memory, BadArgumentsAskForNone)
{
    AllocatorWatch watch;
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_32f(x.data(), m.data(), nullptr, len, result.data(), 1), SrErrNullPtr);
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_32f(x.data(), m.data(), v.data(), 0, result.data(), 1), SrErrSize);
    EXPECT_EQ(watch.requests(), 0);
}

// The count of the scratch wraps around: refused, with nothing read and no block asked for.
TEST(DirectVariance, ALengthBeyondTheLargestScratchIsRefused)
{
    const Guarded<float> nothing(0);  // its address is the forbidden page's
    Guarded<float> result{1};
    AllocatorWatch watch;
    for (int32_t len : {INT32_MAX, INT32_MAX - 31}) {
        result.take_snapshot();
        EXPECT_EQ(zelsLogGaussSingle_DirectVar_32f(nothing.data(), nothing.data(), nothing.data(), len,
                                                   result.data(), 1),
                  SrErrMemAlloc);
        EXPECT_TRUE(result.as_snapshot());
    }
    EXPECT_EQ(watch.requests(), 0);
}

TEST_P(Memory, TheOtherMembersAskForNone)
{
    AllocatorWatch watch;
    double wide = 0;
    const std::vector<double> x64(x.begin(), x.end());
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_32f64f(x.data(), m.data(), v.data(), len, &wide, 1), SrOk);
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_64f(x64.data(), x64.data(), x64.data(), len, &wide, 1), SrOk);
    EXPECT_EQ(zelsLogGaussSingle_32f(x.data(), m.data(), v.data(), len, result.data(), 1), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

INSTANTIATE_TEST_SUITE_P(DirectVariance, Memory, testing::Values(1, 2, 5, 16, 39, 64, 257, 5000));

}  // namespace
}  // namespace zelsr::test
