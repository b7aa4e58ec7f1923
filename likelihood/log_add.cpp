// Addition and sums in the log domain, and the scaling of language-model scores.
#include "likelihood/log_add.h"

#include <algorithm>
#include <limits>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/scale.h"
#include "likelihood/log_add_plain.h"
#include "zelsr/core/convert.h"
#include "zelsr/core/vector.h"
#include "zelsr/likelihood/log_add.h"

namespace zelsr {
namespace {

void add_logs_with_hint(const float* src, float* srcdst, int32_t len, int32_t hint)
{
    switch (hint) {
        case 0:
            return add_logs<AccurateLogAdd>(src, srcdst, len);
        case 1:
            return add_logs<FastLogAdd>(src, srcdst, len);
        case 2: {
            const DefaultFloatEnvironment extended_precision;
            for (int32_t i = len; i-- > 0;)
                store_one(srcdst + i, add_logs_extended(load_one(src + i), load_one(srcdst + i)));
            return;
        }
        default:  // adds nothing, which is wanted
            return;
    }
}

void to_single(const int32_t* src, float* dst, int32_t len) { zelsConvert_32s32f(src, dst, len); }
void to_single(const int16_t* src, float* dst, int32_t len) { zelsConvert_16s32f(src, dst, len); }

// Truncated, unlike most integer results: this is wanted.
void to_integers(const float* src, int32_t* dst, int32_t len, int32_t sf)
{
    zelsConvert_32f32s_Sfs(src, dst, len, 0, sf);
}
void to_integers(const float* src, int16_t* dst, int32_t len, int32_t sf)
{
    zelsConvert_32f16s_Sfs(src, dst, len, 0, sf);
}

constexpr int32_t kChunk = 128;

// Modulo 2^32: the lowest one stays as it is.
int32_t negated(int32_t sf) { return static_cast<int32_t>(0U - static_cast<uint32_t>(sf)); }

template <class T>
[[gnu::noinline]] void add_scaled_logs(const T* src, T* srcdst, int32_t len, int32_t sf, int32_t hint)
{
    alignas(32) float a[kChunk];
    alignas(32) float b[kChunk];
    const float scale = GetScale_32s32f(sf);
    for (int32_t done = 0; done < len;) {
        const int32_t count = std::min(len - done, kChunk);
        to_single(src + done, a, count);
        to_single(srcdst + done, b, count);
        zelsMulC_32f_I(scale, a, count);
        zelsMulC_32f_I(scale, b, count);
        add_logs_with_hint(a, b, count, hint);
        to_integers(b, srcdst + done, count, negated(sf));
        done += count;
    }
}

// Above the largest value that value, not at or above the smallest that one (NaN too), else truncated. limit: the
// largest value as the comparison sees it.
template <class T, class Real>
T saturated(Real value, Real limit)
{
    if (value > limit || static_cast<double>(value) > static_cast<double>(std::numeric_limits<T>::max()))
        return std::numeric_limits<T>::max();
    if (!(value >= static_cast<Real>(std::numeric_limits<T>::min()))) return std::numeric_limits<T>::min();
    return static_cast<T>(value);
}

// Two to six elements: sums in double with the fast polynomials, rounded to single after each.
template <class T>
T sum_few_scaled_logs(const T* src, int32_t len, int32_t sf)
{
    const double scale = GetScale_32s64f(sf);
    double sum = static_cast<double>(load_one(src)) * scale;
    for (int32_t i = 1; i < len; ++i)
        sum = static_cast<double>(static_cast<float>(
            add_logs_by_horner<SingleLogDomain>(sum, static_cast<double>(load_one(src + i)) * scale)));
    return saturated<T>(sum / scale, static_cast<double>(std::numeric_limits<T>::max()));
}

// Chunks through single precision; from the second one on the running sum stands before the chunk as its first
// element. The last division knows scales beyond single precision.
template <class T>
T sum_many_scaled_logs(const T* src, int32_t len, int32_t sf)
{
    constexpr int32_t kLead = 8;
    alignas(32) float buffer[kLead + kChunk];
    float* const chunk = buffer + kLead;
    const float scale = GetScale_32s32f(sf);
    float sum = 0;
    for (int32_t done = 0; done < len;) {
        const int32_t count = std::min(len - done, kChunk);
        to_single(src + done, chunk, count);
        zelsMulC_32f_I(scale, chunk, count);
        chunk[-1] = sum;
        sum = done == 0 ? sum_logs(chunk, count) : sum_logs(chunk - 1, count + 1);
        done += count;
    }
    sum = static_cast<float>(static_cast<double>(sum) / GetScale_32s64f(sf));
    return saturated<T>(sum, static_cast<float>(std::numeric_limits<T>::max()));
}

template <class T>
[[gnu::noinline]] T sum_scaled_logs(const T* src, int32_t len, int32_t sf)
{
    if (len == 1) return load_one(src);  // whatever sf is
    return len < 7 ? sum_few_scaled_logs(src, len, sf) : sum_many_scaled_logs(src, len, sf);
}

void scale_language_model(const float* src, float* dst, int32_t len, float floor, float multiplier, float addend)
{
    const auto scaled = [floor, multiplier, addend](__m128 x) {
        return _mm_max_ps(x, _mm_set1_ps(floor)) * _mm_set1_ps(multiplier) + _mm_set1_ps(addend);
    };
    int32_t i = 0;
    for (; i + 8 <= len; i += 8) {
        const __m128 low = scaled(Unaligned::four(src + i));
        const __m128 high = scaled(Unaligned::four(src + i + 4));
        Unaligned::put(dst + i, low);
        Unaligned::put(dst + i + 4, high);
    }
    for (; i < len; ++i) store_one(dst + i, _mm_cvtss_f32(scaled(OneLane::lanes(src + i))));
}

void scale_language_model(const int16_t* src, int32_t* dst, int32_t len, int16_t floor, int16_t multiplier,
                          int32_t addend)
{
    const __m128i floors = _mm_set1_epi16(floor);
    const __m128i multipliers = _mm_set1_epi16(multiplier);
    const __m128i addends = _mm_set1_epi32(addend);
    int32_t i = 0;
    for (; i + 8 <= len; i += 8) {
        const __m128i m = _mm_max_epi16(Unaligned::bytes(src + i), floors);
        const __m128i low = _mm_mullo_epi16(m, multipliers);
        const __m128i high = _mm_mulhi_epi16(m, multipliers);
        Unaligned::put(dst + i, _mm_add_epi32(_mm_unpacklo_epi16(low, high), addends));
        Unaligned::put(dst + i + 4, _mm_add_epi32(_mm_unpackhi_epi16(low, high), addends));
    }
    for (; i < len; ++i) {
        const int32_t product = std::max(load_one(src + i), floor) * multiplier;
        store_one(dst + i, static_cast<int32_t>(static_cast<uint32_t>(product) + static_cast<uint32_t>(addend)));
    }
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLogAdd_32f(const float* src, float* srcdst, int32_t len, int32_t hint)
{
    if (SrStatus failed = first_failure(positive(len), non_null(src, srcdst))) return failed;
    add_logs_with_hint(src, srcdst, len, hint);
    return SrOk;
}

SrStatus zelsLogAdd_64f(const double* src, double* srcdst, int32_t len, int32_t hint)
{
    if (SrStatus failed = first_failure(positive(len), non_null(src, srcdst))) return failed;
    if (static_cast<uint32_t>(hint) <= 2) add_logs<DoubleLogAdd>(src, srcdst, len);
    return SrOk;
}

SrStatus zelsLogAdd_32s_Sfs(const int32_t* src, int32_t* srcdst, int32_t len, int32_t sf, int32_t hint)
{
    if (SrStatus failed = first_failure(positive(len), non_null(src, srcdst))) return failed;
    const DefaultFloatEnvironment environment;
    add_scaled_logs(src, srcdst, len, sf, hint);
    return SrOk;
}

SrStatus zelsLogAdd_16s_Sfs(const int16_t* src, int16_t* srcdst, int32_t len, int32_t sf, int32_t hint)
{
    if (SrStatus failed = first_failure(positive(len), non_null(src, srcdst))) return failed;
    const DefaultFloatEnvironment environment;
    add_scaled_logs(src, srcdst, len, sf, hint);
    return SrOk;
}

SrStatus zelsLogSum_32f(const float* src, float* result, int32_t len)
{
    if (SrStatus failed = first_failure(positive(len), non_null(src, result))) return failed;
    store_one(result, sum_logs(src, len));
    return SrOk;
}

SrStatus zelsLogSum_64f(const double* src, double* result, int32_t len)
{
    if (SrStatus failed = first_failure(positive(len), non_null(src, result))) return failed;
    store_one(result, sum_logs(src, len));
    return SrOk;
}

SrStatus zelsLogSum_32s_Sfs(const int32_t* src, int32_t* result, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(positive(len), non_null(src, result))) return failed;
    const DefaultFloatEnvironment environment;
    store_one(result, sum_scaled_logs(src, len, sf));
    return SrOk;
}

SrStatus zelsLogSum_16s_Sfs(const int16_t* src, int16_t* result, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(positive(len), non_null(src, result))) return failed;
    const DefaultFloatEnvironment environment;
    store_one(result, sum_scaled_logs(src, len, sf));
    return SrOk;
}

SrStatus zelsScaleLM_32f(const float* src, float* dst, int32_t len, float floor, float multiplier, float addend)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    scale_language_model(src, dst, len, floor, multiplier, addend);
    return SrOk;
}

SrStatus zelsScaleLM_16s32s(const int16_t* src, int32_t* dst, int32_t len, int16_t floor, int16_t multiplier,
                            int32_t addend)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    scale_language_model(src, dst, len, floor, multiplier, addend);
    return SrOk;
}
