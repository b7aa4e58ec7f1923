// Reflection coefficients from autocorrelations, by the recursion of Schur.
#include <cstring>

#include "core/contract.h"
#include "core/convert.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "zelsr/lpc/prediction.h"

namespace zelsr {
namespace {

constexpr int32_t kOnStack = 1024;  // below this order no memory is allocated

// u and v, each with room for a whole register behind it.
constexpr int64_t work_size(int64_t order) { return 2 * (order + 4); }
constexpr int64_t work_16s(int64_t order) { return work_size(order) + 2 * order + 1; }

// A step leaves u where it is and starts one element later in v, since u moves on by one.
[[gnu::noinline]] void schur(const float* acorr, float* reflection, int32_t order, float* error, float* work)
{
    float *u = work, *v = work + order + 4;
    const std::size_t bytes = sizeof(float) * static_cast<std::size_t>(order);
    std::memcpy(u, acorr, bytes);
    std::memcpy(v, acorr + 1, bytes);
    for (float* padding : {u + order, v + order}) Unaligned::put(padding, _mm_setzero_ps());
    for (int32_t m = 0;; ++m, ++v) {
        const float k = (0 - *v) / *u;
        store_one(reflection + m, k);
        const int32_t left = order - m;
        if (left == 1) {
            store_one(error, k * *v + *u);
            return;
        }
        const __m128 factor = _mm_set1_ps(k);
        for (int32_t p = 0; p < left; p += 4) {
            const __m128 up = Unaligned::four(u + p), vp = Unaligned::four(v + p);
            Unaligned::put(v + p, factor * up + vp);
            Unaligned::put(u + p, factor * vp + up);
        }
    }
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

// A null error is found last.
SrStatus zelsSchur_32f(const float* acorr, float* k, int32_t order, float* error)
{
    if (SrStatus failed = first_failure(non_null(acorr, k), positive(order), non_null(error))) return failed;
    const Scratch<float, work_size(kOnStack - 1)> work(work_size(order));
    if (!work) return SrErrMemAlloc;
    schur(acorr, k, order, error, work.data());
    return SrOk;
}

SrStatus zelsSchur_16s_Sfs(const int16_t* acorr, int16_t* k, int32_t order, float* error, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(acorr, k), positive(order), non_null(error))) return failed;
    const Scratch<float, work_16s(kOnStack - 1)> work(work_16s(order));
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float* single = work.data() + work_size(order);
    float* lags = single + order;
    convert_16s32f(acorr, lags, order + 1);
    schur(lags, single, order, error, work.data());
    convert_32f16s(single, k, order, Rounding::Nearest, sf);
    return SrOk;
}
