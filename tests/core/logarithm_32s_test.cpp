// Logarithms of integers: the ladder of bounds, the shift behind it, and the form that scales up.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "support/environment.h"
#include "support/faults.h"
#include "support/operation.h"
#include "support/reference/logarithm.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

using Elements = std::vector<int32_t>;

// The two forms: from one array to another, and in place.
struct Apart {
    static constexpr const char* kName = "Sfs";
    template <class How>
    static SrStatus call(How how, const int32_t* src, int32_t* dst, int32_t len, int32_t sf)
    {
        return how(zelsLn_32s_Sfs, src, dst, len, sf);
    }
    template <class Call>
    static testing::AssertionResult run(const Elements& values, const Elements& expected, Call call,
                                        const std::array<Placement, 2>& places, SrStatus status)
    {
        return maps(values, expected, call, places[0], places[1], status);
    }
};

struct InPlace {
    static constexpr const char* kName = "ISfs";
    template <class How>
    static SrStatus call(How how, const int32_t*, int32_t* array, int32_t len, int32_t sf)
    {
        return how(zelsLn_32s_ISfs, array, len, sf);
    }
    template <class Call>
    static testing::AssertionResult run(const Elements& values, const Elements& expected, Call call,
                                        const std::array<Placement, 2>& places, SrStatus status)
    {
        return maps_onto_itself(values, expected, call, places[0], status);
    }
};

template <class Form>
class Ln_32sTest : public testing::Test {
  public:
    static testing::AssertionResult gives(const Elements& values, const Elements& expected, int32_t sf,
                                          const std::array<Placement, 2>& places = {})
    {
        const auto call = [sf](const int32_t* src, int32_t* dst, int32_t len) {
            return Form::call(Direct{}, src, dst, len, sf);
        };
        return Form::run(values, expected, call, places, status_of(values));
    }

    static SrStatus status_of(const Elements& values)
    {
        for (int32_t x : values)
            if (x < 1) return x == 0 ? SrWarnLnZeroArg : SrWarnLnNegArg;
        return SrOk;
    }

    static Elements results(Elements values, int32_t sf)
    {
        const Elements source = values;
        EXPECT_EQ(Form::call(Direct{}, source.data(), values.data(), static_cast<int32_t>(values.size()), sf),
                  status_of(source));
        return values;
    }
};
struct FormName {
    template <class Form>
    static std::string GetName(int)
    {
        return Form::kName;
    }
};
using Forms = testing::Types<Apart, InPlace>;
TYPED_TEST_SUITE(Ln_32sTest, Forms, FormName);

// The last integer that still gives k, for k from 0 on.
constexpr int32_t kLast[] = {1,       4,       12,       33,       90,        244,       665,
                             1808,    4914,    13359,    36315,    98715,     268337,    729416,
                             1982759, 5389698, 14650719, 39824784, 108254987, 294267566, 799902177};

Elements positive_values(std::size_t count)
{
    Elements values;
    while (values.size() < count) values.push_back(1 + (uniform(0, INT32_MAX - 1) >> uniform(0, 30)));
    return values;
}

Elements ladder(const Elements& values, int32_t sf)
{
    Elements results;
    for (int32_t x : values)
        results.push_back(x < 1 ? INT32_MIN : reference::nearest_logarithm(x) >> std::min(sf, 31));
    return results;
}

TEST(LogarithmLadder, LastBoundsAreThoseOfTheExponential)
{
    for (int k = 0; k <= 20; ++k)
        EXPECT_EQ(kLast[k], static_cast<int32_t>(std::floor(std::exp(static_cast<long double>(k) + 0.5L)))) << k;
}

TYPED_TEST(Ln_32sTest, EachStepOfTheLadderIsWhereItShouldBe)
{
    Elements values;
    Elements expected;
    for (int32_t k = 0; k <= 20; ++k) {
        const int32_t last = kLast[k];
        const int32_t first = k == 0 ? 1 : kLast[k - 1] + 1;
        for (int32_t x : {first, std::midpoint(first, last), last}) {
            values.push_back(x);
            expected.push_back(k);
        }
    }
    for (int32_t x : {799902178, 1 << 30, INT32_MAX - 1, INT32_MAX}) {
        values.push_back(x);
        expected.push_back(21);
    }
    EXPECT_TRUE(this->gives(values, expected, 0));
    for (std::size_t i = 0; i < values.size(); ++i) EXPECT_TRUE(this->gives({values[i]}, {expected[i]}, 0));
}

TYPED_TEST(Ln_32sTest, AllSmallIntegersAndRandomOnesGiveTheNearest)
{
    Elements values = positive_values(2000);
    for (int32_t x = 1; x < 2000; ++x) values.push_back(x);
    EXPECT_TRUE(this->gives(values, ladder(values, 0), 0));
}

TYPED_TEST(Ln_32sTest, RoundingComesBeforeTheShift)
{
    EXPECT_TRUE(this->gives({4, 5, 12, 13, INT32_MAX}, {0, 1, 1, 1, 10}, 1));  // 1, 2, 2, 3, 21 shifted
    Elements values(kLast, kLast + 21);
    for (int32_t last : kLast) values.push_back(last + 1);
    for (int32_t sf : scale_factors())
        if (sf >= 0) {
            ASSERT_TRUE(this->gives(values, ladder(values, sf), sf)) << "sf " << sf;
        }
}

TYPED_TEST(Ln_32sTest, BelowOneIsTheLowestWhateverTheScaleFactor)
{
    for (int32_t sf : scale_factors()) {
        ASSERT_TRUE(this->gives({0}, {INT32_MIN}, sf)) << "sf " << sf;
        ASSERT_TRUE(this->gives({-1, -1000, INT32_MIN}, {INT32_MIN, INT32_MIN, INT32_MIN}, sf)) << "sf " << sf;
    }
}

TYPED_TEST(Ln_32sTest, OfOneIsZeroWhateverTheScaleFactor)
{
    for (int32_t sf : scale_factors())
        ASSERT_TRUE(this->gives({1, 1, 1, 1, 1}, {0, 0, 0, 0, 0}, sf)) << "sf " << sf;
}

TYPED_TEST(Ln_32sTest, TheFirstElementBelowOneSetsTheStatusAndAllOthersAreComplete)
{
    const Elements ordinary = positive_values(600);
    for (int32_t sf : {0, 1, -10}) {
        const Elements ordinary_results = this->results(ordinary, sf);
        for (auto [first, second] :
             {std::pair{0, 1}, {3, 30}, {100, 255}, {255, 256}, {200, 300}, {256, 599}, {598, 599}})
            for (int32_t x : {0, -1, INT32_MIN})
                for (int32_t y : {0, -5}) {
                    Elements values = ordinary;
                    Elements expected = ordinary_results;
                    values[static_cast<std::size_t>(first)] = x;
                    values[static_cast<std::size_t>(second)] = y;
                    expected[static_cast<std::size_t>(first)] = INT32_MIN;
                    expected[static_cast<std::size_t>(second)] = INT32_MIN;
                    ASSERT_TRUE(this->gives(values, expected, sf)) << x << " then " << y << ", sf " << sf;
                }
    }
}

// For sf below 0 the logarithm is formed in single: x is rounded to single (2^-25 of ln(x) at most), the
// logarithm is within one unit in its last place, and the scaled value is rounded to an integer (one half).
TYPED_TEST(Ln_32sTest, ScaledUpIsTheSingleLogarithmWithinOneUnit)
{
    Elements values = positive_values(500);
    for (int32_t x = 1; x < 40; ++x) values.push_back(x);
    for (int32_t x : {(1 << 24) - 1, 1 << 24, (1 << 24) + 1, INT32_MAX - 1, INT32_MAX}) values.push_back(x);
    for (int32_t sf : scale_factors()) {
        if (sf >= 0) continue;
        const int shift = sf < -2000 ? 2000 : -sf;
        const Elements results = this->results(values, sf);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const long double exact = std::log(static_cast<long double>(values[i]));
            const long double unit = exact == 0 ? 0 : std::ldexp(1.0L, std::ilogb(exact) - 23) + 0x1p-25L;
            const auto limit = [shift](long double x) {
                return std::clamp(std::ldexp(x, shift), -2147483648.0L, 2147483647.0L);
            };
            ASSERT_GE(results[i] + 0.5L, limit(exact - unit)) << values[i] << ", sf " << sf;
            ASSERT_LE(results[i] - 0.5L, limit(exact + unit)) << values[i] << ", sf " << sf;
        }
    }
}

TYPED_TEST(Ln_32sTest, ScaledUpByValue)
{
    EXPECT_TRUE(this->gives({1, 2, 3, 10}, {0, 710, 1125, 2358}, -10));
    EXPECT_TRUE(this->gives({1, 2, 3, INT32_MAX}, {0, 1, 2, 43}, -1));
    EXPECT_TRUE(this->gives({1, 2, 3, INT32_MAX}, {0, INT32_MAX, INT32_MAX, INT32_MAX}, -32));
    EXPECT_TRUE(this->gives({1, INT32_MAX}, {0, INT32_MAX}, -27));
}

TYPED_TEST(Ln_32sTest, BitsAreTheSameAtEveryLengthAndAddress)
{
    Elements values = positive_values(140);
    for (int32_t x : {0, -1}) {
        for (int32_t sf : {0, 2, -12, -40}) {
            SCOPED_TRACE(sf);
            Elements expected;
            for (int32_t value : values) expected.push_back(this->results({value}, sf)[0]);
            at_every_place<2>(lengths(32), {4, 4}, [&](int length, const auto& places) {
                return this->gives(window(values, length, length), window(expected, length, length), sf, places);
            });
            for (std::size_t length : {255u, 256u, 257u, 513u, 600u}) {
                Elements longer;
                Elements longer_expected;
                for (std::size_t i = 0; i < length; ++i) {
                    longer.push_back(values[i % 139]);
                    longer_expected.push_back(expected[i % 139]);
                }
                for (const Placement& place : placements(4))
                    ASSERT_TRUE(this->gives(longer, longer_expected, sf, {place, {}})) << length;
            }
        }
        values[77] = x;
    }
}

TEST(Ln_32s_Sfs, RunsOntoItsSource)
{
    for (int32_t sf : {0, 2, -12}) {
        const Elements values = positive_values(300);
        Elements expected(300);
        zelsLn_32s_Sfs(values.data(), expected.data(), 300, sf);
        const auto call = [sf](const int32_t* src, int32_t* dst, int32_t len) {
            return zelsLn_32s_Sfs(src, dst, len, sf);
        };
        EXPECT_TRUE(maps_onto_itself(values, expected, call));
    }
}

TYPED_TEST(Ln_32sTest, KeepsAndIgnoresTheEnvironment)
{
    Elements values = positive_values(600);
    values.insert(values.end(), {1, 2, 0, -1, INT32_MAX, INT32_MIN});
    for (int32_t sf : {0, 1, -12, -40, -200}) {
        const Elements expected = this->results(values, sf);
        Elements array = values;
        SrStatus status = SrOk;
        under_each_environment(
            [&] {
                status = TypeParam::call(Direct{}, values.data(), array.data(),
                                         static_cast<int32_t>(values.size()), sf);
            },
            [&](const std::string& environment) {
                EXPECT_EQ(status, SrWarnLnZeroArg) << environment;
                EXPECT_TRUE(same_values(expected, array)) << environment << ", sf " << sf;
                array = values;
            });
    }
}

TYPED_TEST(Ln_32sTest, ReportsNullBeforeLengthAndWritesNothing)
{
    struct Arguments {
        const int32_t* src;
        int32_t* dst;
        int32_t len;
    };
    const Guarded<int32_t> source(Elements(40, 7));
    Guarded<int32_t> result(Elements(40, 7));
    std::vector<Fault<Arguments>> faults = {{"null array", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
                                            {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
                                            {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
                                            {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}};
    if (std::is_same_v<TypeParam, Apart>)
        faults.insert(faults.begin(), {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }});
    for (int32_t sf : {0, 5, -5})
        expect_check_order<Arguments>(
            {source.data(), result.data(), 40}, faults,
            [sf](const Arguments& a) { return TypeParam::call(Direct{}, a.src, a.dst, a.len, sf); }, {&result});
    expect_reads_nothing_below_length_one<int32_t>(
        [](int32_t* array, int32_t length) { return TypeParam::call(Direct{}, array, array, length, 0); });
}

#ifdef __i386__
TYPED_TEST(Ln_32sTest, RunsOnAnyStack)
{
    const Elements values = positive_values(300);
    for (int misalign : {0, 4, 8, 12})
        for (int32_t sf : {0, 2, -12}) {
            const auto call = [=](const int32_t* src, int32_t* dst, int32_t len) {
                return TypeParam::call(OnOddStack{misalign}, src, dst, len, sf);
            };
            EXPECT_TRUE(TypeParam::run(values, this->results(values, sf), call, {}, SrOk)) << misalign;
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
