// Prediction of a frame by its autocorrelation.
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
#include "zelsr/core/fft.h"
#include "zelsr/lpc/prediction.h"

namespace zelsr::test {
namespace {

constexpr float kHeld = -77.25F;  // what the caller's array holds
constexpr int16_t kHeld16 = -777;

struct Member {
    const char* name;
    bool negated;
    SrStatus (*singles)(const float*, int32_t, float*, int32_t);
    SrStatus (*fixed)(const int16_t*, int32_t, int16_t*, int32_t, int32_t);
};
std::ostream& operator<<(std::ostream& out, const Member& m) { return out << m.name; }

struct Outcome {
    SrStatus status;
    std::vector<float> a;
};

class LinearPrediction : public testing::TestWithParam<Member> {
  protected:
    // The lags of the library's own autocorrelation, through the recursion.
    static Outcome expected(const std::vector<float>& x, int order)
    {
        std::vector<float> r(static_cast<std::size_t>(order) + 1);
        Outcome result{SrOk, std::vector<float>(static_cast<std::size_t>(order), kHeld)};
        EXPECT_EQ(zelsAutoCorr_32f(x.data(), static_cast<int32_t>(x.size()), r.data(), order + 1), SrOk);
        float error;
        result.status = zelsDurbin_32f(r.data(), result.a.data(), order, &error);
        if (GetParam().negated)
            for (float& a : result.a) a = 0 - a;
        return result;
    }
    static testing::AssertionResult predicts(const std::vector<float>& x, int order,
                                             Arrangement at = Arrangement(2))
    {
        const Outcome right = expected(x, order);
        Guarded<float> source(x, at[0]), a(std::vector<float>(static_cast<std::size_t>(order), kHeld), at[1]);
        source.take_snapshot();
        const SrStatus status = GetParam().singles(source.data(), static_cast<int32_t>(x.size()), a.data(), order);
        testing::AssertionResult result = same_values(right.a, a.values());
        if (result) result = status_is(right.status, status);
        if (result && !(source.as_snapshot() && a.intact()))
            result = testing::AssertionFailure() << "written beside the result";
        if (result) return result;
        return testing::AssertionFailure()
               << "length " << x.size() << ", order " << order << ", " << describe(at) << ": " << result.message();
    }
};

TEST_P(LinearPrediction, IsTheRecursionOnTheAutocorrelation)
{
    Cycle<int> frame({240, 80, 161, 64, 63, 300});
    for (int order : lengths(16))
        for (const Arrangement& at : arrangements(2, sizeof(float)))
            ASSERT_TRUE(predicts(resonant_signal(frame.next()), order, at));
    for (int order : {62, 63, 64, 100}) ASSERT_TRUE(predicts(resonant_signal(400), order));
    ASSERT_TRUE(predicts(resonant_signal(2000), 900)) << "through the transform";
}

// Short frames, where lags beyond the frame are zero.
TEST_P(LinearPrediction, OrdersUpToTheLength)
{
    for (int length = 1; length <= 40; ++length)
        for (int order = 1; order <= length; ++order) ASSERT_TRUE(predicts(resonant_signal(length), order));
    std::vector<float> a(7);
    const std::vector<float> x = resonant_signal(6);
    EXPECT_EQ(GetParam().singles(x.data(), 6, a.data(), 6), SrOk);
    EXPECT_EQ(GetParam().singles(x.data(), 6, a.data(), 7), SrErrSize);
}

TEST_P(LinearPrediction, ByValue)
{
    // r = 14, 8, 3
    const float x[] = {1, 2, 3};
    float a[2];
    const float sign = GetParam().negated ? -1.0F : 1.0F;
    ASSERT_EQ(GetParam().singles(x, 3, a, 1), SrOk);
    EXPECT_EQ(a[0], sign * -(8.0F / 14));
    ASSERT_EQ(GetParam().singles(x, 3, a, 2), SrOk);
    // a[1] = -(3 - 8 * 8 / 14) / (14 - 8 * 8 / 14), a[0] = -8 / 14 (1 + a[1])
    const double a1 = -(3 - 64.0 / 14) / (14 - 64.0 / 14);
    EXPECT_NEAR(a[1], sign * a1, 1e-6);
    EXPECT_NEAR(a[0], sign * -8.0 / 14 * (1 + a1), 1e-6);
}

// What is predicted from the samples before comes near to the samples of a resonance.
TEST_P(LinearPrediction, FindsTheFilterOfASignal)
{
    const std::vector<float> x = resonance(4000);
    float a[2];
    ASSERT_EQ(GetParam().singles(x.data(), 4000, a, 2), SrOk);
    const float sign = GetParam().negated ? 1.0F : -1.0F;
    EXPECT_NEAR(a[0], sign * 1.5F, 0.06) << "the predictor form adds what the denominator form subtracts";
    EXPECT_NEAR(a[1], sign * -0.8F, 0.06);
}

// Silence: the recursion writes nothing, and the negated form still negates what the array held. Wanted.
TEST_P(LinearPrediction, SilenceLeavesTheArray)
{
    for (int order : {1, 5, 12, 62, 63, 64, 80}) {
        const std::vector<float> silence(100, 0.0F);
        std::vector<float> a(static_cast<std::size_t>(order), kHeld);
        a[0] = 0;
        EXPECT_EQ(GetParam().singles(silence.data(), 100, a.data(), order), SrErrDurbin);
        EXPECT_TRUE(same_value(0.0F, a[0])) << "zero less zero is zero of plus sign";
        for (std::size_t i = 1; i < a.size(); ++i) ASSERT_EQ(a[i], GetParam().negated ? -kHeld : kHeld);
    }
}

// A constant is predicted almost without error: the recursion fails at some order when rounding is in the way.
TEST_P(LinearPrediction, SinglesThatFailOnTheWay)
{
    for (float value :
         {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(), 3e38F, 1e-30F}) {
        std::vector<float> x = resonant_signal(50);
        x[20] = value;
        for (int order : {3, 10, 20}) ASSERT_TRUE(predicts(x, order)) << value;
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
std::vector<Fault<Arguments<T>>> faults()
{
    using A = Arguments<T>;
    return {{"null samples", SrErrNullPtr, [](A& x) { x.x = nullptr; }},
            {"null result", SrErrNullPtr, [](A& x) { x.a = nullptr; }},
            {"length 0", SrErrSize, [](A& x) { x.length = 0; }},
            {"lowest length", SrErrSize, [](A& x) { x.length = INT32_MIN; }},
            {"order 0", SrErrSize, [](A& x) { x.order = 0; }},
            {"lowest order", SrErrSize, [](A& x) { x.order = INT32_MIN; }},
            {"order above length", SrErrSize, [](A& x) { x.order = 61; }},
            {"highest order", SrErrSize, [](A& x) { x.order = INT32_MAX; }}};
}

TEST_P(LinearPrediction, PointersAreCheckedBeforeSizes)
{
    const Guarded<float> x(std::vector<float>(60, 1.0F));
    Guarded<float> a(10);
    expect_check_order<Arguments<float>>(
        {x.data(), 60, a.data(), 10}, faults<float>(),
        [](const Arguments<float>& g) { return GetParam().singles(g.x, g.length, g.a, g.order); }, {&a});
    const Guarded<int16_t> x16(std::vector<int16_t>(60, 1));
    Guarded<int16_t> a16(10);
    expect_check_order<Arguments<int16_t>>(
        {x16.data(), 60, a16.data(), 10}, faults<int16_t>(),
        [](const Arguments<int16_t>& g) { return GetParam().fixed(g.x, g.length, g.a, g.order, 3); }, {&a16});
}

TEST_P(LinearPrediction, SmallFramesTakeNoMemory)
{
    const std::vector<float> x = resonant_signal(400);
    const std::vector<int16_t> x16 = resonant_signal_16s(400, 2000);
    std::vector<float> a(100);
    std::vector<int16_t> a16(100);
    for (int order : {1, 10, 62, 63, 64, 100}) {
        AllocatorWatch watch;
        EXPECT_EQ(GetParam().singles(x.data(), 400, a.data(), order), SrOk);
        EXPECT_EQ(watch.requests() == 0, order < 63) << order;
        EXPECT_EQ(watch.live(), 0);
    }
    for (int length : {10, 63, 64, 400})
        for (int order : {1, 10, 62, 63, 64}) {
            if (order > length) continue;
            AllocatorWatch watch;
            EXPECT_EQ(GetParam().fixed(x16.data(), length, a16.data(), order, -12), SrOk);
            EXPECT_EQ(watch.requests() == 0, length < 64 && order < 63) << length << ", " << order;
            EXPECT_EQ(watch.live(), 0);
        }
}

// The lag array, the autocorrelation's memory and the recursion's, refused in turn: the array is as it was, not
// negated either.
TEST_P(LinearPrediction, SurvivesRefusedMemory)
{
    struct Size {
        int length, order;
    };
    for (Size size : {Size{300, 63}, Size{300, 64}, Size{64, 64}, Size{1000, 900}}) {
        const std::vector<float> x = resonant_signal(size.length);
        const std::vector<int16_t> x16 = resonant_signal_16s(size.length, 2000);
        Guarded<float> a(std::vector<float>(static_cast<std::size_t>(size.order), kHeld));
        Guarded<int16_t> a16(std::vector<int16_t>(static_cast<std::size_t>(size.order), kHeld16));
        for (int refused = 1;; ++refused) {
            AllocatorWatch watch(refused);
            const SrStatus status = GetParam().singles(x.data(), size.length, a.data(), size.order);
            EXPECT_EQ(watch.live(), 0);
            if (watch.requests() < refused) break;
            EXPECT_EQ(status, SrErrMemAlloc) << refused;
            for (float value : a.values()) ASSERT_EQ(value, kHeld) << "block " << refused << " of " << size.order;
        }
        for (int refused = 1;; ++refused) {
            AllocatorWatch watch(refused);
            const SrStatus status = GetParam().fixed(x16.data(), size.length, a16.data(), size.order, -12);
            EXPECT_EQ(watch.live(), 0);
            if (watch.requests() < refused) break;
            EXPECT_EQ(status, SrErrMemAlloc) << refused;
            for (int16_t value : a16.values()) ASSERT_EQ(value, kHeld16) << "block " << refused;
        }
    }
}

// --- 16 bits ---

TEST_P(LinearPrediction, FixedIsTheSingleFormRounded)
{
    Cycle<int> frame({240, 80, 161, 64, 63});
    for (int order : lengths(8))
        for (const Arrangement& at : arrangements(2, sizeof(int16_t))) {
            const std::vector<int16_t> x = resonant_signal_16s(frame.next(), 3000);
            const Outcome singles = expected(to_singles(x), order);
            const int32_t sf = uniform(-15, -8);
            Guarded<int16_t> source(x, at[0]), a(singles.a.size(), at[1]);
            source.take_snapshot();
            ASSERT_EQ(GetParam().fixed(source.data(), static_cast<int32_t>(x.size()), a.data(), order, sf), SrOk);
            ASSERT_TRUE(same_values(reference::nearest(singles.a, sf), a.values()))
                << x.size() << ", order " << order << ", " << describe(at);
            ASSERT_TRUE(source.as_snapshot() && a.intact()) << describe(at);
        }
    for (int order : {62, 63, 64, 80}) {
        const std::vector<int16_t> x = resonant_signal_16s(300, 3000);
        std::vector<int16_t> a(static_cast<std::size_t>(order));
        ASSERT_EQ(GetParam().fixed(x.data(), 300, a.data(), order, -13), SrOk);
        EXPECT_TRUE(same_values(reference::nearest(expected(to_singles(x), order).a, -13), a));
    }
}

TEST_P(LinearPrediction, FixedAtEveryScaleFactor)
{
    const std::vector<int16_t> x = resonant_signal_16s(60, 3000);
    const Outcome singles = expected(to_singles(x), 8);
    for (int32_t sf : scale_factors()) {
        std::vector<int16_t> a(8);
        EXPECT_EQ(GetParam().fixed(x.data(), 60, a.data(), 8, sf), SrOk);
        EXPECT_TRUE(same_values(reference::nearest(singles.a, sf), a)) << sf;
    }
}

// Neither converted nor negated.
TEST_P(LinearPrediction, FixedSilenceWritesNothing)
{
    for (int order : {1, 5, 12, 62, 63, 64, 80}) {
        const std::vector<int16_t> silence(100, 0);
        std::vector<int16_t> a(static_cast<std::size_t>(order), kHeld16);
        EXPECT_EQ(GetParam().fixed(silence.data(), 100, a.data(), order, -12), SrErrDurbin);
        EXPECT_EQ(a, std::vector<int16_t>(a.size(), kHeld16)) << order;
    }
}

TEST_P(LinearPrediction, FixedInEveryEnvironment)
{
    for (int length : {60, 900}) {
        const std::vector<int16_t> x = resonant_signal_16s(length, 3000);
        std::vector<int16_t> right(12), a(12);
        ASSERT_EQ(GetParam().fixed(x.data(), length, right.data(), 12, -12), SrOk);
        under_each_environment([&] { GetParam().fixed(x.data(), length, a.data(), 12, -12); },
                               [&](const std::string& setting) { EXPECT_EQ(right, a) << setting; });
    }
}

#ifdef __i386__
TEST_P(LinearPrediction, RunsOnAnyStack)
{
    const std::vector<int16_t> x16 = resonant_signal_16s(200, 3000);
    const std::vector<float> x = to_singles(x16);
    for (int order : {10, 70}) {
        const Outcome right = expected(x, order);
        for (int misalign : {0, 4, 8, 12}) {
            std::vector<float> a(static_cast<std::size_t>(order));
            std::vector<int16_t> a16(a.size());
            EXPECT_EQ(call_misaligned(GetParam().singles, misalign, x.data(), 200, a.data(), order), SrOk);
            EXPECT_TRUE(same_values(right.a, a));
            EXPECT_EQ(call_misaligned(GetParam().fixed, misalign, x16.data(), 200, a16.data(), order, -12), SrOk);
            EXPECT_TRUE(same_values(reference::nearest(right.a, -12), a16));
        }
    }
}
#endif

INSTANTIATE_TEST_SUITE_P(Auto, LinearPrediction,
                         testing::Values(Member{"Denominator", false, zelsLinearPrediction_Auto_32f,
                                                zelsLinearPrediction_Auto_16s_Sfs},
                                         Member{"Predictor", true, zelsLinearPredictionNeg_Auto_32f,
                                                zelsLinearPredictionNeg_Auto_16s_Sfs}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace zelsr::test
