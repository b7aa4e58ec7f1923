// The period of a sequence, by least squares and by comb sums.
#include "zelsr/noise/periodicity.h"

#include <algorithm>
#include <array>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"

namespace zelsr {
namespace {

constexpr SrStatus periods_in_range(int32_t greatest, int32_t least, int32_t lowest)
{
    return require(least >= lowest && greatest > least, SrErrRange);
}

constexpr int32_t kMostSquares = 1024;  // elements of a search by least squares

// No phase of the periods that are tried then has more than kMostTerms terms.
constexpr SrStatus squares_length_in_range(int32_t len, int32_t greatest, int32_t least)
{
    return require(len > greatest && len <= kMostSquares && len <= int64_t{16} * least, SrErrLengthBound);
}
constexpr SrStatus comb_length_in_range(int32_t len, int32_t greatest)
{
    return require(len > greatest && len <= 4096, SrErrLengthBound);
}

// Factors of a phase's sums, by the number of its terms; entry 0 is 0.
constexpr std::size_t kMostTerms = 16;

constexpr double root(double x)
{
    double r = x;
    for (int i = 0; i < 12; ++i) r = 0.5 * (r + x / r);
    return r;
}
template <class T, class F>
constexpr auto by_terms(F f)
{
    std::array<T, kMostTerms + 1> table{};
    for (std::size_t c = 1; c <= kMostTerms; ++c) table[c] = static_cast<T>(f(static_cast<double>(c)));
    return table;
}
constexpr auto ONE_OVER_N = by_terms<float>([](double c) { return 1 / c; });
constexpr auto ONE_OVER_SQRTN = by_terms<float>([](double c) { return 1 / root(c); });
constexpr auto ONE_OVER_N_Q30 = by_terms<int32_t>([](double c) { return 1073741824 / c; });
constexpr auto ONE_OVER_SQRTN_Q30 = by_terms<int32_t>([](double c) { return 1073741824 / root(c); });
static_assert(ONE_OVER_SQRTN_Q30[4] == 1 << 29 && ONE_OVER_SQRTN_Q30[9] == (1 << 30) / 3);

// take(group, k, terms) for the phases of a period in order: eight at a time (group is the constant 8), single
// ones (1) where fewer are left. All of a group have as many terms, at most `most`.
template <class Take>
[[gnu::always_inline]] inline void for_phases(int32_t len, int32_t period, int32_t most, Take take)
{
    const int32_t terms = (len - 1) / period + 1;       // of phase 0
    const int32_t longer = len - (terms - 1) * period;  // phases with that many
    const auto in_groups = [&](int32_t k, int32_t end, int32_t count) __attribute__((always_inline))
    {
        for (; k + 8 <= end; k += 8) take(std::integral_constant<int, 8>{}, k, count);
        for (; k < end; ++k) take(std::integral_constant<int, 1>{}, k, count);
    };
    in_groups(0, longer, std::min(terms, most));
    in_groups(longer, period, std::min(terms - 1, most));
}

// Least squares in double precision.
class SquaresInDouble {
  public:
    using Element = float;
    using Sum = double;
    using Measure = float;

    SquaresInDouble(const float* src, int32_t len)
    {
        for (int32_t i = 0; i < len; ++i) energy_ += square(load_one(src + i));
    }
    double square(float x) const { return double{x} * double{x}; }

    struct Totals {
        double a = 0, b = 0;
    };
    void add(Totals& totals, double sum, double squares, int32_t terms) const
    {
        const auto c = static_cast<std::size_t>(terms);
        const double root = sum * double{ONE_OVER_SQRTN[c]};
        totals.a += root * root;
        totals.b += squares * double{ONE_OVER_N[c]};
    }
    // 0 where nothing is explained.
    float measure(const Totals& totals) const
    {
        const double rest = energy_ - totals.b, explained = totals.a - totals.b;
        return rest > 0 && explained > 0 ? static_cast<float>(explained / rest) : 0.0F;
    }

  private:
    double energy_ = 0;
};

// Least squares in integers; sums of 32 bits wrap.
class SquaresInIntegers {
  public:
    using Element = int16_t;
    using Sum = int32_t;
    using Measure = int16_t;

    SquaresInIntegers(const int16_t* src, int32_t len)
    {
        int64_t energy = 0;
        for (int32_t i = 0; i < len; ++i) {
            const int32_t x = load_one(src + i);
            energy += int64_t{x * x};
        }
        for (; energy > INT32_MAX; energy >>= 1) ++shift_;
        energy_ = static_cast<uint32_t>(energy);
    }
    int32_t square(int32_t x) const { return (x * x) >> shift_; }

    struct Totals {
        uint32_t a = 0, b = 0;
    };
    void add(Totals& totals, int32_t sum, int32_t squares, int32_t terms) const
    {
        const auto c = static_cast<std::size_t>(terms);
        const int32_t smaller = shift_ >> 1, greater = shift_ - smaller;
        const int64_t root = int64_t{ONE_OVER_SQRTN_Q30[c]} * sum;
        totals.a += static_cast<uint32_t>(root >> (greater + 30)) * static_cast<uint32_t>(root >> (smaller + 30));
        totals.b += static_cast<uint32_t>((int64_t{ONE_OVER_N_Q30[c]} * squares) >> 30);
    }
    int16_t measure(const Totals& totals) const
    {
        const auto rest = static_cast<int32_t>(energy_ - totals.b);
        const auto explained = static_cast<int32_t>(totals.a - totals.b);
        if (rest < 1 || explained < 1) return 0;
        return static_cast<int16_t>(std::min<int64_t>((int64_t{explained} << 15) / rest, 32767));
    }

  private:
    uint32_t energy_ = 0;
    int32_t shift_ = 0;
};

template <class Squares, class Element = typename Squares::Element, class Measure = typename Squares::Measure>
[[gnu::noinline]] SrStatus least_squares(const Element* src, int32_t len, Measure* measure, int32_t* period,
                                         int32_t greatest, int32_t least)
{
    using Sum = typename Squares::Sum;
    const Squares squares(src, len);
    Sum value[kMostSquares], square[kMostSquares];  // each is needed once a period
    for (int32_t i = 0; i < len; ++i) {
        value[i] = load_one(src + i);
        square[i] = squares.square(load_one(src + i));
    }
    Measure best = 0;
    int32_t found = 0;
    for (int32_t p = least; p <= greatest; ++p) {
        typename Squares::Totals totals;
        for_phases(
            len, p, kMostTerms, [&](auto group, int32_t k, int32_t terms) __attribute__((always_inline)) {
                Sum sum[group] = {}, energy[group] = {};
                for (int32_t j = 0, i = k; j < terms; ++j, i += p)
                    for (int g = 0; g < group; ++g) {
                        sum[g] += value[i + g];
                        energy[g] += square[i + g];
                    }
                for (int g = 0; g < group; ++g) squares.add(totals, sum[g], energy[g], terms);
            });
        const Measure r = squares.measure(totals);
        if (r > best) {
            best = r;
            found = p;
        }
    }
    store_one(measure, best);
    store_one(period, found);
    return SrOk;
}

// Not a number fails, too. No early exit: elements are good, and a loop without one runs over registers.
template <class T>
SrStatus no_negative(const T* src, int32_t len)
{
    bool bad = false;
    for (int32_t i = 0; i < len; ++i) bad |= !(load_one(src + i) >= 0);
    return require(!bad, SrErrRange);
}

// Comb sums in single precision, their total in double.
class CombInSingle {
  public:
    using Element = float;
    using Sum = float;
    using Mean = float;
    using Measure = float;

    CombInSingle(const float* src, int32_t len)
    {
        for (int32_t i = 0; i < len; ++i) total_ += double{load_one(src + i)};
    }
    // An infinite total counts as zero: wanted.
    bool empty() const { return total_ <= std::max(0.0, total_) * 0.000001; }
    static float mean(float sum, int32_t terms) { return sum * ONE_OVER_N[static_cast<std::size_t>(terms)]; }
    float measure(float sum) const { return static_cast<float>(double{sum} / total_); }

  private:
    double total_ = 0;
};

class CombInIntegers {
  public:
    using Element = int32_t;
    using Sum = int64_t;
    using Mean = int32_t;
    using Measure = int16_t;

    CombInIntegers(const int32_t* src, int32_t len)
    {
        for (int32_t i = 0; i < len; ++i) total_ += load_one(src + i);
        for (; total_ > INT32_MAX; total_ >>= 1) ++shift_;
    }
    bool empty() const { return total_ == 0; }
    static int32_t mean(int64_t sum, int32_t terms)
    {
        return static_cast<int32_t>((sum * ONE_OVER_N_Q30[static_cast<std::size_t>(terms)]) >> 30);
    }
    int16_t measure(int64_t sum) const
    {
        return static_cast<int16_t>(std::min<int64_t>(((sum >> shift_) << 15) / total_, 32767));
    }

  private:
    int64_t total_ = 0;
    int32_t shift_ = 0;
};

constexpr int32_t kTeeth = 6;  // terms of a comb at most

template <class Comb, class Element = typename Comb::Element, class Measure = typename Comb::Measure>
[[gnu::noinline]] SrStatus best_comb(const Element* src, int32_t len, Measure* measure, int32_t* period,
                                     int32_t greatest, int32_t least)
{
    using Sum = typename Comb::Sum;
    using Mean = typename Comb::Mean;
    const Comb comb(src, len);
    Mean best = 0;
    Sum best_sum = 0;
    int32_t found = 0;
    for (int32_t p = least; p <= greatest && !comb.empty(); ++p)
        for_phases(
            len, p, kTeeth, [&](auto group, int32_t k, int32_t terms) __attribute__((always_inline)) {
                Sum sum[group];
                const Element* x = src + k;
                for (int g = 0; g < group; ++g) sum[g] = load_one(x + g);
                for (int32_t j = 1; j < terms; ++j) {
                    x += p;
                    for (int g = 0; g < group; ++g) sum[g] += load_one(x + g);
                }
                Mean mean[group];
                bool better = false;
                for (int g = 0; g < group; ++g) {
                    mean[g] = Comb::mean(sum[g], terms);
                    better |= mean[g] > best;
                }
                if (!better) return;
                for (int g = 0; g < group; ++g)
                    if (mean[g] > best) {
                        best = mean[g];
                        best_sum = sum[g];
                        found = p;
                    }
            });
    store_one(measure, comb.empty() ? Measure{0} : comb.measure(best_sum));
    store_one(period, found);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsPeriodicityLSPE_32f(const float* src, int32_t len, float* measure, int32_t* period, int32_t greatest,
                                 int32_t least)
{
    if (SrStatus failed = first_failure(non_null(src, measure, period), periods_in_range(greatest, least, 6),
                                        squares_length_in_range(len, greatest, least)))
        return failed;
    const DefaultFloatEnvironment environment;
    return least_squares<SquaresInDouble>(src, len, measure, period, greatest, least);
}

SrStatus zelsPeriodicityLSPE_16s(const int16_t* src, int32_t len, int16_t* measure, int32_t* period,
                                 int32_t greatest, int32_t least)
{
    if (SrStatus failed = first_failure(non_null(src, measure, period), periods_in_range(greatest, least, 6),
                                        squares_length_in_range(len, greatest, least)))
        return failed;
    return least_squares<SquaresInIntegers>(src, len, measure, period, greatest, least);
}

SrStatus zelsPeriodicity_32f(const float* src, int32_t len, float* measure, int32_t* period, int32_t greatest,
                             int32_t least)
{
    if (SrStatus failed =
            first_failure(non_null(src, measure, period), periods_in_range(greatest, least, 1),
                          comb_length_in_range(len, greatest), [&] { return no_negative(src, len); }))
        return failed;
    const DefaultFloatEnvironment environment;
    return best_comb<CombInSingle>(src, len, measure, period, greatest, least);
}

SrStatus zelsPeriodicity_32s16s(const int32_t* src, int32_t len, int16_t* measure, int32_t* period,
                                int32_t greatest, int32_t least)
{
    if (SrStatus failed =
            first_failure(non_null(src, measure, period), periods_in_range(greatest, least, 1),
                          comb_length_in_range(len, greatest), [&] { return no_negative(src, len); }))
        return failed;
    return best_comb<CombInIntegers>(src, len, measure, period, greatest, least);
}
