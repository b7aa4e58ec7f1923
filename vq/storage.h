// The memory of codebooks from the allocator, and what all ways of making one share.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "vq/codebook.h"
#include "zelsr/core/memory.h"

namespace zelsr::vq {

// Null for more elements than an address space holds, too: the allocator's own computation would wrap.
template <class T>
T* allocate_some(int64_t count)
{
    constexpr auto most = static_cast<int64_t>(std::min<uint64_t>(INT32_MAX, SIZE_MAX / 2 / sizeof(T)));
    return count > most ? nullptr : allocate<T>(static_cast<int32_t>(count));
}

// The parts of one block, each on a 32-byte boundary. A walk over the parts without a block tells its bytes.
class Parts {
  public:
    explicit Parts(void* block = nullptr) : block_(reinterpret_cast<std::uintptr_t>(block)) {}
    template <class T>
    T* take(int64_t count)
    {
        const int64_t at = bytes_;
        bytes_ += (count * static_cast<int64_t>(sizeof(T)) + 31) & ~int64_t{31};
        return reinterpret_cast<T*>(block_ + static_cast<std::uintptr_t>(at));
    }
    int64_t bytes() const { return bytes_; }

  private:
    std::uintptr_t block_;
    int64_t bytes_ = 0;
};

// A record that lives in one block takes its parts in lay_out(Parts&).
template <class Record>
int64_t bytes_of(Record& record)
{
    Parts parts;
    record.lay_out(parts);
    return parts.bytes();
}
template <class Record>
void place(Record& record, void* block)
{
    Parts parts(block);
    record.lay_out(parts);
}

// The block of such a record. Null if it was refused.
template <class Record>
void* allocate_parts(Record& record)
{
    void* block = allocate_some<uint8_t>(bytes_of(record));
    place(record, block);
    return block;
}

// The number of halvings that bring the last index to 0.
inline int32_t index_bits(int32_t count) { return std::bit_width(static_cast<uint32_t>(count - 1)); }

template <class T>
void copy_rows(Block<T> src, int32_t height, int32_t width, WritableBlock<T> dst)
{
    for (int32_t r = 0; r < height; ++r) std::memcpy(dst[r], src[r], static_cast<std::size_t>(width) * sizeof(T));
}

// All that a codebook has, complete or not. Its tree is one block that begins with the root, its table one that
// begins with the table's record.
template <class State>
void release(State* state)
{
    zelsFree(state->field);
    zelsFree(state->root);
    zelsFree(state->weights);
    zelsFree(state->codewords);
    zelsFree(state->workspace);
    zelsFree(state);
}

}  // namespace zelsr::vq
