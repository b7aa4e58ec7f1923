// The two layouts of a matrix: a block of rows with a step, and a list of row pointers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

namespace zelsr {

template <class T>
bool is_aligned(const T* pointer, std::size_t bytes = 16)
{
    return reinterpret_cast<std::uintptr_t>(pointer) % bytes == 0;
}

template <class... T>
bool all_aligned(const T*... pointers)
{
    return (... && is_aligned(pointers));
}

// Non-zero if any of the first height rows does not start on a 16-byte boundary; stops at the first such row.
template <class T>
int RowMatrAlErr(const T* const* rows, int32_t height)
{
    for (int32_t r = 0; r < height; ++r)
        if (!is_aligned(load_one(rows + r))) return 1;
    return 0;
}

// Element (r, c) at index r * step + c.
template <class T>
struct Block {
    using Element = T;

    const T* first;
    std::ptrdiff_t step;

    const T* operator[](int32_t r) const { return first + r * step; }
    Block from(int32_t r) const { return {first + r * step, step}; }

    // step_multiple: some 64f families ask for a step that is a multiple of 4, although 2 keeps rows aligned.
    bool on_16_bytes(int32_t /*height*/, std::ptrdiff_t step_multiple = 16 / sizeof(T)) const
    {
        return is_aligned(first) && step % step_multiple == 0;
    }
};
template <class T>
Block(const T*, int32_t) -> Block<T>;

// The list itself may lie on any byte address, as every array may.
template <class T>
struct RowList {
    using Element = T;

    const T* const* rows;

    const T* operator[](int32_t r) const { return load_one(rows + r); }
    RowList from(int32_t r) const { return {rows + r}; }

    bool on_16_bytes(int32_t height, std::ptrdiff_t /*step_multiple*/ = 0) const
    {
        return RowMatrAlErr(rows, height) == 0;
    }
};
template <class T>
RowList(const T* const*) -> RowList<T>;

// The same two for rows that are written.
template <class T>
struct WritableBlock {
    T* first;
    std::ptrdiff_t step;

    T* operator[](int32_t r) const { return first + r * step; }
};
template <class T>
WritableBlock(T*, int32_t) -> WritableBlock<T>;

template <class T>
struct WritableList {
    T* const* rows;

    T* operator[](int32_t r) const { return load_one(rows + r); }
};
template <class T>
WritableList(T* const*) -> WritableList<T>;

}  // namespace zelsr
