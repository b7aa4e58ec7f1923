#include "score_speech/overview.h"

#include <algorithm>

namespace zelsr::examples {

void Extremes::join(const Extremes& other)
{
    lowest = std::min(lowest, other.lowest);
    highest = std::max(highest, other.highest);
}

void SpectrumColumn::join(const SpectrumColumn& other)
{
    for (std::size_t row = 0; row < kRows; ++row) power[row] += other.power[row];
    frames += other.frames;
}

Overview::Overview(int rate, double highest_hz)
    : highest_hz_(std::min(highest_hz, rate / 2.0)), part_shown_(highest_hz_ / (rate / 2.0))
{}

void Overview::add_samples(std::span<const float> samples)
{
    for (float sample : samples) wave_.add({sample, sample});
}

void Overview::add_spectrum(std::span<const float> magnitudes)
{
    // Row r covers the bins from r to r + 1 of kRows equal parts, at least one.
    const double bins_a_row = part_shown_ * static_cast<double>(magnitudes.size() - 1) / SpectrumColumn::kRows;
    SpectrumColumn column{{}, 1};
    for (std::size_t row = 0; row < SpectrumColumn::kRows; ++row) {
        const auto first = static_cast<std::size_t>(static_cast<double>(row) * bins_a_row);
        const auto end = std::max(first + 1, static_cast<std::size_t>(static_cast<double>(row + 1) * bins_a_row));
        float sum = 0;
        for (std::size_t bin = first; bin < end; ++bin) sum += magnitudes[bin] * magnitudes[bin];
        column.power[row] = sum / static_cast<float>(end - first);
    }
    spectra_.add(column);
}

}  // namespace zelsr::examples
