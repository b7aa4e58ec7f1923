// Time derivatives of feature vectors, row by row and column by column as they are stated.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/reference/fixed_point.h"

namespace zelsr::test::reference {

// --- one number ---

inline float difference(float a, float b) { return a - b; }
inline std::int16_t difference(std::int16_t a, std::int16_t b)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<std::uint16_t>(a) - b));
}

inline std::int32_t wrapped_product(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a * b));
}

// x * 2^-sf: to the right the lowest bits fall out, to the left the highest of 32.
inline std::int16_t shifted(std::int32_t x, std::int32_t sf)
{
    if (sf >= 0) return saturate<std::int16_t>(x >> std::min(sf, 31));
    const auto left = sf <= -32 ? 0 : static_cast<std::uint32_t>(x) << -sf;
    return saturate<std::int16_t>(static_cast<std::int32_t>(left));
}

inline float scaled_value(float x, float factor, std::int32_t) { return x * factor; }
inline std::int16_t scaled_value(std::int32_t x, std::int16_t factor, std::int32_t sf)
{
    return shifted(wrapped_product(x, factor), sf);
}

// The window of row t over values(row).
template <class Values>
auto window_value(int window, const Values& values, int t)
{
    const auto one = difference(values(t + 1), values(t - 1));
    if (window == 1) return decltype(one + one){one};
    const auto two = difference(values(t + 2), values(t - 2));
    return one + two + two;
}

// --- families ---

// Frames of width values; the row gets width columns each of values, deltas and second derivatives.
template <class T>
struct WindowRule {
    int width;
    int window;  // 1 or 2
    bool with_second;
    const T* mul;  // three parts of width factors, or null: val1, val2
    T val1, val2;
    std::int32_t sf;

    int source_width() const { return width; }
    int columns() const { return width; }
    int history() const { return with_second ? 3 * window : 2 * window; }
    int delta_lag() const { return with_second ? 2 * window : window; }
    int second_lag() const { return window; }

    T static_value(const T* frame, int c) const
    {
        return mul == nullptr ? frame[c] : T(scaled_value(frame[c], mul[c], sf));
    }
    template <class Values>
    T delta(const Values& s, int t, int c) const
    {
        return scaled_value(window_value(window, s, t), mul == nullptr ? val1 : mul[width + c], sf);
    }
    template <class Values>
    T second(const Values&, const Values& d, int t, int c) const
    {
        return scaled_value(window_value(window, d, t), mul == nullptr ? val2 : mul[2 * width + c], sf);
    }
};

// 14 values a frame: c1 to c12, c0, log energy; 13 columns each.
constexpr float kAuroraDelta[9] = {-1, -0.75F, -0.5F, -0.25F, 0, 0.25F, 0.5F, 0.75F, 1};
constexpr float kAuroraSecond[9] = {1,          0.25F,      -0.285714F, -0.607143F, -0.714286F,
                                    -0.607143F, -0.285714F, 0.25F,      1};

inline float aurora_energy(float c0, float log_energy)
{
    const float part = c0 * 0.6F;
    return part / 23.0F + log_energy * 0.4F;
}

template <class Values>
float tap_sum(const float (&taps)[9], const Values& s, int t)
{
    float sum = taps[0] * static_cast<float>(s(t - 4));
    for (int k = -3; k <= 4; ++k)
        if (taps[k + 4] != 0) sum = sum + taps[k + 4] * static_cast<float>(s(t + k));
    return sum;
}

template <class T>
struct AuroraRule;

template <>
struct AuroraRule<float> {
    const float* mul;  // 39 factors, or null

    int source_width() const { return 14; }
    int columns() const { return 13; }
    int history() const { return 8; }
    int delta_lag() const { return 4; }
    int second_lag() const { return 4; }
    float factor(float x, int c) const { return mul == nullptr ? x : mul[c] * x; }

    float static_value(const float* frame, int c) const
    {
        return factor(c < 12 ? frame[c] : aurora_energy(frame[12], frame[13]), c);
    }
    template <class Values>
    float delta(const Values& s, int t, int c) const
    {
        return factor(tap_sum(kAuroraDelta, s, t), 13 + c);
    }
    template <class Values>
    float second(const Values& s, const Values&, int t, int c) const
    {
        return factor(tap_sum(kAuroraSecond, s, t), 26 + c);
    }
};

template <>
struct AuroraRule<std::int16_t> {
    const std::int16_t* mul;
    std::int32_t sf;

    int source_width() const { return 14; }
    int columns() const { return 13; }
    int history() const { return 8; }
    int delta_lag() const { return 4; }
    int second_lag() const { return 4; }
    int bits() const { return static_cast<int>(static_cast<std::uint32_t>(sf) & 31); }

    std::int16_t from_integer(std::int64_t x, int c, int shift) const
    {
        return shifted(wrapped_product(x, mul == nullptr ? 1 : mul[c]), shift);
    }
    std::int16_t from_single(float x, int c) const
    {
        const float product = mul == nullptr ? x : static_cast<float>(mul[c]) * x;
        const auto whole = saturate<std::int32_t>(static_cast<std::int64_t>(product));
        return shifted(whole, bits());
    }

    std::int16_t static_value(const std::int16_t* frame, int c) const
    {
        if (c < 12) return from_integer(frame[c], c, bits());
        return from_single(aurora_energy(frame[12], frame[13]), 12);
    }
    template <class Values>
    std::int16_t delta(const Values& s, int t, int c) const
    {
        std::int64_t sum = 0;
        for (int k = -4; k <= 4; ++k) sum += k * std::int64_t{s(t + k)};
        return from_integer(sum, 13 + c, static_cast<int>((static_cast<std::uint32_t>(sf) + 2) & 31));
    }
    template <class Values>
    std::int16_t second(const Values& s, const Values&, int t, int c) const
    {
        return from_single(tap_sum(kAuroraSecond, s, t), 26 + c);
    }
};

// --- blocks ---

// One call: what it writes into the rows from dst on.
template <class T, class Rule>
void delta_block(const Rule& rule, const T* src, std::int32_t height, T* dst, std::int32_t step, bool first,
                 bool last, bool with_second)
{
    const int h = rule.history(), columns = rule.columns();
    const int rows = first ? height : h + height;  // values known at the end
    const int open = rows - h;                     // rows that become complete without the end's being known
    const auto element = [&](int row, int column) -> T& {
        return dst[static_cast<std::ptrdiff_t>(row) * step + column];
    };
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < columns; ++c)
            element(first ? r : h + r, c) = rule.static_value(src + r * rule.source_width(), c);
    struct Values {
        const T* column;
        int rows;
        std::ptrdiff_t step;
        T operator()(int row) const { return column[std::clamp(row, 0, rows - 1) * step]; }
    };
    const auto values = [&](int column) { return Values{dst + column, rows, step}; };
    const auto from = [&](int lag) { return first ? 0 : lag; };
    const auto to = [&](int lag) { return last ? rows : lag + open; };
    for (int c = 0; c < columns; ++c) {
        for (int t = from(rule.delta_lag()); t < to(rule.delta_lag()); ++t)
            element(t, columns + c) = rule.delta(values(c), t, c);
        if (!with_second) continue;
        for (int t = from(rule.second_lag()); t < to(rule.second_lag()); ++t)
            element(t, 2 * columns + c) = rule.second(values(c), values(columns + c), t, c);
    }
}

// --- whole buffers ---

// The delta of row t of a column of rows values, W = window: in the head rows the left term is row 0 for every k,
// in the tail rows the right term is the last row.
inline float buffer_delta(const std::vector<float>& x, int t, int window, float factor, std::int32_t)
{
    const int rows = static_cast<int>(x.size());
    float sum = 0;
    for (int k = 1; k <= window; ++k) {
        const float right = x[static_cast<std::size_t>(t < rows - window ? t + k : rows - 1)];
        const float left = x[static_cast<std::size_t>(t < window ? 0 : t - k)];
        sum = sum + static_cast<float>(k) * (right - left);
    }
    return factor * sum;
}
inline std::int16_t buffer_delta(const std::vector<std::int16_t>& x, int t, int window, std::int16_t factor,
                                 std::int32_t sf)
{
    const int rows = static_cast<int>(x.size());
    std::uint32_t sum = 0;
    for (int k = 1; k <= window; ++k) {
        const std::int16_t right = x[static_cast<std::size_t>(t < rows - window ? t + k : rows - 1)];
        const std::int16_t left = x[static_cast<std::size_t>(t < window ? 0 : t - k)];
        sum += static_cast<std::uint32_t>(wrapped_product(k, difference(right, left)));
    }
    return scaled_value(static_cast<std::int32_t>(sum), factor, sf);
}

}  // namespace zelsr::test::reference
