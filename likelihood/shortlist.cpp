// The bit tables of Gaussian selection: shortlists, filled by inverting bits, and sign tables, the unions of rows.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "core/contract.h"
#include "core/simd.h"
#include "zelsr/likelihood/select.h"

namespace zelsr {
namespace {

// How many indices each group of a list has; total(n) is the number of indices of the first n groups.
struct EqualGroups {
    int32_t count;

    int32_t operator[](int32_t) const { return count; }
    int64_t total(int32_t groups) const { return int64_t{count} * groups; }
};
struct CountedGroups {
    const int32_t* counts;

    int32_t operator[](int32_t group) const { return load_one(counts + group); }
    int64_t total(int32_t groups) const
    {
        int64_t sum = 0;
        for (int32_t g = 0; g < groups; ++g) sum += (*this)[g];
        return sum;
    }
};

// Checks.

SrStatus not_negative(int32_t offset) { return require(offset >= 0, SrErrSize); }

SrStatus bits_fit(int32_t offset, int32_t width, int32_t row_bytes)
{
    return require(row_bytes >= (int64_t{offset} + width + 7) / 8, SrErrStride);
}

auto positive_each(const int32_t* counts, int32_t groups)
{
    return [=] {
        for (int32_t g = 0; g < groups; ++g)
            if (load_one(counts + g) < 1) return SrStatus{SrErrSize};
        return SrStatus{SrOk};
    };
}

// All indices of the groups from 0 to bound - 1; none is read behind the first that is not.
template <class Groups>
auto indices_below(int32_t bound, const int32_t* indices, Groups groups, int32_t group_count)
{
    return [=] {
        const int32_t* index = indices;
        for (int64_t left = groups.total(group_count); left > 0; --left, ++index)
            if (static_cast<uint32_t>(load_one(index)) >= static_cast<uint32_t>(bound))
                return SrStatus{SrErrBadArg};
        return SrStatus{SrOk};
    };
}

// Shortlists. Bits are inverted, not set, so that an index that stands twice cancels itself: wanted.

void invert_bit(uint8_t* row, uint32_t bit)
{
    row[bit / 8] = static_cast<uint8_t>(row[bit / 8] ^ (128U >> bit % 8));
}

// A bit's position: the sum may pass the range of a signed integer.
uint32_t position(int32_t offset, int32_t bit)
{
    return static_cast<uint32_t>(offset) + static_cast<uint32_t>(bit);
}

template <class Groups>
void invert_in_rows(const int32_t* indices, Groups groups, uint8_t* const* rows, int32_t height, int32_t offset)
{
    for (int32_t r = 0; r < height; ++r)
        for (int32_t left = groups[r]; left > 0; --left, ++indices)
            invert_bit(rows[r], position(offset, load_one(indices)));
}

template <class Groups>
void invert_in_columns(const int32_t* indices, Groups groups, uint8_t* const* rows, int32_t offset, int32_t width)
{
    for (int32_t c = 0; c < width; ++c)
        for (int32_t left = groups[c]; left > 0; --left, ++indices)
            invert_bit(rows[load_one(indices)], position(offset, c));
}

// Sign tables.

// Where the used bits of a table row lie: their bytes; shift: the bits of the first byte before them.
struct UsedBits {
    std::size_t first_byte;
    std::size_t bytes;
    int shift;
    std::size_t width;

    UsedBits(int32_t offset, int32_t count)
        : first_byte(static_cast<std::size_t>(offset) / 8),
          bytes((static_cast<std::size_t>(offset) % 8 + static_cast<std::size_t>(count) + 7) / 8),
          shift(offset % 8),
          width(static_cast<std::size_t>(count))
    {}
    // The masks of the first and of the last byte.
    unsigned first_mask() const { return 0xffU >> shift; }
    unsigned last_mask() const { return mask_of_last(static_cast<std::size_t>(shift) + width); }
    static unsigned mask_of_last(std::size_t bits) { return 0xff00U >> ((bits - 1) % 8 + 1); }
};

// One row of the union. Whole bytes are united first, and what is shifted is the union.
void unite_rows(const int32_t* indices, int32_t count, const uint8_t* const* table, UsedBits used, uint8_t* dst)
{
    constexpr std::size_t kTogether = 64;
    const std::size_t row_bytes = (used.width + 7) / 8;
    for (std::size_t done = 0; done < row_bytes; done += kTogether) {
        uint8_t united[kTogether + 1] = {};
        const std::size_t taken = std::min(used.bytes - done, kTogether + 1);
        for (int32_t i = 0; i < count; ++i) {
            const uint8_t* row = table[load_one(indices + i)] + used.first_byte + done;
            for (std::size_t b = 0; b < taken; ++b) united[b] = static_cast<uint8_t>(united[b] | row[b]);
        }
        const std::size_t written = std::min(row_bytes - done, kTogether);
        for (std::size_t b = 0; b < written; ++b)
            dst[done + b] = static_cast<uint8_t>((united[b] << used.shift) | (united[b + 1] >> (8 - used.shift)));
    }
    dst[row_bytes - 1] = static_cast<uint8_t>(dst[row_bytes - 1] & UsedBits::mask_of_last(used.width));
}

void build_sign_table(const int32_t* indices, int32_t count, const uint8_t* const* table, UsedBits used,
                      uint8_t* dst, int32_t height)
{
    for (int32_t r = 0; r < height; ++r, indices += count, dst += (used.width + 7) / 8)
        unite_rows(indices, count, table, used, dst);
}

bool any_bit(const uint8_t* row, UsedBits used)
{
    row += used.first_byte;
    if (used.bytes == 1) return (row[0] & used.first_mask() & used.last_mask()) != 0;
    unsigned bits = (row[0] & used.first_mask()) | (row[used.bytes - 1] & used.last_mask());
    for (std::size_t b = 1; b + 1 < used.bytes; ++b) bits |= row[b];
    return bits != 0;
}

// The number of indices that stand before the first whose row has a used bit, at most count.
int32_t empty_at_start(const int32_t* indices, int32_t count, const uint8_t* const* table, UsedBits used)
{
    int32_t empty = 0;
    while (empty < count && !any_bit(table[load_one(indices + empty)], used)) ++empty;
    return empty;
}

// Every group starts at the start of the list, and whatever column has a bit, the first one receives it: wanted.
void build_first_bits(const int32_t* indices, const int32_t* counts, const uint8_t* const* table, UsedBits used,
                      uint8_t* dst, int32_t height)
{
    int32_t longest = 0;
    for (int32_t r = 0; r < height; ++r) longest = std::max(longest, load_one(counts + r));
    const int32_t empty = empty_at_start(indices, longest, table, used);
    const std::size_t row_bytes = (used.width + 7) / 8;
    for (int32_t r = 0; r < height; ++r, dst += row_bytes) {
        std::memset(dst, 0, row_bytes);
        if (load_one(counts + r) > empty) dst[0] = 128;
    }
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsFillShortlist_Row_1u(const int32_t* indices, int32_t width, int32_t count, uint8_t* const* rows,
                                  int32_t height, int32_t row_bytes, int32_t offset)
{
    const EqualGroups groups{count};
    if (SrStatus failed =
            first_failure(non_null(indices, rows), positive(height, width, row_bytes, count), not_negative(offset),
                          bits_fit(offset, width, row_bytes), indices_below(width, indices, groups, height)))
        return failed;
    invert_in_rows(indices, groups, rows, height, offset);
    return SrOk;
}

// The counts before the stride: the order of this function alone.
SrStatus zelsFillShortlist_RowVar_1u(const int32_t* indices, const int32_t* counts, int32_t width,
                                     uint8_t* const* rows, int32_t height, int32_t row_bytes, int32_t offset)
{
    const CountedGroups groups{counts};
    if (SrStatus failed =
            first_failure(non_null(indices, counts, rows), positive(height, width, row_bytes),
                          not_negative(offset), positive_each(counts, height), bits_fit(offset, width, row_bytes),
                          indices_below(width, indices, groups, height)))
        return failed;
    invert_in_rows(indices, groups, rows, height, offset);
    return SrOk;
}

SrStatus zelsFillShortlist_Column_1u(const int32_t* indices, int32_t count, uint8_t* const* rows, int32_t height,
                                     int32_t row_bytes, int32_t offset, int32_t width)
{
    const EqualGroups groups{count};
    if (SrStatus failed =
            first_failure(non_null(indices, rows), positive(height, width, row_bytes, count), not_negative(offset),
                          bits_fit(offset, width, row_bytes), indices_below(height, indices, groups, width)))
        return failed;
    invert_in_columns(indices, groups, rows, offset, width);
    return SrOk;
}

SrStatus zelsFillShortlist_ColumnVar_1u(const int32_t* indices, const int32_t* counts, uint8_t* const* rows,
                                        int32_t height, int32_t row_bytes, int32_t offset, int32_t width)
{
    const CountedGroups groups{counts};
    if (SrStatus failed =
            first_failure(non_null(indices, counts, rows), positive(height, width, row_bytes),
                          not_negative(offset), bits_fit(offset, width, row_bytes), positive_each(counts, width),
                          indices_below(height, indices, groups, width)))
        return failed;
    invert_in_columns(indices, groups, rows, offset, width);
    return SrOk;
}

SrStatus zelsBuildSignTable_8u1u(const int32_t* indices, int32_t count, const uint8_t* const* table,
                                 int32_t table_height, int32_t row_bytes, int32_t offset, uint8_t* dst,
                                 int32_t height, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(indices, table, dst), positive(count, table_height, row_bytes, width, height),
                          not_negative(offset), bits_fit(offset, width, row_bytes),
                          indices_below(table_height, indices, EqualGroups{count}, height)))
        return failed;
    build_sign_table(indices, count, table, UsedBits(offset, width), dst, height);
    return SrOk;
}

SrStatus zelsBuildSignTable_Var_8u1u(const int32_t* indices, const int32_t* counts, const uint8_t* const* table,
                                     int32_t table_height, int32_t row_bytes, int32_t offset, uint8_t* dst,
                                     int32_t height, int32_t width)
{
    if (SrStatus failed =
            first_failure(non_null(indices, counts, table, dst), positive(table_height, row_bytes, width, height),
                          not_negative(offset), bits_fit(offset, width, row_bytes), positive_each(counts, height),
                          indices_below(table_height, indices, CountedGroups{counts}, height)))
        return failed;
    build_first_bits(indices, counts, table, UsedBits(offset, width), dst, height);
    return SrOk;
}
