// Accuracy against noise: a line a scorer.
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>

#include "common/plot.h"
#include "common/text.h"
#include "recognise/page_parts.h"

namespace zelsr::examples::report {
namespace {

constexpr double kWidth = 760, kHeight = 330;
constexpr Box kPlot{72, 16, 500, 250};
constexpr double kApart = 7;         // between the markers of two lines at one noise, which would cover each other
constexpr double kLabelHeight = 18;  // at least, from label to label
constexpr double kMarkerSize = 5;

std::string condition(double snr_db)
{
    return std::isfinite(snr_db) ? fixed(snr_db, snr_db == std::round(snr_db) ? 0 : 1) + " dB" : "no noise";
}

double share(const Tally& tally)
{
    return 100 * static_cast<double>(tally.right) / static_cast<double>(tally.tested);
}

std::string look_of(std::size_t line, std::string_view kind)
{
    return "s" + std::to_string(line % kSeriesLooks).append(" ").append(kind);
}

// Shapes differ as the colours do: corners on a circle, the first one on its top or a turn behind, counted in
// corners.
void draw_marker(Svg& svg, Point at, std::size_t line)
{
    struct Shape {
        int corners;
        double turn, size;
    };
    static constexpr std::array<Shape, kSeriesLooks> kShapes{
        {{16, 0, 1}, {4, 0.5, 1.15}, {3, 0, 1.3}, {4, 0, 1.25}, {3, 0.5, 1.3}, {6, 0, 1.1}}};
    const Shape shape = kShapes[line % kSeriesLooks];
    std::vector<Point> corners;
    for (int i = 0; i < shape.corners; ++i) {
        const double angle = 2 * std::numbers::pi * (i + shape.turn) / shape.corners;
        const double size = shape.size * kMarkerSize;
        corners.push_back({at.x + size * std::sin(angle), at.y - size * std::cos(angle)});
    }
    svg.path(corners, look_of(line, "marker"), true);
}

// Moves labels apart, in their order from the top, as little as it takes.
std::vector<double> spread(const std::vector<double>& wanted)
{
    std::vector<std::size_t> order(wanted.size());
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(), [&](auto a, auto b) { return wanted[a] < wanted[b]; });
    std::vector<double> placed = wanted;
    for (std::size_t i = 1; i < order.size(); ++i)
        placed[order[i]] = std::max(placed[order[i]], placed[order[i - 1]] + kLabelHeight);
    // Back into the picture from the bottom up.
    double most = kPlot.bottom() + kLabelHeight;
    for (std::size_t i = order.size(); i-- > 0; most -= kLabelHeight)
        placed[order[i]] = std::min(placed[order[i]], most);
    return placed;
}

class NoiseChart {
  public:
    NoiseChart(const NoiseSeries& series, const Svg::Caption& caption)
        : series_(series),
          panel_(kPlot, 0, static_cast<double>(series.snr_db.size()), lowest(series), 100),
          svg_(kWidth, kHeight, caption)
    {}

    Svg draw()
    {
        draw_y_axis(svg_, panel_, "right (%)", 5);
        svg_.box(kPlot, "frame");
        for (std::size_t i = 0; i < series_.snr_db.size(); ++i)
            svg_.text({panel_.x(static_cast<double>(i) + 0.5), kPlot.bottom() + 18}, condition(series_.snr_db[i]),
                      "tick", Anchor::Middle);
        svg_.text({kPlot.x + kPlot.width / 2, kPlot.bottom() + 42}, "speech over noise", "name", Anchor::Middle);

        std::vector<Point> ends;
        for (std::size_t i = 0; i < series_.lines.size(); ++i) ends.push_back(draw_line(i));
        std::vector<double> heights;
        for (Point end : ends) heights.push_back(end.y);
        heights = spread(heights);
        for (std::size_t i = 0; i < ends.size(); ++i) {
            const Point at{kPlot.right() + 24, heights[i]};
            svg_.line({ends[i].x + 8, ends[i].y}, {at.x - 8, at.y}, look_of(i, "lead"));
            draw_marker(svg_, at, i);
            svg_.text({at.x + 10, at.y + 4.5}, series_.lines[i].name, "label");
        }
        return svg_;
    }

  private:
    // The axis begins below the lowest value, at a multiple of 10 %, or of 20 % if it is long.
    static double lowest(const NoiseSeries& series)
    {
        double low = 100;
        for (const NoiseSeries::Line& line : series.lines)
            for (const Tally& words : line.words)
                if (words.tested > 0) low = std::min(low, share(words));
        const double step = low < 50 ? 20 : 10;
        return std::max(0.0, step * std::floor(low / step - 1e-9));
    }

    // Gaps where nothing was tested. Returns where the line's label belongs.
    Point draw_line(std::size_t number)
    {
        const NoiseSeries::Line& line = series_.lines[number];
        const double aside =
            kApart * (static_cast<double>(number) - (static_cast<double>(series_.lines.size()) - 1) / 2);
        std::vector<Point> points;
        Point last{kPlot.right() - 8, kPlot.bottom()};
        auto finish_piece = [&] {
            if (points.size() > 1) svg_.path(points, look_of(number, "line"));
            for (Point point : points) draw_marker(svg_, point, number);
            if (!points.empty()) last = points.back();
            points.clear();
        };
        for (std::size_t i = 0; i < line.words.size(); ++i) {
            if (line.words[i].tested == 0) {
                finish_piece();
                continue;
            }
            const Point at = panel_.at(static_cast<double>(i) + 0.5, share(line.words[i]));
            points.push_back({at.x + aside, at.y});
        }
        finish_piece();
        return last;
    }

    const NoiseSeries& series_;
    Panel panel_;
    Svg svg_;
};

}  // namespace

void add_noise(Html& page, const NoiseSeries& series, const std::string& name, const std::string& lines,
               const std::string& id)
{
    std::string content;
    for (const NoiseSeries::Line& line : series.lines) {
        content += line.name + ": ";
        for (std::size_t i = 0; i < line.words.size(); ++i)
            content += (i > 0 ? ", " : "") + percent(line.words[i]) + " at " + condition(series.snr_db[i]);
        content += ". ";
    }

    page.element("h3", name);
    {
        const Html::Element figure = page.inside("figure");
        page.picture(NoiseChart(series, {id, name, content}).draw());
        if (series.lines.size() > 1)
            page.element("figcaption",
                         "Markers of one level stand side by side, so that equal values do not hide.");
    }
    std::vector<Html::Column> columns = {{lines, false}};
    for (double snr : series.snr_db) columns.push_back({condition(snr)});
    std::vector<std::vector<Html::Cell>> rows;
    for (const NoiseSeries::Line& line : series.lines) {
        rows.push_back({{line.name}});
        for (const Tally& words : line.words) rows.back().push_back({percent(words)});
    }
    std::vector<std::string> tested;
    for (std::size_t i = 0; i < series.snr_db.size(); ++i) {
        std::int64_t most = 0;
        for (const NoiseSeries::Line& line : series.lines) most = std::max(most, line.words[i].tested);
        tested.push_back(grouped(most));
    }
    const bool equal = std::adjacent_find(tested.begin(), tested.end(), std::not_equal_to<>()) == tested.end();
    page.table("Words right, by the level of speech over that of the noise; " +
                   (equal ? tested.front() : listed(tested)) + " words each",
               columns, rows);
}

}  // namespace zelsr::examples::report
