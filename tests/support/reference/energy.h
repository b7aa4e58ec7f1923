// Energy tracks, offset compensation and sign changes, as they are stated.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/reference/convert.h"
#include "support/reference/fixed_point.h"

namespace zelsr::test::reference {

// --- normalised energy ---

// Decibels to natural-log units, ln 10 / 10.
inline float floor_drop(float silence_floor) { return silence_floor * 0.230259F; }

// Values that are not a number are left aside.
template <class T>
T highest(const std::vector<T>& column)
{
    T value =
        std::numeric_limits<T>::has_infinity ? -std::numeric_limits<T>::infinity() : std::numeric_limits<T>::min();
    for (T x : column)
        if (x > value) value = x;
    return value;
}

inline std::vector<float> normalized_energy(std::vector<float> column, float silence_floor, float highest_energy,
                                            float scale)
{
    const float floor = highest_energy - floor_drop(silence_floor);
    for (float& x : column) x = 1.0F - (highest_energy - (x > floor ? x : floor)) * scale;
    return column;
}

inline std::int16_t truncated_16s(float x)
{
    return x < -32768.0F ? INT16_MIN : x > 32767.0F ? INT16_MAX : static_cast<std::int16_t>(x);
}

inline std::int16_t plain_energy(std::int16_t x, float floor, std::int16_t highest_energy, std::int16_t unit,
                                 float scale)
{
    const float m = highest_energy;
    return truncated_16s(static_cast<float>(unit) - (m - std::max(static_cast<float>(x), floor)) * scale);
}

// Half away from zero.
inline std::int16_t rounded_16s(float x)
{
    return saturate<std::int16_t>(std::llround(std::clamp(x, -100000.0F, 100000.0F)));
}

// q: the scale in Q10.
inline std::int16_t fast_energy(std::int16_t x, std::int16_t floor, std::int16_t highest_energy, std::int16_t unit,
                                std::int16_t q)
{
    const auto below = saturate<std::int16_t>(highest_energy - std::max(x, floor));
    const auto p = saturate<std::int16_t>((below * q) >> 10);
    return saturate<std::int16_t>(unit - p);
}

inline std::vector<std::int16_t> plain_energies(std::vector<std::int16_t> column, std::int16_t silence_floor,
                                                std::int16_t highest_energy, std::int16_t unit, float scale)
{
    const float floor = static_cast<float>(highest_energy) - floor_drop(silence_floor);
    for (std::int16_t& x : column) x = plain_energy(x, floor, highest_energy, unit, scale);
    return column;
}

// The last rows, fewer than four, by the plain form with the rounded floor.
inline std::vector<std::int16_t> fast_energies(std::vector<std::int16_t> column, std::int16_t silence_floor,
                                               std::int16_t highest_energy, std::int16_t unit, float scale)
{
    const std::int16_t floor = rounded_16s(static_cast<float>(highest_energy) - floor_drop(silence_floor));
    const auto q = static_cast<std::int16_t>(static_cast<std::uint16_t>(to_32_bits(1024.0F * scale, 0)));
    const std::size_t fours = column.size() / 4 * 4;
    for (std::size_t r = 0; r < column.size(); ++r)
        column[r] = r < fours ? fast_energy(column[r], floor, highest_energy, unit, q)
                              : plain_energy(column[r], floor, highest_energy, unit, scale);
    return column;
}

// by_itself: the form that finds the highest energy.
inline std::vector<std::int16_t> normalized_energy(const std::vector<std::int16_t>& column,
                                                   std::int16_t silence_floor, std::int16_t highest_energy,
                                                   std::int16_t unit, float scale, bool by_itself)
{
    if (scale >= 1.001F || (by_itself && column.size() < 11))
        return plain_energies(column, silence_floor, highest_energy, unit, scale);
    return fast_energies(column, silence_floor, highest_energy, unit, scale);
}

// --- offset compensation: y[n] = x[n] - x[n-1] + val * y[n-1] ---

inline std::vector<float> compensated(const std::vector<float>& x, float last_in, float last_out, float val)
{
    std::vector<float> y{last_out * val + x[0] - last_in};
    for (std::size_t n = 1; n < x.size(); ++n) y.push_back(val * y[n - 1] + (x[n] - x[n - 1]));
    return y;
}

inline std::int16_t first_compensated(std::int16_t x, std::int16_t last_in, std::int16_t last_out, float val)
{
    return truncated_16s(static_cast<float>(last_out) * val + static_cast<float>(x) - static_cast<float>(last_in));
}

inline std::vector<std::int16_t> compensated_in_single(const std::vector<std::int16_t>& x, std::int16_t last_in,
                                                       std::int16_t last_out, float val)
{
    std::vector<std::int16_t> y{first_compensated(x[0], last_in, last_out, val)};
    for (std::size_t n = 1; n < x.size(); ++n) {
        const float step = static_cast<float>(x[n]) - static_cast<float>(x[n - 1]);
        y.push_back(rounded_16s(step + static_cast<float>(y[n - 1]) * val));
    }
    return y;
}

// The product's high half keeps 16 bits: -32768 times -1 stays -32768.
inline std::vector<std::int16_t> compensated_in_q12(const std::vector<std::int16_t>& x, std::int16_t last_in,
                                                    std::int16_t last_out, float val)
{
    const auto q = static_cast<std::int32_t>(1024.0F * val * 4.0F);
    std::vector<std::int16_t> y{first_compensated(x[0], last_in, last_out, val)};
    for (std::size_t n = 1; n < x.size(); ++n) {
        const auto part = static_cast<std::int16_t>(static_cast<std::uint16_t>((y[n - 1] * q) >> 12));
        y.push_back(saturate<std::int16_t>(part + saturate<std::int16_t>(x[n] - x[n - 1])));
    }
    return y;
}

inline std::vector<std::int16_t> compensated(const std::vector<std::int16_t>& x, std::int16_t last_in,
                                             std::int16_t last_out, float val)
{
    return val >= -1 && val <= 1 ? compensated_in_q12(x, last_in, last_out, val)
                                 : compensated_in_single(x, last_in, last_out, val);
}

inline std::vector<std::int16_t> compensated_q15(const std::vector<std::int16_t>& x, std::int16_t last_in,
                                                 std::int16_t last_out, std::int16_t val)
{
    std::vector<std::int16_t> y;
    for (std::size_t n = 0; n < x.size(); ++n) {
        const std::int64_t product = std::int64_t{n == 0 ? last_out : y[n - 1]} * val;
        const std::int64_t acc = (x[n] - std::int64_t{n == 0 ? last_in : x[n - 1]}) * 32768 + product;
        y.push_back(saturate<std::int16_t>((acc >> 15) + (acc < 0 && (product & 32767) != 0)));
    }
    return y;
}

// --- sign changes ---

template <class T>
int sign(T x)
{
    return (x > 0) - (x < 0);
}

// holds(x[n], x[n + 1]) summed.
template <class T, class Holds>
std::int32_t count_neighbours(const std::vector<T>& x, Holds holds)
{
    std::int32_t count = 0;
    for (std::size_t n = 0; n + 1 < x.size(); ++n) count += holds(x[n], x[n + 1]);
    return count;
}

inline std::int32_t negative_products(const std::vector<std::int16_t>& x)
{
    return count_neighbours(x, [](int a, int b) { return a * b < 0; });
}
// Products in single precision; one that is not a number counts.
inline std::int32_t negative_products(const std::vector<float>& x)
{
    return count_neighbours(x, [](float a, float b) {
        const float product = a * b;
        return !(product >= 0);
    });
}
inline std::int32_t different_sign_bits(const std::vector<float>& x)
{
    return count_neighbours(x, [](float a, float b) { return std::signbit(a) != std::signbit(b); });
}
// Two for a change of sign, one for a step to or from zero.
template <class T>
std::int32_t sign_steps(const std::vector<T>& x)
{
    return count_neighbours(x, [](T a, T b) { return std::abs(sign(b) - sign(a)); });
}

}  // namespace zelsr::test::reference
