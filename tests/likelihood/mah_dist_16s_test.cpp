// Distances of one vector of 16-bit integers to a Gaussian.
#include <gtest/gtest.h>

#include <memory>

#include "likelihood/sizes.h"
#include "support/arrangements.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/distance.h"
#include "zelsr/likelihood/distance.h"

namespace zelsr::test::mah_dist {
namespace {

using Values = std::vector<std::int16_t>;

struct Problem {
    Values feature, mean, inv_var;
    std::int32_t sf = 0;

    int length() const { return static_cast<int>(feature.size()); }
    reference::fixed::Operands operands() const { return {feature.data(), mean.data(), inv_var.data(), length()}; }
};

enum class Range { Small, Whole, Extreme };  // Small: every sum is exact
Values values(int len, Range range)
{
    if (range == Range::Small) return uniform_vector<std::int16_t>(len, -9, 9);
    Values all = uniform_vector<std::int16_t>(len, INT16_MIN, INT16_MAX);
    for (std::int16_t& x : all)
        if (range == Range::Extreme && uniform(0, 3) != 0) x = x < 0 ? INT16_MIN : INT16_MAX;
    return all;
}
Problem random_problem(int len, Range range, std::int32_t sf = 0)
{
    return {values(len, range), values(len, range), values(len, range), sf};
}

struct Arguments {
    const std::int16_t *x, *m, *p;
    std::int32_t len;
    void* result;
    std::int32_t sf;
};

template <class How>
SrStatus real(const Arguments& a, How how)
{
    return how(zelsMahDistSingle_16s32f, a.x, a.m, a.p, a.len, static_cast<float*>(a.result));
}
template <class How>
SrStatus integer(const Arguments& a, How how)
{
    return how(zelsMahDistSingle_16s32s_Sfs, a.x, a.m, a.p, a.len, static_cast<std::int32_t*>(a.result), a.sf);
}

// Both members between guard pages; where: feature, mean, inverse variances, result.
template <class How = Direct>
testing::AssertionResult measures(const Problem& p, const Arrangement& where, How how = {})
{
    Guarded<std::int16_t> x(p.feature, where[0]), m(p.mean, where[1]), v(p.inv_var, where[2]);
    Guarded<float> distance(1, where[3]);
    Guarded<std::int32_t> scaled(1, where[3]);
    for (auto* input : {&x, &m, &v}) input->take_snapshot();
    const bool aligned = where[0].misalign == 0 && where[1].misalign == 0 && where[2].misalign == 0;
    Arguments a{x.data(), m.data(), v.data(), p.length(), distance.data(), p.sf};
    const SrStatus status = real(a, how);
    a.result = scaled.data();
    const SrStatus scaled_status = integer(a, how);
    auto right = same_value(reference::distance_16s(p.operands(), aligned), distance.get(0));
    if (right) right = same_value(reference::scaled_distance_16s(p.operands(), aligned, p.sf), scaled.get(0));
    if (status != SrOk || scaled_status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!distance.intact() || !scaled.intact()) right = testing::AssertionFailure() << "written beside the result";
    for (auto* input : {&x, &m, &v})
        if (!input->as_snapshot()) right = testing::AssertionFailure() << "an input was written";
    if (right) return right;
    return testing::AssertionFailure() << "length " << p.length() << ", sf " << p.sf << ": " << right.message()
                                       << "; " << describe(where);
}

std::vector<Arrangement> few_arrangements()
{
    return {Arrangement(4), Arrangement(4, {2}), Arrangement(4, {0, Edge::Front}),
            Arrangement(4, {7, Edge::Front})};
}

constexpr Range kRanges[] = {Range::Small, Range::Whole, Range::Extreme};

TEST(MahDistSingle_16s, EveryLength)
{
    std::vector<int> all = widths();
    all.insert(all.end(), {127, 1000, 1005});
    for (int len : all)
        for (Range range : kRanges)
            for (const Arrangement& where : few_arrangements())
                ASSERT_TRUE(measures(random_problem(len, range, uniform(0, 50)), where));
}

TEST(MahDistSingle_16s, EveryPlacement)
{
    for (int len : {1, 7, 8, 10, 11, 23, 40})
        for (const Arrangement& where : arrangements(4, sizeof(std::int16_t)))
            ASSERT_TRUE(measures(random_problem(len, Range::Extreme, 20), where));
}

TEST(MahDistSingle_16s, EveryScaleFactor)
{
    for (std::int32_t sf : scale_factors())
        for (Range range : kRanges)
            for (const Arrangement& where : few_arrangements()) {
                ASSERT_TRUE(measures(random_problem(uniform(1, 40), range, sf), where));
                ASSERT_TRUE(measures({{3}, {3}, {7}, sf}, where)) << "a distance of 0";
            }
}

// Differences beyond 16 bits: kept whole but for the aligned kernel's groups of eight.
TEST(MahDistSingle_16s, OnlyAlignedGroupsOfEightSaturate)
{
    for (int len : {7, 8, 9}) {
        const auto n = static_cast<std::size_t>(len);
        const Values high(n, INT16_MAX), low(n, INT16_MIN), one(n, 1);
        for (int misalign : {0, 2}) {
            const Guarded<std::int16_t> x(high, {misalign}), m(low, {misalign}), v(one, {misalign});
            const double whole = 65535.0 * 65535.0, clipped = 32767.0 * 32767.0;
            const int groups = misalign == 0 ? len / 8 * 8 : 0;
            float distance = 0;
            ASSERT_EQ(zelsMahDistSingle_16s32f(x.data(), m.data(), v.data(), len, &distance), SrOk);
            EXPECT_NEAR(distance, groups * clipped + (len - groups) * whole, 2e-7 * len * whole);
            std::int32_t scaled = 0;
            ASSERT_EQ(zelsMahDistSingle_16s32s_Sfs(x.data(), m.data(), v.data(), len, &scaled, 10), SrOk);
            EXPECT_NEAR(scaled, (groups * clipped + (len - groups) * whole) / 1024, 2e-10 * len * whole);
        }
    }
}

// The kernel rounds to the even one of two nearest; the loop rounds down.
TEST(MahDistSingle_16s32s, RoundsToNearestWhereAlignedAndDownElsewhere)
{
    struct Case {
        std::int16_t inv_var;
        std::int32_t nearest, below;
    };
    for (const Case& c : {Case{1, 0, 0},
                          {2, 0, 0},
                          {3, 1, 0},
                          {6, 2, 1},
                          {10, 2, 2},
                          {-1, 0, -1},
                          {-2, 0, -1},
                          {-3, -1, -1},
                          {-6, -2, -2},
                          {-10, -2, -3},
                          {-11, -3, -3}})
        for (int misalign : {0, 2}) {
            const Guarded<std::int16_t> x(Values{5}, {misalign}), m(Values{4}, {misalign}),
                v(Values{c.inv_var}, {misalign});
            std::int32_t result = 99;
            ASSERT_EQ(zelsMahDistSingle_16s32s_Sfs(x.data(), m.data(), v.data(), 1, &result, 2), SrOk);
            EXPECT_EQ(result, misalign == 0 ? c.nearest : c.below) << c.inv_var;
        }
}

TEST(MahDistSingle_16s32s, Saturates)
{
    for (int misalign : {0, 2})
        for (std::int16_t sign : {1, -1})
            for (std::int32_t sf : {0, -1, -30, -31, -32, -63, -64, -127, -128, -1000, INT32_MIN}) {
                // Exactly 2^31 or -2^31, and more.
                const std::int32_t limit = sign > 0 ? INT32_MAX : INT32_MIN;
                const Guarded<std::int16_t> x(Values{16384, 16384}, {misalign}), m(Values{0, 0}, {misalign}),
                    v(Values{static_cast<std::int16_t>(4 * sign), static_cast<std::int16_t>(4 * sign)},
                      {misalign});
                std::int32_t result = 99;
                ASSERT_EQ(zelsMahDistSingle_16s32s_Sfs(x.data(), m.data(), v.data(), 2, &result, sf), SrOk);
                EXPECT_EQ(result, limit) << sf;
            }
}

// 64 bits hold the exact sum.
TEST(MahDistSingle_16s32s, SumsAreExactElsewhereThanOn16Bytes)
{
    const int len = 300;
    Values high(len, INT16_MAX), low(len, INT16_MIN), weights(len, INT16_MAX);
    const Guarded<std::int16_t> x(high, {2}), m(low, {2}), v(weights, {2});
    const std::int64_t sum = std::int64_t{65535} * 65535 * 32767 * len;
    for (int sf : {24, 25, 40, 54, 55, 56, 63, 64, 200}) {
        std::int32_t result = 99;
        ASSERT_EQ(zelsMahDistSingle_16s32s_Sfs(x.data(), m.data(), v.data(), len, &result, sf), SrOk);
        const std::int64_t shifted = sum >> std::min(sf, 63);
        EXPECT_EQ(result, std::min<std::int64_t>(shifted, INT32_MAX));
    }
}

TEST(MahDistSingle_16s32s, DoesNotDependOnTheEnvironment)
{
    for (Range range : kRanges)
        for (const Arrangement& where : few_arrangements()) {
            const Problem p = random_problem(43, range, 21);
            Guarded<std::int16_t> x(p.feature, where[0]), m(p.mean, where[1]), v(p.inv_var, where[2]);
            const std::int32_t expected =
                reference::scaled_distance_16s(p.operands(), where[0].misalign == 0, p.sf);
            std::int32_t result = 99;
            SrStatus status = SrErrUnknown;
            under_each_environment(
                [&] { status = zelsMahDistSingle_16s32s_Sfs(x.data(), m.data(), v.data(), 43, &result, p.sf); },
                [&](const std::string& setting) {
                    EXPECT_EQ(status, SrOk) << setting;
                    EXPECT_EQ(result, expected) << setting;
                    result = 99;
                });
        }
}

TEST(MahDistSingle_16s, NullComesBeforeLength)
{
    const Guarded<std::int16_t> array(Values(5, 2));
    Guarded<std::int32_t> result(1);
    const AllocatorWatch watch;
    for (const auto& call : {real<Direct>, integer<Direct>})
        for (std::int32_t len : {0, -1, INT32_MIN})
            expect_check_order<Arguments>({array.data(), array.data(), array.data(), 5, result.data(), 0},
                                          {{"feature", SrErrNullPtr, [](Arguments& a) { a.x = nullptr; }},
                                           {"mean", SrErrNullPtr, [](Arguments& a) { a.m = nullptr; }},
                                           {"inv_var", SrErrNullPtr, [](Arguments& a) { a.p = nullptr; }},
                                           {"result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }},
                                           {"length", SrErrSize, [len](Arguments& a) { a.len = len; }}},
                                          [&](const Arguments& a) { return call(a, Direct{}); }, {&result});
    EXPECT_TRUE(measures(random_problem(500, Range::Whole, 20), Arrangement(4)));
    EXPECT_EQ(watch.requests(), 0);
}

// For the address sanitizer and valgrind: an aligned load beyond the last element touches no forbidden page.
TEST(MahDistSingle_16s, ReadsNothingBesideTheArrays)
{
    for (std::size_t len = 1; len <= 40; ++len) {
        std::unique_ptr<std::int16_t[]> x(new std::int16_t[len]());
        float distance = 0;
        std::int32_t scaled = 0;
        const auto n = static_cast<std::int32_t>(len);
        ASSERT_EQ(zelsMahDistSingle_16s32f(x.get(), x.get(), x.get(), n, &distance), SrOk);
        ASSERT_EQ(zelsMahDistSingle_16s32s_Sfs(x.get(), x.get(), x.get(), n, &scaled, 3), SrOk);
    }
}

#ifdef __i386__
TEST(MahDistSingle_16s, TakesACallWithTheStackOn4Bytes)
{
    for (int stack : {0, 4, 8, 12})
        for (const Arrangement& where : few_arrangements())
            ASSERT_TRUE(measures(random_problem(39, Range::Whole, 20), where, OnOddStack{stack}));
}
#endif

}  // namespace
}  // namespace zelsr::test::mah_dist
