// Derivatives by value: each rule of the windows, of the fixed-point arithmetic and of the Aurora rows.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "zelsr/frontend/delta.h"

namespace zelsr::test {
namespace {

constexpr int kWhole = DeltaFirstBlock | DeltaLastBlock;

template <class T>
std::vector<T> column(const std::vector<T>& rows, std::size_t step, std::size_t c)
{
    std::vector<T> values;
    for (std::size_t i = c; i < rows.size(); i += step) values.push_back(rows[i]);
    return values;
}

const std::vector<float> kSquares = {0, 1, 4, 9, 16, 25};

TEST(DeltaWindows, OneRowToEachSide)
{
    std::vector<float> dst(6 * 2);
    ASSERT_EQ(zelsDelta_Win1_32f_D2(kSquares.data(), 1, dst.data(), 2, 6, 0.5F, kWhole), SrOk);
    EXPECT_EQ(column(dst, 2, 0), kSquares);
    EXPECT_EQ(column(dst, 2, 1), (std::vector<float>{0.5F, 2, 4, 6, 8, 4.5F}));
}

// d[0] = (s1 - s0) + 2 (s2 - s0), d[1] = (s2 - s0) + 2 (s3 - s0), and the like at the end.
TEST(DeltaWindows, TwoRowsToEachSide)
{
    std::vector<float> dst(6 * 2);
    ASSERT_EQ(zelsDelta_Win2_32f_D2(kSquares.data(), 1, dst.data(), 2, 6, 1, kWhole), SrOk);
    EXPECT_EQ(column(dst, 2, 1), (std::vector<float>{9, 22, 40, 60, 58, 41}));
}

TEST(DeltaWindows, SecondDerivativeOfOneRowToEachSide)
{
    std::vector<float> dst(6 * 3);
    ASSERT_EQ(zelsDeltaDelta_Win1_32f_D2(kSquares.data(), 1, dst.data(), 3, 6, 1, 10, kWhole), SrOk);
    EXPECT_EQ(column(dst, 3, 1), (std::vector<float>{1, 4, 8, 12, 16, 9}));
    EXPECT_EQ(column(dst, 3, 2), (std::vector<float>{30, 70, 80, 80, -30, -70}));
}

// a[1] = (d2 - d0) + 2 (d3 - d0). Six rows: priming and closing fill all of them.
TEST(DeltaWindows, SecondDerivativeOfTwoRowsToEachSideInSixRows)
{
    std::vector<float> dst(6 * 3, NAN);
    ASSERT_EQ(zelsDeltaDelta_Win2_32f_D2(kSquares.data(), 1, dst.data(), 3, 6, 1, 1, kWhole), SrOk);
    EXPECT_EQ(column(dst, 3, 0), kSquares);
    EXPECT_EQ(column(dst, 3, 1), (std::vector<float>{9, 22, 40, 60, 58, 41}));
    EXPECT_EQ(column(dst, 3, 2),
              (std::vector<float>{13 + 2 * 31, 31 + 2 * 51, 38 + 2 * 49, 18 + 2 * 19, -19 + 2 * 1, -17 - 2 * 19}));
}

// 2^24 + 1 + 1 in this order stays 2^24, where 2^24 + 2 would not.
TEST(DeltaWindows, TheOuterDifferenceIsAddedTwice)
{
    const float big = 0x1p24F;
    const std::vector<float> src = {0, 0, 0, big, 1};
    std::vector<float> dst(5 * 2);
    ASSERT_EQ(zelsDelta_Win2_32f_D2(src.data(), 1, dst.data(), 2, 5, 1, kWhole), SrOk);
    EXPECT_EQ(dst[2 * 2 + 1], big);
}

TEST(DeltaWindows, MultipliersAreOfColumnsAndParts)
{
    const std::vector<float> src = {1, 10, 2, 30, 4, 90};
    const std::vector<float> mul = {2, 3, 5, 7, 11, 13};
    std::vector<float> dst(3 * 6);
    ASSERT_EQ(zelsDeltaDeltaMul_Win1_32f_D2(src.data(), mul.data(), 2, dst.data(), 6, 3, kWhole), SrOk);
    EXPECT_EQ(dst, (std::vector<float>{2, 30, 2 * 5, 60 * 7, 20 * 11, 1260 * 13,  //
                                       4, 90, 6 * 5, 240 * 7, 10 * 11, 840 * 13,  //
                                       8, 270, 4 * 5, 180 * 7, -10 * 11, -420 * 13}));
}

// --- fixed point ---

std::vector<int16_t> window_1(const std::vector<int16_t>& src, int16_t val, int32_t sf)
{
    std::vector<int16_t> dst(src.size() * 2);
    EXPECT_EQ(
        zelsDelta_Win1_16s_D2Sfs(src.data(), 1, dst.data(), 2, static_cast<int32_t>(src.size()), val, kWhole, sf),
        SrOk);
    return column(dst, 2, 1);
}

TEST(DeltaFixed, DifferencesWrap)
{
    EXPECT_EQ(window_1({-32768, 0, 32767}, 1, 0)[1], -1);
    EXPECT_EQ(window_1({-32768, 0, 32767}, -300, 0)[1], 300);
    EXPECT_EQ(window_1({32767, 0, -32768}, 1, 0)[1], 1);
    std::vector<int16_t> dst(5 * 2);
    const int16_t src[] = {-32768, -20000, 0, 20000, 32767};
    ASSERT_EQ(zelsDelta_Win2_16s_D2Sfs(src, 1, dst.data(), 2, 5, 1, kWhole, 0), SrOk);
    EXPECT_EQ(dst[2 * 2 + 1], 40000 - 65536 - 2) << "each difference by itself";
}

TEST(DeltaFixed, ShiftsWithoutRounding)
{
    EXPECT_EQ(window_1({0, 0, 7}, 1, 1)[1], 3);
    EXPECT_EQ(window_1({0, 0, -7}, 1, 1)[1], -4) << "downwards";
    EXPECT_EQ(window_1({0, 0, -1}, 1, 31)[1], -1);
    EXPECT_EQ(window_1({0, 0, 1}, 1, 31)[1], 0);
}

TEST(DeltaFixed, SaturatesBehindTheShift)
{
    EXPECT_EQ(window_1({0, 0, 32767}, 4, 2)[1], 32767);
    EXPECT_EQ(window_1({0, 0, 32767}, 4, 1)[1], 32767);
    EXPECT_EQ(window_1({0, 0, -32768}, 4, 1)[1], -32768);
    EXPECT_EQ(window_1({0, 0, 3}, 5, -4)[1], 240);
    EXPECT_EQ(window_1({0, 0, 300}, 500, -2)[1], 32767);
}

TEST(DeltaFixed, ProductsAndLeftShiftsWrap)
{
    EXPECT_EQ(window_1({0, 0, 1}, 1, -31)[1], -32768) << "2^31 is -2^31";
    EXPECT_EQ(window_1({0, 0, 4}, 1, -30)[1], 0) << "2^32";
    // 3 * 32767 * 32767 is 3221028867, less 2^32 is -1073938429.
    const int16_t src[] = {0, 0, 0, 32767, 32767};
    std::vector<int16_t> dst(5 * 2);
    ASSERT_EQ(zelsDelta_Win2_16s_D2Sfs(src, 1, dst.data(), 2, 5, 32767, kWhole, 20), SrOk);
    EXPECT_EQ(dst[2 * 2 + 1], -1073938429 >> 20);
    for (int width : {1, 8, 14, 20}) {
        std::vector<int16_t> frames;
        for (int t = 0; t < 7; ++t)
            frames.insert(frames.end(), static_cast<std::size_t>(width), t < 3 ? 0 : 32767);
        std::vector<int16_t> rows(static_cast<std::size_t>(7 * 3 * width));
        ASSERT_EQ(
            zelsDeltaDelta_Win2_16s_D2Sfs(frames.data(), width, rows.data(), 3 * width, 7, 32767, 1, kWhole, 20),
            SrOk);
        for (int c = 0; c < width; ++c)
            ASSERT_EQ(rows[static_cast<std::size_t>((2 * 3 + 1) * width + c)], -1073938429 >> 20) << width;
    }
}

TEST(DeltaFixed, SecondDerivativeIsOfTheSaturatedDeltas)
{
    const int16_t src[] = {0, 0, 30000};
    std::vector<int16_t> dst(3 * 3);
    ASSERT_EQ(zelsDeltaDelta_Win1_16s_D2Sfs(src, 1, dst.data(), 3, 3, 2, 1, kWhole, 0), SrOk);
    EXPECT_EQ(column(dst, 3, 1), (std::vector<int16_t>{0, 32767, 32767}));
    EXPECT_EQ(column(dst, 3, 2), (std::vector<int16_t>{32767, 32767, 0}));
}

TEST(DeltaFixed, MultipliedStaticsAreShiftedAndSaturatedToo)
{
    const int16_t src[] = {100, -7, 32767, 0};
    const int16_t mul[] = {3, 1};
    std::vector<int16_t> dst(4 * 2);
    ASSERT_EQ(zelsDeltaMul_Win1_16s_D2Sfs(src, mul, 1, dst.data(), 2, 4, kWhole, 1), SrOk);
    EXPECT_EQ(column(dst, 2, 0), (std::vector<int16_t>{150, -11, 32767, 0}));
    EXPECT_EQ(column(dst, 2, 1), (std::vector<int16_t>{-161 >> 1, 32617 >> 1, 11 >> 1, -32767 >> 1}));
}

// --- Aurora ---

// 14 values a frame; the given column runs through values, the others are 0.
template <class T>
std::vector<T> aurora_frames(std::size_t position, const std::vector<T>& values)
{
    std::vector<T> frames(14 * values.size());
    for (std::size_t t = 0; t < values.size(); ++t) frames[14 * t + position] = values[t];
    return frames;
}

std::vector<float> aurora_single(std::size_t position, const std::vector<float>& values)
{
    std::vector<float> dst(39 * values.size());
    EXPECT_EQ(zelsDeltaDelta_Aurora_32f_D2(aurora_frames(position, values).data(), dst.data(), 39,
                                           static_cast<int32_t>(values.size()), kWhole),
              SrOk);
    return dst;
}
std::vector<int16_t> aurora_fixed(std::size_t position, const std::vector<int16_t>& values, int32_t sf)
{
    std::vector<int16_t> dst(39 * values.size());
    EXPECT_EQ(zelsDeltaDelta_Aurora_16s_D2Sfs(aurora_frames(position, values).data(), dst.data(), 39,
                                              static_cast<int32_t>(values.size()), kWhole, sf),
              SrOk);
    return dst;
}

TEST(DeltaAurora, AnImpulseShowsTheTaps)
{
    std::vector<float> impulse(17);
    impulse[8] = 1;
    for (std::size_t c : {0, 5, 11}) {
        const std::vector<float> rows = aurora_single(c, impulse);
        EXPECT_EQ(column(rows, 39, c), impulse);
        EXPECT_EQ(column(rows, 39, 13 + c), (std::vector<float>{0, 0, 0, 0, 1, 0.75F, 0.5F, 0.25F, 0, -0.25F,
                                                                -0.5F, -0.75F, -1, 0, 0, 0, 0}));
        EXPECT_EQ(column(rows, 39, 26 + c),
                  (std::vector<float>{0, 0, 0, 0, 1, 0.25F, -0.285714F, -0.607143F, -0.714286F, -0.607143F,
                                      -0.285714F, 0.25F, 1, 0, 0, 0, 0}));
    }
}

TEST(DeltaAurora, RowsBeyondTheEndsAreTheNearest)
{
    std::vector<float> ends(10);
    ends[0] = 8;
    ends[9] = 16;
    const std::vector<float> delta = column(aurora_single(3, ends), 39, 16);
    EXPECT_EQ(delta, (std::vector<float>{-20, -20, -18, -14, -8, 16, 28, 36, 40, 40}));
}

TEST(DeltaAurora, EnergyIsOfC0AndLogEnergy)
{
    const std::vector<float> c0 = aurora_single(12, {23, 46, 1, 0, 0, 0, 0, 0});
    const float tenths = 23.0F * 0.6F;
    EXPECT_EQ(c0[12], tenths / 23.0F);
    EXPECT_EQ(c0[39 + 12], 46.0F * 0.6F / 23.0F);
    EXPECT_EQ(c0[2 * 39 + 12], 0.6F / 23.0F);
    const std::vector<float> log_energy = aurora_single(13, {10, -3, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(log_energy[12], 10.0F * 0.4F);
    EXPECT_EQ(log_energy[39 + 12], -3.0F * 0.4F);
    for (std::size_t c = 0; c < 12; ++c) EXPECT_EQ(log_energy[c], 0);
}

// Both derivatives are taken from the static rows: of a ramp the delta is constant, the second is near zero.
TEST(DeltaAurora, SecondIsNotTheDeltaOfTheDelta)
{
    std::vector<float> ramp(20), parabola(20);
    for (std::size_t t = 0; t < 20; ++t) {
        ramp[t] = static_cast<float>(t);
        parabola[t] = static_cast<float>(t * t);
    }
    EXPECT_EQ(column(aurora_single(0, ramp), 39, 13)[10], 15.0F);
    EXPECT_NEAR(column(aurora_single(0, ramp), 39, 26)[10], 0, 1e-4);
    // Twice the sum of k^2 times tap: 2 (16 + 2.25 - 4 * 0.285714 - 0.607143).
    EXPECT_NEAR(column(aurora_single(0, parabola), 39, 26)[10], 33, 1e-4);
}

TEST(DeltaAurora, FixedStaticsShiftRightOnly)
{
    const std::vector<int16_t> values = {32767, -32768, -5, 5, 0, 0, 0, 0};
    EXPECT_EQ(aurora_fixed(2, values, 1)[0 * 39 + 2], 16383);
    EXPECT_EQ(aurora_fixed(2, values, 1)[1 * 39 + 2], -16384);
    EXPECT_EQ(aurora_fixed(2, values, 1)[2 * 39 + 2], -3);
    EXPECT_EQ(aurora_fixed(2, values, -31)[2 * 39 + 2], -3) << "-31 is 1 in five bits";
    EXPECT_EQ(aurora_fixed(2, values, 32)[2 * 39 + 2], -5);
    EXPECT_EQ(aurora_fixed(2, values, -1)[2 * 39 + 2], -1) << "by 31";
    EXPECT_EQ(aurora_fixed(2, values, 31)[0 * 39 + 2], 0);
    EXPECT_EQ(aurora_fixed(2, values, INT32_MIN)[0 * 39 + 2], 32767);
}

TEST(DeltaAurora, FixedEnergyIsTruncatedThenShifted)
{
    // -10 * 0.4 + ... = -4; -9 * 0.4 = -3.6, truncated to -3, shifted to -2.
    EXPECT_EQ(aurora_fixed(13, {-9, 0, 0, 0, 0, 0, 0, 0}, 0)[12], -3);
    EXPECT_EQ(aurora_fixed(13, {-9, 0, 0, 0, 0, 0, 0, 0}, 1)[12], -2);
    EXPECT_EQ(aurora_fixed(13, {9, 0, 0, 0, 0, 0, 0, 0}, 0)[12], 3);
    EXPECT_EQ(aurora_fixed(12, {1150, 0, 0, 0, 0, 0, 0, 0}, 0)[12], 30);
}

TEST(DeltaAurora, FixedDeltaShiftsTwoMore)
{
    std::vector<int16_t> impulse(17);
    impulse[8] = 10;
    // The taps times 4 times 10, over 4: 10, 7.5, 5, 2.5, shifted downwards.
    EXPECT_EQ(column(aurora_fixed(0, impulse, 0), 39, 13),
              (std::vector<int16_t>{0, 0, 0, 0, 10, 7, 5, 2, 0, -3, -5, -8, -10, 0, 0, 0, 0}));
    EXPECT_EQ(column(aurora_fixed(0, impulse, -2), 39, 13)[4], 0)
        << "(-2 + 2) in five bits, of a value shifted by 30: nothing is left";
    impulse[8] = 0;
    for (std::size_t t = 9; t < 17; ++t) impulse[t] = 20000;
    EXPECT_EQ(column(aurora_fixed(0, impulse, 0), 39, 13)[8], 32767) << "50000";
}

// -2 and -1 leave no shift, or one, for the delta, and 30 or 31 for everything else.
TEST(DeltaAurora, FixedDeltaShiftWraps)
{
    std::vector<int16_t> falling(9);
    for (std::size_t t = 4; t < 9; ++t) falling[t] = -3;
    const std::vector<int16_t> statics = column(aurora_fixed(0, falling, -2), 39, 0);
    EXPECT_EQ(statics, (std::vector<int16_t>{0, 0, 0, 0, -1, -1, -1, -1, -1}));
    EXPECT_EQ(column(aurora_fixed(0, falling, -2), 39, 13)[3], -10) << "not shifted";
    EXPECT_EQ(column(aurora_fixed(0, falling, -1), 39, 13)[3], -5);
}

TEST(DeltaAurora, FixedSecondIsTruncatedThenShifted)
{
    std::vector<int16_t> impulse(17);
    impulse[8] = 10;
    EXPECT_EQ(column(aurora_fixed(0, impulse, 0), 39, 26),
              (std::vector<int16_t>{0, 0, 0, 0, 10, 2, -2, -6, -7, -6, -2, 2, 10, 0, 0, 0, 0}));
    impulse[8] = 20;
    EXPECT_EQ(column(aurora_fixed(0, impulse, 1), 39, 0)[8], 10);
    EXPECT_EQ(column(aurora_fixed(0, impulse, 1), 39, 26),
              (std::vector<int16_t>{0, 0, 0, 0, 5, 1, -1, -3, -4, -3, -1, 1, 5, 0, 0, 0, 0}));
}

TEST(DeltaAurora, FixedMultipliers)
{
    std::vector<int16_t> mul(39), frames = aurora_frames<int16_t>(0, std::vector<int16_t>(9));
    mul[0] = 6;
    mul[12] = 100;
    mul[13] = 5;
    mul[26] = -3;
    frames[4 * 14] = 5;        // c1
    frames[4 * 14 + 13] = -9;  // log energy
    std::vector<int16_t> dst(9 * 39);
    ASSERT_EQ(zelsDeltaDeltaMul_Aurora_16s_D2Sfs(frames.data(), mul.data(), dst.data(), 39, 9, kWhole, 1), SrOk);
    EXPECT_EQ(dst[4 * 39], 15);
    EXPECT_EQ(dst[4 * 39 + 12], -180) << "-3.6 times 100";
    EXPECT_EQ(dst[0 * 39 + 13], 15 * 4 * 5 >> 3) << "the stored value's";
    EXPECT_EQ(dst[7 * 39 + 13], -15 * 3 * 5 >> 3);
    EXPECT_EQ(dst[4 * 39 + 26], 32 >> 1) << "-3 times -10.7";
}

}  // namespace
}  // namespace zelsr::test
