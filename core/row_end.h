// The elements behind the last whole register of a row. Nothing beyond the row is read.
#pragma once

#include <cstdint>
#include <cstring>

#include "core/simd.h"

namespace zelsr {

// The last 1 to 7 elements of a row of 16-bit integers, in the first lanes, zeros behind them: a row of eight or
// more is read once, at its last eight elements.
class FixedRowEnd {
  public:
    explicit FixedRowEnd(int32_t width)
        : width_(width), control_(Unaligned::bytes(kSlidingWindow + 16 - 2 * (width % 8)))
    {}
    [[gnu::always_inline]] __m128i operator()(const int16_t* row) const
    {
        if (width_ > 8) return _mm_shuffle_epi8(Unaligned::bytes(row + width_ - 8), control_);
        alignas(16) int16_t eight[8] = {};
        std::memcpy(eight, row, static_cast<std::size_t>(width_) * sizeof *row);
        return Aligned::bytes(eight);
    }

  private:
    // Sixteen places, then sixteen that clear, as a control of pshufb.
    static constexpr std::int8_t kSlidingWindow[32] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                                       11, 12, 13, 14, 15, -1, -1, -1, -1, -1, -1,
                                                       -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};

    int32_t width_;
    __m128i control_;
};

}  // namespace zelsr
