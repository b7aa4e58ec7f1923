// Variances from means and second moments: (square - mean^2 * a) * b.
#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/rows.h"
#include "core/scale.h"
#include "estimation/element_loops.h"
#include "zelsr/estimation/interpolation.h"

namespace zelsr {
namespace {

inline __m128 new_var(__m128 mean, __m128 square, __m128 a, __m128 b) { return (square - mean * mean * a) * b; }

// The element-by-element parts round once, behind the square: wanted, they may differ from whole registers.
inline float new_var(float mean, float square, float a, float b)
{
    return static_cast<float>((square - static_cast<double>(mean * mean) * a) * b);
}

SrStatus new_vars(const float* mean, const float* square, float* dst, int32_t len, float a, float b)
{
    const bool in_order = begins_inside(dst, mean, len) || begins_inside(dst, square, len);
    const std::ptrdiff_t whole = in_order ? 0 : len - len % 4;
    const __m128 a4 = repeat(a), b4 = repeat(b);
    for (std::ptrdiff_t i = 0; i < whole; i += 4)
        Unaligned::put(dst + i, new_var(Unaligned::four(mean + i), Unaligned::four(square + i), a4, b4));
    for (std::ptrdiff_t i = whole; i < len; ++i)
        store_one(dst + i, new_var(load_one(mean + i), load_one(square + i), a, b));
    return SrOk;
}

// Out of line, so that all of its arithmetic happens while the default environment is set.
template <Rounding R>
[[gnu::noinline]] SrStatus new_vars(const int32_t* mean, const int32_t* square, int32_t* dst, int32_t len, float a,
                                    float b, int32_t sf)
{
    const __m128 a4 = repeat(a), b4 = repeat(b), scale = repeat(GetScale_32s32f(sf));
    auto op = [=](__m128i m, __m128i q) {
        return saturated_32s<R>(new_var(_mm_cvtepi32_ps(m), _mm_cvtepi32_ps(q), a4, b4) * scale);
    };
    elementwise(op, dst, len, mean, square);
    return SrOk;
}

// Aligned sources round to nearest, others truncate: wanted.
SrStatus new_vars_in_default_environment(const int32_t* mean, const int32_t* square, int32_t* dst, int32_t len,
                                         float a, float b, int32_t sf)
{
    const DefaultFloatEnvironment environment;
    return all_aligned(mean, square) ? new_vars<Rounding::Nearest>(mean, square, dst, len, a, b, sf)
                                     : new_vars<Rounding::TowardZero>(mean, square, dst, len, a, b, sf);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsNewVar_32f(const float* mean, const float* square, float* dst, int32_t len, float a, float b)
{
    if (SrStatus failed = first_failure(non_null(mean, square, dst), positive(len))) return failed;
    return new_vars(mean, square, dst, len, a, b);
}

SrStatus zelsNewVar_32f_I(const float* mean, float* square, int32_t len, float a, float b)
{
    if (SrStatus failed = first_failure(non_null(mean, square), positive(len))) return failed;
    return new_vars(mean, square, square, len, a, b);
}

SrStatus zelsNewVar_32s_Sfs(const int32_t* mean, const int32_t* square, int32_t* dst, int32_t len, float a,
                            float b, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, square, dst), positive(len))) return failed;
    return new_vars_in_default_environment(mean, square, dst, len, a, b, sf);
}

SrStatus zelsNewVar_32s_ISfs(const int32_t* mean, int32_t* square, int32_t len, float a, float b, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(mean, square), positive(len))) return failed;
    return new_vars_in_default_environment(mean, square, square, len, a, b, sf);
}
