// The fixed-point noise estimate of chain_16s.h.
#include <algorithm>
#include <cmath>
#include <limits>

#include "common/failure.h"
#include "denoise/chain_16s.h"

namespace zelsr::examples {
namespace {

constexpr int kFraction = 15;
constexpr std::int64_t kMostInteger = std::numeric_limits<std::int32_t>::max();

// The largest bin of the noise is kept from 2^14 to 2^25: bins 40 dB below it still count some units, and power 18
// dB above it fits.
constexpr std::int64_t kQuiet = std::int64_t{1} << 14, kLoud = std::int64_t{1} << 25;
constexpr int kWantedBit = 20;

// For so long the noise has to be out of that range: it may still be on its way.
constexpr double kPatienceSeconds = 0.25;

// value * 2^-bits, rounded down and limited to what 63 bits hold.
std::int64_t scaled(std::int64_t value, int bits)
{
    if (bits >= 0) return bits < 63 ? value >> bits : 0;
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    return -bits >= 63 || value > (most >> -bits) ? (value == 0 ? 0 : most) : value << -bits;
}

int top_bit(std::int64_t value)
{
    int bit = 0;
    while (value >>= 1) ++bit;
    return bit;
}

}  // namespace

FixedNoise::FixedNoise(const FrameShape& shape)
    : shape_(shape),
      // A sine of full scale has a square of some 2^(2 order + 27): nothing saturates under the largest scale.
      // Under the smallest one, the rounding of samples to 16 bits still counts some units.
      least_scale_(2 * shape.order - 17),
      most_scale_(2 * shape.order - 2),
      scale_(least_scale_),
      rises_(std::lround(shape.per_shift(kNoiseRises) * 32768)),
      falls_(std::lround(shape.per_shift(kNoiseFalls) * 32768)),
      patience_(static_cast<int>(kPatienceSeconds * shape.rate / shape.shift())),
      powers_(static_cast<std::size_t>(shape.bins())),
      noise_(powers_.size())
{
    std::int32_t bytes = 0;
    require(zelsGetSizeMCRA_32s(shape.length(), &bytes), "zelsGetSizeMCRA_32s");
    estimator_ = aligned_array<std::uint8_t>(bytes);
    input_ = aligned_array<std::int32_t>(shape.bins());
    estimate_ = aligned_array<std::int32_t>(shape.bins());
    start();
}

void FixedNoise::start()
{
    const EstimatorRate seen = estimator_rate(shape_);
    require(zelsAltInitMCRA_32s(seen.rate, shape_.length(), seen.shift, estimator()), "zelsAltInitMCRA_32s");
}

void FixedNoise::update(std::span<const std::int64_t> squares, int exponent)
{
    const std::size_t last = squares.size() - 1;
    for (std::size_t k = 0; k <= last; ++k) powers_[k] = mean_with_neighbours(squares, k);
    if (first_) {
        const std::int64_t most = *std::max_element(powers_.begin(), powers_.end());
        if (most > 0) scale_ = std::clamp(top_bit(most) + exponent - kWantedBit, least_scale_, most_scale_);
    }
    for (std::size_t k = 0; k <= last; ++k)
        input_[k] = static_cast<std::int32_t>(std::min(scaled(powers_[k], scale_ - exponent), kMostInteger));
    require(zelsUpdateNoisePSDMCRA_32s_I(input_.get(), estimator(), estimate_.get()),
            "zelsUpdateNoisePSDMCRA_32s_I");
    for (std::size_t k = 0; k <= last; ++k) {
        const std::int64_t now = std::int64_t{estimate_[k]} << kFraction;
        noise_[k] = first_ ? now : now + (((noise_[k] - now) * (now > noise_[k] ? rises_ : falls_)) >> 15);
    }
    first_ = false;
    follow(exponent);
}

void FixedNoise::follow(int exponent)
{
    const std::int64_t most = *std::max_element(estimate_.get(), estimate_.get() + noise_.size());
    outside_ = most < kQuiet || most > kLoud ? outside_ + 1 : 0;
    if (outside_ < patience_) return;
    outside_ = 0;
    // Where the estimate is at the integers' limit, this frame says more.
    std::int64_t largest = 0;
    for (std::size_t k = 0; k < noise_.size(); ++k) {
        const std::int64_t held = estimate_[k];
        powers_[k] = held > kMostInteger / 2 ? std::max(held, scaled(powers_[k], scale_ - exponent)) : held;
        largest = std::max(largest, powers_[k]);
    }
    const int scale = std::clamp(scale_ + top_bit(largest) - kWantedBit, least_scale_, most_scale_);
    if (scale == scale_) return;
    for (std::size_t k = 0; k < noise_.size(); ++k) {
        // The track of noise that has just fallen may be far above the new scale.
        noise_[k] = std::min(scaled(noise_[k], scale - scale_), kMostInteger << kFraction);
        input_[k] = static_cast<std::int32_t>(std::min(scaled(powers_[k], scale - scale_), kMostInteger));
    }
    scale_ = scale;
    start();
    require(zelsUpdateNoisePSDMCRA_32s_I(input_.get(), estimator(), estimate_.get()),
            "zelsUpdateNoisePSDMCRA_32s_I");
}

std::int32_t FixedNoise::snr(std::size_t bin, std::int64_t square, int exponent) const
{
    constexpr auto kLeast = static_cast<std::int64_t>(kLeastSnr * 32768);
    constexpr auto kMost = static_cast<std::int64_t>(kMostSnr * 32768);
    const std::int64_t ratio =
        scaled(square, scale_ - exponent - kFraction - 15) / std::max<std::int64_t>(noise_[bin], 1);
    return static_cast<std::int32_t>(std::clamp(ratio, kLeast, kMost));
}

double FixedNoise::noise(std::size_t bin) const
{
    return std::ldexp(static_cast<double>(noise_[bin]), scale_ - kFraction);
}

}  // namespace zelsr::examples
