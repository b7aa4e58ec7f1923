// The table of a one-dimensional codebook.
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "vq/field.h"

namespace zelsr::vq {
namespace {

constexpr int32_t kFewestCells = 4;

struct Grid {
    int32_t cells;
    float low_edge, cell_width;
};

Grid grid_of(const Extent& extent, int32_t cells) { return {cells, extent.low_edge(), extent.cell(cells)}; }

// The cell of a value, by truncation; values beyond the last cell, and what is not a number, are in cell `cells`.
int32_t cell_of(const Grid& grid, float value, double lift)
{
    const double place = static_cast<double>((value - grid.low_edge) / grid.cell_width) + lift;
    return place < grid.cells ? static_cast<int32_t>(place) : grid.cells;
}

// The mean length of a list, counting every codeword twice, where no cell is empty. A grid has so few cells that
// their marks fit into a word: one more than 20 gains less than a twentieth.
template <class T>
float score(const Codebook<T>& state, const Extent& extent, int32_t cells)
{
    if (extent.span() < 0.00001) return kLargest;
    const Grid grid = grid_of(extent, cells);
    uint64_t marks = 0;
    for (int32_t i = 0; i < state.count; ++i) marks |= uint64_t{1} << cell_of(grid, coordinate(state, i, 0), 0);
    const uint64_t all = (uint64_t{1} << cells) - 1;
    if ((marks & all) != all) return kLargest;
    return static_cast<float>(int64_t{state.count} + state.count) / static_cast<float>(cells);
}

// The codeword outside a cell that lies nearest to its border on that side, the first of equal ones.
class Neighbour {
  public:
    explicit Neighbour(float border) : border_(border) {}
    void consider(int32_t index, float value)
    {
        const float distance = std::fabs(value - border_);
        if (index_ >= 0 && !(distance < least_)) return;
        least_ = distance;
        index_ = index;
    }
    void add_to(FieldBlock<SrCdbkLinearField>& block) const
    {
        if (index_ >= 0) block.add(index_);
    }

  private:
    float border_, least_ = 0;
    int32_t index_ = -1;
};

// In 16 bits a codeword's cell is lifted by a thousandth of a cell when lists are filled, not when grids are
// tried: wanted.
template <class T>
void OwnFillLinearField(const Codebook<T>& state, const Grid& grid, FieldBlock<SrCdbkLinearField>& block)
{
    constexpr double lift = std::is_same_v<T, float> ? 0 : 0.001;
    for (int32_t c = 0; c < grid.cells; ++c) {
        Neighbour lower(grid.low_edge + grid.cell_width * static_cast<float>(c));
        Neighbour upper(grid.low_edge + grid.cell_width * static_cast<float>(c + 1));
        block.begin_list(c + 1);
        for (int32_t i = 0; i < state.count; ++i) {
            const float value = coordinate(state, i, 0);
            const int32_t cell = cell_of(grid, value, lift);
            if (cell == c) block.add(i);
            if (cell < c) lower.consider(i, value);
            if (cell > c) upper.consider(i, value);
        }
        if (c > 0) lower.add_to(block);
        if (c < grid.cells - 1) upper.add_to(block);
    }
    block.share_list(1, 0);
    block.share_list(grid.cells, grid.cells + 1);
}

}  // namespace

template <class T>
SrStatus OwnLinearField(Codebook<T>& state)
{
    const Extent extent = extent_of(state, 0);
    int32_t cells = kFewestCells;
    float best = score(state, extent, cells);
    for (float next; gains_enough<T>(best, next = score(state, extent, cells + 1)); best = next) ++cells;
    if (!at_most(best, static_cast<float>(state.count) / 5)) return SrOk;

    const Grid grid = grid_of(extent, cells);
    FieldBlock<SrCdbkLinearField> block{cells + 2, state.count + 2 * int64_t{cells}};
    state.field = allocate_parts(block);
    if (state.field == nullptr) return SrErrMemAlloc;
    *block.field = {cells, grid.cell_width, grid.low_edge, extent.high_edge(), block.lists, block.lengths};
    OwnFillLinearField(state, grid, block);
    state.flags |= kHasField;
    return SrOk;
}

template SrStatus OwnLinearField(Codebook<float>&);
template SrStatus OwnLinearField(Codebook<int16_t>&);

}  // namespace zelsr::vq
