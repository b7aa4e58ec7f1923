#include "plain/front_end.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "plain/aurora_bands.h"
#include "plain/feature.h"
#include "plain/spectrum.h"
#include "plain/voice_activity.h"

namespace zelsr::bench::plain {
namespace {

constexpr float least_noise = 4.54e-5F;

template <std::size_t n>
void push(std::array<float, n>& waiting, const float* samples)
{
    std::copy(waiting.begin() + 80, waiting.end(), waiting.begin());
    std::copy(samples, samples + 80, waiting.end() - 80);
}

void weigh(const float* values, const Filters& filters, float* dst)
{
    for (int f = 0; f < filters.count; ++f) {
        float sum = 0;
        for (int i = filters.first[f]; i < filters.first[f + 1]; ++i)
            sum += values[filters.bins[i]] * filters.weights[i];
        dst[f] = sum;
    }
}

}  // namespace

FrontEnd::FrontEnd(const FrontEndTables& tables) : tables_(tables)
{
    const auto cosine = [](double n, double length) { return std::cos(2 * std::numbers::pi * n / length); };
    for (int n = 0; n < 200; ++n) {
        hann_[n] = static_cast<float>(0.5 - 0.5 * cosine(n + 0.5, 200));
        hamming_[n] = static_cast<float>(0.54 - 0.46 * cosine(n, 199));
    }
    for (int n = 0; n < 17; ++n) tap_window_[n] = static_cast<float>(0.5 - 0.5 * cosine(n + 0.5, 17));
}

bool FrontEnd::is_speech(const float* samples)
{
    float sum = 0;
    for (int n = 0; n < 80; ++n) sum += samples[n] * samples[n];
    const double level = 0.5 + 16 * std::log2((64 + static_cast<double>(sum)) / 64);
    ++parts_;
    if (level - mean_level_ < 20 || parts_ < 10) {
        const double gain = parts_ < 10 ? 1.0 / parts_ : level < mean_level_ ? 0.03 : 0.01;
        mean_level_ = std::max(80.0, mean_level_ + gain * (level - mean_level_));
    }
    if (parts_ <= 4) return false;
    if (level - mean_level_ > 15) {
        ++run_;
        return true;
    }
    if (run_ > 4) hangover_ = 15;
    run_ = 0;
    if (hangover_ == 0) return false;
    --hangover_;
    return true;
}

void FrontEnd::learn_noise(Stage& stage, const std::array<float, 65>& mean, bool speech)
{
    if (stage.first) {
        if (speech) return;
        const float gain = 1.0F / static_cast<float>(std::min(stage.frames, 100));
        for (int i = 0; i < 65; ++i)
            stage.noise[i] = std::max(least_noise, stage.noise[i] * (1 - gain) + std::sqrt(mean[i]) * gain);
        return;
    }
    if (stage.frames <= 10) {
        const float gain = 1.0F / static_cast<float>(stage.frames);
        for (int i = 0; i < 65; ++i) stage.noise_power[i] = stage.noise_power[i] * (1 - gain) + mean[i] * gain;
    } else {
        update_noise(mean.data(), stage.noise_power.data(), stage.noise_power.data(), 65);
    }
    for (int i = 0; i < 65; ++i) {
        stage.noise_power[i] = std::max(least_noise * least_noise, stage.noise_power[i]);
        stage.noise[i] = std::sqrt(stage.noise_power[i]);
    }
}

float FrontEnd::weakening(Stage& stage)
{
    float denoised = 0, noise = 0;
    for (int i = 0; i < 65; ++i) {
        denoised += stage.denoised[i];
        noise += stage.noise[i];
    }
    stage.denoised_sums = {stage.denoised_sums[1], stage.denoised_sums[2], denoised};
    stage.noise_sums = {stage.noise_sums[1], stage.noise_sums[2], noise};
    const auto product = [](const std::array<double, 3>& sums) { return sums[0] * sums[1] * sums[2]; };
    const double ratio = product(stage.denoised_sums) / product(stage.noise_sums);
    const double decibels = ratio > 1e-4 ? 20.0 / 3 * std::log10(ratio) : -80.0 / 3;
    const bool start = stage.frames < 10;
    if (decibels - stage.low_ratio < 10 || start) {
        const double keep = start ? 1 - 1.0 / stage.frames : decibels < stage.low_ratio ? 0.95 : 0.99;
        stage.low_ratio = keep * stage.low_ratio + (1 - keep) * decibels;
    }
    if (denoised > 100) {
        if (decibels < stage.low_ratio + 3.5)
            stage.part = std::min(0.8, stage.part + 0.15);
        else
            stage.part = std::max(0.1, stage.part - 0.3);
    }
    return static_cast<float>(stage.part);
}

bool FrontEnd::filter(Stage& stage, const float* samples, float* out)
{
    push(stage.waiting, samples);
    if (++stage.hops < 3) return false;  // 20 zeros and 180 samples
    ++stage.frames;
    const float* frame = stage.waiting.data();
    const bool speech = stage.first && is_speech(frame + 120);

    std::array<float, 256> windowed{};
    std::array<float, 258> spectrum;
    for (int n = 0; n < 200; ++n) windowed[n] = frame[n] * hann_[n];
    tables_.transform(windowed.data(), spectrum.data());
    spectrum[1] = spectrum[256];
    std::array<float, 65> power, mean, mean_amplitude;
    smooth(spectrum.data(), power.data(), 256);
    if (stage.frames == 1) stage.power = power;
    for (int i = 0; i < 65; ++i) {
        mean[i] = (power[i] + stage.power[i]) * 0.5F;
        mean_amplitude[i] = std::sqrt(mean[i]);
    }
    stage.power = power;

    learn_noise(stage, mean, speech);
    wiener_gain(mean_amplitude.data(), stage.noise.data(), stage.denoised.data(), stage.gains.data(), 65);
    for (int i = 0; i < 65; ++i) stage.denoised[i] = stage.gains[i] * std::sqrt(power[i]);
    weigh(stage.gains.data(), tables_.gain_bank, stage.bands.data());
    const float part = stage.first ? 1 : weakening(stage);

    std::array<float, 10> table{};
    for (int n = 0; n < 10; ++n)
        for (int k = 0; k < 25; ++k)
            table[n] += tables_.inverse_cosines[25 * n + k] * (stage.bands[k] * part + (1 - part));
    std::array<float, 17> taps;
    taps[8] = table[0];
    for (int k = 1; k <= 8; ++k) {
        taps[8 - k] = table[k];
        taps[8 + k] = table[k + 1];
    }
    for (int k = 0; k < 17; ++k) taps[k] *= tap_window_[k];
    residual(frame + 12, out, taps.data());
    return true;
}

void FrontEnd::analyse(const float* frame, float* statics)
{
    std::array<float, 200> weighted;
    std::array<float, 256> windowed{};
    std::array<float, 258> spectrum;
    std::array<float, 129> power;
    std::array<float, 23> bands;
    std::array<float, 13> cepstra;
    wave_processing(frame, weighted.data());
    emphasise_and_window(weighted.data(), hamming_.data(), 0.9F, windowed.data(), 200);
    tables_.transform(windowed.data(), spectrum.data());
    for (int b = 0; b < 129; ++b)
        power[b] = spectrum[2 * b] * spectrum[2 * b] + spectrum[2 * b + 1] * spectrum[2 * b + 1];
    plain::filter(power.data(), tables_.mel_bank, bands.data());
    for (float& band : bands) band = std::log(band);
    lifted_cosines(bands.data(), tables_.cosines, tables_.multipliers, 23, 13, cepstra.data());

    float energy = 0;
    for (int n = 0; n < 200; ++n) energy += frame[n] * frame[n];
    const float log_energy = std::log(std::max(1.0F, energy));
    blind_equalization(tables_.reference, cepstra.data(), bias_.data(), 12, log_energy);
    std::copy(cepstra.begin(), cepstra.begin() + 12, statics);
    statics[12] = cepstra[12] * 0.6F / 23 + log_energy * 0.4F;
}

void FrontEnd::next(const float* samples, float* row)
{
    std::array<float, 80> between, cleaned;
    if (!filter(first_, samples, between.data())) return;
    std::int32_t decision = 0;
    voice_activity(first_.bands.data(), first_.gains.data(), &decision, 1);
    if (!filter(second_, between.data(), cleaned.data())) return;
    for (float& sample : cleaned) {
        const float input = sample;
        sample = last_output_ * (1 - 1.0F / 1024) + (input - last_input_);
        last_input_ = input;
        last_output_ = sample;
    }
    push(cleaned_, cleaned.data());
    if (++cleaned_hops_ < 3) return;

    std::copy(statics_.begin() + 13, statics_.end(), statics_.begin());
    analyse(cleaned_.data(), statics_.data() + 12 * 13);
    // Row 4 of nine.
    const float delta[9] = {-1, -0.75F, -0.5F, -0.25F, 0, 0.25F, 0.5F, 0.75F, 1};
    const float second[9] = {1, 0.25F, -0.285714F, -0.607143F, -0.714286F, -0.607143F, -0.285714F, 0.25F, 1};
    for (int c = 0; c < 13; ++c) {
        row[c] = statics_[4 * 13 + c];
        row[13 + c] = row[26 + c] = 0;
        for (int k = 0; k < 9; ++k) {
            row[13 + c] += delta[k] * statics_[13 * k + c];
            row[26 + c] += second[k] * statics_[13 * k + c];
        }
    }
}

}  // namespace zelsr::bench::plain
