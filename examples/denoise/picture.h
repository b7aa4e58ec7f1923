// Spectrograms before and after, and levels, of a bounded number of columns.
#pragma once

#include <cstdint>
#include <string>

#include "common/columns.h"
#include "common/spectrogram.h"
#include "denoise/seen.h"
#include "denoise/settings.h"

namespace zelsr::examples {

class DenoisePicture {
  public:
    explicit DenoisePicture(const FrameShape& shape)
        : shape_(shape), before_(shape.rate, shape.rate / 2.0), after_(shape.rate, shape.rate / 2.0)
    {}

    void add(const SeenFrame& frame);
    std::string svg(const std::string& title, const std::string& summary) const;

  private:
    // Sums of mean squares over a column's frames.
    struct Column {
        double sound, noise, cleaned;
        std::int64_t frames;
        void join(const Column& other);
    };

    FrameShape shape_;
    SpectrogramColumns before_, after_;
    HalvingColumns<Column> levels_{2048};
    std::int64_t frames_ = 0;
};

}  // namespace zelsr::examples
