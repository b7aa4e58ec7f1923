// The checks of occupancies, in the order in which they are made.
#pragma once

#include <cmath>
#include <concepts>
#include <limits>

#include "core/contract.h"

namespace zelsr {

// NaN fails it without an exception, which the caller may have unmasked.
template <std::floating_point... T>
constexpr SrStatus not_negative(T... occupancies)
{
    return require((... && std::isgreaterequal(occupancies, T(0))), SrErrNegValue);
}

// Of occupancies that are not negative.
template <std::floating_point... T>
constexpr SrStatus above_zero_count(T... occupancies)
{
    return require((... && (occupancies > std::numeric_limits<T>::min())), SrWarnZeroCount);
}

}  // namespace zelsr
