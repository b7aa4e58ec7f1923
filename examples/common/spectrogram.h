// Spectrograms as the pixels of a level picture.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "common/columns.h"

namespace zelsr::examples {

class Svg;
struct Panel;

struct Spectrogram {
    static constexpr double kShownDecibels = 70;  // from the loudest pixel, 255, to 0

    std::vector<std::uint8_t> pixels;  // rows from the top, the highest frequency
    std::size_t width = 0;             // columns
    double start = 0, end = 0;         // seconds: the picture's left and right edge
    double highest_hz = 0;             // its upper edge
};

// Of a stream of any length, in memory that does not grow with it.
class SpectrogramColumns {
  public:
    // Up to half the rate, or to highest_hz if that is less.
    SpectrogramColumns(int rate, double highest_hz);

    // A frame's power, in bins from 0 to half the rate, in any unit.
    void add(std::span<const float> power);

    // The power of the loudest pixel.
    double loudest() const;
    double highest_hz() const { return highest_hz_; }
    // Levels relative to `loudest`, all 0 if that is; the first frame's time begins at start, and a frame stands
    // for shift seconds.
    Spectrogram picture(double loudest, double start, double shift) const;

  private:
    static constexpr std::size_t kRows = 128, kMostColumns = 2048;

    struct Column {
        std::array<float, kRows> power;  // sums over the column's frames, the lowest frequency first
        std::int64_t frames;
        void join(const Column& other);
        double mean(std::size_t row) const { return power[row] / static_cast<double>(frames); }
    };

    double highest_hz_;
    double part_shown_;  // of the bins
    HalvingColumns<Column> columns_{kMostColumns};
};

// Of samples: frames of 20 ms under a Hann window, 5 ms apart; none in a sound shorter than a frame. Samples that
// are no finite numbers count as 0. Throws Failure, std::bad_alloc.
Spectrogram spectrogram_of(std::span<const float> samples, int rate);

// In its place in the panel, whose scales are seconds and kHz.
void draw_levels(Svg& svg, const Panel& panel, const Spectrogram& levels);

}  // namespace zelsr::examples
