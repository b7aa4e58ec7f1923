// The multiplier of a scale factor: results are stored as the exact value times 2^-sf.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

namespace zelsr {

namespace detail {

// Entry i holds 2^(128 - i): entry 0 is infinity, 255 to 277 are subnormal, 278 is zero.
inline constexpr auto kPowersOfTwo_32f = [] {
    std::array<float, 279> table{};
    table[0] = std::numeric_limits<float>::infinity();
    float value = 0x1p127F;
    for (int i = 1; i < 278; ++i, value *= 0.5F) table[i] = value;
    table[278] = 0.0F;
    return table;
}();

// Entry j holds 2^(1087 - 64 j): entry 0 is infinity.
inline constexpr auto kCoarsePowersOfTwo_64f = [] {
    std::array<double, 34> table{};
    table[0] = std::numeric_limits<double>::infinity();
    double value = 0x1p1023;
    for (int j = 1; j < 34; ++j, value *= 0x1p-64) table[j] = value;
    return table;
}();

// Entry j holds 2^-j.
inline constexpr auto kFinePowersOfTwo_64f = [] {
    std::array<double, 64> table{};
    double value = 1.0;
    for (int j = 0; j < 64; ++j, value *= 0.5) table[j] = value;
    return table;
}();

}  // namespace detail

// 2^-sf; infinity for an sf of -128 or below, zero for 150 or above, subnormal from 127 to 149.
inline float GetScale_32s32f(int32_t sf)
{
    return detail::kPowersOfTwo_32f[static_cast<std::size_t>(std::clamp(sf, -128, 150) + 128)];
}

// 2^-sf; infinity for an sf of -1024 or below, zero above 1074.
inline double GetScale_32s64f(int32_t sf)
{
    const auto v = static_cast<std::size_t>(std::clamp(sf, -1024, 1087) + 1087);
    return detail::kFinePowersOfTwo_64f[v % 64] * detail::kCoarsePowersOfTwo_64f[v / 64];
}

}  // namespace zelsr
