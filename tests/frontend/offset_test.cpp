// Offset compensation, y[n] = x[n] - x[n-1] + val * y[n-1].
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "support/reference/energy.h"
#include "zelsr/frontend/energy.h"

namespace zelsr::test {
namespace {

template <class T>
struct Arguments {
    const T* src;  // null where the buffer is both
    T* dst;
    int32_t len;
    T* last_in;
    T last_out;
};

struct Offset_32f {
    using T = float;
    using Val = float;
    static constexpr const char* kName = "32f";
    static constexpr bool kInPlace = false;
    static constexpr int32_t kLongest = INT32_MAX;
    static SrStatus call(const Arguments<T>& a, float val)
    {
        return zelsCompensateOffset_32f(a.src, a.dst, a.len, a.last_in, a.last_out, val);
    }
    static std::vector<T> expected(const std::vector<T>& x, T last_in, T last_out, float val)
    {
        return reference::compensated(x, last_in, last_out, val);
    }
};
struct Offset_32f_I : Offset_32f {
    static constexpr const char* kName = "32f_I";
    static constexpr bool kInPlace = true;
    static SrStatus call(const Arguments<T>& a, float val)
    {
        return zelsCompensateOffset_32f_I(a.dst, a.len, a.last_in, a.last_out, val);
    }
};
struct Offset_16s {
    using T = int16_t;
    using Val = float;
    static constexpr const char* kName = "16s";
    static constexpr bool kInPlace = false;
    static constexpr int32_t kLongest = INT32_MAX;
    static SrStatus call(const Arguments<T>& a, float val)
    {
        return zelsCompensateOffset_16s(a.src, a.dst, a.len, a.last_in, a.last_out, val);
    }
    static std::vector<T> expected(const std::vector<T>& x, T last_in, T last_out, float val)
    {
        return reference::compensated(x, last_in, last_out, val);
    }
};
struct Offset_16s_I {
    using T = int16_t;
    using Val = float;
    static constexpr const char* kName = "16s_I";
    static constexpr bool kInPlace = true;
    static constexpr int32_t kLongest = INT32_MAX;
    static SrStatus call(const Arguments<T>& a, float val)
    {
        return zelsCompensateOffset_16s_I(a.dst, a.len, a.last_in, a.last_out, val);
    }
    static std::vector<T> expected(const std::vector<T>& x, T last_in, T last_out, float val)
    {
        return reference::compensated_in_single(x, last_in, last_out, val);
    }
};
struct OffsetQ15_16s {
    using T = int16_t;
    using Val = int16_t;
    static constexpr const char* kName = "Q15_16s";
    static constexpr bool kInPlace = false;
    static constexpr int32_t kLongest = 65535;
    static SrStatus call(const Arguments<T>& a, int16_t val)
    {
        return zelsCompensateOffsetQ15_16s(a.src, a.dst, a.len, a.last_in, a.last_out, val);
    }
    static std::vector<T> expected(const std::vector<T>& x, T last_in, T last_out, int16_t val)
    {
        return reference::compensated_q15(x, last_in, last_out, val);
    }
};
struct OffsetQ15_16s_I : OffsetQ15_16s {
    static constexpr const char* kName = "Q15_16s_I";
    static constexpr bool kInPlace = true;
    static SrStatus call(const Arguments<T>& a, int16_t val)
    {
        return zelsCompensateOffsetQ15_16s_I(a.dst, a.len, a.last_in, a.last_out, val);
    }
};

template <class Member>
class Offset : public testing::Test {};
struct MemberNames {
    template <class Member>
    static std::string GetName(int)
    {
        return Member::kName;
    }
};
using Members = testing::Types<Offset_32f, Offset_32f_I, Offset_16s, Offset_16s_I, OffsetQ15_16s, OffsetQ15_16s_I>;
TYPED_TEST_SUITE(Offset, Members, MemberNames);

template <class Val>
std::vector<Val> factors()
{
    if constexpr (std::is_same_v<Val, float>)
        return {0.999F, 0.5F, 0, -0.25F, 1, -1, std::nextafter(1.0F, 2.0F), 1.5F, -1.5F, 0.9990234F, -3, 1e-5F};
    else
        return {32735, 16384, 0, 1, 32767, 5};
}

template <class T>
std::vector<T> speech(int count)
{
    if constexpr (std::is_same_v<T, float>)
        return uniform_vector(count, -1000.0F, 1000.0F);
    else
        return uniform_vector<T>(count, -8000, 8000);
}

// The call between guard pages: results, the last input, the source untouched.
template <class Member>
testing::AssertionResult compensates(const std::vector<typename Member::T>& x, typename Member::T last_in,
                                     typename Member::T last_out, typename Member::Val val,
                                     const Arrangement& where = Arrangement(3))
{
    using T = typename Member::T;
    const Guarded<T> src(Member::kInPlace ? std::vector<T>{} : x, where[0]);
    const Guarded<T> dst(Member::kInPlace ? x : std::vector<T>(x.size(), T(55)), where[1]);
    const Guarded<T> last(std::vector<T>{last_in}, where[2]);
    const SrStatus status =
        Member::call({src.data(), dst.data(), static_cast<int32_t>(x.size()), last.data(), last_out}, val);
    testing::AssertionResult right = same_values(Member::expected(x, last_in, last_out, val), dst.values());
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!same(last.get(0), x.back())) right = testing::AssertionFailure() << "last input " << last.get(0);
    if (!dst.intact() || !last.intact() || !src.intact()) right = testing::AssertionFailure() << "written beside";
    if (!Member::kInPlace && !same_values(x, src.values()))
        right = testing::AssertionFailure() << "the source was written";
    if (right) return right;
    return testing::AssertionFailure() << Member::kName << ", length " << x.size() << ", val " << val << ", "
                                       << describe(where) << ": " << right.message();
}

TYPED_TEST(Offset, EveryLength)
{
    using T = typename TypeParam::T;
    for (typename TypeParam::Val val : factors<typename TypeParam::Val>())
        for (int length = 1; length <= 70; length += thin_effort() ? 6 : 1)
            ASSERT_TRUE(compensates<TypeParam>(speech<T>(length), speech<T>(1)[0], speech<T>(1)[0], val));
}

TYPED_TEST(Offset, EveryAlignment)
{
    using T = typename TypeParam::T;
    Cycle<int> length({1, 2, 3, 5, 8, 16, 19, 33});
    for (const Arrangement& where : arrangements(3, sizeof(T)))
        for (int turn = 0; turn < 4; ++turn)
            ASSERT_TRUE(compensates<TypeParam>(speech<T>(length.next()), T(100), T(-200),
                                               factors<typename TypeParam::Val>()[0], where));
}

TYPED_TEST(Offset, AnyValues)
{
    using T = typename TypeParam::T;
    const std::vector<T> special = special_values<T>();
    const auto any = [&]() -> T {
        if (generator()() % 4 == 0) return special[generator()() % special.size()];
        if constexpr (std::is_same_v<T, float>)
            return uniform(-1e6F, 1e6F);
        else
            return uniform<T>(INT16_MIN, INT16_MAX);
    };
    for (int turn = 0; turn < (thin_effort() ? 100 : 3000); ++turn) {
        std::vector<T> x;
        for (int n = uniform(1, 20); n > 0; --n) x.push_back(any());
        typename TypeParam::Val val;
        if constexpr (std::is_same_v<typename TypeParam::Val, float>)
            val = uniform(-1.5F, 1.5F);
        else
            val = uniform<int16_t>(0, INT16_MAX);
        ASSERT_TRUE(compensates<TypeParam>(x, any(), any(), val));
    }
}

// A signal block by block, last output and last input carried. In single precision the first sample of a block
// takes its sums in another order, and in 16 bits it is truncated: values that are exact do not show it.
TYPED_TEST(Offset, BlocksOfASignalAreTheSignal)
{
    using T = typename TypeParam::T;
    constexpr bool kQ15 = std::is_same_v<typename TypeParam::Val, int16_t>;
    for (int turn = 0; turn < 50; ++turn) {
        std::vector<T> x;
        for (int n = 0; n < 60; ++n) x.push_back(kQ15 ? uniform<T>(-3000, 3000) : T(uniform(-500, 500)));
        const auto val = static_cast<typename TypeParam::Val>(kQ15 ? uniform(0, 32767) : turn % 2 == 0 ? 1 : -1);
        const std::vector<T> whole = TypeParam::expected(x, T(7), T(-9), val);
        std::vector<T> y = TypeParam::kInPlace ? x : std::vector<T>(x.size());
        T last_in = 7, last_out = -9;
        for (std::size_t from = 0; from < x.size();) {
            const std::size_t count = std::min(x.size() - from, static_cast<std::size_t>(uniform(1, 20)));
            ASSERT_EQ(
                TypeParam::call(
                    {x.data() + from, y.data() + from, static_cast<int32_t>(count), &last_in, last_out}, val),
                SrOk);
            from += count;
            last_out = y[from - 1];
        }
        ASSERT_TRUE(same_values(whole, y)) << TypeParam::kName;
    }
}

TYPED_TEST(Offset, ChecksNullThenLengthThenVal)
{
    using T = typename TypeParam::T;
    struct Call {
        Arguments<T> arguments;
        typename TypeParam::Val val;
    };
    Guarded<T> src(speech<T>(8)), dst(8), last(1);
    std::vector<Fault<Call>> faults;
    if (!TypeParam::kInPlace)
        faults.push_back({"null source", SrErrNullPtr, [](Call& c) { c.arguments.src = nullptr; }});
    faults.push_back({"null destination", SrErrNullPtr, [](Call& c) { c.arguments.dst = nullptr; }});
    faults.push_back({"null last input", SrErrNullPtr, [](Call& c) { c.arguments.last_in = nullptr; }});
    for (int32_t bad : {0, -1, INT32_MIN})
        faults.push_back({"length", SrErrSize, [=](Call& c) { c.arguments.len = bad; }});
    if (TypeParam::kLongest < INT32_MAX) {
        for (int32_t bad : {65536, INT32_MAX})
            faults.push_back({"length", SrErrSize, [=](Call& c) { c.arguments.len = bad; }});
        faults.push_back({"val", SrErrBadArg, [](Call& c) { c.val = -1; }});
        faults.push_back(
            {"val", SrErrBadArg, [](Call& c) { c.val = static_cast<typename TypeParam::Val>(-32768); }});
    }
    expect_check_order<Call>(
        {{src.data(), dst.data(), 8, last.data(), T(1)}, factors<typename TypeParam::Val>()[0]}, faults,
        [](const Call& c) { return TypeParam::call(c.arguments, c.val); }, {&src, &dst, &last});
}

TYPED_TEST(Offset, LongSignals)
{
    using T = typename TypeParam::T;
    ASSERT_TRUE(compensates<TypeParam>(speech<T>(65535), T(1), T(2), factors<typename TypeParam::Val>()[0]));
    if (TypeParam::kLongest < 65536) return;
    ASSERT_TRUE(compensates<TypeParam>(speech<T>(65536), T(1), T(2), factors<typename TypeParam::Val>()[0]));
}

TEST(OffsetSingle, ValThatIsNotANumber)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(compensates<Offset_32f>({1, 2, 3, 4, 5, 6}, 1, 2, nan));
    EXPECT_TRUE(compensates<Offset_32f_I>({1, 2, 3, 4, 5, 6}, 1, 2, nan));
}

TEST(OffsetSingle, FirstSampleInAnOrderOfItsOwn)
{
    // (2^24 * 1 + 1) - 1 loses the 1; 2^24 + (1 - 1) does not differ, but (2^24 + 3) - 1 is 2^24 + 3 rounded
    // less 1.
    const float big = 0x1p24F;
    float y, last = 1;
    const float x = 3;
    ASSERT_EQ(zelsCompensateOffset_32f(&x, &y, 1, &last, big, 1), SrOk);
    EXPECT_EQ(y, 16777220.0F - 1.0F);
    EXPECT_EQ(last, 3.0F);
    float two[] = {0, 2};
    last = -1;
    ASSERT_EQ(zelsCompensateOffset_32f_I(two, 2, &last, big - 2, 1), SrOk);
    EXPECT_EQ(two[0], big - 1);
    EXPECT_EQ(two[1], big) << "2^24 - 1 + 2 to nearest even";
}

TEST(OffsetFixed, FirstSampleIsTruncatedTheOthersAreRounded)
{
    // y[-1] = 3, val = 0.5 and 1.5: 1.5 and 4.5.
    for (float val : {0.5F, -0.5F, 1.5F, -1.5F}) {
        int16_t buffer[] = {0, 0}, last = 0;
        ASSERT_EQ(zelsCompensateOffset_16s_I(buffer, 2, &last, 3, val), SrOk);
        EXPECT_EQ(buffer[0], static_cast<int16_t>(3 * val));
        EXPECT_EQ(buffer[1], static_cast<int16_t>(std::round(static_cast<float>(buffer[0]) * val)));
    }
    // -1 * 1.5 = -1.5: -1; -1 * 1.5 = -1.5: -2.
    int16_t buffer[] = {0, 0}, last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s_I(buffer, 2, &last, -1, 1.5F), SrOk);
    EXPECT_EQ(buffer[0], -1);
    EXPECT_EQ(buffer[1], -2);
}

TEST(OffsetFixed, NotANumberBecomesTheLargest)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const int16_t x[] = {1, 2, 3};
    int16_t y[3] = {}, last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s(x, y, 3, &last, 4, nan), SrOk);
    for (int16_t value : y) EXPECT_EQ(value, 32767);
    int16_t buffer[] = {1, 2, 3};
    ASSERT_EQ(zelsCompensateOffset_16s_I(buffer, 3, &last, 4, -nan), SrOk);
    for (int16_t value : buffer) EXPECT_EQ(value, 32767);
}

// Every half and its neighbours, one at a time behind a first sample of y.
TEST(OffsetFixed, RoundsHalvesAwayFromZero)
{
    for (int y = -4000; y <= 4000; y += 7)
        for (float val : {1.5F, std::nextafter(1.5F, 0.0F), std::nextafter(1.5F, 2.0F), -1.5F, 2.25F}) {
            int16_t buffer[] = {static_cast<int16_t>(y), static_cast<int16_t>(y)}, last = 0;
            ASSERT_EQ(zelsCompensateOffset_16s_I(buffer, 2, &last, 0, val), SrOk);
            ASSERT_EQ(buffer[1], std::round(static_cast<float>(y) * val)) << y << " times " << val;
        }
}

// Just below a half: x + 0.5 would round up to the next integer.
TEST(OffsetFixed, RoundsExactly)
{
    const float below_half = std::nextafter(0.5F, 0.0F);
    int16_t buffer[] = {1, 1}, last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s_I(buffer, 2, &last, 0, below_half), SrOk);
    EXPECT_EQ(buffer[1], 0);
    int16_t negative[] = {-1, -1};
    last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s_I(negative, 2, &last, 0, below_half), SrOk);
    EXPECT_EQ(negative[1], 0);
}

TEST(OffsetFixed, ValFromMinus1To1InQ12)
{
    const int16_t x[] = {0, 0, 0, 0};
    int16_t y[4], last = 0;
    // 0.3 in Q12 is 1228: of 1000 it makes 299.8.
    ASSERT_EQ(zelsCompensateOffset_16s(x, y, 2, &last, 0, 0.3F), SrOk);
    EXPECT_EQ(y[1], 0);
    const int16_t step[] = {1000, 1000};
    last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s(step, y, 2, &last, 0, 0.3F), SrOk);
    EXPECT_EQ(y[1], 299);
    int16_t in_place[] = {1000, 1000};
    last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s_I(in_place, 2, &last, 0, 0.3F), SrOk);
    EXPECT_EQ(in_place[1], 300) << "the form in place rounds";
    last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s(step, y, 2, &last, 0, std::nextafter(1.0F, 2.0F)), SrOk);
    EXPECT_EQ(y[1], 1000);
    const int16_t odd[] = {1001, 1001};
    last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s(odd, y, 2, &last, 0, 1.5F), SrOk);
    EXPECT_EQ(y[1], 1502) << "1501.5 in single precision";
    last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s(odd, y, 2, &last, 0, -0.5F), SrOk);
    EXPECT_EQ(y[1], -501) << "downwards";
}

// -32768 * -1 is 32768, of which 16 bits are -32768: wanted.
TEST(OffsetFixed, ProductsInQ12Wrap)
{
    const int16_t x[] = {-32768, -32768, -32768};
    int16_t y[3], last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s(x, y, 3, &last, 0, -1), SrOk);
    EXPECT_EQ(y[0], -32768);
    EXPECT_EQ(y[1], -32768);
    EXPECT_EQ(y[2], -32768);
    int16_t in_place[] = {-32768, -32768};
    last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s_I(in_place, 2, &last, 0, -1), SrOk);
    EXPECT_EQ(in_place[1], 32767);
}

// The difference of neighbours by itself, then the sum.
TEST(OffsetFixed, InQ12BothSumsSaturate)
{
    const int16_t x[] = {-32768, 32767, 32767};
    int16_t y[3], last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s(x, y, 3, &last, 0, 1), SrOk);
    EXPECT_EQ(y[0], -32768);
    EXPECT_EQ(y[1], -1) << "-32768 + 32767";
    int16_t in_place[] = {-32768, 32767};
    last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s_I(in_place, 2, &last, 0, 1), SrOk);
    EXPECT_EQ(in_place[1], 32767) << "-32768 + 65535";
    const int16_t up[] = {20000, 32767};
    last = 0;
    ASSERT_EQ(zelsCompensateOffset_16s(up, y, 2, &last, 20000, 1), SrOk);
    EXPECT_EQ(y[0], 32767);
    EXPECT_EQ(y[1], 32767);
}

TEST(OffsetFixed, Q15RoundsTowardZero)
{
    const auto first = [](int16_t x, int16_t last_in, int16_t last_out, int16_t val) {
        int16_t y = 0, last = last_in;
        EXPECT_EQ(zelsCompensateOffsetQ15_16s(&x, &y, 1, &last, last_out, val), SrOk);
        EXPECT_EQ(last, x);
        int16_t buffer = x;
        last = last_in;
        EXPECT_EQ(zelsCompensateOffsetQ15_16s_I(&buffer, 1, &last, last_out, val), SrOk);
        EXPECT_EQ(buffer, y);
        return y;
    };
    EXPECT_EQ(first(0, 0, 3, 16384), 1) << "1.5";
    EXPECT_EQ(first(0, 0, -3, 16384), -1) << "-1.5";
    EXPECT_EQ(first(0, 0, -4, 16384), -2);
    EXPECT_EQ(first(10, 0, -3, 16384), 8) << "8.5";
    EXPECT_EQ(first(-10, 0, 3, 16384), -8) << "-8.5";
    EXPECT_EQ(first(0, 0, -1, 1), 0);
    EXPECT_EQ(first(5, 12, 30000, 0), -7) << "the difference of neighbours";
    EXPECT_EQ(first(32767, -32768, 0, 0), 32767);
    EXPECT_EQ(first(-32768, 32767, 0, 0), -32768);
    EXPECT_EQ(first(32767, -32768, -32768, 32767), 32767) << "65535 - 32767 is 32768";
}

// What is integer or converted to it does not depend on it.
TEST(OffsetFixed, IsTheSameInEachEnvironment)
{
    const std::vector<int16_t> x = speech<int16_t>(67);
    std::vector<int16_t> y(67);
    SrStatus status = SrErrUnknown;
    for (float val : {0.999F, 1.3F}) {
        under_each_environment(
            [&] {
                int16_t last = 50;
                status = zelsCompensateOffset_16s(x.data(), y.data(), 67, &last, 33, val);
            },
            [&](const std::string& setting) {
                EXPECT_EQ(status, SrOk);
                EXPECT_TRUE(same_values(Offset_16s::expected(x, 50, 33, val), y)) << setting;
            });
        y = x;
        under_each_environment(
            [&] {
                int16_t last = 50;
                status = zelsCompensateOffset_16s_I(y.data(), 67, &last, 33, val);
            },
            [&](const std::string& setting) {
                EXPECT_EQ(status, SrOk);
                EXPECT_TRUE(same_values(Offset_16s_I::expected(x, 50, 33, val), y)) << setting;
                y = x;
            });
    }
    under_each_environment(
        [&] {
            int16_t last = 50;
            status = zelsCompensateOffsetQ15_16s(x.data(), y.data(), 67, &last, 33, 32000);
        },
        [&](const std::string& setting) {
            EXPECT_EQ(status, SrOk);
            EXPECT_TRUE(same_values(OffsetQ15_16s::expected(x, 50, 33, 32000), y)) << setting;
        });
}

#ifdef __i386__
TEST(OffsetStack, RunsOnAnyStack)
{
    const std::vector<float> x = speech<float>(23);
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<float> y(23);
        float last = 3;
        EXPECT_EQ(call_misaligned(zelsCompensateOffset_32f, misalign, x.data(), y.data(), 23, &last, 2.0F, 0.9F),
                  SrOk);
        EXPECT_TRUE(same_values(Offset_32f::expected(x, 3, 2, 0.9F), y)) << misalign;
        std::vector<int16_t> fixed = speech<int16_t>(23), z(23);
        int16_t last_in = 3;
        const auto call =
            reinterpret_cast<SrStatus (*)(const int16_t*, int16_t*, int32_t, int16_t*, int32_t, float)>(
                reinterpret_cast<void*>(zelsCompensateOffset_16s));
        for (float val : {0.9F, 1.2F}) {
            last_in = 3;
            EXPECT_EQ(call_misaligned(call, misalign, std::as_const(fixed).data(), z.data(), 23, &last_in, 2, val),
                      SrOk);
            EXPECT_TRUE(same_values(Offset_16s::expected(fixed, 3, 2, val), z)) << misalign;
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
