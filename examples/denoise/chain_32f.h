// Suppression of noise in single precision: one channel, frame by frame.
#pragma once

#include <zelsr.h>

#include <span>

#include "common/aligned.h"
#include "common/real_transform.h"
#include "denoise/seen.h"
#include "denoise/settings.h"

namespace zelsr::examples {

class FloatChain {
  public:
    using Sample = float;
    using Sum = float;

    explicit FloatChain(const Settings& settings);

    // Shows a frame to the noise estimate alone; the first frame of all has to come here.
    void learn(const float* frame);
    // Adds the cleaned frame to sums.
    void clean(const float* frame, float* sums);
    // Sums to which all frames have been added, as samples.
    static void finish(const float* sums, std::span<float> samples);

    // What the last frame held.
    SeenFrame seen() const;

  private:
    void analyse(const float* frame);
    void find_snr();
    void find_gain();
    void apply_gain();
    void track_noise();
    void mean_with_neighbours(const float* src, float* dst);
    ZelMcraState_32f* estimator() { return reinterpret_cast<ZelMcraState_32f*>(estimator_.get()); }

    FrameShape shape_;
    GainRule rule_;
    float prior_memory_, rise_, fall_;
    bool first_ = true;
    std::size_t bins_;
    RealTransform fft_;
    AlignedArray<std::uint8_t> estimator_;
    AlignedFloats analysis_, synthesis_;         // windows
    AlignedFloats frame_, spectrum_, products_;  // in Pack format; products: squares, then gains
    AlignedFloats power_, smoothed_, estimate_, noise_, snr_, prior_, gain_, scratch_;
    AlignedFloats kept_;  // gain^2 * snr of the frame before
    AlignedFloats zeros_, ones_, least_prior_, least_snr_, most_snr_, least_gain_;
};

}  // namespace zelsr::examples
