// Rows added to an accumulator, and sums of selected rows.
#include <gtest/gtest.h>

#include <cfenv>

#include "matrix/matrix_calls.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/reference/row_column.h"
#include "zelsr/matrix.h"

namespace zelsr::test::matrix {
namespace {

using Vector = std::vector<float>;
using A = Arguments<float, float>;  // result: the accumulator

struct AddAllRowSum {
    const char* name;
    bool list;
    SrStatus (*call)(const A&);
};
std::ostream& operator<<(std::ostream& out, const AddAllRowSum& m) { return out << m.name; }

class AddAllRowSums : public testing::TestWithParam<AddAllRowSum> {
  public:
    const AddAllRowSum m = GetParam();
};
const AddAllRowSum kMembers[] = {
    {"zelsAddAllRowSum_32f_D2", false,
     [](const A& a) { return invoke(zelsAddAllRowSum_32f_D2, a.block, a.step, a.height, a.result, a.width); }},
    {"zelsAddAllRowSum_32f_D2L", true,
     [](const A& a) { return invoke(zelsAddAllRowSum_32f_D2L, a.list, a.height, a.result, a.width); }},
};
INSTANTIATE_TEST_SUITE_P(Sums, AddAllRowSums, testing::ValuesIn(kMembers),
                         [](const auto& info) { return std::string(info.param.name); });

testing::AssertionResult adds(const AddAllRowSum& m, const Rows<float>& rows, const Vector& start,
                              const Layout& layout, int stack = -1)
{
    const GuardedMatrix<float> matrix(rows, m.list, layout);
    const Guarded<float> sum(start, layout.result);
    stack_misalign = stack;
    const SrStatus status =
        m.call({matrix.block(), matrix.step(), matrix.list(), nullptr, static_cast<int32_t>(start.size()),
                static_cast<int32_t>(rows.size()), sum.data(), 0});
    stack_misalign = -1;
    Vector expected = start;
    for (std::size_t c = 0; c < expected.size(); ++c) expected[c] = reference::added_rows(start[c], rows, c);
    testing::AssertionResult verdict = same_values(expected, sum.values());
    if (status != SrOk) verdict = testing::AssertionFailure() << "status " << status;
    if (!sum.intact()) verdict = testing::AssertionFailure() << "written beside the accumulator";
    if (!matrix.untouched()) verdict = testing::AssertionFailure() << "the matrix was written";
    if (verdict) return verdict;
    return testing::AssertionFailure() << rows.size() << " rows of " << start.size() << ": " << verdict.message()
                                       << "; " << describe(layout);
}

TEST_P(AddAllRowSums, EveryWidthAndHeight)
{
    for (int width : lengths(16))
        for (int height : {1, 2, 3, 4, 5, 6, 7, 8, 9, 33}) {
            const Rows<float> rows = random_rows<float>(Values::Wide, width, height);
            const Vector start = random_values<float>(Values::Wide, static_cast<std::size_t>(width));
            ASSERT_TRUE(adds(m, rows, start, aligned_layout<float>(width)));
            ASSERT_TRUE(adds(m, rows, start, random_layout<float>(width)));
        }
}

TEST_P(AddAllRowSums, EveryPlacement)
{
    for (const Arrangement& where : arrangements(3, sizeof(float)))
        for (int width : {3, 8, 21}) {
            Layout layout = aligned_layout<float>(width);
            layout.block = where[0];
            layout.result = where[1];
            layout.list = where[2];
            layout.row_misalign = {where[0].misalign, where[0].misalign, 0};
            ASSERT_TRUE(adds(m, random_rows<float>(Values::Wide, width, 5),
                             random_values<float>(Values::Wide, static_cast<std::size_t>(width)), layout));
        }
}

TEST_P(AddAllRowSums, InfinitiesAndNotNumbersStayInTheirColumn)
{
    Cycle specials(special_values<float>());
    for (int width : {1, 3, 4, 8, 13, 17})
        for (int height : {1, 2, 5})
            for (int i = 0; i < 20; ++i) {
                Rows<float> rows = random_rows<float>(Values::Whole, width, height);
                Vector start = random_values<float>(Values::Whole, static_cast<std::size_t>(width));
                Vector& row = rows[generator()() % rows.size()];
                row[generator()() % row.size()] = specials.next();
                start[generator()() % start.size()] = specials.next();
                ASSERT_TRUE(adds(m, rows, start, random_layout<float>(width)));
            }
}

// The sign of an accumulated zero shows that it is not cleared first.
TEST_P(AddAllRowSums, KeepTheAccumulatorsValue)
{
    EXPECT_TRUE(adds(m, {{-0.0F, 0.0F}, {-0.0F, -0.0F}}, {-0.0F, -0.0F}, {}));
    EXPECT_TRUE(adds(m, {{1, 1}, {1, 1}}, {0x1p24F, -0x1p24F}, {}));  // 1 is lost each time, 1 + 1 would not be
    const Vector rows = {1, 2, 3, 4, 5, 6};
    const float* const list[] = {&rows[0], &rows[3]};
    Vector sum = {100, 200, 300};
    for (float times : {1.0F, 2.0F}) {
        ASSERT_EQ(m.call({rows.data(), 3, list, nullptr, 3, 2, sum.data(), 0}), SrOk);
        EXPECT_EQ(sum, (Vector{100 + times * 5, 200 + times * 7, 300 + times * 9}));
    }
}

TEST_P(AddAllRowSums, TakeTheRoundingMode)
{
    for (int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
        const Rows<float> rows = random_rows<float>(Values::Wide, 39, 5);
        const Vector start = random_values<float>(Values::Wide, 39);
        std::fesetround(mode);
        const testing::AssertionResult right = adds(m, rows, start, {});
        const int after = std::fegetround();
        std::fesetround(FE_TONEAREST);
        EXPECT_TRUE(right) << "rounding mode " << mode;
        EXPECT_EQ(after, mode);
    }
}

TEST_P(AddAllRowSums, TheFirstFailedCheckDecides)
{
    Layout layout;
    layout.beyond_width = 1;
    const GuardedMatrix<float> matrix(random_rows<float>(Values::Small, 5, 3), m.list, layout);
    Guarded<float> sum(5);
    for (int32_t size : {0, -1, INT32_MIN}) {
        std::vector<Fault<A>> faults = {{"matrix", SrErrNullPtr,
                                         [](A& a) {
                                             a.block = nullptr;
                                             a.list = nullptr;
                                         }},
                                        {"accumulator", SrErrNullPtr, [](A& a) { a.result = nullptr; }},
                                        {"height", SrErrSize, [size](A& a) { a.height = size; }},
                                        {"width", SrErrSize, [size](A& a) { a.width = size; }}};
        if (!m.list) faults.push_back({"step", SrErrStride, [](A& a) { a.step = 4; }});
        expect_check_order<A>({matrix.block(), matrix.step(), matrix.list(), nullptr, 5, 3, sum.data(), 0}, faults,
                              m.call, {&sum});
    }
}

TEST_P(AddAllRowSums, AskForNoMemory)
{
    const GuardedMatrix<float> matrix(random_rows<float>(Values::Small, 500, 100), m.list, {});
    const Guarded<float> sum(Vector(500));
    const AllocatorWatch watch;
    EXPECT_EQ(m.call({matrix.block(), matrix.step(), matrix.list(), nullptr, 500, 100, sum.data(), 0}), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __i386__
TEST_P(AddAllRowSums, TakeACallWithTheStackOn4Bytes)
{
    for (int stack : {0, 4, 8, 12})
        for (int width : {3, 8, 39})
            ASSERT_TRUE(adds(m, random_rows<float>(Values::Wide, width, 5),
                             random_values<float>(Values::Wide, static_cast<std::size_t>(width)), {}, stack));
}
#endif

// Selected rows: the block's are height rows of step elements, but for the last one's end.
struct Selection {
    Rows<float> rows;  // of offset + width elements
    int32_t offset = 0;
    std::vector<int32_t> first;
    std::vector<uint16_t> second;
    float initial = 0;

    int32_t width() const { return static_cast<int32_t>(rows[0].size()) - offset; }
    std::size_t row(std::size_t i) const
    {
        return static_cast<uint32_t>(first[i]) + static_cast<uint32_t>(second[i]);
    }
};
struct Places {
    Placement block, first, second, result;
    int beyond_width = 0;
};

Selection random_selection(Values values, int width, int height, int count, int offset)
{
    Selection s;
    s.rows = random_rows<float>(values, offset + width, height);
    s.offset = offset;
    s.initial = random_value<float>(values);
    for (int i = 0; i < count; ++i) {
        const int row = uniform(0, height - 1);
        const int second = any_of<int>({0, row, uniform(0, 65535), 65535});
        s.first.push_back(row - second);
        s.second.push_back(static_cast<uint16_t>(second));
    }
    return s;
}

struct NRowsArguments {
    const float* src;
    int32_t height, offset, step;
    const int32_t* first;
    const uint16_t* second;
    int32_t count;
    float* dst;
    int32_t width;
    float initial;
};
SrStatus call(const NRowsArguments& a)
{
    return invoke(zelsAddNRows_32f_D2, a.src, a.height, a.offset, a.step, a.first, a.second, a.count, a.dst,
                  a.width, a.initial);
}

struct SelectionTrial {
    explicit SelectionTrial(const Selection& selection, const Places& where = {})
        : s(selection),
          step(static_cast<int32_t>(s.rows[0].size()) + where.beyond_width),
          block(as_block(s.rows, static_cast<std::size_t>(step)), where.block),
          first(s.first, where.first),
          second(s.second, where.second),
          result(static_cast<std::size_t>(s.width()), where.result)
    {
        for (GuardedBytes* bytes : std::initializer_list<GuardedBytes*>{&block, &first, &second, &result})
            bytes->take_snapshot();
    }
    NRowsArguments arguments() const
    {
        return {block.data(),  static_cast<int32_t>(s.rows.size()),  s.offset,      step,      first.data(),
                second.data(), static_cast<int32_t>(s.first.size()), result.data(), s.width(), s.initial};
    }
    testing::AssertionResult right(SrStatus status) const
    {
        Rows<float> chosen;
        for (std::size_t i = 0; i < s.first.size(); ++i) chosen.push_back(s.rows[s.row(i)]);
        Vector expected(result.size());
        for (std::size_t c = 0; c < expected.size(); ++c)
            expected[c] = reference::added_rows(s.initial, chosen, static_cast<std::size_t>(s.offset) + c);
        testing::AssertionResult verdict = same_values(expected, result.values());
        if (status != SrOk) verdict = testing::AssertionFailure() << "status " << status;
        if (!block.as_snapshot() || !first.as_snapshot() || !second.as_snapshot() || !result.intact())
            verdict = testing::AssertionFailure() << "written beside the result";
        if (verdict) return verdict;
        return testing::AssertionFailure()
               << s.first.size() << " of " << s.rows.size() << " rows, width " << s.width() << ", offset "
               << s.offset << ", step " << step << ": " << verdict.message();
    }

    const Selection& s;
    int32_t step;
    Guarded<float> block;
    Guarded<int32_t> first;
    Guarded<uint16_t> second;
    Guarded<float> result;
};
testing::AssertionResult sums(const Selection& s, const Places& where = {})
{
    const SelectionTrial trial(s, where);
    return trial.right(call(trial.arguments()));
}

TEST(AddNRows, EveryWidthCountAndOffset)
{
    Cycle offsets(std::vector<int>{0, 4, 1, 8, 3});
    Cycle beyond(std::vector<int>{0, 1, 2, 3, 4, 9});
    for (int width : lengths(16))
        for (int count : {1, 2, 3, 4, 5, 8, 9, 40})
            ASSERT_TRUE(sums(random_selection(Values::Wide, width, uniform(1, 20), count, offsets.next()),
                             {{}, {}, {}, {}, beyond.next()}));
}

TEST(AddNRows, EveryPlacement)
{
    Cycle widths(std::vector<int>{3, 8, 21, 16});
    for (const Arrangement& where : arrangements(4, sizeof(float)))
        for (int offset : {0, 4, 3}) {
            const int width = widths.next();
            const int step = (width + offset + 3) / 4 * 4;
            ASSERT_TRUE(sums(random_selection(Values::Wide, width, 6, 5, offset),
                             {where[0], where[1], where[2], where[3], step - width - offset}));
        }
}

TEST(AddNRows, OfOneRowIsTheInitialValueAndTheRow)
{
    const float block[] = {1, 2, 3, 4, 5, 6};
    const int32_t first = -65534;
    const uint16_t second = 65535;
    float sum[2] = {};
    ASSERT_EQ(zelsAddNRows_32f_D2(block, 2, 1, 3, &first, &second, 1, sum, 2, 10), SrOk);
    EXPECT_EQ(sum[0], 15);
    EXPECT_EQ(sum[1], 16);
}

TEST(AddNRows, TakesTheRoundingMode)
{
    for (int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
        const Selection s = random_selection(Values::Wide, 39, 7, 9, 4);
        std::fesetround(mode);
        const testing::AssertionResult right = sums(s);
        const int after = std::fegetround();
        std::fesetround(FE_TONEAREST);
        EXPECT_TRUE(right) << "rounding mode " << mode;
        EXPECT_EQ(after, mode);
    }
}

TEST(AddNRows, InfinitiesAndNotNumbersStayInTheirColumn)
{
    Cycle specials(special_values<float>());
    for (int i = 0; i < 100; ++i) {
        Selection s = random_selection(Values::Whole, uniform(1, 20), 3, 4, uniform(0, 4));
        Vector& row = s.rows[generator()() % 3];
        row[generator()() % row.size()] = specials.next();
        if (i % 4 == 0) s.initial = specials.next();
        ASSERT_TRUE(sums(s));
    }
}

// The pair of index vectors is tested whole before any addition.
TEST(AddNRows, AnyIndexOutsideTheBlockIsRefused)
{
    struct Pair {
        int32_t first;
        uint16_t second;
    };
    for (std::size_t count : {std::size_t{1}, std::size_t{5}, std::size_t{17}})
        for (std::size_t bad = 0; bad < count; ++bad)
            for (const Pair& pair : {Pair{6, 0},
                                     {0, 6},
                                     {3, 3},
                                     {-1, 0},
                                     {-7, 6},
                                     {INT32_MIN, 0},
                                     {INT32_MAX, 0},
                                     {INT32_MAX, 1},
                                     {INT32_MAX, 65535},
                                     {INT32_MIN, 65535},
                                     {0, 65535},
                                     {-65536, 65535},
                                     {-65529, 65535}}) {
                Selection s = random_selection(Values::Small, 9, 6, static_cast<int>(count), 2);
                s.first[bad] = pair.first;
                s.second[bad] = pair.second;
                const SelectionTrial trial(s);
                ASSERT_EQ(call(trial.arguments()), SrErrSize) << pair.first << " + " << pair.second;
                ASSERT_TRUE(trial.result.as_snapshot());
            }
}

TEST(AddNRows, TheFirstFailedCheckDecides)
{
    const Selection s = random_selection(Values::Small, 5, 4, 6, 3);
    SelectionTrial trial(s, {{}, {}, {}, {}, 1});
    static const int32_t beyond[6] = {0, 0, 0, 4, 0, 0};
    static const uint16_t zeros[6] = {};
    using N = NRowsArguments;
    const Fault<N> null_source = {"null source", SrErrNullPtr, [](N& a) { a.src = nullptr; }};
    const Fault<N> null_result = {"null result", SrErrNullPtr, [](N& a) { a.dst = nullptr; }};
    const Fault<N> null_first = {"null first", SrErrNullPtr, [](N& a) { a.first = nullptr; }};
    const Fault<N> null_second = {"null second", SrErrNullPtr, [](N& a) { a.second = nullptr; }};
    const Fault<N> step = {"step", SrErrStride, [](N& a) { a.step = 7; }};
    const Fault<N> index = {"index", SrErrSize, [](N& a) {
                                a.first = beyond;
                                a.second = zeros;
                            }};
    for (int32_t size : {0, -1, INT32_MIN})
        expect_check_order<N>(trial.arguments(),
                              {null_source,
                               null_result,
                               null_first,
                               null_second,
                               {"count", SrErrSize, [size](N& a) { a.count = size; }},
                               {"height", SrErrSize, [size](N& a) { a.height = size; }},
                               {"width", SrErrSize, [size](N& a) { a.width = size; }},
                               {"offset", SrErrSize, [](N& a) { a.offset = -1; }},
                               step,
                               index},
                              call, {&trial.result});
}

// Offset and width whose sum does not fit 32 bits lie beyond every step.
TEST(AddNRows, OffsetAndWidthAreAddedInFull)
{
    const Selection s = random_selection(Values::Small, 5, 4, 6, 0);
    SelectionTrial trial(s);
    for (const auto& [offset, width] : {std::pair{INT32_MAX, 1}, {INT32_MAX, INT32_MAX}, {1, INT32_MAX}})
        for (int32_t step : {5, INT32_MAX}) {
            NRowsArguments arguments = trial.arguments();
            arguments.offset = offset;
            arguments.width = width;
            arguments.step = step;
            EXPECT_EQ(call(arguments), SrErrStride) << offset << " + " << width << " > " << step;
            EXPECT_TRUE(trial.result.as_snapshot());
        }
}

TEST(AddNRows, AsksForNoMemory)
{
    const Selection s = random_selection(Values::Small, 500, 100, 500, 0);
    const SelectionTrial trial(s);
    const AllocatorWatch watch;
    EXPECT_EQ(call(trial.arguments()), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __x86_64__
TEST(AddNRows, RowsLieBeyond32BitsOfElements)
{
    if (thin_effort()) return;
    SparseBlock<float> block;
    Selection s = random_selection(Values::Wide, 33, block.kHeight, 20, 3);
    block.fill(s.rows);
    const SelectionTrial trial(s);
    NRowsArguments arguments = trial.arguments();
    arguments.src = block.row(0);
    arguments.step = block.kStep;
    EXPECT_TRUE(trial.right(call(arguments)));
}

TEST(AddAllRowSum, RowsLieBeyond32BitsOfElements)
{
    if (thin_effort()) return;
    SparseBlock<float> block;
    const Rows<float> rows = random_rows<float>(Values::Wide, 33, block.kHeight);
    block.fill(rows);
    Vector sum(33), expected(33);
    for (std::size_t c = 0; c < 33; ++c) expected[c] = reference::added_rows(0.0F, rows, c);
    ASSERT_EQ(zelsAddAllRowSum_32f_D2(block.row(0), block.kStep, block.kHeight, sum.data(), 33), SrOk);
    EXPECT_TRUE(same_values(expected, sum));
}
#endif

#ifdef __i386__
TEST(AddNRows, TakesACallWithTheStackOn4Bytes)
{
    for (int stack : {0, 4, 8, 12})
        for (int width : {3, 8, 39}) {
            const Selection s = random_selection(Values::Wide, width, 5, 6, 4);
            stack_misalign = stack;
            const testing::AssertionResult right = sums(s);
            stack_misalign = -1;
            ASSERT_TRUE(right) << "stack " << stack;
        }
}
#endif

}  // namespace
}  // namespace zelsr::test::matrix
