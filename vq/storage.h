// The memory of codebooks from the allocator, and what both ways of making one share.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "core/rows.h"
#include "vq/codebook.h"
#include "zelsr/core/memory.h"

namespace zelsr::vq {

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
