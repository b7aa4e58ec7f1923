// Tables of suppression gains.
#pragma once

#include <array>
#include <cstdint>

namespace zelsr {
namespace detail {

// Compile-time arithmetic for small positive arguments.
constexpr double root(double x)
{
    double r = x < 1 ? 1 : x;
    for (int i = 0; i < 60; ++i) r = 0.5 * (r + x / r);
    return r;
}

// g(v) = sqrt(pi) / (2 sqrt(v)) * exp(-v / 2) * ((1 + v) I0(v / 2) + v I1(v / 2)), for v up to 2^-15, where four
// terms of each series are more than a double holds.
constexpr double amplitude_gain(double v)
{
    constexpr double pi = 3.14159265358979323846;
    const double h = v / 2, quarter = h * h / 4;
    const double i0 = 1 + quarter * (1 + quarter / 4 * (1 + quarter / 9));
    const double i1 = h / 2 * (1 + quarter / 2 * (1 + quarter / 6 * (1 + quarter / 12)));
    const double falling = 1 - h * (1 - h / 2 * (1 - h / 3 * (1 - h / 4)));
    return root(pi) / (2 * root(v)) * falling * ((1 + v) * i0 + v * i1);
}

}  // namespace detail

// g(x / 2^22) rounded to whole numbers; at 0 the largest number there is.
inline constexpr auto DIRECT_VALUE_Q0 = [] {
    std::array<int32_t, 129> table{INT32_MAX};
    for (int32_t x = 1; x < 129; ++x)
        table[static_cast<std::size_t>(x)] = static_cast<int32_t>(detail::amplitude_gain(x / 4194304.0) + 0.5);
    return table;
}();
static_assert(DIRECT_VALUE_Q0[1] == 1815 && DIRECT_VALUE_Q0[128] == 160);

// g in Q22 for x with the highest bit i + 7: P0 at the power of two itself, P1 and P2 fitted over the octave, with
// scales that grow with i (5 + i and 18 + i bits of the mantissa).
inline constexpr int32_t P0_2_32SQ22[24] = {
    669498645, 473414302, 334764744, 236728959, 167413213, 118408092, 83768274, 59291231,
    42007360,  29819668,  21249233,  15255427,  11108711,  8299601,   6470760,  5361107,
    4756698,   4463049,   4325745,   4259445,   4226742,   4210491,   4202389,  4198345,
};
inline constexpr int32_t P1_2_32SQ5i[24] = {
    72453962, 51231813, 36225125, 25613282, 18108852, 12801395, 9047010, 6390220,
    4508716,  3174276,  2225121,  1546422,  1056723,  698929,   435261,  245271,
    121987,   56781,    27183,    13368,    6635,     3306,     1650,    824,
};
inline constexpr int32_t P2_2_32SQi4[24] = {
    1576642499, 557423223, 197075987, 69674844, 24632335, 8707825, 3077959, 1087711, 384201, 135577, 47749, 16748,
    5823,       1986,      648,       193,      49,       11,      2,       0,       0,      0,      0,     0,
};

// x / (1 + x) in Q31, truncated: in steps of 1/16 up to 4, of 4 up to 60, of 64 up to 448, at 512.
inline constexpr auto WienerTable = [] {
    std::array<int32_t, 88> table{};
    const auto quotient = [](int64_t numerator, int64_t denominator) {
        return static_cast<int32_t>((numerator << 31) / denominator);
    };
    for (std::size_t i = 0; i <= 64; ++i)
        table[i] = quotient(static_cast<int64_t>(i), static_cast<int64_t>(16 + i));
    for (std::size_t i = 65; i <= 86; ++i) {
        const auto x = static_cast<int64_t>(i <= 78 ? 4 * (i - 63) : 64 * (i - 78));
        table[i] = quotient(x, 1 + x);
    }
    return table;
}();
static_assert(WienerTable[86] == (int64_t{512} << 31) / 513);

// Bits of a step in the first three segments of x in Q15, and of the ends of the last two.
inline constexpr int32_t WienerSegmentBitOffset[5] = {11, 17, 21, 24, 25};

}  // namespace zelsr
