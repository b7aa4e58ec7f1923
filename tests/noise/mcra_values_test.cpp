// The noise estimator by value: what it does to steady, rising and extreme spectra.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "noise/mcra_members.h"
#include "support/effort.h"
#include "support/environment.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();

// n / 2 = 100: the window takes 64 of it, the smoothing all.
TEST(McraValues, WindowOfAnOddLength)
{
    McraBlock<Mcra_32f> block(200);
    ASSERT_EQ(block.init(8000, 200), SrOk);
    EXPECT_EQ(block.record().order, 7);
    EXPECT_EQ(block.record().window, 125) << "64 / 64 * 125";
    EXPECT_EQ(block.record().shift, 100);
    EXPECT_EQ(block.record().noise_smoothing, static_cast<float>(std::pow(0.7, 1.5625)));
    ASSERT_EQ(block.init(8000, 200, 100), SrOk);
    EXPECT_EQ(block.record().window, 80);
    EXPECT_EQ(block.record().noise_smoothing, static_cast<float>(std::pow(0.7, 1.5625)));
    McraBlock<Mcra_32s> fixed(200);
    ASSERT_EQ(fixed.init(8000, 200), SrOk);
    EXPECT_EQ(fixed.record().window, 125);
    ASSERT_EQ(fixed.init(8000, 200, 100), SrOk);
    EXPECT_EQ(fixed.record().window, 80);
}

// 0.7, 0.8 and 0.2 hold for a shift of 8 ms.
TEST(McraValues, SmoothingOfEightMilliseconds)
{
    McraBlock<Mcra_32f> block(256);
    for (const auto& [rate, shift] : {std::pair{8000, 64}, {16000, 128}}) {
        ASSERT_EQ(block.init(rate, 256, shift), SrOk);
        EXPECT_EQ(block.record().noise_smoothing, 0.7F);
        EXPECT_EQ(block.record().spectrum_smoothing, 0.8F);
        EXPECT_EQ(block.record().presence_smoothing, 0.2F);
        EXPECT_EQ(block.record().window, 125);
        EXPECT_EQ(block.record().order, 8);
        McraBlock<Mcra_32s> fixed(256);
        ASSERT_EQ(fixed.init(rate, 256, shift), SrOk);
        // The series in Q15, with rounding down, ends a little below.
        EXPECT_NEAR(fixed.record().noise_smoothing, 0.7 * 0x1p31, 0.001 * 0x1p31);
        EXPECT_NEAR(fixed.record().spectrum_smoothing, 0.8 * 0x1p31, 0.001 * 0x1p31);
        EXPECT_NEAR(fixed.record().presence_smoothing, 0.2 * 0x1p31, 0.001 * 0x1p31);
        EXPECT_EQ(fixed.record().delta, 5 << 15);
    }
}

// The last product of the window is rounded to single: 80.3... frames are not cut at a double's digit.
TEST(McraValues, WindowIsAProductOfSingles)
{
    McraBlock<Mcra_32f> block(8192);
    int different = 0;
    for (int rate = 8000; rate <= 48000; ++rate)
        for (int shift : {1, 3, 7, 11, 100}) {
            const float frames = static_cast<float>(rate * 0.008) / static_cast<float>(shift);
            const auto in_double = static_cast<int>(double{frames} * 125.0);
            if (in_double == static_cast<int>(frames * 125.0F)) continue;
            ++different;
            ASSERT_EQ(block.init(rate, 8192, shift), SrOk);
            ASSERT_EQ(block.record().window, static_cast<int>(frames * 125.0F)) << rate << ", " << shift;
        }
    EXPECT_GT(different, 0);
}

// A steady spectrum: presence falls by ap a frame from where a burst left it, and the noise keeps to the input.
TEST(McraValues, SteadyInputIsNoise)
{
    McraBlock<Mcra_32f> block(16);
    ASSERT_EQ(block.init(8000, 16, 8), SrOk);
    const std::vector<float> quiet(9, 4.0F), burst(9, 4000.0F);
    std::vector<float> noise(9);
    for (int frame = 0; frame < 3; ++frame) Mcra_32f::kUpdate(quiet.data(), block.state(), noise.data());
    EXPECT_EQ(noise, quiet);
    EXPECT_EQ(block.array(block.record().presence, 9)[0], 0.0F);
    Mcra_32f::kUpdate(burst.data(), block.state(), noise.data());
    const auto r = block.record();
    EXPECT_EQ(block.array(r.presence, 9)[8], 1.0F - r.presence_smoothing)
        << "the smoothed power is above 5 minima";
    EXPECT_GT(noise[8], 4.0F);
    EXPECT_EQ(block.array(r.minimum, 9)[8], 4.0F);

    McraBlock<Mcra_32s> fixed(16);
    ASSERT_EQ(fixed.init(8000, 16, 8), SrOk);
    const std::vector<int32_t> quiet_s(9, 1 << 20), burst_s(9, 1 << 30);
    std::vector<int32_t> noise_s(9);
    Mcra_32s::kUpdate(quiet_s.data(), fixed.state(), noise_s.data());
    Mcra_32s::kUpdate(burst_s.data(), fixed.state(), noise_s.data());
    EXPECT_EQ(fixed.array(fixed.record().presence, 9)[4], 0x7fffffff - fixed.record().presence_smoothing);
}

// Exactly five minima are not above five minima.
TEST(McraValues, ThresholdIsNotPresence)
{
    for (const float power : {5.0F, std::nextafter(5.0F, 6.0F)}) {
        McraBlock<Mcra_32f> block(8);
        ASSERT_EQ(block.init(8000, 8), SrOk);
        const std::vector<float> one(5, 1.0F);
        std::vector<float> noise(5);
        Mcra_32f::kUpdate(one.data(), block.state(), noise.data());
        // Put S at the power itself, so that smoothing keeps it there to the last bit or close by.
        auto r = block.record();
        const std::vector<float> level(5, power);
        std::memcpy(static_cast<void*>(r.smoothed), level.data(), 20);
        Mcra_32f::kUpdate(level.data(), block.state(), noise.data());
        const float s = block.array(r.smoothed, 5)[0];
        EXPECT_EQ(block.array(r.presence, 5)[0] > 0, s > 5.0F) << s;
    }
    for (const int32_t power : {500, 501}) {
        McraBlock<Mcra_32s> block(8);
        ASSERT_EQ(block.init(8000, 8), SrOk);
        const std::vector<int32_t> hundred(5, 100);
        std::vector<int32_t> noise(5);
        Mcra_32s::kUpdate(hundred.data(), block.state(), noise.data());
        auto r = block.record();
        // The factors add up to 2^31 - 1: the same power in both leaves one less.
        const std::vector<int32_t> level(5, power + 1);
        std::memcpy(static_cast<void*>(r.smoothed), level.data(), 20);
        Mcra_32s::kUpdate(level.data(), block.state(), noise.data());
        EXPECT_EQ(block.array(r.smoothed, 5)[0], power);
        EXPECT_EQ(block.array(r.presence, 5)[0] > 0, power > 500);
    }
}

// A threshold beyond 32 bits is limited to 2^31 - 1, and nothing is above that.
TEST(McraValues, IntegersOfEverySize)
{
    const std::vector<int32_t> special = special_values<int32_t>();
    const int bins = static_cast<int>(special.size());
    const int length = 2 * (bins - 1);
    for (int turn = 0; turn < (thin_effort() ? 20 : 300); ++turn) {
        McraBlock<Mcra_32s> block(length);
        const int shift = turn % 3 == 0 ? 0 : uniform(1, length / 2);
        const int rate = uniform(8000, 48000);
        ASSERT_EQ(block.init(rate, length, shift), SrOk);
        auto expected = reference::mcra<int32_t>(rate, length, shift);
        std::vector<int32_t> noise(special.size()), expected_noise = noise;
        for (int frame = 0; frame < 6; ++frame) {
            std::vector<int32_t> power;
            for (int k = 0; k < bins; ++k)
                power.push_back(frame % 3 == 2 ? static_cast<int32_t>(generator()())
                                               : special[generator()() % special.size()]);
            reference::update(expected, power, expected_noise);
            ASSERT_EQ(Mcra_32s::kUpdate(power.data(), block.state(), noise.data()), SrOk);
            ASSERT_TRUE(block.is(expected)) << turn << ", frame " << frame;
            ASSERT_TRUE(same_values(expected_noise, noise)) << turn << ", frame " << frame;
        }
    }
}

// Results of the integer form do not depend on how the caller rounds.
TEST(McraValues, IntegersAreTheSameInEachEnvironment)
{
    McraBlock<Mcra_32s> block(100);
    auto expected = reference::mcra<int32_t>(11025, 100, 33);
    ASSERT_EQ(block.init(11025, 100, 33), SrOk);
    std::vector<int32_t> noise(51), expected_noise(51);
    std::vector<int32_t> power = uniform_vector<int32_t>(51, 0, 2000000000);
    under_each_environment([&] { Mcra_32s::kUpdate(power.data(), block.state(), noise.data()); },
                           [&](const std::string& setting) {
                               reference::update(expected, power, expected_noise);
                               EXPECT_TRUE(same_values(expected_noise, noise)) << setting;
                               EXPECT_TRUE(block.is(expected)) << setting;
                               power = uniform_vector<int32_t>(51, 0, 2000000000);
                           });
}

// Negative powers, zeros, subnormals and the extremes go the same way; infinity and not-a-number stay in their
// bin.
TEST(McraValues, SinglesOfEverySize)
{
    std::vector<float> special;
    for (float x : special_values<float>())
        if (std::isfinite(x)) special.push_back(x);
    const int bins = 2 * static_cast<int>(special.size()) + 1, length = 2 * (bins - 1);
    for (int turn = 0; turn < (thin_effort() ? 20 : 200); ++turn) {
        McraBlock<Mcra_32f> block(length);
        ASSERT_EQ(block.init(16000, length), SrOk);
        auto expected = reference::mcra<float>(16000, length);
        std::vector<float> noise(expected.bins()), expected_noise = noise;
        for (int frame = 0; frame < 5; ++frame) {
            std::vector<float> power;
            for (int k = 0; k < bins; ++k) power.push_back(special[generator()() % special.size()]);
            reference::update(expected, power, expected_noise);
            ASSERT_EQ(Mcra_32f::kUpdate(power.data(), block.state(), noise.data()), SrOk);
            ASSERT_TRUE(same_values(expected_noise, noise)) << turn << ", frame " << frame;
        }
    }
    for (float bad : {kInfinity, -kInfinity, kNaN, -kNaN})
        for (std::size_t at : {0u, 3u, 8u}) {
            McraBlock<Mcra_32f> block(16), clean(16);
            ASSERT_EQ(block.init(16000, 16), SrOk);
            ASSERT_EQ(clean.init(16000, 16), SrOk);
            std::vector<float> noise(9), clean_noise(9);
            for (int frame = 0; frame < 4; ++frame) {
                std::vector<float> power = uniform_vector<float>(9, 0.0F, 100.0F);
                Mcra_32f::kUpdate(power.data(), clean.state(), clean_noise.data());
                if (frame == 1) power[at] = bad;
                Mcra_32f::kUpdate(power.data(), block.state(), noise.data());
                for (std::size_t k = 0; k < 9; ++k) {
                    if (k == at && frame >= 1)
                        EXPECT_FALSE(std::isfinite(noise[k])) << bad;
                    else
                        EXPECT_EQ(noise[k], clean_noise[k]);
                }
            }
        }
}

}  // namespace
}  // namespace zelsr::test
