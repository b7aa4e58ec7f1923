#include <algorithm>
#include <cmath>

#include "plain/plain.h"

namespace zelsr::bench::plain {

template <class T>
void copy(const T* src, T* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = src[i];
}
template void copy(const std::uint8_t*, std::uint8_t*, int);
template void copy(const float*, float*, int);
template void copy(const double*, double*, int);

template <class T>
void move(const T* src, T* dst, int len)
{
    if (dst < src)
        for (int i = 0; i < len; ++i) dst[i] = src[i];
    else
        for (int i = len - 1; i >= 0; --i) dst[i] = src[i];
}
template void move(const float*, float*, int);

template <class T>
void set(T value, T* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = value;
}
template void set(std::int16_t, std::int16_t*, int);
template void set(float, float*, int);

void absolute(const double* src, double* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = std::fabs(src[i]);
}

template <class T>
void add_to(const T* src, T* srcdst, int len)
{
    for (int i = 0; i < len; ++i) srcdst[i] += src[i];
}
template void add_to(const float*, float*, int);
template void add_to(const double*, double*, int);

template <class T>
void subtract_from(const T* src, T* srcdst, int len)
{
    for (int i = 0; i < len; ++i) srcdst[i] -= src[i];
}
template void subtract_from(const float*, float*, int);
template void subtract_from(const double*, double*, int);

void multiply(const float* first, const float* second, float* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = first[i] * second[i];
}

void multiply(const std::int16_t* first, const std::int16_t* second, std::int16_t* dst, int len, int sf)
{
    for (int i = 0; i < len; ++i) {
        int product = first[i] * second[i];
        if (sf > 0) product = (product + (1 << (sf - 1)) - 1 + ((product >> sf) & 1)) >> sf;
        dst[i] = static_cast<std::int16_t>(std::clamp(product, -32768, 32767));
    }
}

void add_constant(const float* src, float value, float* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = src[i] + value;
}

template <class T>
void multiply_constant(const T* src, T value, T* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = src[i] * value;
}
template void multiply_constant(const float*, float, float*, int);
template void multiply_constant(const double*, double, double*, int);

template <class T>
void divide(const T* divisor, const T* dividend, T* dst, int len)
{
    for (int i = 0; i < len; ++i) dst[i] = dividend[i] / divisor[i];
}
template void divide(const float*, const float*, float*, int);
template void divide(const double*, const double*, double*, int);

void root(double* srcdst, int len)
{
    for (int i = 0; i < len; ++i) srcdst[i] = std::sqrt(srcdst[i]);
}

void magnitude(const float* pairs, float* dst, int len)
{
    for (int i = 0; i < len; ++i)
        dst[i] = std::sqrt(pairs[2 * i] * pairs[2 * i] + pairs[2 * i + 1] * pairs[2 * i + 1]);
}

void magnitude(const std::int32_t* pairs, std::int32_t* dst, int len, int sf)
{
    for (int i = 0; i < len; ++i) {
        const double re = pairs[2 * i], im = pairs[2 * i + 1];
        dst[i] = static_cast<std::int32_t>(
            std::min(std::nearbyint(std::ldexp(std::sqrt(re * re + im * im), -sf)), 2147483647.0));
    }
}

}  // namespace zelsr::bench::plain
