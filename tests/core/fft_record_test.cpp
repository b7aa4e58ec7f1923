// The life of FFT records of both kinds: checks, set-up in the caller's memory and the allocator's, release.
#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>

#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/fft_records.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/odd_stack.h"
#include "zelsr/core/fft.h"
#include "zelsr/core/memory.h"

namespace zelsr::test {
namespace {

constexpr std::size_t kOverhead = 32 + sizeof(void*);  // of a block of zelsMalloc_*

// What a record computes, as bits: equal for records that are equally good.
std::vector<int32_t> output_of(const ZelFFTState_R_32f* fft, int order)
{
    const std::size_t size = std::size_t{1} << order;
    std::vector<float> x(size + 2);
    for (std::size_t n = 0; n < size; ++n) x[n] = static_cast<float>((n * n * 37 + n * 11) % 1009) - 504.5F;
    std::vector<float> y(size);
    EXPECT_EQ(zelsFFTInv_PackToR_32f(x.data(), y.data(), fft, nullptr), SrOk);
    EXPECT_EQ(zelsFFTFwd_RToCCS_32f(x.data(), x.data(), fft, nullptr), SrOk);
    x.insert(x.end(), y.begin(), y.end());
    std::vector<int32_t> bits;
    for (float value : x) bits.push_back(std::bit_cast<int32_t>(value));
    return bits;
}
std::vector<int32_t> output_of(const ZelFFTState_R_16s32s* fft, int order)
{
    const std::size_t size = std::size_t{1} << order;
    std::vector<int16_t> x(size);
    for (std::size_t n = 0; n < size; ++n) x[n] = static_cast<int16_t>((n * n * 37 + n * 11) % 1009);
    std::vector<int32_t> spectrum(size + 2);
    EXPECT_EQ(zelsFFTFwd_RToCCS_16s32s_Sfs(x.data(), spectrum.data(), fft, -6, nullptr), SrOk);
    return spectrum;
}
SrStatus transform_status(const ZelFFTState_R_32f* fft)
{
    float x[4] = {};
    return zelsFFTFwd_RToPack_32f(x, x, fft, nullptr);
}
SrStatus transform_status(const ZelFFTState_R_16s32s* fft)
{
    int16_t x[2] = {};
    int32_t spectrum[4];
    return zelsFFTFwd_RToCCS_16s32s_Sfs(x, spectrum, fft, 0, nullptr);
}

template <class Kind>
std::vector<int32_t> allocated_output(int order, int flag)
{
    const OwnedFft<Kind> fft(order, flag);
    return output_of(fft.get(), order);
}

template <class Kind>
class FftRecord : public testing::Test {};
TYPED_TEST_SUITE(FftRecord, Kinds, KindNames);

template <class Kind>
struct InitArguments {
    typename Kind::State** state;
    int32_t order, flag;
    uint8_t *memory, *setup;
};

TYPED_TEST(FftRecord, InitChecksStateOrderMemoryThenFlagThenSetup)
{
    using Arguments = InitArguments<TypeParam>;
    Guarded<typename TypeParam::State*> state(1);
    Guarded<uint8_t> memory(static_cast<std::size_t>(sizes_of<TypeParam>(11).record));
    Guarded<uint8_t> setup(static_cast<std::size_t>(sizes_of<TypeParam>(11).setup));
    const Arguments good{state.data(), 11, 4, memory.data(), setup.data()};
    const auto call = [](const Arguments& a) {
        return TypeParam::kInit(a.state, a.order, a.flag, 0, a.memory, a.setup);
    };
    for (int bad_order : kBadOrders) {
        const std::vector<Fault<Arguments>> before_writing = {
            {"null state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
            {"order", SrErrFftOrder, [&](Arguments& a) { a.order = bad_order; }},
            {"null memory", SrErrNullPtr, [](Arguments& a) { a.memory = nullptr; }},
        };
        expect_check_order<Arguments>(good, before_writing, call, {&state, &memory, &setup});
        std::vector<Fault<Arguments>> all = before_writing;
        all.push_back({"flag", SrErrFftFlag, [](Arguments& a) { a.flag = 3; }});
        all.push_back({"null setup", SrErrNullPtr, [](Arguments& a) { a.setup = nullptr; }});
        expect_check_order<Arguments>(good, all, call);
    }
    EXPECT_TRUE(memory.intact());
}

// The identity lies in the memory's first word; the memory of a former record must not pass for a record.
TYPED_TEST(FftRecord, FailedInitLeavesNoIdentity)
{
    for (int order : orders_to(19)) {
        Guarded<uint8_t> memory(static_cast<std::size_t>(sizes_of<TypeParam>(order).record));
        std::vector<uint8_t> setup(static_cast<std::size_t>(sizes_of<TypeParam>(order).setup) + 1);
        const auto expect_cleared = [&](int flag, uint8_t* buffer, SrStatus expected) {
            std::memcpy(memory.data(), &TypeParam::kIdentity, 4);
            typename TypeParam::State* state = nullptr;
            EXPECT_EQ(TypeParam::kInit(&state, order, flag, 0, memory.data(), buffer), expected) << flag;
            EXPECT_EQ(head_word(memory.data(), 0), 0) << "order " << order << " flag " << flag;
            state = reinterpret_cast<typename TypeParam::State*>(memory.data());
            EXPECT_EQ(transform_status(state), SrErrContext);
            EXPECT_EQ(TypeParam::kFree(state), SrErrContext);
            EXPECT_TRUE(memory.intact());
        };
        for (int flag : kBadFlags) expect_cleared(flag, setup.data(), SrErrFftFlag);
        if (order >= 11) {
            expect_cleared(2, nullptr, SrErrNullPtr);
            expect_cleared(3, nullptr, SrErrFftFlag);
        }
    }
}

TYPED_TEST(FftRecord, InitStaysWithinItsMemoryOnEveryAddress)
{
    for (int order : orders_to(20)) {
        const Sizes sizes = sizes_of<TypeParam>(order);
        const std::vector<int32_t> expected = allocated_output<TypeParam>(order, 4);
        for (int address = 0; address < 32; ++address)  // modulo 32 at the front
            for (Edge edge : {Edge::Front, Edge::Back}) {
                if (order > 12 && address % 28 != 0) continue;
                SCOPED_TRACE("order " + std::to_string(order) + ", " + describe({address, edge}));
                Guarded<uint8_t> memory(static_cast<std::size_t>(sizes.record), {address, edge});
                Guarded<uint8_t> setup(static_cast<std::size_t>(sizes.setup), {31 - address, edge});
                typename TypeParam::State* fft = nullptr;
                uint8_t* const buffer = sizes.setup == 0 ? nullptr : setup.data();
                AllocatorWatch watch;
                ASSERT_EQ(TypeParam::kInit(&fft, order, 4, 0, memory.data(), buffer), SrOk);
                EXPECT_EQ(watch.requests(), 0);
                EXPECT_EQ(static_cast<void*>(fft), static_cast<void*>(memory.data()));
                EXPECT_TRUE(memory.intact());
                EXPECT_TRUE(setup.intact());
                std::memset(setup.address(), 0xff, setup.bytes());  // free again after the call
                EXPECT_TRUE(expected == output_of(fft, order));
                EXPECT_TRUE(memory.intact());
            }
    }
}

TYPED_TEST(FftRecord, SetupIsNotLookedAtUpToOrder10)
{
    for (int order = 0; order <= 10; ++order) {
        std::vector<uint8_t> memory(static_cast<std::size_t>(sizes_of<TypeParam>(order).record));
        Guarded<uint8_t> setup(0);
        typename TypeParam::State* fft = nullptr;
        EXPECT_EQ(TypeParam::kInit(&fft, order, 1, 0, memory.data(), setup.data()), SrOk);
        EXPECT_TRUE(setup.intact());
    }
}

TYPED_TEST(FftRecord, FreeOfTheCallersMemoryClearsTheIdentityOnlyAndASecondOneFindsIt)
{
    for (int order : {0, 3, 4, 9, 12}) {
        const Sizes sizes = sizes_of<TypeParam>(order);
        Guarded<uint8_t> memory(static_cast<std::size_t>(sizes.record));
        std::vector<uint8_t> setup(static_cast<std::size_t>(sizes.setup) + 1);
        typename TypeParam::State* fft = nullptr;
        ASSERT_EQ(TypeParam::kInit(&fft, order, 2, 0, memory.data(), setup.data()), SrOk);
        EXPECT_EQ(head_word(fft, 0), TypeParam::kIdentity);
        AllocatorWatch watch;
        EXPECT_EQ(TypeParam::kFree(fft), SrOk);
        EXPECT_EQ(watch.live(), 0);  // -1 if it had released the memory
        EXPECT_EQ(head_word(fft, 0), 0);
        EXPECT_TRUE(memory.intact());
        memory.take_snapshot();
        EXPECT_EQ(TypeParam::kFree(fft), SrErrContext);
        EXPECT_TRUE(memory.as_snapshot());
        EXPECT_EQ(transform_status(fft), SrErrContext);
    }
}

TYPED_TEST(FftRecord, FreeRefusesNullAndTheOtherKind)
{
    EXPECT_EQ(TypeParam::kFree(nullptr), SrErrNullPtr);
    const Fft single(5, 2);
    const Fft_16s32s integer(5, 2);
    constexpr bool is_single = std::is_same_v<TypeParam, Kind_32f>;
    const void* other = is_single ? static_cast<const void*>(integer.get()) : single.get();
    EXPECT_EQ(TypeParam::kFree(static_cast<typename TypeParam::State*>(const_cast<void*>(other))), SrErrContext);
}

TYPED_TEST(FftRecord, InitAllocAsksForRecordAndSetupAndFreeLeavesNothing)
{
    for (int order : orders_to(19)) {
        const Sizes sizes = sizes_of<TypeParam>(order);
        std::vector<std::size_t> expected{static_cast<std::size_t>(sizes.record) + kOverhead};
        if (sizes.setup > 0) expected.push_back(static_cast<std::size_t>(sizes.setup) + kOverhead);
        AllocatorWatch watch;
        typename TypeParam::State* fft = nullptr;
        ASSERT_EQ(TypeParam::kInitAlloc(&fft, order, 1, 0), SrOk);
        EXPECT_EQ(watch.sizes(), expected) << "order " << order;
        EXPECT_EQ(watch.live(), 1) << "order " << order;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(fft) % 32, 0u);
        EXPECT_EQ(TypeParam::kFree(fft), SrOk);
        EXPECT_EQ(watch.live(), 0) << "order " << order;
    }
}

TYPED_TEST(FftRecord, InitAllocSurvivesRefusals)
{
    for (int order : {3, 9, 12}) {
        Guarded<typename TypeParam::State*> slot(1);
        const auto call = [&] {
            typename TypeParam::State* const before = slot.get(0);
            const SrStatus status = TypeParam::kInitAlloc(slot.data(), order, 2, 0);
            if (status != SrOk) {
                EXPECT_TRUE(slot.get(0) == before || slot.get(0) == nullptr) << "a record was handed out";
                return status;
            }
            return TypeParam::kFree(slot.get(0));
        };
        expect_survives_refusals(call, {});
    }
}

TYPED_TEST(FftRecord, InitAllocChecksStateOrderFlag)
{
    using Arguments = InitArguments<TypeParam>;
    Guarded<typename TypeParam::State*> state(1);
    AllocatorWatch watch;
    for (int bad_order : kBadOrders)
        for (int bad_flag : kBadFlags)
            expect_check_order<Arguments>(
                {state.data(), 12, 2, nullptr, nullptr},
                {{"null state", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
                 {"order", SrErrFftOrder, [&](Arguments& a) { a.order = bad_order; }},
                 {"flag", SrErrFftFlag, [&](Arguments& a) { a.flag = bad_flag; }}},
                [](const Arguments& a) { return TypeParam::kInitAlloc(a.state, a.order, a.flag, 0); }, {&state});
    EXPECT_EQ(watch.requests(), 0);
}

int small_blocks_live;
void* small_malloc(std::size_t bytes)
{
    if (bytes > std::size_t{1} << 26) return nullptr;
    ++small_blocks_live;
    return std::malloc(bytes);
}
void small_free(void* block)
{
    small_blocks_live -= block != nullptr;
    std::free(block);
}

// Their sizes pass 2^31, those of order 30 even 2^32: none may wrap to a small one.
TYPED_TEST(FftRecord, TheLongestOrdersAreNotLaidIntoSmallBlocks)
{
    auto* const former_malloc = i_malloc;
    auto* const former_free = i_free;
    i_malloc = small_malloc;
    i_free = small_free;
    small_blocks_live = 0;
    for (int order = 25; order <= 30; ++order) {
        typename TypeParam::State* fft = nullptr;
        EXPECT_EQ(TypeParam::kInitAlloc(&fft, order, 2, 0), SrErrMemAlloc) << order;
        EXPECT_EQ(small_blocks_live, 0);
    }
    i_malloc = former_malloc;
    i_free = former_free;
}

// No memory of a caller's holds them: after the other checks Init writes no more than a head, without identity.
TYPED_TEST(FftRecord, InitRefusesOrders29And30)
{
    for (int order : {29, 30}) {
        Guarded<uint8_t> memory(static_cast<std::size_t>(sizes_of<TypeParam>(0).record));
        Guarded<uint8_t> setup(0);
        Guarded<typename TypeParam::State*> state(1);
        const auto expect_refused = [&](int flag, uint8_t* buffer, SrStatus expected) {
            std::memcpy(memory.data(), &TypeParam::kIdentity, 4);
            state.take_snapshot();
            EXPECT_EQ(TypeParam::kInit(state.data(), order, flag, 0, memory.data(), buffer), expected) << order;
            EXPECT_EQ(head_word(memory.data(), 0), 0) << order;
            EXPECT_TRUE(memory.intact());
            EXPECT_TRUE(state.as_snapshot());
        };
        expect_refused(2, setup.data(), SrErrMemAlloc);
        expect_refused(2, nullptr, SrErrNullPtr);
        expect_refused(3, nullptr, SrErrFftFlag);
    }
}

TEST(FftRecord16s32s, OfOrders29And30IsRefusedWithoutAskingForMemory)
{
    AllocatorWatch watch;
    for (int order : {29, 30}) {
        ZelFFTState_R_16s32s* fft = nullptr;
        EXPECT_EQ(zelsFFTInitAlloc_R_16s32s(&fft, order, 2, 0), SrErrMemAlloc) << order;
        EXPECT_EQ(fft, nullptr);
    }
    EXPECT_EQ(watch.requests(), 0);
}

// Rounding modes and masks of the caller do not reach the tables and the scale.
TYPED_TEST(FftRecord, IsTheSameUnderEachEnvironment)
{
    for (int order : {3, 9, 12}) {
        const std::vector<int32_t> expected = allocated_output<TypeParam>(order, 4);
        const int odd = order | 1;  // of the square root
        const std::vector<int32_t> of_odd = allocated_output<TypeParam>(odd, 4);
        typename TypeParam::State* fft[2];
        SrStatus status[2];
        under_each_environment(
            [&] {
                status[0] = TypeParam::kInitAlloc(&fft[0], order, 4, 0);
                status[1] = TypeParam::kInitAlloc(&fft[1], odd, 4, 0);
            },
            [&](const std::string& setting) {
                ASSERT_EQ(status[0], SrOk) << setting;
                ASSERT_EQ(status[1], SrOk) << setting;
                EXPECT_TRUE(expected == output_of(fft[0], order)) << setting;
                EXPECT_TRUE(of_odd == output_of(fft[1], odd)) << setting;
                TypeParam::kFree(fft[0]);
                TypeParam::kFree(fft[1]);
            });
    }
}

#ifdef __i386__
TYPED_TEST(FftRecord, IsMadeOnAnyStack)
{
    for (int misalign : {0, 4, 8, 12})
        for (int order : {3, 9, 12}) {
            Sizes sizes;
            EXPECT_EQ(call_misaligned(+TypeParam::kGetSize, misalign, order, 4, 0, &sizes.record, &sizes.setup,
                                      &sizes.work),
                      SrOk);
            EXPECT_EQ(sizes, sizes_of<TypeParam>(order));
            std::vector<uint8_t> memory(static_cast<std::size_t>(sizes.record));
            std::vector<uint8_t> setup(static_cast<std::size_t>(sizes.setup) + 1);
            typename TypeParam::State* fft = nullptr;
            EXPECT_EQ(call_misaligned(+TypeParam::kInit, misalign, &fft, order, 4, 0, memory.data(), setup.data()),
                      SrOk);
            EXPECT_TRUE(allocated_output<TypeParam>(order, 4) == output_of(fft, order));
            EXPECT_EQ(call_misaligned(+TypeParam::kInitAlloc, misalign, &fft, order, 4, 0), SrOk);
            EXPECT_TRUE(allocated_output<TypeParam>(order, 4) == output_of(fft, order));
            EXPECT_EQ(call_misaligned(+TypeParam::kFree, misalign, fft), SrOk);
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
