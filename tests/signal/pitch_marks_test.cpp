// Frequencies from pitch marks.
#include <gtest/gtest.h>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/pitch.h"
#include "zelsr/signal.h"

namespace zelsr::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

// ---- Single precision ---------------------------------------------------------------------------------------

testing::AssertionResult gives_frequencies(const std::vector<float>& marks, Placement from = {}, Placement to = {})
{
    const auto expected = reference::frequencies(marks);
    return maps(marks, expected.values, zelsPitchmarkToF0Cand_32f, from, to, expected.status);
}

std::vector<float> rising_marks(int len)
{
    std::vector<float> marks;
    float mark = 0;
    for (int i = 0; i < len; ++i) marks.push_back(mark += uniform(20.0F, 300.0F));
    return marks;
}

TEST(PitchmarkToF0Cand_32f, EveryLengthAndAddress)
{
    at_every_place<2>(lengths(16), {4, 4}, [](int len, const std::array<Placement, 2>& at) {
        return gives_frequencies(rising_marks(len), at[0], at[1]);
    });
}

TEST(PitchmarkToF0Cand_32f, EqualNeighboursAtEveryPosition)
{
    for (int len : lengths(16))
        for (int equal = 0; equal < len; ++equal) {
            std::vector<float> marks = rising_marks(len);
            marks[static_cast<std::size_t>(equal)] =
                equal == 0 ? -0.0F : marks[static_cast<std::size_t>(equal - 1)];
            ASSERT_EQ(reference::frequencies(marks).status, SrWarnDivByZero);
            ASSERT_TRUE(gives_frequencies(marks)) << len << ", mark " << equal;
        }
}

TEST(PitchmarkToF0Cand_32f, IsTheReciprocalWithinAFewUnits)
{
    const std::vector<float> marks = rising_marks(500);
    std::vector<float> result(500);
    EXPECT_EQ(zelsPitchmarkToF0Cand_32f(marks.data(), result.data(), 500), SrOk);
    for (std::size_t i = 1; i < 500; ++i) {
        const double exact = 1 / (double{marks[i]} - double{marks[i - 1]});
        // The difference of these singles is exact up to its own rounding, 2^-24; the reciprocal's is below 2^-21.
        EXPECT_NEAR(result[i], exact, exact * 0x1.4p-21);
    }
}

TEST(PitchmarkToF0Cand_32f, ByValue)
{
    const std::vector<float> marks = {100, 200, 200, 150};
    std::vector<float> result(4);
    EXPECT_EQ(zelsPitchmarkToF0Cand_32f(marks.data(), result.data(), 2), SrOk);
    EXPECT_NEAR(result[0], 0.01, 0.01 * 0x1p-21);
    EXPECT_NEAR(result[1], 0.01, 0.01 * 0x1p-21);
    EXPECT_EQ(zelsPitchmarkToF0Cand_32f(marks.data(), result.data(), 4), SrWarnDivByZero);
    EXPECT_EQ(result[2], kInfinity);
    EXPECT_NEAR(result[3], -0.02, 0.02 * 0x1p-21);
}

// The first mark is its own distance from 0.
TEST(PitchmarkToF0Cand_32f, AFirstMarkOfZeroWarns)
{
    for (float zero : {0.0F, -0.0F})
        for (int len : {1, 2, 5, 9}) {
            std::vector<float> marks = rising_marks(len);
            marks[0] = zero;
            std::vector<float> result(static_cast<std::size_t>(len));
            EXPECT_EQ(zelsPitchmarkToF0Cand_32f(marks.data(), result.data(), len), SrWarnDivByZero);
            EXPECT_EQ(result[0], kInfinity);
        }
}

// Two infinite marks are equal, yet have no difference.
TEST(PitchmarkToF0Cand_32f, SpecialValues)
{
    for (float first : special_values<float>())
        for (float second : special_values<float>()) {
            for (int lead : {0, 1, 3, 4}) {
                std::vector<float> marks = rising_marks(lead);
                marks.insert(marks.end(), {first, second, 5000, 5100, 5300});
                ASSERT_TRUE(gives_frequencies(marks)) << first << ", " << second << " behind " << lead;
            }
        }
}

// ---- 16 bits ------------------------------------------------------------------------------------------------

testing::AssertionResult gives_frequencies(const reference::Samples& marks, int32_t sf, Placement from = {},
                                           Placement to = {})
{
    const auto expected = reference::frequencies(marks, sf);
    return maps(
        marks, expected.values,
        [sf](const int16_t* src, int16_t* dst, int32_t len) {
            return zelsPitchmarkToF0Cand_16s_Sfs(src, dst, len, sf);
        },
        from, to, expected.status);
}

TEST(PitchmarkToF0Cand_16s, EveryLengthAndAddress)
{
    Cycle<int32_t> scales({-20, -15, -10, -22, -16, 0});
    at_every_place<2>(lengths(16), {2, 2}, [&](int len, const std::array<Placement, 2>& at) {
        return gives_frequencies(uniform_vector<int16_t>(len, -32768, 32767), scales.next(), at[0], at[1]);
    });
}

TEST(PitchmarkToF0Cand_16s, AroundTheBoundOfTheStack)
{
    for (int len : {99, 100, 101, 102, 103, 104, 105, 127, 128, 129, 199, 200, 201, 1000})
        EXPECT_TRUE(gives_frequencies(uniform_vector<int16_t>(len, 0, 2000), -18)) << len;
}

TEST(PitchmarkToF0Cand_16s, EveryScaleFactor)
{
    const reference::Samples marks = {100, 200, 200, 201, 199, 32767, -32768, -32768, 0, 1, 7, 0, 0};
    for (int32_t sf : scale_factors()) ASSERT_TRUE(gives_frequencies(marks, sf)) << "sf " << sf;
}

TEST(PitchmarkToF0Cand_16s, ByValue)
{
    const reference::Samples marks = {64, 192, 192, 188, 190, 191};
    reference::Samples result(6);
    EXPECT_EQ(zelsPitchmarkToF0Cand_16s_Sfs(marks.data(), result.data(), 6, -10), SrWarnDivByZero);
    EXPECT_EQ(result, (reference::Samples{16, 8, 0, -256, 512, 1024}));
    EXPECT_EQ(zelsPitchmarkToF0Cand_16s_Sfs(marks.data(), result.data(), 2, -10), SrOk);
    // 2^-sf / 64 and 2^-sf / 128
    EXPECT_EQ(zelsPitchmarkToF0Cand_16s_Sfs(marks.data(), result.data(), 6, -40), SrWarnDivByZero);
    EXPECT_EQ(result, (reference::Samples{32767, 32767, 0, -32768, 32767, 32767}));
}

// Equal neighbours give 0 under every scale factor, an infinite multiplier too.
TEST(PitchmarkToF0Cand_16s, EqualNeighboursGiveZero)
{
    for (int32_t sf : {-200, -128, -15, 0, 15, 149, 150, 200, INT32_MAX, INT32_MIN})
        for (int len : {1, 2, 5, 8, 9, 101}) {
            const reference::Samples marks(static_cast<std::size_t>(len), 0);
            reference::Samples result(static_cast<std::size_t>(len), 99);
            EXPECT_EQ(zelsPitchmarkToF0Cand_16s_Sfs(marks.data(), result.data(), len, sf), SrWarnDivByZero);
            EXPECT_EQ(result, reference::Samples(static_cast<std::size_t>(len), 0));
        }
}

TEST(PitchmarkToF0Cand_16s, LeavesNothingAllocated)
{
    const auto marks = uniform_vector<int16_t>(5000, -32768, 32767);
    reference::Samples result(5000);
    AllocatorWatch watch;
    EXPECT_GE(zelsPitchmarkToF0Cand_16s_Sfs(marks.data(), result.data(), 5000, -18), 0);
    EXPECT_EQ(watch.live(), 0);
}

TEST(PitchmarkToF0Cand_16s, DoesNotDependOnTheEnvironment)
{
    const auto marks = uniform_vector<int16_t>(201, -3000, 3000);
    reference::Samples result(201);
    const auto expected = reference::frequencies(marks, -20);
    under_each_environment([&] { zelsPitchmarkToF0Cand_16s_Sfs(marks.data(), result.data(), 201, -20); },
                           [&](const std::string& setting) {
                               EXPECT_TRUE(same_values(expected.values, result)) << setting;
                               result.assign(201, 99);
                           });
}

TEST(PitchmarkToF0Cand_32f, LeavesTheEnvironment)
{
    const auto marks = rising_marks(37);
    std::vector<float> result(37);
    under_each_environment([&] { zelsPitchmarkToF0Cand_32f(marks.data(), result.data(), 37); },
                           [&](const std::string& setting) {
                               EXPECT_TRUE(near_values(reference::frequencies(marks).values, result, 1e-8))
                                   << setting;
                           });
}

// ---- Checks -------------------------------------------------------------------------------------------------

template <class T>
struct MarkArguments {
    const T* marks;
    T* dst;
    int32_t len;
};

template <class T, class Call>
void expect_null_then_size(Call call)
{
    using Arguments = MarkArguments<T>;
    const std::vector<T> marks(8, 3);
    Guarded<T> result(8);
    expect_check_order<Arguments>({marks.data(), result.data(), 8},
                                  {{"null marks", SrErrNullPtr, [](Arguments& a) { a.marks = nullptr; }},
                                   {"null result", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
                                   {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
                                   {"length -1", SrErrSize, [](Arguments& a) { a.len = -1; }},
                                   {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
                                  [&](const Arguments& a) { return call(a.marks, a.dst, a.len); }, {&result});
}

TEST(PitchmarkToF0Cand, NullThenSize)
{
    expect_null_then_size<float>(zelsPitchmarkToF0Cand_32f);
    expect_null_then_size<int16_t>([](const int16_t* src, int16_t* dst, int32_t len) {
        return zelsPitchmarkToF0Cand_16s_Sfs(src, dst, len, -10);
    });
}

#ifdef __i386__
TEST(OddStack, PitchMarksWorkFromEveryStack)
{
    const std::vector<float> marks = rising_marks(19);
    const auto short_marks = uniform_vector<int16_t>(150, -3000, 3000);
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<float> result(19);
        EXPECT_EQ(call_misaligned(zelsPitchmarkToF0Cand_32f, misalign, marks.data(), result.data(), 19), SrOk);
        EXPECT_TRUE(same_values(reference::frequencies(marks).values, result));
        reference::Samples some(150);
        EXPECT_GE(
            call_misaligned(zelsPitchmarkToF0Cand_16s_Sfs, misalign, short_marks.data(), some.data(), 150, -20),
            0);
        EXPECT_TRUE(same_values(reference::frequencies(short_marks, -20).values, some));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
