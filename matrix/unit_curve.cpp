// The unit curve: 0, x^2, 2 - (2 - x)^2, 2.
#include <algorithm>

#include "core/contract.h"
#include "core/elementwise.h"
#include "core/groups.h"
#include "zelsr/core/vector.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr {
namespace {

// The piece from 1 to 2. The members differ in its rounding: wanted.
struct Expanded {
    static __m128 upper_piece(__m128 x) { return repeat(4.0F) * x - x * x - repeat(2.0F); }
};
struct Mirrored {
    static __m128 upper_piece(__m128 x)
    {
        const __m128 rest = repeat(2.0F) - x;
        return repeat(2.0F) - rest * rest;
    }
};

// x limited to 0 and 2, where the pieces take the values beyond them; NaN counts as 0.
template <class Upper>
struct UnitCurve {
    __m128 operator()(__m128 x) const
    {
        x = _mm_min_ps(_mm_max_ps(x, _mm_setzero_ps()), repeat(2.0F));
        const __m128 below_one = _mm_cmplt_ps(x, repeat(1.0F));
        return choose(below_one, x * x, Upper::upper_piece(x));
    }
};

template <class Upper>
SrStatus unit_curve(const float* src, float* dst, int32_t len)
{
    UnitCurve<Upper> curve;
    elementwise(curve, dst, len, src);
    return SrOk;
}

// The same with q fraction bits in x and 2 q in the curve: the pieces are x * x and 2^(2 q + 1) - (2^(q + 1) -
// x)^2. x is limited to 0 and 2^(q + 1), which under q = 14 is beyond every x.
class FixedUnitCurve {
  public:
    struct Values {
        __m128i low, high;  // 32 bits each
    };

    explicit FixedUnitCurve(int32_t q)
        : below_one_(_mm_set1_epi16(static_cast<int16_t>((1 << q) - 1))),
          two_(_mm_set1_epi16(static_cast<int16_t>(2 << q))),
          most_(_mm_set1_epi16(static_cast<int16_t>(std::min(2 << q, 32767)))),
          top_(repeat(2 << q << q))
    {}
    Values operator()(__m128i x) const
    {
        const __m128i zero = _mm_setzero_si128();
        x = _mm_min_epi16(_mm_max_epi16(x, zero), most_);
        const __m128i upper = _mm_cmpgt_epi16(x, below_one_);
        const __m128i y = choose(upper, _mm_sub_epi16(two_, x), x);
        return {piece(_mm_unpacklo_epi16(y, zero), _mm_unpacklo_epi16(upper, upper)),
                piece(_mm_unpackhi_epi16(y, zero), _mm_unpackhi_epi16(upper, upper))};
    }

  private:
    // y * y, or top - y * y under the mask.
    __m128i piece(__m128i y, __m128i upper) const
    {
        const __m128i square = _mm_madd_epi16(y, y);
        return _mm_add_epi32(_mm_sub_epi32(_mm_xor_si128(square, upper), upper), _mm_and_si128(upper, top_));
    }

    __m128i below_one_, two_, most_, top_;
};

// Limited above by the packing: no value is below zero.
struct ShiftRight {
    __m128i count;

    __m128i operator()(FixedUnitCurve::Values v) const
    {
        return _mm_packs_epi32(_mm_srl_epi32(v.low, count), _mm_srl_epi32(v.high, count));
    }
};
// High bits drop out; limited above alone, and the low 16 bits kept: wanted.
struct ShiftLeft {
    __m128i count;

    __m128i operator()(FixedUnitCurve::Values v) const
    {
        return _mm_packs_epi32(low_half(_mm_sll_epi32(v.low, count)), low_half(_mm_sll_epi32(v.high, count)));
    }

  private:
    static __m128i low_half(__m128i v)
    {
        const __m128i above = _mm_cmpgt_epi32(v, repeat(32767));
        v = choose(above, repeat(32767), v);
        return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16);
    }
};

template <class Shift>
SrStatus shifted_curve(const int16_t* src, int32_t q, int16_t* dst, int32_t len, Shift shift)
{
    const FixedUnitCurve curve(q);
    const auto step = [&](int16_t* to, const int16_t* from) {
        Unaligned::put(to, shift(curve(Unaligned::bytes(from))));
    };
    in_groups<8>(len, dst, step, src);
    return SrOk;
}

// A shift above 31 leaves zeros.
SrStatus unit_curve(const int16_t* src, int32_t q, int16_t* dst, int32_t len, int32_t sf)
{
    if (q < 0 || q > 14) return zelsZero_16s(dst, len);
    const auto shift = static_cast<int32_t>(std::clamp<int64_t>(int64_t{sf} + 2 * q, -32, 32));
    if (shift > 0) return shifted_curve(src, q, dst, len, ShiftRight{_mm_cvtsi32_si128(shift)});
    return shifted_curve(src, q, dst, len, ShiftLeft{_mm_cvtsi32_si128(-shift)});
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsUnitCurve_32f(const float* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return unit_curve<Expanded>(src, dst, len);
}

SrStatus zelsUnitCurve_32f_I(float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return unit_curve<Mirrored>(srcdst, srcdst, len);
}

SrStatus zelsUnitCurve_16s_Sfs(const int16_t* src, int32_t q, int16_t* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return unit_curve(src, q, dst, len, sf);
}

SrStatus zelsUnitCurve_16s_ISfs(int16_t* srcdst, int32_t q, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return unit_curve(srcdst, q, srcdst, len, sf);
}
