// Sums of columns and of their squares.
#include <gtest/gtest.h>

#include "matrix/columns.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/statistics.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr::test {
namespace {

template <class T, class R>
struct Sums {
    const T* src;
    int32_t step;
    int32_t height;
    R* sum;
    R* squares;
    int32_t width;
    int32_t sf;
    int stack = -1;
};

template <class A, class T, class R, class... Sf>
SrStatus call(SrStatus (*f)(const T*, int32_t, int32_t, R*, R*, int32_t, Sf...), const A& a)
{
    return columns::call_with(a, f, a.src, a.step, a.height, a.sum, a.squares, a.width, static_cast<Sf>(a.sf)...);
}

// start + x[0] + x[1] + ..., or of the squares, in single and in the order of the rows.
template <class T>
float running(const std::vector<std::vector<T>>& rows, std::size_t c, float start, bool squares)
{
    float sum = start;
    for (const auto& row : rows) {
        const auto x = static_cast<float>(row[c]);
        sum += squares ? x * x : x;
    }
    return sum;
}

template <class Source, class Result, auto Function, bool InPlace, bool Scaled>
struct SumMember {
    using T = Source;
    using R = Result;
    static constexpr bool kInPlace = InPlace, kScaled = Scaled;
    static SrStatus call(const Sums<T, R>& a) { return test::call(Function, a); }
    static R one(const std::vector<std::vector<T>>& rows, std::size_t c, R old, bool squares, int32_t sf)
    {
        const float sum = running(rows, c, InPlace ? static_cast<float>(old) : 0.0F, squares);
        if constexpr (Scaled)
            return reference::single_to_32s(sum, reference::multiplier<float>(sf), 1);
        else
            return sum;
    }
};

template <class M>
class SumMeanVar : public testing::Test {};
using Members = testing::Types<SumMember<float, float, zelsSumMeanVar_32f, false, false>,
                               SumMember<float, float, zelsSumMeanVar_32f_I, true, false>,
                               SumMember<int16_t, float, zelsSumMeanVar_16s32f, false, false>,
                               SumMember<int16_t, float, zelsSumMeanVar_16s32f_I, true, false>,
                               SumMember<int16_t, int32_t, zelsSumMeanVar_16s32s_Sfs, false, true>,
                               SumMember<int16_t, int32_t, zelsSumMeanVar_16s32s_ISfs, true, true>>;
struct MemberName {
    template <class M>
    static std::string GetName(int)
    {
        return std::string(sizeof(typename M::T) == 4 ? "32f"
                           : M::kScaled               ? "16s32s"
                                                      : "16s32f") +
               (M::kInPlace ? "_I" : "");
    }
};
TYPED_TEST_SUITE(SumMeanVar, Members, MemberName);

// One call between guard pages: block, sum, squares at the places.
template <class M>
testing::AssertionResult sums(int width, int height, int beyond_width, const std::array<Placement, 3>& places,
                              int32_t sf = 0, int stack = -1, bool special = false)
{
    using T = typename M::T;
    using R = typename M::R;
    const auto draw = [&](auto like, int count) {
        using U = decltype(like);
        if (special) {
            const std::vector<U> from = special_values<U>();
            std::vector<U> values(static_cast<std::size_t>(count));
            for (U& v : values) v = from[generator()() % from.size()];
            return values;
        }
        if constexpr (std::is_integral_v<U>)
            return uniform_vector<U>(count, std::numeric_limits<U>::min(), std::numeric_limits<U>::max());
        else
            return uniform_vector<U>(count, -100, 100);
    };
    std::vector<std::vector<T>> rows;
    for (int r = 0; r < height; ++r) rows.push_back(draw(T(), width));
    const std::vector<R> old_sum = draw(R(), width), old_squares = draw(R(), width);
    const int step = width + beyond_width;
    Guarded<T> block(columns::block_of(rows, static_cast<std::size_t>(step)), places[0]);
    Guarded<R> sum(old_sum, places[1]), squares(old_squares, places[2]);
    block.take_snapshot();
    const SrStatus status = M::call({block.data(), step, height, sum.data(), squares.data(), width, sf, stack});
    if (auto right = status_is(SrOk, status); !right) return right;
    if (!block.as_snapshot() || !sum.intact() || !squares.intact())
        return testing::AssertionFailure() << "written where nothing is to be written";
    for (std::size_t c = 0; c < old_sum.size(); ++c) {
        auto right = same_value(M::one(rows, c, old_sum[c], false, sf), sum.get(c));
        if (!right) return right << " in the sum of column " << c << ", height " << height << ", sf " << sf;
        right = same_value(M::one(rows, c, old_squares[c], true, sf), squares.get(c));
        if (!right) return right << " in the squares of column " << c << ", height " << height << ", sf " << sf;
    }
    return testing::AssertionSuccess();
}

TYPED_TEST(SumMeanVar, EveryWidthAndPlacement)
{
    Cycle heights(std::vector<int>{1, 2, 3, 4, 5, 8, 17}), beyond(std::vector<int>{0, 8, 1, 0, 2, 4});
    Cycle sfs(std::vector<int32_t>{0, 3, -1, 9});
    at_every_place<3>(lengths(9), {sizeof(typename TypeParam::T), 4, 4}, [&](int width, const auto& places) {
        const int whole = (8 - width % 8) % 8;
        return sums<TypeParam>(width, heights.next(), generator()() % 2 == 0 ? whole : beyond.next(), places,
                               TypeParam::kScaled ? sfs.next() : 0);
    });
}

TYPED_TEST(SumMeanVar, ManyRowsInOrder)
{
    for (int misalign : {0, 4})
        for (int height : {100, 999})
            EXPECT_TRUE(sums<TypeParam>(11, height, 5, {Placement{misalign}, Placement{}, Placement{misalign}}));
}

TYPED_TEST(SumMeanVar, WideAndLong)
{
    for (int width : {127, 128, 129, 131, 256, 257, 261})
        for (int height : {17, 64, 65, 67, 128, 131}) {
            if (thin_effort() && height != 65) continue;
            ASSERT_TRUE(sums<TypeParam>(width, height, 3, {Placement{height % 2 * 4}, Placement{}, Placement{}}));
        }
    for (int height : {2048, 2049, 4099}) ASSERT_TRUE(sums<TypeParam>(3, thin_effort() ? 2049 : height, 0, {}));
}

TYPED_TEST(SumMeanVar, SpecialValues)
{
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(
            sums<TypeParam>(13, 1 + i % 7, 3, {Placement{i % 2 * 4}, Placement{}, Placement{}}, 0, -1, true));
}

TYPED_TEST(SumMeanVar, EveryScaleFactor)
{
    if (!TypeParam::kScaled) return;
    for (int32_t sf : scale_factors())
        ASSERT_TRUE(sums<TypeParam>(9, 3, 7, {Placement{sf % 2 == 0 ? 0 : 2}, Placement{}, Placement{}}, sf));
}

TYPED_TEST(SumMeanVar, TheFirstFailedCheckDecides)
{
    using T = typename TypeParam::T;
    using R = typename TypeParam::R;
    using A = Sums<T, R>;
    Guarded<T> src(std::vector<T>(24, T(3)));
    Guarded<R> sum(std::vector<R>(5, R(4))), squares(std::vector<R>(5, R(6)));
    const A good{src.data(), 6, 4, sum.data(), squares.data(), 5, 1};
    for (int32_t size : {0, -1, INT32_MIN}) {
        std::vector<Fault<A>> faults;
        if (size != INT32_MIN) faults.push_back({"step", SrErrStride, [](A& a) { a.step = a.width - 1; }});
        faults.push_back({"source", SrErrNullPtr, [](A& a) { a.src = nullptr; }});
        faults.push_back({"sum", SrErrNullPtr, [](A& a) { a.sum = nullptr; }});
        faults.push_back({"squares", SrErrNullPtr, [](A& a) { a.squares = nullptr; }});
        faults.push_back({"width", SrErrSize, [=](A& a) { a.width = size; }});
        faults.push_back({"height", SrErrSize, [=](A& a) { a.height = size; }});
        expect_check_order<A>(good, faults, TypeParam::call, {&src, &sum, &squares});
    }
    const Guarded<T> nothing(0);
    for (int32_t size : {0, -1, INT32_MIN}) {
        EXPECT_EQ(TypeParam::call({nothing.data(), 5, size, sum.data(), squares.data(), 5, 0}), SrErrSize);
        EXPECT_EQ(TypeParam::call({nothing.data(), 5, 5, sum.data(), squares.data(), size, 0}), SrErrSize);
    }
}

TYPED_TEST(SumMeanVar, AllocatesNothingAndKeepsTheEnvironment)
{
    using T = typename TypeParam::T;
    using R = typename TypeParam::R;
    // Exact in single precision where the members take the caller's environment.
    std::vector<std::vector<T>> rows(3, std::vector<T>(13));
    for (auto& row : rows)
        for (T& x : row) x = static_cast<T>(TypeParam::kScaled ? uniform(-32000, 32000) : uniform(1, 100));
    const std::vector<T> block = columns::block_of(rows, 16);
    std::vector<R> sum(13), squares(13);
    AllocatorWatch watch;
    SrStatus status = SrErrUnknown;
    under_each_environment(
        [&] {
            status = TypeParam::call({block.data(), 16, 3, sum.data(), squares.data(), 13, 0});
        },
        [&](const std::string& setting) {
            EXPECT_EQ(status, SrOk);
            for (std::size_t c = 0; c < 13; ++c) {
                EXPECT_TRUE(same_value(TypeParam::one(rows, c, R(0), false, 0), sum[c])) << setting;
                EXPECT_TRUE(same_value(TypeParam::one(rows, c, R(0), true, 0), squares[c])) << setting;
            }
            sum.assign(13, R(0));
            squares.assign(13, R(0));
        });
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __i386__
TYPED_TEST(SumMeanVar, RunsOnAnyStack)
{
    for (int stack : {0, 4, 8, 12})
        for (int misalign : {0, 4})
            EXPECT_TRUE(sums<TypeParam>(13, 5, 3, {Placement{misalign}, Placement{}, Placement{}}, 0, stack));
}
#endif

// With a scale factor other than zero the old totals are scaled again at each call: wanted.
TEST(SumMeanVar_16s32s_ISfs, EachCallScalesTheOldTotalsAgain)
{
    const int16_t zeros[3] = {};
    int32_t sum[3] = {1000, -7, 5}, squares[3] = {64, 3, 2147483647};
    EXPECT_EQ(zelsSumMeanVar_16s32s_ISfs(zeros, 3, 1, sum, squares, 3, 1), SrOk);
    EXPECT_EQ(sum[0], 500);
    EXPECT_EQ(sum[1], -4);  // -3.5, to even
    EXPECT_EQ(sum[2], 2);   // 2.5
    EXPECT_EQ(squares[0], 32);
    EXPECT_EQ(squares[1], 2);
    EXPECT_EQ(squares[2], 1073741824);  // 2147483647 in single is 2^31
    EXPECT_EQ(zelsSumMeanVar_16s32s_ISfs(zeros, 3, 1, sum, squares, 3, 1), SrOk);
    EXPECT_EQ(sum[0], 250);
    EXPECT_EQ(sum[1], -2);
}

// The square of the converted value, in single: 32767^2 rounds to 2^30 - 2^16.
TEST(SumMeanVar_16s32f, SquaresAreTakenInSingle)
{
    const int16_t x[] = {32767, -32768};
    float sum[1], squares[1];
    EXPECT_EQ(zelsSumMeanVar_16s32f(x, 1, 1, sum, squares, 1), SrOk);
    EXPECT_EQ(squares[0], 1073676288.0F);
    EXPECT_EQ(zelsSumMeanVar_16s32f_I(x + 1, 1, 1, sum, squares, 1), SrOk);
    EXPECT_EQ(sum[0], -1);
    EXPECT_EQ(squares[0], 1073676288.0F + 1073741824.0F);
}

}  // namespace
}  // namespace zelsr::test
