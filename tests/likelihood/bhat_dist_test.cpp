// Bhattacharyya distances.
#include <gtest/gtest.h>

#include <cfenv>
#include <memory>

#include "matrix/matrix_calls.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/reference/distance.h"
#include "zelsr/likelihood/distance.h"

namespace zelsr::test::bhat_dist {
namespace {

using reference::Gaussians;
using reference::Positive;
using reference::Ratio;

struct Arguments {
    const float *mean1, *var1, *mean2, *var2;
    std::int32_t len;
    void* result;
    float sum1, sum2;
};

struct Member {
    const char* name;
    bool in_double, given_logarithms;
    Ratio ratio;
    SrStatus (*call)(const Arguments&);
};

const std::vector<Member>& members()
{
    using A = Arguments;
    static const std::vector<Member> all = {
        {"zelsBhatDist_32f", false, false, Ratio::Estimated,
         [](const A& a) {
             return matrix::invoke(zelsBhatDist_32f, a.mean1, a.var1, a.mean2, a.var2, a.len,
                                   static_cast<float*>(a.result));
         }},
        {"zelsBhatDist_32f64f", true, false, Ratio::Exact,
         [](const A& a) {
             return matrix::invoke(zelsBhatDist_32f64f, a.mean1, a.var1, a.mean2, a.var2, a.len,
                                   static_cast<double*>(a.result));
         }},
        {"zelsBhatDistSLog_32f", false, true, Ratio::SumOfVariances,
         [](const A& a) {
             return matrix::invoke(zelsBhatDistSLog_32f, a.mean1, a.var1, a.mean2, a.var2, a.len,
                                   static_cast<float*>(a.result), a.sum1, a.sum2);
         }},
        {"zelsBhatDistSLog_32f64f", true, true, Ratio::SumOfVariances,
         [](const A& a) {
             return matrix::invoke(zelsBhatDistSLog_32f64f, a.mean1, a.var1, a.mean2, a.var2, a.len,
                                   static_cast<double*>(a.result), a.sum1, a.sum2);
         }},
    };
    return all;
}

Gaussians random_gaussians(int len)
{
    const auto values = [len] { return uniform_vector(len, 0.01F, 5.0F); };
    return {values(), values(), values(), values()};
}
std::vector<float> Gaussians::*const kArrays[] = {&Gaussians::mean1, &Gaussians::var1, &Gaussians::mean2,
                                                  &Gaussians::var2};

// The sums of the variances' logarithms that the caller gives.
float sum_of_logarithms(const std::vector<float>& values)
{
    double sum = 0;
    for (float x : values) sum += std::log(double{x});
    return static_cast<float>(sum);
}

struct Outcome {
    SrStatus status = SrErrUnknown;
    double value = 0;
};

// One call between guard pages; where: the four arrays and the result.
class Trial {
  public:
    Trial(const Member& m, const Gaussians& g, const Arrangement& where = Arrangement(5))
        : m_(m),
          arrays_{Guarded<float>(g.mean1, where[0]), Guarded<float>(g.var1, where[1]),
                  Guarded<float>(g.mean2, where[2]), Guarded<float>(g.var2, where[3])},
          single_(std::vector<float>{-77}, where[4]),
          double_(std::vector<double>{-77}, where[4]),
          arguments_{arrays_[0].data(),
                     arrays_[1].data(),
                     arrays_[2].data(),
                     arrays_[3].data(),
                     static_cast<std::int32_t>(g.size()),
                     m.in_double ? static_cast<void*>(double_.data()) : single_.data(),
                     sum_of_logarithms(g.var1),
                     sum_of_logarithms(g.var2)}
    {
        for (Guarded<float>& array : arrays_) array.take_snapshot();
    }
    Outcome call() const { return {m_.call(arguments_), m_.in_double ? double_.get(0) : double{single_.get(0)}}; }
    bool clean() const
    {
        for (const Guarded<float>& array : arrays_)
            if (!array.as_snapshot()) return false;
        return single_.intact() && double_.intact();
    }
    const Arguments& arguments() const { return arguments_; }
    GuardedBytes* result() { return m_.in_double ? static_cast<GuardedBytes*>(&double_) : &single_; }

  private:
    Member m_;
    Guarded<float> arrays_[4];
    Guarded<float> single_;
    Guarded<double> double_;
    Arguments arguments_;
};

// How far a result may lie from the real number: n + 20 roundings of what the terms sum up to.
double tolerance(const Member& m, const reference::BhattacharyyaTerms& t, const Gaussians& g)
{
    const double unit = m.in_double ? 0x1p-53 : 0x1p-24;
    const double given = std::abs(sum_of_logarithms(g.var1)) + std::abs(sum_of_logarithms(g.var2));
    return (static_cast<double>(g.size()) + 20) * unit * (static_cast<double>(t.magnitude) + given);
}

double expected(const Member& m, const reference::BhattacharyyaTerms& t, const Gaussians& g)
{
    return static_cast<double>(m.given_logarithms
                                   ? reference::bhattacharyya_with_logarithms(
                                         t, g.size(), sum_of_logarithms(g.var1), sum_of_logarithms(g.var2))
                                   : reference::bhattacharyya(t, g.size()));
}

testing::AssertionResult measures(const Member& m, const Gaussians& g, const Arrangement& where = Arrangement(5))
{
    const Trial trial(m, g, where);
    const Outcome outcome = trial.call();
    const Positive positive = reference::all_positive(g);
    testing::AssertionResult right = testing::AssertionSuccess();
    if (positive == Positive::Yes) {
        const auto terms = reference::bhattacharyya_terms(g, m.ratio);
        right = near_values(std::vector<double>{expected(m, terms, g)}, std::vector<double>{outcome.value},
                            tolerance(m, terms, g));
        if (outcome.status != SrOk) right = testing::AssertionFailure() << "status " << outcome.status;
    } else {
        right = same_value(positive == Positive::Zero ? double{INFINITY} : double{NAN}, outcome.value);
        if (outcome.status != (positive == Positive::Zero ? SrWarnLnZeroArg : SrWarnLnNegArg))
            right = testing::AssertionFailure() << "status " << outcome.status;
    }
    if (!trial.clean()) right = testing::AssertionFailure() << "written beside the result";
    if (right) return right;
    return testing::AssertionFailure() << m.name << ", length " << g.size() << ": " << right.message() << "; "
                                       << describe(where);
}

TEST(BhatDist, EveryLengthAndPlacement)
{
    Cycle places(arrangements(5, sizeof(float)));
    for (const Member& m : members()) {
        for (int len : lengths(16))
            for (int i = 0; i < 6; ++i) ASSERT_TRUE(measures(m, random_gaussians(len), places.next()));
        for (const Arrangement& where : arrangements(5, sizeof(float)))
            ASSERT_TRUE(measures(m, random_gaussians(uniform(1, 20)), where));
        for (int len : {100, 512, 515, 2051}) ASSERT_TRUE(measures(m, random_gaussians(len), places.next()));
    }
}

TEST(BhatDist, WideRangesOfVariances)
{
    for (const Member& m : members())
        for (int len : {1, 2, 3, 4, 5, 7, 8, 11, 40})
            for (int i = 0; i < 30; ++i) {
                Gaussians g = random_gaussians(len);
                for (std::vector<float>* array : {&g.var1, &g.var2})
                    for (float& v : *array) v = std::ldexp(v, uniform(-30, 30));
                for (std::vector<float>* array : {&g.mean1, &g.mean2})
                    for (float& x : *array) x = std::ldexp(x, uniform(-20, 20));
                ASSERT_TRUE(measures(m, g));
            }
}

// Of the exact distance the single-precision form with estimated reciprocals is 2^-10 of each ratio away.
TEST(BhatDist_32f, IsTheDistanceTo12Bits)
{
    const Member& m = members()[0];
    for (int len : {1, 4, 7, 64, 301})
        for (int i = 0; i < 20; ++i) {
            const Gaussians g = random_gaussians(len);
            const auto terms = reference::bhattacharyya_terms(g, Ratio::Exact);
            EXPECT_NEAR(Trial(m, g).call().value, expected(m, terms, g),
                        len * 0.25 * 0x1p-10 + tolerance(m, terms, g));
        }
}

TEST(BhatDist, OfIdenticalGaussiansIsWhatTheConstantsLeave)
{
    for (int len : {1, 4, 10, 1000}) {
        const auto n = static_cast<std::size_t>(len);
        Gaussians g = random_gaussians(len);
        g.mean2 = g.mean1;
        g.var2 = g.var1;
        // ln 4 is not 1.386294: wanted.
        EXPECT_NEAR(Trial(members()[1], g).call().value, len * 0.25 * (std::log(4.0) - 1.386294), 1e-15 * len);
        EXPECT_GT(Trial(members()[1], g).call().value, 0.8e-7 * len);
        EXPECT_NEAR(Trial(members()[0], g).call().value, 0, len * 0.25 * 0x1p-10);
        g.var1 = g.var2 = std::vector<float>(n, 1);
        EXPECT_NEAR(Trial(members()[3], g).call().value, len * 0.5 * (std::log(2.0) - 0.693147), 1e-15 * len);
        EXPECT_GT(Trial(members()[3], g).call().value, 0.8e-7 * len);
    }
}

TEST(BhatDist, OfOneElement)
{
    // (3 - 1)^2 / (2 + 6) / 4 and ln(64 / 12) / 4 - ln 4 / 4
    const Gaussians g = {{3}, {2}, {1}, {6}};
    EXPECT_NEAR(Trial(members()[1], g).call().value, 0.125 + (std::log(64.0 / 12) - 1.386294) / 4, 1e-15);
    EXPECT_NEAR(Trial(members()[2], g).call().value, 0.125 + (std::log(8.0) - 0.693147) / 2 - std::log(12.0) / 4,
                1e-7);
    EXPECT_NEAR(Trial(members()[3], g).call().value, 0.125 + (std::log(8.0) - 0.693147) / 2 - std::log(12.0) / 4,
                1e-7);
}

// The caller's sums are not looked at.
TEST(BhatDistSLog, TakesTheSumsAsTheyAre)
{
    const Gaussians g = random_gaussians(9);
    for (const Member& m : members()) {
        if (!m.given_logarithms) continue;
        for (const auto& [sum1, sum2] : {std::pair{0.0F, 0.0F}, {8.0F, 0.0F}, {0.0F, -12.0F}, {-5.0F, 3.0F}}) {
            Trial trial(m, g);
            Arguments with = trial.arguments(), without = with;
            with.sum1 = sum1;
            with.sum2 = sum2;
            without.sum1 = without.sum2 = 0;
            const auto value = [&] {
                return m.in_double ? *static_cast<double*>(with.result) : *static_cast<float*>(with.result);
            };
            ASSERT_EQ(m.call(without), SrOk);
            const double base = value();
            ASSERT_EQ(m.call(with), SrOk);
            EXPECT_NEAR(value(), base - (double{sum1} + sum2) / 4, m.in_double ? 1e-13 : 1e-5);
        }
    }
    // 2^24 + 1 is no single: sums are added in double.
    Trial trial(members()[3], g);
    Arguments a = trial.arguments();
    a.sum1 = a.sum2 = 0;
    ASSERT_EQ(members()[3].call(a), SrOk);
    const double base = *static_cast<double*>(a.result);
    a.sum1 = 0x1p24F;
    a.sum2 = 1;
    ASSERT_EQ(members()[3].call(a), SrOk);
    EXPECT_NEAR(*static_cast<double*>(a.result), base - (0x1p24 + 1) / 4, 1e-8);
}

// Means and variances alike, at every position of every array.
TEST(BhatDist, AValueNotAboveZeroEndsTheWork)
{
    for (const Member& m : members())
        for (int len : {1, 2, 3, 4, 5, 7, 8, 10, 12, 19})
            for (std::size_t k = 0; k < static_cast<std::size_t>(len); ++k)
                for (auto array : kArrays)
                    for (float value : {0.0F, -0.0F, -1.0F, -0x1p-149F, -INFINITY}) {
                        Gaussians g = random_gaussians(len);
                        (g.*array)[k] = value;
                        ASSERT_TRUE(measures(m, g, Arrangement(5, {value < 0 ? 0 : 4})));
                    }
}

TEST(BhatDist, TheFirstGroupWithSuchAValueDecides)
{
    struct Case {
        std::size_t zero, negative;
        bool sees_negative;
    };
    // Of 11: groups 0 to 3 and 4 to 7, then 8, 9 and 10 by themselves.
    for (const Case& c : {Case{0, 3, true},
                          {3, 0, true},
                          {3, 4, false},
                          {4, 3, true},
                          {4, 7, true},
                          {7, 8, false},
                          {8, 9, false},
                          {9, 8, true},
                          {8, 8, true},
                          {10, 9, true},
                          {0, 10, false}})
        for (const Member& m : members())
            for (auto of_zero : kArrays)
                for (auto of_negative : kArrays) {
                    if (c.zero == c.negative && of_zero == of_negative) continue;
                    for (int misalign : {0, 4}) {
                        Gaussians g = random_gaussians(11);
                        (g.*of_zero)[c.zero] = 0;
                        (g.*of_negative)[c.negative] = -1;
                        const Outcome outcome = Trial(m, g, Arrangement(5, {misalign})).call();
                        EXPECT_EQ(outcome.status, c.sees_negative ? SrWarnLnNegArg : SrWarnLnZeroArg)
                            << m.name << ", zero at " << c.zero << ", negative at " << c.negative;
                        EXPECT_EQ(std::isnan(outcome.value), c.sees_negative);
                        EXPECT_EQ(std::isinf(outcome.value), !c.sees_negative);
                        ASSERT_TRUE(measures(m, g, Arrangement(5, {misalign})));
                    }
                }
}

TEST(BhatDist, NotANumberIsNeitherZeroNorNegative)
{
    for (const Member& m : members())
        for (int len : {1, 3, 4, 6, 9})
            for (auto array : kArrays)
                for (float nan : {NAN, -NAN}) {
                    Gaussians g = random_gaussians(len);
                    (g.*array)[0] = nan;
                    Outcome outcome = Trial(m, g).call();
                    EXPECT_TRUE(std::isnan(outcome.value)) << m.name;
                    // Beside it in its group a zero still counts.
                    (g.*array)[0] = 1;
                    (g.*array)[static_cast<std::size_t>(len) - 1] = nan;
                    g.mean1[0] = 0;
                    if (len == 1) continue;
                    outcome = Trial(m, g).call();
                    EXPECT_EQ(outcome.status, SrWarnLnZeroArg) << m.name;
                }
}

// Products of four ratios, of up to seven at the end, share a logarithm: what they exceed is infinite.
TEST(BhatDist_32f64f, ProductsOfUpToSevenRatiosShareALogarithm)
{
    for (int len : {4, 5, 6, 7, 8, 9, 11, 12}) {
        Gaussians g = random_gaussians(len);
        // Each ratio 2^240, each sum of variances 2^120.
        g.var1.assign(static_cast<std::size_t>(len), 0x1p120F);
        g.var2.assign(static_cast<std::size_t>(len), 0x1p-120F);
        const Outcome outcome = Trial(members()[1], g).call();
        EXPECT_EQ(outcome.status, SrOk);
        EXPECT_EQ(std::isinf(outcome.value), len % 4 != 0) << len;
        EXPECT_TRUE(len % 4 != 0 || measures(members()[1], g));
        EXPECT_TRUE(measures(members()[3], g)) << "seven sums have room";
    }
}

TEST(BhatDist, NullComesBeforeLength)
{
    for (const Member& m : members()) {
        Trial trial(m, random_gaussians(5));
        for (std::int32_t len : {0, -1, INT32_MIN})
            expect_check_order<Arguments>(trial.arguments(),
                                          {{"mean1", SrErrNullPtr, [](Arguments& a) { a.mean1 = nullptr; }},
                                           {"var1", SrErrNullPtr, [](Arguments& a) { a.var1 = nullptr; }},
                                           {"mean2", SrErrNullPtr, [](Arguments& a) { a.mean2 = nullptr; }},
                                           {"var2", SrErrNullPtr, [](Arguments& a) { a.var2 = nullptr; }},
                                           {"result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }},
                                           {"length", SrErrSize, [len](Arguments& a) { a.len = len; }}},
                                          m.call, {trial.result()});
    }
}

// There is no status for refused work memory.
TEST(BhatDist, RefusedMemoryChangesNothing)
{
    for (const Member& m : members())
        for (int len : {1, 4, 7, 500, 3001, 20003})
            for (int refused : {0, 1, 2, 3}) {
                const AllocatorWatch watch(refused);
                EXPECT_TRUE(measures(m, random_gaussians(len))) << "refused " << refused;
                EXPECT_EQ(watch.live(), 0);
            }
    Gaussians g = random_gaussians(9);
    g.var1[2] = -1;
    for (const Member& m : members()) {
        const AllocatorWatch watch;
        Trial(m, g).call();
        EXPECT_EQ(watch.live(), 0);
    }
}

TEST(BhatDist, TakesTheRoundingMode)
{
    for (const Member& m : members())
        for (int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
            const Gaussians g = random_gaussians(43);
            const Trial trial(m, g);
            const auto terms = reference::bhattacharyya_terms(g, m.ratio);
            std::fesetround(mode);
            const Outcome outcome = trial.call();
            EXPECT_EQ(std::fegetround(), mode);
            std::fesetround(FE_TONEAREST);
            EXPECT_EQ(outcome.status, SrOk);
            EXPECT_NEAR(outcome.value, expected(m, terms, g), 2 * tolerance(m, terms, g)) << m.name;
        }
}

// For the address sanitizer and valgrind: an aligned load beyond the last element touches no forbidden page.
TEST(BhatDist, ReadsNothingBesideTheArrays)
{
    for (const Member& m : members())
        for (std::size_t len = 1; len <= 20; ++len) {
            std::unique_ptr<float[]> x(new float[len]);
            std::fill(x.get(), x.get() + len, 1.0F);
            double result = 0;
            EXPECT_EQ(m.call({x.get(), x.get(), x.get(), x.get(), static_cast<std::int32_t>(len), &result, 0, 0}),
                      SrOk);
        }
}

#ifdef __i386__
TEST(BhatDist, TakesACallWithTheStackOn4Bytes)
{
    for (const Member& m : members())
        for (int stack : {0, 4, 8, 12}) {
            matrix::stack_misalign = stack;
            const auto right = measures(m, random_gaussians(23));
            matrix::stack_misalign = -1;
            ASSERT_TRUE(right) << "stack " << stack;
        }
}
#endif

}  // namespace
}  // namespace zelsr::test::bhat_dist
