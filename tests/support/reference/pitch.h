// Correlation coefficients, pitch marks and entropies, element by element as they are stated.
#pragma once

#include <xmmintrin.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/reference/convert.h"
#include "zelsr/types.h"

namespace zelsr::test::reference {

inline constexpr float kSmallestNormal = std::numeric_limits<float>::min();

using Samples = std::vector<std::int16_t>;

inline float sum_of_products(const Samples& a, const Samples& b, std::size_t len)
{
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < len; ++i) sum += std::int64_t{a[i]} * b[i];
    return static_cast<float>(sum);
}

// ab / (sqrt(ea) * sqrt(eb)) in double; 0 where the energies' product is not above the smallest normal single.
inline float coefficient(double ab, float ea, float eb)
{
    if (!(std::abs(ea * eb) > kSmallestNormal)) return 0;
    return static_cast<float>(ab / (std::sqrt(double{ea}) * std::sqrt(double{eb})));
}

inline float correlation(const Samples& a, const Samples& b)
{
    return coefficient(double{sum_of_products(a, b, a.size())}, sum_of_products(a, a, a.size()),
                       sum_of_products(b, b, b.size()));
}

inline float partial_correlation(const Samples& a, const Samples& b, float energy)
{
    return coefficient(double{sum_of_products(a, b, a.size())}, energy, sum_of_products(b, b, b.size()));
}

// The energies are sums in single precision, in the order of their growth; the products' sum is exact, or
// (cross_in_single) in single precision.
inline std::vector<float> decimated_correlations(const Samples& a, const Samples& b, std::int32_t longest,
                                                 std::int32_t shortest, std::int32_t decimation,
                                                 bool cross_in_single = false)
{
    const std::int64_t off = longest - shortest, step = decimation;
    const auto square = [](std::int16_t x) { return static_cast<float>(std::int32_t{x} * x); };
    const auto cross = [&](std::int64_t from, std::int64_t len) {
        std::int64_t exact = 0;
        float single = 0;
        for (std::int64_t i = 0; i < len; i += step) {
            const std::int32_t product =
                std::int32_t{a[static_cast<std::size_t>(from + i)]} * b[static_cast<std::size_t>(i)];
            exact += product;
            single += static_cast<float>(product);
        }
        return cross_in_single ? double{single} : static_cast<double>(exact);
    };
    float ea = 0, eb = 0;
    std::int64_t next = 0;
    for (; next < shortest; next += step) {
        ea += square(a[static_cast<std::size_t>(off + next)]);
        eb += square(b[static_cast<std::size_t>(next)]);
    }
    std::vector<float> result{coefficient(cross(off, shortest), ea, eb)};
    for (std::int64_t k = 1; k <= off / step; ++k) {
        ea += square(a[static_cast<std::size_t>(off - k * step)]);
        eb += square(b[static_cast<std::size_t>(next)]);
        next += step;
        result.push_back(coefficient(cross(off - k * step, shortest + k * step), ea, eb));
    }
    return result;
}

struct Interpolated {
    SrStatus status = SrOk;
    float beta = 0;
    bool has_coefficient = true;
    float coefficient = 0;
};

inline Interpolated interpolated_correlation(const Samples& a, const Samples& b)
{
    double c00 = 0, c11 = 0, c01 = 0, e = 0, p0 = 0, p1 = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double x = a[i], y = b[i], z = b[i + 1];
        c00 += y * y;
        c11 += z * z;
        c01 += y * z;
        e += x * x;
        p0 += y * x;
        p1 += x * z;
    }
    const double d = (c11 - c01) * p0 + (c00 - c01) * p1;
    if (d == 0) return {SrWarnDivByZero, 0, true, static_cast<float>(p0)};
    const double beta = (p1 * c00 - p0 * c01) / d;
    if (!(beta >= 0) || beta >= 1) return {SrOk, static_cast<float>(beta), false, 0};
    const double q = 1 - beta;
    const double v = e * (c00 * q * q + 2 * beta * q * c01 + beta * beta * c11);
    return {SrOk, static_cast<float>(beta), true,
            static_cast<float>(v != 0 ? (q * p0 + beta * p1) / std::sqrt(v) : p0)};
}

// The processor's own estimate, which differs between makes, and one Newton step.
inline float estimated_reciprocal(float d)
{
    const float r = _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(d)));
    return r * (2.0F - d * r);
}

struct Frequencies {
    SrStatus status = SrOk;
    std::vector<float> values;
};

inline Frequencies frequencies(const std::vector<float>& marks)
{
    Frequencies result;
    float before = 0;
    for (float mark : marks) {
        if (mark == before) result.status = SrWarnDivByZero;
        result.values.push_back(mark == before ? std::numeric_limits<float>::infinity()
                                               : estimated_reciprocal(mark - before));
        before = mark;
    }
    return result;
}

struct Frequencies_16s {
    SrStatus status = SrOk;
    std::vector<std::int16_t> values;
};

inline Frequencies_16s frequencies(const Samples& marks, std::int32_t sf)
{
    Frequencies_16s result;
    float before = 0;
    for (std::int16_t mark : marks) {
        const float period = static_cast<float>(mark) - before;
        before = mark;
        if (period == 0) result.status = SrWarnDivByZero;
        result.values.push_back(
            period == 0 ? std::int16_t{0} : single_to_16s(estimated_reciprocal(period), multiplier<float>(sf), 1));
    }
    return result;
}

// Sum of x * log2(x) over x above 0, in extended precision, and the magnitudes that errors scale with.
struct Entropy {
    long double sum = 0, magnitude = 0;
};

template <class T>
Entropy entropy(const std::vector<T>& values, long double scale = 1)
{
    Entropy result;
    for (T x : values) {
        if (!(x > 0)) continue;
        const long double y = static_cast<long double>(x) * scale;
        const long double term = y * std::log(y) / std::log(2.0L);
        result.sum += term;
        result.magnitude += std::abs(term);
    }
    return result;
}

}  // namespace zelsr::test::reference
