// One vector against many Gaussians.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "likelihood/gauss_multimix_members.h"
#include "likelihood/sizes.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test::multimix {
namespace {

// The members of one type.
template <class Type>
class LogGaussMultiMix : public testing::Test {
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
TYPED_TEST_SUITE(LogGaussMultiMix, AllTypes, TypeNames);

// In both kernels. The general one meets, in turn: the dense block, rows off 16 bytes, all or some of them, in
// either model, steps that are a multiple of 2 only or odd, lists on odd addresses.
TYPED_TEST(LogGaussMultiMix, EveryWidthAndHeight)
{
    Cycle mean_rows(std::vector<std::vector<int>>{{8}, {0}, {7}, {0}, {0, 8}});
    Cycle inv_var_rows(std::vector<std::vector<int>>{{0}, {8}, {7}, {0, 8}});
    Cycle beyond(std::vector<int>{0, 2, 1, 8, 3, 6});
    Cycle list_places(placements(sizeof(void*)));
    for (const auto& member : this->all)
        for (int width : widths())
            for (int height : heights()) {
                const auto problem = random_problem<TypeParam>(width, height);
                Layout layout(width);
                ASSERT_TRUE(scores(member, problem, layout));
                for (int i = 0; i < (thin_effort() ? 1 : 4); ++i) {
                    layout.mean_misalign = mean_rows.next();
                    layout.inv_var_misalign = inv_var_rows.next();
                    layout.mean.misalign = layout.mean_misalign[0];
                    layout.inv_var.misalign = layout.inv_var_misalign[0];
                    layout.beyond_width = beyond.next();
                    layout.list = list_places.next();
                    ASSERT_TRUE(scores(member, problem, layout));
                }
            }
}

TYPED_TEST(LogGaussMultiMix, EveryPlacement)
{
    Cycle some_widths(std::vector<int>{1, 3, 4, 6, 7, 8, 11, 36, 39, 40});
    Cycle some_heights(std::vector<int>{1, 2, 3, 4, 5, 7, 3});
    for (const auto& member : this->all)
        for (const Arrangement& where : arrangements(4, sizeof(TypeParam)))
            for (int i = 0; i < (thin_effort() ? 1 : 7); ++i) {
                const auto problem = random_problem<TypeParam>(some_widths.next(), some_heights.next());
                ASSERT_TRUE(scores(member, problem, Layout(problem.width(), where)));
            }
}

TYPED_TEST(LogGaussMultiMix, OneRowOff16BytesInEitherList)
{
    Cycle offsets(std::vector<int>{1, static_cast<int>(sizeof(TypeParam)), 12});
    for (const auto& member : this->all)
        for (int width : {2, 4, 7, 13, 39})
            for (int height : heights())
                for (int off = 0; member.list && off < height; ++off)
                    for (bool in_mean : {false, true}) {
                        if (thin_effort() && width != 7 && off != height - 1) continue;
                        const auto problem = random_problem<TypeParam>(width, height);
                        Layout layout(width);
                        auto& rows = in_mean ? layout.mean_misalign : layout.inv_var_misalign;
                        rows.assign(static_cast<std::size_t>(height), 0);
                        rows[static_cast<std::size_t>(off)] = offsets.next();
                        ASSERT_TRUE(scores(member, problem, layout));
                    }
}

// 1000 components and more may be scored by a loop of their own.
TYPED_TEST(LogGaussMultiMix, ManyComponents)
{
    using T = TypeParam;
    const std::vector<int> many =
        thin_effort() ? std::vector<int>{1001} : std::vector<int>{998, 999, 1000, 1001, 1002, 1003};
    Cycle offsets(std::vector<int>{0, 8, 7});
    for (const auto& member : this->all)
        for (int height : many)
            for (int width : {1, 2, 3, 4, 5, 13}) {
                if (thin_effort() && width != 5) continue;
                const auto problem = random_problem<T>(width, height);
                const int step = (width + 3) / 4 * 4, misalign = offsets.next();
                // The lists point into the blocks: a thousand rows between pages of their own are too many.
                const Guarded<T> mean(as_block(problem.mean, static_cast<std::size_t>(step)), {misalign});
                const Guarded<T> inv_var(as_block(problem.inv_var, static_cast<std::size_t>(step)), {misalign});
                const Guarded<T> feature(problem.feature), value(problem.value, {misalign});
                std::vector<const T*> mean_list, inv_var_list;
                for (int j = 0; j < height; ++j) {
                    mean_list.push_back(mean.data() + j * step);
                    inv_var_list.push_back(inv_var.data() + j * step);
                }
                ASSERT_EQ(member.call({mean.data(), inv_var.data(), step, mean_list.data(), inv_var_list.data(),
                                       feature.data(), width, value.data(), height}),
                          SrOk);
                ASSERT_TRUE(value.intact());
                ASSERT_TRUE(as_expected(problem, value.values()))
                    << member.name << ", width " << width << ", height " << height;
            }
}

TYPED_TEST(LogGaussMultiMix, SameScoresFrom1000ComponentsUpwards)
{
    using T = TypeParam;
    for (const auto& member : this->all)
        for (int width : {5, 12}) {
            if (thin_effort() && width != 5) continue;
            Problem<T> p = random_problem<T>(width, 1000);
            const std::vector<T> all = plain_call(member, p);
            p.value.pop_back();
            const std::vector<T> fewer = plain_call(member, p);
            for (std::size_t j = 0; j < fewer.size(); ++j)
                ASSERT_NEAR(all[j], fewer[j], tolerance(p, j)) << member.name << ", component " << j;
        }
}

// In a group of four, in a pair and alone a component's score has the same bits.
TYPED_TEST(LogGaussMultiMix, ScoresAComponentInItsGroupAsAlone)
{
    using T = TypeParam;
    for (const auto& member : this->all)
        for (int width : widths()) {
            const Problem<T> all = random_problem<T>(width, 9);
            const std::vector<T> together = plain_call(member, all);
            for (std::size_t j = 0; j < 9; ++j) {
                const Problem<T> one{{all.mean[j]}, {all.inv_var[j]}, all.feature, {all.value[j]}};
                ASSERT_NEAR(together[j], plain_call(member, one)[0], tolerance(all, j))
                    << member.name << ", width " << width;
            }
        }
}

TYPED_TEST(LogGaussMultiMix, ScalesFromSubnormalTermsToInfiniteSums)
{
    using T = TypeParam;
    const std::vector<int> exponents =
        sizeof(T) == 4 ? std::vector<int>{-76, -70, -64, 50, 62, 63} : std::vector<int>{-540, -520, 500, 510};
    Cycle offsets(std::vector<int>{0, 0, 8, 0, 8});
    for (const auto& member : this->all)
        for (int exponent : exponents)
            for (int width : {1, 2, 3, 4, 5, 7, 8, 13, 39}) {
                Problem<T> problem = random_problem<T>(width, 7);
                for (T& x : problem.feature) x = std::ldexp(x, exponent);
                for (auto& row : problem.mean)
                    for (T& m : row) m = std::ldexp(m, exponent);
                for (T& v : problem.value) v = std::ldexp(v, std::min(2 * exponent, sizeof(T) == 4 ? 120 : 1020));
                for (int i = 0; i < (thin_effort() ? 1 : 2); ++i)
                    ASSERT_TRUE(scores(member, problem, Layout(width, offsets.next()))) << "2^" << exponent;
            }
}

// At every position of every array, special values and kernels in turn.
TYPED_TEST(LogGaussMultiMix, InfinitiesAndNotNumbersFlowThroughTheirOwnComponent)
{
    using T = TypeParam;
    Cycle offsets(std::vector<int>{0, 0, 8, 0, 8});
    Cycle specials(special_values<T>());
    for (const auto& member : this->all)
        for (int width : {1, 2, 3, 4, 5, 7, 8, 11, 39})
            for (std::size_t k = 0; k < static_cast<std::size_t>(width); k += thin_effort() ? 5 : 1)
                for (int i = 0; i < (thin_effort() ? 1 : 3); ++i) {
                    const Problem<T> plain = random_problem<T>(width, 7);
                    Problem<T> in_feature = plain, in_mean = plain, in_variance = plain, in_value = plain;
                    in_feature.feature[k] = specials.next();
                    in_mean.mean[k % 7][k] = specials.next();
                    in_variance.inv_var[k % 7][k] = specials.next();
                    in_value.value[k % 7] = specials.next();
                    for (const Problem<T>& problem : {in_feature, in_mean, in_variance, in_value})
                        ASSERT_TRUE(scores(member, problem, Layout(width, offsets.next())))
                            << "special values at " << k;
                }
}

// Small integers: every order of the sum is exact.
TYPED_TEST(LogGaussMultiMix, IsTheFormula)
{
    using T = TypeParam;
    for (const auto& member : this->all)
        for (int width : widths())
            for (int height : {1, 2, 3, 4, 5, 7, 1003}) {
                if (height == 1003 && width != 3 && width != 5) continue;
                Problem<T> problem = random_problem<T>(width, height);
                for (T& x : problem.feature) x = T(uniform(-20, 20));
                std::vector<T> expected;
                for (std::size_t j = 0; j < problem.value.size(); ++j) {
                    int twice_score = 2 * uniform(-1000, 1000);
                    problem.value[j] = T(twice_score) / 2;
                    for (std::size_t k = 0; k < problem.feature.size(); ++k) {
                        const int m = uniform(-20, 20), p = uniform(0, 9),
                                  d = static_cast<int>(problem.feature[k]) - m;
                        problem.mean[j][k] = T(m);
                        problem.inv_var[j][k] = T(p);
                        twice_score -= d * d * p;
                    }
                    expected.push_back(T(twice_score) / 2);
                }
                ASSERT_TRUE(same_values(expected, plain_call(member, problem)))
                    << member.name << ", " << width << " by " << height;
            }
}

// No constant is doubled.
TYPED_TEST(LogGaussMultiMix, KeepsTheValueWhereTheFeatureIsTheMeanOrNoVarianceWeighs)
{
    using T = TypeParam;
    using Limits = std::numeric_limits<T>;
    for (const auto& member : this->all) {
        for (int width : widths()) {
            Problem<T> problem = random_problem<T>(width, 9);
            problem.value = {T(0),
                             -T(0),
                             T(1.25),
                             T(-1e4 / 3),
                             Limits::max(),
                             Limits::lowest(),
                             Limits::infinity(),
                             -Limits::infinity(),
                             Limits::denorm_min()};
            Problem<T> weightless = problem;
            problem.mean.assign(9, problem.feature);
            EXPECT_EQ(plain_call(member, problem), problem.value) << member.name << ", width " << width;
            for (auto& row : weightless.inv_var) row.assign(row.size(), T(0));
            EXPECT_EQ(plain_call(member, weightless), problem.value) << member.name << ", width " << width;
        }
        Problem<T> many = random_problem<T>(5, 1001);
        many.mean.assign(1001, many.feature);
        EXPECT_EQ(plain_call(member, many), many.value) << member.name;
    }
}

// Blocks of the exact size, for the address sanitizer and valgrind.
TYPED_TEST(LogGaussMultiMix, ReadsNothingBesideTheArrays)
{
    using T = TypeParam;
    const auto exact = [](const std::vector<T>& values) {
        std::unique_ptr<T[]> block(new T[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    for (const auto& member : this->all)
        for (int width = 1; width <= 43; ++width)
            for (int height : {1, 2, 3, 4, 7}) {
                const Problem<T> p = random_problem<T>(width, height);
                const int step = (width + 3) / 4 * 4;
                const auto mean = exact(as_block(p.mean, static_cast<std::size_t>(step)));
                const auto inv_var = exact(as_block(p.inv_var, static_cast<std::size_t>(step)));
                const auto feature = exact(p.feature);
                std::vector<std::unique_ptr<T[]>> rows;
                std::vector<const T*> mean_list, inv_var_list;
                for (const auto& row : p.mean) mean_list.push_back(rows.emplace_back(exact(row)).get());
                for (const auto& row : p.inv_var) inv_var_list.push_back(rows.emplace_back(exact(row)).get());
                const auto value = exact(p.value);
                ASSERT_EQ(member.call({mean.get(), inv_var.get(), step, mean_list.data(), inv_var_list.data(),
                                       feature.get(), width, value.get(), height}),
                          SrOk);
                ASSERT_TRUE(as_expected(p, std::vector<T>(value.get(), value.get() + height)))
                    << member.name << ", width " << width << ", height " << height;
            }
}

TYPED_TEST(LogGaussMultiMix, StepThenPointersThenSizesAreChecked)
{
    using T = TypeParam;
    using Args = Arguments<T>;
    const Problem<T> p = random_problem<T>(5, 3);
    const std::vector<T> mean = as_block(p.mean, 6), inv_var = as_block(p.inv_var, 6);
    std::vector<const T*> mean_list, inv_var_list;
    for (const auto& row : p.mean) mean_list.push_back(row.data());
    for (const auto& row : p.inv_var) inv_var_list.push_back(row.data());
    Guarded<T> value(p.value);
    const Args good{mean.data(), inv_var.data(), 6, mean_list.data(), inv_var_list.data(), p.feature.data(),
                    5,           value.data(),   3};
    for (const auto& member : this->all) {
        for (int32_t size : {0, -1, -1000}) {
            std::vector<Fault<Args>> faults;
            if (!member.list) faults.push_back({"step", SrErrStride, [](Args& a) { a.step = a.width - 1; }});
            faults.push_back({"mean", SrErrNullPtr, [](Args& a) {
                                  a.mean_block = nullptr;
                                  a.mean_list = nullptr;
                              }});
            faults.push_back({"variance", SrErrNullPtr, [](Args& a) {
                                  a.inv_var_block = nullptr;
                                  a.inv_var_list = nullptr;
                              }});
            faults.push_back({"feature", SrErrNullPtr, [](Args& a) { a.feature = nullptr; }});
            faults.push_back({"value", SrErrNullPtr, [](Args& a) { a.value = nullptr; }});
            faults.push_back({"width", SrErrSize, [size](Args& a) { a.width = size; }});
            faults.push_back({"height", SrErrSize, [size](Args& a) { a.height = size; }});
            expect_check_order<Args>(good, faults, member.call, {&value});
        }
        Args args = good;
        args.height = 1;
        args.step = INT32_MAX;
        EXPECT_EQ(member.call(args), SrOk);
        args.step = INT32_MIN;
        EXPECT_EQ(member.call(args), member.list ? SrOk : SrErrStride);
        args.width = INT32_MIN;
        EXPECT_EQ(member.call(args), SrErrSize);
    }
}

#ifdef __i386__
TYPED_TEST(LogGaussMultiMix, TakesACallWithTheStackOn4Bytes)
{
    using T = TypeParam;
    for (int misalign : {0, 4, 8, 12})
        for (int width : {3, 8, 39})
            for (int height : {1, 7, 1001}) {
                const Problem<T> p = random_problem<T>(width, height);
                const int32_t step = (width + 3) / 4 * 4;
                const Guarded<T> mean(as_block(p.mean, static_cast<std::size_t>(step)));
                const Guarded<T> inv_var(as_block(p.inv_var, static_cast<std::size_t>(step)));
                const Guarded<T> feature(p.feature);
                std::vector<const T*> mean_list, inv_var_list;
                for (int j = 0; j < height; ++j) {
                    mean_list.push_back(mean.data() + j * step);
                    inv_var_list.push_back(inv_var.data() + j * step);
                }
                std::vector<T> value = p.value;
                const T *m = mean.data(), *v = inv_var.data(), *x = feature.data();
                const T *const *m_list = mean_list.data(), *const *v_list = inv_var_list.data();
                const auto expect_scores = [&](SrStatus status) {
                    EXPECT_EQ(status, SrOk);
                    EXPECT_TRUE(as_expected(p, value)) << misalign;
                    value = p.value;
                };
                if constexpr (std::is_same_v<T, float>) {
                    expect_scores(call_misaligned(zelsLogGaussMultiMix_32f_D2, misalign, m, v, step, x, width,
                                                  value.data(), height));
                    expect_scores(call_misaligned(zelsLogGaussMultiMix_32f_D2L, misalign, m_list, v_list, x, width,
                                                  value.data(), height));
                } else {
                    expect_scores(call_misaligned(zelsLogGaussMultiMix_64f_D2, misalign, m, v, step, x, width,
                                                  value.data(), height));
                    expect_scores(call_misaligned(zelsLogGaussMultiMix_64f_D2L, misalign, m_list, v_list, x, width,
                                                  value.data(), height));
                }
            }
}
#endif

}  // namespace
}  // namespace zelsr::test::multimix
