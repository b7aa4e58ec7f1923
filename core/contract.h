// The argument checks of a public call. Their order belongs to each family's contract and is read off the
// line that lists them.
#pragma once

#include <concepts>

#include "zelsr/types.h"

namespace zelsr {

constexpr SrStatus require(bool holds, SrStatus otherwise) { return holds ? SrStatus{SrOk} : otherwise; }

template <class... T>
constexpr SrStatus non_null(const T*... pointers)
{
    return require((... && (pointers != nullptr)), SrErrNullPtr);
}

template <std::same_as<int32_t>... Count>
constexpr SrStatus positive(Count... counts)
{
    return require((... && (counts >= 1)), SrErrSize);
}

constexpr SrStatus stride(int32_t width, int32_t step) { return require(width <= step, SrErrStride); }

namespace detail {
constexpr SrStatus outcome(SrStatus status) { return status; }
template <std::invocable Check>
constexpr SrStatus outcome(Check check)
{
    return check();
}
}  // namespace detail

// The first status that is not SrOk. A check that may only be made after the ones before it (it reads through
// a pointer that they test) is passed as a callable.
template <class... Check>
constexpr SrStatus first_failure(Check... checks)
{
    SrStatus status = SrOk;
    (void)(((status = detail::outcome(checks)) != SrOk) || ...);
    return status;
}

}  // namespace zelsr
