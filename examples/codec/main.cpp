// Codes speech at 2400 bits a second, and makes sound of it again.
#include <string>
#include <string_view>
#include <vector>

#include "codec/commands.h"
#include "common/failure.h"
#include "common/program.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kUsage =
    "usage: codec encode SOUND OUT.lpc [--rate HZ] [OPTION...]\n"
    "       codec decode IN.lpc OUT.wav [--salvage] [OPTION...]\n"
    "       codec both FILES_OR_FOLDERS... -o FOLDER [OPTION...]\n"
    "       codec report FILES_OR_FOLDERS... [--picture FILE.svg] [OPTION...]\n"
    "       codec train FILES_OR_FOLDERS... -o BOOK\n"
    "       codec --help\n";

constexpr std::string_view kHelp =
    "\n"
    "Codes speech at 2400 bits a second (8 kHz, a mean of all channels), and makes sound of it\n"
    "again. Sound files of 8 kHz and more are taken, whatever libsndfile reads. An output\n"
    "stays as it was until the new one is whole.\n"
    "\n"
    "  encode       a sound file as coded speech\n"
    "  decode       coded speech as a sound file, of the kind that its ending names (.wav if none)\n"
    "  both         sound files through both, with their names, and those in folders with their\n"
    "               paths: for listening, and for trying recognisers\n"
    "  report       what coding takes from each file\n"
    "  train        a codebook of envelopes\n"
    "\n"
    "SOUND, OUT.lpc and IN.lpc may be -, the standard input or output. SOUND is then 16-bit\n"
    "samples of one channel, low byte first, without a head. So are those of an OUT.wav of -.\n"
    "\n"
    "  --rate HZ          of samples from the standard input (default 8000)\n"
    "  --salvage          of damaged coded speech, keep what comes before the damage\n"
    "  --book FILE        a codebook from train, for encode and decode alike (default: its own)\n"
    "  --picture FILE     of report, with one sound file: pitch, level and spectra as SVG\n"
    "  -o WHERE           where the result goes\n"
    "  --block N          samples that are read at once (default 4096); changes no value\n"
    "  --help             this text\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 wrong use.\n";

struct Command {
    std::string_view name;
    std::vector<std::string> options, flags;
    bool (*run)(const Arguments&);  // false: some file failed, which is said already
};

const std::vector<Command>& commands()
{
    static const std::vector<Command> all = {
        {"encode", {"--rate", "--book", "--block"}, {}, run_encode},
        {"decode", {"--book"}, {"--salvage"}, run_decode},
        {"both", {"-o", "--book", "--block"}, {}, run_both},
        {"report", {"--picture", "--book", "--block"}, {}, run_report},
        {"train", {"-o", "--block"}, {}, run_train},
    };
    return all;
}

const Command& command_of(const std::vector<std::string>& words)
{
    if (words.empty()) throw WrongUse("no command given");
    for (const Command& command : commands())
        if (command.name == words[0]) return command;
    throw WrongUse("'" + words[0] + "' is no command");
}

bool run(const std::vector<std::string>& words)
{
    const Command& command = command_of(words);
    return command.run(Arguments({words.begin() + 1, words.end()}, command.options, command.flags));
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    return run_program({"codec", kUsage, std::string(kHelp)}, count, arguments, run);
}
