#include "common/fixed_point.h"

#include <zelsr.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

constexpr std::int32_t kNearest = 1;
constexpr double kLargest = std::numeric_limits<std::int16_t>::max();

// Low arithmetic takes squares apart into 65536 H + 2 L with L up to 32767, and each of its four 32-bit lanes adds
// up L p of two elements in every eight. That sum must stay below 2^31.
double largest_low_precision(int width) { return 0x7fffffff / 32767.0 / (2 * ((width + 7) / 8)); }
// Its shifts hold for scale factors up to this.
constexpr int kMostLowScale = 15;
// What the smallest reciprocal variance becomes, at least: it is then within an eighth of its value.
constexpr double kLeastLowPrecision = 4;

// The most bits behind the point with which value does not pass limit.
int bits_within(double value, double limit) { return static_cast<int>(std::floor(std::log2(limit / value))); }

std::int32_t length(std::span<const float> row) { return static_cast<std::int32_t>(row.size()); }

}  // namespace

void Range::widen(Range other)
{
    lowest = std::min(lowest, other.lowest);
    highest = std::max(highest, other.highest);
}

Range range_of(std::span<const float> values)
{
    Range range{};
    require(zelsMinMax_32f(values.data(), length(values), &range.lowest, &range.highest), "zelsMinMax_32f");
    return range;
}

FixedFormat format_for(Arithmetic arithmetic, Range features_and_means, Range precisions, int width)
{
    const Range range = features_and_means;
    FixedFormat format{(range.lowest + range.highest) / 2, bits_within(range.highest - range.lowest, kLargest),
                       bits_within(precisions.highest, kLargest)};
    if (arithmetic == Arithmetic::kLow) {
        const int least = static_cast<int>(std::ceil(std::log2(kLeastLowPrecision / precisions.lowest)));
        format.precision_bits = std::min(least, bits_within(precisions.highest, largest_low_precision(width)));
        format.feature_bits = std::min(format.feature_bits, (kMostLowScale - format.precision_bits) / 2);
    }
    return format;
}

void to_fixed(std::span<const float> row, const FixedFormat& format, std::int16_t* fixed)
{
    std::vector<float> centred(row.size());
    require(zelsAddC_32f(row.data(), -format.centre, centred.data(), length(row)), "zelsAddC_32f");
    require(zelsConvert_32f16s_Sfs(centred.data(), fixed, length(row), kNearest, -format.feature_bits),
            "zelsConvert_32f16s_Sfs");
}

void precisions_to_fixed(std::span<const float> precisions, const FixedFormat& format, std::int16_t* fixed,
                         float* rounded)
{
    require(zelsConvert_32f16s_Sfs(precisions.data(), fixed, length(precisions), kNearest, -format.precision_bits),
            "zelsConvert_32f16s_Sfs");
    for (std::size_t k = 0; k < precisions.size(); ++k) fixed[k] = std::max<std::int16_t>(fixed[k], 1);
    require(zelsConvert_16s32f_Sfs(fixed, rounded, length(precisions), format.precision_bits),
            "zelsConvert_16s32f_Sfs");
}

float constant_of(double weight, std::span<const float> precisions)
{
    float log_precision = 0;  // -sum of ln variances
    require(zelsSumLn_32f(precisions.data(), length(precisions), &log_precision), "zelsSumLn_32f");
    return static_cast<float>(std::log(weight)) +
           0.5f *
               (log_precision - static_cast<float>(length(precisions)) * std::log(2 * std::numbers::pi_v<float>));
}

}  // namespace zelsr::examples
