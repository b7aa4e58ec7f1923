// The sum of a vector of logarithms.
#include <gtest/gtest.h>

#include <string>

#include "likelihood/log_domain.h"
#include "support/environment.h"
#include "support/faults.h"

namespace zelsr::test {
namespace {

struct Sum_32f {
    using T = float;
    static constexpr const char* kName = "32f";
    template <class How = Direct>
    static SrStatus call(const T* src, T* result, int32_t len, int32_t, How how = {})
    {
        return how(zelsLogSum_32f, src, result, len);
    }
    static T sum(const std::vector<T>& values, int32_t) { return reference::log_sum(values); }
};
struct Sum_64f {
    using T = double;
    static constexpr const char* kName = "64f";
    template <class How = Direct>
    static SrStatus call(const T* src, T* result, int32_t len, int32_t, How how = {})
    {
        return how(zelsLogSum_64f, src, result, len);
    }
    static T sum(const std::vector<T>& values, int32_t) { return reference::log_sum(values); }
};
struct Sum_32s_Sfs {
    using T = int32_t;
    static constexpr const char* kName = "32s_Sfs";
    template <class How = Direct>
    static SrStatus call(const T* src, T* result, int32_t len, int32_t sf, How how = {})
    {
        return how(zelsLogSum_32s_Sfs, src, result, len, sf);
    }
    static T sum(const std::vector<T>& values, int32_t sf) { return reference::log_sum_scaled(values, sf); }
};
struct Sum_16s_Sfs {
    using T = int16_t;
    static constexpr const char* kName = "16s_Sfs";
    template <class How = Direct>
    static SrStatus call(const T* src, T* result, int32_t len, int32_t sf, How how = {})
    {
        return how(zelsLogSum_16s_Sfs, src, result, len, sf);
    }
    static T sum(const std::vector<T>& values, int32_t sf) { return reference::log_sum_scaled(values, sf); }
};

template <class M>
testing::AssertionResult sums(const std::vector<typename M::T>& values, int32_t sf,
                              const std::array<Placement, 2>& places = {})
{
    using T = typename M::T;
    return reduces<T, T>(
        values, [=](const T* src, int32_t len, T* result) { return M::call(src, result, len, sf); },
        [&](T result) { return same_value(M::sum(values, sf), result); }, places[0], places[1]);
}

template <class M>
typename M::T sum_of(const std::vector<typename M::T>& values, int32_t sf = 0)
{
    typename M::T result{};
    EXPECT_EQ(M::call(values.data(), &result, static_cast<int32_t>(values.size()), sf), SrOk);
    return result;
}

// Logarithms near enough to each other that every element counts, with some that do not; the scale of integers is
// limited to what their type holds.
template <class T>
std::vector<T> logarithms(int count, int32_t sf)
{
    const double centre = uniform(-200.0, 200.0);
    std::vector<T> values;
    for (int i = 0; i < count; ++i)
        values.push_back(in_units<T>(centre + uniform(-8.0, 8.0) - (i % 7 == 3 ? 20 : 0), sf));
    return values;
}

template <class M>
class LogSum : public testing::Test {};
template <class M>
class LogSumFloat : public testing::Test {};
template <class M>
class LogSumScaled : public testing::Test {};
struct Name {
    template <class M>
    static std::string GetName(int)
    {
        return M::kName;
    }
};
using Members = testing::Types<Sum_32f, Sum_64f, Sum_32s_Sfs, Sum_16s_Sfs>;
using FloatMembers = testing::Types<Sum_32f, Sum_64f>;
using ScaledMembers = testing::Types<Sum_32s_Sfs, Sum_16s_Sfs>;
TYPED_TEST_SUITE(LogSum, Members, Name);
TYPED_TEST_SUITE(LogSumFloat, FloatMembers, Name);
TYPED_TEST_SUITE(LogSumScaled, ScaledMembers, Name);

// --- every member ---

TYPED_TEST(LogSum, EveryLengthAndPlacement)
{
    using T = typename TypeParam::T;
    std::vector<int> swept;
    for (int length = 1; length <= 40; ++length)
        if (!thin_effort() || length < 14) swept.push_back(length);
    swept.insert(swept.end(), {127, 128, 129, 130, 134, 135, 136, 256, 257});
    at_every_place<2>(swept, {sizeof(T), sizeof(T)}, [&](int length, const auto& places) {
        return sums<TypeParam>(logarithms<T>(length, 4), 4, places);
    });
}

TYPED_TEST(LogSum, EveryLengthAroundTheBlocks)
{
    using T = typename TypeParam::T;
    for (int length = 1; length <= (thin_effort() ? 140 : 530); ++length)
        for (int32_t sf : {4, 7})
            ASSERT_TRUE(sums<TypeParam>(logarithms<T>(length, sf), sf)) << "length " << length << ", sf " << sf;
    EXPECT_TRUE(sums<TypeParam>(logarithms<T>(10001, 4), 4));
}

TYPED_TEST(LogSum, OneElementIsItsOwnSum)
{
    using T = typename TypeParam::T;
    std::vector<T> values = special_values<T>();
    for (double x : {-5e6, -2e10, 3.25}) values.push_back(in_units<T>(x, 0));
    for (T x : values)
        for (int32_t sf : {0, 5, -5, 200, -200, INT32_MAX, INT32_MIN})
            EXPECT_TRUE(same_value(x, sum_of<TypeParam>({x}, sf))) << "sf " << sf;
}

TYPED_TEST(LogSum, TheResultMayReplaceTheFirstElement)
{
    using T = typename TypeParam::T;
    for (int length : {1, 2, 5, 8, 11, 130, 300}) {
        std::vector<T> values = logarithms<T>(length, 4);
        const T expected = TypeParam::sum(values, 4);
        EXPECT_EQ(TypeParam::call(values.data(), values.data(), length, 4), SrOk);
        EXPECT_TRUE(same_value(expected, values[0])) << length;
    }
}

TYPED_TEST(LogSum, LengthThenPointersAreChecked)
{
    using T = typename TypeParam::T;
    struct Arguments {
        const T* src;
        T* result;
        int32_t len;
    };
    Guarded<T> src(std::vector<T>(9, T(3))), result(std::vector<T>(1, T(4)));
    for (int32_t good : {1, 2, 9})
        for (int32_t length : {0, -1, INT32_MIN})
            expect_check_order<Arguments>(
                {src.data(), result.data(), good},
                {{"length", SrErrSize, [=](Arguments& a) { a.len = length; }},
                 {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                 {"null result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }}},
                [](const Arguments& a) { return TypeParam::call(a.src, a.result, a.len, 4); }, {&src, &result});
    expect_reads_nothing_below_length_one<T>(
        [](T* nothing, int32_t len) { return TypeParam::call(nothing, nothing, len, 4); });
}

#ifdef __i386__
TYPED_TEST(LogSum, RunsOnAnyStack)
{
    using T = typename TypeParam::T;
    for (int misalign : {0, 4, 8, 12})
        for (int length : {1, 6, 7, 131}) {
            const std::vector<T> values = logarithms<T>(length, 4);
            T result{};
            EXPECT_EQ(TypeParam::call(values.data(), &result, length, 4, OnOddStack{misalign}), SrOk);
            EXPECT_TRUE(same_value(TypeParam::sum(values, 4), result)) << "stack on " << misalign;
        }
}
#endif

// --- floating point ---

TYPED_TEST(LogSumFloat, SpecialValuesAtEveryPosition)
{
    using T = typename TypeParam::T;
    const T infinity = std::numeric_limits<T>::infinity();
    for (int length = 1; length <= 19; ++length)
        for (int position = 0; position < length; ++position)
            for (T special : special_values<T>()) {
                std::vector<T> values = logarithms<T>(length, 0);
                values[static_cast<std::size_t>(position)] = special;
                ASSERT_TRUE(sums<TypeParam>(values, 0)) << length << ", " << special << " at " << position;
                if (std::isnan(special) || special == infinity) {
                    ASSERT_TRUE(same_value(special, sum_of<TypeParam>(values)));
                }
                values[static_cast<std::size_t>(position * 5 % length)] = infinity;
                ASSERT_TRUE(sums<TypeParam>(values, 0)) << length << ", " << special << " at " << position;
            }
    EXPECT_TRUE(std::isnan(sum_of<TypeParam>({infinity, infinity})));
    EXPECT_TRUE(std::isnan(sum_of<TypeParam>({-infinity, -infinity})));
    EXPECT_EQ(sum_of<TypeParam>({-infinity, T(3)}), T(3));
}

TYPED_TEST(LogSumFloat, TermsAtTheFloor)
{
    using T = typename TypeParam::T;
    const T floor = static_cast<T>(DomainOf<T>::kLogZero);
    for (int length = 1; length <= 20; ++length)
        for (T x : {floor, T(1.25) * floor, T(0.95) * floor, T(2) * floor}) {
            std::vector<T> values(static_cast<std::size_t>(length), x);
            EXPECT_TRUE(sums<TypeParam>(values, 0));
            for (T& value : values) value *= uniform(T(0.9), T(1.1));
            EXPECT_TRUE(sums<TypeParam>(values, 0));
        }
    EXPECT_EQ(sum_of<TypeParam>({2 * floor}), 2 * floor);
    EXPECT_EQ(sum_of<TypeParam>({2 * floor, 3 * floor}), floor);
}

// The sums one after the other and in lanes are not the same: where the one ends and the other begins shows.
TEST(LogSum_32f, RunsInFourLanesFromEightElements)
{
    int differ = 0;
    for (int i = 0; i < 200; ++i) {
        std::vector<float> values = logarithms<float>(8, 0);
        const float serial = reference::log_fold<4>(values, 8, reference::log_add_fast);
        differ += serial != sum_of<Sum_32f>(values);
        values.pop_back();
        EXPECT_EQ(sum_of<Sum_32f>(values), reference::log_fold<4>(values, 8, reference::log_add_fast));
    }
    EXPECT_GT(differ, 20);
}

TEST(LogSum_64f, RunsInTwoLanesFromFiveElements)
{
    int differ = 0;
    const auto add = [](double a, double b) { return reference::log_add(a, b); };
    for (int i = 0; i < 200; ++i) {
        std::vector<double> values = logarithms<double>(5, 0);
        differ += reference::log_fold<2>(values, 5, add) != sum_of<Sum_64f>(values);
        values.pop_back();
        EXPECT_EQ(sum_of<Sum_64f>(values), reference::log_fold<2>(values, 5, add));
    }
    EXPECT_GT(differ, 20);
}

// Equal terms: ln(n) more. A step in single precision errs by less than 1e-7 and half a unit of the result, and
// loses 1 / 4.5e6 at most below the cut; in double 1e-14 and 1e-10.
TYPED_TEST(LogSumFloat, IsTheLogarithmOfTheSum)
{
    using T = typename TypeParam::T;
    for (int length = 1; length <= 300; ++length) {
        const std::vector<T> values = logarithms<T>(length, 0);
        long double sum = 0;
        for (T x : values) sum += std::exp(static_cast<long double>(x));
        const long double step = sizeof(T) == 4 ? 3.3e-7L : 1.1e-10L;
        const long double exact = std::log(sum);
        const long double unit = (std::abs(exact) + 1) * std::numeric_limits<T>::epsilon();
        ASSERT_NEAR(static_cast<long double>(sum_of<TypeParam>(values)), exact, length * (step + unit)) << length;
    }
}

// --- integers ---

TYPED_TEST(LogSumScaled, EveryScaleFactor)
{
    using T = typename TypeParam::T;
    for (int32_t sf : scale_factors())
        for (int length : {2, 3, 4, 5, 6, 7, 8, 9, 12, 129, 136}) {
            const int32_t fitting = std::clamp(sf, -40, sizeof(T) == 2 ? 6 : 22);
            std::vector<T> values = logarithms<T>(length, fitting);
            ASSERT_TRUE(sums<TypeParam>(values, sf)) << "sf " << sf << ", length " << length;
            const T centre = uniform(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
            const int64_t spread = int64_t{8} << std::clamp(sf, 0, 30);
            for (T& value : values) value = reference::saturate<T>(centre + uniform(-spread, spread));
            ASSERT_TRUE(sums<TypeParam>(values, sf)) << "sf " << sf << ", length " << length;
        }
}

TYPED_TEST(LogSumScaled, EndsOfTheType)
{
    using T = typename TypeParam::T;
    const std::vector<T> special = special_values<T>();
    for (int32_t sf : {-160, -150, -129, -128, -127, -30, -8, -1, 0, 1, 8, 24, 31, 127, 128, 149, 150, 160})
        for (int length : {2, 3, 6, 7, 8, 11, 130})
            for (int i = 0; i < 20; ++i) {
                std::vector<T> values(static_cast<std::size_t>(length), special[generator()() % special.size()]);
                for (T& value : values)
                    if (i >= 11) value = special[generator()() % special.size()];
                ASSERT_TRUE(sums<TypeParam>(values, sf)) << "sf " << sf << ", length " << length;
            }
}

TYPED_TEST(LogSumScaled, TruncatesTowardZeroAndSaturates)
{
    using T = typename TypeParam::T;
    constexpr T largest = std::numeric_limits<T>::max(), lowest = std::numeric_limits<T>::min();
    const auto all = [](int length, T x) { return std::vector<T>(static_cast<std::size_t>(length), x); };
    EXPECT_EQ(sum_of<TypeParam>(all(2, 0)), 0);          // 0.69
    EXPECT_EQ(sum_of<TypeParam>(all(2, -1)), 0);         // -0.31
    EXPECT_EQ(sum_of<TypeParam>(all(2, -2)), -1);        // -1.31
    EXPECT_EQ(sum_of<TypeParam>(all(6, -3)), -1);        // -1.21
    EXPECT_EQ(sum_of<TypeParam>(all(7, -3)), -1);        // -1.05
    EXPECT_EQ(sum_of<TypeParam>(all(8, -3)), 0);         // -0.92
    EXPECT_EQ(sum_of<TypeParam>(all(200, 0)), 5);        // 5.30
    EXPECT_EQ(sum_of<TypeParam>(all(200, 0), 8), 1356);  // 1356.37
    EXPECT_EQ(sum_of<TypeParam>({100, -100, 3}), 100);
    for (int length : {2, 6, 7, 8, 129}) {
        EXPECT_EQ(sum_of<TypeParam>(all(length, largest)), largest) << length;
        EXPECT_EQ(sum_of<TypeParam>(all(length, largest), 8), largest) << length;
        const T low =
            static_cast<T>(lowest + (sizeof(T) == 2 ? 1 : 128));  // a single, 2^10 times which absorbs ln n
        EXPECT_EQ(sum_of<TypeParam>(all(length, low), -10), low) << length;
    }
}

// The running value of short vectors is rounded to single: 2^31 + 0.69 is 2^31, and 2147483520 is a single.
TEST(LogSum_32s_Sfs, AResultOfTwoToThe31Saturates)
{
    for (int length : {2, 6, 7, 129}) {
        const std::vector<int32_t> largest(static_cast<std::size_t>(length), INT32_MAX);
        const std::vector<int32_t> below(static_cast<std::size_t>(length), 2147483520);
        EXPECT_EQ(sum_of<Sum_32s_Sfs>(largest), INT32_MAX) << length;
        EXPECT_EQ(sum_of<Sum_32s_Sfs>(below), 2147483520) << length;
        const std::vector<int32_t> lowest(static_cast<std::size_t>(length), INT32_MIN);
        EXPECT_EQ(sum_of<Sum_32s_Sfs>(lowest), INT32_MIN) << length;
    }
}

// An infinite sum over the scale: infinite too, but where the scale is infinite in double precision, no number.
TYPED_TEST(LogSumScaled, AnInfiniteSumSaturates)
{
    using T = typename TypeParam::T;
    for (int length = 2; length <= 7; ++length) {
        std::vector<T> values(static_cast<std::size_t>(length), T(-1));
        values[0] = 1;
        for (int32_t sf : {-128, -129, -160, -1000, -1023}) {
            EXPECT_EQ(sum_of<TypeParam>(values, sf), std::numeric_limits<T>::max()) << length << ", sf " << sf;
        }
        for (int32_t sf : {-1024, -2000, INT32_MIN}) {
            EXPECT_EQ(sum_of<TypeParam>(values, sf), std::numeric_limits<T>::min()) << length << ", sf " << sf;
        }
    }
}

TEST(LogSum_32s_Sfs, TheFloorIsALogarithm)
{
    EXPECT_EQ(sum_of<Sum_32s_Sfs>({-10000000, -6000000}), -4500000);
    EXPECT_EQ(sum_of<Sum_32s_Sfs>({-10000, -6000}, -10), -4394);
    EXPECT_EQ(sum_of<Sum_32s_Sfs>({-10000000, -6000000}, 4), -6000000);
    EXPECT_EQ(sum_of<Sum_32s_Sfs>({-10000000, -6000000, -7000000, -8000000, -9000000, -7500000, -8500000}),
              -4500000);
}

TYPED_TEST(LogSumScaled, KeepsAndIgnoresTheEnvironment)
{
    using T = typename TypeParam::T;
    for (int length : {1, 2, 6, 7, 131})
        for (int32_t sf : {0, 5, 11, 127}) {
            const std::vector<T> values = logarithms<T>(length, 5);
            const T expected = TypeParam::sum(values, sf);
            T result{};
            SrStatus status = SrErrUnknown;
            under_each_environment([&] { status = TypeParam::call(values.data(), &result, length, sf); },
                                   [&](const std::string& setting) {
                                       EXPECT_EQ(status, SrOk);
                                       EXPECT_TRUE(same_value(expected, result)) << setting << ", " << length;
                                       result = 0;
                                   });
        }
}

}  // namespace
}  // namespace zelsr::test
