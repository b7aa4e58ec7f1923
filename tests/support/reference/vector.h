// Elementary vector operations one element after the other, as their headers state them: what the tests compare
// against. Every function takes its sources first and fills a result of the same size.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "zelsr/types.h"

namespace zelsr::test::reference {

template <class T>
SrStatus copy(const std::vector<T>& src, std::vector<T>& dst)
{
    dst = src;
    return SrOk;
}

template <class T>
SrStatus fill(T value, std::vector<T>& dst)
{
    for (T& element : dst) std::memcpy(&element, &value, sizeof value);
    return SrOk;
}

// The sign bit cleared, whatever else the bits say.
inline SrStatus abs(const std::vector<double>& src, std::vector<double>& dst)
{
    for (std::size_t i = 0; i < src.size(); ++i) {
        std::uint64_t bits;
        std::memcpy(&bits, &src[i], sizeof bits);
        bits &= ~(std::uint64_t{1} << 63);
        std::memcpy(&dst[i], &bits, sizeof bits);
    }
    return SrOk;
}

template <class T>
SrStatus add(const std::vector<T>& src, const std::vector<T>& srcdst, std::vector<T>& dst)
{
    for (std::size_t i = 0; i < src.size(); ++i) dst[i] = srcdst[i] + src[i];
    return SrOk;
}

template <class T>
SrStatus sub(const std::vector<T>& src, const std::vector<T>& srcdst, std::vector<T>& dst)
{
    for (std::size_t i = 0; i < src.size(); ++i) dst[i] = srcdst[i] - src[i];
    return SrOk;
}

template <class T>
SrStatus mul(const std::vector<T>& first, const std::vector<T>& second, std::vector<T>& dst)
{
    for (std::size_t i = 0; i < first.size(); ++i) dst[i] = first[i] * second[i];
    return SrOk;
}

template <class T>
SrStatus add_c(const std::vector<T>& src, T value, std::vector<T>& dst)
{
    if (!(value < 0) && !(value > 0)) return copy(src, dst);
    for (std::size_t i = 0; i < src.size(); ++i) dst[i] = src[i] + value;
    return SrOk;
}

template <class T>
SrStatus mul_c(const std::vector<T>& src, T value, std::vector<T>& dst)
{
    if (value == 1) return copy(src, dst);
    if (value == 0) return fill(T(0), dst);
    for (std::size_t i = 0; i < src.size(); ++i) dst[i] = src[i] * value;
    return SrOk;
}

template <class T>
SrStatus div_c(const std::vector<T>& src, T value, std::vector<T>& dst)
{
    return mul_c(src, T(1) / value, dst);
}

template <class T>
SrStatus div(const std::vector<T>& divisor, const std::vector<T>& dividend, std::vector<T>& dst)
{
    SrStatus status = SrOk;
    for (std::size_t i = 0; i < divisor.size(); ++i) {
        dst[i] = dividend[i] / divisor[i];
        if (divisor[i] == 0) status = SrWarnDivByZero;
    }
    return status;
}

inline SrStatus sqrt(const std::vector<double>& src, std::vector<double>& dst)
{
    SrStatus status = SrOk;
    for (std::size_t i = 0; i < src.size(); ++i) {
        dst[i] = src[i] < 0 ? std::numeric_limits<double>::quiet_NaN() : std::sqrt(src[i]);
        if (src[i] < 0) status = SrWarnSqrtNegArg;
    }
    return status;
}

template <class T>
SrStatus max_every(const std::vector<T>& src, const std::vector<T>& srcdst, std::vector<T>& dst)
{
    for (std::size_t i = 0; i < src.size(); ++i) dst[i] = src[i] > srcdst[i] ? src[i] : srcdst[i];
    return SrOk;
}

template <class T>
SrStatus min_every(const std::vector<T>& src, const std::vector<T>& srcdst, std::vector<T>& dst)
{
    for (std::size_t i = 0; i < src.size(); ++i) dst[i] = src[i] < srcdst[i] ? src[i] : srcdst[i];
    return SrOk;
}

// The value times 2^-sf, to nearest with ties to even, saturated; exact in double before it is rounded.
inline int32_t scale_round_saturate(double value, int32_t sf)
{
    const double scaled = std::ldexp(value, -std::clamp(sf, -100, 100));
    return static_cast<int32_t>(std::nearbyint(std::clamp(scaled, -0x1p31, 0x1p31 - 1)));
}

// Squares, their sum and its root in double; a root of 2^31.5 at most, so that scaling it is exact.
inline SrStatus magnitude_32sc(const std::vector<Zel32sc>& src, int32_t sf, std::vector<int32_t>& dst)
{
    for (std::size_t i = 0; i < src.size(); ++i) {
        const double re = src[i].re;
        const double im = src[i].im;
        dst[i] = scale_round_saturate(std::sqrt(re * re + im * im), sf);
    }
    return SrOk;
}

// An extreme element and the first place that holds it.
template <class T>
struct Extreme {
    T value;
    int32_t index;
};

template <class T>
Extreme<T> largest(const std::vector<T>& src)
{
    Extreme<T> found{src[0], 0};
    for (std::size_t i = 1; i < src.size(); ++i)
        if (src[i] > found.value) found = {src[i], static_cast<int32_t>(i)};
    return found;
}

template <class T>
Extreme<T> smallest(const std::vector<T>& src)
{
    Extreme<T> found{src[0], 0};
    for (std::size_t i = 1; i < src.size(); ++i)
        if (src[i] < found.value) found = {src[i], static_cast<int32_t>(i)};
    return found;
}

// Exact for integers, and for singles and doubles that hold integers, as long as the sum fits 64 bits.
template <class T>
std::int64_t integer_dot(const std::vector<T>& first, const std::vector<T>& second)
{
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < first.size(); ++i)
        sum += static_cast<std::int64_t>(first[i]) * static_cast<std::int64_t>(second[i]);
    return sum;
}

// A sum of products and what its rounding errors are measured against.
struct DotProduct {
    long double sum = 0;
    long double magnitude = 0;  // sum of the products' magnitudes
};

template <class T>
DotProduct dot(const std::vector<T>& first, const std::vector<T>& second)
{
    DotProduct total;
    for (std::size_t i = 0; i < first.size(); ++i) {
        const long double product = static_cast<long double>(first[i]) * static_cast<long double>(second[i]);
        total.sum += product;
        total.magnitude += std::abs(product);
    }
    return total;
}

}  // namespace zelsr::test::reference
