// Correlation coefficients of 16-bit signals.
#include <cmath>
#include <cstddef>
#include <limits>

#include "core/contract.h"
#include "core/simd.h"
#include "zelsr/core/vector.h"
#include "zelsr/signal/pitch.h"

namespace zelsr {
namespace {

constexpr float kTiny = std::numeric_limits<float>::min();  // 1.1754944e-38

float dot_product(const int16_t* a, const int16_t* b, int32_t len)
{
    float sum;
    zelsDotProd_16s32f(a, b, len, &sum);
    return sum;
}

int64_t exact_dot_product(const int16_t* a, const int16_t* b, int32_t len)
{
    int64_t sum;
    zelsDotProd_16s64s(a, b, len, &sum);
    return sum;
}

// x^2 in 32 bits, rounded to single.
float square(const int16_t* x)
{
    const int32_t value = load_one(x);
    return static_cast<float>(value * value);
}

// ab / (sqrt(aa) sqrt(bb)), 0 without energy.
float coefficient(double ab, float aa, float bb)
{
    if (!(std::abs(aa * bb) > kTiny)) return 0;
    return static_cast<float>(ab / (std::sqrt(double{aa}) * std::sqrt(double{bb})));
}

// The sum over i = 0, dec, ... below len of a[i] b[i].
int64_t decimated_dot_product(const int16_t* a, const int16_t* b, int32_t len, int32_t dec)
{
    if (dec == 1) return exact_dot_product(a, b, len);
    int64_t sum = 0;
    for (std::ptrdiff_t i = 0; i < len; i += dec) sum += load_one(a + i) * load_one(b + i);
    return sum;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsCrossCorrCoeff_16s32f(const int16_t* a, const int16_t* b, int32_t len, float* coeff)
{
    if (SrStatus failed = first_failure(non_null(a, b, coeff), positive(len))) return failed;
    store_one(coeff, coefficient(dot_product(a, b, len), dot_product(a, a, len), dot_product(b, b, len)));
    return SrOk;
}

SrStatus zelsCrossCorrCoeffPartial_16s32f(const int16_t* a, const int16_t* b, int32_t len, float energy_a,
                                          float* coeff)
{
    if (SrStatus failed =
            first_failure(non_null(a, b, coeff), positive(len), require(energy_a < 0 || energy_a > 0, SrErrRange)))
        return failed;
    store_one(coeff, coefficient(dot_product(a, b, len), energy_a, dot_product(b, b, len)));
    return SrOk;
}

SrStatus zelsCrossCorrCoeffDecim_16s32f(const int16_t* a, const int16_t* b, int32_t max_len, int32_t min_len,
                                        float* coeff, int32_t dec)
{
    if (SrStatus failed = first_failure(non_null(a, b, coeff), positive(max_len, min_len, dec),
                                        require(max_len >= min_len, SrErrSize)))
        return failed;
    const int16_t* window = a + (max_len - min_len);
    float energy_a = 0, energy_b = 0;
    std::ptrdiff_t next = 0;
    for (; next < min_len; next += dec) {
        energy_a += square(window + next);
        energy_b += square(b + next);
    }
    const auto correlate = [&](int32_t len) {
        return coefficient(static_cast<double>(decimated_dot_product(window, b, len, dec)), energy_a, energy_b);
    };
    store_one(coeff, correlate(min_len));
    for (int32_t k = 1; k <= (max_len - min_len) / dec; ++k, next += dec) {
        window -= dec;
        energy_a += square(window);
        energy_b += square(b + next);
        store_one(coeff + k, correlate(min_len + k * dec));
    }
    return SrOk;
}

SrStatus zelsCrossCorrCoeffInterpolation_16s32f(const int16_t* a, const int16_t* b, int32_t len, float* beta,
                                                float* coeff)
{
    if (SrStatus failed = first_failure(non_null(a, b, beta, coeff), positive(len))) return failed;
    const auto dot = [=](const int16_t* x, const int16_t* y) {
        return static_cast<double>(exact_dot_product(x, y, len));
    };
    const double c00 = dot(b, b), c11 = dot(b + 1, b + 1), c01 = dot(b, b + 1), e = dot(a, a);
    const double p0 = dot(a, b), p1 = dot(a, b + 1);

    const double divisor = (c11 - c01) * p0 + (c00 - c01) * p1;
    if (divisor == 0) {
        store_one(beta, 0.0F);
        store_one(coeff, static_cast<float>(p0));
        return SrWarnDivByZero;
    }
    const double part = (p1 * c00 - p0 * c01) / divisor;
    store_one(beta, static_cast<float>(part));
    if (!(part >= 0 && part < 1)) return SrOk;  // without a coefficient: wanted
    const double rest = 1 - part;
    const double v = e * (c00 * rest * rest + 2 * part * rest * c01 + part * part * c11);
    const double correlation = rest * p0 + part * p1;
    store_one(coeff, static_cast<float>(v != 0 ? correlation / std::sqrt(v) : p0));
    return SrOk;
}
