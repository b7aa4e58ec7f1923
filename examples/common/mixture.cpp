#include "common/mixture.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "common/failure.h"
#include "common/fields.h"
#include "common/statistics.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kTitle = "zelsr-mixture 1";

// A component that no frame falls to any more keeps a logarithm of its weight; all of them together take no more
// than some 1e-6 of the others' weights.
constexpr double kLeastWeight = 1e-10;
// A column that never changes has one all the same.
constexpr double kLeastVariance = 1e-8;
// How far the halves of a component move apart, each, in standard deviations.
constexpr double kSplit = 0.2;

}  // namespace

DoubleRows::DoubleRows(std::int32_t rows, std::int32_t width)
    : rows_(rows),
      step_((width + 3) / 4 * 4),
      data_(aligned_array<double>(static_cast<std::int64_t>(rows) * step_))
{
    std::fill_n(data_.get(), size(), 0.0);
}

DoubleRows::DoubleRows(const DoubleRows& other)
    : rows_(other.rows_), step_(other.step_), data_(aligned_array<double>(other.size()))
{
    std::copy_n(other.data_.get(), size(), data_.get());
}

Mixture::Mixture(const FeatureKind& kind, std::int32_t components)
    : kind_(kind),
      floors_(static_cast<std::size_t>(kind.width), kLeastVariance),
      weights_(static_cast<std::size_t>(components), 1.0),
      means_(components, kind.width),
      variances_(components, kind.width),
      inverse_variances_(components, kind.width),
      constants_(weights_.size())
{}

Mixture::Mixture(const FeatureKind& kind) : Mixture(kind, 1)
{
    std::fill_n(variances_[0], width(), 1.0);
    make_tables();
}

Mixture::Mixture(const FeatureKind& kind, const DoubleRows& means, std::span<const double> variances,
                 std::span<const double> floors)
    : Mixture(kind, means.rows())
{
    for (std::int32_t k = 0; k < width(); ++k) {
        const auto column = static_cast<std::size_t>(k);
        floors_[column] = std::max(kLeastVariance, floors[column]);
        variances_[0][k] = std::max(floors_[column], variances[column]);
    }
    std::fill(weights_.begin(), weights_.end(), 1.0 / components());
    for (std::int32_t j = 0; j < components(); ++j) {
        std::copy_n(means[j], width(), means_[j]);
        if (j > 0) std::copy_n(variances_[0], width(), variances_[j]);
    }
    make_tables();
}

void Mixture::make_tables()
{
    inverse_variances_ = DoubleRows(components(), width());
    constants_.resize(weights_.size());
    std::vector<double> log_weights;
    for (std::int32_t j = 0; j < components(); ++j) {
        for (std::int32_t k = 0; k < width(); ++k) inverse_variances_[j][k] = 1 / variances_[j][k];
        require(zelsUpdateGConst_DirectVar_64f(variances_[j], width(), &constants_[static_cast<std::size_t>(j)]),
                "zelsUpdateGConst_DirectVar_64f");
        log_weights.push_back(std::log(weights_[static_cast<std::size_t>(j)]));
    }
    require(zelsOutProbPreCalc_64f_I(log_weights.data(), constants_.data(), components()),
            "zelsOutProbPreCalc_64f_I");
}

double Mixture::log_likelihood(const double* row) const
{
    double result = 0;
    require(zelsLogGaussMixture_64f_D2(row, means_[0], inverse_variances_[0], components(), means_.step(), width(),
                                       constants_.data(), &result),
            "zelsLogGaussMixture_64f_D2");
    return result;
}

void Mixture::update(const Statistics& statistics)
{
    const double frames = std::accumulate(statistics.occupancies.begin(), statistics.occupancies.end(), 0.0);
    if (!(frames > 0)) throw Failure("the statistics hold no frames");

    double sum = 0;
    require(zelsUpdateWeight_64f(statistics.occupancies.data(), weights_.data(), components(), &sum, frames,
                                 kLeastWeight),
            "zelsUpdateWeight_64f");
    require(zelsMulC_64f_I(1 / sum, weights_.data(), components()), "zelsMulC_64f_I");

    // A component that no frame fell to keeps its mean and variances: SrWarnZeroCount writes nothing. With the
    // floor as a bound that all mixtures keep, what lies on it is the best choice still.
    for (std::int32_t j = 0; j < components(); ++j) {
        const double occupancy = statistics.occupancies[static_cast<std::size_t>(j)];
        require(zelsUpdateVar_64f(statistics.sums[j], statistics.squares[j], floors_.data(), variances_[j],
                                  width(), occupancy, occupancy),
                "zelsUpdateVar_64f");
        require(zelsUpdateMean_64f(statistics.sums[j], means_[j], width(), occupancy), "zelsUpdateMean_64f");
    }
    make_tables();
}

void Mixture::set_floors(double share)
{
    for (std::int32_t k = 0; k < width(); ++k) {
        double& floor = floors_[static_cast<std::size_t>(k)];
        floor = std::max(kLeastVariance, share * variances_[0][k]);
        variances_[0][k] = std::max(floor, variances_[0][k]);
    }
    make_tables();
}

void Mixture::split(std::int32_t wanted)
{
    const std::int32_t before = components(), more = wanted - before;
    if (more < 0 || more > before)
        throw Failure(std::to_string(before) + (before == 1 ? " component splits" : " components split") +
                      " into " + std::to_string(before) + " to " + std::to_string(2 * before) + ", not " +
                      std::to_string(wanted));
    if (more == 0) return;
    std::vector<std::int32_t> heaviest(weights_.size());
    std::iota(heaviest.begin(), heaviest.end(), 0);
    std::stable_sort(heaviest.begin(), heaviest.end(), [this](std::int32_t a, std::int32_t b) {
        return weights_[static_cast<std::size_t>(a)] > weights_[static_cast<std::size_t>(b)];
    });

    DoubleRows means(wanted, width()), variances(wanted, width());
    std::copy_n(means_[0], means_.size(), means[0]);
    std::copy_n(variances_[0], variances_.size(), variances[0]);
    for (std::int32_t i = 0; i < more; ++i) {
        const std::int32_t j = heaviest[static_cast<std::size_t>(i)], other = before + i;
        require(zelsGaussianSplit_64f(means[j], variances[j], means[other], variances[other], width(), kSplit),
                "zelsGaussianSplit_64f");
        weights_[static_cast<std::size_t>(j)] /= 2;
        weights_.push_back(weights_[static_cast<std::size_t>(j)]);
    }
    means_ = std::move(means);
    variances_ = std::move(variances);
    make_tables();
}

std::string Mixture::parameters() const
{
    const auto row_length = static_cast<std::size_t>(width());
    std::string text = field("components", components()) + field("floor", floors_);
    for (std::int32_t j = 0; j < components(); ++j) {
        text += field("weight", weights_[static_cast<std::size_t>(j)]);
        text += field("mean", std::span(means_[j], row_length));
        text += field("variance", std::span(variances_[j], row_length));
    }
    return text;
}

std::string Mixture::text() const { return std::string(kTitle) + '\n' + text_of(kind_) + parameters() + "end\n"; }

Mixture Mixture::read_parameters(FieldReader& reader, const FeatureKind& kind)
{
    const auto components = static_cast<std::int32_t>(reader.whole("components", 1, kMostComponents));
    // Each has a few characters at least: memory goes to what the text has room for.
    if (reader.left() / 4 / static_cast<std::size_t>(kind.width) < static_cast<std::size_t>(components))
        reader.fail("the file is cut short");

    Mixture mixture(kind, components);
    const auto read_positive = [&](std::string_view word, std::span<double> values) {
        reader.numbers(word, values);
        if (!(*std::min_element(values.begin(), values.end()) > 0)) reader.fail("not above zero");
    };
    const auto row_length = static_cast<std::size_t>(kind.width);
    double sum = 0;
    read_positive("floor", mixture.floors_);
    for (std::int32_t j = 0; j < components; ++j) {
        double& weight = mixture.weights_[static_cast<std::size_t>(j)];
        read_positive("weight", {&weight, 1});
        sum += weight;
        reader.numbers("mean", {mixture.means_[j], row_length});
        read_positive("variance", {mixture.variances_[j], row_length});
    }
    if (!(std::fabs(sum - 1) < 1e-6)) reader.fail("the weights do not add up to 1");
    mixture.make_tables();
    return mixture;
}

Mixture Mixture::parse(std::string_view text)
{
    FieldReader reader(text);
    if (!reader.text("zelsr-mixture").starts_with("1")) reader.fail("another version of models");
    const FeatureKind kind = read_kind(reader);
    Mixture mixture = read_parameters(reader, kind);
    reader.text("end");
    reader.finish();
    return mixture;
}

}  // namespace zelsr::examples
