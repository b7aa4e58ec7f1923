// Sums of the elements of columns and of their squares.
#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/rows.h"
#include "matrix/column_groups.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr {
namespace {

struct FromTotals {
    const float *sum, *squares;

    template <class Columns>
    SumAndSquares operator()(const Columns& columns) const
    {
        return {columns.lanes(sum), columns.lanes(squares)};
    }
};

template <class T, class Start>
[[gnu::always_inline]] inline SrStatus sum_up(Block<T> rows, int32_t height, float* sum, float* squares,
                                              int32_t width, const Start& start)
{
    const auto finish = [=](const auto& columns, const SumAndSquares& kept) {
        columns.put(sum, kept.sum);
        columns.put(squares, kept.squares);
    };
    sum_down<SumAndSquares, float>(rows, height, width, start, finish);
    return SrOk;
}

// Out of line, so that all of the arithmetic happens while the default environment is set.
template <class Start>
[[gnu::noinline]] void sum_up_in_place(const int16_t* src, int32_t step, int32_t height, float* sum,
                                       float* squares, int32_t width, const Start& start)
{
    sum_up(Block{src, step}, height, sum, squares, width, start);
}

// The result arrays hold singles from here to the end.
float* as_singles(int32_t* results) { return reinterpret_cast<float*>(results); }

template <class Start>
SrStatus sum_up_to_integers(const int16_t* src, int32_t step, int32_t height, int32_t* sum, int32_t* squares,
                            int32_t width, int32_t sf, const Start& start)
{
    sum_up_in_place(src, step, height, as_singles(sum), as_singles(squares), width, start);
    convert_32f32s(as_singles(sum), sum, width, Rounding::Nearest, sf);
    convert_32f32s(as_singles(squares), squares, width, Rounding::Nearest, sf);
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
    return sum_up(Block{src, step}, height, sum, squares, width, FromZero<SumAndSquares>{});
}

SrStatus zelsSumMeanVar_32f_I(const float* src, int32_t step, int32_t height, float* sum, float* squares,
                              int32_t width)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    return sum_up(Block{src, step}, height, sum, squares, width, FromTotals{sum, squares});
}

SrStatus zelsSumMeanVar_16s32f(const int16_t* src, int32_t step, int32_t height, float* sum, float* squares,
                               int32_t width)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    return sum_up(Block{src, step}, height, sum, squares, width, FromZero<SumAndSquares>{});
}

SrStatus zelsSumMeanVar_16s32f_I(const int16_t* src, int32_t step, int32_t height, float* sum, float* squares,
                                 int32_t width)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    return sum_up(Block{src, step}, height, sum, squares, width, FromTotals{sum, squares});
}

SrStatus zelsSumMeanVar_16s32s_Sfs(const int16_t* src, int32_t step, int32_t height, int32_t* sum,
                                   int32_t* squares, int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    const DefaultFloatEnvironment environment;
    return sum_up_to_integers(src, step, height, sum, squares, width, sf, FromZero<SumAndSquares>{});
}

// The old totals are scaled again: wanted.
SrStatus zelsSumMeanVar_16s32s_ISfs(const int16_t* src, int32_t step, int32_t height, int32_t* sum,
                                    int32_t* squares, int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, sum, squares), positive(width, height)))
        return failed;
    const DefaultFloatEnvironment environment;
    convert_32s32f(sum, as_singles(sum), width);
    convert_32s32f(squares, as_singles(squares), width);
    return sum_up_to_integers(src, step, height, sum, squares, width, sf,
                              FromTotals{as_singles(sum), as_singles(squares)});
}
