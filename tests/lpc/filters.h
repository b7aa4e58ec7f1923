// Random prediction filters that are stable, and signals and autocorrelations that lead to them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/effort.h"

namespace zelsr::test {

inline std::vector<float> to_singles(const std::vector<double>& x) { return {x.begin(), x.end()}; }
inline std::vector<float> to_singles(const std::vector<std::int16_t>& x) { return {x.begin(), x.end()}; }

// A(z) = 1 + a[0] z^-1 + ..., by step-up of reflection coefficients, k[m] = -a[m].
inline std::vector<double> filter_of(const std::vector<double>& k)
{
    std::vector<double> a;
    for (double stage : k) {
        const std::vector<double> old = a;
        for (std::size_t j = 0; j < old.size(); ++j) a[j] = old[j] - old[old.size() - j - 1] * stage;
        a.push_back(-stage);
    }
    return a;
}

// r[0] to r[order] of the process with these reflection coefficients.
inline std::vector<double> autocorrelation_of(const std::vector<double>& k, double r0 = 1)
{
    std::vector<double> r = {r0}, a;
    double error = r0;
    for (double stage : k) {
        double next = stage * error;
        for (std::size_t j = 0; j < a.size(); ++j) next -= a[j] * r[r.size() - j - 1];
        r.push_back(next);
        error *= 1 - stage * stage;
        std::vector<double> old = a;
        for (std::size_t j = 0; j < old.size(); ++j) a[j] = old[j] - old[old.size() - j - 1] * stage;
        a.push_back(-stage);
    }
    return r;
}

// Large at first, smaller later on, as those of speech are.
inline std::vector<double> random_reflection(int order, double largest = 0.9)
{
    std::vector<double> k;
    for (int m = 0; m < order; ++m) {
        const double bound = std::min(largest, 3.0 / (m + 1));
        k.push_back(uniform(-bound, bound));
    }
    return k;
}

inline std::vector<float> stable_filter(int order, double largest = 0.9)
{
    return to_singles(filter_of(random_reflection(order, largest)));
}

// Noise through the filter of two resonances.
inline std::vector<float> resonant_signal(int length, float amplitude = 1)
{
    std::vector<float> x;
    double y[4] = {};
    for (int n = 0; n < length; ++n) {
        const double next = uniform(-1.0, 1.0) + 1.2 * y[0] - 0.9 * y[1] + 0.3 * y[2] - 0.2 * y[3];
        for (int i = 3; i > 0; --i) y[i] = y[i - 1];
        y[0] = next;
        x.push_back(static_cast<float>(next) * amplitude);
    }
    return x;
}
inline std::vector<std::int16_t> resonant_signal_16s(int length, float amplitude)
{
    std::vector<std::int16_t> x;
    for (float y : resonant_signal(length, amplitude))
        x.push_back(static_cast<std::int16_t>(std::clamp(y, -32768.0F, 32767.0F)));
    return x;
}

// Noise through 1 / (1 - 1.5 z^-1 + 0.8 z^-2).
inline std::vector<float> resonance(int length)
{
    std::vector<float> x;
    double y1 = 0, y2 = 0;
    for (int n = 0; n < length; ++n) {
        const double y = uniform(-1.0, 1.0) + 1.5 * y1 - 0.8 * y2;
        y2 = y1;
        y1 = y;
        x.push_back(static_cast<float>(y));
    }
    return x;
}

}  // namespace zelsr::test
