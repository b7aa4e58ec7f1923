#include "aurora/analysis.h"

#include <algorithm>
#include <cmath>

namespace zelsr::examples {
namespace {

constexpr float kEmphasis = 0.9f;

// With it the cosine transform of c1 to c12 is orthogonal; c0 is the plain sum.
float dct_scale(int bands) { return static_cast<float>(std::sqrt(2.0 / bands)); }

}  // namespace

std::array<float, kCepstra> reference_cepstrum()
{
    // Of the plain transform of 23 bands.
    std::array<float, kCepstra> plain = {-6.618909f, 0.198269f,  -0.740308f, 0.055132f, -0.227086f, 0.144280f,
                                         -0.112451f, -0.146940f, -0.327466f, 0.134571f, 0.027884f,  -0.114905f};
    for (float& value : plain) value *= dct_scale(kMelBands);
    return plain;
}

FloatAnalysis::FloatAnalysis(int bands) : transform_(kOrder), reference_(reference_cepstrum())
{
    std::int32_t order = 0;
    ZelFBankState* bank = nullptr;
    const SrStatus status = zelsMelFBankInitAlloc_32f(&bank, &order, kPoints, kLowRate, kLowHz, kHighHz, kMelBands,
                                                      kMelMul, kMelDiv, FBankWeightsFreq);
    bank_.reset(bank);
    require(status, "zelsMelFBankInitAlloc_32f");

    constexpr int kNoLifter = 1;
    ZelDCTLifterState_32f* dct = nullptr;
    const SrStatus made = zelsDCTLifterInitAlloc_C0_32f(&dct, bands, kCepstra, kNoLifter, dct_scale(bands), 1);
    dct_.reset(dct);
    require(made, "zelsDCTLifterInitAlloc_C0_32f");

    for (int n = 0; n < kFrame; ++n) window_[static_cast<std::size_t>(n)] = static_cast<float>(hamming(n, kFrame));
    least_.fill(1);
}

void FloatAnalysis::analyse(const float* frame, std::span<const float> high, float* row)
{
    require(zelsWaveProcessing_Aurora_32f(frame, weighted_.data()), "zelsWaveProcessing_Aurora_32f");
    float* windowed = windowed_.data();
    // The first sample stands for the one before it.
    windowed[0] = weighted_[0] * (1 - kEmphasis);
    require(zelsMulC_32f(weighted_.data(), -kEmphasis, windowed + 1, kFrame - 1), "zelsMulC_32f");
    require(zelsAdd_32f_I(&weighted_[1], windowed + 1, kFrame - 1), "zelsAdd_32f_I");
    require(zelsMul_32f(windowed, window_.data(), windowed, kFrame), "zelsMul_32f");

    transform_.to_power(windowed, spectrum_.data(), power_.data(), kPowerBins);
    require(zelsEvalFBank_32f(power_.data(), logarithms_.data(), bank_.get()), "zelsEvalFBank_32f");
    require(zelsMaxEvery_32f_I(least_.data(), logarithms_.data(), kMelBands), "zelsMaxEvery_32f_I");
    require(zelsLn_32f_I(logarithms_.data(), kMelBands), "zelsLn_32f_I");
    std::copy(high.begin(), high.end(), &logarithms_[kMelBands]);
    require(zelsDCTLifter_32f(logarithms_.data(), row, dct_.get()), "zelsDCTLifter_32f");

    float energy = 0;
    require(zelsDotProd_32f(frame, frame, kFrame, &energy), "zelsDotProd_32f");
    row[kCepstra + 1] = std::max(1.0f, energy);
    require(zelsLn_32f_I(&row[kCepstra + 1], 1), "zelsLn_32f_I");
    require(zelsBlindEqualization_Aurora_32f(reference_.data(), row, bias_.data(), kCepstra, row[kCepstra + 1]),
            "zelsBlindEqualization_Aurora_32f");
}

}  // namespace zelsr::examples
