#include "recognise/model.h"

#include <algorithm>
#include <cmath>

#include "common/failure.h"
#include "common/fields.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kTitle = "zelsr-words";

std::string chain_text(std::string_view word, const Chain& chain) { return field(word, chain.states); }

// A chain of the next states.
Chain read_chain(FieldReader& reader, std::string_view word, std::int32_t first)
{
    return {first, static_cast<std::int32_t>(reader.whole(word, 1, kMostStates - first))};
}

double read_log_probability(FieldReader& reader, std::string_view word)
{
    const double value = reader.number(word);
    if (value > 0) reader.fail("no logarithm of a probability");
    return value;
}

}  // namespace

std::int32_t Model::components() const
{
    std::int32_t most = 0;
    for (const Mixture& state : states) most = std::max(most, state.components());
    return most;
}

bool Model::begins(std::string_view text) { return text.starts_with(kTitle); }

std::string Model::text() const
{
    std::string text = field(kTitle, "1") + text_of(kind) +
                       field("normalisation", normalisation_names()[static_cast<std::size_t>(normalisation)]) +
                       field("word-penalty", word_penalty);
    if (threshold) text += field("threshold", *threshold);
    text += field("words", static_cast<double>(words.size())) + chain_text("silence-states", silence);
    for (const Word& word : words) text += field("word", word.name) + chain_text("states", word.chain);
    for (std::size_t i = 0; i < states.size(); ++i)
        text += field("stay", stay[i]) + field("leave", leave[i]) + states[i].parameters();
    return text + field("end", hash_of(text));
}

Model Model::parse(std::string_view text)
{
    FieldReader reader(text);
    if (reader.text(kTitle) != "1") reader.fail("another version of models");
    Model model;
    model.kind = read_kind(reader);
    const auto& normalisations = normalisation_names();
    const auto name = std::find(normalisations.begin(), normalisations.end(), reader.text("normalisation"));
    if (name == normalisations.end()) reader.fail("no normalisation that is known here");
    model.normalisation = static_cast<Normalisation>(name - normalisations.begin());
    model.word_penalty = reader.number("word-penalty");
    if (reader.next_is("threshold")) model.threshold = reader.number("threshold");

    const std::int64_t words = reader.whole("words", 1, kMostStates);
    model.silence = read_chain(reader, "silence-states", 0);
    std::int32_t states = model.silence.states;
    for (std::int64_t i = 0; i < words; ++i) {
        const std::string word(reader.text("word"));
        if (word.empty()) reader.fail("a word without a name");
        if (!model.words.empty() && word <= model.words.back().name) reader.fail("the words are in no order");
        model.words.push_back({word, read_chain(reader, "states", states)});
        states += model.words.back().chain.states;
    }
    for (std::int32_t i = 0; i < states; ++i) {
        model.stay.push_back(read_log_probability(reader, "stay"));
        model.leave.push_back(read_log_probability(reader, "leave"));
        model.states.push_back(Mixture::read_parameters(reader, model.kind));
    }
    const std::string_view hash = reader.text("end");
    reader.finish();
    const std::size_t end_line = hash.size() + 5;
    if (hash != hash_of(text.substr(0, text.size() - end_line))) reader.fail("the file was damaged");
    return model;
}

}  // namespace zelsr::examples
