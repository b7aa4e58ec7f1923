// The two fixed banks of the distributed front-end, weight by weight.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "support/reference/filter_bank.h"

namespace zelsr::test::reference {

// 1 - numerator / denominator, and numerator / denominator, each rounded down in Q14.
template <class W>
W falling(int numerator, int denominator)
{
    if constexpr (std::is_same_v<W, float>)
        return static_cast<float>(1 - static_cast<long double>(numerator) / denominator);
    return static_cast<W>(16384 - (numerator << 14) / denominator);
}

inline float aurora_mel(float f) { return static_cast<float>(2595 * std::log(1 + f / 700.0L)); }

// count centres from low to 4000 Hz, the grid from one to the next a steps-th part of the whole.
inline std::vector<int32_t> aurora_centers(float low, int count, int steps)
{
    std::vector<int32_t> c;
    const auto span = static_cast<float>(static_cast<long double>(aurora_mel(4000)) - aurora_mel(low));
    for (int i = 0; i < count; ++i) {
        const auto mel = static_cast<float>(static_cast<long double>(i) * span / steps + aurora_mel(low));
        const auto bin = static_cast<float>(128.0L / 8000 * 700 * static_cast<float>(std::exp(mel / 2595.0L) - 1));
        c.push_back(static_cast<int32_t>(std::nearbyint(bin > 64 ? 64 : bin)));
    }
    return c;
}

// Rises from zero at c[r] to 1 at c[r + 1], falls to zero at c[r + 2].
template <class W>
void plain_triangle(Bank<W>& bank, int r)
{
    const int before = bank.c[at(r)], peak = bank.c[at(r + 1)], behind = bank.c[at(r + 2)];
    for (int b = before + 1; b <= peak; ++b)
        bank.left[at(r)][at(b - before)] = slope_of_bins<W>(b - before, peak - before);
    for (int b = peak + 1; b < behind; ++b)
        bank.right[at(r)][at(b - peak - 1)] = falling<W>(b - peak, behind - peak);
}

template <class W>
Bank<W> aurora_high_bank()
{
    Bank<W> bank(aurora_centers(80, 5, 4));
    for (int r = 0; r < 3; ++r) plain_triangle(bank, r);
    return bank;
}

template <class W>
Bank<W> aurora_low_bank()
{
    std::vector<int32_t> c = aurora_centers(1, 27, 24);
    c.pop_back();
    c.insert(c.begin(), 0);  // the first filter is the falling half of a triangle, in its left row
    Bank<W> bank(c);
    bank.left[0][0] = falling<W>(0, c[2] - c[1]);
    for (int r = 1; r < bank.filters(); ++r) plain_triangle(bank, r);
    for (int r = 0; r < bank.filters(); ++r) {  // areas of 1
        std::conditional_t<std::is_same_v<W, float>, long double, int64_t> sum = 0;
        for (auto* side : {&bank.left, &bank.right})
            for (W weight : (*side)[at(r)]) sum += weight;
        if (sum == 0) continue;
        for (auto* side : {&bank.left, &bank.right})
            for (W& weight : (*side)[at(r)]) {
                if constexpr (std::is_same_v<W, float>)
                    weight = static_cast<float>(weight / sum);
                else
                    weight = static_cast<W>((static_cast<int64_t>(weight) << 14) / sum);
            }
    }
    return bank;
}

}  // namespace zelsr::test::reference
