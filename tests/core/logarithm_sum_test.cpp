// Sums of logarithms: accuracy over the whole range of arguments, and the element that ends the work.
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

template <class How>
SrStatus sum_ln(How how, const float* src, int32_t len, float* result)
{
    return how(zelsSumLn_32f, src, len, result);
}
template <class How>
SrStatus sum_ln(How how, const double* src, int32_t len, double* result)
{
    return how(zelsSumLn_64f, src, len, result);
}

template <class T>
class SumLnTest : public testing::Test {
  public:
    using Values = std::vector<T>;
    using Limits = std::numeric_limits<T>;

    static SrStatus call(const T* src, int32_t len, T* result) { return sum_ln(Direct{}, src, len, result); }

    static T result_of(const Values& values)
    {
        T result = -99;
        call(values.data(), static_cast<int32_t>(values.size()), &result);
        return result;
    }

    // Within a block of 512 every product of mantissas is rounded, 2^-53 each, which the logarithm turns into an
    // absolute error: 1e-13 a block bounds it. The exponents' share and the addition of blocks are relative
    // errors of a few roundings in double. A single result is then rounded once, one half unit of its last
    // place. (Under valgrind the reference itself is formed in double.)
    static testing::AssertionResult near(const Values& values, const reference::SumOfLogarithms& expected,
                                         T actual)
    {
        if (!std::isfinite(static_cast<double>(expected.sum)))
            return same_value(static_cast<T>(expected.sum), actual);
        const long double count = static_cast<long double>(values.size());
        long double tolerance = (std::floor(count / 512) + 1) * 1e-13L + 0x1p-51L * expected.magnitude;
        if (under_valgrind()) tolerance += count * 0x1p-53L * expected.magnitude;
        if (sizeof(T) == 4 && expected.sum != 0) tolerance += std::ldexp(0.5L, std::ilogb(expected.sum) - 23);
        const long double distance = std::abs(actual - expected.sum);
        if (distance <= tolerance) return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << actual << " for " << expected.sum << ", apart " << distance << " > " << tolerance;
    }

    static testing::AssertionResult sums(const Values& values, Placement source_place = {},
                                         Placement result_place = {})
    {
        const reference::SumOfLogarithms expected = reference::sum_of_logarithms(values);
        const auto accept = [&](T actual) { return near(values, expected, actual); };
        return reduces<T, T>(values, call, accept, source_place, result_place, expected.status);
    }

    // All positive bits below infinity alike, subnormals as often as any exponent; every eighth is subnormal.
    static Values ordinary_arguments(std::size_t count)
    {
        Values values;
        while (values.size() < count) {
            const int lowest = Limits::min_exponent - Limits::digits;
            const int exponent = values.size() % 8 == 0 ? uniform(lowest, Limits::min_exponent - 2)
                                                        : uniform(lowest, Limits::max_exponent - 1);
            const T x = std::ldexp(uniform(T(1), T(2)), exponent);
            if (x > 0 && std::isfinite(x)) values.push_back(x);
        }
        return values;
    }
};
struct TypeName {
    template <class T>
    static std::string GetName(int)
    {
        return sizeof(T) == 4 ? "32f" : "64f";
    }
};
using Types = testing::Types<float, double>;
TYPED_TEST_SUITE(SumLnTest, Types, TypeName);

TYPED_TEST(SumLnTest, IsTheSumAtEveryLengthAndAddressWithTheSameBits)
{
    const std::vector<TypeParam> values = this->ordinary_arguments(140);
    int known = 0;
    TypeParam first{};
    at_every_place<2>(lengths(32), {sizeof(TypeParam), sizeof(TypeParam)}, [&](int length, const auto& places) {
        const std::vector<TypeParam> part = window(values, length, length);
        if (known != length) {
            known = length;
            first = this->result_of(part);
            if (auto right = this->sums(part); !right) return right;
        }
        const auto accept = [&](TypeParam actual) { return same_value(first, actual); };
        return reduces<TypeParam, TypeParam>(part, this->call, accept, places[0], places[1]);
    });
}

TYPED_TEST(SumLnTest, IsTheSumAroundMultiplesOfTheBlock)
{
    for (std::size_t length :
         {255, 256, 257, 509, 510, 511, 512, 513, 514, 515, 767, 1023, 1024, 1025, 1537, 5000}) {
        const std::vector<TypeParam> values = this->ordinary_arguments(length);
        EXPECT_TRUE(this->sums(values)) << length;
        EXPECT_TRUE(this->sums(values, {1, Edge::Front}, {7, Edge::Back})) << length;
    }
}

TYPED_TEST(SumLnTest, LastsOverBlocksOfExtremesAndSubnormals)
{
    using Limits = std::numeric_limits<TypeParam>;
    const TypeParam below_two = std::nextafter(TypeParam(2), TypeParam(0));
    const TypeParam above_one = std::nextafter(TypeParam(1), TypeParam(2));
    const TypeParam below_one = std::nextafter(TypeParam(1), TypeParam(0));
    const TypeParam largest_subnormal = std::nextafter(Limits::min(), TypeParam(0));
    for (std::size_t length : {1, 3, 16, 511, 512, 1300})
        for (TypeParam x : {Limits::max(), Limits::min(), Limits::denorm_min(), largest_subnormal, below_two,
                            above_one, below_one, TypeParam(0.75)})
            for (TypeParam y : {x, Limits::max(), Limits::denorm_min(), TypeParam(1)}) {
                std::vector<TypeParam> values(length, x);
                for (std::size_t i = 1; i < length; i += 2) values[i] = y;
                ASSERT_TRUE(this->sums(values)) << length << " times " << x << ", " << y;
            }
}

TYPED_TEST(SumLnTest, KeepsItsDigitsWhereTheLogarithmsCancel)
{
    for (std::size_t length : {4, 100, 512, 2000}) {
        std::vector<TypeParam> around_one;
        for (std::size_t i = 0; i < length; ++i)
            around_one.push_back(1 + uniform(TypeParam(-1e-3), TypeParam(1e-3)));
        EXPECT_TRUE(this->sums(around_one)) << length;
        std::vector<TypeParam> pairs;
        for (std::size_t i = 0; i < length / 2; ++i) {
            const TypeParam x = std::ldexp(TypeParam(1), uniform(-100, 100));
            pairs.push_back(x);
            pairs.push_back(1 / x);
        }
        EXPECT_TRUE(this->sums(pairs)) << length;
    }
}

TYPED_TEST(SumLnTest, ByValue)
{
    EXPECT_EQ(this->result_of({1}), 0);
    EXPECT_EQ(this->result_of(std::vector<TypeParam>(1000, 1)), 0);
    EXPECT_NEAR(this->result_of({2, 4}), 2.0794415416798357, sizeof(TypeParam) == 4 ? 2e-7 : 1e-13);
    EXPECT_NEAR(this->result_of({std::numeric_limits<TypeParam>::denorm_min()}),
                sizeof(TypeParam) == 4 ? -103.27892990343184 : -744.4400719213812,
                sizeof(TypeParam) == 4 ? 4e-6 : 3e-13);
}

TYPED_TEST(SumLnTest, InfinityIsAnOrdinaryArgument)
{
    constexpr TypeParam infinity = std::numeric_limits<TypeParam>::infinity();
    constexpr TypeParam tiny = std::numeric_limits<TypeParam>::denorm_min();
    EXPECT_TRUE(this->sums({infinity}));
    for (std::size_t position : {0, 1, 5, 300, 511, 512, 900}) {
        std::vector<TypeParam> values(901, tiny);
        values[position] = infinity;
        EXPECT_EQ(this->result_of(values), infinity) << position;
        EXPECT_TRUE(this->sums(values)) << position;
    }
    EXPECT_EQ(this->result_of(std::vector<TypeParam>(700, infinity)), infinity);
}

// The first special element in order decides, in whichever block the two lie.
TYPED_TEST(SumLnTest, TheFirstSpecialElementStoresItsValueAndEndsTheWork)
{
    constexpr TypeParam infinity = std::numeric_limits<TypeParam>::infinity();
    constexpr TypeParam nan = std::numeric_limits<TypeParam>::quiet_NaN();
    const TypeParam special[] = {0,   -TypeParam(0), -1,       -infinity,
                                 nan, -nan,          infinity, -std::numeric_limits<TypeParam>::denorm_min()};
    const std::vector<TypeParam> ordinary = this->ordinary_arguments(1200);
    for (auto [first, second] : {std::pair{0, 1},
                                 {1, 2},
                                 {3, 17},
                                 {2, 3},
                                 {100, 511},
                                 {511, 512},
                                 {510, 1199},
                                 {700, 701},
                                 {1024, 1030},
                                 {1198, 1199}})
        for (TypeParam x : special)
            for (TypeParam y : special) {
                std::vector<TypeParam> values = ordinary;
                values[static_cast<std::size_t>(first)] = x;
                values[static_cast<std::size_t>(second)] = y;
                ASSERT_TRUE(this->sums(values)) << x << " at " << first << ", " << y << " at " << second;
            }
    for (TypeParam x : special)
        for (std::size_t length = 1; length <= 19; ++length)
            for (std::size_t position = 0; position < length; ++position) {
                std::vector<TypeParam> values(length, TypeParam(3));
                values[position] = x;
                ASSERT_TRUE(this->sums(values)) << x << " at " << position << " of " << length;
            }
}

TYPED_TEST(SumLnTest, SpecialElementsByValue)
{
    constexpr TypeParam infinity = std::numeric_limits<TypeParam>::infinity();
    constexpr TypeParam nan = std::numeric_limits<TypeParam>::quiet_NaN();
    const auto expect = [&](const std::vector<TypeParam>& values, TypeParam result, SrStatus status) {
        TypeParam actual = -99;
        EXPECT_EQ(this->call(values.data(), static_cast<int32_t>(values.size()), &actual), status);
        EXPECT_TRUE(same_value(result, actual));
    };
    expect({2, 0, 3}, infinity, SrWarnLnZeroArg);  // positive, as it stands
    expect({2, -TypeParam(0), 3}, nan, SrWarnLnNegArg);
    expect({2, -3, 0}, nan, SrWarnLnNegArg);
    expect({0, -3}, infinity, SrWarnLnZeroArg);
    expect({nan, 0, -3}, nan, SrOk);
    expect({-nan, 0}, nan, SrWarnLnNegArg);
    expect({infinity, 2}, infinity, SrOk);
    expect({infinity, nan}, nan, SrOk);
    expect({infinity, 0}, infinity, SrWarnLnZeroArg);
}

TYPED_TEST(SumLnTest, KeepsAndIgnoresTheEnvironment)
{
    std::vector<std::vector<TypeParam>> cases = {this->ordinary_arguments(1100), this->ordinary_arguments(37)};
    for (TypeParam x : {TypeParam(0), TypeParam(-1), std::numeric_limits<TypeParam>::quiet_NaN(),
                        std::numeric_limits<TypeParam>::infinity()}) {
        cases.push_back(cases[0]);
        cases.back()[900] = x;
    }
    for (const std::vector<TypeParam>& values : cases) {
        const TypeParam expected = this->result_of(values);
        TypeParam result{};
        SrStatus status = SrOk;
        under_each_environment(
            [&] { status = this->call(values.data(), static_cast<int32_t>(values.size()), &result); },
            [&](const std::string& environment) {
                EXPECT_EQ(status, reference::status_of_logarithms(values)) << environment;
                EXPECT_TRUE(same_value(expected, result)) << environment;
                result = -99;
            });
    }
}

TYPED_TEST(SumLnTest, ReportsNullBeforeLengthAndWritesNothing)
{
    struct Arguments {
        const TypeParam* src;
        int32_t len;
        TypeParam* result;
    };
    const Guarded<TypeParam> source(std::vector<TypeParam>(40, 2));
    Guarded<TypeParam> result(1);
    expect_check_order<Arguments>({source.data(), 40, result.data()},
                                  {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                                   {"null result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }},
                                   {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
                                   {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
                                   {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
                                  [this](const Arguments& a) { return this->call(a.src, a.len, a.result); },
                                  {&result});
    expect_reads_nothing_below_length_one<TypeParam>(
        [&](const TypeParam* src, int32_t length) { return this->call(src, length, result.data()); });
}

#ifdef __i386__
TYPED_TEST(SumLnTest, RunsOnAnyStack)
{
    const std::vector<TypeParam> values = this->ordinary_arguments(700);
    const TypeParam expected = this->result_of(values);
    for (int misalign : {0, 4, 8, 12}) {
        TypeParam result{};
        EXPECT_EQ(sum_ln(OnOddStack{misalign}, values.data(), 700, &result), SrOk);
        EXPECT_TRUE(same_value(expected, result)) << misalign;
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
