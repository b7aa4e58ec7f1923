// Distances of many vectors to a Gaussian, and of one vector to many Gaussians.
#include <gtest/gtest.h>

#include <memory>

#include "likelihood/gauss_multimix_members.h"
#include "likelihood/sizes.h"
#include "matrix/matrix_calls.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/distance.h"
#include "zelsr/likelihood/distance.h"

namespace zelsr::test::mah_dist {
namespace {

// rows: frames, or means; row_weights: many Gaussians' inverse variances; vector: a mean, or a feature; weights:
// one Gaussian's inverse variances.
template <class T>
struct Arguments {
    const T *block, *weight_block;
    int32_t step;
    const T *const *list, *const *weight_list;
    const T *vector, *weights;
    int32_t width;
    T* distance;
    int32_t height;
};

template <class T>
struct Member {
    const char* name;
    bool list, many_gaussians;
    SrStatus (*call)(const Arguments<T>&);
};

template <class T, auto kD2, auto kD2L, auto kMultiMixD2, auto kMultiMixD2L>
std::vector<Member<T>> table(const std::array<const char*, 4>& names)
{
    using A = Arguments<T>;
    return {
        {names[0], false, false,
         [](const A& a) {
             return matrix::invoke(kD2, a.block, a.step, a.vector, a.weights, a.width, a.distance, a.height);
         }},
        {names[1], true, false,
         [](const A& a) {
             return matrix::invoke(kD2L, a.list, a.vector, a.weights, a.width, a.distance, a.height);
         }},
        {names[2], false, true,
         [](const A& a) {
             return matrix::invoke(kMultiMixD2, a.block, a.weight_block, a.step, a.vector, a.width, a.distance,
                                   a.height);
         }},
        {names[3], true, true,
         [](const A& a) {
             return matrix::invoke(kMultiMixD2L, a.list, a.weight_list, a.vector, a.width, a.distance, a.height);
         }},
    };
}
std::vector<Member<float>> members(float)
{
    return table<float, zelsMahDist_32f_D2, zelsMahDist_32f_D2L, zelsMahDistMultiMix_32f_D2,
                 zelsMahDistMultiMix_32f_D2L>({"zelsMahDist_32f_D2", "zelsMahDist_32f_D2L",
                                               "zelsMahDistMultiMix_32f_D2", "zelsMahDistMultiMix_32f_D2L"});
}
std::vector<Member<double>> members(double)
{
    return table<double, zelsMahDist_64f_D2, zelsMahDist_64f_D2L, zelsMahDistMultiMix_64f_D2,
                 zelsMahDistMultiMix_64f_D2L>({"zelsMahDist_64f_D2", "zelsMahDist_64f_D2L",
                                               "zelsMahDistMultiMix_64f_D2", "zelsMahDistMultiMix_64f_D2L"});
}

template <class Type>
class MahDistRows : public testing::Test {
  public:
    const std::vector<Member<Type>> all = members(Type());
};
struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return sizeof(T) == 4 ? "32f" : "64f";
    }
};
using Types = testing::Types<float, double>;
TYPED_TEST_SUITE(MahDistRows, Types, Names);

template <class T>
struct Problem {
    std::vector<std::vector<T>> rows, row_weights;
    std::vector<T> vector, weights;
    int width() const { return static_cast<int>(vector.size()); }
    int height() const { return static_cast<int>(rows.size()); }
};
template <class T>
Problem<T> random_problem(int width, int height)
{
    Problem<T> p{{}, {}, uniform_vector<T>(width, -3, 3), uniform_vector<T>(width, T(0.1), 4)};
    for (int r = 0; r < height; ++r) {
        p.rows.push_back(uniform_vector<T>(width, -3, 3));
        p.row_weights.push_back(uniform_vector<T>(width, T(0.1), 4));
    }
    return p;
}

// Double precision, many Gaussians: the order of the sum is open.
template <class T>
testing::AssertionResult right_distance(const Member<T>& m, const Problem<T>& p, std::size_t r, bool aligned,
                                        T distance)
{
    const T* const x = m.many_gaussians ? p.vector.data() : p.rows[r].data();
    const T* const mean = m.many_gaussians ? p.rows[r].data() : p.vector.data();
    const reference::InverseVariance term{mean, m.many_gaussians ? p.row_weights[r].data() : p.weights.data()};
    T expected = reference::frame_distance(p.width(), aligned, x, term);
    double tolerance = 0;
    if constexpr (std::is_same_v<T, float>) {
        if (m.many_gaussians) expected = reference::component_distance(p.width(), x, term);
    } else if (m.many_gaussians && std::isfinite(expected)) {
        tolerance = 2 * reference::any_order_tolerance_64f(x, term, p.width(), 0.0);
    }
    const auto near = tolerance == 0 ? same_value(expected, distance)
                                     : near_values(std::vector<T>{expected}, std::vector<T>{distance}, tolerance);
    if (near) return near;
    return testing::AssertionFailure() << "row " << r << ": " << near.message();
}

// Where a problem's arrays lie. Of a list, row r lies misalign[r modulo its size] bytes off 16.
struct Layout {
    Placement rows, row_weights, vector, weights, distance, list;
    int beyond_width;  // step less width
    std::vector<int> misalign, weight_misalign;

    Layout(int width, Arrangement where)
        : rows(where[0]),
          row_weights(where[1]),
          vector(where[2]),
          weights(where[3]),
          distance(where[4]),
          beyond_width((4 - width % 4) % 4),
          misalign{where[0].misalign},
          weight_misalign{where[1].misalign}
    {}
    explicit Layout(int width) : Layout(width, Arrangement(5)) {}
};

template <class T>
bool aligned(const Member<T>& m, const Problem<T>& p, const Layout& layout)
{
    if (layout.vector.misalign != 0 || layout.weights.misalign != 0) return false;
    if (!m.list) return layout.rows.misalign == 0 && (p.width() + layout.beyond_width) % 4 == 0;
    for (std::size_t r = 0; r < p.rows.size(); ++r)
        if (layout.misalign[r % layout.misalign.size()] != 0) return false;
    return true;
}

template <class T>
testing::AssertionResult measures(const Member<T>& m, const Problem<T>& p, const Layout& layout)
{
    const int step = p.width() + layout.beyond_width;
    const multimix::GuardedModel<T> rows(m.list, p.rows, step, layout.rows, layout.misalign, layout.list);
    const multimix::GuardedModel<T> row_weights(m.list, p.row_weights, step, layout.row_weights,
                                                layout.weight_misalign, layout.list);
    Guarded<T> vector(p.vector, layout.vector), weights(p.weights, layout.weights);
    Guarded<T> distance(p.rows.size(), layout.distance);
    vector.take_snapshot();
    weights.take_snapshot();
    const SrStatus status = m.call({rows.block(), row_weights.block(), step, rows.list(), row_weights.list(),
                                    vector.data(), weights.data(), p.width(), distance.data(), p.height()});
    testing::AssertionResult right = testing::AssertionSuccess();
    for (std::size_t r = 0; right && r < p.rows.size(); ++r)
        right = right_distance(m, p, r, aligned(m, p, layout), distance.get(r));
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!distance.intact()) right = testing::AssertionFailure() << "written beside the distances";
    if (!rows.as_before() || !row_weights.as_before() || !vector.as_snapshot() || !weights.as_snapshot())
        right = testing::AssertionFailure() << "an input was written";
    if (right) return right;
    return testing::AssertionFailure() << m.name << ", width " << p.width() << ", height " << p.height() << ": "
                                       << right.message() << "; rows " << describe(layout.rows) << "; weights "
                                       << describe(layout.row_weights) << "; vector " << describe(layout.vector)
                                       << "; step = width + " << layout.beyond_width;
}

TYPED_TEST(MahDistRows, EveryWidthAndHeight)
{
    Cycle rows(std::vector<std::vector<int>>{{8}, {7}, {0, 8}, {0}, {1, 8, 15}});
    Cycle beyond(std::vector<int>{0, 2, 1, 8, 4, 3, 6});
    Cycle list_places(placements(sizeof(void*)));
    for (const auto& m : this->all)
        for (int width : widths())
            for (int height : heights()) {
                const auto p = random_problem<TypeParam>(width, height);
                Layout layout(width);
                ASSERT_TRUE(measures(m, p, layout));
                for (int i = 0; i < (thin_effort() ? 1 : 2); ++i) {
                    layout.misalign = rows.next();
                    layout.rows.misalign = layout.misalign[0];
                    layout.weight_misalign = rows.next();
                    layout.row_weights.misalign = layout.weight_misalign[0];
                    layout.beyond_width = beyond.next();
                    layout.list = list_places.next();
                    ASSERT_TRUE(measures(m, p, layout));
                }
            }
}

TYPED_TEST(MahDistRows, EveryPlacement)
{
    Cycle some_widths(std::vector<int>{1, 3, 4, 6, 7, 8, 11, 36, 39, 40, 43});
    Cycle some_heights(std::vector<int>{1, 2, 3, 4, 5, 7});
    for (const auto& m : this->all)
        for (const Arrangement& where : arrangements(5, sizeof(TypeParam))) {
            const auto p = random_problem<TypeParam>(some_widths.next(), some_heights.next());
            ASSERT_TRUE(measures(m, p, Layout(p.width(), where)));
        }
}

// From 1000 Gaussians on the order of the sums may be another one.
TYPED_TEST(MahDistRows, ManyRows)
{
    for (const auto& m : this->all)
        for (int height : {999, 1000, 1003})
            for (int width : {5, 8}) {
                if (thin_effort() && height != 1000) continue;
                // The list forms take rows of their own pages: few of them stand for all.
                auto p = random_problem<TypeParam>(width, m.list ? 37 : height);
                ASSERT_TRUE(measures(m, p, Layout(width)));
            }
}

TYPED_TEST(MahDistRows, AreTheFormula)
{
    using T = TypeParam;
    for (const auto& m : this->all)
        for (int width : widths()) {
            auto p = random_problem<T>(width, 1004);
            std::vector<T> expected;
            for (T& x : p.vector) x = T(uniform(-20, 20));
            for (T& x : p.weights) x = T(uniform(0, 9));
            for (std::size_t r = 0; r < p.rows.size(); ++r) {
                int distance = 0;
                for (std::size_t k = 0; k < p.vector.size(); ++k) {
                    p.rows[r][k] = T(uniform(-20, 20));
                    p.row_weights[r][k] = T(uniform(0, 9));
                    const int d = static_cast<int>(p.rows[r][k] - p.vector[k]);
                    distance += d * d * static_cast<int>(m.many_gaussians ? p.row_weights[r][k] : p.weights[k]);
                }
                expected.push_back(T(distance));
            }
            const auto block = as_block(p.rows, p.vector.size() + 1),
                       weight_block = as_block(p.row_weights, p.vector.size() + 1);
            std::vector<const T*> list, weight_list;
            for (const auto& row : p.rows) list.push_back(row.data());
            for (const auto& row : p.row_weights) weight_list.push_back(row.data());
            std::vector<T> distance(p.rows.size());
            const AllocatorWatch watch;
            ASSERT_EQ(m.call({block.data(), weight_block.data(), width + 1, list.data(), weight_list.data(),
                              p.vector.data(), p.weights.data(), width, distance.data(), p.height()}),
                      SrOk);
            EXPECT_TRUE(same_values(expected, distance)) << m.name << ", width " << width;
            EXPECT_EQ(watch.requests(), 0) << m.name;
            if (thin_effort()) break;
        }
}

TYPED_TEST(MahDistRows, InfinitiesAndNotNumbersFlowThroughTheirOwnRow)
{
    using T = TypeParam;
    Cycle specials(special_values<T>());
    Cycle offsets(std::vector<int>{0, 8, 0, 1});
    for (const auto& m : this->all)
        for (int width : {1, 2, 3, 4, 5, 7, 8, 11, 36})
            for (std::size_t k = 0; k < static_cast<std::size_t>(width); k += thin_effort() ? 5 : 1) {
                auto p = random_problem<T>(width, 7);
                p.rows[k % 7][k] = specials.next();
                p.row_weights[(k + 3) % 7][k] = specials.next();
                const int off = offsets.next();
                ASSERT_TRUE(measures(m, p, Layout(width, {{off}, {off}, {}, {}, {}})));
                p = random_problem<T>(width, 7);
                p.vector[k] = specials.next();
                p.weights[k] = specials.next();
                ASSERT_TRUE(measures(m, p, Layout(width, {{off}, {}, {}, {}, {}})));
            }
}

TYPED_TEST(MahDistRows, TheFirstFailedCheckDecides)
{
    using T = TypeParam;
    using A = Arguments<T>;
    for (const auto& m : this->all) {
        const auto p = random_problem<T>(5, 3);
        const multimix::GuardedModel<T> rows(m.list, p.rows, 6, {}, {0}, {}),
            weights(m.list, p.rows, 6, {}, {0}, {});
        const Guarded<T> vector(p.vector), one_weights(p.weights);
        Guarded<T> distance(3);
        const A good{rows.block(),  weights.block(),    6, rows.list(),     weights.list(),
                     vector.data(), one_weights.data(), 5, distance.data(), 3};
        for (int32_t size : {0, -1, INT32_MIN}) {
            std::vector<Fault<A>> faults;
            // Relative to the width, which may itself be at fault.
            if (!m.list)
                faults.push_back({"step", SrErrStride, [](A& a) { a.step = a.width < 1 ? a.width - 1 : 4; }});
            if (!m.list && size == INT32_MIN) faults.clear();
            faults.push_back({"rows", SrErrNullPtr, [](A& a) { a.block = nullptr, a.list = nullptr; }});
            if (m.many_gaussians)
                faults.push_back(
                    {"weights", SrErrNullPtr, [](A& a) { a.weight_block = nullptr, a.weight_list = nullptr; }});
            else
                faults.push_back({"weights", SrErrNullPtr, [](A& a) { a.weights = nullptr; }});
            faults.push_back({"vector", SrErrNullPtr, [](A& a) { a.vector = nullptr; }});
            faults.push_back({"distance", SrErrNullPtr, [](A& a) { a.distance = nullptr; }});
            faults.push_back({"width", SrErrSize, [size](A& a) { a.width = size; }});
            faults.push_back({"height", SrErrSize, [size](A& a) { a.height = size; }});
            expect_check_order<A>(good, faults, m.call, {&distance});
        }
        A dense = good;
        dense.step = dense.width;
        EXPECT_EQ(m.call(dense), SrOk);
    }
}

#ifdef __i386__
TYPED_TEST(MahDistRows, TakeACallWithTheStackOn4Bytes)
{
    for (const auto& m : this->all)
        for (int stack : {0, 4, 8, 12}) {
            matrix::stack_misalign = stack;
            const auto right = measures(m, random_problem<TypeParam>(39, 5), Layout(39));
            matrix::stack_misalign = -1;
            ASSERT_TRUE(right) << "stack " << stack;
        }
}
#endif

}  // namespace
}  // namespace zelsr::test::mah_dist
