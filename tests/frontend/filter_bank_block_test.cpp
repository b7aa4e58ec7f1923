// Mel banks in the caller's memory.
#include <gtest/gtest.h>

#include <cmath>

#include "frontend/filter_bank_members.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

template <class Family>
class MelFBankBlock : public testing::Test {};
TYPED_TEST_SUITE(MelFBankBlock, Families, FamilyNames);

template <class Family>
int32_t size_of(int32_t length, int32_t filters, int32_t flag)
{
    Guarded<int32_t> size(1, {1, Edge::Back});
    EXPECT_EQ(Family::kGetSize(length, filters, flag, size.data()), SrOk);
    EXPECT_TRUE(size.intact());
    return size.get(0);
}

template <class Family>
SrStatus init(void* block, int32_t* order, const MelArguments& a)
{
    return Family::kInit(static_cast<ZelFBankState*>(block), order, a.length, a.rate, a.low, a.high, a.filters,
                         a.mel_mul, a.mel_div, a.flag);
}

int32_t table_size(int32_t rows, int32_t columns)
{
    const int32_t pointer_words = sizeof(void*) / 4;
    return (rows * pointer_words + (columns + 7) / 8 * 8 * rows + 7) * 4;
}

// On x86-64 nothing but the pointers of the record and of the tables grows.
TYPED_TEST(MelFBankBlock, SizeFollowsItsFormula)
{
    for (int length : {1, 2, 3, 15, 16, 256, 300, 512, 1024, 4096, 40000})
        for (int n : {1, 2, 3, 23, 24, 100})
            for (int flag : {1, 2, 5, 6}) {
                const int size = rounded_length(length), order = rounded_order(length);
                int32_t expected = TypeParam::kBaseSize;
                if ((flag & 4) != 0) {
                    int32_t record = 0, setup = 0, work = 0;
                    EXPECT_EQ(TypeParam::kFftSize(order, 8, 2, &record, &setup, &work), SrOk);
                    expected += record + setup + 64 + 32 + 4 * size + 40;
                }
                expected += (4 * n + 44) + (4 * n + 40);
                expected += table_size(n + 2, size / 2 + 3) + 32 + table_size(n + 2, size / 2) + 32;
                expected += 4 * n + 40;
                const int32_t actual = size_of<TypeParam>(length, n, flag);
                if (sizeof(void*) == 4) {
                    EXPECT_EQ(actual, expected) << length << ", " << n << ", " << flag;
                } else {
                    EXPECT_GE(actual, expected + 20) << length << ", " << n << ", " << flag;
                    EXPECT_LE(actual, expected + 32) << length << ", " << n << ", " << flag;
                }
            }
}

TYPED_TEST(MelFBankBlock, SizeByValue)
{
    if (sizeof(void*) != 4) return;
    const int32_t base = TypeParam::kBaseSize;
    // One filter, N 2: 3 rows of 4 elements take (3 + 24 + 7) 4 bytes, as do 3 rows of 1.
    EXPECT_EQ(size_of<TypeParam>(2, 1, 1), base + 48 + 44 + 136 + 32 + 136 + 32 + 44);
    // 23 filters, N 256: 25 rows of 131 and of 128 elements.
    EXPECT_EQ(size_of<TypeParam>(256, 23, 2), base + 136 + 132 + 13728 + 32 + 12928 + 32 + 132);
}

struct SizeCall {
    int32_t length, filters, flag;
    int32_t* size;
};

TYPED_TEST(MelFBankBlock, GetSizeChecksPointerSizesFlag)
{
    Guarded<int32_t> size(1);
    for (int32_t below : {0, -1, INT32_MIN})
        for (int32_t flag : {0, 3, 4, 7, -1, 9, INT32_MIN, INT32_MIN + 1})
            expect_check_order<SizeCall>(
                {256, 23, 2, size.data()},
                {{"null", SrErrNullPtr, [](SizeCall& c) { c.size = nullptr; }},
                 {"length", SrErrSize, [&](SizeCall& c) { c.length = below; }},
                 {"filters", SrErrSize, [&](SizeCall& c) { c.filters = below; }},
                 {"flag", SrErrFBankFlag, [&](SizeCall& c) { c.flag = flag; }}},
                [](const SizeCall& c) { return TypeParam::kGetSize(c.length, c.filters, c.flag, c.size); },
                {&size});
}

TYPED_TEST(MelFBankBlock, SizeOfAHugeBankNeverWrapsToASmallOne)
{
    for (int flag : {1, 2, 5, 6})
        for (const auto& [length, filters] : std::vector<std::pair<int32_t, int32_t>>{{INT32_MAX, 20},
                                                                                      {(1 << 30) + 1, 1},
                                                                                      {1 << 20, 1 << 20},
                                                                                      {256, INT32_MAX},
                                                                                      {256, INT32_MAX - 1},
                                                                                      {1 << 30, 20},
                                                                                      {2, 1 << 30},
                                                                                      {1 << 29, 1},
                                                                                      {INT32_MAX, INT32_MAX}})
            EXPECT_EQ(size_of<TypeParam>(length, filters, flag), INT32_MAX) << length << ", " << filters;
}

TYPED_TEST(MelFBankBlock, BuildsOnEveryAddressWithinItsSizeWithoutTheAllocator)
{
    std::vector<MelArguments> shapes = mel_shapes();
    shapes.resize(thin_effort() ? 3 : 8);
    for (MelArguments a : shapes)
        for (int flag : {1, 2, 5, 6}) {
            a.flag = flag;
            const auto expected = reference::mel_bank<typename TypeParam::Weight>(a);
            const auto bytes = static_cast<std::size_t>(size_of<TypeParam>(a.length, a.filters, flag));
            for (int address = 0; address < 32; ++address)  // modulo 32 at the front
                for (Edge edge : {Edge::Front, Edge::Back}) {
                    if (address > 3 && (address + a.filters) % 7 != 0) continue;
                    Guarded<uint8_t> block(bytes, {address, edge});
                    Guarded<int32_t> order(1, {address, edge});
                    AllocatorWatch watch;
                    ASSERT_EQ(init<TypeParam>(block.data(), order.data(), a), SrOk);
                    EXPECT_EQ(watch.requests(), 0);
                    EXPECT_TRUE(block.intact());
                    EXPECT_TRUE(order.intact());
                    EXPECT_EQ(order.get(0), rounded_order(a.length));
                    expect_bank<TypeParam>(expected, reinterpret_cast<ZelFBankState*>(block.data()));
                    ASSERT_FALSE(testing::Test::HasFailure())
                        << "length " << a.length << ", flag " << flag << ", " << describe({address, edge});
                }
        }
}

struct Call {
    void* block;
    int32_t* order;
    MelArguments a;
};

TYPED_TEST(MelFBankBlock, InitChecksPointersSizesFrequenciesFlagInThisOrder)
{
    Guarded<uint8_t> block(static_cast<std::size_t>(size_of<TypeParam>(256, 23, 6)));
    Guarded<int32_t> order(1);
    for (int32_t size : {0, -1, INT32_MIN})
        for (int32_t flag : {0, 3, 7, 8, -1})
            expect_check_order<Call>(
                {block.data(), order.data(), {256, 8000, 64, 4000, 23, 1127, 700, 1}},
                {{"null block", SrErrNullPtr, [](Call& c) { c.block = nullptr; }},
                 {"null order", SrErrNullPtr, [](Call& c) { c.order = nullptr; }},
                 {"length", SrErrSize, [&](Call& c) { c.a.length = size; }},
                 {"filters", SrErrSize, [&](Call& c) { c.a.filters = size; }},
                 {"rate", SrErrSize, [](Call& c) { c.a.rate = 0; }},
                 {"lowest frequency", SrErrSize, [](Call& c) { c.a.low = 0; }},
                 {"high below low", SrErrFBankFreq, [](Call& c) { c.a.high = std::nextafter(c.a.low, 0.0F); }},
                 {"high above half the rate", SrErrFBankFreq, [](Call& c) { c.a.high = 4000.25F; }},
                 {"flag", SrErrFBankFlag, [&](Call& c) { c.a.flag = flag; }}},
                [](const Call& c) { return init<TypeParam>(c.block, c.order, c.a); }, {&block, &order});
}

TYPED_TEST(MelFBankBlock, ARateOrFrequencyThatIsNoNumberFailsTheFrequencyTests)
{
    Guarded<uint8_t> block(static_cast<std::size_t>(size_of<TypeParam>(256, 23, 1)));
    int32_t order = -1;
    block.take_snapshot();
    for (float MelArguments::*which : {&MelArguments::rate, &MelArguments::low, &MelArguments::high}) {
        MelArguments a{256, 8000, 64, 4000, 23, 1127, 700, 1};
        a.*which = NAN;
        EXPECT_EQ(init<TypeParam>(block.data(), &order, a), SrErrFBankFreq);
        EXPECT_TRUE(block.as_snapshot());
    }
}

// Constants out of all sense must not write beside the block, nor read beside the spectrum.
TYPED_TEST(MelFBankBlock, SenselessConstantsStayWithinTheBlock)
{
    const float values[] = {0, -0.0F, -700, -1000, 1e-45F, 3.4e38F, -3.4e38F, INFINITY, -INFINITY, NAN, -1e-3F};
    for (int flag : {1, 2, 5})
        for (float mel_mul : values)
            for (float mel_div : values) {
                Guarded<uint8_t> block(static_cast<std::size_t>(size_of<TypeParam>(64, 9, flag)));
                int32_t order = -1;
                EXPECT_EQ(init<TypeParam>(block.data(), &order, {64, 8000, 64, 4000, 9, mel_mul, mel_div, flag}),
                          SrOk);
                ASSERT_TRUE(block.intact()) << mel_mul << ", " << mel_div;
                const auto* bank = reinterpret_cast<const ZelFBankState*>(block.data());
                if constexpr (std::is_same_v<TypeParam, Family_32f>) {
                    const Guarded<float> src(std::vector<float>((flag & 4) != 0 ? 64 : 33, 1.0F));
                    Guarded<float> dst(9);
                    EXPECT_EQ(zelsEvalFBank_32f(src.data(), dst.data(), bank), SrOk);
                    EXPECT_TRUE(dst.intact());
                } else {
                    const Guarded<int16_t> src(std::vector<int16_t>((flag & 4) != 0 ? 64 : 33, 1));
                    Guarded<int32_t> dst(9);
                    EXPECT_EQ(zelsEvalFBank_16s32s_Sfs(src.data(), dst.data(), bank, 0), SrOk);
                    EXPECT_TRUE(dst.intact());
                }
                std::vector<int32_t> centers(11);
                const SrStatus known = TypeParam::kGetCenters(bank, centers.data());
                EXPECT_TRUE(known == SrOk || known == SrErrFBankCenters) << known;
            }
}

TYPED_TEST(MelFBankBlock, IsTheSameUnderEachEnvironment)
{
    for (int flag : {1, 2}) {
        const MelArguments a{256, 8000, 64, 4000, 23, 1127, 700, flag};
        const auto expected = reference::mel_bank<typename TypeParam::Weight>(a);
        std::vector<uint8_t> block(static_cast<std::size_t>(size_of<TypeParam>(256, 23, flag)));
        int32_t order = 0;
        SrStatus status = SrErrUnknown;
        under_each_environment([&] { status = init<TypeParam>(block.data(), &order, a); },
                               [&](const std::string& setting) {
                                   SCOPED_TRACE(setting);
                                   ASSERT_EQ(status, SrOk);
                                   expect_bank<TypeParam>(expected,
                                                          reinterpret_cast<ZelFBankState*>(block.data()));
                                   std::fill(block.begin(), block.end(), 0);
                               });
    }
}

#ifdef __i386__
// Record, FFT and spectrum, centres, left and right rows, each on a 32-byte boundary behind the one before.
TYPED_TEST(MelFBankBlock, IsCarvedInOrder)
{
    for (int flag : {2, 6})
        for (int misalign = 0; misalign < 8; ++misalign) {
            Guarded<uint8_t> block(static_cast<std::size_t>(size_of<TypeParam>(256, 23, flag)),
                                   {misalign, Edge::Front});
            int32_t order = 0;
            ASSERT_EQ(init<TypeParam>(block.data(), &order, {256, 8000, 64, 4000, 23, 1127, 700, flag}), SrOk);
            const RecordFields fields = fields_of<TypeParam>(reinterpret_cast<ZelFBankState*>(block.data()));
            const auto address = [](const void* p) { return reinterpret_cast<std::uintptr_t>(p); };
            const auto behind = [&](std::uintptr_t end) { return (end + 31) & ~std::uintptr_t{31}; };
            const std::uintptr_t first = behind(address(block.data()) + TypeParam::kRecordSize);
            if (flag == 2) {
                EXPECT_EQ(fields.fft, nullptr);
                EXPECT_EQ(fields.spectrum, nullptr);
                EXPECT_EQ(address(fields.centers), first);
            } else {
                EXPECT_EQ(address(fields.fft), first);
                EXPECT_EQ(address(fields.spectrum) % 32, 0u);
                EXPECT_GT(address(fields.spectrum), address(fields.fft));
                EXPECT_EQ(address(fields.centers), behind(address(fields.spectrum) + 258 * 4));
            }
            EXPECT_EQ(address(fields.left) % 32, 0u);
            EXPECT_EQ(address(fields.right) % 32, 0u);
            EXPECT_GE(address(fields.left), behind(address(fields.centers) + 25 * 4) + 25 * 4);
            EXPECT_GE(address(fields.right), address(fields.left) + 25 * (4 + 136 * 4));
            EXPECT_GE(address(fields.left[0]), address(fields.left) + 25 * 4);
        }
}

TYPED_TEST(MelFBankBlock, IsMadeOnAnyStack)
{
    const MelArguments a{64, 8000, 64, 4000, 5, 1127, 700, 5};
    const auto expected = reference::mel_bank<typename TypeParam::Weight>(a);
    for (int misalign : {0, 4, 8, 12}) {
        int32_t size = 0, order = 0;
        ASSERT_EQ(call_misaligned(+TypeParam::kGetSize, misalign, 64, 5, 5, &size), SrOk);
        EXPECT_EQ(size, size_of<TypeParam>(64, 5, 5));
        Guarded<uint8_t> block(static_cast<std::size_t>(size));
        auto* bank = reinterpret_cast<ZelFBankState*>(block.data());
        ASSERT_EQ(call_misaligned(+TypeParam::kInit, misalign, bank, &order, a.length, a.rate, a.low, a.high,
                                  a.filters, a.mel_mul, a.mel_div, a.flag),
                  SrOk);
        expect_bank<TypeParam>(expected, bank);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
