// Arrays that share elements.
#pragma once

#include <cstdint>

namespace zelsr::test::reference {

// A store to dst changes elements of src that come later.
template <class T>
bool begins_inside(const T* dst, const T* src, std::int32_t len)
{
    const auto to = reinterpret_cast<std::uintptr_t>(dst), from = reinterpret_cast<std::uintptr_t>(src);
    return to > from && to < from + static_cast<std::uintptr_t>(len) * sizeof(T);
}

}  // namespace zelsr::test::reference
