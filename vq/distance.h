// Squared distances of two vectors, and the comparisons with a margin that training and weighted searches make.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "core/simd.h"

namespace zelsr::vq {

inline constexpr float kLargest = std::numeric_limits<float>::max();

// a below b by more than a millionth; true of a NaN.
inline bool Own_Correct_Less_32f(float a, float b)
{
    return !(static_cast<double>(a) * 1.000001 >= static_cast<double>(b));
}

// a above b by more than a millionth.
inline bool Own_Correct_Greater_32f(float a, float b)
{
    return static_cast<double>(a) > static_cast<double>(b) * 1.000001;
}

// a and b within a ten-thousandth of the larger one; true of a NaN.
inline bool Own_Correct_Equ_32f(float a, float b)
{
    const double x = a, y = b;
    return !(std::fabs(x - y) > std::fabs(std::max(x, y)) * static_cast<double>(0.0001F));
}

// sum of (a[k] - b[k])^2 weights[k], element after element in single precision at every width. Arrays of 16-bit
// integers are converted first, which is exact, as are their differences.
template <class A, class B, class Weight>
float OwnDistance(const A* a, const B* b, const Weight* weights, int32_t width)
{
    float sum = 0;
    for (int32_t k = 0; k < width; ++k) {
        const float d = static_cast<float>(load_one(a + k)) - static_cast<float>(load_one(b + k));
        sum += d * d * static_cast<float>(load_one(weights + k));
    }
    return sum;
}

// The same without weights.
template <class A, class B>
float OwnDistanceE(const A* a, const B* b, int32_t width)
{
    float sum = 0;
    for (int32_t k = 0; k < width; ++k) {
        const float d = static_cast<float>(load_one(a + k)) - static_cast<float>(load_one(b + k));
        sum += d * d;
    }
    return sum;
}

}  // namespace zelsr::vq
