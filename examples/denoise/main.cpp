// Takes noise out of a sound file, channel by channel, in constant memory.
#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
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
#include "common/sound.h"
#include "common/sound_writer.h"
#include "common/text.h"
#include "denoise/chain_16s.h"
#include "denoise/chain_32f.h"
#include "denoise/channel.h"
#include "denoise/measure.h"
#include "denoise/peer.h"
#include "denoise/picture.h"
#include "denoise/raw.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kUsage =
    "usage: denoise SOUND OUT [--gain ephraim-malah|wiener] [--fixed] [OPTION...] [--help]\n";

constexpr std::string_view kHelp =
    "       denoise measure [FILE...] [--csv FILE]\n"
    "\n"
    "Takes steady noise out of a sound file (WAV, FLAC, OGG and what else libsndfile reads,\n"
    "8000 to 192000 Hz). OUT keeps rate, length and sample format, and the container unless\n"
    "its ending names another; an existing file stays until the new one is whole.\n"
    "SOUND - is standard input, OUT - standard output: 16-bit samples without a header.\n"
    "\n"
    "  --gain RULE        ephraim-malah (default) or wiener\n"
    "  --floor DB         by how much a frequency is attenuated at most, 0 to 60 (default 20)\n"
    "  --fixed            compute in fixed point, from and to 16 bits\n"
    "  --picture FILE     draw spectrograms before and after, and the noise estimate (SVG);\n"
    "                     of several channels, the first one\n"
    "  --container C      wav, flac, ogg, aiff, au, caf, w64, rf64 or mp3, whatever the ending\n"
    "  --samples F        s8, u8, s16, s24, s32, float, double, ulaw, alaw, vorbis or opus\n"
    "  --rate HZ          of standard input, and\n"
    "  --channels N       its channels (default 1)\n"
    "  --block N          samples a step (default 4096); changes no value\n"
    "  --help             this text\n"
    "\n"
    "measure mixes white, pink, babble and tone noise into speech (default:\n"
    "examples/speech/*.flac) at 15, 10, 5 and 0 dB, and prints the segmental SNR before and\n"
    "after: the mean over the frames of 20 ms within 30 dB of the loudest one, each limited to\n"
    "-10 ... 35 dB; and by how many dB the other frames are quieter. --csv writes the same\n"
    "numbers to a file.\n"
    "\n"
    "Samples beyond full scale are limited and counted. Exit status: 0 done, 1 failed,\n"
    "2 wrong use.\n";

constexpr const char* kDefaultSpeech = "examples/speech";
constexpr double kDefaultFloor = 20;  // dB

double gain_of(double decibels) { return std::pow(10, -decibels / 20); }

struct Task {
    std::string sound, out;
    int rate = 0, input_channels = 1, block = 0;
    GainRule rule{};
    double floor = 0;  // dB
    bool fixed = false;
    std::optional<int> container, samples;
    std::optional<std::string> picture;
};

Task task_of(const Arguments& arguments)
{
    Task task;
    if (arguments.words().size() != 2)
        throw WrongUse(arguments.words().empty() ? "no sound file given"
                                                 : "one sound file and one output are wanted");
    if (arguments.text("--csv")) throw WrongUse("--csv goes with measure");
    task.sound = arguments.words()[0];
    task.out = arguments.words()[1];
    task.rule = static_cast<GainRule>(arguments.choice("--gain", 0, {"ephraim-malah", "wiener"}));
    task.floor = arguments.number("--floor", kDefaultFloor, 0, 60);
    task.fixed = arguments.flag("--fixed");
    task.picture = arguments.text("--picture");
    task.block = arguments.whole("--block", 4096, 1, 1 << 20);
    task.rate = arguments.whole("--rate", 0, kLowestRate, kHighestRate);
    task.input_channels = arguments.whole("--channels", 1, 1, 64);
    if (task.sound == "-" && task.rate == 0) throw WrongUse("--rate is missing: standard input has no header");
    if (task.sound != "-" && (task.rate != 0 || arguments.text("--channels")))
        throw WrongUse("--rate and --channels are for standard input");
    const int container = arguments.choice("--container", -1, container_names());
    task.container =
        container < 0 ? container_of_ending(task.out) : container_of_name(static_cast<std::size_t>(container));
    const int samples = arguments.choice("--samples", -1, sample_format_names());
    if (samples >= 0) task.samples = sample_format_of_name(static_cast<std::size_t>(samples));
    if (task.out == "-" && (container >= 0 || samples >= 0))
        throw WrongUse("standard output has no container, and samples of 16 bits");
    if (task.sound != "-" && same_file(task.sound, task.out))
        throw WrongUse("the sound file would be overwritten");
    if (task.picture && (same_file(task.sound, *task.picture) || same_output(*task.picture, task.out)))
        throw WrongUse("the picture would overwrite a sound");
    return task;
}

std::string way_of(const Task& task)
{
    return std::string(task.rule == GainRule::EphraimMalah ? "ephraim-malah" : "wiener") + " gain of " +
           fixed(0 - task.floor, 1) + " dB at least" + (task.fixed ? ", in fixed point" : "");
}

template <class Chain, class Source, class Sink>
Written stream(const Task& task, Source& source, Sink& sink)
{
    using T = typename Chain::Sample;
    const Settings settings{source.rate(), task.rule, gain_of(task.floor)};
    PerChannel<T, Channel<Chain>> channels(source.channels(), [&] { return Channel<Chain>(settings); });

    std::optional<OutputFile> drawn;
    DenoisePicture picture{FrameShape(source.rate())};
    if (task.picture) {
        drawn.emplace(*task.picture);
        channels.channel(0).on_frame([&](const Chain& chain) { picture.add(chain.seen()); });
    }

    // Fixed point limits its results itself; of single precision the sink knows better.
    const std::string name = task.sound == "-" ? "standard input" : file_name(task.sound);
    Written written = pass_on(source, name, task.block, channels, sink);
    if (drawn) drawn->write(picture.svg(name, way_of(task)));
    sink.commit();
    if (drawn) drawn->commit();
    if (!task.fixed) written.limited = sink.limited();
    return written;
}

template <class Source, class Sink>
Written stream_by(const Task& task, Source& source, Sink& sink)
{
    return task.fixed ? stream<FixedChain>(task, source, sink) : stream<FloatChain>(task, source, sink);
}

std::string note_on(const Written& written)
{
    if (written.limited == 0) return "";
    return "  note: " + std::to_string(written.limited) + (written.limited == 1 ? " sample" : " samples") +
           " limited to full scale\n";
}

// To a file or to standard output; the summary stays off the latter.
template <class Source>
void run_task(const Task& task, Source& source, int format)
{
    if (task.out == "-") {
        RawOutput output;
        std::fputs(note_on(stream_by(task, source, output)).c_str(), stderr);
        return;
    }
    format = changed_format(format, task.container, task.samples, source.rate(), source.channels());
    SoundWriter writer(task.out, source.rate(), source.channels(), format, source.expected());
    const Written written = stream_by(task, source, writer);
    const std::string text = task.out + ": " + std::to_string(written.samples) + " samples of " +
                             std::to_string(source.rate()) + " Hz, " + std::to_string(source.channels()) +
                             (source.channels() == 1 ? " channel" : " channels") + "; " + format_text(format) +
                             "; " + way_of(task) + "\n" + note_on(written);
    std::fputs(text.c_str(), stdout);
}

void clean(const Task& task)
{
    if (task.sound == "-") {
        RawInput input(task.rate, task.input_channels);
        return run_task(task, input, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    }
    SoundFile sound(task.sound);
    if (sound.rate() < kLowestRate || sound.rate() > kHighestRate)
        throw Failure("has a sample rate of " + std::to_string(sound.rate()) + " Hz, outside " +
                      std::to_string(kLowestRate) + " to " + std::to_string(kHighestRate));
    run_task(task, sound, sound.format());
    std::FILE* const notes = task.out == "-" ? stderr : stdout;
    for (const std::string& remark : remarks_on(sound)) std::fprintf(notes, "  note: %s\n", remark.c_str());
}

FileNames default_speech()
{
    FileNames files;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(kDefaultSpeech, none))
        if (entry.path().extension() == ".flac") files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    if (files.empty())
        throw WrongUse(std::string("measure needs sound files: there are none in ") + kDefaultSpeech);
    return files;
}

struct Measuring {
    FileNames files;
    std::optional<std::string> csv;
};

void measure_all(const Measuring& task)
{
    std::optional<OutputFile> csv;
    if (task.csv) csv.emplace(*task.csv);
    const std::vector<Measured> measured = measure(task.files, gain_of(kDefaultFloor));
    std::fputs(table_of(measured).c_str(), stdout);
    if (!peer_there()) std::puts("note: built without SpeexDSP, whose columns are left out");
    if (!csv) return;
    csv->write(csv_of(measured));
    csv->commit();
}

// Of measure: its files, and where its numbers go.
Measuring measuring_of(const Arguments& arguments)
{
    for (const char* other :
         {"--gain", "--floor", "--picture", "--container", "--samples", "--rate", "--channels", "--block"})
        if (arguments.text(other)) throw WrongUse(std::string(other) + " does not go with measure");
    if (arguments.flag("--fixed")) throw WrongUse("measure has both arithmetics");
    Measuring task{{arguments.words().begin() + 1, arguments.words().end()}, arguments.text("--csv")};
    if (task.files.empty()) task.files = default_speech();
    for (const std::string& file : task.files)
        if (task.csv && same_file(*task.csv, file)) throw WrongUse(file + " would be overwritten");
    return task;
}

bool run(const std::vector<std::string>& words)
{
    const Arguments arguments(
        words,
        {"--gain", "--floor", "--picture", "--container", "--samples", "--rate", "--channels", "--block", "--csv"},
        {"--fixed"});
    if (!arguments.words().empty() && arguments.words()[0] == "measure") {
        const Measuring task = measuring_of(arguments);
        with_name("measure", [&] { measure_all(task); });
    } else {
        const Task task = task_of(arguments);
        with_name(task.sound == "-" ? "standard input" : task.sound, [&] { clean(task); });
    }
    return true;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    return run_program({"denoise", kUsage, std::string(kHelp)}, count, arguments, run);
}
