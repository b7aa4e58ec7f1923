#include "common/noise.h"

#include <zelsr/core/vector.h>
#include <zelsr/signal/resample.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/sound.h"

namespace zelsr::examples {
namespace {

constexpr std::size_t kLeastVoices = 8;
constexpr double kFlatBelow = 20;       // Hz: where pink noise begins to fall
constexpr double kLoudestToQuiet = 30;  // dB
constexpr int kFramesASecond = 50;

// A counter, each of whose values is mixed until no bit is like the counter's.
class Generator {
  public:
    // Mixed as well, so that no seed's counter soon passes where another one's began.
    explicit Generator(std::uint32_t seed) : counter_(mixed(seed)) {}

    std::uint64_t next() { return mixed(counter_ += 0x9e3779b97f4a7c15ULL); }

    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }

    // Twelve uniform numbers of 16 bits have a variance of 2^32 together; the result's is 1.
    double normal()
    {
        std::int64_t sum = -12 * 65535 / 2;
        for (int word = 0; word < 3; ++word) {
            std::uint64_t bits = next();
            for (int part = 0; part < 4; ++part, bits >>= 16) sum += static_cast<std::int64_t>(bits & 0xffff);
        }
        return static_cast<double>(sum) / 65536;
    }

  private:
    static std::uint64_t mixed(std::uint64_t bits)
    {
        bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9ULL;
        bits = (bits ^ (bits >> 27)) * 0x94d049bb133111ebULL;
        return bits ^ (bits >> 31);
    }

    std::uint64_t counter_;
};

// The library counts in 32 bits: f(first, count) for parts of what is longer.
template <class Use>
void in_parts(std::size_t size, Use use)
{
    constexpr std::size_t kPart = std::size_t{1} << 20;
    for (std::size_t i = 0; i < size; i += kPart) use(i, static_cast<std::int32_t>(std::min(kPart, size - i)));
}

double energy(std::span<const float> samples)
{
    double sum = 0;
    in_parts(samples.size(), [&](std::size_t i, std::int32_t count) {
        double part = 0;
        require(zelsDotProd_32f64f(&samples[i], &samples[i], count, &part), "zelsDotProd_32f64f");
        sum += part;
    });
    return sum;
}

double power(std::span<const float> samples)
{
    return samples.empty() ? 0 : energy(samples) / static_cast<double>(samples.size());
}

void scale(std::span<float> samples, double factor)
{
    in_parts(samples.size(), [&](std::size_t i, std::int32_t count) {
        require(zelsMulC_32f_I(static_cast<float>(factor), &samples[i], count), "zelsMulC_32f_I");
    });
}

void scale_to_power_1(std::span<float> samples)
{
    const double mean = power(samples);
    if (mean > 0) scale(samples, 1 / std::sqrt(mean));
}

void fill_white(std::span<float> noise, Generator& random)
{
    for (float& sample : noise) sample = static_cast<float>(random.normal());
}

// Real poles an octave and a half apart, with zeros half way between them (on a logarithmic scale): the steps of
// -6 dB and 0 dB an octave come to -3 dB.
class PinkFilter {
  public:
    explicit PinkFilter(int rate)
    {
        constexpr double kApart = 2 * std::numbers::sqrt2;
        for (double corner = kFlatBelow; corner < rate; corner *= kApart)
            sections_.push_back({at(corner, rate), at(corner * std::sqrt(kApart), rate)});
    }

    double operator()(double value)
    {
        for (Section& section : sections_) {
            const double state = value + section.pole * section.state;
            value = state - section.zero * section.state;
            section.state = state;
        }
        return value;
    }

  private:
    struct Section {
        double pole, zero, state = 0;
    };
    static double at(double corner, int rate) { return std::exp(-2 * std::numbers::pi * corner / rate); }

    std::vector<Section> sections_;
};

void fill_pink(std::span<float> noise, int rate, Generator& random)
{
    PinkFilter filter(rate);
    // The slowest pole has forgotten its start after a fifth of a second.
    for (int i = 0; i < rate / 5; ++i) filter(random.normal());
    for (float& sample : noise) sample = static_cast<float>(filter(random.normal()));
}

void fill_tone(std::span<float> noise, int rate, Generator& random)
{
    for (const int frequency : {400, 1000, 2300}) {
        if (2 * frequency >= rate) continue;
        // In parts of a period, of which there are as many as samples a second.
        auto phase = static_cast<std::int64_t>(random.below(static_cast<std::size_t>(rate)));
        for (float& sample : noise) {
            sample += static_cast<float>(std::sin(2 * std::numbers::pi * static_cast<double>(phase) / rate));
            phase = (phase + frequency) % rate;
        }
    }
}

void fill_babble(std::span<float> noise, const Voices& voices, Generator& random)
{
    struct Heard {
        const std::vector<float>* samples;
        float factor;  // to a power of 1
    };
    std::vector<Heard> heard;
    for (const std::vector<float>& voice : voices)
        if (const double mean = power(voice); mean > 0)
            heard.push_back({&voice, static_cast<float>(1 / std::sqrt(mean))});
    if (heard.empty()) throw Failure("babble needs voices, and there are none that can be heard");
    std::vector<float> part(std::min(noise.size(), std::size_t{1} << 16));
    for (std::size_t v = 0; v < std::max(kLeastVoices, heard.size()); ++v) {
        const auto& [samples, factor] = heard[v % heard.size()];
        std::size_t place = random.below(samples->size());
        for (std::size_t i = 0; i < noise.size();) {
            const std::size_t count = std::min({samples->size() - place, noise.size() - i, part.size()});
            const auto length = static_cast<std::int32_t>(count);
            require(zelsMulC_32f(&(*samples)[place], factor, part.data(), length), "zelsMulC_32f");
            require(zelsAdd_32f_I(part.data(), &noise[i], length), "zelsAdd_32f_I");
            place = (place + count) % samples->size();
            i += count;
        }
    }
}

std::vector<float> all_samples(SoundFile& sound)
{
    std::vector<float> samples, block(1 << 16);
    while (const std::size_t count = sound.read(block))
        samples.insert(samples.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count));
    return samples;
}

// A window of 32 periods keeps what folds back 60 dB down.
std::vector<float> resampled(const std::vector<float>& samples, int from, int to)
{
    constexpr float kPeriods = 32, kRolloff = 0.885F, kAlpha = 5.75F;
    const double factor = static_cast<double>(to) / from;
    const auto reach = static_cast<std::size_t>(kPeriods / 2 / std::min(factor, 1.0)) + 2;
    const double results = static_cast<double>(samples.size()) * factor + 2;
    if (results > std::numeric_limits<std::int32_t>::max() || samples.size() > (std::size_t{1} << 30))
        throw Failure("is too long");
    std::vector<float> between(samples.size() + 2 * reach), result(static_cast<std::size_t>(results));
    std::copy(samples.begin(), samples.end(), between.begin() + static_cast<std::ptrdiff_t>(reach));

    ZelResampleState* made = nullptr;
    require(zelsResamplePolyphaseInitAlloc_32f(&made, kPeriods, 256, kRolloff, kAlpha, 1),
            "zelsResamplePolyphaseInitAlloc_32f");
    const std::unique_ptr<ZelResampleState, SrStatus (*)(ZelResampleState*)> state(made,
                                                                                   zelsResamplePolyphaseFree_32f);
    double time = 0;
    std::int32_t count = 0;
    require(zelsResamplePolyphase_32f(made, between.data() + reach, static_cast<std::int32_t>(samples.size()),
                                      result.data(), factor, 1, &time, &count),
            "zelsResamplePolyphase_32f");
    result.resize(static_cast<std::size_t>(count));
    return result;
}

}  // namespace

const std::vector<std::string>& noise_names()
{
    static const std::vector<std::string> kNames{"white", "pink", "babble", "tone"};
    return kNames;
}

std::string noise_name(NoiseKind kind) { return noise_names()[static_cast<std::size_t>(kind)]; }

NoiseKind noise_of_name(std::string_view name)
{
    const std::vector<std::string>& names = noise_names();
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        throw WrongUse("noise is white, pink, babble or tone, not '" + std::string(name) + "'");
    return static_cast<NoiseKind>(found - names.begin());
}

Voices read_voices(const FileNames& files, int rate)
{
    Voices voices;
    for (const std::string& path : files) try {
            SoundFile sound(path);
            std::vector<float> samples = all_samples(sound);
            if (samples.empty()) throw Failure("holds no sound");
            voices.push_back(sound.rate() == rate ? std::move(samples) : resampled(samples, sound.rate(), rate));
        } catch (const Failure& failure) {
            throw Failure(path + ": " + failure.what());
        }
    return voices;
}

std::vector<float> make_noise(NoiseKind kind, std::size_t samples, int rate, std::uint32_t seed,
                              const Voices& voices)
{
    Generator random(seed);
    std::vector<float> noise(samples);
    switch (kind) {
        case NoiseKind::White:
            fill_white(noise, random);
            break;
        case NoiseKind::Pink:
            fill_pink(noise, rate, random);
            break;
        case NoiseKind::Babble:
            fill_babble(noise, voices, random);
            break;
        case NoiseKind::Tone:
            fill_tone(noise, rate, random);
            break;
    }
    scale_to_power_1(noise);
    return noise;
}

double speech_power(std::span<const float> speech, int rate)
{
    const auto length = static_cast<std::size_t>(std::max(rate / kFramesASecond, 1));
    if (speech.size() < length) return power(speech);
    std::vector<double> frames;
    for (std::size_t i = 0; i + length <= speech.size(); i += length)
        frames.push_back(power(speech.subspan(i, length)));
    const double limit = *std::max_element(frames.begin(), frames.end()) * std::pow(10, -kLoudestToQuiet / 10);
    double sum = 0;
    std::size_t count = 0;
    for (const double frame : frames)
        if (frame >= limit) {
            sum += frame;
            ++count;
        }
    return sum / static_cast<double>(count);
}

std::vector<float> mix(std::span<const float> speech, int rate, std::span<const float> noise, double snr_db)
{
    if (noise.size() < speech.size()) throw Failure("the noise is shorter than the speech");
    const std::span<const float> beside = noise.first(speech.size());
    const double noise_power = power(beside);
    if (noise_power == 0) return {speech.begin(), speech.end()};
    std::vector<float> sum(beside.begin(), beside.end());
    scale(sum, std::sqrt(speech_power(speech, rate) / noise_power * std::pow(10, -snr_db / 10)));
    in_parts(sum.size(), [&](std::size_t i, std::int32_t count) {
        require(zelsAdd_32f_I(&speech[i], &sum[i], count), "zelsAdd_32f_I");
    });
    return sum;
}

}  // namespace zelsr::examples
