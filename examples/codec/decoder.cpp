#include "codec/decoder.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr double kPi = std::numbers::pi;
// A period of a voice is no single peak: high frequencies come later, by up to so many samples.
constexpr double kDispersion = 12;
// Behind the envelope 1 / A stands A(z / 0.5) / A(z / 0.7): valleys between peaks, which prediction of this order
// and coding fill, are deeper again.
constexpr float kValleyZeros = 0.5F, kValleyPoles = 0.7F;
constexpr float kNewVoiceLeap = 0.5F;  // a pitch that changes by more, as a logarithm, does not glide
constexpr std::int64_t kKept = 2 * Pulses::kReach + Bands::kTaps;

// A(z / factor)
Predictor widened(const Predictor& predictor, float factor)
{
    Predictor result;
    float power = 1;
    for (std::size_t k = 0; k < kOrder; ++k) result[k] = predictor[k] * (power *= factor);
    return result;
}

// A filter's sum of products with the samples before, the last one first.
float weighted(const Predictor& predictor, const Predictor& memory)
{
    float sum = 0;
    for (std::size_t k = 0; k < kOrder; ++k) sum += predictor[k] * memory[k];
    return sum;
}
void remember(float sample, Predictor& memory)
{
    std::copy_backward(memory.begin(), memory.end() - 1, memory.end());
    memory[0] = sample;
}

template <class Values>
Values between(const Values& from, const Values& to, float part)
{
    Values values;
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = from[i] + part * (to[i] - from[i]);
    return values;
}

}  // namespace

Pulses::Pulses()
{
    // Sums of cosines that all have 1 / kTaps of the energy, with a phase whose slope, the delay, rises with the
    // frequency from -kDispersion / 2 on; those of a band, each a step of rate / kTaps apart.
    constexpr int kBins = kTaps / 2;
    for (int band = 0; band < kBands; ++band)
        for (int phase = 0; phase < kPhases; ++phase) {
            std::array<float, kTaps>& taps = taps_[static_cast<std::size_t>(band * kPhases + phase)];
            for (int bin = 1; bin < kBins; ++bin) {
                const double frequency = static_cast<double>(bin) * kRate / kTaps;
                const auto at = static_cast<std::size_t>(band);
                if (frequency <= Bands::kEdges[at] || frequency > Bands::kEdges[at + 1]) continue;
                const double w = 2 * kPi * bin / kTaps;
                const double delay_phase = kDispersion * w * (w / (2 * kPi) - 0.5);
                for (int i = 0; i < kTaps; ++i) {
                    const double t = i - kReach - static_cast<double>(phase) / kPhases;
                    taps[static_cast<std::size_t>(i)] +=
                        static_cast<float>(2.0 / kTaps * std::cos(w * t - delay_phase));
                }
            }
            for (int i = 0; i < kTaps; ++i) {
                const double t = i - kReach - static_cast<double>(phase) / kPhases;
                const double edge = std::clamp((kReach - std::fabs(t)) / 12, 0.0, 1.0);
                taps[static_cast<std::size_t>(i)] *= static_cast<float>(0.5 - 0.5 * std::cos(kPi * edge));
            }
        }
}

Decoder::Decoder(const EnvelopeBook& book) : book_(book), noise_(0), excitation_(kKept)
{
    for (int i = 0; i < Bands::kTaps - 1; ++i) noise_.append(noise());
}

float Decoder::noise()
{
    // Evenly spread, of the variance 1: the same in every run.
    random_ = random_ * 1664525 + 1013904223;
    return static_cast<float>(static_cast<std::int32_t>(random_)) * (std::numbers::sqrt3_v<float> / 2147483648.0F);
}

std::span<const float> Decoder::add(const Frame& frame)
{
    State state;
    state.lines = book_.lines_of(frame.envelope);
    if (frame.pitch > 0) {
        state.lag = lag_of(frame.pitch);
        state.voice[0] = 1;
        for (int b = 1; b < kBands; ++b) state.voice[static_cast<std::size_t>(b)] = frame.bands >> (b - 1) & 1;
    }
    const Levels levels = levels_of(frame);
    state.level = levels.end;
    if (!begun_) {
        last_ = state;
        last_.level = levels.middle;
        begun_ = true;
    }
    samples_.clear();
    play(last_, state, levels.middle);
    last_ = state;
    return samples_;
}

std::span<const float> Decoder::finish()
{
    samples_.clear();
    if (begun_) play(last_, last_, last_.level);
    return samples_;
}

void Decoder::play(const State& from, const State& to, float middle_level)
{
    const bool glides = from.lag > 0 && to.lag > 0 && std::fabs(std::log(to.lag / from.lag)) < kNewVoiceLeap;
    for (int s = 0; s < kSubframes; ++s) {
        const float part = (static_cast<float>(s) + 0.5F) / kSubframes;
        // A voice that is there at one end only keeps its pitch and fades over the frame.
        float lag = to.lag > 0 ? to.lag : from.lag;
        if (glides)
            lag = from.lag * std::pow(to.lag / from.lag, part);
        else if (from.lag > 0 && part < 0.5F)
            lag = from.lag;
        const std::array<float, kBands> voice = between(from.voice, to.voice, part);
        const float level = part < 0.5F ? from.level + 2 * part * (middle_level - from.level)
                                        : middle_level + (2 * part - 1) * (to.level - middle_level);
        excite(lag, voice);
        waiting_.push_back(filter_of(between(from.lines, to.lines, part), lag, voice, level));
        if (waiting_.size() <= static_cast<std::size_t>(kAhead)) continue;
        synthesise(waiting_.front());
        waiting_.erase(waiting_.begin());
    }
    noise_.forget_before(excited_);
    excitation_.forget_before(played_ - kKept);
}

void Decoder::excite(float lag, const std::array<float, kBands>& voice)
{
    // Noise: each band with the share of its power that the voice leaves.
    std::array<float, Bands::kTaps> taps{}, band_taps;
    for (int b = 0; b < kBands; ++b) {
        const float v = voice[static_cast<std::size_t>(b)];
        require(zelsMulC_32f(bands_.taps(b), std::sqrt(1 - v * v), band_taps.data(), Bands::kTaps),
                "zelsMulC_32f");
        require(zelsAdd_32f_I(band_taps.data(), taps.data(), Bands::kTaps), "zelsAdd_32f_I");
    }
    excitation_.append_zeros(excited_ + kSubframe + Pulses::kReach - excitation_.end());
    for (int i = 0; i < kSubframe; ++i) {
        noise_.append(noise());
        float sum = 0;
        require(zelsDotProd_32f(noise_.at(excited_ + i), taps.data(), Bands::kTaps, &sum), "zelsDotProd_32f");
        *excitation_.at(excited_ + i) += sum;
    }
    // Pulses whose middle lies in the subframe.
    const auto end = static_cast<double>(excited_ + kSubframe);
    if (lag > 0) {
        next_pulse_ = std::max(next_pulse_, static_cast<double>(excited_));
        for (; next_pulse_ < end; next_pulse_ += lag) {
            const auto place = static_cast<std::int64_t>(std::floor(next_pulse_ * Pulses::kPhases));
            float* const first = excitation_.at(place / Pulses::kPhases - Pulses::kReach);
            const auto phase = static_cast<int>(place % Pulses::kPhases);
            for (int b = 0; b < kBands; ++b) {
                const float height = std::sqrt(lag) * voice[static_cast<std::size_t>(b)];
                std::array<float, Pulses::kTaps> pulse;
                require(zelsMulC_32f(pulses_.taps(b, phase), height, pulse.data(), Pulses::kTaps), "zelsMulC_32f");
                require(zelsAdd_32f_I(pulse.data(), first, Pulses::kTaps), "zelsAdd_32f_I");
            }
        }
    }
    excited_ += kSubframe;
}

Decoder::Filter Decoder::filter_of(const LineSpectrum& lines, float lag, const std::array<float, kBands>& voice,
                                   float level) const
{
    Filter filter;
    filter.predictor = predictor_of(lines);
    filter.valley_zeros = widened(filter.predictor, kValleyZeros);
    filter.valley_poles = widened(filter.predictor, kValleyPoles);
    if (!(level > kSilence)) return filter;
    // The power that the excitation, of the power 1, has behind the filter: voiced bands have the envelope at
    // multiples of the pitch only, the others everywhere.
    Envelope envelope = envelope_of(filter.predictor);
    const Envelope poles = envelope_of(filter.valley_poles), zeros = envelope_of(filter.valley_zeros);
    require(zelsMul_32f(poles.data(), envelope.data(), envelope.data(), kEnvelopeBins), "zelsMul_32f");
    require(zelsDiv_32f_I(zeros.data(), envelope.data(), kEnvelopeBins), "zelsDiv_32f_I");
    constexpr float kBinHz = kRate / 2.0F / kEnvelopeBins;
    float power = 0;
    for (std::size_t b = 0; b < kBands; ++b) {
        const auto first = static_cast<std::size_t>(Bands::kEdges[b] / kBinHz);
        const auto end = static_cast<std::size_t>(Bands::kEdges[b + 1] / kBinHz);
        float noise = 0;
        require(zelsDotProd_32f(envelope.data() + first, envelope.data() + first,
                                static_cast<std::int32_t>(end - first), &noise),
                "zelsDotProd_32f");
        power += (1 - voice[b] * voice[b]) * noise / kEnvelopeBins;
        if (voice[b] == 0) continue;
        float pulses = 0;
        const float step = kRate / lag;
        for (float f = step * (std::floor(Bands::kEdges[b] / step) + 1); f <= Bands::kEdges[b + 1]; f += step) {
            const float at = f / kBinHz;
            const std::size_t bin = std::min(static_cast<std::size_t>(at), std::size_t{kEnvelopeBins - 2});
            const float height = std::lerp(envelope[bin], envelope[bin + 1], at - static_cast<float>(bin));
            pulses += height * height;
        }
        power += voice[b] * voice[b] * 2 * pulses / lag;
    }
    filter.gain = std::pow(10.0F, level / 20) / std::sqrt(power);
    return filter;
}

void Decoder::synthesise(const Filter& filter)
{
    std::array<float, kSubframe> samples;
    const float* const excitation = excitation_.at(played_);
    for (std::size_t i = 0; i < kSubframe; ++i) {
        const float part = (static_cast<float>(i) + 1) / kSubframe;
        const float source = std::lerp(last_gain_, filter.gain, part) * excitation[i];
        const float sample = source - weighted(filter.predictor, memory_);
        const float deep =
            sample + weighted(filter.valley_zeros, memory_) - weighted(filter.valley_poles, valley_memory_);
        remember(sample, memory_);
        remember(deep, valley_memory_);
        samples[i] = deep;
    }
    last_gain_ = filter.gain;
    require(zelsCompensateOffset_32f_I(samples.data(), kSubframe, &last_input_, last_output_, kOffsetFilter),
            "zelsCompensateOffset_32f_I");
    last_output_ = samples.back();
    samples_.insert(samples_.end(), samples.begin(), samples.end());
    played_ += kSubframe;
}

}  // namespace zelsr::examples
