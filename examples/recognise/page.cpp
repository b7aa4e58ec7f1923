#include "recognise/page.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "common/failure.h"
#include "common/html.h"
#include "common/plot.h"
#include "recognise/page_parts.h"

namespace zelsr::examples {
namespace {

using namespace report;

void require_fit(bool fits, const std::string& what)
{
    if (!fits) throw Failure("the page's content does not fit together: " + what);
}

void check(const Tally& tally, const std::string& where)
{
    require_fit(tally.tested >= 0 && tally.right >= 0 && tally.right <= tally.tested,
                where + ": " + std::to_string(tally.right) + " right of " + std::to_string(tally.tested));
}

void check(const Confusions& confusions)
{
    const std::size_t words = confusions.spoken.size();
    require_fit(confusions.recognised.size() >= words &&
                    std::equal(confusions.spoken.begin(), confusions.spoken.end(), confusions.recognised.begin()),
                "the columns of the confusions do not begin with the words of the rows");
    require_fit(confusions.counts.size() == words * confusions.recognised.size(),
                std::to_string(confusions.counts.size()) + " counts of confusions");
    require_fit(std::none_of(confusions.counts.begin(), confusions.counts.end(), [](auto n) { return n < 0; }),
                "confusions below none");
}

void check(const Hypothesis& hypothesis, const std::string& where)
{
    const auto frames = static_cast<std::int64_t>(hypothesis.states.size());
    require_fit(hypothesis.scores.size() == hypothesis.states.size(), where + ": states and scores");
    std::int32_t end = 0;
    for (const PathSpan& span : hypothesis.spans) {
        require_fit(span.first >= end && span.end > span.first && span.end <= frames,
                    where + ": frames " + std::to_string(span.first) + " to " + std::to_string(span.end));
        end = span.end;
    }
    require_fit(std::none_of(hypothesis.states.begin(), hypothesis.states.end(), [](auto s) { return s < 0; }),
                where + ": a state below 0");
}

void check(const UtterancePicture& utterance)
{
    require_fit(utterance.rate > 0 && utterance.shift > 0 && utterance.length > 0,
                utterance.name + ": its frames");
    check(utterance.best, utterance.name);
    check(utterance.second, utterance.name);
    require_fit(utterance.second.states.empty() || utterance.second.states.size() == utterance.best.states.size(),
                utterance.name + ": two hypotheses of different length");
}

void check(const PageContent& content)
{
    check(content.headline, "headline");
    for (const ScorerRow& row : content.scorers) check(row.words, row.name);
    for (const VoiceRow& row : content.voices) check(row.words, row.name);
    for (const ConnectedRow& row : content.connected) check(row.sentences, row.name);
    for (const NoiseSeries& series : content.noises)
        for (const NoiseSeries::Line& line : series.lines) {
            require_fit(line.words.size() == series.snr_db.size(), series.noise + " noise, " + line.name);
            for (const Tally& words : line.words) check(words, series.noise + " noise, " + line.name);
        }
    check(content.confusions);
    for (const UtterancePicture& utterance : content.utterances) check(utterance);
}

bool holds_something(const NoiseSeries& series) { return !series.snr_db.empty() && !series.lines.empty(); }

// Several noises with one line each make one picture, if the lines are of one scorer at the same levels.
bool share_a_picture(const std::vector<NoiseSeries>& noises)
{
    const auto unlike_first = [&](const NoiseSeries& series) {
        return series.lines.size() != 1 || series.lines[0].name != noises[0].lines[0].name ||
               series.snr_db != noises[0].snr_db;
    };
    return noises.size() > 1 && noises.size() <= kSeriesLooks &&
           std::none_of(noises.begin(), noises.end(), unlike_first);
}

void add_noises(Html& page, const PageContent& content)
{
    std::vector<NoiseSeries> noises;
    std::copy_if(content.noises.begin(), content.noises.end(), std::back_inserter(noises), holds_something);
    if (share_a_picture(noises)) {
        NoiseSeries all{"", noises[0].snr_db, {}};
        for (const NoiseSeries& series : noises) all.lines.push_back({series.noise, series.lines[0].words});
        return add_noise(page, all, "Accuracy against noise, scored by " + noises[0].lines[0].name, "noise",
                         "noise1");
    }
    int number = 0;
    for (const NoiseSeries& series : noises)
        add_noise(page, series, "Accuracy against " + (series.noise.empty() ? "noise" : series.noise + " noise"),
                  "scores by", "noise" + std::to_string(++number));
}

void add_utterances(Html& page, const PageContent& content)
{
    int number = 0;
    for (const UtterancePicture& utterance : content.utterances)
        add_utterance(page, utterance, "utterance" + std::to_string(++number));
}

void add_commands(Html& page, const PageContent& content)
{
    const Html::Element block = page.inside("pre");
    for (const std::string& command : content.commands) page.text(command + "\n");
}

struct Section {
    std::string id, heading;
    bool there;
    void (*add)(Html&, const PageContent&);
};

// All sections, in the order of the page.
std::vector<Section> sections_of(const PageContent& content)
{
    const bool noises = std::any_of(content.noises.begin(), content.noises.end(), holds_something);
    return {
        {"scorers", "Ways to score", !content.scorers.empty(),
         [](Html& p, const PageContent& c) { add_scorers(p, c.scorers); }},
        {"noise", "Noise", noises, add_noises},
        {"confusions", "Confusions", !content.confusions.spoken.empty(),
         [](Html& p, const PageContent& c) { add_confusions(p, c.confusions); }},
        {"connected", "Connected words", !content.connected.empty(),
         [](Html& p, const PageContent& c) { add_connected(p, c.connected); }},
        {"rejection", "Rejection", !content.rejection.known.empty() || !content.rejection.unknown.empty(),
         [](Html& p, const PageContent& c) { add_rejection(p, c.rejection); }},
        {"voices", "Voices", !content.voices.empty(),
         [](Html& p, const PageContent& c) { add_voices(p, c.voices); }},
        {"utterances", "From sound to words", !content.utterances.empty(), add_utterances},
        {"commands", "This page again", !content.commands.empty(), add_commands},
    };
}

void add_top(Html& page, const PageContent& content)
{
    const Html::Element header = page.inside("header");
    page.element("h1", content.title);
    if (!content.summary.empty()) page.element("p", content.summary);
    if (content.headline.tested > 0) {
        const Html::Element box = page.inside("div", "headline");
        page.element("strong", percent(content.headline));
        page.element("p", grouped(content.headline.right) + " of " + grouped(content.headline.tested) + " right" +
                              (content.headline_about.empty() ? "" : ": " + content.headline_about));
        page.element("p", "95 % interval: " + interval_text(content.headline), "soft");
    }
    if (!content.remarks.empty()) {
        const Html::Element box = page.inside("div", "remarks");
        for (const std::string& remark : content.remarks) page.element("p", remark);
    }
    if (content.facts.empty()) return;
    std::vector<std::vector<Html::Cell>> rows;
    for (const Fact& fact : content.facts) rows.push_back({{fact.name}, {fact.value}});
    page.table("What was trained and tested", {{"what", false}, {"value", false}}, rows, "facts");
}

void add_contents(Html& page, const std::vector<Section>& sections)
{
    if (std::none_of(sections.begin(), sections.end(), [](const Section& one) { return one.there; })) return;
    const Html::Element nav = page.inside("nav");
    for (const Section& section : sections)
        if (section.there) page.link(section.id, section.heading);
}

void add_main(Html& page, const PageContent& content, const std::vector<Section>& sections)
{
    const Html::Element main = page.inside("main");
    for (const Section& section : sections) {
        if (!section.there) continue;
        const Html::Element part = page.inside("section", {}, section.id);
        page.element("h2", section.heading);
        section.add(page, content);
    }
}

}  // namespace

std::string page_of(const PageContent& content)
{
    check(content);
    Html page(content.title, std::string(axis_styles()).append(page_styles()));
    add_top(page, content);
    const std::vector<Section> sections = sections_of(content);
    add_contents(page, sections);
    add_main(page, content, sections);
    return page.finish();
}

}  // namespace zelsr::examples
