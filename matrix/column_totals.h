// Exact sums down eight columns of 16-bit integers, two rows at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/simd.h"

namespace zelsr {

// What eight columns keep of the rows, which enter in pairs; settle() at least every kPairsPerBlock pairs.
inline constexpr int32_t kPairsPerBlock = 16384;

class ExactSums {
  public:
    int64_t total[8] = {};

    void take(__m128i x, __m128i y)
    {
        const __m128i ones = _mm_set1_epi16(1);
        low_ = _mm_add_epi32(low_, _mm_madd_epi16(_mm_unpacklo_epi16(x, y), ones));
        high_ = _mm_add_epi32(high_, _mm_madd_epi16(_mm_unpackhi_epi16(x, y), ones));
    }
    void settle()
    {
        int32_t sums[8];
        Unaligned::put(sums, low_);
        Unaligned::put(sums + 4, high_);
        for (int c = 0; c < 8; ++c) total[c] += sums[c];
        low_ = high_ = _mm_setzero_si128();
    }

  private:
    __m128i low_{}, high_{};  // 32 bits a column
};

class ExactSquares {
  public:
    int64_t total[8];

    // The sum of two squares is at most 2^31: an unsigned number.
    void take(__m128i x, __m128i y)
    {
        const __m128i zero = _mm_setzero_si128();
        const __m128i low = _mm_unpacklo_epi16(x, y), high = _mm_unpackhi_epi16(x, y);
        const __m128i low_squares = _mm_madd_epi16(low, low), high_squares = _mm_madd_epi16(high, high);
        sums_[0] = _mm_add_epi64(sums_[0], _mm_unpacklo_epi32(low_squares, zero));
        sums_[1] = _mm_add_epi64(sums_[1], _mm_unpackhi_epi32(low_squares, zero));
        sums_[2] = _mm_add_epi64(sums_[2], _mm_unpacklo_epi32(high_squares, zero));
        sums_[3] = _mm_add_epi64(sums_[3], _mm_unpackhi_epi32(high_squares, zero));
    }
    void settle()
    {
        for_each_index<4>([&](auto n) { Unaligned::put(total + 2 * n, sums_[n]); });
    }

  private:
    __m128i sums_[4] = {};  // 64 bits a column
};

// In single precision, row by row.
class SinglePrecisionSquares {
  public:
    float total[8];

    void take(__m128i x, __m128i y)
    {
        add(x);
        add(y);
    }
    void settle()
    {
        Unaligned::put(total, low_);
        Unaligned::put(total + 4, high_);
    }

  private:
    void add(__m128i x)
    {
        const __m128 low = _mm_cvtepi32_ps(low_16s32s(x)), high = _mm_cvtepi32_ps(high_16s32s(x));
        low_ += low * low;
        high_ += high * high;
    }

    __m128 low_{}, high_{};
};

// Eight columns, or all of a narrower matrix with zeros behind them.
struct EightColumns {
    static __m128i of(const int16_t* p) { return Unaligned::bytes(p); }
};
struct FewColumns {
    int32_t width;

    __m128i of(const int16_t* p) const
    {
        int16_t columns[8] = {};
        std::memcpy(columns, p, static_cast<std::size_t>(width) * sizeof *p);
        return Unaligned::bytes(columns);
    }
};

// Behind an odd number of rows a row of zeros changes no sum.
template <class Load, class Rows, class... Kept>
[[gnu::always_inline]] inline void take_row_pairs(Load load, const Rows& rows, int32_t height,
                                                  std::ptrdiff_t column, Kept&... kept)
{
    for (int32_t r = 0; r < height;) {
        const int32_t end = r + std::min(height - r, 2 * kPairsPerBlock);
        for (; r < end - 1; r += 2) {
            const __m128i x = load.of(rows[r] + column), y = load.of(rows[r + 1] + column);
            (kept.take(x, y), ...);
        }
        if (r < end) {
            const __m128i x = load.of(rows[r++] + column);
            (kept.take(x, _mm_setzero_si128()), ...);
        }
        (kept.settle(), ...);
    }
}

// finish(c, totals...) for every column c. The last eight columns end at the matrix's edge.
template <class... Kept, class Rows, class Finish>
[[gnu::always_inline]] inline void for_column_totals(const Rows& rows, int32_t height, int32_t width,
                                                     const Finish& finish)
{
    for (std::ptrdiff_t c = 0; c < width; c += 8) {
        const auto first = std::max<std::ptrdiff_t>(std::min<std::ptrdiff_t>(c, width - 8), 0);
        const auto sum_up_and_finish = [&](Kept... kept) {
            if (width < 8)
                take_row_pairs(FewColumns{width}, rows, height, first, kept...);
            else
                take_row_pairs(EightColumns{}, rows, height, first, kept...);
            const auto end = std::min<std::ptrdiff_t>(8, width - first);
            for (std::ptrdiff_t i = c - first; i < end; ++i) finish(first + i, kept.total[i]...);
        };
        sum_up_and_finish(Kept{}...);
    }
}

}  // namespace zelsr
