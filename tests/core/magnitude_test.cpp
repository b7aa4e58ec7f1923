// Magnitudes of complex numbers: to about 22 bits in single precision, exactly rounded in fixed point.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/elementwise.h"
#include "support/odd_stack.h"
#include "support/reference/vector.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

// ---- Single precision ---------------------------------------------------------------------------------------

// re and im in every ratio, of magnitudes whose square sum is a normal single.
std::vector<Zel32fc> complex_values(int count)
{
    std::vector<Zel32fc> values(static_cast<std::size_t>(count));
    for (Zel32fc& value : values) {
        const double magnitude = std::pow(10.0, uniform(-15.0, 18.0));
        const double angle = uniform(0.0, 6.2832);
        value = {static_cast<float>(magnitude * std::cos(angle)), static_cast<float>(magnitude * std::sin(angle))};
        if (generator()() % 16 == 0) value.im = 0;
        if (generator()() % 16 == 0) value.re = value.im;
        if (generator()() % 16 == 0) value.re = 0;
    }
    return values;
}

// The estimate errs by 1.5 * 2^-12 at most; the Newton step leaves 3/2 of the square of that, 2^-22.2, and some
// six roundings to single add as much at worst.
constexpr double kRelativeError = 0x1p-21;

void expect_magnitudes(const std::vector<Zel32fc>& src, const std::vector<float>& magnitudes)
{
    for (std::size_t i = 0; i < src.size(); ++i) {
        const long double re = src[i].re, im = src[i].im;
        const long double exact = std::sqrt(re * re + im * im);
        EXPECT_LE(static_cast<double>(std::abs(magnitudes[i] - exact)),
                  kRelativeError * static_cast<double>(exact))
            << "element " << i << " of " << src.size() << ": (" << src[i].re << ", " << src[i].im << ") gave "
            << magnitudes[i];
        if (testing::Test::HasFailure()) return;
    }
}

TEST(Magnitude32fc, HasARelativeErrorBelowTwoToTheMinus21)
{
    const int len = thin_effort() ? 1003 : 200003;
    const std::vector<Zel32fc> src = complex_values(len);
    std::vector<float> dst(src.size());
    EXPECT_EQ(zelsMagnitude_32fc(src.data(), dst.data(), len), SrOk);
    expect_magnitudes(src, dst);
}

TEST(Magnitude32fc, IsTheSameAtEveryPlacementOfEveryLength)
{
    const std::vector<Placement> all = placements(sizeof(float));
    for (int len : lengths(32)) {
        const std::vector<Zel32fc> values = complex_values(len);
        const Guarded<Zel32fc> aligned(values, {0});
        Guarded<float> expected(values.size(), {0});
        EXPECT_EQ(zelsMagnitude_32fc(aligned.data(), expected.data(), len), SrOk);
        expect_magnitudes(values, expected.values());
        for (std::size_t p = 0; p < all.size(); ++p) {
            const Guarded<Zel32fc> src(values, cycle(all, p + static_cast<std::size_t>(len)));
            Guarded<float> dst(values.size(), all[p]);
            EXPECT_EQ(zelsMagnitude_32fc(src.data(), dst.data(), len), SrOk);
            EXPECT_TRUE(same_values(expected.values(), dst.values())) << len << " elements " << describe(all[p]);
            EXPECT_TRUE(src.intact() && dst.intact());
            if (HasFailure()) return;
        }
    }
}

TEST(Magnitude32fc, OfZeroIsZeroAtEachPosition)
{
    for (int len : lengths(8))
        for (std::size_t at = 0; at < static_cast<std::size_t>(len); ++at)
            for (const Zel32fc& zero : {Zel32fc{0, 0}, Zel32fc{-0.0F, -0.0F}, Zel32fc{0, -0.0F}}) {
                std::vector<Zel32fc> src(static_cast<std::size_t>(len), Zel32fc{3, -4});
                src[at] = zero;
                Guarded<float> dst(src.size());
                EXPECT_EQ(zelsMagnitude_32fc(src.data(), dst.data(), len), SrOk);
                EXPECT_TRUE(same_value(0.0F, dst.get(at))) << "at " << at << " of " << len;
                dst.set(at, 5);
                EXPECT_TRUE(near_values(std::vector<float>(src.size(), 5.0F), dst.values(), 5 * kRelativeError));
            }
}

// A square sum in single precision: what is too small for it is zero.
TEST(Magnitude32fc, OfSquaresBelowSinglePrecisionIsZero)
{
    const std::vector<Zel32fc> src(7, Zel32fc{0x1p-80F, -0x1p-90F});
    std::vector<float> dst(7, 7.0F);
    EXPECT_EQ(zelsMagnitude_32fc(src.data(), dst.data(), 7), SrOk);
    EXPECT_TRUE(same_values(std::vector<float>(7, 0.0F), dst));
}

// Where the estimate is of no use: s subnormal, beyond the range, or no number.
TEST(Magnitude32fc, TakesTheExactRootOfSquareSumsThatAreNotNormal)
{
    constexpr float infinity = std::numeric_limits<float>::infinity(),
                    nan = std::numeric_limits<float>::quiet_NaN();
    struct Case {
        Zel32fc value;
        float magnitude;
    };
    for (const Case& special : {Case{{0x1p-70F, 0}, 0x1p-70F}, Case{{0x3p-74F, 0x4p-74F}, 0x5p-74F},
                                Case{{1e30F, 1}, infinity}, Case{{0, -infinity}, infinity}, Case{{nan, 1}, nan}})
        for (std::size_t at = 0; at < 11; ++at) {
            std::vector<Zel32fc> src(11, Zel32fc{3, -4});
            src[at] = special.value;
            std::vector<float> dst(11);
            EXPECT_EQ(zelsMagnitude_32fc(src.data(), dst.data(), 11), SrOk);
            EXPECT_TRUE(same_value(special.magnitude, dst[at])) << "at " << at;
            dst[at] = 5;
            EXPECT_TRUE(near_values(std::vector<float>(11, 5.0F), dst, 5 * kRelativeError));
        }
}

TEST(Magnitude32fc, MayReplaceItsSource)
{
    for (int len : lengths(32)) {
        const std::vector<Zel32fc> values = complex_values(len);
        std::vector<float> expected(values.size());
        EXPECT_EQ(zelsMagnitude_32fc(values.data(), expected.data(), len), SrOk);
        Guarded<Zel32fc> array(values);
        auto* dst = reinterpret_cast<float*>(array.data());
        EXPECT_EQ(zelsMagnitude_32fc(array.data(), dst, len), SrOk);
        expect_magnitudes(values, std::vector<float>(dst, dst + len));
        EXPECT_TRUE(array.intact());
    }
}

TEST(Magnitude32fc, DoesNotDependOnTheEnvironment)
{
    const std::vector<Zel32fc> src = complex_values(67);
    std::vector<float> expected(67), dst(67);
    EXPECT_EQ(zelsMagnitude_32fc(src.data(), expected.data(), 67), SrOk);
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = zelsMagnitude_32fc(src.data(), dst.data(), 67); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk) << setting;
                               EXPECT_TRUE(same_values(expected, dst)) << setting;
                               dst.assign(67, 0.0F);
                           });
}

TEST(Magnitude32fc, ChecksNullBeforeSizeAndWritesNothing)
{
    map<Zel32fc, float>("zelsMagnitude_32fc", zelsMagnitude_32fc, [](const auto&, const auto&) {
        return SrOk;
    })->expect_null_is_checked_before_size();
}

// ---- Fixed point --------------------------------------------------------------------------------------------

Member member(int32_t sf)
{
    const std::string sign = sf < 0 ? "Minus" : "";
    return map<Zel32sc, int32_t>(
        "zelsMagnitude_32sc_Sfs_" + sign + std::to_string(std::abs(std::int64_t{sf})),
        [=](const Zel32sc* src, int32_t* dst, int32_t len) { return zelsMagnitude_32sc_Sfs(src, dst, len, sf); },
        [=](const auto& src, auto& dst) { return reference::magnitude_32sc(src, sf, dst); });
}

std::vector<Member> members()
{
    std::vector<Member> all;
    for (int32_t sf :
         {0, 1, 2, 16, 30, 31, 32, 33, 34, 1000, INT32_MAX, -1, -2, -16, -29, -30, -31, -32, -1000, INT32_MIN})
        all.push_back(member(sf));
    return all;
}

class Magnitude32sc : public testing::TestWithParam<Member> {};
INSTANTIATE_TEST_SUITE_P(, Magnitude32sc, testing::ValuesIn(members()), member_name);

TEST_P(Magnitude32sc, IsRoundedFromDoubleAtEveryLengthAndPlacement)
{
    GetParam()->expect_reference_at_every_length_and_placement();
}
TEST_P(Magnitude32sc, IsRoundedFromDoubleForLongArrays)
{
    GetParam()->expect_reference_for_length((1 << (thin_effort() ? 10 : 16)) + 5);
}
TEST_P(Magnitude32sc, DoesNotDependOnTheEnvironment) { GetParam()->expect_same_in_each_environment(); }
TEST_P(Magnitude32sc, ChecksNullBeforeSizeAndWritesNothing) { GetParam()->expect_null_is_checked_before_size(); }

int32_t magnitude(int32_t re, int32_t im, int32_t sf)
{
    const Zel32sc src{re, im};
    int32_t dst = 77;
    EXPECT_EQ(zelsMagnitude_32sc_Sfs(&src, &dst, 1, sf), SrOk);
    return dst;
}

// Small numbers and extremes, every pair of them, at every scale factor.
TEST(Magnitude32scPairs, AreRoundedFromDoubleAtEveryScaleFactor)
{
    std::vector<Zel32sc> src;
    const std::vector<int32_t> parts = {
        0, 1, -1, 2, 3, -4, 5, 1 << 16, -(1 << 24), INT32_MAX, INT32_MIN, INT32_MAX - 1, INT32_MIN + 1};
    for (int32_t re : parts)
        for (int32_t im : parts) src.push_back({re, im});
    std::vector<int32_t> expected(src.size()), dst(src.size());
    for (int32_t sf = -40; sf <= 40; ++sf) {
        reference::magnitude_32sc(src, sf, expected);
        EXPECT_EQ(zelsMagnitude_32sc_Sfs(src.data(), dst.data(), static_cast<int32_t>(src.size()), sf), SrOk);
        EXPECT_TRUE(same_values(expected, dst)) << "sf " << sf;
    }
}

// The exact root, for which long double has bits enough: no result is farther from it than half a unit and what
// double leaves of 2^31.5.
TEST(Magnitude32scPairs, AreNearestToTheExactMagnitude)
{
    const int count = thin_effort() ? 300 : 20000;
    std::vector<Zel32sc> src(static_cast<std::size_t>(count));
    for (Zel32sc& value : src) {
        const auto bits = uniform(1, 31);
        value = {uniform(INT32_MIN, INT32_MAX) >> (31 - bits), uniform(INT32_MIN, INT32_MAX) >> (31 - bits)};
    }
    std::vector<int32_t> dst(src.size());
    for (int32_t sf : {0, 1, 5, 31, -1, -8}) {
        EXPECT_EQ(zelsMagnitude_32sc_Sfs(src.data(), dst.data(), count, sf), SrOk);
        for (std::size_t i = 0; i < src.size(); ++i) {
            const long double re = src[i].re, im = src[i].im;
            const long double exact = std::ldexp(std::sqrt(re * re + im * im), -sf);
            if (exact >= 2147483647.0L)
                EXPECT_EQ(dst[i], INT32_MAX);
            else
                EXPECT_LE(static_cast<double>(std::abs(exact - dst[i])), 0.5 + 0x1p-20)
                    << src[i].re << ", " << src[i].im;
        }
    }
}

TEST(Magnitude32scPairs, RoundToTheNearestWithTiesToEven)
{
    EXPECT_EQ(magnitude(3, 4, 0), 5);
    EXPECT_EQ(magnitude(-3, -4, 0), 5);
    EXPECT_EQ(magnitude(1, 1, 0), 1);
    EXPECT_EQ(magnitude(2, 2, 0), 3);
    EXPECT_EQ(magnitude(3, 4, 1), 2);   // 2.5
    EXPECT_EQ(magnitude(0, -7, 1), 4);  // 3.5
    EXPECT_EQ(magnitude(3, 4, -2), 20);
    EXPECT_EQ(magnitude(20, 21, 0), 29);
}

TEST(Magnitude32scPairs, SaturateAndVanishByTheScaleFactor)
{
    EXPECT_EQ(magnitude(INT32_MIN, 0, 0), INT32_MAX);
    EXPECT_EQ(magnitude(INT32_MIN, INT32_MIN, 0), INT32_MAX);
    EXPECT_EQ(magnitude(INT32_MIN, INT32_MIN, 1), 1518500250);  // 2^30.5
    EXPECT_EQ(magnitude(INT32_MIN, 0, 1), 1 << 30);
    EXPECT_EQ(magnitude(INT32_MIN, INT32_MIN, 31), 1);
    EXPECT_EQ(magnitude(INT32_MIN, INT32_MIN, 32), 1);  // 0.707
    EXPECT_EQ(magnitude(INT32_MIN, 0, 32), 0);          // 0.5
    EXPECT_EQ(magnitude(1, 0, -30), 1 << 30);
    EXPECT_EQ(magnitude(1, 1, -30), 1518500250);
    EXPECT_EQ(magnitude(2, 0, -30), INT32_MAX);
    for (int32_t sf : {33, 34, 64, 100, INT32_MAX}) EXPECT_EQ(magnitude(INT32_MIN, INT32_MIN, sf), 0) << sf;
    for (int32_t sf : {-31, -32, -64, -100, INT32_MIN}) {
        EXPECT_EQ(magnitude(1, 0, sf), INT32_MAX) << sf;
        EXPECT_EQ(magnitude(0, -1, sf), INT32_MAX) << sf;
        EXPECT_EQ(magnitude(0, 0, sf), 0) << sf;
    }
}

TEST(Magnitude32scPairs, MayBeReplacedByTheirMagnitudes)
{
    for (int32_t sf : {0, 33, -31})
        for (int len : lengths(32)) {
            const std::vector<Zel32sc> values = random_bits<Zel32sc>(len);
            std::vector<int32_t> expected(values.size());
            reference::magnitude_32sc(values, sf, expected);
            Guarded<Zel32sc> array(values);
            auto* dst = reinterpret_cast<int32_t*>(array.data());
            EXPECT_EQ(zelsMagnitude_32sc_Sfs(array.data(), dst, len, sf), SrOk);
            EXPECT_TRUE(same_values(expected, std::vector<int32_t>(dst, dst + len))) << "sf " << sf;
            EXPECT_TRUE(array.intact());
        }
}

#ifdef __i386__
TEST(OddStack, MagnitudesWorkFromEveryStack)
{
    const std::vector<Zel32sc> src(67, Zel32sc{3, -4});
    const std::vector<Zel32fc> floating(67, Zel32fc{3, -4});
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<int32_t> dst(67);
        EXPECT_EQ(call_misaligned(zelsMagnitude_32sc_Sfs, misalign, src.data(), dst.data(), 67, -1), SrOk);
        EXPECT_EQ(dst, std::vector<int32_t>(67, 10));
        std::vector<float> magnitudes(67);
        EXPECT_EQ(call_misaligned(zelsMagnitude_32fc, misalign, floating.data(), magnitudes.data(), 67), SrOk);
        expect_magnitudes(floating, magnitudes);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
