// Counts of sign changes. Every pair of neighbours adds a small integer to a lane; the lanes of 32 bits hold the
// counts of the longest signal.
#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/frontend/energy.h"

namespace zelsr {
namespace {

// What the neighbours x[n] and x[n+1] add to a sum, in every lane.

// One if their product is negative. The upper half of a product has its sign.
struct NegativeProduct_16s {
    static __m128i add(__m128i sum, __m128i x, __m128i next)
    {
        const __m128i minus_one = _mm_srai_epi16(_mm_mulhi_epi16(x, next), 15);
        return _mm_add_epi32(sum, _mm_madd_epi16(minus_one, _mm_set1_epi16(-1)));
    }
};
// |sgn(x[n+1]) - sgn(x[n])|
struct SignDistance_16s {
    static __m128i add(__m128i sum, __m128i x, __m128i next)
    {
        const __m128i one = _mm_set1_epi16(1);
        const __m128i distance = _mm_sub_epi16(_mm_sign_epi16(one, next), _mm_sign_epi16(one, x));
        return _mm_add_epi32(sum, _mm_madd_epi16(_mm_abs_epi16(distance), one));
    }
};

// One if the product is not at or above zero; so NaN counts.
struct NotPositiveProduct_32f {
    static __m128i add(__m128i sum, __m128 x, __m128 next)
    {
        return _mm_sub_epi32(sum, _mm_castps_si128(_mm_cmpnge_ps(x * next, _mm_setzero_ps())));
    }
};
// One if the sign bits differ.
struct SignBits_32f {
    static __m128i add(__m128i sum, __m128 x, __m128 next)
    {
        return _mm_add_epi32(sum, _mm_srli_epi32(_mm_castps_si128(_mm_xor_ps(x, next)), 31));
    }
};
// |sgn(x[n+1]) - sgn(x[n])|, sgn 0 for a zero and for NaN.
struct SignDistance_32f {
    static __m128i minus_sign(__m128 x)
    {
        const __m128 zero = _mm_setzero_ps();
        return _mm_sub_epi32(_mm_castps_si128(_mm_cmpgt_ps(x, zero)), _mm_castps_si128(_mm_cmplt_ps(x, zero)));
    }
    static __m128i add(__m128i sum, __m128 x, __m128 next)
    {
        return _mm_add_epi32(sum, _mm_abs_epi32(_mm_sub_epi32(minus_sign(next), minus_sign(x))));
    }
};

inline __m128 register_at(const float* p) { return Unaligned::four(p); }
inline __m128i register_at(const int16_t* p) { return Unaligned::bytes(p); }
inline __m128 element_at(const float* p) { return OneLane::lanes(p); }
inline __m128i element_at(const int16_t* p) { return _mm_cvtsi32_si128(static_cast<uint16_t>(load_one(p))); }

inline int64_t sum_of_lanes(__m128i x)
{
    alignas(16) uint32_t lane[4];
    Aligned::put(lane, x);
    return int64_t{lane[0]} + lane[1] + lane[2] + lane[3];
}

// Sum over the pairs. Lanes beyond the one element of a rest are zero, and add nothing.
template <class Pair, class T>
[[gnu::noinline]] int64_t sum_of_pairs(const T* src, int32_t len)
{
    constexpr std::ptrdiff_t lanes = 16 / sizeof(T);
    const std::ptrdiff_t pairs = std::ptrdiff_t{len} - 1;
    __m128i sum[2] = {_mm_setzero_si128(), _mm_setzero_si128()};
    std::ptrdiff_t n = 0;
    for (; n + 2 * lanes <= pairs; n += 2 * lanes)
        for_each_index<2>([&](auto i) __attribute__((always_inline)) {
            const T* const at = src + n + i * lanes;
            sum[i] = Pair::add(sum[i], register_at(at), register_at(at + 1));
        });
    if (n + lanes <= pairs) {
        sum[0] = Pair::add(sum[0], register_at(src + n), register_at(src + n + 1));
        n += lanes;
    }
    for (; n < pairs; ++n) sum[1] = Pair::add(sum[1], element_at(src + n), element_at(src + n + 1));
    return sum_of_lanes(_mm_add_epi32(sum[0], sum[1]));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSignChangeRate_16s(const int16_t* src, int32_t len, int32_t* count)
{
    if (SrStatus failed = first_failure(non_null(src, count), positive(len))) return failed;
    store_one(count, static_cast<int32_t>(sum_of_pairs<NegativeProduct_16s>(src, len)));
    return SrOk;
}

SrStatus zelsSignChangeRate_32f(const float* src, int32_t len, float* count)
{
    if (SrStatus failed = first_failure(non_null(src, count), positive(len))) return failed;
    const DefaultFloatEnvironment environment;  // whether a product underflows is a matter of rounding
    store_one(count, static_cast<float>(sum_of_pairs<NotPositiveProduct_32f>(src, len)));
    return SrOk;
}

SrStatus zelsSignChangeRateXor_32f(const float* src, int32_t len, int32_t* count)
{
    if (SrStatus failed = first_failure(non_null(src, count), positive(len))) return failed;
    store_one(count, static_cast<int32_t>(sum_of_pairs<SignBits_32f>(src, len)));
    return SrOk;
}

SrStatus zelsSignChangeRate_Count0_16s(const int16_t* src, int32_t len, int32_t* count)
{
    if (SrStatus failed = first_failure(non_null(src, count), positive(len))) return failed;
    store_one(count, static_cast<int32_t>(sum_of_pairs<SignDistance_16s>(src, len) >> 1));
    return SrOk;
}

SrStatus zelsSignChangeRate_Count0_32f(const float* src, int32_t len, float* count)
{
    if (SrStatus failed = first_failure(non_null(src, count), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    store_one(count, static_cast<float>(sum_of_pairs<SignDistance_32f>(src, len)) * 0.5F);
    return SrOk;
}
