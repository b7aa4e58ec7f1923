// One vector against one Gaussian.
#include <gtest/gtest.h>

#include <memory>

#include "likelihood/gauss_single_members.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test::single {
namespace {

template <class InType, class OutType>
struct Types {
    using In = InType;
    using Out = OutType;
};

// The members of one pair of types.
template <class Types>
class LogGaussSingle : public testing::Test {
  public:
    using In = typename Types::In;
    using Out = typename Types::Out;
    using Member = single::Member<In, Out>;
    using Problem = single::Problem<In, Out>;

    const std::vector<Member> all = members(In(), Out());

    static Problem random(int len) { return random_problem<In, Out>(len); }
};
struct TypeNames {
    template <class Types>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"32f", "64f", "32f64f"};
        return names[i];
    }
};
using AllTypes = testing::Types<Types<float, float>, Types<double, double>, Types<float, double>>;
TYPED_TEST_SUITE(LogGaussSingle, AllTypes, TypeNames);

std::vector<int> vector_lengths()
{
    if (thin_effort()) return {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 20, 23, 24, 31, 36, 40, 54, 55};
    std::vector<int> all;
    for (int len = 1; len <= 70; ++len) all.push_back(len);
    all.insert(all.end(), {100, 101, 103, 107, 1000});
    return all;
}

// Every length in both kernels, placements in turn.
TYPED_TEST(LogGaussSingle, EveryLength)
{
    Cycle places(arrangements(4, sizeof(typename TestFixture::In)));
    for (const auto& member : this->all)
        for (int len : vector_lengths()) {
            const auto problem = this->random(len);
            ASSERT_TRUE(scores(member, problem));
            for (int i = 0; i < (thin_effort() ? 2 : 7); ++i) ASSERT_TRUE(scores(member, problem, places.next()));
        }
}

TYPED_TEST(LogGaussSingle, EveryPlacement)
{
    for (const auto& member : this->all)
        for (int len : {7, 13, 23, 39, 61}) {
            if (thin_effort() && len != 23) continue;
            const auto problem = this->random(len);
            for (const Arrangement& where : arrangements(4, sizeof(typename TestFixture::In)))
                ASSERT_TRUE(scores(member, problem, where));
        }
}

// The sums of the aligned and the general kernel differ where the tail has lanes of its own: the alignment of
// the named arrays, and of no other, chooses.
TEST(LogGaussSingle_32f, TheKernelIsChosenByTheNamedArrays)
{
    Cycle offsets(std::vector<int>{1, 4, 8, 12, 15});
    for (const Member<float, float>& member : members(0.0F, 0.0F))
        for (int len : {6, 7, 12, 13, 14, 15, 23, 39}) {
            auto problem = random_problem<float, float>(len);
            const auto kernels_agree = [&] {
                return member.outcome(problem, true).score == member.outcome(problem, false).score;
            };
            if (member.variance != Variance::Unit)
                while (kernels_agree()) problem = random_problem<float, float>(len);
            for (unsigned moved = 0; moved < 1u << 4; ++moved) {
                const int offset = offsets.next();
                Arrangement where(4);
                for (std::size_t i = 0; i < 4; ++i)
                    if ((moved >> i & 1) != 0) where[i].misalign = offset;
                ASSERT_TRUE(scores(member, problem, where));
            }
        }
}

TYPED_TEST(LogGaussSingle, ScalesFromSubnormalTermsToInfiniteSums)
{
    using In = typename TestFixture::In;
    const std::vector<int> exponents = sizeof(In) == 4 ? std::vector<int>{-76, -70, -64, 50, 62, 63}
                                                       : std::vector<int>{-540, -520, 500, 510, 511};
    Cycle places(few_arrangements());
    for (const auto& member : this->all)
        for (int exponent : exponents)
            for (int len : {1, 2, 3, 5, 7, 8, 13, 23, 55, 63}) {
                auto problem = this->random(len);
                for (In& x : problem.feature) x = std::ldexp(x, exponent);
                for (In& m : problem.mean) m = std::ldexp(m, exponent);
                problem.val =
                    std::ldexp(problem.val, std::min(2 * exponent, sizeof(problem.val) == 4 ? 120 : 1020));
                for (int i = 0; i < (thin_effort() ? 1 : 4); ++i)
                    ASSERT_TRUE(scores(member, problem, places.next())) << "2^" << exponent;
            }
}

// At every position of every array, special values and kernels in turn.
TYPED_TEST(LogGaussSingle, InfinitiesAndNotNumbersFlowThrough)
{
    using Problem = typename TestFixture::Problem;
    Cycle places(few_arrangements());
    Cycle specials(special_values<typename TestFixture::In>());
    Cycle constants(special_values<typename TestFixture::Out>());
    for (const auto& member : this->all)
        for (int len : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 17, 23, 57})
            for (int k = 0; k < len; k += thin_effort() ? 3 : 1)
                for (auto vector : {&Problem::feature, &Problem::mean, &Problem::var})
                    for (int i = 0; i < (thin_effort() ? 1 : 5); ++i) {
                        Problem problem = this->random(len);
                        (problem.*vector)[static_cast<std::size_t>(k)] = specials.next();
                        ASSERT_TRUE(scores(member, problem, places.next())) << "special value at " << k;
                        problem = this->random(len);
                        problem.val = constants.next();
                        ASSERT_TRUE(scores(member, problem, places.next())) << "val " << problem.val;
                    }
}

// Small integers: every order of the sum is exact.
TYPED_TEST(LogGaussSingle, IsTheFormula)
{
    using In = typename TestFixture::In;
    using Out = typename TestFixture::Out;
    for (const auto& member : this->all)
        for (int len : vector_lengths()) {
            auto problem = this->random(len);
            int twice_score = 2 * 1000;
            for (std::size_t k = 0; k < problem.feature.size(); ++k) {
                const int x = uniform(-20, 20), m = uniform(-20, 20), p = 1 << uniform(0, 3);
                problem.feature[k] = In(x);
                problem.mean[k] = In(m);
                problem.var[k] = member.variance == Variance::Direct ? 1 / In(p) : In(p);
                twice_score -= (x - m) * (x - m) * (member.variance == Variance::Unit ? 1 : p);
            }
            Out result = 0;
            EXPECT_EQ(member.call(problem.x(), problem.m(), problem.v(), len, &result, 1000), SrOk);
            EXPECT_EQ(result, Out(twice_score) / 2) << member.name << ", length " << len;
        }
}

template <class T>
std::vector<T> constants()
{
    using Limits = std::numeric_limits<T>;
    std::vector<T> all = {T(0),
                          T(1.25),
                          T(-1e4 / 3),
                          T(1e-30),
                          Limits::max() / 2,
                          Limits::infinity(),
                          -Limits::infinity(),
                          -T(0),
                          Limits::denorm_min()};
    // Only the single-precision forms double the constant.
    if (sizeof(T) == 8) all.push_back(Limits::lowest());
    return all;
}

// The sign of a zero score is that of the stated order.
TYPED_TEST(LogGaussSingle, IsValWhereTheFeatureIsTheMean)
{
    using Out = typename TestFixture::Out;
    for (const auto& member : this->all)
        for (int len : vector_lengths()) {
            auto problem = this->random(len);
            problem.mean = problem.feature;
            for (Out val : constants<Out>()) {
                problem.val = val;
                Out result = kUnwritten<Out>;
                const SrStatus status =
                    member.call(problem.x(), problem.m(), problem.v(), len, &result, problem.val);
                ASSERT_TRUE(as_expected(member.outcome(problem, true), status, result)) << member.name;
                ASSERT_EQ(result, val) << member.name << ", length " << len;
            }
        }
}

TYPED_TEST(LogGaussSingle, IsValWhereNoVarianceWeighs)
{
    using In = typename TestFixture::In;
    using Out = typename TestFixture::Out;
    for (const auto& member : this->all) {
        if (member.variance == Variance::Unit) continue;
        const In weightless = member.variance == Variance::Inverse ? 0 : std::numeric_limits<In>::infinity();
        for (int len : vector_lengths()) {
            auto problem = this->random(len);
            problem.var.assign(problem.var.size(), weightless);
            for (Out val : constants<Out>()) {
                Out result = kUnwritten<Out>;
                EXPECT_EQ(member.call(problem.x(), problem.m(), problem.v(), len, &result, val), SrOk);
                EXPECT_EQ(result, val) << member.name << ", length " << len;
            }
        }
    }
}

TYPED_TEST(LogGaussSingle, WhatLiesBesideTheVectorsHasNoEffect)
{
    using In = typename TestFixture::In;
    using Out = typename TestFixture::Out;
    constexpr std::size_t kBeside = 16;
    Cycle noises(std::vector<In>{std::numeric_limits<In>::quiet_NaN(), std::numeric_limits<In>::infinity()});
    for (const auto& member : this->all)
        for (int len : vector_lengths())
            for (int misalign : {0, 7, 0, static_cast<int>(sizeof(In))}) {
                const auto problem = this->random(len);
                const In noise = noises.next();
                const auto embedded = [&](const std::vector<In>& values) {
                    std::vector<In> wide(kBeside, noise);
                    wide.insert(wide.end(), values.begin(), values.end());
                    wide.insert(wide.end(), kBeside, noise);
                    return wide;
                };
                Guarded<In> feature(embedded(problem.feature), {misalign}),
                    mean(embedded(problem.mean), {misalign}), var(embedded(problem.var), {misalign});
                Out result = kUnwritten<Out>;
                const SrStatus status = member.call(feature.data() + kBeside, mean.data() + kBeside,
                                                    var.data() + kBeside, len, &result, problem.val);
                ASSERT_TRUE(as_expected(member.outcome(problem, misalign == 0), status, result))
                    << member.name << ", " << noise << " beside " << len << " elements, " << misalign
                    << " bytes off 16";
            }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
TYPED_TEST(LogGaussSingle, ReadsNothingBesideTheVectors)
{
    using In = typename TestFixture::In;
    using Out = typename TestFixture::Out;
    const auto exact = [](const std::vector<In>& values) {
        std::unique_ptr<In[]> block(new In[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    const auto on_16 = [](const std::unique_ptr<In[]>& p) {
        return reinterpret_cast<std::uintptr_t>(p.get()) % 16 == 0;
    };
    for (const auto& member : this->all)
        for (int len = 1; len <= 40; ++len) {
            const auto problem = this->random(len);
            const auto feature = exact(problem.feature), mean = exact(problem.mean), var = exact(problem.var);
            const bool aligned = on_16(feature) && on_16(mean) && (!member.variance_counts || on_16(var));
            Out result = kUnwritten<Out>;
            const SrStatus status = member.call(feature.get(), mean.get(), var.get(), len, &result, problem.val);
            ASSERT_TRUE(as_expected(member.outcome(problem, aligned), status, result))
                << member.name << ", length " << len;
        }
}

template <class In, class Out>
struct Arguments {
    const In *feature, *mean, *var;
    int32_t len;
    Out* result;
};

TYPED_TEST(LogGaussSingle, NullPointersComeBeforeTheLength)
{
    using Args = Arguments<typename TestFixture::In, typename TestFixture::Out>;
    const auto problem = this->random(5);
    Guarded<typename TestFixture::Out> result(1);
    for (const auto& member : this->all)
        for (int32_t len : {0, -1, INT32_MIN}) {
            std::vector<Fault<Args>> faults = {
                {"feature", SrErrNullPtr, [](Args& a) { a.feature = nullptr; }},
                {"mean", SrErrNullPtr, [](Args& a) { a.mean = nullptr; }},
                {"result", SrErrNullPtr, [](Args& a) { a.result = nullptr; }},
                {"length", SrErrSize, [len](Args& a) { a.len = len; }},
            };
            if (member.variance != Variance::Unit)
                faults.insert(faults.begin(), {"variance", SrErrNullPtr, [](Args& a) { a.var = nullptr; }});
            expect_check_order<Args>(
                {problem.x(), problem.m(), problem.v(), 5, result.data()}, faults,
                [&](const Args& a) { return member.call(a.feature, a.mean, a.var, a.len, a.result, 1); },
                {&result});
        }
}

#ifdef __i386__
TYPED_TEST(LogGaussSingle, TakesACallWithTheStackOn4Bytes)
{
    using In = typename TestFixture::In;
    using Out = typename TestFixture::Out;
    for (const auto& member : this->all)
        for (int misalign : {0, 4, 8, 12})
            for (int len : {1, 7, 39, 60})
                for (int offset : {0, 8}) {
                    const auto problem = this->random(len);
                    const Guarded<In> feature(problem.feature, {offset}), mean(problem.mean, {offset}),
                        var(problem.var, {offset});
                    Out result = kUnwritten<Out>;
                    const In *x = feature.data(), *m = mean.data(), *v = var.data();
                    const SrStatus status =
                        member.variance == Variance::Unit
                            ? call_misaligned(member.without_variance, misalign, x, m, len, &result, problem.val)
                            : call_misaligned(member.with_variance, misalign, x, m, v, len, &result, problem.val);
                    EXPECT_TRUE(as_expected(member.outcome(problem, offset == 0), status, result)) << member.name;
                }
}
#endif

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
