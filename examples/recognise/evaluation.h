// A recogniser on recordings whose words are known.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "recognise/folder.h"
#include "recognise/page.h"
#include "recognise/recogniser.h"
#include "recognise/training.h"

namespace zelsr::examples {

constexpr std::string_view kNothing = "-";  // what is recognised where no path fits

// What became of one recording.
struct Outcome {
    std::string spoken, recognised;
    double confidence = 0;
    bool accepted = false;

    bool right() const { return spoken == recognised; }
};

// In the order of the examples, whatever the number of threads.
std::vector<Outcome> recognise_all(const Recogniser& recogniser, std::span<const Example> examples,
                                   const DecodingOptions& options, int threads);

Tally tally_of(std::span<const Outcome> outcomes);

// Right words by speaker; outcomes[i] is that of recordings[i].
std::vector<VoiceRow> voice_rows(std::span<const Outcome> outcomes, std::span<const Recording> recordings);

// Rows and columns: the words that are known, others that were spoken, and one column for nothing at all.
Confusions confusions_of(std::span<const Outcome> outcomes, std::vector<std::string> known);

// The fewest substitutions, deletions and insertions that lead from what was spoken to what was recognised.
ConnectedRow connected_row(const std::string& name, std::span<const Outcome> outcomes);

// Of this thread: what else the machine does costs it none.
double processor_seconds();

// Frames that each recogniser scores and decodes in a second of one processor: in turn, so that all meet the same
// machine, and each one's fastest time of several.
std::vector<double> frames_a_second(std::span<const Recogniser* const> recognisers,
                                    std::span<const Example> examples);

}  // namespace zelsr::examples
