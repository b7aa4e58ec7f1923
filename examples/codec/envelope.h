// The spectral envelope of a frame: linear prediction, line spectral frequencies and back.
#pragma once

#include <array>
#include <optional>
#include <span>

#include "codec/frame.h"
#include "common/aligned.h"

namespace zelsr::examples {

// In Hz, rising.
using LineSpectrum = std::array<float, kOrder>;
// A(z) = 1 + a[0] z^-1 + ...; the envelope is 1 / |A|.
using Predictor = std::array<float, kOrder>;

// Of a spectrum without peaks.
LineSpectrum flat_spectrum();
// Neighbours are kept apart, and away from both ends, so that the filter is stable.
void keep_apart(LineSpectrum& lines);
// Of lines that are apart.
Predictor predictor_of(const LineSpectrum& lines);

constexpr int kEnvelopeBins = 256;  // from 0 Hz on, of kRate / 512 each
using Envelope = std::array<float, kEnvelopeBins>;
Envelope envelope_of(const Predictor& predictor);

// The root mean square of the difference of two envelopes in dB, over all bins.
float distortion(const Predictor& first, const Predictor& second);

class EnvelopeAnalysis {
  public:
    static constexpr int kWindow = 240;  // samples

    EnvelopeAnalysis();
    // kWindow samples; nothing for silence.
    std::optional<Predictor> analyse(const float* samples);
    // Nothing if not all lines are found.
    static std::optional<LineSpectrum> lines_of(const Predictor& predictor);

  private:
    AlignedFloats window_, windowed_;
    std::array<float, kOrder + 1> lag_window_{};
};

}  // namespace zelsr::examples
