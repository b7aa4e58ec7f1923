// The recogniser's page, from made-up results. Usage: recognise_page_test PYTHON PAGE_CHECK [--write FILE]
#include "recognise/page.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <sstream>

#include "common/failure.h"
#include "common/fields.h"
#include "common/output_file.h"
#include "examples/recognise_page_content.h"

namespace zelsr::examples {
namespace {

std::string python, page_check;
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();

// What recognise_page_check.py finds wrong with each page.
std::vector<std::string> faults_of(const std::vector<std::string>& pages)
{
    const std::string base = std::filesystem::temp_directory_path() / ("page_test_" + std::to_string(getpid()));
    std::string command = "'" + python + "' '" + page_check + "'";
    std::vector<std::string> files;
    for (const std::string& page : pages) {
        files.push_back(base + "_" + std::to_string(files.size()) + ".html");
        write_file(files.back(), page);
        command += " '" + files.back() + "'";
    }
    files.push_back(base + ".txt");
    const int status = std::system((command + " > '" + files.back() + "' 2>&1").c_str());
    std::istringstream said(read_file(files.back()));
    for (const std::string& file : files) std::filesystem::remove(file);

    std::vector<std::string> faults(pages.size(), status == 0 ? "" : "the check failed");
    std::string line;
    while (std::getline(said, line) && line != "done") {
        char* fault = nullptr;
        const auto place = std::strtoul(line.c_str(), &fault, 10);
        if (place < faults.size()) faults[place] += fault;
    }
    if (line != "done") faults.assign(faults.size(), "the check ended with: " + line);
    return faults;
}

std::string faults_of(const std::string& page) { return faults_of(std::vector<std::string>{page}).front(); }

bool holds(const std::string& page, const std::string& text) { return page.find(text) != std::string::npos; }

int count_of(const std::string& page, const std::string& text)
{
    int count = 0;
    for (std::size_t at = page.find(text); at != std::string::npos; at = page.find(text, at + 1)) ++count;
    return count;
}

TEST(RecognisePage, TheCheckFindsFaults)
{
    const std::string page = page_of(made_up_content());
    const std::vector<std::pair<std::string, std::string>> changes = {
        {"</table>", ""},
        {"<desc", "<description"},
        {"id=\"scorers\"", "id=\"noise\""},
        {"href=\"#scorers\"", "href=\"http://a/\""},
        {"href=\"#scorers\"", "href=\"#scorer\""},
        {"y1=\"", "y1=\"nan"},
        {" d=\"M", " d=\"Minf,2 "},
        {">98.4", ">nan"},
        {" scope=\"row\"", ""},
        {"<td class=\"number\">5</td>", ""},
        {"<p>", "<script></script><p>"},
        {"aria-labelledby=\"", "aria-labelledby=\"x"},
        {"<style>", "<style>@import 'a';"}};
    std::vector<std::string> pages;
    for (const auto& [what, instead] : changes) {
        pages.push_back(page);
        ASSERT_TRUE(holds(page, what)) << what;
        pages.back().replace(page.find(what), what.size(), instead);
    }
    const std::vector<std::string> faults = faults_of(pages);
    for (std::size_t i = 0; i < faults.size(); ++i) EXPECT_NE(faults[i], "") << changes[i].second;
}

TEST(RecognisePage, IsWellFormedAndNeedsNothingElse)
{
    EXPECT_EQ(faults_of(page_of(made_up_content())), "");
    EXPECT_EQ(faults_of(page_of(PageContent())), "");
}

TEST(RecognisePage, TheSameContentGivesTheSameBytes)
{
    EXPECT_EQ(page_of(made_up_content()), page_of(made_up_content()));
    const std::string page = page_of(made_up_content());
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    EXPECT_EQ(page_of(made_up_content()), page);
}

TEST(RecognisePage, ShowsWhatWasMeasured)
{
    const std::string page = page_of(made_up_content());
    for (const char* text :
         {"<strong>98.4\u00a0%</strong>", "315 of 320 right", "95 % interval: 96.4 to 99.3\u00a0%",  // Wilson
          "402\u00a0311", "<td class=\"number\">97.5\u00a0%</td>",
          "\u201cno\u201d came out as \u201copen\u201d: 5 of ", ">20 dB<", ">no noise<",
          "<td class=\"number\">7.0\u00a0%</td>",   // 14 errors in 200 words
          "<td class=\"number\">82.5\u00a0%</td>",  // 33 of 40 utterances
          "en-gb-scotland+f5", "threshold -3.6", "data:image/png;base64,", "./make_words words\n",
          "\u201cthree no seven\u201d"})
        EXPECT_TRUE(holds(page, text)) << text;
    EXPECT_TRUE(holds(page,
                      "<th scope=\"row\">templates</th><td class=\"number\">94.1\u00a0%</td>"
                      "<td class=\"number\">91.2\u00a0%</td><td class=\"number\">75.3\u00a0%</td>"));
    EXPECT_EQ(count_of(page, "<svg"), 3);
}

// Unless they differ in what they compare.
TEST(RecognisePage, NoisesOfOneScorerShareAPicture)
{
    PageContent content;
    for (const char* noise : {"white", "pink"})
        content.noises.push_back({noise, {NoiseSeries::kClean, 10}, {{"float", {{10, 9}, {10, 4}}}}});
    content.noises[1].lines[0].words[1] = {10, 7};
    std::string page = page_of(content);
    EXPECT_EQ(faults_of(page), "");
    EXPECT_EQ(count_of(page, "<svg"), 1);
    EXPECT_TRUE(holds(page, "Accuracy against noise, scored by float"));
    EXPECT_TRUE(holds(page,
                      "<th scope=\"row\">white</th><td class=\"number\">90.0\u00a0%</td>"
                      "<td class=\"number\">40.0\u00a0%</td>"));
    EXPECT_TRUE(holds(page,
                      "<th scope=\"row\">pink</th><td class=\"number\">90.0\u00a0%</td>"
                      "<td class=\"number\">70.0\u00a0%</td>"));
    PageContent other = content;
    other.noises[1].snr_db[1] = 5;
    EXPECT_EQ(count_of(page_of(other), "<svg"), 2);
    other = content;
    other.noises[1].lines[0].name = "templates";
    EXPECT_EQ(count_of(page_of(other), "<svg"), 2);
    other = content;
    other.noises[0].lines.push_back(other.noises[0].lines[0]);
    page = page_of(other);
    EXPECT_EQ(faults_of(page), "");
    EXPECT_EQ(count_of(page, "<svg"), 2);
    EXPECT_TRUE(holds(page, "Accuracy against pink noise"));
}

TEST(RecognisePage, ConfusionsCountRowByRow)
{
    PageContent content;
    content.confusions = {"", {"go", "no"}, {"go", "no", "not recognised"}, {10, 2, 0, 0, 7, 1}};
    const std::string page = page_of(content);
    EXPECT_TRUE(holds(page,
                      "<th scope=\"row\">go</th><td class=\"number right5\">10</td>"
                      "<td class=\"number wrong1\">2</td><td class=\"number\"></td>"
                      "<td class=\"number\">83.3\u00a0%</td>"));
    EXPECT_TRUE(holds(page,
                      "<th scope=\"row\">no</th><td class=\"number\"></td><td class=\"number right5\">7</td>"
                      "<td class=\"number wrong1\">1</td><td class=\"number\">87.5\u00a0%</td>"));
    EXPECT_LT(page.find("\u201cgo\u201d came out as \u201cno\u201d: 2 of 12 (16.7\u00a0%)"),
              page.find("\u201cno\u201d came out as not recognised: 1 of 8 (12.5\u00a0%)"));
    content.confusions.counts = {10, 0, 0, 0, 7, 0};
    EXPECT_TRUE(holds(page_of(content), "No word was taken for another."));
}

TEST(RecognisePage, AConfidenceOnTheThresholdIsTaken)
{
    PageContent content;
    content.rejection = {{-1, -2, -3}, {-3, -4, kNoNumber, -kInfinite}, -2, "confidence"};
    const std::string page = page_of(content);
    EXPECT_TRUE(holds(page,
                      "<th scope=\"row\">known</th><td class=\"number\">3</td><td class=\"number\">2</td>"
                      "<td class=\"number\">1</td>"));
    EXPECT_TRUE(holds(page,
                      "<th scope=\"row\">unknown</th><td class=\"number\">4</td><td class=\"number\">0</td>"
                      "<td class=\"number\">4</td>"));
    EXPECT_EQ(faults_of(page), "");
}

TEST(RecognisePage, EveryWordStandsInOneBarOfTheHistogram)
{
    for (double spread : {1.0, 0.0, 1e-12, 1e6, 1e300}) {
        PageContent content = made_up_content();
        for (double& value : content.rejection.known) value *= spread;
        for (double& value : content.rejection.unknown) value *= spread;
        content.rejection.threshold *= spread;
        const std::string page = page_of(content);
        const std::size_t start = page.find(">Words by their confidence"), end = page.find("</table>", start);
        long known = 0, unknown = 0;
        int rows = 0;
        for (std::size_t at = page.find("<td", start); at < end; at = page.find("<td", at + 1), ++rows) {
            const long count = std::strtol(page.c_str() + page.find('>', at) + 1, nullptr, 10);
            (rows % 2 == 0 ? known : unknown) += count;
        }
        EXPECT_EQ(known, 320) << spread;
        EXPECT_EQ(unknown, 96) << spread;
        EXPECT_LT(rows / 2, 60) << spread;
    }
}

TEST(RecognisePage, ABarHoldsItsLeftEdge)
{
    PageContent content;
    content.rejection = {{0, 1, 1.5, 16, 20}, {0.999, 19.9}, 3, "confidence"};
    const std::string page = page_of(content);
    for (const char* row : {"0 to 1</th><td class=\"number\">1</td><td class=\"number\">1<",
                            "1 to 2</th><td class=\"number\">2</td><td class=\"number\">0<",
                            "16 to 17</th><td class=\"number\">1</td><td class=\"number\">0<",
                            "19 to 20</th><td class=\"number\">1</td><td class=\"number\">1<"})
        EXPECT_TRUE(holds(page, row)) << row;
    content.rejection = {{-std::numeric_limits<double>::max(), 1, 2}, {std::numeric_limits<double>::max()}, 1, ""};
    EXPECT_EQ(faults_of(page_of(content)), "");
}

// A frame that one of the paths cannot pass counts for neither, and the curve goes on behind it.
TEST(RecognisePage, TheLeadGoesOnBehindAnImpossibleFrame)
{
    PageContent content;
    content.utterances = made_up_content().utterances;
    content.utterances[0].best.scores[3] = content.utterances[0].second.scores[3] =
        -std::numeric_limits<float>::infinity();
    const std::string page = page_of(content);
    const std::string path = "<path class=\"first\" d=\"";
    EXPECT_EQ(count_of(page, path), 3);  // the scores in two pieces, the lead
    const std::size_t start = page.rfind(path) + path.size();
    EXPECT_EQ(count_of(page.substr(start, page.find('"', start) - start), ","),
              static_cast<int>(content.utterances[0].best.states.size()));
}

TEST(RecognisePage, TextsMayHoldAnything)
{
    PageContent content = made_up_content();
    const std::string evil = "<b onload=\"x\">&amp;'\x01\xff\xc3\x28</b>]]>";
    const std::string shown =
        "&lt;b onload=&quot;x&quot;&gt;&amp;amp;'\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd(&lt;/b&gt;]]&gt;";
    content.title = content.summary = content.headline_about = evil;
    content.remarks = content.commands = {evil};
    content.facts = {{evil, evil}};
    content.scorers[0].name = content.scorers[0].note = content.noises[0].noise = evil;
    content.noises[0].lines[0].name = content.connected[0].name = content.voices[0].name = evil;
    content.confusions.about = content.confusions.spoken[0] = content.confusions.recognised[0] = evil;
    content.rejection.meaning = evil;
    UtterancePicture& utterance = content.utterances[0];
    utterance.name = utterance.spoken = utterance.best.text = utterance.best.spans[1].word = evil;
    const std::string page = page_of(content);
    EXPECT_EQ(faults_of(page), "");
    EXPECT_FALSE(holds(page, "<b "));
    EXPECT_GE(count_of(page, shown), 19);
}

// Each part alone, and all the others without it.
TEST(RecognisePage, EmptyPartsAreLeftOut)
{
    struct Part {
        const char* id;
        std::function<void(PageContent&, const PageContent&)> copy;
    };
    const std::vector<Part> parts = {
        {"scorers", [](auto& to, auto& from) { to.scorers = from.scorers; }},
        {"noise", [](auto& to, auto& from) { to.noises = from.noises; }},
        {"confusions", [](auto& to, auto& from) { to.confusions = from.confusions; }},
        {"connected", [](auto& to, auto& from) { to.connected = from.connected; }},
        {"rejection", [](auto& to, auto& from) { to.rejection = from.rejection; }},
        {"voices", [](auto& to, auto& from) { to.voices = from.voices; }},
        {"utterances", [](auto& to, auto& from) { to.utterances = from.utterances; }},
        {"commands", [](auto& to, auto& from) { to.commands = from.commands; }},
    };
    const PageContent all = made_up_content(), none;
    std::vector<std::string> pages;
    for (const Part& part : parts) {
        PageContent alone, others = all;
        part.copy(alone, all);
        part.copy(others, none);
        const std::string alone_page = page_of(alone), others_page = page_of(others);
        pages.insert(pages.end(), {alone_page, others_page});
        EXPECT_EQ(count_of(alone_page, "<section"), 1) << part.id;
        EXPECT_EQ(count_of(others_page, "<section"), static_cast<int>(parts.size()) - 1) << part.id;
        const std::string id = std::string("<section id=\"") + part.id + "\"";
        EXPECT_TRUE(holds(alone_page, id)) << part.id;
        EXPECT_FALSE(holds(others_page, id)) << part.id;
    }
    EXPECT_EQ(faults_of(pages), std::vector<std::string>(pages.size()));
    const std::string empty = page_of(none);
    for (const char* text : {"<section", "<nav", "<svg", "<table", "headline\"", "remarks\""})
        EXPECT_FALSE(holds(empty, text)) << text;
}

TEST(RecognisePage, WhatIsNoNumberShowsAsNotMeasured)
{
    PageContent content = made_up_content();
    content.scorers[0] = {"untested", "", {0, 0}, kNoNumber};
    content.scorers[1].frames_a_second = kInfinite;
    content.noises[0].lines[1].words[2] = {0, 0};
    for (Tally& words : content.noises[0].lines[2].words) words = {0, 0};
    content.connected[0] = {"nothing", {0, 0}};
    content.voices[0].words = {0, 0};
    content.confusions.counts.assign(content.confusions.counts.size(), 0);
    content.rejection.threshold = kNoNumber;
    content.rejection.known[3] = kNoNumber;
    content.rejection.unknown[4] = kInfinite;
    UtterancePicture& utterance = content.utterances[0];
    utterance.samples[100] = std::numeric_limits<float>::quiet_NaN();
    utterance.samples[300] = -std::numeric_limits<float>::infinity();
    utterance.samples[301] = std::numeric_limits<float>::max();
    for (std::size_t i = 0; i < utterance.best.scores.size(); i += 7)
        utterance.best.scores[i] = -std::numeric_limits<float>::infinity();
    for (float& score : utterance.second.scores) score = std::numeric_limits<float>::quiet_NaN();
    const std::string page = page_of(content);
    EXPECT_EQ(faults_of(page), "");
    EXPECT_TRUE(holds(page, "<th scope=\"row\">untested</th><td class=\"number\">n/a</td>"));
    EXPECT_TRUE(holds(page, "threshold n/a"));
}

TEST(RecognisePage, SmallestUtterances)
{
    PageContent content;
    UtterancePicture utterance;
    utterance.rate = 8000;
    utterance.shift = 80;
    utterance.length = 200;
    content.utterances.push_back(utterance);  // nothing at all
    utterance.samples.assign(1, 0.5f);
    content.utterances.push_back(utterance);
    utterance.samples.assign(200, 0.0f);
    utterance.best = {"", {{"", 0, 1}}, {0}, {-3.0f}};
    content.utterances.push_back(utterance);
    utterance.rate = 1;
    content.utterances.push_back(utterance);
    EXPECT_EQ(faults_of(page_of(content)), "");
}

TEST(RecognisePage, ListsOfDifferentLengthAreRefused)
{
    const std::vector<std::function<void(PageContent&)>> faults = {
        [](PageContent& c) {
            c.headline = {3, 4};
        },
        [](PageContent& c) {
            c.scorers[0].words = {-1, -1};
        },
        [](PageContent& c) { c.voices[0].words.right = 81; },
        [](PageContent& c) { c.noises[0].snr_db.pop_back(); },
        [](PageContent& c) { c.noises[0].lines[4].words.pop_back(); },
        [](PageContent& c) { c.confusions.counts.pop_back(); },
        [](PageContent& c) { c.confusions.counts[3] = -1; },
        [](PageContent& c) { c.confusions.recognised.resize(3); },
        [](PageContent& c) { std::swap(c.confusions.recognised[0], c.confusions.recognised[1]); },
        [](PageContent& c) { c.connected[1].sentences.right = 1000; },
        [](PageContent& c) { c.utterances[0].rate = 0; },
        [](PageContent& c) { c.utterances[0].shift = 0; },
        [](PageContent& c) { c.utterances[0].best.states.pop_back(); },
        [](PageContent& c) { c.utterances[0].best.states[0] = -1; },
        [](PageContent& c) { c.utterances[0].best.spans[1].end = 1000; },
        [](PageContent& c) { c.utterances[0].best.spans[1].first = 39; },
        [](PageContent& c) { c.utterances[0].second = made_up_hypothesis({"one"}, 40, 0); },
    };
    for (std::size_t i = 0; i < faults.size(); ++i) {
        PageContent content = made_up_content();
        faults[i](content);
        EXPECT_THROW(page_of(content), Failure) << "fault " << i;
    }
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    testing::InitGoogleTest(&count, arguments);
    if (count < 3) {
        std::fprintf(stderr, "usage: recognise_page_test PYTHON PAGE_CHECK [--write FILE]\n");
        return 2;
    }
    python = arguments[1];
    page_check = arguments[2];
    if (count == 5) {  // for a look at it
        write_file(arguments[4], page_of(made_up_content()));
        return 0;
    }
    return RUN_ALL_TESTS();
}
