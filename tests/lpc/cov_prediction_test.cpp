// Prediction of a frame by the covariance method.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "lpc/filters.h"
#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/lp_conversion.h"
#include "support/reference/prediction.h"
#include "zelsr/core/fft.h"
#include "zelsr/lpc/prediction.h"

namespace zelsr::test {
namespace {

// The right side as the library's own autocorrelation sums it.
std::vector<float> in_singles(const std::vector<float>& x, int order)
{
    std::vector<float> r(static_cast<std::size_t>(order) + 1);
    EXPECT_EQ(zelsAutoCorr_32f(x.data(), static_cast<int32_t>(x.size()), r.data(), order + 1), SrOk);
    return reference::covariance_in_singles(x, {r.begin() + 1, r.end()});
}

testing::AssertionResult solves(const std::vector<float>& x, int order, Arrangement at = Arrangement(2))
{
    const reference::CovarianceSolution exact = reference::solve_covariance(x, static_cast<std::size_t>(order));
    Guarded<float> source(x, at[0]), a(static_cast<std::size_t>(order), at[1]);
    source.take_snapshot();
    const SrStatus status =
        zelsLinearPrediction_Cov_32f(source.data(), static_cast<int32_t>(x.size()), a.data(), order);
    testing::AssertionResult right =
        order <= 12 ? same_values(in_singles(x, order), a.values()) : testing::AssertionSuccess();
    // Rounding errors grow as the pivots shrink.
    double largest = 1;
    for (long double value : exact.a) largest = std::max(largest, static_cast<double>(std::abs(value)));
    const double tolerance = 0x1p-24 * 16 * static_cast<double>(exact.growth) * order * largest;
    for (std::size_t i = 0; right && i < exact.a.size(); ++i) {
        const double apart = std::abs(a.get(i) - static_cast<double>(exact.a[i]));
        if (!(apart <= tolerance))
            right = testing::AssertionFailure()
                    << "element " << i << ": " << a.get(i) << " is " << apart << " off, tolerance " << tolerance;
    }
    if (right) right = status_is(SrOk, status);
    if (right && !(source.as_snapshot() && a.intact()))
        right = testing::AssertionFailure() << "written beside the result";
    if (right) return right;
    return testing::AssertionFailure() << "length " << x.size() << ", order " << order << ", " << describe(at)
                                       << ": " << right.message();
}

TEST(CovPrediction, SolvesItsEquationsAtEveryOrderAndAddress)
{
    Cycle<int> frame({240, 160, 201});
    for (int order : lengths(12))
        for (const Arrangement& at : arrangements(2, sizeof(float)))
            ASSERT_TRUE(solves(resonant_signal(frame.next()), order, at));
    for (int order : {40, 63, 64, 65, 80}) ASSERT_TRUE(solves(resonant_signal(1000), order));
}

TEST(CovPrediction, ShortFrames)
{
    for (int order = 1; order <= 12; ++order)
        for (int length = 3 * order; length < 3 * order + 9; ++length)
            ASSERT_TRUE(solves(resonant_signal(length), order));
}

// phi(1,1) = 1 + 4 + 9, p[1] = 2 + 6 + 12: no sign is changed.
TEST(CovPrediction, ByValue)
{
    const float x[] = {1, 2, 3, 4};
    float a[4];
    ASSERT_EQ(zelsLinearPrediction_Cov_32f(x, 4, a, 1), SrOk);
    EXPECT_EQ(a[0], 20.0F / 14);
    // Row 2 sums from sample 0 on, over two terms: phi(2,1) = 1*2 + 2*3 = 8, phi(2,2) = 1 + 4 = 5; p[2] = 3 + 8.
    // 14 a + 8 b = 20, 8 a + 5 b = 11: a = 2, b = -1
    ASSERT_EQ(zelsLinearPrediction_Cov_32f(x, 4, a, 2), SrOk);
    EXPECT_NEAR(a[0], 2, 1e-5);
    EXPECT_NEAR(a[1], -1, 1e-5);
}

// The predictor form.
TEST(CovPrediction, FindsTheFilterOfASignal)
{
    const std::vector<float> x = resonance(4000);
    float a[2];
    ASSERT_EQ(zelsLinearPrediction_Cov_32f(x.data(), 4000, a, 2), SrOk);
    EXPECT_NEAR(a[0], 1.5F, 0.06);
    EXPECT_NEAR(a[1], -0.8F, 0.06);
}

// The products are formed and summed in double: in single precision the large ones would swallow the others.
TEST(CovPrediction, TheMatrixIsSummedInDouble)
{
    std::vector<float> x(2000, 1.0F);
    x[0] = 8192;
    float a;
    ASSERT_EQ(zelsLinearPrediction_Cov_32f(x.data(), 2000, &a, 1), SrOk);
    std::vector<float> r(2);
    ASSERT_EQ(zelsAutoCorr_32f(x.data(), 2000, r.data(), 2), SrOk);
    EXPECT_EQ(a, r[1] / static_cast<float>(8192.0 * 8192 + 1998));
}

// An order as long as the frame leaves no products for the last row: it is zero, and nothing is tested.
TEST(CovPrediction, ASingularMatrixIsNoFailure)
{
    for (int order : {1, 2, 5, 13, 40}) {
        const std::vector<float> x = resonant_signal(order);
        std::vector<float> a(static_cast<std::size_t>(order), 1.0F);
        EXPECT_EQ(zelsLinearPrediction_Cov_32f(x.data(), order, a.data(), order), SrOk);
        for (float value : a) EXPECT_FALSE(std::isfinite(value)) << order;
        const std::vector<float> silence(80, 0.0F);
        EXPECT_EQ(zelsLinearPrediction_Cov_32f(silence.data(), 80, a.data(), order), SrOk);
        for (float value : a) EXPECT_TRUE(std::isnan(value)) << order;
    }
    const float one[] = {3};
    float a = 1;
    EXPECT_EQ(zelsLinearPrediction_Cov_32f(one, 1, &a, 1), SrOk);
    EXPECT_TRUE(std::isnan(a)) << "zero over zero";
    const float two[] = {0, 3};
    EXPECT_EQ(zelsLinearPrediction_Cov_32f(two, 2, &a, 1), SrOk);
    EXPECT_TRUE(std::isnan(a));
}

TEST(CovPrediction, SpecialValues)
{
    const std::vector<float> special = special_values<float>();
    for (int turn = 0; turn < (thin_effort() ? 50 : 500); ++turn) {
        std::vector<float> x = resonant_signal(60);
        for (int n = 0; n < 3; ++n) x[uniform<std::size_t>(0, 59)] = special[generator()() % special.size()];
        const int order = uniform(1, 12);
        std::vector<float> a(static_cast<std::size_t>(order));
        ASSERT_EQ(zelsLinearPrediction_Cov_32f(x.data(), 60, a.data(), order), SrOk);
        ASSERT_TRUE(same_values(in_singles(x, order), a)) << order;
    }
}

// --- checks and memory ---

template <class T>
struct Arguments {
    const T* x;
    int32_t length;
    T* a;
    int32_t order;
};

template <class T>
void expect_checks(SrStatus (*call)(const Arguments<T>&))
{
    using A = Arguments<T>;
    const Guarded<T> x(std::vector<T>(60, T(1)));
    Guarded<T> a(10);
    AllocatorWatch watch;
    expect_check_order<A>({x.data(), 60, a.data(), 10},
                          {{"null samples", SrErrNullPtr, [](A& g) { g.x = nullptr; }},
                           {"null result", SrErrNullPtr, [](A& g) { g.a = nullptr; }},
                           {"length 0", SrErrSize, [](A& g) { g.length = 0; }},
                           {"lowest length", SrErrSize, [](A& g) { g.length = INT32_MIN; }},
                           {"order 0", SrErrSize, [](A& g) { g.order = 0; }},
                           {"lowest order", SrErrSize, [](A& g) { g.order = INT32_MIN; }},
                           {"order above length", SrErrSize, [](A& g) { g.order = 61; }},
                           {"highest order", SrErrSize, [](A& g) { g.order = INT32_MAX; }}},
                          call, {&a});
    EXPECT_EQ(watch.requests(), 0);
}

TEST(CovPrediction, PointersAreCheckedBeforeSizes)
{
    expect_checks<float>(
        [](const Arguments<float>& g) { return zelsLinearPrediction_Cov_32f(g.x, g.length, g.a, g.order); });
    expect_checks<int16_t>([](const Arguments<int16_t>& g) {
        return zelsLinearPrediction_Cov_16s_Sfs(g.x, g.length, g.a, g.order, -12);
    });
}

// Sizes whose matrices no memory holds.
TEST(CovPrediction, HugeOrdersAreRefused)
{
    const std::vector<float> x(100000, 1.0F);
    std::vector<float> a(100000);
    AllocatorWatch watch(1);
    EXPECT_EQ(zelsLinearPrediction_Cov_32f(x.data(), 100000, a.data(), 100000), SrErrMemAlloc);
    EXPECT_EQ(zelsLinearPrediction_Cov_32f(x.data(), 100000, a.data(), 65537), SrErrMemAlloc);
    EXPECT_EQ(watch.live(), 0);
}

TEST(CovPrediction, SurvivesRefusedMemory)
{
    for (int order : {1, 10, 70}) {
        const std::vector<float> x = resonant_signal(300);
        Guarded<float> a(std::vector<float>(static_cast<std::size_t>(order), -7.0F));
        for (int refused = 1;; ++refused) {
            AllocatorWatch watch(refused);
            const SrStatus status = zelsLinearPrediction_Cov_32f(x.data(), 300, a.data(), order);
            EXPECT_EQ(watch.live(), 0);
            if (watch.requests() < refused) {
                EXPECT_GE(refused, 2) << "all memory is the allocator's";
                break;
            }
            EXPECT_EQ(status, SrErrMemAlloc);
            for (float value : a.values()) ASSERT_EQ(value, -7.0F) << refused;
        }
    }
}

// Its own two blocks refused, the array is as it was; when the single form finds no memory, its result is
// converted all the same, wanted: zeros.
TEST(CovPrediction, FixedSurvivesRefusedMemory)
{
    for (int order : {10, 860}) {
        if (order > 10 && thin_effort()) continue;  // lags through the transform, which asks for memory, too
        const std::vector<int16_t> x = resonant_signal_16s(1000, 3000);
        for (int refused = 1;; ++refused) {
            Guarded<int16_t> a(std::vector<int16_t>(static_cast<std::size_t>(order), -7));
            AllocatorWatch watch(refused);
            const SrStatus status = zelsLinearPrediction_Cov_16s_Sfs(x.data(), 1000, a.data(), order, -12);
            EXPECT_EQ(watch.live(), 0);
            EXPECT_TRUE(a.intact());
            if (watch.requests() < refused) {
                EXPECT_GE(refused, 4);
                break;
            }
            EXPECT_EQ(status, SrErrMemAlloc);
            EXPECT_EQ(a.values(), std::vector<int16_t>(a.size(), refused <= 2 ? -7 : 0)) << refused;
        }
    }
}

// --- 16 bits ---

TEST(CovPrediction, FixedIsTheSingleFormRounded)
{
    Cycle<int> frame({240, 80, 161, 64});
    for (int order : lengths(8))
        for (const Arrangement& at : arrangements(2, sizeof(int16_t))) {
            const std::vector<int16_t> x = resonant_signal_16s(frame.next(), 3000);
            const auto length = static_cast<int32_t>(x.size());
            std::vector<float> right(static_cast<std::size_t>(order));
            ASSERT_EQ(zelsLinearPrediction_Cov_32f(to_singles(x).data(), length, right.data(), order), SrOk);
            const int32_t sf = uniform(-15, -8);
            Guarded<int16_t> source(x, at[0]), a(right.size(), at[1]);
            source.take_snapshot();
            ASSERT_EQ(zelsLinearPrediction_Cov_16s_Sfs(source.data(), length, a.data(), order, sf), SrOk);
            ASSERT_TRUE(same_values(reference::nearest(right, sf), a.values())) << order << ", " << describe(at);
            ASSERT_TRUE(source.as_snapshot() && a.intact()) << describe(at);
        }
    const std::vector<int16_t> x = resonant_signal_16s(60, 3000);
    std::vector<float> right(6);
    ASSERT_EQ(zelsLinearPrediction_Cov_32f(to_singles(x).data(), 60, right.data(), 6), SrOk);
    for (int32_t sf : scale_factors()) {
        std::vector<int16_t> a(6);
        EXPECT_EQ(zelsLinearPrediction_Cov_16s_Sfs(x.data(), 60, a.data(), 6, sf), SrOk);
        EXPECT_TRUE(same_values(reference::nearest(right, sf), a)) << sf;
    }
}

TEST(CovPrediction, FixedSilenceIsNotANumber)
{
    const std::vector<int16_t> silence(40, 0);
    std::vector<int16_t> a(5);
    EXPECT_EQ(zelsLinearPrediction_Cov_16s_Sfs(silence.data(), 40, a.data(), 5, -12), SrOk);
    EXPECT_EQ(a, std::vector<int16_t>(5, 32767));
}

TEST(CovPrediction, FixedInEveryEnvironment)
{
    const std::vector<int16_t> x = resonant_signal_16s(200, 3000);
    std::vector<int16_t> right(14), a(14);
    ASSERT_EQ(zelsLinearPrediction_Cov_16s_Sfs(x.data(), 200, right.data(), 14, -12), SrOk);
    under_each_environment([&] { zelsLinearPrediction_Cov_16s_Sfs(x.data(), 200, a.data(), 14, -12); },
                           [&](const std::string& setting) { EXPECT_EQ(right, a) << setting; });
}

#ifdef __i386__
TEST(CovPrediction, RunsOnAnyStack)
{
    const std::vector<int16_t> x16 = resonant_signal_16s(200, 3000);
    const std::vector<float> x = to_singles(x16);
    std::vector<float> right(14);
    ASSERT_EQ(zelsLinearPrediction_Cov_32f(x.data(), 200, right.data(), 14), SrOk);
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<float> a(14);
        std::vector<int16_t> a16(14);
        EXPECT_EQ(call_misaligned(zelsLinearPrediction_Cov_32f, misalign, x.data(), 200, a.data(), 14), SrOk);
        EXPECT_TRUE(same_values(right, a));
        EXPECT_EQ(
            call_misaligned(zelsLinearPrediction_Cov_16s_Sfs, misalign, x16.data(), 200, a16.data(), 14, -12),
            SrOk);
        EXPECT_TRUE(same_values(reference::nearest(right, -12), a16));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
