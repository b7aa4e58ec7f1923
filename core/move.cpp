// Copies and fills.
//
// Copies, byte fills and zeros of every size go to the C library: it already chooses its stores by the cache of
// the processor that it runs on, so reading the processor's description here would only do that again, and by a
// table that ages.
#include <cstring>

#include "core/contract.h"
#include "core/elementwise.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

template <class T>
std::size_t bytes(int32_t len)
{
    return static_cast<std::size_t>(len) * sizeof(T);
}

template <class T>
SrStatus copy(const T* src, T* dst, int32_t len)
{
    std::memcpy(dst, src, bytes<T>(len));
    return SrOk;
}

template <class T>
SrStatus zero(T* dst, int32_t len)
{
    std::memset(dst, 0, bytes<T>(len));
    return SrOk;
}

// sixteen: the value, repeated. The first and the last register are stored where they lie and the others on
// 16-byte boundaries, where elements reach one: they overlap, which a fill may.
template <class T>
SrStatus fill(T value, __m128i sixteen, T* dst, int32_t len)
{
    constexpr int32_t step = kLanes<T>;
    if (len < step) {
        for (int32_t i = 0; i < len; ++i) store_one(dst + i, value);
        return SrOk;
    }
    const auto put = [sixteen](void* to) { Unaligned::put(to, sixteen); };
    T* last = dst + (len - step);
    put(dst);
    T* p = dst + elements_to_boundary(dst);
    for (; last - p >= 3 * step; p += 4 * step) {
        put(p);
        put(p + step);
        put(p + 2 * step);
        put(p + 3 * step);
    }
    for (; p < last; p += step) put(p);
    put(last);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsCopy_8u(const uint8_t* src, uint8_t* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return copy(src, dst, len);
}

SrStatus zelsCopy_16s(const int16_t* src, int16_t* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return copy(src, dst, len);
}

SrStatus zelsCopy_32s(const int32_t* src, int32_t* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return copy(src, dst, len);
}

SrStatus zelsCopy_32f(const float* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return copy(src, dst, len);
}

SrStatus zelsCopy_64f(const double* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return copy(src, dst, len);
}

SrStatus zelsMove_32f(const float* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    std::memmove(dst, src, bytes<float>(len));
    return SrOk;
}

SrStatus zelsSet_8u(uint8_t value, uint8_t* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(dst), positive(len))) return failed;
    std::memset(dst, value, bytes<uint8_t>(len));
    return SrOk;
}

SrStatus zelsSet_16s(int16_t value, int16_t* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(dst), positive(len))) return failed;
    return fill(value, _mm_set1_epi16(value), dst, len);
}

SrStatus zelsSet_32s(int32_t value, int32_t* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(dst), positive(len))) return failed;
    return fill(value, _mm_set1_epi32(value), dst, len);
}

SrStatus zelsSet_32f(float value, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(dst), positive(len))) return failed;
    return fill(value, _mm_castps_si128(_mm_set1_ps(value)), dst, len);
}

SrStatus zelsSet_64f(double value, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(dst), positive(len))) return failed;
    return fill(value, _mm_castpd_si128(_mm_set1_pd(value)), dst, len);
}

SrStatus zelsZero_8u(uint8_t* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(dst), positive(len))) return failed;
    return zero(dst, len);
}

SrStatus zelsZero_16s(int16_t* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(dst), positive(len))) return failed;
    return zero(dst, len);
}

SrStatus zelsZero_32f(float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(dst), positive(len))) return failed;
    return zero(dst, len);
}

SrStatus zelsZero_64f(double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(dst), positive(len))) return failed;
    return zero(dst, len);
}
