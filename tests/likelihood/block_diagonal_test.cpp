// Block-diagonal covariance: the record, and floating-point scores on it.
#include <memory>

#include "likelihood/block_diagonal_members.h"
#include "support/bits.h"
#include "support/operation.h"
#include "zelsr/core/memory.h"
#include "zelsr/likelihood/gauss.h"

namespace zelsr::test::block_diagonal {
namespace {

// --- the record ---

template <class T>
class BlockDMatrixRecord : public testing::Test {};
struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return sizeof(T) == 2 ? "16s" : sizeof(T) == 4 ? "32f" : "64f";
    }
};
using Elements = testing::Types<std::int16_t, float, double>;
TYPED_TEST_SUITE(BlockDMatrixRecord, Elements, Names);

// What the opaque record holds.
template <class T>
struct Fields {
    T** rows;
    std::int32_t* sizes;
    void* allocation;
    std::uint16_t blocks, dimension;
};

template <class T>
const Fields<T>& fields(const typename Kind<T>::Record* record)
{
    return *reinterpret_cast<const Fields<T>*>(record);
}

std::size_t rounded_to_16(std::size_t bytes) { return (bytes + 15) / 16 * 16; }

const std::vector<std::vector<std::int32_t>>& some_sizes()
{
    static const std::vector<std::vector<std::int32_t>> all = {
        {1}, {2}, {7}, {1, 1, 1}, {4, 1, 9}, {13, 13, 13}, {3, 8, 16, 5, 1}, {33}, {100, 11}, {1, 120}};
    return all;
}

TYPED_TEST(BlockDMatrixRecord, HoldsSizesAndRowsEachOn16Bytes)
{
    for (const auto& sizes : some_sizes()) {
        const auto p = random_problem<TypeParam>(sizes, -9, 9);
        const Record<TypeParam> record(p);
        const Fields<TypeParam>& f = fields<TypeParam>(record.get());
        const auto place = [](const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); };
        ASSERT_EQ(f.blocks, sizes.size());
        ASSERT_EQ(f.dimension, p.rows.size());
        EXPECT_LE(place(f.allocation), place(record.get()));
        EXPECT_LE(place(record.get()) - place(f.allocation), 15u);
        std::uintptr_t next = place(record.get()) + rounded_to_16(sizeof f);
        EXPECT_EQ(place(record.get()) % 16, 0u);
        EXPECT_EQ(place(f.sizes), next);
        next += rounded_to_16(4 * sizes.size());
        EXPECT_EQ(place(f.rows), next);
        next += rounded_to_16(sizeof(void*) * p.rows.size());
        EXPECT_EQ(std::vector<std::int32_t>(f.sizes, f.sizes + f.blocks), sizes);
        for (std::size_t r = 0; r < p.rows.size(); ++r) {
            EXPECT_EQ(place(f.rows[r]), next);
            next += rounded_to_16(sizeof(TypeParam) * p.rows[r].size());
            EXPECT_EQ(std::vector<TypeParam>(f.rows[r], f.rows[r] + p.rows[r].size()), p.rows[r]);
        }
    }
}

TYPED_TEST(BlockDMatrixRecord, AsksForTheSquareOfEachRowsBytes)
{
    for (const auto& sizes : some_sizes()) {
        const auto p = random_problem<TypeParam>(sizes, -9, 9);
        std::size_t bytes = rounded_to_16(4 * sizes.size()) + rounded_to_16(sizeof(void*) * p.rows.size()) +
                            sizeof(Fields<TypeParam>) + 15;
        for (std::int32_t size : sizes) {
            const std::size_t row = rounded_to_16(sizeof(TypeParam) * static_cast<std::size_t>(size));
            bytes += row * row;
        }
        const AllocatorWatch watch;
        {
            const Record<TypeParam> record(p);
        }
        zelsFree(zelsMalloc_8u(static_cast<std::int32_t>(bytes)));
        ASSERT_EQ(watch.requests(), 2);
        EXPECT_EQ(watch.sizes()[0], watch.sizes()[1]);
        EXPECT_EQ(watch.live(), 0);
    }
}

TYPED_TEST(BlockDMatrixRecord, CopiesFromAnyAddress)
{
    using T = TypeParam;
    const auto p = random_problem<T>({3, 9, 1}, -9, 9);
    for (const Placement& place : placements(sizeof(T))) {
        GuardedRows<T> rows(p.rows, {place.misalign, 0, 1}, place.edge);
        Guarded<const T*> list(p.rows.size(), {place.misalign % 8, place.edge});
        for (std::size_t r = 0; r < p.rows.size(); ++r) list.set(r, rows.list()[r]);
        const Guarded<std::int32_t> sizes(p.sizes, {(place.misalign + 3) % 16, place.edge});
        Guarded<typename Kind<T>::Record*> handle(1, {(place.misalign + 1) % 16, place.edge});
        list.take_snapshot();
        ASSERT_EQ(Kind<T>::init(handle.data(), list.data(), sizes.data(), 3), SrOk);
        EXPECT_TRUE(rows.intact() && list.as_snapshot() && handle.intact());
        const Fields<T>& f = fields<T>(handle.get(0));
        for (std::size_t r = 0; r < p.rows.size(); ++r)
            EXPECT_EQ(std::vector<T>(f.rows[r], f.rows[r] + p.rows[r].size()), p.rows[r]);
        EXPECT_EQ(Kind<T>::free(handle.get(0)), SrOk);
    }
}

// Any kind's function releases any kind's record.
TYPED_TEST(BlockDMatrixRecord, IsReleasedByAnyOfTheFunctions)
{
    const AllocatorWatch watch;
    const auto p = random_problem<TypeParam>({2, 2}, -9, 9);
    std::vector<const TypeParam*> list;
    for (const auto& row : p.rows) list.push_back(row.data());
    typename Kind<TypeParam>::Record* record = nullptr;
    ASSERT_EQ(Kind<TypeParam>::init(&record, list.data(), p.sizes.data(), 2), SrOk);
    EXPECT_EQ(zelsBlockDMatrixFree_16s(reinterpret_cast<BlockDMatrix_16s*>(record)), SrOk);
    ASSERT_EQ(Kind<TypeParam>::init(&record, list.data(), p.sizes.data(), 2), SrOk);
    EXPECT_EQ(zelsBlockDMatrixFree_64f(reinterpret_cast<BlockDMatrix_64f*>(record)), SrOk);
    EXPECT_EQ(watch.live(), 0);
    EXPECT_EQ(Kind<TypeParam>::free(nullptr), SrErrNullPtr);
}

TYPED_TEST(BlockDMatrixRecord, TheFirstFailedCheckDecides)
{
    using T = TypeParam;
    struct Arguments {
        typename Kind<T>::Record** record;
        const T* const* rows;
        const std::int32_t* sizes;
        std::int32_t count;
    };
    const auto p = random_problem<T>({1, 2, 1}, -9, 9);
    std::vector<const T*> list;
    for (const auto& row : p.rows) list.push_back(row.data());
    Guarded<typename Kind<T>::Record*> record(1);
    const AllocatorWatch watch;
    for (const std::vector<std::int32_t>& bad :
         {std::vector<std::int32_t>{0, 2, 1}, {1, 0, 1}, {1, 2, 0}, {1, 2, -1}, {1, INT32_MIN, 1}})
        for (std::int32_t count : {0, -1, INT32_MIN})
            expect_check_order<Arguments>(
                {record.data(), list.data(), p.sizes.data(), 3},
                {{"record", SrErrNullPtr, [](Arguments& a) { a.record = nullptr; }},
                 {"rows", SrErrNullPtr, [](Arguments& a) { a.rows = nullptr; }},
                 {"sizes", SrErrNullPtr, [](Arguments& a) { a.sizes = nullptr; }},
                 {"count", SrErrSize, [count](Arguments& a) { a.count = count; }},
                 {"size", SrErrSize, [&bad](Arguments& a) { a.sizes = bad.data(); }}},
                [](const Arguments& a) { return Kind<T>::init(a.record, a.rows, a.sizes, a.count); }, {&record});
    EXPECT_EQ(watch.requests(), 0);
}

TYPED_TEST(BlockDMatrixRecord, RefusedMemoryLeavesTheHandle)
{
    using T = TypeParam;
    const auto p = random_problem<T>({4, 2}, -9, 9);
    std::vector<const T*> list;
    for (const auto& row : p.rows) list.push_back(row.data());
    Guarded<typename Kind<T>::Record*> handle(1);
    expect_survives_refusals(
        [&] {
            const SrStatus status = Kind<T>::init(handle.data(), list.data(), p.sizes.data(), 2);
            if (status == SrOk) Kind<T>::free(handle.get(0));
            return status;
        },
        {&handle});
    // More than can be asked for: no row is looked at, though their squares are small modulo 2^32.
    for (const std::vector<std::int32_t>& sizes : {std::vector<std::int32_t>{INT32_MAX},
                                                   {1, INT32_MAX},
                                                   {1 << 16},
                                                   {1 << 30, 1 << 30},
                                                   {30000, 30000, 30000}}) {
        handle.take_snapshot();
        EXPECT_EQ(Kind<T>::init(handle.data(), list.data(), sizes.data(), static_cast<std::int32_t>(sizes.size())),
                  SrErrMemAlloc);
        EXPECT_TRUE(handle.as_snapshot());
    }
}

// Counts are kept in 16 bits: of 65538 blocks, two.
TYPED_TEST(BlockDMatrixRecord, KeepsTheLow16BitsOfItsCounts)
{
    using T = TypeParam;
    if (thin_effort()) return;
    const std::vector<std::int32_t> sizes(65538, 1);
    const std::vector<T> element = {3};
    const std::vector<const T*> list(65538, element.data());
    typename Kind<T>::Record* record = nullptr;
    ASSERT_EQ(Kind<T>::init(&record, list.data(), sizes.data(), 65538), SrOk);
    EXPECT_EQ(fields<T>(record).blocks, 2);
    EXPECT_EQ(fields<T>(record).dimension, 2);
    const std::vector<T> feature = {5, 6}, mean = {4, 4};
    // 3 * (1 + 4) / 2
    if constexpr (std::is_same_v<T, std::int16_t>) {
        float score = 0;
        EXPECT_EQ(zelsLogGaussSingle_BlockDVarScaled_16s32f(feature.data(), mean.data(), record, 2, &score, 0, 0),
                  SrOk);
        EXPECT_EQ(score, -7.5F);
    } else {
        T score = 0;
        if constexpr (std::is_same_v<T, float>)
            EXPECT_EQ(zelsLogGaussSingle_BlockDVar_32f(feature.data(), mean.data(), record, 2, &score, 0), SrOk);
        else
            EXPECT_EQ(zelsLogGaussSingle_BlockDVar_64f(feature.data(), mean.data(), record, 2, &score, 0), SrOk);
        EXPECT_EQ(score, T(-7.5));
    }
    EXPECT_EQ(Kind<T>::free(record), SrOk);
}

// --- floating-point scores ---

template <class InType, class OutType, auto kFunction>
struct Member {
    using In = InType;
    using Out = OutType;
    static constexpr auto call = kFunction;
};
template <class Member>
class BlockDVar : public testing::Test {};
struct MemberNames {
    template <class>
    static std::string GetName(int i)
    {
        static const char* const names[] = {"32f", "64f", "32f64f"};
        return names[i];
    }
};
using Members = testing::Types<Member<float, float, zelsLogGaussSingle_BlockDVar_32f>,
                               Member<double, double, zelsLogGaussSingle_BlockDVar_64f>,
                               Member<float, double, zelsLogGaussSingle_BlockDVar_32f64f>>;
TYPED_TEST_SUITE(BlockDVar, Members, MemberNames);

// The score, in any order of the sums; where: feature, mean, result.
template <class Member>
testing::AssertionResult scores(const Problem<typename Member::In>& p, typename Member::Out val, bool exact,
                                const Arrangement& where = Arrangement(3))
{
    using In = typename Member::In;
    using Out = typename Member::Out;
    const Record<In> record(p);
    Guarded<In> feature(p.feature, where[0]), mean(p.mean, where[1]);
    Guarded<Out> result(1, where[2]);
    feature.take_snapshot();
    mean.take_snapshot();
    const SrStatus status =
        invoke(Member::call, feature.data(), mean.data(), record.get(), p.length(), result.data(), val);
    std::vector<In> d;
    for (std::size_t k = 0; k < p.feature.size(); ++k) d.push_back(p.feature[k] - p.mean[k]);
    const Form form = quadratic_form(p, d);
    const long double expected = val - form.sum / 2;
    const int roundings = *std::max_element(p.sizes.begin(), p.sizes.end()) + p.length() + 8;
    const double tolerance =
        exact ? 0
              : roundings * static_cast<double>(form.magnitude) * double{std::numeric_limits<In>::epsilon()} / 2 +
                    2 * std::abs(double{val}) * double{std::numeric_limits<Out>::epsilon()};
    testing::AssertionResult right = near_values(std::vector<double>{static_cast<double>(expected)},
                                                 std::vector<double>{double{result.get(0)}}, tolerance);
    if (status != SrOk) right = testing::AssertionFailure() << "status " << status;
    if (!result.intact()) right = testing::AssertionFailure() << "written beside the result";
    if (!feature.as_snapshot() || !mean.as_snapshot())
        right = testing::AssertionFailure() << "an input was written";
    if (right) return right;
    return testing::AssertionFailure() << "length " << p.length() << " in " << p.sizes.size()
                                       << " blocks: " << right.message() << "; " << describe(where);
}

TYPED_TEST(BlockDVar, EveryBlockSize)
{
    using In = typename TypeParam::In;
    for (int size = 1; size <= (thin_effort() ? 20 : 45); ++size)
        for (int before : {0, 1, 3}) {
            std::vector<std::int32_t> sizes(static_cast<std::size_t>(before), 1);
            sizes.push_back(size);
            if (before == 3) sizes.push_back(2);
            ASSERT_TRUE(scores<TypeParam>(whole_problem<In>(sizes), 1000, true));
            ASSERT_TRUE(scores<TypeParam>(random_problem<In>(sizes, -3, 3), 2.5, false));
        }
}

TYPED_TEST(BlockDVar, EveryLength)
{
    using In = typename TypeParam::In;
    Cycle places(arrangements(3, sizeof(In)));
    for (int len = 1; len <= (thin_effort() ? 20 : 70); ++len)
        for (int largest : {1, 4, 13, 70}) {
            ASSERT_TRUE(scores<TypeParam>(whole_problem<In>(random_sizes(len, largest)), -7, true, places.next()));
            const auto p = random_problem<In>(random_sizes(len, largest), -3, 3);
            ASSERT_TRUE(scores<TypeParam>(p, 2.5, false, places.next()));
        }
    for (int len : {110, 111, 112, 113, 300})
        ASSERT_TRUE(scores<TypeParam>(whole_problem<In>(random_sizes(len, 60)), 0, true));
}

// The same bits wherever the arrays lie.
TYPED_TEST(BlockDVar, DoesNotDependOnThePlacement)
{
    using In = typename TypeParam::In;
    for (const auto& sizes : some_sizes()) {
        const auto p = random_problem<In>(sizes, -3, 3);
        const Record<In> record(p);
        typename TypeParam::Out expected = 0;
        ASSERT_EQ(TypeParam::call(p.feature.data(), p.mean.data(), record.get(), p.length(), &expected, 1), SrOk);
        for (const Placement& place : placements(sizeof(In))) {
            const Guarded<In> feature(p.feature, place), mean(p.mean, {(place.misalign + 4) % 16, place.edge});
            Guarded<typename TypeParam::Out> result(1, place);
            ASSERT_EQ(TypeParam::call(feature.data(), mean.data(), record.get(), p.length(), result.data(), 1),
                      SrOk);
            EXPECT_TRUE(same_value(expected, result.get(0)));
            EXPECT_TRUE(feature.intact() && mean.intact() && result.intact());
        }
    }
}

TYPED_TEST(BlockDVar, BothTrianglesEnter)
{
    using In = typename TypeParam::In;
    // d = (2, 3): 4 * 1 + 6 * 10 + 6 * 100 + 9 * 1000
    const Problem<In> p = {{2}, {{1, 10}, {100, 1000}}, {3, 5}, {1, 2}};
    const Record<In> record(p);
    typename TypeParam::Out result = 0;
    ASSERT_EQ(TypeParam::call(p.feature.data(), p.mean.data(), record.get(), 2, &result, 50000), SrOk);
    EXPECT_EQ(result, 50000 - 9664 / 2);
}

TYPED_TEST(BlockDVar, ASpecialValueReachesTheScore)
{
    using In = typename TypeParam::In;
    for (int len : {1, 2, 5, 9, 20})
        for (In special : {std::numeric_limits<In>::infinity(), std::numeric_limits<In>::quiet_NaN()}) {
            auto p = random_problem<In>({len}, 1, 2);
            for (In& m : p.mean) m = 0;
            const std::size_t at = generator()() % p.feature.size();
            for (int where = 0; where < 3; ++where) {
                auto q = p;
                (where == 0 ? q.feature[at] : where == 1 ? q.mean[at] : q.rows[at][at]) = special;
                const Record<In> record(q);
                typename TypeParam::Out result = 0;
                ASSERT_EQ(TypeParam::call(q.feature.data(), q.mean.data(), record.get(), len, &result, 1), SrOk);
                // Minus infinity where all else is positive; of an infinite mean the products differ in sign.
                if (std::isnan(special) || (where == 1 && len > 1))
                    EXPECT_FALSE(std::isfinite(result));
                else
                    EXPECT_EQ(result, -INFINITY);
            }
        }
}

TEST(BlockDVar_32f, WithBlocksOfOneIsTheScoreWithInverseVariances)
{
    for (int len : {1, 7, 39, 111, 112}) {
        const auto p = random_problem<float>(std::vector<std::int32_t>(static_cast<std::size_t>(len), 1), 0.1F, 3);
        std::vector<float> inv_var;
        for (const auto& row : p.rows) inv_var.push_back(row[0]);
        float expected = 0, result = 0;
        ASSERT_EQ(zelsLogGaussSingle_32f(p.feature.data(), p.mean.data(), inv_var.data(), len, &expected, 1),
                  SrOk);
        const Record<float> record(p);
        ASSERT_EQ(zelsLogGaussSingle_BlockDVar_32f(p.feature.data(), p.mean.data(), record.get(), len, &result, 1),
                  SrOk);
        EXPECT_NEAR(result, expected, 1e-6 * len * 10);
    }
}

// Along a row in single precision, from row to row in double.
TEST(BlockDVar_32f64f, RowsAreInSingleAndTheirSumInDouble)
{
    Problem<float> p{
        {16}, std::vector(16, std::vector<float>(16, 0)), std::vector<float>(16, 1), std::vector<float>(16, 0)};
    p.rows[0][0] = 0x1p24F;
    p.rows[0][8] = 1;  // a register's distance behind: lost beside the other
    double result = 0;
    {
        const Record<float> record(p);
        ASSERT_EQ(
            zelsLogGaussSingle_BlockDVar_32f64f(p.feature.data(), p.mean.data(), record.get(), 16, &result, 0),
            SrOk);
        EXPECT_EQ(result, -0x1p23);
    }
    p.rows[0][8] = 0;
    for (std::size_t r = 1; r < 16; ++r) p.rows[r][r] = 1;
    const Record<float> record(p);
    ASSERT_EQ(
        zelsLogGaussSingle_BlockDVar_32f64f(p.feature.data(), p.mean.data(), record.get(), 16, &result, 0.25),
        SrOk);
    EXPECT_EQ(result, 0.25 - (0x1p24 + 15) / 2);
}

TYPED_TEST(BlockDVar, TheFirstFailedCheckDecides)
{
    using In = typename TypeParam::In;
    struct Arguments {
        const In *x, *m;
        const typename Kind<In>::Record* record;
        std::int32_t len;
        typename TypeParam::Out* result;
    };
    const auto p = random_problem<In>({2, 3}, -3, 3);
    const Record<In> record(p);
    Guarded<typename TypeParam::Out> result(1);
    const AllocatorWatch watch;
    for (std::int32_t len : {0, -1, INT32_MIN, 4, 6, 65541, INT32_MAX})
        expect_check_order<Arguments>(
            {p.feature.data(), p.mean.data(), record.get(), 5, result.data()},
            {{"feature", SrErrNullPtr, [](Arguments& a) { a.x = nullptr; }},
             {"mean", SrErrNullPtr, [](Arguments& a) { a.m = nullptr; }},
             {"record", SrErrNullPtr, [](Arguments& a) { a.record = nullptr; }},
             {"result", SrErrNullPtr, [](Arguments& a) { a.result = nullptr; }},
             {"length", SrErrSize, [len](Arguments& a) { a.len = len; }}},
            [](const Arguments& a) { return TypeParam::call(a.x, a.m, a.record, a.len, a.result, 1); }, {&result});
    EXPECT_EQ(watch.requests(), 0);
}

TYPED_TEST(BlockDVar, WorkMemoryIsOnTheStackUpTo111Elements)
{
    using In = typename TypeParam::In;
    for (int len : {1, 111, 112, 500}) {
        const auto p = random_problem<In>(random_sizes(len, 20), -3, 3);
        const Record<In> record(p);
        Guarded<typename TypeParam::Out> result(1);
        const auto call = [&] {
            return TypeParam::call(p.feature.data(), p.mean.data(), record.get(), len, result.data(), 1);
        };
        if (len > 111) {
            expect_survives_refusals(call, {&result});
            continue;
        }
        const AllocatorWatch watch;
        EXPECT_EQ(call(), SrOk);
        EXPECT_EQ(watch.requests(), 0) << len;
    }
}

#ifdef __i386__
TYPED_TEST(BlockDVar, TakesACallWithTheStackOn4Bytes)
{
    using In = typename TypeParam::In;
    for (int stack : {0, 4, 8, 12})
        for (int len : {5, 39, 150}) {
            const auto p = whole_problem<In>(random_sizes(len, 13));
            matrix::stack_misalign = stack;
            const auto right = scores<TypeParam>(p, 3, true);
            matrix::stack_misalign = -1;
            ASSERT_TRUE(right) << "stack " << stack;
        }
}
#endif

}  // namespace
}  // namespace zelsr::test::block_diagonal
