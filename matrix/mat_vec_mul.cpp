// Products of every row with a vector.
#include <algorithm>

#include "core/contract.h"
#include "core/convert.h"
#include "core/fixed_point.h"
#include "core/pair_sums.h"
#include "core/rounding.h"
#include "core/row_end.h"
#include "core/rows.h"
#include "core/simd.h"
#include "matrix/row_groups.h"
#include "zelsr/matrix/products.h"

namespace zelsr {
namespace {

// Rows worked at once: they share the loads of the vector, and their additions wait for nothing of each other's.
// The exact sums of 16-bit data take two registers a row.
constexpr int kRowsAtOnce = 4;
constexpr int kExactRowsAtOnce = sizeof(void*) == 8 ? 4 : 2;

// dst[n] = row n times the vector, for N rows.

template <class Load, int N>
[[gnu::noinline]] void multiply_rows(const float* const (&rows)[N], const float* vector, int32_t width, float* dst)
{
    const float* row[N];
    __m128 sums[N];
    for_each_index<N>([&](auto n) {
        row[n] = rows[n];
        sums[n] = _mm_setzero_ps();
    });
    const auto add = [&](std::ptrdiff_t c, auto load) __attribute__((always_inline))
    {
        const __m128 v = load.lanes(vector + c);
        for_each_index<N>([&](auto n)
                              __attribute__((always_inline)) { sums[n] = sums[n] + v * load.lanes(row[n] + c); });
    };
    std::ptrdiff_t c = 0;
    for (; c <= width - 8; c += 8) {
        add(c, Load{});
        add(c + 4, Load{});
    }
    if (c <= width - 4) {
        add(c, Load{});
        c += 4;
    }
    if (c < width) add(c, FirstLanes{static_cast<int>(width - c)});
    for_each_index<N>([&](auto n) { store_one(dst + n, join_pairs(sums[n])); });
}

template <class Load, int N>
[[gnu::noinline]] void multiply_rows(const int16_t* const (&rows)[N], const int16_t* vector, int32_t width,
                                     int64_t* dst)
{
    const int16_t* row[N];
    PairSums sums[N] = {};
    for_each_index<N>([&](auto n) { row[n] = rows[n]; });
    std::ptrdiff_t c = 0;
    for (; c <= width - 8; c += 8) {
        const __m128i v = Load::bytes(vector + c);
        for_each_index<N>([&](auto n) __attribute__((always_inline)) { sums[n].add(Load::bytes(row[n] + c), v); });
    }
    if (c < width) {
        const FixedRowEnd end(width);
        const __m128i v = end(vector);
        for_each_index<N>([&](auto n) __attribute__((always_inline)) { sums[n].add(end(row[n]), v); });
    }
    const auto additions = static_cast<int32_t>((int64_t{width} + 7) / 8);
    for_each_index<N>([&](auto n) { dst[n] = sums[n].total(additions); });
}

// The lower and the upper two of four integers.
inline __m128d low_doubles(__m128i x) { return _mm_cvtepi32_pd(x); }
inline __m128d high_doubles(__m128i x) { return _mm_cvtepi32_pd(_mm_unpackhi_epi64(x, x)); }

template <class Load, int N>
[[gnu::noinline]] void multiply_rows(const int32_t* const (&rows)[N], const int32_t* vector, int32_t width,
                                     double* dst)
{
    const int32_t* row[N];
    __m128d sums[N];
    for_each_index<N>([&](auto n) {
        row[n] = rows[n];
        sums[n] = _mm_setzero_pd();
    });
    std::ptrdiff_t c = 0;
    for (; c <= width - 4; c += 4) {
        const __m128i v = Load::bytes(vector + c);
        const __m128d low = low_doubles(v), high = high_doubles(v);
        for_each_index<N>([&](auto n) __attribute__((always_inline)) {
            const __m128i x = Load::bytes(row[n] + c);
            sums[n] = sums[n] + low * low_doubles(x);
            sums[n] = sums[n] + high * high_doubles(x);
        });
    }
    for_each_index<N>([&](auto n) __attribute__((always_inline)) {
        double rest = 0;
        for (std::ptrdiff_t k = c; k < width; ++k)
            rest += static_cast<double>(load_one(vector + k)) * static_cast<double>(load_one(row[n] + k));
        dst[n] = join(sums[n]) + rest;
    });
}

template <int N, class Rows, class T, class Result>
void multiply_each_row(Rows matrix, const T* vector, int32_t width, Result* dst, int32_t height)
{
    const auto by = [&](auto load) {
        in_row_groups<N>(matrix, height, 0, [&](int32_t r, const auto& row) {
            multiply_rows<decltype(load)>(row, vector, width, dst + r);
        });
    };
    if (is_aligned(vector) && matrix.on_16_bytes(height))
        by(Aligned{});
    else
        by(Unaligned{});
}

// The rows whose results are on their way to integers.
constexpr int32_t kPanel = 256;

template <class Rows, class F>
void in_panels(Rows matrix, int32_t height, F f)
{
    for (int32_t left = height; left > 0; left -= kPanel) {
        const int32_t r = height - left;
        f(matrix.from(r), r, std::min(left, kPanel));
    }
}

// x * 2^-sf, rounded toward minus infinity (the vector-matrix products round to nearest): wanted.
template <class To>
To floor_scaled(int64_t x, int32_t sf)
{
    if (sf > 0) return saturated<To>(x >> std::min(sf, 63));
    return saturated_shift_left<To>(x, -std::max<int32_t>(sf, -std::numeric_limits<To>::digits));
}

template <class Rows>
SrStatus store_products(Rows matrix, const float* vector, int32_t width, float* dst, int32_t height)
{
    multiply_each_row<kRowsAtOnce>(matrix, vector, width, dst, height);
    return SrOk;
}

template <class To, class Rows>
SrStatus shift_products(Rows matrix, const int16_t* vector, int32_t width, To* dst, int32_t height, int32_t sf)
{
    in_panels(matrix, height, [=](Rows rows, int32_t first, int32_t count) {
        int64_t sums[kPanel];
        multiply_each_row<kExactRowsAtOnce>(rows, vector, width, sums, count);
        for (int32_t r = 0; r < count; ++r) store_one(dst + first + r, floor_scaled<To>(sums[r], sf));
    });
    return SrOk;
}

template <class Rows>
SrStatus round_products(Rows matrix, const int32_t* vector, int32_t width, int32_t* dst, int32_t height,
                        int32_t sf)
{
    const DefaultFloatEnvironment environment;
    in_panels(matrix, height, [=](Rows rows, int32_t first, int32_t count) {
        double sums[kPanel];
        multiply_each_row<kRowsAtOnce>(rows, vector, width, sums, count);
        convert_64f32s(sums, dst + first, count, Rounding::Nearest, sf);
    });
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsMatVecMul_32f_D2(const float* matrix, int32_t step, const float* vector, int32_t width, float* dst,
                              int32_t height)
{
    if (SrStatus failed =
            first_failure(non_null(matrix, vector, dst), positive(width, height), stride(width, step)))
        return failed;
    return store_products(Block{matrix, step}, vector, width, dst, height);
}

SrStatus zelsMatVecMul_32f_D2L(const float* const* matrix, const float* vector, int32_t width, float* dst,
                               int32_t height)
{
    if (SrStatus failed = first_failure(non_null(matrix, vector, dst), positive(width, height))) return failed;
    return store_products(RowList{matrix}, vector, width, dst, height);
}

SrStatus zelsMatVecMul_16s_D2Sfs(const int16_t* matrix, int32_t step, const int16_t* vector, int32_t width,
                                 int16_t* dst, int32_t height, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(matrix, vector, dst), positive(width, height), stride(width, step)))
        return failed;
    return shift_products(Block{matrix, step}, vector, width, dst, height, sf);
}

SrStatus zelsMatVecMul_16s_D2LSfs(const int16_t* const* matrix, const int16_t* vector, int32_t width, int16_t* dst,
                                  int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(matrix, vector, dst), positive(width, height))) return failed;
    return shift_products(RowList{matrix}, vector, width, dst, height, sf);
}

SrStatus zelsMatVecMul_16s32s_D2Sfs(const int16_t* matrix, int32_t step, const int16_t* vector, int32_t width,
                                    int32_t* dst, int32_t height, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(matrix, vector, dst), positive(width, height), stride(width, step)))
        return failed;
    return shift_products(Block{matrix, step}, vector, width, dst, height, sf);
}

SrStatus zelsMatVecMul_16s32s_D2LSfs(const int16_t* const* matrix, const int16_t* vector, int32_t width,
                                     int32_t* dst, int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(matrix, vector, dst), positive(width, height))) return failed;
    return shift_products(RowList{matrix}, vector, width, dst, height, sf);
}

SrStatus zelsMatVecMul_32s_D2Sfs(const int32_t* matrix, int32_t step, const int32_t* vector, int32_t width,
                                 int32_t* dst, int32_t height, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(matrix, vector, dst), positive(width, height), stride(width, step)))
        return failed;
    return round_products(Block{matrix, step}, vector, width, dst, height, sf);
}

SrStatus zelsMatVecMul_32s_D2LSfs(const int32_t* const* matrix, const int32_t* vector, int32_t width, int32_t* dst,
                                  int32_t height, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(matrix, vector, dst), positive(width, height))) return failed;
    return round_products(RowList{matrix}, vector, width, dst, height, sf);
}
