#include "recognise/commands.h"

#include <cstdio>
#include <optional>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/mfcc_arguments.h"
#include "common/output_file.h"
#include "common/progress.h"
#include "common/text.h"
#include "recognise/command_parts.h"
#include "recognise/experiments.h"
#include "recognise/rejection.h"
#include "recognise/template_commands.h"

namespace zelsr::examples {
namespace {

constexpr double kAll = 100;  // of progress, in per cent

struct TrainingPlan {
    MfccOptions mfcc;
    Variety variety;
    double refused;
    int folds;
    TrainingOptions options;
};

const std::vector<std::string> kTrainingOptions = {"--components", "--normalise", "--warp",
                                                   "--folds",      "--refuse",    "--threads"};

TrainingPlan plan_of(const Arguments& arguments)
{
    TrainingPlan plan{mfcc_options(arguments),
                      {arguments.number("--warp", 0.08, 0, 0.5), arguments.flag("--noisy")},
                      arguments.number("--refuse", 0.05, 0, 1),
                      arguments.whole("--folds", 4, 0, 100),
                      {}};
    // Clean and noisy speech of one state lie apart.
    const int components = plan.options.components * (plan.variety.noise ? 2 : 1);
    plan.options.components = arguments.whole("--components", components, 1, 256);
    plan.options.normalisation = static_cast<Normalisation>(
        arguments.choice("--normalise", static_cast<int>(plan.options.normalisation), normalisation_names()));
    plan.options.threads = threads_of(arguments);
    return plan;
}

struct Trained {
    Model model;
    std::optional<HeldOut> held_out;
};

Trained train_on(const std::vector<Recording>& recordings, TrainingPlan plan)
{
    const FeatureKind kind = kind_of_sound(plan.mfcc, recordings.at(0).rate, plan.variety.warp);
    const Material material = training_material(recordings, kind, plan.variety, plan.options.threads);
    const bool threshold = plan.folds > 0;
    // Each turn on a part of the speakers costs about what the training on all of them does.
    const double turns = threshold ? plan.folds : 0;
    Progress progress("training", kAll, "%");
    plan.options.progress = [&](double part) { progress.at(kAll * part / (turns + 1)); };
    Trained trained{train(kind, material.examples, plan.options), {}};
    if (threshold) {
        plan.options.progress = [&](double part) { progress.at(kAll * (1 + part * turns) / (turns + 1)); };
        trained.held_out = cross_validate(kind, material, plan.options, plan.folds);
        if (!trained.held_out->confidences.empty())
            trained.model.threshold = threshold_of(trained.held_out->confidences, plan.refused);
    }
    return trained;
}

std::string summary_of(const Trained& trained)
{
    std::string text = counted(trained.model.words.size(), "word") + ", " +
                       counted(static_cast<std::size_t>(trained.model.state_count()), "state");
    if (trained.held_out && !trained.model.threshold)
        text += "; no word of speakers held back came out right: nothing will be refused";
    else if (trained.held_out) {
        const Tally& words = trained.held_out->words;
        text += "; right of speakers held back: " +
                fixed(100.0 * static_cast<double>(words.right) / static_cast<double>(words.tested), 2) + " %";
    }
    return text;
}

ScorerKind scorer_of(const Arguments& arguments)
{
    return static_cast<ScorerKind>(arguments.choice("--scorer", 0, scorer_names()));
}

}  // namespace

void run_train(const std::vector<std::string>& words)
{
    std::vector<std::string> names = mfcc_option_names();
    names.insert(names.end(), kTrainingOptions.begin(), kTrainingOptions.end());
    names.insert(names.end(), kTemplateOptions.begin(), kTemplateOptions.end());
    names.push_back("-o");
    const Arguments arguments(words, names, {"--noisy"});
    check_words(arguments, 1, 1, "the folder of words is");
    const std::string out = arguments.text("-o").value_or(kUsualModel);
    if (arguments.text("--templates")) return train_templates(arguments, out);
    refuse_options(arguments, kTemplateOptions, "needs --templates");
    const TrainingPlan plan = plan_of(arguments);
    OutputFile file(out);  // tried out before the work begins
    const std::vector<Recording> recordings = recordings_of(read_word_folder, arguments.words()[0]);
    const Trained trained = train_on(recordings, plan);
    file.write(trained.model.text());
    const bool shown = !file.direct();
    file.commit();
    if (shown)
        std::printf("%s: %s, from %s\n", out.c_str(), summary_of(trained).c_str(), summary_of(recordings).c_str());
}

void run_test(const std::vector<std::string>& words)
{
    const Arguments arguments(words, {"--noise", "--snr", "--unknown", "--page", "--threads", "--word-penalty"},
                              {"--connected"});
    check_words(arguments, 1, 2, "the folder is");
    const ModelFile file = model_file(arguments, 2);
    if (file.behind.empty()) throw WrongUse("the folder is missing");
    if (TemplateModel::begins(file.text)) return test_templates(arguments, file);
    const int threads = threads_of(arguments);
    const std::optional<NoiseAt> noise = noise_of(arguments);
    const bool connected = arguments.flag("--connected");
    const std::optional<std::string> unknown = arguments.text("--unknown");
    if (connected && unknown) throw WrongUse("--unknown is for words that stand alone");
    if (!connected) refuse_options(arguments, {"--word-penalty"}, "needs --connected");
    auto model = parsed<Model>(file);
    model.word_penalty = arguments.number("--word-penalty", model.word_penalty, -1e6, 1e6);
    if (unknown && !model.threshold) throw Failure(file.path + ": has no threshold of confidence");

    const std::unique_ptr<OutputFile> page = output_of(arguments, "--page");
    std::vector<Recording> recordings =
        recordings_of(connected ? read_utterance_folder : read_word_folder, file.behind[0]);
    for (const Recording& recording : recordings) check_rate(recording, model.kind);
    const std::vector<Recording> others =
        unknown ? recordings_of(read_word_folder, *unknown) : std::vector<Recording>();
    PageContent content;
    content.facts = {{"tested", summary_of(recordings)}};
    content.headline_about = connected ? "sentences without an error" : "words that stand alone, scored in float";
    if (noise) {
        add_noise(recordings, *noise, threads);
        content.facts.push_back({"noise", noise_name(noise->kind) + ", " + shortest(noise->snr_db) + " dB"});
        content.headline_about += ", with " + noise_name(noise->kind) + " noise";
    }
    const std::vector<Recogniser> recognisers = made_of(file, [&] { return all_recognisers(model); });
    if (connected) {
        add_connected(content, recognisers, recordings, threads);
        content.headline = content.connected[0].sentences;
    } else {
        add_words(content, recognisers, recordings, threads);
        if (unknown) add_rejection(content, recognisers[0], recordings, others, threads);
    }
    add_picture(content, recognisers[0], recordings[0], connected);
    report(content, page.get());
}

void run_recognise(const std::vector<std::string>& words)
{
    const Arguments arguments(words, {"--nbest", "--scorer", "--word-penalty"}, {"--connected"});
    check_words(arguments, 1, words.size(), "the sound file is");
    const ModelFile file = model_file(arguments);
    if (file.behind.empty()) throw WrongUse("no sound files given");
    if (TemplateModel::begins(file.text)) return recognise_by_templates(arguments, file);
    DecodingOptions options;
    options.connected = arguments.flag("--connected");
    if (!options.connected) refuse_options(arguments, {"--word-penalty"}, "needs --connected");
    options.hypotheses = arguments.whole("--nbest", 1, 1, 50);
    const ScorerKind scorer = scorer_of(arguments);
    auto model = parsed<Model>(file);
    model.word_penalty = arguments.number("--word-penalty", model.word_penalty, -1e6, 1e6);
    const Recogniser recogniser = made_of(file, [&] { return Recogniser(std::move(model), scorer); });

    for_each_recording(file.behind, [&](const std::string& path, const Recording& recording) {
        check_rate(recording, recogniser.model().kind);
        const Recognition heard =
            recogniser.recognise(features_of(recording, recogniser.model().kind.mfcc), options);
        std::printf("%s: %s", path.c_str(),
                    heard.accepted ? recogniser.text_of(heard.paths[0]).c_str() : "not recognised");
        if (!heard.paths.empty())
            std::printf("  score %s  confidence %s",
                        fixed(heard.paths[0].score / static_cast<double>(heard.paths[0].states.size()), 3).c_str(),
                        fixed(heard.confidence, 3).c_str());
        std::printf("\n");
        for (std::size_t i = 0; options.hypotheses > 1 && i < heard.paths.size(); ++i)
            std::printf("  %zu  %s  %s\n", i + 1,
                        fixed(heard.paths[i].score / static_cast<double>(heard.paths[i].states.size()), 3).c_str(),
                        recogniser.text_of(heard.paths[i]).c_str());
    });
}

void run_demo(const std::vector<std::string>& words)
{
    std::vector<std::string> names = mfcc_option_names();
    names.insert(names.end(), kTrainingOptions.begin(), kTrainingOptions.end());
    names.insert(names.end(), {"-o", "--page"});
    const Arguments arguments(words, names, {"--noisy"});
    check_words(arguments, 1, 1, "the folder that make_words has made is");
    const std::string& folder = arguments.words()[0];
    const TrainingPlan plan = plan_of(arguments);
    const int threads = threads_of(arguments);

    const std::unique_ptr<OutputFile> model = output_of(arguments, "-o"), page = output_of(arguments, "--page");
    const std::vector<Recording> training = recordings_of(read_word_folder, folder + "/train");
    const std::vector<Recording> test = recordings_of(read_word_folder, folder + "/test");
    const std::vector<Recording> unknown = recordings_of(read_word_folder, folder + "/unknown");
    const std::vector<Recording> connected = recordings_of(read_utterance_folder, folder + "/connected");
    const Trained trained = train_on(training, plan);
    write(model.get(), [&] { return trained.model.text(); });

    PageContent content;
    content.summary =
        "Words as left-to-right states, each a mixture of Gaussians, trained on some recordings and tested on "
        "others.";
    content.headline_about = "words that stand alone, of voices that training did not hear, scored in float";
    if (const std::set<std::string> shared = shared_speakers(training, test); !shared.empty()) {
        content.headline_about = "words that stand alone, scored in float";
        content.remarks.push_back("Who speaks in training and in the test: " + counted(shared.size(), "speaker") +
                                  ", " + *shared.begin() + (shared.size() > 1 ? " and others." : "."));
    }
    content.facts = {{"trained on", summary_of(training)},
                     {"model", summary_of(trained)},
                     {"tested on", summary_of(test)},
                     {"connected words", counted(connected.size(), "utterance")}};
    content.commands = {"examples/recognise/make_words WORDS", "recognise demo WORDS --page OUT.html"};

    const std::vector<Recogniser> recognisers = all_recognisers(trained.model);
    add_words(content, recognisers, test, threads);
    std::vector<NamedRecogniser> in_noise = {{"trained without", &recognisers[0]}};
    std::optional<Recogniser> noisy;
    if (!plan.variety.noise) {
        TrainingPlan with_noise = plan;
        with_noise.variety.noise = true;
        with_noise.folds = 0;
        with_noise.options.components *= 2;
        in_noise.push_back({"trained with noise", &noisy.emplace(train_on(training, with_noise).model)});
    }
    add_template_row(content, trained.model.kind, training, test, threads);
    {
        Progress progress("noise", kAll, "%");
        add_noises(content, in_noise, test, std::vector{NoiseKind::White, NoiseKind::Pink, NoiseKind::Babble},
                   std::vector{NoiseSeries::kClean, 20.0, 10.0, 5.0}, threads,
                   [&](double part) { progress.at(kAll * part); });
    }
    add_connected(content, recognisers, connected, threads);
    if (trained.model.threshold) add_rejection(content, recognisers[0], test, unknown, threads);
    add_picture(content, recognisers[0], connected.at(0), true);
    report(content, page.get());
}

}  // namespace zelsr::examples
