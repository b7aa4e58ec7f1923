// Voice activity by value: what each detector does at its thresholds.
#include <cmath>
#include <limits>

#include "aurora/voice_activity_steps.h"

namespace zelsr::test {
namespace {

template <class Member>
class VoiceActivityLevels : public VoiceActivitySteps<Member> {};
TYPED_TEST_SUITE(VoiceActivityLevels, VadMembers, VadNames);

// Silence lies above multiples of its own negative level: the energy votes.
TYPED_TEST(VoiceActivityLevels, SilenceFromTheStart)
{
    auto record = this->adapted(0);
    record.energy_level = 0;
    this->quiet(record);
    EXPECT_EQ(record.energy_flag, 1);
    EXPECT_EQ(record.latch, 0);
    if constexpr (std::is_same_v<TypeParam, Vad_32f>) {
        EXPECT_EQ(record.energy_level, 0.97F * -3 + 0.03F * -3);
        EXPECT_EQ(record.energy_mean, -3.0F * 1.1F);
    } else {
        EXPECT_EQ(record.energy_level, -4);
        EXPECT_EQ(record.energy_mean, -4);
    }
}

TYPED_TEST(VoiceActivityLevels, FirstFourteenFramesTakeTheMaximum)
{
    for (int frames : {12, 13, 14, 15}) {
        auto record = this->adapted(frames);
        record.energy_level = record.low_level = record.variance_level = 1;
        record.energy_mean = 100000;
        auto bands = this->low_bands(100);
        this->decide(record, bands, this->alternating(30));
        EXPECT_EQ(record.variance_flag, frames > 13);
        EXPECT_EQ(record.energy_flag, frames > 13);
        EXPECT_EQ(record.low_flag, frames > 13);
        EXPECT_EQ(record.energy_mean == 100000, frames > 13);
    }
}

using Float = VoiceActivityLevels<Vad_32f>;
using Fixed = VoiceActivityLevels<Vad_16s>;

TEST_F(Float, VarianceAtItsThresholds)
{
    const auto level = [](float before, float a) {
        auto record = adapted(20);
        record.variance_level = before;
        decide(record, one_band(0), alternating(a));
        return record.variance_level;
    };
    const float above = std::nextafter(6.0F, 7.0F), below = std::nextafter(6.0F, 5.0F);
    EXPECT_EQ(level(6, 3), 6.0F);
    EXPECT_EQ(level(above, 3), 0.8F * above + 0.2F * 9);
    EXPECT_EQ(level(below, 3), below);
    EXPECT_EQ(level(4, 1), 4.0F);
    EXPECT_EQ(level(8, 1), 0.97F * 8 + 0.03F * 1);
    EXPECT_EQ(level(10, 3), 0.8F * 10 + 0.2F * 9);
    EXPECT_EQ(level(11, 3), 11.0F);
}

TEST_F(Float, VarianceTakesTheMeanOff)
{
    auto record = adapted(20);
    record.variance_level = 1;
    std::vector<float> samples(64, 100.0F);
    samples[0] = 108;
    decide(record, one_band(0), samples);
    EXPECT_EQ(record.variance_level, 0.8F * 1 + 0.2F * 0.984375F);  // 10026 - 100.125^2
    samples[0] = 116;
    record.variance_level = 2;
    decide(record, one_band(0), samples);
    EXPECT_EQ(record.variance_flag, 1);  // 10054 - 100.25^2
}

TEST_F(Float, EnergyAtItsThresholds)
{
    const auto after = [](float before, float e) {
        auto record = adapted(20);
        record.energy_level = before;
        decide(record, one_band(e), std::vector<float>(64));
        return record;
    };
    EXPECT_EQ(after(4, 3).energy_level, 4.0F);
    EXPECT_EQ(after(5, 3).energy_level, 0.8F * 5 + 0.2F * 6);
    EXPECT_EQ(after(8, 3).energy_level, 8.0F);
    EXPECT_EQ(after(12, 3).energy_level, 0.97F * 12 + 0.03F * 6);  // reached counts here
    EXPECT_EQ(after(11.5F, 3).energy_level, 11.5F);
    EXPECT_EQ(after(4, 3).energy_flag, 0);
    EXPECT_EQ(after(3.5F, 3).energy_flag, 1);
}

TEST_F(Float, LowBandsAtTheirThresholds)
{
    const auto after = [](float before, float e) {
        auto record = adapted(20);
        record.low_level = before;
        record.previous_mean = e;
        decide(record, low_bands(e), std::vector<float>(64));
        EXPECT_EQ(record.previous_mean, e);
        EXPECT_EQ(record.current_mean, e);
        return record;
    };
    EXPECT_EQ(after(4, 6).low_level, 4.0F);
    EXPECT_EQ(after(5, 6).low_level, 0.8F * 5 + 0.2F * 6);
    EXPECT_EQ(after(8, 6).low_level, 8.0F);
    EXPECT_EQ(after(12, 6).low_level, 0.97F * 12 + 0.03F * 6);
    EXPECT_EQ(after(11.5F, 6).low_level, 11.5F);
    EXPECT_EQ(after(4, 13).low_flag, 0);
    EXPECT_EQ(after(std::nextafter(4.0F, 0.0F), 13).low_flag, 1);
}

TEST_F(Float, LatchStopsTheMaximumOfTheEnergy)
{
    auto record = adapted(4);
    record.energy_mean = 4;
    record.energy_level = 10;
    decide(record, one_band(10),
           std::vector<float>(64));  // (4 * 4 + 97) * 1.1 / 5 = 24.86, 97 is more than 2.5 times
    EXPECT_EQ(record.latch, 1);
    EXPECT_EQ(record.energy_level, 10.0F);
    EXPECT_EQ(record.energy_flag, 1);
    record = adapted(4);
    record.energy_mean = 40;
    record.energy_level = 10;
    decide(record, one_band(10), std::vector<float>(64));
    EXPECT_EQ(record.latch, 0);
    EXPECT_EQ(record.energy_level, 0.8F * 97 + 0.2F * 97);
    EXPECT_EQ(record.energy_flag, 0);
    record = adapted(14);  // too late
    record.energy_mean = 4;
    record.energy_level = 10;
    decide(record, one_band(10), std::vector<float>(64));
    EXPECT_EQ(record.latch, 0);
    EXPECT_EQ(record.energy_mean, 4.0F);
}

TEST_F(Float, AMeanOfZeroSetsNoLatch)
{
    auto record = adapted(1);
    record.energy_mean = -6;
    record.energy_level = -3;
    decide(record, one_band(3), std::vector<float>(64));
    EXPECT_EQ(record.energy_mean, 0.0F);
    EXPECT_EQ(record.latch, 0);
    EXPECT_EQ(record.energy_level, 0.8F * 6 + 0.2F * 6);
}

TEST_F(Float, NotANumberWinsNoComparison)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (int frames : {10, 20}) {
        auto record = adapted(frames);
        EXPECT_EQ(decide(record, std::vector<float>(25, nan), std::vector<float>(64, nan)), 2u);
        EXPECT_EQ(record.energy_level, 100000);
        EXPECT_EQ(record.low_level, 100000);
        EXPECT_EQ(record.variance_level, 100000);
        EXPECT_EQ(record.energy_flag + record.low_flag + record.variance_flag + record.latch, 0);
        EXPECT_TRUE(std::isnan(record.previous_mean));
        EXPECT_EQ(decide(record, low_bands(30000), std::vector<float>(64)), 2u);
        EXPECT_EQ(record.low_level, 100000);
        EXPECT_EQ(record.previous_mean, 30000);
    }
}

TEST_F(Fixed, VarianceAtItsThresholds)
{
    const auto after = [](int32_t before, int16_t a) {
        auto record = adapted(20);
        record.variance_level = before;
        decide(record, one_band(0), alternating(a));
        return record;
    };
    EXPECT_EQ(after(24576, 3).variance_level, 24576);
    EXPECT_EQ(after(24577, 3).variance_level, 26880);
    EXPECT_EQ(after(147459, 3).variance_level, 147459);
    EXPECT_EQ(after(147460, 3).variance_level, 179715);  // 31/32 of the level and all of E: wanted
    EXPECT_EQ(after(22257, 3).variance_flag, 1);         // 22257 * 53 >> 5 = 36863
    EXPECT_EQ(after(22258, 3).variance_flag, 0);
}

// 64 times the sum of squares less the low 32 bits of the squared sum: a constant signal has a variance of a
// multiple of 2^32, of which the level keeps nothing.
TEST_F(Fixed, VarianceWraps)
{
    auto record = adapted(5);
    decide(record, one_band(0), std::vector<int16_t>(64, INT16_MAX));
    EXPECT_EQ(record.variance_level, 0);
    EXPECT_EQ(record.variance_flag, 1);
    record = adapted(20);
    record.variance_level = 48 << 20;  // times 48 is negative in 32 bits
    decide(record, one_band(0), alternating(110));
    EXPECT_EQ(record.variance_level, 48 << 20);
}

TEST_F(Fixed, EnergyAtItsThresholds)
{
    const auto after = [](int32_t before, int16_t e) {
        auto record = adapted(20);
        record.energy_level = before;
        decide(record, one_band(e), std::vector<int16_t>(64));
        return record;
    };
    // L = 97
    EXPECT_EQ(after(65, 10).energy_level, 65);
    EXPECT_EQ(after(66, 10).energy_level, (66 * 102 >> 7) + (97 * 26 >> 7));
    EXPECT_EQ(after(130, 10).energy_level, 130);
    EXPECT_EQ(after(129, 10).energy_level, (129 * 102 >> 7) + (97 * 26 >> 7));
    EXPECT_EQ(after(193, 10).energy_level, 193);
    EXPECT_EQ(after(194, 10).energy_level, (194 * 124 >> 7) + 3);
    EXPECT_EQ(after(58, 10).energy_flag, 1);
    EXPECT_EQ(after(59, 10).energy_flag, 0);
}

TEST_F(Fixed, EnergyWraps)
{
    auto record = adapted(20);
    record.energy_level = 1000;
    std::vector<int16_t> bands(25);
    bands[0] = bands[1] = INT16_MAX;
    bands[24] = 2;
    decide(record, bands, std::vector<int16_t>(64));  // 65536^2 is 0
    EXPECT_EQ(record.energy_level, (1000 * 124 >> 7) - 1);
    // 192 and 211 times the level are negative in 32 bits.
    record.energy_level = 20000000;
    decide(record, one_band(4472), std::vector<int16_t>(64));
    EXPECT_EQ(record.energy_level, 20000000);
    EXPECT_EQ(record.energy_flag, 1);
    // The largest that fit.
    record.energy_level = 11000000;
    decide(record, one_band(3400), std::vector<int16_t>(64));
    EXPECT_EQ(record.energy_level, (11000000 * 102 >> 7) + (11559997 * 26 >> 7));
}

TEST_F(Fixed, LatchStopsTheMaximumOfTheEnergy)
{
    auto record = adapted(4);
    record.energy_mean = record.energy_level = 100;
    decide(record, one_band(50), std::vector<int16_t>(64));
    EXPECT_EQ(record.energy_mean, 638);
    EXPECT_EQ(record.latch, 1);
    EXPECT_EQ(record.energy_level, 100);
    EXPECT_EQ(record.energy_flag, 1);
    record = adapted(4);
    record.energy_mean = 1000;
    record.energy_level = 100;
    decide(record, one_band(50), std::vector<int16_t>(64));
    EXPECT_EQ(record.energy_mean, 1431);
    EXPECT_EQ(record.latch, 0);
    EXPECT_EQ(record.energy_level, 2496);
    EXPECT_EQ(record.energy_flag, 0);
}

TEST_F(Fixed, AMeanOfZeroSetsNoLatch)
{
    auto record = adapted(1);
    record.energy_mean = -97;
    record.energy_level = -3;
    decide(record, one_band(10), std::vector<int16_t>(64));
    EXPECT_EQ(record.energy_mean, 0);
    EXPECT_EQ(record.latch, 0);
    record = adapted(1);
    record.energy_mean = -98;  // a mean of -1
    decide(record, one_band(10), std::vector<int16_t>(64));
    EXPECT_EQ(record.energy_mean, -1);
    EXPECT_EQ(record.latch, 0);
}

// The energy that is compared with its mean is shifted within 32 bits: 2^24 and more wraps.
TEST_F(Fixed, LatchComparesAWrappedEnergy)
{
    auto record = adapted(9);
    record.energy_mean = 100;
    decide(record, one_band(5000), std::vector<int16_t>(64));  // L = 24999997, times 128 is -1094967680
    EXPECT_EQ(record.latch, 0);
    record = adapted(9);
    record.energy_mean = 100;
    decide(record, one_band(4000), std::vector<int16_t>(64));  // 15999997 * 128 still fits
    EXPECT_EQ(record.latch, 1);
}

TEST_F(Fixed, LowBandsAtTheirThresholds)
{
    const auto after = [](int32_t before, int32_t previous, int16_t e) {
        auto record = adapted(20);
        record.low_level = before;
        record.previous_mean = previous;
        decide(record, low_bands(e), std::vector<int16_t>(64));
        EXPECT_EQ(record.previous_mean, 1023 * e);
        EXPECT_EQ(record.current_mean, 1023 * e);
        return record;
    };
    // C = (1023 * 4 * 24 >> 5) + (4 * 8 >> 5) = 3069 + 1
    EXPECT_EQ(after(2047, 4, 4).low_level, 2047);
    EXPECT_EQ(after(2048, 4, 4).low_level, (2048 * 102 >> 7) + (3070 * 26 >> 7));
    EXPECT_EQ(after(4094, 4, 4).low_level, 4094);
    EXPECT_EQ(after(6140, 4, 4).low_level, (6140 * 124 >> 7) + (3070 * 4 >> 7));
    EXPECT_EQ(after(6139, 4, 4).low_level, 6139);
    EXPECT_EQ(after(944, 4, 4).low_flag, 1);  // 944 * 416 >> 7 = 3068
    EXPECT_EQ(after(945, 4, 4).low_flag, 0);  // 3071
}

}  // namespace
}  // namespace zelsr::test
