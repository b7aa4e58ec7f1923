// Records of the rational resampler: their sizes, their rows, and rows that are set and got.
#include <gtest/gtest.h>

#include <cmath>

#include "signal/resample_calls.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test {
namespace {

using reference::FixedShape;

struct Design {
    int32_t in, out, len;
    float rollf, alpha;
};
const std::vector<Design> kDesigns = {
    {1, 1, 16, 0.9F, 6},       {1, 2, 16, 1, 1},         {2, 1, 16, 0.8F, 3},      {3, 2, 24, 0.95F, 9},
    {2, 3, 20, 0.5F, 2},       {441, 160, 24, 0.9F, 6},  {44100, 16000, 24, 1, 8}, {160, 441, 24, 0.9F, 6},
    {7, 5, 1, 0.9F, 6},        {5, 7, 2, 0.9F, 6},       {1, 1, 3, 0.7F, 4},       {4, 1, 5, 0.9F, 6},
    {1, 6, 7, 0.9F, 6},        {10, 1, 9, 0.9F, 2},      {1, 10, 4, 0.001F, 20},   {13, 12, 17, 0.9F, 6},
    {48000, 44100, 12, 1, 10}, {12, 18, 30, 0.9F, 5.5F}, {1000, 3, 40, 0.9F, 7}};

std::string describe(const Design& d)
{
    return std::to_string(d.in) + " to " + std::to_string(d.out) + ", length " + std::to_string(d.len) +
           ", rollf " + std::to_string(d.rollf) + ", alpha " + std::to_string(d.alpha);
}

template <class T>
std::vector<T> rows_of(const ZelResampleFixedState* state, const FixedShape& shape)
{
    Guarded<T> rows(shape.elements());
    EXPECT_EQ(Fixed<T>::get(state, rows.data(), shape.row_length, shape.out_rate), SrOk);
    EXPECT_TRUE(rows.intact());
    return rows.values();
}

// ---- Rows ---------------------------------------------------------------------------------------------------

void expect_rows(const std::vector<double>& expected, const std::vector<float>& actual, const Design& d)
{
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_NEAR(actual[i], expected[i], std::abs(expected[i]) * 0x1p-23 + 1e-15) << describe(d) << ", " << i;
}

TEST(ResamplePolyphaseFixedInitAlloc, RowsInSinglePrecision)
{
    for (const Design& d : kDesigns)
        for (int32_t hint : {0, 1, 2, 77}) {
            const FixedRecord<float> record(d.in, d.out, d.len, d.rollf, d.alpha, hint);
            const FixedShape shape(d.in, d.out, d.len);
            expect_rows(shape.rows(d.rollf, d.alpha), rows_of<float>(record.get(), shape), d);
        }
}

TEST(ResamplePolyphaseFixedInitAlloc, RowsOf16Bits)
{
    for (const Design& d : kDesigns)
        for (int32_t hint : {0, 1, 3, -2}) {
            const FixedRecord<int16_t> record(d.in, d.out, d.len, d.rollf, d.alpha, hint);
            const FixedShape shape(d.in, d.out, d.len);
            const std::vector<double> expected = shape.rows(d.rollf, d.alpha);
            const std::vector<int16_t> actual = rows_of<int16_t>(record.get(), shape);
            for (std::size_t i = 0; i < expected.size(); ++i)
                ASSERT_EQ(actual[i], reference::rounded_away(expected[i] * 16384)) << describe(d) << ", " << i;
        }
}

TEST(ResamplePolyphaseFixedInitAlloc, RowsInSinglePrecisionFor16BitSamples)
{
    for (const Design& d : kDesigns) {
        const FixedRecord<int16_t> record(d.in, d.out, d.len, d.rollf, d.alpha, 2);
        const FixedShape shape(d.in, d.out, d.len);
        expect_rows(shape.rows(d.rollf, d.alpha), rows_of<float>(record.get(), shape), d);
    }
}

// Row 0 is the impulse itself at the full band; its neighbours mirror each other.
TEST(ResamplePolyphaseFixedInitAlloc, RowsByValue)
{
    const FixedRecord<float> record(1, 4, 8, 1.0F, 6.0F, 1);
    const FixedShape shape(1, 4, 8);
    ASSERT_EQ(shape.half, 4);
    ASSERT_EQ(shape.row_length, 12);
    const std::vector<float> rows = rows_of<float>(record.get(), shape);
    for (int e = 0; e < 9; ++e) EXPECT_NEAR(rows[at(e)], e == 4 ? 1 : 0, 1e-7);
    for (int e = 0; e < 8; ++e) {
        EXPECT_EQ(rows[at(12 + e)], rows[at(36 + 7 - e)]) << e;
        EXPECT_EQ(rows[at(24 + e)], rows[at(24 + 7 - e)]) << e;
    }
    EXPECT_GT(rows[12 + 3], 0.85F);  // sinc(1/4) under the window
    EXPECT_LT(rows[12 + 3], 0.9F);
    for (int row : {0, 1, 2, 3})
        for (int e = 9; e < 12; ++e) EXPECT_EQ(rows[at(12 * row + e)], 0) << "behind the taps";
}

// ---- Sizes --------------------------------------------------------------------------------------------------

template <class T>
void expect_sizes(std::int64_t head, std::int64_t pointer)
{
    for (const Design& d : kDesigns) {
        const FixedShape shape(d.in, d.out, d.len);
        int32_t bytes = 0, row_length = 0, rows = 0;
        EXPECT_EQ(Fixed<T>::size(d.in, d.out, d.len, &bytes, &row_length, &rows), SrOk);
        EXPECT_EQ(rows, shape.out_rate) << describe(d);
        EXPECT_EQ(row_length, shape.row_length) << describe(d);
        const std::int64_t out = shape.out_rate, per_16 = 16 / pointer;
        EXPECT_EQ(bytes, head + 16 * ((out + 7) / 8 + (out + 1 + per_16 - 1) / per_16) +
                             static_cast<std::int64_t>(shape.elements() * sizeof(T)))
            << describe(d);
    }
}
TEST(ResamplePolyphaseFixedGetSize, ByFormula)
{
    const std::int64_t pointer = sizeof(void*), more = pointer == 4 ? 0 : 8;
    expect_sizes<float>(28 + more, pointer);
    expect_sizes<int16_t>(32 + more, pointer);
}

TEST(ResamplePolyphaseFixedGetSize, ByValue)
{
    int32_t bytes = 0, row_length = 0, rows = 0;
    EXPECT_EQ(zelsResamplePolyphaseFixedGetSize_32f(44100, 16000, 25, &bytes, &row_length, &rows), SrOk);
    EXPECT_EQ(rows, 160);
    EXPECT_EQ(row_length, 28);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(bytes, 28 + 16 * (20 + 41) + 160 * 28 * 4);
    }
    EXPECT_EQ(zelsResamplePolyphaseFixedGetSize_16s(44100, 16000, 23, &bytes, &row_length, &rows, 1), SrOk);
    EXPECT_EQ(row_length, 24);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(bytes, 32 + 16 * (20 + 41) + 160 * 24 * 2);
    }
}

// Primes, so that nothing is divided out; the product of rows and their length passes 31, then 64 bits of bytes.
TEST(ResamplePolyphaseFixedGetSize, TooMuchIsASizeErrorAndABadArgument)
{
    for (const auto& [out, len] : {std::pair{1000003, 2000},
                                   {INT32_MAX, 1},
                                   {INT32_MAX, INT32_MAX},
                                   {1, INT32_MAX},
                                   {2, INT32_MAX},
                                   {1, 1 << 30}}) {
        int32_t bytes = 77, row_length = 77, rows = 77;
        EXPECT_EQ(zelsResamplePolyphaseFixedGetSize_32f(1, out, len, &bytes, &row_length, &rows), SrErrSize)
            << out;
        EXPECT_EQ(zelsResamplePolyphaseFixedGetSize_16s(1, out, len, &bytes, &row_length, &rows, 1), SrErrSize)
            << out;
        EXPECT_EQ(bytes, 77);
        EXPECT_EQ(row_length, 77);
        EXPECT_EQ(rows, 77);
        ZelResampleFixedState* state = nullptr;
        EXPECT_EQ(zelsResamplePolyphaseFixedInitAlloc_32f(&state, 1, out, len, 1, 1, 1), SrErrBadArg);
        EXPECT_EQ(zelsResamplePolyphaseFixedInitAlloc_16s(&state, 1, out, len, 1, 1, 1), SrErrBadArg);
        EXPECT_EQ(state, nullptr);
        Guarded<std::byte> memory(64);
        memory.take_snapshot();
        auto* const block = reinterpret_cast<ZelResampleFixedState*>(memory.data());
        EXPECT_EQ(zelsResamplePolyphaseFixedInit_32f(block, 1, out, len, 1), SrErrSize);
        EXPECT_EQ(zelsResamplePolyphaseFixedInit_16s(block, 1, out, len, 1), SrErrSize);
        EXPECT_TRUE(memory.as_snapshot());
    }
}

// The largest block: 0x7FFFFFFE bytes.
TEST(ResamplePolyphaseFixedGetSize, TheLargestBlock)
{
    // One row: head, 32 bytes of steps and row pointers, 4 bytes an element.
    const int32_t head = sizeof(void*) == 4 ? 28 : 36;
    const int32_t most = (0x7FFFFFFE - head - 32) / 16 * 4;  // elements, a multiple of 4
    int32_t bytes = 0, row_length = 0, rows = 0;
    EXPECT_EQ(zelsResamplePolyphaseFixedGetSize_32f(1, 1, most - 4, &bytes, &row_length, &rows), SrOk);
    EXPECT_EQ(row_length, most);
    EXPECT_EQ(bytes, head + 32 + 4 * static_cast<std::int64_t>(most));
    EXPECT_EQ(zelsResamplePolyphaseFixedGetSize_32f(1, 1, most, &bytes, &row_length, &rows), SrErrSize);
}

// ---- Records in the caller's memory ---------------------------------------------------------------------------

template <class T>
void expect_init_fits(int32_t hint)
{
    for (const Design& d : kDesigns) {
        const FixedShape shape(d.in, d.out, d.len);
        const FixedRecord<T> model(d.in, d.out, d.len, d.rollf, d.alpha, hint);
        const std::vector<T> rows = rows_of<T>(model.get(), shape);
        int32_t bytes = 0, row_length = 0, count = 0;
        ASSERT_EQ(Fixed<T>::size(d.in, d.out, d.len, &bytes, &row_length, &count), SrOk);
        const Signal<T> signal(100, T(-100), T(100));
        std::vector<T> expected(1000), actual(1000);
        double time = 0.3, again = 0.3;
        int32_t written = 0, also = 0;
        EXPECT_EQ(Fixed<T>::run(model.get(), signal.address(0), 60, expected.data(), 1, &time, &written), SrOk);
        for (const Placement& place :
             {Placement{0, Edge::Back}, {0, Edge::Front}, {4, Edge::Front}, {1, Edge::Back}}) {
            Guarded<std::byte> memory(at(bytes), place);
            auto* const state = reinterpret_cast<ZelResampleFixedState*>(memory.data());
            EXPECT_EQ(Fixed<T>::init_in(state, d.in, d.out, d.len, hint), SrOk);
            EXPECT_EQ(Fixed<T>::set(state, rows.data(), row_length, count), SrOk);
            ASSERT_TRUE(memory.intact()) << describe(d);
            again = 0.3;
            EXPECT_EQ(Fixed<T>::run(state, signal.address(0), 60, actual.data(), 1, &again, &also), SrOk);
            EXPECT_EQ(also, written);
            EXPECT_EQ(again, time);
            ASSERT_TRUE(same_values(expected, actual)) << describe(d);
            ASSERT_TRUE(same_values(rows, rows_of<T>(state, shape)));
        }
    }
}
TEST(ResamplePolyphaseFixedInit, MakesTheSameRecord)
{
    expect_init_fits<float>(1);
    expect_init_fits<float>(2);
    expect_init_fits<int16_t>(1);
}

// ---- Rows that are set and got --------------------------------------------------------------------------------

// What setting and getting do to rows that lie one behind the other.
template <class T>
struct RowModel {
    FixedShape shape;
    std::vector<T> flat;

    std::size_t room(std::int64_t row) const { return flat.size() - at(row * shape.row_length); }
    std::size_t per_row(int32_t step) const { return at(std::min(2 * shape.half + 4, step)); }

    void set(const std::vector<T>& rows, int32_t step, int32_t count)
    {
        if (step == 2 * shape.half + 4) {
            std::copy_n(rows.begin(), std::min(at(count) * at(step), flat.size()), flat.begin());
            return;
        }
        for (int32_t r = 0; r < std::min(count, shape.out_rate); ++r)
            std::copy_n(rows.begin() + std::int64_t{r} * step, std::min(per_row(step), room(r)),
                        flat.begin() + std::int64_t{r} * shape.row_length);
    }
    void get(std::vector<T>& rows, int32_t step, int32_t count) const
    {
        if (step == 2 * shape.half + 4) {
            std::copy_n(flat.begin(), std::min(at(count) * at(step), flat.size()), rows.begin());
            return;
        }
        for (int32_t r = 0; r < std::min(count, shape.out_rate); ++r)
            std::copy_n(flat.begin() + std::int64_t{r} * shape.row_length, std::min(per_row(step), room(r)),
                        rows.begin() + std::int64_t{r} * step);
    }
};

template <class T>
void expect_set_and_get(int32_t hint)
{
    for (const auto& [in, out, len] :
         {std::tuple{1, 3, 8}, {1, 3, 9}, {3, 4, 10}, {2, 1, 11}, {2, 1, 12}, {1, 5, 1}}) {
        const FixedRecord<T> record(in, out, len, 0.9F, 6.0F, hint);
        RowModel<T> model{FixedShape(in, out, len), {}};
        model.flat = rows_of<T>(record.get(), model.shape);
        const int32_t whole = 2 * model.shape.half + 4;
        for (int32_t step : {1, 3, whole - 5, whole - 4, whole - 3, whole - 1, whole, whole + 1, whole + 9})
            for (int32_t count : {1, 2, out, out + 1, out + 20}) {
                if (step < 1) continue;
                const std::size_t elements =
                    at(count - 1) * at(step) + (step == whole ? at(step) : model.per_row(step));
                const Guarded<T> source(uniform_vector<T>(static_cast<int>(elements), T(-100), T(100)));
                EXPECT_EQ(Fixed<T>::set(record.get(), source.data(), step, count), SrOk);
                model.set(source.values(), step, count);
                ASSERT_TRUE(same_values(model.flat, rows_of<T>(record.get(), model.shape)))
                    << "set " << in << " to " << out << ", length " << len << ", step " << step << ", " << count
                    << " rows";

                Guarded<T> got(std::vector<T>(elements, T(77)));
                std::vector<T> expected(elements, T(77));
                EXPECT_EQ(Fixed<T>::get(record.get(), got.data(), step, count), SrOk);
                model.get(expected, step, count);
                ASSERT_TRUE(got.intact());
                ASSERT_TRUE(same_values(expected, got.values()))
                    << "got " << in << " to " << out << ", length " << len << ", step " << step << ", " << count
                    << " rows";
            }
    }
}
TEST(ResamplePolyphaseFixedFilter, RowsAreSetAndGot)
{
    expect_set_and_get<float>(1);
    expect_set_and_get<int16_t>(1);
}

template <class T>
struct FilterArguments {
    ZelResampleFixedState* state;
    T* rows;
    int32_t step, count;
};

template <class T>
void expect_filter_checks()
{
    using Arguments = FilterArguments<T>;
    const FixedRecord<T> record(3, 2, 16, 0.9F, 6.0F, 1);
    Guarded<T> rows(64);
    for (bool sets : {true, false})
        expect_check_order<Arguments>({record.get(), rows.data(), 20, 2},
                                      {{"null state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
                                       {"null rows", SrErrNullPtr, [](Arguments& a) { a.rows = nullptr; }},
                                       {"step 0", SrErrSize, [](Arguments& a) { a.step = 0; }},
                                       {"lowest step", SrErrSize, [](Arguments& a) { a.step = INT32_MIN; }},
                                       {"count 0", SrErrSize, [](Arguments& a) { a.count = 0; }},
                                       {"lowest count", SrErrSize, [](Arguments& a) { a.count = INT32_MIN; }}},
                                      [sets](const Arguments& a) {
                                          return sets ? Fixed<T>::set(a.state, a.rows, a.step, a.count)
                                                      : Fixed<T>::get(a.state, a.rows, a.step, a.count);
                                      },
                                      {&rows});
}
TEST(ResamplePolyphaseFixedFilter, NullThenSizes)
{
    expect_filter_checks<float>();
    expect_filter_checks<int16_t>();
}

// ---- Checks -------------------------------------------------------------------------------------------------

struct InitArguments {
    ZelResampleFixedState** state;
    int32_t in, out, len;
    float rollf, alpha;
};

template <class T>
void expect_init_alloc_checks()
{
    Guarded<ZelResampleFixedState*> state(1);
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    for (const auto& [rollf, alpha] :
         {std::pair{0.0F, 0.9999F}, {nan, nan}, {1.0000001F, -1.0F}, {-0.5F, 0.0F}, {infinity, -infinity}})
        expect_check_order<InitArguments>(
            {state.data(), 3, 2, 16, 0.9F, 6},
            {{"null state", SrErrNullPtr, [](InitArguments& a) { a.state = nullptr; }},
             {"in 0", SrErrSize, [](InitArguments& a) { a.in = 0; }},
             {"in lowest", SrErrSize, [](InitArguments& a) { a.in = INT32_MIN; }},
             {"out 0", SrErrSize, [](InitArguments& a) { a.out = 0; }},
             {"out -1", SrErrSize, [](InitArguments& a) { a.out = -1; }},
             {"length 0", SrErrSize, [](InitArguments& a) { a.len = 0; }},
             {"length lowest", SrErrSize, [](InitArguments& a) { a.len = INT32_MIN; }},
             {"rollf", SrErrBadArg, [r = rollf](InitArguments& a) { a.rollf = r; }},
             {"alpha", SrErrBadArg, [l = alpha](InitArguments& a) { a.alpha = l; }}},
            [](const InitArguments& a) {
                return Fixed<T>::init(a.state, a.in, a.out, a.len, a.rollf, a.alpha, 1);
            },
            {&state});
}
TEST(ResamplePolyphaseFixedInitAlloc, NullThenSizesThenTheDesign)
{
    expect_init_alloc_checks<float>();
    expect_init_alloc_checks<int16_t>();
}

struct SizeArguments {
    int32_t in, out, len;
    int32_t *bytes, *row_length, *rows;
    int32_t hint;
};

std::vector<Fault<SizeArguments>> size_faults()
{
    return {{"null size", SrErrNullPtr, [](SizeArguments& a) { a.bytes = nullptr; }},
            {"null row length", SrErrNullPtr, [](SizeArguments& a) { a.row_length = nullptr; }},
            {"null row count", SrErrNullPtr, [](SizeArguments& a) { a.rows = nullptr; }},
            {"in 0", SrErrSize, [](SizeArguments& a) { a.in = 0; }},
            {"out lowest", SrErrSize, [](SizeArguments& a) { a.out = INT32_MIN; }},
            {"length 0", SrErrSize, [](SizeArguments& a) { a.len = 0; }},
            {"length lowest", SrErrSize, [](SizeArguments& a) { a.len = INT32_MIN; }}};
}

TEST(ResamplePolyphaseFixedGetSize, NullThenSizesThenHintThenTooMuch)
{
    Guarded<int32_t> bytes(1), row_length(1), rows(1);
    const SizeArguments good{3, 2, 16, bytes.data(), row_length.data(), rows.data(), 1};
    std::vector<Fault<SizeArguments>> faults = size_faults();
    faults.push_back({"too much", SrErrSize, [](SizeArguments& a) { a.len = INT32_MAX; }});
    expect_check_order<SizeArguments>(good, faults,
                                      [](const SizeArguments& a) {
                                          return zelsResamplePolyphaseFixedGetSize_32f(a.in, a.out, a.len, a.bytes,
                                                                                       a.row_length, a.rows);
                                      },
                                      {&bytes, &row_length, &rows});
    for (int32_t hint : {0, 2, -1, INT32_MIN, INT32_MAX}) {
        faults = size_faults();
        faults.push_back({"hint", SrErrBadArg, [hint](SizeArguments& a) { a.hint = hint; }});
        faults.push_back({"too much", SrErrSize, [](SizeArguments& a) { a.len = INT32_MAX; }});
        expect_check_order<SizeArguments>(good, faults,
                                          [](const SizeArguments& a) {
                                              return zelsResamplePolyphaseFixedGetSize_16s(
                                                  a.in, a.out, a.len, a.bytes, a.row_length, a.rows, a.hint);
                                          },
                                          {&bytes, &row_length, &rows});
    }
}

TEST(ResamplePolyphaseFixedInit, NullThenSizesThenHint)
{
    Guarded<std::byte> memory(1000);
    struct Arguments {
        ZelResampleFixedState* memory;
        int32_t in, out, len, hint;
    };
    const Arguments good{reinterpret_cast<ZelResampleFixedState*>(memory.data()), 3, 2, 16, 1};
    std::vector<Fault<Arguments>> faults = {{"null", SrErrNullPtr, [](Arguments& a) { a.memory = nullptr; }},
                                            {"in 0", SrErrSize, [](Arguments& a) { a.in = 0; }},
                                            {"out lowest", SrErrSize, [](Arguments& a) { a.out = INT32_MIN; }},
                                            {"length 0", SrErrSize, [](Arguments& a) { a.len = 0; }}};
    expect_check_order<Arguments>(good, faults,
                                  [](const Arguments& a) {
                                      return zelsResamplePolyphaseFixedInit_32f(a.memory, a.in, a.out, a.len,
                                                                                a.hint);
                                  },
                                  {&memory});
    faults.push_back({"hint 2", SrErrBadArg, [](Arguments& a) { a.hint = 2; }});
    faults.push_back({"hint 0", SrErrBadArg, [](Arguments& a) { a.hint = 0; }});
    expect_check_order<Arguments>(good, faults,
                                  [](const Arguments& a) {
                                      return zelsResamplePolyphaseFixedInit_16s(a.memory, a.in, a.out, a.len,
                                                                                a.hint);
                                  },
                                  {&memory});
}

// ---- Memory -------------------------------------------------------------------------------------------------

template <class T>
void expect_refusals(int32_t hint)
{
    int blocks = 0;
    {
        AllocatorWatch watch;
        {
            const FixedRecord<T> record(441, 160, 24, 0.9F, 6.0F, hint);
            EXPECT_EQ(watch.live(), 1) << "work memory was left";
        }
        EXPECT_EQ(watch.live(), 0);
        blocks = watch.requests();
    }
    for (int refused = 1; refused <= blocks; ++refused) {
        Guarded<ZelResampleFixedState*> state(1);
        state.take_snapshot();
        AllocatorWatch watch(refused);
        EXPECT_EQ(Fixed<T>::init(state.data(), 441, 160, 24, 0.9F, 6, hint), SrErrMemAlloc);
        EXPECT_EQ(watch.live(), 0);
        EXPECT_TRUE(state.as_snapshot());
    }
}
TEST(ResamplePolyphaseFixedInitAlloc, EveryBlockRefused)
{
    expect_refusals<float>(1);
    expect_refusals<int16_t>(1);
    expect_refusals<int16_t>(2);
}

TEST(ResamplePolyphaseFixedFree, OfNull)
{
    EXPECT_EQ(zelsResamplePolyphaseFixedFree_32f(nullptr), SrErrNullPtr);
    EXPECT_EQ(zelsResamplePolyphaseFixedFree_16s(nullptr), SrErrNullPtr);
}

}  // namespace
}  // namespace zelsr::test
