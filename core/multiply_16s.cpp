// Products of 16-bit integers under a scale factor.
#include "core/contract.h"
#include "core/fixed_point.h"
#include "core/groups.h"
#include "core/simd.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

// The limits of the scale keep the members' far ends: every product shifted right by 31 rounds to zero, and every
// product but zero saturates when it is shifted left by 15.
template <class ScaleTo16s>
void multiply(const int16_t* first, const int16_t* second, int16_t* dst, int32_t len, ScaleTo16s scale)
{
    const auto step = [&](int16_t* to, const int16_t* a, const int16_t* b) {
        const __m128i x = Unaligned::bytes(a), y = Unaligned::bytes(b);
        const __m128i low = _mm_mullo_epi16(x, y), high = _mm_mulhi_epi16(x, y);
        Unaligned::put(to, scale(_mm_unpacklo_epi16(low, high), _mm_unpackhi_epi16(low, high)));
    };
    in_groups<8>(len, dst, step, first, second);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsMul_16s_Sfs(const int16_t* first, const int16_t* second, int16_t* dst, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(first, second, dst), positive(len))) return failed;
    with_scale_to_16s(sf, [=](auto scale) { multiply(first, second, dst, len, scale); });
    return SrOk;
}
