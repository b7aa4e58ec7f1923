// The exponential of the negative square and the sine quotient.
#include <gtest/gtest.h>

#include <cstring>

#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "support/operation.h"
#include "zelsr/signal.h"

namespace zelsr::test {
namespace {

// Truth in extended precision. The square is rounded to the source's precision, or to double.
template <class T, class R>
long double bell(T x)
{
    const R wide = x;
    return std::exp(-static_cast<long double>(wide * wide));
}

// Single precision: the sine is formed in double, rounded to single, and divided.
template <class T, class R>
long double sine_quotient(T x)
{
    if (x == 0) return 1;
    if constexpr (std::is_same_v<R, float>) return static_cast<float>(std::sin(double{x})) / x;
    return std::sin(static_cast<long double>(x)) / static_cast<long double>(x);
}

// exact: to the bit, but for sines that a unit of the double's last place rounds the other way; else units in the
// last place.
template <class T, class R>
struct Mapping {
    using Source = T;
    using Result = R;
};
struct Bell_32f : Mapping<float, float> {
    static constexpr const char* name = "zelsExpNegSqr_32f";
    static constexpr auto call = zelsExpNegSqr_32f;
    static constexpr auto in_place = zelsExpNegSqr_32f_I;
    static long double truth(float x) { return bell<float, float>(x); }
    static constexpr double units = 1;
    static constexpr float reach = 10.5F;
};
struct Bell_64f : Mapping<double, double> {
    static constexpr const char* name = "zelsExpNegSqr_64f";
    static constexpr auto call = zelsExpNegSqr_64f;
    static constexpr auto in_place = zelsExpNegSqr_64f_I;
    static long double truth(double x) { return bell<double, double>(x); }
    static constexpr double units = 1;
    static constexpr double reach = 27.4;
};
struct Bell_32f64f : Mapping<float, double> {
    static constexpr const char* name = "zelsExpNegSqr_32f64f";
    static constexpr auto call = zelsExpNegSqr_32f64f;
    static long double truth(float x) { return bell<float, double>(x); }
    static constexpr double units = 1;
    static constexpr float reach = 27.4F;
};
struct Sine_32f : Mapping<float, float> {
    static constexpr const char* name = "zelsSinC_32f";
    static constexpr auto call = zelsSinC_32f;
    static constexpr auto in_place = zelsSinC_32f_I;
    static long double truth(float x) { return sine_quotient<float, float>(x); }
    static constexpr double units = 0;
    static constexpr float reach = 100;
};
struct Sine_64f : Mapping<double, double> {
    static constexpr const char* name = "zelsSinC_64f";
    static constexpr auto call = zelsSinC_64f;
    static constexpr auto in_place = zelsSinC_64f_I;
    static long double truth(double x) { return sine_quotient<double, double>(x); }
    static constexpr double units = 2;  // sine and quotient
    static constexpr double reach = 100;
};
struct Sine_32f64f : Mapping<float, double> {
    static constexpr const char* name = "zelsSinC_32f64f";
    static constexpr auto call = zelsSinC_32f64f;
    static long double truth(float x) { return sine_quotient<float, double>(x); }
    static constexpr double units = 2;
    static constexpr float reach = 100;
};

struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return T::name;
    }
};

template <class Member>
constexpr bool kInPlace = std::is_same_v<typename Member::Source, typename Member::Result>;

template <class Member>
typename Member::Result one(typename Member::Source x)
{
    typename Member::Result y = 77;
    EXPECT_EQ(Member::call(&x, &y, 1), SrOk);
    return y;
}

template <class R>
double units_apart(long double truth, R value)
{
    const R rounded = static_cast<R>(truth);
    if (same(rounded, value)) return 0;
    if (!std::isfinite(rounded) || !std::isfinite(value)) return 1e30;
    const int exponent = std::max(std::ilogb(rounded == 0 ? std::numeric_limits<R>::min() : rounded),
                                  std::numeric_limits<R>::min_exponent - 1);
    return static_cast<double>(std::abs(truth - static_cast<long double>(value)) /
                               std::ldexp(1.0L, exponent + 1 - std::numeric_limits<R>::digits));
}

template <class Member>
class Elementwise : public testing::Test {};
using Members = testing::Types<Bell_32f, Bell_64f, Bell_32f64f, Sine_32f, Sine_64f, Sine_32f64f>;
TYPED_TEST_SUITE(Elementwise, Members, Names);

template <class T>
std::vector<T> arguments(int len, T reach)
{
    auto x = uniform_vector<T>(len, -reach, reach);
    for (T& value : x)
        if (uniform(0, 5) == 0) value = special_values<T>()[static_cast<std::size_t>(uniform(0, 15))];
    return x;
}

// ---- Values -------------------------------------------------------------------------------------------------

TYPED_TEST(Elementwise, IsWithinItsUnits)
{
    using T = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    if (under_valgrind() && sizeof(R) == 8) return;  // the truth needs extended precision
    const int len = thin_effort() ? 1000 : 20000;
    int differing = 0;
    for (T reach : {TypeParam::reach, T(1), T(1e-3), T(TypeParam::reach * 50), T(1e30F)}) {
        const auto x = uniform_vector<T>(len, -reach, reach);
        std::vector<R> y(x.size());
        ASSERT_EQ(TypeParam::call(x.data(), y.data(), len), SrOk);
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double apart = units_apart(TypeParam::truth(x[i]), y[i]);
            differing += apart > 0;
            ASSERT_LE(apart, std::max(TypeParam::units, 1.001)) << x[i] << " gives " << y[i];
        }
    }
    if (TypeParam::units == 0) {
        EXPECT_LE(differing, len / 1000);
    }
}

TYPED_TEST(Elementwise, SpecialValues)
{
    using T = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    constexpr bool is_bell = std::string_view(TypeParam::name).starts_with("zelsExp");
    for (int len : {1, 8, 19})
        for (T x : special_values<T>())
            for (int at : {0, len / 2, len - 1}) {
                std::vector<T> values(static_cast<std::size_t>(len), T(0.75));
                values[static_cast<std::size_t>(at)] = x;
                std::vector<R> y(values.size());
                ASSERT_EQ(TypeParam::call(values.data(), y.data(), len), SrOk);
                const R result = y[static_cast<std::size_t>(at)];
                if (std::isnan(x) || (std::isinf(x) && !is_bell)) {
                    EXPECT_TRUE(std::isnan(result)) << x;
                } else if (std::isinf(x)) {
                    EXPECT_TRUE(same_value(R(0), result)) << x;
                } else if (x == 0) {
                    EXPECT_TRUE(same_value(R(1), result)) << x;
                } else {
                    EXPECT_LE(units_apart(TypeParam::truth(x), result), 2) << x;
                }
            }
}

// Down to the smallest subnormal and past it.
TYPED_TEST(Elementwise, SmallResultsAreSubnormalBeforeTheyVanish)
{
    using T = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    if (!std::string_view(TypeParam::name).starts_with("zelsExp")) return;
    if (under_valgrind()) return;
    const double last =
        std::sqrt(-std::log(2.0) * (std::numeric_limits<R>::min_exponent - std::numeric_limits<R>::digits));
    int subnormal = 0;
    for (double x = last - 1; x < last + 0.2; x += 0x1p-10) {
        const R y = one<TypeParam>(static_cast<T>(x));
        EXPECT_LE(units_apart(TypeParam::truth(static_cast<T>(x)), y), 1.001) << x;
        subnormal += y > 0 && y < std::numeric_limits<R>::min();
    }
    EXPECT_GT(subnormal, 100);
    EXPECT_TRUE(same_value(R(0), one<TypeParam>(static_cast<T>(last + 0.1))));
}

TEST(ExpNegSqr_32f64f, WidensBeforeItSquares)
{
    const float x = 3.1415927F;
    EXPECT_LE(units_apart(bell<float, double>(x), one<Bell_32f64f>(x)), under_valgrind() ? 4 : 1);
    EXPECT_GT(units_apart(static_cast<long double>(one<Bell_32f>(x)), one<Bell_32f64f>(x)), 100);
}

TEST(ExpNegSqr_32f, TheSquareIsInSinglePrecision)
{
    bool differs = false;
    for (float x = 3; x < 9; x += 0.01F) {
        const float y = one<Bell_32f>(x);
        EXPECT_LE(units_apart(bell<float, float>(x), y), 1.001) << x;
        differs |= units_apart(bell<float, double>(x), y) > 4;
    }
    EXPECT_TRUE(differs);
}

TEST(SinC_32f, TheSineIsRoundedBeforeItIsDivided)
{
    bool differs = false;
    for (float x = 0.5F; x < 20; x += 0.01F) {
        const float y = one<Sine_32f>(x);
        EXPECT_TRUE(same_value(static_cast<float>(std::sin(double{x})) / x, y)) << x;
        differs |= y != static_cast<float>(std::sin(double{x}) / double{x});
    }
    EXPECT_TRUE(differs);
}

TEST(Elementwise, ByValue)
{
    EXPECT_EQ(one<Bell_32f>(0), 1);
    EXPECT_EQ(one<Bell_64f>(0), 1);
    EXPECT_EQ(one<Bell_32f64f>(0), 1);
    EXPECT_FLOAT_EQ(one<Bell_32f>(1), 0.36787944F);
    EXPECT_FLOAT_EQ(one<Bell_32f>(-2), 0.018315639F);
    EXPECT_EQ(one<Sine_32f>(0), 1);
    EXPECT_EQ(one<Sine_32f>(-0.0F), 1);
    EXPECT_EQ(one<Sine_64f>(-0.0), 1);
    EXPECT_FLOAT_EQ(one<Sine_32f>(1), 0.84147098F);
    EXPECT_DOUBLE_EQ(one<Sine_64f>(1), 0.8414709848078965);
    EXPECT_DOUBLE_EQ(one<Sine_32f64f>(-0.5F), 0.958851077208406);
}

// ---- Layout -------------------------------------------------------------------------------------------------

// Each element by itself gives its bits, wherever it lies.
TYPED_TEST(Elementwise, EveryLengthAndAddress)
{
    using T = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    at_every_place<2>(lengths(12), {sizeof(T), sizeof(R)}, [](int len, const std::array<Placement, 2>& at) {
        const auto x = arguments<T>(len, TypeParam::reach);
        std::vector<R> expected;
        for (T value : x) expected.push_back(one<TypeParam>(value));
        if constexpr (kInPlace<TypeParam>) {
            Guarded<T> srcdst(x, at[0]);
            if (auto right = status_is(SrOk, TypeParam::in_place(srcdst.data(), len)); !right) return right;
            if (!srcdst.intact()) return testing::AssertionFailure() << "a byte beside the array was written";
            if (auto right = same_values(expected, srcdst.values()); !right) return right;
            if (auto right = maps_onto_itself(x, expected, TypeParam::call, at[1]); !right) return right;
        }
        return maps(x, expected, TypeParam::call, at[0], at[1]);
    });
}

// One element after the other: a result that lies on an element further on is that element's argument.
TYPED_TEST(Elementwise, OverlappingArraysAreWorkedThroughInOrder)
{
    using T = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    constexpr int kMargin = 96;
    for (int len : {1, 2, 3, 6, 7, 8, 9, 12, 16, 19, 33})
        for (int shift = -40; shift <= 40; ++shift) {  // bytes from source to destination
            if (thin_effort() && shift % 4 != 0) continue;
            const std::vector<T> x = uniform_vector<T>(len, T(-2), T(2));
            std::vector<std::byte> expected(kMargin * 2 + 33 * sizeof(R)), actual;
            std::byte* const src = expected.data() + kMargin;
            std::memcpy(src, x.data(), x.size() * sizeof(T));
            actual = expected;
            for (std::size_t i = 0; i < x.size(); ++i) {
                T value;
                std::memcpy(&value, src + i * sizeof(T), sizeof value);
                // Arguments of odd addresses may be signalling NaN, which arithmetic makes quiet.
                const R result = one<TypeParam>(value);
                std::memcpy(src + shift + i * sizeof(R), &result, sizeof result);
            }
            std::byte* const at = actual.data() + kMargin;
            EXPECT_EQ(TypeParam::call(reinterpret_cast<const T*>(at), reinterpret_cast<R*>(at + shift), len),
                      SrOk);
            ASSERT_EQ(expected, actual) << len << " elements, destination " << shift << " bytes behind the source";
        }
}

// ---- The frame of a call ------------------------------------------------------------------------------------

template <class T, class R>
struct MapArguments {
    const T* src;
    R* dst;
    int32_t len;
};

TYPED_TEST(Elementwise, NullThenSize)
{
    using T = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    using Arguments = MapArguments<T, R>;
    const std::vector<T> x(8, T(1));
    Guarded<R> result(8);
    expect_check_order<Arguments>({x.data(), result.data(), 8},
                                  {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                                   {"null result", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
                                   {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
                                   {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
                                  [](const Arguments& a) { return TypeParam::call(a.src, a.dst, a.len); },
                                  {&result});
    if constexpr (kInPlace<TypeParam>)
        expect_check_order<Arguments>({nullptr, result.data(), 8},
                                      {{"null array", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
                                       {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
                                       {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
                                      [](const Arguments& a) { return TypeParam::in_place(a.dst, a.len); },
                                      {&result});
}

TYPED_TEST(Elementwise, DoesNotDependOnTheEnvironment)
{
    using T = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    const auto x = arguments<T>(67, TypeParam::reach);
    std::vector<R> expected(67), result(67);
    EXPECT_EQ(TypeParam::call(x.data(), expected.data(), 67), SrOk);
    under_each_environment([&] { TypeParam::call(x.data(), result.data(), 67); },
                           [&](const std::string& setting) {
                               EXPECT_TRUE(same_values(expected, result)) << setting;
                               result.assign(67, 0);
                           });
    if constexpr (kInPlace<TypeParam>)
        under_each_environment(
            [&] {
                result = x;
                TypeParam::in_place(result.data(), 67);
            },
            [&](const std::string& setting) { EXPECT_TRUE(same_values(expected, result)) << setting; });
}

#ifdef __i386__
TYPED_TEST(Elementwise, WorksFromEveryStack)
{
    using T = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    const auto x = arguments<T>(23, TypeParam::reach);
    std::vector<R> expected(23), result(23);
    EXPECT_EQ(TypeParam::call(x.data(), expected.data(), 23), SrOk);
    for (int misalign : {0, 4, 8, 12}) {
        EXPECT_EQ(call_misaligned(+TypeParam::call, misalign, x.data(), result.data(), 23), SrOk);
        EXPECT_TRUE(same_values(expected, result)) << misalign;
        if constexpr (kInPlace<TypeParam>) {
            result = x;
            EXPECT_EQ(call_misaligned(+TypeParam::in_place, misalign, result.data(), 23), SrOk);
            EXPECT_TRUE(same_values(expected, result)) << misalign;
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
