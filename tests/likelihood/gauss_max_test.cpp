// Running maxima of Gaussian scores.
#include <gtest/gtest.h>

#include "likelihood/mixture_components.h"
#include "likelihood/mixture_frames.h"

namespace zelsr::test::mixture {
namespace {

const std::vector<FrameMember<float>>& frame_members(float)
{
    using Args = FrameArguments<float>;
    static const std::vector<FrameMember<float>> members = {
        {.name = "Max_32f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMax_32f_D2, a.block, a.step, a.mean, a.inv_var, a.width,
                                 a.running, a.height, a.val);
             },
         .reduction = Reduction::Max,
         .narrow = true},
        {.name = "Max_32f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMax_32f_D2L, a.list, a.mean, a.inv_var, a.width, a.running,
                                 a.height, a.val);
             },
         .reduction = Reduction::Max,
         .list = true},
        {.name = "Max_IdVar_32f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMax_IdVar_32f_D2, a.block, a.step, a.mean, a.width,
                                 a.running, a.height, a.val);
             },
         .reduction = Reduction::Max,
         .variance = false,
         .narrow = true},
        {.name = "Max_IdVar_32f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMax_IdVar_32f_D2L, a.list, a.mean, a.width, a.running,
                                 a.height, a.val);
             },
         .reduction = Reduction::Max,
         .list = true,
         .variance = false},
    };
    return members;
}

const std::vector<FrameMember<double>>& frame_members(double)
{
    using Args = FrameArguments<double>;
    static const std::vector<FrameMember<double>> members = {
        {.name = "Max_64f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMax_64f_D2, a.block, a.step, a.mean, a.inv_var, a.width,
                                 a.running, a.height, a.val);
             },
         .reduction = Reduction::Max},
        {.name = "Max_64f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMax_64f_D2L, a.list, a.mean, a.inv_var, a.width, a.running,
                                 a.height, a.val);
             },
         .reduction = Reduction::Max,
         .list = true,
         .doubled = true},
        {.name = "Max_IdVar_64f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMax_IdVar_64f_D2, a.block, a.step, a.mean, a.width,
                                 a.running, a.height, a.val);
             },
         .reduction = Reduction::Max,
         .variance = false,
         .plain_from_1000 = true},
        {.name = "Max_IdVar_64f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMax_IdVar_64f_D2L, a.list, a.mean, a.width, a.running,
                                 a.height, a.val);
             },
         .reduction = Reduction::Max,
         .list = true,
         .variance = false,
         .doubled = true,
         .plain_from_1000 = true},
    };
    return members;
}

const std::vector<ComponentMember<float>>& component_members(float)
{
    using Args = ComponentArguments<float>;
    static const std::vector<ComponentMember<float>> members = {
        {.name = "MaxMultiMix_32f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMaxMultiMix_32f_D2, a.mean_block, a.inv_var_block, a.step,
                                 a.feature, a.width, a.val, a.out, a.height);
             },
         .join = Join::Max},
        {.name = "MaxMultiMix_32f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMaxMultiMix_32f_D2L, a.mean_list, a.inv_var_list, a.feature,
                                 a.width, a.val, a.out, a.height);
             },
         .join = Join::Max,
         .list = true},
    };
    return members;
}

const std::vector<ComponentMember<double>>& component_members(double)
{
    using Args = ComponentArguments<double>;
    static const std::vector<ComponentMember<double>> members = {
        {.name = "MaxMultiMix_64f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMaxMultiMix_64f_D2, a.mean_block, a.inv_var_block, a.step,
                                 a.feature, a.width, a.val, a.out, a.height);
             },
         .join = Join::Max},
        {.name = "MaxMultiMix_64f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMaxMultiMix_64f_D2L, a.mean_list, a.inv_var_list, a.feature,
                                 a.width, a.val, a.out, a.height);
             },
         .join = Join::Max,
         .list = true},
    };
    return members;
}

template <class T>
class GaussMax : public testing::Test {};
using Types = testing::Types<float, double>;
struct TypeNames {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "64f";
    }
};
TYPED_TEST_SUITE(GaussMax, Types, TypeNames);

// body(member) for the members over frames and those over components.
template <class T, class Body>
void for_all_members(Body body)
{
    for (const auto& member : frame_members(T())) body(member);
    for (const auto& member : component_members(T())) body(member);
}

TYPED_TEST(GaussMax, EveryWidthAndHeight)
{
    for_all_members<TypeParam>([](const auto& m) { expect_every_width_and_height(m); });
}

TYPED_TEST(GaussMax, ManyFramesAndComponents)
{
    for (const auto& m : frame_members(TypeParam())) expect_many_frames(m);
    for (const auto& m : component_members(TypeParam())) expect_many_components(m);
}

TYPED_TEST(GaussMax, EveryPlacement)
{
    for_all_members<TypeParam>([](const auto& m) { expect_every_placement(m); });
}

TYPED_TEST(GaussMax, OneRowOff16BytesIsEnoughForTheGeneralKernel)
{
    for_all_members<TypeParam>([](const auto& m) {
        if (m.list) expect_one_row_off_16_bytes(m);
    });
}

TEST(GaussMax_32f, TheKernelIsChosenByTheNamedArraysAndTheStep)
{
    for (const auto& m : frame_members(float())) expect_kernel_by_the_named_arrays(m);
}

TYPED_TEST(GaussMax, InfinitiesAndNotNumbersFlowThroughTheirOwnScore)
{
    for (const auto& m : frame_members(TypeParam())) expect_special_values_in_their_own_frame(m);
    for (const auto& m : component_members(TypeParam())) expect_special_values_in_their_own_component(m);
}

TYPED_TEST(GaussMax, ReadNothingBesideTheArrays)
{
    for_all_members<TypeParam>([](const auto& m) { expect_nothing_read_beside_the_arrays(m); });
}

TYPED_TEST(GaussMax, StepThenPointersThenSizesAreChecked)
{
    for (const auto& m : frame_members(TypeParam())) expect_step_then_pointers_then_sizes(m);
    for (const auto& m : component_members(TypeParam())) expect_checks_in_order(m);
}

TYPED_TEST(GaussMax, TakesACallWithTheStackOn4Bytes)
{
    for_all_members<TypeParam>([](const auto& m) { expect_same_with_the_stack_on_4_bytes(m); });
}

TYPED_TEST(GaussMax, ScalesFromSubnormalTermsToInfiniteSums)
{
    using T = TypeParam;
    const std::vector<int> exponents =
        sizeof(T) == 4 ? std::vector<int>{-76, -70, -64, 50, 62, 63} : std::vector<int>{-540, -520, 500, 510, 511};
    for (const FrameMember<T>& m : frame_members(T()))
        for (int exponent : exponents)
            for (int width : {1, 2, 3, 4, 5, 7, 8, 13, 40}) {
                FrameProblem<T> problem = random_frames<T>(width, 7);
                for (T& mean : problem.mean) mean = std::ldexp(mean, exponent);
                for (auto& row : problem.rows)
                    for (T& x : row) x = std::ldexp(x, exponent);
                problem.val = std::ldexp(problem.val, std::min(2 * exponent, sizeof(T) == 4 ? 120 : 1020));
                for (int misalign : {0, 8}) {
                    const FrameLayout layout{{misalign}, {}, {}, {}, to_four(width), {misalign}};
                    set_old(m, problem, layout);
                    ASSERT_TRUE(runs(m, problem, layout)) << "2^" << exponent;
                }
            }
}

// Frames and components that lie on the mean, so that scores are the constants: equality keeps the old value, of
// the zeros the old one's sign too; NaN stays, and a NaN score changes nothing.
TYPED_TEST(GaussMax, KeepsTheOldValueUnlessTheScoreIsGreater)
{
    using T = TypeParam;
    using Limits = std::numeric_limits<T>;
    const T inf = Limits::infinity(), nan = Limits::quiet_NaN(), one = 1, tiny = Limits::denorm_min();
    struct Case {
        T val, old, kept;
    };
    const std::vector<Case> cases = {
        {0, -T(0), -T(0)},
        {-T(0), 0, 0},
        {one, one, one},
        {one, std::nextafter(one, T(0)), one},
        {one, std::nextafter(one, T(2)), std::nextafter(one, T(2))},
        {tiny, 0, tiny},
        {-tiny, -T(0), -T(0)},
        {one, nan, nan},
        {inf, nan, nan},
        {nan, one, one},
        {nan, -inf, -inf},
        {nan, nan, nan},
        {-inf, -inf, -inf},
        {inf, Limits::max(), inf},
        {-inf, Limits::lowest(), Limits::lowest()},
        {Limits::lowest() / 2, -inf, Limits::lowest() / 2},
        {T(-4.4e6), T(-4.5e6), T(-4.4e6)},
        {T(-1.1e10), T(-1e10), T(-1e10)},
    };
    for (const Case& c : cases)
        for (int width : {1, 3, 4, 7, 40})
            for (std::size_t height : {1u, 2u, 7u}) {
                const std::vector<T> val(height, c.val), old(height, c.old), kept(height, c.kept);
                for (const FrameMember<T>& m : frame_members(T()))
                    ASSERT_TRUE(same_values(kept, plain_call(m, frames_at_the_mean<T>(width, c.val, old))))
                        << m.name << ", score " << c.val << ", old " << c.old;
                for (const ComponentMember<T>& m : component_members(T()))
                    ASSERT_TRUE(same_values(kept, plain_call(m, components_at_the_feature<T>(width, val, old))))
                        << m.name << ", score " << c.val << ", old " << c.old;
            }
    for (std::size_t height : {1000u, 1003u})
        for (const Case& c : cases) {
            const std::vector<T> val(height, c.val), old(height, c.old), kept(height, c.kept);
            for (const FrameMember<T>& m : frame_members(T()))
                ASSERT_TRUE(same_values(kept, plain_call(m, frames_at_the_mean<T>(3, c.val, old))))
                    << m.name << ", score " << c.val << ", old " << c.old;
            for (const ComponentMember<T>& m : component_members(T()))
                ASSERT_TRUE(same_values(kept, plain_call(m, components_at_the_feature<T>(3, val, old))))
                    << m.name << ", score " << c.val << ", old " << c.old;
        }
}

TYPED_TEST(GaussMax, NothingChangesAboveEveryScore)
{
    using T = TypeParam;
    for (int height : {1, 6, 1001}) {
        const std::vector<T> above = uniform_vector<T>(height, 10, 1000);
        for (const FrameMember<T>& m : frame_members(T())) {
            FrameProblem<T> p = random_frames<T>(5, height);
            p.old = above;
            EXPECT_EQ(plain_call(m, p), above) << m.name;
        }
        for (const ComponentMember<T>& m : component_members(T())) {
            ComponentProblem<T> p = random_components<T>(5, height);
            p.old = above;
            EXPECT_EQ(plain_call(m, p), above) << m.name;
        }
    }
}

// Small integers: every order of the sum is exact.
TYPED_TEST(GaussMax, AreTheFormula)
{
    using T = TypeParam;
    for (int width : widths())
        for (int height : {1, 2, 3, 5, 8, 1002}) {
            if (height > 8 && width > 5) continue;
            const ComponentProblem<T> c = exact_components<T>(width, height);
            for (const ComponentMember<T>& m : component_members(T())) {
                ComponentProblem<T> p = c;
                std::vector<T> larger;
                for (std::size_t j = 0; j < p.val.size(); ++j) {
                    T sum = 0;
                    for (std::size_t k = 0; k < p.feature.size(); ++k)
                        sum += (p.feature[k] - p.mean[j][k]) * (p.feature[k] - p.mean[j][k]) * p.inv_var[j][k];
                    p.old[j] = T(uniform(-20, 4));
                    larger.push_back(std::max(p.old[j], p.val[j] - sum / 2));
                }
                ASSERT_TRUE(same_values(larger, plain_call(m, p))) << m.name << " " << width << " by " << height;
            }
            for (const FrameMember<T>& m : frame_members(T())) {
                FrameProblem<T> p{c.mean, c.feature, c.inv_var[0], c.val[0], c.old};
                std::vector<T> larger;
                for (std::size_t r = 0; r < p.rows.size(); ++r) {
                    T sum = 0;
                    for (std::size_t k = 0; k < p.mean.size(); ++k)
                        sum += (p.rows[r][k] - p.mean[k]) * (p.rows[r][k] - p.mean[k]) *
                               (m.variance ? p.inv_var[k] : T(1));
                    p.old[r] = T(uniform(-20, 4));
                    larger.push_back(std::max(p.old[r], p.val - sum / 2));
                }
                ASSERT_TRUE(same_values(larger, plain_call(m, p))) << m.name << " " << width << " by " << height;
            }
        }
}

// Calls for one Gaussian after the other leave the best component of every frame.
TYPED_TEST(GaussMax, CarriesTheRunningValueFromCallToCall)
{
    using T = TypeParam;
    const FrameLayout dense;
    for (const FrameMember<T>& m : frame_members(T())) {
        FrameProblem<T> p = random_frames<T>(6, 9);
        p.old.assign(9, kLogZero<T>);
        std::vector<T> best = p.old;
        for (int call = 0; call < 5; ++call) {
            const FrameProblem<T> model = random_frames<T>(6, 9);
            p.mean = model.mean;
            p.inv_var = model.inv_var;
            p.val = model.val;
            const auto scores = expected_scores(m, p, {{8}, {}, {}, {}, 0, {8}});
            for (std::size_t r = 0; r < 9; ++r) best[r] = std::max(best[r], scores[r].value);
            // Off 16 bytes, so that the general kernel runs.
            const Guarded<T> rows(as_block(p.rows, 6), {8});
            std::vector<const T*> list;
            for (std::size_t r = 0; r < 9; ++r) list.push_back(rows.data() + 6 * r);
            ASSERT_EQ(
                m.call({rows.data(), 6, list.data(), p.mean.data(), p.inv_var.data(), 6, p.old.data(), 9, p.val}),
                SrOk);
        }
        EXPECT_TRUE(same_values(best, p.old)) << m.name;
    }
}

// A constant that its double overflows: over frames single precision always doubles it, double precision in lists
// and from 1000 frames of unit variance on; over components double precision does from 1000 on.
TYPED_TEST(GaussMax, ConstantsAreDoubledWhereSaid)
{
    using T = TypeParam;
    const T largest = std::numeric_limits<T>::max(), infinity = std::numeric_limits<T>::infinity();
    for (int width : {1, 3, 4, 7, 40})
        for (std::size_t height : {1u, 7u, 999u, 1000u, 1003u}) {
            const std::vector<T> val(height, largest), old(height, 0);
            for (const FrameMember<T>& m : frame_members(T())) {
                const bool doubled = sizeof(T) == 4 || m.doubled || (m.plain_from_1000 && height >= 1000);
                EXPECT_EQ(plain_call(m, frames_at_the_mean<T>(width, largest, old)),
                          std::vector<T>(height, doubled ? infinity : largest))
                    << m.name << ", height " << height;
            }
            for (const ComponentMember<T>& m : component_members(T())) {
                const bool doubled = sizeof(T) == 8 && height >= 1000;
                EXPECT_EQ(plain_call(m, components_at_the_feature<T>(width, val, old)),
                          std::vector<T>(height, doubled ? infinity : largest))
                    << m.name << ", height " << height;
            }
        }
}

}  // namespace
}  // namespace zelsr::test::mixture
