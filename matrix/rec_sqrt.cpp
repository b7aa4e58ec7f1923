// Reciprocal square roots under a floor.
//
// r is the processor's estimate of 1 / sqrt(x); one Newton step takes it to y. The step does not converge where
// the estimate is zero or infinite, and its result there stands: wanted.
#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/groups.h"
#include "core/rounding.h"
#include "core/rows.h"
#include "core/scale.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr {
namespace {

// Roots of what lies above the floor; an element that is not above it (NaN too) becomes the floor.
class RootsAbove {
  public:
    explicit RootsAbove(__m128 floor) : floor_(floor) {}

    __m128 operator()(__m128 x)
    {
        const __m128 above = _mm_cmplt_ps(floor_, x);
        any_above_ = _mm_or_ps(any_above_, above);
        x = choose(above, x, repeat(1.0F));  // elements that become the floor raise no exceptions
        const __m128 r = _mm_rsqrt_ps(x);
        return choose(above, (repeat(3.0F) - x * r * r) * (r * repeat(0.5F)), floor_);
    }
    SrStatus status() const { return _mm_movemask_ps(any_above_) != 0 ? SrOk : SrWarnInvZero; }

  private:
    __m128 floor_, any_above_ = _mm_setzero_ps();
};

// Roots of integers from the floor on, times the scale. Another computation than RootsAbove, and an element equal
// to the floor has a root here: wanted.
class ScaledRootsFrom {
  public:
    ScaledRootsFrom(int32_t floor, float scale)
        : floor_(repeat(floor)), floor_single_(_mm_cvtepi32_ps(floor_)), scale_(repeat(scale))
    {}

    __m128 operator()(__m128i x)
    {
        const __m128 below = _mm_castsi128_ps(_mm_cmpgt_epi32(floor_, x));
        all_below_ = _mm_and_ps(all_below_, below);
        const __m128 single = _mm_cvtepi32_ps(x), r = _mm_rsqrt_ps(single);
        const __m128 root = r * (single * r * r - repeat(3.0F)) * repeat(-0.5F);
        return choose(below, floor_single_, root) * scale_;
    }
    SrStatus status() const { return _mm_movemask_ps(all_below_) == 0xf ? SrWarnInvZero : SrOk; }

  private:
    __m128i floor_;
    __m128 floor_single_, scale_;
    __m128 all_below_ = _mm_castsi128_ps(_mm_set1_epi32(-1));
};

// The kernels to integers stay out of line, so that all of their arithmetic happens while the default environment
// is set.

[[gnu::noinline]] SrStatus rounded_roots(int32_t* srcdst, int32_t len, int32_t floor, int32_t sf)
{
    RootsAbove roots(_mm_cvtepi32_ps(repeat(floor)));
    const __m128 scale = repeat(GetScale_32s32f(sf));
    auto to_integers = [&](__m128i x) __attribute__((always_inline))
    {
        return saturated_32s<Rounding::Nearest>(roots(_mm_cvtepi32_ps(x)) * scale);
    };
    elementwise(to_integers, srcdst, len, srcdst);
    return roots.status();
}

// What reaches 2^31 converts to -2147483648: wanted.
[[gnu::noinline]] SrStatus truncated_roots(int32_t* srcdst, int32_t len, int32_t floor, int32_t sf)
{
    ScaledRootsFrom roots(floor, GetScale_32s32f(sf));
    auto to_integers = [&](__m128i x) __attribute__((always_inline))
    {
        return to_32s<Rounding::TowardZero>(roots(x));
    };
    elementwise(to_integers, srcdst, len, srcdst);
    return roots.status();
}

// The zeros behind a source shorter than a group lie below the floor and count for nothing.
[[gnu::noinline]] SrStatus truncated_roots(const int32_t* src, int16_t* dst, int32_t len, int32_t floor,
                                           int32_t sf)
{
    ScaledRootsFrom roots(floor, GetScale_32s32f(sf));
    const auto step = [&](int16_t* to, const int32_t* from) {
        const __m128i low = limited_to_16s<Rounding::TowardZero>(roots(Unaligned::bytes(from)));
        const __m128i high = limited_to_16s<Rounding::TowardZero>(roots(Unaligned::bytes(from + 4)));
        Unaligned::put(to, _mm_packs_epi32(low, high));
    };
    in_groups<8>(len, dst, step, src);
    return roots.status();
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsRecSqrt_32f(float* srcdst, int32_t len, float floor)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len), require(floor > 0.0F, SrErrBadArg)))
        return failed;
    RootsAbove roots(repeat(floor));
    elementwise(roots, srcdst, len, srcdst);
    return roots.status();
}

// Rounds on a 16-byte boundary and truncates elsewhere: wanted.
SrStatus zelsRecSqrt_32s_Sfs(int32_t* srcdst, int32_t len, int32_t floor, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len), require(floor >= 1, SrErrBadArg)))
        return failed;
    const DefaultFloatEnvironment environment;
    return is_aligned(srcdst) ? rounded_roots(srcdst, len, floor, sf) : truncated_roots(srcdst, len, floor, sf);
}

SrStatus zelsRecSqrt_32s16s_Sfs(const int32_t* src, int16_t* dst, int32_t len, int32_t floor, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len), require(floor >= 1, SrErrBadArg)))
        return failed;
    const DefaultFloatEnvironment environment;
    return truncated_roots(src, dst, len, floor, sf);
}
