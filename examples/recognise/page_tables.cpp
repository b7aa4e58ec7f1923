#include <algorithm>
#include <cmath>

#include "common/text.h"
#include "recognise/page_parts.h"

namespace zelsr::examples::report {
namespace {

constexpr int kShades = 5;
constexpr std::size_t kNamedPairs = 6;

using Row = std::vector<Html::Cell>;

std::string in_quotes(const std::string& word) { return "\u201c" + word + "\u201d"; }

// 1 for the least share above nothing, up to kShades.
int shade(std::int64_t count, std::int64_t whole)
{
    return std::clamp(static_cast<int>(std::ceil(kShades * static_cast<double>(count) /
                                                 static_cast<double>(std::max<std::int64_t>(whole, 1)))),
                      1, kShades);
}

struct Pair {
    std::size_t spoken, recognised;
    std::int64_t count;
};

// Which words were taken for which, the most frequent first.
std::vector<Pair> worst_pairs(const Confusions& confusions)
{
    const std::size_t columns = confusions.recognised.size();
    std::vector<Pair> pairs;
    for (std::size_t row = 0; row < confusions.spoken.size(); ++row)
        for (std::size_t column = 0; column < columns; ++column)
            if (const std::int64_t count = confusions.counts[row * columns + column]; row != column && count > 0)
                pairs.push_back({row, column, count});
    std::stable_sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) { return a.count > b.count; });
    return pairs;
}

void name_worst_pairs(Html& page, const Confusions& confusions, const std::vector<std::int64_t>& row_sums)
{
    const std::vector<Pair> pairs = worst_pairs(confusions);
    if (pairs.empty()) {
        page.element("p", "No word was taken for another.");
        return;
    }
    std::int64_t all = 0;
    for (const Pair& pair : pairs) all += pair.count;
    const std::size_t shown = std::min(pairs.size(), kNamedPairs);
    page.element("p", grouped(all) + (all == 1 ? " confusion" : " confusions") + " in " +
                          counted(static_cast<std::int64_t>(pairs.size()), "pair") + " of words" +
                          (shown < pairs.size() ? ", the most frequent ones:" : ":"));
    const Html::Element list = page.inside("ul");
    for (std::size_t i = 0; i < shown; ++i) {
        const auto [row, column, count] = pairs[i];
        // Columns beyond the words stand for what is no word of the vocabulary: "not recognised".
        const std::string taken_as = column < confusions.spoken.size() ? in_quotes(confusions.recognised[column])
                                                                       : confusions.recognised[column];
        page.element("li", in_quotes(confusions.spoken[row]) + " came out as " + taken_as + ": " + grouped(count) +
                               " of " + grouped(row_sums[row]) + " (" + percent(count, row_sums[row]) + ")");
    }
}

}  // namespace

void add_scorers(Html& page, const std::vector<ScorerRow>& scorers)
{
    const bool notes =
        std::any_of(scorers.begin(), scorers.end(), [](const auto& row) { return !row.note.empty(); });
    std::vector<Html::Column> columns = {{"scores by", false}, {"right"},          {"95 % interval"}, {"wrong"},
                                         {"tested"},           {"frames a second"}};
    if (notes) columns.push_back({"how", false});
    std::vector<Row> rows;
    for (const ScorerRow& scorer : scorers) {
        const Tally& words = scorer.words;
        const bool timed =
            std::isfinite(scorer.frames_a_second) && scorer.frames_a_second > 0 && scorer.frames_a_second < 1e15;
        rows.push_back({{scorer.name},
                        {percent(words)},
                        {interval_text(words)},
                        {grouped(words.tested - words.right)},
                        {grouped(words.tested)},
                        {timed ? grouped(std::llround(scorer.frames_a_second)) : "n/a"}});
        if (notes) rows.back().push_back({scorer.note, "note"});
    }
    page.table("Accuracy and speed of every way to score the same words; speed is that of scoring and decoding",
               columns, rows);
}

void add_confusions(Html& page, const Confusions& confusions)
{
    const std::size_t columns = confusions.recognised.size();
    std::vector<std::int64_t> sums(confusions.spoken.size());
    for (std::size_t i = 0; i < confusions.counts.size(); ++i) sums[i / columns] += confusions.counts[i];
    name_worst_pairs(page, confusions, sums);

    std::vector<Html::Column> heads = {{"spoken", false}};
    for (const std::string& word : confusions.recognised) heads.push_back({word});
    heads.push_back({"correct"});  // "right" may be a word
    std::vector<Row> rows;
    for (std::size_t row = 0; row < confusions.spoken.size(); ++row) {
        rows.push_back({{confusions.spoken[row]}});
        for (std::size_t column = 0; column < columns; ++column) {
            const std::int64_t count = confusions.counts[row * columns + column];
            const std::string look =
                count == 0 ? "" : (row == column ? "right" : "wrong") + std::to_string(shade(count, sums[row]));
            rows.back().push_back({count == 0 ? "" : std::to_string(count), look});
        }
        rows.back().push_back({percent(confusions.counts[row * columns + row], sums[row])});
    }
    page.table("Rows: the word that was spoken; columns: what was recognised. Empty: none. " +
                   (confusions.about.empty() ? "" : "Test: " + confusions.about + "."),
               heads, rows, "matrix");
}

void add_connected(Html& page, const std::vector<ConnectedRow>& rows)
{
    std::vector<Row> cells;
    for (const ConnectedRow& row : rows)
        cells.push_back({{row.name},
                         {grouped(row.spoken)},
                         {grouped(row.right)},
                         {grouped(row.substituted)},
                         {grouped(row.deleted)},
                         {grouped(row.inserted)},
                         {percent(row.substituted + row.deleted + row.inserted, row.spoken)},
                         {percent(row.sentences)},
                         {grouped(row.sentences.tested)}});
    page.table(
        "Words of connected speech, aligned with what was spoken; errors count relative to the words spoken",
        {{"test", false},
         {"words spoken"},
         {"correct"},
         {"substituted"},
         {"deleted"},
         {"inserted"},
         {"word errors"},
         {"whole utterances right"},
         {"utterances"}},
        cells);
}

void add_voices(Html& page, const std::vector<VoiceRow>& voices)
{
    std::vector<Row> rows;
    for (const VoiceRow& voice : voices)
        rows.push_back({{voice.name},
                        {percent(voice.words)},
                        {interval_text(voice.words)},
                        {grouped(voice.words.tested - voice.words.right)},
                        {grouped(voice.words.tested)}});
    page.table("Accuracy voice by voice", {{"voice", false}, {"right"}, {"95 % interval"}, {"wrong"}, {"tested"}},
               rows);
}

}  // namespace zelsr::examples::report
