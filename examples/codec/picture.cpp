#include "codec/picture.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/failure.h"
#include "common/plot.h"
#include "common/real_transform.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr double kWidth = 1100, kLeft = 84, kInner = kWidth - kLeft - 24, kGap = 84;
constexpr Box kPitchBox{kLeft, 96, kInner, 130};
constexpr Box kLevelBox{kLeft, 254, kInner, 130};
constexpr double kSpectraTop = 470, kSpectrumHeight = 190, kSpectrumWidth = (kInner - kGap) / 2;
constexpr double kShownDecibels = 70;
constexpr std::size_t kColumns = 1024, kSpectraAKind = 2;
constexpr double kLeastDistance = 0.3;  // seconds between frames that are shown
constexpr int kFftOrder = 9;            // 512 points: the bins of an envelope

constexpr std::string_view kStyles =
    ".page { fill: #fff; }\n"
    ".title { font-size: 19px; font-weight: bold; }\n"
    ".heading { font-size: 13px; font-weight: bold; }\n"
    ".spectrum { fill: none; stroke: #999; stroke-width: 0.9; }\n"
    ".exact { fill: none; stroke: #1b7db8; stroke-width: 1.8; }\n"
    ".coded { fill: none; stroke: #d95f02; stroke-width: 1.8; stroke-dasharray: 6 3; }\n"
    ".pitch { fill: #d95f02; }\n";

// Magnitudes of the frame under a Hamming window.
Envelope magnitudes_of(const std::vector<float>& samples)
{
    constexpr std::int32_t kPoints = 1 << kFftOrder;
    const AlignedFloats windowed = aligned_floats(kPoints), spectrum = aligned_floats(kPoints + 2);
    require(zelsZero_32f(windowed.get(), kPoints), "zelsZero_32f");
    for (std::size_t i = 0; i < samples.size(); ++i)
        windowed[i] = samples[i] * static_cast<float>(0.54 - 0.46 * std::cos(2 * std::numbers::pi *
                                                                             (static_cast<double>(i) + 0.5) /
                                                                             static_cast<double>(samples.size())));
    Envelope magnitudes;
    RealTransform(kFftOrder).to_magnitudes(windowed.get(), spectrum.get(), magnitudes.data(), kEnvelopeBins);
    return magnitudes;
}

float power_of(const Envelope& values)
{
    float power = 0;
    require(zelsDotProd_32f(values.data(), values.data(), kEnvelopeBins, &power), "zelsDotProd_32f");
    return power;
}

}  // namespace

Picture::Picture(std::string title) : title_(std::move(title)), columns_(kColumns) {}

void Picture::add(const Frame& frame, const Measured& measured, const EnvelopeBook& book)
{
    const float pitch = frame.pitch > 0 ? kRate / lag_of(frame.pitch) : 0;
    const double time = static_cast<double>(measured.place) / kRate;
    seconds_ = time;
    columns_.add({measured.levels.end, levels_of(frame).end, pitch});

    if (!measured.sound || frame.level == 0) return;
    const auto rival = [&](const Spectrum& one) { return (one.pitch > 0) == (pitch > 0); };
    auto place = std::find_if(spectra_.begin(), spectra_.end(), [&](const Spectrum& one) {
        return rival(one) && std::fabs(one.time - time) < kLeastDistance;
    });
    if (place == spectra_.end() &&
        std::count_if(spectra_.begin(), spectra_.end(), rival) == static_cast<std::ptrdiff_t>(kSpectraAKind))
        place = std::min_element(spectra_.begin(), spectra_.end(), [&](const Spectrum& a, const Spectrum& b) {
            return rival(a) != rival(b) ? rival(a) : a.level < b.level;
        });
    if (place == spectra_.end())
        place = spectra_.insert(place, Spectrum{});
    else if (place->level >= measured.levels.end)
        return;
    *place = {time,
              measured.levels.end,
              pitch,
              {measured.samples, measured.samples + EnvelopeAnalysis::kWindow},
              measured.predictor,
              predictor_of(book.lines_of(frame.envelope))};
}

void Picture::draw_tracks(Svg& svg) const
{
    const double step = static_cast<double>(columns_.items_a_column()) * kFrameLength / kRate;
    const double end = std::max(seconds_, 0.1);
    const Panel pitch(kPitchBox, 0, end, 50, 400), level(kLevelBox, 0, end, 0, 90);
    draw_x_axis(svg, pitch, "", Labels::None);
    draw_y_axis(svg, pitch, "pitch (Hz)", 5);
    draw_x_axis(svg, level, "time (s)", Labels::Shown);
    draw_y_axis(svg, level, "level (dB)", 4);
    std::vector<Point> exact, coded;
    svg.begin_group("pitch");
    for (std::size_t i = 0; i < columns_.columns().size(); ++i) {
        const Column& column = columns_.columns()[i];
        const double time = (static_cast<double>(i) + 1) * step;
        if (column.pitch > 0) {
            const Point at = pitch.at(time, column.pitch);
            svg.box({at.x - 1.5, at.y - 1.5, 3, 3}, "pitch");
        }
        exact.push_back(level.at(time, std::clamp(double{column.level}, 0.0, 90.0)));
        coded.push_back(level.at(time, std::clamp(double{column.coded_level}, 0.0, 90.0)));
    }
    svg.end_group();
    svg.begin_group("levels", &kLevelBox);
    svg.path(exact, "exact");
    svg.path(coded, "coded");
    svg.end_group();
}

void Picture::draw_spectrum(Svg& svg, const Box& box, const Spectrum& spectrum)
{
    const Envelope magnitudes = magnitudes_of(spectrum.samples);
    const float top = *std::max_element(magnitudes.begin(), magnitudes.end());
    const Panel panel(box, 0, kRate / 2000.0, -kShownDecibels, 5);
    svg.begin_group("panel");
    svg.text({box.x, box.y - 8},
             fixed(spectrum.time, 2) + " s, " +
                 (spectrum.pitch > 0 ? fixed(spectrum.pitch, 0) + " Hz" : std::string("no voice")) + ", " +
                 fixed(distortion(spectrum.exact, spectrum.coded), 2) + " dB of distortion",
             "heading");
    draw_x_axis(svg, panel, "frequency (kHz)", Labels::Shown);
    draw_y_axis(svg, panel, "dB", 4);
    svg.begin_group("curves", &box);
    const auto curve = [&](const Envelope& values, float factor, std::string_view look) {
        std::vector<Point> points;
        for (std::size_t i = 0; i < values.size(); ++i)
            points.push_back(
                panel.at(static_cast<double>(i) * kRate / 2000.0 / kEnvelopeBins,
                         std::max(20 * std::log10(std::max(factor * values[i] / top, 1e-6F)), -90.0F)));
        svg.path(points, look);
    };
    curve(magnitudes, 1, "spectrum");
    for (const auto& [predictor, look] :
         {std::pair(&spectrum.exact, "exact"), std::pair(&spectrum.coded, "coded")}) {
        const Envelope envelope = envelope_of(*predictor);
        curve(envelope, std::sqrt(power_of(magnitudes) / power_of(envelope)), look);
    }
    svg.end_group();
    svg.end_group();
}

std::string Picture::svg() const
{
    std::vector<Spectrum> spectra = spectra_;
    std::sort(spectra.begin(), spectra.end(),
              [](const Spectrum& a, const Spectrum& b) { return a.time < b.time; });
    const auto rows = static_cast<double>((spectra.size() + 1) / 2);
    const double height = kSpectraTop + rows * (kSpectrumHeight + kGap) - (rows > 0 ? 20 : 30);
    Svg svg(kWidth, height, std::string(axis_styles()) + std::string(kStyles));
    svg.title(title_);
    svg.box({0, 0, kWidth, height}, "page");
    svg.text({kLeft, 34}, title_, "title");
    double x = kLeft;
    for (const auto& [look, name] :
         {std::pair("spectrum", "spectrum"), std::pair("exact", "measured"), std::pair("coded", "coded")}) {
        svg.line({x, 58}, {x + 26, 58}, look);
        svg.text({x + 32, 62}, name, "tick");
        x += 120;
    }
    draw_tracks(svg);
    for (std::size_t i = 0; i < spectra.size(); ++i)
        draw_spectrum(
            svg,
            {kLeft + static_cast<double>(i % 2) * (kSpectrumWidth + kGap),
             kSpectraTop + static_cast<double>(i / 2) * (kSpectrumHeight + kGap), kSpectrumWidth, kSpectrumHeight},
            spectra[i]);
    return svg.finish();
}

}  // namespace zelsr::examples
