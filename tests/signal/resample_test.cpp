// Resampling by any factor.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "signal/resample_designs.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN(),
                 kInfinity = std::numeric_limits<double>::infinity();

// ---- Processing ---------------------------------------------------------------------------------------------

const std::vector<double> kFactors = {1,   2,        1.5,     3.7,  1.0000001,   16,     160.0 / 147, 0.5,
                                      0.9, 0.999999, 1.0 / 3, 0.37, 147.0 / 160, 0.0625, 0.021};

template <class T>
testing::AssertionResult resamples(const ZelResampleState* state, const reference::Table& table,
                                   const Signal<T>& signal, int32_t len, double factor, float norm, double time)
{
    const auto expected = reference::resample(
        table, [&](std::int64_t i) { return static_cast<double>(signal[i]); }, len, factor, norm, time);
    return resamples_to(expected, signal, time, [&](const T* src, T* dst, double* t, int32_t* count) {
        return Continuous<T>::run(state, src, len, dst, factor, norm, t, count);
    });
}

// The library's own table, of singles, taken at an exact density.
reference::Table singles_of(const ZelResampleState* state, const Design& d)
{
    reference::Table table{table_of<float>(state, d, 1, 1), 1, d.per_sample};
    table.entries.push_back(table.entries.back());
    return table;
}

bool is_power_of_2(int32_t x) { return (x & (x - 1)) == 0; }

TEST(ResamplePolyphase_32f, EveryFactorAndTime)
{
    for (const Design& d : kDesigns) {
        const ContinuousRecord<float> record(d.window, d.per_sample, d.rollf, d.alpha, 1);
        const reference::Table table = is_power_of_2(d.per_sample)
                                           ? singles_of(record.get(), d)
                                           : reference::float_table(d.window, d.per_sample, d.rollf, d.alpha);
        const Signal<float> signal(3000, -1, 1);
        for (double factor : kFactors)
            for (double time : {0.0, 0.25, 0.7, 3.999, 100.5, -3.0, -0.5}) {
                if (thin_effort() && (time == 0.25 || time == 3.999 || time == -3)) continue;
                const int32_t len = factor < 0.1 ? 150 : uniform(1, 40);
                for (float norm : {1.0F, 0.3F})
                    ASSERT_TRUE(resamples<float>(record.get(), table, signal, len, factor, norm, time))
                        << describe(d) << ", factor " << factor << ", time " << time << ", " << len << " samples";
            }
    }
}

TEST(ResamplePolyphase_16s, EveryFactorAndTime)
{
    for (const Design& d : kDesigns)
        for (int32_t hint : {1, 2}) {
            const ContinuousRecord<int16_t> record(d.window, d.per_sample, d.rollf, d.alpha, hint);
            const reference::Table table =
                hint == 2 ? reference::float_table(d.window, d.per_sample, d.rollf, d.alpha)
                          : reference::integer_table(d.window, d.per_sample, d.rollf, d.alpha);
            const Signal<int16_t> signal(3000, -32768, 32767);
            for (double factor : kFactors)
                for (double time : {0.0, 0.7, 3.999, 100.5, -3.0}) {
                    if (thin_effort() && (time == 3.999 || time == -3)) continue;
                    const int32_t len = factor < 0.1 ? 150 : uniform(1, 40);
                    for (float norm : {1.0F, 4.0F})  // 4: much is limited
                        ASSERT_TRUE(resamples<int16_t>(record.get(), table, signal, len, factor, norm, time))
                            << describe(d) << ", hint " << hint << ", factor " << factor << ", time " << time;
                }
        }
}

TEST(ResamplePolyphase, EveryLength)
{
    const Design d = kDesigns[0];
    const ContinuousRecord<float> record(d.window, d.per_sample, d.rollf, d.alpha, 1);
    const ContinuousRecord<int16_t> record_16s(d.window, d.per_sample, d.rollf, d.alpha, 1);
    const reference::Table table = singles_of(record.get(), d),
                           table_16s = reference::integer_table(d.window, d.per_sample, d.rollf, d.alpha);
    const Signal<float> signal(200, -1, 1);
    const Signal<int16_t> signal_16s(200, -3000, 3000);
    for (int32_t len : lengths(16))
        for (double factor : {1.3, 0.77}) {
            ASSERT_TRUE(resamples<float>(record.get(), table, signal, len, factor, 1, 0.3)) << len;
            ASSERT_TRUE(resamples<int16_t>(record_16s.get(), table_16s, signal_16s, len, factor, 1, 0.3)) << len;
        }
}

TEST(ResamplePolyphase, EveryAddress)
{
    const Design d = kDesigns[0];
    const ContinuousRecord<float> record(d.window, d.per_sample, d.rollf, d.alpha, 1);
    const ContinuousRecord<int16_t> record_16s(d.window, d.per_sample, d.rollf, d.alpha, 1);
    const std::vector<float> x = uniform_vector(100, -1.0F, 1.0F);
    const std::vector<int16_t> x_16s = uniform_vector<int16_t>(100, -3000, 3000);
    for (double factor : {1.25, 0.8}) {
        std::vector<float> expected(100);
        std::vector<int16_t> expected_16s(100);
        double time = 0;
        int32_t count = 0;
        EXPECT_EQ(
            zelsResamplePolyphase_32f(record.get(), x.data() + 30, 40, expected.data(), factor, 1, &time, &count),
            SrOk);
        time = 0;
        EXPECT_EQ(zelsResamplePolyphase_16s(record_16s.get(), x_16s.data() + 30, 40, expected_16s.data(), factor,
                                            1, &time, &count),
                  SrOk);
        for (const Placement& place : placements(4)) {
            const Guarded<float> source(x, place);
            const Guarded<int16_t> source_16s(x_16s, place);
            Guarded<float> result(at(count), place);
            Guarded<int16_t> result_16s(at(count), place);
            Guarded<double> moved(1, place);
            Guarded<int32_t> counted(1, place);
            moved.set(0, 0);
            EXPECT_EQ(zelsResamplePolyphase_32f(record.get(), source.data() + 30, 40, result.data(), factor, 1,
                                                moved.data(), counted.data()),
                      SrOk);
            EXPECT_TRUE(same_values({expected.begin(), expected.begin() + count}, result.values()));
            EXPECT_EQ(counted.get(0), count);
            moved.set(0, 0);
            EXPECT_EQ(zelsResamplePolyphase_16s(record_16s.get(), source_16s.data() + 30, 40, result_16s.data(),
                                                factor, 1, moved.data(), counted.data()),
                      SrOk);
            EXPECT_TRUE(same_values({expected_16s.begin(), expected_16s.begin() + count}, result_16s.values()));
            EXPECT_EQ(moved.get(0), time);
        }
    }
}

TEST(ResamplePolyphase_32f, InfinityAndNotANumberSpreadAsFarAsTheFilterReaches)
{
    const Design d{8, 16, 0.9F, 5};
    const ContinuousRecord<float> record(d.window, d.per_sample, d.rollf, d.alpha, 1);
    for (float bad : {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        Signal<float> signal(200, -1, 1);
        signal[20] = bad;
        EXPECT_TRUE(resamples<float>(record.get(), singles_of(record.get(), d), signal, 40, 1.3, 1, 0));
        EXPECT_TRUE(resamples<float>(record.get(), singles_of(record.get(), d), signal, 40, 0.7, 1, 0));
    }
}

// ---- What it is for -----------------------------------------------------------------------------------------

// At a factor of 1 on whole samples the taps add up to 1: with the full band they are the impulse itself.
TEST(ResamplePolyphase, AnImpulseComesOutWithGainOne)
{
    const ContinuousRecord<float> record(16.0F, 32, 1.0F, 6.0F, 1);
    const ContinuousRecord<int16_t> record_16s(16.0F, 32, 1.0F, 6.0F, 1);
    std::vector<float> x(60), y(40);
    std::vector<int16_t> x_16s(60), y_16s(40);
    x[30] = 1;
    x_16s[30] = 10000;
    double time = 0;
    int32_t count = 0;
    EXPECT_EQ(zelsResamplePolyphase_32f(record.get(), x.data() + 10, 40, y.data(), 1, 1, &time, &count), SrOk);
    EXPECT_EQ(count, 40);
    EXPECT_EQ(time, 40);
    time = 0;
    EXPECT_EQ(
        zelsResamplePolyphase_16s(record_16s.get(), x_16s.data() + 10, 40, y_16s.data(), 1, 1, &time, &count),
        SrOk);
    for (std::size_t i = 0; i < 40; ++i) {
        EXPECT_NEAR(y[i], i == 20 ? 1 : 0, 1e-7);
        EXPECT_EQ(y_16s[i], i == 20 ? 10000 : 0);
    }
}

TEST(ResamplePolyphase_32f, AToneKeepsItsShapeBothWays)
{
    const ContinuousRecord<float> record(32.0F, 256, 0.9F, 8.0F, 2);
    const double radians = 0.3;
    std::vector<float> x(400), y(1000);
    for (std::size_t i = 0; i < 400; ++i) x[i] = static_cast<float>(std::sin(radians * (double(i) - 100)));
    for (double factor : {1.0, 1.37, 2.2, 0.81, 0.5}) {
        double time = 0.2;
        int32_t count = 0;
        EXPECT_EQ(zelsResamplePolyphase_32f(record.get(), x.data() + 100, 200, y.data(), factor, 1, &time, &count),
                  SrOk);
        EXPECT_NEAR(count, 200 * factor, 1.01);
        for (int32_t i = 0; i < count; ++i)
            ASSERT_NEAR(y[at(i)], std::sin(radians * (0.2 + i / factor)), 1e-3) << factor << ", " << i;
    }
}

// The same bits whether a signal comes in one call or in blocks.
TEST(ResamplePolyphase, AStreamIsOneCall)
{
    const ContinuousRecord<float> record(16.0F, 32, 0.9F, 6.0F, 1);
    const ContinuousRecord<int16_t> record_16s(16.0F, 32, 0.9F, 6.0F, 1);
    const Signal<float> signal(500, -1, 1);
    const Signal<int16_t> signal_16s(500, -30000, 30000);
    for (double factor : {1.37, 2.0, 0.73, 0.5}) {
        std::vector<float> whole(1000), blocks(1000);
        std::vector<int16_t> whole_16s(1000), blocks_16s(1000);
        double whole_time = 0.3, time = 0.3;
        int32_t whole_count = 0, total = 0;
        const float* src = signal.address(0);
        const int16_t* src_16s = signal_16s.address(0);
        EXPECT_EQ(
            zelsResamplePolyphase_32f(record.get(), src, 300, whole.data(), factor, 1, &whole_time, &whole_count),
            SrOk);
        double time_16s = 0.3;
        int32_t count_16s = 0;
        EXPECT_EQ(zelsResamplePolyphase_16s(record_16s.get(), src_16s, 300, whole_16s.data(), factor, 1, &time_16s,
                                            &count_16s),
                  SrOk);
        EXPECT_EQ(count_16s, whole_count);
        int32_t reached = 0;
        while (reached < 300) {
            // A call goes on to the truncated time plus its length.
            const auto from = static_cast<int32_t>(time);
            const int32_t len = std::min(uniform(1, 60), 300 - from);
            if (len < 1) break;
            int32_t count = 0, also = 0;
            double before = time;
            EXPECT_EQ(
                zelsResamplePolyphase_32f(record.get(), src, len, blocks.data() + total, factor, 1, &time, &count),
                SrOk);
            EXPECT_EQ(zelsResamplePolyphase_16s(record_16s.get(), src_16s, len, blocks_16s.data() + total, factor,
                                                1, &before, &also),
                      SrOk);
            EXPECT_EQ(also, count);
            EXPECT_EQ(before, time);
            total += count;
            reached = from + len;
        }
        EXPECT_EQ(total, whole_count);
        EXPECT_EQ(time, whole_time);
        EXPECT_TRUE(same_values(whole, blocks)) << factor;
        EXPECT_TRUE(same_values(whole_16s, blocks_16s)) << factor;
    }
}

TEST(ResamplePolyphase, TheTimeMayBeMovedByWhatWasConsumed)
{
    const ContinuousRecord<float> record(16.0F, 32, 0.9F, 6.0F, 1);
    const Signal<float> signal(500, -1, 1);
    for (double factor : {2.0, 0.5, 0.8}) {  // exact steps of time
        std::vector<float> whole(1000), blocks(1000);
        double whole_time = 0.25, time = 0.25;
        int32_t whole_count = 0, total = 0, count = 0;
        EXPECT_EQ(zelsResamplePolyphase_32f(record.get(), signal.address(0), 300, whole.data(), factor, 1,
                                            &whole_time, &whole_count),
                  SrOk);
        for (int32_t first = 0; first < 300;) {
            const auto ahead = static_cast<int32_t>(time);  // what a call reads beyond its length
            const int32_t len = std::min(37, 300 - first - ahead);
            if (len < 1) break;
            EXPECT_EQ(zelsResamplePolyphase_32f(record.get(), signal.address(first), len, blocks.data() + total,
                                                factor, 1, &time, &count),
                      SrOk);
            total += count;
            first += ahead + len;
            time -= ahead + len;
        }
        EXPECT_EQ(total, whole_count);
        EXPECT_TRUE(same_values(whole, blocks)) << factor;
    }
}

// ---- Edges --------------------------------------------------------------------------------------------------

TEST(ResamplePolyphase, ATimeThatIsNotBelowTheEndGivesNothing)
{
    const ContinuousRecord<float> record(16.0F, 32, 0.9F, 6.0F, 1);
    const ContinuousRecord<int16_t> record_16s(16.0F, 32, 0.9F, 6.0F, 1);
    const Guarded<float> nothing(0);  // begins with the forbidden page
    const Guarded<int16_t> nothing_16s(0);
    for (double time : {kNan, kInfinity, -kInfinity, 1e300})
        for (double factor : {2.0, 0.5}) {
            double moved = time;
            int32_t count = 77;
            float y = 77;
            int16_t y_16s = 77;
            EXPECT_EQ(zelsResamplePolyphase_32f(record.get(), nothing.data(), 5, &y, factor, 1, &moved, &count),
                      SrOk);
            EXPECT_EQ(count, 0) << time;
            EXPECT_TRUE(same_value(time, moved));
            EXPECT_EQ(y, 77);
            count = 77;
            EXPECT_EQ(zelsResamplePolyphase_16s(record_16s.get(), nothing_16s.data(), 5, &y_16s, factor, 1, &moved,
                                                &count),
                      SrOk);
            EXPECT_EQ(count, 0) << time;
            EXPECT_TRUE(same_value(time, moved));
            EXPECT_EQ(y_16s, 77);
        }
}

TEST(ResamplePolyphase, AnInfiniteFactorComesToAnEnd)
{
    const ContinuousRecord<float> record(16.0F, 32, 0.9F, 6.0F, 1);
    const Signal<float> signal(100, -1, 1);
    Guarded<float> y(1);
    double time = 0;
    int32_t count = 0;
    EXPECT_EQ(zelsResamplePolyphase_32f(record.get(), signal.address(0), 5, y.data(), kInfinity, 1, &time, &count),
              SrOk);
    EXPECT_LE(count, 1);
    EXPECT_TRUE(y.intact());
}

// ---- Checks ---------------------------------------------------------------------------------------------------

template <class T>
struct RunArguments {
    const ZelResampleState* state;
    const T* src;
    int32_t len;
    T* dst;
    double factor;
    double* time;
    int32_t* count;
};

template <class T>
void expect_run_checks()
{
    using Arguments = RunArguments<T>;
    const ContinuousRecord<T> record(8.0F, 8, 0.9F, 6.0F, 1);
    const Signal<T> signal(100);
    Guarded<T> dst(8);
    Guarded<double> time(1);
    Guarded<int32_t> count(1);
    time.set(0, 0);
    for (double factor : {0.0, -0.0, -1.0, kNan, -kInfinity})
        expect_check_order<Arguments>(
            {record.get(), signal.address(0), 8, dst.data(), 1, time.data(), count.data()},
            {{"null state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
             {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
             {"null destination", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
             {"null time", SrErrNullPtr, [](Arguments& a) { a.time = nullptr; }},
             {"null count", SrErrNullPtr, [](Arguments& a) { a.count = nullptr; }},
             {"factor", SrErrSize, [factor](Arguments& a) { a.factor = factor; }},
             {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
             {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
            [](const Arguments& a) {
                return Continuous<T>::run(a.state, a.src, a.len, a.dst, a.factor, 1, a.time, a.count);
            },
            {&dst, &time, &count});
}
TEST(ResamplePolyphase, NullThenSizes)
{
    expect_run_checks<float>();
    expect_run_checks<int16_t>();
}

// ---- Environment --------------------------------------------------------------------------------------------

// Tables too: this one's length would be another, were it rounded up.
TEST(ResamplePolyphase_16s, DoesNotDependOnTheEnvironment)
{
    const Signal<int16_t> signal(100, -30000, 30000);
    std::vector<int16_t> result(100);
    for (const Design& d : {kDesigns[0], kDesigns[5], kDesigns[6], kDesigns[8]})
        for (double factor : {1.3, 0.7}) {
            std::vector<int16_t> expected;
            under_each_environment(
                [&] {
                    ZelResampleState* state = nullptr;
                    double time = 0.3;
                    int32_t count = 0;
                    zelsResamplePolyphaseInitAlloc_16s(&state, d.window, d.per_sample, d.rollf, d.alpha, 1);
                    zelsResamplePolyphase_16s(state, signal.address(0), 40, result.data(), factor, 1, &time,
                                              &count);
                    zelsResamplePolyphaseFree_16s(state);
                },
                [&](const std::string& setting) {
                    if (expected.empty()) expected = result;
                    EXPECT_TRUE(same_values(expected, result)) << setting << ", " << describe(d);
                    result.assign(100, 0);
                });
        }
}

#ifdef __i386__
TEST(OddStack, ResamplingWorksFromEveryStack)
{
    const Signal<float> signal(100, -1, 1);
    const Signal<int16_t> signal_16s(100, -30000, 30000);
    const ContinuousRecord<float> record(16.0F, 32, 0.9F, 6.0F, 1);
    const ContinuousRecord<int16_t> record_16s(16.0F, 32, 0.9F, 6.0F, 1);
    std::vector<float> expected(100), y(100);
    std::vector<int16_t> expected_16s(100), y_16s(100);
    for (double factor : {1.3, 0.7})
        for (int misalign : {0, 4, 8, 12}) {
            double time = 0, again = 0, time_16s = 0, again_16s = 0;
            int32_t count = 0;
            zelsResamplePolyphase_32f(record.get(), signal.address(0), 40, expected.data(), factor, 1, &time,
                                      &count);
            zelsResamplePolyphase_16s(record_16s.get(), signal_16s.address(0), 40, expected_16s.data(), factor, 1,
                                      &time_16s, &count);
            ZelResampleState *state = nullptr, *state_16s = nullptr;
            EXPECT_EQ(
                call_misaligned(zelsResamplePolyphaseInitAlloc_32f, misalign, &state, 16.0F, 32, 0.9F, 6.0F, 1),
                SrOk);
            EXPECT_EQ(call_misaligned(zelsResamplePolyphaseInitAlloc_16s, misalign, &state_16s, 16.0F, 32, 0.9F,
                                      6.0F, 1),
                      SrOk);
            EXPECT_EQ(
                (call_misaligned<SrStatus, const ZelResampleState*, const float*, int32_t, float*, double, float,
                                 double*, int32_t*>(zelsResamplePolyphase_32f, misalign, state, signal.address(0),
                                                    40, y.data(), factor, 1, &again, &count)),
                SrOk);
            EXPECT_TRUE(same_values(expected, y));
            EXPECT_EQ((call_misaligned<SrStatus, const ZelResampleState*, const int16_t*, int32_t, int16_t*,
                                       double, float, double*, int32_t*>(
                          zelsResamplePolyphase_16s, misalign, state_16s, signal_16s.address(0), 40, y_16s.data(),
                          factor, 1, &again_16s, &count)),
                      SrOk);
            EXPECT_TRUE(same_values(expected_16s, y_16s));
            EXPECT_EQ(zelsResamplePolyphaseFree_32f(state), SrOk);
            EXPECT_EQ(zelsResamplePolyphaseFree_16s(state_16s), SrOk);
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
