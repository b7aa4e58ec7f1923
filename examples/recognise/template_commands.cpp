#include "recognise/template_commands.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <set>

#include "common/failure.h"
#include "common/mfcc_arguments.h"
#include "common/output_file.h"
#include "common/parallel.h"
#include "common/progress.h"
#include "common/text.h"
#include "recognise/command_parts.h"
#include "recognise/evaluation.h"
#include "recognise/experiments.h"

namespace zelsr::examples {
namespace {

constexpr int kUsualTemplates = 24;
const char* const kNotes[] = {"single precision", "features in 16 bits", "features in 8 bits"};

// Of a word; "all" is 0.
int templates_of(const Arguments& arguments)
{
    return arguments.text("--templates") == "all" ? 0
                                                  : arguments.whole("--templates", kUsualTemplates, 1, 1 << 20);
}

TemplateOptions options_of(const Arguments& arguments)
{
    TemplateOptions options;
    options.templates = templates_of(arguments);
    options.votes = arguments.whole("--votes", options.votes, 1, 1000);
    options.warping.band = arguments.whole("--band", options.warping.band, 1, 1000);
    options.warping.beam = arguments.number("--beam", options.warping.beam, 0.001, 1e6);
    options.threads = threads_of(arguments);
    return options;
}

std::string summary_of(const TemplateModel& model)
{
    return counted(model.words.size(), "word") + ", " + counted(model.templates(), "template");
}

std::vector<Outcome> recognise_all(const TemplateRecogniser& recogniser, std::span<const Example> examples,
                                   int threads)
{
    std::vector<Outcome> outcomes(examples.size());
    for_all(examples.size(), threads, [&](std::size_t i) {
        const TemplateMatch heard = recogniser.recognise(examples[i].features);
        const bool any = !heard.words.empty();
        outcomes[i] = {examples[i].word, any ? recogniser.name(heard.words[0]) : std::string(kNothing),
                       heard.margin, any};
    });
    return outcomes;
}

struct Speed {
    double frames, words;  // a second
};

// On one thread, the faster of two times, of some hundred words throughout the examples.
Speed speed_of(const TemplateRecogniser& recogniser, std::span<const Example> examples)
{
    constexpr std::size_t kWords = 100;
    const std::size_t step = std::max(examples.size() / kWords, std::size_t{1});
    double fastest = std::numeric_limits<double>::max(), frames = 0, words = 0;
    for (std::size_t i = 0; i < examples.size(); i += step) {
        frames += examples[i].features.rows();
        ++words;
    }
    for (int pass = 0; pass < 2; ++pass) {
        const double start = processor_seconds();
        for (std::size_t i = 0; i < examples.size(); i += step) recogniser.recognise(examples[i].features);
        fastest = std::min(fastest, processor_seconds() - start);
    }
    return {frames / fastest, words / fastest};
}

struct Row {
    std::vector<Outcome> outcomes;
    std::string words_a_second;
};

Row add_row(PageContent& content, const std::string& name, const TemplateRecogniser& recogniser,
            const std::string& note, std::span<const Example> examples, int threads)
{
    std::vector<Outcome> outcomes = recognise_all(recogniser, examples, threads);
    const Speed speed = speed_of(recogniser, examples);
    content.scorers.push_back({name, note, tally_of(outcomes), speed.frames});
    return {std::move(outcomes), fixed(speed.words, 0)};
}

std::vector<std::string> names_of(const TemplateModel& model)
{
    std::vector<std::string> names;
    for (const TemplateWord& word : model.words) names.push_back(word.name);
    return names;
}

}  // namespace

const std::vector<std::string> kTemplateOptions = {"--templates", "--votes", "--band", "--beam"};

void train_templates(const Arguments& arguments, const std::string& out)
{
    refuse_options(arguments, {"--components", "--normalise", "--folds", "--refuse"}, "is not for templates");
    TemplateOptions options = options_of(arguments);
    const Variety variety{arguments.number("--warp", 0, 0, 0.5), arguments.flag("--noisy")};
    const MfccOptions mfcc = mfcc_options(arguments);
    OutputFile file(out);  // tried out before the work begins
    const std::vector<Recording> recordings = recordings_of(read_word_folder, arguments.words()[0]);
    const FeatureKind kind = kind_of_sound(mfcc, recordings[0].rate, variety.warp);
    const Material material = training_material(recordings, kind, variety, options.threads);
    const TemplateModel model = [&] {
        std::set<std::string> words;
        for (const Recording& recording : recordings) words.insert(recording.word);
        const auto total = static_cast<double>(words.size());
        Progress progress("choosing templates", total, "words");
        options.progress = [&](double part) { progress.at(total * part); };
        return choose_templates(kind, material.examples, options);
    }();
    file.write(model.text());
    const bool shown = !file.direct();
    file.commit();
    if (shown)
        std::printf("%s: %s, from %s\n", out.c_str(), summary_of(model).c_str(), summary_of(recordings).c_str());
}

void test_templates(const Arguments& arguments, const ModelFile& file)
{
    refuse_options(arguments, {"--connected", "--unknown", "--word-penalty"}, "is not for templates");
    const int threads = threads_of(arguments);
    const std::optional<NoiseAt> noise = noise_of(arguments);
    const auto model = parsed<TemplateModel>(file);
    const std::unique_ptr<OutputFile> page = output_of(arguments, "--page");
    std::vector<Recording> recordings = recordings_of(read_word_folder, file.behind[0]);
    for (const Recording& recording : recordings) check_rate(recording, model.kind);
    PageContent content;
    content.headline_about = "words that stand alone, by templates in single precision";
    content.facts = {{"tested", summary_of(recordings)}, {"model", summary_of(model)}};
    if (noise) {
        add_noise(recordings, *noise, threads);
        content.facts.push_back({"noise", noise_name(noise->kind) + ", " + shortest(noise->snr_db) + " dB"});
        content.headline_about += ", with " + noise_name(noise->kind) + " noise";
    }
    const std::vector<Example> examples = examples_of(recordings, model.kind.mfcc, threads);
    std::string speeds;
    for (std::size_t i = 0; i < warp_arithmetic_names().size(); ++i) {
        const std::string& name = warp_arithmetic_names()[i];
        const TemplateRecogniser recogniser(model, static_cast<WarpArithmetic>(i));
        const Row row = add_row(content, name, recogniser, kNotes[i], examples, threads);
        speeds += (i == 0 ? "" : ", ") + name + ' ' + row.words_a_second;
        if (i > 0) continue;
        content.headline = tally_of(row.outcomes);
        content.confusions = confusions_of(row.outcomes, names_of(model));
        content.confusions.about = "single words, " + name;
        content.voices = voice_rows(row.outcomes, recordings);
    }
    content.facts.push_back({"words a second", speeds});
    report(content, page.get());
}

void recognise_by_templates(const Arguments& arguments, const ModelFile& file)
{
    refuse_options(arguments, {"--connected", "--word-penalty"}, "is not for templates");
    const auto best = static_cast<std::size_t>(arguments.whole("--nbest", 1, 1, 1000));
    const auto arithmetic = static_cast<WarpArithmetic>(arguments.choice("--scorer", 0, warp_arithmetic_names()));
    const TemplateRecogniser recogniser(parsed<TemplateModel>(file), arithmetic);
    for_each_recording(file.behind, [&](const std::string& path, const Recording& recording) {
        check_rate(recording, recogniser.model().kind);
        const TemplateMatch heard = recogniser.recognise(features_of(recording, recogniser.model().kind.mfcc));
        if (heard.words.empty())
            std::printf("%s: not recognised\n", path.c_str());
        else
            std::printf("%s: %s  distance %s  margin %s\n", path.c_str(), recogniser.name(heard.words[0]).c_str(),
                        fixed(heard.words[0].distance, 4).c_str(), fixed(heard.margin, 3).c_str());
        for (std::size_t i = 0; best > 1 && i < std::min(best, heard.words.size()); ++i)
            std::printf("  %zu  %s  %s\n", i + 1, fixed(heard.words[i].distance, 4).c_str(),
                        recogniser.name(heard.words[i]).c_str());
    });
}

void add_template_row(PageContent& content, const FeatureKind& kind, std::span<const Recording> training,
                      std::span<const Recording> test, int threads)
{
    TemplateOptions options;
    options.templates = kUsualTemplates;
    options.threads = threads;
    const TemplateRecogniser recogniser(
        choose_templates(kind, examples_of(training, kind.mfcc, threads), options));
    add_row(content, "templates", recogniser,
            "no model: " + std::to_string(kUsualTemplates) + " recordings a word, warped in time",
            examples_of(test, kind.mfcc, threads), threads);
}

}  // namespace zelsr::examples
