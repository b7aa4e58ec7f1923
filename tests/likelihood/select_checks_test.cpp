// Mixtures of selected components: checks, work memory, the bounds of memory, long runs.
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <climits>
#include <cmath>

#include "likelihood/select_members.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test::select {
namespace {

template <class M>
class LogGaussMixtureSelectFrame : public testing::Test {
  public:
    using T = typename M::T;
};
TYPED_TEST_SUITE(LogGaussMixtureSelectFrame, Members, MemberNames);

// A problem in memory of its own: call(a.arguments).
template <class T>
struct Loose {
    Loose(int width, int components, int height, int32_t beyond_width = 0, int density = 128)
        : problem(random_problem<T>(width, components, height, density)),
          step(width + beyond_width),
          frames(as_block(problem.frames, static_cast<std::size_t>(step))),
          mean(as_block(problem.mean, static_cast<std::size_t>(step))),
          inv_var(as_block(problem.inv_var, static_cast<std::size_t>(step))),
          sum(static_cast<std::size_t>(height))
    {
        for (int i = 0; i < height; ++i) frame_list.push_back(frames.data() + i * step);
        for (int j = 0; j < components; ++j) mean_list.push_back(mean.data() + j * step);
        for (int j = 0; j < components; ++j) inv_var_list.push_back(inv_var.data() + j * step);
    }
    Arguments<T> arguments()
    {
        return {frames.data(),
                mean.data(),
                inv_var.data(),
                step,
                frame_list.data(),
                mean_list.data(),
                inv_var_list.data(),
                problem.width(),
                problem.val.data(),
                problem.table.data(),
                problem.components(),
                sum.data(),
                problem.height(),
                problem.fallback,
                problem.sf};
    }
    Problem<T> problem;
    int32_t step;
    Guarded<T> frames, mean, inv_var;
    std::vector<const T*> frame_list, mean_list, inv_var_list;
    Guarded<float> sum;
};

// --- checks ---

template <class M>
std::vector<Fault<Arguments<typename M::T>>> faults(int32_t size)
{
    using Args = Arguments<typename M::T>;
    using T = typename M::T;
    static const T* const no_frame[3] = {};
    static const T* const no_row[2] = {};
    std::vector<Fault<Args>> all = {
        {"frames", SrErrNullPtr, [](Args& a) { a.frames = nullptr, a.frame_list = nullptr; }},
        {"mean", SrErrNullPtr, [](Args& a) { a.mean = nullptr, a.mean_list = nullptr; }},
        {"val", SrErrNullPtr, [](Args& a) { a.val = nullptr; }},
        {"table", SrErrNullPtr, [](Args& a) { a.table = nullptr; }},
        {"sum", SrErrNullPtr, [](Args& a) { a.sum = nullptr; }},
    };
    if (M::kVariances)
        all.push_back({"inv_var", SrErrNullPtr, [](Args& a) { a.inv_var = nullptr, a.inv_var_list = nullptr; }});
    all.push_back({"width", SrErrSize, [size](Args& a) { a.width = size; }});
    all.push_back({"components", SrErrSize, [size](Args& a) { a.components = size; }});
    all.push_back({"height", SrErrSize, [size](Args& a) { a.height = size; }});
    if (!M::kList) {
        all.push_back({"step", SrErrStride, [](Args& a) { a.step = 4; }});
        return all;
    }
    all.push_back({"a frame", SrErrNullPtr, [](Args& a) { a.frame_list = no_frame; }});
    all.push_back({"a mean", SrErrNullPtr, [](Args& a) { a.mean_list = no_row; }});
    if (M::kVariances) all.push_back({"an inv_var", SrErrNullPtr, [](Args& a) { a.inv_var_list = no_row; }});
    return all;
}

TYPED_TEST(LogGaussMixtureSelectFrame, PointersSizesAndThenTheStepOrTheListsEntriesAreChecked)
{
    using Args = Arguments<typename TestFixture::T>;
    Loose<typename TestFixture::T> loose(5, 2, 3, 1);
    ASSERT_EQ(TypeParam::call(loose.arguments()), SrOk);
    const auto call = [](const Args& a) { return TypeParam::call(a); };
    for (int32_t size : thin_effort() ? std::vector<int32_t>{0} : std::vector<int32_t>{0, -1, INT_MIN})
        expect_check_order<Args>(loose.arguments(), faults<TypeParam>(size), call, {&loose.sum});
}

TYPED_TEST(LogGaussMixtureSelectFrame, ANullEntryAnywhereInAListIsANullPointer)
{
    if (!TypeParam::kList) return;
    Loose<typename TestFixture::T> loose(5, 11, 4);
    loose.sum.take_snapshot();
    for (auto* list : {&loose.frame_list, &loose.mean_list, &loose.inv_var_list})
        for (auto& entry : *list) {
            const auto* const kept = entry;
            entry = nullptr;
            const bool looked_at = TypeParam::kVariances || list != &loose.inv_var_list;
            EXPECT_EQ(TypeParam::call(loose.arguments()), looked_at ? SrErrNullPtr : SrOk);
            EXPECT_TRUE(!looked_at || loose.sum.as_snapshot());
            entry = kept;
        }
}

TYPED_TEST(LogGaussMixtureSelectFrame, StepsAtTheirEnds)
{
    Loose<typename TestFixture::T> loose(5, 1, 1);
    auto a = loose.arguments();
    EXPECT_EQ(TypeParam::call(a), SrOk);
    a.step = INT_MAX;
    EXPECT_EQ(TypeParam::call(a), SrOk);
    for (int32_t step : {4, 0, -5, INT_MIN}) {
        a.step = step;
        EXPECT_EQ(TypeParam::call(a), TypeParam::kList ? SrOk : SrErrStride) << step;
    }
    a.width = INT_MIN;
    EXPECT_EQ(TypeParam::call(a), SrErrSize);
}

// --- work memory ---

constexpr std::size_t kOverhead = 32 + sizeof(void*);

TYPED_TEST(LogGaussMixtureSelectFrame, AsksForCountersOrTheShortKernelsWorkMemoryOrNothing)
{
    for (int components : {1, 8, 9, 20, 21})
        for (int height : {1, 2, 19, 20, 21}) {
            Loose<typename TestFixture::T> loose(5, components, height);
            std::vector<std::size_t> expected;
            if (!TypeParam::fast(components, height))
                expected = {2 * static_cast<std::size_t>(height) + kOverhead};
            else if (TypeParam::short_kernel(components, height))
                expected = {4 * 2500 + kOverhead};
            const AllocatorWatch watch;
            EXPECT_EQ(TypeParam::call(loose.arguments()), SrOk);
            EXPECT_EQ(watch.sizes(), expected) << components << " components, " << height << " frames";
            EXPECT_EQ(watch.live(), 0);
        }
}

TYPED_TEST(LogGaussMixtureSelectFrame, ARefusedBlockLeavesTheSums)
{
    for (int components : {1, 8, 9, 20})
        for (int height : {1, 2, 19}) {
            Loose<typename TestFixture::T> loose(5, components, height);
            expect_survives_refusals([&] { return TypeParam::call(loose.arguments()); }, {&loose.sum});
        }
}

// --- long runs ---

// Scores are counted in 16 bits, but for the path that counts none.
TYPED_TEST(LogGaussMixtureSelectFrame, TheCounterOfComponentsWraps)
{
    using T = typename TestFixture::T;
    for (int height : {1, 2})
        for (int components : {65535, 65536, 65537}) {
            const std::vector<T> zeros(static_cast<std::size_t>(components), T(0));
            std::vector<const T*> list(zeros.size(), zeros.data());
            std::vector<float> val(zeros.size(), 0.0F);
            val.back() = -3;
            const Bytes table(static_cast<std::size_t>(height) * bytes_of(components), 0xff);
            std::vector<float> sum(static_cast<std::size_t>(height));
            ASSERT_EQ(TypeParam::call({zeros.data(), zeros.data(), zeros.data(), 1, list.data(), list.data(),
                                       list.data(), 1, val.data(), table.data(), components, sum.data(), height,
                                       123.0F, 0}),
                      SrOk);
            if (components == 65535 || TypeParam::fast(components, height))
                EXPECT_NEAR(sum.back(), std::log(components), 65536 * (reference::kFastAddition + 0x1p-24 * 11.1));
            else
                EXPECT_EQ(sum.back(), components == 65536 ? 123.0F : -3.0F);
            EXPECT_EQ(sum.front(), sum.back());
        }
}

#ifdef __x86_64__
// Rows whose places do not fit 32 bits, in address space of which only the rows exist.
TYPED_TEST(LogGaussMixtureSelectFrame, RowsLieBeyond32BitsOfElements)
{
    using T = typename TestFixture::T;
    if (TypeParam::kList || thin_effort()) return;
    constexpr std::size_t kStep = std::size_t{1} << 28, kRows = 10;
    constexpr std::size_t kBytes = kStep * kRows * sizeof(T);
    void* map = mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    T* block = static_cast<T*>(map);
    for (std::size_t r = 0; r < kRows; ++r) {
        ASSERT_EQ(mprotect(block + r * kStep, 4096, PROT_READ | PROT_WRITE), 0);
        for (std::size_t k = 0; k < 5; ++k) block[r * kStep + k] = static_cast<T>(r + k);
    }
    const float val[kRows] = {};
    for (int components : {8, 10}) {
        const Bytes table(bytes_of(components) * kRows, 0xff);
        float sum[kRows];
        EXPECT_EQ(TypeParam::call({block, block, block, kStep, nullptr, nullptr, nullptr, 5, val, table.data(),
                                   components, sum, kRows, 0, 0}),
                  SrOk);
        // The best component is the frame's own row; the next differs by 1 in every element.
        EXPECT_GE(sum[components - 1], 0);
        EXPECT_LT(sum[components - 1], 1);
    }
    munmap(map, kBytes);
}
#endif

// Blocks of the exact size, for the address sanitizer and valgrind.
TYPED_TEST(LogGaussMixtureSelectFrame, ReadsNothingBesideTheArrays)
{
    using T = typename TestFixture::T;
    const auto exact = [](const auto& values) {
        using Value = typename std::decay_t<decltype(values)>::value_type;
        std::unique_ptr<Value[]> block(new Value[values.size()]);
        std::copy(values.begin(), values.end(), block.get());
        return block;
    };
    for (int width = 1; width <= 41; width += width < 20 ? 1 : 3)
        for (int components : {3, 9, 21})
            for (int height : {2, 3}) {
                const auto p = random_problem<T>(width, components, height, 128);
                const int step = (width + 7) / 8 * 8;
                std::vector<std::unique_ptr<T[]>> rows;
                std::vector<const T*> lists[3];
                std::unique_ptr<T[]> blocks[3];
                int n = 0;
                for (const auto* matrix : {&p.frames, &p.mean, &p.inv_var}) {
                    blocks[n] = exact(as_block(*matrix, static_cast<std::size_t>(step)));
                    for (const auto& row : *matrix) lists[n].push_back(rows.emplace_back(exact(row)).get());
                    ++n;
                }
                const auto val = exact(p.val);
                const auto table = exact(p.table);
                const auto sum = exact(std::vector<float>(static_cast<std::size_t>(height)));
                ASSERT_EQ(TypeParam::call({blocks[0].get(), blocks[1].get(), blocks[2].get(), step,
                                           lists[0].data(), lists[1].data(), lists[2].data(), width, val.get(),
                                           table.get(), components, sum.get(), height, p.fallback, p.sf}),
                          SrOk);
                const auto aligned = [&](int i, int j) {
                    const auto on_16_bytes = [](const T* row) {
                        return reinterpret_cast<std::uintptr_t>(row) % 16 == 0;
                    };
                    if (TypeParam::kList)
                        return on_16_bytes(lists[0][static_cast<std::size_t>(i)]) &&
                               on_16_bytes(lists[1][static_cast<std::size_t>(j)]) &&
                               on_16_bytes(lists[2][static_cast<std::size_t>(j)]);
                    return on_16_bytes(blocks[0].get() + i * step) && on_16_bytes(blocks[1].get() + j * step) &&
                           on_16_bytes(blocks[2].get() + j * step);
                };
                ASSERT_TRUE(same_values(expected_sums<TypeParam>(p, aligned),
                                        std::vector<float>(sum.get(), sum.get() + height)))
                    << "width " << width << ", " << components << " components";
            }
}

#ifdef __i386__
TYPED_TEST(LogGaussMixtureSelectFrame, TakesACallWithTheStackOn4Bytes)
{
    for (int misalign : {0, 4, 8, 12})
        for (int components : {3, 9, 21})
            for (int beyond_width : {0, 3}) {
                Loose<typename TestFixture::T> loose(5, components, 7, beyond_width);
                ASSERT_EQ(TypeParam::call(loose.arguments()), SrOk);
                const std::vector<float> expected = loose.sum.values();
                loose.sum.fill(std::vector<float>(7, 0.0F));
                EXPECT_EQ(TypeParam::call(loose.arguments(), OnOddStack{misalign}), SrOk);
                EXPECT_TRUE(same_values(expected, loose.sum.values())) << misalign;
            }
}
#endif

}  // namespace
}  // namespace zelsr::test::select
