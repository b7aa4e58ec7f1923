// Sums of integers under a scale factor: bits against the exact sum, rounded and saturated.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/environment.h"
#include "support/faults.h"
#include "support/operation.h"
#include "support/reference/sum.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

template <class How>
SrStatus sum(How how, const int16_t* src, int32_t len, int32_t* result, int32_t sf)
{
    return how(zelsSum_16s32s_Sfs, src, len, result, sf);
}
template <class How>
SrStatus sum(How how, const int32_t* src, int32_t len, int32_t* result, int32_t sf)
{
    return how(zelsSum_32s_Sfs, src, len, result, sf);
}

template <class T>
class ScaledSumTest : public testing::Test {
  public:
    using Values = std::vector<T>;
    static constexpr std::int64_t kLargest = std::numeric_limits<T>::max();

    static testing::AssertionResult sums(const Values& values, int32_t sf, Placement source_place = {},
                                         Placement result_place = {})
    {
        const int32_t expected = reference::scaled_sum(reference::exact_sum(values), sf);
        const auto call = [sf](const T* src, int32_t len, int32_t* result) {
            return sum(Direct{}, src, len, result, sf);
        };
        const auto accept = [expected](int32_t actual) { return same_value(expected, actual); };
        return reduces<T, int32_t>(values, call, accept, source_place, result_place);
    }

    static int32_t result_of(const Values& values, int32_t sf)
    {
        int32_t result = 99;
        EXPECT_EQ(sum(Direct{}, values.data(), static_cast<int32_t>(values.size()), &result, sf), SrOk);
        return result;
    }

    // At least count elements, uneven, that add up to total; none if that takes too many.
    static Values elements_of(std::int64_t total, std::size_t count)
    {
        count = std::max(count, static_cast<std::size_t>(std::abs(total) / kLargest + 1));
        if (count > 600) return {};
        const auto n = static_cast<std::int64_t>(count);
        Values values(count, static_cast<T>(total / n));
        for (std::size_t i = 0; i < static_cast<std::size_t>(std::abs(total % n)); ++i)
            values[i] = static_cast<T>(values[i] + (total < 0 ? -1 : 1));
        for (std::size_t i = 1; i < count; ++i) {
            const std::int64_t room = std::min(kLargest - std::abs(std::int64_t{values[i]}),
                                               kLargest - std::abs(std::int64_t{values[i - 1]}));
            const std::int64_t moved = uniform<std::int64_t>(-room, room);
            values[i] = static_cast<T>(values[i] + moved);
            values[i - 1] = static_cast<T>(values[i - 1] - moved);
        }
        return values;
    }
};
struct TypeName {
    template <class T>
    static std::string GetName(int)
    {
        return sizeof(T) == 2 ? "16s32s" : "32s";
    }
};
using Types = testing::Types<int16_t, int32_t>;
TYPED_TEST_SUITE(ScaledSumTest, Types, TypeName);

TYPED_TEST(ScaledSumTest, EveryLengthAndAddress)
{
    using Limits = std::numeric_limits<TypeParam>;
    for (int32_t sf : {0, 1, 7, -1, -3}) {
        SCOPED_TRACE(sf);
        int known = 0;
        std::vector<TypeParam> values;
        at_every_place<2>(lengths(32), {sizeof(TypeParam), 4}, [&](int length, const auto& places) {
            if (known != length) values = uniform_vector<TypeParam>(length, Limits::min(), Limits::max());
            known = length;
            return this->sums(values, sf, places[0], places[1]);
        });
    }
}

TYPED_TEST(ScaledSumTest, TiesAndTheNeighboursOfSaturationAtEveryScaleFactor)
{
    for (int32_t sf : scale_factors()) {
        std::vector<std::int64_t> totals = {0, 1, -1, 2, -2, 12345, -12345};
        const auto add_around = [&](std::int64_t x) {
            for (std::int64_t near = x - 1; near <= x + 1; ++near) totals.insert(totals.end(), {near, -near});
        };
        if (sf > 0 && sf < 45)
            for (std::int64_t whole : {0, 1, 2, 3}) add_around((whole << sf) + (std::int64_t{1} << (sf - 1)));
        if (sf > 0 && sf < 20) {
            add_around((std::int64_t{INT32_MAX} << sf) + (std::int64_t{1} << (sf - 1)));
            add_around((std::int64_t{1} << (31 + sf)) + (std::int64_t{1} << (sf - 1)));
        }
        if (sf <= 0 && sf >= -32) add_around(std::int64_t{1} << (31 + sf >= 0 ? 31 + sf : 0));
        for (std::int64_t total : totals)
            for (std::size_t count : {1, 9, 40}) {
                const std::vector<TypeParam> values = this->elements_of(total, count);
                if (values.empty()) continue;
                ASSERT_EQ(reference::exact_sum(values), total);
                ASSERT_TRUE(this->sums(values, sf)) << "total " << total << ", sf " << sf;
            }
    }
}

// Doubling and halving leave a sum of zero alone, however often.
TYPED_TEST(ScaledSumTest, ASumOfZeroStaysZero)
{
    for (int32_t sf : scale_factors()) {
        EXPECT_EQ(this->result_of({0}, sf), 0) << sf;
        EXPECT_EQ(this->result_of({5, -3, -2}, sf), 0) << sf;
    }
}

TYPED_TEST(ScaledSumTest, LongArraysOfExtremes)
{
    using Limits = std::numeric_limits<TypeParam>;
    const std::vector<TypeParam> random = uniform_vector<TypeParam>(100003, Limits::min(), Limits::max());
    const std::vector<TypeParam> largest(100003, Limits::max());
    const std::vector<TypeParam> lowest(100003, Limits::min());
    for (int32_t sf : {0, 1, 2, 3, 10, 15, 16, 17, 18, 31, 32, 40, 47, 48, 49, 62, 63, 64, 1100, -1, -31, -40})
        for (const auto* values : {&random, &largest, &lowest}) {
            EXPECT_TRUE(this->sums(*values, sf)) << sf;
            EXPECT_TRUE(this->sums(*values, sf, {sizeof(TypeParam) + 1, Edge::Front})) << sf;
        }
}

TYPED_TEST(ScaledSumTest, ByValue)
{
    EXPECT_EQ(this->result_of({2, 3}, 1), 2);
    EXPECT_EQ(this->result_of({3, 4}, 1), 4);
    EXPECT_EQ(this->result_of({-2, -3}, 1), -2);
    EXPECT_EQ(this->result_of({3, 4}, -3), 56);
    EXPECT_EQ(this->result_of({1}, -30), 1 << 30);
    EXPECT_EQ(this->result_of({-1}, -31), INT32_MIN);
    EXPECT_EQ(this->result_of({1}, -31), INT32_MAX);
    EXPECT_EQ(this->result_of({1}, INT32_MIN), INT32_MAX);
    EXPECT_EQ(this->result_of({-1}, INT32_MIN), INT32_MIN);
    EXPECT_EQ(this->result_of({-1}, INT32_MAX), 0);
    EXPECT_EQ(this->result_of({32767, 32767}, 63), 0);
}

TEST(Sum_32s_Sfs, AddsIn64Bits)
{
    const std::vector<int32_t> values(8, INT32_MAX);
    int32_t result = 0;
    EXPECT_EQ(zelsSum_32s_Sfs(values.data(), 8, &result, 0), SrOk);
    EXPECT_EQ(result, INT32_MAX);
    EXPECT_EQ(zelsSum_32s_Sfs(values.data(), 8, &result, 3), SrOk);
    EXPECT_EQ(result, INT32_MAX);
    EXPECT_EQ(zelsSum_32s_Sfs(values.data(), 8, &result, 4), SrOk);
    EXPECT_EQ(result, 1 << 30);  // a tie
    EXPECT_EQ(zelsSum_32s_Sfs(values.data(), 8, &result, 33), SrOk);
    EXPECT_EQ(result, 2);
}

TYPED_TEST(ScaledSumTest, KeepsAndIgnoresTheEnvironment)
{
    using Limits = std::numeric_limits<TypeParam>;
    const std::vector<TypeParam> values = uniform_vector<TypeParam>(1001, Limits::min(), Limits::max());
    for (int32_t sf : {0, 1, 13, -5, 1100, -1100}) {
        const int32_t expected = reference::scaled_sum(reference::exact_sum(values), sf);
        int32_t result = 99;
        under_each_environment([&] { sum(Direct{}, values.data(), 1001, &result, sf); },
                               [&](const std::string& environment) {
                                   EXPECT_EQ(result, expected) << environment << ", sf " << sf;
                                   result = 99;
                               });
    }
}

TYPED_TEST(ScaledSumTest, ReportsNullBeforeLengthAndWritesNothing)
{
    struct Arguments {
        const TypeParam* src;
        int32_t len;
        int32_t* result;
    };
    const Guarded<TypeParam> source(std::vector<TypeParam>(40, 2));
    Guarded<int32_t> result(1);
    expect_check_order<Arguments>({source.data(), 40, result.data()},
                                  {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                                   {"null result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }},
                                   {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
                                   {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
                                   {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
                                  [](const Arguments& a) { return sum(Direct{}, a.src, a.len, a.result, 1); },
                                  {&result});
    expect_reads_nothing_below_length_one<TypeParam>(
        [&](const TypeParam* src, int32_t length) { return sum(Direct{}, src, length, result.data(), 0); });
}

#ifdef __i386__
TYPED_TEST(ScaledSumTest, RunsOnAnyStack)
{
    using Limits = std::numeric_limits<TypeParam>;
    const std::vector<TypeParam> values = uniform_vector<TypeParam>(1001, Limits::min(), Limits::max());
    for (int misalign : {0, 4, 8, 12})
        for (int32_t sf : {0, 13, -5}) {
            int32_t result = 99;
            EXPECT_EQ(sum(OnOddStack{misalign}, values.data(), 1001, &result, sf), SrOk);
            EXPECT_EQ(result, this->result_of(values, sf));
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
