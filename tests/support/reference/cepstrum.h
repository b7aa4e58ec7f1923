// Cosine transform and lifter, as they are stated.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/reference/convert.h"

namespace zelsr::test::reference {

constexpr double kPi = 3.141592653589793;

// Entry (i, j) of the table, i from 0 to the number of coefficients, j from 0.
inline float cosine_entry(int i, int j, int len_dct)
{
    return static_cast<float>(
        std::cos((static_cast<double>(static_cast<float>(j + 1)) - 0.5) * (i * kPi) / len_dct));
}

inline float sine_lifter(int i, int n_lifter, float val)
{
    const double half = static_cast<double>(static_cast<float>(n_lifter)) * 0.5;
    return static_cast<float>(std::sin(i * kPi / n_lifter) * half + 1.0) * val;
}

// The multipliers as the four forms of creation set them. Entry 0 is that of C0.
struct Lifter {
    std::vector<float> multipliers;
    bool c0;
};
inline Lifter plain_lifter(int len_cep, int n_lifter, float val)
{
    Lifter lifter{{val}, false};
    for (int i = 1; i <= len_cep; ++i) lifter.multipliers.push_back(sine_lifter(i, n_lifter, val));
    return lifter;
}
inline Lifter lifter_with_c0(int len_cep, int n_lifter, float val, float val0)
{
    Lifter lifter{plain_lifter(len_cep, n_lifter, val).multipliers, true};
    lifter.multipliers[0] = val0;
    return lifter;
}
inline Lifter user_lifter(const std::vector<float>& user)
{
    Lifter lifter{{0.0F}, false};
    lifter.multipliers.insert(lifter.multipliers.end(), user.begin(), user.end());
    return lifter;
}
inline Lifter user_lifter_with_c0(const std::vector<float>& user)
{
    Lifter lifter{user_lifter(user).multipliers, true};
    lifter.multipliers[0] = user.back();
    return lifter;
}

// A coefficient of a group of four: lane n sums the products n, n + 4, ...; the rest goes to lane 0.
inline float grouped_sum(const std::vector<float>& x, int i)
{
    const int len = static_cast<int>(x.size());
    float lanes[4] = {};
    for (int j = 0; j < len; ++j)
        lanes[j < len - len % 4 ? j % 4 : 0] += x[static_cast<std::size_t>(j)] * cosine_entry(i, j, len);
    return (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
}

inline float sequential_sum(const std::vector<float>& x, int i)
{
    float sum = 0;
    for (int j = 0; j < static_cast<int>(x.size()); ++j)
        sum += x[static_cast<std::size_t>(j)] * cosine_entry(i, j, static_cast<int>(x.size()));
    return sum;
}

// A coefficient behind the last group of four: lane n sums the products n, n + 8, ... and, apart, n + 4, n + 12,
// ...; both are joined before the rest goes to lane 0.
inline float left_over_sum(const std::vector<float>& x, int i)
{
    const int len = static_cast<int>(x.size()), eights = len - len % 8;
    float low[4] = {}, high[4] = {};
    for (int j = 0; j < eights; ++j)
        (j % 8 < 4 ? low : high)[j % 4] += x[static_cast<std::size_t>(j)] * cosine_entry(i, j, len);
    for (int n = 0; n < 4; ++n) low[n] += high[n];
    for (int j = eights; j < len; ++j) low[0] += x[static_cast<std::size_t>(j)] * cosine_entry(i, j, len);
    return (low[0] + low[1]) + (low[2] + low[3]);
}

// Coefficients 1 to the number of multipliers less one, then C0.
inline std::vector<float> cepstrum(const std::vector<float>& x, const Lifter& lifter)
{
    const int len_cep = static_cast<int>(lifter.multipliers.size()) - 1;
    std::vector<float> result;
    for (int i = 1; i <= len_cep; ++i) {
        const float sum = i <= len_cep - len_cep % 4 ? grouped_sum(x, i) : left_over_sum(x, i);
        result.push_back(lifter.multipliers[static_cast<std::size_t>(i)] * sum);
    }
    if (lifter.c0) result.push_back(lifter.multipliers[0] * sequential_sum(x, 0));
    return result;
}

template <class Source>
std::vector<std::int16_t> fixed_cepstrum(const std::vector<Source>& x, const Lifter& lifter, std::int32_t sf)
{
    std::vector<float> single;
    for (Source value : x) single.push_back(static_cast<float>(value));
    std::vector<std::int16_t> result;
    for (float value : cepstrum(single, lifter)) result.push_back(single_to_16s(value, multiplier<float>(sf), 1));
    return result;
}

}  // namespace zelsr::test::reference
