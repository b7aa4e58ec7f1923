// Differences of two vectors of logarithms.
#include <gtest/gtest.h>

#include <string>

#include "likelihood/log_domain.h"
#include "support/environment.h"
#include "support/faults.h"

namespace zelsr::test {
namespace {

// A member's call, and what it makes of s in src and y in srcdst.
struct Sub_32f {
    using T = float;
    static constexpr const char* kName = "32f";
    template <class How = Direct>
    static SrStatus call(const T* src, T* srcdst, int32_t len, int32_t, How how = {})
    {
        return how(zelsLogSub_32f, src, srcdst, len);
    }
    static T difference(T s, T y, int32_t) { return reference::log_sub(s, y); }
};
struct Sub_64f {
    using T = double;
    static constexpr const char* kName = "64f";
    template <class How = Direct>
    static SrStatus call(const T* src, T* srcdst, int32_t len, int32_t, How how = {})
    {
        return how(zelsLogSub_64f, src, srcdst, len);
    }
    static T difference(T s, T y, int32_t) { return reference::log_sub(s, y); }
};
struct Sub_32s_Sfs {
    using T = int32_t;
    static constexpr const char* kName = "32s_Sfs";
    template <class How = Direct>
    static SrStatus call(const T* src, T* srcdst, int32_t len, int32_t sf, How how = {})
    {
        return how(zelsLogSub_32s_Sfs, src, srcdst, len, sf);
    }
    static T difference(T s, T y, int32_t sf) { return reference::log_sub_scaled(s, y, sf); }
};
struct Sub_16s_Sfs {
    using T = int16_t;
    static constexpr const char* kName = "16s_Sfs";
    template <class How = Direct>
    static SrStatus call(const T* src, T* srcdst, int32_t len, int32_t sf, How how = {})
    {
        return how(zelsLogSub_16s_Sfs, src, srcdst, len, sf);
    }
    static T difference(T s, T y, int32_t sf) { return reference::log_sub_scaled(s, y, sf); }
};

template <class M>
testing::AssertionResult subtracts(const Operands<typename M::T>& operands, int32_t sf,
                                   const std::array<Placement, 2>& places = {})
{
    using T = typename M::T;
    SrStatus status = SrOk;
    for (std::size_t i = 0; i < operands.src.size(); ++i)
        if (reference::not_below(operands.src[i], operands.srcdst[i])) status = SrErrRange;
    return updates(
        operands, element_by_element(operands, [=](T s, T y) { return M::difference(s, y, sf); }),
        [=](const T* src, T* srcdst, int32_t len) { return M::call(src, srcdst, len, sf); }, places, status);
}

template <class M>
typename M::T one(typename M::T s, typename M::T y, int32_t sf = 0)
{
    using T = typename M::T;
    return on_one_pair(s, y, [=](const T* src, T* srcdst, int32_t len) { return M::call(src, srcdst, len, sf); });
}

// operands<T>, without the pairs that the check would find.
template <class T>
Operands<T> subtrahends(int count, int32_t sf)
{
    Operands<T> all = operands<T>(count, sf, false);
    for (std::size_t i = 0; i < all.src.size(); ++i) {
        if (!reference::not_below(all.src[i], all.srcdst[i])) continue;
        all.src[i] = in_units<T>(uniform(-100.0, 100.0), std::min(sf, 6));
        if constexpr (std::is_floating_point_v<T>)
            all.srcdst[i] = all.src[i] - 1;
        else
            all.srcdst[i] = static_cast<T>(all.src[i] - uniform(1, 200));
    }
    return all;
}

template <class M>
class LogSub : public testing::Test {};
template <class M>
class LogSubFloat : public testing::Test {};
template <class M>
class LogSubScaled : public testing::Test {};
struct Name {
    template <class M>
    static std::string GetName(int)
    {
        return M::kName;
    }
};
using Members = testing::Types<Sub_32f, Sub_64f, Sub_32s_Sfs, Sub_16s_Sfs>;
using FloatMembers = testing::Types<Sub_32f, Sub_64f>;
using ScaledMembers = testing::Types<Sub_32s_Sfs, Sub_16s_Sfs>;
TYPED_TEST_SUITE(LogSub, Members, Name);
TYPED_TEST_SUITE(LogSubFloat, FloatMembers, Name);
TYPED_TEST_SUITE(LogSubScaled, ScaledMembers, Name);

// --- every member ---

TYPED_TEST(LogSub, EveryLengthAndPlacement)
{
    using T = typename TypeParam::T;
    const Operands<T> all = subtrahends<T>(300, 4);
    std::vector<int> swept = lengths(18);
    swept.insert(swept.end(), {127, 128, 129, 257});
    at_every_place<2>(swept, {sizeof(T), sizeof(T)}, [&](int length, const auto& places) {
        return subtracts<TypeParam>(first_of(all, length), 4, places);
    });
}

// One pair of equal operands, or one whose second is the larger, wherever it stands.
TYPED_TEST(LogSub, AnOperandThatIsNotBelowIsFoundAnywhereAndNothingIsWritten)
{
    using T = typename TypeParam::T;
    for (int length : {1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 16, 17, 33, 129})
        for (int position = 0; position < length; ++position) {
            if (length > 40 && position % 16 != 0 && position != length - 1) continue;
            for (int above : {0, 1, 100})
                for (int misalign : {0, static_cast<int>(sizeof(T)), 5}) {
                    Operands<T> all = subtrahends<T>(length, 4);
                    const std::size_t at = static_cast<std::size_t>(position);
                    all.src[at] = T(uniform(-1000, 1000));
                    all.srcdst[at] = static_cast<T>(all.src[at] + T(above));
                    ASSERT_TRUE(updates(
                        all, {},
                        [](const T* src, T* srcdst, int32_t len) { return TypeParam::call(src, srcdst, len, 4); },
                        {Placement{misalign}, Placement{16 - misalign}}, SrErrRange))
                        << "length " << length << ", position " << position << ", above by " << above;
                }
        }
}

TYPED_TEST(LogSub, LengthThenPointersThenValuesAreChecked)
{
    using T = typename TypeParam::T;
    struct Arguments {
        const T* src;
        T* srcdst;
        int32_t len;
    };
    Guarded<T> src(std::vector<T>{2, 3, 4, 5, 6, 7, 8, 9, 10}), srcdst(std::vector<T>{1, 2, 3, 4, 5, 6, 7, 8, 9});
    for (int32_t length : {0, -1, INT32_MIN})
        expect_check_order<Arguments>(
            {src.data(), srcdst.data(), 9},
            {{"length", SrErrSize, [=](Arguments& a) { a.len = length; }},
             {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
             {"null destination", SrErrNullPtr, [](Arguments& a) { a.srcdst = nullptr; }},
             {"equal operands", SrErrRange, [](Arguments& a) { a.src = a.srcdst; }}},
            [](const Arguments& a) { return TypeParam::call(a.src, a.srcdst, a.len, 4); }, {&src, &srcdst});
    expect_reads_nothing_below_length_one<T>(
        [](T* nothing, int32_t len) { return TypeParam::call(nothing, nothing, len, 4); });
}

#ifdef __i386__
TYPED_TEST(LogSub, RunsOnAnyStack)
{
    using T = typename TypeParam::T;
    for (int misalign : {0, 4, 8, 12})
        for (int length : {1, 7, 131}) {
            const Operands<T> all = subtrahends<T>(length, 4);
            EXPECT_TRUE(updates(all,
                                element_by_element(all, [](T s, T y) { return TypeParam::difference(s, y, 4); }),
                                [=](const T* src, T* srcdst, int32_t len) {
                                    return TypeParam::call(src, srcdst, len, 4, OnOddStack{misalign});
                                }))
                << "stack on " << misalign;
        }
}
#endif

// --- floating point ---

TYPED_TEST(LogSubFloat, EveryDifference)
{
    using T = typename TypeParam::T;
    using Domain = DomainOf<T>;
    std::vector<T> differences;
    for (T near : around(static_cast<T>(Domain::kCut), 20)) differences.push_back(near);
    for (int exponent = 1; exponent < (sizeof(T) == 4 ? 150 : 1075); exponent += 1)
        differences.push_back(-std::ldexp(T(1), -exponent));
    for (int i = 0; i < (thin_effort() ? 300 : 3000); ++i)
        differences.push_back(static_cast<T>(uniform(1.1 * Domain::kCut, 0.0)));
    Operands<T> all;
    std::vector<T> larger = {T(0), T(-0.0), T(1), T(5.2), T(-5.2), T(12.25), T(-300.7), T(65536), T(-4.4e6)};
    for (double floor : {Domain::kLogZero, Domain::kFloorBelow, 1.1 * Domain::kLogZero})
        for (T near : around(static_cast<T>(floor), 2)) larger.push_back(near);
    for (T hi : larger)
        for (T d : differences)
            if (!reference::not_below(hi, static_cast<T>(hi + d))) {
                all.src.push_back(hi);
                all.srcdst.push_back(hi + d);
            }
    EXPECT_TRUE(subtracts<TypeParam>(all, 0));
}

TYPED_TEST(LogSubFloat, EveryPairOfSpecialValues)
{
    using T = typename TypeParam::T;
    std::vector<T> values = special_values<T>();
    for (double x : {-4.5e6, -5e6, -9e9, -1e10, -2e10, 700.0, -700.0}) values.push_back(static_cast<T>(x));
    Operands<T> passing;
    for (T s : values)
        for (T y : values) {
            const Operands<T> pair{{s}, {y}};
            ASSERT_TRUE(subtracts<TypeParam>(pair, 0)) << s << " and " << y;
            if (reference::not_below(s, y)) continue;
            passing.src.push_back(s);
            passing.srcdst.push_back(y);
        }
    EXPECT_TRUE(subtracts<TypeParam>(passing, 0));
}

// A difference that is not a number passes the check and counts as one below the cut.
TYPED_TEST(LogSubFloat, WithoutADifferenceOnlyTheSourceCounts)
{
    using T = typename TypeParam::T;
    const T nan = std::numeric_limits<T>::quiet_NaN(), infinity = std::numeric_limits<T>::infinity();
    const T floor = static_cast<T>(DomainOf<T>::kLogZero);
    EXPECT_EQ(one<TypeParam>(3, nan), T(3));
    EXPECT_EQ(one<TypeParam>(2 * floor, nan), floor);
    EXPECT_EQ(one<TypeParam>(infinity, infinity), infinity);
    EXPECT_EQ(one<TypeParam>(-infinity, -infinity), floor);
    EXPECT_TRUE(std::isnan(one<TypeParam>(nan, 3)));
    EXPECT_TRUE(std::isnan(one<TypeParam>(nan, nan)));
    EXPECT_EQ(one<TypeParam>(infinity, 3), infinity);
    EXPECT_EQ(one<TypeParam>(3, -infinity), T(3));
    EXPECT_EQ(one<TypeParam>(2 * floor, -infinity), floor);
}

TEST(LogSub_32f, ValuesAtTheEdges)
{
    EXPECT_EQ(one<Sub_32f>(0, -0.6931472F), static_cast<float>(std::log(1 - std::exp(double{-0.6931472F}))));
    EXPECT_EQ(one<Sub_32f>(0, -16), 0.0F);
    EXPECT_EQ(one<Sub_32f>(-5e6F, -6e6F), -4.5e6F);
    EXPECT_EQ(one<Sub_32f>(-4.5e6F, -6e6F), -4.5e6F);
    EXPECT_EQ(one<Sub_32f>(-5e6F, -5000000.5F), static_cast<float>(-5e6 + std::log(1 - std::exp(-0.5))))
        << "no floor for terms near each other";
    const float cut = -15.3195879547406F;
    EXPECT_LT(one<Sub_32f>(0, cut), -2e-7F) << "the single nearest to the cut lies above it";
    EXPECT_EQ(one<Sub_32f>(0, std::nextafter(cut, -20.0F)), 0.0F);
    EXPECT_EQ(one<Sub_32f>(0, -1e-30F), -4.5e6F) << "e^d is 1";
    EXPECT_EQ(one<Sub_32f>(0, -1e-16F), static_cast<float>(std::log(1 - std::exp(double{-1e-16F}))));
}

TEST(LogSub_64f, ValuesAtTheEdges)
{
    EXPECT_EQ(one<Sub_64f>(0, -0.7), std::log(1 - std::exp(-0.7)));
    EXPECT_EQ(one<Sub_64f>(0, -24), 0.0);
    EXPECT_LT(one<Sub_64f>(0, -23.0258509299405), -9e-11) << "the cut itself counts";
    EXPECT_EQ(one<Sub_64f>(0, std::nextafter(-23.0258509299405, -24.0)), 0.0);
    EXPECT_EQ(one<Sub_64f>(-8.5e9, -9.6e9), -8.5e9);
    EXPECT_EQ(one<Sub_64f>(-9e9, -9.6e9), -9e9);
    EXPECT_EQ(one<Sub_64f>(-9.5e9, -9.6e9), -1e10);
    EXPECT_EQ(one<Sub_64f>(-2e10, -3e10), -1e10);
    EXPECT_EQ(one<Sub_64f>(0, -1e-30), -1e10) << "e^d is 1";
}

// ln(e^s - e^y) = s + ln(1 - e^d); 1 - e^d in double precision has an error of 1.2e-16, and the logarithm's slope
// is 1 / (1 - e^d).
TYPED_TEST(LogSubFloat, IsTheLogarithmOfTheDifference)
{
    using T = typename TypeParam::T;
    for (T s : {T(0), T(-100.25), T(1000)})
        for (int i = 1; i <= 15 * 64; ++i) {
            const T d = -static_cast<T>(i) / 64;
            const long double exact =
                static_cast<long double>(s) + std::log1p(-std::exp(static_cast<long double>(d)));
            ASSERT_NEAR(static_cast<long double>(one<TypeParam>(s, s + d)), exact,
                        std::numeric_limits<T>::epsilon() * (std::abs(exact) + (i < 64 ? 64.0L / i : 1)))
                << d;
        }
}

// --- integers ---

TYPED_TEST(LogSubScaled, EveryScaleFactor)
{
    using T = typename TypeParam::T;
    std::vector<int32_t> factors = {-160,  -151,  -150,      -149,          -129,     -128, -127, -126,
                                    -100,  100,   126,       127,           128,      129,  148,  149,
                                    150,   151,   160,       -1087,         1000,     1024, 1074, 1075,
                                    -1000, -1024, INT32_MIN, INT32_MIN + 1, INT32_MAX};
    for (int32_t sf = -40; sf <= 40; ++sf) factors.push_back(sf);
    for (int32_t sf : factors)
        for (int length : {3, 40}) {
            Operands<T> all = subtrahends<T>(length, std::clamp(sf, -40, 40));
            for (std::size_t i = 0; i < all.src.size(); i += 3) {
                T& s = all.src[i];
                do {
                    s = uniform(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
                    all.srcdst[i] = generator()() % 2 == 0
                                        ? uniform(std::numeric_limits<T>::min(), std::numeric_limits<T>::max())
                                        : reference::saturate<T>(int64_t{s} - uniform(1, 70));
                } while (reference::not_below(s, all.srcdst[i]));
            }
            ASSERT_TRUE(subtracts<TypeParam>(all, sf)) << "sf " << sf << ", length " << length;
        }
}

TYPED_TEST(LogSubScaled, EveryPairOfSpecialValues)
{
    using T = typename TypeParam::T;
    for (T s : special_values<T>())
        for (T y : special_values<T>())
            for (int32_t sf : {0, 1, 8, -8, 31, 127, -127, -128, 150})
                ASSERT_TRUE(subtracts<TypeParam>(Operands<T>{{s}, {y}}, sf)) << s << " and " << y << ", sf " << sf;
}

// 1000 + ln(1 - e^-1) = 999.54 and 1000 + ln(1 - e^(-1/16)) = 997.20: the logarithm is in units at every sf.
TYPED_TEST(LogSubScaled, OnlyTheDifferenceIsScaled)
{
    EXPECT_EQ(one<TypeParam>(1000, 999, 0), 999);
    EXPECT_EQ(one<TypeParam>(1000, 984, 4), 999);
    EXPECT_EQ(one<TypeParam>(1000, 999, 4), 997);
    EXPECT_EQ(one<TypeParam>(1000, 999, -4), 1000) << "e^-16 is ignored";
}

TYPED_TEST(LogSubScaled, TruncatesTowardZero)
{
    EXPECT_EQ(one<TypeParam>(0, -1, 0), 0);    // -0.459
    EXPECT_EQ(one<TypeParam>(-1, -2, 0), -1);  // -1.459
    EXPECT_EQ(one<TypeParam>(-7, -8, 4), -9);  // -9.80
    EXPECT_EQ(one<TypeParam>(2, 1, 4), 0);     // -0.80
}

TEST(LogSub_32s_Sfs, EndsOfTheType)
{
    EXPECT_EQ(one<Sub_32s_Sfs>(INT32_MAX, INT32_MAX - 100), INT32_MAX) << "s is exact, not rounded to single";
    EXPECT_EQ(one<Sub_32s_Sfs>(16777219, 0, 0), 16777219);
    EXPECT_EQ(one<Sub_32s_Sfs>(-5000000, -6000000), -4500000);
    EXPECT_EQ(one<Sub_32s_Sfs>(-5000000, -5000001), -5000000) << "-5000000.46: no floor near each other";
    EXPECT_EQ(one<Sub_32s_Sfs>(INT32_MIN + 1, INT32_MIN), -4500000) << "the same number in single precision";
    EXPECT_EQ(one<Sub_32s_Sfs>(INT32_MIN + 1000, INT32_MIN, 8), INT32_MIN + 1000) << "-0.018";
    EXPECT_EQ(one<Sub_32s_Sfs>(INT32_MIN + 256, INT32_MIN, 40), INT32_MIN + 234) << "-22.18";
    EXPECT_EQ(one<Sub_32s_Sfs>(INT32_MIN + 256, INT32_MIN, 8000), -4500000) << "e^-0 is 1";
    EXPECT_EQ(one<Sub_32s_Sfs>(300, 299, INT32_MIN), 300) << "an infinite difference";
}

// y - s modulo 2^32: beyond half the range the sign is the other one.
TEST(LogSub_32s_Sfs, TheCheckedDifferenceWraps)
{
    const auto status = [](int32_t s, int32_t y) { return zelsLogSub_32s_Sfs(&s, &y, 1, 0); };
    EXPECT_EQ(status(INT32_MAX, INT32_MIN), SrErrRange);
    EXPECT_EQ(status(1, INT32_MIN), SrErrRange);
    EXPECT_EQ(status(0, INT32_MIN), SrOk);
    EXPECT_EQ(status(INT32_MAX, -1), SrOk);
    EXPECT_EQ(status(INT32_MAX, -2), SrErrRange);
    EXPECT_EQ(one<Sub_32s_Sfs>(INT32_MIN, INT32_MAX), -4500000) << "1 - e^(2^32) is below the limit";
    EXPECT_EQ(one<Sub_32s_Sfs>(-2, INT32_MAX), -4500000);
    EXPECT_EQ(status(-1, INT32_MAX), SrOk);
    EXPECT_EQ(status(0, INT32_MAX), SrErrRange);
}

// Low 16 bits: -4500000 is -69 * 65536 + 21984, -32768 - 4.12 is 32764 above -65536.
TEST(LogSub_16s_Sfs, KeepsTheLowSixteenBits)
{
    EXPECT_EQ(one<Sub_16s_Sfs>(100, 99, 150), 21984) << "e^-0 is 1";
    EXPECT_EQ(one<Sub_16s_Sfs>(-32767, -32768, 6), 32765);  // -32767 - 4.17
    EXPECT_EQ(one<Sub_16s_Sfs>(32767, -32768), 32767) << "no wrap of the difference";
    EXPECT_EQ(one<Sub_16s_Sfs>(-32767, -32768), -32767);  // -0.46
}

TYPED_TEST(LogSubScaled, KeepsAndIgnoresTheEnvironment)
{
    using T = typename TypeParam::T;
    for (int length : {5, 131})
        for (int32_t sf : {0, 9}) {
            const Operands<T> all = subtrahends<T>(length, sf);
            const std::vector<T> expected =
                element_by_element(all, [=](T s, T y) { return TypeParam::difference(s, y, sf); });
            std::vector<T> srcdst = all.srcdst;
            SrStatus status = SrErrUnknown;
            under_each_environment([&] { status = TypeParam::call(all.src.data(), srcdst.data(), length, sf); },
                                   [&](const std::string& setting) {
                                       EXPECT_EQ(status, SrOk);
                                       EXPECT_TRUE(same_values(expected, srcdst)) << setting;
                                       srcdst = all.srcdst;
                                   });
        }
}

}  // namespace
}  // namespace zelsr::test
