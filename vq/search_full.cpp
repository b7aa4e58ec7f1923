// The nearest of all codewords, or of those in a vector's cell.
#include <limits>

#include "core/simd.h"
#include "vq/distance.h"
#include "vq/four_distances.h"
#include "vq/nearest.h"

namespace zelsr::vq {
namespace {

// Which codeword replaces the best of those before it.
struct FirstOfNearest {
    static constexpr Found start{std::numeric_limits<float>::quiet_NaN(), -1};  // any codeword 0 replaces it
    static bool replaces(float d, Found best) { return best.index < 0 || d < best.squared; }
};
// The margin belongs to weighted codebooks and to tables, and is wanted there.
struct NearerByMargin {
    static constexpr Found start{kLargest, -1};
    static bool replaces(float d, Found best) { return Own_Correct_Less_32f(d, best.squared); }
};

// What is searched: every codeword in order.
template <int Width, class T>
struct AllCodewords {
    const T* first;
    std::ptrdiff_t step;
    int32_t count;

    auto four(int32_t i) const
    {
        if constexpr (Width == 1 || Width == 2) {  // such rows have no gaps
            return DenseVectors<T>{first + std::ptrdiff_t{i} * Width, Width};
        } else {
            const T* v = first + i * step;
            return FourVectors<T>{{v, v + step, v + 2 * step, v + 3 * step}};
        }
    }
    // Of which only those below the count matter.
    FourVectors<T> some(int32_t i) const
    {
        FourVectors<T> four;
        for (int n = 0; n < 4; ++n) four.vector[n] = first + std::min(i + n, count - 1) * step;
        return four;
    }
    int32_t index(int32_t i) const { return i; }
};
// The candidates of a cell.
template <class T>
struct ListedCodewords {
    const T* first;
    std::ptrdiff_t step;
    const int32_t* list;
    int32_t count;

    FourVectors<T> four(int32_t i) const { return some(i); }
    FourVectors<T> some(int32_t i) const
    {
        FourVectors<T> four;
        for (int n = 0; n < 4; ++n) four.vector[n] = first + list[std::min(i + n, count - 1)] * step;
        return four;
    }
    int32_t index(int32_t i) const { return list[i]; }
};

// Four codewords a step. A look at single distances is taken only where one of the four is below the best, which
// no rule replaces otherwise; NaN on either side is looked at, too.
template <class Rule, int Width, int Rows, class Codewords, class Weights>
void find(const Codewords& codewords, const float* lanes, const Weights& weights, int32_t width, Found* found)
{
    Found best[Rows];
    __m128 limit[Rows], d[Rows];
    for (int r = 0; r < Rows; ++r) {
        best[r] = Rule::start;
        limit[r] = _mm_set1_ps(best[r].squared);
    }
    const auto take = [&](int32_t i, int32_t n) __attribute__((always_inline))
    {
        __m128 any = _mm_setzero_ps();
        for_each_index<Rows>([&](auto r) __attribute__((always_inline)) {
            any = _mm_or_ps(any, _mm_cmpnle_ps(limit[r], d[r]));
        });
        if (_mm_movemask_ps(any) == 0) return;
        for (int r = 0; r < Rows; ++r) {
            alignas(16) float distance[4];
            Aligned::put(distance, d[r]);
            for (int32_t j = 0; j < n; ++j)
                if (Rule::replaces(distance[j], best[r])) best[r] = {distance[j], codewords.index(i + j)};
            limit[r] = _mm_set1_ps(best[r].squared);
        }
    };
    const int32_t count = codewords.count, whole = count - count % 4;
    for (int32_t i = 0; i < whole; i += 4) {
        four_distances<Width>(codewords.four(i), lanes, weights, width, d);
        take(i, 4);
    }
    if (whole < count) {
        four_distances<Width>(codewords.some(whole), lanes, weights, width, d);
        take(whole, count - whole);
    }
    for (int r = 0; r < Rows; ++r) found[r] = best[r];
}

// Rows in groups, the rest one by one.
template <class Rule, int Width, class T, class Weights>
void find_in_all(const Codebook<T>& codebook, const Weights& weights, Block<T> rows, int32_t height, float* lanes,
                 Found* found)
{
    const AllCodewords<Width, T> all{codebook.codewords, codebook.row_step, codebook.count};
    const int32_t width = codebook.width;
    int32_t r = 0;
    for (; r + kRowsTogether <= height; r += kRowsTogether) {
        for (int32_t n = 0; n < kRowsTogether; ++n) spread(rows[r + n], width, lanes + 4 * n, 4 * kRowsTogether);
        find<Rule, Width, kRowsTogether>(all, lanes, weights, width, found + r);
    }
    for (; r < height; ++r) {
        spread(rows[r], width, lanes);
        find<Rule, Width, 1>(all, lanes, weights, width, found + r);
    }
}

// The cell of a value at v cell widths from the edge; -1 below the grid, cells above it and for NaN. 16-bit values
// lie a little further up, as their codewords did when the lists were made.
template <class T>
int32_t cell(float v, int32_t cells)
{
    constexpr double shift = std::is_same_v<T, int16_t> ? 0.001 : 0.0;
    if (v < 0) return -1;
    const double place = static_cast<double>(v) + shift;
    return place < cells ? static_cast<int32_t>(place) : cells;
}

template <class T>
int32_t list_of(const SrCdbkLinearField& field, const T* row)
{
    return cell<T>((one_single(row) - field.low_edge) / field.cell_width, field.cells) + 1;
}
template <class T>
int32_t list_of(const SrCdbkSquareField& field, const T* row)
{
    const int32_t column = cell<T>((one_single(row) - field.low_edge_1) / field.cell_width, field.columns);
    const int32_t line = cell<T>((field.high_edge_2 - one_single(row + 1)) / field.cell_height, field.rows);
    return (line + 1) * (field.columns + 2) + column + 1;
}

template <int Width, class Field, class T, class Weights>
void find_in_cells(const Codebook<T>& codebook, const Weights& weights, Block<T> rows, int32_t height,
                   float* lanes, Found* found)
{
    const auto& field = *static_cast<const Field*>(codebook.field);
    for (int32_t r = 0; r < height; ++r) {
        const int32_t list = list_of(field, rows[r]);
        spread(rows[r], Width, lanes);
        find<NearerByMargin, Width, 1>(
            ListedCodewords<T>{codebook.codewords, codebook.row_step, field.lists[list], field.lengths[list]},
            lanes, weights, Width, found + r);
    }
}

// f with the weights as they are to be applied; none where all are 1, which gives the same bits.
template <class T, class F>
void with_weights(const Codebook<T>& codebook, float* lanes, F f)
{
    if ((codebook.flags & kHasWeights) == 0) return f(EqualWeights{});
    spread(codebook.weights, codebook.width, lanes);
    f(SpreadWeights{lanes});
}

}  // namespace

template <class T>
void search_full(const Codebook<T>& codebook, Block<T> rows, int32_t height, float* work, Found* found)
{
    float* lanes = work + 4 * std::ptrdiff_t{codebook.width};
    with_weights(codebook, work, [&](auto weights) {
        constexpr bool weighted = std::is_same_v<decltype(weights), SpreadWeights>;
        if ((codebook.flags & kHasField) != 0) {
            if (codebook.width == 1)
                find_in_cells<1, SrCdbkLinearField>(codebook, weights, rows, height, lanes, found);
            else
                find_in_cells<2, SrCdbkSquareField>(codebook, weights, rows, height, lanes, found);
            return;
        }
        with_width(codebook.width, [&](auto width) {
            find_in_all<std::conditional_t<weighted, NearerByMargin, FirstOfNearest>, width>(
                codebook, weights, rows, height, lanes, found);
        });
    });
}
template void search_full(const Codebook<float>&, Block<float>, int32_t, float*, Found*);
template void search_full(const Codebook<int16_t>&, Block<int16_t>, int32_t, float*, Found*);

template <class T>
void all_distances(const Codebook<T>& codebook, const T* row, float* work, float* distance)
{
    float* lanes = work + 4 * std::ptrdiff_t{codebook.width};
    spread(row, codebook.width, lanes);
    const AllCodewords<0, T> all{codebook.codewords, codebook.row_step, codebook.count};
    with_weights(codebook, work, [&](auto weights) {
        for (int32_t i = 0; i < all.count; i += 4) {
            __m128 d[1];
            four_distances<0>(all.some(i), lanes, weights, codebook.width, d);
            store_first(distance + i, d[0], std::min(4, all.count - i));
        }
    });
}
template void all_distances(const Codebook<float>&, const float*, float*, float*);
template void all_distances(const Codebook<int16_t>&, const int16_t*, float*, float*);

}  // namespace zelsr::vq
