// The all-integer filter bank: its fixed-point logarithm and exponential, centres, Q30 weights and sums.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "support/reference/filter_bank.h"

namespace zelsr::test::reference {

constexpr int64_t kLn2 = 1488522236;    // Q31
constexpr int64_t kLog2e = 0xB8AA3B29;  // Q31

// Left by any count, modulo 2^64.
inline int64_t left_by(int64_t x, int count) { return static_cast<int64_t>(static_cast<uint64_t>(x) << count); }

// ln(x), x and the result in Q22, x positive: binary logarithm by 31 squarings.
inline int64_t ln_q22(int64_t x)
{
    int e = 0;
    for (int64_t rest = x; rest >= 2; rest >>= 1) ++e;
    int64_t m = e > 29 ? x >> (e - 29) : x << (29 - e);
    int64_t fraction = 0;
    for (int round = 0; round < 31; ++round) {
        fraction *= 2;
        m = (m * m) >> 29;
        if (m >= 0x40000000) {
            m /= 2;
            fraction |= 1;
        }
    }
    return (kLn2 * (e - 22) + ((kLn2 * fraction) >> 31)) >> 9;
}

// exp(t) - 1, t in Q22 and not negative, the result in Q22 and at most 0x7FFFFFFF - 1.0.
inline int64_t exp_minus_one_q22(int64_t t)
{
    const int64_t y = (t * kLog2e) >> 22;
    const int64_t whole = y >> 31;
    int64_t z = ((y - (whole << 31)) * kLn2) >> 31;
    uint64_t acc = 0x80000000u, step = 0x40000000u;
    for (int k = 0; k < 32; ++k) {
        const auto above = static_cast<int64_t>(std::llround(std::log1p(std::ldexp(1.0L, -k - 1)) * 0x1p31L));
        const auto below = static_cast<int64_t>(std::llround(std::log1p(-std::ldexp(1.0L, -k - 1)) * 0x1p31L));
        if (z > above) {
            z -= above;
            acc = ((acc << 31) + acc * step) >> 31;
        } else if (z < below) {
            z -= below;
            acc = ((acc << 31) - acc * step) >> 31;
        }
        step /= 2;
    }
    const int shift = static_cast<int>(9 - whole);
    const uint64_t value = shift >= 0 ? acc >> shift : acc << -shift;
    return static_cast<int64_t>(std::min<uint64_t>(value, 0x7FFFFFFF)) - 0x400000;
}

struct IntegerArguments {
    int length, rate, low, high, filters;
    int32_t mel_mul, mel_div;  // Q15
};

inline std::vector<int32_t> integer_centers(const IntegerArguments& a)
{
    const int64_t div = int64_t{a.mel_div} << 7, mul = int64_t{a.mel_mul} << 7;
    const auto mel = [&](int f) { return ((ln_q22((int64_t{f} << 22) + div) - ln_q22(div)) * a.mel_mul) >> 15; };
    const int64_t low = mel(a.low), high = mel(a.high);
    const int64_t bin_scale = (((int64_t{rounded_length(a.length)} << 22) / a.rate) * div) >> 22;
    std::vector<int32_t> c;
    for (int i = 0; i <= a.filters + 1; ++i) {
        const int64_t m = ((a.filters + 1) * low + i * (high - low)) / (a.filters + 1);
        const int64_t p = (exp_minus_one_q22((m << 22) / mul) * bin_scale) >> 22;
        c.push_back(static_cast<int32_t>((p >> 22) + ((p >> 21) & 1)));
    }
    return c;
}

inline Bank<int32_t> integer_bank(const IntegerArguments& a)
{
    Bank<int32_t> bank(integer_centers(a));
    for (int i = 1; i <= a.filters; ++i) {
        const int64_t before = bank.c[at(i - 1)], peak = bank.c[at(i)], behind = bank.c[at(i + 1)];
        for (int64_t b = before; b <= peak; ++b)
            bank.left[at(i - 1)][static_cast<std::size_t>(b - before)] =
                static_cast<int32_t>(((b - before + 1) << 30) / (peak - before + 1));
        for (int64_t b = peak + 1; b <= behind; ++b)
            bank.right[at(i - 1)][static_cast<std::size_t>(b - peak - 1)] =
                static_cast<int32_t>(((behind + 1 - b) << 30) / (behind - peak + 1));
    }
    return bank;
}

// Products are shifted right 8 before they are added, so that a sum is in Q22; a sum that leaves 64 bits wraps.
inline std::vector<int64_t> integer_sums(const Bank<int32_t>& bank, const std::vector<int32_t>& x)
{
    std::vector<int64_t> sums;
    for (int i = 1; i <= bank.filters(); ++i) {
        uint64_t sum = 0;
        const auto add = [&](int first_bin, const std::vector<int32_t>& weights) {
            for (std::size_t k = 0; k < weights.size(); ++k)
                sum += static_cast<uint64_t>((int64_t{weights[k]} * x[at(first_bin) + k]) >> 8);
        };
        add(bank.c[at(i - 1)], bank.left[at(i - 1)]);
        add(bank.c[at(i)] + 1, bank.right[at(i - 1)]);
        sums.push_back(static_cast<int64_t>(sum));
    }
    return sums;
}

// The sum times 2^-sf, rounded half up to an integer, limited above; below, the low 32 bits are taken.
inline int32_t integer_result(int64_t sum, int32_t sf)
{
    if (sf >= 0)
        sum >>= sf;
    else if (sum >= int64_t{1} << (63 + sf))
        sum = INT64_MAX;
    else
        sum = left_by(sum, -sf);
    const int64_t rounded = (sum >> 22) + ((sum >> 21) & 1);
    return rounded > INT32_MAX ? INT32_MAX : static_cast<int32_t>(static_cast<uint32_t>(rounded));
}

}  // namespace zelsr::test::reference
