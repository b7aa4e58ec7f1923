// One vector against many Gaussians.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "likelihood/gauss_multimix_members.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test::multimix {
namespace {

template <class M>
class LogGaussMultiMix : public testing::Test {
  public:
    using T = typename M::T;
};
TYPED_TEST_SUITE(LogGaussMultiMix, Members, MemberNames);

// The call on plain arrays; the scores.
template <class M>
std::vector<typename M::T> plain_call(const Problem<typename M::T>& p)
{
    using T = typename M::T;
    const std::vector<T> mean = as_block(p.mean, p.feature.size()),
                         inv_var = as_block(p.inv_var, p.feature.size());
    std::vector<const T*> mean_list, inv_var_list;
    for (const auto& row : p.mean) mean_list.push_back(row.data());
    for (const auto& row : p.inv_var) inv_var_list.push_back(row.data());
    std::vector<T> value = p.value;
    EXPECT_EQ(M::call({mean.data(), inv_var.data(), p.width(), mean_list.data(), inv_var_list.data(),
                       p.feature.data(), p.width(), value.data(), p.height()}),
              SrOk);
    return value;
}

std::vector<int> widths()
{
    if (thin_effort()) return {1, 2, 3, 4, 5, 7, 8, 11, 36, 39, 40};
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

TYPED_TEST(LogGaussMultiMix, EveryWidthAndHeight)
{
    for (int width : widths())
        for (int height : heights()) {
            const auto problem = random_problem<typename TestFixture::T>(width, height);
            std::vector<Layout> layouts;
            if (TypeParam::kList) {
                const std::vector<std::vector<int>> rows = {{0}, {8}, {7}, {0, 8}};
                for (const auto& mean : rows)
                    for (const auto& inv_var : rows) layouts.push_back({{}, {}, {}, {}, 0, mean, inv_var});
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

TYPED_TEST(LogGaussMultiMix, EveryPlacement)
{
    for (int width : {1, 3, 4, 6, 7, 8, 11, 36, 39, 40})
        for (int height : thin_effort() ? std::vector<int>{3, 7} : std::vector<int>{1, 2, 3, 4, 5, 7}) {
            const auto problem = random_problem<typename TestFixture::T>(width, height);
            for (const Arrangement& where : arrangements(4, sizeof(typename TestFixture::T))) {
                const Layout layout{
                    where[0],           where[1], where[2], where[3], (4 - width % 4) % 4, {where[0].misalign},
                    {where[1].misalign}};
                ASSERT_TRUE(scores<TypeParam>(problem, layout))
                    << "width " << width << ", height " << height << "; " << describe(layout);
            }
        }
}

TYPED_TEST(LogGaussMultiMix, OneRowOff16BytesInEitherList)
{
    if (!TypeParam::kList) GTEST_SKIP() << "no row lists";
    for (int width : {2, 4, 7, 13, 39})
        for (int height : heights())
            for (std::size_t off = 0; off < static_cast<std::size_t>(height); ++off)
                for (int misalign : {1, static_cast<int>(sizeof(typename TestFixture::T)), 12})
                    for (bool in_mean : {false, true}) {
                        const auto problem = random_problem<typename TestFixture::T>(width, height);
                        Layout layout;
                        auto& rows = in_mean ? layout.mean_misalign : layout.inv_var_misalign;
                        rows.assign(static_cast<std::size_t>(height), 0);
                        rows[off] = misalign;
                        ASSERT_TRUE(scores<TypeParam>(problem, layout))
                            << "width " << width << ", height " << height << "; " << describe(layout);
                    }
}

// The loop for 1000 components and more, its leftovers, and the kernels just below.
TYPED_TEST(LogGaussMultiMix, ManyComponents)
{
    using T = typename TestFixture::T;
    const std::vector<int> many =
        thin_effort() ? std::vector<int>{999, 1001} : std::vector<int>{998, 999, 1000, 1001, 1002, 1003, 2500};
    for (int height : many)
        for (int width : {1, 2, 3, 4, 5, 7, 8, 13, 39}) {
            const auto problem = random_problem<T>(width, height);
            const int step = (width + 3) / 4 * 4;
            for (int misalign : {0, 8, 7}) {
                // The lists point into the blocks: a thousand rows between pages of their own are too many.
                const Guarded<T> mean(as_block(problem.mean, static_cast<std::size_t>(step)), {misalign});
                const Guarded<T> inv_var(as_block(problem.inv_var, static_cast<std::size_t>(step)), {misalign});
                const Guarded<T> feature(problem.feature), value(problem.value, {misalign});
                std::vector<const T*> mean_list, inv_var_list;
                for (int j = 0; j < height; ++j) {
                    mean_list.push_back(mean.data() + j * step);
                    inv_var_list.push_back(inv_var.data() + j * step);
                }
                ASSERT_EQ(TypeParam::call({mean.data(), inv_var.data(), step, mean_list.data(),
                                           inv_var_list.data(), feature.data(), width, value.data(), height}),
                          SrOk);
                ASSERT_TRUE(value.intact());
                ASSERT_TRUE(as_expected(problem, value.values())) << "width " << width << ", height " << height;
            }
        }
}

TYPED_TEST(LogGaussMultiMix, SameScoresFrom1000ComponentsUpwards)
{
    using T = typename TestFixture::T;
    for (int width : {1, 5, 12, 39}) {
        const Problem<T> p = random_problem<T>(width, 1001);
        std::vector<T> all = plain_call<TypeParam>(p);
        for (std::size_t height : {999u, 1000u}) {
            Problem<T> fewer = p;
            fewer.mean.resize(height);
            fewer.inv_var.resize(height);
            fewer.value.resize(height);
            const std::vector<T> some = plain_call<TypeParam>(fewer);
            for (std::size_t j = 0; j < height; ++j) {
                const reference::InverseVariance term{p.mean[j].data(), p.inv_var[j].data()};
                const double tolerance =
                    sizeof(T) == 4 ? 0
                                   : reference::any_order_tolerance_64f(p.feature.data(), term, width, p.value[j]);
                ASSERT_NEAR(all[j], some[j], tolerance) << "component " << j << " of " << height;
            }
        }
    }
}

// In a group of four, in a pair and alone a component's score has the same bits.
TYPED_TEST(LogGaussMultiMix, ScoresAComponentInItsGroupAsAlone)
{
    using T = typename TestFixture::T;
    for (int width : widths()) {
        const Problem<T> all = random_problem<T>(width, 9);
        const std::vector<T> together = plain_call<TypeParam>(all);
        for (std::size_t j = 0; j < 9; ++j) {
            const Problem<T> one{{all.mean[j]}, {all.inv_var[j]}, all.feature, {all.value[j]}};
            const reference::InverseVariance term{one.mean[0].data(), one.inv_var[0].data()};
            const double tolerance =
                sizeof(T) == 4 ? 0
                               : reference::any_order_tolerance_64f(one.feature.data(), term, width, one.value[0]);
            ASSERT_NEAR(together[j], plain_call<TypeParam>(one)[0], tolerance) << "width " << width;
        }
    }
}

TYPED_TEST(LogGaussMultiMix, ScalesFromSubnormalTermsToInfiniteSums)
{
    using T = typename TestFixture::T;
    const std::vector<int> exponents =
        sizeof(T) == 4 ? std::vector<int>{-76, -70, -64, 50, 62, 63} : std::vector<int>{-540, -520, 500, 510};
    for (int exponent : exponents)
        for (int width : {1, 2, 3, 4, 5, 7, 8, 13, 39}) {
            Problem<T> problem = random_problem<T>(width, 7);
            for (T& x : problem.feature) x = std::ldexp(x, exponent);
            for (auto& row : problem.mean)
                for (T& m : row) m = std::ldexp(m, exponent);
            for (T& v : problem.value) v = std::ldexp(v, std::min(2 * exponent, sizeof(T) == 4 ? 120 : 1020));
            for (int misalign : {0, 8}) {
                const Layout layout{{misalign}, {}, {}, {}, (4 - width % 4) % 4, {misalign}};
                ASSERT_TRUE(scores<TypeParam>(problem, layout)) << "width " << width << ", 2^" << exponent;
            }
        }
}

TYPED_TEST(LogGaussMultiMix, InfinitiesAndNotNumbersFlowThroughTheirOwnComponent)
{
    using T = typename TestFixture::T;
    for (int width : {1, 2, 3, 4, 5, 7, 8, 11, 39}) {
        const Problem<T> plain = random_problem<T>(width, 7);
        for (int misalign : {0, 8})
            for (T special : special_values<T>()) {
                const Layout layout{{misalign}, {}, {}, {}, (4 - width % 4) % 4, {misalign}};
                for (std::size_t k = 0; k < plain.feature.size(); k += thin_effort() ? 3 : 1) {
                    Problem<T> in_feature = plain, in_mean = plain, in_variance = plain, in_value = plain;
                    in_feature.feature[k] = special;
                    in_mean.mean[k % 7][k] = special;
                    in_variance.inv_var[k % 7][k] = special;
                    in_value.value[k % 7] = special;
                    for (const Problem<T>& problem : {in_feature, in_mean, in_variance, in_value})
                        ASSERT_TRUE(scores<TypeParam>(problem, layout))
                            << "width " << width << ", " << special << " at " << k << "; " << describe(layout);
                }
            }
    }
}

// Small integers: every order of the sum is exact.
TYPED_TEST(LogGaussMultiMix, IsTheFormula)
{
    using T = typename TestFixture::T;
    for (int width : widths())
        for (int height : {1, 2, 3, 4, 5, 7, 1003}) {
            if (height == 1003 && width > 9) continue;
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
            ASSERT_TRUE(same_values(expected, plain_call<TypeParam>(problem))) << width << " by " << height;
        }
}

// Below 1000 components no constant is doubled.
TYPED_TEST(LogGaussMultiMix, KeepsTheValueWhereTheFeatureIsTheMeanOrNoVarianceWeighs)
{
    using T = typename TestFixture::T;
    using Limits = std::numeric_limits<T>;
    for (int width : widths()) {
        Problem<T> problem = random_problem<T>(width, 8);
        problem.value = {T(0),
                         T(1.25),
                         T(-1e4 / 3),
                         Limits::max(),
                         Limits::lowest(),
                         Limits::infinity(),
                         -Limits::infinity(),
                         Limits::denorm_min()};
        Problem<T> weightless = problem;
        problem.mean.assign(8, problem.feature);
        EXPECT_EQ(plain_call<TypeParam>(problem), problem.value) << "width " << width;
        for (auto& row : weightless.inv_var) row.assign(row.size(), T(0));
        EXPECT_EQ(plain_call<TypeParam>(weightless), problem.value) << "width " << width;
    }
    Problem<T> many = random_problem<T>(5, 1001);
    many.mean.assign(1001, many.feature);
    EXPECT_EQ(plain_call<TypeParam>(many), many.value);
}

// Blocks of the exact size, for the address sanitizer and valgrind.
TYPED_TEST(LogGaussMultiMix, ReadsNothingBesideTheArrays)
{
    using T = typename TestFixture::T;
    const auto exact = [](const std::vector<T>& values) {
        std::unique_ptr<T[]> block(new T[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
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
            ASSERT_EQ(TypeParam::call({mean.get(), inv_var.get(), step, mean_list.data(), inv_var_list.data(),
                                       feature.get(), width, value.get(), height}),
                      SrOk);
            ASSERT_TRUE(as_expected(p, std::vector<T>(value.get(), value.get() + height)))
                << "width " << width << ", height " << height;
        }
}

TYPED_TEST(LogGaussMultiMix, StepThenPointersThenSizesAreChecked)
{
    using T = typename TestFixture::T;
    using Args = Arguments<T>;
    const Problem<T> p = random_problem<T>(5, 3);
    const std::vector<T> mean = as_block(p.mean, 6), inv_var = as_block(p.inv_var, 6);
    std::vector<const T*> mean_list, inv_var_list;
    for (const auto& row : p.mean) mean_list.push_back(row.data());
    for (const auto& row : p.inv_var) inv_var_list.push_back(row.data());
    Guarded<T> value(p.value);
    const Args good{mean.data(), inv_var.data(), 6, mean_list.data(), inv_var_list.data(), p.feature.data(),
                    5,           value.data(),   3};
    for (int32_t size : {0, -1, -1000}) {
        std::vector<Fault<Args>> faults;
        if (!TypeParam::kList) faults.push_back({"step", SrErrStride, [](Args& a) { a.step = a.width - 1; }});
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
        expect_check_order<Args>(good, faults, [](const Args& a) { return TypeParam::call(a); }, {&value});
    }
    Args args = good;
    args.height = 1;
    args.step = INT32_MAX;
    EXPECT_EQ(TypeParam::call(args), SrOk);
    args.step = INT32_MIN;
    EXPECT_EQ(TypeParam::call(args), TypeParam::kList ? SrOk : SrErrStride);
    args.width = INT32_MIN;
    EXPECT_EQ(TypeParam::call(args), SrErrSize);
}

#ifdef __i386__
TYPED_TEST(LogGaussMultiMix, TakesACallWithTheStackOn4Bytes)
{
    using T = typename TestFixture::T;
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
                SrStatus status;
                if constexpr (std::is_same_v<TypeParam, MultiMix_32f_D2>)
                    status = call_misaligned(zelsLogGaussMultiMix_32f_D2, misalign, m, v, step, x, width,
                                             value.data(), height);
                else if constexpr (std::is_same_v<TypeParam, MultiMix_64f_D2>)
                    status = call_misaligned(zelsLogGaussMultiMix_64f_D2, misalign, m, v, step, x, width,
                                             value.data(), height);
                else if constexpr (std::is_same_v<TypeParam, MultiMix_32f_D2L>)
                    status = call_misaligned(zelsLogGaussMultiMix_32f_D2L, misalign, m_list, v_list, x, width,
                                             value.data(), height);
                else
                    status = call_misaligned(zelsLogGaussMultiMix_64f_D2L, misalign, m_list, v_list, x, width,
                                             value.data(), height);
                EXPECT_EQ(status, SrOk);
                EXPECT_TRUE(as_expected(p, value)) << misalign;
            }
}
#endif

}  // namespace
}  // namespace zelsr::test::multimix
