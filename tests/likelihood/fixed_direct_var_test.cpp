// One vector against one Gaussian with 16-bit variances instead of their reciprocals.
#include <gtest/gtest.h>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/odd_stack.h"
#include "support/reference/fixed.h"
#include "zelsr/likelihood/fixed.h"

namespace zelsr::test::fixed {
namespace {

using reference::fixed::Operands;
using Vector = std::vector<int16_t>;

struct Problem {
    Vector x, m, v;
    Operands operands() const { return {x.data(), m.data(), v.data(), static_cast<int>(x.size())}; }
};

Problem random_problem(int len, int reach)
{
    const auto low = static_cast<int16_t>(-reach), high = static_cast<int16_t>(reach);
    Problem p{uniform_vector(len, low, high), uniform_vector(len, low, high), uniform_vector(len, low, high)};
    for (int16_t& v : p.v)
        if (v == 0) v = 1;
    return p;
}

std::vector<int> vector_lengths()
{
    if (thin_effort()) return {1, 2, 4, 7, 8, 9, 16, 23, 31, 40};
    std::vector<int> all;
    for (int len = 1; len <= 50; ++len) all.push_back(len);
    return all;
}

testing::AssertionResult scores(const Problem& p, float val, int32_t sf, const Arrangement& where)
{
    Guarded<int16_t> x(p.x, where[0]), m(p.m, where[1]), v(p.v, where[2]);
    Guarded<float> result(1, where[3]);
    for (GuardedBytes* input : {&x, &m, &v}) input->take_snapshot();
    const SrStatus status = zelsLogGaussSingle_DirectVarScaled_16s32f(
        x.data(), m.data(), v.data(), static_cast<int32_t>(p.x.size()), result.data(), val, sf);
    if (status != SrOk) return testing::AssertionFailure() << "status " << status;
    if (!x.as_snapshot() || !m.as_snapshot() || !v.as_snapshot() || !result.intact())
        return testing::AssertionFailure() << "written elsewhere than to the result";
    return same_value(reference::fixed::direct_variance_score(p.operands(), val, sf), result.get(0));
}

testing::AssertionResult integer_scores(const Problem& p, int32_t val, int32_t sf, const Arrangement& where)
{
    Guarded<int16_t> x(p.x, where[0]), m(p.m, where[1]), v(p.v, where[2]);
    Guarded<int32_t> result(1, where[3]);
    for (GuardedBytes* input : {&x, &m, &v}) input->take_snapshot();
    const SrStatus status = zelsLogGaussSingle_DirectVar_16s32s_Sfs(
        x.data(), m.data(), v.data(), static_cast<int32_t>(p.x.size()), result.data(), val, sf);
    if (status != SrOk) return testing::AssertionFailure() << "status " << status;
    if (!x.as_snapshot() || !m.as_snapshot() || !v.as_snapshot() || !result.intact())
        return testing::AssertionFailure() << "written elsewhere than to the result";
    // The last elements in either of the two orders.
    const int32_t by_lanes = reference::fixed::direct_variance_integer_score(p.operands(), val, sf, true);
    if (result.get(0) == by_lanes) return testing::AssertionSuccess();
    return same_value(reference::fixed::direct_variance_integer_score(p.operands(), val, sf, false),
                      result.get(0));
}

TEST(FixedDirectVariance, EveryLengthAndPlacement)
{
    for (int len : vector_lengths())
        for (const Arrangement& where : arrangements(4, sizeof(int16_t))) {
            const Problem p = random_problem(len, generator()() % 2 == 0 ? INT16_MAX : 100);
            const int32_t sf = uniform<int32_t>(-3, 20);
            ASSERT_TRUE(scores(p, uniform(-1e3F, 1e3F), sf, where))
                << "length " << len << ", sf " << sf << "; " << describe(where);
            ASSERT_TRUE(integer_scores(p, uniform<int32_t>(-1000000, 1000000), sf, where))
                << "length " << len << ", sf " << sf << "; " << describe(where);
        }
}

TEST(FixedDirectVariance, EveryScaleFactorAndConstant)
{
    for (int32_t sf = -160; sf <= 160; sf += thin_effort() ? 7 : 1)
        for (int len : {3, 8, 21}) {
            const Problem p = random_problem(len, 1000);
            for (float val : special_values<float>()) ASSERT_TRUE(scores(p, val, sf, Arrangement(4))) << sf;
            for (int32_t val : special_values<int32_t>())
                ASSERT_TRUE(integer_scores(p, val, sf, Arrangement(4))) << "sf " << sf << ", val " << val;
        }
}

TEST(FixedDirectVariance, ScaleFactorsAtTheEndsOfTheType)
{
    const Problem p{{20, 0, 0}, {0, 0, 0}, {8, 1, 1}};
    for (int32_t sf : {INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX}) {
        EXPECT_TRUE(scores(p, 3, sf, Arrangement(4))) << "sf " << sf;
        EXPECT_TRUE(integer_scores(p, 3, sf, Arrangement(4))) << "sf " << sf;
    }
}

// The scale factor acts as it stands, and 0.5 is a factor of its own.
TEST(FixedDirectVariance, AreTheFormula)
{
    const int16_t x = 20, m = 0, v = 8;  // 50
    float result = 0;
    int32_t whole = 0;
    EXPECT_EQ(zelsLogGaussSingle_DirectVarScaled_16s32f(&x, &m, &v, 1, &result, 1, 1), SrOk);
    EXPECT_EQ(result, 1 - 12.5F);
    EXPECT_EQ(zelsLogGaussSingle_DirectVarScaled_16s32f(&x, &m, &v, 1, &result, 1, -1), SrOk);
    EXPECT_EQ(result, 1 - 50);
    for (auto [sf, expected] : {std::pair{1, 1 - 12}, {0, 1 - 25}, {2, 1 - 6}, {-1, 1 - 50}, {-2, 1 - 100}}) {
        EXPECT_EQ(zelsLogGaussSingle_DirectVar_16s32s_Sfs(&x, &m, &v, 1, &whole, 1, sf), SrOk);
        EXPECT_EQ(whole, expected) << "sf " << sf;
    }
}

TEST(FixedDirectVariance, DifferencesSaturateInGroupsOfEightOfTheSingleFormOnly)
{
    for (int len : {7, 8, 9, 15}) {
        const auto n = static_cast<std::size_t>(len);
        Problem p{Vector(n), Vector(n), Vector(n, 1)};
        p.x[0] = INT16_MAX;
        p.m[0] = INT16_MIN;
        float result = 0;
        EXPECT_EQ(
            zelsLogGaussSingle_DirectVarScaled_16s32f(p.x.data(), p.m.data(), p.v.data(), len, &result, 0, 0),
            SrOk);
        EXPECT_EQ(result, len < 8 ? -0.5F * 4294836225.0F : -0.5F * 1073676289.0F);
        int32_t whole = 0;
        EXPECT_EQ(zelsLogGaussSingle_DirectVar_16s32s_Sfs(p.x.data(), p.m.data(), p.v.data(), len, &whole, 0, 7),
                  SrOk);
        EXPECT_EQ(whole, -16776704);  // 4294836224 / 256 = 16776704
    }
}

TEST(FixedDirectVariance, IntegersSaturateOnce)
{
    const int16_t x = INT16_MAX, m = 0, v = 1, minus = -1;
    int32_t whole = 0;
    for (auto [val, expected] : {std::pair{INT32_MAX, 0}, {0, -INT32_MAX}, {-1, INT32_MIN}, {-2, INT32_MIN}}) {
        EXPECT_EQ(zelsLogGaussSingle_DirectVar_16s32s_Sfs(&x, &m, &v, 1, &whole, val, -20), SrOk);
        EXPECT_EQ(whole, expected);
    }
    for (auto [val, expected] : {std::pair{INT32_MIN, 0}, {-1, INT32_MAX}, {0, INT32_MAX}}) {
        EXPECT_EQ(zelsLogGaussSingle_DirectVar_16s32s_Sfs(&x, &m, &minus, 1, &whole, val, -20), SrOk);
        EXPECT_EQ(whole, expected);
    }
}

TEST(FixedDirectVariance, AZeroWarnsAndTheResultIsWritten)
{
    for (int len : {1, 7, 8, 21})
        for (std::size_t zero = 0; zero < static_cast<std::size_t>(len); ++zero) {
            Problem p = random_problem(len, 100);
            for (std::size_t k = 0; k < p.x.size(); ++k) p.v[k] = 3;
            p.v[zero] = 0;
            p.x[zero] = static_cast<int16_t>(p.m[zero] + 1);
            float result = 0;
            int32_t whole = 0;
            EXPECT_EQ(
                zelsLogGaussSingle_DirectVarScaled_16s32f(p.x.data(), p.m.data(), p.v.data(), len, &result, 9, 3),
                SrWarnDivByZero);
            EXPECT_EQ(result, -HUGE_VALF);
            EXPECT_EQ(
                zelsLogGaussSingle_DirectVar_16s32s_Sfs(p.x.data(), p.m.data(), p.v.data(), len, &whole, 9, 3),
                SrWarnDivByZero);
            EXPECT_EQ(whole, 9 - INT32_MAX);
            p.x[zero] = p.m[zero];  // 0 * infinity
            EXPECT_EQ(
                zelsLogGaussSingle_DirectVarScaled_16s32f(p.x.data(), p.m.data(), p.v.data(), len, &result, 9, 3),
                SrWarnDivByZero);
            EXPECT_TRUE(std::isnan(result));
            EXPECT_EQ(
                zelsLogGaussSingle_DirectVar_16s32s_Sfs(p.x.data(), p.m.data(), p.v.data(), len, &whole, 9, 3),
                SrWarnDivByZero);
        }
}

struct FixedDirectVarianceMemory : testing::TestWithParam<int> {
    const int len = GetParam();
    Problem p = random_problem(len, 1000);
    Guarded<float> single{1};
    Guarded<int32_t> whole{1};

    SrStatus score_single()
    {
        return zelsLogGaussSingle_DirectVarScaled_16s32f(p.x.data(), p.m.data(), p.v.data(), len, single.data(), 1,
                                                         2);
    }
    SrStatus score_whole()
    {
        return zelsLogGaussSingle_DirectVar_16s32s_Sfs(p.x.data(), p.m.data(), p.v.data(), len, whole.data(), 1,
                                                       2);
    }
};

TEST_P(FixedDirectVarianceMemory, RefusedScratchWritesNothing)
{
    expect_survives_refusals([this] { return score_single(); }, {&single});
    expect_survives_refusals([this] { return score_whole(); }, {&whole});
}

TEST_P(FixedDirectVarianceMemory, ScratchIsOneBlockReleasedOnAWarningToo)
{
    const std::size_t lead = 32 + sizeof(void*), n = static_cast<std::size_t>(len);
    for (int16_t last : {int16_t{1}, int16_t{0}}) {
        p.v.back() = last;
        const SrStatus expected = last == 0 ? SrWarnDivByZero : SrOk;
        AllocatorWatch watch;
        EXPECT_EQ(score_single(), expected);
        EXPECT_EQ(score_whole(), expected);
        EXPECT_EQ(watch.sizes(), (std::vector<std::size_t>{(2 * n + 16) * sizeof(float) + lead,
                                                           (5 * n + 80) * sizeof(float) + lead}));
        EXPECT_EQ(watch.live(), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Lengths, FixedDirectVarianceMemory, testing::Values(1, 2, 8, 39, 257, 5000));

template <class T>
struct Arguments {
    const int16_t *x, *m, *v;
    int32_t len;
    T* result;
};

template <class T, class Call>
void expect_null_before_length(Call call)
{
    const Problem p = random_problem(5, 100);
    Guarded<T> result(1);
    const AllocatorWatch watch;
    for (int32_t len : {0, -1, INT32_MIN})
        expect_check_order<Arguments<T>>(
            {p.x.data(), p.m.data(), p.v.data(), 5, result.data()},
            {{"feature", SrErrNullPtr, [](auto& a) { a.x = nullptr; }},
             {"mean", SrErrNullPtr, [](auto& a) { a.m = nullptr; }},
             {"variance", SrErrNullPtr, [](auto& a) { a.v = nullptr; }},
             {"result", SrErrNullPtr, [](auto& a) { a.result = nullptr; }},
             {"length", SrErrSize, [len](auto& a) { a.len = len; }}},
            [&](const Arguments<T>& a) { return call(a.x, a.m, a.v, a.len, a.result, T(1), 2); }, {&result});
    EXPECT_EQ(watch.requests(), 0);
}

TEST(FixedDirectVariance, NullPointersComeBeforeTheLength)
{
    expect_null_before_length<float>(zelsLogGaussSingle_DirectVarScaled_16s32f);
    expect_null_before_length<int32_t>(zelsLogGaussSingle_DirectVar_16s32s_Sfs);
}

TEST(FixedDirectVariance, IntegerResultsAreTheSameInEachEnvironment)
{
    for (int len : {1, 8, 39})
        for (int32_t sf : {-2, 3}) {
            const Problem p = random_problem(len, 300);
            int32_t expected = 0, whole = 0;
            EXPECT_EQ(zelsLogGaussSingle_DirectVar_16s32s_Sfs(p.x.data(), p.m.data(), p.v.data(), len, &expected,
                                                              -5, sf),
                      SrOk);
            SrStatus status = SrErrUnknown;
            under_each_environment(
                [&] {
                    status = zelsLogGaussSingle_DirectVar_16s32s_Sfs(p.x.data(), p.m.data(), p.v.data(), len,
                                                                     &whole, -5, sf);
                },
                [&](const std::string& setting) {
                    EXPECT_EQ(status, SrOk) << setting;
                    EXPECT_EQ(whole, expected) << setting;
                });
        }
}

#ifdef __i386__
TEST(FixedDirectVariance, TakesACallWithTheStackOn4Bytes)
{
    for (int misalign : {0, 4, 8, 12})
        for (int32_t len : {3, 16, 39}) {
            const Problem p = random_problem(len, 1000);
            const int16_t *x = p.x.data(), *m = p.m.data(), *v = p.v.data();
            float single = 0;
            int32_t whole = 0;
            EXPECT_EQ(call_misaligned(zelsLogGaussSingle_DirectVarScaled_16s32f, misalign, x, m, v, len, &single,
                                      1.5F, int32_t{2}),
                      SrOk);
            EXPECT_TRUE(same_value(reference::fixed::direct_variance_score(p.operands(), 1.5F, 2), single));
            EXPECT_EQ(call_misaligned(zelsLogGaussSingle_DirectVar_16s32s_Sfs, misalign, x, m, v, len, &whole,
                                      int32_t{-7}, int32_t{20}),
                      SrOk);
            EXPECT_EQ(whole, reference::fixed::direct_variance_integer_score(p.operands(), -7, 20, true));
        }
}
#endif

}  // namespace
}  // namespace zelsr::test::fixed
