// The fixed banks of the distributed front-end.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "frontend/filter_bank_members.h"
#include "support/environment.h"
#include "support/odd_stack.h"
#include "support/reference/aurora_bank.h"
#include "zelsr/frontend/aurora_bank.h"

namespace zelsr::test {
namespace {

struct Low_32f : Family_32f {
    static constexpr int kFilters = 25;
    static constexpr int32_t kSize = 84 + 144 + 140 + 7912 + 32 + 7048 + 32 + 140;
    static constexpr auto kFixed = zelsMelFBankInitAllocLow_Aurora_32f;
    static constexpr auto kFixedSize = zelsMelFBankGetSizeLow_Aurora_32f;
    static constexpr auto kFixedInit = zelsMelFBankInitLow_Aurora_32f;
    static reference::Bank<float> expected() { return reference::aurora_low_bank<float>(); }
};
struct Low_16s : Family_16s {
    static constexpr int kFilters = 25;
    static constexpr int32_t kSize = Low_32f::kSize + 4;
    static constexpr auto kFixed = zelsMelFBankInitAllocLow_Aurora_16s;
    static constexpr auto kFixedSize = zelsMelFBankGetSizeLow_Aurora_16s;
    static constexpr auto kFixedInit = zelsMelFBankInitLow_Aurora_16s;
    static reference::Bank<int32_t> expected() { return reference::aurora_low_bank<int32_t>(); }
};
struct High_32f : Family_32f {
    static constexpr int kFilters = 3;
    static constexpr int32_t kSize = 84 + 56 + 52 + 1488 + 32 + 1328 + 32 + 52;
    static constexpr auto kFixed = zelsMelFBankInitAllocHigh_Aurora_32f;
    static constexpr auto kFixedSize = zelsMelFBankGetSizeHigh_Aurora_32f;
    static constexpr auto kFixedInit = zelsMelFBankInitHigh_Aurora_32f;
    static reference::Bank<float> expected() { return reference::aurora_high_bank<float>(); }
};
struct High_16s : Family_16s {
    static constexpr int kFilters = 3;
    static constexpr int32_t kSize = High_32f::kSize + 4;
    static constexpr auto kFixed = zelsMelFBankInitAllocHigh_Aurora_16s;
    static constexpr auto kFixedSize = zelsMelFBankGetSizeHigh_Aurora_16s;
    static constexpr auto kFixedInit = zelsMelFBankInitHigh_Aurora_16s;
    static reference::Bank<int32_t> expected() { return reference::aurora_high_bank<int32_t>(); }
};

// Sums and quotients of a low bank's row may be formed in single precision: an ulp and a half each, at most.
template <class Fixed>
void expect_fixed(const ZelFBankState* bank)
{
    const auto expected = Fixed::expected();
    if constexpr (std::is_same_v<Fixed, Low_32f>) {
        ASSERT_TRUE(same_values(expected.c, centers_of<Fixed>(bank, Fixed::kFilters)));
        for (int i = 1; i <= Fixed::kFilters; ++i) {
            const std::vector<float> right = expected.coefficients(i);
            const std::vector<float> actual = coefficients_of<Fixed>(bank, i, right.size());
            for (std::size_t k = 0; k < right.size(); ++k)
                ASSERT_LE(ulp_distance(right[k], actual[k]), 3) << "filter " << i << ", element " << k;
        }
    } else {
        expect_bank<Fixed>(expected, bank);
    }
}

template <class Fixed>
class AuroraBank : public testing::Test {};
struct FixedNames {
    template <class Fixed>
    static std::string GetName(int)
    {
        return std::string(Fixed::kFilters == 25 ? "Low" : "High") +
               (std::is_same_v<typename Fixed::Weight, float> ? "32f" : "16s");
    }
};
using AllFixed = testing::Types<Low_32f, Low_16s, High_32f, High_16s>;
TYPED_TEST_SUITE(AuroraBank, AllFixed, FixedNames);

template <class Fixed>
struct OwnedFixed : OwnedBank<Fixed> {
    OwnedFixed() : OwnedBank<Fixed>(Fixed::kFixed) {}
};

TYPED_TEST(AuroraBank, HasItsCentresAndWeights)
{
    const OwnedFixed<TypeParam> bank;
    expect_fixed<TypeParam>(bank.get());
}

TYPED_TEST(AuroraBank, CentresByValue)
{
    const OwnedFixed<TypeParam> bank;
    const std::vector<int32_t> low = {0,  0,  1,  2,  3,  4,  5,  7,  8,  10, 12, 14, 16, 18,
                                      20, 23, 26, 29, 32, 36, 39, 44, 48, 53, 58, 64, 64};
    const std::vector<int32_t> high = {1, 8, 19, 37, 64};
    EXPECT_EQ(centers_of<TypeParam>(bank.get(), TypeParam::kFilters), TypeParam::kFilters == 25 ? low : high);
}

TYPED_TEST(AuroraBank, BuildsInTheCallersMemoryOnEveryAddressWithinItsSize)
{
    Guarded<int32_t> size(1, {1, Edge::Back});
    ASSERT_EQ(TypeParam::kFixedSize(size.data()), SrOk);
    EXPECT_TRUE(size.intact());
    if (sizeof(void*) == 4)
        EXPECT_EQ(size.get(0), TypeParam::kSize);
    else
        EXPECT_GE(size.get(0), TypeParam::kSize);
    for (int address = 0; address < 32; ++address)
        for (Edge edge : {Edge::Front, Edge::Back}) {
            Guarded<uint8_t> block(static_cast<std::size_t>(size.get(0)), {address, edge});
            auto* bank = reinterpret_cast<ZelFBankState*>(block.data());
            AllocatorWatch watch;
            ASSERT_EQ(TypeParam::kFixedInit(bank), SrOk);
            EXPECT_EQ(watch.requests(), 0);
            EXPECT_TRUE(block.intact());
            expect_fixed<TypeParam>(bank);
            ASSERT_FALSE(testing::Test::HasFailure()) << describe({address, edge});
        }
}

TYPED_TEST(AuroraBank, ANullPointerIsRefused)
{
    EXPECT_EQ(TypeParam::kFixed(nullptr), SrErrNullPtr);
    EXPECT_EQ(TypeParam::kFixedSize(nullptr), SrErrNullPtr);
    EXPECT_EQ(TypeParam::kFixedInit(nullptr), SrErrNullPtr);
}

TYPED_TEST(AuroraBank, ARefusedAllocationLeavesTheBankSet)
{
    int blocks = 0;
    {
        AllocatorWatch watch;
        {
            const OwnedFixed<TypeParam> bank;
        }
        EXPECT_EQ(watch.live(), 0);
        blocks = watch.requests();
    }
    for (int refused = 1; refused <= blocks; ++refused) {
        AllocatorWatch watch(refused);
        ZelFBankState* bank = reinterpret_cast<ZelFBankState*>(&blocks);
        EXPECT_EQ(TypeParam::kFixed(&bank), SrErrMemAlloc) << refused;
        ASSERT_NE(bank, reinterpret_cast<ZelFBankState*>(&blocks)) << refused;
        if (bank == nullptr) continue;
        EXPECT_GE(watch.live(), 1) << refused;
        EXPECT_EQ(TypeParam::kFree(bank), SrOk);
        EXPECT_GE(watch.live(), 0) << refused;
    }
}

TYPED_TEST(AuroraBank, IsTheSameUnderEachEnvironment)
{
    ZelFBankState* bank = nullptr;
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = TypeParam::kFixed(&bank); },
                           [&](const std::string& setting) {
                               SCOPED_TRACE(setting);
                               ASSERT_EQ(status, SrOk);
                               expect_fixed<TypeParam>(bank);
                               EXPECT_EQ(TypeParam::kFree(bank), SrOk);
                           });
}

#ifdef __i386__
TYPED_TEST(AuroraBank, RecordHoldsItsFields)
{
    const OwnedFixed<TypeParam> bank;
    const RecordFields fields = fields_of<TypeParam>(bank.get());
    EXPECT_EQ(fields.flag, 2);
    EXPECT_EQ(fields.length, 128);
    EXPECT_EQ(fields.filters, TypeParam::kFilters);
    EXPECT_EQ(fields.linear, TypeParam::kFilters);
    EXPECT_EQ(fields.mel_mul, 2595);
    EXPECT_EQ(fields.mel_div, 700);
    EXPECT_EQ(fields.ready, 1);
    EXPECT_EQ(fields.fft, nullptr);
    EXPECT_EQ(fields.spectrum, nullptr);
    if (sizeof(typename TypeParam::Weight) == 4 && !std::is_same_v<typename TypeParam::Weight, float>) {
        EXPECT_EQ(fields.weight_shift, 14);
    }
    if (TypeParam::kFilters == 25) {
        EXPECT_EQ(fields.centers[27], 64);  // the 28th, behind the ladder
    }
}

TYPED_TEST(AuroraBank, IsMadeOnAnyStack)
{
    for (int misalign : {0, 4, 8, 12}) {
        ZelFBankState* bank = nullptr;
        int32_t size = 0;
        ASSERT_EQ(call_misaligned(+TypeParam::kFixed, misalign, &bank), SrOk);
        expect_fixed<TypeParam>(bank);
        EXPECT_EQ(TypeParam::kFree(bank), SrOk);
        ASSERT_EQ(call_misaligned(+TypeParam::kFixedSize, misalign, &size), SrOk);
        std::vector<uint8_t> block(static_cast<std::size_t>(size));
        bank = reinterpret_cast<ZelFBankState*>(block.data());
        ASSERT_EQ(call_misaligned(+TypeParam::kFixedInit, misalign, bank), SrOk);
        expect_fixed<TypeParam>(bank);
    }
}
#endif

TEST(AuroraLowBank, AreasAreOneAndTheFirstFiltersAreSingleBins)
{
    const OwnedFixed<Low_32f> bank;
    std::vector<float> x = uniform_vector(65, 0.0F, 1000.0F), y(25);
    EXPECT_EQ(zelsEvalFBank_32f(x.data(), y.data(), bank.get()), SrOk);
    EXPECT_EQ(y[0], x[0]);
    EXPECT_EQ(y[1], x[1]);
    EXPECT_EQ(y[2], x[2]);
    std::fill(x.begin(), x.end(), 1.0F);
    EXPECT_EQ(zelsEvalFBank_32f(x.data(), y.data(), bank.get()), SrOk);
    for (float area : y) EXPECT_NEAR(area, 1, 3e-7);
}

// 58 to 64: sixths of 1 to 6 over their sum of 3.5.
TEST(AuroraLowBank, WeightsByValue)
{
    const OwnedFixed<Low_32f> single;
    const OwnedFixed<Low_16s> integer;
    const std::vector<float> last = coefficients_of<Low_32f>(single.get(), 25, 7);
    const std::vector<float> last_integer = coefficients_of<Low_16s>(integer.get(), 25, 7);
    int64_t sum = 0;
    for (int k = 1; k <= 6; ++k) sum += (k << 14) / 6;
    for (int k = 0; k <= 6; ++k) {
        EXPECT_FLOAT_EQ(last[at(k)], static_cast<float>(k) / 21);
        EXPECT_EQ(last_integer[at(k)],
                  static_cast<float>((static_cast<int64_t>((k << 14) / 6) << 14) / sum) / 16384);
    }
    // Filter 7 of centres 4, 5, 7: 1 at 5, a half at 6, over 1.5; its left row begins with a bin that does not
    // count.
    const std::vector<float> seventh = coefficients_of<Low_32f>(single.get(), 6, 4);
    EXPECT_FLOAT_EQ(seventh[0], 0);
    EXPECT_FLOAT_EQ(seventh[1], 1 / 1.5F);
    EXPECT_FLOAT_EQ(seventh[2], 0.5F / 1.5F);
    EXPECT_FLOAT_EQ(seventh[3], 0);
}

// Filter 26 is found, without weights, and nothing was divided by their sum.
TEST(AuroraLowBank, TheRowBehindTheLastFilterIsZero)
{
    const OwnedFixed<Low_32f> single;
    const OwnedFixed<Low_16s> integer;
    EXPECT_TRUE(same_values({0.0F}, coefficients_of<Low_32f>(single.get(), 26, 1)));
    EXPECT_TRUE(same_values({0.0F}, coefficients_of<Low_16s>(integer.get(), 26, 1)));
    float none = 0;
    EXPECT_EQ(zelsFBankGetCoeffs_32f(single.get(), 27, &none), SrErrSize);
}

TEST(AuroraHighBank, WeightsByValue)
{
    const OwnedFixed<High_32f> single;
    const OwnedFixed<High_16s> integer;
    const std::vector<float> first = coefficients_of<High_32f>(single.get(), 1, 19);
    const std::vector<float> first_integer = coefficients_of<High_16s>(integer.get(), 1, 19);
    for (int k = 0; k <= 7; ++k) {
        EXPECT_EQ(first[at(k)], static_cast<float>(k) / 7.0F);
        EXPECT_EQ(first_integer[at(k)], static_cast<float>((k << 14) / 7) / 16384);
    }
    for (int k = 1; k <= 11; ++k) {
        EXPECT_FLOAT_EQ(first[at(k + 7)], k == 11 ? 0 : 1 - static_cast<float>(k) / 11);
        EXPECT_EQ(first_integer[at(k + 7)], k == 11 ? 0 : static_cast<float>(16384 - (k << 14) / 11) / 16384);
    }
}

TEST(AuroraBank16s, EvaluatesLikeAnyBank)
{
    const OwnedFixed<Low_16s> low;
    const OwnedFixed<High_16s> high;
    const std::vector<int16_t> x = uniform_vector<int16_t>(65, -32768, 32767);
    std::vector<int32_t> y(25), z(3), expected_low, expected_high;
    EXPECT_EQ(zelsEvalFBank_16s32s_Sfs(x.data(), y.data(), low.get(), -3), SrOk);
    EXPECT_EQ(zelsEvalFBank_16s32s_Sfs(x.data(), z.data(), high.get(), -3), SrOk);
    for (int64_t sum : reference::exact_sums(reference::aurora_low_bank<int32_t>(), x))
        expected_low.push_back(static_cast<int32_t>(sum >> 11));
    for (int64_t sum : reference::exact_sums(reference::aurora_high_bank<int32_t>(), x))
        expected_high.push_back(static_cast<int32_t>(sum >> 11));
    EXPECT_EQ(y, expected_low);
    EXPECT_EQ(z, expected_high);
}

}  // namespace
}  // namespace zelsr::test
