// The spectrogram that pages and pictures show.
#include "common/spectrogram.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace zelsr::examples {
namespace {

constexpr int kRate = 8000;

std::vector<float> sine(double hertz, std::size_t samples, double level = 0.5)
{
    std::vector<float> sound(samples);
    for (std::size_t i = 0; i < samples; ++i)
        sound[i] =
            static_cast<float>(level * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(i) / kRate));
    return sound;
}

// The pixel at a frequency and a time in seconds.
int pixel(const Spectrogram& levels, double hertz, double time)
{
    const std::size_t rows = levels.pixels.size() / levels.width;
    // A row has an equal part of the frequencies.
    const std::size_t row =
        rows - 1 - static_cast<std::size_t>(hertz / levels.highest_hz * static_cast<double>(rows));
    const auto column = static_cast<std::size_t>((time - levels.start) / (levels.end - levels.start) *
                                                 static_cast<double>(levels.width));
    return levels.pixels[row * levels.width + column];
}

TEST(Spectrogram, ASineStandsAtItsFrequency)
{
    const Spectrogram levels = spectrogram_of(sine(1000, kRate), kRate);
    EXPECT_EQ(levels.highest_hz, 4000);
    EXPECT_EQ(levels.width, 197u);  // (8000 - 160) / 40 + 1
    EXPECT_EQ(levels.pixels.size() % levels.width, 0u);
    EXPECT_GE(pixel(levels, 1000, 0.5), 254);
    EXPECT_EQ(pixel(levels, 3000, 0.5), 0);
    EXPECT_EQ(pixel(levels, 200, 0.5), 0);
}

TEST(Spectrogram, SeventyDecibelsReachFromFullToNothing)
{
    std::vector<float> sound = sine(1000, kRate);
    const std::vector<float> quiet = sine(3000, kRate, 0.5 * std::pow(10, -35.0 / 20));
    for (std::size_t i = 0; i < sound.size(); ++i) sound[i] += quiet[i];
    EXPECT_NEAR(pixel(spectrogram_of(sound, kRate), 3000, 0.5), 127.5, 1);
}

TEST(Spectrogram, AChangeStandsAtItsTime)
{
    std::vector<float> sound = sine(1000, kRate);
    std::fill(sound.begin() + 4000, sound.end(), 0.0f);
    const Spectrogram levels = spectrogram_of(sound, kRate);
    EXPECT_GT(pixel(levels, 1000, 0.49), 240);
    EXPECT_EQ(pixel(levels, 1000, 0.515), 0);
}

TEST(Spectrogram, SamplesThatAreNoNumbersAreSilence)
{
    std::vector<float> sound = sine(1000, kRate), mended = sound;
    sound[100] = std::numeric_limits<float>::quiet_NaN();
    sound[3000] = -std::numeric_limits<float>::infinity();
    sound[3001] = std::numeric_limits<float>::max();
    mended[100] = mended[3000] = mended[3001] = 0;
    EXPECT_EQ(spectrogram_of(sound, kRate).pixels, spectrogram_of(mended, kRate).pixels);
}

TEST(Spectrogram, ColumnsAreBounded)
{
    for (const std::size_t seconds : {10u, 11u, 30u, 100u}) {
        const Spectrogram levels = spectrogram_of(sine(1000, seconds * kRate), kRate);
        EXPECT_LE(levels.width, 2048u);
        EXPECT_GE(levels.width, 1024u);
        EXPECT_NEAR(levels.end - levels.start, static_cast<double>(seconds), 0.1);
        EXPECT_GE(pixel(levels, 1000, 0.9 * static_cast<double>(seconds)), 254);
        EXPECT_EQ(pixel(levels, 3000, 0.9 * static_cast<double>(seconds)), 0);
    }
}

TEST(Spectrogram, SilenceAndShortSounds)
{
    EXPECT_EQ(spectrogram_of({}, kRate).width, 0u);
    EXPECT_EQ(spectrogram_of(sine(1000, 159), kRate).width, 0u);
    EXPECT_EQ(spectrogram_of(sine(1000, 160), kRate).width, 1u);
    const std::vector<float> silence(kRate);
    for (int value : spectrogram_of(silence, kRate).pixels) ASSERT_EQ(value, 0);
    EXPECT_EQ(spectrogram_of(silence, 1).width, 2000u);  // frames of 2 samples, of which a column has 4
}

}  // namespace
}  // namespace zelsr::examples
