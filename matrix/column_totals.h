// Exact sums down eight columns of 16-bit integers, two rows at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/simd.h"
#include "matrix/column_groups.h"

namespace zelsr {

// What eight columns keep of the rows, which enter in pairs, from zeros (T{}); settle() after each block of at
// most 2^15 rows.

class ExactSums {
  public:
    int64_t total[8];

    void take(__m128i x, __m128i y)
    {
        const __m128i ones = _mm_set1_epi16(1);
        low_ = _mm_add_epi32(low_, _mm_madd_epi16(_mm_unpacklo_epi16(x, y), ones));
        high_ = _mm_add_epi32(high_, _mm_madd_epi16(_mm_unpackhi_epi16(x, y), ones));
    }
    void settle()
    {
        add_to(total, low_);
        add_to(total + 4, high_);
        low_ = high_ = _mm_setzero_si128();
    }

  private:
    static void add_to(int64_t* totals, __m128i x)
    {
        const __m128i sign = _mm_srai_epi32(x, 31);
        Unaligned::put(totals, _mm_add_epi64(Unaligned::bytes(totals), _mm_unpacklo_epi32(x, sign)));
        Unaligned::put(totals + 2, _mm_add_epi64(Unaligned::bytes(totals + 2), _mm_unpackhi_epi32(x, sign)));
    }

    __m128i low_, high_;  // 32 bits a column
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
    __m128i sums_[4];  // 64 bits a column
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

    __m128 low_, high_;
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

template <class... Kept>
struct Totals : Kept... {
    void take(__m128i x, __m128i y) { (Kept::take(x, y), ...); }
    void settle() { (Kept::settle(), ...); }
};

// The rows from r to end - 1, of which a last one without a partner pairs with zeros, which change no sum.
template <class Load, class Rows, class Kept>
[[gnu::always_inline]] inline void take_row_pairs(Load load, const Rows& rows, int32_t r, int32_t end,
                                                  std::ptrdiff_t column, Kept& kept)
{
    for (; r < end - 1; r += 2) kept.take(load.of(rows[r] + column), load.of(rows[r + 1] + column));
    if (r < end) kept.take(load.of(rows[r] + column), _mm_setzero_si128());
    kept.settle();
}

// finish(c, total...) for every column c. Blocks of rows and panels of columns are those of column_groups.h; the
// last eight columns end at the matrix's edge.
template <class... Kept, class Rows, class Finish>
[[gnu::always_inline]] inline void for_column_totals(const Rows& rows, int32_t height, int32_t width,
                                                     const Finish& finish)
{
    for (std::ptrdiff_t from = 0; from < width; from += 8 * kPanel) {
        const auto panel_end = std::min<std::ptrdiff_t>(width, from + 8 * kPanel);
        const auto first_of_eight = [=](std::ptrdiff_t c) {
            return std::max<std::ptrdiff_t>(std::min<std::ptrdiff_t>(c, width - 8), 0);
        };
        Totals<Kept...> panel[kPanel];
        const int32_t block = rows_of_block(static_cast<std::size_t>(panel_end - from) * sizeof(int16_t));
        for (int32_t r = 0, end; r < height; r = end) {
            end = height - r <= block ? height : r + block;
            for (std::ptrdiff_t c = from; c < panel_end; c += 8) {
                Totals<Kept...> totals = r == 0 ? Totals<Kept...>{} : panel[(c - from) / 8];
                if (width < 8)
                    take_row_pairs(FewColumns{width}, rows, r, end, 0, totals);
                else
                    take_row_pairs(EightColumns{}, rows, r, end, first_of_eight(c), totals);
                panel[(c - from) / 8] = totals;
            }
        }
        for (std::ptrdiff_t c = from; c < panel_end; ++c) {
            const std::ptrdiff_t eight = from + (c - from) / 8 * 8;
            const auto& totals = panel[(eight - from) / 8];
            finish(c, static_cast<const Kept&>(totals).total[c - first_of_eight(eight)]...);
        }
    }
}

}  // namespace zelsr
