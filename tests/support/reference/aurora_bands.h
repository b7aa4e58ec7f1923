// Band filters, wave processing, blind equalisation and high-band coding of the distributed front-end, as they are
// stated.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "support/reference/fixed_point.h"
#include "zelsr/core/vector.h"

namespace zelsr::test::reference {

// --- filters ---

// Singles for singles; sums of 16-bit products are exact in double.
template <class T>
using Sum = std::conditional_t<std::is_same_v<T, float>, float, double>;

template <class T>
struct Bands {
    std::vector<Sum<T>> low, high;
};

// The products of every fourth tap make a sum of their own.
template <class T>
std::array<Sum<T>, 4> lanes(const T* x, const std::vector<T>& taps)
{
    std::array<Sum<T>, 4> sums{};
    for (std::size_t k = 0; k < taps.size(); ++k)
        sums[k % 4] += static_cast<Sum<T>>(taps[k]) * static_cast<Sum<T>>(x[k]);
    return sums;
}

// len loses its lowest bit.
template <class T>
Bands<T> low_high(const std::vector<T>& x, int len, const std::vector<T>& taps)
{
    Bands<T> bands;
    for (int m = 0; m < len / 2; ++m) {
        const auto sums = lanes(x.data() + 2 * m, taps);
        bands.low.push_back((sums[0] + sums[1]) + (sums[2] + sums[3]));
        const Sum<T> odd = (sums[0] - sums[1]) + (sums[2] - sums[3]);
        bands.high.push_back(m % 2 != 0 ? odd : -odd);
    }
    return bands;
}

// sum * 2^-sf, limited, to the nearest even.
inline std::int16_t scaled_to_16s(double sum, std::int32_t sf)
{
    const double scaled = std::ldexp(sum, -std::clamp(sf, -1000, 1000));
    return static_cast<std::int16_t>(std::nearbyint(std::clamp(scaled, -32768.0, 32767.0)));
}

inline std::vector<std::int16_t> scaled_to_16s(const std::vector<double>& sums, std::int32_t sf)
{
    std::vector<std::int16_t> all;
    for (double sum : sums) all.push_back(scaled_to_16s(sum, sf));
    return all;
}

// In the order of the taps.
inline std::vector<float> residual(const std::vector<float>& x, const std::vector<float>& taps)
{
    std::vector<float> all(80);
    for (std::size_t n = 0; n < 80; ++n)
        for (std::size_t j = 0; j < 17; ++j) all[n] += taps[j] * x[n + j];
    return all;
}

// Taps 0 and 1, 2 and 3, ... in pairs, whose sums wrap at 32 bits; tap 16 by itself.
inline std::vector<double> residual(const std::vector<std::int16_t>& x, const std::vector<std::int16_t>& taps)
{
    std::vector<double> all(80);
    for (std::size_t n = 0; n < 80; ++n) {
        const auto product = [&](std::size_t j) { return std::int64_t{taps[j]} * x[n + j]; };
        for (std::size_t j = 0; j < 16; j += 2)
            all[n] += static_cast<std::int32_t>(static_cast<std::uint32_t>(product(j) + product(j + 1)));
        all[n] += static_cast<double>(product(16));
    }
    return all;
}

// --- wave processing ---

constexpr int kFrame = 200;

inline std::int32_t wrapped(std::int64_t x) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(x)); }

// Sums in the type of the energies: singles, or wrapped integers.
inline float plus(float a, float b) { return a + b; }
inline float minus(float a, float b) { return a - b; }
inline std::int32_t plus(std::int32_t a, std::int32_t b) { return wrapped(std::int64_t{a} + b); }
inline std::int32_t minus(std::int32_t a, std::int32_t b) { return wrapped(std::int64_t{a} - b); }

inline float teager(float x, float before, float after)
{
    const float square = x * x, product = before * after;
    return std::abs(square - product);
}
inline std::int32_t teager(std::int16_t x, std::int16_t before, std::int16_t after)
{
    return wrapped(std::abs(std::int64_t{x} * x - std::int64_t{before} * after));
}

// x[-1] is x[0], x[200] is x[199].
template <class T>
auto energies(const std::vector<T>& x)
{
    std::vector<decltype(teager(T(), T(), T()))> e;
    for (int i = 0; i < kFrame; ++i) {
        const auto at = [&](int k) { return x[static_cast<std::size_t>(std::clamp(k, 0, kFrame - 1))]; };
        e.push_back(teager(at(i), at(i - 1), at(i + 1)));
    }
    return e;
}

// Nine energies around each, the ends repeated.
template <class E>
std::vector<E> smoothed(const std::vector<E>& e)
{
    const auto at = [&](int k) { return e[static_cast<std::size_t>(std::clamp(k, 0, kFrame - 1))]; };
    E five;
    if constexpr (std::is_same_v<E, float>)
        five = 5.0F * e[0];
    else
        five = wrapped(std::int64_t{5} * e[0]);
    std::vector<E> s = {plus(plus(plus(plus(five, e[1]), e[2]), e[3]), e[4])};
    for (int i = 1; i < kFrame; ++i) s.push_back(plus(minus(s.back(), at(i - 5)), at(i + 4)));
    return s;
}

// The first of the largest of count values from first on.
template <class E>
int largest(const std::vector<E>& s, int first, int count)
{
    int best = first;
    for (int i = first + 1; i < first + count; ++i)
        if (s[static_cast<std::size_t>(i)] > s[static_cast<std::size_t>(best)]) best = i;
    return best;
}

// In ascending order.
template <class E>
std::vector<int> wave_peaks(const std::vector<E>& s)
{
    const int main = largest(s, 0, kFrame);
    std::vector<int> peaks = {main};
    for (int c = main; c < 175;) {
        c = largest(s, c + 25, c < 121 ? 55 : 175 - c);
        peaks.push_back(c);
    }
    for (int c = main; c > 25;) {
        const int d = std::min(c, 79);
        c = largest(s, c - d, d - 24);
        peaks.insert(peaks.begin(), c);
    }
    return peaks;
}

enum class Weight { Low, Unit, High };

// part(d): the raised part of a distance d.
template <class Part>
std::vector<Weight> wave_weights(const std::vector<int>& peaks, Part part)
{
    std::vector<Weight> w(kFrame, Weight::Low);
    const auto set = [&](int i, Weight weight) { w.at(static_cast<std::size_t>(i)) = weight; };
    const auto transition = [&](int i) {
        set(i - 1, Weight::Unit);
        set(i, Weight::Unit);
    };
    for (std::size_t k = 0; k + 1 < peaks.size(); ++k) {
        const int a = std::max(peaks[k] - 4, 0), b = peaks[k] + part(peaks[k + 1] - peaks[k]) - 4;
        for (int i = a; i < b; ++i) set(i, Weight::High);
        if (a > 0) transition(a);
        transition(a < b ? b : a);
    }
    const int last = peaks.back(), before = peaks[peaks.size() - 2];
    const int a = last - 4, b = std::min(last + part(last - before) - 4, kFrame);
    for (int i = a; i < b; ++i) set(i, Weight::High);
    if (a < 198) transition(a);
    const int c = a < b ? b : a;
    if (c < kFrame) transition(c);
    return w;
}

inline std::vector<float> weighted_wave(const std::vector<float>& x, const std::vector<Weight>& w)
{
    std::vector<float> y;
    for (std::size_t i = 0; i < kFrame; ++i)
        y.push_back(x[i] * (w[i] == Weight::Low ? 0.8F : w[i] == Weight::High ? 1.2F : 1.0F));
    return y;
}
inline std::vector<std::int16_t> weighted_wave(const std::vector<std::int16_t>& x, const std::vector<Weight>& w)
{
    std::vector<std::int16_t> y;
    for (std::size_t i = 0; i < kFrame; ++i)
        y.push_back(saturate<std::int16_t>(shift_right_rounded(x[i] * (w[i] == Weight::Low    ? 27
                                                                       : w[i] == Weight::High ? 38
                                                                                              : 32),
                                                               5)));
    return y;
}

template <class T>
std::vector<Weight> weights_of_wave(const std::vector<T>& x)
{
    return wave_weights(wave_peaks(smoothed(energies(x))),
                        [](int d) { return std::is_same_v<T, float> ? static_cast<int>(d * 0.8) : d * 27 >> 5; });
}

template <class T>
std::vector<T> wave_processing(const std::vector<T>& x)
{
    return weighted_wave(x, weights_of_wave(x));
}

// --- blind equalisation ---

inline float equalization_step(float log_energy)
{
    return std::min(std::max(log_energy - 3.296875F, 0.0F), 1.0F) * 0.0087890625F;
}
inline std::int64_t equalization_step(std::int32_t log_energy)
{
    return std::clamp<std::int64_t>(std::int64_t{log_energy} - 211, 0, 64) * 9;
}

inline void equalize(float reference, float& cepstrum, float& bias, float log_energy)
{
    const float t = cepstrum - bias, change = (t - reference) * equalization_step(log_energy);
    cepstrum = t;
    bias = change + bias;
}
inline void equalize(std::int16_t reference, std::int16_t& cepstrum, std::int16_t& bias, std::int32_t log_energy)
{
    const std::int32_t d = cepstrum - bias, e = d - reference;
    cepstrum = saturate<std::int16_t>(d);
    bias = saturate<std::int16_t>(bias + ((equalization_step(log_energy) * e) >> 16));
}

// --- high-band coding ---

// -10 up to e^-10, and for what is no number.
inline long double floored_logarithm(float v)
{
    return static_cast<double>(v) > std::exp(-10.0) ? std::log(static_cast<long double>(v)) : -10.0L;
}

// first..last, added from left to right in singles.
inline float sum_left_to_right(const std::vector<float>& x, std::size_t first, std::size_t last)
{
    float sum = x[first];
    for (std::size_t i = first + 1; i <= last; ++i) sum += x[i];
    return sum;
}
// Rounded once.
inline float sum_rounded_once(const std::vector<float>& x, std::size_t first, std::size_t last)
{
    long double sum = 0;
    for (std::size_t i = first; i <= last; ++i) sum += static_cast<long double>(x[i]);
    return static_cast<float>(sum);
}

inline std::vector<float> high_band(const std::vector<float>& a, const std::vector<float>& p,
                                    const std::vector<float>& q)
{
    const float p_sums[] = {sum_left_to_right(p, 33, 38), sum_left_to_right(p, 39, 48),
                            sum_rounded_once(p, 49, 64)};
    const float q_sums[] = {sum_rounded_once(q, 66, 76), sum_rounded_once(q, 78, 96),
                            sum_rounded_once(q, 98, 128)};
    constexpr long double weights[] = {0.1L, 0.2L, 0.7L};
    std::vector<float> out;
    for (std::size_t j = 0; j < 3; ++j) {
        long double sum = 0;
        for (std::size_t k = 0; k < 3; ++k)
            sum +=
                (floored_logarithm(q_sums[k] * 0.5F) - (floored_logarithm(p_sums[k]) - floored_logarithm(a[j]))) *
                weights[k];
        out.push_back(static_cast<float>(sum));
    }
    return out;
}

// ln(v) in Q7 by the library's own logarithm, whose nearness to the exact one has its own tests: some v lie too
// near to the middle of two results for another to round the same way.
inline std::int32_t floored_logarithm(std::int32_t v)
{
    std::int32_t logarithm = -1280;
    if (v > 0) zelsLn_32s_Sfs(&v, &logarithm, 1, -7);
    return logarithm;
}

inline std::int32_t scaled_band(const std::vector<std::int32_t>& x, std::size_t first, std::size_t last, int sf)
{
    std::int64_t sum = 0;
    for (std::size_t i = first; i <= last; ++i) sum += x[i];
    return saturate<std::int32_t>(shift_right_rounded(sum, sf));
}

// In Q7.
inline std::vector<std::int32_t> high_band_q7(const std::vector<std::int32_t>& a,
                                              const std::vector<std::int32_t>& p,
                                              const std::vector<std::int32_t>& q)
{
    const std::int32_t p_sums[] = {scaled_band(p, 33, 38, 0), scaled_band(p, 39, 48, 0),
                                   scaled_band(p, 49, 64, 0)};
    const std::int32_t q_sums[] = {scaled_band(q, 66, 76, 3), scaled_band(q, 78, 96, 3),
                                   scaled_band(q, 98, 128, 3)};
    constexpr std::int32_t weights[] = {102, 205, 717};
    std::vector<std::int32_t> out;
    for (std::size_t j = 0; j < 3; ++j) {
        std::int32_t sum = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            const std::int32_t level = q_sums[k] > 0 ? floored_logarithm(q_sums[k]) + 177 : -1280;
            sum += ((level - (floored_logarithm(p_sums[k]) - floored_logarithm(a[j]))) * weights[k]) >> 10;
        }
        out.push_back(sum);
    }
    return out;
}

// Right by sf + 7 from -7 on; below, left by 32 + sf + 7, the number of places modulo 32.
inline std::int32_t shifted_q7(std::int32_t x, std::int32_t sf)
{
    const std::int64_t c = std::int64_t{sf} + 7;
    if (c >= 0) return x >> std::min<std::int64_t>(c, 31);
    return wrapped(std::int64_t{x} << (c & 31));
}

}  // namespace zelsr::test::reference
