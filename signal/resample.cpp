// Resampling by any factor: a finely sampled prototype, with linear interpolation between its entries.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "signal/prototype.h"
#include "zelsr/core/memory.h"
#include "zelsr/signal/resample.h"

// The table follows in the same block. It has one entry more than tableLen, a copy of the last.
struct alignas(16) ZelResampleState {
    int32_t reserved[2];
    double invStep;  // 1 / nStep
    int32_t nStep;   // entries a source sample
    int32_t tableLen;
    float scale;  // of all results
    int32_t flags;
    void* table;
};

namespace zelsr {
namespace {

using namespace resample;

constexpr int32_t kMostEntries = 0xFFFFFFE;

// The entries but one. Out of line, as all of a set-up's arithmetic, so that it happens while the default
// environment is set.
[[gnu::noinline]] float window_entries(float window, int32_t n_step)
{
    return window * 0.5F * static_cast<float>(n_step);
}

[[gnu::noinline]] SrStatus window_holds(float window, int32_t n_step)
{
    return require(double{window} >= 2.0 / n_step && window_entries(window, n_step) < double{kMostEntries},
                   SrErrBadArg);
}

// Entries of the table, and the multiplier that brings them back to the prototype.
float fill_table(float* table, const double* h, int32_t len)
{
    std::transform(h, h + len, table, [](double value) { return static_cast<float>(value); });
    return 1;
}
float fill_table(int16_t* table, const double* h, int32_t len)
{
    double most = 0;
    for (int32_t i = 0; i < len; ++i) most = std::max(most, std::abs(h[i]));
    std::transform(h, h + len, table,
                   [=](double value) { return static_cast<int16_t>(rounded(value * 16383 / most)); });
    return static_cast<float>(most / 16383);
}

template <class Tap>
[[gnu::noinline]] void build(ZelResampleState* state, double* h, const Passband& band)
{
    auto* const table = reinterpret_cast<Tap*>(state + 1);
    make_prototype(h, state->tableLen, state->nStep, band);
    state->invStep = 1.0 / state->nStep;
    state->scale = fill_table(table, h, state->tableLen);
    table[state->tableLen] = table[state->tableLen - 1];
    state->table = table;
}

template <class Tap>
SrStatus allocate_and_build(ZelResampleState** out, float window, int32_t n_step, const Passband& band,
                            int32_t hint, SrStatus refused_work)
{
    const int32_t len = static_cast<int32_t>(window_entries(window, n_step)) + 1;
    const Scratch<double> h(len);
    if (!h) return refused_work;
    constexpr auto head = static_cast<int32_t>(sizeof(ZelResampleState)), tap = static_cast<int32_t>(sizeof(Tap));
    auto* const state = reinterpret_cast<ZelResampleState*>(zelsMalloc_8u(head + tap * (len + 1)));
    if (state == nullptr) return SrErrMemAlloc;
    *state = {.reserved = {},
              .invStep = 0,
              .nStep = n_step,
              .tableLen = len,
              .scale = 0,
              .flags = flags_of(hint),
              .table = nullptr};
    build<Tap>(state, h.data(), band);
    store_one(out, state);
    return SrOk;
}

// Two neighbours in double.
inline __m128d two(const float* p)
{
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline __m128d two(const int16_t* p)
{
    return _mm_cvtepi32_pd(low_16s32s(_mm_cvtsi32_si128(load_one(reinterpret_cast<const int32_t*>(p)))));
}
inline __m128d one_and_other(double one, double other) { return _mm_set_pd(other, one); }
inline __m128d exchanged(__m128d x) { return _mm_shuffle_pd(x, x, 1); }

// The samples to one side of a result, the nearest first: before it, or behind.
template <class Sample>
struct Before {
    const Sample* nearest;

    double next() { return load_one(nearest--); }
    __m128d next_two()
    {
        nearest -= 2;
        return exchanged(two(nearest + 1));
    }
};
template <class Sample>
struct Behind {
    const Sample* nearest;

    double next() { return load_one(nearest++); }
    __m128d next_two()
    {
        nearest += 2;
        return two(nearest - 2);
    }
};

// How a call's results are summed up: add() adds the products of one side to acc, one after the other, two of them
// formed at a time. distance is that of the nearest sample.
template <class Tap>
struct Unstretched {
    const Tap* table;
    std::uint32_t len, step;
    double scale;

    Unstretched(const ZelResampleState& state, double /*factor*/, float norm)
        : table(static_cast<const Tap*>(state.table)),
          len(static_cast<std::uint32_t>(state.tableLen)),
          step(static_cast<std::uint32_t>(state.nStep)),
          scale(double{state.scale} * norm)
    {}
    double result(double acc) const { return acc * scale; }

    // Taps lie whole steps apart: one place between two entries for all of them.
    template <class Samples>
    double add(double acc, double distance, Samples samples) const
    {
        const double p = step * distance;
        auto k = static_cast<std::uint32_t>(_mm_cvttsd_si32(_mm_set_sd(1e-5 + p)));
        const double rest = p - k;
        const __m128d weights = one_and_other(1 - rest, rest);
        for (; k + step < len; k += 2 * step) {
            const __m128d taps = _mm_hadd_pd(two(table + k) * weights, two(table + k + step) * weights);
            const __m128d products = taps * samples.next_two();
            acc += _mm_cvtsd_f64(products);
            acc += _mm_cvtsd_f64(_mm_unpackhi_pd(products, products));
        }
        if (k < len) acc += join(two(table + k) * weights) * samples.next();
        return acc;
    }
};
template <class Tap>
struct Stretched {
    const Tap* table;
    double factor, norm, scale, entries, step, limit;

    Stretched(const ZelResampleState& state, double by, float gain)
        : table(static_cast<const Tap*>(state.table)),
          factor(by),
          norm(gain),
          scale(state.scale),
          entries(state.nStep),
          step(factor * entries),
          limit(state.tableLen - 1e-5)
    {}
    double result(double acc) const { return acc * norm * factor * scale; }

    template <class Samples>
    double add(double acc, double distance, Samples samples) const
    {
        double p = distance * factor * entries;
        double next = p + step;
        for (; next < limit; p = next + step, next = p + step) {
            const __m128d place = one_and_other(p, next);
            const __m128i k = _mm_cvttpd_epi32(place);
            const __m128d rest = place - _mm_cvtepi32_pd(k), other = _mm_set1_pd(1) - rest;
            const __m128d first = two(table + _mm_cvtsi128_si32(k)) * _mm_unpacklo_pd(other, rest);
            const __m128d second =
                two(table + _mm_cvtsi128_si32(_mm_shuffle_epi32(k, 1))) * _mm_unpackhi_pd(other, rest);
            const __m128d products = _mm_hadd_pd(first, second) * samples.next_two();
            acc += _mm_cvtsd_f64(products);
            acc += _mm_cvtsd_f64(_mm_unpackhi_pd(products, products));
        }
        if (p < limit) {
            const int32_t k = _mm_cvttsd_si32(_mm_set_sd(p));
            const double rest = p - k;
            acc += join(two(table + k) * one_and_other(1 - rest, rest)) * samples.next();
        }
        return acc;
    }
};

template <class Sample, class Filter>
[[gnu::noinline]] void run(const Filter& filter, const Sample* src, int32_t len, Sample* dst, double factor,
                           double* time, int32_t* count)
{
    double t = load_one(time);
    int32_t written = 0;
    if (is_position(t)) {
        const double end = len + std::trunc(t), period = 1 / factor;
        while (t < end) {
            const std::ptrdiff_t i = whole_part(t);
            const double fraction = t - static_cast<double>(i);
            const double before = filter.add(0, fraction, Before<Sample>{src + i});
            put(dst + written, filter.result(filter.add(before, 1 - fraction, Behind<Sample>{src + i + 1})));
            ++written;
            if (!(t + period > t)) break;
            t += period;
        }
        store_one(time, t);
    }
    store_one(count, written);
}

template <class Tap, class Sample>
void convert_rate(const ZelResampleState& state, const Sample* src, int32_t len, Sample* dst, double factor,
                  float norm, double* time, int32_t* count)
{
    if (factor < 1)
        run(Stretched<Tap>(state, factor, norm), src, len, dst, factor, time, count);
    else
        run(Unstretched<Tap>(state, factor, norm), src, len, dst, factor, time, count);
}

SrStatus release(ZelResampleState* state)
{
    if (SrStatus failed = first_failure(non_null(state))) return failed;
    zelsFree(state);
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsResamplePolyphaseInitAlloc_32f(ZelResampleState** state, float window, int32_t n_step, float rollf,
                                            float alpha, int32_t hint)
{
    const DefaultFloatEnvironment environment;
    const Passband band{rollf, alpha};
    if (SrStatus failed =
            first_failure(non_null(state), positive(n_step), window_holds(window, n_step), holds(band)))
        return failed;
    return allocate_and_build<float>(state, window, n_step, band, hint, SrErrMemAlloc);
}

// Refused work memory of 16-bit taps counts as a null pointer: wanted.
SrStatus zelsResamplePolyphaseInitAlloc_16s(ZelResampleState** state, float window, int32_t n_step, float rollf,
                                            float alpha, int32_t hint)
{
    const DefaultFloatEnvironment environment;
    const Passband band{rollf, alpha};
    if (SrStatus failed =
            first_failure(non_null(state), positive(n_step), window_holds(window, n_step), holds(band)))
        return failed;
    if (hint == kAccurateHint) return allocate_and_build<float>(state, window, n_step, band, hint, SrErrMemAlloc);
    return allocate_and_build<int16_t>(state, window, n_step, band, hint, SrErrNullPtr);
}

SrStatus zelsResamplePolyphaseFree_32f(ZelResampleState* state) { return release(state); }

SrStatus zelsResamplePolyphaseFree_16s(ZelResampleState* state) { return release(state); }

SrStatus zelsResamplePolyphase_32f(const ZelResampleState* state, const float* src, int32_t len, float* dst,
                                   double factor, float norm, double* time, int32_t* count)
{
    if (SrStatus failed =
            first_failure(non_null(state, src, dst, time, count), require(factor > 0, SrErrSize), positive(len)))
        return failed;
    convert_rate<float>(*state, src, len, dst, factor, norm, time, count);
    return SrOk;
}

SrStatus zelsResamplePolyphase_16s(const ZelResampleState* state, const int16_t* src, int32_t len, int16_t* dst,
                                   double factor, float norm, double* time, int32_t* count)
{
    if (SrStatus failed =
            first_failure(non_null(state, src, dst, time, count), require(factor > 0, SrErrSize), positive(len)))
        return failed;
    const DefaultFloatEnvironment environment;
    if (state->flags == kAccurate)
        convert_rate<float>(*state, src, len, dst, factor, norm, time, count);
    else
        convert_rate<int16_t>(*state, src, len, dst, factor, norm, time, count);
    return SrOk;
}
