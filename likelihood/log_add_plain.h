// One addition in the log domain in double and by Horner's rule.
#pragma once

#include "likelihood/log_add.h"

namespace zelsr {

struct SingleLogDomain {
    static constexpr double kCut = kLogCut_32f;
    static constexpr double kUpper = kUpperBound_32f;
    static constexpr double kLower = kLowerBound_32f;
    static constexpr double kFloorTest = kLogZero_32f;
    static constexpr double kFloor = kLogZero_32f;
    static constexpr const auto& kPolynomials = kFastPolynomials;
};

struct DoubleLogDomain {
    static constexpr double kCut = kLogCut_64f;
    static constexpr double kUpper = kUpperBound_64f;
    static constexpr double kLower = kLowerBound_64f;
    static constexpr double kFloorTest = kLogZeroTest_64f;
    static constexpr double kFloor = kLogZero_64f;
    static constexpr const auto& kPolynomials = kFullPolynomials;
};

// above_cut(hi, t, coefficients) joins hi and the polynomial of the interval that holds the difference.
template <class Domain, class AboveCut>
double add_logs_in_double(double a, double b, AboveCut above_cut)
{
    const double hi = a > b ? a : b;
    const double d = -__builtin_fabs(a - b);
    if (d < Domain::kCut) return hi < Domain::kFloorTest ? Domain::kFloor : hi;
    const std::size_t interval =
        static_cast<std::size_t>(d <= Domain::kUpper) + static_cast<std::size_t>(d <= Domain::kLower);
    constexpr double bounds[3] = {0, Domain::kUpper, Domain::kLower};
    return above_cut(hi, d - bounds[interval], Domain::kPolynomials[interval]);
}

// (hi + H) + the constant, H the other terms of the polynomial: the plain paths of the mixtures.
template <class Domain>
double add_logs_plain(double a, double b)
{
    return add_logs_in_double<Domain>(a, b, [](double hi, double t, const auto& c) {
        double sum = c[0] * t;
        for (std::size_t i = 1; i + 1 < c.size(); ++i) sum = (sum + c[i]) * t;
        return (hi + sum) + c.back();
    });
}

// hi + the whole polynomial: short sums of scaled integers.
template <class Domain>
double add_logs_by_horner(double a, double b)
{
    return add_logs_in_double<Domain>(a, b, [](double hi, double t, const auto& c) {
        double sum = c[0];
        for (std::size_t i = 1; i < c.size(); ++i) sum = sum * t + c[i];
        return hi + sum;
    });
}

}  // namespace zelsr
