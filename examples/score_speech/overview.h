// What the picture shows of a sound: a bounded number of columns, whatever its length.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelsr::examples {

// When the columns are full, neighbours are joined, and every column stands for twice the time from then on.
template <class Column>
class HalvingColumns {
  public:
    explicit HalvingColumns(std::size_t capacity) : capacity_(capacity) {}

    void add(const Column& item)
    {
        if (in_last_ == 0)
            columns_.push_back(item);
        else
            columns_.back().join(item);
        if (++in_last_ < items_a_column_) return;
        in_last_ = 0;
        if (columns_.size() == capacity_) halve();
    }

    std::span<const Column> columns() const { return columns_; }
    std::int64_t items_a_column() const { return items_a_column_; }

  private:
    void halve()
    {
        for (std::size_t i = 0; i < capacity_; i += 2) {
            columns_[i].join(columns_[i + 1]);
            columns_[i / 2] = columns_[i];
        }
        columns_.resize(capacity_ / 2);
        items_a_column_ *= 2;
    }

    std::size_t capacity_;  // even
    std::int64_t items_a_column_ = 1, in_last_ = 0;
    std::vector<Column> columns_;
};

struct Extremes {
    float lowest, highest;
    void join(const Extremes& other);
};

struct SpectrumColumn {
    static constexpr std::size_t kRows = 128;
    std::array<float, kRows> power;  // sums over the column's frames, the lowest frequency first
    std::int64_t frames;
    void join(const SpectrumColumn& other);
};

class Overview {
  public:
    // The spectrogram reaches to half the rate, or to highest_hz if that is less.
    Overview(int rate, double highest_hz);

    void add_samples(std::span<const float> samples);
    void add_spectrum(std::span<const float> magnitudes);  // bins from 0 to half the rate

    const HalvingColumns<Extremes>& wave() const { return wave_; }
    const HalvingColumns<SpectrumColumn>& spectra() const { return spectra_; }
    double highest_hz() const { return highest_hz_; }

  private:
    HalvingColumns<Extremes> wave_{4096};
    HalvingColumns<SpectrumColumn> spectra_{2048};
    double highest_hz_;
    double part_shown_;  // of the bins
};

}  // namespace zelsr::examples
