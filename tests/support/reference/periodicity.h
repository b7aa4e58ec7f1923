// Peaks of a sequence, and the period of one.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace zelsr::test::reference {

// The mean of what exists of x[i - half] ... x[i + half].
template <class T>
T local_mean(const std::vector<T>& x, int i, int half)
{
    if (half == 0) return x[static_cast<std::size_t>(i)];
    const int from = std::max(0, i - half), to = std::min(static_cast<int>(x.size()) - 1, i + half);
    std::conditional_t<std::is_same_v<T, float>, double, int64_t> sum = 0;
    for (int k = from; k <= to; ++k) sum += x[static_cast<std::size_t>(k)];
    return static_cast<T>(sum / (to - from + 1));
}

inline bool about_equal(float a, float b)
{
    return std::abs(double{std::max(a, b)} * 0.000001) >= std::abs(double{a} - double{b});
}
inline bool about_equal(int32_t a, int32_t b) { return a == b; }

template <class T>
std::vector<uint8_t> peaks(const std::vector<T>& x, int m, int w)
{
    const int n = static_cast<int>(x.size());
    std::vector<uint8_t> flags(x.size(), 2);  // every one must be decided
    const auto flag = [&](int i) -> uint8_t& { return flags[static_cast<std::size_t>(i)]; };
    if (n == 1) return {1};
    if (w >= n - 1) return std::vector<uint8_t>(x.size(), 0);
    std::vector<T> y;
    for (int i = 0; i < n; ++i) y.push_back(local_mean(x, i, w));
    const auto at = [&](int i) { return y[static_cast<std::size_t>(i)]; };

    int i = 1, falls = 0;
    while (i < n) {
        flag(i - 1) = 0;
        if (at(i) >= at(i - 1)) break;
        ++falls;
        ++i;
    }
    if (i == n) {
        flag(n - 1) = 0;
        flag(0) = 1;
        return flags;
    }
    if (falls >= m) flag(0) = 1;
    if (i == n - 1) {
        flag(n - 1) = x[x.size() - 1] > x[x.size() - 2] && m == 1;
        return flags;
    }
    while (i < n) {
        int rises = about_equal(at(i), at(i - 1)) ? 0 : 1;
        while (i < n - 1) {
            flag(i) = 0;
            if (at(i) >= at(i + 1)) break;
            ++i;
            ++rises;
        }
        if (i == n - 1) {
            flag(i) = rises >= std::min(i, m);
            return flags;
        }
        if (about_equal(at(i), at(i + 1))) {
            ++i;
            continue;
        }
        int j = i + 1, f = 1;
        while (j < n - 1) {
            flag(j) = 0;
            if (at(j + 1) >= at(j)) break;
            ++j;
            ++f;
        }
        const int p = j - f;
        if (rises >= std::min(p, m) && (p < n - m ? f >= m : f >= n - 1 - p)) flag(p) = 1;
        i = j + 1;
    }
    flag(i - 1) = 0;
    return flags;
}

template <class Measure>
struct Period {
    Measure measure = 0;
    int32_t period = 0;
};

// Least squares: how much of the energy a periodic sequence explains, less what any sequence of so many terms
// would.
inline Period<float> least_squares(const std::vector<float>& x, int greatest, int least)
{
    const auto n = static_cast<int>(x.size());
    double energy = 0;
    for (float v : x) energy += double{v} * double{v};
    Period<float> best;
    for (int period = least; period <= greatest; ++period) {
        double a = 0, b = 0;
        for (int k = 0; k < period; ++k) {
            double s = 0, e = 0;
            int count = 0;
            for (int i = k; i < n; i += period, ++count) {
                const double v = x[static_cast<std::size_t>(i)];
                s += v;
                e += v * v;
            }
            const auto over_root = static_cast<float>(1 / std::sqrt(static_cast<double>(count)));
            const auto over_count = static_cast<float>(1.0 / count);
            const double scaled = s * double{over_root};
            a += scaled * scaled;
            b += e * double{over_count};
        }
        if (energy - b > 0 && a - b > 0) {
            const auto ratio = static_cast<float>((a - b) / (energy - b));
            if (ratio > best.measure) best = {ratio, period};
        }
    }
    return best;
}

inline int32_t over_count_q30(int count) { return (1 << 30) / count; }
// The largest r with r^2 count <= 2^60.
inline int32_t over_root_q30(int count)
{
    auto r = static_cast<int64_t>(std::sqrt(0x1p60 / count));
    while (r * r > (int64_t{1} << 60) / count) --r;
    while ((r + 1) * (r + 1) <= (int64_t{1} << 60) / count) ++r;
    return static_cast<int32_t>(r);
}

inline Period<int16_t> least_squares(const std::vector<int16_t>& x, int greatest, int least)
{
    const auto n = static_cast<int>(x.size());
    int64_t energy = 0;
    for (int32_t v : x) energy += v * v;
    int t = 0;
    for (; energy > 0x7fffffff; ++t) energy >>= 1;
    const int h = t >> 1, g = t - h;
    Period<int16_t> best;
    for (int period = least; period <= greatest; ++period) {
        uint32_t a = 0, b = 0;  // modulo 2^32
        for (int k = 0; k < period; ++k) {
            int32_t s = 0, e = 0;
            int count = 0;
            for (int i = k; i < n; i += period, ++count) {
                const int32_t v = x[static_cast<std::size_t>(i)];
                s += v;
                e += (v * v) >> t;
            }
            const int64_t scaled = int64_t{over_root_q30(count)} * s;
            a += static_cast<uint32_t>((scaled >> (g + 30)) * (scaled >> (h + 30)));
            b += static_cast<uint32_t>((int64_t{over_count_q30(count)} * e) >> 30);
        }
        const auto unexplained = static_cast<int32_t>(static_cast<uint32_t>(energy) - b);
        const auto explained = static_cast<int32_t>(a - b);
        if (unexplained >= 1 && explained >= 1) {
            const auto ratio =
                static_cast<int16_t>(std::min<int64_t>((int64_t{explained} << 15) / unexplained, 32767));
            if (ratio > best.measure) best = {ratio, period};
        }
    }
    return best;
}

// Comb sums: the greatest mean of up to six terms a period apart; the measure is its sum over that of all terms.
inline Period<float> comb(const std::vector<float>& x, int greatest, int least)
{
    double total = 0;
    for (float v : x) total += v;
    if (std::abs(total) <= std::abs(std::max(0.0, total) * 0.000001)) return {};
    float best = 0, raw = 0;
    int32_t period_of_best = 0;
    for (int period = least; period <= greatest; ++period)
        for (int k = 0; k < period; ++k) {
            float s = x[static_cast<std::size_t>(k)];
            int count = 1;
            for (std::size_t i = static_cast<std::size_t>(k + period); i < x.size() && count < 6;
                 i += static_cast<std::size_t>(period), ++count)
                s += x[i];
            const float mean = s * static_cast<float>(1.0 / count);
            if (mean > best) {
                best = mean;
                raw = s;
                period_of_best = period;
            }
        }
    return {static_cast<float>(double{raw} / total), period_of_best};
}

inline Period<int16_t> comb(const std::vector<int32_t>& x, int greatest, int least)
{
    int64_t total = 0;
    for (int64_t v : x) total += v;
    int t = 0;
    for (; total > 0x7fffffff; ++t) total >>= 1;
    if (total == 0) return {};
    int64_t best = 0, raw = 0;
    int32_t period_of_best = 0;
    for (int period = least; period <= greatest; ++period)
        for (int k = 0; k < period; ++k) {
            int64_t s = x[static_cast<std::size_t>(k)];
            int count = 1;
            for (std::size_t i = static_cast<std::size_t>(k + period); i < x.size() && count < 6;
                 i += static_cast<std::size_t>(period), ++count)
                s += x[i];
            const int64_t mean = (s * over_count_q30(count)) >> 30;
            if (mean > best) {
                best = mean;
                raw = s >> t;
                period_of_best = period;
            }
        }
    return {static_cast<int16_t>(std::min<int64_t>((raw << 15) / total, 32767)), period_of_best};
}

}  // namespace zelsr::test::reference
