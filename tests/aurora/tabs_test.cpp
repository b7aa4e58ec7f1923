// Seventeen filter taps out of ten values.
#include <gtest/gtest.h>

#include <bit>
#include <vector>

#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/aurora_spectrum.h"
#include "zelsr/aurora/spectrum.h"

namespace zelsr::test {
namespace {

template <class T>
using Unfold = SrStatus (*)(const T*, T*);

template <class T>
testing::AssertionResult unfolds(const std::vector<T>& table, Unfold<T> call, Placement table_place = {},
                                 Placement taps_place = {})
{
    std::vector<T> expected;
    for (std::size_t i : reference::kTabs) expected.push_back(table[i]);
    return maps(
        table, expected, [&](const T* s, T* t, int32_t) { return call(s, t); }, table_place, taps_place);
}

template <class T>
void expect_any_address(Unfold<T> call)
{
    at_every_place<2>({10}, {sizeof(T), sizeof(T)}, [&](int, const std::array<Placement, 2>& at) {
        std::vector<T> table;
        for (int i = 0; i < 10; ++i) table.push_back(static_cast<T>(uniform(-32768, 32767)));
        return unfolds(table, call, at[0], at[1]);
    });
}

TEST(Tabs, UnfoldAtEveryAddress)
{
    expect_any_address<float>(zelsTabsCalculation_Aurora_32f);
    expect_any_address<int16_t>(zelsTabsCalculation_Aurora_16s);
}

// Kept: the upper half is shifted by one, so that 1 occurs below the middle only and 9 above it only.
TEST(Tabs, UpperHalfIsShiftedByOne)
{
    EXPECT_TRUE(maps(std::vector<int16_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9},
                     std::vector<int16_t>{8, 7, 6, 5, 4, 3, 2, 1, 0, 2, 3, 4, 5, 6, 7, 8, 9},
                     [](const int16_t* s, int16_t* t, int32_t) { return zelsTabsCalculation_Aurora_16s(s, t); }));
    EXPECT_TRUE(maps(std::vector<float>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9},
                     std::vector<float>{8, 7, 6, 5, 4, 3, 2, 1, 0, 2, 3, 4, 5, 6, 7, 8, 9},
                     [](const float* s, float* t, int32_t) { return zelsTabsCalculation_Aurora_32f(s, t); }));
}

TEST(Tabs, SpecialValuesPass)
{
    const std::vector<float> special = special_values<float>();
    EXPECT_TRUE(unfolds<float>({special.begin(), special.begin() + 10}, zelsTabsCalculation_Aurora_32f));
    EXPECT_TRUE(unfolds<float>({special.begin() + 6, special.begin() + 16}, zelsTabsCalculation_Aurora_32f));
    const std::vector<int16_t> extreme = special_values<int16_t>();
    EXPECT_TRUE(unfolds<int16_t>({extreme.begin(), extreme.begin() + 10}, zelsTabsCalculation_Aurora_16s));
}

template <class T>
void expect_null_check(Unfold<T> call)
{
    struct Arguments {
        const T* table;
        T* taps;
    };
    const Guarded<T> table(std::vector<T>(10, T(1)));
    Guarded<T> taps(17);
    const AllocatorWatch watch;
    expect_check_order<Arguments>({table.data(), taps.data()},
                                  {{"null table", SrErrNullPtr, [](Arguments& a) { a.table = nullptr; }},
                                   {"null taps", SrErrNullPtr, [](Arguments& a) { a.taps = nullptr; }}},
                                  [&](const Arguments& a) { return call(a.table, a.taps); }, {&taps});
    EXPECT_EQ(call(table.data(), taps.data()), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

TEST(Tabs, ChecksNull)
{
    expect_null_check<float>(zelsTabsCalculation_Aurora_32f);
    expect_null_check<int16_t>(zelsTabsCalculation_Aurora_16s);
}

}  // namespace
}  // namespace zelsr::test
