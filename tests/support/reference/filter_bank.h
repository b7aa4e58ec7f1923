// Filter banks over float frequencies, bin by bin as they are stated: a weight of W is a single, or an int32 in
// Q14.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "support/reference/fixed_point.h"

namespace zelsr::test::reference {

constexpr int kMelMode = 1, kFrequencyMode = 2, kSignalInput = 4;

inline std::size_t at(int i) { return static_cast<std::size_t>(i); }

// The power of two that a length is rounded up to, at least 2, and its order.
inline int rounded_length(int length)
{
    int rounded = 2;
    while (rounded < length) rounded *= 2;
    return rounded;
}
inline int rounded_order(int length)
{
    int order = 1;
    while (1 << order < length) ++order;
    return order;
}

// left[r][k] belongs to bin c[r] + k, up to c[r + 1]; right[r][k] to bin c[r + 1] + 1 + k, up to c[r + 2].
template <class W>
struct Bank {
    std::vector<int32_t> c;
    std::vector<std::vector<W>> left, right;

    explicit Bank(std::vector<int32_t> centers) : c(std::move(centers)), left(c.size() - 2), right(c.size() - 2)
    {
        for (std::size_t r = 0; r < left.size(); ++r) {
            left[r].resize(span(c[r], c[r + 1]) + (c[r] <= c[r + 1]));
            right[r].resize(span(c[r + 1], c[r + 2]));
        }
    }
    static std::size_t span(int32_t from, int32_t to)
    {
        return static_cast<std::size_t>(std::max(int64_t{0}, int64_t{to} - from));
    }
    int filters() const { return static_cast<int>(left.size()); }
    // As an accessor hands them over: the left side of filter i, counted from 1, then its right side.
    std::vector<float> coefficients(int i) const
    {
        const double unit = std::is_same_v<W, float> ? 1 : 6.103515625e-5;
        std::vector<float> all;
        for (W weight : left[at(i - 1)]) all.push_back(static_cast<float>(static_cast<double>(weight) * unit));
        for (W weight : right[at(i - 1)]) all.push_back(static_cast<float>(static_cast<double>(weight) * unit));
        return all;
    }
};

// A quotient in the mel domain: single, or in Q14 truncated from the single.
template <class W>
W slope(long double numerator, long double denominator)
{
    if constexpr (std::is_same_v<W, float>) return static_cast<float>(numerator / denominator);
    return static_cast<W>(static_cast<float>(numerator * 16384 / denominator));
}

// A quotient of bin counts.
template <class W>
W slope_of_bins(int numerator, int denominator)
{
    if constexpr (std::is_same_v<W, float>)
        return static_cast<float>(static_cast<long double>(numerator) / denominator);
    return static_cast<W>((numerator << 14) / denominator);
}

struct MelArguments {
    int length;
    float rate, low, high;
    int filters;
    float mel_mul, mel_div;
    int flag;
    float linear_end = 0;  // mixed banks only: the frequency up to which filters are linear,
    int linear = 0;        // and how many of them are

    bool in_mel() const { return (flag & kFrequencyMode) == 0; }
    // melMul * ln(1 + f / melDiv), not rounded.
    long double mel(long double f) const { return mel_mul * ln(f); }
    long double ln(long double f) const { return std::log(static_cast<double>(1 + f / mel_div)); }
    // Of a mel value, in bins.
    float bin_of_mel(float mel) const
    {
        const auto ratio =
            static_cast<float>(std::exp(static_cast<double>(static_cast<long double>(mel) / mel_mul)) - 1.0L);
        return static_cast<float>(static_cast<long double>(rounded_length(length)) / rate * mel_div * ratio);
    }
    float bin_of_frequency(float f) const
    {
        return static_cast<float>(f * (static_cast<long double>(rounded_length(length)) / rate));
    }
    // The mel value of bin b, not rounded.
    long double mel_of_bin(int b) const
    {
        return mel(static_cast<float>(b) * (static_cast<long double>(rate) / rounded_length(length)));
    }
    int32_t center(float bin) const
    {
        return static_cast<int32_t>(in_mel() ? std::trunc(bin) : std::nearbyint(bin));
    }
};

// Filter i's triangle over bin counts: the peak is exactly 1, and no bin within the centres is 0.
template <class W>
void triangle_over_bins(Bank<W>& bank, int i)
{
    const std::vector<int32_t>& c = bank.c;
    const int before = c[at(i - 1)], peak = c[at(i)], behind = c[at(i + 1)];
    for (int b = before; b <= peak; ++b)
        bank.left[at(i - 1)][at(b - before)] = slope_of_bins<W>(b - before + 1, peak - before + 1);
    for (int b = peak + 1; b <= behind; ++b)
        bank.right[at(i - 1)][at(b - peak - 1)] = slope_of_bins<W>(behind + 1 - b, behind - peak + 1);
}

template <class W>
Bank<W> mel_bank(const MelArguments& a)
{
    const auto low = static_cast<float>(a.mel(a.low)), high = static_cast<float>(a.mel(a.high));
    const auto span = static_cast<float>(static_cast<long double>(high) - low);
    std::vector<float> mel;
    std::vector<int32_t> centers;
    for (int i = 0; i <= a.filters + 1; ++i) {
        mel.push_back(static_cast<float>(static_cast<long double>(i) * span / (a.filters + 1) + low));
        centers.push_back(a.center(a.bin_of_mel(mel.back())));
    }
    Bank<W> bank(centers);
    for (int i = 1; i <= a.filters; ++i) {
        if (!a.in_mel()) {
            triangle_over_bins(bank, i);
            continue;
        }
        const int before = bank.c[at(i - 1)], peak = bank.c[at(i)], behind = bank.c[at(i + 1)];
        const long double left = mel[at(i - 1)], middle = mel[at(i)], right = mel[at(i + 1)];
        for (int b = before + 1; b <= peak; ++b)  // element 0 is 0
            bank.left[at(i - 1)][at(b - before)] =
                slope<W>(static_cast<float>(a.mel_of_bin(b)) - left, static_cast<float>(middle - left));
        for (int b = peak + 1; b <= behind; ++b)
            bank.right[at(i - 1)][at(b - peak - 1)] =
                slope<W>(right - static_cast<float>(a.mel_of_bin(b)), static_cast<float>(right - middle));
    }
    return bank;
}

template <class W>
Bank<W> mixed_bank(const MelArguments& a)
{
    const bool all_linear = a.linear == a.filters;
    const int steps = all_linear ? a.filters + 1 : a.linear;
    std::vector<float> frequency, bin(at(a.filters + 2));
    for (int i = 0; i <= steps; ++i) {
        const long double span = static_cast<long double>(a.linear_end) - a.low;
        frequency.push_back(static_cast<float>(i * span / steps + a.low));
        bin[at(i)] = a.bin_of_frequency(frequency.back());
    }
    if (!all_linear) {
        const auto start = static_cast<float>(a.mel(a.linear_end));
        const long double span = static_cast<long double>(static_cast<float>(a.mel(a.high))) - start;
        for (int k = a.linear; k <= a.filters + 1; ++k)  // the last linear centre is written over
            bin[at(k)] =
                a.bin_of_mel(static_cast<float>((k - a.linear) * span / (a.filters - a.linear + 1) + start));
    }
    std::vector<int32_t> centers;
    for (float value : bin) centers.push_back(a.center(value));

    Bank<W> bank(centers);
    const auto mel_single = [&](float f) {
        return static_cast<long double>(a.mel_mul) * static_cast<float>(a.ln(f));
    };
    const auto not_negative = [](W weight) { return weight < 0 ? W(0) : weight; };
    for (int i = 1; i <= a.filters; ++i) {
        if (!a.in_mel() || i > a.linear) {
            triangle_over_bins(bank, i);
            continue;
        }
        const int before = bank.c[at(i - 1)], peak = bank.c[at(i)], behind = bank.c[at(i + 1)];
        const long double left = mel_single(frequency[at(i - 1)]), middle = mel_single(frequency[at(i)]);
        for (int b = before; b <= peak; ++b)
            bank.left[at(i - 1)][at(b - before)] = not_negative(slope<W>(a.mel_of_bin(b) - left, middle - left));
        for (int b = peak + 1; b <= behind; ++b) {
            W& weight = bank.right[at(i - 1)][at(b - peak - 1)];
            if (i < a.linear || all_linear) {
                const long double right = mel_single(frequency[at(i + 1)]);
                weight = not_negative(slope<W>(right - a.mel_of_bin(b), right - middle));
            } else {  // a mel value from a bin number, as it is wanted
                weight = not_negative(
                    slope<W>(static_cast<float>(behind - a.mel_of_bin(b)), static_cast<float>(behind - peak)));
            }
        }
    }
    return bank;
}

// Eight partial sums: bin c[i-1] alone, then whole groups of eight bins of a slope, the rest of it one by one into
// the first sum; the upper four onto the lower four, then pairs.
inline std::vector<float> evaluate(const Bank<float>& bank, const std::vector<float>& x)
{
    std::vector<float> y;
    for (int i = 1; i <= bank.filters(); ++i) {
        float sums[8] = {};
        const auto add = [&](int first_bin, const float* weights, int count) {
            int k = 0;
            for (; k + 8 <= count; k += 8)
                for (int lane = 0; lane < 8; ++lane) sums[lane] += x[at(first_bin + k + lane)] * weights[k + lane];
            for (; k < count; ++k) sums[0] += x[at(first_bin + k)] * weights[k];
        };
        const std::vector<float>&left = bank.left[at(i - 1)], &right = bank.right[at(i - 1)];
        if (!left.empty()) {
            add(bank.c[at(i - 1)], left.data(), 1);
            add(bank.c[at(i - 1)] + 1, left.data() + 1, static_cast<int>(left.size()) - 1);
        }
        add(bank.c[at(i)] + 1, right.data(), static_cast<int>(right.size()));
        for (int lane = 0; lane < 4; ++lane) sums[lane] += sums[lane + 4];
        y.push_back((sums[0] + sums[1]) + (sums[2] + sums[3]));
    }
    return y;
}

// Exact 64-bit sums; with wrapping, each product in 32 bits.
template <class X>
std::vector<int64_t> exact_sums(const Bank<int32_t>& bank, const std::vector<X>& x, bool wrapping = false)
{
    std::vector<int64_t> sums;
    for (int i = 1; i <= bank.filters(); ++i) {
        int64_t sum = 0;
        const auto add = [&](int bin, int32_t weight) {
            const int64_t product = int64_t{weight} * x[at(bin)];
            sum += wrapping ? static_cast<int32_t>(product) : product;
        };
        for (std::size_t k = 0; k < bank.left[at(i - 1)].size(); ++k)
            add(bank.c[at(i - 1)] + static_cast<int>(k), bank.left[at(i - 1)][k]);
        for (std::size_t k = 0; k < bank.right[at(i - 1)].size(); ++k)
            add(bank.c[at(i)] + 1 + static_cast<int>(k), bank.right[at(i - 1)][k]);
        sums.push_back(sum);
    }
    return sums;
}

// sum * 2^-shift, shift from -20 to 63, rounded down and saturated.
template <class Y>
Y shifted(int64_t sum, int shift)
{
    return saturate<Y>(shift >= 0 ? sum >> shift : static_cast<int64_t>(static_cast<uint64_t>(sum) << -shift));
}

}  // namespace zelsr::test::reference
