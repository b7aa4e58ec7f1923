// Dot products.
//
// The floating-point forms add in an order that depends on the length alone, not on where the arrays lie: four
// registers of partial sums take the registers of products in turn, so that the latency of one addition hides
// behind the loads of the others.
#include "core/contract.h"
#include "core/elementwise.h"
#include "core/pair_sums.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

inline float join_lanes(__m128 v) { return join_halves(v); }
inline double join_lanes(__m128d v) { return join(v); }

inline __m128 keep(__m128 v, const void* mask)
{
    return _mm_and_ps(v, Unaligned::four(static_cast<const float*>(mask)));
}
inline __m128d keep(__m128d v, const void* mask)
{
    return _mm_and_pd(v, Unaligned::two(static_cast<const double*>(mask)));
}
inline __m128i keep(__m128i v, const void* mask) { return _mm_and_si128(v, Unaligned::bytes(mask)); }

// The last count lanes of v, of one element each, and zeros in the others.
template <class T, class Register>
Register last_lanes(Register v, std::ptrdiff_t count)
{
    alignas(16) static constexpr int8_t mask[32] = {0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,
                                                    0,  0,  0,  0,  0,  -1, -1, -1, -1, -1, -1,
                                                    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    return keep(v, mask + count * static_cast<std::ptrdiff_t>(sizeof(T)));
}

struct Same {
    template <class T>
    static auto product(const T* x, const T* y)
    {
        return FullRegister::of(x) * FullRegister::of(y);
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
    if (len < step) {
        Sum sum = 0;
        for (std::ptrdiff_t i = 0; i < len; ++i) sum += Sum(load_one(x + i)) * Sum(load_one(y + i));
        return sum;
    }
    auto sum0 = repeat(Sum(0)), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    std::ptrdiff_t i = 0;
    for (; i <= len - 4 * step; i += 4 * step) {
        sum0 += Terms::product(x + i, y + i);
        sum1 += Terms::product(x + i + step, y + i + step);
        sum2 += Terms::product(x + i + 2 * step, y + i + 2 * step);
        sum3 += Terms::product(x + i + 3 * step, y + i + 3 * step);
    }
    if (i <= len - 2 * step) {
        sum0 += Terms::product(x + i, y + i);
        sum1 += Terms::product(x + i + step, y + i + step);
        i += 2 * step;
    }
    if (i <= len - step) {
        sum2 += Terms::product(x + i, y + i);
        i += step;
    }
    if (i < len)  // the last register of elements, without those that are in already
        sum3 += last_lanes<Sum>(Terms::product(x + len - step, y + len - step), len - i);
    return join_lanes((sum0 + sum1) + (sum2 + sum3));
}

// Exact for every length.
int64_t exact_dot_product(const int16_t* x, const int16_t* y, std::ptrdiff_t len)
{
    constexpr std::ptrdiff_t step = kLanes<int16_t>;
    if (len < step) {
        int64_t sum = 0;
        for (std::ptrdiff_t i = 0; i < len; ++i) sum += load_one(x + i) * load_one(y + i);
        return sum;
    }
    PairSums sums{};
    const auto add = [&](__m128i x_lanes, const int16_t* y_lanes) {
        sums.add(x_lanes, Unaligned::bytes(y_lanes));
    };
    std::ptrdiff_t i = 0;
    for (; i <= len - 4 * step; i += 4 * step) {
        add(Unaligned::bytes(x + i), y + i);
        add(Unaligned::bytes(x + i + step), y + i + step);
        add(Unaligned::bytes(x + i + 2 * step), y + i + 2 * step);
        add(Unaligned::bytes(x + i + 3 * step), y + i + 3 * step);
    }
    for (; i <= len - step; i += step) add(Unaligned::bytes(x + i), y + i);
    std::ptrdiff_t registers = i / step;
    if (i < len) {  // the last register of elements, without those that are in already
        add(last_lanes<int16_t>(Unaligned::bytes(x + len - step), len - i), y + len - step);
        ++registers;
    }
    return sums.total(static_cast<int32_t>(registers));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsDotProd_32f(const float* first, const float* second, int32_t len, float* result)
{
    if (SrStatus failed = first_failure(non_null(first, second, result), positive(len))) return failed;
    store_one(result, sum_of_products<Same, float>(first, second, len));
    return SrOk;
}

SrStatus zelsDotProd_64f(const double* first, const double* second, int32_t len, double* result)
{
    if (SrStatus failed = first_failure(non_null(first, second, result), positive(len))) return failed;
    store_one(result, sum_of_products<Same, double>(first, second, len));
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
