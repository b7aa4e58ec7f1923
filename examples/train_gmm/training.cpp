#include "train_gmm/training.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "common/failure.h"
#include "common/feature_kind.h"

namespace zelsr::examples {
namespace {

// This rank's own rows, then everyone's.
void sum(Statistics& statistics, const Ranks& ranks)
{
    double counts[] = {statistics.files, statistics.frames, statistics.log_likelihood};
    ranks.sum(counts);
    statistics.files = counts[0];
    statistics.frames = counts[1];
    statistics.log_likelihood = counts[2];
    ranks.sum(statistics.occupancies);
    for (DoubleRows* rows : {&statistics.sums, &statistics.squares})
        ranks.sum({(*rows)[0], static_cast<std::size_t>(rows->size())});
}

// The first rank's on all, to the last bit.
void broadcast(Mixture& mixture, const Ranks& ranks)
{
    if (ranks.size() == 1) return;
    std::string text = mixture.text();
    ranks.broadcast(text);
    mixture = Mixture::parse(text);
}

}  // namespace

Statistics gather(const FileNames& files, const Mixture& mixture, const std::string& what, const Ranks& ranks)
{
    std::optional<Accumulator> accumulator;
    ranks.together([&] {
        accumulator.emplace(mixture);
        read_all(
            names_of(files, part_of(files, ranks.rank(), ranks.size())), mixture.kind(), "model", what,
            ranks.first(), [&](const RowBlock<float>& rows) { accumulator->add(rows); },
            [&](std::size_t) { accumulator->count_file(); });
    });
    sum(accumulator->statistics(), ranks);
    return std::move(accumulator->statistics());
}

Mixture first_model(const FileNames& files, const MfccOptions& options, double floor_share, const Ranks& ranks)
{
    std::optional<Mixture> mixture;
    ranks.together([&] { mixture.emplace(kind_of(files, options)); });
    // The second time around the mean that the first has found, for small deviations and an exact variance.
    for (int pass = 0; pass < 2; ++pass) {
        const Statistics statistics = gather(files, *mixture, "mean and variances", ranks);
        mixture->update(statistics);
        if (pass == 1) mixture->set_floors(floor_share);
        broadcast(*mixture, ranks);
    }
    return std::move(*mixture);
}

void train(Mixture& mixture, const FileNames& files, const Schedule& schedule, const Ranks& ranks,
           const std::function<void(const Pass&, const Mixture&)>& report)
{
    double before_split = -std::numeric_limits<double>::infinity();
    for (;;) {
        const std::int32_t components = mixture.components();
        double last = 0;
        bool done = false;
        int number = 0;
        for (int count = 1; !done; ++count) {
            const Statistics statistics =
                gather(files, mixture,
                       "pass " + std::to_string(count) + ", components: " + std::to_string(components), ranks);
            mixture.update(statistics);
            const double found = statistics.log_likelihood / statistics.frames;
            if (number > 0 || found >= before_split) ++number;
            const Pass pass{components, number, statistics.frames, found};
            done = count >= schedule.most_passes || (number > 1 && found - last < schedule.gain);
            last = found;
            if (done && components < schedule.components)
                mixture.split(std::min(2 * components, schedule.components));
            broadcast(mixture, ranks);
            report(pass, mixture);
        }
        if (components >= schedule.components) return;
        before_split = std::max(before_split, last);
    }
}

std::vector<Score> score(const FileNames& files, const Mixture& mixture, const Ranks& ranks)
{
    std::vector<double> sums(2 * files.size());
    ranks.together([&] {
        const std::vector<std::size_t> mine = part_of(files, ranks.rank(), ranks.size());
        DoubleRows row(1, mixture.width());
        Score found;
        read_all(
            names_of(files, mine), mixture.kind(), "model", "scores", ranks.first(),
            [&](const RowBlock<float>& rows) {
                for (std::int32_t r = 0; r < rows.rows; ++r) {
                    std::copy_n(rows[r], mixture.width(), row[0]);
                    found.log_likelihood += mixture.log_likelihood(row[0]);
                }
                found.frames += rows.rows;
            },
            [&](std::size_t i) {
                sums[2 * mine[i]] = found.frames;
                sums[2 * mine[i] + 1] = found.log_likelihood;
                found = {};
            });
    });
    ranks.sum(sums);
    std::vector<Score> scores;
    for (std::size_t i = 0; i < files.size(); ++i) scores.push_back({sums[2 * i], sums[2 * i + 1]});
    return scores;
}

}  // namespace zelsr::examples
