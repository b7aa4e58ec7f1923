#include "signal/prototype.h"

#include <limits>
#include <numbers>

namespace zelsr::resample {
namespace {

// I0 by its series, which ends as well where it overflows.
double Bessel(double x)
{
    double sum = 1, term = 1;
    for (int n = 1; sum < std::numeric_limits<double>::infinity(); ++n) {
        const double quotient = x * 0.5 / n;
        term *= quotient * quotient;
        sum += term;
        if (term < 1e-21 * sum) break;
    }
    return sum;
}

}  // namespace

void make_prototype(double* h, int64_t len, int32_t period, const Passband& band)
{
    const double unit = std::numbers::pi / period, edge = band.rollf, alpha = band.alpha;
    const double last = static_cast<double>(len - 1), centre = Bessel(alpha);
    h[0] = edge;  // without the window, which is 1 here
    for (int64_t i = 1; i < len; ++i) {
        const double index = static_cast<double>(i), place = index / last;
        const double sinc = std::sin(index * edge * unit) / (index * unit);
        h[i] = sinc * Bessel(alpha * std::sqrt(1 - place * place)) / centre;
    }
    double side = 0;
    for (int64_t i = period; i < len; i += period) side += h[i];
    const double gain = 1 / (h[0] + 2 * side);
    for (int64_t i = 0; i < len; ++i) h[i] *= gain;
}

}  // namespace zelsr::resample
