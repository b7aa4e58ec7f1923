// Block-diagonal covariance: its record, and the score of one vector.
#include <cstdint>
#include <type_traits>

#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/rounding.h"
#include "core/row_end.h"
#include "core/scale.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "likelihood/block_record.h"
#include "likelihood/four_doubles.h"

namespace zelsr {
namespace {

constexpr int32_t kOnStack = 111;  // elements of a difference vector

SrStatus positive_sizes(const int32_t* sizes, int32_t blocks)
{
    for (int32_t b = 0; b < blocks; ++b)
        if (load_one(sizes + b) < 1) return SrErrSize;
    return SrOk;
}

template <class Record, class T>
SrStatus init_alloc(Record** record, const T* const* rows, const int32_t* sizes, int32_t blocks)
{
    auto* const made = reinterpret_cast<Record*>(make_record(rows, sizes, blocks));
    if (made == nullptr) return SrErrMemAlloc;
    store_one(record, made);
    return SrOk;
}

// The three kinds of record differ in what their rows point to, and so have one way to be released.
template <class Record>
SrStatus release(Record* record)
{
    if (SrStatus failed = non_null(record)) return failed;
    zelsFree(opened(record).allocation);
    return SrOk;
}

// Products along N rows at a time, each row's added to eight lanes of its own, in two registers. size is that of
// the block.

template <class Rows, int N>
struct RowSums {
    typename Rows::Lanes first[N]{}, second[N]{};
};

template <class Four, class FourOfMatrix, class First>
struct FloatRows {
    using Lanes = decltype(First{}.lanes(static_cast<const float*>(nullptr)));

    int32_t size;

    template <class T, int N>
    [[gnu::always_inline]] void sum(const T* d, const T* const (&row)[N], RowSums<FloatRows, N>& sums) const
    {
        const auto add = [&](auto load, Lanes(&to)[N], Lanes four_of_d, int32_t c) __attribute__((always_inline))
        {
            for_each_index<N>([&](auto n) __attribute__((always_inline)) {
                to[n] = to[n] + four_of_d * load.lanes(row[n] + c);
            });
        };
        int32_t c = 0;
        for (; c <= size - 8; c += 8) {
            add(FourOfMatrix{}, sums.first, Four::lanes(d + c), c);
            add(FourOfMatrix{}, sums.second, Four::lanes(d + c + 4), c + 4);
        }
        if (size - c >= 4) {
            add(FourOfMatrix{}, sums.first, Four::lanes(d + c), c);
            c += 4;
        }
        if (c < size) {
            const First rest{size - c};
            add(rest, sums.first, rest.lanes(d + c), c);
        }
    }
};

// Exact products of 16-bit integers, each converted to single precision.
struct FixedRows {
    using Lanes = __m128;

    explicit FixedRows(int32_t block_size) : size(block_size), rest(block_size) {}

    template <int N>
    [[gnu::always_inline]] void sum(const int16_t* d, const int16_t* const (&row)[N],
                                    RowSums<FixedRows, N>& sums) const
    {
        const auto add = [&](auto load, int32_t c) __attribute__((always_inline))
        {
            const __m128i x = load(d + c);
            for_each_index<N>([&](auto n) __attribute__((always_inline)) {
                const __m128i y = load(row[n] + c);
                const __m128i low = _mm_mullo_epi16(x, y), high = _mm_mulhi_epi16(x, y);
                sums.first[n] = sums.first[n] + _mm_cvtepi32_ps(_mm_unpacklo_epi16(low, high));
                sums.second[n] = sums.second[n] + _mm_cvtepi32_ps(_mm_unpackhi_epi16(low, high));
            });
        };
        int32_t c = 0;
        for (; c <= size - 8; c += 8) add([](const int16_t* p) { return Unaligned::bytes(p); }, c);
        if (c < size) add(rest, 0);
    }

    int32_t size;
    FixedRowEnd rest;
};

// How a score is computed: what sums the rows, and what their lanes become once multiplied by a difference.
struct InSingle {
    using Rows = FloatRows<Unaligned, Aligned, FirstLanes>;
    using Sum = float;
    static __m128 times(__m128 lanes, float d) { return lanes * _mm_set1_ps(d); }
};
struct InDouble {
    using Rows = FloatRows<FourWidened, FourWidened, FirstWidened>;
    using Sum = double;
    static FourDoubles times(FourDoubles lanes, double d)
    {
        return lanes * FourDoubles{_mm_set1_pd(d), _mm_set1_pd(d)};
    }
};
struct RowsInSingle {
    using Rows = FloatRows<Unaligned, Aligned, FirstLanes>;
    using Sum = double;
    static FourDoubles times(__m128 lanes, float d) { return InDouble::times(widened(lanes), double{d}); }
};
struct OfIntegers {
    using Rows = FixedRows;
    using Sum = float;
    static __m128 times(__m128 lanes, int16_t d) { return InSingle::times(lanes, static_cast<float>(d)); }
};

// Rows that share the loads of a difference, as far as their sums fit the registers.
template <class T>
constexpr bool kFourTogether = sizeof(void*) == 8 && sizeof(T) <= sizeof(float);

// The sum over blocks of d' A d. The lanes of a row's sum, those of both registers added, are multiplied by the
// row's difference as they are, and joined once in the end, (lane 0 + lane 2) + (lane 1 + lane 3). Rows of fewer
// than four elements are joined first: an infinite difference would make not-a-number of their empty lanes. The
// test of the loop over blocks fails only on a record whose number of rows does not fit its 16 bits.
template <class How, class T>
auto quadratic_form(const BlockDMatrix<T>& record, const T* d, int32_t len)
{
    using Rows = typename How::Rows;
    using Sum = typename How::Sum;
    decltype(How::times(typename Rows::Lanes{}, T{})) lanes{};
    Sum narrow = 0;
    const T* const* row = record.rows;
    const T* const end = d + len;
    for (int32_t b = 0; b < record.blocks && record.sizes[b] <= end - d; ++b) {
        const Rows block{record.sizes[b]};
        const auto take = [&]<int N>(const T* const(&rows)[N], const T* differences) __attribute__((always_inline))
        {
            RowSums<Rows, N> sums;
            block.sum(d, rows, sums);
            for (int n = 0; n < N; ++n) lanes = lanes + How::times(sums.first[n] + sums.second[n], differences[n]);
        };
        int32_t r = 0;
        if (std::is_floating_point_v<T> && block.size < 4) {
            for (; r < block.size; ++r) {
                RowSums<Rows, 1> sums;
                block.sum(d, {row[r]}, sums);
                narrow = narrow + Sum{join_halves(sums.first[0])} * static_cast<Sum>(d[r]);
            }
        } else {
            if constexpr (kFourTogether<T>)
                for (; r <= block.size - 4; r += 4) take({row[r], row[r + 1], row[r + 2], row[r + 3]}, d + r);
            for (; r <= block.size - 2; r += 2) take({row[r], row[r + 1]}, d + r);
            if (r < block.size) take({row[r]}, d + r);
        }
        row += block.size;
        d += block.size;
    }
    return join_halves(lanes) + narrow;
}

template <class T>
void subtract(const T* feature, const T* mean, T* difference, int32_t len)
{
    const auto minus = [](auto x, auto m) { return x - m; };
    elementwise(minus, difference, len, feature, mean);
}

// Saturated in groups of four and more; the last one to three differences wrap: wanted.
void subtract(const int16_t* feature, const int16_t* mean, int16_t* difference, int32_t len)
{
    int32_t k = 0;
    for (; k <= len - 8; k += 8)
        Unaligned::put(difference + k, _mm_subs_epi16(Unaligned::bytes(feature + k), Unaligned::bytes(mean + k)));
    const auto four = [](auto* p) { return reinterpret_cast<__m128i*>(const_cast<int16_t*>(p)); };
    if (len - k >= 4) {
        _mm_storel_epi64(four(difference + k),
                         _mm_subs_epi16(_mm_loadl_epi64(four(feature + k)), _mm_loadl_epi64(four(mean + k))));
        k += 4;
    }
    for (; k < len; ++k)
        difference[k] = static_cast<int16_t>(static_cast<uint16_t>(load_one(feature + k) - load_one(mean + k)));
}

float score(float val, float sum) { return val - sum * 0.5F; }
double score(double val, double sum) { return val - 0.5 * sum; }

// The difference vector stands in work memory first.
template <class How, class T, class Result>
SrStatus score_one(const T* feature, const T* mean, const BlockDMatrix<T>& record, int32_t len, Result* result,
                   Result val)
{
    const Scratch<T, kOnStack> difference(len);
    if (!difference) return SrErrMemAlloc;
    subtract(feature, mean, difference.data(), len);
    store_one(result, score(val, quadratic_form<How>(record, difference.data(), len)));
    return SrOk;
}

// 0.5 S 2^-sf
float scaled_half(const int16_t* feature, const int16_t* mean, const BlockDMatrix<int16_t>& record, int32_t len,
                  int16_t* difference, int32_t sf)
{
    subtract(feature, mean, difference, len);
    return 0.5F * quadratic_form<OfIntegers>(record, difference, len) * GetScale_32s32f(sf);
}

using FixedScratch = Scratch<int16_t, kOnStack + 1>;

[[gnu::noinline]] void truncate_score(const int16_t* feature, const int16_t* mean,
                                      const BlockDMatrix<int16_t>& record, int32_t len, int16_t* difference,
                                      int32_t* result, int32_t val, int32_t sf)
{
    const float exact = static_cast<float>(val) - scaled_half(feature, mean, record, len, difference, sf);
    store_one(result, _mm_cvtsi128_si32(saturated_32s<Rounding::TowardZero>(_mm_set_ss(exact))));
}

template <class Record>
auto fits(const Record* record, int32_t len)
{
    return [record, len] { return require(len == opened(record).dimension, SrErrSize); };
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsBlockDMatrixInitAlloc_16s(BlockDMatrix_16s** record, const int16_t* const* rows, const int32_t* sizes,
                                       int32_t block_count)
{
    if (SrStatus failed = first_failure(non_null(record, rows, sizes), positive(block_count),
                                        [=] { return positive_sizes(sizes, block_count); }))
        return failed;
    return init_alloc(record, rows, sizes, block_count);
}

SrStatus zelsBlockDMatrixInitAlloc_32f(BlockDMatrix_32f** record, const float* const* rows, const int32_t* sizes,
                                       int32_t block_count)
{
    if (SrStatus failed = first_failure(non_null(record, rows, sizes), positive(block_count),
                                        [=] { return positive_sizes(sizes, block_count); }))
        return failed;
    return init_alloc(record, rows, sizes, block_count);
}

SrStatus zelsBlockDMatrixInitAlloc_64f(BlockDMatrix_64f** record, const double* const* rows, const int32_t* sizes,
                                       int32_t block_count)
{
    if (SrStatus failed = first_failure(non_null(record, rows, sizes), positive(block_count),
                                        [=] { return positive_sizes(sizes, block_count); }))
        return failed;
    return init_alloc(record, rows, sizes, block_count);
}

SrStatus zelsBlockDMatrixFree_16s(BlockDMatrix_16s* record) { return release(record); }

SrStatus zelsBlockDMatrixFree_32f(BlockDMatrix_32f* record) { return release(record); }

SrStatus zelsBlockDMatrixFree_64f(BlockDMatrix_64f* record) { return release(record); }

SrStatus zelsLogGaussSingle_BlockDVar_32f(const float* feature, const float* mean, const BlockDMatrix_32f* record,
                                          int32_t len, float* result, float val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, record, result), positive(len), fits(record, len)))
        return failed;
    return score_one<InSingle>(feature, mean, opened(record), len, result, val);
}

SrStatus zelsLogGaussSingle_BlockDVar_64f(const double* feature, const double* mean,
                                          const BlockDMatrix_64f* record, int32_t len, double* result, double val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, record, result), positive(len), fits(record, len)))
        return failed;
    return score_one<InDouble>(feature, mean, opened(record), len, result, val);
}

SrStatus zelsLogGaussSingle_BlockDVar_32f64f(const float* feature, const float* mean,
                                             const BlockDMatrix_32f* record, int32_t len, double* result,
                                             double val)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, record, result), positive(len), fits(record, len)))
        return failed;
    return score_one<RowsInSingle>(feature, mean, opened(record), len, result, val);
}

SrStatus zelsLogGaussSingle_BlockDVarScaled_16s32f(const int16_t* feature, const int16_t* mean,
                                                   const BlockDMatrix_16s* record, int32_t len, float* result,
                                                   float val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, record, result), positive(len), fits(record, len)))
        return failed;
    const FixedScratch difference(int64_t{len} + 1);
    if (!difference) return SrErrMemAlloc;
    store_one(result, val - scaled_half(feature, mean, opened(record), len, difference.data(), sf));
    return SrOk;
}

SrStatus zelsLogGaussSingle_BlockDVar_16s32s_Sfs(const int16_t* feature, const int16_t* mean,
                                                 const BlockDMatrix_16s* record, int32_t len, int32_t* result,
                                                 int32_t val, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, record, result), positive(len), fits(record, len)))
        return failed;
    const FixedScratch difference(int64_t{len} + 1);
    if (!difference) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    truncate_score(feature, mean, opened(record), len, difference.data(), result, val, sf);
    return SrOk;
}
