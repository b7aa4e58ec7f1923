#include "score_speech/features.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/failure.h"
#include "common/progress.h"
#include "common/real_transform.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr double kFrameSeconds = 0.025;
constexpr double kHopSeconds = 0.010;
constexpr int kLowestRate = 1000, kHighestRate = 1'000'000;
constexpr std::int64_t kFewestFrames = 50;
constexpr double kLowestHz = 80;  // mains hum lies below
constexpr double kHighestHz = 8000;
// Magnitudes are relative to a sine of full scale. This one, -110 dB, keeps digital silence finite.
constexpr float kSilence = 3e-6f;
// What lies further below the loudest band of the file counts as silent: digital silence and a quiet room are
// pauses alike. 60 dB.
const float kRange = std::log(1000.0f);
constexpr int kFastSum = 1;

double mel(double hertz) { return 2595 * std::log10(1 + hertz / 700); }
double hertz(double mel) { return 700 * (std::pow(10, mel / 2595) - 1); }

// Triangles over the magnitudes of the spectrum, evenly spaced on the mel scale.
class MelBands {
  public:
    explicit MelBands(const FrameShape& shape)
    {
        const double low = mel(kLowestHz), high = mel(std::min(kHighestHz, shape.rate / 2.0));
        const double bin_hz = static_cast<double>(shape.rate) / shape.points();
        auto edge = [&](int k) { return hertz(low + (high - low) * k / (kBands + 1)) / bin_hz; };  // in bins
        for (int b = 0; b < kBands; ++b) bands_.push_back(triangle(edge(b), edge(b + 1), edge(b + 2)));
    }

    // The weighted mean of the magnitudes in each band.
    void apply(const float* magnitudes, float* bands) const
    {
        for (const Band& band : bands_)
            require(zelsDotProd_32f(magnitudes + band.first_bin, band.weights.data(),
                                    static_cast<int32_t>(band.weights.size()), bands++),
                    "zelsDotProd_32f");
    }

  private:
    struct Band {
        int first_bin;
        std::vector<float> weights;  // they add up to 1
    };

    static Band triangle(double left, double centre, double right)
    {
        Band band{static_cast<int>(std::floor(left)) + 1, {}};
        double sum = 0;
        for (int bin = band.first_bin; bin < right; ++bin) {
            const double weight = bin < centre ? (bin - left) / (centre - left) : (right - bin) / (right - centre);
            band.weights.push_back(static_cast<float>(weight));
            sum += weight;
        }
        // Bands narrower than the distance of two bins may hold none.
        if (!(sum > 0)) return {static_cast<int>(std::lround(centre)), {1.0f}};
        for (float& weight : band.weights) weight = static_cast<float>(weight / sum);
        return band;
    }

    std::vector<Band> bands_;
};

// One frame's way through the library: mean off, window, FFT, magnitudes, bands, logarithms.
class FrameAnalyser {
  public:
    explicit FrameAnalyser(const FrameShape& shape)
        : shape_(shape),
          bands_(shape),
          window_(aligned_floats(shape.length)),
          frame_(aligned_floats(shape.points())),
          spectrum_(aligned_floats(shape.points() + 2)),
          magnitudes_(aligned_floats(shape.bins())),
          fft_(shape.order)
    {
        // Hann. A sine of amplitude 1 has magnitude sum(window) / 2 at its bin: divided out here.
        for (int n = 0; n < shape.length; ++n)
            window_[n] = static_cast<float>((1 - std::cos(2 * std::numbers::pi * (n + 0.5) / shape.length)) * 2 /
                                            shape.length);
        require(zelsZero_32f(frame_.get(), shape.points()), "zelsZero_32f");
    }

    // samples: shape.length of them; row: kBands log magnitudes. The magnitudes stay until the next call.
    void analyse(const float* samples, float* row)
    {
        float sum = 0;
        require(zelsSum_32f(samples, shape_.length, &sum, kFastSum), "zelsSum_32f");
        require(zelsAddC_32f(samples, -sum / static_cast<float>(shape_.length), frame_.get(), shape_.length),
                "zelsAddC_32f");
        require(zelsMul_32f(frame_.get(), window_.get(), frame_.get(), shape_.length), "zelsMul_32f");
        fft_.to_magnitudes(frame_.get(), spectrum_.get(), magnitudes_.get(), shape_.bins());
        bands_.apply(magnitudes_.get(), row);
        require(zelsAddC_32f(row, kSilence, row, kBands), "zelsAddC_32f");
        require(zelsLn_32f_I(row, kBands), "zelsLn_32f_I");
    }

    std::span<const float> magnitudes() const
    {
        return {magnitudes_.get(), static_cast<std::size_t>(shape_.bins())};
    }

  private:
    FrameShape shape_;
    MelBands bands_;
    AlignedFloats window_, frame_, spectrum_, magnitudes_;
    RealTransform fft_;
};

void limit_range(FeatureRows& features)
{
    float loudest = std::log(kSilence);
    for (std::int64_t r = 0; r < features.count(); ++r) {
        float largest = 0;
        require(zelsMax_32f(features.row(r), kBands, &largest), "zelsMax_32f");
        loudest = std::max(loudest, largest);
    }
    const AlignedFloats floor = aligned_floats(kRowStep);
    require(zelsSet_32f(loudest - kRange, floor.get(), kRowStep), "zelsSet_32f");
    for (std::int64_t r = 0; r < features.count(); ++r)
        require(zelsMaxEvery_32f_I(floor.get(), features.row(r), kBands), "zelsMaxEvery_32f_I");
}

FrameShape checked_shape(int rate)
{
    if (rate < kLowestRate || rate > kHighestRate)
        throw Failure("a sample rate of " + std::to_string(rate) + " Hz is outside " +
                      std::to_string(kLowestRate) + " to " + std::to_string(kHighestRate) + " Hz");
    return FrameShape(rate);
}

}  // namespace

FrameShape::FrameShape(int rate_in_hertz)
    : rate(rate_in_hertz),
      length(static_cast<int>(std::lround(kFrameSeconds * rate))),
      hop(static_cast<int>(std::lround(kHopSeconds * rate))),
      order(0)
{
    while (points() < length) ++order;
}

float* FeatureRows::add()
{
    if (count_ % kRowsABlock == 0) {
        blocks_.push_back(aligned_floats(kRowsABlock * kRowStep));
        std::fill_n(blocks_.back().get(), kRowsABlock * kRowStep, 0.0f);
    }
    return row(count_++);
}

std::vector<FeatureRows::Block> FeatureRows::blocks() const
{
    std::vector<Block> all;
    for (std::int64_t r = 0; r < count_; r += kRowsABlock)
        all.push_back({row(r), static_cast<std::int32_t>(std::min(kRowsABlock, count_ - r))});
    return all;
}

double Analysis::boundary(std::int64_t frame) const
{
    if (frame <= 0) return 0;
    if (frame >= features.count()) return seconds;
    return (static_cast<double>(frame) * shape.hop + 0.5 * (shape.length - shape.hop)) / shape.rate;
}

Analysis analyse(SoundFile& sound, const std::string& name)
{
    const FrameShape shape = checked_shape(sound.rate());
    Analysis result{shape, {}, Overview(shape.rate, kHighestHz), sound.channels(), 0, {}};
    FrameAnalyser analyser(shape);
    const auto length = static_cast<std::size_t>(shape.length), hop = static_cast<std::size_t>(shape.hop);

    // The samples from the next frame's first one on; one part of the file is read behind them at a time.
    constexpr std::size_t kPart = 1 << 15;
    std::vector<float> samples;
    {
        Progress progress(name, static_cast<double>(sound.expected()) / shape.rate);
        for (;;) {
            const std::size_t kept = samples.size();
            samples.resize(kept + kPart);
            const std::size_t got = sound.read(std::span(samples).subspan(kept));
            samples.resize(kept + got);
            if (got == 0) break;
            result.overview.add_samples(std::span(samples).subspan(kept));

            std::size_t start = 0;
            for (; start + length <= samples.size(); start += hop) {
                analyser.analyse(&samples[start], result.features.add());
                result.overview.add_spectrum(analyser.magnitudes());
            }
            samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(start));
            progress.at(static_cast<double>(sound.position()) / shape.rate);
        }
    }

    result.seconds = static_cast<double>(sound.position()) / shape.rate;
    if (result.features.count() < kFewestFrames)
        throw Failure("too short to train on: " + fixed(result.seconds, 2) + " s, needs at least " +
                      fixed(kFrameSeconds + (kFewestFrames - 1) * kHopSeconds, 2) + " s");
    limit_range(result.features);
    result.remarks = remarks_on(sound);
    return result;
}

}  // namespace zelsr::examples
