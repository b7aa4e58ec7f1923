// What the four searches for a period have in common: results at every address, checks, memory and environment.
#include <gtest/gtest.h>

#include <cmath>

#include "noise/periodicity_members.h"
#include "support/environment.h"
#include "support/hooks.h"

namespace zelsr::test {
namespace {

template <class Member>
class Periodicity : public testing::Test {};
using Members = testing::Types<Lspe_32f, Lspe_16s, Comb_32f, Comb_32s16s>;
TYPED_TEST_SUITE(Periodicity, Members, PeriodicityNames);

TYPED_TEST(Periodicity, EveryLengthAndAddress)
{
    std::vector<int> some;
    for (int length = TypeParam::kLowestPeriod + 2; length <= TypeParam::kLongestOfSweep; ++length)
        some.push_back(length);
    for (int length : {128, 160, 255}) some.push_back(length);
    at_every_place<3>(some, {sizeof(typename TypeParam::T), sizeof(typename TypeParam::Measure), 4},
                      [](int length, const std::array<Placement, 3>& at) {
                          const int least = uniform(TypeParam::lowest_period(length), length - 2);
                          const int greatest = uniform(least + 1, std::min(length - 1, least + 100));
                          return finds_period<TypeParam>(sequence_for<TypeParam>(length), greatest, least, at);
                      });
}

TYPED_TEST(Periodicity, RandomSearches)
{
    using T = typename TypeParam::T;
    const double least_exponent = std::is_same_v<T, float> ? -30 : 0;
    for (int turn = 0; turn < TypeParam::kRandomTurns / (thin_effort() ? 15 : 1); ++turn) {
        const int length = uniform(TypeParam::kLowestPeriod + 2,
                                   turn % 20 == 0 ? TypeParam::kRandomLongest : TypeParam::kRandomLength);
        const int lowest = TypeParam::lowest_period(length);
        const int least = uniform(lowest, turn % 4 < 2 ? length - 2 : std::min(length - 2, lowest + 7));
        const int greatest = uniform(least + 1, length - 1);
        const double size = std::exp2(uniform(least_exponent, TypeParam::kLargestExponent));
        const std::vector<T> x = periodic<T>(length, size, TypeParam::kNegative && turn % 2 == 0);
        ASSERT_TRUE(finds_period<TypeParam>(x, greatest, least)) << "size " << size;
    }
}

TYPED_TEST(Periodicity, ChecksNullThenPeriodsThenLength) { expect_period_checks<TypeParam>(); }

TYPED_TEST(Periodicity, TakesNoMemory)
{
    const AllocatorWatch watch;
    EXPECT_EQ(search<TypeParam>(std::vector<typename TypeParam::T>(1000), 70, 64).status, SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

TYPED_TEST(Periodicity, IsTheSameInEachEnvironment)
{
    const auto x = sequence_for<TypeParam>(90);
    const auto expected = TypeParam::kReference(x, 30, 6);
    Found<TypeParam> found{};
    under_each_environment([&] { found = search<TypeParam>(x, 30, 6); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(found.status, SrOk);
                               EXPECT_EQ(found.measure, expected.measure) << setting;
                               EXPECT_EQ(found.period, expected.period) << setting;
                           });
}

#ifdef __i386__
TYPED_TEST(Periodicity, RunsOnAnyStack)
{
    const auto x = sequence_for<TypeParam>(90);
    const auto expected = TypeParam::kReference(x, 30, 6);
    for (int misalign : {0, 4, 8, 12}) {
        typename TypeParam::Measure measure = -1;
        int32_t period = -1;
        EXPECT_EQ(call_misaligned(TypeParam::kCall, misalign, x.data(), 90, &measure, &period, 30, 6), SrOk);
        EXPECT_EQ(measure, expected.measure);
        EXPECT_EQ(period, expected.period);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
