// The distributed front-end on a sound file: features free of steady noise, marks of speech, a picture.
#include <string>
#include <string_view>
#include <vector>

#include "aurora/compare.h"
#include "aurora/convert.h"
#include "common/arguments.h"
#include "common/failure.h"
#include "common/output_file.h"
#include "common/program.h"
#include "common/sound_writer.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kUsage =
    "usage: aurora SOUND OUT [--format csv|npy|htk] [--fixed] [--picture FILE.svg] [--marks FILE]\n"
    "              [--cleaned FILE] [--channel mean|first] [--block N] [--help]\n"
    "       aurora compare WORDS_FOLDER [--noise white|pink|babble|tone] [--snr DB]\n"
    "              [--norm none|mean|variance] [--threads N]\n";

constexpr std::string_view kHelp =
    "\n"
    "Turns a sound file of 8000 or 16000 Hz into 39 features a frame, every 10 ms, after noise\n"
    "reduction: c1 to c12, a level of c0 and the log energy, their deltas and accelerations. OUT is\n"
    "CSV, NumPy (.npy) or an HTK parameter file (.htk, .mfc, .fea) by its ending; an existing one\n"
    "stays until the new one is whole.\n"
    "\n"
    "  --format F         csv, npy or htk, whatever the ending\n"
    "  --fixed            compute in 16 bits; .npy holds the integers, HTK files are compressed\n"
    "  --picture FILE     draw the spectrogram before and behind noise reduction, as SVG\n"
    "  --marks FILE       each frame's time and mark as CSV: speech, pause or undecided\n"
    "  --cleaned FILE     the sound behind noise reduction, 8000 Hz, 16 bits: WAV, FLAC or what its\n"
    "                     ending names\n"
    "  --channel C        mean of the channels or first (default mean)\n"
    "  --block N          samples a step (default 16384); changes no value\n"
    "  --help             this text\n"
    "\n"
    "compare trains a recogniser on the clean words of WORDS_FOLDER/train and tries it on those of\n"
    "WORDS_FOLDER/test in noise, with these features and with plain cepstra (examples/features).\n"
    "\n"
    "  --noise KIND       this one only (default white, pink and babble)\n"
    "  --snr DB           of speech to noise, this one only (default 20, 10, 5 and 0)\n"
    "  --norm N           of an utterance's features: none, mean or variance (default mean)\n"
    "  --threads N        default: as many as there are processors; changes no result\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 wrong use.\n";

Conversion conversion_of(const Arguments& arguments)
{
    if (arguments.words().size() != 2)
        throw WrongUse(arguments.words().empty() ? "no sound file given"
                                                 : "one sound file and one output are wanted");
    Conversion conversion;
    conversion.sound = arguments.words()[0];
    conversion.out = arguments.words()[1];
    const int format = arguments.choice("--format", -1, {"csv", "npy", "htk"});
    conversion.format = format < 0 ? format_of_ending(conversion.out) : static_cast<Format>(format);
    conversion.fixed = arguments.flag("--fixed");
    conversion.picture = arguments.text("--picture");
    conversion.marks = arguments.text("--marks");
    conversion.cleaned = arguments.text("--cleaned");
    conversion.channels = static_cast<Channels>(arguments.choice("--channel", 0, {"mean", "first"}));
    conversion.block = static_cast<std::size_t>(arguments.whole("--block", 1 << 14, 1, 1 << 20));
    if (conversion.picture && !conversion.picture->ends_with(".svg"))
        throw WrongUse("--picture takes a file that ends with .svg, not '" + *conversion.picture + "'");
    if (conversion.cleaned && !container_of_ending(*conversion.cleaned))
        throw WrongUse("the ending of '" + *conversion.cleaned + "' names no sound file: take .wav or .flac");

    // Files are written beside and renamed: nothing may take another's place.
    std::vector<std::string> files = {conversion.sound, conversion.out};
    for (const auto& file : {conversion.picture, conversion.marks, conversion.cleaned})
        if (file) files.push_back(*file);
    for (std::size_t i = 0; i < files.size(); ++i)
        for (std::size_t k = 0; k < i; ++k)
            if (files[i] == files[k] || same_file(files[i], files[k]))
                throw WrongUse(k == 0 ? "the sound file would be overwritten"
                                      : "two outputs have the name '" + files[i] + "'");
    return conversion;
}

const std::vector<std::string> kConversionValues = {"--format",  "--picture", "--marks",
                                                    "--cleaned", "--channel", "--block"};
const std::vector<std::string> kComparisonValues = {"--noise", "--snr", "--norm", "--threads"};

Comparison comparison_of(const Arguments& arguments)
{
    if (arguments.words().size() != 2) throw WrongUse("compare wants one folder of words");
    Comparison comparison;
    comparison.folder = arguments.words()[1];
    if (const auto noise = arguments.text("--noise")) comparison.noises = {noise_of_name(*noise)};
    if (arguments.text("--snr")) comparison.ratios = {arguments.number("--snr", 0, -100, 100)};
    comparison.normalisation =
        static_cast<Normalisation>(arguments.choice("--norm", 1, {"none", "mean", "variance"}));
    comparison.threads = arguments.whole("--threads", 0, 0, 64);
    return comparison;
}

bool run(const std::vector<std::string>& words)
{
    if (!words.empty() && words[0] == "compare") {
        compare(comparison_of(Arguments(words, kComparisonValues, {})));
    } else {
        const Conversion conversion = conversion_of(Arguments(words, kConversionValues, {"--fixed"}));
        with_name(conversion.sound, [&] { convert(conversion); });
    }
    return true;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    return run_program({"aurora", kUsage, std::string(kHelp)}, count, arguments, run);
}
