// The tables of codewords near each cell of a grid, in codebooks of one and two dimensions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>

#include "support/environment.h"
#include "support/reference/field_table.h"
#include "vq/codebook_members.h"

namespace zelsr::test {
namespace {

using reference::LinearField;
using reference::SquareField;

template <class Family>
class CodebookField : public testing::Test {};
TYPED_TEST_SUITE(CodebookField, Families, FamilyNames);

struct LinearView {
    int32_t cells;
    float cell_width, low_edge, high_edge;
    const int32_t* const* lists;
    const int32_t* lengths;
};
struct SquareView {
    int32_t columns, rows;
    float cell_width, cell_height, low_edge_1, high_edge_2, high_edge_1, low_edge_2;
    const int32_t* const* lists;
    const int32_t* lengths;
};
static_assert(sizeof(void*) == 8 || (sizeof(LinearView) == 24 && sizeof(SquareView) == 40));

testing::AssertionResult same_lists(const reference::Lists& expected, const int32_t* const* lists,
                                    const int32_t* lengths)
{
    for (std::size_t i = 0; i < expected.size(); ++i)
        if (auto same = same_values(expected[i], elements(lists[i], at(lengths[i]))); !same)
            return testing::AssertionFailure() << "list " << i << ": " << same.message();
    return testing::AssertionSuccess();
}

// Both return whether there is a table.
template <class T>
bool expect_linear(const LinearField& expected, const CodebookView<T>& view)
{
    EXPECT_EQ(view.field != nullptr, expected.made);
    EXPECT_EQ(view.flags & 1, expected.made ? 1 : 0);
    if (view.field == nullptr || !expected.made) return false;
    const auto& field = *static_cast<const LinearView*>(view.field);
    EXPECT_EQ(field.cells, expected.cells);
    EXPECT_TRUE(same_value(expected.width, field.cell_width));
    EXPECT_TRUE(same_value(expected.range.low_edge, field.low_edge));
    EXPECT_TRUE(same_value(expected.range.high_edge, field.high_edge));
    if (testing::Test::HasFailure()) return true;
    EXPECT_TRUE(same_lists(expected.lists, field.lists, field.lengths));
    return true;
}

template <class T>
bool expect_square(const SquareField& expected, const CodebookView<T>& view)
{
    EXPECT_EQ(view.field != nullptr, expected.made);
    EXPECT_EQ(view.flags & 1, expected.made ? 1 : 0);
    if (view.field == nullptr || !expected.made) return false;
    const auto& field = *static_cast<const SquareView*>(view.field);
    EXPECT_EQ(field.columns, expected.columns);
    EXPECT_EQ(field.rows, expected.rows);
    EXPECT_TRUE(same_value(expected.width, field.cell_width));
    EXPECT_TRUE(same_value(expected.height, field.cell_height));
    EXPECT_TRUE(same_value(expected.first.low_edge, field.low_edge_1));
    EXPECT_TRUE(same_value(expected.first.high_edge, field.high_edge_1));
    EXPECT_TRUE(same_value(expected.second.low_edge, field.low_edge_2));
    EXPECT_TRUE(same_value(expected.second.high_edge, field.high_edge_2));
    if (testing::Test::HasFailure()) return true;
    EXPECT_TRUE(same_lists(expected.lists, field.lists, field.lengths));
    return true;
}

template <class Family>
bool expect_table(const Training<typename Family::Element>& training)
{
    const Trained<Family> trained(training);
    EXPECT_EQ(trained.status, SrOk);
    if (trained.get() == nullptr) return false;
    bool made = false;
    if (training.height() < 11)
        EXPECT_EQ(trained.view().field, nullptr);
    else if (training.width() == 1)
        made = expect_linear(reference::linear_field(training.rows), trained.view());
    else
        made = expect_square(reference::square_field(training.rows, training.all_weights()), trained.view());
    EXPECT_FALSE(testing::Test::HasFailure()) << training.describe();
    return made;
}

template <class T>
Training<T> full(const Rows<T>& rows, std::vector<T> weights = {})
{
    return {rows, std::move(weights), static_cast<int32_t>(rows.size()), SrCdbkFull};
}

// Values of one coordinate, evenly or not, around zero, on one side of it, or far from it.
template <class T>
std::vector<T> coordinate(int shape, int count)
{
    const T unit = std::is_same_v<T, float> ? T(1) : T(5000);
    std::vector<T> values;
    for (int i = 0; i < count; ++i) {
        const double even = (2.0 * i - count + 1) / count, random = uniform(-1.0, 1.0);
        const double value = shape == 0   ? even
                             : shape == 1 ? random
                             : shape == 2 ? random + 1
                             : shape == 3 ? random - 1.5
                             : shape == 4 ? random + 5
                             : shape == 5 ? random * std::abs(random)
                             : shape == 6 ? even - 0.95
                                          : std::round(random * 8) / 8;
        values.push_back(static_cast<T>(value * unit));
    }
    std::shuffle(values.begin(), values.end(), generator());
    return values;
}
constexpr int kShapes = 8;

TYPED_TEST(CodebookField, OfOneDimensionIsTheReferences)
{
    using T = typename TypeParam::Element;
    int made = 0, all = 0;
    for (int round = 0; round < (thin_effort() ? 40 : 800); ++round) {
        Rows<T> rows;
        for (T x : coordinate<T>(round % kShapes, uniform(9, round % 3 == 0 ? 400 : 60))) rows.push_back({x});
        Training<T> training = full(rows);
        if (round % 4 == 0) training.weights = {T(3)};
        ++all;
        made += expect_table<TypeParam>(training);
        if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(made, all / 10);
    EXPECT_LT(made, all - all / 10);
}

TYPED_TEST(CodebookField, OfTwoDimensionsIsTheReferences)
{
    using T = typename TypeParam::Element;
    int made = 0, all = 0;
    for (int round = 0; round < (thin_effort() ? 4 : 32); ++round) {
        const int count = round % 3 == 0 ? uniform(11, 60) : round % 3 == 1 ? uniform(60, 130) : uniform(130, 250);
        const std::vector<T> x = coordinate<T>(round % kShapes, count);
        const std::vector<T> y = coordinate<T>(round / kShapes % kShapes, count);
        Rows<T> rows;
        for (std::size_t i = 0; i < x.size(); ++i) rows.push_back({x[i], y[i]});
        Training<T> training = full(rows);
        if (round % 2 == 0) training.weights = uniform_vector(2, T(0), T(4));
        ++all;
        made += expect_table<TypeParam>(training);
        if (testing::Test::HasFailure()) return;
    }
    if (thin_effort()) return;  // by chance all of four have a table, or none
    EXPECT_GT(made, all / 10);
    EXPECT_LT(made, all);
}

TYPED_TEST(CodebookField, OfSpeechIsTheReferences)
{
    using T = typename TypeParam::Element;
    expect_table<TypeParam>(full(speech_rows<T>(1)));
    if (thin_effort()) return;
    expect_table<TypeParam>(full(speech_rows<T>(2)));
    expect_table<TypeParam>(full(speech_rows<T>(2), {T(4), T(1)}));
}

TYPED_TEST(CodebookField, NeedsElevenCodewords)
{
    using T = typename TypeParam::Element;
    for (int count : {10, 11}) {
        Rows<T> rows;
        for (int i = 0; i < count; ++i) rows.push_back({T(2000 * i - 1000 * (count - 1))});
        EXPECT_EQ(expect_table<TypeParam>(full(rows)), count == 11);
    }
}

// Eleven values at even distances around zero: as many cells as it takes until one is empty.
TYPED_TEST(CodebookField, OfOneDimensionByValue)
{
    using T = typename TypeParam::Element;
    Rows<T> rows;
    for (int i = 0; i < 11; ++i) rows.push_back({T(2000 * i - 10000)});
    const Trained<TypeParam> trained(full(rows));
    ASSERT_EQ(trained.status, SrOk);
    const CodebookView<T> view = trained.view();
    ASSERT_NE(view.field, nullptr);
    const auto& field = *static_cast<const LinearView*>(view.field);
    EXPECT_EQ(field.cells, 11);
    EXPECT_FLOAT_EQ(field.cell_width, 2000);
    EXPECT_FLOAT_EQ(field.low_edge, -11000);
    EXPECT_FLOAT_EQ(field.high_edge, 11000);
    for (int cell = 0; cell < 11; ++cell) {
        std::vector<int32_t> expected = {cell};
        if (cell > 0) expected.push_back(cell - 1);
        if (cell < 10) expected.push_back(cell + 1);
        EXPECT_EQ(elements(field.lists[cell + 1], at(field.lengths[cell + 1])), expected) << cell;
    }
    EXPECT_EQ(elements(field.lists[0], at(field.lengths[0])), (std::vector<int32_t>{0, 1}));
    EXPECT_EQ(elements(field.lists[12], at(field.lengths[12])), (std::vector<int32_t>{10, 9}));
}

// Values just below the borders of cells. In 16 bits a thousandth of a cell lifts them over when lists are filled,
// not when grids are tried, where it would leave cell 1 empty: wanted.
TYPED_TEST(CodebookField, ListsAreLiftedIn16BitsGridsAreNot)
{
    using T = typename TypeParam::Element;
    Rows<T> rows = {{T(-15000)}};
    for (int border = -10500; border < 15000; border += 3000) rows.push_back({T(border - 1)});
    rows.push_back({T(15000)});
    EXPECT_TRUE(expect_table<TypeParam>(full(rows)));
    const Trained<TypeParam> trained(full(rows));
    ASSERT_NE(trained.view().field, nullptr);
    const auto& field = *static_cast<const LinearView*>(trained.view().field);
    ASSERT_EQ(field.cells, 11);
    const auto list = [&](int cell) { return elements(field.lists[cell + 1], at(field.lengths[cell + 1])); };
    using List = std::vector<int32_t>;
    if (std::is_same_v<T, float>) {
        EXPECT_EQ(list(0), (List{0, 1}));
        EXPECT_EQ(list(1), (List{1, 0, 2}));
        EXPECT_EQ(list(10), (List{10, 9}));
    } else {
        EXPECT_EQ(list(0), (List{0, 1}));
        EXPECT_EQ(list(1), (List{0, 1}));
        EXPECT_EQ(list(2), (List{1, 0, 2}));
        EXPECT_EQ(list(10), (List{9, 10, 8}));
    }
}

// Of equally near neighbours the first.
TYPED_TEST(CodebookField, OfEqualNeighboursTheFirstIsTaken)
{
    using T = typename TypeParam::Element;
    Rows<T> rows;
    for (int i = 0; i < 33; ++i) rows.push_back({T(2000 * (i % 11) - 10000)});
    const Trained<TypeParam> trained(full(rows));
    ASSERT_EQ(trained.status, SrOk);
    ASSERT_NE(trained.view().field, nullptr);
    const auto& field = *static_cast<const LinearView*>(trained.view().field);
    ASSERT_EQ(field.cells, 11);
    EXPECT_EQ(elements(field.lists[4], at(field.lengths[4])), (std::vector<int32_t>{3, 14, 25, 2, 4}));
}

// Values far from zero leave the low cells empty: no table, silently.
TYPED_TEST(CodebookField, FarFromZeroThereIsNone)
{
    using T = typename TypeParam::Element;
    Rows<T> rows;
    for (int i = 0; i < 100; ++i) rows.push_back({T(20000 + i)});
    EXPECT_FALSE(expect_table<TypeParam>(full(rows)));
}

TYPED_TEST(CodebookField, WithoutExtentThereIsNone)
{
    using T = typename TypeParam::Element;
    EXPECT_FALSE(expect_table<TypeParam>(full(Rows<T>(40, {T(7)}))));
    EXPECT_FALSE(expect_table<TypeParam>(full(Rows<T>(40, {T(7), T(7)}))));
    EXPECT_FALSE(expect_table<TypeParam>(full(Rows<T>(40, {T(0)}))));
    Rows<T> line;
    for (int i = 0; i < 200; ++i) line.push_back({T(i - 100), T(5)});
    EXPECT_FALSE(expect_table<TypeParam>(full(line)));
    for (auto& row : line) std::swap(row[0], row[1]);
    EXPECT_FALSE(expect_table<TypeParam>(full(line)));
}

// Lists at the edges are one and the same for a whole edge.
TYPED_TEST(CodebookField, EdgesShareTheirList)
{
    using T = typename TypeParam::Element;
    const Trained<TypeParam> trained(full(even_rows<T>(2)));
    ASSERT_NE(trained.view().field, nullptr);
    const auto& field = *static_cast<const SquareView*>(trained.view().field);
    const int32_t across = field.columns + 2, last = (field.rows + 1) * across;
    for (int32_t i = 1; i <= field.columns; ++i) {
        EXPECT_EQ(field.lists[i], field.lists[1]);
        EXPECT_EQ(field.lists[last + i], field.lists[last + 1]);
    }
    for (int32_t j = 1; j <= field.rows; ++j) {
        EXPECT_EQ(field.lists[j * across], field.lists[across]);
        EXPECT_EQ(field.lists[j * across + across - 1], field.lists[2 * across - 1]);
    }
    const std::set<const int32_t*> distinct = {field.lists[1], field.lists[last + 1], field.lists[across],
                                               field.lists[2 * across - 1]};
    EXPECT_EQ(distinct.size(), 4u);
}

// Size and height differ: a table over all rows, and the warning.
TYPED_TEST(CodebookField, CoversAllRowsWhateverTheSize)
{
    using T = typename TypeParam::Element;
    Training<T> training = full(Rows<T>{});
    for (T x : coordinate<T>(0, 50)) training.rows.push_back({x});
    training.size = 20;
    const Trained<TypeParam> trained(training);
    EXPECT_EQ(trained.status, SrWarnCdbkSize);
    EXPECT_EQ(trained.view().count, 50);
    EXPECT_TRUE(expect_linear(reference::linear_field(training.rows), trained.view()));
}

// Values that no cell holds: no promise but a status, nothing left, nothing written beside.
TEST(CodebookField_32f, RowsThatAreNoNumbersOrOverflowEndInAStatus)
{
    std::vector<float> special = special_values<float>();
    special.insert(special.end(), {3e38F, -3e38F, 1e30F, 1e-30F});
    for (int round = 0; round < (thin_effort() ? 50 : 400); ++round) {
        const int width = 1 + round % 2, count = uniform(11, 60);
        Training<float> training = full(random_rows<float>(count, width, -1, 1));
        for (int n = uniform(1, 4); n > 0; --n)
            training.rows[generator()() % training.rows.size()][generator()() % at(width)] =
                special[generator()() % special.size()];
        if (round % 3 == 0) training.weights = uniform_vector<float>(width, 0, 1e30F);
        const Trained<Family_32f> trained(training);
        EXPECT_EQ(trained.status, SrOk);
    }
}

// A narrow cluster and one value far away: its cell lies beyond 32 bits of the cells' width, yet beyond the last.
TEST(CodebookField_32f, CellsBeyond32BitsAreBeyondTheLast)
{
    for (float far : {1e10F, -1e10F, 3e38F, 1e20F}) {
        Rows<float> rows;
        for (int i = 0; i < 60; ++i) rows.push_back({static_cast<float>(i - 30)});
        rows.push_back({far});
        expect_table<Family_32f>(full(rows));
    }
    // Low edges far below the values: quotients beyond 2^32.
    Rows<float> rows;
    for (int i = 0; i < 30; ++i) rows.push_back({1e10F + 1024.0F * static_cast<float>(i)});
    expect_table<Family_32f>(full(rows));
    for (auto& row : rows) row[0] = -row[0];
    expect_table<Family_32f>(full(rows));
}

TYPED_TEST(CodebookField, IsTheSameUnderEachEnvironment)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2}) {
        const Rows<T> rows = even_rows<T>(width);
        const Training<T> training = full(rows);
        const auto linear = reference::linear_field(rows);
        const auto square = width == 2 ? reference::square_field(rows, training.all_weights()) : SquareField{};
        typename TypeParam::State* state = nullptr;
        SrStatus status = SrErrUnknown;
        under_each_environment([&] { status = train<TypeParam>(training, &state); },
                               [&](const std::string& setting) {
                                   SCOPED_TRACE(setting);
                                   ASSERT_EQ(status, SrOk);
                                   EXPECT_TRUE(width == 1 ? expect_linear(linear, view_of(state))
                                                          : expect_square(square, view_of(state)));
                                   EXPECT_EQ(TypeParam::kFree(state), SrOk);
                               });
    }
}

}  // namespace
}  // namespace zelsr::test
