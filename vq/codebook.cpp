// Codebooks in the caller's memory, and the contents and the release of every codebook.
#include "vq/codebook.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "core/contract.h"
#include "core/rows.h"
#include "core/simd.h"
#include "core/table.h"
#include "vq/storage.h"
#include "zelsr/vq/codebook.h"

namespace zelsr::vq {
namespace {

SrStatus without_tree(SrCdbkKind kind)
{
    return require(kind != SrCdbkTreeRadius && kind != SrCdbkTreePopulation, SrErrCdbkKind);
}

SrStatus all_rows(int32_t width, int32_t step, int32_t height, int32_t size)
{
    return first_failure(positive(width, step, height, size),
                         require(width <= step && size <= kMostCodewords && size == height, SrErrSize));
}

// Elements from one codeword to the next.
int64_t row_step(int32_t width, int32_t step)
{
    const bool packed = width == 1 || width == 2 || width == 4;
    return packed ? width : (step + int64_t{7}) & ~int64_t{7};
}

// The rows, the weights and the workspace begin on 32-byte boundaries; 16-bit codebooks have room for one more.
template <class State>
int64_t bytes_of(int32_t width, int32_t step, int32_t size)
{
    using T = typename State::Element;
    constexpr int64_t element = sizeof(T), parts = std::is_same_v<T, float> ? 3 : 4;
    return static_cast<int64_t>(sizeof(State)) + 32 * parts + element * width + 4 * int64_t{size} +
           element * row_step(width, step) * size;
}

// A codebook of more bytes than an int32 counts is not made.
bool reportable(int64_t bytes) { return bytes < INT32_MAX; }

template <class State>
SrStatus tell_size(int32_t width, int32_t step, int32_t size, int32_t* bytes)
{
    store_one(bytes, static_cast<int32_t>(std::min<int64_t>(bytes_of<State>(width, step, size), INT32_MAX)));
    return SrOk;
}

template <class T>
T* on_32_bytes(void* behind)
{
    return reinterpret_cast<T*>((ZEL_INT_PTR(behind) + 31) & ~std::uintptr_t{31});
}

template <class State, class T>
SrStatus lay_out(State* state, const T* src, int32_t width, int32_t step, int32_t size, SrCdbkKind kind)
{
    if (!reportable(bytes_of<State>(width, step, size))) return SrErrMemAlloc;
    state->depth = size - 1;
    state->count = size;
    state->width = width;
    state->row_step = static_cast<int32_t>(row_step(width, step));
    state->kind = kind;
    state->root = nullptr;
    state->flags = 0;
    state->field = nullptr;
    state->codewords = on_32_bytes<T>(state + 1);
    state->weights = on_32_bytes<T>(state->codewords + std::ptrdiff_t{size} * state->row_step);
    state->workspace = on_32_bytes<float>(state->weights + width);
    std::fill_n(state->weights, width, T{1});
    copy_rows(Block{src, step}, size, width, WritableBlock{static_cast<T*>(state->codewords), state->row_step});
    return SrOk;
}

template <class T>
SrStatus is_allocated(const Codebook<T>* state)
{
    return first_failure(
        non_null(state), [=] { return require(state->codewords != nullptr, SrErrNullPtr); },
        [=] { return require(state->kind >= SrCdbkFull && state->kind <= SrCdbkTreePopulation, SrErrUnknown); });
}

template <class T>
SrStatus copy_codewords(const Codebook<T>& state, T* dst, int32_t step)
{
    copy_rows(Block<T>{state.codewords, state.row_step}, state.count, state.width, WritableBlock{dst, step});
    return SrOk;
}

template <class T>
SrStatus room_for_codewords(const Codebook<T>& state, int32_t step)
{
    return require(step >= 1 && step >= state.width, SrErrSize);
}

}  // namespace
}  // namespace zelsr::vq

using namespace zelsr;
using namespace zelsr::vq;

SrStatus zelsCdbkGetSize_16s(int32_t width, int32_t step, int32_t height, int32_t size, SrCdbkKind kind,
                             int32_t* bytes)
{
    if (SrStatus failed = first_failure(without_tree(kind), non_null(bytes), all_rows(width, step, height, size)))
        return failed;
    return tell_size<ZelCdbkState_16s>(width, step, size, bytes);
}

SrStatus zelsCdbkGetSize_32f(int32_t width, int32_t step, int32_t height, int32_t size, SrCdbkKind kind,
                             int32_t* bytes)
{
    if (SrStatus failed = first_failure(without_tree(kind), non_null(bytes), all_rows(width, step, height, size)))
        return failed;
    return tell_size<ZelCdbkState_32f>(width, step, size, bytes);
}

SrStatus zelsCdbkInit_L2_16s(ZelCdbkState_16s* state, const int16_t* src, int32_t width, int32_t step,
                             int32_t height, int32_t size, SrCdbkKind kind)
{
    if (SrStatus failed =
            first_failure(without_tree(kind), non_null(src, state), all_rows(width, step, height, size)))
        return failed;
    if (SrStatus failed = lay_out(state, src, width, step, size, kind)) return failed;
    state->index_bits = index_bits(size);
    return SrOk;
}

// Leaves the bits of an index as they were in the memory: wanted.
SrStatus zelsCdbkInit_L2_32f(ZelCdbkState_32f* state, const float* src, int32_t width, int32_t step,
                             int32_t height, int32_t size, SrCdbkKind kind)
{
    if (SrStatus failed =
            first_failure(without_tree(kind), non_null(src, state), all_rows(width, step, height, size)))
        return failed;
    return lay_out(state, src, width, step, size, kind);
}

SrStatus zelsCdbkFree_16s(ZelCdbkState_16s* state)
{
    if (SrStatus failed = is_allocated(state)) return failed;
    release(state);
    return SrOk;
}

SrStatus zelsCdbkFree_32f(ZelCdbkState_32f* state)
{
    if (SrStatus failed = is_allocated(state)) return failed;
    release(state);
    return SrOk;
}

SrStatus zelsGetCdbkSize_16s(const ZelCdbkState_16s* state, int32_t* size)
{
    if (SrStatus failed = non_null(state, size)) return failed;
    store_one(size, int32_t{state->count});
    return SrOk;
}

SrStatus zelsGetCdbkSize_32f(const ZelCdbkState_32f* state, int32_t* size)
{
    if (SrStatus failed = non_null(state, size)) return failed;
    store_one(size, int32_t{state->count});
    return SrOk;
}

SrStatus zelsGetCodebook_16s(const ZelCdbkState_16s* state, int16_t* dst, int32_t step)
{
    if (SrStatus failed = first_failure(non_null(state, dst), [=] { return room_for_codewords(*state, step); }))
        return failed;
    return copy_codewords(*state, dst, step);
}

SrStatus zelsGetCodebook_32f(const ZelCdbkState_32f* state, float* dst, int32_t step)
{
    if (SrStatus failed = first_failure(non_null(state, dst), [=] { return room_for_codewords(*state, step); }))
        return failed;
    return copy_codewords(*state, dst, step);
}
