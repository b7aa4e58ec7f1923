#include "denoise/chain_16s.h"

#include <algorithm>
#include <cmath>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr int kSumFraction = 10;  // bits of a sum behind the point
constexpr std::int64_t kOne = 32768;

AlignedInts zero_ints(std::size_t count)
{
    AlignedInts made = aligned_array<std::int32_t>(static_cast<std::int64_t>(count));
    require(zelsSet_32s(0, made.get(), static_cast<std::int32_t>(count)), "zelsSet_32s");
    return made;
}

// The library's fixed-point Wiener gain is that of the step at or below a ratio (steps of 1/16 below 4, of 4 below
// 64, of 64 below 512): half a step more makes it that of the nearest one.
std::int32_t to_nearest_step(std::int64_t prior)
{
    prior += prior < 4 * kOne ? kOne / 32 : prior < 64 * kOne ? 2 * kOne : prior < 512 * kOne ? 32 * kOne : 0;
    return static_cast<std::int32_t>(prior);
}

// Products of a gain in Q31, rounded.
std::int64_t times_gain(std::int64_t value, std::int32_t gain)
{
    return (value * gain + (std::int64_t{1} << 30)) >> 31;
}

}  // namespace

FixedChain::FixedChain(const Settings& settings)
    : shape_(settings.rate),
      rule_(settings.rule),
      bins_(static_cast<std::size_t>(shape_.bins())),
      prior_memory_(std::lround(kPriorMemory * 32768)),
      floor_(static_cast<std::int32_t>(std::min(std::round(settings.floor * 2147483648.0), 2147483647.0))),
      noise_(shape_),
      inverse_(shape_.order, RealTransform::Factor::InverseDivides)
{
    constexpr std::int32_t kInverseDivides = 2;
    ZelFFTState_R_16s32s* forward = nullptr;
    require(zelsFFTInitAlloc_R_16s32s(&forward, shape_.order, kInverseDivides, 0), "zelsFFTInitAlloc_R_16s32s");
    forward_.reset(forward);
    std::int32_t record = 0, setup = 0, bytes = 0;
    require(zelsFFTGetSize_R_16s32s(shape_.order, kInverseDivides, 0, &record, &setup, &bytes),
            "zelsFFTGetSize_R_16s32s");
    work_ = aligned_array<std::uint8_t>(bytes);

    const auto length = static_cast<std::size_t>(shape_.length()),
               shift = static_cast<std::size_t>(shape_.shift());
    analysis_ = aligned_shorts(shape_.length());
    frame_ = aligned_shorts(shape_.length());
    for (AlignedInts* array : {&synthesis_, &time_}) *array = zero_ints(length);
    spectrum_ = zero_ints(length + 2);
    for (AlignedInts* array : {&magnitude_, &snr_, &prior_, &gain_}) *array = zero_ints(bins_);
    floats_ = aligned_floats(shape_.length());
    squares_.resize(bins_);
    kept_.resize(bins_);

    const std::vector<double> window = root_hann(shape_.length());
    for (std::size_t i = 0; i < length; ++i)
        analysis_[i] = static_cast<std::int16_t>(std::min(std::lround(window[i] * 32768), 32767L));
    // Divided by what the products of both windows add up to, rounding of the first one included.
    for (std::size_t i = 0; i < length; ++i) {
        double sum = 0;
        for (std::size_t k = i % shift; k < length; k += shift) sum += analysis_[k] * window[k];
        synthesis_[i] = static_cast<std::int32_t>(std::lround(window[i] / sum * 32768 * (1 << 30)));
    }
}

void FixedChain::learn(const std::int16_t* frame)
{
    analyse(frame);
    noise_.update(squares_, 2 * exponent_);
}

void FixedChain::clean(const std::int16_t* frame, std::int32_t* sums)
{
    analyse(frame);
    for (std::size_t k = 0; k < bins_; ++k) snr_[k] = noise_.snr(k, squares_[k], 2 * exponent_);
    find_gain();
    apply_gain();
    for (std::size_t i = 0; i < static_cast<std::size_t>(shape_.length()); ++i)
        sums[i] +=
            static_cast<std::int32_t>((std::int64_t{time_[i]} * synthesis_[i] + (std::int64_t{1} << 29)) >> 30);
    noise_.update(squares_, 2 * exponent_);
}

void FixedChain::finish(const std::int32_t* sums, std::span<std::int16_t> samples)
{
    require(zelsConvert_32s16s_Sfs(sums, samples.data(), static_cast<std::int32_t>(samples.size()), kSumFraction),
            "zelsConvert_32s16s_Sfs");
}

void FixedChain::analyse(const std::int16_t* frame)
{
    // The frame fills 15 bits: what the window's products lose is as far below it as can be.
    int largest = 0, shift = 0;
    for (std::int32_t i = 0; i < shape_.length(); ++i) largest = std::max(largest, std::abs(int{frame[i]}));
    while (shift < 14 && (largest << (shift + 1)) <= 32767) ++shift;
    require(zelsMul_16s_Sfs(frame, analysis_.get(), frame_.get(), shape_.length(), 15 - shift), "zelsMul_16s_Sfs");
    // A bin is below 2^(order + 15) and has 30 bits in the result.
    const int scale = shape_.order - 15;
    require(zelsFFTFwd_RToCCS_16s32s_Sfs(frame_.get(), spectrum_.get(), forward_.get(), scale, work_.get()),
            "zelsFFTFwd_RToCCS_16s32s_Sfs");
    exponent_ = scale - shift;
    const auto* bins = reinterpret_cast<const Zel32sc*>(spectrum_.get());
    require(zelsMagnitude_32sc_Sfs(bins, magnitude_.get(), static_cast<std::int32_t>(bins_), 0),
            "zelsMagnitude_32sc_Sfs");
    for (std::size_t k = 0; k < bins_; ++k) squares_[k] = std::int64_t{magnitude_[k]} * magnitude_[k];
}

// As FloatChain::find_gain(), with ratios in Q15 and gains in Q31.
void FixedChain::find_gain()
{
    constexpr auto kLeast = static_cast<std::int64_t>(kLeastPrior * kOne);
    const auto bins = static_cast<std::int32_t>(bins_);
    const auto wiener = [&] {
        require(zelsFilterUpdateWiener_32s(prior_.get(), gain_.get(), bins), "zelsFilterUpdateWiener_32s");
    };
    const auto keep = [&] {
        for (std::size_t k = 0; k < bins_; ++k) kept_[k] = times_gain(times_gain(snr_[k], gain_[k]), gain_[k]);
    };

    const std::span<const std::int32_t> snr(snr_.get(), bins_);
    for (std::size_t k = 0; k < bins_; ++k) {
        const std::int64_t now = std::max(mean_with_neighbours(snr, k) - kOne, std::int64_t{0});
        prior_[k] = to_nearest_step(std::max(now + (((kept_[k] - now) * prior_memory_) >> 15), kLeast));
    }
    wiener();
    keep();
    for (std::size_t k = 0; k < bins_; ++k) prior_[k] = to_nearest_step(std::max(kept_[k], kLeast));
    wiener();
    if (rule_ == GainRule::EphraimMalah)
        require(zelsFilterUpdateEMNS_32s(gain_.get(), snr_.get(), gain_.get(), bins), "zelsFilterUpdateEMNS_32s");
    keep();
    for (std::size_t k = 0; k < bins_; ++k) gain_[k] = std::max(gain_[k], floor_);
}

void FixedChain::apply_gain()
{
    for (std::size_t k = 0; k < bins_; ++k)
        for (std::size_t part : {2 * k, 2 * k + 1})
            spectrum_[part] = static_cast<std::int32_t>(times_gain(spectrum_[part], gain_[k]));
    // The library transforms back in single precision: into Pack format, which leaves out the two imaginary parts
    // that are zero, and from there to integers again.
    const std::int32_t length = shape_.length();
    spectrum_[1] = spectrum_[0];
    require(zelsConvert_32s32f_Sfs(spectrum_.get() + 1, floats_.get(), length, -exponent_),
            "zelsConvert_32s32f_Sfs");
    inverse_.from_pack(floats_.get(), floats_.get());
    require(zelsConvert_32f32s_Sfs(floats_.get(), time_.get(), length, 1, -kSumFraction),
            "zelsConvert_32f32s_Sfs");
}

SeenFrame FixedChain::seen() const
{
    constexpr double kFullScale = 32768.0 * 32768.0;
    SeenFrame seen;
    for (std::size_t k = 0; k < bins_; ++k) {
        const double power = std::ldexp(static_cast<double>(squares_[k]), 2 * exponent_);
        seen.power.push_back(static_cast<float>(power / kFullScale));
        seen.noise.push_back(static_cast<float>(noise_.noise(k) / kFullScale));
        seen.gain.push_back(static_cast<float>(gain_[k] / 2147483648.0));
    }
    return seen;
}

}  // namespace zelsr::examples
