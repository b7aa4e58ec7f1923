// Mel banks of the allocator's: checks, centres, weights, record, refused memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "frontend/filter_bank_members.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

template <class Family>
class MelFBank : public testing::Test {};
TYPED_TEST_SUITE(MelFBank, Families, FamilyNames);

const MelArguments kGood{256, 8000, 64, 4000, 23, 1127, 700, 1};

struct Call {
    ZelFBankState** bank;
    int32_t* order;
    MelArguments a;
};

template <class Family>
SrStatus status_of(const Call& call)
{
    return init_alloc<Family>(call.bank, call.order, call.a);
}

TYPED_TEST(MelFBank, PointersSizesFrequenciesFlagAreCheckedInThisOrder)
{
    Guarded<ZelFBankState*> bank(1);
    Guarded<int32_t> order(1);
    AllocatorWatch watch;
    for (int32_t size : {0, -1, INT32_MIN})
        for (float rate : {0.0F, -0.0F, -1.0F, -INFINITY})
            expect_check_order<Call>(
                {bank.data(), order.data(), kGood},
                {{"null bank", SrErrNullPtr, [](Call& c) { c.bank = nullptr; }},
                 {"null order", SrErrNullPtr, [](Call& c) { c.order = nullptr; }},
                 {"length", SrErrSize, [&](Call& c) { c.a.length = size; }},
                 {"filters", SrErrSize, [&](Call& c) { c.a.filters = size; }},
                 {"rate", SrErrSize, [&](Call& c) { c.a.rate = rate; }},
                 {"lowest frequency", SrErrSize, [&](Call& c) { c.a.low = rate; }},
                 {"high below low", SrErrFBankFreq, [](Call& c) { c.a.high = std::nextafter(c.a.low, 0.0F); }},
                 {"high above half the rate", SrErrFBankFreq, [](Call& c) { c.a.high = 4000.25F; }},
                 {"flag", SrErrFBankFlag, [](Call& c) { c.a.flag = 3; }}},
                status_of<TypeParam>, {&bank, &order});
    EXPECT_EQ(watch.requests(), 0);
}

TYPED_TEST(MelFBank, TakesFlags1And2And5And6Only)
{
    std::vector<int32_t> flags = {INT32_MIN, INT32_MIN + 1, INT32_MIN + 2, INT32_MAX, 0x10001, 1 << 30};
    for (int32_t flag = -20; flag <= 40; ++flag) flags.push_back(flag);
    for (int32_t flag : flags) {
        AllocatorWatch watch;
        ZelFBankState* bank = nullptr;
        int32_t order = 0;
        MelArguments a = kGood;
        a.flag = flag;
        const bool legal = flag == 1 || flag == 2 || flag == 5 || flag == 6;
        ASSERT_EQ(init_alloc<TypeParam>(&bank, &order, a), legal ? SrOk : SrErrFBankFlag) << flag;
        if (legal)
            EXPECT_EQ(TypeParam::kFree(bank), SrOk);
        else
            EXPECT_EQ(watch.requests(), 0) << flag;
        EXPECT_EQ(watch.live(), 0) << flag;
    }
}

TYPED_TEST(MelFBank, HalfTheRateIsTheHighestFrequencyAndLowMayBeHigh)
{
    const auto status = [](float rate, float low, float high) {
        ZelFBankState* bank = nullptr;
        int32_t order = 0;
        const SrStatus result = init_alloc<TypeParam>(&bank, &order, {256, rate, low, high, 7, 1127, 700, 2});
        if (result == SrOk) {
            EXPECT_EQ(TypeParam::kFree(bank), SrOk);
        }
        return result;
    };
    EXPECT_EQ(status(8000, 64, 4000), SrOk);
    EXPECT_EQ(status(8000, 64, std::nextafter(4000.0F, 5000.0F)), SrErrFBankFreq);
    EXPECT_EQ(status(8000, 64, 64), SrOk);
    EXPECT_EQ(status(8000, 4000, 4000), SrOk);
    EXPECT_EQ(status(8000, 64, INFINITY), SrErrFBankFreq);
    EXPECT_EQ(status(8000, 0x1p-149F, 4000), SrOk);
    // Half of three times the smallest number is rounded to twice that number.
    EXPECT_EQ(status(0x3p-149F, 0x1p-149F, 0x2p-149F), SrOk);
    EXPECT_EQ(status(0x3p-149F, 0x1p-149F, 0x3p-149F), SrErrFBankFreq);
}

// The size tests let it pass, the frequency tests do not.
TYPED_TEST(MelFBank, ARateOrFrequencyThatIsNoNumberFailsTheFrequencyTests)
{
    Guarded<ZelFBankState*> bank(1);
    Guarded<int32_t> order(1);
    bank.take_snapshot();
    AllocatorWatch watch;
    for (float MelArguments::*which : {&MelArguments::rate, &MelArguments::low, &MelArguments::high})
        for (float nan : {NAN, -NAN}) {
            MelArguments a = kGood;
            a.*which = nan;
            EXPECT_EQ(init_alloc<TypeParam>(bank.data(), order.data(), a), SrErrFBankFreq);
            a.flag = 3;
            EXPECT_EQ(init_alloc<TypeParam>(bank.data(), order.data(), a), SrErrFBankFreq);
            a.length = 0;
            EXPECT_EQ(init_alloc<TypeParam>(bank.data(), order.data(), a), SrErrSize);
        }
    EXPECT_TRUE(bank.as_snapshot());
    EXPECT_EQ(watch.requests(), 0);
}

TYPED_TEST(MelFBank, HasTheCentresAndWeightsOfItsMode)
{
    for (MelArguments a : mel_shapes())
        for (int flag : {1, 2, 5, 6}) {
            a.flag = flag;
            const MelBank<TypeParam> bank(a);
            expect_bank<TypeParam>(reference::mel_bank<typename TypeParam::Weight>(a), bank.get());
            ASSERT_FALSE(testing::Test::HasFailure())
                << "flag " << flag << ", length " << a.length << ", rate " << a.rate << ", " << a.low << " to "
                << a.high << " Hz, " << a.filters << " filters";
        }
}

TYPED_TEST(MelFBank, HasTheCentresAndWeightsOfRandomBanks)
{
    for (int round = 0; round < (thin_effort() ? 20 : 200); ++round) {
        const float rate = uniform(1000.0F, 48000.0F), low = uniform(1.0F, rate / 4);
        const MelArguments a{uniform(2, 1100),       rate,           low,
                             uniform(low, rate / 2), uniform(1, 40), uniform(1.0F, 3000.0F),
                             uniform(1.0F, 3000.0F), uniform(1, 2)};
        const MelBank<TypeParam> bank(a);
        expect_bank<TypeParam>(reference::mel_bank<typename TypeParam::Weight>(a), bank.get());
        ASSERT_FALSE(testing::Test::HasFailure())
            << "flag " << a.flag << ", length " << a.length << ", rate " << a.rate << ", " << a.low << " to "
            << a.high << " Hz, " << a.filters << " filters";
    }
}

TYPED_TEST(MelFBank, CentresDoNotDependOnMelMul)
{
    const MelBank<TypeParam> usual({256, 8000, 64, 4000, 23, 2595, 700, 2});
    const MelBank<TypeParam> one({256, 8000, 64, 4000, 23, 1, 700, 2});
    EXPECT_EQ(centers_of<TypeParam>(usual.get(), 23), centers_of<TypeParam>(one.get(), 23));
}

TYPED_TEST(MelFBank, ByValue)
{
    // By bins: exact fractions, 1 at the peak, none of them 0.
    const MelBank<TypeParam> bins({16, 8000, 1000, 4000, 2, 1e6F, 1e6F, 2});
    ASSERT_EQ(centers_of<TypeParam>(bins.get(), 2), (std::vector<int32_t>{2, 4, 6, 8}));
    const float third = std::is_same_v<TypeParam, Family_32f> ? 1 / 3.0F : 5461 / 16384.0F;
    const float two_thirds = std::is_same_v<TypeParam, Family_32f> ? 2 / 3.0F : 10922 / 16384.0F;
    const std::vector<float> triangle = {third, two_thirds, 1, two_thirds, third};
    EXPECT_TRUE(same_values(triangle, coefficients_of<TypeParam>(bins.get(), 1, 5)));
    EXPECT_TRUE(same_values(triangle, coefficients_of<TypeParam>(bins.get(), 2, 5)));
}

// The first left weight is 0. Rounding of the grid carries a weight of these banks below 0, where it is left.
TYPED_TEST(MelFBank, WeightsInMelAreNotLimited)
{
    for (const MelArguments& a :
         {MelArguments{512, 8000, 873, 4000, 25, 1127, 1e6F, 1}, {512, 8000, 2995, 4000, 22, 1127, 1e4F, 1}}) {
        float lowest = 0;
        const MelBank<TypeParam> bank(a);
        const auto expected = reference::mel_bank<typename TypeParam::Weight>(a);
        for (int i = 1; i <= a.filters; ++i) {
            const auto weights = coefficients_of<TypeParam>(bank.get(), i, expected.coefficients(i).size());
            EXPECT_EQ(weights[0], 0) << i;
            lowest = std::min(lowest, *std::min_element(weights.begin(), weights.end()));
        }
        if (std::is_same_v<TypeParam, Family_32f>)
            EXPECT_LT(lowest, 0);
        else
            EXPECT_EQ(lowest, 0);  // truncated away
    }
}

// One filter more than there are is found, with weights of 0; none before the first.
TYPED_TEST(MelFBank, BehindTheLastFilterAreWeightsOfZero)
{
    const MelArguments a{256, 8000, 64, 4000, 23, 1127, 700, 2};
    const MelBank<TypeParam> bank(a);
    const std::vector<int32_t> c = centers_of<TypeParam>(bank.get(), 23);
    const std::size_t count = at(c[24] - c[23] + 1);
    EXPECT_TRUE(same_values(std::vector<float>(count, 0.0F), coefficients_of<TypeParam>(bank.get(), 24, count)));
}

TYPED_TEST(MelFBank, RaisesTheLengthToAPowerOfTwo)
{
    const std::map<int, int> orders = {{1, 1}, {2, 1},   {3, 2},   {4, 2},    {5, 3},     {8, 3},
                                       {9, 4}, {511, 9}, {512, 9}, {513, 10}, {65536, 16}};
    for (const auto& [length, expected] : orders) {
        ZelFBankState* bank = nullptr;
        int32_t order = -1;
        ASSERT_EQ(init_alloc<TypeParam>(&bank, &order, {length, 8000, 64, 4000, 1, 1127, 700, 2}), SrOk);
        EXPECT_EQ(order, expected) << length;
        EXPECT_EQ(centers_of<TypeParam>(bank, 1)[2], 1 << (expected - 1)) << length;
        EXPECT_EQ(TypeParam::kFree(bank), SrOk);
    }
}

// Lengths that no power of two of 32 bits reaches, and tables that no count can say.
TYPED_TEST(MelFBank, HugeBanksAreRefusedNotMisbuilt)
{
    for (int flag : {1, 2, 6})
        for (const auto& [length, filters] : std::vector<std::pair<int32_t, int32_t>>{{INT32_MAX, 20},
                                                                                      {(1 << 30) + 1, 1},
                                                                                      {1 << 20, 1 << 20},
                                                                                      {256, INT32_MAX},
                                                                                      {256, INT32_MAX - 1},
                                                                                      {1 << 30, 20},
                                                                                      {2, 1 << 30},
                                                                                      {INT32_MAX, INT32_MAX}}) {
            AllocatorWatch watch;
            ZelFBankState* bank = nullptr;
            int32_t order = -1;
            EXPECT_EQ(TypeParam::kInitAlloc(&bank, &order, length, 8000, 64, 4000, filters, 1127, 700, flag),
                      SrErrMemAlloc)
                << length << ", " << filters;
            if (bank != nullptr) {
                EXPECT_EQ(TypeParam::kFree(bank), SrOk);
            }
        }
}

TYPED_TEST(MelFBank, WritesTheBankAndTheOrderOnly)
{
    Guarded<ZelFBankState*> bank(1, {5, Edge::Back});
    Guarded<int32_t> order(1, {3, Edge::Back});
    for (int flag : {1, 2, 5, 6}) {
        MelArguments a = kGood;
        a.flag = flag;
        AllocatorWatch watch;
        ASSERT_EQ(init_alloc<TypeParam>(bank.data(), order.data(), a), SrOk);
        EXPECT_TRUE(bank.intact());
        EXPECT_TRUE(order.intact());
        EXPECT_EQ(order.get(0), 8);
        EXPECT_GT(watch.live(), 0);
        EXPECT_EQ(TypeParam::kFree(bank.get(0)), SrOk);
        EXPECT_EQ(watch.live(), 0);
    }
}

// What was allocated by then stays so, and the bank is handed out; Free still releases the parts that hang on it.
TYPED_TEST(MelFBank, ARefusedAllocationLeavesTheBankSetAndNothingFreed)
{
    for (int flag : {1, 2, 5, 6})
        for (int length : {4, 256, 4096}) {
            MelArguments a = kGood;
            a.flag = flag;
            a.length = length;
            int blocks = 0;
            {
                AllocatorWatch watch;
                const MelBank<TypeParam> bank(a);
                blocks = watch.requests();
            }
            EXPECT_GE(blocks, (flag & 4) != 0 ? 6 : 4);
            for (int refused = 1; refused <= blocks; ++refused) {
                SCOPED_TRACE("block " + std::to_string(refused) + " of flag " + std::to_string(flag));
                AllocatorWatch watch(refused);
                ZelFBankState* bank = reinterpret_cast<ZelFBankState*>(&blocks);
                int32_t order = -1;
                EXPECT_EQ(init_alloc<TypeParam>(&bank, &order, a), SrErrMemAlloc);
                ASSERT_NE(bank, reinterpret_cast<ZelFBankState*>(&blocks)) << "the bank is not set";
                if (bank == nullptr) {
                    EXPECT_EQ(watch.live(), 0);
                    continue;
                }
                EXPECT_GE(watch.live(), 1) << "the record was freed";
                EXPECT_EQ(TypeParam::kFree(bank), SrOk);
                EXPECT_GE(watch.live(), 0) << "a block was freed twice";
            }
        }
}

TYPED_TEST(MelFBank, FreeRefusesNull) { EXPECT_EQ(TypeParam::kFree(nullptr), SrErrNullPtr); }

TYPED_TEST(MelFBank, IsTheSameUnderEachEnvironment)
{
    for (int flag : {1, 2, 5}) {
        MelArguments a = kGood;
        a.flag = flag;
        const auto expected = reference::mel_bank<typename TypeParam::Weight>(a);
        ZelFBankState* bank = nullptr;
        int32_t order = 0;
        SrStatus status = SrErrUnknown;
        under_each_environment([&] { status = init_alloc<TypeParam>(&bank, &order, a); },
                               [&](const std::string& setting) {
                                   SCOPED_TRACE(setting);
                                   ASSERT_EQ(status, SrOk);
                                   expect_bank<TypeParam>(expected, bank);
                                   EXPECT_EQ(TypeParam::kFree(bank), SrOk);
                               });
    }
}

#ifdef __i386__
TYPED_TEST(MelFBank, RecordHoldsItsFields)
{
    for (int flag : {1, 2, 5, 6}) {
        MelArguments a = kGood;
        a.flag = flag;
        a.length = 200;
        const MelBank<TypeParam> bank(a);
        const RecordFields fields = fields_of<TypeParam>(bank.get());
        const std::vector<int32_t> centers = centers_of<TypeParam>(bank.get(), 23);
        EXPECT_EQ(std::memcmp(fields.centers, centers.data(), 25 * 4), 0);
        EXPECT_EQ(fields.flag, flag);
        EXPECT_EQ(fields.length, 256);
        EXPECT_EQ(fields.order, 8);
        EXPECT_EQ(fields.filters, 23);
        EXPECT_EQ(fields.linear, 23);
        EXPECT_EQ(fields.mel_mul, 1127);
        EXPECT_EQ(fields.mel_div, 700);
        EXPECT_EQ(fields.ready, 1);
        EXPECT_EQ(fields.fft != nullptr, (flag & 4) != 0);
        EXPECT_EQ(fields.spectrum != nullptr, (flag & 4) != 0);
        if (std::is_same_v<TypeParam, Family_16s>) {
            EXPECT_EQ(fields.weight_shift, 14);
        }
        for (std::size_t r = 0; r < 25; ++r) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(fields.left[r]) % 32, 12u) << r;
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(fields.right[r]) % 32, 0u) << r;
        }
        const auto expected = reference::mel_bank<typename TypeParam::Weight>(a);
        for (std::size_t r = 0; r < 23; ++r) {
            EXPECT_EQ(std::memcmp(fields.left[r], expected.left[r].data(), expected.left[r].size() * 4), 0) << r;
            EXPECT_EQ(std::memcmp(fields.right[r], expected.right[r].data(), expected.right[r].size() * 4), 0)
                << r;
        }
    }
}

TYPED_TEST(MelFBank, IsMadeOnAnyStack)
{
    const auto expected = reference::mel_bank<typename TypeParam::Weight>(kGood);
    for (int misalign : {0, 4, 8, 12}) {
        ZelFBankState* bank = nullptr;
        int32_t order = 0;
        ASSERT_EQ(call_misaligned(+TypeParam::kInitAlloc, misalign, &bank, &order, kGood.length, kGood.rate,
                                  kGood.low, kGood.high, kGood.filters, kGood.mel_mul, kGood.mel_div, kGood.flag),
                  SrOk);
        expect_bank<TypeParam>(expected, bank);
        EXPECT_EQ(call_misaligned(+TypeParam::kFree, misalign, bank), SrOk);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
