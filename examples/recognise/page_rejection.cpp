// Which words are refused: two histograms of the confidence, known words upwards and unknown ones downwards.
#include <algorithm>
#include <array>
#include <cmath>

#include "common/plot.h"
#include "common/text.h"
#include "recognise/page_parts.h"

namespace zelsr::examples::report {
namespace {

constexpr double kWidth = 760, kHeight = 360;
constexpr Box kPlot{72, 24, 664, 270};
constexpr int kWantedBins = 32;
constexpr double kOutside = 0.01;  // of either group at the low end may lie left of the first bin

// Finite ones in rising order.
std::vector<double> ordered(const std::vector<double>& values)
{
    std::vector<double> result;
    std::copy_if(values.begin(), values.end(), std::back_inserter(result),
                 [](double v) { return std::isfinite(v); });
    std::sort(result.begin(), result.end());
    return result;
}

std::int64_t taken(const std::vector<double>& confidences, double threshold)
{
    return std::count_if(confidences.begin(), confidences.end(), [&](double c) { return c >= threshold; });
}

struct Bins {
    std::vector<double> edges;  // of bins of one width, which share their ends
    int digits = 0;
    std::vector<std::int64_t> known, unknown;
    std::int64_t outside = 0;  // counted in the outer bins
};

void count_into(Bins& bins, const std::vector<double>& values, std::vector<std::int64_t>& counts)
{
    counts.assign(bins.edges.size() - 1, 0);
    for (double value : values) {
        // The bin whose left edge is the last one that is not above the value.
        const auto above = std::upper_bound(bins.edges.begin(), bins.edges.end(), value) - bins.edges.begin();
        const std::ptrdiff_t bin = std::clamp<std::ptrdiff_t>(above - 1, 0, std::ssize(counts) - 1);
        ++counts[static_cast<std::size_t>(bin)];
        bins.outside += value < bins.edges.front() || value > bins.edges.back();
    }
}

// From where both groups begin, a few stragglers left aside, to the highest confidence; the threshold is inside.
Bins bins_of(const Rejection& rejection)
{
    const std::vector<double> known = ordered(rejection.known), unknown = ordered(rejection.unknown);
    double low = rejection.threshold, high = rejection.threshold;
    if (!std::isfinite(low)) low = high = known.empty() ? unknown.empty() ? 0 : unknown.back() : known.back();
    for (const std::vector<double>* group : {&known, &unknown}) {
        if (group->empty()) continue;
        low = std::min(low, (*group)[static_cast<std::size_t>(kOutside * static_cast<double>(group->size()))]);
        high = std::max(high, group->back());
    }
    constexpr double kFarthest = 1e9;
    low = std::clamp(low, -kFarthest, kFarthest);
    high = std::clamp(high, -kFarthest, kFarthest);
    const double least = std::max(1e-6, 1e-6 * std::max(std::abs(low), std::abs(high)));
    if (high - low < least) {
        low -= least / 2;
        high += least / 2;
    }

    const Ticks ticks = round_ticks(low, high, kWantedBins);
    const double step = ticks.values.size() > 1 ? ticks.values[1] - ticks.values[0] : high - low;
    Bins bins;
    bins.digits = ticks.digits;
    const double first = std::floor(low / step + 1e-9);
    for (double k = first; k == first || (k - 1) * step < high - 1e-9 * step; ++k) bins.edges.push_back(k * step);
    if (bins.edges.size() < 2) bins.edges.push_back(bins.edges[0] + step);
    count_into(bins, known, bins.known);
    count_into(bins, unknown, bins.unknown);
    return bins;
}

double share(std::int64_t count, std::size_t whole)
{
    return whole == 0 ? 0 : 100 * static_cast<double>(count) / static_cast<double>(whole);
}

Svg histogram(const Rejection& rejection, const Bins& bins, const Svg::Caption& caption)
{
    double most = 1;
    for (std::size_t i = 0; i < bins.known.size(); ++i)
        most = std::max({most, share(bins.known[i], rejection.known.size()),
                         share(bins.unknown[i], rejection.unknown.size())});
    const Panel panel(kPlot, bins.edges.front(), bins.edges.back(), -1.12 * most, 1.12 * most);
    Svg svg(kWidth, kHeight, caption);
    draw_x_axis(svg, panel, rejection.meaning.empty() ? "confidence" : rejection.meaning, Labels::Shown);
    const Ticks ticks = round_ticks(0, most, 3);
    for (double value : ticks.values)
        for (double at : {value, -value}) {
            if (value == 0 && std::signbit(at)) continue;
            svg.line({kPlot.x, panel.y(at)}, {kPlot.right(), panel.y(at)}, at == 0 ? "zero" : "grid");
            svg.text({kPlot.x - 7, panel.y(at) + 4}, fixed(value, ticks.digits), "tick", Anchor::End);
        }
    svg.text_upwards({kPlot.x - 50, kPlot.y + kPlot.height / 2}, "share of the words (%)", "name");

    for (std::size_t i = 0; i < bins.known.size(); ++i) {
        const double left = panel.x(bins.edges[i]) + 0.5, width = panel.x(bins.edges[i + 1]) - left - 0.5;
        const double up = panel.y(share(bins.known[i], rejection.known.size()));
        const double down = panel.y(-share(bins.unknown[i], rejection.unknown.size()));
        if (bins.known[i] > 0) svg.box({left, up, width, panel.y(0) - up}, "known");
        if (bins.unknown[i] > 0) svg.box({left, panel.y(0), width, down - panel.y(0)}, "unknown");
    }
    svg.text({kPlot.x + 10, kPlot.y + 18}, "known words, upwards", "heading");
    svg.text({kPlot.x + 10, kPlot.bottom() - 10}, "unknown words, downwards", "heading");
    if (std::isfinite(rejection.threshold) && rejection.threshold >= bins.edges.front() &&
        rejection.threshold <= bins.edges.back()) {
        const double x = panel.x(rejection.threshold);
        svg.line({x, kPlot.y}, {x, kPlot.bottom()}, "threshold");
        svg.text({x, kPlot.y - 8}, "threshold " + shortest(std::round(1000 * rejection.threshold) / 1000), "tick",
                 Anchor::Middle);
    }
    return svg;
}

// What other thresholds would do.
void add_choices(Html& page, const Rejection& rejection)
{
    const std::vector<double> known = ordered(rejection.known);
    if (known.empty() || rejection.unknown.empty()) return;
    std::vector<std::vector<Html::Cell>> rows;
    for (double part : {0.0, 0.01, 0.02, 0.05, 0.10}) {
        // The highest threshold that refuses no more than this part of the known words.
        const std::int64_t without_number = std::ssize(rejection.known) - std::ssize(known);
        const auto may_go = static_cast<std::int64_t>(part * static_cast<double>(rejection.known.size()));
        if (may_go < without_number || may_go - without_number >= std::ssize(known)) continue;
        const double threshold = known[static_cast<std::size_t>(may_go - without_number)];
        const auto all = std::ssize(rejection.known), others = std::ssize(rejection.unknown);
        rows.push_back({{fixed(100 * part, 0) + " %"},
                        {fixed(threshold, 3)},
                        {percent(all - taken(rejection.known, threshold), all)},
                        {percent(taken(rejection.unknown, threshold), others)}});
    }
    if (rows.empty()) return;
    page.table("What other thresholds would do, chosen in hindsight on these words",
               {{"known words refused at most", false}, {"threshold"}, {"known refused"}, {"unknown taken"}},
               rows);
}

}  // namespace

void add_rejection(Html& page, const Rejection& rejection)
{
    const auto known = std::ssize(rejection.known), unknown = std::ssize(rejection.unknown);
    const std::int64_t known_taken = taken(rejection.known, rejection.threshold);
    const std::int64_t unknown_taken = taken(rejection.unknown, rejection.threshold);
    std::vector<std::vector<Html::Cell>> rows;
    if (known > 0)
        rows.push_back({{"known"},
                        {grouped(known)},
                        {grouped(known_taken)},
                        {grouped(known - known_taken)},
                        {percent(known - known_taken, known)}});
    if (unknown > 0)
        rows.push_back({{"unknown"},
                        {grouped(unknown)},
                        {grouped(unknown_taken)},
                        {grouped(unknown - unknown_taken)},
                        {percent(unknown - unknown_taken, unknown)}});
    page.table("Words of the vocabulary and others, taken or refused by the threshold " +
                   number_text(rejection.threshold, 3),
               {{"words", false}, {"tested"}, {"taken"}, {"refused"}, {"share refused"}}, rows);

    const Bins bins = bins_of(rejection);
    const std::string name = "Confidence of known and unknown words";
    const std::string content =
        "Two histograms over the confidence, from " + fixed(bins.edges.front(), bins.digits) + " to " +
        fixed(bins.edges.back(), bins.digits) + ". Known words refused: " + percent(known - known_taken, known) +
        ", unknown words taken: " + percent(unknown_taken, unknown) + ". The counts stand in the table below.";
    {
        const Html::Element figure = page.inside("figure");
        page.picture(histogram(rejection, bins, {"confidence", name, content}));
        if (bins.outside > 0)
            page.element("figcaption",
                         counted(bins.outside, "word") + " below the range, counted in the first bar.");
    }
    {
        const Html::Element details = page.inside("details");
        page.element("summary", "Counts of the histogram");
        rows.clear();
        for (std::size_t i = 0; i < bins.known.size(); ++i)
            rows.push_back({{fixed(bins.edges[i], bins.digits) + " to " + fixed(bins.edges[i + 1], bins.digits)},
                            {grouped(bins.known[i])},
                            {grouped(bins.unknown[i])}});
        page.table("Words by their confidence", {{"confidence", false}, {"known"}, {"unknown"}}, rows);
    }
    add_choices(page, rejection);
}

}  // namespace zelsr::examples::report
