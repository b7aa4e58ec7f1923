// Gains of the Ephraim-Malah suppressor.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/suppression.h"
#include "zelsr/noise/suppression.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();

SrStatus emns(const float* q, const float* r, float* out, int32_t len)
{
    return zelsFilterUpdateEMNS_32f(q, r, out, len);
}
SrStatus emns(const int32_t* q, const int32_t* r, int32_t* out, int32_t len)
{
    return zelsFilterUpdateEMNS_32s(q, r, out, len);
}

template <class T>
constexpr T kOne = std::is_same_v<T, float> ? T(1) : std::numeric_limits<T>::max();

template <class T>
class Emns : public testing::Test {};
struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "32s";
    }
};
using Types = testing::Types<float, int32_t>;
TYPED_TEST_SUITE(Emns, Types, Names);

template <class T>
std::vector<T> expected_gains(const std::vector<T>& q, const std::vector<T>& r)
{
    std::vector<T> all;
    for (std::size_t i = 0; i < q.size(); ++i) all.push_back(reference::emns(q[i], r[i]));
    return all;
}

template <class T>
testing::AssertionResult gains(const std::vector<T>& q, const std::vector<T>& r,
                               const std::array<Placement, 3>& at = {})
{
    Guarded<T> gain(q, at[0]), ratio(r, at[1]), filter(q.size(), at[2]);
    gain.take_snapshot();
    ratio.take_snapshot();
    if (auto ok = status_is(SrOk, emns(gain.data(), ratio.data(), filter.data(), static_cast<int32_t>(q.size())));
        !ok)
        return ok;
    if (!(gain.as_snapshot() && ratio.as_snapshot() && filter.intact()))
        return testing::AssertionFailure() << "written beside the filter";
    auto right = same_values(expected_gains(q, r), filter.values());
    if (!right)
        for (std::size_t i = 0; i < q.size(); ++i)
            if (!same(reference::emns(q[i], r[i]), filter.get(i)))
                return right << " for gain " << q[i] << ", ratio " << r[i];
    return right;
}

// Gains and ratios of every size.
float random_gain(float) { return std::min(1.0F, uniform(0.5F, 1.0F) * std::exp2(uniform(-30.0F, 1.0F))); }
float random_ratio(float) { return uniform(0.5F, 1.0F) * std::exp2(uniform(-18.0F, 9.0F)); }
int32_t random_gain(int32_t) { return static_cast<int32_t>((generator()() & 0x7fffffff) >> uniform(0, 31)); }
int32_t random_ratio(int32_t)
{
    const auto r = static_cast<int32_t>((generator()() & 0x7fffffff) >> uniform(5, 31));
    return generator()() % 32 == 0 ? -r : r;
}

TYPED_TEST(Emns, EveryLengthAndAddress)
{
    using T = TypeParam;
    at_every_place<3>(lengths(16), {4, 4, 4}, [](int length, const std::array<Placement, 3>& at) {
        std::vector<T> q, r;
        for (int i = 0; i < length; ++i) {
            q.push_back(random_gain(T()));
            r.push_back(random_ratio(T()));
        }
        return gains(q, r, at);
    });
}

TYPED_TEST(Emns, RandomGainsAndRatios)
{
    using T = TypeParam;
    for (int turn = 0; turn < (thin_effort() ? 1 : 20); ++turn) {
        std::vector<T> q, r;
        for (int i = 0; i < (thin_effort() ? 1001 : 65535); ++i) {
            q.push_back(random_gain(T()));
            r.push_back(random_ratio(T()));
        }
        ASSERT_TRUE(gains(q, r));
    }
}

TYPED_TEST(Emns, MayReplaceEitherSource)
{
    using T = TypeParam;
    std::vector<T> q, r;
    for (int i = 0; i < 37; ++i) {
        q.push_back(random_gain(T()));
        r.push_back(random_ratio(T()));
    }
    std::vector<T> out = q;
    ASSERT_EQ(emns(out.data(), r.data(), out.data(), 37), SrOk);
    EXPECT_TRUE(same_values(expected_gains(q, r), out));
    out = r;
    ASSERT_EQ(emns(q.data(), out.data(), out.data(), 37), SrOk);
    EXPECT_TRUE(same_values(expected_gains(q, r), out));
}

// With a gain of 1 the ratio is x itself, in Q22: every entry of the table, and the ends of each quadratic.
TEST(EmnsValues, TableAndQuadratics)
{
    std::vector<float> q, r;
    for (int x = 1; x <= 4096; ++x) {
        q.push_back(1.0F);
        r.push_back(std::ldexp(static_cast<float>(x), -22));
    }
    for (int bit = 12; bit <= 28; ++bit)
        for (int part = 0; part < 64; ++part) {
            const auto x = static_cast<float>((64.0 + part) / 64 * std::ldexp(1.0, bit));
            for (float v : {std::nextafter(x, 0.0F), x, std::nextafter(x, 1e9F)}) {
                q.push_back(1.0F);
                r.push_back(std::ldexp(v, -22));
            }
        }
    EXPECT_TRUE(gains(q, r));
    for (int x = 131; x <= 4096; ++x)
        ASSERT_EQ(reference::emns(1.0F, std::ldexp(static_cast<float>(x), -22)),
                  static_cast<float>(reference::quadratic_gain(x)) / 4194304.0F);

    // In fixed point, q = 2^24 makes r the x.
    std::vector<int32_t> qs, rs;
    for (int32_t x = 0; x <= 3276800; x += x < 5000 ? 1 : 401)
        if (x != 1) {
            qs.push_back(1 << 24);
            rs.push_back(x);
        }
    ASSERT_LT(rs.size(), 65535u);
    EXPECT_TRUE(gains(qs, rs));
}

TEST(EmnsValues, EntriesOfTheTable)
{
    EXPECT_EQ(reference::direct_gains()[1], 1815);
    EXPECT_EQ(reference::direct_gains()[128], 160);
    const std::vector<int32_t> q(4, 1 << 24), r = {2, 128, 129, 0};
    std::vector<int32_t> out(4);
    ASSERT_EQ(emns(q.data(), r.data(), out.data(), 4), SrOk);
    EXPECT_EQ(out[0], 0x7fffffff) << "2^24 * 1283";
    const std::vector<int32_t> small_q = {1 << 20, 1 << 20, 1 << 18};
    const std::vector<int32_t> small_r = {128 << 4, 1 << 4, 64 << 6};
    ASSERT_EQ(emns(small_q.data(), small_r.data(), out.data(), 3), SrOk);
    EXPECT_EQ(out[0], 160 << 20);
    EXPECT_EQ(out[1], 1815 << 20);
    EXPECT_EQ(out[2], reference::direct_gains()[64] << 18);
}

// The rule that the quadratics follow, as near as they follow it: half a percent at the ends of their ranges, and
// more at 129, where x itself is coarse.
TEST(EmnsValues, QuadraticsFollowTheEstimator)
{
    for (int bit = 7; bit <= 28; ++bit)
        for (int part = bit == 7 ? 1 : 0; part < 128; ++part) {
            const auto x = static_cast<int32_t>(std::ldexp(128.0 + part, bit - 7));
            if (x > 419430400) continue;
            const auto exact = static_cast<double>(reference::amplitude_gain(std::ldexp(double(x), -22)));
            const float ratio = std::ldexp(static_cast<float>(x), -22), one = 1;
            float out;
            ASSERT_EQ(emns(&one, &ratio, &out, 1), SrOk);
            ASSERT_NEAR(out / exact, 1, x == 129 ? 0.008 : 0.0052) << x;
        }
}

TEST(EmnsValues, LimitsOfTheRatio)
{
    const auto of = [](float q, float r) {
        float out = -1;
        EXPECT_EQ(emns(&q, &r, &out, 1), SrOk);
        return out;
    };
    const float top = static_cast<float>(reference::quadratic_gain(419430400)) / 4194304.0F;  // v = 100, bit 28
    for (float r : {100.0F, 100.00001F, 1e30F, kInfinity, kNaN, -kNaN}) EXPECT_EQ(of(1, r), top) << r;
    EXPECT_GT(of(1, 99.0F), top);
    const float bottom = of(1, 3.1e-05F);
    EXPECT_EQ(bottom, static_cast<float>(reference::quadratic_gain(130)) / 4194304.0F) << "x = 130.02";
    for (float r : {3e-5F, 1e-30F, 0.0F, -0.0F, -1.0F, -1e30F, -kInfinity}) EXPECT_EQ(of(1, r), bottom) << r;
    const auto of_s = [](int32_t q, int32_t r) {
        int32_t out = -1;
        EXPECT_EQ(emns(&q, &r, &out, 1), SrOk);
        return out;
    };
    for (int32_t r : {3276801, INT32_MAX}) EXPECT_EQ(of_s(1 << 30, r), of_s(1 << 30, 3276800));
    EXPECT_NE(of_s(1 << 30, 3270000), of_s(1 << 30, 3276800));
    for (int32_t r : {0, -1, INT32_MIN}) EXPECT_EQ(of_s(1 << 30, r), of_s(1 << 30, 1));
    EXPECT_EQ(reference::emns(1 << 30, 1), 0x7fffffff) << "x = 64: 2^30 * 226";
}

// At x = 0 the table's first entry stands for infinity.
TEST(EmnsValues, TinyGains)
{
    const float q[] = {1e-9F, 0.0F, -0.0F, std::numeric_limits<float>::denorm_min(), 1e-20F};
    const float r[] = {100.0F, 100.0F, 100.0F, 100.0F, 1.0F};
    float out[5];
    ASSERT_EQ(emns(q, r, out, 5), SrOk);
    EXPECT_EQ(out[0], 1e-9F * static_cast<float>(reference::direct_gains()[0]));
    EXPECT_TRUE(same_value(0.0F, out[1]));
    EXPECT_TRUE(same_value(-0.0F, out[2]));
    EXPECT_EQ(out[3], std::ldexp(1.0F, -149 + 31));
    EXPECT_EQ(out[4], 1e-20F * 2147483647.0F);
    const int32_t qs[] = {1, 0, 2, 5, INT32_MAX}, rs[] = {1, 100, 32768, 1, INT32_MIN};
    int32_t outs[5];
    ASSERT_EQ(emns(qs, rs, outs, 5), SrOk);
    EXPECT_EQ(outs[0], 0x7fffffff);
    EXPECT_EQ(outs[1], 0);
    EXPECT_EQ(outs[2], 0x7fffffff);
    EXPECT_EQ(outs[3], 0x7fffffff);
    EXPECT_EQ(outs[4], 0x7fffffff);
}

TEST(EmnsValues, SpecialValuesInEveryLane)
{
    std::vector<float> q, r;
    for (float gain : {0.0F, -0.0F, 1.0F, std::nextafter(1.0F, 0.0F), 1e-38F, 1e-45F, 0.5F, 3e-7F})
        for (float ratio : special_values<float>()) {
            q.push_back(gain);
            r.push_back(ratio);
        }
    for (int turn = 0; turn < 4; ++turn) {
        ASSERT_TRUE(gains(q, r));
        q.push_back(0.25F);
        r.insert(r.begin(), 0.75F);
    }
    std::vector<int32_t> qs, rs;
    for (int32_t gain : special_values<int32_t>())
        for (int32_t ratio : special_values<int32_t>()) {
            if (gain < 0) continue;
            qs.push_back(gain);
            rs.push_back(ratio);
        }
    EXPECT_TRUE(gains(qs, rs));
}

// --- checks ---

template <class T>
struct Arguments {
    const T* gain;
    const T* ratio;
    T* filter;
    int32_t len;
};

// One bad gain among 70 000 good ones.
template <class T>
std::vector<Fault<Arguments<T>>> faults(const std::vector<T>& with_bad_gain)
{
    using A = Arguments<T>;
    std::vector<Fault<A>> all = {{"null gain", SrErrNullPtr, [](A& a) { a.gain = nullptr; }},
                                 {"null ratio", SrErrNullPtr, [](A& a) { a.ratio = nullptr; }},
                                 {"null filter", SrErrNullPtr, [](A& a) { a.filter = nullptr; }}};
    for (int32_t bad : {0, -1, INT32_MIN, 65536, INT32_MAX})
        all.push_back({"length", SrErrLengthBound, [=](A& a) { a.len = bad; }});
    all.push_back({"bad gain", SrErrRange, [&](A& a) { a.gain = with_bad_gain.data(); }});
    return all;
}

TYPED_TEST(Emns, ChecksNullThenLengthThenGains)
{
    using T = TypeParam;
    const Guarded<T> gain(std::vector<T>(20, T(1))), ratio(20);
    std::vector<T> bad(20, T(1));
    bad[19] = T(-1);
    Guarded<T> filter(20);
    expect_check_order<Arguments<T>>({gain.data(), ratio.data(), filter.data(), 20}, faults<T>(bad),
                                     [](const Arguments<T>& a) { return emns(a.gain, a.ratio, a.filter, a.len); },
                                     {&filter});
}

TYPED_TEST(Emns, EachGainIsTestedBeforeAnythingIsWritten)
{
    using T = TypeParam;
    std::vector<T> bad_gains = {T(-1), std::numeric_limits<T>::lowest()};
    if constexpr (std::is_same_v<T, float>)
        for (float bad : {kNaN, -kNaN, std::nextafter(1.0F, 2.0F), kInfinity, -kInfinity, -1e-45F, 2.0F})
            bad_gains.push_back(bad);
    const std::vector<T> ratio(40, T(2));
    for (T bad : bad_gains)
        for (int len : {1, 2, 3, 4, 5, 8, 15, 16, 17, 37})
            for (int misalign : {0, 4})
                for (int at = 0; at < len; ++at) {
                    Guarded<T> gain(std::vector<T>(static_cast<std::size_t>(len), kOne<T>), {misalign});
                    gain.set(static_cast<std::size_t>(at), bad);
                    Guarded<T> filter(static_cast<std::size_t>(len));
                    filter.take_snapshot();
                    ASSERT_EQ(emns(gain.data(), ratio.data(), filter.data(), len), SrErrRange)
                        << at << " of " << len;
                    ASSERT_TRUE(filter.as_snapshot());
                }
}

TYPED_TEST(Emns, LongestLength)
{
    using T = TypeParam;
    const std::vector<T> gain(65536, T(1)), ratio(65536, T(1));
    std::vector<T> filter(65536);
    EXPECT_EQ(emns(gain.data(), ratio.data(), filter.data(), 65535), SrOk);
    EXPECT_EQ(emns(gain.data(), ratio.data(), filter.data(), 65536), SrErrLengthBound);
}

TYPED_TEST(Emns, TakesNoMemory)
{
    const std::vector<TypeParam> gain(1000, TypeParam(1)), ratio(1000, TypeParam(1));
    std::vector<TypeParam> filter(1000);
    const AllocatorWatch watch;
    EXPECT_EQ(emns(gain.data(), ratio.data(), filter.data(), 1000), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

// A table's entry hangs on the ratio's last bit.
TYPED_TEST(Emns, IsTheSameInEachEnvironment)
{
    using T = TypeParam;
    std::vector<T> q, r, out(67);
    for (int i = 0; i < 67; ++i) {
        q.push_back(random_gain(T()));
        r.push_back(random_ratio(T()));
    }
    const std::vector<T> expected = expected_gains(q, r);
    under_each_environment([&] { emns(q.data(), r.data(), out.data(), 67); },
                           [&](const std::string& setting) {
                               EXPECT_TRUE(same_values(expected, out)) << setting;
                               out.assign(67, T(-1));
                           });
}

#ifdef __i386__
TYPED_TEST(Emns, RunsOnAnyStack)
{
    using T = TypeParam;
    std::vector<T> q, r, out(35);
    for (int i = 0; i < 35; ++i) {
        q.push_back(random_gain(T()));
        r.push_back(random_ratio(T()));
    }
    for (int misalign : {0, 4, 8, 12}) {
        if constexpr (std::is_same_v<T, float>)
            EXPECT_EQ(call_misaligned(zelsFilterUpdateEMNS_32f, misalign, static_cast<const float*>(q.data()),
                                      static_cast<const float*>(r.data()), out.data(), 35),
                      SrOk);
        else
            EXPECT_EQ(call_misaligned(zelsFilterUpdateEMNS_32s, misalign, static_cast<const int32_t*>(q.data()),
                                      static_cast<const int32_t*>(r.data()), out.data(), 35),
                      SrOk);
        EXPECT_TRUE(same_values(expected_gains(q, r), out));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
