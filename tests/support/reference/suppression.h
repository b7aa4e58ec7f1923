// Gains of noise suppression: their tables by rule, the quadratics as numbers.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

namespace zelsr::test::reference {

// Modified Bessel functions I0 and I1 by their power series, for small x; scaled by exp(-x).
inline long double bessel_i(int order, long double x)
{
    long double term = order == 0 ? 1.0L : x / 2, sum = term;
    for (int k = 1; k < 400; ++k) {
        term *= (x / 2) * (x / 2) / (static_cast<long double>(k) * (k + order));
        sum += term;
    }
    return sum * std::exp(-x);
}

// Gain of the minimum mean-square error amplitude estimator over the Wiener gain q, at v = q * posterior ratio.
inline long double amplitude_gain(long double v)
{
    const long double root_pi = 1.772453850905516027298167483341145183L;
    return root_pi / (2 * std::sqrt(v)) * ((1 + v) * bessel_i(0, v / 2) + v * bessel_i(1, v / 2));
}

// g(x / 2^22) for x below 129.
inline const std::array<int32_t, 129>& direct_gains()
{
    static const std::array<int32_t, 129> table = [] {
        std::array<int32_t, 129> gains{0x7fffffff};
        for (int x = 1; x <= 128; ++x)
            gains[static_cast<std::size_t>(x)] =
                static_cast<int32_t>(std::llround(amplitude_gain(std::ldexp(static_cast<long double>(x), -22))));
        return gains;
    }();
    return table;
}

struct Quadratic {
    int32_t p0, p1, p2;
};
constexpr Quadratic kQuadratics[24] = {
    {669498645, 72453962, 1576642499},
    {473414302, 51231813, 557423223},
    {334764744, 36225125, 197075987},
    {236728959, 25613282, 69674844},
    {167413213, 18108852, 24632335},
    {118408092, 12801395, 8707825},
    {83768274, 9047010, 3077959},
    {59291231, 6390220, 1087711},
    {42007360, 4508716, 384201},
    {29819668, 3174276, 135577},
    {21249233, 2225121, 47749},
    {15255427, 1546422, 16748},
    {11108711, 1056723, 5823},
    {8299601, 698929, 1986},
    {6470760, 435261, 648},
    {5361107, 245271, 193},
    {4756698, 121987, 49},
    {4463049, 56781, 11},
    {4325745, 27183, 2},
    {4259445, 13368, 0},
    {4226742, 6635, 0},
    {4210491, 3306, 0},
    {4202389, 1650, 0},
    {4198345, 824, 0},
};

// g in Q22 for x (v in Q22) from 129 on.
inline int64_t quadratic_gain(int32_t x)
{
    const int b = std::bit_width(static_cast<uint32_t>(x)) - 1, i = b - 7;
    const int64_t m = x - (int32_t{1} << b);
    const int64_t t = ((m * kQuadratics[i].p2) >> 13) - kQuadratics[i].p1;
    return ((m * t) >> (i + 5)) + kQuadratics[i].p0;
}

inline float emns(float q, float r)
{
    if (!(r <= 100.0F)) r = 100.0F;
    if (r < 3.1e-05F) r = 3.1e-05F;
    const float product = q * r;
    const auto x = static_cast<int32_t>(double{product} * 4194304.0);
    if (x < 129) return q * static_cast<float>(direct_gains()[static_cast<std::size_t>(x)]);
    return static_cast<float>(double{q * static_cast<float>(quadratic_gain(x))} / 4194304.0);
}

inline int32_t emns(int32_t q, int32_t r)
{
    if (r < 2) r = 1;
    if (r > 3276800) r = 3276800;
    const auto x = static_cast<int32_t>((int64_t{q} * r) >> 24);
    const int64_t gain = x < 129 ? int64_t{q} * direct_gains()[static_cast<std::size_t>(x)]
                                 : (int64_t{q} * quadratic_gain(x)) >> 22;
    return static_cast<int32_t>(std::min<int64_t>(gain, 0x7fffffff));
}

// x / (1 + x) in Q31, x a number of 16ths, rounded down.
inline int32_t wiener_step(int64_t sixteenths)
{
    return static_cast<int32_t>((sixteenths << 31) / (16 + sixteenths));
}

// x in Q15.
inline int32_t wiener(int32_t x)
{
    if (x < 0) return 0;
    if (x < 4 << 15) return wiener_step(x >> 11);
    if (x < 64 << 15) return wiener_step(64 * (x >> 17));
    if (x < 512 << 15) return wiener_step(1024 * (x >> 21));
    return x < 1024 << 15 ? wiener_step(8192) : 0x7fffffff;
}

inline float wiener(float x)
{
    if (x < 0) x = 0;
    return x / (x + 1.0F);
}

}  // namespace zelsr::test::reference
