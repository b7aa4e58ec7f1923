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

// At least one element, not initialised.
inline AlignedFloats aligned_floats(std::int64_t count)
{
    float* block = count <= std::numeric_limits<std::int32_t>::max() / 4
                       ? zelsMalloc_32f(static_cast<std::int32_t>(count))
                       : nullptr;
    if (block == nullptr) throw std::bad_alloc();
    return AlignedFloats(block);
}

}  // namespace zelsr::examples
