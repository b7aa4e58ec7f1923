// The harness against functions that are broken on purpose.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include "support/bits.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "zelsr/core/memory.h"

namespace zelsr::test {
namespace {

TEST(GuardedArray, LiesWhereItIsAskedTo)
{
    for (const Placement& placement : placements(1)) {
        Guarded<uint8_t> array(37, placement);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.data()) % 16, static_cast<unsigned>(placement.misalign));
        EXPECT_TRUE(array.intact());
    }
}

TEST(GuardedArray, NoticesAByteBesideIt)
{
    for (Edge edge : {Edge::Front, Edge::Back}) {
        Guarded<uint8_t> array(37, {5, edge});
        uint8_t* beside = edge == Edge::Front ? array.data() - 1 : array.data() + 37;
        *beside = 0;
        EXPECT_FALSE(array.intact());
    }
}

TEST(GuardedArrayDeathTest, StopsAccessBeyondTheForbiddenPages)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    Guarded<uint8_t> front(16, {0, Edge::Front});
    Guarded<uint8_t> back(16, {0, Edge::Back});
    volatile uint8_t sink = 0;
    EXPECT_DEATH(sink = *(static_cast<volatile uint8_t*>(front.data()) - 1), "");
    EXPECT_DEATH(sink = *(static_cast<volatile uint8_t*>(back.data()) + 16), "");
    (void)sink;
}

float* lost[2];  // what the function below loses, kept in reach so that no leak checker minds

SrStatus leaks_on_second_refusal()
{
    float* first = lost[lost[0] != nullptr] = zelsMalloc_32f(4);
    if (first == nullptr) return SrErrMemAlloc;
    float* second = zelsMalloc_32f(4);
    if (second == nullptr) return SrErrMemAlloc;
    zelsFree(second);
    zelsFree(first);
    return SrOk;
}

TEST(Refusals, NoticeALeakAndAWrittenOutput)
{
    EXPECT_NONFATAL_FAILURE(expect_survives_refusals(leaks_on_second_refusal, {}), "left allocated when block 2");
    static Guarded<float> output(1);
    const auto writes_first = [] {
        output.set(0, output.get(0) + 1.0F);
        float* scratch = zelsMalloc_32f(4);
        if (scratch == nullptr) return SrStatus{SrErrMemAlloc};
        zelsFree(scratch);
        return SrStatus{SrOk};
    };
    output.set(0, 1.0F);
    EXPECT_NONFATAL_FAILURE(expect_survives_refusals(writes_first, {&output}), "output written");
}

struct TwoArguments {
    const void* pointer;
    int size;
};

TEST(CheckOrder, NoticesAWrongOrder)
{
    static int x;
    static const TwoArguments good{&x, 1};
    static const std::vector<Fault<TwoArguments>> faults = {
        {"null", SrErrNullPtr, [](TwoArguments& a) { a.pointer = nullptr; }},
        {"size", SrErrSize, [](TwoArguments& a) { a.size = 0; }},
    };
    const auto right = [](const TwoArguments& a) {
        return SrStatus{a.pointer == nullptr ? SrErrNullPtr : a.size < 1 ? SrErrSize : SrOk};
    };
    expect_check_order<TwoArguments>(good, faults, right);
    EXPECT_NONFATAL_FAILURE(
        {
            const auto wrong = [](const TwoArguments& a) {
                return SrStatus{a.size < 1 ? SrErrSize : a.pointer == nullptr ? SrErrNullPtr : SrOk};
            };
            expect_check_order<TwoArguments>(good, faults, wrong);
        },
        "faults: null, size");
}

TEST(Environment, NoticesAChangedRoundingMode)
{
    static int calls;
    calls = 0;
    const auto nothing = [](const std::string&) {};
    EXPECT_NONFATAL_FAILURE(
        {
            const auto changes_once = [] {
                if (calls++ == 1) _mm_setcsr(0x1f80);
            };
            under_each_environment(changes_once, nothing);
        },
        "vector control word, down");
}

TEST(SameValues, TellsZerosApartAndTakesAnyNan)
{
    EXPECT_FALSE(same_value(0.0F, -0.0F));
    EXPECT_TRUE(same_value(__builtin_nanf("1"), -__builtin_nanf("2")));
    EXPECT_FALSE(same_value(1.0, 1.0 + 1e-16 * 3));
    EXPECT_TRUE(same_value(int16_t{3}, int16_t{3}));
}

}  // namespace
}  // namespace zelsr::test
