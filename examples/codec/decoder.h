// From frames back to samples.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "codec/bands.h"
#include "codec/book.h"
#include "codec/envelope.h"
#include "codec/frame.h"
#include "codec/history.h"

namespace zelsr::examples {

// One period of the voice, by bands, at places between the samples.
class Pulses {
  public:
    static constexpr int kReach = 40;  // samples to either side
    static constexpr int kTaps = 2 * kReach;
    static constexpr int kPhases = 16;  // places a sample

    Pulses();
    // What a pulse of the energy 1 at the time fraction adds to the sample -kReach and the following ones.
    const float* taps(int band, int phase) const
    {
        return taps_[static_cast<std::size_t>(band * kPhases + phase)].data();
    }

  private:
    std::array<std::array<float, kTaps>, kBands * kPhases> taps_{};
};

// Frames give kFrameLength samples each, which lie where the encoder's lay. The last ones of a frame
// leave with the one behind it, or with finish(), which gives some more.
class Decoder {
  public:
    explicit Decoder(const EnvelopeBook& book);

    // Samples in 16-bit units, until the next call.
    std::span<const float> add(const Frame& frame);
    std::span<const float> finish();

  private:
    static constexpr int kSubframe = 20;  // samples with one filter
    static constexpr int kSubframes = kFrameLength / kSubframe;
    static constexpr int kAhead = Pulses::kReach / kSubframe;  // subframes before an excitation is whole

    // A frame's end.
    struct State {
        LineSpectrum lines{};
        float lag = 0;
        std::array<float, kBands> voice{};  // 0 to 1
        float level = 0;                    // dB
    };
    struct Filter {
        Predictor predictor{}, valley_zeros{}, valley_poles{};
        float gain = 0;
    };

    void play(const State& from, const State& to, float middle_level);
    void excite(float lag, const std::array<float, kBands>& voice);
    Filter filter_of(const LineSpectrum& lines, float lag, const std::array<float, kBands>& voice,
                     float level) const;
    void synthesise(const Filter& filter);
    float noise();

    const EnvelopeBook& book_;
    Bands bands_;
    Pulses pulses_;
    bool begun_ = false;
    State last_;
    std::uint32_t random_ = 1;
    History noise_, excitation_;
    std::int64_t excited_ = 0, played_ = 0;  // samples
    double next_pulse_ = 0;                  // when
    std::vector<Filter> waiting_;
    float last_gain_ = 0;
    Predictor memory_{}, valley_memory_{};  // of the filters
    float last_input_ = 0, last_output_ = 0;
    std::vector<float> samples_;
};

}  // namespace zelsr::examples
