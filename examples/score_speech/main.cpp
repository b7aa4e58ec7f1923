// Finds speech in sound files: trains a mixture of Gaussians for speech and one for pauses on each file, scores
// every frame with both, and prints the segments where speech wins.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/failure.h"
#include "common/output_file.h"
#include "common/program.h"
#include "common/sound.h"
#include "common/text.h"
#include "score_speech/comparison.h"
#include "score_speech/features.h"
#include "score_speech/picture.h"
#include "score_speech/segments.h"

namespace zelsr::examples {
namespace {

constexpr int kMostComponents = 64;

constexpr std::string_view kUsage =
    "usage: score_speech FILE... [--svg OUT.svg] [--switch-penalty X] [--components N] [--fixed[=low]] [--help]\n";

std::string help()
{
    return "\n"
           "Finds the speech in sound files (WAV, FLAC, OGG and what else libsndfile reads).\n"
           "\n"
           "  --svg OUT.svg        draw waveform, spectrogram and scores; for one FILE\n"
           "  --switch-penalty X   what a change between speech and pause costs in log score,\n"
           "                       0 or more (default " +
           fixed(kDefaultSwitchPenalty, 0) +
           "): a higher price, fewer segments\n"
           "  --components N       Gaussians a model, 1 to " +
           std::to_string(kMostComponents) +
           " (default 1): a mixture follows speech\n"
           "                       more closely; speech and pauses need 8 frames a component each\n"
           "  --fixed              score in 16 bits as well, and show what that changes: the part of\n"
           "                       the frames that score higher under the same model, the segments\n"
           "                       with the same ends, and the time to score a frame\n"
           "  --fixed=low          the same, and in 32-bit integer sums too\n"
           "  --help               this text\n"
           "\n"
           "A table for each file goes to stdout: start and end of each segment in seconds, and\n"
           "by how much the speech model's log score lies above the pause model's, per frame.\n"
           "Exit status: 0 all files scored, 1 some file failed, 2 wrong use.\n";
}

struct Options {
    std::vector<std::string> files;
    std::optional<std::string> svg;
    double switch_penalty = kDefaultSwitchPenalty;
    int components = 1;
    std::vector<Arithmetic> arithmetics;  // to compare with floating point
};

double parse_penalty(std::string_view text)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= 0) || !std::isfinite(value))
        throw WrongUse("--switch-penalty takes a number from 0 on, not '" + std::string(text) + "'");
    return value;
}

int parse_components(std::string_view text)
{
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 1 || value > kMostComponents)
        throw WrongUse("--components takes a whole number from 1 to " + std::to_string(kMostComponents) +
                       ", not '" + std::string(text) + "'");
    return value;
}

// Takes "--name VALUE" and "--name=VALUE"; what follows "--" is a file.
Options parse(const std::vector<std::string>& arguments)
{
    Options options;
    bool only_files = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (only_files || !argument.starts_with("-")) {
            options.files.push_back(argument);
            continue;
        }
        const std::size_t equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        auto value = [&] {
            if (equals != std::string::npos) return argument.substr(equals + 1);
            if (i + 1 == arguments.size()) throw WrongUse(name + " needs a value");
            return arguments[++i];
        };
        if (argument == "--")
            only_files = true;
        else if (name == "--svg")
            options.svg = value();
        else if (name == "--switch-penalty")
            options.switch_penalty = parse_penalty(value());
        else if (name == "--components")
            options.components = parse_components(value());
        else if (argument == "--fixed")
            options.arithmetics = {Arithmetic::kPlain};
        else if (argument == "--fixed=low")
            options.arithmetics = {Arithmetic::kPlain, Arithmetic::kLow};
        else
            throw WrongUse("unknown option " + argument);
    }
    if (options.files.empty()) throw WrongUse("no sound file given");
    if (options.svg && options.files.size() > 1) throw WrongUse("--svg takes one sound file at a time");
    return options;
}

std::string plural(std::size_t count, const std::string& what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string summary_of(const Analysis& analysis, const Scoring& scoring)
{
    if (!scoring.told_apart)
        return "no speech told from pauses in " + fixed(analysis.seconds, 2) + " s: " +
               (scoring.rounds == 0
                    ? "one level throughout"
                    : "loud and quiet parts only " + fixed(scoring.level_difference, 1) + " dB apart");
    double speech = 0;
    for (const Segment& segment : scoring.segments)
        speech += analysis.boundary(segment.end) - analysis.boundary(segment.first);
    return "speech: " + fixed(speech, 2) + " of " + fixed(analysis.seconds, 2) + " s (" +
           fixed(100 * speech / analysis.seconds, 1) + " %) in " + plural(scoring.segments.size(), "segment") +
           ", up to " + fixed(scoring.level_difference, 1) + " dB above the pauses";
}

std::string table_of(const std::string& file, const Analysis& analysis, const Scoring& scoring)
{
    std::string out = file + ": " + fixed(analysis.seconds, 2) + " s, " + std::to_string(analysis.shape.rate) +
                      " Hz, " + plural(static_cast<std::size_t>(analysis.channels), "channel") + "\n";
    for (const std::string& remark : analysis.remarks) out += "  note: " + remark + "\n";
    if (!scoring.segments.empty()) out += "  segment   start (s)     end (s)   length (s)   speech over pause\n";
    int number = 0;
    for (const Segment& segment : scoring.segments) {
        const double start = analysis.boundary(segment.first), end = analysis.boundary(segment.end);
        out += padded(std::to_string(++number), 9) + padded(fixed(start, 2), 12) + padded(fixed(end, 2), 12) +
               padded(fixed(end - start, 2), 13) + padded(fixed(segment.mean_difference, 1), 20) + "\n";
    }
    return out + "  " + summary_of(analysis, scoring) + "\n";
}

void score_file(const std::string& file, const Options& options)
{
    SoundFile sound(file);
    const Analysis analysis = analyse(sound, file_name(file));
    const Scoring scoring = score(analysis.features, options.switch_penalty, options.components);
    std::string table = table_of(file, analysis, scoring);
    if (scoring.told_apart && !options.arithmetics.empty())
        table += table_of(compare(analysis.features, scoring, options.switch_penalty, options.arithmetics));
    std::fwrite(table.data(), 1, table.size(), stdout);
    std::fflush(stdout);
    if (options.svg)
        write_file(*options.svg, draw(file_name(file), summary_of(analysis, scoring), analysis, scoring));
}

// A file that fails does not keep the others from being scored.
bool run(const Program& program, const std::vector<std::string>& words)
{
    const Options options = parse(words);
    bool done = true;
    for (const std::string& file : options.files) {
        try {
            with_name(file, [&] { score_file(file, options); });
        } catch (const Failure& failure) {
            complain(program, failure.what());
            done = false;
        }
    }
    return done;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    const Program program{"score_speech", kUsage, help()};
    return run_program(program, count, arguments,
                       [&](const std::vector<std::string>& words) { return run(program, words); });
}
