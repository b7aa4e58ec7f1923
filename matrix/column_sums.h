// Sums down the columns of a matrix.
//
// Rows are added several at a time to the sums of a panel of columns, which lie on the stack: the matrix is read
// once, along its rows, and the sums stay in the first-level cache. How many rows one pass takes changes no bit.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/elementwise.h"
#include "core/row_end.h"
#include "core/rows.h"
#include "matrix/row_groups.h"

namespace zelsr {

inline constexpr int32_t kPanel = 512;

// As many row pointers as the target has registers for.
inline constexpr int kRowsAtOnce = sizeof(void*) == 8 ? 8 : 4;

// Registers of a row, and the elements behind the last whole one. Those repeat in the lanes behind them where they
// are in floating point, so that no exception is raised that an element does not raise.
template <class T>
struct RowLoads {
    explicit RowLoads(int32_t width) : left(width % kLanes<T>) {}
    static auto whole(const T* p) { return FullRegister::of(p); }
    auto end(const T* row, std::ptrdiff_t first) const
    {
        if constexpr (kLanes<T> == 4) {
            if (left == 2) return TwoElements::of(row + first);
            if (left == 3) return _mm_movelh_ps(TwoElements::of(row + first), OneElement::of(row + first + 2));
        }
        return OneElement::of(row + first);
    }

    int32_t left;
};
template <>
struct RowLoads<int32_t> {
    explicit RowLoads(int32_t width) : lanes{width % 4} {}
    static __m128i whole(const int32_t* p) { return Unaligned::bytes(p); }
    __m128i end(const int32_t* row, std::ptrdiff_t first) const
    {
        return _mm_castps_si128(lanes.lanes(reinterpret_cast<const float*>(row + first)));
    }

    FirstLanes lanes;
};
template <>
struct RowLoads<int16_t> {
    explicit RowLoads(int32_t width) : row_end(width) {}
    static __m128i whole(const int16_t* p) { return Unaligned::bytes(p); }
    __m128i end(const int16_t* row, std::ptrdiff_t /*first*/) const { return row_end(row); }

    FixedRowEnd row_end;
};

// What the rows add to the sums. Sums hold those of the columns of one register of elements; of<N>(r) answers for
// the rows from r on: add(sums, x) adds the elements x(0) to x(N - 1) to them.

// One row after the other.
struct OneByOne_32f {
    using Element = float;
    using Sums = __m128;

    template <int N>
    struct Group {
        template <class Elements>
        [[gnu::always_inline]] static void add(__m128& sums, Elements x)
        {
            for_each_index<N>([&](auto n) __attribute__((always_inline)) { sums = sums + x(n); });
        }
    };
    template <int N>
    Group<N> of(int32_t /*r*/) const
    {
        return {};
    }
};

// Adds N rows to the sums of width columns.
template <int N, class Terms>
[[gnu::noinline]] void add_rows(Terms terms, int32_t r, const typename Terms::Element* const (&rows)[N],
                                int32_t width, typename Terms::Sums* sums)
{
    using T = typename Terms::Element;
    const T* row[N];
    for_each_index<N>([&](auto n) { row[n] = rows[n]; });
    const auto group = terms.template of<N>(r);
    const RowLoads<T> loads(width);
    const std::ptrdiff_t whole = width - width % kLanes<T>;
    const auto add = [&](auto load) __attribute__((always_inline))
    {
        typename Terms::Sums of_columns = *sums;  // in registers, which the rows' elements do not alias
        group.add(of_columns, load);
        *sums = of_columns;
    };
    for (std::ptrdiff_t c = 0; c < whole; c += kLanes<T>, ++sums)
        add([&](auto n) __attribute__((always_inline)) { return loads.whole(row[n] + c); });
    if (whole < width) add([&](auto n) __attribute__((always_inline)) { return loads.end(row[n], whole); });
}

// Sums from zero.
struct FromZero {
    template <class Sums>
    void operator()(Sums* sums, int32_t registers, std::ptrdiff_t /*c*/, int32_t /*count*/) const
    {
        for (int32_t i = 0; i < registers; ++i) sums[i] = Sums{};
    }
};

// start(sums, registers, c, count) sets the sums of count columns from c on, finish(sums, c, count) takes them.
template <class Terms, class Rows, class Start, class Finish>
inline void sum_columns(Terms terms, Rows rows, int32_t height, int32_t width, Start start, Finish finish)
{
    using T = typename Terms::Element;
    typename Terms::Sums sums[kPanel / kLanes<T>];
    for (std::ptrdiff_t c = 0; c < width; c += kPanel) {
        const auto count = static_cast<int32_t>(std::min<std::ptrdiff_t>(width - c, kPanel));
        start(sums, (count + kLanes<T> - 1) / kLanes<T>, c, count);
        in_row_groups<kRowsAtOnce>(rows, height, c,
                                   [&](int32_t r, const auto& row) { add_rows(terms, r, row, count, sums); });
        finish(sums, c, count);
    }
}

// A finish that stores the sums as they are.
template <class T>
struct StoreSums {
    T* dst;

    void operator()(const void* sums, std::ptrdiff_t c, int32_t count) const
    {
        std::memcpy(dst + c, sums, static_cast<std::size_t>(count) * sizeof(T));
    }
};

}  // namespace zelsr
