// Words recognised by the spoken examples that they are nearest to: no statistics, nothing to estimate.
//
//     const TemplateModel model = choose_templates(kind, examples, {});
//     const TemplateRecogniser recogniser(model);
//     const TemplateMatch heard = recogniser.recognise(features);
//     if (!heard.words.empty()) std::puts(recogniser.name(heard.words[0]).c_str());
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "recognise/sequence.h"
#include "recognise/training.h"

namespace zelsr::examples {

struct TemplateWord {
    std::string name;
    std::vector<Sequence<std::int16_t>> templates;
};

struct TemplateModel {
    FeatureKind kind;
    int votes = 3;  // the templates of a word, at most, whose mean distance is the word's
    Warping warping;
    std::vector<TemplateWord> words;  // by name

    std::size_t templates() const;  // of all words

    std::string text() const;
    // Reads what text() wrote; the last line holds a hash of what stands before it. Throws Failure with the line.
    static TemplateModel parse(std::string_view text);
    // Whether a text begins as those of such models do.
    static bool begins(std::string_view text);
};

struct TemplateOptions {
    int templates = 0;  // a word, those in the middle of all its examples; 0: all examples
    int votes = 3;
    Warping warping;
    int threads = 0;  // 0: as many as there are processors. The model is the same to the last bit.
    std::function<void(double)> progress;  // called with the part that is done, from 0 to 1
};

// Throws Failure: no examples, a width that is not the kind's.
TemplateModel choose_templates(const FeatureKind& kind, std::span<const Example> examples,
                               const TemplateOptions& options);

// What distances are formed in.
enum class WarpArithmetic { Float, Integers16, Integers8 };
const std::vector<std::string>& warp_arithmetic_names();  // "float", "16bit", "8bit"

struct TemplateMatch {
    struct Candidate {
        std::size_t word;  // its place in the model
        double distance;   // a frame
    };
    std::vector<Candidate> words;  // nearest first; without those that are too short or too long
    // By how much the second word is farther than the first, as a part of the first's distance.
    double margin = 0;
};

// Threads may share it.
class TemplateRecogniser {
  public:
    explicit TemplateRecogniser(TemplateModel model, WarpArithmetic arithmetic = WarpArithmetic::Float);
    TemplateRecogniser(TemplateRecogniser&&) noexcept;
    ~TemplateRecogniser();

    const TemplateModel& model() const { return model_; }
    // Features of the model's kind, as they come. Throws Failure if their width is another.
    TemplateMatch recognise(const FeatureMatrix<float>& features) const;
    const std::string& name(const TemplateMatch::Candidate& candidate) const
    {
        return model_.words[candidate.word].name;
    }

    class Distances;  // the templates in one arithmetic

  private:
    TemplateModel model_;
    std::unique_ptr<const Distances> distances_;
};

}  // namespace zelsr::examples
