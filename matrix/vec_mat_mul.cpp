// Products of a vector with every column.
#include "core/contract.h"
#include "core/convert.h"
#include "core/pair_sums.h"
#include "core/rounding.h"
#include "matrix/column_sums.h"
#include "zelsr/matrix/products.h"

namespace zelsr {
namespace {

// The rows' elements times the vector's, which a group repeats in every lane.

struct Weighted_32f {
    using Element = float;
    using Sums = __m128;

    const float* vector;

    template <int N>
    struct Group {
        __m128 weight[N];

        template <class Elements>
        [[gnu::always_inline]] void add(__m128& sums, Elements x) const
        {
            for_each_index<N>([&](auto n) __attribute__((always_inline)) { sums = sums + weight[n] * x(n); });
        }
    };
    template <int N>
    [[gnu::always_inline]] Group<N> of(std::ptrdiff_t r) const
    {
        Group<N> group;
        for_each_index<N>([&](auto n) { group.weight[n] = EveryLane::lanes(vector + r + n); });
        return group;
    }
};

struct Weighted_32s {
    using Element = int32_t;
    struct Sums {
        __m128d low, high;
    };

    const int32_t* vector;

    template <int N>
    struct Group {
        __m128d weight[N];

        template <class Elements>
        [[gnu::always_inline]] void add(Sums& sums, Elements x) const
        {
            for_each_index<N>([&](auto n) __attribute__((always_inline)) {
                const __m128i four = x(n);
                sums.low = sums.low + weight[n] * _mm_cvtepi32_pd(four);
                sums.high = sums.high + weight[n] * _mm_cvtepi32_pd(_mm_unpackhi_epi64(four, four));
            });
        }
    };
    template <int N>
    [[gnu::always_inline]] Group<N> of(std::ptrdiff_t r) const
    {
        Group<N> group;
        for_each_index<N>([&](auto n) { group.weight[n] = _mm_set1_pd(load_one(vector + r + n)); });
        return group;
    }
};

// Exact sums of 16-bit data, of two rows at a time.
struct Weighted_16s {
    using Element = int16_t;
    struct Sums {
        PairSums low, high;
    };

    const int16_t* vector;

    template <int N>
    struct Group {
        static constexpr int kPairs = (N + 1) / 2;

        __m128i weights[kPairs];

        template <class Elements>
        [[gnu::always_inline]] void add(Sums& sums, Elements x) const
        {
            for_each_index<kPairs>([&](auto n) __attribute__((always_inline)) {
                const __m128i upper = x(std::integral_constant<int, 2 * n>{});
                __m128i lower = _mm_setzero_si128();
                if constexpr (N > 1) lower = x(std::integral_constant<int, 2 * n + 1>{});
                sums.low.add(_mm_unpacklo_epi16(upper, lower), weights[n]);
                sums.high.add(_mm_unpackhi_epi16(upper, lower), weights[n]);
            });
        }
    };
    template <int N>
    [[gnu::always_inline]] Group<N> of(std::ptrdiff_t r) const
    {
        Group<N> group;
        if constexpr (N == 1)
            group.weights[0] = _mm_set1_epi32(load_one(vector + r));
        else
            for_each_index<N / 2>([&](auto n) {
                group.weights[n] = _mm_set1_epi32(load_one(reinterpret_cast<const int32_t*>(vector + r + 2 * n)));
            });
        return group;
    }
};

// Two 64-bit integers as doubles, each rounded once: the lower halves are put behind 2^52, whose last place is
// one.
inline __m128d to_64f(__m128i x)
{
    const __m128i low = _mm_and_si128(x, _mm_set_epi32(0, -1, 0, -1));
    const __m128i behind = _mm_or_si128(low, _mm_set_epi32(0x43300000, 0, 0x43300000, 0));
    const __m128d high = _mm_cvtepi32_pd(_mm_shuffle_epi32(x, _MM_SHUFFLE(3, 3, 3, 1)));
    return high * _mm_set1_pd(0x1p32) + (_mm_castsi128_pd(behind) - _mm_set1_pd(0x1p52));
}

inline void store_four(const PairSums& sums, int32_t additions, double* dst)
{
    const __m128d even = to_64f(sums.lanes_0_2(additions)), odd = to_64f(sums.lanes_1_3(additions));
    Unaligned::put(dst, _mm_unpacklo_pd(even, odd));
    Unaligned::put(dst + 2, _mm_unpackhi_pd(even, odd));
}

// Exact sums as doubles; dst has room for whole registers of columns.
[[gnu::noinline]] void to_64f(const Weighted_16s::Sums* sums, int32_t additions, double* dst, int32_t count)
{
    for (std::ptrdiff_t c = 0; c < count; c += 8, ++sums) {
        store_four(sums->low, additions, dst + c);
        store_four(sums->high, additions, dst + c + 4);
    }
}

void narrow(const double* sums, int32_t* dst, int32_t count, int32_t sf)
{
    convert_64f32s(sums, dst, count, Rounding::Nearest, sf);
}
// Saturated to 32 bits and then to 16, which is the same as at once.
void narrow(const double* sums, int16_t* dst, int32_t count, int32_t sf)
{
    int32_t wide[kPanel];
    convert_64f32s(sums, wide, count, Rounding::Nearest, sf);
    convert_32s16s(wide, dst, count, 0);
}

template <class Rows>
SrStatus store_products(const float* vector, Rows matrix, int32_t height, float* dst, int32_t width)
{
    sum_columns(Weighted_32f{vector}, matrix, height, width, FromZero{}, StoreSums<float>{dst});
    return SrOk;
}

template <class To, class Rows>
SrStatus round_products(const int16_t* vector, Rows matrix, int32_t height, To* dst, int32_t width, int32_t sf)
{
    const DefaultFloatEnvironment environment;
    const int32_t additions = height / 2 + height % 2;
    const auto round = [=](const Weighted_16s::Sums* exact, std::ptrdiff_t c, int32_t count) {
        double sums[kPanel];
        to_64f(exact, additions, sums, count);
        narrow(sums, dst + c, count, sf);
    };
    sum_columns(Weighted_16s{vector}, matrix, height, width, FromZero{}, round);
    return SrOk;
}

template <class Rows>
SrStatus round_products(const int32_t* vector, Rows matrix, int32_t height, int32_t* dst, int32_t width,
                        int32_t sf)
{
    const DefaultFloatEnvironment environment;
    const auto round = [=](const void* sums, std::ptrdiff_t c, int32_t count) {
        narrow(static_cast<const double*>(sums), dst + c, count, sf);
    };
    sum_columns(Weighted_32s{vector}, matrix, height, width, FromZero{}, round);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsVecMatMul_32f_D2(const float* vector, const float* matrix, int32_t step, int32_t height, float* dst,
                              int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(vector, matrix, dst), positive(width, height), stride(width, step)))
        return failed;
    return store_products(vector, Block{matrix, step}, height, dst, width);
}

SrStatus zelsVecMatMul_32f_D2L(const float* vector, const float* const* matrix, int32_t height, float* dst,
                               int32_t width)
{
    if (SrStatus failed = first_failure(non_null(vector, matrix, dst), positive(width, height))) return failed;
    return store_products(vector, RowList{matrix}, height, dst, width);
}

SrStatus zelsVecMatMul_16s_D2Sfs(const int16_t* vector, const int16_t* matrix, int32_t step, int32_t height,
                                 int16_t* dst, int32_t width, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(vector, matrix, dst), positive(width, height), stride(width, step)))
        return failed;
    return round_products(vector, Block{matrix, step}, height, dst, width, sf);
}

SrStatus zelsVecMatMul_16s_D2LSfs(const int16_t* vector, const int16_t* const* matrix, int32_t height,
                                  int16_t* dst, int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(vector, matrix, dst), positive(width, height))) return failed;
    return round_products(vector, RowList{matrix}, height, dst, width, sf);
}

SrStatus zelsVecMatMul_16s32s_D2Sfs(const int16_t* vector, const int16_t* matrix, int32_t step, int32_t height,
                                    int32_t* dst, int32_t width, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(vector, matrix, dst), positive(width, height), stride(width, step)))
        return failed;
    return round_products(vector, Block{matrix, step}, height, dst, width, sf);
}

SrStatus zelsVecMatMul_16s32s_D2LSfs(const int16_t* vector, const int16_t* const* matrix, int32_t height,
                                     int32_t* dst, int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(vector, matrix, dst), positive(width, height))) return failed;
    return round_products(vector, RowList{matrix}, height, dst, width, sf);
}

SrStatus zelsVecMatMul_32s_D2Sfs(const int32_t* vector, const int32_t* matrix, int32_t step, int32_t height,
                                 int32_t* dst, int32_t width, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(vector, matrix, dst), positive(width, height), stride(width, step)))
        return failed;
    return round_products(vector, Block{matrix, step}, height, dst, width, sf);
}

SrStatus zelsVecMatMul_32s_D2LSfs(const int32_t* vector, const int32_t* const* matrix, int32_t height,
                                  int32_t* dst, int32_t width, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(vector, matrix, dst), positive(width, height))) return failed;
    return round_products(vector, RowList{matrix}, height, dst, width, sf);
}
