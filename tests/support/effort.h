// How much of a sweep runs, and with which random numbers.
#pragma once

#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace zelsr::test {

// True where every instruction is slow (emulation, valgrind): sweeps take fewer placements and lengths. Set by
// ZELSR_TEST_EFFORT=thin.
bool thin_effort();

// True under valgrind, whose processor rounds extended precision to double and knows no unmasked exceptions.
bool under_valgrind();

// One generator a program. Its seed is printed at the start; ZELSR_TEST_SEED gives it.
std::mt19937& generator();

// Every length from 1 to twice the widest block plus 3; the thin effort takes those around its multiples.
std::vector<int> lengths(int widest_block);

// Evenly from low to high.
template <class T>
T uniform(T low, T high)
{
    if constexpr (std::is_floating_point_v<T>)
        return std::uniform_real_distribution<T>(low, high)(generator());
    else
        return static_cast<T>(std::uniform_int_distribution<std::int64_t>(low, high)(generator()));
}

// count values from low to high.
template <class T>
std::vector<T> uniform_vector(int count, T low, T high)
{
    std::vector<T> values(static_cast<std::size_t>(count));
    for (T& value : values) value = uniform(low, high);
    return values;
}

// For floating point: zeros, ones, the extremes, subnormals, infinities and NaN of both signs. For integers:
// zero, ones and the extremes with their neighbours.
template <class T>
std::vector<T> special_values()
{
    using Limits = std::numeric_limits<T>;
    if constexpr (std::is_floating_point_v<T>)
        return {T(0),
                -T(0),
                T(1),
                T(-1),
                Limits::max(),
                Limits::lowest(),
                Limits::min(),
                -Limits::min(),
                Limits::denorm_min(),
                -Limits::denorm_min(),
                Limits::infinity(),
                -Limits::infinity(),
                Limits::quiet_NaN(),
                -Limits::quiet_NaN(),
                T(0.5),
                T(1.5)};
    else
        return {T(0),
                T(1),
                T(-1),
                T(2),
                T(-2),
                Limits::max(),
                T(Limits::max() - 1),
                Limits::min(),
                T(Limits::min() + 1),
                T(Limits::max() / 2),
                T(Limits::min() / 2)};
}

}  // namespace zelsr::test
