// Prediction coefficients and reflection coefficients.
#include <algorithm>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "lpc/scaled.h"
#include "lpc/step_up.h"
#include "zelsr/lpc/conversion.h"

namespace zelsr {
namespace {

// Below these lengths no memory is allocated.
constexpr int32_t kOnStack_32f = 16;
constexpr int32_t kOnStack_16s = 22;

// Two vectors, each with room for a whole register behind it.
constexpr int64_t step_down_size(int64_t len) { return 2 * (len + 4); }

// The coefficients are kept twice, forwards and backwards, so that both factors of a step lie in registers' order.
// The backward ones begin one element later with each step, so that a step moves none of them.
[[gnu::noinline]] SrStatus step_down(const float* a, float* reflection, int32_t len, float* work)
{
    float *forward = work, *backward = work + len + 4;
    for (int32_t j = 0; j < len; ++j) forward[j] = backward[len - 1 - j] = load_one(a + j);
    for (float* padding : {forward + len, backward + len}) Unaligned::put(padding, _mm_setzero_ps());
    for (int32_t m = len - 1; m >= 0; --m) {
        const float k = 0 - *backward++;
        if (k == 1 || k == -1) return SrErrLpToReflection;
        store_one(reflection + m, k);
        const __m128 factor = _mm_set1_ps(k), scale = _mm_set1_ps(1 / (1 - k * k));
        for (int32_t j = 0; j < m; j += 4) {
            const __m128 f = Unaligned::four(forward + j), b = Unaligned::four(backward + j);
            Unaligned::put(forward + j, (b * factor + f) * scale);
            Unaligned::put(backward + j, (f * factor + b) * scale);
        }
    }
    return SrOk;
}

// work holds len elements.
[[gnu::noinline]] void step_up_all(const float* reflection, float* a, int32_t len, float* work)
{
    for (int32_t i = 0; i < len; ++i) {
        const float k = load_one(reflection + i);
        step_up(work, i < len - 1 ? work : a, i, k, 0 - k);
    }
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLPToReflection_32f(const float* a, float* k, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(a, k), positive(len))) return failed;
    const Scratch<float, step_down_size(kOnStack_32f - 1)> work(step_down_size(len));
    if (!work) return SrErrMemAlloc;
    return step_down(a, k, len, work.data());
}

// A failed step goes unreported, and leaves zeros: wanted.
SrStatus zelsLPToReflection_16s_Sfs(const int16_t* a, int16_t* k, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(a, k), positive(len))) return failed;
    const auto size = [](int64_t count) { return step_down_size(count) + 2 * count; };
    const Scratch<float, size(kOnStack_16s - 1)> work(size(len));
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float *source = work.data() + step_down_size(len), *result = source + len;
    to_single(a, source, len, power_of_two(sf));
    std::fill_n(result, len, 0.0F);
    step_down(source, result, len, work.data());
    to_low_16s(result, k, len, sf);
    return SrOk;
}

SrStatus zelsReflectionToLP_32f(const float* k, float* a, int32_t len)
{
    if (SrStatus failed = first_failure(non_null(k, a), positive(len))) return failed;
    const Scratch<float, kOnStack_32f - 1> work(len);
    if (!work) return SrErrMemAlloc;
    step_up_all(k, a, len, work.data());
    return SrOk;
}

SrStatus zelsReflectionToLP_16s_Sfs(const int16_t* k, int16_t* a, int32_t len, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(k, a), positive(len))) return failed;
    const Scratch<float, 2 * (kOnStack_16s - 1)> work(2 * int64_t{len});
    if (!work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float *single = work.data(), *rising = single + len;
    to_single(k, single, len, power_of_two(sf));
    step_up_all(single, single, len, rising);
    convert_32f16s(single, a, len, Rounding::Nearest, sf);
    return SrOk;
}
