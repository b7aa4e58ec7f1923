// The two families of float-frequency banks, their records as tests handle them, and what their accessors tell.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/reference/filter_bank.h"
#include "zelsr/core/fft.h"
#include "zelsr/frontend/filter_bank.h"

namespace zelsr::test {

using reference::at;
using reference::MelArguments;
using reference::rounded_length;
using reference::rounded_order;

struct Family_32f {
    using Weight = float;
    static constexpr int32_t kBaseSize = 84, kRecordSize = 52;
    static constexpr auto kInitAlloc = zelsMelFBankInitAlloc_32f;
    static constexpr auto kGetSize = zelsMelFBankGetSize_32f;
    static constexpr auto kInit = zelsMelFBankInit_32f;
    static constexpr auto kMixed = zelsMelLinFBankInitAlloc_32f;
    static constexpr auto kEmpty = zelsEmptyFBankInitAlloc_32f;
    static constexpr auto kFree = zelsFBankFree_32f;
    static constexpr auto kGetCenters = zelsFBankGetCenters_32f;
    static constexpr auto kSetCenters = zelsFBankSetCenters_32f;
    static constexpr auto kGetCoeffs = zelsFBankGetCoeffs_32f;
    static constexpr auto kSetCoeffs = zelsFBankSetCoeffs_32f;
    static constexpr auto kFftSize = zelsFFTGetSize_R_32f;
};
struct Family_16s {
    using Weight = int32_t;
    static constexpr int32_t kBaseSize = 88, kRecordSize = 56;
    static constexpr auto kInitAlloc = zelsMelFBankInitAlloc_16s;
    static constexpr auto kGetSize = zelsMelFBankGetSize_16s;
    static constexpr auto kInit = zelsMelFBankInit_16s;
    static constexpr auto kMixed = zelsMelLinFBankInitAlloc_16s;
    static constexpr auto kEmpty = zelsEmptyFBankInitAlloc_16s;
    static constexpr auto kFree = zelsFBankFree_16s;
    static constexpr auto kGetCenters = zelsFBankGetCenters_16s;
    static constexpr auto kSetCenters = zelsFBankSetCenters_16s;
    static constexpr auto kGetCoeffs = zelsFBankGetCoeffs_16s;
    static constexpr auto kSetCoeffs = zelsFBankSetCoeffs_16s;
    static constexpr auto kFftSize = zelsFFTGetSize_R_16s32s;
};

using Families = testing::Types<Family_32f, Family_16s>;
struct FamilyNames {
    template <class Family>
    static std::string GetName(int)
    {
        return std::is_same_v<Family, Family_32f> ? "32f" : "16s";
    }
};

// A bank of the allocator's, released at the end.
template <class Family>
class OwnedBank {
  public:
    // make(bank) calls a constructor.
    template <class Make>
    explicit OwnedBank(Make make)
    {
        EXPECT_EQ(make(&bank_), SrOk);
    }
    ~OwnedBank() { EXPECT_EQ(Family::kFree(bank_), SrOk); }
    OwnedBank(const OwnedBank&) = delete;
    OwnedBank& operator=(const OwnedBank&) = delete;
    ZelFBankState* get() const { return bank_; }

  private:
    ZelFBankState* bank_ = nullptr;
};

template <class Family>
SrStatus init_alloc(ZelFBankState** bank, int32_t* order, const MelArguments& a)
{
    return Family::kInitAlloc(bank, order, a.length, a.rate, a.low, a.high, a.filters, a.mel_mul, a.mel_div,
                              a.flag);
}
template <class Family>
SrStatus mixed_init_alloc(ZelFBankState** bank, int32_t* order, const MelArguments& a)
{
    return Family::kMixed(bank, order, a.length, a.rate, a.low, a.high, a.filters, a.linear_end, a.linear,
                          a.mel_mul, a.mel_div, a.flag);
}

template <class Family>
class MelBank : public OwnedBank<Family> {
  public:
    explicit MelBank(const MelArguments& a)
        : OwnedBank<Family>([&](ZelFBankState** bank) {
              int32_t order = -1;
              const SrStatus status = init_alloc<Family>(bank, &order, a);
              EXPECT_EQ(order, rounded_order(a.length));
              return status;
          })
    {}
};
template <class Family>
class MixedBank : public OwnedBank<Family> {
  public:
    explicit MixedBank(const MelArguments& a)
        : OwnedBank<Family>([&](ZelFBankState** bank) {
              int32_t order = -1;
              const SrStatus status = mixed_init_alloc<Family>(bank, &order, a);
              EXPECT_EQ(order, rounded_order(a.length));
              return status;
          })
    {}
};
template <class Family>
class EmptyBank : public OwnedBank<Family> {
  public:
    EmptyBank(int32_t length, int32_t filters, int32_t flag = 1)
        : OwnedBank<Family>([&](ZelFBankState** bank) {
              int32_t order = -1;
              const SrStatus status = Family::kEmpty(bank, &order, length, filters, flag);
              EXPECT_EQ(order, rounded_order(length));
              return status;
          })
    {}
    EmptyBank(int32_t length, const std::vector<int32_t>& centers)
        : EmptyBank(length, static_cast<int32_t>(centers.size()) - 2)
    {
        EXPECT_EQ(Family::kSetCenters(this->get(), centers.data()), SrOk);
    }
};

template <class Family>
std::vector<int32_t> centers_of(const ZelFBankState* bank, int filters)
{
    Guarded<int32_t> centers(at(filters + 2));
    EXPECT_EQ(Family::kGetCenters(bank, centers.data()), SrOk);
    EXPECT_TRUE(centers.intact());
    return centers.values();
}

// count coefficients, as many as filter i, counted from 1, must have.
template <class Family>
std::vector<float> coefficients_of(const ZelFBankState* bank, int i, std::size_t count)
{
    Guarded<float> coefficients(count);
    EXPECT_EQ(Family::kGetCoeffs(bank, i, coefficients.data()), SrOk);
    EXPECT_TRUE(coefficients.intact()) << "filter " << i << " has not " << count << " coefficients";
    return coefficients.values();
}

template <class Family>
void expect_bank(const reference::Bank<typename Family::Weight>& expected, const ZelFBankState* bank)
{
    ASSERT_TRUE(same_values(expected.c, centers_of<Family>(bank, expected.filters())));
    for (int i = 1; i <= expected.filters(); ++i) {
        const std::vector<float> coefficients = expected.coefficients(i);
        ASSERT_TRUE(same_values(coefficients, coefficients_of<Family>(bank, i, coefficients.size())))
            << "filter " << i << ", centres " << expected.c[at(i - 1)] << ", " << expected.c[at(i)] << ", "
            << expected.c[at(i + 1)];
    }
}

#ifdef __i386__
// The record, field by field, as it lies in memory.
struct RecordFields {
    const int32_t* centers;
    const void* const* left;
    const void* const* right;
    int32_t flag, length, order, filters, linear;
    float mel_mul, mel_div;
    uint8_t ready, padding[3];
    const void *fft, *spectrum;
    int32_t weight_shift;  // not of the single-precision family
};
static_assert(sizeof(RecordFields) == 56);

template <class Family>
RecordFields fields_of(const ZelFBankState* bank)
{
    RecordFields fields{};
    std::memcpy(&fields, bank, static_cast<std::size_t>(Family::kRecordSize));
    return fields;
}
#endif

// Banks of every kind of shape; flags are put in by the tests.
inline std::vector<MelArguments> mel_shapes()
{
    return {
        {512, 16000, 64, 8000, 23, 1127, 700, 0},    {256, 8000, 64, 4000, 23, 1127, 700, 0},
        {200, 8000, 133.3F, 3400, 20, 2595, 700, 0}, {256, 8000, 1, 4000, 25, 2595, 700, 0},
        {1024, 44100, 20, 20000, 40, 1127, 700, 0},  {64, 11025, 300, 5000, 12, 1000, 1000, 0},
        {16, 8000, 1000, 4000, 3, 1127, 700, 0},     {2, 8000, 1, 4000, 1, 1127, 700, 0},
        {1, 8000, 4000, 4000, 2, 1127, 700, 0},      {33, 8000, 1e-30F, 4000, 6, 1127, 700, 0},
        {512, 16000, 1000, 1000, 5, 1127, 700, 0},   {512, 16000, 8000, 8000, 4, 1127, 700, 0},
        {512, 16000, 100, 7000, 1, 1127, 700, 0},    {128, 16000, 50, 8000, 90, 1127, 700, 0},
        {512, 2, 0.25F, 1, 10, 3, 0.125F, 0},        {2048, 48000, 0.5F, 24000, 60, 0.001F, 20, 0},
        {512, 1e9F, 1000, 5e8F, 15, 1e6F, 1e7F, 0},  {512, 16000, 64, 8000, 23, -1127, 700, 0},
    };
}

}  // namespace zelsr::test
