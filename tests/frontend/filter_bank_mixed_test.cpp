// Banks with linearly spaced filters below and mel ones above.
#include <gtest/gtest.h>

#include <cmath>

#include "frontend/filter_bank_members.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

template <class Family>
class MixedFBank : public testing::Test {};
TYPED_TEST_SUITE(MixedFBank, Families, FamilyNames);

const MelArguments kGood{512, 16000, 100, 8000, 20, 1127, 700, 1, 1000, 8};

std::vector<MelArguments> mixed_shapes()
{
    std::vector<MelArguments> shapes;
    for (int linear : {1, 2, 8, 19, 20})
        for (float end : {1000.0F, 3000.0F, 8000.0F}) {
            MelArguments a = kGood;
            a.linear = linear;
            a.linear_end = end;
            shapes.push_back(a);
        }
    shapes.push_back({256, 8000, 1, 4000, 1, 2595, 700, 0, 500, 1});
    shapes.push_back({300, 11025, 60, 5000, 30, 1127, 700, 0, 777, 5});
    shapes.push_back({32, 8000, 64, 4000, 12, 1127, 700, 0, 2000, 6});
    shapes.push_back({128, 8000, 64, 4000, 6, 40, 700, 0, 900, 3});    // mel values below bin indices:
    shapes.push_back({4096, 8000, 64, 4000, 6, 3, 700, 0, 900, 3});    // the kept rule leaves positive weights
    shapes.push_back({64, 8000, 1, 4000, 40, 1127, 700, 0, 100, 20});  // several centres on one bin
    // A span in mel that was stored as a single would move a centre of these.
    shapes.push_back({64, 8000, 64, 4000, 23, 2372, 1e5F, 0, 1626, 2});
    shapes.push_back({32, 8000, 64, 4000, 31, 699, 1e4F, 0, 454, 26});
    return shapes;
}

TYPED_TEST(MixedFBank, HasTheCentresAndWeightsOfItsParts)
{
    for (MelArguments a : mixed_shapes())
        for (int flag : {1, 2, 5, 6}) {
            a.flag = flag;
            const MixedBank<TypeParam> bank(a);
            expect_bank<TypeParam>(reference::mixed_bank<typename TypeParam::Weight>(a), bank.get());
            ASSERT_FALSE(testing::Test::HasFailure())
                << "flag " << flag << ", length " << a.length << ", " << a.filters << " filters, " << a.linear
                << " of them linear up to " << a.linear_end;
        }
}

TYPED_TEST(MixedFBank, HasTheCentresAndWeightsOfRandomBanks)
{
    for (int round = 0; round < (thin_effort() ? 20 : 200); ++round) {
        const float rate = uniform(1000.0F, 48000.0F), low = uniform(1.0F, rate / 8);
        const float end = uniform(low + 1, rate / 3);
        const int filters = uniform(1, 30);
        const MelArguments a{uniform(2, 1100),           rate,          low,
                             uniform(end + 1, rate / 2), filters,       uniform(1.0F, 3000.0F),
                             uniform(1.0F, 3000.0F),     uniform(1, 2), end,
                             uniform(1, filters)};
        const MixedBank<TypeParam> bank(a);
        expect_bank<TypeParam>(reference::mixed_bank<typename TypeParam::Weight>(a), bank.get());
        ASSERT_FALSE(testing::Test::HasFailure())
            << "flag " << a.flag << ", length " << a.length << ", rate " << a.rate << ", " << a.low << ", " << end
            << ", " << a.high << " Hz, " << filters << " filters, " << a.linear << " of them linear, constants "
            << a.mel_mul << ", " << a.mel_div;
    }
}

TYPED_TEST(MixedFBank, ByValue)
{
    // All linear: 500 Hz a bin, centres 1000, 1500, 2000, 2500 Hz; the highest frequency has no part in them.
    const MixedBank<TypeParam> linear({16, 8000, 1000, 4000, 2, 1127, 700, 2, 2500, 2});
    EXPECT_EQ(centers_of<TypeParam>(linear.get(), 2), (std::vector<int32_t>{2, 3, 4, 5}));
    // Two linear of four: 1000, 1500, then in mel from 2000 on; the second linear centre is mel's first.
    const MixedBank<TypeParam> mixed({16, 8000, 1000, 4000, 4, 1127, 700, 2, 2000, 2});
    const std::vector<int32_t> centers = centers_of<TypeParam>(mixed.get(), 4);
    EXPECT_EQ(std::vector<int32_t>(centers.begin(), centers.begin() + 3), (std::vector<int32_t>{2, 3, 4}));
    EXPECT_EQ(centers[5], 8);
    // By bins in either mode behind the linear filters.
    const MixedBank<TypeParam> by_mel({16, 8000, 1000, 4000, 2, 1127, 700, 1, 1100, 1});
    const std::vector<int32_t> c = centers_of<TypeParam>(by_mel.get(), 2);
    const std::size_t left = at(c[2] - c[1] + 1), count = left + at(c[3] - c[2]);
    EXPECT_EQ(coefficients_of<TypeParam>(by_mel.get(), 2, count)[left - 1], 1);
}

// Filter nLinear's right side: a mel value from a bin index, so that it is 0 where mel values are the larger ones
// and beyond 1 where they are far smaller.
TYPED_TEST(MixedFBank, TheLastLinearFilterSubtractsAMelValueFromABinIndex)
{
    const auto right_side = [](const MelArguments& a) {
        const MixedBank<TypeParam> bank(a);
        const std::vector<int32_t> c = centers_of<TypeParam>(bank.get(), a.filters);
        const std::size_t left = at(c[at(a.linear)] - c[at(a.linear - 1)] + 1);
        const std::size_t right = at(c[at(a.linear + 1)] - c[at(a.linear)]);
        std::vector<float> all = coefficients_of<TypeParam>(bank.get(), a.linear, left + right);
        return std::vector<float>(all.begin() + static_cast<std::ptrdiff_t>(left), all.end());
    };
    const std::vector<float> zeros = right_side(kGood);
    EXPECT_FALSE(zeros.empty());
    for (float weight : zeros) EXPECT_EQ(weight, 0);
    const std::vector<float> large = right_side({4096, 8000, 64, 4000, 6, 3, 700, 1, 900, 3});
    EXPECT_FALSE(large.empty());
    for (float weight : large) EXPECT_GT(weight, 1.0F);
}

// Unlike a mel bank's, the first left weight is computed, and none is negative.
TYPED_TEST(MixedFBank, WeightsInMelAreComputedFromTheFirstOnAndNeverNegative)
{
    MelArguments a{512, 16000, 110, 8000, 20, 1127, 700, 1, 3000, 20};
    const MixedBank<TypeParam> bank(a);
    const auto expected = reference::mixed_bank<typename TypeParam::Weight>(a);
    bool positive_first = false;
    for (int i = 1; i <= 20; ++i) {
        const std::vector<float> weights =
            coefficients_of<TypeParam>(bank.get(), i, expected.coefficients(i).size());
        positive_first |= weights[0] > 0;
        for (float weight : weights) EXPECT_GE(weight, 0);
    }
    a.low = 125;  // upon bin 4 exactly: the first weight is as good as 0 for filter 1
    EXPECT_FALSE(expected.c.empty());
    const MelArguments coarse{64, 16000, 300, 8000, 6, 1127, 700, 1, 5000, 6};
    const MixedBank<TypeParam> other(coarse);
    const auto of_other = reference::mixed_bank<typename TypeParam::Weight>(coarse);
    for (int i = 1; i <= 6; ++i) {
        const std::vector<float> weights =
            coefficients_of<TypeParam>(other.get(), i, of_other.coefficients(i).size());
        positive_first |= weights[0] > 0;
        for (float weight : weights) EXPECT_GE(weight, 0);
    }
}

struct Call {
    ZelFBankState** bank;
    int32_t* order;
    MelArguments a;
};

TYPED_TEST(MixedFBank, SizesThenFrequenciesThenFlagAreChecked)
{
    Guarded<ZelFBankState*> bank(1);
    Guarded<int32_t> order(1);
    AllocatorWatch watch;
    for (int32_t size : {0, -1, INT32_MIN})
        for (int32_t linear : {0, -1, INT32_MIN, 21, INT32_MAX})
            expect_check_order<Call>(
                {bank.data(), order.data(), kGood},
                {{"length", SrErrSize, [&](Call& c) { c.a.length = size; }},
                 {"filters", SrErrSize, [&](Call& c) { c.a.filters = size; }},
                 {"rate", SrErrSize, [](Call& c) { c.a.rate = -0.0F; }},
                 {"lowest frequency", SrErrSize, [](Call& c) { c.a.low = 0; }},
                 {"linear filters", SrErrSize, [&](Call& c) { c.a.linear = linear; }},
                 {"linear end below low", SrErrFBankFreq,
                  [](Call& c) { c.a.linear_end = std::nextafter(100.0F, 0.0F); }},
                 {"high below linear end", SrErrFBankFreq,
                  [](Call& c) { c.a.high = std::nextafter(c.a.linear_end, 0.0F); }},
                 {"high above half the rate", SrErrFBankFreq, [](Call& c) { c.a.high = 8000.5F; }},
                 {"flag", SrErrFBankFlag, [](Call& c) { c.a.flag = 7; }}},
                [](const Call& c) { return mixed_init_alloc<TypeParam>(c.bank, c.order, c.a); }, {&bank, &order});
    EXPECT_EQ(watch.requests(), 0);
}

// With faults among the other arguments nothing looks at the pointers.
TYPED_TEST(MixedFBank, NullPointersAreNotTested)
{
    MelArguments a = kGood;
    a.flag = 0;
    EXPECT_EQ(mixed_init_alloc<TypeParam>(nullptr, nullptr, a), SrErrFBankFlag);
    a.high = 9000;
    EXPECT_EQ(mixed_init_alloc<TypeParam>(nullptr, nullptr, a), SrErrFBankFreq);
    a.linear = 21;
    EXPECT_EQ(mixed_init_alloc<TypeParam>(nullptr, nullptr, a), SrErrSize);
}

TYPED_TEST(MixedFBank, ARateOrFrequencyThatIsNoNumberFailsTheFrequencyTests)
{
    for (float MelArguments::*which :
         {&MelArguments::rate, &MelArguments::low, &MelArguments::high, &MelArguments::linear_end}) {
        MelArguments a = kGood;
        a.*which = NAN;
        EXPECT_EQ(mixed_init_alloc<TypeParam>(nullptr, nullptr, a), SrErrFBankFreq);
    }
}

TYPED_TEST(MixedFBank, EqualFrequenciesPass)
{
    MelArguments a = kGood;
    a.flag = 2;
    a.low = a.linear_end = a.high = 8000;
    const MixedBank<TypeParam> bank(a);
    EXPECT_EQ(centers_of<TypeParam>(bank.get(), 20), std::vector<int32_t>(22, 256));
}

// With all frequencies the same, quotients in mel have a denominator of 0: such a bank is built all the same.
TYPED_TEST(MixedFBank, EqualFrequenciesInMelBuildABank)
{
    MelArguments a = kGood;
    a.low = a.linear_end = 1000;
    for (int linear : {1, 8, 20}) {
        a.linear = linear;
        const MixedBank<TypeParam> bank(a);
        EXPECT_EQ(centers_of<TypeParam>(bank.get(), 20)[0], 32);
    }
}

TYPED_TEST(MixedFBank, FreeLeavesNothingAndARefusedAllocationLeavesTheBankSet)
{
    for (int flag : {1, 2, 5, 6})
        for (int linear : {8, 20}) {
            MelArguments a = kGood;
            a.flag = flag;
            a.linear = linear;
            int blocks = 0;
            {
                AllocatorWatch watch;
                ZelFBankState* bank = nullptr;
                int32_t order = 0;
                ASSERT_EQ(mixed_init_alloc<TypeParam>(&bank, &order, a), SrOk);
                EXPECT_EQ(TypeParam::kFree(bank), SrOk);
                blocks = watch.requests();
                EXPECT_EQ(watch.live(), 0);
            }
            for (int refused = 1; refused <= blocks; ++refused) {
                SCOPED_TRACE("block " + std::to_string(refused) + " of flag " + std::to_string(flag));
                AllocatorWatch watch(refused);
                ZelFBankState* bank = reinterpret_cast<ZelFBankState*>(&blocks);
                int32_t order = -1;
                EXPECT_EQ(mixed_init_alloc<TypeParam>(&bank, &order, a), SrErrMemAlloc);
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

TYPED_TEST(MixedFBank, IsTheSameUnderEachEnvironment)
{
    const auto expected = reference::mixed_bank<typename TypeParam::Weight>(kGood);
    ZelFBankState* bank = nullptr;
    int32_t order = 0;
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = mixed_init_alloc<TypeParam>(&bank, &order, kGood); },
                           [&](const std::string& setting) {
                               SCOPED_TRACE(setting);
                               ASSERT_EQ(status, SrOk);
                               expect_bank<TypeParam>(expected, bank);
                               EXPECT_EQ(TypeParam::kFree(bank), SrOk);
                           });
}

#ifdef __i386__
TYPED_TEST(MixedFBank, RecordHoldsItsFields)
{
    for (int flag : {1, 6}) {
        MelArguments a = kGood;
        a.flag = flag;
        const MixedBank<TypeParam> bank(a);
        const RecordFields fields = fields_of<TypeParam>(bank.get());
        EXPECT_EQ(fields.flag, flag);
        EXPECT_EQ(fields.length, 512);
        EXPECT_EQ(fields.order, 9);
        EXPECT_EQ(fields.filters, 20);
        EXPECT_EQ(fields.linear, 8);
        EXPECT_EQ(fields.mel_mul, 1127);
        EXPECT_EQ(fields.mel_div, 700);
        EXPECT_EQ(fields.ready, 1);
        EXPECT_EQ(fields.fft != nullptr, flag == 6);
        if (std::is_same_v<TypeParam, Family_16s>) {
            EXPECT_EQ(fields.weight_shift, 14);
        }
    }
}

TYPED_TEST(MixedFBank, IsMadeOnAnyStack)
{
    const auto expected = reference::mixed_bank<typename TypeParam::Weight>(kGood);
    for (int misalign : {0, 4, 8, 12}) {
        ZelFBankState* bank = nullptr;
        int32_t order = 0;
        ASSERT_EQ(call_misaligned(+TypeParam::kMixed, misalign, &bank, &order, kGood.length, kGood.rate, kGood.low,
                                  kGood.high, kGood.filters, kGood.linear_end, kGood.linear, kGood.mel_mul,
                                  kGood.mel_div, kGood.flag),
                  SrOk);
        expect_bank<TypeParam>(expected, bank);
        EXPECT_EQ(TypeParam::kFree(bank), SrOk);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
