// Accumulation of weighted deviations from a mean.
#include "core/contract.h"
#include "core/elementwise.h"
#include "zelsr/matrix/statistics.h"

namespace zelsr {
namespace {

template <class T>
SrStatus accumulate(const T* src, const T* mean, T* mean_acc, T* var_acc, int32_t len, T weight)
{
    const auto w = repeat(weight);
    const auto add_at = [=](std::ptrdiff_t i, auto elements) __attribute__((always_inline))
    {
        const auto d = elements.of(src + i) - elements.of(mean + i), e = d * w;
        const auto mean_sum = elements.of(mean_acc + i) + e, var_sum = elements.of(var_acc + i) + d * e;
        elements.put(mean_acc + i, mean_sum);
        elements.put(var_acc + i, var_sum);
    };
    constexpr int32_t lanes = kLanes<T>;
    std::ptrdiff_t i = 0;
    for (; i <= len - 4 * lanes; i += 4 * lanes)
        for_each_index<4>([&](auto n) __attribute__((always_inline)) { add_at(i + n * lanes, FullRegister{}); });
    for (; i <= len - lanes; i += lanes) add_at(i, FullRegister{});
    for (; i < len; ++i) add_at(i, OneElement{});
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
