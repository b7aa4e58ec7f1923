#include "denoise/measure.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "common/failure.h"
#include "common/per_channel.h"
#include "common/progress.h"
#include "common/sound.h"
#include "common/text.h"
#include "denoise/chain_16s.h"
#include "denoise/chain_32f.h"
#include "denoise/channel.h"
#include "denoise/peer.h"

namespace zelsr::examples {
namespace {

constexpr std::array kDistances{15.0, 10.0, 5.0, 0.0};
constexpr double kLeast = -10, kMost = 35;  // dB
constexpr double kLoudestToQuiet = 1e-3;    // as speech_power()

double energy(std::span<const float> samples)
{
    double sum = 0;
    for (const float sample : samples) sum += double{sample} * sample;
    return sum;
}

std::size_t frame_length(int rate) { return static_cast<std::size_t>(rate / 50); }

// use(first sample, samples, energy, whether somebody speaks) for each frame of 20 ms.
template <class Use>
void for_frames(std::span<const float> clean, int rate, Use use)
{
    const std::size_t length = frame_length(rate);
    double most = 0;
    for (std::size_t i = 0; i + length <= clean.size(); i += length)
        most = std::max(most, energy(clean.subspan(i, length)));
    for (std::size_t i = 0; i + length <= clean.size(); i += length) {
        const double speech = energy(clean.subspan(i, length));
        use(i, length, speech, speech >= kLoudestToQuiet * most);
    }
}

template <class Chain>
std::vector<float> cleaned(const Settings& settings, std::span<const float> sound)
{
    using T = typename Chain::Sample;
    PerChannel<T, Channel<Chain>> channel(1, [&] { return Channel<Chain>(settings); });
    std::vector<float> all;
    const auto append = [&](std::span<const T> part) {
        for (const T sample : part)
            all.push_back(std::is_same_v<T, float> ? float(sample) : float(sample) / 32768);
    };
    append(channel.add(sound));
    append(channel.finish());
    return all;
}

// By measured_ways().
std::vector<std::vector<float>> all_cleaned(std::span<const float> sound, int rate, double least_gain)
{
    std::vector<std::vector<float>> all;
    for (const bool fixed : {false, true})
        for (const GainRule rule : {GainRule::EphraimMalah, GainRule::Wiener}) {
            const Settings settings{rate, rule, least_gain};
            all.push_back(fixed ? cleaned<FixedChain>(settings, sound) : cleaned<FloatChain>(settings, sound));
        }
    if (peer_there())
        for (const Start start : {Start::Cold, Start::Warm})
            all.push_back(cleaned_by_peer(sound, rate, least_gain, start));
    return all;
}

// So that the mixture has a peak of half of full scale, and no way limits it.
void scale_both(std::vector<float>& clean, std::vector<float>& mixture)
{
    float peak = 0;
    for (const float sample : mixture) peak = std::max(peak, std::fabs(sample));
    for (std::vector<float>* one : {&clean, &mixture})
        for (float& sample : *one) sample *= 0.5F / peak;
}

}  // namespace

double segmental_snr(std::span<const float> clean, std::span<const float> other, int rate)
{
    double sum = 0, count = 0;
    for_frames(clean, rate, [&](std::size_t first, std::size_t length, double speech, bool spoken) {
        if (!spoken) return;
        double error = 0;
        for (std::size_t k = first; k < first + length; ++k) {
            const double difference = double{clean[k]} - other[k];
            error += difference * difference;
        }
        sum += std::clamp(10 * std::log10(speech / std::max(error, 1e-30)), kLeast, kMost);
        ++count;
    });
    return count > 0 ? sum / count : 0;
}

double quieter_by(std::span<const float> clean, std::span<const float> before, std::span<const float> after,
                  int rate)
{
    double was = 0, is = 0;
    for_frames(clean, rate, [&](std::size_t first, std::size_t length, double, bool spoken) {
        if (spoken) return;
        was += energy(before.subspan(first, length));
        is += energy(after.subspan(first, length));
    });
    return was > 0 && is > 0 ? 10 * std::log10(was / is) : 0;
}

const std::vector<std::string>& measured_ways()
{
    static const std::vector<std::string> kWays = [] {
        std::vector<std::string> ways{"ephraim-malah", "wiener", "ephraim-malah --fixed", "wiener --fixed"};
        if (peer_there()) ways.insert(ways.end(), {"speexdsp", "speexdsp (warm)"});
        return ways;
    }();
    return kWays;
}

std::vector<Measured> measure(const FileNames& files, double least_gain)
{
    const int rate = [&] {
        try {
            return SoundFile(files.at(0)).rate();
        } catch (const Failure& failure) {
            throw Failure(files[0] + ": " + failure.what());
        }
    }();
    if (rate < kLowestRate || rate > kHighestRate)
        throw Failure(files[0] + ": has a sample rate of " + std::to_string(rate) + " Hz, outside " +
                      std::to_string(kLowestRate) + " to " + std::to_string(kHighestRate));
    const Voices voices = read_voices(files, rate);
    for (std::size_t v = 0; v < voices.size(); ++v) {
        if (voices[v].size() < frame_length(rate)) throw Failure(files[v] + ": is shorter than a frame of 20 ms");
        if (speech_power(voices[v], rate) == 0) throw Failure(files[v] + ": is silent");
    }

    std::vector<Measured> all;
    const std::size_t noises = noise_names().size();
    Progress progress("measuring", static_cast<double>(noises * kDistances.size() * voices.size()), "files");
    double done = 0;
    for (std::size_t n = 0; n < noises; ++n)
        for (const double distance : kDistances) {
            const std::vector<double> none(measured_ways().size());
            Measured one{static_cast<NoiseKind>(n), distance, 0, none, none};
            for (std::size_t v = 0; v < voices.size(); ++v) {
                std::vector<float> clean = voices[v];
                const auto seed = static_cast<std::uint32_t>(v + 1);
                std::vector<float> mixture =
                    mix(clean, rate, make_noise(one.noise, clean.size(), rate, seed, voices), distance);
                scale_both(clean, mixture);
                const auto share = static_cast<double>(voices.size());
                one.before += segmental_snr(clean, mixture, rate) / share;
                const auto results = all_cleaned(mixture, rate, least_gain);
                for (std::size_t w = 0; w < results.size(); ++w) {
                    one.after[w] += segmental_snr(clean, results[w], rate) / share;
                    one.pauses[w] += quieter_by(clean, mixture, results[w], rate) / share;
                }
                progress.at(++done);
            }
            all.push_back(std::move(one));
        }
    return all;
}

std::string table_of(const std::vector<Measured>& measured)
{
    std::string text = "Segmental SNR in dB, what is gained, and by how many dB pauses are quieter\n" +
                       padded("noise", -8) + padded("SNR", 4) + padded("before", 8);
    for (const std::string& way : measured_ways()) text += padded(way, 25);
    text += "\n";
    for (const Measured& one : measured) {
        text += padded(noise_name(one.noise), -8) + padded(fixed(one.snr, 0), 4) + padded(fixed(one.before, 2), 8);
        for (std::size_t w = 0; w < one.after.size(); ++w) {
            const double gained = one.after[w] - one.before;
            text += padded(fixed(one.after[w], 2), 10) +
                    padded(std::string(gained < 0 ? "" : "+").append(fixed(gained, 2)), 8) +
                    padded(std::string("[").append(fixed(one.pauses[w], 1)).append("]"), 7);
        }
        text += "\n";
    }
    return text;
}

std::string csv_of(const std::vector<Measured>& measured)
{
    std::string text = "noise,snr,way,before,after,pauses\n";
    for (const Measured& one : measured)
        for (std::size_t w = 0; w < one.after.size(); ++w)
            text += noise_name(one.noise) + "," + fixed(one.snr, 0) + "," + measured_ways()[w] + "," +
                    fixed(one.before, 4) + "," + fixed(one.after[w], 4) + "," + fixed(one.pauses[w], 4) + "\n";
    return text;
}

}  // namespace zelsr::examples
