// Distances of one vector to a Gaussian, floating point.
#include <gtest/gtest.h>

#include <memory>

#include "likelihood/sizes.h"
#include "support/arrangements.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/distance.h"
#include "zelsr/likelihood/distance.h"

namespace zelsr::test::mah_dist {
namespace {

template <class InType, class OutType, auto kFunction>
struct Member {
    using In = InType;
    using Out = OutType;
    static constexpr auto call = kFunction;
};

template <class Member>
class MahDistSingle : public testing::Test {};
struct Names {
    template <class Member>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"32f", "64f", "32f64f"};
        return names[i];
    }
};
using Members =
    testing::Types<Member<float, float, zelsMahDistSingle_32f>, Member<double, double, zelsMahDistSingle_64f>,
                   Member<float, double, zelsMahDistSingle_32f64f>>;
TYPED_TEST_SUITE(MahDistSingle, Members, Names);

template <class In>
struct Problem {
    std::vector<In> feature, mean, inv_var;
    int length() const { return static_cast<int>(feature.size()); }
};
template <class In>
Problem<In> random_problem(int len)
{
    return {uniform_vector<In>(len, -3, 3), uniform_vector<In>(len, -3, 3), uniform_vector<In>(len, In(0.1), 4)};
}

template <class Member>
typename Member::Out expected(const Problem<typename Member::In>& p, bool aligned)
{
    const reference::InverseVariance<typename Member::In, typename Member::Out> term{p.mean.data(),
                                                                                     p.inv_var.data()};
    return reference::distance<typename Member::Out>(p.length(), aligned,
                                                     [&](int k) { return term(p.feature.data(), k); });
}

// The call between guard pages; where: feature, mean, inverse variances, result.
template <class Member>
testing::AssertionResult measures(const Problem<typename Member::In>& p, const Arrangement& where)
{
    using In = typename Member::In;
    using Out = typename Member::Out;
    Guarded<In> feature(p.feature, where[0]), mean(p.mean, where[1]), inv_var(p.inv_var, where[2]);
    Guarded<Out> result(1, where[3]);
    for (Guarded<In>* input : {&feature, &mean, &inv_var}) input->take_snapshot();
    const SrStatus status = Member::call(feature.data(), mean.data(), inv_var.data(), p.length(), result.data());
    const bool aligned = where[0].misalign == 0 && where[1].misalign == 0 && where[2].misalign == 0;
    testing::AssertionResult right = same_value(expected<Member>(p, aligned), result.get(0));
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!result.intact()) right = testing::AssertionFailure() << "written beside the result";
    for (Guarded<In>* input : {&feature, &mean, &inv_var})
        if (!input->as_snapshot()) right = testing::AssertionFailure() << "an input was written";
    if (right) return right;
    return testing::AssertionFailure() << "length " << p.length() << ": " << right.message() << "; "
                                       << describe(where);
}

// Both sums.
std::vector<Arrangement> few_arrangements()
{
    return {Arrangement(4), Arrangement(4, {8}), Arrangement(4, {0, Edge::Front}),
            Arrangement(4, {7, Edge::Front})};
}

TYPED_TEST(MahDistSingle, EveryLength)
{
    for (int len : widths())
        for (const Arrangement& where : few_arrangements())
            ASSERT_TRUE(measures<TypeParam>(random_problem<typename TypeParam::In>(len), where));
    for (int len : {64, 71, 127, 1000, 1003})
        for (const Arrangement& where : few_arrangements())
            ASSERT_TRUE(measures<TypeParam>(random_problem<typename TypeParam::In>(len), where));
}

// Which arrays' alignment chooses the order of the sum shows in the bits.
TYPED_TEST(MahDistSingle, EveryPlacement)
{
    using In = typename TypeParam::In;
    for (int len : {3, 7, 10, 11, 15, 23, 39}) {
        if (thin_effort() && len != 23) continue;
        Problem<In> p = random_problem<In>(len);
        while (len > 4 && expected<TypeParam>(p, true) == expected<TypeParam>(p, false))
            p = random_problem<In>(len);
        for (const Arrangement& where : arrangements(4, sizeof(In))) ASSERT_TRUE(measures<TypeParam>(p, where));
    }
}

TYPED_TEST(MahDistSingle, TenElementsInATurnElevenBySums)
{
    using In = typename TypeParam::In;
    // Ones, which are lost one by one beside the first but not together.
    const In big = std::ldexp(In(1), std::numeric_limits<typename TypeParam::Out>::digits);
    for (int len : {10, 11}) {
        Problem<In> p{std::vector<In>(static_cast<std::size_t>(len), 1), std::vector<In>(std::size_t(len), 0),
                      std::vector<In>(std::size_t(len), 1)};
        p.inv_var[0] = big;
        const Guarded<In> feature(p.feature, {8}), mean(p.mean, {8}), inv_var(p.inv_var, {8});
        typename TypeParam::Out result = 0;
        ASSERT_EQ(TypeParam::call(feature.data(), mean.data(), inv_var.data(), len, &result), SrOk);
        // Of 11, big takes none of its own index, 2 and 4 of the others, and of those behind them the first, which
        // is a tie that goes up.
        EXPECT_EQ(result - typename TypeParam::Out(big), len == 10 ? 0 : 8);
    }
}

TYPED_TEST(MahDistSingle, IsTheFormula)
{
    using In = typename TypeParam::In;
    for (int len : widths()) {
        Problem<In> p = random_problem<In>(len);
        int distance = 0;
        for (std::size_t k = 0; k < p.feature.size(); ++k) {
            const int x = uniform(-20, 20), m = uniform(-20, 20), v = uniform(0, 9);
            p.feature[k] = In(x);
            p.mean[k] = In(m);
            p.inv_var[k] = In(v);
            distance += (x - m) * (x - m) * v;
        }
        typename TypeParam::Out result = -1;
        ASSERT_EQ(TypeParam::call(p.feature.data(), p.mean.data(), p.inv_var.data(), len, &result), SrOk);
        EXPECT_EQ(result, distance) << "length " << len;
        ASSERT_EQ(TypeParam::call(p.mean.data(), p.mean.data(), p.inv_var.data(), len, &result), SrOk);
        EXPECT_TRUE(same_value<typename TypeParam::Out>(0, result)) << "length " << len;
    }
}

TYPED_TEST(MahDistSingle, InfinitiesAndNotNumbersFlowThrough)
{
    using In = typename TypeParam::In;
    Cycle specials(special_values<In>());
    Cycle places(few_arrangements());
    for (int len : {1, 2, 3, 4, 5, 7, 8, 10, 11, 12, 17, 24})
        for (std::size_t k = 0; k < static_cast<std::size_t>(len); ++k)
            for (auto array : {&Problem<In>::feature, &Problem<In>::mean, &Problem<In>::inv_var})
                for (int i = 0; i < (thin_effort() ? 1 : 4); ++i) {
                    Problem<In> p = random_problem<In>(len);
                    (p.*array)[k] = specials.next();
                    ASSERT_TRUE(measures<TypeParam>(p, places.next())) << "special value at " << k;
                }
}

TEST(MahDistSingle_32f64f, WidensBeforeTheArithmetic)
{
    // 1 - 2^-30 and its square need more digits than a single has.
    const std::vector<float> feature = {1}, mean = {0x1p-30F}, inv_var = {1};
    for (int misalign : {0, 4}) {
        const Guarded<float> x(feature, {misalign}), m(mean, {misalign}), p(inv_var, {misalign});
        double result = 0;
        ASSERT_EQ(zelsMahDistSingle_32f64f(x.data(), m.data(), p.data(), 1, &result), SrOk);
        EXPECT_EQ(result, (1 - 0x1p-30) * (1 - 0x1p-30));
    }
}

TYPED_TEST(MahDistSingle, NullComesBeforeLength)
{
    using In = typename TypeParam::In;
    struct Arguments {
        const In *x, *m, *p;
        int32_t len;
        typename TypeParam::Out* result;
    };
    const Guarded<In> array(std::vector<In>(5, 2));
    Guarded<typename TypeParam::Out> result(1);
    const AllocatorWatch watch;
    for (int32_t len : {0, -1, INT32_MIN})
        expect_check_order<Arguments>(
            {array.data(), array.data(), array.data(), 5, result.data()},
            {{"feature", SrErrNullPtr, [](Arguments& a) { a.x = nullptr; }},
             {"mean", SrErrNullPtr, [](Arguments& a) { a.m = nullptr; }},
             {"inv_var", SrErrNullPtr, [](Arguments& a) { a.p = nullptr; }},
             {"result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }},
             {"length", SrErrSize, [len](Arguments& a) { a.len = len; }}},
            [](const Arguments& a) { return TypeParam::call(a.x, a.m, a.p, a.len, a.result); }, {&result});
    const auto p = random_problem<In>(500);
    EXPECT_TRUE(measures<TypeParam>(p, Arrangement(4)));
    EXPECT_EQ(watch.requests(), 0);
}

// For the address sanitizer and valgrind: an aligned load beyond the last element touches no forbidden page.
TYPED_TEST(MahDistSingle, ReadsNothingBesideTheArrays)
{
    using In = typename TypeParam::In;
    for (std::size_t len = 1; len <= 40; ++len) {
        std::unique_ptr<In[]> x(new In[len]), m(new In[len]), p(new In[len]);
        for (std::size_t k = 0; k < len; ++k) x[k] = m[k] = p[k] = 1;
        typename TypeParam::Out result = -1;
        ASSERT_EQ(TypeParam::call(x.get(), m.get(), p.get(), static_cast<int32_t>(len), &result), SrOk);
        EXPECT_EQ(result, 0);
    }
}

#ifdef __i386__
TYPED_TEST(MahDistSingle, TakesACallWithTheStackOn4Bytes)
{
    using In = typename TypeParam::In;
    const auto p = random_problem<In>(39);
    const Guarded<In> x(p.feature), m(p.mean), v(p.inv_var);
    for (int stack : {0, 4, 8, 12}) {
        Guarded<typename TypeParam::Out> result(1);
        EXPECT_EQ(OnOddStack{stack}(TypeParam::call, x.data(), m.data(), v.data(), 39, result.data()), SrOk);
        EXPECT_TRUE(same_value(expected<TypeParam>(p, true), result.get(0)));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test::mah_dist
