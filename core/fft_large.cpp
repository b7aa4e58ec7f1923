#include "core/fft_large.h"

#include <array>

namespace zelsr::fft {
namespace {

// Bit reversal by tiles: of an index's bits, the first and the last kTileBits number a value inside a tile.
constexpr int32_t kTileBits = 5;
constexpr std::size_t kTile = std::size_t{1} << kTileBits;

constexpr auto kReversed = [] {
    std::array<std::uint8_t, kTile> table{};
    for (std::size_t i = 0; i < kTile; ++i)
        for (std::size_t bit = 1; bit < kTile; bit *= 2)
            table[i] = static_cast<std::uint8_t>(2 * table[i] + ((i & bit) != 0));
    return table;
}();

struct Tile {
    float* values;

    // Rows of kTile neighbours into their reversed places.
    void read(const float* array, std::size_t row_step) const
    {
        for (std::size_t row = 0; row < kTile; ++row, array += row_step) {
            float* to = values + 2 * std::size_t{kReversed[row]};
            for (std::size_t c = 0; c < kTile; c += 2) {
                const __m128 pair = Unaligned::four(array + 2 * c);
                _mm_storel_pi(reinterpret_cast<__m64*>(to + 2 * kTile * kReversed[c]), pair);
                _mm_storeh_pi(reinterpret_cast<__m64*>(to + 2 * kTile * kReversed[c + 1]), pair);
            }
        }
    }
    void write(float* array, std::size_t row_step) const
    {
        const float* from = values;
        for (std::size_t row = 0; row < kTile; ++row, array += row_step, from += 2 * kTile)
            for (std::size_t c = 0; c < 2 * kTile; c += 4) Unaligned::put(array + c, Aligned::four(from + c));
    }
};

// src to dst in bit-reversed order. A tile and the one that it changes places with go together, so that src may
// be dst.
void reverse_bits(const float* src, float* dst, int32_t m, float* work)
{
    const std::size_t tiles = std::size_t{1} << (m - 2 * kTileBits), row_step = std::size_t{2} << (m - kTileBits);
    const Tile here{work}, there{work + 2 * kTile * kTile};
    for (std::size_t tile = 0, reversed = 0; tile < tiles; ++tile) {
        if (tile <= reversed) {
            here.read(src + 2 * kTile * tile, row_step);
            there.read(src + 2 * kTile * reversed, row_step);
            here.write(dst + 2 * kTile * reversed, row_step);
            there.write(dst + 2 * kTile * tile, row_step);
        }
        std::size_t bit = tiles / 2;
        for (; (reversed & bit) != 0; bit >>= 1) reversed ^= bit;
        reversed |= bit;
    }
}

inline Complex4 splat(const float* value) { return {_mm_set1_ps(value[0]), _mm_set1_ps(value[1])}; }

// A group of columns in the work memory: rows of blocks.
struct Group {
    float* rows;
    std::size_t row_step;  // in floats
    std::size_t row_count;
};

// Where a stage leaves its rows: in the group, or back in the array.
struct InGroup {
    Group group;
    void put(std::size_t row, std::size_t column, Complex4 z) const
    {
        store_block(group.rows + row * group.row_step + column, z);
    }
};
template <Direction D>
struct IntoArray {
    float* array;
    std::size_t row_step;
    void put(std::size_t row, std::size_t column, Complex4 z) const
    {
        store_interleaved<D>(array + row * row_step + column, z);
    }
};

template <class Sink>
inline void put4(const Sink& sink, std::size_t row, std::size_t step, std::size_t column, Complex4 x0, Complex4 x2,
                 Complex4 x1, Complex4 x3)
{
    const Complex4 sum02 = x0 + x2, diff02 = x0 - x2, sum13 = x1 + x3, diff13 = x1 - x3;
    sink.put(row, column, sum02 + sum13);
    sink.put(row + step, column, minus_i(diff02, diff13));
    sink.put(row + 2 * step, column, sum02 - sum13);
    sink.put(row + 3 * step, column, plus_i(diff02, diff13));
}

// Gathers the group's columns, turns each value (row r, column j) by W^rj and joins the rows by four.
// twiddles: W^rt, t the column inside the group; first: W^rj of the group's first column.
template <Direction D>
void gather(const float* array, std::size_t array_step, Group group, const float* twiddles, const float* first)
{
    const InGroup sink{group};
    for (std::size_t row = 0; row < group.row_count; row += 4, first += 8) {
        const float* from = array + row * array_step;
        const float* turn = twiddles + row * group.row_step;
        for (std::size_t column = 0; column < group.row_step; column += 8, from += 8, turn += 8) {
            Complex4 x[4];
            for (std::size_t i = 0; i < 4; ++i)
                x[i] = load_interleaved<D>(from + i * array_step) *
                       (load_block(turn + i * group.row_step) * splat(first + 2 * i));
            put4(sink, row, 1, column, x[0], x[1], x[2], x[3]);
        }
    }
}

// Joins, in each column, four neighbouring sub-transforms of sub rows. row_twiddles: exp(-2 pi i j / 256).
template <class Sink>
void join_rows4(Group group, std::size_t sub, const float* row_twiddles, Sink sink)
{
    const std::size_t unit = 2 * kRowTwiddles / (4 * sub), step = sub * group.row_step;
    for (std::size_t j = 0; j < sub; ++j) {
        const Complex4 w1 = splat(row_twiddles + unit * j), w2 = splat(row_twiddles + 2 * unit * j),
                       w3 = splat(row_twiddles + 3 * unit * j);
        for (std::size_t row = j; row < group.row_count; row += 4 * sub) {
            const float* p = group.rows + row * group.row_step;
            for (std::size_t column = 0; column < group.row_step; column += 8, p += 8)
                put4(sink, row, sub, column, load_block(p), load_block(p + step) * w2,
                     load_block(p + 2 * step) * w1, load_block(p + 3 * step) * w3);
        }
    }
}

// The same for two: the rows' upper and lower half.
template <class Sink>
void join_rows2(Group group, const float* row_twiddles, Sink sink)
{
    const std::size_t sub = group.row_count / 2, unit = 2 * kRowTwiddles / group.row_count;
    for (std::size_t row = 0; row < sub; ++row) {
        const Complex4 w = splat(row_twiddles + unit * row);
        const float* p = group.rows + row * group.row_step;
        for (std::size_t column = 0; column < group.row_step; column += 8, p += 8) {
            const Complex4 even = load_block(p), odd = load_block(p + sub * group.row_step) * w;
            sink.put(row, column, even + odd);
            sink.put(row + sub, column, even - odd);
        }
    }
}

template <Direction D>
void transform_columns(float* data, int32_t m, const float* twiddles, const float* row_twiddles, float* work)
{
    const Split split = split_of(m);
    const std::size_t rows = std::size_t{1} << split.rows, array_step = std::size_t{2} << (m - split.rows);
    const Group group{work, std::size_t{2} << split.columns(), rows};
    const float* first = twiddles + rows * group.row_step;
    for (std::size_t column = 0; column < array_step; column += group.row_step, first += 2 * rows) {
        gather<D>(data + column, array_step, group, twiddles, first);
        const IntoArray<D> sink{data + column, array_step};
        std::size_t sub = 4;
        for (; 4 * sub < rows; sub *= 4) join_rows4(group, sub, row_twiddles, InGroup{group});
        if (4 * sub == rows)
            join_rows4(group, sub, row_twiddles, sink);
        else
            join_rows2(group, row_twiddles, sink);
    }
}

// data in bit-reversed order to data in order. Sub-transforms that are still too long take a level of their own.
// The factor is applied by the innermost, so that the column stages of a scaled transform meet smaller values.
template <Direction D, int Level>
void transform_level(float* data, int32_t m, const ZelFFTState_R_32f& record, float* work, float factor)
{
    const Split split = split_of(m);
    const int32_t sub_order = m - split.rows;
    const std::size_t rows = std::size_t{1} << split.rows, array_step = std::size_t{2} << sub_order;
    for (std::size_t row = 0; row < rows; ++row) {
        float* sub = data + row * array_step;
        if (sub_order <= kMaxSingleLevel)
            transform_reversed<D>(sub, work, Plan{sub_order, nullptr, record.twiddles}, factor);
        else if constexpr (Level + 1 < kMaxLevels)
            transform_level<D, Level + 1>(sub, sub_order, record, work, factor);
    }
    transform_columns<D>(data, m, record.column_twiddles[Level], record.row_twiddles, work);
}

}  // namespace

template <Direction D>
void transform_large(const float* src, float* dst, const ZelFFTState_R_32f& record, float* work, float factor)
{
    const int32_t m = record.order - 1;
    reverse_bits(src, dst, m, work);
    transform_level<D, 0>(dst, m, record, work, factor);
}
template void transform_large<Direction::Forward>(const float*, float*, const ZelFFTState_R_32f&, float*, float);
template void transform_large<Direction::Inverse>(const float*, float*, const ZelFFTState_R_32f&, float*, float);

}  // namespace zelsr::fft
