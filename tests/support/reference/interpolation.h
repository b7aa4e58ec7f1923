// Parameters between those of two models, element by element, in the order of the statements.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "support/reference/convert.h"
#include "support/reference/overlap.h"
#include "zelsr/core/convert.h"
#include "zelsr/types.h"

namespace zelsr::test::reference {

// Limited, then truncated; NaN counts as large.
inline std::int16_t truncated_to_16s(float x)
{
    if (!(x < 32767.0F)) return 32767;
    return static_cast<std::int16_t>(std::max(x, -32768.0F));
}

template <class T>
T without_sum_of_weights(double sign)  // of the weighted sum; NaN too
{
    if constexpr (std::is_same_v<T, std::int16_t>)
        return sign > 0 ? 32767 : sign < 0 ? -32768 : 0;
    else
        return sign > 0   ? std::numeric_limits<T>::infinity()
               : sign < 0 ? -std::numeric_limits<T>::infinity()
                          : std::numeric_limits<T>::quiet_NaN();
}

// Half: the first source holds a weighted sum already. Number: what is computed with.
template <bool Half, class T, class Number>
SrStatus weighted_sum(const T* first, const T* second, T* dst, std::int32_t len, Number weight1, Number weight2)
{
    const Number sum = weight1 + weight2;
    const bool defined = sum < 0 || sum > 0;
    const Number r = 1 / sum;
    const Number factor1 = Half ? r : weight1 * r, factor2 = r * weight2;
    for (std::int32_t i = 0; i < len; ++i) {
        const Number a = first[i], b = second[i];
        if (!defined) {
            const Number t = a * weight1 + b * weight2;
            dst[i] = without_sum_of_weights<T>(static_cast<double>(t));
        } else if constexpr (std::is_same_v<T, std::int16_t>) {
            dst[i] = truncated_to_16s(a * factor1 + b * factor2);
        } else {
            dst[i] = a * factor1 + b * factor2;
        }
    }
    return defined ? SrOk : SrWarnDivByZero;
}

// The square in single; behind the last four, and in overlapping arrays, the rest in double.
inline SrStatus new_var_32f(const float* mean, const float* square, float* dst, std::int32_t len, float a, float b)
{
    const bool overlap = begins_inside(dst, mean, len) || begins_inside(dst, square, len);
    for (std::int32_t i = 0; i < len; ++i) {
        const float m2 = mean[i] * mean[i];
        if (overlap || i >= len - len % 4)
            dst[i] = static_cast<float>((static_cast<double>(square[i]) - static_cast<double>(m2) * a) * b);
        else
            dst[i] = (square[i] - m2 * a) * b;
    }
    return SrOk;
}

inline SrStatus new_var_32f_in_place(const float* mean, float* square, std::int32_t len, float a, float b)
{
    return new_var_32f(mean, square, square, len, a, b);
}

inline float new_var(std::int32_t mean, std::int32_t square, float a, float b)
{
    const float m = static_cast<float>(mean), q = static_cast<float>(square);
    return (q - m * m * a) * b;
}

// Both sources on 16 bytes: rounded to nearest by the public conversion.
inline SrStatus new_var_32s_rounded(const std::int32_t* mean, const std::int32_t* square, std::int32_t* dst,
                                    std::int32_t len, float a, float b, std::int32_t sf)
{
    for (std::int32_t i = 0; i < len; ++i) {
        const float x = new_var(mean[i], square[i], a, b);
        zelsConvert_32f32s_Sfs(&x, &dst[i], 1, 1, sf);
    }
    return SrOk;
}

// Else: scaled, limited to 2^31, truncated and saturated; NaN by its sign, as the public conversion has it.
inline SrStatus new_var_32s_truncated(const std::int32_t* mean, const std::int32_t* square, std::int32_t* dst,
                                      std::int32_t len, float a, float b, std::int32_t sf)
{
    const float factor = multiplier<float>(sf);
    for (std::int32_t i = 0; i < len; ++i) {
        const float x = times(new_var(mean[i], square[i], a, b), factor);
        if (std::isnan(x))
            dst[i] = std::signbit(x) ? INT32_MIN : INT32_MAX;
        else
            dst[i] = x < 2147483648.0F ? static_cast<std::int32_t>(std::max(x, -2147483648.0F)) : INT32_MAX;
    }
    return SrOk;
}

}  // namespace zelsr::test::reference
