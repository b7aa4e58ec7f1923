// Shortlists: inverting bits.
#include <gtest/gtest.h>

#include <climits>

#include "likelihood/shortlist_members.h"
#include "support/bits.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test::shortlist {
namespace {

using Fillers = testing::Types<Row, RowVar, Column, ColumnVar>;
struct FillerNames {
    template <class M>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"Row", "RowVar", "Column", "ColumnVar"};
        return names[i];
    }
};

template <class M>
class FillShortlist : public testing::Test {};
TYPED_TEST_SUITE(FillShortlist, Fillers, FillerNames);

// Rows of bits to be filled, and the groups of indices for the member.
struct FillProblem {
    std::vector<Bytes> bits;
    Groups groups;
    int offset, width;
};

template <class M>
FillProblem random_fill(int height, int width, int offset, std::size_t spare)
{
    return {random_rows(height, bytes_of(offset + width) + spare, 128),
            M::kColumns ? random_groups(width, M::kVar, height) : random_groups(height, M::kVar, width), offset,
            width};
}

template <class M>
std::vector<Bytes> filled(FillProblem p)
{
    if (M::kColumns)
        reference::invert_in_columns(p.groups, p.bits, p.offset);
    else
        reference::invert_in_rows(p.groups, p.bits, p.offset);
    return p.bits;
}

template <class M>
testing::AssertionResult fills(const FillProblem& p, bool even_behind, Placement index_place,
                               Placement count_place)
{
    const std::vector<int32_t> list = joined(p.groups), counts = sizes(p.groups);
    const Guarded<int32_t> index(list, index_place), count(counts, count_place);
    const Rows rows(p.bits, even_behind);
    const Arguments a{index.data(), counts[0],
                      count.data(), rows.list(),
                      rows.count(), static_cast<int32_t>(p.bits[0].size()),
                      p.offset,     p.width,
                      nullptr,      0};
    if (auto right = status_is(SrOk, M::call(a)); !right) return right;
    if (!rows.intact()) return testing::AssertionFailure() << "a byte beside a row was written";
    if (auto right = same_rows(filled<M>(p), rows.values()); !right) return right;
    if (auto right = status_is(SrOk, M::call(a)); !right) return right;
    if (auto restored = same_rows(p.bits, rows.values()); !restored)
        return testing::AssertionFailure() << "the second run does not restore the rows: " << restored.message();
    if (index.values() != list || count.values() != counts)
        return testing::AssertionFailure() << "the list or the counts were written";
    return testing::AssertionSuccess();
}

template <class M>
testing::AssertionResult fills(const FillProblem& p, bool even_behind)
{
    return fills<M>(p, even_behind, behind(joined(p.groups)), behind(sizes(p.groups)));
}

TYPED_TEST(FillShortlist, EveryPlacementOfTheLists)
{
    const std::vector<Placement> all = placements(sizeof(int32_t));
    for (std::size_t n = 0; n < all.size(); ++n)
        ASSERT_TRUE(fills<TypeParam>(random_fill<TypeParam>(4, 9, 3, 0), true, all[n], all[(n + 3) % all.size()]))
            << describe(all[n]);
}

TYPED_TEST(FillShortlist, EveryOffsetAndWidthAndASecondRunRestores)
{
    int round = 0;
    for (int offset = 0; offset <= 17; ++offset)
        for (int width = 1; width <= 40; ++width)
            for (std::size_t spare : {0u, 1u, 32u}) {
                const int height = 1 + ++round % 7;
                if (thin_effort() && round % 7 != offset % 7) continue;
                ASSERT_TRUE(fills<TypeParam>(random_fill<TypeParam>(height, width, offset, spare), round % 2 == 0))
                    << "offset " << offset << ", width " << width << ", " << height << " rows, " << spare
                    << " bytes more than needed";
            }
}

TYPED_TEST(FillShortlist, LargeTables)
{
    for (int round = 0; round < (thin_effort() ? 2 : 10); ++round)
        ASSERT_TRUE(fills<TypeParam>(
            random_fill<TypeParam>(uniform(20, 60), uniform(100, 400), uniform(0, 900), 3), round % 2 == 0));
}

TYPED_TEST(FillShortlist, AnIndexThatStandsTwiceCancelsItself)
{
    for (int offset : {0, 3, 8, 15})
        for (std::size_t group = 0; group < 3; ++group)
            for (int32_t t = 0; t < 3; ++t) {
                FillProblem p{random_rows(3, 4, 128), Groups(3, {1, 2, 1, 0, 2, 0}), offset, 3};
                ASSERT_EQ(filled<TypeParam>(p), p.bits);
                ASSERT_TRUE(fills<TypeParam>(p, true)) << "offset " << offset;
                p.groups[group] = {t, 2, 2, t, (t + 1) % 3, t};
                ASSERT_NE(filled<TypeParam>(p), p.bits);
                ASSERT_TRUE(fills<TypeParam>(p, true)) << "offset " << offset << ", group " << group;
            }
}

TEST(FillShortlist, InvertsTheBitsByValue)
{
    uint8_t first[] = {0x00, 0x0f}, second[] = {0xff, 0xf0};
    uint8_t* const rows[] = {first, second};
    const int32_t in_rows[] = {0, 5, 3, 3};
    EXPECT_EQ(zelsFillShortlist_Row_1u(in_rows, 6, 2, rows, 2, 2, 4), SrOk);
    EXPECT_EQ(bytes(first), (Bytes{0b00001000, 0b01001111}));  // bits 4 and 9
    EXPECT_EQ(bytes(second), (Bytes{0xff, 0xf0}));             // one twice
    const int32_t of_columns[] = {0, 1, 1, 0}, counts[] = {1, 2, 1};
    EXPECT_EQ(zelsFillShortlist_ColumnVar_1u(of_columns, counts, rows, 2, 2, 7, 3), SrOk);
    EXPECT_EQ(bytes(first), (Bytes{0b00001001, 0b00001111}));  // bits 7 and 9
    EXPECT_EQ(bytes(second), (Bytes{0xff, 0xf0}));
    const int32_t of_rows[] = {2, 0, 1, 2}, row_counts[] = {1, 3};
    EXPECT_EQ(zelsFillShortlist_RowVar_1u(of_rows, row_counts, 3, rows, 2, 2, 13), SrOk);
    EXPECT_EQ(bytes(first), (Bytes{0b00001001, 0b00001110}));
    EXPECT_EQ(bytes(second), (Bytes{0xff, 0xf7}));
    const int32_t by_columns[] = {0, 1, 1};
    EXPECT_EQ(zelsFillShortlist_Column_1u(by_columns, 1, rows, 2, 2, 0, 3), SrOk);
    EXPECT_EQ(bytes(first), (Bytes{0b10001001, 0b00001110}));
    EXPECT_EQ(bytes(second), (Bytes{0b10011111, 0xf7}));
}

// Four rows of up to 20 columns, or four columns of up to 20 rows, with three indices each.
struct CheckedFill {
    explicit CheckedFill(bool columns)
        : bits(random_rows(columns ? 20 : 4, 8, 128)), rows(bits, true), good{index.data(),     3,
                                                                              counts.data(),    rows.list(),
                                                                              columns ? 20 : 4, 3,
                                                                              columns ? 20 : 4, columns ? 4 : 20,
                                                                              nullptr,          0}
    {}
    std::vector<Bytes> bits;
    Rows rows;
    std::vector<int32_t> index = uniform_vector<int32_t>(12, 0, 19), counts = std::vector<int32_t>(4, 3);
    Arguments good;
};

TYPED_TEST(FillShortlist, PointersSizesAndThenTheRestAreChecked)
{
    static const int32_t bad_index[] = {-1}, bad_count[] = {3, 3, 3, 0};
    CheckedFill c(TypeParam::kColumns);
    ASSERT_EQ(TypeParam::call(c.good), SrOk);
    const auto call = [](const Arguments& a) { return TypeParam::call(a); };
    for (int32_t size : {0, -1, INT_MIN}) {
        std::vector<Fault<Arguments>> faults = {
            {"index", SrErrNullPtr, [](Arguments& a) { a.index = nullptr; }},
            {"rows", SrErrNullPtr, [](Arguments& a) { a.rows = nullptr; }},
            {"height", SrErrSize, [size](Arguments& a) { a.rows_count = size; }},
            {"row length", SrErrSize, [size](Arguments& a) { a.row_bytes = size; }},
            {"width", SrErrSize, [size](Arguments& a) { a.width = size; }},
            {"offset", SrErrSize, [](Arguments& a) { a.offset = -1; }},
        };
        const Fault<Arguments> stride{"short rows", SrErrStride, [](Arguments& a) { a.row_bytes = 1; }};
        const Fault<Arguments> count{"bad count", SrErrSize, [](Arguments& a) { a.counts = bad_count; }};
        if (!TypeParam::kVar) {
            faults.push_back({"count", SrErrSize, [size](Arguments& a) { a.count = size; }});
            faults.push_back(stride);
        } else {
            faults.insert(faults.begin(), {"counts", SrErrNullPtr, [](Arguments& a) { a.counts = nullptr; }});
            faults.push_back(TypeParam::kColumns ? stride : count);  // the two differ here
            faults.push_back(TypeParam::kColumns ? count : stride);
        }
        faults.push_back({"bad index", SrErrBadArg, [](Arguments& a) { a.index = bad_index; }});
        expect_check_order<Arguments>(c.good, faults, call, c.rows.outputs());
    }
    Arguments a = c.good;
    a.offset = INT_MIN;
    EXPECT_EQ(TypeParam::call(a), SrErrSize);
}

TYPED_TEST(FillShortlist, ABadIndexAnywhereChangesNoBit)
{
    CheckedFill c(TypeParam::kColumns);
    for (int32_t bad : {-1, 20, INT_MIN, INT_MAX})
        for (std::size_t i = 0; i < c.index.size(); ++i) {
            std::vector<int32_t> list = c.index;
            list[i] = bad;
            const Guarded<int32_t> index(list, behind(list));
            Arguments a = c.good;
            a.index = index.data();
            EXPECT_EQ(TypeParam::call(a), SrErrBadArg) << bad << " at " << i;
            EXPECT_TRUE(same_rows(c.bits, c.rows.values())) << bad << " at " << i;
        }
    c.index.push_back(-1);  // behind the last
    Arguments a = c.good;
    a.index = c.index.data();
    EXPECT_EQ(TypeParam::call(a), SrOk);
}

TYPED_TEST(FillShortlist, ACountBelowOneAnywhereChangesNoBit)
{
    if (!TypeParam::kVar) return;
    for (std::size_t r = 0; r < 4; ++r)
        for (int32_t bad : {0, -1, INT_MIN}) {
            CheckedFill c(TypeParam::kColumns);
            c.counts[r] = bad;
            EXPECT_EQ(TypeParam::call(c.good), SrErrSize) << bad << " for group " << r;
            EXPECT_TRUE(same_rows(c.bits, c.rows.values()));
        }
}

// All indices 0, so that no width and no height is too small for them.
TYPED_TEST(FillShortlist, TheWindowMayFillTheRowButNotPassIt)
{
    CheckedFill c(TypeParam::kColumns);
    const std::vector<int32_t> zeros(100, 0), counts(25, 1);
    Arguments a = c.good;
    a.index = zeros.data();
    a.counts = counts.data();
    a.count = 1;
    expect_row_length_bound<TypeParam>(a);
    a.width = INT_MAX;
    EXPECT_EQ(TypeParam::call(a), SrErrStride);
    a.offset = INT_MAX;
    EXPECT_EQ(TypeParam::call(a), SrErrStride);
}

#ifdef __i386__
TYPED_TEST(FillShortlist, TakesACallWithTheStackOn4Bytes)
{
    CheckedFill c(TypeParam::kColumns);
    expect_any_stack<TypeParam>(c.good);  // an even number of runs
    EXPECT_TRUE(same_rows(c.bits, c.rows.values()));
}
#endif

}  // namespace
}  // namespace zelsr::test::shortlist
