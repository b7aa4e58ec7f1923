// Deltas over a whole buffer, in place.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "support/reference/delta.h"
#include "zelsr/frontend/delta.h"

namespace zelsr::test {
namespace {

template <class T>
struct Arguments {
    T* buffer;
    int32_t height, step;
    const T* mul;  // Mul members
    int32_t width, offset, window;
    T val;
    int32_t sf;
};

template <class T>
struct Member {
    const char* name;
    bool multiplied;
    SrStatus (*call)(const Arguments<T>&);
};
std::vector<Member<float>> members(float)
{
    using A = Arguments<float>;
    return {{"EvalDelta_32f", false,
             [](const A& a) {
                 return zelsEvalDelta_32f_D2(a.buffer, a.height, a.step, a.width, a.offset, a.window, a.val);
             }},
            {"EvalDeltaMul_32f", true, [](const A& a) {
                 return zelsEvalDeltaMul_32f_D2(a.buffer, a.height, a.step, a.mul, a.width, a.offset, a.window);
             }}};
}
std::vector<Member<int16_t>> members(int16_t)
{
    using A = Arguments<int16_t>;
    return {{"EvalDelta_16s", false,
             [](const A& a) {
                 return zelsEvalDelta_16s_D2Sfs(a.buffer, a.height, a.step, a.width, a.offset, a.window, a.val,
                                                a.sf);
             }},
            {"EvalDeltaMul_16s", true, [](const A& a) {
                 return zelsEvalDeltaMul_16s_D2Sfs(a.buffer, a.height, a.step, a.mul, a.width, a.offset, a.window,
                                                   a.sf);
             }}};
}

template <class T>
class BufferDelta : public testing::Test {};
struct TypeNames {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "16s";
    }
};
using Types = testing::Types<float, int16_t>;
TYPED_TEST_SUITE(BufferDelta, Types, TypeNames);

template <class T>
struct Problem {
    std::vector<T> buffer;
    int32_t height, step;
    std::vector<T> mul;
    int32_t width, offset, window;
    T val;
    int32_t sf;
};

// wild: special values and the whole range among them.
template <class T>
Problem<T> problem(int height, int width, int window, int offset, int beyond, bool wild)
{
    const std::vector<T> special = special_values<T>();
    const auto value = [&]() -> T {
        if (wild && generator()() % 3 == 0) return special[generator()() % special.size()];
        if constexpr (std::is_same_v<T, float>)
            return uniform(-3.0F, 3.0F);
        else
            return wild ? uniform<int16_t>(INT16_MIN, INT16_MAX) : uniform<int16_t>(-2000, 2000);
    };
    Problem<T> p{{},     height,  offset + 2 * width + beyond,
                 {},     width,   offset,
                 window, value(), wild ? uniform(-31, 31) : uniform(0, 9)};
    // Nothing behind the last row's deltas.
    for (int i = 0; i < (height - 1) * p.step + offset + 2 * width; ++i) p.buffer.push_back(value());
    for (int i = 0; i < 2 * width; ++i) p.mul.push_back(value());
    return p;
}

template <class T>
Arguments<T> arguments(const Problem<T>& p, T* buffer, const T* mul)
{
    return {buffer, p.height, p.step, mul, p.width, p.offset, p.window, p.val, p.sf};
}

template <class T>
std::vector<T> expected(const Member<T>& m, const Problem<T>& p)
{
    std::vector<T> buffer = p.buffer;
    for (int c = 0; c < p.width; ++c) {
        std::vector<T> column;
        const auto at = [&](int r) { return static_cast<std::size_t>(r * p.step + p.offset + c); };
        for (int r = 0; r < p.height; ++r) column.push_back(p.buffer[at(r)]);
        const T factor = m.multiplied ? p.mul[static_cast<std::size_t>(p.width + c)] : p.val;
        for (int r = 0; r < p.height; ++r)
            buffer[at(r) + static_cast<std::size_t>(p.width)] =
                reference::buffer_delta(column, r, p.window, factor, p.sf);
    }
    return buffer;
}

template <class T>
testing::AssertionResult evaluates(const Member<T>& m, const Problem<T>& p,
                                   const Arrangement& where = Arrangement(2))
{
    const Guarded<T> buffer(p.buffer, where[0]), mul(p.mul, where[1]);
    const SrStatus status = m.call(arguments(p, buffer.data(), mul.data()));
    testing::AssertionResult right = same_values(expected(m, p), buffer.values());
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!buffer.intact()) right = testing::AssertionFailure() << "written beside the buffer";
    if (!mul.intact() || !same_values(p.mul, mul.values()))
        right = testing::AssertionFailure() << "the multipliers were written";
    if (right) return right;
    return testing::AssertionFailure() << m.name << ", height " << p.height << ", width " << p.width << ", window "
                                       << p.window << ", offset " << p.offset << ", step " << p.step << ", "
                                       << describe(where) << ": " << right.message();
}

TYPED_TEST(BufferDelta, EveryShape)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T()))
        for (int width = 1; width <= 19; width += thin_effort() ? 5 : 1)
            for (int window : {1, 2, 3, 5})
                for (int height = 2 * window; height < 2 * window + 6; ++height)
                    ASSERT_TRUE(
                        evaluates(m, problem<T>(height, width, window, (width + window) % 4, height % 4, false)));
}

TYPED_TEST(BufferDelta, LongWindowsAndBuffers)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T()))
        for (bool wild : {false, true}) {
            ASSERT_TRUE(evaluates(m, problem<T>(80, 13, 40, 0, 0, wild)));
            ASSERT_TRUE(evaluates(m, problem<T>(300, 13, 2, 26, 1, wild)));
            ASSERT_TRUE(evaluates(m, problem<T>(97, 40, 9, 3, 0, wild)));
        }
}

TYPED_TEST(BufferDelta, EveryAlignment)
{
    using T = TypeParam;
    Cycle<int> width({1, 3, 4, 8, 12, 13, 16}), offset({0, 0, 4, 8, 1, 13}), window({1, 2, 3});
    for (const Member<T>& m : members(T()))
        for (const Arrangement& where : arrangements(2, sizeof(T)))
            for (int beyond : {0, 3}) {
                const int w = width.next(), o = offset.next(), n = window.next();
                ASSERT_TRUE(evaluates(m, problem<T>(2 * n + 4, w, n, o, beyond, false), where));
                ASSERT_TRUE(evaluates(m, problem<T>(2 * n + 4, w, n, o, (8 - (o + 2 * w) % 8) % 8, false), where));
            }
}

TYPED_TEST(BufferDelta, AnyValues)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T()))
        for (int turn = 0; turn < (thin_effort() ? 20 : 200); ++turn) {
            const int window = uniform(1, 4);
            ASSERT_TRUE(evaluates(m, problem<T>(2 * window + uniform(0, 5), uniform(1, 18), window, uniform(0, 3),
                                                uniform(0, 3), true)));
        }
}

TYPED_TEST(BufferDelta, ChecksNullThenSizesThenStep)
{
    using T = TypeParam;
    using A = Arguments<T>;
    for (const Member<T>& m : members(T())) {
        SCOPED_TRACE(m.name);
        const Problem<T> p = problem<T>(6, 3, 2, 1, 0, false);
        Guarded<T> buffer(p.buffer), mul(p.mul);
        std::vector<Fault<A>> faults = {{"null buffer", SrErrNullPtr, [](A& a) { a.buffer = nullptr; }}};
        if (m.multiplied) faults.push_back({"null mul", SrErrNullPtr, [](A& a) { a.mul = nullptr; }});
        faults.push_back({"height 0", SrErrSize, [](A& a) { a.height = 0; }});
        faults.push_back({"height below twice the window", SrErrSize, [](A& a) { a.height = 3; }});
        faults.push_back({"width", SrErrSize, [](A& a) { a.width = 0; }});
        faults.push_back({"width", SrErrSize, [](A& a) { a.width = INT32_MIN; }});
        faults.push_back({"window", SrErrSize, [](A& a) { a.window = 0; }});
        faults.push_back({"window", SrErrSize, [](A& a) { a.window = -1; }});
        faults.push_back({"offset", SrErrSize, [](A& a) { a.offset = -1; }});
        faults.push_back({"offset", SrErrSize, [](A& a) { a.offset = INT32_MIN; }});
        faults.push_back({"step", SrErrStride, [](A& a) { a.step = 6; }});
        faults.push_back({"step", SrErrStride, [](A& a) { a.step = INT32_MIN; }});
        expect_check_order<A>(arguments(p, buffer.data(), mul.data()), faults, m.call, {&buffer, &mul});
    }
}

// Sums of arguments may not fit into 32 bits.
TYPED_TEST(BufferDelta, HugeArguments)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T())) {
        Guarded<T> nothing(0);
        const auto call = [&](int32_t height, int32_t step, int32_t width, int32_t offset, int32_t window) {
            return m.call({nothing.data(), height, step, nothing.data(), width, offset, window, T(1), 0});
        };
        EXPECT_EQ(call(INT32_MAX, 8, 1, 0, 0x40000000), SrErrSize);
        EXPECT_EQ(call(INT32_MAX, 8, 1, 0, INT32_MAX), SrErrSize);
        EXPECT_EQ(call(4, INT32_MAX, 0x40000000, 0, 1), SrErrStride);
        EXPECT_EQ(call(4, INT32_MAX, INT32_MAX, INT32_MAX, 1), SrErrStride);
        EXPECT_EQ(call(4, INT32_MAX, 1, INT32_MAX - 1, 1), SrErrStride);
    }
}

// x = 0, 1, 4, 9, 16, 25 at W = 2: in row 1 the left term is x[0] for both k, in row 4 the right one x[5].
TYPED_TEST(BufferDelta, HeadAndTailKeepTheEndsForEveryTerm)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T())) {
        std::vector<T> buffer, mul = {T(99), T(3)};
        for (int t = 0; t < 6; ++t) buffer.insert(buffer.end(), {T(t * t), T(-1)});
        ASSERT_EQ(m.call({buffer.data(), 6, 2, mul.data(), 1, 0, 2, T(3), 0}), SrOk);
        const int delta[] = {9, (4 - 0) + 2 * (9 - 0), 40, 60, (25 - 9) + 2 * (25 - 4), 41};
        for (std::size_t t = 0; t < 6; ++t) {
            EXPECT_EQ(buffer[2 * t], T(t * t)) << m.name;
            EXPECT_EQ(buffer[2 * t + 1], T(3 * delta[t])) << m.name << ", row " << t;
        }
    }
}

// W = 3: an index clamped by itself would make row 1 (x2 - x0) + 2 (x3 - x0) + 3 (x4 - x0) as well, but row 2
// takes x[0] where x[1] exists.
TYPED_TEST(BufferDelta, HeadRowsDoNotUseTheRowsBeforeThem)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T())) {
        std::vector<T> buffer, mul = {T(0), T(1)};
        for (int x : {0, 100, 0, 0, 0, 0, 10, 0}) buffer.insert(buffer.end(), {T(x), T(0)});
        ASSERT_EQ(m.call({buffer.data(), 8, 2, mul.data(), 1, 0, 3, T(1), 0}), SrOk);
        EXPECT_EQ(buffer[2 * 2 + 1], T(0)) << m.name << ", row 2 without the 100 of row 1";
        EXPECT_EQ(buffer[2 * 3 + 1], T(3 * 10 - 2 * 100)) << m.name;
        EXPECT_EQ(buffer[2 * 5 + 1], T(0)) << m.name << ", row 5 without the 10 of row 6";
    }
}

TEST(BufferDeltaFixed, WrapsShiftsAndSaturates)
{
    const auto delta = [](int16_t x, int16_t y, int16_t val, int32_t sf) {
        int16_t buffer[] = {x, 0, y, 0};
        EXPECT_EQ(zelsEvalDelta_16s_D2Sfs(buffer, 2, 2, 1, 0, 1, val, sf), SrOk);
        return buffer[1];
    };
    EXPECT_EQ(delta(-32768, 32767, 5, 0), -5) << "the difference wraps";
    EXPECT_EQ(delta(0, 32767, 2, 0), 32767);
    EXPECT_EQ(delta(0, -7, 1, 1), -4);
    EXPECT_EQ(delta(0, 1, 1, -31), -32768);
    EXPECT_EQ(delta(0, 4, 1, -30), 0);
}

TYPED_TEST(BufferDelta, KeepsTheEnvironment)
{
    using T = TypeParam;
    for (const Member<T>& m : members(T())) {
        Problem<T> p = problem<T>(11, 13, 2, 1, 1, false);
        if constexpr (std::is_same_v<T, float>) {  // exact but for the signs of zeros
            for (T& x : p.buffer) x = std::round(x * 8);
            for (T& x : p.mul) x = std::round(x);
            p.val = 0.5F;
        }
        std::vector<T> buffer = p.buffer;
        SrStatus status = SrErrUnknown;
        under_each_environment([&] { status = m.call(arguments(p, buffer.data(), p.mul.data())); },
                               [&](const std::string& setting) {
                                   EXPECT_EQ(status, SrOk);
                                   EXPECT_TRUE(near_values(expected(m, p), buffer, 0))
                                       << m.name << ", " << setting;
                                   buffer = p.buffer;
                               });
    }
}

#ifdef __i386__
TEST(BufferDeltaStack, RunsOnAnyStack)
{
    for (int misalign : {0, 4, 8, 12}) {
        const Problem<float> single = problem<float>(11, 13, 2, 1, 1, false);
        std::vector<float> buffer = single.buffer;
        EXPECT_EQ(call_misaligned(zelsEvalDeltaMul_32f_D2, misalign, buffer.data(), single.height, single.step,
                                  single.mul.data(), single.width, single.offset, single.window),
                  SrOk);
        EXPECT_TRUE(same_values(expected(members(1.0F)[1], single), buffer)) << misalign;
        const Problem<int16_t> fixed = problem<int16_t>(11, 13, 2, 1, 1, false);
        std::vector<int16_t> whole = fixed.buffer;
        EXPECT_EQ(call_misaligned(zelsEvalDeltaMul_16s_D2Sfs, misalign, whole.data(), fixed.height, fixed.step,
                                  fixed.mul.data(), fixed.width, fixed.offset, fixed.window, fixed.sf),
                  SrOk);
        EXPECT_TRUE(same_values(expected(members(int16_t())[1], fixed), whole)) << misalign;
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
