// Integer results under a scale factor: the exact value times 2^-sf, rounded to nearest with ties to even and
// saturated to the narrower type.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "core/simd.h"

namespace zelsr {

template <std::signed_integral To>
constexpr To saturated(int64_t x)
{
    return static_cast<To>(std::clamp<int64_t>(x, std::numeric_limits<To>::min(), std::numeric_limits<To>::max()));
}

// (x + 2^(sf-1) - 1 + ((x >> sf) & 1)) >> sf, for sf from 1 to one less than the bits of T. Only the low sf bits
// are rounded, as an unsigned number, so that no sum overflows.
template <std::signed_integral T>
constexpr T rounded_shift(T x, int32_t sf)
{
    using Bits = std::make_unsigned_t<T>;
    const T whole = static_cast<T>(x >> sf);
    const Bits low = static_cast<Bits>(x) & ((Bits{1} << sf) - 1);
    const Bits carry = (low + (Bits{1} << (sf - 1)) - 1 + (static_cast<Bits>(whole) & 1)) >> sf;
    return static_cast<T>(whole + static_cast<T>(carry));
}

// x * 2^n, saturated, for n from 0 to one less than the bits of To.
template <std::signed_integral To>
constexpr To saturated_shift_left(int64_t x, int32_t n)
{
    return static_cast<To>(saturated<To>(x) == x ? saturated<To>(x * (int64_t{1} << n)) : saturated<To>(x));
}

// x * 2^-sf; sf counts no further than 63 and than minus one less than the bits of To.
template <std::signed_integral To>
constexpr To scaled(int64_t x, int32_t sf)
{
    if (sf > 0) return saturated<To>(rounded_shift(x, std::min(sf, 63)));
    return saturated_shift_left<To>(x, -std::max<int32_t>(sf, -std::numeric_limits<To>::digits));
}

// rounded_shift of four lanes.
class RoundedShift {
  public:
    explicit RoundedShift(int32_t sf)
        : count_(_mm_cvtsi32_si128(sf)),
          low_bits_(_mm_set1_epi32(static_cast<int32_t>((1u << sf) - 1))),
          below_half_(_mm_set1_epi32(static_cast<int32_t>((1u << (sf - 1)) - 1)))
    {}
    __m128i operator()(__m128i x) const
    {
        const __m128i whole = _mm_sra_epi32(x, count_);
        const __m128i odd = _mm_and_si128(whole, _mm_set1_epi32(1));
        const __m128i low = _mm_and_si128(x, low_bits_);
        const __m128i carry = _mm_srl_epi32(_mm_add_epi32(_mm_add_epi32(low, below_half_), odd), count_);
        return _mm_add_epi32(whole, carry);
    }

  private:
    __m128i count_, low_bits_, below_half_;
};

// Eight saturated 16-bit lanes out of two registers of 32-bit lanes, under the scale factor that the shape
// stands for.
struct Unscaled {
    __m128i operator()(__m128i low, __m128i high) const { return _mm_packs_epi32(low, high); }
};
struct ScaledDown {  // sf from 1 to 31
    RoundedShift shift;

    __m128i operator()(__m128i low, __m128i high) const { return _mm_packs_epi32(shift(low), shift(high)); }
};
struct ScaledUp {  // sf from -15 to -1: saturated to 16 bits before and after the left shift
    __m128i count;

    __m128i operator()(__m128i low, __m128i high) const
    {
        const __m128i x = _mm_packs_epi32(low, high);
        return _mm_packs_epi32(_mm_sll_epi32(low_16s32s(x), count), _mm_sll_epi32(high_16s32s(x), count));
    }
};

// kernel(shape), the shape by sf, limited to -15 to 31.
template <class Kernel>
inline void with_scale_to_16s(int32_t sf, const Kernel& kernel)
{
    if (sf == 0)
        kernel(Unscaled{});
    else if (sf > 0)
        kernel(ScaledDown{RoundedShift(std::min(sf, 31))});
    else
        kernel(ScaledUp{_mm_cvtsi32_si128(-std::max(sf, -15))});
}

}  // namespace zelsr
