// Resampling by a rational factor: one dot product with a row of taps a result.
#include <algorithm>
#include <cstddef>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "signal/fixed_record.h"
#include "signal/prototype.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

using namespace resample;

// The sum over the taps of a row, in the arithmetic of each form.
template <class T, class Sum, auto DotProd>
struct ByDotProd {
    using Sample = T;
    using Tap = T;
    static double sum(const T* x, const T* taps, int32_t count)
    {
        Sum result;
        DotProd(x, taps, count, &result);
        return static_cast<double>(result);
    }
};
using InSingle = ByDotProd<float, float, zelsDotProd_32f>;
using InDouble = ByDotProd<float, double, zelsDotProd_32f64f>;
using InIntegers = ByDotProd<int16_t, int64_t, zelsDotProd_16s64s>;
// Products in single, their sum in double, rounded to single.
struct RoundedOnce {
    using Sample = int16_t;
    using Tap = float;
    static double sum(const int16_t* x, const float* taps, int32_t count)
    {
        __m128d low = _mm_setzero_pd(), high = low;
        const auto add = [&](__m128 products) {
            low += _mm_cvtps_pd(products);
            high += _mm_cvtps_pd(_mm_movehl_ps(products, products));
        };
        std::ptrdiff_t k = 0;
        for (; k <= count - 4; k += 4) {
            const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(x + k));
            add(_mm_cvtepi32_ps(low_16s32s(four)) * Unaligned::four(taps + k));
        }
        for (; k < count; ++k) add(_mm_set_ss(static_cast<float>(load_one(x + k)) * load_one(taps + k)));
        return static_cast<float>(join(low + high));
    }
};

template <class Arithmetic>
[[gnu::noinline]] void run(const ZelResampleFixedState& state, const typename Arithmetic::Sample* src, int32_t len,
                           typename Arithmetic::Sample* dst, float norm, double* time, int32_t* count)
{
    using Tap = typename Arithmetic::Tap;
    const double t = load_one(time);
    if (!is_position(t)) return store_one(count, 0);
    const int64_t in_rate = state.inRate, out_rate = state.outRate, i = whole_part(t);
    const double fraction = t - static_cast<double>(i);
    const auto phase0 = static_cast<int64_t>(static_cast<double>(out_rate) * fraction + 0.5);
    const double factor = static_cast<double>(out_rate) / static_cast<double>(in_rate);
    const double scale = std::min(factor, 1.0) * state.scale * norm;

    // A row without a neighbour has no element 2 half unless len is a multiple of 4.
    const int32_t taps = 2 * state.half;
    const int32_t taps_at_0 =
        static_cast<int32_t>(std::min<int64_t>(taps + int64_t{1}, elements_of_rows<Tap>(state)));
    const auto first = static_cast<std::ptrdiff_t>(i - state.half + (phase0 == 0 ? 0 : 1));
    const typename Arithmetic::Sample* x = src + first;
    int64_t position = i * out_rate + phase0;
    // A negative time is rounded down to its sample, but truncated for the end: wanted.
    const int64_t end = (len + static_cast<int64_t>(t)) * out_rate, phase_step = in_rate % out_rate;
    int64_t p = phase0 % out_rate;
    int32_t written = 0;
    for (; position < end; position += in_rate) {
        const auto phase = static_cast<int32_t>(p);
        put(dst + written, Arithmetic::sum(x, row<Tap>(state, phase), phase == 0 ? taps_at_0 : taps) * scale);
        ++written;
        x += load_one(state.steps + phase);
        p += phase_step;
        if (p >= out_rate) p -= out_rate;
    }
    store_one(count, written);
    store_one(time, fraction + static_cast<double>(position - phase0) / static_cast<double>(out_rate));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsResamplePolyphaseFixed_32f(const ZelResampleFixedState* state, const float* src, int32_t len,
                                        float* dst, float norm, double* time, int32_t* count)
{
    if (SrStatus failed = first_failure(non_null(state, src, dst, time, count), positive(len))) return failed;
    if (state->flags == kAccurate)
        run<InDouble>(*state, src, len, dst, norm, time, count);
    else
        run<InSingle>(*state, src, len, dst, norm, time, count);
    return SrOk;
}

SrStatus zelsResamplePolyphaseFixed_16s(const ZelResampleFixedState* state, const int16_t* src, int32_t len,
                                        int16_t* dst, float norm, double* time, int32_t* count)
{
    if (SrStatus failed = first_failure(non_null(state, src, dst, time, count), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    if (state->flags == kAccurate)
        run<RoundedOnce>(*state, src, len, dst, norm, time, count);
    else
        run<InIntegers>(*state, src, len, dst, norm, time, count);
    return SrOk;
}
