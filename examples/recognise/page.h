// The report of a word recogniser's test as one HTML file, which needs nothing beside it.
//
//     PageContent content;
//     content.headline = {tested, right};
//     ... what else was measured; a part that stays empty is left out of the page ...
//     write_file(path, page_of(content));
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace zelsr::examples {

// Utterances (or words) that were tested and those of them that came out right.
struct Tally {
    std::int64_t tested = 0, right = 0;
};

// One line of the list at the top: what was trained and tested, on what.
struct Fact {
    std::string name, value;  // "voices in training", "18"
};

// One way to score the same test.
struct ScorerRow {
    std::string name;  // "float", "16 bits, low"
    std::string note;  // what it does, in a few words; may be empty
    Tally words;
    double frames_a_second = 0;  // scoring and decoding; 0: not measured
};

// One kind of noise, at several distances between speech and noise.
struct NoiseSeries {
    struct Line {
        std::string name;          // of the scorer
        std::vector<Tally> words;  // one a column of snr_db
    };
    static constexpr double kClean = std::numeric_limits<double>::infinity();

    std::string noise;           // "babble"
    std::vector<double> snr_db;  // falling: kClean, 20, 10, 5
    std::vector<Line> lines;
};

// What was spoken and what was recognised.
struct Confusions {
    std::string about;                // which test this is: "float, clean"
    std::vector<std::string> spoken;  // rows
    // Columns: the same words in the same order, and behind them more if need be ("not recognised").
    std::vector<std::string> recognised;
    std::vector<std::int64_t> counts;  // row by row
};

// Connected words against what was spoken, by the alignment with the fewest errors.
struct ConnectedRow {
    std::string name;  // of the scorer or the condition
    Tally sentences;   // right from end to end
    std::int64_t spoken = 0, right = 0, substituted = 0, deleted = 0, inserted = 0;
};

// A word is taken if its confidence is not below the threshold.
struct Rejection {
    std::vector<double> known;    // confidences of words of the vocabulary
    std::vector<double> unknown;  // of other words
    double threshold = 0;
    std::string meaning;  // of the confidence, with its unit
};

struct VoiceRow {
    std::string name;
    Tally words;
};

// Frames from first up to end belong to one word of a path, or to silence.
struct PathSpan {
    std::string word;  // empty: silence
    std::int32_t first = 0, end = 0;
};

struct Hypothesis {
    std::string text;  // "three seven"
    std::vector<PathSpan> spans;
    std::vector<std::int32_t> states;  // every frame's state, counted within its word from 0
    std::vector<float> scores;         // every frame's log likelihood on the path
};

// One utterance from its samples to its words. Frame i stands for the samples from i * shift on, `length` of them.
struct UtterancePicture {
    std::string name;            // of the file
    std::string spoken;          // its words
    int rate = 0;                // samples a second
    std::vector<float> samples;  // full scale 1
    std::int32_t shift = 0, length = 0;
    Hypothesis best, second;  // the second may be empty
};

struct PageContent {
    std::string title = "Word recogniser: test report";
    std::string summary;  // a sentence or two
    Tally headline;
    std::string headline_about;  // what it counts: "single words of 8 voices that training did not hear, clean"
    std::vector<Fact> facts;
    std::vector<std::string> remarks;  // what the reader should know: files left out, ...
    std::vector<ScorerRow> scorers;
    std::vector<NoiseSeries> noises;
    Confusions confusions;
    std::vector<ConnectedRow> connected;
    Rejection rejection;
    std::vector<VoiceRow> voices;
    std::vector<UtterancePicture> utterances;
    std::vector<std::string> commands;  // how to get this page again
};

// The whole file: HTML that is well-formed XML too, UTF-8. The same content gives the same bytes. Texts may hold
// any bytes; numbers that are not finite and tallies of nothing show as not measured. Throws Failure if the
// lengths of the content's lists do not fit each other.
std::string page_of(const PageContent& content);

}  // namespace zelsr::examples
