#include "aurora/picture.h"

#include <array>

#include "common/failure.h"
#include "common/plot.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr double kWidth = 1200, kLeft = 84, kInnerWidth = kWidth - kLeft - 24;
constexpr double kTop = 92, kPanelHeight = 230, kPanelDistance = 44;
constexpr double kHeight = kTop + 2 * kPanelHeight + kPanelDistance + 52;
constexpr double kBarHeight = 6;
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
        std::array<float, kPowerBins> power;
        transform_.to_power(windowed_.data(), spectrum_.data(), power.data(), kPowerBins);
        columns_.add(power);
        ++frames_;
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(start));
}

template void PowerColumns::add(std::span<const float>);
template void PowerColumns::add(std::span<const std::int16_t>);

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

    const double loudest = noisy_.columns().loudest();
    const std::string levels =
        fixed(Spectrogram::kShownDecibels, 0) + " dB from white to dark; bars: marked as speech";
    const Box first{kLeft, kTop, kInnerWidth, kPanelHeight};
    const Box second{kLeft, first.bottom() + kPanelDistance, kInnerWidth, kPanelHeight};
    draw(svg, noisy_, loudest, first, "As recorded, " + levels, false);
    draw(svg, cleaned_, loudest, second, "Behind noise reduction, the same levels", true);
    return svg.finish();
}

void ReductionPicture::draw(Svg& svg, const PowerColumns& power, double loudest, const Box& box,
                            const std::string& heading, bool last) const
{
    const Panel panel(box, 0, kStart + static_cast<double>(power.frames()) * kShift + kStart, 0, 4);
    svg.begin_group(last ? "cleaned" : "noisy");
    svg.title(heading);
    svg.text({kLeft, box.y - 8}, heading, "heading");
    draw_levels(svg, panel, power.columns().picture(loudest, kStart, kShift));
    svg.begin_group("marks", &box);
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
