// exp(-x^2) and sin(x) / x, element by element.
#include <cmath>
#include <cstddef>
#include <numbers>

#include "core/contract.h"
#include "core/groups.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/signal/functions.h"

namespace zelsr {
namespace {

// Results in double come from the C library, one at a time. In single precision a register of elements takes the
// same steps at once; an element gives the same bits wherever it stands.

// exp(y) for y up to 0: y = n ln 2 + r with |r| up to ln 2 / 2, exp(y) = 2^n exp(r) by the series to r^7, of
// relative error 2^-27. 2^n in two factors, so that subnormal results come out; from -104 down they are 0.
inline __m128 exp_of_negative(__m128 y)
{
    const auto all = [](float value) { return _mm_set1_ps(value); };
    y = _mm_max_ps(all(-104), y);  // NaN stays
    const __m128i n = _mm_cvtps_epi32(y * all(0x1.715476p0F));
    const __m128 whole = _mm_cvtepi32_ps(n);
    const __m128 high = y - whole * all(0x1.62e4p-1F), low = whole * all(0x1.7f7d1cp-20F);
    const __m128 r = high - low, rounded_away = (high - r) - low;
    const __m128 even = (all(1.0F / 720) * (r * r) + all(1.0F / 24)) * (r * r) + all(0.5F);
    const __m128 odd = (all(1.0F / 5040) * (r * r) + all(1.0F / 120)) * (r * r) + all(1.0F / 6);
    const __m128 of_r = (((odd * r + even) * (r * r) + rounded_away) + r) + all(1);
    const auto power = [](__m128i exponent) {
        return _mm_castsi128_ps(_mm_slli_epi32(_mm_add_epi32(exponent, _mm_set1_epi32(127)), 23));
    };
    const __m128i n_half = _mm_srai_epi32(n, 1);
    return of_r * power(n_half) * power(_mm_sub_epi32(n, n_half));
}

// sin(x) for |x| up to 2^20: x = n pi + r with |r| up to pi / 2, by the series to r^21. pi is subtracted in three
// parts, of which n times the first two is exact.
inline __m128d sine(__m128d x)
{
    const auto all = [](double value) { return _mm_set1_pd(value); };
    const __m128i n = _mm_cvtpd_epi32(x * all(std::numbers::inv_pi));
    const __m128d whole = _mm_cvtepi32_pd(n);
    const __m128d r =
        ((x - whole * all(0x1.921fb544p1)) - whole * all(0x1.0b4611a6p-33)) - whole * all(0x1.3198a2e037073p-68);
    constexpr double series[] = {-1.0 / 6,
                                 1.0 / 120,
                                 -1.0 / 5040,
                                 1.0 / 362880,
                                 -1.0 / 39916800,
                                 1.0 / 6227020800,
                                 -1.0 / 1307674368000,
                                 1.0 / 355687428096000,
                                 -1.0 / 121645100408832000,
                                 1.0 / 51090942171709440000.0};
    const __m128d r2 = r * r;
    __m128d sum = all(series[9]);
    for_each_index<9>([&](auto i) __attribute__((always_inline)) { sum = sum * r2 + all(series[8 - i]); });
    const __m128d of_r = sum * r2 * r + r;
    const __m128i odd = _mm_slli_epi32(n, 31);
    return _mm_xor_pd(of_r, _mm_castsi128_pd(_mm_slli_epi64(_mm_unpacklo_epi32(odd, odd), 32)));
}

struct ExpNegSqr {
    static double of(double x) { return std::exp(-(x * x)); }
    static __m128 of(__m128 x) { return exp_of_negative(_mm_xor_ps(x * x, _mm_set1_ps(-0.0F))); }
};

struct SinC {
    static double of(double x) { return x == 0 ? 1 : std::sin(x) / x; }
    static __m128 of(__m128 x)
    {
        const __m128 size = _mm_andnot_ps(_mm_set1_ps(-0.0F), x), zero = _mm_cmpeq_ps(x, _mm_setzero_ps());
        const __m128 sines = _mm_movemask_ps(_mm_cmple_ps(size, _mm_set1_ps(0x1p20F))) == 15 ? near(x) : far(x);
        const __m128 one = _mm_set1_ps(1);
        return choose(zero, one, sines / choose(zero, one, x));
    }

  private:
    static __m128 near(__m128 x)
    {
        return _mm_movelh_ps(_mm_cvtpd_ps(sine(_mm_cvtps_pd(x))),
                             _mm_cvtpd_ps(sine(_mm_cvtps_pd(_mm_movehl_ps(x, x)))));
    }
    [[gnu::noinline, gnu::cold]] static __m128 far(__m128 x)
    {
        alignas(16) float lane[4];
        Aligned::put(lane, near(x));
        alignas(16) float element[4];
        Aligned::put(element, x);
        for (int i = 0; i < 4; ++i)
            if (!(std::abs(element[i]) <= 0x1p20F)) lane[i] = static_cast<float>(std::sin(double{element[i]}));
        return Aligned::four(lane);
    }
};

// Arrays that overlap, but do not start together, are worked through element after element.
template <class Function>
[[gnu::noinline]] void fill(const float* src, float* dst, int32_t len)
{
    const auto step = [](float* to, const float* from) {
        Unaligned::put(to, Function::of(Unaligned::four(from)));
    };
    const auto from = reinterpret_cast<std::uintptr_t>(src), to = reinterpret_cast<std::uintptr_t>(dst);
    const std::uintptr_t distance = from < to ? to - from : from - to;
    if (distance == 0 || distance >= static_cast<std::uintptr_t>(len) * sizeof *src)
        return in_groups<4>(len, dst, step, src);
    for (std::ptrdiff_t i = 0; i < len; ++i) in_groups<4>(1, dst + i, step, src + i);
}

// Each result is stored before the next element is read.
template <class Function, class Source>
[[gnu::noinline]] void fill(const Source* src, double* dst, int32_t len)
{
    for (std::ptrdiff_t i = 0; i < len; ++i) store_one(dst + i, Function::of(double{load_one(src + i)}));
}

template <class Function, class Source, class Target>
SrStatus evaluate(const Source* src, Target* dst, int32_t len)
{
    const DefaultFloatEnvironment environment;
    fill<Function>(src, dst, len);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsExpNegSqr_32f(const float* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(src, dst, len);
}

SrStatus zelsExpNegSqr_32f64f(const float* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(src, dst, len);
}

SrStatus zelsExpNegSqr_64f(const double* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(src, dst, len);
}

SrStatus zelsExpNegSqr_32f_I(float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(srcdst, srcdst, len);
}

SrStatus zelsExpNegSqr_64f_I(double* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return evaluate<ExpNegSqr>(srcdst, srcdst, len);
}

SrStatus zelsSinC_32f(const float* src, float* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<SinC>(src, dst, len);
}

SrStatus zelsSinC_32f64f(const float* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<SinC>(src, dst, len);
}

SrStatus zelsSinC_64f(const double* src, double* dst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(src, dst), positive(len))) return failed;
    return evaluate<SinC>(src, dst, len);
}

SrStatus zelsSinC_32f_I(float* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return evaluate<SinC>(srcdst, srcdst, len);
}

SrStatus zelsSinC_64f_I(double* srcdst, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(len))) return failed;
    return evaluate<SinC>(srcdst, srcdst, len);
}
