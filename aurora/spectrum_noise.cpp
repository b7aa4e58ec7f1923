// The noise spectrum's update: b * (0.9 + 0.1 * (a / (a + b)) * (b / (0.1 * a + b) + 1)).
#include <bit>

#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/groups.h"
#include "core/rounding.h"
#include "core/scale.h"
#include "core/simd.h"
#include "zelsr/aurora/spectrum.h"

namespace zelsr {
namespace {

// Rounding toward zero for the time of a kernel; else like DefaultFloatEnvironment, with the same rule: from
// memory to memory.
class RoundTowardZero {
  public:
    RoundTowardZero()
    {
        constexpr unsigned kTowardZero = 0x7f80;  // all exceptions masked, subnormals as they are
        _mm_setcsr(kTowardZero);
        asm volatile("" ::: "memory");
    }
    ~RoundTowardZero()
    {
        asm volatile("" ::: "memory");
        _mm_setcsr(before_);
    }
    RoundTowardZero(const RoundTowardZero&) = delete;
    RoundTowardZero& operator=(const RoundTowardZero&) = delete;

  private:
    unsigned before_ = _mm_getcsr();
};

// In single precision, with estimates of both reciprocals.
[[gnu::noinline]] void update_by_estimates(const float* a, const float* b, float* dst, int32_t len)
{
    auto update = [](__m128 from, __m128 noise) __attribute__((always_inline))
    {
        const __m128 tenth = _mm_set1_ps(0.1F), zero = _mm_setzero_ps();
        const __m128 sum = from + noise, t = tenth * from + noise;
        const __m128 ratio = from * _mm_rcp_ps(sum), other = noise * _mm_rcp_ps(t) + _mm_set1_ps(1.0F);
        const __m128 result = noise * (_mm_set1_ps(0.9F) + tenth * ratio * other);
        const __m128 no_quotient = _mm_or_ps(_mm_cmpeq_ps(sum, zero), _mm_cmpeq_ps(t, zero));
        constexpr auto default_nan = std::bit_cast<int32_t>(0xffc00000u);
        const __m128i nan = _mm_cmpeq_epi32(_mm_castps_si128(result), _mm_set1_epi32(default_nan));
        return _mm_andnot_ps(_mm_or_ps(no_quotient, _mm_castsi128_ps(nan)), result);
    };
    elementwise(update, dst, len, a, b);
}

// Four lanes of integers in single precision, times 2^-sf, and where they have no quotient.
class IntegerUpdate {
  public:
    explicit IntegerUpdate(int32_t sf) : scale_(_mm_set1_ps(GetScale_32s32f(sf))) {}

    __m128 result(__m128i a, __m128i b) const
    {
        const __m128 from = _mm_cvtepi32_ps(a), noise = _mm_cvtepi32_ps(b), tenth = _mm_set1_ps(0.1F);
        const __m128 ratio = from / (from + noise), other = noise / (tenth * from + noise) + _mm_set1_ps(1.0F);
        return noise * (tenth * ratio * other + _mm_set1_ps(0.9F)) * scale_;
    }
    // Where the integer sum, which wraps, is 0, or 0.1 * a + b truncated.
    static __m128i no_quotient(__m128i a, __m128i b)
    {
        const __m128 t = _mm_set1_ps(0.1F) * _mm_cvtepi32_ps(a) + _mm_cvtepi32_ps(b);
        const __m128 magnitude = _mm_andnot_ps(_mm_set1_ps(-0.0F), t);
        const __m128i zero_sum = _mm_cmpeq_epi32(_mm_add_epi32(a, b), _mm_setzero_si128());
        return _mm_or_si128(zero_sum, _mm_castps_si128(_mm_cmplt_ps(magnitude, _mm_set1_ps(1.0F))));
    }
    // Saturated, in lanes of 32 bits. A NaN gives the maximum's second operand, -32768.
    __m128i in_16_bits(__m128i a, __m128i b) const
    {
        const __m128 raised = _mm_max_ps(result(a, b), _mm_set1_ps(-32768.0F));
        const __m128i limited = to_32s<Rounding::TowardZero>(_mm_min_ps(raised, _mm_set1_ps(32767.0F)));
        return _mm_andnot_si128(no_quotient(a, b), limited);
    }
    // Not saturated: 2^31 and more becomes -2147483648, wanted.
    __m128i in_32_bits(__m128i a, __m128i b) const
    {
        return _mm_andnot_si128(no_quotient(a, b), to_32s<Rounding::TowardZero>(result(a, b)));
    }

  private:
    __m128 scale_;
};

[[gnu::noinline]] void update_16s(const int16_t* a, const int16_t* b, int16_t* dst, int32_t len, int32_t sf)
{
    const IntegerUpdate update(sf);
    const auto eight = [&](int16_t * to, const int16_t* from_a, const int16_t* from_b)
        __attribute__((always_inline))
    {
        const __m128i x = Unaligned::bytes(from_a), y = Unaligned::bytes(from_b);
        const __m128i low = update.in_16_bits(low_16s32s(x), low_16s32s(y));
        const __m128i high = update.in_16_bits(high_16s32s(x), high_16s32s(y));
        Unaligned::put(static_cast<void*>(to), _mm_packs_epi32(low, high));
    };
    in_groups<8>(len, dst, eight, a, b);
}

[[gnu::noinline]] void update_32s(const int32_t* a, const int32_t* b, int32_t* dst, int32_t len, int32_t sf)
{
    const IntegerUpdate update(sf);
    const auto four = [&](int32_t * to, const int32_t* from_a, const int32_t* from_b)
        __attribute__((always_inline))
    {
        const __m128i sums = update.in_32_bits(Unaligned::bytes(from_a), Unaligned::bytes(from_b));
        Unaligned::put(static_cast<void*>(to), sums);
    };
    in_groups<4>(len, dst, four, a, b);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsNoiseSpectrumUpdate_Aurora_32f(const float* a, const float* b, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(a, b, dst), positive(len))) return failed;
    const RoundTowardZero rounding;
    update_by_estimates(a, b, dst, len);
    return SrOk;
}

SrStatus zelsNoiseSpectrumUpdate_Aurora_16s_Sfs(const int16_t* a, const int16_t* b, int16_t* dst, int32_t len,
                                                int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(a, b, dst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    update_16s(a, b, dst, len, sf);
    return SrOk;
}

SrStatus zelsNoiseSpectrumUpdate_Aurora_32s_Sfs(const int32_t* a, const int32_t* b, int32_t* dst, int32_t len,
                                                int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(a, b, dst), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    update_32s(a, b, dst, len, sf);
    return SrOk;
}
