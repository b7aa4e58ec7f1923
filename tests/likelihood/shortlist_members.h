// The functions on tables of bits: their calls in one form, and random problems for them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/operation.h"
#include "support/reference/select.h"
#include "zelsr/likelihood/select.h"

namespace zelsr::test::shortlist {

using reference::Bytes;
using reference::bytes_of;
using reference::Groups;

// groups: output rows, rows or columns that have indices of their own; places: what else is counted. Rows are read
// by members that build a table, written by members that fill one.
struct Arguments {
    const int32_t* index;
    int32_t count;          // indices of each group
    const int32_t* counts;  // the same, one by one, in Var members
    uint8_t* const* rows;
    int32_t rows_count;
    int32_t row_bytes;
    int32_t offset;
    int32_t width;    // bits
    uint8_t* result;  // Build members
    int32_t height;   // Build members: rows of the result

    const uint8_t* const* table() const { return rows; }
};

struct Build {
    static constexpr bool kVar = false;
    template <class How = Direct>
    static SrStatus call(const Arguments& a, How how = {})
    {
        return how(zelsBuildSignTable_8u1u, a.index, a.count, a.table(), a.rows_count, a.row_bytes, a.offset,
                   a.result, a.height, a.width);
    }
};
struct BuildVar {
    static constexpr bool kVar = true;
    template <class How = Direct>
    static SrStatus call(const Arguments& a, How how = {})
    {
        return how(zelsBuildSignTable_Var_8u1u, a.index, a.counts, a.table(), a.rows_count, a.row_bytes, a.offset,
                   a.result, a.height, a.width);
    }
};

struct Row {
    static constexpr bool kVar = false, kColumns = false;
    template <class How = Direct>
    static SrStatus call(const Arguments& a, How how = {})
    {
        return how(zelsFillShortlist_Row_1u, a.index, a.width, a.count, a.rows, a.rows_count, a.row_bytes,
                   a.offset);
    }
};
struct RowVar {
    static constexpr bool kVar = true, kColumns = false;
    template <class How = Direct>
    static SrStatus call(const Arguments& a, How how = {})
    {
        return how(zelsFillShortlist_RowVar_1u, a.index, a.counts, a.width, a.rows, a.rows_count, a.row_bytes,
                   a.offset);
    }
};
struct Column {
    static constexpr bool kVar = false, kColumns = true;
    template <class How = Direct>
    static SrStatus call(const Arguments& a, How how = {})
    {
        return how(zelsFillShortlist_Column_1u, a.index, a.count, a.rows, a.rows_count, a.row_bytes, a.offset,
                   a.width);
    }
};
struct ColumnVar {
    static constexpr bool kVar = true, kColumns = true;
    template <class How = Direct>
    static SrStatus call(const Arguments& a, How how = {})
    {
        return how(zelsFillShortlist_ColumnVar_1u, a.index, a.counts, a.rows, a.rows_count, a.row_bytes, a.offset,
                   a.width);
    }
};

// Indices from 0 to below limit in groups: all of one size, or of sizes 1 to 4.
inline Groups random_groups(int groups, bool var, int limit)
{
    Groups all;
    const int size = uniform(1, 4);
    for (int g = 0; g < groups; ++g)
        all.push_back(uniform_vector<int32_t>(var ? uniform(1, 4) : size, 0, limit - 1));
    return all;
}

inline std::vector<int32_t> joined(const Groups& groups)
{
    std::vector<int32_t> list;
    for (const auto& group : groups) list.insert(list.end(), group.begin(), group.end());
    return list;
}

inline std::vector<int32_t> sizes(const Groups& groups)
{
    std::vector<int32_t> counts;
    for (const auto& group : groups) counts.push_back(static_cast<int32_t>(group.size()));
    return counts;
}

// density: of 256 bits how many are set.
inline Bytes random_bits(std::size_t bytes, int density)
{
    Bytes row(bytes, 0);
    for (int b = 0; b < static_cast<int>(8 * bytes); ++b)
        if (uniform(0, 255) < density) reference::set_bit(row.data(), b);
    return row;
}

inline std::vector<Bytes> random_rows(int count, std::size_t bytes, int density)
{
    std::vector<Bytes> rows;
    for (int r = 0; r < count; ++r) rows.push_back(random_bits(bytes, density));
    return rows;
}

template <std::size_t N>
Bytes bytes(const uint8_t (&array)[N])
{
    return Bytes(array, array + N);
}

// Ends on the forbidden page, or begins at the other one.
inline Placement flush(Edge edge, std::size_t bytes)
{
    return edge == Edge::Back ? Placement{static_cast<int>((16 - bytes % 16) % 16), edge} : Placement{0, edge};
}

// Rows of one length, each flush with a forbidden page: even ones behind, odd ones before, or the other way round.
class Rows {
  public:
    Rows(const std::vector<Bytes>& rows, bool even_behind)
    {
        for (std::size_t r = 0; r < rows.size(); ++r) {
            const Edge edge = (r % 2 == 0) == even_behind ? Edge::Back : Edge::Front;
            arrays_.push_back(new Guarded<uint8_t>(rows[r], flush(edge, rows[r].size())));
            list_.push_back(arrays_.back()->data());
        }
    }
    ~Rows()
    {
        for (auto* array : arrays_) delete array;
    }
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    uint8_t* const* list() const { return list_.data(); }
    int32_t count() const { return static_cast<int32_t>(list_.size()); }
    std::vector<Bytes> values() const
    {
        std::vector<Bytes> all;
        for (const auto* array : arrays_) all.push_back(array->values());
        return all;
    }
    std::vector<GuardedBytes*> outputs() const { return {arrays_.begin(), arrays_.end()}; }
    bool intact() const
    {
        return std::all_of(arrays_.begin(), arrays_.end(), [](const auto* array) { return array->intact(); });
    }

  private:
    std::vector<Guarded<uint8_t>*> arrays_;
    std::vector<uint8_t*> list_;
};

// A list of indices, flush with the forbidden page behind it.
inline Placement behind(const std::vector<int32_t>& list)
{
    return flush(Edge::Back, list.size() * sizeof(int32_t));
}

inline testing::AssertionResult same_rows(const std::vector<Bytes>& expected, const std::vector<Bytes>& actual)
{
    for (std::size_t r = 0; r < expected.size(); ++r)
        if (auto same = same_values(expected[r], actual[r]); !same)
            return testing::AssertionFailure() << "row " << r << ": " << same.message();
    return testing::AssertionSuccess();
}

// Windows of up to 15 bits in rows of at least 4 bytes.
template <class M>
void expect_row_length_bound(const Arguments& good)
{
    for (int offset = 0; offset <= 17; ++offset)
        for (int width = 1; width <= 15; ++width) {
            Arguments a = good;
            a.offset = offset;
            a.width = width;
            a.row_bytes = static_cast<int32_t>(bytes_of(offset + width));
            EXPECT_EQ(M::call(a), SrOk) << "offset " << offset << ", width " << width;
            if (--a.row_bytes == 0) continue;
            EXPECT_EQ(M::call(a), SrErrStride) << "offset " << offset << ", width " << width;
        }
    Arguments a = good;  // three bytes hold 24 bits
    a.row_bytes = 3;
    a.width = 15;
    a.offset = 9;
    EXPECT_EQ(M::call(a), SrOk);
    a.offset = 10;
    EXPECT_EQ(M::call(a), SrErrStride);
    for (int32_t offset : {INT_MAX, INT_MAX - 1, INT_MAX - 6, INT_MAX - 7, INT_MAX - 14}) {
        a.offset = offset;
        EXPECT_EQ(M::call(a), SrErrStride) << "offset " << offset;
    }
}

#ifdef __i386__
template <class M>
void expect_any_stack(const Arguments& a)
{
    for (int misalign : {0, 4, 8, 12}) EXPECT_EQ(M::call(a, OnOddStack{misalign}), SrOk) << misalign;
}

#endif

}  // namespace zelsr::test::shortlist
