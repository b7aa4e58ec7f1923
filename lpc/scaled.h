// 16-bit parameters to single precision and back.
#pragma once

#include <emmintrin.h>

#include <algorithm>

#include "core/convert.h"
#include "core/scale.h"
#include "core/simd.h"

namespace zelsr {

// 2^sf, for every sf.
inline float power_of_two(int32_t sf) { return GetScale_32s32f(-std::clamp(sf, -256, 256)); }

inline void to_single(const int16_t* src, float* dst, int32_t len, float factor)
{
    convert_16s32f(src, dst, len);
    for (int32_t i = 0; i < len; ++i) dst[i] *= factor;
}

// x * 2^-sf, rounded to nearest with halves away from zero, of which the low 16 bits are stored: results wrap,
// wanted. The sum is exact in double; what 32 bits do not hold gives 0.
inline void to_low_16s(const float* src, int16_t* dst, int32_t len, int32_t sf)
{
    const float scale = GetScale_32s32f(sf);
    for (int32_t i = 0; i < len; ++i) {
        const float x = src[i] * scale;
        const int32_t rounded = _mm_cvttsd_si32(_mm_set_sd(double{x} + (x >= 0 ? 0.5 : -0.5)));
        store_one(dst + i, static_cast<int16_t>(rounded));
    }
}

}  // namespace zelsr
