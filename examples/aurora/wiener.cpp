#include "aurora/wiener.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace zelsr::examples {
namespace {

// A noise's amplitude is at least this, so that digital silence has a filter, too.
constexpr float kLeastNoise = 4.54e-5f;  // e^-10

template <std::size_t n>
void root(const std::array<float, n>& power, std::array<float, n>& amplitude)
{
    for (std::size_t i = 0; i < n; ++i) amplitude[i] = std::sqrt(power[i]);
}

}  // namespace

float Aggression::next(double denoised, double noise)
{
    constexpr int kStart = 10;  // frames in which the lowest ratio is a mean
    ++frames_;
    denoised_ = {denoised_[1], denoised_[2], denoised};
    noise_ = {noise_[1], noise_[2], noise};
    const double ratio = denoised_[0] * denoised_[1] * denoised_[2] / (noise_[0] * noise_[1] * noise_[2]);
    // In the first two frames the product is 0 by 0.
    const double decibels = ratio > 1e-4 ? 20.0 / 3 * std::log10(ratio) : -80.0 / 3;
    if (decibels - low_ratio_ < 10 || frames_ < kStart) {
        const double keep = frames_ < kStart ? 1 - 1.0 / frames_ : decibels < low_ratio_ ? 0.95 : 0.99;
        low_ratio_ = keep * low_ratio_ + (1 - keep) * decibels;
    }
    // Without any level there is nothing to decide on.
    if (denoised > 100) {
        if (decibels < low_ratio_ + 3.5)
            part_ = std::min(0.8, part_ + 0.15);
        else
            part_ = std::max(0.1, part_ - 0.3);
    }
    return static_cast<float>(part_);
}

std::array<std::array<double, kGainBands>, kTableLength> inverse_mel_cosines()
{
    const FloatBank bank = gain_bank(float());
    std::array<std::int32_t, kGainBands + 2> centres{};
    require(zelsFBankGetCenters_32f(bank.get(), centres.data()), "zelsFBankGetCenters_32f");
    // The frequency of a band, in cycles a sample, is the centre of gravity of its weights; bins are 1/128 apart.
    std::array<double, kGainBands> frequency{};
    for (int k = 0; k < kGainBands; ++k) {
        const int first = centres[k], last = centres[k + 2];
        std::vector<float> weights(static_cast<std::size_t>(last - first + 1));
        require(zelsFBankGetCoeffs_32f(bank.get(), k + 1, weights.data()), "zelsFBankGetCoeffs_32f");
        double sum = 0, moment = 0;
        for (int b = first; b <= last; ++b) {
            const double weight = weights[static_cast<std::size_t>(b - first)];
            sum += weight;
            moment += weight * b;
        }
        frequency[static_cast<std::size_t>(k)] = moment / sum / (2 * (kBins - 1));
    }
    frequency.front() = 0;
    frequency.back() = 0.5;

    std::array<std::array<double, kGainBands>, kTableLength> cosines{};
    for (std::size_t n = 0; n < kTableLength; ++n)
        for (std::size_t k = 0; k < kGainBands; ++k) {
            const double width =
                frequency[std::min<std::size_t>(k + 1, kGainBands - 1)] - frequency[k > 0 ? k - 1 : 0];
            cosines[n][k] = width * std::cos(2 * std::numbers::pi * static_cast<double>(n) * frequency[k]);
        }
    return cosines;
}

FloatWiener::FloatWiener(WienerStage stage) : stage_(stage), bank_(gain_bank(float())), transform_(kOrder)
{
    for (int n = 0; n < kFrame; ++n) window_[static_cast<std::size_t>(n)] = static_cast<float>(hann(n, kFrame));
    for (int n = 0; n < kTaps; ++n) tap_window_[static_cast<std::size_t>(n)] = static_cast<float>(hann(n, kTaps));
    least_.fill(kLeastNoise);
    least_power_.fill(kLeastNoise * kLeastNoise);
    const auto cosines = inverse_mel_cosines();
    for (std::size_t n = 0; n < kTableLength; ++n)
        std::transform(cosines[n].begin(), cosines[n].end(), &cosines_[n * kGainBands],
                       [](double value) { return static_cast<float>(value); });
}

void FloatWiener::filter(const float* frame, bool speech, float* out)
{
    ++frames_;
    take_spectrum(frame);
    learn_noise(speech);
    design();
    make_taps();
    require(zelsResidualFilter_Aurora_32f(frame + kFilteredFrom - kFilterReach, out, taps_.data()),
            "zelsResidualFilter_Aurora_32f");
}

void FloatWiener::take_spectrum(const float* frame)
{
    // What lies behind the frame stays zero.
    require(zelsMul_32f(frame, window_.data(), windowed_.data(), kFrame), "zelsMul_32f");
    transform_.to_perm(windowed_.data(), spectrum_.data());
    last_power_ = power_;
    require(zelsSmoothedPowerSpectrumAurora_32f(spectrum_.data(), power_.data(), kPoints),
            "zelsSmoothedPowerSpectrumAurora_32f");
    if (frames_ == 1) last_power_ = power_;

    mean_power_ = power_;
    require(zelsAdd_32f_I(last_power_.data(), mean_power_.data(), kBins), "zelsAdd_32f_I");
    require(zelsMulC_32f_I(0.5f, mean_power_.data(), kBins), "zelsMulC_32f_I");
    root(power_, amplitude_);
    root(mean_power_, mean_amplitude_);
}

void FloatWiener::learn_noise(bool speech)
{
    if (stage_ == WienerStage::First) {
        if (speech) return;
        // A mean of all frames at first, then of about the last hundred.
        const auto gain = static_cast<float>(1.0 / std::min(frames_, kLearnedFrames));
        require(zelsMulC_32f(mean_amplitude_.data(), gain, scratch_.data(), kBins), "zelsMulC_32f");
        require(zelsMulC_32f_I(1 - gain, noise_.data(), kBins), "zelsMulC_32f_I");
        require(zelsAdd_32f_I(scratch_.data(), noise_.data(), kBins), "zelsAdd_32f_I");
        require(zelsMaxEvery_32f_I(least_.data(), noise_.data(), kBins), "zelsMaxEvery_32f_I");
        return;
    }
    if (frames_ <= kFirstFrames) {
        const auto gain = static_cast<float>(1.0 / frames_);
        require(zelsMulC_32f(mean_power_.data(), gain, scratch_.data(), kBins), "zelsMulC_32f");
        require(zelsMulC_32f_I(1 - gain, noise_power_.data(), kBins), "zelsMulC_32f_I");
        require(zelsAdd_32f_I(scratch_.data(), noise_power_.data(), kBins), "zelsAdd_32f_I");
    } else {
        require(zelsNoiseSpectrumUpdate_Aurora_32f(mean_power_.data(), noise_power_.data(), noise_power_.data(),
                                                   kBins),
                "zelsNoiseSpectrumUpdate_Aurora_32f");
    }
    require(zelsMaxEvery_32f_I(least_power_.data(), noise_power_.data(), kBins), "zelsMaxEvery_32f_I");
    root(noise_power_, noise_);
}

void FloatWiener::design()
{
    // The ratios are those of amplitudes: so is the gain's floor of -22 dB.
    require(zelsWienerFilterDesign_Aurora_32f(mean_amplitude_.data(), noise_.data(), denoised_.data(),
                                              gains_.data(), kBins),
            "zelsWienerFilterDesign_Aurora_32f");
    require(zelsMul_32f(gains_.data(), amplitude_.data(), denoised_.data(), kBins), "zelsMul_32f");
    require(zelsEvalFBank_32f(gains_.data(), bands_.data(), bank_.get()), "zelsEvalFBank_32f");
    weakened_ = bands_;
    if (stage_ == WienerStage::First) return;

    constexpr std::int32_t kAccurate = 2;
    float denoised = 0, noise = 0;
    require(zelsSum_32f(denoised_.data(), kBins, &denoised, kAccurate), "zelsSum_32f");
    require(zelsSum_32f(noise_.data(), kBins, &noise, kAccurate), "zelsSum_32f");
    const float part = aggression_.next(denoised, noise);
    require(zelsMulC_32f_I(part, weakened_.data(), kGainBands), "zelsMulC_32f_I");
    require(zelsAddC_32f(weakened_.data(), 1 - part, weakened_.data(), kGainBands), "zelsAddC_32f");
}

void FloatWiener::make_taps()
{
    std::array<float, kTableLength> table{};
    require(zelsMatVecMul_32f_D2(cosines_.data(), kGainBands, weakened_.data(), kGainBands, table.data(),
                                 kTableLength),
            "zelsMatVecMul_32f_D2");
    require(zelsTabsCalculation_Aurora_32f(table.data(), taps_.data()), "zelsTabsCalculation_Aurora_32f");
    require(zelsMul_32f(taps_.data(), tap_window_.data(), taps_.data(), kTaps), "zelsMul_32f");
}

}  // namespace zelsr::examples
