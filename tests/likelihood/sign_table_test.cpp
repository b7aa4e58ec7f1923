// Sign tables: uniting rows of bits.
#include <gtest/gtest.h>

#include <climits>

#include "likelihood/shortlist_members.h"
#include "support/bits.h"
#include "support/faults.h"

namespace zelsr::test::shortlist {
namespace {

using Builders = testing::Types<Build, BuildVar>;
struct BuilderNames {
    template <class M>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"Fixed", "Var"};
        return names[i];
    }
};

template <class M>
class BuildSignTable : public testing::Test {};
TYPED_TEST_SUITE(BuildSignTable, Builders, BuilderNames);

// One call with every array between guard pages: the status, the result's bits, everything else as before.
template <class M>
testing::AssertionResult builds(const Groups& groups, const std::vector<Bytes>& table, const Rows& rows,
                                int offset, int width, Placement place, Placement index_place,
                                Placement count_place)
{
    const std::vector<int32_t> list = joined(groups), counts = sizes(groups);
    const Guarded<int32_t> index(list, index_place), count(counts, count_place);
    const Guarded<uint8_t> result(groups.size() * bytes_of(width), place);
    const Arguments a{index.data(),  counts[0],
                      count.data(),  rows.list(),
                      rows.count(),  static_cast<int32_t>(table[0].size()),
                      offset,        width,
                      result.data(), static_cast<int32_t>(groups.size())};
    if (auto right = status_is(SrOk, M::call(a)); !right) return right;
    if (!result.intact() || !rows.intact())
        return testing::AssertionFailure() << "a byte beside an array was written";
    if (index.values() != list || count.values() != counts)
        return testing::AssertionFailure() << "the list or the counts were written";
    if (auto same = same_rows(table, rows.values()); !same)
        return testing::AssertionFailure() << "the table was written: " << same.message();
    return same_values(M::kVar ? reference::first_bit_table(groups, table, offset, width)
                               : reference::sign_table(groups, table, offset, width),
                       result.values());
}

template <class M>
testing::AssertionResult builds(const Groups& groups, const std::vector<Bytes>& table, const Rows& rows,
                                int offset, int width, Placement place)
{
    return builds<M>(groups, table, rows, offset, width, place, behind(joined(groups)), behind(sizes(groups)));
}

template <class M>
testing::AssertionResult builds(const Groups& groups, const std::vector<Bytes>& table, int offset, int width)
{
    return builds<M>(groups, table, Rows(table, true), offset, width, {});
}

// Sparse rows, so that the union of four is not full; with a bit before and a bit behind every window.
std::vector<Bytes> random_table(int count, std::size_t bytes) { return random_rows(count, bytes, 60); }

// Results of 1 to 8 rows: those from 5 bytes on, of 4 to 24 columns, from rows that are 32 bytes longer than the
// window needs may be united many bits at a time.
TYPED_TEST(BuildSignTable, EveryOffsetWidthAndRowLength)
{
    int places = 0;
    for (std::size_t needed = 1; needed <= 8; ++needed)
        for (std::size_t spare : {0u, 1u, 7u, 31u, 32u, 33u, 64u}) {
            const std::vector<Bytes> table = random_table(6, needed + spare);
            const Rows rows(table, spare % 2 == 0);
            for (int offset = 0; offset <= 17; ++offset)
                for (int width = 1; width <= 40; ++width) {
                    if (bytes_of(offset + width) != needed) continue;
                    if (thin_effort() && (offset + width + static_cast<int>(spare)) % 5 != 0) continue;
                    const int height = 1 + ++places % 8;
                    const Placement place{places % 16, places % 3 == 0 ? Edge::Front : Edge::Back};
                    ASSERT_TRUE(builds<TypeParam>(random_groups(height, TypeParam::kVar, 6), table, rows, offset,
                                                  width, place))
                        << "offset " << offset << ", width " << width << ", " << spare
                        << " bytes more than needed, " << height << " rows, result " << describe(place);
                }
        }
}

TYPED_TEST(BuildSignTable, EveryHeightAroundFiveBytesOfResult)
{
    for (int width : {1, 3, 4, 8, 9, 16, 17, 24, 25, 32, 33})
        for (int height = 1; height <= 9; ++height)
            for (std::size_t spare : {0u, 32u})
                for (int offset : {0, 5, 8}) {
                    const std::size_t needed = bytes_of(offset + width);
                    const std::vector<Bytes> table = random_table(5, needed + spare);
                    const Rows rows(table, height % 2 == 0);
                    const std::size_t bytes = static_cast<std::size_t>(height) * bytes_of(width);
                    for (Edge edge : {Edge::Front, Edge::Back})
                        ASSERT_TRUE(builds<TypeParam>(random_groups(height, TypeParam::kVar, 5), table, rows,
                                                      offset, width, flush(edge, bytes)))
                            << "offset " << offset << ", width " << width << ", " << height << " rows, " << spare
                            << " bytes more than needed";
                }
}

TYPED_TEST(BuildSignTable, LargeTables)
{
    for (int round = 0; round < (thin_effort() ? 3 : 20); ++round) {
        const int width = round % 2 == 0 ? uniform(4, 24) : uniform(25, 700), offset = uniform(0, 1000);
        const std::size_t spare = round % 4 < 2 ? 0 : 32;
        const std::vector<Bytes> table =
            random_rows(100, bytes_of(offset + width) + spare, round % 3 == 0 ? 2 : 20);
        Groups groups(static_cast<std::size_t>(uniform(1, 60)));
        const int size = uniform(1, 30);
        for (auto& group : groups) group = uniform_vector<int32_t>(TypeParam::kVar ? uniform(1, 30) : size, 0, 99);
        ASSERT_TRUE(builds<TypeParam>(groups, table, offset, width)) << "offset " << offset << ", width " << width;
    }
}

// Bits beside the window are 1, bits in it are 0, or the reverse.
TYPED_TEST(BuildSignTable, TakesNoBitBesideTheWindow)
{
    for (int offset = 0; offset <= 17; ++offset)
        for (int width = 1; width <= 40; ++width)
            for (std::size_t spare : {0u, 32u}) {
                Bytes beside(bytes_of(offset + width) + spare, 0xff), inside(beside.size(), 0);
                for (int c = 0; c < width; ++c) reference::invert_bit(beside, offset + c);
                for (int c = 0; c < width; ++c) reference::invert_bit(inside, offset + c);
                const Groups groups(5, {0}), others(5, {1});
                const Bytes nothing(5 * bytes_of(width), 0);
                ASSERT_EQ(reference::sign_table(groups, {beside, inside}, offset, width), nothing);
                ASSERT_TRUE(builds<TypeParam>(groups, {beside, inside}, offset, width)) << offset << ", " << width;
                if (TypeParam::kVar) continue;
                ASSERT_TRUE(builds<TypeParam>(others, {beside, inside}, offset, width)) << offset << ", " << width;
            }
}

TYPED_TEST(BuildSignTable, OneBitAtATimeLandsInItsColumn)
{
    for (int width : {1, 4, 7, 8, 23, 24, 25, 40})
        for (int offset : {0, 3, 8, 15})
            for (int set = 0; set < width; ++set) {
                Bytes row(bytes_of(offset + width) + 32, 0);
                reference::set_bit(row.data(), offset + set);
                ASSERT_TRUE(builds<TypeParam>(Groups(5, {0}), {row}, offset, width))
                    << "bit " << set << " of " << width << ", offset " << offset;
            }
}

TEST(BuildSignTable, IsTheUnionOfItsGroupsRows)
{
    const uint8_t row0[] = {0b10000000, 0b00000001}, row1[] = {0b00010000, 0b00000100}, row2[] = {0xff, 0xff};
    const uint8_t* const table[] = {row0, row1, row2};
    const int32_t index[] = {0, 1, 1, 1, 2, 0};
    uint8_t result[] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(zelsBuildSignTable_8u1u(index, 2, table, 3, 2, 0, result, 3, 16), SrOk);
    EXPECT_EQ(bytes(result), (Bytes{0b10010000, 0b00000101, 0b00010000, 0b00000100, 0xff, 0xff}));
    // Bits 3 to 14: the bits behind the twelfth column are 0.
    EXPECT_EQ(zelsBuildSignTable_8u1u(index, 2, table, 3, 2, 3, result, 3, 12), SrOk);
    EXPECT_EQ(bytes(result), (Bytes{0b10000000, 0b00100000, 0b10000000, 0b00100000, 0xff, 0xf0}));
}

// Of output row r the first counts[r] indices of the whole list, and one bit for all columns.
TEST(BuildSignTable, OfSeveralCountsSetsOnlyTheTopBitOfARowFromTheListsStart)
{
    const uint8_t empty[] = {0, 0, 0}, last_column[] = {0, 0, 0b00000001}, full[] = {0xff, 0xff, 0xff};
    const uint8_t* const table[] = {empty, last_column, full};
    // Groups {0}, {2, 2}, {0, 2, 1}, {2}; taken are {0}, {0, 2}, {0, 2, 2}, {0}.
    const int32_t index[] = {0, 2, 2, 0, 2, 1, 2}, counts[] = {1, 2, 3, 1};
    uint8_t result[12];
    std::fill_n(result, 12, uint8_t{0xaa});
    EXPECT_EQ(zelsBuildSignTable_Var_8u1u(index, counts, table, 3, 3, 0, result, 4, 24), SrOk);
    EXPECT_EQ(bytes(result), (Bytes{0, 0, 0, 0x80, 0, 0, 0x80, 0, 0, 0, 0, 0}));
    // The last column alone sets the first bit; one column fewer sets none.
    const int32_t second[] = {1};
    EXPECT_EQ(zelsBuildSignTable_Var_8u1u(second, counts, table, 3, 3, 0, result, 1, 24), SrOk);
    EXPECT_EQ(Bytes(result, result + 6), (Bytes{0x80, 0, 0, 0x80, 0, 0}));
    EXPECT_EQ(zelsBuildSignTable_Var_8u1u(second, counts, table, 3, 3, 0, result, 1, 23), SrOk);
    EXPECT_EQ(result[0], 0);
    EXPECT_EQ(zelsBuildSignTable_Var_8u1u(second, counts, table, 3, 3, 22, result, 1, 2), SrOk);
    EXPECT_EQ(result[0], 0x80);
}

// Lists and counts at any byte address.
TYPED_TEST(BuildSignTable, EveryPlacementOfTheLists)
{
    const std::vector<Bytes> table = random_table(6, 40);
    const Rows rows(table, true);
    const std::vector<Placement> all = placements(sizeof(int32_t));
    for (std::size_t n = 0; n < all.size(); ++n)
        for (int width : {3, 17}) {
            const Groups groups = random_groups(5, TypeParam::kVar, 6);
            ASSERT_TRUE(builds<TypeParam>(groups, table, rows, 3, width, {}, all[n], all[(n + 3) % all.size()]))
                << describe(all[n]);
        }
}

// Rows that no index names are not looked at, not even for null.
TYPED_TEST(BuildSignTable, LeavesUnnamedRowsAlone)
{
    const Bytes row(40, 0x11);
    uint8_t* const table[] = {nullptr, const_cast<uint8_t*>(row.data()), nullptr};
    const std::vector<int32_t> index(6, 1), counts(6, 1);
    uint8_t result[6];
    for (int32_t width : {3, 8}) {
        std::fill_n(result, 6, uint8_t{0xaa});
        const Arguments a{index.data(), 1, counts.data(), table, 3, 40, 0, width, result, 6};
        EXPECT_EQ(TypeParam::call(a), SrOk);
        EXPECT_EQ(result[5], width == 3 ? 0 : TypeParam::kVar ? 0x80 : 0x11);
    }
}

// A problem in memory of its own, for the checks.
struct Checked {
    std::vector<Bytes> table = random_rows(4, 40, 60);
    Rows rows{table, true};
    std::vector<int32_t> index = uniform_vector<int32_t>(18, 0, 3), counts = std::vector<int32_t>(6, 3);
    Guarded<uint8_t> result{12};
    Arguments good{index.data(), 3, counts.data(), rows.list(), 4, 3, 9, 15, result.data(), 6};
};

TYPED_TEST(BuildSignTable, PointersSizesRowLengthCountsAndIndicesAreCheckedInThisOrder)
{
    static const int32_t bad_index[] = {-1}, bad_count[] = {3, 3, 3, 3, 3, 0};
    Checked c;
    ASSERT_EQ(TypeParam::call(c.good), SrOk);
    const auto call = [](const Arguments& a) { return TypeParam::call(a); };
    for (int32_t size : {0, -1, INT_MIN}) {
        std::vector<Fault<Arguments>> faults = {
            {"index", SrErrNullPtr, [](Arguments& a) { a.index = nullptr; }},
            {"table", SrErrNullPtr, [](Arguments& a) { a.rows = nullptr; }},
            {"result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }},
            {"rows", SrErrSize, [size](Arguments& a) { a.rows_count = size; }},
            {"row length", SrErrSize, [size](Arguments& a) { a.row_bytes = size; }},
            {"offset", SrErrSize, [](Arguments& a) { a.offset = -1; }},
            {"width", SrErrSize, [size](Arguments& a) { a.width = size; }},
            {"height", SrErrSize, [size](Arguments& a) { a.height = size; }},
            {"short rows", SrErrStride, [](Arguments& a) { a.row_bytes = 2; }},
            {"bad index", SrErrBadArg, [](Arguments& a) { a.index = bad_index; }},
        };
        if (TypeParam::kVar) {
            faults.insert(faults.begin(), {"counts", SrErrNullPtr, [](Arguments& a) { a.counts = nullptr; }});
            faults.insert(faults.end() - 1, {"bad count", SrErrSize, [](Arguments& a) { a.counts = bad_count; }});
        } else {
            faults.insert(faults.begin() + 3, {"count", SrErrSize, [size](Arguments& a) { a.count = size; }});
        }
        expect_check_order<Arguments>(c.good, faults, call, {&c.result});
    }
    Arguments a = c.good;
    a.offset = INT_MIN;
    EXPECT_EQ(TypeParam::call(a), SrErrSize);
}

TYPED_TEST(BuildSignTable, ABadIndexAnywhereLeavesTheResult)
{
    for (int32_t row_bytes : {3, 40}) {  // as short as the window allows, and long
        Checked c;
        c.good.row_bytes = row_bytes;
        c.result.take_snapshot();
        for (int32_t bad : {-1, 4, INT_MIN, INT_MAX})
            for (std::size_t i = 0; i < c.index.size(); ++i) {
                std::vector<int32_t> list = c.index;
                list[i] = bad;
                const Guarded<int32_t> index(list, behind(list));
                Arguments a = c.good;
                a.index = index.data();
                EXPECT_EQ(TypeParam::call(a), SrErrBadArg) << bad << " at " << i;
                EXPECT_TRUE(c.result.as_snapshot()) << bad << " at " << i;
            }
    }
}

// As many indices as the counts add up to, no more: a bad one behind them is not seen.
TYPED_TEST(BuildSignTable, TestsNoIndexBehindTheLast)
{
    Checked c;
    c.index.push_back(-1);
    Arguments a = c.good;
    a.index = c.index.data();
    EXPECT_EQ(TypeParam::call(a), SrOk);
    if (!TypeParam::kVar) return;
    c.counts[5] = 4;
    EXPECT_EQ(TypeParam::call(a), SrErrBadArg);
    c.counts[0] = 2;
    EXPECT_EQ(TypeParam::call(a), SrOk);
}

TEST(BuildSignTable, ACountBelowOneAnywhereLeavesTheResult)
{
    for (std::size_t r = 0; r < 6; ++r)
        for (int32_t bad : {0, -1, INT_MIN}) {
            Checked c;
            c.counts[r] = bad;
            c.result.take_snapshot();
            EXPECT_EQ(BuildVar::call(c.good), SrErrSize) << bad << " for row " << r;
            EXPECT_TRUE(c.result.as_snapshot());
        }
}

TYPED_TEST(BuildSignTable, TheWindowMayFillTheRowButNotPassIt)
{
    Checked c;
    expect_row_length_bound<TypeParam>(c.good);
    Arguments a = c.good;
    a.width = INT_MAX;
    EXPECT_EQ(TypeParam::call(a), SrErrStride);
    a.offset = INT_MAX;
    EXPECT_EQ(TypeParam::call(a), SrErrStride);
}

#ifdef __i386__
TYPED_TEST(BuildSignTable, TakesACallWithTheStackOn4Bytes)
{
    Checked c;
    for (int32_t row_bytes : {3, 40}) {
        c.good.row_bytes = row_bytes;
        expect_any_stack<TypeParam>(c.good);
    }
}

#endif

}  // namespace
}  // namespace zelsr::test::shortlist
