// Products of 16-bit integers under a scale factor: exact, rounded once, saturated.
#include <gtest/gtest.h>

#include "support/elementwise.h"
#include "support/odd_stack.h"
#include "support/reference/vector.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

// Scale factors on both sides of every change of method.
constexpr int32_t kScaleFactors[] = {0,  1,  2,   3,   7,   15,  16,  29,  30,   31,        32,       -1,
                                     -2, -7, -14, -15, -16, 100, -31, -32, -100, INT32_MAX, INT32_MIN};

Member mul_16s_member(int32_t sf)
{
    const std::string sign = sf < 0 ? "Minus" : "";
    return combine<int16_t>(
        "zelsMul_16s_Sfs_" + sign + std::to_string(std::abs(std::int64_t{sf})),
        [=](const int16_t* first, const int16_t* second, int16_t* dst, int32_t len) {
            return zelsMul_16s_Sfs(first, second, dst, len, sf);
        },
        [=](const auto& first, const auto& second, auto& dst) {
            return reference::mul_16s(first, second, sf, dst);
        });
}

std::vector<Member> members()
{
    std::vector<Member> all;
    for (int32_t sf : kScaleFactors) all.push_back(mul_16s_member(sf));
    return all;
}

class Mul16sBySf : public testing::TestWithParam<Member> {};
INSTANTIATE_TEST_SUITE_P(, Mul16sBySf, testing::ValuesIn(members()), member_name);

TEST_P(Mul16sBySf, IsExactAtEveryLengthAndPlacement)
{
    GetParam()->expect_reference_at_every_length_and_placement();
}
TEST_P(Mul16sBySf, IsExactForEveryPairOfExtremes)
{
    GetParam()->expect_reference_for_every_pair_of_special_values();
}
TEST_P(Mul16sBySf, TakesASourceAsItsDestination) { GetParam()->expect_works_in_place(); }
TEST_P(Mul16sBySf, IsExactForLongArrays)
{
    GetParam()->expect_reference_for_length((1 << (thin_effort() ? 11 : 16)) + 5);
}
TEST_P(Mul16sBySf, ChecksNullBeforeSizeAndWritesNothing) { GetParam()->expect_null_is_checked_before_size(); }
TEST_P(Mul16sBySf, DoesNotDependOnTheEnvironment) { GetParam()->expect_same_in_each_environment(); }

int16_t mul_16s(int16_t first, int16_t second, int32_t sf)
{
    int16_t product = 77;
    EXPECT_EQ(zelsMul_16s_Sfs(&first, &second, &product, 1, sf), SrOk);
    return product;
}

TEST(Mul16s, RoundsToTheNearestWithTiesToEven)
{
    EXPECT_EQ(mul_16s(1, 1, 1), 0);    // 0.5
    EXPECT_EQ(mul_16s(3, 1, 1), 2);    // 1.5
    EXPECT_EQ(mul_16s(5, 1, 1), 2);    // 2.5
    EXPECT_EQ(mul_16s(-1, 1, 1), 0);   // -0.5
    EXPECT_EQ(mul_16s(-3, 1, 1), -2);  // -1.5
    EXPECT_EQ(mul_16s(6, 3, 2), 4);    // 4.5
    EXPECT_EQ(mul_16s(11, 2, 2), 6);   // 5.5
    EXPECT_EQ(mul_16s(-11, 2, 2), -6);
    EXPECT_EQ(mul_16s(-32768, -32768, 15), 32767);
    EXPECT_EQ(mul_16s(-32768, -32768, 16), 16384);
    EXPECT_EQ(mul_16s(-32768, -32768, 30), 1);
    EXPECT_EQ(mul_16s(-32768, 32767, 30), -1);
    EXPECT_EQ(mul_16s(-32768, -32768, 31), 0);
    EXPECT_EQ(mul_16s(-32768, 16384, 30), 0);  // -0.5
    EXPECT_EQ(mul_16s(-32768, -32768, INT32_MAX), 0);
}

TEST(Mul16s, EnlargesWithSaturation)
{
    EXPECT_EQ(mul_16s(-32768, -32768, 0), 32767);
    EXPECT_EQ(mul_16s(-32768, 32767, 0), -32768);
    EXPECT_EQ(mul_16s(3, -5, -2), -60);
    EXPECT_EQ(mul_16s(1, 1, -14), 16384);
    EXPECT_EQ(mul_16s(1, 1, -15), 32767);
    EXPECT_EQ(mul_16s(1, -1, -15), -32768);
    for (int32_t sf : {-16, -17, -31, -32, -1000, INT32_MIN}) {
        EXPECT_EQ(mul_16s(1, 1, sf), 32767) << sf;
        EXPECT_EQ(mul_16s(-1, -1, sf), 32767) << sf;
        EXPECT_EQ(mul_16s(-1, 1, sf), -32768) << sf;
        EXPECT_EQ(mul_16s(0, -1, sf), 0) << sf;
        EXPECT_EQ(mul_16s(-32768, 0, sf), 0) << sf;
    }
}

// Every small factor with every power of two and its neighbours: all ties and all bounds of saturation.
TEST(Mul16s, IsExactAroundTiesAndBounds)
{
    std::vector<int16_t> first, second;
    for (int power = 0; power < 16; ++power)
        for (int near : {-1, 0, 1})
            for (int sign : {-1, 1})
                for (int small = -40; small <= 40; small += thin_effort() ? 13 : 1) {
                    first.push_back(static_cast<int16_t>(std::clamp(sign * (1 << power) + near, -32768, 32767)));
                    second.push_back(static_cast<int16_t>(small));
                }
    const auto len = static_cast<int32_t>(first.size());
    for (int32_t sf = -20; sf <= 36; ++sf) {
        std::vector<int16_t> expected(first.size()), actual(first.size());
        reference::mul_16s(first, second, sf, expected);
        EXPECT_EQ(zelsMul_16s_Sfs(first.data(), second.data(), actual.data(), len, sf), SrOk);
        EXPECT_TRUE(same_values(expected, actual)) << "sf " << sf;
    }
}

#ifdef __i386__
TEST(OddStack, Mul16sWorksFromEveryStack)
{
    for (int misalign : {0, 4, 8, 12}) {
        Guarded<int16_t> first(std::vector<int16_t>(67, 300)), product(67);
        EXPECT_EQ(call_misaligned(zelsMul_16s_Sfs, misalign, static_cast<const int16_t*>(first.data()),
                                  static_cast<const int16_t*>(first.data()), product.data(), 67, 3),
                  SrOk);
        EXPECT_TRUE(same_values(std::vector<int16_t>(67, 11250), product.values()));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
