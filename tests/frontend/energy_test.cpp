// Energy tracks against their maximum.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/odd_stack.h"
#include "support/reference/energy.h"
#include "zelsr/frontend/energy.h"

namespace zelsr::test {
namespace {

template <class T>
struct Arguments {
    T* column;
    int32_t step, height;
    T silence_floor, highest, unit;  // highest in real time, unit in 16 bits
    float scale;
};

template <class T>
struct Member {
    const char* name;
    bool real_time;
    SrStatus (*call)(const Arguments<T>&);
};
std::vector<Member<float>> members(float)
{
    using A = Arguments<float>;
    return {{"NormEnergy_32f", false,
             [](const A& a) { return zelsNormEnergy_32f(a.column, a.step, a.height, a.silence_floor, a.scale); }},
            {"NormEnergy_RT_32f", true, [](const A& a) {
                 return zelsNormEnergy_RT_32f(a.column, a.step, a.height, a.silence_floor, a.highest, a.scale);
             }}};
}
std::vector<Member<int16_t>> members(int16_t)
{
    using A = Arguments<int16_t>;
    return {{"NormEnergy_16s", false,
             [](const A& a) {
                 return zelsNormEnergy_16s(a.column, a.step, a.height, a.silence_floor, a.unit, a.scale);
             }},
            {"NormEnergy_RT_16s", true, [](const A& a) {
                 return zelsNormEnergy_RT_16s(a.column, a.step, a.height, a.silence_floor, a.highest, a.unit,
                                              a.scale);
             }}};
}

template <class T>
class NormEnergy : public testing::Test {};
struct TypeNames {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "16s";
    }
};
using Types = testing::Types<float, int16_t>;
TYPED_TEST_SUITE(NormEnergy, Types, TypeNames);

template <class T>
struct Track {
    std::vector<T> energies;
    T silence_floor, highest, unit;
    float scale;

    Arguments<T> arguments(T* column, int32_t step) const
    {
        return {column, step, static_cast<int32_t>(energies.size()), silence_floor, highest, unit, scale};
    }
};

std::vector<float> expected(const Member<float>& m, const Track<float>& t)
{
    const float highest = m.real_time ? t.highest : reference::highest(t.energies);
    return reference::normalized_energy(t.energies, t.silence_floor, highest, t.scale);
}
std::vector<int16_t> expected(const Member<int16_t>& m, const Track<int16_t>& t)
{
    const int16_t highest = m.real_time ? t.highest : reference::highest(t.energies);
    return reference::normalized_energy(t.energies, t.silence_floor, highest, t.unit, t.scale, !m.real_time);
}

// The column alone is written, not the words between its elements.
template <class T>
testing::AssertionResult normalizes(const Member<T>& m, const Track<T>& t, int32_t step, Placement place = {})
{
    const auto all = [&](const std::vector<T>& column) {
        std::vector<T> block;
        for (T x : column) {
            while (block.size() % static_cast<std::size_t>(step) != 0) block.push_back(T(77));
            block.push_back(x);
        }
        return block;
    };
    const Guarded<T> column(all(t.energies), place);
    const SrStatus status = m.call(t.arguments(column.data(), step));
    testing::AssertionResult right = same_values(all(expected(m, t)), column.values());
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!column.intact()) right = testing::AssertionFailure() << "written beside the column";
    if (right) return right;
    return testing::AssertionFailure() << m.name << ", height " << t.energies.size() << ", step " << step
                                       << ", scale " << t.scale << ", " << describe(place) << ": "
                                       << right.message();
}

Track<float> random_track(float, int height)
{
    return {uniform_vector(height, -5.0F, 25.0F), uniform(0.0F, 100.0F), uniform(10.0F, 30.0F), 0,
            uniform(0.01F, 1.5F)};
}
// Scales on both sides of 1.001 in turn.
Track<int16_t> random_track(int16_t, int height)
{
    return {uniform_vector<int16_t>(height, -500, 2500), uniform<int16_t>(0, 9000), uniform<int16_t>(1000, 3000),
            uniform<int16_t>(1, 4096), height % 3 == 2 ? uniform(1.001F, 3.0F) : uniform(0.01F, 1.0F)};
}

TYPED_TEST(NormEnergy, EveryHeightStepAndAddress)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T()))
        for (int height = 1; height <= 70; height += thin_effort() ? 9 : 1)
            for (int step : {1, 2, 3, 13, 16})
                for (const Placement& place : placements(sizeof(T)))
                    ASSERT_TRUE(normalizes(m, random_track(T(), height), step, place));
}

// The maximum is found wherever it is, zero or not a number above it or not.
TYPED_TEST(NormEnergy, TheMaximumMayLieAnywhereAndBelowZero)
{
    using T = TypeParam;
    const Member<T> m = members(T())[0];
    for (int height : {1, 2, 4, 5, 15, 16, 17, 31, 40})
        for (int step : {1, 2})
            for (int position = 0; position < height; ++position) {
                Track<T> t = random_track(T(), height);
                for (T& x : t.energies) x = T(-300) - T(generator()() % 100);
                t.energies[static_cast<std::size_t>(position)] = T(-20);
                ASSERT_TRUE(normalizes(m, t, step)) << "maximum in row " << position;
            }
}

TYPED_TEST(NormEnergy, TallColumns)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T()))
        for (int height : {1016, 1023, 1024, 1025, 1026, 1027, 1033, 2000, 5001})
            for (int step : {1, 3}) ASSERT_TRUE(normalizes(m, random_track(T(), height), step, Placement{2}));
}

// The whole range of values and scales.
TYPED_TEST(NormEnergy, AnyValues)
{
    using T = TypeParam;
    const std::vector<T> special = special_values<T>();
    for (const Member<T>& m : members(T()))
        for (int turn = 0; turn < (thin_effort() ? 50 : 1000); ++turn) {
            Track<T> t = random_track(T(), uniform(1, 40));
            for (T* x : {&t.silence_floor, &t.highest, &t.unit})
                if (generator()() % 2 == 0) {
                    if constexpr (std::is_same_v<T, float>)
                        *x = uniform(-1e4F, 1e4F);
                    else
                        *x = uniform<T>(INT16_MIN, INT16_MAX);
                }
            for (T& x : t.energies) {
                if constexpr (std::is_same_v<T, int16_t>)
                    if (turn % 3 == 0) x = uniform<T>(INT16_MIN, INT16_MAX);
                if (generator()() % 8 == 0) x = special[generator()() % special.size()];
            }
            if (turn % 2 == 0) t.scale = uniform(-40.0F, 40.0F);
            if (turn % 7 == 0) t.scale = 0;
            if (turn % 11 == 0) t.silence_floor = special[generator()() % special.size()];
            ASSERT_TRUE(normalizes(m, t, turn % 4 + 1));
        }
}

TEST(NormEnergySingle, TheMaximumMapsToOne)
{
    for (int turn = 0; turn < 100; ++turn) {
        Track<float> t = random_track(0.0F, 20);
        t.energies[7] = 26;
        std::vector<float> column = t.energies;
        ASSERT_EQ(zelsNormEnergy_32f(column.data(), 1, 20, t.silence_floor, t.scale), SrOk);
        EXPECT_EQ(column[7], 1.0F);
        for (float x : column) EXPECT_LE(x, 1.0F);
        ASSERT_EQ(zelsNormEnergy_32f(column.data(), 1, 20, 0, t.scale), SrOk);
        EXPECT_EQ(column, std::vector<float>(20, 1.0F)) << "a floor 0 below the maximum";
    }
}

TEST(NormEnergySingle, ByValue)
{
    // 50 dB are 11.51295 nepers.
    std::vector<float> column = {20, 10, -1, 8.5F};
    ASSERT_EQ(zelsNormEnergy_32f(column.data(), 1, 4, 50, 0.1F), SrOk);
    EXPECT_EQ(column[0], 1.0F);
    EXPECT_FLOAT_EQ(column[1], 0.0F);
    EXPECT_NEAR(column[2], 1 - 1.151295F, 1e-6);
    EXPECT_EQ(column[2], 1.0F - (20.0F - (20.0F - 50.0F * 0.230259F)) * 0.1F);
    EXPECT_FLOAT_EQ(column[3], 1 - 1.15F);
    column = {20, 30};
    ASSERT_EQ(zelsNormEnergy_RT_32f(column.data(), 1, 2, 50, 25, 0.1F), SrOk);
    EXPECT_FLOAT_EQ(column[0], 0.5F);
    EXPECT_FLOAT_EQ(column[1], 1.5F) << "above the given maximum";
}

TEST(NormEnergySingle, NotANumberIsTheFloor)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (std::size_t position : {0, 1, 4, 5, 17}) {
        std::vector<float> column(18, 3.0F);
        column[2] = 4;
        column[position] = nan;
        ASSERT_EQ(zelsNormEnergy_32f(column.data(), 1, 18, 10, 1), SrOk);
        for (std::size_t r = 0; r < 18; ++r)
            EXPECT_EQ(column[r], r == position ? 1 - (4 - (4 - 10 * 0.230259F)) : r == 2 ? 1.0F : 0.0F) << r;
    }
}

// --- 16 bits ---

std::vector<int16_t> normalized(std::vector<int16_t> column, int16_t silence_floor, int16_t unit, float scale)
{
    EXPECT_EQ(
        zelsNormEnergy_16s(column.data(), 1, static_cast<int32_t>(column.size()), silence_floor, unit, scale),
        SrOk);
    return column;
}
std::vector<int16_t> normalized_rt(std::vector<int16_t> column, int16_t silence_floor, int16_t highest,
                                   int16_t unit, float scale)
{
    EXPECT_EQ(zelsNormEnergy_RT_16s(column.data(), 1, static_cast<int32_t>(column.size()), silence_floor, highest,
                                    unit, scale),
              SrOk);
    return column;
}

// 0.7004 in Q10 is 717, less than itself: of 3000, 2100 and 2101 remain.
TEST(NormEnergyFixed, FastFormFromHeight11)
{
    for (int height : {8, 10, 11, 12, 16, 40}) {
        std::vector<int16_t> column(static_cast<std::size_t>(height), 1000);
        column[0] = 4000;
        const std::vector<int16_t> result = normalized(column, 32767, 0, 0.7004F);
        EXPECT_EQ(result[1], height < 11 ? -2101 : -2100) << height;
        EXPECT_EQ(normalized_rt(column, 32767, 4000, 0, 0.7004F)[1], -2100) << "whatever the height " << height;
    }
}

TEST(NormEnergyFixed, TheLastRowsOfTheFastFormArePlain)
{
    for (int height : {1, 2, 3, 4, 5, 7, 11, 13, 18, 19, 20, 23, 39}) {
        std::vector<int16_t> column(static_cast<std::size_t>(height), 1000);
        const std::vector<int16_t> result = normalized_rt(column, 32767, 4000, 0, 0.7004F);
        for (int r = 0; r < height; ++r)
            EXPECT_EQ(result[static_cast<std::size_t>(r)], r < height / 4 * 4 ? -2100 : -2101)
                << r << " of " << height;
        if (height >= 11) {
            column[0] = 4000;
            EXPECT_EQ(normalized(column, 32767, 0, 0.7004F).back(), height % 4 == 0 ? -2100 : -2101) << height;
        }
    }
}

// 1.001 in Q10 is 1025: of 5000 it makes 5004, single precision 5005.
TEST(NormEnergyFixed, PlainFormFrom1_001)
{
    std::vector<int16_t> column(16, 0);
    column[0] = 5000;
    const float below = std::nextafter(1.001F, 0.0F);
    EXPECT_EQ(normalized(column, 32767, 0, below)[1], -5004);
    EXPECT_EQ(normalized(column, 32767, 0, 1.001F)[1], -5005);
    EXPECT_EQ(normalized(column, 32767, 0, 1.0F)[1], -5000);
    EXPECT_EQ(normalized_rt(column, 32767, 5000, 0, below)[1], -5004);
    EXPECT_EQ(normalized_rt(column, 32767, 5000, 0, 1.001F)[1], -5005);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(normalized(column, 32767, 5, nan), std::vector<int16_t>(16, 5)) << "fast, with a factor of 0";
}

// 4000 - 10 * 0.230259 is 3997.69741.
TEST(NormEnergyFixed, TheFastFormRoundsItsFloor)
{
    std::vector<int16_t> column(8, 0);
    EXPECT_EQ(normalized_rt(column, 10, 4000, 100, 1.0F)[0], 100 - 2);
    EXPECT_EQ(normalized_rt(column, 10, 4000, 100, 1.0F)[7], 100 - 2);
    EXPECT_EQ(normalized_rt(column, 10, 4000, 0, 10.0F)[0], -23) << "the plain form does not";
    // -2 - 10 * 0.230259 is -4.30259: towards -4.
    EXPECT_EQ(normalized_rt(std::vector<int16_t>(8, -300), 10, -2, 100, 1.0F)[0], 100 - 2);
    // 2 - 10 * 0.230259 is -0.30259.
    EXPECT_EQ(normalized_rt(std::vector<int16_t>(8, -300), 10, 2, 100, 1.0F)[0], 100 - 2);
    // The rest of fewer than four takes the rounded floor too.
    EXPECT_EQ(normalized_rt(std::vector<int16_t>(1, 0), 10, 4000, 100, 1.0F)[0], 100 - 2);
    EXPECT_EQ(normalized_rt(std::vector<int16_t>(1, 0), 10, 4000, 0, 0.99F)[0], -1) << "0.99 * 2, not 0.99 * 2.3";
}

TEST(NormEnergyFixed, EachStepOfTheFastFormSaturates)
{
    const std::vector<int16_t> low(4, -32768), high(4, 32767);
    EXPECT_EQ(normalized_rt(low, 32767, 32767, 0, 1.0F)[0], -7545) << "the floor";
    EXPECT_EQ(normalized_rt(low, 32767, -32768, 0, 1.0F)[0], 0) << "the floor saturates";
    EXPECT_EQ(normalized_rt(high, 0, -32768, 0, 1.0F)[0], 32767) << "the difference, then its negative";
    EXPECT_EQ(normalized_rt(low, -32768, -32768, 0, 1.0F)[0], 7545) << "a floor above the maximum";
    EXPECT_EQ(normalized_rt(low, 32767, 32767, 30000, -8.0F)[0], 32767);
    EXPECT_EQ(normalized_rt(low, 32767, 32767, 0, -8.0F)[0], 32767);
    EXPECT_EQ(normalized_rt(low, 32767, 32767, -2, -31.5F)[0], 32766) << "the product saturates by itself";
}

// The low 16 bits of 1024 * scale count.
TEST(NormEnergyFixed, LargeNegativeScalesWrap)
{
    const std::vector<int16_t> column(4, 3000);
    EXPECT_EQ(normalized_rt(column, 32767, 4000, 0, -33.0F)[0], -31000);
    EXPECT_EQ(normalized_rt(column, 32767, 4000, 0, -64.0F)[0], 0);
}

TEST(NormEnergyFixed, ThePlainFormSaturatesAndTruncates)
{
    const std::vector<int16_t> column = {0, 1, -30000};
    EXPECT_EQ(normalized_rt(column, 32767, 3, 0, 1.5F), (std::vector<int16_t>{-4, -3, -11317}));
    EXPECT_EQ(normalized_rt(column, 32767, 3, 0, 15.0F), (std::vector<int16_t>{-45, -30, -32768}));
    EXPECT_EQ(normalized_rt({32767, 32767}, 0, -32768, 5, 2.0F), (std::vector<int16_t>{32767, 32767}));
}

// A value that is not a number becomes 32767, as in every conversion to 16 bits.
TEST(NormEnergyFixed, NotANumberBecomesTheLargest)
{
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(normalized_rt({4, 3}, 100, 4, 9, infinity), (std::vector<int16_t>{32767, -32768}))
        << "0 times infinity";
    EXPECT_EQ(normalized({4, 3}, 100, 9, infinity), (std::vector<int16_t>{32767, -32768}));
    EXPECT_EQ(normalized({4, 3}, 100, 9, std::numeric_limits<float>::quiet_NaN()),
              (std::vector<int16_t>{32767, 32767}));
}

// Up to 1024 rows a copy of the column needs no allocation; beyond, eight elements more than rows.
TEST(NormEnergyFixed, CopiesOfTallColumns)
{
    for (int height : {1024, 1025, 2000}) {
        std::vector<int16_t> column(static_cast<std::size_t>(height));
        const AllocatorWatch watch;
        EXPECT_EQ(zelsNormEnergy_16s(column.data(), 1, height, 100, 1, 0.5F), SrOk);
        const std::size_t overhead = 32 + sizeof(void*);
        EXPECT_EQ(watch.sizes(), height <= 1024 ? std::vector<std::size_t>{}
                                                : std::vector<std::size_t>{
                                                      2 * (static_cast<std::size_t>(height) + 8) + overhead});
        EXPECT_EQ(watch.live(), 0);
    }
}

// --- every member ---

TYPED_TEST(NormEnergy, ChecksNullThenSizes)
{
    using T = TypeParam;
    using A = Arguments<T>;
    for (const Member<T>& m : members(T())) {
        Guarded<T> column(20);
        std::vector<Fault<A>> faults = {{"null", SrErrNullPtr, [](A& a) { a.column = nullptr; }}};
        for (int32_t bad : {0, -1, INT32_MIN}) {
            faults.push_back({"step", SrErrSize, [=](A& a) { a.step = bad; }});
            faults.push_back({"height", SrErrSize, [=](A& a) { a.height = bad; }});
        }
        for (float scale : {0.5F, 2.0F})
            expect_check_order<A>({column.data(), 1, 20, T(1), T(1), T(1), scale}, faults, m.call, {&column});
    }
}

// No address beyond the last row is formed.
TYPED_TEST(NormEnergy, TheStepOfOneRowMayBeAnything)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T()))
        for (int32_t step : {1 << 20, 1 << 30, INT32_MAX}) {
            const Track<T> t = random_track(T(), 1);
            Guarded<T> column(t.energies);
            EXPECT_EQ(m.call(t.arguments(column.data(), step)), SrOk);
            EXPECT_TRUE(same_values(expected(m, t), column.values())) << m.name;
        }
}

TYPED_TEST(NormEnergy, RefusedWorkMemory)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T()))
        for (int height : {1000, 1024, 1025, 3000}) {
            const Track<T> t = random_track(T(), height);
            int requests = 0;
            {
                std::vector<T> column = t.energies;
                const AllocatorWatch watch;
                EXPECT_EQ(m.call(t.arguments(column.data(), 1)), SrOk);
                requests = watch.requests();
                EXPECT_EQ(watch.live(), 0);
            }
            EXPECT_TRUE(height > 1024 || requests == 0) << m.name << ", height " << height;
            if (requests == 0) continue;
            Guarded<T> column(t.energies);
            expect_survives_refusals([&] { return m.call(t.arguments(column.data(), 1)); }, {&column});
        }
}

// Integer results do not depend on it.
TEST(NormEnergyFixed, IsTheSameInEachEnvironment)
{
    for (const Member<int16_t>& m : members(int16_t()))
        for (int height : {39, 40, 41, 2000}) {
            const Track<int16_t> t = random_track(int16_t(), height);
            std::vector<int16_t> column = t.energies;
            SrStatus status = SrErrUnknown;
            under_each_environment([&] { status = m.call(t.arguments(column.data(), 1)); },
                                   [&](const std::string& setting) {
                                       EXPECT_EQ(status, SrOk);
                                       EXPECT_TRUE(same_values(expected(m, t), column))
                                           << m.name << ", " << setting;
                                       column = t.energies;
                                   });
        }
}

#ifdef __i386__
TEST(NormEnergyStack, RunsOnAnyStack)
{
    for (int misalign : {0, 4, 8, 12}) {
        const Track<float> single = random_track(0.0F, 23);
        std::vector<float> column = single.energies;
        EXPECT_EQ(call_misaligned(zelsNormEnergy_32f, misalign, column.data(), 1, 23, single.silence_floor,
                                  single.scale),
                  SrOk);
        EXPECT_TRUE(same_values(expected(members(0.0F)[0], single), column)) << misalign;
        std::vector<int16_t> whole(2000, 5), odd(2000, 5);
        const auto call = reinterpret_cast<SrStatus (*)(int16_t*, int32_t, int32_t, int32_t, int32_t, float)>(
            reinterpret_cast<void*>(zelsNormEnergy_16s));
        EXPECT_EQ(zelsNormEnergy_16s(whole.data(), 1, 2000, 50, 1024, 0.5F), SrOk);
        EXPECT_EQ(call_misaligned(call, misalign, odd.data(), 1, 2000, 50, 1024, 0.5F), SrOk);
        EXPECT_EQ(whole, odd) << misalign;
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
