// A bounded number of columns for a stream of any length: what a picture shows of it.
#pragma once

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

}  // namespace zelsr::examples
