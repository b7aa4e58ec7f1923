// Sizes that FFT records of both kinds report, and the heads that they begin with.
#include <gtest/gtest.h>

#include <bit>

#include "support/bits.h"
#include "support/faults.h"
#include "support/fft_records.h"
#include "support/guarded.h"
#include "zelsr/core/fft.h"

namespace zelsr::test {
namespace {

// The interface's sizes, those of 4-byte pointers; N up to 2^18.
Sizes interface_sizes_32f(int order)
{
    if (order < 4) return {112, 0, 0};
    const int32_t n = 1 << order;
    const int32_t m = n / 2;
    const auto low_5_clear = [](int32_t bytes) { return bytes & ~31; };
    const int32_t reversal_and_twiddles = low_5_clear(8 * m + 39) + low_5_clear((m & ~3) + 35);
    const int32_t recombination = (n / 4 * 8 + 31) / 32 * 64 + 128;
    const int32_t setup = order <= 10 ? 0 : low_5_clear((n & ~3) + 35) + 32;
    return {reversal_and_twiddles + recombination, setup, low_5_clear(8 * m + 31) + 32};
}
Sizes interface_sizes_16s32s(int order)
{
    const Sizes inner = interface_sizes_32f(order);
    const auto with_32 = [](int32_t bytes) { return bytes == 0 ? 0 : bytes + 32; };
    return {inner.record + 64, with_32(inner.setup), with_32(inner.work) + 4 * (1 << order) + 8};
}

TEST(FftSizes, FollowTheirFormulas)
{
    for (int order = 0; order <= 18; ++order) {
        const Sizes single = sizes_of<Kind_32f>(order);
        const Sizes integer = sizes_of<Kind_16s32s>(order);
#ifdef __i386__
        EXPECT_EQ(single, interface_sizes_32f(order)) << order;
        EXPECT_EQ(integer, interface_sizes_16s32s(order)) << order;
#else
        EXPECT_GE(single.record, interface_sizes_32f(order).record) << order;
        EXPECT_GE(single.setup, interface_sizes_32f(order).setup) << order;
        EXPECT_GE(single.work, interface_sizes_32f(order).work) << order;
        EXPECT_GE(integer.record, interface_sizes_16s32s(order).record) << order;
        EXPECT_GE(integer.setup, interface_sizes_16s32s(order).setup) << order;
        EXPECT_GE(integer.work, interface_sizes_16s32s(order).work) << order;
#endif
    }
}

#ifdef __i386__
TEST(FftSizes, ByValue)
{
    EXPECT_EQ(sizes_of<Kind_32f>(0), (Sizes{112, 0, 0}));
    EXPECT_EQ(sizes_of<Kind_32f>(3), (Sizes{112, 0, 0}));
    EXPECT_EQ(sizes_of<Kind_32f>(4), (Sizes{320, 0, 96}));
    EXPECT_EQ(sizes_of<Kind_32f>(8), (Sizes{2368, 0, 1056}));
    EXPECT_EQ(sizes_of<Kind_32f>(10), (Sizes{8896, 0, 4128}));
    EXPECT_EQ(sizes_of<Kind_32f>(11), (Sizes{17600, 2112, 8224}));
    EXPECT_EQ(sizes_of<Kind_32f>(18), (Sizes{2228416, 262208, 1048608}));
    EXPECT_EQ(sizes_of<Kind_16s32s>(0), (Sizes{176, 0, 12}));
    EXPECT_EQ(sizes_of<Kind_16s32s>(3), (Sizes{176, 0, 40}));
    EXPECT_EQ(sizes_of<Kind_16s32s>(8), (Sizes{2432, 0, 2120}));
    EXPECT_EQ(sizes_of<Kind_16s32s>(11), (Sizes{17664, 2144, 16456}));
}
#endif

// Above order 18 the transform has two levels: 2^b sub-transforms, then columns in a buffer of 2^c values.
int64_t interface_work(int m)
{
    if (m <= 17) return int64_t{8} << m;
    const int b[] = {4, 4, 4, 5, 8}, c[] = {10, 10, 10, 13, 15};  // from m = 18; the last holds beyond
    const int at = std::min(m - 18, 4);
    const int64_t larger = std::max(interface_work(m - b[at]), int64_t{8} << c[at]);
    return m >= 19 ? std::max(larger, int64_t{65536}) : larger;
}

TEST(FftSizes, OfLongTransformsFollowTheTwoLevelRule)
{
    for (int order = 19; order <= 28; ++order) {
        const int64_t n = int64_t{1} << order;
        const Sizes single = sizes_of<Kind_32f>(order);
        EXPECT_EQ(single.setup, n + 64) << order;
        EXPECT_EQ(single.work, interface_work(order - 1) + 32) << order;
        EXPECT_GE(single.record, 4 * n + 128) << order;
        EXPECT_LE(single.record, 4 * n + n * 36 / 100) << order;
        const Sizes integer = sizes_of<Kind_16s32s>(order);
        EXPECT_EQ(integer, (Sizes{single.record + 64, single.setup + 32,
                                  static_cast<int32_t>(single.work + 32 + 4 * n + 8)}))
            << order;
    }
}

// Their records take more bytes than an int32 counts.
TEST(FftSizes, OfOrders29And30AreTheLargestNumber)
{
    for (int order : {29, 30}) {
        const Sizes single = sizes_of<Kind_32f>(order);
        EXPECT_EQ(single.record, INT32_MAX);
        EXPECT_EQ(single.setup, (1 << order) + 64);
        EXPECT_EQ(single.work, interface_work(order - 1) + 32);
        EXPECT_EQ(sizes_of<Kind_16s32s>(order), (Sizes{INT32_MAX, single.setup + 32, INT32_MAX}));
    }
}

TEST(FftSizes, OfTheTwoKindsAgree)
{
    for (int order = 0; order <= 24; ++order) {
        const Sizes single = sizes_of<Kind_32f>(order);
        const Sizes integer = sizes_of<Kind_16s32s>(order);
        EXPECT_EQ(single.setup == 0, order <= 10) << order;
        EXPECT_EQ(single.work == 0, order < 4) << order;
        EXPECT_EQ(integer.setup, single.setup + (single.setup == 0 ? 0 : 32)) << order;
        EXPECT_EQ(integer.work, single.work + (single.work == 0 ? 0 : 32) + (4 << order) + 8) << order;
#ifdef __i386__
        EXPECT_EQ(integer.record, single.record + 64) << order;
#else
        EXPECT_GE(integer.record, single.record + 64) << order;
#endif
        if (order >= 4) {
            EXPECT_GT(single.record, sizes_of<Kind_32f>(order - 1).record) << order;
        }
    }
}

TEST(FftBufSize, IsTheWorkSizeAnd32OrNothing)
{
    for (int order : orders_to(20)) {
        const Fft fft(order, 2);
        const int32_t work = head_word(fft.get(), 6);
        EXPECT_EQ(buffer_size(fft.get()), work == 0 ? 0 : work + 32) << order;
        EXPECT_EQ(buffer_size(fft.get()), sizes_of<Kind_32f>(order).work) << order;
    }
}

TEST(FftBufSize, ChecksTheRecordThenTheSize)
{
    const Fft fft(5, 2);
    const Fft_16s32s other(5, 2);
    Guarded<int32_t> size(1);
    struct Arguments {
        const ZelFFTState_R_32f* state;
        int32_t* size;
    };
    const auto* const other_kind = reinterpret_cast<const ZelFFTState_R_32f*>(other.get());
    expect_check_order<Arguments>({fft.get(), size.data()},
                                  {{"null record", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
                                   {"other record", SrErrContext, [&](Arguments& a) { a.state = other_kind; }},
                                   {"null size", SrErrNullPtr, [](Arguments& a) { a.size = nullptr; }}},
                                  [](const Arguments& a) { return zelsFFTGetBufSize_R_32f(a.state, a.size); },
                                  {&size});
}

TEST(FftHead, Of32fStatesOrderScalesHintAndWork)
{
    for (int order : orders_to(20))
        for (int flag : kFlags)
            for (bool own : {false, true}) {
                SCOPED_TRACE("order " + std::to_string(order) + " flag " + std::to_string(flag));
                std::vector<uint8_t> memory(static_cast<std::size_t>(sizes_of<Kind_32f>(order).record), 0x5a);
                std::vector<uint8_t> setup(static_cast<std::size_t>(sizes_of<Kind_32f>(order).setup) + 1);
                ZelFFTState_R_32f* fft = nullptr;
                if (own)
                    ASSERT_EQ(zelsFFTInitAlloc_R_32f(&fft, order, flag, -77), SrOk);
                else
                    ASSERT_EQ(zelsFFTInit_R_32f(&fft, order, flag, -77, memory.data(), setup.data()), SrOk);
                EXPECT_EQ(head_word(fft, 0), 6);
                EXPECT_EQ(head_word(fft, 1), order);
                EXPECT_EQ(head_word(fft, 2) != 0, scales_forward(flag));
                EXPECT_EQ(head_word(fft, 3) != 0, scales_inverse(flag));
                EXPECT_TRUE(same_value(static_cast<float>(scale_of(order, flag)),
                                       std::bit_cast<float>(head_word(fft, 4))));
                EXPECT_EQ(head_word(fft, 5), -77);
                EXPECT_EQ(head_word(fft, 6) == 0, order < 4);
#ifdef __i386__
                if (order >= 4 && order <= 18) {
                    EXPECT_EQ(head_word(fft, 6), interface_sizes_32f(order).work - 32);
                }
#endif
                EXPECT_EQ(head_word(fft, 7), own ? 1 : 0);
                EXPECT_EQ(zelsFFTFree_R_32f(fft), SrOk);
            }
}

TEST(FftHead, Of16s32sStatesOrderHintAndWorkAndLeadsToThe32fRecord)
{
    for (int order : orders_to(20))
        for (bool own : {false, true}) {
            SCOPED_TRACE(order);
            std::vector<uint8_t> memory(static_cast<std::size_t>(sizes_of<Kind_16s32s>(order).record), 0x5a);
            std::vector<uint8_t> setup(static_cast<std::size_t>(sizes_of<Kind_16s32s>(order).setup) + 1);
            ZelFFTState_R_16s32s* fft = nullptr;
            if (own)
                ASSERT_EQ(zelsFFTInitAlloc_R_16s32s(&fft, order, 1, 99), SrOk);
            else
                ASSERT_EQ(zelsFFTInit_R_16s32s(&fft, order, 1, 99, memory.data(), setup.data()), SrOk);
            EXPECT_EQ(head_word(fft, 0), 0x434D414F);
            EXPECT_EQ(head_word(fft, 1), order);
            EXPECT_EQ(head_word(fft, 2), 99);
            EXPECT_EQ(head_word(fft, 3), sizes_of<Kind_32f>(order).work + (4 << order) + 8);
            EXPECT_EQ(head_word(fft, 4), own ? 1 : 0);
#ifdef __i386__
            const auto inner = static_cast<std::uintptr_t>(head_word(fft, 5));
            EXPECT_EQ(inner, (reinterpret_cast<std::uintptr_t>(fft) + 24 + 31) & ~std::uintptr_t{31});
            const auto* const record = reinterpret_cast<const ZelFFTState_R_32f*>(inner);
            EXPECT_EQ(head_word(record, 0), 6);
            EXPECT_EQ(head_word(record, 1), order);
            EXPECT_EQ(head_word(record, 7), 0);
            EXPECT_EQ(buffer_size(record), sizes_of<Kind_32f>(order).work);
#endif
            EXPECT_EQ(zelsFFTFree_R_16s32s(fft), SrOk);
        }
}

template <class Kind>
class FftKindSizes : public testing::Test {};
TYPED_TEST_SUITE(FftKindSizes, Kinds, KindNames);

struct SizeArguments {
    int32_t order, flag;
    int32_t *record, *setup, *work;
};

TYPED_TEST(FftKindSizes, CheckOrderThenPointersThenFlag)
{
    Guarded<int32_t> out(3);
    for (int bad_order : kBadOrders)
        for (int bad_flag : kBadFlags)
            expect_check_order<SizeArguments>(
                {12, 2, out.data(), out.data() + 1, out.data() + 2},
                {{"order", SrErrFftOrder, [&](SizeArguments& a) { a.order = bad_order; }},
                 {"null record size", SrErrNullPtr, [](SizeArguments& a) { a.record = nullptr; }},
                 {"null setup size", SrErrNullPtr, [](SizeArguments& a) { a.setup = nullptr; }},
                 {"null work size", SrErrNullPtr, [](SizeArguments& a) { a.work = nullptr; }},
                 {"flag", SrErrFftFlag, [&](SizeArguments& a) { a.flag = bad_flag; }}},
                [](const SizeArguments& a) {
                    return TypeParam::kGetSize(a.order, a.flag, 0, a.record, a.setup, a.work);
                },
                {&out});
    int32_t size;
    EXPECT_EQ(TypeParam::kGetSize(30, 3, 0, &size, &size, &size), SrErrFftFlag);
    EXPECT_EQ(TypeParam::kGetSize(30, 2, 0, &size, &size, &size), SrOk);
}

TYPED_TEST(FftKindSizes, FollowFromTheOrderAlone)
{
    for (int order = 0; order <= 20; ++order)
        for (int flag : kFlags)
            for (int hint : {0, 1, -5})
                EXPECT_EQ(sizes_of<TypeParam>(order, flag, hint), sizes_of<TypeParam>(order)) << order;
}

}  // namespace
}  // namespace zelsr::test
