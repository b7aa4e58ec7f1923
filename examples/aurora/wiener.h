// A stage of noise reduction: a Wiener filter of 17 taps for every 80 samples, designed from their spectrum and
// from an estimate of the noise's.
//
// Two of them follow each other. They differ in how they learn the noise, by flag or from every frame, and in what
// becomes of the gains.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "aurora/records.h"
#include "aurora/shape.h"
#include "common/aligned.h"
#include "common/real_transform.h"

namespace zelsr::examples {

// First: the noise's spectrum is the mean of the frames without speech, by the caller's word. Second: it follows
// all frames, faster downwards than upwards, and the gains are weakened where speech is likely.
enum class WienerStage { First, Second };
constexpr int kLearnedFrames = 100;  // that the first one's mean is of, about
constexpr int kFirstFrames = 10;     // whose mean the second one begins with

// How much of the second stage's gains takes effect: 0.1 in speech, 0.8 where there is none, by the ratio of
// speech to noise over three frames against its lowest values so far.
class Aggression {
  public:
    // Sums over the bins, of the denoised and of the noise's amplitudes.
    float next(double denoised, double noise);

  private:
    int frames_ = 0;
    std::array<double, 3> denoised_{}, noise_{};
    double low_ratio_ = 0;  // in dB
    double part_ = 0.8;
};

// cos(2 pi n f(k) / rate) times the width of band k: with it the gains of the mel bands, summed, become the
// impulse response's value n. Rows are the values of n, columns the bands.
std::array<std::array<double, kGainBands>, kTableLength> inverse_mel_cosines();

class FloatWiener {
  public:
    explicit FloatWiener(WienerStage stage);

    // frame: kFrame samples; out: kHop, those from frame[kFilteredFrom] on, filtered. speech: first stage only.
    void filter(const float* frame, bool speech, float* out);

    // Of the last frame, before they are weakened: gains of the bins, and of the mel bands.
    std::span<const float> gains() const { return {gains_.data(), kBins}; }
    std::span<const float> bands() const { return {bands_.data(), kGainBands}; }

  private:
    void take_spectrum(const float* frame);
    void learn_noise(bool speech);
    void design();
    void make_taps();

    WienerStage stage_;
    int frames_ = 0;
    FloatBank bank_;
    RealTransform transform_;
    Aggression aggression_;

    alignas(16) std::array<float, kPoints> windowed_{}, spectrum_{};
    alignas(16) std::array<float, kFrame> window_{};
    alignas(16) std::array<float, kBins> power_{}, last_power_{}, mean_power_{};
    alignas(16) std::array<float, kBins> amplitude_{}, mean_amplitude_{}, noise_{}, noise_power_{}, denoised_{};
    alignas(16) std::array<float, kBins> gains_{}, scratch_{}, least_{}, least_power_{};
    alignas(16) std::array<float, kGainBands> bands_{}, weakened_{};
    alignas(16) std::array<float, kTableLength * kGainBands> cosines_{};
    alignas(16) std::array<float, kTaps> tap_window_{}, taps_{};
};

class FixedWiener {
  public:
    explicit FixedWiener(WienerStage stage);

    void filter(const std::int16_t* frame, bool speech, std::int16_t* out);

    // In Q14.
    std::span<const std::int16_t> gains() const { return {gains_.data(), kBins}; }
    std::span<const std::int16_t> bands() const { return {bands_.data(), kGainBands}; }

  private:
    // Fraction bits of amplitudes, whose squares of 200 samples at full scale fit 64 bits, and further ones of the
    // noise's slow mean.
    static constexpr int kAmplitudeBits = 6, kMeanBits = 12;

    void take_spectrum(const std::int16_t* frame);
    void learn_noise(bool speech);
    void track_noise();
    void design();
    void make_taps();

    WienerStage stage_;
    int frames_ = 0;
    FixedBank bank_;
    FixedTransform transform_;
    Aggression aggression_;

    alignas(16) std::array<std::int16_t, kPoints> windowed_{};
    alignas(16) std::array<std::int32_t, kPoints + 2> spectrum_{};
    alignas(16) std::array<std::int16_t, kFrame> window_{};
    std::array<std::int64_t, kBins> power_{}, last_power_{}, mean_power_{}, noise_power_{};
    std::array<std::int64_t, kBins> noise_mean_{};
    std::array<std::int32_t, kBins> amplitude_{}, mean_amplitude_{}, noise_{}, denoised_{};
    alignas(16) std::array<std::int16_t, kBins> gains_{};
    alignas(16) std::array<std::int16_t, kGainBands> bands_{}, weakened_{};
    alignas(16) std::array<std::int16_t, kTableLength * kGainBands> cosines_{};
    alignas(16) std::array<std::int16_t, kTaps> tap_window_{}, taps_{};
};

}  // namespace zelsr::examples
