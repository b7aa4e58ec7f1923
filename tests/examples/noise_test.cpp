// Noises and their mixing with speech. Usage: examples_noise_test SOUND...
#include "common/noise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/sound.h"
#include "zelsr/core/fft.h"

namespace zelsr::examples {
namespace {

constexpr int kRate = 16000, kOrder = 12, kFrame = 1 << kOrder;
constexpr std::size_t kSamples = 64 * kFrame;

FileNames sound_paths;

double power(std::span<const float> samples)
{
    double sum = 0;
    for (const float sample : samples) sum += double{sample} * sample;
    return sum / static_cast<double>(samples.size());
}

double correlation(std::span<const float> a, std::span<const float> b)
{
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += double{a[i]} * b[i];
    return sum / static_cast<double>(a.size()) / std::sqrt(power(a) * power(b));
}

// Mean power of each bin over frames under a Hann window.
std::vector<double> spectrum(std::span<const float> noise)
{
    ZelFFTState_R_32f* spec = nullptr;
    EXPECT_EQ(zelsFFTInitAlloc_R_32f(&spec, kOrder, 8, 0), SrOk);
    std::vector<double> bins(kFrame / 2 + 1);
    std::vector<float> frame(kFrame), transform(kFrame + 2);
    for (std::size_t start = 0; start + kFrame <= noise.size(); start += kFrame) {
        for (std::size_t i = 0; i < kFrame; ++i)
            frame[i] =
                noise[start + i] *
                static_cast<float>(0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / kFrame));
        EXPECT_EQ(zelsFFTFwd_RToCCS_32f(frame.data(), transform.data(), spec, nullptr), SrOk);
        for (std::size_t k = 0; k < bins.size(); ++k)
            bins[k] +=
                double{transform[2 * k]} * transform[2 * k] + double{transform[2 * k + 1]} * transform[2 * k + 1];
    }
    zelsFFTFree_R_32f(spec);
    return bins;
}

// dB a hertz between two frequencies.
double level(const std::vector<double>& bins, double from, double to)
{
    const auto first = static_cast<std::size_t>(from * kFrame / kRate),
               last = static_cast<std::size_t>(to * kFrame / kRate);
    double sum = 0;
    for (std::size_t k = first; k < last; ++k) sum += bins[k];
    return 10 * std::log10(sum / static_cast<double>(last - first));
}

class NoiseTest : public testing::TestWithParam<NoiseKind> {
  protected:
    static const Voices& voices()
    {
        static const Voices kVoices = read_voices(sound_paths, kRate);
        return kVoices;
    }
    static std::vector<float> make(std::size_t samples, std::uint32_t seed)
    {
        return make_noise(GetParam(), samples, kRate, seed, voices());
    }
};

TEST_P(NoiseTest, HasAMeanPowerOfOne)
{
    for (const std::size_t samples : {std::size_t{100}, std::size_t{5000}, kSamples})
        EXPECT_NEAR(power(make(samples, 1)), 1, 1e-5) << samples;
    EXPECT_TRUE(make(0, 1).empty());
}

TEST_P(NoiseTest, IsTheSameForASeedAndAnotherForAnother)
{
    const std::vector<float> first = make(kSamples, 7);
    EXPECT_EQ(first, make(kSamples, 7));
    EXPECT_LT(std::fabs(correlation(first, make(kSamples, 8))), GetParam() == NoiseKind::Tone ? 0.99 : 0.2);
}

TEST_P(NoiseTest, IsMixedAtTheStatedDistance)
{
    std::vector<float> speech = voices()[0];
    speech.insert(speech.end(), 3 * kRate, 0.0F);  // a pause does not count
    const std::vector<float> noise = make(speech.size() + 99, 3);
    for (const double snr_db : {20.0, 5.0, -5.0}) {
        const std::vector<float> mixed = mix(speech, kRate, noise, snr_db);
        ASSERT_EQ(mixed.size(), speech.size());
        std::vector<float> added(speech.size());
        for (std::size_t i = 0; i < added.size(); ++i) added[i] = mixed[i] - speech[i];
        EXPECT_NEAR(10 * std::log10(speech_power(voices()[0], kRate) / power(added)), snr_db, 0.01);
        EXPECT_GT(correlation(added, std::span(noise).first(added.size())), 0.999);
    }
}

TEST_P(NoiseTest, HasANameThatLeadsBack) { EXPECT_EQ(noise_of_name(noise_name(GetParam())), GetParam()); }

INSTANTIATE_TEST_SUITE_P(Kinds, NoiseTest,
                         testing::Values(NoiseKind::White, NoiseKind::Pink, NoiseKind::Babble, NoiseKind::Tone),
                         [](const auto& kind) { return noise_name(kind.param); });

TEST(Noise, WhiteIsFlatAndPinkFallsBy3DbAnOctave)
{
    const std::vector<double> white = spectrum(make_noise(NoiseKind::White, kSamples, kRate, 5));
    const std::vector<double> pink = spectrum(make_noise(NoiseKind::Pink, kSamples, kRate, 5));
    for (double low = 62.5; low < 4000; low *= 2) {
        EXPECT_NEAR(level(white, 2 * low, 4 * low) - level(white, low, 2 * low), 0, 0.6) << low;
        EXPECT_NEAR(level(pink, 2 * low, 4 * low) - level(pink, low, 2 * low), -3.01, 0.8) << low;
    }
    EXPECT_NEAR(level(pink, 4000, 8000) - level(pink, 62.5, 125), -6 * 3.01, 1.5);
}

TEST(Noise, WhiteIsNormallyDistributedAboutZero)
{
    const std::vector<float> white = make_noise(NoiseKind::White, kSamples, kRate, 2);
    double sum = 0, within = 0;
    for (const float sample : white) {
        sum += sample;
        within += std::fabs(sample) < 1;
    }
    EXPECT_NEAR(sum / kSamples, 0, 0.01);
    EXPECT_NEAR(within / kSamples, 0.6827, 0.01);
    EXPECT_LT(std::fabs(correlation(std::span(white).first(kSamples - 1), std::span(white).subspan(1))), 0.01);
}

TEST(Noise, ToneKeepsToItsFrequencies)
{
    const std::vector<double> bins = spectrum(make_noise(NoiseKind::Tone, kSamples, kRate, 1));
    double all = 0, tones = 0;
    for (const double bin : bins) all += bin;
    for (const double frequency : {400.0, 1000.0, 2300.0}) {
        const auto middle = static_cast<std::size_t>(frequency * kFrame / kRate + 0.5);
        double tone = 0;
        for (std::size_t k = middle - 3; k <= middle + 3; ++k) tone += bins[k];
        EXPECT_NEAR(tone / all, 1.0 / 3, 0.01) << frequency;
        tones += tone;
    }
    EXPECT_GT(tones / all, 0.999);
}

TEST(Noise, BabbleLiesWhereSpeechLies)
{
    const Voices voices = read_voices(sound_paths, kRate);
    const std::vector<double> bins = spectrum(make_noise(NoiseKind::Babble, kSamples, kRate, 1, voices));
    EXPECT_GT(level(bins, 200, 1000), level(bins, 5000, 7500) + 10);
    EXPECT_THROW(make_noise(NoiseKind::Babble, 100, kRate, 1), Failure);
    EXPECT_THROW(make_noise(NoiseKind::Babble, 100, kRate, 1, {std::vector<float>(50)}), Failure);
    // A voice alone goes round from several places.
    EXPECT_NEAR(power(make_noise(NoiseKind::Babble, 5000, kRate, 1, {voices[0]})), 1, 1e-5);
}

TEST(Noise, VoicesAreReadAtTheRate)
{
    const Voices at_16000 = read_voices({sound_paths[0]}, 16000), at_8000 = read_voices({sound_paths[0]}, 8000);
    ASSERT_NEAR(static_cast<double>(at_8000[0].size()), static_cast<double>(at_16000[0].size()) / 2, 1);
    // No shift, and what is below the band's end stays.
    std::vector<float> every_second;
    for (std::size_t i = 0; i < at_8000[0].size(); ++i) every_second.push_back(at_16000[0][2 * i]);
    EXPECT_GT(correlation(every_second, at_8000[0]), 0.97);
    EXPECT_THROW(read_voices({"/nonexistent.flac"}, 8000), Failure);
}

TEST(Noise, SilenceAndShortNoise)
{
    const std::vector<float> silence(3000), speech(3000, 0.5F), noise(3000, 1.0F);
    EXPECT_EQ(speech_power(silence, kRate), 0);
    EXPECT_EQ(speech_power({}, kRate), 0);
    EXPECT_EQ(speech_power(std::vector<float>(5, 2.0F), kRate), 4);
    EXPECT_EQ(mix(silence, kRate, noise, 10), silence);
    EXPECT_EQ(mix(speech, kRate, silence, 10), speech);
    EXPECT_TRUE(mix({}, kRate, noise, 10).empty());
    EXPECT_THROW(mix(speech, kRate, std::vector<float>(2999), 10), Failure);
    EXPECT_THROW(noise_of_name("brown"), WrongUse);
}

}  // namespace
}  // namespace zelsr::examples

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (argc < 2) return 2;
    zelsr::examples::sound_paths.assign(argv + 1, argv + argc);
    return RUN_ALL_TESTS();
}
