#include "recognise/experiments.h"

#include <algorithm>

#include "common/text.h"

namespace zelsr::examples {
namespace {

const char* const kNotes[] = {"means and variances in single precision", "16-bit data, sums in single precision",
                              "16-bit data, sums in 32-bit integers",
                              "single precision, three tenths of the Gaussians a frame"};

std::vector<Example> examples_for(const Recogniser& recogniser, std::span<const Recording> recordings, int threads)
{
    for (const Recording& recording : recordings) check_rate(recording, recogniser.model().kind);
    return examples_of(recordings, recogniser.model().kind.mfcc, threads);
}

Hypothesis hypothesis_of(const Recogniser& recogniser, const Path& path)
{
    const Model& model = recogniser.model();
    Hypothesis hypothesis;
    hypothesis.text = recogniser.text_of(path);
    for (const Segment& segment : path.segments) {
        const bool silence = segment.word == kSilence;
        const std::size_t word = silence ? 0 : static_cast<std::size_t>(segment.word);
        const Chain& chain = silence ? model.silence : model.words[word].chain;
        hypothesis.spans.push_back({silence ? "" : model.words[word].name, segment.first, segment.end});
        for (std::int32_t t = segment.first; t < segment.end; ++t)
            hypothesis.states.push_back(path.states[static_cast<std::size_t>(t)] - chain.first);
    }
    hypothesis.scores = path.frame_scores;
    return hypothesis;
}

}  // namespace

std::vector<Recogniser> all_recognisers(const Model& model)
{
    std::vector<Recogniser> recognisers;
    for (const ScorerKind kind :
         {ScorerKind::Float, ScorerKind::Fixed, ScorerKind::FixedLow, ScorerKind::Selecting})
        recognisers.emplace_back(model, kind);
    return recognisers;
}

void add_words(PageContent& content, std::span<const Recogniser> recognisers,
               std::span<const Recording> recordings, int threads)
{
    const std::vector<Example> examples = examples_for(recognisers[0], recordings, threads);
    std::vector<const Recogniser*> all;
    for (const Recogniser& recogniser : recognisers) all.push_back(&recogniser);
    const std::vector<double> speeds = frames_a_second(all, examples);
    for (std::size_t i = 0; i < recognisers.size(); ++i) {
        const std::vector<Outcome> outcomes = recognise_all(recognisers[i], examples, {}, threads);
        content.scorers.push_back({scorer_names()[i], kNotes[i], tally_of(outcomes), speeds[i]});
        if (i > 0) continue;
        content.headline = tally_of(outcomes);
        std::vector<std::string> words;
        for (const Word& word : recognisers[0].model().words) words.push_back(word.name);
        content.confusions = confusions_of(outcomes, std::move(words));
        content.confusions.about = "single words as they are, " + scorer_names()[0];
        content.voices = voice_rows(outcomes, recordings);
    }
}

void add_noises(PageContent& content, std::span<const NamedRecogniser> recognisers,
                std::span<const Recording> recordings, std::span<const NoiseKind> kinds,
                std::span<const double> snr_db, int threads, const std::function<void(double)>& progress)
{
    double done = 0;
    for (const NoiseKind kind : kinds) {
        NoiseSeries series{noise_name(kind), {snr_db.begin(), snr_db.end()}, {}};
        for (const NamedRecogniser& one : recognisers) series.lines.push_back({one.name, {}});
        for (const double snr : snr_db) {
            std::vector<Recording> noisy(recordings.begin(), recordings.end());
            if (snr != NoiseSeries::kClean) add_noise(noisy, {kind, snr}, threads);
            const std::vector<Example> examples = examples_for(*recognisers[0].recogniser, noisy, threads);
            for (std::size_t i = 0; i < recognisers.size(); ++i)
                series.lines[i].words.push_back(
                    tally_of(recognise_all(*recognisers[i].recogniser, examples, {}, threads)));
            progress(++done / static_cast<double>(kinds.size() * snr_db.size()));
        }
        content.noises.push_back(series);
    }
}

void add_connected(PageContent& content, std::span<const Recogniser> recognisers,
                   std::span<const Recording> recordings, int threads)
{
    const std::vector<Example> examples = examples_for(recognisers[0], recordings, threads);
    DecodingOptions options;
    options.connected = true;
    for (std::size_t i = 0; i < recognisers.size(); ++i)
        content.connected.push_back(
            connected_row(scorer_names()[i], recognise_all(recognisers[i], examples, options, threads)));
}

void add_rejection(PageContent& content, const Recogniser& recogniser, std::span<const Recording> known,
                   std::span<const Recording> unknown, int threads)
{
    const auto confidences = [&](std::span<const Recording> recordings) {
        std::vector<double> values;
        for (const Outcome& outcome :
             recognise_all(recogniser, examples_for(recogniser, recordings, threads), {}, threads))
            values.push_back(outcome.confidence);
        return values;
    };
    content.rejection = {confidences(known), confidences(unknown), recogniser.model().threshold.value(),
                         "log likelihood of the word's path less that of the best state, a frame"};
}

void add_picture(PageContent& content, const Recogniser& recogniser, const Recording& recording, bool connected)
{
    const MfccOptions& mfcc = recogniser.model().kind.mfcc;
    const Recognition heard = recogniser.recognise(features_of(recording, mfcc), {connected, 2});
    if (heard.paths.empty()) return;
    UtterancePicture picture;
    picture.name = file_name(recording.path);
    picture.spoken = recording.word;
    picture.rate = recording.rate;
    picture.samples = recording.samples;
    picture.shift = mfcc.shift();
    picture.length = mfcc.length();
    picture.best = hypothesis_of(recogniser, heard.paths[0]);
    if (heard.paths.size() > 1) picture.second = hypothesis_of(recogniser, heard.paths[1]);
    content.utterances.push_back(std::move(picture));
}

}  // namespace zelsr::examples
