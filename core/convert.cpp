// Conversions between element types.
#include "core/convert.h"

#include <algorithm>

#include "core/contract.h"
#include "core/fixed_point.h"
#include "core/groups.h"
#include "core/rounding.h"
#include "core/scale.h"
#include "core/simd.h"
#include "zelsr/core/convert.h"

namespace zelsr {
namespace {

// What happens to four singles on their way out.
struct AsTheyAre {
    __m128 operator()(__m128 x) const { return x; }
};
struct Times {
    __m128 factor;

    __m128 operator()(__m128 x) const { return x * factor; }
};

template <class Scale>
void widen(const int16_t* src, float* dst, int32_t len, Scale scale)
{
    const auto step = [&](float* to, const int16_t* from) {
        const __m128i x = Unaligned::bytes(from);
        Unaligned::put(to, scale(_mm_cvtepi32_ps(low_16s32s(x))));
        Unaligned::put(to + 4, scale(_mm_cvtepi32_ps(high_16s32s(x))));
    };
    in_groups<8>(len, dst, step, src);
}

template <class Scale>
void widen(const int32_t* src, float* dst, int32_t len, Scale scale)
{
    const auto step = [&](float* to, const int32_t* from) {
        Unaligned::put(to, scale(_mm_cvtepi32_ps(Unaligned::bytes(from))));
    };
    in_groups<4>(len, dst, step, src);
}

Times times_scale(int32_t sf, int32_t least, int32_t most)
{
    return Times{_mm_set1_ps(GetScale_32s32f(std::clamp(sf, least, most)))};
}

// The kernels to integers stay out of line, so that all of their arithmetic happens while the default environment
// is set.

template <Rounding R>
[[gnu::noinline]] void narrow(const float* src, int16_t* dst, int32_t len, int32_t sf)
{
    const __m128 scale = _mm_set1_ps(GetScale_32s32f(sf));
    const auto step = [&](int16_t* to, const float* from) {
        const __m128i low = limited_to_16s<R>(Unaligned::four(from) * scale);
        const __m128i high = limited_to_16s<R>(Unaligned::four(from + 4) * scale);
        Unaligned::put(to, _mm_packs_epi32(low, high));
    };
    in_groups<8>(len, dst, step, src);
}

template <Rounding R>
[[gnu::noinline]] void narrow(const float* src, int32_t* dst, int32_t len, int32_t sf)
{
    const __m128 scale = _mm_set1_ps(GetScale_32s32f(sf));
    const auto step = [&](int32_t* to, const float* from) {
        Unaligned::put(to, saturated_32s<R>(Unaligned::four(from) * scale));
    };
    in_groups<4>(len, dst, step, src);
}

template <Rounding R>
[[gnu::noinline]] void narrow(const double* src, int32_t* dst, int32_t len, int32_t sf)
{
    const __m128d scale = _mm_set1_pd(GetScale_32s64f(sf));
    const auto step = [&](int32_t* to, const double* from) {
        const __m128i low = saturated_32s<R>(Unaligned::two(from) * scale);
        const __m128i high = saturated_32s<R>(Unaligned::two(from + 2) * scale);
        Unaligned::put(to, _mm_unpacklo_epi64(low, high));
    };
    in_groups<4>(len, dst, step, src);
}

template <class Source, class Target>
void narrow_in_default_environment(const Source* src, Target* dst, int32_t len, Rounding rounding, int32_t sf)
{
    const DefaultFloatEnvironment environment;
    if (rounding == Rounding::Nearest)
        narrow<Rounding::Nearest>(src, dst, len, sf);
    else
        narrow<Rounding::TowardZero>(src, dst, len, sf);
}

// The public rounding argument.
Rounding rounding_of(int32_t rounding) { return rounding == 0 ? Rounding::TowardZero : Rounding::Nearest; }

}  // namespace

void convert_8u32f(const uint8_t* src, float* dst, int32_t len)
{
    const auto step = [](float* to, const uint8_t* from) {
        const __m128i zero = _mm_setzero_si128();
        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
        const __m128i x = _mm_unpacklo_epi8(bytes, zero);
        Unaligned::put(to, _mm_cvtepi32_ps(_mm_unpacklo_epi16(x, zero)));
        Unaligned::put(to + 4, _mm_cvtepi32_ps(_mm_unpackhi_epi16(x, zero)));
    };
    in_groups<8>(len, dst, step, src);
}

void convert_16s32f(const int16_t* src, float* dst, int32_t len) { widen(src, dst, len, AsTheyAre{}); }

void convert_32s32f(const int32_t* src, float* dst, int32_t len) { widen(src, dst, len, AsTheyAre{}); }

void convert_64f32f(const double* src, float* dst, int32_t len)
{
    const auto step = [](float* to, const double* from) {
        const __m128 low = _mm_cvtpd_ps(Unaligned::two(from)), high = _mm_cvtpd_ps(Unaligned::two(from + 2));
        Unaligned::put(to, _mm_movelh_ps(low, high));
    };
    in_groups<4>(len, dst, step, src);
}

void convert_16s32f(const int16_t* src, float* dst, int32_t len, int32_t sf)
{
    widen(src, dst, len, times_scale(sf, -112, 126));
}

void convert_32s32f(const int32_t* src, float* dst, int32_t len, int32_t sf)
{
    widen(src, dst, len, times_scale(sf, -96, 126));
}

void convert_16s64f(const int16_t* src, double* dst, int32_t len, int32_t sf)
{
    const __m128d scale = _mm_set1_pd(GetScale_32s64f(std::clamp(sf, -1008, 1022)));
    const auto step = [&](double* to, const int16_t* from) {
        const __m128i x = low_16s32s(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
        Unaligned::put(to, _mm_cvtepi32_pd(x) * scale);
        Unaligned::put(to + 2, _mm_cvtepi32_pd(_mm_unpackhi_epi64(x, x)) * scale);
    };
    in_groups<4>(len, dst, step, src);
}

void convert_32f16s(const float* src, int16_t* dst, int32_t len, Rounding rounding, int32_t sf)
{
    narrow_in_default_environment(src, dst, len, rounding, sf);
}

void convert_32f32s(const float* src, int32_t* dst, int32_t len, Rounding rounding, int32_t sf)
{
    narrow_in_default_environment(src, dst, len, rounding, sf);
}

void convert_64f32s(const double* src, int32_t* dst, int32_t len, Rounding rounding, int32_t sf)
{
    narrow_in_default_environment(src, dst, len, rounding, sf);
}

void convert_32s16s(const int32_t* src, int16_t* dst, int32_t len, int32_t sf)
{
    with_scale_to_16s(sf, [=](auto scale) {
        const auto step = [&](int16_t* to, const int32_t* from) {
            Unaligned::put(to, scale(Unaligned::bytes(from), Unaligned::bytes(from + 4)));
        };
        in_groups<8>(len, dst, step, src);
    });
}

}  // namespace zelsr

using namespace zelsr;

SrStatus zelsConvert_8u32f(const uint8_t* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_8u32f(src, dst, len);
    return SrOk;
}

SrStatus zelsConvert_16s32f(const int16_t* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_16s32f(src, dst, len);
    return SrOk;
}

SrStatus zelsConvert_32s32f(const int32_t* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_32s32f(src, dst, len);
    return SrOk;
}

SrStatus zelsConvert_64f32f(const double* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_64f32f(src, dst, len);
    return SrOk;
}

SrStatus zelsConvert_16s32f_Sfs(const int16_t* src, float* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_16s32f(src, dst, len, sf);
    return SrOk;
}

SrStatus zelsConvert_32s32f_Sfs(const int32_t* src, float* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_32s32f(src, dst, len, sf);
    return SrOk;
}

SrStatus zelsConvert_16s64f_Sfs(const int16_t* src, double* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_16s64f(src, dst, len, sf);
    return SrOk;
}

SrStatus zelsConvert_32f16s_Sfs(const float* src, int16_t* dst, int32_t len, int32_t rounding, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_32f16s(src, dst, len, rounding_of(rounding), sf);
    return SrOk;
}

SrStatus zelsConvert_32f32s_Sfs(const float* src, int32_t* dst, int32_t len, int32_t rounding, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_32f32s(src, dst, len, rounding_of(rounding), sf);
    return SrOk;
}

SrStatus zelsConvert_64f32s_Sfs(const double* src, int32_t* dst, int32_t len, int32_t rounding, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_64f32s(src, dst, len, rounding_of(rounding), sf);
    return SrOk;
}

SrStatus zelsConvert_32s16s_Sfs(const int32_t* src, int16_t* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    convert_32s16s(src, dst, len, sf);
    return SrOk;
}
