// Area ratios, areas and tilts of reflection coefficients.
#include <bit>
#include <limits>

#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "lpc/quotient.h"
#include "lpc/scaled.h"
#include "zelsr/core/vector.h"
#include "zelsr/lpc/conversion.h"

namespace zelsr {
namespace {

constexpr int32_t kOnStack = 100;  // 16-bit forms: up to this length no memory is allocated

using Single = Scratch<float, kOnStack>;
using TwoSingles = Scratch<float, 2 * kOnStack>;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

SrStatus inside_unit_interval(float thresh) { return require(thresh > 0 && thresh < 1, SrErrRange); }

// The kernels stay out of line, so that all of their arithmetic happens while the default environment is set. dst
// may be the source.

// (one - k) / (one + k), infinity for a zero denominator.
[[gnu::noinline]] SrStatus area_ratios(const float* k, float* dst, int32_t len, float unit)
{
    ZeroDenominators zeros;
    const __m128 one = repeat(unit);
    auto ratio = [&](__m128 x) __attribute__((always_inline))
    {
        const __m128 d = one + x;
        return choose(zeros.find(d), repeat(kInfinity), (one - x) * reciprocal(d));
    };
    elementwise(ratio, dst, len, k);
    return zeros.status();
}

// The limits are the first operands, so that NaN passes them.
[[gnu::noinline]] void limited_area_ratios(const float* k, float* dst, int32_t len, float thresh)
{
    const __m128 one = repeat(1.0F), highest = repeat(thresh), lowest = repeat(-thresh);
    auto ratio = [&](__m128 x) __attribute__((always_inline))
    {
        const __m128 c = _mm_max_ps(lowest, _mm_min_ps(highest, x));
        return (one - c) * reciprocal(one + c);
    };
    elementwise(ratio, dst, len, k);
}

SrStatus log_area_ratios(const float* k, float* dst, int32_t len, float thresh)
{
    limited_area_ratios(k, dst, len, thresh);
    return zelsLn_32f_I(dst, len);
}

inline __m128 magnitude(__m128 x) { return _mm_andnot_ps(repeat(-0.0F), x); }

// What stands below the line, |k1| - |k2| above it.
struct SumOfMagnitudes {
    __m128 operator()(__m128 k1, __m128 k2) const { return magnitude(k1) + magnitude(k2); }
};
struct SignedSum {  // wanted
    __m128 operator()(__m128 k1, __m128 k2) const { return k1 + k2; }
};

enum class AtZero { NaN, Zero };

template <class Denominator, AtZero Value>
[[gnu::noinline]] SrStatus tilts(const float* k1, const float* k2, float* dst, int32_t len)
{
    ZeroDenominators zeros;
    auto tilt = [&](__m128 x1, __m128 x2) __attribute__((always_inline))
    {
        const __m128 d = Denominator{}(x1, x2), zero = zeros.find(d);
        const __m128 quotient = (magnitude(x1) - magnitude(x2)) * reciprocal(d);  // NaN for a zero denominator
        return Value == AtZero::NaN ? quotient : _mm_andnot_ps(zero, quotient);
    };
    elementwise(tilt, dst, len, k1, k2);
    return zeros.status();
}

template <class Denominator>
SrStatus tilts_16s(const int16_t* k1, const int16_t* k2, int16_t* dst, int32_t len, int32_t sf)
{
    const TwoSingles single(2 * int64_t{len});
    if (!single) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float *first = single.data(), *second = first + len;
    convert_16s32f(k1, first, len);
    convert_16s32f(k2, second, len);
    const SrStatus status = tilts<Denominator, AtZero::Zero>(first, second, first, len);
    convert_32f16s(first, dst, len, Rounding::Nearest, sf);
    return status;
}

// dst[i] = product of (one - k[j]) / (one + k[j]) for j up to i, up to the first zero denominator: how many
// elements come before it.
[[gnu::noinline]] int32_t areas(const float* k, float* dst, int32_t len, float unit, float* product)
{
    const __m128 one = repeat(unit);
    float p = 1;
    int32_t done = 0;
    while (done < len) {
        const int32_t there = std::min(len - done, 4);
        const __m128 x = load_first(k + done, there), d = one + x;
        const unsigned zeros = static_cast<unsigned>(_mm_movemask_ps(_mm_cmpeq_ps(d, _mm_setzero_ps())));
        const int32_t count = std::min(there, std::countr_zero(zeros | 16U));
        alignas(16) float ratio[4];
        Aligned::put(ratio, (one - x) * reciprocal(d));
        for (int32_t i = 0; i < count; ++i) store_one(dst + done + i, p *= ratio[i]);
        done += count;
        if (count < there) break;
    }
    *product = p;
    return done;
}

// What areas from the first zero denominator on become.
template <class T>
struct Edge {
    T positive, negative, undefined;
};

// Only the sign of the area before still counts. A k of one makes the rest undefined.
template <class T>
[[gnu::noinline]] SrStatus areas_beyond(const float* k, T* dst, int32_t len, float one, float p,
                                        const Edge<T>& edge)
{
    SrStatus status = SrOk;
    for (int32_t i = 0; i < len; ++i) {
        const float x = load_one(k + i);
        const bool within = x >= -one && x <= one;
        if (x == -one) status = SrWarnDivByZero;
        if (within && x == one) {
            for (; i < len; ++i) store_one(dst + i, edge.undefined);
            break;
        }
        const bool positive = within ? p > 0 : p < 0;
        store_one(dst + i, positive ? edge.positive : edge.negative);
        p = positive ? 1.0F : -1.0F;
    }
    return status;
}

// The steps of the public functions whose environment must be back in place before the flags are cleared.

SrStatus area_ratios_32f(const float* k, float* dst, int32_t len)
{
    const DefaultFloatEnvironment environment;
    return area_ratios(k, dst, len, 1.0F);
}

SrStatus area_ratios_16s(const int16_t* k, int32_t src_sf, int16_t* dst, int32_t len, int32_t sf)
{
    const Single single(len);
    if (!single) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    convert_16s32f(k, single.data(), len);
    const SrStatus status = area_ratios(single.data(), single.data(), len, power_of_two(src_sf));
    convert_32f16s(single.data(), dst, len, Rounding::Nearest, sf);
    return status;
}

SrStatus true_areas_32f(const float* k, float* dst, int32_t len)
{
    const DefaultFloatEnvironment environment;
    float product;
    const int32_t done = areas(k, dst, len, 1.0F, &product);
    const Edge<float> edge{kInfinity, -kInfinity, std::numeric_limits<float>::quiet_NaN()};
    return areas_beyond(k + done, dst + done, len - done, 1.0F, product, edge);
}

SrStatus true_areas_16s(const int16_t* k, int32_t src_sf, int16_t* dst, int32_t len, int32_t sf)
{
    const TwoSingles single(2 * int64_t{len});
    if (!single) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float *source = single.data(), *result = source + len;
    const float one = power_of_two(src_sf);
    float product;
    convert_16s32f(k, source, len);
    const int32_t done = areas(source, result, len, one, &product);
    if (done > 0) convert_32f16s(result, dst, done, Rounding::TowardZero, sf);
    const Edge<int16_t> edge{INT16_MAX, INT16_MIN, 0};
    return areas_beyond(source + done, dst + done, len - done, one, product, edge);
}

template <class Denominator>
SrStatus tilts_32f(const float* k1, const float* k2, float* dst, int32_t len)
{
    const DefaultFloatEnvironment environment;
    return tilts<Denominator, AtZero::NaN>(k1, k2, dst, len);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsReflectionToAR_32f(const float* k, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(k, dst), positive(len))) return failed;
    return clear_flags_on_warning(area_ratios_32f(k, dst, len));
}

SrStatus zelsReflectionToAR_16s_Sfs(const int16_t* k, int32_t src_sf, int16_t* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(k, dst), positive(len))) return failed;
    return clear_flags_on_warning(area_ratios_16s(k, src_sf, dst, len, sf));
}

SrStatus zelsReflectionToLAR_32f(const float* k, float* dst, int32_t len, float thresh)
{
    if (SrStatus failed = first_failure(non_null(k, dst), positive(len), inside_unit_interval(thresh)))
        return failed;
    const DefaultFloatEnvironment environment;
    return log_area_ratios(k, dst, len, thresh);
}

// Truncates: wanted.
SrStatus zelsReflectionToLAR_16s_Sfs(const int16_t* k, int32_t src_sf, int16_t* dst, int32_t len, float thresh,
                                     int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(k, dst), positive(len), inside_unit_interval(thresh)))
        return failed;
    const Single single(len);
    if (!single) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    to_single(k, single.data(), len, GetScale_32s32f(src_sf));
    const SrStatus status = log_area_ratios(single.data(), single.data(), len, thresh);
    convert_32f16s(single.data(), dst, len, Rounding::TowardZero, sf);
    return status;
}

SrStatus zelsReflectionToTrueAR_32f(const float* k, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(k, dst), positive(len))) return failed;
    return clear_flags_on_warning(true_areas_32f(k, dst, len));
}

SrStatus zelsReflectionToTrueAR_16s_Sfs(const int16_t* k, int32_t src_sf, int16_t* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(k, dst), positive(len))) return failed;
    return clear_flags_on_warning(true_areas_16s(k, src_sf, dst, len, sf));
}

SrStatus zelsReflectionToAbsTilt_32f(const float* k1, const float* k2, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(k1, k2, dst), positive(len))) return failed;
    return clear_flags_on_warning(tilts_32f<SumOfMagnitudes>(k1, k2, dst, len));
}

SrStatus zelsReflectionToAbsTilt_16s_Sfs(const int16_t* k1, const int16_t* k2, int16_t* dst, int32_t len,
                                         int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(k1, k2, dst), positive(len))) return failed;
    return clear_flags_on_warning(tilts_16s<SumOfMagnitudes>(k1, k2, dst, len, sf));
}

SrStatus zelsReflectionToTilt_32f(const float* k1, const float* k2, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(k1, k2, dst), positive(len))) return failed;
    return clear_flags_on_warning(tilts_32f<SignedSum>(k1, k2, dst, len));
}

SrStatus zelsReflectionToTilt_16s_Sfs(const int16_t* k1, const int16_t* k2, int16_t* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(k1, k2, dst), positive(len))) return failed;
    return clear_flags_on_warning(tilts_16s<SignedSum>(k1, k2, dst, len, sf));
}
