// Dot products.
//
// The floating-point forms add in an order that depends on the length alone, not on where the arrays lie: four
// registers of partial sums take four registers of products in turn, whole registers behind them go to the first
// one, and the last elements, one by one, to its first lane. Four hide the latency of an addition where
// two loads feed each one.
#include "core/contract.h"
#include "core/elementwise.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

inline float join_lanes(__m128 v) { return join_halves(v); }
inline double join_lanes(__m128d v) { return join(v); }

// The product of one element in the first lane, zeros in the others.
inline __m128 first_only(float x) { return _mm_set_ss(x); }
inline __m128d first_only(double x) { return _mm_set_sd(x); }

// Products of the elements of one type.
template <class Load>
struct Same {
    template <class T>
    static auto product(const T* x, const T* y)
    {
        return load<Load>(x) * load<Load>(y);
    }
};

// Products of singles, exact in double.
struct Widened {
    static __m128d widen(const float* p)
    {
        return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
    }
    static __m128d product(const float* x, const float* y) { return widen(x) * widen(y); }
};

template <class Terms, class Sum, class T>
Sum sum_of_products(const T* x, const T* y, std::ptrdiff_t len)
{
    constexpr std::ptrdiff_t step = kLanes<Sum>;
    auto sum0 = repeat(Sum(0)), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    std::ptrdiff_t i = 0;
    for (; i <= len - 4 * step; i += 4 * step) {
        sum0 += Terms::product(x + i, y + i);
        sum1 += Terms::product(x + i + step, y + i + step);
        sum2 += Terms::product(x + i + 2 * step, y + i + 2 * step);
        sum3 += Terms::product(x + i + 3 * step, y + i + 3 * step);
    }
    for (; i <= len - step; i += step) sum0 += Terms::product(x + i, y + i);
    for (; i < len; ++i) sum0 += first_only(Sum(load_one(x + i)) * Sum(load_one(y + i)));
    return join_lanes((sum0 + sum1) + (sum2 + sum3));
}

template <class T>
T dot_product(const T* x, const T* y, int32_t len)
{
    return all_aligned(x, y) ? sum_of_products<Same<Aligned>, T>(x, y, len)
                             : sum_of_products<Same<Unaligned>, T>(x, y, len);
}

// Exact for every length. The sum of two products of 16-bit numbers lies from -2^31 + 2^16 to 2^31: the upper end
// wraps in the processor's pairwise product, so a bias makes it an unsigned number of 32 bits. Of the 64-bit lanes
// that hold two of them, low + 2^32 high, one sum takes the whole (modulo 2^64) and one the high halves: the sum
// of all is whole - 2^32 high + high.
int64_t exact_dot_product(const int16_t* x, const int16_t* y, std::ptrdiff_t len)
{
    constexpr std::ptrdiff_t step = kLanes<int16_t>;
    constexpr uint32_t bias = 0x7fff0000;
    const __m128i biases = repeat(static_cast<int32_t>(bias));
    __m128i whole = _mm_setzero_si128(), high = whole;
    const auto add = [&](std::ptrdiff_t i) {
        const __m128i pairs = _mm_madd_epi16(Unaligned::bytes(x + i), Unaligned::bytes(y + i));
        const __m128i biased = _mm_add_epi32(pairs, biases);
        whole = _mm_add_epi64(whole, biased);
        high = _mm_add_epi64(high, _mm_srli_epi64(biased, 32));
    };
    std::ptrdiff_t i = 0;
    for (; i <= len - 4 * step; i += 4 * step) {
        add(i);
        add(i + step);
        add(i + 2 * step);
        add(i + 3 * step);
    }
    for (; i <= len - step; i += step) add(i);

    alignas(16) uint64_t wholes[2], highs[2];
    Aligned::put(wholes, whole);
    Aligned::put(highs, high);
    const uint64_t high_sum = highs[0] + highs[1];
    const uint64_t biased_sum = wholes[0] + wholes[1] - (high_sum << 32) + high_sum;
    auto sum = static_cast<int64_t>(biased_sum - static_cast<uint64_t>(i / 2) * bias);
    for (; i < len; ++i) sum += load_one(x + i) * load_one(y + i);
    return sum;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsDotProd_32f(const float* first, const float* second, int32_t len, float* result)
{
    if (SrStatus failed = first_failure(non_null(first, second, result), positive(len))) return failed;
    store_one(result, dot_product(first, second, len));
    return SrOk;
}

SrStatus zelsDotProd_64f(const double* first, const double* second, int32_t len, double* result)
{
    if (SrStatus failed = first_failure(non_null(first, second, result), positive(len))) return failed;
    store_one(result, dot_product(first, second, len));
    return SrOk;
}

SrStatus zelsDotProd_32f64f(const float* first, const float* second, int32_t len, double* result)
{
    if (SrStatus failed = first_failure(non_null(first, second, result), positive(len))) return failed;
    store_one(result, sum_of_products<Widened, double>(first, second, len));
    return SrOk;
}

SrStatus zelsDotProd_16s64s(const int16_t* first, const int16_t* second, int32_t len, int64_t* result)
{
    if (SrStatus failed = first_failure(non_null(first, second, result), positive(len))) return failed;
    store_one(result, exact_dot_product(first, second, len));
    return SrOk;
}

SrStatus zelsDotProd_16s32f(const int16_t* first, const int16_t* second, int32_t len, float* result)
{
    if (SrStatus failed = first_failure(non_null(first, second, result), positive(len))) return failed;
    store_one(result, static_cast<float>(exact_dot_product(first, second, len)));
    return SrOk;
}
