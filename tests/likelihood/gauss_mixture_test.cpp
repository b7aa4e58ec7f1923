// Whole mixtures: the log sum of the scores of all components.
#include <gtest/gtest.h>

#include "likelihood/mixture_components.h"
#include "zelsr/likelihood/gauss.h"
#include "zelsr/likelihood/log_add.h"

namespace zelsr::test::mixture {
namespace {

const std::vector<ComponentMember<float>>& members(float)
{
    using Args = ComponentArguments<float>;
    static const std::vector<ComponentMember<float>> all = {
        {.name = "Mixture_32f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMixture_32f_D2, a.feature, a.mean_block, a.inv_var_block,
                                 a.height, a.step, a.width, a.val, a.out);
             },
         .join = Join::Mixture},
        {.name = "Mixture_32f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMixture_32f_D2L, a.feature, a.mean_list, a.inv_var_list,
                                 a.height, a.width, a.val, a.out);
             },
         .join = Join::Mixture,
         .list = true},
        {.name = "Mixture_IdVar_32f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMixture_IdVar_32f_D2, a.feature, a.mean_block, a.height,
                                 a.step, a.width, a.val, a.out);
             },
         .join = Join::Mixture,
         .variance = false,
         .serial = true},
        {.name = "Mixture_IdVar_32f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMixture_IdVar_32f_D2L, a.feature, a.mean_list, a.height,
                                 a.width, a.val, a.out);
             },
         .join = Join::Mixture,
         .list = true,
         .variance = false},
    };
    return all;
}

const std::vector<ComponentMember<double>>& members(double)
{
    using Args = ComponentArguments<double>;
    static const std::vector<ComponentMember<double>> all = {
        {.name = "Mixture_64f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMixture_64f_D2, a.feature, a.mean_block, a.inv_var_block,
                                 a.height, a.step, a.width, a.val, a.out);
             },
         .join = Join::Mixture},
        {.name = "Mixture_64f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMixture_64f_D2L, a.feature, a.mean_list, a.inv_var_list,
                                 a.height, a.width, a.val, a.out);
             },
         .join = Join::Mixture,
         .list = true},
        {.name = "Mixture_IdVar_64f_D2",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMixture_IdVar_64f_D2, a.feature, a.mean_block, a.height,
                                 a.step, a.width, a.val, a.out);
             },
         .join = Join::Mixture,
         .variance = false},
        {.name = "Mixture_IdVar_64f_D2L",
         .call =
             [](const Args& a) {
                 return on_stack(a.stack, zelsLogGaussMixture_IdVar_64f_D2L, a.feature, a.mean_list, a.height,
                                 a.width, a.val, a.out);
             },
         .join = Join::Mixture,
         .list = true,
         .variance = false},
    };
    return all;
}

template <class T>
class GaussMixture : public testing::Test {};
using Types = testing::Types<float, double>;
struct TypeNames {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "64f";
    }
};
TYPED_TEST_SUITE(GaussMixture, Types, TypeNames);

TYPED_TEST(GaussMixture, EveryWidthAndHeight)
{
    for (const auto& m : members(TypeParam())) expect_every_width_and_height(m);
}

TYPED_TEST(GaussMixture, ManyComponents)
{
    for (const auto& m : members(TypeParam())) expect_many_components(m);
}

// Single vectors of unit variance have one order of the double-precision sum above 54 elements.
TYPED_TEST(GaussMixture, LongVectors)
{
    for (const auto& m : members(TypeParam()))
        for (int width : {53, 54, 55, 56, 57, 103})
            for (int height : {1, 5, 101}) {
                ComponentProblem<TypeParam> problem = random_components<TypeParam>(width, height);
                set_old(m, problem);
                for (int misalign : {0, 8})
                    ASSERT_TRUE(
                        runs(m, problem, {{misalign}, {}, {}, {}, {}, to_four(width), {misalign}, {misalign}}));
            }
}

TYPED_TEST(GaussMixture, EveryPlacement)
{
    for (const auto& m : members(TypeParam())) expect_every_placement(m);
}

TYPED_TEST(GaussMixture, OneRowOff16BytesChangesNothing)
{
    for (const auto& m : members(TypeParam()))
        if (m.list) expect_one_row_off_16_bytes(m);
}

TYPED_TEST(GaussMixture, InfinitiesAndNotNumbersFlowThrough)
{
    for (const auto& m : members(TypeParam())) expect_special_values_in_their_own_component(m);
}

TYPED_TEST(GaussMixture, ReadsNothingBesideTheArrays)
{
    for (const auto& m : members(TypeParam())) expect_nothing_read_beside_the_arrays(m);
}

TYPED_TEST(GaussMixture, PointersThenStepThenSizesAreChecked)
{
    for (const auto& m : members(TypeParam())) expect_checks_in_order(m);
}

TYPED_TEST(GaussMixture, TakesACallWithTheStackOn4Bytes)
{
    for (const auto& m : members(TypeParam())) expect_same_with_the_stack_on_4_bytes(m);
}

// The mixture of components that lie on the feature: their constants' log sum.
template <class T>
T of_constants(const ComponentMember<T>& m, int width, const std::vector<T>& val)
{
    return plain_call(m, components_at_the_feature<T>(width, val, {T(-12345.5)}))[0];
}

// No floor is applied, and nothing rounds.
TYPED_TEST(GaussMixture, OfOneComponentIsItsScore)
{
    using T = TypeParam;
    using Limits = std::numeric_limits<T>;
    for (const ComponentMember<T>& m : members(T()))
        for (int width : {1, 3, 4, 7, 40, 60})
            for (T val : {T(0), T(-1.0 / 3), T(-6e6), T(-4.5e6), T(-9.9e10), Limits::infinity(),
                          -Limits::infinity(), Limits::quiet_NaN(), Limits::lowest() / 2})
                EXPECT_TRUE(same_value(val, of_constants<T>(m, width, {val}))) << m.name << ", width " << width;
}

TYPED_TEST(GaussMixture, OfEqualComponentsGainsTheLogarithmOfTheirNumber)
{
    using T = TypeParam;
    for (const ComponentMember<T>& m : members(T())) {
        EXPECT_EQ(of_constants<T>(m, 5, {0, 0}), sizeof(T) == 4 ? T(0.6931471827215062) : T(0.6931471805599475))
            << m.name;
        for (std::size_t height : {3u, 8u, 64u, 100u, 101u, 200u, 1000u})
            EXPECT_NEAR(of_constants(m, 5, std::vector<T>(height, T(-3))), std::log(double(height)) - 3,
                        sizeof(T) == 4 ? 2e-5 : 1e-12)
                << m.name << ", height " << height;
    }
}

TYPED_TEST(GaussMixture, IgnoresComponentsBelowTheCut)
{
    using T = TypeParam;
    const T floor = kLogZero<T>;
    for (const ComponentMember<T>& m : members(T())) {
        EXPECT_EQ(of_constants<T>(m, 5, {T(1.25), T(-30), floor}), T(1.25)) << m.name;
        EXPECT_EQ(of_constants<T>(m, 5, {floor, T(-30), T(1.25)}), T(1.25)) << m.name;
        for (std::size_t where : {0u, 1u, 98u, 99u, 100u, 101u, 199u, 200u, 249u}) {
            std::vector<T> val(250, T(-40));
            val[where] = T(2.5);
            EXPECT_EQ(of_constants(m, 5, val), T(2.5)) << m.name << ", component " << where;
        }
        // Far below the floor, which the first addition raises to.
        EXPECT_EQ(of_constants<T>(m, 5, {floor * 3, floor * 2}), floor) << m.name;
    }
}

// The blocks show: the scores of the first 100 components are summed by zelsLogSum_*, then that sum and the rest.
TYPED_TEST(GaussMixture, FoldsBlocksOf100BehindTheRunningValue)
{
    using T = TypeParam;
    for (int height : {99, 100, 101, 120, 200, 201, 350}) {
        ComponentProblem<T> p = exact_components<T>(7, height);
        p.old = {0};
        for (auto& row : p.inv_var) row.assign(7, 1);  // so that all members have the same scores
        std::vector<T> scores(p.val.size());
        for (std::size_t j = 0; j < scores.size(); ++j)
            if constexpr (std::is_same_v<T, float>)
                zelsLogGaussSingle_IdVar_32f(p.feature.data(), p.mean[j].data(), 7, &scores[j], p.val[j]);
            else
                zelsLogGaussSingle_IdVar_64f(p.feature.data(), p.mean[j].data(), 7, &scores[j], p.val[j]);
        T sum = 0;
        std::vector<T> block;
        for (std::size_t first = 0; first < scores.size(); first += 100) {
            if (first > 0) block = {sum};
            const std::size_t last = std::min(scores.size(), first + 100);
            block.insert(block.end(), scores.begin() + static_cast<std::ptrdiff_t>(first),
                         scores.begin() + static_cast<std::ptrdiff_t>(last));
            if constexpr (std::is_same_v<T, float>)
                zelsLogSum_32f(block.data(), &sum, static_cast<int32_t>(block.size()));
            else
                zelsLogSum_64f(block.data(), &sum, static_cast<int32_t>(block.size()));
        }
        for (const ComponentMember<T>& m : members(T())) {
            if (m.serial) continue;
            EXPECT_TRUE(same_value(sum, plain_call(m, p)[0])) << m.name << ", height " << height;
        }
    }
}

// The serial member takes no notice of the blocks: a mixture is the one before it and one more component.
TEST(GaussMixture_IdVar_32f_D2, JoinsOneComponentAfterTheOther)
{
    const ComponentMember<float>& m = members(float())[2];
    ASSERT_TRUE(m.serial);
    const ComponentProblem<float> all = random_components<float>(6, 205);
    float sum = 0;
    for (std::size_t height = 1; height <= 205; ++height) {
        ComponentProblem<float> p = all;
        p.mean.resize(height);
        p.val.resize(height);
        p.old = {0};
        const float score = component_score(m, p, height - 1).value;
        sum = height == 1 ? score : reference::log_add_plain(sum, score);
        ASSERT_TRUE(same_value(sum, plain_call(m, p)[0])) << height;
    }
}

// Against the sum of exponentials.
TYPED_TEST(GaussMixture, IsTheLogarithmOfTheSumOfTheDensities)
{
    using T = TypeParam;
    for (const ComponentMember<T>& m : members(T()))
        for (int height : {1, 2, 7, 100, 101, 120, 257}) {
            ComponentProblem<T> p = random_components<T>(9, height);
            p.old = {0};
            double sum = 0;
            for (const Expected<T>& score : component_scores(m, p)) sum += std::exp(double(score.value));
            // Each addition rounds to 2e-7 of the running value in single precision; ignored terms: 2e-7, 1e-10.
            EXPECT_NEAR(plain_call(m, p)[0], std::log(sum), height * (sizeof(T) == 4 ? 1e-6 : 2e-10)) << m.name;
        }
}

}  // namespace
}  // namespace zelsr::test::mixture
