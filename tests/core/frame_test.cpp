// What the library's own code shares: scale factors, row lists, lane selection, checks, tables and work memory.
// None of it is visible from outside, so this program takes core's headers.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "core/contract.h"
#include "core/rows.h"
#include "core/scale.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "core/table.h"
#include "support/hooks.h"

namespace zelsr::test {
namespace {

TEST(ScaleFactor, SingleIsTwoToTheMinusSf)
{
    EXPECT_EQ(GetScale_32s32f(0), 1.0F);
    EXPECT_EQ(GetScale_32s32f(1), 0.5F);
    EXPECT_EQ(GetScale_32s32f(-1), 2.0F);
    for (int sf = -127; sf <= 149; ++sf) EXPECT_EQ(GetScale_32s32f(sf), std::ldexp(1.0F, -sf)) << sf;
    EXPECT_EQ(GetScale_32s32f(127), 0x1p-127F);
    EXPECT_EQ(std::bit_cast<uint32_t>(GetScale_32s32f(149)), 1u);
    for (int sf : {-128, -200, INT32_MIN}) EXPECT_EQ(GetScale_32s32f(sf), std::numeric_limits<float>::infinity());
    for (int sf : {150, 200, INT32_MAX}) EXPECT_EQ(std::bit_cast<uint32_t>(GetScale_32s32f(sf)), 0u);
}

TEST(ScaleFactor, DoubleIsTwoToTheMinusSf)
{
    EXPECT_EQ(GetScale_32s64f(0), 1.0);
    for (int sf = -1023; sf <= 1074; ++sf) EXPECT_EQ(GetScale_32s64f(sf), std::ldexp(1.0, -sf)) << sf;
    for (int sf : {-1024, -1025, -2000, INT32_MIN})
        EXPECT_EQ(GetScale_32s64f(sf), std::numeric_limits<double>::infinity());
    for (int sf : {1075, 1087, 1088, 5000, INT32_MAX}) EXPECT_EQ(std::bit_cast<uint64_t>(GetScale_32s64f(sf)), 0u);
}

TEST(RowList, TellsAMisalignedRowAndStopsThere)
{
    alignas(16) float memory[16];
    const float* rows[4] = {memory, memory + 4, memory + 8, memory + 12};
    EXPECT_EQ(RowMatrAlErr(rows, 4), 0);
    EXPECT_EQ(RowMatrAlErr(rows, 0), 0);
    EXPECT_EQ(RowMatrAlErr(rows, -3), 0);
    rows[2] = memory + 9;
    EXPECT_EQ(RowMatrAlErr(rows, 2), 0);
    EXPECT_NE(RowMatrAlErr(rows, 3), 0);
    Guarded<const float*> list(std::vector<const float*>{memory + 1});
    EXPECT_NE(RowMatrAlErr(list.data(), 1000), 0);  // entries behind the first are not there to be read
    const auto* odd = reinterpret_cast<const float*>(reinterpret_cast<const char*>(memory) + 1);
    rows[2] = odd;
    EXPECT_NE(RowMatrAlErr(rows, 4), 0);
}

TEST(BlockRows, AskForAFirstElementAndAStepOn16Bytes)
{
    alignas(16) float singles[8];
    EXPECT_TRUE(Block(singles, 8).on_16_bytes(3));
    EXPECT_FALSE(Block(singles, 6).on_16_bytes(3));
    EXPECT_FALSE(Block(singles + 1, 8).on_16_bytes(3));
    alignas(16) double doubles[4];
    EXPECT_TRUE(Block(doubles, 2).on_16_bytes(3));
    EXPECT_FALSE(Block(doubles, 2).on_16_bytes(3, 4));
    alignas(16) int16_t shorts[8];
    EXPECT_TRUE(Block(shorts, 8).on_16_bytes(3));
    EXPECT_FALSE(Block(shorts, 4).on_16_bytes(3));
    EXPECT_EQ(Block(singles, 3)[2], singles + 6);
}

// A choice is one of bits: each type of register, with a mask that is no whole lane, and NaNs on both sides.
TEST(Choose, TakesEachBitFromWhereTheMaskSays)
{
    alignas(16) const uint32_t mask[4] = {0xffffffffu, 0, 0x00ff00ffu, 0x80000000u};
    alignas(16) const uint32_t yes[4] = {0x7f812345u, 0x3f800000u, 0x12345678u, 0x80000000u};
    alignas(16) const uint32_t no[4] = {0x40000000u, 0xffc54321u, 0x9abcdef0u, 0x7fffffffu};
    const std::array<uint32_t, 4> expected = {0x7f812345u, 0xffc54321u, 0x9a34de78u, 0xffffffffu};
    const auto bits = [](__m128i v) { return std::bit_cast<std::array<uint32_t, 4>>(v); };
    const __m128i m = Aligned::bytes(mask), y = Aligned::bytes(yes), n = Aligned::bytes(no);
    const __m128 single_y = _mm_castsi128_ps(y), single_n = _mm_castsi128_ps(n);
    EXPECT_EQ(bits(choose(m, y, n)), expected);
    EXPECT_EQ(bits(_mm_castps_si128(choose(_mm_castsi128_ps(m), single_y, single_n))), expected);
    EXPECT_EQ(bits(_mm_castps_si128(choose(m, single_y, single_n))), expected);
    const __m128d doubles = choose(_mm_castsi128_pd(m), _mm_castsi128_pd(y), _mm_castsi128_pd(n));
    EXPECT_EQ(bits(_mm_castpd_si128(doubles)), expected);
}

TEST(Checks, ReportTheFirstFailureAndStopBeforeCallables)
{
    int x = 0;
    const int* null = nullptr;
    EXPECT_EQ(first_failure(non_null(&x), positive(1), stride(3, 3)), SrOk);
    EXPECT_EQ(first_failure(stride(4, 3), non_null(null), positive(0)), SrErrStride);
    EXPECT_EQ(first_failure(non_null(&x, null), positive(0), stride(4, 3)), SrErrNullPtr);
    EXPECT_EQ(first_failure(positive(1, INT32_MIN), non_null(null)), SrErrSize);
    const auto must_not_run = [] {
        ADD_FAILURE() << "the check behind a failed one ran";
        return SrStatus{SrErrContext};
    };
    EXPECT_EQ(first_failure(non_null(null), must_not_run), SrErrNullPtr);
    EXPECT_EQ(first_failure(non_null(&x), [&] { return require(x == 1, SrErrContext); }), SrErrContext);
}

TEST(Table, SizeOf3RowsOf5Columns)
{
    const int32_t expected = sizeof(void*) == 4 ? 136 : 148;
    EXPECT_EQ(GetSize2_32f(3, 5), expected);
    EXPECT_EQ(GetSize2_32s(3, 5), expected);
    AllocatorWatch watch;
    float** table = Alloc2_32f(3, 5);
    EXPECT_EQ(watch.sizes().at(0), static_cast<std::size_t>(expected) + 32 + sizeof(void*));
    const auto start = reinterpret_cast<std::uintptr_t>(table);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table[0]), start + 32);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table[1]), start + 64);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table[2]), start + 96);
    Free2(table);
    EXPECT_EQ(watch.live(), 0);
}

template <class T>
struct TableMaker {
    T** (*allocate)(int32_t, int32_t);
    void (*lay_out)(T**, int32_t, int32_t);
    int32_t (*size)(int32_t, int32_t);
};

template <class T>
void expect_rows_inside(const TableMaker<T>& maker)
{
    for (int32_t rows = 1; rows <= 20; ++rows)
        for (int32_t columns : {1, 7, 8, 9, 39, 40}) {
            const int32_t size = maker.size(rows, columns);
            // Init lays the same table into memory of the caller's.
            Guarded<uint8_t> aligned(static_cast<std::size_t>(size), {0, Edge::Front});
            T** table = reinterpret_cast<T**>(aligned.data());
            maker.lay_out(table, rows, columns);
            EXPECT_EQ(RowMatrAlErr(table, rows), 0);
            for (int32_t r = 0; r < rows; ++r) {
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table[r]) % 32, 0u);
                EXPECT_EQ(table[r] - table[0], r * ((columns + 7) / 8 * 8));
                for (int32_t c = 0; c < columns; ++c) table[r][c] = T(r * columns + c);
            }
            EXPECT_GE(reinterpret_cast<uint8_t*>(table[0]), reinterpret_cast<uint8_t*>(table + rows));
            EXPECT_LE(reinterpret_cast<uint8_t*>(table[rows - 1] + (columns + 7) / 8 * 8), aligned.data() + size);
            EXPECT_TRUE(aligned.intact());

            T** own = maker.allocate(rows, columns);
            for (int32_t r = 0; r < rows; ++r) EXPECT_EQ(own[r] - own[0], table[r] - table[0]);
            Free2d(own);
        }
}

TEST(Table, RowsLieInsideTheBlockOn32Bytes)
{
    expect_rows_inside<float>({Alloc2_32f, Init2_32f, GetSize2_32f});
    expect_rows_inside<float>({Alloc2_32fd, Init2_32fd, GetSize2_32f});
    expect_rows_inside<int32_t>({Alloc2_32s, Init2_32s, GetSize2_32s});
}

TEST(Table, RefusedBlockIsNull)
{
    AllocatorWatch watch(1);
    EXPECT_EQ(Alloc2_32s(3, 5), nullptr);
}

// A size that wrapped to a small one would make a block that ends before its own row list.
TEST(Table, BeyondTheLargestCountIsNull)
{
    AllocatorWatch watch;
    for (const auto& [rows, columns] : {std::pair{1 << 14, 1 << 15}, std::pair{1 << 16, 1 << 16},
                                        std::pair{INT32_MAX, INT32_MAX}, std::pair{1 << 29, 1}}) {
        EXPECT_EQ(Alloc2_32f(rows, columns), nullptr) << rows << " x " << columns;
        EXPECT_EQ(Alloc2_32s(rows, columns), nullptr) << rows << " x " << columns;
    }
    EXPECT_EQ(watch.requests(), 0);
}

// The size of no rows, or of fewer, is that of the computation: a block that holds nothing, or null.
TEST(Table, NoRowsGiveABlockWithoutRows)
{
    AllocatorWatch watch;
    EXPECT_EQ(GetSize2_32f(0, 5), 28);
    EXPECT_EQ(GetSize2_32f(-1, 5), sizeof(void*) == 4 ? -8 : -12);
    float** table = Alloc2_32f(0, 5);
    EXPECT_NE(table, nullptr);
    Free2(table);
    EXPECT_EQ(Alloc2_32f(-1, 5), nullptr);
    EXPECT_EQ(watch.live(), 0);
}

TEST(Scratch, TakesTheStackUpToItsBoundAndTheHeapBeyond)
{
    AllocatorWatch watch;
    {
        Scratch<float, 16> on_stack(16);
        EXPECT_TRUE(on_stack);
        EXPECT_TRUE(is_aligned(on_stack.data(), 32));
        EXPECT_EQ(watch.requests(), 0);
        Scratch<float, 16> on_heap(17);
        EXPECT_TRUE(on_heap);
        Scratch<double> always(1);
        EXPECT_EQ(watch.requests(), 2);
        EXPECT_EQ(watch.live(), 2);
        on_heap[16] = 1.0F;
    }
    EXPECT_EQ(watch.live(), 0);
}

TEST(Scratch, ARefusedBlockTestsFalse)
{
    AllocatorWatch watch(1);
    Scratch<int16_t, 4> refused(5);
    EXPECT_FALSE(refused);
}

// A count that wrapped around must not look like one that fits on the stack.
TEST(Scratch, ACountBelowOneTestsFalse)
{
    AllocatorWatch watch;
    for (int32_t count : {0, -1, INT32_MIN, INT32_MIN + 31}) {
        EXPECT_FALSE(Scratch<float>(count)) << count;
        EXPECT_FALSE((Scratch<float, 16>(count))) << count;
    }
    EXPECT_EQ(watch.requests(), 0);
}

TEST(Table, PointerAsInteger)
{
    int x = 0;
    EXPECT_EQ(ZEL_INT_PTR(&x), reinterpret_cast<std::uintptr_t>(&x));
}

}  // namespace
}  // namespace zelsr::test
