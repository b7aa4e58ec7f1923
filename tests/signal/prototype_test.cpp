// Tables of the resampler for any factor: their entries, their checks, their memory.
#include <gtest/gtest.h>

#include <cmath>

#include "signal/resample_designs.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN(), kInfinity = std::numeric_limits<float>::infinity();

// ---- Tables -------------------------------------------------------------------------------------------------

// Singles near the stated values: one unit of the sine, or of rounding the position, away. Exact positions only at
// densities that are powers of 2; at others neighbours mix in by 1e-13.
TEST(ResampleTable, SinglePrecision)
{
    for (const Design& d : kDesigns)
        for (int32_t hint : {0, 1, 2, 77}) {
            const ContinuousRecord<float> record(d.window, d.per_sample, d.rollf, d.alpha, hint);
            const auto expected = reference::float_table(d.window, d.per_sample, d.rollf, d.alpha).entries;
            const auto actual = table_of<float>(record.get(), d, 1, 1);
            for (std::size_t i = 0; i < actual.size(); ++i)
                ASSERT_NEAR(actual[i], expected[i], std::abs(expected[i]) * 0x1p-23 + 1e-12)
                    << describe(d) << ", " << i;
        }
}

TEST(ResampleTable, SixteenBits)
{
    for (const Design& d : kDesigns)
        for (int32_t hint : {0, 1, 3, -2}) {
            const ContinuousRecord<int16_t> record(d.window, d.per_sample, d.rollf, d.alpha, hint);
            const auto expected = reference::integer_table(d.window, d.per_sample, d.rollf, d.alpha);
            // Up to half an entry does not hide a wrong one.
            const auto actual = table_of<int16_t>(record.get(), d, 1, 1 / expected.scale);
            for (std::size_t i = 0; i < actual.size(); ++i)
                ASSERT_EQ(actual[i], expected.entries[i]) << describe(d) << ", " << i;
            EXPECT_EQ(*std::max_element(actual.begin(), actual.end()), 16383);
        }
}

// Hint 2 keeps single precision: entries far below the 16-bit table's unit are there.
TEST(ResampleTable, SinglePrecisionFor16BitSamples)
{
    for (const Design& d : kDesigns) {
        const ContinuousRecord<int16_t> record(d.window, d.per_sample, d.rollf, d.alpha, 2);
        const auto expected = reference::float_table(d.window, d.per_sample, d.rollf, d.alpha).entries;
        const auto actual = table_of<int16_t>(record.get(), d, 16384, 64);
        for (std::size_t i = 0; i < actual.size(); ++i)
            if (std::abs(expected[i]) < 0x1p-6) {
                ASSERT_NEAR(actual[i], expected[i] * 0x1p20, 0.51) << describe(d) << ", " << i;
            }
    }
}

TEST(ResamplePolyphaseInitAlloc, TablesDoNotDependOnTheEnvironment)
{
    for (const Design& d : {kDesigns[0], kDesigns[5], kDesigns[6], Design{7.3F, 16, 0.3F, 4}}) {
        std::vector<double> expected;
        ZelResampleState* state = nullptr;
        under_each_environment(
            [&] { zelsResamplePolyphaseInitAlloc_32f(&state, d.window, d.per_sample, d.rollf, d.alpha, 1); },
            [&](const std::string& setting) {
                const std::vector<double> actual = table_of<float>(state, d, 1, 1);
                if (expected.empty()) expected = actual;
                EXPECT_TRUE(same_values(expected, actual)) << setting << ", " << describe(d);
                EXPECT_EQ(zelsResamplePolyphaseFree_32f(state), SrOk);
            });
    }
}

// ---- Checks -------------------------------------------------------------------------------------------------

struct InitArguments {
    ZelResampleState** state;
    float window;
    int32_t per_sample;
    float rollf, alpha;
    int32_t hint;
};

template <class T>
void expect_init_checks()
{
    Guarded<ZelResampleState*> state(1);
    for (const auto& [window, rollf, alpha] : {std::tuple{0.4999F, 0.0F, 0.9999F},
                                               {kNan, kNan, kNan},
                                               {-1.0F, 1.0000001F, -1.0F},
                                               {0.0F, -0.5F, 0.0F},
                                               {kInfinity, kInfinity, -kInfinity}})
        expect_check_order<InitArguments>(
            {state.data(), 16, 4, 0.9F, 6, 1},
            {{"null state", SrErrNullPtr, [](InitArguments& a) { a.state = nullptr; }},
             {"no entries", SrErrSize, [](InitArguments& a) { a.per_sample = 0; }},
             {"negative entries", SrErrSize, [](InitArguments& a) { a.per_sample = -1; }},
             {"lowest entries", SrErrSize, [](InitArguments& a) { a.per_sample = INT32_MIN; }},
             {"window", SrErrBadArg, [w = window](InitArguments& a) { a.window = w; }},
             {"rollf", SrErrBadArg, [r = rollf](InitArguments& a) { a.rollf = r; }},
             {"alpha", SrErrBadArg, [l = alpha](InitArguments& a) { a.alpha = l; }},
             {"too long a table", SrErrBadArg, [](InitArguments& a) { a.window = 1e30F; }}},
            [](const InitArguments& a) {
                return Continuous<T>::init(a.state, a.window, a.per_sample, a.rollf, a.alpha, a.hint);
            },
            {&state});
}
TEST(ResamplePolyphaseInitAlloc, NullThenSizeThenTheDesign)
{
    expect_init_checks<float>();
    expect_init_checks<int16_t>();
}

TEST(ResamplePolyphaseInitAlloc, TheDesignsBounds)
{
    for (const auto& [window, per_sample] : {std::pair{0.5F, 4}, {2.0F, 1}, {0x1p-29F, 1 << 30}}) {
        const ContinuousRecord<float> least(window, per_sample, 1.0F, 1.0F, 1);
        ZelResampleState* state = nullptr;
        EXPECT_EQ(zelsResamplePolyphaseInitAlloc_32f(&state, std::nextafter(window, 0.0F), per_sample, 1, 1, 1),
                  SrErrBadArg);
        EXPECT_EQ(zelsResamplePolyphaseInitAlloc_32f(&state, window, per_sample, std::nextafter(1.0F, 2.0F), 1, 1),
                  SrErrBadArg);
        EXPECT_EQ(zelsResamplePolyphaseInitAlloc_32f(&state, window, per_sample, 1, std::nextafter(1.0F, 0.0F), 1),
                  SrErrBadArg);
    }
    // 2 / 3 in double lies between these singles.
    const ContinuousRecord<float> above(0.6666667F, 3, 1.0F, 1.0F, 1);
    ZelResampleState* state = nullptr;
    EXPECT_EQ(zelsResamplePolyphaseInitAlloc_32f(&state, std::nextafter(0.6666667F, 0.0F), 3, 1, 1, 1),
              SrErrBadArg);
    const ContinuousRecord<float> narrow(8.0F, 4, std::numeric_limits<float>::denorm_min(), 1.0F, 1);
    EXPECT_EQ(state, nullptr);
}

// The window's Bessel function overflows; its series ends all the same.
TEST(ResamplePolyphaseInitAlloc, AnAlphaTooLargeForDoubleComesToAnEnd)
{
    for (float alpha : {700.0F, 720.0F, 1000.0F, 3e38F, kInfinity}) {
        const ContinuousRecord<float> record(4.0F, 4, 1.0F, alpha, 1);
        const ContinuousRecord<int16_t> record_16s(4.0F, 4, 1.0F, alpha, 1);
        const FixedRecord<int16_t> fixed(2, 3, 8, 1.0F, alpha, 1);
    }
}

// A table has at most 0xFFFFFFE entries: 2^28 - 16 is the next length that single precision tells apart.
TEST(ResamplePolyphaseInitAlloc, TheLongestTable)
{
    ZelResampleState* state = nullptr;
    for (const auto init : {zelsResamplePolyphaseInitAlloc_32f, zelsResamplePolyphaseInitAlloc_16s})
        for (int refused : {1, 2}) {
            AllocatorWatch watch(refused);
            EXPECT_EQ(init(&state, 512, 1 << 20, 1, 1, 2), SrErrBadArg);
            EXPECT_EQ(watch.requests(), 0);
            if (refused == 1) {
                EXPECT_EQ(init(&state, std::nextafter(512.0F, 0.0F), 1 << 20, 1, 1, 2), SrErrMemAlloc);
            }
        }
    EXPECT_EQ(state, nullptr);
}

// call(&state), once for each block refused: what the call returns for each, and nothing left or handed out.
std::vector<SrStatus> refusals(const std::function<SrStatus(ZelResampleState**)>& call)
{
    int blocks = 0;
    {
        AllocatorWatch watch;
        ZelResampleState* state = nullptr;
        EXPECT_EQ(call(&state), SrOk);
        EXPECT_EQ(watch.live(), 1) << "work memory was left";
        blocks = watch.requests();
        EXPECT_EQ(zelsResamplePolyphaseFree_16s(state), SrOk);
        EXPECT_EQ(watch.live(), 0);
    }
    std::vector<SrStatus> statuses;
    for (int refused = 1; refused <= blocks; ++refused) {
        Guarded<ZelResampleState*> state(1);
        state.take_snapshot();
        AllocatorWatch watch(refused);
        statuses.push_back(call(state.data()));
        EXPECT_EQ(watch.live(), 0);
        EXPECT_TRUE(state.as_snapshot());
    }
    std::sort(statuses.begin(), statuses.end());
    return statuses;
}

TEST(ResamplePolyphaseInitAlloc, EveryBlockRefused)
{
    EXPECT_EQ(refusals([](auto state) { return zelsResamplePolyphaseInitAlloc_32f(state, 16, 32, 0.9F, 6, 1); }),
              (std::vector<SrStatus>{SrErrMemAlloc, SrErrMemAlloc}));
    EXPECT_EQ(refusals([](auto state) { return zelsResamplePolyphaseInitAlloc_16s(state, 16, 32, 0.9F, 6, 2); }),
              (std::vector<SrStatus>{SrErrMemAlloc, SrErrMemAlloc}));
    // The 16-bit table's own: work memory that is refused counts as a null pointer.
    EXPECT_EQ(refusals([](auto state) { return zelsResamplePolyphaseInitAlloc_16s(state, 16, 32, 0.9F, 6, 1); }),
              (std::vector<SrStatus>{SrErrMemAlloc, SrErrNullPtr}));
}

TEST(ResamplePolyphaseFree, OfNull)
{
    EXPECT_EQ(zelsResamplePolyphaseFree_32f(nullptr), SrErrNullPtr);
    EXPECT_EQ(zelsResamplePolyphaseFree_16s(nullptr), SrErrNullPtr);
}

}  // namespace
}  // namespace zelsr::test
