// The table of a two-dimensional codebook.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "core/scratch.h"
#include "vq/field.h"

namespace zelsr::vq {
namespace {

constexpr int32_t kFewestCells = 4;

// Columns upwards from the low edge of the first coordinate, rows downwards from the high edge of the second.
struct Grid {
    int32_t columns, rows;
    float low_edge, high_edge;
    float cell_width, cell_height;
    float weight_1, weight_2;
};

// What the table is made for.
struct Plane {
    Extent first, second;
    float weight_1, weight_2;

    Grid grid(int32_t columns, int32_t rows) const
    {
        return {columns,           rows,     first.low_edge(), second.high_edge(), first.cell(columns),
                second.cell(rows), weight_1, weight_2};
    }
};

template <class T>
Plane plane_of(const Codebook<T>& state)
{
    return {extent_of(state, 0), extent_of(state, 1), static_cast<float>(state.weights[0]),
            static_cast<float>(state.weights[1])};
}

// Weighted squares of a codeword's distances from the borders of a cell, and whether it lies between them.
struct Borders {
    float left, right, top, bottom;
    bool in_column, in_row;

    // Without margins the distances' extremes follow from the borders'; those with margins lie within a millionth.
    float nearest() const
    {
        const float beside = std::min(left, right), above = std::min(top, bottom);
        if (in_column) return in_row ? std::min(beside, above) : above;
        return in_row ? beside : beside + above;
    }
    float farthest() const { return std::max(left, right) + std::max(top, bottom); }
};

Borders borders_of(const Grid& grid, int32_t column, int32_t row, float x, float y)
{
    const float e1 = x - grid.low_edge - static_cast<float>(column) * grid.cell_width;
    const float e2 = x - grid.low_edge - static_cast<float>(column + 1) * grid.cell_width;
    const float f1 = y - grid.high_edge + static_cast<float>(row) * grid.cell_height;
    const float f2 = y - grid.high_edge + static_cast<float>(row + 1) * grid.cell_height;
    return {e1 * e1 * grid.weight_1, e2 * e2 * grid.weight_1, f1 * f1 * grid.weight_2,
            f2 * f2 * grid.weight_2, e1 >= 0 && e2 <= 0,      f1 <= 0 && f2 >= 0};
}

// The least and the greatest distance by the comparisons with a margin.
struct Range {
    float near = kLargest, far = 0;

    void add(float distance)
    {
        if (Own_Correct_Less_32f(distance, near)) near = distance;
        if (Own_Correct_Greater_32f(distance, far)) far = distance;
    }
};

// Of a codeword's distances from the corners of a cell, and from the borders where it lies between two of them. A
// codeword inside the cell is as near as its nearest border.
Range OwnFindMinMaxDist(const Borders& b)
{
    Range range;
    for (const float e : {b.left, b.right})
        for (const float f : {b.top, b.bottom}) range.add(e + f);
    if (b.in_column)
        for (const float f : {b.top, b.bottom}) range.add(f);
    if (b.in_row)
        for (const float e : {b.left, b.right}) range.add(e);
    return range;
}

// f(i) for every codeword that can be nearest to a value in the cell: those whose near distance is not above the
// least far distance of all. The comparisons with margins are made where those without leave it open. The near
// distances go through the workspace.
template <class T, class F>
void for_each_candidate(const Codebook<T>& state, const Grid& grid, int32_t column, int32_t row, const F& f)
{
    const auto borders = [&](int32_t i) {
        return borders_of(grid, column, row, coordinate(state, i, 0), coordinate(state, i, 1));
    };
    float* nearest = state.workspace;
    float bound = kLargest;
    for (int32_t i = 0; i < state.count; ++i) {
        const Borders b = borders(i);
        nearest[i] = b.nearest();
        if (!(b.farthest() > bound * 1.001F)) bound = std::min(bound, OwnFindMinMaxDist(b).far);
    }
    const float surely = bound * 0.999F, at_best = bound * 1.001F;
    for (int32_t i = 0; i < state.count; ++i)
        if (!(nearest[i] > at_best) &&
            (nearest[i] <= surely || at_most(OwnFindMinMaxDist(borders(i)).near, bound)))
            f(i);
}

template <class T>
int64_t candidates_of(const Codebook<T>& state, const Grid& grid)
{
    int64_t candidates = 0;
    for (int32_t row = 0; row < grid.rows; ++row)
        for (int32_t column = 0; column < grid.columns; ++column)
            for_each_candidate(state, grid, column, row, [&](int32_t) { ++candidates; });
    return candidates;
}

// The mean length of a list.
template <class T>
float score(const Codebook<T>& state, const Plane& plane, int32_t columns, int32_t rows)
{
    if (Own_Correct_Equ_32f(plane.first.low, plane.first.high) ||
        Own_Correct_Equ_32f(plane.second.low, plane.second.high))
        return kLargest;
    const int64_t candidates = candidates_of(state, plane.grid(columns, rows));
    return static_cast<float>(candidates) / static_cast<float>(columns * rows);
}

// From 4 by 4 on, one more row or one more column, whichever shortens the lists more, while it gains enough.
template <class T>
float choose_grid(const Codebook<T>& state, const Plane& plane, int32_t* columns, int32_t* rows)
{
    *columns = *rows = kFewestCells;
    float best = score(state, plane, *columns, *rows);
    for (;;) {
        const float taller = score(state, plane, *columns, *rows + 1);
        const float wider = score(state, plane, *columns + 1, *rows);
        const bool grows_taller = Own_Correct_Less_32f(taller, wider);
        const float next = grows_taller ? taller : wider;
        if (!gains_enough<T>(best, next)) return best;
        best = next;
        ++*(grows_taller ? rows : columns);
    }
}

using SquareBlock = FieldBlock<SrCdbkSquareField>;

// The lists around the grid are unions of inner ones, in ascending order.
class Ring {
  public:
    Ring(SquareBlock& block, const Grid& grid, int32_t count, uint8_t* marks)
        : block_(block), grid_(grid), count_(count), marks_(marks)
    {}

    // Corners see the nearest inner column and the nearest inner row; edges, which share one list, either of them.
    void fill()
    {
        const int32_t columns = grid_.columns, rows = grid_.rows;
        corner(0, 0, 1, 1);
        corner(0, columns + 1, columns, 1);
        corner(rows + 1, 0, 1, rows);
        corner(rows + 1, columns + 1, columns, rows);
        for (const int32_t edge : {0, rows + 1}) {
            mark_row(edge == 0 ? 1 : rows);
            add_marked(position(edge, 1));
            for (int32_t c = 2; c <= columns; ++c) block_.share_list(position(edge, 1), position(edge, c));
        }
        for (const int32_t edge : {0, columns + 1}) {
            mark_column(edge == 0 ? 1 : columns);
            add_marked(position(1, edge));
            for (int32_t r = 2; r <= rows; ++r) block_.share_list(position(1, edge), position(r, edge));
        }
    }

  private:
    int32_t position(int32_t row, int32_t column) const { return row * (grid_.columns + 2) + column; }
    void mark(int32_t list)
    {
        for (int32_t n = 0; n < block_.lengths[list]; ++n) marks_[block_.lists[list][n]] = 1;
    }
    void mark_row(int32_t row)
    {
        for (int32_t c = 1; c <= grid_.columns; ++c) mark(position(row, c));
    }
    void mark_column(int32_t column)
    {
        for (int32_t r = 1; r <= grid_.rows; ++r) mark(position(r, column));
    }
    void add_marked(int32_t list)
    {
        block_.begin_list(list);
        for (int32_t i = 0; i < count_; ++i)
            if (marks_[i] != 0) block_.add(i);
        std::memset(marks_, 0, static_cast<std::size_t>(count_));
    }
    void corner(int32_t row, int32_t column, int32_t inner_column, int32_t inner_row)
    {
        mark_column(inner_column);
        mark_row(inner_row);
        add_marked(position(row, column));
    }

    SquareBlock& block_;
    const Grid& grid_;
    int32_t count_;
    uint8_t* marks_;  // of the codewords, all clear between two lists
};

template <class T>
void OwnFillSquareField(const Codebook<T>& state, const Grid& grid, SquareBlock& block, uint8_t* marks)
{
    for (int32_t row = 0; row < grid.rows; ++row)
        for (int32_t column = 0; column < grid.columns; ++column) {
            block.begin_list((row + 1) * (grid.columns + 2) + column + 1);
            for_each_candidate(state, grid, column, row, [&](int32_t i) { block.add(i); });
        }
    std::memset(marks, 0, static_cast<std::size_t>(state.count));
    Ring(block, grid, state.count, marks).fill();
}

}  // namespace

template <class T>
SrStatus OwnSquaredField(Codebook<T>& state)
{
    constexpr int32_t ring_lists = 8;
    const Plane plane = plane_of(state);
    int32_t columns, rows;
    const float best = choose_grid(state, plane, &columns, &rows);
    if (!at_most(best, static_cast<float>(state.count) / 10)) return SrOk;

    const Grid grid = plane.grid(columns, rows);
    SquareBlock block{(columns + 2) * (rows + 2), candidates_of(state, grid) + ring_lists * int64_t{state.count}};
    const Scratch<uint8_t> marks(state.count);
    state.field = allocate_parts(block);
    if (state.field == nullptr || !marks) return SrErrMemAlloc;
    *block.field = {columns,       rows,           grid.cell_width,         grid.cell_height,
                    grid.low_edge, grid.high_edge, plane.first.high_edge(), plane.second.low_edge(),
                    block.lists,   block.lengths};
    OwnFillSquareField(state, grid, block, marks.data());
    state.flags |= kHasField;
    return SrOk;
}

template SrStatus OwnSquaredField(Codebook<float>&);
template SrStatus OwnSquaredField(Codebook<int16_t>&);

}  // namespace zelsr::vq
