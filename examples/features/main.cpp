// Turns a sound file into features: mel-frequency cepstra with deltas and accelerations, as CSV, .npy or HTK file.
#include <zelsr.h>

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/feature_writers.h"
#include "common/mfcc.h"
#include "common/mfcc_arguments.h"
#include "common/output_file.h"
#include "common/program.h"
#include "common/progress.h"
#include "common/sound.h"
#include "common/text.h"
#include "features/picture.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kUsage =
    "usage: features SOUND OUT [--format csv|npy|htk] [--fixed] [OPTION...] [--help]\n";

constexpr std::string_view kHelp =
    "\n"
    "Turns a sound file (WAV, FLAC, OGG and what else libsndfile reads) into mel-frequency\n"
    "cepstra with deltas and accelerations. OUT is CSV, NumPy (.npy) or an HTK parameter\n"
    "file (.htk, .mfc, .fea) by its ending; an existing one stays until the new one is whole.\n"
    "\n"
    "  --format F         csv, npy or htk, whatever the ending\n"
    "  --fixed            compute in 16 bits; .npy holds the integers, HTK files are compressed\n"
    "  --picture FILE     draw the features, FILE.svg or FILE.png\n"
    "  --channel C        mean of the channels or first (default mean)\n";

constexpr std::string_view kHelpEnd =
    "  --block N          samples a step (default 16384); changes no value\n"
    "  --help             this text\n"
    "\n"
    "Samples count in 16-bit units. Exit status: 0 done, 1 failed, 2 wrong use.\n";

struct Task {
    std::string sound, out;
    Format format;
    std::optional<std::string> picture;
    bool fixed, svg;
    Channels channels;
    std::size_t block;
    MfccOptions options;
};

bool ends_with_svg(const std::string& path)
{
    if (path.ends_with(".svg")) return true;
    if (path.ends_with(".png")) return false;
    throw WrongUse("--picture takes a file that ends with .svg or .png, not '" + path + "'");
}

Task task_of(const Arguments& arguments)
{
    if (arguments.words().size() != 2)
        throw WrongUse(arguments.words().empty() ? "no sound file given"
                                                 : "one sound file and one output are wanted");
    Task task{};
    task.sound = arguments.words()[0];
    task.out = arguments.words()[1];
    const int format = arguments.choice("--format", -1, {"csv", "npy", "htk"});
    task.format = format < 0 ? format_of_ending(task.out) : static_cast<Format>(format);
    task.fixed = arguments.flag("--fixed");
    task.picture = arguments.text("--picture");
    task.svg = task.picture && ends_with_svg(*task.picture);
    task.channels = static_cast<Channels>(arguments.choice("--channel", 0, {"mean", "first"}));
    task.block = static_cast<std::size_t>(arguments.whole("--block", 1 << 14, 1, 1 << 20));

    task.options = mfcc_options(arguments);

    // Files are written beside and renamed: nothing may take the sound's place.
    if (same_file(task.sound, task.out) || (task.picture && same_file(task.sound, *task.picture)))
        throw WrongUse("the sound file would be overwritten");
    if (task.picture && (*task.picture == task.out || same_file(task.out, *task.picture)))
        throw WrongUse("features and picture have one name");
    return task;
}

std::string summary_of(const Task& task, const SoundFile& sound, std::int64_t frames)
{
    std::string text = task.out + ": " + std::to_string(frames) + (frames == 1 ? " frame of " : " frames of ") +
                       std::to_string(task.options.width()) + " values";
    if (task.fixed) text += " in 16 bits, times 2^" + std::to_string(task.options.fixed_bits());
    text += "; " + fixed(static_cast<double>(sound.position()) / sound.rate(), 2) + " s, " +
            std::to_string(sound.rate()) + " Hz, " + std::to_string(sound.channels()) +
            (sound.channels() == 1 ? " channel\n" : " channels\n");
    for (const std::string& remark : remarks_on(sound)) text += "  note: " + remark + "\n";
    return text;
}

template <class T>
void convert(Task& task)
{
    SoundFile sound(task.sound, task.channels);
    task.options.rate = sound.rate();
    Mfcc<T> mfcc(task.options);
    FeaturePicture picture(task.options);
    OutputFile file(task.out);
    const auto writer = make_writer<T>(task.format, task.options, file);
    const auto hand_on = [&](const RowBlock<T>& rows) {
        if (rows.rows == 0) return;
        writer->write(rows);
        if (task.picture) picture.add(rows);
    };

    std::int64_t frames = 0;
    {
        Progress progress(file_name(task.sound), static_cast<double>(sound.expected()) / sound.rate());
        std::vector<float> part(task.block);
        std::vector<T> samples(task.block);
        while (const std::size_t got = sound.read(part)) {
            to_16_bit_units(std::span(part).first(got), samples.data());
            hand_on(mfcc.add(std::span(samples).first(got)));
            progress.at(static_cast<double>(sound.position()) / sound.rate());
        }
        frames = mfcc.frames();
        if (frames == 0)
            throw Failure("too short: " + std::to_string(sound.position()) + " samples, a frame has " +
                          std::to_string(task.options.length()));
        hand_on(mfcc.finish());
    }
    writer->finish();

    // Both files are whole before either takes its place.
    std::optional<OutputFile> drawn;
    if (task.picture) {
        drawn.emplace(*task.picture);
        drawn->write(task.svg ? picture.svg(file_name(task.sound)) : picture.png());
    }
    const bool shown = !file.direct();  // what goes to the standard output stays clean
    file.commit();
    if (drawn) drawn->commit();
    if (shown) std::fputs(summary_of(task, sound, frames).c_str(), stdout);
}

bool run(const std::vector<std::string>& words)
{
    std::vector<std::string> with_value = mfcc_option_names();
    with_value.insert(with_value.end(), {"--format", "--picture", "--channel", "--block"});
    Task task = task_of(Arguments(words, with_value, {"--fixed"}));
    with_name(task.sound, [&] { task.fixed ? convert<std::int16_t>(task) : convert<float>(task); });
    return true;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    const Program program{"features", kUsage, std::string(kHelp).append(kMfccHelp).append(kHelpEnd)};
    return run_program(program, count, arguments, run);
}
