#include <algorithm>
#include <cmath>

#include "aurora/scaling.h"
#include "aurora/wiener.h"

namespace zelsr::examples {
namespace {

constexpr int kGainBits = 14, kCosineBits = 18, kTapBits = 14;

// To nearest. Squares of amplitudes have 56 bits at most, of which the double loses three.
void root(const std::array<std::int64_t, kBins>& power, std::array<std::int32_t, kBins>& amplitude)
{
    std::array<double, kBins> values;
    std::copy(power.begin(), power.end(), values.begin());
    require(zelsSqrt_64f_I(values.data(), kBins), "zelsSqrt_64f_I");
    std::transform(values.begin(), values.end(), amplitude.begin(),
                   [](double value) { return static_cast<std::int32_t>(value + 0.5); });
}

}  // namespace

FixedWiener::FixedWiener(WienerStage stage) : stage_(stage), bank_(gain_bank(std::int16_t())), transform_(kOrder)
{
    for (int n = 0; n < kFrame; ++n) window_[static_cast<std::size_t>(n)] = to_q15(hann(n, kFrame));
    for (int n = 0; n < kTaps; ++n) tap_window_[static_cast<std::size_t>(n)] = to_q15(hann(n, kTaps));
    const auto cosines = inverse_mel_cosines();
    for (std::size_t n = 0; n < kTableLength; ++n)
        std::transform(cosines[n].begin(), cosines[n].end(), &cosines_[n * kGainBands], [](double value) {
            return static_cast<std::int16_t>(std::lround(std::ldexp(value, kCosineBits)));
        });
}

void FixedWiener::filter(const std::int16_t* frame, bool speech, std::int16_t* out)
{
    ++frames_;
    take_spectrum(frame);
    learn_noise(speech);
    design();
    make_taps();
    require(zelsResidualFilter_Aurora_16s_Sfs(frame + kFilteredFrom - kFilterReach, out, taps_.data(), kTapBits),
            "zelsResidualFilter_Aurora_16s_Sfs");
}

void FixedWiener::take_spectrum(const std::int16_t* frame)
{
    // The windowed frame fills 15 bits, whatever its level; the transform takes that back.
    const int up = free_bits(frame);
    require(zelsMul_16s_Sfs(frame, window_.data(), windowed_.data(), kFrame, kWindowBits - up), "zelsMul_16s_Sfs");
    transform_.to_complex(windowed_.data(), spectrum_.data(), up - kAmplitudeBits);

    // R[0], R[n/2], R[1], I[1], ... The square of R[n/2] would have 32 bits there.
    const std::int64_t highest = spectrum_[kPoints];
    spectrum_[1] = 0;
    last_power_ = power_;
    require(zelsSmoothedPowerSpectrumAurora_32s64s_Sfs(spectrum_.data(), power_.data(), kPoints, 0),
            "zelsSmoothedPowerSpectrumAurora_32s64s_Sfs");
    power_[kBins - 1] = highest * highest;
    if (frames_ == 1) last_power_ = power_;

    for (std::size_t i = 0; i < kBins; ++i) mean_power_[i] = (power_[i] + last_power_[i]) >> 1;
    root(power_, amplitude_);
    root(mean_power_, mean_amplitude_);
}

void FixedWiener::learn_noise(bool speech)
{
    if (stage_ == WienerStage::First) {
        if (speech) return;
        const int share = std::min(frames_, kLearnedFrames);
        for (std::size_t i = 0; i < kBins; ++i) {
            noise_mean_[i] += ((std::int64_t{mean_amplitude_[i]} << kMeanBits) - noise_mean_[i]) / share;
            noise_[i] = static_cast<std::int32_t>(std::max<std::int64_t>(1, shifted(noise_mean_[i], kMeanBits)));
        }
        return;
    }
    if (frames_ <= kFirstFrames)
        for (std::size_t i = 0; i < kBins; ++i) noise_power_[i] += (mean_power_[i] - noise_power_[i]) / frames_;
    else
        track_noise();
    for (std::int64_t& power : noise_power_) power = std::max<std::int64_t>(1, power);
    root(noise_power_, noise_);
}

// The update looks at the ratio of both powers alone, so that each bin has a scale of its own: the noise gets 24
// bits, and power beyond 30 bits counts no more.
void FixedWiener::track_noise()
{
    constexpr int kNoiseWidth = 24;
    constexpr std::int64_t kMost = 1 << 30;
    std::array<std::int32_t, kBins> power, noise;
    std::array<int, kBins> down;
    for (std::size_t i = 0; i < kBins; ++i) {
        down[i] = width_of(noise_power_[i]) - kNoiseWidth;
        noise[i] = static_cast<std::int32_t>(shifted(noise_power_[i], down[i]));
        // What is far above the noise would pass 64 bits on its way up.
        const bool far_above = width_of(mean_power_[i]) - down[i] > 31;
        power[i] =
            static_cast<std::int32_t>(far_above ? kMost : std::min(kMost, shifted(mean_power_[i], down[i])));
    }
    require(zelsNoiseSpectrumUpdate_Aurora_32s_Sfs(power.data(), noise.data(), noise.data(), kBins, 0),
            "zelsNoiseSpectrumUpdate_Aurora_32s_Sfs");
    for (std::size_t i = 0; i < kBins; ++i) noise_power_[i] = shifted(noise[i], -down[i]);
}

void FixedWiener::design()
{
    // 16384 / noise, as an integer, and the noise itself are equally exact for 128; the gain depends on ratios
    // alone.
    constexpr int kNoiseWidth = 8;
    std::array<std::int16_t, kBins> power, noise, denoised;
    for (std::size_t i = 0; i < kBins; ++i) {
        const int down = width_of(noise_[i]) - kNoiseWidth;
        const auto narrow = [down](std::int32_t value) {
            return static_cast<std::int16_t>(std::min<std::int64_t>(32767, shifted(value, down)));
        };
        power[i] = narrow(mean_amplitude_[i]);
        noise[i] = narrow(noise_[i]);
        denoised[i] = narrow(denoised_[i]);
    }
    require(zelsWienerFilterDesign_Aurora_16s(power.data(), noise.data(), denoised.data(), gains_.data(), kBins),
            "zelsWienerFilterDesign_Aurora_16s");
    for (std::size_t i = 0; i < kBins; ++i)
        denoised_[i] = static_cast<std::int32_t>((std::int64_t{gains_[i]} * amplitude_[i]) >> kGainBits);
    require(zelsEvalFBank_16s_Sfs(gains_.data(), bands_.data(), bank_.get(), 0), "zelsEvalFBank_16s_Sfs");
    weakened_ = bands_;
    if (stage_ == WienerStage::First) return;

    std::int64_t denoised_sum = 0, noise_sum = 0;
    for (std::size_t i = 0; i < kBins; ++i) {
        denoised_sum += denoised_[i];
        noise_sum += noise_[i];
    }
    const float part = aggression_.next(std::ldexp(static_cast<double>(denoised_sum), -kAmplitudeBits),
                                        std::ldexp(static_cast<double>(noise_sum), -kAmplitudeBits));
    constexpr std::int32_t kOne = 1 << kGainBits;
    const auto factor = static_cast<std::int32_t>(std::lround(part * kOne));
    for (std::int16_t& gain : weakened_)
        gain = static_cast<std::int16_t>(kOne - factor + ((factor * gain) >> kGainBits));
}

void FixedWiener::make_taps()
{
    std::array<std::int16_t, kTableLength> table{};
    require(zelsMatVecMul_16s_D2Sfs(cosines_.data(), kGainBands, weakened_.data(), kGainBands, table.data(),
                                    kTableLength, kCosineBits + kGainBits - kTapBits),
            "zelsMatVecMul_16s_D2Sfs");
    require(zelsTabsCalculation_Aurora_16s(table.data(), taps_.data()), "zelsTabsCalculation_Aurora_16s");
    require(zelsMul_16s_Sfs(taps_.data(), tap_window_.data(), taps_.data(), kTaps, kWindowBits),
            "zelsMul_16s_Sfs");
}

}  // namespace zelsr::examples
