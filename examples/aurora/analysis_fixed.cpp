#include <algorithm>
#include <cmath>

#include "aurora/analysis.h"
#include "aurora/scaling.h"

namespace zelsr::examples {
namespace {

constexpr std::int32_t kEmphasis = 29491;  // 0.9 in Q15

}  // namespace

std::int32_t fixed_logarithm(std::int64_t value, int bits)
{
    const int down = std::max(0, width_of(value) - 31);
    auto logarithm = static_cast<std::int32_t>(value >> down);
    require(zelsLn_32s_ISfs(&logarithm, 1, -kLogBits), "zelsLn_32s_ISfs");
    return logarithm +
           static_cast<std::int32_t>(std::lround(std::ldexp((down - bits) * std::numbers::ln2, kLogBits)));
}

FixedAnalysis::FixedAnalysis(int bands)
    : bank_(kPoints, kLowRate, kLowHz, kHighHz, kMelBands, kMelMul, kMelDiv), transform_(kOrder)
{
    constexpr int kNoLifter = 1;
    ZelDCTLifterState_16s* dct = nullptr;
    const auto scale = static_cast<float>(std::sqrt(2.0 / bands));
    const SrStatus made = zelsDCTLifterInitAlloc_C0_16s(&dct, bands, kCepstra, kNoLifter, scale,
                                                        std::ldexp(1.0f, kLevelBits - kRowBits));
    dct_.reset(dct);
    require(made, "zelsDCTLifterInitAlloc_C0_16s");

    for (int n = 0; n < kFrame; ++n) window_[static_cast<std::size_t>(n)] = to_q15(hamming(n, kFrame));
    const auto reference = reference_cepstrum();
    constexpr std::int32_t kNearest = 1;
    require(zelsConvert_32f16s_Sfs(reference.data(), reference_.data(), kCepstra, kNearest, -kRowBits),
            "zelsConvert_32f16s_Sfs");
}

void FixedAnalysis::analyse(const std::int16_t* frame, std::span<const std::int32_t> high, std::int16_t* row)
{
    require(zelsWaveProcessing_Aurora_16s(frame, weighted_.data()), "zelsWaveProcessing_Aurora_16s");
    const int exponent = take_bands();

    // The bands are power times 2^exponent, of which 1 counts at least.
    const std::int32_t floor = 1 << std::max(0, exponent);
    const auto taken_back =
        static_cast<std::int32_t>(std::lround(std::ldexp(exponent * std::numbers::ln2, kLogBits)));
    for (int i = 0; i < kMelBands; ++i) logarithms_[i] = std::max(logarithms_[i], floor);
    require(zelsLn_32s_ISfs(logarithms_.data(), kMelBands, -kLogBits), "zelsLn_32s_ISfs");
    for (int i = 0; i < kMelBands; ++i) logarithms_[i] = std::max(0, logarithms_[i] - taken_back);
    std::copy(high.begin(), high.end(), &logarithms_[kMelBands]);
    require(zelsDCTLifter_32s16s_Sfs(logarithms_.data(), row, dct_.get(), kLogBits - kRowBits),
            "zelsDCTLifter_32s16s_Sfs");

    std::int64_t energy = 0;
    require(zelsDotProd_16s64s(frame, frame, kFrame, &energy), "zelsDotProd_16s64s");
    const std::int32_t level = fixed_logarithm(std::max<std::int64_t>(1, energy), 0);
    row[kCepstra + 1] = static_cast<std::int16_t>(level >> (kLogBits - kLevelBits));
    constexpr int kEqualiserBits = 6;
    require(zelsBlindEqualization_Aurora_16s(reference_.data(), row, bias_.data(), kCepstra,
                                             level >> (kLogBits - kEqualiserBits)),
            "zelsBlindEqualization_Aurora_16s");
}

// Fills windowed_ with the frame, raised towards high frequencies, times a power of two; returns its exponent.
int FixedAnalysis::emphasise()
{
    std::uint32_t peak = 0;
    for (std::size_t n = 0; n < kFrame; ++n) {
        // Times 2^15, exact. The first sample stands for the one before it.
        emphasised_[n] = weighted_[n] * 32768 - weighted_[n > 0 ? n - 1 : 0] * kEmphasis;
        peak = std::max(peak, static_cast<std::uint32_t>(std::abs(emphasised_[n])));
    }
    const int down = std::max(0, width_of(peak) - 15);
    require(zelsConvert_32s16s_Sfs(emphasised_.data(), windowed_.data(), kFrame, down), "zelsConvert_32s16s_Sfs");
    require(zelsMul_16s_Sfs(windowed_.data(), window_.data(), windowed_.data(), kFrame, 15), "zelsMul_16s_Sfs");
    return 15 - down;
}

// Leaves the mel bands' power times a power of two, whose exponent is returned, where logarithms will be.
int FixedAnalysis::take_bands()
{
    const int up = emphasise();
    transform_.to_complex(windowed_.data(), spectrum_.data(), 0);
    std::int64_t peak = 0;
    for (std::size_t b = 0; b < kPowerBins; ++b) {
        const std::int64_t real = spectrum_[2 * b], imaginary = spectrum_[2 * b + 1];
        power_[b] = real * real + imaginary * imaginary;
        peak = std::max(peak, power_[b]);
    }
    const int down = std::max(0, width_of(peak) - 31);
    std::transform(power_.begin(), power_.end(), narrow_power_.begin(),
                   [down](std::int64_t power) { return static_cast<std::int32_t>(power >> down); });
    // Weights of the widest filter have a sum below 16: 4 bits less fit 32.
    constexpr int kFilterBits = 4;
    require(zelsEvalFBank_32s_Sfs(narrow_power_.data(), logarithms_.data(), bank_.get(), kFilterBits),
            "zelsEvalFBank_32s_Sfs");
    return 2 * up - down - kFilterBits;
}

}  // namespace zelsr::examples
