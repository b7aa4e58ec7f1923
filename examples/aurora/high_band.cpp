#include "aurora/high_band.h"

#include <algorithm>
#include <cmath>

namespace zelsr::examples {
namespace {

// The ideal low-pass at half the new rate under a Kaiser window: some 60 dB beyond 250 Hz from the edge.
double split_tap(int k, int taps)
{
    constexpr double kBeta = 6;
    const double t = k - (taps - 1) / 2.0, x = 2 * t / (taps - 1);
    const double pi_t = std::numbers::pi * t / 2;
    return 0.5 * std::sin(pi_t) / pi_t * std::cyl_bessel_i(0, kBeta * std::sqrt(1 - x * x)) /
           std::cyl_bessel_i(0, kBeta);
}

void set_tap(float& tap, double value) { tap = static_cast<float>(value); }
void set_tap(std::int16_t& tap, double value) { tap = static_cast<std::int16_t>(std::lround(32768 * value)); }

void split(const float* samples, float* low, float* high, int len, const float* taps, int count)
{
    require(zelsLowHighFilter_Aurora_32f(samples, low, high, len, taps, count), "zelsLowHighFilter_Aurora_32f");
}

void split(const std::int16_t* samples, std::int16_t* low, std::int16_t* high, int len, const std::int16_t* taps,
           int count)
{
    constexpr int kTapBits = 15;
    require(zelsLowHighFilter_Aurora_16s_Sfs(samples, low, high, len, taps, count, kTapBits),
            "zelsLowHighFilter_Aurora_16s_Sfs");
}

constexpr double kOversubtraction = 1.5, kLeastPart = 0.1;
constexpr double kCodedPart = 0.7;  // of the mean of both estimates

}  // namespace

template <class T>
BandSplit<T>::BandSplit() : waiting_(kBefore, T(0))
{
    for (int k = 0; k < kSplitTaps; ++k) set_tap(taps_[static_cast<std::size_t>(k)], split_tap(k, kSplitTaps));
}

template <class T>
void BandSplit<T>::add(std::span<const T> samples, std::vector<T>& low, std::vector<T>& high)
{
    // Blocks of one size: the high band's signs begin anew with each.
    constexpr std::size_t kBlock = 2 * kHop, kNeeded = kBlock + kSplitTaps - 2;
    in_ += static_cast<std::int64_t>(samples.size());
    waiting_.insert(waiting_.end(), samples.begin(), samples.end());
    std::size_t start = 0;
    for (; start + kNeeded <= waiting_.size(); start += kBlock) {
        low.resize(low.size() + kHop);
        high.resize(high.size() + kHop);
        split(&waiting_[start], &low[low.size() - kHop], &high[high.size() - kHop], kBlock, taps_.data(),
              kSplitTaps);
        out_ += kHop;
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(start));
}

template <class T>
void BandSplit<T>::finish(std::vector<T>& low, std::vector<T>& high)
{
    const std::int64_t length = in_ / 2;
    const std::array<T, kHop> silence{};
    while (out_ < length) add(silence, low, high);
    const auto over = static_cast<std::size_t>(out_ - length);
    low.resize(low.size() - over);
    high.resize(high.size() - over);
    waiting_.assign(kBefore, T(0));
    in_ = out_ = 0;
}

template class BandSplit<float>;
template class BandSplit<std::int16_t>;

FloatHighBand::FloatHighBand() : transform_(kOrder)
{
    ZelFBankState* bank = nullptr;
    const SrStatus status = zelsMelFBankInitAllocHigh_Aurora_32f(&bank);
    bank_.reset(bank);
    require(status, "zelsMelFBankInitAllocHigh_Aurora_32f");
    for (int n = 0; n < kFrame; ++n) window_[static_cast<std::size_t>(n)] = static_cast<float>(hann(n, kFrame));
}

void FloatHighBand::smoothed_power(const float* frame, float* power)
{
    require(zelsMul_32f(frame, window_.data(), windowed_.data(), kFrame), "zelsMul_32f");
    transform_.to_perm(windowed_.data(), spectrum_.data());
    require(zelsSmoothedPowerSpectrumAurora_32f(spectrum_.data(), power, kPoints),
            "zelsSmoothedPowerSpectrumAurora_32f");
}

std::array<float, kHighBands> FloatHighBand::logarithms(const float* noisy, const float* cleaned,
                                                        const float* high, bool speech)
{
    smoothed_power(noisy, noisy_power_.data());
    smoothed_power(high, high_power_.data());
    require(zelsMul_32f(cleaned, window_.data(), windowed_.data(), kFrame), "zelsMul_32f");
    transform_.to_power(windowed_.data(), spectrum_.data(), cleaned_power_.data(), kPowerBins);

    std::array<float, kHighBands> bands{}, subtracted{}, coded{};
    require(zelsEvalFBank_32f(high_power_.data(), bands.data(), bank_.get()), "zelsEvalFBank_32f");
    if (!speech) {
        const auto gain = static_cast<float>(1.0 / std::min(kLearnsOver, ++learned_));
        for (std::size_t k = 0; k < kHighBands; ++k) noise_[k] += gain * (bands[k] - noise_[k]);
    }
    for (std::size_t k = 0; k < kHighBands; ++k)
        subtracted[k] = std::max({1.0f, bands[k] - static_cast<float>(kOversubtraction) * noise_[k],
                                  static_cast<float>(kLeastPart) * bands[k]});
    require(zelsHighBandCoding_Aurora_32f(bands.data(), noisy_power_.data(), cleaned_power_.data(), coded.data()),
            "zelsHighBandCoding_Aurora_32f");
    require(zelsLn_32f_I(subtracted.data(), kHighBands), "zelsLn_32f_I");
    for (std::size_t k = 0; k < kHighBands; ++k)
        coded[k] = std::max(
            0.0f, static_cast<float>(kCodedPart * coded[k] + (1 - kCodedPart) * subtracted[k] + like_mel_bands()));
    return coded;
}

}  // namespace zelsr::examples
