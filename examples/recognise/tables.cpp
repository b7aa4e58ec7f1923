// A report as text.
#include <algorithm>

#include "common/text.h"
#include "recognise/experiments.h"

namespace zelsr::examples {
namespace {

std::string percent(std::int64_t part, std::int64_t whole)
{
    return whole > 0 ? fixed(100.0 * static_cast<double>(part) / static_cast<double>(whole), 2) + " %" : "-";
}

std::string counted(const Tally& tally)
{
    return percent(tally.right, tally.tested) + " (" + std::to_string(tally.right) + " of " +
           std::to_string(tally.tested) + ")";
}

constexpr int kNames = -12, kLongNames = -20, kColumn = 12;

std::string scorers_text(const PageContent& content)
{
    std::string text = "\nSingle words      right   frames a second (scoring and search, one processor)\n";
    for (const ScorerRow& row : content.scorers)
        text += padded(row.name, kNames) + padded(percent(row.words.right, row.words.tested), kColumn) +
                padded(fixed(row.frames_a_second, 0), kColumn) + "\n";
    return text;
}

std::string confusions_text(const Confusions& confusions)
{
    constexpr int kCell = 6;
    std::string text = "\nSpoken (rows), recognised (columns)\n" + padded("", kNames);
    for (const std::string& word : confusions.recognised) text += padded(word.substr(0, kCell - 1), kCell);
    text += "\n";
    for (std::size_t row = 0; row < confusions.spoken.size(); ++row) {
        text += padded(confusions.spoken[row], kNames);
        for (std::size_t column = 0; column < confusions.recognised.size(); ++column) {
            const std::int64_t count = confusions.counts[row * confusions.recognised.size() + column];
            text += padded(count > 0 ? std::to_string(count) : ".", kCell);
        }
        text += "\n";
    }
    return text;
}

std::string noises_text(const PageContent& content)
{
    std::string text;
    for (const NoiseSeries& series : content.noises) {
        text += "\n";
        text += padded("With " + series.noise, kLongNames);
        for (const double snr : series.snr_db)
            text += padded(snr == NoiseSeries::kClean ? "clean" : fixed(snr, 0) + " dB", kColumn);
        text += "\n";
        for (const NoiseSeries::Line& line : series.lines) {
            text += padded(line.name, kLongNames);
            for (const Tally& tally : line.words) text += padded(percent(tally.right, tally.tested), kColumn);
            text += "\n";
        }
    }
    return text;
}

std::string connected_text(const PageContent& content)
{
    std::string text = "\nConnected words";
    for (const char* name : {"spoken", "right", "substituted", "deleted", "inserted", "accuracy"})
        text += padded(name, kColumn + 1);
    text += "\n";
    for (const ConnectedRow& row : content.connected) {
        text += padded(row.name, kNames - 3);
        for (const std::int64_t count : {row.spoken, row.right, row.substituted, row.deleted, row.inserted})
            text += padded(std::to_string(count), kColumn + 1);
        text += padded(percent(row.right - row.inserted, row.spoken), kColumn + 1) + "\n";
    }
    return text;
}

std::string rejection_text(const Rejection& rejection)
{
    const auto below = [&](const std::vector<double>& values) {
        return std::count_if(values.begin(), values.end(), [&](double v) { return !(v >= rejection.threshold); });
    };
    const auto known = static_cast<std::int64_t>(rejection.known.size());
    const auto unknown = static_cast<std::int64_t>(rejection.unknown.size());
    const std::int64_t taken = unknown - below(rejection.unknown);
    return "\nNot recognised below a confidence of " + fixed(rejection.threshold, 2) +
           ": refused of the known words " + counted({known, below(rejection.known)}) +
           ", taken of unknown ones " + counted({unknown, taken}) + "\n";
}

}  // namespace

std::string tables_of(const PageContent& content)
{
    std::string text;
    for (const Fact& fact : content.facts) text += fact.name + ": " + fact.value + "\n";
    for (const std::string& remark : content.remarks) text += remark + "\n";
    if (!content.scorers.empty()) text += scorers_text(content);
    text += noises_text(content);
    if (!content.connected.empty()) text += connected_text(content);
    if (!content.rejection.known.empty()) text += rejection_text(content.rejection);
    if (!content.confusions.spoken.empty()) text += confusions_text(content.confusions);
    if (!content.voices.empty()) {
        text += "\nSpeakers\n";
        for (const VoiceRow& row : content.voices)
            text += padded(row.name, kLongNames) + counted(row.words) + "\n";
    }
    return text;
}

}  // namespace zelsr::examples
