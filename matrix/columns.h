// Sums down the columns of a matrix, several registers of neighbouring columns at a time.
//
// The row loop is the inner one, and every column keeps sums of its own, so that rows enter in their order and
// lanes are never joined: where a matrix or a row lies changes nothing. Registers in flight hide the latency of
// additions.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

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
// The columns of a matrix narrower than a register; zeros behind them.
struct NarrowRow {
    int width;

    __m128 of(const float* p) const { return FirstLanes{width}.lanes(p); }
    static __m128d of(const double* p) { return OneLane::lanes(p); }
    __m128 of(const int16_t* p) const
    {
        __m128i x = _mm_cvtsi32_si128(load_one(p));
        if (width > 1) x = _mm_insert_epi16(x, load_one(p + 1), 1);
        if (width > 2) x = _mm_insert_epi16(x, load_one(p + 2), 2);
        return _mm_cvtepi32_ps(low_16s32s(x));
    }
};

// N registers of neighbouring columns with results of type T. The last register ends at the matrix's edge where
// its columns are fewer than its lanes: its first lanes then repeat columns of the register before it, and are not
// stored.
template <class T, int N, class Load>
struct ColumnGroup {
    using Lanes = LanesOf<T>;
    static constexpr int kCount = N;

    std::ptrdiff_t first, last;  // column in lane 0 of the first and of the last register
    int32_t own;                 // lanes of the last register that are stored
    Load load;

    template <class Element>
    Lanes lanes(const Element* row, int n) const
    {
        return load.of(row + column(n));
    }
    void put(T* to, Lanes v, int n) const
    {
        if (n < N - 1 || own == kLanes<T>) return Unaligned::put(to + column(n), v);
        if constexpr (std::is_same_v<Load, NarrowRow>) return store_first(to, v, own);
        T element[kLanes<T>];
        Unaligned::put(element, v);
        const std::ptrdiff_t skipped = kLanes<T> - own;
        std::memcpy(to + last + skipped, element + skipped, static_cast<std::size_t>(own) * sizeof(T));
    }

  private:
    std::ptrdiff_t column(int n) const { return n == N - 1 ? last : first + n * kLanes<T>; }
};

// Registers that hold sums at the same time; x86-64 has twice as many as i386.
inline constexpr int kSumsInFlight = sizeof(void*) == 8 ? 8 : 4;

namespace detail {

template <class T, int N, class Work>
[[gnu::always_inline]] inline void work_on_groups(int32_t width, int32_t registers, const Work& work)
{
    constexpr int32_t lanes = kLanes<T>;
    for (; registers >= N; registers -= N) {
        const int32_t first = (registers - N) * lanes, own = std::min(width - (registers - 1) * lanes, lanes);
        work(ColumnGroup<T, N, WholeRegister>{first, (registers - 1) * lanes + own - lanes, own, {}});
    }
    if constexpr (N > 1) work_on_groups<T, N == 2 ? 1 : N - 2>(width, registers, work);
}

}  // namespace detail

// work(group) for all columns of a matrix, Sums being the registers of sums that one register of columns needs.
// From the right edge to the left: sums that start from what an array holds find it unchanged under the repeated
// lanes.
template <class T, int Sums, class Work>
[[gnu::always_inline]] inline void for_column_groups(int32_t width, const Work& work)
{
    constexpr int32_t lanes = kLanes<T>;
    if (width < lanes)
        work(ColumnGroup<T, 1, NarrowRow>{0, 0, width, {width}});
    else
        detail::work_on_groups<T, kSumsInFlight / Sums>(width, (width - 1) / lanes + 1, work);
}

// What one register of columns keeps of the rows.
struct Sum {
    __m128 sum{};

    void take(__m128 x) { sum += x; }
};
struct Squares {
    __m128 sum{};

    void take(__m128 x) { sum += x * x; }
};
struct SumAndSquares {
    __m128 sum{}, squares{};

    void take(__m128 x)
    {
        sum += x;
        squares += x * x;
    }
};

template <class Group, class Rows, class Kept>
[[gnu::always_inline]] inline void take_rows(const Group& group, const Rows& rows, int32_t height,
                                             Kept (&kept)[Group::kCount])
{
    for (int32_t r = 0; r < height; ++r) {
        const auto* row = rows[r];
        for_each_index<Group::kCount>([&](auto n)
                                          __attribute__((always_inline)) { kept[n].take(group.lanes(row, n)); });
    }
}

}  // namespace zelsr
