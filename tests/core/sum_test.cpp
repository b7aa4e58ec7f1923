// Sums of arrays: singles by both methods, integers under a scale factor.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/environment.h"
#include "support/faults.h"
#include "support/operation.h"
#include "support/reference/sum.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

constexpr int32_t kFast = 1;
constexpr int32_t kAccurate[] = {0, 2, 3, -1, 257, 65537, INT32_MIN, INT32_MAX};

auto sum_with(int32_t hint)
{
    return [hint](const float* src, int32_t len, float* result) { return zelsSum_32f(src, len, result, hint); };
}

float sum_of(const std::vector<float>& values, int32_t hint, Placement place = {})
{
    const Guarded<float> source(values, place);
    float result = -99;
    EXPECT_EQ(zelsSum_32f(source.data(), static_cast<int32_t>(values.size()), &result, hint), SrOk);
    return result;
}

testing::AssertionResult sums_to(float expected, const std::vector<float>& values, int32_t hint,
                                 Placement place = {}, Placement result_place = {})
{
    const auto accept = [expected](float actual) { return same_value(expected, actual); };
    return reduces<float, float>(values, sum_with(hint), accept, place, result_place);
}

// Values whose sum no order of additions rounds: multiples of 2^unit whose magnitudes add up to less than the
// significand (64 bits in extended precision, less one for this test's own sum; valgrind's has 53).
struct ExactData {
    std::vector<float> values;
    float sum;
};

ExactData exact_data(std::size_t count, int significand, int unit, bool cancelling)
{
    const int shift_limit = significand - 24 - std::bit_width(count);
    std::vector<std::int64_t> multiples;
    if (cancelling) multiples.push_back(uniform(-9, 9));
    while (multiples.size() < count) {
        const int shift = std::max(0, uniform(-8, shift_limit));
        const std::int64_t x = std::int64_t{uniform(-0xffffff, 0xffffff)} << shift;
        multiples.push_back(x);
        if (cancelling && multiples.size() < count) multiples.push_back(-x);
    }
    std::shuffle(multiples.begin(), multiples.end(), generator());
    ExactData data;
    std::int64_t sum = 0;
    for (std::int64_t x : multiples) {
        data.values.push_back(std::ldexp(static_cast<float>(x), unit));
        sum += x;
    }
    data.sum = static_cast<float>(std::ldexp(static_cast<long double>(sum), unit));
    return data;
}

int extended_significand() { return under_valgrind() ? 53 : 63; }

TEST(AccurateSum_32f, BitsAreTheExactSumRoundedOnceAtEveryLengthAndAddress)
{
    for (bool cancelling : {false, true})
        for (int unit : {0, -149, 40}) {
            int known = 0;
            ExactData data;
            at_every_place<2>(lengths(32), {4, 4}, [&](int length, const auto& places) {
                if (known != length)
                    data = exact_data(static_cast<std::size_t>(length), extended_significand(), unit, cancelling);
                known = length;
                return sums_to(data.sum, data.values, 0, places[0], places[1]);
            });
        }
}

TEST(AccurateSum_32f, BitsAreTheExactSumOfLongArrays)
{
    for (std::size_t length : {1000, 32767, 32768, 32769, 100003})
        for (bool cancelling : {false, true}) {
            const ExactData data = exact_data(length, extended_significand(), 0, cancelling);
            EXPECT_TRUE(sums_to(data.sum, data.values, 0)) << length;
            EXPECT_TRUE(sums_to(data.sum, data.values, 0, {7, Edge::Back})) << length;
        }
}

// Where the order of the eight sums' join shows at all, it shows in the 64th bit: at most a tie's other side.
TEST(AccurateSum_32f, IsWithinOneUnitOfEightPartialSums)
{
    for (int length : lengths(32))
        for (float scale : {1.0F, 1e30F, 1e-42F}) {
            std::vector<float> values = uniform_vector(length, -1.0F, 2.0F);
            for (float& x : values) x *= scale;
            const auto expected = static_cast<float>(reference::eightfold_sum(values));
            EXPECT_LE(ulp_distance(expected, sum_of(values, 0)), 1) << length << ", " << scale;
        }
}

TEST(AccurateSum_32f, KeepsWhatSinglesAndDoublesWouldLose)
{
    EXPECT_EQ(sum_of({0x1p40F, 1, -0x1p40F}, 0), 1.0F);
    EXPECT_EQ(sum_of({1, 0x1p24F, 1, -0x1p24F}, 0), 2.0F);
    std::vector<float> far(9, 1.0F);
    far[0] = 0x1p40F;
    far[8] = -0x1p40F;
    EXPECT_EQ(sum_of(far, 0), 7.0F);
    if (under_valgrind()) return;
    EXPECT_EQ(sum_of({0x1p60F, 1, -0x1p60F}, 0), 1.0F);
    EXPECT_EQ(sum_of({1e20F, 16, -1e20F}, 0), 16.0F);
    EXPECT_EQ(sum_of({0x1p24F, 1, 0x1p-30F}, 0), 0x1p24F + 2);  // in double a tie, to even
    EXPECT_EQ(sum_of({0x1p24F, 1, -0x1p-30F}, 0), 0x1p24F);
    EXPECT_EQ(sum_of({0x1p24F, 3, -0x1p-30F}, 0), 0x1p24F + 2);
}

TEST(AccurateSum_32f, DoesNotOverflowOnTheWay)
{
    constexpr float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(sum_of({largest, largest, -largest}, 0), largest);
    std::vector<float> values(64, largest);
    std::fill(values.begin() + 8, values.begin() + 39, -largest);
    EXPECT_EQ(sum_of(values, 0), std::numeric_limits<float>::infinity());
    std::fill(values.begin() + 8, values.begin() + 40, -largest);
    EXPECT_EQ(sum_of(values, 0), 0.0F);
}

TEST(AccurateSum_32f, IsChosenByEveryHintButOne)
{
    const ExactData data = exact_data(77, extended_significand(), 0, true);
    for (int32_t hint : kAccurate) {
        EXPECT_TRUE(sums_to(data.sum, data.values, hint)) << hint;
        EXPECT_EQ(sum_of({0x1p40F, 1, 3, 5, -0x1p40F}, hint), 9.0F) << hint;
    }
}

TEST(Sum_32f, InfinitiesAndNanGoThroughByBothMethods)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    for (int32_t hint : {0, kFast})
        for (std::size_t length : {2, 9, 40})
            for (std::size_t position = 0; position + 1 < length; ++position) {
                std::vector<float> values(length, 1.0F);
                for (auto [x, y, sum] : {std::array{infinity, 1.0F, infinity},
                                         {-infinity, -infinity, -infinity},
                                         {infinity, -infinity, nan},
                                         {nan, infinity, nan},
                                         {1.0F, -nan, nan}}) {
                    values[position] = x;
                    values[length - 1] = y;
                    EXPECT_TRUE(sums_to(sum, values, hint)) << "hint " << hint;
                }
            }
    EXPECT_EQ(sum_of({3e38F, 3e38F}, 0), infinity);
}

// Small integers: singles add them exactly in any order.
TEST(FastSum_32f, BitsAreTheExactSumOfSmallMultiplesAtEveryLengthAndAddress)
{
    for (int unit : {0, -149, 60}) {
        int known = 0;
        ExactData data;
        at_every_place<2>(lengths(32), {4, 4}, [&](int length, const auto& places) {
            if (known != length) {
                const std::vector<int32_t> multiples = uniform_vector(length, -100000, 100000);
                data.values.clear();
                for (int32_t x : multiples) data.values.push_back(std::ldexp(static_cast<float>(x), unit));
                data.sum = std::ldexp(static_cast<float>(reference::exact_sum(multiples)), unit);
            }
            known = length;
            return sums_to(data.sum, data.values, kFast, places[0], places[1]);
        });
    }
}

// Additions in single over at most 32768 elements, at least four sums side by side, err by 2^-24 of the
// magnitudes each; the join of the sums adds a few more, the result one half unit.
TEST(FastSum_32f, IsNearTheSum)
{
    for (std::size_t length : {5, 33, 100, 1000, 32768, 32800, 100003}) {
        const std::vector<float> values = uniform_vector(static_cast<int>(length), -1.0F, 1.0F);
        const long double additions = static_cast<long double>(std::min<std::size_t>(length, 32768)) / 4 + 8;
        const long double tolerance = additions * 0x1p-24L * reference::sum_of_magnitudes(values);
        for (int misalign : {0, 4, 8, 12}) {
            const float sum = sum_of(values, kFast, {misalign, Edge::Back});
            EXPECT_LE(std::abs(sum - reference::eightfold_sum(values)), tolerance) << length;
        }
    }
}

TEST(FastSum_32f, BitsAreTheSameOnEveryBoundaryOf4Bytes)
{
    for (int length : {3, 7, 40, 67, 1001, 32768, 32769, 70000}) {
        const std::vector<float> values = uniform_vector(length, -1.0F, 1.0F);
        const float sum = sum_of(values, kFast);
        for (int misalign : {4, 8, 12})
            EXPECT_TRUE(sums_to(sum, values, kFast, {misalign, Edge::Front})) << length << ", " << misalign;
    }
}

// A single would lose the second block beside the first.
TEST(FastSum_32f, AddsTheTotalsOf32768ElementsInExtendedPrecision)
{
    std::vector<float> values(3 * 32768, 1.0F);
    std::fill(values.begin(), values.begin() + 32768, 0x1p25F);
    std::fill(values.end() - 32768, values.end(), -0x1p25F);
    for (int misalign : {0, 4, 8, 12})
        EXPECT_TRUE(sums_to(32768.0F, values, kFast, {misalign, Edge::Back})) << misalign;
    values.insert(values.end(), {3, 4});
    EXPECT_EQ(sum_of(values, kFast), 32775.0F);
}

TEST(FastSum_32f, OffA4ByteBoundaryAddsOneByOneInExtendedPrecision)
{
    for (int misalign : {1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15}) {
        EXPECT_EQ(sum_of({0x1p40F, 1, 3, 5, -0x1p40F}, kFast, {misalign, Edge::Back}), 9.0F);
        for (int length : {1, 2, 9, 40, 67, 33000}) {
            const std::vector<float> values = uniform_vector(length, -1.0F, 1.0F);
            EXPECT_TRUE(sums_to(static_cast<float>(reference::sequential_sum(values)), values, kFast,
                                {misalign, Edge::Back}))
                << length << ", " << misalign;
        }
    }
}

TEST(Sum_32f, KeepsAndIgnoresTheEnvironmentByBothMethods)
{
    for (int32_t hint : {0, kFast})
        for (int length : {1, 37, 1000, 33000})
            for (int misalign : {0, 4, 1}) {
                const Guarded<float> source(uniform_vector(length, -1.0F, 1.0F), {misalign, Edge::Back});
                const float expected = sum_of(source.values(), hint, {misalign, Edge::Back});
                float result = -99;
                under_each_environment([&] { zelsSum_32f(source.data(), length, &result, hint); },
                                       [&](const std::string& environment) {
                                           EXPECT_TRUE(same_value(expected, result))
                                               << environment << ", hint " << hint << ", length " << length;
                                           result = -99;
                                       });
            }
}

TEST(Sum_32f, ReportsNullBeforeLengthAndWritesNothing)
{
    struct Arguments {
        const float* src;
        int32_t len;
        float* result;
    };
    const Guarded<float> source(std::vector<float>(40, 2));
    Guarded<float> result(1);
    for (int32_t hint : {0, kFast}) {
        expect_check_order<Arguments>(
            {source.data(), 40, result.data()},
            {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
             {"null result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }},
             {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
             {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
             {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
            [hint](const Arguments& a) { return zelsSum_32f(a.src, a.len, a.result, hint); }, {&result});
        expect_reads_nothing_below_length_one<float>(
            [&](const float* src, int32_t length) { return zelsSum_32f(src, length, result.data(), hint); });
    }
}

#ifdef __i386__
TEST(Sum_32f, RunsOnAnyStack)
{
    const std::vector<float> values = uniform_vector(1000, -1.0F, 1.0F);
    for (int32_t hint : {0, kFast})
        for (int misalign : {0, 4, 8, 12}) {
            float result = -99;
            EXPECT_EQ(OnOddStack{misalign}(zelsSum_32f, values.data(), 1000, &result, hint), SrOk);
            EXPECT_EQ(result, sum_of(values, hint));
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
