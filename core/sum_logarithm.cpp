// Sums of logarithms: one logarithm for a block of elements, of the product of their mantissas.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "core/constants.h"
#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

constexpr int32_t kBlock = 512;
constexpr int32_t kFactors = 4;  // of the four products, in a step

// Two running products of positive normal doubles, as mantissas from 1 up to 2 and biased exponents.
struct Product {
    __m128d mantissa = _mm_set1_pd(1.0);
    __m128i exponent = _mm_setzero_si128();

    void take(__m128d factor)
    {
        const __m128i bits = _mm_castpd_si128(factor);
        const __m128i fraction = _mm_srli_epi64(_mm_slli_epi64(bits, 12), 12);
        mantissa *= _mm_or_pd(_mm_castsi128_pd(fraction), _mm_set1_pd(1.0));
        exponent = _mm_add_epi64(exponent, _mm_srli_epi64(bits, 52));
    }
};

// ln of the four products after a number of steps. A block's mantissas stay below 2^512. The power of two next to
// their product joins the exponents, so that what cancels cancels among integers.
double ln_of_products(const Product& first, const Product& second, int32_t steps)
{
    double mantissas[2];
    int64_t exponents[2];
    _mm_storeu_pd(mantissas, first.mantissa * second.mantissa);
    Unaligned::put(exponents, _mm_add_epi64(first.exponent, second.exponent));
    const auto bits = std::bit_cast<int64_t>(mantissas[0] * mantissas[1]);
    const int64_t power = (bits - std::bit_cast<int64_t>(0x1.6a09e667f3bcdp-1)) >> 52;  // from sqrt(1/2) on
    const double near_one = std::bit_cast<double>(bits - power * (int64_t{1} << 52));
    const int64_t exponent = exponents[0] + exponents[1] - int64_t{1023} * kFactors * steps + power;
    return std::log(near_one) + static_cast<double>(exponent) * 0x1.62e42fefa39efp-1;
}

// The first count elements of a register (all, some or none), ones behind them, whose logarithm is zero.
inline __m128 with_ones_behind(const float* x, int32_t count)
{
    const __m128 ones = _mm_set1_ps(1.0F);
    if (count >= 4) return Unaligned::four(x);
    return count <= 0 ? ones : _mm_or_ps(FirstLanes{count}.lanes(x), _mm_andnot_ps(first_lanes(count), ones));
}
inline __m128d with_ones_behind(const double* x, int32_t count)
{
    const __m128d ones = _mm_set1_pd(1.0);
    if (count >= 2) return Unaligned::two(x);
    return count <= 0 ? ones : _mm_loadl_pd(ones, x);
}

// 16 singles a step. Four of them multiply in double without leaving its normal range: from 2^-596 to 2^512.
struct Singles {
    static constexpr int32_t kStep = 16;

    Product first, second;
    __m128 positive = _mm_castsi128_ps(_mm_set1_epi32(-1));
    __m128 largest = _mm_setzero_ps();

    void take(const float* x, int32_t count)
    {
        const __m128 x0 = with_ones_behind(x, count), x1 = with_ones_behind(x + 4, count - 4);
        const __m128 x2 = with_ones_behind(x + 8, count - 8), x3 = with_ones_behind(x + 12, count - 12);
        const __m128 zero = _mm_setzero_ps();
        positive = _mm_and_ps(positive, _mm_and_ps(_mm_and_ps(_mm_cmplt_ps(zero, x0), _mm_cmplt_ps(zero, x1)),
                                                   _mm_and_ps(_mm_cmplt_ps(zero, x2), _mm_cmplt_ps(zero, x3))));
        largest = _mm_max_ps(largest, _mm_max_ps(_mm_max_ps(x0, x1), _mm_max_ps(x2, x3)));
        first.take((_mm_cvtps_pd(x0) * _mm_cvtps_pd(x1)) * (_mm_cvtps_pd(x2) * _mm_cvtps_pd(x3)));
        second.take((upper(x0) * upper(x1)) * (upper(x2) * upper(x3)));
    }
    bool all_positive() const { return _mm_movemask_ps(positive) == 0xf; }
    bool any_infinite() const { return _mm_movemask_ps(_mm_cmpgt_ps(largest, _mm_set1_ps(0x1.fffffep127F))) != 0; }

  private:
    static __m128d upper(__m128 x) { return _mm_cvtps_pd(_mm_movehl_ps(x, x)); }
};

// Four doubles a step.
template <bool WithSubnormals>
struct Doubles {
    static constexpr int32_t kStep = 4;

    Product first, second;
    __m128d positive = _mm_castsi128_pd(_mm_set1_epi32(-1));
    __m128d largest = _mm_setzero_pd();
    __m128d smallest = _mm_set1_pd(1.0);

    void take(const double* x, int32_t count)
    {
        take(first, with_ones_behind(x, count));
        take(second, with_ones_behind(x + 2, count - 2));
    }
    bool all_positive() const { return _mm_movemask_pd(positive) == 0x3; }
    bool any_infinite() const
    {
        return _mm_movemask_pd(_mm_cmpgt_pd(largest, _mm_set1_pd(0x1.fffffffffffffp1023))) != 0;
    }
    bool any_subnormal() const { return _mm_movemask_pd(_mm_cmplt_pd(smallest, _mm_set1_pd(0x1p-1022))) != 0; }

  private:
    void take(Product& product, __m128d x)
    {
        positive = _mm_and_pd(positive, _mm_cmplt_pd(_mm_setzero_pd(), x));
        largest = _mm_max_pd(largest, x);
        smallest = _mm_min_pd(smallest, x);
        if constexpr (WithSubnormals) {
            const __m128d subnormal = _mm_cmplt_pd(x, _mm_set1_pd(0x1p-1022));
            x = choose(subnormal, x * _mm_set1_pd(0x1p52), x);
            const __m128i shift = _mm_and_si128(_mm_castpd_si128(subnormal), _mm_set1_epi64x(52));
            product.exponent = _mm_sub_epi64(product.exponent, shift);
        }
        product.take(x);
    }
};

template <class Terms, class T>
Terms collect(const T* src, int32_t len)
{
    Terms terms;
    int32_t i = 0;
    for (; i <= len - Terms::kStep; i += Terms::kStep) terms.take(src + i, Terms::kStep);
    if (i < len) terms.take(src + i, len - i);
    return terms;
}

template <class Terms>
double ln_of_terms(const Terms& terms, int32_t len)
{
    return ln_of_products(terms.first, terms.second, (len + Terms::kStep - 1) / Terms::kStep);
}

double ln_of_block(const Singles& terms, const float*, int32_t len) { return ln_of_terms(terms, len); }

double ln_of_block(const Doubles<false>& terms, const double* src, int32_t len)
{
    if (terms.any_subnormal()) [[unlikely]]
        return ln_of_terms(collect<Doubles<true>>(src, len), len);
    return ln_of_terms(terms, len);
}

// The result and the status of the first element that is not above zero; there is one.
template <class T, class Bits>
SrStatus end_at_special(const T* src, Bits infinity_bits, T infinity, T not_a_number, T* result)
{
    for (;; ++src) {
        const Bits bits = std::bit_cast<Bits>(load_one(src));
        if (bits - 1 < infinity_bits) continue;
        store_one(result, bits == 0 ? infinity : not_a_number);  // plus infinity for ln(0): wanted
        if (bits == 0) return SrWarnLnZeroArg;
        return bits >> (8 * sizeof(Bits) - 1) != 0 ? SrWarnLnNegArg : SrOk;
    }
}

// Out of line, so that all of its arithmetic happens while the default environment is set.
template <class Terms, class T, class Bits>
[[gnu::noinline]] SrStatus sum_ln(const T* src, int32_t len, T* result, Bits infinity_bits, T infinity,
                                  T not_a_number)
{
    double sum = 0.0;
    bool infinite = false;
    for (std::ptrdiff_t i = 0; i < len; i += kBlock) {
        const auto count = static_cast<int32_t>(std::min<std::ptrdiff_t>(kBlock, len - i));
        const auto terms = collect<Terms>(src + i, count);
        if (!terms.all_positive()) return end_at_special(src + i, infinity_bits, infinity, not_a_number, result);
        infinite |= terms.any_infinite();
        sum += ln_of_block(terms, src + i, count);
    }
    store_one(result, infinite ? infinity : static_cast<T>(sum));
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSumLn_32f(const float* src, int32_t len, float* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return sum_ln<Singles, float, uint32_t>(src, len, result, 0x7f800000u, zelConstantOfINF_32f,
                                            zelConstantOfNAN_32f);
}

SrStatus zelsSumLn_64f(const double* src, int32_t len, double* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    return sum_ln<Doubles<false>, double, uint64_t>(src, len, result, 0x7ff0000000000000u, zelConstantOfINF_64f,
                                                    zelConstantOfNAN_64f);
}
