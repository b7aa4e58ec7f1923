// The loops that the tests of operations on one-dimensional arrays share: lengths by placements, scale factors,
// ways of calling, and one call between guard pages.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "zelsr/types.h"

namespace zelsr::test {

// Ways of calling: operation(how, arguments...) makes its call as how(function, arguments...).
struct Direct {
    template <class... Parameter>
    SrStatus operator()(SrStatus (*function)(Parameter...), std::type_identity_t<Parameter>... arguments) const
    {
        return function(arguments...);
    }
};
#ifdef __i386__
struct OnOddStack {
    int misalign;
    template <class... Parameter>
    SrStatus operator()(SrStatus (*function)(Parameter...), std::type_identity_t<Parameter>... arguments) const
    {
        return call_misaligned(function, misalign, arguments...);
    }
};
#endif

// -160 to 160, the neighbours of every limit that a family puts on sf, and the ends of the type. The thin
// effort takes those around multiples of 16.
inline std::vector<int32_t> scale_factors()
{
    std::vector<int32_t> all;
    for (int32_t sf = -160; sf <= 160; ++sf)
        if (!thin_effort() || std::abs(sf) % 16 <= 1 || std::abs(sf) % 16 >= 14) all.push_back(sf);
    for (int32_t sf : {149,  150,  151,  161,  200,  1007, 1008, 1009, 1021, 1022,
                       1023, 1024, 1025, 1073, 1074, 1075, 1076, 1087, 1100, INT32_MAX}) {
        all.push_back(sf);
        all.push_back(-sf);
    }
    all.push_back(INT32_MIN);
    return all;
}

// body(length, places) at every length, where each of the arrays takes every placement of its element size in
// turn while the others cycle through theirs. The first failure ends the sweep.
template <std::size_t Arrays, class Body>
void at_every_place(const std::vector<int>& lengths, const std::array<std::size_t, Arrays>& element_sizes,
                    Body body)
{
    std::array<std::vector<Placement>, Arrays> of;
    for (std::size_t a = 0; a < Arrays; ++a) of[a] = placements(element_sizes[a]);
    std::size_t cycle = 0;
    for (int length : lengths)
        for (std::size_t varied = 0; varied < Arrays; ++varied)
            for (const Placement& place : of[varied]) {
                std::array<Placement, Arrays> places;
                for (std::size_t a = 0; a < Arrays; ++a) places[a] = of[a][(++cycle + 5 * a) % of[a].size()];
                places[varied] = place;
                const testing::AssertionResult result = body(length, places);
                if (result) continue;
                std::string where;
                for (const Placement& p : places) where += "; " + describe(p);
                FAIL() << "length " << length << where << ": " << result.message();
            }
}

// count values of a longer vector from first on.
template <class T>
std::vector<T> window(const std::vector<T>& values, int first, int count)
{
    return {values.begin() + first, values.begin() + first + count};
}

inline testing::AssertionResult status_is(SrStatus expected, SrStatus actual)
{
    if (expected == actual) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "status " << actual << " where " << expected << " is due";
}

// One call of call(source, destination, length): its status, the results' bits, the source as it was and no byte
// beside the arrays written.
template <class Source, class Result, class Call>
testing::AssertionResult maps(const std::vector<Source>& values, const std::vector<Result>& expected, Call call,
                              Placement source_place = {}, Placement result_place = {}, SrStatus status = SrOk)
{
    Guarded<Source> source(values, source_place);
    Guarded<Result> result(expected.size(), result_place);
    source.take_snapshot();
    const SrStatus returned = call(source.data(), result.data(), static_cast<int32_t>(values.size()));
    if (auto right = status_is(status, returned); !right) return right;
    if (!source.as_snapshot()) return testing::AssertionFailure() << "the source or a byte beside it was written";
    if (!result.intact()) return testing::AssertionFailure() << "a byte beside the results was written";
    return same_values(expected, result.values());
}

// The same with the results on the source's own address.
template <class T, class Result, class Call>
testing::AssertionResult maps_onto_itself(const std::vector<T>& values, const std::vector<Result>& expected,
                                          Call call, Placement place = {}, SrStatus status = SrOk)
{
    static_assert(sizeof(T) == sizeof(Result));
    Guarded<T> array(values, place);
    const SrStatus returned =
        call(array.data(), reinterpret_cast<Result*>(array.data()), static_cast<int32_t>(values.size()));
    if (auto right = status_is(status, returned); !right) return right;
    if (!array.intact()) return testing::AssertionFailure() << "a byte beside the array was written";
    std::vector<Result> results(values.size());
    std::memcpy(results.data(), array.address(), array.bytes());
    return same_values(expected, results);
}

// One call of call(source, length, result): its status, the source as it was, no byte beside the arrays written,
// and accept(result), an assertion.
template <class Source, class Result, class Call, class Accept>
testing::AssertionResult reduces(const std::vector<Source>& values, Call call, Accept accept,
                                 Placement source_place = {}, Placement result_place = {}, SrStatus status = SrOk)
{
    Guarded<Source> source(values, source_place);
    Guarded<Result> result(1, result_place);
    source.take_snapshot();
    const SrStatus returned = call(source.data(), static_cast<int32_t>(values.size()), result.data());
    if (auto right = status_is(status, returned); !right) return right;
    if (!source.as_snapshot()) return testing::AssertionFailure() << "the source or a byte beside it was written";
    if (!result.intact()) return testing::AssertionFailure() << "a byte beside the result was written";
    return accept(result.get(0));
}

// A length below 1 must not make a function look at its array: call(pointer that must not be read, length).
template <class T, class Call>
void expect_reads_nothing_below_length_one(Call call)
{
    const Guarded<T> nothing(0, {0, Edge::Back});  // its address is the forbidden page's
    for (int32_t length : {0, -1, INT32_MIN}) EXPECT_EQ(call(nothing.data(), length), SrErrSize) << length;
}

// Any bits but a signalling NaN's: whether that one is made quiet is the compiler's choice of instructions.
inline float random_bits_float()
{
    const auto bits = static_cast<std::uint32_t>(generator()());
    return std::bit_cast<float>((bits & 0x7f800000u) == 0x7f800000u ? bits | 0x00400000u : bits);
}

}  // namespace zelsr::test
