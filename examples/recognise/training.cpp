#include "recognise/training.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <numeric>

#include "common/failure.h"
#include "common/parallel.h"
#include "common/statistics.h"
#include "recognise/codebook.h"
#include "recognise/component_blocks.h"
#include "recognise/decoder.h"
#include "recognise/endpoints.h"

namespace zelsr::examples {
namespace {

constexpr double kSilenceSeconds = 0.1;  // at both ends of a word whose levels are not known
// Of the way from an utterance's quiet frames to its loudest one: what is above is taken for speech at first.
constexpr float kSpeechLevel = 0.4f;
constexpr int kFirstPasses = 4;        // of expectation and maximisation around the codebook's means
constexpr int kFramesAComponent = 20;  // at least, or the state has fewer components
constexpr double kLeastProbability = 0.01;

RowBlock<float> rows_of(const FeatureMatrix<float>& features, std::int32_t first, std::int32_t end)
{
    return {features.row(first), end - first, features.step()};
}

class Trainer {
  public:
    Trainer(const FeatureKind& kind, std::span<const Example> examples, const TrainingOptions& options);
    Model run();

  private:
    // Frames of one utterance that stand behind each other in one state.
    struct Run {
        std::size_t utterance;
        std::int32_t first, end;
    };
    struct Utterance {
        std::size_t word;
        FeatureMatrix<float> features;
        std::vector<std::int32_t> states;  // of every frame; empty if it is too short for its word
        double score = 0;
    };

    void find_variances();
    Segment speech_in(const FeatureMatrix<float>& features) const;
    void make_words();
    void divide_evenly(const std::vector<Segment>& speech);
    void rounds(int components, double from, double to);
    double align_all();
    std::vector<std::vector<Run>> runs() const;
    void first_mixtures(int components);
    void reestimate();
    void make_transitions();
    void progress(double part) const
    {
        if (options_.progress) options_.progress(part);
    }

    const TrainingOptions& options_;
    Model model_;
    std::vector<Utterance> utterances_;
    std::vector<std::string> names_;
    std::vector<double> variances_, floors_;  // of all frames
};

Trainer::Trainer(const FeatureKind& kind, std::span<const Example> examples, const TrainingOptions& options)
    : options_(options)
{
    if (examples.empty()) throw Failure("there is nothing to train on");
    model_.kind = kind;
    model_.normalisation = options.normalisation;
    model_.word_penalty = options.word_penalty;
    std::map<std::string, std::size_t> places;
    for (const Example& example : examples) places.emplace(example.word, 0);
    for (auto& [name, place] : places) {
        place = names_.size();
        names_.push_back(name);
    }
    for (const Example& example : examples) {
        if (example.features.width() != kind.width)
            throw Failure("an example of '" + example.word + "' has " + std::to_string(example.features.width()) +
                          " features a frame, the model " + std::to_string(kind.width));
        if (example.features.rows() == 0) throw Failure("an example of '" + example.word + "' has no frames");
        utterances_.push_back({places[example.word], copy_of(example).features, {}, 0});
    }
}

// Around the mean that a first pass has found, for small deviations.
void Trainer::find_variances()
{
    Mixture all(model_.kind);
    for (int pass = 0; pass < 2; ++pass) {
        Accumulator accumulator(all);
        for (const Utterance& utterance : utterances_)
            accumulator.add(rows_of(utterance.features, 0, utterance.features.rows()));
        all.update(accumulator.statistics());
    }
    for (std::int32_t k = 0; k < all.width(); ++k) {
        variances_.push_back(1 / all.inverse_variance(0)[k]);
        floors_.push_back(options_.floor_share * variances_.back());
    }
}

Segment Trainer::speech_in(const FeatureMatrix<float>& features) const
{
    int column = options_.level_column;
    if (column < 0) column = level_column(model_.kind);
    const std::int32_t rows = features.rows();
    Segment speech{0, 0, rows};
    if (column < 0) {
        const double shift_ms = model_.kind.from_sound ? model_.kind.mfcc.shift_ms : 10;
        const auto silence = std::min(static_cast<std::int32_t>(1000 * kSilenceSeconds / shift_ms), rows / 4);
        speech.first += silence;
        speech.end -= silence;
        return speech;
    }
    const RowRange range = speech_range(features, column, kSpeechLevel);
    speech.first = range.first;
    speech.end = range.end;
    return speech;
}

void Trainer::make_words()
{
    std::vector<Segment> speech;
    std::vector<double> frames(names_.size()), examples(names_.size());
    for (const Utterance& utterance : utterances_) {
        speech.push_back(speech_in(utterance.features));
        frames[utterance.word] += speech.back().end - speech.back().first;
        examples[utterance.word] += 1;
    }
    model_.silence = {0, options_.silence_states};
    std::int32_t states = options_.silence_states;
    for (std::size_t w = 0; w < names_.size(); ++w) {
        const auto wanted = static_cast<int>(std::lround(frames[w] / examples[w] / options_.frames_a_state));
        const Chain chain{states, std::clamp(wanted, options_.fewest_states, options_.most_states)};
        model_.words.push_back({names_[w], chain});
        states += chain.states;
    }
    divide_evenly(speech);
}

// Speech among the word's states, what is before and behind it among those of silence.
void Trainer::divide_evenly(const std::vector<Segment>& speech)
{
    for (std::size_t u = 0; u < utterances_.size(); ++u) {
        Utterance& utterance = utterances_[u];
        const std::int32_t rows = utterance.features.rows();
        utterance.states.assign(static_cast<std::size_t>(rows), 0);
        const auto divide = [&](const Chain& chain, std::int32_t first, std::int32_t end) {
            for (std::int32_t t = first; t < end; ++t)
                utterance.states[static_cast<std::size_t>(t)] =
                    chain.first + (t - first) * chain.states / (end - first);
        };
        divide(model_.silence, 0, speech[u].first);
        divide(model_.words[utterance.word].chain, speech[u].first, speech[u].end);
        divide(model_.silence, speech[u].end, rows);
    }
}

// The frames of each state, utterance by utterance.
std::vector<std::vector<Trainer::Run>> Trainer::runs() const
{
    std::int32_t count = model_.words.back().chain.last() + 1;
    std::vector<std::vector<Run>> runs(static_cast<std::size_t>(count));
    for (std::size_t u = 0; u < utterances_.size(); ++u) {
        const std::vector<std::int32_t>& states = utterances_[u].states;
        for (std::size_t t = 0; t < states.size(); ++t) {
            std::vector<Run>& list = runs[static_cast<std::size_t>(states[t])];
            const auto frame = static_cast<std::int32_t>(t);
            if (t > 0 && states[t] == states[t - 1])
                ++list.back().end;
            else
                list.push_back({u, frame, frame + 1});
        }
    }
    return runs;
}

void Trainer::first_mixtures(int components)
{
    const auto all_runs = runs();
    std::vector<std::unique_ptr<Mixture>> mixtures(all_runs.size());
    for_all(all_runs.size(), options_.threads, [&](std::size_t s) {
        FeatureMatrix<float> rows(model_.kind.width);
        for (const Run& run : all_runs[s])
            rows.append(rows_of(utterances_[run.utterance].features, run.first, run.end));
        const bool known = s < model_.states.size();
        if (rows.rows() == 0) {
            // No frame has come to this state yet: it begins as wide as everything.
            const DoubleRows zeros(1, model_.kind.width);
            mixtures[s] = std::make_unique<Mixture>(known ? model_.states[s]
                                                          : Mixture(model_.kind, zeros, variances_, floors_));
            return;
        }
        const std::int32_t most = std::clamp(rows.rows() / kFramesAComponent, 1, components);
        std::vector<double> variances = variances_;
        if (known)
            for (std::size_t k = 0; k < variances.size(); ++k)
                variances[k] = 1 / model_.states[s].inverse_variance(0)[k];
        mixtures[s] =
            std::make_unique<Mixture>(model_.kind, cluster_centres(rows, variances_, most), variances, floors_);
        for (int pass = 0; pass < kFirstPasses; ++pass) {
            Accumulator accumulator(*mixtures[s]);
            accumulator.add(rows_of(rows, 0, rows.rows()));
            mixtures[s]->update(accumulator.statistics());
        }
    });
    model_.states.clear();
    for (auto& mixture : mixtures) model_.states.push_back(std::move(*mixture));
}

void Trainer::reestimate()
{
    const auto all_runs = runs();
    for_all(all_runs.size(), options_.threads, [&](std::size_t s) {
        if (all_runs[s].empty()) return;
        Accumulator accumulator(model_.states[s]);
        for (const Run& run : all_runs[s])
            accumulator.add(rows_of(utterances_[run.utterance].features, run.first, run.end));
        model_.states[s].update(accumulator.statistics());
    });
}

// From how long paths stay in a state.
void Trainer::make_transitions()
{
    const auto all_runs = runs();
    model_.stay.clear();
    model_.leave.clear();
    for (const std::vector<Run>& list : all_runs) {
        double frames = 1, visits = 1;
        for (const Run& run : list) frames += run.end - run.first;
        visits += static_cast<double>(list.size());
        const double leave = std::clamp(visits / frames, kLeastProbability, 1 - kLeastProbability);
        model_.leave.push_back(std::log(leave));
        model_.stay.push_back(std::log(1 - leave));
    }
}

// Returns the log likelihood a frame.
double Trainer::align_all()
{
    // A word's states stand behind those of silence in the scores of its utterances.
    struct WordSearch {
        std::unique_ptr<FloatScorer> scorer;
        Network network;
        Chain word;
        std::int32_t offset;
    };
    std::vector<WordSearch> searches;
    const std::int32_t silence = model_.silence.states;
    for (const Word& word : model_.words) {
        std::vector<const Mixture*> states;
        WordSearch search{nullptr, {}, {silence, word.chain.states}, word.chain.first - silence};
        for (const Chain& chain : {model_.silence, word.chain})
            for (std::int32_t s = chain.first; s <= chain.last(); ++s) {
                const auto state = static_cast<std::size_t>(s);
                states.push_back(&model_.states[state]);
                search.network.stay.push_back(static_cast<float>(model_.stay[state]));
                search.network.leave.push_back(static_cast<float>(model_.leave[state]));
            }
        search.scorer = std::make_unique<FloatScorer>(states);
        searches.push_back(std::move(search));
    }
    for_all(utterances_.size(), options_.threads, [&](std::size_t u) {
        Utterance& utterance = utterances_[u];
        const WordSearch& search = searches[utterance.word];
        ScoreMatrix scores;
        search.scorer->score(utterance.features, scores);
        const Chain chains[] = {model_.silence, search.word, model_.silence};
        utterance.states.clear();
        utterance.score =
            align(search.network, chains, true, scores, 0, utterance.features.rows(), utterance.states);
        for (std::int32_t& state : utterance.states)
            if (state >= silence) state += search.offset;
    });

    double sum = 0, frames = 0;
    std::vector<bool> found(model_.words.size());
    for (const Utterance& utterance : utterances_) {
        if (utterance.states.empty()) continue;
        sum += utterance.score;
        frames += utterance.features.rows();
        found[utterance.word] = true;
    }
    for (std::size_t w = 0; w < found.size(); ++w)
        if (!found[w]) throw Failure("all examples of '" + names_[w] + "' are too short");
    return sum / frames;
}

// Progress goes from `from` to `to`.
void Trainer::rounds(int components, double from, double to)
{
    first_mixtures(components);
    make_transitions();
    double before = -std::numeric_limits<double>::infinity();
    for (int round = 0; round < options_.most_rounds; ++round) {
        const double found = align_all();
        reestimate();
        make_transitions();
        progress(from + (to - from) * (round + 1) / options_.most_rounds);
        if (found - before < options_.gain) break;
        before = found;
    }
}

Model Trainer::run()
{
    for_all(utterances_.size(), options_.threads,
            [&](std::size_t u) { normalise(utterances_[u].features, options_.normalisation); });
    find_variances();
    make_words();
    constexpr double kFirstPart = 0.25;
    rounds(1, 0, kFirstPart);
    if (options_.components > 1) rounds(options_.components, kFirstPart, 1);
    progress(1);
    return std::move(model_);
}

}  // namespace

Example copy_of(const Example& example)
{
    Example copy{example.word, FeatureMatrix<float>(example.features.width())};
    if (example.features.rows() > 0) copy.features.append(rows_of(example.features, 0, example.features.rows()));
    return copy;
}

Model train(const FeatureKind& kind, std::span<const Example> examples, const TrainingOptions& options)
{
    return Trainer(kind, examples, options).run();
}

}  // namespace zelsr::examples
