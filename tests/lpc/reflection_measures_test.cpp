// Area ratios, log area ratios and tilts of reflection coefficients.
#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <cfenv>
#include <cmath>
#include <limits>
#include <string>
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
constexpr float kThresh = 0.99F;
constexpr int32_t kSourceScale = 15;
// The processors' estimates differ; after one Newton step they are this near.
constexpr double kQuotient = 0x1p-21;

// One or two sources; the second one is null where there is none.
struct Member {
    const char* name;
    bool two_sources, logarithm;
    SrStatus (*singles)(const float*, const float*, float*, int32_t);
    SrStatus (*fixed)(const int16_t*, const int16_t*, int16_t*, int32_t, int32_t);
    double (*exact)(double, double);        // of singles
    double (*exact_fixed)(double, double);  // of integers, before sf
};
std::ostream& operator<<(std::ostream& out, const Member& m) { return out << m.name; }

const Member kMembers[] = {
    {"AR", false, false, [](auto k, auto, auto dst, auto len) { return zelsReflectionToAR_32f(k, dst, len); },
     [](auto k, auto, auto dst, auto len, auto sf) {
         return zelsReflectionToAR_16s_Sfs(k, kSourceScale, dst, len, sf);
     },
     [](double k, double) { return reference::area_ratio(k); },
     [](double k, double) { return reference::area_ratio(k, 32768); }},
    {"LAR", false, true,
     [](auto k, auto, auto dst, auto len) { return zelsReflectionToLAR_32f(k, dst, len, kThresh); },
     [](auto k, auto, auto dst, auto len, auto sf) {
         return zelsReflectionToLAR_16s_Sfs(k, kSourceScale, dst, len, kThresh, sf);
     },
     [](double k, double) { return reference::log_area_ratio(k, kThresh); },
     [](double k, double) { return reference::log_area_ratio(k / 32768, kThresh); }},
    {"AbsTilt", true, false,
     [](auto k1, auto k2, auto dst, auto len) { return zelsReflectionToAbsTilt_32f(k1, k2, dst, len); },
     [](auto k1, auto k2, auto dst, auto len, auto sf) {
         return zelsReflectionToAbsTilt_16s_Sfs(k1, k2, dst, len, sf);
     },
     reference::abs_tilt, reference::abs_tilt},
    {"Tilt", true, false,
     [](auto k1, auto k2, auto dst, auto len) { return zelsReflectionToTilt_32f(k1, k2, dst, len); },
     [](auto k1, auto k2, auto dst, auto len, auto sf) {
         return zelsReflectionToTilt_16s_Sfs(k1, k2, dst, len, sf);
     },
     reference::tilt, reference::tilt},
};

class ReflectionMeasures : public testing::TestWithParam<Member> {
  protected:
    static double tolerance(double right)
    {
        return GetParam().logarithm ? 2 * kQuotient + 0x1p-23 * std::abs(right) : kQuotient * std::abs(right);
    }
    // Two values away from the zeros of all denominators.
    static float value() { return uniform(0.01F, 0.98F) * (generator()() % 2 == 0 ? 1.0F : -1.0F); }
};

struct Sources {
    std::vector<float> k1, k2;
};
Sources random_sources(int length)
{
    Sources s;
    for (int i = 0; i < length; ++i) {
        s.k1.push_back(uniform(-0.98F, 0.98F));
        // Sums that cancel amplify nothing: they are exact or rounded once.
        s.k2.push_back(uniform(0.01F, 0.98F) * (s.k1.back() < 0 ? -1.0F : 1.0F));
    }
    return s;
}

testing::AssertionResult near(double right, double actual, double tolerance, std::size_t i)
{
    if (std::abs(actual - right) <= tolerance) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "element " << i << ": " << actual << " where " << right
                                       << " is due, tolerance " << tolerance;
}

TEST_P(ReflectionMeasures, AreTheFormulaAtEveryLengthAndAddress)
{
    for (int length : lengths(8))
        for (const Arrangement& at : arrangements(3, sizeof(float))) {
            const Sources s = random_sources(length);
            Guarded<float> k1(s.k1, at[0]), k2(s.k2, at[1]), dst(s.k1.size(), at[2]);
            k1.take_snapshot();
            k2.take_snapshot();
            ASSERT_EQ(GetParam().singles(k1.data(), k2.data(), dst.data(), length), SrOk)
                << length << ", " << describe(at);
            for (std::size_t i = 0; i < s.k1.size(); ++i) {
                const double right = GetParam().exact(s.k1[i], s.k2[i]);
                ASSERT_TRUE(near(right, dst.get(i), tolerance(right), i)) << length << ", " << describe(at);
            }
            ASSERT_TRUE(k1.as_snapshot() && k2.as_snapshot() && dst.intact()) << describe(at);
        }
}

TEST_P(ReflectionMeasures, MayWorkInPlace)
{
    const Sources s = random_sources(37);
    std::vector<float> apart(37), first = s.k1, second = s.k2;
    ASSERT_EQ(GetParam().singles(s.k1.data(), s.k2.data(), apart.data(), 37), SrOk);
    ASSERT_EQ(GetParam().singles(first.data(), s.k2.data(), first.data(), 37), SrOk);
    EXPECT_EQ(apart, first);
    if (GetParam().two_sources) {
        ASSERT_EQ(GetParam().singles(s.k1.data(), second.data(), second.data(), 37), SrOk);
        EXPECT_EQ(apart, second);
    }
}

TEST_P(ReflectionMeasures, NaNStaysInItsPlace)
{
    for (int length : {1, 4, 7, 9})
        for (int at = 0; at < length; ++at) {
            Sources s = random_sources(length);
            s.k1[static_cast<std::size_t>(at)] = kNaN;
            std::vector<float> dst(s.k1.size());
            EXPECT_EQ(GetParam().singles(s.k1.data(), s.k2.data(), dst.data(), length), SrOk);
            for (int i = 0; i < length; ++i)
                EXPECT_EQ(std::isnan(dst[static_cast<std::size_t>(i)]), i == at) << i << ", NaN in " << at;
        }
}

// --- 16 bits ---

struct FixedSources {
    std::vector<int16_t> k1, k2;
};
FixedSources random_fixed_sources(int length)
{
    FixedSources s;
    for (int i = 0; i < length; ++i) {
        s.k1.push_back(uniform<int16_t>(-32000, 32000));
        const int16_t size = uniform<int16_t>(300, 32000);
        s.k2.push_back(s.k1.back() < 0 ? static_cast<int16_t>(-size) : size);
    }
    return s;
}

// To nearest, saturated; the logarithm is truncated toward zero (wanted). Quotients have their own error.
testing::AssertionResult rounds(const Member& m, double right, int32_t sf, int16_t actual, double error,
                                std::size_t i)
{
    const double scale = std::ldexp(1.0, -sf);
    double low = (right - error) * scale, high = (right + error) * scale;
    low = m.logarithm ? std::trunc(low) : std::ceil(low - 0.5);
    high = m.logarithm ? std::trunc(high) : std::floor(high + 0.5);
    low = std::clamp(low, -32768.0, 32767.0);
    high = std::clamp(high, -32768.0, 32767.0);
    if (low <= actual && actual <= high) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "element " << i << ": " << actual << " where " << right * scale
                                       << " is due, between " << low << " and " << high;
}

TEST_P(ReflectionMeasures, FixedIsTheFormulaRounded)
{
    for (int length : lengths(8))
        for (const Arrangement& at : arrangements(3, sizeof(int16_t))) {
            const FixedSources s = random_fixed_sources(length);
            const int32_t sf = uniform(-14, -6);
            Guarded<int16_t> k1(s.k1, at[0]), k2(s.k2, at[1]), dst(s.k1.size(), at[2]);
            k1.take_snapshot();
            k2.take_snapshot();
            ASSERT_EQ(GetParam().fixed(k1.data(), k2.data(), dst.data(), length, sf), SrOk);
            for (std::size_t i = 0; i < s.k1.size(); ++i) {
                const double right = GetParam().exact_fixed(s.k1[i], s.k2[i]);
                ASSERT_TRUE(rounds(GetParam(), right, sf, dst.get(i), tolerance(right), i))
                    << length << ", sf " << sf << ", " << describe(at);
            }
            ASSERT_TRUE(k1.as_snapshot() && k2.as_snapshot() && dst.intact()) << describe(at);
        }
}

TEST_P(ReflectionMeasures, FixedAtEveryScaleFactor)
{
    const FixedSources s = random_fixed_sources(9);
    for (int32_t sf : scale_factors()) {
        if (sf < -100 || sf > 100) continue;
        std::vector<int16_t> dst(9);
        ASSERT_EQ(GetParam().fixed(s.k1.data(), s.k2.data(), dst.data(), 9, sf), SrOk);
        for (std::size_t i = 0; i < 9; ++i) {
            const double right = GetParam().exact_fixed(s.k1[i], s.k2[i]);
            ASSERT_TRUE(rounds(GetParam(), right, sf, dst[i], tolerance(right), i)) << sf;
        }
    }
}

TEST_P(ReflectionMeasures, FixedInEveryEnvironment)
{
    const FixedSources s = random_fixed_sources(29);
    std::vector<int16_t> right(29), dst(29);
    ASSERT_EQ(GetParam().fixed(s.k1.data(), s.k2.data(), right.data(), 29, -10), SrOk);
    under_each_environment([&] { GetParam().fixed(s.k1.data(), s.k2.data(), dst.data(), 29, -10); },
                           [&](const std::string& setting) { EXPECT_EQ(right, dst) << setting; });
}

// Exceptions stay masked whatever the caller has, even where a denominator is zero.
TEST_P(ReflectionMeasures, SinglesInEveryEnvironment)
{
    const Sources s = random_sources(29);
    std::vector<float> right(29), dst(29);
    ASSERT_EQ(GetParam().singles(s.k1.data(), s.k2.data(), right.data(), 29), SrOk);
    under_each_environment([&] { GetParam().singles(s.k1.data(), s.k2.data(), dst.data(), 29); },
                           [&](const std::string& setting) { EXPECT_EQ(right, dst) << setting; });
}

TEST_P(ReflectionMeasures, FixedTakesNoMemoryUpToLength100)
{
    for (int length : {1, 99, 100, 101, 1000}) {
        const FixedSources s = random_fixed_sources(length);
        const Sources singles = random_sources(length);
        std::vector<int16_t> dst(s.k1.size());
        std::vector<float> single_dst(s.k1.size());
        AllocatorWatch watch;
        EXPECT_EQ(GetParam().singles(singles.k1.data(), singles.k2.data(), single_dst.data(), length), SrOk);
        EXPECT_EQ(watch.requests(), 0);
        EXPECT_EQ(GetParam().fixed(s.k1.data(), s.k2.data(), dst.data(), length, -10), SrOk);
        EXPECT_EQ(watch.requests() == 0, length <= 100) << length;
        EXPECT_EQ(watch.live(), 0);
    }
}

TEST_P(ReflectionMeasures, FixedSurvivesRefusedMemory)
{
    const FixedSources s = random_fixed_sources(101);
    Guarded<int16_t> dst(101);
    dst.take_snapshot();
    {
        AllocatorWatch watch(1);
        EXPECT_EQ(GetParam().fixed(s.k1.data(), s.k2.data(), dst.data(), 101, -10), SrErrMemAlloc);
        EXPECT_TRUE(dst.as_snapshot());
    }
    expect_survives_refusals([&] { return GetParam().fixed(s.k1.data(), s.k2.data(), dst.data(), 101, -10); },
                             {&dst});
}

template <class T>
struct Arguments {
    const T *k1, *k2;
    T* dst;
    int32_t len;
};
template <class T>
void expect_checks(bool two_sources, const std::function<SrStatus(const Arguments<T>&)>& call)
{
    using A = Arguments<T>;
    const Guarded<T> k1(std::vector<T>(40, T(0))), k2(std::vector<T>(40, T(0)));
    Guarded<T> dst(40);
    std::vector<Fault<A>> faults = {{"null source", SrErrNullPtr, [](A& a) { a.k1 = nullptr; }},
                                    {"null result", SrErrNullPtr, [](A& a) { a.dst = nullptr; }},
                                    {"length 0", SrErrSize, [](A& a) { a.len = 0; }},
                                    {"length -1", SrErrSize, [](A& a) { a.len = -1; }},
                                    {"lowest length", SrErrSize, [](A& a) { a.len = INT32_MIN; }}};
    if (two_sources) faults.insert(faults.begin(), {"null second", SrErrNullPtr, [](A& a) { a.k2 = nullptr; }});
    expect_check_order<A>({k1.data(), k2.data(), dst.data(), 40}, faults, call, {&dst});
}

TEST_P(ReflectionMeasures, PointersAreCheckedBeforeLength)
{
    expect_checks<float>(GetParam().two_sources,
                         [](const Arguments<float>& a) { return GetParam().singles(a.k1, a.k2, a.dst, a.len); });
    expect_checks<int16_t>(GetParam().two_sources, [](const Arguments<int16_t>& a) {
        return GetParam().fixed(a.k1, a.k2, a.dst, a.len, 3);
    });
}

INSTANTIATE_TEST_SUITE_P(All, ReflectionMeasures, testing::ValuesIn(kMembers),
                         [](const auto& test) { return std::string(test.param.name); });

// --- zero denominators ---

// Sources for which every denominator is zero where they have a zero in common place.
struct ZeroCase {
    const Member* member;
    float k1, k2;    // a zero denominator
    int16_t f1, f2;  // the same in 16 bits
    bool infinite;   // the single result: infinity or NaN
    int16_t stored;  // the 16-bit result
};
const ZeroCase kZeroCases[] = {{&kMembers[0], -1, 0, -32768, 0, true, 32767},
                               {&kMembers[2], 0, -0.0F, 0, 0, false, 0},
                               {&kMembers[3], 0.5F, -0.5F, 16384, -16384, false, 0},
                               {&kMembers[3], 0, 0, 0, 0, false, 0}};

class ZeroDenominators : public testing::TestWithParam<ZeroCase> {};

TEST_P(ZeroDenominators, WarnAndLeaveTheStatedValueInTheirPlace)
{
    const ZeroCase& c = GetParam();
    for (int length : lengths(8))
        for (int at = 0; at < length; ++at) {
            Sources s = random_sources(length);
            const auto place = static_cast<std::size_t>(at);
            s.k1[place] = c.k1;
            s.k2[place] = c.k2;
            std::vector<float> dst(s.k1.size());
            ASSERT_EQ(c.member->singles(s.k1.data(), s.k2.data(), dst.data(), length), SrWarnDivByZero);
            for (std::size_t i = 0; i < dst.size(); ++i) {
                if (i != place) {
                    const double right = c.member->exact(s.k1[i], s.k2[i]);
                    ASSERT_TRUE(near(right, dst[i], kQuotient * std::abs(right), i)) << length;
                } else if (c.infinite) {
                    ASSERT_EQ(dst[i], kInfinity);
                } else {
                    ASSERT_TRUE(std::isnan(dst[i]));
                }
            }
            FixedSources f = random_fixed_sources(length);
            f.k1[place] = c.f1;
            f.k2[place] = c.f2;
            std::vector<int16_t> fixed(f.k1.size());
            for (int32_t sf : {-10, 0, 14, 31, 200}) {
                ASSERT_EQ(c.member->fixed(f.k1.data(), f.k2.data(), fixed.data(), length, sf), SrWarnDivByZero);
                ASSERT_EQ(fixed[place], c.stored) << "sf " << sf;
            }
        }
}

// A zero denominator is told from the data: a flag that was raised before the call warns of nothing, and stays.
TEST_P(ZeroDenominators, FlagsOfTheCallerWarnOfNothing)
{
    if (under_valgrind()) return;  // its processor keeps no flags
    const ZeroCase& c = GetParam();
    Sources s = random_sources(13);
    FixedSources f = random_fixed_sources(13);
    std::vector<float> dst(13);
    std::vector<int16_t> fixed(13);
    std::feraiseexcept(FE_INVALID | FE_DIVBYZERO);
    EXPECT_EQ(c.member->singles(s.k1.data(), s.k2.data(), dst.data(), 13), SrOk);
    EXPECT_EQ(c.member->fixed(f.k1.data(), f.k2.data(), fixed.data(), 13, -10), SrOk);
    EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO), FE_INVALID | FE_DIVBYZERO);
    // One that was met clears them all: wanted.
    s.k1[5] = c.k1;
    s.k2[5] = c.k2;
    f.k1[5] = c.f1;
    f.k2[5] = c.f2;
    EXPECT_EQ(c.member->singles(s.k1.data(), s.k2.data(), dst.data(), 13), SrWarnDivByZero);
    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0);
    std::feraiseexcept(FE_OVERFLOW);
    EXPECT_EQ(c.member->fixed(f.k1.data(), f.k2.data(), fixed.data(), 13, -10), SrWarnDivByZero);
    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0);
    std::feclearexcept(FE_ALL_EXCEPT);
}

// With exceptions unmasked none fires.
TEST_P(ZeroDenominators, RaiseNoException)
{
    if (under_valgrind()) return;  // its processor knows no unmasked exceptions
    const ZeroCase& c = GetParam();
    const unsigned before = _mm_getcsr();
    float result = 5;
    int16_t fixed = 5;
    _mm_setcsr(0x0000);
    const SrStatus status = c.member->singles(&c.k1, &c.k2, &result, 1);
    const SrStatus fixed_status = c.member->fixed(&c.f1, &c.f2, &fixed, 1, 0);
    const unsigned after = _mm_getcsr();
    _mm_setcsr(before);
    EXPECT_EQ(status, SrWarnDivByZero);
    EXPECT_EQ(fixed_status, SrWarnDivByZero);
    EXPECT_EQ(after, 0x0000u);
}

INSTANTIATE_TEST_SUITE_P(All, ZeroDenominators, testing::ValuesIn(kZeroCases),
                         [](const auto& test) { return test.param.member->name + std::to_string(test.index); });

TEST(Tilts, ASumThatCancelsOnlyConcernsTheSignedOne)
{
    const float k1 = 0.5F, k2 = -0.5F;
    float result = 7;
    EXPECT_EQ(zelsReflectionToAbsTilt_32f(&k1, &k2, &result, 1), SrOk);
    EXPECT_EQ(result, 0.0F);
    EXPECT_EQ(zelsReflectionToTilt_32f(&k1, &k2, &result, 1), SrWarnDivByZero);
    const float other = -0.25F;  // 0.25 over 0.25
    EXPECT_EQ(zelsReflectionToTilt_32f(&k1, &other, &result, 1), SrOk);
    EXPECT_NEAR(result, 1.0, kQuotient);
    EXPECT_EQ(zelsReflectionToAbsTilt_32f(&k1, &other, &result, 1), SrOk);
    EXPECT_NEAR(result, 1.0 / 3, kQuotient);
    EXPECT_EQ(zelsReflectionToTilt_32f(&other, &other, &result, 1), SrOk);
    EXPECT_EQ(result, 0.0F);
    const float small = -0.75F;  // the numerator keeps its sign, the denominator has its own
    EXPECT_EQ(zelsReflectionToTilt_32f(&small, &other, &result, 1), SrOk);
    EXPECT_NEAR(result, -0.5, kQuotient);
}

TEST(AreaRatio, ByValue)
{
    const float k[] = {0, 1, 0.5F, -0.5F, 3, -3};
    float result[6];
    ASSERT_EQ(zelsReflectionToAR_32f(k, result, 6), SrOk);
    const double right[] = {1, 0, 1.0 / 3, 3, -0.5, -2};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(result[i], right[i], 4 * kQuotient) << k[i];
}

// --- the limit of log area ratios ---

TEST(LogAreaRatio, LimitsBeforeTheLogarithm)
{
    const float k[] = {1, 0.99F, 0.999F, kInfinity, -1, -30, -kInfinity, 0.98F, 0};
    float result[9];
    ASSERT_EQ(zelsReflectionToLAR_32f(k, result, 9, 0.99F), SrOk);
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(result[i], reference::log_area_ratio(k[i], 0.99F), 3 * kQuotient) << k[i];
    EXPECT_EQ(result[0], result[3]);
    EXPECT_NEAR(result[0], -5.2933, 1e-4);
    EXPECT_NEAR(result[4], 5.2933, 1e-4);
}

TEST(LogAreaRatio, TheLimitLiesInsideZeroToOne)
{
    const float k[] = {0.5F, -0.5F};
    const int16_t k16[] = {16384, -16384};
    for (float thresh : {0.0F, -0.0F, 1.0F, 1.5F, -0.5F, kInfinity, -kInfinity, kNaN, -kNaN}) {
        float result[] = {7, 7};
        int16_t fixed[] = {7, 7};
        EXPECT_EQ(zelsReflectionToLAR_32f(k, result, 2, thresh), SrErrRange) << thresh;
        EXPECT_EQ(zelsReflectionToLAR_16s_Sfs(k16, 15, fixed, 2, thresh, -10), SrErrRange) << thresh;
        EXPECT_EQ(result[0], 7);
        EXPECT_EQ(fixed[0], 7);
        EXPECT_EQ(zelsReflectionToLAR_32f(nullptr, result, 2, thresh), SrErrNullPtr);
        EXPECT_EQ(zelsReflectionToLAR_32f(k, result, 0, thresh), SrErrSize);
        EXPECT_EQ(zelsReflectionToLAR_16s_Sfs(k16, 15, nullptr, 0, thresh, -10), SrErrNullPtr);
        EXPECT_EQ(zelsReflectionToLAR_16s_Sfs(k16, 15, fixed, 0, thresh, -10), SrErrSize);
    }
    for (float thresh : {std::numeric_limits<float>::denorm_min(), 0x1p-126F, 0.3F, std::nextafter(1.0F, 0.0F)}) {
        float result[2];
        EXPECT_EQ(zelsReflectionToLAR_32f(k, result, 2, thresh), SrOk) << thresh;
        for (int i = 0; i < 2; ++i)
            EXPECT_NEAR(result[i], reference::log_area_ratio(k[i], thresh), 3 * kQuotient) << thresh;
    }
}

// The rule of this family rounds; this member truncates: wanted.
TEST(LogAreaRatio, FixedTruncates)
{
    const int16_t k[] = {-24576, 24576};  // -+0.75: ln 7 = 1.9459
    int16_t result[2];
    ASSERT_EQ(zelsReflectionToLAR_16s_Sfs(k, 15, result, 2, 0.99F, 0), SrOk);
    EXPECT_EQ(result[0], 1);
    EXPECT_EQ(result[1], -1);
    ASSERT_EQ(zelsReflectionToLAR_16s_Sfs(k, 15, result, 2, 0.99F, -30), SrOk);
    EXPECT_EQ(result[0], 32767);
    EXPECT_EQ(result[1], -32768);
    ASSERT_EQ(zelsReflectionToLAR_16s_Sfs(k, 14, result, 2, 0.5F, -4), SrOk);
    EXPECT_EQ(result[0], 17) << "limited behind the source's scale: ln 3 = 1.0986";
    EXPECT_EQ(result[1], -17);
}

// --- the source's scale ---

TEST(FixedAreaRatio, TheSourceScaleIsOne)
{
    for (int32_t scale = 0; scale <= 20; ++scale) {
        const double one = std::ldexp(1.0, scale);
        for (int16_t k : {int16_t(3), int16_t(-5), int16_t(1000), int16_t(-30000), int16_t(32767)}) {
            if (k == -one) continue;
            int16_t result;
            ASSERT_EQ(zelsReflectionToAR_16s_Sfs(&k, scale, &result, 1, -7), SrOk);
            const double right = reference::area_ratio(k, one);
            EXPECT_TRUE(rounds(kMembers[0], right, -7, result, kQuotient * std::abs(right), 0))
                << k << ", scale " << scale;
        }
        if (scale <= 15) {
            const auto k = static_cast<int16_t>(-one);
            int16_t result = 0;
            EXPECT_EQ(zelsReflectionToAR_16s_Sfs(&k, scale, &result, 1, 0), SrWarnDivByZero) << scale;
            EXPECT_EQ(result, 32767);
        }
    }
}

#ifdef __i386__
TEST(ReflectionMeasuresStack, RunOnAnyStack)
{
    const Sources s = random_sources(11);
    const FixedSources f = random_fixed_sources(11);
    std::vector<float> right(11), dst(11);
    std::vector<int16_t> right16(11), dst16(11);
    for (int misalign : {0, 4, 8, 12}) {
        zelsReflectionToAR_32f(s.k1.data(), right.data(), 11);
        EXPECT_EQ(call_misaligned(zelsReflectionToAR_32f, misalign, s.k1.data(), dst.data(), 11), SrOk);
        EXPECT_EQ(right, dst);
        zelsReflectionToLAR_32f(s.k1.data(), right.data(), 11, 0.9F);
        EXPECT_EQ(call_misaligned(zelsReflectionToLAR_32f, misalign, s.k1.data(), dst.data(), 11, 0.9F), SrOk);
        EXPECT_EQ(right, dst);
        zelsReflectionToTilt_32f(s.k1.data(), s.k2.data(), right.data(), 11);
        EXPECT_EQ(call_misaligned(zelsReflectionToTilt_32f, misalign, s.k1.data(), s.k2.data(), dst.data(), 11),
                  SrOk);
        EXPECT_EQ(right, dst);
        zelsReflectionToAbsTilt_16s_Sfs(f.k1.data(), f.k2.data(), right16.data(), 11, -10);
        EXPECT_EQ(call_misaligned(zelsReflectionToAbsTilt_16s_Sfs, misalign, f.k1.data(), f.k2.data(),
                                  dst16.data(), 11, -10),
                  SrOk);
        EXPECT_EQ(right16, dst16);
        zelsReflectionToLAR_16s_Sfs(f.k1.data(), 15, right16.data(), 11, 0.9F, -10);
        EXPECT_EQ(
            call_misaligned(zelsReflectionToLAR_16s_Sfs, misalign, f.k1.data(), 15, dst16.data(), 11, 0.9F, -10),
            SrOk);
        EXPECT_EQ(right16, dst16);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
