#include <algorithm>
#include <cmath>

#include "common/text.h"
#include "recognise/page_parts.h"

namespace zelsr::examples::report {
namespace {

constexpr std::string_view kNotMeasured = "n/a";
constexpr std::string_view kSpace = "\u00a0";  // does not break a line

}  // namespace

std::string number_text(double value, int digits)
{
    return std::isfinite(value) ? fixed(value, digits) : std::string(kNotMeasured);
}

std::string percent(std::int64_t part, std::int64_t whole)
{
    if (whole <= 0) return std::string(kNotMeasured);
    return fixed(100 * static_cast<double>(part) / static_cast<double>(whole), 1).append(kSpace) + "%";
}

std::string interval_text(const Tally& tally)
{
    if (tally.tested <= 0) return std::string(kNotMeasured);
    constexpr double kDeviations = 1.959964;  // of the normal distribution, around 95 % of it
    const auto n = static_cast<double>(tally.tested);
    const double share = static_cast<double>(tally.right) / n, spread = kDeviations * kDeviations / n;
    const double centre = (share + spread / 2) / (1 + spread);
    const double half = std::sqrt(share * (1 - share) * spread + spread * spread / 4) / (1 + spread);
    const double low = std::max(0.0, centre - half), high = std::min(1.0, centre + half);
    return fixed(100 * low, 1) + " to " + fixed(100 * high, 1).append(kSpace) + "%";
}

std::string grouped(std::int64_t number)
{
    std::string text = std::to_string(number);
    const std::size_t digits_start = number < 0;
    for (std::size_t i = text.size(); i > digits_start + 3;) {
        i -= 3;
        text.insert(i, kSpace);
    }
    return text;
}

std::string counted(std::int64_t number, std::string_view what)
{
    return grouped(number).append(" ").append(what) + (number == 1 ? "" : "s");
}

std::string listed(std::span<const std::string> texts)
{
    std::string all;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (i > 0) all += i + 1 < texts.size() ? ", " : " and ";
        all += texts[i];
    }
    return all;
}

}  // namespace zelsr::examples::report
