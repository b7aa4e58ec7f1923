// Codes speech at 2400 bits a second, and makes sound of it again.
#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "codec/commands.h"
#include "common/failure.h"

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

int run(const std::vector<std::string>& words)
{
    if (std::find(words.begin(), words.end(), "--help") != words.end()) {
        for (const std::string_view text : {kUsage, kHelp}) std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }
    bool good = false;
    try {
        const Command& command = command_of(words);
        good = command.run(Arguments({words.begin() + 1, words.end()}, command.options, command.flags));
    } catch (const WrongUse& wrong) {
        complain(wrong.what());
        std::fwrite(kUsage.data(), 1, kUsage.size(), stderr);
        return 2;
    } catch (const Failure& failure) {
        complain(failure.what());
        return 1;
    } catch (const std::bad_alloc&) {
        complain("not enough memory");
        return 1;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        complain("cannot write the results: " + system_error_text());
        return 1;
    }
    return good ? 0 : 1;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    return zelsr::examples::run(std::vector<std::string>(arguments + 1, arguments + count));
}
