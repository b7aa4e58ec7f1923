// Recognises spoken words, alone or connected, after training on recordings of them.
#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/mfcc_arguments.h"
#include "recognise/commands.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kUsage =
    "usage: recognise train DIR -o MODEL [--components N] [OPTION...]\n"
    "       recognise test MODEL DIR [--unknown DIR] [--noise KIND --snr DB] [--page OUT.html]\n"
    "       recognise test MODEL DIR --connected [--noise KIND --snr DB] [--page OUT.html]\n"
    "       recognise MODEL FILE... [--connected] [--nbest N] [--scorer NAME]\n"
    "       recognise demo DIR [--page OUT.html] [-o MODEL]\n"
    "       recognise --help\n";

constexpr std::string_view kHelp =
    "\n"
    "Spoken words, by hidden Markov models. DIR holds a folder for each word with recordings of\n"
    "it, in sound files of any format, one channel, all at one rate. The folder of connected\n"
    "words holds sound files, each with a text file of its name that says which words are spoken.\n"
    "\n"
    "  train        makes MODEL\n"
    "  test         recognises all that DIR holds and says how much of it is right\n"
    "  MODEL FILE   says which word is spoken in each file, its log likelihood a frame and the\n"
    "               confidence; 'not recognised' where that is too low\n"
    "  demo         all of it, on the folders train, test, connected and unknown of DIR, which\n"
    "               make_words has made\n"
    "\n"
    "  -o MODEL           where the model goes\n"
    "  --components N     Gaussians a state, at most (default 4)\n"
    "  --normalise KIND   of each file's features: none, mean, or mean and variance (none, mean,\n"
    "                     variance; default variance)\n"
    "  --warp X           train on every recording three times, as it is and with its frequencies\n"
    "                     X times higher and lower, for other voices than these (default 0.08;\n"
    "                     0: off)\n"
    "  --folds N          find the threshold of confidence on speakers held back, in N turns of\n"
    "                     training (default 4; 0: no threshold, all is taken). A file's name up\n"
    "                     to its last '_' says who speaks\n"
    "  --refuse X         part of the known words that the threshold may refuse (default 0.05)\n"
    "  --connected        one word or more, without a pause between them\n"
    "  --word-penalty X   added for each connected word (default: the model's)\n"
    "  --scorer NAME      float, 16bit, 16bit-low or selection (default float)\n"
    "  --nbest N          the N best answers (default 1)\n"
    "  --noise KIND       white, pink, babble or tone, added to what is tested\n"
    "  --snr DB           speech above noise (default 10)\n"
    "  --unknown DIR      words outside of the vocabulary, a folder each\n"
    "  --page OUT.html    the report as a page\n"
    "  --threads N        at most (default: as many as there are processors); the results are the\n"
    "                     same to the last bit\n"
    "  --help             this text\n"
    "\n"
    "Features, for train; a model keeps them:\n";

constexpr std::string_view kHelpEnd = "\nExit status: 0 done, 1 failed, 2 wrong use.\n";

void run_command(const std::vector<std::string>& words)
{
    if (words.empty()) throw WrongUse("no command given");
    if (words[0] == "train") return run_train({words.begin() + 1, words.end()});
    if (words[0] == "test") return run_test({words.begin() + 1, words.end()});
    if (words[0] == "demo") return run_demo({words.begin() + 1, words.end()});
    run_recognise(words);
}

int run(const std::vector<std::string>& words)
{
    if (std::find(words.begin(), words.end(), "--help") != words.end()) {
        for (const std::string_view text : {kUsage, kHelp, kMfccHelp, kHelpEnd})
            std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }
    try {
        run_command(words);
    } catch (const WrongUse& wrong) {
        std::fprintf(stderr, "recognise: %s\n", wrong.what());
        std::fwrite(kUsage.data(), 1, kUsage.size(), stderr);
        return 2;
    } catch (const Failure& failure) {
        std::fprintf(stderr, "recognise: %s\n", failure.what());
        return 1;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "recognise: not enough memory\n");
        return 1;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "recognise: cannot write the results: %s\n", system_error_text().c_str());
        return 1;
    }
    return 0;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    return zelsr::examples::run(std::vector<std::string>(arguments + 1, arguments + count));
}
