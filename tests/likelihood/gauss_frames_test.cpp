// Many frames against one Gaussian.
#include <gtest/gtest.h>

#include <memory>

#include "likelihood/gauss_frames_members.h"
#include "likelihood/sizes.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test::frames {
namespace {

// The members of one type.
template <class Type>
class LogGaussFrames : public testing::Test {
  public:
    using T = Type;
    const std::vector<Member<T>> all = members(T());
};
struct TypeNames {
    template <class T>
    static std::string GetName(int)
    {
        return sizeof(T) == 4 ? "32f" : "64f";
    }
};
using AllTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(LogGaussFrames, AllTypes, TypeNames);

// In both kernels. The general one meets, in turn: the dense block, rows off 16 bytes, all or some of them, steps
// that are a multiple of 2 only or odd, lists on odd addresses.
TYPED_TEST(LogGaussFrames, EveryWidthAndHeight)
{
    Cycle rows(std::vector<std::vector<int>>{{8}, {7}, {0, 8}, {0}, {1, 8, 15}});
    Cycle beyond(std::vector<int>{0, 2, 1, 8, 3, 6});
    Cycle list_places(placements(sizeof(void*)));
    for (const auto& member : this->all)
        for (int width : widths())
            for (int height : heights()) {
                const auto problem = random_problem<TypeParam>(width, height);
                Layout layout(width);
                ASSERT_TRUE(scores(member, problem, layout));
                for (int i = 0; i < (thin_effort() ? 1 : 3); ++i) {
                    layout.row_misalign = rows.next();
                    layout.block.misalign = layout.row_misalign[0];
                    layout.beyond_width = beyond.next();
                    layout.list = list_places.next();
                    ASSERT_TRUE(scores(member, problem, layout));
                }
            }
}

TYPED_TEST(LogGaussFrames, EveryPlacement)
{
    Cycle some_widths(std::vector<int>{1, 3, 4, 6, 7, 8, 11, 36, 39, 40, 43});
    Cycle some_heights(std::vector<int>{1, 2, 3, 4, 5, 7});
    for (const auto& member : this->all)
        for (const Arrangement& where : arrangements(4, sizeof(TypeParam)))
            for (int i = 0; i < (thin_effort() ? 1 : 5); ++i) {
                const auto problem = random_problem<TypeParam>(some_widths.next(), some_heights.next());
                ASSERT_TRUE(scores(member, problem, Layout(problem.width(), where)));
            }
}

TYPED_TEST(LogGaussFrames, OneRowOff16BytesIsEnoughForTheGeneralKernel)
{
    Cycle offsets(std::vector<int>{1, static_cast<int>(sizeof(TypeParam)), 12});
    for (const auto& member : this->all)
        for (int width : {3, 4, 7, 9, 38, 43})
            for (int height : heights())
                for (int off = 0; member.list && off < height; ++off) {
                    if (thin_effort() && width != 7 && off != height - 1) continue;
                    const auto problem = random_problem<TypeParam>(width, height);
                    Layout layout(width);
                    layout.row_misalign.assign(static_cast<std::size_t>(height), 0);
                    layout.row_misalign[static_cast<std::size_t>(off)] = offsets.next();
                    ASSERT_TRUE(scores(member, problem, layout));
                }
}

// The two single-precision kernels' tails join the sum at different places: which arrays choose, and that
// nothing else does, shows in the bits.
TEST(LogGaussFrames_32f, TheKernelIsChosenByTheNamedArraysAndTheStep)
{
    Cycle offsets(std::vector<int>{1, 4, 8, 12, 15});
    for (const Member<float>& member : members(0.0F))
        for (int width : {6, 7, 11, 38, 39, 42, 43}) {
            if (thin_effort() && width != 7 && width != 38) continue;
            auto problem = random_problem<float>(width, 5);
            while (expected_scores(member, problem, true) == expected_scores(member, problem, false))
                problem = random_problem<float>(width, 5);
            for (int beyond_width = 0; beyond_width < (member.list || thin_effort() ? 4 : 8); ++beyond_width)
                for (unsigned moved = 0; moved < 1u << 4; ++moved) {
                    const int off = offsets.next();
                    const auto at = [&](int bit) { return Placement{(moved >> bit & 1) != 0 ? off : 0}; };
                    Layout layout(width, {at(0), at(1), at(2), at(3)});
                    layout.beyond_width = beyond_width;
                    ASSERT_TRUE(scores(member, problem, layout));
                }
        }
}

TYPED_TEST(LogGaussFrames, ScalesFromSubnormalTermsToInfiniteSums)
{
    using T = TypeParam;
    const std::vector<int> exponents =
        sizeof(T) == 4 ? std::vector<int>{-76, -70, -64, 50, 62, 63} : std::vector<int>{-540, -520, 500, 510, 511};
    Cycle offsets(std::vector<int>{0, 0, 8, 0, 8});
    for (const auto& member : this->all)
        for (int exponent : exponents)
            for (int width : {1, 2, 3, 4, 5, 7, 8, 13, 39, 40}) {
                Problem<T> problem = random_problem<T>(width, 7);
                for (T& m : problem.mean) m = std::ldexp(m, exponent);
                for (auto& row : problem.rows)
                    for (T& x : row) x = std::ldexp(x, exponent);
                problem.val = std::ldexp(problem.val, std::min(2 * exponent, sizeof(T) == 4 ? 120 : 1020));
                for (int i = 0; i < (thin_effort() ? 1 : 2); ++i)
                    ASSERT_TRUE(scores(member, problem, Layout(width, offsets.next()))) << "2^" << exponent;
            }
}

// At every position of every array, special values and kernels in turn.
TYPED_TEST(LogGaussFrames, InfinitiesAndNotNumbersFlowThroughTheirOwnFrame)
{
    using T = TypeParam;
    Cycle offsets(std::vector<int>{0, 0, 8, 0, 8});
    Cycle specials(special_values<T>());
    for (const auto& member : this->all)
        for (int width : {1, 2, 3, 4, 5, 7, 8, 11, 36, 39})
            for (std::size_t k = 0; k < static_cast<std::size_t>(width); k += thin_effort() ? 5 : 1)
                for (int i = 0; i < (thin_effort() ? 1 : 3); ++i) {
                    const Problem<T> plain = random_problem<T>(width, 7);
                    Problem<T> in_frames = plain, in_mean = plain, in_variance = plain, in_val = plain;
                    in_frames.rows[k % 7][k] = specials.next();
                    in_mean.mean[k] = specials.next();
                    in_variance.inv_var[k] = specials.next();
                    in_val.val = specials.next();
                    for (const Problem<T>& problem : {in_frames, in_mean, in_variance, in_val})
                        ASSERT_TRUE(scores(member, problem, Layout(width, offsets.next())))
                            << "special values at " << k << ", val " << problem.val;
                }
}

template <class T>
std::vector<T> plain_call(const Member<T>& member, const Problem<T>& p)
{
    std::vector<T> block = as_block(p.rows, p.mean.size()), score(p.rows.size(), T(-1));
    std::vector<const T*> list;
    for (const std::vector<T>& row : p.rows) list.push_back(row.data());
    EXPECT_EQ(member.call({block.data(), p.width(), list.data(), p.mean.data(), p.inv_var.data(), p.width(),
                           score.data(), p.height(), p.val}),
              SrOk);
    return score;
}

// Small integers: every order of the sum is exact.
TYPED_TEST(LogGaussFrames, AreTheFormula)
{
    using T = TypeParam;
    for (const auto& member : this->all)
        for (int width : widths())
            for (int height : heights()) {
                Problem<T> problem = random_problem<T>(width, height);
                problem.val = 1000;
                for (T& m : problem.mean) m = T(uniform(-20, 20));
                for (T& p : problem.inv_var) p = T(uniform(0, 9));
                std::vector<T> expected;
                for (auto& row : problem.rows) {
                    int twice_score = 2 * 1000;
                    for (std::size_t k = 0; k < row.size(); ++k) {
                        const int x = uniform(-20, 20), d = x - static_cast<int>(problem.mean[k]);
                        row[k] = T(x);
                        twice_score -= d * d * (member.variance ? static_cast<int>(problem.inv_var[k]) : 1);
                    }
                    expected.push_back(T(twice_score) / 2);
                }
                ASSERT_TRUE(same_values(expected, plain_call(member, problem)))
                    << member.name << ", " << width << " by " << height;
            }
}

// Only the single-precision forms double the constant. The sign of a zero score is that of the stated order.
TYPED_TEST(LogGaussFrames, AreValWhereTheFrameIsTheMeanOrNoVarianceWeighs)
{
    using T = TypeParam;
    using Limits = std::numeric_limits<T>;
    std::vector<T> vals = {
        T(0), -T(0), T(1.25), T(-1e4 / 3), Limits::max() / 2, Limits::infinity(), -Limits::infinity()};
    if (sizeof(T) == 8) vals.push_back(Limits::lowest());
    for (const auto& member : this->all)
        for (int width : widths()) {
            const Problem<T> random = random_problem<T>(width, 7);
            Problem<T> means = random, weightless = random;
            means.rows.assign(7, means.mean);
            weightless.inv_var.assign(weightless.inv_var.size(), T(0));
            for (T val : vals)
                for (Problem<T>* problem : {&means, &weightless}) {
                    if (problem == &weightless && !member.variance) continue;
                    problem->val = val;
                    const std::vector<T> score = plain_call(member, *problem);
                    ASSERT_EQ(score, std::vector<T>(7, val)) << member.name << ", width " << width;
                    ASSERT_TRUE(same_values(expected_scores(member, *problem, true), score)) << member.name;
                }
        }
}

template <class T>
T score_single(const Member<T>& member, const Problem<T>& p, const T* row)
{
    T score = 0;
    if constexpr (std::is_same_v<T, float>) {
        if (member.variance)
            zelsLogGaussSingle_32f(row, p.mean.data(), p.inv_var.data(), p.width(), &score, p.val);
        else
            zelsLogGaussSingle_IdVar_32f(row, p.mean.data(), p.width(), &score, p.val);
    } else {
        if (member.variance)
            zelsLogGaussSingle_64f(row, p.mean.data(), p.inv_var.data(), p.width(), &score, p.val);
        else
            zelsLogGaussSingle_IdVar_64f(row, p.mean.data(), p.width(), &score, p.val);
    }
    return score;
}

// |val| and the magnitudes of a row's terms, with inverse and with unit variances.
template <class T>
double magnitude(const Problem<T>& p, const T* row)
{
    const reference::InverseVariance weighted{p.mean.data(), p.inv_var.data()};
    const reference::UnitVariance unit{p.mean.data()};
    double sum = std::abs(p.val);
    for (int k = 0; k < p.width(); ++k) sum += std::abs(weighted(row, k)) + std::abs(unit(row, k));
    return sum;
}

// In a group of four, in a pair and alone a frame's score has the same bits; the members for single vectors
// order the sum otherwise.
TYPED_TEST(LogGaussFrames, ScoreAFrameInItsGroupAsAlone)
{
    using T = TypeParam;
    for (const auto& member : this->all)
        for (int width : widths())
            for (int misalign : {0, 8}) {
                const Problem<T> problem = random_problem<T>(width, 9);
                const int step = (width + 3) / 4 * 4;
                const Guarded<T> block(as_block(problem.rows, static_cast<std::size_t>(step)), {misalign}),
                    mean(problem.mean), inv_var(problem.inv_var);
                std::vector<const T*> list;
                for (int r = 0; r < 9; ++r) list.push_back(block.data() + r * step);
                std::vector<T> alone(9);
                for (std::size_t r = 0; r < 9; ++r) {
                    ASSERT_EQ(member.call({list[r], step, &list[r], mean.data(), inv_var.data(), width, &alone[r],
                                           1, problem.val}),
                              SrOk);
                    const T* row = problem.rows[r].data();
                    ASSERT_NEAR(alone[r], score_single(member, problem, row),
                                (width + 3) * std::numeric_limits<T>::epsilon() * magnitude(problem, row));
                }
                for (int height = 2; height <= 9; ++height) {
                    std::vector<T> together(static_cast<std::size_t>(height));
                    ASSERT_EQ(member.call({block.data(), step, list.data(), mean.data(), inv_var.data(), width,
                                           together.data(), height, problem.val}),
                              SrOk);
                    const std::vector<T> first(alone.begin(), alone.begin() + height);
                    ASSERT_TRUE(same_values(first, together))
                        << member.name << ", width " << width << ", height " << height;
                }
            }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
TYPED_TEST(LogGaussFrames, ReadNothingBesideTheArrays)
{
    using T = TypeParam;
    const auto exact = [](const std::vector<T>& values) {
        std::unique_ptr<T[]> block(new T[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    const auto off_16 = [](const T* p) { return static_cast<int>(reinterpret_cast<std::uintptr_t>(p) % 16); };
    for (const auto& member : this->all)
        for (int width = 1; width <= 43; ++width)
            for (int height : {1, 2, 3, 4, 7}) {
                const Problem<T> problem = random_problem<T>(width, height);
                Layout layout(width);
                const int step = width + layout.beyond_width;
                const auto block = exact(as_block(problem.rows, static_cast<std::size_t>(step)));
                const auto mean = exact(problem.mean), inv_var = exact(problem.inv_var);
                std::vector<std::unique_ptr<T[]>> rows;
                std::vector<const T*> list;
                for (const auto& row : problem.rows) list.push_back(rows.emplace_back(exact(row)).get());
                layout.block.misalign = off_16(block.get());
                layout.mean.misalign = off_16(mean.get());
                layout.inv_var.misalign = off_16(inv_var.get());
                layout.row_misalign.clear();
                for (const T* row : list) layout.row_misalign.push_back(off_16(row));
                std::vector<T> score(problem.rows.size());
                ASSERT_EQ(member.call({block.get(), step, list.data(), mean.get(), inv_var.get(), width,
                                       score.data(), height, problem.val}),
                          SrOk);
                ASSERT_TRUE(same_values(
                    expected_scores(member, problem, takes_aligned_kernel(member, problem, layout)), score))
                    << member.name << ", width " << width << ", height " << height;
            }
}

TYPED_TEST(LogGaussFrames, OneFrameTakesAnyStepFromItsWidth)
{
    using T = TypeParam;
    for (const auto& member : this->all) {
        const Problem<T> problem = random_problem<T>(7, 1);
        const T* row = problem.rows[0].data();
        for (int32_t step : {7, 8, INT32_MAX}) {
            T score = -1;
            EXPECT_EQ(member.call({row, step, &row, problem.mean.data(), problem.inv_var.data(), 7, &score, 1, 1}),
                      SrOk);
        }
    }
}

TYPED_TEST(LogGaussFrames, StepThenPointersThenSizesAreChecked)
{
    using T = TypeParam;
    using Args = Arguments<T>;
    const Problem<T> problem = random_problem<T>(5, 3);
    const std::vector<T> block = as_block(problem.rows, 6);
    std::vector<const T*> list;
    for (const auto& row : problem.rows) list.push_back(row.data());
    Guarded<T> score(3);
    const Args good{
        block.data(), 6, list.data(), problem.mean.data(), problem.inv_var.data(), 5, score.data(), 3, 1};
    for (const auto& member : this->all) {
        for (int32_t size : {0, -1, -1000}) {
            std::vector<Fault<Args>> faults;
            if (!member.list) faults.push_back({"step", SrErrStride, [](Args& a) { a.step = a.width - 1; }});
            faults.push_back({"frames", SrErrNullPtr, [](Args& a) {
                                  a.block = nullptr;
                                  a.list = nullptr;
                              }});
            faults.push_back({"mean", SrErrNullPtr, [](Args& a) { a.mean = nullptr; }});
            if (member.variance)
                faults.push_back({"variance", SrErrNullPtr, [](Args& a) { a.inv_var = nullptr; }});
            faults.push_back({"score", SrErrNullPtr, [](Args& a) { a.score = nullptr; }});
            faults.push_back({"width", SrErrSize, [size](Args& a) { a.width = size; }});
            faults.push_back({"height", SrErrSize, [size](Args& a) { a.height = size; }});
            expect_check_order<Args>(good, faults, member.call, {&score});
        }
        Args args = good;
        args.width = INT32_MIN;
        EXPECT_EQ(member.call(args), SrErrSize);
        args = good;
        args.height = INT32_MIN;
        EXPECT_EQ(member.call(args), SrErrSize);
        args = good;
        args.step = INT32_MIN;
        EXPECT_EQ(member.call(args), member.list ? SrOk : SrErrStride);
    }
}

#ifdef __i386__
template <class... P>
SrStatus call_on(int misalign, SrStatus (*function)(P...), std::type_identity_t<P>... arguments)
{
    return call_misaligned(function, misalign, arguments...);
}

TEST(LogGaussFramesOnOddStack, SameScores)
{
    for (int misalign : {0, 4, 8, 12})
        for (int width : {3, 7, 40})
            for (int height : {1, 7}) {
                const Problem<float> p = random_problem<float>(width, height);
                const Problem<double> q = random_problem<double>(width, height);
                const int step = (width + 3) / 4 * 4;
                const Guarded<float> block(as_block(p.rows, static_cast<std::size_t>(step))), mean(p.mean),
                    var(p.inv_var);
                const Guarded<double> block64(as_block(q.rows, static_cast<std::size_t>(step))), mean64(q.mean),
                    var64(q.inv_var);
                std::vector<const float*> list;
                std::vector<const double*> list64;
                for (int r = 0; r < height; ++r) {
                    list.push_back(block.data() + r * step);
                    list64.push_back(block64.data() + r * step);
                }
                std::vector<float> score(p.rows.size());
                std::vector<double> score64(p.rows.size());
                EXPECT_EQ(call_on(misalign, zelsLogGauss_32f_D2, block.data(), step, mean.data(), var.data(),
                                  width, score.data(), height, p.val),
                          SrOk);
                EXPECT_TRUE(same_values(expected_scores(member_named<float>("32f_D2"), p, true), score))
                    << misalign;
                EXPECT_EQ(call_on(misalign, zelsLogGauss_IdVar_32f_D2L, list.data(), mean.data(), width,
                                  score.data(), height, p.val),
                          SrOk);
                EXPECT_TRUE(same_values(expected_scores(member_named<float>("IdVar_32f_D2L"), p, true), score))
                    << misalign;
                EXPECT_EQ(call_on(misalign, zelsLogGauss_64f_D2L, list64.data(), mean64.data(), var64.data(),
                                  width, score64.data(), height, q.val),
                          SrOk);
                EXPECT_TRUE(same_values(expected_scores(member_named<double>("64f_D2L"), q, true), score64))
                    << misalign;
                EXPECT_EQ(call_on(misalign, zelsLogGauss_IdVar_64f_D2, block64.data(), step, mean64.data(), width,
                                  score64.data(), height, q.val),
                          SrOk);
                EXPECT_TRUE(same_values(expected_scores(member_named<double>("IdVar_64f_D2"), q, true), score64))
                    << misalign;
            }
}
#endif

}  // namespace
}  // namespace zelsr::test::frames
