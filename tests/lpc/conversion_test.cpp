// What the conversions of prediction coefficients into cepstra and reflection coefficients, and back, have in
// common.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "lpc/filters.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/lp_conversion.h"
#include "zelsr/lpc/conversion.h"

namespace zelsr::test {
namespace {

using Singles = std::vector<float>;
using Shorts = std::vector<int16_t>;

std::vector<float> near_zero(int length)
{
    const float largest = length > 100 ? 0.01F : 0.5F;
    return uniform_vector(length, -largest, largest);
}
std::vector<float> below_one(int length)
{
    const float largest = length > 100 ? 0.3F : 0.95F;
    return uniform_vector(length, -largest, largest);
}
std::vector<float> filter(int length) { return length > 100 ? near_zero(length) : stable_filter(length); }

// What it does not write behind a unit coefficient is zero.
Singles step_down(const Singles& a) { return reference::lp_to_reflection(a).k; }

struct Conversion {
    std::string name;
    SrStatus (*single)(const float* src, float* dst, int32_t len);
    SrStatus (*fixed)(const int16_t* src, int16_t* dst, int32_t len, int32_t sf);
    Singles (*reference)(const Singles& x);
    // What becomes of single results: parameters of the other kind wrap, prediction coefficients saturate.
    Shorts (*reduce)(const Singles& y, int32_t sf);
    Singles (*input)(int length);
    // Of a fixed-point filter, and beyond which results are no numbers, or no 32-bit integers to wrap.
    int32_t least_sf, largest_sf;
    int no_memory_below;  // the length
    // More or larger elements of any values leave the 32 bits as well.
    int longest_of_any;
    int16_t largest_of_any;

    Shorts in_16_bits(const Shorts& x, int32_t sf) const
    {
        return reduce(reference(reference::scaled_singles(x, -sf)), sf);
    }
    auto with_scale(int32_t sf) const
    {
        return
            [=, call = fixed](const int16_t* src, int16_t* dst, int32_t len) { return call(src, dst, len, sf); };
    }
};

void PrintTo(const Conversion& c, std::ostream* out) { *out << c.name; }

const Conversion kConversions[] = {
    {"LPToCepstrum", zelsLPToCepstrum_32f, zelsLPToCepstrum_16s_Sfs, reference::lp_to_cepstrum,
     reference::half_away, filter, -13, 8, 22, 3, INT16_MAX},
    {"CepstrumToLP", zelsCepstrumToLP_32f, zelsCepstrumToLP_16s_Sfs, reference::cepstrum_to_lp, reference::nearest,
     near_zero, -13, 127, 22, 25, INT16_MAX},
    {"LPToReflection", zelsLPToReflection_32f, zelsLPToReflection_16s_Sfs, step_down, reference::half_away, filter,
     -12, 8, 16, 25, 20000},
    {"ReflectionToLP", zelsReflectionToLP_32f, zelsReflectionToLP_16s_Sfs, reference::reflection_to_lp,
     reference::nearest, below_one, -15, 127, 16, 25, 20000},
};

class Conversions : public testing::TestWithParam<Conversion> {};

Shorts filter_16s(int length, int32_t sf)
{
    Shorts all;
    for (float a : stable_filter(length, 0.7))
        all.push_back(static_cast<int16_t>(std::clamp(std::round(std::ldexp(a, -sf)), -32768.0F, 32767.0F)));
    return all;
}

TEST_P(Conversions, AreTheirRecursionBitByBit)
{
    const Conversion& c = GetParam();
    at_every_place<2>(lengths(24), {4, 4}, [&](int length, const std::array<Placement, 2>& places) {
        const Singles x = c.input(length);
        return maps(x, c.reference(x), c.single, places[0], places[1]);
    });
    for (int length : {200, 1000}) {
        const Singles x = c.input(length);
        EXPECT_TRUE(maps(x, c.reference(x), c.single)) << length;
    }
}

TEST_P(Conversions, FixedIsTheRecursionBetweenConversions)
{
    const Conversion& c = GetParam();
    at_every_place<2>(lengths(24), {2, 2}, [&](int length, const std::array<Placement, 2>& places) {
        const int32_t sf = uniform(c.least_sf, -8);
        const Shorts x = filter_16s(length, sf);
        return maps(x, c.in_16_bits(x, sf), c.with_scale(sf), places[0], places[1]);
    });
}

// The input times 2^sf, the result times 2^-sf.
TEST_P(Conversions, FixedTakesEveryScaleFactor)
{
    const Conversion& c = GetParam();
    for (int32_t sf : scale_factors()) {
        if (sf < -140 || sf > c.largest_sf) continue;
        const Shorts x = uniform_vector<int16_t>(5, -20, 20);
        EXPECT_TRUE(maps(x, c.in_16_bits(x, sf), c.with_scale(sf))) << sf;
    }
}

TEST_P(Conversions, FixedTakesAnyValues)
{
    const Conversion& c = GetParam();
    for (int turn = 0; turn < (thin_effort() ? 50 : 1000); ++turn) {
        const auto largest = c.largest_of_any;
        const Shorts x =
            uniform_vector<int16_t>(uniform(1, c.longest_of_any), static_cast<int16_t>(-largest - 1), largest);
        const int32_t sf = uniform(-16, -13);
        ASSERT_TRUE(maps(x, c.in_16_bits(x, sf), c.with_scale(sf))) << sf;
    }
}

TEST_P(Conversions, FixedIsTheSameInEveryEnvironment)
{
    const Conversion& c = GetParam();
    for (int length : {3, 12, 30}) {
        const Shorts x = filter_16s(length, -12), expected = c.in_16_bits(x, -12);
        Shorts result(x.size());
        under_each_environment([&] { c.fixed(x.data(), result.data(), length, -12); },
                               [&](const std::string& setting) { EXPECT_EQ(expected, result) << setting; });
    }
}

TEST_P(Conversions, PointersAreCheckedBeforeLength)
{
    const Conversion& c = GetParam();
    expect_checks_of_a_reduction<float, float>(
        [&](const float* src, int32_t len, float* dst) { return c.single(src, dst, len); });
    expect_checks_of_a_reduction<int16_t, int16_t>(
        [&](const int16_t* src, int32_t len, int16_t* dst) { return c.fixed(src, dst, len, -12); });
}

TEST_P(Conversions, TakeMemoryFromALengthOn)
{
    const Conversion& c = GetParam();
    // Below it both forms work on the stack; from there on one of them or both allocate.
    for (int length : {1, 4, c.no_memory_below - 1, c.no_memory_below, 100}) {
        const Shorts x16 = filter_16s(length, -12);
        const Singles x = reference::scaled_singles(x16, 12);
        Singles y(x.size());
        Shorts y16(x.size());
        const AllocatorWatch watch;
        EXPECT_EQ(c.single(x.data(), y.data(), length), SrOk);
        EXPECT_EQ(c.fixed(x16.data(), y16.data(), length, -12), SrOk);
        EXPECT_EQ(watch.requests() > 0, length >= c.no_memory_below) << length;
        EXPECT_EQ(watch.live(), 0);
    }
}

TEST_P(Conversions, SurviveRefusedMemory)
{
    const Conversion& c = GetParam();
    const auto survives = [](const std::function<SrStatus()>& call, GuardedBytes& dst) {
        int requests = 0;
        {
            const AllocatorWatch watch;
            EXPECT_EQ(call(), SrOk);
            EXPECT_EQ(watch.live(), 0);
            requests = watch.requests();
        }
        if (requests > 0) expect_survives_refusals(call, {&dst});
    };
    for (int length : {16, 22, 100}) {
        const Shorts x16 = filter_16s(length, -12);
        const Singles x = reference::scaled_singles(x16, 12);
        Guarded<float> y(x.size());
        Guarded<int16_t> y16(x.size());
        survives([&] { return c.single(x.data(), y.data(), length); }, y);
        survives([&] { return c.fixed(x16.data(), y16.data(), length, -12); }, y16);
    }
}

#ifdef __i386__
TEST_P(Conversions, RunOnAnyStack)
{
    const Conversion& c = GetParam();
    for (int length : {12, 30}) {
        const Shorts x16 = filter_16s(length, -12);
        const Singles x = reference::scaled_singles(x16, 12);
        for (int misalign : {0, 4, 8, 12}) {
            Singles y(x.size());
            Shorts y16(x.size());
            EXPECT_EQ(call_misaligned(c.single, misalign, x.data(), y.data(), length), SrOk);
            EXPECT_TRUE(same_values(c.reference(x), y));
            EXPECT_EQ(call_misaligned(c.fixed, misalign, x16.data(), y16.data(), length, -12), SrOk);
            EXPECT_EQ(c.in_16_bits(x16, -12), y16);
        }
    }
}
#endif

INSTANTIATE_TEST_SUITE_P(Each, Conversions, testing::ValuesIn(kConversions),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace zelsr::test
