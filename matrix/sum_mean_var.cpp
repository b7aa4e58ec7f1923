// Sums of the elements of columns and of their squares.
#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/rows.h"
#include "matrix/columns.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr {
namespace {

// Where sums start, in the columns of a register.
struct FromZero {
    template <class Group>
    static __m128 lanes(const Group&, const float*, int)
    {
        return _mm_setzero_ps();
    }
};
struct FromTotals {
    template <class Group>
    static __m128 lanes(const Group& group, const float* totals, int n)
    {
        return group.lanes(totals, n);
    }
};

template <class Start, class T>
[[gnu::always_inline]] inline void sum_up(Block<T> rows, int32_t height, float* sum, float* squares, int32_t width)
{
    for_column_groups<float, 2>(width, [&](auto group) {
        SumAndSquares sums[group.kCount];
        for_each_index<group.kCount>([&](auto n) {
            sums[n].sum = Start::lanes(group, sum, n);
            sums[n].squares = Start::lanes(group, squares, n);
        });
        take_rows(group, rows, height, sums);
        for_each_index<group.kCount>([&](auto n) {
            group.put(sum, sums[n].sum, n);
            group.put(squares, sums[n].squares, n);
        });
    });
}

// Out of line, so that all of the arithmetic happens while the default environment is set.
template <class Start>
[[gnu::noinline]] void sum_up_in_place(const int16_t* src, int32_t step, int32_t height, float* sum,
                                       float* squares, int32_t width)
{
    sum_up<Start>(Block{src, step}, height, sum, squares, width);
}

// The result arrays hold singles until the end.
template <class Start>
SrStatus sum_up_to_integers(const int16_t* src, int32_t step, int32_t height, int32_t* sum, int32_t* squares,
                            int32_t width, int32_t sf)
{
    auto *single_sum = reinterpret_cast<float*>(sum), *single_squares = reinterpret_cast<float*>(squares);
    const DefaultFloatEnvironment environment;
    if constexpr (std::is_same_v<Start, FromTotals>) {
        convert_32s32f(sum, single_sum, width);
        convert_32s32f(squares, single_squares, width);
    }
    sum_up_in_place<Start>(src, step, height, single_sum, single_squares, width);
    convert_32f32s(single_sum, sum, width, Rounding::Nearest, sf);
    convert_32f32s(single_squares, squares, width, Rounding::Nearest, sf);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSumMeanVar_32f(const float* src, int32_t step, int32_t height, float* sum, float* squares,
                            int32_t width)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    sum_up<FromZero>(Block{src, step}, height, sum, squares, width);
    return SrOk;
}

SrStatus zelsSumMeanVar_32f_I(const float* src, int32_t step, int32_t height, float* sum, float* squares,
                              int32_t width)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    sum_up<FromTotals>(Block{src, step}, height, sum, squares, width);
    return SrOk;
}

SrStatus zelsSumMeanVar_16s32f(const int16_t* src, int32_t step, int32_t height, float* sum, float* squares,
                               int32_t width)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    sum_up<FromZero>(Block{src, step}, height, sum, squares, width);
    return SrOk;
}

SrStatus zelsSumMeanVar_16s32f_I(const int16_t* src, int32_t step, int32_t height, float* sum, float* squares,
                                 int32_t width)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    sum_up<FromTotals>(Block{src, step}, height, sum, squares, width);
    return SrOk;
}

SrStatus zelsSumMeanVar_16s32s_Sfs(const int16_t* src, int32_t step, int32_t height, int32_t* sum,
                                   int32_t* squares, int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    return sum_up_to_integers<FromZero>(src, step, height, sum, squares, width, sf);
}

// The old totals are scaled again: wanted.
SrStatus zelsSumMeanVar_16s32s_ISfs(const int16_t* src, int32_t step, int32_t height, int32_t* sum,
                                    int32_t* squares, int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    return sum_up_to_integers<FromTotals>(src, step, height, sum, squares, width, sf);
}
