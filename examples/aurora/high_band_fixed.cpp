#include <algorithm>
#include <cmath>

#include "aurora/high_band.h"
#include "aurora/scaling.h"

namespace zelsr::examples {
namespace {

constexpr int kSpectrumDown = 7;  // of 200 samples that fill 15 bits: their power fits 31
constexpr int kPowerBits = 12;    // of bands, in 64 bits

std::int32_t logarithm_of_power_of_two(int exponent)
{
    return static_cast<std::int32_t>(std::lround(std::ldexp(exponent * std::numbers::ln2, kLogBits)));
}

}  // namespace

FixedHighBand::FixedHighBand() : transform_(kOrder)
{
    ZelFBankState* bank = nullptr;
    const SrStatus status = zelsMelFBankInitAllocHigh_Aurora_16s(&bank);
    bank_.reset(bank);
    require(status, "zelsMelFBankInitAllocHigh_Aurora_16s");
    for (int n = 0; n < kFrame; ++n) window_[static_cast<std::size_t>(n)] = to_q15(hann(n, kFrame));
}

// Times 2^(up - kSpectrumDown); the value at half the rate stands in the second place as well.
void FixedHighBand::to_spectrum(const std::int16_t* frame, int up)
{
    require(zelsMul_16s_Sfs(frame, window_.data(), windowed_.data(), kFrame, 15 - up), "zelsMul_16s_Sfs");
    transform_.to_complex(windowed_.data(), spectrum_.data(), kSpectrumDown);
}

std::array<std::int32_t, kHighBands> FixedHighBand::logarithms(const std::int16_t* noisy,
                                                               const std::int16_t* cleaned,
                                                               const std::int16_t* high, bool speech)
{
    const auto smooth = [this](std::array<std::int32_t, kBins>& power) {
        spectrum_[1] = spectrum_[kPoints];
        require(zelsSmoothedPowerSpectrumAurora_32s_Sfs(spectrum_.data(), power.data(), kPoints, 0),
                "zelsSmoothedPowerSpectrumAurora_32s_Sfs");
    };
    // One scale for what is compared.
    const int low_up = std::min(free_bits(noisy), free_bits(cleaned)), high_up = free_bits(high);
    to_spectrum(noisy, low_up);
    smooth(noisy_power_);
    to_spectrum(cleaned, low_up);
    for (std::size_t b = 0; b < kPowerBins; ++b)
        cleaned_power_[b] = spectrum_[2 * b] * spectrum_[2 * b] + spectrum_[2 * b + 1] * spectrum_[2 * b + 1];
    to_spectrum(high, high_up);
    smooth(high_power_);

    const int narrower = std::max(0, width_of(*std::max_element(high_power_.begin(), high_power_.end())) - 15);
    require(zelsConvert_32s16s_Sfs(high_power_.data(), narrow_power_.data(), kBins, narrower),
            "zelsConvert_32s16s_Sfs");
    std::array<std::int32_t, kHighBands> bands{}, coded{};
    require(zelsEvalFBank_16s32s_Sfs(narrow_power_.data(), bands.data(), bank_.get(), 0),
            "zelsEvalFBank_16s32s_Sfs");
    const int exponent = 2 * (high_up - kSpectrumDown) - narrower;  // of the bands

    constexpr int kCodingDown = -7;  // for results with 7 bits of fraction
    require(zelsHighBandCoding_Aurora_32s_Sfs(bands.data(), noisy_power_.data(), cleaned_power_.data(),
                                              coded.data(), kCodingDown),
            "zelsHighBandCoding_Aurora_32s_Sfs");

    if (!speech) ++learned_;
    static const auto raise = static_cast<std::int32_t>(std::lround(std::ldexp(like_mel_bands(), kLogBits)));
    for (std::size_t k = 0; k < kHighBands; ++k) {
        const int up = kPowerBits - exponent;
        const std::int64_t power = up >= 0 ? std::int64_t{bands[k]} << up : bands[k] >> -up;
        if (!speech) noise_[k] += (power - noise_[k]) / std::min(kLearnsOver, learned_);
        const std::int64_t subtracted =
            std::max({std::int64_t{1} << kPowerBits, power - noise_[k] * 3 / 2, power / 10});
        // 0.7 of one, 0.3 of the other, in Q10.
        const std::int64_t code = coded[k] * (1 << (kLogBits - 7)) - logarithm_of_power_of_two(exponent);
        const std::int64_t mean = (717 * code + 307 * std::int64_t{fixed_logarithm(subtracted, kPowerBits)}) >> 10;
        coded[k] = static_cast<std::int32_t>(std::max<std::int64_t>(0, mean + raise));
    }
    return coded;
}

}  // namespace zelsr::examples
