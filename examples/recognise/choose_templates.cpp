// Which of a word's examples stand for all of them.
#include <algorithm>
#include <limits>
#include <map>
#include <numeric>

#include "common/failure.h"
#include "common/parallel.h"
#include "recognise/templates.h"

namespace zelsr::examples {
namespace {

// Examples that no path joins are this far apart: more than any two that one does.
constexpr float kApart = 1e4F;

// Distances among a word's examples.
class Table {
  public:
    Table(std::span<const Sequence<float>> examples, const Warping& warping, int threads)
        : size_(examples.size()), table_(size_ * size_)
    {
        for_all(size_, threads, [&](std::size_t i) {
            for (std::size_t j = 0; j < i; ++j) {
                const float found =
                    static_cast<float>(distance(examples[i], examples[j], warping).value_or(kApart));
                table_[i * size_ + j] = table_[j * size_ + i] = found;
            }
        });
    }

    std::size_t size() const { return size_; }
    float operator()(std::size_t i, std::size_t j) const { return table_[i * size_ + j]; }

  private:
    std::size_t size_;
    std::vector<float> table_;
};

using Places = std::vector<std::size_t>;

// The sum over all examples of the distance to the nearest chosen one.
double cost(const Table& table, const Places& chosen)
{
    double sum = 0;
    for (std::size_t i = 0; i < table.size(); ++i) {
        float nearest = std::numeric_limits<float>::max();
        for (const std::size_t place : chosen) nearest = std::min(nearest, table(i, place));
        sum += nearest;
    }
    return sum;
}

// One after the other the example that lowers the cost most.
Places first_medoids(const Table& table, std::size_t wanted)
{
    Places chosen;
    std::vector<float> nearest(table.size(), std::numeric_limits<float>::max());
    while (chosen.size() < wanted) {
        std::size_t best = 0;
        double least = std::numeric_limits<double>::infinity();
        for (std::size_t i = 0; i < table.size(); ++i) {
            if (std::find(chosen.begin(), chosen.end(), i) != chosen.end()) continue;
            double sum = 0;
            for (std::size_t j = 0; j < table.size(); ++j) sum += std::min(nearest[j], table(i, j));
            if (sum < least) {
                least = sum;
                best = i;
            }
        }
        chosen.push_back(best);
        for (std::size_t j = 0; j < table.size(); ++j) nearest[j] = std::min(nearest[j], table(best, j));
    }
    return chosen;
}

// Each chosen example gives way to the one of those nearest to it that is in their middle, until none does.
Places medoids(const Table& table, std::size_t wanted)
{
    Places chosen = first_medoids(table, wanted);
    double least = cost(table, chosen);
    for (bool better = true; better;) {
        std::vector<Places> groups(chosen.size());
        for (std::size_t i = 0; i < table.size(); ++i) {
            std::size_t own = 0;
            for (std::size_t c = 1; c < chosen.size(); ++c)
                if (table(i, chosen[c]) < table(i, chosen[own])) own = c;
            groups[own].push_back(i);
        }
        Places moved = chosen;
        for (std::size_t c = 0; c < chosen.size(); ++c) {
            double smallest = std::numeric_limits<double>::infinity();
            for (const std::size_t middle : groups[c]) {
                double sum = 0;
                for (const std::size_t i : groups[c]) sum += table(i, middle);
                if (sum < smallest) {
                    smallest = sum;
                    moved[c] = middle;
                }
            }
        }
        const double now = cost(table, moved);
        better = now < least;
        if (better) {
            least = now;
            chosen = std::move(moved);
        }
    }
    std::sort(chosen.begin(), chosen.end());
    return chosen;
}

Places chosen_of(const std::vector<Sequence<std::int16_t>>& examples, const TemplateOptions& options)
{
    Places all(examples.size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    const auto wanted = static_cast<std::size_t>(options.templates);
    if (wanted == 0 || wanted >= all.size()) return all;
    std::vector<Sequence<float>> sequences;
    for (const Sequence<std::int16_t>& example : examples) sequences.push_back(converted<float>(example));
    return medoids(Table(sequences, options.warping, options.threads), wanted);
}

}  // namespace

TemplateModel choose_templates(const FeatureKind& kind, std::span<const Example> examples,
                               const TemplateOptions& options)
{
    if (examples.empty()) throw Failure("there is nothing to take templates from");
    std::vector<Sequence<std::int16_t>> sequences(examples.size());
    for_all(examples.size(), options.threads, [&](std::size_t i) {
        const Example& example = examples[i];
        if (example.features.width() != kind.width)
            throw Failure("an example of '" + example.word + "' has " + std::to_string(example.features.width()) +
                          " features a frame, the model " + std::to_string(kind.width));
        if (example.features.rows() == 0) throw Failure("an example of '" + example.word + "' has no frames");
        sequences[i] = sequence_of(example.features, kind);
    });
    std::map<std::string, std::vector<Sequence<std::int16_t>>> words;
    for (std::size_t i = 0; i < examples.size(); ++i) words[examples[i].word].push_back(std::move(sequences[i]));

    TemplateModel model{kind, options.votes, options.warping, {}};
    for (auto& [name, all] : words) {
        model.words.push_back({name, {}});
        for (const std::size_t place : chosen_of(all, options))
            model.words.back().templates.push_back(std::move(all[place]));
        if (options.progress)
            options.progress(static_cast<double>(model.words.size()) / static_cast<double>(words.size()));
    }
    return model;
}

}  // namespace zelsr::examples
