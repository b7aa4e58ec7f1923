// Sums down the columns of a matrix, several registers of neighbouring columns at a time.
//
// The row loop is the inner one, and every column keeps sums of its own, so that rows enter in their order and
// lanes are never joined: where a matrix or a row lies changes nothing. Registers in flight hide the latency of
// additions. column_sums.h goes along the rows instead, which suits one plain sum a column; of the two or three
// sums here each row's load would be followed by as many loads and stores of sums.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/elementwise.h"
#include "core/simd.h"

namespace zelsr {

// How a row's columns become lanes. 16-bit integers become singles, exactly.
struct WholeRegister {
    static __m128 of(const float* p) { return Unaligned::four(p); }
    static __m128d of(const double* p) { return Unaligned::two(p); }
    static __m128 of(const int16_t* p)
    {
        return _mm_cvtepi32_ps(low_16s32s(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
    }
};
// The columns of a matrix narrower than a register. Behind them elements repeat, so that no exception is raised
// that an element does not raise; integers, which raise none, have zeros there.
struct NarrowRow {
    int width;

    __m128 of(const float* p) const
    {
        if (width == 1) return OneElement::of(p);
        return width == 2 ? TwoElements::of(p) : _mm_movelh_ps(TwoElements::of(p), OneElement::of(p + 2));
    }
    static __m128d of(const double* p) { return OneElement::of(p); }
    __m128 of(const int16_t* p) const
    {
        __m128i x = _mm_cvtsi32_si128(load_one(p));
        if (width > 1) x = _mm_insert_epi16(x, load_one(p + 1), 1);
        if (width > 2) x = _mm_insert_epi16(x, load_one(p + 2), 2);
        return _mm_cvtepi32_ps(low_16s32s(x));
    }
};

// A register of columns with results of type T. The last register of a matrix ends at its edge where its columns
// are fewer than its lanes: its first lanes then repeat columns of the register before it, and are not stored.
template <class T, class Load>
struct Columns {
    using Lanes = LanesOf<T>;

    std::ptrdiff_t first;  // in lane 0
    int32_t own;           // lanes that are stored
    Load load;

    template <class Element>
    Lanes lanes(const Element* row) const
    {
        return load.of(row + first);
    }
    void put(T* to, Lanes v) const
    {
        if (own == kLanes<T>) return Unaligned::put(to + first, v);
        if constexpr (std::is_same_v<Load, NarrowRow>) return store_first(to, v, own);
        T element[kLanes<T>];
        Unaligned::put(element, v);
        const std::ptrdiff_t skipped = kLanes<T> - own;
        std::memcpy(to + first + skipped, element + skipped, static_cast<std::size_t>(own) * sizeof(T));
    }
};

// N neighbouring ones, of which the last may be that at the edge.
template <class T, int N, class Load>
struct ColumnGroup {
    static constexpr int kCount = N;

    std::ptrdiff_t first, last;  // column in lane 0 of the first and of the last register
    Load load;

    template <class Element>
    LanesOf<T> lanes(const Element* row, int n) const
    {
        return load.of(row + (n == N - 1 ? last : first + n * kLanes<T>));
    }
};

// Registers that hold sums at the same time; x86-64 has twice as many as i386.
inline constexpr int kSumsInFlight = sizeof(void*) == 8 ? 8 : 4;

// Registers of columns whose sums wait on the stack.
inline constexpr int32_t kPanel = 32;

// Rows of a block, a multiple of 4, for rows of this many bytes.
constexpr int32_t rows_of_block(std::size_t row_bytes)
{
    return static_cast<int32_t>(std::max<std::size_t>(32768 / row_bytes, 16) & ~std::size_t{3});
}

// What one register of columns keeps of the rows, from zeros (Sum{}); kSums says of how many sums it consists.
struct Sum {
    static constexpr int kSums = 1;
    __m128 sum;

    void take(__m128 x) { sum += x; }
};
struct Squares {
    static constexpr int kSums = 1;
    __m128 sum;

    void take(__m128 x) { sum += x * x; }
};
struct SumAndSquares {
    static constexpr int kSums = 2;
    __m128 sum, squares;

    void take(__m128 x)
    {
        sum += x;
        squares += x * x;
    }
};

// The rows from r to end - 1, one after the other.
struct RowByRow {
    template <class Group, class Rows, class Kept>
    [[gnu::always_inline]] static void take(const Group& group, const Rows& rows, int32_t r, int32_t end,
                                            int32_t /*height*/, Kept (&kept)[Group::kCount])
    {
        for (; r < end; ++r) {
            const auto* row = rows[r];
            for_each_index<Group::kCount>([&](auto n) { kept[n].take(group.lanes(row, n)); });
        }
    }
};

namespace detail {

template <class T, class Load>
Columns<T, Load> columns(int32_t width, int32_t i, Load load)
{
    constexpr int32_t lanes = kLanes<T>;
    const int32_t own = std::min(width - i * lanes, lanes);
    return {std::max(i * lanes + own - lanes, 0), own, load};
}

// All rows' columns in the registers from i to end - 1, N at a time, then fewer.
template <class T, int N, class Load, class Rows, class Kept, class How>
[[gnu::always_inline]] inline void take_in_groups(const Rows& rows, int32_t r, int32_t rows_end, int32_t height,
                                                  int32_t width, int32_t i, int32_t end, Load load, Kept* waiting,
                                                  const How& how)
{
    for (; end - i >= N; i += N, waiting += N) {
        Kept kept[N];
        for_each_index<N>([&](auto n) { kept[n] = waiting[n]; });
        const ColumnGroup<T, N, Load> group{i * kLanes<T>, columns<T>(width, i + N - 1, load).first, load};
        how.take(group, rows, r, rows_end, height, kept);
        for_each_index<N>([&](auto n) { waiting[n] = kept[n]; });
    }
    if constexpr (N > 1)
        take_in_groups<T, N == 2 ? 1 : N - 2>(rows, r, rows_end, height, width, i, end, load, waiting, how);
}

template <class T, int N, class Kept, class Load, class Rows, class Start, class Finish, class How>
[[gnu::always_inline]] inline void sum_panels(const Rows& rows, int32_t height, int32_t width, Load load,
                                              const Start& start, const Finish& finish, const How& how)
{
    Kept waiting[kPanel];
    int32_t end = (width - 1) / kLanes<T> + 1;
    for (int32_t from = (end - 1) / kPanel * kPanel; from >= 0; end = from, from -= kPanel) {
        const auto row_bytes = static_cast<std::size_t>((end - from) * kLanes<T>) * sizeof(typename Rows::Element);
        const int32_t block = rows_of_block(row_bytes);
        int32_t i = from;
        do waiting[i - from] = start(columns<T>(width, i, load));
        while (++i < end);
        for (int32_t r = 0, rows_end; r < height; r = rows_end) {
            rows_end = height - r <= block ? height : r + block;
            take_in_groups<T, N>(rows, r, rows_end, height, width, from, end, load, waiting, how);
        }
        for (i = from; i < end; ++i) finish(columns<T>(width, i, load), waiting[i - from]);
    }
}

}  // namespace detail

// kept = start(columns), then how.take() of all rows, then finish(columns, kept), for every register of columns.
// Panels go from the right edge to the left: sums that start from what an array holds find it unchanged under the
// lanes that the last register repeats.
template <class Kept, class T, class Rows, class Start, class Finish, class How = RowByRow>
[[gnu::always_inline]] inline void sum_down(const Rows& rows, int32_t height, int32_t width, const Start& start,
                                            const Finish& finish, const How& how = {})
{
    if (width < kLanes<T>)
        detail::sum_panels<T, 1, Kept>(rows, height, width, NarrowRow{width}, start, finish, how);
    else
        detail::sum_panels<T, kSumsInFlight / Kept::kSums, Kept>(rows, height, width, WholeRegister{}, start,
                                                                 finish, how);
}

// Sums from zero.
template <class Kept>
struct FromZero {
    template <class Columns>
    Kept operator()(const Columns& /*columns*/) const
    {
        return Kept();
    }
};

}  // namespace zelsr
