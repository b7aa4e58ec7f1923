#include "recognise/evaluation.h"

#include <time.h>

#include <algorithm>
#include <limits>
#include <map>
#include <sstream>

#include "common/parallel.h"
#include "recognise/material.h"

namespace zelsr::examples {
namespace {

std::vector<std::string> words_of(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

// Errors on the way from the first words of one list to the first words of another.
struct Errors {
    std::int64_t right = 0, substituted = 0, deleted = 0, inserted = 0;
    std::int64_t count() const { return substituted + deleted + inserted; }
};

Errors errors_between(const std::vector<std::string>& spoken, const std::vector<std::string>& recognised)
{
    std::vector<Errors> row(recognised.size() + 1);
    for (std::size_t j = 0; j < recognised.size(); ++j) row[j + 1].inserted = row[j].inserted + 1;
    for (const std::string& word : spoken) {
        Errors diagonal = row[0];
        ++row[0].deleted;
        for (std::size_t j = 0; j < recognised.size(); ++j) {
            Errors met = diagonal, deleted = row[j + 1], inserted = row[j];
            ++(word == recognised[j] ? met.right : met.substituted);
            ++deleted.deleted;
            ++inserted.inserted;
            diagonal = row[j + 1];
            row[j + 1] = std::min({met, deleted, inserted},
                                  [](const Errors& a, const Errors& b) { return a.count() < b.count(); });
        }
    }
    return row.back();
}

}  // namespace

std::vector<Outcome> recognise_all(const Recogniser& recogniser, std::span<const Example> examples,
                                   const DecodingOptions& options, int threads)
{
    std::vector<Outcome> outcomes(examples.size());
    for_all(examples.size(), threads, [&](std::size_t i) {
        const Recognition heard = recogniser.recognise(copy_of(examples[i]).features, options);
        outcomes[i] = {examples[i].word,
                       heard.paths.empty() ? std::string(kNothing) : recogniser.text_of(heard.paths[0]),
                       heard.confidence, heard.accepted};
    });
    return outcomes;
}

Tally tally_of(std::span<const Outcome> outcomes)
{
    Tally tally{static_cast<std::int64_t>(outcomes.size()), 0};
    for (const Outcome& outcome : outcomes) tally.right += outcome.right();
    return tally;
}

std::vector<VoiceRow> voice_rows(std::span<const Outcome> outcomes, std::span<const Recording> recordings)
{
    std::map<std::string, Tally> voices;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        Tally& tally = voices[speaker_of(recordings[i].path)];
        ++tally.tested;
        tally.right += outcomes[i].right();
    }
    std::vector<VoiceRow> rows;
    for (const auto& [name, tally] : voices) rows.push_back({name, tally});
    return rows;
}

Confusions confusions_of(std::span<const Outcome> outcomes, std::vector<std::string> known)
{
    Confusions confusions;
    confusions.spoken = std::move(known);
    for (const Outcome& outcome : outcomes)  // words that the model does not know
        if (std::find(confusions.spoken.begin(), confusions.spoken.end(), outcome.spoken) ==
            confusions.spoken.end())
            confusions.spoken.push_back(outcome.spoken);
    confusions.recognised = confusions.spoken;
    if (std::any_of(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return o.recognised == kNothing; }))
        confusions.recognised.emplace_back(kNothing);
    confusions.counts.resize(confusions.spoken.size() * confusions.recognised.size());
    const auto place = [](const std::vector<std::string>& words, const std::string& word) {
        return static_cast<std::size_t>(std::find(words.begin(), words.end(), word) - words.begin());
    };
    for (const Outcome& outcome : outcomes)
        ++confusions.counts[place(confusions.spoken, outcome.spoken) * confusions.recognised.size() +
                            place(confusions.recognised, outcome.recognised)];
    return confusions;
}

ConnectedRow connected_row(const std::string& name, std::span<const Outcome> outcomes)
{
    ConnectedRow row;
    row.name = name;
    row.sentences = tally_of(outcomes);
    for (const Outcome& outcome : outcomes) {
        const std::vector<std::string> spoken = words_of(outcome.spoken);
        const bool none = outcome.recognised == kNothing;
        const Errors errors =
            errors_between(spoken, none ? std::vector<std::string>() : words_of(outcome.recognised));
        row.spoken += static_cast<std::int64_t>(spoken.size());
        row.right += errors.right;
        row.substituted += errors.substituted;
        row.deleted += errors.deleted;
        row.inserted += errors.inserted;
    }
    return row;
}

double processor_seconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

std::vector<double> frames_a_second(std::span<const Recogniser* const> recognisers,
                                    std::span<const Example> examples)
{
    constexpr int kPasses = 3;
    double frames = 0;
    for (const Example& example : examples) frames += example.features.rows();
    std::vector<double> fastest(recognisers.size(), std::numeric_limits<double>::max());
    for (int pass = 0; pass < kPasses; ++pass)
        for (std::size_t i = 0; i < recognisers.size(); ++i) {
            const double start = processor_seconds();
            recognise_all(*recognisers[i], examples, {}, 1);
            fastest[i] = std::min(fastest[i], processor_seconds() - start);
        }
    for (double& seconds : fastest) seconds = frames / seconds;
    return fastest;
}

}  // namespace zelsr::examples
