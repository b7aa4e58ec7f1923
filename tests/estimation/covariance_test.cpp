// Covariance over frames: bits equal to the statement's in either order of the work, and where the order changes.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cfenv>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "estimation/covariance_jobs.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test::covariance {
namespace {

template <class F>
class Covariance : public testing::Test {};
struct FormName {
    template <class F>
    static std::string GetName(int)
    {
        return std::string(sizeof(typename F::Element) == 4 ? "32f64f" : "16s64f") + (F::list ? "_D2L" : "_D2");
    }
};
using Forms =
    testing::Types<Form<float, false>, Form<float, true>, Form<std::int16_t, false>, Form<std::int16_t, true>>;
TYPED_TEST_SUITE(Covariance, Forms, FormName);

// ---- Small jobs -------------------------------------------------------------------------------------------

TYPED_TEST(Covariance, IsTheSumOverFramesAtEverySize)
{
    for (int width : lengths(8))
        for (int height : {1, 2, 3, 4, 5, 8, 17})
            for (bool special : {false, true}) {
                Shape shape{width, height};
                ASSERT_TRUE(Job<TypeParam>(shape, special).runs());
                shape.beyond = uniform(0, 5);
                shape.dst_beyond = uniform(0, 5);
                ASSERT_TRUE(Job<TypeParam>(shape, special).runs());
                shape.beyond = shape.dst_beyond = (8 - width % 8) % 8;
                ASSERT_TRUE(Job<TypeParam>(shape, special).runs());
            }
}

TYPED_TEST(Covariance, IsTheSumOverFramesAtEveryAddress)
{
    for (int width : {1, 3, 4, 7, 8, 13})
        for (int height : {1, 4, 6})
            for (int off = 0; off < 16; ++off) {
                ASSERT_TRUE(Job<TypeParam>(Shape{width, height, 1, 1, off, 0, 0}).runs());
                ASSERT_TRUE(Job<TypeParam>(Shape{width, height, 1, 1, 0, off, 0}).runs());
                ASSERT_TRUE(Job<TypeParam>(Shape{width, height, 1, 1, 0, 0, off}).runs());
                ASSERT_TRUE(Job<TypeParam>(Shape{width, height, 1, 1, off, off, off}).runs());
            }
}

TYPED_TEST(Covariance, InEachRoundingMode)
{
    for (int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO})
        for (int width : {1, 4, 11}) {
            const Job<TypeParam> job(Shape{width, 9});
            std::fesetround(mode);
            const testing::AssertionResult right = job.runs();
            EXPECT_EQ(std::fegetround(), mode);
            std::fesetround(FE_TONEAREST);
            EXPECT_TRUE(right) << mode;
        }
}

TYPED_TEST(Covariance, BothDifferencesAreFromTheMeanOfTheSecondColumn)
{
    using T = typename TypeParam::Element;
    const std::vector<T> frame = {3, 10}, mean = {1, 4};
    std::vector<double> dst = {100, 200, -999, 300};
    const T* list[] = {frame.data()};
    double* dst_list[] = {&dst[0], &dst[2]};
    EXPECT_EQ(TypeParam::call({frame.data(), list, 2, 1, mean.data(), dst.data(), dst_list, 2, 2, 0.5}), SrOk);
    // (3 - 1)^2, (3 - 4) (10 - 4), (10 - 4)^2; the lower triangle is no input.
    EXPECT_EQ(dst, (std::vector<double>{102, 197, 197, 318}));
}

TYPED_TEST(Covariance, FactorsOfAllKinds)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (double factor :
         {0.0, -0.0, 1.0, -1.0, infinity, std::numeric_limits<double>::quiet_NaN(), 1e-310, 1e300}) {
        Shape shape{9, 5};
        shape.factor = factor;
        ASSERT_TRUE(Job<TypeParam>(shape).runs());
    }
}

// ---- Large jobs -------------------------------------------------------------------------------------------

// A job just large enough of this step (width of lists), or one frame less.
template <class F>
Shape at_threshold(int width, int step, int less)
{
    const int of_row = F::list ? width : step;
    Shape shape{width, (F::large + of_row - 1) / of_row - less};
    shape.beyond = step - width;
    shape.dst_beyond = (8 - width % 8) % 8;
    return shape;
}

// Steps of lists here put their rows on 16 bytes.
TYPED_TEST(Covariance, LargeJobsGoFrameByFrameFromTheThresholdOn)
{
    for (const auto& [width, step] : {std::pair{1, 8}, {3, 40}, {4, 8}, {5, 8}, {8, 8}, {13, 400}, {16, 16}})
        for (int less : {0, 1}) {
            if (thin_effort() && width != 4) continue;
            const Job<TypeParam> job(at_threshold<TypeParam>(width, step, less));
            EXPECT_EQ(job.large(), less == 0);
            ASSERT_TRUE(job.runs());
            // The two orders do tell.
            EXPECT_TRUE(width == 1 || !same_values(job.expected(true), job.expected(false)));
        }
}

TYPED_TEST(Covariance, LargeJobsThatAreNotAlignedSumFirst)
{
    using T = typename TypeParam::Element;
    if (thin_effort()) return;
    const auto off = static_cast<int>(sizeof(T));
    const Shape large = at_threshold<TypeParam>(5, 8, 0);
    std::vector<Shape> shapes(3, large);
    shapes[0].frames_off = off;
    shapes[1].mean_off = off;
    shapes[2].dst_off = 8;
    if (TypeParam::list) {
        for (int row : {0, 1, large.height / 2, large.height - 1}) {
            shapes.push_back(large);
            shapes.back().odd_frame = row;
        }
        for (int row : {0, 2, 4}) {
            shapes.push_back(large);
            shapes.back().odd_row = row;
        }
    } else {
        for (int beyond : {4, 5, 6, 8, 9}) {  // steps of 9, 10, 11, 13, 14
            shapes.push_back(large);
            shapes.back().beyond = beyond;
            shapes.push_back(large);
            shapes.back().dst_beyond = beyond;
        }
    }
    for (const Shape& shape : shapes) {
        const Job<TypeParam> job(shape);
        EXPECT_FALSE(job.large());
        ASSERT_TRUE(job.runs());
    }
}

// Blocks ask for steps that are multiples of 4, whatever the type: rows of 16-bit frames may lie 8 bytes off.
TYPED_TEST(Covariance, LargeJobsHaveStepsOfFours)
{
    if (TypeParam::list || thin_effort()) return;
    Shape shape = at_threshold<TypeParam>(7, 12, 0);
    for (int dst_beyond : {1, 5}) {
        shape.dst_beyond = dst_beyond;
        const Job<TypeParam> job(shape);
        EXPECT_TRUE(job.large());
        ASSERT_TRUE(job.runs());
    }
}

TYPED_TEST(Covariance, LargeJobsWithSpecialValuesAndInEachRoundingMode)
{
    if (thin_effort()) return;
    const Shape shape = at_threshold<TypeParam>(6, 8, 0);
    for (int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
        const Job<TypeParam> job(shape, mode == FE_TONEAREST);
        std::fesetround(mode);
        const testing::AssertionResult right = job.runs();
        std::fesetround(FE_TONEAREST);
        EXPECT_TRUE(right) << mode;
    }
}

#ifdef __x86_64__
// Four frames of eight columns in address space of which only the frames exist: the size of the job does not fit
// 32 bits, nor do the frames' places.
TYPED_TEST(Covariance, StepsOfAnyLength)
{
    using T = typename TypeParam::Element;
    constexpr std::size_t kStep = 1 << 30, kPage = 4096;
    if (TypeParam::list || thin_effort()) return;
    void* map =
        mmap(nullptr, 4 * kStep * sizeof(T), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    T* block = static_cast<T*>(map);
    const std::vector<T> mean = uniform_vector<T>(8, T(-30000), T(30000));
    std::vector<std::vector<T>> frames;
    for (std::size_t r = 0; r < 4; ++r) {
        ASSERT_EQ(mprotect(block + r * kStep, kPage, PROT_READ | PROT_WRITE), 0);
        frames.push_back(uniform_vector<T>(8, T(-30000), T(30000)));
        std::copy(frames.back().begin(), frames.back().end(), block + r * kStep);
    }
    std::vector<std::vector<double>> expected(8, uniform_vector<double>(8, -1e6, 1e6));
    std::vector<double> start, flat;
    for (const auto& row : expected) start.insert(start.end(), row.begin(), row.end());
    const Guarded<T> aligned_mean(mean);
    const Guarded<double> dst(start);
    EXPECT_EQ(TypeParam::call({block, nullptr, kStep, 4, aligned_mean.data(), dst.data(), nullptr, 8, 8, 0.37}),
              SrOk);
    reference::add_covariance_by_frames(frames, mean, expected, 0.37);
    for (const auto& row : expected) flat.insert(flat.end(), row.begin(), row.end());
    EXPECT_TRUE(same_values(flat, dst.values()));
    munmap(map, 4 * kStep * sizeof(T));
}
#endif

// ---- What every member keeps ------------------------------------------------------------------------------

TYPED_TEST(Covariance, ChecksNullThenSizesThenSteps)
{
    using T = typename TypeParam::Element;
    using A = Arguments<T>;
    Shape shape{5, 3, 1, 1};
    Job<TypeParam> job(shape);
    for (std::int32_t size : {0, -1, INT32_MIN}) {
        std::vector<Fault<A>> faults = {{"frames", SrErrNullPtr,
                                         [](A& a) {
                                             a.block = nullptr;
                                             a.list = nullptr;
                                         }},
                                        {"mean", SrErrNullPtr, [](A& a) { a.mean = nullptr; }},
                                        {"matrix", SrErrNullPtr,
                                         [](A& a) {
                                             a.dst_block = nullptr;
                                             a.dst_list = nullptr;
                                         }},
                                        {"height", SrErrSize, [size](A& a) { a.height = size; }},
                                        {"width", SrErrSize, [size](A& a) { a.width = size; }}};
        if (!TypeParam::list)
            for (std::int32_t step : {4, INT32_MIN}) {
                faults.push_back({"step", SrErrStride, [step](A& a) { a.step = step; }});
                faults.push_back({"matrix step", SrErrStride, [step](A& a) { a.dst_step = step; }});
            }
        expect_check_order<A>(job.arguments(), faults, TypeParam::call, {&job.dst()});
    }
}

TYPED_TEST(Covariance, AsksForNoMemory)
{
    for (const Shape& shape : {Shape{3, 2}, Shape{100, 50}, at_threshold<TypeParam>(8, 8, 0)}) {
        const Job<TypeParam> job(shape);
        const AllocatorWatch watch(1);
        EXPECT_EQ(TypeParam::call(job.arguments()), SrOk);
        EXPECT_EQ(watch.requests(), 0);
    }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
TYPED_TEST(Covariance, ReadsNothingBesideTheArrays)
{
    using T = typename TypeParam::Element;
    for (int width = 1; width <= 19; ++width)
        for (int height : {1, 2, 5}) {
            const auto n = static_cast<std::size_t>(width), m = static_cast<std::size_t>(height);
            std::vector<std::unique_ptr<T[]>> kept;
            std::vector<std::unique_ptr<double[]>> kept_dst;
            std::vector<const T*> list;
            std::vector<double*> dst_list;
            for (std::size_t r = 0; r < m; ++r) list.push_back(kept.emplace_back(new T[n]()).get());
            for (std::size_t r = 0; r < n; ++r) dst_list.push_back(kept_dst.emplace_back(new double[n]()).get());
            const std::unique_ptr<T[]> block(new T[n * m]()), mean(new T[n]());
            const std::unique_ptr<double[]> dst(new double[n * n]());
            EXPECT_EQ(TypeParam::call({block.get(), list.data(), width, height, mean.get(), dst.get(),
                                       dst_list.data(), width, width, 1}),
                      SrOk);
        }
}

#ifdef __i386__
TYPED_TEST(Covariance, TakesACallWithTheStackOn4Bytes)
{
    for (int stack : {0, 4, 8, 12})
        for (const Shape& shape : {Shape{3, 2}, Shape{13, 5}, at_threshold<TypeParam>(5, 8, 0)}) {
            const Job<TypeParam> job(shape);
            stack_misalign = stack;
            const SrStatus status = TypeParam::call(job.arguments());
            stack_misalign = -1;
            ASSERT_TRUE(job.right(status)) << stack;
        }
}
#endif

}  // namespace
}  // namespace zelsr::test::covariance
