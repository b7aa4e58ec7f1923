// From a cleaned frame at 8 kHz to its cepstrum and energy, and the equalisation of cepstra.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "aurora/records.h"
#include "aurora/shape.h"
#include "common/real_transform.h"

namespace zelsr::examples {

constexpr int kCepstra = 12;
constexpr int kStatics = kCepstra + 2;  // c1 ... c12, c0, log energy: what the derivatives' function takes
constexpr int kRow = 3 * (kCepstra + 1);
constexpr int kMelBands = 23;  // from 64 to 4000 Hz
constexpr int kMelMul = 2595, kMelDiv = 700, kLowHz = 64, kHighHz = kLowRate / 2;
constexpr int kHighBands = 3;  // more, up to 8000 Hz, where the sound has them

// Values of a 16-bit row are those of the other one times 2^kRowBits; c0 and the log energy, which are larger,
// have fewer bits on their way there.
constexpr int kRowBits = 7, kLevelBits = 5;

// Cepstra drift towards that of the speech in a corpus that the front-end was tuned to, so that channels differ
// less. They are those of an orthogonal transform, c1 to c12.
std::array<float, kCepstra> reference_cepstrum();

// A frame is weighted along its pitch periods, raised towards high frequencies, windowed; the logarithms of its
// mel bands' power, of which each counts as 1 at least, are transformed.
class FloatAnalysis {
  public:
    explicit FloatAnalysis(int bands);  // kMelBands, or more

    // frame: kFrame samples. high: logarithms of the further bands' power. row: kStatics values.
    void analyse(const float* frame, std::span<const float> high, float* row);
    void restart() { bias_.fill(0); }  // of an utterance

  private:
    FloatBank bank_;
    RealTransform transform_;
    std::unique_ptr<ZelDCTLifterState_32f, MfccRelease> dct_;
    std::array<float, kCepstra> reference_, bias_{};
    alignas(16) std::array<float, kFrame> window_{}, weighted_{};
    alignas(16) std::array<float, kPoints> windowed_{};
    alignas(16) std::array<float, kPoints + 2> spectrum_{};
    alignas(16) std::array<float, kPowerBins> power_{};
    alignas(16) std::array<float, kMelBands + kHighBands> logarithms_{}, least_{};
};

// Fraction bits of logarithms in 32 bits.
constexpr int kLogBits = 16;
// That of value times 2^-bits, value above 0.
std::int32_t fixed_logarithm(std::int64_t value, int bits);

// In integers. Every frame's spectrum is scaled by a power of two that fills 31 bits, which its logarithms take
// back.
class FixedAnalysis {
  public:
    explicit FixedAnalysis(int bands);

    void analyse(const std::int16_t* frame, std::span<const std::int32_t> high, std::int16_t* row);
    void restart() { bias_.fill(0); }

  private:
    int emphasise();
    int take_bands();

    IntegerBank bank_;
    FixedTransform transform_;
    std::unique_ptr<ZelDCTLifterState_16s, MfccRelease> dct_;
    std::array<std::int16_t, kCepstra> reference_{}, bias_{};
    alignas(16) std::array<std::int16_t, kFrame> window_{}, weighted_{};
    alignas(16) std::array<std::int32_t, kFrame> emphasised_{};
    alignas(16) std::array<std::int16_t, kPoints> windowed_{};
    alignas(16) std::array<std::int32_t, kPoints + 2> spectrum_{};
    std::array<std::int64_t, kPowerBins> power_{};
    std::array<std::int32_t, kPowerBins> narrow_power_{};
    alignas(16) std::array<std::int32_t, kMelBands + kHighBands> logarithms_{};
};

}  // namespace zelsr::examples
