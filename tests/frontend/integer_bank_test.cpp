// The all-integer bank: every bit of its record, centres and weights.
#include <gtest/gtest.h>

#include "frontend/integer_bank_members.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

// Each bin's weight in each filter, out of unit spectra; no other way leads to the weights on every machine. A
// product of 2^18 is shifted to 2^10 units of a weight and comes out as weight >> 12, rounded.
testing::AssertionResult is_bank(const reference::Bank<int32_t>& expected, const ZelFBankState_32s* bank, int bins)
{
    std::vector<int32_t> x(at(bins)), y(at(expected.filters()));
    for (int bin = 0; bin < bins; ++bin) {
        for (const auto& [value, sf] : {std::pair{1 << 30, -8}, std::pair{1 << 8, 0}}) {
            x[at(bin)] = value;
            EXPECT_EQ(zelsEvalFBank_32s_Sfs(x.data(), y.data(), bank, sf), SrOk);
            if (auto same = same_values(results(expected, x, sf), y); !same)
                return testing::AssertionFailure() << "bin " << bin << ": " << same.message();
            x[at(bin)] = 0;
        }
    }
    return testing::AssertionSuccess();
}

std::vector<IntegerArguments> shapes()
{
    return {
        {256, 8000, 64, 4000, 23, kMelMul, kMelDiv},   {512, 16000, 0, 8000, 24, kMelMul, kMelDiv},
        {200, 8000, 0, 4000, 20, 2595 << 15, kMelDiv}, {32, 8000, 0, 4000, 16, kMelMul, kMelDiv},
        {32, 8000, 0, 4000, 1, kMelMul, kMelDiv},      {32, 8000, 1000, 3000, 2, 0x80001, 0x80001},
        {64, 48000, 10, 24000, 20, kMelMul, 0x80001},  {64, 48000, 10, 24000, 20, 0x3FFFFFFF, 0x0FFFFFFF},
        {64, 8000, 3999, 4000, 5, kMelMul, kMelDiv},   {8192, 48000, 0, 24000, 40, kMelMul, kMelDiv},
        {33, 11025, 50, 5500, 9, 0x3FFFFFFF, 0x80001}, {64, 44100, 0, 1, 3, kMelMul, kMelDiv},
        {128, 16000, 100, 8000, 64, 1 << 20, 1 << 20}, {64, 16000, 100, 7000, 12, 0x80001, 0x0FFFFFFF},
    };
}

TEST(IntegerBank, WeighsEachBinAsItsTriangles)
{
    for (const IntegerArguments& a : shapes()) {
        if (thin_effort() && a.length > 1000) continue;
        const auto expected = reference::integer_bank(a);
        const Block block(a);
        ASSERT_TRUE(is_bank(expected, block.get(), rounded_length(a.length) / 2 + 1))
            << "length " << a.length << ", " << a.low << " to " << a.high << " Hz, " << a.filters << " filters";
        ASSERT_TRUE(block.intact());
    }
}

TEST(IntegerBank, RandomBanks)
{
    for (int round = 0; round < (thin_effort() ? 10 : 150); ++round) {
        IntegerArguments a;
        a.rate = uniform(2000, 48000);
        a.low = uniform(0, a.rate / 4);
        a.high = uniform(a.low + 1, a.rate / 2);
        a.length = uniform(32, 300);
        a.filters = uniform(1, rounded_length(a.length) / 2);
        a.mel_mul = uniform(0x80001, 0x3FFFFFFF);
        a.mel_div = round % 2 == 0 ? uniform(0x80001, 0x0FFFFFFF) : uniform(0x80001, 0x8000000);
        const auto expected = reference::integer_bank(a);
        const Block block(a);
        ASSERT_TRUE(is_bank(expected, block.get(), rounded_length(a.length) / 2 + 1))
            << "length " << a.length << ", rate " << a.rate << ", " << a.low << " to " << a.high << " Hz, "
            << a.filters << " filters, constants " << a.mel_mul << ", " << a.mel_div;
        ASSERT_TRUE(block.intact());
    }
}

#ifdef __i386__
struct Record {
    const int32_t* centers;
    const int32_t* const* left;
    const int32_t* const* right;
    int32_t flag, filters, bins;
};
static_assert(sizeof(Record) == 24);

TEST(IntegerBank, RecordAndLayoutAreAsStated)
{
    std::vector<IntegerArguments> all = shapes();
    for (std::size_t s = 0; s < all.size(); ++s)
        for (int misalign : {0, 1, 8, 15}) {
            const IntegerArguments& a = all[s];
            const auto expected = reference::integer_bank(a);
            const Block block(a, {misalign, Edge::Back});
            Record record;
            std::memcpy(&record, block.data(), sizeof record);
            const int n = a.filters, h = rounded_length(a.length) / 2;
            EXPECT_EQ(record.flag, 2);
            EXPECT_EQ(record.filters, n);
            EXPECT_EQ(record.bins, h + 1);
            const auto address = [](const void* p) { return reinterpret_cast<std::uintptr_t>(p); };
            const auto boundary = [](std::uintptr_t end) { return (end + 31) & ~std::uintptr_t{31}; };
            const auto t = static_cast<std::uintptr_t>(4 * n + 8), row = static_cast<std::uintptr_t>(4 * h);
            EXPECT_EQ(address(record.centers), boundary(address(block.data()) + sizeof(Record)));
            EXPECT_EQ(address(record.left), boundary(address(record.centers) + t));
            EXPECT_EQ(address(record.right), boundary(address(record.left) + 9 * t + row * at(n + 2)));
            for (std::size_t r = 0; r < at(n + 2); ++r) {
                EXPECT_EQ(address(record.left[r]), boundary(address(record.left) + t) + r * row);
                EXPECT_EQ(address(record.right[r]), boundary(address(record.right) + t) + r * row);
            }
            EXPECT_EQ(std::memcmp(record.centers, expected.c.data(), t), 0);
            for (std::size_t r = 0; r < at(n); ++r) {
                EXPECT_EQ(std::memcmp(record.left[r], expected.left[r].data(), 4 * expected.left[r].size()), 0);
                EXPECT_EQ(std::memcmp(record.right[r], expected.right[r].data(), 4 * expected.right[r].size()), 0);
                for (std::size_t k = expected.left[r].size(); k < at(h); ++k) EXPECT_EQ(record.left[r][k], 0);
                for (std::size_t k = expected.right[r].size(); k < at(h); ++k) EXPECT_EQ(record.right[r][k], 0);
            }
            for (std::size_t r = at(n); r < at(n + 2); ++r)
                for (std::size_t k = 0; k < at(h); ++k) {
                    EXPECT_EQ(record.left[r][k], 0);
                    EXPECT_EQ(record.right[r][k], 0);
                }
            ASSERT_FALSE(testing::Test::HasFailure()) << "shape " << s << ", " << misalign << " off";
        }
}

TEST(IntegerBank, RunsOnAnyStack)
{
    const IntegerArguments a = shapes()[0];
    const auto expected = reference::integer_bank(a);
    const std::vector<int32_t> x = uniform_vector<int32_t>(129, -1000000, 1000000);
    for (int misalign : {0, 4, 8, 12}) {
        int32_t size = 0, order = 0;
        ASSERT_EQ(call_misaligned(zelsMelFBankGetSize_32s, misalign, 256, 23, 2, &size), SrOk);
        std::vector<uint8_t> block(static_cast<std::size_t>(size));
        auto* bank = reinterpret_cast<ZelFBankState_32s*>(block.data());
        ASSERT_EQ(call_misaligned(zelsMelFBankInit_32s, misalign, bank, &order, a.length, a.rate, a.low, a.high,
                                  a.filters, a.mel_mul, a.mel_div, 2),
                  SrOk);
        std::vector<int32_t> y(23);
        EXPECT_EQ(call_misaligned(zelsEvalFBank_32s_Sfs, misalign, x.data(), y.data(),
                                  static_cast<const ZelFBankState_32s*>(bank), 1),
                  SrOk);
        EXPECT_TRUE(same_values(results(expected, x, 1), y));
    }
}
#endif

TEST(IntegerBank, BuildsOnEveryAddress)
{
    for (const IntegerArguments& a : {shapes()[0], shapes()[3], shapes()[12]}) {
        const auto expected = reference::integer_bank(a);
        const std::vector<int32_t> x =
            uniform_vector<int32_t>(rounded_length(a.length) / 2 + 1, -1000000, 1000000);
        for (int address = 0; address < 32; ++address)
            for (Edge edge : {Edge::Front, Edge::Back}) {
                const Block block(a, {address, edge});
                std::vector<int32_t> y(at(a.filters));
                EXPECT_EQ(zelsEvalFBank_32s_Sfs(x.data(), y.data(), block.get(), 2), SrOk);
                ASSERT_TRUE(same_values(results(expected, x, 2), y)) << describe({address, edge});
            }
    }
}

TEST(IntegerBank, SizeFollowsItsFormula)
{
    for (int length : {32, 33, 64, 100, 256, 512, 8192})
        for (int n : {1, 2, 3, 15, 16}) {
            int32_t size = -1;
            EXPECT_EQ(zelsMelFBankGetSize_32s(length, n, 2, &size), SrOk);
            EXPECT_EQ(size, formula(length, n)) << length << ", " << n;
        }
    int32_t size = -1;
    EXPECT_EQ(zelsMelFBankGetSize_32s(32, 1, 2, &size), SrOk);
    EXPECT_EQ(size, 4 + 96 + 108 + 108 + 192 + 192 + 64);
}

struct SizeCall {
    int32_t length, filters, flag;
    int32_t* size;
};

TEST(IntegerBank, GetSizeChecksPointerSizesFlagThenFiltersAgainstBins)
{
    Guarded<int32_t> size(1);
    for (int32_t length : {31, 8193, 0, -1, INT32_MIN, INT32_MAX})
        for (int32_t flag : {0, 1, 3, 6, -2})
            expect_check_order<SizeCall>(
                {64, 32, 2, size.data()},
                {{"null", SrErrNullPtr, [](SizeCall& c) { c.size = nullptr; }},
                 {"filters", SrErrSize, [](SizeCall& c) { c.filters = 0; }},
                 {"length", SrErrSize, [&](SizeCall& c) { c.length = length; }},
                 {"flag", SrErrFBankFlag, [&](SizeCall& c) { c.flag = flag; }},
                 {"too many filters", SrErrSize, [](SizeCall& c) { c.filters = 33; }}},
                [](const SizeCall& c) { return zelsMelFBankGetSize_32s(c.length, c.filters, c.flag, c.size); },
                {&size});
    for (int32_t filters : {33, 34, INT32_MAX})
        EXPECT_EQ(zelsMelFBankGetSize_32s(64, filters, 2, size.data()), SrErrSize);
    EXPECT_EQ(zelsMelFBankGetSize_32s(33, 32, 2, size.data()), SrOk);  // N is the rounded length
    EXPECT_EQ(zelsMelFBankGetSize_32s(8192, 4096, 2, size.data()), SrOk);
}

struct Call {
    void* block;
    int32_t* order;
    IntegerArguments a;
    int32_t flag;
};
SrStatus status_of(const Call& c) { return init(c.block, c.order, c.a, c.flag); }

TEST(IntegerBank, InitChecksInItsOrder)
{
    Guarded<uint8_t> block(static_cast<std::size_t>(size_of(256, 23)));
    Guarded<int32_t> order(1);
    const Call good{block.data(), order.data(), {256, 8000, 64, 4000, 23, kMelMul, kMelDiv}, 2};
    struct Bad {
        int32_t length, rate, high_above, mel_div, mel_mul;
    };
    for (const Bad& bad :
         {Bad{31, 0, 24001, 0x80000, 0x80000}, Bad{8193, 48001, INT32_MAX, 0x10000000, 0x40000000},
          Bad{INT32_MIN, INT32_MIN, 30000, INT32_MIN, INT32_MAX}})
        expect_check_order<Call>(
            good,
            {{"null block", SrErrNullPtr, [](Call& c) { c.block = nullptr; }},
             {"null order", SrErrNullPtr, [](Call& c) { c.order = nullptr; }},
             {"filters", SrErrSize, [](Call& c) { c.a.filters = 0; }},
             {"high below 1", SrErrSize, [](Call& c) { c.a.high = 0; }},
             {"length", SrErrSize, [&](Call& c) { c.a.length = bad.length; }},
             {"flag", SrErrFBankFlag, [](Call& c) { c.flag = 6; }},
             {"rate", SrErrSize, [&](Call& c) { c.a.rate = bad.rate; }},
             {"low", SrErrSize, [](Call& c) { c.a.low = -1; }},
             {"high not above low", SrErrFBankFreq, [](Call& c) { c.a.low = c.a.high; }},
             {"high above 24000", SrErrFBankFreq, [&](Call& c) { c.a.high = bad.high_above; }},
             {"melDiv", SrErrBadArg, [&](Call& c) { c.a.mel_div = bad.mel_div; }},
             {"melMul", SrErrBadArg, [&](Call& c) { c.a.mel_mul = bad.mel_mul; }}},
            status_of, {&block, &order});
}

// The order is written before the last check.
TEST(IntegerBank, TooManyFiltersAreFoundWithTheOrderWritten)
{
    Guarded<uint8_t> block(static_cast<std::size_t>(size_of(64, 32)));
    block.take_snapshot();
    for (int32_t filters : {34, 35, 5000, INT32_MAX}) {
        int32_t order = -1;
        EXPECT_EQ(init(block.data(), &order, {50, 8000, 64, 4000, filters, kMelMul, kMelDiv}), SrErrSize)
            << filters;
        EXPECT_EQ(order, 6);
        EXPECT_TRUE(block.as_snapshot());
    }
}

// One more filter than GetSize knows.
TEST(IntegerBank, TakesOneFilterMoreThanGetSize)
{
    const IntegerArguments a{64, 8000, 64, 4000, 33, kMelMul, kMelDiv};
    int32_t size = -1;
    EXPECT_EQ(zelsMelFBankGetSize_32s(64, 33, 2, &size), SrErrSize);
    const Block block(a);
    EXPECT_TRUE(is_bank(reference::integer_bank(a), block.get(), 33));
}

TEST(IntegerBank, BoundsOfItsArguments)
{
    const IntegerArguments good{256, 8000, 64, 4000, 23, kMelMul, kMelDiv};
    Guarded<uint8_t> block(static_cast<std::size_t>(size_of(8192, 23)));
    const auto status = [&](auto change) {
        IntegerArguments a = good;
        change(a);
        int32_t order = 0;
        return init(block.data(), &order, a);
    };
    EXPECT_EQ(status([](auto& a) { a.low = 0; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.low = 3999; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.low = 4000; }), SrErrFBankFreq);
    EXPECT_EQ(status([](auto& a) { a.low = 0, a.high = 1; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.rate = 48000, a.high = 24000; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.rate = 48000, a.high = 24001; }), SrErrFBankFreq);
    EXPECT_EQ(status([](auto& a) { a.rate = 48001; }), SrErrSize);
    EXPECT_EQ(status([](auto& a) { a.length = 32; }), SrErrSize);  // 23 filters on 16 bins
    EXPECT_EQ(status([](auto& a) { a.length = 32, a.filters = 16; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.length = 8192; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.mel_div = 0x80000; }), SrErrBadArg);
    EXPECT_EQ(status([](auto& a) { a.mel_div = 0x80001; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.mel_div = 0x0FFFFFFF; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.mel_div = 0x10000000; }), SrErrBadArg);
    EXPECT_EQ(status([](auto& a) { a.mel_mul = 0x80000; }), SrErrBadArg);
    EXPECT_EQ(status([](auto& a) { a.mel_mul = 0x80001; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.mel_mul = 0x3FFFFFFF; }), SrOk);
    EXPECT_EQ(status([](auto& a) { a.mel_mul = 0x40000000; }), SrErrBadArg);
    EXPECT_TRUE(block.intact());
}

// Nothing holds the highest frequency against the rate: such centres lie behind all bins, and must not make Init
// write beside the block, nor evaluation read beside the spectrum.
TEST(IntegerBank, FrequenciesBeyondHalfTheRateStayWithinTheBlock)
{
    for (int32_t rate : {1, 2, 7, 100, 1000, 7999})
        for (int32_t mel_div : {0x80001, kMelDiv, 0x0FFFFFFF})
            for (int32_t length : {32, 512, 8192}) {
                const Block block({length, rate, 64, 24000, 9, kMelMul, mel_div});
                const Guarded<int32_t> x(std::vector<int32_t>(at(rounded_length(length) / 2 + 1), 1000));
                Guarded<int32_t> y(9);
                EXPECT_EQ(zelsEvalFBank_32s_Sfs(x.data(), y.data(), block.get(), 0), SrOk);
                EXPECT_TRUE(y.intact());
            }
}

}  // namespace
}  // namespace zelsr::test
