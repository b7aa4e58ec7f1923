// Singular value decomposition.
#include "matrix/svd.h"

#include "core/contract.h"
#include "zelsr/matrix/svd.h"

namespace zelsr {
namespace {

// Width above step is a matter of size here, unlike everywhere else: wanted.
SrStatus sizes(int32_t height, int32_t width, int32_t iterations, int32_t step)
{
    return first_failure(positive(height, width, iterations), require(width <= step, SrErrSize));
}

template <class Rows>
SrStatus decompose(Rows a, int32_t height, double* w, Rows v, int32_t width, int32_t iterations)
{
    Decomposition<Rows> decomposition(a, height, v, width);
    if (!decomposition) return SrErrMemAlloc;
    return decomposition.run(iterations, w);
}

template <class Rows>
SrStatus decompose_and_sort(Rows a, int32_t height, double* w, Rows v, int32_t width, int32_t iterations)
{
    const SrStatus status = decompose(a, height, w, v, width, iterations);
    return status == SrOk ? sort_decomposition(a, height, w, v, width) : status;
}

// Padding is copied too, behind the last row as well: wanted.
void copy_block(const double* src, double* dst, int32_t height, int32_t step)
{
    std::memmove(dst, src, static_cast<std::size_t>(height) * static_cast<std::size_t>(step) * sizeof *src);
}

void copy_rows(const double* const* src, double* const* dst, int32_t height, int32_t width)
{
    for (int32_t r = 0; r < height; ++r)
        std::memmove(WritableList{dst}[r], RowList{src}[r], static_cast<std::size_t>(width) * sizeof **src);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSVD_64f_D2(const double* src, double* u, int32_t height, double* w, double* v, int32_t width,
                        int32_t step, int32_t iterations)
{
    if (SrStatus failed = first_failure(non_null(src, u, w, v), sizes(height, width, iterations, step)))
        return failed;
    copy_block(src, u, height, step);
    return zelsSVD_64f_D2_I(u, height, w, v, width, step, iterations);
}

SrStatus zelsSVD_64f_D2_I(double* srcdst, int32_t height, double* w, double* v, int32_t width, int32_t step,
                          int32_t iterations)
{
    if (SrStatus failed = first_failure(non_null(srcdst, w, v), sizes(height, width, iterations, step)))
        return failed;
    return decompose(WritableBlock{srcdst, step}, height, w, WritableBlock{v, step}, width, iterations);
}

SrStatus zelsSVD_64f_D2L(const double* const* src, double* const* u, int32_t height, double* w, double* const* v,
                         int32_t width, int32_t iterations)
{
    if (SrStatus failed =
            first_failure(non_null(src), non_null(u, v), non_null(w), positive(height, width, iterations)))
        return failed;
    copy_rows(src, u, height, width);
    return zelsSVD_64f_D2L_I(u, height, w, v, width, iterations);
}

SrStatus zelsSVD_64f_D2L_I(double* const* srcdst, int32_t height, double* w, double* const* v, int32_t width,
                           int32_t iterations)
{
    if (SrStatus failed = first_failure(non_null(srcdst, v), non_null(w), positive(height, width, iterations)))
        return failed;
    return decompose(WritableList{srcdst}, height, w, WritableList{v}, width, iterations);
}

SrStatus zelsSVDSort_64f_D2(const double* src, double* u, int32_t height, double* w, double* v, int32_t width,
                            int32_t step, int32_t iterations)
{
    if (SrStatus failed = first_failure(non_null(src, u, w, v), sizes(height, width, iterations, step)))
        return failed;
    copy_block(src, u, height, step);
    return zelsSVDSort_64f_D2_I(u, height, w, v, width, step, iterations);
}

SrStatus zelsSVDSort_64f_D2_I(double* srcdst, int32_t height, double* w, double* v, int32_t width, int32_t step,
                              int32_t iterations)
{
    if (SrStatus failed = first_failure(non_null(srcdst, w, v), sizes(height, width, iterations, step)))
        return failed;
    return decompose_and_sort(WritableBlock{srcdst, step}, height, w, WritableBlock{v, step}, width, iterations);
}

SrStatus zelsSVDSort_64f_D2L(const double* const* src, double* const* u, int32_t height, double* w,
                             double* const* v, int32_t width, int32_t iterations)
{
    if (SrStatus failed =
            first_failure(non_null(src), non_null(u, v), non_null(w), positive(height, width, iterations)))
        return failed;
    copy_rows(src, u, height, width);
    return zelsSVDSort_64f_D2L_I(u, height, w, v, width, iterations);
}

SrStatus zelsSVDSort_64f_D2L_I(double* const* srcdst, int32_t height, double* w, double* const* v, int32_t width,
                               int32_t iterations)
{
    if (SrStatus failed = first_failure(non_null(srcdst, v), non_null(w), positive(height, width, iterations)))
        return failed;
    return decompose_and_sort(WritableList{srcdst}, height, w, WritableList{v}, width, iterations);
}
