// Conversions between element types: bits against one element's rule, at every length, address and scale factor.
#include "zelsr/core/convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/environment.h"
#include "support/faults.h"
#include "support/operation.h"
#include "support/reference/convert.h"

namespace zelsr::test {
namespace {

struct Setting {
    int32_t rounding = 1;
    int32_t sf = 0;
};

std::string describe(Setting setting)
{
    return "rounding " + std::to_string(setting.rounding) + ", sf " + std::to_string(setting.sf);
}

std::vector<Setting> each_scale_factor()
{
    std::vector<Setting> all;
    for (int32_t sf : scale_factors()) all.push_back({1, sf});
    return all;
}

// The kinds of conversion. Each answers call and, for a setting, the rule for one element as a callable, the
// values that matter, the settings that differ, and which values are converted without any rounding.

template <class T>
std::vector<T> integers()
{
    std::vector<T> all = special_values<T>();
    for (int bits = 1; bits <= std::numeric_limits<T>::digits; ++bits)
        for (int repeat = 0; repeat < 6; ++repeat) {
            const T magnitude = uniform<T>(T(0), T((std::int64_t{1} << bits) - 1));
            all.push_back(repeat % 2 == 0 ? magnitude : T(-magnitude));
        }
    return all;
}

std::vector<double> doubles_around_singles()
{
    std::vector<double> all = special_values<double>();
    for (float x : special_values<float>()) all.push_back(double{x});
    for (int i = 0; i < 100; ++i) {
        const float single = random_bits_float();
        const double tie = (double{single} + double{std::nextafter(single, 1e38F)}) / 2;
        for (double x : {double{single}, tie, std::nextafter(tie, 1e300), std::nextafter(tie, -1e300)})
            all.push_back(x);
    }
    // The tie above the largest single: infinity from it on.
    const double above = 0x1.ffffffp127;
    for (double x : {above, std::nextafter(above, 0.0), -above, std::nextafter(-above, 0.0)}) all.push_back(x);
    return all;
}

template <class From, class To, SrStatus (*function)(const From*, To*, int32_t)>
struct Plain {
    using Source = From;
    using Result = To;
    template <class How>
    static SrStatus call(How how, const From* src, To* dst, int32_t len, Setting)
    {
        return how(function, src, dst, len);
    }
    static auto rule(Setting)
    {
        return [](From x) { return static_cast<To>(x); };
    }
    static std::vector<From> values(Setting)
    {
        if constexpr (std::is_floating_point_v<From>)
            return doubles_around_singles();
        else
            return integers<From>();
    }
    static std::vector<Setting> settings() { return {{}}; }
    static std::vector<Setting> few_settings() { return {{}}; }
    static bool without_rounding(From x)
    {
        const To y = static_cast<To>(x);
        return static_cast<double>(y) == static_cast<double>(x) && (y == 0 || std::isnormal(y));
    }
};

template <class From, class To, SrStatus (*function)(const From*, To*, int32_t, int32_t), int32_t low,
          int32_t high>
struct ScaledToFloat {
    using Source = From;
    using Result = To;
    template <class How>
    static SrStatus call(How how, const From* src, To* dst, int32_t len, Setting setting)
    {
        return how(function, src, dst, len, setting.sf);
    }
    static auto rule(Setting setting)
    {
        return [sf = setting.sf](From x) { return reference::scaled<To>(x, sf, low, high); };
    }
    static std::vector<From> values(Setting) { return integers<From>(); }
    static std::vector<Setting> settings() { return each_scale_factor(); }
    static std::vector<Setting> few_settings() { return {{1, 0}, {1, 5}, {1, -3}}; }
    static bool without_rounding(From x)
    {
        return static_cast<double>(static_cast<To>(x)) == static_cast<double>(x);
    }
};

// Where the results change: ties, the edges of 16 and 32 bits, each with its neighbours.
constexpr double kTurningPoints[] = {0.25,         0.5,        0.75,         1,          1.5,          2.5,
                                     2.7,          3.5,        127.5,        32765.5,    32766,        32766.5,
                                     32767,        32767.5,    32768,        32768.5,    32769,        40000,
                                     65535.5,      4194303.5,  8388607.5,    8388608,    16777216,     2147483520,
                                     2147483645.5, 2147483646, 2147483646.5, 2147483647, 2147483647.5, 2147483648,
                                     2147483648.5, 2147483649, 3e9,          4294967296, 1e20};

template <class From, class To, SrStatus (*function)(const From*, To*, int32_t, int32_t, int32_t),
          To (*element)(From, From, int32_t)>
struct ToInteger {
    using Source = From;
    using Result = To;
    template <class How>
    static SrStatus call(How how, const From* src, To* dst, int32_t len, Setting setting)
    {
        return how(function, src, dst, len, setting.rounding, setting.sf);
    }
    static auto rule(Setting setting)
    {
        return [factor = reference::multiplier<From>(setting.sf), rounding = setting.rounding](From x) {
            return element(x, factor, rounding);
        };
    }
    static std::vector<From> values(Setting setting)
    {
        std::vector<From> all = special_values<From>();
        const int shift = std::clamp(setting.sf, -3000, 3000);
        const From huge = std::numeric_limits<From>::max();
        for (double point : kTurningPoints)
            for (double sign : {1.0, -1.0}) {
                const From x = static_cast<From>(sign * point);
                for (From near : {x, std::nextafter(x, huge), std::nextafter(x, -huge)})
                    all.push_back(std::ldexp(near, shift));
            }
        for (int i = 0; i < 40; ++i) {
            const From mantissa = uniform(From(-1), From(1));
            all.push_back(std::ldexp(mantissa, uniform(-2, 33) + shift));
            all.push_back(random_bits_float());
        }
        return all;
    }
    static std::vector<Setting> settings()
    {
        std::vector<Setting> all = each_scale_factor();
        for (int32_t sf : scale_factors()) all.push_back({0, sf});
        for (int32_t rounding : {2, -1, 256, 65536, INT32_MAX, INT32_MIN})
            for (int32_t sf : {0, 3, -2}) all.push_back({rounding, sf});
        return all;
    }
    static std::vector<Setting> few_settings() { return {{1, 0}, {0, 0}, {1, 4}, {0, -3}}; }
    static bool without_rounding(From) { return true; }  // conversions to integers see to their own environment
};

struct From32sTo16s {
    using Source = int32_t;
    using Result = int16_t;
    static constexpr const char* kName = "32s16s_Sfs";
    template <class How>
    static SrStatus call(How how, const int32_t* src, int16_t* dst, int32_t len, Setting setting)
    {
        return how(zelsConvert_32s16s_Sfs, src, dst, len, setting.sf);
    }
    static auto rule(Setting setting)
    {
        return [sf = setting.sf](int32_t x) { return reference::narrowed(x, sf); };
    }
    static std::vector<int32_t> values(Setting setting)
    {
        std::vector<int32_t> all = integers<int32_t>();
        const int sf = std::clamp(setting.sf, -15, 31);
        const auto add_around = [&](std::int64_t x) {
            for (std::int64_t near = x - 2; near <= x + 2; ++near) {
                all.push_back(reference::saturate<int32_t>(near));
                all.push_back(reference::saturate<int32_t>(-near));
            }
        };
        for (std::int64_t whole : {0, 1, 2, 3, 100, 101, 16383, 16384, 32766, 32767, 32768}) {
            if (sf <= 0) {
                add_around(whole >> -sf);
                continue;
            }
            add_around(whole << sf);
            add_around((whole << sf) + (std::int64_t{1} << (sf - 1)));  // ties
        }
        if (sf > 0) add_around(INT32_MAX - (std::int64_t{1} << (sf - 1)));
        return all;
    }
    static std::vector<Setting> settings() { return each_scale_factor(); }
    static std::vector<Setting> few_settings() { return {{1, 0}, {1, 3}, {1, -2}, {1, 16}, {1, 31}}; }
    static bool without_rounding(int32_t) { return true; }
};

struct From8uTo32f : Plain<uint8_t, float, zelsConvert_8u32f> {
    static constexpr const char* kName = "8u32f";
};
struct From16sTo32f : Plain<int16_t, float, zelsConvert_16s32f> {
    static constexpr const char* kName = "16s32f";
};
struct From32sTo32f : Plain<int32_t, float, zelsConvert_32s32f> {
    static constexpr const char* kName = "32s32f";
};
struct From64fTo32f : Plain<double, float, zelsConvert_64f32f> {
    static constexpr const char* kName = "64f32f";
};
struct From16sTo32fScaled : ScaledToFloat<int16_t, float, zelsConvert_16s32f_Sfs, -112, 126> {
    static constexpr const char* kName = "16s32f_Sfs";
};
struct From32sTo32fScaled : ScaledToFloat<int32_t, float, zelsConvert_32s32f_Sfs, -96, 126> {
    static constexpr const char* kName = "32s32f_Sfs";
};
struct From16sTo64fScaled : ScaledToFloat<int16_t, double, zelsConvert_16s64f_Sfs, -1008, 1022> {
    static constexpr const char* kName = "16s64f_Sfs";
};
struct From32fTo16s : ToInteger<float, int16_t, zelsConvert_32f16s_Sfs, reference::single_to_16s> {
    static constexpr const char* kName = "32f16s_Sfs";
};
struct From32fTo32s : ToInteger<float, int32_t, zelsConvert_32f32s_Sfs, reference::single_to_32s> {
    static constexpr const char* kName = "32f32s_Sfs";
};
struct From64fTo32s : ToInteger<double, int32_t, zelsConvert_64f32s_Sfs, reference::double_to_32s> {
    static constexpr const char* kName = "64f32s_Sfs";
};

template <class Member>
class ConversionTest : public testing::Test {};
struct MemberName {
    template <class Member>
    static std::string GetName(int)
    {
        return Member::kName;
    }
};
using Members =
    testing::Types<From8uTo32f, From16sTo32f, From32sTo32f, From64fTo32f, From16sTo32fScaled, From32sTo32fScaled,
                   From16sTo64fScaled, From32fTo16s, From32fTo32s, From64fTo32s, From32sTo16s>;
TYPED_TEST_SUITE(ConversionTest, Members, MemberName);

template <class Member>
auto caller(Setting setting)
{
    return [setting](const typename Member::Source* src, typename Member::Result* dst, int32_t len) {
        return Member::call(Direct{}, src, dst, len, setting);
    };
}

template <class Member>
std::vector<typename Member::Result> expected_of(const std::vector<typename Member::Source>& values,
                                                 Setting setting)
{
    const auto rule = Member::rule(setting);
    std::vector<typename Member::Result> results;
    results.reserve(values.size());
    for (const auto& x : values) results.push_back(rule(x));
    return results;
}

// At least count values, the ones that matter in random order.
template <class Member>
std::vector<typename Member::Source> shuffled_values(Setting setting, std::size_t count)
{
    auto all = Member::values(setting);
    while (all.size() < count)
        for (const auto& x : Member::values(setting)) all.push_back(x);
    std::shuffle(all.begin(), all.end(), generator());
    return all;
}

TYPED_TEST(ConversionTest, BitsAreTheRulesAtEveryLengthAndAddress)
{
    using Source = typename TypeParam::Source;
    using Result = typename TypeParam::Result;
    for (Setting setting : TypeParam::few_settings()) {
        SCOPED_TRACE(describe(setting));
        const auto values = shuffled_values<TypeParam>(setting, 140);
        const auto expected = expected_of<TypeParam>(values, setting);
        at_every_place<2>(lengths(32), {sizeof(Source), sizeof(Result)}, [&](int length, const auto& places) {
            return maps(window(values, length, length), window(expected, length, length),
                        caller<TypeParam>(setting), places[0], places[1]);
        });
    }
}

TYPED_TEST(ConversionTest, BitsAreTheRulesAtEveryScaleFactorAndRounding)
{
    for (Setting setting : TypeParam::settings()) {
        const auto values = shuffled_values<TypeParam>(setting, 0);
        const auto result = maps(values, expected_of<TypeParam>(values, setting), caller<TypeParam>(setting));
        ASSERT_TRUE(result) << describe(setting);
    }
}

TYPED_TEST(ConversionTest, RunsOntoItselfWhereTheElementSizesAgree)
{
    using Source = typename TypeParam::Source;
    using Result = typename TypeParam::Result;
    if constexpr (sizeof(Source) == sizeof(Result)) {
        for (Setting setting : TypeParam::few_settings()) {
            SCOPED_TRACE(describe(setting));
            const auto values = shuffled_values<TypeParam>(setting, 140);
            const auto expected = expected_of<TypeParam>(values, setting);
            at_every_place<1>(lengths(32), {sizeof(Source)}, [&](int length, const auto& places) {
                return maps_onto_itself(window(values, length, length), window(expected, length, length),
                                        caller<TypeParam>(setting), places[0]);
            });
        }
    }
}

TYPED_TEST(ConversionTest, LongArraysAreConvertedThroughout)
{
    for (Setting setting : TypeParam::few_settings()) {
        const auto values = shuffled_values<TypeParam>(setting, 5000);
        EXPECT_TRUE(maps(values, expected_of<TypeParam>(values, setting), caller<TypeParam>(setting)));
    }
}

// Values and settings whose results are exact or integers: those must not feel rounding modes, flushed subnormals
// or unmasked exceptions. (What the float results round, they round by the caller's mode.)
TYPED_TEST(ConversionTest, KeepsTheEnvironmentAndIntegersIgnoreIt)
{
    for (Setting setting : TypeParam::few_settings()) {
        std::vector<typename TypeParam::Source> values;
        for (const auto& x : shuffled_values<TypeParam>(setting, 300))
            if (TypeParam::without_rounding(x)) values.push_back(x);
        const auto expected = expected_of<TypeParam>(values, setting);
        Guarded<typename TypeParam::Source> source(values, {4, Edge::Back});
        Guarded<typename TypeParam::Result> result(values.size());
        SrStatus status = SrErrUnknown;
        under_each_environment(
            [&] {
                status = TypeParam::call(Direct{}, source.data(), result.data(),
                                         static_cast<int32_t>(values.size()), setting);
            },
            [&](const std::string& environment) {
                EXPECT_EQ(status, SrOk) << environment;
                EXPECT_TRUE(same_values(expected, result.values())) << environment << ", " << describe(setting);
                result.fill(std::vector<typename TypeParam::Result>(values.size()));
            });
    }
}

TYPED_TEST(ConversionTest, ReportsNullBeforeLengthAndWritesNothing)
{
    using Source = typename TypeParam::Source;
    using Result = typename TypeParam::Result;
    struct Arguments {
        const Source* src;
        Result* dst;
        int32_t len;
    };
    const Guarded<Source> source(std::vector<Source>(40, Source(1)));
    Guarded<Result> result(40);
    expect_check_order<Arguments>(
        {source.data(), result.data(), 40},
        {{"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
         {"null destination", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
         {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
         {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
         {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
        [](const Arguments& a) { return TypeParam::call(Direct{}, a.src, a.dst, a.len, {}); }, {&result});
    expect_reads_nothing_below_length_one<Source>([&](const Source* src, int32_t length) {
        return TypeParam::call(Direct{}, src, result.data(), length, {});
    });
}

#ifdef __i386__
TYPED_TEST(ConversionTest, RunsOnAnyStack)
{
    for (int misalign : {0, 4, 8, 12})
        for (Setting setting : TypeParam::few_settings()) {
            const auto values = shuffled_values<TypeParam>(setting, 100);
            const auto call = [&](const auto* src, auto* dst, int32_t len) {
                return TypeParam::call(OnOddStack{misalign}, src, dst, len, setting);
            };
            EXPECT_TRUE(maps(values, expected_of<TypeParam>(values, setting), call)) << misalign;
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
