// A made-up test of a recogniser, with something in every part of its page.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>
#include <vector>

#include "recognise/page.h"

namespace zelsr::examples {

// Numbers that look random and are the same everywhere.
class Numbers {
  public:
    double next()  // from 0 up to 1
    {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        return static_cast<double>(state_ >> 40) / (1 << 24);
    }
    double bell() { return next() + next() + next() + next() - 2; }

  private:
    std::uint64_t state_ = 1;
};

inline const std::vector<std::string>& page_words()
{
    static const std::vector<std::string> words = {"zero",  "one",   "two",   "three", "four", "five", "six",
                                                   "seven", "eight", "nine",  "yes",   "no",   "up",   "down",
                                                   "left",  "right", "start", "stop",  "open", "close"};
    return words;
}

inline Confusions made_up_confusions(Numbers& numbers)
{
    Confusions confusions{"float, no noise", page_words(), page_words(), {}};
    confusions.recognised.push_back("not recognised");
    const std::size_t words = page_words().size();
    for (std::size_t row = 0; row < words; ++row)
        for (std::size_t column = 0; column <= words; ++column)
            confusions.counts.push_back(row == column ? 14 + static_cast<int>(3 * numbers.next())
                                                      : numbers.next() < 0.04);
    confusions.counts[11 * (words + 1) + 18] = 5;  // no as open
    return confusions;
}

// Silence, the words and silence, of `length` frames each; every word passes its states.
inline Hypothesis made_up_hypothesis(const std::vector<std::string>& words, std::int32_t length, double worse)
{
    Hypothesis hypothesis;
    Numbers numbers;
    std::int32_t frame = 0;
    for (std::size_t i = 0; i < words.size() + 2; ++i) {
        const bool silent = i == 0 || i == words.size() + 1;
        hypothesis.spans.push_back({silent ? "" : words[i - 1], frame, frame + length});
        if (!silent) hypothesis.text += (i > 1 ? " " : "") + words[i - 1];
        for (std::int32_t k = 0; k < length; ++k, ++frame) {
            hypothesis.states.push_back(silent ? k * 3 / length : k * 8 / length);
            const double loss = i == 2 ? worse * numbers.next() : 0;
            hypothesis.scores.push_back(
                static_cast<float>(-30 + 8 * std::sin(frame * 0.2) + 3 * numbers.bell() - loss));
        }
    }
    return hypothesis;
}

inline UtterancePicture made_up_utterance(Numbers& numbers)
{
    UtterancePicture utterance;
    utterance.name = "connected/made_up_1.flac";
    utterance.spoken = "three no seven";
    utterance.rate = 8000;
    utterance.shift = 80;
    utterance.length = 200;
    utterance.best = made_up_hypothesis({"three", "no", "seven"}, 40, 0);
    utterance.second = made_up_hypothesis({"three", "open", "seven"}, 40, 9);
    const std::size_t samples = utterance.best.states.size() * 80 + 120;
    double phase = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        const double at = static_cast<double>(i) / 3200 - 1;  // words from 0 to 3
        const double part = at - std::floor(at);
        const double level = at < 0 || at > 3 ? 0.002 : 0.5 * std::sin(std::numbers::pi * part);
        phase += 2 * std::numbers::pi * (500 + 1800 * part) / 8000;
        utterance.samples.push_back(
            static_cast<float>(level * (std::sin(phase) + 0.3 * std::sin(0.5 * phase) + 0.05 * numbers.bell()) +
                               0.001 * numbers.bell()));
    }
    return utterance;
}

inline PageContent made_up_content()
{
    Numbers numbers;
    PageContent content;
    content.summary = "Hidden Markov models of twenty words, trained and tested on made-up numbers.";
    content.headline = {320, 315};
    content.headline_about = "single words of 8 voices that training did not hear, no noise, scored in float";
    content.facts = {{"voices in training", "16"},
                     {"voices in the test", "8"},
                     {"rate", "8000 Hz"},
                     {"features", "12 cepstra and c0, deltas, accelerations"},
                     {"Gaussians a state", "4"}};
    content.remarks = {"3 files were left out: too short."};
    content.scorers = {{"float", "mixtures of Gaussians in single precision", {320, 315}, 152340},
                       {"16 bits, plain", "features and models in 16 bits", {320, 314}, 261200},
                       {"16 bits, low", "products cut to their high half", {320, 313}, 402311},
                       {"selected Gaussians", "a shortlist for every codeword", {320, 312}, 331000},
                       {"templates", "dynamic time warping", {320, 301}, 20400}};
    NoiseSeries babble{"babble", {NoiseSeries::kClean, 20, 10, 5}, {}};
    for (const ScorerRow& scorer : content.scorers) {
        const std::int64_t right = scorer.words.right;
        babble.lines.push_back(
            {scorer.name, {{320, right}, {320, right - 9}, {320, right - 60}, {320, right - 131}}});
    }
    content.noises = {babble};
    content.confusions = made_up_confusions(numbers);
    content.connected = {{"float, no noise", {40, 33}, 200, 190, 7, 3, 4},
                         {"float, 10 dB babble", {40, 11}, 200, 151, 31, 18, 9}};
    for (int i = 0; i < 320; ++i) content.rejection.known.push_back(-2.5 + 0.7 * numbers.bell());
    for (int i = 0; i < 96; ++i) content.rejection.unknown.push_back(-5.5 + 1.4 * numbers.bell());
    content.rejection.threshold = -3.6;
    content.rejection.meaning = "confidence (mean log likelihood ratio a frame)";
    for (const char* voice : {"en-gb+f2", "en-us+m3", "en-gb-scotland+f5", "en-029+m7"})
        content.voices.push_back({voice, {80, 75 + static_cast<int>(5 * numbers.next())}});
    content.utterances = {made_up_utterance(numbers)};
    content.commands = {"./make_words words", "build/x86-64/examples/recognise demo words --page page.html"};
    return content;
}

}  // namespace zelsr::examples
