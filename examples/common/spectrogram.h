// The spectrogram of a short sound as the pixels of a level picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelsr::examples {

struct Spectrogram {
    static constexpr double kShownDecibels = 70;  // from the loudest pixel, 255, to 0

    std::vector<std::uint8_t> pixels;  // rows from the top, the highest frequency
    std::size_t width = 0;             // columns, one a frame; none for a sound shorter than a frame
    double start = 0, end = 0;         // seconds: the picture's left and right edge
    double highest_hz = 0;             // its upper edge
};

// Frames of 20 ms under a Hann window, 5 ms apart, or as much further as keeps the columns below `most_columns`.
// Samples that are no finite numbers count as 0. Throws Failure, std::bad_alloc.
Spectrogram spectrogram_of(std::span<const float> samples, int rate, std::size_t most_columns = 2048);

}  // namespace zelsr::examples
