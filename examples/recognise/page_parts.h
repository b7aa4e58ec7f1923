// The parts of the page, and how they put numbers. Inside of page.cpp and its parts only.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "common/html.h"
#include "recognise/page.h"

namespace zelsr::examples::report {

std::string_view page_styles();
constexpr int kSeriesLooks = 6;  // s0 ... of the style sheet

// "98.4 %", "n/a" for a tally of nothing.
std::string percent(std::int64_t part, std::int64_t whole);
inline std::string percent(const Tally& tally) { return percent(tally.right, tally.tested); }
// The 95 % interval for the accuracy behind a tally, by Wilson's score: "96.1 to 99.4 %".
std::string interval_text(const Tally& tally);
// 1 234 567
std::string grouped(std::int64_t number);
// "n/a" if not finite.
std::string number_text(double value, int digits);
// "1 word", "2 words"
std::string counted(std::int64_t number, std::string_view what);
// "a, b and c"
std::string listed(std::span<const std::string> texts);

// Each adds what stands below the heading of its section. They take parts that hold something.
void add_scorers(Html& page, const std::vector<ScorerRow>& scorers);
// name: what the picture is called; lines: what tells one from the other.
void add_noise(Html& page, const NoiseSeries& series, const std::string& name, const std::string& lines,
               const std::string& id);
void add_confusions(Html& page, const Confusions& confusions);
void add_connected(Html& page, const std::vector<ConnectedRow>& rows);
void add_rejection(Html& page, const Rejection& rejection);
void add_voices(Html& page, const std::vector<VoiceRow>& voices);
void add_utterance(Html& page, const UtterancePicture& utterance, const std::string& id);

}  // namespace zelsr::examples::report
