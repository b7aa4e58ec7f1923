// Dot products: exact where the data allow it, else within the rounding errors of their sum.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <limits>
#include <utility>

#include "support/bits.h"
#include "support/effort.h"
#include "support/elementwise.h"
#include "support/odd_stack.h"
#include "support/reference/vector.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

// digits: integers below 2^digits are exact in the sum; width: the sources' own.
struct Dot_32f {
    using In = float;
    using Out = float;
    static constexpr const char* name = "zelsDotProd_32f";
    static constexpr auto call = zelsDotProd_32f;
    static constexpr int digits = 24, width = 24;
};
struct Dot_64f {
    using In = double;
    using Out = double;
    static constexpr const char* name = "zelsDotProd_64f";
    static constexpr auto call = zelsDotProd_64f;
    static constexpr int digits = 53, width = 53;
};
struct Dot_32f64f {
    using In = float;
    using Out = double;
    static constexpr const char* name = "zelsDotProd_32f64f";
    static constexpr auto call = zelsDotProd_32f64f;
    static constexpr int digits = 53, width = 24;
};
struct Dot_16s64s {
    using In = int16_t;
    using Out = int64_t;
    static constexpr const char* name = "zelsDotProd_16s64s";
    static constexpr auto call = zelsDotProd_16s64s;
    static constexpr int digits = 63, width = 15;
};
struct Dot_16s32f {
    using In = int16_t;
    using Out = float;
    static constexpr const char* name = "zelsDotProd_16s32f";
    static constexpr auto call = zelsDotProd_16s32f;
    static constexpr int digits = 63, width = 15;
};

struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return T::name;
    }
};

// Integers so small that the sum of len products is exact in the member's type, in whatever order it is formed.
template <class Dot>
std::vector<typename Dot::In> integers(int len)
{
    using In = typename Dot::In;
    const double bound = std::min(std::sqrt(std::ldexp(1.0, Dot::digits) / len), std::ldexp(1.0, Dot::width) - 1);
    const auto limit = static_cast<std::int64_t>(bound);
    std::vector<In> values(static_cast<std::size_t>(len));
    for (In& value : values) value = static_cast<In>(uniform<std::int64_t>(-limit, limit));
    return values;
}

template <class Dot>
typename Dot::Out dot(const std::vector<typename Dot::In>& first, const std::vector<typename Dot::In>& second)
{
    typename Dot::Out result = 77;
    EXPECT_EQ(Dot::call(first.data(), second.data(), static_cast<int32_t>(first.size()), &result), SrOk);
    return result;
}

// ---- Every member -------------------------------------------------------------------------------------------

template <class Dot>
class DotProduct : public testing::Test {};
using Members = testing::Types<Dot_32f, Dot_64f, Dot_32f64f, Dot_16s64s, Dot_16s32f>;
TYPED_TEST_SUITE(DotProduct, Members, Names);

TYPED_TEST(DotProduct, CountsEachProductOnceAtEveryLengthAndPlacement)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    const std::vector<Placement> all = placements(sizeof(In));
    for (int len : lengths(32))
        for (std::size_t p = 0; p < all.size(); ++p) {
            const auto turn = static_cast<std::size_t>(len);
            const Placement first_place = cycle(all, p), second_place = cycle(all, p + turn);
            const Guarded<In> first(integers<TypeParam>(len), first_place);
            const Guarded<In> second(integers<TypeParam>(len), second_place);
            Guarded<Out> result(1, {p % 2 == 0 ? 0 : 8});
            EXPECT_EQ(TypeParam::call(first.data(), second.data(), len, result.data()), SrOk);
            const auto expected = static_cast<Out>(reference::integer_dot(first.values(), second.values()));
            EXPECT_TRUE(same_value(expected, result.get(0)))
                << len << " elements, " << describe(first_place) << " and " << describe(second_place);
            EXPECT_TRUE(first.intact() && second.intact() && result.intact());
            if (this->HasFailure()) return;
        }
}

TYPED_TEST(DotProduct, CountsEachProductOnceInLongArrays)
{
    using Out = typename TypeParam::Out;
    const int len = thin_effort() ? 4099 : 100003;
    const auto first = integers<TypeParam>(len), second = integers<TypeParam>(len);
    EXPECT_TRUE(
        same_value(static_cast<Out>(reference::integer_dot(first, second)), dot<TypeParam>(first, second)));
}

TYPED_TEST(DotProduct, TakesOneArrayTwice)
{
    using Out = typename TypeParam::Out;
    for (int len : {1, 2, 31, 67}) {
        const auto values = integers<TypeParam>(len);
        EXPECT_TRUE(
            same_value(static_cast<Out>(reference::integer_dot(values, values)), dot<TypeParam>(values, values)));
    }
}

TYPED_TEST(DotProduct, ChecksNullBeforeSizeAndReadsNothing)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    struct Arguments {
        const In* first;
        const In* second;
        int32_t len;
        Out* result;
    };
    std::vector<Fault<Arguments>> faults = {
        {"null first", SrErrNullPtr, [](auto& a) { a.first = nullptr; }},
        {"null second", SrErrNullPtr, [](auto& a) { a.second = nullptr; }},
        {"null result", SrErrNullPtr, [](auto& a) { a.result = nullptr; }},
    };
    for (int32_t len : {0, -1, INT32_MIN})
        faults.push_back({"length " + std::to_string(len), SrErrSize, [len](auto& a) { a.len = len; }});
    const Guarded<In> first(std::vector<In>(9, In(2))), second(std::vector<In>(9, In(3)));
    Guarded<Out> result(1);
    const auto call = [](const Arguments& a) { return TypeParam::call(a.first, a.second, a.len, a.result); };
    expect_check_order<Arguments>({first.data(), second.data(), 9, result.data()}, faults, call, {&result});
    const Guarded<In> nothing(0);  // begins with the forbidden page
    for (int32_t len : {0, -1, INT32_MIN})
        EXPECT_EQ(call({nothing.data(), nothing.data(), len, result.data()}), SrErrSize);
}

// ---- Floating point -----------------------------------------------------------------------------------------

template <class Dot>
class FloatingDotProduct : public testing::Test {};
using FloatingMembers = testing::Types<Dot_32f, Dot_64f, Dot_32f64f>;
TYPED_TEST_SUITE(FloatingDotProduct, FloatingMembers, Names);

// A product and each of the at most n additions that it goes through err by half an epsilon of a number not
// above the sum of magnitudes: n epsilon times that sum holds for every order, with a factor of 2 for the
// reference, whose extended precision valgrind cuts to double.
TYPED_TEST(FloatingDotProduct, IsWithinTheRoundingErrorsOfItsSum)
{
    using In = typename TypeParam::In;
    const double epsilon = std::numeric_limits<typename TypeParam::Out>::epsilon();
    for (int len : {1, 2, 5, 33, 67, 1000, thin_effort() ? 4099 : 100003})
        for (In low : {In(-1), In(0.5)}) {  // with and without cancellation
            const auto first = uniform_vector<In>(len, low, In(1)),
                       second = uniform_vector<In>(len, In(0.25), In(3));
            const auto exact = reference::dot(first, second);
            const auto error = std::abs(static_cast<long double>(dot<TypeParam>(first, second)) - exact.sum);
            EXPECT_LE(static_cast<double>(error), len * epsilon * static_cast<double>(exact.magnitude)) << len;
        }
}

TYPED_TEST(FloatingDotProduct, HasTheSameBitsAtEveryPlacement)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    const std::vector<Placement> all = placements(sizeof(In));
    for (int len : lengths(32)) {
        const auto first_values = uniform_vector<In>(len, In(-1), In(1));
        const auto second_values = uniform_vector<In>(len, In(-1), In(1));
        const Out expected = dot<TypeParam>(first_values, second_values);
        for (std::size_t p = 0; p < all.size(); ++p) {
            const Guarded<In> first(first_values, all[p]);
            const Guarded<In> second(second_values, cycle(all, p + static_cast<std::size_t>(len)));
            Out result = 77;
            EXPECT_EQ(TypeParam::call(first.data(), second.data(), len, &result), SrOk);
            EXPECT_TRUE(same_value(expected, result)) << len << " elements " << describe(all[p]);
            if (this->HasFailure()) return;
        }
    }
}

TYPED_TEST(FloatingDotProduct, HandsOnInfinityAndNotANumberFromEveryPosition)
{
    using In = typename TypeParam::In;
    using Out = typename TypeParam::Out;
    constexpr In infinity = std::numeric_limits<In>::infinity();
    for (int len : {1, 3, 16, 37})
        for (std::size_t at = 0; at < static_cast<std::size_t>(len); ++at) {
            std::vector<In> first(static_cast<std::size_t>(len), In(1)), second(first.size(), In(2));
            first[at] = -infinity;
            EXPECT_EQ(dot<TypeParam>(first, second), -std::numeric_limits<Out>::infinity()) << at;
            second[at] = 0;
            EXPECT_TRUE(std::isnan(dot<TypeParam>(first, second))) << at;
            first[at] = 1;
            second[at] = std::numeric_limits<In>::quiet_NaN();
            EXPECT_TRUE(std::isnan(dot<TypeParam>(first, second))) << at;
        }
}

TEST(DotProduct_32f64f, FormsProductsInDouble)
{
    EXPECT_EQ(dot<Dot_32f64f>({0x1.000002p0F}, {0x1.000002p0F}), 0x1.000002p0 * 0x1.000002p0);
    EXPECT_EQ(dot<Dot_32f64f>({0x1p120F, 1, -0x1p120F}, {0x1p120F, 0, 0x1p120F}), 0.0);  // beyond a single's range
}

// ---- 16-bit data --------------------------------------------------------------------------------------------

// Two products of -32768 do not fit 32 bits signed.
TEST(DotProduct_16s, LowestValuesAtEveryLengthAndPlacementAreExact)
{
    const std::vector<Placement> all = placements(2);
    for (int len : lengths(32))
        for (std::size_t p = 0; p < all.size(); ++p) {
            const std::vector<int16_t> lowest(static_cast<std::size_t>(len), -32768);
            const Guarded<int16_t> first(lowest, cycle(all, p));
            const Guarded<int16_t> second(lowest, cycle(all, p + static_cast<std::size_t>(len)));
            int64_t exact = 0;
            float rounded = 0;
            EXPECT_EQ(zelsDotProd_16s64s(first.data(), second.data(), len, &exact), SrOk);
            EXPECT_EQ(zelsDotProd_16s32f(first.data(), second.data(), len, &rounded), SrOk);
            EXPECT_EQ(exact, int64_t{len} << 30);
            EXPECT_EQ(rounded, static_cast<float>(len) * 0x1p30F);
        }
}

TEST(DotProduct_16s, ExtremesInLongArraysAreExact)
{
    for (int len : {1001, 32769, thin_effort() ? 4097 : 100003}) {
        const std::vector<int16_t> lowest(static_cast<std::size_t>(len), -32768), highest(lowest.size(), 32767);
        EXPECT_EQ(dot<Dot_16s64s>(lowest, lowest), int64_t{len} << 30);
        EXPECT_EQ(dot<Dot_16s64s>(lowest, highest), -int64_t{len} * 32768 * 32767);
        EXPECT_EQ(dot<Dot_16s64s>(highest, highest), int64_t{len} * 32767 * 32767);
        EXPECT_EQ(dot<Dot_16s32f>(lowest, highest), static_cast<float>(-int64_t{len} * 32768 * 32767));
    }
}

TEST(DotProduct_16s, PairsOfExtremesAtEachPositionAreExact)
{
    for (int len : {2, 8, 16, 33, 64})
        for (std::size_t at = 0; at + 1 < static_cast<std::size_t>(len); ++at) {
            std::vector<int16_t> first(static_cast<std::size_t>(len), -1), second(first.size(), 1);
            first[at] = first[at + 1] = second[at] = second[at + 1] = -32768;
            EXPECT_EQ(dot<Dot_16s64s>(first, second), (int64_t{2} << 30) - (len - 2)) << len << ", at " << at;
        }
}

TEST(DotProduct_16s32f, RoundsTheExactSumOnceWithTiesToEven)
{
    EXPECT_EQ(dot<Dot_16s32f>({4096, 1}, {4096, 1}), 16777216.0F);  // 2^24 + 1
    EXPECT_EQ(dot<Dot_16s32f>({4096, 3}, {4096, 1}), 16777220.0F);  // 2^24 + 3
    EXPECT_EQ(dot<Dot_16s32f>({-4096, -1}, {4096, 3}), -16777220.0F);
    EXPECT_EQ(dot<Dot_16s32f>({8192, 2, 1}, {8192, 2, 0}), 67108864.0F);   // 2^26 + 4, a tie
    EXPECT_EQ(dot<Dot_16s32f>({8192, 2, 1}, {8192, 2, 1}), 67108872.0F);   // a little more
    EXPECT_EQ(dot<Dot_16s32f>({8192, 4, 1}, {8192, 3, -1}), 67108872.0F);  // 2^26 + 11
    EXPECT_EQ(dot<Dot_16s32f>({8192, 4, 1}, {8192, 3, 0}), 67108880.0F);   // 2^26 + 12, a tie
    // Sums that only an exact addition keeps: the large ones cancel.
    EXPECT_EQ(dot<Dot_16s32f>({-32768, -32768, 1, -32768, -32768}, {-32768, -32768, 1, 32767, 32767}), 65537.0F);
}

TEST(DotProduct_16s32f, RoundsByTheCallersMode)
{
    const std::vector<int16_t> first = {4096, 1}, second = {4096, 1};  // 2^24 + 1
    for (const auto& [mode, expected] : {std::pair{FE_DOWNWARD, 16777216.0F}, std::pair{FE_UPWARD, 16777218.0F},
                                         std::pair{FE_TOWARDZERO, 16777216.0F}}) {
        float result = 0;
        std::fesetround(mode);
        const SrStatus status = zelsDotProd_16s32f(first.data(), second.data(), 2, &result);
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(status, SrOk);
        EXPECT_EQ(result, expected) << mode;
    }
}

// 2^53 + 2^29 + 1 lies a little above the middle of two singles; by way of double it would lie on the middle.
TEST(DotProduct_16s32f, RoundsASumBeyondDoubleOnlyOnce)
{
    if (thin_effort()) GTEST_SKIP() << "too long for an emulator";
    std::vector<int16_t> values((std::size_t{1} << 23) + 3, -32768);
    values[5] = values[1000] = 16384;
    values.back() = 1;
    EXPECT_EQ(dot<Dot_16s64s>(values, values), (int64_t{1} << 53) + (int64_t{1} << 29) + 1);
    EXPECT_EQ(dot<Dot_16s32f>(values, values), 0x1p53F + 0x1p30F);
}

TEST(DotProduct_16s64s, DoesNotDependOnTheEnvironment)
{
    const auto first = integers<Dot_16s64s>(67), second = integers<Dot_16s64s>(67);
    int64_t sum = 0;
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = zelsDotProd_16s64s(first.data(), second.data(), 67, &sum); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk) << setting;
                               EXPECT_EQ(sum, reference::integer_dot(first, second)) << setting;
                               sum = 0;
                           });
}

#ifdef __i386__
TEST(OddStack, DotProductsWorkFromEveryStack)
{
    for (int misalign : {0, 4, 8, 12}) {
        const auto first = integers<Dot_32f64f>(67), second = integers<Dot_32f64f>(67);
        double sum = 0;
        EXPECT_EQ(call_misaligned(zelsDotProd_32f64f, misalign, first.data(), second.data(), 67, &sum), SrOk);
        EXPECT_EQ(sum, static_cast<double>(reference::integer_dot(first, second)));
        const auto third = integers<Dot_16s32f>(67);
        float rounded = 0;
        EXPECT_EQ(call_misaligned(zelsDotProd_16s32f, misalign, third.data(), third.data(), 67, &rounded), SrOk);
        EXPECT_EQ(rounded, static_cast<float>(reference::integer_dot(third, third)));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
