// From samples to frames.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <span>
#include <vector>

#include "codec/bands.h"
#include "codec/book.h"
#include "codec/envelope.h"
#include "codec/frame.h"
#include "codec/history.h"
#include "codec/pitch.h"

namespace zelsr::examples {

// What was measured of a frame, before it became codes. Its place: that of the frame's end.
struct Measured {
    std::int64_t place = 0;
    bool sound = false;                 // it has an envelope; otherwise that of the frame before stands
    Predictor predictor{};              // of the envelope
    LineSpectrum lines{};               // of the same
    float lag = 0;                      // samples; 0: no voice
    std::array<float, kBands> voice{};  // how periodic each band is, up to 1; of a voiced frame
    Levels levels{};
    const float* samples = nullptr;  // EnvelopeAnalysis::kWindow of them around the place, during the call
};

// Samples come in parts of any size, which change no bit. Frame n holds what is measured around the sample
// (n + 1) kFrameLength; there are as many frames as it takes to reach the last sample.
class Encoder {
  public:
    using Consumer = std::function<void(const Frame&, const Measured&)>;

    Encoder(EnvelopeBook& book, Consumer consumer);

    void add(std::span<const float> samples);  // in 16-bit units
    void finish();

    std::int64_t samples() const { return taken_; }

  private:
    void take(std::span<const float> samples);
    void analyse();
    void measure_frame();
    void complete(int lag);
    std::array<float, kBands> voices(std::int64_t place, float lag);
    float level_at(std::int64_t place, float lag) const;

    EnvelopeBook& book_;
    Consumer consumer_;
    Bands bands_;
    EnvelopeAnalysis envelope_;
    PitchTracker tracker_;
    Correlator correlator_;

    std::vector<float> pending_;  // the start of a frame
    float last_input_ = 0, last_output_ = 0;
    History signal_;
    History low_;  // below 1 kHz
    std::vector<History> band_;
    std::int64_t taken_ = 0, measured_ = 0;
    std::int64_t frames_ = std::numeric_limits<std::int64_t>::max();  // in all, when the end is known
    LineSpectrum lines_;
    std::deque<Measured> open_;  // frames whose lag is not known yet
};

}  // namespace zelsr::examples
