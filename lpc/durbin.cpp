// Prediction coefficients from autocorrelations, by the recursion of Levinson and Durbin.
#include "lpc/durbin.h"

#include <cstring>

#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "lpc/products.h"
#include "lpc/step_up.h"
#include "zelsr/lpc/prediction.h"

namespace zelsr {
namespace {

// r[i] + sum of r[i-j] a[j-1], i one above the order of a.
float correlation_with(const float* a, int32_t order, const float* acorr)
{
    const float* last = acorr + order;
    const float start = load_one(last + 1);
    if (order >= kFewestInPartialSums) return add_in_partial_sums(start, acorr + 1, Reversed{a + order}, order);
    float sum = start;
    for (int32_t j = 0; j < order; ++j) {
        sum += load_one(last - j) * a[j];
        one_by_one(sum);
    }
    return sum;
}

// Orders 9 to 12 store the last coefficient of orders 2 to 4 before they test the error: wanted.
bool stores_early(int32_t order, int32_t i) { return order >= 9 && order <= 12 && i >= 2 && i <= 4; }

constexpr int64_t work_16s(int64_t order) { return 3 * order + 1; }

}  // namespace

[[gnu::noinline]] SrStatus durbin(const float* acorr, float* a, int32_t order, float* error, float* work)
{
    float e = load_one(acorr);
    if (!(e > 0)) return SrErrDurbin;
    for (int32_t i = 1; i <= order; ++i) {
        const float k = correlation_with(work, i - 1, acorr) / e;
        e = e * (1 - k * k);
        if (!(e > 0)) {
            std::memcpy(a, work, sizeof(float) * static_cast<std::size_t>(i - 1));
            if (stores_early(order, i)) store_one(a + i - 1, -k);
            return SrErrDurbin;
        }
        step_up(work, i < order ? work : a, i - 1, k, -k);
    }
    store_one(error, e);
    return SrOk;
}

}  // namespace zelsr

using namespace zelsr;

// A null error is found last.
SrStatus zelsDurbin_32f(const float* acorr, float* a, int32_t order, float* error)
{
    if (SrStatus failed = first_failure(non_null(acorr, a), positive(order), non_null(error))) return failed;
    const Scratch<float, kDurbinOnStack - 1> work(order);
    if (!work) return SrErrMemAlloc;
    return durbin(acorr, a, order, error, work.data());
}

SrStatus zelsDurbin_16s_Sfs(const int16_t* acorr, int16_t* a, int32_t order, float* error, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(acorr, a), positive(order), non_null(error))) return failed;
    const Scratch<float, work_16s(kDurbinOnStack - 1)> work(work_16s(order));
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float* single = work.data() + order;
    float* lags = single + order;
    convert_16s32f(acorr, lags, order + 1);
    if (SrStatus failed = durbin(lags, single, order, error, work.data())) return failed;
    convert_32f16s(single, a, order, Rounding::Nearest, sf);
    return SrOk;
}
