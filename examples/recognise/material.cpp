#include "recognise/material.h"

#include <cmath>

#include "common/failure.h"
#include "common/parallel.h"
#include "common/text.h"

namespace zelsr::examples {

Voices voices_of(std::span<const Recording> recordings)
{
    constexpr std::size_t kSpeakers = 16;
    Voices voices(std::min(kSpeakers, recordings.size()));
    for (std::size_t i = 0; i < recordings.size(); ++i) {
        std::vector<float>& voice = voices[i % voices.size()];
        voice.insert(voice.end(), recordings[i].samples.begin(), recordings[i].samples.end());
    }
    return voices;
}

void add_noise(Recording& recording, const NoiseAt& noise, const Voices& voices, std::uint32_t seed)
{
    const std::vector<float> added = make_noise(noise.kind, recording.samples.size(), recording.rate, seed,
                                                noise.kind == NoiseKind::Babble ? voices : Voices());
    recording.samples = mix(recording.samples, recording.rate, added, noise.snr_db);
}

void add_noise(std::vector<Recording>& recordings, const NoiseAt& noise, int threads)
{
    const Voices voices = voices_of(recordings);
    for_all(recordings.size(), threads,
            [&](std::size_t i) { add_noise(recordings[i], noise, voices, static_cast<std::uint32_t>(i + 1)); });
}

FeatureMatrix<float> features_of(const Recording& recording, const MfccOptions& options)
{
    try {
        Mfcc<float> mfcc(options);
        std::vector<float> samples(recording.samples.size());
        to_16_bit_units(recording.samples, samples.data());
        FeatureMatrix<float> features(mfcc.width());
        features.append(mfcc.add(samples));
        features.append(mfcc.finish());
        return features;
    } catch (const Failure& failure) {
        throw Failure(recording.path + ": " + failure.what());
    }
}

std::vector<Example> examples_of(std::span<const Recording> recordings, const MfccOptions& options, int threads)
{
    std::vector<Example> examples;
    for (const Recording& recording : recordings)
        examples.push_back({recording.word, FeatureMatrix<float>(options.width())});
    for_all(recordings.size(), threads,
            [&](std::size_t i) { examples[i].features = features_of(recordings[i], options); });
    return examples;
}

FeatureKind kind_of_sound(MfccOptions options, int rate, double warp)
{
    options.rate = rate;
    if (options.high_hz == 0) options.high_hz = std::floor(options.highest_hz() * (1 - warp));
    options.check();
    return {true, options, options.width()};
}

Material training_material(std::span<const Recording> recordings, const FeatureKind& kind, const Variety& variety,
                           int threads)
{
    Material material;
    for (const Recording& recording : recordings) material.speakers.push_back(speaker_of(recording.path));
    const auto add = [&](std::span<const Recording> all, double speed) {
        MfccOptions options = kind.mfcc;
        options.rate = static_cast<int>(std::lround(speed * options.rate));
        options.check();
        for (Example& example : examples_of(all, options, threads)) {
            material.recordings.push_back(material.examples.size() % recordings.size());
            material.examples.push_back(std::move(example));
        }
    };
    std::vector<double> speeds = {1};
    if (variety.warp > 0) speeds.insert(speeds.end(), {1 - variety.warp, 1 + variety.warp});
    for (const double speed : speeds) add(recordings, speed);
    if (!variety.noise) return material;

    constexpr NoiseKind kKinds[] = {NoiseKind::White, NoiseKind::Pink, NoiseKind::Babble};
    constexpr double kSnrs[] = {5, 10, 15, 20};
    const Voices voices = voices_of(recordings);
    for (std::size_t turn = 0; turn < speeds.size(); ++turn) {
        std::vector<Recording> noisy(recordings.begin(), recordings.end());
        for_all(noisy.size(), threads, [&](std::size_t i) {
            // Numbers that no test's noise begins with.
            const auto seed = static_cast<std::uint32_t>(0x80000000 + turn * noisy.size() + i);
            add_noise(noisy[i], {kKinds[(i + turn) % std::size(kKinds)], kSnrs[i % std::size(kSnrs)]}, voices,
                      seed);
        });
        add(noisy, speeds[turn]);
    }
    return material;
}

void check_rate(const Recording& recording, const FeatureKind& kind)
{
    if (recording.rate != kind.mfcc.rate)
        throw Failure(recording.path + ": has " + std::to_string(recording.rate) +
                      " Hz, and the model is one of sound at " + std::to_string(kind.mfcc.rate) + " Hz");
}

std::string speaker_of(const std::string& path)
{
    const std::string name = file_name(path);
    return name.substr(0, name.rfind('_'));
}

}  // namespace zelsr::examples
