// Running log additions of Gaussian scores.
#include <gtest/gtest.h>

#include "likelihood/mixture_components.h"
#include "likelihood/mixture_frames.h"
#include "zelsr/likelihood/gauss.h"
#include "zelsr/likelihood/log_add.h"

namespace zelsr::test::mixture {
namespace {

const std::vector<FrameMember<float>>& frame_members(float)
{
    using Args = FrameArguments<float>;
    static const std::vector<FrameMember<float>> members = {
        {.name = "Add_32f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAdd_32f_D2, a.block, a.step, a.mean, a.inv_var, a.width,
                                 a.running, a.height, a.val);
             },
         .reduction = Reduction::Add,
         .narrow = true},
        {.name = "Add_32f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAdd_32f_D2L, a.list, a.mean, a.inv_var, a.width, a.running,
                                 a.height, a.val);
             },
         .reduction = Reduction::Add,
         .list = true,
         .block = 128},
        {.name = "Add_IdVar_32f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAdd_IdVar_32f_D2, a.block, a.step, a.mean, a.width,
                                 a.running, a.height, a.val);
             },
         .reduction = Reduction::Add,
         .variance = false,
         .narrow = true},
        {.name = "Add_IdVar_32f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAdd_IdVar_32f_D2L, a.list, a.mean, a.width, a.running,
                                 a.height, a.val);
             },
         .reduction = Reduction::Add,
         .list = true,
         .variance = false,
         .block = 128},
    };
    return members;
}

const std::vector<FrameMember<double>>& frame_members(double)
{
    using Args = FrameArguments<double>;
    static const std::vector<FrameMember<double>> members = {
        {.name = "Add_64f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAdd_64f_D2, a.block, a.step, a.mean, a.inv_var, a.width,
                                 a.running, a.height, a.val);
             },
         .reduction = Reduction::Add},
        {.name = "Add_64f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAdd_64f_D2L, a.list, a.mean, a.inv_var, a.width, a.running,
                                 a.height, a.val);
             },
         .reduction = Reduction::Add,
         .list = true,
         .block = 128},
        {.name = "Add_IdVar_64f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAdd_IdVar_64f_D2, a.block, a.step, a.mean, a.width,
                                 a.running, a.height, a.val);
             },
         .reduction = Reduction::Add,
         .variance = false},
        {.name = "Add_IdVar_64f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAdd_IdVar_64f_D2L, a.list, a.mean, a.width, a.running,
                                 a.height, a.val);
             },
         .reduction = Reduction::Add,
         .list = true,
         .variance = false,
         .block = 128},
    };
    return members;
}

const std::vector<ComponentMember<float>>& component_members(float)
{
    using Args = ComponentArguments<float>;
    static const std::vector<ComponentMember<float>> members = {
        {.name = "AddMultiMix_32f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAddMultiMix_32f_D2, a.mean_block, a.inv_var_block, a.step,
                                 a.feature, a.width, a.val, a.out, a.height);
             },
         .join = Join::Add},
        {.name = "AddMultiMix_32f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAddMultiMix_32f_D2L, a.mean_list, a.inv_var_list, a.feature,
                                 a.width, a.val, a.out, a.height);
             },
         .join = Join::Add,
         .list = true},
    };
    return members;
}

const std::vector<ComponentMember<double>>& component_members(double)
{
    using Args = ComponentArguments<double>;
    static const std::vector<ComponentMember<double>> members = {
        {.name = "AddMultiMix_64f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAddMultiMix_64f_D2, a.mean_block, a.inv_var_block, a.step,
                                 a.feature, a.width, a.val, a.out, a.height);
             },
         .join = Join::Add},
        {.name = "AddMultiMix_64f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussAddMultiMix_64f_D2L, a.mean_list, a.inv_var_list, a.feature,
                                 a.width, a.val, a.out, a.height);
             },
         .join = Join::Add,
         .list = true,
         .plain_from_1000 = true},
    };
    return members;
}

template <class T>
class GaussAdd : public testing::Test {};
using Types = testing::Types<float, double>;
struct TypeNames {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "64f";
    }
};
TYPED_TEST_SUITE(GaussAdd, Types, TypeNames);

// body(member) for the members over frames and those over components.
template <class T, class Body>
void for_all_members(Body body)
{
    for (const auto& member : frame_members(T())) body(member);
    for (const auto& member : component_members(T())) body(member);
}

TYPED_TEST(GaussAdd, EveryWidthAndHeight)
{
    for_all_members<TypeParam>([](const auto& m) { expect_every_width_and_height(m); });
}

TYPED_TEST(GaussAdd, ManyFramesAndComponents)
{
    for (const auto& m : frame_members(TypeParam())) expect_many_frames(m);
    for (const auto& m : component_members(TypeParam())) expect_many_components(m);
}

TYPED_TEST(GaussAdd, EveryPlacement)
{
    for_all_members<TypeParam>([](const auto& m) { expect_every_placement(m); });
}

// In lists of frames, for the blocks of 128 that hold it.
TYPED_TEST(GaussAdd, OneRowOff16BytesIsEnoughForTheGeneralKernel)
{
    for_all_members<TypeParam>([](const auto& m) {
        if (m.list) expect_one_row_off_16_bytes(m);
    });
}

TEST(GaussAdd_32f, TheKernelIsChosenByTheNamedArraysAndTheStep)
{
    for (const auto& m : frame_members(float())) expect_kernel_by_the_named_arrays(m);
}

TYPED_TEST(GaussAdd, InfinitiesAndNotNumbersFlowThroughTheirOwnSum)
{
    for (const auto& m : frame_members(TypeParam())) expect_special_values_in_their_own_frame(m);
    for (const auto& m : component_members(TypeParam())) expect_special_values_in_their_own_component(m);
}

TYPED_TEST(GaussAdd, ReadNothingBesideTheArrays)
{
    for_all_members<TypeParam>([](const auto& m) { expect_nothing_read_beside_the_arrays(m); });
}

TYPED_TEST(GaussAdd, StepThenPointersThenSizesAreChecked)
{
    for (const auto& m : frame_members(TypeParam())) expect_step_then_pointers_then_sizes(m);
    for (const auto& m : component_members(TypeParam())) expect_checks_in_order(m);
}

TYPED_TEST(GaussAdd, TakesACallWithTheStackOn4Bytes)
{
    for_all_members<TypeParam>([](const auto& m) { expect_same_with_the_stack_on_4_bytes(m); });
}

// Frames and components that lie on the mean, so that scores are the constants.
template <class T>
void expect_sum(T old, T score, T sum)
{
    for (int width : {1, 3, 4, 7})
        for (std::size_t height : {1u, 3u, 4u, 7u, 1001u}) {
            const std::vector<T> val(height, score), before(height, old), after(height, sum);
            for (const FrameMember<T>& m : frame_members(T()))
                ASSERT_TRUE(same_values(after, plain_call(m, frames_at_the_mean<T>(width, score, before))))
                    << m.name << ": " << old << " and " << score;
            for (const ComponentMember<T>& m : component_members(T()))
                ASSERT_TRUE(same_values(after, plain_call(m, components_at_the_feature<T>(width, val, before))))
                    << m.name << ": " << old << " and " << score;
        }
}

TYPED_TEST(GaussAdd, IgnoresATermBelowTheCut)
{
    using T = TypeParam;
    const T floor = kLogZero<T>, cut = static_cast<T>(sizeof(T) == 4 ? -15.3195879547406 : -23.0258509299405);
    expect_sum<T>(floor, 0, 0);
    expect_sum<T>(floor, T(-0.5), T(-0.5));
    expect_sum<T>(0, floor, 0);
    expect_sum<T>(100, T(-1000), 100);
    expect_sum<T>(std::nextafter(cut, T(-100)), 0, 0);
    expect_sum<T>(0, std::nextafter(cut, T(-100)), 0);
    expect_sum<T>(-std::numeric_limits<T>::infinity(), 3, 3);
    expect_sum<T>(3, std::numeric_limits<T>::infinity(), std::numeric_limits<T>::infinity());
}

// The floor is applied where the smaller term is ignored, and there only: two equal terms below it stay below.
TYPED_TEST(GaussAdd, RaisesToTheFloorOnlyBelowTheCut)
{
    using T = TypeParam;
    if (sizeof(T) == 4) {
        expect_sum<T>(T(-5e6), T(-6e6), T(-4.5e6));
        expect_sum<T>(T(-6e6), T(-5e6), T(-4.5e6));
        expect_sum<T>(T(-5e6), T(-5e6), T(-5e6 + 0.5));
        expect_sum<T>(T(-4.5e6), T(-4.5e6), T(-4.5e6 + 0.5));  // ln 2 in steps of 0.5
        expect_sum<T>(T(-4e6), T(-6e6), T(-4e6));
    } else {
        expect_sum<T>(T(-9.5e9), T(-1e11), T(-1e10));
        expect_sum<T>(T(-1e11), T(-9.5e9), T(-1e10));
        expect_sum<T>(T(-8.5e9), T(-1e11), T(-8.5e9));
        expect_sum<T>(T(-9e9), T(-1e11), T(-9e9));
        expect_sum<T>(std::nextafter(T(-9e9), T(-1e10)), T(-1e11), T(-1e10));
    }
}

TYPED_TEST(GaussAdd, EqualTermsGainTheLogarithmOf2)
{
    using T = TypeParam;
    expect_sum<T>(0, 0, sizeof(T) == 4 ? T(0.6931471827215062) : T(0.6931471805599475));
    for (const FrameMember<T>& m : frame_members(T()))
        EXPECT_NEAR(plain_call(m, frames_at_the_mean<T>(5, T(-7.25), {T(-7.25)}))[0], -7.25 + std::log(2.0),
                    sizeof(T) == 4 ? 5e-7 : 1e-14);
}

// A constant that its double overflows: single precision doubles it over frames, double precision where lists of
// 1000 components and more take a plain loop.
TYPED_TEST(GaussAdd, ConstantsAreDoubledWhereSaid)
{
    using T = TypeParam;
    const T largest = std::numeric_limits<T>::max(), infinity = std::numeric_limits<T>::infinity();
    for (int width : {1, 3, 4, 7})
        for (std::size_t height : {1u, 7u, 999u, 1000u, 1003u}) {
            const std::vector<T> val(height, largest), old(height, 0);
            for (const FrameMember<T>& m : frame_members(T()))
                EXPECT_EQ(plain_call(m, frames_at_the_mean<T>(width, largest, old)),
                          std::vector<T>(height, sizeof(T) == 4 ? infinity : largest))
                    << m.name << ", height " << height;
            for (const ComponentMember<T>& m : component_members(T()))
                EXPECT_EQ(plain_call(m, components_at_the_feature<T>(width, val, old)),
                          std::vector<T>(height, m.plain_from_1000 && height >= 1000 ? infinity : largest))
                    << m.name << ", height " << height;
        }
}

// Every sum is the scores of zelsLogGauss_* added by zelsLogAdd_*, or as near as the loops for narrow frames come.
TYPED_TEST(GaussAdd, IsTheLogAdditionOfTheScores)
{
    using T = TypeParam;
    for (int width : {4, 5, 13, 36})
        for (int height : {1, 7, 127, 128, 129, 256, 300}) {
            FrameProblem<T> p = random_frames<T>(width, height);
            set_old(frame_members(T())[0], p, FrameLayout{});
            const Guarded<T> block(as_block(p.rows, p.mean.size())), mean(p.mean), inv_var(p.inv_var);
            std::vector<T> scores(p.rows.size()), sums = p.old;
            const int32_t step = width;
            if constexpr (std::is_same_v<T, float>) {
                zelsLogGauss_32f_D2(block.data(), step, mean.data(), inv_var.data(), width, scores.data(), height,
                                    p.val);
                zelsLogAdd_32f(scores.data(), sums.data(), height, 0);
            } else {
                zelsLogGauss_64f_D2(block.data(), step, mean.data(), inv_var.data(), width, scores.data(), height,
                                    p.val);
                zelsLogAdd_64f(scores.data(), sums.data(), height, 0);
            }
            std::vector<T> running = p.old;
            ASSERT_EQ(frame_members(T())[0].call({block.data(), step, nullptr, mean.data(), inv_var.data(), width,
                                                  running.data(), height, p.val}),
                      SrOk);
            ASSERT_TRUE(same_values(sums, running)) << "width " << width << ", height " << height;
        }
}

// At the ends of the blocks of 128 and of 100 an entry's sum is what it is alone.
TYPED_TEST(GaussAdd, BlocksDoNotShow)
{
    using T = TypeParam;
    for (int height :
         thin_effort() ? std::vector<int>{101, 129} : std::vector<int>{100, 101, 128, 129, 201, 256, 257}) {
        for (const FrameMember<T>& m : frame_members(T())) {
            FrameProblem<T> p = random_frames<T>(8, height);
            set_old(m, p, {});
            const std::vector<T> together = plain_call(m, p);
            for (std::size_t r = 0; r < p.rows.size(); ++r) {
                FrameProblem<T> one = p;
                one.rows = {p.rows[r]};
                one.old = {p.old[r]};
                ASSERT_TRUE(same_value(plain_call(m, one)[0], together[r])) << m.name << ", frame " << r;
            }
        }
        for (const ComponentMember<T>& m : component_members(T())) {
            ComponentProblem<T> p = exact_components<T>(8, height);
            set_old(m, p);
            const std::vector<T> together = plain_call(m, p);
            for (std::size_t j = 0; j < p.val.size(); ++j) {
                ComponentProblem<T> one{{p.mean[j]}, {p.inv_var[j]}, p.feature, {p.val[j]}, {p.old[j]}, true};
                ASSERT_TRUE(same_value(plain_call(m, one)[0], together[j])) << m.name << ", component " << j;
            }
        }
    }
}

// A fourth element on the mean adds nothing to the score: three columns in a plain loop and four in a kernel
// agree but for the last places of score and sum.
TEST(GaussAdd_32f, ThreeColumnsAgreeWithFour)
{
    for (const FrameMember<float>& m : frame_members(float())) {
        FrameProblem<float> three = random_frames<float>(3, 200);
        for (std::size_t r = 0; r < three.old.size(); ++r) three.old[r] = uniform(-20.0F, 3.0F);
        FrameProblem<float> four = three;
        for (auto& row : four.rows) row.push_back(1);
        four.mean.push_back(1);
        four.inv_var.push_back(1);
        const std::vector<float> narrow = plain_call(m, three), wide = plain_call(m, four);
        for (std::size_t r = 0; r < narrow.size(); ++r) {
            double magnitude = 2;
            for (std::size_t k = 0; k < 3; ++k) magnitude += 4 * std::pow(three.rows[r][k] - three.mean[k], 2);
            // Five roundings in the score, one of the sum.
            ASSERT_NEAR(narrow[r], wide[r],
                        6 * std::numeric_limits<float>::epsilon() * (magnitude + std::abs(wide[r])))
                << m.name;
        }
    }
}

// Many small terms come to the logarithm of their sum.
TYPED_TEST(GaussAdd, CarriesTheRunningValueFromCallToCall)
{
    using T = TypeParam;
    for (const FrameMember<T>& m : frame_members(T()))
        for (int width : {3, 6}) {
            FrameProblem<T> p = random_frames<T>(width, 9);
            p.old.assign(9, kLogZero<T>);
            std::vector<double> sums(9, 0);
            for (int call = 0; call < 20; ++call) {
                const FrameProblem<T> model = random_frames<T>(width, 9);
                p.mean = model.mean;
                p.inv_var = model.inv_var;
                p.val = model.val;
                const auto scores = expected_scores(m, p, {});
                for (std::size_t r = 0; r < 9; ++r) sums[r] += std::exp(static_cast<double>(scores[r].value));
                p.old = plain_call(m, p);
            }
            // The largest term's rounding in single precision, the cut's 2e-7 a call.
            for (std::size_t r = 0; r < 9; ++r)
                ASSERT_NEAR(p.old[r], std::log(sums[r]), sizeof(T) == 4 ? 2e-4 : 1e-8) << m.name;
        }
}

}  // namespace
}  // namespace zelsr::test::mixture
