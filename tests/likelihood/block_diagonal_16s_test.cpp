// Scores of 16-bit vectors with block-diagonal covariance.
#include <memory>

#include "likelihood/block_diagonal_members.h"
#include "support/bits.h"
#include "support/environment.h"
#include "support/operation.h"
#include "support/reference/convert.h"
#include "support/reference/fixed_point.h"

namespace zelsr::test::block_diagonal {
namespace {

using Int = std::int16_t;
using IntProblem = Problem<Int>;

// Saturated but for the last len modulo 4, which wrap.
std::vector<Int> differences(const IntProblem& p)
{
    std::vector<Int> d;
    for (std::size_t k = 0; k < p.feature.size(); ++k) {
        const int exact = p.feature[k] - p.mean[k];
        d.push_back(k < p.feature.size() / 4 * 4 ? reference::saturate<Int>(exact) : static_cast<Int>(exact));
    }
    return d;
}

// val - 2^-sf / 2 * S. The magnitudes' sum, times the roundings of any order of the sums, bounds the error.
struct Score {
    double value, tolerance;
};
Score expected(const IntProblem& p, double val, std::int32_t sf)
{
    const Form form = quadratic_form(p, differences(p));
    const auto factor = double{reference::multiplier<float>(std::clamp(sf, -200, 200))} / 2;
    const auto scaled = static_cast<double>(form.sum) * factor;
    const int roundings = *std::max_element(p.sizes.begin(), p.sizes.end()) + p.length() + 8;
    const bool exact = form.magnitude < 0x1p24L;
    return {static_cast<double>(static_cast<float>(val)) - scaled,
            (exact ? 0 : roundings * 0x1p-24 * static_cast<double>(form.magnitude) * factor) +
                0x1p-23 * (std::abs(val) + std::abs(scaled)) + 0x1p-149};
}

// Exact sums: to the bit.
float exact_score(const IntProblem& p, float val, std::int32_t sf)
{
    const auto sum = static_cast<float>(quadratic_form(p, differences(p)).sum);
    return val - 0.5F * sum * reference::multiplier<float>(std::clamp(sf, -200, 200));
}
// Truncated and saturated; NaN, of no sum times an infinite scale, becomes the lowest integer.
std::int32_t exact_integer(const IntProblem& p, std::int32_t val, std::int32_t sf)
{
    const float score = exact_score(p, static_cast<float>(val), sf);
    if (std::isnan(score) || score < -2147483648.0F) return INT32_MIN;
    return score >= 2147483648.0F ? INT32_MAX : static_cast<std::int32_t>(score);
}

struct Outcome {
    float real = -77;
    std::int32_t integer = -77;
};
// Both members between guard pages; where: feature, mean, result.
testing::AssertionResult call(const IntProblem& p, std::int32_t val, std::int32_t sf, const Arrangement& where,
                              Outcome& outcome)
{
    const Record<Int> record(p);
    Guarded<Int> feature(p.feature, where[0]), mean(p.mean, where[1]);
    Guarded<float> real(1, where[2]);
    Guarded<std::int32_t> integer(1, where[2]);
    feature.take_snapshot();
    mean.take_snapshot();
    const SrStatus of_real = invoke(zelsLogGaussSingle_BlockDVarScaled_16s32f, feature.data(), mean.data(),
                                    record.get(), p.length(), real.data(), static_cast<float>(val), sf);
    const SrStatus of_integer = invoke(zelsLogGaussSingle_BlockDVar_16s32s_Sfs, feature.data(), mean.data(),
                                       record.get(), p.length(), integer.data(), val, sf);
    outcome = {real.get(0), integer.get(0)};
    if (of_real != SrOk || of_integer != SrOk)
        return testing::AssertionFailure() << "statuses " << of_real << " and " << of_integer;
    if (!real.intact() || !integer.intact()) return testing::AssertionFailure() << "written beside the result";
    if (!feature.as_snapshot() || !mean.as_snapshot())
        return testing::AssertionFailure() << "an input was written";
    return testing::AssertionSuccess();
}

testing::AssertionResult explained(const testing::AssertionResult& right, const IntProblem& p, std::int32_t sf)
{
    if (right) return right;
    return testing::AssertionFailure() << "length " << p.length() << " in " << p.sizes.size() << " blocks, sf "
                                       << sf << ": " << right.message();
}

testing::AssertionResult scores_exactly(const IntProblem& p, std::int32_t val, std::int32_t sf,
                                        const Arrangement& where = Arrangement(3))
{
    Outcome outcome;
    auto right = call(p, val, sf, where, outcome);
    if (right) right = same_value(exact_score(p, static_cast<float>(val), sf), outcome.real);
    if (right) right = same_value(exact_integer(p, val, sf), outcome.integer);
    return explained(right, p, sf);
}

testing::AssertionResult scores(const IntProblem& p, std::int32_t val, std::int32_t sf,
                                const Arrangement& where = Arrangement(3))
{
    Outcome outcome;
    auto right = call(p, val, sf, where, outcome);
    const auto [value, tolerance] = expected(p, val, sf);
    if (right && std::abs(value) < 3e38)
        right = near_values(std::vector<double>{value}, std::vector<double>{double{outcome.real}}, tolerance);
    const double integer = std::clamp(std::trunc(value), -2147483648.0, 2147483647.0);
    if (right)
        right =
            near_values(std::vector<double>{integer}, std::vector<double>{double(outcome.integer)}, tolerance + 1);
    return explained(right, p, sf);
}

TEST(BlockDVar_16s, EveryBlockSize)
{
    for (int size = 1; size <= (thin_effort() ? 20 : 45); ++size)
        for (int before : {0, 1, 3}) {
            std::vector<std::int32_t> sizes(static_cast<std::size_t>(before), 1);
            sizes.push_back(size);
            if (before == 3) sizes.push_back(2);
            ASSERT_TRUE(scores_exactly(whole_problem<Int>(sizes), 1000, 1));
            ASSERT_TRUE(scores(random_problem<Int>(sizes, INT16_MIN, INT16_MAX), -5, 20));
        }
}

TEST(BlockDVar_16s, EveryLength)
{
    Cycle places(arrangements(3, sizeof(Int)));
    for (int len = 1; len <= (thin_effort() ? 20 : 70); ++len)
        for (int largest : {1, 4, 13, 70}) {
            ASSERT_TRUE(scores_exactly(whole_problem<Int>(random_sizes(len, largest)), -7, 0, places.next()));
            const auto p = random_problem<Int>(random_sizes(len, largest), INT16_MIN, INT16_MAX);
            ASSERT_TRUE(scores(p, 12345, uniform(15, 30), places.next()));
        }
    for (int len : {110, 111, 112, 113, 300})
        ASSERT_TRUE(scores_exactly(whole_problem<Int>(random_sizes(len, 60)), 0, 0));
}

// The same bits wherever the arrays lie.
TEST(BlockDVar_16s, DoesNotDependOnThePlacement)
{
    const auto p = random_problem<Int>({13, 13, 13, 2}, INT16_MIN, INT16_MAX);
    Outcome first;
    ASSERT_TRUE(call(p, 99, 25, Arrangement(3), first));
    for (const Arrangement& where : arrangements(3, sizeof(Int))) {
        Outcome outcome;
        ASSERT_TRUE(call(p, 99, 25, where, outcome));
        EXPECT_TRUE(same_value(first.real, outcome.real));
        EXPECT_EQ(first.integer, outcome.integer);
    }
}

TEST(BlockDVar_16s, EveryScaleFactor)
{
    for (std::int32_t sf : scale_factors()) {
        for (int len : {1, 3, 4, 9})
            ASSERT_TRUE(scores_exactly(whole_problem<Int>({len}), uniform(-1000, 1000), sf));
        IntProblem equal = whole_problem<Int>({5});
        equal.mean = equal.feature;
        ASSERT_TRUE(scores_exactly(equal, 321, sf)) << "a sum of 0";
    }
}

// Groups over the whole vector, whatever the blocks.
TEST(BlockDVar_16s, DifferencesSaturateButForTheLastOfFour)
{
    for (int len : {1, 2, 3, 4, 5, 6, 7, 8, 11, 12, 15, 16, 19, 23, 33})
        for (const auto& [x, m] :
             {std::pair<Int, Int>{INT16_MAX, INT16_MIN}, {INT16_MIN, INT16_MAX}, {20000, -20000}}) {
            const auto n = static_cast<std::size_t>(len);
            // Each element its own block; only one of them weighs.
            IntProblem p{std::vector<std::int32_t>(n, 1), std::vector<std::vector<Int>>(n, {0}),
                         std::vector<Int>(n, x), std::vector<Int>(n, m)};
            for (std::size_t k = 0; k < n; ++k) {
                p.rows[k] = {1};
                Outcome outcome;
                ASSERT_TRUE(call(p, 0, 0, Arrangement(3), outcome));
                const int whole = x - m;
                const double d =
                    k < n / 4 * 4 ? double(std::clamp(whole, -32768, 32767)) : double(static_cast<Int>(whole));
                EXPECT_EQ(outcome.real, -0.5F * static_cast<float>(d) * static_cast<float>(d))
                    << "element " << k << " of " << len;
                p.rows[k] = {0};
            }
        }
}

// Two products of -32768 by itself sum up to 2^31: each is exact by itself.
TEST(BlockDVar_16s, ExtremeProductsDoNotWrap)
{
    for (int size : {2, 4, 8, 9, 16, 40}) {
        const auto n = static_cast<std::size_t>(size);
        const IntProblem p{{size},
                           std::vector<std::vector<Int>>(n, std::vector<Int>(n, INT16_MIN)),
                           std::vector<Int>(n, INT16_MIN),
                           std::vector<Int>(n, 0)};
        Outcome outcome;
        ASSERT_TRUE(call(p, 0, 30, Arrangement(3), outcome));
        // size rows, each of size * 2^30, times -2^15
        EXPECT_EQ(outcome.real, static_cast<float>(size * size) * 0x1p14F);
    }
}

TEST(BlockDVar_16s32s, TruncatesTowardZeroAndSaturates)
{
    struct Case {
        Int weight;
        std::int32_t val, sf, score;
    };
    for (const Case& c : {Case{1, 0, 0, 0},
                          {3, 0, 0, -1},
                          {-3, 0, 0, 1},
                          {3, 10, 0, 8},
                          {3, -10, 0, -11},
                          {-1, -10, 0, -9},
                          {1, 5, 1, 4},
                          {2, 7, 0, 6},
                          {2, 7, -3, -1},
                          {1, 0, 149, 0},
                          {1, 0, -31, -1073741824},
                          {2, 0, -31, INT32_MIN},
                          {3, 0, -31, INT32_MIN},
                          {1, 0, -127, INT32_MIN},
                          {1, 0, -128, INT32_MIN},
                          {-1, 0, -31, 1073741824},
                          {-2, 0, -31, INT32_MAX},
                          {-3, 0, -31, INT32_MAX},
                          {-1, 0, INT32_MIN, INT32_MAX},
                          {1, 7, INT32_MAX, 7},
                          {1, INT32_MAX, 200, INT32_MAX},
                          {1, INT32_MIN, 200, INT32_MIN},
                          // The constant is rounded to single.
                          {1, 16777217, 200, 16777216},
                          {1, -16777219, 200, -16777220}}) {
        const IntProblem p = {{1}, {{c.weight}}, {1}, {0}};
        Outcome outcome;
        ASSERT_TRUE(call(p, c.val, c.sf, Arrangement(3), outcome));
        EXPECT_EQ(outcome.integer, c.score) << c.weight << ", " << c.val << ", sf " << c.sf;
    }
}

TEST(BlockDVar_16s, BothTrianglesEnter)
{
    const IntProblem p = {{2}, {{1, 10}, {100, 1000}}, {3, 5}, {1, 2}};
    Outcome outcome;
    ASSERT_TRUE(call(p, 50000, 0, Arrangement(3), outcome));
    EXPECT_EQ(outcome.real, 50000 - 9664 / 2);
    EXPECT_EQ(outcome.integer, 50000 - 9664 / 2);
}

TEST(BlockDVar_16s32s, DoesNotDependOnTheEnvironment)
{
    for (int len : {3, 39, 150}) {
        const auto p = random_problem<Int>(random_sizes(len, 13), INT16_MIN, INT16_MAX);
        const Record<Int> record(p);
        std::int32_t expected_score = 0, result = 0;
        const auto score = [&](std::int32_t* to) {
            return zelsLogGaussSingle_BlockDVar_16s32s_Sfs(p.feature.data(), p.mean.data(), record.get(), len, to,
                                                           99, 22);
        };
        ASSERT_EQ(score(&expected_score), SrOk);
        under_each_environment([&] { score(&result); },
                               [&](const std::string& setting) {
                                   EXPECT_EQ(result, expected_score) << setting;
                                   result = 0;
                               });
    }
}

struct Arguments {
    const Int *x, *m;
    const BlockDMatrix_16s* record;
    std::int32_t len;
    void* result;
};
SrStatus real(const Arguments& a)
{
    return zelsLogGaussSingle_BlockDVarScaled_16s32f(a.x, a.m, a.record, a.len, static_cast<float*>(a.result), 1,
                                                     2);
}
SrStatus integer(const Arguments& a)
{
    return zelsLogGaussSingle_BlockDVar_16s32s_Sfs(a.x, a.m, a.record, a.len, static_cast<std::int32_t*>(a.result),
                                                   1, 2);
}

TEST(BlockDVar_16s, TheFirstFailedCheckDecides)
{
    const auto p = whole_problem<Int>({2, 3});
    const Record<Int> record(p);
    Guarded<std::int32_t> result(1);
    for (const auto& member : {real, integer})
        for (std::int32_t len : {0, -1, INT32_MIN, 4, 6, 65541, INT32_MAX})
            expect_check_order<Arguments>({p.feature.data(), p.mean.data(), record.get(), 5, result.data()},
                                          {{"feature", SrErrNullPtr, [](Arguments& a) { a.x = nullptr; }},
                                           {"mean", SrErrNullPtr, [](Arguments& a) { a.m = nullptr; }},
                                           {"record", SrErrNullPtr, [](Arguments& a) { a.record = nullptr; }},
                                           {"result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }},
                                           {"length", SrErrSize, [len](Arguments& a) { a.len = len; }}},
                                          member, {&result});
}

TEST(BlockDVar_16s, WorkMemoryIsOnTheStackUpTo111Elements)
{
    for (const auto& member : {real, integer})
        for (int len : {1, 111, 112, 500}) {
            const auto p = whole_problem<Int>(random_sizes(len, 20));
            const Record<Int> record(p);
            Guarded<std::int32_t> result(1);
            const auto score = [&] {
                return member({p.feature.data(), p.mean.data(), record.get(), len, result.data()});
            };
            if (len > 111) {
                expect_survives_refusals(score, {&result});
                continue;
            }
            const AllocatorWatch watch;
            EXPECT_EQ(score(), SrOk);
            EXPECT_EQ(watch.requests(), 0) << len;
        }
}

#ifdef __i386__
TEST(BlockDVar_16s, TakesACallWithTheStackOn4Bytes)
{
    for (int stack : {0, 4, 8, 12})
        for (int len : {5, 39, 150}) {
            const auto p = whole_problem<Int>(random_sizes(len, 13));
            matrix::stack_misalign = stack;
            const auto right = scores_exactly(p, 3, 0);
            matrix::stack_misalign = -1;
            ASSERT_TRUE(right) << "stack " << stack;
        }
}
#endif

}  // namespace
}  // namespace zelsr::test::block_diagonal
