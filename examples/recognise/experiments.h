// What a report is made of: each function fills one part of it, and what it measures is its own affair.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "recognise/evaluation.h"
#include "recognise/material.h"
#include "recognise/page.h"

namespace zelsr::examples {

// A model in the four arithmetics, in the order of scorer_names().
std::vector<Recogniser> all_recognisers(const Model& model);

// Headline, table of scorers, confusions and voices, from single words.
void add_words(PageContent& content, std::span<const Recogniser> recognisers,
               std::span<const Recording> recordings, int threads);

struct NamedRecogniser {
    std::string name;
    const Recogniser* recogniser;
};

// Accuracy against noise; the features are those of the first recogniser's model. progress is called with the part
// that is done.
void add_noises(PageContent& content, std::span<const NamedRecogniser> recognisers,
                std::span<const Recording> recordings, std::span<const NoiseKind> kinds,
                std::span<const double> snr_db, int threads, const std::function<void(double)>& progress);

void add_connected(PageContent& content, std::span<const Recogniser> recognisers,
                   std::span<const Recording> recordings, int threads);

// Of a recogniser whose model has a threshold; known: single words that it should take, unknown: others.
void add_rejection(PageContent& content, const Recogniser& recogniser, std::span<const Recording> known,
                   std::span<const Recording> unknown, int threads);

void add_picture(PageContent& content, const Recogniser& recogniser, const Recording& recording, bool connected);

// All that the content holds as text, for a terminal.
std::string tables_of(const PageContent& content);

}  // namespace zelsr::examples
