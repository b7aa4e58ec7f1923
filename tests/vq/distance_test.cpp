// Distances and the comparisons with a margin, which training and searches share.
#include "vq/distance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/reference/codebook.h"

namespace zelsr::test {
namespace {

using vq::Own_Correct_Equ_32f;
using vq::Own_Correct_Greater_32f;
using vq::Own_Correct_Less_32f;

TEST(Comparisons, LeaveAMarginOfAMillionth)
{
    EXPECT_TRUE(Own_Correct_Less_32f(1, 1.00001F));
    EXPECT_FALSE(Own_Correct_Less_32f(1, 1.0000005F));
    EXPECT_FALSE(Own_Correct_Less_32f(1, 1));
    EXPECT_TRUE(Own_Correct_Greater_32f(1.00001F, 1));
    EXPECT_FALSE(Own_Correct_Greater_32f(1.0000005F, 1));
    EXPECT_FALSE(Own_Correct_Greater_32f(1, 1));
    // Below zero the margin lies on the other side: wanted.
    EXPECT_TRUE(Own_Correct_Less_32f(-1, -1));
    EXPECT_TRUE(Own_Correct_Greater_32f(-1, -1));
    EXPECT_FALSE(Own_Correct_Less_32f(0, 0));
    EXPECT_FALSE(Own_Correct_Greater_32f(0, 0));
    EXPECT_TRUE(Own_Correct_Less_32f(0, 0x1p-149F));
    EXPECT_TRUE(Own_Correct_Greater_32f(0x1p-149F, 0));
    // Products are formed in double: the largest single times the margin is no infinity.
    const float largest = std::numeric_limits<float>::max();
    EXPECT_FALSE(Own_Correct_Less_32f(largest, largest));
    EXPECT_TRUE(Own_Correct_Less_32f(largest, INFINITY));
    EXPECT_TRUE(Own_Correct_Greater_32f(INFINITY, largest));
    EXPECT_FALSE(Own_Correct_Greater_32f(largest, std::nextafter(largest, 0.0F)));
}

TEST(Comparisons, AreEqualWithinATenThousandthOfTheLarger)
{
    EXPECT_TRUE(Own_Correct_Equ_32f(1, 1.00009F));
    EXPECT_TRUE(Own_Correct_Equ_32f(1.00009F, 1));
    EXPECT_FALSE(Own_Correct_Equ_32f(1, 1.0002F));
    EXPECT_TRUE(Own_Correct_Equ_32f(0, 0));
    EXPECT_FALSE(Own_Correct_Equ_32f(0x1p-149F, 0));
    // Nothing below zero equals zero, but for the margin of zero.
    EXPECT_FALSE(Own_Correct_Equ_32f(-1e-9F, 0));
    EXPECT_TRUE(Own_Correct_Equ_32f(-1, -1.00005F));
}

TEST(Comparisons, OfNaNAreLessAndEqualButNotGreater)
{
    for (float x : {0.0F, 1.0F, -1.0F, INFINITY, NAN}) {
        EXPECT_TRUE(Own_Correct_Less_32f(NAN, x));
        EXPECT_TRUE(Own_Correct_Less_32f(x, NAN));
        EXPECT_FALSE(Own_Correct_Greater_32f(NAN, x));
        EXPECT_FALSE(Own_Correct_Greater_32f(x, NAN));
        EXPECT_TRUE(Own_Correct_Equ_32f(NAN, x));
        EXPECT_TRUE(Own_Correct_Equ_32f(x, NAN));
    }
}

TEST(Comparisons, OfEveryPairAreTheReferences)
{
    std::vector<float> values = special_values<float>();
    for (float x : {1.0F, 3.7F, 1e-30F, 12345.678F})
        for (double margin : {1e-7, 5e-7, 9e-7, 1e-6, 1.1e-6, 9.9e-5, 1e-4, 1.01e-4})
            for (double sign : {-1.0, 1.0}) values.push_back(static_cast<float>(x * (1 + sign * margin)));
    for (float a : values)
        for (float b : values) {
            EXPECT_EQ(Own_Correct_Less_32f(a, b), reference::clearly_less(a, b)) << a << ", " << b;
            EXPECT_EQ(Own_Correct_Greater_32f(a, b), reference::clearly_greater(a, b)) << a << ", " << b;
            EXPECT_EQ(Own_Correct_Equ_32f(a, b), reference::about_equal(a, b)) << a << ", " << b;
        }
}

template <class T>
void expect_distances()
{
    for (int width : lengths(16))
        for (const Placement& placement : placements(sizeof(T))) {
            const T most = std::is_same_v<T, float> ? T(3000) : std::numeric_limits<T>::max();
            const std::vector<T> a = uniform_vector(width, static_cast<T>(-most), most);
            const std::vector<T> b = uniform_vector(width, static_cast<T>(-most), most);
            const std::vector<T> weights = uniform_vector(width, T(0), most);
            const Guarded<T> x(a, placement), y(b, placement), w(weights, placement);
            const std::vector<T> ones(weights.size(), T(1));
            EXPECT_TRUE(same_value(reference::weighted_distance(a, b, weights),
                                   vq::OwnDistance(x.data(), y.data(), w.data(), width)));
            EXPECT_TRUE(
                same_value(reference::weighted_distance(a, b, ones), vq::OwnDistanceE(x.data(), y.data(), width)));
        }
}
TEST(Distance, OfSinglesIsTheReferencesAtEveryAddress) { expect_distances<float>(); }
TEST(Distance, OfIntegersIsTheReferencesAtEveryAddress) { expect_distances<std::int16_t>(); }

}  // namespace
}  // namespace zelsr::test
