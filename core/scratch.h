// Work memory of one call: a fixed array on the stack up to a bound, the allocator's beyond it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "zelsr/core/memory.h"

namespace zelsr {

template <class T>
T* allocate(int32_t count)
{
    if constexpr (std::is_same_v<T, std::uint8_t>) return zelsMalloc_8u(count);
    if constexpr (std::is_same_v<T, std::int16_t>) return zelsMalloc_16s(count);
    if constexpr (std::is_same_v<T, std::int32_t>) return zelsMalloc_32s(count);
    if constexpr (std::is_same_v<T, float>) return zelsMalloc_32f(count);
    if constexpr (std::is_same_v<T, double>) return zelsMalloc_64f(count);
}

// Test it before use: false means that the memory was refused. Released on every path that leaves its scope.
// Without a bound the memory always comes from the allocator.
template <class T, int32_t OnStack = 0>
class Scratch {
  public:
    // Refused here: a count whose bytes no address space holds, since the allocator's own computation would wrap, and
    // one below 1, which comes from a sum that wrapped.
    explicit Scratch(int64_t count)
        : data_(count < 1 || count > kMost ? nullptr
                : count <= OnStack         ? fixed_
                                           : allocate<T>(static_cast<int32_t>(count)))
    {}
    ~Scratch()
    {
        if (data_ != fixed_) zelsFree(data_);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    explicit operator bool() const { return data_ != nullptr; }
    T* data() const { return data_; }
    T& operator[](int32_t i) const { return data_[i]; }

  private:
    static constexpr int64_t kMost = std::min<int64_t>(INT32_MAX, (SIZE_MAX / 2) / sizeof(T));

    alignas(32) T fixed_[OnStack > 0 ? OnStack : 1];
    T* data_;
};

}  // namespace zelsr
