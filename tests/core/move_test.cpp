// Copies, moves and fills: bytes, whatever they mean.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>

#include "support/elementwise.h"
#include "support/odd_stack.h"
#include "support/reference/vector.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

template <class T>
using Copy = SrStatus (*)(const T*, T*, int32_t);
template <class T>
using Set = SrStatus (*)(T, T*, int32_t);
template <class T>
using Zero = SrStatus (*)(T*, int32_t);

template <class T>
Member copy_member(std::string name, Copy<T> copy)
{
    return map<T>(std::move(name), copy, reference::copy<T>, Compare::Bits);
}

template <class T>
Member set_member(std::string name, Set<T> set, T value)
{
    return fill<T>(
        std::move(name), [=](T* dst, int32_t len) { return set(value, dst, len); },
        [=](std::vector<T>& dst) { return reference::fill(value, dst); });
}

template <class T>
Member zero_member(std::string name, Zero<T> zero)
{
    return fill<T>(std::move(name), zero, [](std::vector<T>& dst) { return reference::fill(T(0), dst); });
}

std::vector<Member> members()
{
    return {
        copy_member("zelsCopy_8u", zelsCopy_8u),
        copy_member("zelsCopy_16s", zelsCopy_16s),
        copy_member("zelsCopy_32s", zelsCopy_32s),
        copy_member("zelsCopy_32f", zelsCopy_32f),
        copy_member("zelsCopy_64f", zelsCopy_64f),
        copy_member("zelsMove_32f", zelsMove_32f),
        set_member<uint8_t>("zelsSet_8u", zelsSet_8u, 0x9c),
        set_member<uint8_t>("zelsSet_8u_Zero", zelsSet_8u, 0),
        set_member<int16_t>("zelsSet_16s", zelsSet_16s, 0x1234),
        set_member<int16_t>("zelsSet_16s_Negative", zelsSet_16s, -2),
        set_member<int32_t>("zelsSet_32s", zelsSet_32s, 0x12345678),
        set_member<int32_t>("zelsSet_32s_Lowest", zelsSet_32s, INT32_MIN),
        set_member("zelsSet_32f", zelsSet_32f, -0x1.234568p-3F),
        set_member("zelsSet_32f_MinusZero", zelsSet_32f, -0.0F),
        set_member("zelsSet_32f_NotANumber", zelsSet_32f, std::bit_cast<float>(0xffc12345u)),
        set_member("zelsSet_64f", zelsSet_64f, -0x1.23456789abcdep-3),
        set_member("zelsSet_64f_MinusZero", zelsSet_64f, -0.0),
        set_member("zelsSet_64f_NotANumber", zelsSet_64f, std::bit_cast<double>(uint64_t{0x7ff8123456789abc})),
        zero_member("zelsZero_8u", zelsZero_8u),
        zero_member("zelsZero_16s", zelsZero_16s),
        zero_member("zelsZero_32f", zelsZero_32f),
        zero_member("zelsZero_64f", zelsZero_64f),
    };
}

class Moves : public testing::TestWithParam<Member> {};
INSTANTIATE_TEST_SUITE_P(, Moves, testing::ValuesIn(members()), member_name);

TEST_P(Moves, GiveTheBytesAtEveryLengthAndPlacement)
{
    GetParam()->expect_reference_at_every_length_and_placement();
}

// From a mebibyte on the bytes may go another way; its chunks are a power of two.
TEST_P(Moves, GiveTheBytesOfLongArrays)
{
    GetParam()->expect_reference_for_length((1 << (thin_effort() ? 17 : 20)) + 5);
}

TEST_P(Moves, CheckNullBeforeSizeAndReadNothing) { GetParam()->expect_null_is_checked_before_size(); }

TEST_P(Moves, LookAtNoValueAndRaiseNoException) { GetParam()->expect_same_in_each_environment(); }

// Around a mebibyte and the ends of 256 KiB chunks behind it, the destination anywhere on 64 bytes.
TEST(LongMoves, EndWhereTheArrayEndsAtEachByteLength)
{
    constexpr int mebi = 1 << 20;
    constexpr int chunk = 1 << 18;
    std::vector<int> all = {mebi - 1,         mebi,         mebi + 1,         mebi + 63, mebi + 64,
                            mebi + chunk - 1, mebi + chunk, mebi + chunk + 17};
    if (thin_effort()) all = {mebi - 1, mebi + 17};
    const std::vector<uint8_t> pattern = repeated(random_bits<uint8_t>(4093), all.back() + 64);
    int step = 0;
    for (int len : all) {
        const std::size_t count = static_cast<std::size_t>(len);
        const Placement place{step * 5 % 16, step % 2 == 0 ? Edge::Back : Edge::Front};
        const std::vector<uint8_t> bytes(pattern.begin() + step, pattern.begin() + step + len);
        Guarded<uint8_t> src(bytes, {step * 3 % 16, place.edge}), dst(count, place);
        EXPECT_EQ(zelsCopy_8u(src.data(), dst.data(), len), SrOk);
        EXPECT_EQ(std::memcmp(src.data(), dst.data(), count), 0) << len;
        EXPECT_TRUE(dst.intact()) << len;
        EXPECT_EQ(zelsSet_8u(0x3c, dst.data(), len), SrOk);
        EXPECT_EQ(std::count(dst.data(), dst.data() + len, 0x3c), len);
        EXPECT_TRUE(dst.intact()) << len;
        EXPECT_EQ(zelsZero_8u(dst.data(), len), SrOk);
        EXPECT_EQ(std::count(dst.data(), dst.data() + len, 0), len);
        EXPECT_TRUE(dst.intact()) << len;
        ++step;
    }
}

// Larger than a cache, for which stores may pass it by.
TEST(LongMoves, ReachTheEndOfFortyMebibytes)
{
    if (thin_effort()) GTEST_SKIP() << "too long for an emulator";
    constexpr int len = (40 << 20) + 13;
    Guarded<uint8_t> src(repeated(random_bits<uint8_t>(65521), len), {3}), dst(std::size_t{len}, {5});
    EXPECT_EQ(zelsCopy_8u(src.data(), dst.data(), len), SrOk);
    EXPECT_EQ(std::memcmp(src.data(), dst.data(), std::size_t{len}), 0);
    EXPECT_TRUE(dst.intact());
    EXPECT_EQ(zelsZero_8u(dst.data(), len), SrOk);
    EXPECT_EQ(dst.get(0), 0);
    EXPECT_EQ(std::memcmp(dst.data(), dst.data() + 1, std::size_t{len} - 1), 0);
    EXPECT_TRUE(dst.intact());
}

// One array with room on both sides: the source lies distance bytes behind the destination.
void expect_overlapping_move(int len, int distance)
{
    const int bytes = len * 4;
    const int src_at = std::max(distance, 0);
    const int dst_at = std::max(-distance, 0);
    Guarded<uint8_t> area(random_bits<uint8_t>(bytes + std::abs(distance)), {std::abs(distance) * 3 % 16});
    std::vector<uint8_t> expected = area.values();
    std::memmove(expected.data() + dst_at, expected.data() + src_at, static_cast<std::size_t>(bytes));
    const auto* src = reinterpret_cast<const float*>(area.data() + src_at);
    auto* dst = reinterpret_cast<float*>(area.data() + dst_at);
    EXPECT_EQ(zelsMove_32f(src, dst, len), SrOk);
    EXPECT_EQ(std::memcmp(area.data(), expected.data(), expected.size()), 0)
        << len << " elements over " << distance << " bytes";
    EXPECT_TRUE(area.intact());
}

TEST(Move, OverlapsAtEveryLengthInBothDirections)
{
    for (int len : lengths(32))
        for (int distance = -72; distance <= 72; distance += thin_effort() ? 5 : 1)
            expect_overlapping_move(len, distance);
}

TEST(Move, OverlapsAtEveryDistanceInBothDirections)
{
    for (int distance = -4200; distance <= 4200; distance += thin_effort() ? 401 : 4)
        expect_overlapping_move(1000, distance);
}

TEST(Move, LongArraysOverlapInBothDirections)
{
    const int len = (1 << (thin_effort() ? 18 : 20)) + 5;
    for (int distance : {-4, 4, -16, 16, -4096, 4096, -61, 67, -(1 << 20), 1 << 20}) {
        expect_overlapping_move(len, distance);
        if (thin_effort() && distance == 16) break;
    }
}

TEST(Move, OntoItselfChangesNothing)
{
    for (int len : {1, 5, 64, 1000}) expect_overlapping_move(len, 0);
}

#ifdef __i386__
TEST(OddStack, MovesWorkFromEveryStack)
{
    for (int misalign : {0, 4, 8, 12}) {
        Guarded<float> src(random_bits<float>(67)), dst(67);
        EXPECT_EQ(call_misaligned(zelsCopy_32f, misalign, static_cast<const float*>(src.data()), dst.data(), 67),
                  SrOk);
        EXPECT_EQ(std::memcmp(src.data(), dst.data(), dst.bytes()), 0);
        Guarded<double> filled(67);
        EXPECT_EQ(call_misaligned(zelsSet_64f, misalign, 1.25, filled.data(), 67), SrOk);
        EXPECT_TRUE(same_values(std::vector<double>(67, 1.25), filled.values()));
        EXPECT_EQ(call_misaligned(zelsZero_64f, misalign, filled.data(), 67), SrOk);
        EXPECT_TRUE(same_values(std::vector<double>(67, 0.0), filled.values()));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
