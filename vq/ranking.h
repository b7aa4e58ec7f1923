// Codewords by their distance, nearest first.
#pragma once

#include <algorithm>
#include <cstdint>

#include "vq/distance.h"
#include "vq/nearest.h"
#include "zelsr/core/vector.h"

namespace zelsr::vq {

// Takes the first smallest of the distances and leaves the largest single in its place, time after time. The
// smallest of each block is kept, so that one turn looks at a block and at the blocks' smallest, not at
// everything.
class Ranking {
  public:
    Ranking(float* distance, int32_t count)
        : distance_(distance), count_(count), block_(std::max(kShortest, (count - 1) / kBlocks + 1))
    {
        for (int32_t b = 0; b * int64_t{block_} < count_; ++b) {
            update(b);
            ++blocks_;
        }
    }

    Found take()
    {
        float smallest;
        int32_t b, i;
        zelsMinIndx_32f(smallest_, blocks_, &smallest, &b);
        float* block = distance_ + std::ptrdiff_t{b} * block_;
        zelsMinIndx_32f(block, length(b), &smallest, &i);
        block[i] = kLargest;
        update(b);
        return {smallest, b * block_ + i};
    }

  private:
    static constexpr int32_t kBlocks = 128, kShortest = 128;

    int32_t length(int32_t b) const { return std::min(block_, count_ - b * block_); }
    void update(int32_t b) { zelsMin_32f(distance_ + std::ptrdiff_t{b} * block_, length(b), smallest_ + b); }

    float* distance_;
    int32_t count_, block_, blocks_ = 0;
    float smallest_[kBlocks];
};

}  // namespace zelsr::vq
