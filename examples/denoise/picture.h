// Spectrograms before and after, and levels, of a bounded number of columns.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "common/columns.h"
#include "denoise/seen.h"
#include "denoise/settings.h"

namespace zelsr::examples {

class DenoisePicture {
  public:
    explicit DenoisePicture(const FrameShape& shape) : shape_(shape) {}

    void add(const SeenFrame& frame);
    std::string svg(const std::string& title, const std::string& summary) const;

  private:
    static constexpr std::size_t kRows = 128;

    // Sums of powers over a column's frames.
    struct Column {
        std::array<double, kRows> before, after;  // of a bin, the lowest frequency first
        double sound, noise, cleaned;             // of all bins together
        std::int64_t frames;
        void join(const Column& other);
    };
    struct Look;

    FrameShape shape_;
    HalvingColumns<Column> columns_{2048};
};

}  // namespace zelsr::examples
