// Sums of the elements of an array.
#include <algorithm>
#include <cstdint>

#include "core/contract.h"
#include "core/fixed_point.h"
#include "core/rounding.h"
#include "core/rows.h"
#include "core/simd.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

// The kernels in floating point stay out of line, so that all of their arithmetic happens while the default
// environment is set.

// Eight sums in extended precision, each of every eighth element, joined in pairs, then the rest in order.
[[gnu::noinline]] void sum_accurate(const float* src, int32_t len, float* result)
{
    long double s0 = 0, s1 = 0, s2 = 0, s3 = 0, s4 = 0, s5 = 0, s6 = 0, s7 = 0;
    std::ptrdiff_t i = 0;
    for (; i <= len - 8; i += 8) {
        s0 += load_one(src + i);
        s1 += load_one(src + i + 1);
        s2 += load_one(src + i + 2);
        s3 += load_one(src + i + 3);
        s4 += load_one(src + i + 4);
        s5 += load_one(src + i + 5);
        s6 += load_one(src + i + 6);
        s7 += load_one(src + i + 7);
    }
    long double sum = ((s0 + s1) + (s2 + s3)) + ((s4 + s5) + (s6 + s7));
    for (; i < len; ++i) sum += load_one(src + i);
    store_one(result, static_cast<float>(sum));
}

[[gnu::noinline]] void sum_one_by_one(const float* src, int32_t len, float* result)
{
    long double sum = 0;
    for (std::ptrdiff_t i = 0; i < len; ++i) sum += load_one(src + i);
    store_one(result, static_cast<float>(sum));
}

// 16 sums in single, each of every sixteenth element; the groups of four behind go on from the first four sums.
float sum_of_block(const float* src, int32_t len)
{
    __m128 s0 = _mm_setzero_ps(), s1 = s0, s2 = s0, s3 = s0;
    int32_t i = 0;
    for (; i <= len - 16; i += 16) {
        s0 += Unaligned::four(src + i);
        s1 += Unaligned::four(src + i + 4);
        s2 += Unaligned::four(src + i + 8);
        s3 += Unaligned::four(src + i + 12);
    }
    for (; i <= len - 4; i += 4) s0 += Unaligned::four(src + i);
    if (i < len) s1 += FirstLanes{static_cast<int>(len - i)}.lanes(src + i);
    return join_pairs((s0 + s1) + (s2 + s3));
}

[[gnu::noinline]] void sum_fast(const float* src, int32_t len, float* result)
{
    constexpr std::ptrdiff_t kBlock = 32768;
    long double sum = 0;
    for (std::ptrdiff_t i = 0; i < len; i += kBlock)
        sum += sum_of_block(src + i, static_cast<int32_t>(std::min(kBlock, len - i)));
    store_one(result, static_cast<float>(sum));
}

int64_t join(__m128i sums_64)
{
    int64_t lanes[2];
    Unaligned::put(lanes, sums_64);
    return lanes[0] + lanes[1];
}

// Each lane as 64 bits, the upper two added to the lower two.
__m128i widened_sum(__m128i x)
{
    const __m128i sign = _mm_srai_epi32(x, 31);
    return _mm_add_epi64(_mm_unpacklo_epi32(x, sign), _mm_unpackhi_epi32(x, sign));
}

int64_t exact_sum(const int32_t* src, int32_t len)
{
    __m128i sums = _mm_setzero_si128();
    std::ptrdiff_t i = 0;
    for (; i <= len - 4; i += 4) sums = _mm_add_epi64(sums, widened_sum(Unaligned::bytes(src + i)));
    int64_t sum = join(sums);
    for (; i < len; ++i) sum += load_one(src + i);
    return sum;
}

int64_t exact_sum(const int16_t* src, int32_t len)
{
    // A lane of 32 bits takes two elements a step: 32767 steps cannot overflow it.
    constexpr std::ptrdiff_t kBlock = 32767 * 8;
    const __m128i ones = _mm_set1_epi16(1);
    __m128i sums_64 = _mm_setzero_si128();
    std::ptrdiff_t i = 0;
    while (i <= len - 8) {
        const std::ptrdiff_t end = std::min<std::ptrdiff_t>(i + kBlock, len - 7);
        __m128i sums_32 = _mm_setzero_si128();
        for (; i < end; i += 8) sums_32 = _mm_add_epi32(sums_32, _mm_madd_epi16(Unaligned::bytes(src + i), ones));
        sums_64 = _mm_add_epi64(sums_64, widened_sum(sums_32));
    }
    int64_t sum = join(sums_64);
    for (; i < len; ++i) sum += load_one(src + i);
    return sum;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSum_32f(const float* src, int32_t len, float* result, int32_t hint)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    if (hint != 1)
        sum_accurate(src, len, result);
    else if (!is_aligned(src, sizeof(float)))
        sum_one_by_one(src, len, result);  // in another precision: wanted
    else
        sum_fast(src, len, result);
    return SrOk;
}

// The contract's sum in double, scaled and rounded there, has the same value: below 2^53 nothing is lost on the way.
SrStatus zelsSum_16s32s_Sfs(const int16_t* src, int32_t len, int32_t* result, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    store_one(result, scaled<int32_t>(exact_sum(src, len), sf));
    return SrOk;
}

SrStatus zelsSum_32s_Sfs(const int32_t* src, int32_t len, int32_t* result, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    store_one(result, scaled<int32_t>(exact_sum(src, len), sf));
    return SrOk;
}
