// The library's records, each of which ends by its own function.
#pragma once

#include <zelsr.h>

#include <cstdint>
#include <memory>

#include "common/aligned.h"
#include "common/failure.h"
#include "common/mfcc_frame.h"

namespace zelsr::examples {

using FloatBank = std::unique_ptr<ZelFBankState, FloatBankRelease>;
using FixedBank = std::unique_ptr<ZelFBankState, FixedBankRelease>;

inline FloatBank gain_bank(float)
{
    ZelFBankState* bank = nullptr;
    const SrStatus status = zelsMelFBankInitAllocLow_Aurora_32f(&bank);
    FloatBank owner(bank);
    require(status, "zelsMelFBankInitAllocLow_Aurora_32f");
    return owner;
}

inline FixedBank gain_bank(std::int16_t)
{
    ZelFBankState* bank = nullptr;
    const SrStatus status = zelsMelFBankInitAllocLow_Aurora_16s(&bank);
    FixedBank owner(bank);
    require(status, "zelsMelFBankInitAllocLow_Aurora_16s");
    return owner;
}

// A mel bank of 32-bit integers, in memory of its owner's.
class IntegerBank {
  public:
    IntegerBank(int points, int rate, int low_hz, int high_hz, int filters, int mel_mul, int mel_div)
    {
        constexpr int kQ15 = 1 << 15;
        std::int32_t bytes = 0, order = 0;
        require(zelsMelFBankGetSize_32s(points, filters, FBankWeightsFreq, &bytes), "zelsMelFBankGetSize_32s");
        memory_ = aligned_array<std::uint8_t>(bytes);
        require(zelsMelFBankInit_32s(get(), &order, points, rate, low_hz, high_hz, filters, mel_mul * kQ15,
                                     mel_div * kQ15, FBankWeightsFreq),
                "zelsMelFBankInit_32s");
    }
    ZelFBankState_32s* get() const { return reinterpret_cast<ZelFBankState_32s*>(memory_.get()); }

  private:
    AlignedArray<std::uint8_t> memory_;
};

// The transform of 16-bit samples, into 32 bits.
class FixedTransform {
  public:
    explicit FixedTransform(int order)
    {
        constexpr std::int32_t kNoFactor = 8, kNoHint = 0;
        std::int32_t record_bytes = 0, setup_bytes = 0, work_bytes = 0;
        require(zelsFFTGetSize_R_16s32s(order, kNoFactor, kNoHint, &record_bytes, &setup_bytes, &work_bytes),
                "zelsFFTGetSize_R_16s32s");
        memory_ = aligned_array<std::uint8_t>(record_bytes);
        work_ = aligned_array<std::uint8_t>(work_bytes > 0 ? work_bytes : 1);
        const auto setup = aligned_array<std::uint8_t>(setup_bytes > 0 ? setup_bytes : 1);
        require(zelsFFTInit_R_16s32s(&record_, order, kNoFactor, kNoHint, memory_.get(), setup.get()),
                "zelsFFTInit_R_16s32s");
    }

    // Times 2^-sf.
    void to_complex(const std::int16_t* samples, std::int32_t* spectrum, int sf)
    {
        require(zelsFFTFwd_RToCCS_16s32s_Sfs(samples, spectrum, record_, sf, work_.get()),
                "zelsFFTFwd_RToCCS_16s32s_Sfs");
    }

  private:
    AlignedArray<std::uint8_t> memory_, work_;
    ZelFFTState_R_16s32s* record_ = nullptr;
};

}  // namespace zelsr::examples
