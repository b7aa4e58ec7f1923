#include "denoise/chain_32f.h"

#include <algorithm>
#include <vector>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr float kLeastNoise = 1e-30F;  // in the place of no noise at all

AlignedFloats filled(std::size_t count, float value)
{
    AlignedFloats made = aligned_floats(static_cast<std::int64_t>(count));
    require(zelsSet_32f(value, made.get(), static_cast<std::int32_t>(count)), "zelsSet_32f");
    return made;
}

}  // namespace

FloatChain::FloatChain(const Settings& settings)
    : shape_(settings.rate),
      rule_(settings.rule),
      prior_memory_(static_cast<float>(kPriorMemory)),
      rise_(static_cast<float>(1 - shape_.per_shift(kNoiseRises))),
      fall_(static_cast<float>(1 - shape_.per_shift(kNoiseFalls))),
      bins_(static_cast<std::size_t>(shape_.bins())),
      fft_(shape_.order, RealTransform::Factor::InverseDivides)
{
    std::int32_t bytes = 0;
    require(zelsGetSizeMCRA_32f(shape_.length(), &bytes), "zelsGetSizeMCRA_32f");
    estimator_ = aligned_array<std::uint8_t>(bytes);
    const EstimatorRate seen = estimator_rate(shape_);
    require(zelsAltInitMCRA_32f(seen.rate, shape_.length(), seen.shift, estimator()), "zelsAltInitMCRA_32f");

    const auto length = static_cast<std::size_t>(shape_.length());
    for (AlignedFloats* array : {&analysis_, &synthesis_, &frame_, &spectrum_, &products_})
        *array = filled(length, 0);
    for (AlignedFloats* array :
         {&power_, &smoothed_, &estimate_, &noise_, &snr_, &prior_, &gain_, &scratch_, &kept_, &zeros_})
        *array = filled(bins_, 0);
    const std::vector<double> window = root_hann(shape_.length());
    for (std::size_t i = 0; i < length; ++i) {
        analysis_[i] = static_cast<float>(window[i]);
        synthesis_[i] = static_cast<float>(window[i] * 2 / FrameShape::kOverlap);
    }
    ones_ = filled(bins_, 1);
    least_prior_ = filled(bins_, static_cast<float>(kLeastPrior));
    least_snr_ = filled(bins_, static_cast<float>(kLeastSnr));
    most_snr_ = filled(bins_, static_cast<float>(kMostSnr));
    least_gain_ = filled(bins_, static_cast<float>(settings.floor));
}

void FloatChain::learn(const float* frame)
{
    analyse(frame);
    track_noise();
}

void FloatChain::clean(const float* frame, float* sums)
{
    analyse(frame);
    find_snr();
    find_gain();
    apply_gain();
    require(zelsAdd_32f_I(frame_.get(), sums, shape_.length()), "zelsAdd_32f_I");
    track_noise();
}

void FloatChain::finish(const float* sums, std::span<float> samples)
{
    require(zelsCopy_32f(sums, samples.data(), static_cast<std::int32_t>(samples.size())), "zelsCopy_32f");
}

void FloatChain::analyse(const float* frame)
{
    const std::int32_t length = shape_.length();
    require(zelsMul_32f(frame, analysis_.get(), frame_.get(), length), "zelsMul_32f");
    fft_.to_pack(frame_.get(), spectrum_.get());
    // The product with its own conjugate is the power, which lies where the real parts do.
    require(zelsCopy_32f(spectrum_.get(), products_.get(), length), "zelsCopy_32f");
    require(zelsMulPackConj_32f_I(products_.get(), products_.get(), length), "zelsMulPackConj_32f_I");
    power_[0] = products_[0];
    for (std::size_t k = 1; k < bins_; ++k) power_[k] = products_[2 * k - 1];
}

void FloatChain::find_snr()
{
    const auto bins = static_cast<std::int32_t>(bins_);
    require(zelsAddC_32f(noise_.get(), kLeastNoise, scratch_.get(), bins), "zelsAddC_32f");
    require(zelsDiv_32f(scratch_.get(), power_.get(), snr_.get(), bins), "zelsDiv_32f");
    require(zelsMinEvery_32f_I(most_snr_.get(), snr_.get(), bins), "zelsMinEvery_32f_I");
    require(zelsMaxEvery_32f_I(least_snr_.get(), snr_.get(), bins), "zelsMaxEvery_32f_I");
}

void FloatChain::find_gain()
{
    const auto bins = static_cast<std::int32_t>(bins_);
    // gain_ = Wiener gain of prior_; kept_ = gain_^2 * snr.
    const auto wiener = [&] {
        require(zelsMaxEvery_32f_I(least_prior_.get(), prior_.get(), bins), "zelsMaxEvery_32f_I");
        require(zelsFilterUpdateWiener_32f(prior_.get(), gain_.get(), bins), "zelsFilterUpdateWiener_32f");
    };
    const auto keep = [&] {
        require(zelsMul_32f(gain_.get(), gain_.get(), kept_.get(), bins), "zelsMul_32f");
        require(zelsMul_32f(kept_.get(), snr_.get(), kept_.get(), bins), "zelsMul_32f");
    };

    mean_with_neighbours(snr_.get(), smoothed_.get());
    require(zelsAddC_32f(smoothed_.get(), -1, prior_.get(), bins), "zelsAddC_32f");
    require(zelsMaxEvery_32f_I(zeros_.get(), prior_.get(), bins), "zelsMaxEvery_32f_I");
    require(zelsMulC_32f_I(1 - prior_memory_, prior_.get(), bins), "zelsMulC_32f_I");
    require(zelsMulC_32f_I(prior_memory_, kept_.get(), bins), "zelsMulC_32f_I");
    require(zelsAdd_32f_I(kept_.get(), prior_.get(), bins), "zelsAdd_32f_I");
    wiener();
    keep();

    require(zelsCopy_32f(kept_.get(), prior_.get(), bins), "zelsCopy_32f");
    wiener();
    if (rule_ == GainRule::EphraimMalah) {
        require(zelsFilterUpdateEMNS_32f(gain_.get(), snr_.get(), gain_.get(), bins), "zelsFilterUpdateEMNS_32f");
        require(zelsMinEvery_32f_I(ones_.get(), gain_.get(), bins), "zelsMinEvery_32f_I");
    }
    keep();
    // The floor is for the ear: the noise that stays sounds as it did before.
    require(zelsMaxEvery_32f_I(least_gain_.get(), gain_.get(), bins), "zelsMaxEvery_32f_I");
}

void FloatChain::apply_gain()
{
    const std::int32_t length = shape_.length();
    products_[0] = gain_[0];
    for (std::size_t k = 1; k + 1 < bins_; ++k) products_[2 * k - 1] = products_[2 * k] = gain_[k];
    products_[static_cast<std::size_t>(length) - 1] = gain_[bins_ - 1];
    require(zelsMul_32f(products_.get(), spectrum_.get(), spectrum_.get(), length), "zelsMul_32f");
    fft_.from_pack(spectrum_.get(), frame_.get());
    require(zelsMul_32f(frame_.get(), synthesis_.get(), frame_.get(), length), "zelsMul_32f");
}

// A quarter, a half and a quarter.
void FloatChain::mean_with_neighbours(const float* src, float* dst)
{
    const auto bins = static_cast<std::int32_t>(bins_);
    require(zelsMulC_32f(src, 0.25F, scratch_.get(), bins), "zelsMulC_32f");
    require(zelsMulC_32f(src, 0.5F, dst, bins), "zelsMulC_32f");
    require(zelsAdd_32f_I(scratch_.get(), dst + 1, bins - 1), "zelsAdd_32f_I");
    require(zelsAdd_32f_I(scratch_.get() + 1, dst, bins - 1), "zelsAdd_32f_I");
    dst[0] += scratch_[0];
    dst[bins - 1] += scratch_[bins_ - 1];
}

void FloatChain::track_noise()
{
    const auto bins = static_cast<std::int32_t>(bins_);
    // A steadier spectrum has a higher minimum, so that noise is not taken for speech.
    mean_with_neighbours(power_.get(), smoothed_.get());
    require(zelsUpdateNoisePSDMCRA_32f_I(smoothed_.get(), estimator(), estimate_.get()),
            "zelsUpdateNoisePSDMCRA_32f_I");

    if (first_) require(zelsCopy_32f(estimate_.get(), noise_.get(), bins), "zelsCopy_32f");
    first_ = false;
    // noise += rise * max(estimate - noise, 0) + fall * min(estimate - noise, 0)
    require(zelsCopy_32f(estimate_.get(), scratch_.get(), bins), "zelsCopy_32f");
    require(zelsSub_32f_I(noise_.get(), scratch_.get(), bins), "zelsSub_32f_I");
    require(zelsMulC_32f(scratch_.get(), rise_, smoothed_.get(), bins), "zelsMulC_32f");
    require(zelsMaxEvery_32f_I(zeros_.get(), smoothed_.get(), bins), "zelsMaxEvery_32f_I");
    require(zelsAdd_32f_I(smoothed_.get(), noise_.get(), bins), "zelsAdd_32f_I");
    require(zelsMulC_32f(scratch_.get(), fall_, smoothed_.get(), bins), "zelsMulC_32f");
    require(zelsMinEvery_32f_I(zeros_.get(), smoothed_.get(), bins), "zelsMinEvery_32f_I");
    require(zelsAdd_32f_I(smoothed_.get(), noise_.get(), bins), "zelsAdd_32f_I");
}

SeenFrame FloatChain::seen() const
{
    const auto copy = [&](const AlignedFloats& values) {
        return std::vector<float>(values.get(), values.get() + bins_);
    };
    return {copy(power_), copy(noise_), copy(gain_)};
}

}  // namespace zelsr::examples
