// The functions that map vectors between two fractions of their span, by pairs of types, and one call of theirs.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "support/operation.h"
#include "support/reference/normalize.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr::test {

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

template <class S, class R>
struct Member {
    const char* name;
    bool min_max, in_place;  // min_max: with the caller's lowest and highest values
    SrStatus (*call)(const Arguments<S, R>& a);
};
template <auto Function, class S, class R>
SrStatus call_of(const Arguments<S, R>& a)
{
    return shaped(Function, a);
}

// The members of one pair of types.
template <class S, class R>
struct Types {
    using Source = S;
    using Result = R;
    using A = Arguments<S, R>;
    using Members = std::vector<Member<S, R>>;
};
struct Types_32f : Types<float, float> {
    static Members members()
    {
        return {{"32f", false, false, call_of<zelsNormalizeInRange_32f, float, float>},
                {"32f_I", false, true, call_of<zelsNormalizeInRange_32f_I, float, float>},
                {"MinMax_32f", true, false, call_of<zelsNormalizeInRangeMinMax_32f, float, float>},
                {"MinMax_32f_I", true, true, call_of<zelsNormalizeInRangeMinMax_32f_I, float, float>}};
    }
};
struct Types_32f16s : Types<float, int16_t> {
    static Members members()
    {
        return {{"32f16s", false, false, call_of<zelsNormalizeInRange_32f16s, float, int16_t>},
                {"MinMax_32f16s", true, false, call_of<zelsNormalizeInRangeMinMax_32f16s, float, int16_t>}};
    }
};
struct Types_32f8u : Types<float, uint8_t> {
    static Members members()
    {
        return {{"32f8u", false, false, call_of<zelsNormalizeInRange_32f8u, float, uint8_t>},
                {"MinMax_32f8u", true, false, call_of<zelsNormalizeInRangeMinMax_32f8u, float, uint8_t>}};
    }
};
struct Types_16s : Types<int16_t, int16_t> {
    static Members members()
    {
        return {{"16s", false, false, call_of<zelsNormalizeInRange_16s, int16_t, int16_t>},
                {"16s_I", false, true, call_of<zelsNormalizeInRange_16s_I, int16_t, int16_t>},
                {"MinMax_16s", true, false, call_of<zelsNormalizeInRangeMinMax_16s, int16_t, int16_t>},
                {"MinMax_16s_I", true, true, call_of<zelsNormalizeInRangeMinMax_16s_I, int16_t, int16_t>}};
    }
};
struct Types_16s8u : Types<int16_t, uint8_t> {
    static Members members()
    {
        return {{"16s8u", false, false, call_of<zelsNormalizeInRange_16s8u, int16_t, uint8_t>},
                {"MinMax_16s8u", true, false, call_of<zelsNormalizeInRangeMinMax_16s8u, int16_t, uint8_t>}};
    }
};
struct TypesName {
    template <class P>
    static std::string GetName(int)
    {
        return P::members()[0].name;
    }
};

// Every test runs for each member of its pair of types.
template <class P>
class NormalizeInRange : public testing::Test {
  public:
    using S = typename P::Source;
    using R = typename P::Result;
    using M = Member<S, R>;

    template <class Body>
    static void for_members(Body body)
    {
        for (const M& m : P::members()) {
            SCOPED_TRACE(m.name);
            ASSERT_NO_FATAL_FAILURE(body(m));
        }
    }
};
// What stands in the result's place before a call.
template <class S, class R>
void fill_if_in_place(const Member<S, R>& m, Guarded<R>& dst, const std::vector<S>& src)
{
    if constexpr (std::is_same_v<S, R>)
        if (m.in_place) dst.fill(src);
}

using Pairs = testing::Types<Types_32f, Types_32f16s, Types_32f8u, Types_16s, Types_16s8u>;

// The rest of a call; lowest and highest are the source's own in the members that look for them.
template <class S, class R>
struct Constants {
    S lowest, highest;
    float low, high;
    R range;
};

template <class S, class R>
Constants<S, R> random_constants()
{
    Constants<S, R> c{};
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
template <class S, class R>
Constants<S, R> with_span_of(const Member<S, R>& m, Constants<S, R> c, const std::vector<S>& src)
{
    if (m.min_max) return c;
    c.lowest = c.highest = src[0];
    for (S x : src) {
        if (x < c.lowest) c.lowest = x;
        if (x > c.highest) c.highest = x;
    }
    return c;
}

template <class S, class R>
testing::AssertionResult maps_in_range(const Member<S, R>& m, const std::vector<S>& src, Constants<S, R> given,
                                       Placement source_place = {}, Placement result_place = {}, int stack = -1)
{
    const Constants<S, R> c = with_span_of(m, given, src);
    const bool empty = !(c.lowest < c.highest) && !(c.lowest > c.highest);
    const std::vector<R> expected =
        empty ? std::vector<R>(src.size(), R(0))
              : reference::in_range<S, R>(src, static_cast<float>(c.lowest), static_cast<float>(c.highest), c.low,
                                          c.high, static_cast<float>(c.range));
    const auto call = [&](const S* from, R* to, int32_t len) {
        return m.call({from, to, len, given.lowest, given.highest, given.low, given.high, given.range, stack});
    };
    const SrStatus status = empty ? SrWarnInvZero : SrOk;
    testing::AssertionResult right = testing::AssertionFailure();
    if (!m.in_place) right = maps(src, expected, call, source_place, result_place, status);
    if constexpr (std::is_same_v<S, R>)
        if (m.in_place) right = maps_onto_itself(src, expected, call, result_place, status);
    if (right) return right;
    return right << "; from " << +c.lowest << " to " << +c.highest << ", fractions " << c.low << " to " << c.high
                 << ", range " << +c.range;
}

}  // namespace zelsr::test
