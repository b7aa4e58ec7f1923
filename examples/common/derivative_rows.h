// The rows of a stream of features: static values in, rows with their derivatives out.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "common/aligned.h"
#include "zelsr/frontend/delta.h"

namespace zelsr::examples {

// The elements from row to row: a multiple of 16 bytes keeps every row of an aligned array on a 16-byte boundary.
template <class T>
constexpr std::int32_t row_step(int width)
{
    constexpr int kElements = 16 / sizeof(T);
    return (width + kElements - 1) / kElements * kElements;
}

// Rows in memory of someone else's.
template <class T>
struct RowBlock {
    const T* first = nullptr;
    std::int32_t rows = 0, step = 0;
    const T* operator[](std::int32_t r) const { return first + static_cast<std::ptrdiff_t>(r) * step; }
};

// Derivatives need rows on both sides: the newest rows stay behind, as history, until the utterance ends.
template <class T>
class DerivativeRows {
  public:
    // Sizes of a row with and without derivatives, and the rows that they look back to: 0 without derivatives.
    DerivativeRows(int static_width, int width, int history)
        : static_width_(static_cast<std::size_t>(static_width)), step_(row_step<T>(width)), history_(history)
    {}

    // The place of one more row of static values.
    T* next()
    {
        statics_.resize(statics_.size() + static_width_);
        return &statics_[statics_.size() - static_width_];
    }

    // Whether the utterance has as many rows as derivatives need.
    bool enough() const { return open_ || fresh() >= history_; }

    // The rows that are complete; none before there are enough(), all of them with mode DeltaLastBlock.
    // append(statics, rows, step, fresh, mode) is a function of the library that works on a stream of blocks: it
    // puts `fresh` rows behind the history at `rows`. The result stays until the next call.
    template <class Append>
    RowBlock<T> complete(int mode, const Append& append);

    // What comes next is another utterance. The rows of the last call stay.
    void restart()
    {
        statics_.clear();
        open_ = false;
    }

  private:
    std::int32_t fresh() const { return static_cast<std::int32_t>(statics_.size() / static_width_); }

    std::size_t static_width_;
    std::int32_t step_, history_;
    std::vector<T> statics_;  // rows that have no derivatives yet, one after the other
    AlignedArray<T> rows_;    // what left with the last call, and behind it the history
    std::int32_t capacity_ = 0, left_ = 0;
    bool open_ = false;  // the rows begin an utterance
};

template <class T>
template <class Append>
RowBlock<T> DerivativeRows<T>::complete(int mode, const Append& append)
{
    const std::int32_t fresh = this->fresh();
    if (!enough() || (fresh == 0 && mode == 0)) return {rows_.get(), 0, step_};
    if (!open_) mode |= DeltaFirstBlock;

    const std::int32_t before = open_ ? history_ : 0;  // rows that are there already
    const std::int32_t needed = std::max(1, before + fresh);
    AlignedArray<T> larger;
    if (needed > capacity_) {
        larger = aligned_array<T>(static_cast<std::int64_t>(needed) * step_);
        std::fill_n(larger.get(), static_cast<std::ptrdiff_t>(needed) * step_, T(0));
        capacity_ = needed;
    }
    T* rows = larger ? larger.get() : rows_.get();
    if (before > 0) std::copy_n(rows_.get() + static_cast<std::ptrdiff_t>(left_) * step_, before * step_, rows);
    if (larger) rows_ = std::move(larger);

    // Null is refused even where no row is read.
    append(statics_.empty() ? rows : statics_.data(), rows, step_, fresh, mode);
    statics_.clear();
    open_ = true;
    left_ = before + fresh - ((mode & DeltaLastBlock) != 0 ? 0 : history_);
    return {rows, left_, step_};
}

}  // namespace zelsr::examples
