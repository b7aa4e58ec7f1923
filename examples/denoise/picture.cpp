#include "denoise/picture.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "common/plot.h"
#include "common/png.h"
#include "common/svg.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr double kWidth = 1200, kLeft = 84, kInnerWidth = kWidth - kLeft - 24;
constexpr Box kBefore{kLeft, 92, kInnerWidth, 200}, kAfter{kLeft, 322, kInnerWidth, 200};
constexpr Box kLevels{kLeft, 552, kInnerWidth, 190};
constexpr double kHeight = kLevels.bottom() + 52;
constexpr double kShownDecibels = 70;

constexpr std::string_view kStyles =
    ".page { fill: #fff; }\n"
    ".title { font-size: 19px; font-weight: bold; }\n"
    ".summary { font-size: 13px; }\n"
    ".heading { font-size: 13px; font-weight: bold; }\n"
    ".sound { fill: none; stroke: #999; stroke-width: 1.2; stroke-linejoin: round; }\n"
    ".cleaned { fill: none; stroke: #2166ac; stroke-width: 1.5; stroke-linejoin: round; }\n"
    ".noise { fill: none; stroke: #c8500a; stroke-width: 2; stroke-linejoin: round; }\n";

double decibels(double power) { return 10 * std::log10(std::max(power, 1e-14)); }

}  // namespace

void DenoisePicture::Column::join(const Column& other)
{
    for (std::size_t row = 0; row < kRows; ++row) {
        before[row] += other.before[row];
        after[row] += other.after[row];
    }
    sound += other.sound;
    noise += other.noise;
    cleaned += other.cleaned;
    frames += other.frames;
}

void DenoisePicture::add(const SeenFrame& frame)
{
    Column column{{}, {}, 0, 0, 0, 1};
    const std::size_t bins = frame.power.size();
    const auto left = [&](std::size_t k) { return double{frame.power[k]} * frame.gain[k] * frame.gain[k]; };
    // A row covers the bins of one of kRows equal parts, at least one. A sine of full scale has the power 1: half
    // of the window's sum is its amplitude in a bin, and the sum of a root of a Hann window is 2 / pi of its
    // length.
    const double unit = std::pow(shape_.length() / 3.14159265358979, 2);
    for (std::size_t row = 0; row < kRows; ++row) {
        const std::size_t first = row * (bins - 1) / kRows,
                          end = std::max(first + 1, (row + 1) * (bins - 1) / kRows);
        const double share = 1 / (unit * static_cast<double>(end - first));
        for (std::size_t k = first; k < end; ++k) {
            column.before[row] += frame.power[k] * share;
            column.after[row] += left(k) * share;
        }
    }
    // Mean squares of samples: all but the first and the last bin stand for two, and the window's squares add up
    // to half of its length.
    const double mean = 2.0 / shape_.length() / shape_.length();
    for (std::size_t k = 0; k < bins; ++k) {
        const double share = k == 0 || k + 1 == bins ? mean : 2 * mean;
        column.sound += frame.power[k] * share;
        column.noise += frame.noise[k] * share;
        column.cleaned += left(k) * share;
    }
    columns_.add(column);
}

// Where things lie in time, and the colours' range.
struct DenoisePicture::Look {
    double start, end, drawn_end;  // in seconds; the last column may hold fewer frames than the others
    double loudest;                // in dB

    explicit Look(const DenoisePicture& picture)
    {
        const FrameShape& shape = picture.shape_;
        const auto columns = picture.columns_.columns();
        std::int64_t frames = 0;
        loudest = -200;
        for (const Column& column : columns) {
            frames += column.frames;
            for (const double power : column.before)
                loudest = std::max(loudest, decibels(power / static_cast<double>(column.frames)));
        }
        const double shift = static_cast<double>(shape.shift()) / shape.rate;
        // A frame stands for the shift around its centre. The first one begins a lead before the sound, and the
        // last one ends a frame behind it, if not a little more.
        const int lead = shape.length() - shape.shift();
        start = (0.5 * (shape.length() - shape.shift()) - lead) / shape.rate;
        end = start + static_cast<double>(frames) * shift + start;
        drawn_end = start + static_cast<double>(columns.size()) *
                                static_cast<double>(picture.columns_.items_a_column()) * shift;
    }

    double seconds(std::size_t column, std::size_t columns) const
    {
        return start + (static_cast<double>(column) + 0.5) / static_cast<double>(columns) * (drawn_end - start);
    }
};

std::string DenoisePicture::svg(const std::string& title, const std::string& summary) const
{
    const Look look(*this);
    const auto columns = columns_.columns();
    Svg svg(kWidth, kHeight, std::string(axis_styles()) + std::string(kStyles));
    svg.title(title);
    svg.box({0, 0, kWidth, kHeight}, "page");
    svg.text({kLeft, 34}, title, "title");
    svg.text({kLeft, 56}, summary, "summary");

    const auto spectrogram = [&](const Box& box, const char* name, const char* heading, auto rows) {
        std::vector<std::uint8_t> pixels;
        for (std::size_t row = kRows; row-- > 0;)
            for (const Column& column : columns) {
                const double level = decibels((column.*rows)[row] / static_cast<double>(column.frames));
                const double shade = 1 - (look.loudest - level) / kShownDecibels;
                pixels.push_back(static_cast<std::uint8_t>(std::lround(255 * std::clamp(shade, 0.0, 1.0))));
            }
        const Panel panel(box, 0, look.end, 0, shape_.rate / 2000.0);
        svg.begin_group(name);
        svg.title(heading);
        svg.text({kLeft, box.y - 8}, heading, "heading");
        svg.begin_group("levels", &box);
        svg.image({panel.x(look.start), box.y, panel.x(look.drawn_end) - panel.x(look.start), box.height},
                  png_data_address(pixels, columns.size(), level_palette()));
        svg.end_group();
        draw_x_axis(svg, panel, "", Labels::None);
        draw_y_axis(svg, panel, "frequency (kHz)", 5);
        svg.end_group();
    };
    const std::string before = "Before, " + fixed(kShownDecibels, 0) + " dB from white to dark";
    spectrogram(kBefore, "before", before.c_str(), &Column::before);
    spectrogram(kAfter, "after", "After, in the same colours", &Column::after);

    const std::array<std::pair<const char*, double Column::*>, 3> tracks{
        {{"sound", &Column::sound}, {"cleaned", &Column::cleaned}, {"noise", &Column::noise}}};
    const auto level = [](const Column& column, double Column::*track) {
        return std::max(decibels(column.*track / static_cast<double>(column.frames)), -110.0);
    };
    double low = 0, high = -110;
    for (const Column& column : columns)
        for (const auto& [name, track] : tracks) {
            low = std::min(low, level(column, track));
            high = std::max(high, level(column, track));
        }
    const Panel panel(kLevels, 0, look.end, low - 3, std::max(high, low + 10) + 3);
    svg.begin_group("tracks");
    svg.title("Levels");
    svg.text({kLeft, kLevels.y - 8}, "Levels: the sound, what is left of it, and the estimate of its noise",
             "heading");
    draw_x_axis(svg, panel, "time (s)", Labels::Shown);
    draw_y_axis(svg, panel, "dB of full scale", 5);
    svg.begin_group("lines", &kLevels);
    for (const auto& [name, track] : tracks) {
        std::vector<Point> points;
        for (std::size_t i = 0; i < columns.size(); ++i)
            points.push_back(panel.at(look.seconds(i, columns.size()), level(columns[i], track)));
        svg.path(points, name);
    }
    svg.end_group();
    double x = kLevels.right() - 300;
    for (const auto& [name, track] : tracks) {
        svg.line({x, kLevels.y - 12}, {x + 26, kLevels.y - 12}, name);
        svg.text({x + 32, kLevels.y - 8}, name, "tick");
        x += 105;
    }
    svg.end_group();
    return svg.finish();
}

}  // namespace zelsr::examples
