// Normalisation of one element or one vector, as it is stated.
#pragma once

#include <xmmintrin.h>

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "support/reference/convert.h"
#include "support/reference/fixed_point.h"

namespace zelsr::test::reference {

// --- reciprocal square roots ---

// The processor's estimate, to 12 bits.
inline float estimate(float x) { return _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(x))); }

// One Newton step from the estimate, in the two ways it is written.
inline float reciprocal_root(float x)
{
    const float r = estimate(x);
    return (3.0F - x * r * r) * (r * 0.5F);
}
inline float plain_reciprocal_root(float x)
{
    const float r = estimate(x);
    return r * (x * r * r - 3.0F) * -0.5F;
}

inline std::int32_t aligned_rec_sqrt_32s(std::int32_t x, std::int32_t floor, std::int32_t sf)
{
    const auto in_single = static_cast<float>(x), least = static_cast<float>(floor);
    return single_to_32s(least < in_single ? reciprocal_root(in_single) : least, multiplier<float>(sf), 1);
}

// Clamped, truncated; what does not fit wraps to -2147483648.
inline float plain_rec_sqrt(std::int32_t x, std::int32_t floor, std::int32_t sf, float low, float high)
{
    const float y = x >= floor ? plain_reciprocal_root(static_cast<float>(x)) : static_cast<float>(floor);
    return std::max(std::min(y * multiplier<float>(sf), high), low);
}
inline std::int32_t plain_rec_sqrt_32s(std::int32_t x, std::int32_t floor, std::int32_t sf)
{
    return to_32_bits(plain_rec_sqrt(x, floor, sf, -2147483648.0F, 2147483648.0F), 0);
}
inline std::int16_t rec_sqrt_32s16s(std::int32_t x, std::int32_t floor, std::int32_t sf)
{
    return static_cast<std::int16_t>(plain_rec_sqrt(x, floor, sf, -32768.0F, 32767.0F));
}

// --- zero mean ---

inline std::vector<std::int16_t> zero_mean(const std::vector<std::int16_t>& x)
{
    std::int64_t sum = 0;
    for (std::int16_t v : x) sum += v;
    const std::int64_t t = 2 * sum / static_cast<std::int64_t>(x.size());
    std::vector<std::int16_t> out;
    for (std::int16_t v : x) {
        const std::int64_t d = 2 * v - t;
        const std::int64_t e = d < 0 ? d - 1 : d + 1;
        out.push_back(static_cast<std::int16_t>(std::clamp<std::int64_t>(e >> 1, -32767, 32767)));
    }
    return out;
}

// --- columns ---

inline std::int16_t normalized_16s(std::int16_t x, std::int16_t mean, std::int16_t factor, std::int32_t sf)
{
    const std::int64_t product = (std::int64_t{x} - mean) * factor;  // of 32 bits at most
    if (sf >= 0) return saturate<std::int16_t>(product >> (sf % 32));
    const auto bits = static_cast<std::uint32_t>(product) << ((0U - static_cast<std::uint32_t>(sf)) % 32);
    return saturate<std::int16_t>(static_cast<std::int32_t>(bits));
}

// --- in range ---

template <class Result>
Result in_range_result(float y)
{
    if constexpr (std::is_same_v<Result, float>)
        return y;
    else
        return saturate<Result>(single_to_16s(y, 1, 1));
}

// Between lowest and highest, which differ.
template <class Source, class Result>
std::vector<Result> in_range(const std::vector<Source>& src, float lowest, float highest, float low, float high,
                             float range)
{
    const float w = highest - lowest;
    const float top = high * w + lowest;
    const float bottom = w * low + lowest;
    const float factor = range / (high * w - w * low);
    std::vector<Result> results;
    for (Source element : src) {
        const auto x = static_cast<float>(element);
        float y = (x < top ? x : top) - bottom;
        y = y > 0 ? y : 0;
        results.push_back(in_range_result<Result>(y * factor));
    }
    return results;
}

// --- unit curve ---

inline float unit_curve_in_place(float x)
{
    if (!(x >= 0)) return 0;
    if (x < 1) return x * x;
    return x <= 2 ? 2 - (2 - x) * (2 - x) : 2;
}
inline float unit_curve(float x) { return x >= 1 && x <= 2 ? 4 * x - x * x - 2 : unit_curve_in_place(x); }

// Q from 0 to 14.
inline std::int16_t unit_curve_16s(std::int16_t x, int q, std::int32_t sf)
{
    const std::int32_t one = 1 << q, two = 2 << q;
    std::int32_t v = 0;
    if (x >= two)
        v = two << q;
    else if (x >= one)
        v = (two << q) - (two - x) * (two - x);
    else if (x >= 1)
        v = x * x;
    const std::int64_t count = std::int64_t{sf} + 2 * q;
    if (count > 31 || count < -31) return 0;
    const std::int32_t shifted =
        count > 0 ? v >> count : static_cast<std::int32_t>(static_cast<std::uint32_t>(v) << -count);
    return static_cast<std::int16_t>(std::min(shifted, 32767));
}

}  // namespace zelsr::test::reference
