// Reflection coefficients from an autocorrelation.
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
#include "zelsr/lpc/prediction.h"

namespace zelsr::test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

testing::AssertionResult is_recursion(const std::vector<float>& r, int order, Arrangement at = Arrangement(2))
{
    const reference::Reflection expected = reference::schur(r, static_cast<std::size_t>(order));
    Guarded<float> source(r, at[0]), k(static_cast<std::size_t>(order), at[1]), error(1, at[1]);
    source.take_snapshot();
    const SrStatus status = zelsSchur_32f(source.data(), k.data(), order, error.data());
    testing::AssertionResult right = same_values(expected.k, k.values());
    if (right) right = same_value(expected.error, error.get(0));
    if (right) right = status_is(SrOk, status);
    if (right && !(source.as_snapshot() && k.intact() && error.intact()))
        right = testing::AssertionFailure() << "written beside the results";
    if (right) return right;
    return testing::AssertionFailure() << "order " << order << ", " << describe(at) << ": " << right.message();
}

std::vector<float> random_autocorrelation(int order)
{
    return to_singles(autocorrelation_of(random_reflection(order, 0.7), uniform(0.5, 1000.0)));
}

TEST(Schur, IsTheRecursionBitByBit)
{
    for (int order : lengths(16))
        for (const Arrangement& at : arrangements(2, sizeof(float)))
            ASSERT_TRUE(is_recursion(random_autocorrelation(order), order, at));
    for (int order : {63, 64, 127, 200, 1022, 1023, 1024, 1025})
        ASSERT_TRUE(is_recursion(random_autocorrelation(order), order, {{4, Edge::Front}, {8, Edge::Back}}));
}

// Nothing is tested on the way: the recursion runs to its end on anything.
TEST(Schur, IsTheRecursionOnAnyValues)
{
    const std::vector<float> special = special_values<float>();
    for (int turn = 0; turn < (thin_effort() ? 100 : 3000); ++turn) {
        const int order = uniform(1, 30);
        std::vector<float> r = uniform_vector(order + 1, -1.0F, 1.0F);
        if (turn % 2 == 0)
            for (float& x : r)
                if (generator()() % 8 == 0) x = special[generator()() % special.size()];
        ASSERT_TRUE(is_recursion(r, order));
    }
}

TEST(Schur, AZeroEnergyIsNoFailure)
{
    const std::vector<float> nothing(4, 0.0F);
    std::vector<float> k(3);
    float error = 5;
    EXPECT_EQ(zelsSchur_32f(nothing.data(), k.data(), 3, &error), SrOk);
    for (float x : k) EXPECT_TRUE(std::isnan(x));
    EXPECT_TRUE(std::isnan(error));
    const std::vector<float> impossible = {0, 1};
    EXPECT_EQ(zelsSchur_32f(impossible.data(), k.data(), 1, &error), SrOk);
    EXPECT_EQ(k[0], -kInfinity);
    EXPECT_EQ(error, -kInfinity);
}

TEST(Schur, ByValue)
{
    float k[3], error;
    const float r[] = {8, 4, 2, 5};
    ASSERT_EQ(zelsSchur_32f(r, k, 1, &error), SrOk);
    EXPECT_EQ(k[0], -0.5F);
    EXPECT_EQ(error, 6.0F);
    ASSERT_EQ(zelsSchur_32f(r, k, 3, &error), SrOk);
    EXPECT_EQ(k[0], -0.5F);
    EXPECT_TRUE(same_value(0.0F, k[1])) << "zero less zero, not a negated zero";
    EXPECT_EQ(k[2], -4.0F / 6);
    const float white[] = {2, 0};
    ASSERT_EQ(zelsSchur_32f(white, k, 1, &error), SrOk);
    EXPECT_TRUE(same_value(0.0F, k[0]));
}

// The last coefficients of the filters of orders 1, 2, ... are the reflection coefficients.
TEST(Schur, AgreesWithTheCoefficients)
{
    for (int turn = 0; turn < 100; ++turn) {
        const int order = uniform(1, 30);
        const std::vector<float> r = random_autocorrelation(order);
        std::vector<float> k(static_cast<std::size_t>(order)), a(k.size());
        float error, durbin_error;
        ASSERT_EQ(zelsSchur_32f(r.data(), k.data(), order, &error), SrOk);
        for (int m = 1; m <= order; ++m) {
            ASSERT_EQ(zelsDurbin_32f(r.data(), a.data(), m, &durbin_error), SrOk);
            ASSERT_NEAR(a[static_cast<std::size_t>(m - 1)], k[static_cast<std::size_t>(m - 1)], 3e-4) << m;
        }
        ASSERT_NEAR(durbin_error, error, 1e-4 * error);
    }
}

// --- checks and memory ---

template <class T>
struct Arguments {
    const T* r;
    T* k;
    int32_t order;
    float* error;
};

template <class T>
void expect_split_checks(SrStatus (*call)(const Arguments<T>&))
{
    const Guarded<T> r(std::vector<T>(41, T(1)));
    Guarded<T> k(40);
    Guarded<float> error(1);
    using A = Arguments<T>;
    expect_check_order<A>({r.data(), k.data(), 40, error.data()},
                          {{"null autocorrelation", SrErrNullPtr, [](A& x) { x.r = nullptr; }},
                           {"null result", SrErrNullPtr, [](A& x) { x.k = nullptr; }},
                           {"order 0", SrErrSize, [](A& x) { x.order = 0; }},
                           {"order -1", SrErrSize, [](A& x) { x.order = -1; }},
                           {"lowest order", SrErrSize, [](A& x) { x.order = INT32_MIN; }},
                           {"null error", SrErrNullPtr, [](A& x) { x.error = nullptr; }}},
                          call, {&k, &error});
}

// The error pointer is looked at behind the order: wanted.
TEST(Schur, OrderIsCheckedBetweenThePointers)
{
    expect_split_checks<float>(
        [](const Arguments<float>& x) { return zelsSchur_32f(x.r, x.k, x.order, x.error); });
    expect_split_checks<int16_t>(
        [](const Arguments<int16_t>& x) { return zelsSchur_16s_Sfs(x.r, x.k, x.order, x.error, -15); });
}

TEST(Schur, TakesNoMemoryBelowOrder1024)
{
    for (int order : {1, 64, 1023, 1024, 1100}) {
        const std::vector<float> r = random_autocorrelation(order);
        const std::vector<int16_t> r16(r.size(), 1);
        std::vector<float> k(static_cast<std::size_t>(order));
        std::vector<int16_t> k16(k.size());
        float error;
        AllocatorWatch watch;
        EXPECT_EQ(zelsSchur_32f(r.data(), k.data(), order, &error), SrOk);
        EXPECT_EQ(watch.requests() == 0, order < 1024) << order;
        const int before = watch.requests();
        EXPECT_EQ(zelsSchur_16s_Sfs(r16.data(), k16.data(), order, &error, 0), SrOk);
        EXPECT_EQ(watch.requests() == before, order < 1024) << order;
        EXPECT_EQ(watch.live(), 0);
    }
}

TEST(Schur, SurvivesRefusedMemory)
{
    const int order = 1024;
    const std::vector<float> r = random_autocorrelation(order);
    const std::vector<int16_t> r16(r.size(), 1);
    Guarded<float> k(static_cast<std::size_t>(order)), error(1);
    Guarded<int16_t> k16(k.size());
    for (int refused : {1, 2, 3}) {
        k.take_snapshot();
        error.take_snapshot();
        AllocatorWatch watch(refused);
        const SrStatus status = zelsSchur_32f(r.data(), k.data(), order, error.data());
        if (watch.requests() < refused) break;
        EXPECT_EQ(status, SrErrMemAlloc);
        EXPECT_TRUE(k.as_snapshot() && error.as_snapshot()) << "before anything was written";
    }
    expect_survives_refusals([&] { return zelsSchur_32f(r.data(), k.data(), order, error.data()); }, {&k, &error});
    expect_survives_refusals([&] { return zelsSchur_16s_Sfs(r16.data(), k16.data(), order, error.data(), 0); },
                             {&k16, &error});
}

// --- 16 bits ---

std::vector<int16_t> autocorrelation_16s(int order)
{
    std::vector<int16_t> r;
    for (float x : to_singles(autocorrelation_of(random_reflection(order, 0.7), 32000)))
        r.push_back(static_cast<int16_t>(x));
    return r;
}

testing::AssertionResult is_rounded_recursion(const std::vector<int16_t>& r, int order, int32_t sf,
                                              Arrangement at = Arrangement(2))
{
    const reference::Reflection expected = reference::schur(to_singles(r), static_cast<std::size_t>(order));
    Guarded<int16_t> source(r, at[0]), k(static_cast<std::size_t>(order), at[1]);
    Guarded<float> error(1, at[1]);
    source.take_snapshot();
    const SrStatus status = zelsSchur_16s_Sfs(source.data(), k.data(), order, error.data(), sf);
    testing::AssertionResult right = same_values(reference::nearest(expected.k, sf), k.values());
    if (right) right = same_value(expected.error, error.get(0));  // not scaled
    if (right) right = status_is(SrOk, status);
    if (right && !(source.as_snapshot() && k.intact() && error.intact()))
        right = testing::AssertionFailure() << "written beside the results";
    if (right) return right;
    return testing::AssertionFailure() << "order " << order << ", sf " << sf << ", " << describe(at) << ": "
                                       << right.message();
}

TEST(SchurFixed, IsTheRecursionRounded)
{
    for (int order : lengths(8))
        for (const Arrangement& at : arrangements(2, sizeof(int16_t)))
            ASSERT_TRUE(is_rounded_recursion(autocorrelation_16s(order), order, uniform(-16, -8), at));
    for (int order : {200, 1023, 1024}) ASSERT_TRUE(is_rounded_recursion(autocorrelation_16s(order), order, -15));
    const std::vector<int16_t> r = autocorrelation_16s(9);
    for (int32_t sf : scale_factors()) ASSERT_TRUE(is_rounded_recursion(r, 9, sf));
}

// Infinite and undefined coefficients end at the limits.
TEST(SchurFixed, AnyValues)
{
    for (int turn = 0; turn < 300; ++turn) {
        const int order = uniform(1, 12);
        const int16_t limit = turn % 2 == 0 ? int16_t(2) : int16_t(32767);
        ASSERT_TRUE(is_rounded_recursion(uniform_vector<int16_t>(order + 1, int16_t(-limit), limit), order, -12));
    }
    const int16_t nothing[] = {0, 0}, impossible[] = {0, 1}, opposite[] = {0, -1};
    int16_t k;
    float error;
    ASSERT_EQ(zelsSchur_16s_Sfs(nothing, &k, 1, &error, 0), SrOk);
    EXPECT_EQ(k, 32767) << "not a number";
    ASSERT_EQ(zelsSchur_16s_Sfs(impossible, &k, 1, &error, 0), SrOk);
    EXPECT_EQ(k, -32768);
    ASSERT_EQ(zelsSchur_16s_Sfs(opposite, &k, 1, &error, 0), SrOk);
    EXPECT_EQ(k, 32767);
}

TEST(SchurFixed, InEveryEnvironment)
{
    const std::vector<int16_t> r = autocorrelation_16s(19);
    const reference::Reflection expected = reference::schur(to_singles(r), 19);
    std::vector<int16_t> k(19);
    float error;
    under_each_environment([&] { zelsSchur_16s_Sfs(r.data(), k.data(), 19, &error, -15); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(reference::nearest(expected.k, -15), k) << setting;
                               EXPECT_EQ(expected.error, error) << setting;
                           });
}

#ifdef __i386__
TEST(Schur, RunsOnAnyStack)
{
    for (int order : {7, 30}) {
        const std::vector<int16_t> r = autocorrelation_16s(order);
        const std::vector<float> singles = to_singles(r);
        const reference::Reflection expected = reference::schur(singles, static_cast<std::size_t>(order));
        for (int misalign : {0, 4, 8, 12}) {
            std::vector<float> k(static_cast<std::size_t>(order));
            std::vector<int16_t> k16(k.size());
            float error;
            EXPECT_EQ(call_misaligned(zelsSchur_32f, misalign, singles.data(), k.data(), order, &error), SrOk);
            EXPECT_TRUE(same_values(expected.k, k));
            EXPECT_EQ(call_misaligned(zelsSchur_16s_Sfs, misalign, r.data(), k16.data(), order, &error, -15),
                      SrOk);
            EXPECT_EQ(reference::nearest(expected.k, -15), k16);
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
