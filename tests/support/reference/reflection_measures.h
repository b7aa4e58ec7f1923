// Area ratios and tilts of reflection coefficients, as they are defined, in double precision.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "zelsr/types.h"

namespace zelsr::test::reference {

inline double area_ratio(double k, double one = 1) { return (one - k) / (one + k); }

inline double log_area_ratio(double k, double limit) { return std::log(area_ratio(std::clamp(k, -limit, limit))); }

inline double abs_tilt(double k1, double k2)
{
    return (std::abs(k1) - std::abs(k2)) / (std::abs(k1) + std::abs(k2));
}
inline double tilt(double k1, double k2) { return (std::abs(k1) - std::abs(k2)) / (k1 + k2); }

// The running product of area ratios. From the first k of -one on there are infinities only, whose sign follows
// the one before, until a k of one within that tail, from which all is not a number.
struct TrueAreaRatios {
    SrStatus status = SrOk;
    std::vector<double> ratios;
};
inline TrueAreaRatios true_area_ratios(const std::vector<double>& k, double one = 1)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    TrueAreaRatios result;
    double product = 1;
    std::size_t i = 0;
    for (; i < k.size() && k[i] != -one; ++i) {
        product *= (one - k[i]) / (one + k[i]);
        result.ratios.push_back(product);
    }
    for (; i < k.size(); ++i) {
        if (k[i] == -one) result.status = SrWarnDivByZero;
        if (k[i] == one) {
            result.ratios.resize(k.size(), std::numeric_limits<double>::quiet_NaN());
            return result;
        }
        if (k[i] >= -one && k[i] <= one)
            product = product > 0 ? infinity : -infinity;
        else
            product = product < 0 ? infinity : -infinity;
        result.ratios.push_back(product);
    }
    return result;
}

}  // namespace zelsr::test::reference
