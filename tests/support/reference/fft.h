// The real FFT in double precision, the spectrum formats, and the distance of a transform from it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <vector>

namespace zelsr::test::reference {

using Complex = std::complex<double>;
using Bins = std::vector<Complex>;  // bins 0 to N/2 of a real signal's spectrum

// exp(-2 pi i j / 2^order): the product of a coarse and a fine table, each entry right to double precision.
class Circle {
  public:
    explicit Circle(int order) : mask_((std::size_t{1} << order) - 1)
    {
        const double step = -2 * std::numbers::pi / std::ldexp(1.0, order);
        for (std::size_t j = 0; j <= mask_ >> kFineBits; ++j)
            coarse_.push_back(std::polar(1.0, step * static_cast<double>(j << kFineBits)));
        for (std::size_t j = 0; j <= std::min(mask_, kFineMask); ++j)
            fine_.push_back(std::polar(1.0, step * static_cast<double>(j)));
    }
    Complex point(std::uint64_t j) const
    {
        const std::size_t at = static_cast<std::size_t>(j) & mask_;
        const Complex a = coarse_[at >> kFineBits];
        const Complex b = fine_[at & kFineMask];
        return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
    }

  private:
    static constexpr int kFineBits = 12;
    static constexpr std::size_t kFineMask = (std::size_t{1} << kFineBits) - 1;
    std::size_t mask_;
    Bins coarse_, fine_;
};

// X[k] = sum over n of x[n] exp(-2 pi i n k / N), by radix 2 in double precision.
inline Bins transform(Bins x)
{
    const std::size_t size = x.size();
    for (std::size_t i = 1, reversed = 0; i < size; ++i) {
        std::size_t bit = size >> 1;
        for (; reversed & bit; bit >>= 1) reversed ^= bit;
        reversed ^= bit;
        if (i < reversed) std::swap(x[i], x[reversed]);
    }
    const Circle circle(std::bit_width(size) - 1);
    Bins twiddles;
    for (std::size_t half = 1; half < size; half *= 2) {
        twiddles.resize(half);
        for (std::size_t j = 0; j < half; ++j) twiddles[j] = circle.point(j * (size / 2 / half));
        for (std::size_t first = 0; first < size; first += 2 * half)
            for (std::size_t j = 0; j < half; ++j) {
                const Complex w = twiddles[j];
                const Complex a = x[first + j];
                const Complex b = x[first + j + half];
                const Complex turned{w.real() * b.real() - w.imag() * b.imag(),
                                     w.real() * b.imag() + w.imag() * b.real()};
                x[first + j] = a + turned;
                x[first + j + half] = a - turned;
            }
    }
    return x;
}

// The same by its definition, in extended precision: what transform() is checked against.
inline Bins direct_transform(const Bins& x)
{
    Bins sums;
    for (std::size_t k = 0; k < x.size(); ++k) {
        std::complex<long double> sum;
        for (std::size_t n = 0; n < x.size(); ++n) {
            const long double angle = -2 * std::numbers::pi_v<long double> *
                                      static_cast<long double>(n * k % x.size()) /
                                      static_cast<long double>(x.size());
            sum += std::complex<long double>(x[n]) * std::polar(1.0L, angle);
        }
        sums.emplace_back(static_cast<double>(sum.real()), static_cast<double>(sum.imag()));
    }
    return sums;
}

template <class T>
Bins forward(const std::vector<T>& x)
{
    Bins bins = transform(Bins(x.begin(), x.end()));
    bins.resize(x.size() / 2 + 1);
    return bins;
}

// x[n] = sum over k of X[k] exp(2 pi i n k / N), from the bins 0 to N/2. The imaginary parts of bins 0 and N/2
// are taken for zero.
inline std::vector<double> inverse(const Bins& bins, std::size_t size)
{
    Bins conjugate(size);  // the inverse is the conjugate of the forward transform of the conjugate
    for (std::size_t k = 0; k <= size / 2; ++k) {
        conjugate[k] = std::conj(bins[k]);
        if (k > 0) conjugate[size - k] = bins[k];
    }
    conjugate[0] = bins[0].real();
    conjugate[size / 2] = bins[size / 2].real();
    std::vector<double> x;
    for (const Complex& value : transform(conjugate)) x.push_back(value.real());
    return x;
}

// R[0], R[1], I[1], ..., R[N/2]; for one element R[0].
inline std::vector<double> as_pack(const Bins& bins)
{
    std::vector<double> pack{bins[0].real()};
    for (std::size_t k = 1; k + 1 < bins.size(); ++k) pack.insert(pack.end(), {bins[k].real(), bins[k].imag()});
    if (bins.size() > 1) pack.push_back(bins.back().real());
    return pack;
}

// R[0], R[N/2], R[1], I[1], ...
inline std::vector<double> as_perm(const Bins& bins)
{
    std::vector<double> perm = as_pack(bins);
    if (perm.size() > 1) {
        perm.insert(perm.begin() + 1, perm.back());
        perm.pop_back();
    }
    return perm;
}

// R[0], 0, R[1], I[1], ..., R[N/2], 0; for one element R[0], 0.
inline std::vector<double> as_ccs(const Bins& bins)
{
    std::vector<double> ccs;
    for (const Complex& bin : bins) ccs.insert(ccs.end(), {bin.real(), bin.imag()});
    ccs[1] = ccs.back() = 0;
    return ccs;
}

template <class T>
Bins from_pack(const std::vector<T>& pack)
{
    Bins bins{Complex(pack[0])};
    for (std::size_t k = 1; k < pack.size() / 2; ++k) bins.emplace_back(pack[2 * k - 1], pack[2 * k]);
    if (pack.size() > 1) bins.emplace_back(pack.back());
    return bins;
}

inline double rms(const std::vector<double>& values)
{
    double sum = 0;
    for (double value : values) sum += value * value;
    return std::sqrt(sum / static_cast<double>(values.size()));
}

// Of a transform in single precision, relative to the root mean square of the right values.
//
// A pass over the array rounds each value a few times by at most u = 2^-24 of it and turns it by a factor that
// is off by about u / 2. Passes preserve the mean square but for a constant, so their errors add as a random
// walk: in the mean about 0.65 u sqrt(log2 N) with radix 4, 0.9 with radix 2. The bound has room for either and
// none for factors that lose accuracy with their index; the 2 is for the scale, its product and the short
// transforms, where nothing averages. The largest of 2^20 errors is 5 to 6 times the mean one.
constexpr double kUnit = 0x1p-24;
inline double rms_tolerance(int order) { return kUnit * (2 + std::sqrt(order)); }
inline double max_tolerance(int order) { return 6 * rms_tolerance(order); }

// factor: how many transforms' errors there are; times: what expected is multiplied by first.
inline void expect_near(const std::vector<double>& expected, const std::vector<float>& actual, int order,
                        double times = 1, double factor = 1)
{
    ASSERT_EQ(expected.size(), actual.size());
    const double unit = rms(expected) * std::abs(times);
    double squares = 0, largest = 0;
    std::size_t worst = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const double error = std::abs(expected[i] * times - static_cast<double>(actual[i]));
        squares += error * error;
        if (!(error <= largest)) {
            largest = error;
            worst = i;
        }
    }
    const double mean = std::sqrt(squares / static_cast<double>(expected.size()));
    EXPECT_LE(mean, factor * rms_tolerance(order) * unit) << "mean error, in units " << mean / unit / kUnit;
    EXPECT_LE(largest, factor * max_tolerance(order) * unit)
        << "largest error, in units " << largest / unit / kUnit << ", at " << worst << ": expected "
        << expected[worst] * times << ", got " << actual[worst];
}

}  // namespace zelsr::test::reference
