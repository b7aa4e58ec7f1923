// Empty banks, and the centres and weights that go in and out of banks.
#include <gtest/gtest.h>

#include <cmath>

#include "frontend/filter_bank_members.h"
#include "support/faults.h"
#include "support/odd_stack.h"

namespace zelsr::test {
namespace {

template <class Family>
class FBankAccess : public testing::Test {};
TYPED_TEST_SUITE(FBankAccess, Families, FamilyNames);

const std::vector<int32_t> kLadder = {0, 2, 5, 9, 16};  // of N 32 and 3 filters

TYPED_TEST(FBankAccess, AnEmptyBankIsNotReady)
{
    const EmptyBank<TypeParam> bank(32, 3);
    Guarded<int32_t> centers(5);
    Guarded<float> coefficients(40);
    centers.take_snapshot();
    coefficients.take_snapshot();
    EXPECT_EQ(TypeParam::kGetCenters(bank.get(), centers.data()), SrErrFBankCenters);
    for (int i : {0, 1, 3, 4, 5}) {  // before the index is looked at
        EXPECT_EQ(TypeParam::kGetCoeffs(bank.get(), i, coefficients.data()), SrErrFBankCenters) << i;
        EXPECT_EQ(TypeParam::kSetCoeffs(bank.get(), i, coefficients.data()), SrErrFBankCenters) << i;
    }
    EXPECT_TRUE(centers.as_snapshot());
    EXPECT_TRUE(coefficients.as_snapshot());
}

TYPED_TEST(FBankAccess, AnEmptyBanksWeightsAreZeroUntilTheyAreSet)
{
    const EmptyBank<TypeParam> bank(32, kLadder);
    EXPECT_EQ(centers_of<TypeParam>(bank.get(), 3), kLadder);
    EXPECT_TRUE(same_values(std::vector<float>(6, 0.0F), coefficients_of<TypeParam>(bank.get(), 1, 6)));
    EXPECT_TRUE(same_values(std::vector<float>(8, 0.0F), coefficients_of<TypeParam>(bank.get(), 2, 8)));
    EXPECT_TRUE(same_values(std::vector<float>(12, 0.0F), coefficients_of<TypeParam>(bank.get(), 3, 12)));
    EXPECT_TRUE(same_values(std::vector<float>(8, 0.0F), coefficients_of<TypeParam>(bank.get(), 4, 8)));
}

TYPED_TEST(FBankAccess, AnEmptyBankChecksSizesOnly)
{
    for (int32_t size : {0, -1, INT32_MIN}) {
        EXPECT_EQ(TypeParam::kEmpty(nullptr, nullptr, size, 3, 1), SrErrSize);
        EXPECT_EQ(TypeParam::kEmpty(nullptr, nullptr, 32, size, 1), SrErrSize);
        EXPECT_EQ(TypeParam::kEmpty(nullptr, nullptr, size, size, 77), SrErrSize);
    }
    for (int32_t flag : {0, 1, 2, 3, 4, 7, -1, 99, INT32_MIN, INT32_MAX})
        const EmptyBank<TypeParam> bank(20, 2, flag);
}

// Bit 4 of the flag makes an FFT record and a spectrum, two blocks or more, that nothing uses.
TYPED_TEST(FBankAccess, AnEmptyBankMayCarryAnUnusedTransform)
{
    const auto blocks_with = [](int32_t flag) {
        AllocatorWatch watch;
        {
            const EmptyBank<TypeParam> bank(256, 5, flag);
        }
        EXPECT_EQ(watch.live(), 0) << flag;
        return watch.requests();
    };
    EXPECT_EQ(blocks_with(0), blocks_with(1));
    EXPECT_EQ(blocks_with(0), blocks_with(3));
    EXPECT_EQ(blocks_with(4), blocks_with(0) + 2);
    EXPECT_EQ(blocks_with(-1), blocks_with(0) + 2);
}

TYPED_TEST(FBankAccess, ARefusedAllocationOfAnEmptyBankLeavesTheBankSet)
{
    for (int32_t flag : {1, 5})
        for (int refused = 1; refused <= (flag == 5 ? 6 : 4); ++refused) {
            SCOPED_TRACE("block " + std::to_string(refused) + " of flag " + std::to_string(flag));
            AllocatorWatch watch(refused);
            ZelFBankState* bank = reinterpret_cast<ZelFBankState*>(&watch);
            int32_t order = -1;
            const SrStatus status = TypeParam::kEmpty(&bank, &order, 256, 5, flag);
            ASSERT_NE(bank, reinterpret_cast<ZelFBankState*>(&watch));
            if (status == SrOk) {
                EXPECT_LT(watch.requests(), refused) << "a refusal was overlooked";
            } else {
                EXPECT_EQ(status, SrErrMemAlloc);
            }
            if (bank == nullptr) continue;
            EXPECT_EQ(TypeParam::kFree(bank), SrOk);
            EXPECT_EQ(watch.live(), 0) << "an empty bank has no work memory, and Free releases all others";
        }
}

#ifdef __i386__
TYPED_TEST(FBankAccess, AnEmptyBanksRecordHoldsItsFields)
{
    for (int32_t flag : {0, 2, 4, 6}) {
        const EmptyBank<TypeParam> bank(20, 3, flag);
        const RecordFields fields = fields_of<TypeParam>(bank.get());
        EXPECT_EQ(fields.flag, 1);
        EXPECT_EQ(fields.length, 32);
        EXPECT_EQ(fields.filters, 3);
        EXPECT_EQ(fields.mel_mul, 0);
        EXPECT_EQ(fields.mel_div, 1);
        EXPECT_EQ(fields.ready, 0);
        EXPECT_EQ(fields.fft != nullptr, (flag & 4) != 0);
        EXPECT_EQ(fields.spectrum != nullptr, (flag & 4) != 0);
        if (std::is_same_v<TypeParam, Family_16s>) {
            EXPECT_EQ(fields.weight_shift, 14);
        }
        EXPECT_EQ(TypeParam::kSetCenters(bank.get(), kLadder.data()), SrOk);
        EXPECT_EQ(fields_of<TypeParam>(bank.get()).ready, 1);
    }
}
#endif

TYPED_TEST(FBankAccess, SetCentersChecksPointersThenTheLadder)
{
    const EmptyBank<TypeParam> bank(32, 3);
    EXPECT_EQ(TypeParam::kSetCenters(nullptr, kLadder.data()), SrErrNullPtr);
    EXPECT_EQ(TypeParam::kSetCenters(bank.get(), nullptr), SrErrNullPtr);
    EXPECT_EQ(TypeParam::kSetCenters(nullptr, nullptr), SrErrNullPtr);
    const std::vector<std::vector<int32_t>> refused = {
        {-1, 2, 5, 9, 16},       {INT32_MIN, 2, 5, 9, 16}, {3, 2, 5, 9, 16}, {0, 6, 5, 9, 16},
        {0, 2, 1, 9, 16},        {0, 2, 10, 9, 16},        {0, 2, 5, 4, 16}, {0, 2, 5, 9, 17},
        {0, 2, 5, 9, INT32_MAX}, {0, -1, 5, 9, 16},        {4, 3, 2, 1, 0}};
    for (const std::vector<int32_t>& ladder : refused) {
        EXPECT_EQ(TypeParam::kSetCenters(bank.get(), ladder.data()), SrErrFBankCenters);
        int32_t centers[5];
        EXPECT_EQ(TypeParam::kGetCenters(bank.get(), centers), SrErrFBankCenters) << "the bank became ready";
    }
    EXPECT_EQ(TypeParam::kSetCenters(bank.get(), kLadder.data()), SrOk);
    for (const std::vector<int32_t>& ladder : refused) {
        EXPECT_EQ(TypeParam::kSetCenters(bank.get(), ladder.data()), SrErrFBankCenters);
        EXPECT_EQ(centers_of<TypeParam>(bank.get(), 3), kLadder);
    }
}

// Nothing holds the last filter's centre against the last entry, nor against N/2.
TYPED_TEST(FBankAccess, TheLastFiltersCentreMayLieAboveTheLastEntry)
{
    const EmptyBank<TypeParam> bank(32, 3);
    for (const std::vector<int32_t>& ladder : std::vector<std::vector<int32_t>>{{0, 2, 5, 9, 8},
                                                                                {0, 2, 5, 16, 0},
                                                                                {0, 2, 5, 17, 16},
                                                                                {0, 2, 5, 9, -7},
                                                                                {16, 16, 16, 16, 16},
                                                                                {0, 0, 0, 0, 0},
                                                                                {0, 2, 5, 1000, 3}}) {
        EXPECT_EQ(TypeParam::kSetCenters(bank.get(), ladder.data()), SrOk);
        EXPECT_EQ(centers_of<TypeParam>(bank.get(), 3), ladder);
    }
    const EmptyBank<TypeParam> one(32, 1);  // nothing but the ends is tested
    for (const std::vector<int32_t>& ladder :
         std::vector<std::vector<int32_t>>{{3, 1, 2}, {0, -5, 16}, {0, 16, 0}, {16, 0, -3}}) {
        EXPECT_EQ(TypeParam::kSetCenters(one.get(), ladder.data()), SrOk);
        EXPECT_EQ(centers_of<TypeParam>(one.get(), 1), ladder);
    }
    for (const std::vector<int32_t>& ladder : std::vector<std::vector<int32_t>>{{-1, 1, 2}, {0, 1, 17}})
        EXPECT_EQ(TypeParam::kSetCenters(one.get(), ladder.data()), SrErrFBankCenters);
}

TYPED_TEST(FBankAccess, CentresGoInAndOutAtAnyPlace)
{
    const EmptyBank<TypeParam> bank(32, 3);
    for (const Placement& place : placements(4)) {
        const Guarded<int32_t> in(kLadder, place);
        Guarded<int32_t> out(5, place);
        ASSERT_EQ(TypeParam::kSetCenters(bank.get(), in.data()), SrOk);
        ASSERT_EQ(TypeParam::kGetCenters(bank.get(), out.data()), SrOk);
        EXPECT_TRUE(same_values(kLadder, out.values()));
        EXPECT_TRUE(out.intact());
    }
}

TYPED_TEST(FBankAccess, GetCentersChecksPointers)
{
    const EmptyBank<TypeParam> bank(32, kLadder), raw(32, 3);
    int32_t centers[5];
    EXPECT_EQ(TypeParam::kGetCenters(nullptr, centers), SrErrNullPtr);
    EXPECT_EQ(TypeParam::kGetCenters(bank.get(), nullptr), SrErrNullPtr);
    EXPECT_EQ(TypeParam::kGetCenters(raw.get(), nullptr), SrErrNullPtr);  // before readiness
}

struct CoeffsCall {
    ZelFBankState* bank;
    int32_t filter;
    float* coeffs;
};

TYPED_TEST(FBankAccess, WeightsCheckPointersReadinessIndex)
{
    const EmptyBank<TypeParam> bank(32, kLadder), raw(32, 3);
    Guarded<float> coefficients(std::vector<float>(40, 0.5F));
    for (int32_t index : {0, -1, INT32_MIN, 5, 6, INT32_MAX}) {
        const std::vector<Fault<CoeffsCall>> faults = {
            {"null bank", SrErrNullPtr, [](CoeffsCall& c) { c.bank = nullptr; }},
            {"null array", SrErrNullPtr, [](CoeffsCall& c) { c.coeffs = nullptr; }},
            {"not ready", SrErrFBankCenters, [&](CoeffsCall& c) { c.bank = raw.get(); }},
            {"index", SrErrSize, [&](CoeffsCall& c) { c.filter = index; }}};
        // A null bank injected behind the unready one wins.
        expect_check_order<CoeffsCall>(
            {bank.get(), 2, coefficients.data()}, faults,
            [](const CoeffsCall& c) { return TypeParam::kGetCoeffs(c.bank, c.filter, c.coeffs); },
            {&coefficients});
        expect_check_order<CoeffsCall>(
            {bank.get(), 2, coefficients.data()}, faults,
            [](const CoeffsCall& c) { return TypeParam::kSetCoeffs(c.bank, c.filter, c.coeffs); },
            {&coefficients});
    }
    EXPECT_TRUE(same_values(std::vector<float>(8, 0.0F), coefficients_of<TypeParam>(bank.get(), 2, 8)));
}

TYPED_TEST(FBankAccess, GetTakesOneFilterMoreThanSet)
{
    const EmptyBank<TypeParam> bank(32, kLadder);
    float coefficients[16] = {};
    EXPECT_EQ(TypeParam::kSetCoeffs(bank.get(), 3, coefficients), SrOk);
    EXPECT_EQ(TypeParam::kSetCoeffs(bank.get(), 4, coefficients), SrErrSize);
    EXPECT_EQ(TypeParam::kGetCoeffs(bank.get(), 4, coefficients), SrOk);
    EXPECT_EQ(TypeParam::kGetCoeffs(bank.get(), 5, coefficients), SrErrSize);
}

TYPED_TEST(FBankAccess, WeightsGoInAndOutAtAnyPlaceLeftThenRight)
{
    const EmptyBank<TypeParam> bank(32, kLadder);
    float value = 0;
    const std::vector<std::size_t> counts = {6, 8, 12};
    std::vector<std::vector<float>> all(3);
    for (const Placement& place : placements(4)) {
        for (int i = 1; i <= 3; ++i) {
            std::vector<float>& weights = all[at(i - 1)];
            weights.clear();
            for (std::size_t k = 0; k < counts[at(i - 1)]; ++k) weights.push_back((value += 1) / 64);
            const Guarded<float> in(weights, place);
            ASSERT_EQ(TypeParam::kSetCoeffs(bank.get(), i, in.data()), SrOk);
        }
        for (int i = 1; i <= 3; ++i) {
            Guarded<float> out(counts[at(i - 1)], place);
            ASSERT_EQ(TypeParam::kGetCoeffs(bank.get(), i, out.data()), SrOk);
            EXPECT_TRUE(same_values(all[at(i - 1)], out.values()));
            EXPECT_TRUE(out.intact());
        }
    }
    EXPECT_EQ(centers_of<TypeParam>(bank.get(), 3), kLadder);
}

// The widest slopes that the rows hold: all of the bins.
TYPED_TEST(FBankAccess, SlopesMaySpanAllBins)
{
    for (int length : {2, 4, 8, 16, 32, 64, 256})
        for (const std::vector<int32_t>& ladder :
             {std::vector<int32_t>{0, length / 2, length / 2}, std::vector<int32_t>{0, 0, length / 2}}) {
            const EmptyBank<TypeParam> bank(length, ladder);
            const std::size_t count = at(length / 2 + 1);
            std::vector<float> weights;
            for (std::size_t k = 0; k < count; ++k) weights.push_back(static_cast<float>(k + 1) / 1024);
            ASSERT_EQ(TypeParam::kSetCoeffs(bank.get(), 1, weights.data()), SrOk);
            EXPECT_TRUE(same_values(weights, coefficients_of<TypeParam>(bank.get(), 1, count))) << length;
        }
}

// Centres that reach beyond the rows, by the last filter's, must not make Set write beside them.
TYPED_TEST(FBankAccess, ACentreBeyondAllBinsWritesNothingBesideTheRows)
{
    const EmptyBank<TypeParam> bank(32, std::vector<int32_t>{0, 2, 5, 5000, 16});
    const EmptyBank<TypeParam> behind(32, kLadder);  // likely the next in memory
    std::vector<float> weights(5100, 1.0F);
    std::vector<float> out(5100, 2.0F);
    EXPECT_EQ(TypeParam::kSetCoeffs(bank.get(), 3, weights.data()), SrOk);
    EXPECT_EQ(TypeParam::kSetCoeffs(bank.get(), 2, weights.data()), SrOk);
    EXPECT_EQ(TypeParam::kGetCoeffs(bank.get(), 3, out.data()), SrOk);
    EXPECT_EQ(TypeParam::kGetCoeffs(bank.get(), 2, out.data()), SrOk);
    EXPECT_EQ(out[0], 1);
    EXPECT_TRUE(same_values(std::vector<float>(6, 0.0F), coefficients_of<TypeParam>(behind.get(), 1, 6)));
}

TYPED_TEST(FBankAccess, AMelBanksWeightsAndCentresMayBeReplaced)
{
    const MelBank<TypeParam> bank({32, 8000, 64, 4000, 3, 1127, 700, 2});
    EXPECT_EQ(TypeParam::kSetCenters(bank.get(), kLadder.data()), SrOk);
    EXPECT_EQ(centers_of<TypeParam>(bank.get(), 3), kLadder);
    const std::vector<float> weights = {0.5F, 0.25F, 1, 2, -1, -0.5F};
    EXPECT_EQ(TypeParam::kSetCoeffs(bank.get(), 1, weights.data()), SrOk);
    EXPECT_TRUE(same_values(weights, coefficients_of<TypeParam>(bank.get(), 1, 6)));
}

TEST(FBankWeights32f, ArriveBitByBit)
{
    const EmptyBank<Family_32f> bank(64, std::vector<int32_t>{0, 16, 31});
    const std::vector<float> weights = [] {
        std::vector<float> all = special_values<float>(), more = special_values<float>();
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }();
    ASSERT_EQ(weights.size(), 32u);
    EXPECT_EQ(zelsFBankSetCoeffs_32f(bank.get(), 1, weights.data()), SrOk);
    EXPECT_TRUE(same_values(weights, coefficients_of<Family_32f>(bank.get(), 1, 32)));
}

// Q14 truncates toward zero and is limited.
TEST(FBankWeights16s, AreTruncatedTo14BitsAndLimited)
{
    const EmptyBank<Family_16s> bank(32, std::vector<int32_t>{0, 8, 16});
    const float unit = 1 / 16384.0F;
    const std::vector<float> in = {
        0,          1,     -1,         unit,   -unit,    1.75F * unit, -1.75F * unit, 0.99F * unit, 131072.0F,
        131071.99F, 1e30F, -131072.0F, -1e30F, INFINITY, -INFINITY,    -0.5F * unit,  1.0F / 3};
    const float top = 131072.0F;  // 2147483647 Q14 in single
    const std::vector<float> out = {0,           1,   -1,      unit,    -unit, unit,    -unit, 0,          top,
                                    131071.992F, top, -131072, -131072, top,   -131072, 0,     5461 * unit};
    ASSERT_EQ(in.size(), 17u);
    EXPECT_EQ(zelsFBankSetCoeffs_16s(bank.get(), 1, in.data()), SrOk);
    EXPECT_TRUE(same_values(out, coefficients_of<Family_16s>(bank.get(), 1, 17)));
}

#ifdef __i386__
TYPED_TEST(FBankAccess, RunsOnAnyStack)
{
    for (int misalign : {0, 4, 8, 12}) {
        ZelFBankState* bank = nullptr;
        int32_t order = 0;
        ASSERT_EQ(call_misaligned(+TypeParam::kEmpty, misalign, &bank, &order, 32, 3, 4), SrOk);
        EXPECT_EQ(call_misaligned(+TypeParam::kSetCenters, misalign, bank, kLadder.data()), SrOk);
        std::vector<int32_t> centers(5);
        EXPECT_EQ(call_misaligned(+TypeParam::kGetCenters, misalign, static_cast<const ZelFBankState*>(bank),
                                  centers.data()),
                  SrOk);
        EXPECT_EQ(centers, kLadder);
        const std::vector<float> weights = {0.5F, 0.25F, 1, 2, -1, -0.5F, 7, 8};
        EXPECT_EQ(call_misaligned(+TypeParam::kSetCoeffs, misalign, bank, 2, weights.data()), SrOk);
        std::vector<float> back(8);
        EXPECT_EQ(call_misaligned(+TypeParam::kGetCoeffs, misalign, static_cast<const ZelFBankState*>(bank), 2,
                                  back.data()),
                  SrOk);
        EXPECT_EQ(back, weights);
        EXPECT_EQ(call_misaligned(+TypeParam::kFree, misalign, bank), SrOk);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
