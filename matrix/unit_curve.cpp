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
        return _mm_or_ps(_mm_and_ps(below_one, x * x), _mm_andnot_ps(below_one, Upper::upper_piece(x)));
    }
};

template <class Upper>
SrStatus unit_curve(const float* src, float* dst, int32_t len)
{
    UnitCurve<Upper> curve;
    elementwise(curve, dst, len, src);
    return SrOk;
}

// The same with q fraction bits in x and 2 q in the curve, on four lanes of 32 bits that hold x from 0 to 2^(q +
// 1): the pieces are x * x and 2^(2 q + 1) - (2^(q + 1) - x)^2.
class FixedUnitCurve {
  public:
    explicit FixedUnitCurve(int32_t q) : one_(repeat(1 << q)), two_(repeat(2 << q)), top_(repeat(2 << q << q)) {}

    __m128i operator()(__m128i x) const
    {
        const __m128i below_one = _mm_cmpgt_epi32(one_, x);
        const __m128i upper = _mm_sub_epi32(top_, square(_mm_sub_epi32(two_, x)));
        return _mm_or_si128(_mm_and_si128(below_one, square(x)), _mm_andnot_si128(below_one, upper));
    }

  private:
    // Of lanes from 0 to 32767; from 2^15 on (x = 0 under q = 14) the piece is not taken.
    static __m128i square(__m128i x) { return _mm_madd_epi16(x, x); }

    __m128i one_, two_, top_;
};

// Shifted right by count, or left by -count, where high bits drop out; limited above alone, and the low 16 bits
// kept: wanted. A count above 31 leaves zeros.
class ShiftAndLimit {
  public:
    explicit ShiftAndLimit(int64_t count) : right_(shift_of(count)), left_(shift_of(-count)) {}

    __m128i operator()(__m128i v) const
    {
        v = _mm_sll_epi32(_mm_srl_epi32(v, right_), left_);
        const __m128i most = repeat(32767), above = _mm_cmpgt_epi32(v, most);
        v = _mm_or_si128(_mm_and_si128(above, most), _mm_andnot_si128(above, v));
        return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16);
    }

  private:
    static __m128i shift_of(int64_t count)
    {
        return _mm_cvtsi32_si128(static_cast<int32_t>(std::clamp<int64_t>(count, 0, 32)));
    }

    __m128i right_, left_;
};

SrStatus unit_curve(const int16_t* src, int32_t q, int16_t* dst, int32_t len, int32_t sf)
{
    if (q < 0 || q > 14) return zelsZero_16s(dst, len);
    const FixedUnitCurve curve(q);
    const ShiftAndLimit limited(int64_t{sf} + 2 * q);
    const __m128i zero = _mm_setzero_si128();
    const __m128i most = _mm_set1_epi16(static_cast<int16_t>(std::min(2 << q, 32767)));
    const auto step = [&](int16_t* to, const int16_t* from) {
        const __m128i x = _mm_min_epi16(_mm_max_epi16(Unaligned::bytes(from), zero), most);
        const __m128i low = limited(curve(_mm_unpacklo_epi16(x, zero)));
        const __m128i high = limited(curve(_mm_unpackhi_epi16(x, zero)));
        Unaligned::put(to, _mm_packs_epi32(low, high));
    };
    in_groups<8>(len, dst, step, src);
    return SrOk;
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
