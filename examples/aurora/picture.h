// The spectrogram before and behind noise reduction, with the marks, as a picture of a bounded number of columns.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "aurora/records.h"
#include "aurora/shape.h"
#include "aurora/voice_activity.h"
#include "common/columns.h"
#include "common/svg.h"

namespace zelsr::examples {

// A stream's power from 0 to 4000 Hz, a column every 10 ms.
class PowerColumns {
  public:
    explicit PowerColumns(int rate);  // 8000 or 16000

    struct Column {
        std::array<float, kPowerBins> power;
        std::int64_t frames;
        void join(const Column& other);
        double decibels(std::size_t bin) const;
    };

    template <class T>
    void add(std::span<const T> samples);
    const HalvingColumns<Column>& columns() const { return columns_; }

  private:
    std::size_t length_, shift_;
    std::vector<float> waiting_, window_, windowed_, spectrum_;
    FloatTransform transform_;
    HalvingColumns<Column> columns_{2048};
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
