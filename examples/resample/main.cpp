// Changes the sample rate of a sound file, channel by channel, in constant memory.
#include <zelsr.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/output_file.h"
#include "common/pass_on.h"
#include "common/per_channel.h"
#include "common/program.h"
#include "common/resampler.h"
#include "common/sound.h"
#include "common/sound_writer.h"
#include "common/text.h"
#include "resample/measure.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kUsage =
    "usage: resample SOUND OUT --rate HZ [--quality low|medium|high] [--fixed] [OPTION...] [--help]\n";

constexpr std::string_view kHelp =
    "       resample --measure IN:OUT... [--fixed] [--picture FILE.svg]\n"
    "\n"
    "Converts a sound file (WAV, FLAC, OGG and what else libsndfile reads) to another sample\n"
    "rate. OUT keeps the sample format, and the container unless its ending names another;\n"
    "an existing file stays until the new one is whole.\n"
    "\n"
    "  --rate HZ          samples a second of OUT, 100 to 1000000\n"
    "  --quality Q        low (60 dB), medium (80 dB) or high (110 dB; default medium)\n"
    "  --fixed            compute in 16 bits\n"
    "  --container C      wav, flac, ogg, aiff, au, caf, w64, rf64 or mp3, whatever the ending\n"
    "  --samples F        s8, u8, s16, s24, s32, float, double, ulaw, alaw, vorbis or opus\n"
    "  --measure          measure the presets between the given rates, such as 44100:16000\n"
    "  --picture FILE     with --measure: draw their frequency responses\n"
    "  --block N          samples a step (default 16384); changes no value\n"
    "  --help             this text\n"
    "\n"
    "Samples beyond full scale are limited and counted. Exit status: 0 done, 1 failed,\n"
    "2 wrong use.\n";

constexpr int kLowestRate = 100, kHighestRate = 1000000;

struct Task {
    std::string sound, out;
    int rate = 0, block = 0;
    Quality quality{};
    bool fixed = false, measure = false;
    std::optional<int> container, samples;
    std::optional<std::string> picture;
    std::vector<RatePair> pairs;
};

RatePair pair_of(const std::string& text)
{
    RatePair pair{};
    const char *const begin = text.data(), *const end = begin + text.size();
    const auto in = std::from_chars(begin, end, pair.in);
    const bool apart = in.ec == std::errc() && in.ptr != end && *in.ptr == ':';
    const auto out = std::from_chars(apart ? in.ptr + 1 : end, end, pair.out);
    const auto outside = [](int rate) { return rate < 2000 || rate > kHighestRate; };
    if (out.ec != std::errc() || out.ptr != end || outside(pair.in) || outside(pair.out) ||
        4 * std::int64_t{std::max(pair.in, pair.out)} < 5 * std::int64_t{std::min(pair.in, pair.out)})
        throw WrongUse("--measure takes two rates from 2000 to " + std::to_string(kHighestRate) +
                       " that differ by a quarter, such as 44100:16000, not '" + text + "'");
    return pair;
}

Task task_of(const Arguments& arguments)
{
    Task task;
    task.fixed = arguments.flag("--fixed");
    task.measure = arguments.flag("--measure");
    task.picture = arguments.text("--picture");
    if (task.measure) {
        if (arguments.words().empty()) throw WrongUse("--measure needs rates, such as 44100:16000");
        for (const std::string& word : arguments.words()) task.pairs.push_back(pair_of(word));
        return task;
    }
    if (task.picture) throw WrongUse("--picture goes with --measure");
    if (arguments.words().size() != 2)
        throw WrongUse(arguments.words().empty() ? "no sound file given"
                                                 : "one sound file and one output are wanted");
    task.sound = arguments.words()[0];
    task.out = arguments.words()[1];
    task.rate = arguments.whole("--rate", 0, kLowestRate, kHighestRate);
    if (task.rate == 0) throw WrongUse("--rate is missing");
    std::vector<std::string> names;
    for (const Quality& quality : kQualities) names.push_back(quality.name);
    task.quality = kQualities[static_cast<std::size_t>(arguments.choice("--quality", 1, names))];
    task.block = arguments.whole("--block", 1 << 14, 1, 1 << 20);
    const int container = arguments.choice("--container", -1, container_names());
    task.container =
        container < 0 ? container_of_ending(task.out) : container_of_name(static_cast<std::size_t>(container));
    const int samples = arguments.choice("--samples", -1, sample_format_names());
    if (samples >= 0) task.samples = sample_format_of_name(static_cast<std::size_t>(samples));
    if (same_file(task.sound, task.out)) throw WrongUse("the sound file would be overwritten");
    return task;
}

// The same rate: nothing is filtered.
template <class T>
class Copy {
  public:
    std::span<const T> add(std::span<const float> sound) { return in_form(sound, formed_); }
    std::span<const T> finish() { return {}; }

  private:
    std::vector<T> formed_;
};

std::string summary_of(const Task& task, const SoundFile& sound, int format, const Written& written)
{
    std::string text = task.out + ": " + std::to_string(written.samples) + " samples of " +
                       std::to_string(task.rate) + " Hz, " + std::to_string(sound.channels()) +
                       (sound.channels() == 1 ? " channel" : " channels") + "; " + format_text(format) +
                       "; from " + std::to_string(sound.rate()) + " Hz";
    text += sound.rate() == task.rate ? ", copied" : std::string(", ") + task.quality.name + " quality";
    text += task.fixed ? " in 16 bits\n" : "\n";
    if (written.limited > 0)
        text += "  note: " + std::to_string(written.limited) + (written.limited == 1 ? " sample" : " samples") +
                " limited to full scale\n";
    for (const std::string& remark : remarks_on(sound)) text += "  note: " + remark + "\n";
    return text;
}

template <class T>
void convert(const Task& task)
{
    SoundFile sound(task.sound);
    if (sound.rate() < kLowestRate || sound.rate() > kHighestRate)
        throw Failure("has a sample rate of " + std::to_string(sound.rate()) + " Hz, outside " +
                      std::to_string(kLowestRate) + " to " + std::to_string(kHighestRate));
    const int format = changed_format(sound.format(), task.container, task.samples, task.rate, sound.channels());
    // A header may promise anything.
    const double samples = std::min(static_cast<double>(sound.expected()) * task.rate / sound.rate(), 1e12);
    SoundWriter writer(task.out, task.rate, sound.channels(), format, static_cast<std::int64_t>(samples));
    Written written;
    if (sound.rate() == task.rate) {
        Copy<T> copy;
        written = pass_on(sound, file_name(task.sound), task.block, copy, writer);
    } else {
        const RateFilter<T> filter(sound.rate(), task.rate, task.quality);
        PerChannel<T, Resampler<T>> conversion(sound.channels(), [&] { return Resampler<T>(filter); });
        written = pass_on(sound, file_name(task.sound), task.block, conversion, writer);
    }
    writer.commit();
    if (!task.fixed) written.limited = writer.limited();
    std::fputs(summary_of(task, sound, format, written).c_str(), stdout);
}

template <class T>
void measure_all(const Task& task)
{
    std::optional<OutputFile> drawn;
    if (task.picture) drawn.emplace(*task.picture);
    for (const RatePair& pair : task.pairs) {
        std::printf("%d to %d Hz\n  %-8s %12s %12s %12s %12s %12s\n", pair.in, pair.out, "preset", "pass band",
                    "ripple", "stop band", "sweep", "sine");
        for (const Quality& quality : kQualities) {
            const Measured found = measure<T>(pair, quality);
            std::printf("  %-8s %9s Hz %9s dB %9s dB %9s dB %9s dB\n", quality.name,
                        fixed(quality.pass_band() * 0.5 * std::min(pair.in, pair.out), 0).c_str(),
                        fixed(found.ripple, 5).c_str(), fixed(found.attenuation, 1).c_str(),
                        fixed(found.sweep, 1).c_str(), fixed(found.sine, 1).c_str());
        }
    }
    if (!drawn) return;
    drawn->write(response_picture<T>(task.pairs));
    drawn->commit();
}

bool run(const std::vector<std::string>& words)
{
    const Task task =
        task_of(Arguments(words, {"--rate", "--quality", "--container", "--samples", "--picture", "--block"},
                          {"--fixed", "--measure"}));
    with_name(task.measure ? "--measure" : task.sound, [&] {
        if (task.measure)
            task.fixed ? measure_all<std::int16_t>(task) : measure_all<float>(task);
        else
            task.fixed ? convert<std::int16_t>(task) : convert<float>(task);
    });
    return true;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    return run_program({"resample", kUsage, std::string(kHelp)}, count, arguments, run);
}
