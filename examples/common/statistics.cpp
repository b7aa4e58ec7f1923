#include "common/statistics.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>

#include "common/failure.h"
#include "common/fields.h"

namespace zelsr::examples {
namespace {

constexpr std::int32_t kRowsAtOnce = 256;
constexpr std::int32_t kAccurate = 0;
// A component's smaller share of a frame, 1e-12, does not count.
constexpr double kLeastLogShare = -27.6;

void add_rows(const DoubleRows& from, DoubleRows& to)
{
    require(zelsAdd_64f_I(from[0], to[0], to.size()), "zelsAdd_64f_I");
}

}  // namespace

Statistics::Statistics(std::string of_model, std::int32_t components, std::int32_t row_width)
    : model(std::move(of_model)),
      occupancies(static_cast<std::size_t>(components)),
      sums(components, row_width),
      squares(components, row_width),
      width(row_width)
{}

Statistics::Statistics(const Mixture& mixture)
    : Statistics(hash_of(mixture.text()), mixture.components(), mixture.width())
{}

void Statistics::add(const Statistics& other)
{
    if (other.model != model || other.components() != components() || other.width != width)
        throw Failure("gathered under another model, " + other.model + " and not " + model);
    files += other.files;
    frames += other.frames;
    log_likelihood += other.log_likelihood;
    require(zelsAdd_64f_I(other.occupancies.data(), occupancies.data(), components()), "zelsAdd_64f_I");
    add_rows(other.sums, sums);
    add_rows(other.squares, squares);
}

std::string Statistics::text() const
{
    const auto length = static_cast<std::size_t>(width);
    std::string text = field("zelsr-statistics", "1") + field("model", model) + field("width", width) +
                       field("components", components()) + field("files", files) + field("frames", frames) +
                       field("log-likelihood", log_likelihood);
    for (std::int32_t j = 0; j < components(); ++j) {
        text += field("occupancy", occupancies[static_cast<std::size_t>(j)]);
        text += field("sum", std::span(sums[j], length));
        text += field("square", std::span(squares[j], length));
    }
    return text + field("end", hash_of(text));
}

Statistics Statistics::parse(std::string_view text)
{
    FieldReader reader(text);
    if (reader.text("zelsr-statistics") != "1") reader.fail("another version of statistics");
    const std::string model(reader.text("model"));
    const auto width = static_cast<std::int32_t>(reader.whole("width", 1, kMostWidth));
    const auto components = static_cast<std::int32_t>(reader.whole("components", 1, kMostComponents));
    if (text.size() / 4 / static_cast<std::size_t>(width) < static_cast<std::size_t>(components))
        reader.fail("the file is cut short");
    Statistics result(model, components, width);
    const auto count = [&](std::string_view word) {
        const double value = reader.number(word);
        if (!(value >= 0)) reader.fail(std::string(word) + " below zero");
        return value;
    };
    result.files = count("files");
    result.frames = count("frames");
    result.log_likelihood = reader.number("log-likelihood");
    for (std::int32_t j = 0; j < components; ++j) {
        result.occupancies[static_cast<std::size_t>(j)] = count("occupancy");
        reader.numbers("sum", {result.sums[j], static_cast<std::size_t>(width)});
        reader.numbers("square", {result.squares[j], static_cast<std::size_t>(width)});
    }
    const std::string_view hash = reader.text("end");
    reader.finish();
    const std::size_t end_line = hash.size() + 5;
    if (hash != hash_of(text.substr(0, text.size() - end_line))) reader.fail("the file was damaged");
    return result;
}

Accumulator::Accumulator(const Mixture& mixture)
    : mixture_(mixture),
      statistics_(mixture),
      frames_(kRowsAtOnce, mixture.width()),
      scores_(mixture.components(), kRowsAtOnce),
      totals_(kRowsAtOnce)
{}

void Accumulator::add(const RowBlock<float>& rows)
{
    for (std::int32_t first = 0; first < rows.rows; first += kRowsAtOnce)
        add_some(rows, first, std::min(kRowsAtOnce, rows.rows - first));
}

void Accumulator::add_some(const RowBlock<float>& rows, std::int32_t first, std::int32_t count)
{
    const std::int32_t width = mixture_.width(), components = mixture_.components();
    for (std::int32_t r = 0; r < count; ++r) std::copy_n(rows[first + r], width, frames_[r]);

    for (std::int32_t j = 0; j < components; ++j) {
        require(zelsLogGauss_64f_D2(frames_[0], frames_.step(), mixture_.mean(j), mixture_.inverse_variance(j),
                                    width, scores_[j], count, mixture_.constant(j)),
                "zelsLogGauss_64f_D2");
        if (j == 0)
            require(zelsCopy_64f(scores_[j], totals_.data(), count), "zelsCopy_64f");
        else
            require(zelsLogAdd_64f(scores_[j], totals_.data(), count, kAccurate), "zelsLogAdd_64f");
    }
    statistics_.frames += count;
    for (std::int32_t r = 0; r < count; ++r) statistics_.log_likelihood += totals_[static_cast<std::size_t>(r)];

    for (std::int32_t j = 0; j < components; ++j) {
        double* log_shares = scores_[j];
        require(zelsSub_64f_I(totals_.data(), log_shares, count), "zelsSub_64f_I");
        for (std::int32_t r = 0; r < count; ++r) {
            if (!(log_shares[r] > kLeastLogShare)) continue;
            const double share = std::exp(log_shares[r]);
            statistics_.occupancies[static_cast<std::size_t>(j)] += share;
            require(zelsMeanVarAcc_64f(frames_[r], mixture_.mean(j), statistics_.sums[j], statistics_.squares[j],
                                       width, share),
                    "zelsMeanVarAcc_64f");
        }
    }
}

}  // namespace zelsr::examples
