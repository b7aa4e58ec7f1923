#include "codec/encoder.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

// What is looked at around a frame's place, of the signal and of its bands.
constexpr std::int64_t kBandReach = 256, kSignalReach = kBandReach + Bands::kReach;
constexpr float kLeastVoiceLevel = 10;  // dB: below, a voice is not looked for
constexpr float kVoicedBand = 0.55F;    // a band that is more periodic is voiced
constexpr float kEnvelopeLoss = 0.1F;   // the band's envelope is more periodic than the band
constexpr int kSmoothing = 8;           // samples to either side, of a band's envelope

static_assert(kBandReach > Correlator::kReach + kSmoothing && kSignalReach > EnvelopeAnalysis::kWindow / 2);

}  // namespace

Encoder::Encoder(EnvelopeBook& book, Consumer consumer)
    : book_(book),
      consumer_(std::move(consumer)),
      signal_(kSignalReach),
      low_(kBandReach),
      band_(kBands, History(kBandReach)),
      lines_(flat_spectrum())
{}

void Encoder::add(std::span<const float> samples)
{
    taken_ += static_cast<std::int64_t>(samples.size());
    take(samples);
}

void Encoder::finish()
{
    frames_ = (taken_ + kFrameLength - 1) / kFrameLength;
    const std::int64_t wanted = frames_ * kFrameLength + kSignalReach + kFrameLength;
    take(std::vector<float>(static_cast<std::size_t>(wanted - taken_)));
    for (const int lag : tracker_.finish()) complete(lag);
}

// The filter rounds differently where a call begins: calls always begin at multiples of a frame.
void Encoder::take(std::span<const float> samples)
{
    while (!samples.empty()) {
        const std::size_t count = std::min(samples.size(), kFrameLength - pending_.size());
        pending_.insert(pending_.end(), samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count));
        samples = samples.subspan(count);
        if (pending_.size() < kFrameLength) return;
        require(
            zelsCompensateOffset_32f_I(pending_.data(), kFrameLength, &last_input_, last_output_, kOffsetFilter),
            "zelsCompensateOffset_32f_I");
        last_output_ = pending_.back();
        signal_.append(pending_);
        pending_.clear();
        analyse();
    }
}

void Encoder::analyse()
{
    for (std::int64_t place = low_.end(); place + Bands::kReach < signal_.end(); ++place) {
        for (int b = 0; b < kBands; ++b)
            band_[static_cast<std::size_t>(b)].append(bands_.filtered(b, signal_.at(place)));
        low_.append(*band_[0].at(place) + *band_[1].at(place));
    }
    while (measured_ < frames_ && (measured_ + 1) * kFrameLength + kSignalReach <= signal_.end()) measure_frame();

    const std::int64_t oldest = (measured_ - static_cast<std::int64_t>(open_.size()) + 1) * kFrameLength;
    signal_.forget_before(oldest - kSignalReach);
    low_.forget_before(oldest - kBandReach);
    for (History& band : band_) band.forget_before(oldest - kBandReach);
}

void Encoder::measure_frame()
{
    Measured frame;
    frame.place = ++measured_ * kFrameLength;
    if (const auto predictor = envelope_.analyse(signal_.at(frame.place - EnvelopeAnalysis::kWindow / 2)))
        if (const auto lines = EnvelopeAnalysis::lines_of(*predictor)) {
            frame.sound = true;
            frame.predictor = *predictor;
            lines_ = *lines;
        }
    frame.lines = lines_;
    open_.push_back(frame);

    std::optional<int> lag;
    if (level_at(frame.place, 0) < kLeastVoiceLevel) {
        lag = tracker_.add(no_voice());
    } else {
        correlator_.place(low_.at(frame.place));
        lag = tracker_.add(pitch_candidates(correlator_));
    }
    if (lag) complete(*lag);
}

void Encoder::complete(int lag)
{
    Measured measured = open_.front();
    open_.pop_front();
    Frame frame;
    frame.envelope = book_.code(measured.lines);
    if (lag > 0) {
        correlator_.place(low_.at(measured.place));
        measured.lag = correlator_.refined(lag);
        measured.voice = voices(measured.place, measured.lag);
        frame.pitch = pitch_code(measured.lag);
        for (int b = 1; b < kBands; ++b)
            if (measured.voice[static_cast<std::size_t>(b)] > kVoicedBand) frame.bands |= 1 << (b - 1);
    }
    measured.levels = {level_at(measured.place - kFrameLength / 2, measured.lag),
                       level_at(measured.place, measured.lag)};
    code_levels(measured.levels, frame);
    measured.samples = signal_.at(measured.place - EnvelopeAnalysis::kWindow / 2);
    consumer_(frame, measured);
}

std::array<float, kBands> Encoder::voices(std::int64_t place, float lag)
{
    const int below = std::clamp(static_cast<int>(lag), Correlator::kLeast, Correlator::kMost);
    // Fine structure keeps its phase at low frequencies; higher up it is the envelope that has the period.
    const auto best = [&](const float* centre) {
        correlator_.place(centre);
        return std::max(correlator_.at(below), correlator_.at(below + 1));
    };
    constexpr int kCount = 2 * Correlator::kReach + 1;
    std::array<float, kCount + 2 * kSmoothing> magnitudes;
    std::array<float, kCount> envelope;
    std::array<float, 2 * kSmoothing + 1> smoothing;
    for (std::size_t i = 0; i < smoothing.size(); ++i)
        smoothing[i] = static_cast<float>(1 - std::cos(2 * std::numbers::pi * (static_cast<double>(i) + 0.5) /
                                                       static_cast<double>(smoothing.size())));
    std::array<float, kBands> voice{1};
    for (std::size_t b = 1; b < kBands; ++b) {
        const float* const centre = band_[b].at(place);
        for (int i = 0; i < static_cast<int>(magnitudes.size()); ++i)
            magnitudes[static_cast<std::size_t>(i)] = std::fabs(centre[i - Correlator::kReach - kSmoothing]);
        for (std::size_t i = 0; i < kCount; ++i)
            require(zelsDotProd_32f(magnitudes.data() + i, smoothing.data(),
                                    static_cast<std::int32_t>(smoothing.size()), &envelope[i]),
                    "zelsDotProd_32f");
        float mean = 0;
        require(zelsSum_32f(envelope.data(), kCount, &mean, 0), "zelsSum_32f");
        require(zelsAddC_32f(envelope.data(), -mean / kCount, envelope.data(), kCount), "zelsAddC_32f");
        voice[b] = std::max(best(centre), best(envelope.data() + Correlator::kReach) - kEnvelopeLoss);
    }
    return voice;
}

float Encoder::level_at(std::int64_t place, float lag) const
{
    // Whole periods, so that the level does not hang on where they begin.
    constexpr float kLeast = 100;
    const int length = lag > 0 ? static_cast<int>(std::lround(lag * std::ceil(kLeast / lag))) : 80;
    const float* const first = signal_.at(place - length / 2);
    float squares = 0;
    require(zelsDotProd_32f(first, first, length, &squares), "zelsDotProd_32f");
    return 10 * std::log10(std::max(squares / static_cast<float>(length), 1e-3F));
}

}  // namespace zelsr::examples
