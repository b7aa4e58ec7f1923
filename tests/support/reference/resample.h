// Resampling by a windowed sinc, tap by tap as it is stated.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <vector>

#include "support/reference/fixed_point.h"
#include "zelsr/core/vector.h"

namespace zelsr::test::reference {

inline double bessel(double x)
{
    double sum = 1, term = 1;
    for (int n = 1; term >= 1e-21 * sum; ++n) {
        const double factor = x * 0.5 / n;
        term *= factor * factor;
        sum += term;
    }
    return sum;
}

// One half of the windowed sinc: entries 0 to len-1, the sinc's argument per entry being rollf * pi / per_zero.
// The entries at multiples of unit, both sides together, add up to 1.
inline std::vector<double> prototype(std::int64_t len, double per_zero, float rollf, float alpha,
                                     std::int64_t unit)
{
    const double d = std::numbers::pi / per_zero;
    std::vector<double> h(static_cast<std::size_t>(len));
    h[0] = rollf;
    for (std::int64_t i = 1; i < len; ++i) {
        const auto x = static_cast<double>(i);
        const double place = x / static_cast<double>(len - 1);
        h[static_cast<std::size_t>(i)] = std::sin(x * double{rollf} * d) / (x * d) *
                                         bessel(double{alpha} * std::sqrt(1 - place * place)) / bessel(alpha);
    }
    double sum = h[0];
    for (std::int64_t i = unit; i < len; i += unit) sum += 2 * h[static_cast<std::size_t>(i)];
    const double factor = h[0] < 0 ? -1 / sum : 1 / sum;
    for (double& value : h) value *= factor;
    return h;
}

inline std::int16_t rounded_away(double x)
{
    return static_cast<std::int16_t>(std::clamp(std::round(x), -32768.0, 32767.0));
}

// ---- Any factor ---------------------------------------------------------------------------------------------

inline std::int64_t table_length(float window, std::int32_t per_sample)
{
    return static_cast<std::int64_t>(window * 0.5F * static_cast<float>(per_sample)) + 1;
}

// Entries with the last one twice, and what all outputs are multiplied by.
struct Table {
    std::vector<double> entries;
    float scale = 1;
    std::int32_t per_sample = 0;
    std::int64_t length() const { return static_cast<std::int64_t>(entries.size()) - 1; }
};

inline Table float_table(float window, std::int32_t per_sample, float rollf, float alpha)
{
    Table table{prototype(table_length(window, per_sample), per_sample, rollf, alpha, per_sample), 1, per_sample};
    for (double& entry : table.entries) entry = static_cast<float>(entry);
    table.entries.push_back(table.entries.back());
    return table;
}

inline Table integer_table(float window, std::int32_t per_sample, float rollf, float alpha)
{
    Table table{prototype(table_length(window, per_sample), per_sample, rollf, alpha, per_sample), 1, per_sample};
    double largest = 0;
    for (double entry : table.entries) largest = std::max(largest, std::abs(entry));
    for (double& entry : table.entries) entry = rounded_away(entry * 16383 / largest);
    table.entries.push_back(table.entries.back());
    table.scale = static_cast<float>(largest / 16383);
    return table;
}

// Outputs before they are stored, and the first and last sample that they were made from, from the source on.
struct Resampled {
    std::vector<double> values;
    double time = 0;
    std::int64_t first = 0, last = -1;

    void touches(std::int64_t sample)
    {
        if (last < first) first = last = sample;
        first = std::min(first, sample);
        last = std::max(last, sample);
    }
};

// sample(i): the source's i-th element as a double, i from below 0 on. A negative time is rounded down to its
// sample, and truncated for the end.
template <class Sample>
Resampled resample(const Table& table, Sample sample, std::int32_t len, double factor, float norm, double time)
{
    Resampled result;
    const auto end = static_cast<double>(len + static_cast<std::int64_t>(time));
    const double per_sample = table.per_sample;
    const std::int64_t length = table.length();
    const auto entry = [&](std::int64_t k) { return table.entries[static_cast<std::size_t>(k)]; };
    double t = time;
    for (; t < end; t += 1 / factor) {
        const auto i = static_cast<std::int64_t>(std::floor(t));
        const double f = t - static_cast<double>(i);
        double acc = 0;
        if (factor < 1) {
            const auto wing = [&](double p, std::int64_t at, int direction) {
                for (; p < static_cast<double>(length) - 1e-5; p += factor * per_sample, at += direction) {
                    const auto k = static_cast<std::int64_t>(p);
                    const double r = p - static_cast<double>(k);
                    acc += (entry(k) * (1 - r) + entry(k + 1) * r) * sample(at);
                    result.touches(at);
                }
            };
            wing(factor * f * per_sample, i, -1);
            wing((1 - f) * factor * per_sample, i + 1, 1);
            result.values.push_back(acc * double{norm} * factor * double{table.scale});
        } else {
            const auto wing = [&](double p, std::int64_t at, int direction) {
                auto k = static_cast<std::int64_t>(1e-5 + p);
                const double r = p - static_cast<double>(k);
                for (; k < length; k += table.per_sample, at += direction) {
                    acc += (entry(k) * (1 - r) + entry(k + 1) * r) * sample(at);
                    result.touches(at);
                }
            };
            wing(per_sample * f, i, -1);
            wing((1 - f) * per_sample, i + 1, 1);
            result.values.push_back(acc * (double{table.scale} * double{norm}));
        }
    }
    result.time = t;
    return result;
}

// ---- One rational factor ------------------------------------------------------------------------------------

// All sizes follow from the reduced rates and the length.
struct FixedShape {
    std::int32_t in_rate, out_rate;
    std::int32_t len, half, row_length;

    FixedShape(std::int32_t in, std::int32_t out, std::int32_t length)
        : in_rate(in / std::gcd(in, out)), out_rate(out / std::gcd(in, out)), len(length)
    {
        half = (len + 3) / 4 * 4 / 2;
        row_length = (len + 4) / 4 * 4;
    }
    bool upwards() const { return out_rate >= in_rate; }
    double factor() const { return static_cast<double>(out_rate) / in_rate; }
    std::size_t elements() const
    {
        return static_cast<std::size_t>(out_rate) * static_cast<std::size_t>(row_length);
    }

    std::vector<double> taps(float rollf, float alpha) const
    {
        const std::int32_t whole = 2 * half;
        const double reach = upwards() ? (1e-5 + double{static_cast<float>(whole)}) * 0.5 * out_rate
                                       : (1e-5 + double{static_cast<float>(whole * factor())}) * 0.5 * in_rate;
        const std::int32_t unit = upwards() ? out_rate : in_rate;
        return prototype(static_cast<std::int64_t>(reach) + 1, unit, rollf, alpha, unit);
    }

    // Row p, element e: the tap at distance |e - half + p / out_rate| samples, in rows one behind the other. Row 0
    // has one tap more than the others; where rows are too short for it, it lies at the head of row 1, which then
    // has its own tap there.
    std::vector<double> rows(float rollf, float alpha) const
    {
        const std::vector<double> h = taps(rollf, alpha);
        std::vector<double> flat(elements());
        const auto put = [&](std::int64_t p, std::int64_t e, double value) {
            const auto at = static_cast<std::size_t>(p * row_length + e);
            if (at < flat.size()) flat[at] = value;
        };
        for (std::int64_t p = 0; p < out_rate; ++p)
            for (std::int64_t e = 0; e < 2 * half + (p == 0); ++e) {
                const std::int64_t index = p == 0     ? std::abs(e - half) * out_rate
                                           : e < half ? (half - 1 - e) * out_rate + p
                                                      : (e - half) * out_rate + out_rate - p;
                if (index < static_cast<std::int64_t>(h.size()))
                    put(p, e, h[static_cast<std::size_t>(index)]);
                else if (p == 0)
                    put(p, e, h.back());
            }
        return flat;
    }
};

// How far the source moves behind an output of each phase, in 16 bits. Outputs of phase 0 begin one sample before.
inline std::vector<std::uint16_t> source_steps(const FixedShape& shape)
{
    const std::int64_t in = shape.in_rate, out = shape.out_rate;
    std::vector<std::uint16_t> steps(static_cast<std::size_t>(out));
    for (std::int64_t k = 0; k < out; ++k)
        steps[static_cast<std::size_t>(k * in % out)] =
            static_cast<std::uint16_t>((k + 1) * in / out - k * in / out);
    ++steps[0];
    --steps[static_cast<std::size_t>((out - 1) * in % out)];
    return steps;
}

// dot(first sample, first tap of the table, count): one output before it is scaled. The samples' index may be
// below 0.
template <class Dot>
Resampled resample_fixed(const FixedShape& shape, Dot dot, std::int32_t len, double time)
{
    Resampled result;
    const std::vector<std::uint16_t> steps = source_steps(shape);
    const std::int64_t out_rate = shape.out_rate, i = static_cast<std::int64_t>(std::floor(time));
    const double f = time - static_cast<double>(i);
    const auto phase0 = static_cast<std::int64_t>(static_cast<double>(out_rate) * f + 0.5);
    std::int64_t position = i * out_rate + phase0, from = i - shape.half + (phase0 == 0 ? 0 : 1);
    for (const std::int64_t end = (len + static_cast<std::int64_t>(time)) * out_rate; position < end;
         position += shape.in_rate) {
        const std::int64_t p = (position % out_rate + out_rate) % out_rate;
        const std::int64_t first_tap = p * shape.row_length;
        // With one row that is too short, the tap behind it is left out.
        const std::int64_t taps = std::min<std::int64_t>(2 * shape.half + (p == 0),
                                                         static_cast<std::int64_t>(shape.elements()) - first_tap);
        result.touches(from);
        result.touches(from + taps - 1);
        result.values.push_back(dot(from, first_tap, static_cast<std::int32_t>(taps)));
        from += steps[static_cast<std::size_t>(p)];
    }
    result.time = f + static_cast<double>(position - phase0) / static_cast<double>(out_rate);
    return result;
}

// min(out_rate / in_rate, 1) * scale * norm
inline double fixed_scale(const FixedShape& shape, float scale, float norm)
{
    return std::min(shape.factor(), 1.0) * double{scale} * double{norm};
}

}  // namespace zelsr::test::reference
