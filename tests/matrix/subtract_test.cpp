// One vector subtracted from every row, in place.
#include <gtest/gtest.h>

#include <cfenv>

#include "matrix/matrix_calls.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/reference/fixed_point.h"
#include "zelsr/matrix.h"

namespace zelsr::test::matrix {
namespace {

template <class T>
struct SubRowArguments {
    const T* vector;
    int32_t width;
    T* block;
    int32_t step;
    T* const* list;
    int32_t height;
};

template <class T>
struct SubRow {
    const char* name;
    bool list;
    SrStatus (*call)(const SubRowArguments<T>&);
};
template <auto kFunction, class T>
SrStatus from_block(const SubRowArguments<T>& a)
{
    return invoke(kFunction, a.vector, a.width, a.block, a.step, a.height);
}
template <auto kFunction, class T>
SrStatus from_list(const SubRowArguments<T>& a)
{
    return invoke(kFunction, a.vector, a.list, a.width, a.height);
}

std::vector<SubRow<float>> members(float)
{
    return {{"32f_D2", false, from_block<zelsSubRow_32f_D2>}, {"32f_D2L", true, from_list<zelsSubRow_32f_D2L>}};
}
std::vector<SubRow<int16_t>> members(int16_t)
{
    return {{"16s_D2", false, from_block<zelsSubRow_16s_D2>}, {"16s_D2L", true, from_list<zelsSubRow_16s_D2L>}};
}

float difference(float x, float m) { return x - m; }
int16_t difference(int16_t x, int16_t m) { return reference::saturate<int16_t>(x - m); }

template <class T>
struct SubtractTrial {
    SubtractTrial(const SubRow<T>& member, const Rows<T>& rows, const std::vector<T>& values, const Layout& layout)
        : m(member),
          before(rows),
          vector(values, layout.vector),
          matrix(rows, m.list, layout, Gaps::Written),
          where(layout)
    {
        vector.take_snapshot();
    }
    SubRowArguments<T> arguments() const
    {
        return {vector.data(), static_cast<int32_t>(vector.size()), matrix.block(), matrix.step(),
                matrix.list(), static_cast<int32_t>(before.size())};
    }
    testing::AssertionResult right(SrStatus status) const
    {
        Rows<T> expected = before;
        for (auto& row : expected)
            for (std::size_t c = 0; c < row.size(); ++c) row[c] = difference(row[c], vector.get(c));
        testing::AssertionResult verdict = matrix.holds(expected);
        if (status != SrOk) verdict = testing::AssertionFailure() << "status " << status;
        if (!vector.as_snapshot()) verdict = testing::AssertionFailure() << "the vector was written";
        if (verdict) return verdict;
        return testing::AssertionFailure() << m.name << ", " << before.size() << " rows of " << vector.size()
                                           << ": " << verdict.message() << "; " << describe(where);
    }

    SubRow<T> m;
    Rows<T> before;
    Guarded<T> vector;
    GuardedMatrix<T> matrix;
    Layout where;
};

template <class T>
testing::AssertionResult subtracts(const SubRow<T>& m, const Rows<T>& rows, const std::vector<T>& vector,
                                   const Layout& layout)
{
    const SubtractTrial<T> trial(m, rows, vector, layout);
    return trial.right(m.call(trial.arguments()));
}

template <class Type>
class SubRows : public testing::Test {
  public:
    using T = Type;
    const std::vector<SubRow<T>> all = members(T());
};
struct TypeNames {
    template <class T>
    static std::string GetName(int)
    {
        return sizeof(T) == 4 ? "32f" : "16s";
    }
};
using AllTypes = testing::Types<float, int16_t>;
TYPED_TEST_SUITE(SubRows, AllTypes, TypeNames);

TYPED_TEST(SubRows, EveryWidthAndHeight)
{
    using T = TypeParam;
    for (const auto& m : this->all)
        for (int width : lengths(32))
            for (int height : {1, 2, 3, 4, 5, 9}) {
                const Values values = any_of(all_values());
                const Rows<T> rows = random_rows<T>(values, width, height);
                const auto vector = random_values<T>(values, static_cast<std::size_t>(width));
                ASSERT_TRUE(subtracts(m, rows, vector, aligned_layout<T>(width)));
                ASSERT_TRUE(subtracts(m, rows, vector, random_layout<T>(width)));
            }
}

TYPED_TEST(SubRows, EveryPlacement)
{
    using T = TypeParam;
    for (const auto& m : this->all)
        for (const Arrangement& where : arrangements(3, sizeof(T)))
            for (int width : {3, 8, 21, 40}) {
                Layout layout = aligned_layout<T>(width);
                layout.block = where[0];
                layout.vector = where[1];
                layout.list = where[2];
                layout.row_misalign = {where[0].misalign, where[0].misalign, 0};
                ASSERT_TRUE(subtracts(m, random_rows<T>(Values::Whole, width, 4),
                                      random_values<T>(Values::Whole, static_cast<std::size_t>(width)), layout));
            }
}

// Every special value less every special value: all saturate or flow as they should, in both kernels.
TYPED_TEST(SubRows, EveryPairOfSpecialValues)
{
    using T = TypeParam;
    const std::vector<T> specials = special_values<T>();
    for (const auto& m : this->all)
        for (int misalign : {0, 8, 1}) {
            Layout layout = aligned_layout<T>(static_cast<int>(specials.size()));
            layout.block.misalign = misalign;
            layout.row_misalign = {misalign};
            Rows<T> rows;
            for (T x : specials) rows.push_back(std::vector<T>(specials.size(), x));
            ASSERT_TRUE(subtracts(m, rows, specials, layout));
        }
}

TYPED_TEST(SubRows, TheFirstFailedCheckDecides)
{
    using T = TypeParam;
    using A = SubRowArguments<T>;
    for (const auto& m : this->all)
        for (int32_t size : {0, -1, INT32_MIN}) {
            Layout layout;
            layout.beyond_width = 1;
            SubtractTrial<T> trial(m, random_rows<T>(Values::Small, 5, 3), random_values<T>(Values::Small, 5),
                                   layout);
            std::vector<Fault<A>> faults = {{"vector", SrErrNullPtr, [](A& a) { a.vector = nullptr; }},
                                            {"matrix", SrErrNullPtr,
                                             [](A& a) {
                                                 a.block = nullptr;
                                                 a.list = nullptr;
                                             }},
                                            {"width", SrErrSize, [size](A& a) { a.width = size; }},
                                            {"height", SrErrSize, [size](A& a) { a.height = size; }}};
            if (!m.list) faults.push_back({"step", SrErrStride, [](A& a) { a.step = 4; }});
            expect_check_order<A>(trial.arguments(), faults, m.call);
            EXPECT_TRUE(trial.matrix.untouched());
        }
}

TYPED_TEST(SubRows, Environment)
{
    using T = TypeParam;
    for (const auto& m : this->all)
        for (int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
            const SubtractTrial<T> trial(m, random_rows<T>(Values::Wide, 39, 3),
                                         random_values<T>(Values::Wide, 39), aligned_layout<T>(39));
            std::fesetround(mode);
            const testing::AssertionResult right = trial.right(m.call(trial.arguments()));
            const int after = std::fegetround();
            std::fesetround(FE_TONEAREST);
            EXPECT_TRUE(right) << mode;
            EXPECT_EQ(after, mode);
        }
}

TYPED_TEST(SubRows, AskForNoMemory)
{
    using T = TypeParam;
    for (const auto& m : this->all) {
        const SubtractTrial<T> trial(m, random_rows<T>(Values::Small, 500, 100),
                                     random_values<T>(Values::Small, 500), {});
        const AllocatorWatch watch;
        EXPECT_EQ(m.call(trial.arguments()), SrOk);
        EXPECT_EQ(watch.requests(), 0);
    }
}

#ifdef __x86_64__
TYPED_TEST(SubRows, RowsLieBeyond32BitsOfElements)
{
    using T = TypeParam;
    if (thin_effort()) return;
    SparseBlock<T> block;
    const auto vector = random_values<T>(Values::Whole, 33);
    Rows<T> rows = random_rows<T>(Values::Whole, 33, block.kHeight);
    block.fill(rows);
    ASSERT_EQ(this->all[0].call({vector.data(), 33, block.row(0), block.kStep, nullptr, block.kHeight}), SrOk);
    for (auto& row : rows)
        for (std::size_t c = 0; c < row.size(); ++c) row[c] = difference(row[c], vector[c]);
    EXPECT_EQ(block.rows(33), rows);
}
#endif

#ifdef __i386__
TYPED_TEST(SubRows, TakeACallWithTheStackOn4Bytes)
{
    using T = TypeParam;
    for (const auto& m : this->all)
        for (int stack : {0, 4, 8, 12}) {
            const SubtractTrial<T> trial(m, random_rows<T>(Values::Whole, 39, 3),
                                         random_values<T>(Values::Whole, 39), random_layout<T>(39));
            stack_misalign = stack;
            const SrStatus status = m.call(trial.arguments());
            stack_misalign = -1;
            ASSERT_TRUE(trial.right(status)) << "stack " << stack;
        }
}
#endif

TEST(SubRow, Of16BitIntegersSaturates)
{
    int16_t rows[] = {-32768, 32767, -32768, 32767, 7};
    const int16_t vector[] = {1, -1, -32768, 32767, -32768};
    ASSERT_EQ(zelsSubRow_16s_D2(vector, 5, rows, 5, 1), SrOk);
    const int16_t expected[] = {-32768, 32767, 0, 0, 32767};
    for (int c = 0; c < 5; ++c) EXPECT_EQ(rows[c], expected[c]) << c;
}

}  // namespace
}  // namespace zelsr::test::matrix
