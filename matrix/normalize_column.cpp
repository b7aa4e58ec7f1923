// Columns of a matrix less their means, times their factors.
#include "core/contract.h"
#include "core/groups.h"
#include "core/rows.h"
#include "core/simd.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr {
namespace {

template <class Rows>
SrStatus normalize_columns(const Rows& rows, int32_t height, const float* mean, const float* factor, int32_t width)
{
    const auto step = [](float* to, const float* x, const float* m, const float* f) {
        Unaligned::put(to, (Unaligned::four(x) - Unaligned::four(m)) * Unaligned::four(f));
    };
    for (int32_t r = 0; r < height; ++r) in_groups<4>(width, rows[r], step, rows[r], mean, factor);
    return SrOk;
}

struct ShiftRight {
    __m128i count;

    __m128i operator()(__m128i x) const { return _mm_sra_epi32(x, count); }
};
struct ShiftLeft {
    __m128i count;

    __m128i operator()(__m128i x) const { return _mm_sll_epi32(x, count); }
};

// Products of eight 16-bit elements in 32 bits.
struct Products {
    __m128i low, high;

    Products(__m128i x, __m128i y)
    {
        const __m128i low_halves = _mm_mullo_epi16(x, y), high_halves = _mm_mulhi_epi16(x, y);
        low = _mm_unpacklo_epi16(low_halves, high_halves);
        high = _mm_unpackhi_epi16(low_halves, high_halves);
    }
};

// (x - m) * f = x * f - m * f, since x - m does not fit 16 bits.
template <class Shift, class Rows>
void shift_normalized(const Rows& rows, int32_t height, const int16_t* mean, const int16_t* factor, int32_t width,
                      Shift shift)
{
    const auto step = [shift](int16_t* to, const int16_t* x, const int16_t* m, const int16_t* f) {
        const __m128i factors = Unaligned::bytes(f);
        const Products from(Unaligned::bytes(x), factors), less(Unaligned::bytes(m), factors);
        const __m128i low = shift(_mm_sub_epi32(from.low, less.low));
        const __m128i high = shift(_mm_sub_epi32(from.high, less.high));
        Unaligned::put(to, _mm_packs_epi32(low, high));
    };
    for (int32_t r = 0; r < height; ++r) in_groups<8>(width, rows[r], step, rows[r], mean, factor);
}

// The shift counts modulo 32, rounds toward minus infinity to the right and drops high bits to the left: wanted.
template <class Rows>
SrStatus normalize_columns(const Rows& rows, int32_t height, const int16_t* mean, const int16_t* factor,
                           int32_t width, int32_t sf)
{
    const auto bits = static_cast<uint32_t>(sf);
    const auto count = static_cast<int32_t>((sf > 0 ? bits : 0U - bits) % 32);
    if (sf > 0)
        shift_normalized(rows, height, mean, factor, width, ShiftRight{_mm_cvtsi32_si128(count)});
    else
        shift_normalized(rows, height, mean, factor, width, ShiftLeft{_mm_cvtsi32_si128(count)});
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsNormalizeColumn_32f_D2(float* srcdst, int32_t step, int32_t height, const float* mean,
                                    const float* factor, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(srcdst, mean, factor), positive(height, width), stride(width, step)))
        return failed;
    return normalize_columns(WritableBlock{srcdst, step}, height, mean, factor, width);
}

SrStatus zelsNormalizeColumn_32f_D2L(float* const* rows, int32_t height, const float* mean, const float* factor,
                                     int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, mean, factor), positive(height, width))) return failed;
    return normalize_columns(WritableList{rows}, height, mean, factor, width);
}

SrStatus zelsNormalizeColumn_16s_D2Sfs(int16_t* srcdst, int32_t step, int32_t height, const int16_t* mean,
                                       const int16_t* factor, int32_t width, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(srcdst, mean, factor), positive(height, width), stride(width, step)))
        return failed;
    return normalize_columns(WritableBlock{srcdst, step}, height, mean, factor, width, sf);
}

SrStatus zelsNormalizeColumn_16s_D2LSfs(int16_t* const* rows, int32_t height, const int16_t* mean,
                                        const int16_t* factor, int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(rows, mean, factor), positive(height, width))) return failed;
    return normalize_columns(WritableList{rows}, height, mean, factor, width, sf);
}
