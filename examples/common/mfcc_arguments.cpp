#include "common/mfcc_arguments.h"

#include <sstream>

#include "common/failure.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

const std::vector<std::string>& energies()
{
    static const std::vector<std::string> names = {"none", "c0", "log"};
    return names;
}

}  // namespace

const std::string_view kMfccHelp =
    "  --frame MS         length of a frame (default 25)\n"
    "  --shift MS         from frame to frame (default 10)\n"
    "  --offset HZ        high-pass that takes off the offset; 0: off (default 2.5)\n"
    "  --pre-emphasis A   y[n] = x[n] - A x[n-1]; 0: off (default 0.97)\n"
    "  --filters N        on the mel scale (default 26)\n"
    "  --low HZ           where the first filter begins (default 64)\n"
    "  --high HZ          where the last one ends (default half the rate, up to 8000)\n"
    "  --cepstra N        c1 to cN (default 12)\n"
    "  --lifter L         c[k] times 1 + L/2 sin(pi k / L); 0: off (default 22)\n"
    "  --energy E         none, c0 or log, behind the cepstra (default c0)\n"
    "  --derivatives N    0: none, 1: deltas, 2: accelerations too (default 2)\n"
    "  --cmn SECONDS      take off the running mean of so many seconds; 0: off (default 0)\n";

std::vector<std::string> mfcc_option_names()
{
    return {"--frame", "--shift",   "--offset", "--pre-emphasis", "--filters",     "--low",
            "--high",  "--cepstra", "--lifter", "--energy",       "--derivatives", "--cmn"};
}

MfccOptions mfcc_options(const Arguments& arguments)
{
    MfccOptions options;
    options.frame_ms = arguments.number("--frame", options.frame_ms, 1, 1000);
    options.shift_ms = arguments.number("--shift", options.shift_ms, 0.1, 1000);
    options.offset_hz = arguments.number("--offset", options.offset_hz, 0, 1000);
    options.pre_emphasis = arguments.number("--pre-emphasis", options.pre_emphasis, 0, 0.999);
    options.filters = arguments.whole("--filters", options.filters, 2, 256);
    options.low_hz = arguments.number("--low", options.low_hz, 1, 500'000);
    options.high_hz = arguments.number("--high", options.high_hz, 2, 500'000);
    options.cepstra = arguments.whole("--cepstra", options.cepstra, 1, 255);
    options.lifter = arguments.whole("--lifter", options.lifter, 0, 1000);
    options.energy =
        static_cast<Energy>(arguments.choice("--energy", static_cast<int>(options.energy), energies()));
    options.derivatives = arguments.whole("--derivatives", options.derivatives, 0, 2);
    options.cmn_seconds = arguments.number("--cmn", options.cmn_seconds, 0, 1e6);
    return options;
}

std::string mfcc_text(const MfccOptions& options)
{
    std::string text = "--frame=" + shortest(options.frame_ms) + " --shift=" + shortest(options.shift_ms) +
                       " --offset=" + shortest(options.offset_hz) +
                       " --pre-emphasis=" + shortest(options.pre_emphasis) +
                       " --filters=" + std::to_string(options.filters) + " --low=" + shortest(options.low_hz);
    if (options.high_hz > 0) text += " --high=" + shortest(options.high_hz);
    return text + " --cepstra=" + std::to_string(options.cepstra) + " --lifter=" + std::to_string(options.lifter) +
           " --energy=" + energies()[static_cast<std::size_t>(options.energy)] +
           " --derivatives=" + std::to_string(options.derivatives) + " --cmn=" + shortest(options.cmn_seconds);
}

MfccOptions mfcc_options_of_text(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    const Arguments arguments(words, mfcc_option_names(), {});
    if (!arguments.words().empty()) throw Failure("'" + arguments.words()[0] + "' is no option of the features");
    return mfcc_options(arguments);
}

}  // namespace zelsr::examples
