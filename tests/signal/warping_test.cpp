// Dynamic time warping: the search, to the bit wherever the point distances are exact.
#include <gtest/gtest.h>

#include "signal/warping_calls.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

constexpr float kLargest = reference::kLargestSingle;

template <class Member>
class Warping : public testing::Test {};
using Members =
    testing::Types<Warp_32f_D2L, Warp_32f_D2, Warp_8u32s_D2L, Warp_8u32s_D2, Warp_16s32s_D2L, Warp_16s32s_D2>;
TYPED_TEST_SUITE(Warping, Members, WarpNames);

// Small integers: every sum of squares is exact, so the distance is one square root's rounding away from the
// truth.
template <class Member>
Rows<typename Member::Source> integer_rows(int height, int width, int high = 9)
{
    using T = typename Member::Source;
    Rows<T> rows(at(height), std::vector<T>(at(width)));
    for (auto& row : rows)
        for (T& value : row) value = static_cast<T>(uniform<int>(0, high));
    return rows;
}

template <class Member>
typename Member::Result expected_of(const Rows<typename Member::Source>& a, const Rows<typename Member::Source>& b,
                                    const WarpSetting& setting)
{
    return warp_result(reference::warp(as_singles(a), as_singles(b), setting.delta, setting.beam).distance,
                       setting.sf, static_cast<typename Member::Result*>(nullptr));
}

// ---- Against the reference ----------------------------------------------------------------------------------

TYPED_TEST(Warping, EveryPairOfHeights)
{
    Cycle<int> widths({1, 2, 3, 7, 8, 9, 13}), gaps({0, 1, 3, 16}), deltas({0, 1, 2, 3, 5, 8, 40, INT32_MAX});
    Cycle<float> beams({0.0F, -1.0F, 3.0F, 7.5F, 20.0F, 1e30F});
    Cycle<Placement> places_a(placements(sizeof(typename TypeParam::Source))),
        places_b(placements(sizeof(typename TypeParam::Source))), places(placements(4));
    places_b.next();
    Cycle<int> scales({0, -8, 2});
    const int highest = thin_effort() ? 9 : 24;
    for (int height_a = 1; height_a <= highest; ++height_a)
        for (int height_b = 1; height_b <= highest; ++height_b) {
            const auto a = integer_rows<TypeParam>(height_a, widths.next());
            const auto b = integer_rows<TypeParam>(height_b, static_cast<int>(a[0].size()));
            const WarpSetting setting{deltas.next(),   beams.next(),    scales.next(), gaps.next(),
                                      places_a.next(), places_b.next(), places.next()};
            ASSERT_TRUE(warps_to<TypeParam>(expected_of<TypeParam>(a, b, setting), a, b, setting))
                << height_a << " by " << height_b << " frames of " << a[0].size() << ", delta " << setting.delta
                << ", beam " << setting.beam << ", sf " << setting.sf << ", gap " << setting.gap;
        }
}

TYPED_TEST(Warping, EveryReachAndBeam)
{
    for (const auto& [height_a, height_b] : {std::pair{12, 20}, {20, 12}, {13, 13}, {9, 18}, {9, 17}, {11, 21}})
        for (int delta = 0; delta <= 14; ++delta)
            for (float beam : {0.0F, 1.0F, 2.0F, 4.0F, 8.0F, 16.0F, 1000.0F}) {
                if (thin_effort() && (delta % 4 > 1 || beam == 2 || beam == 8)) continue;
                const auto a = integer_rows<TypeParam>(height_a, 3), b = integer_rows<TypeParam>(height_b, 3);
                const WarpSetting setting{delta, beam, -10};
                ASSERT_TRUE(warps_to<TypeParam>(expected_of<TypeParam>(a, b, setting), a, b, setting))
                    << height_a << " by " << height_b << ", delta " << delta << ", beam " << beam;
            }
}

// One dimension and few values: many cells tie with the best, others lie exactly on the limit.
TYPED_TEST(Warping, CellsOnTheBeamsLimitSurvive)
{
    for (int round = 0; round < (thin_effort() ? 20 : 300); ++round) {
        const auto a = integer_rows<TypeParam>(uniform(2, 17), 1, 3),
                   b = integer_rows<TypeParam>(uniform(2, 17), 1, 3);
        const WarpSetting setting{uniform(0, 6), static_cast<float>(uniform(0, 4))};
        ASSERT_TRUE(warps_to<TypeParam>(expected_of<TypeParam>(a, b, setting), a, b, setting))
            << "round " << round;
    }
}

TYPED_TEST(Warping, EveryWidthAndAddress)
{
    using T = typename TypeParam::Source;
    const std::vector<Placement> all = placements(sizeof(T));
    std::size_t turn = 0;
    for (int width : lengths(16))
        for (std::size_t p = 0; p < all.size(); ++p) {
            const auto a = integer_rows<TypeParam>(4, width), b = integer_rows<TypeParam>(5, width);
            ++turn;
            const WarpSetting setting{
                2, 1e9F, -12, static_cast<int>(turn % 5), all[p], all[(p * 3 + turn) % all.size()]};
            ASSERT_TRUE(warps_to<TypeParam>(expected_of<TypeParam>(a, b, setting), a, b, setting))
                << "width " << width << ", " << describe(all[p]);
        }
}

// The order of a distance's sum shows in its last bits.
TYPED_TEST(Warping, ManyDigits)
{
    using T = typename TypeParam::Source;
    Cycle<T> limits(sizeof(T) == 1 ? std::vector<T>{T(255)} : std::vector<T>{T(100), T(32767)});
    for (int width : {1, 7, 8, 13, 16, 23, 40})
        for (int delta : {1, 3, 20}) {
            const T high = limits.next(), low = sizeof(T) == 1 ? T(0) : static_cast<T>(-high);
            const auto a = random_rows<T>(14, width, low, high), b = random_rows<T>(17, width, low, high);
            const WarpSetting setting{delta, uniform(0, 1) == 0 ? 1e9F : static_cast<float>(high)};
            ASSERT_TRUE(warps_to<TypeParam>(expected_of<TypeParam>(a, b, setting), a, b, setting))
                << "width " << width << ", delta " << delta;
        }
}

// Long enough for memory from the allocator in every part of it.
TYPED_TEST(Warping, LongSequences)
{
    for (const auto& [height_a, height_b] : {std::pair{128, 128},
                                             {127, 129},
                                             {300, 290},
                                             {200, 390},
                                             {124, 124},
                                             {125, 126},
                                             {260, 252},
                                             {513, 300}}) {
        if (thin_effort() && height_a > 130) continue;
        const auto a = integer_rows<TypeParam>(height_a, 2), b = integer_rows<TypeParam>(height_b, 2);
        for (const auto& [delta, beam] : {std::pair{10, 40.0F}, {1000, 1e30F}, {3, 5.0F}}) {
            const WarpSetting setting{delta, beam, 0, 1};
            ASSERT_TRUE(warps_to<TypeParam>(expected_of<TypeParam>(a, b, setting), a, b, setting))
                << height_a << " by " << height_b << ", delta " << delta;
        }
    }
}

// ---- By value -----------------------------------------------------------------------------------------------

template <class Member>
typename Member::Result distance_of(std::vector<int> a, std::vector<int> b, std::int32_t delta, float beam,
                                    std::int32_t sf = 0)
{
    using T = typename Member::Source;
    const std::vector<T> block_a(a.begin(), a.end()), block_b(b.begin(), b.end());
    std::vector<const T*> rows_a, rows_b;
    for (const T& value : block_a) rows_a.push_back(&value);
    for (const T& value : block_b) rows_b.push_back(&value);
    typename Member::Result distance = -1;
    const WarpArguments<T, typename Member::Result> arguments{block_a.data(),
                                                              block_b.data(),
                                                              rows_a.data(),
                                                              rows_b.data(),
                                                              static_cast<int>(a.size()),
                                                              static_cast<int>(b.size()),
                                                              1,
                                                              1,
                                                              &distance,
                                                              delta,
                                                              beam,
                                                              sf};
    EXPECT_EQ(Member::call([](auto function, auto... given) { return function(given...); }, arguments), SrOk);
    return distance;
}

template <class Member>
typename Member::Result largest()
{
    if constexpr (std::is_same_v<typename Member::Result, float>)
        return kLargest;
    else
        return INT32_MAX;
}

TYPED_TEST(Warping, ByValue)
{
    EXPECT_EQ(distance_of<TypeParam>({1, 5, 9}, {1, 5, 9}, 1, 100), 0);
    EXPECT_EQ(distance_of<TypeParam>({1, 5, 9}, {2, 6, 10}, 0, 100), 3);
    EXPECT_EQ(distance_of<TypeParam>({3, 4}, {6, 8}, 1, 100), 5);  // |3 - 6| + |4 - 6|; |3 - 6| + |4 - 8| is more
    EXPECT_EQ(distance_of<TypeParam>({10, 20}, {20}, 0, 100), 10);
    EXPECT_EQ(distance_of<TypeParam>({20}, {10, 20}, 0, 100), 10);
}

TYPED_TEST(Warping, OneFrameEachGivesTheLargestValue)
{
    EXPECT_EQ(distance_of<TypeParam>({5}, {5}, 0, 100), largest<TypeParam>());
    EXPECT_EQ(distance_of<TypeParam>({5}, {5}, 7, 0), largest<TypeParam>());
}

TYPED_TEST(Warping, ASequenceAgainstItselfGivesZero)
{
    for (int height : {2, 3, 4, 5, 8, 9, 33, 150}) {
        const auto a = integer_rows<TypeParam>(height, 5);
        EXPECT_TRUE((warps_to<TypeParam>(0, a, a, {height / 4 + 1, 1e6F}))) << height;
        EXPECT_TRUE((warps_to<TypeParam>(0, a, a, {2, 0.0F}))) << height;
    }
}

TYPED_TEST(Warping, AnEmptyBandGivesTheLargestValue)
{
    for (const auto& [height_a, height_b] : {std::pair{2, 12}, {12, 2}, {1, 3}, {3, 1}, {1, 400}, {10, 64}}) {
        const auto a = integer_rows<TypeParam>(height_a, 2), b = integer_rows<TypeParam>(height_b, 2);
        ASSERT_TRUE(reference::warp(as_singles(a), as_singles(b), 1, 1e9F).emptied);
        EXPECT_TRUE((warps_to<TypeParam>(largest<TypeParam>(), a, b, {1, 1e9F})))
            << height_a << " by " << height_b;
    }
}

// The least of the last row's active cells, not its last column's: an unfinished path may win.
TYPED_TEST(Warping, TheResultIsTheBestCellOfTheLastRow)
{
    EXPECT_EQ(distance_of<TypeParam>({0, 0, 0, 0}, {0, 0, 0, 90}, 3, 1000), 0);
}

TYPED_TEST(Warping, AReachBeyondTheSequenceIsCutToIt)
{
    const auto a = integer_rows<TypeParam>(9, 2), b = integer_rows<TypeParam>(11, 2);
    const auto expected = expected_of<TypeParam>(a, b, {8, 1e9F, -4});
    for (int delta : {8, 9, 10, 11, 12, 100, INT32_MAX})
        EXPECT_TRUE((warps_to<TypeParam>(expected, a, b, {delta, 1e9F, -4})));
}

TYPED_TEST(Warping, ANegativeBeamAndNotANumberAreZero)
{
    for (int round = 0; round < 20; ++round) {
        const auto a = integer_rows<TypeParam>(9, 2), b = integer_rows<TypeParam>(11, 2);
        const auto expected = expected_of<TypeParam>(a, b, {4, 0.0F});
        for (float beam : {0.0F, -0.0F, -1.0F, -1e30F, -std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::quiet_NaN()})
            EXPECT_TRUE((warps_to<TypeParam>(expected, a, b, {4, beam}))) << beam;
    }
}

// With equal heights the sequences' parts differ: the second may skip frames, the first may not.
TYPED_TEST(Warping, WithEqualHeightsTheFirstIsTheOneThatIsWalked)
{
    EXPECT_EQ(distance_of<TypeParam>({0, 100, 100}, {0, 50, 100}, 2, 1000), 0);
    EXPECT_EQ(distance_of<TypeParam>({0, 50, 100}, {0, 100, 100}, 2, 1000), 0 + 50 + 0);
}

// With a beam of 0, too, cells within the smallest difference from 1 survive.
TEST(Warping_32f, ABeamOfZeroKeepsWhatLiesWithinAnEpsilonOfTheBest)
{
    for (const auto& [offset, expected] :
         {std::pair{1e-7F, 1e-7F}, {1.1920929e-7F, 1.1920929e-7F}, {1.3e-7F, 2.0F}}) {
        const std::vector<float> a = {0, 0, 7, 7}, b = {0, offset, 5, 7};
        float distance = -1;
        EXPECT_EQ(zelsDTW_L2_32f_D2(a.data(), 4, b.data(), 4, 1, 1, &distance, 3, 0), SrOk);
        EXPECT_EQ(distance, expected) << offset;
    }
}

TYPED_TEST(Warping, ANegativeReachLeavesNoColumn)
{
    const auto a = integer_rows<TypeParam>(9, 2), b = integer_rows<TypeParam>(11, 2);
    const std::vector<typename TypeParam::Source> block_a = block_of(a, 2), block_b = block_of(b, 2);
    for (int delta : {-1, -2, -3, -5, -9, -20, -1000, INT32_MIN + 1, INT32_MIN}) {
        Guarded<typename TypeParam::Source> guarded_a(block_a), guarded_b(block_b);
        std::vector<const typename TypeParam::Source*> rows_a, rows_b;
        for (int r = 0; r < 9; ++r) rows_a.push_back(guarded_a.data() + 2 * r);
        for (int r = 0; r < 11; ++r) rows_b.push_back(guarded_b.data() + 2 * r);
        Guarded<typename TypeParam::Result> distance(1);
        const WarpArguments<typename TypeParam::Source, typename TypeParam::Result> arguments{guarded_a.data(),
                                                                                              guarded_b.data(),
                                                                                              rows_a.data(),
                                                                                              rows_b.data(),
                                                                                              9,
                                                                                              11,
                                                                                              2,
                                                                                              2,
                                                                                              distance.data(),
                                                                                              delta,
                                                                                              1e9F,
                                                                                              0};
        EXPECT_EQ(TypeParam::call([](auto function, auto... given) { return function(given...); }, arguments),
                  SrOk);
        EXPECT_TRUE(distance.intact()) << delta;
        EXPECT_EQ(distance.get(0), largest<TypeParam>()) << delta;
    }
}

// An infinite distance, or one that is not a number, bars its column; where all are barred the search ends.
TEST(Warping_32f, InfinitiesAndNotANumber)
{
    const float infinity = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const auto distance = [](const std::vector<float>& a, const std::vector<float>& b) {
        float result = -1;
        EXPECT_EQ(zelsDTW_L2_32f_D2(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()), 1,
                                    1, &result, 9, 1000),
                  SrOk);
        return result;
    };
    for (float bad : {infinity, -infinity, nan, 3e38F}) {
        EXPECT_EQ(distance({bad, 1, 2}, {0, 1, 2}), kLargest) << bad;
        EXPECT_EQ(distance({0, bad, 2}, {0, 1, 2}), kLargest) << bad;
        EXPECT_EQ(distance({0, 1, bad}, {0, 1, 2}), kLargest) << bad;
        EXPECT_EQ(distance({0, 1, 2}, {0, bad, 2}), 1) << bad;  // stays on the first, skips the second
        EXPECT_EQ(distance({0, 1, 2, 3, 3, 3, 3}, {0, 1, 2, bad, 3, 3, 3}), 0) << bad;
    }
}

// The largest single is scaled like any other result.
TEST(Warping_16s, TheLargestSingleUnderAScaleFactor)
{
    const int16_t frame = 5;
    for (const auto& [sf, expected] : {std::pair{0, INT32_MAX},
                                       {96, INT32_MAX},
                                       {97, 2147483520},
                                       {98, 1073741760},
                                       {127, 2},
                                       {128, 1},
                                       {129, 0},
                                       {-1, INT32_MAX},
                                       {INT32_MIN, INT32_MAX}}) {
        int32_t distance = 77;
        EXPECT_EQ(zelsDTW_L2Low_16s32s_D2Sfs(&frame, 1, &frame, 1, 1, 1, &distance, 0, 0, sf), SrOk);
        EXPECT_EQ(distance, expected) << sf;
    }
}

// 2 * ((n + 8) & ~3) + 2 * ((m + 3) & ~3) up to 512 singles lie on the stack, and 2048 bytes of row pointers.
TEST(Warping_32f, SmallCallsAskForNoMemory)
{
    const std::vector<float> block(130, 1);
    const auto requests = [&](int height_a, int height_b) {
        float distance;
        AllocatorWatch watch;
        EXPECT_EQ(zelsDTW_L2_32f_D2(block.data(), height_a, block.data(), height_b, 1, 1, &distance, 3, 1), SrOk);
        return watch.requests();
    };
    EXPECT_EQ(requests(120, 132 - 4), 0);
    EXPECT_EQ(requests(123, 128), 0);
    EXPECT_GT(requests(124, 128), 0);
    EXPECT_GT(requests(124, 125), 0);
    EXPECT_EQ(requests(1, 1), 0);
}

// ---- The frame of a call ------------------------------------------------------------------------------------

TYPED_TEST(Warping, NullIsCheckedBeforeSizes)
{
    using Arguments = WarpArguments<typename TypeParam::Source, typename TypeParam::Result>;
    const std::vector<typename TypeParam::Source> block(64, 1);
    const std::vector<const typename TypeParam::Source*> rows(8, block.data());
    Guarded<typename TypeParam::Result> distance(1);
    std::vector<Fault<Arguments>> faults = {
        {"null a", SrErrNullPtr, [](Arguments& a) { a.a = nullptr, a.rows_a = nullptr; }},
        {"null b", SrErrNullPtr, [](Arguments& a) { a.b = nullptr, a.rows_b = nullptr; }},
        {"null distance", SrErrNullPtr, [](Arguments& a) { a.distance = nullptr; }},
        {"height a 0", SrErrSize, [](Arguments& a) { a.height_a = 0; }},
        {"height a lowest", SrErrSize, [](Arguments& a) { a.height_a = INT32_MIN; }},
        {"height b 0", SrErrSize, [](Arguments& a) { a.height_b = 0; }},
        {"height b -1", SrErrSize, [](Arguments& a) { a.height_b = -1; }},
        {"width 0", SrErrSize, [](Arguments& a) { a.width = 0; }},
        {"width lowest", SrErrSize, [](Arguments& a) { a.width = INT32_MIN; }}};
    if (!TypeParam::list) {
        faults.push_back({"step below width", SrErrSize, [](Arguments& a) { a.step = 7; }});
        faults.push_back({"lowest step", SrErrSize, [](Arguments& a) { a.step = INT32_MIN; }});
    }
    expect_check_order<Arguments>(
        {block.data(), block.data(), rows.data(), rows.data(), 8, 8, 8, 8, distance.data(), 2, 1, 0}, faults,
        [](const Arguments& a) {
            return TypeParam::call([](auto function, auto... given) { return function(given...); }, a);
        },
        {&distance});
}

TYPED_TEST(Warping, EveryBlockRefused)
{
    using T = typename TypeParam::Source;
    constexpr int height = 600;
    const std::vector<T> block(height, 3);
    std::vector<const T*> rows;
    for (const T& value : block) rows.push_back(&value);
    Guarded<typename TypeParam::Result> distance(1);
    expect_survives_refusals(
        [&] {
            return TypeParam::call([](auto function, auto... given) { return function(given...); },
                                   {block.data(), block.data(), rows.data(), rows.data(), height, height, 1, 1,
                                    distance.data(), 4, 1, 0});
        },
        {&distance});
}

template <class Member>
class IntegerWarping : public testing::Test {};
using IntegerMembers = testing::Types<Warp_8u32s_D2L, Warp_8u32s_D2, Warp_16s32s_D2L, Warp_16s32s_D2>;
TYPED_TEST_SUITE(IntegerWarping, IntegerMembers, WarpNames);

TYPED_TEST(IntegerWarping, DoesNotDependOnTheEnvironment)
{
    using T = typename TypeParam::Source;
    constexpr int width = 13;
    const auto a = random_rows<T>(14, width, T(0), T(100)), b = random_rows<T>(17, width, T(0), T(100));
    const std::vector<T> block_a = block_of(a, width), block_b = block_of(b, width);
    std::vector<const T*> rows_a, rows_b;
    for (const auto& row : a) rows_a.push_back(row.data());
    for (const auto& row : b) rows_b.push_back(row.data());
    std::int32_t distance = -1;
    const WarpArguments<T, std::int32_t> arguments{
        block_a.data(), block_b.data(), rows_a.data(), rows_b.data(), 14, 17, width, width, &distance, 4, 60, -12};
    under_each_environment(
        [&] { TypeParam::call([](auto function, auto... given) { return function(given...); }, arguments); },
        [&](const std::string& setting) {
            EXPECT_EQ(distance, (expected_of<TypeParam>(a, b, {4, 60, -12}))) << setting;
            distance = -1;
        });
}

#ifdef __i386__
TYPED_TEST(Warping, WorksFromEveryStack)
{
    using T = typename TypeParam::Source;
    const auto a = integer_rows<TypeParam>(40, 13), b = integer_rows<TypeParam>(44, 13);
    const std::vector<T> block_a = block_of(a, 13), block_b = block_of(b, 13);
    std::vector<const T*> rows_a, rows_b;
    for (const auto& row : a) rows_a.push_back(row.data());
    for (const auto& row : b) rows_b.push_back(row.data());
    for (int misalign : {0, 4, 8, 12}) {
        typename TypeParam::Result distance = -1;
        EXPECT_EQ(TypeParam::call(
                      [&](auto function, auto... given) { return call_misaligned(function, misalign, given...); },
                      {block_a.data(), block_b.data(), rows_a.data(), rows_b.data(), 40, 44, 13, 13, &distance, 9,
                       1e6F, -3}),
                  SrOk);
        EXPECT_EQ(distance, expected_of<TypeParam>(a, b, {9, 1e6F, -3})) << misalign;
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
