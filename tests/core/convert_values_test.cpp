// Conversions between element types: single results by their value.
#include <gtest/gtest.h>

#include <limits>

#include "zelsr/core/convert.h"

namespace zelsr::test {
namespace {

template <class To, class From>
To one(SrStatus (*function)(const From*, To*, int32_t, int32_t, int32_t), From x, int32_t rounding, int32_t sf = 0)
{
    To result{};
    EXPECT_EQ(function(&x, &result, 1, rounding, sf), SrOk);
    return result;
}

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(Convert_32f16s_Sfs, SaturatesAndTakesNanForTheLargest)
{
    EXPECT_EQ(one<int16_t>(zelsConvert_32f16s_Sfs, 40000.0F, 1), 32767);
    EXPECT_EQ(one<int16_t>(zelsConvert_32f16s_Sfs, -40000.0F, 1), -32768);
    EXPECT_EQ(one<int16_t>(zelsConvert_32f16s_Sfs, kInfinity, 1), 32767);
    EXPECT_EQ(one<int16_t>(zelsConvert_32f16s_Sfs, -kInfinity, 1), -32768);
    EXPECT_EQ(one<int16_t>(zelsConvert_32f16s_Sfs, 32767.5F, 1), 32767);
    EXPECT_EQ(one<int16_t>(zelsConvert_32f16s_Sfs, -1e30F, 0), -32768);
    for (int32_t rounding : {0, 1})
        for (int32_t sf : {0, 1, -1, 200, -200})
            for (float nan : {kNan, -kNan})
                EXPECT_EQ(one<int16_t>(zelsConvert_32f16s_Sfs, nan, rounding, sf), 32767) << sf;
}

TEST(Convert_32f32s_Sfs, SaturatesAndTakesNanByItsSign)
{
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 3e9F, 1), INT32_MAX);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, -3e9F, 1), INT32_MIN);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 2147483648.0F, 1), INT32_MAX);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 2147483520.0F, 1), 2147483520);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, -2147483648.0F, 1), INT32_MIN);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, kInfinity, 1), INT32_MAX);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, -kInfinity, 1), INT32_MIN);
    for (int32_t sf : {0, 1, -1, 200, -200}) {
        EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, kNan, 1, sf), INT32_MAX) << sf;
        EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, -kNan, 1, sf), INT32_MIN) << sf;
    }
}

// What is compared against 2^31 is the element after its multiplication.
TEST(Convert_32f32s_Sfs, SaturatesAfterScaling)
{
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 0x1p40F, 1, 10), 1 << 30);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 0x1p20F, 1, -11), INT32_MAX);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, -0x1p20F, 1, -11), INT32_MIN);
}

TEST(Convert_64f32s_Sfs, SaturatesAndTakesNanForTheLargest)
{
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, 3e9, 1), INT32_MAX);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, -3e9, 1), INT32_MIN);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, 2147483646.5, 1), 2147483646);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, 2147483646.5, 0), 2147483646);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, -2147483647.5, 1), INT32_MIN);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, -2147483647.5, 0), -2147483647);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, 1e300, 0), INT32_MAX);
    for (int32_t sf : {0, 1, -1, 2000, -2000}) {
        EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, double{kNan}, 1, sf), INT32_MAX) << sf;
        EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, -double{kNan}, 1, sf), INT32_MAX) << sf;
    }
}

template <class To, class From>
void expect_both_roundings(SrStatus (*function)(const From*, To*, int32_t, int32_t, int32_t))
{
    EXPECT_EQ(one<To>(function, From(2.7), 0), 2);
    EXPECT_EQ(one<To>(function, From(-2.7), 0), -2);
    for (int32_t nearest : {1, 2, -1, INT32_MIN}) {
        EXPECT_EQ(one<To>(function, From(2.5), nearest), 2);
        EXPECT_EQ(one<To>(function, From(3.5), nearest), 4);
        EXPECT_EQ(one<To>(function, From(-2.5), nearest), -2);
        EXPECT_EQ(one<To>(function, From(2.7), nearest), 3);
    }
    EXPECT_EQ(one<To>(function, From(5), 1, 1), 2);      // 2.5
    EXPECT_EQ(one<To>(function, From(1.25), 1, -1), 2);  // 2.5
}

TEST(ConvertToIntegers, RoundingZeroTruncatesAndAnyOtherRoundsTiesToEven)
{
    expect_both_roundings(zelsConvert_32f16s_Sfs);
    expect_both_roundings(zelsConvert_32f32s_Sfs);
    expect_both_roundings(zelsConvert_64f32s_Sfs);
}

// The multiplier underflows to 0 or overflows to infinity; 0 times infinity is the processor's own NaN.
TEST(ConvertToIntegers, MultipliersBeyondTheSourcesPrecision)
{
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 0x1p127F, 1, 127), 1);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 3e38F, 1, 150), 0);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, kInfinity, 1, 149), INT32_MAX);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, kInfinity, 1, 150), INT32_MIN);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 1e-45F, 1, -127), 0);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 1e-45F, 1, -128), INT32_MAX);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 0.0F, 1, -127), 0);
    EXPECT_EQ(one<int32_t>(zelsConvert_32f32s_Sfs, 0.0F, 1, -128), INT32_MIN);
    EXPECT_EQ(one<int16_t>(zelsConvert_32f16s_Sfs, 0.0F, 1, -128), 32767);
    EXPECT_EQ(one<int16_t>(zelsConvert_32f16s_Sfs, -1e-45F, 1, INT32_MIN), -32768);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, 1e-300, 1, -1023), 89884657);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, 0.0, 1, -1024), INT32_MAX);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, 0.0, 1, -1023), 0);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, 1e300, 1, INT32_MAX), 0);
    EXPECT_EQ(one<int32_t>(zelsConvert_64f32s_Sfs, double{kInfinity}, 1, 1075), INT32_MAX);
}

template <class To, class From>
To scaled_one(SrStatus (*function)(const From*, To*, int32_t, int32_t), From x, int32_t sf)
{
    To result{};
    EXPECT_EQ(function(&x, &result, 1, sf), SrOk);
    return result;
}

TEST(ConvertScaledToFloat, LimitsTheScaleFactor)
{
    EXPECT_EQ(scaled_one(zelsConvert_16s32f_Sfs, int16_t{3}, 126), 0x3p-126F);
    EXPECT_EQ(scaled_one(zelsConvert_16s32f_Sfs, int16_t{3}, 127), 0x3p-126F);
    EXPECT_EQ(scaled_one(zelsConvert_16s32f_Sfs, int16_t{3}, -112), 0x3p112F);
    EXPECT_EQ(scaled_one(zelsConvert_16s32f_Sfs, int16_t{3}, -113), 0x3p112F);
    EXPECT_EQ(scaled_one(zelsConvert_32s32f_Sfs, -3, INT32_MAX), -0x3p-126F);
    EXPECT_EQ(scaled_one(zelsConvert_32s32f_Sfs, -3, -96), -0x3p96F);
    EXPECT_EQ(scaled_one(zelsConvert_32s32f_Sfs, -3, -97), -0x3p96F);
    EXPECT_EQ(scaled_one(zelsConvert_32s32f_Sfs, INT32_MIN, INT32_MIN), -0x1p127F);
    EXPECT_EQ(scaled_one(zelsConvert_16s64f_Sfs, int16_t{3}, 1022), 0x3p-1022);
    EXPECT_EQ(scaled_one(zelsConvert_16s64f_Sfs, int16_t{3}, 1023), 0x3p-1022);
    EXPECT_EQ(scaled_one(zelsConvert_16s64f_Sfs, int16_t{3}, -1008), 0x3p1008);
    EXPECT_EQ(scaled_one(zelsConvert_16s64f_Sfs, int16_t{3}, -1009), 0x3p1008);
    EXPECT_EQ(scaled_one(zelsConvert_16s64f_Sfs, int16_t{3}, 3), 0.375);
}

TEST(Convert_32s16s_Sfs, RoundsTiesToEvenAndSaturates)
{
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, 40000, 0), 32767);
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, -40000, 0), -32768);
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, 5, 1), 2);
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, 7, 1), 4);
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, -5, 1), -2);
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, 3, -2), 12);
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, 1, -15), 32767);
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, -1, INT32_MIN), -32768);
}

TEST(Convert_32s16s_Sfs, DoesNotOverflowNearTheLargestAndTreatsLargeSfAs31)
{
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, INT32_MAX, 17), 16384);
    EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, INT32_MAX, 30), 2);
    for (int32_t sf : {31, 32, 40, INT32_MAX}) {
        EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, INT32_MAX, sf), 1);
        EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, (1 << 30) + 1, sf), 1);
        EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, 1 << 30, sf), 0);
        EXPECT_EQ(scaled_one(zelsConvert_32s16s_Sfs, INT32_MIN, sf), -1);
    }
}

}  // namespace
}  // namespace zelsr::test
