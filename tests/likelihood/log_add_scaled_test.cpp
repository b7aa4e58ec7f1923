// Sums of two vectors of logarithms that are held as scaled integers.
#include <gtest/gtest.h>

#include "likelihood/log_add_members.h"
#include "support/environment.h"

namespace zelsr::test::log_add {
namespace {

template <class M>
class LogAddScaled : public testing::Test {};
using ScaledMembers = testing::Types<Add_32s_Sfs, Add_16s_Sfs>;
TYPED_TEST_SUITE(LogAddScaled, ScaledMembers, MemberName);

std::vector<int32_t> swept_scale_factors()
{
    std::vector<int32_t> all;
    for (int32_t sf = -40; sf <= 40; ++sf) all.push_back(sf);
    for (int32_t sf : {-160, -151, -150, -149, -129, -128, -127, -126, -100,  100,       126,           127,
                       128,  129,  148,  149,  150,  151,  160,  1000, -1000, INT32_MIN, INT32_MIN + 1, INT32_MAX})
        all.push_back(sf);
    return all;
}

// Pairs whose differences matter at this sf, and pairs from the whole type.
template <class T>
Operands<T> scaled_operands(int count, int32_t sf)
{
    Operands<T> all = operands<T>(count, std::clamp(sf, -40, 40), true);
    const std::vector<T> special = special_values<T>();
    for (std::size_t i = 0; i < all.src.size(); i += 3) {
        all.src[i] = uniform(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
        const bool near = i % 2 == 0;
        all.srcdst[i] = near ? static_cast<T>(reference::saturate<T>(int64_t{all.src[i]} + uniform(-40, 40)))
                             : special[generator()() % special.size()];
    }
    return all;
}

TYPED_TEST(LogAddScaled, EveryScaleFactor)
{
    using T = typename TypeParam::T;
    for (int32_t sf : swept_scale_factors())
        for (int32_t hint : {0, 1, 2, 3, -1})
            for (int length : {3, 40, 131})
                ASSERT_TRUE(adds<TypeParam>(scaled_operands<T>(length, sf), sf, hint))
                    << "sf " << sf << ", hint " << hint << ", length " << length;
}

TYPED_TEST(LogAddScaled, EveryPairOfSpecialValues)
{
    using T = typename TypeParam::T;
    Operands<T> all;
    for (T x : special_values<T>())
        for (T y : special_values<T>()) {
            all.src.push_back(x);
            all.srcdst.push_back(y);
        }
    for (int32_t sf : swept_scale_factors())
        for (int32_t hint : {0, 1, 2, 3})
            ASSERT_TRUE(adds<TypeParam>(all, sf, hint)) << "sf " << sf << ", hint " << hint;
}

TYPED_TEST(LogAddScaled, TruncatesTowardZeroAndSaturates)
{
    using T = typename TypeParam::T;
    constexpr T largest = std::numeric_limits<T>::max(), lowest = std::numeric_limits<T>::min();
    for (int32_t hint : kHints) {
        const auto sum = [&](T x, T y, int32_t sf) { return one<TypeParam>(x, y, hint, sf); };
        EXPECT_EQ(sum(0, 0, 0), 0);    // 0.69
        EXPECT_EQ(sum(5, 4, 0), 5);    // 5.31
        EXPECT_EQ(sum(-1, -1, 0), 0);  // -0.31
        EXPECT_EQ(sum(-2, -2, 0), -1);
        EXPECT_EQ(sum(-16, -16, 4), -4);  // -0.307 * 16 = -4.91
        EXPECT_EQ(sum(0, 0, 4), 11);      // 11.09
        EXPECT_EQ(sum(3, -3, -2), 3);
        EXPECT_EQ(sum(largest, largest, 0), largest);
        EXPECT_EQ(sum(largest, largest, 8), largest);
        EXPECT_EQ(sum(largest, lowest, 0), largest);
        EXPECT_EQ(sum(lowest, lowest, 0), sizeof(T) == 2 ? -32767 : lowest);
    }
}

TEST(LogAdd_16s_Sfs, AnotherHintBringsTheDestinationToSinglePrecisionAndBack)
{
    for (int32_t sf : {-8, 0, 8}) EXPECT_EQ(one<Add_16s_Sfs>(1234, -4321, 3, sf), -4321);
}

TEST(LogAdd_32s_Sfs, AnotherHintRoundsTheDestinationToSinglePrecision)
{
    EXPECT_EQ(one<Add_32s_Sfs>(7, 16777217, 3), 16777216);
    EXPECT_EQ(one<Add_32s_Sfs>(7, -16777219, 3, 5), -16777220);
    EXPECT_EQ(one<Add_32s_Sfs>(7, INT32_MAX, 3), INT32_MAX);
    EXPECT_EQ(one<Add_32s_Sfs>(7, INT32_MIN, 3), INT32_MIN);
    EXPECT_EQ(one<Add_32s_Sfs>(7, 12345, 3, 150), INT32_MIN) << "0 over 2^-150";
}

TEST(LogAdd_32s_Sfs, RaisesToTheFloorInLogarithmsNotInUnits)
{
    for (int32_t hint : kHints) {
        EXPECT_EQ(one<Add_32s_Sfs>(-10000, -20000, hint, -10), -4394);  // -4.5e6 / 1024 = -4394.53
        EXPECT_EQ(one<Add_32s_Sfs>(-5000000, -6000000, hint, 0), -4500000);
        EXPECT_EQ(one<Add_32s_Sfs>(-5000000, -6000000, hint, 4), -5000000);
        EXPECT_EQ(one<Add_16s_Sfs>(-10000, -20000, hint, -10), -4394);
    }
}

TYPED_TEST(LogAddScaled, KeepsAndIgnoresTheEnvironment)
{
    using T = typename TypeParam::T;
    for (int32_t hint : {0, 1, 2, 3})
        for (int length : {5, 131})
            for (int32_t sf : {0, 11, 127}) {
                const Operands<T> all = scaled_operands<T>(length, sf);
                const std::vector<T> expected =
                    element_by_element(all, [=](T x, T y) { return TypeParam::sum(x, y, sf, hint); });
                std::vector<T> srcdst = all.srcdst;
                SrStatus status = SrErrUnknown;
                under_each_environment(
                    [&] { status = TypeParam::call(all.src.data(), srcdst.data(), length, sf, hint); },
                    [&](const std::string& setting) {
                        EXPECT_EQ(status, SrOk);
                        EXPECT_TRUE(same_values(expected, srcdst)) << setting << ", hint " << hint;
                        srcdst = all.srcdst;
                    });
            }
}

}  // namespace
}  // namespace zelsr::test::log_add
