// Accumulation of weighted deviations from a mean.
#include "core/contract.h"
#include "core/simd.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr {
namespace {

__m128 repeated(float x) { return _mm_set1_ps(x); }
__m128d repeated(double x) { return _mm_set1_pd(x); }

template <class T>
SrStatus accumulate(const T* src, const T* mean, T* mean_acc, T* var_acc, int32_t len, T weight)
{
    const auto w = repeated(weight);
    const auto add = [w](auto x, auto m, auto& mean_sum, auto& var_sum) __attribute__((always_inline))
    {
        const auto d = x - m, e = d * w;
        mean_sum += e;
        var_sum += d * e;
    };
    constexpr int32_t lanes = kLanes<T>;
    const auto add_register = [=](std::ptrdiff_t i) __attribute__((always_inline))
    {
        auto mean_sum = Unaligned::lanes(mean_acc + i), var_sum = Unaligned::lanes(var_acc + i);
        add(Unaligned::lanes(src + i), Unaligned::lanes(mean + i), mean_sum, var_sum);
        Unaligned::put(mean_acc + i, mean_sum);
        Unaligned::put(var_acc + i, var_sum);
    };
    std::ptrdiff_t i = 0;
    for (; i <= len - 4 * lanes; i += 4 * lanes)
        for_each_index<4>([&](auto n) __attribute__((always_inline)) { add_register(i + n * lanes); });
    for (; i <= len - lanes; i += lanes) add_register(i);
    if (const auto rest = static_cast<int32_t>(len - i); rest > 0) {
        auto mean_sum = load_first(mean_acc + i, rest), var_sum = load_first(var_acc + i, rest);
        add(load_first(src + i, rest), load_first(mean + i, rest), mean_sum, var_sum);
        store_first(mean_acc + i, mean_sum, rest);
        store_first(var_acc + i, var_sum, rest);
    }
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsMeanVarAcc_32f(const float* src, const float* mean, float* mean_acc, float* var_acc, int32_t len,
                            float weight)
{
    if (SrStatus failed = first_failure(non_null(src, mean, mean_acc, var_acc), positive(len))) return failed;
    return accumulate(src, mean, mean_acc, var_acc, len, weight);
}

SrStatus zelsMeanVarAcc_64f(const double* src, const double* mean, double* mean_acc, double* var_acc, int32_t len,
                            double weight)
{
    if (SrStatus failed = first_failure(non_null(src, mean, mean_acc, var_acc), positive(len))) return failed;
    return accumulate(src, mean, mean_acc, var_acc, len, weight);
}
