// Variances of columns around given means.
#include "core/convert.h"
#include "core/rounding.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "matrix/column_totals.h"
#include "matrix/single_moments.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr {
namespace {

template <class Rows>
SrStatus var_column(const Rows& rows, int32_t height, const float* mean, float* var, int32_t width)
{
    const __m128 minus_n = _mm_set1_ps(-static_cast<float>(height));
    const auto start = [=](__m128 m) { return minus_n * m * m; };
    put_variances(rows, height, mean, start, static_cast<float>(1.0 / (height - 1)), var, width);
    return SrOk;
}

// The kernels to integers stay out of line, so that all of their arithmetic happens while the default environment
// is set.

template <class Rows>
[[gnu::noinline]] void variances_in_single(const Rows& rows, int32_t height, const int16_t* mean, float* var,
                                           int32_t width)
{
    put_variances_in_single(rows, height, mean, var, width);
}

template <class Rows>
SrStatus var_column_rounded(const Rows& rows, int32_t height, const int16_t* mean, int16_t* var, int32_t width,
                            int32_t sf)
{
    const Scratch<float> unrounded(int64_t{width} + 8);
    if (!unrounded) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    variances_in_single(rows, height, mean, unrounded.data(), width);
    convert_32f16s(unrounded.data(), var, width, Rounding::Nearest, sf);
    return SrOk;
}

template <class Rows>
[[gnu::noinline]] void truncated_variances(const Rows& rows, int32_t height, const int16_t* mean, int16_t* var,
                                           int32_t width, int32_t sf)
{
    const float reciprocal = 1.0F / static_cast<float>(height - 1);
    for_column_totals<ExactSquares>(rows, height, width, [&](std::ptrdiff_t c, int64_t squares) {
        const int64_t m = load_one(mean + c);
        store_one(var + c, truncated_shifted_16s(static_cast<float>(squares - height * (m * m)) * reciprocal, sf));
    });
}

template <class Rows>
SrStatus var_column_truncated(const Rows& rows, int32_t height, const int16_t* mean, int16_t* var, int32_t width,
                              int32_t sf)
{
    const DefaultFloatEnvironment environment;
    truncated_variances(rows, height, mean, var, width, sf);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsVarColumn_32f_D2(const float* src, int32_t height, int32_t step, const float* mean, float* var,
                              int32_t width)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(src, mean, var), positive(width), at_least_two(height)))
        return failed;
    return var_column(Block{src, step}, height, mean, var, width);
}

SrStatus zelsVarColumn_32f_D2L(const float* const* rows, int32_t height, const float* mean, float* var,
                               int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, mean, var), positive(width), at_least_two(height)))
        return failed;
    return var_column(RowList{rows}, height, mean, var, width);
}

SrStatus zelsVarColumn_16s_D2Sfs(const int16_t* src, int32_t height, int32_t step, const int16_t* mean,
                                 int16_t* var, int32_t width, int32_t sf)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(src, mean, var), positive(width), at_least_two(height)))
        return failed;
    return var_column_rounded(Block{src, step}, height, mean, var, width, sf);
}

// Truncates where a row is not aligned: wanted.
SrStatus zelsVarColumn_16s_D2LSfs(const int16_t* const* rows, int32_t height, const int16_t* mean, int16_t* var,
                                  int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(rows, mean, var), positive(width), at_least_two(height)))
        return failed;
    const RowList list{rows};
    return list.on_16_bytes(height) ? var_column_rounded(list, height, mean, var, width, sf)
                                    : var_column_truncated(list, height, mean, var, width, sf);
}
