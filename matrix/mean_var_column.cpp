// Means and variances of columns.
#include "core/convert.h"
#include "core/rounding.h"
#include "core/rows.h"
#include "core/scale.h"
#include "core/scratch.h"
#include "matrix/column_totals.h"
#include "matrix/single_moments.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr {
namespace {

template <class Rows>
SrStatus mean_var_column(const Rows& rows, int32_t height, float* mean, float* var, int32_t width)
{
    const __m128 n_rows = _mm_set1_ps(static_cast<float>(height));
    const __m128 per_row = _mm_set1_ps(static_cast<float>(1.0 / height));
    const __m128 per_freedom = _mm_set1_ps(static_cast<float>(1.0 / (height - 1)));
    const auto finish = [=](const auto& columns, const SumAndSquares& kept) {
        const __m128 m = kept.sum * per_row;
        columns.put(mean, m);
        columns.put(var, (kept.squares - n_rows * m * m) * per_freedom);
    };
    sum_down<SumAndSquares, float>(rows, height, width, FromZero<SumAndSquares>{}, finish);
    return SrOk;
}

// The kernels to integers stay out of line, so that all of their arithmetic happens while the default environment
// is set.

// The squares start from the unrounded mean, which takes a pass of its own.
template <class Rows>
[[gnu::noinline]] void moments_in_single(const Rows& rows, int32_t height, float* mean, float* var, int32_t width)
{
    put_means_in_single(rows, height, mean, width);
    put_variances_in_single(rows, height, mean, var, width);
}

template <class Rows>
SrStatus mean_var_column_rounded(const Rows& rows, int32_t height, int16_t* mean, int16_t* var, int32_t width,
                                 int32_t sf)
{
    const Scratch<float> unrounded(2 * int64_t{width} + 16);
    if (!unrounded) return SrErrMemAlloc;
    float* const variances = unrounded.data() + width + 8;
    const DefaultFloatEnvironment environment;
    moments_in_single(rows, height, unrounded.data(), variances, width);
    convert_32f16s(unrounded.data(), mean, width, Rounding::Nearest, 0);
    convert_32f16s(variances, var, width, Rounding::Nearest, sf);
    return SrOk;
}

template <class Rows>
[[gnu::noinline]] void truncated_moments(const Rows& rows, int32_t height, int16_t* mean, int16_t* var,
                                         int32_t width, int32_t sf)
{
    const auto n_rows = static_cast<float>(height);
    const float per_row = 1.0F / n_rows, per_freedom = 1.0F / static_cast<float>(height - 1);
    const auto finish = [&](std::ptrdiff_t c, int64_t sum, float squares) {
        const float m = static_cast<float>(sum) * per_row;
        store_one(mean + c, static_cast<int16_t>(std::clamp(m, -32768.0F, 32767.0F)));
        store_one(var + c, truncated_shifted_16s((squares - m * m * n_rows) * per_freedom, sf));
    };
    for_column_totals<ExactSums, SinglePrecisionSquares>(rows, height, width, finish);
}

template <class Rows>
SrStatus mean_var_column_truncated(const Rows& rows, int32_t height, int16_t* mean, int16_t* var, int32_t width,
                                   int32_t sf)
{
    const DefaultFloatEnvironment environment;
    truncated_moments(rows, height, mean, var, width, sf);
    return SrOk;
}

int32_t rounded_32s(double x) { return _mm_cvtsi128_si32(saturated_32s<Rounding::Nearest>(_mm_set_sd(x))); }

// Sums in integers: exact in double too, below 2^23 rows. A mean of 16-bit elements fits 16 bits.
template <class Mean, class Rows>
[[gnu::noinline]] void moments_in_double(const Rows& rows, int32_t height, Mean* mean, int32_t* var, int32_t width,
                                         int32_t sf)
{
    const double n_rows = height, per_row = 1.0 / n_rows;
    const double factor = 1.0 / (n_rows - 1.0) * GetScale_32s64f(sf);
    const auto finish = [&](std::ptrdiff_t c, int64_t sum, int64_t squares) {
        const double m = static_cast<double>(sum) * per_row;
        store_one(mean + c, static_cast<Mean>(rounded_32s(m)));
        store_one(var + c, rounded_32s((static_cast<double>(squares) - m * m * n_rows) * factor));
    };
    for_column_totals<ExactSums, ExactSquares>(rows, height, width, finish);
}

template <class Mean, class Rows>
SrStatus mean_var_column_exact(const Rows& rows, int32_t height, Mean* mean, int32_t* var, int32_t width,
                               int32_t sf)
{
    const DefaultFloatEnvironment environment;
    moments_in_double(rows, height, mean, var, width, sf);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsMeanVarColumn_32f_D2(const float* src, int32_t height, int32_t step, float* mean, float* var,
                                  int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(src, mean, var), positive(width), at_least_two(height), stride(width, step)))
        return failed;
    return mean_var_column(Block{src, step}, height, mean, var, width);
}

SrStatus zelsMeanVarColumn_32f_D2L(const float* const* rows, int32_t height, float* mean, float* var,
                                   int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, mean, var), positive(width), at_least_two(height)))
        return failed;
    return mean_var_column(RowList{rows}, height, mean, var, width);
}

SrStatus zelsMeanVarColumn_16s_D2Sfs(const int16_t* src, int32_t height, int32_t step, int16_t* mean, int16_t* var,
                                     int32_t width, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(src, mean, var), positive(width), at_least_two(height), stride(width, step)))
        return failed;
    return mean_var_column_rounded(Block{src, step}, height, mean, var, width, sf);
}

// Truncates where a row is not aligned: wanted.
SrStatus zelsMeanVarColumn_16s_D2LSfs(const int16_t* const* rows, int32_t height, int16_t* mean, int16_t* var,
                                      int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(rows, mean, var), positive(width), at_least_two(height)))
        return failed;
    const RowList list{rows};
    return list.on_16_bytes(height) ? mean_var_column_rounded(list, height, mean, var, width, sf)
                                    : mean_var_column_truncated(list, height, mean, var, width, sf);
}

SrStatus zelsMeanVarColumn_16s32s_D2Sfs(const int16_t* src, int32_t height, int32_t step, int32_t* mean,
                                        int32_t* var, int32_t width, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(src, mean, var), positive(width), at_least_two(height), stride(width, step)))
        return failed;
    return mean_var_column_exact(Block{src, step}, height, mean, var, width, sf);
}

SrStatus zelsMeanVarColumn_16s32s_D2LSfs(const int16_t* const* rows, int32_t height, int32_t* mean, int32_t* var,
                                         int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(rows, mean, var), positive(width), at_least_two(height)))
        return failed;
    return mean_var_column_exact(RowList{rows}, height, mean, var, width, sf);
}

SrStatus zelsMeanVarColumn_16s16s32s_D2(const int16_t* src, int32_t height, int32_t step, int16_t* mean,
                                        int32_t* var, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(src, mean, var), positive(width), at_least_two(height), stride(width, step)))
        return failed;
    return mean_var_column_exact(Block{src, step}, height, mean, var, width, 0);
}

SrStatus zelsMeanVarColumn_16s16s32s_D2L(const int16_t* const* rows, int32_t height, int16_t* mean, int32_t* var,
                                         int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, mean, var), positive(width), at_least_two(height)))
        return failed;
    return mean_var_column_exact(RowList{rows}, height, mean, var, width, 0);
}
