// The spectrogram before and behind noise reduction, with the marks, as a picture of a bounded number of columns.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "aurora/records.h"
#include "aurora/shape.h"
#include "aurora/voice_activity.h"
#include "common/columns.h"
#include "common/real_transform.h"
#include "common/spectrogram.h"
#include "common/svg.h"

namespace zelsr::examples {

// A stream's spectrogram from 0 to 4000 Hz, a frame every 10 ms.
class PowerColumns {
  public:
    explicit PowerColumns(int rate);  // 8000 or 16000

    template <class T>
    void add(std::span<const T> samples);
    const SpectrogramColumns& columns() const { return columns_; }
    std::int64_t frames() const { return frames_; }

  private:
    std::size_t length_, shift_;
    std::vector<float> waiting_, window_, windowed_, spectrum_;
    RealTransform transform_;
    SpectrogramColumns columns_{kLowRate, 0.5 * kLowRate};
    std::int64_t frames_ = 0;
};

class ReductionPicture {
  public:
    explicit ReductionPicture(int rate) : noisy_(rate), cleaned_(kLowRate) {}

    template <class T>
    void add_noisy(std::span<const T> samples)
    {
        noisy_.add(samples);
    }
    template <class T>
    void add_cleaned(std::span<const T> samples)
    {
        cleaned_.add(samples);
    }
    void add_marks(std::span<const Mark> marks);

    std::string svg(const std::string& title, const std::string& summary) const;

  private:
    struct Marked {
        std::int64_t speech, frames;
        void join(const Marked& other);
    };
    void draw(Svg& svg, const PowerColumns& power, double loudest, const Box& box, const std::string& heading,
              bool last) const;

    PowerColumns noisy_, cleaned_;
    HalvingColumns<Marked> marks_{2048};
};

}  // namespace zelsr::examples
