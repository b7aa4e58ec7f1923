// Columns brought to zero mean and unit variance, in place.
#include <gtest/gtest.h>

#include "matrix/columns.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"
#include "support/operation.h"
#include "support/reference/normalize.h"
#include "zelsr/matrix/normalize.h"

namespace zelsr::test {
namespace {

template <class Element>
struct Arguments {
    using T = Element;
    T* block;
    int32_t step;
    T* const* list;
    int32_t height;
    const T* mean;
    const T* factor;
    int32_t width;
    int32_t sf;
    int stack = -1;
};

struct Block_32f {
    using T = float;
    static constexpr bool kList = false;
    static SrStatus call(const Arguments<T>& a)
    {
        return columns::call_with(a, zelsNormalizeColumn_32f_D2, a.block, a.step, a.height, a.mean, a.factor,
                                  a.width);
    }
};
struct List_32f {
    using T = float;
    static constexpr bool kList = true;
    static SrStatus call(const Arguments<T>& a)
    {
        return columns::call_with(a, zelsNormalizeColumn_32f_D2L, a.list, a.height, a.mean, a.factor, a.width);
    }
};
struct Block_16s {
    using T = int16_t;
    static constexpr bool kList = false;
    static SrStatus call(const Arguments<T>& a)
    {
        return columns::call_with(a, zelsNormalizeColumn_16s_D2Sfs, a.block, a.step, a.height, a.mean, a.factor,
                                  a.width, a.sf);
    }
};
struct List_16s {
    using T = int16_t;
    static constexpr bool kList = true;
    static SrStatus call(const Arguments<T>& a)
    {
        return columns::call_with(a, zelsNormalizeColumn_16s_D2LSfs, a.list, a.height, a.mean, a.factor, a.width,
                                  a.sf);
    }
};

template <class M>
class NormalizeColumn : public testing::Test {};
using Members = testing::Types<Block_32f, List_32f, Block_16s, List_16s>;
struct MemberName {
    template <class M>
    static std::string GetName(int)
    {
        return std::string(sizeof(typename M::T) == 4 ? "32f_" : "16s_") + (M::kList ? "D2L" : "D2");
    }
};
TYPED_TEST_SUITE(NormalizeColumn, Members, MemberName);

float normalized(float x, float mean, float factor, int32_t) { return (x - mean) * factor; }
int16_t normalized(int16_t x, int16_t mean, int16_t factor, int32_t sf)
{
    return reference::normalized_16s(x, mean, factor, sf);
}

template <class T>
std::vector<T> draw(int count, bool special)
{
    static const std::vector<T> from = special_values<T>();
    std::vector<T> values;
    for (int i = 0; i < count; ++i) {
        if (special)
            values.push_back(from[generator()() % from.size()]);
        else if constexpr (std::is_integral_v<T>)
            values.push_back(uniform<T>(-32768, 32767));
        else
            values.push_back(uniform<T>(-9, 9));
    }
    return values;
}

// places: rows, means, factors, list. row_misalign: of a list, else the rows' own placement.
template <class M>
testing::AssertionResult normalizes(int width, int height, int beyond_width,
                                    const std::array<Placement, 4>& places, int32_t sf = 0, bool special = false,
                                    int stack = -1, std::vector<int> row_misalign = {})
{
    using T = typename M::T;
    std::vector<std::vector<T>> rows;
    for (int r = 0; r < height; ++r) rows.push_back(draw<T>(width, special));
    const std::vector<T> mean = draw<T>(width, special);
    std::vector<T> factor = draw<T>(width, special);
    if (std::is_integral_v<T> && generator()() % 2 == 0)
        for (T& f : factor) f = static_cast<T>(f / 4096);
    std::vector<std::vector<T>> expected = rows;
    for (auto& row : expected)
        for (std::size_t c = 0; c < row.size(); ++c) row[c] = normalized(row[c], mean[c], factor[c], sf);

    const auto step = static_cast<std::size_t>(width + beyond_width);
    if (row_misalign.empty()) row_misalign = {places[0].misalign};
    Guarded<T> block(columns::block_of(rows, step), places[0]);
    GuardedRows<T> row_blocks(rows, row_misalign, places[0].edge);
    Guarded<T*> list(rows.size(), places[3]);
    for (std::size_t r = 0; r < rows.size(); ++r) list.set(r, row_blocks.list()[r]);
    Guarded<T> means(mean, places[1]), factors(factor, places[2]);
    for (GuardedBytes* input : std::initializer_list<GuardedBytes*>{&list, &means, &factors})
        input->take_snapshot();

    const SrStatus status = M::call({block.data(), static_cast<int32_t>(step), list.data(), height, means.data(),
                                     factors.data(), width, sf, stack});
    if (auto right = status_is(SrOk, status); !right) return right;
    if (!list.as_snapshot() || !means.as_snapshot() || !factors.as_snapshot() || !block.intact() ||
        !row_blocks.intact())
        return testing::AssertionFailure() << "written where nothing is to be written";
    if (!M::kList) return same_values(columns::block_of(expected, step), block.values());
    for (std::size_t r = 0; r < rows.size(); ++r) {
        std::vector<T> row(rows[r].size());
        std::memcpy(row.data(), row_blocks.list()[r], row.size() * sizeof(T));
        if (auto right = same_values(expected[r], row); !right) return right << " in row " << r;
    }
    return testing::AssertionSuccess();
}

TYPED_TEST(NormalizeColumn, EveryWidthAndPlacement)
{
    constexpr std::size_t size = sizeof(typename TypeParam::T);
    Cycle heights(std::vector<int>{1, 2, 3, 5}), beyond(std::vector<int>{0, 8, 1, 0, 2, 4});
    Cycle sfs(std::vector<int32_t>{0, 3, -1, 16, 20, -9});
    at_every_place<4>(lengths(9), {size, size, size, sizeof(void*)}, [&](int width, const auto& places) {
        const int whole = (8 - width % 8) % 8;
        return normalizes<TypeParam>(width, heights.next(), generator()() % 2 == 0 ? whole : beyond.next(), places,
                                     sfs.next(), generator()() % 4 == 0);
    });
    for (int width = 1; width <= 40; ++width)
        EXPECT_TRUE(normalizes<TypeParam>(width, 3, (8 - width % 8) % 8, {}, 13)) << width;
}

TYPED_TEST(NormalizeColumn, OneRowOff16Bytes)
{
    for (int width : {3, 8, 19})
        for (std::size_t off = 0; off < 4; ++off)
            for (int misalign : {1, 4, 8}) {
                std::vector<int> row_misalign(4, 0);
                row_misalign[off] = misalign;
                EXPECT_TRUE(normalizes<TypeParam>(width, 4, 0, {}, 2, false, -1, row_misalign));
            }
}

TYPED_TEST(NormalizeColumn, SpecialValues)
{
    Cycle sfs(std::vector<int32_t>{0, 15, -1, 1});
    for (int i = 0; i < 60; ++i)
        EXPECT_TRUE(normalizes<TypeParam>(17, 5, i % 2 * 7, {Placement{i % 3 * 4}}, sfs.next(), true));
}

// Counted modulo 32 on both sides.
TYPED_TEST(NormalizeColumn, EveryScaleFactor)
{
    if (!std::is_integral_v<typename TypeParam::T>) return;
    std::vector<int32_t> sfs = {INT32_MIN, INT32_MIN + 1, INT32_MAX};
    for (int32_t sf = -70; sf <= 70; ++sf) sfs.push_back(sf);
    for (int32_t sf : sfs)
        for (int misalign : {0, 2})
            for (bool special : {false, true})
                ASSERT_TRUE(normalizes<TypeParam>(19, 3, 5, {Placement{misalign}}, sf, special)) << "sf " << sf;
}

TYPED_TEST(NormalizeColumn, PointersThenSizesThenStepAreChecked)
{
    using T = typename TypeParam::T;
    using A = Arguments<T>;
    Guarded<T> block(std::vector<T>(24, T(3))), mean(std::vector<T>(5, T(4))), factor(std::vector<T>(5, T(2)));
    T* list[] = {block.data(), block.data() + 6, block.data() + 12, block.data() + 18};
    const A good{block.data(), 6, list, 4, mean.data(), factor.data(), 5, 0};
    for (int32_t size : {0, -1, INT32_MIN}) {
        std::vector<Fault<A>> faults = {{"source", SrErrNullPtr,
                                         [](A& a) {
                                             a.block = nullptr;
                                             a.list = nullptr;
                                         }},
                                        {"mean", SrErrNullPtr, [](A& a) { a.mean = nullptr; }},
                                        {"factor", SrErrNullPtr, [](A& a) { a.factor = nullptr; }},
                                        {"height", SrErrSize, [=](A& a) { a.height = size; }},
                                        {"width", SrErrSize, [=](A& a) { a.width = size; }}};
        if (!TypeParam::kList) faults.push_back({"step", SrErrStride, [](A& a) { a.step = 4; }});
        expect_check_order<A>(good, faults, TypeParam::call, {&block, &mean, &factor});
    }
    Guarded<T> nothing(0);
    Guarded<T*> no_list(0);
    for (int32_t size : {0, -1, INT32_MIN}) {
        EXPECT_EQ(TypeParam::call({nothing.data(), 5, no_list.data(), size, mean.data(), factor.data(), 5, 0}),
                  SrErrSize);
        EXPECT_EQ(TypeParam::call({nothing.data(), 5, no_list.data(), 5, mean.data(), factor.data(), size, 0}),
                  SrErrSize);
    }
}

TYPED_TEST(NormalizeColumn, AllocatesNothingAndKeepsTheEnvironment)
{
    using T = typename TypeParam::T;
    const std::vector<T> before(3 * 16, T(9)), mean(16, T(3)), factor(16, T(2));
    std::vector<T> block = before;
    T* list[] = {block.data(), block.data() + 16, block.data() + 32};
    AllocatorWatch watch;
    under_each_environment(
        [&] {
            TypeParam::call({block.data(), 16, list, 3, mean.data(), factor.data(), 16, 0});
        },
        [&](const std::string& setting) {
            EXPECT_EQ(block, std::vector<T>(3 * 16, T(12))) << setting;
            block.assign(before.size(), T(9));
        });
    EXPECT_EQ(watch.requests(), 0);
}

#ifdef __i386__
TYPED_TEST(NormalizeColumn, RunsOnAnyStack)
{
    for (int stack : {0, 4, 8, 12})
        for (int misalign : {0, 4})
            EXPECT_TRUE(normalizes<TypeParam>(19, 3, 5, {Placement{misalign}}, 2, false, stack));
}
#endif

// A right shift rounds toward minus infinity; a left one drops the high bits of 32, and only then saturates: both
// wanted.
TEST(NormalizeColumn_16s, ByHand)
{
    struct Example {
        int16_t x, mean, factor;
        int32_t sf;
        int16_t expected;
    };
    for (const Example& e : std::initializer_list<Example>{{-1, 0, 1, 1, -1},
                                                           {-3, 0, 1, 1, -2},
                                                           {3, 0, 1, 1, 1},
                                                           {-1, 0, 1, 31, -1},
                                                           {-32768, 32767, 32767, 16, -32767},
                                                           {-32768, 32767, -32768, 16, 32767},
                                                           {-32768, 32767, -32768, 0, 32767},
                                                           {1, 0, 1, 32, 1},
                                                           {1, 0, 2, 33, 1},
                                                           {1, 0, 1, -14, 16384},
                                                           {1, 0, 1, -15, 32767},
                                                           {1, 0, 1, -31, -32768},
                                                           {1, 0, 2, -31, 0},
                                                           {1, 0, 3, -31, -32768},
                                                           {1, 0, 3, -32, 3},
                                                           {1, 0, 3, INT32_MIN, 3},
                                                           {1, 0, 3, INT32_MAX, 0},
                                                           {-1, 0, 3, INT32_MAX, -1}}) {
        int16_t x = e.x;
        EXPECT_EQ(zelsNormalizeColumn_16s_D2Sfs(&x, 1, 1, &e.mean, &e.factor, 1, e.sf), SrOk);
        EXPECT_EQ(x, e.expected) << e.x << ", " << e.mean << ", " << e.factor << ", sf " << e.sf;
    }
}

}  // namespace
}  // namespace zelsr::test
