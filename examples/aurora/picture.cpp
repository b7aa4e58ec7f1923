#include "aurora/picture.h"

#include <algorithm>
#include <cmath>

#include "common/failure.h"
#include "common/plot.h"
#include "common/png.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr double kWidth = 1200, kLeft = 84, kInnerWidth = kWidth - kLeft - 24;
constexpr double kTop = 92, kPanelHeight = 230, kPanelDistance = 44;
constexpr double kHeight = kTop + 2 * kPanelHeight + kPanelDistance + 52;
constexpr double kShownDecibels = 60, kBarHeight = 6;
constexpr double kShift = static_cast<double>(kHop) / kLowRate, kStart = 0.5 * (kFrame - kHop) / kLowRate;

constexpr std::string_view kStyles =
    ".page { fill: #fff; }\n"
    ".title { font-size: 19px; font-weight: bold; }\n"
    ".summary { font-size: 13px; }\n"
    ".heading { font-size: 13px; font-weight: bold; }\n"
    ".speech { fill: #e8891c; }\n";

int order_of(int rate) { return rate == kHighRate ? kOrder + 1 : kOrder; }

}  // namespace

PowerColumns::PowerColumns(int rate)
    : length_(static_cast<std::size_t>(kFrame * rate / kLowRate)),
      shift_(static_cast<std::size_t>(kHop * rate / kLowRate)),
      window_(length_),
      windowed_(std::size_t{1} << order_of(rate)),
      spectrum_(windowed_.size() + 2),
      transform_(order_of(rate))
{
    for (std::size_t n = 0; n < length_; ++n)
        window_[n] = static_cast<float>(hann(static_cast<int>(n), static_cast<int>(length_)) * kLowRate / rate);
}

template <class T>
void PowerColumns::add(std::span<const T> samples)
{
    waiting_.insert(waiting_.end(), samples.begin(), samples.end());
    std::size_t start = 0;
    for (; start + length_ <= waiting_.size(); start += shift_) {
        require(
            zelsMul_32f(&waiting_[start], window_.data(), windowed_.data(), static_cast<std::int32_t>(length_)),
            "zelsMul_32f");
        Column column{{}, 1};
        transform_.to_power(windowed_.data(), spectrum_.data(), column.power.data(), kPowerBins);
        columns_.add(column);
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(start));
}

template void PowerColumns::add(std::span<const float>);
template void PowerColumns::add(std::span<const std::int16_t>);

void PowerColumns::Column::join(const Column& other)
{
    require(zelsAdd_32f_I(other.power.data(), power.data(), kPowerBins), "zelsAdd_32f_I");
    frames += other.frames;
}

double PowerColumns::Column::decibels(std::size_t bin) const
{
    return 10 * std::log10(power[bin] / static_cast<double>(frames) + 1e-3);
}

void ReductionPicture::Marked::join(const Marked& other)
{
    speech += other.speech;
    frames += other.frames;
}

void ReductionPicture::add_marks(std::span<const Mark> marks)
{
    for (const Mark mark : marks) marks_.add({mark == Mark::Speech, 1});
}

std::string ReductionPicture::svg(const std::string& title, const std::string& summary) const
{
    Svg svg(kWidth, kHeight, std::string(axis_styles()) + std::string(kStyles));
    svg.title(title);
    svg.box({0, 0, kWidth, kHeight}, "page");
    svg.text({kLeft, 34}, title, "title");
    svg.text({kLeft, 56}, summary, "summary");

    double loudest = 0;
    for (const PowerColumns::Column& column : noisy_.columns().columns())
        for (std::size_t bin = 0; bin < kPowerBins; ++bin) loudest = std::max(loudest, column.decibels(bin));
    const std::string levels = fixed(kShownDecibels, 0) + " dB from white to dark; bars: marked as speech";
    const Box first{kLeft, kTop, kInnerWidth, kPanelHeight};
    const Box second{kLeft, first.bottom() + kPanelDistance, kInnerWidth, kPanelHeight};
    draw(svg, noisy_, loudest, first, "As recorded, " + levels, false);
    draw(svg, cleaned_, loudest, second, "Behind noise reduction, the same levels", true);
    return svg.finish();
}

void ReductionPicture::draw(Svg& svg, const PowerColumns& power, double loudest, const Box& box,
                            const std::string& heading, bool last) const
{
    const auto columns = power.columns().columns();
    std::vector<std::uint8_t> pixels;
    std::int64_t frames = 0;
    for (const PowerColumns::Column& column : columns) frames += column.frames;
    for (std::size_t bin = kPowerBins; bin-- > 0;)
        for (const PowerColumns::Column& column : columns) {
            const double shade = 1 - (loudest - column.decibels(bin)) / kShownDecibels;
            pixels.push_back(static_cast<std::uint8_t>(std::lround(255 * std::clamp(shade, 0.0, 1.0))));
        }

    const Panel panel(box, 0, kStart + static_cast<double>(frames) * kShift + kStart, 0, 4);
    // The last column may hold fewer frames than the others; its width is theirs all the same.
    const double drawn_end = kStart + static_cast<double>(columns.size()) *
                                          static_cast<double>(power.columns().items_a_column()) * kShift;
    svg.begin_group(last ? "cleaned" : "noisy");
    svg.title(heading);
    svg.text({kLeft, box.y - 8}, heading, "heading");
    svg.begin_group("levels", &box);
    svg.image({panel.x(kStart), box.y, panel.x(drawn_end) - panel.x(kStart), box.height},
              png_data_address(pixels, columns.size(), level_palette()));
    const auto marks = marks_.columns();
    const double width = static_cast<double>(marks_.items_a_column()) * kShift;
    const auto holds_speech = [&](std::size_t i) {
        return i < marks.size() && 2 * marks[i].speech >= marks[i].frames;
    };
    for (std::size_t i = 0; i < marks.size(); ++i) {
        if (!holds_speech(i)) continue;
        const std::size_t from = i;
        while (holds_speech(i + 1)) ++i;
        const double left = panel.x(kStart + static_cast<double>(from) * width),
                     right = panel.x(kStart + static_cast<double>(i + 1) * width);
        svg.box({left, box.y, right - left, kBarHeight}, "speech");
    }
    svg.end_group();
    draw_x_axis(svg, panel, "time (s)", last ? Labels::Shown : Labels::None);
    draw_y_axis(svg, panel, "frequency (kHz)", 5);
    svg.end_group();
}

}  // namespace zelsr::examples
