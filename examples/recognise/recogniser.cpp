#include "recognise/recogniser.h"

#include <zelsr.h>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

// How far the frames of a path's words fall short of the best state each frame, a frame.
double confidence_of(const Path& path, const ScoreMatrix& scores)
{
    double sum = 0;
    std::int32_t frames = 0;
    for (const Segment& segment : path.segments) {
        if (segment.word == kSilence) continue;
        for (std::int32_t t = segment.first; t < segment.end; ++t) {
            float best = 0;
            require(zelsMax_32f(scores[t], scores.states(), &best), "zelsMax_32f");
            sum += static_cast<double>(scores[t][path.states[static_cast<std::size_t>(t)]]) - best;
        }
        frames += segment.end - segment.first;
    }
    return sum / frames;
}

}  // namespace

Recogniser::Recogniser(Model model, ScorerKind scorer)
    : model_(std::move(model)), network_(model_), scorer_(make_scorer(scorer, model_))
{}

Recognition Recogniser::recognise(FeatureMatrix<float> features, const DecodingOptions& options) const
{
    if (features.width() != model_.kind.width)
        throw Failure("has " + std::to_string(features.width()) + " values a row, and the model " +
                      std::to_string(model_.kind.width));
    Recognition recognition;
    if (features.rows() == 0) return recognition;
    normalise(features, model_.normalisation);
    ScoreMatrix scores;
    scorer_->score(features, scores);
    recognition.paths = decode(network_, scores, options);
    if (recognition.paths.empty()) return recognition;
    recognition.confidence = confidence_of(recognition.paths[0], scores);
    recognition.accepted = !model_.threshold || recognition.confidence >= *model_.threshold;
    return recognition;
}

std::string Recogniser::text_of(const Path& path) const
{
    std::string text;
    for (const std::int32_t word : path.words) {
        if (!text.empty()) text += ' ';
        text += model_.words[static_cast<std::size_t>(word)].name;
    }
    return text;
}

}  // namespace zelsr::examples
