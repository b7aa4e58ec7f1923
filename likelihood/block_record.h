// The record of a block-diagonal matrix: one block of memory with the list of block sizes, the list of rows and
// the rows, each on a 16-byte boundary.
#pragma once

#include <cstdint>
#include <cstring>

#include "core/simd.h"
#include "zelsr/core/memory.h"
#include "zelsr/likelihood/block_diagonal.h"

namespace zelsr {

template <class T>
struct BlockDMatrix {
    T** rows;            // of the whole matrix, those of block 0 first
    int32_t* sizes;      // of the blocks
    void* allocation;    // what is to be freed
    uint16_t blocks;     // the low 16 bits of their number: wanted
    uint16_t dimension;  // the low 16 bits of the number of rows: wanted
};
static_assert(sizeof(void*) != 4 || sizeof(BlockDMatrix<float>) == 16);

inline int64_t rounded_to_16(int64_t bytes) { return (bytes + 15) & ~int64_t{15}; }

template <class T>
int64_t row_bytes(int32_t size)
{
    return rounded_to_16(int64_t{size} * static_cast<int64_t>(sizeof(T)));
}

// Bytes of a record, or one more than a count can say for anything beyond. A block is asked for with the square of
// its row's bytes, which is more than its rows need: wanted.
template <class T>
int64_t record_bytes(const int32_t* sizes, int32_t blocks)
{
    constexpr int64_t kTooMany = int64_t{INT32_MAX} + 1;
    int64_t rows = 0, squares = 0;
    for (int32_t b = 0; b < blocks; ++b) {
        const int32_t size = load_one(sizes + b);
        const int64_t bytes = row_bytes<T>(size);
        if (bytes > INT32_MAX) return kTooMany;
        squares += bytes * bytes;
        if (squares > INT32_MAX) return kTooMany;
        rows += size;
    }
    const int64_t lists =
        rounded_to_16(4 * int64_t{blocks}) + rounded_to_16(static_cast<int64_t>(sizeof(T*)) * rows);
    const int64_t bytes = lists + squares + static_cast<int64_t>(sizeof(BlockDMatrix<T>)) + 15;
    return bytes > INT32_MAX ? kTooMany : bytes;
}

// Hands out aligned pieces of a block, one after the other.
class Pieces {
  public:
    explicit Pieces(void* block) : next_((reinterpret_cast<std::uintptr_t>(block) + 15) & ~std::uintptr_t{15}) {}

    template <class T>
    T* take(int64_t count)
    {
        T* const piece = reinterpret_cast<T*>(next_);
        next_ += static_cast<std::uintptr_t>(rounded_to_16(count * static_cast<int64_t>(sizeof(T))));
        return piece;
    }

  private:
    std::uintptr_t next_;
};

// Null if the memory was refused.
template <class T>
BlockDMatrix<T>* make_record(const T* const* source, const int32_t* sizes, int32_t blocks)
{
    const int64_t bytes = record_bytes<T>(sizes, blocks);
    void* const allocation = bytes > INT32_MAX ? nullptr : zelsMalloc_8u(static_cast<int32_t>(bytes));
    if (allocation == nullptr) return nullptr;
    Pieces pieces(allocation);
    auto* const record = pieces.take<BlockDMatrix<T>>(1);
    int32_t* const kept_sizes = pieces.take<int32_t>(blocks);
    std::memcpy(kept_sizes, sizes, sizeof(int32_t) * static_cast<std::size_t>(blocks));
    int32_t dimension = 0;
    for (int32_t b = 0; b < blocks; ++b) dimension += kept_sizes[b];
    T** const rows = pieces.take<T*>(dimension);
    T** row = rows;
    for (int32_t b = 0; b < blocks; ++b)
        for (int32_t r = 0; r < kept_sizes[b]; ++r, ++source, ++row) {
            *row = pieces.take<T>(kept_sizes[b]);
            std::memcpy(*row, load_one(source), sizeof(T) * static_cast<std::size_t>(kept_sizes[b]));
        }
    *record = {rows, kept_sizes, allocation, static_cast<uint16_t>(blocks), static_cast<uint16_t>(dimension)};
    return record;
}

// The record behind the public handle of its type.
inline const BlockDMatrix<int16_t>& opened(const BlockDMatrix_16s* record)
{
    return *reinterpret_cast<const BlockDMatrix<int16_t>*>(record);
}
inline const BlockDMatrix<float>& opened(const BlockDMatrix_32f* record)
{
    return *reinterpret_cast<const BlockDMatrix<float>*>(record);
}
inline const BlockDMatrix<double>& opened(const BlockDMatrix_64f* record)
{
    return *reinterpret_cast<const BlockDMatrix<double>*>(record);
}

}  // namespace zelsr
