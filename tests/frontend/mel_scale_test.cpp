// The mel scale in both directions.
#include <gtest/gtest.h>

#include <cmath>

#include "support/environment.h"
#include "support/operation.h"
#include "zelsr/frontend/filter_bank.h"

namespace zelsr::test {
namespace {

struct Direction {
    const char* name;
    SrStatus (*function)(const float*, float*, int32_t, float, float);
    float (*reference)(float, float mel_mul, float mel_div);
};
std::ostream& operator<<(std::ostream& out, const Direction& direction) { return out << direction.name; }

float to_linear(float mel, float mel_mul, float mel_div)
{
    return static_cast<float>(mel_div * (std::exp(mel * (1.0 / mel_mul)) - 1));
}
float to_mel(float f, float mel_mul, float mel_div)
{
    return static_cast<float>(mel_mul * std::log(1 + f * (1.0 / mel_div)));
}

class MelScale : public testing::TestWithParam<Direction> {
  protected:
    static SrStatus run(const float* src, float* dst, int32_t len, float mel_mul, float mel_div)
    {
        return GetParam().function(src, dst, len, mel_mul, mel_div);
    }
    static std::vector<float> expected(const std::vector<float>& src, float mel_mul, float mel_div)
    {
        std::vector<float> all;
        for (float x : src) all.push_back(GetParam().reference(x, mel_mul, mel_div));
        return all;
    }
    static testing::AssertionResult maps_with(const std::vector<float>& src, float mel_mul, float mel_div,
                                              Placement source = {}, Placement result = {})
    {
        return maps(
            src, expected(src, mel_mul, mel_div),
            [&](const float* s, float* d, int32_t len) { return run(s, d, len, mel_mul, mel_div); }, source,
            result);
    }
};

TEST_P(MelScale, IsTheFormulaAtEveryLengthAndPlacement)
{
    const std::vector<float> values = uniform_vector(40, 0.0F, 4000.0F);
    at_every_place<2>(lengths(8), {4, 4}, [&](int length, const std::array<Placement, 2>& places) {
        return maps_with(window(values, 0, length), 1127, 700, places[0], places[1]);
    });
}

TEST_P(MelScale, IsTheFormulaForEveryPairOfConstants)
{
    const float constants[] = {1127,    2595,  700,      3,   0.001F, 1e-38F,   1e-45F,
                               3.4e38F, 1e20F, INFINITY, NAN, 1,      0x1p-149F};
    std::vector<float> values = special_values<float>();
    for (float x : {0.5F, 100.0F, 4000.0F, -300.0F, -700.0F, -701.0F, 1e-20F, 1e30F, 80000.0F})
        values.push_back(x);
    for (float mel_mul : constants)
        for (float mel_div : constants)
            EXPECT_TRUE(maps_with(values, mel_mul, mel_div)) << "melMul " << mel_mul << ", melDiv " << mel_div;
}

TEST_P(MelScale, MayWorkInPlace)
{
    const std::vector<float> values = uniform_vector(37, 0.0F, 4000.0F);
    EXPECT_TRUE(maps_onto_itself(values, expected(values, 2595, 700),
                                 [](const float* s, float* d, int32_t len) { return run(s, d, len, 2595, 700); }));
}

struct Arguments {
    const float* src;
    float* dst;
    int32_t len;
    float mel_mul, mel_div;
};

TEST_P(MelScale, PointersAreCheckedBeforeLengthAndConstants)
{
    const Guarded<float> src(std::vector<float>(9, 100.0F));
    Guarded<float> dst(9);
    for (float bad : {0.0F, -0.0F, -1.0F, -INFINITY, -0x1p-149F})
        for (int32_t length : {0, -1, INT32_MIN})
            expect_check_order<Arguments>(
                {src.data(), dst.data(), 9, 1127, 700},
                {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                 {"null destination", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
                 {"length", SrErrSize, [&](Arguments& a) { a.len = length; }},
                 {"melMul", SrErrSize, [&](Arguments& a) { a.mel_mul = bad; }},
                 {"melDiv", SrErrSize, [&](Arguments& a) { a.mel_div = bad; }}},
                [](const Arguments& a) { return run(a.src, a.dst, a.len, a.mel_mul, a.mel_div); }, {&dst});
    expect_reads_nothing_below_length_one<float>(
        [&](const float* s, int32_t length) { return run(s, dst.data(), length, 1127, 700); });
}

TEST_P(MelScale, AConstantThatIsNoNumberPassesTheChecks)
{
    const float src[] = {100};
    for (float nan : {NAN, -NAN}) {
        float dst[] = {1};
        EXPECT_EQ(run(src, dst, 1, nan, 700), SrOk);
        EXPECT_TRUE(std::isnan(dst[0]));
        dst[0] = 1;
        EXPECT_EQ(run(src, dst, 1, 1127, nan), SrOk);
        EXPECT_TRUE(std::isnan(dst[0]));
    }
}

TEST_P(MelScale, IsTheSameUnderEachEnvironment)
{
    const std::vector<float> src = uniform_vector(21, 0.0F, 4000.0F);
    const std::vector<float> right = expected(src, 2595, 700);
    std::vector<float> dst(src.size());
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = run(src.data(), dst.data(), 21, 2595, 700); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk) << setting;
                               EXPECT_TRUE(same_values(right, dst)) << setting;
                               std::fill(dst.begin(), dst.end(), -1.0F);
                           });
}

#ifdef __i386__
TEST_P(MelScale, RunsOnAnyStack)
{
    const std::vector<float> src = uniform_vector(21, 0.0F, 4000.0F);
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<float> dst(src.size());
        EXPECT_EQ(call_misaligned(GetParam().function, misalign, src.data(), dst.data(), 21, 1127.0F, 700.0F),
                  SrOk);
        EXPECT_TRUE(same_values(expected(src, 1127, 700), dst));
    }
}
#endif

INSTANTIATE_TEST_SUITE_P(Both, MelScale,
                         testing::Values(Direction{"MelToLinear", zelsMelToLinear_32f, to_linear},
                                         Direction{"LinearToMel", zelsLinearToMel_32f, to_mel}),
                         testing::PrintToStringParamName());

TEST(MelScaleByValue, RunsThroughZeroAndIsNaturalLogarithmic)
{
    const float mel[] = {0, 1, -1};
    float f[3];
    EXPECT_EQ(zelsMelToLinear_32f(mel, f, 3, 1, 1000), SrOk);
    EXPECT_EQ(f[0], 0);
    EXPECT_FLOAT_EQ(f[1], 1718.2818F);
    EXPECT_FLOAT_EQ(f[2], -632.12056F);
    float back[3];
    EXPECT_EQ(zelsLinearToMel_32f(f, back, 3, 1, 1000), SrOk);
    EXPECT_EQ(back[0], 0);
    EXPECT_FLOAT_EQ(back[1], 1);
    EXPECT_FLOAT_EQ(back[2], -1);
    const float one_khz[] = {1000, 6300};
    float at_2595[2];
    EXPECT_EQ(zelsLinearToMel_32f(one_khz, at_2595, 2, 2595, 700), SrOk);  // no base 10
    EXPECT_FLOAT_EQ(at_2595[0], 2302.5518F);
    EXPECT_FLOAT_EQ(at_2595[1], 5975.208F);
}

// The edge of the scale: -melDiv has no logarithm, what lies below it is not a number.
TEST(MelScaleByValue, AtAndBelowMinusMelDiv)
{
    const float f[] = {-700, -701, INFINITY, -INFINITY, NAN};
    float mel[5];
    EXPECT_EQ(zelsLinearToMel_32f(f, mel, 5, 1127, 700), SrOk);
    EXPECT_EQ(mel[0], -INFINITY);
    EXPECT_TRUE(std::isnan(mel[1]));
    EXPECT_EQ(mel[2], INFINITY);
    EXPECT_TRUE(std::isnan(mel[3]));
    EXPECT_TRUE(std::isnan(mel[4]));
    const float m[] = {-INFINITY, INFINITY, 1e9F};
    float linear[3];
    EXPECT_EQ(zelsMelToLinear_32f(m, linear, 3, 1127, 700), SrOk);
    EXPECT_EQ(linear[0], -700);
    EXPECT_EQ(linear[1], INFINITY);
    EXPECT_EQ(linear[2], INFINITY);
}

}  // namespace
}  // namespace zelsr::test
