// Copies of all and of selected columns. Elements are handled as integers of their size: every bit pattern must
// arrive as it is, those of signalling NaN too.
#include <gtest/gtest.h>

#include <numeric>

#include "matrix/matrix_calls.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "zelsr/matrix.h"

namespace zelsr::test::matrix {
namespace {

template <class Bits>
Rows<Bits> random_bits(int width, int height)
{
    Rows<Bits> rows(static_cast<std::size_t>(height));
    for (auto& row : rows)
        for (int c = 0; c < width; ++c) {
            const std::uint64_t high = generator()(), low = generator()();
            row.push_back(static_cast<Bits>(high << 32 | low));
        }
    // A signalling NaN, where the type has one.
    if (sizeof(Bits) == 4) rows[0][0] = static_cast<Bits>(0x7f800001u);
    if (sizeof(Bits) == 8) rows[0][0] = static_cast<Bits>(0x7ff0000000000001u);
    return rows;
}

template <class Bits>
std::vector<Bits> dense(const Rows<Bits>& rows)
{
    return as_block(rows, rows[0].size());
}

// All columns.
template <class Bits>
struct CopyArguments {
    const Bits* src;
    int32_t width;
    Bits* dst;
    int32_t step, height;
};

struct CopyColumn32f {
    using Bits = uint32_t;
    static SrStatus call(const CopyArguments<Bits>& a)
    {
        return invoke(zelsCopyColumn_32f_D2, reinterpret_cast<const float*>(a.src), a.width,
                      reinterpret_cast<float*>(a.dst), a.step, a.height);
    }
    static constexpr const char* kName = "32f";
};
struct CopyColumn16s {
    using Bits = uint16_t;
    static SrStatus call(const CopyArguments<Bits>& a)
    {
        return invoke(zelsCopyColumn_16s_D2, reinterpret_cast<const int16_t*>(a.src), a.width,
                      reinterpret_cast<int16_t*>(a.dst), a.step, a.height);
    }
    static constexpr const char* kName = "16s";
};
struct Names {
    template <class Member>
    static std::string GetName(int)
    {
        return Member::kName;
    }
};

template <class Member>
testing::AssertionResult copies(int width, int height, const Layout& layout)
{
    using Bits = typename Member::Bits;
    const Rows<Bits> rows = random_bits<Bits>(width, height);
    Guarded<Bits> src(dense(rows), layout.vector);
    src.take_snapshot();
    const GuardedMatrix<Bits> dst(random_bits<Bits>(width, height), false, layout, Gaps::Written);
    const SrStatus status = Member::call({src.data(), width, dst.block(), dst.step(), height});
    testing::AssertionResult verdict = dst.holds(rows);
    if (status != SrOk) verdict = testing::AssertionFailure() << "status " << status;
    if (!src.as_snapshot()) verdict = testing::AssertionFailure() << "the source was written";
    if (verdict) return verdict;
    return testing::AssertionFailure() << Member::kName << ", " << height << " rows of " << width << ": "
                                       << verdict.message() << "; source is the vector of " << describe(layout);
}

template <class Member>
class CopyColumn : public testing::Test {};
using CopyColumnMembers = testing::Types<CopyColumn32f, CopyColumn16s>;
TYPED_TEST_SUITE(CopyColumn, CopyColumnMembers, Names);

TYPED_TEST(CopyColumn, EveryWidthAndHeight)
{
    using Bits = typename TypeParam::Bits;
    for (int width : lengths(32))
        for (int height : {1, 2, 3, 4, 5, 9}) {
            ASSERT_TRUE(copies<TypeParam>(width, height, aligned_layout<Bits>(width)));
            ASSERT_TRUE(copies<TypeParam>(width, height, random_layout<Bits>(width)));
        }
}

// Around the length of 800 elements, and far beyond.
TYPED_TEST(CopyColumn, LongRows)
{
    using Bits = typename TypeParam::Bits;
    for (int width : {256, 799, 800, 801, 802, 815, 816, 1600, 1610, 4096, 70000})
        for (int height : {1, 3}) {
            ASSERT_TRUE(copies<TypeParam>(width, height, aligned_layout<Bits>(width)));
            ASSERT_TRUE(copies<TypeParam>(width, height, random_layout<Bits>(width)));
        }
}

TYPED_TEST(CopyColumn, EveryPlacement)
{
    using Bits = typename TypeParam::Bits;
    for (const Arrangement& where : arrangements(2, sizeof(Bits)))
        for (int width : {3, 8, 11, 16, 40, 43})
            for (int beyond : {0, 1, 5, 8}) {
                Layout layout;
                layout.block = where[0];
                layout.vector = where[1];
                layout.beyond_width = beyond;
                ASSERT_TRUE(copies<TypeParam>(width, 3, layout));
            }
}

// Where the arrays overlap: element by element, row by row, in increasing order.
TYPED_TEST(CopyColumn, OverlappingRowsAreCopiedInIncreasingOrder)
{
    using Bits = typename TypeParam::Bits;
    constexpr std::size_t kBytes = 8192;
    std::vector<std::byte> fresh(kBytes);
    for (std::byte& byte : fresh) byte = static_cast<std::byte>(generator()());
    alignas(16) static std::byte memory[kBytes];
    constexpr int kMiddle = 3072;
    for (int width : {1, 3, 4, 8, 10, 11, 12, 16, 31, 64, 200})
        for (int height : {1, 2, 4})
            for (int beyond : {0, 1, 4, 8})
                for (int src : {0, 1, static_cast<int>(sizeof(Bits)), 8})
                    for (int apart : {-64, -33, -32, -17, -16, -8, -4, -3, -2, -1, 0,  1,  2,  3,   4,
                                      6,   8,   12,  15,  16,  17, 20, 31, 32, 33, 48, 64, 65, 128, 256}) {
                        if (thin_effort() && (apart + src) % 3 != 0) continue;
                        const int step = width + beyond;
                        std::vector<std::byte> expected = fresh;
                        std::byte* const from = &expected[static_cast<std::size_t>(kMiddle + src)];
                        for (int r = 0; r < height; ++r)
                            for (int c = 0; c < width; ++c) {
                                Bits x;
                                std::memcpy(&x, from + (r * width + c) * static_cast<int>(sizeof x), sizeof x);
                                std::memcpy(from + apart + (r * step + c) * static_cast<int>(sizeof x), &x,
                                            sizeof x);
                            }
                        std::copy(fresh.begin(), fresh.end(), memory);
                        ASSERT_EQ(TypeParam::call({reinterpret_cast<Bits*>(memory + kMiddle + src), width,
                                                   reinterpret_cast<Bits*>(memory + kMiddle + src + apart), step,
                                                   height}),
                                  SrOk);
                        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), memory))
                            << height << " rows of " << width << ", step " << step << ", source at " << src
                            << ", destination " << apart << " bytes behind";
                    }
}

TYPED_TEST(CopyColumn, TheFirstFailedCheckDecides)
{
    using Bits = typename TypeParam::Bits;
    using A = CopyArguments<Bits>;
    const Guarded<Bits> src(15);
    Guarded<Bits> dst(17);
    for (int32_t size : {0, -1, INT32_MIN})
        expect_check_order<A>({src.data(), 5, dst.data(), 6, 3},
                              {{"source", SrErrNullPtr, [](A& a) { a.src = nullptr; }},
                               {"destination", SrErrNullPtr, [](A& a) { a.dst = nullptr; }},
                               {"width", SrErrSize, [size](A& a) { a.width = size; }},
                               {"height", SrErrSize, [size](A& a) { a.height = size; }},
                               {"step", SrErrStride, [](A& a) { a.step = 4; }},
                               {"negative step", SrErrStride, [](A& a) { a.step = INT32_MIN; }}},
                              [](const A& a) { return TypeParam::call(a); }, {&dst});
}

TYPED_TEST(CopyColumn, AsksForNoMemory)
{
    using Bits = typename TypeParam::Bits;
    const Guarded<Bits> src(20000), dst(20000);
    const AllocatorWatch watch;
    EXPECT_EQ(TypeParam::call({src.data(), 1000, dst.data(), 1000, 20}), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __x86_64__
TYPED_TEST(CopyColumn, RowsLieBeyond32BitsOfElements)
{
    using Bits = typename TypeParam::Bits;
    if (thin_effort()) return;
    SparseBlock<Bits> block;
    const Rows<Bits> rows = random_bits<Bits>(33, block.kHeight);
    ASSERT_EQ(TypeParam::call({dense(rows).data(), 33, block.row(0), block.kStep, block.kHeight}), SrOk);
    EXPECT_EQ(block.rows(33), rows);
}
#endif

#ifdef __i386__
TYPED_TEST(CopyColumn, TakesACallWithTheStackOn4Bytes)
{
    using Bits = typename TypeParam::Bits;
    for (int stack : {0, 4, 8, 12})
        for (int width : {3, 40, 900}) {
            stack_misalign = stack;
            const testing::AssertionResult right = copies<TypeParam>(width, 3, random_layout<Bits>(width));
            stack_misalign = -1;
            ASSERT_TRUE(right) << "stack " << stack;
        }
}
#endif

// Selected columns.
template <class Bits>
struct IndirectArguments {
    const Bits* src;
    const Bits* const* src_list;
    int32_t src_width, src_step;
    Bits* dst;
    Bits* const* dst_list;
    const int32_t* index;
    int32_t count, dst_step, height;
};

template <class T, class BitsOf, auto kFunction>
struct IndirectBlock {
    using Bits = BitsOf;
    static constexpr bool kList = false;
    static SrStatus call(const IndirectArguments<Bits>& a)
    {
        return invoke(kFunction, reinterpret_cast<const T*>(a.src), a.src_width, a.src_step,
                      reinterpret_cast<T*>(a.dst), a.index, a.count, a.dst_step, a.height);
    }
};
template <class T, class BitsOf, auto kFunction>
struct IndirectList {
    using Bits = BitsOf;
    static constexpr bool kList = true;
    static SrStatus call(const IndirectArguments<Bits>& a)
    {
        return invoke(kFunction, reinterpret_cast<const T* const*>(a.src_list), a.src_width,
                      reinterpret_cast<T* const*>(a.dst_list), a.index, a.count, a.height);
    }
};
struct Indirect32f : IndirectBlock<float, uint32_t, zelsCopyColumn_Indirect_32f_D2> {
    static constexpr const char* kName = "32f_D2";
};
struct Indirect64f : IndirectBlock<double, uint64_t, zelsCopyColumn_Indirect_64f_D2> {
    static constexpr const char* kName = "64f_D2";
};
struct Indirect16s : IndirectBlock<int16_t, uint16_t, zelsCopyColumn_Indirect_16s_D2> {
    static constexpr const char* kName = "16s_D2";
};
struct IndirectList32f : IndirectList<float, uint32_t, zelsCopyColumn_Indirect_32f_D2L> {
    static constexpr const char* kName = "32f_D2L";
};
struct IndirectList64f : IndirectList<double, uint64_t, zelsCopyColumn_Indirect_64f_D2L> {
    static constexpr const char* kName = "64f_D2L";
};
struct IndirectList16s : IndirectList<int16_t, uint16_t, zelsCopyColumn_Indirect_16s_D2L> {
    static constexpr const char* kName = "16s_D2L";
};

template <class Member>
class CopyColumnIndirect : public testing::Test {};
using IndirectMembers =
    testing::Types<Indirect32f, Indirect64f, Indirect16s, IndirectList32f, IndirectList64f, IndirectList16s>;
TYPED_TEST_SUITE(CopyColumnIndirect, IndirectMembers, Names);

// A source, its selected columns, and a destination that holds something else.
template <class Member>
struct IndirectTrial {
    using Bits = typename Member::Bits;

    IndirectTrial(int src_width, const std::vector<int32_t>& columns, int height, const Layout& from,
                  const Layout& to, Placement index_place = {})
        : rows(random_bits<Bits>(src_width, height)),
          before(random_bits<Bits>(static_cast<int>(columns.size()), height)),
          src(rows, Member::kList, from),
          dst(before, Member::kList, to, Gaps::Written),
          index(columns, index_place)
    {
        index.take_snapshot();
    }
    IndirectArguments<Bits> arguments() const
    {
        return {src.block(),
                src.list(),
                static_cast<int32_t>(rows[0].size()),
                src.step(),
                dst.block(),
                dst.list(),
                index.data(),
                static_cast<int32_t>(index.size()),
                dst.step(),
                static_cast<int32_t>(rows.size())};
    }
    testing::AssertionResult copied(SrStatus status) const
    {
        Rows<Bits> expected = before;
        for (std::size_t r = 0; r < rows.size(); ++r)
            for (std::size_t j = 0; j < index.size(); ++j)
                expected[r][j] = rows[r][static_cast<std::size_t>(index.get(j))];
        if (status != SrOk) return testing::AssertionFailure() << "status " << status;
        if (!src.untouched() || !index.as_snapshot()) return testing::AssertionFailure() << "a source was written";
        return dst.holds(expected) << Member::kName << ", " << rows.size() << " rows of " << index.size()
                                   << " out of " << rows[0].size();
    }

    Rows<Bits> rows, before;
    GuardedMatrix<Bits> src, dst;
    Guarded<int32_t> index;
};

std::vector<int32_t> random_columns(int src_width, int count)
{
    std::vector<int32_t> columns;
    for (int j = 0; j < count; ++j) columns.push_back(uniform(0, src_width - 1));
    columns.back() = src_width - 1;
    return columns;
}

template <class Member>
testing::AssertionResult selects(int src_width, int count, int height, const Layout& from, const Layout& to,
                                 Placement index_place = {})
{
    const IndirectTrial<Member> trial(src_width, random_columns(src_width, count), height, from, to, index_place);
    return trial.copied(Member::call(trial.arguments()));
}

TYPED_TEST(CopyColumnIndirect, EveryCountAndHeight)
{
    using Bits = typename TypeParam::Bits;
    for (int count : lengths(16))
        for (int height : {1, 2, 3, 4, 5, 9})
            for (int src_width : {1, 5, 40})
                ASSERT_TRUE(selects<TypeParam>(src_width, count, height, random_layout<Bits>(src_width),
                                               random_layout<Bits>(count)));
}

TYPED_TEST(CopyColumnIndirect, EveryPlacement)
{
    for (const Arrangement& where : arrangements(3, sizeof(typename TypeParam::Bits)))
        for (int count : {3, 8, 13}) {
            Layout from, to;
            from.block = where[0];
            to.block = where[1];
            from.row_misalign = {where[0].misalign, 0};
            to.row_misalign = {0, where[1].misalign};
            from.list = to.list = where[2];
            to.beyond_width = count % 2;
            ASSERT_TRUE(selects<TypeParam>(9, count, 3, from, to, where[2]));
        }
}

TYPED_TEST(CopyColumnIndirect, AllColumnsInOrder)
{
    std::vector<int32_t> columns(20);
    std::iota(columns.begin(), columns.end(), 0);
    const IndirectTrial<TypeParam> trial(20, columns, 4, {}, {});
    EXPECT_TRUE(trial.copied(TypeParam::call(trial.arguments())));
}

// Wanted: the elements before the first bad index are written, of the first row and no other.
TYPED_TEST(CopyColumnIndirect, ABadIndexIsFoundWhileTheFirstRowIsWritten)
{
    for (int count : {1, 4, 9, 33})
        for (std::size_t bad = 0; bad < static_cast<std::size_t>(count); ++bad)
            for (int32_t index : {-1, 7, 8, INT32_MIN, INT32_MAX}) {
                std::vector<int32_t> columns = random_columns(7, count);
                columns[bad] = index;
                if (bad + 2 < columns.size()) columns[bad + 2] = -1;
                Layout to;
                to.beyond_width = 1;
                const IndirectTrial<TypeParam> trial(7, columns, 3, {}, to);
                ASSERT_EQ(TypeParam::call(trial.arguments()), SrErrSize);
                auto expected = trial.before;
                for (std::size_t j = 0; j < bad; ++j)
                    expected[0][j] = trial.rows[0][static_cast<std::size_t>(columns[j])];
                ASSERT_TRUE(trial.dst.holds(expected)) << "index " << bad << " of " << count << " is " << index;
                ASSERT_TRUE(trial.src.untouched());
            }
}

TYPED_TEST(CopyColumnIndirect, TheFirstFailedCheckDecides)
{
    using A = IndirectArguments<typename TypeParam::Bits>;
    static const int32_t bad[3] = {-1, 0, 0};
    Layout layout;
    layout.beyond_width = 1;
    const IndirectTrial<TypeParam> trial(5, {4, 0, 2}, 3, layout, layout);
    const Fault<A> source = {"source", SrErrNullPtr, [](A& a) {
                                 a.src = nullptr;
                                 a.src_list = nullptr;
                             }};
    const Fault<A> destination = {"destination", SrErrNullPtr, [](A& a) {
                                      a.dst = nullptr;
                                      a.dst_list = nullptr;
                                  }};
    const Fault<A> index = {"index", SrErrNullPtr, [](A& a) { a.index = nullptr; }};
    const Fault<A> src_step = {"source step", SrErrStride, [](A& a) { a.src_step = 4; }};
    const Fault<A> dst_step = {"destination step", SrErrStride, [](A& a) { a.dst_step = 2; }};
    const Fault<A> bad_index = {"index element", SrErrSize, [](A& a) { a.index = bad; }};
    for (int32_t size : {0, -1, INT32_MIN}) {
        const Fault<A> src_width = {"source width", SrErrSize, [size](A& a) { a.src_width = size; }};
        const Fault<A> count = {"count", SrErrSize, [size](A& a) { a.count = size; }};
        const Fault<A> height = {"height", SrErrSize, [size](A& a) { a.height = size; }};
        std::vector<Fault<A>> faults = {source, destination, index,  src_width, src_step,
                                        count,  dst_step,    height, bad_index};
        if (TypeParam::kList) faults = {source, destination, index, src_width, count, height, bad_index};
        expect_check_order<A>(trial.arguments(), faults, [](const A& a) { return TypeParam::call(a); });
        EXPECT_TRUE(trial.dst.untouched());
    }
}

TYPED_TEST(CopyColumnIndirect, AsksForNoMemory)
{
    const IndirectTrial<TypeParam> trial(500, random_columns(500, 300), 50, {}, {});
    const AllocatorWatch watch;
    EXPECT_EQ(TypeParam::call(trial.arguments()), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __x86_64__
TYPED_TEST(CopyColumnIndirect, RowsLieBeyond32BitsOfElements)
{
    using Bits = typename TypeParam::Bits;
    if (thin_effort() || TypeParam::kList) return;
    SparseBlock<Bits> src, dst;
    Rows<Bits> rows = random_bits<Bits>(3, src.kHeight);
    src.fill(rows);
    const int32_t reversed[] = {2, 1, 0};
    ASSERT_EQ(TypeParam::call(
                  {src.row(0), nullptr, 3, src.kStep, dst.row(0), nullptr, reversed, 3, dst.kStep, dst.kHeight}),
              SrOk);
    for (auto& row : rows) std::reverse(row.begin(), row.end());
    EXPECT_EQ(dst.rows(3), rows);
}
#endif

#ifdef __i386__
TYPED_TEST(CopyColumnIndirect, TakesACallWithTheStackOn4Bytes)
{
    for (int stack : {0, 4, 8, 12}) {
        stack_misalign = stack;
        const testing::AssertionResult right = selects<TypeParam>(9, 13, 3, {}, {});
        stack_misalign = -1;
        ASSERT_TRUE(right) << "stack " << stack;
    }
}
#endif

}  // namespace
}  // namespace zelsr::test::matrix
