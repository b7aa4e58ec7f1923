#include "codec/envelope.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr float kLeastGap = 40;  // Hz, between lines
constexpr float kLowestLine = 30, kHighestLine = kRate / 2 - 30;
constexpr double kLagWindowHz = 40;
constexpr float kWhiteNoise = 1.00003F;  // 45 dB below the frame
constexpr float kLeastEnergy = 1;        // of the windowed frame, in 16-bit units
constexpr int kCells = 200, kHalvings = 6;

}  // namespace

LineSpectrum flat_spectrum()
{
    LineSpectrum lines;
    for (int i = 0; i < kOrder; ++i) lines[static_cast<std::size_t>(i)] = kRate / 2.0F * (i + 1) / (kOrder + 1);
    return lines;
}

void keep_apart(LineSpectrum& lines)
{
    float least = kLowestLine;
    for (float& line : lines) {
        line = std::max(line, least);
        least = line + kLeastGap;
    }
    float most = kHighestLine;
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        *line = std::min(*line, most);
        most = *line - kLeastGap;
    }
}

Predictor predictor_of(const LineSpectrum& lines)
{
    LineSpectrum cosines;
    for (std::size_t i = 0; i < kOrder; ++i) cosines[i] = static_cast<float>(std::cos(2 * kPi * lines[i] / kRate));
    Predictor predictor;
    require(zelsLSPToLP_32f(cosines.data(), predictor.data(), kOrder), "zelsLSPToLP_32f");
    return predictor;
}

Envelope envelope_of(const Predictor& predictor)
{
    // The function takes the polynomial without its leading 1. That of z^-1 A(z) has none, and the same magnitude.
    std::array<float, kOrder + 1> delayed{1};
    std::copy(predictor.begin(), predictor.end(), delayed.begin() + 1);
    Envelope envelope;
    require(zelsLPToSpectrum_32f(delayed.data(), kOrder + 1, envelope.data(), 8, 0), "zelsLPToSpectrum_32f");
    return envelope;
}

float distortion(const Predictor& first, const Predictor& second)
{
    Envelope a = envelope_of(first), b = envelope_of(second);
    require(zelsLn_32f_I(a.data(), kEnvelopeBins), "zelsLn_32f_I");
    require(zelsLn_32f_I(b.data(), kEnvelopeBins), "zelsLn_32f_I");
    require(zelsSub_32f_I(b.data(), a.data(), kEnvelopeBins), "zelsSub_32f_I");
    float squares = 0;
    require(zelsDotProd_32f(a.data(), a.data(), kEnvelopeBins, &squares), "zelsDotProd_32f");
    return static_cast<float>(20 / std::numbers::ln10) * std::sqrt(squares / kEnvelopeBins);
}

EnvelopeAnalysis::EnvelopeAnalysis() : window_(aligned_floats(kWindow)), windowed_(aligned_floats(kWindow))
{
    for (int i = 0; i < kWindow; ++i)
        window_[static_cast<std::size_t>(i)] =
            static_cast<float>(0.54 - 0.46 * std::cos(2 * kPi * (i + 0.5) / kWindow));
    // A Gaussian on the autocorrelation widens every peak by some 40 Hz: exp(-(2 pi f k / rate)^2 / 2).
    for (int k = 0; k <= kOrder; ++k)
        lag_window_[static_cast<std::size_t>(k)] =
            static_cast<float>(2 * kPi * kLagWindowHz / kRate * k / std::numbers::sqrt2);
    require(zelsExpNegSqr_32f_I(lag_window_.data(), kOrder + 1), "zelsExpNegSqr_32f_I");
    lag_window_[0] = kWhiteNoise;
}

std::optional<Predictor> EnvelopeAnalysis::analyse(const float* samples)
{
    require(zelsMul_32f(samples, window_.get(), windowed_.get(), kWindow), "zelsMul_32f");
    std::array<float, kOrder + 1> correlation;
    require(zelsAutoCorr_32f(windowed_.get(), kWindow, correlation.data(), kOrder + 1), "zelsAutoCorr_32f");
    require(zelsMul_32f(correlation.data(), lag_window_.data(), correlation.data(), kOrder + 1), "zelsMul_32f");
    if (!(correlation[0] > kLeastEnergy)) return std::nullopt;
    Predictor predictor;
    float error = 0;
    if (zelsDurbin_32f(correlation.data(), predictor.data(), kOrder, &error) != SrOk) return std::nullopt;
    return predictor;
}

std::optional<LineSpectrum> EnvelopeAnalysis::lines_of(const Predictor& predictor)
{
    LineSpectrum lines;
    std::int32_t found = 0;
    if (zelsLPToLSP_32f(predictor.data(), lines.data(), kOrder, &found, kCells, kHalvings) != SrOk)
        return std::nullopt;
    for (float& line : lines) line = static_cast<float>(std::acos(double{line}) * kRate / (2 * kPi));
    return lines;
}

}  // namespace zelsr::examples
