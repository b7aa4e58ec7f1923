// Sums down the columns.
#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "matrix/column_sums.h"
#include "zelsr/matrix/sums.h"

namespace zelsr {
namespace {

// Pairs of rows: s + (x[0] + x[1]), then s + (x[2] + x[3]) ...
template <class T>
struct InPairs {
    using Element = T;
    using Sums = LanesOf<T>;

    template <int N>
    struct Group {
        template <class Elements>
        [[gnu::always_inline]] static void add(Sums& sums, Elements x)
        {
            if constexpr (N == 1)
                sums = sums + x(std::integral_constant<int, 0>{});
            else
                for_each_index<N / 2>([&](auto n) __attribute__((always_inline)) {
                    const Sums upper = x(std::integral_constant<int, 2 * n>{});
                    sums = sums + (upper + x(std::integral_constant<int, 2 * n + 1>{}));
                });
        }
    };
    template <int N>
    Group<N> of(int32_t /*r*/) const
    {
        return {};
    }
};

// The same on 16-bit data: a pair is added as integers, which is the exact sum of the two singles.
template <>
struct InPairs<int16_t> {
    using Element = int16_t;
    struct Sums {
        __m128 low, high;
    };

    template <int N>
    struct Group {
        template <class Elements>
        [[gnu::always_inline]] static void add(Sums& sums, Elements x)
        {
            if constexpr (N == 1)
                add_pair(sums, x(std::integral_constant<int, 0>{}), _mm_setzero_si128());
            else
                for_each_index<N / 2>([&](auto n) __attribute__((always_inline)) {
                    add_pair(sums, x(std::integral_constant<int, 2 * n>{}),
                             x(std::integral_constant<int, 2 * n + 1>{}));
                });
        }
    };
    template <int N>
    Group<N> of(int32_t /*r*/) const
    {
        return {};
    }

  private:
    [[gnu::always_inline]] static void add_pair(Sums& sums, __m128i upper, __m128i lower)
    {
        const __m128i ones = _mm_set1_epi16(1);
        sums.low = sums.low + _mm_cvtepi32_ps(_mm_madd_epi16(_mm_unpacklo_epi16(upper, lower), ones));
        sums.high = sums.high + _mm_cvtepi32_ps(_mm_madd_epi16(_mm_unpackhi_epi16(upper, lower), ones));
    }
};

template <class Sum, class Rows>
SrStatus store_column_sums(Rows src, int32_t height, Sum* dst, int32_t width)
{
    sum_columns(InPairs<typename Rows::Element>{}, src, height, width, FromZero{}, StoreSums<Sum>{dst});
    return SrOk;
}

// The sums in single become integers panel by panel.
template <class Rows>
SrStatus convert_column_sums(Rows src, int32_t height, int32_t* dst, int32_t width, int32_t sf)
{
    const DefaultFloatEnvironment environment;
    const auto convert = [=](const void* sums, std::ptrdiff_t c, int32_t count) {
        convert_32f32s(static_cast<const float*>(sums), dst + c, count, Rounding::Nearest, sf);
    };
    sum_columns(InPairs<int16_t>{}, src, height, width, FromZero{}, convert);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSumColumn_32f_D2(const float* src, int32_t step, int32_t height, float* dst, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(height, width), stride(width, step)))
        return failed;
    return store_column_sums(Block{src, step}, height, dst, width);
}

SrStatus zelsSumColumn_32f_D2L(const float* const* src, int32_t height, float* dst, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(height, width))) return failed;
    return store_column_sums(RowList{src}, height, dst, width);
}

SrStatus zelsSumColumn_64f_D2(const double* src, int32_t step, int32_t height, double* dst, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(height, width), stride(width, step)))
        return failed;
    return store_column_sums(Block{src, step}, height, dst, width);
}

SrStatus zelsSumColumn_64f_D2L(const double* const* src, int32_t height, double* dst, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(height, width))) return failed;
    return store_column_sums(RowList{src}, height, dst, width);
}

SrStatus zelsSumColumn_16s32f_D2(const int16_t* src, int32_t step, int32_t height, float* dst, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(height, width), stride(width, step)))
        return failed;
    return store_column_sums(Block{src, step}, height, dst, width);
}

SrStatus zelsSumColumn_16s32f_D2L(const int16_t* const* src, int32_t height, float* dst, int32_t width)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(height, width))) return failed;
    return store_column_sums(RowList{src}, height, dst, width);
}

SrStatus zelsSumColumn_16s32s_D2Sfs(const int16_t* src, int32_t step, int32_t height, int32_t* dst, int32_t width,
                                    int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(height, width), stride(width, step)))
        return failed;
    return convert_column_sums(Block{src, step}, height, dst, width, sf);
}

SrStatus zelsSumColumn_16s32s_D2LSfs(const int16_t* const* src, int32_t height, int32_t* dst, int32_t width,
                                     int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(height, width))) return failed;
    return convert_column_sums(RowList{src}, height, dst, width, sf);
}
