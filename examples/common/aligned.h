// Memory on the library's boundaries: its aligned kernels run on it.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "zelsr/core/memory.h"

namespace zelsr::examples {

struct AlignedRelease {
    void operator()(void* block) const { zelsFree(block); }
};

using AlignedFloats = std::unique_ptr<float[], AlignedRelease>;
using AlignedShorts = std::unique_ptr<std::int16_t[], AlignedRelease>;

// At least one element, not initialised.
inline AlignedFloats aligned_floats(std::int64_t count)
{
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max() / sizeof(float);
    float* block = count <= kMost ? zelsMalloc_32f(static_cast<std::int32_t>(count)) : nullptr;
    if (block == nullptr) throw std::bad_alloc();
    return AlignedFloats(block);
}

inline AlignedShorts aligned_shorts(std::int64_t count)
{
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max() / sizeof(std::int16_t);
    std::int16_t* block = count <= kMost ? zelsMalloc_16s(static_cast<std::int32_t>(count)) : nullptr;
    if (block == nullptr) throw std::bad_alloc();
    return AlignedShorts(block);
}

}  // namespace zelsr::examples
