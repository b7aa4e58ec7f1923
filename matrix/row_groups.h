// Rows handed to a kernel several at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

namespace zelsr {

// Calls kernel(r, row) for N rows from r on at a time, row an array of their pointers; then for half as many, and
// so on: the kernel is inlined or instantiated for N, N / 2, ... 1. From column c on.
template <int N, class Rows, class Kernel>
[[gnu::always_inline]] inline void in_row_groups(Rows rows, int32_t height, std::ptrdiff_t c, const Kernel& kernel,
                                                 int32_t r = 0)
{
    for (; r <= height - N; r += N) {
        const typename Rows::Element* row[N];
        for_each_index<N>([&](auto n) __attribute__((always_inline)) { row[n] = rows[r + n] + c; });
        kernel(r, row);
    }
    if constexpr (N > 1) in_row_groups<N / 2>(rows, height, c, kernel, r);
}

}  // namespace zelsr
