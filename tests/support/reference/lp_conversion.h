// Prediction coefficients, cepstra and reflection coefficients into each other: element by element in single
// precision, in the stated order.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/reference/convert.h"
#include "zelsr/types.h"

namespace zelsr::test::reference {

// sum / (n + 1): by a table entry in lengths 4 to 21.
inline float mean_of_steps(float sum, std::size_t n, std::size_t length)
{
    const float count = static_cast<float>(n + 1);
    return length >= 4 && length <= 21 ? sum * (1.0F / count) : sum / count;
}

inline std::vector<float> lp_to_cepstrum(const std::vector<float>& a)
{
    std::vector<float> c(a.size());
    for (std::size_t n = 0; n < a.size(); ++n) {
        float sum = 0;
        for (std::size_t j = 1; j <= n; ++j) sum = sum + static_cast<float>(n - j + 1) * a[j - 1] * c[n - j];
        c[n] = 0 - (mean_of_steps(sum, n, a.size()) + a[n]);
    }
    return c;
}

inline std::vector<float> cepstrum_to_lp(const std::vector<float>& c)
{
    std::vector<float> a(c.size());
    for (std::size_t n = 0; n < c.size(); ++n) {
        float sum = 0;
        for (std::size_t j = 1; j <= n; ++j) sum = sum + static_cast<float>(n - j + 1) * c[n - j] * a[j - 1];
        a[n] = 0 - (mean_of_steps(sum, n, c.size()) + c[n]);
    }
    return a;
}

// Step-down. written: how many of the last results were stored.
struct StepDown {
    SrStatus status = SrOk;
    std::vector<float> k;
    std::size_t written = 0;
};
inline StepDown lp_to_reflection(std::vector<float> a)
{
    StepDown result{SrErrLpToReflection, std::vector<float>(a.size()), 0};
    for (std::size_t m = a.size(); m-- > 0;) {
        const float k = 0 - a[m];
        const float scale = 1 / (1 - k * k);
        if (k == 1 || k == -1) return result;
        result.k[m] = k;
        ++result.written;
        const std::vector<float> old = a;
        for (std::size_t j = 0; j < m; ++j) a[j] = (old[m - j - 1] * k + old[j]) * scale;
    }
    result.status = SrOk;
    return result;
}

// Step-up.
inline std::vector<float> reflection_to_lp(const std::vector<float>& k)
{
    std::vector<float> a(k.size());
    for (std::size_t i = 0; i < k.size(); ++i) {
        const std::vector<float> old = a;
        a[i] = 0 - k[i];
        for (std::size_t j = 0; j < i; ++j) a[j] = old[j] - old[i - j - 1] * k[i];
    }
    return a;
}

// --- 16 bits ---

// x * 2^-sf of every element.
inline std::vector<float> scaled_singles(const std::vector<std::int16_t>& x, std::int32_t sf)
{
    std::vector<float> all;
    for (std::int16_t value : x) all.push_back(static_cast<float>(value) * multiplier<float>(sf));
    return all;
}

// Half away from zero without saturation: the low 16 bits of the whole number. The sum is exact.
inline std::int16_t half_away(float x, std::int32_t sf)
{
    const double y = x * multiplier<float>(sf);
    const std::int32_t whole = to_32_bits(y >= 0 ? y + 0.5 : y - 0.5, 0);
    return std::bit_cast<std::int16_t>(static_cast<std::uint16_t>(whole));
}
inline std::vector<std::int16_t> half_away(const std::vector<float>& x, std::int32_t sf)
{
    std::vector<std::int16_t> all;
    for (float value : x) all.push_back(half_away(value, sf));
    return all;
}

// To nearest, ties to even, saturated.
inline std::vector<std::int16_t> nearest(const std::vector<float>& x, std::int32_t sf)
{
    std::vector<std::int16_t> all;
    for (float value : x) all.push_back(single_to_16s(value, multiplier<float>(sf), 1));
    return all;
}

}  // namespace zelsr::test::reference
