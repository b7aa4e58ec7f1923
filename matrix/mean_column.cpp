// Means of columns.
#include "core/contract.h"
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
SrStatus mean_column(const Rows& rows, int32_t height, float* mean, int32_t width)
{
    put_means(rows, height, static_cast<float>(1.0 / height), mean, width);
    return SrOk;
}

// The kernels to integers stay out of line, so that all of their arithmetic happens while the default environment
// is set.

template <class Rows>
[[gnu::noinline]] void means_in_single(const Rows& rows, int32_t height, float* mean, int32_t width)
{
    put_means_in_single(rows, height, mean, width);
}

template <class Rows>
SrStatus mean_column_rounded(const Rows& rows, int32_t height, int16_t* mean, int32_t width)
{
    const Scratch<float> unrounded(int64_t{width} + 8);
    if (!unrounded) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    means_in_single(rows, height, unrounded.data(), width);
    convert_32f16s(unrounded.data(), mean, width, Rounding::Nearest, 0);
    return SrOk;
}

template <class Rows>
[[gnu::noinline]] void truncated_means(const Rows& rows, int32_t height, int16_t* mean, int32_t width)
{
    const float reciprocal = 1.0F / static_cast<float>(height);
    for_column_totals<ExactSums>(rows, height, width, [&](std::ptrdiff_t c, int64_t sum) {
        store_one(mean + c, static_cast<int16_t>(static_cast<float>(sum) * reciprocal));
    });
}

template <class Rows>
SrStatus mean_column_truncated(const Rows& rows, int32_t height, int16_t* mean, int32_t width)
{
    const DefaultFloatEnvironment environment;
    truncated_means(rows, height, mean, width);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsMeanColumn_32f_D2(const float* src, int32_t height, int32_t step, float* mean, int32_t width)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, mean), positive(width, height)))
        return failed;
    return mean_column(Block{src, step}, height, mean, width);
}

SrStatus zelsMeanColumn_32f_D2L(const float* const* rows, int32_t height, float* mean, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, mean), positive(width, height))) return failed;
    return mean_column(RowList{rows}, height, mean, width);
}

SrStatus zelsMeanColumn_16s_D2(const int16_t* src, int32_t height, int32_t step, int16_t* mean, int32_t width)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(src, mean), positive(width, height)))
        return failed;
    return mean_column_rounded(Block{src, step}, height, mean, width);
}

// Truncates where a row is not aligned: wanted.
SrStatus zelsMeanColumn_16s_D2L(const int16_t* const* rows, int32_t height, int16_t* mean, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(rows, mean), positive(width, height))) return failed;
    const RowList list{rows};
    return list.on_16_bytes(height) ? mean_column_rounded(list, height, mean, width)
                                    : mean_column_truncated(list, height, mean, width);
}
