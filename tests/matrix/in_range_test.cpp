// Vectors mapped between two fractions of their span.
#include <gtest/gtest.h>

#include "matrix/in_range_members.h"

namespace zelsr::test {
namespace {

TYPED_TEST_SUITE(NormalizeInRange, Pairs, TypesName);

TYPED_TEST(NormalizeInRange, EveryLengthAndPlacement)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    this->for_members([](const Member<S, R>& m) {
        at_every_place<2>(lengths(16), {sizeof(S), sizeof(R)}, [&](int length, const auto& places) {
            return maps_in_range(m, random_source<S>(length), random_constants<S, R>(), places[0], places[1]);
        });
        for (int length = 1; length < 100; ++length)
            ASSERT_TRUE(maps_in_range(m, random_source<S>(length), random_constants<S, R>()));
    });
}

// At every position: the lowest and the highest value are found wherever they stand.
TYPED_TEST(NormalizeInRange, TheExtremesMayStandAnywhere)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    this->for_members([](const Member<S, R>& m) {
        for (int length : {2, 3, 7, 8, 9, 17, 35})
            for (int at = 0; at < length; ++at)
                for (int misalign : {0, static_cast<int>(sizeof(S))}) {
                    std::vector<S> src = uniform_vector<S>(length, 10, 50);
                    src[static_cast<std::size_t>(at)] = 5;
                    src[static_cast<std::size_t>((at + 1) % length)] = 60;
                    ASSERT_TRUE(maps_in_range(m, src, random_constants<S, R>(), {misalign}));
                }
    });
}

TYPED_TEST(NormalizeInRange, SpecialValues)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    this->for_members([](const Member<S, R>& m) {
        const std::vector<S> special = special_values<S>();
        for (int i = 0; i < (thin_effort() ? 40 : 300); ++i) {
            Constants<S, R> c = random_constants<S, R>();
            if (generator()() % 2 == 0) {
                c.lowest = special[generator()() % special.size()];
                c.highest = special[generator()() % special.size()];
                if (!(c.lowest <= c.highest)) std::swap(c.lowest, c.highest);
                if (!(c.lowest <= c.highest)) c.lowest = c.highest = S(1);
            }
            std::vector<S> src = random_source<S>(1 + i % 23);
            for (S& x : src)
                if (generator()() % 3 == 0) x = special[generator()() % special.size()];
            ASSERT_TRUE(maps_in_range(m, src, c, {i % 2 * static_cast<int>(sizeof(S))}));
        }
    });
}

TYPED_TEST(NormalizeInRange, AnyRange)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    this->for_members([](const Member<S, R>& m) {
        for (R range : special_values<R>()) {
            if (!(range >= R(0))) continue;
            for (int length : {3, 8, 21}) {
                Constants<S, R> c = random_constants<S, R>();
                c.range = range;
                ASSERT_TRUE(maps_in_range(m, random_source<S>(length), c));
            }
        }
    });
}

// Halves go to even.
TYPED_TEST(NormalizeInRange, IntegersAreRoundedToEven)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    this->for_members([](const Member<S, R>& m) {
        if (!std::is_integral_v<R>) return;
        std::vector<S> src;
        for (int x = 0; x <= 128; ++x) src.push_back(static_cast<S>(x));
        const Constants<S, R> c{S(0), S(128), 0, 1, R(64)};
        Guarded<R> dst(src.size());
        fill_if_in_place(m, dst, src);
        EXPECT_EQ(m.call({src.data(), dst.data(), 129, c.lowest, c.highest, 0, 1, c.range}), SrOk);
        for (int x = 0; x <= 128; ++x)
            EXPECT_EQ(dst.get(static_cast<std::size_t>(x)), x / 2 + (x % 4 == 3 ? 1 : 0)) << x / 2.0;
    });
}

TYPED_TEST(NormalizeInRange, AnEmptySpanStoresZerosAndWarns)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    this->for_members([](const Member<S, R>& m) {
        for (int length : {1, 3, 16, 33})
            for (int misalign : {0, static_cast<int>(sizeof(R)), 3}) {
                Constants<S, R> c = random_constants<S, R>();
                c.highest = c.lowest;
                EXPECT_TRUE(
                    maps_in_range(m, std::vector<S>(static_cast<std::size_t>(length), S(7)), c, {}, {misalign}));
                if (!m.min_max) continue;
                EXPECT_TRUE(maps_in_range(m, random_source<S>(length), c, {}, {misalign}));
                if (m.in_place) continue;
                const Guarded<S> nothing(0);  // its address is the forbidden page's
                Guarded<R> dst(static_cast<std::size_t>(length), {misalign});
                EXPECT_EQ(m.call({nothing.data(), dst.data(), length, c.lowest, c.lowest, c.low, c.high, c.range}),
                          SrWarnInvZero)
                    << "the source is not read";
                EXPECT_EQ(dst.values(), std::vector<R>(static_cast<std::size_t>(length), R(0)));
            }
    });
}

TEST(NormalizeInRange_32f, ByHand)
{
    const std::vector<float> x = {2, 4, 3, 6, 2.5F, 10};
    std::vector<float> y(6);
    EXPECT_EQ(zelsNormalizeInRange_32f(x.data(), y.data(), 6, 0, 1, 1), SrOk);
    EXPECT_EQ(y, (std::vector<float>{0, 0.25F, 0.125F, 0.5F, 0.0625F, 1}));
    EXPECT_EQ(zelsNormalizeInRange_32f(x.data(), y.data(), 6, 0.25F, 0.5F, 8), SrOk);
    EXPECT_EQ(y, (std::vector<float>{0, 0, 0, 8, 0, 8}));  // from 4 to 6
    EXPECT_EQ(zelsNormalizeInRangeMinMax_32f(x.data(), y.data(), 6, 0, 4, 0.5F, 1, 2), SrOk);
    EXPECT_EQ(y, (std::vector<float>{0, 2, 1, 2, 0.5F, 2}));  // from 2 to 4
}

// Not a number passes through the test at the top as top itself: wanted.
TEST(NormalizeInRange_32f, ANotNumberYieldsTheRange)
{
    const std::vector<float> x = {0, NAN, 8, -NAN, 2, NAN, NAN, NAN, NAN};
    std::vector<float> y(9);
    EXPECT_EQ(zelsNormalizeInRange_32f(x.data(), y.data(), 9, 0, 1, 16), SrOk);
    EXPECT_EQ(y, (std::vector<float>{0, 16, 16, 16, 4, 16, 16, 16, 16}));
    std::vector<int16_t> z(9);
    EXPECT_EQ(zelsNormalizeInRangeMinMax_32f16s(x.data(), z.data(), 9, 0, 4, 0, 1, 16), SrOk);
    EXPECT_EQ(z, (std::vector<int16_t>{0, 16, 16, 16, 8, 16, 16, 16, 16}));
}

}  // namespace
}  // namespace zelsr::test
