// Statistics of one column, as they are stated: rows in order, every step in the precision that is named.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "support/reference/convert.h"
#include "support/reference/fixed_point.h"

namespace zelsr::test::reference {

// The reciprocal of a count, computed in double and rounded to single.
inline float inverse_by_double(int n) { return static_cast<float>(1.0 / n); }

// --- single precision ---

inline float sum_in_single(const std::vector<float>& x)
{
    float sum = 0;
    for (float v : x) sum += v;
    return sum;
}

// start + x[0]^2 + x[1]^2 + ...
inline float squares_in_single(const std::vector<float>& x, float start)
{
    float sum = start;
    for (float v : x) sum += v * v;
    return sum;
}

inline float mean_32f(const std::vector<float>& x)
{
    return sum_in_single(x) * inverse_by_double(static_cast<int>(x.size()));
}

inline float var_32f(const std::vector<float>& x, float mean)
{
    const int n = static_cast<int>(x.size());
    const float start = (0.0F - static_cast<float>(n)) * mean * mean;
    return squares_in_single(x, start) * inverse_by_double(n - 1);
}

inline std::pair<float, float> mean_var_32f(const std::vector<float>& x)
{
    const int n = static_cast<int>(x.size());
    const float mean = mean_32f(x);
    const float excess = squares_in_single(x, 0) - static_cast<float>(n) * mean * mean;
    return {mean, excess * inverse_by_double(n - 1)};
}

// --- weighted ---

// The sum of w[r] * x[r], or of w[r] * x[r]^2: two partial sums, of the even and of the odd rows, over the whole
// rounds of four rows, joined before the rows that remain.
template <class T>
T weighted_sum(const std::vector<T>& x, const std::vector<T>& w, bool squares)
{
    const auto term = [&](std::size_t r) { return w[r] * (squares ? x[r] * x[r] : x[r]); };
    const std::size_t body = x.size() / 4 * 4;
    T even = 0, odd = 0;
    for (std::size_t r = 0; r < body; r += 2) {
        even += term(r);
        odd += term(r + 1);
    }
    T sum = even + odd;
    for (std::size_t r = body; r < x.size(); ++r) sum += term(r);
    return sum;
}

// --- 16-bit data by way of single precision ---

inline std::vector<float> in_single(const std::vector<std::int16_t>& x) { return {x.begin(), x.end()}; }

inline float inverse_in_single(int n) { return 1.0F / static_cast<float>(n); }

inline float mean_in_single(const std::vector<std::int16_t>& x)
{
    return sum_in_single(in_single(x)) * inverse_in_single(static_cast<int>(x.size()));
}

inline float var_in_single(const std::vector<std::int16_t>& x, float mean)
{
    const int n = static_cast<int>(x.size());
    return squares_in_single(in_single(x), -static_cast<float>(n) * (mean * mean)) * inverse_in_single(n - 1);
}

inline std::int16_t mean_16s(const std::vector<std::int16_t>& x) { return single_to_16s(mean_in_single(x), 1, 1); }

inline std::int16_t var_16s(const std::vector<std::int16_t>& x, std::int16_t mean, std::int32_t sf)
{
    return single_to_16s(var_in_single(x, mean), multiplier<float>(sf), 1);
}

inline std::pair<std::int16_t, std::int16_t> mean_var_16s(const std::vector<std::int16_t>& x, std::int32_t sf)
{
    return {mean_16s(x), single_to_16s(var_in_single(x, mean_in_single(x)), multiplier<float>(sf), 1)};
}

// --- 16-bit data on rows off 16 bytes: truncation, and shifts of 64-bit integers ---

// To the right toward minus infinity; to the left modulo 2^64, and only then saturated. Beyond 63 nothing but the
// sign is left.
inline std::int16_t shifted_16s(std::int64_t x, std::int32_t sf)
{
    if (sf >= 0) return saturate<std::int16_t>(x >> std::min(sf, 63));
    if (sf < -63) return 0;
    return saturate<std::int16_t>(static_cast<std::int64_t>(static_cast<std::uint64_t>(x) << -sf));
}

inline std::int64_t integer_sum(const std::vector<std::int16_t>& x)
{
    std::int64_t sum = 0;
    for (std::int16_t v : x) sum += v;
    return sum;
}

inline float plain_mean_in_single(const std::vector<std::int16_t>& x)
{
    return static_cast<float>(integer_sum(x)) * inverse_in_single(static_cast<int>(x.size()));
}

inline std::int16_t plain_mean_16s(const std::vector<std::int16_t>& x)
{
    return static_cast<std::int16_t>(std::clamp(plain_mean_in_single(x), -32768.0F, 32767.0F));
}

inline std::int16_t plain_var_16s(const std::vector<std::int16_t>& x, std::int16_t mean, std::int32_t sf)
{
    const int n = static_cast<int>(x.size());
    std::int64_t sum = -static_cast<std::int64_t>(n) * mean * mean;
    for (std::int64_t v : x) sum += v * v;
    return shifted_16s(static_cast<std::int64_t>(static_cast<float>(sum) * inverse_in_single(n - 1)), sf);
}

inline std::pair<std::int16_t, std::int16_t> plain_mean_var_16s(const std::vector<std::int16_t>& x,
                                                                std::int32_t sf)
{
    const int n = static_cast<int>(x.size());
    float squares = 0;
    for (std::int32_t v : x) squares += static_cast<float>(v * v);
    const float mean = plain_mean_in_single(x);
    const float var = (squares - mean * mean * static_cast<float>(n)) * inverse_in_single(n - 1);
    return {plain_mean_16s(x), shifted_16s(static_cast<std::int64_t>(var), sf)};
}

// --- 16-bit data in double ---

// The upper limit for NaN.
inline double limited_to_32s(double x) { return std::max(limited(x, 2147483647.0), -2147483648.0); }

// Mean and variance before the rounding.
inline std::pair<double, double> mean_var_in_double(const std::vector<std::int16_t>& x, double scale)
{
    const double n = static_cast<double>(x.size());
    double sum = 0, squares = 0;
    for (double v : x) {
        sum += v;
        squares += v * v;
    }
    const double mean = sum * (1.0 / n);
    const double var = (squares - mean * mean * n) * (1.0 / (n - 1.0) * scale);
    return {limited_to_32s(mean), limited_to_32s(var)};
}

template <class Mean>
std::pair<Mean, std::int32_t> mean_var_32s(const std::vector<std::int16_t>& x, std::int32_t sf)
{
    const auto [mean, var] = mean_var_in_double(x, multiplier<double>(sf));
    return {static_cast<Mean>(std::nearbyint(mean)), static_cast<std::int32_t>(std::nearbyint(var))};
}

}  // namespace zelsr::test::reference
