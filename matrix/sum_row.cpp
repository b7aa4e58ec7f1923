// Sums along the rows.
#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/row_end.h"
#include "core/rows.h"
#include "core/simd.h"
#include "matrix/row_groups.h"
#include "zelsr/matrix/sums.h"

namespace zelsr {
namespace {

// Rows worked at once: their additions wait for nothing of each other's.
constexpr int kRowsAtOnce = 4;

// One stretch of a row's elements added to its partial sums.
template <class Load, class T>
[[gnu::always_inline]] inline void add_stretch(LanesOf<T>& sums, const T* x)
{
    sums = sums + Load::lanes(x);
    sums = sums + Load::lanes(x + kLanes<T>);
}
// A pair of neighbours is added as integers, which is the exact sum of the two singles.
[[gnu::always_inline]] inline void add_pairs(__m128& sums, __m128i eight)
{
    sums = sums + _mm_cvtepi32_ps(_mm_madd_epi16(eight, _mm_set1_epi16(1)));
}
template <class Load>
[[gnu::always_inline]] inline void add_stretch(__m128& sums, const int16_t* x)
{
    add_pairs(sums, Load::bytes(x));
}

template <class T>
constexpr int32_t kStretch = std::is_same_v<T, double> ? 4 : 8;

inline float join_lanes(__m128 sums) { return join_pairs(sums); }
inline double join_lanes(__m128d sums) { return join(sums); }

// The partial sums, joined, and the elements behind the whole stretches.
template <class T>
[[gnu::always_inline]] inline T finished_sum(LanesOf<T> sums, const T* row, std::ptrdiff_t whole, int32_t width)
{
    T sum = join_lanes(sums);
    for (std::ptrdiff_t c = whole; c < width; ++c) sum += load_one(row + c);
    return sum;
}
// A last stretch filled up with zeros.
[[gnu::always_inline]] inline float finished_sum(__m128 sums, const int16_t* row, std::ptrdiff_t whole,
                                                 int32_t width)
{
    if (whole < width) add_pairs(sums, FixedRowEnd(width)(row));
    return join_pairs(sums);
}

template <class Load, int N, class T, class Sum>
[[gnu::noinline]] void sum_rows(const T* const (&rows)[N], int32_t width, Sum* dst)
{
    const T* row[N];
    LanesOf<Sum> sums[N];
    for_each_index<N>([&](auto n) {
        row[n] = rows[n];
        sums[n] = LanesOf<Sum>{};
    });
    const std::ptrdiff_t whole = width - width % kStretch<T>;
    for (std::ptrdiff_t c = 0; c < whole; c += kStretch<T>)
        for_each_index<N>([&](auto n) __attribute__((always_inline)) { add_stretch<Load>(sums[n], row[n] + c); });
    for_each_index<N>([&](auto n) __attribute__((always_inline)) {
        store_one(dst + n, finished_sum(sums[n], row[n], whole, width));
    });
}

template <class Rows, class Sum>
SrStatus sum_each_row(Rows src, int32_t width, Sum* dst, int32_t height)
{
    const auto by = [&](auto load) {
        in_row_groups<kRowsAtOnce>(
            src, height, 0, [&](int32_t r, const auto& row) { sum_rows<decltype(load)>(row, width, dst + r); });
    };
    if (src.on_16_bytes(height))
        by(Aligned{});
    else
        by(Unaligned{});
    return SrOk;
}

// The destination first holds the sums in single.
template <class Rows>
SrStatus convert_row_sums(Rows src, int32_t width, int32_t* dst, int32_t height, int32_t sf)
{
    const DefaultFloatEnvironment environment;
    float* sums = reinterpret_cast<float*>(dst);
    sum_each_row(src, width, sums, height);
    convert_32f32s(sums, dst, height, Rounding::Nearest, sf);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSumRow_32f_D2(const float* src, int32_t width, int32_t step, float* dst, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height), stride(width, step)))
        return failed;
    return sum_each_row(Block{src, step}, width, dst, height);
}

SrStatus zelsSumRow_32f_D2L(const float* const* src, int32_t width, float* dst, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height))) return failed;
    return sum_each_row(RowList{src}, width, dst, height);
}

SrStatus zelsSumRow_64f_D2(const double* src, int32_t width, int32_t step, double* dst, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height), stride(width, step)))
        return failed;
    return sum_each_row(Block{src, step}, width, dst, height);
}

SrStatus zelsSumRow_64f_D2L(const double* const* src, int32_t width, double* dst, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height))) return failed;
    return sum_each_row(RowList{src}, width, dst, height);
}

SrStatus zelsSumRow_16s32f_D2(const int16_t* src, int32_t width, int32_t step, float* dst, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height), stride(width, step)))
        return failed;
    return sum_each_row(Block{src, step}, width, dst, height);
}

SrStatus zelsSumRow_16s32f_D2L(const int16_t* const* src, int32_t width, float* dst, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height))) return failed;
    return sum_each_row(RowList{src}, width, dst, height);
}

SrStatus zelsSumRow_16s32s_D2Sfs(const int16_t* src, int32_t width, int32_t step, int32_t* dst, int32_t height,
                                 int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height), stride(width, step)))
        return failed;
    return convert_row_sums(Block{src, step}, width, dst, height, sf);
}

SrStatus zelsSumRow_16s32s_D2LSfs(const int16_t* const* src, int32_t width, int32_t* dst, int32_t height,
                                  int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height))) return failed;
    return convert_row_sums(RowList{src}, width, dst, height, sf);
}
