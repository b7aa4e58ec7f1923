#include "resample/measure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <type_traits>

#include "common/plot.h"
#include "common/svg.h"

namespace zelsr::examples {
namespace {

constexpr double kTurn = 2 * std::numbers::pi;
constexpr std::int64_t kWindow = 4096;  // results that a gain is measured from
constexpr double kLobe = 10;            // parts of out / kWindow: the window's main lobe, with room to spare
constexpr double kFloor = 1e-10;        // -200 dB
constexpr double kAmplitude = 0.5;
constexpr double kSweepSeconds = 2, kSweepRoom = 0.03;

double decibels(double ratio) { return 20 * std::log10(std::max(ratio, kFloor)); }

// A signal over time, sampled, converted, and cut to count results behind skipped ones.
template <class T, class Signal>
std::vector<double> converted(const RateFilter<T>& filter, const RatePair& rates, std::int64_t skipped,
                              std::int64_t count, Signal signal)
{
    const auto len = static_cast<std::int64_t>(static_cast<double>(2 * skipped + count) / filter.factor()) + 1;
    std::vector<T> samples;
    for (std::int64_t n = 0; n < len; ++n) {
        const double value = signal(static_cast<double>(n) / rates.in);
        if constexpr (std::is_same_v<T, float>)
            samples.push_back(static_cast<float>(value));
        else
            samples.push_back(static_cast<T>(std::lround(32768 * value)));
    }
    std::vector<T> results;
    Resampler<T> resampler(filter);
    resampler.add(samples, results);
    resampler.finish(results);
    std::vector<double> values;
    for (std::int64_t k = skipped; k < skipped + count; ++k)
        values.push_back(static_cast<double>(results[static_cast<std::size_t>(k)]) /
                         (std::is_same_v<T, float> ? 1 : 32768));
    return values;
}

// Results that the signal's sudden start reaches.
template <class T>
std::int64_t edge(const RateFilter<T>& filter)
{
    return static_cast<std::int64_t>(static_cast<double>(filter.reach()) * filter.factor()) + 2;
}

// Blackman and Harris: side lobes of -92 dB, falling.
double window(double place)
{
    return 0.35875 - 0.48829 * std::cos(kTurn * place) + 0.14128 * std::cos(2 * kTurn * place) -
           0.01168 * std::cos(3 * kTurn * place);
}

template <class T>
double gain(const RateFilter<T>& filter, const RatePair& rates, double frequency)
{
    const std::int64_t skipped = edge(filter);
    const std::vector<double> values = converted(
        filter, rates, skipped, kWindow, [=](double t) { return kAmplitude * std::cos(kTurn * frequency * t); });
    double re = 0, im = 0, sum = 0;
    for (std::int64_t k = 0; k < kWindow; ++k) {
        const double weight = window((static_cast<double>(k) + 0.5) / kWindow);
        const double angle = kTurn * std::fmod(frequency / rates.out * static_cast<double>(k), 1);
        re += weight * values[static_cast<std::size_t>(k)] * std::cos(angle);
        im += weight * values[static_cast<std::size_t>(k)] * std::sin(angle);
        sum += weight;
    }
    return 2 * std::hypot(re, im) / (sum * kAmplitude);
}

double slower_nyquist(const RatePair& rates) { return 0.5 * std::min(rates.in, rates.out); }

// The largest distance of a gain from wanted. Places are odd: a frequency that falls on 0 or on the output's
// Nyquist frequency counts twice.
template <class T>
double largest(const RateFilter<T>& filter, const RatePair& rates, double low, double high, int points,
               double wanted)
{
    double most = wanted;
    for (int i = 0; i < points; ++i) {
        const double found = gain(filter, rates, low + (i + 0.377) * (high - low) / points);
        if (std::abs(found - wanted) > std::abs(most - wanted)) most = found;
    }
    return most;
}

template <class T>
double sweep(const RateFilter<T>& filter, const RatePair& rates, const Quality& quality)
{
    const double top = 0.5 * rates.in, slope = top / kSweepSeconds;
    const auto signal = [=](double t) { return kAmplitude * std::cos(kTurn * 0.5 * slope * t * t); };
    const bool down = rates.out < rates.in;
    const double from = down ? (1 + kSweepRoom) * slower_nyquist(rates) / slope : kSweepRoom * kSweepSeconds;
    const double to = (1 - kSweepRoom) * (down ? top : quality.pass_band() * slower_nyquist(rates)) / slope;
    const auto all = static_cast<std::int64_t>(kSweepSeconds * rates.out);
    const std::vector<double> values = converted(filter, rates, 0, all, signal);
    double power = 0;
    std::int64_t count = 0;
    for (std::int64_t k = edge(filter); k < all - edge(filter); ++k) {
        const double t = static_cast<double>(k) / rates.out;
        if (t < from || t > to) continue;
        const double left = values[static_cast<std::size_t>(k)] - (down ? 0 : signal(t));
        power += left * left;
        ++count;
    }
    return std::sqrt(2 * power / static_cast<double>(count)) / kAmplitude;
}

template <class T>
double sine(const RateFilter<T>& filter, const RatePair& rates)
{
    constexpr double frequency = 997, amplitude = 0.891;
    const std::int64_t count = rates.out / 2;
    const std::vector<double> values = converted(
        filter, rates, edge(filter), count, [=](double t) { return amplitude * std::sin(kTurn * frequency * t); });
    // The best-fitting a cos + b sin.
    double cc = 0, cs = 0, ss = 0, cy = 0, sy = 0;
    const auto angle = [&](std::size_t k) {
        return kTurn * std::fmod(frequency / rates.out * static_cast<double>(k), 1);
    };
    for (std::size_t k = 0; k < values.size(); ++k) {
        const double c = std::cos(angle(k)), s = std::sin(angle(k));
        cc += c * c, cs += c * s, ss += s * s, cy += c * values[k], sy += s * values[k];
    }
    const double determinant = cc * ss - cs * cs;
    const double a = (cy * ss - sy * cs) / determinant, b = (sy * cc - cy * cs) / determinant;
    double wanted = 0, other = 0;
    for (std::size_t k = 0; k < values.size(); ++k) {
        const double fit = a * std::cos(angle(k)) + b * std::sin(angle(k));
        wanted += fit * fit;
        other += (values[k] - fit) * (values[k] - fit);
    }
    return std::sqrt(wanted / std::max(other, 1e-30));
}

constexpr double kWidth = 1100, kLeft = 84, kTop = 84, kPanelHeight = 230, kPanelDistance = 76;
constexpr double kLowest = -150, kHighest = 5;
constexpr int kPoints = 400;
constexpr std::array<const char*, 3> kLooks{"first", "second", "third"};
constexpr std::string_view kStyles =
    ".page { fill: #fff; }\n"
    ".title { font-size: 19px; font-weight: bold; }\n"
    ".heading { font-size: 14px; font-weight: bold; }\n"
    ".first, .second, .third { fill: none; stroke-width: 1.3; }\n"
    ".first { stroke: #d95f02; }\n.second { stroke: #1b7db8; }\n.third { stroke: #2a9134; }\n"
    ".nyquist { stroke: #a00; stroke-dasharray: 5 4; }\n";

}  // namespace

template <class T>
Measured measure(const RatePair& rates, const Quality& quality)
{
    const RateFilter<T> filter(rates.in, rates.out, quality);
    const double lobe = kLobe * rates.out / static_cast<double>(kWindow), middle = slower_nyquist(rates);
    const double top = 0.5 * std::max(rates.in, rates.out);
    return {std::abs(decibels(largest(filter, rates, lobe, quality.pass_band() * middle, 40, 1))),
            -decibels(largest(filter, rates, middle + lobe, top - lobe, 100, 0)),
            -decibels(sweep(filter, rates, quality)), decibels(sine(filter, rates))};
}

template <class T>
std::vector<GainAt> response(const RatePair& rates, const Quality& quality, int points)
{
    const RateFilter<T> filter(rates.in, rates.out, quality);
    const double top = 0.5 * std::max(rates.in, rates.out);
    std::vector<GainAt> gains;
    for (int i = 0; i < points; ++i) {
        const double frequency = (i + 0.377) * top / points;
        gains.push_back({frequency, decibels(gain(filter, rates, frequency))});
    }
    return gains;
}

template <class T>
std::string response_picture(const std::vector<RatePair>& pairs)
{
    const double height = kTop + static_cast<double>(pairs.size()) * (kPanelHeight + kPanelDistance);
    Svg svg(kWidth, height, std::string(axis_styles()) + std::string(kStyles));
    const std::string title = "Gain of a sine, by its frequency";
    svg.title(title);
    svg.box({0, 0, kWidth, height}, "page");
    svg.text({kLeft, 34}, title, "title");
    double top = kTop;
    for (const RatePair& rates : pairs) {
        const Box box{kLeft, top, kWidth - kLeft - 24, kPanelHeight};
        const Panel panel(box, 0, 0.5e-3 * std::max(rates.in, rates.out), kLowest, kHighest);
        const std::string name = std::to_string(rates.in) + " to " + std::to_string(rates.out) + " Hz";
        svg.begin_group("response");
        svg.title(name);
        svg.text({kLeft, top - 10}, name, "heading");
        draw_x_axis(svg, panel, "frequency (kHz)", Labels::Shown);
        draw_y_axis(svg, panel, "gain (dB)", 6);
        svg.begin_group("curves", &box);
        const double nyquist = 1e-3 * slower_nyquist(rates);
        svg.line(panel.at(nyquist, kLowest), panel.at(nyquist, kHighest), "nyquist");
        for (std::size_t q = 0; q < kQualities.size(); ++q) {
            std::vector<Point> points;
            for (const GainAt& at : response<T>(rates, kQualities[q], kPoints))
                points.push_back(panel.at(1e-3 * at.frequency, std::max(at.gain, kLowest - 10)));
            svg.begin_group(kQualities[q].name);
            svg.title(kQualities[q].name);
            svg.path(points, kLooks[q]);
            svg.end_group();
        }
        svg.end_group();
        for (std::size_t q = 0; q < kQualities.size(); ++q) {
            const double x = kLeft + 220 + 110 * static_cast<double>(q);
            svg.line({x, top - 14}, {x + 26, top - 14}, kLooks[q]);
            svg.text({x + 32, top - 10}, kQualities[q].name, "tick");
        }
        svg.end_group();
        top += kPanelHeight + kPanelDistance;
    }
    return svg.finish();
}

template Measured measure<float>(const RatePair&, const Quality&);
template Measured measure<std::int16_t>(const RatePair&, const Quality&);
template std::vector<GainAt> response<float>(const RatePair&, const Quality&, int);
template std::vector<GainAt> response<std::int16_t>(const RatePair&, const Quality&, int);
template std::string response_picture<float>(const std::vector<RatePair>&);
template std::string response_picture<std::int16_t>(const std::vector<RatePair>&);

}  // namespace zelsr::examples
