// Full covariance matrices, accumulated over frames.
//
// The matrix is worked on in tiles, whose entries stay in registers while the frames pass by. An entry takes the
// frames in their order, whatever the tile, so that tiles change no bits.
#include <algorithm>

#include "core/contract.h"
#include "core/elementwise.h"
#include "core/rows.h"
#include "zelsr/estimation/covariance.h"

namespace zelsr {
namespace {

#ifdef __x86_64__
constexpr int kTileRows = 4;  // eight registers of sums
#else
constexpr int kTileRows = 2;  // four of eight registers
#endif
constexpr int kTileColumns = 4;

inline constexpr std::ptrdiff_t kStepMultiple = 4;  // of aligned steps, for every type

// N elements (two or four) as registers of two doubles.
template <int N>
struct Doubles {
    __m128d pair[N / 2];
};

inline __m128 load(std::integral_constant<int, 4>, const float* p) { return Unaligned::four(p); }
inline __m128 load(std::integral_constant<int, 2>, const float* p)
{
    return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
inline __m128i load(std::integral_constant<int, 4>, const int16_t* p)
{
    return low_16s32s(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
inline __m128i load(std::integral_constant<int, 2>, const int16_t* p)
{
    return low_16s32s(_mm_cvtsi32_si128(load_one(reinterpret_cast<const int32_t*>(p))));
}
inline __m128d first_two(__m128 x) { return _mm_cvtps_pd(x); }
inline __m128d first_two(__m128i x) { return _mm_cvtepi32_pd(x); }
inline __m128d last_two(__m128 x) { return _mm_cvtps_pd(_mm_movehl_ps(x, x)); }
inline __m128d last_two(__m128i x) { return _mm_cvtepi32_pd(_mm_unpackhi_epi64(x, x)); }

// Columns of rows that hold a tile's width. A tile at the end of a row begins earlier than it ought to, and its
// first entries are not wanted then.
struct WideRows {
    int32_t width;

    int32_t begin(int32_t column, int32_t count) const { return std::min(column, width - count); }

    template <int N, class T>
    Doubles<N> of(const T* row, int32_t column) const
    {
        const auto x = load(std::integral_constant<int, N>{}, row + column);
        if constexpr (N == 2)
            return {{first_two(x)}};
        else
            return {{first_two(x), last_two(x)}};
    }
};

// Columns of shorter rows, whose last element fills the tile.
struct NarrowRows {
    int32_t width;

    int32_t begin(int32_t column, int32_t /*count*/) const { return column; }

    template <int N, class T>
    Doubles<N> of(const T* row, int32_t column) const
    {
        double x[N];
        for (int n = 0; n < N; ++n) x[n] = load_one(row + std::min(column + n, width - 1));
        if constexpr (N == 2)
            return {{Unaligned::two(x)}};
        else
            return {{Unaligned::two(x), Unaligned::two(x + 2)}};
    }
};

// What a frame does to an entry, and how an entry of the matrix begins and ends. x is the element of column i,
// mean that of column j, and d = x[j] - mean[j]. The mean of column j stands in both differences: wanted.
//
// S = sum of (x - mean) * d, then S * factor + D.
struct SumThenScale {
    double factor;

    static double begin(double) { return 0.0; }
    __m128d add(__m128d sum, __m128d x, __m128d mean, __m128d d) const { return sum + (x - mean) * d; }
    double end(double sum, double entry) const { return sum * factor + entry; }
};
// D - ((mean - x) * d) * factor, frame by frame.
struct SubtractScaled {
    __m128d factor;

    static double begin(double entry) { return entry; }
    __m128d add(__m128d sum, __m128d x, __m128d mean, __m128d d) const { return sum - ((mean - x) * d) * factor; }
    static double end(double sum, double) { return sum; }
};

using Tile = double[kTileRows][kTileColumns];

// All frames into the tile of columns i, i + 1 ... and j, j + 1 ...
template <class Columns, class Rows, class Scatter>
[[gnu::always_inline]] inline void add_frames(const Columns& columns, Rows frames, int32_t height,
                                              const typename Rows::Element* mean, int32_t i, int32_t j,
                                              const Scatter& scatter, Tile& tile)
{
    const auto m = columns.template of<kTileColumns>(mean, j);
    __m128d sums[kTileRows][2];
    for_each_index<kTileRows>([&](auto a) __attribute__((always_inline)) {
        sums[a][0] = Unaligned::two(tile[a]);
        sums[a][1] = Unaligned::two(tile[a] + 2);
    });
    for (int32_t r = 0; r < height; ++r) {
        const auto* row = frames[r];
        const auto x = columns.template of<kTileRows>(row, i);
        const auto y = columns.template of<kTileColumns>(row, j);
        const __m128d d[2] = {y.pair[0] - m.pair[0], y.pair[1] - m.pair[1]};
        for_each_index<kTileRows>([&](auto a) __attribute__((always_inline)) {
            const __m128d two = x.pair[a / 2];
            const __m128d one = a % 2 == 0 ? _mm_unpacklo_pd(two, two) : _mm_unpackhi_pd(two, two);
            sums[a][0] = scatter.add(sums[a][0], one, m.pair[0], d[0]);
            sums[a][1] = scatter.add(sums[a][1], one, m.pair[1], d[1]);
        });
    }
    for_each_index<kTileRows>([&](auto a) __attribute__((always_inline)) {
        Unaligned::put(tile[a], sums[a][0]);
        Unaligned::put(tile[a] + 2, sums[a][1]);
    });
}

// The upper triangle tile by tile, each entry mirrored into the lower one.
template <class Columns, class Rows, class Matrix, class Scatter>
void add_scatter(const Columns& columns, Rows frames, int32_t height, const typename Rows::Element* mean,
                 Matrix dst, int32_t width, const Scatter& scatter)
{
    for (int32_t row = 0; row < width; row += kTileRows)
        for (int32_t column = row; column < width; column += kTileColumns) {
            const int32_t i = columns.begin(row, kTileRows), j = columns.begin(column, kTileColumns);
            // f(entry of the tile, i, j) for those that no other tile holds.
            const auto for_each_wanted = [&](auto f) __attribute__((always_inline))
            {
                const int32_t rows_end = std::min(i + kTileRows, width), end = std::min(j + kTileColumns, width);
                for (int32_t k = row; k < rows_end; ++k)
                    for (int32_t l = std::max(k, column); l < end; ++l) f(k - i, l - j, k, l);
            };
            Tile tile{};
            for_each_wanted([&](int32_t a, int32_t b, int32_t k, int32_t l) __attribute__((always_inline)) {
                tile[a][b] = scatter.begin(load_one(dst[k] + l));
            });
            add_frames(columns, frames, height, mean, i, j, scatter, tile);
            for_each_wanted([&](int32_t a, int32_t b, int32_t k, int32_t l) __attribute__((always_inline)) {
                const double entry = scatter.end(tile[a][b], load_one(dst[k] + l));
                store_one(dst[k] + l, entry);
                store_one(dst[l] + k, entry);
            });
        }
}

// Entries that hold all frames so far take them in portions that stay in the first cache.
template <class Columns, class Rows, class Matrix>
void add_scatter_in_portions(const Columns& columns, Rows frames, int32_t height,
                             const typename Rows::Element* mean, Matrix dst, int32_t width, double factor)
{
    constexpr int32_t elements = 16384 / sizeof(typename Rows::Element);
    const int32_t portion = std::max(elements / width, 32);
    for (int32_t r = 0; r < height;) {
        const int32_t count = std::min(portion, height - r);
        add_scatter(columns, frames.from(r), count, mean, dst, width, SubtractScaled{repeat(factor)});
        r += count;
    }
}

template <class Rows, class Matrix>
SrStatus accumulate(Rows frames, int32_t height, const typename Rows::Element* mean, Matrix dst, int32_t width,
                    double factor, bool large)
{
    const auto add = [&](auto columns) {
        if (large)
            add_scatter_in_portions(columns, frames, height, mean, dst, width, factor);
        else
            add_scatter(columns, frames, height, mean, dst, width, SumThenScale{factor});
    };
    if (width < kTileColumns)
        add(NarrowRows{width});
    else
        add(WideRows{width});
    return SrOk;
}

template <class Rows, class Matrix>
bool on_16_bytes(Rows frames, int32_t height, const typename Rows::Element* mean, Matrix dst, int32_t width)
{
    return is_aligned(mean) && frames.on_16_bytes(height, kStepMultiple) && dst.on_16_bytes(width, kStepMultiple);
}

// Large jobs on aligned arrays round each frame's share of an entry: wanted, results differ in their last places.
template <class T>
SrStatus accumulate_block(Block<T> frames, int32_t height, const T* mean, double* dst, int32_t width,
                          int32_t dst_step, double factor, int64_t large_from)
{
    const bool large = int64_t{frames.step} * height >= large_from &&
                       on_16_bytes(frames, height, mean, Block<double>{dst, dst_step}, width);
    return accumulate(frames, height, mean, WritableBlock<double>{dst, dst_step}, width, factor, large);
}

template <class T>
SrStatus accumulate_list(RowList<T> frames, int32_t height, const T* mean, double* const* dst, int32_t width,
                         double factor, int64_t large_from)
{
    const bool large =
        int64_t{height} * width >= large_from && on_16_bytes(frames, height, mean, RowList<double>{dst}, width);
    return accumulate(frames, height, mean, WritableList<double>{dst}, width, factor, large);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsAccCovarianceMatrix_32f64f_D2(const float* frames, int32_t step, int32_t height, const float* mean,
                                           double* dst, int32_t width, int32_t dst_step, double factor)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, dst), positive(height, width), stride(width, step),
                                        stride(width, dst_step)))
        return failed;
    return accumulate_block(Block{frames, step}, height, mean, dst, width, dst_step, factor, 140000);
}

SrStatus zelsAccCovarianceMatrix_32f64f_D2L(const float* const* frames, int32_t height, const float* mean,
                                            double* const* dst, int32_t width, double factor)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, dst), positive(height, width))) return failed;
    return accumulate_list(RowList{frames}, height, mean, dst, width, factor, 134000);
}

SrStatus zelsAccCovarianceMatrix_16s64f_D2(const int16_t* frames, int32_t step, int32_t height,
                                           const int16_t* mean, double* dst, int32_t width, int32_t dst_step,
                                           double factor)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, dst), positive(height, width), stride(width, step),
                                        stride(width, dst_step)))
        return failed;
    return accumulate_block(Block{frames, step}, height, mean, dst, width, dst_step, factor, 270000);
}

SrStatus zelsAccCovarianceMatrix_16s64f_D2L(const int16_t* const* frames, int32_t height, const int16_t* mean,
                                            double* const* dst, int32_t width, double factor)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, dst), positive(height, width))) return failed;
    return accumulate_list(RowList{frames}, height, mean, dst, width, factor, 260000);
}
