// The distributed front-end's spectra: power at half the resolution, taps.
#include "zelsr/aurora/spectrum.h"

#include <algorithm>
#include <limits>

#include "core/contract.h"
#include "core/fixed_point.h"
#include "core/scale.h"
#include "core/simd.h"

namespace zelsr {
namespace {

constexpr SrStatus multiple_of_4(int32_t n) { return require(n >= 1 && n % 4 == 0, SrErrSize); }

// dst from a spectrum in Perm format, under an arithmetic A, which has
//   A::kGroup           how many entries group() stores
//   first(x0, x2, x3)   the entry of frequency 0
//   last(x1)            the entry of half the sample rate
//   one(x)              the entry of the four values from x on
//   group(x, to)        kGroup entries
// The last group overlaps the one before it.
template <class A, class T, class U>
void smooth(const A& arithmetic, const T* src, U* dst, int32_t n)
{
    const int32_t end = n / 4;
    store_one(dst, arithmetic.first(load_one(src), load_one(src + 2), load_one(src + 3)));
    std::ptrdiff_t i = 1;
    if (end > A::kGroup) {
        for (; i < end - A::kGroup; i += A::kGroup) arithmetic.group(src + 4 * i, dst + i);
        i = end - A::kGroup;
        arithmetic.group(src + 4 * i, dst + i);
    } else {
        for (; i < end; ++i) store_one(dst + i, arithmetic.one(src + 4 * i));
    }
    store_one(dst + end, arithmetic.last(load_one(src + 1)));
}

struct InSingle {
    static constexpr int32_t kGroup = 4;

    static float first(float x0, float x2, float x3) { return (x0 * x0 + x2 * x2 + x3 * x3) * 0.5F; }
    static float last(float x1) { return x1 * x1; }
    static float one(const float* x) { return join_pairs(squares(x)) * 0.5F; }
    static void group(const float* x, float* to)
    {
        const __m128 sums = join_pairs(squares(x), squares(x + 4), squares(x + 8), squares(x + 12));
        Unaligned::put(to, sums * _mm_set1_ps(0.5F));
    }

  private:
    static __m128 squares(const float* from)
    {
        const __m128 x = Unaligned::four(from);
        return x * x;
    }
};

// Each square loses its lowest bit when it is halved. The sum of four is at most 2^31 and wraps there, so that
// four values -32768 end at -32768: wanted.
struct In16Bits {
    static constexpr int32_t kGroup = 8;

    static int16_t first(int32_t x0, int32_t x2, int32_t x3)
    {
        return saturated<int16_t>(x3 * x3 / 2 + x2 * x2 / 2 + x0 * x0 / 2);
    }
    static int16_t last(int32_t x1) { return saturated<int16_t>(x1 * x1); }
    static int16_t one(const int16_t* x)
    {
        uint32_t sum = 0;
        for (int32_t k = 0; k < 4; ++k) {
            const int32_t value = load_one(x + k);
            sum += static_cast<uint32_t>((value * value) >> 1);
        }
        return saturated<int16_t>(static_cast<int32_t>(sum));
    }
    static void group(const int16_t* x, int16_t* to)
    {
        const __m128i low = _mm_hadd_epi32(halved_pairs(x), halved_pairs(x + 8));
        const __m128i high = _mm_hadd_epi32(halved_pairs(x + 16), halved_pairs(x + 24));
        Unaligned::put(static_cast<void*>(to), _mm_packs_epi32(low, high));
    }

  private:
    // (x0^2 >> 1) + (x1^2 >> 1) = (x0^2 + x1^2 - (x0 & 1) - (x1 & 1)) / 2, in four lanes without signs.
    static __m128i halved_pairs(const int16_t* from)
    {
        const __m128i x = Unaligned::bytes(from);
        const __m128i odd = _mm_and_si128(x, _mm_set1_epi16(1));
        return _mm_srli_epi32(_mm_sub_epi32(_mm_madd_epi16(x, x), _mm_madd_epi16(odd, odd)), 1);
    }
};

constexpr int64_t halved_square(int64_t x) { return (x * x) >> 1; }

// x1^2 in 32 bits, which wraps from 46341 on and keeps the sign that comes of it: wanted.
constexpr int64_t wrapped_square(int32_t x1)
{
    const auto x = static_cast<uint32_t>(x1);
    return static_cast<int32_t>(x * x);
}

// x * 2^-sf, rounded down and saturated.
constexpr int32_t shifted_32s(int64_t x, int32_t sf)
{
    if (sf > 0) return saturated<int32_t>(x >> std::min(sf, 63));
    return saturated_shift_left<int32_t>(x, -std::max(sf, -31));
}

// x * 2^-sf, rounded down, modulo 2^64.
constexpr int64_t shifted_64s(int64_t x, int32_t sf)
{
    if (sf >= 0) return x >> std::min(sf, 63);
    return sf < -63 ? 0 : static_cast<int64_t>(static_cast<uint64_t>(x) << -sf);
}

// Both ends in integers, saturated; what lies between in double, where values out of range become -2147483648
// without saturation: wanted.
class InDouble {
  public:
    static constexpr int32_t kGroup = 4;

    explicit InDouble(int32_t sf)
        : sf_(sf),
          half_scale_(_mm_set1_pd(GetScale_32s64f(std::min(sf, std::numeric_limits<int32_t>::max() - 1) + 1)))
    {}
    int32_t first(int32_t x0, int32_t x2, int32_t x3) const
    {
        return shifted_32s(halved_square(x0) + halved_square(x2) + halved_square(x3), sf_);
    }
    int32_t last(int32_t x1) const { return shifted_32s(wrapped_square(x1), sf_); }
    int32_t one(const int32_t* x) const { return _mm_cvtsi128_si32(two(x, x)); }
    void group(const int32_t* x, int32_t* to) const
    {
        Unaligned::put(static_cast<void*>(to), _mm_unpacklo_epi64(two(x, x + 4), two(x + 8, x + 12)));
    }

  private:
    // The entries from x and from y on, in the low lanes.
    __m128i two(const int32_t* x, const int32_t* y) const
    {
        return _mm_cvtpd_epi32(_mm_hadd_pd(pairs(x), pairs(y)) * half_scale_);
    }
    // x0^2 + x1^2, x2^2 + x3^2
    static __m128d pairs(const int32_t* from)
    {
        const __m128i x = Unaligned::bytes(from);
        const __m128d low = _mm_cvtepi32_pd(x), high = _mm_cvtepi32_pd(_mm_unpackhi_epi64(x, x));
        return _mm_hadd_pd(low * low, high * high);
    }

    int32_t sf_;
    __m128d half_scale_;
};

class In64Bits {
  public:
    static constexpr int32_t kGroup = 2;

    explicit In64Bits(int32_t sf)
        : sf_(sf),
          right_(_mm_cvtsi32_si128(std::clamp(sf, 0, 63))),
          left_(_mm_cvtsi32_si128(-std::clamp(sf, -64, 0))),
          sign_(_mm_srl_epi64(_mm_slli_epi64(_mm_set1_epi32(-1), 63), right_))
    {}
    int64_t first(int32_t x0, int32_t x2, int32_t x3) const
    {
        return shifted_64s(halved_square(x0) + halved_square(x2) + halved_square(x3), sf_);
    }
    int64_t last(int32_t x1) const { return shifted_64s(wrapped_square(x1), sf_); }
    int64_t one(const int32_t* x) const
    {
        // At most 2^63, which wraps.
        uint64_t sum = 0;
        for (int32_t k = 0; k < 4; ++k) sum += static_cast<uint64_t>(halved_square(load_one(x + k)));
        return shifted_64s(static_cast<int64_t>(sum), sf_);
    }
    void group(const int32_t* x, int64_t* to) const
    {
        const __m128i first_sums = pairs(x), second_sums = pairs(x + 4);
        const __m128i sums = _mm_add_epi64(_mm_unpacklo_epi64(first_sums, second_sums),
                                           _mm_unpackhi_epi64(first_sums, second_sums));
        // The shift to the right is arithmetic: the sign bit comes back from where it was shifted to.
        const __m128i shifted = _mm_xor_si128(_mm_srl_epi64(sums, right_), sign_);
        Unaligned::put(static_cast<void*>(to), _mm_sll_epi64(_mm_sub_epi64(shifted, sign_), left_));
    }

  private:
    // The halved squares x0, x1 and x2, x3, added. Squares are those of magnitudes, which fit 32 bits without
    // sign.
    static __m128i pairs(const int32_t* from)
    {
        const __m128i x = _mm_abs_epi32(Unaligned::bytes(from)), odd = _mm_srli_epi64(x, 32);
        return _mm_add_epi64(_mm_srli_epi64(_mm_mul_epu32(x, x), 1), _mm_srli_epi64(_mm_mul_epu32(odd, odd), 1));
    }

    int32_t sf_;
    __m128i right_, left_, sign_;
};

// Mirrored about tap 8, with the upper side one place ahead in the table, so that entry 1 comes once: wanted.
template <class T>
void unfold(const T* table, T* taps)
{
    constexpr int32_t middle = 8;
    store_one(taps + middle, load_one(table));
    for (int32_t k = 1; k <= middle; ++k) {
        store_one(taps + middle - k, load_one(table + k));
        store_one(taps + middle + k, load_one(table + k + 1));
    }
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSmoothedPowerSpectrumAurora_32f(const float* src, float* dst, int32_t n)
{
    if (SrStatus failed = first_failure(non_null(src, dst), multiple_of_4(n))) return failed;
    smooth(InSingle{}, src, dst, n);
    return SrOk;
}

SrStatus zelsSmoothedPowerSpectrumAurora_16s(const int16_t* src, int16_t* dst, int32_t n)
{
    if (SrStatus failed = first_failure(non_null(src, dst), multiple_of_4(n))) return failed;
    smooth(In16Bits{}, src, dst, n);
    return SrOk;
}

SrStatus zelsSmoothedPowerSpectrumAurora_32s_Sfs(const int32_t* src, int32_t* dst, int32_t n, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), multiple_of_4(n))) return failed;
    smooth(InDouble(sf), src, dst, n);
    return SrOk;
}

SrStatus zelsSmoothedPowerSpectrumAurora_32s64s_Sfs(const int32_t* src, int64_t* dst, int32_t n, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), multiple_of_4(n))) return failed;
    smooth(In64Bits(sf), src, dst, n);
    return SrOk;
}

SrStatus zelsTabsCalculation_Aurora_32f(const float* table, float* taps)
{
    if (SrStatus failed = non_null(table, taps)) return failed;
    // As integers, so that every bit is copied.
    unfold(reinterpret_cast<const int32_t*>(table), reinterpret_cast<int32_t*>(taps));
    return SrOk;
}

SrStatus zelsTabsCalculation_Aurora_16s(const int16_t* table, int16_t* taps)
{
    if (SrStatus failed = non_null(table, taps)) return failed;
    unfold(table, taps);
    return SrOk;
}
