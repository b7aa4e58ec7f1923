// Steps on columns and rows in double precision.
#include <cfenv>

#include "matrix/svd_calls.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test::svd {
namespace {

constexpr double kUnwritten = -777.25;

// What a step is given. first_row: of those that take one.
struct Step {
    Matrix rows;
    int column = 0, second_column = 0, first_row = 0;
    double factor = 1, second_factor = 1;

    int width() const { return static_cast<int>(rows[0].size()); }
    int height() const { return static_cast<int>(rows.size()); }
    std::size_t run() const { return rows.size() - static_cast<std::size_t>(first_row); }
    double& at(std::size_t i, int c)
    {
        return rows[static_cast<std::size_t>(first_row) + i][static_cast<std::size_t>(c)];
    }
};

struct Arguments {
    double* const* list;
    int32_t width, height;
    double* result;
    int32_t column, second_column, first_row;
    double factor, second_factor;
};

struct ColumnMember {
    const char* name;
    bool has_result, has_second_column, has_first_row;
    SrStatus (*call)(const Arguments&);
    double (*reference)(Step&);  // changes the matrix
};

double magnitudes(Step& p)
{
    return reference::svd::sum_of(p.run(), [&](std::size_t i) { return std::abs(p.at(i, p.column)); });
}
double multiplied(Step& p)
{
    for (std::size_t i = 0; i < p.run(); ++i) p.at(i, p.column) *= p.factor;
    return 0;
}
double squares(Step& p)
{
    multiplied(p);
    return reference::svd::sum_of(p.run(), [&](std::size_t i) { return p.at(i, p.column) * p.at(i, p.column); });
}
double products(Step& p)
{
    return reference::svd::sum_of(p.run(),
                                  [&](std::size_t i) { return p.at(i, p.column) * p.at(i, p.second_column); });
}
double added(Step& p)
{
    for (std::size_t i = 0; i < p.run(); ++i) p.at(i, p.second_column) += p.factor * p.at(i, p.column);
    return 0;
}
double rotated(Step& p)
{
    reference::svd::rotate(p.rows, static_cast<std::size_t>(p.column), static_cast<std::size_t>(p.second_column),
                           p.factor, p.second_factor);
    return 0;
}

const std::vector<ColumnMember>& column_members()
{
    using A = Arguments;
    static const std::vector<ColumnMember> all = {
        {"zelsSumColumnAbs_64f_D2L", true, false, true,
         [](const A& a) {
             return invoke(zelsSumColumnAbs_64f_D2L, a.list, a.width, a.height, a.result, a.column, a.first_row);
         },
         magnitudes},
        {"zelsSumColumnSqr_64f_D2L", true, false, true,
         [](const A& a) {
             return invoke(zelsSumColumnSqr_64f_D2L, a.list, a.width, a.height, a.result, a.column, a.first_row,
                           a.factor);
         },
         squares},
        {"zelsDotProdColumn_64f_D2L", true, true, true,
         [](const A& a) {
             return invoke(zelsDotProdColumn_64f_D2L, a.list, a.width, a.height, a.result, a.column,
                           a.second_column, a.first_row);
         },
         products},
        {"zelsAddMulColumn_64f_D2L", false, true, true,
         [](const A& a) {
             return invoke(zelsAddMulColumn_64f_D2L, a.list, a.width, a.height, a.column, a.second_column,
                           a.first_row, a.factor);
         },
         added},
        {"zelsMulColumn_64f_D2L", false, false, true,
         [](const A& a) {
             return invoke(zelsMulColumn_64f_D2L, a.list, a.width, a.height, a.column, a.first_row, a.factor);
         },
         multiplied},
        {"zelsQRTransColumn_64f_D2L", false, true, false,
         [](const A& a) {
             return invoke(zelsQRTransColumn_64f_D2L, a.list, a.width, a.height, a.column, a.second_column,
                           a.factor, a.second_factor);
         },
         rotated},
    };
    return all;
}

struct Places {
    std::vector<int> row_misalign = {0};
    Edge edge = Edge::Back;
    Placement list, result;
};

// A step's arrays between guard pages.
struct Trial {
    Trial(const Step& step, const Places& places = {})
        : p(step),
          rows(p.rows, places.row_misalign, places.edge),
          list(p.rows.size(), places.list),
          result(std::vector<double>{kUnwritten}, places.result)
    {
        for (std::size_t r = 0; r < p.rows.size(); ++r) list.set(r, rows.list()[r]);
        list.take_snapshot();
    }
    Arguments arguments() const
    {
        return {list.data(),     p.width(),   p.height(), result.data(),  p.column,
                p.second_column, p.first_row, p.factor,   p.second_factor};
    }
    Matrix matrix() const { return rows_of(list.data(), p.rows.size(), p.rows[0].size()); }

    Step p;
    GuardedRows<double> rows;
    Guarded<double*> list;
    Guarded<double> result;
};

testing::AssertionResult steps(const ColumnMember& m, const Step& step, const Places& places = {})
{
    const Trial trial(step, places);
    const SrStatus status = m.call(trial.arguments());
    Step expected = step;
    const double result = m.reference(expected);
    testing::AssertionResult verdict = same_rows(expected.rows, trial.matrix());
    if (verdict) verdict = same_value(m.has_result ? result : kUnwritten, trial.result.get(0));
    if (status != SrOk) verdict = testing::AssertionFailure() << "status " << status;
    if (!trial.rows.intact() || !trial.list.as_snapshot() || !trial.result.intact())
        verdict = testing::AssertionFailure() << "written beside the elements";
    if (verdict) return verdict;
    return testing::AssertionFailure() << m.name << ", " << step.height() << " rows of " << step.width()
                                       << ", columns " << step.column << " and " << step.second_column
                                       << " from row " << step.first_row << ": " << verdict.message();
}

Step random_step(int height, int width)
{
    return {random_matrix(height, width), uniform(0, width - 1), uniform(0, width - 1),
            uniform(0, height - 1),       uniform(-2.0, 2.0),    uniform(-2.0, 2.0)};
}

TEST(SvdColumns, EveryHeightAndRun)
{
    Cycle list_places(placements(sizeof(void*))), result_places(placements(sizeof(double)));
    for (const ColumnMember& m : column_members())
        for (int height : lengths(8))
            for (int first_row = 0; first_row < height; ++first_row) {
                if (thin_effort() && first_row % 3 != 0) continue;
                Step step = random_step(height, uniform(1, 4));
                step.first_row = m.has_first_row ? first_row : 0;
                Places places{{0, 8, uniform(0, 15)}, first_row % 2 == 0 ? Edge::Back : Edge::Front, {}, {}};
                places.list = list_places.next();
                places.result = result_places.next();
                ASSERT_TRUE(steps(m, step, places));
            }
}

TEST(SvdColumns, LongColumns)
{
    for (const ColumnMember& m : column_members())
        for (int height : {100, 257, 401}) {
            if (thin_effort() && height > 100) continue;
            ASSERT_TRUE(steps(m, random_step(height, 3)));
        }
}

// One column as both: a dot product is a sum of squares, and a rotation takes its two results in turn.
TEST(SvdColumns, AColumnWithItself)
{
    Step step{{{2}, {3}}, 0, 0, 0, 5, 7};
    for (const ColumnMember& m : column_members()) ASSERT_TRUE(steps(m, step));
    Matrix matrix = {{2}, {3}};
    double* const list[] = {matrix[0].data(), matrix[1].data()};
    double result = 0;
    ASSERT_EQ(zelsDotProdColumn_64f_D2L(list, 1, 2, &result, 0, 0, 0), SrOk);
    EXPECT_EQ(result, 13);
    ASSERT_EQ(zelsAddMulColumn_64f_D2L(list, 1, 2, 0, 0, 1, 2), SrOk);
    EXPECT_EQ(matrix[0][0], 2);
    EXPECT_EQ(matrix[1][0], 9);
}

TEST(SvdColumns, AreTheirFormulas)
{
    Matrix a = {{1, -2, 3}, {-4, 5, -6}, {7, -8, 9}};
    double* const list[] = {a[0].data(), a[1].data(), a[2].data()};
    double result = 0;
    ASSERT_EQ(zelsSumColumnAbs_64f_D2L(list, 3, 3, &result, 1, 1), SrOk);
    EXPECT_EQ(result, 13);
    ASSERT_EQ(zelsDotProdColumn_64f_D2L(list, 3, 3, &result, 0, 2, 1), SrOk);
    EXPECT_EQ(result, 24 + 63);
    ASSERT_EQ(zelsSumColumnSqr_64f_D2L(list, 3, 3, &result, 2, 1, 2), SrOk);
    EXPECT_EQ(result, 144 + 324);
    EXPECT_TRUE(same_rows({{1, -2, 3}, {-4, 5, -12}, {7, -8, 18}}, a));
    ASSERT_EQ(zelsAddMulColumn_64f_D2L(list, 3, 3, 0, 1, 2, 10), SrOk);
    EXPECT_TRUE(same_rows({{1, -2, 3}, {-4, 5, -12}, {7, 62, 18}}, a));
    ASSERT_EQ(zelsMulColumn_64f_D2L(list, 3, 3, 0, 0, -1), SrOk);
    EXPECT_TRUE(same_rows({{-1, -2, 3}, {4, 5, -12}, {-7, 62, 18}}, a));
    // Column b takes c b + s a, column a takes c a - s b.
    ASSERT_EQ(zelsQRTransColumn_64f_D2L(list, 3, 3, 0, 2, 2, 3), SrOk);
    EXPECT_TRUE(same_rows({{-2 - 9, -2, 6 - 3}, {8 + 36, 5, -24 + 12}, {-14 - 54, 62, 36 - 21}}, a));

    double row[] = {1, -2, 3, -4, 5}, other[] = {1, 1, 1, 1, 1};
    ASSERT_EQ(zelsSumRowAbs_64f(row, 5, &result), SrOk);
    EXPECT_EQ(result, 15);
    ASSERT_EQ(zelsAddMulRow_64f(row, other, 4, 2), SrOk);
    EXPECT_EQ(std::vector<double>(other, other + 5), (std::vector<double>{3, -3, 7, -7, 1}));
    ASSERT_EQ(zelsSumRowSqr_64f(row, 4, &result, 2), SrOk);
    EXPECT_EQ(result, 4 + 16 + 36 + 64);
    EXPECT_EQ(std::vector<double>(row, row + 5), (std::vector<double>{2, -4, 6, -8, 5}));
}

TEST(SvdColumns, SpecialValuesFlowThrough)
{
    Cycle specials(special_values<double>());
    for (const ColumnMember& m : column_members())
        for (int height : {1, 2, 4, 5, 9, 14})
            for (int i = 0; i < (thin_effort() ? 3 : 20); ++i) {
                Step step = random_step(height, 3);
                step.rows[generator()() % step.rows.size()][static_cast<std::size_t>(step.column)] =
                    specials.next();
                if (i % 3 == 0) step.factor = specials.next();
                if (i % 4 == 0) step.second_factor = specials.next();
                ASSERT_TRUE(steps(m, step));
            }
}

TEST(SvdColumns, NullComesBeforeSizesAndIndices)
{
    for (const ColumnMember& m : column_members())
        for (int32_t size : {0, -1, INT32_MIN})
            for (int32_t over : {0, 1, 100}) {
                Trial trial(random_step(4, 3));
                std::vector<Fault<Arguments>> faults = {
                    {"list", SrErrNullPtr, [](Arguments& a) { a.list = nullptr; }},
                    {"width", SrErrSize, [size](Arguments& a) { a.width = size; }},
                    {"height", SrErrSize, [size](Arguments& a) { a.height = size; }},
                    {"column", SrErrSize, [over](Arguments& a) { a.column = 3 + over; }},
                    {"negative column", SrErrSize, [over](Arguments& a) { a.column = -1 - over; }}};
                if (m.has_result)
                    faults.insert(faults.begin(),
                                  {"result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }});
                if (m.has_second_column) {
                    faults.push_back({"second", SrErrSize, [over](Arguments& a) { a.second_column = 3 + over; }});
                    faults.push_back(
                        {"lowest second", SrErrSize, [](Arguments& a) { a.second_column = INT32_MIN; }});
                }
                if (m.has_first_row) {
                    faults.push_back({"row", SrErrSize, [over](Arguments& a) { a.first_row = 4 + over; }});
                    faults.push_back({"negative row", SrErrSize, [](Arguments& a) { a.first_row = -1; }});
                }
                expect_check_order<Arguments>(trial.arguments(), faults, m.call, {&trial.list, &trial.result});
                EXPECT_TRUE(same_rows(trial.p.rows, trial.matrix())) << m.name;
            }
}

// --- along arrays ---

struct RowStep {
    std::vector<double> src, srcdst;
    double factor;
};
struct RowArguments {
    const double* src;
    double* srcdst;
    int32_t len;
    double* result;
    double factor;
};
struct RowMember {
    const char* name;
    bool has_src, has_srcdst, has_result;
    SrStatus (*call)(const RowArguments&);
    double (*reference)(RowStep&);
};

const std::vector<RowMember>& row_members()
{
    using A = RowArguments;
    static const std::vector<RowMember> all = {
        {"zelsSumRowAbs_64f", true, false, true,
         [](const A& a) { return invoke(zelsSumRowAbs_64f, a.src, a.len, a.result); },
         [](RowStep& p) {
             return reference::svd::sum_of(p.src.size(), [&](std::size_t i) { return std::abs(p.src[i]); });
         }},
        {"zelsSumRowSqr_64f", false, true, true,
         [](const A& a) { return invoke(zelsSumRowSqr_64f, a.srcdst, a.len, a.result, a.factor); },
         [](RowStep& p) {
             for (double& x : p.srcdst) x *= p.factor;
             return reference::svd::sum_of(p.srcdst.size(),
                                           [&](std::size_t i) { return p.srcdst[i] * p.srcdst[i]; });
         }},
        {"zelsAddMulRow_64f", true, true, false,
         [](const A& a) { return invoke(zelsAddMulRow_64f, a.src, a.srcdst, a.len, a.factor); },
         [](RowStep& p) {
             for (std::size_t i = 0; i < p.src.size(); ++i) p.srcdst[i] += p.factor * p.src[i];
             return kUnwritten;
         }},
    };
    return all;
}

testing::AssertionResult steps(const RowMember& m, const RowStep& step, const Arrangement& where)
{
    Guarded<double> src(step.src, where[0]), srcdst(step.srcdst, where[1]);
    Guarded<double> result(std::vector<double>{kUnwritten}, where[2]);
    src.take_snapshot();
    const SrStatus status =
        m.call({src.data(), srcdst.data(), static_cast<int32_t>(step.src.size()), result.data(), step.factor});
    RowStep expected = step;
    const double expected_result = m.reference(expected);
    testing::AssertionResult verdict = same_values(expected.srcdst, srcdst.values());
    if (verdict) verdict = same_value(expected_result, result.get(0));
    if (status != SrOk) verdict = testing::AssertionFailure() << "status " << status;
    if (!src.as_snapshot() || !srcdst.intact() || !result.intact())
        verdict = testing::AssertionFailure() << "written beside the elements";
    if (verdict) return verdict;
    return testing::AssertionFailure() << m.name << ", " << step.src.size() << " elements: " << verdict.message()
                                       << "; " << describe(where);
}

RowStep random_row_step(int len)
{
    return {uniform_vector(len, -1.0, 1.0), uniform_vector(len, -1.0, 1.0), uniform(-2.0, 2.0)};
}

TEST(SvdRows, EveryLengthAndPlacement)
{
    for (const RowMember& m : row_members())
        for (int len : lengths(8))
            for (const Arrangement& where : arrangements(3, sizeof(double)))
                ASSERT_TRUE(steps(m, random_row_step(len), where));
}

TEST(SvdRows, SpecialValuesFlowThrough)
{
    Cycle specials(special_values<double>());
    Cycle places(arrangements(3, sizeof(double)));
    for (const RowMember& m : row_members())
        for (int len : {1, 3, 4, 7, 12, 1000})
            for (int i = 0; i < 20; ++i) {
                RowStep step = random_row_step(len);
                const std::size_t at = generator()() % step.src.size();
                step.src[at] = specials.next();
                if (i % 2 == 0) step.srcdst[at] = specials.next();
                if (i % 3 == 0) step.factor = specials.next();
                ASSERT_TRUE(steps(m, step, places.next()));
            }
}

TEST(SvdRows, NullComesBeforeLength)
{
    for (const RowMember& m : row_members()) {
        Guarded<double> src(std::vector<double>{1, 2}), srcdst(std::vector<double>{3, 4}), result(1);
        std::vector<Fault<RowArguments>> faults;
        if (m.has_src) faults.push_back({"source", SrErrNullPtr, [](RowArguments& a) { a.src = nullptr; }});
        if (m.has_srcdst)
            faults.push_back({"in and out", SrErrNullPtr, [](RowArguments& a) { a.srcdst = nullptr; }});
        if (m.has_result) faults.push_back({"result", SrErrNullPtr, [](RowArguments& a) { a.result = nullptr; }});
        for (int32_t len : {0, -1, INT32_MIN})
            faults.push_back({"length", SrErrSize, [len](RowArguments& a) { a.len = len; }});
        expect_check_order<RowArguments>({src.data(), srcdst.data(), 2, result.data(), 2}, faults, m.call,
                                         {&srcdst, &result});
    }
}

// --- both ---

TEST(SvdColumnsAndRows, TakeTheRoundingModeAndNoMemory)
{
    const AllocatorWatch watch;
    for (int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
        std::fesetround(mode);
        for (const ColumnMember& m : column_members()) EXPECT_TRUE(steps(m, random_step(21, 3)));
        for (const RowMember& m : row_members()) EXPECT_TRUE(steps(m, random_row_step(21), Arrangement(3)));
        EXPECT_EQ(std::fegetround(), mode);
        std::fesetround(FE_TONEAREST);
    }
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __i386__
TEST(SvdColumnsAndRows, TakeACallWithTheStackOn4Bytes)
{
    for (int stack : {0, 4, 8, 12}) {
        matrix::stack_misalign = stack;
        for (const ColumnMember& m : column_members()) EXPECT_TRUE(steps(m, random_step(21, 3)));
        for (const RowMember& m : row_members()) EXPECT_TRUE(steps(m, random_row_step(21), Arrangement(3)));
        matrix::stack_misalign = -1;
    }
}
#endif

}  // namespace
}  // namespace zelsr::test::svd
