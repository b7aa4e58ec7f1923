// The aligned allocator, the hooks and the version record.
#include "zelsr/core/memory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "support/hooks.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

constexpr std::size_t kOverhead = 32 + sizeof(void*);

template <class T>
class MallocTest : public testing::Test {};
using ElementTypes = testing::Types<uint8_t, int16_t, int32_t, float, double>;
TYPED_TEST_SUITE(MallocTest, ElementTypes);

template <class T>
T* allocate(int32_t count);
template <>
uint8_t* allocate(int32_t count)
{
    return zelsMalloc_8u(count);
}
template <>
int16_t* allocate(int32_t count)
{
    return zelsMalloc_16s(count);
}
template <>
int32_t* allocate(int32_t count)
{
    return zelsMalloc_32s(count);
}
template <>
float* allocate(int32_t count)
{
    return zelsMalloc_32f(count);
}
template <>
double* allocate(int32_t count)
{
    return zelsMalloc_64f(count);
}

TYPED_TEST(MallocTest, CountBelowOneIsNullAndCallsNoHook)
{
    AllocatorWatch watch;
    for (int32_t count : {0, -1, INT32_MIN}) EXPECT_EQ(allocate<TypeParam>(count), nullptr);
    EXPECT_EQ(watch.requests(), 0);
}

TYPED_TEST(MallocTest, AsksForTheElementsAndOneLeadAndReleasesWhatItGot)
{
    AllocatorWatch watch;
    for (int32_t count : {1, 2, 7, 1000}) {
        TypeParam* block = allocate<TypeParam>(count);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(watch.sizes().back(), static_cast<std::size_t>(count) * sizeof(TypeParam) + kOverhead);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 32, 0u);
        std::memset(static_cast<void*>(block), 0x5a, static_cast<std::size_t>(count) * sizeof(TypeParam));
        zelsFree(block);
        EXPECT_EQ(watch.live(), 0);
    }
}

TYPED_TEST(MallocTest, RefusedRequestIsNull)
{
    AllocatorWatch watch(1);
    EXPECT_EQ(allocate<TypeParam>(3), nullptr);
    EXPECT_EQ(watch.requests(), 1);
}

#ifdef __i386__
TEST(Malloc, OneByteAsksFor37)
{
    AllocatorWatch watch;
    zelsFree(zelsMalloc_8u(1));
    EXPECT_EQ(watch.sizes(), std::vector<std::size_t>{37});
}

TEST(Malloc, SizeWrapsAt32Bits)
{
    AllocatorWatch watch;
    zelsFree(zelsMalloc_64f(0x20000000));  // 2^32 bytes
    zelsFree(zelsMalloc_32f(0x40000001));  // 2^32 + 4 bytes
    EXPECT_EQ(watch.sizes(), (std::vector<std::size_t>{36, 40}));
}
#endif

// A raw block at every address modulo 32.
alignas(32) unsigned char arena[256];
std::size_t arena_offset;
void* released;
void* arena_malloc(std::size_t) { return arena + arena_offset; }
void arena_free(void* block) { released = block; }

TEST(Malloc, PlacesTheBlockByTheRawAddressAndGivesTheRawAddressBack)
{
    auto* const former_malloc = i_malloc;
    auto* const former_free = i_free;
    i_malloc = arena_malloc;
    i_free = arena_free;
    for (arena_offset = 0; arena_offset < 32; ++arena_offset) {
        unsigned char* raw = arena + arena_offset;
        unsigned char* block = zelsMalloc_8u(1);
        const auto expected = (reinterpret_cast<std::uintptr_t>(raw) + 31 + sizeof(void*)) & ~std::uintptr_t{31};
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block), expected);
        void* saved;
        std::memcpy(&saved, block - sizeof saved, sizeof saved);
        EXPECT_EQ(saved, raw);
        released = nullptr;
        zelsFree(block);
        EXPECT_EQ(released, raw);
    }
    arena_offset = 0;
    EXPECT_EQ(zelsMalloc_8u(1), arena + 32);  // a raw block on 32 bytes
    i_malloc = former_malloc;
    i_free = former_free;
}

TEST(Free, NullIsHarmlessAndCallsNoHook)
{
    AllocatorWatch watch;
    zelsFree(nullptr);
    EXPECT_EQ(watch.live(), 0);
}

TEST(Hooks, AreTheCLibrarysAtTheStart)
{
    EXPECT_EQ(i_malloc, static_cast<void* (*)(std::size_t)>(std::malloc));
    EXPECT_EQ(i_calloc, static_cast<void* (*)(std::size_t, std::size_t)>(std::calloc));
    EXPECT_EQ(i_realloc, static_cast<void* (*)(void*, std::size_t)>(std::realloc));
    EXPECT_EQ(i_free, static_cast<void (*)(void*)>(std::free));
    EXPECT_EQ(i_version, 1);
    EXPECT_EQ(i_min_version, 0);
}

TEST(Version, IsTheSameConstantRecordEachTime)
{
    const SrLibVersion* version = zelsrGetLibVersion();
    EXPECT_EQ(version, zelsrGetLibVersion());
    EXPECT_EQ(version->major, 5);
    EXPECT_EQ(version->minor, 2);
    EXPECT_EQ(version->major_build, 108);
    EXPECT_EQ(version->build, 385);
    EXPECT_EQ(std::string_view(version->target_code, 4), std::string_view("q4\0\0", 4));
    EXPECT_STREQ(version->name, "libzelsrq4.so.5.2");
    EXPECT_STREQ(version->version, "5.2");
    EXPECT_STREQ(version->build_date, "Jul 11 2007");
    EXPECT_EQ(offsetof(SrLibVersion, target_code), 16u);
    EXPECT_EQ(sizeof(SrLibVersion), sizeof(void*) == 4 ? 32u : 48u);
}

#ifdef __i386__
// The hooks' own functions may ask for a stack on 16 bytes.
TEST(OddStack, BlocksComeAndGoFromEveryStack)
{
    AllocatorWatch watch;
    for (int misalign : {0, 4, 8, 12}) {
        const auto block = static_cast<std::uint32_t>(call_misaligned(zelsMalloc_64f, misalign, 1000));
        EXPECT_EQ(block % 32, 0u);
        call_misaligned(zelsFree, misalign, reinterpret_cast<void*>(block));
        EXPECT_EQ(watch.live(), 0);
    }
    EXPECT_EQ(watch.requests(), 4);
    EXPECT_EQ(static_cast<std::uint32_t>(call_misaligned(zelsrGetLibVersion, 4)),
              reinterpret_cast<std::uintptr_t>(zelsrGetLibVersion()));
}
#endif

}  // namespace
}  // namespace zelsr::test
