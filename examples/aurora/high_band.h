// Sound at 16 kHz: its two bands at 8 kHz each, and what the cepstrum learns of the upper one.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "aurora/analysis.h"
#include "aurora/records.h"
#include "aurora/shape.h"
#include "common/real_transform.h"

namespace zelsr::examples {

// Result n of either band is centred at sample 2 n. In the upper band frequency counts from 4000 Hz on.
template <class T>
class BandSplit {
  public:
    BandSplit();

    // Parts of any size give the same bits.
    void add(std::span<const T> samples, std::vector<T>& low, std::vector<T>& high);
    // Silence is taken to follow. The next add() begins another signal.
    void finish(std::vector<T>& low, std::vector<T>& high);

  private:
    static constexpr int kSplitTaps = 118, kBefore = kSplitTaps / 2 - 1;

    std::array<T, kSplitTaps> taps_{};
    std::vector<T> waiting_;
    std::int64_t in_ = 0, out_ = 0;
};

constexpr int kLearnsOver = 100;  // frames that the noise is the mean of
// The smoothed spectrum has half as many bins as that of the mel bands, whose power pre-emphasis has raised by
// (1 + 0.9)^2 at 4 kHz.
inline double like_mel_bands() { return std::log(2 * 1.9 * 1.9); }

// Three bands from 4 to 8 kHz. What noise reduction does to the top of the lower band, it is taken to do to them:
// their distances to three parts of the noisy lower band are added to these parts of the cleaned one. The rest of
// the mean is the bands less their own noise.
class FloatHighBand {
  public:
    FloatHighBand();

    // The frame before and behind noise reduction, and that of the upper band; speech: no noise is learned from
    // it. Logarithms of the power, as those of the mel bands below.
    std::array<float, kHighBands> logarithms(const float* noisy, const float* cleaned, const float* high,
                                             bool speech);

  private:
    void smoothed_power(const float* frame, float* power);

    FloatBank bank_;
    RealTransform transform_;
    int learned_ = 0;
    std::array<float, kHighBands> noise_{};
    alignas(16) std::array<float, kFrame> window_{};
    alignas(16) std::array<float, kPoints> windowed_{};
    alignas(16) std::array<float, kPoints + 2> spectrum_{};
    alignas(16) std::array<float, kPowerBins> cleaned_power_{};
    alignas(16) std::array<float, kBins> noisy_power_{}, high_power_{};
};

class FixedHighBand {
  public:
    FixedHighBand();

    // With kLogBits.
    std::array<std::int32_t, kHighBands> logarithms(const std::int16_t* noisy, const std::int16_t* cleaned,
                                                    const std::int16_t* high, bool speech);

  private:
    void to_spectrum(const std::int16_t* frame, int up);

    FixedBank bank_;
    FixedTransform transform_;
    int learned_ = 0;
    std::array<std::int64_t, kHighBands> noise_{};
    alignas(16) std::array<std::int16_t, kFrame> window_{};
    alignas(16) std::array<std::int16_t, kPoints> windowed_{};
    alignas(16) std::array<std::int32_t, kPoints + 2> spectrum_{};
    alignas(16) std::array<std::int32_t, kPowerBins> cleaned_power_{};
    alignas(16) std::array<std::int32_t, kBins> noisy_power_{}, high_power_{};
    alignas(16) std::array<std::int16_t, kBins> narrow_power_{};
};

}  // namespace zelsr::examples
