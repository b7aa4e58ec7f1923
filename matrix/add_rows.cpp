// Rows added to an accumulator, selected rows added to an initial value.
#include "core/contract.h"
#include "matrix/column_sums.h"
#include "zelsr/matrix/sums.h"

namespace zelsr {
namespace {

// Sums that begin with what stands in memory.
struct FromAccumulator {
    const float* acc;

    void operator()(__m128* sums, int32_t registers, std::ptrdiff_t c, int32_t count) const
    {
        sums[registers - 1] = _mm_setzero_ps();
        std::memcpy(sums, acc + c, static_cast<std::size_t>(count) * sizeof(float));
    }
};

struct FromValue {
    float initial;

    void operator()(__m128* sums, int32_t registers, std::ptrdiff_t /*c*/, int32_t /*count*/) const
    {
        for (int32_t i = 0; i < registers; ++i) sums[i] = _mm_set1_ps(initial);
    }
};

template <class Rows>
SrStatus add_to_accumulator(Rows src, int32_t height, float* acc, int32_t width)
{
    sum_columns(OneByOne_32f{}, src, height, width, FromAccumulator{acc}, StoreSums<float>{acc});
    return SrOk;
}

// Rows of a block whose indices are sums of two.
struct SelectedRows {
    using Element = float;

    Block<float> block;
    const int32_t* first;
    const uint16_t* second;

    // Wraps, as a sum of 32 bits does: wanted.
    int32_t index(std::ptrdiff_t i) const
    {
        return static_cast<int32_t>(static_cast<uint32_t>(load_one(first + i)) + load_one(second + i));
    }
    const float* operator[](int32_t i) const { return block[index(i)]; }
    SelectedRows from_column(int32_t c) const { return {{block.first + c, block.step}, first, second}; }

    SrStatus below(int32_t height, int32_t count) const
    {
        for (int32_t i = 0; i < count; ++i)
            if (index(i) < 0 || index(i) >= height) return SrErrSize;
        return SrOk;
    }
};

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsAddAllRowSum_32f_D2(const float* src, int32_t step, int32_t height, float* acc, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(src, acc), positive(height, width), stride(width, step)))
        return failed;
    return add_to_accumulator(Block{src, step}, height, acc, width);
}

SrStatus zelsAddAllRowSum_32f_D2L(const float* const* src, int32_t height, float* acc, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(src, acc), positive(height, width))) return failed;
    return add_to_accumulator(RowList{src}, height, acc, width);
}

SrStatus zelsAddNRows_32f_D2(const float* src, int32_t height, int32_t offset, int32_t step, const int32_t* first,
                             const uint16_t* second, int32_t count, float* dst, int32_t width, float initial)
{
    const SelectedRows rows{{src, step}, first, second};
    if (SrStatus failed = first_failure(
            non_null(src, first, second, dst), positive(count, height, width), require(offset >= 0, SrErrSize),
            require(int64_t{offset} + width <= step, SrErrStride), [&] { return rows.below(height, count); }))
        return failed;
    sum_columns(OneByOne_32f{}, rows.from_column(offset), count, width, FromValue{initial}, StoreSums<float>{dst});
    return SrOk;
}
