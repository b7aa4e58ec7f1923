// Many frames against one Gaussian.
#include <gtest/gtest.h>

#include <memory>

#include "likelihood/gauss_frames_members.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test::frames {
namespace {

template <class M>
class LogGaussFrames : public testing::Test {
  public:
    using T = typename M::T;
};
TYPED_TEST_SUITE(LogGaussFrames, Members, MemberNames);

std::vector<int> widths()
{
    if (thin_effort()) return {1, 2, 3, 4, 5, 7, 8, 11, 12, 13, 36, 39, 40, 43};
    std::vector<int> all;
    for (int width = 1; width <= 50; ++width) all.push_back(width);
    all.insert(all.end(), {100, 103});
    return all;
}

std::vector<int> heights()
{
    if (thin_effort()) return {1, 2, 3, 5, 7};
    return {1, 2, 3, 4, 5, 6, 7, 8, 9};
}

TYPED_TEST(LogGaussFrames, EveryWidthAndHeight)
{
    for (int width : widths())
        for (int height : heights()) {
            const auto problem = random_problem<typename TestFixture::T>(width, height);
            std::vector<Layout> layouts;
            if (TypeParam::kList) {
                for (const std::vector<int>& row_misalign :
                     std::vector<std::vector<int>>{{0}, {8}, {7}, {0, 8}, {1, 8, 15}})
                    layouts.push_back({{}, {}, {}, {}, 0, row_misalign});
            } else {
                // Dense, rows on 16 bytes, a step that is a multiple of 2 only, an odd step.
                const int to_four = (4 - width % 4) % 4;
                for (int beyond_width : {0, to_four, to_four + 8, to_four + 2, to_four + 1})
                    for (int misalign : {0, 8, 7}) layouts.push_back({{misalign}, {}, {}, {}, beyond_width});
            }
            for (const Layout& layout : layouts)
                ASSERT_TRUE(scores<TypeParam>(problem, layout))
                    << "width " << width << ", height " << height << "; " << describe(layout);
        }
}

TYPED_TEST(LogGaussFrames, EveryPlacement)
{
    for (int width : {1, 3, 4, 6, 7, 8, 11, 36, 39, 40, 43})
        for (int height : thin_effort() ? std::vector<int>{3, 7} : std::vector<int>{1, 2, 3, 4, 5, 7}) {
            const auto problem = random_problem<typename TestFixture::T>(width, height);
            for (const Arrangement& where : arrangements(4, sizeof(typename TestFixture::T))) {
                const Layout layout{where[0],           where[1], where[2], where[3], (4 - width % 4) % 4,
                                    {where[0].misalign}};
                ASSERT_TRUE(scores<TypeParam>(problem, layout))
                    << "width " << width << ", height " << height << "; " << describe(layout);
            }
        }
}

TYPED_TEST(LogGaussFrames, OneRowOff16BytesIsEnoughForTheGeneralKernel)
{
    if (!TypeParam::kList) GTEST_SKIP() << "no row list";
    for (int width : {2, 3, 4, 5, 7, 9, 13, 38, 39, 43})
        for (int height : heights())
            for (int off = 0; off < height; ++off)
                for (int misalign : {1, static_cast<int>(sizeof(typename TestFixture::T)), 12}) {
                    const auto problem = random_problem<typename TestFixture::T>(width, height);
                    Layout layout;
                    layout.row_misalign.assign(static_cast<std::size_t>(height), 0);
                    layout.row_misalign[static_cast<std::size_t>(off)] = misalign;
                    ASSERT_TRUE(scores<TypeParam>(problem, layout))
                        << "width " << width << ", height " << height << "; " << describe(layout);
                }
}

// The two single-precision kernels' tails join the sum at different places: which arrays choose, and that
// nothing else does, shows in the bits.
TYPED_TEST(LogGaussFrames, TheKernelIsChosenByTheNamedArraysAndTheStep)
{
    if constexpr (std::is_same_v<typename TestFixture::T, double>) {
        GTEST_SKIP() << "one order of sums";
    } else {
        for (int width : {6, 7, 11, 38, 39, 42, 43}) {
            auto problem = random_problem<float>(width, 5);
            while (expected_scores<TypeParam>(problem, true) == expected_scores<TypeParam>(problem, false))
                problem = random_problem<float>(width, 5);
            for (int off : {1, 4, 8, 12, 15})
                for (unsigned moved = 0; moved < 1u << 4; ++moved)
                    for (int beyond_width = 0; beyond_width < 8; ++beyond_width) {
                        const auto at = [&](int bit) { return (moved >> bit & 1) != 0 ? off : 0; };
                        const Layout layout{{at(0)}, {at(1)}, {at(2)}, {at(3)}, beyond_width, {at(0)}};
                        ASSERT_TRUE(scores<TypeParam>(problem, layout))
                            << "width " << width << "; " << describe(layout);
                    }
        }
    }
}

TYPED_TEST(LogGaussFrames, ScalesFromSubnormalTermsToInfiniteSums)
{
    using T = typename TestFixture::T;
    const std::vector<int> exponents =
        sizeof(T) == 4 ? std::vector<int>{-76, -70, -64, 50, 62, 63} : std::vector<int>{-540, -520, 500, 510, 511};
    for (int exponent : exponents)
        for (int width : {1, 2, 3, 4, 5, 7, 8, 13, 39, 40}) {
            Problem<T> problem = random_problem<T>(width, 7);
            for (T& m : problem.mean) m = std::ldexp(m, exponent);
            for (auto& row : problem.rows)
                for (T& x : row) x = std::ldexp(x, exponent);
            problem.val = std::ldexp(problem.val, std::min(2 * exponent, sizeof(T) == 4 ? 120 : 1020));
            for (int misalign : {0, 8}) {
                const Layout layout{{misalign}, {}, {}, {}, (4 - width % 4) % 4, {misalign}};
                ASSERT_TRUE(scores<TypeParam>(problem, layout)) << "width " << width << ", 2^" << exponent;
            }
        }
}

TYPED_TEST(LogGaussFrames, InfinitiesAndNotNumbersFlowThroughTheirOwnFrame)
{
    using T = typename TestFixture::T;
    for (int width : {1, 2, 3, 4, 5, 7, 8, 11, 36, 39}) {
        const Problem<T> plain = random_problem<T>(width, 7);
        for (int misalign : {0, 8})
            for (T special : special_values<T>()) {
                const Layout layout{{misalign}, {}, {}, {}, (4 - width % 4) % 4, {misalign}};
                for (std::size_t k = 0; k < plain.mean.size(); k += thin_effort() ? 3 : 1) {
                    Problem<T> in_frames = plain, in_mean = plain, in_variance = plain;
                    in_frames.rows[k % 7][k] = special;
                    in_mean.mean[k] = special;
                    in_variance.inv_var[k] = special;
                    for (const Problem<T>& problem : {in_frames, in_mean, in_variance})
                        ASSERT_TRUE(scores<TypeParam>(problem, layout))
                            << "width " << width << ", " << special << " at " << k << "; " << describe(layout);
                }
                Problem<T> in_val = plain;
                in_val.val = special;
                ASSERT_TRUE(scores<TypeParam>(in_val, layout)) << "width " << width << ", val " << special;
            }
    }
}

template <class M>
std::vector<typename M::T> plain_call(const Problem<typename M::T>& p, SrStatus expected = SrOk)
{
    using T = typename M::T;
    std::vector<T> block = as_block(p.rows, p.mean.size()), score(p.rows.size(), T(-1));
    std::vector<const T*> list;
    for (const std::vector<T>& row : p.rows) list.push_back(row.data());
    EXPECT_EQ(M::call({block.data(), p.width(), list.data(), p.mean.data(), p.inv_var.data(), p.width(),
                       score.data(), p.height(), p.val}),
              expected);
    return score;
}

// Small integers: every order of the sum is exact.
TYPED_TEST(LogGaussFrames, AreTheFormula)
{
    using T = typename TestFixture::T;
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
                    twice_score -= d * d * (TypeParam::kVariance ? static_cast<int>(problem.inv_var[k]) : 1);
                }
                expected.push_back(T(twice_score) / 2);
            }
            ASSERT_TRUE(same_values(expected, plain_call<TypeParam>(problem))) << width << " by " << height;
        }
}

TYPED_TEST(LogGaussFrames, AreValWhereTheFrameIsTheMeanOrNoVarianceWeighs)
{
    using T = typename TestFixture::T;
    const T infinity = std::numeric_limits<T>::infinity();
    for (int width : widths())
        for (T val : {T(0), T(1.25), T(-1e4 / 3), std::numeric_limits<T>::max() / 2, infinity, -infinity}) {
            Problem<T> problem = random_problem<T>(width, 7);
            problem.val = val;
            Problem<T> weightless = problem;
            problem.rows.assign(7, problem.mean);
            EXPECT_EQ(plain_call<TypeParam>(problem), std::vector<T>(7, val)) << "width " << width;
            weightless.inv_var.assign(weightless.inv_var.size(), T(0));
            if (TypeParam::kVariance) {
                EXPECT_EQ(plain_call<TypeParam>(weightless), std::vector<T>(7, val)) << "width " << width;
            }
        }
}

// Only the single-precision forms double the constant.
TYPED_TEST(LogGaussFrames, KeepTheLargestDoubleConstant)
{
    using T = typename TestFixture::T;
    if (sizeof(T) == 4) GTEST_SKIP() << "doubled in single precision";
    for (int width : widths()) {
        Problem<T> problem = random_problem<T>(width, 3);
        problem.val = std::numeric_limits<T>::lowest();
        problem.rows.assign(3, problem.mean);
        EXPECT_EQ(plain_call<TypeParam>(problem), std::vector<T>(3, problem.val)) << "width " << width;
    }
}

template <class M, class T>
T score_single(const Problem<T>& p, const T* row)
{
    T score = 0;
    if constexpr (std::is_same_v<T, float>) {
        if (M::kVariance)
            zelsLogGaussSingle_32f(row, p.mean.data(), p.inv_var.data(), p.width(), &score, p.val);
        else
            zelsLogGaussSingle_IdVar_32f(row, p.mean.data(), p.width(), &score, p.val);
    } else {
        if (M::kVariance)
            zelsLogGaussSingle_64f(row, p.mean.data(), p.inv_var.data(), p.width(), &score, p.val);
        else
            zelsLogGaussSingle_IdVar_64f(row, p.mean.data(), p.width(), &score, p.val);
    }
    return score;
}

// In a group of four, in a pair and alone a frame's score has the same bits; the members for single vectors
// order the sum otherwise.
TYPED_TEST(LogGaussFrames, ScoreAFrameInItsGroupAsAlone)
{
    using T = typename TestFixture::T;
    for (int width : widths())
        for (int misalign : {0, 8}) {
            const Problem<T> problem = random_problem<T>(width, 9);
            const std::size_t step = static_cast<std::size_t>((width + 3) / 4 * 4);
            const Guarded<T> block(as_block(problem.rows, step), {misalign}), mean(problem.mean),
                inv_var(problem.inv_var);
            std::vector<const T*> list;
            for (std::size_t r = 0; r < 9; ++r) list.push_back(block.data() + r * step);
            std::vector<T> alone(9);
            for (std::size_t r = 0; r < 9; ++r) {
                ASSERT_EQ(TypeParam::call({list[r], static_cast<int>(step), &list[r], mean.data(), inv_var.data(),
                                           width, &alone[r], 1, problem.val}),
                          SrOk);
                double magnitude = std::abs(problem.val);
                for (std::size_t k = 0; k < problem.mean.size(); ++k)
                    magnitude += std::abs(reference::InverseVariance{problem.mean.data(), problem.inv_var.data()}(
                                     problem.rows[r].data(), static_cast<int>(k))) +
                                 std::abs(reference::UnitVariance{problem.mean.data()}(problem.rows[r].data(),
                                                                                       static_cast<int>(k)));
                ASSERT_NEAR(alone[r], (score_single<TypeParam, T>(problem, problem.rows[r].data())),
                            (width + 3) * std::numeric_limits<T>::epsilon() * magnitude);
            }
            for (int height = 2; height <= 9; ++height) {
                std::vector<T> together(static_cast<std::size_t>(height));
                ASSERT_EQ(TypeParam::call({block.data(), static_cast<int>(step), list.data(), mean.data(),
                                           inv_var.data(), width, together.data(), height, problem.val}),
                          SrOk);
                const std::vector<T> first(alone.begin(), alone.begin() + height);
                ASSERT_TRUE(same_values(first, together)) << "width " << width << ", height " << height;
            }
        }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
TYPED_TEST(LogGaussFrames, ReadNothingBesideTheArrays)
{
    using T = typename TestFixture::T;
    const auto exact = [](const std::vector<T>& values) {
        std::unique_ptr<T[]> block(new T[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    for (int width = 1; width <= 43; ++width)
        for (int height : {1, 2, 3, 4, 7}) {
            const Problem<T> problem = random_problem<T>(width, height);
            const int step = (width + 3) / 4 * 4;
            const auto block = exact(as_block(problem.rows, static_cast<std::size_t>(step)));
            const auto mean = exact(problem.mean), inv_var = exact(problem.inv_var);
            std::vector<std::unique_ptr<T[]>> rows;
            std::vector<const T*> list;
            for (const auto& row : problem.rows) list.push_back(rows.emplace_back(exact(row)).get());
            const auto off_16 = [](const T* p) {
                return static_cast<int>(reinterpret_cast<std::uintptr_t>(p) % 16);
            };
            Layout layout{
                {off_16(block.get())}, {off_16(mean.get())}, {off_16(inv_var.get())}, {}, step - width, {}};
            for (const T* row : list) layout.row_misalign.push_back(off_16(row));
            std::vector<T> score(problem.rows.size());
            ASSERT_EQ(TypeParam::call({block.get(), step, list.data(), mean.get(), inv_var.get(), width,
                                       score.data(), height, problem.val}),
                      SrOk);
            ASSERT_TRUE(same_values(
                expected_scores<TypeParam>(problem, takes_aligned_kernel<TypeParam>(problem, layout)), score))
                << "width " << width << ", height " << height;
        }
}

TYPED_TEST(LogGaussFrames, OneFrameTakesAnyStepFromItsWidth)
{
    using T = typename TestFixture::T;
    const Problem<T> problem = random_problem<T>(7, 1);
    const T* row = problem.rows[0].data();
    for (int32_t step : {7, 8, INT32_MAX}) {
        T score = -1;
        EXPECT_EQ(TypeParam::call({row, step, &row, problem.mean.data(), problem.inv_var.data(), 7, &score, 1, 1}),
                  SrOk);
    }
}

TYPED_TEST(LogGaussFrames, StepThenPointersThenSizesAreChecked)
{
    using T = typename TestFixture::T;
    using Args = Arguments<T>;
    const Problem<T> problem = random_problem<T>(5, 3);
    const std::vector<T> block = as_block(problem.rows, 6);
    std::vector<const T*> list;
    for (const auto& row : problem.rows) list.push_back(row.data());
    Guarded<T> score(3);
    for (int32_t size : {0, -1, -1000}) {
        std::vector<Fault<Args>> faults;
        if (!TypeParam::kList) faults.push_back({"step", SrErrStride, [](Args& a) { a.step = a.width - 1; }});
        faults.push_back({"frames", SrErrNullPtr, [](Args& a) {
                              a.block = nullptr;
                              a.list = nullptr;
                          }});
        faults.push_back({"mean", SrErrNullPtr, [](Args& a) { a.mean = nullptr; }});
        if (TypeParam::kVariance)
            faults.push_back({"variance", SrErrNullPtr, [](Args& a) { a.inv_var = nullptr; }});
        faults.push_back({"score", SrErrNullPtr, [](Args& a) { a.score = nullptr; }});
        faults.push_back({"width", SrErrSize, [size](Args& a) { a.width = size; }});
        faults.push_back({"height", SrErrSize, [size](Args& a) { a.height = size; }});
        expect_check_order<Args>(
            {block.data(), 6, list.data(), problem.mean.data(), problem.inv_var.data(), 5, score.data(), 3, 1},
            faults, [](const Args& a) { return TypeParam::call(a); }, {&score});
    }
    Args args{
        block.data(), 0, list.data(), problem.mean.data(), problem.inv_var.data(), INT32_MIN, score.data(), 3, 1};
    EXPECT_EQ(TypeParam::call(args), SrErrSize);
    args.width = 5;
    args.height = INT32_MIN;
    args.step = 5;
    EXPECT_EQ(TypeParam::call(args), SrErrSize);
    args.height = 3;
    args.step = INT32_MIN;
    EXPECT_EQ(TypeParam::call(args), TypeParam::kList ? SrOk : SrErrStride);
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
                EXPECT_TRUE(same_values(expected_scores<Frames_32f_D2>(p, true), score)) << misalign;
                EXPECT_EQ(call_on(misalign, zelsLogGauss_IdVar_32f_D2L, list.data(), mean.data(), width,
                                  score.data(), height, p.val),
                          SrOk);
                EXPECT_TRUE(same_values(expected_scores<Frames_IdVar_32f_D2L>(p, true), score)) << misalign;
                EXPECT_EQ(call_on(misalign, zelsLogGauss_64f_D2L, list64.data(), mean64.data(), var64.data(),
                                  width, score64.data(), height, q.val),
                          SrOk);
                EXPECT_TRUE(same_values(expected_scores<Frames_64f_D2L>(q, true), score64)) << misalign;
                EXPECT_EQ(call_on(misalign, zelsLogGauss_IdVar_64f_D2, block64.data(), step, mean64.data(), width,
                                  score64.data(), height, q.val),
                          SrOk);
                EXPECT_TRUE(same_values(expected_scores<Frames_IdVar_64f_D2>(q, true), score64)) << misalign;
            }
}
#endif

}  // namespace
}  // namespace zelsr::test::frames
