// Deltas of any window over a whole utterance, in place.
#include <algorithm>

#include "core/contract.h"
#include "frontend/delta_lanes.h"
#include "zelsr/frontend/delta.h"

namespace zelsr {
namespace {

// The two rows of a term: k steps to either side of where they start.
template <class T>
struct Sides {
    const T *left, *right;
    std::ptrdiff_t left_step, right_step;

    template <class Part>
    auto next(Part, std::ptrdiff_t k, std::ptrdiff_t c) const
    {
        return Part::of(right + k * right_step + c);
    }
    template <class Part>
    auto previous(Part, std::ptrdiff_t k, std::ptrdiff_t c) const
    {
        return Part::of(left + k * left_step + c);
    }
};

// Sum over k = 1 ... window of k * (next - previous), times a multiplier.

struct SingleSum {
    template <class Part>
    __m128 operator()(Part part, const Sides<float>& sides, int32_t window, std::ptrdiff_t c,
                      __m128 multiplier) const
    {
        __m128 sum = _mm_setzero_ps();
        __m128i factor = _mm_setzero_si128();
        for (std::ptrdiff_t k = 1; k <= window; ++k) {
            factor = _mm_add_epi32(factor, _mm_set1_epi32(1));
            sum += _mm_cvtepi32_ps(factor) * (sides.next(part, k, c) - sides.previous(part, k, c));
        }
        return sum * multiplier;
    }
};

// Modulo 2^32, so that the order is free: the outermost difference is summed `window` times, the innermost once.
template <class Shift>
struct FixedSum {
    Shift shift;

    template <class Part>
    __m128i operator()(Part part, const Sides<int16_t>& sides, int32_t window, std::ptrdiff_t c,
                       __m128i multiplier) const
    {
        Wide outer{_mm_setzero_si128(), _mm_setzero_si128()}, sum = outer;
        for (std::ptrdiff_t k = window; k >= 1; --k) {
            const __m128i d = _mm_sub_epi16(sides.next(part, k, c), sides.previous(part, k, c));
            outer = {_mm_add_epi32(outer.low, low_16s32s(d)), _mm_add_epi32(outer.high, high_16s32s(d))};
            sum = {_mm_add_epi32(sum.low, outer.low), _mm_add_epi32(sum.high, outer.high)};
        }
        return shift(low_products(sum, multiplier));
    }
};

// The utterance in the caller's buffer.
template <class T>
struct Utterance {
    T* first;  // row 0, first column of the coefficients
    int32_t height;
    std::ptrdiff_t step;
    int32_t width;
    int32_t window;

    // In the first rows row 0 is on the left of every term, in the last rows the last row on the right of every
    // term: not one index after the other at the end of the utterance, which is wanted.
    Sides<T> sides_of(std::ptrdiff_t t) const
    {
        const T* const row = first + t * step;
        const bool head = t < window, tail = t >= height - window;
        return {head ? first : row, tail ? first + (height - std::ptrdiff_t{1}) * step : row, head ? 0 : -step,
                tail ? 0 : step};
    }
};

template <class T>
struct OneMultiplier {
    decltype(repeat(T())) value;

    auto operator()(auto /*part*/, std::ptrdiff_t /*column*/) const { return value; }
};
template <class T>
struct ColumnMultipliers {
    const T* mul;  // of the first delta

    auto operator()(auto part, std::ptrdiff_t column) const { return part.of(mul + column); }
};

template <class T, class Sum, class Multiplier>
void put_deltas(const Utterance<T>& rows, const Sum& weighted_sum, const Multiplier& multiplier)
{
    for (std::ptrdiff_t t = 0; t < rows.height; ++t) {
        const Sides<T> sides = rows.sides_of(t);
        T* const delta = rows.first + t * rows.step + rows.width;
        const auto one_register = [&](auto part, std::ptrdiff_t c) __attribute__((always_inline))
        {
            part.put(delta + c, weighted_sum(part, sides, rows.window, c, multiplier(part, c)));
        };
        for_columns(delta, rows.width, one_register);
    }
}

template <class Multiplier>
SrStatus eval(const Utterance<float>& rows, const Multiplier& multiplier)
{
    put_deltas(rows, SingleSum{}, multiplier);
    return SrOk;
}

template <class Multiplier>
SrStatus eval(const Utterance<int16_t>& rows, const Multiplier& multiplier, int32_t sf)
{
    with_shift(sf, [&](auto shift) { put_deltas(rows, FixedSum<decltype(shift)>{shift}, multiplier); });
    return SrOk;
}

SrStatus fits(int32_t height, int32_t step, int32_t width, int32_t offset, int32_t win_size)
{
    return first_failure(positive(height, width, win_size), require(offset >= 0, SrErrSize),
                         require(height >= int64_t{2} * win_size, SrErrSize),
                         require(step >= offset + int64_t{2} * width, SrErrStride));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsEvalDelta_32f_D2(float* srcdst, int32_t height, int32_t step, int32_t width, int32_t offset,
                              int32_t win_size, float val)
{
    if (SrStatus failed = first_failure(non_null(srcdst), fits(height, step, width, offset, win_size)))
        return failed;
    return eval(Utterance<float>{srcdst + offset, height, step, width, win_size},
                OneMultiplier<float>{repeat(val)});
}

SrStatus zelsEvalDelta_16s_D2Sfs(int16_t* srcdst, int32_t height, int32_t step, int32_t width, int32_t offset,
                                 int32_t win_size, int16_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(srcdst), fits(height, step, width, offset, win_size)))
        return failed;
    return eval(Utterance<int16_t>{srcdst + offset, height, step, width, win_size},
                OneMultiplier<int16_t>{repeat(val)}, sf);
}

SrStatus zelsEvalDeltaMul_32f_D2(float* srcdst, int32_t height, int32_t step, const float* mul, int32_t width,
                                 int32_t offset, int32_t win_size)
{
    if (SrStatus failed = first_failure(non_null(srcdst, mul), fits(height, step, width, offset, win_size)))
        return failed;
    return eval(Utterance<float>{srcdst + offset, height, step, width, win_size},
                ColumnMultipliers<float>{mul + width});
}

SrStatus zelsEvalDeltaMul_16s_D2Sfs(int16_t* srcdst, int32_t height, int32_t step, const int16_t* mul,
                                    int32_t width, int32_t offset, int32_t win_size, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(srcdst, mul), fits(height, step, width, offset, win_size)))
        return failed;
    return eval(Utterance<int16_t>{srcdst + offset, height, step, width, win_size},
                ColumnMultipliers<int16_t>{mul + width}, sf);
}
