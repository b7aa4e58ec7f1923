// A vector subtracted from every row.
#include "core/contract.h"
#include "core/elementwise.h"
#include "core/groups.h"
#include "core/rows.h"
#include "zelsr/matrix/columns.h"

namespace zelsr {
namespace {

[[gnu::noinline]] void subtract(const float* vector, float* row, int32_t width)
{
    auto op = [](auto x, auto v) { return x - v; };
    elementwise(op, row, width, static_cast<const float*>(row), vector);
}

[[gnu::noinline]] void subtract(const int16_t* vector, int16_t* row, int32_t width)
{
    const auto step = [](int16_t* to, const int16_t* x, const int16_t* v) {
        Unaligned::put(to, _mm_subs_epi16(Unaligned::bytes(x), Unaligned::bytes(v)));
    };
    in_groups<8>(width, row, step, row, vector);
}

template <class T>
SrStatus subtract_from_block(const T* vector, int32_t width, T* srcdst, std::ptrdiff_t step, int32_t height)
{
    for (int32_t r = 0; r < height; ++r) subtract(vector, srcdst + r * step, width);
    return SrOk;
}

template <class T>
SrStatus subtract_from_list(const T* vector, T* const* srcdst, int32_t width, int32_t height)
{
    for (int32_t r = 0; r < height; ++r) subtract(vector, load_one(srcdst + r), width);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSubRow_32f_D2(const float* vector, int32_t width, float* srcdst, int32_t step, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(vector, srcdst), positive(width, height), stride(width, step)))
        return failed;
    return subtract_from_block(vector, width, srcdst, step, height);
}

SrStatus zelsSubRow_32f_D2L(const float* vector, float* const* srcdst, int32_t width, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(vector, srcdst), positive(width, height))) return failed;
    return subtract_from_list(vector, srcdst, width, height);
}

SrStatus zelsSubRow_16s_D2(const int16_t* vector, int32_t width, int16_t* srcdst, int32_t step, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(vector, srcdst), positive(width, height), stride(width, step)))
        return failed;
    return subtract_from_block(vector, width, srcdst, step, height);
}

SrStatus zelsSubRow_16s_D2L(const int16_t* vector, int16_t* const* srcdst, int32_t width, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(vector, srcdst), positive(width, height))) return failed;
    return subtract_from_list(vector, srcdst, width, height);
}
