// Noise power by minima controlled recursive averaging, bin by bin.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace zelsr::test::reference {

// The low 32 bits, with their sign.
inline int32_t low_bits(int64_t x)
{
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(x)));
}

template <class T>
struct Mcra {
    int rate = 0, length = 0, order = 0, shift = 0, window = 0, count = 0, first = 1;
    T noise_smoothing = 0, presence_smoothing = 0, spectrum_smoothing = 0, delta = 0;
    std::vector<T> presence, smoothed, minimum, temporary;

    std::size_t bins() const { return static_cast<std::size_t>(length / 2 + 1); }
};

// 2^(order - 1) is the largest power of two not above half.
inline int halvings(int half)
{
    int count = 0;
    for (; half > 0; half /= 2) ++count;
    return count;
}

// exp(e ln): e in Q15, ln in Q31, the result in Q31; the first four terms of the series, modulo 2^32.
inline int32_t power_series(int64_t e, int64_t ln)
{
    const int64_t y = (e * ln) >> 31;
    const int64_t q2 = ((y * y) >> 15) >> 1;
    const int64_t q3 = (((q2 * y) >> 15) * 715827883) >> 31;
    return low_bits((q2 + y + 32768 + q3) * 65536);
}

// shift 0: half the length, and a window in powers of two.
template <class T>
Mcra<T> mcra(int rate, int length, int shift = 0)
{
    Mcra<T> m;
    const int half = length / 2;
    m.rate = rate;
    m.length = length;
    m.order = halvings(half);
    m.shift = shift == 0 ? half : shift;
    if constexpr (std::is_same_v<T, float>) {
        const double frame = rate * 0.008;
        const float frames = shift == 0 ? static_cast<float>(frame / (1 << (m.order - 1)))
                                        : static_cast<float>(frame) / static_cast<float>(shift);
        m.window = static_cast<int>(frames * 125.0F);
        const float t = 125.0F * static_cast<float>(m.shift) / static_cast<float>(rate);
        m.noise_smoothing = static_cast<float>(std::pow(0.7, double{t}));
        m.spectrum_smoothing = static_cast<float>(std::pow(0.8, double{t}));
        m.presence_smoothing = static_cast<float>(std::pow(0.2, double{t}));
        m.delta = 5.0F;
    } else {
        const int64_t product = int64_t{17179869} * rate;
        const int64_t frames =
            (shift == 0 ? (product >> 16) >> (m.order - 1) : (product / shift) >> 16) + 1;  // Q15
        m.window = static_cast<int>((125 * frames) >> 15);
        const int64_t e = ((int64_t{125} * m.shift) << 15) / rate;
        m.noise_smoothing = power_series(e, -765953610);     // ln 0.7
        m.spectrum_smoothing = power_series(e, -479197128);  // ln 0.8
        int64_t r = power_series(e, -432030200);             // ln 0.2 / 8
        for (int i = 0; i < 3; ++i) r = (r * r) >> 31;
        m.presence_smoothing = low_bits(r);
        m.delta = 163840;
    }
    const std::vector<T> nothing(m.bins());
    m.presence = m.smoothed = m.minimum = m.temporary = nothing;
    return m;
}

inline float smoothed_bin(const Mcra<float>& m, float s, float p)
{
    return s * m.spectrum_smoothing + (1.0F - m.spectrum_smoothing) * p;
}
// 1 - factor in Q31, in 32 bits: below zero for a factor that has wrapped.
inline int32_t rest_of(int32_t factor) { return low_bits(int64_t{0x7fffffff} - factor); }
inline int32_t smoothed_bin(const Mcra<int32_t>& m, int32_t s, int32_t p)
{
    return low_bits((int64_t{s} * m.spectrum_smoothing + int64_t{p} * rest_of(m.spectrum_smoothing)) >> 31);
}

inline void noise_bin(Mcra<float>& m, std::size_t k, float power, float& noise)
{
    m.presence[k] = m.presence_smoothing * m.presence[k];
    if (m.smoothed[k] > m.minimum[k] * m.delta) m.presence[k] = m.presence[k] + (1.0F - m.presence_smoothing);
    const float a = m.noise_smoothing + (1.0F - m.noise_smoothing) * m.presence[k];
    noise = a * noise + (1.0F - a) * power;
}
inline void noise_bin(Mcra<int32_t>& m, std::size_t k, int32_t power, int32_t& noise)
{
    const double c = 0x1p-31, f = 2147483647.0;
    const double ap = m.presence_smoothing, ad = m.noise_smoothing;
    const double ap_rest = rest_of(m.presence_smoothing), ad_rest = rest_of(m.noise_smoothing);
    const double threshold = std::min(double(m.minimum[k]) * double(m.delta) * 0x1p-15, f);
    double q = double(m.presence[k]) * ap * c;
    if (threshold < double(m.smoothed[k])) q += ap_rest;
    const double a = ad + q * ad_rest * c;
    const auto rounded = [](double x) {
        return static_cast<int32_t>(std::llrint(std::clamp(x, -0x1p31, 0x1p31 - 1)));
    };
    m.presence[k] = rounded(q);
    noise = rounded(a * double(noise) * c + (f - a) * double(power) * c);
}

// Equal ones stay; a number goes before a NaN in the estimator's arrays only where the formula says so, which
// tests keep out of.
template <class T>
T smaller(T a, T b)
{
    return a < b ? a : b;
}

template <class T>
void update(Mcra<T>& m, const std::vector<T>& power, std::vector<T>& noise)
{
    if (m.first == 1) {
        m.smoothed = m.minimum = m.temporary = noise = power;
        m.presence.assign(m.bins(), T(0));
    } else {
        for (std::size_t k = 0; k < m.bins(); ++k) m.smoothed[k] = smoothed_bin(m, m.smoothed[k], power[k]);
        const bool restart = m.count == m.window;
        for (std::size_t k = 0; k < m.bins(); ++k) {
            m.minimum[k] = smaller(m.smoothed[k], restart ? m.temporary[k] : m.minimum[k]);
            m.temporary[k] = restart ? m.smoothed[k] : smaller(m.smoothed[k], m.temporary[k]);
        }
        if (restart) m.count = 0;
        for (std::size_t k = 0; k < m.bins(); ++k) noise_bin(m, k, power[k], noise[k]);
    }
    ++m.count;
    m.first = 0;
}

}  // namespace zelsr::test::reference
