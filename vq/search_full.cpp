// The nearest of all codewords, or of those in a vector's cell.
#include <type_traits>

#include "core/simd.h"
#include "vq/distance.h"
#include "vq/four_distances.h"
#include "vq/nearest.h"

namespace zelsr::vq {
namespace {

// Which codeword replaces the best of those before it. Each rule looks at four codewords a time, d[r] being the
// distances of row r to codewords i to i + n - 1; what other lanes hold repeats the last of them.

// The first of the nearest. Each lane keeps its own, so that nothing depends on a branch.
template <int Rows>
class FirstOfNearest {
  public:
    // Codeword 0 in every lane, where it stays if it is NaN.
    [[gnu::always_inline]] explicit FirstOfNearest(const __m128 (&d)[Rows])
    {
        for_each_index<Rows>([&](auto r) __attribute__((always_inline)) {
            best_[r] = _mm_shuffle_ps(d[r], d[r], 0);
            index_[r] = _mm_setzero_si128();
        });
    }
    template <class Codewords>
    [[gnu::always_inline]] void take(const __m128 (&d)[Rows], int32_t i, int32_t /*n*/, const Codewords&)
    {
        const __m128i here = _mm_add_epi32(_mm_set1_epi32(i), _mm_setr_epi32(0, 1, 2, 3));
        for_each_index<Rows>([&](auto r) __attribute__((always_inline)) {
            const __m128i below = _mm_castps_si128(_mm_cmplt_ps(d[r], best_[r]));
            best_[r] = _mm_min_ps(d[r], best_[r]);
            index_[r] = choose(below, here, index_[r]);
        });
    }
    [[gnu::always_inline]] Found result(int32_t r) const
    {
        alignas(16) float d[4];
        alignas(16) int32_t index[4];
        Aligned::put(d, best_[r]);
        Aligned::put(index, index_[r]);
        Found best{d[0], index[0]};
        for (int n = 1; n < 4; ++n)
            if (d[n] < best.squared || (d[n] == best.squared && index[n] < best.index)) best = {d[n], index[n]};
        return best;
    }

  private:
    __m128 best_[Rows];
    __m128i index_[Rows];
};

// One that is nearer by more than the margin; weighted codebooks and tables have it, and it is wanted there. What
// is not below the best is not nearer by a margin either, so that single distances are rarely looked at; NaN on
// either side is, too.
template <int Rows>
class NearerByMargin {
  public:
    explicit NearerByMargin(const __m128 (&/*of codewords 0 to 3*/)[Rows])
    {
        for (int r = 0; r < Rows; ++r) keep(r, {kLargest, -1});
    }
    template <class Codewords>
    [[gnu::always_inline]] void take(const __m128 (&d)[Rows], int32_t i, int32_t n, const Codewords& codewords)
    {
        for_each_index<Rows>([&](auto r) __attribute__((always_inline)) {
            if (_mm_movemask_ps(_mm_cmpnle_ps(limit_[r], d[r])) != 0) look_at_each(r, d[r], i, n, codewords);
        });
    }
    Found result(int32_t r) const { return best_[r]; }

  private:
    template <class Codewords>
    void look_at_each(int r, __m128 d, int32_t i, int32_t n, const Codewords& codewords)
    {
        alignas(16) float distance[4];
        Aligned::put(distance, d);
        Found best = best_[r];
        for (int32_t j = 0; j < n; ++j)
            if (Own_Correct_Less_32f(distance[j], best.squared)) best = {distance[j], codewords.index(i + j)};
        keep(r, best);
    }
    void keep(int r, Found best)
    {
        best_[r] = best;
        limit_[r] = _mm_set1_ps(best.squared);
    }

    Found best_[Rows];
    __m128 limit_[Rows];  // the best distances, in every lane
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

// Four codewords a step.
template <template <int> class Rule, int Width, int Rows, class Codewords, class Weights>
void find(const Codewords& codewords, const float* lanes, const Weights& weights, int32_t width, Found* found)
{
    const int32_t count = codewords.count;
    __m128 d[Rows];
    four_distances<Width>(codewords.some(0), lanes, weights, width, d);
    Rule<Rows> rule(d);
    rule.take(d, 0, std::min(count, 4), codewords);
    int32_t i = 4;
    for (; i + 4 <= count; i += 4) {
        four_distances<Width>(codewords.four(i), lanes, weights, width, d);
        rule.take(d, i, 4, codewords);
    }
    if (i < count) {
        four_distances<Width>(codewords.some(i), lanes, weights, width, d);
        rule.take(d, i, count - i, codewords);
    }
    for_each_index<Rows>([&](auto r) { found[r] = rule.result(r); });
}

// Rows in groups, the rest one by one.
template <template <int> class Rule, int Width, class T, class Weights>
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
        if ((codebook.flags & kHasField) != 0) {
            if (codebook.width == 1)
                find_in_cells<1, SrCdbkLinearField>(codebook, weights, rows, height, lanes, found);
            else
                find_in_cells<2, SrCdbkSquareField>(codebook, weights, rows, height, lanes, found);
            return;
        }
        with_width(codebook.width, [&](auto width) {
            if constexpr (std::is_same_v<decltype(weights), SpreadWeights>)
                find_in_all<NearerByMargin, width>(codebook, weights, rows, height, lanes, found);
            else
                find_in_all<FirstOfNearest, width>(codebook, weights, rows, height, lanes, found);
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
