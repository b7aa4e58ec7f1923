// Making and releasing the records of the cosine transform with lifter.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <type_traits>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/simd.h"
#include "core/table.h"
#include "frontend/cepstrum_record.h"
#include "zelsr/core/memory.h"

namespace zelsr {
namespace {

using namespace cepstrum;

// What a transform computes: with the zeroth coefficient or without.
struct Shape {
    int32_t len_dct, len_cep;
    bool with_c0;
};

// With the zeros behind its end, up to a whole number of eights.
std::ptrdiff_t floats_of_row(const Shape& shape) { return (shape.len_dct + std::ptrdiff_t{7}) / 8 * 8; }

// The multipliers of a record. length() is L, or -1 for those of the caller's.
struct SineLifter {
    int32_t lifter;
    float val;
    float val0;  // of C0

    int32_t length() const { return lifter; }
    void fill(float* to, const Shape& shape) const
    {
        for (int32_t i = 0; i <= shape.len_cep; ++i) {
            const double sine = std::sin(i * std::numbers::pi / lifter);
            to[i] = static_cast<float>(sine * (static_cast<float>(lifter) * 0.5) + 1.0) * val;
        }
        if (shape.with_c0) to[0] = val0;
    }
};
struct CallersLifter {
    const float* mul;

    static int32_t length() { return -1; }
    void fill(float* to, const Shape& shape) const
    {
        for (int32_t k = 1; k <= shape.len_cep; ++k) to[k] = load_one(mul + k - 1);
        to[0] = shape.with_c0 ? to[shape.len_cep] : 0.0F;  // shared with the last coefficient: wanted
    }
};

// cos(pi i (j + 1/2) / n), the zeros behind a row's end included.
void fill_cosines(float* const* rows, const Shape& shape)
{
    const double n = shape.len_dct;
    const auto row_bytes = static_cast<std::size_t>(floats_of_row(shape)) * sizeof(float);
    for (int32_t i = 0; i <= shape.len_cep; ++i) {
        float* const row = rows[i];
        std::memset(row, 0, row_bytes);
        for (int32_t j = 1; j <= shape.len_dct; ++j)
            row[j - 1] = static_cast<float>(std::cos((static_cast<float>(j) - 0.5) * (i * std::numbers::pi) / n));
    }
}

template <class State, class Lifter>
void start(State* state, const Shape& shape, const Lifter& lifter)
{
    state->nLifter = lifter.length();
    state->lenDCT = shape.len_dct;
    state->lenCep = shape.len_cep;
    state->useC0 = shape.with_c0 ? 1 : 0;
    state->lifter = nullptr;
    state->cosRows = nullptr;
}

// The same tables in every rounding mode of the caller's.
template <class Lifter>
[[gnu::noinline]] void fill(float* multipliers, float* const* rows, const Shape& shape, const Lifter& lifter)
{
    lifter.fill(multipliers, shape);
    fill_cosines(rows, shape);
}
template <class State, class Lifter>
SrStatus finish(State* state, const Shape& shape, const Lifter& lifter)
{
    const DefaultFloatEnvironment environment;
    fill(state->lifter, state->cosRows, shape, lifter);
    return SrOk;
}

inline uint8_t* align_up(uint8_t* memory) { return memory + (0 - ZEL_INT_PTR(memory)) % 32; }

// Lifter and rows behind the head, each on 32 bytes; returns the end of the last row, on 32 bytes too.
template <class State>
float* lay_out(State* state, const Shape& shape)
{
    uint8_t* const lifter = align_up(reinterpret_cast<uint8_t*>(state) + sizeof(State));
    float** const rows = reinterpret_cast<float**>(align_up(lifter + 4 * rows_of(shape.len_cep)));
    Init2_32fd(rows, shape.len_cep + 1, shape.len_dct);
    state->lifter = reinterpret_cast<float*>(lifter);
    state->cosRows = rows;
    return rows[shape.len_cep] + floats_of_row(shape);
}

template <class Lifter>
SrStatus init(ZelDCTLifterState_32f* state, const Shape& shape, const Lifter& lifter)
{
    if (record_bytes_32f(shape.len_dct, shape.len_cep) > INT32_MAX) return SrErrMemAlloc;
    start(state, shape, lifter);
    lay_out(state, shape);
    return finish(state, shape, lifter);
}

template <class Lifter>
SrStatus init(ZelDCTLifterState_16s* state, const Shape& shape, const Lifter& lifter)
{
    if (record_bytes_16s(shape.len_dct, shape.len_cep) > INT32_MAX) return SrErrMemAlloc;
    start(state, shape, lifter);
    state->scratch = lay_out(state, shape);
    return finish(state, shape, lifter);
}

// Null where the allocator refuses, or the bytes are more than a count can say.
float* allocate_singles(int64_t count)
{
    return count <= INT32_MAX / 4 ? zelsMalloc_32f(static_cast<int32_t>(count)) : nullptr;
}

// A refused block leaves the record to the caller as far as it has come, and nothing is released: wanted.
template <class State, class Lifter>
SrStatus allocate_and_fill(State** out, const Shape& shape, const Lifter& lifter)
{
    auto* const state = reinterpret_cast<State*>(zelsMalloc_8u(sizeof(State)));
    store_one(out, state);
    if (state == nullptr) return SrErrMemAlloc;
    start(state, shape, lifter);
    if constexpr (std::is_same_v<State, ZelDCTLifterState_16s>) state->scratch = nullptr;
    state->lifter = allocate_singles(rows_of(shape.len_cep));
    if (state->lifter == nullptr) return SrErrMemAlloc;
    state->cosRows = Alloc2_32fd(shape.len_cep + 1, shape.len_dct);
    if (state->cosRows == nullptr) return SrErrMemAlloc;
    // Not tested: wanted. A transform without it reports the lack.
    if constexpr (std::is_same_v<State, ZelDCTLifterState_16s>)
        state->scratch = allocate_singles(rows_of(shape.len_cep));
    return finish(state, shape, lifter);
}

SrStatus lengths(int32_t len_dct, int32_t len_cep)
{
    return first_failure(positive(len_dct, len_cep), require(len_dct >= len_cep, SrErrSize));
}

SrStatus put_size(int32_t* size, int64_t bytes)
{
    store_one(size, static_cast<int32_t>(std::min<int64_t>(bytes, INT32_MAX)));
    return SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsDCTLifterGetSize_32f(int32_t len_dct, int32_t len_cep, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), lengths(len_dct, len_cep))) return failed;
    return put_size(size, record_bytes_32f(len_dct, len_cep));
}

SrStatus zelsDCTLifterGetSize_C0_32f(int32_t len_dct, int32_t len_cep, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), lengths(len_dct, len_cep))) return failed;
    return put_size(size, record_bytes_32f(len_dct, len_cep));
}

SrStatus zelsDCTLifterGetSize_Mul_32f(int32_t len_dct, int32_t len_cep, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), lengths(len_dct, len_cep))) return failed;
    return put_size(size, record_bytes_32f(len_dct, len_cep));
}

SrStatus zelsDCTLifterGetSize_MulC0_32f(int32_t len_dct, int32_t len_cep, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), lengths(len_dct, len_cep))) return failed;
    return put_size(size, record_bytes_32f(len_dct, len_cep));
}

SrStatus zelsDCTLifterGetSize_16s(int32_t len_dct, int32_t len_cep, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), lengths(len_dct, len_cep))) return failed;
    return put_size(size, record_bytes_16s(len_dct, len_cep));
}

SrStatus zelsDCTLifterGetSize_C0_16s(int32_t len_dct, int32_t len_cep, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), lengths(len_dct, len_cep))) return failed;
    return put_size(size, record_bytes_16s(len_dct, len_cep));
}

SrStatus zelsDCTLifterGetSize_Mul_16s(int32_t len_dct, int32_t len_cep, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), lengths(len_dct, len_cep))) return failed;
    return put_size(size, record_bytes_16s(len_dct, len_cep));
}

SrStatus zelsDCTLifterGetSize_MulC0_16s(int32_t len_dct, int32_t len_cep, int32_t* size)
{
    if (SrStatus failed =
            first_failure(non_null(size), lengths(len_dct, len_cep), require(len_dct <= 8192, SrErrSize)))
        return failed;
    return put_size(size, record_bytes_MulC0_16s(len_dct, len_cep));
}

SrStatus zelsDCTLifterInit_32f(ZelDCTLifterState_32f* memory, int32_t len_dct, int32_t len_cep, int32_t lifter,
                               float val)
{
    if (SrStatus failed = first_failure(non_null(memory), positive(lifter), lengths(len_dct, len_cep)))
        return failed;
    return init(memory, Shape{len_dct, len_cep, false}, SineLifter{lifter, val, val});
}

SrStatus zelsDCTLifterInit_C0_32f(ZelDCTLifterState_32f* memory, int32_t len_dct, int32_t len_cep, int32_t lifter,
                                  float val, float val0)
{
    if (SrStatus failed = first_failure(non_null(memory), positive(lifter), lengths(len_dct, len_cep)))
        return failed;
    return init(memory, Shape{len_dct, len_cep, true}, SineLifter{lifter, val, val0});
}

SrStatus zelsDCTLifterInit_Mul_32f(ZelDCTLifterState_32f* memory, int32_t len_dct, const float* mul,
                                   int32_t len_cep)
{
    if (SrStatus failed = first_failure(non_null(memory, mul), lengths(len_dct, len_cep))) return failed;
    return init(memory, Shape{len_dct, len_cep, false}, CallersLifter{mul});
}

SrStatus zelsDCTLifterInit_MulC0_32f(ZelDCTLifterState_32f* memory, int32_t len_dct, const float* mul,
                                     int32_t len_cep)
{
    if (SrStatus failed = first_failure(non_null(memory, mul), lengths(len_dct, len_cep))) return failed;
    return init(memory, Shape{len_dct, len_cep, true}, CallersLifter{mul});
}

SrStatus zelsDCTLifterInit_16s(ZelDCTLifterState_16s* memory, int32_t len_dct, int32_t len_cep, int32_t lifter,
                               float val)
{
    if (SrStatus failed = first_failure(non_null(memory), positive(lifter), lengths(len_dct, len_cep)))
        return failed;
    return init(memory, Shape{len_dct, len_cep, false}, SineLifter{lifter, val, val});
}

SrStatus zelsDCTLifterInit_C0_16s(ZelDCTLifterState_16s* memory, int32_t len_dct, int32_t len_cep, int32_t lifter,
                                  float val, float val0)
{
    if (SrStatus failed = first_failure(non_null(memory), positive(lifter), lengths(len_dct, len_cep)))
        return failed;
    return init(memory, Shape{len_dct, len_cep, true}, SineLifter{lifter, val, val0});
}

SrStatus zelsDCTLifterInit_Mul_16s(ZelDCTLifterState_16s* memory, int32_t len_dct, const float* mul,
                                   int32_t len_cep)
{
    if (SrStatus failed = first_failure(non_null(memory, mul), lengths(len_dct, len_cep))) return failed;
    return init(memory, Shape{len_dct, len_cep, false}, CallersLifter{mul});
}

SrStatus zelsDCTLifterInit_MulC0_16s(ZelDCTLifterState_16s* memory, int32_t len_dct, const float* mul,
                                     int32_t len_cep)
{
    if (SrStatus failed = first_failure(non_null(memory, mul), lengths(len_dct, len_cep))) return failed;
    return init(memory, Shape{len_dct, len_cep, true}, CallersLifter{mul});
}

SrStatus zelsDCTLifterInitAlloc_32f(ZelDCTLifterState_32f** state, int32_t len_dct, int32_t len_cep,
                                    int32_t lifter, float val)
{
    if (SrStatus failed = first_failure(non_null(state), positive(lifter), lengths(len_dct, len_cep)))
        return failed;
    return allocate_and_fill(state, Shape{len_dct, len_cep, false}, SineLifter{lifter, val, val});
}

SrStatus zelsDCTLifterInitAlloc_C0_32f(ZelDCTLifterState_32f** state, int32_t len_dct, int32_t len_cep,
                                       int32_t lifter, float val, float val0)
{
    if (SrStatus failed = first_failure(non_null(state), positive(lifter), lengths(len_dct, len_cep)))
        return failed;
    return allocate_and_fill(state, Shape{len_dct, len_cep, true}, SineLifter{lifter, val, val0});
}

SrStatus zelsDCTLifterInitAlloc_Mul_32f(ZelDCTLifterState_32f** state, int32_t len_dct, const float* mul,
                                        int32_t len_cep)
{
    if (SrStatus failed = first_failure(non_null(state, mul), lengths(len_dct, len_cep))) return failed;
    return allocate_and_fill(state, Shape{len_dct, len_cep, false}, CallersLifter{mul});
}

SrStatus zelsDCTLifterInitAlloc_MulC0_32f(ZelDCTLifterState_32f** state, int32_t len_dct, const float* mul,
                                          int32_t len_cep)
{
    if (SrStatus failed = first_failure(non_null(state, mul), lengths(len_dct, len_cep))) return failed;
    return allocate_and_fill(state, Shape{len_dct, len_cep, true}, CallersLifter{mul});
}

SrStatus zelsDCTLifterInitAlloc_16s(ZelDCTLifterState_16s** state, int32_t len_dct, int32_t len_cep,
                                    int32_t lifter, float val)
{
    if (SrStatus failed = first_failure(non_null(state), positive(lifter), lengths(len_dct, len_cep)))
        return failed;
    return allocate_and_fill(state, Shape{len_dct, len_cep, false}, SineLifter{lifter, val, val});
}

SrStatus zelsDCTLifterInitAlloc_C0_16s(ZelDCTLifterState_16s** state, int32_t len_dct, int32_t len_cep,
                                       int32_t lifter, float val, float val0)
{
    if (SrStatus failed = first_failure(non_null(state), positive(lifter), lengths(len_dct, len_cep)))
        return failed;
    return allocate_and_fill(state, Shape{len_dct, len_cep, true}, SineLifter{lifter, val, val0});
}

SrStatus zelsDCTLifterInitAlloc_Mul_16s(ZelDCTLifterState_16s** state, int32_t len_dct, const float* mul,
                                        int32_t len_cep)
{
    if (SrStatus failed = first_failure(non_null(state, mul), lengths(len_dct, len_cep))) return failed;
    return allocate_and_fill(state, Shape{len_dct, len_cep, false}, CallersLifter{mul});
}

SrStatus zelsDCTLifterInitAlloc_MulC0_16s(ZelDCTLifterState_16s** state, int32_t len_dct, const float* mul,
                                          int32_t len_cep)
{
    if (SrStatus failed = first_failure(non_null(state, mul), lengths(len_dct, len_cep))) return failed;
    return allocate_and_fill(state, Shape{len_dct, len_cep, true}, CallersLifter{mul});
}

SrStatus zelsDCTLifterFree_32f(ZelDCTLifterState_32f* state)
{
    if (SrStatus failed = non_null(state)) return failed;
    Free2d(state->cosRows);
    zelsFree(state->lifter);
    zelsFree(state);
    return SrOk;
}

SrStatus zelsDCTLifterFree_16s(ZelDCTLifterState_16s* state)
{
    if (SrStatus failed = non_null(state)) return failed;
    Free2d(state->cosRows);
    zelsFree(state->lifter);
    zelsFree(state->scratch);
    zelsFree(state);
    return SrOk;
}
