// Two-dimensional tables: one block with a row list in front and 32-byte aligned rows behind it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zelsr/core/memory.h"

namespace zelsr {

// A pointer as an integer, for records that keep addresses in integer fields.
inline std::uintptr_t ZEL_INT_PTR(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

namespace detail {

// Words of four bytes: the row list, the rows, each of whole groups of eight words, and the widest gap between
// them, which is 28 bytes for a block on a multiple of four.
inline int64_t table_words(int32_t rows, int32_t columns)
{
    constexpr int64_t pointer_words = sizeof(void*) / 4;
    const int64_t row_words = (columns + int64_t{7}) & ~int64_t{7};
    return rows * pointer_words + row_words * rows + 7;
}

// In 32 bits, where it wraps.
inline int32_t table_bytes(int32_t rows, int32_t columns)
{
    return static_cast<int32_t>(4 * static_cast<std::uint32_t>(table_words(rows, columns)));
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
    if (table_words(rows, columns) > INT32_MAX / 4) return nullptr;  // beyond any count: never a block too small
    auto* table = reinterpret_cast<T**>(zelsMalloc_8u(table_bytes(rows, columns)));
    if (table != nullptr) lay_out_table(table, rows, columns);
    return table;
}

}  // namespace detail

// Bytes of a table: (rows + columns rounded up to 8 times rows + 7) * 4 on i386. The computation wraps at 2^32.
inline int32_t GetSize2_32f(int32_t rows, int32_t columns) { return detail::table_bytes(rows, columns); }
inline int32_t GetSize2_32s(int32_t rows, int32_t columns) { return detail::table_bytes(rows, columns); }

// Null if the allocator refused, or if the bytes are more than a count can say.
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
