// A model at work: from features to words and how sure they are.
//
//     Recogniser recogniser(Model::parse(read_file("digits.model")));
//     const Recognition heard = recogniser.recognise(all_mfcc<float>(sound, recogniser.model().kind.mfcc));
//     if (heard.accepted) std::puts(recogniser.text_of(heard.paths[0]).c_str());
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "common/mfcc.h"
#include "recognise/decoder.h"
#include "recognise/model.h"
#include "recognise/scorer.h"

namespace zelsr::examples {

struct Recognition {
    std::vector<Path> paths;  // best first; none if the sound is too short for any word
    // How far the best path's frames within words fall short of the best state each frame, a frame: 0 at most.
    double confidence = 0;
    bool accepted = false;  // there is a path, and its confidence is not below the model's threshold
};

// Threads may share it.
class Recogniser {
  public:
    explicit Recogniser(Model model, ScorerKind scorer = ScorerKind::Float);

    const Model& model() const { return model_; }
    // Features of the model's kind, as they come: they are normalised here. Throws Failure if their width is
    // another.
    Recognition recognise(FeatureMatrix<float> features, const DecodingOptions& options = {}) const;
    std::string text_of(const Path& path) const;  // its words with spaces between them

  private:
    Model model_;
    Network network_;
    std::unique_ptr<Scorer> scorer_;
};

}  // namespace zelsr::examples
