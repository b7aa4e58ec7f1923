// Making and releasing the records of the fixed resampling engine; their rows.
#include <algorithm>
#include <cstring>
#include <numeric>

#include "core/contract.h"
#include "core/fixed_point.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "signal/fixed_record.h"
#include "signal/prototype.h"
#include "zelsr/core/memory.h"

namespace zelsr {
namespace {

using namespace resample;

constexpr int64_t kHeadOf_32f = offsetof(ZelResampleFixedState, reserved);
constexpr int64_t kHeadOf_16s = sizeof(ZelResampleFixedState);
static_assert(kHeadOf_32f == 20 + 2 * sizeof(void*) && kHeadOf_16s == 24 + 2 * sizeof(void*));

constexpr int32_t kFixedHint = 1;         // the only one of 16-bit records in the caller's memory
constexpr float kScaleOf_16s = 0x1p-14F;  // 6.1035156e-5
constexpr double kOneOf_16s = 16384;

template <class Tap>
Shape<Tap> shape_of(int32_t in_rate, int32_t out_rate, int32_t len, int64_t head)
{
    const int32_t divisor = std::gcd(in_rate, out_rate);
    return {in_rate / divisor, out_rate / divisor, len, head};
}

template <class Tap>
SrStatus fits(const Shape<Tap>& shape, SrStatus otherwise)
{
    return require(shape.bytes() <= kMostBytes, otherwise);
}

// The phase behind phase p is (p + in_rate) modulo out_rate. The result at phase 0 begins one sample before the
// others, so that the step to it is one shorter and the step from it one longer. Only 16 bits of a step are kept.
void fill_steps(uint16_t* steps, int32_t in_rate, int32_t out_rate)
{
    int64_t phase = 0;
    for (int32_t k = 0; k < out_rate; ++k) {
        const int64_t behind = phase + in_rate;
        int64_t step = behind / out_rate;
        if (phase == 0) ++step;
        if (k == out_rate - 1) --step;
        store_one(steps + phase, static_cast<uint16_t>(step));
        phase = behind % out_rate;
    }
}

// All but the rows' elements.
template <class Tap>
void lay_out(ZelResampleFixedState* state, const Shape<Tap>& shape, int32_t hint, float scale)
{
    auto* const steps = reinterpret_cast<uint8_t*>(state) + shape.head;
    auto* const pointers = steps + shape.step_bytes();
    auto* const rows = pointers + shape.pointer_bytes();
    state->inRate = shape.in_rate;
    state->outRate = shape.out_rate;
    state->scale = scale;
    state->half = static_cast<int32_t>(shape.half());
    state->flags = flags_of(hint);
    state->steps = reinterpret_cast<uint16_t*>(steps);
    state->rows = reinterpret_cast<void**>(pointers);
    if (shape.head == kHeadOf_16s) state->reserved = 0;
    fill_steps(state->steps, shape.in_rate, shape.out_rate);
    for (int64_t p = 0; p <= shape.out_rate; ++p)
        store_one(state->rows + p, static_cast<void*>(rows + p * shape.row_bytes()));
}

// Entries of the prototype, which lie 1 / out_rate of a source sample apart, up to half samples. Out of line, so
// that its arithmetic happens while the default environment is set.
template <class Tap>
[[gnu::noinline]] int64_t prototype_len(const Shape<Tap>& shape)
{
    const double factor = static_cast<double>(shape.out_rate) / shape.in_rate;
    const auto samples = static_cast<double>(2 * shape.half());
    const auto width = static_cast<float>(factor < 1 ? samples * factor : samples);
    return static_cast<int64_t>((1e-5 + width) * 0.5 * std::max(shape.in_rate, shape.out_rate)) + 1;
}

inline void put_tap(float* to, double tap) { store_one(to, static_cast<float>(tap)); }
inline void put_tap(int16_t* to, double tap) { store_one(to, saturated<int16_t>(rounded(tap * kOneOf_16s))); }

// Taps lie on both sides of a result, those of phase p one way and those of phase out_rate - p the other.
template <class Tap>
void fill_rows(const ZelResampleFixedState& state, const double* h, int64_t len)
{
    const int64_t out_rate = state.outRate;
    const std::ptrdiff_t half = state.half, elements = elements_of_rows<Tap>(state);
    Tap* const first = row<Tap>(state, 0);
    std::memset(first, 0, static_cast<std::size_t>(elements) * sizeof(Tap));
    for (std::ptrdiff_t j = 0; j < half && j * out_rate < len; ++j) {
        put_tap(first + half - j, h[j * out_rate]);
        put_tap(first + half + j, h[j * out_rate]);
    }
    put_tap(first, h[len - 1]);
    if (2 * half < elements) put_tap(first + 2 * half, h[len - 1]);
    for (int32_t p = 1; p < state.outRate; ++p) {
        Tap* const before = row<Tap>(state, p) + half - 1;
        Tap* const behind = row<Tap>(state, state.outRate - p) + half;
        for (std::ptrdiff_t j = 0; j < half && j * out_rate + p < len; ++j) {
            put_tap(before - j, h[j * out_rate + p]);
            put_tap(behind + j, h[j * out_rate + p]);
        }
    }
}

template <class Tap>
[[gnu::noinline]] void build(ZelResampleFixedState* state, const Shape<Tap>& shape, const Passband& band,
                             double* h, int64_t len, int32_t hint, float scale)
{
    lay_out(state, shape, hint, scale);
    make_prototype(h, len, std::max(shape.in_rate, shape.out_rate), band);
    fill_rows<Tap>(*state, h, len);
}

template <class Tap>
SrStatus allocate_and_build(ZelResampleFixedState** out, const Shape<Tap>& shape, const Passband& band,
                            int32_t hint, float scale)
{
    if (SrStatus failed = fits(shape, SrErrBadArg)) return failed;
    const DefaultFloatEnvironment environment;
    const int64_t len = prototype_len(shape);
    const Scratch<double> h(len);
    if (!h) return SrErrMemAlloc;
    auto* const state =
        reinterpret_cast<ZelResampleFixedState*>(zelsMalloc_8u(static_cast<int32_t>(shape.bytes())));
    if (state == nullptr) return SrErrMemAlloc;
    build(state, shape, band, h.data(), len, hint, scale);
    store_one(out, state);
    return SrOk;
}

template <class Tap>
SrStatus put_sizes(const Shape<Tap>& shape, int32_t* size, int32_t* row_len, int32_t* row_count)
{
    if (SrStatus failed = fits(shape, SrErrSize)) return failed;
    store_one(size, static_cast<int32_t>(shape.bytes()));
    store_one(row_len, static_cast<int32_t>(shape.row_len()));
    store_one(row_count, shape.out_rate);
    return SrOk;
}

template <class Tap>
SrStatus init(ZelResampleFixedState* memory, const Shape<Tap>& shape, int32_t hint, float scale)
{
    if (SrStatus failed = fits(shape, SrErrSize)) return failed;
    lay_out(memory, shape, hint, scale);
    return SrOk;
}

constexpr SrStatus fixed_hint(int32_t hint) { return require(hint == kFixedHint, SrErrBadArg); }

SrStatus release(ZelResampleFixedState* state)
{
    if (SrStatus failed = first_failure(non_null(state))) return failed;
    zelsFree(state);
    return SrOk;
}

// copy(own, theirs, count) for the elements of each row, in order.
template <class Tap, class Copy>
SrStatus copy_rows(const ZelResampleFixedState& state, int32_t row_step, int32_t row_count, const Copy& copy)
{
    const int64_t row_elements = 2 * int64_t{state.half} + 4, elements = elements_of_rows<Tap>(state);
    if (row_step == row_elements) {
        copy(row<Tap>(state, 0), 0, std::min(row_count * row_elements, elements));
        return SrOk;
    }
    for (int32_t r = 0; r < std::min(row_count, state.outRate); ++r) {
        const int64_t left = row<Tap>(state, state.outRate) - row<Tap>(state, r);
        copy(row<Tap>(state, r), int64_t{r} * row_step, std::min({row_elements, int64_t{row_step}, left}));
    }
    return SrOk;
}

template <class Tap>
SrStatus set_rows(const ZelResampleFixedState& state, const Tap* rows, int32_t row_step, int32_t row_count)
{
    return copy_rows<Tap>(state, row_step, row_count, [=](Tap* own, int64_t at, int64_t count) {
        std::memcpy(own, rows + at, static_cast<std::size_t>(count) * sizeof(Tap));
    });
}

template <class Tap>
SrStatus get_rows(const ZelResampleFixedState& state, Tap* rows, int32_t row_step, int32_t row_count)
{
    return copy_rows<Tap>(state, row_step, row_count, [=](const Tap* own, int64_t at, int64_t count) {
        std::memcpy(rows + at, own, static_cast<std::size_t>(count) * sizeof(Tap));
    });
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsResamplePolyphaseFixedInitAlloc_32f(ZelResampleFixedState** state, int32_t in_rate, int32_t out_rate,
                                                 int32_t len, float rollf, float alpha, int32_t hint)
{
    const Passband band{rollf, alpha};
    if (SrStatus failed = first_failure(non_null(state), positive(in_rate, out_rate, len), holds(band)))
        return failed;
    return allocate_and_build(state, shape_of<float>(in_rate, out_rate, len, kHeadOf_32f), band, hint, 1.0F);
}

SrStatus zelsResamplePolyphaseFixedInitAlloc_16s(ZelResampleFixedState** state, int32_t in_rate, int32_t out_rate,
                                                 int32_t len, float rollf, float alpha, int32_t hint)
{
    const Passband band{rollf, alpha};
    if (SrStatus failed = first_failure(non_null(state), positive(in_rate, out_rate, len), holds(band)))
        return failed;
    if (hint == kAccurateHint)
        return allocate_and_build(state, shape_of<float>(in_rate, out_rate, len, kHeadOf_16s), band, hint, 1.0F);
    return allocate_and_build(state, shape_of<int16_t>(in_rate, out_rate, len, kHeadOf_16s), band, hint,
                              kScaleOf_16s);
}

SrStatus zelsResamplePolyphaseFixedFree_32f(ZelResampleFixedState* state) { return release(state); }

SrStatus zelsResamplePolyphaseFixedFree_16s(ZelResampleFixedState* state) { return release(state); }

SrStatus zelsResamplePolyphaseFixedGetSize_32f(int32_t in_rate, int32_t out_rate, int32_t len, int32_t* size,
                                               int32_t* row_len, int32_t* row_count)
{
    if (SrStatus failed = first_failure(non_null(size, row_len, row_count), positive(in_rate, out_rate, len)))
        return failed;
    return put_sizes(shape_of<float>(in_rate, out_rate, len, kHeadOf_32f), size, row_len, row_count);
}

SrStatus zelsResamplePolyphaseFixedGetSize_16s(int32_t in_rate, int32_t out_rate, int32_t len, int32_t* size,
                                               int32_t* row_len, int32_t* row_count, int32_t hint)
{
    if (SrStatus failed =
            first_failure(non_null(size, row_len, row_count), positive(in_rate, out_rate, len), fixed_hint(hint)))
        return failed;
    return put_sizes(shape_of<int16_t>(in_rate, out_rate, len, kHeadOf_16s), size, row_len, row_count);
}

SrStatus zelsResamplePolyphaseFixedInit_32f(ZelResampleFixedState* memory, int32_t in_rate, int32_t out_rate,
                                            int32_t len, int32_t hint)
{
    if (SrStatus failed = first_failure(non_null(memory), positive(in_rate, out_rate, len))) return failed;
    return init(memory, shape_of<float>(in_rate, out_rate, len, kHeadOf_32f), hint, 1.0F);
}

SrStatus zelsResamplePolyphaseFixedInit_16s(ZelResampleFixedState* memory, int32_t in_rate, int32_t out_rate,
                                            int32_t len, int32_t hint)
{
    if (SrStatus failed = first_failure(non_null(memory), positive(in_rate, out_rate, len), fixed_hint(hint)))
        return failed;
    return init(memory, shape_of<int16_t>(in_rate, out_rate, len, kHeadOf_16s), hint, kScaleOf_16s);
}

SrStatus zelsResamplePolyphaseSetFixedFilter_32f(ZelResampleFixedState* state, const float* rows, int32_t row_step,
                                                 int32_t row_count)
{
    if (SrStatus failed = first_failure(non_null(state, rows), positive(row_step, row_count))) return failed;
    return set_rows(*state, rows, row_step, row_count);
}

SrStatus zelsResamplePolyphaseSetFixedFilter_16s(ZelResampleFixedState* state, const int16_t* rows,
                                                 int32_t row_step, int32_t row_count)
{
    if (SrStatus failed = first_failure(non_null(state, rows), positive(row_step, row_count))) return failed;
    return set_rows(*state, rows, row_step, row_count);
}

SrStatus zelsResamplePolyphaseGetFixedFilter_32f(const ZelResampleFixedState* state, float* rows, int32_t row_step,
                                                 int32_t row_count)
{
    if (SrStatus failed = first_failure(non_null(state, rows), positive(row_step, row_count))) return failed;
    return get_rows(*state, rows, row_step, row_count);
}

SrStatus zelsResamplePolyphaseGetFixedFilter_16s(const ZelResampleFixedState* state, int16_t* rows,
                                                 int32_t row_step, int32_t row_count)
{
    if (SrStatus failed = first_failure(non_null(state, rows), positive(row_step, row_count))) return failed;
    return get_rows(*state, rows, row_step, row_count);
}
