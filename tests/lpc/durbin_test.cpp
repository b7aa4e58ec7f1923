// Prediction coefficients from an autocorrelation.
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
#include "support/reference/convert.h"
#include "support/reference/lp_conversion.h"
#include "support/reference/prediction.h"
#include "zelsr/lpc/prediction.h"

namespace zelsr::test {
namespace {

constexpr float kHeld = -77.25F;  // what the caller's array holds
constexpr int16_t kHeld16 = -777;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Outcome {
    SrStatus status;
    std::vector<float> a;
    float error;
};
Outcome durbin(const std::vector<float>& r, int order)
{
    Outcome result{SrOk, std::vector<float>(static_cast<std::size_t>(order), kHeld), kHeld};
    result.status = zelsDurbin_32f(r.data(), result.a.data(), order, &result.error);
    return result;
}

std::vector<float> random_autocorrelation(int order, double largest = 0.9)
{
    return to_singles(autocorrelation_of(random_reflection(order, largest), uniform(0.5, 1000.0)));
}

// Up to order 12 every sum is formed in rising order, beyond in partial sums.
TEST(Durbin, IsTheRecursionBitByBit)
{
    std::vector<int> orders = lengths(32);
    for (int order : {127, 200}) orders.push_back(order);
    for (int order : orders)
        for (const Arrangement& at : arrangements(2, sizeof(float))) {
            const std::vector<float> r = random_autocorrelation(order, 0.7);
            const reference::Prediction expected =
                reference::durbin(r, std::vector<float>(static_cast<std::size_t>(order)));
            ASSERT_EQ(expected.status, SrOk);
            Guarded<float> source(r, at[0]), a(static_cast<std::size_t>(order), at[1]), error(1, at[1]);
            source.take_snapshot();
            ASSERT_EQ(zelsDurbin_32f(source.data(), a.data(), order, error.data()), SrOk);
            ASSERT_TRUE(same_values(expected.a, a.values())) << order << ", " << describe(at);
            ASSERT_TRUE(same_value(expected.error, error.get(0))) << order << ", " << describe(at);
            ASSERT_TRUE(source.as_snapshot() && a.intact() && error.intact()) << order << ", " << describe(at);
        }
}

// What is left of them is rounding errors, of sums of about the size of the coefficients.
TEST(Durbin, SolvesTheNormalEquationsAtEveryOrder)
{
    for (int order = 1; order <= 80; ++order)
        for (int turn = 0; turn < 5; ++turn) {
            const std::vector<float> r = random_autocorrelation(order, 0.9);
            const Outcome result = durbin(r, order);
            ASSERT_EQ(result.status, SrOk) << order;
            const auto row = [&](int j) {
                double sum = r[static_cast<std::size_t>(j)];
                for (int i = 1; i <= order; ++i)
                    sum += double{result.a[static_cast<std::size_t>(i - 1)]} *
                           double{r[static_cast<std::size_t>(std::abs(j - i))]};
                return sum;
            };
            double size = 1;
            for (float a : result.a) size += std::abs(a);
            const double tolerance = 0x1p-24 * 8 * std::sqrt(order) * size * r[0];
            for (int j = 1; j <= order; ++j) ASSERT_NEAR(row(j), 0, tolerance) << j << " of order " << order;
            ASSERT_NEAR(row(0), result.error, tolerance) << order;
        }
}

TEST(Durbin, ByValue)
{
    Outcome one = durbin({8, 4}, 1);
    EXPECT_EQ(one.status, SrOk);
    EXPECT_EQ(one.a[0], -0.5F);
    EXPECT_EQ(one.error, 6.0F);
    // k = 1/2, then (2 - 4 / 2) / 6 = 0, then (5 - 2 / 2) / 6 = 2/3
    const Outcome three = durbin({8, 4, 2, 5}, 3);
    EXPECT_EQ(three.status, SrOk);
    EXPECT_EQ(three.a[2], -(4.0F / 6.0F));
    EXPECT_FLOAT_EQ(three.a[1], 1.0F / 3);
    EXPECT_FLOAT_EQ(three.a[0], -0.5F);
    EXPECT_FLOAT_EQ(three.error, 6 * (1 - 4.0F / 9));
    // White noise: nothing to predict. The coefficients are the negated quotients: minus zero first.
    const Outcome white = durbin({3, 0, 0, 0}, 3);
    EXPECT_EQ(white.status, SrOk);
    EXPECT_TRUE(same_values(reference::durbin({3, 0, 0, 0}, std::vector<float>(3)).a, white.a));
    EXPECT_TRUE(same_value(-0.0F, durbin({3, 0}, 1).a[0]));
    EXPECT_EQ(white.error, 3.0F);
}

TEST(Durbin, ErrorMustStartAboveZero)
{
    for (float r0 : {0.0F, -0.0F, -1.0F, kNaN, -kNaN, -std::numeric_limits<float>::infinity()})
        for (int order : {1, 2, 8, 9, 10, 12, 13, 40, 64, 100}) {
            std::vector<float> r(static_cast<std::size_t>(order) + 1, 0.25F);
            r[0] = r0;
            const Outcome result = durbin(r, order);
            EXPECT_EQ(result.status, SrErrDurbin) << r0;
            EXPECT_EQ(result.a, std::vector<float>(static_cast<std::size_t>(order), kHeld)) << r0;
            EXPECT_EQ(result.error, kHeld) << r0;
        }
}

TEST(Durbin, AFailureAtTheFirstOrderWritesNothing)
{
    for (float r1 : {8.0F, -8.0F, 9.0F, -100.0F, kNaN, std::numeric_limits<float>::infinity()})
        for (int order : {1, 2, 3, 8, 9, 10, 11, 12, 13, 40, 64, 100}) {
            std::vector<float> r(static_cast<std::size_t>(order) + 1, 0.25F);
            r[0] = 8;
            r[1] = r1;
            const Outcome result = durbin(r, order);
            EXPECT_EQ(result.status, SrErrDurbin) << r1;
            EXPECT_EQ(result.a, std::vector<float>(static_cast<std::size_t>(order), kHeld)) << r1 << ' ' << order;
            EXPECT_EQ(result.error, kHeld);
        }
}

// The coefficients of the orders that were finished stand; the error does not. In the orders 9 to 12 a failure in
// the steps 2 to 4 has stored its last coefficient, in all others it has not: both are wanted.
TEST(Durbin, AFailureKeepsWhatWasFinished)
{
    for (int order = 2; order <= 80; ++order)
        for (int step = 2; step <= order; ++step)
            for (double last : {1.5, -1.25, 1e30}) {
                if (order > 16 && step > 6 && step + 3 < order && step % 8 != 0) continue;
                std::vector<double> k = random_reflection(order, 0.5);
                k[static_cast<std::size_t>(step - 1)] = last;
                std::vector<float> r = to_singles(autocorrelation_of(k, 4));
                for (int i = step + 1; i <= order; ++i) r[static_cast<std::size_t>(i)] = 0.25F;
                const Outcome result = durbin(r, order);
                ASSERT_EQ(result.status, SrErrDurbin) << order << ", step " << step;
                EXPECT_EQ(result.error, kHeld);
                const reference::Prediction expected =
                    reference::durbin(r, std::vector<float>(static_cast<std::size_t>(order), kHeld));
                ASSERT_TRUE(same_values(expected.a, result.a)) << order << ", step " << step;
                const bool stored = result.a[static_cast<std::size_t>(step - 1)] != kHeld;
                ASSERT_EQ(stored, order >= 9 && order <= 12 && step <= 4) << order << ", step " << step;
            }
}

TEST(Durbin, NotANumberFailsAtItsOrder)
{
    for (int order : {2, 5, 8, 13, 30})
        for (int at = 2; at <= order; ++at) {
            std::vector<float> r = random_autocorrelation(order, 0.5);
            r[static_cast<std::size_t>(at)] = kNaN;
            const Outcome result = durbin(r, order);
            EXPECT_EQ(result.status, SrErrDurbin);
            for (int i = 0; i < order; ++i)
                EXPECT_EQ(result.a[static_cast<std::size_t>(i)] == kHeld, i >= at - 1) << i << ", lag " << at;
        }
}

// A perfectly predictable signal leaves no error.
TEST(Durbin, EqualLagsLeaveNoError)
{
    EXPECT_EQ(durbin({5, 5}, 1).status, SrErrDurbin);
    EXPECT_EQ(durbin({5, -5}, 1).status, SrErrDurbin);
    EXPECT_EQ(durbin({5, std::nextafter(5.0F, 0.0F)}, 1).status, SrOk);
}

// --- checks and memory ---

template <class T>
struct Arguments {
    const T* r;
    T* a;
    int32_t order;
    float* error;
};

template <class T>
void expect_split_checks(SrStatus (*call)(const Arguments<T>&))
{
    const Guarded<T> r(std::vector<T>(41, T(1)));
    Guarded<T> a(40);
    Guarded<float> error(1);
    using A = Arguments<T>;
    expect_check_order<A>({r.data(), a.data(), 40, error.data()},
                          {{"null autocorrelation", SrErrNullPtr, [](A& x) { x.r = nullptr; }},
                           {"null result", SrErrNullPtr, [](A& x) { x.a = nullptr; }},
                           {"order 0", SrErrSize, [](A& x) { x.order = 0; }},
                           {"order -1", SrErrSize, [](A& x) { x.order = -1; }},
                           {"lowest order", SrErrSize, [](A& x) { x.order = INT32_MIN; }},
                           {"null error", SrErrNullPtr, [](A& x) { x.error = nullptr; }}},
                          call, {&a, &error});
}

// The error pointer is looked at behind the order: wanted.
TEST(Durbin, OrderIsCheckedBetweenThePointers)
{
    expect_split_checks<float>(
        [](const Arguments<float>& x) { return zelsDurbin_32f(x.r, x.a, x.order, x.error); });
    expect_split_checks<int16_t>(
        [](const Arguments<int16_t>& x) { return zelsDurbin_16s_Sfs(x.r, x.a, x.order, x.error, -12); });
}

TEST(Durbin, TakesNoMemoryBelowOrder64)
{
    for (int order : {1, 9, 12, 40, 63, 64, 65, 100}) {
        const std::vector<float> r = random_autocorrelation(order, 0.5);
        const std::vector<int16_t> r16(static_cast<std::size_t>(order) + 1, 0);
        std::vector<float> a(static_cast<std::size_t>(order));
        std::vector<int16_t> a16(a.size());
        float error;
        {
            AllocatorWatch watch;
            EXPECT_EQ(zelsDurbin_32f(r.data(), a.data(), order, &error), SrOk);
            EXPECT_EQ(watch.requests() == 0, order < 64) << order;
            EXPECT_EQ(watch.live(), 0);
        }
        AllocatorWatch watch;
        EXPECT_EQ(zelsDurbin_16s_Sfs(r16.data(), a16.data(), order, &error, 0), SrErrDurbin);
        EXPECT_EQ(watch.requests() == 0, order < 64) << order;
        EXPECT_EQ(watch.live(), 0) << "after a failure";
    }
}

TEST(Durbin, SurvivesRefusedMemory)
{
    for (int order : {64, 100}) {
        const std::vector<float> r = random_autocorrelation(order, 0.5);
        std::vector<int16_t> r16;
        for (float x : r) r16.push_back(static_cast<int16_t>(x / r[0] * 30000));
        Guarded<float> a(static_cast<std::size_t>(order)), error(1);
        Guarded<int16_t> a16(a.size());
        // Each block refused for the first time before anything has been written.
        for (int refused = 1;; ++refused) {
            a16.take_snapshot();
            error.take_snapshot();
            AllocatorWatch watch(refused);
            const SrStatus status = zelsDurbin_16s_Sfs(r16.data(), a16.data(), order, error.data(), -12);
            EXPECT_EQ(watch.live(), 0);
            if (watch.requests() < refused) break;
            EXPECT_EQ(status, SrErrMemAlloc);
            EXPECT_TRUE(a16.as_snapshot() && error.as_snapshot());
        }
        expect_survives_refusals([&] { return zelsDurbin_32f(r.data(), a.data(), order, error.data()); },
                                 {&a, &error});
        expect_survives_refusals(
            [&] { return zelsDurbin_16s_Sfs(r16.data(), a16.data(), order, error.data(), -12); }, {&a16, &error});
    }
}

// --- 16 bits ---

std::vector<int16_t> autocorrelation_16s(int order, double largest = 0.7)
{
    std::vector<int16_t> r;
    for (float x : to_singles(autocorrelation_of(random_reflection(order, largest), 32000)))
        r.push_back(static_cast<int16_t>(x));
    // What each lag loses below the point moves no eigenvalue by 2 * order: so a filter remains.
    r.front() = static_cast<int16_t>(r.front() + 2 * order);
    return r;
}

TEST(DurbinFixed, IsTheSingleFormRounded)
{
    for (int order = 1; order <= 70; ++order)
        for (const Arrangement& at : arrangements(2, sizeof(int16_t))) {
            if (order > 20 && order % 9 != 0 && at[0].misalign != 2) continue;
            const std::vector<int16_t> r = autocorrelation_16s(order);
            std::vector<float> a(static_cast<std::size_t>(order));
            float expected_error = 0;
            ASSERT_EQ(zelsDurbin_32f(to_singles(r).data(), a.data(), order, &expected_error), SrOk);
            const int sf = uniform(-14, -8);
            Guarded<int16_t> source(r, at[0]), result(a.size(), at[1]);
            Guarded<float> error(1, Placement{at[1].misalign, Edge::Front});
            source.take_snapshot();
            ASSERT_EQ(zelsDurbin_16s_Sfs(source.data(), result.data(), order, error.data(), sf), SrOk);
            ASSERT_TRUE(same_values(reference::nearest(a, sf), result.values())) << order << ", " << describe(at);
            ASSERT_TRUE(same_value(expected_error, error.get(0))) << "the error is not scaled";
            ASSERT_TRUE(source.as_snapshot() && result.intact() && error.intact()) << describe(at);
        }
}

TEST(DurbinFixed, EveryScaleFactor)
{
    const std::vector<int16_t> r = autocorrelation_16s(7);
    std::vector<float> a(7);
    float error;
    ASSERT_EQ(zelsDurbin_32f(to_singles(r).data(), a.data(), 7, &error), SrOk);
    for (int32_t sf : scale_factors()) {
        std::vector<int16_t> result(7);
        EXPECT_EQ(zelsDurbin_16s_Sfs(r.data(), result.data(), 7, &error, sf), SrOk);
        EXPECT_TRUE(same_values(reference::nearest(a, sf), result)) << sf;
    }
}

TEST(DurbinFixed, ByValue)
{
    const int16_t r[] = {8, 4}, opposite[] = {8, -4};
    int16_t a;
    float error;
    EXPECT_EQ(zelsDurbin_16s_Sfs(r, &a, 1, &error, -12), SrOk);
    EXPECT_EQ(a, -2048);
    EXPECT_EQ(error, 6.0F);
    EXPECT_EQ(zelsDurbin_16s_Sfs(r, &a, 1, &error, -16), SrOk);
    EXPECT_EQ(a, -32768);
    EXPECT_EQ(zelsDurbin_16s_Sfs(opposite, &a, 1, &error, -16), SrOk);
    EXPECT_EQ(a, 32767) << "saturated";
    EXPECT_EQ(zelsDurbin_16s_Sfs(opposite, &a, 1, &error, 0), SrOk);
    EXPECT_EQ(a, 0) << "a half to even";
}

// Nothing is converted then.
TEST(DurbinFixed, AFailureWritesNothing)
{
    for (int order : {1, 2, 3, 4, 8, 9, 10, 12, 13, 63, 64, 80})
        for (int step = 1; step <= order; ++step) {
            std::vector<int16_t> r(static_cast<std::size_t>(order) + 1);
            r[0] = 100;
            r[static_cast<std::size_t>(step)] = 101;
            std::vector<int16_t> a(static_cast<std::size_t>(order), kHeld16);
            float error = kHeld;
            ASSERT_EQ(zelsDurbin_16s_Sfs(r.data(), a.data(), order, &error, -5), SrErrDurbin);
            EXPECT_EQ(a, std::vector<int16_t>(a.size(), kHeld16));
            EXPECT_EQ(error, kHeld);
        }
}

TEST(DurbinFixed, InEveryEnvironment)
{
    for (int order : {7, 70}) {
        const std::vector<int16_t> r = autocorrelation_16s(order);
        std::vector<int16_t> expected(static_cast<std::size_t>(order)), result(expected.size());
        float expected_error, error;
        ASSERT_EQ(zelsDurbin_16s_Sfs(r.data(), expected.data(), order, &expected_error, -12), SrOk);
        under_each_environment([&] { zelsDurbin_16s_Sfs(r.data(), result.data(), order, &error, -12); },
                               [&](const std::string& setting) {
                                   EXPECT_EQ(expected, result) << setting;
                                   EXPECT_EQ(expected_error, error) << setting;
                               });
    }
}

#ifdef __i386__
TEST(Durbin, RunsOnAnyStack)
{
    for (int order : {7, 12, 30, 70}) {
        const std::vector<float> r = random_autocorrelation(order, 0.5);
        const std::vector<int16_t> r16 = autocorrelation_16s(order);
        const Outcome expected = durbin(r, order);
        std::vector<int16_t> expected16(static_cast<std::size_t>(order));
        float error;
        ASSERT_EQ(zelsDurbin_16s_Sfs(r16.data(), expected16.data(), order, &error, -12), SrOk);
        for (int misalign : {0, 4, 8, 12}) {
            std::vector<float> a(static_cast<std::size_t>(order));
            std::vector<int16_t> a16(a.size());
            EXPECT_EQ(call_misaligned(zelsDurbin_32f, misalign, r.data(), a.data(), order, &error), SrOk);
            EXPECT_TRUE(same_values(expected.a, a));
            EXPECT_EQ(call_misaligned(zelsDurbin_16s_Sfs, misalign, r16.data(), a16.data(), order, &error, -12),
                      SrOk);
            EXPECT_EQ(expected16, a16);
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
