#include "recognise/rejection.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "common/failure.h"

namespace zelsr::examples {

double threshold_of(std::span<const double> confidences, double refused)
{
    if (confidences.empty()) throw Failure("no word came out right, there is no threshold to be found");
    const std::vector<float> values(confidences.begin(), confidences.end());
    const auto count = static_cast<std::int32_t>(values.size());
    const auto rank =
        std::clamp(static_cast<std::int32_t>(std::lround((1 - refused) * count)) - 1, std::int32_t{0}, count - 1);
    float threshold = 0;
    require(zelsNthMaxElement_32f(values.data(), count, rank, &threshold), "zelsNthMaxElement_32f");
    return threshold;
}

HeldOut cross_validate(const FeatureKind& kind, const Material& material, const TrainingOptions& options,
                       int folds)
{
    // Which turn each recording is held back in.
    std::map<std::string, std::size_t> places;
    for (const std::string& speaker : material.speakers) places.emplace(speaker, 0);
    std::size_t next = 0;
    for (auto& [speaker, place] : places) place = next++;
    const bool alone = places.size() == 1;
    const auto turn_of = [&](std::size_t recording) {
        return static_cast<int>((alone ? recording : places[material.speakers[recording]]) %
                                static_cast<std::size_t>(folds));
    };

    HeldOut result;
    for (int turn = 0; turn < folds; ++turn) {
        std::vector<Example> kept, held;
        for (std::size_t i = 0; i < material.examples.size(); ++i) {
            const std::size_t recording = material.recordings[i];
            if (turn_of(recording) != turn)
                kept.push_back(copy_of(material.examples[i]));
            else if (i < material.speakers.size())
                held.push_back(copy_of(material.examples[i]));
        }
        if (kept.empty() || held.empty()) continue;
        TrainingOptions of_turn = options;
        of_turn.progress = [&](double part) {
            if (options.progress) options.progress((turn + part) / folds);
        };
        const Recogniser recogniser(train(kind, kept, of_turn));
        const std::vector<Outcome> outcomes = recognise_all(recogniser, held, {}, options.threads);
        for (const Outcome& outcome : outcomes)
            if (outcome.right()) result.confidences.push_back(outcome.confidence);
        const Tally tally = tally_of(outcomes);
        result.words.tested += tally.tested;
        result.words.right += tally.right;
    }
    return result;
}

}  // namespace zelsr::examples
