// Logarithms of elements and their sums, as they are stated, in extended precision.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "zelsr/types.h"

namespace zelsr::test::reference {

enum class Argument { Ordinary, Zero, Negative, NotANumber };

// By the bits: all zero; a set sign, that of -0 and of NaN too; NaN. Infinity is an ordinary argument.
template <class T>
Argument kind_of_argument(T x)
{
    using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    if (std::bit_cast<Bits>(x) == 0) return Argument::Zero;
    if (std::signbit(x)) return Argument::Negative;
    return std::isnan(x) ? Argument::NotANumber : Argument::Ordinary;
}

inline SrStatus status_of(Argument kind)
{
    return kind == Argument::Zero ? SrWarnLnZeroArg : kind == Argument::Negative ? SrWarnLnNegArg : SrOk;
}

// The status of the first element that has one.
template <class T>
SrStatus status_of_logarithms(const std::vector<T>& values)
{
    for (T x : values)
        if (SrStatus status = status_of(kind_of_argument(x))) return status;
    return SrOk;
}

struct SumOfLogarithms {
    SrStatus status = SrOk;
    long double sum = 0;
    long double magnitude = 0;  // the sum of the logarithms' absolute values: what errors scale with
};

// The first special element decides and ends the work.
template <class T>
SumOfLogarithms sum_of_logarithms(const std::vector<T>& values)
{
    constexpr long double nan = std::numeric_limits<long double>::quiet_NaN();
    constexpr long double infinity = std::numeric_limits<long double>::infinity();
    SumOfLogarithms result;
    for (T x : values) {
        const Argument kind = kind_of_argument(x);
        if (kind != Argument::Ordinary) return {status_of(kind), kind == Argument::Zero ? infinity : nan, 0};
        const long double logarithm = std::log(static_cast<long double>(x));
        result.sum += logarithm;
        result.magnitude += std::abs(logarithm);
    }
    return result;
}

// The integer nearest to ln(x), for x from 1 on: no integer lies on a border, e^(k+0.5) being irrational.
inline std::int32_t nearest_logarithm(std::int32_t x)
{
    std::int32_t k = 0;
    while (static_cast<long double>(x) > std::exp(static_cast<long double>(k) + 0.5L)) ++k;
    return k;
}

}  // namespace zelsr::test::reference
