// The transform of real samples in single precision: its record, and the memory that it works in.
#pragma once

#include <zelsr.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "common/aligned.h"
#include "common/failure.h"

namespace zelsr::examples {

class RealTransform {
  public:
    enum class Factor : std::int32_t { InverseDivides = 2, None = 8 };

    // Of 2^order samples.
    explicit RealTransform(int order, Factor factor = Factor::None)
    {
        constexpr std::int32_t kNoHint = 0;
        ZelFFTState_R_32f* made = nullptr;
        require(zelsFFTInitAlloc_R_32f(&made, order, static_cast<std::int32_t>(factor), kNoHint),
                "zelsFFTInitAlloc_R_32f");
        record_.reset(made);
        std::int32_t bytes = 0;
        require(zelsFFTGetBufSize_R_32f(made, &bytes), "zelsFFTGetBufSize_R_32f");
        work_ = aligned_array<std::uint8_t>(std::max(1, bytes));
    }

    // R[0], R[n/2], R[1], I[1], ...
    void to_perm(const float* samples, float* spectrum)
    {
        require(zelsFFTFwd_RToPerm_32f(samples, spectrum, record_.get(), work_.get()), "zelsFFTFwd_RToPerm_32f");
    }
    // R[0], R[1], I[1], ..., R[n/2]
    void to_pack(const float* samples, float* spectrum)
    {
        require(zelsFFTFwd_RToPack_32f(samples, spectrum, record_.get(), work_.get()), "zelsFFTFwd_RToPack_32f");
    }
    void from_pack(const float* spectrum, float* samples)
    {
        require(zelsFFTInv_PackToR_32f(spectrum, samples, record_.get(), work_.get()), "zelsFFTInv_PackToR_32f");
    }
    // Pairs of real and imaginary parts, from 0 to half the rate.
    void to_complex(const float* samples, float* spectrum)
    {
        require(zelsFFTFwd_RToCCS_32f(samples, spectrum, record_.get(), work_.get()), "zelsFFTFwd_RToCCS_32f");
    }
    // Magnitudes of the first `bins` of these pairs, which are left in spectrum.
    void to_magnitudes(const float* samples, float* spectrum, float* magnitudes, std::int32_t bins)
    {
        to_complex(samples, spectrum);
        require(zelsMagnitude_32fc(reinterpret_cast<const Zel32fc*>(spectrum), magnitudes, bins),
                "zelsMagnitude_32fc");
    }
    // And their squares.
    void to_power(const float* samples, float* spectrum, float* power, std::int32_t bins)
    {
        to_magnitudes(samples, spectrum, power, bins);
        require(zelsMul_32f(power, power, power, bins), "zelsMul_32f");
    }

  private:
    struct Release {
        void operator()(ZelFFTState_R_32f* record) const { zelsFFTFree_R_32f(record); }
    };
    std::unique_ptr<ZelFFTState_R_32f, Release> record_;
    AlignedArray<std::uint8_t> work_;
};

}  // namespace zelsr::examples
