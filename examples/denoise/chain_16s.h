// Suppression of noise in fixed point: one channel, frame by frame.
#pragma once

#include <zelsr.h>

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "common/aligned.h"
#include "common/real_transform.h"
#include "denoise/seen.h"
#include "denoise/settings.h"

namespace zelsr::examples {

using AlignedInts = AlignedArray<std::int32_t>;

// A quarter, a half and a quarter.
template <class T>
std::int64_t mean_with_neighbours(std::span<const T> values, std::size_t k)
{
    const std::size_t last = values.size() - 1;
    return (2 * std::int64_t{values[k]} + values[k > 0 ? k - 1 : 0] + values[k < last ? k + 1 : last] + 2) >> 2;
}

// The noise estimate in 32-bit integers. It carries state from frame to frame, so that its scale cannot follow
// each of them; when the noise has grown or fallen out of the range that the integers serve well, the estimator
// starts again from its own estimate under another scale.
class FixedNoise {
  public:
    explicit FixedNoise(const FrameShape& shape);

    // Squares of the bins' magnitudes, which are powers times 2^-exponent.
    void update(std::span<const std::int64_t> squares, int exponent);

    // Power over noise in Q15, from kLeastSnr to kMostSnr.
    std::int32_t snr(std::size_t bin, std::int64_t square, int exponent) const;
    // In units of power.
    double noise(std::size_t bin) const;

  private:
    void start();
    void follow(int exponent);
    ZelMcraState_32s* estimator() { return reinterpret_cast<ZelMcraState_32s*>(estimator_.get()); }

    FrameShape shape_;
    int least_scale_, most_scale_;
    int scale_ = 0;               // an integer stands for as many powers as 2^scale_
    std::int64_t rises_, falls_;  // what is kept of a distance, Q15
    bool first_ = true;
    int patience_, outside_ = 0;  // frames
    AlignedArray<std::uint8_t> estimator_;
    AlignedInts input_, estimate_;
    std::vector<std::int64_t> powers_, noise_;  // noise_: with kFraction bits of fraction
};

class FixedChain {
  public:
    using Sample = std::int16_t;
    using Sum = std::int32_t;

    explicit FixedChain(const Settings& settings);

    void learn(const std::int16_t* frame);
    void clean(const std::int16_t* frame, std::int32_t* sums);
    static void finish(const std::int32_t* sums, std::span<std::int16_t> samples);

    SeenFrame seen() const;

  private:
    struct FreeForward {
        void operator()(ZelFFTState_R_16s32s* state) const { zelsFFTFree_R_16s32s(state); }
    };

    void analyse(const std::int16_t* frame);
    void find_gain();
    void apply_gain();

    FrameShape shape_;
    GainRule rule_;
    std::size_t bins_;
    std::int64_t prior_memory_;  // Q15
    std::int32_t floor_;         // Q31
    FixedNoise noise_;
    std::unique_ptr<ZelFFTState_R_16s32s, FreeForward> forward_;
    RealTransform inverse_;
    AlignedArray<std::uint8_t> work_;
    AlignedShorts analysis_, frame_;  // the window in Q15
    AlignedInts synthesis_;           // the window in Q30
    AlignedInts spectrum_, magnitude_, snr_, prior_, gain_, time_;
    AlignedFloats floats_;
    int exponent_ = 0;  // a bin is an element of spectrum_ times 2^exponent_, in 16-bit units
    std::vector<std::int64_t> squares_, kept_;  // kept_: gain^2 * snr of the frame before, Q15
};

}  // namespace zelsr::examples
