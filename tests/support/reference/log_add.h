// Arithmetic on natural logarithms, one element at a time, in the order that the library promises:
//
//   ln(e^a + e^b) = hi + P(d),  hi the larger of a and b, d the smaller less hi,
//
// with a polynomial P of its own for each of three intervals of d. Everything is scalar arithmetic in the stated
// precision, so that bits can be compared. It runs in the default rounding mode.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "support/reference/convert.h"

namespace zelsr::test::reference {

// The polynomials of ln(1 + e^d) in t, the highest power first: t is d above the first bound, d less the first
// bound down to the second, d less the second bound down to the cut.
inline constexpr std::array<std::array<double, 11>, 3> kFast = {{
    {{-6.780103715801104e-07, -8.27710395983359e-06, -3.1261214564328406e-05, 2.1955075181092877e-05,
      0.0004062108907165097, 6.910012478334781e-05, -0.005163737400850404, 1.5878560708463796e-05,
      0.125002818406354, 0.5000001923981635, 0.6931471827215062}},
    {{-7.083237702375219e-09, -1.8491608098957698e-07, -2.094649399521823e-06, -1.2793327302109763e-05,
      -3.4842057389070787e-05, 0.00010764583059022215, 0.0016847989052690858, 0.009582361774741538,
      0.033592464138937767, 0.07242669818681209, 0.07518323027822499}},
    {{6.536044962123068e-12, 3.4510675551141127e-10, 8.230386128280675e-09, 1.183290602139997e-07,
      1.157908356720776e-06, 8.25762745567427e-06, 4.458031414389642e-05, 0.00018342101716467817,
      0.0005549481290265323, 0.0011123966452324845, 0.0011131507706311817}},
}};
inline constexpr std::array<std::array<double, 22>, 3> kFull = {{
    {{2.4223551556971103e-14, 1.2811707930131747e-12,  2.979508062290527e-11,  4.091290155130968e-10,
      3.717428002038248e-09,  2.3532270503994952e-08,  1.055613856863438e-07,  3.320992500314504e-07,
      7.091358966640867e-07,  1.0406444519836742e-06,  1.6353412792505214e-06, 3.844457955118119e-06,
      1.3867656181255913e-06, -2.5487163524155248e-05, 4.065812849423804e-07,  0.0003473626701744988,
      3.4289110129737e-08,    -0.005208327741081266,   5.587714108476228e-10,  0.12500000002958675,
      0.5000000000006226,     0.6931471805599475}},
    {{1.3708407243051937e-19,  9.601624129865304e-18,  3.191870701452749e-16,  6.702281854356589e-15,
      9.973092519816427e-14,   1.1165229253200852e-12, 9.711578249998531e-12,  6.632489267913665e-11,
      3.487750749690926e-10,   1.277933984587361e-09,  1.6292813548790022e-09, -1.909513758655842e-08,
      -1.8820558187982419e-07, -9.461042535100208e-07, -2.209235331735495e-06, 9.625041106025868e-06,
      0.00014699683220535022,  0.0009831490265710303,  0.004464163447126563,   0.014226511939950807,
      0.0293122307513593,      0.02975041827262059}},
    {{1.7034225392923792e-27, 3.0781354635598557e-25, 2.6542272637469554e-23, 1.4576061250276504e-21,
      5.745038767733748e-20,  1.73794899924144e-18,   4.217783891653166e-17,  8.4810302862868775e-16,
      1.4486369363407485e-14, 2.1432698000428128e-13, 2.7867099954008822e-12, 3.2140356172044866e-11,
      3.300948845025808e-10,  3.0140517373824124e-09, 2.4295529030919333e-08, 1.7072955802867207e-07,
      1.0263887628748916e-06, 5.137002703123242e-06,  2.0558151089723745e-05, 6.168967511733263e-05,
      0.00012339457601536868, 0.00012340218972425103}},
}};

// The single-precision domain (32f, 32s, 16s) and the double-precision domain (64f).
struct Fast {
    static constexpr auto& kTables = kFast;
    static constexpr double kBounds[2] = {-2.55, -6.8};
    static constexpr double kCut = -15.3195879547406;
    static constexpr double kLogZero = -4.5e6;
    static constexpr double kFloorBelow = -4.5e6;  // hi below this becomes the floor
};
struct Full {
    static constexpr auto& kTables = kFull;
    static constexpr double kBounds[2] = {-3.5, -9.0};
    static constexpr double kCut = -23.0258509299405;
    static constexpr double kLogZero = -1e10;
    static constexpr double kFloorBelow = -9e9;
};

// hi and d in Real's precision, whose bounds, cut and floor are those of Domain rounded to Bound's.
template <class Domain, class Real, class Bound = Real>
struct Terms {
    Terms(Real a, Real b) : hi(a > b ? a : b), d((a > b ? b : a) - hi)
    {
        if (std::isnan(a) || std::isnan(b)) hi = d = a + b;
    }

    bool below_cut() const { return d < static_cast<Bound>(Domain::kCut); }
    Real floored() const
    {
        return hi < static_cast<Bound>(Domain::kFloorBelow) ? static_cast<Real>(Domain::kLogZero) : hi;
    }
    int interval() const
    {
        if (d <= bound(1)) return 2;
        return d <= bound(0) ? 1 : 0;
    }
    Real t() const { return interval() == 0 ? d : d - bound(interval() - 1); }
    const auto& table() const { return Domain::kTables[static_cast<std::size_t>(interval())]; }

    Real hi, d;

  private:
    static Real bound(int i) { return static_cast<Bound>(Domain::kBounds[i]); }
};

// c[first] x^n + c[first + step] x^(n - 1) + ... + c[last].
template <class Real, class Coefficient = Real, class Table>
Real horner(const Table& c, Real x, std::size_t first, std::size_t last, std::size_t step)
{
    Real sum = static_cast<Coefficient>(c[first]);
    for (std::size_t i = first + step; i <= last; i += step) sum = sum * x + static_cast<Coefficient>(c[i]);
    return sum;
}

// --- one addition ---

// Hint 0: d and t in single precision, the polynomial in double as even and odd powers, rounded once.
inline float log_add_accurate(float a, float b)
{
    const Terms<Fast, float> terms(a, b);
    if (terms.below_cut()) return terms.floored();
    const double t = terms.t(), s = t * t;
    const double even = horner(terms.table(), s, 0, 10, 2), odd = horner(terms.table(), s, 1, 9, 2);
    return static_cast<float>((terms.hi + even) + t * odd);
}

// Hint 1: everything in single precision, power by power.
inline float log_add_fast(float a, float b)
{
    const Terms<Fast, float> terms(a, b);
    if (terms.below_cut()) return terms.floored();
    return terms.hi + horner(terms.table(), terms.t(), 0, 10, 1);
}

// Hint 2: extended precision with the bounds and coefficients of double precision.
inline float log_add_extended(float a, float b)
{
    const Terms<Fast, long double, double> terms(a, b);
    if (terms.below_cut()) return static_cast<float>(terms.floored());
    const long double t = terms.t(), s = t * t;
    const long double even = horner<long double, double>(terms.table(), s, 0, 8, 2) * s;
    const long double odd = horner<long double, double>(terms.table(), s, 1, 9, 2);
    return static_cast<float>((even + static_cast<long double>(terms.table()[10])) + (t * odd + terms.hi));
}

// By hint; any other adds nothing.
inline float log_add(float a, float b, std::int32_t hint)
{
    switch (hint) {
        case 0:
            return log_add_accurate(a, b);
        case 1:
            return log_add_fast(a, b);
        case 2:
            return log_add_extended(a, b);
        default:
            return b;
    }
}

// The vectors of doubles: even and odd powers.
inline double log_add(double a, double b)
{
    const Terms<Full, double> terms(a, b);
    if (terms.below_cut()) return terms.floored();
    const double t = terms.t(), s = t * t;
    const double even = horner(terms.table(), s, 0, 20, 2), odd = horner(terms.table(), s, 1, 21, 2);
    return (terms.hi + t * even) + odd;
}
inline double log_add(double a, double b, std::int32_t hint) { return hint >= 0 && hint <= 2 ? log_add(a, b) : b; }

// The single-precision domain's polynomials in double precision, power by power: hi + P.
inline double log_add_by_powers(double a, double b)
{
    const Terms<Fast, double> terms(a, b);
    if (terms.below_cut()) return terms.floored();
    return terms.hi + horner(terms.table(), terms.t(), 0, 10, 1);
}

// The scalar step of the plain loops of other families: the powers without the constant join hi first.
template <class Domain>
double log_add_constant_last(double a, double b)
{
    const Terms<Domain, double> terms(a, b);
    if (terms.below_cut()) return terms.floored();
    const std::size_t last = Domain::kTables[0].size() - 1;
    const double powers = horner(terms.table(), terms.t(), 0, last - 1, 1) * terms.t();
    return (terms.hi + powers) + terms.table()[last];
}
inline float log_add_plain(float a, float b)
{
    return static_cast<float>(log_add_constant_last<Fast>(static_cast<double>(a), static_cast<double>(b)));
}
inline double log_add_plain(double a, double b) { return log_add_constant_last<Full>(a, b); }

// --- integers v that stand for v * 2^-sf ---

// The multiplier of -sf, which is sf again where 32 bits do not hold it.
template <class T>
T inverse_multiplier(std::int32_t sf)
{
    return multiplier<T>(sf == INT32_MIN ? sf : -sf);
}

template <class Int>
float to_single(Int x, std::int32_t sf)
{
    const float scale = multiplier<float>(sf);
    return scale == 0 ? 0.0F : times(static_cast<float>(x), scale);
}

template <class Int>
Int log_add_scaled(Int x, Int y, std::int32_t sf, std::int32_t hint)
{
    const float sum = log_add(to_single(x, sf), to_single(y, sf), hint);
    if constexpr (std::is_same_v<Int, std::int16_t>)
        return single_to_16s(sum, inverse_multiplier<float>(sf), 0);
    else
        return single_to_32s(sum, inverse_multiplier<float>(sf), 0);
}

// --- a vector's sum ---

// One element after another where there are at most serial_up_to; beyond, in Lanes running sums, the upper half of
// which joins the lower until one is left, and then the elements beyond the last whole group.
template <std::size_t Lanes, class T, class Add>
T log_fold(const std::vector<T>& x, std::size_t serial_up_to, Add add)
{
    T sum[Lanes] = {x[0]};
    std::size_t i = 1;
    if (x.size() > serial_up_to) {
        for (std::size_t lane = 0; lane < Lanes; ++lane) sum[lane] = x[lane];
        for (i = Lanes; i < x.size() / Lanes * Lanes; ++i) sum[i % Lanes] = add(sum[i % Lanes], x[i]);
        for (std::size_t half = Lanes / 2; half > 0; half /= 2)
            for (std::size_t lane = 0; lane < half; ++lane) sum[lane] = add(sum[lane], sum[lane + half]);
    }
    for (; i < x.size(); ++i) sum[0] = add(sum[0], x[i]);
    return sum[0];
}

inline float log_sum(const std::vector<float>& x) { return log_fold<4>(x, 7, log_add_fast); }
inline double log_sum(const std::vector<double>& x)
{
    return log_fold<2>(x, 4, [](double a, double b) { return log_add(a, b); });
}

// x / scale, between the ends of Int, toward zero; NaN gives the lowest. Compared in T, whose nearest to the
// largest of 32 bits may be 2^31: that one saturates too.
template <class Int, class T>
Int unscaled(T x)
{
    const T largest = static_cast<T>(std::numeric_limits<Int>::max());
    const T lowest = static_cast<T>(std::numeric_limits<Int>::min());
    if (x > largest || x >= T(2147483648.0)) return std::numeric_limits<Int>::max();
    if (!(x >= lowest)) return std::numeric_limits<Int>::min();
    return static_cast<Int>(x);
}

template <class Int>
Int log_sum_scaled(const std::vector<Int>& x, std::int32_t sf)
{
    const double scale = multiplier<double>(sf);
    if (x.size() == 1) return x[0];
    if (x.size() < 7) {
        double sum = times(static_cast<double>(x[0]), scale);
        for (std::size_t i = 1; i < x.size(); ++i)
            sum = static_cast<float>(log_add_by_powers(sum, times(static_cast<double>(x[i]), scale)));
        return unscaled<Int>(sum / scale);
    }
    std::vector<float> chunk;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (i > 0 && i % 128 == 0) chunk = {log_sum(chunk)};
        chunk.push_back(to_single(x[i], sf));
    }
    return unscaled<Int>(static_cast<float>(static_cast<double>(log_sum(chunk)) / scale));
}

// --- one subtraction, ln(e^s - e^y) ---

// True where the check for y not below s finds a fault: the sign of the difference, modulo 2^32 for 32 bits.
template <class T>
bool not_below(T s, T y)
{
    if constexpr (std::is_floating_point_v<T>)
        return y - s >= 0;
    else
        return (static_cast<std::uint32_t>(y) - static_cast<std::uint32_t>(s)) >> 31 == 0;
}

// s + ln(1 - e^t) in double precision; t is NaN or below the cut where only s counts.
template <class Domain>
double log_sub_of_difference(double s, double t, double least_argument)
{
    if (!(t >= Domain::kCut)) return s < Domain::kFloorBelow ? Domain::kLogZero : s;
    const double v = 1 - std::exp(t);
    return v > least_argument ? s + std::log(v) : Domain::kLogZero;
}

inline float log_sub(float s, float y)
{
    return static_cast<float>(log_sub_of_difference<Fast>(static_cast<double>(s), y - s, 1.0057e-37));
}
inline double log_sub(double s, double y) { return log_sub_of_difference<Full>(s, y - s, 2.45e-308); }

// Only the difference is scaled. 16 bits keep the low half of the result.
template <class Int>
Int log_sub_scaled(Int s, Int y, std::int32_t sf)
{
    const float t = times(static_cast<float>(y) - static_cast<float>(s), multiplier<float>(sf));
    const double r = log_sub_of_difference<Fast>(s, static_cast<double>(t), 1.0057e-37);
    return static_cast<Int>(unscaled<std::int32_t>(r));
}

// --- language-model scaling ---

inline float scale_lm(float x, float floor, float multiplier, float addend)
{
    return (x > floor ? x : floor) * multiplier + addend;
}
inline std::int32_t scale_lm(std::int16_t x, std::int16_t floor, std::int16_t multiplier, std::int32_t addend)
{
    const std::int32_t product = std::int32_t{x < floor ? floor : x} * multiplier;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(product) + static_cast<std::uint32_t>(addend));
}

}  // namespace zelsr::test::reference
