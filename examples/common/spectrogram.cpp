#include "common/spectrogram.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <memory>
#include <numbers>

#include "common/aligned.h"
#include "common/failure.h"
#include "zelsr/core/fft.h"
#include "zelsr/core/vector.h"

namespace zelsr::examples {
namespace {

constexpr double kFrameSeconds = 0.020, kHopSeconds = 0.005;
constexpr float kSilence = 1e-9f;  // keeps digital silence finite, far below what is shown of any other sound

struct ReleaseFFT {
    void operator()(ZelFFTState_R_32f* state) const { zelsFFTFree_R_32f(state); }
};

// The magnitudes of one frame's spectrum, from 0 to half the rate.
class FrameSpectrum {
  public:
    explicit FrameSpectrum(std::int32_t length)
        : length_(length),
          order_(std::bit_width(static_cast<std::uint32_t>(length - 1))),
          window_(aligned_floats(length)),
          frame_(aligned_floats(points())),
          spectrum_(aligned_floats(points() + 2))
    {
        constexpr std::int32_t kNoFactor = 8, kNoHint = 0;
        ZelFFTState_R_32f* state = nullptr;
        require(zelsFFTInitAlloc_R_32f(&state, order_, kNoFactor, kNoHint), "zelsFFTInitAlloc_R_32f");
        fft_.reset(state);
        for (std::int32_t n = 0; n < length; ++n)
            window_[n] = static_cast<float>(1 - std::cos(2 * std::numbers::pi * (n + 0.5) / length));
        require(zelsZero_32f(frame_.get(), points()), "zelsZero_32f");  // what lies behind the frame stays zero
    }

    std::int32_t points() const { return 1 << order_; }
    std::int32_t bins() const { return points() / 2 + 1; }

    void analyse(const float* samples, float* magnitudes)
    {
        require(zelsMul_32f(samples, window_.get(), frame_.get(), length_), "zelsMul_32f");
        require(zelsFFTFwd_RToCCS_32f(frame_.get(), spectrum_.get(), fft_.get(), nullptr),
                "zelsFFTFwd_RToCCS_32f");
        require(zelsMagnitude_32fc(reinterpret_cast<const Zel32fc*>(spectrum_.get()), magnitudes, bins()),
                "zelsMagnitude_32fc");
    }

  private:
    std::int32_t length_, order_;
    AlignedFloats window_, frame_, spectrum_;
    std::unique_ptr<ZelFFTState_R_32f, ReleaseFFT> fft_;
};

}  // namespace

Spectrogram spectrogram_of(std::span<const float> samples, int rate, std::size_t most_columns)
{
    const auto length = static_cast<std::int32_t>(std::max(2L, std::lround(kFrameSeconds * rate)));
    auto hop = static_cast<std::size_t>(std::max(1L, std::lround(kHopSeconds * rate)));
    Spectrogram result;
    result.highest_hz = rate / 2.0;
    if (samples.size() < static_cast<std::size_t>(length)) return result;
    const std::size_t room = samples.size() - static_cast<std::size_t>(length);
    hop = std::max(hop, room / most_columns + 1);
    result.width = room / hop + 1;

    std::vector<float> finite(samples.begin(), samples.end());
    for (float& sample : finite)
        if (!(std::abs(sample) <= 1e6f)) sample = 0;

    FrameSpectrum spectrum(length);
    const auto bins = static_cast<std::size_t>(spectrum.bins());
    const auto values = static_cast<std::int32_t>(result.width * bins);
    const AlignedFloats levels = aligned_floats(values);
    for (std::size_t column = 0; column < result.width; ++column)
        spectrum.analyse(finite.data() + column * hop, levels.get() + column * bins);
    require(zelsAddC_32f(levels.get(), kSilence, levels.get(), values), "zelsAddC_32f");
    require(zelsLn_32f_I(levels.get(), values), "zelsLn_32f_I");
    float loudest = 0;
    require(zelsMax_32f(levels.get(), values, &loudest), "zelsMax_32f");

    // 1 at the loudest level, 0 where the picture's range ends. Silence has no level to refer to.
    const double range = Spectrogram::kShownDecibels / 20 * std::numbers::ln10;
    const bool silent = loudest <= std::log(2 * kSilence);
    result.pixels.reserve(result.width * bins);
    for (std::size_t bin = bins; bin-- > 0;)
        for (std::size_t column = 0; column < result.width; ++column) {
            const double shade = silent ? 0 : 1 - (loudest - levels[column * bins + bin]) / range;
            result.pixels.push_back(static_cast<std::uint8_t>(std::lround(255 * std::clamp(shade, 0.0, 1.0))));
        }

    // A column stands for the time around its frame's centre.
    result.start = 0.5 * (length - static_cast<double>(hop)) / rate;
    result.end = result.start + static_cast<double>(result.width * hop) / rate;
    return result;
}

}  // namespace zelsr::examples
