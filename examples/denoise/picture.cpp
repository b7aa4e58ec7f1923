#include "denoise/picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "common/plot.h"
#include "common/svg.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr double kWidth = 1200, kLeft = 84, kInnerWidth = kWidth - kLeft - 24;
constexpr Box kBefore{kLeft, 92, kInnerWidth, 200}, kAfter{kLeft, 322, kInnerWidth, 200};
constexpr Box kLevels{kLeft, 552, kInnerWidth, 190};
constexpr double kHeight = kLevels.bottom() + 52;

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
    sound += other.sound;
    noise += other.noise;
    cleaned += other.cleaned;
    frames += other.frames;
}

void DenoisePicture::add(const SeenFrame& frame)
{
    const std::size_t bins = frame.power.size();
    std::vector<float> left(bins);
    for (std::size_t k = 0; k < bins; ++k) left[k] = frame.power[k] * frame.gain[k] * frame.gain[k];
    before_.add(frame.power);
    after_.add(left);
    // Mean squares of samples: all but the first and the last bin stand for two, and the window's squares add up
    // to half of its length.
    const double mean = 2.0 / shape_.length() / shape_.length();
    Column column{0, 0, 0, 1};
    for (std::size_t k = 0; k < bins; ++k) {
        const double share = k == 0 || k + 1 == bins ? mean : 2 * mean;
        column.sound += frame.power[k] * share;
        column.noise += frame.noise[k] * share;
        column.cleaned += left[k] * share;
    }
    levels_.add(column);
    ++frames_;
}

std::string DenoisePicture::svg(const std::string& title, const std::string& summary) const
{
    // A frame stands for the shift around its centre. The first one begins a lead before the sound, and the last
    // one ends a frame behind it, if not a little more.
    const double shift = static_cast<double>(shape_.shift()) / shape_.rate;
    const double start = -0.5 * (shape_.length() - shape_.shift()) / shape_.rate;
    const double end = 2 * start + static_cast<double>(frames_) * shift;
    const double loudest = before_.loudest();

    Svg svg(kWidth, kHeight, std::string(axis_styles()) + std::string(kStyles));
    svg.title(title);
    svg.box({0, 0, kWidth, kHeight}, "page");
    svg.text({kLeft, 34}, title, "title");
    svg.text({kLeft, 56}, summary, "summary");

    const auto spectrogram = [&](const Box& box, const char* name, const std::string& heading,
                                 const SpectrogramColumns& columns) {
        const Panel panel(box, 0, end, 0, columns.highest_hz() / 1000);
        svg.begin_group(name);
        svg.title(heading);
        svg.text({kLeft, box.y - 8}, heading, "heading");
        draw_levels(svg, panel, columns.picture(loudest, start, shift));
        draw_x_axis(svg, panel, "", Labels::None);
        draw_y_axis(svg, panel, "frequency (kHz)", 5);
        svg.end_group();
    };
    spectrogram(kBefore, "before", "Before, " + fixed(Spectrogram::kShownDecibels, 0) + " dB from white to dark",
                before_);
    spectrogram(kAfter, "after", "After, in the same colours", after_);

    const auto columns = levels_.columns();
    const double column_seconds = static_cast<double>(levels_.items_a_column()) * shift;
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
    const Panel panel(kLevels, 0, end, low - 3, std::max(high, low + 10) + 3);
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
            points.push_back(
                panel.at(start + (static_cast<double>(i) + 0.5) * column_seconds, level(columns[i], track)));
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
