// Recognises spoken words, alone or connected, after training on recordings of them.
#include <string>
#include <string_view>
#include <vector>

#include "common/mfcc_arguments.h"
#include "common/program.h"
#include "recognise/commands.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kUsage =
    "usage: recognise train DIR [-o MODEL] [--components N] [OPTION...]\n"
    "       recognise train DIR [-o MODEL] --templates N|all [OPTION...]\n"
    "       recognise test [MODEL] DIR [--unknown DIR] [--noise KIND --snr DB] [--page OUT.html]\n"
    "       recognise test [MODEL] DIR --connected [--noise KIND --snr DB] [--page OUT.html]\n"
    "       recognise [MODEL] FILE... [--connected] [--nbest N] [--scorer NAME]\n"
    "       recognise demo DIR [--page OUT.html] [-o MODEL]\n"
    "       recognise --help\n";

constexpr std::string_view kHelp =
    "\n"
    "Spoken words, by hidden Markov models or by templates, recordings of the words themselves\n"
    "that are warped in time. DIR holds a folder for each word with recordings of\n"
    "it, in sound files of any format, one channel, all at one rate. The folder of connected\n"
    "words holds sound files, each with a text file of its name that says which words are spoken.\n"
    "\n"
    "  train        makes MODEL\n"
    "  test         recognises all that DIR holds and says how much of it is right\n"
    "  FILE...      says which word is spoken in each file, its log likelihood a frame and the\n"
    "               confidence; 'not recognised' where that is too low\n"
    "  demo         all of it, on the folders train, test, connected and unknown of DIR, which\n"
    "               make_words has made\n"
    "\n"
    "Without a name the model is recognise.model, in the folder that is worked in.\n"
    "\n"
    "  -o MODEL           where the model goes (of demo, nowhere without it)\n"
    "  --components N     Gaussians a state, at most (default 4; 8 with --noisy)\n"
    "  --normalise KIND   of each file's features, column by column: none; mean, which becomes 0;\n"
    "                     variance, which becomes 1, and the mean 0 (default mean)\n"
    "  --warp X           train on every recording three times, as it is and with its frequencies\n"
    "                     X times higher and lower, for other voices than these (default 0.08,\n"
    "                     for templates 0; 0: off)\n"
    "  --noisy            train on every recording with some noise, too\n"
    "  --folds N          find the threshold of confidence on speakers held back, in N turns of\n"
    "                     training (default 4; 0: no threshold, all is taken). A file's name up\n"
    "                     to its last '_' says who speaks\n"
    "  --refuse X         part of the known words that the threshold may refuse (default 0.05)\n"
    "  --templates N      no statistics: MODEL is N recordings a word, those in the middle of all,\n"
    "                     or all; what is spoken is the word that it is nearest to\n"
    "  --votes N          a word's distance is the mean of its N nearest templates (default 3)\n"
    "  --band N           frames by which the ends of two recordings may differ (default 15)\n"
    "  --beam X           how far a path may fall behind the best, in distances of a frame, before\n"
    "                     it is given up (default 10)\n"
    "  --connected        one word or more, without a pause between them\n"
    "  --word-penalty X   added for each connected word (default: the model's)\n"
    "  --scorer NAME      float, 16bit, 16bit-low or selection (default float); of templates float,\n"
    "                     16bit or 8bit\n"
    "  --nbest N          the N best answers, up to 50 (default 1)\n"
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

bool run(const std::vector<std::string>& words)
{
    if (words.empty()) throw WrongUse("no command given");
    const std::vector<std::string> rest(words.begin() + 1, words.end());
    if (words[0] == "train")
        run_train(rest);
    else if (words[0] == "test")
        run_test(rest);
    else if (words[0] == "demo")
        run_demo(rest);
    else
        run_recognise(words);
    return true;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    const Program program{"recognise", kUsage, std::string(kHelp).append(kMfccHelp).append(kHelpEnd)};
    return run_program(program, count, arguments, run);
}
