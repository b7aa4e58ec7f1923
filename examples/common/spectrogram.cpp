#include "common/spectrogram.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "common/aligned.h"
#include "common/failure.h"
#include "common/plot.h"
#include "common/png.h"
#include "common/real_transform.h"

namespace zelsr::examples {
namespace {

constexpr double kFrameSeconds = 0.020, kHopSeconds = 0.005;

// The power of one frame's spectrum, from 0 to half the rate.
class FrameSpectrum {
  public:
    explicit FrameSpectrum(std::int32_t length)
        : length_(length),
          order_(std::bit_width(static_cast<std::uint32_t>(length - 1))),
          window_(aligned_floats(length)),
          frame_(aligned_floats(points())),
          spectrum_(aligned_floats(points() + 2)),
          fft_(order_)
    {
        for (std::int32_t n = 0; n < length; ++n)
            window_[n] = static_cast<float>(1 - std::cos(2 * std::numbers::pi * (n + 0.5) / length));
        require(zelsZero_32f(frame_.get(), points()), "zelsZero_32f");  // what lies behind the frame stays zero
    }

    std::int32_t points() const { return 1 << order_; }
    std::int32_t bins() const { return points() / 2 + 1; }

    void analyse(const float* samples, float* power)
    {
        require(zelsMul_32f(samples, window_.get(), frame_.get(), length_), "zelsMul_32f");
        fft_.to_power(frame_.get(), spectrum_.get(), power, bins());
    }

  private:
    std::int32_t length_, order_;
    AlignedFloats window_, frame_, spectrum_;
    RealTransform fft_;
};

}  // namespace

SpectrogramColumns::SpectrogramColumns(int rate, double highest_hz)
    : highest_hz_(std::min(highest_hz, rate / 2.0)), part_shown_(highest_hz_ / (rate / 2.0))
{}

void SpectrogramColumns::Column::join(const Column& other)
{
    for (std::size_t row = 0; row < kRows; ++row) power[row] += other.power[row];
    frames += other.frames;
}

void SpectrogramColumns::add(std::span<const float> power)
{
    // Row r covers the bins from r to r + 1 of kRows equal parts, at least one.
    const double bins_a_row = part_shown_ * static_cast<double>(power.size() - 1) / kRows;
    Column column{{}, 1};
    for (std::size_t row = 0; row < kRows; ++row) {
        const auto first = static_cast<std::size_t>(static_cast<double>(row) * bins_a_row);
        const auto end = std::max(first + 1, static_cast<std::size_t>(static_cast<double>(row + 1) * bins_a_row));
        float sum = 0;
        for (std::size_t bin = first; bin < end; ++bin) sum += power[bin];
        column.power[row] = sum / static_cast<float>(end - first);
    }
    columns_.add(column);
}

double SpectrogramColumns::loudest() const
{
    double loudest = 0;
    for (const Column& column : columns_.columns())
        for (std::size_t row = 0; row < kRows; ++row) loudest = std::max(loudest, column.mean(row));
    return loudest;
}

Spectrogram SpectrogramColumns::picture(double loudest, double start, double shift) const
{
    const auto columns = columns_.columns();
    Spectrogram result;
    result.width = columns.size();
    result.pixels.reserve(kRows * columns.size());
    for (std::size_t row = kRows; row-- > 0;)
        for (const Column& column : columns) {
            const double power = column.mean(row);
            const double shade =
                power > 0 ? 1 + 10 * std::log10(power / loudest) / Spectrogram::kShownDecibels : 0;
            result.pixels.push_back(static_cast<std::uint8_t>(std::lround(255 * std::clamp(shade, 0.0, 1.0))));
        }
    result.start = start;
    // The last column may hold fewer frames than the others; its width is theirs all the same.
    result.end =
        start + static_cast<double>(columns.size()) * static_cast<double>(columns_.items_a_column()) * shift;
    result.highest_hz = highest_hz_;
    return result;
}

Spectrogram spectrogram_of(std::span<const float> samples, int rate)
{
    const auto length = static_cast<std::int32_t>(std::max(2L, std::lround(kFrameSeconds * rate)));
    const auto hop = static_cast<std::size_t>(std::max(1L, std::lround(kHopSeconds * rate)));
    std::vector<float> finite(samples.begin(), samples.end());
    for (float& sample : finite)
        if (!(std::abs(sample) <= 1e6f)) sample = 0;

    FrameSpectrum spectrum(length);
    std::vector<float> power(static_cast<std::size_t>(spectrum.bins()));
    SpectrogramColumns columns(rate, rate / 2.0);
    for (std::size_t first = 0; first + static_cast<std::size_t>(length) <= finite.size(); first += hop) {
        spectrum.analyse(&finite[first], power.data());
        columns.add(power);
    }
    // A column stands for the time around its frames' centres.
    const double start = 0.5 * (length - static_cast<double>(hop)) / rate;
    return columns.picture(columns.loudest(), start, static_cast<double>(hop) / rate);
}

void draw_levels(Svg& svg, const Panel& panel, const Spectrogram& levels)
{
    if (levels.width == 0) return;
    svg.begin_group("levels", &panel.box);
    const double left = panel.x(levels.start), right = panel.x(levels.end);
    svg.image({left, panel.box.y, right - left, panel.box.height},
              png_data_address(levels.pixels, levels.width, level_palette()));
    svg.end_group();
}

}  // namespace zelsr::examples
