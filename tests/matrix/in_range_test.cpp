// Vectors mapped between two fractions of their span.
#include <gtest/gtest.h>

#include "support/arrangements.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/normalize.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr::test {
namespace {

template <class S, class R>
struct Arguments {
    using Source = S;
    using Result = R;
    const S* src;
    R* dst;
    int32_t len;
    S lowest, highest;  // the MinMax forms
    float low, high;
    R range;
    int stack = -1;
};

template <class A, class... Parameter>
SrStatus call_with(const A& a, SrStatus (*function)(Parameter...), std::type_identity_t<Parameter>... arguments)
{
#ifdef __i386__
    if (a.stack >= 0) return call_misaligned(function, a.stack, arguments...);
#endif
    static_cast<void>(a);
    return function(arguments...);
}

template <class S, class R>
SrStatus shaped(SrStatus (*f)(const S*, R*, int32_t, float, float, R), const Arguments<S, R>& a)
{
    return call_with(a, f, a.src, a.dst, a.len, a.low, a.high, a.range);
}
template <class S, class R>
SrStatus shaped(SrStatus (*f)(const S*, R*, int32_t, S, S, float, float, R), const Arguments<S, R>& a)
{
    return call_with(a, f, a.src, a.dst, a.len, a.lowest, a.highest, a.low, a.high, a.range);
}
template <class S>
SrStatus shaped(SrStatus (*f)(S*, int32_t, float, float, S), const Arguments<S, S>& a)
{
    return call_with(a, f, a.dst, a.len, a.low, a.high, a.range);
}
template <class S>
SrStatus shaped(SrStatus (*f)(S*, int32_t, S, S, float, float, S), const Arguments<S, S>& a)
{
    return call_with(a, f, a.dst, a.len, a.lowest, a.highest, a.low, a.high, a.range);
}

template <class S, class R, auto Function, bool MinMax, bool InPlace = false>
struct Mapping {
    using Source = S;
    using Result = R;
    static constexpr bool kMinMax = MinMax, kInPlace = InPlace;
    static SrStatus call(const Arguments<S, R>& a) { return shaped(Function, a); }
};

// A pair of members, the second with the caller's lowest and highest values.
using Members = testing::Types<Mapping<float, float, zelsNormalizeInRange_32f, false>,
                               Mapping<float, int16_t, zelsNormalizeInRange_32f16s, false>,
                               Mapping<float, uint8_t, zelsNormalizeInRange_32f8u, false>,
                               Mapping<int16_t, int16_t, zelsNormalizeInRange_16s, false>,
                               Mapping<int16_t, uint8_t, zelsNormalizeInRange_16s8u, false>,
                               Mapping<float, float, zelsNormalizeInRange_32f_I, false, true>,
                               Mapping<int16_t, int16_t, zelsNormalizeInRange_16s_I, false, true>,
                               Mapping<float, float, zelsNormalizeInRangeMinMax_32f, true>,
                               Mapping<float, int16_t, zelsNormalizeInRangeMinMax_32f16s, true>,
                               Mapping<float, uint8_t, zelsNormalizeInRangeMinMax_32f8u, true>,
                               Mapping<int16_t, int16_t, zelsNormalizeInRangeMinMax_16s, true>,
                               Mapping<int16_t, uint8_t, zelsNormalizeInRangeMinMax_16s8u, true>,
                               Mapping<float, float, zelsNormalizeInRangeMinMax_32f_I, true, true>,
                               Mapping<int16_t, int16_t, zelsNormalizeInRangeMinMax_16s_I, true, true>>;
struct MemberName {
    template <class T>
    static std::string type()
    {
        return sizeof(T) == 4 ? "32f" : sizeof(T) == 2 ? "16s" : "8u";
    }
    template <class M>
    static std::string GetName(int)
    {
        using R = typename M::Result;
        const std::string source = type<typename M::Source>();
        return (M::kMinMax ? "MinMax_" : "") + source + (type<R>() == source ? "" : type<R>()) +
               (M::kInPlace ? "_I" : "");
    }
};
template <class M>
class NormalizeInRange : public testing::Test {};
TYPED_TEST_SUITE(NormalizeInRange, Members, MemberName);

// The rest of a call; lowest and highest are the source's own in the members that look for them.
template <class M>
struct Constants {
    typename M::Source lowest, highest;
    float low, high;
    typename M::Result range;
};

template <class M>
Constants<M> random_constants()
{
    using S = typename M::Source;
    using R = typename M::Result;
    Constants<M> c{};
    if constexpr (std::is_integral_v<S>) {
        c.lowest = uniform<S>(-32768, 0);
        c.highest = uniform<S>(1, 32767);
    } else {
        c.lowest = uniform(-5.0F, 0.0F);
        c.highest = uniform(0.5F, 5.0F);
    }
    c.low = generator()() % 3 == 0 ? 0.0F : uniform(0.0F, 0.45F);
    c.high = generator()() % 3 == 0 ? 1.0F : uniform(0.5F, 1.0F);
    if constexpr (std::is_integral_v<R>)
        c.range = uniform<R>(0, std::numeric_limits<R>::max());
    else
        c.range = uniform(0.0F, 300.0F);
    return c;
}

template <class S>
std::vector<S> random_source(int length)
{
    if constexpr (std::is_integral_v<S>)
        return uniform_vector<S>(length, -32768, 32767);
    else
        return uniform_vector<S>(length, -7, 7);
}

// Lowest and highest of the source where the member looks for them: NaN elements are passed over, but for the
// first.
template <class M>
Constants<M> with_span_of(Constants<M> c, const std::vector<typename M::Source>& src)
{
    if (M::kMinMax) return c;
    c.lowest = c.highest = src[0];
    for (auto x : src) {
        if (x < c.lowest) c.lowest = x;
        if (x > c.highest) c.highest = x;
    }
    return c;
}

template <class M>
testing::AssertionResult maps_in_range(const std::vector<typename M::Source>& src, Constants<M> given,
                                       Placement source_place = {}, Placement result_place = {}, int stack = -1)
{
    using S = typename M::Source;
    using R = typename M::Result;
    const Constants<M> c = with_span_of<M>(given, src);
    const bool empty = !(c.lowest < c.highest) && !(c.lowest > c.highest);
    const std::vector<R> expected =
        empty ? std::vector<R>(src.size(), R(0))
              : reference::in_range<S, R>(src, static_cast<float>(c.lowest), static_cast<float>(c.highest), c.low,
                                          c.high, static_cast<float>(c.range));
    const auto call = [&](const S* from, R* to, int32_t len) {
        return M::call({from, to, len, given.lowest, given.highest, given.low, given.high, given.range, stack});
    };
    testing::AssertionResult right = testing::AssertionFailure();
    if constexpr (M::kInPlace)
        right = maps_onto_itself(src, expected, call, result_place, empty ? SrWarnInvZero : SrOk);
    else
        right = maps(src, expected, call, source_place, result_place, empty ? SrWarnInvZero : SrOk);
    if (right) return right;
    return right << "; from " << +c.lowest << " to " << +c.highest << ", fractions " << c.low << " to " << c.high
                 << ", range " << +c.range;
}

TYPED_TEST(NormalizeInRange, EveryLengthAndPlacement)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    at_every_place<2>(lengths(16), {sizeof(S), sizeof(R)}, [](int length, const auto& places) {
        return maps_in_range<TypeParam>(random_source<S>(length), random_constants<TypeParam>(), places[0],
                                        places[1]);
    });
    for (int length = 1; length < 100; ++length)
        ASSERT_TRUE(maps_in_range<TypeParam>(random_source<S>(length), random_constants<TypeParam>()));
}

// At every position: the lowest and the highest value are found wherever they stand.
TYPED_TEST(NormalizeInRange, TheExtremesMayStandAnywhere)
{
    using S = typename TypeParam::Source;
    for (int length : {2, 3, 7, 8, 9, 17, 35})
        for (int at = 0; at < length; ++at)
            for (int misalign : {0, static_cast<int>(sizeof(S))}) {
                std::vector<S> src = uniform_vector<S>(length, 10, 50);
                src[static_cast<std::size_t>(at)] = 5;
                src[static_cast<std::size_t>((at + 1) % length)] = 60;
                ASSERT_TRUE(maps_in_range<TypeParam>(src, random_constants<TypeParam>(), {misalign}));
            }
}

TYPED_TEST(NormalizeInRange, SpecialValues)
{
    using S = typename TypeParam::Source;
    const std::vector<S> special = special_values<S>();
    for (int i = 0; i < (thin_effort() ? 40 : 300); ++i) {
        Constants<TypeParam> c = random_constants<TypeParam>();
        if (generator()() % 2 == 0) {
            c.lowest = special[generator()() % special.size()];
            c.highest = special[generator()() % special.size()];
            if (!(c.lowest <= c.highest)) std::swap(c.lowest, c.highest);
            if (!(c.lowest <= c.highest)) c.lowest = c.highest = S(1);
        }
        std::vector<S> src = random_source<S>(1 + i % 23);
        for (S& x : src)
            if (generator()() % 3 == 0) x = special[generator()() % special.size()];
        ASSERT_TRUE(maps_in_range<TypeParam>(src, c, {i % 2 * static_cast<int>(sizeof(S))}));
    }
}

TYPED_TEST(NormalizeInRange, AnyRange)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    for (R range : special_values<R>()) {
        if (!(range >= R(0))) continue;
        for (int length : {3, 8, 21}) {
            Constants<TypeParam> c = random_constants<TypeParam>();
            c.range = range;
            ASSERT_TRUE(maps_in_range<TypeParam>(random_source<S>(length), c));
        }
    }
}

// Halves go to even.
TYPED_TEST(NormalizeInRange, IntegersAreRoundedToEven)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    if (!std::is_integral_v<R>) return;
    std::vector<S> src;
    for (int x = 0; x <= 128; ++x) src.push_back(static_cast<S>(x));
    const Constants<TypeParam> c{S(0), S(128), 0, 1, R(64)};
    Guarded<R> dst(src.size());
    if constexpr (TypeParam::kInPlace) dst.fill(src);
    EXPECT_EQ(TypeParam::call({src.data(), dst.data(), 129, c.lowest, c.highest, 0, 1, c.range}), SrOk);
    for (int x = 0; x <= 128; ++x)
        EXPECT_EQ(dst.get(static_cast<std::size_t>(x)), x / 2 + (x % 4 == 3 ? 1 : 0)) << x / 2.0;
}

TYPED_TEST(NormalizeInRange, AnEmptySpanStoresZerosAndWarns)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    for (int length : {1, 3, 16, 33})
        for (int misalign : {0, static_cast<int>(sizeof(R)), 3}) {
            Constants<TypeParam> c = random_constants<TypeParam>();
            c.highest = c.lowest;
            EXPECT_TRUE(maps_in_range<TypeParam>(std::vector<S>(static_cast<std::size_t>(length), S(7)), c, {},
                                                 {misalign}));
            if (!TypeParam::kMinMax) continue;
            EXPECT_TRUE(maps_in_range<TypeParam>(random_source<S>(length), c, {}, {misalign}));
            if (TypeParam::kInPlace) continue;
            const Guarded<S> nothing(0);  // its address is the forbidden page's
            Guarded<R> dst(static_cast<std::size_t>(length), {misalign});
            EXPECT_EQ(
                TypeParam::call({nothing.data(), dst.data(), length, c.lowest, c.lowest, c.low, c.high, c.range}),
                SrWarnInvZero)
                << "the source is not read";
            EXPECT_EQ(dst.values(), std::vector<R>(static_cast<std::size_t>(length), R(0)));
        }
}

TYPED_TEST(NormalizeInRange, PointersThenLengthThenValuesAreChecked)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    using A = Arguments<S, R>;
    Guarded<S> src(std::vector<S>{1, 2, 3, 4, 5, 6, 7, 8, 9});
    Guarded<R> dst(std::vector<R>(9, R(77)));
    const A good{src.data(), dst.data(), 9, S(1), S(9), 0.25F, 0.75F, R(100)};
    const std::vector<std::pair<const char*, std::function<void(A&)>>> bad_values = {
        {"low below 0", [](A& a) { a.low = -0x1p-149F; }},
        {"low not a number", [](A& a) { a.low = NAN; }},
        {"low infinite", [](A& a) { a.low = -HUGE_VALF; }},
        {"low as high", [](A& a) { a.low = a.high = 0.5F; }},
        {"low above high", [](A& a) { a.low = 0.76F; }},
        {"high not a number", [](A& a) { a.high = NAN; }},
        {"high above 1", [](A& a) { a.high = std::nextafter(1.0F, 2.0F); }},
        {"high infinite", [](A& a) { a.high = HUGE_VALF; }}};
    for (const auto& [name, inject] : bad_values)
        for (int32_t length : {0, -1, INT32_MIN}) {
            std::vector<Fault<A>> faults;
            if (!TypeParam::kInPlace) faults.push_back({"source", SrErrNullPtr, [](A& a) { a.src = nullptr; }});
            faults.push_back({"result", SrErrNullPtr, [](A& a) { a.dst = nullptr; }});
            faults.push_back({"length", SrErrSize, [=](A& a) { a.len = length; }});
            faults.push_back({name, SrErrBadArg, inject});
            if constexpr (std::is_signed_v<R>)
                faults.push_back({"range below 0", SrErrBadArg, [](A& a) { a.range = R(-1); }});
            if constexpr (std::is_same_v<R, float>)
                faults.push_back({"range not a number", SrErrBadArg, [](A& a) { a.range = NAN; }});
            if (TypeParam::kMinMax)
                faults.push_back({"highest below lowest", SrErrBadArg, [](A& a) {
                                      a.lowest = S(5);
                                      a.highest = S(4);
                                  }});
            if constexpr (TypeParam::kMinMax && std::is_same_v<S, float>) {
                faults.push_back({"lowest not a number", SrErrBadArg, [](A& a) { a.lowest = NAN; }});
                faults.push_back({"highest not a number", SrErrBadArg, [](A& a) { a.highest = NAN; }});
            }
            expect_check_order<A>(good, faults, TypeParam::call, {&src, &dst});
        }
    for (const auto& [low, high] : {std::pair{0.0F, 1.0F}, {-0.0F, 1e-45F}, {std::nextafter(1.0F, 0.0F), 1.0F}}) {
        A edge = good;
        edge.low = low;
        edge.high = high;
        edge.range = R(0);
        EXPECT_EQ(TypeParam::call(edge), TypeParam::kInPlace && !TypeParam::kMinMax ? SrWarnInvZero : SrOk);
        if (TypeParam::kInPlace) dst.fill(std::vector<R>(9, R(77)));
    }
    expect_reads_nothing_below_length_one<S>([&](const S* nothing, int32_t len) {
        A none = good;
        none.src = nothing;
        none.len = len;
        return TypeParam::call(none);
    });
}

TYPED_TEST(NormalizeInRange, AllocatesNothingAndKeepsTheEnvironment)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    // Exact throughout, but for the integers, which do not depend on the mode.
    const float high = std::is_integral_v<R> ? 0.7F : 1.0F;
    std::vector<S> src;
    for (int x = 0; x <= 32; ++x) src.push_back(static_cast<S>(x));
    const std::vector<R> expected = reference::in_range<S, R>(src, 0, 32, 0, high, 64);
    Guarded<R> dst(src.size());
    AllocatorWatch watch;
    SrStatus status = SrErrUnknown;
    const auto refill = [&] {
        if constexpr (TypeParam::kInPlace) dst.fill(src);
    };
    refill();
    under_each_environment(
        [&] {
            status = TypeParam::call({src.data(), dst.data(), 33, S(0), S(32), 0, high, R(64)});
        },
        [&](const std::string& setting) {
            EXPECT_EQ(status, SrOk);
            EXPECT_TRUE(same_values(expected, dst.values())) << setting;
            refill();
        });
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __i386__
TYPED_TEST(NormalizeInRange, RunsOnAnyStack)
{
    for (int stack : {0, 4, 8, 12})
        for (int misalign : {0, 4})
            EXPECT_TRUE(maps_in_range<TypeParam>(random_source<typename TypeParam::Source>(37),
                                                 random_constants<TypeParam>(), {misalign}, {misalign}, stack));
}
#endif

TEST(NormalizeInRange_32f, ByHand)
{
    const std::vector<float> x = {2, 4, 3, 6, 2.5F, 10};
    std::vector<float> y(6);
    EXPECT_EQ(zelsNormalizeInRange_32f(x.data(), y.data(), 6, 0, 1, 1), SrOk);
    EXPECT_EQ(y, (std::vector<float>{0, 0.25F, 0.125F, 0.5F, 0.0625F, 1}));
    EXPECT_EQ(zelsNormalizeInRange_32f(x.data(), y.data(), 6, 0.25F, 0.5F, 8), SrOk);
    EXPECT_EQ(y, (std::vector<float>{0, 0, 0, 8, 0, 8}));  // from 4 to 6
    EXPECT_EQ(zelsNormalizeInRangeMinMax_32f(x.data(), y.data(), 6, 0, 4, 0.5F, 1, 2), SrOk);
    EXPECT_EQ(y, (std::vector<float>{0, 2, 1, 2, 0.5F, 2}));  // from 2 to 4
}

// Not a number passes through the test at the top as top itself: wanted.
TEST(NormalizeInRange_32f, ANotNumberYieldsTheRange)
{
    const std::vector<float> x = {0, NAN, 8, -NAN, 2, NAN, NAN, NAN, NAN};
    std::vector<float> y(9);
    EXPECT_EQ(zelsNormalizeInRange_32f(x.data(), y.data(), 9, 0, 1, 16), SrOk);
    EXPECT_EQ(y, (std::vector<float>{0, 16, 16, 16, 4, 16, 16, 16, 16}));
    std::vector<int16_t> z(9);
    EXPECT_EQ(zelsNormalizeInRangeMinMax_32f16s(x.data(), z.data(), 9, 0, 4, 0, 1, 16), SrOk);
    EXPECT_EQ(z, (std::vector<int16_t>{0, 16, 16, 16, 8, 16, 16, 16, 16}));
}

}  // namespace
}  // namespace zelsr::test
