// Logarithms of elements: accuracy, special elements, the ladder of the integer form.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/environment.h"
#include "support/faults.h"
#include "support/operation.h"
#include "support/reference/logarithm.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// The unit in the last place of a single of this size.
long double unit_of(long double x)
{
    return std::ldexp(1.0L, (x == 0 ? -126 : std::max(std::ilogb(x), -126)) - 23);
}

struct Logarithms {
    SrStatus status;
    std::vector<float> values;
};

Logarithms logarithms(const std::vector<float>& values, Placement place = {})
{
    Guarded<float> array(values, place);
    const SrStatus status = zelsLn_32f_I(array.data(), static_cast<int32_t>(values.size()));
    EXPECT_TRUE(array.intact());
    return {status, array.values()};
}

testing::AssertionResult within_one_unit(const std::vector<float>& arguments, const std::vector<float>& results)
{
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const long double exact = std::log(static_cast<long double>(arguments[i]));
        const bool near = std::abs(results[i] - exact) <= unit_of(exact);
        if (!near)
            return testing::AssertionFailure() << std::hexfloat << "ln(" << arguments[i] << "), element " << i
                                               << ": " << results[i] << " for " << exact;
    }
    return testing::AssertionSuccess();
}

float positive_random_bits() { return std::abs(random_bits_float()); }

std::vector<float> ordinary_arguments(std::size_t count)
{
    std::vector<float> values;
    while (values.size() < count)
        if (const float x = positive_random_bits(); x > 0 && std::isfinite(x)) values.push_back(x);
    return values;
}

TEST(Ln_32f_I, IsWithinOneUnitOverAllPositiveSingles)
{
    const int count = thin_effort() ? 20000 : 400000;
    const std::vector<float> values = ordinary_arguments(static_cast<std::size_t>(count));
    const Logarithms results = logarithms(values);
    EXPECT_EQ(results.status, SrOk);
    EXPECT_TRUE(within_one_unit(values, results.values));
}

TEST(Ln_32f_I, IsWithinOneUnitAroundOne)
{
    std::vector<float> values;
    for (uint32_t distance = 0; distance < 2000; ++distance) {
        values.push_back(std::bit_cast<float>(0x3f800000u + distance));
        values.push_back(std::bit_cast<float>(0x3f800000u - distance));
    }
    for (int i = 0; i < (thin_effort() ? 5000 : 100000); ++i) values.push_back(uniform(0.4F, 2.2F));
    for (int i = 0; i < 20000; ++i) values.push_back(1 + uniform(-1.0F, 1.0F) * std::ldexp(1.0F, -(i % 22)));
    EXPECT_TRUE(within_one_unit(values, logarithms(values).values));
}

TEST(Ln_32f_I, IsWithinOneUnitAroundPowersOfTwoAndTheirHalfSteps)
{
    std::vector<float> values;
    for (int exponent = -149; exponent <= 127; ++exponent)
        for (float mantissa : {1.0F, std::sqrt(0.5F), std::sqrt(2.0F), 1.5F, 4.0F / 3}) {
            const float x = std::ldexp(mantissa, exponent);
            for (float near : {x, std::nextafter(x, 0.0F), std::nextafter(x, 3e38F)})
                if (near > 0 && std::isfinite(near)) values.push_back(near);
        }
    for (uint32_t bits = 1; bits < 3000; ++bits) values.push_back(std::bit_cast<float>(bits));  // subnormals
    for (uint32_t bits = 0x7fffff - 20; bits < 0x800000 + 20; ++bits) values.push_back(std::bit_cast<float>(bits));
    values.push_back(std::numeric_limits<float>::max());
    EXPECT_TRUE(within_one_unit(values, logarithms(values).values));
}

TEST(Ln_32f_I, OfOneIsPositiveZero) { EXPECT_TRUE(same_values({0.0F}, logarithms({1.0F}).values)); }

TEST(Ln_32f_I, OfInfinityIsInfinityWithoutAWarning)
{
    const Logarithms result = logarithms({2.0F, kInfinity, 3.0F});
    EXPECT_EQ(result.status, SrOk);
    EXPECT_EQ(result.values[1], kInfinity);
}

// An element's logarithm does not depend on its place in the array or the array's place in memory.
TEST(Ln_32f_I, BitsAreTheSameAtEveryLengthAndAddress)
{
    const std::vector<float> arguments = ordinary_arguments(140);
    std::vector<float> expected;
    for (float x : arguments) expected.push_back(logarithms({x}).values[0]);
    ASSERT_TRUE(within_one_unit(arguments, expected));
    std::vector<int> all = lengths(32);
    at_every_place<1>(all, {sizeof(float)}, [&](int length, const auto& places) {
        return maps_onto_itself(
            window(arguments, length, length), window(expected, length, length),
            [](float* array, float*, int32_t len) { return zelsLn_32f_I(array, len); }, places[0]);
    });
    for (int length : {255, 256, 257, 511, 512, 513, 600, 1027}) {
        std::vector<float> longer;
        std::vector<float> longer_expected;
        for (int i = 0; i < length; ++i) {
            longer.push_back(arguments[static_cast<std::size_t>(i % 139)]);
            longer_expected.push_back(expected[static_cast<std::size_t>(i % 139)]);
        }
        for (const Placement& place : placements(sizeof(float))) {
            const Logarithms result = logarithms(longer, place);
            EXPECT_EQ(result.status, SrOk);
            ASSERT_TRUE(same_values(longer_expected, result.values)) << length << ", " << describe(place);
        }
    }
}

// What each kind of special element becomes, and the status that it sets.
constexpr float kSpecial[] = {0.0F, -0.0F, -1.0F, -kInfinity, kNan, -kNan, -1e-45F};

float special_logarithm(float x)
{
    return reference::kind_of_argument(x) == reference::Argument::Zero ? -kInfinity : kNan;
}

// Two special elements, in the same vector step, the same block of 256, different blocks, at the ends.
constexpr std::pair<int, int> kPositions[] = {{0, 1},     {2, 3},     {5, 30},    {30, 250},  {255, 256},
                                              {100, 300}, {256, 599}, {598, 599}, {511, 512}, {0, 599}};

TEST(Ln_32f_I, TheFirstSpecialElementSetsTheStatusAndAllOthersAreComplete)
{
    const std::vector<float> ordinary = ordinary_arguments(600);
    const std::vector<float> expected_ordinary = logarithms(ordinary).values;
    for (auto [first, second] : kPositions)
        for (float x : kSpecial)
            for (float y : kSpecial) {
                std::vector<float> values = ordinary;
                std::vector<float> expected = expected_ordinary;
                for (auto [position, special] : {std::pair{first, x}, std::pair{second, y}}) {
                    values[static_cast<std::size_t>(position)] = special;
                    expected[static_cast<std::size_t>(position)] = special_logarithm(special);
                }
                const Logarithms result = logarithms(values);
                ASSERT_EQ(result.status, reference::status_of_logarithms(values)) << x << " then " << y;
                ASSERT_TRUE(same_values(expected, result.values)) << x << " then " << y;
            }
}

TEST(Ln_32f_I, EachSpecialElementAtEveryPositionOfAShortArray)
{
    for (float special : kSpecial)
        for (int length = 1; length <= 19; ++length)
            for (int position = 0; position < length; ++position) {
                std::vector<float> values(static_cast<std::size_t>(length), 1.0F);
                std::vector<float> expected(static_cast<std::size_t>(length), 0.0F);
                values[static_cast<std::size_t>(position)] = special;
                expected[static_cast<std::size_t>(position)] = special_logarithm(special);
                const Logarithms result = logarithms(values);
                ASSERT_EQ(result.status, reference::status_of_logarithms(values)) << special;
                ASSERT_TRUE(same_values(expected, result.values)) << special;
            }
}

TEST(Ln_32f_I, AQuietNanStaysAsItIs)
{
    for (uint32_t bits : {0x7fc00000u, 0x7fc12345u, 0x7fffffffu}) {
        Guarded<float> array(std::vector<float>(9, std::bit_cast<float>(bits)));
        EXPECT_EQ(zelsLn_32f_I(array.data(), 9), SrOk);
        for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(std::bit_cast<uint32_t>(array.get(i)), bits);
    }
}

TEST(Ln_32f_I, KeepsAndIgnoresTheEnvironment)
{
    std::vector<float> values = ordinary_arguments(600);
    values.insert(values.end(), {1e-45F, 1e-40F, 1.0F, kInfinity, kNan, 0.0F, -1.0F, -kNan});
    const Logarithms expected = logarithms(values);
    EXPECT_EQ(expected.status, SrWarnLnZeroArg);
    std::vector<float> array = values;
    SrStatus status = SrOk;
    under_each_environment([&] { status = zelsLn_32f_I(array.data(), static_cast<int32_t>(array.size())); },
                           [&](const std::string& environment) {
                               EXPECT_EQ(status, expected.status) << environment;
                               EXPECT_TRUE(same_values(expected.values, array)) << environment;
                               array = values;
                           });
}

TEST(Ln_32f_I, ReportsNullBeforeLengthAndWritesNothing)
{
    struct Arguments {
        float* array;
        int32_t len;
    };
    Guarded<float> array(std::vector<float>(40, 2.0F));
    expect_check_order<Arguments>({array.data(), 40},
                                  {{"null", SrErrNullPtr, [](Arguments& a) { a.array = nullptr; }},
                                   {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
                                   {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
                                   {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
                                  [](const Arguments& a) { return zelsLn_32f_I(a.array, a.len); }, {&array});
    expect_reads_nothing_below_length_one<float>(zelsLn_32f_I);
}

#ifdef __i386__
TEST(Ln_32f_I, RunsOnAnyStack)
{
    std::vector<float> values = ordinary_arguments(300);
    values[270] = -1;
    const Logarithms expected = logarithms(values);
    for (int misalign : {0, 4, 8, 12}) {
        Guarded<float> array(values, {4, Edge::Back});
        EXPECT_EQ(OnOddStack{misalign}(zelsLn_32f_I, array.data(), 300), SrWarnLnNegArg);
        EXPECT_TRUE(same_values(expected.values, array.values())) << misalign;
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
