// Trains a mixture of Gaussians on the features of sound: in one process, over MPI ranks, or shard by shard.
#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/fields.h"
#include "common/mfcc_arguments.h"
#include "common/output_file.h"
#include "common/program.h"
#include "common/text.h"
#include "train_gmm/training.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kUsage =
    "usage: train_gmm train FILES... -o MODEL [--components N] [--passes N] [--gain X] [--from MODEL] "
    "[OPTION...]\n"
    "       train_gmm init FILES... -o MODEL [OPTION...]\n"
    "       train_gmm accumulate MODEL FILES... -o STATS [--shard I/N]\n"
    "       train_gmm merge STATS... -o STATS\n"
    "       train_gmm update MODEL STATS... -o MODEL [--split N]\n"
    "       train_gmm score MODEL FILES...\n"
    "       train_gmm --help\n";

constexpr std::string_view kHelp =
    "\n"
    "Trains a mixture of Gaussians with diagonal covariances by splitting and expectation-\n"
    "maximisation. FILES are sound files, or features as examples/features writes them (.npy,\n"
    ".htk, .mfc, .fea). An output stays as it was until the new one is whole.\n"
    "\n"
    "  train        the whole loop; MODEL is written after every pass\n"
    "  init         a first model of one Gaussian\n"
    "  accumulate   the statistics of FILES under MODEL\n"
    "  merge        the sum of statistics\n"
    "  update       the next model, from the one before and its statistics\n"
    "  score        the log likelihood of each file, a frame\n"
    "\n"
    "Under mpirun, train, init, accumulate and score share the files out among the ranks.\n"
    "\n"
    "  -o FILE            where the result goes\n"
    "  --list FILE        more files, one name a line\n"
    "  --shard I/N        work on part I of N of the files (I from 1), of about one size\n"
    "  --components N     train until there are so many (default 8)\n"
    "  --passes N         at most, at each number of components (default 20)\n"
    "  --gain X           a pass that adds less to the log likelihood a frame is the last at\n"
    "                     its number of components (default 0.001)\n"
    "  --from MODEL       go on from this one\n"
    "  --split N          after the update, split the heaviest until there are N, at most twice\n"
    "                     as many as before\n"
    "  --floor X          least variances, as a part of those of all rows (default 0.01)\n"
    "  --help             this text\n"
    "\n"
    "Features of sound files, for train and init; a model keeps them:\n";

constexpr std::string_view kHelpEnd = "\nExit status: 0 done, 1 failed, 2 wrong use.\n";

struct Command {
    std::string_view name;
    bool options_of_features;          // takes those of mfcc_arguments.h, and --floor
    std::vector<std::string> options;  // with values
    void (*run)(const Arguments&, const Ranks&);
};

// The words of a command line behind the command.
FileNames words(const Arguments& arguments) { return {arguments.words().begin() + 1, arguments.words().end()}; }

// What -o names, which must be none of the files that are kept.
std::string output(const Arguments& arguments, FileNames kept)
{
    const std::optional<std::string> out = arguments.text("-o"), list = arguments.text("--list");
    if (list) kept.push_back(*list);
    if (!out) throw WrongUse("-o says where the result goes");
    for (const std::string& name : kept)
        if (same_file(*out, name)) throw WrongUse(name + " would be overwritten");
    return *out;
}

// The words from `first` on and what the list holds.
FileNames files_of(const Arguments& arguments, std::size_t first, bool some, const Ranks& ranks)
{
    FileNames files = words(arguments);
    files.erase(files.begin(), files.begin() + static_cast<std::ptrdiff_t>(std::min(first, files.size())));
    const std::optional<std::string> list = arguments.text("--list");
    if (list) {
        FileNames listed;
        ranks.together([&] { listed = listed_files(*list); });
        files.insert(files.end(), listed.begin(), listed.end());
    }
    if (files.empty() && (some || !list)) throw WrongUse("no files given");
    return files;
}

std::string first_word(const Arguments& arguments, const char* what)
{
    if (words(arguments).empty()) throw WrongUse(std::string("no ") + what + " given");
    return words(arguments)[0];
}

// "I/N"; I from 0 on in the result.
std::pair<int, int> shard_of(const Arguments& arguments)
{
    const std::optional<std::string> text = arguments.text("--shard");
    if (!text) return {0, 1};
    int part = 0, parts = 0, used = 0;
    if (std::sscanf(text->c_str(), "%6d/%6d%n", &part, &parts, &used) != 2 ||
        static_cast<std::size_t>(used) != text->size() || part < 1 || part > parts)
        throw WrongUse("--shard takes I/N with I from 1 to N, not '" + *text + "'");
    return {part - 1, parts};
}

// On every rank, from what the first one reads.
template <class Kept>
Kept read(const std::string& path, const Ranks& ranks)
{
    std::string text;
    ranks.together([&] {
        if (!ranks.first()) return;
        with_name(path, [&] { text = read_file(path); });
    });
    ranks.broadcast(text);
    return with_name(path, [&] { return Kept::parse(text); });
}

std::string counted(double count, const std::string& what)
{
    return fixed(count, 0) + " " + what + (count == 1 ? "" : "s");
}

std::string summary_of(const Statistics& statistics)
{
    std::string text = counted(statistics.files, "file") + ", " + counted(statistics.frames, "frame");
    if (statistics.frames > 0)
        text += ", log likelihood a frame " + fixed(statistics.log_likelihood / statistics.frames, 6);
    return text;
}

// An output of the first rank's, tried out before the work begins.
class Result {
  public:
    Result(const std::string& path, const Ranks& ranks) : path_(path), ranks_(ranks)
    {
        ranks.together([&] {
            if (ranks.first()) file_.emplace(path);
        });
    }

    void write(const std::string& text, const std::string& summary)
    {
        ranks_.together([&] {
            if (!file_) return;
            const bool shown = !file_->direct();  // what goes to the standard output stays clean
            file_->write(text);
            file_->commit();
            if (shown) std::printf("%s: %s\n", path_.c_str(), summary.c_str());
        });
    }

  private:
    std::string path_;
    const Ranks& ranks_;
    std::optional<OutputFile> file_;
};

double floor_share(const Arguments& arguments) { return arguments.number("--floor", 0.01, 0, 1); }

void run_init(const Arguments& arguments, const Ranks& ranks)
{
    const FileNames files = files_of(arguments, 0, true, ranks);
    const MfccOptions options = mfcc_options(arguments);
    const double share = floor_share(arguments);
    Result result(output(arguments, files), ranks);
    const Mixture mixture = first_model(files, options, share, ranks);
    result.write(mixture.text(), "1 component of width " + std::to_string(mixture.width()) + ", from " +
                                     counted(static_cast<double>(files.size()), "file"));
}

void run_train(const Arguments& arguments, const Ranks& ranks)
{
    const FileNames files = files_of(arguments, 0, true, ranks);
    const MfccOptions options = mfcc_options(arguments);
    const double share = floor_share(arguments);
    Schedule schedule;
    schedule.components = arguments.whole("--components", schedule.components, 1, kMostComponents);
    schedule.most_passes = arguments.whole("--passes", schedule.most_passes, 1, 1'000'000);
    schedule.gain = arguments.number("--gain", schedule.gain, 0, 1e6);
    const std::string out = output(arguments, files);
    const std::optional<std::string> from = arguments.text("--from");
    // Written beside to see that it can be; each pass does so anew.
    std::optional<Result> tried(std::in_place, out, ranks);
    tried.reset();

    Mixture mixture = from ? read<Mixture>(*from, ranks) : first_model(files, options, share, ranks);
    if (mixture.components() > schedule.components)
        throw Failure(*from + ": has " + std::to_string(mixture.components()) + " components, more than " +
                      std::to_string(schedule.components));
    if (ranks.first()) std::printf("components  pass      frames  log likelihood a frame\n");
    train(mixture, files, schedule, ranks, [&](const Pass& pass, const Mixture& next) {
        ranks.together([&] {
            if (!ranks.first()) return;
            write_file(out, next.text());
            std::printf("%s%s%s%s\n", padded(std::to_string(pass.components), 10).c_str(),
                        padded(pass.number > 0 ? std::to_string(pass.number) : "split", 6).c_str(),
                        padded(fixed(pass.frames, 0), 12).c_str(),
                        padded(fixed(pass.log_likelihood_a_frame, 6), 24).c_str());
            std::fflush(stdout);
        });
    });
    if (ranks.first()) std::printf("%s: %s\n", out.c_str(), counted(mixture.components(), "component").c_str());
}

void run_accumulate(const Arguments& arguments, const Ranks& ranks)
{
    const std::string model = first_word(arguments, "model");
    FileNames files = files_of(arguments, 1, false, ranks);
    const auto [part, parts] = shard_of(arguments);
    FileNames kept = files;
    kept.push_back(model);
    const std::string out = output(arguments, kept);
    const Mixture mixture = read<Mixture>(model, ranks);
    Result result(out, ranks);
    files = names_of(files, part_of(files, part, parts));
    const Statistics statistics = gather(files, mixture, file_name(out), ranks);
    result.write(statistics.text(), summary_of(statistics));
}

// The sum of statistics files. Throws Failure for one that is given twice, under another name too.
Statistics added(const FileNames& files, const Ranks& ranks)
{
    std::optional<Statistics> sum;
    std::map<std::string, std::string> seen;
    for (const std::string& file : files) {
        Statistics statistics = read<Statistics>(file, ranks);
        const auto [found, fresh] = seen.emplace(statistics.text(), file);
        if (!fresh && statistics.frames > 0) throw Failure(file + ": holds what " + found->second + " holds");
        with_name(file,
                  [&] { sum ? sum->add(statistics) : static_cast<void>(sum.emplace(std::move(statistics))); });
    }
    return std::move(*sum);
}

void run_merge(const Arguments& arguments, const Ranks& ranks)
{
    const FileNames files = files_of(arguments, 0, true, ranks);
    Result result(output(arguments, files), ranks);
    const Statistics sum = added(files, ranks);
    result.write(sum.text(), summary_of(sum));
}

void run_update(const Arguments& arguments, const Ranks& ranks)
{
    const std::string model = first_word(arguments, "model");
    const FileNames files = files_of(arguments, 1, true, ranks);
    const int components = arguments.whole("--split", 0, 1, kMostComponents);
    Result result(output(arguments, files), ranks);
    Mixture mixture = read<Mixture>(model, ranks);
    const Statistics statistics = added(files, ranks);
    if (statistics.model != hash_of(mixture.text()))
        throw Failure(files[0] + ": gathered under another model than " + model);
    mixture.update(statistics);
    if (components > 0) mixture.split(components);
    result.write(mixture.text(),
                 counted(mixture.components(), "component") + "; before: " + summary_of(statistics));
}

void run_score(const Arguments& arguments, const Ranks& ranks)
{
    const std::string model = first_word(arguments, "model");
    const FileNames files = files_of(arguments, 1, true, ranks);
    const Mixture mixture = read<Mixture>(model, ranks);
    const std::vector<Score> scores = score(files, mixture, ranks);
    if (!ranks.first()) return;
    Score all;
    const auto print = [](const Score& score, const std::string& name) {
        std::printf("%s%s  %s\n", padded(fixed(score.frames, 0), 10).c_str(),
                    padded(score.frames > 0 ? fixed(score.log_likelihood / score.frames, 6) : "-", 24).c_str(),
                    name.c_str());
    };
    std::printf("    frames  log likelihood a frame  file\n");
    for (std::size_t i = 0; i < files.size(); ++i) {
        print(scores[i], files[i]);
        all.frames += scores[i].frames;
        all.log_likelihood += scores[i].log_likelihood;
    }
    if (files.size() > 1) print(all, "all of them");
}

const std::vector<Command>& commands()
{
    static const std::vector<Command> all = {
        {"train", true, {"-o", "--list", "--components", "--passes", "--gain", "--from"}, run_train},
        {"init", true, {"-o", "--list"}, run_init},
        {"accumulate", false, {"-o", "--list", "--shard"}, run_accumulate},
        {"merge", false, {"-o", "--list"}, run_merge},
        {"update", false, {"-o", "--list", "--split"}, run_update},
        {"score", false, {"--list"}, run_score},
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

void run_command(const std::vector<std::string>& words, const Ranks& ranks)
{
    const Command& command = command_of(words);
    std::vector<std::string> options = command.options;
    if (command.options_of_features) {
        options.push_back("--floor");
        const std::vector<std::string> more = mfcc_option_names();
        options.insert(options.end(), more.begin(), more.end());
    }
    command.run(Arguments(words, options, {}), ranks);
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    const Ranks ranks;
    const Program program{"train_gmm", kUsage, std::string(kHelp).append(kMfccHelp).append(kHelpEnd),
                          ranks.first()};
    return run_program(program, count, arguments, [&](const std::vector<std::string>& words) {
        run_command(words, ranks);
        return true;
    });
}
