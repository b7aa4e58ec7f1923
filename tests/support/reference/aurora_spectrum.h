// Spectrum steps of the distributed front-end, element by element. They run in the default environment, but for
// the noise spectrum in single precision.
#pragma once

#include <xmmintrin.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "support/reference/convert.h"

namespace zelsr::test::reference {

// --- smoothed power spectrum ---

inline std::vector<float> smoothed(const std::vector<float>& x)
{
    const auto square = [&](std::size_t i) { return x[i] * x[i]; };
    const std::size_t m = x.size() / 4;
    std::vector<float> out(m + 1);
    out[0] = ((square(0) + square(2)) + square(3)) * 0.5F;
    for (std::size_t i = 1; i < m; ++i)
        out[i] = ((square(4 * i) + square(4 * i + 1)) + (square(4 * i + 2) + square(4 * i + 3))) * 0.5F;
    out[m] = square(1);
    return out;
}

// Four halves of 2^30 wrap to the lowest integer, and saturate downwards.
inline std::vector<int16_t> smoothed(const std::vector<int16_t>& x)
{
    const auto half_square = [&](std::size_t i) { return uint32_t(x[i] * x[i]) >> 1; };
    const std::size_t m = x.size() / 4;
    std::vector<int16_t> out(m + 1);
    out[0] = saturate<int16_t>(half_square(0) + half_square(2) + half_square(3));
    for (std::size_t i = 1; i < m; ++i)
        out[i] = saturate<int16_t>(static_cast<int32_t>(half_square(4 * i) + half_square(4 * i + 1) +
                                                        half_square(4 * i + 2) + half_square(4 * i + 3)));
    out[m] = saturate<int16_t>(x[1] * x[1]);
    return out;
}

// x * 2^-sf, rounded down; what leaves 64 bits on the left is lost.
inline int64_t shifted(int64_t x, int32_t sf)
{
    if (sf >= 0) return x >> std::min(sf, 63);
    return sf <= -64 ? 0 : static_cast<int64_t>(static_cast<uint64_t>(x) << -sf);
}

inline int64_t half_square_64(int32_t x) { return (int64_t{x} * x) >> 1; }

// The low 32 bits of the square, as a signed value.
inline int64_t nyquist_square(int32_t x)
{
    return static_cast<int32_t>(static_cast<uint32_t>(x) * static_cast<uint32_t>(x));
}

inline std::vector<int32_t> smoothed_32s(const std::vector<int32_t>& x, int32_t sf)
{
    const auto square = [&](std::size_t i) { return static_cast<double>(x[i]) * static_cast<double>(x[i]); };
    const std::size_t m = x.size() / 4;
    std::vector<int32_t> out(m + 1);
    const auto saturated = [sf](int64_t sum) {
        return sf < 0 ? shift_left_saturated<int32_t>(sum, -std::max(sf, -64))
                      : saturate<int32_t>(shifted(sum, sf));
    };
    out[0] = saturated(half_square_64(x[0]) + half_square_64(x[2]) + half_square_64(x[3]));
    const auto factor = multiplier<double>(sf == INT32_MAX ? sf : sf + 1);
    for (std::size_t i = 1; i < m; ++i)
        out[i] = to_32_bits(
            ((square(4 * i) + square(4 * i + 1)) + (square(4 * i + 2) + square(4 * i + 3))) * factor, 1);
    out[m] = saturated(nyquist_square(x[1]));
    return out;
}

inline std::vector<int64_t> smoothed_64s(const std::vector<int32_t>& x, int32_t sf)
{
    const std::size_t m = x.size() / 4;
    std::vector<int64_t> out(m + 1);
    out[0] = shifted(half_square_64(x[0]) + half_square_64(x[2]) + half_square_64(x[3]), sf);
    for (std::size_t i = 1; i < m; ++i) {
        uint64_t sum = 0;
        for (std::size_t k = 0; k < 4; ++k) sum += static_cast<uint64_t>(half_square_64(x[4 * i + k]));
        out[i] = shifted(static_cast<int64_t>(sum), sf);
    }
    out[m] = shifted(nyquist_square(x[1]), sf);
    return out;
}

// --- noise spectrum ---

// The value for real, and how far two reciprocals of relative error at most 1.5 * 2^-12 and the single roundings
// may lead from it.
struct NoiseBand {
    double value, tolerance;
};
inline NoiseBand noise(float a, float b)
{
    const unsigned control = _mm_getcsr();
    _mm_setcsr(control | _MM_ROUND_TOWARD_ZERO);
    const volatile float va = a, vb = b;
    const volatile float whole = va + vb;
    const volatile float tenth = 0.1F * va;
    const volatile float part = tenth + vb;
    _mm_setcsr(control);
    if (whole == 0 || part == 0) return {0, 0};
    const double share = static_cast<double>(0.1F) * a / whole, ratio = static_cast<double>(b) / part;
    const double updated = share * (ratio + 1), spread = std::abs(share) * (std::abs(ratio) + 1);
    return {b * (static_cast<double>(0.9F) + updated),
            std::abs(b) * (spread * (2 * 1.51 / 4096) + (0.9 + spread) * 0x1p-20)};
}

// The integer sum that is tested wraps at 32 bits, the sum that divides is one of singles.
template <class T>
T noise(T a, T b, int32_t sf)
{
    const auto single = [](auto x) { return static_cast<float>(x); };
    if (static_cast<uint32_t>(a) + static_cast<uint32_t>(b) == 0) return 0;
    const float part = 0.1F * single(a) + single(b);
    if (std::abs(part) < 1.0F) return 0;
    const float share = single(a) / (single(a) + single(b));
    const float y = single(b) * (0.1F * share * (single(b) / part + 1.0F) + 0.9F) * multiplier<float>(sf);
    if constexpr (std::is_same_v<T, int16_t>) {
        if (y > 32767.0F) return 32767;
        return y > -32768.0F ? static_cast<int16_t>(to_32_bits(y, 0)) : int16_t{-32768};
    } else {
        return to_32_bits(y, 0);
    }
}

// --- Wiener gain ---

// The estimate that this processor gives.
inline float estimate(float x) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(x))); }

inline float wiener_design(float p, float n, float d, float q)
{
    const float rise = p - n;
    const float e = (0.98F * d + 0.02F * (rise > 0 ? rise : 0.0F)) * q;
    const float g = e / (e + 1.0F);
    float f = g * (p * q);
    if (!(f > 0.07943282F)) f = 0.07943282F;
    return f / (f + 1.0F);
}
inline float wiener_design(float p, float n, float d) { return wiener_design(p, n, d, estimate(n)); }

// A division by zero counts as 0.
inline int16_t wiener_design(int16_t p, int16_t n, int16_t d)
{
    if (n == 0) return 1206;
    const int64_t r = 16384 / n;
    const int64_t rise = p > n ? p - n : 0;
    const int64_t s = 82 * rise + 4014 * d;
    const int64_t m = s * r, t = m >> 14;
    const int64_t g = t == -4096 ? 0 : (t * 16384) / (t + 4096);
    const int64_t x = std::max<int64_t>(((p * g) >> 14) * r, 1301);
    return static_cast<int16_t>((x * 128) / ((x >> 7) + 128));
}

// --- filter taps ---

constexpr std::array<std::size_t, 17> kTabs = {8, 7, 6, 5, 4, 3, 2, 1, 0, 2, 3, 4, 5, 6, 7, 8, 9};

}  // namespace zelsr::test::reference
