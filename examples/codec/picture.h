// A picture of a file: pitch and level over time, and spectra of some frames with their envelopes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "codec/encoder.h"
#include "common/columns.h"
#include "common/svg.h"

namespace zelsr::examples {

// Takes a bounded memory for speech of any length.
class Picture {
  public:
    explicit Picture(std::string title);

    void add(const Frame& frame, const Measured& measured, const EnvelopeBook& book);
    std::string svg() const;

  private:
    // What a column of the tracks shows: of several frames, the loudest one.
    struct Column {
        float level, coded_level, pitch;
        void join(const Column& other)
        {
            if (other.level > level) *this = other;
        }
    };
    struct Spectrum {
        double time;
        float level, pitch;  // dB, Hz (0 without voice)
        std::vector<float> samples;
        Predictor exact, coded;
    };
    void draw_tracks(Svg& svg) const;
    static void draw_spectrum(Svg& svg, const Box& box, const Spectrum& spectrum);

    std::string title_;
    HalvingColumns<Column> columns_;
    std::vector<Spectrum> spectra_;  // the loudest frames, apart from each other: two with voice, two without
    double seconds_ = 0;
};

}  // namespace zelsr::examples
