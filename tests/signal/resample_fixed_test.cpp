// Resampling by a rational factor: one dot product an output.
#include <gtest/gtest.h>

#include <cmath>

#include "signal/resample_calls.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

using reference::FixedShape;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN(),
                 kInfinity = std::numeric_limits<double>::infinity();

struct Rates {
    int32_t in, out, len;
};
const std::vector<Rates> kRates = {{1, 1, 16},     {1, 2, 16},        {2, 1, 16},        {3, 2, 24}, {2, 3, 20},
                                   {441, 160, 24}, {160, 441, 24},    {11025, 8000, 32}, {7, 5, 1},  {5, 7, 2},
                                   {1, 1, 3},      {4, 1, 5},         {1, 6, 7},         {10, 1, 9}, {1, 10, 4},
                                   {13, 12, 17},   {48000, 44100, 12}};

// The library's own taps, as they lie.
template <class T>
std::vector<T> rows_of(const ZelResampleFixedState* state, const FixedShape& shape)
{
    std::vector<T> rows(shape.elements());
    EXPECT_EQ(Fixed<T>::get(state, rows.data(), shape.row_length, shape.out_rate), SrOk);
    return rows;
}

// The arithmetics of one output, before it is stored.
template <class T>
using Dot = std::function<double(const T* samples, std::size_t tap, int32_t taps)>;

Dot<float> fast_dot(const std::vector<float>& rows, double scale)
{
    return [&rows, scale](const float* samples, std::size_t tap, int32_t taps) {
        float sum = 0;
        EXPECT_EQ(zelsDotProd_32f(samples, rows.data() + tap, taps, &sum), SrOk);
        return sum * scale;
    };
}
Dot<float> accurate_dot(const std::vector<float>& rows, double scale)
{
    return [&rows, scale](const float* samples, std::size_t tap, int32_t taps) {
        double sum = 0;
        EXPECT_EQ(zelsDotProd_32f64f(samples, rows.data() + tap, taps, &sum), SrOk);
        return sum * scale;
    };
}
Dot<int16_t> fast_dot(const std::vector<int16_t>& rows, double scale)
{
    return [&rows, scale](const int16_t* samples, std::size_t tap, int32_t taps) {
        int64_t sum = 0;
        for (int32_t i = 0; i < taps; ++i) sum += int64_t{samples[i]} * rows[tap + at(i)];
        return static_cast<double>(sum) * scale;
    };
}
// Products in single, their sum in double, rounded to single.
Dot<int16_t> accurate_16s_dot(const std::vector<float>& rows, double scale)
{
    return [&rows, scale](const int16_t* samples, std::size_t tap, int32_t taps) {
        double sum = 0;
        for (int32_t i = 0; i < taps; ++i) sum += double{static_cast<float>(samples[i]) * rows[tap + at(i)]};
        return static_cast<double>(static_cast<float>(sum)) * scale;
    };
}

template <class T>
testing::AssertionResult resamples(const ZelResampleFixedState* state, const FixedShape& shape,
                                   const Signal<T>& signal, const Dot<T>& dot, int32_t len, float norm,
                                   double time)
{
    const auto expected = reference::resample_fixed(
        shape,
        [&](std::int64_t from, std::int64_t tap, int32_t taps) {
            return dot(signal.address(from), at(tap), taps);
        },
        len, time);
    return resamples_to(expected, signal, time, [&](const T* src, T* dst, double* t, int32_t* count) {
        return Fixed<T>::run(state, src, len, dst, norm, t, count);
    });
}

std::string describe(const Rates& r)
{
    return std::to_string(r.in) + " to " + std::to_string(r.out) + ", length " + std::to_string(r.len);
}

// Times on phases, between them, just below a sample, before the source.
const std::vector<double> kTimes = {0, 0.3, -1.5, 1.0 / 3, 0.999999, 7.5, 100.25, -4, -0.4};

// A row without its own end borrows the head of the next; and the reach before and behind is exact.
TEST(ResamplePolyphaseFixed_32f, EveryRateAndTime)
{
    for (const Rates& r : kRates)
        for (int32_t hint : {1, 2}) {
            const FixedRecord<float> record(r.in, r.out, r.len, 0.9F, 6.0F, hint);
            const FixedShape shape(r.in, r.out, r.len);
            const std::vector<float> rows = rows_of<float>(record.get(), shape);
            const Signal<float> signal(1000, -1, 1);
            for (double time : kTimes)
                for (float norm : {1.0F, 0.7F}) {
                    const int32_t len = uniform(1, 80);
                    const double scale = reference::fixed_scale(shape, 1, norm);
                    ASSERT_TRUE(resamples<float>(record.get(), shape, signal,
                                                 hint == 2 ? accurate_dot(rows, scale) : fast_dot(rows, scale),
                                                 len, norm, time))
                        << describe(r) << ", hint " << hint << ", time " << time << ", " << len << " samples";
                }
        }
}

TEST(ResamplePolyphaseFixed_16s, EveryRateAndTime)
{
    for (const Rates& r : kRates) {
        const FixedRecord<int16_t> fast(r.in, r.out, r.len, 0.9F, 6.0F, 1),
            accurate(r.in, r.out, r.len, 0.9F, 6.0F, 2);
        const FixedShape shape(r.in, r.out, r.len);
        const std::vector<int16_t> rows = rows_of<int16_t>(fast.get(), shape);
        const std::vector<float> singles = rows_of<float>(accurate.get(), shape);
        const Signal<int16_t> signal(1000, -32768, 32767);
        for (double time : kTimes)
            for (float norm : {1.0F, 3.3F}) {  // 3.3: much is limited
                const int32_t len = uniform(1, 80);
                ASSERT_TRUE(resamples<int16_t>(fast.get(), shape, signal,
                                               fast_dot(rows, reference::fixed_scale(shape, 0x1p-14F, norm)), len,
                                               norm, time))
                    << describe(r) << ", time " << time << ", " << len << " samples";
                ASSERT_TRUE(resamples<int16_t>(accurate.get(), shape, signal,
                                               accurate_16s_dot(singles, reference::fixed_scale(shape, 1, norm)),
                                               len, norm, time))
                    << describe(r) << ", accurate, time " << time << ", " << len << " samples";
            }
    }
}

// Sums of up to 2^30 a product: beyond 32 bits.
TEST(ResamplePolyphaseFixed_16s, SumsAreExactAndResultsLimited)
{
    const Rates r{1, 2, 40};
    const FixedRecord<int16_t> record(r.in, r.out, r.len, 0.9F, 6.0F, 1);
    const FixedShape shape(r.in, r.out, r.len);
    const std::vector<int16_t> taps(shape.elements(), 32767);
    EXPECT_EQ(zelsResamplePolyphaseSetFixedFilter_16s(record.get(), taps.data(), shape.row_length, 2), SrOk);
    Signal<int16_t> signal(200);
    for (int16_t value : {32767, -32768}) {
        for (int i = -100; i < 150; ++i) signal[i] = value;
        for (float norm : {1.0F, 0x1p-7F, 0.0123F})
            EXPECT_TRUE(resamples<int16_t>(record.get(), shape, signal,
                                           fast_dot(taps, reference::fixed_scale(shape, 0x1p-14F, norm)), 30, norm,
                                           0));
    }
}

// Halves go away from zero.
TEST(ResamplePolyphaseFixed_16s, RoundsHalvesAwayFromZero)
{
    const FixedRecord<int16_t> record(1, 1, 4, 1.0F, 6.0F, 1);
    std::vector<int16_t> row(8);
    row[2] = 8192;  // a half
    EXPECT_EQ(zelsResamplePolyphaseSetFixedFilter_16s(record.get(), row.data(), 8, 1), SrOk);
    const std::vector<int16_t> x = {0, 0, 1, -1, 3, -3, 2, 32767, -32767, -32768, 0, 0};
    std::vector<int16_t> y(8);
    double time = 0;
    int32_t count = 0;
    EXPECT_EQ(zelsResamplePolyphaseFixed_16s(record.get(), x.data() + 2, 8, y.data(), 1, &time, &count), SrOk);
    EXPECT_EQ(y, (std::vector<int16_t>{1, -1, 2, -2, 1, 16384, -16384, -16384}));
    time = 0;
    EXPECT_EQ(zelsResamplePolyphaseFixed_16s(record.get(), x.data() + 2, 8, y.data(), 3, &time, &count), SrOk);
    EXPECT_EQ(y, (std::vector<int16_t>{2, -2, 5, -5, 3, 32767, -32768, -32768}));
}

// The product of the rates and the position go beyond 32 bits.
TEST(ResamplePolyphaseFixed, LargeRatesAndLateTimes)
{
    for (const Rates& r : {Rates{48001, 48000, 4}, {48000, 48001, 4}, {65537, 32769, 8}}) {
        const FixedRecord<float> record(r.in, r.out, r.len, 0.9F, 6.0F, 1);
        const FixedShape shape(r.in, r.out, r.len);
        ASSERT_EQ(shape.out_rate, r.out);
        const std::vector<float> rows = rows_of<float>(record.get(), shape);
        const auto dot = fast_dot(rows, reference::fixed_scale(shape, 1, 1));
        for (double time : {0.0, 44740.3, 50000.75, 2000000.1}) {
            const Signal<float> signal(400, -1, 1, static_cast<std::int64_t>(time));
            ASSERT_TRUE(resamples<float>(record.get(), shape, signal, dot, 300, 1, time))
                << describe(r) << ", " << time;
        }
    }
}

// A step of 65536 or more loses what is above 16 bits: wanted.
TEST(ResamplePolyphaseFixed, StepsAreKeptIn16Bits)
{
    const Rates r{70000, 1, 4};
    const FixedRecord<float> record(r.in, r.out, r.len, 1.0F, 6.0F, 1);
    const FixedShape shape(r.in, r.out, r.len);
    const std::vector<float> rows = rows_of<float>(record.get(), shape);
    const Signal<float> signal(20000, 1, 2);
    ASSERT_TRUE(resamples<float>(record.get(), shape, signal, fast_dot(rows, reference::fixed_scale(shape, 1, 1)),
                                 200000, 1, 0));
}

template <class T>
void expect_stream_is_one_call(T low, T high)
{
    for (const Rates& r :
         {Rates{3, 2, 24}, {441, 160, 24}, {160, 441, 24}, {1, 1, 16}, {7, 5, 1}, {5, 7, 2}, {1, 3, 9}})
        for (int32_t hint : {1, 2}) {
            const FixedRecord<T> record(r.in, r.out, r.len, 0.9F, 6.0F, hint);
            const Signal<T> signal(700, low, high);
            std::vector<T> whole(2000), same_source(2000), moved(2000);
            double whole_time = 0.4;
            int32_t whole_count = 0, count = 0;
            EXPECT_EQ(
                Fixed<T>::run(record.get(), signal.address(0), 500, whole.data(), 1, &whole_time, &whole_count),
                SrOk);

            // A start between two phases keeps its distance from them, so that a time may lie a little before the
            // end of what was consumed.
            double time = 0.4;
            int32_t total = 0;
            for (int32_t reached = 0; reached < 500;) {
                const auto from = static_cast<int32_t>(time);
                const int32_t len = std::min(uniform(2, 90), 500 - from);
                if (len < 1) break;
                EXPECT_EQ(Fixed<T>::run(record.get(), signal.address(0), len, same_source.data() + total, 1, &time,
                                        &count),
                          SrOk);
                total += count;
                reached = from + len;
            }
            EXPECT_EQ(total, whole_count) << describe(r);
            EXPECT_TRUE(same_values(whole, same_source)) << describe(r);
            EXPECT_NEAR(time, whole_time, 1e-9);

            time = 0.4;
            total = 0;
            for (int32_t first = 0; first < 500;) {
                const auto ahead = static_cast<int32_t>(time);  // what a call reads beyond its length
                const int32_t len = std::min(uniform(1, 90), 500 - first - ahead);
                if (len < 1) break;
                EXPECT_EQ(Fixed<T>::run(record.get(), signal.address(first), len, moved.data() + total, 1, &time,
                                        &count),
                          SrOk);
                total += count;
                first += ahead + len;
                time -= ahead + len;
            }
            EXPECT_EQ(total, whole_count) << describe(r);
            EXPECT_TRUE(same_values(whole, moved)) << describe(r);
        }
}
TEST(ResamplePolyphaseFixed, AStreamIsOneCall)
{
    expect_stream_is_one_call<float>(-1, 1);
    expect_stream_is_one_call<int16_t>(-30000, 30000);
}

// ---- What it is for -----------------------------------------------------------------------------------------

TEST(ResamplePolyphaseFixed_32f, AToneKeepsItsShapeBothWays)
{
    const double radians = 0.3;
    std::vector<float> x(400), y(2000);
    for (std::size_t i = 0; i < 400; ++i) x[i] = static_cast<float>(std::sin(radians * (double(i) - 100)));
    for (const Rates& r : {Rates{1, 1, 64}, {2, 3, 64}, {3, 2, 64}, {441, 160, 128}, {160, 441, 64}, {2, 1, 96}})
        for (int32_t hint : {1, 2}) {
            const FixedRecord<float> record(r.in, r.out, r.len, 0.95F, 9.0F, hint);
            double time = 0;
            int32_t count = 0;
            EXPECT_EQ(
                zelsResamplePolyphaseFixed_32f(record.get(), x.data() + 100, 200, y.data(), 1, &time, &count),
                SrOk);
            EXPECT_NEAR(count, 200.0 * r.out / r.in, 1.01);
            for (int32_t i = 0; i < count; ++i)
                ASSERT_NEAR(y[at(i)], std::sin(radians * i * r.in / r.out), 1e-3) << describe(r) << ", " << i;
        }
}

// Unit gain both ways.
TEST(ResamplePolyphaseFixed, AConstantComesOutAsItself)
{
    const std::vector<float> x(600, 1);
    const std::vector<int16_t> x_16s(600, 20000);
    for (const Rates& r :
         {Rates{1, 1, 64}, {2, 3, 64}, {3, 2, 64}, {441, 160, 128}, {160, 441, 64}, {4, 1, 128}, {1, 4, 64}}) {
        const FixedRecord<float> record(r.in, r.out, r.len, 0.9F, 9.0F, 1);
        const FixedRecord<int16_t> record_16s(r.in, r.out, r.len, 0.9F, 9.0F, 1);
        std::vector<float> y(2000);
        std::vector<int16_t> y_16s(2000);
        double time = 0;
        int32_t count = 0;
        EXPECT_EQ(zelsResamplePolyphaseFixed_32f(record.get(), x.data() + 200, 200, y.data(), 1, &time, &count),
                  SrOk);
        for (int32_t i = 0; i < count; ++i) ASSERT_NEAR(y[at(i)], 1, 2e-4) << describe(r) << ", " << i;
        time = 0;
        EXPECT_EQ(zelsResamplePolyphaseFixed_16s(record_16s.get(), x_16s.data() + 200, 200, y_16s.data(), 1, &time,
                                                 &count),
                  SrOk);
        for (int32_t i = 0; i < count; ++i) ASSERT_NEAR(y_16s[at(i)], 20000, 20) << describe(r) << ", " << i;
    }
}

// ---- Edges and checks ---------------------------------------------------------------------------------------

TEST(ResamplePolyphaseFixed, ATimeFarOutsideGivesNothing)
{
    const FixedRecord<float> record(3, 2, 16, 0.9F, 6.0F, 1);
    const Guarded<float> nothing(0);  // begins with the forbidden page
    for (double time : {kNan, kInfinity, -kInfinity, 1e300, -1e300, 1e19, 4294967296.0, -4294967296.0}) {
        double moved = time;
        int32_t count = 77;
        float y = 77;
        EXPECT_EQ(zelsResamplePolyphaseFixed_32f(record.get(), nothing.data(), 5, &y, 1, &moved, &count), SrOk);
        EXPECT_EQ(count, 0) << time;
        EXPECT_TRUE(same_value(time, moved));
        EXPECT_EQ(y, 77);
    }
}

template <class T>
struct RunArguments {
    const ZelResampleFixedState* state;
    const T* src;
    int32_t len;
    T* dst;
    double* time;
    int32_t* count;
};

template <class T>
void expect_run_checks()
{
    using Arguments = RunArguments<T>;
    const FixedRecord<T> record(3, 2, 16, 0.9F, 6.0F, 1);
    const Signal<T> signal(100);
    Guarded<T> dst(8);
    Guarded<double> time(1);
    Guarded<int32_t> count(1);
    time.set(0, 0);
    expect_check_order<Arguments>(
        {record.get(), signal.address(0), 8, dst.data(), time.data(), count.data()},
        {{"null state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
         {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
         {"null destination", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }},
         {"null time", SrErrNullPtr, [](Arguments& a) { a.time = nullptr; }},
         {"null count", SrErrNullPtr, [](Arguments& a) { a.count = nullptr; }},
         {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }},
         {"lowest length", SrErrSize, [](Arguments& a) { a.len = INT32_MIN; }}},
        [](const Arguments& a) { return Fixed<T>::run(a.state, a.src, a.len, a.dst, 1, a.time, a.count); },
        {&dst, &time, &count});
}
TEST(ResamplePolyphaseFixed, NullThenSize)
{
    expect_run_checks<float>();
    expect_run_checks<int16_t>();
}

TEST(ResamplePolyphaseFixed_16s, DoesNotDependOnTheEnvironment)
{
    const Signal<int16_t> signal(100, -30000, 30000);
    std::vector<int16_t> result(100);
    for (const auto& [in, out, hint] : {std::tuple{147, 160, 1}, {160, 147, 1}, {160, 147, 2}, {3, 7, 2}}) {
        std::vector<int16_t> expected;
        under_each_environment(
            [&, in = in, out = out, hint = hint] {
                ZelResampleFixedState* state = nullptr;
                double time = 0.3;
                int32_t count = 0;
                zelsResamplePolyphaseFixedInitAlloc_16s(&state, in, out, 24, 0.9F, 6, hint);
                zelsResamplePolyphaseFixed_16s(state, signal.address(0), 40, result.data(), 1.1F, &time, &count);
                zelsResamplePolyphaseFixedFree_16s(state);
            },
            [&](const std::string& setting) {
                if (expected.empty()) expected = result;
                EXPECT_TRUE(same_values(expected, result)) << setting;
                result.assign(100, 0);
            });
    }
}

#ifdef __i386__
template <class T>
void expect_every_stack(T low, T high)
{
    const Signal<T> signal(100, low, high);
    for (int32_t hint : {1, 2})
        for (int misalign : {0, 4, 8, 12}) {
            ZelResampleFixedState* state = nullptr;
            EXPECT_EQ(call_misaligned(+Fixed<T>::init, misalign, &state, 147, 160, 24, 0.9F, 6.0F, hint), SrOk);
            std::vector<T> expected(100), y(100);
            double time = 0, again = 0;
            int32_t count = 0;
            EXPECT_EQ(Fixed<T>::run(state, signal.address(0), 40, expected.data(), 1, &time, &count), SrOk);
            EXPECT_EQ((call_misaligned<SrStatus, const ZelResampleFixedState*, const T*, int32_t, T*, float,
                                       double*, int32_t*>(+Fixed<T>::run, misalign, state, signal.address(0), 40,
                                                          y.data(), 1, &again, &count)),
                      SrOk);
            EXPECT_TRUE(same_values(expected, y));
            EXPECT_EQ(call_misaligned(+Fixed<T>::release, misalign, state), SrOk);
        }
}
TEST(OddStack, FixedResamplingWorksFromEveryStack)
{
    expect_every_stack<float>(-1, 1);
    expect_every_stack<int16_t>(-30000, 30000);
}
#endif

}  // namespace
}  // namespace zelsr::test
