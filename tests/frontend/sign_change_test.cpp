// Sign changes between neighbours.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "support/reference/energy.h"
#include "zelsr/frontend/energy.h"

namespace zelsr::test {
namespace {

struct Rate_16s {
    using T = int16_t;
    using Count = int32_t;
    static constexpr auto kCall = zelsSignChangeRate_16s;
    static Count expected(const std::vector<T>& x) { return reference::negative_products(x); }
};
struct Rate_32f {
    using T = float;
    using Count = float;
    static constexpr auto kCall = zelsSignChangeRate_32f;
    static Count expected(const std::vector<T>& x) { return static_cast<Count>(reference::negative_products(x)); }
};
struct RateXor_32f {
    using T = float;
    using Count = int32_t;
    static constexpr auto kCall = zelsSignChangeRateXor_32f;
    static Count expected(const std::vector<T>& x) { return reference::different_sign_bits(x); }
};
struct Count0_16s {
    using T = int16_t;
    using Count = int32_t;
    static constexpr auto kCall = zelsSignChangeRate_Count0_16s;
    static Count expected(const std::vector<T>& x) { return reference::sign_steps(x) >> 1; }
};
struct Count0_32f {
    using T = float;
    using Count = float;
    static constexpr auto kCall = zelsSignChangeRate_Count0_32f;
    static Count expected(const std::vector<T>& x) { return static_cast<Count>(reference::sign_steps(x)) * 0.5F; }
};

template <class Member>
class SignChange : public testing::Test {};
struct MemberNames {
    template <class Member>
    static std::string GetName(int)
    {
        if (std::is_same_v<Member, Rate_16s>) return "Rate_16s";
        if (std::is_same_v<Member, Rate_32f>) return "Rate_32f";
        if (std::is_same_v<Member, RateXor_32f>) return "RateXor_32f";
        return std::is_same_v<Member, Count0_16s> ? "Count0_16s" : "Count0_32f";
    }
};
using Members = testing::Types<Rate_16s, Rate_32f, RateXor_32f, Count0_16s, Count0_32f>;
TYPED_TEST_SUITE(SignChange, Members, MemberNames);

template <class Member>
testing::AssertionResult counts(const std::vector<typename Member::T>& x, Placement at_src = {},
                                Placement at_count = {})
{
    Guarded<typename Member::T> src(x, at_src);
    const Guarded<typename Member::Count> count(1, at_count);
    src.take_snapshot();
    const SrStatus status = Member::kCall(src.data(), static_cast<int32_t>(x.size()), count.data());
    testing::AssertionResult right = same_value(Member::expected(x), count.get(0));
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!src.as_snapshot()) right = testing::AssertionFailure() << "the source was written";
    if (!count.intact()) right = testing::AssertionFailure() << "written beside the count";
    if (right) return right;
    return testing::AssertionFailure() << "length " << x.size() << ", source " << describe(at_src) << ", count "
                                       << describe(at_count) << ": " << right.message();
}

// Both signs, zeros, and runs of them.
template <class T>
std::vector<T> signal(int count)
{
    const std::vector<T> special = special_values<T>();
    std::vector<T> x;
    while (x.size() < static_cast<std::size_t>(count)) {
        T value = T(uniform(-3, 3));
        if (generator()() % 4 == 0) value = special[generator()() % special.size()];
        for (unsigned run = generator()() % 3; run < 3 && x.size() < static_cast<std::size_t>(count); ++run)
            x.push_back(value);
    }
    return x;
}

TYPED_TEST(SignChange, EveryLengthAndAddress)
{
    using T = typename TypeParam::T;
    for (int length = 1; length <= 75; length += thin_effort() ? 4 : 1)
        for (const Placement& place : placements(sizeof(T)))
            ASSERT_TRUE(counts<TypeParam>(signal<T>(length), place));
    for (const Placement& place : placements(4)) ASSERT_TRUE(counts<TypeParam>(signal<T>(40), {}, place));
}

// Each pair in turn is the only change.
TYPED_TEST(SignChange, EveryPairIsSeenOnce)
{
    using T = typename TypeParam::T;
    for (int misalign : {0, 2, 4, 12, 7})
        for (int length : {2, 3, 8, 9, 16, 17, 18, 31, 32, 33, 34, 47, 64, 65, 66, 97})
            for (int change = 1; change < length; ++change) {
                std::vector<T> x(static_cast<std::size_t>(length), T(3));
                std::fill(x.begin() + change, x.end(), T(-2));
                ASSERT_EQ(TypeParam::expected(x), 1);
                ASSERT_TRUE(counts<TypeParam>(x, {misalign})) << "change " << change;
            }
}

TYPED_TEST(SignChange, LongSignals)
{
    using T = typename TypeParam::T;
    for (int length : {1000, 65537, 200003}) {
        if (thin_effort() && length > 1000) break;
        std::vector<T> alternating;
        for (int n = 0; n < length; ++n) alternating.push_back(n % 2 == 0 ? T(1) : T(-1));
        EXPECT_EQ(TypeParam::expected(alternating), static_cast<typename TypeParam::Count>(length - 1));
        ASSERT_TRUE(counts<TypeParam>(alternating));
        ASSERT_TRUE(counts<TypeParam>(alternating, {1}));
        ASSERT_TRUE(counts<TypeParam>(signal<T>(length), {8}));
    }
}

TYPED_TEST(SignChange, EveryPairOfSpecialValues)
{
    using T = typename TypeParam::T;
    std::vector<T> values = special_values<T>();
    if constexpr (std::is_same_v<T, float>) values.insert(values.end(), {1e-30F, -1e-30F, 1e30F, -1e30F});
    for (T a : values)
        for (T b : values) {
            ASSERT_TRUE(counts<TypeParam>({a, b})) << +a << " and " << +b;
            for (int length : {9, 19, 40}) {
                std::vector<T> x;
                for (int n = 0; n < length; ++n) x.push_back(n % 2 == 0 ? a : b);
                ASSERT_TRUE(counts<TypeParam>(x, {length % 2 == 0 ? 0 : 4})) << +a << " and " << +b;
            }
        }
}

TYPED_TEST(SignChange, OneSampleHasNone)
{
    using T = typename TypeParam::T;
    for (T x : special_values<T>()) {
        typename TypeParam::Count count = 5;
        EXPECT_EQ(TypeParam::kCall(&x, 1, &count), SrOk);
        EXPECT_EQ(count, 0);
    }
}

// A rounding mode may keep a product from underflowing to zero.
TYPED_TEST(SignChange, IsTheSameInEachEnvironment)
{
    using T = typename TypeParam::T;
    std::vector<T> x = signal<T>(67);
    if constexpr (std::is_same_v<T, float>)
        for (std::size_t n = 20; n < 40; ++n) x[n] = n % 2 == 0 ? 1e-30F : -1e-30F;
    typename TypeParam::Count count = -1;
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = TypeParam::kCall(x.data(), 67, &count); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk);
                               EXPECT_EQ(count, TypeParam::expected(x)) << setting;
                               count = -1;
                           });
}

TYPED_TEST(SignChange, ChecksNullThenLength)
{
    using T = typename TypeParam::T;
    using Count = typename TypeParam::Count;
    struct Arguments {
        const T* src;
        int32_t len;
        Count* count;
    };
    Guarded<T> src(8);
    Guarded<Count> count(1);
    std::vector<Fault<Arguments>> faults = {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                                            {"null count", SrErrNullPtr, [](Arguments& a) { a.count = nullptr; }}};
    for (int32_t bad : {0, -1, INT32_MIN})
        faults.push_back({"length", SrErrSize, [=](Arguments& a) { a.len = bad; }});
    expect_check_order<Arguments>({src.data(), 8, count.data()}, faults,
                                  [](const Arguments& a) { return TypeParam::kCall(a.src, a.len, a.count); },
                                  {&src, &count});
}

template <class Member>
typename Member::Count count_of(std::vector<typename Member::T> x)
{
    typename Member::Count count = -1;
    EXPECT_EQ(Member::kCall(x.data(), static_cast<int32_t>(x.size()), &count), SrOk);
    return count;
}

TEST(SignChangeValues, PassagesThroughZero)
{
    EXPECT_EQ(count_of<Count0_32f>({1, 0, -1}), 1.0F);
    EXPECT_EQ(count_of<Count0_32f>({1, 0, 1}), 1.0F);
    EXPECT_EQ(count_of<Count0_32f>({1, 0}), 0.5F);
    EXPECT_EQ(count_of<Count0_32f>({1, -0.0F, 0, 1, -1}), 2.0F);
    EXPECT_EQ(count_of<Rate_32f>({1, 0, -1}), 0.0F);
    EXPECT_EQ(count_of<Rate_32f>({1, 0, 1}), 0.0F);
    EXPECT_EQ(count_of<Rate_16s>({1, 0, -1}), 0);
    EXPECT_EQ(count_of<Count0_16s>({1, 0}), 0) << "the half is dropped";
    EXPECT_EQ(count_of<Count0_16s>({1, 0, -1}), 1);
    EXPECT_EQ(count_of<Count0_16s>({1, 0, 1, -1, 0}), 2) << "2.5";
    EXPECT_EQ(count_of<Count0_32f>({1, 0, 1, -1, 0}), 2.5F);
    EXPECT_EQ(count_of<RateXor_32f>({1.0F, -0.0F}), 1);
    EXPECT_EQ(count_of<RateXor_32f>({1.0F, 0.0F, -1.0F}), 1);
}

TEST(SignChangeValues, NotANumber)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(count_of<Rate_32f>({nan, 1, 1}), 1.0F);
    EXPECT_EQ(count_of<Rate_32f>({1, nan, 1}), 2.0F);
    EXPECT_EQ(count_of<Rate_32f>({infinity, 0}), 1.0F) << "their product is no number";
    EXPECT_EQ(count_of<Rate_32f>({infinity, -infinity}), 1.0F);
    EXPECT_EQ(count_of<RateXor_32f>({nan, 1, -nan}), 1);
    EXPECT_EQ(count_of<Count0_32f>({nan, 1}), 0.5F) << "counts as a zero";
}

// The product is formed in single precision.
TEST(SignChangeValues, ProductsThatUnderflowAreNotNegative)
{
    EXPECT_EQ(count_of<Rate_32f>({1e-30F, -1e-30F}), 0.0F);
    EXPECT_EQ(count_of<Rate_32f>({1e-20F, -1e-20F}), 1.0F) << "a subnormal";
    EXPECT_EQ(count_of<Rate_32f>({1e30F, -1e30F}), 1.0F);
    for (int misalign : {0, 4})
        EXPECT_TRUE(counts<Rate_32f>(std::vector<float>{1e-30F, -1e-30F, 1e-30F, -1e-30F}, {misalign}));
    std::vector<float> long_one;
    for (int n = 0; n < 50; ++n) long_one.push_back(n % 2 == 0 ? 1e-30F : -1e-30F);
    EXPECT_EQ(count_of<Rate_32f>(long_one), 0.0F);
}

TEST(SignChangeValues, LargestIntegers)
{
    EXPECT_EQ(count_of<Rate_16s>({-32768, -32768, 32767, 32767, -32768}), 2);
    EXPECT_EQ(count_of<Rate_16s>({-1, 1}), 1);
    EXPECT_EQ(count_of<Rate_16s>({256, -256, 256}), 2) << "16 bits of their products are zero";
}

#ifdef __i386__
TEST(SignChangeStack, RunsOnAnyStack)
{
    const std::vector<float> x = signal<float>(67);
    const std::vector<int16_t> y = signal<int16_t>(67);
    for (int misalign : {0, 4, 8, 12}) {
        float single = -1;
        int32_t count = -1;
        EXPECT_EQ(call_misaligned(zelsSignChangeRate_32f, misalign, x.data(), 67, &single), SrOk);
        EXPECT_EQ(single, Rate_32f::expected(x));
        EXPECT_EQ(call_misaligned(zelsSignChangeRate_Count0_32f, misalign, x.data(), 67, &single), SrOk);
        EXPECT_EQ(single, Count0_32f::expected(x));
        EXPECT_EQ(call_misaligned(zelsSignChangeRateXor_32f, misalign, x.data(), 67, &count), SrOk);
        EXPECT_EQ(count, RateXor_32f::expected(x));
        EXPECT_EQ(call_misaligned(zelsSignChangeRate_16s, misalign, y.data(), 67, &count), SrOk);
        EXPECT_EQ(count, Rate_16s::expected(y));
        EXPECT_EQ(call_misaligned(zelsSignChangeRate_Count0_16s, misalign, y.data(), 67, &count), SrOk);
        EXPECT_EQ(count, Count0_16s::expected(y));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
