// Order statistics.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "zelsr/likelihood/order.h"

namespace zelsr::test::order {
namespace {

template <class Type, auto kFunction>
struct Member {
    using T = Type;
    static constexpr auto call = kFunction;
};
template <class Member>
class NthMaxElement : public testing::Test {};
struct Names {
    template <class>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"32s", "32f", "64f"};
        return names[i];
    }
};
using Members = testing::Types<Member<std::int32_t, zelsNthMaxElement_32s>, Member<float, zelsNthMaxElement_32f>,
                               Member<double, zelsNthMaxElement_64f>>;
TYPED_TEST_SUITE(NthMaxElement, Members, Names);

// The element by sorting; zeros of either sign are equal.
template <class Member>
testing::AssertionResult finds(const std::vector<typename Member::T>& values, int n, Placement place = {},
                               Placement result_place = {})
{
    using T = typename Member::T;
    Guarded<T> source(values, place);
    Guarded<T> result(1, result_place);
    source.take_snapshot();
    std::vector<T> sorted = values;
    std::sort(sorted.begin(), sorted.end(), std::greater<>());
    const SrStatus status =
        Member::call(source.data(), static_cast<std::int32_t>(values.size()), n, result.data());
    testing::AssertionResult right = testing::AssertionSuccess();
    if (!(result.get(0) == sorted[static_cast<std::size_t>(n)]))
        right = testing::AssertionFailure()
                << result.get(0) << " instead of " << sorted[static_cast<std::size_t>(n)];
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!source.as_snapshot() || !result.intact())
        right = testing::AssertionFailure() << "written beside the result";
    if (right) return right;
    return testing::AssertionFailure() << "rank " << n << " of " << values.size() << ": " << right.message();
}

// few: how many different values there are at most; 0 for any.
template <class T>
std::vector<T> random_values(int len, int few = 0)
{
    if (few == 0) return uniform_vector<T>(len, T(-1e9), T(1e9));
    std::vector<T> values;
    for (int i = 0; i < len; ++i) values.push_back(static_cast<T>(uniform(1, few)));
    return values;
}

TYPED_TEST(NthMaxElement, EveryLengthAndRank)
{
    Cycle few(std::vector<int>{0, 1, 2, 3, 0, 7});
    Cycle places(placements(sizeof(typename TypeParam::T))),
        result_places(placements(sizeof(typename TypeParam::T)));
    for (int len = 1; len <= (thin_effort() ? 12 : 40); ++len)
        for (int n = 0; n < len; ++n)
            ASSERT_TRUE(finds<TypeParam>(random_values<typename TypeParam::T>(len, few.next()), n, places.next(),
                                         result_places.next()));
}

TYPED_TEST(NthMaxElement, EveryPermutationOfFewElements)
{
    std::vector<typename TypeParam::T> values = {1, 2, 2, 3, 4, 4};
    do
        for (int n = 0; n < 6; ++n) ASSERT_TRUE(finds<TypeParam>(values, n));
    while (!thin_effort() && std::next_permutation(values.begin(), values.end()));
}

TYPED_TEST(NthMaxElement, ManyElements)
{
    using T = typename TypeParam::T;
    for (int len : {100, 1023, 1025, 5000})
        for (int few : {0, 1, 2, 30})
            for (int n : {0, 1, len / 3, len / 2, len - 2, len - 1})
                ASSERT_TRUE(finds<TypeParam>(random_values<T>(len, few), n));
}

TYPED_TEST(NthMaxElement, SortedAndEqualElements)
{
    using T = typename TypeParam::T;
    for (int len : {2, 3, 10, 1000})
        for (int n : {0, 1, len / 2, len - 1}) {
            std::vector<T> values;
            for (int i = 0; i < len; ++i) values.push_back(static_cast<T>(i));
            ASSERT_TRUE(finds<TypeParam>(values, n)) << "upwards";
            std::reverse(values.begin(), values.end());
            ASSERT_TRUE(finds<TypeParam>(values, n)) << "downwards";
            std::rotate(values.begin(), values.begin() + len / 2, values.end());
            ASSERT_TRUE(finds<TypeParam>(values, n)) << "in two runs";
            ASSERT_TRUE(finds<TypeParam>(std::vector<T>(values.size(), 7), n)) << "equal";
        }
}

// Scores that come in order must not take the square of their number of steps.
TYPED_TEST(NthMaxElement, SortedElementsAreNoWorseThanOthers)
{
    using T = typename TypeParam::T;
    const int len = thin_effort() ? 1000 : 1000000;
    std::vector<T> values;
    for (int i = 0; i < len; ++i) values.push_back(static_cast<T>(i));
    for (int n : {0, len / 2, len - 1}) {
        T result = -1;
        ASSERT_EQ(TypeParam::call(values.data(), len, n, &result), SrOk);
        EXPECT_EQ(result, T(len - 1 - n));
    }
    std::reverse(values.begin(), values.end());
    for (int n : {0, len / 2, len - 1}) {
        T result = -1;
        ASSERT_EQ(TypeParam::call(values.data(), len, n, &result), SrOk);
        EXPECT_EQ(result, T(len - 1 - n));
    }
}

TYPED_TEST(NthMaxElement, ExtremesOfTheType)
{
    using T = typename TypeParam::T;
    std::vector<T> values;
    for (T x : special_values<T>())
        if (x == x) values.push_back(x);
    for (int n = 0; n < static_cast<int>(values.size()); ++n)
        for (int i = 0; i < 10; ++i) {
            std::shuffle(values.begin(), values.end(), generator());
            ASSERT_TRUE(finds<TypeParam>(values, n));
        }
}

TYPED_TEST(NthMaxElement, AmongNotNumbersSomeElement)
{
    using T = typename TypeParam::T;
    if constexpr (std::is_floating_point_v<T>)
        for (int len = 1; len <= 20; ++len)
            for (int n = 0; n < len; ++n)
                for (int share : {1, 2, 4}) {
                    std::vector<T> values = random_values<T>(len, 9);
                    for (T& x : values)
                        if (uniform(1, share) == 1) x = std::numeric_limits<T>::quiet_NaN();
                    Guarded<T> source(values);
                    Guarded<T> result(1);
                    ASSERT_EQ(TypeParam::call(source.data(), len, n, result.data()), SrOk);
                    const auto is_result = [&](T x) { return same(x, result.get(0)); };
                    EXPECT_TRUE(std::any_of(values.begin(), values.end(), is_result));
                    EXPECT_TRUE(source.intact() && result.intact());
                }
}

template <class T>
struct Arguments {
    const T* src;
    std::int32_t len, n;
    T* result;
};

TYPED_TEST(NthMaxElement, TheFirstFailedCheckDecides)
{
    using A = Arguments<typename TypeParam::T>;
    const Guarded<typename TypeParam::T> source(random_values<typename TypeParam::T>(6, 9));
    Guarded<typename TypeParam::T> result(1);
    const auto call = [](const A& a) { return TypeParam::call(a.src, a.len, a.n, a.result); };
    const AllocatorWatch watch;
    for (std::int32_t len : {0, -1, INT32_MIN})
        for (std::int32_t n : {-1, INT32_MIN, 6, 7, INT32_MAX})
            expect_check_order<A>({source.data(), 6, 0, result.data()},
                                  {{"source", SrErrNullPtr, [](A& a) { a.src = nullptr; }},
                                   {"result", SrErrNullPtr, [](A& a) { a.result = nullptr; }},
                                   {"length", SrErrSize, [len](A& a) { a.len = len; }},
                                   {"rank", SrErrBadArg, [n](A& a) { a.n = n; }}},
                                  call, {&result});
    EXPECT_EQ(watch.requests(), 0);
    EXPECT_EQ(call({source.data(), 0, 0, result.data()}), SrErrSize);
}

TYPED_TEST(NthMaxElement, RefusedMemoryIsReported)
{
    using T = typename TypeParam::T;
    const std::vector<T> values = random_values<T>(5000);
    Guarded<T> result(1);
    expect_survives_refusals([&] { return TypeParam::call(values.data(), 5000, 9, result.data()); }, {&result});
    for (int len : {1, 7, 100}) {
        const AllocatorWatch watch(1);
        T found = -1;
        const SrStatus status = TypeParam::call(values.data(), len, 0, &found);
        EXPECT_EQ(status, watch.requests() == 0 ? SrOk : SrErrMemAlloc);
    }
}

TYPED_TEST(NthMaxElement, DoesNotDependOnTheEnvironment)
{
    using T = typename TypeParam::T;
    const std::vector<T> values = random_values<T>(50);
    T expected = 0, result = 0;
    ASSERT_EQ(TypeParam::call(values.data(), 50, 20, &expected), SrOk);
    under_each_environment([&] { TypeParam::call(values.data(), 50, 20, &result); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(result, expected) << setting;
                               result = 0;
                           });
}

#ifdef __i386__
TYPED_TEST(NthMaxElement, TakesACallWithTheStackOn4Bytes)
{
    using T = typename TypeParam::T;
    const std::vector<T> values = {3, 1, 4, 1, 5, 9, 2, 6};
    for (int stack : {0, 4, 8, 12}) {
        T result = 0;
        EXPECT_EQ(OnOddStack{stack}(TypeParam::call, values.data(), 8, 2, &result), SrOk);
        EXPECT_EQ(result, 5);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test::order
