// Memory on the library's boundaries: its aligned kernels run on it.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

#include "zelsr/core/memory.h"

namespace zelsr::examples {

struct AlignedRelease {
    void operator()(void* block) const { zelsFree(block); }
};

template <class T>
using AlignedArray = std::unique_ptr<T[], AlignedRelease>;
using AlignedFloats = AlignedArray<float>;
using AlignedShorts = AlignedArray<std::int16_t>;

// At least one element, not initialised.
template <class T>
AlignedArray<T> aligned_array(std::int64_t count)
{
    static_assert(std::is_trivial_v<T>);
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max() / sizeof(T);
    void* block = count <= kMost ? zelsMalloc_8u(static_cast<std::int32_t>(count * sizeof(T))) : nullptr;
    if (block == nullptr) throw std::bad_alloc();
    return AlignedArray<T>(static_cast<T*>(block));
}

inline AlignedFloats aligned_floats(std::int64_t count) { return aligned_array<float>(count); }
inline AlignedShorts aligned_shorts(std::int64_t count) { return aligned_array<std::int16_t>(count); }

}  // namespace zelsr::examples
