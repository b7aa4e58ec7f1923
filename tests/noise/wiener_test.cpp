// Wiener filters out of signal-to-noise ratios.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/suppression.h"
#include "zelsr/noise/suppression.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();

template <class T>
std::vector<T> filters(const std::vector<T>& x)
{
    std::vector<T> all;
    for (T v : x) all.push_back(reference::wiener(v));
    return all;
}
template <class T>
SrStatus status_of(const std::vector<T>& x)
{
    for (T v : x)
        if (v < 0) return SrErrBadArg;
    return SrOk;
}
std::vector<float> ratios(int count, bool negative)
{
    std::vector<float> x;
    for (int i = 0; i < count; ++i) x.push_back(uniform(0.5F, 1.0F) * std::exp2(uniform(-30.0F, 30.0F)));
    if (negative)
        for (int i = 0; i < 1 + count / 4; ++i) {
            float& some = x[generator()() % x.size()];
            some = -std::abs(some);
        }
    return x;
}
std::vector<int32_t> ratios_32s(int count, bool negative)
{
    std::vector<int32_t> x;
    for (int i = 0; i < count; ++i) {
        const auto value = static_cast<int32_t>((generator()() & 0x7fffffff) >> uniform(0, 31));
        x.push_back(negative && generator()() % 4 == 0 ? -value : value);
    }
    return x;
}

TEST(Wiener, SinglesAtEveryLengthAndAddress)
{
    for (bool negative : {false, true})
        at_every_place<2>(lengths(16), {4, 4}, [&](int length, const std::array<Placement, 2>& at) {
            const std::vector<float> x = ratios(length, negative);
            return maps(x, filters(x), zelsFilterUpdateWiener_32f, at[0], at[1], status_of(x));
        });
}

TEST(Wiener, IntegersAtEveryLengthAndAddress)
{
    for (bool negative : {false, true})
        at_every_place<2>(lengths(16), {4, 4}, [&](int length, const std::array<Placement, 2>& at) {
            const std::vector<int32_t> x = ratios_32s(length, negative);
            return maps(x, filters(x), zelsFilterUpdateWiener_32s, at[0], at[1], status_of(x));
        });
}

TEST(Wiener, MayReplaceItsSource)
{
    for (bool negative : {false, true}) {
        const std::vector<float> x = ratios(39, negative);
        EXPECT_TRUE(maps_onto_itself(x, filters(x), zelsFilterUpdateWiener_32f, {}, status_of(x)));
        const std::vector<int32_t> y = ratios_32s(39, negative);
        EXPECT_TRUE(maps_onto_itself(y, filters(y), zelsFilterUpdateWiener_32s, {}, status_of(y)));
    }
}

TEST(Wiener, LongestLength)
{
    const std::vector<float> x = ratios(65535, true);
    EXPECT_TRUE(maps(x, filters(x), zelsFilterUpdateWiener_32f, {}, {}, status_of(x)));
    const std::vector<int32_t> y = ratios_32s(65535, true);
    EXPECT_TRUE(maps(y, filters(y), zelsFilterUpdateWiener_32s, {}, {}, SrErrBadArg));
}

// Every step of the function and its neighbours.
TEST(Wiener, IntegerSteps)
{
    std::vector<int32_t> x;
    const auto around = [&](int64_t at) {
        for (int64_t v : {at - 1, at, at + 1})
            if (v >= 0 && v <= INT32_MAX) x.push_back(static_cast<int32_t>(v));
    };
    for (int64_t i = 0; i <= 64; ++i) around(i << 11);
    for (int64_t i = 1; i <= 16; ++i) around(i << 17);
    for (int64_t i = 1; i <= 8; ++i) around(i << 21);
    for (int64_t i = 1; i <= 65; ++i) around(i << 24);
    around(INT32_MAX);
    EXPECT_TRUE(maps(x, filters(x), zelsFilterUpdateWiener_32s));
}

TEST(Wiener, IntegersByValue)
{
    const std::vector<int32_t> x = {
        0,        2047,           2048,     32768,           (4 << 15) - 1, 4 << 15,          (8 << 15) - 1,
        8 << 15,  (64 << 15) - 1, 64 << 15, (512 << 15) - 1, 512 << 15,     (1024 << 15) - 1, 1024 << 15,
        INT32_MAX};
    const auto of = [](int64_t n, int64_t d) { return static_cast<int32_t>((n << 31) / d); };
    const std::vector<int32_t> expected = {
        0,          0,          of(1, 17),    1 << 30,      of(63, 79),   of(4, 5),   of(4, 5),  of(8, 9),
        of(60, 61), of(64, 65), of(448, 449), of(512, 513), of(512, 513), 0x7fffffff, 0x7fffffff};
    EXPECT_TRUE(maps(x, expected, zelsFilterUpdateWiener_32s));
}

// The rest of the filter is written whatever is negative.
TEST(Wiener, NegativeRatiosCountAsZeroAndAreReported)
{
    EXPECT_TRUE(maps(std::vector<int32_t>{32768, -1, 0, INT32_MIN, 32768},
                     std::vector<int32_t>{1 << 30, 0, 0, 0, 1 << 30}, zelsFilterUpdateWiener_32s, {}, {},
                     SrErrBadArg));
    for (float negative : {-1.0F, -1e-45F, -1e-38F, -std::numeric_limits<float>::max(), -kInfinity, -0.5F})
        for (int length : {1, 3, 4, 5, 8, 9, 33})
            for (int at = 0; at < length; ++at) {
                std::vector<float> x(static_cast<std::size_t>(length), 1.0F), y(x.size(), 0.5F);
                x[static_cast<std::size_t>(at)] = negative;
                y[static_cast<std::size_t>(at)] = 0.0F;
                ASSERT_TRUE(maps(x, y, zelsFilterUpdateWiener_32f, {}, {}, SrErrBadArg)) << negative;
                std::vector<int32_t> xs(x.size(), 32768), ys(x.size(), 1 << 30);
                xs[static_cast<std::size_t>(at)] = -7;
                ys[static_cast<std::size_t>(at)] = 0;
                ASSERT_TRUE(maps(xs, ys, zelsFilterUpdateWiener_32s, {}, {}, SrErrBadArg));
            }
}

TEST(Wiener, SinglesByValue)
{
    const float largest = std::numeric_limits<float>::max();
    EXPECT_TRUE(maps(std::vector<float>{0, -0.0F, 1, 3, 1e-45F, 1e-20F, 1e20F, largest, kInfinity, kNaN},
                     std::vector<float>{0, -0.0F, 0.5F, 0.75F, 1e-45F, 1e-20F, 1, 1, kNaN, kNaN},
                     zelsFilterUpdateWiener_32f));
}

// Minus zero and not-a-number stay as they are beside elements that are raised.
TEST(Wiener, MinusZeroIsNotNegative)
{
    EXPECT_TRUE(maps(std::vector<float>{1, -0.0F, -2, 0, kNaN, -0.0F, 3},
                     std::vector<float>{0.5F, -0.0F, 0, 0, kNaN, -0.0F, 0.75F}, zelsFilterUpdateWiener_32f, {}, {},
                     SrErrBadArg));
    EXPECT_TRUE(maps(std::vector<float>(9, -0.0F), std::vector<float>(9, -0.0F), zelsFilterUpdateWiener_32f));
}

// --- checks and memory ---

template <class T, class Call>
void expect_checks(Call call)
{
    struct Arguments {
        const T* snr;
        T* filter;
        int32_t len;
    };
    const Guarded<T> snr(std::vector<T>(20, T(1)));
    Guarded<T> filter(20);
    std::vector<Fault<Arguments>> faults = {
        {"null ratio", SrErrNullPtr, [](Arguments& a) { a.snr = nullptr; }},
        {"null filter", SrErrNullPtr, [](Arguments& a) { a.filter = nullptr; }}};
    for (int32_t bad : {0, -1, INT32_MIN, 65536, INT32_MAX})
        faults.push_back({"length", SrErrLengthBound, [=](Arguments& a) { a.len = bad; }});
    const AllocatorWatch watch;
    expect_check_order<Arguments>({snr.data(), filter.data(), 20}, faults,
                                  [&](const Arguments& a) { return call(a.snr, a.filter, a.len); }, {&filter});
    EXPECT_EQ(watch.requests(), 0);
}

TEST(Wiener, ChecksNullThenLength)
{
    expect_checks<float>(zelsFilterUpdateWiener_32f);
    expect_checks<int32_t>(zelsFilterUpdateWiener_32s);
}

TEST(Wiener, RefusedMemoryIsReported)
{
    for (bool negative : {false, true})
        for (int length : {1, 100, 65535}) {
            const std::vector<float> x = ratios(length, negative);
            Guarded<float> filter(x.size());
            expect_survives_refusals(
                [&] {
                    const SrStatus status = zelsFilterUpdateWiener_32f(x.data(), filter.data(), length);
                    return status == SrErrBadArg ? SrOk : status;
                },
                {&filter});
        }
    const AllocatorWatch watch;
    int32_t one = 1, out;
    EXPECT_EQ(zelsFilterUpdateWiener_32s(&one, &out, 1), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

TEST(Wiener, IntegersAreTheSameInEachEnvironment)
{
    const std::vector<int32_t> x = ratios_32s(67, false);
    std::vector<int32_t> out(67);
    under_each_environment([&] { zelsFilterUpdateWiener_32s(x.data(), out.data(), 67); },
                           [&](const std::string& setting) {
                               EXPECT_TRUE(same_values(filters(x), out)) << setting;
                               out.assign(67, -1);
                           });
}

#ifdef __i386__
TEST(Wiener, RunsOnAnyStack)
{
    const std::vector<int32_t> x = ratios_32s(67, false);
    const std::vector<float> y = ratios(67, false);
    std::vector<int32_t> out(67);
    std::vector<float> singles(67);
    for (int misalign : {0, 4, 8, 12}) {
        EXPECT_EQ(call_misaligned(zelsFilterUpdateWiener_32s, misalign, x.data(), out.data(), 67), SrOk);
        EXPECT_EQ(call_misaligned(zelsFilterUpdateWiener_32f, misalign, y.data(), singles.data(), 67), SrOk);
        EXPECT_TRUE(same_values(filters(x), out));
        EXPECT_TRUE(same_values(filters(y), singles));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
