#include "aurora/voice_activity.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <type_traits>

#include "aurora/shape.h"
#include "common/failure.h"

namespace zelsr::examples {

bool EnergyDetector::next(double sum_of_squares)
{
    constexpr int kStart = 10, kUndecided = 4, kShortRun = 4, kHangover = 15;
    constexpr double kFloor = 80, kNearMean = 20, kLoud = 15;
    // Sixteen units are a doubling.
    const double level = 0.5 + 16 * std::log2((64 + sum_of_squares) / 64);
    ++parts_;
    if (level - mean_ < kNearMean || parts_ < kStart) {
        const double gain = parts_ < kStart ? 1.0 / parts_ : level < mean_ ? 0.03 : 0.01;
        mean_ = std::max(kFloor, mean_ + gain * (level - mean_));
    }
    if (parts_ <= kUndecided) return false;
    if (level - mean_ > kLoud) {
        ++run_;
        return true;
    }
    if (run_ > kShortRun) hangover_ = kHangover;
    run_ = 0;
    if (hangover_ == 0) return false;
    --hangover_;
    return true;
}

std::string_view mark_name(Mark mark)
{
    return mark == Mark::Speech ? "speech" : mark == Mark::Pause ? "pause" : "undecided";
}

namespace {

Mark mark_of(std::uint32_t decision)
{
    return decision == SrVadSpeech ? Mark::Speech : decision == SrVadNoSpeech ? Mark::Pause : Mark::Undecided;
}

constexpr int kSamples = 64;

std::uint32_t decide(const float* bands, const float* gains, int votes, ZelVadState_Aurora* state)
{
    std::uint32_t decision = SrVadUnknown;
    require(zelsVADDecision_Aurora_32f(bands, gains, votes, &decision, state), "zelsVADDecision_Aurora_32f");
    return decision;
}

// The squares of the bands' sum, times 211, are kept in 32 bits: for 25 gains up to 1 that leaves 7 bits of
// fraction.
std::uint32_t decide(const std::int16_t* bands, const std::int16_t* gains, int votes, ZelVadState_Aurora* state)
{
    std::array<std::int16_t, kSamples> few_gains{};
    std::array<std::int16_t, kGainBands> few_bands{};
    const auto shorten = [](std::int16_t gain) {
        return static_cast<std::int16_t>(std::clamp((gain + 64) >> 7, 0, 127));
    };
    std::transform(gains, gains + kSamples, few_gains.begin(), shorten);
    std::transform(bands, bands + kGainBands, few_bands.begin(), shorten);
    std::uint32_t decision = SrVadUnknown;
    require(zelsVADDecision_Aurora_16s(few_bands.data(), few_gains.data(), votes, &decision, state),
            "zelsVADDecision_Aurora_16s");
    return decision;
}

}  // namespace

template <class T>
VoiceActivity<T>::VoiceActivity()
{
    std::int32_t bytes = 0;
    if constexpr (std::is_same_v<T, float>)
        require(zelsVADGetBufSize_Aurora_32f(&bytes), "zelsVADGetBufSize_Aurora_32f");
    else
        require(zelsVADGetBufSize_Aurora_16s(&bytes), "zelsVADGetBufSize_Aurora_16s");
    record_ = aligned_array<std::uint8_t>(bytes);
    restart();
}

template <class T>
void VoiceActivity<T>::add(std::span<const T> gains, std::span<const T> bands, int votes, std::vector<Mark>& marks)
{
    const std::uint32_t decision = decide(bands.data(), gains.data(), votes, state());
    if (++frames_ > kDelay) marks.push_back(mark_of(decision));
}

template <class T>
void VoiceActivity<T>::finish(std::vector<Mark>& marks)
{
    for (int call = 0; call < kDelay && call < frames_; ++call) {
        std::uint32_t decision = SrVadUnknown;
        if constexpr (std::is_same_v<T, float>)
            require(zelsVADFlush_Aurora_32f(&decision, state()), "zelsVADFlush_Aurora_32f");
        else
            require(zelsVADFlush_Aurora_16s(&decision, state()), "zelsVADFlush_Aurora_16s");
        marks.push_back(mark_of(decision));
    }
    restart();
}

template <class T>
void VoiceActivity<T>::restart()
{
    frames_ = 0;
    if constexpr (std::is_same_v<T, float>)
        require(zelsVADInit_Aurora_32f(state()), "zelsVADInit_Aurora_32f");
    else
        require(zelsVADInit_Aurora_16s(state()), "zelsVADInit_Aurora_16s");
}

template class VoiceActivity<float>;
template class VoiceActivity<std::int16_t>;

}  // namespace zelsr::examples
