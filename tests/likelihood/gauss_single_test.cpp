// One vector against one Gaussian.
#include <gtest/gtest.h>

#include <memory>

#include "likelihood/gauss_single_members.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test::single {
namespace {

template <class M>
class LogGaussSingle : public testing::Test {};
TYPED_TEST_SUITE(LogGaussSingle, Members, MemberNames);

std::vector<int> vector_lengths()
{
    if (thin_effort()) return {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 20, 23, 24, 31, 36, 40, 54, 55};
    std::vector<int> all;
    for (int len = 1; len <= 70; ++len) all.push_back(len);
    all.insert(all.end(), {100, 101, 103, 107, 1000});
    return all;
}

TYPED_TEST(LogGaussSingle, EveryLengthAtEveryPlacement)
{
    for (int len : vector_lengths()) {
        const ProblemOf<TypeParam> problem = random_problem<TypeParam>(len);
        for (const Arrangement& where : arrangements(4, sizeof(typename TypeParam::In)))
            ASSERT_TRUE(scores<TypeParam>(problem, where))
                << "length " << len << "; feature, mean, variance, result: " << describe(where);
    }
}

TYPED_TEST(LogGaussSingle, ScalesFromSubnormalTermsToInfiniteSums)
{
    using In = typename TypeParam::In;
    const std::vector<int> exponents = sizeof(In) == 4 ? std::vector<int>{-76, -70, -64, 50, 62, 63}
                                                       : std::vector<int>{-540, -520, 500, 510, 511};
    for (int exponent : exponents)
        for (int len : {1, 2, 3, 5, 7, 8, 13, 23, 55, 63})
            for (const Arrangement& where : few_arrangements()) {
                ProblemOf<TypeParam> problem = random_problem<TypeParam>(len);
                for (In& x : problem.feature) x = std::ldexp(x, exponent);
                for (In& m : problem.mean) m = std::ldexp(m, exponent);
                problem.val =
                    std::ldexp(problem.val, std::min(2 * exponent, sizeof(problem.val) == 4 ? 120 : 1020));
                ASSERT_TRUE(scores<TypeParam>(problem, where)) << "length " << len << ", 2^" << exponent;
            }
}

TYPED_TEST(LogGaussSingle, InfinitiesAndNotNumbersFlowThrough)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    for (int len : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 17, 23, 57}) {
        const ProblemOf<TypeParam> plain = random_problem<TypeParam>(len);
        for (const Arrangement& where : few_arrangements()) {
            for (In special : special_values<In>())
                for (int k = 0; k < len; k += thin_effort() ? 3 : 1)
                    for (auto vector : {&ProblemOf<TypeParam>::feature, &ProblemOf<TypeParam>::mean,
                                        &ProblemOf<TypeParam>::var}) {
                        ProblemOf<TypeParam> problem = plain;
                        (problem.*vector)[static_cast<std::size_t>(k)] = special;
                        ASSERT_TRUE(scores<TypeParam>(problem, where))
                            << "length " << len << ", " << special << " at " << k << "; " << describe(where);
                    }
            for (Out special : special_values<Out>()) {
                ProblemOf<TypeParam> problem = plain;
                problem.val = special;
                ASSERT_TRUE(scores<TypeParam>(problem, where)) << "length " << len << ", val " << special;
            }
        }
    }
}

// Small integers: every order of the sum is exact.
TYPED_TEST(LogGaussSingle, IsTheFormula)
{
    for (int len : vector_lengths()) {
        ProblemOf<TypeParam> problem = random_problem<TypeParam>(len);
        int twice_score = 2 * 1000;
        for (std::size_t k = 0; k < problem.feature.size(); ++k) {
            const int x = uniform(-20, 20), m = uniform(-20, 20), p = 1 << uniform(0, 3);
            const bool direct = TypeParam::kVariance == Variance::Direct;
            problem.feature[k] = typename TypeParam::In(x);
            problem.mean[k] = typename TypeParam::In(m);
            problem.var[k] = direct ? 1 / typename TypeParam::In(p) : typename TypeParam::In(p);
            twice_score -= (x - m) * (x - m) * (TypeParam::kVariance == Variance::Unit ? 1 : p);
        }
        typename TypeParam::Out result = 0;
        EXPECT_EQ(call<TypeParam>(problem.x(), problem.m(), problem.v(), len, &result, 1000), SrOk);
        EXPECT_EQ(result, typename TypeParam::Out(twice_score) / 2) << "length " << len;
    }
}

template <class T>
std::vector<T> constants()
{
    // A doubled constant must stay finite in single precision.
    const T infinity = std::numeric_limits<T>::infinity();
    std::vector<T> all = {T(0),     T(1.25),  T(-1e4 / 3), T(1e-30), std::numeric_limits<T>::max() / 2,
                          infinity, -infinity};
    all.push_back(std::numeric_limits<T>::denorm_min());
    return all;
}

TYPED_TEST(LogGaussSingle, IsValWhereTheFeatureIsTheMean)
{
    using Out = typename TypeParam::Out;
    std::vector<Out> vals = constants<Out>();
    // Only the single-precision forms double the constant.
    if (sizeof(Out) == 8) vals.push_back(std::numeric_limits<Out>::lowest());
    for (int len : vector_lengths())
        for (Out val : vals) {
            ProblemOf<TypeParam> problem = random_problem<TypeParam>(len);
            Out result = -1;
            EXPECT_EQ(call<TypeParam>(problem.x(), problem.x(), problem.v(), len, &result, val), SrOk);
            EXPECT_EQ(result, val) << "length " << len;
        }
}

TYPED_TEST(LogGaussSingle, IsValWhereNoVarianceWeighs)
{
    using In = typename TypeParam::In;
    if (TypeParam::kVariance == Variance::Unit) GTEST_SKIP() << "no variances";
    const In weightless = TypeParam::kVariance == Variance::Inverse ? 0 : std::numeric_limits<In>::infinity();
    for (int len : vector_lengths())
        for (typename TypeParam::Out val : constants<typename TypeParam::Out>()) {
            ProblemOf<TypeParam> problem = random_problem<TypeParam>(len);
            problem.var.assign(problem.var.size(), weightless);
            typename TypeParam::Out result = -1;
            EXPECT_EQ(call<TypeParam>(problem.x(), problem.m(), problem.v(), len, &result, val), SrOk);
            EXPECT_EQ(result, val) << "length " << len;
        }
}

TYPED_TEST(LogGaussSingle, WhatLiesBesideTheVectorsHasNoEffect)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    constexpr std::size_t kBeside = 16;
    for (In noise : {std::numeric_limits<In>::quiet_NaN(), std::numeric_limits<In>::infinity()})
        for (int len : vector_lengths())
            for (int misalign : {0, static_cast<int>(sizeof(In)), 7}) {
                const ProblemOf<TypeParam> problem = random_problem<TypeParam>(len);
                const auto embedded = [&](const std::vector<In>& values) {
                    std::vector<In> wide(kBeside, noise);
                    wide.insert(wide.end(), values.begin(), values.end());
                    wide.insert(wide.end(), kBeside, noise);
                    return wide;
                };
                Guarded<In> feature(embedded(problem.feature), {misalign}),
                    mean(embedded(problem.mean), {misalign}), var(embedded(problem.var), {misalign});
                Out result = kUnwritten<Out>;
                const SrStatus status = call<TypeParam>(feature.data() + kBeside, mean.data() + kBeside,
                                                        var.data() + kBeside, len, &result, problem.val);
                ASSERT_TRUE(as_expected(TypeParam::outcome(problem, misalign == 0), status, result))
                    << noise << " beside " << len << " elements, " << misalign << " bytes off 16";
            }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
TYPED_TEST(LogGaussSingle, ReadsNothingBesideTheVectors)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    for (int len = 1; len <= 40; ++len) {
        const ProblemOf<TypeParam> problem = random_problem<TypeParam>(len);
        const auto exact = [&](const std::vector<In>& values) {
            std::unique_ptr<In[]> block(new In[values.size()]);
            std::copy(values.begin(), values.end(), block.get());
            return block;
        };
        const auto feature = exact(problem.feature), mean = exact(problem.mean), var = exact(problem.var);
        const auto on_16 = [](const std::unique_ptr<In[]>& p) {
            return reinterpret_cast<std::uintptr_t>(p.get()) % 16 == 0;
        };
        const bool aligned = on_16(feature) && on_16(mean) && (!TypeParam::kVarianceCounts || on_16(var));
        Out result = kUnwritten<Out>;
        const SrStatus status = call<TypeParam>(feature.get(), mean.get(), var.get(), len, &result, problem.val);
        ASSERT_TRUE(as_expected(TypeParam::outcome(problem, aligned), status, result)) << "length " << len;
    }
}

template <class M>
struct Arguments {
    const typename M::In *feature, *mean, *var;
    int32_t len;
    typename M::Out* result;
};

TYPED_TEST(LogGaussSingle, NullPointersComeBeforeTheLength)
{
    using Args = Arguments<TypeParam>;
    const ProblemOf<TypeParam> problem = random_problem<TypeParam>(5);
    Guarded<typename TypeParam::Out> result(1);
    for (int32_t len : {0, -1, INT32_MIN}) {
        std::vector<Fault<Args>> faults = {
            {"feature", SrErrNullPtr, [](Args& a) { a.feature = nullptr; }},
            {"mean", SrErrNullPtr, [](Args& a) { a.mean = nullptr; }},
            {"result", SrErrNullPtr, [](Args& a) { a.result = nullptr; }},
            {"length", SrErrSize, [len](Args& a) { a.len = len; }},
        };
        if (TypeParam::kVariance != Variance::Unit)
            faults.insert(faults.begin(), {"variance", SrErrNullPtr, [](Args& a) { a.var = nullptr; }});
        expect_check_order<Args>(
            {problem.x(), problem.m(), problem.v(), 5, result.data()}, faults,
            [](const Args& a) { return call<TypeParam>(a.feature, a.mean, a.var, a.len, a.result, 1); },
            {&result});
    }
}

#ifdef __i386__
TYPED_TEST(LogGaussSingle, TakesACallWithTheStackOn4Bytes)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    for (int misalign : {0, 4, 8, 12})
        for (int len : {1, 7, 39, 60})
            for (int offset : {0, 8}) {
                const ProblemOf<TypeParam> problem = random_problem<TypeParam>(len);
                Guarded<In> feature(problem.feature, {offset}), mean(problem.mean, {offset}),
                    var(problem.var, {offset});
                Out result = kUnwritten<Out>;
                const In *x = feature.data(), *m = mean.data(), *v = var.data();
                SrStatus status;
                if constexpr (TypeParam::kVariance == Variance::Unit)
                    status = call_misaligned(TypeParam::kFunction, misalign, x, m, len, &result, problem.val);
                else
                    status = call_misaligned(TypeParam::kFunction, misalign, x, m, v, len, &result, problem.val);
                EXPECT_TRUE(as_expected(TypeParam::outcome(problem, offset == 0), status, result)) << misalign;
            }
}
#endif

// The sums of the aligned and the general kernel differ where the tail has lanes of its own: the alignment of
// the named arrays, and of no other, chooses.
TYPED_TEST(LogGaussSingle, TheKernelIsChosenByTheNamedArrays)
{
    if constexpr (!std::is_same_v<typename TypeParam::Out, float>) {
        GTEST_SKIP() << "one order of sums";
    } else {
        for (int len : {6, 7, 12, 13, 14, 15, 23, 39}) {
            ProblemOf<TypeParam> problem = random_problem<TypeParam>(len);
            const auto kernels_agree = [&] {
                return TypeParam::outcome(problem, true).score == TypeParam::outcome(problem, false).score;
            };
            if (TypeParam::kVariance != Variance::Unit)
                while (kernels_agree()) problem = random_problem<TypeParam>(len);
            for (int offset : {1, 4, 8, 12, 15})
                for (unsigned moved = 0; moved < 1u << 4; ++moved) {
                    Arrangement where(4);
                    for (std::size_t i = 0; i < 4; ++i)
                        if ((moved >> i & 1) != 0) where[i].misalign = offset;
                    ASSERT_TRUE(scores<TypeParam>(problem, where)) << "length " << len << "; " << describe(where);
                }
        }
    }
}

// The data differ by less than single precision holds: widening comes before the difference.
TEST(LogGaussSingle_32f64f, WidensBeforeTheDifference)
{
    const std::vector<float> x(11, 1.0F), m(11, 0x1p-30F), p(11, 3.0F);
    const double d = 1 - 0x1p-30;
    double result = 0;
    EXPECT_EQ(zelsLogGaussSingle_32f64f(x.data(), m.data(), p.data(), 11, &result, 0.25), SrOk);
    EXPECT_NEAR(result, 0.25 - 0.5 * 33 * d * d, 33 * 12 * 0x1p-52);
    EXPECT_EQ(zelsLogGaussSingle_IdVar_32f64f(x.data(), m.data(), 11, &result, 0.25), SrOk);
    EXPECT_NEAR(result, 0.25 - 0.5 * 11 * d * d, 11 * 12 * 0x1p-52);
    EXPECT_EQ(zelsLogGaussSingle_DirectVar_32f64f(x.data(), m.data(), p.data(), 11, &result, 0.25), SrOk);
    EXPECT_NEAR(result, 0.25 - 0.5 * 11 * d * d / 3, 4 * 12 * 0x1p-52);
}

}  // namespace
}  // namespace zelsr::test::single
