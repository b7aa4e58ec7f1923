// Codes of the high band's energies.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/aurora_bands.h"
#include "zelsr/aurora/bands.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();

template <class How>
SrStatus code(How how, const float* a, const float* p, const float* q, float* dst, int32_t)
{
    return how(zelsHighBandCoding_Aurora_32f, a, p, q, dst);
}
template <class How>
SrStatus code(How how, const int32_t* a, const int32_t* p, const int32_t* q, int32_t* dst, int32_t sf)
{
    return how(zelsHighBandCoding_Aurora_32s_Sfs, a, p, q, dst, sf);
}

template <class T>
class HighBand : public testing::Test {};
struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "32s";
    }
};
using Types = testing::Types<float, int32_t>;
TYPED_TEST_SUITE(HighBand, Types, Names);

template <class T>
struct Spectra {
    std::vector<T> a = std::vector<T>(3), p = std::vector<T>(65), q = std::vector<T>(129);
};

float random_value(float) { return std::exp2(uniform(-20.0F, 30.0F)); }
int32_t random_value(int32_t) { return static_cast<int32_t>((generator()() & 0x7fffffff) >> uniform(5, 31)); }

template <class T>
Spectra<T> random_spectra()
{
    Spectra<T> s;
    for (auto* values : {&s.a, &s.p, &s.q})
        for (T& v : *values) v = random_value(T());
    return s;
}

// Singles: logarithms of single precision and their differences, of 100 at most, round at most a dozen times to
// 2^-18 (differences to 2^-17, of a weight below 1).
constexpr float kTolerance = 0x1p-15F;

testing::AssertionResult right(const Spectra<float>& s, const std::vector<float>& results, int32_t)
{
    return near_values(reference::high_band(s.a, s.p, s.q), results, kTolerance);
}
std::vector<int32_t> expected_codes(const Spectra<int32_t>& s, int32_t sf)
{
    std::vector<int32_t> codes = reference::high_band_q7(s.a, s.p, s.q);
    for (int32_t& v : codes) v = reference::shifted_q7(v, sf);
    return codes;
}
testing::AssertionResult right(const Spectra<int32_t>& s, const std::vector<int32_t>& results, int32_t sf)
{
    return same_values(expected_codes(s, sf), results);
}

template <class T>
std::vector<T> coded(const Spectra<T>& s, int32_t sf = -7)
{
    std::vector<T> out(3);
    EXPECT_EQ(code(Direct{}, s.a.data(), s.p.data(), s.q.data(), out.data(), sf), SrOk);
    return out;
}

template <class T>
testing::AssertionResult codes(const Spectra<T>& s, int32_t sf = -7, const std::array<Placement, 4>& at = {})
{
    Guarded<T> a(s.a, at[0]), p(s.p, at[1]), q(s.q, at[2]), out(3, at[3]);
    for (Guarded<T>* source : {&a, &p, &q}) source->take_snapshot();
    if (auto ok = status_is(SrOk, code(Direct{}, a.data(), p.data(), q.data(), out.data(), sf)); !ok) return ok;
    if (!(a.as_snapshot() && p.as_snapshot() && q.as_snapshot() && out.intact()))
        return testing::AssertionFailure() << "written beside the codes";
    return right(s, out.values(), sf);
}

TYPED_TEST(HighBand, EveryAddress)
{
    using T = TypeParam;
    at_every_place<4>({129}, {sizeof(T), sizeof(T), sizeof(T), sizeof(T)},
                      [](int, const std::array<Placement, 4>& at) { return codes(random_spectra<T>(), -7, at); });
}

TYPED_TEST(HighBand, RandomSpectra)
{
    using T = TypeParam;
    for (int turn = 0; turn < (thin_effort() ? 30 : 3000); ++turn)
        ASSERT_TRUE(codes(random_spectra<T>(), turn % 12 - 10));
}

TYPED_TEST(HighBand, MayReplaceItsLowBandValues)
{
    const Spectra<TypeParam> s = random_spectra<TypeParam>();
    std::vector<TypeParam> a = s.a;
    ASSERT_EQ(code(Direct{}, a.data(), s.p.data(), s.q.data(), a.data(), -7), SrOk);
    EXPECT_TRUE(right(s, a, -7));
}

// One bin at a time: its band, or none.
TYPED_TEST(HighBand, EachBinCountsInItsBand)
{
    using T = TypeParam;
    Spectra<T> plain;
    plain.a.assign(3, T(1));
    plain.p.assign(65, T(8));
    plain.q.assign(129, T(8));
    const std::vector<T> unchanged = coded(plain);
    for (std::size_t i = 0; i < 65; ++i) {
        Spectra<T> s = plain;
        s.p[i] = T(100000);
        ASSERT_TRUE(codes(s)) << "p " << i;
        ASSERT_EQ(coded(s) == unchanged, i < 33) << "p " << i;
    }
    for (std::size_t i = 0; i < 129; ++i) {
        Spectra<T> s = plain;
        s.q[i] = T(100000);
        ASSERT_TRUE(codes(s)) << "q " << i;
        ASSERT_EQ(coded(s) == unchanged, i < 66 || i == 77 || i == 97) << "q " << i;
    }
}

TEST(HighBandValues, SinglesByValue)
{
    // Sums of p of 1, of q of 2, a of 1: every logarithm is 0.
    Spectra<float> s;
    s.a = {1, std::exp(1.0F), 0};
    s.p[35] = s.p[40] = s.p[50] = 1;
    s.q[70] = s.q[80] = s.q[100] = 2;
    EXPECT_TRUE(near_values(std::vector<float>{0, 1, -10}, coded(s), 1e-6));
    // One band's weight after another.
    s.q[70] = 2 * std::exp(10.0F);
    EXPECT_TRUE(near_values(std::vector<float>{1, 2, -9}, coded(s), 4e-6));
    s.q[80] = 2 * std::exp(20.0F);
    EXPECT_TRUE(near_values(std::vector<float>{5, 6, -5}, coded(s), 8e-6));
    s.q[100] = 2 * std::exp(-5.0F);
    EXPECT_TRUE(near_values(std::vector<float>{1.5F, 2.5F, -8.5F}, coded(s), 8e-6));
    s.p[35] = std::exp(10.0F);
    EXPECT_TRUE(near_values(std::vector<float>{0.5F, 1.5F, -9.5F}, coded(s), 8e-6));
    s.p[50] = std::exp(-1.0F);
    EXPECT_TRUE(near_values(std::vector<float>{1.2F, 2.2F, -8.8F}, coded(s), 8e-6));
}

// Zero, what is negative and what is no number count as e^-10, infinity as itself.
TEST(HighBandValues, SinglesBelowTheFloor)
{
    Spectra<float> s;
    EXPECT_TRUE(near_values(std::vector<float>(3, -10), coded(s), 1e-5)) << "all 0: -10 - (-10 + 10)";
    s.a.assign(3, 1);
    s.p[35] = s.p[40] = s.p[50] = 1;
    s.q[70] = s.q[80] = s.q[100] = 2;
    const float floor = static_cast<float>(std::exp(-10.0));
    for (float v : {0.0F, -0.0F, 1e-5F, 1e-30F, 1e-45F, -1.0F, -kInfinity, kNaN, floor,
                    std::nextafter(floor, 0.0F), std::nextafter(floor, 1.0F)}) {
        Spectra<float> t = s;
        t.a[1] = v;
        EXPECT_TRUE(near_values(std::vector<float>{0, -10, 0}, coded(t), 1e-5)) << v;
        t = s;
        t.p[60] = v - 1;
        t.p[50] = 1;
        if (!(v > 0)) {
            EXPECT_TRUE(near_values(std::vector<float>(3, 7), coded(t), 1e-5)) << "p " << v;
        }
        t = s;
        t.q[98] = 2 * v;
        t.q[100] = 0;
        EXPECT_TRUE(near_values(std::vector<float>(3, -7), coded(t), 1e-5)) << "q " << v;
    }
    Spectra<float> t = s;
    t.q[100] = kInfinity;
    EXPECT_EQ(coded(t), std::vector<float>(3, kInfinity));
    t = s;
    t.p[40] = kInfinity;
    EXPECT_EQ(coded(t), std::vector<float>(3, -kInfinity));
    t = s;
    t.a[2] = kInfinity;
    EXPECT_EQ(coded(t)[2], kInfinity);
    EXPECT_NEAR(coded(t)[0], 0, 1e-5);
}

// P1 and P2 are added from left to right in singles, the others are rounded once.
TEST(HighBandValues, OrderOfTheSums)
{
    // In singles 2^25 takes no 1, so that nothing is left where it goes again.
    for (auto [first, last, weight] : {std::array<std::size_t, 3>{33, 38, 1}, {39, 48, 2}, {49, 64, 7}}) {
        Spectra<float> s;
        s.a.assign(3, 1);
        s.p[35] = s.p[40] = s.p[50] = 1;
        s.q[70] = s.q[80] = s.q[100] = 2;
        for (std::size_t i = first; i <= last; ++i) s.p[i] = 1;
        s.p[first] = 0x1p25F;
        s.p[last] = -0x1p25F;
        const auto middle = static_cast<double>(last - first - 1);
        const double expected = weight == 7 ? -0.7 * std::log(middle) : static_cast<double>(weight);
        EXPECT_NEAR(coded(s)[0], expected, 1e-5) << first;
    }
    for (auto [first, last, weight] : {std::array<std::size_t, 3>{66, 76, 1}, {78, 96, 2}, {98, 128, 7}}) {
        Spectra<float> s;
        s.a.assign(3, 1);
        s.p[35] = s.p[40] = s.p[50] = 1;
        s.q[70] = s.q[80] = s.q[100] = 2;
        for (std::size_t i = first; i <= last; ++i) s.q[i] = 1;
        s.q[first] = 0x1p25F;
        s.q[last] = -0x1p25F;
        const auto middle = static_cast<double>(last - first - 1);
        EXPECT_NEAR(coded(s)[0], 0.1 * static_cast<double>(weight) * std::log(middle / 2), 1e-5) << first;
    }
}

// --- the 32-bit form ---

TEST(HighBandValues, IntegersByValue)
{
    Spectra<int32_t> s;
    EXPECT_EQ(coded(s), std::vector<int32_t>(3, -128 + -257 + -897)) << "-1280 * 102, * 205, * 717, each down";
    // Sums of q of 8 make 1 after the scaling; ln 1 + 177.
    s.a = {1, 2, 0};
    s.p[35] = s.p[40] = s.p[50] = 1;
    s.q[70] = s.q[80] = s.q[100] = 8;
    const auto of = [](int d) { return ((d * 102) >> 10) + ((d * 205) >> 10) + ((d * 717) >> 10); };
    EXPECT_EQ(coded(s), (std::vector<int32_t>{of(177), of(177 + 89), of(177 - 1280)}));
    // A half goes to the even neighbour: 4 / 8 is nothing, 12 / 8 is 2; 177 stays out of what is nothing.
    s.q[70] = s.q[80] = s.q[100] = 4;
    EXPECT_EQ(coded(s)[0], of(-1280));
    s.q[70] = s.q[80] = s.q[100] = 5;
    EXPECT_EQ(coded(s)[0], of(177));
    s.q[70] = s.q[80] = s.q[100] = 12;
    EXPECT_EQ(coded(s)[0], of(177 + 89));
    s.q[70] = s.q[80] = s.q[100] = -800;
    EXPECT_EQ(coded(s)[0], of(-1280));
    s.p[40] = -5;
    s.q[70] = s.q[80] = s.q[100] = 8;
    EXPECT_EQ(coded(s)[0], ((177 * 102) >> 10) + (((177 + 1280) * 205) >> 10) + ((177 * 717) >> 10));
}

TEST(HighBandValues, IntegerSumsSaturate)
{
    Spectra<int32_t> s;
    s.a = {INT32_MAX, INT32_MIN, 1};
    s.p.assign(65, INT32_MAX);
    s.q.assign(129, INT32_MAX);
    ASSERT_TRUE(codes(s));
    s.p.assign(65, INT32_MIN);
    s.q.assign(129, INT32_MIN);
    ASSERT_TRUE(codes(s));
    EXPECT_EQ(coded(s)[1], -128 + -257 + -897);
    EXPECT_EQ(coded(s)[2], 0);
    // The sum of q's third band, 31 times 2^30, passes 32 bits even after the scaling.
    s.q.assign(129, 1 << 30);
    ASSERT_TRUE(codes(s));
}

TEST(HighBandValues, SpecialIntegers)
{
    for (int32_t a : special_values<int32_t>())
        for (int32_t v : special_values<int32_t>())
            for (int32_t w : special_values<int32_t>()) {
                Spectra<int32_t> s;
                s.a = {a, v, w};
                s.p[33] = v, s.p[48] = w, s.p[49] = v, s.p[64] = a;
                s.q[66] = w, s.q[96] = v, s.q[128] = a, s.q[98] = v;
                ASSERT_TRUE(codes(s));
            }
}

TEST(HighBandValues, EveryScaleFactor)
{
    std::vector<int32_t> factors = scale_factors();
    for (int32_t sf : {INT32_MAX - 6, INT32_MAX - 7, INT32_MIN + 7}) factors.push_back(sf);
    for (int32_t sf : factors) {
        ASSERT_TRUE(codes(random_spectra<int32_t>(), sf)) << sf;
        ASSERT_TRUE(codes(Spectra<int32_t>(), sf)) << sf;
    }
}

// Below -7 the result is shifted by 39 + sf, so that the smallest step is the largest.
TEST(HighBandValues, ShiftsLeftByThePlacesModulo32)
{
    Spectra<int32_t> s;
    s.a.assign(3, 1);
    s.p[35] = s.p[40] = s.p[50] = 1;
    s.q[70] = s.q[80] = s.q[100] = 8;
    const int32_t q7 = coded(s)[0];  // 17 + 35 + 123
    ASSERT_EQ(q7, 175);
    EXPECT_EQ(coded(s, -6)[0], 87);
    EXPECT_EQ(coded(s, 0)[0], 1);
    EXPECT_EQ(coded(s, 1)[0], 0);
    EXPECT_EQ(coded(s, -8)[0], INT32_MIN) << "31 places";
    EXPECT_EQ(coded(s, -9)[0], INT32_MIN | 1 << 30) << "30 places";
    EXPECT_EQ(coded(s, -38)[0], 350) << "one place";
    EXPECT_EQ(coded(s, -39)[0], 175) << "none";
    EXPECT_EQ(coded(s, -40)[0], INT32_MIN) << "31 places again";
    s.q.assign(129, 0);
    EXPECT_EQ(coded(s, 0)[0], -11) << "-1282 / 128 downward";
    for (int32_t sf : {24, 25, 26, 31, 32, 57, 100, INT32_MAX}) EXPECT_EQ(coded(s, sf)[0], -1) << sf;
}

// --- checks, memory, environment, stack ---

TYPED_TEST(HighBand, ChecksItsPointers)
{
    using T = TypeParam;
    struct Arguments {
        const T *a, *p, *q;
        T* dst;
    };
    const Spectra<T> s;
    Guarded<T> out(3);
    expect_check_order<Arguments>({s.a.data(), s.p.data(), s.q.data(), out.data()},
                                  {{"null low-band values", SrErrNullPtr, [](Arguments& a) { a.a = nullptr; }},
                                   {"null first spectrum", SrErrNullPtr, [](Arguments& a) { a.p = nullptr; }},
                                   {"null second spectrum", SrErrNullPtr, [](Arguments& a) { a.q = nullptr; }},
                                   {"null result", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }}},
                                  [](const Arguments& a) { return code(Direct{}, a.a, a.p, a.q, a.dst, 0); },
                                  {&out});
}

TYPED_TEST(HighBand, TakesNoMemory)
{
    const Spectra<TypeParam> s = random_spectra<TypeParam>();
    std::vector<TypeParam> out(3);
    const AllocatorWatch watch;
    EXPECT_EQ(code(Direct{}, s.a.data(), s.p.data(), s.q.data(), out.data(), 0), SrOk);
    EXPECT_EQ(watch.requests(), 0);
}

TYPED_TEST(HighBand, IsTheSameInEachEnvironment)
{
    using T = TypeParam;
    const Spectra<T> s = random_spectra<T>();
    const std::vector<T> expected = coded(s, -5);
    std::vector<T> out(3);
    under_each_environment([&] { code(Direct{}, s.a.data(), s.p.data(), s.q.data(), out.data(), -5); },
                           [&](const std::string& setting) {
                               EXPECT_TRUE(same_values(expected, out)) << setting;
                               out.assign(3, T(-1));
                           });
}

#ifdef __i386__
TYPED_TEST(HighBand, RunsOnAnyStack)
{
    using T = TypeParam;
    const Spectra<T> s = random_spectra<T>();
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<T> out(3);
        EXPECT_EQ(code(OnOddStack{misalign}, s.a.data(), s.p.data(), s.q.data(), out.data(), -7), SrOk);
        EXPECT_TRUE(right(s, out, -7));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
