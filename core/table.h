// Two-dimensional tables: one block with a row list in front and 32-byte aligned rows behind it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zelsr/core/memory.h"

namespace zelsr {

// A pointer as an integer, for records that keep addresses in integer fields.
inline std::uintptr_t ZEL_INT_PTR(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

namespace detail {

constexpr std::size_t kRowMultiple = 8;  // four-byte elements of 32 bytes

// The row list, the rows and a gap of up to 28 bytes; a block whose rows begin behind more is not laid out.
inline std::size_t table_bytes(int32_t rows, int32_t columns)
{
    const std::size_t height = static_cast<std::uint32_t>(rows);
    const std::size_t width =
        (static_cast<std::uint32_t>(columns) + kRowMultiple - 1) / kRowMultiple * kRowMultiple;
    return height * sizeof(void*) + (width * height + kRowMultiple - 1) * 4;
}

template <class T>
void lay_out_table(T** table, int32_t rows, int32_t columns)
{
    static_assert(sizeof(T) == 4);
    const std::size_t row_bytes = (static_cast<std::size_t>(columns) + 7) / 8 * 32;
    std::uintptr_t row = (ZEL_INT_PTR(table + rows) + 31) & ~std::uintptr_t{31};
    for (int32_t r = 0; r < rows; ++r, row += row_bytes) table[r] = reinterpret_cast<T*>(row);
}

template <class T>
T** allocate_table(int32_t rows, int32_t columns)
{
    auto* table = reinterpret_cast<T**>(zelsMalloc_8u(static_cast<int32_t>(table_bytes(rows, columns))));
    if (table != nullptr) lay_out_table(table, rows, columns);
    return table;
}

}  // namespace detail

// Bytes of a table: (rows + columns rounded up to 8 times rows + 7) * 4 on i386.
inline int32_t GetSize2_32f(int32_t rows, int32_t columns)
{
    return static_cast<int32_t>(detail::table_bytes(rows, columns));
}
inline int32_t GetSize2_32s(int32_t rows, int32_t columns)
{
    return static_cast<int32_t>(detail::table_bytes(rows, columns));
}

// Null if the allocator refused.
inline float** Alloc2_32f(int32_t rows, int32_t columns) { return detail::allocate_table<float>(rows, columns); }
inline float** Alloc2_32fd(int32_t rows, int32_t columns) { return detail::allocate_table<float>(rows, columns); }
inline int32_t** Alloc2_32s(int32_t rows, int32_t columns)
{
    return detail::allocate_table<int32_t>(rows, columns);
}

// Lays a table into a block of at least GetSize2_* bytes.
inline void Init2_32f(float** block, int32_t rows, int32_t columns)
{
    detail::lay_out_table(block, rows, columns);
}
inline void Init2_32fd(float** block, int32_t rows, int32_t columns)
{
    detail::lay_out_table(block, rows, columns);
}
inline void Init2_32s(int32_t** block, int32_t rows, int32_t columns)
{
    detail::lay_out_table(block, rows, columns);
}

inline void Free2(void* table) { zelsFree(table); }
inline void Free2d(void* table) { zelsFree(table); }

}  // namespace zelsr
