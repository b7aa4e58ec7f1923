// Copies of all and of selected columns.
#include <cstring>

#include "core/contract.h"
#include "core/rows.h"
#include "core/simd.h"
#include "zelsr/matrix/columns.h"

namespace zelsr {
namespace {

template <class T>
bool overlap(const T* x, const T* y, std::ptrdiff_t len)
{
    const auto first = reinterpret_cast<std::uintptr_t>(x), second = reinterpret_cast<std::uintptr_t>(y);
    const auto bytes = static_cast<std::uintptr_t>(len) * sizeof(T);
    return first < second + bytes && second < first + bytes;
}

template <class T>
void copy_dense_rows(const T* src, std::ptrdiff_t width, T* dst, std::ptrdiff_t step, int32_t height)
{
    const std::size_t bytes = static_cast<std::size_t>(width) * sizeof(T);
    for (int32_t r = 0; r < height; ++r, src += width, dst += step)
        if (overlap(src, dst, width))
            for (std::ptrdiff_t c = 0; c < width; ++c) store_one(dst + c, load_one(src + c));
        else
            std::memcpy(dst, src, bytes);
}

// row_of(dst, r) and src[r] answer with the rows.
template <class T, class Rows, class RowOf>
SrStatus copy_selected(Rows src, int32_t src_width, const int32_t* index, int32_t count, int32_t height, RowOf dst)
{
    const T* x = src[0];
    T* y = dst(0);
    for (int32_t j = 0; j < count; ++j) {
        const int32_t column = load_one(index + j);
        // The elements before a bad index are written, and only this row tests: wanted.
        if (column < 0 || column >= src_width) return SrErrSize;
        store_one(y + j, load_one(x + column));
    }
    for (int32_t r = 1; r < height; ++r) {
        x = src[r];
        y = dst(r);
        for (int32_t j = 0; j < count; ++j) store_one(y + j, load_one(x + load_one(index + j)));
    }
    return SrOk;
}

template <class T>
SrStatus copy_selected_of_block(const T* src, int32_t src_width, int32_t src_step, T* dst, const int32_t* index,
                                int32_t count, std::ptrdiff_t dst_step, int32_t height)
{
    return copy_selected<T>(Block{src, src_step}, src_width, index, count, height,
                            [=](int32_t r) { return dst + r * dst_step; });
}

template <class T>
SrStatus copy_selected_of_list(const T* const* src, int32_t src_width, T* const* dst, const int32_t* index,
                               int32_t count, int32_t height)
{
    return copy_selected<T>(RowList{src}, src_width, index, count, height,
                            [=](int32_t r) { return load_one(dst + r); });
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsCopyColumn_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height), stride(width, step)))
        return failed;
    copy_dense_rows(src, width, dst, step, height);
    return SrOk;
}

SrStatus zelsCopyColumn_16s_D2(const int16_t* src, int32_t width, int16_t* dst, int32_t step, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(width, height), stride(width, step)))
        return failed;
    copy_dense_rows(src, width, dst, step, height);
    return SrOk;
}

SrStatus zelsCopyColumn_Indirect_32f_D2(const float* src, int32_t src_width, int32_t src_step, float* dst,
                                        const int32_t* index, int32_t count, int32_t dst_step, int32_t height)
{
    if (SrStatus failed =
            first_failure(non_null(src, dst, index), positive(src_width), stride(src_width, src_step),
                          positive(count), stride(count, dst_step), positive(height)))
        return failed;
    return copy_selected_of_block(src, src_width, src_step, dst, index, count, dst_step, height);
}

SrStatus zelsCopyColumn_Indirect_32f_D2L(const float* const* src, int32_t src_width, float* const* dst,
                                         const int32_t* index, int32_t count, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst, index), positive(src_width, count, height)))
        return failed;
    return copy_selected_of_list(src, src_width, dst, index, count, height);
}

SrStatus zelsCopyColumn_Indirect_64f_D2(const double* src, int32_t src_width, int32_t src_step, double* dst,
                                        const int32_t* index, int32_t count, int32_t dst_step, int32_t height)
{
    if (SrStatus failed =
            first_failure(non_null(src, dst, index), positive(src_width), stride(src_width, src_step),
                          positive(count), stride(count, dst_step), positive(height)))
        return failed;
    return copy_selected_of_block(src, src_width, src_step, dst, index, count, dst_step, height);
}

SrStatus zelsCopyColumn_Indirect_64f_D2L(const double* const* src, int32_t src_width, double* const* dst,
                                         const int32_t* index, int32_t count, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst, index), positive(src_width, count, height)))
        return failed;
    return copy_selected_of_list(src, src_width, dst, index, count, height);
}

SrStatus zelsCopyColumn_Indirect_16s_D2(const int16_t* src, int32_t src_width, int32_t src_step, int16_t* dst,
                                        const int32_t* index, int32_t count, int32_t dst_step, int32_t height)
{
    if (SrStatus failed =
            first_failure(non_null(src, dst, index), positive(src_width), stride(src_width, src_step),
                          positive(count), stride(count, dst_step), positive(height)))
        return failed;
    return copy_selected_of_block(src, src_width, src_step, dst, index, count, dst_step, height);
}

SrStatus zelsCopyColumn_Indirect_16s_D2L(const int16_t* const* src, int32_t src_width, int16_t* const* dst,
                                         const int32_t* index, int32_t count, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(src, dst, index), positive(src_width, count, height)))
        return failed;
    return copy_selected_of_list(src, src_width, dst, index, count, height);
}
